// JSON with the keys of objects in the order in which they are given.
#pragma once

#include <QtCore/QString>

#include <initializer_list>
#include <optional>
#include <utility>

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

// The values are JSON already.
using JsonMembers = std::initializer_list<std::pair<const char*, QByteArray>>;
QByteArray jsonObject(JsonMembers members);

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
