// Much on a key: the memory and the time that its sizes explain. The peak of each is printed.
#include "tests/faults/smallkey.h"

#include <QtTest/QtTest>

#include <climits>
#include <csignal>
#include <cstring>
#include <functional>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr qint64 MiB = 1 << 20;

// What a child process reports of one key.
struct Outcome {
    qint64 peak; // bytes
    qint64 milliseconds;
    int offered;
    int parsed;
    qint64 activities;
    int failed;
};

Outcome measure(const QString& mountDir) {
    Host host;
    qint64 activities = 0;
    QObject::connect(&host.key, &downloadkey::DownloadKey::readDone, &host.key,
                     [&](const auto&, const auto& vehicles, bool) {
                         for (const auto& vehicle : vehicles)
                             activities +=
                                 static_cast<qint64>(vehicle->getDriverActivities().size());
                     });
    QElapsedTimer timer;
    timer.start();
    const bool failed = !host.open(mountDir).isEmpty() || !host.read().isEmpty();
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return {usage.ru_maxrss * 1024,        timer.elapsed(), host.offered.size(),
            static_cast<int>(host.parsed), activities,      failed ? 1 : 0};
}

// In a process of its own, which begins with the memory of this one: nothing large is done here.
Outcome inChild(const std::function<Outcome()>& work) {
    Outcome outcome{};
    int pipeEnds[2];
    if (::pipe(pipeEnds) != 0)
        qFatal("no pipe");
    const pid_t child = ::fork();
    if (child == 0) {
        ::signal(SIGABRT, SIG_DFL); // Qt Test's own handler is the parent's
        ::signal(SIGSEGV, SIG_DFL);
        ::alarm(120);
        outcome = [&work]() noexcept { return work(); }(); // Qt Test catches what is thrown
        ::_exit(::write(pipeEnds[1], &outcome, sizeof outcome) == sizeof outcome ? 0 : 1);
    }
    ::close(pipeEnds[1]);
    if (::read(pipeEnds[0], &outcome, sizeof outcome) != sizeof outcome)
        outcome.failed = 2;
    ::close(pipeEnds[0]);
    ::waitpid(child, nullptr, 0);
    return outcome;
}

QString namedFile(const QString& downloadDir, const char* pattern, int number) {
    return downloadDir + QString::asprintf(pattern, number);
}

// All of one minute, so that nothing orders them. Names of one file each, for the disk's sake.
void manyFiles(const QString& dir) {
    for (const char* pattern : {"C_20240315_0830_%05d.DDD", "M_20240315_0830_%05d.DDD"}) {
        const QByteArray first = QFile::encodeName(namedFile(dir, pattern, 0));
        if (!writeFile(QFile::decodeName(first),
                       *pattern == 'C' ? smallCard()
                                       : smallVehicleUnit(samples::Generation::Gen2V1)))
            qFatal("cannot write");
        for (int i = 1; i < 10000; ++i) {
            if (::link(first.constData(),
                       QFile::encodeName(namedFile(dir, pattern, i)).constData()) != 0)
                qFatal("cannot link");
        }
    }
}

// Begins as a first-generation file does, and has nothing but zeros behind that.
void sparseFile(const QString& dir) {
    QFile file(namedFile(dir, "M_20240315_0830_%d.DDD", 1));
    if (!file.open(QIODevice::WriteOnly) || file.write("\x76\x01") != 2 || !file.resize(1024 * MiB))
        qFatal("cannot write");
}

void writeUnit(const QString& dir, std::size_t days, std::size_t records, bool isCut) {
    samples::VehicleUnit unit;
    unit.generation = samples::Generation::Gen2V2;
    unit.days.resize(days);
    std::uint32_t time = 0;
    for (samples::Day& day : unit.days) {
        day.cardRecords.resize(records);
        for (samples::CardRecord& record : day.cardRecords)
            record.insertionTime = ++time;
    }
    if (!writeFile(namedFile(dir, "M_20240315_0830_%d.DDD", 1),
                   samples::vehicleUnitFile(unit).left(isCut ? 4096 : INT_MAX)))
        qFatal("cannot write");
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
        QTest::addColumn<int>("offered");
        QTest::addColumn<int>("parsed");
        QTest::addColumn<int>("activities");
        QTest::addColumn<int>("failed");
        QTest::addColumn<qint64>("memory"); // above that of an empty key
        const auto unit = [](std::size_t days, std::size_t records, bool isCut) {
            return Writer([=](const QString& dir) { writeUnit(dir, days, records, isCut); });
        };
        // Each name a kilobyte, with its place in the lists and in the listing.
        QTest::newRow("20,000 files") << Writer(manyFiles) << 20000 << 200 << 200 << 0 << 24 * MiB;
#if !defined(Q_PROCESSOR_ARM) && !defined(__SANITIZE_ADDRESS__) // which needs all addresses
        QTest::newRow("a file of 1 GiB, which does not fit")
            << Writer(sparseFile) << 1 << 0 << 0 << 1 << 8 * MiB;
#endif
#ifndef Q_PROCESSOR_ARM
        // The file once, however many objects share it.
        QTest::newRow("a file of 1 GiB")
            << Writer(sparseFile) << 1 << 1 << 0 << 0 << 1024 * MiB + 8 * MiB;
#endif
        // 8.2 MiB of file, and for each of its records 0.4 KiB of strings, times and two lists of
        // them.
        QTest::newRow("65,535 records")
            << unit(1, 65535, false) << 1 << 1 << 65535 << 0 << 9 * MiB + 65535 * 512;
        QTest::newRow("65,535 records that are not there")
            << unit(1, 65535, true) << 1 << 0 << 0 << 1 << 8 * MiB;
        QTest::newRow("1,000 blocks") << unit(1000, 2, false) << 1 << 1 << 2000 << 0 << 8 * MiB;
    }

    void key() {
        QFETCH(Writer, write);
        QTemporaryDir dir(memoryDirTemplate());
        const QString downloadDir = dir.path() + QStringLiteral("/download/");
        QDir().mkpath(downloadDir);
        const QTemporaryDir emptyDir(memoryDirTemplate());
        QDir(emptyDir.path()).mkdir(QStringLiteral("download"));
        QCOMPARE(inChild([&] { return write(downloadDir), Outcome(); }).failed, 0);
        const qint64 empty = inChild([&] { return measure(emptyDir.path()); }).peak;
        const Outcome outcome = inChild([&] {
            const rlimit little{512 * MiB, 512 * MiB};
            if (std::strstr(QTest::currentDataTag(), "does not fit"))
                ::setrlimit(RLIMIT_AS, &little);
            return measure(dir.path());
        });
        qInfo("peak %.1f MiB, %.1f MiB above an empty key; %lld ms", double(outcome.peak) / MiB,
              double(outcome.peak - empty) / MiB, outcome.milliseconds);
        QTEST(outcome.offered, "offered");
        QTEST(outcome.parsed, "parsed");
        QTEST(int(outcome.activities), "activities");
        QTEST(outcome.failed, "failed");
        QVERIFY(outcome.milliseconds < 60000);
#if !defined(__SANITIZE_ADDRESS__)
        QFETCH(qint64, memory);
        QVERIFY2(outcome.peak - empty < memory, "more memory than the sizes explain");
#endif
    }
};

QTEST_GUILESS_MAIN(ScaleTest)
#include "tst_scale.moc"
