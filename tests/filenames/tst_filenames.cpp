// Names of download files: which are valid, of what kind they are, and what time they carry. The
// table gives the time in UTC; the test itself runs in several time zones.
#include "downloadkey/filenames.h"
#include "tests/support/datatable.h"

#include <QtCore/QDateTime>
#include <QtTest/QtTest>

namespace {

// "driver", "vehicle", "driver vehicle" or "neither", behind a "!" if the name is not valid.
QString kindOf(const QString& name) {
    QStringList kinds;
    if (isDriverFileName(name))
        kinds << "driver";
    if (isVehicleFileName(name))
        kinds << "vehicle";
    return (isValidFileName(name) ? "" : "!") + (kinds.isEmpty() ? "neither" : kinds.join(' '));
}

// The time in a name in UTC; "none" if there is none.
QString timeOf(const QString& name) {
    const QDateTime before(QDate(1999, 9, 9), QTime(9, 9, 9), Qt::UTC);
    QDateTime time = before;
    if (!getModificationTimeFromFileName(name, time))
        return time == before ? "none" : "none, but the output has changed";
    return time.timeSpec() == Qt::LocalTime ? time.toUTC().toString(Qt::ISODate)
                                            : "not in local time";
}

} // namespace

class FileNamesTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void saysTheKindAndTimeOfAName_data() {
        const auto addRow =
            tableRows<QString, QString, QString>("names.txt", "name", "kind", "time");
        addRow("other white space", "M_2024\v3+5_\t8\n5_A.DDD", "!vehicle", "2024-03-05T08:05:00Z");
        addRow("no name", QString(), "!neither", "none");
        addRow("another extension behind a NUL", QString::fromLatin1("2403150830.V1B\0.C1B", 19),
               "vehicle", "2024-03-15T08:30:00Z");
    }
    void saysTheKindAndTimeOfAName() {
        QFETCH(QString, name);
        QTEST(kindOf(name), "kind");
        QTEST(timeOf(name), "time");
    }
};

QTEST_APPLESS_MAIN(FileNamesTest)
#include "tst_filenames.moc"
