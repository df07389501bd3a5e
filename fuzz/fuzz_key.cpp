// A whole key through open() and read(). The input is a byte of flags (2 and 4: the settings; 8:
// the directory is DOWNLOAD), the number of the signal at which the host acts, and what it does
// then (1 closes, 2 opens, 3 reads). Files follow, each a byte of name length, the name, two bytes
// of size and the contents. The keys are in $TMPDIR.
#include "downloadkey/downloadkey.h"
#include "downloadkey/filenames.h"
#include "fuzz/fuzzing.h"

#include "auxiliary/configuration.h"
#include "auxiliary/systemhelper.h"

#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>

using downloadkey::DownloadKey;
using fuzzing::require;

namespace {

// Contents by name. A file system may refuse some of the names.
QMap<QByteArray, QByteArray> takeFiles(fuzzing::Values& input) {
    QMap<QByteArray, QByteArray> files;
    while (!input.atEnd()) {
        const QByteArray name = fuzzing::asFileName(input.bytes(static_cast<int>(input.byte())));
        const unsigned int high = input.byte();
        const QByteArray contents = input.bytes(static_cast<int>(high << 8 | input.byte()));
        if (!name.isEmpty() && name != "." && name != "..")
            files.insert(name, contents);
    }
    return files;
}

bool isDownload(const QString& name) {
    QDateTime time;
    return isValidFileName(name) && getModificationTimeFromFileName(name, time);
}

// Writes what a file system takes of these files, and returns how many of them open() must list.
std::size_t writeFiles(const QString& directory, const QMap<QByteArray, QByteArray>& files) {
    QDir().mkpath(directory);
    std::size_t listed = 0;
    for (auto file = files.begin(); file != files.end(); ++file) {
        if (!fuzzing::writeFile(QFile::encodeName(directory) + '/' + file.key(), *file))
            continue;
        // Qt's listing leaves out what is hidden and what is not UTF-8.
        const QString name = QFile::decodeName(file.key());
        if (!file.key().startsWith('.') && QFile::encodeName(name) == file.key())
            listed += isDownload(name) ? 1 : 0;
    }
    return listed;
}

// A host that counts what it hears, and at one signal calls the library.
class Host {
public:
    Host(aux::Configuration& configuration, const QDir& mount, const QString& directory,
         fuzzing::Values& input)
        : m_key(configuration)
        , m_mount(mount)
        , m_signalsLeft(static_cast<int>(input.byte()))
        , m_act(input.byte() % 4) {
        QObject::connect(&m_key, &DownloadKey::progress, [this](int percent) {
            require(percent >= 0 && percent <= 100, "percent");
            act();
        });
        QObject::connect(&m_key, &DownloadKey::downloadFile,
                         [this, directory](const QString& path, const QDateTime& time) {
                             require(time.isValid() &&
                                         path.startsWith(directory + QLatin1Char('/')),
                                     "offered file");
                             ++m_offered;
                             act();
                         });
        QObject::connect(&m_key, &DownloadKey::readDone, [this] {
            ++m_done;
            act();
        });
        aux::SystemHelper::setRemountHandler([this](const QString&) { return ++m_remounts > 0; });
    }

    // The key has so many files that open() must list.
    void openAndRead(std::size_t listed) {
        require(m_key.open(m_mount).isEmpty(), "the key opens");
        m_remounts = 0;
        const bool isRead = m_key.read().isEmpty();
        require(m_hasActed || (m_done == (isRead ? 1 : 0) && m_remounts == 1),
                "one readDone or an error, one remount");
        require(m_hasActed || (isRead ? m_offered == listed : m_offered <= listed),
                "no file is silently lost");
        m_key.close();
    }

private:
    void act() {
        if (m_hasActed || m_act == 0 || --m_signalsLeft != 0)
            return;
        m_hasActed = true;
        if (m_act == 1)
            m_key.close();
        else if (m_act == 2)
            m_key.open(m_mount);
        else
            m_key.read();
    }

    DownloadKey m_key;
    QDir m_mount;
    int m_signalsLeft;
    unsigned int m_act;
    bool m_hasActed = false;
    std::size_t m_offered = 0;
    int m_done = 0;
    int m_remounts = 0;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzzing::setDebugLines(fuzzing::isOneOf(32, data, size));
    fuzzing::Values input(data, size);
    const unsigned int flags = input.byte();
    aux::Configuration configuration;
    configuration.setValue(aux::SettingsCode::DownloadedDirDisabled, (flags & 2) != 0);
    configuration.setValue(aux::SettingsCode::DownloadedDirEnabled, (flags & 4) != 0);
    static const QTemporaryDir root;
    const QDir mount(root.path());
    const QString directory =
        mount.filePath((flags & 8) != 0 ? QStringLiteral("DOWNLOAD") : QStringLiteral("download"));
    Host host(configuration, mount, directory, input);
    host.openAndRead(writeFiles(directory, takeFiles(input)));
    fuzzing::clear(root.path());
    return 0;
}
