// Sessions with a program, as a user has them in a terminal: commands, and what they show. A text
// file has many, each with a key of its own:
//
//     == KEY: what is expected of the program
//     ? a command without which the session is skipped
//     $ a command
//     > its next line
//     what it writes to the standard output, without carriage returns
//     ! what it writes to the standard error
//     [its status, unless it is 0; below 0 the signal that ended it]
//
// Lines that begin with '#' are comments. shell.h says how a command is run.
#pragma once

#include "tests/support/datatable.h"
#include "tests/support/lines.h"
#include "tests/support/shell.h"

// The rows of a data-driven test: what is expected, the name of a key, and the lines of a session.
inline void sessionRows(const QString& fileName) {
    const auto row = columns<QString, QStringList>("key", "lines");
    for (const QString& session : dataFile(fileName).split("\n== ").mid(1)) {
        const QString heading = session.section('\n', 0, 0);
        row(heading.toUtf8(), heading.section(':', 0, 0), session.split('\n').mid(1));
    }
}

// What a command shows.
inline QStringList shownBy(const TestKey& key, const QString& command) {
    const Run run = shell(key, command);
    QString text =
        run.out + QString(run.err).replace(
                      QRegularExpression("^(?=.)", QRegularExpression::MultilineOption), "! ");
    if (run.status != 0)
        text += QString("[%1]\n").arg(run.status);
    text.chop(text.endsWith('\n') ? 1 : 0);
    return text.isEmpty() ? QStringList() : text.remove('\r').split('\n');
}

// Runs the session of the present row.
inline void runSession(const TestKey& key) {
    QFETCH(QStringList, lines);
    QStringList expected;
    QStringList shown;
    QString command;
    for (int i = 0; i < lines.size(); ++i) {
        const QString sign = lines.at(i).left(2);
        const QString text = lines.at(i).mid(2);
        if (sign == "? " && shell(key, text).status != 0)
            QSKIP(qPrintable("this fails here: " + text));
        if (sign != "? " && !sign.startsWith('#'))
            expected << lines.at(i);
        if (sign != "$ " && sign != "> ")
            continue;
        shown << lines.at(i);
        command = sign == "$ " ? text : command + '\n' + text;
        if (!lines.value(i + 1).startsWith("> "))
            shown << shownBy(key, command);
    }
    for (QStringList* list : {&expected, &shown}) {
        while (!list->isEmpty() && list->last().isEmpty()) // before the next session
            list->removeLast();
    }
    compareLines(shown.join('\n'), expected.join('\n'));
}
