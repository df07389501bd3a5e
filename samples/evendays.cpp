#include "samples/fleet.h"
#include "samples/writer.h"

#include <algorithm>
#include <array>

namespace samples {

namespace {

// The insertions of one day, starting at five in the morning.
std::vector<CardRecord> insertions(const Day& day, std::uint32_t count, std::uint32_t kilometres) {
    static const std::array<Person, 6> drivers = {driverOf(0, 0), driverOf(0, 1), driverOf(0, 2),
                                                  driverOf(0, 3), driverOf(0, 4), driverOf(0, 5)};
    std::vector<CardRecord> records(count);
    const std::uint32_t turn = std::max(1U, 57600 / std::max(count, 1U));
    for (std::uint32_t i = 0; i < count; ++i) {
        const Person& driver = drivers[i % drivers.size()];
        CardRecord& record = records[i];
        record.surname = driver.surname;
        record.firstNames = driver.firstNames;
        record.codePage = driver.codePage;
        record.cardNumber = driver.cardNumber;
        record.slot = i % 4 == 3 ? 1 : 0;
        record.insertionTime = day.date + 5 * 3600 + i * turn;
        record.withdrawalTime = record.insertionTime + turn * 9 / 10;
        record.odometerAtInsertion = day.odometerMidnight + kilometres * i / count;
        record.odometerAtWithdrawal = day.odometerMidnight + kilometres * (i + 1) / count;
    }
    return records;
}

} // namespace

std::vector<Day> evenDays(Generation generation, int days, int recordsPerDay, std::uint32_t lastDay,
                          std::uint32_t seed) {
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
        day.cardRecords = insertions(
            day, static_cast<std::uint32_t>(std::clamp(recordsPerDay, 0, 0xFFFF)), kilometres);
        addDetails(day, generation, noise);
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

} // namespace samples
