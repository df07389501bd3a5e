// readkey as a user runs it: a process that is given a key, and what it writes and returns.
#include "samples/samples.h"
#include "tests/support/table.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>
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
            .replace("SUMMARY", "readkey: DownloadKey: Error occured during download.")
            .replace("EMPTY", "")
            .replace("OPERAND", "MOUNT_DIR")
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

// In the expected output "..." stands for any text.
void check(const Key& key, const Run& run, int status, const QByteArray& out,
           const QByteArray& err) {
    QString pattern = QRegularExpression::escape(QString::fromUtf8(key.at(out)));
    pattern.replace(QStringLiteral("\\.\\.\\."), QStringLiteral(".*"));
    const QRegularExpression whole(QRegularExpression::anchoredPattern(pattern),
                                   QRegularExpression::DotMatchesEverythingOption);
    QCOMPARE(run.err, key.at(err));
    if (!whole.match(QString::fromUtf8(run.out)).hasMatch())
        QCOMPARE(run.out, key.at(out));
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

// The files of a line of cases.txt, with a word for longer contents.
Files filesOf(const QByteArray& line) {
    const Files contents = {{"card", card},
                            {"vehicle", vehicle},
                            {"longer", vehicle + 'x'},
                            {"cut", smallCard.left(20)},
                            {"noise", QByteArray(700, 'v')}};
    Files files;
    for (const QString& word : QString::fromUtf8(line).simplified().split(QLatin1Char(' '))) {
        const QByteArray text = QByteArray::fromPercentEncoding(word.toUtf8());
        const int equals = text.indexOf('=');
        if (equals > 0)
            files[text.left(equals)] = contents.value(text.mid(equals + 1), text.mid(equals + 1));
    }
    return files;
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
        QByteArray out = dataFile(QString::fromUtf8(expected)).toUtf8();
        if (!localTimes.isEmpty())
            for (const QByteArray& pair : localTimes.split('|'))
                out.replace(pair.split('>')[0], pair.split('>')[1]);
        check(key, Readkey().run(key, arguments, zone), 0, out, "");
    }

    void cases_data() {
        const auto row = columns<Files>("lines");
        for (const QString& paragraph :
             dataFile(QStringLiteral("cases.txt")).split(QStringLiteral("\n\n"))) {
            Files lines;
            for (const QByteArray& line : paragraph.toUtf8().split('\n')) {
                const int blank = line.indexOf(' ');
                lines[line.left(blank)] += line.mid(blank + 1) + '\n';
            }
            if (lines.contains("case"))
                row(lines["case"].trimmed(), lines);
        }
    }

    void cases() {
        QFETCH(Files, lines);
        const auto text = [&](const char* label) {
            return QByteArray::fromPercentEncoding(lines.value(label)).replace("...\n", "...");
        };
        const Key key(filesOf(lines["files"]));
        const Run run = Readkey().run(key, text("run").trimmed(), "America/New_York");
        const int status = lines.value("status", lines.contains("err") ? "1" : "0").toInt();
        check(key, run, status, text("out"), text("err"));
        Files left;
        for (const auto& [name, bytes] : filesOf(lines["left"]).toStdMap())
            left[key.at(name)] = bytes;
        QCOMPARE(key.copies(), left);
        // A new copy has the time of the download.
        const QFileInfo copy(QString::fromUtf8(key.at("COPIES/VEHICLE")));
        QCOMPARE(copy.exists() && copy.lastModified().toSecsSinceEpoch() == 1710491400,
                 run.out.contains("   copied\n"));
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
              "readkey: M_20240301_0830_OLD.DDD: the file is too small (4 bytes)\nSUMMARY\n");
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
