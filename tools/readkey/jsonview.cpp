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
        .add("holder", holders[static_cast<size_t>(insertion.driver)])
        .add("slot", QByteArray::number(insertion.slot))
        .add("inserted", jsonTime(insertion.inserted))
        .add("odometerAtInsertion", jsonNumber(insertion.odometerAtInsertion))
        .add("withdrawn",
             insertion.withdrawn ? jsonTime(*insertion.withdrawn) : QByteArrayLiteral("null"))
        .add("odometerAtWithdrawal", jsonNumber(insertion.odometerAtWithdrawal))
        .json();
}

QByteArray fileJson(const LogFile& file, const QByteArray& insertions) {
    static const char* const kinds[] = {"\"card\"", "\"vehicle\"", "null"};
    static const char* const states[] = {"\"ok\"", "\"failed\"", "\"skipped\""};
    static const char* const copies[] = {"null", "\"copied\"", "\"kept\"", "\"failed\""};
    const bool isOk = file.status == LogFile::Ok;
    JsonObject object;
    object.add("file", jsonString(file.name))
        .add("key", jsonString(file.key))
        .add("kind", kinds[file.kind])
        .add("downloaded", file.downloaded.isValid() ? jsonTime(file.downloaded.toSecsSinceEpoch())
                                                     : QByteArrayLiteral("null"))
        .add("status", states[file.status])
        .add("reason", jsonStringOrNull(file.reason))
        .add("copy", copies[file.copy])
        .add("card",
             isOk && file.kind == LogFile::Card ? cardJson(file) : QByteArrayLiteral("null"))
        .add("vehicle", isOk && file.kind == LogFile::Vehicle
                            ? JsonObject()
                                  .add("plate", jsonString(file.plate))
                                  .add("insertions", '[' + insertions + ']')
                                  .json()
                            : QByteArrayLiteral("null"));
    return object.json() + '\n';
}

} // namespace

void writeJson(const Logbook& book, const Options& /*options*/, QIODevice& out) {
    std::vector<QByteArray> holders;
    for (const DriverSummary& driver : book.drivers)
        holders.push_back(driver.name == QLatin1String("-") ? QByteArrayLiteral("null")
                                                            : jsonString(driver.name));
    std::vector<QByteArray> insertions(book.files.size());
    for (const Insertion& insertion : book.insertions) {
        QByteArray& list = insertions[static_cast<size_t>(insertion.file)];
        list += (list.isEmpty() ? "" : ",") + insertionJson(insertion, holders);
    }
    for (size_t i = 0; i < book.files.size(); ++i)
        out.write(fileJson(book.files[i], insertions[i]));
}

} // namespace readkey
