#include "samples/writer.h"

namespace samples {

namespace {

enum CardType : unsigned char { Driver = 1, Workshop = 2, Control = 3, Company = 4 };

constexpr std::uint32_t cardLifetime = 5 * 365 * secondsPerDay;

// Builds the files of one card for one of its two applications, each followed by its signature.
class Application {
public:
    Application(const Card& card, int generation, QByteArray& out)
        : m_card(card)
        , m_gen2(generation == 2)
        , m_noise(card.noise * 2 + static_cast<std::uint32_t>(generation))
        , m_out(out) {}

    void write() {
        signedFile(0x0501, applicationIdentification());
        certificates();
        signedFile(0x0520, identification());
        if (m_card.type == Driver || m_card.type == Workshop)
            driverFiles();
        else
            signedFile(m_card.type == Control ? 0x050C : 0x050D, Writer().fill(10582, 0).bytes);
    }

private:
    void plainFile(unsigned id, const QByteArray& value) {
        m_out.append(cardBlock(static_cast<unsigned short>(id), m_gen2 ? 2 : 0, value));
    }
    void signedFile(unsigned id, const QByteArray& value) {
        plainFile(id, value);
        m_out.append(cardBlock(static_cast<unsigned short>(id), m_gen2 ? 3 : 1,
                               m_noise.bytes(m_gen2 ? signatureSizeGen2 : signatureSizeGen1)));
    }
    void certificates() {
        if (!m_gen2) {
            plainFile(0xC100, m_noise.bytes(certificateSizeGen1));
            plainFile(0xC108, m_noise.bytes(certificateSizeGen1));
            return;
        }
        for (const unsigned id : {0xC100U, 0xC101U, 0xC108U, 0xC109U})
            plainFile(id, m_noise.bytes(certificateSizeGen2));
    }

    QByteArray applicationIdentification() const {
        Writer writer;
        writer.u8(m_card.type).u16(m_gen2 ? 0x0100 : 0x0000);
        if (m_card.type == Control || m_card.type == Company)
            return writer.u16(230).bytes;
        writer.u8(12).u8(24).u16(13776).u16(200);
        if (m_gen2)
            writer.u16(112).u16(336).u16(112).u16(200);
        else
            writer.u8(112);
        if (m_card.type == Workshop)
            m_gen2 ? writer.u16(88) : writer.u8(88);
        return writer.bytes;
    }

    // Of the card (65 bytes) and of its holder. The cards of workshops, control bodies and
    // companies name their organisation and its address first, in the same two fields.
    QByteArray identification() const {
        const QByteArray names = textField(m_card.surname, 36, m_card.codePage) +
                                 textField(m_card.firstNames, 36, m_card.codePage);
        Writer writer;
        writer.u8(nation)
            .ascii(m_card.cardNumber, 16)
            .raw(textField("Sample Authority", 36))
            .u32(m_card.issueTime)
            .u32(m_card.issueTime)
            .u32(m_card.issueTime + cardLifetime)
            .raw(names);
        if (m_card.type == Driver)
            writer.u32(0x19800229); // binary-coded decimal
        else if (m_card.type != Company)
            writer.raw(names);
        return writer.ascii("en", 2).bytes;
    }

    void driverFiles() {
        if (m_card.type == Driver) {
            plainFile(0x050E, Writer().u32(m_card.issueTime).bytes);
            signedFile(0x0521, Writer()
                                   .raw(textField("Sample Authority", 36))
                                   .u8(nation)
                                   .ascii("L0000000", 16)
                                   .bytes);
        } else {
            plainFile(0x0509, Writer().u16(1).bytes);
            signedFile(0x050A, Writer().fill(m_gen2 ? 9244 : 9243, 0).bytes);
            signedFile(0x050B, Writer().fill(16, 0).bytes);
        }
        signedFile(0x0502, Writer().fill((m_gen2 ? 11 : 6) * 12 * 24, 0).bytes);
        signedFile(0x0503, Writer().fill(2 * 24 * 24, 0).bytes);
        signedFile(0x0504, dailyActivities());
        signedFile(0x0505, vehiclesUsed());
        signedFile(0x0506, Writer().fill(m_gen2 ? 2 + 112 * 21 : 1 + 112 * 10, 0).bytes);
        signedFile(0x0507, Writer().u32(m_card.issueTime).raw(registration("AB 123 CD", 1)).bytes);
        signedFile(0x0508, Writer().fill(46, 0).bytes);
        signedFile(0x0522, Writer().fill(m_gen2 ? 2 + 112 * 5 : 56 * 5, 0).bytes);
        if (m_gen2) {
            signedFile(0x0523, Writer().fill(2 + 200 * 10, 0).bytes);
            signedFile(0x0524, Writer().fill(2 + 336 * 18, 0).bytes);
        }
    }

    // CardDriverActivity: two pointers and a ring of daily records, here the first four weeks.
    QByteArray dailyActivities() const {
        constexpr int days = 28, changes = 16, recordSize = 12 + 2 * changes;
        Writer ring;
        for (int day = 0; day < days; ++day) {
            ring.u16(day == 0 ? 0 : recordSize).u16(recordSize);
            ring.u32(m_card.issueTime + static_cast<std::uint32_t>(day) * secondsPerDay);
            ring.u16(static_cast<std::uint32_t>(day / 10 * 16 + day % 10)); // binary-coded decimal
            ring.u16(static_cast<std::uint32_t>(300 + day * 7));
            for (int change = 0; change < changes; ++change)
                ring.u16(activityChange(change, changes));
        }
        Writer writer;
        writer.u16(0).u16(static_cast<std::uint32_t>((days - 1) * recordSize)).raw(ring.bytes);
        return writer.fill(13780 - writer.bytes.size(), 0).bytes;
    }

    QByteArray vehiclesUsed() const {
        constexpr std::uint32_t used = 28;
        Writer writer;
        writer.u16(used - 1);
        for (std::uint32_t i = 0; i < used; ++i) {
            const std::uint32_t begin = m_card.issueTime + i * secondsPerDay + 6 * 3600;
            writer.u24(100000 + i * 400).u24(100390 + i * 400).u32(begin).u32(begin + 36000);
            writer.raw(registration("AB 123 CD", 1)).u16(i);
            if (m_gen2)
                writer.ascii("ZZZZZZ00000000001", 17);
        }
        return writer.fill(2 + 200 * (m_gen2 ? 48 : 31) - writer.bytes.size(), 0).bytes;
    }

    const Card& m_card;
    bool m_gen2;
    Noise m_noise;
    QByteArray& m_out;
};

} // namespace

QByteArray cardBlock(unsigned short fileId, unsigned char kind, const QByteArray& value) {
    return Writer()
        .u16(fileId)
        .u8(kind)
        .u16(static_cast<std::uint32_t>(value.size()))
        .raw(value)
        .bytes;
}

QByteArray cardFile(const Card& card) {
    Noise noise(card.noise);
    Writer chip;
    chip.u8(0).raw(noise.bytes(8)).ascii("e1-0001", 8).u8(0x5A).ascii("EX001", 5).u16(0x0102);
    QByteArray bytes;
    if (card.throughVehicleUnit)
        bytes = Writer().u16(0x7606).bytes;
    bytes.append(cardBlock(0x0002, 0, chip.bytes));
    bytes.append(cardBlock(0x0005, 0, noise.bytes(8)));
    Application(card, 1, bytes).write();
    if (card.generation == 2)
        Application(card, 2, bytes).write();
    return bytes;
}

} // namespace samples
