#include "text.h"

#include <QtCore/QVector>

#include <algorithm>

#include <cwchar>

namespace readkey {

namespace {

// Whether the character is not shown but does something, or is half of one.
bool isUnsafe(uint codePoint) {
    const QChar::Category category = QChar::category(codePoint);
    return category >= QChar::Separator_Line && category <= QChar::Other_Surrogate;
}

} // namespace

bool isPlain(const QString& text) {
    return std::all_of(text.begin(), text.end(), [](QChar character) {
        return character.unicode() >= 0x20 && character.unicode() < 0x7F;
    });
}

QString escapeUnsafe(const QString& text, QString (*escape)(uint codePoint)) {
    const ushort* const units = text.utf16();
    if (std::none_of(units, units + text.size(), isUnsafe)) // as most are
        return text;
    QString result;
    for (const uint codePoint : text.toUcs4())
        result += isUnsafe(codePoint) ? escape(codePoint) : QString::fromUcs4(&codePoint, 1);
    return result;
}

QString printable(const QString& text) {
    return escapeUnsafe(text, [](uint codePoint) {
        const char* const form = codePoint < 0x100     ? "\\x%02X"
                                 : codePoint < 0x10000 ? "\\u%04X"
                                                       : "\\U%08X";
        return QString::asprintf(form, codePoint);
    });
}

int displayWidth(const QString& text) {
    if (isPlain(text))
        return text.size();
    int width = 0;
    for (const uint codePoint : text.toUcs4())
        width += std::max(::wcwidth(static_cast<wchar_t>(codePoint)), 0);
    return width;
}

QString counted(qint64 count, const char* noun) {
    return QString::number(count) + QLatin1Char(' ') + QLatin1String(noun) +
           QLatin1String(count == 1 ? "" : "s");
}

QString orDash(const QString& text) {
    return text.isEmpty() ? QStringLiteral("-") : text;
}

} // namespace readkey
