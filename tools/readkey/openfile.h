// How readkey opens a file on a key: regular files only, no links, without blocking, and nothing
// larger than a download can be. Since the directory was listed, anything may have taken its place.
#pragma once

#include <QtCore/QFile>

namespace readkey {

// Bytes. Vehicle units and cards hold a few megabytes at most.
constexpr qint64 largestDownload = qint64{64} * 1024 * 1024;

// Opens the file for reading. Returns 0 or an errno: ELOOP if it is not a regular file, EFBIG if it
// is too large for a download.
int openRegular(QFile& file,
                QIODevice::OpenMode mode = QIODevice::ReadOnly | QIODevice::Unbuffered);

} // namespace readkey
