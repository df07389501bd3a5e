// The page: page.html filled with its style, its script and the logbook. The tables can be read
// with scripts off; the script takes them over and draws the rest from rows of numbers. The page's
// policy names style and script by their hashes, so that a browser runs nothing else.
#include "views.h"

#include <QtCore/QCryptographicHash>
#include <QtCore/QDateTime>
#include <QtCore/QFile>

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

QByteArray section(const char* id, const char* title, const Table& table, const Paper& paper) {
    QHash<QByteArray, QByteArray> parts = table.markup(paper);
    parts["ID"] = id;
    parts["TITLE"] = title;
    return filled("section.html", parts).join();
}

QByteArray failures(const Logbook& book, const Paper& paper) {
    Table table({{"File", Name}, {"Key"}, {"Reason"}});
    for (const Failure& failure : book.failures)
        table.addRow({failure.file.isEmpty() ? failure.key : failure.file,
                      book.hasSeveralKeys ? failure.key : QString(), failure.reason},
                     "failed");
    return table.isEmpty() ? "" : section("failures", "What failed", table, paper);
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

QByteArray stretchRows(const Logbook& book) {
    QByteArray rows;
    for (const Stretch& stretch : book.stretches) {
        const auto who = stretch.driver ? std::optional(stretch.driver->index) : std::nullopt;
        addRow(rows, {stretch.kind, stretch.vehicle->index, who, stretch.slot, stretch.from,
                      stretch.to, stretch.odometerFrom, stretch.odometerTo, stretch.end});
    }
    return rows;
}

// From when until when something is known of each vehicle, and its last download.
QByteArray vehicleRows(const Logbook& book) {
    QByteArray rows;
    for (const VehicleSummary& vehicle : book.vehicles)
        addRow(rows, {vehicle.knownFrom, vehicle.knownTo, vehicle.lastDownload.time});
    return rows;
}

// The first and the last time of the logbook. A filter can leave out the insertions beside a gap.
std::pair<qint64, qint64> period(const Logbook& book, const Clock& clock) {
    std::optional<qint64> last = book.newestDownload;
    for (const Stretch& stretch : book.stretches)
        last = std::max({last, std::optional(stretch.from), stretch.to});
    qint64 first = last.value_or(clock.startOf(book.asOf));
    for (const VehicleSummary& vehicle : book.vehicles)
        first = std::min(first, vehicle.knownFrom.value_or(first));
    return {first, last.value_or(first)};
}

// Rows of an instant and the clock's seconds ahead of UTC from then on. The page computes local
// times with them, because the browser may be in another zone.
QByteArray clockRows(const Logbook& book, const Clock& clock) {
    constexpr qint64 week = 604800; // no clock changes twice in it
    const auto [first, last] = period(book, clock);
    QByteArray rows;
    qint64 known = clock.offset(first - week);
    addRow(rows, {first - week, known});
    for (qint64 low = first - week; low < last + week; low += week) {
        if (clock.offset(low + week) == known)
            continue;
        qint64 before = low;
        qint64 after = low + week;
        while (after - before > 1)
            (clock.offset((before + after) / 2) == known ? before : after) = (before + after) / 2;
        known = clock.offset(after);
        addRow(rows, {after, known});
    }
    return rows;
}

} // namespace

void writeHtml(const Logbook& book, const Options& options, QIODevice& out) {
    const Clock clock{options.utc};
    const Paper paper{clock, 0, false, true};
    const QByteArray style = resource("page.css");
    const QByteArray code = resource("page.js");
    constexpr auto sha256 = QCryptographicHash::Sha256;
    const auto [first, last] = period(book, clock);
    const qint64 from = options.filter.from.value_or(first);
    const qint64 to = options.filter.to.value_or(std::max(last, from) + 1) - 1;
    const auto number = [&paper](auto value) { return paper.number(value).toUtf8(); };
    QString keys = QStringList(options.paths.mid(0, 3)).join(QStringLiteral(", "));
    if (options.paths.size() > 3)
        keys += QStringLiteral(" and %1 more").arg(options.paths.size() - 3);
    const QHash<QByteArray, QByteArray> parts{
        {"STYLEHASH", QCryptographicHash::hash(style, sha256).toBase64()},
        {"SCRIPTHASH", QCryptographicHash::hash(code, sha256).toBase64()},
        {"STYLE", style},
        {"SCRIPT", code},
        {"KEYS", printable(keys).toHtmlEscaped().toUtf8()},
        {"FROM", clock.date(std::min(from, to)).toString(Qt::ISODate).toLatin1()},
        {"TO", clock.date(to).toString(Qt::ISODate).toLatin1()},
        {"NEWEST", clock.minute(book.newestDownload).toLatin1()},
        {"ZONE", clock.zone().toHtmlEscaped().toUtf8()},
        {"VERSION", READKEY_VERSION},
        {"NOW", clock.minute(QDateTime::currentSecsSinceEpoch()).toLatin1()},
        {"LEFTOUT", number(book.insertionsFound - book.totals.insertions)},
        {"CROSSING", crossingText(book.crossing, paper,
                                  book.crossing.insertions == 1 ? " insertion, " : " insertions, ")
                         .toUtf8()},
        {"OTHERS", number(book.otherEntries)},
        {"FUTURE", number(book.counts.fromFuture)},
        {"INSERTIONCOUNT", number(book.totals.insertions)},
        {"HOURS", paper.hours(book.totals.seconds).toUtf8()},
        {"KM", number(book.totals.kilometres)},
        {"KMWITHOUTCARD", number(book.ofGaps(book.totals.kilometresWithoutCard))},
        {"KMWITHOUTDATA", number(book.ofGaps(book.totals.kilometresWithoutData))},
        {"FAILURECOUNT", number(book.failures.size())},
        {"SUMMARY", section("vehicles", "Vehicles", vehicleTable(book, paper), paper) +
                        section("drivers", "Drivers", driverTable(book, paper), paper)},
        {"SHAREDNAMES", number(book.hasSharedNames)},
        {"VEHICLEDAYS", QByteArray::number(vehicleDownloadDays)},
        {"CARDDAYS", QByteArray::number(cardDownloadDays)},
        {"ASOF", book.asOf.toString(Qt::ISODate).toLatin1()},
        {"LISTS", failures(book, paper) + section("files", "Files", fileTable(book, paper), paper)},
        {"STRETCHROWS", stretchRows(book)},
        {"VEHICLEROWS", vehicleRows(book)},
        {"CLOCKROWS", clockRows(book, clock)},
    };
    // A full disk may take a part of a piece without an error; then it refuses the next.
    for (const QByteArray& piece : filled("page.html", parts))
        out.write(piece);
}

} // namespace readkey
