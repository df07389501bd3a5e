// Much on a key: the memory and the time that its sizes explain. The peak of each is printed.
#include "tests/faults/smallkey.h"

#include <QtTest/QtTest>

#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>

#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr qint64 MiB = 1 << 20;

// What a child process reports of one key.
struct Outcome {
    qint64 peak; // bytes
    qint64 milliseconds;
    char results[80];
};

Outcome measure(const QString& mountDir) {
    Host host;
    QElapsedTimer timer;
    timer.start();
    const bool failed = !host.open(mountDir).isEmpty() || !host.read().isEmpty();
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    Outcome outcome{qint64(usage.ru_maxrss) * 1024, timer.elapsed(), {}};
    std::snprintf(outcome.results, sizeof outcome.results,
                  "%d offered, %d parsed, %zu activities%s", host.offered.size(), host.parsed,
                  host.activities, failed ? ", failed" : "");
    return outcome;
}

// In a process of its own, which begins with the memory of this one: nothing large is done here.
template <typename Work>
Outcome inChild(const Work& work) {
    void* const shared =
        ::mmap(nullptr, sizeof(Outcome), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED)
        qFatal("no shared memory");
    const pid_t child = ::fork();
    if (child == 0) {
        ::signal(SIGABRT, SIG_DFL); // Qt Test's own handler is the parent's
        ::signal(SIGSEGV, SIG_DFL);
        ::alarm(120);
        [&]() noexcept { *static_cast<Outcome*>(shared) = work(); }(); // Qt Test catches otherwise
        ::_exit(0);
    }
    int status = 0;
    if (::waitpid(child, &status, 0) != child || status != 0)
        QTest::qFail("the child process crashed", __FILE__, __LINE__);
    const Outcome outcome = *static_cast<Outcome*>(shared);
    ::munmap(shared, sizeof(Outcome));
    return outcome;
}

QString vehicleUnitPath(const QString& dir) {
    return dir + QStringLiteral("M_20240315_0830_1.DDD");
}

// All of one minute, so that nothing orders them. Names of one file each, for the disk's sake.
void manyFiles(const QString& dir) {
    for (const char kind : {'C', 'M'}) {
        const auto path = [&](int number) {
            return QFile::encodeName(dir +
                                     QString::asprintf("%c_20240315_0830_%05d.DDD", kind, number));
        };
        const QByteArray first = path(0);
        writeFile(QFile::decodeName(first),
                  kind == 'C' ? smallCard() : smallVehicleUnit(samples::Generation::Gen2V1));
        for (int i = 1; i < 10000; ++i) {
            if (::link(first.constData(), path(i).constData()) != 0)
                qFatal("cannot link");
        }
    }
}

// Begins as a first-generation file does, and has nothing but zeros behind that.
[[maybe_unused]] void sparseFile(const QString& dir) {
    writeFile(vehicleUnitPath(dir), "\x76\x01");
    if (!QFile::resize(vehicleUnitPath(dir), 1024 * MiB))
        qFatal("cannot enlarge");
}

void writeUnit(const QString& dir, std::size_t days, std::size_t records, bool isCut) {
    samples::VehicleUnit unit;
    unit.days.resize(days);
    std::uint32_t time = 0;
    for (samples::Day& day : unit.days) {
        day.cardRecords.resize(records);
        for (samples::CardRecord& record : day.cardRecords)
            record.insertionTime = ++time;
    }
    writeFile(vehicleUnitPath(dir), samples::vehicleUnitFile(unit).left(isCut ? 4096 : INT_MAX));
}

using Writer = std::function<void(const QString&)>;

} // namespace

Q_DECLARE_METATYPE(Writer)

class ScaleTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false")); }

    void key_data() {
        QTest::addColumn<Writer>("write");
        QTest::addColumn<QByteArray>("results");
        QTest::addColumn<qint64>("memory"); // above that of an empty key
        const auto unit = [](std::size_t days, std::size_t records, bool isCut) {
            return Writer([=](const QString& dir) { writeUnit(dir, days, records, isCut); });
        };
        // Each name a kilobyte, with its place in the lists and in the listing.
        QTest::newRow("20,000 files")
            << Writer(manyFiles) << QByteArray("20000 offered, 200 parsed, 200 activities")
            << 24 * MiB;
#if !defined(Q_PROCESSOR_ARM) && !defined(__SANITIZE_ADDRESS__) // which needs all addresses
        QTest::newRow("a file of 1 GiB, which does not fit")
            << Writer(sparseFile) << QByteArray("1 offered, 0 parsed, 0 activities, failed")
            << 8 * MiB;
#endif
#ifndef Q_PROCESSOR_ARM
        // The file once, however many objects share it.
        QTest::newRow("a file of 1 GiB")
            << Writer(sparseFile) << QByteArray("1 offered, 1 parsed, 0 activities")
            << 1024 * MiB + 8 * MiB;
#endif
        // 8.2 MiB of file, and for each of its records 0.4 KiB of strings, times and two lists of
        // them.
        QTest::newRow("65,535 records")
            << unit(1, 65535, false) << QByteArray("1 offered, 1 parsed, 65535 activities")
            << 9 * MiB + 65535 * qint64(512);
        QTest::newRow("65,535 records that are not there")
            << unit(1, 65535, true) << QByteArray("1 offered, 0 parsed, 0 activities, failed")
            << 8 * MiB;
        QTest::newRow("1,000 blocks")
            << unit(1000, 2, false) << QByteArray("1 offered, 1 parsed, 2000 activities")
            << 8 * MiB;
    }

    void key() {
        QFETCH(Writer, write);
        const QTemporaryDir dir(memoryDirTemplate());
        const QTemporaryDir emptyDir(memoryDirTemplate());
        for (const QTemporaryDir* mountDir : {&dir, &emptyDir})
            QDir(mountDir->path()).mkdir(QStringLiteral("download"));
        inChild([&] { return write(dir.filePath(QStringLiteral("download/"))), Outcome(); });
        const qint64 empty = inChild([&] { return measure(emptyDir.path()); }).peak;
        const Outcome outcome = inChild([&] {
            const rlimit little{512 * MiB, 512 * MiB};
            if (std::strstr(QTest::currentDataTag(), "does not fit"))
                ::setrlimit(RLIMIT_AS, &little);
            return measure(dir.path());
        });
        qInfo("peak %.1f MiB, %.1f MiB above an empty key; %lld ms", double(outcome.peak) / MiB,
              double(outcome.peak - empty) / MiB, outcome.milliseconds);
        QTEST(QByteArray(outcome.results), "results");
        QVERIFY(outcome.milliseconds < 60000);
#if !defined(__SANITIZE_ADDRESS__)
        QFETCH(qint64, memory);
        QVERIFY2(outcome.peak - empty < memory, "more memory than the sizes explain");
#endif
    }
};

QTEST_GUILESS_MAIN(ScaleTest)
#include "tst_scale.moc"
