#include "filecopier.h"

#include "console.h"

#include <QtCore/QFileInfo>
#include <QtCore/QTemporaryFile>

#include <cerrno>
#include <cstdio>
#include <filesystem>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace readkey {

namespace {

constexpr int chunkSize = 65536;

// Whether `directory`, which need not exist, is or lies in `other`, whatever links lead there.
bool liesIn(const std::filesystem::path& directory, const std::filesystem::path& other) {
    std::error_code error; // if the current directory has been removed
    std::filesystem::path place = weakly_canonical(absolute(directory, error), error);
    while (place.has_relative_path() && !equivalent(place, other, error))
        place = place.parent_path();
    return equivalent(place, other, error);
}

// Writes the directory's names to the disk. Returns 0 or an errno.
int syncDirectory(const QString& path) {
    const int descriptor =
        ::open(QFile::encodeName(path).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const int reason = descriptor < 0 || ::fsync(descriptor) != 0 ? errno : 0;
    ::close(descriptor);
    return reason == EINVAL ? 0 : reason; // a file system that has nothing to do there
}

// Gives the file its name, unless the name is taken. Returns 0 or an errno.
int giveName(QTemporaryFile& file, const QString& path) {
    const QByteArray name = QFile::encodeName(path);
    const QByteArray unnamed = "/proc/self/fd/" + QByteArray::number(file.handle());
    if (::linkat(AT_FDCWD, unnamed.constData(), AT_FDCWD, name.constData(), AT_SYMLINK_FOLLOW) == 0)
        return 0;
    const int reason = errno; // FAT has no links
    if (reason != EEXIST && ::renameat2(AT_FDCWD, QFile::encodeName(file.fileName()).constData(),
                                        AT_FDCWD, name.constData(), RENAME_NOREPLACE) == 0) {
        file.setAutoRemove(false);
        return 0;
    }
    return errno == ENOENT ? reason : errno; // ENOENT if it has no name of its own either
}

// Whether the copy that is there already has the same bytes.
FileCopier::Result compare(QFile& source, const QString& copyPath) {
    QFile copy(copyPath);
    const int reason = openRegular(copy);
    if (reason == ELOOP)
        return {QStringLiteral("what is there under this name is not a file; it was left alone")};
    if (reason != 0 && reason != EFBIG)
        return {QStringLiteral("the copy that is there cannot be read: ") +
                qt_error_string(reason)};
    bool isEqual = reason == 0 && source.size() == copy.size() && source.seek(0);
    while (isEqual && console::interruption() == 0) {
        const QByteArray bytes = source.read(chunkSize);
        isEqual = bytes == copy.read(chunkSize);
        if (bytes.isEmpty())
            break;
    }
    if (console::interruption() != 0)
        return {QStringLiteral("interrupted")};
    for (const QFile* file : {&source, &copy})
        if (file->error() != QFileDevice::NoError)
            return {QStringLiteral("it cannot be compared with the copy that is there: ") +
                    file->errorString()};
    if (!isEqual)
        return {QStringLiteral("another file with this name is there; it was left alone")};
    return {{}, FileCopier::Kept};
}

// Writes the whole copy to the disk, with its time.
FileCopier::Result transfer(QFile& source, QFile& target, const QDateTime& time) {
    const qint64 size = source.size();
    qint64 copied = 0;
    while (copied <= size) { // a file that never ends would fill the target
        if (console::interruption() != 0)
            return {QStringLiteral("interrupted")};
        const QByteArray bytes = source.read(chunkSize);
        if (bytes.isEmpty())
            break;
        // If only a part fits on the disk, errorString() does not say why.
        if (target.write(bytes) != bytes.size())
            return {qt_error_string(errno)};
        copied += bytes.size();
    }
    if (source.error() != QFileDevice::NoError)
        return {source.errorString()};
    if (copied != size)
        return {QStringLiteral("it changed while it was copied")};
    QString warning;
    // A file system that cannot keep this time silently stores its own latest one.
    constexpr auto modification = QFileDevice::FileModificationTime;
    if (!target.setFileTime(time, modification) ||
        target.fileTime(modification).toSecsSinceEpoch() != time.toSecsSinceEpoch())
        warning = QStringLiteral("copied, but its modification time could not be set");
    // Only the owner may read a temporary file. FAT has no permissions and refuses to change them.
    const mode_t mask = ::umask(0);
    ::umask(mask);
    ::fchmod(target.handle(), 0666 & ~mask);
    if (::fsync(target.handle()) != 0)
        return {qt_error_string(errno)};
    return {warning, FileCopier::Copied};
}

} // namespace

int openRegular(QFile& file) {
    const int descriptor = ::open(QFile::encodeName(file.fileName()).constData(),
                                  O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    struct stat status {};
    if (descriptor < 0 ||
        !file.open(descriptor, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle) ||
        ::fstat(descriptor, &status) != 0)
        return errno;
    return !S_ISREG(status.st_mode) ? ELOOP : status.st_size > largestDownload ? EFBIG : 0;
}

QString FileCopier::open(const QStringList& sources) {
    const bool isThere = QFileInfo::exists(m_directory);
    for (const QString& source : sources) {
        if (liesIn(m_directory.toStdString(), source.toStdString()))
            return QStringLiteral("it is on the key itself (%1)").arg(source);
    }
    if (::mkdir(QFile::encodeName(m_directory).constData(), 0777) != 0 && !isThere)
        return QStringLiteral("it cannot be created: ") + qt_error_string(errno);
    const int reason = isThere ? 0 : syncDirectory(m_directory + QLatin1String("/.."));
    if (reason != 0)
        return QStringLiteral("its name cannot be put onto the disk: ") + qt_error_string(reason);
    return QFileInfo(m_directory).isDir() ? QString() : QStringLiteral("it is not a directory");
}

FileCopier::Result FileCopier::copy(const QString& path, const QDateTime& time) {
    QFile source(path);
    int reason = openRegular(source);
    if (reason != 0)
        return {reason == ELOOP ? QStringLiteral("it is no longer a regular file")
                                : qt_error_string(reason)};
    const QString target = m_directory + QLatin1Char('/') + QFileInfo(path).fileName();
    struct stat status {};
    if (::lstat(QFile::encodeName(target).constData(), &status) == 0)
        return compare(source, target);
    if (errno != ENOENT) // what cannot be seen may be there
        return {qt_error_string(errno)};
    // It has no name until it is whole, if the file system allows that, so a killed process leaves
    // nothing behind.
    QTemporaryFile copy(m_directory + QLatin1String("/.readkey-XXXXXX"));
    if (!static_cast<QFile&>(copy).open(QIODevice::WriteOnly | QIODevice::Unbuffered))
        return {copy.errorString()};
    Result result = transfer(source, copy, time);
    if (result.outcome == Failed)
        return result; // the unfinished copy goes with its object
    reason = giveName(copy, target);
    if (reason == EEXIST) // since it was looked for
        return compare(source, target);
    if (reason == EINVAL) // as from FUSE
        return {QStringLiteral("the file system cannot name it without replacing other files")};
    return reason == 0 ? result : Result{qt_error_string(reason)};
}

int FileCopier::sync() {
    return syncDirectory(m_directory);
}

} // namespace readkey
