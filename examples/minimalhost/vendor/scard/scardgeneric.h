// Card download files. This library keeps the beginning of a file, in which it looks for the block
// with the card's type.
#pragma once

#include "auxiliary/error.h"

#include <QtCore/QDateTime>
#include <QtCore/QString>

#include <array>

class QFile;

struct Name {
    unsigned char bytes[36];
};
struct VehicleRegistrationNumber {
    unsigned char bytes[14];
};

namespace scard {

enum class FilenameRegion { Unknown, Europe };
enum class CardType { Unknown = 0, Driver = 1, Workshop = 2, Control = 3, Company = 4 };

class SCardGeneric {
public:
    SCardGeneric(QFile& file, QDateTime downloadTimeUtc, FilenameRegion region);
    virtual ~SCardGeneric();

    aux::Error readCardInfo();
    CardType getCardType() const { return m_type; }
    bool is2ndGeneneration() const { return m_secondGeneration; }

    virtual aux::Error calcDataSize();
    virtual aux::Error readData();
    virtual QString title() const;

    static QString textfieldToString(Name field);
    static QString textfieldToString(VehicleRegistrationNumber field);

private:
    std::array<unsigned char, 16 * 1024> m_data{};
    std::size_t m_size;
    QDateTime m_downloadTime;
    CardType m_type = CardType::Unknown;
    bool m_secondGeneration = false;
};

} // namespace scard
