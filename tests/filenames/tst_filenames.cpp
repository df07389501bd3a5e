// Names of download files: which are taken, of what kind they are, and what time they carry. The
// tables give the time in UTC; the test itself runs in several time zones.
#include "downloadkey/filenames.h"

#include <QtCore/QDateTime>
#include <QtCore/QFile>
#include <QtTest/QtTest>

namespace {

const QDateTime untouched(QDate(1999, 9, 9), QTime(9, 9, 9), Qt::UTC);

// What the functions say of a name: "driver", "vehicle", "both" or "neither", behind a "!" where
// it is not valid.
QString kindOf(const QString& name) {
    const bool driver = isDriverFileName(name);
    const bool vehicle = isVehicleFileName(name);
    return QLatin1String(isValidFileName(name) ? "" : "!") +
           QLatin1String(driver ? (vehicle ? "both" : "driver")
                                : (vehicle ? "vehicle" : "neither"));
}

// The time in a name in UTC; "none" where there is none.
QString timeOf(const QString& name) {
    QDateTime time = untouched;
    QDateTime invalid;
    const bool hasTime = getModificationTimeFromFileName(name, time);
    if (getModificationTimeFromFileName(name, invalid) != hasTime)
        return QStringLiteral("depends on the output's former value");
    if (!hasTime)
        return QLatin1String(time == untouched && !invalid.isValid() ? "none"
                                                                     : "none, output changed");
    if (time != invalid || time.timeSpec() != Qt::LocalTime)
        return QStringLiteral("not in local time");
    return time.toUTC().toString(Qt::ISODate);
}

} // namespace

class FileNamesTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void names_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("time");
        QFile file(QStringLiteral(NAMES_FILE));
        if (!file.open(QIODevice::ReadOnly))
            qFatal("cannot read %s", NAMES_FILE);
        while (!file.atEnd()) {
            const QString line = QString::fromUtf8(file.readLine()).simplified();
            const QStringList fields = line.split(QLatin1Char(' '));
            if (!line.isEmpty() && !line.startsWith(QLatin1Char('#')))
                QTest::newRow(qPrintable(fields.at(2))) << fields[2] << fields[0] << fields[1];
        }

        const auto row = [](const QString& name, const char* kind, const char* time) {
            QTest::newRow(kind) << name << QString::fromLatin1(kind) << QString::fromLatin1(time);
        };
        row(QString(), "!neither", "none");
        // What stands behind a NUL is no part of the name.
        row(QStringLiteral("M_20240315_0830_A\0.DDD"), "!neither", "none");
        row(QStringLiteral("2403150830.V1B\0.C1B"), "vehicle", "2024-03-15T08:30:00Z");
    }

    void names() {
        QFETCH(QString, name);
        QTEST(kindOf(name), "kind");
        QTEST(timeOf(name), "time");
    }

    // Numbers are read as by the C library's "%2u" and "%4u": white space and a sign may come
    // first.
    void blanksAndSigns_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("time");
        const auto row = [](const char* name, const char* time) {
            QTest::newRow(name) << QString::fromLatin1(name) << QString::fromLatin1(time);
        };
        row("M_2024 315_0830_A.DDD", "2024-03-15T08:30:00Z");
        row("M_202403+5_\t8\n5_A.DDD", "2024-03-05T08:05:00Z");
        row("M_ 202 3 5_+800_A.DDD", "none"); // the year 202
        row("M_+1970101_0830_A.DDD", "none");
        row("M_2024+3\v5_0830_A.DDD", "2024-03-05T08:30:00Z");
        row("M_20240315_-130_A.DDD", "2024-03-14T23:30:00Z");
        row("M_20240315_08-9_A.DDD", "2024-03-15T07:51:00Z");
        row("M_20240315_+-30_A.DDD", "none");
        row("M_20240315_08 -_A.DDD", "none");
        row("M_20240315_08  _A.DDD", "none");
        row("M_2024-315_0830_A.DDD", "none");
        row("M_202403-5_0830_A.DDD", "none");
        row("M_-9990315_0830_A.DDD", "none");
        row("ABC_-103150830.V1B", "none"); // the year -1
        row("M_19700101_-930_A.DDD", "none");
        row("V_A_2024+3 5_ 8+5.TGD", "2024-03-05T08:05:00Z");
        row("ABC_ 4 3 5 8 5.C1C", "2004-03-05T08:05:00Z");
    }

    void blanksAndSigns() {
        QFETCH(QString, name);
        QVERIFY(!isValidFileName(name));
        QTEST(timeOf(name), "time");
    }

    void everyFirstLetter_data() {
        QTest::addColumn<QString>("rest");
        QTest::addColumn<QString>("drivers"); // the first letters that make it one; "*" is any
        QTest::addColumn<QString>("vehicles");
        const auto row = [](const char* rest, const char* drivers, const char* vehicles) {
            QTest::newRow(rest) << QString::fromLatin1(rest) << QString::fromLatin1(drivers)
                                << QString::fromLatin1(vehicles);
        };
        row("_20240315_0830_.DDD", "Cc", "MmSs");
        row("_ABC_20240315_0830.tgd", "Cc", "VvSs");
        row("_2403150830.C1B", "*", "");
        row("_2403150830.c1c", "*", "");
        row("_2403150830.V1B", "", "*");
        row("_2403150830.v1C", "", "*");
        row("_ABCDEF_FLEETDEPOT_202403150830.A1b", "", "*");
        row("_ABCDEF_FLEETDEPOT2403150830.A1C", "", "*");
    }

    void everyFirstLetter() {
        QFETCH(QString, rest);
        QFETCH(QString, drivers);
        QFETCH(QString, vehicles);
        const auto in = [](QChar letter, const QString& letters) {
            return letters == QLatin1String("*") || letters.contains(letter);
        };
        for (ushort letter = 1; letter < 128; ++letter) {
            const QString expected = QLatin1String(in(QChar(letter), drivers)    ? "driver"
                                                   : in(QChar(letter), vehicles) ? "vehicle"
                                                                                 : "!neither");
            QCOMPARE(kindOf(QChar(letter) + rest), expected);
        }
    }

    // In a shape '#' stands for a digit, '*' for any byte, and the others for themselves.
    void everyByte_data() {
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<QByteArray>("shape");
        const auto row = [](const char* name, const char* shape) {
            QTest::newRow(name) << QByteArray(name) << QByteArray(shape);
        };
        row("M_20240315_0830_A_9.DDD", "M_########_####_***.");
        row("V_A_9_20240315_0830.TGD", "V_***_########_####.");
        row("A_92403150830.V1B", "***##########.");
        row("A_92403150830.C1C", "***##########.");
        row("ABC123_FLEET_DEPOT_2403150830.A1C", "*******************##########.");
        row("ABC123_FLEETDEPOT_202403150830.A1B", "******************############.");
    }

    void everyByte() {
        QFETCH(QByteArray, name);
        QFETCH(QByteArray, shape);
        QCOMPARE(shape.size(), name.lastIndexOf('.') + 1);
        for (int i = 0; i < shape.size() - 1; ++i) {
            for (const char byte : QByteArray("/09:_-xX\x01\x7f")) {
                QByteArray changed = name;
                changed[i] = byte;
                const bool fits = shape.at(i) == '*' || byte == shape.at(i) ||
                                  (shape.at(i) == '#' && (byte == '0' || byte == '9'));
                QVERIFY2(isValidFileName(QString::fromLatin1(changed)) == fits,
                         changed.constData());
            }
        }
    }

    // One instant as a clock on the host's wall shows it, on both sides of a change to summer time,
    // and in the hour that a summer-time zone has twice.
    void localTime() {
        const QByteArray zone = qgetenv("TZ");
        const QVector<QByteArray> zones = {"UTC", "Europe/Berlin", "America/New_York"};
        if (!zones.contains(zone))
            QSKIP("needs one of the time zones of the table");
        const auto check = [&](const char* name, const QByteArrayList& shown, qint64 seconds) {
            QDateTime time;
            QVERIFY(getModificationTimeFromFileName(QLatin1String(name), time));
            QCOMPARE(time.toString(QStringLiteral("dd hh:mm")).toLatin1(),
                     shown.at(zones.indexOf(zone)));
            QCOMPARE(time.toSecsSinceEpoch(), seconds);
        };
        check("2401150830.V1B", {"15 08:30", "15 09:30", "15 03:30"}, 1705307400);
        check("2403150830.V1B", {"15 08:30", "15 09:30", "15 04:30"}, 1710491400);
        check("2407150130.V1B", {"15 01:30", "15 03:30", "14 21:30"}, 1721007000);
        check("2410270030.V1B", {"27 00:30", "27 02:30", "26 20:30"}, 1729989000);
        check("2410270130.V1B", {"27 01:30", "27 02:30", "26 21:30"}, 1729992600);
    }

    // Nothing of a name is trusted, its length included, and shapes that are cut short are not read
    // beyond their ends (which a sanitizer would report).
    void hugeAndCutNames() {
        const QString huge(1000000, QLatin1Char('9'));
        QCOMPARE(kindOf(huge + QStringLiteral(".V1B")), QStringLiteral("vehicle"));
        QCOMPARE(timeOf(huge + QStringLiteral(".V1B")), QStringLiteral("none"));
        QCOMPARE(kindOf(huge), QStringLiteral("!neither"));
        const QString digits = QStringLiteral("V_20240315_0830_2024031508302403");
        for (const char* extension : {".DDD", ".TGD", ".V1B", ".A1C"}) {
            for (int length = 0; length < 14; ++length) {
                const QString cut = digits.right(length) + QLatin1String(extension);
                QVERIFY2(!isValidFileName(cut) || length >= 10, qPrintable(cut));
                QVERIFY2(!timeOf(cut).contains(QLatin1Char(' ')), qPrintable(cut));
            }
        }
    }
};

QTEST_APPLESS_MAIN(FileNamesTest)
#include "tst_filenames.moc"
