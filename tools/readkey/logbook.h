// What all keys together tell: who drove which vehicle when. A logbook is built once, from what the
// library gives for each file; the views only print it. Plain values, no threads of their own.
//
// An insertion that goes on over midnight, or that two downloads share, is one insertion here: one
// (plate, slot, insertion time, holder), taken from the newest download that closes it.
#pragma once

#include <QtCore/QHash>
#include <QtCore/QString>

#include <optional>
#include <vector>

namespace downloadkey {
class VehicleInfo;
}

namespace readkey {

// One entry of a key that is, or looks like, a download.
struct LogFile {
    enum Kind { Card, Vehicle, Other };
    enum Status { Ok, Failed, Skipped };
    enum Copy { NotAsked, Copied, Kept, NotCopied };

    QString key;  // the path as it was given
    QString name; // bare name
    Kind kind = Other;
    Status status = Ok;
    Copy copy = NotAsked;
    std::optional<qint64> downloaded; // seconds since 1970 UTC; none if the name carries none
    QString reason;                   // why it failed or was skipped, in plain words
    QString contents; // "driver card DF... Jo Sample", "AB 100 CD, 24 insertions", "failed"

    int cardType = 0; // as the card library numbers them; 0: no card
    int cardGeneration = 0;
    QString cardNumber; // of driver cards, like the holder
    QString holder;     // "first names surname"
    QString plate;      // of a vehicle-unit file
};

struct Insertion {
    size_t vehicle = 0; // index into vehicles, and so on
    size_t driver = 0;
    quint16 slot = 0;                // 0 driver, 1 co-driver; others as the file has them
    qint64 inserted = 0;             // seconds since 1970 UTC
    std::optional<qint64> withdrawn; // none: not withdrawn when the vehicle was downloaded
    std::optional<quint32> odometerAtInsertion; // kilometres
    std::optional<quint32> odometerAtWithdrawal;
    size_t file = 0; // where it was taken from

    // Kilometres; none where a value is missing or runs back.
    std::optional<qint64> distance() const;
    // Seconds; 0 while it is open.
    qint64 duration() const;
};

// Kilometres that a vehicle was driven without a card in the driver's slot.
struct Gap {
    size_t vehicle = 0;
    qint64 from = 0; // the withdrawal before, the insertion after
    qint64 to = 0;
    quint32 fromOdometer = 0;
    quint32 toOdometer = 0;
};

struct VehicleSummary {
    QString plate;
    std::optional<qint64> lastDownload;
    bool overdue = false; // at the newest download of all
    qint64 insertions = 0;
    qint64 drivers = 0;
    qint64 kilometres = 0; // with a card in the driver's slot
    qint64 seconds = 0;    // likewise
    qint64 kilometresWithoutCard = 0;
};

struct DriverSummary {
    QString name; // "first names surname"
    QString cardNumber;
    int cardGeneration = 0;
    std::optional<qint64> cardDownload; // the newest
    bool overdue = false;
    qint64 insertions = 0;
    qint64 vehicles = 0;
    qint64 kilometres = 0; // in the driver's slot
    qint64 seconds = 0;    // in any slot
};

struct Failure {
    QString key;  // or the directory of the copies
    QString file; // empty: the key as a whole
    QString reason;
};

// Which insertions are wanted. Texts may be any part, in any letter case.
struct Filter {
    QString plate;
    QString driver;             // of the name or the card number
    std::optional<qint64> from; // seconds since 1970 UTC
    std::optional<qint64> to;   // the first second that is too late

    bool isActive() const { return !plate.isEmpty() || !driver.isEmpty() || from || to; }
};

// The words for a file's kind, status and copy; empty where there is none.
constexpr const char* kindNames[] = {"card", "vehicle", ""};
constexpr const char* statusNames[] = {"ok", "failed", "skipped"};
constexpr const char* copyNames[] = {"", "copied", "kept", "failed"};

constexpr quint16 driverSlot = 0;

// A vehicle's data must be downloaded every 90 days, a driver card's every 28.
constexpr qint64 secondsPerDay = 86400;
constexpr qint64 vehicleDownloadDays = 90;
constexpr qint64 cardDownloadDays = 28;

struct Logbook {
    std::vector<LogFile> files; // key by key: cards, vehicles, each newest first, then the rest
    std::vector<Insertion> insertions;    // by plate, then time
    std::vector<Gap> gaps;                // likewise
    std::vector<VehicleSummary> vehicles; // by plate
    std::vector<DriverSummary> drivers;   // by name
    std::vector<Failure> failures;
    std::optional<qint64> newestDownload; // of the files that could be read: ages count from it
    size_t otherEntries = 0;              // of the keys, that do not look like downloads
    size_t insertionsFound = 0;           // with those that the filter leaves out
};

class LogbookBuilder {
public:
    // A vehicle-unit file that could be read.
    void addVehicle(LogFile file, downloadkey::VehicleInfo& vehicle);
    // Any other file. A failed one, or one that could not be copied, needs a failure of its own.
    void addFile(LogFile file);
    void addFailure(Failure failure) { m_book.failures.push_back(std::move(failure)); }
    void addOtherEntries(size_t count) { m_book.otherEntries += count; }

    // Merges, filters and adds up. Call it once, at the end.
    Logbook finish(const Filter& filter);

private:
    size_t driverOf(const QString& name);
    void takeCard(LogFile& file);

    Logbook m_book;
    QHash<QString, size_t> m_vehicles; // indices by plate
    QHash<QString, size_t> m_drivers;  // by name
};

} // namespace readkey
