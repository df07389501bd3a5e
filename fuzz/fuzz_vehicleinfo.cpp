// A vehicle-unit file through VehicleInfo: what it finds is in the file.
#include "downloadkey/vehicleinfo.h"
#include "fuzz/fuzzing.h"
#include "samples/memoryfile.h"

#include <QtCore/QtEndian>

using downloadkey::VehicleInfo;
using fuzzing::require;

namespace {

// Each activity is a card record of its own.
void requireRecords(const QByteArray& file, const VehicleInfo& info) {
    const bool isGen1 = file.startsWith("\x76\x01");
    const auto& activities = info.getDriverActivities();
    require(activities.size() * (isGen1 ? 129 : 131) <= static_cast<std::size_t>(file.size()),
            "the records fit into the file");
    for (std::size_t i = 0; i < activities.size(); ++i) {
        char time[4];
        qToBigEndian(static_cast<quint32>(activities[i].insertionTime.toSecsSinceEpoch()), time);
        require(file.contains(QByteArray(time, sizeof time)), "each time is in the file");
        require(!isGen1 || i == 0 || activities[i].insertionTime != activities[i - 1].insertionTime,
                "a repeated insertion is dropped");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray bytes = fuzzing::bytesOf(data, size);
    fuzzing::setDebugLines(size % 32 == 0); // they take long and find little
    MemoryFile file(bytes);
    VehicleInfo info(file);
    const aux::Error error = info.read();
    require(error.isEmpty() ||
                (error.entries().size() == 1 &&
                 error.entries().front().text().startsWith(QLatin1String("VehicleInfo read"))),
            "one error of the known form");
    requireRecords(bytes, info);
    require(size > 620 || (info.getDriverActivities().empty() && info.getPlateString().isEmpty()),
            "a small file has no results");
    return 0;
}
