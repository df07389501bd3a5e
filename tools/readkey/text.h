// Text that comes from a key, made fit for people and terminals. Whoever wrote the key chose its
// file names and the names inside its files, so none of them may reach a terminal unexamined. Pure
// functions.
#pragma once

#include <QtCore/QDateTime>
#include <QtCore/QString>

namespace readkey {

// An odometer field without a value.
constexpr quint32 NoOdometer = 0xFFFFFFFF;

// Whether a terminal may act on the character rather than show it: control characters, line and
// paragraph separators, and what changes the direction of writing.
bool isUnsafe(QChar character);

// The text with halves of surrogate pairs replaced by U+FFFD, so that it has a valid UTF-8 form.
QString validUtf16(const QString& text);

// The text with each unsafe character shown as "\x1B" or "\u202E". Backslashes are left alone.
QString printable(const QString& text);

// Columns that the text takes on a terminal: none for combining marks, two for wide characters.
int displayWidth(const QString& text);

// "2024-03-15 09:30" in local time; "-" where there is no time, and for the time 0xFFFFFFFF, with
// which vehicle units mark a card that has not been withdrawn.
QString localTime(const QDateTime& time);

// "2024-03-15T08:30:00Z"; empty where there is no time (or none that this form can express).
QString utcTime(const QDateTime& time);

// Whether it is the time 0xFFFFFFFF: not yet.
bool isOpenEnd(const QDateTime& time);

// The number, or `none` for an odometer without a value.
QString odometer(quint32 value, const QString& none);

} // namespace readkey
