#include "table.h"

#include <QtCore/QVector>

#include <algorithm>

#include <sys/ioctl.h>
#include <unistd.h>

namespace readkey {

namespace {

constexpr int shortestName = 12;

// The text cut to `width` columns, with an ellipsis at its end.
QString shortened(const QString& text, int width) {
    QVector<uint> codePoints = text.toUcs4();
    const auto result = [&] { return QString::fromUcs4(codePoints.data(), codePoints.size()); };
    while (!codePoints.isEmpty() && displayWidth(result()) > width - 1)
        codePoints.removeLast();
    return result() + QChar(0x2026);
}

} // namespace

Paper Paper::ofStandardOutput(bool utc) {
    winsize size{};
    const bool isTerminal = ::isatty(STDOUT_FILENO) == 1;
    if (isTerminal)
        ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size);
    return {{utc},
            size.ws_col,
            isTerminal && qEnvironmentVariableIsEmpty("NO_COLOR") && qgetenv("TERM") != "dumb"};
}

QString Paper::heading(const QString& line) const {
    return (isColoured ? QLatin1String("\033[1m") + line + QLatin1String("\033[0m") : line) +
           QLatin1Char('\n');
}

QString Paper::alarm(const QString& text) const {
    return isColoured ? QLatin1String("\033[31m") + text + QLatin1String("\033[0m") : text;
}

Table::Table(std::initializer_list<Column> columns)
    : m_columns(columns) {
    std::vector<QString> titles;
    for (const Column& column : columns)
        titles.push_back(QLatin1String(column.title));
    addRow(titles);
}

void Table::addRow(const std::vector<QString>& cells, bool isAlarm) {
    if (cells.size() != m_columns.size())
        qFatal("the table of \"%s\" has %zu columns, but a row of it has %zu cells",
               m_columns.front().title, m_columns.size(), cells.size());
    for (const QString& cell : cells) {
        const QString text = printable(cell);
        m_cells.push_back({text, displayWidth(text)});
    }
    m_alarms.push_back(isAlarm);
}

// An empty column has no width, whatever its title.
std::vector<int> Table::widestCells() const {
    std::vector<int> widths(m_columns.size());
    for (size_t i = widths.size(); i < m_cells.size(); ++i) {
        const size_t column = i % widths.size();
        const int width = m_cells[i].width;
        const int limit = m_columns[column].limit;
        const int wanted = limit == 0 || width <= limit ? width : 0;
        if (width > 0)
            widths[column] = std::max({widths[column], m_cells[column].width, wanted});
    }
    return widths;
}

// Shortens names, the last column first. Returns whether a line then fits the terminal.
bool Table::shortenNames(std::vector<int>& widths, int terminal) const {
    int tooMuch = -terminal;
    for (const int width : widths)
        tooMuch += width == 0 ? 0 : 2 + width;
    for (size_t i = widths.size(); i-- > 0 && tooMuch > 0;) {
        if (!m_columns[i].isName || widths[i] <= shortestName)
            continue;
        const int cut = std::min(tooMuch, widths[i] - shortestName);
        widths[i] -= cut;
        tooMuch -= cut;
    }
    return tooMuch <= 0;
}

std::vector<int> Table::columnWidths(const Paper& paper) const {
    std::vector<int> widths = widestCells();
    for (int turn = 1;; ++turn) {
        std::vector<int> shortened = widths;
        if (paper.width == 0 || shortenNames(shortened, paper.width))
            return shortened;
        const auto next =
            std::find_if(m_columns.begin(), m_columns.end(),
                         [turn](const Column& column) { return column.turn == turn; });
        if (next == m_columns.end())
            return shortened;
        widths[static_cast<size_t>(next - m_columns.begin())] = 0;
    }
}

QString Table::line(size_t row, const std::vector<int>& widths) const {
    QString result;
    int position = 0;
    for (size_t i = 0; i < widths.size(); ++i) {
        if (widths[i] == 0)
            continue;
        Cell cell = m_cells[row * widths.size() + i];
        if (cell.width > widths[i] && m_columns[i].limit == 0) {
            cell.text = shortened(cell.text, widths[i]);
            cell.width = displayWidth(cell.text);
        } else if (cell.width > widths[i]) {
            result += QLatin1String("  ") + cell.text + QLatin1Char('\n') +
                      QString(position, QLatin1Char(' '));
            cell = {{}, 0};
        }
        position += 2 + widths[i];
        const int blanks = widths[i] - cell.width;
        const bool isRight = m_columns[i].isRight;
        result.resize(result.size() + 2 + (isRight ? blanks : 0), QLatin1Char(' '));
        result += cell.text;
        result.resize(result.size() + (isRight ? 0 : blanks), QLatin1Char(' '));
    }
    while (result.endsWith(QLatin1Char(' ')))
        result.chop(1);
    return result;
}

QString Table::text(const Paper& paper) const {
    const std::vector<int> widths = columnWidths(paper);
    QString result = paper.heading(line(0, widths));
    for (size_t row = 1; row < m_alarms.size(); ++row) {
        const QString text = line(row, widths);
        result += (m_alarms[row] ? paper.alarm(text) : text) + QLatin1Char('\n');
    }
    return result;
}

QString Table::section(const char* title, const Paper& paper) const {
    return isEmpty() ? paper.heading(QLatin1String(title) + QLatin1String(": none"))
                     : paper.heading(QLatin1String(title)) + text(paper);
}

} // namespace readkey
