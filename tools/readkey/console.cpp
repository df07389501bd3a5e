#include "console.h"

#include "text.h"

#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace readkey::console {

namespace {

volatile std::sig_atomic_t interruptingSignal = 0;
int shownProgress = -1; // percent

// Writes all bytes; returns 0 or the errno of the failure, EINTR for an interruption.
int writeAll(int descriptor, const char* bytes, qint64 size) {
    while (size > 0) {
        const ssize_t count = ::write(descriptor, bytes, static_cast<size_t>(size));
        if (count >= 0) {
            bytes += count;
            size -= count;
        } else if (errno == EAGAIN) {
            pollfd waiting{descriptor, POLLOUT, 0};
            ::poll(&waiting, 1, -1);
        } else if (errno != EINTR || interruption() != 0) {
            return errno;
        }
    }
    return 0;
}

void writeError(const QByteArray& bytes) {
    writeAll(STDERR_FILENO, bytes.constData(), bytes.size());
}

} // namespace

void prepareProcess() {
    // Open for reading only, so that writing results to a closed output still fails.
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
        if (::fcntl(descriptor, F_GETFD) == -1 && ::open("/dev/null", O_RDONLY) != descriptor)
            ::_exit(1);
    }
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction action {};
        ::sigaction(number, nullptr, &action);
        if (action.sa_handler == SIG_IGN) // as under nohup
            continue;
        action.sa_handler = [](int signal) { interruptingSignal = signal; };
        action.sa_flags = static_cast<int>(SA_RESETHAND);
        ::sigaction(number, &action, nullptr);
    }
    qInstallMessageHandler([](QtMsgType /*type*/, const QMessageLogContext& /*context*/,
                              const QString& text) { line(text); });
}

int interruption() {
    return interruptingSignal;
}

void endBySignal(int number) {
    std::signal(number, SIG_DFL);
    std::raise(number);
    ::_exit(128 + number); // if the signal is blocked
}

void line(const QString& text) {
    removeProgress();
    writeError(printable(text).toUtf8() + '\n');
}

void error(const QString& text) {
    line(QStringLiteral("readkey: ") + text);
}

void endWithoutMemory() {
    removeProgress();
    writeError(QByteArrayLiteral("readkey: not enough memory\n"));
    ::_exit(1); // what the C library would call allocates
}

bool isOneTerminal() {
    const QByteArray out = ::ttyname(STDOUT_FILENO);
    return !out.isEmpty() && out == ::ttyname(STDERR_FILENO);
}

void showProgress(int percent) {
    static const bool isWanted = ::isatty(STDERR_FILENO) == 1 && qgetenv("TERM") != "dumb";
    if (!isWanted || percent <= shownProgress)
        return;
    constexpr int width = 32; // with the percentage it fits 40 columns
    shownProgress = percent;
    const int filled = percent * width / 100;
    writeError("\r[" + QByteArray(filled, '#') + QByteArray(width - filled, ' ') + "] " +
               QByteArray::number(percent).rightJustified(3) + '%');
}

void removeProgress() {
    if (shownProgress >= 0)
        writeError(QByteArrayLiteral("\r\033[K"));
    shownProgress = -1;
}

qint64 StandardOutput::writeData(const char* data, qint64 size) {
    if (m_error == 0)
        m_error = interruption() != 0 ? EINTR : writeAll(STDOUT_FILENO, data, size);
    return size;
}

} // namespace readkey::console
