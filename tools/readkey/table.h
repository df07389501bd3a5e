// Columns of text for a terminal or a file. Cells may hold anything: what a terminal could act on
// is shown as an escape.
#pragma once

#include <QtCore/QString>

#include <vector>

namespace readkey {

// How standard output wants its text.
struct Paper {
    int width = 0;           // columns of the terminal; 0: as wide as need be
    bool isColoured = false; // bold headings, red failures

    static Paper ofStandardOutput();
    QString fitting(const QString& line) const; // cut to the terminal's width
    QString heading(const QString& line) const; // likewise, with the end of its line
    QString alarm(const QString& text) const;
};

struct Column {
    const char* title;
    enum Kind { Left, Right, Name } kind; // a name is shortened on a narrow terminal
    int limit = 0; // elsewhere, a longer cell pushes the next to a line below; 0: none does
};

class Table {
public:
    explicit Table(const std::vector<Column>& columns);

    // One cell for each column.
    void addRow(const std::vector<QString>& cells, bool isAlarm = false);
    bool isEmpty() const { return m_alarms.size() == 1; }
    QString text(const Paper& paper) const;
    // With a heading; "TITLE: none" where there are no rows.
    QString section(const char* title, const Paper& paper) const;

private:
    struct Cell {
        QString text;
        int width;
    };

    std::vector<int> columnWidths(const Paper& paper) const;
    QString line(size_t row, const std::vector<int>& widths, bool onTerminal) const;

    std::vector<Column> m_columns;
    std::vector<Cell> m_cells; // row by row; the first row holds the titles
    std::vector<bool> m_alarms;
};

} // namespace readkey
