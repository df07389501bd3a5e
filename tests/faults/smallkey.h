// Keys for the fault tests: a directory in memory with two driver-card files and two vehicle-unit
// files in its download directory, and what a host hears of them.
#pragma once

#include "downloadkey/downloadkey.h"
#include "samples/samples.h"

#include "auxiliary/configuration.h"
#include "auxiliary/systemhelper.h"
#include "logging/logger.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QTemporaryDir>

#include <functional>

inline const QString readFailed = QStringLiteral("DownloadKey: Error occured during download.");

inline void writeFile(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.flush())
        qFatal("cannot write %s", qPrintable(path));
}

inline QString memoryDirTemplate() {
    const QString memory = QStringLiteral("/dev/shm");
    return (QFileInfo(memory).isWritable() ? memory : QDir::tempPath()) +
           QStringLiteral("/faults-XXXXXX");
}

inline QByteArray smallVehicleUnit(samples::Generation generation) {
    samples::VehicleUnit unit;
    unit.generation = generation;
    unit.days.resize(1);
    unit.days.front().cardRecords.resize(2);
    unit.days.front().cardRecords.back().insertionTime = 1710460800;
    return samples::vehicleUnitFile(unit);
}

inline QByteArray smallCard() {
    return samples::cardBlock(0x0501, 0, QByteArray(10, 1)) +
           samples::cardBlock(0x0520, 0, QByteArray(137, 'N'));
}

// The names of the files, by which a test tells two keys apart, contain `mark`.
inline QStringList writeSmallKey(const QString& mountDir, const char* mark = "ABC") {
    const QString dir = mountDir + QStringLiteral("/download/");
    QDir().mkpath(dir);
    QStringList names;
    const auto write = [&](const char* name, const QByteArray& bytes) {
        names.append(QString::fromLatin1(name).arg(QLatin1String(mark)));
        writeFile(dir + names.back(), bytes);
    };
    write("C_20240316_0830_%1.DDD", smallCard());
    write("%1_2403150830.C1B", smallCard());
    write("M_20240316_0830_%1.DDD", smallVehicleUnit(samples::Generation::Gen1));
    write("V_%1_20240315_0830.TGD", smallVehicleUnit(samples::Generation::Gen2V2));
    return names;
}

// A host that notes everything.
struct Host {
    aux::Configuration configuration;
    downloadkey::DownloadKey key{configuration};
    int signalCount = 0;
    std::function<void()> slot; // runs at every signal
    QStringList offered;
    int done = 0;
    int parsed = 0;
    std::size_t activities = 0;
    int remounts = 0;
    int logged = 0;

    Host() {
        using downloadkey::DownloadKey;
        aux::SystemHelper::setRemountHandler([this](const QString&) { return ++remounts > 0; });
        logging::Logger::setSink([this](const aux::Error&, logging::Level) { ++logged; });
        // The first two notes are made before `signalled` runs.
        QObject::connect(&key, &DownloadKey::downloadFile,
                         [this](const QString& path) { offered.append(path); });
        QObject::connect(&key, &DownloadKey::readDone,
                         [this](const auto& cards, const auto& vehicles, bool) {
                             ++done;
                             parsed = static_cast<int>(cards.size() + vehicles.size());
                             for (const auto& vehicle : vehicles)
                                 activities += vehicle->getDriverActivities().size();
                         });
        const auto signalled = [this] {
            ++signalCount;
            if (slot)
                slot();
        };
        QObject::connect(&key, &DownloadKey::progress, signalled);
        QObject::connect(&key, &DownloadKey::downloadFile, signalled);
        QObject::connect(&key, &DownloadKey::readDone, signalled);
    }
    ~Host() {
        aux::SystemHelper::setRemountHandler({});
        logging::Logger::setSink({});
    }
    Q_DISABLE_COPY(Host)

    // Both return the error's text, empty for success.
    QString open(const QString& mountDir) {
        QDir dir(mountDir);
        return text(key.open(dir));
    }
    QString read() { return text(key.read()); }
    static QString text(const aux::Error& error) {
        return error.isEmpty() ? QString() : error.entries().front().text();
    }
};
