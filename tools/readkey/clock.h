// Times for people and programs, of seconds since 1970. They depend on the process's time zone.
#pragma once

#include <QtCore/QDate>
#include <QtCore/QString>

#include <optional>

namespace readkey {

// "2024-03-15T08:30:00Z"; here and below, a year of more than four digits has a "+" before it.
QByteArray utcTime(qint64 seconds);

// Shows times in one zone: UTC or the process's own. An unknown time is "-". When the clock is put
// back, an hour comes twice: its minutes get an "a" the first time and a "b" the second.
struct Clock {
    bool utc;

    QString zone() const;                                // "UTC", or "local: Europe/Berlin"
    bool isZoneKnown() const;                            // or local times are those of UTC
    QString minute(std::optional<qint64> seconds) const; // "2024-03-15 08:30"
    // The end of what began at `from`: "08:30", with "+1d" after it if that is another day.
    QString end(qint64 from, std::optional<qint64> seconds) const;

    QDate date(qint64 seconds) const;
    qint64 offset(qint64 seconds) const; // in seconds ahead of UTC
    // The first second of the day. A day that the zone skipped begins with the next.
    qint64 startOf(QDate date) const;
};

} // namespace readkey
