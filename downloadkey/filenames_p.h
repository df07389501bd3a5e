// One file name, taken apart once. open() asks every question of the public functions about each
// name of a key; here they share one conversion to UTF-8.
#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

namespace downloadkey {

class FileName {
public:
    explicit FileName(const QString& name);

    // The same answers as isValidFileName(), isDriverFileName() and isVehicleFileName().
    bool isValid() const;
    bool isDriver() const;
    bool isVehicle() const;

    // The download time in seconds since 1970-01-01 00:00 UTC. False leaves `seconds` as it was.
    bool readTime(qint64& seconds) const;

private:
    enum class Extension { None, Ddd, Tgd, V1b, C1b, V1c, C1c, A1b, A1c };

    static Extension extensionOf(const QByteArray& name, int dot);
    unsigned char byteAt(int position) const;
    bool areDigits(int position, int count) const;

    QByteArray m_name; // without what follows a NUL
    int m_dot;         // where the extension begins; -1 when there is none
    Extension m_extension;
};

} // namespace downloadkey
