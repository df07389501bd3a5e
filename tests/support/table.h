// Data files that stand beside the tests.
#pragma once

#include "tests/support/errortext.h"
#include "tests/support/rows.h"

#include <QtCore/QFile>
#include <QtCore/QStringList>

// A file of the test's folder, UTF-8.
inline QString dataFile(const QString& name) {
    QFile file(QStringLiteral(TEST_DATA) + name);
    if (!file.open(QIODevice::ReadOnly) || file.size() == 0)
        qFatal("cannot read %s", qPrintable(file.fileName()));
    return QString::fromUtf8(file.readAll());
}
