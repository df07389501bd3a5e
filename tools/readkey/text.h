// Text for people and programs. Whoever wrote a key chose its file names and the names inside its
// files, so none of them may reach a terminal unexamined. Pure functions.
#pragma once

#include <QtCore/QString>

namespace readkey {

// Whether it is nothing but printable ASCII, as most text is.
bool isPlain(const QString& text);

// The text with each unsafe character replaced by what `escape` returns for it. Unsafe are the
// Unicode categories control, format, line separator and paragraph separator: a terminal may obey
// such a character, and two names may differ by nothing else.
QString escapeUnsafe(const QString& text, QString (*escape)(uint codePoint));

// The text with each unsafe character shown as "\x1B", "\u202E" or "\U000E0001".
// Backslashes are left alone.
QString printable(const QString& text);

// Columns that the text takes on a terminal: none for combining marks, two for wide characters. The
// process's locale has to know them.
int displayWidth(const QString& text);

// "1 file", "2 files".
QString counted(size_t count, const char* noun);

// "-" for what is not known.
QString orDash(const QString& text);

} // namespace readkey
