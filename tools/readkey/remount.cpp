#include "remount.h"

#include <QtCore/QFile>

#include <cerrno>

#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

namespace readkey {

namespace {

// A remount sets all flags anew, so those in force are passed again.
unsigned long mountFlags(unsigned long statvfsFlags) {
    struct Pair {
        unsigned long inForce;
        unsigned long toPass;
    };
    static constexpr Pair pairs[] = {
        {ST_NOSUID, MS_NOSUID},     {ST_NODEV, MS_NODEV},
        {ST_NOEXEC, MS_NOEXEC},     {ST_SYNCHRONOUS, MS_SYNCHRONOUS},
        {ST_NOATIME, MS_NOATIME},   {ST_NODIRATIME, MS_NODIRATIME},
        {ST_RELATIME, MS_RELATIME}, {ST_MANDLOCK, MS_MANDLOCK},
    };
    unsigned long result = 0;
    for (const Pair& pair : pairs) {
        if ((statvfsFlags & pair.inForce) != 0)
            result |= pair.toPass;
    }
    return result;
}

} // namespace

QString remountReadOnly(const QString& mountDir) {
    const QByteArray path = QFile::encodeName(mountDir);
    struct stat directory {};
    struct stat parent {};
    struct statvfs fileSystem {};
    if (::stat(path.constData(), &directory) != 0 ||
        ::stat((path + "/..").constData(), &parent) != 0 ||
        ::statvfs(path.constData(), &fileSystem) != 0)
        return qt_error_string(errno);
    if (directory.st_dev == parent.st_dev)
        return QStringLiteral("it is not a mount point");
    const unsigned long flags = MS_REMOUNT | MS_RDONLY | mountFlags(fileSystem.f_flag);
    if (::mount(nullptr, path.constData(), nullptr, flags, nullptr) != 0)
        return qt_error_string(errno);
    return {};
}

} // namespace readkey
