// Measures each job against its floor: what the system itself must do for the same result. Both run
// in turn, many times, in one benchmark, so that other programs disturb both alike. The result is
// the median of the pairs' ratios.
#include "bench/inputs.h"

#include "scard/scardgeneric.h"

#include <benchmark/benchmark.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QDebug>
#include <QtCore/QFileInfo>
#include <QtCore/QLoggingCategory>
#include <QtCore/QtEndian>

#include <algorithm>
#include <cstring>
#include <ctime>
#include <functional>
#include <optional>

namespace bench {

namespace {

using downloadkey::VehicleInfo;
using Activities = std::vector<VehicleInfo::_FeDriverActivities>;

// The processor time of this thread, system calls included. Waiting is not measured: the inputs are
// in memory, so only other programs could cause it.
double now() {
    timespec time;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return double(time.tv_sec) + double(time.tv_nsec) * 1e-9;
}

template <typename Work>
double secondsOf(const Work& work) {
    const double start = now();
    work();
    return now() - start;
}

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

// Both sides run once and return the seconds of what they measure, without preparations.
template <typename Side>
void compare(benchmark::State& state, double goal, const Side& job, const Side& floor) {
    std::vector<double> jobs;
    std::vector<double> floors;
    std::vector<double> ratios;
    for (auto _ : state) {
        const bool isJobFirst = jobs.size() % 2 == 1;
        const double early = isJobFirst ? job() : 0;
        floors.push_back(floor());
        jobs.push_back(isJobFirst ? early : job());
        ratios.push_back(jobs.back() / floors.back());
        state.SetIterationTime(jobs.back() + floors.back());
    }
    state.counters["job_us"] = median(jobs) * 1e6;
    state.counters["floor_us"] = median(floors) * 1e6;
    state.counters["ratio"] = median(ratios);
    state.counters["goal"] = goal;
}

// An input is created when its benchmark first runs, so that filtered-out benchmarks take no time.
template <typename Input, typename... Arguments>
auto lazy(Arguments... arguments) {
    return [=, input = std::make_shared<std::optional<Input>>()]() -> const Input& {
        if (!*input)
            input->emplace(newPath(), arguments...);
        return **input;
    };
}

template <typename Input, typename Job, typename Floor>
void add(const std::string& name, double goal, Input input, Job job, Floor floor) {
    benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
        compare<std::function<double()>>(
            state, goal, [=] { return job(input()); }, [=] { return floor(input()); });
    })->UseManualTime();
}

// What the results of the card records need from Qt and the host. The floor reserves memory for all
// results at once, because it knows their number.
Activities convertRecords(const VehicleFile& input, const QByteArray& file) {
    const auto nameAt = [](const char* field) {
        Name name;
        std::memcpy(&name, field, sizeof name);
        return scard::SCardGeneric::textfieldToString(name).trimmed();
    };
    const auto timeAt = [](const char* field) {
        return QDateTime::fromSecsSinceEpoch(qFromBigEndian<quint32>(field), Qt::LocalTime, 0);
    };
    Activities activities;
    activities.reserve(input.records.size());
    for (const int position : input.records) {
        const char* record = file.constData() + position;
        VehicleInfo::_FeDriverActivities activity;
        activity.holderName = nameAt(record + 36) + QLatin1String(", ") + nameAt(record);
        activity.insertionTime = timeAt(record + input.insertionOffset);
        activity.withdrawalTime = timeAt(record + input.insertionOffset + 8);
        activities.push_back(std::move(activity));
    }
    return activities;
}

double parse(const VehicleFile& input) {
    const auto file = openFile(input.path);
    std::optional<VehicleInfo> info;
    bool isRead = false;
    const double seconds = secondsOf([&] {
        info.emplace(*file);
        isRead = info->read().isEmpty();
    });
    require(isRead && info->getDriverActivities().size() == input.records.size(),
            "a vehicle-unit file is not parsed as it should be");
    return seconds;
}

double loadAndConvert(const VehicleFile& input) {
    const auto file = openFile(input.path);
    QByteArray bytes;
    Activities activities;
    return secondsOf([&] {
        bytes = file->readAll();
        activities = convertRecords(input, bytes);
    });
}

// The same number of debug lines with the same values, from finished results.
double writeDebugLines(const VehicleFile& input) {
    const Activities activities = convertRecords(input, openFile(input.path)->readAll());
    return secondsOf([&] {
        for (const auto& activity : activities) {
            qDebug() << "an activity";
            qDebug() << "its holder" << activity.holderName << "in slot" << qint16(activity.slot);
            qDebug() << "insertion" << activity.insertionTime << "at"
                     << qint32(activity.odometerAtInsertion);
            qDebug() << "withdrawal" << activity.withdrawalTime << "at"
                     << qint32(activity.odometerAtWithdrawal);
        }
    });
}

// With debug lines, to a handler that drops them.
template <typename Side>
auto debugging(Side side) {
    return [=](const VehicleFile& input) {
        const auto drop = [](QtMsgType, const QMessageLogContext&, const QString&) {};
        const QtMessageHandler previous = qInstallMessageHandler(drop);
        QLoggingCategory::defaultCategory()->setEnabled(QtDebugMsg, true);
        const double seconds = side(input);
        QLoggingCategory::defaultCategory()->setEnabled(QtDebugMsg, false);
        qInstallMessageHandler(previous);
        return seconds;
    };
}

// As in a host without TZ: the C library looks at the system's zone file before each conversion.
template <typename Side>
auto withoutTimeZone(Side side) {
    return [=](const VehicleFile& input) {
        const QByteArray zone = qgetenv("TZ");
        qunsetenv("TZ");
        const double seconds = side(input);
        qputenv("TZ", zone);
        return seconds;
    };
}

void addVehicleInfos(samples::Generation generation, const std::string& name) {
    for (const int days : {30, 90}) {
        const std::string size = name + '/' + std::to_string(days) + "_days";
        const auto input = lazy<VehicleFile>(generation, days);
        add(size, 1.15, input, parse, loadAndConvert);
        add(size + "/no_TZ", 1.15, input, withoutTimeZone(parse), withoutTimeZone(loadAndConvert));
        add(size + "/debug", 1.15, input, debugging(parse), debugging([](const VehicleFile& file) {
                return loadAndConvert(file) + writeDebugLines(file);
            }));
    }
    add(name + "/90_days/1500_kB", 1.15, lazy<VehicleFile>(generation, 90, 10, true, 1'500'000),
        parse, loadAndConvert);
}

double open(const Key& key) {
    Host host;
    return secondsOf([&] { host.open(key.path); });
}

// One listing, by the extensions of the names that are there, in both letter cases.
double list(const Key& key) {
    QStringList filters;
    for (const QString& path : key.drivers + key.vehicles)
        filters << QLatin1String("*.") + path.section(QLatin1Char('.'), -1);
    filters.removeDuplicates();
    filters += filters.join(QLatin1Char(' ')).toLower().split(QLatin1Char(' '));
    const QDir dir(key.path + QLatin1String("/download"));
    QStringList names;
    const double seconds = secondsOf(
        [&] { names = dir.entryList(filters, QDir::Files | QDir::NoSymLinks | QDir::Readable); });
    require(names.size() == key.drivers.size() + key.vehicles.size(), "a listing is short");
    return seconds;
}

double read(const Key& key) {
    Host host;
    host.open(key.path);
    return secondsOf([&] { host.read(); });
}

// What each visit to a file takes: the event loop runs, and the system is asked once whether the
// file exists and has at least `least` bytes.
void visit(const QString& path, qint64 least) {
    QCoreApplication::processEvents(QEventLoop::AllEvents);
    const QFileInfo file(path);
    require(!file.isDir() && file.exists() && (least == 0 || file.size() >= least),
            "an input file is gone");
}

// Visits each file, as if to hand it over. The host gets the download's time as local time.
double visitAll(const Key& key) {
    return secondsOf([&] {
        qint64 time = 1710491400;
        for (const QString& path : key.drivers + key.vehicles) {
            visit(path, 0);
            benchmark::DoNotOptimize(QDateTime::fromSecsSinceEpoch(time -= 300, Qt::LocalTime, 0));
        }
    });
}

// Reads each file, then hands it over. The bytes of vehicle-unit files are kept, because they are
// part of the results. The card library reads the cards.
double load(const Key& key) {
    std::vector<std::pair<QByteArray, Activities>> results;
    const double reading = secondsOf([&] {
        for (const QString& path : key.drivers) {
            visit(path, downloadkey::smallestUsableFile);
            const auto file = openFile(path);
            scard::SCardGeneric card(*file, QDateTime(), scard::FilenameRegion{});
            require(card.readCardInfo().isEmpty(), "a card file cannot be read");
            if (card.getCardType() == int(downloadkey::DownloadKey::CardType::DriverCard))
                require(card.calcDataSize().isEmpty() && card.readData().isEmpty(),
                        "a driver card cannot be read");
        }
        for (const VehicleFile& vehicle : key.wholeVehicles) {
            visit(vehicle.path, downloadkey::smallestUsableFile);
            const QByteArray bytes = openFile(vehicle.path)->readAll();
            results.emplace_back(bytes, convertRecords(vehicle, bytes));
        }
    });
    return reading + visitAll(key);
}

// From the first file that is handed over to the last.
double handOver(const Key& key) {
    Host host;
    host.open(key.path);
    const int files = key.drivers.size() + key.vehicles.size();
    int offered = 0;
    double first = 0;
    double last = 0;
    const auto offer = [&] {
        if (++offered == 1)
            first = now();
        if (offered == files)
            last = now();
    };
    QObject::connect(&host.library, &downloadkey::DownloadKey::downloadFile, &host.library, offer);
    host.read();
    require(offered == files, "a file was lost");
    return last - first;
}

void addKeys() {
    add("open/10000_names", 1.30, lazy<Key>(5000, 0), open, list);
    add("read/100+100_files", 1.2, lazy<Key>(100, 100), read, load);
    add("read/100_files_without_records", 1.5, lazy<Key>(100, 100, 30, 0, false), read, load);
    add("hand_over/10000_files", 1.2, lazy<Key>(5000, 100, 1), handOver, visitAll);
}

} // namespace

} // namespace bench

int main(int argc, char** argv) {
    bench::prepareProcess();
    const QCoreApplication application(argc, argv);
    for (const auto& [generation, name] : bench::generations)
        bench::addVehicleInfos(generation, std::string("VehicleInfo/") + name);
    bench::addKeys();
    benchmark::Initialize(&argc, argv);
    return benchmark::RunSpecifiedBenchmarks() > 0 ? 0 : 1;
}
