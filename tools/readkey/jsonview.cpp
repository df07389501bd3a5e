// JSON Lines, one object for each file, and one for each failure of a key as a whole. An insertion
// that several files hold stands in the object of the file that it was taken from.
#include "json.h"
#include "text.h"
#include "views.h"

namespace readkey {

namespace {

QByteArray cardJson(const LogFile& file) {
    return jsonObject({{"type", jsonString(cardTypeName(file.cardType))},
                       {"generation", QByteArray::number(file.cardGeneration)},
                       {"cardNumber", jsonStringOrNull(file.cardNumber)},
                       {"holder", jsonStringOrNull(file.holder)}});
}

QByteArray insertionJson(const Insertion& insertion, const std::vector<QByteArray>& holders) {
    return jsonObject({{"holder", holders[insertion.driver->index]},
                       {"slot", QByteArray::number(insertion.slot)},
                       {"inserted", jsonTime(insertion.from)},
                       {"odometerAtInsertion", jsonNumber(insertion.odometerFrom)},
                       {"withdrawn", jsonTime(insertion.to)},
                       {"odometerAtWithdrawal", jsonNumber(insertion.odometerTo)}});
}

QByteArray fileJson(const LogFile& file, const QByteArray& insertions) {
    QByteArray card = QByteArrayLiteral("null");
    QByteArray vehicle = card;
    if (file.status == LogFile::Ok && file.kind == LogFile::Card)
        card = cardJson(file);
    else if (file.status == LogFile::Ok)
        vehicle =
            jsonObject({{"plate", jsonString(file.plate)}, {"insertions", '[' + insertions + ']'}});
    return jsonObject({{"file", jsonStringOrNull(file.name)},
                       {"key", jsonString(file.key)},
                       {"kind", jsonStringOrNull(QLatin1String(kindNames[file.kind]))},
                       {"downloaded", jsonTime(file.downloaded)},
                       {"status", jsonString(QLatin1String(statusNames[file.status]))},
                       {"reason", jsonStringOrNull(file.reason)},
                       {"copy", jsonStringOrNull(QLatin1String(copyNames[file.copy]))},
                       {"card", card},
                       {"vehicle", vehicle}});
}

} // namespace

void writeJson(const Logbook& book, const Options& options, QIODevice& out) {
    std::vector<QByteArray> holders;
    for (const DriverSummary& driver : book.drivers)
        holders.push_back(jsonStringOrNull(driver.name));
    std::vector<QByteArray> insertions(book.files.size());
    for (const Insertion& insertion : book.insertions) {
        QByteArray& list = insertions[insertion.file->index];
        list += (list.isEmpty() ? "" : ",") + insertionJson(insertion, holders);
    }
    for (const LogFile& file : book.files)
        out.write(fileJson(file, insertions[file.index]) + '\n');
    for (const Failure& failure : book.failures) {
        LogFile key;
        key.key = failure.key;
        key.status = LogFile::Failed;
        key.reason = failure.reason;
        if (failure.file.isEmpty() && failure.key != options.copyTo)
            out.write(fileJson(key, {}) + '\n');
    }
}

} // namespace readkey
