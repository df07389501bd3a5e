#include "bench/inputs.h"

#include <QtCore/QLoggingCategory>
#include <QtCore/QTemporaryDir>

#include <cstdio>
#include <cstdlib>

namespace bench {

namespace {

constexpr std::uint32_t downloadTime = 1710491400; // 2024-03-15 08:30 UTC

void writeFile(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    require(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.flush(),
            "an input file cannot be written");
}

} // namespace

void require(bool condition, const char* what) {
    if (condition)
        return;
    std::fprintf(stderr, "bench: %s\n", what);
    std::exit(1);
}

void prepareProcess() {
    qputenv("TZ", "Europe/Berlin");
    QLoggingCategory::defaultCategory()->setEnabled(QtDebugMsg, false);
}

QString newPath() {
    static const QTemporaryDir folder;
    static int number = 0;
    return folder.filePath(QString::number(++number));
}

VehicleFile::VehicleFile(const QString& filePath, samples::Generation generation, int days,
                         int recordsPerDay, bool furtherBlocks, int leastSize)
    : path(filePath)
    , insertionOffset(generation == samples::Generation::Gen1 ? 94 : 95) {
    samples::VehicleUnit unit;
    unit.generation = generation;
    unit.downloadTime = downloadTime;
    unit.companyLocks = 2;
    unit.controlActivities = 1;
    unit.furtherBlocks = furtherBlocks;
    if (!furtherBlocks)
        unit.trailer = "x"; // a byte must follow the second generation's last block
    unit.days = samples::evenDays(generation, days, recordsPerDay, downloadTime);
    const QByteArray bytes = vehicleUnitFile(unit).leftJustified(leastSize, 'x');
    int position = 0;
    for (const samples::Day& day : unit.days) {
        for (const samples::CardRecord& record : day.cardRecords) {
            position = bytes.indexOf(cardRecord(generation, record), position + 1);
            records.push_back(position);
        }
    }
    writeFile(path, bytes);
}

std::unique_ptr<QFile> openFile(const QString& path) {
    auto file = std::make_unique<QFile>(path);
    require(file->open(QIODevice::ReadOnly), "an input file cannot be read");
    return file;
}

Key::Key(const QString& mountPath, int files, int whole, int days, int recordsPerDay, bool hasCards)
    : path(mountPath) {
    require(QDir().mkpath(path + QLatin1String("/download")), "a key's folder cannot be created");
    samples::KeyOptions options;
    options.days = 0; // only the names of its vehicle-unit files are used
    for (int i = 0; i < 2 * files; ++i) {
        const bool isVehicle = i % 2 == 0;
        if (!isVehicle && !hasCards)
            continue;
        const samples::KeyFile file = samples::sampleKeyFile(options, i);
        const QString filePath = path + QLatin1String("/download/") + file.name;
        (isVehicle ? vehicles : drivers).append(filePath);
        if (i / 2 < whole && isVehicle)
            wholeVehicles.emplace_back(filePath, generations[i / 2 % 3].generation, days,
                                       recordsPerDay);
        else
            writeFile(filePath, i / 2 < whole ? file.bytes : "other");
    }
}

Host::Host() {
    QObject::connect(&library, &downloadkey::DownloadKey::readDone, &library,
                     [this](auto parsedCards, auto parsedVehicles) {
                         cards = std::move(parsedCards);
                         vehicles = std::move(parsedVehicles);
                     });
}

void Host::open(const QString& path) {
    QDir mountDir(path);
    require(library.open(mountDir).isEmpty(), "a key cannot be opened");
}

void Host::read() {
    require(library.read().isEmpty() && !vehicles.empty(), "a key cannot be read");
}

} // namespace bench
