// Error records of the host's auxiliary library.
//
// An error travels by value: operations that can fail return an aux::Error, and one without entries
// means success. The records own their texts; they have no thread affinity.
#pragma once

#include <QtCore/QDebug>
#include <QtCore/QMetaType>
#include <QtCore/QString>

#include <list>

namespace aux {

// One entry: which component failed, its text, and a number to find the entry in the host's log.
class ErrorData {
public:
    ErrorData(QString&& component, QString&& text, unsigned code);

    const QString& component() const;
    const QString& text() const;
    unsigned code() const;

private:
    QString m_component;
    QString m_text;
    unsigned m_code;
};

// An ordered list of entries. Empty means success.
class Error {
public:
    Error();
    explicit Error(ErrorData entry);
    Error(const Error& other);
    Error(Error&& other) noexcept;
    ~Error();
    Error& operator=(const Error& other);
    Error& operator=(Error&& other) noexcept;

    // Appends the other error's entries to this one's, and returns this error.
    Error& operator<<(Error&& other);

    const std::list<ErrorData>& entries() const;
    bool isEmpty() const;

private:
    std::list<ErrorData> m_entries;
    QString m_text; // a heading for the whole error; the library leaves it empty
};

// Writes the entries to a debug stream as "component: text (code)", in their order.
QDebug operator<<(QDebug stream, const Error& error);

} // namespace aux

Q_DECLARE_METATYPE(aux::Error)
