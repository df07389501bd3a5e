#include "sections.h"

#include <QtCore/QStringList>

#include <algorithm>

namespace readkey {

namespace {

// The download time is left out where the terminal is too narrow for it: the names carry it too.
constexpr int widthForTimes = 100;

QString filesText(const Logbook& book, const Clock& clock, const Paper& paper) {
    if (book.files.empty())
        return paper.heading(QStringLiteral("Files: none")) + QLatin1Char('\n');
    static const char* const copyNames[] = {"", "copied", "kept", "failed"};
    const bool hasCopies =
        std::any_of(book.files.begin(), book.files.end(),
                    [](const LogFile& file) { return file.copy != LogFile::NotAsked; });
    const bool hasTimes = paper.width >= widthForTimes;
    std::vector<Table::Column> columns;
    if (hasTimes)
        columns.push_back({"Downloaded"});
    if (hasCopies)
        columns.push_back({"Copy"});
    columns.push_back({"Name", Table::Column::Name, 30});
    columns.push_back({"Contents", Table::Column::Name});
    Table table(columns);
    for (const LogFile& file : book.files) {
        std::vector<QString> cells;
        if (hasTimes)
            cells.push_back(file.downloaded.isValid()
                                ? clock.minute(file.downloaded.toSecsSinceEpoch())
                                : QStringLiteral("-"));
        if (hasCopies)
            cells.push_back(QLatin1String(copyNames[file.copy]));
        cells.push_back(file.name);
        cells.push_back(file.contents);
        table.addRow(cells, file.status == LogFile::Failed || file.copy == LogFile::NotCopied);
    }
    return paper.heading(QStringLiteral("Files")) + QLatin1Char('\n') + table.text(paper);
}

QString failuresText(const Logbook& book, const Paper& paper) {
    if (book.failures.empty())
        return {};
    QString result =
        QLatin1Char('\n') + paper.heading(QStringLiteral("Failed")) + QLatin1Char('\n');
    for (const Failure& failure : book.failures) {
        const QString place = failure.file.isEmpty() ? failure.key : failure.file;
        const QString text =
            place.isEmpty() ? failure.reason : place + QLatin1String(": ") + failure.reason;
        result += paper.alarm(QLatin1String("  ") + printable(text)) + QLatin1Char('\n');
    }
    return result;
}

// "12 files, 4 driver cards, 6 vehicle downloads, 24 insertions; 12 copied, 1 failed."
QString countsText(const Logbook& book) {
    const auto count = [&book](auto isCounted) {
        return static_cast<size_t>(std::count_if(book.files.begin(), book.files.end(), isCounted));
    };
    const auto copies = [&count](LogFile::Copy copy, const char* verb) {
        const size_t files = count([copy](const LogFile& file) { return file.copy == copy; });
        return files == 0 ? QString()
                          : QStringLiteral(", %1 %2").arg(files).arg(QLatin1String(verb));
    };
    QString result =
        QStringList{
            counted(count([](const LogFile& f) { return f.status != LogFile::Skipped; }), "file"),
            counted(count([](const LogFile& f) { return isDriverCard(f.cardType); }),
                    "driver card"),
            counted(count([](const LogFile& f) {
                        return f.status == LogFile::Ok && f.kind == LogFile::Vehicle;
                    }),
                    "vehicle download"),
            counted(book.insertions.size(), "insertion")}
            .join(QStringLiteral(", "));
    if (book.insertions.size() < book.insertionsFound)
        result += QStringLiteral(" of %1").arg(book.insertionsFound);
    result += copies(LogFile::Copied, "copied") + copies(LogFile::Kept, "kept") +
              copies(LogFile::NotCopied, "not copied");
    const size_t failed = count([](const LogFile& file) { return file.status == LogFile::Failed; });
    if (failed > 0)
        result += QStringLiteral(", %1 failed").arg(failed);
    if (book.otherEntries > 0)
        result += QStringLiteral("; %1 other %2 left alone")
                      .arg(book.otherEntries)
                      .arg(QLatin1String(book.otherEntries == 1 ? "entry" : "entries"));
    return result + QStringLiteral(".\n");
}

} // namespace

QString openingText(const Logbook& book, const Options& options) {
    QString result = QStringLiteral("Times are %1\n").arg(Clock(options.utc).zone());
    if (options.filter.isActive())
        result += QStringLiteral("Only what matches the filter is shown: %1 of %2\n")
                      .arg(book.insertions.size())
                      .arg(counted(book.insertionsFound, "insertion"));
    return result;
}

QString closingText(const Logbook& book, const Clock& clock, const Paper& paper) {
    return QLatin1Char('\n') + filesText(book, clock, paper) + failuresText(book, paper) +
           QLatin1Char('\n') + countsText(book);
}

QString orDash(const QString& text) {
    return text.isEmpty() ? QStringLiteral("-") : text;
}

} // namespace readkey
