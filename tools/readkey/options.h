// The command line of readkey, as plain values.
#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>

namespace readkey {

enum ExitStatus {
    ExitSuccess = 0,
    ExitFailure = 1, // the key could not be opened, or something that was asked for failed
    ExitUsage = 2,
};

enum class Format { Table, JsonLines, Csv };

struct Options {
    QString mountDir; // as it was given
    Format format = Format::Table;
    QString copyTo; // empty: nothing is copied
    bool makeDownloadedDir = false;
    bool remount = false;
    bool verbose = false;
};

struct CommandLine {
    enum Action { ReadKey, ShowText, RefuseUsage };

    Action action = ReadKey;
    Options options; // for ReadKey
    QString text;    // for the others: help, version, or what is wrong
};

// `arguments` begins with the program's name.
CommandLine parseCommandLine(const QStringList& arguments);

} // namespace readkey
