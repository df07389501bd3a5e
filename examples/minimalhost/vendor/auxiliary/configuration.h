// The device's settings, kept in a file.
#pragma once

#include <QtCore/QSettings>

namespace aux {

enum class SettingsCode { Language = 1, DownloadedDirDisabled = 45, DownloadedDirEnabled = 46 };

class Configuration : public QObject {
    Q_OBJECT

public:
    QVariant getValue(SettingsCode code);
    void setValue(SettingsCode code, const QVariant& value);

signals:
    void changed(int code);

private:
    static QString keyOf(SettingsCode code) { return "settings/" + QString::number(int(code)); }

    QSettings m_settings{"vendor", "device"};
};

} // namespace aux
