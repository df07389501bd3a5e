// A vehicle-unit file through VehicleInfo: what it finds stands in the file, in that order.
#include "downloadkey/vehicleinfo.h"
#include "fuzz/fuzzing.h"
#include "scard/scardgeneric.h"
#include "tests/support/memoryfile.h"

#include <QtCore/QtEndian>

#include <cstring>

using downloadkey::VehicleInfo;
using fuzzing::require;
using Activity = VehicleInfo::_FeDriverActivities;

namespace {

QString textAt(const char* field) {
    Name name;
    std::memcpy(&name, field, sizeof name);
    return scard::SCardGeneric::textfieldToString(name).trimmed();
}

QByteArray bigEndian(qint64 value, int size) {
    char bytes[8];
    qToBigEndian(value, bytes);
    return QByteArray(bytes + 8 - size, size);
}

// Each activity is a card record of its own, behind the record before.
void requireRecords(const QByteArray& file, const std::vector<Activity>& activities) {
    const bool isGen1 = file.startsWith("\x76\x01");
    const int timesAt = isGen1 ? 94 : 95;
    const int recordSize = isGen1 ? 129 : 131;
    int position = timesAt;
    for (std::size_t i = 0; i < activities.size(); ++i) {
        const Activity& activity = activities[i];
        const QByteArray values = bigEndian(activity.insertionTime.toSecsSinceEpoch(), 4) +
                                  bigEndian(activity.odometerAtInsertion, 3) +
                                  bigEndian(activity.slot, 1) +
                                  bigEndian(activity.withdrawalTime.toSecsSinceEpoch(), 4) +
                                  bigEndian(activity.odometerAtWithdrawal, 3);
        const auto isName = [&](const char* record) {
            return activity.holderName ==
                   textAt(record + 36) + QLatin1String(", ") + textAt(record);
        };
        do
            position = file.indexOf(values, position) + 1;
        while (position > 0 && !isName(file.constData() + position - 1 - timesAt));
        require(position > 0, "an activity stands in the file");
        position += recordSize - 1;
        require(position - timesAt <= file.size(), "a record ends in the file");
        require(!isGen1 || i == 0 || activity.insertionTime != activities[i - 1].insertionTime,
                "a repeated insertion is dropped");
    }
}

void requireKnownError(const aux::Error& error, const QByteArray& file) {
    if (error.isEmpty())
        return;
    const aux::ErrorData& entry = error.entries().front();
    require(error.entries().size() == 1 && entry.code() == 0 &&
                entry.component() == QLatin1String("libdownloadkey") &&
                entry.text().startsWith(QLatin1String("VehicleInfo read")),
            "one error of the known form");
    require(file.size() > 620 || entry.text().endsWith(QLatin1String("not large enough")),
            "a small file is called small");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray bytes = fuzzing::bytesOf(data, size);
    fuzzing::setDebugLines(fuzzing::isOneOf(32, data, size));
    MemoryFile file(bytes);
    VehicleInfo info(file);
    const aux::Error error = info.read();
    const std::vector<Activity> activities = info.getDriverActivities();
    requireKnownError(error, bytes);
    requireRecords(bytes, activities);
    require(size > 620 || (activities.empty() && info.getPlateString().isEmpty()),
            "a small file has no results");
    return 0;
}
