// The command line of readkey, as plain values, and its views. A view shows a logbook: it is a
// function and a row of the table.
#pragma once

#include "logbook.h"
#include "table.h"

#include <QtCore/QIODevice>

namespace readkey {

struct View;

struct Options {
    QStringList paths;          // as they were given
    const View* view = nullptr; // never null once they are parsed
    QString viewArgument;       // of --csv: what; of --html: the file
    Filter filter;
    QDate asOf; // the day to which ages count
    bool utc = false;
    QString copyTo; // empty: nothing is copied
    bool makeDownloadedDir = false;
    bool remount = false;
    bool verbose = false;
    QString output;  // instead of a view: the help or the version
    QString problem; // what is wrong with the command line
};

// `arguments` begins with the program's name.
Options parseCommandLine(QStringList arguments);

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
void writeSignals(downloadkey::DownloadKey& key, QIODevice& out); // `out` must outlive `key`
void writeReturned(const QString& call, const aux::Error& error, QIODevice& out); // "open", "read"

constexpr View views[] = {
    {nullptr, false, writeTables}, {"summary", false, writeSummary},
    {"json", false, writeJson},    {"csv", false, writeCsv},
    {"html", true, writeHtml},     {"events", false, writeNothing},
};

} // namespace readkey
