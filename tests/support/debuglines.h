// Collects the debug lines that are written while it lives, as a host's message handler would get
// them, and leaves them turned off. One at a time, on the thread that creates it.
#pragma once

#include <QtCore/QLoggingCategory>
#include <QtCore/QStringList>
#include <QtCore/QtGlobal>

class DebugLines {
public:
    inline static QStringList lines;

    DebugLines() {
        lines.clear();
        QLoggingCategory::defaultCategory()->setEnabled(QtDebugMsg, true);
        s_previous = qInstallMessageHandler(take);
    }
    ~DebugLines() {
        qInstallMessageHandler(s_previous);
        QLoggingCategory::defaultCategory()->setEnabled(QtDebugMsg, false);
    }
    Q_DISABLE_COPY(DebugLines)

private:
    static void take(QtMsgType type, const QMessageLogContext& context, const QString& text) {
        if (type == QtDebugMsg)
            lines.append(text);
        else
            s_previous(type, context, text);
    }

    inline static QtMessageHandler s_previous = nullptr;
};
