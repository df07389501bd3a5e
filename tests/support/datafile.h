// Text files that stand beside a test: tables and expected output.
#pragma once

#include <QtCore/QFile>
#include <QtCore/QString>

// The contents of a file in the test's folder, which is UTF-8. Ends the test program without it.
inline QString dataFile(const QString& name) {
    QFile file(QStringLiteral(TEST_DATA) + name);
    if (!file.open(QIODevice::ReadOnly) || file.size() == 0)
        qFatal("cannot read %s", qPrintable(file.fileName()));
    return QString::fromUtf8(file.readAll());
}
