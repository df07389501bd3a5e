// Keys for the fault tests: a directory below /dev/shm with two driver-card files and two
// vehicle-unit files in its download directory, and what a host hears of them.
#pragma once

#include "downloadkey/downloadkey.h"
#include "samples/samples.h"

#include "auxiliary/configuration.h"
#include "auxiliary/systemhelper.h"
#include "logging/logger.h"

#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>

#include <functional>

inline bool writeFile(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.flush();
}

inline QString memoryDirTemplate() {
    return (QDir(QStringLiteral("/dev/shm")).exists() ? QStringLiteral("/dev/shm")
                                                      : QDir::tempPath()) +
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
inline QStringList writeSmallKey(const QString& mountDir, const QString& mark) {
    const QString dir = mountDir + QStringLiteral("/download/");
    QDir().mkpath(dir);
    const struct {
        const char* name;
        QByteArray bytes;
    } files[] = {
        {"C_20240316_0830_%1.DDD", smallCard()},
        {"%1_2403150830.C1B", smallCard()},
        {"M_20240316_0830_%1.DDD", smallVehicleUnit(samples::Generation::Gen1)},
        {"V_%1_20240315_0830.TGD", smallVehicleUnit(samples::Generation::Gen2V2)},
    };
    QStringList names;
    for (const auto& file : files) {
        names.append(QString::fromLatin1(file.name).arg(mark));
        if (!writeFile(dir + names.back(), file.bytes))
            qFatal("cannot write a key below %s", qPrintable(mountDir));
    }
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
    std::size_t parsed = 0;
    int remounts = 0;
    int logged = 0;

    Host() {
        using downloadkey::DownloadKey;
        aux::SystemHelper::setRemountHandler([this](const QString&) { return ++remounts > 0; });
        logging::Logger::setSink([this](const aux::Error&, logging::Level) { ++logged; });
        const auto signalled = [this] {
            ++signalCount;
            if (slot)
                slot();
        };
        QObject::connect(&key, &DownloadKey::progress, &key, signalled);
        QObject::connect(&key, &DownloadKey::downloadFile, &key,
                         [this, signalled](const QString& path) {
                             offered.append(path);
                             signalled();
                         });
        QObject::connect(&key, &DownloadKey::readDone, &key,
                         [this, signalled](const auto& cards, const auto& vehicles, bool) {
                             ++done;
                             parsed = cards.size() + vehicles.size();
                             signalled();
                         });
    }
    ~Host() {
        aux::SystemHelper::setRemountHandler({});
        logging::Logger::setSink({});
    }
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    // Empty for success.
    QString open(const QString& mountDir) {
        QDir dir(mountDir);
        return text(key.open(dir));
    }
    QString read() { return text(key.read()); }

    static QString text(const aux::Error& error) {
        return error.isEmpty() ? QString() : error.entries().front().text();
    }
};

inline QString readFailed() {
    return QStringLiteral("DownloadKey: Error occured during download.");
}
