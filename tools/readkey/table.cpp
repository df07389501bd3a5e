#include "table.h"

#include <QtCore/QLocale>

#include <algorithm>

#include <sys/ioctl.h>
#include <unistd.h>

namespace readkey {

namespace {

constexpr int shortestName = 12;
constexpr int longestPath = 30; // that is not on a line of its own

// The text cut to `width` columns, with an ellipsis at its end.
QString shortened(QString text, int width) {
    while (!text.isEmpty() && displayWidth(text) > width - 1)
        text.chop(text.at(text.size() - 1).isLowSurrogate() ? 2 : 1);
    return text + QChar(0x2026);
}

QByteArray classOf(const QByteArray& style) {
    return style.isEmpty() ? "" : " class=\"" + style.trimmed() + '"';
}

} // namespace

Paper Paper::ofStandardOutput(bool utc) {
    winsize size{};
    const bool isTerminal = ::isatty(STDOUT_FILENO) == 1;
    ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size); // leaves 0 if it is none
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

QString Paper::number(std::optional<qint64> number) const {
    return !number ? QStringLiteral("-") : isPage ? grouped(*number) : QString::number(*number);
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
    Q_ASSERT(cells.size() == m_columns.size());
    m_rows.append({{}, style});
    for (const QString& cell : cells)
        m_rows.last().cells += printable(cell);
}

// An empty column has no width, whatever its title.
QVector<int> Table::widestCells() const {
    QVector<int> widths(m_columns.size());
    for (int row = 1; row < m_rows.size(); ++row) {
        for (int i = 0; i < widths.size(); ++i) {
            const int width = displayWidth(m_rows[row].cells[i]);
            const bool fits = m_columns[i].kind != Path || width <= longestPath;
            if (width > 0)
                widths[i] = std::max({widths[i], m_rows[0].cells[i].size(), fits ? width : 0});
        }
    }
    return widths;
}

// Shortens names, the last column first, and then leaves out one column after another.
QVector<int> Table::columnWidths(const Paper& paper) const {
    QVector<int> widths = widestCells();
    for (int turn = 1; paper.width > 0; ++turn) {
        QVector<int> shorter = widths;
        int tooMuch = -paper.width;
        for (const int width : widths)
            tooMuch += width == 0 ? 0 : 2 + width;
        for (int i = widths.size() - 1; i >= 0 && tooMuch > 0; --i) {
            if (m_columns[i].kind >= Name && widths[i] > shortestName)
                shorter[i] = std::max(shortestName, widths[i] - tooMuch);
            tooMuch -= widths[i] - shorter[i];
        }
        const auto next =
            std::find_if(m_columns.begin(), m_columns.end(),
                         [turn](const Column& column) { return column.turn == turn; });
        if (tooMuch <= 0 || next == m_columns.end())
            return shorter;
        widths[static_cast<int>(next - m_columns.begin())] = 0;
    }
    return widths;
}

QString Table::line(const Row& row, const QVector<int>& widths) const {
    QString result;
    int position = 0;
    for (int i = 0; i < widths.size(); ++i) {
        if (widths[i] == 0)
            continue;
        QString cell = row.cells[i];
        const bool isTooWide = displayWidth(cell) > widths[i];
        if (isTooWide && m_columns[i].kind == Path) {
            result += QLatin1String("  ") + cell + QLatin1Char('\n') +
                      QString(position, QLatin1Char(' '));
            cell.clear();
        } else if (isTooWide) {
            cell = shortened(cell, widths[i]);
        }
        const int blanks = widths[i] - displayWidth(cell);
        const bool isRight = m_columns[i].kind == Right;
        result.resize(result.size() + 2 + (isRight ? blanks : 0), QLatin1Char(' '));
        result += cell;
        result.resize(result.size() + (isRight ? 0 : blanks), QLatin1Char(' '));
        position += 2 + widths[i];
    }
    while (result.endsWith(QLatin1Char(' ')))
        result.chop(1);
    return result;
}

QString Table::text(const Paper& paper) const {
    const QVector<int> widths = columnWidths(paper);
    QString result = paper.heading(line(m_rows[0], widths));
    for (const Row& row : m_rows.mid(1)) {
        const bool isAlarm = row.style == "failed" || row.style.startsWith("overdue");
        const QString text = line(row, widths);
        result += (isAlarm ? paper.alarm(text) : text) + QLatin1Char('\n');
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
    const QVector<int> widths = widestCells();
    int header = widths.size() - 1;
    while (m_columns[header].kind < Name)
        --header;
    for (int row = 0, next = 1; row < m_rows.size(); row = next++) {
        QByteArray style = m_rows[row].style;
        for (; next < m_rows.size() && m_rows[next].cells[header].isEmpty(); ++next)
            style = std::max(style, m_rows[next].style); // none, or "overdue"
        QByteArray& lines = row == 0 ? titles : body;
        lines += "<tr" + classOf(style) + '>';
        for (int i = 0; i < widths.size(); ++i) {
            if (widths[i] == 0 && !isEmpty())
                continue;
            QStringList texts;
            for (int part = row; part < next; ++part)
                texts += m_rows[part].cells[i].toHtmlEscaped();
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
