// The views of readkey. A view shows a logbook: it is a function and a row of the table. It has its
// own file, unless it shares parts with another view.
#pragma once

#include "options.h"

#include "downloadkey/downloadkey.h"

#include <QtCore/QIODevice>

namespace readkey {

class Table;
struct Paper;

struct View {
    const char* option; // without dashes; null: the default
    bool intoFile;      // the value names the file to write; "-" is standard output
    // Writes the whole view. The caller checks the device for errors.
    void (*write)(const Logbook& book, const Options& options, QIODevice& out);
};

void writeTables(const Logbook& book, const Options& options, QIODevice& out);
void writeSummary(const Logbook& book, const Options& options, QIODevice& out);
// What the tables and the page share.
Table vehicleTable(const Logbook& book, const Paper& paper);
Table driverTable(const Logbook& book, const Paper& paper);
Table fileTable(const Logbook& book, const Paper& paper);
// "3: 1,240 km, 31.5 h", and the kilometres without a card or data; empty if nothing crosses.
QString crossingText(const Totals& totals, const Paper& paper, const char* link = ": ");
void writeJson(const Logbook& book, const Options& options, QIODevice& out);
void writeCsv(const Logbook& book, const Options& options, QIODevice& out);
QStringList csvKinds(); // the arguments that --csv takes, the default first
void writeHtml(const Logbook& book, const Options& options, QIODevice& out);
// --events writes the library's own signals while a key is read, and nothing after that.
inline void writeNothing(const Logbook& /*book*/, const Options& /*options*/, QIODevice& /*out*/) {}
void writeSignals(downloadkey::DownloadKey& key,
                  QIODevice& out); // as they come; `out` lasts longer
void writeReturned(const QString& call, const aux::Error& error, QIODevice& out); // "open", "read"

constexpr View views[] = {
    {nullptr, false, writeTables}, {"summary", false, writeSummary},
    {"json", false, writeJson},    {"csv", false, writeCsv},
    {"html", true, writeHtml},     {"events", false, writeNothing},
};

} // namespace readkey
