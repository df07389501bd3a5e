#include "samples/writer.h"

#include <QtCore/QDateTime>

#include <algorithm>
#include <array>

namespace samples {

namespace {

constexpr std::uint32_t newestDownload = 1710491400; // 2024-03-15 08:30 UTC
constexpr std::uint32_t minutesBetweenFiles = 31;    // so 100000 files reach back to 2018

struct Holder {
    const char* surname; // in the code page
    const char* firstNames;
    unsigned char codePage;
    const char* fileName; // how a download tool would write the name in plain letters
};

constexpr std::array<Holder, 6> holders = {{
    {"Sample", "Jo", 1, "J_SAMPLE"},
    {"Beispiel", "K\xE4the", 1, "K_BEISPIEL"},
    {"Tester", "Robin Alex", 1, "R_TESTER"},
    {"Vzorov\xE1", "\xAEofie", 2, "Z_VZOROVA"},
    {"\xBE\xD1\xE0\xD0\xD7\xD5\xE6", "\xB2\xD5\xE0\xD0", 5, "V_OBRAZETS"},
    {"Placeholder", "Pat", 1, "P_PLACEHOLDER"},
}};

const Holder& holderOf(std::uint32_t index) {
    return holders[index % holders.size()];
}

QByteArray cardNumber(std::uint32_t index) {
    return "DF" + QByteArray::number(index + 1).rightJustified(12, '0', true) + "00";
}

// A plate of its own for each of 100000 vehicles, and the same in plain letters for the file name.
struct Plate {
    QByteArray text;
    QByteArray fileName;
};

Plate plateOf(std::uint32_t index) {
    static constexpr std::array<std::array<const char*, 2>, 4> districts = {
        {{"AB", "AB"}, {"M\xDC", "MU"}, {"KX", "KX"}, {"ZT", "ZT"}}};
    const auto& district = districts[index % districts.size()];
    const QByteArray digits = QByteArray::number(100 + index % 900);
    const std::uint32_t series = index / 900;
    QByteArray letters("CD");
    letters[0] = static_cast<char>('A' + (series / 26 + 2) % 26);
    letters[1] = static_cast<char>('A' + (series + 3) % 26);
    return {district[0] + (' ' + digits + ' ' + letters), district[1] + digits + letters};
}

QString stamp(std::uint32_t time, const char* format) {
    return QDateTime::fromSecsSinceEpoch(time, Qt::UTC).toString(QLatin1String(format));
}

// Every shape that a download's name can have; in the shapes with ten digits the year has two.
QString vehicleFileName(std::uint32_t index, const QByteArray& plateBytes, std::uint32_t time) {
    const QString plate = QString::fromLatin1(plateBytes);
    const QString underscored = stamp(time, "yyyyMMdd_hhmm");
    const QString tenDigits = stamp(time, "yyMMddhhmm");
    switch (index % 8) {
    case 0:
        return QStringLiteral("M_%1_%2.DDD").arg(underscored, plate);
    case 1:
        return QStringLiteral("V_%1_%2.TGD").arg(plate, underscored);
    case 2:
        return QStringLiteral("%1_%2.V1B").arg(plate, tenDigits);
    case 3:
        return QStringLiteral("%1_%2.V1C").arg(plate, tenDigits);
    case 4: // 34 bytes and more: the year has four digits
        return QStringLiteral("%1_FLEETDEPOT_%2.A1B").arg(plate, stamp(time, "yyyyMMddhhmm"));
    case 5: // 33 bytes
        return QStringLiteral("%1_FLEETDEPOT_%2.A1C").arg(plate, tenDigits);
    case 6:
        return QStringLiteral("S_%1_%2.DDD").arg(underscored, plate);
    default:
        return QStringLiteral("S_%1_%2.TGD").arg(plate, underscored);
    }
}

QString cardFileName(std::uint32_t index, const Card& card, std::uint32_t time) {
    const QString name = QLatin1String(holderOf(index).fileName) + QLatin1Char('_') +
                         QString::fromLatin1(card.cardNumber);
    switch (index % 4) {
    case 0:
        return QStringLiteral("C_%1_%2.DDD").arg(stamp(time, "yyyyMMdd_hhmm"), name);
    case 1:
        return QStringLiteral("C_%1_%2.TGD").arg(name, stamp(time, "yyyyMMdd_hhmm"));
    case 2:
        return QStringLiteral("%1_%2.C1B").arg(name, stamp(time, "yyMMddhhmm"));
    default:
        return QStringLiteral("%1_%2.C1C").arg(name, stamp(time, "yyMMddhhmm"));
    }
}

KeyFile vehicleFile(const KeyOptions& options, std::uint32_t index) {
    static constexpr std::array<Generation, 3> generations = {Generation::Gen1, Generation::Gen2V1,
                                                              Generation::Gen2V2};
    const Plate plate = plateOf(index);
    VehicleUnit unit;
    unit.generation = generations[index % generations.size()];
    unit.plate = plate.text;
    unit.vin = "ZZZZZZ" + QByteArray::number(index + 1).rightJustified(11, '0');
    unit.downloadTime = newestDownload - index * minutesBetweenFiles * 60;
    unit.companyLocks = 2;
    unit.controlActivities = 1;
    unit.noise = options.seed * 200003U + index;
    unit.days = realisticDays(unit.generation, options.days, options.records, unit.downloadTime,
                              unit.noise);
    return {vehicleFileName(index, plate.fileName, unit.downloadTime), vehicleUnitFile(unit)};
}

KeyFile driverFile(const KeyOptions& options, std::uint32_t index) {
    const Holder& holder = holderOf(index);
    const std::uint32_t time = newestDownload - (index * minutesBetweenFiles + 12) * 60;
    Card card;
    card.type = index % 6 == 4 ? 2 : index % 6 == 5 ? 4 : 1;
    card.generation = (index + index / 4) % 2 == 0 ? 2 : 1;
    card.cardNumber = cardNumber(index);
    card.cardNumber[1] = card.type == 2 ? 'W' : card.type == 4 ? 'C' : 'F';
    card.surname = holder.surname;
    card.firstNames = holder.firstNames;
    card.codePage = holder.codePage;
    card.throughVehicleUnit = index % 5 == 3;
    card.issueTime = (time / secondsPerDay - 60) * secondsPerDay;
    card.noise = options.seed * 200017U + index;
    return {cardFileName(index, card, time), cardFile(card)};
}

// The card insertions of one day, one after the other from five in the morning on. Every fourth is
// a co-driver's.
std::vector<CardRecord> insertions(const Day& day, int count, std::uint32_t kilometres,
                                   std::uint32_t firstHolder) {
    std::vector<CardRecord> records;
    records.reserve(static_cast<std::size_t>(count));
    const std::uint32_t total = static_cast<std::uint32_t>(count);
    const std::uint32_t turn = std::max(1U, 57600 / std::max(total, 1U));
    for (std::uint32_t i = 0; i < total; ++i) {
        const std::uint32_t person = (firstHolder + i) % static_cast<std::uint32_t>(holders.size());
        const Holder& holder = holderOf(person);
        CardRecord record;
        record.surname = holder.surname;
        record.firstNames = holder.firstNames;
        record.codePage = holder.codePage;
        record.cardNumber = cardNumber(person);
        record.slot = i % 4 == 3 ? 1 : 0;
        record.insertionTime = day.date + 5 * 3600 + i * turn;
        record.withdrawalTime = record.insertionTime + turn * 9 / 10;
        record.odometerAtInsertion = day.odometerMidnight + kilometres * i / total;
        record.odometerAtWithdrawal = day.odometerMidnight + kilometres * (i + 1) / total;
        records.push_back(record);
    }
    return records;
}

} // namespace

std::vector<Day> realisticDays(Generation generation, int days, int recordsPerDay,
                               std::uint32_t lastDay, std::uint32_t seed) {
    Noise noise(seed);
    const std::uint32_t today = lastDay / secondsPerDay;
    const std::uint32_t wanted = std::min(static_cast<std::uint32_t>(std::max(days, 0)), today);
    std::uint32_t odometer = 100000 + noise.below(200000);
    std::vector<Day> result;
    result.reserve(wanted);
    for (std::uint32_t i = 0; i < wanted; ++i) {
        const std::uint32_t kilometres = 250 + noise.below(400);
        Day day;
        day.date = (today - wanted + i) * secondsPerDay;
        day.odometerMidnight = odometer;
        day.cardRecords =
            insertions(day, std::clamp(recordsPerDay, 0, 0xFFFF), kilometres, noise.below(6));
        day.activityChanges = static_cast<int>(60 + noise.below(31));
        day.places = static_cast<int>(2 + noise.below(3));
        day.specificConditions = static_cast<int>(noise.below(3));
        if (generation != Generation::Gen1)
            day.gnssPositions = static_cast<int>(4 + noise.below(5));
        if (generation == Generation::Gen2V2) {
            day.borderCrossings = static_cast<int>(noise.below(3));
            day.loadOperations = static_cast<int>(noise.below(4));
        }
        odometer += kilometres;
        result.push_back(day);
    }
    if (!result.empty() && !result.back().cardRecords.empty()) {
        CardRecord& last = result.back().cardRecords.back();
        last.withdrawalTime = absentTime;
        last.odometerAtWithdrawal = absentOdometer;
    }
    return result;
}

KeyFile sampleKeyFile(const KeyOptions& options, int index) {
    const auto number = static_cast<std::uint32_t>(index / 2);
    return index % 2 == 0 ? vehicleFile(options, number) : driverFile(options, number);
}

std::vector<KeyFile> sampleKey(const KeyOptions& options) {
    std::vector<KeyFile> files;
    files.reserve(2 * static_cast<std::size_t>(std::max(options.files, 0)));
    for (int index = 0; index < 2 * options.files; ++index)
        files.push_back(sampleKeyFile(options, index));
    return files;
}

} // namespace samples
