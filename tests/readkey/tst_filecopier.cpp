// The copier handles what people cannot get again: for each thing that may be in its way there is
// one outcome, and in none of them is half a file left behind or another file touched.
#include "tests/support/datatable.h"
#include "tests/support/faultshim.h"
#include "tests/support/shell.h"
#include "tools/readkey/filecopier.h"

#include <QtTest/QtTest>

#include <csignal>
#include <functional>

using readkey::FileCopier;

namespace {

const QByteArray contents = QByteArray(70000, 'a') + 'b'; // more than is read at a time
const QDateTime downloaded(QDate(2024, 3, 15), QTime(8, 30), Qt::UTC);
std::function<void()> atSignal;

} // namespace

class TestFileCopier : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { showRuns(); }

    void copiesOrLeavesAllAsItWas_data() {
        tableRows<QString, QString, QString, QString, QString>("copier.txt", "source", "there",
                                                               "fault", "outcome", "message");
    }

    void copiesOrLeavesAllAsItWas() {
        QFETCH(QString, source);
        QFETCH(QString, there);
        QFETCH(QString, fault);
        QFETCH(QString, outcome);
        const TestKey key("copies");
        key.write("download/file", contents);
        outputOf(key, "ln -s file download/link; " + there);
        const QString look =
            "cd copies; ls -lA --time-style=full-iso; find -type f -exec cksum {} +";
        const QString before = outputOf(key, look);
        FileCopier copier(key.path("copies"));
        QCOMPARE(copier.open({key.path("download")}), QString());

        const uint descriptors = QDir("/proc/self/fd").count();
        if (!fault.isEmpty())
            faults_arm(qPrintable(key.path(fault.section(' ', 0, 0))),
                       qPrintable(fault.section(' ', 1)));
        const FileCopier::Result result =
            copier.copy(QDir(key.path("download")).filePath(source), downloaded);
        QVERIFY2(faults_disarm() > 0 || fault.isEmpty(), "no such call was seen");

        QCOMPARE(QDir("/proc/self/fd").count(), descriptors);
        QCOMPARE(QStringList({"", "copied", "kept", "failed"}).value(result.outcome), outcome);
        QTEST(result.message, "message");
        QCOMPARE(QFileInfo(key.path("copies/file")).lastModified() == downloaded,
                 outcome == "copied" && result.message.isEmpty());
        if (outcome == "copied") {
            QCOMPARE(outputOf(key, "cmp download/file copies/file; ls -A copies; touch new; "
                                   "stat -c %a new copies/file | uniq | wc -l"),
                     QString("file\n1\n"));
            const FileCopier::Result again = copier.copy(key.path("download/file"), downloaded);
            QCOMPARE(again.outcome, FileCopier::Kept);
            QCOMPARE(again.message, QString());
        } else {
            QCOMPARE(outputOf(key, look), before);
        }
    }

    // Something takes the name while the copy is written. On file systems without links, or without
    // files that have no name, the copier does its work with other calls.
    void leavesWhatAppearsMeanwhile() {
        const TestKey key("copies");
        key.write("download/file", contents);
        FileCopier copier(key.path("copies"));
        atSignal = [&] { key.write("copies/file", contents); };
        std::signal(SIGUSR1, [](int) { atSignal(); });
        for (const char* missing : {"", "tmpfile", "tmpfile link"}) {
            faults_arm(qPrintable(key.path("copies")), "sync 1 SIGUSR1");
            faults_miss(missing);
            QCOMPARE(copier.copy(key.path("download/file"), downloaded).outcome, FileCopier::Kept);
            faults_disarm();
            QCOMPARE(outputOf(key, "rm copies/file; ls -A copies"), QString());
        }
    }

    void leavesNoHalfFileWhenACallFails_data() {
        // A call whose failure does not matter to the copy is in parentheses. In brackets: the copy
        // may be lost in a cut of power.
        const auto row = columns<QString, QString>("missing", "calls");
        const QString start = "open (stat) stat stat tmpfile ";
        const QString write = "(stat) read (stat) write read (read) write read (settime) (stat) "
                              "(setmode) sync ";
        row("all there", "", start + write + "(link) [open] [sync]");
        row("files without a name", "tmpfile",
            start + "open " + write + "(link) (unlink) [open] [sync]");
        row("and links", "tmpfile link", start + "open " + write + "(link) rename [open] [sync]");
    }

    // The calls of a copy, in their order, on file systems that do not have all of them. Each fails
    // in turn.
    void leavesNoHalfFileWhenACallFails() {
        QFETCH(QString, missing);
        QFETCH(QString, calls);
        const QStringList words = calls.split(' ');
        for (int at = 0; at <= words.size(); ++at) {
            const TestKey key("copies");
            key.write("download/file", contents);
            FileCopier copier(key.path("copies"));
            faults_arm(qPrintable(key.mountPath()), qPrintable(QString("any %1 EIO").arg(at)));
            faults_miss(qPrintable(missing));
            const bool isCopied =
                copier.copy(key.path("download/file"), downloaded).outcome == FileCopier::Copied;
            const bool isSynced = copier.sync() == 0;
            faults_disarm();

            if (at == 0)
                QCOMPARE(QString(faults_seen()),
                         QString(calls).remove(QRegularExpression("[][()]")));
            const QString failed = at == 0 ? "()" : words[at - 1];
            QVERIFY2(isCopied == (failed[0] == '(' || failed[0] == '['), qPrintable(failed));
            QVERIFY2(isSynced == (failed[0] != '['), qPrintable(failed));
            QCOMPARE(outputOf(key, "ls -A copies | sed 's/y-......$/y-XXXXXX/'"),
                     QString(failed == "(unlink)" ? ".readkey-XXXXXX\n" : "") +
                         (isCopied ? "file\n" : ""));
            if (isCopied)
                outputOf(key, "cmp download/file copies/file");
        }
    }
};

QTEST_GUILESS_MAIN(TestFileCopier)
#include "tst_filecopier.moc"
