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
#include <limits>
#include <utility>

namespace downloadkey {

namespace {

constexpr auto errorLevel = static_cast<logging::Level>(2);

aux::Error makeDownloadKeyError(QString&& text) {
    return aux::Error(aux::ErrorData(QStringLiteral("libdownloadkey"), std::move(text), 0));
}

// A listed name and the time that it carries, read once.
struct TimedName {
    QString name;
    QDateTime time;
};

bool compareByFileNameTime(const TimedName& a, const TimedName& b) {
    return b.time < a.time;
}

// Stable, because times need not be in one order: where a zone's clocks were set back, a QDateTime
// compares with some times by its local time and with others by its instant.
QStringList newestFirst(std::vector<TimedName> names) {
    std::stable_sort(names.begin(), names.end(), compareByFileNameTime);
    QStringList sorted;
    sorted.reserve(static_cast<int>(names.size()));
    for (const TimedName& entry : names)
        sorted.append(entry.name);
    return sorted;
}

// isDir() comes first: it has the file looked up, which answers the other questions too; exists()
// would look for itself.
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

CardType cardTypeOf(const scard::SCardGeneric& card) {
    return static_cast<CardType>(card.getCardType());
}

template <typename FirstGeneration, typename SecondGeneration>
std::shared_ptr<scard::SCardGeneric> ofItsGeneration(const scard::SCardGeneric& card) {
    if (card.is2ndGeneneration())
        return std::make_shared<SecondGeneration>(card);
    return std::make_shared<FirstGeneration>(card);
}

} // namespace

// The state of one read(). The lists are copies: a slot may close or open a key meanwhile.
struct DownloadKey::ReadRun {
    ReadRun(const QStringList& drivers, const QStringList& vehicles)
        : driverFiles(drivers)
        , vehicleFiles(vehicles)
        , total(qint64(drivers.size()) + vehicles.size() +
                qMin(drivers.size(), parsedFilesOfEachKind) +
                qMin(vehicles.size(), parsedFilesOfEachKind)) {}

    // Only asked for inside a step, so the total is not 0.
    int percent() const { return static_cast<int>(step * 100 / total); }

    void fail(QString&& text) { errors.push_back(makeDownloadKeyError(std::move(text))); }

    // Keeps what a component reported, with the library's own entry behind it.
    void fail(aux::Error&& error, QString&& text) {
        errors.push_back(error << makeDownloadKeyError(std::move(text)));
    }

    const QStringList driverFiles;
    const QStringList vehicleFiles;
    const qint64 total;
    qint64 step = 0;
    std::vector<std::shared_ptr<scard::SCardGeneric>> driverCards;
    std::vector<std::shared_ptr<VehicleInfo>> vehicleInfos;
    std::vector<aux::Error> errors;
};

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
    prepareDownloadedDir(mountPath);

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

// Makes the key's "/downloaded" directory where the configuration asks for it. The host needs to
// know where that cannot be done, but can read the key all the same. QDir resolves the path against
// the directory itself, so a relative one can be used but not made.
void DownloadKey::prepareDownloadedDir(const QString& mountPath) {
    if (m_configuration.getValue(aux::SettingsCode::DownloadedDirDisabled).toBool() ||
        !m_configuration.getValue(aux::SettingsCode::DownloadedDirEnabled).toBool())
        return;

    const QString path = mountPath + QStringLiteral("/downloaded");
    const QDir downloadedDir(path);
    if (!downloadedDir.exists() && !downloadedDir.mkdir(path)) {
        const aux::Error error(
            aux::ErrorData(QStringLiteral("libdownloadkey"),
                           QStringLiteral("Could not create directory path on USB Stick: ") + path,
                           downloadedDirErrorCode));
        qCDebug(diagnostics) << "open" << error;
        logging::Logger::log(error, errorLevel);
    }
    m_downloadedDir = downloadedDir;
}

aux::Error DownloadKey::read() {
    ReadRun run(m_driverFiles, m_vehicleFiles);
    if (!m_downloadDir.exists())
        return makeDownloadKeyError(QStringLiteral("No DownloadKey mounted"));

    Q_EMIT progress(0);
    if (m_mounted)
        readAllFiles(run);

    aux::SystemHelper::remountReadOnly(m_mountDir.path());
    if (!run.errors.empty()) {
        return makeDownloadKeyError(QStringLiteral("DownloadKey: Error occured during download."));
    }
    Q_EMIT readDone(std::move(run.driverCards), std::move(run.vehicleInfos), false);
    return aux::Error();
}

// The four phases of a read; a close() from a slot ends them at the next file.
void DownloadKey::readAllFiles(ReadRun& run) {
    const auto readDriver = [&](const QString& path, const QString& name) {
        readDriverFile(run, path, name);
    };
    const auto readVehicle = [&](const QString& path, const QString& name) {
        readVehicleFile(run, path, name);
    };
    const auto handOverDriver = [&](const QString& path, const QString& name) {
        if (isPresent(QFileInfo(path)))
            handOver(run, path, name);
        else
            run.fail(QStringLiteral("download: Driver file does not exist:") + path);
    };
    const auto handOverVehicle = [&](const QString& path, const QString& name) {
        if (isUsable(QFileInfo(path)))
            handOver(run, path, name);
        else
            run.fail(QStringLiteral("download: Vehicle file does not exist:") + path);
    };

    constexpr int all = std::numeric_limits<int>::max();
    static_cast<void>(forEachFile(run, run.driverFiles, parsedFilesOfEachKind, readDriver) &&
                      forEachFile(run, run.vehicleFiles, parsedFilesOfEachKind, readVehicle) &&
                      forEachFile(run, run.driverFiles, all, handOverDriver) &&
                      forEachFile(run, run.vehicleFiles, all, handOverVehicle));
}

// Works on the first `limit` names, with the event loop run once before each. False when the key
// was closed meanwhile.
template <typename Work>
bool DownloadKey::forEachFile(ReadRun& run, const QStringList& names, int limit, Work work) {
    const int count = qMin(names.size(), limit);
    for (int i = 0; i < count; ++i) {
        QCoreApplication::processEvents(QEventLoop::AllEvents);
        ++run.step;
        const QString& name = names.at(i);
        work(m_downloadDir.path() + QLatin1Char('/') + name, name);
        if (!m_mounted)
            return false;
    }
    return true;
}

void DownloadKey::readDriverFile(ReadRun& run, const QString& path, const QString& name) {
    if (!isUsable(QFileInfo(path))) {
        run.fail(QStringLiteral("read: Driver file does not exist or is too small: ") + path);
        return;
    }
    QFile file(path);
    file.open(QIODevice::ReadOnly); // where it cannot be opened, the parser says so
    qCDebug(diagnostics) << "read(): Load to RAM:" << name;

    const auto failed = [&](aux::Error&& error, const char* text, const char* debugText) {
        if (error.isEmpty())
            return false;
        run.fail(std::move(error), QLatin1String(text) + name);
        qCDebug(diagnostics) << debugText << name;
        file.close();
        return true;
    };
    scard::SCardGeneric generic(file, downloadTime(name).toTimeSpec(Qt::UTC),
                                scard::FilenameRegion{});
    if (failed(generic.readCardInfo(), "read: Failed reading ddd file information:",
               "read: Failed reading ddd file information: "))
        return;
    if (cardTypeOf(generic) != CardType::DriverCard) {
        qCDebug(diagnostics) << "File is not a driver card file, skip: " << name;
        file.close();
        return;
    }
    const std::shared_ptr<scard::SCardGeneric> card = generateSpecific(generic);
    if (failed(card->calcDataSize(),
               "read: Failed calc ddd data size:", "read: Failed calc ddd data size: ") ||
        failed(card->readData(),
               "read: Failed reading ddd data:", "read: Failed reading ddd data: "))
        return;

    file.close();
    run.driverCards.push_back(card);
    Q_EMIT progress(run.percent());
}

void DownloadKey::readVehicleFile(ReadRun& run, const QString& path, const QString& name) {
    if (!isUsable(QFileInfo(path))) {
        run.fail(QStringLiteral("read: Vehicle file does not exist or is too small: ") + path);
        return;
    }
    QFile file(path);
    file.open(QIODevice::ReadOnly); // where it cannot be opened, the parser says so
    qCDebug(diagnostics) << "read(): Load to RAM:" << name;

    VehicleInfo vehicleInfo(file);
    aux::Error error = vehicleInfo.read();
    if (!error.isEmpty()) {
        run.fail(std::move(error),
                 QStringLiteral("read: Failed reading vehicle info file:") + name);
        file.close();
        return;
    }
    file.close();
    run.vehicleInfos.push_back(std::make_shared<VehicleInfo>(vehicleInfo));
    Q_EMIT progress(run.percent());
}

void DownloadKey::handOver(ReadRun& run, const QString& path, const QString& name) {
    Q_EMIT downloadFile(path, downloadTime(name));
    Q_EMIT progress(run.percent());
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
        return ofItsGeneration<scard::SCardDriverG1, scard::SCardDriverG2>(card);
    case CardType::WorkshopCard:
        return ofItsGeneration<scard::SCardWorkshopG1, scard::SCardWorkshopG2>(card);
    case CardType::CompanyCard:
        return ofItsGeneration<scard::SCardCompanyG1, scard::SCardCompanyG2>(card);
    }
    return std::make_shared<scard::SCardGeneric>(card); // any other number
}

} // namespace downloadkey
