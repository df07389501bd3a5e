// Columns of text for a terminal, a file or the page. Characters that a terminal could act on
// become escapes.
#pragma once

#include "clock.h"
#include "text.h"

#include <QtCore/QHash>
#include <QtCore/QStringList>
#include <QtCore/QVector>

namespace readkey {

// What text looks like where it goes to.
struct Paper {
    Clock clock;
    int width = 0;           // columns of the terminal; 0: no limit
    bool isColoured = false; // bold headings, red failures
    bool isPage = false;     // of --html

    static Paper ofStandardOutput(bool utc);
    QString heading(const QString& line) const; // with the end of its line
    QString alarm(const QString& text) const;
    QString number(std::optional<qint64> number) const; // "13437", "-"; on the page as grouped()
    QString grouped(qint64 number) const; // "13,437"; on the page with narrow no-break blanks
    QString hours(qint64 seconds) const;  // "31.5 h"; on the page "31:30 h"
};

// A long path moves the next cell to a line below.
enum ColumnKind { Left, Right, Name, Path };

// On a narrow terminal names are shortened, to 12 columns at least, then whole columns go. A number
// is never shortened: the terminal breaks lines that are still too wide.
struct Column {
    const char* title;
    ColumnKind kind = Left;
    int turn = 0;           // in which it goes; 0: never
    const char* style = ""; // its class on the page, besides "number" if it is on the right
};

// A column whose cells are all empty is left out.
class Table {
public:
    explicit Table(std::initializer_list<Column> columns);

    // One cell for each column. The style is the row's class on the page; "failed" and what begins
    // with "overdue" are red on a terminal.
    void addRow(const QStringList& cells, const QByteArray& style = {});
    bool isEmpty() const { return m_rows.size() == 1; }
    QString text(const Paper& paper) const;
    // With a heading; "TITLE: none" if there are no rows.
    QString section(const char* title, const Paper& paper) const;

    // HEAD, BODY, OPEN unless it is long, and how many rows it has: COUNT, and OVERDUE of them. The
    // last name or path is the row's header. A row without one goes on with the row above.
    QHash<QByteArray, QByteArray> markup(const Paper& paper) const;

private:
    struct Row {
        QStringList cells;
        QByteArray style;
    };

    QVector<int> widestCells() const;
    QVector<int> columnWidths(const Paper& paper) const;
    QString line(const Row& row, const QVector<int>& widths) const;

    QVector<Column> m_columns;
    QVector<Row> m_rows; // the first row holds the titles
};

} // namespace readkey
