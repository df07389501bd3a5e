// The command line of readkey, as plain values.
#pragma once

#include "logbook.h"

#include <QtCore/QStringList>

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
};

struct CommandLine {
    Options options;
    QString output = {};  // the help or the version
    QString problem = {}; // what is wrong
};

// `arguments` begins with the program's name.
CommandLine parseCommandLine(QStringList arguments);

} // namespace readkey
