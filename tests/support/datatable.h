// The tables of data-driven tests, in C++ and in files beside a test.
//
//     const auto row = columns<QString, int>("name", "size");
//     row("a small file", "A.DDD", 5);
//
// In a file the first line names the columns, each line below it is a row, and "|" separates the
// cells. Empty lines and lines that begin with '#' are left out.
//
//     name  | size
//     A.DDD | 5
//
// A test takes it with tableRows<QString, int>("files.txt", "name", "size"). A row's name is its
// first cell that is not empty, and its place: "A.DDD (files.txt:2)". A table that is not what its
// test expects ends the test program with the file and the line.
#pragma once

#include <QtTest/QtTest>

#include <cstdlib>
#include <vector>

// Run by hand, a test has the locale and the time zone that it would have under ctest.
inline const bool isEnvironmentSet =
    ::setenv("LC_ALL", "C.UTF-8", 1) == 0 && ::setenv("TZ", "UTC", 0) == 0;

template <typename>
using ColumnName = const char*;

// Columns with their types. What it returns adds a row.
template <typename... Types>
auto columns(ColumnName<Types>... names) {
    (QTest::addColumn<Types>(names), ...);
    return [](const QByteArray& name, const Types&... cells) {
        (QTest::newRow(name.constData()) << ... << cells);
    };
}

// The contents of a file in the test's folder, which is UTF-8. Ends the test program without it.
inline QString dataFile(const QString& name) {
    QFile file(TEST_DATA + name);
    if (!file.open(QIODevice::ReadOnly) || file.size() == 0)
        qFatal("cannot read %s", qPrintable(file.fileName()));
    return QString::fromUtf8(file.readAll());
}

struct TableLine {
    QString place; // "file:line"
    QStringList cells;

    QByteArray rowName() const {
        const QString first = cells.filter(QRegularExpression(".")).value(0);
        return QString("%1 (%2)").arg(first, place).toUtf8();
    }
    template <typename Value>
    Value value(int column) const {
        QVariant cell = cells.at(column);
        if (!cell.convert(qMetaTypeId<Value>()))
            refuse(QString("\"%1\" is not of this column's type").arg(cells.at(column)));
        return cell.value<Value>();
    }
    [[noreturn]] void refuse(const QString& why) const {
        qFatal("%s: %s", qPrintable(place), qPrintable(why));
    }
};

// The lines of a table with these columns, without the one that names them.
inline std::vector<TableLine> tableLines(const QString& fileName, const QStringList& columns) {
    std::vector<TableLine> lines;
    int number = 0;
    for (const QString& text : dataFile(fileName).split('\n')) {
        ++number;
        if (text.isEmpty() || text.startsWith('#'))
            continue;
        TableLine line{fileName + ':' + QString::number(number), text.split('|')};
        for (QString& cell : line.cells)
            cell = cell.trimmed();
        if (lines.empty() ? line.cells != columns : line.cells.size() != columns.size())
            line.refuse("the columns must be " + columns.join(" | "));
        lines.push_back(line);
    }
    if (lines.size() < 2)
        qFatal("%s has no rows", qPrintable(fileName));
    lines.erase(lines.begin());
    return lines;
}

// The rows of a table in the test's folder, for a data-driven test. What it returns adds another.
template <typename... Types>
auto tableRows(const QString& fileName, ColumnName<Types>... names) {
    const auto addRow = columns<Types...>(names...);
    const QStringList columnNames = {names...};
    for (const TableLine& line : tableLines(fileName, columnNames))
        addRow(line.rowName(), line.value<Types>(columnNames.indexOf(names))...);
    return addRow;
}
