// Remounting a key read-only, as a host does it once it has taken a key's contents.
#pragma once

#include <QtCore/QString>

namespace readkey {

// Remounts the file system that is mounted at `mountDir` read-only and keeps its other mount flags.
// It needs the right to mount. Returns an empty text, or the reason why nothing was remounted: a
// directory that is no mount point is refused, since the file system around it would be the one to
// be changed.
QString remountReadOnly(const QString& mountDir);

} // namespace readkey
