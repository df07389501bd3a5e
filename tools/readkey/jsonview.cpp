// JSON Lines: an object for each file and each key that failed as a whole, or for each of the
// library's signals. An insertion that several files hold is in the file that it was taken from.
#include "views.h"

#include "scard/scardgeneric.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>

namespace readkey {

namespace {

// Characters that a terminal could act on are escaped.
QByteArray string(const QString& text) {
    if (isPlain(text) && !text.contains(QLatin1Char('"')) && !text.contains(QLatin1Char('\\')))
        return '"' + text.toLatin1() + '"'; // most are, and there may be 100,000
    const QString json =
        QString::fromUtf8(QJsonDocument(QJsonArray{text}).toJson(QJsonDocument::Compact));
    const auto escape = [](uint codePoint) {
        if (!QChar::requiresSurrogates(codePoint))
            return QString::asprintf("\\u%04x", codePoint);
        return QString::asprintf("\\u%04x\\u%04x", unsigned{QChar::highSurrogate(codePoint)},
                                 unsigned{QChar::lowSurrogate(codePoint)});
    };
    return escapeUnsafe(json.mid(1, json.size() - 2), escape).toUtf8();
}

QByteArray stringOrNull(const QString& text) {
    return text.isEmpty() ? QByteArrayLiteral("null") : string(text);
}

QByteArray number(std::optional<qint64> number) {
    return number ? QByteArray::number(*number) : QByteArrayLiteral("null");
}

QByteArray time(std::optional<qint64> seconds) {
    return seconds ? '"' + utcTime(*seconds) + '"' : QByteArrayLiteral("null");
}

QByteArray time(const QDateTime& value) {
    return value.isValid() ? time(value.toSecsSinceEpoch()) : QByteArrayLiteral("null");
}

// The keys in this order, which QJsonObject would sort. The values are JSON already.
using Members = std::initializer_list<std::pair<const char*, QByteArray>>;
QByteArray object(Members members) {
    QByteArray result;
    result.reserve(240); // as much as an insertion takes
    for (const auto& [key, json] : members) {
        result += result.isEmpty() ? "{\"" : ",\"";
        result += key;
        result += "\":";
        result += json;
    }
    return result + '}';
}

template <typename Items, typename ToJson>
QByteArray array(const Items& items, ToJson toJson) {
    QByteArrayList list;
    for (const auto& item : items)
        list += toJson(item);
    return '[' + list.join(',') + ']';
}

QByteArray insertionObject(const Stretch& insertion) {
    return object({{"holder", stringOrNull(insertion.driver->name)},
                   {"slot", QByteArray::number(insertion.slot)},
                   {"inserted", time(insertion.from)},
                   {"odometerAtInsertion", number(insertion.odometerFrom)},
                   {"withdrawn", time(insertion.to)},
                   {"odometerAtWithdrawal", number(insertion.odometerTo)}});
}

QByteArray fileLine(const LogFile& file, const QByteArray& insertions) {
    QByteArray card = QByteArrayLiteral("null");
    QByteArray vehicle = card;
    if (file.status == LogFile::Ok && file.kind == LogFile::Card)
        card = object({{"type", string(cardTypeName(file.cardType))},
                       {"generation", QByteArray::number(file.cardGeneration)},
                       {"cardNumber", stringOrNull(file.cardNumber)},
                       {"holder", stringOrNull(file.holder)}});
    else if (file.status == LogFile::Ok)
        vehicle = object({{"plate", string(file.plate)}, {"insertions", '[' + insertions + ']'}});
    return object({{"file", stringOrNull(file.name)},
                   {"key", string(file.key)},
                   {"kind", stringOrNull(QLatin1String(kindNames[file.kind]))},
                   {"downloaded", time(file.downloaded)},
                   {"status", string(QLatin1String(statusNames[file.status]))},
                   {"reason", stringOrNull(file.reason)},
                   {"copy", stringOrNull(QLatin1String(copyNames[file.copy]))},
                   {"card", card},
                   {"vehicle", vehicle}}) +
           '\n';
}

QByteArray errorObject(const aux::ErrorData& entry) {
    return object({{"component", string(entry.component())},
                   {"text", string(entry.text())},
                   {"code", QByteArray::number(entry.code())}});
}

QByteArray cardObject(const std::shared_ptr<scard::SCardGeneric>& card) {
    return object({{"cardType", QByteArray::number(card->getCardType())},
                   {"generation", QByteArray::number(card->is2ndGeneneration() ? 2 : 1)},
                   {"cardNumber", string(card->cardNumber())},
                   {"holderName", string(card->holderName())}});
}

QByteArray activityObject(const downloadkey::VehicleInfo::_FeDriverActivities& activity) {
    return object({{"holderName", string(activity.holderName)},
                   {"insertionTime", time(activity.insertionTime)},
                   {"odometerAtInsertion", number(kilometres(activity.odometerAtInsertion))},
                   {"slot", QByteArray::number(activity.slot)},
                   {"withdrawalTime", time(activity.withdrawalTime)},
                   {"odometerAtWithdrawal", number(kilometres(activity.odometerAtWithdrawal))}});
}

QByteArray vehicleObject(const std::shared_ptr<downloadkey::VehicleInfo>& vehicle) {
    return object({{"plate", string(vehicle->getPlateString())},
                   {"driverActivities", array(vehicle->getDriverActivities(), activityObject)}});
}

} // namespace

void writeJson(const Logbook& book, const Options& options, QIODevice& out) {
    QHash<const LogFile*, QByteArray> insertions;
    for (const Stretch& insertion : book.stretches) {
        if (!insertion.driver)
            continue;
        QByteArray& list = insertions[insertion.file];
        list += (list.isEmpty() ? "" : ",") + insertionObject(insertion);
    }
    for (const LogFile& file : book.files)
        out.write(fileLine(file, insertions.value(&file)));
    for (const Failure& failure : book.failures) {
        LogFile key;
        key.key = failure.key;
        key.status = LogFile::Failed;
        key.reason = failure.reason;
        if (failure.file.isEmpty() &&
            (failure.key != options.copyTo || options.paths.contains(failure.key)))
            out.write(fileLine(key, {}));
    }
}

void writeSignals(downloadkey::DownloadKey& key, QIODevice& out) {
    using downloadkey::DownloadKey;
    const auto write = [&out](Members members) { out.write(object(members).append('\n')); };
    QObject::connect(&key, &DownloadKey::progress, &key, [write](int percent) {
        write({{"event", R"("progress")"}, {"relative", QByteArray::number(percent)}});
    });
    QObject::connect(&key, &DownloadKey::downloadFile, &key,
                     [write](const QString& path, const QDateTime& timestamp) {
                         write({{"event", R"("downloadFile")"},
                                {"filename", string(path)},
                                {"downloadTimestamp", time(timestamp)}});
                     });
    QObject::connect(&key, &DownloadKey::readDone, &key,
                     [write](const auto& cards, const auto& vehicles, bool parsingError) {
                         write({{"event", R"("readDone")"},
                                {"parsingError", parsingError ? "true" : "false"},
                                {"driverCards", array(cards, cardObject)},
                                {"vehicleInfos", array(vehicles, vehicleObject)}});
                     });
}

void writeReturned(const QString& call, const aux::Error& error, QIODevice& out) {
    const QByteArray errors = array(error.entries(), errorObject);
    out.write(object({{"event", string(call)}, {"errors", errors}}) + '\n');
}

} // namespace readkey
