// Long texts, compared line by line. Of two texts QtTest shows the first 250 characters, which may
// be the same; this shows the first two lines that differ, whole.
#pragma once

#include <QtTest/QtTest>

inline void compareLines(const QString& actual, const QString& expected) {
    const QStringList a = actual.split('\n');
    const QStringList b = expected.split('\n');
    for (int i = 0; i < qMax(a.size(), b.size()); ++i) {
        const QString end = "(the text has ended)";
        const QString message =
            QString("Compared texts differ in line %1\n   Actual:   %2\n   Expected: %3")
                .arg(QString::number(i + 1), a.value(i, end), b.value(i, end));
        if (a.value(i, end) != b.value(i, end))
            return QTest::qFail(message.toUtf8().constData(), __FILE__, __LINE__);
    }
}
