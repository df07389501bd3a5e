// The stand-in host: its card library over well-formed and damaged files, its error records; and
// the samples' sizes against the regulation's.
#include "auxiliary/configuration.h"
#include "auxiliary/error.h"
#include "auxiliary/systemhelper.h"
#include "logging/logger.h"
#include "samples/samples.h"
#include "scard/scardcards.h"

#include <QtCore/QDateTime>
#include <QtCore/QTemporaryFile>
#include <QtTest/QtTest>

#include <algorithm>
#include <cstring>

using samples::cardBlock;

namespace {

aux::Error oneError(const char* text, unsigned code = 0) {
    return aux::Error(aux::ErrorData(QStringLiteral("component"), QString::fromLatin1(text), code));
}

QString textOf(const aux::Error& error) {
    return error.isEmpty() ? QString() : error.entries().front().text();
}

template <typename Field>
Field fieldOf(unsigned char codePage, const QByteArray& text) {
    Field field;
    field.codePage = codePage;
    std::fill(std::begin(field.text), std::end(field.text), static_cast<unsigned char>(' '));
    std::memcpy(field.text, text.constData(),
                std::min<std::size_t>(sizeof field.text, static_cast<std::size_t>(text.size())));
    return field;
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

// How the library reads a card: what it is, then as an object of its kind, then its contents.
struct CardRead {
    explicit CardRead(QFile& file)
        : generic(file, QDateTime(), scard::FilenameRegion::Unknown) {
        error = generic.readCardInfo();
        type = generic.getCardType();
        generation = type == 0 ? 0 : generic.is2ndGeneneration() ? 2 : 1;
        if (!error.isEmpty())
            return;
        scard::SCardDriverG2 card(generic);
        error = card.calcDataSize();
        if (error.isEmpty())
            error = card.readData();
        number = card.cardNumber();
        holder = card.holderName();
    }
    scard::SCardGeneric generic;
    aux::Error error;
    int type = 0;
    int generation = 0;
    QString number, holder;
};

} // namespace

class TestHost : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void cards_data();
    void cards();
    void hugeSparseCard();
    void fileOutOfReach();
    void text_data();
    void text();
    void plateText();
    void errors();
    void services();
    void sampleSizes_data();
    void sampleSizes();
    void cardSampleSizes();
    void keyNames();
};

void TestHost::cards_data() {
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("generation");
    QTest::addColumn<QString>("number");
    QTest::addColumn<QString>("holder");
    QTest::addColumn<QString>("error"); // what the error's text begins with; empty for success

    const QByteArray driver1 = cardBlock(0x0501, 0, "\x01");
    const QByteArray driver2 = cardBlock(0x0501, 2, "\x01");
    const QByteArray name1 = cardBlock(0x0520, 0, identification("N1", "Old", "Ann"));
    const QByteArray name2 = cardBlock(0x0520, 2, identification("N2", "New", "Ann"));
    const QString none;
    const auto good = [&](const char* name, const QByteArray& bytes, int type, int generation,
                          const char* number, const char* holder) {
        QTest::newRow(name) << bytes << type << generation << QString::fromLatin1(number)
                            << QString::fromUtf8(holder) << none;
    };
    const auto bad = [&](const char* name, const QByteArray& bytes, int type, const char* error) {
        QTest::newRow(name) << bytes << type << (type ? 1 : 0) << none << none
                            << QString::fromLatin1(error);
    };

    samples::Card card;
    good("sample G1", cardFile(card), 1, 1, "DF00000000000100", "Jo Sample");
    card.throughVehicleUnit = true;
    good("sample G1 through a vehicle unit", cardFile(card), 1, 1, "DF00000000000100", "Jo Sample");
    card.generation = 2;
    card.codePage = 2;
    card.surname = "Vzorov\xE1";
    good("sample G2 in another code page", cardFile(card), 1, 2, "DF00000000000100", "Jo Vzorová");
    for (const int type : {2, 3, 4}) {
        card.type = static_cast<unsigned char>(type);
        good(type == 2   ? "workshop"
             : type == 3 ? "control"
                         : "company",
             cardFile(card), type, 2, "DF00000000000100", "Jo Vzorová");
    }

    good("smallest", driver1 + name1, 1, 1, "N1", "Ann Old");
    good("names of the second generation", driver1 + name1 + driver2 + name2, 1, 2, "N2",
         "Ann New");
    good("second generation first", name2 + driver2 + name1 + driver1, 1, 2, "N2", "Ann New");
    good("second generation without names", name1 + driver1 + driver2, 1, 2, "N1", "Ann Old");
    good("names of the other application only matter there", driver1 + name2 + name1, 1, 1, "N1",
         "Ann Old");
    good("signatures are no data",
         cardBlock(0x0501, 1, "\x04") + cardBlock(0x0501, 3, "\x04") + driver1 +
             cardBlock(0x0520, 1, QByteArray(128, 'x')) + name1,
         1, 1, "N1", "Ann Old");
    good("unknown ids and kinds",
         cardBlock(0xBEEF, 9, QByteArray(65535, '\x05')) + driver1 + cardBlock(0x0501, 7, "\x04") +
             cardBlock(0x0000, 0, "") + name1,
         1, 1, "N1", "Ann Old");
    good("no first names", driver1 + cardBlock(0x0520, 0, identification("N", "Solo", "")), 1, 1,
         "N", "Solo");

    bad("empty", "", 0, "The card file has no Application_Identification");
    bad("only the prefix", "\x76\x06", 0, "The card file has no Application_Identification");
    bad("no card type", name1, 0, "The card file has no Application_Identification");
    bad("card type without a value", cardBlock(0x0501, 0, "") + name1, 0,
        "The card file has no Application_Identification");
    bad("unknown card type", cardBlock(0x0501, 0, "\x09") + name1, 0,
        "The card file is of no known card type: 9");
    bad("cut before the card type", cardBlock(0x0002, 0, QByteArray(25, 'x')).chopped(1), 0,
        "The card file ends within block 0002 at 0");
    bad("value cut", driver1 + name1.chopped(1), 1, "The card file ends within block 0520 at 6");
    bad("header cut", driver1 + name1.left(4), 1,
        "The card file ends within a block's header at 6");
    bad("no names", driver1, 1, "The card file has no Identification");
    bad("names too short", driver1 + cardBlock(0x0520, 0, QByteArray(136, 'x')), 1,
        "The card file has no Identification");
    bad("zeros", QByteArray(100000, '\0'), 0, "The card file has more than 4096 blocks");
}

void TestHost::cards() {
    QFETCH(QByteArray, bytes);
    QFETCH(QString, error);
    CardFile file(bytes);
    const CardRead card(file);
    if (error.isEmpty())
        QCOMPARE(textOf(card.error), QString());
    else
        QVERIFY2(textOf(card.error).startsWith(error), qPrintable(textOf(card.error)));
    QTEST(card.type, "type");
    QTEST(card.generation, "generation");
    QTEST(card.number, "number");
    QTEST(card.holder, "holder");
}

void TestHost::hugeSparseCard() {
    CardFile file(cardBlock(0x0501, 0, "\x01"));
    QVERIFY(file.resize(qint64(1) << 30));
    const CardRead card(file);
    QCOMPARE(textOf(card.error), QStringLiteral("The card file has more than 4096 blocks"));
}

void TestHost::fileOutOfReach() {
    CardFile file(cardFile(samples::Card()));
    scard::SCardGeneric generic(file, QDateTime(), scard::FilenameRegion::Unknown);
    QVERIFY(generic.readCardInfo().isEmpty());
    scard::SCardDriverG1 card(generic);
    QVERIFY(card.readData().isEmpty());
    QVERIFY2(!card.readData().isEmpty(), "the file has been let go");
    QCOMPARE(card.holderName(), QStringLiteral("Jo Sample"));
    file.close();
    for (const aux::Error& error :
         {generic.readCardInfo(), generic.calcDataSize(), generic.readData()})
        QCOMPARE(textOf(error), QStringLiteral("The card file is not open"));

    PulledOut lost(cardFile(samples::Card()));
    scard::SCardGeneric unread(lost, QDateTime(), scard::FilenameRegion::Unknown);
    for (const aux::Error& error :
         {unread.readCardInfo(), unread.calcDataSize(), unread.readData()})
        QVERIFY2(textOf(error).startsWith(QStringLiteral("The card file cannot be read: ")),
                 qPrintable(textOf(error)));
}

void TestHost::text_data() {
    QTest::addColumn<int>("codePage");
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("text"); // before the field's blanks
    const auto row = [](const char* name, int page, const QByteArray& bytes, const char16_t* text) {
        QTest::newRow(name) << page << bytes << QString::fromUtf16(text);
    };
    row("Latin-1", 1, "K\xE4the \x80", u"K\u00E4the \u0080");
    row("page 0 is Latin-1", 0, "\xE4", u"\u00E4");
    row("page 12 does not exist", 12, "\xE4", u"\u00E4");
    row("page 17 is Latin-1", 17, "\xE4", u"\u00E4");
    row("page 79 is Latin-1", 79, "\xE4", u"\u00E4");
    row("page 86 is Latin-1", 86, "\xE4", u"\u00E4");
    row("page 255 is Latin-1", 255, "\xE4", u"\u00E4");
    row("Latin-2", 2, "\xAEofie", u"\u017Dofie");
    row("Latin-3", 3, "\xE6", u"\u0109");
    row("Latin-4", 4, "\xE6", u"\u00E6");
    row("Cyrillic", 5, "\xB2\xD5\xE0\xD0", u"\u0412\u0435\u0440\u0430");
    row("Greek", 7, "\xC1\xE8", u"\u0391\u03B8");
    row("Turkish", 9, "\xDE\xFD", u"\u015E\u0131");
    row("Baltic", 13, "\xC6\xFE", u"\u0118\u017E");
    row("Latin-9", 15, "\xA4", u"\u20AC");
    row("KOI8-R", 80, "\xF7\xC5\xD2\xC1", u"\u0412\u0435\u0440\u0430");
    row("KOI8-U", 85, "\xA4\xB4", u"\u0454\u0404");
    row("NUL and FF are no text", 1,
        QByteArray("a\0b\xFF"
                   "c",
                   5),
        u"abc");
    row("nor are they in another page", 5, QByteArray("\xFF\0\xB0", 3), u"\u0410");
    row("full field", 1, QByteArray(35, 'x'), u"xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx");
}

void TestHost::text() {
    QFETCH(int, codePage);
    QFETCH(QByteArray, bytes);
    QFETCH(QString, text);
    const auto field = fieldOf<Name>(static_cast<unsigned char>(codePage), bytes);
    const QString decoded = scard::SCardGeneric::textfieldToString(field);
    QCOMPARE(decoded, text + QString(35 - bytes.size(), QLatin1Char(' ')));
}

void TestHost::plateText() {
    const auto plate = fieldOf<VehicleRegistrationNumber>(5, "\xB0 123");
    QCOMPARE(scard::SCardGeneric::textfieldToString(plate),
             QString::fromUtf16(u"\u0410 123        "));
    const auto blank = fieldOf<VehicleRegistrationNumber>(1, QByteArray(13, '\0'));
    QCOMPARE(scard::SCardGeneric::textfieldToString(blank), QString());
}

void TestHost::errors() {
    aux::Error error;
    QString line;
    QDebug(&line) << error << 1;
    QCOMPARE(line, QStringLiteral("no error 1 "));

    aux::Error merged = oneError("first", 7);
    const aux::Error& result = merged << oneError("second\nline");
    QCOMPARE(&result, &merged);
    merged << aux::Error();
    merged << std::move(merged);
    QCOMPARE(merged.entries().size(), std::size_t(2));
    QCOMPARE(merged.entries().front().code(), 7U);
    line.clear();
    QDebug(&line) << merged << QStringLiteral("q");
    QCOMPARE(line, QStringLiteral("component: first (7); component: second line (0) \"q\" "));

    const aux::Error copy = merged;
    merged = aux::Error();
    QCOMPARE(copy.entries().size(), std::size_t(2));
    QVERIFY(merged.isEmpty());
}

void TestHost::services() {
    aux::Configuration configuration;
    QVERIFY(!configuration.getValue(aux::SettingsCode::DownloadedDirEnabled).isValid());
    configuration.setValue(aux::SettingsCode::DownloadedDirEnabled, true);
    QVERIFY(configuration.getValue(aux::SettingsCode::DownloadedDirEnabled).toBool());
    QVERIFY(!configuration.getValue(aux::SettingsCode::DownloadedDirDisabled).toBool());

    QVERIFY(!aux::SystemHelper::remountReadOnly(QStringLiteral("/nowhere")));
    QString asked;
    aux::SystemHelper::setRemountHandler([&](const QString& path) {
        asked = path;
        return true;
    });
    QVERIFY(aux::SystemHelper::remountReadOnly(QStringLiteral("a/key")));
    aux::SystemHelper::setRemountHandler({});
    QCOMPARE(asked, QStringLiteral("a/key"));
    QVERIFY(!aux::SystemHelper::remountReadOnly(asked));

    QStringList logged;
    logging::Logger::setSink([&](const aux::Error& error, logging::Level level) {
        logged << textOf(error) << QString::number(static_cast<int>(level));
    });
    logging::Logger::log(oneError("oops"), logging::Level::Error);
    logging::Logger::setSink({});
    logging::Logger::log(oneError("to stderr"), logging::Level::Debug);
    QCOMPARE(logged, (QStringList{QStringLiteral("oops"), QStringLiteral("2")}));
}

// The sums are those of the published layouts: header and record sizes, written out by hand.
void TestHost::sampleSizes_data() {
    QTest::addColumn<int>("generation");
    QTest::addColumn<int>("overview"); // with two company locks and one control
    QTest::addColumn<int>("activity"); // with the day that the test makes
    QTest::addColumn<int>("further");  // with 20 minutes of speeds
    QTest::addColumn<int>("record");
    QTest::addColumn<int>("plateAt");
    QTest::addColumn<int>("insertionAt");

    QTest::newRow("Gen1") << 0
                          << 2 + 194 + 194 + 17 + 15 + 4 + 8 + 1 + 58 + 1 + 2 * 98 + 1 + 31 + 128
                          << 2 + 4 + 3 + 2 + 3 * 129 + 2 + 4 * 2 + 1 + 5 * 28 + 2 + 2 * 5 + 128
                          << (2 + 1 + 2 * 82 + 1 + 5 * 83 + 9 + 1 + 3 * 31 + 1 + 98 + 128) +
                                 (2 + 2 + 20 * 64 + 128) + (2 + 116 + 20 + 1 + 167 + 128)
                          << 129 << 408 << 94;
    QTest::newRow("Gen2 v1") << 1
                             << 2 + 11 * 5 + 205 + 205 + 17 + 14 + 4 + 8 + 1 + 59 + 2 * 99 + 32 + 64
                             << 2 + 8 * 5 + 4 + 3 + 3 * 131 + 4 * 2 + 5 * 40 + 6 * 56 + 2 * 5 + 64
                             << (2 + 6 * 5 + 2 * 90 + 5 * 91 + 9 + 3 * 32 + 99 + 64) +
                                    (2 + 2 * 5 + 20 * 64 + 64) +
                                    (2 + 8 * 5 + 126 + 28 + 28 + 222 + 45 + 20 + 87 + 64)
                             << 131 << 2 + 4 * 5 + 205 + 205 + 17 << 95;
    QTest::newRow("Gen2 v2") << 2
                             << 2 + 11 * 5 + 205 + 205 + 17 + 15 + 4 + 8 + 1 + 59 + 2 * 99 + 32 + 64
                             << 2 + 10 * 5 + 4 + 3 + 3 * 131 + 4 * 2 + 5 * 41 + 6 * 57 + 2 * 5 +
                                    7 * 55 + 8 * 58 + 64
                             << (2 + 6 * 5 + 2 * 90 + 5 * 91 + 9 + 3 * 32 + 99 + 64) +
                                    (2 + 2 * 5 + 20 * 64 + 64) +
                                    (2 + 8 * 5 + 138 + 28 + 28 + 252 + 45 + 20 + 87 + 64)
                             << 131 << 2 + 4 * 5 + 205 + 205 + 17 + 1 << 95;
}

void TestHost::sampleSizes() {
    QFETCH(int, overview);
    QFETCH(int, activity);
    QFETCH(int, further);
    QFETCH(int, plateAt);
    QFETCH(int, insertionAt);
    QFETCH(int, generation);
    samples::VehicleUnit unit;
    unit.generation = static_cast<samples::Generation>(generation);
    unit.companyLocks = 2;
    unit.controlActivities = 1;
    unit.trailer = "end";
    unit.downloadTime = 1710491400;
    samples::Day day;
    day.cardRecords.resize(3);
    day.cardRecords[0].insertionTime = 0x01020304;
    day.activityChanges = 4;
    day.places = 5;
    day.gnssPositions = 6;
    day.specificConditions = 2;
    day.borderCrossings = 7;
    day.loadOperations = 8;
    unit.days = {day};

    QCOMPARE(overviewBlock(unit).size(), overview);
    QCOMPARE(activityBlock(unit, day).size(), activity);
    const QByteArray file = vehicleUnitFile(unit);
    QCOMPARE(file.size(), overview + activity + further + 3);
    QCOMPARE(file.mid(plateAt, 14), QByteArray("\x01"
                                               "AB 123 CD    "));
    QVERIFY(file == vehicleUnitFile(unit));
    const QByteArray record = cardRecord(unit.generation, day.cardRecords[0]);
    QTEST(record.size(), "record");
    QCOMPARE(record.mid(insertionAt, 4), QByteArray("\1\2\3\4"));

    const auto days = samples::realisticDays(unit.generation, 3, 9, unit.downloadTime);
    QCOMPARE(days.size(), std::size_t(3));
    QCOMPARE(days.back().date, 1710374400U); // 2024-03-14
    std::uint32_t time = 0, odometer = 0;
    for (const samples::Day& one : days) {
        QCOMPARE(one.cardRecords.size(), std::size_t(9));
        QVERIFY(one.activityChanges >= 60 && one.activityChanges <= 90);
        for (const samples::CardRecord& insertion : one.cardRecords) {
            QVERIFY(insertion.insertionTime > time && insertion.odometerAtInsertion >= odometer);
            time = insertion.insertionTime;
            odometer = insertion.odometerAtInsertion;
        }
    }
}

void TestHost::cardSampleSizes() {
    // Chip, then each file with its header and, but for certificates and the download time,
    // signature.
    const int chip = 5 + 25 + 5 + 8;
    const int signed1 = 5 + 5 + 128, signed2 = 5 + 5 + 64;
    const int driver1 = 11 * signed1 + 3 * 5 + 10 + 143 + 2 * 194 + 4 + 53 + 1728 + 1152 + 13780 +
                        6202 + 1121 + 19 + 46 + 280;
    const int driver2 = 13 * signed2 + 5 * 5 + 17 + 143 + 4 * 205 + 4 + 53 + 3168 + 1152 + 13780 +
                        9602 + 2354 + 19 + 46 + 562 + 2002 + 6050;
    samples::Card card;
    QCOMPARE(cardFile(card).size(), chip + driver1);
    card.generation = 2;
    card.throughVehicleUnit = true;
    QCOMPARE(cardFile(card).size(), 2 + chip + driver1 + driver2);
    card.type = 4;
    QCOMPARE(cardFile(card).size(), 2 + chip + (3 * signed1 + 2 * 5 + 5 + 139 + 2 * 194 + 10582) +
                                        (3 * signed2 + 4 * 5 + 5 + 139 + 4 * 205 + 10582));
}

void TestHost::keyNames() {
    samples::KeyOptions options;
    options.days = 1;
    options.files = 8;
    QStringList names, starts;
    for (const samples::KeyFile& file : sampleKey(options)) {
        names << file.name;
        starts << QString::fromLatin1(file.bytes.left(2).toHex());
    }
    QCOMPARE(names.mid(0, 4),
             (QStringList{QStringLiteral("M_20240315_0830_AB100CD.DDD"),
                          QStringLiteral("C_20240315_0818_J_SAMPLE_DF00000000000100.DDD"),
                          QStringLiteral("V_MU101CD_20240315_0759.TGD"),
                          QStringLiteral("C_K_BEISPIEL_DF00000000000200_20240315_0747.TGD")}));
    QCOMPARE(starts.mid(0, 8).join(QLatin1Char(' ')),
             QStringLiteral("7601 0002 7621 0002 7631 0002 7601 7606"));
    for (const char* extension : {".V1B", ".C1B", ".V1C", ".C1C", ".A1B", ".A1C"})
        QVERIFY2(!names.filter(QLatin1String(extension)).isEmpty(), extension);
    QCOMPARE(names.removeDuplicates(), 0);
    options.seed = 2;
    QVERIFY(samples::sampleKeyFile(options, 0).bytes !=
            samples::sampleKeyFile(samples::KeyOptions{1, 4, 8, 1}, 0).bytes);
}

QTEST_GUILESS_MAIN(TestHost)
#include "tst_host.moc"
