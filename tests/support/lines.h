// Long texts, compared line by line. Of two texts QtTest shows the first 250 characters, which may
// be the same; of lines it shows the first two that differ, whole.
//
//     QCOMPARE(linesOf(run.out), linesOf(dataFile("tables.txt")));
#pragma once

#include <QtTest/QtTest>

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
    int at = 0;
    while (at < qMin(actual.list.size(), expected.list.size()) &&
           actual.list.at(at) == expected.list.at(at))
        ++at;
    if (actual.list.size() == expected.list.size() && at == actual.list.size())
        return true;
    const auto shown = [at](const Lines& lines) {
        return lines.list.value(at, QStringLiteral("(the text has ended)"));
    };
    const QString message = QString("Compared texts differ in line %1\n   Actual:   %2\n   "
                                    "Expected: %3")
                                .arg(QString::number(at + 1), shown(actual), shown(expected));
    qFail(message.toUtf8().constData(), file, line);
    return false;
}

} // namespace QTest
