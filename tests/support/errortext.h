// A host's error as text that a test can compare.
#pragma once

#include "auxiliary/error.h"

#include <QtCore/QStringList>

// Each entry as "component|text|code"; empty for success.
inline QString textOf(const aux::Error& error) {
    QStringList texts;
    for (const aux::ErrorData& entry : error.entries())
        texts << QStringLiteral("%1|%2|%3").arg(entry.component(), entry.text()).arg(entry.code());
    return texts.join(QStringLiteral("; "));
}
