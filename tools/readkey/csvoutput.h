// One line of CSV for each card insertion, as RFC 4180 has it, in UTF-8. Times are UTC. A cell is
// empty where there is no value: an odometer without one, a card that was not withdrawn yet.
// Control characters are written as escapes ("\x1B", "\u202E"); nothing else is changed.
#pragma once

#include "output.h"

namespace readkey {

class CsvOutput : public Output {
public:
    using Output::Output;

    void openReturned(const aux::Error& error) override; // the header line
    void contents(const KeyContents& contents) override;
};

} // namespace readkey
