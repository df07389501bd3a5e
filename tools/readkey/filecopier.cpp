#include "filecopier.h"

#include "console.h"

#include <QtCore/QFile>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <limits>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace readkey {

namespace {

constexpr size_t ChunkSize = 65536;

// Fills the buffer as far as the file goes; returns the number of bytes, or -1 with errno.
ssize_t readChunk(int descriptor, std::vector<unsigned char>& buffer) {
    size_t filled = 0;
    while (filled < buffer.size()) {
        const ssize_t count = ::read(descriptor, buffer.data() + filled, buffer.size() - filled);
        if (count == 0)
            break;
        if (count > 0)
            filled += static_cast<size_t>(count);
        else if (errno != EINTR)
            return -1;
    }
    return static_cast<ssize_t>(filled);
}

bool writeChunk(int descriptor, const unsigned char* bytes, size_t size) {
    while (size > 0) {
        const ssize_t count = ::write(descriptor, bytes, size);
        if (count < 0 && errno != EINTR)
            return false;
        if (count > 0) {
            bytes += count;
            size -= static_cast<size_t>(count);
        }
    }
    return true;
}

bool setModificationTime(int descriptor, const QDateTime& time) {
    const qint64 seconds = time.isValid() ? time.toSecsSinceEpoch() : 0;
    if (!time.isValid() || seconds > qint64{std::numeric_limits<time_t>::max()}) {
        errno = EOVERFLOW;
        return false;
    }
    timespec times[2] = {};
    times[0].tv_nsec = UTIME_OMIT;
    times[1].tv_sec = static_cast<time_t>(seconds);
    // A file system that cannot keep the time keeps its own latest one, and says nothing.
    struct stat status {};
    return ::futimens(descriptor, times) == 0 && ::fstat(descriptor, &status) == 0 &&
           status.st_mtim.tv_sec == times[1].tv_sec;
}

} // namespace

void FileDescriptor::reset(int descriptor) {
    close();
    m_descriptor = descriptor;
}

bool FileDescriptor::close() {
    const int descriptor = m_descriptor;
    m_descriptor = -1;
    return descriptor < 0 || ::close(descriptor) == 0;
}

FileCopier::FileCopier(const QString& directory)
    : m_directoryPath(directory)
    , m_buffer(ChunkSize)
    , m_otherBuffer(ChunkSize) {}

bool FileCopier::open() {
    const QByteArray path = QFile::encodeName(m_directoryPath);
    if (::mkdir(path.constData(), 0777) != 0 && errno != EEXIST && errno != EROFS)
        return failWithErrno();
    m_directory.reset(::open(path.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return m_directory.isOpen() || failWithErrno();
}

FileCopier::Outcome FileCopier::copy(const QString& source, const QDateTime& time) {
    // Whatever took the file's place meanwhile must neither be followed nor block.
    const FileDescriptor file(::open(QFile::encodeName(source).constData(),
                                     O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat status {};
    if (!file.isOpen() && errno != ELOOP) {
        failWithErrno();
        return Failed;
    }
    if (!file.isOpen() || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
        fail(QStringLiteral("it is no longer a regular file"));
        return Failed;
    }

    const QByteArray name = QFile::encodeName(source.mid(source.lastIndexOf(QLatin1Char('/')) + 1));
    if (::fstatat(m_directory.get(), name.constData(), &status, AT_SYMLINK_NOFOLLOW) == 0)
        return compareWithCopy(file, name);
    m_timeFailed = false;
    if (!writeTemporary(file, time) || !publish(name)) {
        if (!m_temporaryName.isEmpty())
            ::unlinkat(m_directory.get(), m_temporaryName.constData(), 0);
        return Failed;
    }
    ::fsync(m_directory.get()); // some file systems cannot do it for a directory
    if (m_timeFailed) {
        fail(QStringLiteral("it was copied, but its modification time could not be set"));
        return Failed;
    }
    return Copied;
}

FileCopier::Outcome FileCopier::compareWithCopy(const FileDescriptor& source,
                                                const QByteArray& name) {
    const FileDescriptor copy(::openat(m_directory.get(), name.constData(),
                                       O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat status {};
    if (!copy.isOpen() && errno != ELOOP) {
        fail(QStringLiteral("the copy that is there cannot be read: ") + qt_error_string(errno));
        return Failed;
    }
    if (!copy.isOpen() || ::fstat(copy.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
        fail(QStringLiteral("what is there under this name is not a file; it was left alone"));
        return Failed;
    }
    for (;;) {
        const ssize_t size = readChunk(source.get(), m_buffer);
        const ssize_t copySize = size < 0 ? size : readChunk(copy.get(), m_otherBuffer);
        if (size < 0 || copySize < 0) {
            failWithErrno();
            return Failed;
        }
        if (size != copySize ||
            !std::equal(m_buffer.begin(), m_buffer.begin() + size, m_otherBuffer.begin())) {
            fail(QStringLiteral("another file with this name is there; it was left alone"));
            return Failed;
        }
        if (size == 0)
            return Kept;
    }
}

bool FileCopier::writeTemporary(const FileDescriptor& source, const QDateTime& time) {
    m_temporaryName.clear();
    FileDescriptor target;
    QByteArray name;
    do {
        name = ".readkey-" + QByteArray::number(qint64{::getpid()}) + '-' +
               QByteArray::number(++m_temporaryCount) + ".part";
        target.reset(::openat(m_directory.get(), name.constData(),
                              O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666));
    } while (!target.isOpen() && errno == EEXIST && m_temporaryCount < 100000);
    if (!target.isOpen())
        return failWithErrno();
    m_temporaryName = name;
    if (!copyBytes(source, target))
        return false;
    m_timeFailed = !setModificationTime(target.get(), time);
    return (::fsync(target.get()) == 0 && target.close()) || failWithErrno();
}

bool FileCopier::copyBytes(const FileDescriptor& source, const FileDescriptor& target) {
    struct stat before {};
    struct stat after {};
    if (::fstat(source.get(), &before) != 0)
        return failWithErrno();
    off_t copied = 0;
    for (;;) {
        if ((console::interruption() != 0))
            return fail(QStringLiteral("interrupted"));
        const ssize_t size = readChunk(source.get(), m_buffer);
        if (size < 0 || !writeChunk(target.get(), m_buffer.data(), static_cast<size_t>(size)))
            return failWithErrno();
        if (size == 0)
            break;
        copied += size;
        if (copied > before.st_size) // a file that never ends would fill the target
            break;
    }
    if (::fstat(source.get(), &after) != 0)
        return failWithErrno();
    if (copied != before.st_size || copied != after.st_size ||
        before.st_mtim.tv_sec != after.st_mtim.tv_sec ||
        before.st_mtim.tv_nsec != after.st_mtim.tv_nsec)
        return fail(QStringLiteral("it changed while it was copied"));
    return true;
}

// Gives the temporary file its name unless something has it: by a rename that refuses to overwrite;
// where the file system has none, by a second link; where it has no links either, over an empty
// file of its own.
bool FileCopier::publish(const QByteArray& name) {
    const int directory = m_directory.get();
    const char* from = m_temporaryName.constData();
    const char* to = name.constData();
    if (::renameat2(directory, from, directory, to, RENAME_NOREPLACE) == 0)
        return true;
    if (errno != EINVAL && errno != ENOSYS)
        return failWithErrno();
    if (::linkat(directory, from, directory, to, 0) == 0) {
        ::unlinkat(directory, from, 0);
        return true;
    }
    if (errno == EEXIST)
        return failWithErrno();
    FileDescriptor placeholder(
        ::openat(directory, to, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666));
    if (!placeholder.isOpen())
        return failWithErrno();
    placeholder.close();
    if (::renameat(directory, from, directory, to) == 0)
        return true;
    failWithErrno();
    ::unlinkat(directory, to, 0);
    return false;
}

bool FileCopier::fail(const QString& reason) {
    m_error = reason;
    return false;
}

bool FileCopier::failWithErrno() {
    return fail(qt_error_string(errno));
}

} // namespace readkey
