// A host that writes down everything it hears, in order, and can act in the middle of it.
//
// What it hears of a read() is one line, such as "0% 25% 50% card1 75% unit1 100% remount
// done(card1|unit1)": progress, the files that are offered (their names up to the '_'), the
// remount, and the numbers of the cards and the plates of the vehicle units that come with
// readDone(). A read() that fails ends with "failed".
#pragma once

#include "tests/support/errortext.h"
#include "tests/support/testkey.h"

#include "downloadkey/downloadkey.h"

#include "auxiliary/configuration.h"
#include "auxiliary/systemhelper.h"
#include "logging/logger.h"
#include "scard/scardgeneric.h"

#include <functional>
#include <memory>
#include <utility>
#include <vector>

class RecordingHost {
public:
    RecordingHost() {
        using downloadkey::DownloadKey;
        const auto connect = [this](auto signal, auto slot) {
            QObject::connect(&library, signal, &library, slot);
        };
        connect(&DownloadKey::error, [this](const aux::Error& err) { hear(textOf(err)); });
        connect(&DownloadKey::progress, [this](int percent) { hear(QString("%1%").arg(percent)); });
        connect(&DownloadKey::downloadFile, [this](const QString& path, const QDateTime& time) {
            offeredPaths << path;
            offeredTimes << time;
            hear(QFileInfo(path).fileName().section(QLatin1Char('_'), 0, 0));
        });
        connect(&DownloadKey::readDone, [this](auto parsedCards, auto parsedUnits, bool error) {
            cards = std::move(parsedCards);
            units = std::move(parsedUnits);
            hear(error ? QStringLiteral("parsing error") : done());
        });
        aux::SystemHelper::setRemountHandler([this](const QString& path) {
            remounted << path;
            hear(QStringLiteral("remount"));
            return false;
        });
        logging::Logger::setSink([this](const aux::Error& error, logging::Level level) {
            logged << QStringLiteral("%1|%2").arg(static_cast<int>(level)).arg(textOf(error));
            hear(QStringLiteral("log"));
        });
    }
    ~RecordingHost() {
        aux::SystemHelper::setRemountHandler(nullptr);
        logging::Logger::setSink(nullptr);
    }

    // Returns the error as text, empty for success.
    QString open(const QString& mountPath) {
        QDir dir(mountPath);
        const QString error = textOf(library.open(dir));
        return dir == QDir(mountPath) ? error : QStringLiteral("open() changed its argument");
    }
    QString open(const TestKey& key) { return open(key.mountPath()); }

    // Returns all that was heard meanwhile.
    QString read() {
        heard.clear();
        const QString error = textOf(library.read());
        if (error == QLatin1String("libdownloadkey|DownloadKey: Error occured during download.|0"))
            heard << QStringLiteral("failed");
        else if (!error.isEmpty())
            heard << error;
        if (m_action)
            heard << QStringLiteral("never heard: ") + m_event;
        return heard.join(QLatin1Char(' '));
    }

    // What is heard of a key from its opening on; or the error if it does not open.
    QString openAndRead(const TestKey& key) {
        const QString error = open(key);
        return error.isEmpty() ? read() : error;
    }

    // Does something once, when the host hears this.
    void when(const QString& event, std::function<void()> action) {
        m_event = event;
        m_action = std::move(action);
    }
    void hear(const QString& event) {
        heard << event;
        if (m_action && event == m_event)
            std::exchange(m_action, nullptr)();
    }

    aux::Configuration configuration;
    downloadkey::DownloadKey library{configuration};
    QStringList heard;
    QStringList offeredPaths;
    QList<QDateTime> offeredTimes;
    QStringList remounted; // paths
    QStringList logged;    // "level|error"
    std::vector<std::shared_ptr<scard::SCardGeneric>> cards;
    std::vector<std::shared_ptr<downloadkey::VehicleInfo>> units;

private:
    QString done() const {
        QStringList numbers;
        QStringList plates;
        for (const auto& card : cards)
            numbers << card->cardNumber();
        for (const auto& unit : units)
            plates << unit->getPlateString();
        return QString("done(%1|%2)").arg(numbers.join(','), plates.join(','));
    }

    QString m_event;
    std::function<void()> m_action;
};
