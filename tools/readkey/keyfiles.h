// What is on a key, as readkey keeps it; and a second look at a key's files. The library's read()
// tells only that some file failed. A person wants to know which and why, and wants to see the
// others.
#pragma once

#include "downloadkey/downloadkey.h"

#include <QtCore/QDateTime>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <memory>
#include <vector>

namespace readkey {

// Of each kind only this many files, the newest, are parsed.
constexpr int ParsedFiles = 100;

struct KeyFile {
    QString name; // without directory
    QDateTime time;
};

// The download files of a download directory, newest first.
struct KeyFiles {
    std::vector<KeyFile> cards;
    std::vector<KeyFile> vehicles;
    QStringList unreadable; // download files that this process may not read
    QStringList misnamed;   // likewise, whose names are not UTF-8, so that no listing shows them
    int others = 0;         // entries that are no download files
    int error = 0;          // an errno when the directory could not be listed to its end
};

struct VehicleFile {
    QString name;
    std::shared_ptr<downloadkey::VehicleInfo> info;
};

struct OfferedFile {
    enum Copy { NotAsked, Copied, Kept, Failed };

    KeyFile file;
    bool isCard = false;
    Copy copy = NotAsked;
};

struct KeyContents {
    std::vector<std::shared_ptr<scard::SCardGeneric>> cards; // driver cards
    std::vector<VehicleFile> vehicles;
    std::vector<OfferedFile> offered;
    int others = 0;
    bool complete = true; // no file failed
};

struct FileFailure {
    QString name;
    QString reason;
};

// Lists the directory by the same rules as the library, but unreadable files too.
KeyFiles listKeyFiles(const QString& downloadDir);

// Reads the files once more, as DownloadKey::read() does, puts those that can be read into
// `contents`, and returns what is wrong with each of the others. `key` only lends its
// generateSpecific().
std::vector<FileFailure> examine(downloadkey::DownloadKey& key, const QString& downloadDir,
                                 const KeyFiles& files, KeyContents& contents);

// The texts of an error's entries, in their order.
QString errorText(const aux::Error& error);

} // namespace readkey
