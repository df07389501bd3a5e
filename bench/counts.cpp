// A driver for counting instructions. It does each thing twice and calls bench_mark() before and
// after the second time; what is counted between the two calls is that thing's cost without what
// only a first time costs. The names of the things go to stdout, in their order.
//
//     counts DIR      writes the inputs to DIR first, unless they are there
#include "bench/inputs.h"

#include "downloadkey/filenames.h"

#include <unistd.h>

#include <cstdio>

// A counter sees the function's end, or its system call, which nothing else here makes.
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

void parse(const QString& folder, samples::Generation generation, int days, int recordsPerDay) {
    const QString name = QStringLiteral("%1-%2-%3")
                             .arg(QLatin1String(nameOf(generation)))
                             .arg(days)
                             .arg(recordsPerDay);
    if (!QFile::exists(folder + name))
        VehicleFile(folder + name, generation, days, recordsPerDay);
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

void names() {
    measure(QStringLiteral("names"), [&] {
        for (const char* name :
             {"M_20240315_0830_AB100CD.DDD", "V_MU101CD_20240315_0759.TGD",
              "C_20240315_0818_J_SAMPLE_DF00000000000100.DDD",
              "C_K_BEISPIEL_DF00000000000200_20240315_0747.TGD", "KX102CD_2403150728.V1B",
              "J_DF00000000000300_2403150716.C1B", "ZT104CD_FLEETDEPOT_202403150626.A1B",
              "AB105CD_FLEETDEPOT_2403150555.A1C"}) {
            const QString text = QString::fromLatin1(name);
            QDateTime time;
            require(isValidFileName(text) && isDriverFileName(text) != isVehicleFileName(text) &&
                        getModificationTimeFromFileName(text, time),
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
    // A file as a driver brings it; pairs that differ by 50 records in one day, by 500 records, and
    // by 20 days without a record.
    for (const samples::Generation generation : bench::generations) {
        bench::parse(folder, generation, 30, 10);
        bench::parse(folder, generation, 1, 50);
        bench::parse(folder, generation, 1, 100);
        bench::parse(folder, generation, 1, 500);
        bench::parse(folder, generation, 1, 1000);
        bench::parse(folder, generation, 20, 0);
        bench::parse(folder, generation, 40, 0);
    }
    bench::names();
    for (const int files : {50, 100, 1000, 2000})
        bench::open(folder, files);
    return 0;
}
