// The command line of readkey, as plain values.
#pragma once

#include "logbook.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

namespace readkey {

enum ExitStatus {
    ExitSuccess = 0,
    ExitFailure = 1, // a key could not be opened, or something that was asked for failed
    ExitUsage = 2,
};

struct View;

struct Options {
    QStringList paths;          // as they were given
    const View* view = nullptr; // none: the library's own events
    QString viewArgument;       // of --csv: what; of --html: the file
    Filter filter;
    bool utc = false;
    QString copyTo; // empty: nothing is copied
    bool makeDownloadedDir = false;
    bool remount = false;
    bool verbose = false;
};

struct CommandLine {
    enum Action { ReadKeys, ShowText, RefuseUsage };

    Action action = ReadKeys;
    Options options; // for ReadKeys
    QString text;    // for the others: help, version, or what is wrong
};

// `arguments` begins with the program's name.
CommandLine parseCommandLine(QStringList arguments);

} // namespace readkey
