// The views of readkey. A view shows a logbook: it is a function and one line in the table. It has
// a file of its own, unless it shares parts with another view.
#pragma once

#include "options.h"

#include "downloadkey/downloadkey.h"

#include <QtCore/QIODevice>

namespace readkey {

struct View {
    const char* option; // without dashes; null: the default
    bool intoFile;      // the value names the file to write; "-" is standard output
    // Writes the whole view. An error of the device is for the caller to see.
    void (*write)(const Logbook& book, const Options& options, QIODevice& out);
};

void writeTables(const Logbook& book, const Options& options, QIODevice& out);
void writeSummary(const Logbook& book, const Options& options, QIODevice& out);
void writeJson(const Logbook& book, const Options& options, QIODevice& out);
void writeCsv(const Logbook& book, const Options& options, QIODevice& out);
QStringList csvKinds(); // the arguments that --csv takes, the default first
void writeHtml(const Logbook& book, const Options& options, QIODevice& out);
// With --events the library's own signals are written while a key is read, and nothing after that.
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
