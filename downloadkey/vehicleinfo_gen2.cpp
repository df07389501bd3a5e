// The second generation's parser, for both of its versions: one walk over two tables.
#include "downloadkey/bytereader_p.h"
#include "downloadkey/diagnostics_p.h"
#include "downloadkey/vehicleinfo_p.h"

#include <initializer_list>

namespace downloadkey {

namespace {

constexpr CardRecordLayout gen2CardRecord = {
    131,            // size
    {0, nameSize},  // holderSurname
    {36, nameSize}, // holderFirstNames
    {95, 4},        // insertionTime
    {99, 3},        // odometerAtInsertion
    {102, 1},       // slot
    {103, 4},       // withdrawalTime
    {107, 3},       // odometerAtWithdrawal
};

// What the versions do not share: the parser, as messages name it, and the second bytes of the
// tags.
struct Version {
    const char* parser;
    unsigned char overviewTrep;
    unsigned char activitiesTrep;
};

constexpr Version version1 = {"readGen2_1", 0x21, 0x22};
constexpr Version version2 = {"readGen2_2", 0x31, 0x32};

enum class Treatment { Skip, ReadPlate, ReadCardRecords };

struct RecordArray {
    unsigned char type;
    const char* name;
    Treatment treatment = Treatment::Skip;
    quint32 recordSize = 0;           // 0: any size
    const Version* version = nullptr; // the one that has this array; null: both have it
};

constexpr std::initializer_list<RecordArray> overviewArrays = {
    {0x04, "MemberStateCertificateRecordArray"},
    {0x0F, "MemberVUCertificateRecordArray"},
    {0x0A, "VehicleIdentificationNumberRecordArray"},
    {0x0B, "VehicleRegistrationNumberRecordArray", Treatment::ReadPlate, plateSize, &version1},
    // The nation comes before the number.
    {0x24, "VehicleRegistrationIdentificationRecordArray", Treatment::ReadPlate, 1 + plateSize,
     &version2},
    {0x03, "CurrentDateTimeRecordArray"},
    {0x13, "VuDownloadablePeriodRecordArray"},
    {0x02, "CardSlotStatusRecordArray"},
    {0x14, "VuDownloadActivityDataRecordArray"},
    {0x10, "VuCompanyLocksRecordArray"},
    {0x11, "VuControlActivityRecordArray"},
    {0x08, "SignatureRecordArray"},
};

constexpr std::initializer_list<RecordArray> activitiesArrays = {
    {0x06, "DateOfDayDownloadedRecordArray"},
    {0x05, "OdometerValueMidnightRecordArray"},
    {0x0D, "VuCardIWRecordArray", Treatment::ReadCardRecords, gen2CardRecord.size},
    {0x01, "VuActivityDailyRecordRecordArray"},
    {0x1C, "VuPlaceDailyWorkPeriodRecordArray"},
    {0x16, "VuGNSSADRecordArray"},
    {0x09, "VuSpecificConditionRecordArray"},
    {0x22, "VuBorderCrossingRecordArray", Treatment::Skip, 0, &version2},
    {0x23, "VuLoadUnloadRecordArray", Treatment::Skip, 0, &version2},
    {0x08, "VuSignatureRecordArray"},
};

struct ArrayHeader {
    unsigned short recordSize;
    unsigned short recordCount;
};

// Steps over a header of this type: type (1 byte), record size (2 bytes) and number of records (2
// bytes). A byte must follow it. After a failure the position has no meaning.
bool readArrayHeader(ByteReader& reader, unsigned char recordType, ArrayHeader& header) {
    const quint32 position = reader.position();
    const unsigned char* const bytes = reader.take(1 + 2 + 2, 1);
    if (!bytes)
        return false;
    if (bytes[0] != recordType) {
        qCDebug(diagnostics) << "readHeader(): Invalid tag found. Expected:" << Qt::hex
                             << uint(recordType) << "Read:" << uint(bytes[0]) << "Pos:" << Qt::dec
                             << position;
        return false;
    }
    header.recordSize = static_cast<unsigned short>(bigEndian(bytes + 1, 2));
    header.recordCount = static_cast<unsigned short>(bigEndian(bytes + 3, 2));
    return true;
}

// A byte must follow what is skipped, too.
bool skipRecords(ByteReader& reader, const ArrayHeader& header) {
    const quint32 size = quint32(header.recordSize) * header.recordCount; // 65535 * 65535 fits
    return reader.take(size, 1) != nullptr;
}

struct Parser {
    aux::Error read();
    aux::Error readBlock(unsigned char trep, std::initializer_list<RecordArray> arrays);
    QString heading(unsigned char trep) const;

    const Version& version;
    ByteReader reader;
    QString& plate;
    std::vector<VehicleInfo::_FeDriverActivities>& activities;
};

// "VehicleInfo readGen2_1() TREP21"
QString Parser::heading(unsigned char trep) const {
    return QStringLiteral("VehicleInfo ") + QLatin1String(version.parser) +
           QStringLiteral("() TREP") + QString::number(trep, 16);
}

aux::Error Parser::read() {
    if (reader.size() < smallestVehicleUnitFile)
        return makeFileTooSmallError(version.parser);
    const auto isTag = [](const unsigned char* tag, unsigned char trep) {
        return tag[0] == 0x76 && tag[1] == trep;
    };
    const auto overviewNotFound = [this] {
        return makeVehicleInfoError(heading(version.overviewTrep) + QStringLiteral(" not found"));
    };
    if (!isTag(reader.take(tagSize), version.overviewTrep))
        return overviewNotFound();
    aux::Error error = readBlock(version.overviewTrep, overviewArrays);
    if (!error.isEmpty())
        return error;
    qCDebug(diagnostics) << "VehicleInfo: Vehicle Ident: " << plate;

    const unsigned char* tag = reader.take(tagSize, 1);
    if (!tag)
        return overviewNotFound();
    for (; tag && isTag(tag, version.activitiesTrep); tag = reader.take(tagSize, 1)) {
        error = readBlock(version.activitiesTrep, activitiesArrays);
        if (!error.isEmpty())
            return error;
    }
    return aux::Error();
}

aux::Error Parser::readBlock(unsigned char trep, std::initializer_list<RecordArray> arrays) {
    for (const RecordArray& array : arrays) {
        if (array.version && array.version != &version)
            continue;
        const auto failed = [&](const char* step, const char* failure) {
            return makeVehicleInfoError(heading(trep) + QStringLiteral(": ") + QLatin1String(step) +
                                        QLatin1String(array.name) + QLatin1String(failure));
        };
        ArrayHeader header = {};
        if (!readArrayHeader(reader, array.type, header))
            return failed("Read ", " header failed");
        if (array.recordSize != 0 && header.recordSize != array.recordSize)
            return failed("Read ", ": Invalid data size");

        switch (array.treatment) {
        case Treatment::ReadCardRecords: {
            // No byte need follow the records here: the next header asks for it. A new reader
            // for each day, so that its first record is always taken.
            const unsigned char* const first = reader.take(array.recordSize * header.recordCount);
            if (!first)
                return failed("Read ", ": Not enough data");
            CardRecordReader(gen2CardRecord, activities).read(first, header.recordCount);
            continue;
        }
        case Treatment::ReadPlate: {
            ByteReader ahead = reader;
            const unsigned char* const first = ahead.take(array.recordSize, 1);
            if (!first || header.recordCount == 0)
                return failed("Read ", ": Invalid data size");
            plate = readPlate(first + array.recordSize - plateSize);
            break;
        }
        case Treatment::Skip:
            break;
        }
        if (!skipRecords(reader, header))
            return failed("Skip ", " failed");
    }
    return aux::Error();
}

} // namespace

bool VehicleInfo::readHeader(unsigned int& position, unsigned char recordType,
                             unsigned short& recordSize, unsigned short& recordCount) {
    ByteReader reader(m_data, m_dataSize, position);
    ArrayHeader header = {};
    const bool isRead = readArrayHeader(reader, recordType, header);
    if (isRead)
        position = reader.position();
    recordSize = header.recordSize;
    recordCount = header.recordCount;
    return isRead;
}

bool VehicleInfo::skipRecordData(unsigned int& position, unsigned short recordSize,
                                 unsigned short recordCount) {
    ByteReader reader(m_data, m_dataSize, position);
    const bool isSkipped = skipRecords(reader, {recordSize, recordCount});
    if (isSkipped)
        position = reader.position();
    return isSkipped;
}

aux::Error VehicleInfo::readGen2_1() {
    return Parser{version1, {m_data, m_dataSize}, m_plateString, m_driverActivities}.read();
}

aux::Error VehicleInfo::readGen2_2() {
    return Parser{version2, {m_data, m_dataSize}, m_plateString, m_driverActivities}.read();
}

} // namespace downloadkey
