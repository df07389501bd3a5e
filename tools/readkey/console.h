// The process's standard streams and signals. Standard output gets the results; standard error gets
// lines for people ("readkey: ...") and, on a terminal, a progress bar. For the main thread only.
#pragma once

#include <QtCore/QIODevice>

namespace readkey::console {

// Call it first. Opens missing standard descriptors (so that no other file becomes one of them),
// turns a closed pipe and a file-size limit into write errors, lets the first SIGINT, SIGTERM or
// SIGHUP end the work in an orderly way, and sends Qt's messages through line().
void prepareProcess();

// The signal by which the user asked the process to end, or 0. A second one ends it at once.
int interruption();

// Ends the process by the signal's default action, so that a shell's loop ends too.
[[noreturn]] void endBySignal(int number);

// Writes one line to standard error, unsafe characters shown as escapes.
void line(const QString& text);

// line() with "readkey: " before it.
void error(const QString& text);

// Ends the process with status 1 and "not enough memory", without allocating any.
[[noreturn]] void endWithoutMemory();

// Whether standard output and standard error are the same terminal.
bool isOneTerminal();

// Draws the bar if it grew and standard error is a terminal that can; any line removes it.
void showProgress(int percent);
void removeProgress();

// Standard output, unbuffered. After the first failure or an interruption it writes nothing more,
// but still reports success, so that the work goes on.
class StandardOutput : public QIODevice {
public:
    StandardOutput() { open(QIODevice::WriteOnly | QIODevice::Unbuffered); }

    int failure() const { return m_error; } // an errno, or 0

protected:
    qint64 readData(char* /*data*/, qint64 /*size*/) override { return -1; }
    qint64 writeData(const char* data, qint64 size) override;

private:
    int m_error = 0;
};

} // namespace readkey::console
