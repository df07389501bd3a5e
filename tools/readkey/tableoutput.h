// Tables for people: driver cards, vehicles with their card insertions, files, and a summary.
// Written when all is known. Times are local.
#pragma once

#include "output.h"

namespace readkey {

class TableOutput : public Output {
public:
    using Output::Output;

    void contents(const KeyContents& contents) override;
};

} // namespace readkey
