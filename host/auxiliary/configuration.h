// The host's settings, by number.
#pragma once

#include <QtCore/QMap>
#include <QtCore/QVariant>

namespace aux {

// The settings. A device stores these numbers, so they never change.
enum class SettingsCode : int {
    DownloadedDirDisabled = 45, // true: leave the key's "/downloaded" directory alone
    DownloadedDirEnabled = 46,  // true: make sure that the key has a "/downloaded" directory
};

// Not thread-safe: it is used only on the host's thread.
class Configuration {
public:
    Configuration();
    ~Configuration();

    // The value of a setting; an invalid QVariant (which reads as false) if it was never set.
    QVariant getValue(SettingsCode code);

    void setValue(SettingsCode code, const QVariant& value);

private:
    QMap<int, QVariant> m_values;
};

} // namespace aux
