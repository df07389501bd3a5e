// A host that reads keys on a separate thread and evaluates the results on its main thread.
//
//     minimalhost [--pull] MOUNT_DIR...
//
// With --pull, the first key is pulled out while it is read: its directory is renamed.
#include <downloadkey/downloadkey.h>
#include <downloadkey/hostcheck.h>
#include <downloadkey/metatypes.h>

#include <auxiliary/configuration.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QLoggingCategory>
#include <QtCore/QThread>

#include <cstdio>

namespace {

using downloadkey::DownloadKey;

struct Results {
    std::vector<std::shared_ptr<scard::SCardGeneric>> driverCards;
    std::vector<std::shared_ptr<downloadkey::VehicleInfo>> vehicles;
};

// Plays the user's hand, and the system's notice that the stick is gone.
void pullOut(DownloadKey& key, const QString& mountDir) {
    QDir().rename(mountDir, mountDir + QStringLiteral("-pulled"));
    key.close();
}

void readKey(DownloadKey& key, const QString& mountDir, bool isPulled) {
    int files = 0;
    // There is no receiver in another thread, so the slot runs inside read(). A host that keeps
    // the files copies them here.
    const auto connection = QObject::connect(&key, &DownloadKey::downloadFile, [&] {
        ++files;
        if (isPulled)
            pullOut(key, mountDir);
    });
    QDir directory(mountDir);
    aux::Error error = key.open(directory);
    if (error.isEmpty())
        error = key.read();
    key.close();
    QObject::disconnect(connection);
    if (!error.isEmpty())
        qWarning() << error;
    std::printf("key with %d files: %s\n", files, error.isEmpty() ? "read" : "failed");
}

void show(const Results& results) {
    for (const auto& vehicle : results.vehicles) {
        std::printf("%s: %d insertions\n", qUtf8Printable(vehicle->getPlateString()),
                    int(vehicle->getDriverActivities().size()));
    }
    std::printf("%d driver cards, %d vehicles\n", int(results.driverCards.size()),
                int(results.vehicles.size()));
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    // The library's debug lines name drivers and times, and they take time.
    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
    // readDone goes from one thread to another.
    downloadkey::registerMetaTypes();

    QStringList mountDirs = application.arguments().mid(1);
    const bool pull = mountDirs.removeOne(QStringLiteral("--pull"));
    std::vector<Results> collected;
    const auto collect = [&](const auto& driverCards, const auto& vehicles) {
        collected.push_back({driverCards, vehicles});
    };

    const std::unique_ptr<QThread> reader(QThread::create([&] {
        aux::Configuration configuration;
        DownloadKey key(configuration);
        QObject::connect(&key, &DownloadKey::readDone, &application, collect);
        key.init();
        for (const QString& mountDir : mountDirs)
            readKey(key, mountDir, pull && mountDir == mountDirs.first());
        key.uninit();
    }));
    QObject::connect(reader.get(), &QThread::finished, &application, &QCoreApplication::quit);
    reader->start();
    QCoreApplication::exec();
    reader->wait();

    // The keys, the thread and the DownloadKey are gone; their results are not.
    for (const Results& results : collected)
        show(results);
    return int(collected.size()) == mountDirs.size() ? 0 : 1;
}
