// A vehicle-unit file through VehicleInfo. Its results must be those of the plain walk, whose
// activities lie inside the file by its own checks; a copy must have them too, and must read the
// same again.
#include "downloadkey/vehicleinfo.h"
#include "fuzz/fuzzing.h"
#include "tests/support/expectedwalk.h"
#include "tests/support/memoryfile.h"

#include <QtCore/QLoggingCategory>

#include <memory>

using downloadkey::VehicleInfo;
using fuzzing::require;

namespace {

bool same(const VehicleInfo::_FeDriverActivities& a, const VehicleInfo::_FeDriverActivities& b) {
    return a.holderName == b.holderName && a.insertionTime == b.insertionTime &&
           a.odometerAtInsertion == b.odometerAtInsertion && a.slot == b.slot &&
           a.withdrawalTime == b.withdrawalTime && a.odometerAtWithdrawal == b.odometerAtWithdrawal;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    qputenv("TZ", "UTC");
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray bytes = fuzzing::bytesOf(data, size);
    // Some with the debug lines, which take most of the time.
    QLoggingCategory::defaultCategory()->setEnabled(QtDebugMsg, size % 16 == 0);

    MemoryFile file(bytes);
    auto info = std::make_unique<VehicleInfo>(file);
    const VehicleInfo unread(*info);
    const ExpectedWalk expected(bytes);
    const QString difference = expected.difference(*info);
    require(difference.isEmpty(), difference);

    VehicleInfo copy(*info);
    const auto activities = info->getDriverActivities();
    const QString plate = info->getPlateString();
    info.reset();
    VehicleInfo again(unread);
    require(expected.difference(again).isEmpty(), "a copy that was made before reads the same");
    require(copy.getPlateString() == plate && again.getPlateString() == plate, "the same plate");
    require(expected.plate >= 0 || plate.isEmpty(), "no plate from nowhere");
    const auto copied = copy.getDriverActivities();
    const auto reread = again.getDriverActivities();
    require(copied.size() == activities.size(), "a copy has as many activities");
    for (std::size_t i = 0; i < activities.size(); ++i) {
        require(same(copied[i], activities[i]) && same(reread[i], activities[i]),
                "the same activity");
        require(activities[i].holderName.contains(QLatin1String(", ")), "a name has both parts");
    }

    // The framing primitives, from a position of the input's choice, refuse it or stay inside.
    if (size >= 9) {
        unsigned int position =
            quint32(data[5]) << 24 | quint32(data[6]) << 16 | quint32(data[7]) << 8 | data[8];
        position = data[4] % 2 == 0 ? position : position % static_cast<unsigned int>(size);
        const unsigned int before = position;
        unsigned short recordSize = 1;
        unsigned short recordCount = 1;
        if (copy.readHeader(position, data[3], recordSize, recordCount))
            require(position == before + 5 && position < size, "a header is followed by a byte");
        else
            require(position == before && recordSize == 0 && recordCount == 0, "nothing moves");
        const unsigned int header = position;
        if (copy.skipRecordData(position, recordSize, recordCount))
            require(position - header == quint32(recordSize) * recordCount && position < size,
                    "records are followed by a byte");
        else
            require(position == header, "nothing moves");
    }
    return 0;
}
