#include "session.h"

#include "console.h"
#include "remount.h"

#include "downloadkey/filenames.h"

#include "auxiliary/systemhelper.h"
#include "logging/logger.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QSet>

#include <cerrno>

#include <sys/stat.h>
#include <unistd.h>

namespace readkey {

Session::Session(const Options& options, StandardOutput& out)
    : m_options(options)
    , m_key(m_configuration)
    , m_output(makeOutput(options.format, out))
    , m_showsProgress(options.format != Format::JsonLines || !StandardOutput::isTerminal()) {
    setUpHost();
    connectSignals();
}

Session::~Session() {
    aux::SystemHelper::setRemountHandler({});
    logging::Logger::setSink({});
}

int Session::run() {
    m_key.init();
    if (openKey())
        readKey();
    m_key.close();
    m_key.uninit();
    return m_failed ? ExitFailure : ExitSuccess;
}

// What a host provides besides the calls: its settings, its log, and the remounting.
void Session::setUpHost() {
    m_configuration.setValue(aux::SettingsCode::DownloadedDirDisabled, false);
    m_configuration.setValue(aux::SettingsCode::DownloadedDirEnabled, m_options.makeDownloadedDir);

    logging::Logger::setSink([this](const aux::Error& error, logging::Level level) {
        if (level == logging::Level::Error)
            fail(errorText(error));
        else
            console::line(errorText(error));
    });
    if (m_options.remount) {
        aux::SystemHelper::setRemountHandler([this](const QString& mountDir) {
            const QString reason = remountReadOnly(mountDir);
            if (!reason.isEmpty())
                fail(mountDir + QStringLiteral(": not remounted: ") + reason);
            return reason.isEmpty();
        });
    }
}

void Session::connectSignals() {
    using downloadkey::DownloadKey;
    // The key is a member, so nothing is emitted once this object is gone.
    QObject::connect(&m_key, &DownloadKey::progress, &m_key, [this](int percent) {
        console::showProgress(percent, m_showsProgress);
        m_output->progress(percent);
        if (console::isInterrupted())
            m_key.close(); // ends the read() at the next file
    });
    QObject::connect(&m_key, &DownloadKey::downloadFile, &m_key,
                     [this](const QString& path, const QDateTime& time) { takeFile(path, time); });
    QObject::connect(&m_key, &DownloadKey::readDone, &m_key,
                     [this](const Output::DriverCards& cards, const Output::VehicleInfos& vehicles,
                            bool parsingError) {
                         m_contents.cards = cards;
                         takeVehicles(vehicles);
                         m_output->readDone(cards, vehicles, parsingError);
                     });
}

bool Session::openKey() {
    QDir mountDir(m_options.mountDir);
    const aux::Error error = m_key.open(mountDir);
    m_output->openReturned(error);
    if (!error.isEmpty()) {
        fail(reasonNotOpened(error));
        return false;
    }
    m_downloadDir = mountDir.path() + QStringLiteral("/download");
    if (!QDir(m_downloadDir).exists())
        m_downloadDir = mountDir.path() + QStringLiteral("/DOWNLOAD");
    m_files = listKeyFiles(m_downloadDir);
    if (m_files.error == 0 && ::access(QFile::encodeName(m_downloadDir).constData(), X_OK) != 0)
        m_files.error = errno;
    if (m_files.error != 0) {
        fail(m_downloadDir + QStringLiteral(": cannot be read: ") + qt_error_string(m_files.error));
        m_contents.complete = false;
    }
    m_contents.others = m_files.others;
    // The library passes over these without a word.
    for (const QString& name : m_files.unreadable)
        fail(name + QStringLiteral(": cannot be read: Permission denied"));
    for (const QString& name : m_files.misnamed)
        fail(name + QStringLiteral(": cannot be read: its name is not valid UTF-8"));
    if (!m_files.unreadable.isEmpty() || !m_files.misnamed.isEmpty())
        m_contents.complete = false;
    return true;
}

void Session::readKey() {
    if (!m_options.copyTo.isEmpty()) {
        m_copier = std::make_unique<FileCopier>(m_options.copyTo);
        if (!m_copier->open()) {
            fail(QStringLiteral("nothing can be copied to %1: %2")
                     .arg(m_options.copyTo, m_copier->error()));
            m_copier.reset();
        }
    }
    const aux::Error error = m_key.read();
    console::removeProgress();
    m_output->readReturned(error);
    if (console::isInterrupted()) {
        fail(QStringLiteral("interrupted, the key was not read completely"));
        return;
    }
    if (error.isEmpty())
        missFiles();
    else
        lookAgain(error);
    m_output->contents(m_contents);
}

// A disk that fails while the library lists the key makes the library's list shorter, no more.
void Session::missFiles() {
    QSet<QString> offered;
    for (const OfferedFile& file : m_contents.offered)
        offered.insert(file.file.name);
    for (const auto* files : {&m_files.cards, &m_files.vehicles}) {
        for (const KeyFile& file : *files) {
            if (offered.contains(file.name))
                continue;
            fail(file.name + QStringLiteral(": was not read, a listing of the key left it out"));
            m_contents.complete = false;
        }
    }
}

// The library dropped what it had parsed, and with it the reason of each failure.
void Session::lookAgain(const aux::Error& readError) {
    m_contents.complete = false;
    if (!QDir(m_downloadDir).exists()) {
        fail(errorText(readError) + QStringLiteral(" (the download directory has gone)"));
        return;
    }
    const std::vector<FileFailure> failures = examine(m_key, m_downloadDir, m_files, m_contents);
    for (const FileFailure& failure : failures)
        fail(failure.name + QStringLiteral(": ") + failure.reason);
    if (failures.empty())
        fail(QStringLiteral("a file failed that can be read now: the key's contents changed"));
    fail(errorText(readError));
}

void Session::takeFile(const QString& path, const QDateTime& time) {
    m_output->downloadFile(path, time);
    OfferedFile offered;
    offered.file = {path.mid(path.lastIndexOf(QLatin1Char('/')) + 1), time};
    offered.isCard = isDriverFileName(offered.file.name);
    if (!m_options.copyTo.isEmpty())
        offered.copy = copyFile(path, time);
    m_contents.offered.push_back(offered);
}

OfferedFile::Copy Session::copyFile(const QString& path, const QDateTime& time) {
    if (!m_copier)
        return OfferedFile::Failed;
    switch (m_copier->copy(path, time)) {
    case FileCopier::Copied:
        return OfferedFile::Copied;
    case FileCopier::Kept:
        return OfferedFile::Kept;
    case FileCopier::Failed:
        break;
    }
    fail(QStringLiteral("%1: not copied to %2: %3").arg(path, m_options.copyTo, m_copier->error()));
    return OfferedFile::Failed;
}

// A VehicleInfo does not know its file. Where no file failed, both the parsed files and the offered
// ones come in the order of the library's list, and the parsed ones are its beginning.
void Session::takeVehicles(const Output::VehicleInfos& vehicles) {
    auto offered = m_contents.offered.cbegin();
    for (const auto& vehicle : vehicles) {
        while (offered != m_contents.offered.cend() && offered->isCard)
            ++offered;
        m_contents.vehicles.push_back({QString(), vehicle});
        if (offered != m_contents.offered.cend())
            m_contents.vehicles.back().name = (offered++)->file.name;
    }
}

QString Session::reasonNotOpened(const aux::Error& error) const {
    const QByteArray path = QFile::encodeName(m_options.mountDir);
    const QString named = m_options.mountDir + QStringLiteral(": ");
    struct stat status {};
    if (::stat(path.constData(), &status) != 0) {
        if (errno == ENOENT)
            return named + QStringLiteral("no such directory");
        return named + QStringLiteral("cannot be read: ") + qt_error_string(errno);
    }
    if (!S_ISDIR(status.st_mode))
        return named + QStringLiteral("not a directory");
    if (::access(path.constData(), X_OK) != 0)
        return named + QStringLiteral("cannot be read: ") + qt_error_string(errno);
    return errorText(error);
}

void Session::fail(const QString& text) {
    console::error(text);
    m_failed = true;
}

} // namespace readkey
