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
