// Synthetic tachograph downloads, built in memory with the sizes that Annex 1B and Annex 1C of the
// regulation give. Tests, tools, benchmarks and fuzz targets all get their input from here.
//
// Each description is a plain value with sensible defaults, so that a test sets only the fields
// that matter to it. The same description always gives the same bytes. Nothing here uses the
// library.
#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <cstdint>
#include <vector>

namespace samples {

enum class Generation { Gen1, Gen2V1, Gen2V2 };

// A padded text field: code page byte, text in that code page (cut to size - 1 bytes) and blanks.
QByteArray textField(const QByteArray& text, int size, unsigned char codePage = 1);

// One VuCardIWRecord. Odometers are 24 bits, times are seconds since 1970 UTC.
struct CardRecord {
    QByteArray surname = "Sample";
    QByteArray firstNames = "Jo";
    QByteArray cardNumber = "DF00000000000100"; // 16 characters
    std::uint32_t insertionTime = 0;
    std::uint32_t odometerAtInsertion = 0;
    unsigned char slot = 0;
    std::uint32_t withdrawalTime = 0;
    std::uint32_t odometerAtWithdrawal = 0;
    unsigned char codePage = 1;
};

// One downloaded day: an activity block (TREP 02, 22 or 32).
struct Day {
    std::uint32_t date = 0; // midnight UTC
    std::uint32_t odometerMidnight = 0;
    std::vector<CardRecord> cardRecords;
    int activityChanges = 0;
    int places = 0;
    int gnssPositions = 0; // second generation only
    int specificConditions = 0;
    int borderCrossings = 0; // second generation version 2 only
    int loadOperations = 0;  // second generation version 2 only
};

// A vehicle-unit download: the overview block, one activity block for each day, and what follows.
struct VehicleUnit {
    Generation generation = Generation::Gen2V2;
    QByteArray plate = "AB 123 CD";
    unsigned char plateCodePage = 1;
    QByteArray vin = "ZZZZZZ00000000001"; // 17 characters
    std::uint32_t downloadTime = 0;
    int companyLocks = 0;
    int controlActivities = 0;
    std::vector<Day> days;
    // Whether the blocks of events and faults, detailed speed and technical data follow. Without
    // them, the file ends with its last activity block.
    bool furtherBlocks = true;
    QByteArray trailer;      // bytes at the very end
    std::uint32_t noise = 1; // seeds the bytes of certificates and signatures
};

QByteArray vehicleUnitFile(const VehicleUnit& unit);

// The parts of vehicleUnitFile(), for tests that build a file themselves.
QByteArray recordArray(unsigned char type, int recordSize, int count, const QByteArray& records);
QByteArray overviewBlock(const VehicleUnit& unit);
QByteArray activityBlock(const VehicleUnit& unit, const Day& day);
QByteArray cardRecord(Generation generation, const CardRecord& record); // 129 or 131 bytes

// A card download: blocks of file id, kind, length and value.
struct Card {
    unsigned char type = 1; // 1 driver, 2 workshop, 3 control, 4 company
    int generation = 1;     // 1 or 2; 2 also carries the first generation's blocks
    QByteArray cardNumber = "DF00000000000100";
    QByteArray surname = "Sample"; // a company's card does not name a person
    QByteArray firstNames = "Jo";
    unsigned char codePage = 1;
    bool throughVehicleUnit = false;      // begins with 76 06
    std::uint32_t issueTime = 1577836800; // 2020-01-01
    std::uint32_t noise = 1;
};

QByteArray cardFile(const Card& card);

// One block of a card download: id, kind (0 first-generation data, 1 its signature, 2
// second-generation data, 3 its signature), length and value.
QByteArray cardBlock(unsigned short fileId, unsigned char kind, const QByteArray& value);

// `days` days with `recordsPerDay` card insertions each, one after another, for measurements that
// need to know their number. The last day is the one before the day of `lastDay`. The very last
// card is not withdrawn (its withdrawal time and odometer are FF bytes). The same `seed` gives the
// same days.
std::vector<Day> evenDays(Generation generation, int days, int recordsPerDay, std::uint32_t lastDay,
                          std::uint32_t seed = 1);

// One file of a sample key.
struct KeyFile {
    QString name; // bare file name
    QByteArray bytes;
};

struct KeyOptions {
    int days = 28;
    int records = 4; // card insertions on a busy day; quiet days have fewer, free days none
    int files = 6;   // number of vehicle-unit files, and also of card files, at most 100000;
                     // their generations take turns
    std::uint32_t seed = 1;
    bool oddities = false; // adds irregular things that real keys have: see oddFiles()
};

// One file of a key's download directory. `index` is less than twice `files`; the even ones are
// vehicle-unit files. Every name is different, and the contents fit the time in the name. A driver
// is in one vehicle at a time, and the odometer values of a vehicle never run back. With oddities,
// a card stays in over midnight, and a vehicle is driven without a card.
KeyFile sampleKeyFile(const KeyOptions& options, int index);

// The extra files of a key with oddities: a second download of a vehicle that overlaps the first, a
// cut one, a picture with a valid name, and names that are not downloads. Otherwise none.
std::vector<KeyFile> oddFiles(const KeyOptions& options);

// All files of a key's download directory, as makekey writes them.
std::vector<KeyFile> sampleKey(const KeyOptions& options = {});

} // namespace samples
