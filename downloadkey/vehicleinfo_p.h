// What the parsers of all generations share: errors, limits, big-endian numbers and the plate.
// `bytes` always points into the loaded file; the caller has checked that the field lies inside it.
#pragma once

#include "auxiliary/error.h"

#include <QtCore/QString>

namespace downloadkey {

// An error of one entry: component "libdownloadkey", the text, code 0.
aux::Error makeVehicleInfoError(const QString& text);

constexpr quint16 readUInt16(const unsigned char* bytes) {
    return static_cast<quint16>(bytes[0] << 8 | bytes[1]);
}

constexpr quint32 readUInt24(const unsigned char* bytes) {
    return quint32(bytes[0]) << 16 | quint32(bytes[1]) << 8 | bytes[2];
}

constexpr quint32 readUInt32(const unsigned char* bytes) {
    return quint32(bytes[0]) << 24 | readUInt24(bytes + 1);
}

// A 14-byte registration-number field as text, without white space around it.
QString readPlate(const unsigned char* bytes);

} // namespace downloadkey
