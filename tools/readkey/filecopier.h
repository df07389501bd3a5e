// Copies files into a directory: each whole or not at all, never overwriting another file.
#pragma once

#include <QtCore/QDateTime>
#include <QtCore/QFile>
#include <QtCore/QStringList>

namespace readkey {

class FileCopier {
public:
    enum Outcome {
        NotAsked, // for callers without a copier
        Copied,   // and, after sync(), on the disk; warning() may have something to say
        Kept,     // the same bytes were there already; they were not touched
        Failed,   // error() says why; nothing was left behind
    };

    explicit FileCopier(const QString& directory)
        : m_directory(directory) {}
    ~FileCopier() { sync(); }
    Q_DISABLE_COPY(FileCopier)

    // Creates the directory, one level, if it is missing. Refuses one that is, or is inside, one
    // of the `sources`, even through links: that would not be a copy. False with error() on
    // failure.
    bool open(const QStringList& sources);

    // Copies the file at `path`, whose bare name it keeps. `time` becomes the modification time.
    Outcome copy(const QString& path, const QDateTime& time);

    // Writes the names of all copies to the disk. False with error() on failure.
    bool sync();

    QString error() const { return m_error; }
    QString warning() const { return m_warning; } // of the last copy(); empty if there is none

private:
    Outcome compare(QFile& source, const QString& copyPath);
    Outcome transfer(QFile& source, QFile& target, const QDateTime& time);
    Outcome fail(const QString& reason);

    QString m_directory;
    bool m_isSynced = true;
    QString m_error;
    QString m_warning;
};

} // namespace readkey
