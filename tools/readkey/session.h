// One run of readkey: reads the keys one after another into a logbook and shows it.
#pragma once

#include "options.h"

namespace readkey {

class StandardOutput;

// Returns the exit status. Where the user interrupts, nothing is shown: console::interruption()
// tells.
int runSession(const Options& options, StandardOutput& out);

} // namespace readkey
