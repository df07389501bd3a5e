// What the device's applications have the system do.
#pragma once

#include <QtCore/QString>

namespace aux {

struct SystemHelper {
    static void remountReadOnly(const QString& mountDir);
};

} // namespace aux
