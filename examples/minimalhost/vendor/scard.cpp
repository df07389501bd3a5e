#include "scard/scardcards.h"

#include <QtCore/QFile>

namespace {

// Without the leading code page byte: this device reads every text as Latin-1.
template <typename Field>
QString latin1Text(const Field& field) {
    const auto* text = reinterpret_cast<const char*>(field.bytes);
    return QString::fromLatin1(text + 1, int(sizeof field) - 1);
}

} // namespace

namespace scard {

SCardGeneric::SCardGeneric(QFile& file, QDateTime downloadTimeUtc, FilenameRegion)
    : m_size(std::size_t(qMax(
          qint64(0), file.read(reinterpret_cast<char*>(m_data.data()), qint64(m_data.size())))))
    , m_downloadTime(std::move(downloadTimeUtc)) {}

SCardGeneric::~SCardGeneric() = default;

// A block's header is a file id of two bytes, a kind (0 and 1: data and signature of the first
// generation; 2 and 3: of the second) and a length of two bytes. Block 0501 begins with the type.
aux::Error SCardGeneric::readCardInfo() {
    // Cards that were downloaded through a vehicle unit begin with two extra bytes.
    std::size_t at = m_data[0] == 0x76 && m_data[1] == 0x06 ? 2 : 0;
    while (at + 5 < m_size) {
        if (m_data[at] == 0x05 && m_data[at + 1] == 0x01 && m_data[at + 2] % 2 == 0) {
            m_secondGeneration = m_secondGeneration || m_data[at + 2] == 2;
            m_type = CardType(m_data[at + 5]);
        }
        at += 5 + std::size_t(m_data[at + 3] * 256 + m_data[at + 4]);
    }
    if (m_type != CardType::Unknown)
        return aux::Error();
    return aux::Error(aux::ErrorData("libscard", title(), 1));
}

aux::Error SCardGeneric::calcDataSize() {
    return aux::Error();
}

aux::Error SCardGeneric::readData() {
    return aux::Error();
}

QString SCardGeneric::title() const {
    return "Card download of " + m_downloadTime.toString(Qt::ISODate);
}

QString SCardGeneric::textfieldToString(Name field) {
    return latin1Text(field);
}

QString SCardGeneric::textfieldToString(VehicleRegistrationNumber field) {
    return latin1Text(field);
}

} // namespace scard
