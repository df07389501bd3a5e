#include "logging/logger.h"

#include <cstdio>
#include <utility>

namespace logging {

namespace {

std::function<void(const aux::Error&, Level)>& currentSink() {
    static std::function<void(const aux::Error&, Level)> sink;
    return sink;
}

const char* nameOf(Level level) {
    switch (level) {
    case Level::Debug:
        return "debug";
    case Level::Info:
        return "info";
    case Level::Error:
        return "error";
    }
    return "log";
}

} // namespace

// NOLINTNEXTLINE(performance-unnecessary-value-param): callers are compiled for an error by value
void Logger::log(aux::Error error, Level level) {
    // A copy, so that a sink may replace itself.
    if (const auto sink = currentSink()) {
        sink(error, level);
        return;
    }
    QString line;
    QDebug(&line) << error;
    std::fprintf(stderr, "%s: %s\n", nameOf(level), line.trimmed().toLocal8Bit().constData());
}

void Logger::setSink(std::function<void(const aux::Error&, Level)> sink) {
    currentSink() = std::move(sink);
}

} // namespace logging
