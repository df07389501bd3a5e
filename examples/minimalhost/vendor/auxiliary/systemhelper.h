// What the device's applications have the system do.
#pragma once

#include <QtCore/QString>

namespace aux {

struct SystemHelper {
    [[nodiscard]] static bool remountReadOnly(const QString& mountDir);
};

} // namespace aux
