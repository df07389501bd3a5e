// Columns of text for a terminal or a file. Characters that a terminal could act on become escapes.
#pragma once

#include "clock.h"
#include "text.h"

#include <vector>

namespace readkey {

// What text on standard output looks like.
struct Paper {
    Clock clock;
    int width = 0;           // columns of the terminal; 0: no limit
    bool isColoured = false; // bold headings, red failures

    static Paper ofStandardOutput(bool utc);
    QString heading(const QString& line) const; // with the end of its line
    QString alarm(const QString& text) const;
};

// On a narrow terminal names are shortened, to 12 columns at least, then whole columns go. A number
// is never shortened: the terminal breaks lines that are still too wide.
struct Column {
    static Column left(const char* title, int turn = 0) { return {title, false, false, turn}; }
    static Column right(const char* title, int turn = 0) { return {title, true, false, turn}; }
    // A cell longer than `limit` moves the next one to a line below; 0: no limit.
    static Column name(const char* title, int limit = 0) { return {title, false, true, 0, limit}; }

    const char* title;
    bool isRight;
    bool isName;
    int turn; // in which it goes; 0: never
    int limit = 0;
};

// A column whose cells are all empty is left out.
class Table {
public:
    explicit Table(std::initializer_list<Column> columns);

    // One cell for each column.
    void addRow(const std::vector<QString>& cells, bool isAlarm = false);
    bool isEmpty() const { return m_alarms.size() == 1; }
    QString text(const Paper& paper) const;
    // With a heading; "TITLE: none" if there are no rows.
    QString section(const char* title, const Paper& paper) const;

private:
    struct Cell {
        QString text;
        int width;
    };

    std::vector<int> widestCells() const;
    bool shortenNames(std::vector<int>& widths, int terminal) const;
    std::vector<int> columnWidths(const Paper& paper) const;
    QString line(size_t row, const std::vector<int>& widths) const;

    std::vector<Column> m_columns;
    std::vector<Cell> m_cells; // row by row; the first row holds the titles
    std::vector<bool> m_alarms;
};

} // namespace readkey
