#include "text.h"

#include "downloadkey/downloadkey.h"

#include <QtCore/QDate>
#include <QtCore/QTimeZone>

#include <algorithm>
#include <ctime>

#include <cwchar>

namespace readkey {

namespace {

std::tm partsOf(qint64 seconds, bool utc) {
    const auto time = static_cast<std::time_t>(seconds);
    std::tm result{};
    if (utc)
        ::gmtime_r(&time, &result);
    else
        ::localtime_r(&time, &result);
    return result;
}

// Puts two digits for each letter of the form, four for 'y': year, Month, day, hour, minute,
// second. strftime() takes several times as long.
QByteArray timeText(const std::tm& time, QByteArray form) {
    const auto valueOf = [&time](char letter) {
        return letter == 'y'   ? time.tm_year + 1900
               : letter == 'M' ? time.tm_mon + 1
               : letter == 'd' ? time.tm_mday
               : letter == 'h' ? time.tm_hour
               : letter == 'm' ? time.tm_min
               : letter == 's' ? time.tm_sec
                               : -1;
    };
    for (int i = 0; i < form.size(); ++i) {
        int value = valueOf(form.at(i));
        for (int place = i + (form.at(i) == 'y' ? 3 : 1); value >= 0 && place >= i; --place) {
            form[place] = static_cast<char>('0' + value % 10);
            value /= 10;
        }
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
    return cardType == static_cast<int>(downloadkey::CardType::DriverCard);
}

QString cardTypeName(int type) {
    static const char* const names[] = {"driver", "workshop", "control", "company"};
    return type >= 1 && type <= 4 ? QString::fromLatin1(names[type - 1]) : QString::number(type);
}

QByteArray utcTime(qint64 seconds) {
    return timeText(partsOf(seconds, true), "yyyy-MM-ddThh:mm:ssZ");
}

QString Clock::zone() const {
    if (m_utc)
        return QStringLiteral("UTC");
    const QByteArray id = QTimeZone::systemTimeZoneId();
    return QStringLiteral("local: ") +
           (id.isEmpty() ? QStringLiteral("an unnamed zone") : printable(QString::fromUtf8(id)));
}

QString Clock::minute(qint64 seconds) const {
    return QString::fromLatin1(timeText(partsOf(seconds, m_utc), "yyyy-MM-dd hh:mm"));
}

QString Clock::end(qint64 from, qint64 seconds) const {
    const std::tm first = partsOf(from, m_utc);
    const std::tm last = partsOf(seconds, m_utc);
    QString text = QString::fromLatin1(timeText(last, "hh:mm"));
    if (first.tm_yday == last.tm_yday && first.tm_year == last.tm_year)
        return text;
    const auto date = [](const std::tm& time) {
        return QDate(time.tm_year + 1900, time.tm_mon + 1, time.tm_mday);
    };
    return text +
           QString::asprintf(" %+lldd", static_cast<long long>(date(first).daysTo(date(last))));
}

} // namespace readkey
