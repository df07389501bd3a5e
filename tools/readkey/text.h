// Text for people and programs. Whoever wrote a key chose the names on it and in its files, so none
// of them may reach a terminal unchecked.
#pragma once

#include <QtCore/QString>

namespace readkey {

// Whether all of it is printable ASCII, as most text is.
bool isPlain(const QString& text);

// The text with each unsafe character replaced by what `escape` returns for it. Unsafe are
// Unicode's controls, formats, and line and paragraph separators: a terminal may obey them, and two
// names may differ in nothing else.
QString escapeUnsafe(const QString& text, QString (*escape)(uint codePoint));

// Each unsafe character becomes "\x1B", "\u202E" or "\U000E0001". Backslashes stay as they are.
QString printable(const QString& text);

// The text's columns on a terminal: none for combining marks, two for wide characters, as the
// process's locale has them.
int displayWidth(const QString& text);

// "1 file", "2 files".
QString counted(qint64 count, const char* noun);

// "-" for an empty text.
QString orDash(const QString& text);

} // namespace readkey
