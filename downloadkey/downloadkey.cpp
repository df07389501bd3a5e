#include "downloadkey/downloadkey.h"
#include "downloadkey/diagnostics_p.h"
#include "downloadkey/filenames.h"
#include "downloadkey/filenames_p.h"

#include "auxiliary/configuration.h"
#include "auxiliary/systemhelper.h"
#include "logging/logger.h"
#include "scard/scardcards.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <algorithm>
#include <utility>

namespace downloadkey {

namespace {

constexpr auto errorLevel = static_cast<logging::Level>(2);

aux::Error makeDownloadKeyError(QString text, unsigned code = 0) {
    return aux::Error(aux::ErrorData(QStringLiteral("libdownloadkey"), std::move(text), code));
}

bool wantsDownloadedDir(aux::Configuration& configuration) {
    return !configuration.getValue(aux::SettingsCode::DownloadedDirDisabled).toBool() &&
           configuration.getValue(aux::SettingsCode::DownloadedDirEnabled).toBool();
}

// If the directory cannot be created, the host's log says so, and the key is still opened. mkdir()
// resolves a relative path below `dir` itself, so such a directory can be used but not created.
QDir makeDownloadedDir(const QString& path) {
    QDir dir(path);
    if (!dir.exists() && !dir.mkdir(path)) {
        const aux::Error error = makeDownloadKeyError(
            QStringLiteral("Could not create directory path on USB Stick: ") + path,
            downloadedDirErrorCode);
        qCDebug(diagnostics) << "open" << error;
        static_cast<void>(logging::Logger::log(error, errorLevel));
    }
    return dir;
}

// A listed name and its time, read once.
struct TimedName {
    QString name;
    QDateTime time;
};

bool compareByFileNameTime(const TimedName& a, const TimedName& b) {
    return b.time < a.time;
}

// Names of equal times keep the order of the listing.
QStringList newestFirst(std::vector<TimedName> names) {
    std::stable_sort(names.begin(), names.end(), compareByFileNameTime);
    QStringList sorted;
    sorted.reserve(static_cast<int>(names.size()));
    for (const TimedName& entry : names)
        sorted.append(entry.name);
    return sorted;
}

// isDir() comes first: Qt then looks the file up once and caches the answers. If exists() came
// first, it would need a lookup of its own.
bool isPresent(const QFileInfo& file) {
    return !file.isDir() && file.exists();
}

bool isUsable(const QFileInfo& file) {
    return isPresent(file) && file.size() >= smallestUsableFile;
}

QDateTime downloadTime(const QString& name) {
    QDateTime time;
    getModificationTimeFromFileName(name, time);
    return time;
}

DownloadKey::CardType cardTypeOf(const scard::SCardGeneric& card) {
    return static_cast<DownloadKey::CardType>(card.getCardType());
}

template <typename FirstGeneration, typename SecondGeneration>
std::shared_ptr<scard::SCardGeneric> makeForGeneration(const scard::SCardGeneric& card) {
    if (card.is2ndGeneneration())
        return std::make_shared<SecondGeneration>(card);
    return std::make_shared<FirstGeneration>(card);
}

// One read(). The lists are copies, but the directory and the flag are the key's own: a slot may
// close or open a key meanwhile.
struct ReadRun {
    // Handles all files, or those up to the one at which the key is closed.
    void work();
    bool hasFailed(aux::Error error, const QString& text, const QString& name);
    void emitProgress() { Q_EMIT key.progress(static_cast<int>(filesDone * 100 / filesInAll)); }

    DownloadKey& key;
    const QDir& downloadDir;
    const bool& mounted;
    const QStringList driverFiles;
    const QStringList vehicleFiles;
    qint64 filesDone = 0;
    qint64 filesInAll = 0;
    std::vector<std::shared_ptr<scard::SCardGeneric>> driverCards = {};
    std::vector<std::shared_ptr<VehicleInfo>> vehicleInfos = {};
    std::vector<aux::Error> errors = {}; // the host only learns whether there are any
};

// Keeps what the card library reported, followed by the library's own entry.
bool ReadRun::hasFailed(aux::Error error, const QString& text, const QString& name) {
    if (error.isEmpty())
        return false;
    errors.push_back(error << makeDownloadKeyError(text + name));
    qCDebug(diagnostics) << qPrintable(text + QLatin1Char(' ')) << name;
    return true;
}

// Creates the specialised `card`, which outlives the open file even if a step fails. False in that
// case, and for a card of another kind.
bool parseDriverCard(ReadRun& run, scard::SCardGeneric& generic,
                     std::shared_ptr<scard::SCardGeneric>& card, const QString& name) {
    if (run.hasFailed(generic.readCardInfo(),
                      QStringLiteral("read: Failed reading ddd file information:"), name))
        return false;
    if (cardTypeOf(generic) != DownloadKey::CardType::DriverCard) {
        qCDebug(diagnostics) << "File is not a driver card file, skip: " << name;
        return false;
    }
    card = run.key.generateSpecific(generic);
    return !run.hasFailed(card->calcDataSize(), QStringLiteral("read: Failed calc ddd data size:"),
                          name) &&
           !run.hasFailed(card->readData(), QStringLiteral("read: Failed reading ddd data:"), name);
}

void readDriverFile(ReadRun& run, const QString& path, const QString& name) {
    QFile file(path);
    file.open(QIODevice::ReadOnly); // if it cannot be opened, the parser says so
    qCDebug(diagnostics) << "read(): Load to RAM:" << name;
    scard::SCardGeneric generic(file, downloadTime(name).toTimeSpec(Qt::UTC),
                                scard::FilenameRegion{});
    std::shared_ptr<scard::SCardGeneric> card;
    const bool isParsed = parseDriverCard(run, generic, card, name);
    file.close();
    if (isParsed) {
        run.driverCards.push_back(std::move(card));
        run.emitProgress();
    }
}

void readVehicleFile(ReadRun& run, const QString& path, const QString& name) {
    QFile file(path);
    file.open(QIODevice::ReadOnly); // if it cannot be opened, the parser says so
    qCDebug(diagnostics) << "read(): Load to RAM:" << name;
    VehicleInfo vehicleInfo(file);
    aux::Error error = vehicleInfo.read();
    file.close();
    if (!error.isEmpty()) {
        run.errors.push_back(error << makeDownloadKeyError(
                                 QStringLiteral("read: Failed reading vehicle info file:") + name));
        return;
    }
    run.vehicleInfos.push_back(std::make_shared<VehicleInfo>(vehicleInfo));
    run.emitProgress();
}

void offer(ReadRun& run, const QString& path, const QString& name) {
    Q_EMIT run.key.downloadFile(path, downloadTime(name));
    run.emitProgress();
}

void ReadRun::work() {
    const struct {
        QStringList names;
        bool (*isReady)(const QFileInfo& file);
        const char* notReady;
        void (*handle)(ReadRun& run, const QString& path, const QString& name);
    } phases[] = {
        {driverFiles.mid(0, parsedFilesOfEachKind), isUsable,
         "read: Driver file does not exist or is too small: ", readDriverFile},
        {vehicleFiles.mid(0, parsedFilesOfEachKind), isUsable,
         "read: Vehicle file does not exist or is too small: ", readVehicleFile},
        {driverFiles, isPresent, "download: Driver file does not exist:", offer},
        {vehicleFiles, isUsable, "download: Vehicle file does not exist:", offer},
    };

    for (const auto& phase : phases)
        filesInAll += phase.names.size();
    for (const auto& phase : phases) {
        for (const QString& name : phase.names) {
            QCoreApplication::processEvents(QEventLoop::AllEvents);
            ++filesDone;
            const QString path = downloadDir.path() + QLatin1Char('/') + name;
            if (phase.isReady(QFileInfo(path)))
                phase.handle(*this, path, name);
            else
                errors.push_back(makeDownloadKeyError(QLatin1String(phase.notReady) + path));
            if (!mounted)
                return;
        }
    }
}

} // namespace

DownloadKey::DownloadKey(aux::Configuration& configuration)
    : m_configuration(configuration)
    , m_mountDir(QString())
    , m_downloadDir(QString())
    , m_downloadedDir(QString())
    , m_mounted(false) {}

DownloadKey::~DownloadKey() = default;

aux::Error DownloadKey::init() {
    qCDebug(diagnostics) << "Downloadkey init";
    return aux::Error();
}

aux::Error DownloadKey::uninit() {
    qCDebug(diagnostics) << "Downloadkey uninit";
    return aux::Error();
}

aux::Error DownloadKey::open(QDir& dir) {
    qCDebug(diagnostics) << "Downloadkey open";
    m_mountDir = dir;

    const QString mountPath = dir.path();
    QDir downloadDir(mountPath + QStringLiteral("/download"));
    if (!downloadDir.exists())
        downloadDir.setPath(mountPath + QStringLiteral("/DOWNLOAD"));
    if (!downloadDir.exists()) {
        return makeDownloadKeyError(QStringLiteral("open: Download directory does not exist: ") +
                                    mountPath + QStringLiteral("/download"));
    }
    m_downloadDir = downloadDir;
    if (wantsDownloadedDir(m_configuration))
        m_downloadedDir = makeDownloadedDir(mountPath + QStringLiteral("/downloaded"));

    downloadDir.setNameFilters(downloadFileFilters());
    downloadDir.setFilter(QDir::Files | QDir::NoSymLinks | QDir::Readable | QDir::NoDotAndDotDot);
    const QStringList names = downloadDir.entryList();
    std::vector<TimedName> drivers;
    std::vector<TimedName> vehicles;
    for (const QString& name : names) {
        const FileName fileName(name);
        QDateTime time;
        if (!fileName.isValid() || !fileName.readTime(time))
            qCDebug(diagnostics) << "DownloadKey::open() skip:" << name;
        else if (fileName.isDriver())
            drivers.push_back({name, time});
        else if (fileName.isVehicle())
            vehicles.push_back({name, time});
    }

    m_driverFiles = newestFirst(std::move(drivers));
    m_vehicleFiles = newestFirst(std::move(vehicles));
    m_mounted = true;
    return aux::Error();
}

aux::Error DownloadKey::read() {
    ReadRun run{*this, m_downloadDir, m_mounted, m_driverFiles, m_vehicleFiles};
    if (!m_downloadDir.exists())
        return makeDownloadKeyError(QStringLiteral("No DownloadKey mounted"));

    Q_EMIT progress(0);
    if (m_mounted)
        run.work();

    static_cast<void>(aux::SystemHelper::remountReadOnly(m_mountDir.path()));
    if (!run.errors.empty())
        return makeDownloadKeyError(QStringLiteral("DownloadKey: Error occured during download."));
    Q_EMIT readDone(std::move(run.driverCards), std::move(run.vehicleInfos), false);
    return aux::Error();
}

aux::Error DownloadKey::close() {
    qCDebug(diagnostics) << "Downloadkey close";
    m_mounted = false;
    m_driverFiles = QStringList();
    m_vehicleFiles = QStringList();
    return aux::Error();
}

QString DownloadKey::getDownloadedDir() {
    if (!m_mounted || !m_downloadDir.exists())
        return QString();
    return m_downloadedDir.absolutePath();
}

std::shared_ptr<scard::SCardGeneric>
DownloadKey::generateSpecific(const scard::SCardGeneric& card) {
    switch (cardTypeOf(card)) {
    case CardType::DriverCard:
        return makeForGeneration<scard::SCardDriverG1, scard::SCardDriverG2>(card);
    case CardType::WorkshopCard:
        return makeForGeneration<scard::SCardWorkshopG1, scard::SCardWorkshopG2>(card);
    case CardType::CompanyCard:
        return makeForGeneration<scard::SCardCompanyG1, scard::SCardCompanyG2>(card);
    }
    return std::make_shared<scard::SCardGeneric>(card); // any other number
}

} // namespace downloadkey
