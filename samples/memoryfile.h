// A file that is open for reading and has its bytes in memory, for code that takes a QFile.
#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QFile>

#include <cstring>
#include <utility>

// QFile's own idea of being open and of positions is about a file on a disk, and is bypassed.
// NOLINTBEGIN(bugprone-parent-virtual-call)
class MemoryFile : public QFile {
public:
    // The name must be that of an existing file, because that is checked, too.
    explicit MemoryFile(QByteArray bytes)
        : QFile(QStringLiteral("/dev/null"))
        , m_bytes(std::move(bytes)) {
        QIODevice::open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    }
    ~MemoryFile() override { QIODevice::close(); }

    bool isSequential() const override { return false; }
    qint64 size() const override { return m_bytes.size(); }
    qint64 pos() const override { return QIODevice::pos(); }
    bool seek(qint64 position) override { return QIODevice::seek(position); }
    void close() override { QIODevice::close(); }

protected:
    qint64 readData(char* data, qint64 maxSize) override {
        const qint64 count = qBound(qint64(0), m_bytes.size() - pos(), maxSize);
        std::memcpy(data, m_bytes.constData() + pos(), static_cast<std::size_t>(count));
        return count;
    }

private:
    QByteArray m_bytes;
};
// NOLINTEND(bugprone-parent-virtual-call)
