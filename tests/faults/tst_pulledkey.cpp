// A key that goes, or a host that turns to something else, at every signal of a read.
#include "tests/faults/smallkey.h"

#include <QtTest/QtTest>

#include <sys/stat.h>
#include <unistd.h>

namespace {

using Action = std::function<void(Host& host, const QString& mountDir)>;

// A read of a small key: progress(0), four files parsed, then downloadFile and progress for each of
// the four, readDone.
constexpr int signalsOfRead = 14;

// The files that are offered when nothing is offered any more after the signal.
int offeredUntil(int signal) {
    return qBound(0, (signal - 4) / 2, 4);
}

QString downloadDir(const QString& mountDir) {
    return mountDir + QStringLiteral("/download");
}

void removeKey(Host&, const QString& mountDir) {
    QDir(mountDir).removeRecursively();
}

void replaceByFile(Host&, const QString& mountDir) {
    QDir(downloadDir(mountDir)).removeRecursively();
    writeFile(downloadDir(mountDir), "no directory");
}

void emptyKey(Host&, const QString& mountDir) {
    const QDir dir(downloadDir(mountDir));
    for (const QString& name : dir.entryList(QDir::Files))
        QFile::remove(dir.filePath(name));
}

void emptyFiles(Host&, const QString& mountDir) {
    const QDir dir(downloadDir(mountDir));
    for (const QString& name : dir.entryList(QDir::Files))
        QFile::resize(dir.filePath(name), 0);
}

void lockDirectory(Host&, const QString& mountDir) {
    ::chmod(QFile::encodeName(downloadDir(mountDir)).constData(), 0);
}

void lockFiles(Host&, const QString& mountDir) {
    const QDir dir(downloadDir(mountDir));
    for (const QString& name : dir.entryList(QDir::Files))
        ::chmod(QFile::encodeName(dir.filePath(name)).constData(), 0);
}

// Gives up root's rights for a while: it may read everything.
struct OrdinaryUser {
    explicit OrdinaryUser(const QString& dir) {
        if (::getuid() != 0)
            return;
        constexpr uid_t nobody = 65534;
        QDirIterator entries(dir, QDir::AllEntries | QDir::NoDotAndDotDot,
                             QDirIterator::Subdirectories);
        while (entries.hasNext())
            give(entries.next(), nobody);
        give(dir, nobody);
        if (::setresuid(nobody, nobody, 0) != 0)
            qFatal("cannot become an ordinary user");
    }
    ~OrdinaryUser() {
        if (::geteuid() != 0 && ::setresuid(0, 0, 0) != 0 && ::getuid() == 65534)
            qFatal("cannot become root again");
    }
    static void give(const QString& path, uid_t user) {
        if (::chown(QFile::encodeName(path).constData(), user, gid_t(-1)) != 0)
            qFatal("cannot give away %s", qPrintable(path));
    }
};

} // namespace

Q_DECLARE_METATYPE(Action)

class PulledKeyTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false")); }

    // From which signal on nothing can fail any more, and whether the files that are left are still
    // offered.
    void vanish_data() {
        QTest::addColumn<Action>("action");
        QTest::addColumn<int>("safeFrom");
        QTest::addColumn<int>("offeredLater");
        QTest::newRow("removed") << Action(removeKey) << 12 << 0;
        QTest::newRow("replaced by a file") << Action(replaceByFile) << 12 << 0;
        QTest::newRow("emptied") << Action(emptyKey) << 12 << 0;
        QTest::newRow("files emptied")
            << Action(emptyFiles) << 12 << 2; // a card file of any size is offered
        QTest::newRow("directory locked") << Action(lockDirectory) << 12 << 0;
        QTest::newRow("files locked") << Action(lockFiles) << 5 << 4;
    }

    void vanish() {
        QFETCH(Action, action);
        QFETCH(int, safeFrom);
        QFETCH(int, offeredLater);
        for (int signal = 1; signal <= signalsOfRead; ++signal) {
            QTemporaryDir dir(memoryDirTemplate());
            writeSmallKey(dir.path(), QStringLiteral("ABC"));
            const OrdinaryUser user(dir.path());
            Host host;
            host.slot = [&] {
                if (host.signalCount == signal)
                    action(host, dir.path());
            };
            QCOMPARE(host.open(dir.path()), QString());
            QCOMPARE(host.read(), signal < safeFrom ? readFailed() : QString());
            QCOMPARE(host.done, signal < safeFrom ? 0 : 1);
            QCOMPARE(host.offered.size(), qMax(offeredUntil(signal), offeredLater));
            QCOMPARE(host.remounts, 1);
            host.key.close();
            ::chmod(QFile::encodeName(downloadDir(dir.path())).constData(), 0700);
        }
    }

    // What a slot may do. A nested read() sees the whole key; another key's files have other names.
    void turnAway_data() {
        QTest::addColumn<int>("act");
        QTest::newRow("close") << 0;
        QTest::newRow("open another") << 1;
        QTest::newRow("read again") << 2;
        QTest::newRow("close, open and read again") << 3;
    }

    void turnAway() {
        QFETCH(int, act);
        QTemporaryDir dir(memoryDirTemplate());
        QTemporaryDir otherDir(memoryDirTemplate());
        const QStringList names = writeSmallKey(dir.path(), QStringLiteral("ABC"));
        writeSmallKey(otherDir.path(), QStringLiteral("XYZ"));
        for (int signal = 1; signal <= signalsOfRead; ++signal) {
            Host host;
            host.slot = [&] {
                if (host.signalCount != signal)
                    return;
                if (act == 0 || act == 3)
                    host.key.close();
                if (act == 1 || act == 3)
                    QCOMPARE(host.open((act == 1 ? otherDir : dir).path()), QString());
                if (act >= 2)
                    QCOMPARE(host.read(), QString());
            };
            QCOMPARE(host.open(dir.path()), QString());
            const QString result = host.read();
            const bool failed = act == 1 && signal < 12;
            QCOMPARE(result, failed ? readFailed() : QString());
            QCOMPARE(host.done, failed ? 0 : act >= 2 ? 2 : 1);
            QCOMPARE(host.offered.size(), act < 2 ? offeredUntil(signal) : 8);
            QCOMPARE(host.remounts, act < 2 ? 1 : 2);

            // Whatever happened, the object reads the next key as a new one would.
            host.slot = {};
            host.offered.clear();
            QCOMPARE(host.open(dir.path()), QString());
            QCOMPARE(host.read(), QString());
            for (int i = 0; i < names.size(); ++i)
                QCOMPARE(host.offered.value(i),
                         downloadDir(dir.path()) + QLatin1Char('/') + names.at(i));
            QCOMPARE(host.parsed, std::size_t(4));
        }
    }
};

QTEST_GUILESS_MAIN(PulledKeyTest)
#include "tst_pulledkey.moc"
