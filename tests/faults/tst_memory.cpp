// A file on a key may be larger than the memory of the device.
#include "tests/support/recordinghost.h"

#include <QtTest/QtTest>

#include <csignal>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr qint64 mebibyte = 1 << 20;

struct Outcome {
    bool isRead;
    qint64 peak; // bytes of memory
};

// Reads a key in a process of its own, which begins with the memory of this one.
Outcome readInChild(const TestKey& key, rlim_t addressSpace = RLIM_INFINITY) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::signal(SIGABRT, SIG_DFL); // Qt Test's own handler is the parent's
        ::signal(SIGSEGV, SIG_DFL);
        const auto read = [&]() noexcept { // Qt Test would catch an exception and go on
            const rlimit limit{addressSpace, addressSpace};
            ::setrlimit(RLIMIT_AS, &limit);
            RecordingHost host;
            return host.open(key).isEmpty() && !host.read().endsWith("failed");
        };
        ::_exit(read() ? 0 : 1);
    }
    int status = 0;
    rusage usage{};
    if (::wait4(child, &status, 0, &usage) != child || !WIFEXITED(status))
        qFatal("the child process crashed");
    return {WEXITSTATUS(status) == 0, qint64(usage.ru_maxrss) * 1024};
}

} // namespace

class MemoryTest : public QObject {
    Q_OBJECT

    const TestKey m_emptyKey;
    const TestKey m_hugeKey;
    const qint64 m_size = 512 * mebibyte;

private Q_SLOTS:
    // A first-generation overview, and then zeros, which the disk need not hold.
    void initTestCase() {
#if defined(Q_PROCESSOR_ARM)
        QSKIP("the emulator's own memory would be measured");
#elif defined(__SANITIZE_ADDRESS__)
        QSKIP("the sanitizer needs all addresses");
#endif
        const QString name = "download/M_20240315_0830_1.DDD";
        m_hugeKey.write(name, "\x76\x01");
        QVERIFY(QFile::resize(m_hugeKey.path(name), m_size));
    }

    void fileIsInMemoryOnce() {
        const qint64 before = readInChild(m_emptyKey).peak;
        const Outcome outcome = readInChild(m_hugeKey);
        QVERIFY(outcome.isRead);
        QVERIFY2(outcome.peak - before < m_size + 8 * mebibyte,
                 QByteArray::number(outcome.peak - before).constData());
    }

    void fileThatDoesNotFitFails() {
        QVERIFY(readInChild(m_emptyKey, 256 * mebibyte).isRead);
        QVERIFY(!readInChild(m_hugeKey, 256 * mebibyte).isRead);
    }
};

QTEST_GUILESS_MAIN(MemoryTest)
#include "tst_memory.moc"
