// readkey as a user runs it: a process that is given arguments, and what it writes and returns.
#pragma once

#include <QtCore/QProcess>
#include <QtCore/QString>

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

class Readkey : public QProcess {
public:
    explicit Readkey(const QString& zone = QStringLiteral("UTC")) {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C"));
        environment.remove(QStringLiteral("QT_LOGGING_RULES"));
        setProcessEnvironment(environment);
        set("TZ", zone);
    }

    void set(const char* variable, const QString& value) {
        QProcessEnvironment environment = processEnvironment();
        environment.insert(QLatin1String(variable), value);
        setProcessEnvironment(environment);
    }

    Run run(const QStringList& arguments) {
        QStringList command = QStringLiteral(READKEY_EMULATOR "|" READKEY_PROGRAM)
                                  .split(QLatin1Char('|'), Qt::SkipEmptyParts);
        const QString program = command.takeFirst();
        start(program, command + arguments);
        if (!waitForFinished(120000))
            return {};
        Run result{exitCode(), 0, QString::fromUtf8(readAllStandardOutput()),
                   QString::fromUtf8(readAllStandardError())};
        if (exitStatus() == CrashExit)
            std::swap(result.status, result.signal);
        return result;
    }

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
};
