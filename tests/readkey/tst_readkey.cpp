// readkey as a user runs it: what each view shows, what it says when something is wrong, and what
// it leaves behind.
#include "tests/readkey/storykey.h"
#include "tests/support/datatable.h"
#include "tests/support/shell.h"

#include <QtCore/QRegularExpression>
#include <QtTest/QtTest>

#include <csignal>

#include <unistd.h>

namespace {

// Arguments as they are typed; `before` them may be settings, and what runs the program.
Run readkey(const TestKey& key, const QString& arguments, const QString& before = "") {
    return shell(key, before + " PROGRAM " + arguments);
}

// The times of insertion in the CSV of insertions, sorted.
QStringList insertedTimes(const QString& csv) {
    QStringList times;
    for (const QString& line : csv.split("\r\n", Qt::SkipEmptyParts).mid(1))
        times.append(line.section(',', 5, 5).left(16)); // without seconds
    times.sort();
    return times;
}

// Settings with which a system call on the key's files fails, as faultshim.h describes it. The
// loader takes a blank in LD_PRELOAD for the end of a name.
QString failing(const QString& fault, const QString& root = "KEY/download") {
    return QString("LD_PRELOAD=libfaultshim.so LD_LIBRARY_PATH='" FAULTSHIM_DIR
                   "' ASAN_OPTIONS=$ASAN_OPTIONS:verify_asan_link_order=0 "
                   "FAULT_ROOT=%1 FAULT='%2'")
        .arg(root, fault);
}

// The command on a terminal, and what that shows of it.
Run onTerminal(const TestKey& key, const QString& command) {
    return shell(key, "script -qec \"" + command + "\" /dev/null");
}
bool hasTerminal() {
    return onTerminal(TestKey(), "true").status == 0;
}

} // namespace

class TestReadkey : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { RunLog::show(); }

    void everyViewTellsTheSameStory_data() {
        const auto row = columns<QString>("options");
        row("tables.txt", "");
        row("summary.txt", "--utc --summary");
        row("files.jsonl", "--json");
        row("insertions.csv", "--csv");
        row("cards.csv", "--csv=cards");
        row("files.csv", "--csv=files");
    }

    void everyViewTellsTheSameStory() {
        QFETCH(QString, options);
        const StoryKey key;
        addOddities(key);
        const Run run = readkey(key, options + " --as-of 2024-03-15 KEY", "TZ=Europe/Berlin");
        QCOMPARE(linesOf(run.out), linesOf(dataFile(QTest::currentDataTag())));
        QCOMPARE(run.err, QString("readkey: M_20240310_0830_BAD.DDD: not a vehicle-unit download "
                                  "(VehicleInfo read() TREPx1 not found, found d2d2instead!)\n"));
        QCOMPARE(run.status, 3);
    }

    // The page's data, where the clock is put forward while a card is in the slot; a browser tests
    // what the page makes of them.
    void pageHoldsItsData() {
        const StoryKey key;
        addOddities(key);
        const Run run =
            readkey(key, "--html - --as-of 2024-03-15 KEY", "TZ=WIN0SUM,M3.2.4/1,M11.1.0");
        QVERIFY(run.out.startsWith("<!DOCTYPE html>") && run.out.endsWith("</html>\n"));
        const auto part = [&run](const char* from, const char* to) {
            const int start = run.out.indexOf(from);
            return run.out.mid(start, run.out.indexOf(to, start) - start);
        };
        const QString page = part("<p id=\"about\"", "<p class=\"note\" id=\"made\"") +
                             part("<dl class=\"figures\"", "<p class=\"without-script\"") +
                             part("<section class=\"taken\" id=\"failures\"", "<script>");
        QCOMPARE(linesOf(page), linesOf(dataFile("page.txt")));
    }

    void pageIsWrittenWholeOrNotAtAll_data() {
        const auto row = columns<QString, QString, QString>("script", "message", "found");
        row("new", "PROGRAM --html page KEY", "", "f");
        row("full disk", "prlimit --fsize=20000 PROGRAM --html page KEY",
            "page: cannot be written: File too large", "");
        row("no directory", "PROGRAM --html no/page KEY",
            "no/page: cannot be written: No such file or directory", "");
        row("pipe",
            "mkfifo page; (timeout 60 cat page >out) & PROGRAM --html page KEY; wait; grep -q "
            "'^</html>' out",
            "", "p");
    }

    // What is not a regular file takes the page, and stays.
    void pageIsWrittenWholeOrNotAtAll() {
        QFETCH(QString, script);
        QFETCH(QString, message);
        const StoryKey key;
        const Run run = shell(key, script);
        QCOMPARE(run.err, message.isEmpty() ? QString() : "readkey: " + message + '\n');
        QCOMPARE(run.status, message.isEmpty() ? 0 : 1);
        QTEST(outputOf(key, "find . -name 'page' -printf %y"), "found");
    }

    // The format that other programs read: the library's signals, in their order.
    void eventsAreTheSignalsInTheirOrder() {
        const TestKey key;
        const auto finished = [](const char* surname, const char* firstNames, quint8 slot) {
            return insertion(firstNames, surname, at("2024-03-15T06:00"), 66051, 1720000000, 66300,
                             slot);
        };
        const auto current = [](const char* surname) {
            return insertion("K\xE4the", surname, 1720000060, 66300, stillInserted, noKilometres);
        };
        key.write("download/C_20240315_0815_J_SAMPLE.DDD", smallCard("DF00000000000100"));
        key.write("download/M_20240315_0830_AB123CD.DDD",
                  vehicleFile("AB 123 CD", {{finished("Sample", "Jo", 1), current("O\"Neil")}}));
        key.write("download/M_20230315_0830_\"a,b\".DDD",
                  vehicleFile("AB 123 CD", {{current("=1+\x1B")}}));
        key.write("download/v_old_19991231_2359.tgd",
                  vehicleFile("AB 123 CD", {{finished("\\E\"v\x1B\x7F", "\x9BJ", 200)}}));
        key.write("download/readme.txt", "not a download");
        const Run run = readkey(key, "--events KEY", "TZ=America/New_York");
        QCOMPARE(linesOf(run.out), linesOf(dataFile("events.jsonl")));
        QCOMPARE(run.err, QString());
        QCOMPARE(run.status, 0);
    }

    void eventsEndWithAFailedOpen() {
        const TestKey key("");
        const Run run = readkey(key, "--events KEY");
        QCOMPARE(linesOf(run.out), linesOf(dataFile("failedopen.jsonl")));
        QCOMPARE(run.status, 1);
    }

    void wrongUsageIsRefused_data() {
        tableRows<QString, QString>("usage.txt", "arguments", "complaint");
    }

    void wrongUsageIsRefused() {
        QFETCH(QString, arguments);
        QFETCH(QString, complaint);
        const TestKey key;
        const Run run = readkey(key, arguments);
        QCOMPARE(run.err,
                 "readkey: " + complaint + "\nreadkey: \"readkey --help\" shows how it is used\n");
        QCOMPARE(run.out, QString());
        QCOMPARE(run.status, 2);
    }

    // Help, manual and completions know the same options and kinds of CSV, the manual has each of
    // their columns, and the help fits a screen.
    void optionsAreDocumented() {
        const TestKey key;
        const QString completions = "../../tools/readkey/completions/";
        const QString help = readkey(key, "--help").out;
        const Lines options = optionsIn(help);
        QVERIFY(options.list.size() >= 15);
        QVERIFY2(help.count('\n') <= 24, "the help has more lines than a terminal");
        for (const QString& line : help.split('\n'))
            QVERIFY2(line.size() <= 80, qPrintable(line));
        const QString manual = dataFile("../../docs/readkey.1").replace("\\-", "-");
        const QString fish = dataFile(completions + "readkey.fish");
        for (const QString& text :
             {manual, dataFile(completions + "readkey.bash"), dataFile(completions + "_readkey"),
              QString(fish).replace(" -l ", "--")})
            QCOMPARE(optionsIn(text), options);
        const QString kinds = outputOf(
            key, "bash -c 'compopt() { :; }; . \"" TEST_DATA
                 "../../tools/readkey/completions/readkey.bash\"; "
                 "COMP_WORDS=(readkey --csv =) COMP_CWORD=2; _readkey; echo \"${COMPREPLY[*]}\"'");
        QVERIFY(dataFile(completions + "_readkey").contains('(' + kinds.trimmed() + ')'));
        QVERIFY(fish.contains(kinds));
        for (const QString& kind : kinds.split(' '))
            for (const QString& column : readkey(key, "KEY --csv=" + kind).out.trimmed().split(','))
                QVERIFY2(manual.contains(QRegularExpression("\n(.*, )?" + column + "(,.*)?\tT\\{")),
                         qPrintable("the manual does not have " + column + " of " + kind));
        QVERIFY(readkey(key, "-v").out.startsWith("readkey 1."));
    }

    // What the manual shows for other programs works as it stands there.
    void manualExamples() {
        const StoryKey key;
        const QString path = "PATH=$(dirname PROGRAM):/usr/bin:$PATH\n";
        const QString programs =
            "readkey -v; jq --version; sqlite3 --version; python3 -c 'import pandas'";
        if (shell(key, path + programs).status != 0)
            QSKIP("the examples cannot run here");
        const QString manual = dataFile("../../docs/readkey.1");
        QString examples;
        for (const char* program : {"jq", "sqlite3", "python3"})
            examples += manual.section(QString(".\\\" example %1\n.EX\n").arg(program), 1)
                            .section(".EE", 0, 0);
        examples.replace("\\-", "-").replace("\\(aq", "'").replace("\\e", "\\");
        const Run run = shell(key, path + examples);
        QCOMPARE(run.err, QString());
        QCOMPARE(linesOf(run.out), linesOf(dataFile("examples.txt")));
    }

    void failuresAreToldAndNothingElseIsShown_data() {
        tableRows<QString, QString, QString, int, QString>("failures.txt", "given", "fault",
                                                           "arguments", "status", "message");
    }

    // A failure is told in plain words on standard error and at the end of the tables. Nothing else
    // of a failed file is shown.
    void failuresAreToldAndNothingElseIsShown() {
        QFETCH(QString, given);
        QFETCH(QString, fault);
        QFETCH(QString, arguments);
        QFETCH(QString, message);
        if (!fault.isEmpty() && QString(FAULTSHIM_DIR).isEmpty())
            QSKIP("the emulator's own calls would fail");
        const TestKey key;
        const auto jo = insertion("Jo", "Sample", at("2024-03-13T06:00"), 1, 1720000000, 2);
        key.write("whole/vehicle", vehicleFile("AB 123 CD", {{jo}, {jo}}));
        key.write("whole/card", smallCard("DF1"));
        outputOf(key, given);
        const QString directories = shell(key, "find . -type d").out;
        QString before = fault.isEmpty() ? "" : failing(fault);
        if (given.contains("chmod") && ::getuid() == 0) // root is refused nothing otherwise
            before = "setpriv --bounding-set=-dac_override,-dac_read_search";
        const Run run = readkey(key, arguments, before);
        // No directory was made. The shell removes what Qt cannot: names that are not UTF-8.
        QCOMPARE(outputOf(key, "chmod -R 755 .; find . -type d; rm -r download"), directories);
        QCOMPARE(run.err, "readkey: " + message + "\n");
        QTEST(run.status, "status");
        QVERIFY2(run.out.contains("\nVehicles: none\n"), qPrintable(run.out));
        QVERIFY2(run.out.contains("\nFailed\n  "), qPrintable(run.out));
    }

    // Above 20 files with one cause, one line is enough on standard error. The tables have them
    // all, and where both are on one terminal, nothing is told twice.
    void oneCauseIsOneLine() {
        const TestKey key("one");
        outputOf(
            key,
            "for i in $(seq 10 29); do head -c 6$i /dev/zero >one/M_20240315_08${i}_A.DDD; done"
            "; mkdir two; cp one/M_20240315_0810_A.DDD two");
        const Run few = readkey(key, "KEY/one");
        QCOMPARE(few.err.count("not a vehicle-unit download"), 20);
        QCOMPARE(onTerminal(key, "PROGRAM KEY/one").out.count("not a vehicle-unit download"), 20);
        const Run many = readkey(key, "KEY/one KEY/two nothing");
        QCOMPARE(many.err,
                 QString("readkey: not a vehicle-unit download: 21 files, the first are "
                         "KEY/one: M_20240315_0829_A.DDD, KEY/one: M_20240315_0828_A.DDD, "
                         "KEY/one: M_20240315_0827_A.DDD\n"
                         "readkey: nothing: no such file or directory\n"));
        QCOMPARE(many.out.count("\n  KEY/one: M_20240315_08"), 20);
        QCOMPARE(many.out.count("\n  KEY/two: M_20240315_0810_A.DDD: not a vehicle"), 1);
        QVERIFY(many.out.contains("\n  KEY/two  M_20240315_0810_A.DDD  failed\n"));
        QCOMPARE(many.status, 1);
    }

    void oddThingsAreHinted_data() {
        const auto row = columns<QString, QString, QString>("given", "path", "hint");
        row("changed on its way", "mv plate download/M_20240315_0830_A.DDD", "KEY",
            "M_20240315_0830_A.DDD: probably changed on its way: control characters in the plate, "
            "and no insertions");
        row("empty beside full", "mkdir DOWNLOAD; mv plate DOWNLOAD/notes.ddd", "KEY",
            "KEY: \"download\" is empty, \"DOWNLOAD\" is not: PATH may be KEY/DOWNLOAD");
        row("other names", "mv plate download/notes", "--verbose KEY 2>&1 >out | grep notes >&2",
            "KEY/download/notes: left alone");
    }

    void oddThingsAreHinted() {
        QFETCH(QString, given);
        QFETCH(QString, path);
        QFETCH(QString, hint);
        const TestKey key;
        key.write("plate", vehicleFile("A\nB", {}));
        outputOf(key, given);
        const Run run = readkey(key, path);
        QCOMPARE(QString(run.err).remove("readkey: "), hint + "\n");
        QCOMPARE(run.status, 0);
    }

    // Files that have no name of a download get their own time when they are copied.
    void singleFilesAreCopied() {
        const TestKey key("in");
        key.write("in/M_20240315_0830_A.DDD", smallVehicleUnit("AB 1"));
        key.write("in/card", smallCard("DF1"));
        key.write("in/text", "hello");
        outputOf(key, "touch -d 2024-01-02T03:04Z in/card");
        const Run run = readkey(key, "--json --copy-to copies in/* nothing");
        QCOMPARE(run.err,
                 QString("readkey: text: not a download but text (The card file ends within "
                         "block 6865 at 0)\nreadkey: nothing: no such file or directory\n"));
        QCOMPARE(run.status, 1);
        QVERIFY(run.out.contains(
            "{\"file\":\"card\",\"key\":\"in\",\"kind\":\"card\",\"downloaded\":null,"
            "\"status\":\"ok\",\"reason\":null,\"copy\":\"copied\","));
        QVERIFY(run.out.endsWith("\n{\"file\":null,\"key\":\"nothing\",\"kind\":null,"
                                 "\"downloaded\":null,\"status\":\"failed\","
                                 "\"reason\":\"no such file or "
                                 "directory\",\"copy\":null,\"card\":null,\"vehicle\":null}\n"));
        QCOMPARE(outputOf(key, "cd copies; find * -printf '%f %TY-%Tm-%Td %TH:%TM\n' | sort"),
                 QString("M_20240315_0830_A.DDD 2024-03-15 08:30\ncard 2024-01-02 03:04\n"));
    }

    void downloadedIsMadeOnRequest() {
        const TestKey key;
        outputOf(key,
                 "PROGRAM .; [ ! -e downloaded ]; PROGRAM --downloaded-dir KEY; [ -d downloaded ]");
    }

    // A path is a key, its download directory, a folder of files or a file; several make one
    // logbook. Where the name of a file says nothing, its contents do.
    void pathIsAKeyOrItsDownloadsOrAFolder_data() {
        const auto row = columns<QString>("lastLine");
        const QString all = "5 files, 1 driver card, 3 vehicle downloads, 5 insertions.\n";
        const QString twice = "10 files, 2 driver cards, 6 vehicle downloads, 5 insertions.\n";
        row("KEY", all);
        row("KEY/download/", all);
        row("KEY/folder", all);
        row("KEY/old", all);
        row("KEY KEY/old", twice);
        row("KEY KEY/folder", twice);
        row("KEY/DOWNLOAD", all);
        row("KEY/folder/*", all);
        row("KEY/any/*", all);
    }

    void pathIsAKeyOrItsDownloadsOrAFolder() {
        const StoryKey key;
        outputOf(
            key,
            "cp -r download folder; mkdir old any; cp -r download old/DOWNLOAD;"
            "cp -r download DOWNLOAD; cd download; for i in *; do cp $i ../any/${i%%.*}; done");
        const Run run = readkey(key, QString(QTest::currentDataTag()));
        QCOMPARE(run.err, QString());
        QTEST(run.out.section('\n', -2), "lastLine");
        QCOMPARE(run.status, 0);
    }

    // An insertion is taken from the newest download that closes it, whatever the order of the
    // paths.
    void newestDownloadWins() {
        const StoryKey key;
        outputOf(key, "mkdir folder; mv download/M_20240313* folder");
        for (const char* arguments : {"--csv KEY/folder KEY", "--csv KEY KEY/folder"}) {
            const Run run = readkey(key, arguments);
            QCOMPARE(run.out.count(",M_20240315_0830_AB123CD.DDD,"), 4);
            QCOMPARE(run.out.count(",M_20240313_2330_AB123CD.DDD,"), 0);
        }
    }

    void filtersLeaveWhatMatches_data() {
        tableRows<QString, QString>("filters.txt", "options", "inserted");
    }

    void filtersLeaveWhatMatches() {
        QFETCH(QString, options);
        QFETCH(QString, inserted);
        const StoryKey key;
        const Run csv = readkey(key, options + " --csv KEY", "TZ=Africa/Johannesburg");
        QCOMPARE(insertedTimes(csv.out).join(' '), inserted);
        const int left = inserted.split(' ', Qt::SkipEmptyParts).size();
        const Run tables = readkey(key, options + " KEY", "TZ=Africa/Johannesburg");
        QVERIFY(tables.out.startsWith("Times are "));
        QCOMPARE(tables.out.endsWith(" of 5.\n"), left < 5);
        QVERIFY(tables.out.contains(
            QString("Only what matches the filter is shown: %1 of 5 insertions\n").arg(left)));
    }

    // What is missing, overdue, ambiguous or only half in the period is said, and never mixed up.
    void figuresSayWhatTheDataCarry() {
        const TestKey key;
        tellFleet(key);
        QString all;
        for (const char* options :
             {"--summary", "--summary --driver DF000000000002 --from 2024-03-01 --to 2024-03-31",
              "--summary --driver early", "--driver 'Test, zoe' --from 2024-03-31",
              "--vehicle ' a,B 1' --from 2024-02-10 --to 2024-02-20", "--csv=gaps",
              "--csv=vehicles --to 2024-03-31", "--csv=drivers --to 2024-03-31"})
            all += "== " + QString(options) + '\n' +
                   outputOf(key, QString("PROGRAM --utc --as-of 2024-04-01 KEY ") + options);
        QCOMPARE(linesOf(all.remove('\r')), linesOf(dataFile("fleet.txt")));
    }

    void agesAreWholeDaysOfTheZone_data() {
        const auto row = columns<QString, QString>("vehicle", "card");
        // Days since 2024-03-15 08:30 and since 2024-02-15 08:15 (UTC), and 1 for overdue.
        row("2024-03-14 TZ=UTC", "1,0", "28,0"); // an earlier download is two days older
        row("2024-03-15 TZ=UTC", "0,0", "29,1");
        row("2024-06-13 TZ=UTC", "90,0", "119,1");
        row("2024-06-14 TZ=UTC", "91,1", "120,1");
        row("2024-06-13 TZ=Pacific/Kiritimati", "90,0", "119,1");
        row("2024-06-13 TZ=Pacific/Pago_Pago", "91,1", "120,1");
    }

    void agesAreWholeDaysOfTheZone() {
        const StoryKey key;
        const QString day = QString(QTest::currentDataTag()).section(' ', 0, 0);
        const QString zone = QString(QTest::currentDataTag()).section(' ', 1);
        const auto cells = [&](const QString& kind, const QString& name) {
            const QString csv =
                readkey(key, "--csv=" + kind + " --as-of " + day + " KEY", zone).out;
            return csv.section('\n' + name, 1).section("," + day + ",", 1).section(',', 0, 1);
        };
        QTEST(cells("vehicles", "AB 123 CD"), "vehicle");
        QTEST(cells("drivers", "Jo Sample"), "card");
    }

    void daysAndHoursAreThoseOfTheZone() {
        const TestKey key;
        const auto record = [](const char* from, const char* to) {
            return insertion("Jo", "Sample", at(from), 1, at(to), 2);
        };
        key.write("download/M_20241101_0000_A.DDD",
                  vehicleFile("A 1", {{record("2024-10-27T00:30", "2024-10-27T01:10")},
                                      {record("2011-12-30T09:30", "2011-12-30T09:40")},
                                      {record("2011-12-30T10:00", "2011-12-30T10:10")}}));
        const QString twice = readkey(key, "KEY", "TZ=Europe/Berlin").out;
        QVERIFY2(twice.contains("  2024-10-27 02:30a  02:10b  "), qPrintable(twice));
        // On Samoa the 30th was left out.
        for (const char* option : {"--to 2011-12-29", "--to 2011-12-30"})
            QCOMPARE(
                insertedTimes(readkey(key, QString(option) + " --csv KEY", "TZ=Pacific/Apia").out),
                QStringList("2011-12-30T09:30"));
        const Run unknown = readkey(key, "KEY", "TZ=Nowhere/Foo");
        QCOMPARE(unknown.err, QString("readkey: times are UTC: the time zone TZ=Nowhere/Foo is not "
                                      "known here\n"));
        QVERIFY(unknown.out.startsWith(
            "Times are local: Nowhere/Foo (not known here, so they are UTC)"));
    }

    // The library parses the 100 newest of a kind; every view shows every file.
    void everyFileIsShown() {
        const TestKey key;
        for (quint32 i = 0; i < 103; ++i) {
            const quint32 time = at("2024-03-13T00:00") + i * 60;
            const auto record = insertion("Jo", "Sample", time, 1, time + 30, 2);
            const QString name = QString("_20240315_0810_%1.DDD").arg(i);
            key.write("download/M" + name, vehicleFile("AB 123 CD", {{record}}));
            key.write("download/C" + name, smallCard("DF00000000000100"));
        }
        key.write("download/M_20240301_0830_OLD.DDD", QByteArray(700, 'v'));
        const Run run = readkey(key, "--csv KEY");
        QCOMPARE(insertedTimes(run.out).size(), 103);
        QCOMPARE(run.err, QString("readkey: M_20240301_0830_OLD.DDD: not a vehicle-unit download "
                                  "but text (VehicleInfo read() TREPx1 not found, found "
                                  "7676instead!)\n"));
        QCOMPARE(run.status, 3);
        QCOMPARE(readkey(key, "--csv=cards KEY").out.count(",driver,1,DF"), 103);
    }

    void copies() {
        const StoryKey key;
        const TestKey target("");
        const QString copies = target.path("copies");
        const QString copy = "--copy-to " + copies + " KEY";

        const Run full = readkey(key, copy, "prlimit --fsize=100"); // in the place of a full disk
        QCOMPARE(full.err.count("not copied to " + copies + ": File too large\n"), 5);
        QCOMPARE(outputOf(target, "find copies -perm -700"), QString("copies\n"));

        QCOMPARE(readkey(key, copy).out.section('\n', -2),
                 QString("5 files, 1 driver card, 3 vehicle downloads, 5 insertions, 5 copied.\n"));
        outputOf(key, "diff -r download " + copies);

        target.write("copies/C_20240314_0815_W.DDD", "other");
        target.remove("copies/V_XY9_20231101_0830.TGD");
        const Run again = readkey(key, copy);
        QCOMPARE(again.err, "readkey: C_20240314_0815_W.DDD: not copied to " + copies +
                                ": another file with this name is there; it was left alone\n");
        QCOMPARE(again.out.section('\n', -2),
                 QString("5 files, 1 driver card, 3 vehicle downloads, "
                         "5 insertions, 1 copied, 3 kept, 1 not copied.\n"));
        QCOMPARE(again.status, 1);

        // A folder of files is as good as a key.
        outputOf(key, "mv download folder");
        const Run json = readkey(key, "--json " + copy + "/folder");
        QCOMPARE(json.out.count("\"copy\":\"kept\""), 4);
        QCOMPARE(json.out.count("\"copy\":\"failed\""), 1);
        const Run lost =
            shell(key, "mkdir gone; cd gone; rmdir KEY/gone; PROGRAM --copy-to out KEY/folder");
        QCOMPARE(lost.err,
                 QString("readkey: out: nothing can be copied there: it cannot be created: No "
                         "such file or directory\n"));
    }

    // The last of the calls puts the names of the copies onto the disk.
    void copiesThatMayBeLostCountAsFailed() {
        if (QString(FAULTSHIM_DIR).isEmpty())
            QSKIP("the emulator's own calls would fail");
        const StoryKey key;
        const TestKey target("copies");
        const QString copies = target.path("copies");
        const Run run =
            readkey(key, "--json --copy-to " + copies + " KEY", failing("sync 6 EIO", copies));
        QCOMPARE(run.err, "readkey: " + copies +
                              ": the copies may not be on the disk: Input/output error\n");
        QCOMPARE(run.out.count("\"copy\":\"failed\""), 5);
        QCOMPARE(run.status, 1);
    }

    void nothingThatATerminalActsOnIsShown_data() {
        const auto row = columns<QString, QString>("options", "shown");
        const QString escaped =
            "\\x1B[2J\\x0A\\x9B\\xAD\\u200B\\u202E\\u2029\\uFEFF\\U000E0041%1z.DDD";
        row("tables", "", escaped.arg("\\"));
        row("CSV", "--csv", escaped.arg("\\\\"));
        row("JSON", "--json",
            "\\u001b[2J\\n\\u009b\\u00ad\\u200b\\u202e\\u2029\\ufeff\\udb40\\udc41\\\\z.DDD");
        row("debug lines", "--verbose", "open() skip: \"M_20241316_0830_");
    }

    // File names, plates and holders are a stranger's. What a terminal could act on never gets
    // there.
    void nothingThatATerminalActsOnIsShown() {
        QFETCH(QString, options);
        QFETCH(QString, shown);
        const QString evil = "_0830_\x1B[2J\n\u009B\u00AD\u200B\u202E\u2029\uFEFF\U000E0041\\z.DDD";
        const auto record = insertion("E\x1B[2J\n\x9B\x7F", "\x9B", 1710482400, 1, 1710482500, 2);
        const TestKey key;
        key.write("download/M_20240315" + evil, vehicleFile("\x7F", {{record}}));
        key.write("download/M_20240317" + evil, vehicleFile("\x1B[2J\x9B\x7F", {{record}}));
        key.write("download/M_20240316" + evil, QByteArray(700, 'v'));
        key.write("download/M_20241316" + evil, "skipped");
        key.write("QtProject/qtlogging.ini", "[Rules]\n*.debug=false\n"); // as some systems have it
        const Run run = readkey(key, options + " KEY", "XDG_CONFIG_HOME=KEY");
        QCOMPARE(run.status, 3);
        const QString all = run.out + run.err;
        QVERIFY2(all.contains(shown), qPrintable(all));
        QVERIFY2(run.err.contains("readkey: M_20240316_0830_\\x1B[2J\\x0A\\x9B"),
                 qPrintable(run.err));
        const QRegularExpression unsafe("(?!\\r?\\n)[\\p{Cc}\\p{Cf}\\p{Zl}\\p{Zp}]");
        QVERIFY2(!all.contains(unsafe), qPrintable(all));
    }

    void everyTimeHasItsText_data() {
        const auto row = columns<QString, QString, QString, QString, QString>("zone", "name", "utc",
                                                                              "local", "lastEnd");
        row("first", "America/New_York", "C_19700101_0000_J.DDD", "1970-01-01T00:00:00Z",
            "1969-12-31 19:00", "01:28 +49711d");
        row("four digits", "UTC", "C_99991231_2359_J.DDD", "9999-12-31T23:59:00Z",
            "9999-12-31 23:59", "06:28 +49710d");
        row("five digits", "Pacific/Honolulu", "C_99991231_2400_J.DDD", "+10000-01-01T00:00:00Z",
            "9999-12-31 14:00", "20:28 +49710d");
    }

    // A name may have any time from 1970 on, a record any until 2106.
    void everyTimeHasItsText() {
        QFETCH(QString, zone);
        QFETCH(QString, name);
        QFETCH(QString, utc);
        QFETCH(QString, local);
        QFETCH(QString, lastEnd);
        const TestKey key;
        key.write("download/" + name, smallCard("DF1"));
        key.write("download/M_20240315_0830_A.DDD",
                  vehicleFile("AB 1", {{insertion("J", "S", 1, 1, 0xFFFFFFFE, 2)}}));
        for (const char* view : {"--json", "--csv=files", "--events"}) {
            const Run run = readkey(key, view + QString(" KEY"), "TZ=" + zone);
            QVERIFY2(run.out.contains(utc), view);
        }
        const QString tables = readkey(key, "--as-of 9999-12-31 KEY", "TZ=" + zone).out;
        QVERIFY(tables.contains("  " + local + "  "));
        QVERIFY(tables.contains("  " + lastEnd + "  "));
        QVERIFY(readkey(key, "--html - KEY", "TZ=" + zone).out.endsWith("</html>\n"));
    }

    void brokenOutputIsToldAndFilesAreCopied_data() {
        const auto row = columns<QString>("option");
        for (const char* option : {"--utc", "--json", "--csv", "--events"})
            row(option, option);
    }

    // Nothing can be shown, but everything is copied.
    void brokenOutputIsToldAndFilesAreCopied() {
        QFETCH(QString, option);
        const StoryKey key;
        const TestKey target("copies");
        const QString arguments = option + " KEY --copy-to " + target.path("copies");
        const Run full = readkey(key, arguments + " >/dev/full");
        QCOMPARE(full.err, QString("readkey: cannot write to standard output: No space left on "
                                   "device\n"));
        QCOMPARE(full.status, 1);
        QCOMPARE(outputOf(target, "ls -A copies").count('\n'), 5);
        // No file of the key becomes the standard output.
        const Run closed = readkey(key, arguments + " >&-");
        QCOMPARE(closed.err,
                 QString("readkey: cannot write to standard output: Bad file descriptor\n"));
        QCOMPARE(closed.status, 1);
        outputOf(target, "diff -r copies " + key.path("download"));
        const Run unread =
            shell(key, "mkfifo pipe; : <pipe & exec 3>pipe; wait; PROGRAM " + arguments + " >&3");
        QCOMPARE(unread.err, QString());
        QCOMPARE(unread.status, 128 + SIGPIPE);
    }

    void interruptionLeavesNoHalfFile_data() {
        const auto row = columns<QString, int>("option", "call");
        for (const char* option : {"--events", "--utc"})
            for (const int call : {1, 4, 8, 12, 16, 18, 20, 22, 24})
                row(option + QByteArray(", call ") + QByteArray::number(call), option, call);
    }

    // Ctrl-C at the n-th read of the key, and so in the middle of a copy too. The shell hears of
    // it, no output looks complete, and no half file is left.
    void interruptionLeavesNoHalfFile() {
        if (QString(FAULTSHIM_DIR).isEmpty())
            QSKIP("the emulator's own calls would fail");
        QFETCH(QString, option);
        QFETCH(int, call);
        const StoryKey key;
        const TestKey target("copies");
        if (option == "--utc") // the copies are there, and are compared
            outputOf(key, "PROGRAM KEY --copy-to " + target.path("copies"));
        const Run run = readkey(key, option + " KEY --copy-to " + target.path("copies"),
                                failing(QString("read %1 SIGINT").arg(call)));
        QCOMPARE(run.status, 128 + SIGINT);
        QVERIFY2(run.err.endsWith("readkey: interrupted before the end\n"), qPrintable(run.err));
        QCOMPARE(run.err.count(": not copied to "), run.err.count(": interrupted\n"));
        QVERIFY2(!run.out.contains("\"read\"") && (option == "--events" || run.out.isEmpty()),
                 qPrintable(run.out));
        const QString differences =
            outputOf(key, "diff -rq download " + target.path("copies") + " || [ $? -eq 1 ]");
        QVERIFY2(!differences.contains("differ"), qPrintable(differences));
        QVERIFY2(!differences.contains(target.mountPath()), qPrintable(differences));
    }

    // Redrawn only when it changes, within 40 columns, and gone at the end.
    void progressBar() {
        if (!hasTerminal())
            QSKIP("this system has no pseudo-terminal");
        const StoryKey key;
        const QString err = onTerminal(key, "PROGRAM --csv KEY >out").out;
        const QStringList bars = err.split('\r', Qt::SkipEmptyParts);
        QVERIFY2(bars.size() > 5, qPrintable(err));
        QCOMPARE(bars.last(), QString("\x1B[K"));
        const QRegularExpression bar("^\\[#* *\\] [ \\d]{3}%$");
        for (int i = 0; i + 1 < bars.size(); ++i) {
            QVERIFY2(bars[i].contains(bar) && bars[i].size() < 40, qPrintable(bars[i]));
            QVERIFY2(bars[i] != bars[i + 1], qPrintable(bars[i]));
        }
        QVERIFY(bars.contains("[" + QString(32, '#') + "] 100%"));
    }

    void tablesFitTheTerminal_data() {
        const auto row =
            columns<int, QString, bool, QString>("width", "environment", "isColoured", "shown");
        const QString whole = "  Käthe O\"Neil  driver     2024-03-13 22:00  04:00 +1d     1212   "
                              "1400  188\n";
        row("all columns", 80, "", true, whole);
        row("without colours", 80, "NO_COLOR=1", false, whole);
        row("dumb", 80, "TERM=dumb", false, whole);
        row("fewer columns", 66, "", true,
            "  Käthe O\"Neil  driver     2024-03-13 22:00  04:00 +1d   1400  188\n");
        row("short names", 80, "", true,
            "  Maximiliane Beispi\u2026  driver  2024-03-14 06:00  07:00        1  1000000  "
            "999999\n");
        row("fewest columns", 40, "", true, "  Käthe O\"Neil  2024-03-13 22:00  188\n");
    }

    void tablesFitTheTerminal() {
        if (!hasTerminal())
            QSKIP("this system has no pseudo-terminal");
        QFETCH(int, width);
        QFETCH(QString, environment);
        QFETCH(bool, isColoured);
        QFETCH(QString, shown);
        const StoryKey key;
        addOddities(key);
        const auto known = insertion("Maximiliane", "Beispiel", at("2024-03-14T06:00"), 1,
                                     at("2024-03-14T07:00"), 1000000);
        key.write("download/M_20240314_0800_L.DDD", vehicleFile("L 1", {{known}}));
        const QString command = "stty cols %1; %2 PROGRAM --as-of 2024-03-15 KEY 2>progress";
        QString out = onTerminal(key, command.arg(width).arg(environment)).out;
        out.remove('\r');
        QCOMPARE(out.contains("\x1B[1mDrivers\x1B[0m\n"), isColoured);
        QCOMPARE(out.contains("\x1B[31m  M_20240310_0830_BAD.DDD:"), isColoured);
        out.remove(QRegularExpression("\x1B\\[\\d+m"));
        QVERIFY2(out.contains(shown), qPrintable(out));
        for (const QString& line : out.split('\n'))
            QVERIFY2(line.size() <= width || !line.contains(":00  "), qPrintable(line));
    }
};

QTEST_GUILESS_MAIN(TestReadkey)
#include "tst_readkey.moc"
