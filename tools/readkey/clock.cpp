#include "clock.h"

#include "text.h"

#include <QtCore/QTimeZone>

#include <charconv>
#include <ctime>

namespace readkey {

namespace {

std::tm partsOf(qint64 seconds, bool utc) {
    const auto time = static_cast<std::time_t>(seconds);
    std::tm parts{};
    (utc ? ::gmtime_r : ::localtime_r)(&time, &parts);
    return parts;
}

// The date and the first `count` of hour, minute and second. strftime() is too slow for --events.
// ISO 8601 puts a sign before a year of more than four digits.
QByteArray timeText(const std::tm& parts, char separator, int count) {
    const char before[] = {'-', '-', separator, ':', ':'};
    const int numbers[] = {parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min,
                           parts.tm_sec};
    char text[40] = "+";
    const int year = parts.tm_year + 1900;
    char* end = std::to_chars(text + (year > 9999 ? 1 : 0), text + 20, year).ptr;
    for (int i = 0; i < 2 + count; ++i) {
        *end++ = before[i];
        *end++ = static_cast<char>('0' + numbers[i] / 10);
        *end++ = static_cast<char>('0' + numbers[i] % 10);
    }
    return {text, static_cast<int>(end - text)};
}

// "a" or "b" for the first or second time that the clock shows this, otherwise nothing. Clocks are
// put back by three hours at most.
const char* repetitionMark(qint64 seconds) {
    constexpr qint64 longest = 10800;
    // Most weeks have no change, and most times are in the same week as the one before.
    constexpr qint64 week = 604800;
    static qint64 quietWeek = -1;
    const qint64 begin = seconds / week * week;
    const auto offset = [](qint64 time) { return partsOf(time, false).tm_gmtoff; };
    if (begin == quietWeek || offset(begin - longest) == offset(begin + week + longest)) {
        quietWeek = begin;
        return "";
    }
    const qint64 here = offset(seconds);
    for (const qint64 other : {seconds - longest, seconds + longest}) {
        // With the other offset the clock shows the same this many seconds earlier or later.
        const qint64 shift = here - offset(other);
        if (shift != 0 && offset(seconds + shift) == offset(other))
            return shift < 0 ? "b" : "a";
    }
    return "";
}

} // namespace

QByteArray utcTime(qint64 seconds) {
    return timeText(partsOf(seconds, true), 'T', 3) + 'Z';
}

QString Clock::zone() const {
    if (utc)
        return QStringLiteral("UTC");
    const QByteArray id = QTimeZone::systemTimeZoneId();
    return QStringLiteral("local: ") +
           (id.isEmpty() ? QStringLiteral("an unnamed zone") : printable(QString::fromUtf8(id))) +
           (isZoneKnown() ? QString() : QStringLiteral(" (not known here, so they are UTC)"));
}

bool Clock::isZoneKnown() const {
    ::tzset();
    // The C library also accepts rules that Qt does not know.
    return utc || ::timezone != 0 || ::daylight != 0 ||
           QTimeZone(QTimeZone::systemTimeZoneId()).isValid();
}

QString Clock::minute(std::optional<qint64> seconds) const {
    if (!seconds)
        return QStringLiteral("-");
    return QString::fromLatin1(timeText(partsOf(*seconds, utc), ' ', 2) +
                               (utc ? "" : repetitionMark(*seconds)));
}

QString Clock::end(qint64 from, std::optional<qint64> seconds) const {
    const QString last = minute(seconds);
    const qint64 days = seconds ? date(from).daysTo(date(*seconds)) : 0;
    return last.mid(last.indexOf(QLatin1Char(' ')) + 1) +
           (days == 0 ? QString() : QString::asprintf(" %+lldd", days));
}

QDate Clock::date(qint64 seconds) const {
    const std::tm parts = partsOf(seconds, utc);
    return {parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday};
}

qint64 Clock::offset(qint64 seconds) const {
    return partsOf(seconds, utc).tm_gmtoff;
}

qint64 Clock::startOf(QDate date) const {
    qint64 start = date.startOfDay(Qt::UTC).toSecsSinceEpoch() + 86400; // at the latest
    for (qint64 step = 131072; step > 0; step /= 2)
        start -= this->date(start - step) < date ? 0 : step;
    return start;
}

} // namespace readkey
