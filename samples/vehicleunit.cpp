#include "samples/writer.h"

#include <algorithm>

namespace samples {

namespace {

enum CardType : unsigned { DriverCard = 1, WorkshopCard = 2, ControlCard = 3, CompanyCard = 4 };

// Of the block kinds; version 1 and 2 of the second generation count on from 0x20 and 0x30.
enum Block : unsigned { Overview = 1, Activities = 2, Events = 3, Speed = 4, Technical = 5 };

bool isGen1(Generation generation) {
    return generation == Generation::Gen1;
}

bool isVersion2(Generation generation) {
    return generation == Generation::Gen2V2;
}

QByteArray tag(Generation generation, Block block) {
    const unsigned base = isGen1(generation) ? 0x00 : isVersion2(generation) ? 0x30 : 0x20;
    return Writer().u8(0x76).u8(base + block).bytes;
}

// FullCardNumber (18 bytes), in the second generation FullCardNumberAndGeneration (19).
QByteArray cardId(Generation generation, CardType type, const QByteArray& number) {
    Writer writer;
    writer.u8(type).u8(nation).ascii(number, 16);
    if (!isGen1(generation))
        writer.u8(2);
    return writer.bytes;
}

QByteArray emptySlot(Generation generation) {
    return Writer().fill(isGen1(generation) ? 18 : 19, 0xFF).bytes;
}

QByteArray companyCard(Generation generation) {
    return cardId(generation, CompanyCard, "DC00000000000700");
}

QByteArray workshopCard(Generation generation) {
    return cardId(generation, WorkshopCard, "DW00000000000800");
}

QByteArray driverOf(Generation generation, const Day& day) {
    return day.cardRecords.empty()
               ? emptySlot(generation)
               : cardId(generation, DriverCard, day.cardRecords.front().cardNumber);
}

// GNSSPlaceRecord (11 bytes), in version 2 GNSSPlaceAuthRecord (12). The vehicle drives north-east.
QByteArray gnssPlace(Generation generation, std::uint32_t time, int step) {
    const auto moved = static_cast<std::uint32_t>(step % 500);
    Writer writer;
    writer.u32(time).u8(4).u24(48005 + moved).u24(11305 + moved);
    if (isVersion2(generation))
        writer.u8(1);
    return writer.bytes;
}

// The time of the `index`-th of `count` things that happen on a day.
std::uint32_t momentOf(const Day& day, int index, int count) {
    return day.date + static_cast<std::uint32_t>(index) *
                          (secondsPerDay / static_cast<std::uint32_t>(std::max(count, 1)));
}

std::uint32_t odometerOf(const Day& day, int index) {
    return day.odometerMidnight + static_cast<std::uint32_t>(index);
}

template <typename Record>
QByteArray records(int count, const Record& record) {
    QByteArray bytes;
    for (int i = 0; i < count; ++i)
        bytes.append(record(i));
    return bytes;
}

// An array whose records are all built by one function. An empty array names its record size too.
template <typename Record>
QByteArray array(unsigned char type, int recordSize, int count, const Record& record) {
    return recordArray(type, recordSize, count, records(count, record));
}

QByteArray single(unsigned char type, const QByteArray& record) {
    return recordArray(type, record.size(), 1, record);
}

QByteArray signature(Generation generation, std::uint32_t noise) {
    const QByteArray bytes =
        Noise(noise).bytes(isGen1(generation) ? signatureSizeGen1 : signatureSizeGen2);
    return isGen1(generation) ? bytes : single(0x08, bytes);
}

// VuDownloadablePeriod: from the first downloaded day to the end of the last.
QByteArray downloadablePeriod(const VehicleUnit& unit) {
    if (unit.days.empty())
        return Writer().u32(unit.downloadTime).u32(unit.downloadTime).bytes;
    return Writer()
        .u32(unit.days.front().date)
        .u32(unit.days.back().date + secondsPerDay - 1)
        .bytes;
}

QByteArray downloadActivity(const VehicleUnit& unit) {
    return Writer()
        .u32(unit.downloadTime)
        .raw(companyCard(unit.generation))
        .raw(textField("Sample Haulage", 36))
        .bytes;
}

QByteArray companyLock(const VehicleUnit& unit, int index) {
    const auto lockedIn = static_cast<std::uint32_t>(1577836800 + index * 86400);
    const bool open = index + 1 == unit.companyLocks;
    return Writer()
        .u32(lockedIn)
        .u32(open ? absentTime : lockedIn + 43200)
        .raw(textField("Sample Haulage", 36))
        .raw(textField("1 Example Road, Sampleton", 36))
        .raw(companyCard(unit.generation))
        .bytes;
}

QByteArray controlActivity(const VehicleUnit& unit, int index) {
    const auto time = static_cast<std::uint32_t>(1580515200 + index * 604800);
    return Writer()
        .u8(0x50)
        .u32(time)
        .raw(cardId(unit.generation, ControlCard, "DK00000000000900"))
        .u32(time - 28 * secondsPerDay)
        .u32(time)
        .bytes;
}

QByteArray overviewGen1(const VehicleUnit& unit) {
    Noise noise(unit.noise);
    return Writer()
        .raw(tag(unit.generation, Overview))
        .raw(noise.bytes(certificateSizeGen1))
        .raw(noise.bytes(certificateSizeGen1))
        .ascii(unit.vin, 17)
        .raw(registration(unit.plate, unit.plateCodePage))
        .u32(unit.downloadTime)
        .raw(downloadablePeriod(unit))
        .u8(0x01)
        .raw(downloadActivity(unit))
        .u8(static_cast<std::uint32_t>(unit.companyLocks))
        .raw(records(unit.companyLocks, [&](int i) { return companyLock(unit, i); }))
        .u8(static_cast<std::uint32_t>(unit.controlActivities))
        .raw(records(unit.controlActivities, [&](int i) { return controlActivity(unit, i); }))
        .raw(signature(unit.generation, noise.next()))
        .bytes;
}

QByteArray overviewGen2(const VehicleUnit& unit) {
    Noise noise(unit.noise);
    const QByteArray plate = isVersion2(unit.generation)
                                 ? single(0x24, registration(unit.plate, unit.plateCodePage))
                                 : single(0x0B, textField(unit.plate, 14, unit.plateCodePage));
    return Writer()
        .raw(tag(unit.generation, Overview))
        .raw(single(0x04, noise.bytes(certificateSizeGen2)))
        .raw(single(0x0F, noise.bytes(certificateSizeGen2)))
        .raw(single(0x0A, unit.vin.leftJustified(17, ' ', true)))
        .raw(plate)
        .raw(single(0x03, Writer().u32(unit.downloadTime).bytes))
        .raw(single(0x13, downloadablePeriod(unit)))
        .raw(single(0x02, Writer().u8(0x01).bytes))
        .raw(single(0x14, downloadActivity(unit)))
        .raw(array(0x10, 99, unit.companyLocks, [&](int i) { return companyLock(unit, i); }))
        .raw(array(0x11, 32, unit.controlActivities,
                   [&](int i) { return controlActivity(unit, i); }))
        .raw(signature(unit.generation, noise.next()))
        .bytes;
}

// The records of one day, each as the given generation lays it out.
class DayRecords {
public:
    DayRecords(Generation generation, const Day& day)
        : m_generation(generation)
        , m_day(day)
        , m_driver(driverOf(generation, day))
        , m_noDriver(emptySlot(generation)) {}

    QByteArray cards() const {
        QByteArray bytes;
        bytes.reserve(static_cast<int>(m_day.cardRecords.size()) * 131);
        for (const CardRecord& record : m_day.cardRecords)
            bytes.append(cardRecord(m_generation, record));
        return bytes;
    }
    QByteArray activityChanges() const {
        return records(m_day.activityChanges, [&](int i) {
            return Writer().u16(activityChange(i, m_day.activityChanges)).bytes;
        });
    }
    QByteArray places() const {
        return records(m_day.places, [&](int i) {
            const std::uint32_t time = momentOf(m_day, i, m_day.places);
            Writer writer;
            writer.raw(m_driver).u32(time).u8(static_cast<std::uint32_t>(i) % 2U).u8(nation).u8(0);
            writer.u24(odometerOf(m_day, i));
            if (!isGen1(m_generation))
                writer.raw(gnssPlace(m_generation, time, i));
            return writer.bytes;
        });
    }
    QByteArray gnssPositions() const {
        return records(m_day.gnssPositions, [&](int i) {
            const std::uint32_t time = momentOf(m_day, i, m_day.gnssPositions);
            return Writer().u32(time).raw(slots()).raw(position(time, i)).bytes;
        });
    }
    QByteArray specificConditions() const {
        return records(m_day.specificConditions, [&](int i) {
            return Writer().u32(momentOf(m_day, i, m_day.specificConditions)).u8(3).bytes;
        });
    }
    QByteArray borderCrossings() const {
        return records(m_day.borderCrossings, [&](int i) {
            const std::uint32_t time = momentOf(m_day, i, m_day.borderCrossings);
            return Writer().raw(slots()).u8(nation).u8(1).raw(position(time, i)).bytes;
        });
    }
    QByteArray loadOperations() const {
        return records(m_day.loadOperations, [&](int i) {
            const std::uint32_t time = momentOf(m_day, i, m_day.loadOperations);
            const std::uint32_t operation = 1U + static_cast<std::uint32_t>(i) % 3U;
            return Writer().u32(time).u8(operation).raw(slots()).raw(position(time, i)).bytes;
        });
    }

private:
    QByteArray slots() const { return m_driver + m_noDriver; }
    QByteArray position(std::uint32_t time, int index) const {
        return Writer()
            .raw(gnssPlace(m_generation, time, index))
            .u24(odometerOf(m_day, index))
            .bytes;
    }

    Generation m_generation;
    const Day& m_day;
    QByteArray m_driver;
    QByteArray m_noDriver;
};

QByteArray activityGen1(const VehicleUnit& unit, const Day& day) {
    const DayRecords parts(unit.generation, day);
    return Writer()
        .raw(tag(unit.generation, Activities))
        .u32(day.date)
        .u24(day.odometerMidnight)
        .u16(static_cast<std::uint32_t>(day.cardRecords.size()))
        .raw(parts.cards())
        .u16(static_cast<std::uint32_t>(day.activityChanges))
        .raw(parts.activityChanges())
        .u8(static_cast<std::uint32_t>(day.places))
        .raw(parts.places())
        .u16(static_cast<std::uint32_t>(day.specificConditions))
        .raw(parts.specificConditions())
        .raw(signature(unit.generation, unit.noise ^ day.date))
        .bytes;
}

QByteArray activityGen2(const VehicleUnit& unit, const Day& day) {
    const DayRecords parts(unit.generation, day);
    const bool v2 = isVersion2(unit.generation);
    Writer writer;
    writer.raw(tag(unit.generation, Activities))
        .raw(single(0x06, Writer().u32(day.date).bytes))
        .raw(single(0x05, Writer().u24(day.odometerMidnight).bytes))
        .raw(recordArray(0x0D, 131, static_cast<int>(day.cardRecords.size()), parts.cards()))
        .raw(recordArray(0x01, 2, day.activityChanges, parts.activityChanges()))
        .raw(recordArray(0x1C, v2 ? 41 : 40, day.places, parts.places()))
        .raw(recordArray(0x16, v2 ? 57 : 56, day.gnssPositions, parts.gnssPositions()))
        .raw(recordArray(0x09, 5, day.specificConditions, parts.specificConditions()));
    if (v2)
        writer.raw(recordArray(0x22, 55, day.borderCrossings, parts.borderCrossings()))
            .raw(recordArray(0x23, 58, day.loadOperations, parts.loadOperations()));
    return writer.raw(signature(unit.generation, unit.noise ^ day.date)).bytes;
}

// The blocks behind the activities: a handful of events, an hour or so of speeds for each day, one
// calibration.
class FurtherBlocks {
public:
    explicit FurtherBlocks(const VehicleUnit& unit)
        : m_unit(unit)
        , m_generation(unit.generation)
        , m_gen1(isGen1(unit.generation))
        , m_speedBlocks(static_cast<int>(std::min<std::size_t>(unit.days.size() * 20, 1440)))
        , m_driver(unit.days.empty() ? emptySlot(unit.generation)
                                     : driverOf(unit.generation, unit.days.front())) {}

    QByteArray bytes() const {
        return m_gen1 ? eventsGen1() + speedGen1() + technicalGen1()
                      : eventsGen2() + speedGen2() + technicalGen2();
    }

private:
    static constexpr int faultCount = 2, eventCount = 5, overspeedCount = 3, calibrationCount = 1;

    std::uint32_t timeOf(int index) const {
        const std::uint32_t back = static_cast<std::uint32_t>(index + 1) * 7200;
        return m_unit.downloadTime > back ? m_unit.downloadTime - back : 0;
    }
    QByteArray end(Block block) const { return signature(m_generation, m_unit.noise ^ block); }

    // The common part of fault, event and power-interruption records: kind, purpose, times and the
    // cards in both slots at both times.
    QByteArray incident(unsigned type, int index) const {
        const QByteArray nobody = emptySlot(m_generation);
        return Writer()
            .u8(type)
            .u8(0x02)
            .u32(timeOf(index))
            .u32(timeOf(index) + 300)
            .raw(m_driver + nobody + m_driver + nobody)
            .bytes;
    }
    QByteArray maker() const { return m_gen1 ? QByteArray() : Writer().u8(0xA1).u24(0).bytes; }
    QByteArray fault(int index) const { return incident(0x35, index) + maker(); }
    QByteArray event(int index) const {
        return incident(0x04, index) + Writer().u8(1).bytes + maker();
    }
    QByteArray overspeedControl() const {
        return Writer().u32(timeOf(9)).u32(timeOf(8)).u8(overspeedCount).bytes;
    }
    QByteArray overspeed(int index) const {
        return Writer()
            .u8(0x07)
            .u8(0x03)
            .u32(timeOf(index))
            .u32(timeOf(index) + 90)
            .u8(98)
            .u8(94)
            .raw(m_driver)
            .u8(1)
            .bytes;
    }
    QByteArray workshop() const {
        return textField("Sample Workshop", 36) + textField("2 Example Road, Sampleton", 36);
    }
    QByteArray timeAdjustment(int index) const {
        return Writer()
            .u32(timeOf(index))
            .u32(timeOf(index) + 60)
            .raw(workshop())
            .raw(workshopCard(m_generation))
            .bytes;
    }
    QByteArray speedBlock(int index) const {
        Writer writer;
        writer.u32(timeOf(0) / 60 * 60 + static_cast<std::uint32_t>(index) * 60);
        for (int second = 0; second < 60; ++second)
            writer.u8(static_cast<std::uint32_t>(60 + (index + second) % 25));
        return writer.bytes;
    }

    QByteArray serialNumber() const {
        return Writer().u32(1000 + m_unit.noise).u16(0x0320).u8(0x06).u8(0xA1).bytes;
    }
    QByteArray approvalNumber() const { return Writer().ascii("e1-0000", m_gen1 ? 8 : 16).bytes; }
    QByteArray identification() const {
        Writer writer;
        writer.raw(textField("Sample Instruments", 36))
            .raw(textField("3 Example Road, Sampleton", 36))
            .ascii("SAMPLE-PART-1", 16)
            .raw(serialNumber())
            .ascii("0100", 4)
            .u32(1577836800)
            .u32(1575158400)
            .raw(approvalNumber());
        if (!m_gen1)
            writer.u8(2).u8(1);
        if (isVersion2(m_generation))
            writer.ascii("MAP 2024.01", 12);
        return writer.bytes;
    }
    QByteArray sensor() const {
        return Writer().raw(serialNumber()).raw(approvalNumber()).u32(1577836800).bytes;
    }
    // The workshop's card stands without its generation here in every version.
    QByteArray calibration(int) const {
        Writer writer;
        writer.u8(0x03)
            .raw(workshop())
            .raw(workshopCard(Generation::Gen1))
            .u32(1893456000)
            .ascii(m_unit.vin, 17)
            .raw(registration(m_unit.plate, m_unit.plateCodePage));
        writer.u16(8000).u16(8000).u16(3200).ascii("315/80 R22.5", 15).u8(90);
        writer.u24(100000).u24(100000).u32(1577836800).u32(1577836800).u32(1640908800);
        if (isVersion2(m_generation))
            writer.raw(serialNumber()).raw(serialNumber()).raw(serialNumber());
        if (!m_gen1)
            writer.raw(records(5, [](int i) {
                return Writer().u8(0x07).u16(0x5341).ascii("SEAL" + QByteArray::number(i), 8).bytes;
            }));
        if (isVersion2(m_generation))
            writer.u8(1).u8(nation).u32(1577836800);
        return writer.bytes;
    }
    QByteArray cardUsed(int) const {
        return Writer()
            .raw(m_driver)
            .raw(serialNumber())
            .u16(0x0101)
            .raw(m_driver.mid(2, 16))
            .bytes;
    }

    QByteArray eventsGen1() const {
        return Writer()
            .raw(tag(m_generation, Events))
            .u8(faultCount)
            .raw(records(faultCount, [&](int i) { return fault(i); }))
            .u8(eventCount)
            .raw(records(eventCount, [&](int i) { return event(i); }))
            .raw(overspeedControl())
            .u8(overspeedCount)
            .raw(records(overspeedCount, [&](int i) { return overspeed(i); }))
            .u8(1)
            .raw(timeAdjustment(0))
            .raw(end(Events))
            .bytes;
    }
    QByteArray speedGen1() const {
        return Writer()
            .raw(tag(m_generation, Speed))
            .u16(static_cast<std::uint32_t>(m_speedBlocks))
            .raw(records(m_speedBlocks, [&](int i) { return speedBlock(i); }))
            .raw(end(Speed))
            .bytes;
    }
    QByteArray technicalGen1() const {
        return Writer()
            .raw(tag(m_generation, Technical))
            .raw(identification())
            .raw(sensor())
            .u8(calibrationCount)
            .raw(calibration(0))
            .raw(end(Technical))
            .bytes;
    }
    QByteArray eventsGen2() const {
        return tag(m_generation, Events) +
               array(0x18, 90, faultCount, [&](int i) { return fault(i); }) +
               array(0x15, 91, eventCount, [&](int i) { return event(i); }) +
               single(0x1A, overspeedControl()) +
               array(0x1B, 32, overspeedCount, [&](int i) { return overspeed(i); }) +
               single(0x1E, timeAdjustment(0)) + end(Events);
    }
    QByteArray speedGen2() const {
        return tag(m_generation, Speed) +
               array(0x12, 64, m_speedBlocks, [&](int i) { return speedBlock(i); }) + end(Speed);
    }
    QByteArray technicalGen2() const {
        return tag(m_generation, Technical) + single(0x19, identification()) +
               single(0x20, sensor()) + single(0x21, sensor()) +
               array(0x0C, isVersion2(m_generation) ? 252 : 222, calibrationCount,
                     [&](int i) { return calibration(i); }) +
               array(0x0E, 45, 1, [&](int i) { return cardUsed(i); }) +
               single(0x17, m_driver + Writer().u8(1).bytes) +
               single(0x1F, incident(0x08, 0) + Writer().u8(1).bytes) + end(Technical);
    }

    const VehicleUnit& m_unit;
    Generation m_generation;
    bool m_gen1;
    int m_speedBlocks;
    QByteArray m_driver;
};

} // namespace

QByteArray textField(const QByteArray& text, int size, unsigned char codePage) {
    return Writer().u8(codePage).ascii(text, size - 1).bytes;
}

QByteArray recordArray(unsigned char type, int recordSize, int count, const QByteArray& records) {
    return Writer()
        .u8(type)
        .u16(static_cast<std::uint32_t>(recordSize))
        .u16(static_cast<std::uint32_t>(count))
        .raw(records)
        .bytes;
}

QByteArray cardRecord(Generation generation, const CardRecord& record) {
    Writer writer;
    writer.bytes.reserve(131);
    writer.raw(textField(record.surname, 36, record.codePage))
        .raw(textField(record.firstNames, 36, record.codePage))
        .raw(cardId(generation, DriverCard, record.cardNumber))
        .u32(1893456000)
        .u32(record.insertionTime)
        .u24(record.odometerAtInsertion)
        .u8(record.slot)
        .u32(record.withdrawalTime)
        .u24(record.odometerAtWithdrawal)
        .raw(registration("ZZ 999 ZZ", 1))
        .u32(record.insertionTime > 43200 ? record.insertionTime - 43200 : 0);
    if (!isGen1(generation))
        writer.u8(2);
    return writer.u8(0).bytes;
}

QByteArray overviewBlock(const VehicleUnit& unit) {
    return isGen1(unit.generation) ? overviewGen1(unit) : overviewGen2(unit);
}

QByteArray activityBlock(const VehicleUnit& unit, const Day& day) {
    return isGen1(unit.generation) ? activityGen1(unit, day) : activityGen2(unit, day);
}

QByteArray vehicleUnitFile(const VehicleUnit& unit) {
    QByteArray bytes = overviewBlock(unit);
    for (const Day& day : unit.days)
        bytes.append(activityBlock(unit, day));
    if (unit.furtherBlocks)
        bytes.append(FurtherBlocks(unit).bytes());
    return bytes + unit.trailer;
}

} // namespace samples
