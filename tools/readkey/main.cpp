// readkey: shows what is on a mounted download key. It is also the model of a host: options.* is
// the command line, session.* drives the library, output.* and its three kinds show the results.
#include "console.h"
#include "options.h"
#include "session.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QTextCodec>

int main(int argc, char* argv[]) {
    using namespace readkey;

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
        standardOutput.write(commandLine.text);
        break;
    case CommandLine::RefuseUsage:
        console::error(commandLine.text);
        console::error(QStringLiteral("\"readkey --help\" shows how it is used"));
        return ExitUsage;
    case CommandLine::ReadKey:
        console::setDebugLines(commandLine.options.verbose);
        Session session(commandLine.options, standardOutput);
        status = session.run();
        break;
    }
    if (standardOutput.hasFailed()) {
        console::error(QStringLiteral("cannot write to standard output: ") +
                       standardOutput.reason());
        return ExitFailure;
    }
    return status;
}
