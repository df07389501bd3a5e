// The library's debug lines. They go to Qt's default category, as qDebug()'s do, but through
// qCDebug(): qDebug() formats its text even when nobody listens, and the lines of one record take
// several times as long to format as the record takes to parse.
#pragma once

#include <QtCore/QLoggingCategory>

namespace downloadkey {

inline const QLoggingCategory& diagnostics() {
    return *QLoggingCategory::defaultCategory();
}

} // namespace downloadkey
