// The process's standard streams. Standard error carries lines for people ("readkey: ...") and, on
// a terminal, a progress bar; standard output carries the results. Everything here belongs to the
// main thread; the state behind the functions is the process's own, like the streams themselves.
#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

namespace readkey {

namespace console {

// Call it first. Makes sure that the three standard descriptors are taken (so that no file of ours
// can become one of them), turns a closed pipe and a file-size limit into write errors, lets the
// first SIGINT, SIGTERM or SIGHUP end the work in an orderly way, and sends Qt's messages through
// line().
void prepareProcess();

// Whether the user asked the process to end. A second request ends it at once.
bool isInterrupted();

// Debug lines are off unless wanted here or by the environment's QT_LOGGING_RULES.
void setDebugLines(bool wanted);

// Writes one line to standard error, unsafe characters shown as escapes.
void line(const QString& text);

// line() with "readkey: " before it.
void error(const QString& text);

// The bar is drawn only where standard error is a terminal and `wanted`; any line removes it.
void showProgress(int percent, bool wanted);
void removeProgress();

} // namespace console

// Standard output, unbuffered. After the first failure nothing more is written.
class StandardOutput {
public:
    void write(const QByteArray& bytes);
    void write(const QString& text) { write(text.toUtf8()); }

    bool hasFailed() const { return m_error != 0; }
    QString reason() const; // of the failure
    static bool isTerminal();

private:
    int m_error = 0; // an errno
};

} // namespace readkey
