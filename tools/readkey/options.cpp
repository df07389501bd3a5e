#include "views.h"

#include "tools/optionrow.h"

#include <QtCore/QCommandLineParser>

namespace readkey {

namespace {

constexpr OptionRow rows[] = {
    {"summary", "", "totals by vehicle and driver instead of every insertion"},
    {"json", "", "JSON Lines, one object for each file"},
    {"csv", "[=WHAT]", "CSV: insertions, gaps, vehicles, drivers, cards, files"},
    {"html", " FILE", "one page for a browser (\"-\" is standard output)"},
    {"events", "", "the library's own signals as JSON Lines, of one key"},
    {"vehicle", " PLATE", "only vehicles with these words in their plate"},
    {"driver", " TEXT", "only drivers with these words in name or card number"},
    {"from", " DATE", "only insertions that end on or after 2024-03-15, say"},
    {"to", " DATE", "only those that begin on or before that day"},
    {"as-of", " DATE", "the day to which ages count (default: today)"},
    {"utc", "", "times in UTC (default: local time; JSON and CSV: UTC)"},
    {"copy-to", " DIR", "copy every download file to DIR (default: copy nothing)"},
    {"downloaded-dir", "", "create \"downloaded\" on the key (default: do not)"},
    {"remount", "", "remount the key read-only at the end (default: do not)"},
    {"verbose", "", "debug lines, and what was left alone, on standard error"},
    {"help", "", "this text", "", 'h'},
    {"version", "", "the version", "", 'v'},
};

QString helpText() {
    QString text = QStringLiteral(
        "Usage: readkey [options] PATH...\n"
        "Shows what is on download keys. PATH: where a key is mounted, a folder of\n"
        "download files, or a file. Default view: tables of drivers, vehicles and files.\n\n");
    for (const OptionRow& row : rows)
        text += helpLine(row);
    return text +
           QStringLiteral(
               "\nExit status: 0 all well, 1 something could not be done, 2 wrong usage, 3 a file\n"
               "is damaged or cannot be read. \"man readkey\" has formats and examples.\n");
}

// The command line's values, and the problems with them that the parser does not find.
struct Values {
    const QCommandLineParser& parser;
    QStringList problems = {};

    bool isSet(const char* name) const { return parser.isSet(QLatin1String(name)); }

    // Empty if the option was not given.
    QString value(const char* name) {
        const QStringList all = parser.values(QLatin1String(name));
        const QString option = QLatin1String("--") + QLatin1String(name);
        if (all.count(all.value(0)) != all.size())
            problems.append(option + QStringLiteral(" was given twice, with different values"));
        else if (!all.isEmpty() && all.value(0).remove(QLatin1Char(',')).trimmed().isEmpty())
            problems.append(QStringLiteral("the value of %1 is empty").arg(option));
        return all.value(0);
    }

    QDate date(const char* name) {
        const QString text = value(name);
        const QDate date = QDate::fromString(text, QStringLiteral("yyyy-MM-dd"));
        if (isSet(name) && date.toString(Qt::ISODate) != text)
            problems.append(QStringLiteral("--%1 needs a date such as 2024-03-15, not \"%2\"")
                                .arg(QLatin1String(name), text));
        return date;
    }
};

void chooseView(Values& values, Options& options) {
    QStringList given;
    options.view = &views[0];
    for (const View& view : views) {
        if (!view.option || !values.isSet(view.option))
            continue;
        given.append(QLatin1String("--") + QLatin1String(view.option));
        options.view = &view;
        options.viewArgument = values.value(view.option);
    }
    if (values.isSet("events") && options.filter.isActive())
        values.problems.append(QStringLiteral("--events shows everything: it cannot be filtered"));
    if (values.isSet("events") && options.paths.size() > 1)
        values.problems.append(QStringLiteral("--events shows one key only"));
    if (given.size() > 1)
        values.problems.append(given.join(QStringLiteral(" and ")) +
                               QStringLiteral(" exclude each other"));
    if (values.isSet("csv") && !csvKinds().contains(options.viewArgument))
        values.problems.append(QStringLiteral("--csv takes one of ") +
                               csvKinds().join(QStringLiteral(", ")));
}

Options optionsOf(const QCommandLineParser& parser) {
    Options options;
    Values values{parser};
    options.paths = parser.positionalArguments();
    if (options.paths.isEmpty())
        values.problems.append(QStringLiteral("PATH is missing: where is the key mounted?"));
    if (options.paths.contains(QString()))
        values.problems.append(QStringLiteral("PATH is empty"));
    options.utc = values.isSet("utc");
    const Clock clock{options.utc};
    Filter& filter = options.filter;
    filter.plate = values.value("vehicle");
    filter.driver = values.value("driver");
    const QDate from = values.date("from");
    const QDate to = values.date("to");
    if (from.isValid())
        filter.from = clock.startOf(from);
    if (to.isValid())
        filter.to = clock.startOf(to.addDays(1));
    if (from.isValid() && to.isValid() && to < from)
        values.problems.append(QStringLiteral("--from is later than --to"));
    const QDate asOf = values.date("as-of");
    options.asOf = asOf.isValid() ? asOf : clock.date(QDateTime::currentSecsSinceEpoch());
    chooseView(values, options);
    options.copyTo = values.value("copy-to");
    options.makeDownloadedDir = values.isSet("downloaded-dir");
    options.remount = values.isSet("remount");
    options.verbose = values.isSet("verbose");
    options.problem = values.problems.value(0);
    return options;
}

} // namespace

Options parseCommandLine(QStringList arguments) {
    // For the parser an option's value is never optional.
    const int end = arguments.indexOf(QStringLiteral("--"));
    for (int i = 1; i < (end < 0 ? arguments.size() : end); ++i) {
        if (arguments.at(i) == QLatin1String("--csv"))
            arguments[i] += QLatin1Char('=') + csvKinds().first();
    }
    QCommandLineParser parser;
    for (const OptionRow& row : rows)
        parser.addOption(parserOption(row));
    Options options;
    if (!parser.parse(arguments)) // or "-csv" would show the version
        options.problem = parser.errorText();
    else if (parser.isSet(QStringLiteral("help")))
        options.output = helpText();
    else if (parser.isSet(QStringLiteral("version")))
        options.output = QStringLiteral("readkey " READKEY_VERSION "\n");
    else
        options = optionsOf(parser);
    return options;
}

} // namespace readkey
