#include "auxiliary/configuration.h"

namespace aux {

Configuration::Configuration() = default;
Configuration::~Configuration() = default;

QVariant Configuration::getValue(SettingsCode code) {
    return m_values.value(static_cast<int>(code));
}

void Configuration::setValue(SettingsCode code, const QVariant& value) {
    m_values.insert(static_cast<int>(code), value);
}

} // namespace aux
