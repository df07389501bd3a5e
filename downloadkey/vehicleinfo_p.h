// What the parsers of all generations share: errors, the plate, and how card records become
// results. Pointers to bytes point into the loaded file; the caller has checked that the field or
// record lies inside it.
#pragma once

#include "downloadkey/vehicleinfo.h"

namespace downloadkey {

// An error of one entry: component "libdownloadkey", the text, code 0.
aux::Error makeVehicleInfoError(QString text);

// For a file that is not loaded, or shorter than smallestVehicleUnitFile. `function` is its name in
// the message, such as "read".
aux::Error makeFileTooSmallError(const char* function);

// What a block begins with: 0x76 and its TREP value.
enum Tag : quint32 {
    Gen1Overview = 0x7601,
    Gen1Activities = 0x7602,
    Gen2V1Overview = 0x7621,
    Gen2V1Activities = 0x7622,
    Gen2V2Overview = 0x7631,
    Gen2V2Activities = 0x7632,
};

constexpr quint32 tagSize = 2;
constexpr quint32 nameSize = 36;
constexpr quint32 plateSize = 14;

// A VuCardIWRecord begins with the holder's surname and first names, of nameSize bytes each.
// Everything from the insertion time on is the same in all generations.
struct CardRecordLayout {
    quint32 size;          // bytes
    quint32 insertionTime; // offset from the record's first byte
};

// A registration-number field of plateSize bytes as text, without white space around it.
QString readPlate(const unsigned char* bytes);

// Turns card records into results. A record with the same insertion time as the one taken before it
// is dropped: a card that stays in is recorded again.
class CardRecordReader {
public:
    // Both arguments belong to the caller and outlive the object.
    CardRecordReader(const CardRecordLayout& layout,
                     std::vector<VehicleInfo::_FeDriverActivities>& results)
        : m_layout(layout)
        , m_results(results) {}

    // Reads `count` adjacent records.
    void read(const unsigned char* records, quint32 count);

private:
    void readOne(const unsigned char* record);

    const CardRecordLayout& m_layout;
    std::vector<VehicleInfo::_FeDriverActivities>& m_results;
    QDateTime m_lastInsertion; // of the record that was taken last
};

} // namespace downloadkey
