// Long texts, compared line by line. Of two texts QtTest shows the first 250 characters, which may
// be the same; of lines it shows the first two that differ, whole.
//
//     QCOMPARE(linesOf(run.out), linesOf(dataFile("tables.txt")));
#pragma once

#include <QtTest/QtTest>

#include <algorithm>

struct Lines {
    QStringList list;
};

inline Lines linesOf(const QString& text) {
    return {text.split('\n')};
}

namespace QTest {

// What QCOMPARE calls.
inline bool qCompare(const Lines& actual, const Lines& expected, const char* /*actual*/,
                     const char* /*expected*/, const char* file, int line) {
    const QStringList& a = actual.list;
    const QStringList& b = expected.list;
    if (a == b)
        return true;
    const auto at = std::mismatch(a.begin(), a.end(), b.begin(), b.end()).first - a.begin();
    const QString end = "(the text has ended)";
    const QString message =
        QString("Compared texts differ in line %1\n   Actual:   %2\n   Expected: %3")
            .arg(QString::number(at + 1), a.value(int(at), end), b.value(int(at), end));
    qFail(message.toUtf8().constData(), file, line);
    return false;
}

} // namespace QTest
