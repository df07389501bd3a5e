// What the fuzz targets share.
#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QLoggingCategory>
#include <QtCore/QString>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace fuzzing {

// Ends the process as a finding unless the property holds.
inline void require(bool holds, const char* property) {
    if (holds)
        return;
    std::fprintf(stderr, "PROPERTY: %s\n", property);
    std::abort();
}

// The input as bytes; shares them.
inline QByteArray bytesOf(const std::uint8_t* data, std::size_t size) {
    return QByteArray::fromRawData(reinterpret_cast<const char*>(data), static_cast<int>(size));
}

// Whether the input is one of so many that get what takes long and finds little. The same input
// always gives the same answer.
inline bool isOneOf(unsigned int inputs, const std::uint8_t* data, std::size_t size) {
    unsigned int sum = 0;
    for (std::size_t i = 0; i < size; ++i)
        sum += data[i];
    return sum % inputs == 0;
}

// Values that are taken from an input, one behind the other. When it has ended, they are 0 or
// empty.
class Values {
public:
    Values(const std::uint8_t* data, std::size_t size)
        : m_bytes(bytesOf(data, size)) {}

    bool atEnd() const { return m_position == m_bytes.size(); }
    QByteArray bytes(int most) {
        QByteArray taken = m_bytes.mid(m_position, most);
        m_position += taken.size();
        return taken;
    }
    unsigned int byte() {
        const QByteArray taken = bytes(1);
        return taken.isEmpty() ? 0 : static_cast<unsigned char>(taken.at(0));
    }

private:
    QByteArray m_bytes;
    int m_position = 0;
};

// Empties the directory. Qt would leave the names that are not UTF-8.
inline void clear(const QString& directory) {
    for (const auto& entry : std::filesystem::directory_iterator(directory.toStdString()))
        std::filesystem::remove_all(entry);
}

inline void setDebugLines(bool areOn) {
    QLoggingCategory::defaultCategory()->setEnabled(QtDebugMsg, areOn);
}

} // namespace fuzzing
