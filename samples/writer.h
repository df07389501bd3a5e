// What the builders of samples/ share: big-endian output, repeatable noise, and the data types of
// both vehicle units and cards. Only for use within this folder.
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
    // Text without a code page: padded with blanks or cut to `size`.
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
constexpr std::uint32_t startOf2020 = 1577836800;
constexpr std::uint32_t startOf2022 = 1640995200;
constexpr std::uint32_t startOf2030 = 1893456000;

constexpr unsigned nation = 13;                  // NationNumeric of the samples' cards and plates
constexpr std::uint32_t absentTime = 0xFFFFFFFF; // the regulation's time without a value
constexpr std::uint32_t absentOdometer = 0xFFFFFF;

enum CardType : unsigned char { Driver = 1, Workshop = 2, Control = 3, Company = 4 };

constexpr int certificateSizeGen1 = 194;
constexpr int signatureSizeGen1 = 128;
constexpr int certificateSizeGen2 = 205; // 204 to 341, depending on the curve and the subject
constexpr int signatureSizeGen2 = 64;

constexpr unsigned manufacturer = 0xA1;

enum class EquipmentType : unsigned char {
    DriverCard = 1,
    WorkshopCard = 2,
    ControlCard = 3,
    CompanyCard = 4,
    VehicleUnit = 6,
    MotionSensor = 7,
    ExternalGnss = 8,
    RemoteCommunication = 9,
};

// Digits as binary-coded decimal, two to a byte: 2024 becomes 0x2024.
std::uint32_t bcd(std::uint32_t value);

// ExtendedSerialNumber: number, month and year of manufacture (March 2020), type and manufacturer,
// 8 bytes.
QByteArray extendedSerialNumber(std::uint32_t number, EquipmentType type);

// VehicleRegistrationIdentification: the nation and the plate, 15 bytes.
QByteArray registration(const QByteArray& plate, unsigned char codePage);

// One ActivityChangeInfo of the driver: the `index`-th of `count` changes that are spread evenly
// over a day.
std::uint32_t activityChange(int index, int count);

} // namespace samples
