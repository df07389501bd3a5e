#include "downloadkey/filenames.h"
#include "downloadkey/filenames_p.h"

#include <QtCore/QDateTime>

#include <cstdlib>
#include <cstring>

namespace downloadkey {

enum class Stamp { FollowsLetter, PrecedesDot };

// What the names of one extension look like. This table is the grammar: what a name is, when the
// download was made, and which files open() lists all come from it.
struct NameShape {
    const char* extension; // in upper case
    // The first letters of driver-card files and of vehicle-unit files, which a "_" must follow;
    // null if any name is of that kind.
    const char* driverLetters;
    const char* vehicleLetters;
    int shortest; // bytes of the whole name
    Stamp stampPlace;
    const char* stamp; // "_" is literal, and each letter is a digit of its field
};

namespace {

constexpr const char* anyLetter = nullptr;
constexpr const char* noLetter = "";

// Among shapes with the same extension, the longer one comes first. The last one also gives the
// time of a name that is too short for any of them.
constexpr NameShape shapes[] = {
    {".DDD", "Cc", "MmSs", 20, Stamp::FollowsLetter, "_YYYYMMDD_hhmm_"},
    {".TGD", "Cc", "VvSs", 20, Stamp::PrecedesDot, "_YYYYMMDD_hhmm"},
    {".V1B", noLetter, anyLetter, 14, Stamp::PrecedesDot, "YYMMDDhhmm"},
    {".C1B", anyLetter, noLetter, 14, Stamp::PrecedesDot, "YYMMDDhhmm"},
    {".A1B", noLetter, anyLetter, 34, Stamp::PrecedesDot, "YYYYMMDDhhmm"},
    {".A1B", noLetter, anyLetter, 32, Stamp::PrecedesDot, "YYMMDDhhmm"},
    {".V1C", noLetter, anyLetter, 14, Stamp::PrecedesDot, "YYMMDDhhmm"},
    {".C1C", anyLetter, noLetter, 14, Stamp::PrecedesDot, "YYMMDDhhmm"},
    {".A1C", noLetter, anyLetter, 34, Stamp::PrecedesDot, "YYYYMMDDhhmm"},
    {".A1C", noLetter, anyLetter, 32, Stamp::PrecedesDot, "YYMMDDhhmm"},
};

// Reads a number of up to `width` (2 or 4) bytes as the C library's "%2u" and "%4u" do: white space
// and a sign may come first, and the first byte that is not a digit ends it.
bool readFixedWidthNumber(const QByteArray& name, int position, int width, int& number) {
    if (position < 0 || position >= name.size())
        return false;
    char field[5];
    qstrncpy(field, name.constData() + position, static_cast<unsigned>(width) + 1);
    char* end = nullptr;
    const long value = std::strtol(field, &end, 10);
    if (end == field)
        return false;
    number = static_cast<int>(value);
    return true;
}

} // namespace

FileName::FileName(const QString& name)
    : m_name(name.toUtf8()) {
    m_name.truncate(static_cast<int>(qstrlen(m_name.constData())));
    m_dot = m_name.lastIndexOf('.');
    if (m_dot < 0)
        return;
    for (const NameShape& shape : shapes) {
        if (qstricmp(m_name.constData() + m_dot, shape.extension) == 0) {
            m_shape = &shape;
            if (m_name.size() >= shape.shortest)
                return;
        }
    }
}

bool FileName::hasFirstLetter(const char* letters) const {
    return letters == anyLetter ||
           (std::strchr(letters, m_name.at(0)) != nullptr && m_name.at(1) == '_');
}

bool FileName::isDriver() const {
    return m_shape && hasFirstLetter(m_shape->driverLetters);
}

bool FileName::isVehicle() const {
    return m_shape && hasFirstLetter(m_shape->vehicleLetters);
}

int FileName::stampPosition() const {
    if (m_shape->stampPlace == Stamp::FollowsLetter)
        return 1;
    return m_dot - static_cast<int>(std::strlen(m_shape->stamp));
}

bool FileName::isValid() const {
    if (!(isDriver() || isVehicle()) || m_name.size() < m_shape->shortest)
        return false;
    const char* byte = m_name.constData() + stampPosition();
    for (const char* expected = m_shape->stamp; *expected != 0; ++expected, ++byte) {
        if (*expected == '_' ? *byte != '_' : *byte < '0' || *byte > '9')
            return false;
    }
    return true;
}

bool FileName::readField(char letter, int& number) const {
    const char* const stamp = m_shape->stamp;
    const char* const first = std::strchr(stamp, letter);
    const char* const last = std::strrchr(stamp, letter);
    return readFixedWidthNumber(m_name, stampPosition() + static_cast<int>(first - stamp),
                                static_cast<int>(last - first) + 1, number);
}

bool FileName::readTime(QDateTime& time) const {
    int year = 0;
    int month = 0;
    int day = 0;
    int hour = 0;
    int minute = 0;
    if (!m_shape || !readField('Y', year) || !readField('M', month) || !readField('D', day) ||
        !readField('h', hour) || !readField('m', minute))
        return false;
    const bool hasShortYear = std::strstr(m_shape->stamp, "YYYY") == nullptr;
    if (hasShortYear && year >= 0) // a negative one is before 1970 either way
        year += year >= 70 ? 1900 : 2000;
    const QDate firstOfMonth(year, month, 1);
    if (!firstOfMonth.isValid() || day < 1 || day > 31)
        return false;

    constexpr qint64 epoch = 2440588; // the Julian day of 1970-01-01
    const qint64 days = firstOfMonth.toJulianDay() - epoch + day - 1;
    const qint64 seconds = ((days * 24 + hour) * 60 + minute) * 60;
    if (seconds < 0)
        return false;
    time = QDateTime::fromSecsSinceEpoch(seconds, Qt::LocalTime, 0);
    return true;
}

QStringList downloadFileFilters() {
    QStringList filters;
    for (const NameShape& shape : shapes)
        filters.append(QLatin1Char('*') + QString::fromLatin1(shape.extension));
    for (const NameShape& shape : shapes)
        filters.append(QLatin1Char('*') + QString::fromLatin1(shape.extension).toLower());
    filters.removeDuplicates();
    return filters;
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
    return downloadkey::FileName(name).readTime(time);
}
