#include "downloadkey/vehicleinfo.h"
#include "downloadkey/diagnostics_p.h"
#include "downloadkey/vehicleinfo_p.h"

#include "scard/scardgeneric.h"

#include <QtCore/QFile>

#include <cstdlib>
#include <cstring>
#include <limits>
#include <type_traits>
#include <utility>

namespace downloadkey {

namespace {

// The host decides how the fields look inside; their bytes are the file's.
template <typename Field, std::size_t size>
QString readText(const unsigned char* bytes) {
    static_assert(sizeof(Field) == size && std::is_trivially_copyable<Field>::value,
                  "a text field is the file's bytes and nothing else");
    Field field;
    std::memcpy(&field, bytes, sizeof field);
    return scard::SCardGeneric::textfieldToString(field).trimmed();
}

QString readName(const unsigned char* bytes) {
    return readText<Name, 36>(bytes);
}

QDateTime readTime(const unsigned char* bytes) {
    return QDateTime::fromSecsSinceEpoch(qint64(readUInt32(bytes)), Qt::LocalTime, 0);
}

quint32 readOdometer(const unsigned char* bytes) {
    constexpr quint32 noValueInFile = 0xFFFFFF;
    const quint32 kilometres = readUInt24(bytes);
    return kilometres == noValueInFile ? noOdometerValue : kilometres;
}

// Whether memory for the whole file can be allocated. readAll() would end the process where it
// cannot, and on a 32-bit machine a sparse file of a gigabyte is enough for that.
bool fitsIntoMemory(const QFile& file) {
    constexpr qint64 largest = std::numeric_limits<int>::max(); // readAll() refuses more
    constexpr qint64 overhead = 4096;
    const auto size = static_cast<std::size_t>(qMin(file.size(), largest - overhead) + overhead);
    void* volatile probe = std::malloc(size); // volatile: nobody would miss it otherwise
    const bool fits = probe != nullptr;
    std::free(probe);
    return fits;
}

void writeDebugLines(const VehicleInfo::_FeDriverActivities& activity) {
    qCDebug(diagnostics) << "VehicleInfo: Activity: ";
    qCDebug(diagnostics) << "  Holder Name:  " << activity.holderName
                         << "@ Slot: " << static_cast<qint16>(activity.slot);
    qCDebug(diagnostics) << "  Insertion:    " << activity.insertionTime
                         << "@: " << static_cast<qint32>(activity.odometerAtInsertion);
    qCDebug(diagnostics) << "  Withdrawel:   " << activity.withdrawalTime
                         << "@: " << static_cast<qint32>(activity.odometerAtWithdrawal);
}

} // namespace

aux::Error makeVehicleInfoError(const QString& text) {
    return aux::Error(aux::ErrorData(QStringLiteral("libdownloadkey"), QString(text), 0));
}

QString readPlate(const unsigned char* bytes) {
    return readText<VehicleRegistrationNumber, 14>(bytes);
}

VehicleInfo::VehicleInfo(QFile& file)
    : m_data(nullptr)
    , m_dataSize(0)
    , m_plateString(QLatin1String("")) {
    // Asked for even when no line is written: some files, temporary ones, are on the disk only once
    // their name has been asked for.
    const QString fileName = file.fileName();
    qCDebug(diagnostics) << "VehicleInfo: Init Vehicle Info: " << fileName;
    if (file.exists() && file.isOpen() && fitsIntoMemory(file)) {
        m_fileData = file.readAll();
        m_data = reinterpret_cast<const unsigned char*>(m_fileData.data());
        m_dataSize = static_cast<quint32>(m_fileData.size());
    } else {
        qCDebug(diagnostics) << makeVehicleInfoError(
            QStringLiteral("VehicleInfo() Could not load file"));
    }
}

// QObject's own state is not copied: the copy has no parent and no connections.
VehicleInfo::VehicleInfo(const VehicleInfo& other)
    : QObject()
    , m_fileData(other.m_fileData)
    , m_data(other.m_data)
    , m_dataSize(other.m_dataSize)
    , m_plateString(other.m_plateString)
    , m_driverActivities(other.m_driverActivities) {}

VehicleInfo::~VehicleInfo() = default;

aux::Error VehicleInfo::read() {
    if (m_data == nullptr || m_dataSize < smallestVehicleUnitFile) {
        return makeVehicleInfoError(
            QStringLiteral("VehicleInfo read() file not mmapped, or not large enough"));
    }
    switch (const unsigned int tag = readUInt16(m_data)) {
    case 0x7601:
        return readGen1();
    case 0x7621:
        return readGen2_1();
    case 0x7631:
        return readGen2_2();
    default:
        return makeVehicleInfoError(QStringLiteral("VehicleInfo read() TREPx1 not found, found ") +
                                    QString::number(tag, 16) + QStringLiteral("instead!"));
    }
}

QString VehicleInfo::getPlateString() {
    return m_plateString;
}

std::vector<VehicleInfo::_FeDriverActivities> VehicleInfo::getDriverActivities() const {
    return m_driverActivities;
}

void VehicleInfo::takeCardRecord(const unsigned char* record, unsigned int insertionOffset,
                                 QDateTime& lastTaken) {
    const unsigned char* const insertion = record + insertionOffset;
    QDateTime insertionTime = readTime(insertion);
    if (lastTaken.isValid() && insertionTime == lastTaken)
        return;

    _FeDriverActivities activity;
    activity.holderName = readName(record + 36) + QLatin1String(", ") + readName(record);
    activity.insertionTime = insertionTime;
    activity.odometerAtInsertion = readOdometer(insertion + 4);
    activity.slot = insertion[7];
    activity.withdrawalTime = readTime(insertion + 8);
    activity.odometerAtWithdrawal = readOdometer(insertion + 12);

    lastTaken = std::move(insertionTime);
    m_driverActivities.push_back(std::move(activity));
    if (diagnostics().isDebugEnabled())
        writeDebugLines(m_driverActivities.back());
}

} // namespace downloadkey
