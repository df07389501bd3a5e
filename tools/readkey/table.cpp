#include "table.h"

#include <QtCore/QLocale>
#include <QtCore/QVector>

#include <algorithm>

#include <sys/ioctl.h>
#include <unistd.h>

namespace readkey {

namespace {

constexpr int shortestName = 12;
constexpr int longestPath = 30; // that is not on a line of its own

// The text cut to `width` columns, with an ellipsis at its end.
QString shortened(const QString& text, int width) {
    QVector<uint> codePoints = text.toUcs4();
    const auto result = [&] { return QString::fromUcs4(codePoints.data(), codePoints.size()); };
    while (!codePoints.isEmpty() && displayWidth(result()) > width - 1)
        codePoints.removeLast();
    return result() + QChar(0x2026);
}

QByteArray classOf(const QByteArray& style) {
    return style.isEmpty() ? "" : " class=\"" + style.trimmed() + '"';
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

QString Paper::number(qint64 number) const {
    return isPage ? grouped(number) : QString::number(number);
}

QString Paper::grouped(qint64 number) const {
    return QLocale(isPage ? QLocale::French : QLocale::English).toString(number);
}

QString Paper::hours(qint64 seconds) const {
    if (!isPage)
        return QString::number(static_cast<double>(seconds) / 3600, 'f', 1) + QStringLiteral(" h");
    return grouped(seconds / 3600) + QString::asprintf(":%02lld h", seconds / 60 % 60);
}

Table::Table(std::initializer_list<Column> columns)
    : m_columns(columns) {
    QStringList titles;
    for (const Column& column : columns)
        titles += QLatin1String(column.title);
    addRow(titles);
}

void Table::addRow(const QStringList& cells, const QByteArray& style) {
    if (static_cast<size_t>(cells.size()) != m_columns.size())
        qFatal("the table of \"%s\" has %zu columns, but a row of it has %d cells",
               m_columns.front().title, m_columns.size(), cells.size());
    Row& row = m_rows.emplace_back();
    row.style = style;
    for (const QString& cell : cells) {
        const QString text = printable(cell);
        row.cells.push_back({text, displayWidth(text)});
    }
}

// An empty column has no width, whatever its title.
std::vector<int> Table::widestCells() const {
    std::vector<int> widths(m_columns.size());
    for (size_t row = 1; row < m_rows.size(); ++row) {
        for (size_t i = 0; i < widths.size(); ++i) {
            const int width = m_rows[row].cells[i].width;
            const bool fits = m_columns[i].kind != Path || width <= longestPath;
            if (width > 0)
                widths[i] = std::max({widths[i], m_rows[0].cells[i].width, fits ? width : 0});
        }
    }
    return widths;
}

// Shortens names, the last column first. Returns whether a line then fits the terminal.
bool Table::shortenNames(std::vector<int>& widths, int terminal) const {
    int tooMuch = -terminal;
    for (const int width : widths)
        tooMuch += width == 0 ? 0 : 2 + width;
    for (size_t i = widths.size(); i-- > 0 && tooMuch > 0;) {
        if (m_columns[i].kind < Name || widths[i] <= shortestName)
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

QString Table::line(const Row& row, const std::vector<int>& widths) const {
    QString result;
    int position = 0;
    for (size_t i = 0; i < widths.size(); ++i) {
        if (widths[i] == 0)
            continue;
        Cell cell = row.cells[i];
        if (cell.width > widths[i] && m_columns[i].kind == Path) {
            result += QLatin1String("  ") + cell.text + QLatin1Char('\n') +
                      QString(position, QLatin1Char(' '));
            cell = {{}, 0};
        } else if (cell.width > widths[i]) {
            cell.text = shortened(cell.text, widths[i]);
            cell.width = displayWidth(cell.text);
        }
        position += 2 + widths[i];
        const int blanks = widths[i] - cell.width;
        const bool isRight = m_columns[i].kind == Right;
        result += QString(2 + (isRight ? blanks : 0), QLatin1Char(' ')) + cell.text +
                  QString(isRight ? 0 : blanks, QLatin1Char(' '));
    }
    while (result.endsWith(QLatin1Char(' ')))
        result.chop(1);
    return result;
}

QString Table::text(const Paper& paper) const {
    const std::vector<int> widths = columnWidths(paper);
    QString result = paper.heading(line(m_rows[0], widths));
    for (size_t i = 1; i < m_rows.size(); ++i) {
        const QByteArray& style = m_rows[i].style;
        const QString text = line(m_rows[i], widths);
        result += (style == "failed" || style.startsWith("overdue") ? paper.alarm(text) : text) +
                  QLatin1Char('\n');
    }
    return result;
}

QString Table::section(const char* title, const Paper& paper) const {
    return isEmpty() ? paper.heading(QLatin1String(title) + QLatin1String(": none"))
                     : paper.heading(QLatin1String(title)) + text(paper);
}

QHash<QByteArray, QByteArray> Table::markup(const Paper& paper) const {
    constexpr int longest = 20; // of those that are open
    QByteArray titles;
    QByteArray body;
    int count = -1; // without the titles
    int overdue = 0;
    const std::vector<int> widths = widestCells();
    size_t header = widths.size() - 1;
    while (m_columns[header].kind < Name)
        --header;
    for (size_t row = 0, next = 1; row < m_rows.size(); row = next++) {
        QByteArray style = m_rows[row].style;
        for (; next < m_rows.size() && m_rows[next].cells[header].text.isEmpty(); ++next)
            style = std::max(style, m_rows[next].style); // none, or "overdue"
        QByteArray& lines = row == 0 ? titles : body;
        lines += "<tr" + classOf(style) + '>';
        for (size_t i = 0; i < widths.size(); ++i) {
            if (widths[i] == 0 && !isEmpty())
                continue;
            QStringList texts;
            for (size_t part = row; part < next; ++part)
                texts += m_rows[part].cells[i].text.toHtmlEscaped();
            texts.removeAll({});
            const QByteArray tag = row == 0      ? "th scope=\"col\""
                                   : i == header ? "th scope=\"row\""
                                                 : "td";
            lines += '<' + tag +
                     classOf((m_columns[i].kind == Right ? "number " : "") +
                             QByteArray(m_columns[i].style)) +
                     '>' + texts.join(QLatin1String("<br>\n")).toUtf8() + "</" + tag.left(2) + '>';
        }
        lines += "</tr>\n";
        ++count;
        overdue += style.startsWith("overdue") ? 1 : 0;
    }
    return {{"HEAD", titles},
            {"BODY", body},
            {"OPEN", count > longest ? "" : " open"},
            {"COUNT", paper.number(count).toUtf8()},
            {"OVERDUE", paper.number(overdue).toUtf8()}};
}

} // namespace readkey
