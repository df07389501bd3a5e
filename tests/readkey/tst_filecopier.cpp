// The copier handles what people cannot get again: for each thing that may be in its way there is
// one outcome, and in none of them is half a file left behind or another file touched.
#include "tests/faults/faultshim.h"
#include "tests/support/rows.h"
#include "tests/support/testkey.h"
#include "tools/readkey/filecopier.h"

#include <QtTest/QtTest>

#include <cerrno>
#include <functional>

using readkey::FileCopier;

namespace {

const char name[] = "M_20240315_0830_A.DDD";
const QByteArray large = QByteArray(70000, 'a') + "b"; // more than the copier reads at a time

struct Situation {
    // On top of a file on the key, and an empty directory "copies".
    std::function<void(const TestKey&)> arrange = [](const TestKey&) {};
    QString source = QString("download/") + name;
    // Which system call fails, below which path.
    QString below;
    const char* call = "";
    int nth = 1;
    int error = 0;

    FileCopier::Outcome outcome = FileCopier::Failed;
    QString text;                   // error or warning
    QByteArray left = QByteArray(); // contents of the copy
};

using Arrangement = std::function<void(const TestKey&)>;

Arrangement alreadyThere(const QByteArray& bytes) {
    return [bytes](const TestKey& key) { key.write(QString("copies/") + name, bytes); };
}

} // namespace

Q_DECLARE_METATYPE(Situation)

class TestFileCopier : public QObject {
    Q_OBJECT

    static void row(const char* title, const Situation& situation) {
        QTest::newRow(title) << situation;
    }
    static void addWhatMayBeThere();
    static void addBadSources();
    static void addFaults();

private Q_SLOTS:
    void copies_data() {
        QTest::addColumn<Situation>("situation");
        addWhatMayBeThere();
        addBadSources();
        addFaults();
    }

    void copies();
};

void TestFileCopier::addWhatMayBeThere() {
    Situation copied;
    copied.outcome = FileCopier::Copied;
    copied.left = large;
    row("nothing is there", copied);

    const auto there = [](const char* title, const Arrangement& arrange,
                          FileCopier::Outcome outcome, const QString& text,
                          const QByteArray& left) {
        Situation situation;
        situation.arrange = arrange;
        situation.outcome = outcome;
        situation.text = text;
        situation.left = left;
        row(title, situation);
    };
    const QString other = "another file with this name is there; it was left alone";
    const QString noFile = "what is there under this name is not a file; it was left alone";
    const QByteArray otherEnd = QByteArray(70000, 'a') + "c";
    const QByteArray otherBegin = "c" + large.mid(1);
    there("the same bytes", alreadyThere(large), FileCopier::Kept, "", large);
    there("same size, other begin", alreadyThere(otherBegin), FileCopier::Failed, other,
          otherBegin);
    there("same size, other end", alreadyThere(otherEnd), FileCopier::Failed, other, otherEnd);
    there("longer", alreadyThere(large + "x"), FileCopier::Failed, other, large + "x");
    there("shorter", alreadyThere("a"), FileCopier::Failed, other, "a");
    there("empty", alreadyThere(""), FileCopier::Failed, other, "");
    const QString copy = QString("copies/") + name;
    there(
        "a link to the same bytes",
        [=](const TestKey& key) { key.makeLink(copy, key.path(QString("download/") + name)); },
        FileCopier::Failed, noFile, large);
    there(
        "a link to nothing", [=](const TestKey& key) { key.makeLink(copy, "nothing"); },
        FileCopier::Failed, noFile, "");
    there(
        "a directory", [=](const TestKey& key) { key.makeDir(copy); }, FileCopier::Failed, noFile,
        "");
    there(
        "a pipe", [=](const TestKey& key) { key.makePipe(copy); }, FileCopier::Failed, noFile, "");
}

void TestFileCopier::addBadSources() {
    const auto bad = [](const char* title, const QString& source, const Arrangement& arrange,
                        const QString& text) {
        Situation situation;
        situation.source = source;
        situation.arrange = arrange;
        situation.text = text;
        row(title, situation);
    };
    const QString irregular = "it is no longer a regular file";
    bad(
        "source is a link", "download/link.DDD",
        [](const TestKey& key) { key.makeLink("download/link.DDD", name); }, irregular);
    bad(
        "source is a pipe", "download/pipe.DDD",
        [](const TestKey& key) { key.makePipe("download/pipe.DDD"); }, irregular);
    bad(
        "source has gone", "download/gone.DDD", [](const TestKey&) {}, "No such file or directory");
    // The kernel's own files have no size, but contents: as if they grew meanwhile.
    bad(
        "source grows", "/proc/self/status", [](const TestKey&) {},
        "it changed while it was copied");
}

void TestFileCopier::addFaults() {
    const auto fault = [](const char* title, const char* below, const char* call, int nth,
                          int error, const QString& text) {
        Situation situation;
        situation.below = below;
        situation.call = call;
        situation.nth = nth;
        situation.error = error;
        situation.text = text;
        row(title, situation);
        return situation;
    };
    fault("source cannot be opened", "download", "open", 1, EACCES, "Permission denied");
    fault("disk error at the begin", "download", "read", 1, EIO, "Input/output error");
    fault("disk error in the middle", "download", "read", 2, EIO, "Input/output error");
    fault("early end", "download", "read", 2, 0, "it changed while it was copied");
    fault("target cannot be seen", "copies", "stat", 1, EIO, "Input/output error");
    fault("target cannot be made", "copies", "open", 1, EROFS, "Read-only file system");
    fault("disk is full", "copies", "write", 1, ENOSPC, "No space left on device");
    fault("disk fills", "copies", "write", 2, ENOSPC, "No space left on device");
    fault("sync fails", "copies", "write", 3, EIO, "Input/output error");
    fault("rename fails", "copies", "rename", 1, EIO, "Input/output error");

    Situation untimed;
    untimed.outcome = FileCopier::Copied;
    untimed.left = large;
    untimed.text = "copied, but its modification time could not be set";
    untimed.below = "copies";
    untimed.call = "write";
    untimed.nth = 4;
    untimed.error = EPERM;
    row("time is refused", untimed);
    untimed.error = 0;
    row("time is not kept", untimed);
}

void TestFileCopier::copies() {
    QFETCH(Situation, situation);
    const TestKey key;
    key.write(QString("download/") + name, large);
    key.makeDir("copies");
    situation.arrange(key);
    const QDateTime time(QDate(2024, 3, 15), QTime(8, 30), Qt::UTC);
    FileCopier copier(key.path("copies"));
    QVERIFY2(copier.open({key.path("download")}), qPrintable(copier.error()));
    faults_arm(qPrintable(key.path(situation.below)), situation.call, situation.nth,
               situation.error);
    const QString source = QDir(key.mountPath()).absoluteFilePath(situation.source);
    const FileCopier::Outcome outcome = copier.copy(source, time);
    faults_disarm();

    QCOMPARE(outcome == FileCopier::Failed ? copier.error() : copier.warning(), situation.text);
    QCOMPARE(outcome, situation.outcome);
    const QDir copies(key.path("copies"));
    for (const QString& left :
         copies.entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot))
        QCOMPARE(left, QString(name)); // nothing under a temporary name
    QFile copy(copies.filePath(name));
    const bool isFile = QFileInfo(copy).isFile() && copy.open(QIODevice::ReadOnly);
    QCOMPARE(isFile ? copy.readAll() : QByteArray(), situation.left);
    QCOMPARE(QFileInfo(copy).lastModified() == time,
             outcome == FileCopier::Copied && situation.text.isEmpty());
}

QTEST_GUILESS_MAIN(TestFileCopier)
#include "tst_filecopier.moc"
