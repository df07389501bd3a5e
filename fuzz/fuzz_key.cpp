// A whole key through open() and read(). The input is three bytes of circumstances and then files,
// each a byte of name length, the name, two bytes of size and the contents. The key lies in
// $TMPDIR, which is best in memory.
#include "downloadkey/downloadkey.h"
#include "downloadkey/filenames.h"
#include "fuzz/fuzzing.h"

#include "auxiliary/configuration.h"
#include "auxiliary/systemhelper.h"
#include "logging/logger.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>
#include <QtCore/QLoggingCategory>
#include <QtCore/QTemporaryDir>
#include <QtCore/QTextCodec>

#include <filesystem>
#include <set>

#include <fcntl.h>
#include <unistd.h>

using downloadkey::DownloadKey;
using fuzzing::require;

namespace {

int remounts = 0;

// Reads the input from its front; what is missing at its end reads as nothing or zeros.
struct Input {
    const std::uint8_t* data;
    std::size_t size;

    QByteArray take(std::size_t count) {
        count = qMin(count, size);
        QByteArray bytes = fuzzing::bytesOf(data, count);
        data += count;
        size -= count;
        return bytes;
    }
    unsigned int number() {
        const QByteArray byte = take(1);
        return byte.isEmpty() ? 0 : static_cast<unsigned char>(byte.at(0));
    }
};

// Returns how many files a correct open() lists.
std::size_t writeFiles(const QByteArray& dir, Input& input) {
    std::set<QByteArray> listed;
    while (input.size > 0) {
        QByteArray name = input.take(input.number());
        const unsigned int high = input.number();
        const QByteArray contents = input.take(high << 8 | input.number());
        name.replace('/', '_').replace('\0', '_');
        const int file = ::open((dir + '/' + name).constData(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        if (file < 0) // a name that no file can have
            continue;
        const auto written = ::write(file, contents.constData(), size_t(contents.size()));
        require(written == contents.size(), "room for the key");
        ::close(file);
        const QString decoded = QFile::decodeName(name);
        QDateTime time;
        // Qt's listing leaves out what is no UTF-8.
        if (!name.startsWith('.') && QFile::encodeName(decoded) == name &&
            isValidFileName(decoded) && getModificationTimeFromFileName(decoded, time))
            listed.insert(name);
    }
    return listed.size();
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
    static QCoreApplication application(*argc, *argv);
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    logging::Logger::setSink([](const aux::Error&, logging::Level) {});
    aux::SystemHelper::setRemountHandler([](const QString&) { return ++remounts > 0; });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input{data, size};
    const unsigned int flags = input.number();
    int signalsLeft = static_cast<int>(input.number()); // until a slot acts
    const unsigned int act = input.number();
    QLoggingCategory::defaultCategory()->setEnabled(QtDebugMsg, (flags & 1) != 0);
    aux::Configuration configuration;
    configuration.setValue(aux::SettingsCode::DownloadedDirDisabled, (flags & 2) != 0);
    configuration.setValue(aux::SettingsCode::DownloadedDirEnabled, (flags & 4) != 0);
    static const QTemporaryDir root;
    QDir mount(root.path());
    const QDir dir(root.filePath(QLatin1String((flags & 8) != 0 ? "DOWNLOAD" : "download")));
    mount.mkdir(dir.dirName());
    const std::size_t listed = writeFiles(QFile::encodeName(dir.path()), input);

    DownloadKey key(configuration);
    bool acted = false;
    int lastProgress = 0;
    std::size_t offered = 0;
    int done = 0;
    const auto slotCalled = [&] {
        if (acted || --signalsLeft != 0)
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
        require(acted || percent >= lastProgress, "progress goes on");
        lastProgress = percent;
        slotCalled();
    });
    QObject::connect(&key, &DownloadKey::downloadFile,
                     [&](const QString& path, const QDateTime& time) {
                         require(time.isValid() && path.startsWith(dir.path() + QLatin1Char('/')),
                                 "offered file");
                         ++offered;
                         slotCalled();
                     });
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
    // Qt would leave the names that are no UTF-8.
    std::filesystem::remove_all(dir.path().toStdString());
    std::filesystem::remove_all(root.filePath(QStringLiteral("downloaded")).toStdString());
    return 0;
}
