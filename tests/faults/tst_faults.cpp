// Failing disks and keys that are pulled: each system call of a read fails once, and then all from
// it on.
#include "tests/support/datatable.h"
#include "tests/support/faultshim.h"
#include "tests/support/recordinghost.h"
#include "tests/support/samplefiles.h"

#include <QtTest/QtTest>

class FaultsTest : public QObject {
    Q_OBJECT

    const TestKey m_key;
    const QString m_whole = "0% 12% 25% 37% 50% card1 62% card2 75% unit1 87% unit2 100% remount "
                            "done(card1,card2|unit1,unit2)";

private Q_SLOTS:
    void initTestCase() {
        QLoggingCategory::setFilterRules("*.debug=false");
        m_key.write("download/card1_2403160830.C1B", smallCard("card1"));
        m_key.write("download/card2_2403150830.C1B", smallCard("card2"));
        m_key.write("download/unit1_2403160830.V1B", smallVehicleUnit("unit1"));
        m_key.write("download/unit2_2403150830.V1B",
                    smallVehicleUnit("unit2", samples::Generation::Gen2V2));
    }

    void losesAtMostOneFileToAFailedCall_data() {
        QTest::addColumn<QString>("fault");
        for (const char* call :
             {"open %1 EACCES", "stat %1 EIO", "read %1 EIO", "read %1 nothing"}) {
            for (const char* number : {"%1", "%1+"}) // the call, and all later ones
                QTest::newRow(qPrintable(QString(call).arg(number))) << QString(call).arg(number);
        }
    }
    // After a read of nothing, for example, the file seems to end.
    void losesAtMostOneFileToAFailedCall() {
        QFETCH(QString, fault);
        RecordingHost host;
        QCOMPARE(host.open(m_key), QString());
        bool isHarmed = false;
        int calls = 0;
        int at = 0;
        do {
            ++at;
            const uint descriptors = QDir("/proc/self/fd").count();
            host.offeredPaths.clear();
            faults_arm(qPrintable(m_key.mountPath()), qPrintable(fault.arg(at)));
            const QString story = host.read();
            calls = faults_disarm();

            QCOMPARE(QDir("/proc/self/fd").count(), descriptors);
            const bool isWholeOrNothing =
                story == m_whole || story == "libdownloadkey|No DownloadKey mounted|0";
            isHarmed |= !isWholeOrNothing;
            QVERIFY2(isWholeOrNothing || story.endsWith("remount failed"), qPrintable(story));
            QVERIFY(isWholeOrNothing || fault.contains('+') || host.offeredPaths.size() >= 3);
            QVERIFY2(calls >= at || story == m_whole, qPrintable(story));
        } while (calls >= at);
        QVERIFY(isHarmed);
    }

    // What comes before a bad byte in the signature of a first-generation day looks like a whole
    // download: the later days must not be silently lost.
    void failsAFileWithABadByte() {
        samples::VehicleUnit unit;
        unit.generation = samples::Generation::Gen1;
        unit.plate = "unit";
        unit.days.resize(2);
        const QByteArray bytes = samples::vehicleUnitFile(unit);
        const TestKey key;
        key.write("download/unit_2403150830.V1B", bytes);
        RecordingHost host;
        QCOMPARE(host.open(key), QString());
        // No bad byte, the last one, and others.
        for (int good = bytes.size(); good >= 0; good -= good == bytes.size() ? 1 : 50) {
            faults_arm(qPrintable(key.mountPath()), qPrintable(QString("byte %1 EIO").arg(good)));
            const QString story = host.read();
            faults_disarm();
            QCOMPARE(story, QString(good == bytes.size() ? "0% 50% unit 100% remount done(|unit)"
                                                         : "0% unit 100% remount failed"));
        }
    }
};

QTEST_GUILESS_MAIN(FaultsTest)
#include "tst_faults.moc"
