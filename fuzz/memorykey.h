// A key that lies in memory and is mounted at ":/key" as long as the object lives: a Qt resource,
// put together in the binary form that Qt's resource compiler writes. Reading it takes no calls of
// the system, so many more keys can be tried than with real files.
#pragma once

#include "fuzz/fuzzing.h"

#include <QtCore/QHashFunctions>
#include <QtCore/QMap>
#include <QtCore/QResource>
#include <QtCore/QtEndian>

namespace fuzzing {

class MemoryKey {
public:
    // `files` lie in the directory of that name, by their own.
    MemoryKey(const QString& directory, const QMap<QString, QByteArray>& files) {
        addDirectory(QString(), 1, 1);
        addDirectory(QStringLiteral("key"), 1, 2);
        addDirectory(directory, files.size(), 3);
        // Within a directory Qt searches by the names' hashes.
        QMultiMap<uint, QString> names;
        for (const QString& name : files.keys())
            names.insert(qt_hash(name), name);
        for (const QString& name : names)
            addFile(name, files[name]);

        const int headerSize = 20;
        QByteArray header("qres");
        for (const int number : {1, headerSize, headerSize + m_tree.size(),
                                 headerSize + m_tree.size() + m_data.size()})
            append<quint32>(header, number);
        m_bytes = header + m_tree + m_data + m_names;
        require(QResource::registerResource(begin()), "the key is mounted");
    }
    ~MemoryKey() { QResource::unregisterResource(begin()); }
    Q_DISABLE_COPY(MemoryKey)

private:
    template <typename Number>
    static void append(QByteArray& bytes, int value) {
        char number[sizeof(Number)];
        qToBigEndian(static_cast<Number>(value), number);
        bytes.append(number, sizeof number);
    }
    void addNode(const QString& name, bool isDirectory) {
        append<quint32>(m_tree, m_names.size());
        append<quint16>(m_tree, isDirectory ? 2 : 0);
        append<quint16>(m_names, name.size());
        append<quint32>(m_names, static_cast<int>(qt_hash(name)));
        for (const QChar character : name)
            append<quint16>(m_names, character.unicode());
    }
    void addDirectory(const QString& name, int children, int firstChild) {
        addNode(name, true);
        append<quint32>(m_tree, children);
        append<quint32>(m_tree, firstChild);
    }
    void addFile(const QString& name, const QByteArray& contents) {
        addNode(name, false);
        append<quint16>(m_tree, 0); // of any country
        append<quint16>(m_tree, 1); // and of no language
        append<quint32>(m_tree, m_data.size());
        append<quint32>(m_data, contents.size());
        m_data += contents;
    }
    const uchar* begin() const { return reinterpret_cast<const uchar*>(m_bytes.constData()); }

    QByteArray m_tree;
    QByteArray m_data;
    QByteArray m_names;
    QByteArray m_bytes;
};

} // namespace fuzzing
