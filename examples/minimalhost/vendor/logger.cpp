#include "logging/logger.h"

void logging::Logger::log(const aux::Error& error, Level level) {
    qWarning() << "level" << int(level) << error;
}
