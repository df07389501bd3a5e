#include "jsonoutput.h"

#include "console.h"
#include "text.h"

#include "scard/scardgeneric.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>

namespace readkey {

namespace {

// A JSON string. Qt's own writer escapes what JSON demands; what a terminal could act on is escaped
// too.
QByteArray string(const QString& text) {
    const QJsonArray array{validUtf16(text)};
    const QString json = QString::fromUtf8(QJsonDocument(array).toJson(QJsonDocument::Compact));
    QString result;
    for (const QChar character : json.mid(1, json.size() - 2)) {
        if (isUnsafe(character))
            result += QString::asprintf("\\u%04x", unsigned{character.unicode()});
        else
            result += character;
    }
    return result.toUtf8();
}

QByteArray number(qint64 value) {
    return QByteArray::number(value);
}

QByteArray boolean(bool value) {
    return value ? QByteArrayLiteral("true") : QByteArrayLiteral("false");
}

QByteArray time(const QDateTime& value) {
    const QString text = utcTime(value);
    return text.isEmpty() ? QByteArrayLiteral("null") : string(text);
}

QByteArray kilometres(quint32 value) {
    return odometer(value, QStringLiteral("null")).toLatin1();
}

// An object that keeps its keys in the order in which they were added.
class Object {
public:
    Object& add(const char* key, const QByteArray& json) {
        if (!m_members.isEmpty())
            m_members += ',';
        m_members += QByteArray(1, '"') + key + "\":" + json;
        return *this;
    }
    QByteArray json() const { return '{' + m_members + '}'; }

private:
    QByteArray m_members;
};

template <typename Items, typename ToJson>
QByteArray array(const Items& items, ToJson toJson) {
    QByteArray result;
    for (const auto& item : items) {
        if (!result.isEmpty())
            result += ',';
        result += toJson(item);
    }
    return '[' + result + ']';
}

Object event(const QString& name) {
    Object result;
    result.add("event", string(name));
    return result;
}

QByteArray errorEntries(const aux::Error& error) {
    return array(error.entries(), [](const aux::ErrorData& entry) {
        return Object()
            .add("component", string(entry.component()))
            .add("text", string(entry.text()))
            .add("code", number(entry.code()))
            .json();
    });
}

QByteArray cardJson(const std::shared_ptr<scard::SCardGeneric>& card) {
    return Object()
        .add("cardType", number(card->getCardType()))
        .add("generation", number(card->is2ndGeneneration() ? 2 : 1))
        .add("cardNumber", string(card->cardNumber()))
        .add("holderName", string(card->holderName()))
        .json();
}

QByteArray activityJson(const downloadkey::VehicleInfo::_FeDriverActivities& activity) {
    return Object()
        .add("holderName", string(activity.holderName))
        .add("insertionTime", time(activity.insertionTime))
        .add("odometerAtInsertion", kilometres(activity.odometerAtInsertion))
        .add("slot", number(activity.slot))
        .add("withdrawalTime", time(activity.withdrawalTime))
        .add("odometerAtWithdrawal", kilometres(activity.odometerAtWithdrawal))
        .json();
}

QByteArray vehicleJson(const std::shared_ptr<downloadkey::VehicleInfo>& vehicle) {
    return Object()
        .add("plate", string(vehicle->getPlateString()))
        .add("driverActivities", array(vehicle->getDriverActivities(), activityJson))
        .json();
}

} // namespace

void JsonOutput::openReturned(const aux::Error& error) {
    out().write(event(QStringLiteral("open")).add("errors", errorEntries(error)).json() + '\n');
}

void JsonOutput::progress(int percent) {
    out().write(event(QStringLiteral("progress")).add("relative", number(percent)).json() + '\n');
}

void JsonOutput::downloadFile(const QString& filename, const QDateTime& timestamp) {
    out().write(event(QStringLiteral("downloadFile"))
                    .add("filename", string(filename))
                    .add("downloadTimestamp", time(timestamp))
                    .json() +
                '\n');
}

void JsonOutput::readDone(const DriverCards& cards, const VehicleInfos& vehicles,
                          bool parsingError) {
    out().write(event(QStringLiteral("readDone"))
                    .add("parsingError", boolean(parsingError))
                    .add("driverCards", array(cards, cardJson))
                    .add("vehicleInfos", array(vehicles, vehicleJson))
                    .json() +
                '\n');
}

void JsonOutput::readReturned(const aux::Error& error) {
    out().write(event(QStringLiteral("read")).add("errors", errorEntries(error)).json() + '\n');
}

} // namespace readkey
