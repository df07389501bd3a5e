#include "sections.h"

#include <algorithm>

namespace readkey {

namespace {

// The download time is left out where the terminal is too narrow for it: the names carry it too.
constexpr int widthForTimes = 100;

QString filesText(const Logbook& book, const Clock& clock, const Paper& paper) {
    const bool hasCopies =
        std::any_of(book.files.begin(), book.files.end(),
                    [](const LogFile& file) { return file.copy != LogFile::NotAsked; });
    const bool hasTimes = paper.width >= widthForTimes;
    std::vector<Column> columns;
    if (hasTimes)
        columns.push_back({"Downloaded", Column::Left});
    if (hasCopies)
        columns.push_back({"Copy", Column::Left});
    columns.push_back({"Name", Column::Name, 30});
    columns.push_back({"Contents", Column::Name});
    Table table(columns);
    for (const LogFile& file : book.files) {
        std::vector<QString> cells;
        if (hasTimes)
            cells.push_back(clock.minute(file.downloaded));
        if (hasCopies)
            cells.push_back(QLatin1String(copyNames[file.copy]));
        cells.push_back(file.name);
        cells.push_back(file.contents);
        table.addRow(cells, file.status == LogFile::Failed || file.copy == LogFile::NotCopied);
    }
    return table.section("Files", paper);
}

QString failuresText(const Logbook& book, const Paper& paper) {
    if (book.failures.empty())
        return {};
    QString result = QLatin1Char('\n') + paper.heading(QStringLiteral("Failed"));
    for (const Failure& failure : book.failures) {
        const QString place = failure.file.isEmpty() ? failure.key : failure.file;
        const QString text =
            place.isEmpty() ? failure.reason : place + QLatin1String(": ") + failure.reason;
        result += paper.alarm(QLatin1String("  ") + printable(text)) + QLatin1Char('\n');
    }
    return result;
}

// "12 files, 4 driver cards, 6 vehicle downloads, 24 insertions, 12 copied, 1 failed."
QString countsText(const Logbook& book) {
    size_t files = 0;
    size_t cards = 0;
    size_t vehicles = 0;
    size_t failed = 0;
    size_t copies[] = {0, 0, 0, 0};
    for (const LogFile& file : book.files) {
        files += file.status != LogFile::Skipped ? 1 : 0;
        cards += isDriverCard(file.cardType) ? 1 : 0;
        vehicles += file.status == LogFile::Ok && file.kind == LogFile::Vehicle ? 1 : 0;
        failed += file.status == LogFile::Failed ? 1 : 0;
        ++copies[file.copy];
    }
    QString result = QStringList{counted(files, "file"), counted(cards, "driver card"),
                                 counted(vehicles, "vehicle download"),
                                 counted(book.insertions.size(), "insertion")}
                         .join(QStringLiteral(", "));
    if (book.insertions.size() < book.insertionsFound)
        result += QStringLiteral(" of %1").arg(book.insertionsFound);
    const auto addUnlessZero = [&result](size_t count, const char* what) {
        if (count > 0)
            result += QStringLiteral(", %1 %2").arg(count).arg(QLatin1String(what));
    };
    addUnlessZero(copies[LogFile::Copied], "copied");
    addUnlessZero(copies[LogFile::Kept], "kept");
    addUnlessZero(copies[LogFile::NotCopied], "not copied");
    addUnlessZero(failed, "failed");
    if (book.otherEntries > 0)
        result += QStringLiteral("; %1 other %2 left alone")
                      .arg(book.otherEntries)
                      .arg(QLatin1String(book.otherEntries == 1 ? "entry" : "entries"));
    return result + QStringLiteral(".\n");
}

} // namespace

QString openingText(const Logbook& book, const Options& options) {
    QString result = QStringLiteral("Times are %1\n").arg(Clock{options.utc}.zone());
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

} // namespace readkey
