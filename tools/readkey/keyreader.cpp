#include "keyreader.h"

#include "console.h"
#include "keyfiles.h"

#include "auxiliary/configuration.h"
#include "auxiliary/systemhelper.h"
#include "logging/logger.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>

#include <algorithm>
#include <cerrno>

#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace readkey {

namespace {

// Bytes that the library's own read() may keep in memory at once.
constexpr qint64 largestRead = 4 * largestDownload;

// Empty if there is none.
QString downloadDirOf(const QString& mountDir) {
    for (const char* name : {"/download", "/DOWNLOAD"}) {
        QString directory = mountDir + QLatin1String(name);
        if (QFileInfo(directory).isDir())
            return directory;
    }
    return {};
}

// The name of the key's own directory that leads out of the key; empty if both are inside it. Only
// an attacker, on a file system with links, builds such a key.
QString nameOfStray(const QString& mountDir) {
    QString root = QFileInfo(mountDir).canonicalFilePath();
    if (!root.endsWith(QLatin1Char('/')))
        root += QLatin1Char('/');
    for (const QString& path : {downloadDirOf(mountDir), mountDir + QLatin1String("/downloaded")}) {
        const QFileInfo directory(path);
        if (directory.isSymLink() &&
            !(directory.canonicalFilePath() + QLatin1Char('/')).startsWith(root))
            return directory.fileName();
    }
    return {};
}

// Whether a file system begins there. At a bind mount within one, a remount would change all of it.
bool isMountPoint(const QString& directory) {
    const QByteArray path = QFile::encodeName(directory);
    struct stat here {};
    struct stat above {};
    return ::stat(path.constData(), &here) == 0 &&
           ::stat((path + "/..").constData(), &above) == 0 && here.st_dev != above.st_dev;
}

// Remounts the file system at `mountDir` and keeps its other flags. Returns why not, or nothing.
QString remountReadOnly(const QString& mountDir) {
    if (!isMountPoint(mountDir))
        return QStringLiteral("it is not a mount point");
    const QByteArray path = QFile::encodeName(mountDir);
    struct statvfs fileSystem {};
    if (::statvfs(path.constData(), &fileSystem) != 0)
        return qt_error_string(errno);
    // A remount sets all flags, so the present ones are passed again. statvfs() has the same
    // numbers for them as mount(), except for MS_RELATIME, which a remount keeps or sets itself.
    constexpr unsigned long kept = MS_NOSUID | MS_NODEV | MS_NOEXEC | MS_SYNCHRONOUS | MS_NOATIME |
                                   MS_NODIRATIME | MS_MANDLOCK;
    const unsigned long flags = MS_REMOUNT | MS_RDONLY | (fileSystem.f_flag & kept);
    const int result = ::mount(nullptr, path.constData(), nullptr, flags, nullptr);
    return result == 0 ? QString() : qt_error_string(errno);
}

// Reads one path, once.
struct KeyReader {
    const Options& m_options;
    const QString& m_path;
    Logbook& m_book;
    FileCopier* m_copier;
    QIODevice* m_events;
    const std::function<void(int)>& m_progress;

    aux::Configuration m_configuration = {};
    downloadkey::DownloadKey m_key{m_configuration};
    QString m_name = m_path; // of the key in the logbook
    QString m_mountDir = mountDirOf(m_path);
    QString m_downloadDir = downloadDirOf(m_mountDir); // or what else has the files
    Listing m_listing = {};
    QHash<QString, FileCopier::Outcome> m_offered = {}; // by the library: names

    ~KeyReader() {
        aux::SystemHelper::setRemountHandler({});
        logging::Logger::setSink({});
    }

    // The path of a key is its mount directory or its download directory. Any other directory with
    // download files is a folder of copies, and a file is a folder with one file.
    void read() {
        const QFileInfo path(m_path);
        setUpHost();
        if (m_events)
            connectSignals();
        m_key.init();
        if (!m_events && !path.isDir() && (path.exists() || path.isSymLink()))
            readSingleFile();
        else if (!m_events && m_downloadDir.isEmpty() && !listFiles(m_path).files.empty())
            readFolder();
        else
            readKey();
        m_key.close();
        m_key.uninit();
    }

    // What a host provides besides the calls: settings, a log, and remounting.
    void setUpHost() {
        m_configuration.setValue(aux::SettingsCode::DownloadedDirDisabled, false);
        m_configuration.setValue(aux::SettingsCode::DownloadedDirEnabled,
                                 m_options.makeDownloadedDir);
        // The library reports only that it cannot create the directory, as below a relative path.
        logging::Logger::setSink([this](const aux::Error& error, logging::Level /*level*/) {
            const bool isRelative = QDir::isRelativePath(m_mountDir);
            fail(errorText(error) +
                 QLatin1String(isRelative ? ": give PATH as an absolute path" : ""));
        });
        if (m_options.remount)
            aux::SystemHelper::setRemountHandler([this](const QString& mountDir) {
                const QString reason = remountReadOnly(mountDir);
                if (!reason.isEmpty())
                    fail(QStringLiteral("not remounted: ") + reason);
                return reason.isEmpty();
            });
    }

    void connectSignals() {
        using downloadkey::DownloadKey;
        writeSignals(m_key, *m_events);
        QObject::connect(&m_key, &DownloadKey::progress, [this](int percent) {
            m_progress(percent);
            if (console::interruption() != 0)
                m_key.close(); // ends the read() at the next file
        });
        QObject::connect(&m_key, &DownloadKey::downloadFile,
                         [this](const QString& path, const QDateTime& time) {
                             m_offered[QFileInfo(path).fileName()] = copyFile(path, time);
                         });
    }

    void readFolder() {
        listDirectory(m_path);
        if (isMountPoint(m_path))
            warn(QStringLiteral("its files are not in \"download\", where a device looks for "
                                "them"));
        readOneByOne();
    }

    void readSingleFile() {
        const QFileInfo file(m_path);
        m_name = m_downloadDir = file.path();
        m_listing.files = {fileOf(file.fileName())};
        if (m_copier && file.canonicalPath() == QFileInfo(m_options.copyTo).canonicalFilePath()) {
            fail(QStringLiteral("not copied: it is in this directory"), file.fileName());
            m_copier = nullptr;
        }
        readOneByOne();
    }

    void readOneByOne() {
        if (m_options.makeDownloadedDir && m_downloadDir != downloadDirOf(m_mountDir))
            fail(QStringLiteral("no \"downloaded\" directory is created in a folder of files"));
        addFiles();
        aux::SystemHelper::remountReadOnly(m_mountDir);
    }

    void readKey() {
        const QString stray = nameOfStray(m_mountDir);
        if (!stray.isEmpty())
            return fail(QStringLiteral("not read: \"%1\" leads out of the key").arg(stray));
        QDir key(m_mountDir);
        const aux::Error notOpened = m_key.open(key);
        if (m_events)
            writeReturned(QStringLiteral("open"), notOpened, *m_events);
        if (!notOpened.isEmpty())
            return fail(reasonNotOpened());
        listDirectory(m_downloadDir);
        const QString second = m_mountDir + QLatin1String("/DOWNLOAD");
        if (key.entryList({QStringLiteral("download")}, QDir::Dirs | QDir::NoSymLinks).size() > 1 &&
            !m_options.paths.contains(second) && !listFiles(second).files.empty())
            warn(QStringLiteral("the files in \"DOWNLOAD\" are not read: give %1 as PATH")
                     .arg(second));
        if (m_events)
            readForEvents();
        else
            readOneByOne();
    }

    // By the library's own read(), for its signals. All are read again if one failed, which it does
    // not name, if a failing disk made its listing shorter, or if it did not parse the oldest.
    void readForEvents() {
        if (isTooMuch())
            return fail(QStringLiteral("not read: its files are too large to be read at once"));
        const aux::Error error = m_key.read();
        if (console::interruption() != 0)
            return;
        writeReturned(QStringLiteral("read"), error, *m_events);
        bool isWhole = error.isEmpty();
        int counts[] = {0, 0, 0}; // by kind
        for (const LogFile& file : m_listing.files) {
            isWhole &= file.status == LogFile::Skipped || m_offered.contains(file.name);
            ++counts[file.kind];
        }
        if (isWhole && std::max(counts[0], counts[1]) <= downloadkey::parsedFilesOfEachKind)
            return;
        const size_t before = m_book.failures.size();
        addFiles();
        if (!isWhole && m_book.failures.size() == before)
            fail(QStringLiteral("a file was not read, but it can be read now"), {}, true);
    }

    // Whether the library's read() would load a file that is too large, or too much in all.
    bool isTooMuch() const {
        qint64 bytes = 0;
        int vehicles = 0;
        for (const LogFile& file : m_listing.files) {
            if (file.size > largestDownload && file.status != LogFile::Skipped)
                return true;
            if (file.kind == LogFile::Vehicle && file.status == LogFile::Ok &&
                ++vehicles <= downloadkey::parsedFilesOfEachKind)
                bytes += file.size;
        }
        return bytes > largestRead;
    }

    void listDirectory(const QString& directory) {
        m_downloadDir = directory;
        m_listing = listFiles(directory);
        if (m_listing.error != 0) // a disk may fail once
            m_listing = listFiles(directory);
        if (m_listing.error != 0)
            fail(QStringLiteral("cannot be read: %1 (%2)")
                     .arg(qt_error_string(m_listing.error), directory));
        m_book.otherEntries += m_listing.others.size();
        for (const QString& name : m_options.verbose ? m_listing.others : QStringList())
            console::line(directory + QLatin1Char('/') + name + QStringLiteral(": left alone"));
    }

    // Puts the files into the logbook.
    void addFiles() {
        int done = 0;
        for (LogFile& file : m_listing.files) {
            if (console::interruption() != 0)
                return;
            if (::access(QFile::encodeName(m_downloadDir).constData(), F_OK) != 0 &&
                errno == ENOENT)
                return fail(m_downloadDir + QStringLiteral(": the directory has gone"));
            m_progress(100 * done++ / static_cast<int>(m_listing.files.size()));
            addFile(std::move(file));
        }
        m_progress(100);
    }

    void addFile(LogFile file) {
        const QString path = m_downloadDir + QLatin1Char('/') + file.name;
        file.key = m_name;
        file.copy = m_offered.value(file.name);
        qDebug("%s:", qUtf8Printable(path)); // the library's lines do not name it
        std::unique_ptr<downloadkey::VehicleInfo> vehicle;
        const auto copyUnlessDone = [&] {
            if (file.copy == FileCopier::NotAsked && file.kind != LogFile::Other)
                file.copy =
                    copyFile(path, file.downloaded ? QDateTime::fromSecsSinceEpoch(*file.downloaded)
                                                   : QFileInfo(path).lastModified());
        };
        if (file.status == LogFile::Ok) {
            copyUnlessDone(); // before anything else fails, and whatever is in it
            vehicle = readFile(m_key, path, file);
            copyUnlessDone(); // if its kind was not known
        }
        if (file.status == LogFile::Failed) {
            const bool isMissed = file.copy == FileCopier::NotAsked && !m_options.copyTo.isEmpty();
            if (isMissed)
                file.copy = FileCopier::Failed;
            fail(file.reason, file.name, !isMissed);
        }
        if (vehicle && printable(vehicle->getPlateString()) != vehicle->getPlateString() &&
            vehicle->getDriverActivities().empty())
            warn(QStringLiteral("probably changed on its way: control characters in the plate, "
                                "and no insertions"),
                 file.name);
        if (vehicle && !m_events) // events show no logbook
            m_book.addVehicle(std::move(file), *vehicle);
        else
            m_book.addFile(std::move(file));
    }

    FileCopier::Outcome copyFile(const QString& path, const QDateTime& time) {
        if (!m_copier)
            return m_options.copyTo.isEmpty() ? FileCopier::NotAsked : FileCopier::Failed;
        const QString name = QFileInfo(path).fileName();
        const auto [message, outcome] = m_copier->copy(path, time);
        if (outcome == FileCopier::Failed)
            fail(QStringLiteral("not copied to %1: %2").arg(m_options.copyTo, message), name);
        else if (!message.isEmpty())
            warn(message, name);
        return outcome;
    }

    QString reasonNotOpened() const {
        const QDir directory(m_path);
        if (::access(QFile::encodeName(m_path + QLatin1String("/.")).constData(), X_OK) != 0)
            return errno == ENOENT    ? QStringLiteral("no such file or directory")
                   : errno == ENOTDIR ? QStringLiteral("not a directory")
                                      : QStringLiteral("cannot be read: ") + qt_error_string(errno);
        const QStringList similar = directory.entryList({QStringLiteral("download")}, QDir::Dirs);
        if (similar.isEmpty())
            return QStringLiteral("no key: it has no \"download\" directory") +
                   QLatin1String(m_events ? "" : ", and no download files");
        return QStringLiteral(
                   "no key: its directory is named \"%1\", not \"download\" (give %2 as PATH)")
            .arg(similar.first(), directory.filePath(similar.first()));
    }

    void warn(const QString& text, const QString& file = {}) {
        m_book.warnings.push_back({m_name, file, text});
    }

    void fail(const QString& reason, const QString& file = {}, bool isDamage = false) {
        m_book.failures.push_back({m_name, file, reason, isDamage});
    }
};

} // namespace

QString mountDirOf(const QString& path) {
    const QFileInfo directory(QDir::cleanPath(QFileInfo(path).absoluteFilePath()));
    const QFileInfo downloadDir(downloadDirOf(directory.path()));
    const bool isDownloadDir =
        directory.fileName().compare(QLatin1String("download"), Qt::CaseInsensitive) == 0 &&
        directory.isDir() && directory.canonicalFilePath() == downloadDir.canonicalFilePath();
    return isDownloadDir && downloadDirOf(path).isEmpty() ? directory.path() : path;
}

void readPath(const Options& options, const QString& path, Logbook& book, FileCopier* copier,
              QIODevice* events, const std::function<void(int)>& progress) {
    KeyReader{options, path, book, copier, events, progress}.read();
}

} // namespace readkey
