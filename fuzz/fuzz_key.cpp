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

#include <set>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
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
        const QByteArray bytes = fuzzing::bytesOf(data, count);
        data += count;
        size -= count;
        return bytes;
    }
    unsigned int number() {
        const QByteArray byte = take(1);
        return byte.isEmpty() ? 0 : static_cast<unsigned char>(byte.at(0));
    }
};

const QByteArray& root() {
    static const QTemporaryDir dir;
    static const QByteArray path = QFile::encodeName(dir.path());
    return path;
}

void emptyDirectory(const QByteArray& path) {
    DIR* dir = ::opendir(path.constData());
    while (const dirent* entry = dir ? ::readdir(dir) : nullptr)
        ::unlink((path + '/' + entry->d_name).constData());
    if (dir)
        ::closedir(dir);
    ::rmdir(path.constData());
}

// Returns how many files a correct open() lists.
std::size_t writeFiles(const QByteArray& dir, Input& input) {
    std::set<QByteArray> listed;
    ::mkdir(dir.constData(), 0700);
    while (input.size > 0) {
        QByteArray name = input.take(input.number());
        const unsigned int high = input.number();
        const QByteArray contents = input.take(high << 8 | input.number());
        name.replace('/', '_').replace('\0', '_');
        const int file = ::open((dir + '/' + name).constData(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        if (file < 0) // a name that no file can have
            continue;
        require(::write(file, contents.constData(), static_cast<size_t>(contents.size())) ==
                    contents.size(),
                "room for the key");
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

struct Run {
    int signalsLeft = 0; // until a slot acts
    unsigned int act = 0;
    bool acted = false;
    int lastProgress = 0;
    std::size_t offered = 0;
    int done = 0;
};

void slotCalled(DownloadKey& key, Run& run) {
    if (run.acted || --run.signalsLeft != 0)
        return;
    run.acted = true;
    QDir mount(QString::fromLocal8Bit(root()));
    if (run.act % 4 == 1)
        key.close();
    else if (run.act % 4 == 2)
        key.open(mount);
    else if (run.act % 4 == 3)
        key.read();
}

void checkRead(DownloadKey& key, Run& run, std::size_t listed) {
    const aux::Error error = key.read();
    if (run.acted)
        return;
    require(run.done == (error.isEmpty() ? 1 : 0) && remounts == 1,
            "one readDone or an error, one remount");
    require(error.isEmpty() ? run.offered == listed : run.offered <= listed,
            "no file is lost without a word");
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
    Run run;
    run.signalsLeft = static_cast<int>(input.number());
    run.act = input.number();
    QLoggingCategory::defaultCategory()->setEnabled(QtDebugMsg, (flags & 1) != 0);
    aux::Configuration configuration;
    configuration.setValue(aux::SettingsCode::DownloadedDirDisabled, (flags & 2) != 0);
    configuration.setValue(aux::SettingsCode::DownloadedDirEnabled, (flags & 4) != 0);
    const QByteArray dir = root() + ((flags & 8) != 0 ? "/DOWNLOAD" : "/download");
    const std::size_t listed = writeFiles(dir, input);
    remounts = 0;

    DownloadKey key(configuration);
    QObject::connect(&key, &DownloadKey::progress, [&](int percent) {
        require(percent >= 0 && percent <= 100, "percent");
        require(run.acted || percent >= run.lastProgress, "progress goes on");
        run.lastProgress = percent;
        slotCalled(key, run);
    });
    QObject::connect(
        &key, &DownloadKey::downloadFile, [&](const QString& path, const QDateTime& time) {
            require(time.isValid() && path.startsWith(QFile::decodeName(dir) + QLatin1Char('/')),
                    "offered file");
            ++run.offered;
            slotCalled(key, run);
        });
    QObject::connect(&key, &DownloadKey::readDone, [&] {
        ++run.done;
        slotCalled(key, run);
    });
    QDir mount(QFile::decodeName(root()));
    require(key.open(mount).isEmpty(), "the key opens");
    checkRead(key, run, listed);
    key.close();
    emptyDirectory(dir);
    emptyDirectory(root() + "/downloaded");
    return 0;
}
