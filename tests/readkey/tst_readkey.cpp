#include "tests/readkey/readkeyprocess.h"
#include "tests/readkey/storykey.h"
#include "tests/support/table.h"

#include <QtTest/QtTest>

class TestReadkey : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8")); }

    // Every view tells the same story.
    void views_data() {
        const auto row = columns<QStringList, QString>("options", "expected");
        row("tables", {"--utc"}, "tables.txt");
        row("summary", {"--utc", "--summary"}, "summary.txt");
        row("JSON", {"--json"}, "files.jsonl");
        row("CSV of insertions", {"--csv"}, "insertions.csv");
        row("CSV of cards", {"--csv=cards"}, "cards.csv");
        row("CSV of files", {"--csv=files"}, "files.csv");
    }

    void views() {
        QFETCH(QStringList, options);
        QFETCH(QString, expected);
        const TestKey key;
        tellStory(key);
        addOddities(key);
        Run run = Readkey("Europe/Berlin").run(options + QStringList(key.mountPath()));
        QCOMPARE(run.out.replace(key.mountPath(), "MOUNT"), dataFile(expected));
        QCOMPARE(run.err, QString("readkey: M_20240310_0830_BAD.DDD: not a vehicle-unit download "
                                  "(begins with D2 D2)\n"));
        QCOMPARE(run.status, 1);
    }

    // The page's data, with a zone whose clocks changed twice in their time; a browser tests what
    // the page makes of them.
    void page() {
        const TestKey key;
        tellStory(key);
        addOddities(key);
        Run run = Readkey("America/New_York").run({"--html", "-", key.mountPath()});
        QVERIFY(run.out.startsWith("<!DOCTYPE html>") && run.out.endsWith("</html>\n"));
        const int start = run.out.indexOf("<script type=");
        QString page = run.out.mid(start, run.out.lastIndexOf("<script>") - start);
        page.replace(key.mountPath(), "MOUNT").replace("},{", "},\n{").replace("],\"", "],\n\"");
        QCOMPARE(page, dataFile("page.txt"));
    }

    // The format that other programs read: the library's signals, in their order.
    void events() {
        const TestKey key;
        const auto finished = [](const char* surname, const char* firstNames, quint8 slot) {
            return insertion(firstNames, surname, at("2024-03-15 06:00"), 66051, 1720000000, 66300,
                             slot);
        };
        const auto current = [](const char* surname) {
            return insertion("K\xE4the", surname, 1720000060, 66300, stillInserted, noKilometres);
        };
        key.write("download/C_20240315_0815_J_SAMPLE.DDD", smallCard("DF00000000000100"));
        key.write("download/M_20240315_0830_AB123CD.DDD",
                  vehicleFile("AB 123 CD", {{finished("Sample", "Jo", 1), current("O\"Neil")}}));
        key.write("download/M_20230315_0830_\"a,b\".DDD",
                  vehicleFile("AB 123 CD", {{current("=1+\x1B")}}));
        key.write("download/v_old_19991231_2359.tgd",
                  vehicleFile("AB 123 CD", {{finished("\\E\"v\x1B\x7F", "\x9BJ", 200)}}));
        key.write("download/readme.txt", "not a download");
        Run run = Readkey("America/New_York").run({"--events", key.mountPath()});
        QCOMPARE(run.out.replace(key.mountPath(), "MOUNT"), dataFile("events.jsonl"));
        QCOMPARE(run.err, QString());
        QCOMPARE(run.status, 0);
    }
};

QTEST_GUILESS_MAIN(TestReadkey)
#include "tst_readkey.moc"
