// The host's smart-card file library: card download files of both generations.
//
// A card file is read in steps: SCardGeneric::readCardInfo() finds out what card it is, an object
// of that kind is created from the generic one, and its calcDataSize() and readData() read the
// contents. The file must stay open until readData() has returned or the last object created from
// it has been destroyed. Nothing here is thread-safe.
#pragma once

#include "auxiliary/error.h"
#include "scard/scardtypes.h"

#include <QtCore/QDateTime>
#include <QtCore/QString>

class QFile;

namespace scard {

// The region given by a file's name. Nothing in this library depends on it.
enum class FilenameRegion : int {
    Unknown = 0,
};

class SCardGeneric {
public:
    // `file` is open for reading and is not owned; it is read from its beginning. `downloadTime` is
    // UTC.
    SCardGeneric(QFile& file, QDateTime downloadTime, FilenameRegion region);
    SCardGeneric(const SCardGeneric& other);
    SCardGeneric& operator=(const SCardGeneric&) = delete;
    virtual ~SCardGeneric();

    // Finds the card's type and generation. An error without entries means success. Fails if the
    // file is not open, cannot be read, or does not say what card it is; blocks after a damaged one
    // are not found.
    aux::Error readCardInfo();

    // 0 before readCardInfo(); then 1 driver, 2 workshop, 3 control or 4 company card.
    int getCardType() const;

    // Whether the card is of the second generation (it also carries the first generation's data).
    bool is2ndGeneneration() const;

    // Checks the sizes of the file's blocks; fails if one of them runs past the end of the file.
    virtual aux::Error calcDataSize();

    // Reads the card's number and its holder's name, and forgets the file, so that a second call
    // fails. A second-generation card's number and names come from its second-generation
    // application if that has them.
    virtual aux::Error readData();

    // What the constructor was given.
    QDateTime downloadTime() const;
    FilenameRegion region() const;

    // 16 characters, without padding; empty before readData().
    QString cardNumber() const;

    // "first names surname"; empty before readData().
    QString holderName() const;

    // The text of a field: its first byte names the code page (1 to 16: ISO 8859-1 to -16, 80:
    // KOI8-R, 85: KOI8-U, anything else is read as ISO 8859-1). NUL bytes are not text, nor are
    // 0xFF bytes at the end or in a code page in which 0xFF is not a letter. Padding blanks are
    // kept.
    static QString textfieldToString(Name field);
    static QString textfieldToString(VehicleRegistrationNumber field);

private:
    QFile* m_file; // null after readData()
    QDateTime m_downloadTime;
    FilenameRegion m_region;
    int m_cardType = 0;
    bool m_secondGeneration = false;
    QString m_cardNumber;
    QString m_holderName;
};

} // namespace scard
