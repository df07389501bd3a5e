// Rows that stand in data files beside the tests.
#pragma once

#include "tests/support/errortext.h"
#include "tests/support/rows.h"

#include <QtCore/QFile>
#include <QtCore/QStringList>

// A file of the room's folder, UTF-8.
inline QString dataFile(const QString& name) {
    QFile file(QStringLiteral(TEST_DATA) + name);
    if (!file.open(QIODevice::ReadOnly) || file.size() == 0)
        qFatal("cannot read %s", qPrintable(file.fileName()));
    return QString::fromUtf8(file.readAll());
}

// The lines of a data file but for its comments, each cut into its fields at "->".
inline QList<QStringList> dataRows(const QString& name) {
    QList<QStringList> rows;
    for (const QString& line : dataFile(name).split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
        if (line.startsWith(QLatin1Char('#')))
            continue;
        rows << line.split(QStringLiteral("->"));
        for (QString& field : rows.last())
            field = field.trimmed();
    }
    return rows;
}
