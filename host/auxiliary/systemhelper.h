// System services of the host's auxiliary library.
#pragma once

#include <QtCore/QString>

#include <functional>

namespace aux {

class SystemHelper {
public:
    // Remounts the file system that is mounted at `mountDir` read-only. Returns whether it did.
    // It hands the path to the handler below; without one, nothing on the system is touched and the
    // result is false.
    static bool remountReadOnly(const QString& mountDir);

    // Sets what remounting means in this process; an empty function takes the handler away. Not
    // thread-safe: set it before the first key is read.
    static void setRemountHandler(std::function<bool(const QString&)> handler);
};

} // namespace aux
