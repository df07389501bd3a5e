// The copier handles what people cannot get again: for each thing that may be in its way there is
// one outcome, and in none of them is half a file left behind or another file touched.
#include "tests/support/datatable.h"
#include "tests/support/faultshim.h"
#include "tests/support/shell.h"
#include "tools/readkey/filecopier.h"

#include <QtTest/QtTest>

using readkey::FileCopier;

class TestFileCopier : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { RunLog::show(); }

    void copies_data() {
        tableRows<QString, QString, QString, QString, QString>("copier.txt", "source", "there",
                                                               "fault", "outcome", "message");
    }

    void copies() {
        QFETCH(QString, source);
        QFETCH(QString, there);
        QFETCH(QString, fault);
        QFETCH(QString, outcome);
        const TestKey key;
        key.write("download/file", QByteArray(70000, 'a') + 'b'); // more than is read at a time
        key.makeLink("download/link", "file");
        key.makePipe("download/pipe");
        key.makeDir("copies");
        outputOf(key, there);
        const QString look =
            "cd copies; ls -lA --time-style=full-iso; find -type f -exec cksum {} +";
        const QString before = outputOf(key, look);
        const QDateTime time(QDate(2024, 3, 15), QTime(8, 30), Qt::UTC);
        FileCopier copier(key.path("copies"));
        QVERIFY2(copier.open({key.path("download")}), qPrintable(copier.error()));

        const uint descriptors = QDir("/proc/self/fd").count();
        if (!fault.isEmpty())
            faults_arm(qPrintable(key.path(fault.section(' ', 0, 0))),
                       qPrintable(fault.section(' ', 1)));
        const int result = copier.copy(QDir(key.path("download")).absoluteFilePath(source), time);
        QVERIFY2(faults_disarm() > 0 || fault.isEmpty(), "no such call was seen");

        QCOMPARE(QDir("/proc/self/fd").count(), descriptors);
        QCOMPARE(QStringList({"copied", "kept", "failed"}).value(result), outcome);
        QTEST(result == FileCopier::Failed ? copier.error() : copier.warning(), "message");
        QCOMPARE(QFileInfo(key.path("copies/file")).lastModified() == time,
                 outcome == "copied" && copier.warning().isEmpty());
        if (outcome == "copied") {
            QCOMPARE(outputOf(key, "cmp download/file copies/file; ls -A copies"),
                     QString("file\n"));
            QCOMPARE(copier.copy(key.path("download/file"), time), FileCopier::Kept);
            QCOMPARE(copier.warning(), QString());
        } else {
            QCOMPARE(outputOf(key, look), before);
        }
    }
};

QTEST_GUILESS_MAIN(TestFileCopier)
#include "tst_filecopier.moc"
