// readkey: shows what is on mounted download keys. keyreader.* drives the library, logbook.* is
// what comes out of it, and each view prints that.
#include "console.h"
#include "keyreader.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QFileInfo>
#include <QtCore/QLoggingCategory>
#include <QtCore/QSaveFile>
#include <QtCore/QTextCodec>

#include <algorithm>
#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <new>

namespace readkey {

namespace {

// The keys among the paths, to which nothing is copied. A single file need not be on a key.
QStringList keysOf(const QStringList& paths) {
    QStringList keys;
    for (const QString& path : paths) {
        const QString directory = QFileInfo(path).isDir() ? path : QFileInfo(path).path();
        const QString key = mountDirOf(directory);
        if (directory == path || key != directory)
            keys.append(key);
    }
    keys.removeDuplicates();
    return keys;
}

void readKeys(const Options& options, Logbook& book, QIODevice* events) {
    FileCopier copier(options.copyTo);
    const bool isAsked = !options.copyTo.isEmpty();
    const QString problem = isAsked ? copier.open(keysOf(options.paths)) : QString();
    if (!problem.isEmpty())
        book.failures.push_back(
            {options.copyTo, {}, QStringLiteral("nothing can be copied there: ") + problem});
    const bool isCopying = isAsked && problem.isEmpty();
    const int count = options.paths.size();
    const bool isMixed = events && console::isOneTerminal(); // a bar would be among the lines
    for (int i = 0; i < count && console::interruption() == 0; ++i) {
        readPath(options, options.paths.at(i), book, isCopying ? &copier : nullptr, events,
                 [=](int percent) {
                     console::showProgress(isMixed ? -1 : (100 * i + percent) / count);
                 });
    }
    console::removeProgress();
    if (const int reason = isCopying ? copier.sync() : 0; reason != 0) {
        const QString text = QStringLiteral("the copies may not be on the disk: ");
        book.failures.push_back({options.copyTo, {}, text + qt_error_string(reason)});
        book.doubtCopies();
    }
}

// A line for each, or one line for all that have the same cause if they are many.
void report(const std::vector<Failure>& failures, const Logbook& book) {
    constexpr int many = 20;
    const auto cause = [](const Failure& failure) { // without what differs from file to file
        return failure.reason.section(QLatin1String(" ("), 0,
                                      failure.reason.endsWith(QLatin1Char(')')) ? 0 : -1);
    };
    QHash<QString, QStringList> places;
    for (const Failure& failure : failures)
        places[cause(failure)].append(book.placeOf(failure));
    for (const Failure& failure : failures) {
        QStringList& group = places[cause(failure)];
        if (group.size() > many) {
            console::error(QStringLiteral("%1: %2, the first are %3")
                               .arg(cause(failure),
                                    counted(group.size(), failure.file.isEmpty() ? "path" : "file"),
                                    QStringList(group.mid(0, 3)).join(QStringLiteral(", "))));
            group.clear();
        } else if (!group.isEmpty()) {
            console::error(book.placeOf(failure) + QStringLiteral(": ") + failure.reason);
        }
    }
}

bool show(const Logbook& book, const Options& options, console::StandardOutput& out) {
    const QString& path = options.viewArgument;
    if (!options.view->intoFile || path == QLatin1String("-")) {
        options.view->write(book, options, out);
        return true;
    }
    QSaveFile whole(path); // or not at all
    QFile device(path);    // what is not a regular file must not be replaced by one
    const bool isDevice = device.exists() && !QFileInfo(path).isFile();
    QFileDevice& file = isDevice ? static_cast<QFileDevice&>(device) : whole;
    const bool isTaken = // by anything but a page
        !isDevice && device.size() > 0 &&
        !(device.open(QIODevice::ReadOnly) && device.peek(15) == "<!DOCTYPE html>");
    if (!isTaken && file.open(QIODevice::WriteOnly)) {
        options.view->write(book, options, file);
        if (console::interruption() != 0) // what is not committed leaves nothing behind
            return false;
        // commit() alone does not notice when the last bytes cannot be written.
        if (file.flush() && (isDevice || whole.commit()))
            return true;
    }
    console::error(path + QStringLiteral(": cannot be written: ") +
                   (isTaken ? QStringLiteral("another file is there") : file.errorString()));
    return false;
}

// Reads the keys one after another into a logbook and shows it, unless the user interrupts. Returns
// the exit status: 3 if everything was done, but a file is damaged.
int run(const Options& options, console::StandardOutput& out) {
    // The environment's QT_LOGGING_RULES come after these.
    QLoggingCategory::setFilterRules(options.verbose ? QStringLiteral("default.debug=true")
                                                     : QStringLiteral("*.debug=false"));
    const Clock clock{options.utc};
    if (!clock.isZoneKnown())
        console::error(QStringLiteral("times are UTC: the time zone TZ=%1 is not known here")
                           .arg(qEnvironmentVariable("TZ")));
    // In UTC, because local times are not unique where clocks were put back for good.
    const QByteArray zone = qgetenv("TZ");
    qputenv("TZ", "UTC");
    Logbook book;
    readKeys(options, book, options.view->write == writeNothing ? &out : nullptr);
    qputenv("TZ", zone);
    ::tzset(); // localtime_r() does not notice it
    const bool isInterrupted = console::interruption() != 0;
    book.finish(options.filter, options.asOf, clock);
    const bool areTables =
        options.view->write == writeTables || options.view->write == writeSummary;
    report(book.warnings, book);
    if (isInterrupted || !areTables || !console::isOneTerminal()) // the tables have them, too
        report(book.failures, book);
    if (isInterrupted || !show(book, options, out))
        return EXIT_FAILURE;
    const bool isAllDone = std::all_of(book.failures.begin(), book.failures.end(),
                                       [](const Failure& failure) { return failure.isDamage; });
    return !isAllDone ? EXIT_FAILURE : book.failures.empty() ? EXIT_SUCCESS : 3;
}

int start(int argc, char* argv[]) {
    // Without TZ the C library checks the system's zone file before every conversion of a time. If
    // TZ is empty, Qt names the zone of that file, but the C library takes UTC.
    if (!qEnvironmentVariableIsSet("TZ") && QFileInfo::exists(QStringLiteral("/etc/localtime")))
        qputenv("TZ", ":/etc/localtime");
    else if (qEnvironmentVariableIsEmpty("TZ"))
        qputenv("TZ", "UTC");
    // Arguments, and names on keys, are UTF-8 in every locale.
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    const QCoreApplication application(argc, argv);
    std::setlocale(LC_CTYPE, "C.UTF-8"); // for the width of characters
    std::setlocale(LC_MESSAGES, "C");

    Options options = parseCommandLine(QCoreApplication::arguments());
    for (int i = 1; i < argc; ++i) {
        const QString argument = QFile::decodeName(argv[i]);
        if (QFile::encodeName(argument) != argv[i] && !options.paths.contains(argument))
            options.problem = QStringLiteral("not valid UTF-8: ") + argument;
    }
    if (!options.problem.isEmpty()) {
        console::error(options.problem);
        console::error(QStringLiteral("\"readkey --help\" shows how it is used"));
        return 2;
    }
    console::StandardOutput standardOutput;
    standardOutput.write(options.output.toUtf8());
    const int status = options.output.isEmpty() ? run(options, standardOutput) : EXIT_SUCCESS;
    if (console::interruption() != 0) {
        console::error(QStringLiteral("interrupted before the end"));
        console::endBySignal(console::interruption());
    }
    if (standardOutput.failure() == EPIPE) // the reader has seen enough
        console::endBySignal(SIGPIPE);
    if (standardOutput.failure() != 0) {
        console::error(QStringLiteral("cannot write to standard output: ") +
                       qt_error_string(standardOutput.failure()));
        return EXIT_FAILURE;
    }
    return status;
}

} // namespace

} // namespace readkey

int main(int argc, char* argv[]) {
    readkey::console::prepareProcess();
    try {
        return readkey::start(argc, argv);
    } catch (const std::bad_alloc&) { // what is not complete has been removed on the way here
        readkey::console::endWithoutMemory();
    }
}
