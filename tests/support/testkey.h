// A mounted download key: a directory, in memory if possible, that is gone with the object. Paths
// are relative to the mount directory. What cannot be done to a key ends the test program.
#pragma once

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QTemporaryDir>

class TestKey {
public:
    // Without `downloadDir` nothing is on it.
    explicit TestKey(const QString& downloadDir = QStringLiteral("download"))
        : m_dir(templatePath()) {
        // Scripts have its path.
        require(m_dir.isValid() && !m_dir.path().contains(QLatin1Char(' ')),
                QStringLiteral("cannot create a key: ") + m_dir.path());
        if (!downloadDir.isEmpty())
            makeDir(downloadDir);
    }

    QString mountPath() const { return m_dir.path(); }
    QString path(const QString& name) const { return m_dir.filePath(name); }

    // Creates the file's directory, too.
    void write(const QString& name, const QByteArray& bytes) const {
        QFile file(path(name));
        QDir().mkpath(QFileInfo(file).path());
        require(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() &&
                    file.flush(),
                QStringLiteral("cannot write ") + name);
    }
    void makeDir(const QString& name) const {
        require(QDir().mkpath(path(name)), QStringLiteral("cannot create ") + name);
    }
    void remove(const QString& name) const {
        require(QFile::remove(path(name)) || QDir(path(name)).removeRecursively(),
                QStringLiteral("cannot remove ") + name);
    }

private:
    static QString templatePath() {
        const QString memory = QStringLiteral("/dev/shm");
        return (QFileInfo(memory).isWritable() ? memory : QDir::tempPath()) +
               QStringLiteral("/key-XXXXXX");
    }
    static void require(bool isDone, const QString& otherwise) {
        if (!isDone)
            qFatal("%s", qPrintable(otherwise));
    }

    QTemporaryDir m_dir;
};
