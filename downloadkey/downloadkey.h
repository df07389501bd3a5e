// The entry point of the library: one object reads one download key after another.
//
//     downloadkey::DownloadKey key(configuration);
//     key.init();
//     ... for each key that is mounted:  key.open(mountDir);  key.read();  key.close();
//     key.uninit();
//
// A DownloadKey is used from one thread only. read() runs that thread's event loop before each
// file, so the host's slots may run in the middle of it. They may call close(), open() or read(),
// but must not destroy the object.
#pragma once

#include "downloadkey/global.h"
#include "downloadkey/vehicleinfo.h"

#include "auxiliary/error.h"

#include <QtCore/QDateTime>
#include <QtCore/QDir>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <memory>
#include <vector>

namespace aux {
class Configuration;
}
namespace scard {
class SCardGeneric;
}

namespace downloadkey {

// How many files of each kind read() parses: the newest ones. It offers all files.
inline constexpr int parsedFilesOfEachKind = 100;

// Bytes. read() treats a smaller file as missing, but still offers it if it is a driver card's.
inline constexpr qint64 smallestUsableFile = 5;

// The code of the error that the host's logger gets if "/downloaded" cannot be created.
inline constexpr unsigned downloadedDirErrorCode = 10304;

class DOWNLOADKEY_EXPORT DownloadKey : public QObject {
    Q_OBJECT

public:
    // What scard::SCardGeneric::getCardType() returns for the cards that the library distinguishes.
    // The host's own type for it may be an integer or any enumeration with these values.
    enum class CardType { DriverCard = 1, WorkshopCard = 2, CompanyCard = 4 };

    // `configuration` is not owned and must outlive the object. open() reads its setting 45 and,
    // if that is false, 46.
    explicit DownloadKey(aux::Configuration& configuration);
    ~DownloadKey() override;

    // Both only write a debug line; they cannot fail.
    aux::Error init();
    aux::Error uninit();

    // Opens the key that is mounted at `dir`: finds "/download" or, without it, "/DOWNLOAD" below
    // it, creates "/downloaded" if the configuration asks for it, and lists the download files,
    // newest first. No file is opened. If "/downloaded" cannot be created (it never can below a
    // relative `dir`), the host's logger gets an error with code downloadedDirErrorCode and the
    // key is still opened.
    //
    // Fails, with one entry of code 0, if there is no download directory. The key that was open
    // before stays open, but read() will then have `dir` remounted.
    aux::Error open(QDir& dir);

    // Reads the open key: parses the newest parsedFilesOfEachKind driver-card files and as many
    // vehicle-unit files, offers every file of both kinds through downloadFile(), and has the host
    // remount the key read-only. One file is open at a time, and the event loop runs once before
    // each file that is parsed and once before each that is offered.
    //
    // On success readDone() has been emitted. Otherwise the error holds one entry, of code 0: the
    // download directory is gone ("No DownloadKey mounted"; nothing is done and nothing is
    // remounted), or a file failed (and readDone() was not emitted).
    //
    // After a close() from a slot, read() finishes the current file and succeeds with what was
    // parsed. If the key was also pulled out, that file usually fails, and read() returns an error.
    // After an open() of another key from a slot, read() looks for the rest of the first key's
    // names on the other one: a file of the same name there is taken for the first key's, any other
    // fails, and the other key is remounted. Close the first key, and open the next after read().
    //
    // Without a successful open(), or after close(), it finds no files, succeeds, and has the mount
    // directory of the last open() remounted; if there was none, the process's current directory.
    // This also fails if the download directory of the last open key is gone.
    aux::Error read();

    // Forgets the key; nothing on it is touched. Cannot fail.
    aux::Error close();

    // The absolute path of the "/downloaded" directory; empty if no key is open or its download
    // directory is gone. It belongs to the last open() for which the configuration asked for the
    // directory, even if it could not be created. If there was no such open(), it is the process's
    // current directory.
    QString getDownloadedDir();

    // A copy of `card` as an object of its kind (driver, workshop or company card) and generation;
    // a card of any other kind becomes a plain scard::SCardGeneric.
    std::shared_ptr<scard::SCardGeneric> generateSpecific(const scard::SCardGeneric& card);

Q_SIGNALS:
    // Never emitted by the library itself.
    void error(const aux::Error& err);

    // The end of a read() in which no file failed: the parsed driver cards and vehicle-unit files,
    // newest first. `parsingError` is always false. The host shares their ownership, and each
    // VehicleInfo holds its whole file. A queued connection needs registerMetaTypes()
    // (metatypes.h).
    void readDone(std::vector<std::shared_ptr<scard::SCardGeneric>> driverCards,
                  std::vector<std::shared_ptr<VehicleInfo>> vehicleInfos, bool parsingError);

    // A file that the host may copy: its path, which begins with the mount directory as it was
    // given to open(), and its download time in local time.
    void downloadFile(QString filename, QDateTime downloadTimestamp);

    // The percentage of one read() that is done: 0 first, then after each file parsed or offered.
    // An empty key emits only 0; if the last file fails, or after a close(), it stays below 100.
    void progress(int relative);

private:
    aux::Configuration& m_configuration;
    QDir m_mountDir;
    QDir m_downloadDir;
    QDir m_downloadedDir;
    QStringList m_driverFiles;
    QStringList m_vehicleFiles;
    bool m_mounted;
};

} // namespace downloadkey
