// JSON with the keys of objects in the order in which they were added.
#pragma once

#include <QtCore/QString>

#include <optional>

namespace readkey {

// A JSON string; what a terminal could act on is escaped.
QByteArray jsonString(const QString& text);

// "null" for an empty text.
QByteArray jsonStringOrNull(const QString& text);

// Seconds since 1970 as a JSON string, "2024-03-15T08:30:00Z", or "null".
QByteArray jsonTime(std::optional<qint64> seconds);

template <typename Number>
QByteArray jsonNumber(const std::optional<Number>& number) {
    return number ? QByteArray::number(*number) : QByteArrayLiteral("null");
}

class JsonObject {
public:
    JsonObject() { m_members.reserve(240); } // as much as an insertion takes

    JsonObject& add(const char* key, const QByteArray& json) {
        m_members += m_members.isEmpty() ? "\"" : ",\"";
        m_members += key;
        m_members += "\":";
        m_members += json;
        return *this;
    }
    QByteArray json() const { return '{' + m_members + '}'; }

private:
    QByteArray m_members;
};

template <typename Items, typename ToJson>
QByteArray jsonArray(const Items& items, ToJson toJson) {
    QByteArray result;
    for (const auto& item : items) {
        if (!result.isEmpty())
            result += ',';
        result += toJson(item);
    }
    return '[' + result + ']';
}

} // namespace readkey
