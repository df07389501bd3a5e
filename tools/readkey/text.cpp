#include "text.h"

#include <QtCore/QVector>

#include <algorithm>

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
    int width = 0;
    for (const uint codePoint : text.toUcs4())
        width += isZeroWidth(codePoint) ? 0 : isWide(codePoint) ? 2 : 1;
    return width;
}

QString localTime(const QDateTime& time) {
    if (!time.isValid() || isOpenEnd(time))
        return QStringLiteral("-");
    return time.toLocalTime().toString(QStringLiteral("yyyy-MM-dd HH:mm"));
}

QString utcTime(const QDateTime& time) {
    return time.isValid() ? time.toUTC().toString(Qt::ISODate) : QString();
}

bool isOpenEnd(const QDateTime& time) {
    return time.isValid() && time.toSecsSinceEpoch() == qint64{0xFFFFFFFF};
}

QString odometer(quint32 value, const QString& none) {
    return value == NoOdometer ? none : QString::number(value);
}

} // namespace readkey
