#include "samples/furtherblocks.h"

#include "samples/vehicleblocks.h"

#include <algorithm>

namespace samples {

namespace {

enum EventFaultType : unsigned {
    DrivingWithoutAppropriateCard = 0x04,
    OverSpeeding = 0x07,
    PowerSupplyInterruption = 0x08,
    SensorFault = 0x35,
};

enum EventFaultRecordPurpose : unsigned {
    OneOfTenMostRecent = 0x00,
    LongestOfDay = 0x01,
    MostSeriousOfDay = 0x04,
};

constexpr unsigned calibrationAtInstallation = 0x03;

// The blocks after the activities: a handful of events, twenty minutes of speeds per day, one
// calibration.
class FurtherBlocks {
public:
    explicit FurtherBlocks(const VehicleUnit& unit)
        : m_unit(unit)
        , m_layout(layoutOf(unit.generation))
        , m_speedBlocks(static_cast<int>(std::min<std::size_t>(unit.days.size() * 20, 1440)))
        , m_driver(unit.days.empty() ? emptySlot(m_layout)
                                     : driverOn(m_layout, unit.days.front())) {}

    QByteArray bytes() const {
        return m_layout.isSecond ? eventsGen2() + speedGen2() + technicalGen2()
                                 : eventsGen1() + speedGen1() + technicalGen1();
    }

private:
    static constexpr int faultCount = 2, eventCount = 5, overspeedCount = 3, calibrationCount = 1;

    std::uint32_t timeOf(int index) const {
        const std::uint32_t back = static_cast<std::uint32_t>(index + 1) * 7200;
        return m_unit.downloadTime > back ? m_unit.downloadTime - back : 0;
    }
    QByteArray end(unsigned trep) const { return signature(m_layout, m_unit.noise ^ trep); }

    // How the records of faults, events and power interruptions begin.
    QByteArray incident(EventFaultType type, EventFaultRecordPurpose purpose, int index) const {
        return Writer().u8(type).u8(purpose).u32(timeOf(index)).u32(timeOf(index) + 300).bytes;
    }
    // Faults and events name the cards in both slots at the beginning, and then at the end.
    QByteArray cardsAtBeginAndEnd() const {
        const QByteArray nobody = emptySlot(m_layout);
        return m_driver + nobody + m_driver + nobody;
    }
    QByteArray maker() const {
        return m_layout.isSecond ? Writer().u8(manufacturer).u24(0).bytes : QByteArray();
    }
    QByteArray fault(int index) const {
        return incident(SensorFault, OneOfTenMostRecent, index) + cardsAtBeginAndEnd() + maker();
    }
    QByteArray event(int index) const {
        return incident(DrivingWithoutAppropriateCard, LongestOfDay, index) + cardsAtBeginAndEnd() +
               Writer().u8(1).bytes + maker();
    }
    // Here both times of one slot come before those of the other.
    QByteArray powerInterruption() const {
        const QByteArray nobody = emptySlot(m_layout);
        return incident(PowerSupplyInterruption, LongestOfDay, 0) + m_driver + m_driver + nobody +
               nobody + Writer().u8(1).bytes;
    }
    QByteArray overspeedControl() const {
        return Writer().u32(timeOf(9)).u32(timeOf(8)).u8(overspeedCount).bytes;
    }
    QByteArray overspeed(int index) const {
        return Writer()
            .u8(OverSpeeding)
            .u8(MostSeriousOfDay)
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
            .raw(cardId(m_layout, Workshop, "DW00000000000800"))
            .bytes;
    }
    QByteArray speedBlock(int index) const {
        Writer writer;
        writer.u32(timeOf(0) / 60 * 60 + static_cast<std::uint32_t>(index) * 60);
        for (int second = 0; second < 60; ++second)
            writer.u8(static_cast<std::uint32_t>(60 + (index + second) % 25));
        return writer.bytes;
    }

    QByteArray serialNumber(EquipmentType type) const {
        return extendedSerialNumber(1000 + m_unit.noise, type);
    }
    QByteArray approvalNumber() const {
        return Writer().ascii("e1-0000", m_layout.isSecond ? 16 : 8).bytes;
    }
    QByteArray identification() const {
        Writer writer;
        writer.raw(textField("Sample Instruments", 36))
            .raw(textField("3 Example Road, Sampleton", 36))
            .ascii("SAMPLE-PART-1", 16)
            .raw(serialNumber(EquipmentType::VehicleUnit))
            .ascii("0100", 4)
            .u32(startOf2020)
            .u32(startOf2020 - 31 * secondsPerDay)
            .raw(approvalNumber());
        if (m_layout.isSecond)
            writer.u8(2).u8(0); // its generation; it also accepts first-generation cards
        if (m_layout.isVersion2)
            writer.ascii("MAP 2024.01", 12);
        return writer.bytes;
    }
    QByteArray sensor(EquipmentType type) const {
        return Writer().raw(serialNumber(type)).raw(approvalNumber()).u32(startOf2020).bytes;
    }
    // Here the workshop's card is without its generation in every version.
    QByteArray calibration(int) const {
        Writer writer;
        writer.u8(calibrationAtInstallation)
            .raw(workshop())
            .raw(cardId(layoutOf(Generation::Gen1), Workshop, "DW00000000000800"))
            .u32(startOf2030)
            .ascii(m_unit.vin, 17)
            .raw(registration(m_unit.plate, m_unit.plateCodePage));
        writer.u16(8000).u16(8000).u16(3200).ascii("315/80 R22.5", 15).u8(90);
        writer.u24(100000)
            .u24(100000)
            .u32(startOf2020)
            .u32(startOf2020)
            .u32(startOf2022 - secondsPerDay);
        if (m_layout.isVersion2)
            writer.raw(serialNumber(EquipmentType::MotionSensor))
                .raw(serialNumber(EquipmentType::ExternalGnss))
                .raw(serialNumber(EquipmentType::RemoteCommunication));
        if (m_layout.isSecond)
            writer.raw(records(5, [](int i) {
                return Writer()
                    .u8(static_cast<unsigned>(EquipmentType::MotionSensor))
                    .u16(0x5341)
                    .ascii("SEAL" + QByteArray::number(i), 8)
                    .bytes;
            }));
        if (m_layout.isVersion2)
            writer.u8(1).u8(nation).u32(startOf2020);
        return writer.bytes;
    }
    QByteArray cardUsed(int) const {
        return Writer()
            .raw(m_driver)
            .raw(serialNumber(EquipmentType::DriverCard))
            .u16(0x0101)
            .raw(m_driver.mid(2, 16))
            .bytes;
    }

    QByteArray eventsGen1() const {
        return Writer()
            .raw(tag(m_layout.trepBase + EventsAndFaults))
            .u8(faultCount)
            .raw(records(faultCount, [&](int i) { return fault(i); }))
            .u8(eventCount)
            .raw(records(eventCount, [&](int i) { return event(i); }))
            .raw(overspeedControl())
            .u8(overspeedCount)
            .raw(records(overspeedCount, [&](int i) { return overspeed(i); }))
            .u8(1)
            .raw(timeAdjustment(0))
            .raw(end(EventsAndFaults))
            .bytes;
    }
    QByteArray speedGen1() const {
        return Writer()
            .raw(tag(m_layout.detailedSpeedTrep))
            .u16(static_cast<std::uint32_t>(m_speedBlocks))
            .raw(records(m_speedBlocks, [&](int i) { return speedBlock(i); }))
            .raw(end(m_layout.detailedSpeedTrep))
            .bytes;
    }
    QByteArray technicalGen1() const {
        return Writer()
            .raw(tag(m_layout.trepBase + Technical))
            .raw(identification())
            .raw(sensor(EquipmentType::MotionSensor))
            .u8(calibrationCount)
            .raw(calibration(0))
            .raw(end(Technical))
            .bytes;
    }
    QByteArray eventsGen2() const {
        return tag(m_layout.trepBase + EventsAndFaults) +
               array(VuFaultRecord, 90, faultCount, [&](int i) { return fault(i); }) +
               array(VuEventRecord, 91, eventCount, [&](int i) { return event(i); }) +
               single(VuOverSpeedingControlData, overspeedControl()) +
               array(VuOverSpeedingEventRecord, 32, overspeedCount,
                     [&](int i) { return overspeed(i); }) +
               single(VuTimeAdjustmentRecord, timeAdjustment(0)) + end(EventsAndFaults);
    }
    QByteArray speedGen2() const {
        return tag(m_layout.detailedSpeedTrep) +
               array(VuDetailedSpeedBlock, 64, m_speedBlocks,
                     [&](int i) { return speedBlock(i); }) +
               end(m_layout.detailedSpeedTrep);
    }
    QByteArray technicalGen2() const {
        return tag(m_layout.trepBase + Technical) + single(VuIdentification, identification()) +
               single(SensorPairedRecord, sensor(EquipmentType::MotionSensor)) +
               single(SensorExternalGNSSCoupledRecord, sensor(EquipmentType::ExternalGnss)) +
               array(VuCalibrationRecord, m_layout.isVersion2 ? 252 : 222, calibrationCount,
                     [&](int i) { return calibration(i); }) +
               array(VuCardRecord, 45, 1, [&](int i) { return cardUsed(i); }) +
               single(VuITSConsentRecord, m_driver + Writer().u8(1).bytes) +
               single(VuPowerSupplyInterruptionRecord, powerInterruption()) + end(Technical);
    }

    const VehicleUnit& m_unit;
    const Layout& m_layout;
    int m_speedBlocks;
    QByteArray m_driver;
};

} // namespace

QByteArray furtherBlocks(const VehicleUnit& unit) {
    return FurtherBlocks(unit).bytes();
}

} // namespace samples
