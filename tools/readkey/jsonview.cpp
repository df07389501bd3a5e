// JSON Lines, one object for each file. An insertion that several files hold stands in the object
// of the file that it was taken from.
#include "json.h"
#include "text.h"
#include "views.h"

namespace readkey {

namespace {

QByteArray cardJson(const LogFile& file) {
    return JsonObject()
        .add("type", jsonString(cardTypeName(file.cardType)))
        .add("generation", QByteArray::number(file.cardGeneration))
        .add("cardNumber", jsonStringOrNull(file.cardNumber))
        .add("holder", jsonStringOrNull(file.holder))
        .json();
}

QByteArray insertionJson(const Insertion& insertion, const std::vector<QByteArray>& holders) {
    return JsonObject()
        .add("holder", holders[insertion.driver])
        .add("slot", QByteArray::number(insertion.slot))
        .add("inserted", jsonTime(insertion.inserted))
        .add("odometerAtInsertion", jsonNumber(insertion.odometerAtInsertion))
        .add("withdrawn", jsonTime(insertion.withdrawn))
        .add("odometerAtWithdrawal", jsonNumber(insertion.odometerAtWithdrawal))
        .json();
}

QByteArray fileJson(const LogFile& file, const QByteArray& insertions) {
    QByteArray card = QByteArrayLiteral("null");
    QByteArray vehicle = card;
    if (file.status == LogFile::Ok && file.kind == LogFile::Card)
        card = cardJson(file);
    else if (file.status == LogFile::Ok)
        vehicle = JsonObject()
                      .add("plate", jsonString(file.plate))
                      .add("insertions", '[' + insertions + ']')
                      .json();
    return JsonObject()
        .add("file", jsonString(file.name))
        .add("key", jsonString(file.key))
        .add("kind", jsonStringOrNull(QLatin1String(kindNames[file.kind])))
        .add("downloaded", jsonTime(file.downloaded))
        .add("status", jsonString(QLatin1String(statusNames[file.status])))
        .add("reason", jsonStringOrNull(file.reason))
        .add("copy", jsonStringOrNull(QLatin1String(copyNames[file.copy])))
        .add("card", card)
        .add("vehicle", vehicle)
        .json();
}

} // namespace

void writeJson(const Logbook& book, const Options& /*options*/, QIODevice& out) {
    std::vector<QByteArray> holders;
    for (const DriverSummary& driver : book.drivers)
        holders.push_back(jsonStringOrNull(driver.name));
    std::vector<QByteArray> insertions(book.files.size());
    for (const Insertion& insertion : book.insertions) {
        QByteArray& list = insertions[insertion.file];
        list += (list.isEmpty() ? "" : ",") + insertionJson(insertion, holders);
    }
    for (size_t i = 0; i < book.files.size(); ++i)
        out.write(fileJson(book.files[i], insertions[i]) + '\n');
}

} // namespace readkey
