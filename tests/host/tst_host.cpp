// The stand-in host: its card library over sound and damaged files, its error records, its log.
#include "auxiliary/systemhelper.h"
#include "logging/logger.h"
#include "samples/samples.h"
#include "scard/scardcards.h"
#include "tests/support/datatable.h"
#include "tests/support/errortext.h"
#include "tests/support/memoryfile.h"

#include <QtCore/QDateTime>
#include <QtCore/QTemporaryFile>
#include <QtTest/QtTest>

#include <cstdio>
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
        else if (parts[0] == QLatin1String("cut"))
            bytes.chop(parts[1].toInt());
        else
            bytes += QByteArray::fromHex(parts[1].toLatin1());
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

// The text of an error, which must be the card library's.
QString textOfCardError(const aux::Error& error) {
    QString text = textOf(error);
    if (text.isEmpty())
        return text;
    return text.startsWith(QLatin1String("libscard|")) && text.endsWith(QLatin1String("|0"))
               ? text.section(QLatin1Char('|'), 1, 1)
               : QStringLiteral("of another kind: ") + text;
}

// A driver card, read in the three steps in which the library reads it, up to the one that fails.
struct ReadCard {
    explicit ReadCard(scard::SCardGeneric unread)
        : failure(unread.readCardInfo())
        , card(unread) {
        step = failure.isEmpty() ? "calcDataSize" : "readCardInfo";
        if (failure.isEmpty())
            failure = card.calcDataSize();
        if (failure.isEmpty()) {
            step = "readData";
            failure = card.readData();
        }
    }
    QString error() const { return textOfCardError(failure); }

    aux::Error failure;
    scard::SCardDriverG2 card;
    QByteArray step; // the last one
};

// What a process writes to stderr while this lives.
class StandardError {
public:
    StandardError()
        : m_saved(::dup(STDERR_FILENO)) {
        if (m_saved < 0 || !m_file.open() || ::dup2(m_file.handle(), STDERR_FILENO) < 0)
            qFatal("cannot redirect stderr");
    }
    ~StandardError() { ::close(m_saved); }
    Q_DISABLE_COPY(StandardError)

    QByteArray end() {
        std::fflush(stderr);
        ::dup2(m_saved, STDERR_FILENO);
        m_file.seek(0);
        return m_file.readAll();
    }

private:
    QTemporaryFile m_file;
    int m_saved;
};

aux::Error errorOf(const char* text, unsigned code) {
    return aux::Error(aux::ErrorData(QStringLiteral("component"), QString::fromLatin1(text), code));
}

} // namespace

class TestHost : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void cardsAreReadBlockByBlock() {
        forEachRow("cards.txt", [](const TableRow& row) {
            MemoryFile file(bytesOf(row.text("blocks")));
            const ReadCard read(generic(file));
            const auto compare = [&](const char* column, const QString& actual) {
                QVERIFY2(actual == row.text(column),
                         qPrintable(row.text("blocks") + QLatin1String(": ") + actual));
            };
            compare("type", QString::number(read.card.getCardType()));
            compare("generation", QString::fromLatin1(read.card.is2ndGeneneration() ? "2" : "1"));
            compare("number", read.card.cardNumber());
            compare("holder", read.card.holderName());
            compare("error", read.error());
        });
    }

    void sampleCardsAreRead() {
        samples::Card card;
        card.generation = 2;
        card.throughVehicleUnit = true;
        card.codePage = 2;
        card.surname = "Vzorov\xE1";
        card.cardNumber = QByteArray("DF0000000001\0\0\xFF\xFF", 16);
        MemoryFile file(cardFile(card));
        const ReadCard read(generic(file));
        QCOMPARE(read.error(), QString());
        QVERIFY(read.card.is2ndGeneneration());
        QCOMPARE(read.card.cardNumber(), QStringLiteral("DF0000000001"));
        QCOMPARE(read.card.holderName(), QStringLiteral(u"Jo Vzorová"));
    }

    void timeAndRegionAreKept() {
        MemoryFile file(cardFile(samples::Card()));
        const QDateTime time(QDate(2024, 3, 15), QTime(8, 30), Qt::UTC);
        const scard::SCardDriverG1 card(
            scard::SCardGeneric(file, time, static_cast<scard::FilenameRegion>(7)));
        QCOMPARE(card.downloadTime(), time);
        QCOMPARE(static_cast<int>(card.region()), 7);
    }

    // The file has two blocks of 6 bytes with the types, and 142 with the names.
    void readErrorsAreReported_data() {
        QTest::addColumn<int>("end");
        QTest::addColumn<QByteArray>("failingStep");
        QTest::newRow("nothing can be read") << 0 << QByteArray("readCardInfo");
        QTest::newRow("within the first header") << 3 << QByteArray("readCardInfo");
        QTest::newRow("before the type") << 5 << QByteArray("readCardInfo");
        QTest::newRow("before the second application") << 6 << QByteArray("readCardInfo");
        QTest::newRow("within a later header") << 14 << QByteArray("calcDataSize");
        QTest::newRow("before the names") << 17 << QByteArray("readData");
        QTest::newRow("within the names") << 153 << QByteArray("readData");
    }
    void readErrorsAreReported() {
        QFETCH(int, end);
        PulledFile file(bytesOf(QStringLiteral("0501:0:01 0501:2:01 0520:2:N,Old,Ann")), end);
        const ReadCard read(generic(file));
        QVERIFY(read.error().startsWith(QStringLiteral("The card file cannot be read: ")));
        QTEST(read.step, "failingStep");
    }

    void secondReadCardInfoStartsAnew() {
        MemoryFile file(bytesOf(QStringLiteral("0501:0:01 0501:2:02")));
        scard::SCardGeneric card = generic(file);
        QVERIFY(card.readCardInfo().isEmpty());
        QVERIFY(card.readCardInfo().isEmpty());
        QCOMPARE(card.getCardType(), 2);
        QVERIFY(card.is2ndGeneneration());
        file.close();
        QCOMPARE(textOfCardError(card.readCardInfo()), QStringLiteral("The card file is not open"));
        QCOMPARE(card.getCardType(), 0);
        QVERIFY(!card.is2ndGeneneration());
    }

    void readDataLetsGoOfTheFile() {
        MemoryFile file(cardFile(samples::Card()));
        scard::SCardGeneric card = generic(file);
        QVERIFY(card.readData().isEmpty());
        QCOMPARE(textOfCardError(card.readData()), QStringLiteral("The card file is not open"));
        QCOMPARE(card.holderName(), QStringLiteral("Jo Sample"));
    }

    void endlessBlocksAreRefused() {
        MemoryFile file(cardBlock(0x0501, 0, "\x01") + QByteArray(4096 * 5, '\0'));
        QCOMPARE(ReadCard(generic(file)).error(),
                 QStringLiteral("The card file has more than 4096 blocks"));
    }

    void textFieldsAreDecoded() {
        forEachRow("texts.txt", [](const TableRow& row) {
            const QByteArray bytes = QByteArray::fromHex(row.text("bytes").toLatin1());
            Name name{static_cast<unsigned char>(row.number("code page")), {}};
            std::memcpy(name.text, bytes.constData(), static_cast<std::size_t>(bytes.size()));
            const QString text = scard::SCardGeneric::textfieldToString(name);
            QVERIFY2(text == row.text("text"),
                     qPrintable(row.text("code page") + QLatin1String(": ") + text));
        });
        const VehicleRegistrationNumber plate{5, {0xB0, ' ', '1', ' '}};
        QCOMPARE(scard::SCardGeneric::textfieldToString(plate), QStringLiteral(u"А 1 "));
    }

    void errorsAreMergedInOrder() {
        aux::Error merged = errorOf("first", 7);
        QCOMPARE(&(merged << errorOf("second\nline", 0)), &merged);
        merged << aux::Error();
        const aux::Error copy = merged;
        merged = aux::Error();
        QString line;
        QDebug(&line) << copy << merged << QStringLiteral("q");
        QCOMPARE(line, QStringLiteral(
                           "component: first (7); component: second line (0) no error \"q\" "));
        QCOMPARE(copy.entries().size(), std::size_t(2));
        QVERIFY(merged.isEmpty());
    }

    void logGoesToItsSinkOrOneLineOnStderr() {
        QStringList logged;
        logging::Logger::setSink([&](const aux::Error& error, logging::Level level) {
            logged << textOf(error) << QString::number(static_cast<int>(level));
        });
        logging::Logger::log(errorOf("oops", 1), logging::Level::Error);
        logging::Logger::setSink({});
        QCOMPARE(logged, QStringList({QStringLiteral("component|oops|1"), QStringLiteral("2")}));

        StandardError output;
        logging::Logger::log(errorOf("two\nlines", 1), logging::Level::Error);
        logging::Logger::log(errorOf("oops", 2), logging::Level::Info);
        logging::Logger::log(errorOf("oops", 3), logging::Level::Debug);
        QCOMPARE(output.end(), QByteArray("error: component: two lines (1)\n"
                                          "info: component: oops (2)\n"
                                          "debug: component: oops (3)\n"));
    }

    void remountingIsTheHandlers() {
        QString remounted;
        aux::SystemHelper::setRemountHandler([&](const QString& path) {
            remounted = path;
            return true;
        });
        QVERIFY(aux::SystemHelper::remountReadOnly(QStringLiteral("a/key")));
        aux::SystemHelper::setRemountHandler({});
        QVERIFY(!aux::SystemHelper::remountReadOnly(QStringLiteral("another")));
        QCOMPARE(remounted, QStringLiteral("a/key"));
    }
};

QTEST_GUILESS_MAIN(TestHost)
#include "tst_host.moc"
