// The tables of data-driven tests, in C++ and in files beside a test.
//
//     const auto row = columns<QString, int>("name", "size");
//     row("a small file", "A.DDD", 5);
//
// In a file the first line names the columns, each line behind it is a row, and "|" stands between
// the cells. Empty lines and lines that begin with '#' are left out.
//
//     name  | size
//     A.DDD | 5
//
// A table that is not what its test expects ends the test program with the file and the line.
#pragma once

#include <QtTest/QtTest>

#include <utility>

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

class TableRow {
public:
    TableRow(QString place, const QStringList& columns, const QStringList& cells)
        : m_place(std::move(place)) {
        if (cells.size() != columns.size())
            refuse(QString("%1 cells under %2 columns").arg(cells.size()).arg(columns.size()));
        for (int i = 0; i < cells.size(); ++i)
            m_cells.insert(columns.at(i), cells.at(i));
        m_unused = QSet<QString>(columns.begin(), columns.end());
    }

    // "file:line", the name of the test's row.
    QByteArray place() const { return m_place.toUtf8(); }

    QString text(const char* column) const {
        if (!m_cells.contains(column))
            refuse(QString("there is no column \"%1\"").arg(column));
        m_unused.remove(column);
        return m_cells.value(column);
    }

    int number(const char* column, int base = 10) const {
        bool isNumber = false;
        const int number = text(column).toInt(&isNumber, base);
        if (!isNumber)
            refuse(QString("\"%1\" is no number").arg(text(column)));
        return number;
    }

    template <typename Value>
    Value value(const char* column) const {
        QVariant cell = text(column);
        if (!cell.convert(qMetaTypeId<Value>()))
            refuse(QString("\"%1\" is not of this column's type").arg(text(column)));
        return cell.value<Value>();
    }

    void refuseUnusedCells() const {
        if (!m_unused.isEmpty())
            refuse(QString("nothing uses the column \"%1\"").arg(*m_unused.begin()));
    }

    [[noreturn]] void refuse(const QString& why) const {
        qFatal("%s: %s", qPrintable(m_place), qPrintable(why));
    }

private:
    QString m_place;
    QMap<QString, QString> m_cells; // by column
    mutable QSet<QString> m_unused;
};

// Calls `use` with each row of a table in the test's folder. `use` must ask for every cell.
template <typename Use>
void forEachRow(const QString& fileName, Use use) {
    QStringList columns;
    QSet<QStringList> known;
    int number = 0;
    for (const QString& line : dataFile(fileName).split('\n')) {
        ++number;
        if (line.isEmpty() || line.startsWith('#'))
            continue;
        QStringList cells = line.split('|');
        for (QString& cell : cells)
            cell = cell.trimmed();
        const TableRow row(fileName + ':' + QString::number(number),
                           columns.isEmpty() ? cells : columns, cells);
        if (columns.isEmpty()) {
            columns = cells;
            continue;
        }
        if (known.contains(cells))
            row.refuse("this row stands twice");
        known.insert(cells);
        use(row);
        row.refuseUnusedCells();
    }
    if (known.isEmpty())
        qFatal("%s has no rows", qPrintable(fileName));
}

// The rows of a table, as they are, for a data-driven test. What it returns adds another.
template <typename... Types>
auto tableRows(const QString& fileName, ColumnName<Types>... names) {
    const auto addRow = columns<Types...>(names...);
    forEachRow(fileName,
               [&](const TableRow& row) { addRow(row.place(), row.value<Types>(names)...); });
    return addRow;
}
