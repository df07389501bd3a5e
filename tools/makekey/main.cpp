// makekey writes a sample download key: vehicle-unit downloads of every generation and card
// downloads of both, under names of every shape. The same arguments give the same bytes.
#include "samples/samples.h"

#include <QtCore/QCommandLineParser>
#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QSaveFile>

#include <cstdint>
#include <cstdio>
#include <limits>
#include <optional>

namespace {

constexpr int exitSuccess = 0;
constexpr int exitFailed = 1;
constexpr int exitUsage = 2;

constexpr qint64 maxFiles = 100000; // as many names as there are
constexpr qint64 maxDays = 3650;
constexpr qint64 maxRecords = 65535;         // of one array
constexpr qint64 maxRecordsOfFile = 1000000; // a file is built in memory

int complain(int status, const QString& message) {
    std::fprintf(stderr, "makekey: %s\n", message.toLocal8Bit().constData());
    return status;
}

struct Options {
    QCommandLineOption days{QStringLiteral("days"),
                            QStringLiteral("Days in each vehicle file (28)."), QStringLiteral("N"),
                            QStringLiteral("28")};
    QCommandLineOption records{QStringLiteral("records"),
                               QStringLiteral("Card insertions of each day (4)."),
                               QStringLiteral("N"), QStringLiteral("4")};
    QCommandLineOption files{QStringLiteral("files"),
                             QStringLiteral("Vehicle files, and as many card files (6)."),
                             QStringLiteral("N"), QStringLiteral("6")};
    QCommandLineOption seed{QStringLiteral("seed"),
                            QStringLiteral("Another seed gives other contents (1)."),
                            QStringLiteral("N"), QStringLiteral("1")};
};

// The number that was given for an option; a complaint and nothing when it is none or out of range.
std::optional<qint64> number(const QCommandLineParser& parser, const QCommandLineOption& option,
                             qint64 least, qint64 most) {
    bool isNumber = false;
    const QString text = parser.value(option);
    const qint64 value = text.toLongLong(&isNumber);
    if (isNumber && value >= least && value <= most)
        return value;
    complain(exitUsage, QStringLiteral("--%1 needs a number from %2 to %3, not \"%4\"")
                            .arg(option.names().constFirst(), QString::number(least),
                                 QString::number(most), text));
    return std::nullopt;
}

std::optional<samples::KeyOptions> keyOptions(const QCommandLineParser& parser,
                                              const Options& options) {
    const auto days = number(parser, options.days, 0, maxDays);
    const auto records = number(parser, options.records, 0, maxRecords);
    const auto files = number(parser, options.files, 0, maxFiles);
    const auto seed = number(parser, options.seed, 0, std::numeric_limits<std::uint32_t>::max());
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
    return result;
}

int writeKey(const samples::KeyOptions& options, const QString& mountDir) {
    const QString directory = QDir(mountDir).filePath(QStringLiteral("download"));
    if (!QDir().mkpath(directory))
        return complain(exitFailed, QStringLiteral("cannot make the directory %1").arg(directory));
    qint64 bytes = 0;
    for (int index = 0; index < 2 * options.files; ++index) {
        const samples::KeyFile file = samples::sampleKeyFile(options, index);
        QSaveFile target(directory + QLatin1Char('/') + file.name);
        if (!target.open(QIODevice::WriteOnly) || target.write(file.bytes) != file.bytes.size() ||
            !target.commit())
            return complain(
                exitFailed,
                QStringLiteral("cannot write %1: %2").arg(target.fileName(), target.errorString()));
        bytes += file.bytes.size();
    }
    const QString summary = QStringLiteral("%1: %2 vehicle files, %2 card files, %3 bytes")
                                .arg(directory)
                                .arg(options.files)
                                .arg(bytes);
    std::printf("%s\n", summary.toLocal8Bit().constData());
    return std::fflush(stdout) == 0
               ? exitSuccess
               : complain(exitFailed, QStringLiteral("cannot write to the standard output"));
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("makekey"));
    QCoreApplication::setApplicationVersion(QStringLiteral(MAKEKEY_VERSION));

    const Options options;
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Writes a sample download key. It replaces files of the same names."));
    parser.addOptions({options.days, options.records, options.files, options.seed});
    const QCommandLineOption help({QStringLiteral("h"), QStringLiteral("help")},
                                  QStringLiteral("Shows this help."));
    parser.addOption(help);
    const QCommandLineOption version = parser.addVersionOption();
    parser.addPositionalArgument(
        QStringLiteral("DIR"),
        QStringLiteral("The key's mount directory; it is made when missing."));

    if (!parser.parse(QCoreApplication::arguments()))
        return complain(exitUsage, parser.errorText());
    if (parser.isSet(help))
        parser.showHelp(exitSuccess);
    if (parser.isSet(version))
        parser.showVersion();
    if (parser.positionalArguments().size() != 1 ||
        parser.positionalArguments().constFirst().isEmpty())
        return complain(exitUsage, QStringLiteral("name one directory (see --help)"));
    const auto keyWanted = keyOptions(parser, options);
    return keyWanted ? writeKey(*keyWanted, parser.positionalArguments().constFirst()) : exitUsage;
}
