// A program as a user runs it: from a shell, with what it writes and returns.
#pragma once

#include "tests/support/testkey.h"

#include <QtCore/QProcess>
#include <QtCore/QRegularExpression>

#include <csignal>

struct Run {
    int status; // 128 and the signal's number where a signal ended it, as shells tell it
    QString out;
    QString err;
};

// QProcess itself starts a child by a system call that the target's emulator does not know. For a
// derived class it forks, because such a class may have work for the child.
class ChildProcess : public QProcess {
    // A script's background job ignores SIGINT, and what it starts would do so, too.
    void setupChildProcess() override { ::signal(SIGINT, SIG_DFL); }
};

// Runs a script of sh in the key's directory. In it the word PROGRAM stands for the program under
// test, and KEY for the key's path; KEY stands for that path in the output, too. The time zone is
// UTC, and a terminal has colours.
inline Run shell(const TestKey& key, QString script) {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char* unset : {"QT_LOGGING_RULES", "NO_COLOR"})
        environment.remove(unset);
    for (const auto& [variable, value] :
         {std::pair("LC_ALL", "C"), {"TZ", "UTC"}, {"TERM", "xterm"}, {"SHELL", "/bin/sh"}})
        environment.insert(variable, value);
    ChildProcess process;
    process.setProcessEnvironment(environment);
    process.setWorkingDirectory(key.mountPath());
    process.setStandardInputFile(QProcess::nullDevice());
    script.replace(QRegularExpression("\\bPROGRAM\\b"), TEST_PROGRAM);
    script.replace(QRegularExpression("\\bKEY\\b"), key.mountPath());
    process.start("sh", {"-ec", script});
    if (!process.waitForFinished(120000))
        qFatal("%s: %s", qPrintable(script), qPrintable(process.errorString()));
    const bool wasKilled = process.exitStatus() == QProcess::CrashExit;
    const auto text = [&key](const QByteArray& bytes) {
        return QString::fromUtf8(bytes).replace(key.mountPath(), "KEY");
    };
    return {process.exitCode() + (wasKilled ? 128 : 0), text(process.readAllStandardOutput()),
            text(process.readAllStandardError())};
}

// What a script writes that must succeed and has nothing to complain of.
inline QString outputOf(const TestKey& key, const QString& script) {
    const Run run = shell(key, script);
    if (run.status != 0 || !run.err.isEmpty())
        qFatal("%s: status %d, %s", qPrintable(script), run.status, qPrintable(run.err));
    return run.out;
}
