#include "auxiliary/error.h"

#include <utility>

namespace aux {

ErrorData::ErrorData(QString&& component, QString&& text, unsigned code)
    : m_component(std::move(component))
    , m_text(std::move(text))
    , m_code(code) {}

const QString& ErrorData::component() const {
    return m_component;
}

const QString& ErrorData::text() const {
    return m_text;
}

unsigned ErrorData::code() const {
    return m_code;
}

Error::Error() = default;

Error::Error(ErrorData entry) {
    m_entries.push_back(std::move(entry));
}

Error::Error(const Error& other) = default;
Error::Error(Error&& other) noexcept = default;
Error::~Error() = default;
Error& Error::operator=(const Error& other) = default;
Error& Error::operator=(Error&& other) noexcept = default;

Error& Error::operator<<(Error&& other) {
    if (&other == this)
        return *this;
    m_entries.splice(m_entries.end(), other.m_entries);
    if (m_text.isEmpty())
        m_text = std::move(other.m_text);
    return *this;
}

const std::list<ErrorData>& Error::entries() const {
    return m_entries;
}

bool Error::isEmpty() const {
    return m_entries.empty();
}

QDebug operator<<(QDebug stream, const Error& error) {
    const QDebugStateSaver saver(stream);
    stream.nospace().noquote();
    if (error.isEmpty())
        stream << "no error";
    const char* separator = "";
    for (const ErrorData& entry : error.entries()) {
        // A file's name may contain a line break, but an error must stay one line in a log.
        QString text = entry.text();
        text.replace(QLatin1Char('\n'), QLatin1Char(' '));
        text.replace(QLatin1Char('\r'), QLatin1Char(' '));
        stream << separator << entry.component() << ": " << text << " (" << entry.code() << ")";
        separator = "; ";
    }
    return stream;
}

} // namespace aux
