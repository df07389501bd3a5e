// The stand-in host: its card library over well-formed and damaged files, its error records; and
// the samples' sizes against the regulation's.
#include "auxiliary/systemhelper.h"
#include "logging/logger.h"
#include "samples/samples.h"
#include "scard/scardcards.h"
#include "tests/support/table.h"

#include <QtCore/QTemporaryFile>
#include <QtTest/QtTest>

#include <cstring>

using samples::cardBlock;

namespace {

// A block's value as cards.txt has it: Identification with nothing in it but "number,surname,first
// names", so many bytes as "25x", or else the bytes themselves.
QByteArray valueOf(const QString& text) {
    const QByteArrayList fields = text.toLatin1().split(',');
    if (fields.size() == 3)
        return '\x0D' + fields[0].leftJustified(16, ' ') + QByteArray(48, '\0') + '\1' +
               fields[1].leftJustified(35, ' ') + '\1' + fields[2].leftJustified(35, ' ');
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
        else if (word.startsWith(QLatin1Char('-')))
            bytes.chop(word.mid(1).toInt());
        else
            bytes += QByteArray::fromHex(word.toLatin1());
    }
    return bytes;
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
        const auto row = columns<QByteArray, QString>("bytes", "result");
        samples::Card card;
        row("sample G1", cardFile(card), QStringLiteral("1 1 [DF00000000000100] [Jo Sample]"));
        card.throughVehicleUnit = true;
        card.type = 2;
        row("through a VU", cardFile(card), QStringLiteral("2 1 [DF00000000000100] [Jo Sample]"));
        card.generation = 2;
        card.codePage = 2;
        card.surname = "Vzorov\xE1";
        card.type = 4;
        row("code page", cardFile(card), QStringLiteral(u"4 2 [DF00000000000100] [Jo Vzorová]"));
        for (const QStringList& fields : dataRows(QStringLiteral("cards.txt")))
            row(fields[0].toUtf8(), bytesOf(fields[0]), fields[1]);
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
        QCOMPARE(readCard(file), QStringLiteral("0 1 [] [] libscard|The card file is not open|0"));
        PulledOut lost(cardFile(samples::Card()));
        QVERIFY(readCard(lost).contains(QStringLiteral("The card file cannot be read: ")));
        CardFile sparse(cardBlock(0x0501, 0, "\x01"));
        QVERIFY(sparse.resize(qint64(1) << 30));
        QVERIFY(readCard(sparse).endsWith(
            QStringLiteral("|The card file has more than 4096 blocks|0")));
    }

    void text_data() {
        const auto row = columns<int, QByteArray, QString>("codePage", "bytes", "text");
        for (const QStringList& fields : dataRows(QStringLiteral("texts.txt")))
            row(fields.join(QLatin1Char(' ')).toUtf8(), fields[0].toInt(),
                QByteArray::fromHex(fields[1].toLatin1()), fields[2]);
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
        QCOMPARE(calls.join(QLatin1Char(' ')), QStringLiteral("a/key c|oops|1 2"));
    }

    // The sums are those of the published layouts: header and record sizes, written out by hand.
    void sampleSizes_data() {
        // The overview has two company locks and one control, the activity the test's day.
        const auto row = columns<int, int, int, int, int>("generation", "overview", "activity",
                                                          "plateAt", "insertionAt");
        row("Gen1", 0, 2 + 194 + 194 + 17 + 15 + 4 + 8 + 1 + 58 + 1 + 2 * 98 + 1 + 31 + 128,
            2 + 4 + 3 + 2 + 3 * 129 + 2 + 4 * 2 + 1 + 5 * 28 + 2 + 2 * 5 + 128, 408, 94);
        row("Gen2 v1", 1, 2 + 11 * 5 + 205 + 205 + 17 + 14 + 4 + 8 + 1 + 59 + 2 * 99 + 32 + 64,
            2 + 8 * 5 + 4 + 3 + 3 * 131 + 4 * 2 + 5 * 40 + 6 * 56 + 2 * 5 + 64,
            2 + 4 * 5 + 205 + 205 + 17, 95);
        row("Gen2 v2", 2, 2 + 11 * 5 + 205 + 205 + 17 + 15 + 4 + 8 + 1 + 59 + 2 * 99 + 32 + 64,
            2 + 10 * 5 + 4 + 3 + 3 * 131 + 4 * 2 + 5 * 41 + 6 * 57 + 2 * 5 + 7 * 55 + 8 * 58 + 64,
            2 + 4 * 5 + 205 + 205 + 17 + 1, 95);
    }
    void sampleSizes() {
        QFETCH(int, generation);
        QFETCH(int, plateAt);
        QFETCH(int, insertionAt);
        samples::VehicleUnit unit;
        unit.generation = static_cast<samples::Generation>(generation);
        unit.companyLocks = 2;
        unit.controlActivities = 1;
        // Activity changes, places, GNSS positions, specific conditions, border crossings, loads.
        const samples::Day day{0, 0, std::vector<samples::CardRecord>(3), 4, 5, 6, 2, 7, 8};
        QTEST(activityBlock(unit, day).size(), "activity");
        const QByteArray overview = overviewBlock(unit);
        QTEST(overview.size(), "overview");
        QCOMPARE(overview.mid(plateAt, 10), QByteArray("\1AB 123 CD"));
        const QByteArray record = cardRecord(unit.generation, {"S", "F", "", 0x01020304});
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
