// What the builders of samples/ share: big-endian output and repeatable noise. Both are plain
// values; neither is meant for use outside this folder.
#pragma once

#include "samples/samples.h"

namespace samples {

// Appends to `bytes`; numbers are cut to their field's width.
class Writer {
public:
    Writer& u8(std::uint32_t value) { return number(value, 1); }
    Writer& u16(std::uint32_t value) { return number(value, 2); }
    Writer& u24(std::uint32_t value) { return number(value, 3); }
    Writer& u32(std::uint32_t value) { return number(value, 4); }
    Writer& raw(const QByteArray& value) {
        bytes.append(value);
        return *this;
    }
    Writer& fill(int count, unsigned char value) {
        bytes.append(count, static_cast<char>(value));
        return *this;
    }
    // Text without a code page: blanks behind it, cut to `size`.
    Writer& ascii(const QByteArray& text, int size) {
        return raw(text.leftJustified(size, ' ', true));
    }

    QByteArray bytes;

private:
    Writer& number(std::uint32_t value, int size) {
        while (size-- > 0)
            bytes.append(static_cast<char>((value >> (8 * size)) & 0xFF));
        return *this;
    }
};

// Bytes and choices that look random and are the same everywhere, unlike the standard library's
// distributions.
class Noise {
public:
    explicit Noise(std::uint32_t seed)
        : m_state(seed * 2654435761U ^ 0x9E3779B9U) {
        if (m_state == 0)
            m_state = 1;
    }
    std::uint32_t next() {
        m_state ^= m_state << 13;
        m_state ^= m_state >> 17;
        m_state ^= m_state << 5;
        return m_state;
    }
    std::uint32_t below(std::uint32_t limit) { return (next() >> 8) % limit; }
    QByteArray bytes(int count) {
        Writer writer;
        writer.bytes.reserve(count + 3);
        while (writer.bytes.size() < count)
            writer.u32(next());
        writer.bytes.truncate(count);
        return writer.bytes;
    }

private:
    std::uint32_t m_state;
};

constexpr std::uint32_t secondsPerDay = 86400;

constexpr unsigned nation = 13;                  // NationNumeric of the samples' cards and plates
constexpr std::uint32_t absentTime = 0xFFFFFFFF; // how the regulation writes a time without value
constexpr std::uint32_t absentOdometer = 0xFFFFFF;

constexpr int certificateSizeGen1 = 194;
constexpr int signatureSizeGen1 = 128;
constexpr int certificateSizeGen2 = 205; // of 204 to 341, by the curve and the subject
constexpr int signatureSizeGen2 = 64;

// VehicleRegistrationIdentification: the nation and the plate, 15 bytes.
inline QByteArray registration(const QByteArray& plate, unsigned char codePage) {
    return Writer().u8(nation).raw(textField(plate, 14, codePage)).bytes;
}

// One ActivityChangeInfo: the `index`-th of `count` changes that are spread evenly over a day.
inline std::uint32_t activityChange(int index, int count, unsigned slot = 0) {
    const auto minute =
        static_cast<std::uint32_t>(index) * 1440U / static_cast<std::uint32_t>(count);
    const auto activity = static_cast<std::uint32_t>(index) % 4U;
    return (slot & 1U) << 15 | activity << 11 | minute;
}

} // namespace samples
