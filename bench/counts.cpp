// A driver for counting instructions. It does each thing twice and calls bench_mark() before and
// after the second time; what is counted between the two calls is that thing's cost without what
// only a first time costs. The names of the things go to stdout, in their order.
//
//     counts prepare DIR      writes the inputs
//     counts run DIR
#include "bench/inputs.h"

#include "auxiliary/configuration.h"
#include "downloadkey/downloadkey.h"
#include "downloadkey/filenames.h"

#include <QtCore/QDir>
#include <QtCore/QFile>

#include <unistd.h>

#include <cstdio>

// A counter sees the function's end, or its system call, which nothing else here makes.
extern "C" Q_NEVER_INLINE void bench_mark() {
    getppid();
}

namespace bench {

namespace {

using samples::Generation;

constexpr Generation generations[] = {Generation::Gen1, Generation::Gen2V1, Generation::Gen2V2};

// A file as a driver brings it; two that differ by 50 records in one day; two that differ by 20
// days without a record.
constexpr struct {
    int days;
    int recordsPerDay;
} files[] = {{30, 10}, {1, 50}, {1, 100}, {20, 0}, {40, 0}};

constexpr int keySizes[] = {50, 100}; // vehicle-unit files, and as many cards

Contents contentsOf(int days, int recordsPerDay) {
    Contents contents;
    contents.days = days;
    contents.recordsPerDay = recordsPerDay;
    return contents;
}

QString keyPath(const QString& folder, int size) {
    return folder + QLatin1String("/key-") + QString::number(size);
}

void prepare(const QString& folder) {
    for (const Generation generation : generations) {
        for (const auto& file : files)
            writeVehicleFile(folder, generation, contentsOf(file.days, file.recordsPerDay));
    }
    for (const int size : keySizes)
        Key(Key::VehicleUnitsAndCards, size, 0, {}, keyPath(folder, size));
}

template <typename Work>
void measure(const std::string& name, const Work& work) {
    work();
    bench_mark();
    work();
    bench_mark();
    std::puts(name.c_str());
}

void parse(const QString& path) {
    QFile file(path);
    require(file.open(QIODevice::ReadOnly), "run \"counts prepare\" first");
    measure(file.fileName().section(QLatin1Char('/'), -1).toStdString(), [&] {
        file.seek(0);
        downloadkey::VehicleInfo info(file);
        require(info.read().isEmpty(), "a vehicle-unit file cannot be parsed");
    });
}

void open(const QString& path, int size) {
    aux::Configuration configuration;
    downloadkey::DownloadKey key(configuration);
    QDir mountDir(path);
    measure("key-" + std::to_string(size),
            [&] { require(key.open(mountDir).isEmpty(), "a key cannot be opened"); });
}

void names() {
    const QString all[] = {
        QStringLiteral("M_20240315_0830_AB100CD.DDD"),
        QStringLiteral("C_20240315_0818_J_SAMPLE_DF00000000000100.DDD"),
        QStringLiteral("V_MU101CD_20240315_0759.TGD"),
        QStringLiteral("C_K_BEISPIEL_DF00000000000200_20240315_0747.TGD"),
        QStringLiteral("KX102CD_2403150728.V1B"),
        QStringLiteral("R_TESTER_DF00000000000300_2403150716.C1B"),
        QStringLiteral("ZT104CD_FLEETDEPOT_202403150626.A1B"),
        QStringLiteral("AB105CD_FLEETDEPOT_2403150555.A1C"),
    };
    measure("names", [&] {
        for (const QString& name : all) {
            QDateTime time;
            require(isValidFileName(name) && isDriverFileName(name) != isVehicleFileName(name) &&
                        getModificationTimeFromFileName(name, time),
                    "a name is not valid");
        }
    });
}

void run(const QString& folder) {
    for (const Generation generation : generations) {
        for (const auto& file : files)
            parse(pathOf(folder, generation, contentsOf(file.days, file.recordsPerDay)));
    }
    names();
    for (const int size : keySizes)
        open(keyPath(folder, size), size);
}

} // namespace

} // namespace bench

int main(int argc, char** argv) {
    bench::prepareProcess();
    const QLatin1String what(argc == 3 ? argv[1] : "");
    const QString folder = QFile::decodeName(argc == 3 ? argv[2] : "");
    if (what == QLatin1String("prepare"))
        bench::prepare(folder);
    else if (what == QLatin1String("run"))
        bench::run(folder);
    else
        bench::require(false, "usage: counts prepare DIR | run DIR");
    return 0;
}
