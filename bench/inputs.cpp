#include "bench/inputs.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QLoggingCategory>

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

const char* nameOf(samples::Generation generation) {
    switch (generation) {
    case samples::Generation::Gen1:
        return "gen1";
    case samples::Generation::Gen2V1:
        return "gen2v1";
    case samples::Generation::Gen2V2:
        return "gen2v2";
    }
    return "";
}

// A download and where its card records stand.
VehicleFile writeDownload(const QString& path, samples::Generation generation,
                          const Contents& contents) {
    samples::VehicleUnit unit;
    unit.generation = generation;
    unit.downloadTime = downloadTime;
    unit.companyLocks = 2;
    unit.controlActivities = 1;
    unit.furtherBlocks = contents.furtherBlocks;
    if (!unit.furtherBlocks)
        unit.trailer = "x"; // the second generation's blocks are not the end of a file
    unit.days = samples::evenDays(generation, contents.days, contents.recordsPerDay,
                                       unit.downloadTime);
    QByteArray bytes = samples::vehicleUnitFile(unit);
    if (bytes.size() < contents.size)
        bytes.append(contents.size - bytes.size(), 'x');
    writeFile(path, bytes);

    VehicleFile file;
    file.path = path;
    file.size = bytes.size();

    const bool gen1 = generation == samples::Generation::Gen1;
    file.insertionOffset = gen1 ? 94 : 95;
    // Tag, date and odometer, and the count; in the second generation each with an array's header.
    const int recordsAt = gen1 ? 2 + 7 + 2 : 2 + (5 + 4) + (5 + 3) + 5;
    int block = samples::overviewBlock(unit).size();
    for (const samples::Day& day : unit.days) {
        for (int i = 0; i < contents.recordsPerDay; ++i)
            file.records.push_back(block + recordsAt + i * (gen1 ? 129 : 131));
        block += samples::activityBlock(unit, day).size();
    }
    return file;
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
    setDebugLines(false);
}

void setDebugLines(bool on) {
    QLoggingCategory::defaultCategory()->setEnabled(QtDebugMsg, on);
}

std::string labelOf(samples::Generation generation, const Contents& contents) {
    std::string label = nameOf(generation) + ("/" + std::to_string(contents.days)) + "_days";
    if (contents.size != 0)
        label += "/" + std::to_string(contents.size / 1000) + "_kB";
    return label;
}

QString pathOf(const QString& folder, samples::Generation generation, const Contents& contents) {
    char name[64];
    std::snprintf(name, sizeof name, "/%s-%d-%d%s", nameOf(generation), contents.days,
                  contents.recordsPerDay, contents.size != 0 ? "-filled" : "");
    return folder + QLatin1String(name);
}

VehicleFile writeVehicleFile(const QString& folder, samples::Generation generation,
                             const Contents& contents) {
    return writeDownload(pathOf(folder, generation, contents), generation, contents);
}

Key::Key(Kinds kinds, int files, int whole, const Contents& contents, const QString& folder)
    : m_mountPath(folder) {
    if (folder.isEmpty()) {
        m_ownFolder = std::make_unique<QTemporaryDir>();
        m_mountPath = m_ownFolder->path();
    }
    require(QDir().mkpath(downloadPath()), "a key's folder cannot be made");

    samples::KeyOptions options;
    options.days = 0; // its vehicle-unit files only lend their names
    for (int index = 0; index < 2 * files; ++index) {
        const bool isVehicle = index % 2 == 0;
        if (!isVehicle && kinds == VehicleUnits)
            continue;
        const samples::KeyFile file = samples::sampleKeyFile(options, index);
        const QString path = downloadPath() + QLatin1Char('/') + file.name;
        (isVehicle ? m_vehicles : m_drivers).append(path);
        if (index >= 2 * whole) {
            writeFile(path, "other");
        } else if (isVehicle) {
            const auto generation = static_cast<samples::Generation>(index / 2 % 3);
            m_vehicleFiles.push_back(writeDownload(path, generation, contents));
            m_bytes += m_vehicleFiles.back().size;
        } else {
            writeFile(path, file.bytes);
            m_bytes += file.bytes.size();
        }
    }
}

} // namespace bench
