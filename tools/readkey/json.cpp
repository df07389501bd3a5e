#include "json.h"

#include "clock.h"
#include "text.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>

namespace readkey {

QByteArray jsonString(const QString& text) {
    if (isPlain(text) && !text.contains(QLatin1Char('"')) && !text.contains(QLatin1Char('\\')))
        return '"' + text.toLatin1() + '"'; // most are, and there may be 100,000
    const QJsonArray array{text};
    const QString json = QString::fromUtf8(QJsonDocument(array).toJson(QJsonDocument::Compact));
    const auto escape = [](uint codePoint) {
        if (!QChar::requiresSurrogates(codePoint))
            return QString::asprintf("\\u%04x", codePoint);
        return QString::asprintf("\\u%04x\\u%04x", unsigned{QChar::highSurrogate(codePoint)},
                                 unsigned{QChar::lowSurrogate(codePoint)});
    };
    return escapeUnsafe(json.mid(1, json.size() - 2), escape).toUtf8();
}

QByteArray jsonStringOrNull(const QString& text) {
    return text.isEmpty() ? QByteArrayLiteral("null") : jsonString(text);
}

QByteArray jsonTime(std::optional<qint64> seconds) {
    return seconds ? '"' + utcTime(*seconds) + '"' : QByteArrayLiteral("null");
}

QByteArray jsonObject(JsonMembers members) {
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

} // namespace readkey
