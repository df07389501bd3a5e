#include "samples/vehicleblocks.h"

namespace samples {

const Layout& layoutOf(Generation generation) {
    static constexpr Layout gen1 = {0x00, 0x04, false, false};
    static constexpr Layout gen2v1 = {0x20, 0x24, true, false};
    static constexpr Layout gen2v2 = {0x30, 0x24, true, true};
    switch (generation) {
    case Generation::Gen1:
        return gen1;
    case Generation::Gen2V1:
        return gen2v1;
    case Generation::Gen2V2:
        break;
    }
    return gen2v2;
}

QByteArray tag(unsigned trep) {
    return Writer().u8(0x76).u8(trep).bytes;
}

QByteArray cardId(const Layout& layout, CardType type, const QByteArray& number) {
    Writer writer;
    writer.u8(type).u8(nation).ascii(number, 16);
    if (layout.isSecond)
        writer.u8(2);
    return writer.bytes;
}

QByteArray emptySlot(const Layout& layout) {
    return Writer().fill(layout.isSecond ? 19 : 18, 0xFF).bytes;
}

QByteArray driverOn(const Layout& layout, const Day& day) {
    return day.cardRecords.empty() ? emptySlot(layout)
                                   : cardId(layout, Driver, day.cardRecords.front().cardNumber);
}

QByteArray single(RecordType type, const QByteArray& record) {
    return recordArray(type, record.size(), 1, record);
}

QByteArray signature(const Layout& layout, std::uint32_t noise) {
    return layout.isSecond ? single(Signature, Noise(noise).bytes(signatureSizeGen2))
                           : Noise(noise).bytes(signatureSizeGen1);
}

QByteArray recordArray(unsigned char type, int recordSize, int count, const QByteArray& records) {
    return Writer()
        .u8(type)
        .u16(static_cast<std::uint32_t>(recordSize))
        .u16(static_cast<std::uint32_t>(count))
        .raw(records)
        .bytes;
}

} // namespace samples
