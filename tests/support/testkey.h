// A mounted download key: a temporary directory that is gone with the object. Paths are relative to
// the mount directory. A key that cannot be written ends the test program.
#pragma once

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>

class TestKey {
public:
    // Without `downloadDir` nothing is on it.
    explicit TestKey(const QString& downloadDir = QStringLiteral("download")) {
        if (!m_dir.isValid() || (!downloadDir.isEmpty() && !QDir(mountPath()).mkdir(downloadDir)))
            qFatal("cannot make a key");
    }

    QString mountPath() const { return m_dir.path(); }
    QString path(const QString& name) const { return m_dir.filePath(name); }
    bool exists(const QString& name) const { return QFile::exists(path(name)); }

    void write(const QString& name, const QByteArray& bytes) const {
        QFile file(path(name));
        if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
            qFatal("cannot write %s", qPrintable(name));
    }
    void makeDir(const QString& name) const {
        if (!QDir().mkpath(path(name)))
            qFatal("cannot make %s", qPrintable(name));
    }
    void remove(const QString& name) const {
        if (!QFile::remove(path(name)) && !QDir(path(name)).removeRecursively())
            qFatal("cannot remove %s", qPrintable(name));
    }

private:
    QTemporaryDir m_dir;
};
