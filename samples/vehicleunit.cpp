#include "samples/furtherblocks.h"
#include "samples/vehicleblocks.h"

#include <algorithm>

namespace samples {

namespace {

QByteArray companyCard(const Layout& layout) {
    return cardId(layout, Company, "DC00000000000700");
}

// GNSSPlaceRecord (11 bytes), in version 2 GNSSPlaceAuthRecord (12). The vehicle drives north-east.
QByteArray gnssPlace(const Layout& layout, std::uint32_t time, int step) {
    const auto moved = static_cast<std::uint32_t>(step % 500);
    Writer writer;
    writer.u32(time).u8(4).u24(48005 + moved).u24(11305 + moved);
    if (layout.isVersion2)
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

constexpr std::uint32_t cardSlotsStatus = 0x01; // a driver card in the driver's slot, none beside

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
        .raw(companyCard(layoutOf(unit.generation)))
        .raw(textField("Sample Haulage", 36))
        .bytes;
}

QByteArray companyLock(const VehicleUnit& unit, int index) {
    const std::uint32_t lockedIn = startOf2020 + static_cast<std::uint32_t>(index) * secondsPerDay;
    const bool open = index + 1 == unit.companyLocks;
    return Writer()
        .u32(lockedIn)
        .u32(open ? absentTime : lockedIn + 43200)
        .raw(textField("Sample Haulage", 36))
        .raw(textField("1 Example Road, Sampleton", 36))
        .raw(companyCard(layoutOf(unit.generation)))
        .bytes;
}

QByteArray controlActivity(const VehicleUnit& unit, int index) {
    const std::uint32_t time =
        startOf2020 + (31 + static_cast<std::uint32_t>(index) * 7) * secondsPerDay;
    return Writer()
        .u8(0x50) // the vehicle unit was downloaded and a display looked at
        .u32(time)
        .raw(cardId(layoutOf(unit.generation), Control, "DK00000000000900"))
        .u32(time - 28 * secondsPerDay)
        .u32(time)
        .bytes;
}

QByteArray overviewGen1(const VehicleUnit& unit, const Layout& layout) {
    Noise noise(unit.noise);
    return Writer()
        .raw(tag(layout.trepBase + Overview))
        .raw(noise.bytes(certificateSizeGen1))
        .raw(noise.bytes(certificateSizeGen1))
        .ascii(unit.vin, 17)
        .raw(registration(unit.plate, unit.plateCodePage))
        .u32(unit.downloadTime)
        .raw(downloadablePeriod(unit))
        .u8(cardSlotsStatus)
        .raw(downloadActivity(unit))
        .u8(static_cast<std::uint32_t>(unit.companyLocks))
        .raw(records(unit.companyLocks, [&](int i) { return companyLock(unit, i); }))
        .u8(static_cast<std::uint32_t>(unit.controlActivities))
        .raw(records(unit.controlActivities, [&](int i) { return controlActivity(unit, i); }))
        .raw(signature(layout, noise.next()))
        .bytes;
}

QByteArray overviewGen2(const VehicleUnit& unit, const Layout& layout) {
    Noise noise(unit.noise);
    const QByteArray plate =
        layout.isVersion2
            ? single(VehicleRegistrationIdentification,
                     registration(unit.plate, unit.plateCodePage))
            : single(VehicleRegistrationNumber, textField(unit.plate, 14, unit.plateCodePage));
    return Writer()
        .raw(tag(layout.trepBase + Overview))
        .raw(single(MemberStateCertificate, noise.bytes(certificateSizeGen2)))
        .raw(single(VuCertificate, noise.bytes(certificateSizeGen2)))
        .raw(single(VehicleIdentificationNumber, Writer().ascii(unit.vin, 17).bytes))
        .raw(plate)
        .raw(single(CurrentDateTime, Writer().u32(unit.downloadTime).bytes))
        .raw(single(VuDownloadablePeriod, downloadablePeriod(unit)))
        .raw(single(CardSlotsStatus, Writer().u8(cardSlotsStatus).bytes))
        .raw(single(VuDownloadActivityData, downloadActivity(unit)))
        .raw(array(VuCompanyLocksRecord, 99, unit.companyLocks,
                   [&](int i) { return companyLock(unit, i); }))
        .raw(array(VuControlActivityRecord, 32, unit.controlActivities,
                   [&](int i) { return controlActivity(unit, i); }))
        .raw(signature(layout, noise.next()))
        .bytes;
}

// The records of one day, each as the given generation lays it out.
class DayRecords {
public:
    DayRecords(Generation generation, const Day& day)
        : m_generation(generation)
        , m_layout(layoutOf(generation))
        , m_day(day)
        , m_driver(driverOn(m_layout, day))
        , m_noDriver(emptySlot(m_layout)) {}

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
            if (m_layout.isSecond)
                writer.raw(gnssPlace(m_layout, time, i));
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
        return Writer().raw(gnssPlace(m_layout, time, index)).u24(odometerOf(m_day, index)).bytes;
    }

    Generation m_generation;
    const Layout& m_layout;
    const Day& m_day;
    QByteArray m_driver;
    QByteArray m_noDriver;
};

QByteArray activityGen1(const VehicleUnit& unit, const Layout& layout, const Day& day) {
    const DayRecords parts(unit.generation, day);
    return Writer()
        .raw(tag(layout.trepBase + Activities))
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
        .raw(signature(layout, unit.noise ^ day.date))
        .bytes;
}

QByteArray activityGen2(const VehicleUnit& unit, const Layout& layout, const Day& day) {
    const DayRecords parts(unit.generation, day);
    const bool v2 = layout.isVersion2;
    Writer writer;
    writer.raw(tag(layout.trepBase + Activities))
        .raw(single(DateOfDayDownloaded, Writer().u32(day.date).bytes))
        .raw(single(OdometerValueMidnight, Writer().u24(day.odometerMidnight).bytes))
        .raw(recordArray(VuCardIWRecord, 131, static_cast<int>(day.cardRecords.size()),
                         parts.cards()))
        .raw(recordArray(ActivityChangeInfo, 2, day.activityChanges, parts.activityChanges()))
        .raw(recordArray(VuPlaceDailyWorkPeriodRecord, v2 ? 41 : 40, day.places, parts.places()))
        .raw(recordArray(VuGNSSADRecord, v2 ? 57 : 56, day.gnssPositions, parts.gnssPositions()))
        .raw(recordArray(SpecificConditionRecord, 5, day.specificConditions,
                         parts.specificConditions()));
    if (v2)
        writer
            .raw(recordArray(VuBorderCrossingRecord, 55, day.borderCrossings,
                             parts.borderCrossings()))
            .raw(recordArray(VuLoadUnloadRecord, 58, day.loadOperations, parts.loadOperations()));
    return writer.raw(signature(layout, unit.noise ^ day.date)).bytes;
}

} // namespace

QByteArray cardRecord(Generation generation, const CardRecord& record) {
    const Layout& layout = layoutOf(generation);
    Writer writer;
    writer.bytes.reserve(131);
    writer.raw(textField(record.surname, 36, record.codePage))
        .raw(textField(record.firstNames, 36, record.codePage))
        .raw(cardId(layout, Driver, record.cardNumber))
        .u32(startOf2030)
        .u32(record.insertionTime)
        .u24(record.odometerAtInsertion)
        .u8(record.slot)
        .u32(record.withdrawalTime)
        .u24(record.odometerAtWithdrawal)
        .raw(registration("ZZ 999 ZZ", 1))
        .u32(record.insertionTime > 43200 ? record.insertionTime - 43200 : 0);
    if (layout.isSecond)
        writer.u8(2);
    return writer.u8(0).bytes;
}

QByteArray overviewBlock(const VehicleUnit& unit) {
    const Layout& layout = layoutOf(unit.generation);
    return layout.isSecond ? overviewGen2(unit, layout) : overviewGen1(unit, layout);
}

QByteArray activityBlock(const VehicleUnit& unit, const Day& day) {
    const Layout& layout = layoutOf(unit.generation);
    return layout.isSecond ? activityGen2(unit, layout, day) : activityGen1(unit, layout, day);
}

QByteArray vehicleUnitFile(const VehicleUnit& unit) {
    QByteArray bytes = overviewBlock(unit);
    for (const Day& day : unit.days)
        bytes.append(activityBlock(unit, day));
    if (unit.furtherBlocks)
        bytes.append(furtherBlocks(unit));
    return bytes + unit.trailer;
}

} // namespace samples
