// System services of the host's auxiliary library.
#pragma once

#include <QtCore/QString>

#include <functional>

namespace aux {

class SystemHelper {
public:
    // Remounts the file system mounted at `mountDir` read-only, by calling the handler below with
    // the path. Returns whether it did; without a handler nothing is remounted, and the result is
    // false.
    static bool remountReadOnly(const QString& mountDir);

    // Sets the function that remounts; an empty one removes the handler. Not thread-safe: set it
    // before the first key is read.
    static void setRemountHandler(std::function<bool(const QString&)> handler);
};

} // namespace aux
