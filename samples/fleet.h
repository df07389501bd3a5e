// A haulage firm that could be real: who drives which vehicle when. Teams of six vehicles and eight
// drivers work by a weekly plan, so that a driver is in one vehicle at a time over all files of a
// key, and a vehicle's odometer never runs back. Only for use within this folder.
#pragma once

#include "samples/samples.h"

namespace samples {

class Noise;

constexpr std::uint32_t vehiclesPerTeam = 6;

struct Person {
    QByteArray surname; // in the code page
    QByteArray firstNames;
    unsigned char codePage;
    QByteArray plainName; // how a download tool writes the name into a file's name
    QByteArray cardNumber;
};

// The `number`-th driver of a team, 0 to 7. No two drivers have the same name.
Person driverOf(std::uint32_t team, std::uint32_t number);

// The last `options.days` whole days of a vehicle before the day of `downloadTime`.
std::vector<Day> vehicleDays(const KeyOptions& options, Generation generation,
                             std::uint32_t vehicle, std::uint32_t downloadTime);

// Sets how many records of other kinds a day has.
void addDetails(Day& day, Generation generation, Noise& noise);

} // namespace samples
