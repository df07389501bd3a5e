#include "auxiliary/configuration.h"
#include "auxiliary/error.h"
#include "auxiliary/systemhelper.h"

namespace aux {

QDebug operator<<(QDebug stream, const Error& error) {
    for (const ErrorData& entry : error.m_entries)
        stream << entry.line();
    return stream;
}

QVariant Configuration::getValue(SettingsCode code) {
    return m_settings.value(keyOf(code), code == SettingsCode::DownloadedDirDisabled);
}

void Configuration::setValue(SettingsCode code, const QVariant& value) {
    m_settings.setValue(keyOf(code), value);
    emit changed(int(code));
}

// A device remounts the stick here.
bool SystemHelper::remountReadOnly(const QString& mountDir) {
    qInfo() << "remount read-only:" << mountDir;
    return true;
}

} // namespace aux
