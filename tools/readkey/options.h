// The command line of readkey, as plain values, and the views that it chooses from. A view shows a
// logbook: it is a function and one line in the table. It has a file of its own, unless it shares
// parts with another view.
#pragma once

#include "logbook.h"

#include <QtCore/QIODevice>
#include <QtCore/QStringList>

namespace readkey {

struct View;

struct Options {
    QStringList paths;          // as they were given
    const View* view = nullptr; // none: the library's own events
    QString viewArgument;       // of --csv: what; of --html: the file
    Filter filter;
    QDate asOf; // the day to which ages count
    bool utc = false;
    QString copyTo; // empty: nothing is copied
    bool makeDownloadedDir = false;
    bool remount = false;
    bool verbose = false;
};

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

constexpr View views[] = {
    {nullptr, false, writeTables}, {"summary", false, writeSummary}, {"json", false, writeJson},
    {"csv", false, writeCsv},      {"html", true, writeHtml},
};

struct CommandLine {
    Options options;
    QString text = {}; // help or version, which are all that is wanted, or what is wrong
    bool isWrong = false;
};

// `arguments` begins with the program's name.
CommandLine parseCommandLine(QStringList arguments);

} // namespace readkey
