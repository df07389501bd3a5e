// How the library's work grows with its input. The benchmark library fits each series to the order
// that it should have and prints how far off it is (RMS): a few percent, where another order would
// give tens.
#include "bench/harness.h"
#include "bench/inputs.h"

#include "auxiliary/configuration.h"
#include "downloadkey/downloadkey.h"

#include <benchmark/benchmark.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFile>

#include <map>

namespace bench {

namespace {

using downloadkey::DownloadKey;
using downloadkey::VehicleInfo;

aux::Configuration& configuration() {
    static aux::Configuration none;
    return none;
}

// A benchmark function is called several times for each size; its input is made once. Each `make`
// is a type of its own and so has inputs of its own.
template <typename Make>
auto& inputOf(std::int64_t size, Make make) {
    static std::map<std::int64_t, decltype(make(int()))> inputs;
    auto found = inputs.find(size);
    if (found == inputs.end())
        found = inputs.emplace(size, make(static_cast<int>(size))).first;
    return found->second;
}

// Of a make that does not change with the size.
Contents activitiesOf(int days) {
    Contents contents;
    contents.days = days;
    contents.furtherBlocks = false;
    return contents;
}

void openByNames(benchmark::State& state) {
    const Key& input = inputOf(
        state.range(0), [](int names) { return Key(Key::VehicleUnitsAndCards, names / 2, 0); });
    for (auto _ : state) {
        DownloadKey key(configuration());
        QDir mountDir(input.mountPath());
        require(key.open(mountDir).isEmpty(), "a key cannot be opened");
    }
    state.SetComplexityN(state.range(0));
}

void read(benchmark::State& state, const Key& input, std::int64_t size) {
    DownloadKey key(configuration());
    QDir mountDir(input.mountPath());
    require(key.open(mountDir).isEmpty(), "a key cannot be opened");
    for (auto _ : state)
        require(key.read().isEmpty(), "a key cannot be read");
    state.SetComplexityN(size);
}

void readByParsedFiles(benchmark::State& state) {
    const Key& input = inputOf(state.range(0), [](int files) {
        return Key(Key::VehicleUnitsAndCards, files / 2, files / 2);
    });
    read(state, input, state.range(0));
}

// Beyond the 200 files that are parsed, the others are only handed over.
void readByAllFiles(benchmark::State& state) {
    const Key& input = inputOf(state.range(0), [](int files) {
        return Key(Key::VehicleUnitsAndCards, files / 2, 100, activitiesOf(1));
    });
    read(state, input, state.range(0));
}

void readByBytes(benchmark::State& state) {
    const Key& input = inputOf(state.range(0), [](int days) {
        return Key(Key::VehicleUnits, 20, 20, activitiesOf(days));
    });
    read(state, input, input.bytes());
}

template <samples::Generation generation>
void vehicleInfoByBytes(benchmark::State& state) {
    static const QTemporaryDir folder;
    const VehicleFile& input = inputOf(state.range(0), [](int days) {
        return writeVehicleFile(folder.path(), generation, activitiesOf(days));
    });
    for (auto _ : state) {
        QFile file(input.path);
        file.open(QIODevice::ReadOnly);
        VehicleInfo info(file);
        require(info.read().isEmpty(), "a vehicle-unit file cannot be parsed");
    }
    state.SetComplexityN(input.size);
}

void addAll(bool small) {
    using benchmark::RegisterBenchmark;
    const auto add = [](const char* name, void (*function)(benchmark::State&), int factor,
                        int least, int most, benchmark::BigO order = benchmark::oN) {
        RegisterBenchmark(name, function)
            ->RangeMultiplier(factor)
            ->Range(least, most)
            ->Unit(benchmark::kMicrosecond)
            ->Complexity(order);
    };
    add("open/names", openByNames, 10, 100, small ? 1000 : 100000, benchmark::oNLogN);
    add("read/parsed_files", readByParsedFiles, 2, 8, small ? 16 : 128);
    add("read/all_files", readByAllFiles, 4, 1024, small ? 1024 : 65536);
    add("read/bytes_by_days", readByBytes, 2, 8, small ? 16 : 256);
    add("VehicleInfo/gen1/bytes_by_days", vehicleInfoByBytes<samples::Generation::Gen1>, 2, 8,
        small ? 16 : 1024);
    add("VehicleInfo/gen2v1/bytes_by_days", vehicleInfoByBytes<samples::Generation::Gen2V1>, 2, 8,
        small ? 16 : 1024);
    add("VehicleInfo/gen2v2/bytes_by_days", vehicleInfoByBytes<samples::Generation::Gen2V2>, 2, 8,
        small ? 16 : 1024);
}

} // namespace

} // namespace bench

int main(int argc, char** argv) {
    bench::prepareProcess();
    const QCoreApplication application(argc, argv);
    bench::addAll(bench::isSmokeRun(argc, argv));
    return bench::run(argc, argv);
}
