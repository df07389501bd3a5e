// The program whose instructions are counted. It does each job twice and calls bench_mark() before
// and after the second run, so that what only the first run costs does not count. It prints the
// names of the jobs in their order.
//
//     counts DIR      writes the inputs to DIR first, unless they exist
#include "bench/inputs.h"

#include "downloadkey/filenames.h"

#include <unistd.h>

#include <cstdio>

// The counter sees the end of this function, or its system call, which is made only here.
extern "C" Q_NEVER_INLINE void bench_mark() {
    getppid();
}

namespace bench {

namespace {

template <typename Work>
void measure(const QString& name, const Work& work) {
    work();
    bench_mark();
    work();
    bench_mark();
    std::puts(qPrintable(name));
}

void parse(const QString& folder, const NamedGeneration& of, int days, int recordsPerDay) {
    const QString name =
        QStringLiteral("%1-%2-%3").arg(QLatin1String(of.name)).arg(days).arg(recordsPerDay);
    if (!QFile::exists(folder + name))
        VehicleFile(folder + name, of.generation, days, recordsPerDay);
    const auto file = openFile(folder + name);
    measure(name, [&] {
        file->seek(0);
        downloadkey::VehicleInfo info(*file);
        require(info.read().isEmpty(), "a vehicle-unit file cannot be parsed");
    });
}

void open(const QString& folder, int files) {
    const QString name = QStringLiteral("key-%1").arg(files);
    if (!QFile::exists(folder + name))
        Key(folder + name, files, 0);
    Host host;
    measure(name, [&] { host.open(folder + name); });
}

// One of each shape.
void names() {
    QStringList names;
    for (int i = 0; i < 8; ++i)
        names << samples::sampleKeyFile({0, 0, 0}, i).name;
    measure(QStringLiteral("names"), [&] {
        for (const QString& name : names) {
            QDateTime time;
            require(isValidFileName(name) && isDriverFileName(name) != isVehicleFileName(name) &&
                        getModificationTimeFromFileName(name, time),
                    "a name is not valid");
        }
    });
}

} // namespace

} // namespace bench

int main(int argc, char** argv) {
    bench::prepareProcess();
    bench::require(argc == 2, "usage: counts DIR");
    const QString folder = QFile::decodeName(argv[1]) + QLatin1Char('/');
    // An ordinary file, and pairs of files that differ by 50 records in one day, by 500 records,
    // and by 20 days without records.
    constexpr struct {
        int days;
        int recordsPerDay;
    } files[] = {{30, 10}, {1, 50}, {1, 100}, {1, 500}, {1, 1000}, {20, 0}, {40, 0}};
    for (const bench::NamedGeneration& generation : bench::generations) {
        for (const auto& file : files)
            bench::parse(folder, generation, file.days, file.recordsPerDay);
    }
    bench::names();
    for (const int keyFiles : {50, 100, 1000, 2000})
        bench::open(folder, keyFiles);
    return 0;
}
