// makekey as a user runs it. What it writes is the samples' business, and tested there.
#include "samples/samples.h"
#include "tests/support/childprocess.h"
#include "tests/support/datatable.h"
#include "tests/support/rows.h"
#include "tests/support/testkey.h"

namespace {

struct Result {
    int status = -1;
    QString output;
    QString errors;
};

// Runs makekey, as the command "$@" of a shell.
Result makekey(const QStringList& arguments, const QString& script = "exec \"$@\"") {
    const QStringList program =
        QString(MAKEKEY_EMULATOR "|" MAKEKEY_PROGRAM).split('|', Qt::SkipEmptyParts);
    ChildProcess process;
    process.start("sh", QStringList({"-c", script, "sh"}) + program + arguments);
    if (!process.waitForFinished() || process.exitStatus() != QProcess::NormalExit)
        qFatal("makekey does not end as it should");
    return {process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
}

QByteArray contents(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("missing");
}

} // namespace

Q_DECLARE_METATYPE(samples::KeyOptions)

class TestMakekey : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void keyHoldsTheSampleFilesForTheArguments_data() {
        const auto row = columns<samples::KeyOptions, QString>("options", "summary");
        row("--days 2 --records 3 --files 2 --seed 7 --oddities", {2, 3, 2, 7, true},
            "2 vehicle files, 2 card files, 6 others, %1 bytes");
        row("--days 0 --files 1", {0, 4, 1}, "1 vehicle files, 1 card files, %1 bytes");
    }
    void keyHoldsTheSampleFilesForTheArguments() {
        QFETCH(samples::KeyOptions, options);
        QFETCH(QString, summary);
        const TestKey key;
        key.write("download/mine.txt", "mine");
        key.write("download/M_20240315_0830_AB100CD.DDD", "old");
        const QStringList arguments = QString(QTest::currentDataTag()).split(' ');
        const Result result = makekey(arguments + QStringList(key.mountPath()));
        QCOMPARE(result.errors, QString());
        QCOMPARE(result.status, 0);

        const QDir directory(key.path("download"));
        const std::vector<samples::KeyFile> files = samples::sampleKey(options);
        int bytes = 0;
        for (const samples::KeyFile& file : files) {
            QCOMPARE(contents(directory.filePath(file.name)), file.bytes);
            bytes += file.bytes.size();
        }
        QCOMPARE(contents(directory.filePath("mine.txt")), QByteArray("mine"));
        QCOMPARE(directory.entryList(QDir::Files | QDir::Hidden).size(), int(files.size()) + 1);
        QCOMPARE(result.output, directory.path() + ": " + summary.arg(bytes) + '\n');
    }

    void wrongUsageIsRefused() {
        forEachRow("usage.txt", [](const TableRow& row) {
            const TestKey key;
            QString arguments = row.text("arguments");
            arguments.replace("KEY", key.path("new"));
            const Result result = makekey(arguments.split(' ', Qt::SkipEmptyParts));
            QCOMPARE(result.errors, QString("makekey: %1\n").arg(row.text("message")));
            QCOMPARE(result.status, 2);
            QVERIFY(!key.exists("new"));
        });
    }

    void failuresAreReported() {
        const TestKey key;
        key.write("file", "");
        Result result = makekey({key.path("file")});
        QCOMPARE(result.errors,
                 QString("makekey: cannot make the directory %1\n").arg(key.path("file/download")));
        QCOMPARE(result.status, 1);

        const QString file = "download/M_20240315_0830_AB100CD.DDD";
        const QString cannotWrite = "makekey: cannot write " + key.path(file) + ": ";
        key.makeDir(file);
        result = makekey({key.mountPath()});
        QVERIFY2(result.errors.startsWith(cannotWrite), qPrintable(result.errors));
        QCOMPARE(result.status, 1);

        key.remove(file);
        const QString atMost512Bytes = "trap '' XFSZ; ulimit -f 1; exec \"$@\"";
        result = makekey({"--days=0", key.mountPath()}, atMost512Bytes);
        QVERIFY2(result.errors.startsWith(cannotWrite), qPrintable(result.errors));
        QCOMPARE(result.status, 1);

        result = makekey({"--files=0", key.mountPath()}, "exec \"$@\" >/dev/full");
        QCOMPARE(result.errors, QString("makekey: cannot write to the standard output\n"));
        QCOMPARE(result.status, 1);
    }
};

QTEST_GUILESS_MAIN(TestMakekey)
#include "tst_makekey.moc"
