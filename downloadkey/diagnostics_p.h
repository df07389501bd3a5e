// The library's debug lines. They go to Qt's default category, like qDebug()'s, but through
// qCDebug(): qDebug() formats its text even if nobody listens, and the lines of one record take
// several times as long to format as the record takes to parse.
#pragma once

#include <QtCore/QLoggingCategory>

namespace downloadkey {

inline const QLoggingCategory& diagnostics() {
    if (const QLoggingCategory* category = QLoggingCategory::defaultCategory())
        return *category;
    // A static object of the host may outlive Qt's category, and this one outlives both.
    static const QLoggingCategory& last = *new QLoggingCategory("default");
    return last;
}

} // namespace downloadkey
