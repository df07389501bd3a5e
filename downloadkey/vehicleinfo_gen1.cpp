// The first generation's parser. Its blocks carry no lengths: sizes are fixed, or follow from the
// counts.
#include "downloadkey/bytereader_p.h"
#include "downloadkey/diagnostics_p.h"
#include "downloadkey/vehicleinfo_p.h"

namespace downloadkey {

namespace {

constexpr quint32 signatureSize = 128;

constexpr quint32 plateOffset = 408;
constexpr quint32 companyLocksOffset = 493;
constexpr quint32 companyLockSize = 98;
constexpr quint32 controlActivitySize = 31;

constexpr CardRecordLayout gen1CardRecord = {129, 94};

// A day: date and odometer value at midnight, and then these sections, a count before each.
constexpr quint32 dayHeaderSize = 7;
constexpr struct {
    const char* name;
    quint32 countSize;
    quint32 recordSize;
} daySections[] = {
    {"VuCardIWRecord", 2, gen1CardRecord.size},
    {"VuActivityDailyData", 2, 2},
    {"VuPlaceDailyWorkPeriodData", 1, 28},
    {"VuSpecificConditionData", 2, 5},
};

// Skips the rest of the overview block; false if the file is shorter.
bool skipOverview(ByteReader& reader) {
    for (const quint32 recordSize : {companyLockSize, controlActivitySize}) {
        const auto count = reader.takeNumber(1);
        if (!count || !reader.take(*count * recordSize))
            return false;
    }
    return reader.take(signatureSize) != nullptr;
}

aux::Error readDay(ByteReader& reader, CardRecordReader& cardRecords) {
    const QString notEnoughData =
        QStringLiteral("VehicleInfo readGen1() data read error, not enough data");
    if (!reader.take(dayHeaderSize, daySections[0].countSize))
        return makeVehicleInfoError(notEnoughData);

    quint32 count = 0;
    // The position where data should begin, the file's size, and the count that was read last.
    const auto failed = [&](const char* section, const char* part) {
        return makeVehicleInfoError(
            QStringLiteral("%1 (%2%3) p:%4 s:%5 c:%6")
                .arg(notEnoughData, QLatin1String(section), QLatin1String(part),
                     QString::number(reader.position()), QString::number(reader.size()),
                     QString::number(count)));
    };
    for (const auto& section : daySections) {
        const auto nextCount = reader.takeNumber(section.countSize);
        if (!nextCount)
            return failed(section.name, " count");
        count = *nextCount;
        const unsigned char* const records = reader.take(count * section.recordSize);
        if (!records)
            return failed(section.name, "");
        if (&section == &daySections[0])
            cardRecords.read(records, count);
    }
    return aux::Error();
}

} // namespace

aux::Error VehicleInfo::readGen1() {
    if (m_dataSize < smallestVehicleUnitFile)
        return makeFileTooSmallError("read");
    if (bigEndian(m_data, tagSize) != Gen1Overview)
        return makeVehicleInfoError(QStringLiteral("VehicleInfo readGen1() TREP01 not found"));
    m_plateString = readPlate(m_data + plateOffset);

    ByteReader reader(m_data, m_dataSize, companyLocksOffset);
    if (!skipOverview(reader)) {
        return makeVehicleInfoError(
            QStringLiteral("VehicleInfo readGen1() file not not large enough"));
    }
    qCDebug(diagnostics) << "VehicleInfo: Vehicle Ident: " << getPlateString();

    // A card that stays in overnight is recorded on both days, so one reader serves all days.
    CardRecordReader cardRecords(gen1CardRecord, m_driverActivities);
    // Two tag bytes at the very end of the file do not begin a block.
    while (reader.takeNumber(tagSize, 1) == Gen1Activities) {
        aux::Error error = readDay(reader, cardRecords);
        if (!error.isEmpty())
            return error;
        if (!reader.take(signatureSize)) // the last one may be cut or missing
            break;
    }
    return aux::Error();
}

} // namespace downloadkey
