// System services that the device's applications call.
#pragma once

#include <QtCore/QString>

namespace aux {

struct SystemHelper {
    [[nodiscard]] static bool remountReadOnly(const QString& mountDir);
};

} // namespace aux
