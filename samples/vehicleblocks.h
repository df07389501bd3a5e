// What the blocks of a vehicle-unit download share: each generation's layout, the types of record
// arrays, cards in records, and the writers of arrays and signatures. Only for use within this
// folder.
#pragma once

#include "samples/writer.h"

namespace samples {

// The parts of a download: the last digit of their TREP.
enum Block : unsigned { Overview = 1, Activities = 2, EventsAndFaults = 3, Technical = 5 };

// RecordType of the second generation's arrays.
enum RecordType : unsigned char {
    ActivityChangeInfo = 0x01,
    CardSlotsStatus = 0x02,
    CurrentDateTime = 0x03,
    MemberStateCertificate = 0x04,
    OdometerValueMidnight = 0x05,
    DateOfDayDownloaded = 0x06,
    Signature = 0x08,
    SpecificConditionRecord = 0x09,
    VehicleIdentificationNumber = 0x0A,
    VehicleRegistrationNumber = 0x0B,
    VuCalibrationRecord = 0x0C,
    VuCardIWRecord = 0x0D,
    VuCardRecord = 0x0E,
    VuCertificate = 0x0F,
    VuCompanyLocksRecord = 0x10,
    VuControlActivityRecord = 0x11,
    VuDetailedSpeedBlock = 0x12,
    VuDownloadablePeriod = 0x13,
    VuDownloadActivityData = 0x14,
    VuEventRecord = 0x15,
    VuGNSSADRecord = 0x16,
    VuITSConsentRecord = 0x17,
    VuFaultRecord = 0x18,
    VuIdentification = 0x19,
    VuOverSpeedingControlData = 0x1A,
    VuOverSpeedingEventRecord = 0x1B,
    VuPlaceDailyWorkPeriodRecord = 0x1C,
    VuTimeAdjustmentRecord = 0x1E,
    VuPowerSupplyInterruptionRecord = 0x1F,
    SensorPairedRecord = 0x20,
    SensorExternalGNSSCoupledRecord = 0x21,
    VuBorderCrossingRecord = 0x22,
    VuLoadUnloadRecord = 0x23,
    VehicleRegistrationIdentification = 0x24,
};

// What differs between the generations.
struct Layout {
    unsigned trepBase;
    unsigned detailedSpeedTrep; // version 2 has that of version 1
    bool isSecond;              // record arrays, and cards with their generation
    bool isVersion2;            // authenticated positions, border crossings and loads
};

const Layout& layoutOf(Generation generation);

QByteArray tag(unsigned trep);

// FullCardNumber (18 bytes), in the second generation FullCardNumberAndGeneration (19).
QByteArray cardId(const Layout& layout, CardType type, const QByteArray& number);
QByteArray emptySlot(const Layout& layout);

// The card in the driver's slot on a day, as far as the samples are concerned.
QByteArray driverOn(const Layout& layout, const Day& day);

// The signature of a block, an array of its own in the second generation.
QByteArray signature(const Layout& layout, std::uint32_t noise);

QByteArray single(RecordType type, const QByteArray& record);

// Records that one function builds from their index.
template <typename Record>
QByteArray records(int count, const Record& record) {
    QByteArray bytes;
    for (int i = 0; i < count; ++i)
        bytes.append(record(i));
    return bytes;
}

// An array of such records. An empty one names its record size, too.
template <typename Record>
QByteArray array(RecordType type, int recordSize, int count, const Record& record) {
    return recordArray(type, recordSize, count, records(count, record));
}

} // namespace samples
