// A vehicle-unit download file of any generation: its registration plate, and the driver cards that
// were inserted and withdrawn.
//
// A VehicleInfo owns the whole loaded file; its copies share those bytes. It belongs to the thread
// that created it, takes no locks and has no parent object.
#pragma once

#include "downloadkey/global.h"

#include "auxiliary/error.h"

#include <QtCore/QByteArray>
#include <QtCore/QDateTime>
#include <QtCore/QObject>
#include <QtCore/QString>

#include <vector>

class QFile;

namespace downloadkey {

// Kilometres of an insertion or withdrawal for which the file holds no odometer value.
inline constexpr quint32 noOdometerValue = 0xFFFFFFFF;

// What vehicle units write as the withdrawal time of a card that has not been withdrawn: seconds
// since 1970-01-01 00:00 UTC. As a date it is 2106-02-07 06:28:15 UTC.
inline constexpr qint64 notWithdrawn = 0xFFFFFFFF;

// Bytes; no parser takes a smaller file.
inline constexpr quint32 smallestVehicleUnitFile = 621;

class DOWNLOADKEY_EXPORT VehicleInfo : public QObject {
    Q_OBJECT

public:
    // One card insertion and its withdrawal, as the vehicle unit recorded them.
    struct _FeDriverActivities {
        // "first names, surname"; ", " if both are empty.
        QString holderName;
        // An instant from 1970 to 2106, in local time. 0 and notWithdrawn are converted too. In the
        // hour that a zone's clocks repeat, Qt may return a different instant from the file's: two
        // insertions an hour apart can then compare as equal, and the second one is dropped as a
        // repeat.
        QDateTime insertionTime;
        // Kilometres; noOdometerValue if the file holds none.
        quint32 odometerAtInsertion = 0;
        // 0 driver's slot, 1 co-driver's slot; other bytes of the file are kept as they are.
        quint16 slot = 0;
        // Like insertionTime; its seconds are notWithdrawn if the card had not been withdrawn.
        QDateTime withdrawalTime;
        // Like odometerAtInsertion.
        quint32 odometerAtWithdrawal = 0;
    };

    // Loads the file from its current position to its end. The caller has opened it for reading and
    // closes it; it is not used after the constructor.
    //
    // Nothing is loaded, which read() reports, if the file is missing or not open, if it cannot be
    // read to its end, or if it has 2 GiB or more from the position on or more than there is memory
    // for. (How much memory a file without a size needs, such as a pipe, is not known in advance:
    // if it cannot be allocated, std::bad_alloc passes through.)
    explicit VehicleInfo(QFile& file);

    // A copy with the same results, sharing the loaded bytes. It stays valid when `other` is
    // destroyed.
    VehicleInfo(const VehicleInfo& other);
    VehicleInfo& operator=(const VehicleInfo&) = delete;

    ~VehicleInfo() override;

    // Parses the loaded file; its first two bytes choose the parser. An error without entries means
    // success; otherwise it holds one entry, with code 0.
    //
    // Call it once: a second call overwrites the plate and appends the activities again. After a
    // failure the plate and the activities that were found before it remain.
    virtual aux::Error read();

    // The parsers: first generation (bytes 76 01), second generation version 1 (76 21) and version
    // 2 (76 31). Each refuses a file smaller than smallestVehicleUnitFile and one that does not
    // begin with its own bytes.
    virtual aux::Error readGen1();
    virtual aux::Error readGen2_1();
    virtual aux::Error readGen2_2();

    // Reads the five-byte header of a second-generation record array at `position`: record type (1
    // byte), record size (2 bytes) and number of records (2 bytes), big-endian. On success it
    // moves the position past the header and returns true. If the type differs, or no byte follows
    // the header, it returns false, leaves the position as it was and sets both outputs to 0.
    bool readHeader(unsigned int& position, unsigned char recordType, unsigned short& recordSize,
                    unsigned short& recordCount);

    // Moves the position past `recordCount` records of `recordSize` bytes. If no byte follows them,
    // it returns false and leaves the position as it was.
    bool skipRecordData(unsigned int& position, unsigned short recordSize,
                        unsigned short recordCount);

    // The registration plate without padding; empty before read().
    QString getPlateString();

    // The card insertions in the order of the file; empty before read().
    std::vector<_FeDriverActivities> getDriverActivities() const;

private:
    QByteArray m_fileData;
    const unsigned char* m_data;
    quint32 m_dataSize;
    QString m_plateString;
    std::vector<_FeDriverActivities> m_driverActivities;
};

} // namespace downloadkey
