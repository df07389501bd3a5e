// The page: page.html with its style, its script and the logbook's data put in. The script draws
// everything, so only data are written here, as JSON and as rows of numbers. The page's policy
// names its style and script by their hashes, so that a browser runs nothing else.
#include "clock.h"
#include "text.h"
#include "views.h"

#include <QtCore/QCryptographicHash>
#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

#include <set>

namespace readkey {

namespace {

QByteArray resource(const char* name) {
    QFile file(QStringLiteral(":/") + QLatin1String(name));
    file.open(QIODevice::ReadOnly);
    return file.readAll();
}

QByteArray policy(const QByteArray& style, const QByteArray& script) {
    const auto hash = [](const QByteArray& text) {
        return "'sha256-" + QCryptographicHash::hash(text, QCryptographicHash::Sha256).toBase64() +
               "'";
    };
    return "default-src 'none'; style-src " + hash(style) + "; script-src " + hash(script) +
           "; img-src data:; base-uri 'none'; form-action 'none'";
}

// Null for an instant that is not known.
QJsonValue instant(std::optional<qint64> seconds) {
    return seconds ? QJsonValue(*seconds) : QJsonValue();
}

template <typename Items, typename ToJson>
QJsonArray array(const Items& items, ToJson toJson) {
    QJsonArray result;
    for (const auto& item : items)
        result.append(toJson(item));
    return result;
}

// [[from this instant on, the clock is so many seconds ahead of UTC], ...] for all times of the
// logbook. The page computes with it, for the browser may stand in another zone.
QJsonArray clockOffsets(const Logbook& book, bool utc) {
    if (utc)
        return {};
    // No zone changes its clocks but at a whole quarter of an hour.
    std::set<qint64> quarters;
    for (const Insertion& insertion : book.insertions) {
        quarters.insert(insertion.inserted / 900);
        quarters.insert(insertion.withdrawn.value_or(insertion.inserted) / 900);
    }
    for (const LogFile& file : book.files) {
        if (file.downloaded)
            quarters.insert(*file.downloaded / 900);
    }
    QJsonArray result;
    int known = 0;
    for (const qint64 quarter : quarters) {
        const int offset = QDateTime::fromSecsSinceEpoch(quarter * 900).offsetFromUtc();
        if (result.isEmpty() || offset != known)
            result.append(QJsonArray{quarter * 900, offset});
        known = offset;
    }
    return result;
}

QJsonObject vehicleJson(const VehicleSummary& vehicle) {
    return {
        {QStringLiteral("plate"), printable(vehicle.plate)},
        {QStringLiteral("download"), instant(vehicle.lastDownload.time)},
        {QStringLiteral("overdue"), vehicle.lastDownload.isOverdue},
        {QStringLiteral("insertions"), vehicle.totals.insertions},
        {QStringLiteral("drivers"), vehicle.drivers},
        {QStringLiteral("km"), vehicle.totals.kilometres},
        {QStringLiteral("seconds"), vehicle.totals.seconds},
        {QStringLiteral("kmWithoutCard"), vehicle.totals.kilometresWithoutCard},
    };
}

QJsonObject driverJson(const DriverSummary& driver) {
    const CardSummary card = driver.cards.empty() ? CardSummary{} : driver.cards.front();
    return {
        {QStringLiteral("name"), printable(orDash(driver.name))},
        {QStringLiteral("card"), printable(card.number)},
        {QStringLiteral("download"), instant(card.lastDownload.time)},
        {QStringLiteral("overdue"), driver.isOverdue},
        {QStringLiteral("insertions"), driver.totals.insertions},
        {QStringLiteral("vehicles"), driver.vehicles},
        {QStringLiteral("km"), driver.totals.kilometres},
        {QStringLiteral("seconds"), driver.totals.seconds},
    };
}

QJsonObject fileJson(const LogFile& file) {
    const bool isNotCopied = file.copy == LogFile::NotCopied;
    return {
        {QStringLiteral("key"), printable(file.key)},
        {QStringLiteral("name"), printable(file.name)},
        {QStringLiteral("downloaded"), instant(file.downloaded)},
        {QStringLiteral("contents"), printable(file.contents)},
        {QStringLiteral("status"), QLatin1String(statusNames[file.status])},
        {QStringLiteral("copy"), QLatin1String(isNotCopied ? "not copied" : copyNames[file.copy])},
    };
}

QJsonObject failureJson(const Failure& failure) {
    return {
        {QStringLiteral("key"), printable(failure.key)},
        {QStringLiteral("file"), printable(failure.file)},
        {QStringLiteral("reason"), printable(failure.reason)},
    };
}

// JSON as it may stand inside of a script element: without the character that could end it.
QByteArray json(const Logbook& book, const Options& options) {
    const QJsonObject data{
        {QStringLiteral("keys"), array(options.paths, printable)},
        {QStringLiteral("zone"), printable(Clock{options.utc}.zone())},
        {QStringLiteral("offsets"), clockOffsets(book, options.utc)},
        {QStringLiteral("newest"), instant(book.newestDownload)},
        {QStringLiteral("vehicleDays"), vehicleDownloadDays},
        {QStringLiteral("cardDays"), cardDownloadDays},
        {QStringLiteral("insertionsFound"), static_cast<qint64>(book.insertionsFound)},
        {QStringLiteral("otherEntries"), static_cast<qint64>(book.otherEntries)},
        {QStringLiteral("vehicles"), array(book.vehicles, vehicleJson)},
        {QStringLiteral("drivers"), array(book.drivers, driverJson)},
        {QStringLiteral("files"), array(book.files, fileJson)},
        {QStringLiteral("failures"), array(book.failures, failureJson)},
    };
    return QJsonDocument(data).toJson(QJsonDocument::Compact).replace('<', "\\u003c");
}

void addRow(QByteArray& rows, std::initializer_list<std::optional<qint64>> values) {
    for (const std::optional<qint64>& value : values) {
        if (value)
            rows += QByteArray::number(*value);
        rows += ',';
    }
    rows.back() = '\n';
}

// The many insertions, one line each; what is not known is empty.
QByteArray insertionRows(const Logbook& book) {
    QByteArray rows;
    for (const Insertion& insertion : book.insertions)
        addRow(rows, {insertion.vehicle->index, insertion.driver->index, insertion.slot,
                      insertion.inserted, insertion.withdrawn, insertion.odometerAtInsertion,
                      insertion.odometerAtWithdrawal, insertion.file->index});
    return rows;
}

QByteArray gapRows(const Logbook& book) {
    QByteArray rows;
    for (const Gap& gap : book.gaps) {
        if (gap.kind == Gap::WithoutCard)
            addRow(rows, {gap.vehicle->index, gap.from, gap.to, gap.distance()});
    }
    return rows;
}

} // namespace

void writeHtml(const Logbook& book, const Options& options, QIODevice& out) {
    const QByteArray style = resource("page.css");
    const QByteArray script = resource("page.js");
    const QHash<QByteArray, QByteArray> parts{
        {"POLICY", policy(style, script)},   {"STYLE", style},        {"SCRIPT", script},
        {"INSERTIONS", insertionRows(book)}, {"GAPS", gapRows(book)}, {"DATA", json(book, options)},
    };
    // The template's places are "@NAME@"; every other piece between the signs is a name.
    bool isName = false;
    for (const QByteArray& piece : resource("page.html").split('@')) {
        out.write(isName ? parts.value(piece) : piece);
        isName = !isName;
    }
}

} // namespace readkey
