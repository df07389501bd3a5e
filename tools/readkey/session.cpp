#include "session.h"

#include "console.h"
#include "keyreader.h"
#include "views.h"

#include <QtCore/QSaveFile>

namespace readkey {

namespace {

std::unique_ptr<FileCopier> openCopier(const Options& options, LogbookBuilder& book) {
    if (options.copyTo.isEmpty())
        return nullptr;
    auto copier = std::make_unique<FileCopier>(options.copyTo);
    QStringList keys;
    for (const QString& path : options.paths)
        keys.append(KeyReader::mountDirOf(path));
    if (copier->open(keys))
        return copier;
    const QString reason =
        QStringLiteral("nothing can be copied to %1: %2").arg(options.copyTo, copier->error());
    console::error(reason);
    book.addFailure({{}, {}, reason});
    return nullptr;
}

bool readKeys(const Options& options, LogbookBuilder& book, EventWriter* events) {
    const std::unique_ptr<FileCopier> copier = openCopier(options, book);
    bool isComplete = copier || options.copyTo.isEmpty();
    const int count = options.paths.size();
    for (int i = 0; i < count && console::interruption() == 0; ++i) {
        KeyReader reader(options, options.paths.at(i), book, copier.get(), events);
        isComplete &= reader.read(
            [i, count](int percent) { console::showProgress((100 * i + percent) / count); });
    }
    console::removeProgress();
    return isComplete;
}

bool show(const Logbook& book, const Options& options, StandardOutput& out) {
    if (!options.view->intoFile || options.viewArgument == QLatin1String("-")) {
        options.view->write(book, options, out);
        return true;
    }
    QSaveFile file(options.viewArgument);
    if (file.open(QIODevice::WriteOnly)) {
        options.view->write(book, options, file);
        if (console::interruption() != 0) // what is not committed leaves nothing behind
            return false;
        if (file.commit())
            return true;
    }
    console::error(options.viewArgument + QStringLiteral(": cannot be written: ") +
                   file.errorString());
    return false;
}

} // namespace

int runSession(const Options& options, StandardOutput& out) {
    LogbookBuilder builder(options.filter);
    EventWriter events(out);
    const bool isComplete = readKeys(options, builder, options.view ? nullptr : &events);
    if (console::interruption() != 0) {
        console::error(QStringLiteral("interrupted, nothing is complete"));
        return ExitFailure;
    }
    const bool isShown = !options.view || show(builder.finish(), options, out);
    return isComplete && isShown ? ExitSuccess : ExitFailure;
}

} // namespace readkey
