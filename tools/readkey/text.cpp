#include "text.h"

#include "downloadkey/downloadkey.h"

#include <algorithm>

#include <cwchar>

namespace readkey {

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

} // namespace readkey
