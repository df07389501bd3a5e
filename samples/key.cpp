#include "samples/fleet.h"
#include "samples/writer.h"

#include <QtCore/QDateTime>

#include <algorithm>
#include <array>

namespace samples {

namespace {

constexpr std::uint32_t newestDownload = 1710491400; // 2024-03-15 08:30 UTC

// A different plate for each of 100000 vehicles, and the same in plain letters for the file name.
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

// Every shape that a download's name can have. In a time of ten digits, the year has two.
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

QString cardFileName(std::uint32_t index, const QByteArray& holder, const QByteArray& cardNumber,
                     std::uint32_t time) {
    const QString name = QString::fromLatin1(holder + '_' + cardNumber);
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

Generation generationOf(std::uint32_t vehicle) {
    static constexpr std::array<Generation, 3> generations = {Generation::Gen1, Generation::Gen2V1,
                                                              Generation::Gen2V2};
    return generations[vehicle % generations.size()];
}

// The vehicles of sixteen teams are downloaded each day, five minutes apart.
std::uint32_t downloadTimeOf(std::uint32_t vehicle) {
    constexpr std::uint32_t vehiclesPerMorning = 16 * vehiclesPerTeam;
    return newestDownload - vehicle / vehiclesPerMorning * secondsPerDay -
           vehicle % vehiclesPerMorning * 5 * 60;
}

VehicleUnit vehicleUnit(const KeyOptions& options, std::uint32_t vehicle) {
    VehicleUnit unit;
    unit.generation = generationOf(vehicle);
    unit.plate = plateOf(vehicle).text;
    unit.vin = "ZZZZZZ" + QByteArray::number(vehicle + 1).rightJustified(11, '0');
    unit.downloadTime = downloadTimeOf(vehicle);
    unit.companyLocks = 2;
    unit.controlActivities = 1;
    unit.noise = options.seed * 200003U + vehicle;
    unit.days = vehicleDays(options, unit.generation, vehicle, unit.downloadTime);
    return unit;
}

QString vehicleFileName(std::uint32_t vehicle, const VehicleUnit& unit) {
    return vehicleFileName(vehicle, plateOf(vehicle).fileName, unit.downloadTime);
}

// The cards of four drivers, a workshop and a company of each team are on the key.
KeyFile cardFileOf(const KeyOptions& options, std::uint32_t index) {
    const std::uint32_t member = index % vehiclesPerTeam;
    const Person person = driverOf(index / vehiclesPerTeam, member);
    const std::uint32_t time = downloadTimeOf(index) - 12 * 60;
    Card card;
    card.type = member == 4 ? 2 : member == 5 ? 4 : 1;
    card.generation = (index + index / 4) % 2 == 0 ? 2 : 1;
    card.cardNumber = person.cardNumber;
    card.cardNumber[1] = card.type == 2 ? 'W' : card.type == 4 ? 'C' : 'F';
    card.surname = person.surname;
    card.firstNames = person.firstNames;
    card.codePage = person.codePage;
    card.throughVehicleUnit = index % 5 == 3;
    card.issueTime = (time / secondsPerDay - 60) * secondsPerDay;
    card.noise = options.seed * 200017U + index;
    return {cardFileName(index, person.plainName, card.cardNumber, time), cardFile(card)};
}

// Cuts a download's days at a time in the past. What happens later is not recorded yet, and a card
// that is in the vehicle at that time is not withdrawn.
void cutDays(std::vector<Day>& days, std::uint32_t time) {
    days.erase(
        std::remove_if(days.begin(), days.end(), [&](const Day& day) { return day.date > time; }),
        days.end());
    for (Day& day : days) {
        auto& records = day.cardRecords;
        records.erase(
            std::remove_if(records.begin(), records.end(),
                           [&](const CardRecord& record) { return record.insertionTime > time; }),
            records.end());
        for (CardRecord& record : records) {
            if (record.withdrawalTime <= time)
                continue;
            record.withdrawalTime = absentTime;
            record.odometerAtWithdrawal = absentOdometer;
        }
    }
}

// An older download of the first vehicle. Most of its days are also in the newer one.
KeyFile overlappingFile(const KeyOptions& options) {
    VehicleUnit unit = vehicleUnit(options, 0);
    const auto back = static_cast<std::uint32_t>(std::clamp(options.days, 1, 3));
    unit.downloadTime = (unit.downloadTime / secondsPerDay - back) * secondsPerDay + 12 * 3600;
    cutDays(unit.days, unit.downloadTime);
    return {vehicleFileName(0, unit), vehicleUnitFile(unit)};
}

// A download that ends in the middle of its last day, as when the key was pulled out too early.
KeyFile cutFile(const KeyOptions& options) {
    const auto vehicle = static_cast<std::uint32_t>(options.files);
    VehicleUnit unit = vehicleUnit(options, vehicle);
    unit.furtherBlocks = false;
    QByteArray bytes = vehicleUnitFile(unit);
    bytes.chop(unit.days.empty() ? signatureSizeGen1 + 40 : signatureSizeGen1 + 4);
    return {vehicleFileName(vehicle, unit), bytes};
}

} // namespace

KeyFile sampleKeyFile(const KeyOptions& options, int index) {
    const auto number = static_cast<std::uint32_t>(index / 2);
    if (index % 2 != 0)
        return cardFileOf(options, number);
    const VehicleUnit unit = vehicleUnit(options, number);
    return {vehicleFileName(number, unit), vehicleUnitFile(unit)};
}

std::vector<KeyFile> oddFiles(const KeyOptions& options) {
    if (!options.oddities)
        return {};
    const QByteArray picture =
        QByteArray::fromHex("FFD8FFE000104A46494600010100000100010000") + Noise(1).bytes(2000);
    return {overlappingFile(options),
            cutFile(options),
            {QStringLiteral("V_HOLIDAY_20240311_1816.TGD"), picture},
            {QStringLiteral("M_20241315_0830_AB100CD.DDD"), "There is no month 13."},
            {QStringLiteral("BACKUP.DDD"), "This name has no time."},
            {QStringLiteral("README.TXT"), "This is not a download.\n"}};
}

std::vector<KeyFile> sampleKey(const KeyOptions& options) {
    std::vector<KeyFile> files;
    files.reserve(2 * static_cast<std::size_t>(options.files));
    for (int index = 0; index < 2 * options.files; ++index)
        files.push_back(sampleKeyFile(options, index));
    for (KeyFile& file : oddFiles(options))
        files.push_back(std::move(file));
    return files;
}

} // namespace samples
