// The files of a key, one by one. The library's read() says only that some file failed, and parses
// only the newest ones. People want to see all of them, and which failed and why.
#pragma once

#include "logbook.h"

namespace readkey {

// The contents of a download directory.
struct Listing {
    // Card files, newest first, then vehicle-unit files, newest first, then skipped and failed
    // ones likewise. The caller sets `key`.
    std::vector<LogFile> files;
    QStringList others; // names that do not look like downloads
    int error = 0;      // an errno if the directory could not be listed to its end
};

// Lists the directory by the library's rules, including what the library passes over.
Listing listFiles(const QString& downloadDir);

// What the bare name says of a file.
LogFile fileOf(const QString& name);

// Reads the file at `path`; the contents decide an unknown kind. Returns what a vehicle-unit file
// holds; a card's data and a failure go into `file`. Of `key` only generateSpecific() is used.
std::unique_ptr<downloadkey::VehicleInfo> readFile(downloadkey::DownloadKey& key,
                                                   const QString& path, LogFile& file);

// The texts of an error's entries, in their order.
QString errorText(const aux::Error& error);

} // namespace readkey
