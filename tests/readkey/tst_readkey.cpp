// readkey as a user runs it: what each view shows, what it reports when something is wrong, and
// what it leaves behind.
#include "samples/samples.h"
#include "tests/support/datatable.h"
#include "tests/support/sessions.h"
#include "tests/support/shell.h"

#include <QtTest/QtTest>

#include <unistd.h>

namespace {

// Seconds since 1970 of a UTC time such as "2024-03-13T06:00".
quint32 secondsOf(const QString& time) {
    return static_cast<quint32>(QDateTime::fromString(time + 'Z', Qt::ISODate).toSecsSinceEpoch());
}

// Writes the files of the key that has this name in keys.txt.
void writeKey(const TestKey& key, const QString& name) {
    QMap<QString, samples::VehicleUnit> vehicles;
    for (const TableLine& line :
         tableLines("keys.txt", {"key", "file", "name", "surname", "firstNames", "code", "from",
                                 "km", "to", "kmTo"})) {
        const QStringList& cells = line.cells;
        if (cells[0] != name)
            continue;
        const QByteArray surname = cells[3].toLatin1();
        const QByteArray firstNames = cells[4].toLatin1();
        if (cells[1].startsWith('C')) {
            key.write("download/" + cells[1],
                      samples::cardFile({line.value<uchar>(5), line.value<int>(7),
                                         cells[2].toLatin1(), surname, firstNames}));
            continue;
        }
        samples::VehicleUnit& vehicle = vehicles[cells[1]];
        vehicle.plate = cells[2].toLatin1();
        const auto kilometres = [&](int column) {
            return cells[column].isEmpty() ? 0xFFFFFF : line.value<quint32>(column);
        };
        if (!cells[6].isEmpty())
            vehicle.days.push_back(
                {0,
                 0,
                 {{surname, firstNames, "DF00000000000100", secondsOf(cells[6]), kilometres(7),
                   line.value<uchar>(5), cells[8].isEmpty() ? 0xFFFFFFFF : secondsOf(cells[8]),
                   kilometres(9)}}});
    }
    for (auto vehicle = vehicles.cbegin(); vehicle != vehicles.cend(); ++vehicle)
        key.write("download/" + vehicle.key(), samples::vehicleUnitFile(*vehicle));
}

} // namespace

class TestReadkey : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // With the word SHIM before it, a program's system calls fail as faultshim.h describes it. The
    // loader takes a blank in LD_PRELOAD for the end of a name.
    void initTestCase() {
        scriptWords["MAKEKEY"] = TEST_MAKEKEY;
        scriptWords["SHIM"] = QString(FAULTSHIM_DIR).isEmpty()
                                  ? "false" // an emulator's own calls would fail
                                  : "LD_PRELOAD=libfaultshim.so LD_LIBRARY_PATH='" FAULTSHIM_DIR
                                    "' ASAN_OPTIONS=$ASAN_OPTIONS:verify_asan_link_order=0";
        scriptWords["SOURCE"] = "'" TEST_DATA "../..'";
    }
    void cleanup() { showRuns(); }

    void sessions_data() { sessionRows("sessions.txt"); }
    void sessions() {
        QFETCH(QString, key);
        const TestKey directory;
        writeKey(directory, key);
        runSession(directory);
    }

    void reportsFailures_data() {
        tableRows<QString, QString, QString, int, QString>("failures.txt", "given", "fault",
                                                           "arguments", "status", "message");
    }

    // A failure is in plain words on standard error and at the end of the tables. Nothing else of a
    // failed file is shown.
    void reportsFailures() {
        QFETCH(QString, given);
        QFETCH(QString, fault);
        QFETCH(QString, arguments);
        QFETCH(int, status);
        QFETCH(QString, message);
        const TestKey key;
        writeKey(key, "small");
        outputOf(key, "mv download whole; mv whole/C_20240101* whole/card; "
                      "mv whole/M_20241101* whole/vehicle; rm whole/?_*; mkdir download");
        outputOf(key, given);
        const QString directories = shell(key, "find . -type d").out;
        QString before;
        if (!fault.isEmpty())
            before = "FAULT_ROOT=KEY/download FAULT='" + fault + "' SHIM";
        else if (given.contains("chmod") && ::getuid() == 0) // root is refused nothing otherwise
            before = "setpriv --bounding-set=-dac_override,-dac_read_search";
        if (!fault.isEmpty() && shell(key, before + " true").status != 0)
            QSKIP("system calls cannot fail here");
        const Run run = shell(key, before + " PROGRAM " + arguments);
        // No directory is new. The shell removes what Qt cannot: names that are not UTF-8.
        QCOMPARE(outputOf(key, "chmod -R 755 .; find . -type d; rm -r download"), directories);
        const bool isUsage = status == 2;
        QCOMPARE(run.err,
                 "readkey: " + message + '\n' +
                     (isUsage ? "readkey: \"readkey --help\" shows how it is used\n" : ""));
        QCOMPARE(run.status, status);
        QVERIFY2(isUsage
                     ? run.out.isEmpty()
                     : run.out.contains("\nVehicles: none\n") && run.out.contains("\nFailed\n  "),
                 qPrintable(run.out));
    }
};

QTEST_GUILESS_MAIN(TestReadkey)
#include "tst_readkey.moc"
