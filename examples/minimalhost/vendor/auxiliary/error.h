// Errors of the device's libraries. One without entries means success.
#pragma once

#include <QtCore/QDateTime>
#include <QtCore/QDebug>
#include <QtCore/QMetaType>
#include <QtCore/QString>

#include <list>

namespace aux {

struct ErrorData {
    ErrorData(QString&& component, QString&& text, unsigned code)
        : component(std::move(component))
        , text(std::move(text))
        , code(code) {}

    QString component;
    QString text;
    unsigned code;
    QDateTime time = QDateTime::currentDateTimeUtc();

    QString line() const { return component + ": " + text + " (" + QString::number(code) + ")"; }
};

class Error {
public:
    Error() = default;
    explicit Error(ErrorData entry)
        : m_entries{std::move(entry)} {}

    Error& operator<<(Error&& other) {
        m_entries.splice(m_entries.end(), other.m_entries);
        return *this;
    }
    bool isEmpty() const { return m_entries.empty(); }

    friend QDebug operator<<(QDebug stream, const Error& error);

private:
    std::list<ErrorData> m_entries;
    QString m_text;
    QString m_advice;
    int m_severity = 0;
};

} // namespace aux

Q_DECLARE_METATYPE(aux::Error)
