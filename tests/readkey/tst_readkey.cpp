// readkey as a user runs it: a process that is given a key, and what it writes and returns.
#include "samples/samples.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QProcess>
#include <QtCore/QTemporaryDir>
#include <QtCore/QTextCodec>
#include <QtTest/QtTest>

#include <functional>

#include <pwd.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const auto cardName = QStringLiteral("C_20240315_0815_J_SAMPLE.DDD");
const auto vehicleName = QStringLiteral("M_20240315_0830_AB123CD.DDD");

// A key below a temporary directory, which also has room for copies.
class Key {
public:
    Key() { QDir(m_dir.path()).mkpath(QStringLiteral("key/download")); }
    ~Key() { ::unlink(misnamed().constData()); } // which Qt does not see
    Key(const Key&) = delete;
    Key& operator=(const Key&) = delete;

    QString root() const { return m_dir.path(); }
    QString path() const { return m_dir.filePath(QStringLiteral("key")); }
    QString copies() const { return m_dir.filePath(QStringLiteral("copies")); }

    // The path of a download file whose name is not UTF-8.
    QByteArray misnamed() const {
        return QFile::encodeName(path()) + "/download/M_20240315_0830_\xE9.DDD";
    }

    void add(const QString& name, const QByteArray& bytes) {
        write(path() + QStringLiteral("/download/") + name, bytes);
    }
    static void write(const QString& path, const QByteArray& bytes) {
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
            qFatal("cannot write %s", qPrintable(path));
    }
    static QByteArray read(const QString& path) {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("unreadable");
    }

private:
    QTemporaryDir m_dir;
};

samples::CardRecord finishedRecord() {
    samples::CardRecord record;
    record.insertionTime = 1710482400; // 2024-03-15 06:00 UTC
    record.odometerAtInsertion = 66051;
    record.slot = 1;
    record.withdrawalTime = 1720000000; // 2024-07-03 09:46:40 UTC
    record.odometerAtWithdrawal = 66300;
    return record;
}

samples::CardRecord openRecord() {
    samples::CardRecord record;
    record.surname = "O\"Neil";
    record.firstNames = "K\xE4the";
    record.insertionTime = 1720000060;
    record.odometerAtInsertion = 66300;
    record.withdrawalTime = 0xFFFFFFFF;
    record.odometerAtWithdrawal = 0xFFFFFF;
    return record;
}

QByteArray vehicleBytes(const std::vector<samples::CardRecord>& records) {
    samples::VehicleUnit unit;
    samples::Day day;
    day.date = 1720051200; // 2024-07-04
    day.cardRecords = records;
    unit.days.push_back(day);
    return samples::vehicleUnitFile(unit);
}

// The two blocks that a card file must have.
QByteArray smallCard() {
    return samples::cardBlock(0x0501, 0, QByteArray(10, '\x01')) +
           samples::cardBlock(0x0520, 0, QByteArray(143, '\x01'));
}

void fillSmallKey(Key& key) {
    key.add(cardName, samples::cardFile({}));
    key.add(vehicleName, vehicleBytes({finishedRecord(), openRecord()}));
}

struct Run {
    int status = -1;
    QByteArray out;
    QByteArray err;
};

class Readkey : public QProcess {
public:
    bool asOrdinaryUser = false;
    rlim_t fileSizeLimit = RLIM_INFINITY;

    Run run(const QStringList& arguments, const QString& zone = QStringLiteral("UTC")) {
        QStringList command = QStringLiteral(READKEY_EMULATOR "|" READKEY_PROGRAM)
                                  .split(QLatin1Char('|'), Qt::SkipEmptyParts);
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("TZ"), zone);
        environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C"));
        environment.remove(QStringLiteral("QT_LOGGING_RULES"));
        setProcessEnvironment(environment);
        const QString program = command.takeFirst();
        start(program, command + arguments);
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

// The texts of a table row name the key's directories by these words.
QByteArray located(QByteArray text, const Key& key) {
    return text.replace("MOUNT", key.path().toUtf8())
        .replace("COPIES", key.copies().toUtf8())
        .replace("ROOT", key.root().toUtf8());
}

QStringList located(const QStringList& arguments, const Key& key) {
    QStringList result;
    for (const QString& argument : arguments)
        result.append(QString::fromUtf8(located(argument.toUtf8(), key)));
    return result;
}

QStringList words(const char* text) {
    return QString::fromUtf8(text).split(QLatin1Char(' '));
}

const QByteArray summaryError = "readkey: DownloadKey: Error occured during download.\n";

} // namespace

using Setup = std::function<void(Key&)>;
Q_DECLARE_METATYPE(Setup)

class TestReadkey : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8")); }
    void jsonLines();
    void jsonLinesOfBadKey();
    void csv();
    void table_data();
    void table();
    void usage_data();
    void usage();
    void badInput_data();
    void badInput();
    void controlCharacters_data();
    void controlCharacters();
    void copies_data();
    void copies();
    void ordinaryUser_data();
    void ordinaryUser();
    void moreThanIsParsed();
    void downloadedDirectory();
    void brokenOutput();
};

void TestReadkey::jsonLines() {
    Key key;
    fillSmallKey(key);
    samples::CardRecord record = finishedRecord();
    record.surname = "\\E\"v\x1B\x7F";
    record.firstNames = "\x9BJ";
    record.slot = 200;
    key.add(QStringLiteral("v_old_19991231_2359.tgd"), vehicleBytes({record}));
    const QByteArray expected = R"({"event":"open","errors":[]}
{"event":"progress","relative":0}
{"event":"progress","relative":16}
{"event":"progress","relative":33}
{"event":"progress","relative":50}
{"event":"downloadFile","filename":"MOUNT/download/C_20240315_0815_J_SAMPLE.DDD","downloadTimestamp":"2024-03-15T08:15:00Z"}
{"event":"progress","relative":66}
{"event":"downloadFile","filename":"MOUNT/download/M_20240315_0830_AB123CD.DDD","downloadTimestamp":"2024-03-15T08:30:00Z"}
{"event":"progress","relative":83}
{"event":"downloadFile","filename":"MOUNT/download/v_old_19991231_2359.tgd","downloadTimestamp":"1999-12-31T23:59:00Z"}
{"event":"progress","relative":100}
{"event":"readDone","parsingError":false,"driverCards":[{"cardType":1,"generation":1,"cardNumber":"DF00000000000100","holderName":"Jo Sample"}],"vehicleInfos":[{"plate":"AB 123 CD","driverActivities":[{"holderName":"Jo, Sample","insertionTime":"2024-03-15T06:00:00Z","odometerAtInsertion":66051,"slot":1,"withdrawalTime":"2024-07-03T09:46:40Z","odometerAtWithdrawal":66300},{"holderName":"Käthe, O\"Neil","insertionTime":"2024-07-03T09:47:40Z","odometerAtInsertion":66300,"slot":0,"withdrawalTime":"2106-02-07T06:28:15Z","odometerAtWithdrawal":null}]},{"plate":"AB 123 CD","driverActivities":[{"holderName":"\u009bJ, \\E\"v\u001b\u007f","insertionTime":"2024-03-15T06:00:00Z","odometerAtInsertion":66051,"slot":200,"withdrawalTime":"2024-07-03T09:46:40Z","odometerAtWithdrawal":66300}]}]}
{"event":"read","errors":[]}
)";
    const Run run =
        Readkey().run({QStringLiteral("--json"), key.path()}, QStringLiteral("America/New_York"));
    QCOMPARE(run.out, located(expected, key));
    QCOMPARE(run.err, QByteArray());
    QCOMPARE(run.status, 0);
}

void TestReadkey::jsonLinesOfBadKey() {
    Key key;
    key.add(vehicleName, "tiny");
    const Run run = Readkey().run({QStringLiteral("--json"), key.path()});
    QCOMPARE(run.out, QByteArray(R"({"event":"open","errors":[]}
{"event":"progress","relative":0}
{"event":"read","errors":[{"component":"libdownloadkey","text":"DownloadKey: Error occured during download.","code":0}]}
)"));
    QCOMPARE(run.err, "readkey: M_20240315_0830_AB123CD.DDD: the file is too small (4 bytes)\n" +
                          summaryError);
    QCOMPARE(run.status, 1);
}

void TestReadkey::csv() {
    Key key;
    fillSmallKey(key);
    samples::CardRecord record = openRecord();
    record.surname = "=1+\x1B";
    // An older file comes later in the list: each row must find its own.
    key.add(QStringLiteral("M_20230315_0830_\"a,b\".DDD"), vehicleBytes({record}));
    const QByteArray expected =
        "file,plate,holder,slot,insertion time,odometer,withdrawal time,odometer\r\n"
        "M_20240315_0830_AB123CD.DDD,AB 123 CD,\"Jo, Sample\",1,2024-03-15T06:00:00Z,66051,"
        "2024-07-03T09:46:40Z,66300\r\n"
        "M_20240315_0830_AB123CD.DDD,AB 123 CD,\"K\xC3\xA4the, O\"\"Neil\",0,2024-07-03T09:47:40Z,"
        "66300,,\r\n"
        "\"M_20230315_0830_\"\"a,b\"\".DDD\",AB 123 CD,\"K\xC3\xA4the, =1+\\x1B\",0,"
        "2024-07-03T09:47:40Z,66300,,\r\n";
    const Run run =
        Readkey().run({QStringLiteral("--csv"), key.path()}, QStringLiteral("Europe/Berlin"));
    QCOMPARE(run.out, expected);
    QCOMPARE(run.err, QByteArray());
    QCOMPARE(run.status, 0);
}

void TestReadkey::table_data() {
    QTest::addColumn<QString>("zone");
    QTest::addColumn<QByteArray>("times"); // download, card download, from, to, from
    QTest::newRow("UTC") << "UTC" << QByteArray("08:30|08:15|03-15 06:00|07-03 09:46|07-03 09:47");
    QTest::newRow("ahead") << "Europe/Berlin"
                           << QByteArray("09:30|09:15|03-15 07:00|07-03 11:46|07-03 11:47");
    QTest::newRow("behind") << "America/New_York"
                            << QByteArray("04:30|04:15|03-15 02:00|07-03 05:46|07-03 05:47");
}

void TestReadkey::table() {
    QFETCH(QString, zone);
    QFETCH(QByteArray, times);
    Key key;
    fillSmallKey(key);
    key.add(QStringLiteral("readme.txt"), "not a download");
    QByteArray expected = R"(Driver cards
  Type    Gen  Card number       Holder
  driver    1  DF00000000000100  Jo Sample

Vehicle AB 123 CD, downloaded 2024-03-15 {0} (M_20240315_0830_AB123CD.DDD)
  Holder         Slot       From              To                km from  km to  Distance
  Jo, Sample     co-driver  2024-{2}  2024-{3}    66051  66300       249
  Käthe, O"Neil  driver     2024-{4}  -                   66300      -         -

Files
  Downloaded        Kind     Name
  2024-03-15 {1}  card     C_20240315_0815_J_SAMPLE.DDD
  2024-03-15 {0}  vehicle  M_20240315_0830_AB123CD.DDD

2 files, 1 driver card, 1 vehicle download, 2 card insertions; 1 other entry left alone.
)";
    const QList<QByteArray> parts = times.split('|');
    for (int i = 0; i < parts.size(); ++i)
        expected.replace('{' + QByteArray::number(i) + '}', parts[i]);
    const Run run = Readkey().run({key.path()}, zone);
    QCOMPARE(run.out, expected);
    QCOMPARE(run.err, QByteArray());
    QCOMPARE(run.status, 0);
}

void TestReadkey::usage_data() {
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("out");
    QTest::addColumn<QByteArray>("err"); // each is the beginning
    const auto row = [](const char* name, const QStringList& arguments, int status,
                        const QByteArray& out, const QByteArray& err) {
        QTest::newRow(name) << arguments << status << out << err;
    };
    row("help", words("--help"), 0, "Usage: ", "");
    row("version", words("--version"), 0, "readkey ", "");
    row("nothing", {}, 2, "", "readkey: MOUNT_DIR is missing\n");
    row("empty", {QString()}, 2, "", "readkey: MOUNT_DIR is empty\n");
    row("two directories", words("a b"), 2, "", "readkey: more than one MOUNT_DIR\n");
    row("unknown option", words("--b\x1Bold a"), 2, "", "readkey: Unknown option 'b\\x1Bold'.\n");
    row("two formats", words("--json --csv a"), 2, "", "readkey: --json and --csv exclude");
    row("no target", words("a --copy-to"), 2, "", "readkey: Missing value after '--copy-to'.\n");
    row("empty target", words("a --copy-to="), 2, "", "readkey: the directory of --copy-to");
    row("option-like directory", words("-- --json"), 1, "", "readkey: --json: no such directory\n");
}

void TestReadkey::usage() {
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, out);
    QFETCH(QByteArray, err);
    const Run run = Readkey().run(arguments);
    QTEST(run.status, "status");
    QCOMPARE(run.out.left(out.isEmpty() ? -1 : out.size()), out);
    QCOMPARE(run.err.left(err.isEmpty() ? -1 : err.size()), err);
}

namespace {

void badInputRow(const char* name, const Setup& setup, const char* arguments, const QByteArray& out,
                 const QByteArray& err) {
    QTest::newRow(name) << setup << words(arguments) << out << err;
}

void addBadDirectories() {
    const auto row = badInputRow;
    const Setup nothing = [](Key&) {};
    row("no such directory", nothing, "ROOT/no", "", "readkey: ROOT/no: no such directory\n");
    row("no such directory, JSON", nothing, "--json ROOT/no",
        "{\"event\":\"open\",\"errors\":[{\"component\":\"libdownloadkey\",\"text\":\"open: "
        "Download directory does not exist: ROOT/no/download\",\"code\":0}]}\n",
        "readkey: ROOT/no: no such directory\n");
    row(
        "a file", [](Key& key) { Key::write(key.copies(), "x"); }, "--csv COPIES", "",
        "readkey: COPIES: not a directory\n");
    row("no download directory", nothing, "ROOT", "",
        "readkey: open: Download directory does not exist: ROOT/download\n");
    row("control characters", nothing, "ROOT/\x1B[2J", "",
        "readkey: ROOT/\\x1B[2J: no such directory\n");
    row("remount of no mount point", fillSmallKey, "--remount MOUNT", "Driver cards\n",
        "readkey: MOUNT: not remounted: it is not a mount point\n");
    row(
        "downloaded directory in the way",
        [](Key& key) { Key::write(key.path() + QStringLiteral("/downloaded"), "x"); },
        "--downloaded-dir MOUNT", "Driver cards: none\n",
        "readkey: Could not create directory path on USB Stick: MOUNT/downloaded\n");
}

void addBadFiles() {
    const auto row = badInputRow;
    const QByteArray incomplete = "THE KEY WAS NOT READ COMPLETELY: see the errors. ";
    row(
        "bad vehicle file",
        [](Key& key) {
            fillSmallKey(key);
            key.add(QStringLiteral("M_20240316_0830_BAD.DDD"), QByteArray(700, 'v'));
        },
        "MOUNT", incomplete,
        "readkey: M_20240316_0830_BAD.DDD: VehicleInfo read() TREPx1 not found, found "
        "7676instead!\n" +
            summaryError);
    row(
        "rows of the good file",
        [](Key& key) {
            key.add(QStringLiteral("M_20240316_0830_BAD.DDD"), QByteArray());
            key.add(vehicleName, vehicleBytes({finishedRecord()}));
        },
        "--csv MOUNT",
        "file,plate,holder,slot,insertion time,odometer,withdrawal "
        "time,odometer\r\nM_20240315_0830_AB123CD.DDD,AB 123 CD,\"Jo, Sample\",",
        "readkey: M_20240316_0830_BAD.DDD: the file is too small (0 bytes)\n" + summaryError);
    row(
        "bad and tiny cards",
        [](Key& key) {
            key.add(cardName, smallCard().left(20));
            key.add(QStringLiteral("C_20240314_0830_TINY.DDD"), "tiny");
        },
        "MOUNT", incomplete,
        "readkey: C_20240315_0815_J_SAMPLE.DDD: The card file ends within block 0520 at 15\n"
        "readkey: C_20240314_0830_TINY.DDD: the file is too small (4 bytes)\n" +
            summaryError);
    row(
        "name that is not UTF-8",
        [](Key& key) {
            fillSmallKey(key);
            const QString name = key.path() + QStringLiteral("/download/") + vehicleName;
            QCOMPARE(::rename(QFile::encodeName(name).constData(), key.misnamed().constData()), 0);
        },
        "MOUNT", incomplete,
        "readkey: M_20240315_0830_\xEF\xBF\xBD.DDD: cannot be read: its name is not valid UTF-8\n");
}

} // namespace

void TestReadkey::badInput_data() {
    QTest::addColumn<Setup>("setup");
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("out"); // in its beginning
    QTest::addColumn<QByteArray>("err"); // all of it
    addBadDirectories();
    addBadFiles();
}

void TestReadkey::badInput() {
    QFETCH(Setup, setup);
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, out);
    QFETCH(QByteArray, err);
    Key key;
    setup(key);
    const Run run = Readkey().run(located(arguments, key));
    out = located(out, key);
    QCOMPARE(run.err, located(err, key));
    QCOMPARE(run.out.left(out.isEmpty() ? -1 : out.size()), out);
    QCOMPARE(run.status, 1);
}

void TestReadkey::controlCharacters_data() {
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QByteArray>("shown");
    const QByteArray escaped = "\\x1B[2J\\x0A\\x9B\\x7F\\u202E\\u2028z.DDD";
    QTest::newRow("table") << QStringList() << escaped;
    QTest::newRow("csv") << words("--csv") << escaped;
    QTest::newRow("json") << words("--json")
                          << QByteArray("\\u001b[2J\\n\\u009b\\u007f\\u202e\\u2028z.DDD");
    QTest::newRow("verbose") << words("--verbose") << QByteArray("open() skip: \"M_20241316_0830_");
}

// On a key that is evil in its file names and in its files, one of which fails and one of which
// cannot be copied.
void TestReadkey::controlCharacters() {
    QFETCH(QStringList, options);
    QFETCH(QByteArray, shown);
    const QString evil = QStringLiteral("_0830_\u001B[2J\n\u009B\u007F\u202E\u2028z.DDD");
    samples::CardRecord record = finishedRecord();
    record.surname = "E\x1B[2J\n\x9B\x7F";
    Key key;
    key.add(QStringLiteral("M_20240315") + evil, vehicleBytes({record}));
    key.add(QStringLiteral("M_20240316") + evil, QByteArray(700, 'v'));
    key.add(QStringLiteral("M_20241316") + evil, "skipped");
    QDir().mkdir(key.copies());
    Key::write(key.copies() + QStringLiteral("/M_20240315") + evil, "other");
    const Run run =
        Readkey().run(options + QStringList{QStringLiteral("--copy-to"), key.copies(), key.path()});
    QCOMPARE(run.status, 1);
    QVERIFY2((run.out + run.err).contains(shown), run.out + run.err);
    QVERIFY2(run.err.contains("readkey: M_20240316_0830_\\x1B[2J\\x0A\\x9B\\x7F\\u202E"), run.err);
    const QString all = QString::fromUtf8(run.out + run.err).remove(QStringLiteral("\r\n"));
    for (const QChar character : all)
        QVERIFY2(character == QLatin1Char('\n') || (character.category() != QChar::Other_Control &&
                                                    character.category() != QChar::Other_Format &&
                                                    character.category() != QChar::Separator_Line),
                 qPrintable(all));
}

void TestReadkey::copies_data() {
    QTest::addColumn<Setup>("setup");
    QTest::addColumn<QByteArray>("err");
    QTest::addColumn<QStringList>("left"); // the names in the target directory
    QTest::addColumn<QByteArray>(
        "bytes"); // of the vehicle file's copy; empty: those of the original
    const QStringList both{cardName, vehicleName};
    const auto row = [](const char* name, const Setup& setup, const QByteArray& err,
                        const QStringList& left, const QByteArray& bytes = {}) {
        QTest::newRow(name) << setup << err << left << bytes;
    };
    const auto target = [](Key& key) {
        QDir().mkdir(key.copies());
        return key.copies() + QLatin1Char('/') + vehicleName;
    };
    const QByteArray refused = "readkey: MOUNT/download/M_20240315_0830_AB123CD.DDD: not copied to "
                               "COPIES: ";
    row(
        "new directory", [](Key&) {}, "", both);
    row(
        "same bytes",
        [target](Key& key) {
            Key::write(target(key), vehicleBytes({finishedRecord(), openRecord()}));
        },
        "", both);
    row(
        "other bytes", [target](Key& key) { Key::write(target(key), "other"); },
        refused + "another file with this name is there; it was left alone\n", both, "other");
    row(
        "only the last byte differs",
        [target](Key& key) {
            Key::write(target(key), vehicleBytes({finishedRecord(), openRecord()}).append('x'));
        },
        refused + "another file with this name is there; it was left alone\n", both,
        vehicleBytes({finishedRecord(), openRecord()}).append('x'));
    row(
        "symbolic link",
        [target](Key& key) {
            Key::write(key.root() + QStringLiteral("/aim"), "aim");
            QFile::link(key.root() + QStringLiteral("/aim"), target(key));
        },
        refused + "what is there under this name is not a file; it was left alone\n", both, "aim");
    row(
        "directory", [target](Key& key) { QDir().mkpath(target(key)); },
        refused + "what is there under this name is not a file; it was left alone\n", both,
        "unreadable");
    row(
        "no directory", [](Key& key) { Key::write(key.copies(), "x"); },
        "readkey: nothing can be copied to COPIES: Not a directory\n", {}, "unreadable");
    row("another file fails",
        [](Key& key) { key.add(QStringLiteral("C_20240314_0830_TINY.DDD"), "tiny"); },
        "readkey: C_20240314_0830_TINY.DDD: the file is too small (4 bytes)\n" + summaryError,
        {QStringLiteral("C_20240314_0830_TINY.DDD"), cardName, vehicleName});
}

void TestReadkey::copies() {
    QFETCH(Setup, setup);
    QFETCH(QByteArray, err);
    QFETCH(QByteArray, bytes);
    Key key;
    fillSmallKey(key);
    setup(key);
    const QString copy = key.copies() + QLatin1Char('/') + vehicleName;
    const bool wasThere = QFile::exists(copy);
    const Run run = Readkey().run(
        {QStringLiteral("--json"), QStringLiteral("--copy-to"), key.copies(), key.path()},
        QStringLiteral("America/New_York"));
    QCOMPARE(run.err, located(err, key));
    QCOMPARE(run.status, err.isEmpty() ? 0 : 1);
    QTEST(QDir(key.copies()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
          "left");
    QCOMPARE(Key::read(copy),
             bytes.isEmpty() ? vehicleBytes({finishedRecord(), openRecord()}) : bytes);
    if (!wasThere && bytes.isEmpty())
        QCOMPARE(QFileInfo(copy).lastModified().toSecsSinceEpoch(), qint64{1710491400});
}

void TestReadkey::ordinaryUser_data() {
    QTest::addColumn<QString>("place"); // below the temporary directory
    QTest::addColumn<int>("mode");
    QTest::addColumn<QByteArray>("err");
    QTest::newRow("file") << QStringLiteral("key/download/") + vehicleName << 0
                          << QByteArray("readkey: M_20240315_0830_AB123CD.DDD: cannot be read: "
                                        "Permission denied\n");
    QTest::newRow("download directory")
        << QStringLiteral("key/download") << 0
        << QByteArray("readkey: MOUNT/download: cannot be read: Permission denied\n");
    QTest::newRow("mount directory")
        << QStringLiteral("key") << 0
        << QByteArray("readkey: MOUNT: cannot be read: Permission denied\n");
    QTest::newRow("read-only target")
        << QStringLiteral("copies") << 0555
        << QByteArray("readkey: MOUNT/download/C_20240315_0815_J_SAMPLE.DDD: not copied to COPIES: "
                      "Permission denied\n"
                      "readkey: MOUNT/download/M_20240315_0830_AB123CD.DDD: not copied to COPIES: "
                      "Permission denied\n");
    QTest::newRow("full target")
        << QStringLiteral("copies") << 0777
        << QByteArray("readkey: MOUNT/download/M_20240315_0830_AB123CD.DDD: not copied to COPIES: "
                      "File too large\n");
}

// What the file system refuses. The process becomes an ordinary user, since root is refused
// nothing.
void TestReadkey::ordinaryUser() {
    QFETCH(QString, place);
    QFETCH(int, mode);
    QFETCH(QByteArray, err);
    Key key;
    fillSmallKey(key);
    QDir().mkdir(key.copies());
    const auto change = [](const QString& path, mode_t permissions) {
        QCOMPARE(::chmod(QFile::encodeName(path).constData(), permissions), 0);
    };
    change(key.root(), 0755);
    change(key.copies(), 0777);
    const QString path = key.root() + QLatin1Char('/') + place;
    change(path, static_cast<mode_t>(mode));
    Readkey readkey;
    readkey.asOrdinaryUser = true;
    if (mode ==
        0777) { // a limit takes the part of a full disk: it is reached within the larger file
        const qint64 size =
            QFileInfo(key.path() + QStringLiteral("/download/") + vehicleName).size();
        readkey.fileSizeLimit = static_cast<rlim_t>(size - 1);
        key.add(cardName, smallCard());
    }
    const Run run = readkey.run({QStringLiteral("--copy-to"), key.copies(), key.path()});
    const bool started = readkey.error() != QProcess::FailedToStart;
    change(path, 0755);
    if (!started)
        QSKIP("nobody may not run readkey here");
    QCOMPARE(run.err, located(err, key));
    QCOMPARE(run.status, 1);
    QCOMPARE(QDir(key.copies()).entryList({QStringLiteral(".*")}, QDir::Files | QDir::Hidden),
             QStringList());
    QVERIFY(mode == 0 || !QFile::exists(key.copies() + QLatin1Char('/') + vehicleName));
}

// Files beyond the 100 newest are not looked into but offered and copied all the same.
void TestReadkey::moreThanIsParsed() {
    Key key;
    const QByteArray good = vehicleBytes({finishedRecord()});
    for (int i = 0; i < 103; ++i)
        key.add(
            QStringLiteral("M_20240315_08%1_%2.DDD").arg(i % 60, 2, 10, QLatin1Char('0')).arg(i),
            good);
    key.add(QStringLiteral("M_20240301_0830_OLD.DDD"), "no download");
    const QStringList copying{QStringLiteral("--copy-to"), key.copies(), key.path()};
    Run run = Readkey().run(copying);
    QCOMPARE(run.err, QByteArray());
    QVERIFY2(run.out.endsWith("\n104 files, 0 driver cards, 100 vehicle downloads, 100 card "
                              "insertions; only the 100 newest vehicle files were looked into.\n"),
             run.out);
    QCOMPARE(QDir(key.copies()).entryList(QDir::Files).size(), 104);
    key.add(QStringLiteral("M_20240301_0830_OLD.DDD"), "tiny");
    run = Readkey().run({key.path()});
    QCOMPARE(run.err,
             "readkey: M_20240301_0830_OLD.DDD: the file is too small (4 bytes)\n" + summaryError);
    QVERIFY(run.out.contains("\n103 files, 0 driver cards, 100 vehicle downloads, "));
}

void TestReadkey::downloadedDirectory() {
    Key key;
    const QDir downloaded(key.path() + QStringLiteral("/downloaded"));
    QCOMPARE(Readkey().run({key.path()}).status, 0);
    QVERIFY(!downloaded.exists());
    QCOMPARE(Readkey().run({QStringLiteral("--downloaded-dir"), key.path()}).status, 0);
    QVERIFY(downloaded.exists());
}

void TestReadkey::brokenOutput() {
    Key key;
    fillSmallKey(key);
    for (const char* format : {"--json", "--csv", "--verbose"}) {
        Readkey readkey;
        readkey.setStandardOutputFile(QStringLiteral("/dev/full"));
        const Run run = readkey.run(
            {QLatin1String(format), key.path(), QStringLiteral("--copy-to"), key.copies()});
        QVERIFY2(
            run.err.endsWith("readkey: cannot write to standard output: No space left on device\n"),
            run.err);
        QCOMPARE(run.status, 1);
        QCOMPARE(QDir(key.copies()).entryList(QDir::Files), (QStringList{cardName, vehicleName}));
    }
}

QTEST_GUILESS_MAIN(TestReadkey)
#include "tst_readkey.moc"
