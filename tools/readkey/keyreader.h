// One key from open to close: drives the library the way any host does, listens to its signals,
// puts what it hears into the logbook, and turns what went wrong into plain words. It also reads a
// folder of download files, which is no key to the library. A reader is used once, on the main
// thread.
#pragma once

#include "filecopier.h"
#include "keyfiles.h"
#include "options.h"

#include "auxiliary/configuration.h"

#include <QtCore/QMap>

#include <functional>

namespace readkey {

class KeyReader {
public:
    // Everything must outlive the reader. `copier` is null where nothing is to be copied or nothing
    // can be; `events` is null unless the library's own signals are to be written there.
    KeyReader(const Options& options, const QString& path, LogbookBuilder& book, FileCopier* copier,
              QIODevice* events);
    ~KeyReader();
    Q_DISABLE_COPY(KeyReader)

    // What was not done becomes a failure in the logbook. `progress` hears percents.
    void read(const std::function<void(int)>& progress);

    // The mount directory of the key at `path`, which may name its download directory too.
    static QString mountDirOf(const QString& path);

private:
    void setUpHost();
    void connectSignals();
    void readFolder();
    void readSingleFile();
    void readOneByOne(const QString& mountDir);
    bool openKey();
    void readKey();
    bool isTooMuch() const;
    void listDirectory(const QString& directory);
    void failFilesThatWereNotOffered();
    void addFiles();
    void addFile(LogFile file);
    LogFile::Copy copyFile(const QString& path, const QDateTime& time);
    bool remount(const QString& mountDir);
    QString reasonNotOpened() const;
    void warn(const QString& text, const QString& file = {});
    bool fail(const QString& reason); // returns false
    void failFile(const QString& file, const QString& reason, bool isDamage);

    const Options& m_options;
    const QString m_path;
    LogbookBuilder& m_book;
    FileCopier* m_copier;
    QIODevice* m_events;
    aux::Configuration m_configuration;
    downloadkey::DownloadKey m_key;
    std::function<void(int)> m_progress;
    QString m_name; // of the key in the logbook
    QString m_mountDir;
    QString m_downloadDir;
    Listing m_listing;                     // as it was when the key was opened
    QStringList m_offered;                 // names, in the library's order
    QMap<QString, LogFile::Copy> m_copies; // by name, what became of them
    QMap<QString, std::shared_ptr<downloadkey::VehicleInfo>> m_vehicles; // that the library parsed
    int m_failures = 0;
};

} // namespace readkey
