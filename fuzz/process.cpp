// How the process of each target begins: a program of Qt in UTC that reads file names as UTF-8 and
// writes nothing to the terminal.
#include "fuzz/fuzzing.h"

#include "logging/logger.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QTextCodec>

#include <clocale>

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);

int LLVMFuzzerInitialize(int* argc, char*** argv) {
    qputenv("TZ", "UTC");
    static QCoreApplication application(*argc, *argv);
    std::setlocale(LC_CTYPE, "C.UTF-8"); // for the width of characters
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    logging::Logger::setSink([](const aux::Error&, logging::Level) {});
    fuzzing::setDebugLines(false);
    return 0;
}
