#include "filecopier.h"

#include "console.h"
#include "openfile.h"

#include <QtCore/QFileInfo>

#include <cerrno>
#include <filesystem>

#include <sys/stat.h>
#include <unistd.h>

namespace readkey {

namespace {

constexpr int chunkSize = 65536;

std::filesystem::path fileSystemPath(const QString& path) {
    return QFile::encodeName(path).toStdString();
}

// Whether `directory` is, or lies in, `other`, whatever links lead there.
bool liesIn(const std::filesystem::path& directory, const std::filesystem::path& other) {
    std::error_code error;
    std::filesystem::path place = std::filesystem::canonical(directory, error);
    while (!error && place.has_relative_path() && !equivalent(place, other, error))
        place = place.parent_path();
    return !error && equivalent(place, other, error);
}

// Makes the directory if need be. Returns what is wrong with it.
QString prepare(const QString& directory, const QStringList& sources) {
    const bool isThere = QFileInfo::exists(directory);
    std::filesystem::path nearest = absolute(fileSystemPath(directory));
    if (!isThere)
        nearest = (nearest.has_filename() ? nearest : nearest.parent_path()).parent_path();
    for (const QString& source : sources) {
        if (liesIn(nearest, fileSystemPath(source)))
            return QStringLiteral("it is on the key itself (%1)").arg(source);
    }
    if (::mkdir(QFile::encodeName(directory).constData(), 0777) != 0 && !isThere)
        return QStringLiteral("it cannot be made: ") + qt_error_string(errno);
    return QFileInfo(directory).isDir() ? QString() : QStringLiteral("it is not a directory");
}

} // namespace

bool FileCopier::open(const QStringList& sources) {
    m_error = prepare(m_directory, sources);
    return m_error.isEmpty();
}

FileCopier::Outcome FileCopier::copy(const QString& path, const QDateTime& time) {
    m_warning.clear();
    QFile source(path);
    const int reason = openRegular(source);
    if (reason != 0)
        return fail(reason == ELOOP ? QStringLiteral("it is no longer a regular file")
                                    : qt_error_string(reason));
    const QString target = m_directory + QLatin1Char('/') + QFileInfo(path).fileName();
    struct stat status {};
    if (::lstat(QFile::encodeName(target).constData(), &status) == 0)
        return compare(source, target);
    if (errno != ENOENT) // what cannot be seen may be there
        return fail(qt_error_string(errno));
    QSaveFile copy(target);
    if (!copy.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
        return fail(copy.errorString());
    if (transfer(source, copy) == Failed)
        return Failed; // the unfinished copy goes with its object
    setTime(copy, time);
    return copy.commit() ? Copied : fail(copy.errorString());
}

FileCopier::Outcome FileCopier::compare(QFile& source, const QString& copyPath) {
    QFile copy(copyPath);
    const int reason = openRegular(copy);
    if (reason == ELOOP)
        return fail(
            QStringLiteral("what is there under this name is not a file; it was left alone"));
    if (reason != 0)
        return fail(QStringLiteral("the copy that is there cannot be read: ") +
                    qt_error_string(reason));
    bool isEqual = source.size() == copy.size();
    while (isEqual && console::interruption() == 0) {
        const QByteArray bytes = source.read(chunkSize);
        isEqual = bytes == copy.read(chunkSize);
        if (bytes.isEmpty())
            break;
    }
    if (console::interruption() != 0)
        return fail(QStringLiteral("interrupted"));
    for (const QFile* file : {&source, &copy}) {
        if (file->error() != QFileDevice::NoError)
            return fail(QStringLiteral("it cannot be compared with the copy that is there: ") +
                        file->errorString());
    }
    return isEqual
               ? Kept
               : fail(QStringLiteral("another file with this name is there; it was left alone"));
}

FileCopier::Outcome FileCopier::transfer(QFile& source, QSaveFile& target) {
    const qint64 size = source.size();
    qint64 copied = 0;
    while (copied <= size) { // a file that never ends would fill the target
        if (console::interruption() != 0)
            return fail(QStringLiteral("interrupted"));
        const QByteArray bytes = source.read(chunkSize);
        if (bytes.isEmpty())
            break;
        // Where only a part fits on the disk, errorString() does not tell why.
        if (target.write(bytes) != bytes.size())
            return fail(qt_error_string(errno));
        copied += bytes.size();
    }
    if (source.error() != QFileDevice::NoError)
        return fail(source.errorString());
    if (copied != size)
        return fail(QStringLiteral("it changed while it was copied"));
    // commit() ignores a sync that fails.
    return ::fsync(target.handle()) == 0 ? Copied : fail(qt_error_string(errno));
}

// A file system that cannot keep the time keeps its own latest one, and says nothing.
void FileCopier::setTime(QSaveFile& target, const QDateTime& time) {
    if (!target.setFileTime(time, QFileDevice::FileModificationTime) ||
        target.fileTime(QFileDevice::FileModificationTime).toSecsSinceEpoch() !=
            time.toSecsSinceEpoch())
        m_warning = QStringLiteral("copied, but its modification time could not be set");
}

FileCopier::Outcome FileCopier::fail(const QString& reason) {
    m_error = reason;
    return Failed;
}

} // namespace readkey
