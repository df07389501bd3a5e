#include "events.h"

#include "json.h"
#include "logbook.h"

#include "scard/scardgeneric.h"

namespace readkey {

namespace {

QByteArray time(const QDateTime& value) {
    return jsonTime(value.isValid() ? std::make_optional(value.toSecsSinceEpoch()) : std::nullopt);
}

QByteArray errorJson(const aux::ErrorData& entry) {
    return jsonObject({{"component", jsonString(entry.component())},
                       {"text", jsonString(entry.text())},
                       {"code", QByteArray::number(entry.code())}});
}

QByteArray cardJson(const std::shared_ptr<scard::SCardGeneric>& card) {
    return jsonObject({{"cardType", QByteArray::number(card->getCardType())},
                       {"generation", QByteArray::number(card->is2ndGeneneration() ? 2 : 1)},
                       {"cardNumber", jsonString(card->cardNumber())},
                       {"holderName", jsonString(card->holderName())}});
}

QByteArray activityJson(const downloadkey::VehicleInfo::_FeDriverActivities& activity) {
    return jsonObject(
        {{"holderName", jsonString(activity.holderName)},
         {"insertionTime", time(activity.insertionTime)},
         {"odometerAtInsertion", jsonNumber(kilometres(activity.odometerAtInsertion))},
         {"slot", QByteArray::number(activity.slot)},
         {"withdrawalTime", time(activity.withdrawalTime)},
         {"odometerAtWithdrawal", jsonNumber(kilometres(activity.odometerAtWithdrawal))}});
}

QByteArray vehicleJson(const std::shared_ptr<downloadkey::VehicleInfo>& vehicle) {
    return jsonObject(
        {{"plate", jsonString(vehicle->getPlateString())},
         {"driverActivities", jsonArray(vehicle->getDriverActivities(), activityJson)}});
}

} // namespace

void writeSignals(downloadkey::DownloadKey& key, QIODevice& out) {
    using downloadkey::DownloadKey;
    const auto write = [&out](JsonMembers members) { out.write(jsonObject(members) + '\n'); };
    QObject::connect(&key, &DownloadKey::progress, &key, [write](int percent) {
        write({{"event", R"("progress")"}, {"relative", QByteArray::number(percent)}});
    });
    QObject::connect(&key, &DownloadKey::downloadFile, &key,
                     [write](const QString& path, const QDateTime& timestamp) {
                         write({{"event", R"("downloadFile")"},
                                {"filename", jsonString(path)},
                                {"downloadTimestamp", time(timestamp)}});
                     });
    QObject::connect(&key, &DownloadKey::readDone, &key,
                     [write](const auto& cards, const auto& vehicles, bool parsingError) {
                         write({{"event", R"("readDone")"},
                                {"parsingError", parsingError ? "true" : "false"},
                                {"driverCards", jsonArray(cards, cardJson)},
                                {"vehicleInfos", jsonArray(vehicles, vehicleJson)}});
                     });
}

void writeReturned(const QString& call, const aux::Error& error, QIODevice& out) {
    const QByteArray errors = jsonArray(error.entries(), errorJson);
    out.write(jsonObject({{"event", jsonString(call)}, {"errors", errors}}) + '\n');
}

} // namespace readkey
