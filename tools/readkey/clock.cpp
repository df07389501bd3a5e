#include "clock.h"

#include "text.h"

#include <QtCore/QTimeZone>

#include <ctime>

namespace readkey {

namespace {

std::tm partsOf(qint64 seconds, bool utc) {
    const auto time = static_cast<std::time_t>(seconds);
    std::tm parts{};
    if (utc)
        ::gmtime_r(&time, &parts);
    else
        ::localtime_r(&time, &parts);
    return parts;
}

// Puts the time into a form such as "0000-00-00T00:00:00Z" or its beginning. strftime() takes
// several times as long.
QByteArray timeText(const std::tm& parts, QByteArray form) {
    // Each number, and where its last digit stands.
    const std::pair<int, int> numbers[] = {{parts.tm_year + 1900, 3}, {parts.tm_mon + 1, 6},
                                           {parts.tm_mday, 9},        {parts.tm_hour, 12},
                                           {parts.tm_min, 15},        {parts.tm_sec, 18}};
    for (auto [number, place] : numbers) {
        for (; number > 0 && place < form.size(); number /= 10)
            form[place--] = static_cast<char>('0' + number % 10);
    }
    return form;
}

// "a" the first time that the clock shows this, "b" the second, and otherwise nothing. Clocks are
// put back by two hours at most.
const char* repetitionMark(qint64 seconds) {
    constexpr qint64 longest = 7200;
    // Most times are in a week without any change, and the last one asked for was, too.
    constexpr qint64 week = 604800;
    static qint64 quietWeek = -1;
    if (seconds / week == quietWeek)
        return "";
    const auto offset = [](qint64 time) { return partsOf(time, false).tm_gmtoff; };
    const qint64 begin = seconds / week * week;
    if (offset(begin - longest) == offset(begin + week + longest)) {
        quietWeek = seconds / week;
        return "";
    }
    const qint64 here = offset(seconds);
    const qint64 before = offset(seconds - longest) - here; // how far it was put back since
    const qint64 after = here - offset(seconds + longest);
    if (before > 0 && offset(seconds - before) == here + before)
        return "b";
    return after > 0 && offset(seconds + after) == here - after ? "a" : "";
}

} // namespace

QByteArray utcTime(qint64 seconds) {
    return timeText(partsOf(seconds, true), "0000-00-00T00:00:00Z");
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
    // The C library takes rules, too, that Qt does not know.
    return utc || ::timezone != 0 || ::daylight != 0 ||
           QTimeZone(QTimeZone::systemTimeZoneId()).isValid();
}

QString Clock::minute(std::optional<qint64> seconds) const {
    if (!seconds)
        return QStringLiteral("-");
    return QString::fromLatin1(timeText(partsOf(*seconds, utc), "0000-00-00 00:00") +
                               (utc ? "" : repetitionMark(*seconds)));
}

QString Clock::end(qint64 from, std::optional<qint64> seconds) const {
    const QString first = minute(from);
    const QString last = minute(seconds);
    const QString time = last.mid(11);
    if (!seconds || first.leftRef(10) == last.leftRef(10))
        return seconds ? time : last;
    const qint64 days = date(from).daysTo(date(*seconds));
    return time + QString::asprintf(" %+lldd", static_cast<long long>(days));
}

QDate Clock::date(qint64 seconds) const {
    return QDateTime::fromSecsSinceEpoch(seconds, utc ? Qt::UTC : Qt::LocalTime).date();
}

qint64 Clock::startOf(QDate date) const {
    const auto start = [this](QDate day) { return day.startOfDay(utc ? Qt::UTC : Qt::LocalTime); };
    const QDateTime here = start(date);
    return (here.isValid() ? here : start(date.addDays(1))).toSecsSinceEpoch();
}

} // namespace readkey
