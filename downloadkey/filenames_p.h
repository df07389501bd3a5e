// One file name, taken apart once. open() asks every question of the public functions about each
// name of a key; here they share one conversion to UTF-8.
#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QStringList>

class QDateTime;

namespace downloadkey {

struct NameShape;

class FileName {
public:
    explicit FileName(const QString& name);

    // The same answers as the four public functions.
    bool isValid() const;
    bool isDriver() const;
    bool isVehicle() const;
    bool readTime(QDateTime& time) const;

private:
    bool hasFirstLetter(const char* letters) const;
    int stampPosition() const;
    bool readField(char letter, int& number) const;

    QByteArray m_name; // UTF-8, without what follows a NUL
    int m_dot;         // where the extension begins; -1 if there is none
    const NameShape* m_shape = nullptr;
};

// One directory filter for each extension in upper case, and then in lower case.
QStringList downloadFileFilters();

} // namespace downloadkey
