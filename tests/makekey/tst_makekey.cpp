// makekey as a user runs it. What it writes is the samples' business, and tested there.
#include "samples/samples.h"
#include "tests/support/datatable.h"
#include "tests/support/shell.h"

namespace {

QByteArray contents(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("missing");
}

} // namespace

Q_DECLARE_METATYPE(samples::KeyOptions)

class TestMakekey : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { RunLog::show(); }

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
        outputOf(key, "ln download/mine.txt download/M_20240315_0830_AB100CD.DDD");
        const Run run = shell(key, QString("PROGRAM %1 KEY").arg(QTest::currentDataTag()));
        QCOMPARE(run.err, QString());
        QCOMPARE(run.status, 0);

        const QDir directory(key.path("download"));
        const std::vector<samples::KeyFile> files = samples::sampleKey(options);
        int bytes = 0;
        for (const samples::KeyFile& file : files) {
            QCOMPARE(contents(directory.filePath(file.name)), file.bytes);
            bytes += file.bytes.size();
        }
        QCOMPARE(contents(directory.filePath("mine.txt")), QByteArray("mine"));
        QCOMPARE(directory.entryList(QDir::Files | QDir::Hidden).size(), int(files.size()) + 1);
        QCOMPARE(run.out, "KEY/download: " + summary.arg(bytes) + '\n');
    }

    void helpAndManualHaveTheSameOptions() {
        const TestKey key;
        const QString manual = dataFile("../../docs/makekey.1").replace("\\-", "-");
        QCOMPARE(optionsIn(outputOf(key, "PROGRAM --help")), optionsIn(manual));
        QVERIFY(outputOf(key, "PROGRAM -v").startsWith("makekey 1."));
    }

    void failures_data() {
        tableRows<QString, int, QString>("failures.txt", "script", "status", "message");
    }
    void failures() {
        QFETCH(QString, script);
        QFETCH(QString, message);
        const TestKey key("");
        const Run run = shell(key, script);
        QCOMPARE(run.err, "makekey: " + message + '\n');
        QTEST(run.status, "status");
        QVERIFY(run.status == 1 || !key.exists("download")); // wrong usage changes nothing
        QCOMPARE(outputOf(key, "find . -type f ! -name file"), QString());
    }
};

QTEST_GUILESS_MAIN(TestMakekey)
#include "tst_makekey.moc"
