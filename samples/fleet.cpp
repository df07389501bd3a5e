#include "samples/fleet.h"

#include "samples/writer.h"

#include <QtCore/QTextCodec>

#include <algorithm>
#include <array>
#include <optional>

namespace samples {

namespace {

constexpr std::uint32_t minute = 60;
constexpr std::uint32_t hour = 3600;

// The last two of a team's eight drivers have no vehicle of their own.
constexpr std::uint32_t driversPerTeam = 8;
constexpr std::uint32_t relief = 6;    // replaces whoever is absent, or drives along
constexpr std::uint32_t lateShift = 7; // takes over one of the vehicles in the afternoon

struct Name {
    unsigned char codePage;
    const char16_t* surname;
    const char16_t* firstNames;
    const char* plain;
};

// The surnames mean "sample" or "example".
constexpr std::array<Name, 32> names = {{
    {1, u"Sample", u"Jo", "J_SAMPLE"},          {1, u"Beispiel", u"Käthe", "K_BEISPIEL"},
    {7, u"Δείγμα", u"Ελένη", "E_DEIGMA"},       {2, u"Vzorová", u"Žofie", "Z_VZOROVA"},
    {5, u"Образец", u"Вера", "V_OBRAZETS"},     {1, u"Placeholder", u"Pat", "P_PLACEHOLDER"},
    {2, u"Przykład", u"Łucja", "L_PRZYKLAD"},   {1, u"Exemple", u"Zoé", "Z_EXEMPLE"},
    {1, u"Tester", u"Robin Alex", "R_TESTER"},  {5, u"Пример", u"Богдан", "B_PRIMER"},
    {1, u"Ejemplo", u"Íñigo", "I_EJEMPLO"},     {7, u"Παράδειγμα", u"Νίκος", "N_PARADEIGMA"},
    {1, u"Esempio", u"Nicolò", "N_ESEMPIO"},    {2, u"Példa", u"Ágnes", "A_PELDA"},
    {1, u"Voorbeeld", u"Joost", "J_VOORBEELD"}, {85, u"Зразок", u"Євген", "Y_ZRAZOK"},
    {1, u"Exempel", u"Åsa", "A_EXEMPEL"},       {2, u"Príklad", u"Ľuboš", "L_PRIKLAD"},
    {1, u"Prøve", u"Søren", "S_PROEVE"},        {9, u"Örnek", u"Işıl", "I_ORNEK"},
    {2, u"Primjer", u"Željka", "Z_PRIMJER"},    {13, u"Paraugs", u"Jānis", "J_PARAUGS"},
    {1, u"Amostra", u"João", "J_AMOSTRA"},      {7, u"Υπόδειγμα", u"Ξένια", "X_YPODEIGMA"},
    {13, u"Pavyzdys", u"Rūta", "R_PAVYZDYS"},   {1, u"Näide", u"Tõnu", "T_NAIDE"},
    {16, u"Exemplu", u"Ștefan", "S_EXEMPLU"},   {5, u"Образац", u"Ђорђе", "D_OBRAZAC"},
    {1, u"Esimerkki", u"Väinö", "V_ESIMERKKI"}, {80, u"Экземпляр", u"Юлия", "Y_EKZEMPLYAR"},
    {3, u"Eżempju", u"Ġorġ", "G_EZEMPJU"},      {1, u"Sampla", u"Órla", "O_SAMPLA"},
}};

QByteArray encoded(const QString& text, unsigned char codePage) {
    const QByteArray name = codePage == 80   ? QByteArray("KOI8-R")
                            : codePage == 85 ? QByteArray("KOI8-U")
                                             : "ISO 8859-" + QByteArray::number(codePage);
    return QTextCodec::codecForName(name)->fromUnicode(text);
}

// Distinguishes drivers of the same name: nothing for the first, then "A.", "B." and so on.
QString middleInitials(std::uint32_t namesakes) {
    QString initials;
    for (; namesakes > 0; namesakes = (namesakes - 1) / 26)
        initials += QStringLiteral(" %1.").arg(QLatin1Char(char('A' + (namesakes - 1) % 26)));
    return initials;
}

// A driver's time in a vehicle on one day, in seconds after midnight.
struct Shift {
    std::uint32_t driver = 0; // of the team
    std::uint32_t begin = 0;
    std::uint32_t end = 0;
};

struct DayPlan {
    std::vector<Shift> shifts; // in the driver's slot, one after the other
    std::optional<Shift> coDriver;
};

// Choices of one team or vehicle for one week or day.
Noise choices(std::uint32_t seed, std::uint32_t who, std::uint32_t when) {
    Noise noise(seed * 0x85EBCA6BU + who * 0xC2B2AE35U + when * 0x27D4EB2FU);
    for (int round = 0; round < 4; ++round)
        noise.next();
    return noise;
}

// A day with more insertions than this is only for measurements: nobody looks at it.
constexpr int plausibleRecords = 50;

// What a team agrees on for a week.
struct TeamWeek {
    explicit TeamWeek(Noise noise)
        : swaps(noise.next())
        , absent(noise.below(2 * vehiclesPerTeam))
        , twoShifts(noise.below(vehiclesPerTeam)) {}

    std::uint32_t driverAt(std::uint32_t place) const {
        const bool isSwapped = (swaps >> (8 + place / 2) & 1U) != 0;
        const std::uint32_t driver = isSwapped ? place ^ 1U : place;
        return driver == absent ? relief : driver;
    }

    std::uint32_t swaps;     // a bit for each pair of drivers who swap vehicles
    std::uint32_t absent;    // often nobody
    std::uint32_t twoShifts; // the vehicle that is driven on in the evening
};

DayPlan dayOfTwoShifts(std::uint32_t driver, Noise& noise) {
    const std::uint32_t begin = 4 * hour + 30 * minute + noise.below(hour);
    const std::uint32_t change = begin + 8 * hour + noise.below(hour);
    const std::uint32_t late = change + 10 * minute + noise.below(30 * minute);
    return {
        {{driver, begin, change}, {lateShift, late, late + 6 * hour + noise.below(100 * minute)}},
        {}};
}

DayPlan dayOfOneShift(std::uint32_t driver, bool isWeekend, bool hasCoDriver, Noise& noise) {
    const std::uint32_t begin = 4 * hour + 40 * minute + noise.below(4 * hour);
    const std::uint32_t end = begin + (isWeekend ? 4 * hour : 6 * hour + noise.below(6 * hour));
    DayPlan plan{{{driver, begin, end}}, {}};
    if (hasCoDriver)
        plan.coDriver = Shift{relief, begin + 40 + noise.below(200), end - 20};
    return plan;
}

// Days are counted from 1970.
DayPlan planOf(const KeyOptions& options, std::uint32_t vehicle, std::uint32_t day) {
    static constexpr std::array<std::uint32_t, 7> busyDaysOf32 = {31, 31, 31, 31, 30, 5, 1};
    const std::uint32_t team = vehicle / vehiclesPerTeam;
    const std::uint32_t place = vehicle % vehiclesPerTeam;
    const std::uint32_t weekday = (day + 3) % 7; // 0 is Monday
    Noise noise = choices(options.seed, vehicle, day);
    if (noise.below(32) >= busyDaysOf32[weekday] || options.records == 0)
        return {};

    const TeamWeek week(choices(options.seed, ~team, (day + 3) / 7));
    const std::uint32_t driver = week.driverAt(place);
    const bool isWeekend = weekday >= 5;
    if (options.records > plausibleRecords)
        return {{{driver, 4 * hour + 30 * minute, 23 * hour + 20 * minute}}, {}};
    if (place == week.twoShifts && !isWeekend)
        return dayOfTwoShifts(driver, noise);
    // The relief drives along if nobody is absent.
    const bool hasCoDriver = week.absent >= vehiclesPerTeam && options.records > 1 &&
                             choices(options.seed, ~team, day).below(8) == place;
    return dayOfOneShift(driver, isWeekend, hasCoDriver, noise);
}

// Adds `count` insertions of one card during a shift, with pauses between them. Their times differ
// unless there are more insertions than seconds.
void insertCard(std::vector<CardRecord>& records, const Person& person, const Shift& shift,
                std::uint32_t midnight, std::uint32_t count, Noise& noise) {
    const std::uint32_t length = shift.end - shift.begin;
    const std::uint32_t turn = length / count;
    std::uint32_t begin = shift.begin;
    for (std::uint32_t i = 1; i <= count; ++i) {
        const auto part = static_cast<std::uint32_t>(std::uint64_t{length} * i / count);
        const bool isLast = i == count;
        const std::uint32_t next = shift.begin + part + (isLast ? 0 : noise.below(turn / 3 + 1));
        const std::uint32_t pause =
            isLast ? 0 : std::min(15 * minute + noise.below(30 * minute), turn / 4);
        CardRecord record;
        record.surname = person.surname;
        record.firstNames = person.firstNames;
        record.codePage = person.codePage;
        record.cardNumber = person.cardNumber;
        record.insertionTime = midnight + begin;
        record.withdrawalTime = midnight + next - pause;
        records.push_back(record);
        begin = next;
    }
}

// Sets the odometer values of a day's insertions in the driver's slot. The first begins at
// `odometer`. Each gets a share of the kilometres that is proportional to its time.
void drive(std::vector<CardRecord>& records, std::uint32_t odometer, std::uint32_t kilometres) {
    std::uint64_t total = 0;
    for (const CardRecord& record : records)
        total += record.withdrawalTime - record.insertionTime;
    std::uint64_t driven = 0;
    const auto reading = [&] {
        return odometer + static_cast<std::uint32_t>(kilometres * driven / total);
    };
    for (CardRecord& record : records) {
        record.odometerAtInsertion = reading();
        driven += record.withdrawalTime - record.insertionTime;
        record.odometerAtWithdrawal = reading();
    }
}

// The vehicle's odometer value at a time, from the records of the driver's slot.
std::uint32_t odometerAt(const std::vector<CardRecord>& driven, std::uint32_t time) {
    std::uint32_t odometer = driven.front().odometerAtInsertion;
    for (const CardRecord& record : driven) {
        if (time >= record.withdrawalTime) {
            odometer = record.odometerAtWithdrawal;
        } else if (time > record.insertionTime) {
            const std::uint32_t way = record.odometerAtWithdrawal - record.odometerAtInsertion;
            return record.odometerAtInsertion + way * (time - record.insertionTime) /
                                                    (record.withdrawalTime - record.insertionTime);
        }
    }
    return odometer;
}

std::vector<CardRecord> recordsOf(const KeyOptions& options, std::uint32_t vehicle,
                                  const Day& day) {
    const DayPlan plan = planOf(options, vehicle, day.date / secondsPerDay);
    const auto shifts = static_cast<std::uint32_t>(plan.shifts.size());
    if (shifts == 0)
        return {};
    Noise noise = choices(options.seed, ~vehicle, day.date);
    const auto most = static_cast<std::uint32_t>(options.records);
    const std::uint32_t coDriven = plan.coDriver ? 1 : 0;
    std::uint32_t left = std::max(most - noise.below(most / 2 + 1), 1 + coDriven) - coDriven;
    const std::uint32_t team = vehicle / vehiclesPerTeam;
    std::vector<CardRecord> records;
    std::uint32_t seconds = 0;
    for (std::uint32_t i = 0; i < shifts; ++i) {
        const Shift& shift = plan.shifts[i];
        const std::uint32_t count = left / (shifts - i);
        left -= count;
        if (count == 0)
            continue;
        insertCard(records, driverOf(team, shift.driver), shift, day.date, count, noise);
        seconds += shift.end - shift.begin;
    }
    drive(records, day.odometerMidnight, seconds / 60 * (35 + noise.below(30)) / 60);
    if (!plan.coDriver)
        return records;
    std::vector<CardRecord> second;
    insertCard(second, driverOf(team, plan.coDriver->driver), *plan.coDriver, day.date, 1, noise);
    second[0].slot = 1;
    second[0].odometerAtInsertion = odometerAt(records, second[0].insertionTime);
    second[0].odometerAtWithdrawal = odometerAt(records, second[0].withdrawalTime);
    records.insert(records.begin() + 1, second[0]);
    return records;
}

// The driver's card stays in overnight: both days record it.
void keepCardOverNight(Day& evening, Day& morning) {
    auto& records = evening.cardRecords;
    const auto last = std::find_if(records.rbegin(), records.rend(),
                                   [](const CardRecord& record) { return record.slot == 0; });
    if (last == records.rend())
        return;
    last->withdrawalTime = morning.date + 4 * hour + 5 * minute;
    last->odometerAtWithdrawal = morning.odometerMidnight;
    morning.cardRecords.insert(morning.cardRecords.begin(), *last);
}

} // namespace

void addDetails(Day& day, Generation generation, Noise& noise) {
    if (day.cardRecords.empty()) {
        day.activityChanges = 1;
        return;
    }
    day.activityChanges = static_cast<int>(60 + noise.below(31));
    day.places = static_cast<int>(2 + noise.below(3));
    day.specificConditions = static_cast<int>(noise.below(3));
    switch (generation) {
    case Generation::Gen2V2:
        day.borderCrossings = static_cast<int>(noise.below(3));
        day.loadOperations = static_cast<int>(noise.below(4));
        [[fallthrough]];
    case Generation::Gen2V1:
        day.gnssPositions = static_cast<int>(4 + noise.below(5));
        break;
    case Generation::Gen1:
        break;
    }
}

Person driverOf(std::uint32_t team, std::uint32_t number) {
    const std::uint32_t index = team * driversPerTeam + number;
    const auto count = static_cast<std::uint32_t>(names.size());
    const Name& name = names[index % count];
    const QString firstNames = QString::fromUtf16(name.firstNames) + middleInitials(index / count);
    return {encoded(QString::fromUtf16(name.surname), name.codePage),
            encoded(firstNames, name.codePage), name.codePage, name.plain,
            "DF" + QByteArray::number(index + 1).rightJustified(12, '0') + "00"};
}

std::vector<Day> vehicleDays(const KeyOptions& options, Generation generation,
                             std::uint32_t vehicle, std::uint32_t downloadTime) {
    constexpr std::uint32_t kilometresWithoutCard = 63;
    const std::uint32_t today = downloadTime / secondsPerDay;
    const std::uint32_t count = std::min(static_cast<std::uint32_t>(options.days), today);
    Noise noise = choices(options.seed, vehicle, 0);
    std::uint32_t odometer = 100000 + noise.below(200000);
    std::vector<Day> days;
    days.reserve(count);
    for (std::uint32_t left = count; left > 0; --left) {
        Day day;
        day.date = (today - left) * secondsPerDay;
        day.odometerMidnight = odometer;
        day.cardRecords = recordsOf(options, vehicle, day);
        addDetails(day, generation, noise);
        for (const CardRecord& record : day.cardRecords)
            odometer = std::max(odometer, record.odometerAtWithdrawal);
        if (options.oddities && vehicle % vehiclesPerTeam == 1 && left == 2)
            odometer += kilometresWithoutCard;
        days.push_back(std::move(day));
    }
    if (options.oddities && count > 2)
        keepCardOverNight(days[count - 3], days[count - 2]);
    if (vehicle % 3 == 0 && count > 0 && !days.back().cardRecords.empty()) {
        CardRecord& last = days.back().cardRecords.back();
        last.withdrawalTime = absentTime;
        last.odometerAtWithdrawal = absentOdometer;
    }
    return days;
}

} // namespace samples
