// The small download files of all tests. A test that needs more sets the fields of samples::Card
// and samples::VehicleUnit itself.
#pragma once

#include "samples/samples.h"

// A card of the given number. Its holder is Jo Sample.
inline QByteArray smallCard(const QByteArray& number, unsigned char type = 1, int generation = 1) {
    return samples::cardFile({type, generation, number});
}

// A vehicle unit with this plate and, on 14 March 2024, one card insertion.
inline QByteArray smallVehicleUnit(const QByteArray& plate,
                                   samples::Generation generation = samples::Generation::Gen1) {
    samples::VehicleUnit unit;
    unit.plate = plate;
    unit.generation = generation;
    unit.days = {{1710374400, 0, {{"Sample", "Jo", "DF00000000000100", 1710374400}}}};
    return samples::vehicleUnitFile(unit);
}
