// The first generation's parser. Its blocks carry no lengths: sizes are fixed, or follow from the
// counts.
#include "downloadkey/bytereader_p.h"
#include "downloadkey/diagnostics_p.h"
#include "downloadkey/vehicleinfo_p.h"

namespace downloadkey {

namespace {

constexpr quint32 overviewTag = 0x7601;
constexpr quint32 activitiesTag = 0x7602;
constexpr quint32 signatureSize = 128;

constexpr quint32 plateOffset = 408;
constexpr quint32 companyLocksOffset = 493;
constexpr quint32 companyLockSize = 98;
constexpr quint32 controlActivitySize = 31;

constexpr CardRecordLayout gen1CardRecord = {
    129,            // size
    {0, nameSize},  // holderSurname
    {36, nameSize}, // holderFirstNames
    {94, 4},        // insertionTime
    {98, 3},        // odometerAtInsertion
    {101, 1},       // slot
    {102, 4},       // withdrawalTime
    {106, 3},       // odometerAtWithdrawal
};

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

// Steps over the overview block; false when the file is shorter.
bool skipOverview(ByteReader& reader) {
    if (!reader.take(companyLocksOffset))
        return false;
    for (const quint32 recordSize : {companyLockSize, controlActivitySize}) {
        const unsigned char* const count = reader.take(1);
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
        const unsigned char* const countField = reader.take(section.countSize);
        if (!countField)
            return failed(section.name, " count");
        count = bigEndian(countField, section.countSize);
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
    if (bigEndian(m_data, tagSize) != overviewTag)
        return makeVehicleInfoError(QStringLiteral("VehicleInfo readGen1() TREP01 not found"));
    m_plateString = readPlate(m_data + plateOffset);

    ByteReader reader(m_data, m_dataSize);
    if (!skipOverview(reader)) {
        return makeVehicleInfoError(
            QStringLiteral("VehicleInfo readGen1() file not not large enough"));
    }
    qCDebug(diagnostics) << "VehicleInfo: Vehicle Ident: " << getPlateString();

    // A card that stays in overnight is recorded on both days, so one reader serves all days.
    CardRecordReader cardRecords(gen1CardRecord, m_driverActivities);
    do {
        // Two tag bytes at the very end of the file do not begin a block.
        const unsigned char* const tag = reader.take(tagSize, 1);
        if (!tag || bigEndian(tag, tagSize) != activitiesTag)
            break;
        aux::Error error = readDay(reader, cardRecords);
        if (!error.isEmpty())
            return error;
    } while (reader.take(signatureSize)); // the last one may be cut or missing
    return aux::Error();
}

} // namespace downloadkey
