#include "events.h"

#include "json.h"

#include "scard/scardgeneric.h"

namespace readkey {

namespace {

QByteArray boolean(bool value) {
    return value ? QByteArrayLiteral("true") : QByteArrayLiteral("false");
}

QByteArray time(const QDateTime& value) {
    return value.isValid() ? jsonTime(value.toSecsSinceEpoch()) : QByteArrayLiteral("null");
}

QByteArray kilometres(quint32 value) {
    return value == downloadkey::noOdometerValue ? QByteArrayLiteral("null")
                                                 : QByteArray::number(value);
}

QByteArray event(const char* name, const JsonObject& members) {
    return JsonObject().add("event", '"' + QByteArray(name) + '"').addAll(members).json() + '\n';
}

QByteArray errorEntries(const aux::Error& error) {
    return jsonArray(error.entries(), [](const aux::ErrorData& entry) {
        return JsonObject()
            .add("component", jsonString(entry.component()))
            .add("text", jsonString(entry.text()))
            .add("code", QByteArray::number(entry.code()))
            .json();
    });
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

void EventWriter::openReturned(const aux::Error& error) {
    m_out.write(event("open", JsonObject().add("errors", errorEntries(error))));
}

void EventWriter::progress(int percent) {
    m_out.write(event("progress", JsonObject().add("relative", QByteArray::number(percent))));
}

void EventWriter::downloadFile(const QString& filename, const QDateTime& timestamp) {
    m_out.write(event("downloadFile", JsonObject()
                                          .add("filename", jsonString(filename))
                                          .add("downloadTimestamp", time(timestamp))));
}

void EventWriter::readDone(const std::vector<std::shared_ptr<scard::SCardGeneric>>& cards,
                           const std::vector<std::shared_ptr<downloadkey::VehicleInfo>>& vehicles,
                           bool parsingError) {
    m_out.write(event("readDone", JsonObject()
                                      .add("parsingError", boolean(parsingError))
                                      .add("driverCards", jsonArray(cards, cardJson))
                                      .add("vehicleInfos", jsonArray(vehicles, vehicleJson))));
}

void EventWriter::readReturned(const aux::Error& error) {
    m_out.write(event("read", JsonObject().add("errors", errorEntries(error))));
}

} // namespace readkey
