// A whole key through open() and read(). The input is a byte of flags (2 and 4: the settings; 8:
// the directory is DOWNLOAD), the number of the signal at which the host acts, and what it does
// then (1 closes, 2 opens, 3 reads). Files follow, each a byte of name length, the name, two bytes
// of size and the contents. The keys lie in $TMPDIR.
#include "downloadkey/downloadkey.h"
#include "downloadkey/filenames.h"
#include "fuzz/fuzzing.h"

#include "auxiliary/configuration.h"
#include "auxiliary/systemhelper.h"

#include <QtCore/QDataStream>
#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>

#include <filesystem>

#include <fcntl.h>
#include <unistd.h>

using downloadkey::DownloadKey;
using fuzzing::require;

namespace {

QByteArray take(QDataStream& input, int count) {
    QByteArray bytes(count, '\0');
    bytes.truncate(qMax(0, input.readRawData(bytes.data(), count)));
    return bytes;
}

unsigned int number(QDataStream& input) {
    quint8 byte = 0; // stays 0 when the input has ended
    input >> byte;
    return byte;
}

// Contents by name. A file system may refuse some of the names.
QMap<QByteArray, QByteArray> takeFiles(QDataStream& input) {
    QMap<QByteArray, QByteArray> files;
    while (!input.atEnd()) {
        QByteArray name = take(input, int(number(input)));
        const unsigned int high = number(input);
        const QByteArray contents = take(input, int(high << 8 | number(input)));
        name.replace('/', '_').replace('\0', '_');
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
        const QByteArray path = QFile::encodeName(directory) + '/' + file.key();
        const int opened = ::open(path.constData(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        if (opened < 0) // a name that no file can have
            continue;
        const auto written = ::write(opened, file->constData(), size_t(file->size()));
        require(written == file->size(), "the key can be written");
        ::close(opened);
        // Qt's listing leaves out what is hidden and what is no UTF-8.
        const QString name = QFile::decodeName(file.key());
        if (!file.key().startsWith('.') && QFile::encodeName(name) == file.key())
            listed += isDownload(name) ? 1 : 0;
    }
    return listed;
}

// Qt would leave the names that are no UTF-8.
void clear(const QString& directory) {
    for (const auto& entry : std::filesystem::directory_iterator(directory.toStdString()))
        std::filesystem::remove_all(entry);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzzing::setDebugLines(fuzzing::isOneOf(32, data, size));
    QDataStream input(fuzzing::bytesOf(data, size));
    const unsigned int flags = number(input);
    int signalsLeft = static_cast<int>(number(input)); // until a slot acts
    const unsigned int act = number(input);
    aux::Configuration configuration;
    configuration.setValue(aux::SettingsCode::DownloadedDirDisabled, (flags & 2) != 0);
    configuration.setValue(aux::SettingsCode::DownloadedDirEnabled, (flags & 4) != 0);
    static const QTemporaryDir root;
    QDir mount(root.path());
    const QString directory =
        mount.filePath((flags & 8) != 0 ? QStringLiteral("DOWNLOAD") : QStringLiteral("download"));
    const std::size_t listed = writeFiles(directory, takeFiles(input));

    int remounts = 0;
    aux::SystemHelper::setRemountHandler([&](const QString&) { return ++remounts > 0; });
    DownloadKey key(configuration);
    bool acted = false;
    std::size_t offered = 0;
    int done = 0;
    const auto slotCalled = [&] {
        if (acted || act % 4 == 0 || --signalsLeft != 0)
            return;
        acted = true;
        if (act % 4 == 1)
            key.close();
        else if (act % 4 == 2)
            key.open(mount);
        else if (act % 4 == 3)
            key.read();
    };
    QObject::connect(&key, &DownloadKey::progress, [&](int percent) {
        require(percent >= 0 && percent <= 100, "percent");
        slotCalled();
    });
    const auto offer = [&](const QString& path, const QDateTime& time) {
        require(time.isValid() && path.startsWith(directory + QLatin1Char('/')), "offered file");
        ++offered;
        slotCalled();
    };
    QObject::connect(&key, &DownloadKey::downloadFile, offer);
    QObject::connect(&key, &DownloadKey::readDone, [&] {
        ++done;
        slotCalled();
    });
    require(key.open(mount).isEmpty(), "the key opens");
    remounts = 0;
    const bool isRead = key.read().isEmpty();
    require(acted || (done == (isRead ? 1 : 0) && remounts == 1),
            "one readDone or an error, one remount");
    require(acted || (isRead ? offered == listed : offered <= listed),
            "no file is lost without a word");
    key.close();
    clear(root.path());
    return 0;
}
