#include "keyfiles.h"

#include "downloadkey/filenames.h"
#include "scard/scardgeneric.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QTextCodec>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <dirent.h>

namespace readkey {

namespace {

constexpr qint64 SmallestFile = 5; // bytes
constexpr int DriverCard = 1;

// Why the file cannot be worked on at all; empty when it can. `smallest` 0 allows any size.
QString unusableReason(const QString& path, qint64 smallest) {
    const QFileInfo info(path);
    if (!info.exists())
        return QStringLiteral("the file is no longer there");
    if (info.isDir())
        return QStringLiteral("it is a directory");
    if (info.size() < smallest)
        return QStringLiteral("the file is too small (%1 bytes)").arg(info.size());
    return {};
}

QString openReason(QFile& file, const QString& path) {
    QString reason = unusableReason(path, SmallestFile);
    if (!reason.isEmpty() || file.open(QIODevice::ReadOnly))
        return reason;
    return file.errorString();
}

QString readCard(downloadkey::DownloadKey& key, const QString& path, const QDateTime& time,
                 KeyContents& contents) {
    QFile file(path);
    QString reason = openReason(file, path);
    if (!reason.isEmpty())
        return reason;
    scard::SCardGeneric generic(file, time.toUTC(), scard::FilenameRegion::Unknown);
    aux::Error error = generic.readCardInfo();
    if (!error.isEmpty() || generic.getCardType() != DriverCard)
        return errorText(error);
    const std::shared_ptr<scard::SCardGeneric> card = key.generateSpecific(generic);
    error = card->calcDataSize();
    if (error.isEmpty())
        error = card->readData();
    if (error.isEmpty())
        contents.cards.push_back(card);
    return errorText(error);
}

QString readVehicle(const QString& path, const QString& name, KeyContents& contents) {
    QFile file(path);
    QString reason = openReason(file, path);
    if (!reason.isEmpty())
        return reason;
    const auto vehicle = std::make_shared<downloadkey::VehicleInfo>(file);
    const aux::Error error = vehicle->read();
    if (error.isEmpty())
        contents.vehicles.push_back({name, vehicle});
    return errorText(error);
}

// Qt's listings tell neither what they leave out nor that they failed: `error` is set to an errno
// then.
QStringList misnamedFiles(const QString& downloadDir, int& error) {
    QStringList result;
    const std::unique_ptr<DIR, int (*)(DIR*)> directory(
        ::opendir(QFile::encodeName(downloadDir).constData()), ::closedir);
    error = errno;
    if (!directory)
        return result;
    for (;;) {
        errno = 0;
        const dirent* const entry = ::readdir(directory.get());
        error = errno;
        if (!entry)
            break;
        QTextCodec::ConverterState state;
        const QString name = QTextCodec::codecForName("UTF-8")->toUnicode(
            entry->d_name, static_cast<int>(std::strlen(entry->d_name)), &state);
        if ((state.invalidChars > 0 || state.remainingChars > 0) && isValidFileName(name))
            result.append(name);
    }
    result.sort();
    return result;
}

} // namespace

KeyFiles listKeyFiles(const QString& downloadDir) {
    KeyFiles result;
    result.misnamed = misnamedFiles(downloadDir, result.error);
    const QFileInfoList entries =
        QDir(downloadDir)
            .entryInfoList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    for (const QFileInfo& entry : entries) {
        const QString name = entry.fileName();
        QDateTime time;
        if (!entry.isFile() || entry.isSymLink() || entry.isHidden() || !isValidFileName(name) ||
            !getModificationTimeFromFileName(name, time))
            ++result.others;
        else if (!entry.isReadable() && entry.exists())
            result.unreadable.append(name);
        else
            (isDriverFileName(name) ? result.cards : result.vehicles).push_back({name, time});
    }
    for (std::vector<KeyFile>* files : {&result.cards, &result.vehicles}) {
        std::stable_sort(files->begin(), files->end(),
                         [](const KeyFile& a, const KeyFile& b) { return b.time < a.time; });
    }
    return result;
}

std::vector<FileFailure> examine(downloadkey::DownloadKey& key, const QString& downloadDir,
                                 const KeyFiles& files, KeyContents& contents) {
    std::vector<FileFailure> failures;
    const auto pathOf = [&downloadDir](const KeyFile& file) {
        return downloadDir + QLatin1Char('/') + file.name;
    };
    const auto note = [&failures](const KeyFile& file, const QString& reason) {
        if (!reason.isEmpty())
            failures.push_back({file.name, reason});
    };
    int count = 0;
    for (const KeyFile& file : files.cards)
        note(file, count++ < ParsedFiles ? readCard(key, pathOf(file), file.time, contents)
                                         : unusableReason(pathOf(file), 0));
    count = 0;
    for (const KeyFile& file : files.vehicles)
        note(file, count++ < ParsedFiles ? readVehicle(pathOf(file), file.name, contents)
                                         : unusableReason(pathOf(file), SmallestFile));
    return failures;
}

QString errorText(const aux::Error& error) {
    QStringList texts;
    for (const aux::ErrorData& entry : error.entries())
        texts.append(entry.text().isEmpty() ? QStringLiteral("unknown error") : entry.text());
    return texts.join(QStringLiteral("; "));
}

} // namespace readkey
