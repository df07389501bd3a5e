// Who drove which vehicle when, from all keys together. A logbook is built once, from what the
// library reads from each file; the views only print it. An insertion that lasts past midnight, or
// that two downloads share, is one insertion here: one (plate, slot, insertion time, holder), taken
// from the newest download that closes it.
#pragma once

#include "clock.h"
#include "filecopier.h"

#include "downloadkey/downloadkey.h"

#include <QtCore/QHash>

#include <list>
#include <optional>
#include <vector>

namespace readkey {

// One entry of a key that is, or looks like, a download.
struct LogFile {
    enum Kind { Card, Vehicle, Other };
    enum Status { Ok, Failed, Skipped };

    QString key;     // the path as it was given; of a path to a single file its directory
    QString name;    // bare name
    qint64 size = 0; // bytes
    Kind kind = Other;
    Status status = Ok;
    FileCopier::Outcome copy = FileCopier::NotAsked;
    std::optional<qint64> downloaded; // seconds since 1970 UTC; none if the name carries none
    QString reason;                   // why it failed or was skipped, in plain words
    QString contents; // "driver card DF... Jo Sample", "AB 100 CD, 24 insertions", "failed"

    int cardType = 0; // as the card library numbers them; 0: no card
    int cardGeneration = 0;
    QString cardNumber;        // of driver cards, like the holder
    QString holder;            // "first names surname"
    QString plate;             // of a vehicle-unit file; at the end that of the newest download
    bool isFromFuture = false; // later than the day asOf: its time is not believed
};

// The last download of something. A download from the future does not count.
struct Download {
    std::optional<qint64> time; // seconds since 1970 UTC
    std::optional<qint64> age;  // whole days: midnights from `time` until the day asOf
    bool isOverdue = false;     // older than allowed, missing ("never") or from the future
    LogFile* file = nullptr;

    // Grows with the time. One from the future says less than one without a time.
    auto rank() const { return std::make_pair(time, !isOverdue); }
};

struct Totals {
    qint64 insertions = 0;
    qint64 kilometres = 0; // with a card in the driver's slot
    qint64 seconds = 0; // that a card was in: of a driver in any slot, otherwise the driver's slot
    qint64 kilometresWithoutCard = 0;
    qint64 kilometresWithoutData = 0; // as far as odometers say

    Totals& operator+=(const Totals& part);
};

struct VehicleSummary {
    size_t index = 0;     // its place in the logbook
    QString plate;        // as the newest download has it
    bool isWanted = true; // by its plate
    Download lastDownload;
    std::optional<qint64> knownFrom; // the first insertion of all, whatever the filter
    std::optional<qint64> knownTo;   // likewise the last end, or the download of the last insertion
    std::pair<qint64, std::optional<qint64>> last; // that insertion and its newest download
    qint64 drivers = 0;
    Totals totals;
    Totals crossing; // the part of them that crosses the edge of the filter's period
};

struct CardSummary {
    QString number;
    std::optional<qint64> generation; // 1 or 2
    Download lastDownload;
    // The first 14 characters are the holder's, the last two count replacements and renewals. Of a
    // holder's cards, under whatever name, the one downloaded last counts; of equal ones the one
    // renewed, then replaced, more often. Only a card that counts can be overdue.
    bool counts = false;
};

struct DriverSummary {
    size_t index = 0;
    QString name;         // "first names surname"
    bool isWanted = true; // by its name or a card's number
    // Holder by holder, the one that counts first. A missing card is one without a number; it is
    // overdue if there are cards of others.
    std::vector<CardSummary> cards;
    qint64 holders = 0; // by the cards; above 1 an insertion may be of any of them
    qint64 vehicles = 0;
    Totals totals;
    Totals crossing;
};

QString nameOf(const DriverSummary& driver); // "-", "Jo Sample", "Jo Sample (2 drivers)"

// With a card: from its insertion to its withdrawal; it has no end if the card was still in when
// the vehicle was downloaded. Otherwise a gap, between two insertions into the driver's slot.
// Without a card: one download has both the withdrawal before it and the insertion after it, so no
// card was in, and the vehicle was driven. Without data: no download has both; it is listed however
// far the vehicle was driven, and begins at the download if the card before it was still in.
struct Stretch {
    enum Kind { WithCard, WithoutCard, WithoutData };

    Kind kind = WithCard;
    VehicleSummary* vehicle = nullptr; // in the same logbook, and so on
    qint64 from = 0;                   // seconds since 1970 UTC
    std::optional<qint64> to;          // every gap has one
    qint64 end = 0; // `to`, or `from` if that is later; if open, until when a card may have been in
    std::optional<quint32> odometerFrom; // kilometres
    std::optional<quint32> odometerTo;
    LogFile* file = nullptr;         // which has the insertion, or that before a gap
    LogFile* fileAfter = nullptr;    // which has the insertion after a gap
    DriverSummary* driver = nullptr; // of a card
    quint16 slot = 0;                // 0 driver, 1 co-driver; others as the file has them
    // The withdrawal before a card from the driver's slot, if a file has both.
    std::optional<qint64> knownFrom;
    bool crosses = false; // the edge of the filter's period: the period beside it has it, too

    // Kilometres; none if a value is missing or runs back.
    std::optional<qint64> distance() const;
};

struct Failure {
    QString key;    // or the directory of the copies
    QString file;   // empty: the key as a whole
    QString reason; // in plain words, then the library's own in brackets
    // The file is damaged or unreadable. Otherwise something was asked for and not done.
    bool isDamage = false;
};

// Which insertions are wanted.
struct Filter {
    QString plate;
    QString driver;             // of the name or of a card's number
    std::optional<qint64> from; // seconds since 1970 UTC
    std::optional<qint64> to;   // the first second that is too late

    bool isActive() const { return !plate.isEmpty() || !driver.isEmpty() || from || to; }
};

// Numbers of files of all keys, whatever the filter.
struct FileCounts {
    qint64 files = 0; // without the skipped ones
    qint64 driverCards = 0;
    qint64 vehicles = 0;
    qint64 failed = 0;
    qint64 fromFuture = 0;
    qint64 copies[4] = {}; // by their outcome
};

// The words for a file's kind, status and copy; empty if there is none.
constexpr const char* kindNames[] = {"card", "vehicle", ""};
constexpr const char* statusNames[] = {"ok", "failed", "skipped"};
constexpr const char* copyNames[] = {"", "copied", "kept", "failed"};
constexpr const char* missingNames[] = {"", "card", "data"}; // of a stretch

// None for the library's "no value".
std::optional<quint32> kilometres(quint32 odometer);

// The kinds of cards, as the card library numbers them.
bool isDriverCard(int type);
QString cardTypeName(int type); // "driver", "workshop", "control", "company" or the number

// Whether each word that was typed is in the text. Words end at blanks and commas. Both are
// compared in Unicode's form NFKD and capital letters, without accents, blanks, commas and strokes,
// and with AE, OE and TH for ligatures and thorn.
bool matches(const QString& text, const QString& typed);

constexpr quint16 driverSlot = 0;

// A vehicle's data must be downloaded every 90 days, a driver card's every 28.
constexpr qint64 vehicleDownloadDays = 90;
constexpr qint64 cardDownloadDays = 28;

// It is filled file by file, then finished; the views show it. Its parts point to each other, so it
// cannot be copied.
class Logbook {
public:
    Logbook() = default;
    Q_DISABLE_COPY(Logbook)

    // A vehicle-unit file that could be read.
    void addVehicle(LogFile file, downloadkey::VehicleInfo& info);
    // Any other file. If it failed or was not copied, add a failure as well.
    void addFile(LogFile file);
    // No file counts as copied or kept any more. Add a failure as well.
    void doubtCopies();
    // Merges, filters and adds up. Call it once, at the end. A download later than that day
    // of this clock is from the future.
    void finish(const Filter& filter, const QDate& day, const Clock& clock);

    std::list<LogFile> files; // key by key: cards, vehicles, each newest first, then others
    std::vector<Failure> failures;
    std::vector<Failure> warnings; // what is odd, but no failure
    qint64 otherEntries = 0;       // of the keys, that do not look like downloads

    // Once it is finished:
    std::vector<Stretch> stretches;     // by plate, then time
    std::list<VehicleSummary> vehicles; // by plate
    std::list<DriverSummary> drivers;   // by name
    bool hasSeveralKeys = false;        // so that a file's name does not say which file it is
    bool hasSharedNames = false;        // so that a driver's name does not say who it is
    Totals totals;                      // of all vehicles
    Totals crossing;
    FileCounts counts;
    std::optional<qint64> newestDownload; // of those that count
    QDate asOf;                           // the day to which ages count: until its last second
    qint64 insertionsFound = 0;           // with those that the filter leaves out
    bool countsGaps = true; // they are nobody's, so there are none if a driver is asked for

    // Kilometres without a card or data; none if they were not counted.
    auto ofGaps(qint64 km) const { return countsGaps ? std::optional(km) : std::nullopt; }
    // "KEY", "FILE" or, among several keys, "KEY: FILE".
    QString placeOf(const Failure& failure) const;

private:
    VehicleSummary& vehicleOf(const QString& plate);
    DriverSummary& driverOf(const QString& name);
    void takeDownloads(const Clock& clock);

    QHash<QString, VehicleSummary*> m_vehicles; // by plate, in capitals without blanks
    QHash<QString, DriverSummary*> m_drivers;   // by name
};

} // namespace readkey
