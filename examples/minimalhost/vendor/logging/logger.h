// The device's log.
#pragma once

#include "auxiliary/error.h"

namespace logging {

enum class Level { Debug, Info, Error };

class Logger {
public:
    static void log(const aux::Error& error, Level level);
};

} // namespace logging
