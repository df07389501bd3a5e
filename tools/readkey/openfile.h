// How readkey opens a file on a key: regular files only, no links followed, never blocking, and
// nothing larger than a download can be. Whatever stood there when the directory was listed,
// something else may have taken its place since.
#pragma once

#include <QtCore/QFile>

namespace readkey {

// Bytes. No vehicle unit and no card holds more than a few megabytes.
constexpr qint64 largestDownload = qint64{64} * 1024 * 1024;

// Opens the file for reading. Returns 0 or an errno: ELOOP if it is not a regular file, EFBIG if it
// is too large for a download.
int openRegular(QFile& file,
                QIODevice::OpenMode mode = QIODevice::ReadOnly | QIODevice::Unbuffered);

} // namespace readkey
