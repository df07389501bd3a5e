// Every length that a small file can be cut to, and every value of every byte that steers a parser.
#include "samples/samples.h"
#include "tests/support/expectedwalk.h"
#include "tests/support/memoryfile.h"

#include <QtTest/QtTest>

#include <QtCore/QSet>

using downloadkey::VehicleInfo;
using samples::Generation;

#ifndef VALUE_STRIDE
#define VALUE_STRIDE 1
#endif

namespace {

// Two days of two insertions each. The second day begins with the time that the first ended with,
// which is a repeated record in the first generation only.
QByteArray smallFile(Generation generation) {
    samples::VehicleUnit unit;
    unit.generation = generation;
    unit.companyLocks = 1;
    unit.controlActivities = 2;
    unit.furtherBlocks = false;
    unit.trailer = "...";
    for (const std::uint32_t start : {1710460800U, 1710547200U}) {
        samples::Day day;
        day.date = start;
        day.activityChanges = 3;
        day.places = day.gnssPositions = day.specificConditions = day.borderCrossings = 1;
        for (const std::uint32_t hour : {0U, 24U}) {
            samples::CardRecord record;
            record.insertionTime = start + hour * 3600;
            record.withdrawalTime = 0xFFFFFFFF;
            record.odometerAtInsertion = 66051;
            record.odometerAtWithdrawal = 0xFFFFFF;
            day.cardRecords.push_back(record);
        }
        unit.days.push_back(day);
    }
    return samples::vehicleUnitFile(unit);
}

} // namespace

Q_DECLARE_METATYPE(samples::Generation)

class ExhaustiveTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false")); }

    void smallFile_data() {
        QTest::addColumn<Generation>("generation");
        QTest::addColumn<int>("activities");
        // All of the generation's errors but that of the first two bytes; numbers in them do not
        // count.
        QTest::addColumn<int>("errors");
        QTest::newRow("first generation") << Generation::Gen1 << 3 << 10;
        QTest::newRow("second generation version 1") << Generation::Gen2V1 << 4 << 42;
        QTest::newRow("second generation version 2") << Generation::Gen2V2 << 4 << 46;
    }

    void smallFile() {
        QFETCH(Generation, generation);
        const QByteArray file = ::smallFile(generation);
        const ExpectedWalk whole(file);
        QCOMPARE(whole.error, QString());
        QTEST(static_cast<int>(whole.insertions.size()), "activities");

        QSet<QString> errors;
        const auto check = [&errors](const QByteArray& bytes, const char* what, qint64 value) {
            MemoryFile memory(bytes);
            VehicleInfo info(memory);
            const ExpectedWalk expected(bytes);
            if (!expected.error.isEmpty())
                errors.insert(expected.error.section(QStringLiteral(" p:"), 0, 0));
            const QString difference = expected.difference(info);
            if (!difference.isEmpty())
                QTest::qFail(qPrintable(QLatin1String(what) + QStringLiteral(" %1: ").arg(value) +
                                        difference),
                             __FILE__, __LINE__);
            return difference.isEmpty();
        };
        for (int size = 0; size <= file.size(); ++size) {
            if (!check(file.left(size), "cut to", size))
                return;
        }
        for (const qint64 position : whole.steering) {
            for (int value = 0; value < 256; value += VALUE_STRIDE) {
                QByteArray bytes = file;
                bytes[static_cast<int>(position)] = static_cast<char>(value);
                if (!check(bytes, "changed at", position))
                    return;
            }
        }
        QTEST(errors.size(), "errors");
    }
};

QTEST_APPLESS_MAIN(ExhaustiveTest)
#include "tst_exhaustive.moc"
