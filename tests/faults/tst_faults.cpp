// Failing disks: every system call on a key fails once, and then for good, with each errno that it
// may have. And the remounting of a real mount.
#include "tests/faults/faultshim.h"
#include "tests/faults/smallkey.h"

#include <QtTest/QtTest>

#include <QtCore/QJsonDocument>
#include <QtCore/QProcess>

#include <cerrno>
#include <cstring>

namespace {

// The kinds of calls, and what may become of them. 0 is an end of the file that comes too early.
struct Fault {
    const char* kind;
    std::vector<int> errors;
};

const Fault faults[] = {
    {"open", {EACCES, EIO, ENOENT, EMFILE, ENOMEM}},
    {"stat", {EACCES, EIO, ENOENT, ENOMEM}},
    {"readdir", {EACCES, EIO, ENOENT}},
    {"read", {EIO, EISDIR, ENODEV, 0}},
    {"mkdir", {EACCES, EIO, ENOSPC, EROFS}},
    {"rename", {EINVAL, EIO, ENOSPC, EROFS}},
    {"write", {EDQUOT, EFBIG, EINTR, EIO, ENOSPC}},
};

void eachFault_data(const QStringList& kinds) {
    QTest::addColumn<QByteArray>("kind");
    QTest::addColumn<int>("error");
    QTest::addColumn<bool>("once");
    for (const Fault& fault : faults) {
        for (const int error : fault.errors) {
            // What fails for good is a disk that is dead or gone.
            for (const bool once : {true, false}) {
                if (kinds.contains(QLatin1String(fault.kind)) && (once || error == EIO))
                    QTest::addRow("%s: %s%s", fault.kind,
                                  error ? std::strerror(error) : "end of file",
                                  once ? "" : " for good")
                        << QByteArray(fault.kind) << error << once;
            }
        }
    }
}

int openDescriptors() {
    return QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::AllEntries | QDir::System).size();
}

int points = 0;

} // namespace

class FaultsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false")); }
    void cleanupTestCase() { qInfo("%d points of failure", points); }

    void open_data() {
        eachFault_data(
            {QStringLiteral("stat"), QStringLiteral("readdir"), QStringLiteral("mkdir")});
    }
    void open() { failAtEveryCall(true); }

    void read_data() {
        eachFault_data({QStringLiteral("open"), QStringLiteral("stat"), QStringLiteral("read")});
    }
    void read() { failAtEveryCall(false); }

    void copyTo_data() {
        eachFault_data({QStringLiteral("open"), QStringLiteral("stat"), QStringLiteral("readdir"),
                        QStringLiteral("read"), QStringLiteral("mkdir"), QStringLiteral("rename"),
                        QStringLiteral("write")});
    }

    void copyTo() {
        QFETCH(QByteArray, kind);
        QFETCH(int, error);
        QFETCH(bool, once);
        QTemporaryDir dir(memoryDirTemplate());
        const QString key = dir.path() + QStringLiteral("/key");
        const QString copy = dir.path() + QStringLiteral("/copy");
        const QString report = dir.path() + QStringLiteral("-report");
        const QStringList names = writeSmallKey(key, QStringLiteral("ABC"));

        for (int at = 1;; ++at, ++points) {
            QProcess process;
            QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
            environment.insert(QStringLiteral("LD_PRELOAD"), QStringLiteral(FAULTSHIM));
            environment.insert(QStringLiteral("ASAN_OPTIONS"),
                               environment.value(QStringLiteral("ASAN_OPTIONS")) +
                                   QStringLiteral(":verify_asan_link_order=0"));
            environment.insert(QStringLiteral("FAULT_ROOT"), dir.path());
            environment.insert(QStringLiteral("FAULT_CALLS"), QString::fromLatin1(kind));
            environment.insert(QStringLiteral("FAULT_AT"), QString::number(once ? at : -at));
            environment.insert(QStringLiteral("FAULT_ERRNO"), QString::number(error));
            environment.insert(QStringLiteral("FAULT_REPORT"), report);
            process.setProcessEnvironment(environment);
            process.start(QStringLiteral(READKEY),
                          {QStringLiteral("--json"), QStringLiteral("--downloaded-dir"),
                           QStringLiteral("--copy-to"), copy, key});
            QVERIFY2(process.waitForFinished(), "it hangs");
            const bool failed = QFile::remove(report);
            const QByteArray complaint = process.readAllStandardError();
            const auto where = [&] {
                return QByteArray("call ") + QByteArray::number(at) + ": " + complaint;
            };
            QVERIFY2(process.exitStatus() == QProcess::NormalExit, where().constData());
            QVERIFY2(process.exitCode() == 0 || process.exitCode() == 1, where().constData());
            QVERIFY2(process.exitCode() == 0 || !complaint.isEmpty(), where().constData());
            for (const QByteArray& line : process.readAllStandardOutput().split('\n'))
                QVERIFY2(line.isEmpty() || QJsonDocument::fromJson(line).isObject(),
                         line.constData());

            const QStringList copied = QDir(copy).entryList(QDir::Files | QDir::Hidden);
            for (const QString& name : copied)
                QVERIFY2(names.contains(name) && isCopy(key, copy, name), where().constData());
            QVERIFY2(process.exitCode() == 1 || copied.size() == names.size(), where().constData());
            QVERIFY2(failed || process.exitCode() == 0, where().constData());
            QDir(copy).removeRecursively();
            QDir(key + QStringLiteral("/downloaded")).removeRecursively();
            if (!failed)
                break;
        }
    }

    // In a mount namespace of its own, where the system allows one.
    void remount() {
        const QString script =
            QStringLiteral("mount -t tmpfs -o rw,nosuid,nodev key \"$1\" || exit 3\n"
                           "cp -r \"$2\"/. \"$1\" && \"$3\" --remount --json \"$1\" || exit 4\n"
                           "grep \" $1 \" /proc/self/mountinfo | cut -d ' ' -f 6\n"
                           "touch \"$1/more\" 2>/dev/null && exit 5\n"
                           "exit 0\n");
        QTemporaryDir dir(memoryDirTemplate());
        const QString mountDir = dir.path() + QStringLiteral("/mount");
        const QString key = dir.path() + QStringLiteral("/key");
        QDir().mkpath(mountDir);
        writeSmallKey(key, QStringLiteral("ABC"));
        QProcess process;
        for (const char* options : {"-m", "-rm"}) {
            process.start(QStringLiteral("unshare"),
                          {QString::fromLatin1(options), QStringLiteral("sh"), QStringLiteral("-c"),
                           script, QStringLiteral("sh"), mountDir, key, QStringLiteral(READKEY)});
            if (process.waitForFinished() && process.exitCode() != 1 && process.exitCode() != 3)
                break;
        }
        const QByteArray complaint = process.readAllStandardError();
        if (process.error() == QProcess::FailedToStart || process.exitCode() == 1 ||
            process.exitCode() == 3)
            QSKIP(("This system allows no mount namespace: " + complaint).constData());
        QVERIFY2(process.exitCode() == 0, complaint.constData());
        const QByteArrayList lines = process.readAllStandardOutput().trimmed().split('\n');
        QCOMPARE(lines.last(), QByteArray("ro,nosuid,nodev,relatime"));
        QCOMPARE(lines.value(lines.size() - 2), QByteArray("{\"event\":\"read\",\"errors\":[]}"));
    }

private:
    static bool isCopy(const QString& key, const QString& copy, const QString& name) {
        QFile original(key + QStringLiteral("/download/") + name);
        QFile other(copy + QLatin1Char('/') + name);
        return original.open(QIODevice::ReadOnly) && other.open(QIODevice::ReadOnly) &&
               original.readAll() == other.readAll();
    }

    // In this process, either in open() or in read().
    static void failAtEveryCall(bool inOpen) {
        QFETCH(QByteArray, kind);
        QFETCH(int, error);
        QFETCH(bool, once);
        QTemporaryDir dir(memoryDirTemplate());
        const int files = writeSmallKey(dir.path(), QStringLiteral("ABC")).size();
        const QByteArray root = QFile::encodeName(dir.path());
        const int descriptors = openDescriptors();
        for (int at = 1;; ++at, ++points) {
            Host host;
            host.configuration.setValue(aux::SettingsCode::DownloadedDirEnabled, true);
            const auto arm = [&] {
                faults_arm(root.constData(), kind.constData(), once ? at : -at, error);
            };
            int calls = 0;
            if (inOpen)
                arm();
            const QString opened = host.open(dir.path());
            calls = inOpen ? faults_disarm() : 0;
            if (!inOpen)
                arm();
            const QString result = host.read();
            calls = inOpen ? calls : faults_disarm();
            QCOMPARE(openDescriptors(), descriptors);
            QDir(dir.path() + QStringLiteral("/downloaded")).removeRecursively();

            if (!opened.isEmpty()) {
                QCOMPARE(opened, QStringLiteral("open: Download directory does not exist: ") +
                                     dir.path() + QStringLiteral("/download"));
            } else if (result == QStringLiteral("No DownloadKey mounted")) {
                QCOMPARE(host.signalCount + host.remounts, 0);
            } else if (result.isEmpty()) {
                QCOMPARE(host.done, 1);
                QCOMPARE(host.remounts, 1);
                QCOMPARE(static_cast<int>(host.parsed), host.offered.size());
                // A listing that fails tells the library nothing: it reads like a shorter one.
                QVERIFY(host.offered.size() == files || (inOpen && kind != "mkdir" && calls >= at));
                QCOMPARE(host.logged, inOpen && kind == "mkdir" && calls >= at ? 1 : 0);
            } else {
                QCOMPARE(result, readFailed());
                QCOMPARE(host.done, 0);
                QCOMPARE(host.remounts, 1);
            }
            if (calls < at) {
                QVERIFY2(at > 1, "no such call was seen");
                QCOMPARE(host.offered.size(), files);
                break;
            }
        }
    }
};

QTEST_GUILESS_MAIN(FaultsTest)
#include "tst_faults.moc"
