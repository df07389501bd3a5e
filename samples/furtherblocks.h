// The blocks after the activities of a vehicle-unit download, which no parser of this project
// reads. Only for use within this folder.
#pragma once

#include "samples/samples.h"

namespace samples {

// Events and faults, detailed speed, technical data.
QByteArray furtherBlocks(const VehicleUnit& unit);

} // namespace samples
