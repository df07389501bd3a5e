// What the fuzz targets share.
#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QLoggingCategory>
#include <QtCore/QString>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace fuzzing {

// Ends the process as a finding unless the property holds.
inline void require(bool holds, const char* property) {
    if (holds)
        return;
    std::fprintf(stderr, "PROPERTY: %s\n", property);
    std::abort();
}

// The input as bytes; shares them.
inline QByteArray bytesOf(const std::uint8_t* data, std::size_t size) {
    return QByteArray::fromRawData(reinterpret_cast<const char*>(data), static_cast<int>(size));
}

// Whether the input is one of so many that get what takes long and finds little. The same input
// always gives the same answer.
inline bool isOneOf(unsigned int inputs, const std::uint8_t* data, std::size_t size) {
    unsigned int sum = 0;
    for (std::size_t i = 0; i < size; ++i)
        sum += data[i];
    return sum % inputs == 0;
}

inline void setDebugLines(bool areOn) {
    QLoggingCategory::defaultCategory()->setEnabled(QtDebugMsg, areOn);
}

} // namespace fuzzing
