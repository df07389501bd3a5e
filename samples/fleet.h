// A realistic haulage firm: who drives which vehicle when. Teams of six vehicles and eight drivers
// work to a weekly plan, so that across all files of a key a driver is in one vehicle at a time,
// and a vehicle's odometer never runs back. Only for use within this folder.
#pragma once

#include "samples/samples.h"

namespace samples {

class Noise;

constexpr std::uint32_t vehiclesPerTeam = 6;

struct Person {
    QByteArray surname; // in the code page
    QByteArray firstNames;
    unsigned char codePage;
    QByteArray plainName; // how a download tool writes the name in a file name
    QByteArray cardNumber;
};

// The `number`-th driver of a team, 0 to 7. No two drivers have the same name.
Person driverOf(std::uint32_t team, std::uint32_t number);

// A vehicle's last `options.days` whole days before the day of `downloadTime`.
std::vector<Day> vehicleDays(const KeyOptions& options, Generation generation,
                             std::uint32_t vehicle, std::uint32_t downloadTime);

// Sets the day's numbers of other records.
void addDetails(Day& day, Generation generation, Noise& noise);

} // namespace samples
