// Failing disks: every system call on a key fails once, and then for good, with each errno that it
// may have.
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

void eachFault_data(const char* kinds) {
    QTest::addColumn<QByteArray>("kind");
    QTest::addColumn<int>("error");
    QTest::addColumn<bool>("once");
    for (const Fault& fault : faults) {
        for (const int error : fault.errors) {
            // What fails for good is a disk that is dead or gone.
            for (const bool once : {true, false}) {
                if (QByteArray(kinds).split(' ').contains(fault.kind) && (once || error == EIO))
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

QByteArray contents(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

int points = 0;

// The address sanitizer makes the start of a process slow. Each row then lets only every fifth call
// fail, from another one on than the row before.
#ifdef __SANITIZE_ADDRESS__
constexpr int stride = 5;
#else
constexpr int stride = 1;
#endif

// In this process, either in open() or in read().
void failAtEveryCall(bool inOpen) {
    QFETCH(QByteArray, kind);
    QFETCH(int, error);
    QFETCH(bool, once);
    const QTemporaryDir dir(memoryDirTemplate());
    const int files = writeSmallKey(dir.path()).size();
    const int descriptors = openDescriptors();
    for (int at = 1;; ++at, ++points) {
        Host host;
        host.configuration.setValue(aux::SettingsCode::DownloadedDirEnabled, true);
        const auto arm = [&](bool isArmed) {
            faults_arm(QFile::encodeName(dir.path()).constData(), isArmed ? kind.constData() : "",
                       once ? at : -at, error);
        };
        arm(inOpen);
        const QString opened = host.open(dir.path());
        int calls = faults_disarm();
        arm(!inOpen);
        const QString result = host.read();
        calls += faults_disarm();
        const bool hasFailed = calls >= at;
        QCOMPARE(openDescriptors(), descriptors);
        QDir(dir.filePath(QStringLiteral("downloaded"))).removeRecursively();

        if (!opened.isEmpty()) {
            QCOMPARE(opened, QStringLiteral("open: Download directory does not exist: ") +
                                 dir.filePath(QStringLiteral("download")));
        } else if (result == QStringLiteral("No DownloadKey mounted")) {
            QCOMPARE(host.signalCount + host.remounts, 0);
        } else if (result.isEmpty()) {
            QCOMPARE(host.done, 1);
            QCOMPARE(host.remounts, 1);
            QCOMPARE(host.parsed, host.offered.size());
            // A listing that fails tells the library nothing: it reads like a shorter one.
            QVERIFY(host.offered.size() == files || (inOpen && kind != "mkdir" && hasFailed));
            QCOMPARE(host.logged, inOpen && kind == "mkdir" && hasFailed ? 1 : 0);
        } else {
            QCOMPARE(result, readFailed);
            QCOMPARE(host.done, 0);
            QCOMPARE(host.remounts, 1);
            // One failure loses one file at the most.
            QVERIFY(!once || host.offered.size() >= files - 1);
        }
        if (!hasFailed) {
            QVERIFY2(at > 1, "no such call was seen");
            QCOMPARE(host.offered.size(), files);
            break;
        }
    }
}

} // namespace

class FaultsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false")); }
    void cleanupTestCase() { qInfo("%d points of failure", points); }

    void open_data() { eachFault_data("stat readdir mkdir"); }
    void open() { failAtEveryCall(true); }
    void read_data() { eachFault_data("open stat read"); }
    void read() { failAtEveryCall(false); }

    // What comes before a bad byte in the signature of a first-generation day looks like a whole
    // download: the later days must not be lost in silence.
    void badBytes() {
        samples::VehicleUnit unit;
        unit.days.resize(2);
        const QByteArray bytes = samples::vehicleUnitFile(unit);
        const QTemporaryDir dir(memoryDirTemplate());
        QDir(dir.path()).mkdir(QStringLiteral("download"));
        writeFile(dir.filePath(QStringLiteral("download/2403150830.V1B")), bytes);

        Host host;
        QCOMPARE(host.open(dir.path()), QString());
        const auto readWithBadByte = [&](int position) {
            faults_arm(QFile::encodeName(dir.path()).constData(), "byte", position, EIO);
            QString result = host.read();
            faults_disarm();
            return result;
        };
        for (int position = 0; position < bytes.size(); position += 50, ++points)
            QCOMPARE(readWithBadByte(position), readFailed);
        QCOMPARE(readWithBadByte(bytes.size() - 1), readFailed);
        QCOMPARE(host.done, 0);
        QCOMPARE(readWithBadByte(bytes.size()), QString());
        QCOMPARE(host.done, 1);
    }

    void copyTo_data() { eachFault_data("open stat readdir read mkdir rename write"); }

    void copyTo() {
        QFETCH(QByteArray, kind);
        QFETCH(int, error);
        QFETCH(bool, once);
        const QTemporaryDir dir(memoryDirTemplate());
        const QString key = dir.filePath(QStringLiteral("key/"));
        const QString copy = dir.filePath(QStringLiteral("copy/"));
        const QString report = dir.path() + QStringLiteral("-report");
        const QStringList names = writeSmallKey(key);
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        const QString asan = environment.value(QStringLiteral("ASAN_OPTIONS"));
        const auto set = [&environment](const char* name, const QString& value) {
            environment.insert(QLatin1String(name), value);
        };
        set("LD_PRELOAD", QStringLiteral(FAULTSHIM));
        set("ASAN_OPTIONS", asan + QStringLiteral(":verify_asan_link_order=0"));
        set("FAULT_ROOT", dir.path());
        set("FAULT_CALLS", QString::fromLatin1(kind));
        set("FAULT_ERRNO", QString::number(error));
        set("FAULT_REPORT", report);

        static int row = 0;
        bool failed = true;
        for (int at = 1 + row++ % stride; failed; at += stride) {
            set("FAULT_AT", QString::number(once ? at : -at));
            QProcess process;
            process.setProcessEnvironment(environment);
            process.start(QStringLiteral(READKEY),
                          QStringLiteral("--json --downloaded-dir --copy-to %1 %2")
                              .arg(copy, key)
                              .split(QLatin1Char(' ')));
            QVERIFY2(process.waitForFinished(), "it hangs");
            failed = QFile::remove(report);
            points += failed ? 1 : 0;
            const QByteArray complaint = process.readAllStandardError();
            const QByteArray where = "call " + QByteArray::number(at) + ": " + complaint;
            const int status = process.exitCode();
            QVERIFY2(process.exitStatus() == QProcess::NormalExit, where.constData());
            QVERIFY2(status == 0 || (status == 1 && failed && !complaint.isEmpty()),
                     where.constData());
            for (const QByteArray& line : process.readAllStandardOutput().split('\n'))
                QVERIFY2(line.isEmpty() || QJsonDocument::fromJson(line).isObject(),
                         line.constData());
            const QStringList copied = QDir(copy).entryList(QDir::Files | QDir::Hidden);
            QVERIFY2(status == 1 || copied.size() == names.size(), where.constData());
            for (const QString& name : copied)
                QVERIFY2(names.contains(name) &&
                             contents(copy + name) ==
                                 contents(key + QStringLiteral("download/") + name),
                         where.constData());
            QDir(copy).removeRecursively();
            QDir(key + QStringLiteral("downloaded")).removeRecursively();
        }
    }
};

QTEST_GUILESS_MAIN(FaultsTest)
#include "tst_faults.moc"
