// makekey as a user runs it. What it writes is the samples' business, and tested there.
#include "samples/samples.h"
#include "tests/support/datatable.h"
#include "tests/support/shell.h"

Q_DECLARE_METATYPE(samples::KeyOptions)

class TestMakekey : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { showRuns(); }

    void writesTheSampleFilesForItsArguments_data() {
        const auto row = columns<samples::KeyOptions, QString>("options", "summary");
        row("--days 2 --records 3 --files 2 --seed 7 --oddities", {2, 3, 2, 7, true},
            "2 vehicle files, 2 card files, 6 others, ");
        row("--days 0 --files 1", {0, 4, 1}, "1 vehicle files, 1 card files, ");
    }
    // Other files stay, even if a name of the key leads to them.
    void writesTheSampleFilesForItsArguments() {
        QFETCH(samples::KeyOptions, options);
        QFETCH(QString, summary);
        const TestKey key;
        int bytes = 0;
        for (const samples::KeyFile& file : samples::sampleKey(options)) {
            key.write("expected/" + file.name, file.bytes);
            bytes += file.bytes.size();
        }
        outputOf(key, "echo mine | tee download/mine.txt >expected/mine.txt; "
                      "ln download/mine.txt download/M_20240315_0830_AB100CD.DDD");
        QCOMPARE(outputOf(key, QString("PROGRAM %1 KEY").arg(QTest::currentDataTag())),
                 QString("KEY/download: %1%2 bytes\n").arg(summary).arg(bytes));
        outputOf(key, "diff -r download expected");
    }

    void hasTheSameOptionsInHelpAndManual() {
        const TestKey key;
        outputOf(key, "options() { grep -oE -- '--[a-z]+' | sort -u; }; PROGRAM -h | options >help"
                      "; sed 's/\\\\-/-/g' '" TEST_DATA "../../docs/makekey.1' | options >manual"
                      "; grep -x -- --days help >found; diff help manual");
        QVERIFY(outputOf(key, "PROGRAM -v").startsWith("makekey 1."));
    }

    void reportsFailures_data() {
        tableRows<QString, int, QString>("failures.txt", "script", "status", "message");
    }
    void reportsFailures() {
        QFETCH(QString, script);
        QFETCH(QString, message);
        const TestKey key("");
        const Run run = shell(key, script);
        QCOMPARE(run.err, "makekey: " + message + '\n');
        QTEST(run.status, "status");
        QVERIFY(run.status == 1 ||
                !QFile::exists(key.path("download"))); // wrong usage changes nothing
        QCOMPARE(outputOf(key, "find . -type f ! -name file"), QString());
    }
};

QTEST_GUILESS_MAIN(TestMakekey)
#include "tst_makekey.moc"
