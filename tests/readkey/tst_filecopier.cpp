// The copier handles what people cannot get again: for each thing that may be in its way there is
// one outcome, and in none of them is half a file left behind or another file touched.
#include "tests/faults/faultshim.h"
#include "tests/support/datatable.h"
#include "tests/support/rows.h"
#include "tests/support/testkey.h"
#include "tools/readkey/filecopier.h"

#include <QtTest/QtTest>

using readkey::FileCopier;

namespace {

const QByteArray large = QByteArray(70000, 'a') + "b"; // more than the copier reads at a time

void putThere(const TestKey& key, const QString& what) {
    const QHash<QString, QByteArray> files{{"the same", large},
                                           {"other begin", "c" + large.mid(1)},
                                           {"other end", large.chopped(1) + "c"},
                                           {"longer", large + "x"},
                                           {"shorter", "a"},
                                           {"empty", ""}};
    if (files.contains(what))
        key.write("copies/file", files[what]);
    else if (what == "link to file")
        key.makeLink("copies/file", key.path("download/file"));
    else if (what == "link to nothing")
        key.makeLink("copies/file", "nothing");
    else if (what == "directory")
        key.makeDir("copies/file");
    else if (what == "pipe")
        key.makePipe("copies/file");
}

// Kind and contents of all that is in the directory, which tell whether it was touched.
QStringList contents(const QString& directory) {
    QStringList all;
    for (const QFileInfo& entry : QDir(directory).entryInfoList(
             QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot)) {
        QFile file(entry.filePath());
        const bool isFile = entry.isFile() && file.open(QIODevice::ReadOnly);
        all << entry.fileName() << entry.symLinkTarget() << (entry.isDir() ? "directory" : "")
            << (isFile ? file.readAll() : "");
    }
    return all;
}

} // namespace

class TestFileCopier : public QObject {
    Q_OBJECT

private Q_SLOTS:
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
        key.write("download/file", large);
        key.makeLink("download/link", "file");
        key.makePipe("download/pipe");
        key.makeDir("copies");
        putThere(key, there);
        const QStringList before = contents(key.path("copies"));
        const QDateTime time(QDate(2024, 3, 15), QTime(8, 30), Qt::UTC);
        FileCopier copier(key.path("copies"));
        QVERIFY2(copier.open({key.path("download")}), qPrintable(copier.error()));

        const QStringList words = fault.split(' ');
        faults_arm(qPrintable(key.path(words[0])), qPrintable(words.value(1)),
                   words.value(2).toInt(), words.value(3).toInt());
        const int result = copier.copy(QDir(key.path("download")).absoluteFilePath(source), time);
        faults_disarm();

        QCOMPARE(QStringList({"copied", "kept", "failed"}).value(result), outcome);
        QTEST(result == FileCopier::Failed ? copier.error() : copier.warning(), "message");
        const QStringList copied{"file", "", "", large};
        QCOMPARE(contents(key.path("copies")), outcome == "copied" ? copied : before);
        QCOMPARE(QFileInfo(key.path("copies/file")).lastModified() == time,
                 outcome == "copied" && copier.warning().isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestFileCopier)
#include "tst_filecopier.moc"
