// makekey as a user runs it. What it writes is the samples' business, and tested there.
#include "samples/samples.h"
#include "tests/support/testkey.h"

#include <QtCore/QProcess>
#include <QtTest/QtTest>

namespace {

struct Result {
    int status = -1;
    QString output;
    QString errors;
};

// `shell` are the words of a shell command that runs the command behind it.
Result makekey(const QStringList& arguments, const QString& outputFile = QString(),
               const QStringList& shell = {}) {
    QStringList command = shell + QStringLiteral(MAKEKEY_EMULATOR "|" MAKEKEY_PROGRAM)
                                      .split(QLatin1Char('|'), Qt::SkipEmptyParts);
    const QString program = command.takeFirst();
    QProcess process;
    if (!outputFile.isEmpty())
        process.setStandardOutputFile(outputFile);
    process.start(program, command + arguments);
    if (!process.waitForFinished() || process.exitStatus() != QProcess::NormalExit)
        qFatal("makekey does not end as it should");
    return {process.exitCode(), QString::fromLocal8Bit(process.readAllStandardOutput()),
            QString::fromLocal8Bit(process.readAllStandardError())};
}

QByteArray contents(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("missing");
}

} // namespace

class TestMakekey : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void keyHoldsTheSampleFilesForTheArguments_data() {
        QTest::addColumn<QString>("arguments");
        QTest::addColumn<QString>("summary");
        QTest::newRow("few") << "--days 2 --records 3 --files 2 --seed 7"
                             << "2 vehicle files, 2 card files, %1 bytes";
        QTest::newRow("oddities") << "--days 2 --records 3 --files 2 --seed 7 --oddities"
                                  << "2 vehicle files, 2 card files, 6 others, %1 bytes";
        QTest::newRow("no days") << "--days 0 --records 3 --files 2 --seed 7"
                                 << "2 vehicle files, 2 card files, %1 bytes";
    }
    void keyHoldsTheSampleFilesForTheArguments() {
        QFETCH(QString, arguments);
        QFETCH(QString, summary);
        const TestKey key;
        const Result result =
            makekey(arguments.split(QLatin1Char(' ')) << key.path(QStringLiteral("new/key")));
        QCOMPARE(result.errors, QString());
        QCOMPARE(result.status, 0);

        const samples::KeyOptions options{arguments.contains(QLatin1String("--days 0")) ? 0 : 2, 3,
                                          2, 7, arguments.endsWith(QLatin1String("--oddities"))};
        const QDir directory(key.path(QStringLiteral("new/key/download")));
        const std::vector<samples::KeyFile> files = samples::sampleKey(options);
        int bytes = 0;
        for (const samples::KeyFile& file : files) {
            QCOMPARE(contents(directory.filePath(file.name)), file.bytes);
            bytes += file.bytes.size();
        }
        QCOMPARE(directory.entryList(QDir::Files | QDir::Hidden).size(), int(files.size()));
        QCOMPARE(result.output,
                 directory.path() + QStringLiteral(": ") + summary.arg(bytes) + QLatin1Char('\n'));
    }

    void otherFilesOfTheKeyStay() {
        const TestKey key;
        key.write(QStringLiteral("download/mine.txt"), "mine");
        key.write(QStringLiteral("download/M_20240315_0830_AB100CD.DDD"), "old");
        QCOMPARE(makekey({QStringLiteral("--files=1"), key.mountPath()}).status, 0);
        QCOMPARE(contents(key.path(QStringLiteral("download/mine.txt"))), QByteArray("mine"));
        QVERIFY(contents(key.path(QStringLiteral("download/M_20240315_0830_AB100CD.DDD")))
                    .startsWith("\x76\x01"));
    }

    void wrongUsageIsRefused_data() {
        QTest::addColumn<QString>("arguments");
        QTest::addColumn<QString>("message");
        const auto row = [](const char* arguments, const char* message) {
            QTest::newRow(arguments) << arguments << message;
        };
        row("", "name one directory (see --help)");
        row("KEY KEY", "name one directory (see --help)");
        row("--bogus KEY", "Unknown option 'bogus'.");
        row("--days", "Missing value after '--days'.");
        row("--days=x KEY", "--days needs a number from 0 to 3650, not \"x\"");
        row("--days=-1 KEY", "--days needs a number from 0 to 3650, not \"-1\"");
        row("--days=3651 KEY", "--days needs a number from 0 to 3650, not \"3651\"");
        row("--records=65536 KEY", "--records needs a number from 0 to 65535, not \"65536\"");
        row("--files=100001 KEY", "--files needs a number from 0 to 100000, not \"100001\"");
        row("--seed=4294967296 KEY",
            "--seed needs a number from 0 to 4294967295, not \"4294967296\"");
        row("--days=1000 --records=1001 KEY", "--days times --records must not be above 1000000");
    }
    void wrongUsageIsRefused() {
        QFETCH(QString, arguments);
        QFETCH(QString, message);
        const TestKey key;
        const Result result =
            makekey(arguments.replace(QStringLiteral("KEY"), key.path(QStringLiteral("new")))
                        .split(QLatin1Char(' '), Qt::SkipEmptyParts));
        QCOMPARE(result.errors, QStringLiteral("makekey: %1\n").arg(message));
        QCOMPARE(result.status, 2);
        QVERIFY(!key.exists(QStringLiteral("new")));
    }

    void failuresAreReported() {
        const TestKey key;
        key.write(QStringLiteral("file"), "");
        Result result = makekey({key.path(QStringLiteral("file"))});
        QCOMPARE(result.errors, QStringLiteral("makekey: cannot make the directory %1\n")
                                    .arg(key.path(QStringLiteral("file/download"))));
        QCOMPARE(result.status, 1);

        const QString inTheWay = key.path(QStringLiteral("download/M_20240315_0830_AB100CD.DDD"));
        key.makeDir(QStringLiteral("download/M_20240315_0830_AB100CD.DDD"));
        result = makekey({key.mountPath()});
        QVERIFY2(
            result.errors.startsWith(QStringLiteral("makekey: cannot write %1: ").arg(inTheWay)),
            qPrintable(result.errors));
        QCOMPARE(result.status, 1);

        // No file may have more than 512 bytes.
        const TestKey full;
        result = makekey({QStringLiteral("--days=0"), full.mountPath()}, {},
                         {QStringLiteral("sh"), QStringLiteral("-c"),
                          QStringLiteral("trap '' XFSZ; ulimit -f 1; exec \"$@\""),
                          QStringLiteral("sh")});
        QVERIFY2(result.errors.startsWith(
                     QStringLiteral("makekey: cannot write %1: ")
                         .arg(full.path(QStringLiteral("download/M_20240315_0830_AB100CD.DDD")))),
                 qPrintable(result.errors));
        QCOMPARE(result.status, 1);

        result =
            makekey({QStringLiteral("--files=0"), key.mountPath()}, QStringLiteral("/dev/full"));
        QCOMPARE(result.errors, QStringLiteral("makekey: cannot write to the standard output\n"));
        QCOMPARE(result.status, 1);
    }
};

QTEST_GUILESS_MAIN(TestMakekey)
#include "tst_makekey.moc"
