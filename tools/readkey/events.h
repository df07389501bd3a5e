// The library's own signals as JSON Lines: one event a line, written as it happens, keys in a fixed
// order.
#pragma once

#include "downloadkey/downloadkey.h"

#include <QtCore/QIODevice>

namespace readkey {

// Writes each signal of `key` as it comes. `out` must outlive the key.
void writeSignals(downloadkey::DownloadKey& key, QIODevice& out);

// Writes what "open" or "read" returned.
void writeReturned(const QString& call, const aux::Error& error, QIODevice& out);

} // namespace readkey
