// readkey as a user runs it: a process that is given arguments, and what it writes and returns.
#pragma once

#include "tests/support/testkey.h"

#include <QtCore/QProcess>

#include <csignal>

#include <pwd.h>
#include <sys/resource.h>
#include <unistd.h>

struct Run {
    int status = -1; // that of the exit
    int signal = 0;  // by which it ended; 0: none
    QString out;
    QString err;
};

// In a key's directory. Arguments and output have KEY in the place of its path.
class Readkey : public QProcess {
public:
    explicit Readkey(const TestKey& key, const QString& zone = "UTC")
        : m_path(key.mountPath()) {
        setWorkingDirectory(m_path);
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.remove("QT_LOGGING_RULES");
        setProcessEnvironment(environment);
        set("LC_ALL", "C");
        set("TZ", zone);
    }

    void set(const char* variable, const QString& value) {
        QProcessEnvironment environment = processEnvironment();
        environment.insert(variable, value);
        setProcessEnvironment(environment);
    }

    Run run(QStringList arguments) {
        QStringList command =
            QString(READKEY_EMULATOR "|" READKEY_PROGRAM).split('|', Qt::SkipEmptyParts);
        const QString program = command.takeFirst();
        start(program, command + arguments.replaceInStrings("KEY", m_path));
        if (!waitForFinished(120000))
            return {};
        Run result{exitCode(), 0, QString::fromUtf8(readAllStandardOutput()).replace(m_path, "KEY"),
                   QString::fromUtf8(readAllStandardError()).replace(m_path, "KEY")};
        if (exitStatus() == CrashExit)
            std::swap(result.status, result.signal);
        return result;
    }
    // Arguments as they are typed.
    Run run(const QString& arguments) { return run(splitCommand(arguments)); }

    bool asOrdinaryUser = false; // root is refused nothing
    bool outputIsUnread = false;
    rlim_t fileSizeLimit = RLIM_INFINITY;

protected:
    void setupChildProcess() override {
        const rlimit limit{fileSizeLimit, fileSizeLimit};
        if (fileSizeLimit != RLIM_INFINITY && ::setrlimit(RLIMIT_FSIZE, &limit) != 0)
            ::_exit(99);
        int pipe[2] = {-1, -1};
        if (outputIsUnread && (::pipe(pipe) != 0 || ::dup2(pipe[1], STDOUT_FILENO) < 0))
            ::_exit(99);
        ::close(pipe[0]);
        ::close(pipe[1]);
        const passwd* user = asOrdinaryUser && ::getuid() == 0 ? ::getpwnam("nobody") : nullptr;
        if (user && (::setgid(user->pw_gid) != 0 || ::setuid(user->pw_uid) != 0))
            ::_exit(99);
    }

private:
    QString m_path;
};
