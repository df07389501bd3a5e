// The files of a key, one by one: what a download directory holds, and what a single file holds.
// The library's read() tells only that some file failed, and parses only the newest ones. A person
// wants to know which and why, and wants to see all of them.
#pragma once

#include "logbook.h"

#include "downloadkey/downloadkey.h"

namespace readkey {

// What stands in a download directory.
struct Listing {
    // Card files, newest first, then vehicle-unit files, newest first; then those that are skipped
    // or have failed already, by name. `key` is left to the caller.
    std::vector<LogFile> files;
    QStringList others; // names that do not look like downloads
    int error = 0;      // an errno when the directory could not be listed to its end
};

// Lists the directory by the same rules as the library, but with what the library passes over.
Listing listFiles(const QString& downloadDir);

// What the bare name tells of a file that is to be read.
LogFile fileOf(const QString& name);

// Reads the file at `path`. If its kind is not known, its contents decide. A failure is told in
// `file`. Returns what a vehicle-unit file holds; a card goes into `file`. `key` only lends its
// generateSpecific().
std::unique_ptr<downloadkey::VehicleInfo> readFile(downloadkey::DownloadKey& key,
                                                   const QString& path, LogFile& file);

// The texts of an error's entries, in their order.
QString errorText(const aux::Error& error);

} // namespace readkey
