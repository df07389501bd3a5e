#include "keyfiles.h"

#include "text.h"

#include "downloadkey/filenames.h"
#include "scard/scardgeneric.h"

#include <QtCore/QLocale>
#include <QtCore/QTextCodec>

#include <algorithm>
#include <cerrno>
#include <tuple>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace readkey {

namespace {

// Whether a download can have a name with this extension.
bool hasTachographExtension(const QString& name) {
    const QString suffix = name.mid(name.lastIndexOf(QLatin1Char('.')));
    return suffix.startsWith(QLatin1Char('.')) && (isDriverFileName(QLatin1String("C_") + suffix) ||
                                                   isVehicleFileName(QLatin1String("S_") + suffix));
}

const LogFile& set(LogFile& file, LogFile::Status status, const QString& reason) {
    file.status = status;
    file.reason = reason;
    return file;
}

// Why openRegular() does not open a file of that size.
QString openReason(int error, qint64 size) {
    if (error == ELOOP)
        return QStringLiteral("it is a link, or not a regular file");
    if (error == EFBIG)
        return QStringLiteral("too large for a download (%1)")
            .arg(QLocale::c().formattedDataSize(size, 0, QLocale::DataSizeTraditionalFormat));
    return QStringLiteral("cannot be read: ") + qt_error_string(error);
}

// Judges one directory entry by its name and by what the file system says of it.
LogFile examineEntry(int directory, const char* bytes) {
    const QString name = QString::fromUtf8(bytes);
    LogFile file = fileOf(name);
    struct stat status {};
    if (::fstatat(directory, bytes, &status, AT_SYMLINK_NOFOLLOW) != 0)
        return set(file, LogFile::Failed, openReason(errno, 0));
    file.size = status.st_size;
    const char* const skipped = S_ISDIR(status.st_mode)             ? "it is a directory"
                                : S_ISLNK(status.st_mode)           ? "it is a link"
                                : !S_ISREG(status.st_mode)          ? "it is not a regular file"
                                : name.startsWith(QLatin1Char('.')) ? "it is hidden"
                                : file.kind == LogFile::Other       ? "it is not named like one"
                                : !file.downloaded ? "its name has no valid date and time"
                                                   : nullptr;
    if (skipped)
        return set(file, LogFile::Skipped, QLatin1String(skipped));
    if (name.toUtf8() != bytes) // Qt also drops a byte-order mark
        return set(file, LogFile::Failed,
                   QStringLiteral("cannot be read: its name is not valid UTF-8, or begins with a "
                                  "byte-order mark"));
    if (file.size > largestDownload)
        return set(file, LogFile::Failed, openReason(EFBIG, file.size));
    if (::faccessat(directory, bytes, R_OK, 0) != 0)
        return set(file, LogFile::Failed, openReason(errno, 0));
    return file;
}

// What a file that is not a download is, by its first bytes; empty if that is not known.
QString nameOfContents(const QByteArray& begin) {
    for (const char* bytes : {"\x89PNG", "\xFF\xD8\xFF", "GIF8"})
        if (begin.startsWith(bytes))
            return QStringLiteral("a picture");
    if (begin.startsWith("PK\x03\x04"))
        return QStringLiteral("a ZIP archive");
    QTextCodec::ConverterState state;
    const QString text = QTextCodec::codecForName("UTF-8")->toUnicode(begin, begin.size(), &state);
    const bool isText = std::none_of(text.begin(), text.end(), [](QChar character) {
        return character.category() == QChar::Other_Control && !character.isSpace();
    });
    return isText && state.invalidChars == 0 ? QStringLiteral("text") : QString();
}

// Each generation and version has its own first digit: 76 01, 76 21, 76 31.
bool isVehicleUnit(const QByteArray& begin) {
    return begin.size() >= 2 && begin.at(0) == '\x76' && (begin.at(1) & 0x0F) == 1 &&
           nameOfContents(begin).isEmpty();
}

aux::Error readCard(downloadkey::DownloadKey& key, QFile& device, LogFile& file) {
    const QDateTime time = QDateTime::fromSecsSinceEpoch(file.downloaded.value_or(0), Qt::UTC);
    scard::SCardGeneric generic(device, time, scard::FilenameRegion::Unknown);
    aux::Error error = generic.readCardInfo();
    if (!error.isEmpty())
        return error;
    const std::shared_ptr<scard::SCardGeneric> card = key.generateSpecific(generic);
    error = card->calcDataSize();
    if (error.isEmpty() && isDriverCard(card->getCardType()))
        error = card->readData();
    if (!error.isEmpty())
        return error;
    file.cardType = card->getCardType();
    file.cardGeneration = card->is2ndGeneneration() ? 2 : 1;
    file.cardNumber = card->cardNumber();
    file.holder = card->holderName();
    return error;
}

// What the file really is, as far as its bytes show.
QString contentsReason(downloadkey::DownloadKey& key, QFile& file, LogFile::Kind kind,
                       const QByteArray& begin) {
    static const char* const wanted[] = {"card download", "vehicle-unit download", "download"};
    const QString contents = nameOfContents(begin);
    if (!contents.isEmpty())
        return QStringLiteral("not a %1 but %2").arg(QLatin1String(wanted[kind]), contents);
    LogFile card;
    if (kind == LogFile::Card && isVehicleUnit(begin))
        return QStringLiteral("a vehicle-unit download under a card's name");
    if (kind == LogFile::Vehicle && !isVehicleUnit(begin) && readCard(key, file, card).isEmpty())
        return QStringLiteral("a %1 card under a vehicle's name").arg(cardTypeName(card.cardType));
    // A card begins with its chip's data, behind 76 06 if a vehicle unit downloaded it.
    const bool isCard =
        begin.mid(begin.startsWith("\x76\x06") ? 2 : 0).startsWith(QByteArrayLiteral("\0\2\0"));
    if (isVehicleUnit(begin) || (isCard && kind != LogFile::Vehicle))
        return QStringLiteral("damaged or cut off");
    return QStringLiteral("not a ") + QLatin1String(wanted[kind]);
}

// Why a parser refused the file, in plain words, followed by the parser's own.
QString parserReason(downloadkey::DownloadKey& key, QFile& file, const aux::Error& error,
                     LogFile::Kind kind, const QByteArray& begin) {
    if (file.error() != QFileDevice::NoError)
        return QStringLiteral("cannot be read: ") + file.errorString();
    QString text = errorText(error);
    if (text.contains(QLatin1String("not mmapped")) &&
        file.size() >= downloadkey::smallestVehicleUnitFile)
        return QStringLiteral("not enough memory");
    if (kind != LogFile::Card && isVehicleUnit(begin))
        text.prepend(QStringLiteral("it ends at byte %1; ").arg(file.size()));
    return QStringLiteral("%1 (%2)").arg(contentsReason(key, file, kind, begin), text);
}

} // namespace

LogFile fileOf(const QString& name) {
    LogFile file;
    file.name = name;
    if (isValidFileName(name)) {
        file.kind = isDriverFileName(name) ? LogFile::Card : LogFile::Vehicle;
        QDateTime time;
        if (getModificationTimeFromFileName(name, time))
            file.downloaded = time.toSecsSinceEpoch();
    }
    return file;
}

Listing listFiles(const QString& downloadDir) {
    Listing result;
    const std::unique_ptr<DIR, int (*)(DIR*)> directory(
        ::opendir(QFile::encodeName(downloadDir).constData()), ::closedir);
    if (!directory || ::access(QFile::encodeName(downloadDir).constData(), X_OK) != 0) {
        result.error = errno;
        return result;
    }
    for (;;) {
        errno = 0;
        const dirent* const entry = ::readdir(directory.get());
        if (!entry)
            break;
        if (hasTachographExtension(QString::fromUtf8(entry->d_name)))
            result.files.push_back(examineEntry(::dirfd(directory.get()), entry->d_name));
        else if (qstrcmp(entry->d_name, ".") != 0 && qstrcmp(entry->d_name, "..") != 0)
            result.others.append(QString::fromUtf8(entry->d_name));
    }
    result.error = errno;
    std::sort(result.files.begin(), result.files.end(), [](const LogFile& a, const LogFile& b) {
        return std::make_tuple(a.status != LogFile::Ok, a.kind, b.downloaded, a.name) <
               std::make_tuple(b.status != LogFile::Ok, b.kind, a.downloaded, b.name);
    });
    return result;
}

std::unique_ptr<downloadkey::VehicleInfo> readFile(downloadkey::DownloadKey& key,
                                                   const QString& path, LogFile& file) {
    QFile device(path);
    const int opening = openRegular(device);
    const qint64 size = device.isOpen() ? device.size() : 0;
    if (opening != 0 || size < downloadkey::smallestUsableFile) {
        set(file, LogFile::Failed,
            opening != 0 ? openReason(opening, size)
                         : QStringLiteral("the file is too small (%1)").arg(counted(size, "byte")));
        return nullptr;
    }
    const QByteArray begin = device.peek(512);
    if (file.kind == LogFile::Other && isVehicleUnit(begin))
        file.kind = LogFile::Vehicle;
    const auto kind = file.kind == LogFile::Vehicle ? LogFile::Vehicle : LogFile::Card;
    std::unique_ptr<downloadkey::VehicleInfo> vehicle;
    if (kind == LogFile::Vehicle)
        vehicle = std::make_unique<downloadkey::VehicleInfo>(device);
    const aux::Error error = vehicle ? vehicle->read() : readCard(key, device, file);
    if (!error.isEmpty()) {
        set(file, LogFile::Failed, parserReason(key, device, error, file.kind, begin));
        return nullptr;
    }
    file.kind = kind;
    return vehicle;
}

QString errorText(const aux::Error& error) {
    QStringList texts;
    for (const aux::ErrorData& entry : error.entries())
        texts.append(entry.text().isEmpty() ? QStringLiteral("unknown error") : entry.text());
    return texts.join(QStringLiteral("; "));
}

} // namespace readkey
