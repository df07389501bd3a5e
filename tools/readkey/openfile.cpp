#include "openfile.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace readkey {

int openRegular(QFile& file, QIODevice::OpenMode mode) {
    const int descriptor = ::open(QFile::encodeName(file.fileName()).constData(),
                                  O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0)
        return errno;
    struct stat status {};
    const int reason = ::fstat(descriptor, &status) != 0  ? errno
                       : !S_ISREG(status.st_mode)         ? ELOOP
                       : status.st_size > largestDownload ? EFBIG
                                                          : 0;
    if (reason == 0 && file.open(descriptor, mode, QFileDevice::AutoCloseHandle))
        return 0;
    ::close(descriptor);
    return reason == 0 ? EBADF : reason;
}

} // namespace readkey
