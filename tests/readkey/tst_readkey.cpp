// readkey as a user runs it: a process that is given a key, and what it writes and returns.
#include "samples/samples.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QMap>
#include <QtCore/QProcess>
#include <QtCore/QRegularExpression>
#include <QtCore/QTemporaryDir>
#include <QtCore/QTextCodec>
#include <QtTest/QtTest>

#include <filesystem>
#include <fstream>

#include <pwd.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Bytes by path. A path that ends in a slash is a directory; "-> path" makes a symbolic link.
using Files = QMap<QByteArray, QByteArray>;

// A key below a temporary directory, which also has room for copies. Paths, arguments and expected
// texts name its places, and what is long and frequent, by words in capitals.
class Key {
public:
    explicit Key(const Files& files) {
        add({{"FILES/", {}}});
        add(files);
    }
    // QTemporaryDir does not see names that are not UTF-8.
    ~Key() { std::filesystem::remove_all(at("ROOT").toStdString(), m_ignored); }

    QByteArray at(QByteArray text) const {
        return text.replace("FILES", "MOUNT/download")
            .replace("MOUNT", "ROOT/key")
            .replace("COPIES", "ROOT/copies")
            .replace("CARD", "C_20240315_0815_J_SAMPLE.DDD")
            .replace("VEHICLE", "M_20240315_0830_AB123CD.DDD")
            .replace("BAD", "M_20240316_0830_BAD.DDD")
            .replace("TINY", "C_20240314_0830_TINY.DDD")
            .replace("SUMMARY", "readkey: DownloadKey: Error occured during download.\n")
            .replace("EMPTY", "")
            .replace("ROOT", m_dir.path().toUtf8());
    }

    void add(const Files& files) const {
        for (const auto& [place, bytes] : files.toStdMap()) {
            const std::filesystem::path path(at(place).toStdString());
            std::filesystem::create_directories(path.parent_path());
            if (bytes.startsWith("-> "))
                std::filesystem::create_symlink(at(bytes.mid(3)).toStdString(), path);
            else if (path.has_filename() &&
                     !(std::ofstream(path) << bytes.toStdString() << std::flush))
                qFatal("cannot write %s", path.c_str());
        }
    }

    // By bare names.
    Files copies() const {
        Files result;
        const QDir dir(QString::fromUtf8(at("COPIES")));
        for (const QString& name :
             dir.entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot)) {
            QFile file(dir.filePath(name));
            result[name.toUtf8()] = file.open(QIODevice::ReadOnly) ? file.readAll() : "unreadable";
        }
        return result;
    }

private:
    QTemporaryDir m_dir;
    std::error_code m_ignored;
};

struct Run {
    int status = -1;
    QByteArray out;
    QByteArray err;
};

class Readkey : public QProcess {
public:
    bool asOrdinaryUser = false;
    rlim_t fileSizeLimit = RLIM_INFINITY;

    Run run(const Key& key, const QByteArray& arguments, const QByteArray& zone = "UTC") {
        QStringList command = QStringLiteral(READKEY_EMULATOR "|" READKEY_PROGRAM)
                                  .split(QLatin1Char('|'), Qt::SkipEmptyParts);
        const QString program = command.takeFirst();
        for (const QString& word :
             QString::fromUtf8(arguments).split(QLatin1Char(' '), Qt::SkipEmptyParts))
            command.append(QString::fromUtf8(key.at(word.toUtf8())));
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("TZ"), QString::fromUtf8(zone));
        environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C"));
        environment.remove(QStringLiteral("QT_LOGGING_RULES"));
        setProcessEnvironment(environment);
        start(program, command);
        if (!waitForFinished(120000) || exitStatus() != NormalExit)
            return {};
        return {exitCode(), readAllStandardOutput(), readAllStandardError()};
    }

protected:
    void setupChildProcess() override {
        const rlimit limit{fileSizeLimit, fileSizeLimit};
        if (fileSizeLimit != RLIM_INFINITY && ::setrlimit(RLIMIT_FSIZE, &limit) != 0)
            ::_exit(99);
        const passwd* user = asOrdinaryUser && ::getuid() == 0 ? ::getpwnam("nobody") : nullptr;
        if (user && (::setgid(user->pw_gid) != 0 || ::setuid(user->pw_uid) != 0))
            ::_exit(99);
    }
};

// Of an output that is expected to be "text..." the beginning counts.
void check(const Key& key, const Run& run, int status, const QByteArray& out,
           const QByteArray& err) {
    const bool isBeginning = out.endsWith("...");
    const QByteArray expected = key.at(isBeginning ? out.chopped(3) : out);
    QCOMPARE(run.err, key.at(err));
    QCOMPARE(isBeginning ? run.out.left(expected.size()) : run.out, expected);
    QCOMPARE(run.status, status);
}

// From 2024-03-15 06:00:00 to 2024-07-03 09:46:40.
samples::CardRecord finished(const char* surname = "Sample", const char* firstNames = "Jo",
                             unsigned char slot = 1) {
    return {surname, firstNames, "DF00000000000100", 1710482400, 66051, slot, 1720000000, 66300};
}

// Not withdrawn since 2024-07-03 09:47:40.
samples::CardRecord current(const char* surname = "O\"Neil") {
    return {surname, "K\xE4the", "DF00000000000100", 1720000060, 66300, 0, 0xFFFFFFFF, 0xFFFFFF};
}

QByteArray vehicleBytes(const std::vector<samples::CardRecord>& records) {
    samples::VehicleUnit unit;
    unit.days.resize(1);
    unit.days[0].date = 1720051200; // 2024-07-04
    unit.days[0].cardRecords = records;
    return samples::vehicleUnitFile(unit);
}

// The two blocks that a card file must have.
const QByteArray smallCard = samples::cardBlock(0x0501, 0, QByteArray(10, '\x01')) +
                             samples::cardBlock(0x0520, 0, QByteArray(143, '\x01'));
const QByteArray card = samples::cardFile({});
const QByteArray vehicle = vehicleBytes({finished(), current()});
const Files smallKey{{"FILES/CARD", card}, {"FILES/VEHICLE", vehicle}};

template <typename>
using Name = const char*;

// Names the columns of a table; what it returns adds a row.
template <typename... Types>
auto columns(Name<Types>... names) {
    (QTest::addColumn<Types>(names), ...);
    return [](const char* name, const Types&... cells) { (QTest::newRow(name) << ... << cells); };
}

} // namespace

class TestReadkey : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8")); }

    void formats_data() {
        const auto row = columns<QByteArray, QByteArray, QByteArray, QByteArray>(
            "arguments", "zone", "expected", "localTimes"); // times in place of those of UTC
        row("JSON Lines", "--json MOUNT", "America/New_York", "expected.jsonl", "");
        row("CSV", "--csv MOUNT", "Europe/Berlin", "expected.csv", "");
        row("table", "MOUNT", "UTC", "expected.txt", "");
        row("table, ahead", "MOUNT", "Europe/Berlin", "expected.txt",
            "08:30>09:30|08:15>09:15|06:00>07:00|09:46>11:46|09:47>11:47|"
            "1999-12-31 23:59>2000-01-01 00:59");
        row("table, behind", "MOUNT", "America/New_York", "expected.txt",
            "08:30>04:30|08:15>04:15|06:00>02:00|09:46>05:46|09:47>05:47|23:59>18:59");
    }

    void formats() {
        QFETCH(QByteArray, arguments);
        QFETCH(QByteArray, zone);
        QFETCH(QByteArray, expected);
        QFETCH(QByteArray, localTimes);
        Key key(smallKey);
        key.add({{"FILES/M_20230315_0830_\"a,b\".DDD", vehicleBytes({current("=1+\x1B")})},
                 {"FILES/v_old_19991231_2359.tgd",
                  vehicleBytes({finished("\\E\"v\x1B\x7F", "\x9BJ", 200)})},
                 {"FILES/readme.txt", "not a download"}});
        QFile file(QString::fromUtf8(READKEY_EXPECTED + expected));
        QVERIFY(file.open(QIODevice::ReadOnly));
        QByteArray out = file.readAll();
        if (!localTimes.isEmpty())
            for (const QByteArray& pair : localTimes.split('|'))
                out.replace(pair.split('>')[0], pair.split('>')[1]);
        check(key, Readkey().run(key, arguments, zone), 0, out, "");
    }

    void usage_data() {
        const auto row = columns<QByteArray, QByteArray>("arguments", "err");
        row("nothing", "", "MOUNT_DIR is missing");
        row("empty", "EMPTY", "MOUNT_DIR is empty");
        row("two directories", "a b", "more than one MOUNT_DIR");
        row("unknown option", "--b\x1Bold a", "Unknown option 'b\\x1Bold'.");
        row("two formats", "--json --csv a", "--json and --csv exclude each other");
        row("no target", "a --copy-to", "Missing value after '--copy-to'.");
        row("empty target", "a --copy-to=", "the directory of --copy-to is empty");
    }
    void usage() {
        QFETCH(QByteArray, arguments);
        QFETCH(QByteArray, err);
        const Run run = Readkey().run(Key({}), arguments);
        QCOMPARE(run.err,
                 "readkey: " + err + "\nreadkey: \"readkey --help\" shows how it is used\n");
        QCOMPARE(run.out, QByteArray());
        QCOMPARE(run.status, 2);
    }

    void messages_data() {
        const auto row =
            columns<QByteArray, QByteArray, QByteArray, Files>("arguments", "out", "err", "files");
        row("help", "--help", "Usage: ...", "", {});
        row("version", "--version", "readkey ...", "", {});
        row("like an option", "-- --json", "", "readkey: --json: no such directory\n", {});
        row("none", "ROOT/no", "", "readkey: ROOT/no: no such directory\n", {});
        row("none, JSON", "--json ROOT/no",
            "{\"event\":\"open\",\"errors\":[{\"component\":\"libdownloadkey\",\"text\":\"open: "
            "Download directory does not exist: ROOT/no/download\",\"code\":0}]}\n",
            "readkey: ROOT/no: no such directory\n", {});
        row("a file", "--csv COPIES", "", "readkey: COPIES: not a directory\n", {{"COPIES", "x"}});
        row("no download directory", "ROOT", "",
            "readkey: open: Download directory does not exist: ROOT/download\n", {});
        row("escaped", "ROOT/\x1B[2J", "", "readkey: ROOT/\\x1B[2J: no such directory\n", {});
        row("remount of no mount point", "--remount MOUNT", "Driver cards\n...",
            "readkey: MOUNT: not remounted: it is not a mount point\n", smallKey);
        row("downloaded directory in the way", "--downloaded-dir MOUNT", "Driver cards: none\n...",
            "readkey: Could not create directory path on USB Stick: MOUNT/downloaded\n",
            {{"MOUNT/downloaded", "x"}});
        const QByteArray incomplete = "THE KEY WAS NOT READ COMPLETELY: see the errors. ...";
        row("bad vehicle file", "MOUNT", incomplete,
            "readkey: BAD: VehicleInfo read() TREPx1 not found, found 7676instead!\nSUMMARY",
            {{"FILES/VEHICLE", vehicle}, {"FILES/BAD", QByteArray(700, 'v')}});
        row("rows of the good file", "--csv MOUNT",
            "file,plate,holder,slot,insertion time,odometer,withdrawal time,odometer\r\n"
            "VEHICLE,AB 123 CD,\"Jo, Sample\",...",
            "readkey: BAD: the file is too small (0 bytes)\nSUMMARY",
            {{"FILES/BAD", ""}, {"FILES/VEHICLE", vehicle}});
        row("bad and tiny cards", "MOUNT", incomplete,
            "readkey: CARD: The card file ends within block 0520 at 15\n"
            "readkey: TINY: the file is too small (4 bytes)\nSUMMARY",
            {{"FILES/CARD", smallCard.left(20)}, {"FILES/TINY", "tiny"}});
        row("tiny vehicle file, JSON", "--json MOUNT",
            "{\"event\":\"open\",\"errors\":[]}\n{\"event\":\"progress\",\"relative\":0}\n"
            "{\"event\":\"read\",\"errors\":[{\"component\":\"libdownloadkey\",\"text\":"
            "\"DownloadKey: Error occured during download.\",\"code\":0}]}\n",
            "readkey: VEHICLE: the file is too small (4 bytes)\nSUMMARY",
            {{"FILES/VEHICLE", "tiny"}});
        row("name that is not UTF-8", "MOUNT", incomplete,
            "readkey: M_20240315_0830_\xEF\xBF\xBD.DDD: cannot be read: its name is not valid "
            "UTF-8\n",
            {{"FILES/CARD", card}, {"FILES/M_20240315_0830_\xE9.DDD", vehicle}});
    }
    void messages() {
        QFETCH(QByteArray, arguments);
        QFETCH(QByteArray, out);
        QFETCH(QByteArray, err);
        QFETCH(Files, files);
        const Key key(files);
        check(key, Readkey().run(key, arguments), err.isEmpty() ? 0 : 1, out, err);
    }

    void controlCharacters_data() {
        const auto row = columns<QByteArray, QByteArray>("options", "shown");
        const QByteArray escaped = "\\x1B[2J\\x0A\\x9B\\x7F\\u202E\\u2028z.DDD";
        row("table", "", escaped);
        row("CSV", "--csv ", escaped);
        row("JSON", "--json ", "\\u001b[2J\\n\\u009b\\u007f\\u202e\\u2028z.DDD");
        row("verbose", "--verbose ", "open() skip: \"M_20241316_0830_");
    }

    // Evil file names and evil files, one of which fails and one of which cannot be copied.
    void controlCharacters() {
        QFETCH(QByteArray, options);
        QFETCH(QByteArray, shown);
        const QByteArray evil = "_0830_\x1B[2J\n\u009B\x7F\u202E\u2028z.DDD";
        const QByteArray record = vehicleBytes({finished("E\x1B[2J\n\x9B\x7F")});
        const Key key({{"FILES/M_20240315" + evil, record},
                       {"FILES/M_20240316" + evil, QByteArray(700, 'v')},
                       {"FILES/M_20241316" + evil, "skipped"},
                       {"COPIES/M_20240315" + evil, "other"}});
        const Run run = Readkey().run(key, options + "--copy-to COPIES MOUNT");
        QCOMPARE(run.status, 1);
        QVERIFY2((run.out + run.err).contains(shown), run.out + run.err);
        QVERIFY2(run.err.contains("readkey: M_20240316_0830_\\x1B[2J\\x0A\\x9B"), run.err);
        const QString all = QString::fromUtf8(run.out + run.err);
        const QRegularExpression unsafe(QStringLiteral("(?!\\r?\\n)[\\p{Cc}\\p{Cf}\\p{Zl}]"));
        QVERIFY2(!all.contains(unsafe), qPrintable(all));
    }

    // "shown" is how the table has the vehicle file, "left" what the target directory has.
    void copies_data() {
        const auto row =
            columns<Files, QByteArray, QByteArray, Files>("files", "err", "shown", "left");
        const QByteArray refused = "readkey: FILES/VEHICLE: not copied to COPIES: ";
        const auto another = refused + "another file with this name is there; it was left alone\n";
        const QByteArray noFile =
            refused + "what is there under this name is not a file; it was left alone\n";
        const auto both = [](const QByteArray& vu) {
            return Files{{"CARD", card}, {"VEHICLE", vu}};
        };
        const QByteArray copy = "COPIES/VEHICLE";
        row("new directory", {}, "", "copied", both(vehicle));
        row("same bytes", {{copy, vehicle}}, "", "kept", both(vehicle));
        row("other bytes", {{copy, "other"}}, another, "NOT COPIED", both("other"));
        row("longer", {{copy, vehicle + 'x'}}, another, "NOT COPIED", both(vehicle + 'x'));
        row("symbolic link", {{copy, "-> ROOT/aim"}, {"ROOT/aim", "aim"}}, noFile, "NOT COPIED",
            both("aim"));
        row("directory", {{copy + '/', ""}}, noFile, "NOT COPIED", both("unreadable"));
        row("no directory", {{"COPIES", "x"}},
            "readkey: nothing can be copied to COPIES: Not a directory\n", "NOT COPIED", {});
        row("another file fails", {{"FILES/TINY", "tiny"}},
            "readkey: TINY: the file is too small (4 bytes)\nSUMMARY", "copied",
            {{"CARD", card}, {"VEHICLE", vehicle}, {"TINY", "tiny"}});
    }

    void copies() {
        QFETCH(Files, files);
        QFETCH(QByteArray, err);
        QFETCH(QByteArray, shown);
        QFETCH(Files, left);
        Key key(smallKey);
        key.add(files);
        const Run run = Readkey().run(key, "--copy-to COPIES -- MOUNT", "America/New_York");
        check(key, run, err.isEmpty() ? 0 : 1, "...", err);
        QVERIFY2(run.out.contains(key.at("  vehicle  VEHICLE   " + shown + '\n')), run.out);
        QVERIFY2(run.out.endsWith(", 1 driver card, 1 vehicle download, 2 card insertions.\n"),
                 run.out);
        Files expected;
        for (const auto& [name, bytes] : left.toStdMap())
            expected[key.at(name)] = bytes;
        QCOMPARE(key.copies(), expected);
        const QFileInfo copy(QString::fromUtf8(key.at("COPIES/VEHICLE")));
        if (shown == "copied")
            QCOMPARE(copy.lastModified().toSecsSinceEpoch(), qint64{1710491400});
    }

    void ordinaryUser_data() {
        const auto row = columns<QByteArray, int, QByteArray>("place", "mode", "err");
        const QByteArray denied = ": cannot be read: Permission denied\n";
        row("file", "FILES/VEHICLE", 0, "readkey: VEHICLE" + denied);
        row("download directory", "MOUNT/download", 0, "readkey: MOUNT/download" + denied);
        row("mount directory", "MOUNT", 0, "readkey: MOUNT" + denied);
        row("read-only target", "COPIES", 0555,
            "readkey: FILES/CARD: not copied to COPIES: Permission denied\n"
            "readkey: FILES/VEHICLE: not copied to COPIES: Permission denied\n");
        row("full target", "COPIES", 0777,
            "readkey: FILES/VEHICLE: not copied to COPIES: File too large\n");
    }

    // What the file system refuses. Root is refused nothing, so the process is someone else.
    void ordinaryUser() {
        QFETCH(QByteArray, place);
        QFETCH(int, mode);
        QFETCH(QByteArray, err);
        const Key key({{"FILES/CARD", smallCard}, {"FILES/VEHICLE", vehicle}, {"COPIES/", ""}});
        const auto change = [&key](const QByteArray& path, int permissions) {
            QCOMPARE(::chmod(key.at(path).constData(), static_cast<mode_t>(permissions)), 0);
        };
        change("ROOT", 0755);
        change("COPIES", 0777);
        change(place, mode);
        Readkey readkey;
        readkey.asOrdinaryUser = true;
        if (mode == 0777) // in the place of a full disk: a limit that the larger file reaches
            readkey.fileSizeLimit = static_cast<rlim_t>(vehicle.size() - 1);
        const Run run = readkey.run(key, "--copy-to COPIES MOUNT");
        change(place, 0755);
        if (readkey.error() == QProcess::FailedToStart)
            QSKIP("nobody may not run readkey here");
        check(key, run, 1, "...", err);
        const QList<QByteArray> left = key.copies().keys();
        QVERIFY(!left.contains(key.at("VEHICLE")) || mode == 0);
        for (const QByteArray& name : left)
            QVERIFY2(!name.startsWith('.'), name);
    }

    // Files beyond the 100 newest are not looked into but offered and copied all the same.
    void moreThanIsParsed() {
        Key key({{"FILES/M_20240301_0830_OLD.DDD", "no download"}});
        for (int i = 0; i < 103; ++i)
            key.add({{"FILES/M_20240315_0810_" + QByteArray::number(i) + ".DDD", vehicle}});
        Run run = Readkey().run(key, "--copy-to COPIES MOUNT");
        check(key, run, 0, "...", "");
        QVERIFY2(run.out.endsWith("\n104 files, 0 driver cards, 100 vehicle downloads, 200 card "
                                  "insertions; only the 100 newest vehicle files were looked "
                                  "into.\n"),
                 run.out);
        QCOMPARE(key.copies().size(), 104);
        key.add({{"FILES/M_20240301_0830_OLD.DDD", "tiny"}});
        run = Readkey().run(key, "MOUNT");
        check(key, run, 1, "...",
              "readkey: M_20240301_0830_OLD.DDD: the file is too small (4 bytes)\nSUMMARY");
        QVERIFY(run.out.contains("\n103 files, 0 driver cards, 100 vehicle downloads, "));
    }

    void downloadedDirectory() {
        const Key key({});
        const QDir downloaded(QString::fromUtf8(key.at("MOUNT/downloaded")));
        QCOMPARE(Readkey().run(key, "MOUNT").status, 0);
        QVERIFY(!downloaded.exists());
        QCOMPARE(Readkey().run(key, "--downloaded-dir MOUNT").status, 0);
        QVERIFY(downloaded.exists());
    }

    void brokenOutput() {
        const Key key(smallKey);
        for (const char* format : {"--json", "--csv", "--verbose"}) {
            Readkey readkey;
            readkey.setStandardOutputFile(QStringLiteral("/dev/full"));
            const Run run = readkey.run(key, format + QByteArray(" MOUNT --copy-to COPIES"));
            QVERIFY2(run.err.endsWith("readkey: cannot write to standard output: No space left on "
                                      "device\n"),
                     run.err);
            QCOMPARE(run.status, 1);
            QCOMPARE(key.copies().keys(), (QList<QByteArray>{key.at("CARD"), key.at("VEHICLE")}));
        }
    }
};

QTEST_GUILESS_MAIN(TestReadkey)
#include "tst_readkey.moc"
