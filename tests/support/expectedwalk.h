// What must come out of a vehicle-unit file, said a second time and as plainly as possible: a walk
// in 64-bit positions over the bytes, without the objects that carry the results. The exhaustive
// test and the fuzz target hold the library against it.
#pragma once

#include "downloadkey/vehicleinfo.h"

#include <QtCore/QByteArray>
#include <QtCore/QByteArrayList>
#include <QtCore/QString>

#include <vector>

struct ExpectedWalk {
    QString error; // empty for success
    qint64 plate = -1;
    std::vector<qint64> insertions; // where the kept records' insertion times stand
    std::vector<qint64> steering;   // the bytes that decide where the walk goes

    explicit ExpectedWalk(const QByteArray& file)
        : bytes(file) {
        const qint64 tag = size() > 620 ? number(0, 2) : 0;
        if (size() <= 620)
            error = QStringLiteral("VehicleInfo read() file not mmapped, or not large enough");
        else if (tag == 0x7601)
            gen1();
        else if (tag == 0x7621 || tag == 0x7631)
            gen2(tag == 0x7621 ? 1 : 2);
        else
            error = QStringLiteral("VehicleInfo read() TREPx1 not found, found %1instead!")
                        .arg(tag, 0, 16);
    }

    // Reads the file with the library; empty when that gives the same, else what differs.
    QString difference(downloadkey::VehicleInfo& info) const {
        const aux::Error result = info.read();
        const QString text = result.isEmpty() ? QString() : result.entries().front().text();
        if (text != error)
            return QStringLiteral("error \"%1\", not \"%2\"").arg(text, error);
        const auto activities = info.getDriverActivities();
        if (activities.size() != insertions.size())
            return QStringLiteral("%1 activities").arg(activities.size());
        for (std::size_t i = 0; i < activities.size(); ++i) {
            const auto& activity = activities[i];
            const qint64 at = insertions[i];
            if (activity.insertionTime.toSecsSinceEpoch() != number(at, 4) ||
                activity.odometerAtInsertion != odometer(at + 4) ||
                activity.slot != number(at + 7, 1) ||
                activity.withdrawalTime.toSecsSinceEpoch() != number(at + 8, 4) ||
                activity.odometerAtWithdrawal != odometer(at + 12))
                return QStringLiteral("another activity from byte %1").arg(at);
        }
        return {};
    }

private:
    const QByteArray& bytes;
    qint64 position = 2;

    qint64 size() const { return bytes.size(); }

    qint64 number(qint64 at, int width) const {
        qint64 value = 0;
        for (; width > 0; --width)
            value = value << 8 | static_cast<unsigned char>(bytes.at(static_cast<int>(at++)));
        return value;
    }

    quint32 odometer(qint64 at) const {
        const qint64 value = number(at, 3);
        return value == 0xFFFFFF ? 0xFFFFFFFF : static_cast<quint32>(value);
    }

    qint64 steer(qint64 at, int width) {
        for (int i = 0; i < width; ++i)
            steering.push_back(at + i);
        return number(at, width);
    }

    // Of neighbours with the same insertion time only the first is kept; `last` is that time, or
    // -1.
    void take(qint64 at, qint64& last) {
        if (number(at, 4) != last)
            insertions.push_back(at);
        last = number(at, 4);
    }

    void gen2(int version) {
        // The record arrays of the overview and of a day, by type and name.
        static const QByteArrayList blocks[] = {
            QByteArray("04 MemberStateCertificate,0F MemberVUCertificate,"
                       "0A VehicleIdentificationNumber,0B VehicleRegistrationNumber,"
                       "24 VehicleRegistrationIdentification,03 CurrentDateTime,"
                       "13 VuDownloadablePeriod,02 CardSlotStatus,14 VuDownloadActivityData,"
                       "10 VuCompanyLocks,11 VuControlActivity,08 Signature")
                .split(','),
            QByteArray("06 DateOfDayDownloaded,05 OdometerValueMidnight,0D VuCardIW,"
                       "01 VuActivityDailyRecord,1C VuPlaceDailyWorkPeriod,16 VuGNSSAD,"
                       "09 VuSpecificCondition,22 VuBorderCrossing,23 VuLoadUnload,08 VuSignature")
                .split(',')};
        static const QByteArrayList others[] = {{"22", "23", "24"}, {"0B"}}; // not in this version
        const QString parser =
            QStringLiteral("VehicleInfo readGen2_%1() TREP%2").arg(version).arg(version + 1);
        for (int block = 1;; block = 2) {
            for (const QByteArray& array : blocks[block - 1]) {
                const int type = array.left(2).toInt(nullptr, 16);
                if (others[version - 1].contains(array.left(2)))
                    continue;
                if (const char* failure = readArray(type, version == 1 ? 14 : 15)) {
                    error = parser + QString::number(block) +
                            QString::fromLatin1(failure).arg(QLatin1String(array.mid(3)));
                    return;
                }
            }
            if (position + 2 >= size()) {
                error = block == 1 ? parser + QStringLiteral("1 not found") : QString();
                return;
            }
            if (steer(position, 2) != (version == 1 ? 0x7622 : 0x7632))
                return;
            position += 2;
        }
    }

    // Returns what fails, with "%1" for the array's name, or null.
    const char* readArray(int type, int plateRecordSize) {
        if (position + 5 >= size() || steer(position, 1) != type)
            return ": Read %1RecordArray header failed";
        const qint64 recordSize = steer(position + 1, 2);
        const qint64 count = steer(position + 3, 2);
        position += 5;
        const qint64 end = position + recordSize * count;
        if (type == 0x0B || type == 0x24) {
            if (count == 0 || recordSize != plateRecordSize || position + recordSize >= size())
                return ": Read %1RecordArray: Invalid data size";
            plate = position + recordSize - 14;
        }
        if (type == 0x0D) {
            if (recordSize != 131)
                return ": Read %1RecordArray: Invalid data size";
            if (end > size())
                return ": Read %1RecordArray: Not enough data";
            qint64 last = -1;
            for (; position < end; position += 131)
                take(position + 95, last);
        } else if (end >= size()) {
            return ": Skip %1RecordArray failed";
        }
        position = end;
        return nullptr;
    }

    void gen1() {
        plate = 408;
        const qint64 locksEnd = 494 + 98 * steer(493, 1);
        if (locksEnd < size())
            position = locksEnd + 1 + 31 * steer(locksEnd, 1) + 128;
        if (locksEnd >= size() || position > size()) {
            error = QStringLiteral("VehicleInfo readGen1() file not not large enough");
            return;
        }
        static constexpr struct {
            const char* name;
            int width;
            int size;
        } sections[] = {{"VuCardIWRecord", 2, 129},
                        {"VuActivityDailyData", 2, 2},
                        {"VuPlaceDailyWorkPeriodData", 1, 28},
                        {"VuSpecificConditionData", 2, 5}};
        qint64 last = -1;
        while (position + 2 < size() && steer(position, 2) == 0x7602) {
            position += 9;
            qint64 count = 0;
            for (const auto& section : sections) {
                const bool isFirst = section.size == 129;
                const bool hasCount = position + section.width <= size();
                if (hasCount) {
                    count = steer(position, section.width);
                    position += section.width;
                }
                if (!hasCount || position + count * section.size > size()) {
                    error =
                        QStringLiteral("VehicleInfo readGen1() data read error, not enough data");
                    if (hasCount || !isFirst)
                        error += QStringLiteral(" (%1%2) p:%3 s:%4 c:%5")
                                     .arg(QLatin1String(section.name),
                                          QLatin1String(hasCount ? "" : " count"))
                                     .arg(position)
                                     .arg(size())
                                     .arg(count);
                    return;
                }
                for (qint64 i = 0; isFirst && i < count; ++i)
                    take(position + i * 129 + 94, last);
                position += count * section.size;
            }
            position += 128;
        }
    }
};
