// A whole key through open() and read(). The input is three bytes of circumstances and then files,
// each a byte of name length, the name, two bytes of size and the contents. Most keys lie in
// memory; those of real files lie in $TMPDIR.
#include "downloadkey/downloadkey.h"
#include "downloadkey/filenames.h"
#include "fuzz/fuzzing.h"
#include "fuzz/memorykey.h"

#include "auxiliary/configuration.h"
#include "auxiliary/systemhelper.h"
#include "logging/logger.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>
#include <QtCore/QTextCodec>

#include <filesystem>
#include <memory>

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

// By their names, which no file system need be able to hold.
QMap<QByteArray, QByteArray> takeFiles(Input& input) {
    QMap<QByteArray, QByteArray> files;
    while (input.size > 0) {
        QByteArray name = input.take(input.number());
        const unsigned int high = input.number();
        const QByteArray contents = input.take(high << 8 | input.number());
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

// A mounted key. `listed` files of it are what open() must find.
class Key {
public:
    Key(const QString& directory, const QMap<QByteArray, QByteArray>& files, bool isReal)
        : m_mount(isReal ? realRoot() : QStringLiteral(":/key"))
        , m_directory(m_mount.filePath(directory)) {
        isReal ? writeFiles(files) : keepFiles(directory, files);
    }
    // Qt would leave the names that are no UTF-8.
    ~Key() {
        if (m_inMemory)
            return;
        std::filesystem::remove_all(m_directory.toStdString());
        std::filesystem::remove_all(m_mount.filePath(QStringLiteral("downloaded")).toStdString());
    }
    Q_DISABLE_COPY(Key)

    QDir& mount() { return m_mount; }
    const QString& directory() const { return m_directory; }
    std::size_t listed() const { return m_listed; }

private:
    static QString realRoot() {
        static const QTemporaryDir root;
        return root.path();
    }
    void keepFiles(const QString& directory, const QMap<QByteArray, QByteArray>& files) {
        QMap<QString, QByteArray> kept;
        for (auto file = files.begin(); file != files.end(); ++file)
            kept.insert(QString::fromUtf8(file.key()), file.value());
        for (const QString& name : kept.keys())
            m_listed += isDownload(name) ? 1 : 0;
        m_inMemory = std::make_unique<fuzzing::MemoryKey>(directory, kept);
    }
    void writeFiles(const QMap<QByteArray, QByteArray>& files) {
        QDir().mkpath(m_directory);
        for (auto file = files.begin(); file != files.end(); ++file) {
            const QByteArray path = QFile::encodeName(m_directory) + '/' + file.key();
            const int opened = ::open(path.constData(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
            if (opened < 0) // a name that no file can have
                continue;
            const auto written = ::write(opened, file->constData(), size_t(file->size()));
            require(written == file->size(), "room for the key");
            ::close(opened);
            // Qt's listing leaves out what is hidden and what is no UTF-8.
            const QString name = QFile::decodeName(file.key());
            if (!file.key().startsWith('.') && QFile::encodeName(name) == file.key())
                m_listed += isDownload(name) ? 1 : 0;
        }
    }

    QDir m_mount;
    QString m_directory;
    std::size_t m_listed = 0;
    std::unique_ptr<fuzzing::MemoryKey> m_inMemory;
};

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
    static QCoreApplication application(*argc, *argv);
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    fuzzing::prepareProcess();
    logging::Logger::setSink([](const aux::Error&, logging::Level) {});
    aux::SystemHelper::setRemountHandler([](const QString&) { return ++remounts > 0; });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const bool isRare = fuzzing::isOneOf(32, data, size);
    Input input{data, size};
    const unsigned int flags = input.number();
    int signalsLeft = static_cast<int>(input.number()); // until a slot acts
    const unsigned int act = input.number();
    fuzzing::setDebugLines(isRare);
    aux::Configuration configuration;
    configuration.setValue(aux::SettingsCode::DownloadedDirDisabled, (flags & 2) != 0);
    configuration.setValue(aux::SettingsCode::DownloadedDirEnabled, (flags & 4) != 0);
    Key files(QLatin1String((flags & 8) != 0 ? "DOWNLOAD" : "download"), takeFiles(input), isRare);

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
            key.open(files.mount());
        else if (act % 4 == 3)
            key.read();
    };
    QObject::connect(&key, &DownloadKey::progress, [&](int percent) {
        require(percent >= 0 && percent <= 100, "percent");
        require(acted || percent >= lastProgress, "progress goes on");
        lastProgress = percent;
        slotCalled();
    });
    QObject::connect(
        &key, &DownloadKey::downloadFile, [&](const QString& path, const QDateTime& time) {
            require(time.isValid() && path.startsWith(files.directory() + QLatin1Char('/')),
                    "offered file");
            ++offered;
            slotCalled();
        });
    QObject::connect(&key, &DownloadKey::readDone, [&] {
        ++done;
        slotCalled();
    });
    require(key.open(files.mount()).isEmpty(), "the key opens");
    remounts = 0;
    const bool isRead = key.read().isEmpty();
    require(acted || (done == (isRead ? 1 : 0) && remounts == 1),
            "one readDone or an error, one remount");
    require(acted || (isRead ? offered == files.listed() : offered <= files.listed()),
            "no file is lost without a word");
    key.close();
    return 0;
}
