#include "events.h"

#include "json.h"

#include "scard/scardgeneric.h"

namespace readkey {

namespace {

QByteArray time(const QDateTime& value) {
    return jsonTime(value.isValid() ? std::make_optional(value.toSecsSinceEpoch()) : std::nullopt);
}

QByteArray kilometres(quint32 value) {
    return value == downloadkey::noOdometerValue ? QByteArrayLiteral("null")
                                                 : QByteArray::number(value);
}

JsonObject event(const char* name) {
    return JsonObject().add("event", '"' + QByteArray(name) + '"');
}

QByteArray errorJson(const aux::ErrorData& entry) {
    return JsonObject()
        .add("component", jsonString(entry.component()))
        .add("text", jsonString(entry.text()))
        .add("code", QByteArray::number(entry.code()))
        .json();
}

QByteArray cardJson(const std::shared_ptr<scard::SCardGeneric>& card) {
    return JsonObject()
        .add("cardType", QByteArray::number(card->getCardType()))
        .add("generation", QByteArray::number(card->is2ndGeneneration() ? 2 : 1))
        .add("cardNumber", jsonString(card->cardNumber()))
        .add("holderName", jsonString(card->holderName()))
        .json();
}

QByteArray activityJson(const downloadkey::VehicleInfo::_FeDriverActivities& activity) {
    return JsonObject()
        .add("holderName", jsonString(activity.holderName))
        .add("insertionTime", time(activity.insertionTime))
        .add("odometerAtInsertion", kilometres(activity.odometerAtInsertion))
        .add("slot", QByteArray::number(activity.slot))
        .add("withdrawalTime", time(activity.withdrawalTime))
        .add("odometerAtWithdrawal", kilometres(activity.odometerAtWithdrawal))
        .json();
}

QByteArray vehicleJson(const std::shared_ptr<downloadkey::VehicleInfo>& vehicle) {
    return JsonObject()
        .add("plate", jsonString(vehicle->getPlateString()))
        .add("driverActivities", jsonArray(vehicle->getDriverActivities(), activityJson))
        .json();
}

} // namespace

void writeSignals(downloadkey::DownloadKey& key, QIODevice& out) {
    using downloadkey::DownloadKey;
    const auto write = [&out](const JsonObject& object) { out.write(object.json() + '\n'); };
    QObject::connect(&key, &DownloadKey::progress, &key, [write](int percent) {
        write(event("progress").add("relative", QByteArray::number(percent)));
    });
    QObject::connect(&key, &DownloadKey::downloadFile, &key,
                     [write](const QString& path, const QDateTime& timestamp) {
                         write(event("downloadFile")
                                   .add("filename", jsonString(path))
                                   .add("downloadTimestamp", time(timestamp)));
                     });
    QObject::connect(&key, &DownloadKey::readDone, &key,
                     [write](const auto& cards, const auto& vehicles, bool parsingError) {
                         write(event("readDone")
                                   .add("parsingError", parsingError ? "true" : "false")
                                   .add("driverCards", jsonArray(cards, cardJson))
                                   .add("vehicleInfos", jsonArray(vehicles, vehicleJson)));
                     });
}

void writeReturned(const char* call, const aux::Error& error, QIODevice& out) {
    out.write(event(call).add("errors", jsonArray(error.entries(), errorJson)).json() + '\n');
}

} // namespace readkey
