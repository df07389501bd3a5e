// A program as a user runs it: from a shell, with what it writes and returns.
#pragma once

#include "tests/support/testkey.h"

#include <QtCore/QProcess>

struct Run {
    int status = -1; // 128 and the signal's number where a signal ended it, as shells tell it
    QString out;
    QString err;
};

// QProcess itself starts a child by a system call that the target's emulator does not know. For a
// derived class it forks, because such a class may have work for the child.
class ChildProcess : public QProcess {};

// Runs a script of sh in the key's directory. In it PROGRAM stands for the program under test, and
// KEY for the key's path; KEY stands for that path in the output, too. The time zone is UTC.
inline Run shell(const TestKey& key, QString script) {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove("QT_LOGGING_RULES");
    environment.insert("LC_ALL", "C");
    environment.insert("TZ", "UTC");
    ChildProcess process;
    process.setProcessEnvironment(environment);
    process.setWorkingDirectory(key.mountPath());
    process.setStandardInputFile(QProcess::nullDevice());
    script.replace("PROGRAM", TEST_PROGRAM).replace("KEY", key.mountPath());
    process.start("sh", {"-ec", script});
    if (!process.waitForFinished(120000))
        return {};
    const bool wasKilled = process.exitStatus() == QProcess::CrashExit;
    const auto text = [&](const QByteArray& bytes) {
        return QString::fromUtf8(bytes).replace(key.mountPath(), "KEY");
    };
    return {process.exitCode() + (wasKilled ? 128 : 0), text(process.readAllStandardOutput()),
            text(process.readAllStandardError())};
}
