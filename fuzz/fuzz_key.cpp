// A whole key through open() and read(). The input chooses the host's settings, the directory's
// name, the files, the signal at which the host acts, and what it does then. The keys are in
// $TMPDIR.
#include "downloadkey/downloadkey.h"
#include "downloadkey/filenames.h"
#include "fuzz/fuzzing.h"

#include "auxiliary/configuration.h"
#include "auxiliary/systemhelper.h"

#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>

#include <fuzzer/FuzzedDataProvider.h>

using downloadkey::DownloadKey;
using fuzzing::require;

namespace {

// Writes the files that the file system takes, and returns how many of them open() must list.
int writeFiles(FuzzedDataProvider& input, const QString& directory) {
    QDir().mkpath(directory);
    const auto text = [&input](std::size_t most) {
        return QByteArray::fromStdString(input.ConsumeRandomLengthString(most));
    };
    int listed = 0;
    while (input.remaining_bytes() > 0) {
        const QByteArray bytes = fuzzing::asFileName(text(255));
        const QByteArray contents = text(65535);
        if (!fuzzing::writeFile(QFile::encodeName(directory) + '/' + bytes, contents))
            continue;
        // Qt's listing leaves out what is hidden and what is not UTF-8.
        const QString name = QFile::decodeName(bytes);
        const bool isSeen = !bytes.startsWith('.') && QFile::encodeName(name) == bytes;
        QDateTime time;
        if (isSeen && isValidFileName(name) && getModificationTimeFromFileName(name, time))
            ++listed;
    }
    return listed;
}

// A host that counts what it hears, and at one signal calls the library.
struct Host {
    Host(FuzzedDataProvider& input, const QDir& mountDir)
        : mount(mountDir)
        , directory(mount.filePath(input.ConsumeBool() ? QStringLiteral("DOWNLOAD")
                                                       : QStringLiteral("download")))
        , signalsLeft(input.ConsumeIntegral<std::uint8_t>())
        , action(input.ConsumeIntegralInRange(0, 3)) {
        for (const auto code :
             {aux::SettingsCode::DownloadedDirDisabled, aux::SettingsCode::DownloadedDirEnabled})
            configuration.setValue(code, input.ConsumeBool());
        QObject::connect(&key, &DownloadKey::progress, [this](int percent) {
            require(percent >= 0 && percent <= 100, "percent");
            act();
        });
        QObject::connect(
            &key, &DownloadKey::downloadFile, [this](const QString& path, const QDateTime& time) {
                require(time.isValid() && path.startsWith(directory + QLatin1Char('/')),
                        "offered file");
                ++offered;
                act();
            });
        QObject::connect(&key, &DownloadKey::readDone, [this] {
            ++done;
            act();
        });
        aux::SystemHelper::setRemountHandler([this](const QString&) { return ++remounts > 0; });
    }

    void act() {
        if (hasActed || action == 0 || --signalsLeft != 0)
            return;
        hasActed = true;
        if (action == 1)
            key.close();
        else if (action == 2)
            key.open(mount);
        else
            key.read();
    }

    aux::Configuration configuration;
    DownloadKey key{configuration};
    QDir mount;
    QString directory;
    int signalsLeft;
    int action;
    bool hasActed = false;
    int offered = 0;
    int done = 0;
    int remounts = 0;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzzing::setDebugLines(size % 32 == 0); // they take long and find little
    static const QTemporaryDir root;
    FuzzedDataProvider input(data, size);
    Host host(input, root.path());
    const int listed = writeFiles(input, host.directory);

    require(host.key.open(host.mount).isEmpty(), "the key opens");
    host.remounts = 0;
    const bool isRead = host.key.read().isEmpty();
    require(host.hasActed || (host.done == (isRead ? 1 : 0) && host.remounts == 1),
            "one readDone or an error, one remount");
    require(host.hasActed || (isRead ? host.offered == listed : host.offered <= listed),
            "no file is silently lost");
    host.key.close();
    fuzzing::clear(root.path());
    return 0;
}
