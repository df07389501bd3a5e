// What the fuzz targets share.
#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace fuzzing {

// Ends the process as a finding unless the property holds.
inline void require(bool holds, const QString& property) {
    if (holds)
        return;
    std::fprintf(stderr, "PROPERTY: %s\n", qPrintable(property));
    std::abort();
}

inline void require(bool holds, const char* property) {
    if (!holds)
        require(false, QString::fromUtf8(property));
}

// The input as bytes; shares them.
inline QByteArray bytesOf(const std::uint8_t* data, std::size_t size) {
    return QByteArray::fromRawData(reinterpret_cast<const char*>(data), static_cast<int>(size));
}

} // namespace fuzzing
