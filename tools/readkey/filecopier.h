// Takes files into a directory, each whole or not at all. A copy grows under a temporary name and
// gets its own name only when it is complete and on the disk; a name that is taken is never
// overwritten. The copier holds the target directory open, so nobody can exchange it in between.
#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QDateTime>
#include <QtCore/QString>

#include <vector>

namespace readkey {

// Owns an open file descriptor.
class FileDescriptor {
public:
    explicit FileDescriptor(int descriptor = -1)
        : m_descriptor(descriptor) {}
    ~FileDescriptor() { close(); }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;

    bool isOpen() const { return m_descriptor >= 0; }
    int get() const { return m_descriptor; }
    void reset(int descriptor);
    // False, with errno, when closing showed that writing had failed.
    bool close();

private:
    int m_descriptor;
};

class FileCopier {
public:
    enum Outcome {
        Copied,
        Kept,   // the same bytes were there already; they were not touched
        Failed, // error() tells why; where nothing is said to have been copied, nothing was left
                // behind
    };

    explicit FileCopier(const QString& directory);

    // Makes the directory, one level, if it is missing, and opens it. False with error() on
    // failure.
    bool open();

    // Copies the file at `source`, whose bare name it keeps. `time` becomes the modification time.
    Outcome copy(const QString& source, const QDateTime& time);

    // Of the last failure.
    const QString& error() const { return m_error; }

private:
    Outcome compareWithCopy(const FileDescriptor& source, const QByteArray& name);
    bool writeTemporary(const FileDescriptor& source, const QDateTime& time);
    bool copyBytes(const FileDescriptor& source, const FileDescriptor& target);
    bool publish(const QByteArray& name);
    bool fail(const QString& reason);
    bool failWithErrno();

    QString m_directoryPath;
    FileDescriptor m_directory;
    QByteArray m_temporaryName;
    int m_temporaryCount = 0;
    std::vector<unsigned char> m_buffer;
    std::vector<unsigned char> m_otherBuffer;
    QString m_error;
    bool m_timeFailed = false;
};

} // namespace readkey
