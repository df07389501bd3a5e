// What must come out of a vehicle-unit file, said a second time and as plainly as possible: a walk
// in 64-bit positions over the bytes, without the objects that carry the results. The exhaustive
// test and the fuzz target hold the library against it.
#pragma once

#include "downloadkey/vehicleinfo.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <vector>

struct ExpectedWalk {
    QString error; // empty for success
    qint64 plate = -1;
    std::vector<qint64> insertions; // where the kept records' insertion times stand
    std::vector<qint64> steering;   // the bytes that decide where the walk goes

    explicit ExpectedWalk(const QByteArray& file)
        : bytes(file) {
        const QString read = QStringLiteral("VehicleInfo read() ");
        if (file.size() <= 620)
            error = read + QStringLiteral("file not mmapped, or not large enough");
        else if (number(0, 2) == 0x7601)
            gen1();
        else if (number(0, 2) == 0x7621)
            gen2(1);
        else if (number(0, 2) == 0x7631)
            gen2(2);
        else
            error = read +
                    QStringLiteral("TREPx1 not found, found %1instead!").arg(number(0, 2), 0, 16);
    }

    // Reads the file with the library; empty when that gives the same, else what differs.
    QString difference(downloadkey::VehicleInfo& info) const {
        const aux::Error result = info.read();
        const QString text = result.isEmpty() ? QString() : result.entries().front().text();
        if (text != error)
            return QStringLiteral("error \"%1\", not \"%2\"").arg(text, error);
        const auto activities = info.getDriverActivities();
        if (activities.size() != insertions.size())
            return QStringLiteral("%1 activities, not %2")
                .arg(activities.size())
                .arg(insertions.size());
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
        static const char* const names[0x25] = {nullptr,
                                                "VuActivityDailyRecordRecordArray",
                                                "CardSlotStatusRecordArray",
                                                "CurrentDateTimeRecordArray",
                                                "MemberStateCertificateRecordArray",
                                                "OdometerValueMidnightRecordArray",
                                                "DateOfDayDownloadedRecordArray",
                                                nullptr,
                                                "SignatureRecordArray",
                                                "VuSpecificConditionRecordArray",
                                                "VehicleIdentificationNumberRecordArray",
                                                "VehicleRegistrationNumberRecordArray",
                                                nullptr,
                                                "VuCardIWRecordArray",
                                                nullptr,
                                                "MemberVUCertificateRecordArray",
                                                "VuCompanyLocksRecordArray",
                                                "VuControlActivityRecordArray",
                                                nullptr,
                                                "VuDownloadablePeriodRecordArray",
                                                "VuDownloadActivityDataRecordArray",
                                                nullptr,
                                                "VuGNSSADRecordArray",
                                                nullptr,
                                                nullptr,
                                                nullptr,
                                                nullptr,
                                                nullptr,
                                                "VuPlaceDailyWorkPeriodRecordArray",
                                                nullptr,
                                                nullptr,
                                                nullptr,
                                                nullptr,
                                                nullptr,
                                                "VuBorderCrossingRecordArray",
                                                "VuLoadUnloadRecordArray",
                                                "VehicleRegistrationIdentificationRecordArray"};
        const QByteArray overview = version == 1 ? "\x04\x0F\x0A\x0B\x03\x13\x02\x14\x10\x11\x08"
                                                 : "\x04\x0F\x0A\x24\x03\x13\x02\x14\x10\x11\x08";
        const QByteArray day = version == 1 ? "\x06\x05\x0D\x01\x1C\x16\x09\x08"
                                            : "\x06\x05\x0D\x01\x1C\x16\x09\x22\x23\x08";
        const qint64 dayTag = version == 1 ? 0x7622 : 0x7632;
        const QString parser = QStringLiteral("VehicleInfo readGen2_%1() TREP").arg(version);
        bool inDay = false;
        for (;; inDay = true) {
            for (const char type : inDay ? day : overview) {
                const QString name = QLatin1String(inDay && type == 8 ? "Vu" : "") +
                                     QLatin1String(names[static_cast<unsigned char>(type)]);
                const QString failure = array(type, version == 1 ? 14 : 15);
                if (!failure.isEmpty()) {
                    error = parser + QString::number(version + 1) + QLatin1Char(inDay ? '2' : '1') +
                            QStringLiteral(": ") + failure.arg(name);
                    return;
                }
            }
            if (position + 2 >= bytes.size()) {
                if (!inDay)
                    error = parser + QString::number(version + 1) + QStringLiteral("1 not found");
                return;
            }
            if (steer(position, 2) != dayTag)
                return;
            position += 2;
        }
    }

    // One record array; returns what fails, with "%1" for the array's name.
    QString array(char type, int plateRecordSize) {
        const QString invalidSize = QStringLiteral("Read %1: Invalid data size");
        if (position + 5 >= bytes.size() || steer(position, 1) != type)
            return QStringLiteral("Read %1 header failed");
        const qint64 size = steer(position + 1, 2);
        const qint64 count = steer(position + 3, 2);
        position += 5;
        const qint64 end = position + size * count;
        if (type == 0x0B || type == 0x24) {
            if (count == 0 || size != plateRecordSize || position + size >= bytes.size())
                return invalidSize;
            plate = position + size - 14;
        }
        if (type == 0x0D) {
            if (size != 131)
                return invalidSize;
            if (end > bytes.size())
                return QStringLiteral("Read %1: Not enough data");
            qint64 last = -1;
            for (; position < end; position += 131)
                take(position + 95, last);
        } else if (end >= bytes.size()) {
            return QStringLiteral("Skip %1 failed");
        }
        position = end;
        return {};
    }

    void gen1() {
        const QString tooShort = QStringLiteral("VehicleInfo readGen1() file not not large enough");
        const QString noData =
            QStringLiteral("VehicleInfo readGen1() data read error, not enough data");
        plate = 408;
        const qint64 locksEnd = 494 + 98 * steer(493, 1);
        if (locksEnd >= bytes.size()) {
            error = tooShort;
            return;
        }
        position = locksEnd + 1 + 31 * steer(locksEnd, 1) + 128;
        if (position > bytes.size()) {
            error = tooShort;
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
        while (position + 2 < bytes.size() && steer(position, 2) == 0x7602) {
            position += 9;
            qint64 count = 0;
            for (const auto& section : sections) {
                const bool isFirst = section.size == 129;
                const auto failed = [&](const char* what) {
                    error = noData + QStringLiteral(" (%1%2) p:%3 s:%4 c:%5")
                                         .arg(QLatin1String(section.name), QLatin1String(what))
                                         .arg(position)
                                         .arg(bytes.size())
                                         .arg(count);
                };
                if (position + section.width > bytes.size())
                    return isFirst ? void(error = noData) : failed(" count");
                count = steer(position, section.width);
                position += section.width;
                if (position + count * section.size > bytes.size())
                    return failed("");
                for (qint64 i = 0; isFirst && i < count; ++i)
                    take(position + i * 129 + 94, last);
                position += count * section.size;
            }
            position += 128;
        }
    }
};
