// The second generation's parser, for both of its versions: one walk over two tables.
#include "downloadkey/bytereader_p.h"
#include "downloadkey/diagnostics_p.h"
#include "downloadkey/vehicleinfo_p.h"

#include <initializer_list>

namespace downloadkey {

namespace {

constexpr CardRecordLayout gen2CardRecord = {131, 95};

// How the versions differ: the parser's name in messages, and the tags of the blocks.
struct Version {
    const char* parser;
    Tag overview;
    Tag activities;
};

constexpr Version version1 = {"readGen2_1", Gen2V1Overview, Gen2V1Activities};
constexpr Version version2 = {"readGen2_2", Gen2V2Overview, Gen2V2Activities};

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

// Reads a header of this type: type (1 byte), record size (2 bytes) and number of records (2
// bytes). A byte must follow it. After a failure, the position has no meaning.
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

// A byte must also follow what is skipped.
bool skipRecords(ByteReader& reader, const ArrayHeader& header) {
    const quint32 size = quint32(header.recordSize) * header.recordCount; // 65535 * 65535 fits
    return reader.take(size, 1) != nullptr;
}

struct Parser {
    aux::Error read();
    aux::Error readBlock(Tag tag, std::initializer_list<RecordArray> arrays);
    QString heading(Tag tag) const;
    bool readFirstPlate(const RecordArray& array, const ArrayHeader& header);

    const Version& version;
    ByteReader reader;
    QString& plate;
    std::vector<VehicleInfo::_FeDriverActivities>& activities;
};

// "VehicleInfo readGen2_1() TREP21"
QString Parser::heading(Tag tag) const {
    return QStringLiteral("VehicleInfo ") + QLatin1String(version.parser) +
           QStringLiteral("() TREP") + QString::number(tag & 0xFF, 16);
}

aux::Error Parser::read() {
    if (reader.size() < smallestVehicleUnitFile)
        return makeFileTooSmallError(version.parser);
    const auto overviewNotFound = [this] {
        return makeVehicleInfoError(heading(version.overview) + QStringLiteral(" not found"));
    };
    if (reader.takeNumber(tagSize) != version.overview)
        return overviewNotFound();
    aux::Error error = readBlock(version.overview, overviewArrays);
    if (!error.isEmpty())
        return error;
    qCDebug(diagnostics) << "VehicleInfo: Vehicle Ident: " << plate;

    auto tag = reader.takeNumber(tagSize, 1);
    if (!tag)
        return overviewNotFound();
    for (; tag == version.activities; tag = reader.takeNumber(tagSize, 1)) {
        error = readBlock(version.activities, activitiesArrays);
        if (!error.isEmpty())
            return error;
    }
    return aux::Error();
}

// The array's first record; the array itself is skipped later.
bool Parser::readFirstPlate(const RecordArray& array, const ArrayHeader& header) {
    ByteReader ahead = reader;
    const unsigned char* const record = ahead.take(array.recordSize, 1);
    if (!record || header.recordCount == 0)
        return false;
    plate = readPlate(record + array.recordSize - plateSize);
    return true;
}

aux::Error Parser::readBlock(Tag tag, std::initializer_list<RecordArray> arrays) {
    for (const RecordArray& array : arrays) {
        if (array.version && array.version != &version)
            continue;
        const auto failed = [&](const char* step, const char* failure) {
            return makeVehicleInfoError(heading(tag) + QStringLiteral(": ") + QLatin1String(step) +
                                        QLatin1String(array.name) + QLatin1String(failure));
        };
        ArrayHeader header = {};
        if (!readArrayHeader(reader, array.type, header))
            return failed("Read ", " header failed");
        if (array.recordSize != 0 && header.recordSize != array.recordSize)
            return failed("Read ", ": Invalid data size");

        if (array.treatment == Treatment::ReadCardRecords) {
            // No byte need follow the records here: the next header requires one. Each day has a
            // new reader, so that its first record is always taken.
            const unsigned char* const first = reader.take(array.recordSize * header.recordCount);
            if (!first)
                return failed("Read ", ": Not enough data");
            CardRecordReader(gen2CardRecord, activities).read(first, header.recordCount);
        } else {
            if (array.treatment == Treatment::ReadPlate && !readFirstPlate(array, header))
                return failed("Read ", ": Invalid data size");
            if (!skipRecords(reader, header))
                return failed("Skip ", " failed");
        }
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
