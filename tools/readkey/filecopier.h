// Opens the files of a key, which may be anything, and copies them into a directory: each whole or
// not at all, never overwriting another file.
#pragma once

#include <QtCore/QDateTime>
#include <QtCore/QFile>
#include <QtCore/QStringList>

namespace readkey {

// Bytes. Vehicle units and cards hold a few megabytes at most.
constexpr qint64 largestDownload = qint64{64} * 1024 * 1024;

// How readkey opens a file on a key: for reading, without blocking, and following no link. Since
// the directory was listed, anything may have taken its place. Returns 0 or an errno: ELOOP if it
// is not a regular file, EFBIG if it is too large for a download. `file` may be open even then.
int openRegular(QFile& file);

class FileCopier {
public:
    enum Outcome {
        NotAsked, // for callers without a copier
        Copied,   // and, after sync(), on the disk; there may be a message
        Kept,     // the same bytes were there already; they were not touched
        Failed,   // the message says why; nothing was left behind
    };
    struct Result {
        QString message; // why it failed, or what is odd about the copy
        Outcome outcome = Failed;
    };

    explicit FileCopier(const QString& directory)
        : m_directory(directory) {}

    // Creates the directory, one level, if it is missing. Refuses one that is, or is inside, one
    // of the `sources`, even through links: that would not be a copy. Returns why nothing can be
    // copied there, or nothing.
    QString open(const QStringList& sources);

    // Copies the file at `path`, whose bare name it keeps. `time` becomes the modification time.
    Result copy(const QString& path, const QDateTime& time);

    // Writes the names of all copies to the disk. Returns 0 or an errno.
    int sync();

private:
    QString m_directory;
};

} // namespace readkey
