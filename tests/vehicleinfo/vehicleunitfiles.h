// Vehicle-unit files of exactly known layout, loading them, and results in a form that a test's
// table can hold. The samples have the regulation's sizes; the files here are as small as the
// parsers allow, and whatever a parser has no business with is 0xEE.
#pragma once

#include "downloadkey/vehicleinfo.h"
#include "samples/samples.h"
#include "tests/support/memoryfile.h"
#include "tests/support/table.h"

#include <QtCore/QRegularExpression>
#include <QtCore/QVector>

#include <memory>
#include <vector>

Q_DECLARE_METATYPE(samples::Generation)

using downloadkey::VehicleInfo;
using samples::Generation;

constexpr Generation generations[] = {Generation::Gen1, Generation::Gen2V1, Generation::Gen2V2};

inline QByteArray filler(int size) {
    return QByteArray(size, '\xEE');
}

inline QByteArray bigEndian(quint32 value, int size) {
    return QByteArray::fromHex(QByteArray::number(value, 16).rightJustified(2 * size, '0'));
}

inline std::unique_ptr<VehicleInfo> load(const QByteArray& bytes) {
    MemoryFile file(bytes);
    return std::make_unique<VehicleInfo>(file);
}

// The text of an error, empty for success. Every error of this class has one form.
inline QString failure(const aux::Error& error) {
    static const QRegularExpression form(QStringLiteral("^libdownloadkey\\|([^|]*)\\|0$"));
    return textOf(error).replace(form, QStringLiteral("\\1"));
}

// "holder name|insertion time|odometer|slot|withdrawal time|odometer" for each activity; times in
// seconds since 1970 UTC.
inline QStringList activities(const VehicleInfo& info) {
    QStringList list;
    for (const auto& activity : info.getDriverActivities())
        list << QStringLiteral("%1|%2|%3|%4|%5|%6")
                    .arg(activity.holderName)
                    .arg(activity.insertionTime.toSecsSinceEpoch())
                    .arg(activity.odometerAtInsertion)
                    .arg(activity.slot)
                    .arg(activity.withdrawalTime.toSecsSinceEpoch())
                    .arg(activity.odometerAtWithdrawal);
    return list;
}

// `values` are the insertion time, odometer, slot, withdrawal time and odometer.
inline QByteArray rawRecord(Generation gen, const QByteArray& values,
                            const QByteArray& surname = samples::textField("S", 36),
                            const QByteArray& firstNames = samples::textField("F", 36)) {
    const int ignored = gen == Generation::Gen1 ? 20 : 21;
    return surname + firstNames + filler(ignored + 2) + values + filler(ignored);
}

// A record that activities() shows as "F, S|time|odometer|0|0|0".
inline QByteArray recordAt(Generation gen, quint32 time, quint32 odometer = 0) {
    return rawRecord(gen, bigEndian(time, 4) + bigEndian(odometer, 3) + QByteArray(8, '\0'));
}

// First generation.

inline QByteArray gen1Overview(int companyLocks = 0, int controlActivities = 0,
                               const QByteArray& plate = samples::textField("AB 123 CD", 14)) {
    return QByteArray("\x76\x01") + filler(406) + plate + filler(71) +
           static_cast<char>(companyLocks) + filler(98 * companyLocks) +
           static_cast<char>(controlActivities) + filler(31 * controlActivities) + filler(128);
}

inline QByteArray gen1Day(const QByteArray& records, int changes = 0, int places = 0,
                          int conditions = 0) {
    return QByteArray("\x76\x02") + filler(7) + bigEndian(quint32(records.size() / 129), 2) +
           records + bigEndian(quint32(changes), 2) + filler(2 * changes) +
           bigEndian(quint32(places), 1) + filler(28 * places) + bigEndian(quint32(conditions), 2) +
           filler(5 * conditions) + filler(128);
}

// Second generation: blocks, array by array, so that a test can spoil each of them.

struct Array {
    unsigned char type;
    int recordSize;
    int count;
    QByteArray records;
};
using Block = std::vector<Array>;

// The arrays of an overview (`trep` is 1) with this plate or of a day (2) with these card records.
// The overview's first alone makes the file large enough to be looked at.
inline Block gen2Arrays(Generation gen, int trep,
                        const QByteArray& content = samples::textField("AB 123 CD", 14)) {
    static const char* const types[2][2] = {
        {"04 0F 0A 0B 03 13 02 14 10 11 08", "06 05 0D 01 1C 16 09 08"},
        {"04 0F 0A 24 03 13 02 14 10 11 08", "06 05 0D 01 1C 16 09 22 23 08"}};
    const int nation = gen == Generation::Gen2V2 ? 1 : 0;
    Block arrays;
    for (const char type : QByteArray::fromHex(types[nation][trep - 1]))
        arrays.push_back({static_cast<unsigned char>(type), 3, 2, filler(6)});
    if (trep == 1) {
        arrays[0] = {0x04, 700, 1, filler(700)};
        arrays[3] = {arrays[3].type, 14 + nation, 1, filler(nation) + content};
    } else {
        arrays[2] = {0x0D, 131, content.size() / 131, content};
    }
    return arrays;
}

inline QByteArray bytesOf(Generation gen, int trep, const Block& arrays) {
    QByteArray bytes("\x76");
    bytes.append(static_cast<char>((gen == Generation::Gen2V2 ? 0x30 : 0x20) + trep));
    for (const Array& array : arrays)
        bytes += samples::recordArray(array.type, array.recordSize, array.count, array.records);
    return bytes;
}

// A whole file of any generation with the raw card records of each day, and what a
// second-generation file must have behind its last block.
inline QByteArray fileOf(Generation gen, const QVector<QByteArray>& days,
                         const QByteArray& plate = samples::textField("AB 123 CD", 14)) {
    const bool first = gen == Generation::Gen1;
    QByteArray bytes =
        first ? gen1Overview(0, 0, plate) : bytesOf(gen, 1, gen2Arrays(gen, 1, plate));
    for (const QByteArray& records : days)
        bytes += first ? gen1Day(records) : bytesOf(gen, 2, gen2Arrays(gen, 2, records));
    return bytes + QByteArray("\x76\x7F\x00", 3);
}
