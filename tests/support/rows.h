// The rows of a data-driven test: columns are named together with their types.
//
//     const auto row = columns<QString, int>("name", "size");
//     row("a small file", "A.DDD", 5);
#pragma once

#include <QtTest/QtTest>

template <typename>
using ColumnName = const char*;

// What it returns adds a row.
template <typename... Types>
auto columns(ColumnName<Types>... names) {
    (QTest::addColumn<Types>(names), ...);
    return [](const QByteArray& name, const Types&... cells) {
        (QTest::newRow(name.constData()) << ... << cells);
    };
}
