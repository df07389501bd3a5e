#include "console.h"

#include "text.h"

#include <QtCore/QLoggingCategory>

#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace readkey {

namespace {

volatile std::sig_atomic_t interruptRequested = 0;
bool progressIsShown = false;

void requestInterrupt(int /*signal*/) {
    interruptRequested = 1;
}

// Writes all bytes; returns 0 or the errno of the failure.
int writeAll(int descriptor, const QByteArray& bytes) {
    int written = 0;
    while (written < bytes.size()) {
        const ssize_t count = ::write(descriptor, bytes.constData() + written,
                                      static_cast<size_t>(bytes.size() - written));
        if (count >= 0) {
            written += static_cast<int>(count);
        } else if (errno == EAGAIN) {
            pollfd waiting{descriptor, POLLOUT, 0};
            ::poll(&waiting, 1, -1);
        } else if (errno != EINTR) {
            return errno;
        }
    }
    return 0;
}

void takeStandardDescriptors() {
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
        if (::fcntl(descriptor, F_GETFD) != -1)
            continue;
        // Open for reading only, so that writing results to a closed output still fails.
        const int mode = descriptor == STDERR_FILENO ? O_WRONLY : O_RDONLY;
        if (::open("/dev/null", mode) != descriptor)
            ::_exit(1);
    }
}

void writeQtMessage(QtMsgType /*type*/, const QMessageLogContext& /*context*/,
                    const QString& text) {
    console::line(text);
}

} // namespace

namespace console {

void prepareProcess() {
    takeStandardDescriptors();
    struct sigaction ignored {};
    ignored.sa_handler = SIG_IGN;
    ::sigaction(SIGPIPE, &ignored, nullptr);
    ::sigaction(SIGXFSZ, &ignored, nullptr);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction action {};
        ::sigaction(number, nullptr, &action);
        if (action.sa_handler == SIG_IGN) // as under nohup
            continue;
        action.sa_handler = requestInterrupt;
        action.sa_flags = static_cast<int>(SA_RESETHAND);
        ::sigaction(number, &action, nullptr);
    }
    qInstallMessageHandler(writeQtMessage);
}

bool isInterrupted() {
    return interruptRequested != 0;
}

void setDebugLines(bool wanted) {
    if (wanted)
        QLoggingCategory::setFilterRules(QStringLiteral("default.debug=true"));
    else if (!qEnvironmentVariableIsSet("QT_LOGGING_RULES"))
        QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false"));
}

void line(const QString& text) {
    removeProgress();
    writeAll(STDERR_FILENO, printable(text).toUtf8() + '\n');
}

void error(const QString& text) {
    line(QStringLiteral("readkey: ") + text);
}

void showProgress(int percent, bool wanted) {
    static const bool onTerminal = ::isatty(STDERR_FILENO) == 1;
    if (!wanted || !onTerminal)
        return;
    constexpr int width = 40;
    const int filled = qBound(0, percent, 100) * width / 100;
    writeAll(STDERR_FILENO, "\r[" + QByteArray(filled, '#') + QByteArray(width - filled, ' ') +
                                "] " + QByteArray::number(percent).rightJustified(3) + '%');
    progressIsShown = true;
}

void removeProgress() {
    if (!progressIsShown)
        return;
    progressIsShown = false;
    writeAll(STDERR_FILENO, QByteArrayLiteral("\r\033[K"));
}

} // namespace console

void StandardOutput::write(const QByteArray& bytes) {
    if (m_error == 0)
        m_error = writeAll(STDOUT_FILENO, bytes);
}

QString StandardOutput::reason() const {
    return qt_error_string(m_error);
}

bool StandardOutput::isTerminal() {
    return ::isatty(STDOUT_FILENO) == 1;
}

} // namespace readkey
