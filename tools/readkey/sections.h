// What the views for people share: the lines before and after their own tables.
#pragma once

#include "options.h"
#include "table.h"
#include "text.h"

namespace readkey {

// Which zone the times are in, and what the filter asks for.
QString openingText(const Logbook& book, const Options& options);

// Every file with what is in it, what failed in plain words, and a line that counts it all.
QString closingText(const Logbook& book, const Clock& clock, const Paper& paper);

} // namespace readkey
