// The stand-in host: its card library over sound and damaged files, its error records, its log.
#include "auxiliary/systemhelper.h"
#include "logging/logger.h"
#include "samples/samples.h"
#include "scard/scardcards.h"
#include "tests/support/datatable.h"
#include "tests/support/errortext.h"
#include "tests/support/faultyfile.h"

#include <QtCore/QDateTime>
#include <QtCore/QTemporaryFile>
#include <QtTest/QtTest>

#include <cstring>

#include <unistd.h>

using samples::cardBlock;

namespace {

// The value of an Identification: a card's number and its holder.
QByteArray identification(const QByteArray& number, const QByteArray& surname,
                          const QByteArray& firstNames) {
    return '\x0D' + number.leftJustified(16, ' ') + QByteArray(48, '\0') +
           samples::textField(surname, 36) + samples::textField(firstNames, 36);
}

scard::SCardGeneric generic(QFile& file) {
    return scard::SCardGeneric(file, QDateTime(), scard::FilenameRegion::Unknown);
}

// A driver card, read in the three steps in which the library reads it, up to the one that fails.
struct ReadCard {
    explicit ReadCard(scard::SCardGeneric unread)
        : error(unread.readCardInfo())
        , card(unread) {
        if (error.isEmpty())
            error = card.calcDataSize();
        if (error.isEmpty())
            error = card.readData();
    }
    QString text() const {
        const QString kind =
            QString("%1 %2").arg(card.getCardType()).arg(card.is2ndGeneneration() ? 2 : 1);
        return error.isEmpty() ? kind + ' ' + card.cardNumber() + ' ' + card.holderName()
                               : kind + ": " + error.entries().front().text();
    }

    aux::Error error;
    scard::SCardDriverG2 card;
};

aux::Error errorOf(const char* text, unsigned code) {
    return aux::Error(aux::ErrorData("component", text, code));
}

} // namespace

class TestHost : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void readsCardsBlockByBlock_data() {
        const auto row = columns<QByteArray, QString>("bytes", "expected");
        const auto type = [](const QByteArray& value, unsigned char kind = 0) {
            return cardBlock(0x0501, kind, value);
        };
        const QByteArray driver = type("\1");
        const QByteArray driverGen2 = type("\1", 2);
        const QByteArray names = cardBlock(0x0520, 0, identification("N1", "Old", "Ann"));
        const QByteArray namesGen2 = cardBlock(0x0520, 2, identification("N2", "New", "Ann"));
        const QByteArray none = cardBlock(0, 0, "");
        row("first generation", driver + names, "1 1 N1 Ann Old");
        row("one name", driver + cardBlock(0x0520, 0, identification("N", "Solo", "")),
            "1 1 N Solo");
        row("workshop card, through a vehicle unit", "\x76\x06" + type("\2") + names,
            "2 1 N1 Ann Old");

        row("second generation", driver + names + driverGen2 + namesGen2, "1 2 N2 Ann New");
        row("in another order", namesGen2 + driverGen2 + names + driver, "1 2 N2 Ann New");
        row("second generation without names", names + driver + driverGen2, "1 2 N1 Ann Old");
        row("names of the second generation alone", driver + namesGen2 + names, "1 1 N1 Ann Old");

        row("signatures are skipped", type("\4", 1) + type("\4", 3) + driver + names,
            "1 1 N1 Ann Old");
        row("unknown ids and kinds are skipped",
            cardBlock(0xBEEF, 9, QByteArray(65535, 'x')) + driver + type("\4", 7) + none + names,
            "1 1 N1 Ann Old");
        row("the last block is empty", driver + names + none, "1 1 N1 Ann Old");

        const QString noType = "0 1: The card file has no Application_Identification";
        row("empty file", "", noType);
        row("prefix alone", "\x76\x06", noType);
        row("type without a value", type("") + names, noType);
        row("type 9", type("\x09") + names, "0 1: The card file is of no known card type: 9");
        row("type 0", type(QByteArray(1, '\0')) + names,
            "0 1: The card file is of no known card type: 0");

        row("cut before the type", cardBlock(2, 0, QByteArray(25, 'x')).chopped(1),
            "0 1: The card file ends within block 0002 at 0");
        row("cut within a value", (driver + names).chopped(1),
            "1 1: The card file ends within block 0520 at 6");
        row("cut within a header", driver + names.left(4),
            "1 1: The card file ends within a block's header at 6");
        row("no names", driver, "1 1: The card file has no Identification");
        row("names too short", driver + cardBlock(0x0520, 0, QByteArray(136, 'x')),
            "1 1: The card file has no Identification");
    }
    // Type, generation, number and holder; or type, generation and what is wrong.
    void readsCardsBlockByBlock() {
        QFETCH(QByteArray, bytes);
        MemoryFile file(bytes);
        QTEST(ReadCard(generic(file)).text(), "expected");
    }

    // The blocks have 6, 6 and 142 bytes.
    void reportsThatAStickIsPulledOut_data() {
        const auto row = columns<int, QString>("end", "typeAndGeneration");
        row("within the first header", 3, "0 1");
        row("before the first type", 5, "0 1");
        row("before the second type", 6, "1 1");
        row("within a later header", 14, "1 2");
        row("within the names", 153, "1 2");
    }
    void reportsThatAStickIsPulledOut() {
        QFETCH(int, end);
        QFETCH(QString, typeAndGeneration);
        FaultyFile file(cardBlock(0x0501, 0, "\1") + cardBlock(0x0501, 2, "\1") +
                            cardBlock(0x0520, 2, identification("N", "Old", "Ann")),
                        end, 154);
        QCOMPARE(ReadCard(generic(file)).text(),
                 typeAndGeneration + ": The card file cannot be read: Unknown error");
    }

    void keepsTimeAndRegionAndTrimsTheNumber() {
        samples::Card sample;
        sample.throughVehicleUnit = true;
        sample.cardNumber = QByteArray("DF0000000001\0\0\xFF\xFF", 16);
        MemoryFile file(cardFile(sample));
        const QDateTime time(QDate(2024, 3, 15), QTime(8, 30), Qt::UTC);
        const ReadCard read(scard::SCardGeneric(file, time, static_cast<scard::FilenameRegion>(7)));
        QCOMPARE(read.card.downloadTime(), time);
        QCOMPARE(static_cast<int>(read.card.region()), 7);
        QCOMPARE(read.card.cardNumber(), QString("DF0000000001"));
    }

    void startsAgainWithEachReadCardInfo() {
        MemoryFile file(cardBlock(0x0501, 0, "\1") + cardBlock(0x0501, 2, "\2"));
        scard::SCardGeneric card = generic(file);
        QVERIFY(card.readCardInfo().isEmpty());
        QVERIFY(card.readCardInfo().isEmpty());
        QCOMPARE(card.getCardType(), 2);
        file.close();
        QCOMPARE(textOf(card.readCardInfo()), QString("libscard|The card file is not open|0"));
        QCOMPARE(card.getCardType(), 0);
        QVERIFY(!card.is2ndGeneneration());
    }

    void refusesEndlessBlocks() {
        MemoryFile file(cardBlock(0x0501, 0, "\x01") + QByteArray(4096 * 5, '\0'));
        QCOMPARE(textOf(ReadCard(generic(file)).error),
                 QString("libscard|The card file has more than 4096 blocks|0"));
    }

    void decodesTextFields_data() {
        tableRows<quint16, QByteArray, QString>("texts.txt", "codePage", "bytes", "text");
    }
    void decodesTextFields() {
        QFETCH(quint16, codePage);
        QFETCH(QByteArray, bytes);
        Name name{static_cast<unsigned char>(codePage), {}};
        const QByteArray field = QByteArray::fromHex(bytes).leftJustified(35, '\0', true);
        std::memcpy(name.text, field.constData(), sizeof name.text);
        QTEST(scard::SCardGeneric::textfieldToString(name), "text");
    }

    void keepsControlCharactersOfTheThaiCodePage() {
        QCOMPARE(scard::SCardGeneric::textfieldToString(Name{11, {0x85}}), QString(QChar(0x85)));
    }

    void mergesErrorsInOrder() {
        aux::Error merged = errorOf("first", 7);
        QCOMPARE(&(merged << errorOf("second\nline", 0)), &merged);
        merged << aux::Error();
        const aux::Error copy = merged;
        merged = aux::Error();
        QString line;
        QDebug(&line) << copy << merged << QString("q");
        QCOMPARE(line, QString("component: first (7); component: second line (0) no error \"q\" "));
        QCOMPARE(copy.entries().size(), std::size_t(2));
        QVERIFY(merged.isEmpty());
    }

    void logsOneLineToStderrWithoutASink() {
        QTemporaryFile output;
        const int saved = ::dup(STDERR_FILENO);
        QVERIFY(output.open() && ::dup2(output.handle(), STDERR_FILENO) >= 0);
        logging::Logger::log(errorOf("three\nlines\rof text", 1), logging::Level::Error);
        logging::Logger::log(errorOf("oops", 2), logging::Level::Info);
        logging::Logger::log(errorOf("oops", 3), logging::Level::Debug);
        ::dup2(saved, STDERR_FILENO);
        output.seek(0);
        QCOMPARE(output.readAll(), QByteArray("error: component: three lines of text (1)\n"
                                              "info: component: oops (2)\n"
                                              "debug: component: oops (3)\n"));
    }

    void remountsNothingWithoutAHandler() {
        aux::SystemHelper::setRemountHandler([](const QString& path) { return path == "key"; });
        QVERIFY(aux::SystemHelper::remountReadOnly("key"));
        aux::SystemHelper::setRemountHandler({});
        QVERIFY(!aux::SystemHelper::remountReadOnly("key"));
    }
};

QTEST_GUILESS_MAIN(TestHost)
#include "tst_host.moc"
