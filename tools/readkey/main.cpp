// readkey: shows what is on mounted download keys. It is also the model of a host: keyreader.*
// drives the library, logbook.* is what comes out of it, and each view prints that.
#include "console.h"
#include "options.h"
#include "session.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QFileInfo>
#include <QtCore/QTextCodec>

#include <cerrno>
#include <csignal>

namespace {

// Without TZ the C library looks at the system's zone file before every conversion of a time.
void nameTimeZone() {
    if (!qEnvironmentVariableIsSet("TZ") && QFileInfo::exists(QStringLiteral("/etc/localtime")))
        qputenv("TZ", ":/etc/localtime");
}

} // namespace

int main(int argc, char* argv[]) {
    using namespace readkey;

    nameTimeZone();
    console::prepareProcess();
    // Keys carry names in UTF-8 whatever locale this process was started in, and so do the
    // arguments.
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("readkey"));
    QCoreApplication::setApplicationVersion(QStringLiteral(READKEY_VERSION));

    const CommandLine commandLine = parseCommandLine(QCoreApplication::arguments());
    StandardOutput standardOutput;
    int status = ExitSuccess;
    switch (commandLine.action) {
    case CommandLine::ShowText:
        standardOutput.write(commandLine.text.toUtf8());
        break;
    case CommandLine::RefuseUsage:
        console::error(commandLine.text);
        console::error(QStringLiteral("\"readkey --help\" shows how it is used"));
        return ExitUsage;
    case CommandLine::ReadKeys:
        console::setDebugLines(commandLine.options.verbose);
        status = runSession(commandLine.options, standardOutput);
        break;
    }
    if (console::interruption() != 0)
        console::endBySignal(console::interruption());
    if (standardOutput.failure() == EPIPE) // the reader has seen enough
        console::endBySignal(SIGPIPE);
    if (standardOutput.failure() != 0) {
        console::error(QStringLiteral("cannot write to standard output: ") +
                       qt_error_string(standardOutput.failure()));
        return ExitFailure;
    }
    return status;
}
