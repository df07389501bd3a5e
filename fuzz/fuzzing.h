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

// Aborts the process, which is a finding, unless the property holds.
inline void require(bool holds, const char* property) {
    if (holds)
        return;
    std::fprintf(stderr, "PROPERTY: %s\n", property);
    std::abort();
}

// The input as bytes, which are not copied.
inline QByteArray bytesOf(const std::uint8_t* data, std::size_t size) {
    return QByteArray::fromRawData(reinterpret_cast<const char*>(data), static_cast<int>(size));
}

// Whether the input is one in `inputs`, for what takes long and finds little. The same input always
// gives the same answer.
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

// The bytes as a possible file name.
inline QByteArray asFileName(QByteArray bytes) {
    return bytes.replace('/', '_').replace('\0', '_');
}

// Writes a new file; false if no file can have the name.
inline bool writeFile(const QByteArray& path, const QByteArray& contents) {
    std::FILE* const file = std::fopen(path.constData(), "wbx");
    if (!file)
        return false;
    const bool isWritten = std::fwrite(contents.constData(), 1, size_t(contents.size()), file) ==
                           size_t(contents.size());
    require(std::fclose(file) == 0 && isWritten, "the key can be written");
    return true;
}

// Empties the directory. Qt would leave the files whose names are not UTF-8.
inline void clear(const QString& directory) {
    for (const auto& entry : std::filesystem::directory_iterator(directory.toStdString()))
        std::filesystem::remove_all(entry);
}

inline void setDebugLines(bool areOn) {
    QLoggingCategory::defaultCategory()->setEnabled(QtDebugMsg, areOn);
}

} // namespace fuzzing
