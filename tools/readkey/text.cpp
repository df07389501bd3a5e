#include "text.h"

#include "downloadkey/downloadkey.h"

#include <QtCore/QDate>
#include <QtCore/QTimeZone>

#include <algorithm>
#include <ctime>

namespace readkey {

namespace {

bool isWide(uint codePoint) {
    struct Range {
        uint first;
        uint last;
    };
    static constexpr Range ranges[] = {
        {0x1100, 0x115F},   {0x2E80, 0x303E},   {0x3041, 0xA4CF},   {0xAC00, 0xD7A3},
        {0xF900, 0xFAFF},   {0xFE30, 0xFE6F},   {0xFF01, 0xFF60},   {0xFFE0, 0xFFE6},
        {0x1F300, 0x1F64F}, {0x1F900, 0x1F9FF}, {0x20000, 0x3FFFD},
    };
    return std::any_of(std::begin(ranges), std::end(ranges), [codePoint](const Range& range) {
        return codePoint >= range.first && codePoint <= range.last;
    });
}

bool isZeroWidth(uint codePoint) {
    switch (QChar::category(codePoint)) {
    case QChar::Mark_NonSpacing:
    case QChar::Mark_Enclosing:
    case QChar::Other_Format:
        return true;
    default:
        return false;
    }
}

// Printable ASCII, as most text is.
bool isPlain(const QString& text) {
    return std::all_of(text.begin(), text.end(), [](QChar character) {
        return character.unicode() >= 0x20 && character.unicode() < 0x7F;
    });
}

std::tm partsOf(qint64 seconds, bool utc) {
    const auto time = static_cast<std::time_t>(seconds);
    std::tm result{};
    if (utc)
        ::gmtime_r(&time, &result);
    else
        ::localtime_r(&time, &result);
    return result;
}

// Each run of 'y', 'm', 'd', 'h' and 's' in the form becomes the digits of what it stands for; "mm"
// behind a colon are minutes. strftime() takes several times as long.
QByteArray timeText(const std::tm& time, QByteArray form) {
    char* digits = form.data();
    const auto fill = [digits](int place, int count, int value) {
        for (; count > 0; value /= 10)
            digits[place + --count] = static_cast<char>('0' + value % 10);
    };
    for (int i = 0; i < form.size(); ++i) {
        switch (digits[i]) {
        case 'y':
            fill(i, 4, time.tm_year + 1900);
            break;
        case 'm':
            fill(i, 2, i > 0 && digits[i - 1] == ':' ? time.tm_min : time.tm_mon + 1);
            break;
        case 'd':
            fill(i, 2, time.tm_mday);
            break;
        case 'h':
            fill(i, 2, time.tm_hour);
            break;
        case 's':
            fill(i, 2, time.tm_sec);
            break;
        default:
            break;
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

QString validUtf16(const QString& text) {
    QString result = text;
    for (int i = 0; i < result.size(); ++i) {
        if (!result.at(i).isSurrogate())
            continue;
        if (result.at(i).isHighSurrogate() && i + 1 < result.size() &&
            result.at(i + 1).isLowSurrogate())
            ++i;
        else
            result[i] = QChar(QChar::ReplacementCharacter);
    }
    return result;
}

QString printable(const QString& text) {
    if (isPlain(text))
        return text;
    QString result;
    result.reserve(text.size());
    for (const QChar character : validUtf16(text)) {
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
        width += isZeroWidth(codePoint) ? 0 : isWide(codePoint) ? 2 : 1;
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
    return timeText(partsOf(seconds, true), "yyyy-mm-ddThh:mm:ssZ");
}

QString Clock::zone() const {
    if (m_utc)
        return QStringLiteral("UTC");
    const QByteArray id = QTimeZone::systemTimeZoneId();
    return QStringLiteral("local: ") +
           (id.isEmpty() ? QStringLiteral("an unnamed zone") : printable(QString::fromUtf8(id)));
}

QString Clock::minute(qint64 seconds) const {
    return QString::fromLatin1(timeText(partsOf(seconds, m_utc), "yyyy-mm-dd hh:mm"));
}

QString Clock::end(qint64 from, qint64 seconds) const {
    const std::tm first = partsOf(from, m_utc);
    const std::tm last = partsOf(seconds, m_utc);
    const QString text = QString::fromLatin1(timeText(last, "hh:mm"));
    if (first.tm_yday == last.tm_yday && first.tm_year == last.tm_year)
        return text;
    const auto date = [](const std::tm& time) {
        return QDate(time.tm_year + 1900, time.tm_mon + 1, time.tm_mday);
    };
    return text +
           QString::asprintf(" %+lldd", static_cast<long long>(date(first).daysTo(date(last))));
}

} // namespace readkey
