// A vehicle-unit file through VehicleInfo. Its results must be those of the plain walk, whose
// activities lie inside the file by its own checks; a copy must have them too, and must read the
// same again.
#include "downloadkey/vehicleinfo.h"
#include "fuzz/fuzzing.h"
#include "tests/support/expectedwalk.h"
#include "tests/support/memoryfile.h"

#include <QtCore/QLoggingCategory>
#include <QtCore/QtEndian>

#include <memory>
#include <tuple>

using downloadkey::VehicleInfo;
using fuzzing::require;

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
    require(expected.plate >= 0 || plate.isEmpty(), "no plate from nowhere");
    info.reset();
    VehicleInfo again(unread);
    require(expected.difference(again).isEmpty(), "a copy that was made before reads the same");
    for (VehicleInfo* other : {&copy, &again}) {
        const auto others = other->getDriverActivities();
        require(other->getPlateString() == plate, "the same plate");
        require(others.size() == activities.size(), "as many activities");
        for (std::size_t i = 0; i < activities.size(); ++i) {
            const auto fields = [](const VehicleInfo::_FeDriverActivities& activity) {
                return std::tie(activity.holderName, activity.insertionTime,
                                activity.odometerAtInsertion, activity.slot,
                                activity.withdrawalTime, activity.odometerAtWithdrawal);
            };
            require(fields(others[i]) == fields(activities[i]), "the same activity");
            require(others[i].holderName.contains(QLatin1String(", ")), "a name has both parts");
        }
    }

    // The framing primitives, from a position of the input's choice, refuse it or stay inside.
    if (size >= 9) {
        unsigned int position = qFromBigEndian<quint32>(data + 5);
        if (data[4] % 2 != 0)
            position %= static_cast<unsigned int>(size);
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
