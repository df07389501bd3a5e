// A program as a user runs it: from a shell, with what it writes and returns.
#pragma once

#include "tests/support/testkey.h"

#include <QtCore/QProcess>
#include <QtCore/QRegularExpression>
#include <QtTest/QtTest>

#include <csignal>

struct Run {
    int status; // below 0 the signal that ended it
    QString out;
    QString err;
};

// QProcess itself starts a child by a system call that the target's emulator does not know. For a
// derived class it forks, because such a class may have work for the child.
class ChildProcess : public QProcess {
    // A script's background job ignores SIGINT, and what it starts would do so, too.
    void setupChildProcess() override { ::signal(SIGINT, SIG_DFL); }
};

// What each run of the present test did. A test class calls showRuns() in its slot cleanup(): a
// failed test then ends with its commands, their statuses and all that they wrote.
inline QStringList runs;
inline void showRuns() {
    for (const QString& run : QTest::currentTestFailed() ? qAsConst(runs) : QStringList())
        qWarning("%s", qPrintable(run));
    runs.clear();
}

// Words of scripts, and what they stand for. A test may add some.
inline QMap<QString, QString> scriptWords{{"PROGRAM", TEST_PROGRAM}};

// Runs a script of sh in the key's directory. In it the word PROGRAM stands for the program under
// test, and KEY for the key's path; KEY stands for that path in the output, too. The time zone is
// UTC, and a terminal has colours.
inline Run shell(const TestKey& key, QString script) {
    const QString environment = "unset QT_LOGGING_RULES NO_COLOR\n"
                                "export LC_ALL=C TZ=UTC TERM=xterm SHELL=/bin/sh\n";
    ChildProcess process;
    process.setWorkingDirectory(key.mountPath());
    process.setStandardInputFile(QProcess::nullDevice());
    for (auto word = scriptWords.cbegin(); word != scriptWords.cend(); ++word)
        script.replace(QRegularExpression("\\b" + word.key() + "\\b"), word.value());
    QString command = script;
    command.replace(QRegularExpression("\\bKEY\\b"), key.mountPath());
    process.start("sh", {"-ec", environment + command});
    if (!process.waitForFinished(120000))
        qFatal("%s: %s", qPrintable(script), qPrintable(process.errorString()));
    const bool wasKilled = process.exitStatus() == QProcess::CrashExit;
    const auto text = [&key](const QByteArray& bytes) {
        return QString::fromUtf8(bytes).replace(key.mountPath(), "KEY");
    };
    Run run{wasKilled ? -process.exitCode() : process.exitCode(),
            text(process.readAllStandardOutput()), text(process.readAllStandardError())};
    runs << QString("$ %1\nstatus %2, standard output:\n%3\nstandard error:\n%4")
                .arg(script, QString::number(run.status), run.out, run.err)
                .replace('\x1B', "\\x1B");
    return run;
}

// What a script writes that must succeed and has nothing to complain of. Otherwise the test fails.
inline QString outputOf(const TestKey& key, const QString& script) {
    const Run run = shell(key, script);
    if (run.status != 0 || !run.err.isEmpty())
        QTest::qFail(qPrintable("this command fails: " + script), __FILE__, __LINE__);
    return run.out;
}
