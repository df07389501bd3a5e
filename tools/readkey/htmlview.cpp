// The page: page.html with its style, its script and the logbook's data put in. The script draws
// everything, so only data are written here, as JSON and as rows of numbers. The page's policy
// names its style and script by their hashes, so that a browser runs nothing else.
#include "text.h"
#include "views.h"

#include <QtCore/QCryptographicHash>
#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

#include <algorithm>
#include <initializer_list>

namespace readkey {

namespace {

QByteArray resource(const char* name) {
    QFile file(QStringLiteral(":/page/") + QLatin1String(name));
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
QJsonValue instant(qint64 seconds) {
    return seconds == 0 ? QJsonValue() : QJsonValue(seconds);
}

// [[from this instant on, the clock is so many seconds ahead of UTC], ...] for all times of the
// logbook. The page computes with it, for the browser may stand in another zone.
QJsonArray clockOffsets(const Logbook& book, bool utc) {
    if (utc)
        return {};
    // No zone changes its clocks but at a whole quarter of an hour.
    std::vector<qint64> quarters;
    const auto add = [&quarters](qint64 seconds) { quarters.push_back(seconds / 900); };
    for (const Insertion& insertion : book.insertions) {
        add(insertion.inserted);
        add(insertion.withdrawn.value_or(insertion.inserted));
    }
    for (const LogFile& file : book.files) {
        if (file.downloaded.isValid())
            add(file.downloaded.toSecsSinceEpoch());
    }
    std::sort(quarters.begin(), quarters.end());
    quarters.erase(std::unique(quarters.begin(), quarters.end()), quarters.end());

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

QJsonArray vehicles(const Logbook& book) {
    QJsonArray result;
    for (const VehicleSummary& vehicle : book.vehicles) {
        result.append(QJsonObject{
            {QStringLiteral("plate"), printable(vehicle.plate)},
            {QStringLiteral("download"), instant(vehicle.lastDownload)},
            {QStringLiteral("overdue"), vehicle.overdue},
            {QStringLiteral("insertions"), static_cast<qint64>(vehicle.insertions.size())},
            {QStringLiteral("drivers"), static_cast<qint64>(vehicle.drivers.size())},
            {QStringLiteral("km"), vehicle.kilometres},
            {QStringLiteral("seconds"), vehicle.seconds},
            {QStringLiteral("kmWithoutCard"), vehicle.kilometresWithoutCard},
        });
    }
    return result;
}

QJsonArray drivers(const Logbook& book) {
    QJsonArray result;
    for (const DriverSummary& driver : book.drivers) {
        result.append(QJsonObject{
            {QStringLiteral("name"), printable(driver.name)},
            {QStringLiteral("card"), printable(driver.cardNumber)},
            {QStringLiteral("download"), instant(driver.cardDownload.value_or(0))},
            {QStringLiteral("overdue"), driver.overdue},
            {QStringLiteral("insertions"), static_cast<qint64>(driver.insertions.size())},
            {QStringLiteral("vehicles"), static_cast<qint64>(driver.vehicles.size())},
            {QStringLiteral("km"), driver.kilometres},
            {QStringLiteral("seconds"), driver.seconds},
        });
    }
    return result;
}

QJsonArray files(const Logbook& book) {
    static constexpr const char* statuses[] = {"ok", "failed", "skipped"};
    static constexpr const char* copies[] = {"", "copied", "kept", "not copied"};
    QJsonArray result;
    for (const LogFile& file : book.files) {
        const qint64 time = file.downloaded.isValid() ? file.downloaded.toSecsSinceEpoch() : 0;
        result.append(QJsonObject{
            {QStringLiteral("key"), printable(file.key)},
            {QStringLiteral("name"), printable(file.name)},
            {QStringLiteral("downloaded"), instant(time)},
            {QStringLiteral("contents"), printable(file.contents)},
            {QStringLiteral("status"), QLatin1String(statuses[file.status])},
            {QStringLiteral("copy"), QLatin1String(copies[file.copy])},
        });
    }
    return result;
}

QJsonArray failures(const Logbook& book) {
    QJsonArray result;
    for (const Failure& failure : book.failures) {
        result.append(QJsonObject{
            {QStringLiteral("key"), printable(failure.key)},
            {QStringLiteral("file"), printable(failure.file)},
            {QStringLiteral("reason"), printable(failure.reason)},
        });
    }
    return result;
}

// JSON as it may stand inside of a script element: without the character that could end it.
QByteArray json(const Logbook& book, const Options& options) {
    QJsonArray keys;
    for (const QString& path : options.paths)
        keys.append(printable(path));
    const QJsonObject data{
        {QStringLiteral("keys"), keys},
        {QStringLiteral("zone"), printable(Clock(options.utc).zone())},
        {QStringLiteral("offsets"), clockOffsets(book, options.utc)},
        {QStringLiteral("newest"), instant(book.newestDownload)},
        {QStringLiteral("vehicleDays"), vehicleDownloadDays},
        {QStringLiteral("cardDays"), cardDownloadDays},
        {QStringLiteral("insertionsFound"), static_cast<qint64>(book.insertionsFound)},
        {QStringLiteral("otherEntries"), static_cast<qint64>(book.otherEntries)},
        {QStringLiteral("vehicles"), vehicles(book)},
        {QStringLiteral("drivers"), drivers(book)},
        {QStringLiteral("files"), files(book)},
        {QStringLiteral("failures"), failures(book)},
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
        addRow(rows, {insertion.vehicle, insertion.driver, insertion.slot, insertion.inserted,
                      insertion.withdrawn, insertion.odometerAtInsertion,
                      insertion.odometerAtWithdrawal, insertion.file});
    return rows;
}

QByteArray gapRows(const Logbook& book) {
    QByteArray rows;
    for (const Gap& gap : book.gaps)
        addRow(rows, {gap.vehicle, gap.from, gap.to, gap.toOdometer - gap.fromOdometer});
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
