// The second generation's parser, for both of its versions: one walk over the tables below.
#include "downloadkey/diagnostics_p.h"
#include "downloadkey/vehicleinfo.h"
#include "downloadkey/vehicleinfo_p.h"

#include <cstddef>

namespace downloadkey {

namespace {

constexpr quint32 tagSize = 2;
constexpr quint32 headerSize = 5;
constexpr quint32 cardInsertionOffset = 95;
constexpr unsigned short cardRecordSize = 131;
constexpr unsigned short plateSize = 14;

enum class Treatment { Skip, ReadPlate, ReadCardRecords };

// One kind of record array. A recordSize of 0 leaves the size to the file.
struct RecordArray {
    unsigned char type;
    const char* name;
    Treatment treatment = Treatment::Skip;
    unsigned short recordSize = 0;
};

constexpr RecordArray vuActivityDaily{0x01, "VuActivityDailyRecordRecordArray"};
constexpr RecordArray cardSlotStatus{0x02, "CardSlotStatusRecordArray"};
constexpr RecordArray currentDateTime{0x03, "CurrentDateTimeRecordArray"};
constexpr RecordArray memberStateCertificate{0x04, "MemberStateCertificateRecordArray"};
constexpr RecordArray odometerValueMidnight{0x05, "OdometerValueMidnightRecordArray"};
constexpr RecordArray dateOfDayDownloaded{0x06, "DateOfDayDownloadedRecordArray"};
constexpr RecordArray signature{0x08, "SignatureRecordArray"};
constexpr RecordArray vuSignature{0x08, "VuSignatureRecordArray"};
constexpr RecordArray vuSpecificCondition{0x09, "VuSpecificConditionRecordArray"};
constexpr RecordArray vehicleIdentificationNumber{0x0A, "VehicleIdentificationNumberRecordArray"};
// The plate is the last 14 bytes of a record; version 2 puts the nation before it.
constexpr RecordArray vehicleRegistrationNumber{0x0B, "VehicleRegistrationNumberRecordArray",
                                                Treatment::ReadPlate, plateSize};
constexpr RecordArray vuCardIW{0x0D, "VuCardIWRecordArray", Treatment::ReadCardRecords,
                               cardRecordSize};
constexpr RecordArray memberVUCertificate{0x0F, "MemberVUCertificateRecordArray"};
constexpr RecordArray vuCompanyLocks{0x10, "VuCompanyLocksRecordArray"};
constexpr RecordArray vuControlActivity{0x11, "VuControlActivityRecordArray"};
constexpr RecordArray vuDownloadablePeriod{0x13, "VuDownloadablePeriodRecordArray"};
constexpr RecordArray vuDownloadActivityData{0x14, "VuDownloadActivityDataRecordArray"};
constexpr RecordArray vuGNSSAD{0x16, "VuGNSSADRecordArray"};
constexpr RecordArray vuPlaceDailyWorkPeriod{0x1C, "VuPlaceDailyWorkPeriodRecordArray"};
constexpr RecordArray vuBorderCrossing{0x22, "VuBorderCrossingRecordArray"};
constexpr RecordArray vuLoadUnload{0x23, "VuLoadUnloadRecordArray"};
constexpr RecordArray vehicleRegistrationIdentification{
    0x24, "VehicleRegistrationIdentificationRecordArray", Treatment::ReadPlate, plateSize + 1};

constexpr RecordArray trep21[] = {
    memberStateCertificate,
    memberVUCertificate,
    vehicleIdentificationNumber,
    vehicleRegistrationNumber,
    currentDateTime,
    vuDownloadablePeriod,
    cardSlotStatus,
    vuDownloadActivityData,
    vuCompanyLocks,
    vuControlActivity,
    signature,
};

constexpr RecordArray trep22[] = {
    dateOfDayDownloaded,
    odometerValueMidnight,
    vuCardIW,
    vuActivityDaily,
    vuPlaceDailyWorkPeriod,
    vuGNSSAD,
    vuSpecificCondition,
    vuSignature,
};

constexpr RecordArray trep31[] = {
    memberStateCertificate,
    memberVUCertificate,
    vehicleIdentificationNumber,
    vehicleRegistrationIdentification,
    currentDateTime,
    vuDownloadablePeriod,
    cardSlotStatus,
    vuDownloadActivityData,
    vuCompanyLocks,
    vuControlActivity,
    signature,
};

constexpr RecordArray trep32[] = {
    dateOfDayDownloaded, odometerValueMidnight,  vuCardIW,
    vuActivityDaily,     vuPlaceDailyWorkPeriod, vuGNSSAD,
    vuSpecificCondition, vuBorderCrossing,       vuLoadUnload,
    vuSignature,
};

// Apart, so that the good case carries nothing of it.
Q_NEVER_INLINE void reportInvalidTag(uint expected, uint found, uint position) {
    qCDebug(diagnostics) << "readHeader(): Invalid tag found. Expected:" << Qt::hex << expected
                         << "Read:" << found << "Pos:" << Qt::dec << position;
}

} // namespace

// A block as the walk sees it, and the words that its messages begin with.
struct VehicleInfo::Block {
    template <std::size_t count>
    constexpr Block(const char* parserName, unsigned char trepValue,
                    const RecordArray (&recordArrays)[count])
        : parser(parserName)
        , trep(trepValue)
        , first(recordArrays)
        , last(recordArrays + count) {}

    const RecordArray* begin() const { return first; }
    const RecordArray* end() const { return last; }

    bool isAt(const unsigned char* bytes) const { return bytes[0] == 0x76 && bytes[1] == trep; }

    // "VehicleInfo readGen2_1() TREP21"
    QString heading() const {
        return QStringLiteral("VehicleInfo ") + QLatin1String(parser) + QStringLiteral("() TREP") +
               QString::number(trep, 16);
    }

    aux::Error error(const char* step, const RecordArray& array, const char* failure) const {
        return makeVehicleInfoError(heading() + QStringLiteral(": ") + QLatin1String(step) +
                                    QLatin1String(array.name) + QLatin1String(failure));
    }

    const char* parser;
    unsigned char trep;
    const RecordArray* first;
    const RecordArray* last;
};

bool VehicleInfo::readHeader(unsigned int& position, unsigned char recordType,
                             unsigned short& recordSize, unsigned short& recordCount) {
    recordSize = 0;
    recordCount = 0;
    if (position >= m_dataSize || m_dataSize - position <= headerSize)
        return false;
    const unsigned char* const header = m_data + position;
    if (header[0] != recordType) {
        reportInvalidTag(recordType, header[0], position);
        return false;
    }
    recordSize = readUInt16(header + 1);
    recordCount = readUInt16(header + 3);
    position += headerSize;
    return true;
}

bool VehicleInfo::skipRecordData(unsigned int& position, unsigned short recordSize,
                                 unsigned short recordCount) {
    const quint32 size = quint32(recordSize) * recordCount; // 65535 * 65535 fits
    if (position >= m_dataSize || m_dataSize - position <= size)
        return false;
    position += size;
    return true;
}

aux::Error VehicleInfo::readGen2(const Block& overview, const Block& activities) {
    if (m_data == nullptr || m_dataSize < smallestVehicleUnitFile) {
        return makeVehicleInfoError(QStringLiteral("VehicleInfo ") +
                                    QLatin1String(overview.parser) +
                                    QStringLiteral("() file not mmapped, or not large enough"));
    }
    const auto overviewNotFound = [&overview] {
        return makeVehicleInfoError(overview.heading() + QStringLiteral(" not found"));
    };
    if (!overview.isAt(m_data))
        return overviewNotFound();

    unsigned int position = tagSize;
    aux::Error error = readBlock(overview, position);
    if (!error.isEmpty())
        return error;
    qCDebug(diagnostics) << "VehicleInfo: Vehicle Ident: " << getPlateString();
    if (m_dataSize - position <= tagSize)
        return overviewNotFound();

    while (m_dataSize - position > tagSize && activities.isAt(m_data + position)) {
        position += tagSize;
        error = readBlock(activities, position);
        if (!error.isEmpty())
            return error;
    }
    return aux::Error();
}

// Walks one block's arrays. The position never passes the end of the file, and a complete walk ends
// before it.
aux::Error VehicleInfo::readBlock(const Block& block, unsigned int& position) {
    for (const RecordArray& array : block) {
        unsigned short recordSize = 0;
        unsigned short recordCount = 0;
        if (!readHeader(position, array.type, recordSize, recordCount))
            return block.error("Read ", array, " header failed");
        if (array.recordSize != 0 && recordSize != array.recordSize)
            return block.error("Read ", array, ": Invalid data size");

        if (array.treatment == Treatment::ReadCardRecords) {
            if (!readCardRecords(position, recordCount))
                return block.error("Read ", array, ": Not enough data");
            continue;
        }
        if (array.treatment == Treatment::ReadPlate) {
            if (recordCount == 0 || m_dataSize - position <= recordSize)
                return block.error("Read ", array, ": Invalid data size");
            m_plateString = readPlate(m_data + position + recordSize - plateSize);
        }
        if (!skipRecordData(position, recordSize, recordCount))
            return block.error("Skip ", array, " failed");
    }
    return aux::Error();
}

// Takes all records of one array, or none when they do not fit into the file. They may be its last
// bytes: it is then the next array that is missing.
bool VehicleInfo::readCardRecords(unsigned int& position, unsigned short recordCount) {
    const quint32 size = quint32(cardRecordSize) * recordCount;
    if (size > m_dataSize - position)
        return false;
    const unsigned char* record = m_data + position;
    position += size;
    QDateTime lastTaken; // each day starts anew
    for (; recordCount > 0; --recordCount, record += cardRecordSize)
        takeCardRecord(record, cardInsertionOffset, lastTaken);
    return true;
}

aux::Error VehicleInfo::readGen2_1() {
    return readGen2(Block("readGen2_1", 0x21, trep21), Block("readGen2_1", 0x22, trep22));
}

aux::Error VehicleInfo::readGen2_2() {
    return readGen2(Block("readGen2_2", 0x31, trep31), Block("readGen2_2", 0x32, trep32));
}

} // namespace downloadkey
