// The stand-in host: its card library over well-formed and damaged files, its error records; and
// the samples' sizes against the regulation's.
#include "auxiliary/configuration.h"
#include "auxiliary/systemhelper.h"
#include "logging/logger.h"
#include "samples/samples.h"
#include "scard/scardcards.h"

#include <QtCore/QTemporaryFile>
#include <QtTest/QtTest>

#include <cstring>

using samples::cardBlock;

namespace {

QString textOf(const aux::Error& error) {
    return error.isEmpty() ? QString() : error.entries().front().text();
}

// Identification with nothing in it but a number and the two names.
QByteArray identification(const char* number, const char* surname, const char* firstNames) {
    return QByteArray(1, '\x0D') + QByteArray(number).leftJustified(16, ' ') +
           QByteArray(48, '\0') + '\1' + QByteArray(surname).leftJustified(35, ' ') + '\1' +
           QByteArray(firstNames).leftJustified(35, ' ');
}

class CardFile : public QTemporaryFile {
public:
    explicit CardFile(const QByteArray& bytes) {
        if (!open() || write(bytes) != bytes.size() || !seek(0))
            qFatal("cannot write a temporary file");
    }
};

// A file whose stick has been pulled out: it is open and has a size, and no byte can be read.
class PulledOut : public CardFile {
public:
    using CardFile::CardFile;

protected:
    qint64 readData(char*, qint64) override { return -1; }
};

// How the library reads a card, as one line: type, generation, number, holder and error.
QString readCard(QFile& file) {
    scard::SCardGeneric generic(file, QDateTime(), scard::FilenameRegion::Unknown);
    aux::Error error = generic.readCardInfo();
    scard::SCardDriverG2 card(generic);
    if (error.isEmpty())
        error = card.calcDataSize();
    if (error.isEmpty())
        error = card.readData();
    return QStringLiteral("%1 %2 [%3] [%4] %5")
        .arg(generic.getCardType())
        .arg(generic.is2ndGeneneration() ? 2 : 1)
        .arg(card.cardNumber(), card.holderName(), textOf(error))
        .trimmed();
}

} // namespace

class TestHost : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void cards_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("result");
        const auto row = [](const char* name, const QByteArray& bytes, const char* result) {
            QTest::newRow(name) << bytes << QString::fromUtf8(result);
        };
        const QByteArray driver1 = cardBlock(0x0501, 0, "\x01");
        const QByteArray driver2 = cardBlock(0x0501, 2, "\x01");
        const QByteArray name1 = cardBlock(0x0520, 0, identification("N1", "Old", "Ann"));
        const QByteArray name2 = cardBlock(0x0520, 2, identification("N2", "New", "Ann"));

        samples::Card card;
        row("sample G1", cardFile(card), "1 1 [DF00000000000100] [Jo Sample]");
        card.throughVehicleUnit = true;
        card.type = 2;
        row("through a vehicle unit", cardFile(card), "2 1 [DF00000000000100] [Jo Sample]");
        card.generation = 2;
        card.codePage = 2;
        card.surname = "Vzorov\xE1";
        card.type = 4;
        row("another code page", cardFile(card), "4 2 [DF00000000000100] [Jo Vzorová]");
        row("smallest", driver1 + name1, "1 1 [N1] [Ann Old]");
        row("second names", driver1 + name1 + driver2 + name2, "1 2 [N2] [Ann New]");
        row("second application first", name2 + driver2 + name1 + driver1, "1 2 [N2] [Ann New]");
        row("second without names", name1 + driver1 + driver2, "1 2 [N1] [Ann Old]");
        row("names of the other application", driver1 + name2 + name1, "1 1 [N1] [Ann Old]");
        row("signatures", cardBlock(0x0501, 1, "\4") + cardBlock(0x0501, 3, "\4") + driver1 + name1,
            "1 1 [N1] [Ann Old]");
        row("unknown ids and kinds",
            cardBlock(0xBEEF, 9, QByteArray(65535, '\5')) + driver1 + cardBlock(0x0501, 7, "\4") +
                cardBlock(0, 0, "") + name1,
            "1 1 [N1] [Ann Old]");
        row("no first names", driver1 + cardBlock(0x0520, 0, identification("N", "Solo", "")),
            "1 1 [N] [Solo]");

        const char* const noType = "0 1 [] [] The card file has no Application_Identification";
        row("empty", "", noType);
        row("only the prefix", "\x76\x06", noType);
        row("no card type", name1, noType);
        row("card type without a value", cardBlock(0x0501, 0, "") + name1, noType);
        row("unknown card type", cardBlock(0x0501, 0, "\x09") + name1,
            "0 1 [] [] The card file is of no known card type: 9");
        row("cut before the type", cardBlock(0x0002, 0, QByteArray(25, 'x')).chopped(1),
            "0 1 [] [] The card file ends within block 0002 at 0");
        row("value cut", driver1 + name1.chopped(1),
            "1 1 [] [] The card file ends within block 0520 at 6");
        row("header cut", driver1 + name1.left(4),
            "1 1 [] [] The card file ends within a block's header at 6");
        row("no names", driver1, "1 1 [] [] The card file has no Identification");
        row("names too short", driver1 + cardBlock(0x0520, 0, QByteArray(136, 'x')),
            "1 1 [] [] The card file has no Identification");
        row("zeros", QByteArray(100000, '\0'), "0 1 [] [] The card file has more than 4096 blocks");
    }
    void cards() {
        QFETCH(QByteArray, bytes);
        CardFile file(bytes);
        QTEST(readCard(file), "result");
    }

    void cardsOutOfReach() {
        CardFile file(cardFile(samples::Card()));
        scard::SCardGeneric card(file, QDateTime(), scard::FilenameRegion::Unknown);
        QVERIFY(card.readData().isEmpty());
        QVERIFY2(!card.readData().isEmpty(), "the file has been let go");
        QCOMPARE(card.holderName(), QStringLiteral("Jo Sample"));
        file.close();
        QCOMPARE(readCard(file), QStringLiteral("0 1 [] [] The card file is not open"));
        PulledOut lost(cardFile(samples::Card()));
        QVERIFY(readCard(lost).contains(QStringLiteral("The card file cannot be read: ")));
        CardFile sparse(cardBlock(0x0501, 0, "\x01"));
        QVERIFY(sparse.resize(qint64(1) << 30));
        QVERIFY(readCard(sparse).endsWith(QStringLiteral("has more than 4096 blocks")));
    }

    void text_data() {
        QTest::addColumn<int>("codePage");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("text");
        const auto row = [](const char* name, int page, const QByteArray& bytes, const char* text) {
            QTest::newRow(name) << page << bytes << QString::fromUtf8(text);
        };
        for (const int page : {0, 1, 12, 17, 79, 86, 255})
            row(qPrintable(QStringLiteral("Latin-1: %1").arg(page)), page, "K\xE4the", "Käthe");
        row("Latin-2", 2, "\xAEofie", "Žofie");
        row("Latin-4", 4, "\xBF", "ŋ");
        row("Cyrillic", 5, "\xB2\xD5\xE0\xD0", "Вера");
        row("Greek", 7, "\xC1\xE8", "Αθ");
        row("Turkish", 9, "\xDE\xFD", "Şı");
        row("Baltic", 13, "\xC6\xFE", "Ęž");
        row("Latin-9", 15, "\xA4", "€");
        row("KOI8-R", 80, "\xF7\xC5\xD2\xC1", "Вера");
        row("KOI8-U", 85, "\xA4\xB4", "єЄ");
        row("NUL and FF are no text", 5, QByteArray("\xFF\0\xB0 ", 4), "А ");
        row("full field", 1, QByteArray(35, 'x'), QByteArray(35, 'x').constData());
    }
    void text() {
        QFETCH(int, codePage);
        QFETCH(QByteArray, bytes);
        Name name{static_cast<unsigned char>(codePage), {}};
        std::memcpy(name.text, bytes.constData(), static_cast<std::size_t>(bytes.size()));
        QTEST(scard::SCardGeneric::textfieldToString(name), "text");
        const VehicleRegistrationNumber plate{5, {0xB0, ' ', '1', ' '}};
        QCOMPARE(scard::SCardGeneric::textfieldToString(plate), QStringLiteral(u"А 1 "));
    }

    void errors() {
        const auto one = [](const char* text, unsigned code) {
            return aux::Error(
                aux::ErrorData(QStringLiteral("component"), QString::fromLatin1(text), code));
        };
        aux::Error merged = one("first", 7);
        QCOMPARE(&(merged << one("second\nline", 0)), &merged);
        merged << aux::Error();
        merged << std::move(merged);
        const aux::Error copy = merged;
        merged = aux::Error();
        QString line;
        QDebug(&line) << copy << merged << QStringLiteral("q");
        QCOMPARE(line, QStringLiteral(
                           "component: first (7); component: second line (0) no error \"q\" "));
        QCOMPARE(copy.entries().size(), std::size_t(2));
        QVERIFY(merged.isEmpty());
    }

    void services() {
        aux::Configuration configuration;
        QVERIFY(!configuration.getValue(aux::SettingsCode::DownloadedDirEnabled).isValid());
        configuration.setValue(aux::SettingsCode::DownloadedDirEnabled, true);
        QVERIFY(configuration.getValue(aux::SettingsCode::DownloadedDirEnabled).toBool());
        QVERIFY(!configuration.getValue(aux::SettingsCode::DownloadedDirDisabled).toBool());

        QStringList calls;
        aux::SystemHelper::setRemountHandler([&](const QString& path) {
            calls << path;
            return true;
        });
        QVERIFY(aux::SystemHelper::remountReadOnly(QStringLiteral("a/key")));
        aux::SystemHelper::setRemountHandler({});
        QVERIFY(!aux::SystemHelper::remountReadOnly(QStringLiteral("another")));
        const aux::Error error(aux::ErrorData(QStringLiteral("c"), QStringLiteral("oops"), 1));
        logging::Logger::setSink([&](const aux::Error& logged, logging::Level level) {
            calls << textOf(logged) << QString::number(static_cast<int>(level));
        });
        logging::Logger::log(error, logging::Level::Error);
        logging::Logger::setSink({});
        logging::Logger::log(error, logging::Level::Debug); // to stderr
        QCOMPARE(calls.join(QLatin1Char(' ')), QStringLiteral("a/key oops 2"));
    }

    // The sums are those of the published layouts: header and record sizes, written out by hand.
    void sampleSizes_data() {
        QTest::addColumn<int>("generation");
        QTest::addColumn<int>("overview"); // with two company locks and one control
        QTest::addColumn<int>("activity"); // with the day that the test makes
        QTest::addColumn<int>("record");
        QTest::addColumn<int>("plateAt");
        QTest::addColumn<int>("insertionAt");
        QTest::newRow("Gen1") << 0
                              << 2 + 194 + 194 + 17 + 15 + 4 + 8 + 1 + 58 + 1 + 2 * 98 + 1 + 31 +
                                     128
                              << 2 + 4 + 3 + 2 + 3 * 129 + 2 + 4 * 2 + 1 + 5 * 28 + 2 + 2 * 5 + 128
                              << 129 << 408 << 94;
        QTest::newRow("Gen2 v1") << 1
                                 << 2 + 11 * 5 + 205 + 205 + 17 + 14 + 4 + 8 + 1 + 59 + 2 * 99 +
                                        32 + 64
                                 << 2 + 8 * 5 + 4 + 3 + 3 * 131 + 4 * 2 + 5 * 40 + 6 * 56 + 2 * 5 +
                                        64
                                 << 131 << 2 + 4 * 5 + 205 + 205 + 17 << 95;
        QTest::newRow("Gen2 v2") << 2
                                 << 2 + 11 * 5 + 205 + 205 + 17 + 15 + 4 + 8 + 1 + 59 + 2 * 99 +
                                        32 + 64
                                 << 2 + 10 * 5 + 4 + 3 + 3 * 131 + 4 * 2 + 5 * 41 + 6 * 57 + 2 * 5 +
                                        7 * 55 + 8 * 58 + 64
                                 << 131 << 2 + 4 * 5 + 205 + 205 + 17 + 1 << 95;
    }
    void sampleSizes() {
        QFETCH(int, generation);
        QFETCH(int, plateAt);
        QFETCH(int, insertionAt);
        samples::VehicleUnit unit;
        unit.generation = static_cast<samples::Generation>(generation);
        unit.companyLocks = 2;
        unit.controlActivities = 1;
        samples::Day day;
        day.cardRecords.resize(3);
        day.cardRecords[0].insertionTime = 0x01020304;
        day.activityChanges = 4;
        day.places = 5;
        day.gnssPositions = 6;
        day.specificConditions = 2;
        day.borderCrossings = 7;
        day.loadOperations = 8;
        QTEST(activityBlock(unit, day).size(), "activity");
        const QByteArray overview = overviewBlock(unit);
        QTEST(overview.size(), "overview");
        QCOMPARE(overview.mid(plateAt, 10), QByteArray("\1AB 123 CD"));
        const QByteArray record = cardRecord(unit.generation, day.cardRecords[0]);
        QTEST(record.size(), "record");
        QCOMPARE(record.mid(insertionAt, 4), QByteArray("\1\2\3\4"));
    }

    void sampleKey() {
        samples::KeyOptions options;
        options.days = 1;
        options.files = 8;
        QStringList names;
        QByteArray starts;
        for (const samples::KeyFile& file : samples::sampleKey(options)) {
            names << file.name;
            starts += file.bytes.left(2).toHex() + ' ';
            QVERIFY(file.bytes == samples::sampleKeyFile(options, names.size() - 1).bytes);
        }
        QCOMPARE(starts.left(39), QByteArray("7601 0002 7621 0002 7631 0002 7601 7606"));
        for (const char* extension : {".V1B", ".C1B", ".V1C", ".C1C", ".A1B", ".A1C", ".TGD"})
            QVERIFY2(!names.filter(QLatin1String(extension)).isEmpty(), extension);
        QCOMPARE(names.removeDuplicates(), 0);
    }
};

QTEST_GUILESS_MAIN(TestHost)
#include "tst_host.moc"
