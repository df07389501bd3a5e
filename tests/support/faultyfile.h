// A file on a failing disk or on a stick that is pulled out: it claims a size, and from one of its
// bytes on nothing can be read.
#pragma once

#include "samples/memoryfile.h"

class FaultyFile : public MemoryFile {
public:
    FaultyFile(const QByteArray& bytes, qint64 firstBadByte, qint64 claimedSize)
        : MemoryFile(bytes)
        , m_firstBadByte(firstBadByte)
        , m_claimedSize(claimedSize) {}
    qint64 size() const override { return m_claimedSize; }

protected:
    qint64 readData(char* data, qint64 maxSize) override {
        const qint64 good = m_firstBadByte - pos();
        return good > 0 ? MemoryFile::readData(data, qMin(maxSize, good)) : -1;
    }

private:
    qint64 m_firstBadByte;
    qint64 m_claimedSize;
};
