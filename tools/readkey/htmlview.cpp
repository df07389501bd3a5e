// The page: page.html filled with its style, its script and the logbook. The tables can be read
// with scripts off; the script takes them over and draws the rest from rows of numbers. The page's
// policy names style and script by their hashes, so that a browser runs nothing else.
#include "clock.h"
#include "text.h"
#include "views.h"

#include <QtCore/QCryptographicHash>
#include <QtCore/QDateTime>
#include <QtCore/QFile>
#include <QtCore/QLocale>

#include <algorithm>

namespace readkey {

namespace {

QByteArray resource(const char* name) {
    QFile file(QLatin1String(":/") + QLatin1String(name));
    file.open(QIODevice::ReadOnly);
    return file.readAll();
}

// The pieces of the file, with each "@NAME@" replaced by the part of that name.
QByteArrayList filled(const char* name, const QHash<QByteArray, QByteArray>& parts) {
    QByteArrayList pieces = resource(name).split('@');
    for (int i = 1; i < pieces.size(); i += 2)
        pieces[i] = parts.value(pieces[i]);
    return pieces;
}

// As the policy names a script.
QByteArray hash(const QByteArray& text) {
    return QCryptographicHash::hash(text, QCryptographicHash::Sha256).toBase64();
}

// Text from a key, escaped for markup.
QByteArray html(const QString& text) {
    return printable(text).toHtmlEscaped().toUtf8();
}

// "13 437", with narrow no-break blanks.
template <typename Number>
QByteArray grouped(Number number) {
    return QLocale(QLocale::French).toString(static_cast<qint64>(number)).toUtf8();
}

// "253:12"
QByteArray hours(qint64 seconds) {
    return grouped(seconds / 3600) + QByteArray::number(100 + seconds / 60 % 60).replace(0, 1, ":");
}

QByteArray ageText(const Download& download) {
    if (!download.age)
        return download.isOverdue ? "never" : "-";
    return QByteArray::number(*download.age) + (download.isOverdue ? " overdue" : "");
}

// "3: 31:30 h, 1 240 km"; empty if nothing crosses the period.
QByteArray crossingText(const Totals& totals) {
    if (totals.insertions + totals.gaps == 0)
        return {};
    const qint64 gaps = totals.kilometresWithoutCard + totals.kilometresWithoutData;
    return grouped(totals.insertions) + ": " + hours(totals.seconds) + " h, " +
           grouped(totals.kilometres) + " km" +
           (gaps > 0 ? ", and " + grouped(gaps) + " km without a card or data" : "");
}

// A row of a table: its class, and its cells as markup.
using Row = QList<QByteArray>;

// A section with a table, closed if it is long. Columns are "title" or "class:title"; the first is
// the row's header, and empty columns are left out.
QByteArray section(const QByteArray& id, const QByteArray& title, const QByteArray& columns,
                   const std::vector<Row>& rows) {
    constexpr size_t longest = 20; // of those that are open
    QByteArray head;
    std::vector<QByteArray> lines(rows.size());
    const QList<QByteArray> titles = columns.split('|');
    for (int i = 0; i < titles.size(); ++i) {
        if (!rows.empty() && std::all_of(rows.begin(), rows.end(),
                                         [i](const Row& row) { return row[i + 1].isEmpty(); }))
            continue;
        const QList<QByteArray> parts = titles[i].split(':');
        const QByteArray style = parts.size() > 1 ? " class=\"" + parts[0] + "\">" : ">";
        head += "<th scope=\"col\"" + style + parts.last() + "</th>";
        for (size_t line = 0; line < rows.size(); ++line)
            lines[line] += (i == 0 ? "<th scope=\"row\"" : "<td") + style + rows[line][i + 1] +
                           (i == 0 ? "</th>" : "</td>");
    }
    const QByteArray overdue = grouped(std::count_if(
        rows.begin(), rows.end(), [](const Row& row) { return row[0].startsWith("overdue"); }));
    QByteArray body;
    for (size_t line = 0; line < rows.size(); ++line)
        body += "<tr class=\"" + rows[line][0] + "\">" + lines[line] + "</tr>\n";
    return filled("section.html", {{"ID", id},
                                   {"TITLE", title},
                                   {"OPEN", rows.size() > longest ? "" : " open"},
                                   {"COUNT", grouped(rows.size())},
                                   {"OVERDUE", overdue},
                                   {"HEAD", head},
                                   {"BODY", body}})
        .join();
}

QByteArray vehicles(const Logbook& book, const Clock& clock) {
    std::vector<Row> rows;
    for (const VehicleSummary& vehicle : book.vehicles) {
        const Download& download = vehicle.lastDownload;
        const Totals& totals = vehicle.totals;
        rows.push_back(
            {QByteArray(download.isOverdue ? "overdue" : "") +
                 (totals.kilometresWithoutCard > 0 ? " gaps" : ""),
             html(orDash(vehicle.plate)), clock.minute(download.time).toLatin1(), ageText(download),
             grouped(totals.insertions), grouped(vehicle.drivers), hours(totals.seconds),
             grouped(totals.kilometres), grouped(totals.kilometresWithoutCard),
             totals.kilometresWithoutData > 0 ? grouped(totals.kilometresWithoutData) : "",
             crossingText(vehicle.crossing)});
    }
    return section("vehicles", "Vehicles",
                   "Vehicle|Last download|number age:Age in days|number:Insertions|number:Drivers|"
                   "number:Card in|number:km|number without:km without a card|"
                   "number:km without data|Crossing the period",
                   rows);
}

QByteArray drivers(const Logbook& book) {
    std::vector<Row> rows;
    for (const DriverSummary& driver : book.drivers) {
        QByteArrayList numbers; // a line for each card
        QByteArrayList ages;
        for (const CardSummary& card : driver.cards) {
            const Download& download = card.lastDownload;
            numbers.append(html(orDash(card.number)));
            ages.append((book.counts.driverCards == 0 ? "no card files" : ageText(download)) +
                        (card.counts || !download.age ? "" : ", not counted"));
        }
        rows.push_back({driver.isOverdue ? "overdue" : "", html(nameOf(driver)),
                        numbers.join("<br>\n"), ages.join("<br>\n"), grouped(driver.vehicles),
                        grouped(driver.totals.insertions), hours(driver.totals.seconds),
                        grouped(driver.totals.kilometres), crossingText(driver.crossing)});
    }
    return section("drivers", "Drivers",
                   "Driver|cards:Cards|number age:Card's age in days|number:Vehicles|"
                   "number:Insertions|number:Card in|number:km|Crossing the period",
                   rows);
}

QByteArray files(const Logbook& book, const Options& options) {
    std::vector<Row> rows;
    for (const LogFile& file : book.files)
        rows.push_back({file.copy == FileCopier::Failed ? "failed" : statusNames[file.status],
                        html(file.name), options.paths.size() > 1 ? html(file.key) : "",
                        Clock{options.utc}.minute(file.downloaded).toLatin1(), copyNames[file.copy],
                        html(file.contents)});
    return section("files", "Files", "File|Key|Downloaded|Copy|Contents", rows);
}

QByteArray failures(const Logbook& book, const Options& options) {
    std::vector<Row> rows;
    for (const Failure& failure : book.failures)
        rows.push_back({"failed", html(failure.file.isEmpty() ? failure.key : failure.file),
                        options.paths.size() > 1 ? html(failure.key) : "", html(failure.reason)});
    return rows.empty() ? "" : section("failures", "What failed", "File|Key|Reason", rows);
}

// Lines of numbers; an unknown one is empty.
void addRow(QByteArray& rows, std::initializer_list<std::optional<qint64>> values) {
    for (const std::optional<qint64>& value : values) {
        if (value)
            rows += QByteArray::number(*value);
        rows += ',';
    }
    rows.back() = '\n';
}

QByteArray insertionRows(const Logbook& book) {
    QByteArray rows;
    for (const Insertion& insertion : book.insertions) {
        const LogFile& file = *insertion.file;
        addRow(rows, {insertion.vehicle->index, insertion.driver->index, insertion.slot,
                      insertion.from, insertion.to, insertion.odometerFrom, insertion.odometerTo,
                      file.isFromFuture ? std::nullopt : file.downloaded});
    }
    return rows;
}

QByteArray gapRows(const Logbook& book) {
    QByteArray rows;
    for (const Gap& gap : book.gaps)
        addRow(rows, {gap.vehicle->index, gap.kind, gap.from, gap.to, gap.distance()});
    return rows;
}

// Between which times something is known of a vehicle.
QByteArray vehicleRows(const Logbook& book) {
    QByteArray rows;
    for (const VehicleSummary& vehicle : book.vehicles)
        addRow(rows, {vehicle.knownFrom, vehicle.lastDownload.time});
    return rows;
}

// The first and the last time of the logbook. A filter can leave out the insertions beside a gap.
std::pair<qint64, qint64> period(const Logbook& book, const Clock& clock) {
    qint64 last = book.newestDownload.value_or(clock.startOf(book.asOf));
    qint64 first = last;
    for (const VehicleSummary& vehicle : book.vehicles)
        first = std::min(first, vehicle.knownFrom.value_or(first));
    for (const Insertion& insertion : book.insertions)
        last = std::max({last, insertion.from, insertion.to.value_or(0)});
    for (const Gap& gap : book.gaps)
        last = std::max(last, *gap.to);
    return {first, last};
}

// Rows of an instant and the clock's seconds ahead of UTC from then on. The page computes local
// times with them, because the browser may be in another zone.
QByteArray clockRows(const Logbook& book, const Clock& clock) {
    constexpr qint64 week = 604800; // no clock changes twice in it
    const auto offset = [&clock](qint64 time) {
        const auto zone = clock.utc ? Qt::UTC : Qt::LocalTime;
        return QDateTime::fromSecsSinceEpoch(time, zone).offsetFromUtc();
    };
    const auto [first, last] = period(book, clock);
    QByteArray rows;
    int known = offset(first - week);
    addRow(rows, {first - week, known});
    for (qint64 low = first - week; low < last + week; low += week) {
        if (offset(low + week) == known)
            continue;
        qint64 before = low;
        qint64 after = low + week;
        while (after - before > 1)
            (offset((before + after) / 2) == known ? before : after) = (before + after) / 2;
        known = offset(after);
        addRow(rows, {after, known});
    }
    return rows;
}

} // namespace

void writeHtml(const Logbook& book, const Options& options, QIODevice& out) {
    const Clock clock{options.utc};
    const QByteArray style = resource("page.css");
    const QByteArray code = resource("page.js");
    const auto [first, last] = period(book, clock);
    const auto date = [&clock](qint64 time) {
        return clock.date(time).toString(Qt::ISODate).toLatin1();
    };
    const Totals& totals = book.totals;
    const QHash<QByteArray, QByteArray> parts{
        {"STYLEHASH", hash(style)},
        {"SCRIPTHASH", hash(code)},
        {"STYLE", style},
        {"SCRIPT", code},
        {"KEYS", html(options.paths.join(QStringLiteral(", ")))},
        {"FROM", date(options.filter.from.value_or(first))},
        {"TO", date(options.filter.to ? *options.filter.to - 1 : last)},
        {"NEWEST", clock.minute(book.newestDownload).toLatin1()},
        {"ZONE", html(clock.zone())},
        {"VERSION", READKEY_VERSION},
        {"NOW", clock.minute(QDateTime::currentSecsSinceEpoch()).toLatin1()},
        {"LEFTOUT", grouped(book.insertionsFound - book.insertions.size())},
        {"CROSSING", crossingText(book.crossing)},
        {"OTHERS", grouped(book.otherEntries)},
        {"FUTURE", grouped(book.counts.fromFuture)},
        {"INSERTIONCOUNT", grouped(totals.insertions)},
        {"HOURS", hours(totals.seconds)},
        {"KM", grouped(totals.kilometres)},
        {"KMWITHOUTCARD", grouped(totals.kilometresWithoutCard)},
        {"KMWITHOUTDATA", grouped(totals.kilometresWithoutData)},
        {"FAILURECOUNT", grouped(book.failures.size())},
        {"SUMMARY", vehicles(book, clock) + drivers(book)},
        {"SHAREDNAMES",
         grouped(std::count_if(book.drivers.begin(), book.drivers.end(),
                               [](const DriverSummary& driver) { return driver.holders > 1; }))},
        {"VEHICLEDAYS", QByteArray::number(vehicleDownloadDays)},
        {"CARDDAYS", QByteArray::number(cardDownloadDays)},
        {"ASOF", book.asOf.toString(Qt::ISODate).toLatin1()},
        {"LISTS", failures(book, options) + files(book, options)},
        {"INSERTIONROWS", insertionRows(book)},
        {"GAPROWS", gapRows(book)},
        {"VEHICLEROWS", vehicleRows(book)},
        {"CLOCKROWS", clockRows(book, clock)},
    };
    // A full disk may take a part of a piece without an error; then it refuses the next.
    for (const QByteArray& piece : filled("page.html", parts))
        out.write(piece);
}

} // namespace readkey
