// A key that goes, or a host that turns to something else, at every signal of a read.
#include "tests/faults/smallkey.h"

#include <QtTest/QtTest>

#include <sys/stat.h>
#include <unistd.h>

namespace {

using Action = std::function<void(const QString& downloadDir)>;

// A read of a small key: progress(0), four files parsed, then downloadFile and progress for each of
// the four, readDone.
constexpr int signalsOfRead = 14;

// The files that are offered when nothing is offered any more after the signal.
int offeredUntil(int signal) {
    return qBound(0, (signal - 4) / 2, 4);
}

QString downloadDir(const QTemporaryDir& mountDir) {
    return mountDir.filePath(QStringLiteral("download"));
}

void removeDir(const QString& dir) {
    QDir(dir).removeRecursively();
}

void setMode(const QString& path, mode_t mode) {
    ::chmod(QFile::encodeName(path).constData(), mode);
}

Action eachFile(const Action& action) {
    return [action](const QString& dir) {
        for (const QFileInfo& file : QDir(dir).entryInfoList(QDir::Files))
            action(file.filePath());
    };
}

} // namespace

Q_DECLARE_METATYPE(Action)

class PulledKeyTest : public QObject {
    Q_OBJECT

    const bool m_isRoot = ::getuid() == 0;

private Q_SLOTS:
    void initTestCase() {
        QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false"));
        // Root may read everything, so the tests give up root's rights.
        constexpr uid_t nobody = 65534;
        QVERIFY(!m_isRoot || ::setresuid(nobody, nobody, 0) == 0);
    }
    void cleanupTestCase() { QVERIFY(!m_isRoot || ::setresuid(0, 0, 0) == 0); }

    // From which signal on nothing can fail any more, and whether the files that are left are still
    // offered.
    void vanish_data() {
        QTest::addColumn<Action>("action");
        QTest::addColumn<int>("safeFrom");
        QTest::addColumn<int>("offeredLater");
        const auto empty = [](const QString& file) { QFile::resize(file, 0); };
        const auto lock = [](const QString& path) { setMode(path, 0); };
        const auto replace = [](const QString& dir) {
            removeDir(dir);
            writeFile(dir, "no directory");
        };
        const auto remove = [](const QString& dir) { removeDir(QFileInfo(dir).path()); };
        QTest::newRow("removed") << Action(remove) << 12 << 0;
        QTest::newRow("replaced by a file") << Action(replace) << 12 << 0;
        QTest::newRow("emptied") << eachFile([](const QString& file) { QFile::remove(file); }) << 12
                                 << 0;
        // A card file of any size is offered.
        QTest::newRow("files emptied") << eachFile(empty) << 12 << 2;
        QTest::newRow("directory locked") << Action(lock) << 12 << 0;
        QTest::newRow("files locked") << eachFile(lock) << 5 << 4;
    }

    void vanish() {
        QFETCH(Action, action);
        QFETCH(int, safeFrom);
        QFETCH(int, offeredLater);
        for (int signal = 1; signal <= signalsOfRead; ++signal) {
            const QTemporaryDir dir(memoryDirTemplate());
            writeSmallKey(dir.path());
            Host host;
            host.slot = [&] {
                if (host.signalCount == signal)
                    action(downloadDir(dir));
            };
            QCOMPARE(host.open(dir.path()), QString());
            QCOMPARE(host.read(), signal < safeFrom ? readFailed : QString());
            QCOMPARE(host.done, signal < safeFrom ? 0 : 1);
            QCOMPARE(host.offered.size(), qMax(offeredUntil(signal), offeredLater));
            QCOMPARE(host.remounts, 1);
            host.key.close();
            setMode(downloadDir(dir), 0700);
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
        const QTemporaryDir dir(memoryDirTemplate());
        const QTemporaryDir otherDir(memoryDirTemplate());
        const QStringList names = writeSmallKey(dir.path());
        writeSmallKey(otherDir.path(), "XYZ");
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
            const bool failed = act == 1 && signal < 12;
            QCOMPARE(host.read(), failed ? readFailed : QString());
            QCOMPARE(host.done, failed ? 0 : act >= 2 ? 2 : 1);
            QCOMPARE(host.offered.size(), act < 2 ? offeredUntil(signal) : 8);
            QCOMPARE(host.remounts, act < 2 ? 1 : 2);

            // Whatever happened, the object reads the next key as a new one would.
            host.slot = {};
            host.offered.clear();
            QCOMPARE(host.open(dir.path()), QString());
            QCOMPARE(host.read(), QString());
            for (int i = 0; i < names.size(); ++i)
                QCOMPARE(host.offered.value(i), downloadDir(dir) + QLatin1Char('/') + names.at(i));
            QCOMPARE(host.parsed, 4);
        }
    }
};

QTEST_GUILESS_MAIN(PulledKeyTest)
#include "tst_pulledkey.moc"
