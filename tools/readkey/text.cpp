#include "text.h"

#include "downloadkey/downloadkey.h"

#include <QtCore/QDate>
#include <QtCore/QTimeZone>

#include <algorithm>
#include <ctime>

#include <cwchar>

namespace readkey {

namespace {

// Puts the time into a form such as "0000-00-00T00:00:00Z" or its beginning. strftime() takes
// several times as long.
QByteArray timeText(qint64 seconds, bool utc, QByteArray form) {
    const auto time = static_cast<std::time_t>(seconds);
    std::tm parts{};
    if (utc)
        ::gmtime_r(&time, &parts);
    else
        ::localtime_r(&time, &parts);
    // Each number, and where its last digit stands.
    const std::pair<int, int> numbers[] = {{parts.tm_year + 1900, 3}, {parts.tm_mon + 1, 6},
                                           {parts.tm_mday, 9},        {parts.tm_hour, 12},
                                           {parts.tm_min, 15},        {parts.tm_sec, 18}};
    for (auto [number, place] : numbers) {
        for (; number > 0 && place < form.size(); number /= 10)
            form[place--] = static_cast<char>('0' + number % 10);
    }
    return form;
}

} // namespace

bool isUnsafe(QChar character) {
    const ushort u = character.unicode();
    return u < 0x20 || (u >= 0x7F && u <= 0x9F) || u == 0x061C || u == 0x200E || u == 0x200F ||
           (u >= 0x2028 && u <= 0x202E) || (u >= 0x2066 && u <= 0x2069);
}

bool isPlain(const QString& text) {
    return std::all_of(text.begin(), text.end(), [](QChar character) {
        return character.unicode() >= 0x20 && character.unicode() < 0x7F;
    });
}

QString printable(const QString& text) {
    if (isPlain(text))
        return text;
    QString result;
    result.reserve(text.size());
    for (const QChar character : text) {
        const ushort u = character.unicode();
        if (!isUnsafe(character))
            result += character;
        else if (u < 0x100)
            result += QString::asprintf("\\x%02X", unsigned{u});
        else
            result += QString::asprintf("\\u%04X", unsigned{u});
    }
    return result;
}

int displayWidth(const QString& text) {
    if (isPlain(text))
        return text.size();
    int width = 0;
    for (const uint codePoint : text.toUcs4())
        width += std::max(::wcwidth(static_cast<wchar_t>(codePoint)), 0);
    return width;
}

QString counted(size_t count, const char* noun) {
    return QString::number(count) + QLatin1Char(' ') + QLatin1String(noun) +
           QLatin1String(count == 1 ? "" : "s");
}

bool isDriverCard(int cardType) {
    return cardType == static_cast<int>(downloadkey::DownloadKey::CardType::DriverCard);
}

QString cardTypeName(int type) {
    static const char* const names[] = {"driver", "workshop", "control", "company"};
    return type >= 1 && type <= 4 ? QString::fromLatin1(names[type - 1]) : QString::number(type);
}

QString orDash(const QString& text) {
    return text.isEmpty() ? QStringLiteral("-") : text;
}

QByteArray utcTime(qint64 seconds) {
    return timeText(seconds, true, "0000-00-00T00:00:00Z");
}

QString Clock::zone() const {
    if (utc)
        return QStringLiteral("UTC");
    const QByteArray id = QTimeZone::systemTimeZoneId();
    return QStringLiteral("local: ") +
           (id.isEmpty() ? QStringLiteral("an unnamed zone") : printable(QString::fromUtf8(id)));
}

QString Clock::minute(std::optional<qint64> seconds) const {
    return QString::fromLatin1(seconds ? timeText(*seconds, utc, "0000-00-00 00:00") : "-");
}

QString Clock::end(qint64 from, std::optional<qint64> seconds) const {
    const QString first = minute(from);
    const QString last = minute(seconds);
    if (!seconds || first.leftRef(10) == last.leftRef(10))
        return last.right(5);
    const auto date = [](const QString& time) {
        return QDate::fromString(time.left(10), Qt::ISODate);
    };
    return last.right(5) +
           QString::asprintf(" %+lldd", static_cast<long long>(date(first).daysTo(date(last))));
}

} // namespace readkey
