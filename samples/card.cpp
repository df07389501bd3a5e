#include "samples/writer.h"

#include <algorithm>

namespace samples {

namespace {

constexpr std::uint32_t cardLifetime = 5 * 365 * secondsPerDay;

// EF identifiers of a card.
enum FileId : unsigned {
    Icc = 0x0002,
    Ic = 0x0005,
    ApplicationIdentification = 0x0501,
    EventsData = 0x0502,
    FaultsData = 0x0503,
    DriverActivityData = 0x0504,
    VehiclesUsed = 0x0505,
    Places = 0x0506,
    CurrentUsage = 0x0507,
    ControlActivityData = 0x0508,
    CardDownloadWorkshop = 0x0509,
    Calibration = 0x050A,
    SensorInstallationData = 0x050B,
    ControllerActivityData = 0x050C,
    CompanyActivityData = 0x050D,
    CardDownloadDriver = 0x050E,
    Identification = 0x0520,
    DrivingLicenceInfo = 0x0521,
    SpecificConditions = 0x0522,
    VehicleUnitsUsed = 0x0523,
    GnssPlaces = 0x0524,
    CardCertificate = 0xC100,
    CardSignCertificate = 0xC101,
    CaCertificate = 0xC108,
    LinkCertificate = 0xC109,
};

// A card's numbers of records of each kind, and the bytes of its daily activities.
struct Capacity {
    std::uint32_t eventsPerType, faultsPerType, activityBytes, vehicles, places;
    std::uint32_t specificConditions, calibrations, gnssPlaces, vehicleUnits;
};

constexpr Capacity driverGen1 = {12, 24, 13776, 200, 112, 56, 0, 0, 0};
constexpr Capacity driverGen2 = {12, 24, 13776, 200, 112, 112, 0, 336, 200};
constexpr Capacity workshopGen1 = {3, 6, 198, 4, 6, 2, 88, 0, 0};
constexpr Capacity workshopGen2 = {3, 6, 492, 8, 8, 4, 255, 24, 8};

const Capacity& capacityOf(unsigned char cardType, bool isSecond) {
    if (cardType == Workshop)
        return isSecond ? workshopGen2 : workshopGen1;
    return isSecond ? driverGen2 : driverGen1;
}

// Builds the files of one card for one of its two applications, each followed by its signature.
class Application {
public:
    Application(const Card& card, int generation, QByteArray& out)
        : m_card(card)
        , m_gen2(generation == 2)
        , m_capacity(capacityOf(card.type, m_gen2))
        , m_noise(card.noise * 2 + static_cast<std::uint32_t>(generation))
        , m_out(out) {}

    void write() {
        signedFile(ApplicationIdentification, applicationIdentification());
        certificates();
        signedFile(Identification, identification());
        if (m_card.type == Driver)
            driverFiles();
        if (m_card.type == Workshop)
            workshopFiles();
        if (hasActivities())
            activityFiles();
        else
            signedFile(m_card.type == Control ? ControllerActivityData : CompanyActivityData,
                       zeros(2, activityRecords, 46));
    }

private:
    static constexpr std::uint32_t activityRecords = 230; // of control and company cards

    bool hasActivities() const { return m_card.type == Driver || m_card.type == Workshop; }

    // A pointer or counter of that many bytes, and records that are not used yet.
    static QByteArray zeros(std::uint32_t pointer, std::uint32_t count, std::uint32_t size) {
        return QByteArray(static_cast<int>(pointer + count * size), '\0');
    }
    void plainFile(unsigned id, const QByteArray& value) {
        m_out.append(cardBlock(static_cast<unsigned short>(id), m_gen2 ? 2 : 0, value));
    }
    // The cards of control bodies and companies do not sign.
    void signedFile(unsigned id, const QByteArray& value) {
        plainFile(id, value);
        if (hasActivities())
            m_out.append(cardBlock(static_cast<unsigned short>(id), m_gen2 ? 3 : 1,
                                   m_noise.bytes(m_gen2 ? signatureSizeGen2 : signatureSizeGen1)));
    }
    void certificates() {
        const int size = m_gen2 ? certificateSizeGen2 : certificateSizeGen1;
        plainFile(CardCertificate, m_noise.bytes(size));
        if (m_gen2 && hasActivities())
            plainFile(CardSignCertificate, m_noise.bytes(size));
        plainFile(CaCertificate, m_noise.bytes(size));
        if (m_gen2)
            plainFile(LinkCertificate, m_noise.bytes(size));
    }

    QByteArray applicationIdentification() const {
        Writer writer;
        writer.u8(m_card.type).u16(m_gen2 ? 0x0100 : 0x0000);
        if (!hasActivities())
            return writer.u16(activityRecords).bytes;
        writer.u8(m_capacity.eventsPerType).u8(m_capacity.faultsPerType);
        writer.u16(m_capacity.activityBytes).u16(m_capacity.vehicles);
        m_gen2 ? writer.u16(m_capacity.places) : writer.u8(m_capacity.places);
        if (m_card.type == Workshop)
            m_gen2 ? writer.u16(m_capacity.calibrations) : writer.u8(m_capacity.calibrations);
        if (m_gen2)
            writer.u16(m_capacity.gnssPlaces)
                .u16(m_capacity.specificConditions)
                .u16(m_capacity.vehicleUnits);
        return writer.bytes;
    }

    // Identifies the card (65 bytes) and its holder. The cards of workshops, control bodies and
    // companies begin the latter with their organisation and its address.
    QByteArray identification() const {
        const QByteArray names = textField(m_card.surname, 36, m_card.codePage) +
                                 textField(m_card.firstNames, 36, m_card.codePage);
        Writer writer;
        writer.u8(nation)
            .ascii(m_card.cardNumber, 16)
            .raw(textField("Sample Authority", 36))
            .u32(m_card.issueTime)
            .u32(m_card.issueTime)
            .u32(m_card.issueTime + cardLifetime);
        if (m_card.type != Driver)
            writer.raw(textField("Sample Organisation", 36))
                .raw(textField("4 Example Road, Sampleton", 36));
        if (m_card.type != Company)
            writer.raw(names);
        if (m_card.type == Driver)
            writer.u32(bcd(19800229)); // the date of birth
        return writer.ascii("en", 2).bytes;
    }

    void driverFiles() {
        plainFile(CardDownloadDriver, Writer().u32(m_card.issueTime).bytes);
        signedFile(
            DrivingLicenceInfo,
            Writer().raw(textField("Sample Authority", 36)).u8(nation).ascii("L0000000", 16).bytes);
    }
    void workshopFiles() {
        plainFile(CardDownloadWorkshop, Writer().u16(1).bytes);
        signedFile(Calibration, m_gen2 ? zeros(4, m_capacity.calibrations, 178)
                                       : zeros(3, m_capacity.calibrations, 105));
        signedFile(SensorInstallationData, zeros(m_gen2 ? 18 : 16, 0, 0));
    }
    // The files that only the cards of people who drive have.
    void activityFiles() {
        const std::uint32_t eventTypes = m_gen2 ? 11 : 6, faultTypes = 2, incidentSize = 24;
        signedFile(EventsData, zeros(0, eventTypes * m_capacity.eventsPerType, incidentSize));
        signedFile(FaultsData, zeros(0, faultTypes * m_capacity.faultsPerType, incidentSize));
        signedFile(DriverActivityData, dailyActivities());
        signedFile(VehiclesUsed, vehiclesUsed());
        signedFile(Places,
                   m_gen2 ? zeros(2, m_capacity.places, 21) : zeros(1, m_capacity.places, 10));
        signedFile(CurrentUsage,
                   Writer().u32(m_card.issueTime).raw(registration("AB 123 CD", 1)).bytes);
        signedFile(ControlActivityData, zeros(0, 1, 46));
        signedFile(SpecificConditions, zeros(m_gen2 ? 2 : 0, m_capacity.specificConditions, 5));
        if (m_gen2) {
            signedFile(VehicleUnitsUsed, zeros(2, m_capacity.vehicleUnits, 10));
            signedFile(GnssPlaces, zeros(2, m_capacity.gnssPlaces, 18));
        }
    }

    // CardDriverActivity: pointers to the oldest and the newest day, and a ring of daily records,
    // here of the first four weeks, or fewer if the ring is smaller.
    QByteArray dailyActivities() const {
        constexpr std::uint32_t changes = 16, recordSize = 12 + 2 * changes;
        const std::uint32_t days = std::min(28U, m_capacity.activityBytes / recordSize);
        Writer writer;
        writer.u16(0).u16((days - 1) * recordSize);
        for (std::uint32_t day = 0; day < days; ++day) {
            writer.u16(day == 0 ? 0 : recordSize).u16(recordSize);
            writer.u32(m_card.issueTime + day * secondsPerDay).u16(bcd(day + 1)).u16(300 + day * 7);
            for (std::uint32_t change = 0; change < changes; ++change)
                writer.u16(activityChange(static_cast<int>(change), changes));
        }
        return writer.fill(4 + static_cast<int>(m_capacity.activityBytes) - writer.bytes.size(), 0)
            .bytes;
    }

    QByteArray vehiclesUsed() const {
        const std::uint32_t used = std::min(28U, m_capacity.vehicles);
        Writer writer;
        writer.u16(used - 1);
        for (std::uint32_t i = 0; i < used; ++i) {
            const std::uint32_t begin = m_card.issueTime + i * secondsPerDay + 6 * 3600;
            writer.u24(100000 + i * 400).u24(100390 + i * 400).u32(begin).u32(begin + 36000);
            writer.raw(registration("AB 123 CD", 1)).u16(bcd(i + 1));
            if (m_gen2)
                writer.ascii("ZZZZZZ00000000001", 17);
        }
        return writer.bytes + zeros(0, m_capacity.vehicles - used, m_gen2 ? 48 : 31);
    }

    const Card& m_card;
    bool m_gen2;
    const Capacity& m_capacity;
    Noise m_noise;
    QByteArray& m_out;
};

// The description of the chip, which belongs to neither application.
QByteArray chipFiles(const Card& card) {
    Noise noise(card.noise);
    Writer icc;
    icc.u8(0)
        .raw(extendedSerialNumber(noise.next(), static_cast<EquipmentType>(card.type)))
        .ascii("e1-0001", 8)
        .u8(manufacturer)
        .ascii("EX", 2) // the embedder of the chip: country, module (binary-coded decimal) and more
        .u16(bcd(1))
        .u8(0)
        .u16(0x0102);
    return cardBlock(Icc, 0, icc.bytes) + cardBlock(Ic, 0, noise.bytes(8));
}

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
    QByteArray bytes;
    if (card.throughVehicleUnit)
        bytes = Writer().u16(0x7606).bytes;
    bytes.append(chipFiles(card));
    Application(card, 1, bytes).write();
    if (card.generation == 2)
        Application(card, 2, bytes).write();
    return bytes;
}

} // namespace samples
