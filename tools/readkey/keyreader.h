// One key from open to close, as any host drives the library; and a folder of download files, or a
// single one, which are no key to the library.
#pragma once

#include "options.h"

#include <functional>

namespace readkey {

// The mount directory of the key at `path`, which may name its download directory too.
QString mountDirOf(const QString& path);

// Puts into the logbook what is at `path`; what was not done becomes a failure there. `copier` is
// null if nothing is to be copied or nothing can be. `events` is null unless the library's own
// signals are to be written there; then the logbook gets failures only. `progress` hears percents.
// Call it on the main thread.
void readPath(const Options& options, const QString& path, LogbookBuilder& book, FileCopier* copier,
              QIODevice* events, const std::function<void(int)>& progress);

} // namespace readkey
