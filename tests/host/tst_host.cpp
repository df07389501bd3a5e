// The stand-in host: its card library over sound and damaged files, its error records, its log.
#include "auxiliary/systemhelper.h"
#include "logging/logger.h"
#include "samples/memoryfile.h"
#include "samples/samples.h"
#include "scard/scardcards.h"
#include "tests/support/datatable.h"
#include "tests/support/errortext.h"

#include <QtCore/QDateTime>
#include <QtCore/QTemporaryFile>
#include <QtTest/QtTest>

#include <cstring>

#include <unistd.h>

using samples::cardBlock;

namespace {

// What cards.txt has as the value of a block.
QByteArray valueOf(const QString& text) {
    const QByteArrayList fields = text.toLatin1().split(',');
    if (fields.size() == 3)
        return '\x0D' + fields[0].leftJustified(16, ' ') + QByteArray(48, '\0') +
               samples::textField(fields[1], 36) + samples::textField(fields[2], 36);
    return text.endsWith(QLatin1Char('x')) ? QByteArray(text.chopped(1).toInt(), 'x')
                                           : QByteArray::fromHex(fields[0]);
}

QByteArray bytesOf(const QString& blocks) {
    QByteArray bytes;
    for (const QString& word : blocks.split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
        const QStringList parts = word.split(QLatin1Char(':'));
        if (parts.size() == 3)
            bytes += cardBlock(parts[0].toUShort(nullptr, 16),
                               static_cast<unsigned char>(parts[1].toUInt()), valueOf(parts[2]));
        else if (parts[0] == "cut")
            bytes.chop(parts[1].toInt());
        else if (parts[0] == "bytes")
            bytes += QByteArray::fromHex(parts[1].toLatin1());
        else
            qFatal("unknown word %s", qPrintable(word));
    }
    return bytes;
}

// A file on a stick that is pulled out: it keeps its size, and what lies at `end` or behind it
// cannot be read.
class PulledFile : public MemoryFile {
public:
    PulledFile(const QByteArray& bytes, qint64 end)
        : MemoryFile(bytes)
        , m_end(end) {}

protected:
    qint64 readData(char* data, qint64 maxSize) override {
        return pos() < m_end ? MemoryFile::readData(data, qMin(maxSize, m_end - pos())) : -1;
    }

private:
    qint64 m_end;
};

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
    void cardsAreReadBlockByBlock_data() {
        tableRows<QString, QString, int, int, QString, QString, QString>(
            "cards.txt", "blocks", "pulledAt", "type", "generation", "number", "holder", "error");
    }
    void cardsAreReadBlockByBlock() {
        QFETCH(QString, blocks);
        QFETCH(QString, pulledAt);
        const QByteArray bytes = bytesOf(blocks);
        PulledFile file(bytes, pulledAt == "never" ? bytes.size() : pulledAt.toInt());
        const ReadCard read(generic(file));
        QTEST(static_cast<int>(read.card.getCardType()), "type");
        QTEST(read.card.is2ndGeneneration() ? 2 : 1, "generation");
        QTEST(read.card.cardNumber(), "number");
        QTEST(read.card.holderName(), "holder");
        QTEST(textOf(read.error).section('|', 1, 1), "error");
    }

    void cardHasTheTimeAndRegionOfItsNameAndANumberWithoutPadding() {
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

    void secondReadCardInfoStartsAnew() {
        MemoryFile file(bytesOf("0501:0:01 0501:2:02"));
        scard::SCardGeneric card = generic(file);
        QVERIFY(card.readCardInfo().isEmpty());
        QVERIFY(card.readCardInfo().isEmpty());
        QCOMPARE(card.getCardType(), 2);
        file.close();
        QCOMPARE(textOf(card.readCardInfo()), QString("libscard|The card file is not open|0"));
        QCOMPARE(card.getCardType(), 0);
        QVERIFY(!card.is2ndGeneneration());
    }

    void readDataLetsGoOfTheFile() {
        MemoryFile file(cardFile(samples::Card()));
        scard::SCardGeneric card = generic(file);
        QVERIFY(card.readData().isEmpty());
        QCOMPARE(textOf(card.readData()), QString("libscard|The card file is not open|0"));
        QCOMPARE(card.holderName(), QString("Jo Sample"));
    }

    void endlessBlocksAreRefused() {
        MemoryFile file(cardBlock(0x0501, 0, "\x01") + QByteArray(4096 * 5, '\0'));
        QCOMPARE(textOf(ReadCard(generic(file)).error),
                 QString("libscard|The card file has more than 4096 blocks|0"));
    }

    void textFieldsAreDecoded_data() {
        tableRows<quint16, QByteArray, QString>("texts.txt", "codePage", "bytes", "text");
    }
    void textFieldsAreDecoded() {
        QFETCH(quint16, codePage);
        QFETCH(QByteArray, bytes);
        Name name{static_cast<unsigned char>(codePage), {}};
        const QByteArray field = QByteArray::fromHex(bytes).leftJustified(35, '\0', true);
        std::memcpy(name.text, field.constData(), sizeof name.text);
        QTEST(scard::SCardGeneric::textfieldToString(name), "text");
    }

    void thaiCodePageHasTheControlCharactersOfTheStandard() {
        QCOMPARE(scard::SCardGeneric::textfieldToString(Name{11, {0x85}}), QString(QChar(0x85)));
    }

    void errorsAreMergedInOrder() {
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

    void logWithoutASinkIsOneLineOnStderr() {
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

    void nothingIsRemountedWithoutAHandler() {
        aux::SystemHelper::setRemountHandler([](const QString& path) { return path == "key"; });
        QVERIFY(aux::SystemHelper::remountReadOnly("key"));
        aux::SystemHelper::setRemountHandler({});
        QVERIFY(!aux::SystemHelper::remountReadOnly("key"));
    }
};

QTEST_GUILESS_MAIN(TestHost)
#include "tst_host.moc"
