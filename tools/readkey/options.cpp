#include "options.h"

#include <QtCore/QCommandLineOption>
#include <QtCore/QCommandLineParser>
#include <QtCore/QCoreApplication>

namespace readkey {

namespace {

struct Switches {
    QCommandLineOption json{QStringLiteral("json"),
                            QStringLiteral("Write JSON Lines: one event a line, as it happens.")};
    QCommandLineOption csv{
        QStringLiteral("csv"),
        QStringLiteral(
            "Write one line of CSV for each card insertion, with a header line. Times are "
            "UTC. Control characters are written as \\x1B or \\u202E; nothing else is "
            "changed, so let a spreadsheet import the columns as text: a name may look "
            "like a formula.")};
    QCommandLineOption copyTo{
        QStringLiteral("copy-to"),
        QStringLiteral("Copy every download file to <DIR>, which is made if it is missing. A copy "
                       "that is there already is kept, never overwritten."),
        QStringLiteral("DIR")};
    QCommandLineOption downloadedDir{
        QStringLiteral("downloaded-dir"),
        QStringLiteral("Make sure that the key has a \"/downloaded\" "
                       "directory. Give MOUNT_DIR as an absolute path: "
                       "below a relative one it cannot be made.")};
    QCommandLineOption remount{
        QStringLiteral("remount"),
        QStringLiteral("Remount MOUNT_DIR read-only at the end. Without it nothing is remounted.")};
    QCommandLineOption verbose{
        QStringLiteral("verbose"),
        QStringLiteral("Write the library's debug lines to standard error.")};
};

CommandLine refuse(const QString& text) {
    CommandLine result;
    result.action = CommandLine::RefuseUsage;
    result.text = text;
    return result;
}

CommandLine show(const QString& text) {
    CommandLine result;
    result.action = CommandLine::ShowText;
    result.text = text;
    return result;
}

} // namespace

CommandLine parseCommandLine(const QStringList& arguments) {
    const Switches switches;
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Shows the driver cards and vehicles on a mounted download key.\n\n"
        "Exit status: 0 success; 1 the key could not be opened or a file failed; 2 wrong usage."));
    const QCommandLineOption help = parser.addHelpOption();
    const QCommandLineOption version = parser.addVersionOption();
    parser.addOptions({switches.json, switches.csv, switches.copyTo, switches.downloadedDir,
                       switches.remount, switches.verbose});
    parser.addPositionalArgument(QStringLiteral("MOUNT_DIR"),
                                 QStringLiteral("Where the key is mounted."));

    const bool understood = parser.parse(arguments);
    if (parser.isSet(help) || parser.isSet(QStringLiteral("help-all")))
        return show(parser.helpText());
    if (parser.isSet(version))
        return show(QCoreApplication::applicationName() + QLatin1Char(' ') +
                    QCoreApplication::applicationVersion() + QLatin1Char('\n'));
    if (!understood)
        return refuse(parser.errorText());

    const QStringList directories = parser.positionalArguments();
    if (directories.size() != 1)
        return refuse(directories.isEmpty() ? QStringLiteral("MOUNT_DIR is missing")
                                            : QStringLiteral("more than one MOUNT_DIR"));
    if (directories.first().isEmpty())
        return refuse(QStringLiteral("MOUNT_DIR is empty"));
    if (parser.isSet(switches.json) && parser.isSet(switches.csv))
        return refuse(QStringLiteral("--json and --csv exclude each other"));
    if (parser.isSet(switches.copyTo) && parser.value(switches.copyTo).isEmpty())
        return refuse(QStringLiteral("the directory of --copy-to is empty"));

    CommandLine result;
    result.options.mountDir = directories.first();
    if (parser.isSet(switches.json))
        result.options.format = Format::JsonLines;
    else if (parser.isSet(switches.csv))
        result.options.format = Format::Csv;
    result.options.copyTo = parser.value(switches.copyTo);
    result.options.makeDownloadedDir = parser.isSet(switches.downloadedDir);
    result.options.remount = parser.isSet(switches.remount);
    result.options.verbose = parser.isSet(switches.verbose);
    return result;
}

} // namespace readkey
