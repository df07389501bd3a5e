#include "keyreader.h"

#include "console.h"
#include "remount.h"

#include "auxiliary/systemhelper.h"
#include "logging/logger.h"
#include "scard/scardgeneric.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <algorithm>
#include <cerrno>

#include <sys/stat.h>
#include <unistd.h>

namespace readkey {

namespace {

size_t parsedFiles(const Listing& listing, LogFile::Kind kind) {
    const auto count =
        std::count_if(listing.files.begin(), listing.files.end(), [kind](const LogFile& file) {
            return file.kind == kind && file.status == LogFile::Ok;
        });
    return std::min(static_cast<size_t>(count), size_t{downloadkey::parsedFilesOfEachKind});
}

} // namespace

KeyReader::KeyReader(const Options& options, const QString& path, LogbookBuilder& book,
                     FileCopier* copier, EventWriter* events)
    : m_options(options)
    , m_path(path)
    , m_book(book)
    , m_copier(copier)
    , m_events(events)
    , m_key(m_configuration) {
    setUpHost();
    connectSignals();
}

KeyReader::~KeyReader() {
    aux::SystemHelper::setRemountHandler({});
    logging::Logger::setSink({});
}

bool KeyReader::read(const std::function<void(int)>& progress) {
    m_progress = progress;
    findDirectories();
    m_key.init();
    if (m_mountDir.isEmpty()) {
        listDirectory();
        if (m_options.makeDownloadedDir)
            fail({}, QStringLiteral("no \"downloaded\" directory is made in a folder of files"));
        addFiles(true);
        if (m_options.remount)
            remount(m_path);
    } else if (openKey()) {
        readKey();
    }
    m_key.close();
    m_key.uninit();
    return !m_failed;
}

QString KeyReader::downloadDirOf(const QString& mountDir) {
    for (const char* name : {"/download", "/DOWNLOAD"}) {
        QString directory = mountDir + QLatin1String(name);
        if (QFileInfo(directory).isDir())
            return directory;
    }
    return {};
}

QString KeyReader::mountDirOf(const QString& path) {
    const QFileInfo directory(QDir::cleanPath(QFileInfo(path).absoluteFilePath()));
    if (downloadDirOf(path).isEmpty() &&
        directory.fileName().compare(QLatin1String("download"), Qt::CaseInsensitive) == 0 &&
        directory.isDir())
        return directory.path();
    return path;
}

// What a host provides besides the calls: its settings, its log, and the remounting.
void KeyReader::setUpHost() {
    m_configuration.setValue(aux::SettingsCode::DownloadedDirDisabled, false);
    m_configuration.setValue(aux::SettingsCode::DownloadedDirEnabled, m_options.makeDownloadedDir);

    logging::Logger::setSink([this](const aux::Error& error, logging::Level level) {
        if (level != logging::Level::Error)
            console::line(errorText(error));
        else if (m_options.makeDownloadedDir && QDir::isRelativePath(m_mountDir))
            fail({}, errorText(error) + QStringLiteral(": give PATH as an absolute path"));
        else
            fail({}, errorText(error));
    });
    if (m_options.remount) {
        aux::SystemHelper::setRemountHandler([this](const QString& mountDir) {
            const bool before = m_failed;
            remount(mountDir);
            return m_failed == before;
        });
    }
}

void KeyReader::connectSignals() {
    using downloadkey::DownloadKey;
    // The key is a member, so nothing is emitted once this object is gone.
    QObject::connect(&m_key, &DownloadKey::progress, &m_key, [this](int percent) {
        m_progress(percent);
        if (m_events)
            m_events->progress(percent);
        if (console::interruption() != 0)
            m_key.close(); // ends the read() at the next file
    });
    QObject::connect(&m_key, &DownloadKey::downloadFile, &m_key,
                     [this](const QString& path, const QDateTime& time) {
                         if (m_events)
                             m_events->downloadFile(path, time);
                         m_offered.append(path.mid(path.lastIndexOf(QLatin1Char('/')) + 1));
                         m_copies[m_offered.last()] = copyFile(path, time);
                     });
    QObject::connect(
        &m_key, &DownloadKey::readDone, &m_key,
        [this](const DriverCards& cards, const VehicleInfos& vehicles, bool parsingError) {
            takeResults(cards, vehicles);
            if (m_events)
                m_events->readDone(cards, vehicles, parsingError);
        });
}

// A key is named by its mount directory or by its download directory. Any other directory with
// download files in it is a folder of copies.
void KeyReader::findDirectories() {
    m_mountDir = mountDirOf(m_path);
    if (downloadDirOf(m_mountDir).isEmpty() && !m_events && !listFiles(m_path).files.empty()) {
        m_mountDir.clear();
        m_downloadDir = m_path;
    }
}

void KeyReader::listDirectory() {
    m_listing = listFiles(m_downloadDir);
    if (m_listing.error != 0)
        fail({}, m_downloadDir + QStringLiteral(": cannot be read: ") +
                     qt_error_string(m_listing.error));
    m_book.addOtherEntries(m_listing.otherEntries);
}

bool KeyReader::openKey() {
    QDir mountDir(m_mountDir);
    const aux::Error error = m_key.open(mountDir);
    if (m_events)
        m_events->openReturned(error);
    if (!error.isEmpty()) {
        fail({}, reasonNotOpened());
        return false;
    }
    m_downloadDir = downloadDirOf(m_mountDir);
    listDirectory();
    return true;
}

void KeyReader::readKey() {
    const aux::Error error = m_key.read();
    if (console::interruption() != 0)
        return;
    if (m_events)
        m_events->readReturned(error);
    if (error.isEmpty())
        return addFiles(false);
    // The library dropped what it had parsed, and with it the reason of each failure.
    if (!QFileInfo(m_downloadDir).isDir())
        return fail({}, QStringLiteral("%1: the directory has gone").arg(m_downloadDir));
    const bool before = m_failed;
    m_failed = false;
    addFiles(true);
    if (!m_failed)
        fail({}, QStringLiteral("a file failed that can be read now: the key's contents changed"));
    m_failed = m_failed || before;
}

// Neither cards nor vehicles know their files. Where no file failed, both come in the order of the
// offered files, and are their beginning; but a card that is no driver's is left out.
void KeyReader::takeResults(const DriverCards& cards, const VehicleInfos& vehicles) {
    size_t cardCount = 0;
    size_t vehicleCount = 0;
    const bool allCards = cards.size() == parsedFiles(m_listing, LogFile::Card);
    for (const QString& name : m_offered) {
        if (fileOf(name).kind == LogFile::Vehicle && vehicleCount < vehicles.size())
            m_vehicles[name] = vehicles[vehicleCount++];
        else if (fileOf(name).kind == LogFile::Card && allCards && cardCount < cards.size())
            m_cards[name] = cards[cardCount++];
    }
}

// Puts the files into the logbook. Unless `listedOnly`, the library read the key without an error
// and offered the files: a disk that fails while the library lists the key makes its list shorter,
// no more.
void KeyReader::addFiles(bool listedOnly) {
    QStringList names = m_offered;
    int done = 0;
    std::sort(names.begin(), names.end());
    for (LogFile& file : m_listing.files) {
        if (console::interruption() != 0)
            return;
        m_progress(100 * ++done / static_cast<int>(m_listing.files.size()));
        const auto name = std::lower_bound(names.begin(), names.end(), file.name);
        const bool isOffered = name != names.end() && *name == file.name;
        if (isOffered)
            names.erase(name);
        if (file.status == LogFile::Ok && !isOffered && !listedOnly) {
            file.status = LogFile::Failed;
            file.reason = QStringLiteral("was not read, a listing of the key left it out");
        }
        addFile(std::move(file));
    }
    for (const QString& name : names)
        addFile(fileOf(name));
}

void KeyReader::addFile(LogFile file) {
    const QString path = m_downloadDir + QLatin1Char('/') + file.name;
    std::shared_ptr<downloadkey::VehicleInfo> vehicle;
    file.key = m_path;
    if (file.status == LogFile::Ok && m_mountDir.isEmpty())
        file.copy = copyFile(path, file.downloaded);
    else
        file.copy = m_copies.value(file.name, LogFile::NotAsked);
    if (file.status == LogFile::Ok && file.kind == LogFile::Vehicle) {
        vehicle = m_vehicles.take(file.name);
        if (!vehicle)
            vehicle = readVehicle(path, file);
    } else if (file.status == LogFile::Ok) {
        if (const auto card = m_cards.take(file.name))
            takeCard(*card, file);
        else
            readCard(m_key, path, file);
    }
    if (file.status == LogFile::Failed)
        fail(file.name, file.reason);
    if (vehicle && !m_events) // events show no logbook
        m_book.addVehicle(std::move(file), *vehicle);
    else
        m_book.addFile(std::move(file));
}

LogFile::Copy KeyReader::copyFile(const QString& path, const QDateTime& time) {
    if (m_options.copyTo.isEmpty())
        return LogFile::NotAsked;
    if (!m_copier)
        return LogFile::NotCopied;
    const QString name = path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
    switch (m_copier->copy(path, time)) {
    case FileCopier::Copied:
        if (!m_copier->warning().isEmpty())
            console::error(name + QStringLiteral(": ") + m_copier->warning());
        return LogFile::Copied;
    case FileCopier::Kept:
        return LogFile::Kept;
    case FileCopier::Failed:
        break;
    }
    fail(name, QStringLiteral("not copied to %1: %2").arg(m_options.copyTo, m_copier->error()));
    return LogFile::NotCopied;
}

void KeyReader::remount(const QString& mountDir) {
    const QString reason = remountReadOnly(mountDir);
    if (!reason.isEmpty())
        fail({}, QStringLiteral("not remounted: ") + reason);
}

QString KeyReader::reasonNotOpened() const {
    const QByteArray path = QFile::encodeName(m_path);
    struct stat status {};
    if (::stat(path.constData(), &status) != 0)
        return errno == ENOENT ? QStringLiteral("no such directory")
                               : QStringLiteral("cannot be read: ") + qt_error_string(errno);
    if (!S_ISDIR(status.st_mode))
        return QStringLiteral("not a directory");
    if (::access(path.constData(), X_OK) != 0)
        return QStringLiteral("cannot be read: ") + qt_error_string(errno);
    return QStringLiteral("no key: it has no \"download\" directory, and no download files");
}

void KeyReader::fail(const QString& file, const QString& reason) {
    m_failed = true;
    m_book.addFailure({m_path, file, reason});
    const QString place = m_options.paths.size() > 1 || file.isEmpty() ? m_path : file;
    console::error(place + QStringLiteral(": ") +
                   (place == m_path && !file.isEmpty() ? file + QStringLiteral(": ") : QString()) +
                   reason);
}

} // namespace readkey
