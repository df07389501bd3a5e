// The one checked way to read a loaded file, for the parsers of all generations.
#pragma once

#include <QtCore/QtGlobal>

#include <optional>

namespace downloadkey {

// An unsigned number of 1 to 4 bytes, big-endian.
constexpr quint32 bigEndian(const unsigned char* bytes, quint32 size) {
    quint32 number = 0;
    for (quint32 i = 0; i < size; ++i)
        number = number << 8 | bytes[i];
    return number;
}

// A position in a file's bytes, which belong to the caller. It never leaves them: every step is
// checked against what is left.
class ByteReader {
public:
    ByteReader(const unsigned char* data, quint32 size, quint32 position = 0)
        : m_data(data)
        , m_size(size)
        , m_position(qMin(position, size)) {}

    quint32 position() const { return m_position; }
    quint32 size() const { return m_size; }

    // Returns the next `count` bytes and moves past them. Null, and no move, if fewer are left, or
    // if fewer than `following` come after them.
    const unsigned char* take(quint32 count, quint32 following = 0) {
        const quint32 left = m_size - m_position;
        if (count > left || following > left - count)
            return nullptr;
        const unsigned char* const bytes = m_data + m_position;
        m_position += count;
        return bytes;
    }

    // The next number of 1 to 4 bytes, big-endian; nothing, and no move, if take() returns null.
    std::optional<quint32> takeNumber(quint32 width, quint32 following = 0) {
        const unsigned char* const number = take(width, following);
        return number ? std::optional(bigEndian(number, width)) : std::nullopt;
    }

private:
    const unsigned char* m_data;
    quint32 m_size;
    quint32 m_position;
};

} // namespace downloadkey
