#include "downloadkey/filenames.h"
#include "downloadkey/filenames_p.h"

#include <QtCore/QDateTime>

#include <cstring>

namespace {

constexpr int extensionLength = 4; // the dot and three bytes

constexpr int shortestSeparatedName = 20; // .DDD and .TGD
constexpr int shortestTenDigitName = 14;  // .V1B, .C1B, .V1C, .C1C
constexpr int shortestTenDigitA1Name = 32;
constexpr int shortestTwelveDigitA1Name = 34;

constexpr bool isDigit(unsigned char byte) {
    return byte >= '0' && byte <= '9';
}

bool isOneOf(unsigned char byte, const char* set) {
    return byte != 0 && std::strchr(set, byte) != nullptr;
}

// Reads `width` (2 or 4) decimal digits at `position`; anything else there is no number.
bool readFixedWidthNumber(const QByteArray& name, int position, int width, unsigned int& number) {
    if (position < 0 || position > name.size() - width)
        return false;
    unsigned int value = 0;
    for (int i = position; i < position + width; ++i) {
        const auto byte = static_cast<unsigned char>(name.at(i));
        if (!isDigit(byte))
            return false;
        value = value * 10 + (byte - '0');
    }
    number = value;
    return true;
}

// Days from 1970-01-01 to a day of the Gregorian calendar, in 64 bits on every target: the C
// library's conversions end in 2038 where time_t has 32. The year is counted from March, so that
// the leap day comes last; `day` may lie behind the end of its month.
constexpr qint64 daysSinceEpoch(unsigned int year, unsigned int month, unsigned int day) {
    const qint64 marchYear = qint64(year) - (month <= 2 ? 1 : 0) + 400;
    const qint64 monthFromMarch = (month + 9) % 12;
    const qint64 daysOfMonths = (153 * monthFromMarch + 2) / 5;
    const qint64 leapDays = marchYear / 4 - marchYear / 100 + marchYear / 400;
    constexpr qint64 epoch = 719468 + 146097; // 1970-01-01, counted from March of the year -400
    return marchYear * 365 + leapDays + daysOfMonths + qint64(day) - 1 - epoch;
}

constexpr qint64 secondsSinceEpoch(unsigned int year, unsigned int month, unsigned int day,
                                   unsigned int hour, unsigned int minute) {
    return ((daysSinceEpoch(year, month, day) * 24 + hour) * 60 + minute) * 60;
}

static_assert(secondsSinceEpoch(1970, 1, 1, 0, 0) == 0);
static_assert(secondsSinceEpoch(2024, 2, 31, 8, 30) == secondsSinceEpoch(2024, 3, 2, 8, 30));
static_assert(secondsSinceEpoch(2069, 12, 31, 23, 59) == 3155759940);
static_assert(secondsSinceEpoch(9999, 12, 31, 99, 99) == 253402576740,
              "the latest time that a name can carry");

} // namespace

namespace downloadkey {

FileName::FileName(const QString& name)
    : m_name(name.toUtf8()) {
    m_name.truncate(static_cast<int>(qstrnlen(m_name.constData(), uint(m_name.size()))));
    m_dot = m_name.lastIndexOf('.');
    m_extension = extensionOf(m_name, m_dot);
}

FileName::Extension FileName::extensionOf(const QByteArray& name, int dot) {
    static constexpr struct {
        char upperCase[extensionLength];
        Extension extension;
    } table[] = {
        {{'.', 'D', 'D', 'D'}, Extension::Ddd}, {{'.', 'T', 'G', 'D'}, Extension::Tgd},
        {{'.', 'V', '1', 'B'}, Extension::V1b}, {{'.', 'C', '1', 'B'}, Extension::C1b},
        {{'.', 'V', '1', 'C'}, Extension::V1c}, {{'.', 'C', '1', 'C'}, Extension::C1c},
        {{'.', 'A', '1', 'B'}, Extension::A1b}, {{'.', 'A', '1', 'C'}, Extension::A1c},
    };

    if (dot < 0 || name.size() - dot != extensionLength)
        return Extension::None;
    char upperCase[extensionLength];
    std::memcpy(upperCase, name.constData() + dot, sizeof upperCase);
    for (char& byte : upperCase) {
        if (byte >= 'a' && byte <= 'z')
            byte = static_cast<char>(byte - 0x20);
    }
    for (const auto& row : table) {
        if (std::memcmp(row.upperCase, upperCase, sizeof upperCase) == 0)
            return row.extension;
    }
    return Extension::None;
}

unsigned char FileName::byteAt(int position) const {
    return static_cast<unsigned char>(m_name.at(position));
}

bool FileName::areDigits(int position, int count) const {
    for (int i = position; i < position + count; ++i) {
        if (!isDigit(byteAt(i)))
            return false;
    }
    return true;
}

bool FileName::isValid() const {
    const int length = m_name.size();
    switch (m_extension) {
    case Extension::Ddd:
        return length >= shortestSeparatedName && isOneOf(byteAt(0), "mMcCsS") &&
               byteAt(1) == '_' && areDigits(2, 8) && byteAt(10) == '_' && areDigits(11, 4) &&
               byteAt(15) == '_';
    case Extension::Tgd:
        return length >= shortestSeparatedName && isOneOf(byteAt(0), "vVcCsS") &&
               byteAt(1) == '_' && byteAt(m_dot - 14) == '_' && areDigits(m_dot - 13, 8) &&
               byteAt(m_dot - 5) == '_' && areDigits(m_dot - 4, 4);
    case Extension::V1b:
    case Extension::C1b:
    case Extension::V1c:
    case Extension::C1c:
        return length >= shortestTenDigitName && areDigits(m_dot - 10, 10);
    case Extension::A1b:
    case Extension::A1c:
        if (length >= shortestTwelveDigitA1Name)
            return areDigits(m_dot - 12, 12);
        return length >= shortestTenDigitA1Name && areDigits(m_dot - 10, 10);
    case Extension::None:
        break;
    }
    return false;
}

bool FileName::isDriver() const {
    switch (m_extension) {
    case Extension::Ddd:
    case Extension::Tgd:
        return isOneOf(byteAt(0), "Cc") && byteAt(1) == '_';
    case Extension::C1b:
    case Extension::C1c:
        return true;
    default:
        return false;
    }
}

bool FileName::isVehicle() const {
    switch (m_extension) {
    case Extension::Ddd:
        return isOneOf(byteAt(0), "MmSs") && byteAt(1) == '_';
    case Extension::Tgd:
        return isOneOf(byteAt(0), "VvSs") && byteAt(1) == '_';
    case Extension::V1b:
    case Extension::A1b:
    case Extension::V1c:
    case Extension::A1c:
        return true;
    default:
        return false;
    }
}

bool FileName::readTime(qint64& seconds) const {
    // Where the five fields stand: a date of two- or four-digit year, and behind it the time.
    int date = m_dot - 10;
    int yearWidth = 2;
    int separator = 0;
    switch (m_extension) {
    case Extension::Ddd:
        date = 2;
        yearWidth = 4;
        separator = 1;
        break;
    case Extension::Tgd:
        date = m_dot - 13;
        yearWidth = 4;
        separator = 1;
        break;
    case Extension::A1b:
    case Extension::A1c:
        if (m_name.size() >= shortestTwelveDigitA1Name) {
            date = m_dot - 12;
            yearWidth = 4;
        }
        break;
    case Extension::None:
        return false;
    default:
        break;
    }
    const int time = date + yearWidth + 4 + separator;

    unsigned int year = 0;
    unsigned int month = 0;
    unsigned int day = 0;
    unsigned int hour = 0;
    unsigned int minute = 0;
    if (!readFixedWidthNumber(m_name, date, yearWidth, year) ||
        !readFixedWidthNumber(m_name, date + yearWidth, 2, month) ||
        !readFixedWidthNumber(m_name, date + yearWidth + 2, 2, day) ||
        !readFixedWidthNumber(m_name, time, 2, hour) ||
        !readFixedWidthNumber(m_name, time + 2, 2, minute))
        return false;
    if (yearWidth == 2)
        year += year >= 70 ? 1900 : 2000;
    if (month < 1 || month > 12 || day < 1 || day > 31)
        return false;

    const qint64 result = secondsSinceEpoch(year, month, day, hour, minute);
    if (result < 0)
        return false;
    seconds = result;
    return true;
}

} // namespace downloadkey

bool isValidFileName(QString const& name) {
    return downloadkey::FileName(name).isValid();
}

bool isDriverFileName(QString const& name) {
    return downloadkey::FileName(name).isDriver();
}

bool isVehicleFileName(QString const& name) {
    return downloadkey::FileName(name).isVehicle();
}

bool getModificationTimeFromFileName(QString const& name, QDateTime& time) {
    qint64 seconds = 0;
    if (!downloadkey::FileName(name).readTime(seconds))
        return false;
    time = QDateTime::fromSecsSinceEpoch(seconds, Qt::LocalTime, 0);
    return true;
}
