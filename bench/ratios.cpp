// Each job of the library beside its floor: what the system itself must do for the same result.
#include "bench/harness.h"
#include "bench/inputs.h"

#include "auxiliary/configuration.h"
#include "downloadkey/downloadkey.h"
#include "downloadkey/vehicleinfo.h"
#include "scard/scardcards.h"

#include <benchmark/benchmark.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QDebug>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QtEndian>

#include <cstring>
#include <memory>
#include <optional>

namespace bench {

namespace {

using downloadkey::DownloadKey;
using downloadkey::VehicleInfo;
using Activities = std::vector<VehicleInfo::_FeDriverActivities>;

// A file that is open, as the host hands it to VehicleInfo.
std::unique_ptr<QFile> openFile(const QString& path) {
    auto file = std::make_unique<QFile>(path);
    require(file->open(QIODevice::ReadOnly), "an input file cannot be read");
    return file;
}

// The mandated conversions of a card record.

QString convertName(const char* bytes) {
    Name name;
    std::memcpy(&name, bytes, sizeof name);
    return scard::SCardGeneric::textfieldToString(name).trimmed();
}

QDateTime convertTime(const char* bytes) {
    return QDateTime::fromSecsSinceEpoch(qFromBigEndian<quint32>(bytes), Qt::LocalTime, 0);
}

void convertRecord(const char* record, int insertionOffset, Activities& activities) {
    VehicleInfo::_FeDriverActivities activity;
    activity.holderName = convertName(record + 36) + QLatin1String(", ") + convertName(record);
    activity.insertionTime = convertTime(record + insertionOffset);
    activity.withdrawalTime = convertTime(record + insertionOffset + 8);
    activities.push_back(std::move(activity));
}

// Into room for all of them: the floor knows how many there are.
void convertRecords(const VehicleFile& input, const QByteArray& bytes, Activities& activities) {
    activities.reserve(input.records.size());
    for (const int record : input.records)
        convertRecord(bytes.constData() + record, input.insertionOffset, activities);
}

double vehicleInfoJob(const VehicleFile& input) {
    const auto file = openFile(input.path);
    std::optional<VehicleInfo> info;
    const Stopwatch stopwatch;
    info.emplace(*file);
    const aux::Error error = info->read();
    const double seconds = stopwatch.seconds();
    require(error.isEmpty(), "a vehicle-unit file cannot be parsed");
    return seconds;
}

double vehicleInfoFloor(const VehicleFile& input) {
    const auto file = openFile(input.path);
    Activities activities;
    const Stopwatch stopwatch;
    const QByteArray bytes = file->readAll();
    convertRecords(input, bytes, activities);
    const double seconds = stopwatch.seconds();
    benchmark::DoNotOptimize(activities.data());
    return seconds;
}

// The floor is of use only if it comes to what the library finds.
void checkFloor(const VehicleFile& input) {
    const auto file = openFile(input.path);
    VehicleInfo info(*file);
    require(info.read().isEmpty(), "a vehicle-unit file cannot be parsed");
    file->seek(0);
    Activities expected;
    convertRecords(input, file->readAll(), expected);
    const Activities found = info.getDriverActivities();
    bool same = found.size() == expected.size();
    for (std::size_t i = 0; same && i < found.size(); ++i)
        same = found[i].holderName == expected[i].holderName &&
               found[i].insertionTime == expected[i].insertionTime &&
               found[i].withdrawalTime == expected[i].withdrawalTime;
    require(same, "the floor converts other records than the library");
}

class DroppedDebugLines {
public:
    DroppedDebugLines()
        : m_previous(
              qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {})) {
        setDebugLines(true);
    }
    ~DroppedDebugLines() {
        setDebugLines(false);
        qInstallMessageHandler(m_previous);
    }
    DroppedDebugLines(const DroppedDebugLines&) = delete;
    DroppedDebugLines& operator=(const DroppedDebugLines&) = delete;

private:
    QtMessageHandler m_previous;
};

// The lines of a file, from results that are there already.
double debugLines(const VehicleFile& input) {
    const auto file = openFile(input.path);
    VehicleInfo info(*file);
    setDebugLines(false);
    require(info.read().isEmpty(), "a vehicle-unit file cannot be parsed");
    setDebugLines(true);
    const Activities activities = info.getDriverActivities();
    const Stopwatch stopwatch;
    qDebug() << "VehicleInfo: Init Vehicle Info: " << input.path;
    qDebug() << "VehicleInfo: Vehicle Ident: " << info.getPlateString();
    for (const auto& activity : activities) {
        qDebug() << "VehicleInfo: Activity: ";
        qDebug() << "  Holder Name:  " << activity.holderName
                 << "@ Slot: " << static_cast<qint16>(activity.slot);
        qDebug() << "  Insertion:    " << activity.insertionTime
                 << "@: " << static_cast<qint32>(activity.odometerAtInsertion);
        qDebug() << "  Withdrawel:   " << activity.withdrawalTime
                 << "@: " << static_cast<qint32>(activity.odometerAtWithdrawal);
    }
    return stopwatch.seconds();
}

void addVehicleInfo(const std::string& label, const std::function<const VehicleFile&()>& input,
                    bool withDebugLines) {
    add({"VehicleInfo/" + label, 1.15, [=] { return vehicleInfoJob(input()); },
         [=] { return vehicleInfoFloor(input()); }});
    if (!withDebugLines)
        return;
    add({"VehicleInfo/" + label + "/debug", 1.15,
         [=] {
             const VehicleFile& file = input();
             const DroppedDebugLines dropped;
             return vehicleInfoJob(file);
         },
         [=] {
             const VehicleFile& file = input();
             const DroppedDebugLines dropped;
             return vehicleInfoFloor(file) + debugLines(file);
         }});
}

// An open key, and a host that keeps what it is given.
class Host {
public:
    explicit Host(const Key& key)
        : m_key(configuration()) {
        QDir mountDir(key.mountPath());
        require(m_key.open(mountDir).isEmpty(), "a key cannot be opened");
        QObject::connect(&m_key, &DownloadKey::readDone, &m_key,
                         [this](std::vector<std::shared_ptr<scard::SCardGeneric>> cards,
                                std::vector<std::shared_ptr<VehicleInfo>> vehicles) {
                             m_cards = std::move(cards);
                             m_vehicles = std::move(vehicles);
                         });
    }

    static aux::Configuration& configuration() {
        static aux::Configuration none;
        return none;
    }
    DownloadKey& key() { return m_key; }
    std::size_t results() const { return m_cards.size() + m_vehicles.size(); }

private:
    DownloadKey m_key;
    std::vector<std::shared_ptr<scard::SCardGeneric>> m_cards;
    std::vector<std::shared_ptr<VehicleInfo>> m_vehicles;
};

double openJob(const Key& input) {
    DownloadKey key(Host::configuration());
    QDir mountDir(input.mountPath());
    const Stopwatch stopwatch;
    const aux::Error error = key.open(mountDir);
    const double seconds = stopwatch.seconds();
    require(error.isEmpty(), "a key cannot be opened");
    return seconds;
}

double openFloor(const Key& input) {
    QDir dir(input.downloadPath());
    QStringList filters;
    for (const char* extension : {"DDD", "TGD", "V1B", "C1B", "A1B", "V1C", "C1C", "A1C", "ddd",
                                  "tgd", "v1b", "c1b", "a1b", "v1c", "c1c", "a1c"})
        filters.append(QLatin1String("*.") + QLatin1String(extension));
    dir.setNameFilters(filters);
    dir.setFilter(QDir::Files | QDir::NoSymLinks | QDir::Readable | QDir::NoDotAndDotDot);
    const Stopwatch stopwatch;
    const QStringList names = dir.entryList();
    const double seconds = stopwatch.seconds();
    require(names.size() == input.drivers().size() + input.vehicles().size(), "a listing is short");
    return seconds;
}

// The tests of a file before it is read or handed over, each with the call that asks for that
// alone.

bool isPresent(const QString& path) {
    return QFileInfo::exists(path) && !QDir(path).exists();
}

bool isUsable(const QString& path) {
    return isPresent(path) && QFileInfo(path).size() >= 5;
}

// The same answers from one look at the file.

bool isPresentAtOnce(const QString& path) {
    const QFileInfo file(path);
    return !file.isDir() && file.exists();
}

bool isUsableAtOnce(const QString& path) {
    const QFileInfo file(path);
    return !file.isDir() && file.exists() && file.size() >= 5;
}

double readJob(const Key& input) {
    Host host(input);
    const Stopwatch stopwatch;
    const aux::Error error = host.key().read();
    const double seconds = stopwatch.seconds();
    require(error.isEmpty() && host.results() > 0, "a key cannot be read");
    return seconds;
}

// The host's own reading of a card file.
void readCard(QFile& file) {
    scard::SCardGeneric generic(file, QDateTime(), scard::FilenameRegion{});
    require(generic.readCardInfo().isEmpty(), "a card file cannot be read");
    if (generic.getCardType() != 1)
        return;
    const auto card = std::make_shared<scard::SCardGeneric>(generic);
    require(card->calcDataSize().isEmpty() && card->readData().isEmpty(),
            "a card file cannot be read");
}

using Test = bool (*)(const QString& path);

template <typename Read>
void visit(const QString& path, Test test, const Read& read) {
    QCoreApplication::processEvents(QEventLoop::AllEvents);
    require(test(path), "an input file has gone");
    QFile file(path);
    file.open(QIODevice::ReadOnly);
    read(file);
    file.close();
}

// The bytes of vehicle-unit files are kept, as they are part of the results.
template <Test test>
double readFloor(const Key& input) {
    std::vector<QByteArray> results;
    const Stopwatch stopwatch;
    for (const QString& path : input.drivers())
        visit(path, test,
              [](QFile& file) { benchmark::DoNotOptimize(file.readAll().constData()); });
    for (const QString& path : input.vehicles())
        visit(path, test, [&results](QFile& file) { results.push_back(file.readAll()); });
    return stopwatch.seconds();
}

// With what is mandated for a file's contents: the card library's reading and a record's
// conversions.
template <Test test>
double readContentsFloor(const Key& input) {
    std::vector<std::pair<QByteArray, Activities>> results;
    const Stopwatch stopwatch;
    for (const QString& path : input.drivers())
        visit(path, test, readCard);
    for (const VehicleFile& vehicle : input.vehicleFiles()) {
        visit(vehicle.path, test, [&](QFile& file) {
            auto& [bytes, activities] = results.emplace_back(file.readAll(), Activities());
            convertRecords(vehicle, bytes, activities);
        });
    }
    return stopwatch.seconds();
}

// From the first file that is handed over to the last.
double handOverJob(const Key& input) {
    Host host(input);
    std::optional<Stopwatch> stopwatch;
    double seconds = 0;
    const int all = input.drivers().size() + input.vehicles().size();
    int handedOver = 0;
    QObject::connect(&host.key(), &DownloadKey::downloadFile, &host.key(), [&] {
        if (++handedOver == 1)
            stopwatch.emplace();
        else if (handedOver == all)
            seconds = stopwatch->seconds();
    });
    require(host.key().read().isEmpty(), "a key cannot be read");
    require(handedOver == all, "not all was handed over");
    return seconds;
}

template <Test driverTest, Test vehicleTest>
double handOverFloor(const Key& input) {
    const Stopwatch stopwatch;
    bool all = true;
    for (const QString& path : input.drivers()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents);
        all = all && driverTest(path);
    }
    for (const QString& path : input.vehicles()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents);
        all = all && vehicleTest(path);
    }
    require(all, "an input file has gone");
    return stopwatch.seconds();
}

// With the conversion of each download's time to local time.
double handOverWithTimesFloor(const Key& input) {
    qint64 time = 1710491400;
    const Stopwatch stopwatch;
    for (int i = input.drivers().size() + input.vehicles().size(); i > 0; --i) {
        benchmark::DoNotOptimize(QDateTime::fromSecsSinceEpoch(time, Qt::LocalTime, 0).isValid());
        time -= qint64(60) * 31;
    }
    const double conversions = stopwatch.seconds();
    return conversions + handOverFloor<isPresentAtOnce, isUsableAtOnce>(input);
}

Contents contentsOf(int days, int recordsPerDay, int size = 0) {
    Contents contents;
    contents.days = days;
    contents.recordsPerDay = recordsPerDay;
    contents.size = size;
    return contents;
}

// An input that is made when its comparison first runs, so that a filter saves the time.
template <typename Input, typename Make>
auto lazy(Make make) {
    return [make, input = std::make_shared<std::unique_ptr<Input>>()]() -> const Input& {
        if (!*input)
            *input = std::make_unique<Input>(make());
        return **input;
    };
}

void addVehicleInfos(const QString& folder) {
    using samples::Generation;
    for (const auto generation : {Generation::Gen1, Generation::Gen2V1, Generation::Gen2V2}) {
        for (const auto& contents :
             {contentsOf(30, 10), contentsOf(90, 10), contentsOf(90, 10, 1'500'000)}) {
            const auto input = lazy<VehicleFile>([=] {
                VehicleFile file = writeVehicleFile(folder, generation, contents);
                checkFloor(file);
                return file;
            });
            addVehicleInfo(labelOf(generation, contents), input, contents.size == 0);
        }
    }
}

using Side = double (*)(const Key& input);

void addKey(const char* name, double goal, Side job, Side floor,
            const std::function<const Key&()>& input) {
    add({name, goal, [=] { return job(input()); }, [=] { return floor(input()); }});
}

void addKeys() {
    addKey("open/10000_names", 1.30, openJob, openFloor,
           lazy<Key>([] { return Key(Key::VehicleUnitsAndCards, 5000, 0); }));

    // The first floor lacks the records and what is in the cards: the second has both, and the
    // third key has neither.
    const std::function<const Key&()> files =
        lazy<Key>([] { return Key(Key::VehicleUnitsAndCards, 100, 100); });
    addKey("read/100+100_files", 1.5, readJob, readFloor<isUsable>, files);
    addKey("read/100+100_files/contents", 1.5, readJob, readContentsFloor<isUsable>, files);
    addKey("read/100+100_files/contents,one_look", 1.5, readJob, readContentsFloor<isUsableAtOnce>,
           files);
    const std::function<const Key&()> noRecords =
        lazy<Key>([] { return Key(Key::VehicleUnits, 100, 100, contentsOf(30, 0)); });
    addKey("read/100_files_without_records", 1.5, readJob, readFloor<isUsable>, noRecords);
    addKey("read/100_files_without_records/one_look", 1.5, readJob, readFloor<isUsableAtOnce>,
           noRecords);

    const std::function<const Key&()> many =
        lazy<Key>([] { return Key(Key::VehicleUnitsAndCards, 5000, 100, contentsOf(1, 10)); });
    addKey("hand_over/10000_files", 1.2, handOverJob, handOverFloor<isPresent, isUsable>, many);
    addKey("hand_over/10000_files/one_look", 1.2, handOverJob,
           handOverFloor<isPresentAtOnce, isUsableAtOnce>, many);
    addKey("hand_over/10000_files/one_look,times", 1.2, handOverJob, handOverWithTimesFloor, many);
}

} // namespace

} // namespace bench

int main(int argc, char** argv) {
    bench::prepareProcess();
    const QCoreApplication application(argc, argv);
    const QTemporaryDir folder;
    bench::addVehicleInfos(folder.path());
    bench::addKeys();
    return bench::run(argc, argv);
}
