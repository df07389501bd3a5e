#include "filecopier.h"

#include "console.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace readkey {

namespace {

constexpr int chunkSize = 65536;

bool isSame(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

// Whether `directory` is, or lies in, `other`. The kernel resolves each "..", so links do not
// matter.
bool liesIn(const QString& directory, const QString& other) {
    QByteArray path = QFile::encodeName(directory);
    struct stat end {};
    struct stat here {};
    struct stat above {};
    if (::stat(QFile::encodeName(other).constData(), &end) != 0 ||
        ::stat(path.constData(), &here) != 0)
        return false;
    while (!isSame(here, end)) {
        path += "/..";
        if (::stat(path.constData(), &above) != 0 || isSame(here, above))
            return false;
        here = above;
    }
    return true;
}

// Opens what is a regular file and nothing else: whatever took its place must neither be followed
// nor block.
bool openRegular(QFile& file, struct stat& status) {
    const int descriptor = ::open(QFile::encodeName(file.fileName()).constData(),
                                  O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0)
        return false;
    if (::fstat(descriptor, &status) == 0 && !S_ISREG(status.st_mode))
        errno = ELOOP;
    else if (file.open(descriptor, QIODevice::ReadOnly | QIODevice::Unbuffered,
                       QFileDevice::AutoCloseHandle))
        return true;
    const int reason = errno;
    ::close(descriptor);
    errno = reason;
    return false;
}

} // namespace

bool FileCopier::open(const QStringList& sources) {
    const bool isThere = QFileInfo::exists(m_directory);
    QString nearest = m_directory;
    while (!isThere && nearest.size() > 1 && nearest.endsWith(QLatin1Char('/')))
        nearest.chop(1);
    if (!isThere)
        nearest = QFileInfo(nearest).path();
    for (const QString& source : sources) {
        if (liesIn(nearest, source))
            return fail(QStringLiteral("it is on the key itself (%1)").arg(source));
    }
    if (::mkdir(QFile::encodeName(m_directory).constData(), 0777) == 0 || isThere)
        return QFileInfo(m_directory).isDir() || fail(QStringLiteral("it is not a directory"));
    return fail(QStringLiteral("it cannot be made: ") + qt_error_string(errno));
}

FileCopier::Outcome FileCopier::copy(const QString& path, const QDateTime& time) {
    m_warning.clear();
    QFile source(path);
    struct stat status {};
    if (!openRegular(source, status)) {
        fail(errno == ELOOP ? QStringLiteral("it is no longer a regular file")
                            : qt_error_string(errno));
        return Failed;
    }
    const QString target =
        m_directory + QLatin1Char('/') + path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
    if (::lstat(QFile::encodeName(target).constData(), &status) == 0)
        return compare(source, target);
    if (errno != ENOENT) { // what cannot be seen may be there
        fail(qt_error_string(errno));
        return Failed;
    }
    QSaveFile copy(target);
    if (!copy.open(QIODevice::WriteOnly | QIODevice::Unbuffered)) {
        fail(copy.errorString());
        return Failed;
    }
    if (!transfer(source, copy))
        return Failed; // the unfinished copy goes with its object
    setTime(copy, time);
    if (!copy.commit()) {
        fail(copy.errorString());
        return Failed;
    }
    return Copied;
}

FileCopier::Outcome FileCopier::compare(QFile& source, const QString& copyPath) {
    QFile copy(copyPath);
    struct stat status {};
    if (!openRegular(copy, status)) {
        fail(errno == ELOOP
                 ? QStringLiteral("what is there under this name is not a file; it was left alone")
                 : QStringLiteral("the copy that is there cannot be read: ") +
                       qt_error_string(errno));
        return Failed;
    }
    bool isEqual = source.size() == copy.size();
    while (isEqual && console::interruption() == 0) {
        const QByteArray bytes = source.read(chunkSize);
        isEqual = bytes == copy.read(chunkSize);
        if (bytes.isEmpty())
            break;
    }
    if (console::interruption() != 0)
        fail(QStringLiteral("interrupted"));
    else if (source.error() != QFileDevice::NoError || copy.error() != QFileDevice::NoError)
        fail(QStringLiteral("it cannot be compared with the copy that is there: ") +
             (source.error() != QFileDevice::NoError ? source : copy).errorString());
    else if (isEqual)
        return Kept;
    else
        fail(QStringLiteral("another file with this name is there; it was left alone"));
    return Failed;
}

bool FileCopier::transfer(QFile& source, QSaveFile& target) {
    const qint64 size = source.size();
    qint64 copied = 0;
    while (copied <= size) { // a file that never ends would fill the target
        if (console::interruption() != 0)
            return fail(QStringLiteral("interrupted"));
        const QByteArray bytes = source.read(chunkSize);
        if (bytes.isEmpty())
            break;
        // A disk that is nearly full takes a part first.
        for (int written = 0; written < bytes.size();) {
            const qint64 count = target.write(bytes.constData() + written, bytes.size() - written);
            if (count <= 0)
                return fail(target.errorString());
            written += static_cast<int>(count);
        }
        copied += bytes.size();
    }
    if (source.error() != QFileDevice::NoError)
        return fail(source.errorString());
    if (copied != size)
        return fail(QStringLiteral("it changed while it was copied"));
    // A failing sync is nothing to commit().
    return ::fsync(target.handle()) == 0 || fail(qt_error_string(errno));
}

// A file system that cannot keep the time keeps its own latest one, and says nothing.
void FileCopier::setTime(QSaveFile& target, const QDateTime& time) {
    if (!target.setFileTime(time, QFileDevice::FileModificationTime) ||
        target.fileTime(QFileDevice::FileModificationTime).toSecsSinceEpoch() !=
            time.toSecsSinceEpoch())
        m_warning = QStringLiteral("copied, but its modification time could not be set");
}

bool FileCopier::fail(const QString& reason) {
    m_error = reason;
    return false;
}

} // namespace readkey
