// The host's settings: values by number.
#pragma once

#include <QtCore/QMap>
#include <QtCore/QVariant>

namespace aux {

// The settings. The numbers are what is stored on a device and never change.
enum class SettingsCode : int {
    DownloadedDirDisabled = 45, // true: leave the key's "/downloaded" directory alone
    DownloadedDirEnabled = 46,  // true: make sure that the key has a "/downloaded" directory
};

// Not thread-safe: it is used on the host's thread only.
class Configuration {
public:
    Configuration();
    ~Configuration();

    // The value of a setting; an invalid QVariant (which reads as false) for one that was never
    // set.
    QVariant getValue(SettingsCode code);

    void setValue(SettingsCode code, const QVariant& value);

private:
    QMap<int, QVariant> m_values;
};

} // namespace aux
