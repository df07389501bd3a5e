// Reads a key, a folder of download files, or a single file: file by file, so that only one is in
// memory, and each failure has its reason. For --events the library reads the key, as for any host.
#pragma once

#include "views.h"

#include <functional>

namespace readkey {

// The mount directory of the key at `path`, which may name its download directory too.
QString mountDirOf(const QString& path);

// Puts what is at `path` into the logbook, and what was not done as a failure. `copier` is null if
// nothing is to be copied or nothing can be. The library's signals are written to `events`, unless
// it is null, and not into the logbook. `progress` gets percents. For the main thread.
void readPath(const Options& options, const QString& path, Logbook& book, FileCopier* copier,
              QIODevice* events, const std::function<void(int)>& progress);

} // namespace readkey
