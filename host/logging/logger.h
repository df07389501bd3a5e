// The host's logger.
#pragma once

#include "auxiliary/error.h"

#include <functional>

namespace logging {

// The numbers are part of the interface; callers may pass them as numbers.
enum class Level : int {
    Debug = 0,
    Info = 1,
    Error = 2,
};

class Logger {
public:
    // Logs an error: to the sink below, or as one line on stderr if there is none.
    static void log(aux::Error error, Level level);

    // Sets where errors go; an empty function restores stderr. Not thread-safe.
    static void setSink(std::function<void(const aux::Error&, Level)> sink);
};

} // namespace logging
