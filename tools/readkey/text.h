// Text for people and programs. Whoever wrote a key chose its file names and the names inside its
// files, so none of them may reach a terminal unexamined. Pure functions.
#pragma once

#include <QtCore/QString>

#include <optional>

namespace readkey {

// Whether a terminal may act on the character rather than show it: control characters, line and
// paragraph separators, and what changes the direction of writing.
bool isUnsafe(QChar character);

// Whether it is nothing but printable ASCII, as most text is.
bool isPlain(const QString& text);

// The text with each unsafe character shown as "\x1B" or "\u202E". Backslashes are left alone.
QString printable(const QString& text);

// Columns that the text takes on a terminal: none for combining marks, two for wide characters. The
// process's locale has to know them.
int displayWidth(const QString& text);

// "1 file", "2 files".
QString counted(size_t count, const char* noun);

// As the card library numbers the kinds of cards.
bool isDriverCard(int cardType);

// "driver", "workshop", "control", "company" or the number.
QString cardTypeName(int type);

// "-" for what is not known.
QString orDash(const QString& text);

// Empty for a number that is not known.
template <typename Number>
QString numberText(const std::optional<Number>& number) {
    return number ? QString::number(*number) : QString();
}

} // namespace readkey
