// The first generation's parser. Its blocks carry no lengths: sizes are fixed, or follow from the
// counts.
#include "downloadkey/diagnostics_p.h"
#include "downloadkey/vehicleinfo.h"
#include "downloadkey/vehicleinfo_p.h"

namespace downloadkey {

namespace {

constexpr quint32 plateOffset = 408;
constexpr quint32 companyLocksOffset = 493;
constexpr quint32 companyLockSize = 98;
constexpr quint32 controlActivitySize = 31;
constexpr quint32 signatureSize = 128;

constexpr quint32 dayHeaderSize = 7; // date and odometer value at midnight
constexpr quint32 cardRecordSize = 129;
constexpr quint32 cardInsertionOffset = 94;
constexpr quint32 activityChangeSize = 2;
constexpr quint32 placeRecordSize = 28;
constexpr quint32 specificConditionSize = 5;

// A position that never leaves the file: every step is checked against what is left.
class Cursor {
public:
    Cursor(const unsigned char* data, quint32 size)
        : m_data(data)
        , m_size(size) {}

    quint32 position() const { return m_position; }
    quint32 left() const { return m_size - m_position; }
    const unsigned char* bytes() const { return m_data + m_position; }

    bool skip(quint32 count) {
        if (count > left())
            return false;
        m_position += count;
        return true;
    }

    void skipAtMost(quint32 count) { m_position += qMin(count, left()); }

    // `width` is 1 or 2 bytes.
    bool readCount(int width, quint32& count) {
        const unsigned char* const field = bytes();
        if (!skip(quint32(width)))
            return false;
        count = width == 1 ? *field : readUInt16(field);
        return true;
    }

private:
    const unsigned char* m_data;
    quint32 m_size;
    quint32 m_position = 0;
};

// The file position where data should begin, the file's size, and the count that was read last.
aux::Error notEnoughData(const char* what, const Cursor& cursor, quint32 count) {
    return makeVehicleInfoError(
        QStringLiteral("VehicleInfo readGen1() data read error, not enough data (") +
        QLatin1String(what) + QStringLiteral(") p:") + QString::number(cursor.position()) +
        QStringLiteral(" s:") + QString::number(cursor.position() + cursor.left()) +
        QStringLiteral(" c:") + QString::number(count));
}

// Steps over the overview block; false when the file is shorter.
bool skipOverview(Cursor& cursor) {
    quint32 companyLocks = 0;
    quint32 controlActivities = 0;
    return cursor.skip(companyLocksOffset) && cursor.readCount(1, companyLocks) &&
           cursor.skip(companyLocks * companyLockSize) && cursor.readCount(1, controlActivities) &&
           cursor.skip(controlActivities * controlActivitySize) && cursor.skip(signatureSize);
}

// The sections behind a day's card records. `count` is the count that was read last, and is kept
// so.
aux::Error skipDaySections(Cursor& cursor, quint32 count) {
    static constexpr struct {
        const char* countName;
        const char* name;
        int countWidth;
        quint32 recordSize;
    } sections[] = {
        {"VuActivityDailyData count", "VuActivityDailyData", 2, activityChangeSize},
        {"VuPlaceDailyWorkPeriodData count", "VuPlaceDailyWorkPeriodData", 1, placeRecordSize},
        {"VuSpecificConditionData count", "VuSpecificConditionData", 2, specificConditionSize},
    };

    for (const auto& section : sections) {
        if (!cursor.readCount(section.countWidth, count))
            return notEnoughData(section.countName, cursor, count);
        if (!cursor.skip(count * section.recordSize))
            return notEnoughData(section.name, cursor, count);
    }
    return aux::Error();
}

// Whether an activity block begins here. Its tag must not be the last of the file.
bool atActivityBlock(const Cursor& cursor) {
    return cursor.left() > 2 && readUInt16(cursor.bytes()) == 0x7602;
}

} // namespace

aux::Error VehicleInfo::readGen1() {
    if (m_data == nullptr || m_dataSize < smallestVehicleUnitFile) {
        return makeVehicleInfoError(
            QStringLiteral("VehicleInfo read() file not mmapped, or not large enough"));
    }
    if (readUInt16(m_data) != 0x7601)
        return makeVehicleInfoError(QStringLiteral("VehicleInfo readGen1() TREP01 not found"));
    m_plateString = readPlate(m_data + plateOffset);

    Cursor cursor(m_data, m_dataSize);
    if (!skipOverview(cursor)) {
        return makeVehicleInfoError(
            QStringLiteral("VehicleInfo readGen1() file not not large enough"));
    }
    qCDebug(diagnostics) << "VehicleInfo: Vehicle Ident: " << getPlateString();

    // A card that stays in overnight is recorded on both days, so the time lives on from day to
    // day.
    QDateTime lastTaken;
    while (atActivityBlock(cursor)) {
        cursor.skip(2);
        quint32 records = 0;
        if (cursor.left() < dayHeaderSize + 2) {
            return makeVehicleInfoError(
                QStringLiteral("VehicleInfo readGen1() data read error, not enough data"));
        }
        cursor.skip(dayHeaderSize);
        cursor.readCount(2, records);
        const unsigned char* record = cursor.bytes();
        if (!cursor.skip(records * cardRecordSize))
            return notEnoughData("VuCardIWRecord", cursor, records);
        for (quint32 i = 0; i < records; ++i, record += cardRecordSize)
            takeCardRecord(record, cardInsertionOffset, lastTaken);

        aux::Error error = skipDaySections(cursor, records);
        if (!error.isEmpty())
            return error;
        cursor.skipAtMost(signatureSize);
    }
    return aux::Error();
}

} // namespace downloadkey
