#include "samples/writer.h"

namespace samples {

QByteArray textField(const QByteArray& text, int size, unsigned char codePage) {
    return Writer().u8(codePage).ascii(text, size - 1).bytes;
}

std::uint32_t bcd(std::uint32_t value) {
    std::uint32_t digits = 0;
    for (int shift = 0; shift < 32 && value > 0; shift += 4, value /= 10)
        digits |= value % 10 << shift;
    return digits;
}

QByteArray extendedSerialNumber(std::uint32_t number, EquipmentType type) {
    return Writer()
        .u32(number)
        .u16(bcd(320))
        .u8(static_cast<unsigned>(type))
        .u8(manufacturer)
        .bytes;
}

QByteArray registration(const QByteArray& plate, unsigned char codePage) {
    return Writer().u8(nation).raw(textField(plate, 14, codePage)).bytes;
}

std::uint32_t activityChange(int index, int count) {
    const auto minute =
        static_cast<std::uint32_t>(index) * 1440U / static_cast<std::uint32_t>(count);
    const auto activity = static_cast<std::uint32_t>(index) % 4U;
    return activity << 11 | minute;
}

} // namespace samples
