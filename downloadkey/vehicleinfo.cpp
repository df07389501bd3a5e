#include "downloadkey/vehicleinfo.h"
#include "downloadkey/bytereader_p.h"
#include "downloadkey/diagnostics_p.h"
#include "downloadkey/vehicleinfo_p.h"

#include "scard/scardgeneric.h"

#include <QtCore/QFile>
#include <QtCore/QStringBuilder>

#include <cstdlib>
#include <cstring>
#include <limits>
#include <type_traits>
#include <utility>

namespace downloadkey {

namespace {

// The host decides what the fields look like inside; their bytes are the file's.
template <typename Text, std::size_t size>
QString readText(const unsigned char* bytes) {
    static_assert(sizeof(Text) == size && std::is_trivially_copyable<Text>::value,
                  "a text field is the file's bytes and nothing else");
    Text text;
    std::memcpy(&text, bytes, sizeof text);
    return scard::SCardGeneric::textfieldToString(text).trimmed();
}

// What a card record holds from the insertion time on.
struct CardUse {
    unsigned char insertionTime[4];
    unsigned char odometerAtInsertion[3];
    unsigned char slot;
    unsigned char withdrawalTime[4];
    unsigned char odometerAtWithdrawal[3];
};

QDateTime readTime(const unsigned char (&bytes)[4]) {
    return QDateTime::fromSecsSinceEpoch(bigEndian(bytes, sizeof bytes), Qt::LocalTime, 0);
}

quint32 readOdometer(const unsigned char (&bytes)[3]) {
    constexpr quint32 noValueInFile = 0xFFFFFF;
    const quint32 kilometres = bigEndian(bytes, sizeof bytes);
    return kilometres == noValueInFile ? noOdometerValue : kilometres;
}

// Whether that much memory can be allocated. If it cannot, readAll() would end the process, and on
// a 32-bit machine a sparse file of a gigabyte is enough for that.
bool fitsIntoMemory(qint64 size) {
    constexpr qint64 largest = std::numeric_limits<int>::max(); // readAll() refuses more
    constexpr qint64 overhead = 4096;
    const qint64 needed = qBound(qint64(0), size, largest - overhead) + overhead;
    // volatile keeps the compiler from optimising the allocation away.
    void* volatile probe = std::malloc(static_cast<std::size_t>(needed));
    const bool fits = probe != nullptr;
    std::free(probe);
    return fits;
}

// Reads from the position to the end. False if memory or the disk fails: readAll() itself does not
// say whether it ended at a bad block. A file that became shorter meanwhile counts as complete.
bool load(QFile& file, QByteArray& bytes) {
    const qint64 expected = file.size() - file.pos(); // 0 or less if the size is not known
    if (!fitsIntoMemory(expected))
        return false;
    bytes = file.readAll();
    char next = 0;
    return (expected > 0 && bytes.size() >= expected) || file.peek(&next, sizeof next) == 0;
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

aux::Error makeVehicleInfoError(QString text) {
    return aux::Error(aux::ErrorData(QStringLiteral("libdownloadkey"), std::move(text), 0));
}

aux::Error makeFileTooSmallError(const char* function) {
    return makeVehicleInfoError(QStringLiteral("VehicleInfo ") + QLatin1String(function) +
                                QStringLiteral("() file not mmapped, or not large enough"));
}

QString readPlate(const unsigned char* bytes) {
    return readText<VehicleRegistrationNumber, plateSize>(bytes);
}

void CardRecordReader::read(const unsigned char* records, quint32 count) {
    for (; count > 0; --count, records += m_layout.size)
        readOne(records);
}

void CardRecordReader::readOne(const unsigned char* record) {
    CardUse use;
    std::memcpy(&use, record + m_layout.insertionTime, sizeof use);
    QDateTime insertionTime = readTime(use.insertionTime);
    if (m_lastInsertion.isValid() && insertionTime == m_lastInsertion)
        return;

    const QString firstNames = readText<Name, nameSize>(record + nameSize);
    const QString surname = readText<Name, nameSize>(record);
    VehicleInfo::_FeDriverActivities activity;
    activity.holderName = firstNames % QLatin1String(", ") % surname;
    activity.insertionTime = insertionTime;
    activity.odometerAtInsertion = readOdometer(use.odometerAtInsertion);
    activity.slot = use.slot;
    activity.withdrawalTime = readTime(use.withdrawalTime);
    activity.odometerAtWithdrawal = readOdometer(use.odometerAtWithdrawal);

    m_lastInsertion = std::move(insertionTime);
    m_results.push_back(std::move(activity));
    if (diagnostics().isDebugEnabled())
        writeDebugLines(m_results.back());
}

VehicleInfo::VehicleInfo(QFile& file)
    : m_data(nullptr)
    , m_dataSize(0)
    , m_plateString(QLatin1String("")) {
    // Called even if no line is written: a QTemporaryFile exists on the disk only once its name
    // has been requested.
    const QString fileName = file.fileName();
    qCDebug(diagnostics) << "VehicleInfo: Init Vehicle Info: " << fileName;
    QByteArray bytes;
    if (file.exists() && file.isOpen() && load(file, bytes)) {
        m_fileData = std::move(bytes);
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
    if (m_dataSize < smallestVehicleUnitFile)
        return makeFileTooSmallError("read");
    switch (const quint32 tag = bigEndian(m_data, tagSize)) {
    case Gen1Overview:
        return readGen1();
    case Gen2V1Overview:
        return readGen2_1();
    case Gen2V2Overview:
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

} // namespace downloadkey
