// makekey writes a sample download key: vehicle-unit downloads of every generation and card
// downloads of both, with names of every shape. The same arguments give the same bytes.
#include "samples/samples.h"
#include "tools/optionrow.h"

#include <QtCore/QCommandLineParser>
#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <cstdint>
#include <cstdio>
#include <limits>
#include <optional>

namespace {

constexpr int exitSuccess = 0;
constexpr int exitFailed = 1;
constexpr int exitUsage = 2;

constexpr qint64 maxFiles = 100000; // as many as there are names
constexpr qint64 maxDays = 3650;
constexpr qint64 maxRecords = 65535;         // of one array
constexpr qint64 maxRecordsOfFile = 1000000; // a file is built in memory

int complain(int status, const QString& message) {
    std::fprintf(stderr, "makekey: %s\n", message.toLocal8Bit().constData());
    return status;
}

namespace option {
constexpr OptionRow days{"days", " N", "days in each vehicle file", "28"};
constexpr OptionRow records{"records", " N", "card insertions of a vehicle on a busy day", "4"};
constexpr OptionRow files{"files", " N", "vehicle files, and as many card files", "6"};
constexpr OptionRow seed{"seed", " N", "another seed gives other contents", "1"};
constexpr OptionRow oddities{"oddities", "",
                             "damaged and other irregular things that real keys have"};
constexpr OptionRow help{"help", "", "this text", "", 'h'};
constexpr OptionRow version{"version", "", "the version", "", 'v'};
constexpr OptionRow all[] = {days, records, files, seed, oddities, help, version};
} // namespace option

QString helpText() {
    QString text = QStringLiteral(
        "Usage: makekey [options] DIR\n"
        "Writes a sample download key. DIR, its mount directory, is created if it is\n"
        "missing. Files of the same names are replaced.\n\n");
    for (const OptionRow& row : option::all)
        text += helpLine(row);
    return text;
}

int print(const QString& text) {
    const QByteArray bytes = text.toLocal8Bit();
    return std::fputs(bytes.constData(), stdout) >= 0 && std::fflush(stdout) == 0
               ? exitSuccess
               : complain(exitFailed, QStringLiteral("cannot write to the standard output"));
}

// The number given for an option; a complaint and nothing if it is not a number or out of range.
std::optional<qint64> number(const QCommandLineParser& parser, const OptionRow& row, qint64 least,
                             qint64 most) {
    bool isNumber = false;
    const QString text = parser.value(QLatin1String(row.name));
    const qint64 value = text.toLongLong(&isNumber);
    if (isNumber && value >= least && value <= most)
        return value;
    complain(exitUsage, QStringLiteral("--%1 needs a number from %2 to %3, not \"%4\"")
                            .arg(QLatin1String(row.name), QString::number(least),
                                 QString::number(most), text));
    return std::nullopt;
}

std::optional<samples::KeyOptions> keyOptions(const QCommandLineParser& parser) {
    const auto days = number(parser, option::days, 0, maxDays);
    const auto records = number(parser, option::records, 0, maxRecords);
    const auto files = number(parser, option::files, 0, maxFiles);
    const auto seed = number(parser, option::seed, 0, std::numeric_limits<std::uint32_t>::max());
    if (!days || !records || !files || !seed)
        return std::nullopt;
    if (*days * *records > maxRecordsOfFile) {
        complain(
            exitUsage,
            QStringLiteral("--days times --records must not be above %1").arg(maxRecordsOfFile));
        return std::nullopt;
    }
    samples::KeyOptions result;
    result.days = static_cast<int>(*days);
    result.records = static_cast<int>(*records);
    result.files = static_cast<int>(*files);
    result.seed = static_cast<std::uint32_t>(*seed);
    result.oddities = parser.isSet(QLatin1String(option::oddities.name));
    return result;
}

// Whether there is something that must be left alone. A link on a key may lead anywhere.
bool isForeign(const QFileInfo& file) {
    return file.isSymLink() || (file.exists() && !file.isFile());
}

// Leaves no part of a file behind. Does not wait until it is on the disk: for a sample key of many
// files that would take minutes.
bool replace(QFile& target, const QByteArray& bytes) {
    if ((target.exists() && !target.remove()) ||
        !target.open(QIODevice::WriteOnly | QIODevice::NewOnly | QIODevice::Unbuffered))
        return false;
    // A disk that is nearly full accepts only a part at first.
    for (int done = 0; done < bytes.size();) {
        const qint64 count = target.write(bytes.constData() + done, bytes.size() - done);
        if (count <= 0) {
            QFile::remove(target.fileName());
            return false;
        }
        done += static_cast<int>(count);
    }
    return true;
}

// An error text; empty if the file was written.
QString write(const QString& directory, const samples::KeyFile& file) {
    QFile target(directory + QLatin1Char('/') + file.name);
    const bool isRefused = isForeign(QFileInfo(target));
    if (!isRefused && replace(target, file.bytes))
        return {};
    return QStringLiteral("cannot write %1: %2")
        .arg(target.fileName(),
             isRefused ? QStringLiteral("it is not a regular file") : target.errorString());
}

int writeKey(const samples::KeyOptions& options, const QString& mountDir) {
    const QString directory = QDir(mountDir).filePath(QStringLiteral("download"));
    if (QFileInfo(directory).isSymLink())
        return complain(exitFailed, QStringLiteral("%1 is a link").arg(directory));
    if (!QDir().mkpath(directory))
        return complain(exitFailed, QStringLiteral("cannot create directory %1").arg(directory));
    // One file at a time: a key may be larger than memory.
    const std::vector<samples::KeyFile> oddFiles = samples::oddFiles(options);
    const int count = 2 * options.files + static_cast<int>(oddFiles.size());
    qint64 bytes = 0;
    for (int i = 0; i < count; ++i) {
        const samples::KeyFile file =
            i < 2 * options.files ? samples::sampleKeyFile(options, i)
                                  : oddFiles[static_cast<std::size_t>(i - 2 * options.files)];
        const QString error = write(directory, file);
        if (!error.isEmpty())
            return complain(exitFailed, error);
        bytes += file.bytes.size();
    }
    const QString others =
        oddFiles.empty() ? QString() : QStringLiteral(", %1 others").arg(oddFiles.size());
    const QString summary =
        QStringLiteral("%1: %2 vehicle files, %2 card files%3, %4 bytes")
            .arg(directory, QString::number(options.files), others, QString::number(bytes));
    return print(summary + QLatin1Char('\n'));
}

} // namespace

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    for (const OptionRow& row : option::all)
        parser.addOption(parserOption(row));
    if (!parser.parse(QCoreApplication::arguments()))
        return complain(exitUsage, parser.errorText());
    if (parser.isSet(QLatin1String(option::help.name)))
        return print(helpText());
    if (parser.isSet(QLatin1String(option::version.name)))
        return print(QStringLiteral("makekey " MAKEKEY_VERSION "\n"));
    const QStringList directories = parser.positionalArguments();
    if (directories.size() != 1 || directories.constFirst().isEmpty())
        return complain(exitUsage, QStringLiteral("name one directory (see --help)"));
    const auto keyWanted = keyOptions(parser);
    return keyWanted ? writeKey(*keyWanted, directories.constFirst()) : exitUsage;
}
