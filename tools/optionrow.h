// The options of the command-line tools. Each is one row, from which the parser's option and the
// line of the help are made.
#pragma once

#include <QtCore/QCommandLineOption>
#include <QtCore/QString>
#include <QtCore/QStringList>

struct OptionRow {
    const char* name;  // without dashes
    const char* value; // as the help shows it after the name: " FILE", "[=WHAT]"; empty: none
    const char* help;
    const char* fallback = ""; // the value if the option is not given
    char letter = 0;           // the short name, if there is one
};

inline QCommandLineOption parserOption(const OptionRow& row) {
    QStringList names(QLatin1String(row.name));
    if (row.letter != 0)
        names.append(QString(QLatin1Char(row.letter)));
    return {names, QString(), QLatin1String(row.value), QLatin1String(row.fallback)};
}

inline QString helpLine(const OptionRow& row) {
    QString line = QStringLiteral("  ");
    if (row.letter != 0)
        line += QStringLiteral("-%1, ").arg(QLatin1Char(row.letter));
    line += QLatin1String("--") + QLatin1String(row.name) + QLatin1String(row.value);
    line = line.leftJustified(24) + QLatin1String(row.help);
    if (*row.fallback != 0)
        line += QStringLiteral(" (default: %1)").arg(QLatin1String(row.fallback));
    return line + QLatin1Char('\n');
}
