#include "tests/readkey/readkeyprocess.h"
#include "tests/readkey/storykey.h"
#include "tests/support/datafile.h"
#include "tests/support/rows.h"

#include <QtCore/QJsonDocument>
#include <QtCore/QRegularExpression>
#include <QtTest/QtTest>

#include <functional>

#include <sys/stat.h>

namespace {

using Arrangement = std::function<void(const TestKey&)>;

// Times of insertion, the fourth column but two of the CSV of insertions.
QStringList insertedTimes(const QString& csv) {
    QStringList times;
    const QRegularExpression time(",(\\d{4}-\\d\\d-\\d\\dT[\\d:]{5}):00Z,[^T]*");
    for (const QString& line : csv.split("\r\n"))
        if (time.match(line).hasMatch())
            times.append(time.match(line).captured(1));
    times.sort();
    return times;
}

QString lastLine(const QString& text) {
    return text.split('\n').value(text.count('\n') - 1);
}

QStringList entries(const QString& directory) {
    return QDir(directory).entryList(QDir::AllEntries | QDir::Hidden | QDir::System |
                                     QDir::NoDotAndDotDot);
}

// Words that begin with two dashes.
QSet<QString> optionsIn(const QString& text) {
    QSet<QString> options;
    auto match = QRegularExpression("--[a-z][a-z-]+").globalMatch(text);
    while (match.hasNext())
        options.insert(match.next().captured());
    return options;
}

const char joDrives[] = "2024-03-13T06:00";
const char kaetheDrives[] = "2024-03-13T22:00";
const char joIsBeside[] = "2024-03-13T22:01";
const char nobodyDrives[] = "2024-03-15T06:00";
const char joDroveXy9[] = "2023-10-31T06:00";

} // namespace

Q_DECLARE_METATYPE(Arrangement)

class TestReadkey : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8")); }

    // Every view tells the same story.
    void views_data() {
        const auto row = columns<QStringList, QString>("options", "expected");
        row("tables", {"--utc"}, "tables.txt");
        row("summary", {"--utc", "--summary"}, "summary.txt");
        row("JSON", {"--json"}, "files.jsonl");
        row("CSV of insertions", {"--csv"}, "insertions.csv");
        row("CSV of cards", {"--csv=cards"}, "cards.csv");
        row("CSV of files", {"--csv=files"}, "files.csv");
    }

    void views() {
        QFETCH(QStringList, options);
        QFETCH(QString, expected);
        const TestKey key;
        tellStory(key);
        addOddities(key);
        Run run = Readkey("Europe/Berlin").run(options + QStringList(key.mountPath()));
        QCOMPARE(run.out.replace(key.mountPath(), "MOUNT"), dataFile(expected));
        QCOMPARE(run.err, QString("readkey: M_20240310_0830_BAD.DDD: not a vehicle-unit download "
                                  "(begins with D2 D2)\n"));
        QCOMPARE(run.status, 1);
    }

    // The page's data, where the clock is put forward while a card is in the slot; a browser tests
    // what the page makes of them.
    void page() {
        const TestKey key;
        tellStory(key);
        addOddities(key);
        Run run = Readkey("WIN0SUM,M3.2.4/1,M11.1.0").run({"--html", "-", key.mountPath()});
        QVERIFY(run.out.startsWith("<!DOCTYPE html>") && run.out.endsWith("</html>\n"));
        const int start = run.out.indexOf("<script type=");
        QString page = run.out.mid(start, run.out.lastIndexOf("<script>") - start);
        page.replace(key.mountPath(), "MOUNT").replace("},{", "},\n{").replace("],\"", "],\n\"");
        QCOMPARE(page, dataFile("page.txt"));
    }

    // The format that other programs read: the library's signals, in their order.
    void events() {
        const TestKey key;
        const auto finished = [](const char* surname, const char* firstNames, quint8 slot) {
            return insertion(firstNames, surname, at("2024-03-15 06:00"), 66051, 1720000000, 66300,
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
        Run run = Readkey("America/New_York").run({"--events", key.mountPath()});
        QCOMPARE(run.out.replace(key.mountPath(), "MOUNT"), dataFile("events.jsonl"));
        QCOMPARE(run.err, QString());
        QCOMPARE(run.status, 0);
    }

    void eventsEndWithAFailedOpen() {
        const TestKey key("");
        Run run = Readkey().run({"--events", key.mountPath()});
        QCOMPARE(
            run.out.replace(key.mountPath(), "MOUNT"),
            QString("{\"event\":\"open\",\"errors\":[{\"component\":\"libdownloadkey\",\"text\":"
                    "\"open: Download directory does not exist: MOUNT/download\","
                    "\"code\":0}]}\n"));
        QCOMPARE(run.status, 1);
    }

    void wrongUsage_data() {
        const auto row = columns<QStringList, QString>("arguments", "complaint");
        row("no path", {}, "PATH is missing: where is the key mounted?");
        row("empty path", {""}, "PATH is empty");
        row("misspelt", {"--jsno", "a"}, "unknown option \"jsno\"; did you mean \"--json\"?");
        row("cut", {"--down", "a"}, "unknown option \"down\"; did you mean \"--downloaded-dir\"?");
        row("unlike any", {"--b\x1Bold", "a"}, "unknown option \"b\\x1Bold\"");
        row("two views", {"--json", "--csv", "a"}, "--json and --csv exclude each other");
        row("events and a view", {"--json", "--events", "a"},
            "--json and --events exclude each other");
        row("events, filtered", {"--events", "--driver", "x", "a"},
            "--events shows everything: it cannot be filtered");
        row("events of two", {"--events", "a", "b"}, "--events shows one key only");
        row("unknown CSV", {"--csv=drivers", "a"},
            "--csv can be followed by \"=insertions\", \"=cards\" or \"=files\"");
        row("no target", {"a", "--copy-to"}, "Missing value after '--copy-to'.");
        row("empty target", {"a", "--copy-to="}, "the value of --copy-to is empty");
        row("two targets", {"a", "--copy-to", "b", "--copy-to", "c"},
            "--copy-to was given twice, with different values");
        row("no date", {"a", "--from", "2024-02-30"},
            "--from needs a date such as 2024-03-15, not \"2024-02-30\"");
        row("dates turned round", {"a", "--from", "2024-03-15", "--to", "2024-03-14"},
            "--from is later than --to");
    }

    void wrongUsage() {
        QFETCH(QStringList, arguments);
        QFETCH(QString, complaint);
        const Run run = Readkey().run(arguments);
        QCOMPARE(run.err,
                 "readkey: " + complaint + "\nreadkey: \"readkey --help\" shows how it is used\n");
        QCOMPARE(run.out, QString());
        QCOMPARE(run.status, 2);
    }

    // Help, manual and completions know the same options, and the help fits a screen.
    void optionsAreDocumented() {
        const Run run = Readkey().run({"--help"});
        const QSet<QString> options = optionsIn(run.out);
        QVERIFY(options.size() >= 15);
        QVERIFY(run.out.count('\n') <= 24);
        for (const QString& line : run.out.split('\n'))
            QVERIFY2(line.size() <= 80, qPrintable(line));
        for (const char* place : {"docs/readkey.1", "tools/readkey/completions/readkey.bash",
                                  "tools/readkey/completions/_readkey"}) {
            QFile file(QString(SOURCE_DIR "/") + place);
            QVERIFY2(file.open(QIODevice::ReadOnly), place);
            QCOMPARE(options - optionsIn(QString::fromUtf8(file.readAll()).replace("\\-", "-")),
                     QSet<QString>());
        }
        QVERIFY(Readkey().run({"-v"}).out.startsWith("readkey 1."));
    }

    void manualExamples_data() {
        const auto row = columns<QString>("expected");
        row("jq", "Jo Sample\t200\nKäthe O\"Neil\t188\n");
        row("sqlite3", "Jo Sample|AB 123 CD|2024-03-13T06:00:00Z|8.0\n"
                       "Käthe O\"Neil|AB 123 CD|2024-03-13T22:00:00Z|6.0\n"
                       "Jo Sample|AB 123 CD|2024-03-13T22:01:00Z|6.0\n");
        row("python3", "plate      inserted  \n"
                       "AB 123 CD  2024-03-13    388.0\n"
                       "           2024-03-15      0.0\n"
                       "XY 9       2023-10-31      0.0\n");
    }

    // What the manual shows for a program works as it stands there.
    void manualExamples() {
        QFETCH(QString, expected);
        const QString program = QTest::currentDataTag();
        const bool isPandas = program == "python3";
        if (QProcess::execute("/usr/bin/" + program,
                              {isPandas ? "-c" : "--version", "import pandas"}) != 0 ||
            !QString(READKEY_EMULATOR).isEmpty())
            QSKIP("this cannot run here");
        QFile manual(SOURCE_DIR "/docs/readkey.1");
        QVERIFY(manual.open(QIODevice::ReadOnly));
        const QString begin = ".\\\" example " + program + "\n.EX\n";
        QString example =
            QString::fromUtf8(manual.readAll()).section(begin, 1).section(".EE", 0, 0);
        QVERIFY(!example.isEmpty());
        example.replace("\\-", "-").replace("\\(aq", "'").replace("\\e", "\\");
        const TestKey key;
        tellStory(key);
        QProcess shell;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("PATH", QFileInfo(READKEY_PROGRAM).path() +
                                       ":/usr/bin:" + environment.value("PATH"));
        shell.setProcessEnvironment(environment);
        shell.setWorkingDirectory(key.mountPath());
        shell.start("sh", {"-c", example.replace("KEY", key.mountPath())});
        QVERIFY(shell.waitForFinished());
        QCOMPARE(QString::fromUtf8(shell.readAllStandardError()), QString());
        QCOMPARE(QString::fromUtf8(shell.readAllStandardOutput()), expected);
    }

    void failures_data() {
        const auto row = columns<Arrangement, QStringList, QString>("arrange", "arguments", "err");
        const QString vehicle = "download/M_20240315_0830_A.DDD";
        const auto file = [&](const char* title, const QByteArray& bytes, const QString& err) {
            row(
                title, [=](const TestKey& key) { key.write(vehicle, bytes); }, {"KEY"},
                "M_20240315_0830_A.DDD: " + err);
        };
        file("empty", "", "the file is too small (0 bytes)");
        file("tiny", "tiny", "the file is too small (4 bytes)");
        file("no vehicle unit's", QByteArray(700, 'v'),
             "not a vehicle-unit download (begins with 76 76)");
        const auto jo = insertion("Jo", "Sample", at("2024-03-13 06:00"), 1, 1720000000, 2);
        QByteArray cut = vehicleFile("AB 123 CD", {{jo}, {jo}});
        cut.truncate(cut.indexOf("Sample", cut.indexOf("Sample") + 131)); // of the second day
        file("cut behind the first insertion", cut, "damaged or cut off (VehicleInfo ...)");
        row(
            "cut card",
            [](const TestKey& key) {
                key.write("download/C_20240315_0815_J.DDD", smallCard("DF1").left(20));
            },
            {"KEY"}, "C_20240315_0815_J.DDD: damaged or cut off (The card file ...)");
        row(
            "name in another encoding",
            [=](const TestKey& key) {
                const QByteArray name = "/download/M_20240315_0830_\xE9.DDD";
                const QByteArray path = key.mountPath().toUtf8() + name;
                QVERIFY(::mknod(path, S_IFREG | 0600, 0) == 0);
            },
            {"KEY"}, "M_20240315_0830_\uFFFD.DDD: cannot be read: its name is not valid UTF-8");
        const Arrangement nothing = [](const TestKey&) {};
        row("no such key", nothing, {"KEY/\x1Bno"}, "KEY/\\x1Bno: no such directory");
        row(
            "a file", [](const TestKey& key) { key.write("x", "x"); }, {"KEY/x"},
            "KEY/x: not a directory");
        row(
            "no key", [](const TestKey& key) { key.makeDir("x"); }, {"KEY/x"},
            "KEY/x: no key: it has no \"download\" directory, and no download files");
        row(
            "downloaded is a file", [](const TestKey& key) { key.write("downloaded", "x"); },
            {"--downloaded-dir", "KEY"},
            "KEY: Could not create directory path on USB Stick: KEY/downloaded");
        row("remount of no mount point", nothing, {"--remount", "KEY"},
            "KEY: not remounted: it is not a mount point");
        row("no folder to copy to", nothing, {"--copy-to", "KEY/../no/no", "KEY"},
            "nothing can be copied to KEY/../no/no: it cannot be made: No such file or directory");
        for (const char* target : {"KEY", "KEY/", "KEY/download", "KEY/new", "KEY/link/new/"})
            row(
                target,
                [](const TestKey& key) {
                    key.makeDir("deep/deeper");
                    key.makeLink("link", "deep/deeper");
                },
                {"--copy-to", target, "KEY/download"},
                QString("nothing can be copied to %1: it is on the key itself (KEY)").arg(target));
    }

    // In plain words on standard error, and last in the tables; nothing of a failed file is shown.
    void failures() {
        QFETCH(Arrangement, arrange);
        QFETCH(QStringList, arguments);
        QFETCH(QString, err);
        const TestKey key;
        arrange(key);
        arguments.replaceInStrings("KEY", key.mountPath());
        Run run = Readkey().run(arguments);
        run.err.replace(key.mountPath(), "KEY");
        run.err.replace(QRegularExpression("(VehicleInfo|The card file) .*\\)"), "\\1 ...)");
        QCOMPARE(run.err, "readkey: " + err + "\n");
        QCOMPARE(run.status, 1);
        QVERIFY2(run.out.contains("\nVehicles: none\n"), qPrintable(run.out));
        QVERIFY2(run.out.contains("\nFailed\n  "), qPrintable(run.out));
        QVERIFY(!QFile::exists(key.path("new")) && !QFile::exists(key.path("deep/deeper/new")));
        // Names that Qt cannot see stay otherwise.
        QVERIFY(QProcess::execute("rm", {"-r", key.path("download")}) == 0);
    }

    void downloadedDirectory() {
        const TestKey key;
        QCOMPARE(Readkey().run({key.mountPath()}).status, 0);
        QVERIFY(!key.exists("downloaded"));
        Readkey relative;
        relative.setWorkingDirectory(key.mountPath());
        QCOMPARE(relative.run({"--downloaded-dir", "."}).err,
                 QString("readkey: .: Could not create directory path on USB Stick: ./downloaded: "
                         "give PATH as an absolute path\n"));
        QCOMPARE(Readkey().run({"--downloaded-dir", key.mountPath()}).status, 0);
        QVERIFY(key.exists("downloaded"));
    }

    void ordinaryUser_data() {
        const auto row = columns<QString, int, QString>("place", "mode", "err");
        const QString denied = "cannot be read: Permission denied\n";
        const QString vehicle = "download/M_20240315_0830_A.DDD";
        row("file", vehicle, 0, "readkey: M_20240315_0830_A.DDD: " + denied);
        row("download directory", "download", 0, "readkey: KEY: KEY/download: " + denied);
        row("mount directory", ".", 0, "readkey: KEY/.: " + denied);
        row("full target", "copies", 0777,
            "readkey: M_20240315_0830_A.DDD: not copied to TARGET: File too large\n");
        row("read-only target", "copies", 0555,
            "readkey: M_20240315_0830_A.DDD: not copied to TARGET: Permission denied\n");
    }

    // What the file system refuses. Root is refused nothing, so the process is someone else.
    void ordinaryUser() {
        QFETCH(QString, place);
        QFETCH(int, mode);
        QFETCH(QString, err);
        const TestKey key;
        const TestKey target("copies");
        const QByteArray bytes = smallVehicleUnit("AB 123 CD");
        key.write("download/M_20240315_0830_A.DDD", bytes);
        const auto change = [](const QString& path, mode_t permissions) {
            QVERIFY(::chmod(qPrintable(path), permissions) == 0);
        };
        change(key.mountPath(), 0755);
        change(target.mountPath(), 0755);
        const QString changed = (place == "copies" ? target : key).path(place);
        change(changed, static_cast<mode_t>(mode));
        Readkey readkey;
        readkey.asOrdinaryUser = true;
        if (mode == 0777) // in the place of a full disk: a limit that the file reaches
            readkey.fileSizeLimit = static_cast<rlim_t>(bytes.size() - 1);
        const QStringList copyTo{"--copy-to", target.path("copies")};
        Run run = readkey.run((place == "copies" ? copyTo : QStringList()) +
                              QStringList(key.mountPath() + (place == "." ? "/." : "")));
        change(changed, 0755);
        if (readkey.error() == QProcess::FailedToStart)
            QSKIP("nobody may not run readkey here");
        QCOMPARE(run.err.replace(key.mountPath(), "KEY").replace(target.path("copies"), "TARGET"),
                 err);
        QCOMPARE(run.status, 1);
        QCOMPARE(entries(target.path("copies")), QStringList());
    }

    // A path is a key, its download directory or a folder of files; several make one logbook.
    void paths_data() {
        const auto row = columns<QStringList, QString>("paths", "last");
        const QString all = "5 files, 1 driver card, 3 vehicle downloads, 5 insertions.";
        const QString twice = "10 files, 2 driver cards, 6 vehicle downloads, 5 insertions.";
        row("key", {"KEY"}, all);
        row("its download directory", {"KEY/download/"}, all);
        row("a folder of files", {"KEY/folder"}, all);
        row("the old directory name", {"KEY/old"}, all);
        row("two keys", {"KEY", "KEY/old"}, twice);
        row("a key and a copy", {"KEY", "KEY/folder"}, twice);
    }

    void paths() {
        QFETCH(QStringList, paths);
        QFETCH(QString, last);
        const TestKey key;
        tellStory(key);
        key.makeDir("old");
        QVERIFY(QProcess::execute("cp", {"-r", key.path("download"), key.path("folder")}) == 0);
        QVERIFY(QProcess::execute("cp", {"-r", key.path("download"), key.path("old/DOWNLOAD")}) ==
                0);
        const Run run = Readkey().run(paths.replaceInStrings("KEY", key.mountPath()));
        QCOMPARE(run.err, QString());
        QCOMPARE(lastLine(run.out), last);
        QCOMPARE(run.status, 0);
    }

    // An insertion is taken from the newest download that closes it, whatever the order of the
    // paths.
    void newestDownloadWins() {
        const TestKey key;
        tellStory(key);
        const QString older = "download/M_20240313_2330_AB123CD.DDD";
        key.makeDir("folder");
        QVERIFY(QFile::rename(key.path(older), key.path("folder/" + QFileInfo(older).fileName())));
        for (const QStringList& paths : {QStringList{key.path("folder"), key.mountPath()},
                                         QStringList{key.mountPath(), key.path("folder")}}) {
            const Run run = Readkey().run(QStringList("--csv") + paths);
            QCOMPARE(run.out.count(",M_20240315_0830_AB123CD.DDD,"), 4);
            QCOMPARE(run.out.count(",M_20240313_2330_AB123CD.DDD,"), 0);
        }
        // And the vehicles come by plate.
        key.write("download/M_20230315_0830_A.DDD", smallVehicleUnit("AA 1"));
        const QString csv = Readkey().run({"--csv", key.mountPath()}).out;
        QVERIFY2(csv.section("\r\n", 1, 1).contains(",AA 1,"), qPrintable(csv));
    }

    // The figures of a driver come from all vehicles, and the card from its newest download.
    void driverOfTwoVehicles() {
        const TestKey key;
        tellStory(key);
        key.write("download/C_20240313_0700_J_SAMPLE.DDD", smallCard("DF00000000000101", 1, 1));
        key.write("download/C_20231101_0700_J_SAMPLE.DDD", smallCard("DF00000000000102", 1, 1));
        const Run run = Readkey().run({"--utc", key.mountPath()});
        const QString line = "Jo Sample     DF00000000000101  1    2024-03-13 07:00           3\n";
        QVERIFY2(run.out.contains(line), qPrintable(run.out));
        const Run summary = Readkey().run({"--utc", "--summary", key.mountPath()});
        const QString total = "Jo Sample     2024-03-13 07:00  2 d     3         2   14.0  200\n";
        QVERIFY2(summary.out.contains(total), qPrintable(summary.out));
    }

    void filters_data() {
        const auto row = columns<QStringList, QStringList>("options", "inserted");
        const QStringList ab{joDrives, kaetheDrives, joIsBeside, nobodyDrives};
        row("part of a plate", {"--vehicle", "b123c"}, ab);
        row("driver's name", {"--driver", "KÄTHE o"}, {kaetheDrives});
        row("card number", {"--driver", "00100"}, {joDroveXy9, joDrives, joIsBeside});
        row("both", {"--driver", "jo", "--vehicle", "XY"}, {joDroveXy9});
        row("from: the end counts", {"--from", "2024-03-14"},
            {kaetheDrives, joIsBeside, nobodyDrives});
        row("from: open ends last until the download", {"--from", "2023-11-01"},
            QStringList{joDroveXy9} + ab);
        row("from: and no longer", {"--from", "2023-11-02"}, ab);
        row("from a day behind all", {"--from", "2024-03-16"}, {});
        // In Tokyo it is the 14th then.
        row("to, local", {"--to", "2024-03-13"}, {joDroveXy9, joDrives});
        row("to, UTC", {"--to", "2024-03-13", "--utc"},
            {joDroveXy9, joDrives, kaetheDrives, joIsBeside});
        row("one day", {"--from", "2024-03-15", "--to", "2024-03-15"}, {nobodyDrives});
    }

    void filters() {
        QFETCH(QStringList, options);
        QFETCH(QStringList, inserted);
        const TestKey key;
        tellStory(key);
        const Run csv = Readkey("Asia/Tokyo").run(options + QStringList{"--csv", key.mountPath()});
        QCOMPARE(insertedTimes(csv.out), inserted);
        const Run tables = Readkey("Asia/Tokyo").run(options + QStringList(key.mountPath()));
        QVERIFY(tables.out.startsWith("Times are "));
        QCOMPARE(lastLine(tables.out).endsWith(" of 5."), inserted.size() < 5);
        QVERIFY(tables.out.contains(
            QString("Only what matches the filter is shown: %1 of 5 insertions\n")
                .arg(inserted.size())));
    }

    // A vehicle or a driver without insertions is shown where the filter is about it alone.
    void filtersLeaveNothingElse() {
        const TestKey key;
        tellStory(key);
        const Run jo = Readkey().run({"--summary", "--driver", "jo", "--utc", key.mountPath()});
        QVERIFY2(jo.out.contains("  XY 9") && jo.out.contains("Jo Sample"), qPrintable(jo.out));
        QVERIFY2(!jo.out.contains("Neil") && !jo.out.contains("  -  "), qPrintable(jo.out));
        QVERIFY2(jo.out.contains(QRegularExpression("AB 123 CD .* 200 +0\n")), qPrintable(jo.out));
        key.write("download/C_20240301_0800_E.DDD", samples::cardFile([] {
                      samples::Card card;
                      card.surname = "Early";
                      card.firstNames = "";
                      return card;
                  }()));
        const Run early = Readkey().run({"--summary", "--driver", "early", key.mountPath()});
        QVERIFY2(early.out.contains("\n  Early   2024-03-01 08:00"), qPrintable(early.out));
        QVERIFY2(early.out.contains("Vehicles: none"), qPrintable(early.out));
        const Run nobody = Readkey().run({"--summary", "--driver", "nobody", key.mountPath()});
        QVERIFY2(nobody.out.contains("Drivers: none\n"), qPrintable(nobody.out));
    }

    void localTimesNameTheirZone() {
        const TestKey key;
        tellStory(key);
        const Run run = Readkey("Europe/Berlin").run({key.mountPath()});
        QVERIFY2(run.out.startsWith("Times are local: Europe/Berlin\n"), qPrintable(run.out));
        QVERIFY2(run.out.contains("driver     2024-03-13 23:00  05:00 +1d"), qPrintable(run.out));
        QVERIFY2(run.out.contains("AB 123 CD, downloaded 2024-03-15 09:30\n"), qPrintable(run.out));
    }

    // The library parses the 100 newest of a kind; every view shows every file.
    void everyFileIsShown() {
        const TestKey key;
        for (int i = 0; i < 103; ++i) {
            const quint32 time = at("2024-03-13 00:00") + static_cast<quint32>(i) * 60;
            const QString number = QString::number(i);
            key.write(
                "download/M_20240315_0810_" + number + ".DDD",
                vehicleFile("AB 123 CD", {{insertion("Jo", "Sample", time, 1, time + 30, 2)}}));
            key.write("download/C_20240315_0810_" + number + ".DDD", smallCard("DF00000000000100"));
        }
        key.write("download/M_20240301_0830_OLD.DDD", QByteArray(700, 'v'));
        const Run run = Readkey().run({"--csv", key.mountPath()});
        QCOMPARE(insertedTimes(run.out).size(), 103);
        QCOMPARE(run.err, QString("readkey: M_20240301_0830_OLD.DDD: not a vehicle-unit download "
                                  "(begins with 76 76)\n"));
        QCOMPARE(run.status, 1);
        QCOMPARE(Readkey().run({"--csv=cards", key.mountPath()}).out.count(",driver,1,DF"), 103);
    }

    void copies() {
        const TestKey key;
        tellStory(key);
        const TestKey target("copies");
        const QStringList arguments{"--copy-to", target.path("copies"), key.mountPath()};
        Run run = Readkey().run(arguments);
        QCOMPARE(lastLine(run.out), QString("5 files, 1 driver card, 3 vehicle downloads, "
                                            "5 insertions, 5 copied."));
        QCOMPARE(entries(target.path("copies")), entries(key.path("download")));
        target.write("copies/C_20240314_0815_W.DDD", "other");
        target.remove("copies/V_XY9_20231101_0830.TGD");
        run = Readkey().run(arguments);
        QCOMPARE(run.err.replace(target.mountPath(), "TARGET"),
                 QString("readkey: C_20240314_0815_W.DDD: not copied to TARGET/copies: another "
                         "file with this name is there; it was left alone\n"));
        QCOMPARE(lastLine(run.out), QString("5 files, 1 driver card, 3 vehicle downloads, "
                                            "5 insertions, 1 copied, 3 kept, 1 not copied."));
        QCOMPARE(run.status, 1);
        run = Readkey().run({"--json", "--copy-to", target.path("copies"), key.path("download")});
        QStringList outcomes;
        for (const QString& line : run.out.split('\n', Qt::SkipEmptyParts))
            outcomes.append(QJsonDocument::fromJson(line.toUtf8())["copy"].toString());
        QCOMPARE(outcomes, (QStringList{"failed", "kept", "kept", "kept", "kept"}));
    }

    // A copy of a folder of files is as good as one of a key.
    void copiesOfCopies() {
        const TestKey folder("files");
        const TestKey target("copies");
        const QByteArray bytes = smallVehicleUnit("AB 123 CD");
        folder.write("files/M_20240315_0830_A.DDD", bytes);
        const Run run = Readkey().run({"--copy-to", target.path("copies"), folder.path("files")});
        QCOMPARE(run.err, QString());
        QVERIFY2(run.out.endsWith(", 1 copied.\n"), qPrintable(run.out));
        QFile copy(target.path("copies/M_20240315_0830_A.DDD"));
        QVERIFY(copy.open(QIODevice::ReadOnly));
        QCOMPARE(copy.readAll(), bytes);
    }

    void hostileText_data() {
        const auto row = columns<QStringList, QString>("options", "shown");
        const QString escaped = "\\x1B[2J\\x0A\\x9B\\x7F\\u061C\\u200E\\u202E\\u2028\\u2067z.DDD";
        row("tables", {}, escaped);
        row("summary", {"--summary"}, escaped);
        row("CSV", {"--csv"}, escaped);
        row("JSON", {"--json"},
            "\\u001b[2J\\n\\u009b\\u007f\\u061c\\u200e\\u202e\\u2028\\u2067z.DDD");
        row("debug lines", {"--verbose"}, "open() skip: \"M_20241316_0830_");
    }

    // File names, plates and holders are a stranger's. What a terminal could act on never gets
    // there.
    void hostileText() {
        QFETCH(QStringList, options);
        QFETCH(QString, shown);
        const QString evil = "_0830_\x1B[2J\n\u009B\x7F\u061C\u200E\u202E\u2028\u2067z.DDD";
        const auto record = insertion("E\x1B[2J\n\x9B\x7F", "\x9B", 1710482400, 1, 1710482500, 2);
        const TestKey key;
        key.write("download/M_20240315" + evil, vehicleFile("\x7F", {{record}}));
        key.write("download/M_20240317" + evil, vehicleFile("\x1B[2J\x9B\x7F", {{record}}));
        key.write("download/M_20240316" + evil, QByteArray(700, 'v'));
        key.write("download/M_20241316" + evil, "skipped");
        const Run run = Readkey().run(options + QStringList(key.mountPath()));
        QCOMPARE(run.status, 1);
        const QString all = run.out + run.err;
        QVERIFY2(all.contains(shown), qPrintable(all));
        QVERIFY2(run.err.contains("readkey: M_20240316_0830_\\x1B[2J\\x0A\\x9B"),
                 qPrintable(run.err));
        const QRegularExpression unsafe("(?!\\r?\\n)[\\p{Cc}\\p{Cf}\\p{Zl}]");
        QVERIFY2(!all.contains(unsafe), qPrintable(all));
    }

    void brokenOutput_data() {
        const auto row = columns<QString>("option");
        for (const char* option : {"--utc", "--json", "--csv", "--events"})
            row(option, option);
    }

    // Nothing can be shown, but everything is copied.
    void brokenOutput() {
        QFETCH(QString, option);
        const TestKey key;
        tellStory(key);
        const TestKey target("copies");
        Readkey readkey;
        readkey.setStandardOutputFile("/dev/full");
        const QStringList arguments{option, "--copy-to", target.path("copies"), key.mountPath()};
        const Run full = readkey.run(arguments);
        QCOMPARE(full.err, QString("readkey: cannot write to standard output: No space left on "
                                   "device\n"));
        QCOMPARE(full.status, 1);
        QCOMPARE(entries(target.path("copies")).size(), 5);
        Readkey unread;
        unread.outputIsUnread = true; // as in "readkey | head"
        const Run run = unread.run(arguments);
        QCOMPARE(run.err, QString());
        QCOMPARE(run.signal, SIGPIPE);
    }

    void interruption_data() {
        const auto row = columns<QString, int>("option", "call");
        for (const char* option : {"--json", "--events", "--utc"})
            for (const int call : {1, 2, 4, 6, 8, 10})
                row(option + QByteArray(", call ") + QByteArray::number(call), option, call);
    }

    // Ctrl-C at the n-th read of the key, and so in the middle of a copy too. The shell hears of
    // it, no output looks complete, and no half file is left.
    void interruption() {
#ifndef FAULTSHIM
        QSKIP("the calls cannot be watched here");
#else
        QFETCH(QString, option);
        QFETCH(int, call);
        const TestKey key;
        tellStory(key);
        const TestKey target("copies");
        Readkey readkey;
        readkey.set("LD_PRELOAD", FAULTSHIM);
        readkey.set("ASAN_OPTIONS",
                    qEnvironmentVariable("ASAN_OPTIONS") + ":verify_asan_link_order=0");
        readkey.set("FAULT_ROOT", key.path("download"));
        readkey.set("FAULT_CALLS", "read");
        readkey.set("FAULT_AT", QString::number(call));
        readkey.set("FAULT_ERRNO", QString::number(-SIGINT));
        const Run run = readkey.run({option, "--copy-to", target.path("copies"), key.mountPath()});
        QCOMPARE(run.signal, SIGINT);
        QVERIFY2(run.err.endsWith("readkey: interrupted, nothing is complete\n"),
                 qPrintable(run.err));
        QVERIFY2(!run.out.contains("\"read\"") && (option == "--events" || run.out.isEmpty()),
                 qPrintable(run.out));
        for (const QString& name : entries(target.path("copies"))) {
            QCOMPARE(QFileInfo(target.path("copies/" + name)).size(),
                     QFileInfo(key.path("download/" + name)).size());
        }
#endif
    }

    // Redrawn only when it changes, within 40 columns, and gone at the end.
    void progressBar() {
        const TestKey key;
        tellStory(key);
        QProcess script;
        script.start("script", {"-qec",
                                QString(READKEY_EMULATOR " " READKEY_PROGRAM).replace('|', ' ') +
                                    " --csv " + key.mountPath() + " >" + key.path("out"),
                                "/dev/null"});
        if (!script.waitForFinished(60000))
            QSKIP("there is no script(1)");
        const QString err = QString::fromUtf8(script.readAllStandardOutput());
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

    void terminal_data() {
        const auto row =
            columns<int, QString, bool, QString>("width", "colours", "isColoured", "text");
        row("narrow", 44, "", true, "driver card\u2026");
        row("rather narrow", 70, "", true, "C_20240215_0815_J_SAMPLE.DDD  driver card DF0");
        row("80 columns", 80, "", true, "driver card DF00000000000100 Jo Sample");
        row("wide", 120, "", true, "2024-02-15 08:15  C_20240215_0815_J_SAMPLE.DDD");
        row("without colours", 80, "NO_COLOR=1", false, "driver card DF00000000000100 Jo Sample");
        row("dumb", 80, "TERM=dumb", false, "driver card DF00000000000100 Jo Sample");
    }

    void terminal() {
        QFETCH(int, width);
        QFETCH(QString, colours);
        QFETCH(bool, isColoured);
        QFETCH(QString, text);
        const TestKey key;
        tellStory(key);
        addOddities(key);
        QProcess script;
        script.start(
            "script",
            {"-qec",
             QString("stty cols %1; TZ=UTC %2 %3 %4 2>%5")
                 .arg(width)
                 .arg(colours, QString(READKEY_EMULATOR " " READKEY_PROGRAM).replace('|', ' '),
                      key.mountPath(), key.path("progress")),
             "/dev/null"});
        if (!script.waitForFinished(60000))
            QSKIP("there is no script(1)");
        QString out = QString::fromUtf8(script.readAllStandardOutput()).remove('\r');
        QCOMPARE(out.contains("\x1B[1mDrivers\x1B[0m\n"), isColoured);
        QCOMPARE(out.contains("\x1B[31m  M_20240310_0830_BAD.DDD:"), isColoured);
        out.remove(QRegularExpression("\x1B\\[\\d+m"));
        QVERIFY2(out.contains(text), qPrintable(out));
        const QString tables = out.left(out.indexOf("\nFailed\n"));
        for (const QString& line : tables.split('\n'))
            QVERIFY2(line.size() <= width, qPrintable(line));
    }
};

QTEST_GUILESS_MAIN(TestReadkey)
#include "tst_readkey.moc"
