// Sample downloads against the layouts that the regulation publishes. All sums are written out by
// hand: headers, counts, and records by their sizes.
#include "samples/samples.h"
#include "tests/support/datatable.h"

#include <QtTest/QtTest>

using samples::Generation;

Q_DECLARE_METATYPE(samples::Generation)

namespace {

struct Blocks {
    QByteArray treps; // one byte for each block
    QVector<int> sizes;
};

// Two company locks, one control, and a day with three insertions, four activity changes, five
// places, six GNSS positions, two specific conditions, seven border crossings and eight loads.
samples::VehicleUnit vehicleUnit(Generation generation) {
    samples::VehicleUnit unit;
    unit.generation = generation;
    unit.companyLocks = 2;
    unit.controlActivities = 1;
    unit.days = {{0, 0, std::vector<samples::CardRecord>(3), 4, 5, 6, 2, 7, 8}};
    return unit;
}

int numberAt(const QByteArray& bytes, int position, int size) {
    return bytes.mid(position, size).toHex().toInt(nullptr, 16);
}

struct CardFile {
    QByteArray name; // id and, behind a colon, kind
    QByteArray value;
};

QVector<CardFile> cardFiles(const QByteArray& bytes) {
    QVector<CardFile> files;
    for (int position = 0; position < bytes.size();) {
        const int size = numberAt(bytes, position + 3, 2);
        files.append({bytes.mid(position, 2).toHex().toUpper() + ':' +
                          QByteArray::number(bytes.at(position + 2)),
                      bytes.mid(position + 5, size)});
        position += 5 + size;
    }
    return files;
}

QByteArray valueOf(const QVector<CardFile>& files, const char* name) {
    for (const CardFile& file : files) {
        if (file.name == name)
            return file.value;
    }
    return {};
}

} // namespace

Q_DECLARE_METATYPE(Blocks)

class TestSamples : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void vehicleBlocksHaveThePublishedSizes_data() {
        QTest::addColumn<Generation>("generation");
        QTest::addColumn<Blocks>("blocks");
        QTest::newRow("first generation")
            << Generation::Gen1
            << Blocks{"\x01\x02\x03\x04\x05",
                      {2 + 194 + 194 + 17 + 15 + 4 + 8 + 1 + 58 + 1 + 2 * 98 + 1 + 31 + 128,
                       2 + 4 + 3 + 2 + 3 * 129 + 2 + 4 * 2 + 1 + 5 * 28 + 2 + 2 * 5 + 128,
                       2 + 1 + 2 * 82 + 1 + 5 * 83 + 9 + 1 + 3 * 31 + 1 + 98 + 128,
                       2 + 2 + 20 * 64 + 128, 2 + 116 + 20 + 1 + 167 + 128}};
        QTest::newRow("second generation, version 1")
            << Generation::Gen2V1
            << Blocks{"\x21\x22\x23\x24\x25",
                      {2 + 11 * 5 + 205 + 205 + 17 + 14 + 4 + 8 + 1 + 59 + 2 * 99 + 32 + 64,
                       2 + 8 * 5 + 4 + 3 + 3 * 131 + 4 * 2 + 5 * 40 + 6 * 56 + 2 * 5 + 64,
                       2 + 6 * 5 + 2 * 90 + 5 * 91 + 9 + 3 * 32 + 99 + 64, 2 + 2 * 5 + 20 * 64 + 64,
                       2 + 8 * 5 + 126 + 28 + 28 + 222 + 45 + 20 + 87 + 64}};
        QTest::newRow("second generation, version 2")
            << Generation::Gen2V2
            << Blocks{"\x31\x32\x33\x24\x35",
                      {2 + 11 * 5 + 205 + 205 + 17 + 15 + 4 + 8 + 1 + 59 + 2 * 99 + 32 + 64,
                       2 + 10 * 5 + 4 + 3 + 3 * 131 + 4 * 2 + 5 * 41 + 6 * 57 + 2 * 5 + 7 * 55 +
                           8 * 58 + 64,
                       2 + 6 * 5 + 2 * 90 + 5 * 91 + 9 + 3 * 32 + 99 + 64, 2 + 2 * 5 + 20 * 64 + 64,
                       2 + 8 * 5 + 138 + 28 + 28 + 252 + 45 + 20 + 87 + 64}};
    }
    void vehicleBlocksHaveThePublishedSizes() {
        QFETCH(Generation, generation);
        QFETCH(Blocks, blocks);
        const QByteArray file = vehicleUnitFile(vehicleUnit(generation));
        int position = 0;
        for (int i = 0; i < blocks.sizes.size(); ++i) {
            QCOMPARE(file.mid(position, 2), QByteArray("\x76") + blocks.treps.at(i));
            position += blocks.sizes.at(i);
        }
        QCOMPARE(file.size(), position);
    }

    void recordArraysFitTheirHeaders_data() {
        QTest::addColumn<Generation>("generation");
        QTest::newRow("version 1") << Generation::Gen2V1;
        QTest::newRow("version 2") << Generation::Gen2V2;
    }
    void recordArraysFitTheirHeaders() {
        QFETCH(Generation, generation);
        const QByteArray file = vehicleUnitFile(vehicleUnit(generation));
        int blocks = 0;
        int position = 0;
        bool isBlockStart = true;
        while (position < file.size()) {
            if (isBlockStart) {
                QCOMPARE(file.at(position), '\x76');
                position += 2;
                ++blocks;
            }
            isBlockStart = file.at(position) == 0x08; // a signature is the last array of its block
            position += 5 + numberAt(file, position + 1, 2) * numberAt(file, position + 3, 2);
        }
        QCOMPARE(position, file.size());
        QCOMPARE(blocks, 5);
    }

    void fieldsStandWhereTheLibraryLooks_data() {
        QTest::addColumn<Generation>("generation");
        QTest::addColumn<int>("plateAt");
        QTest::addColumn<int>("insertionAt");
        QTest::newRow("first generation") << Generation::Gen1 << 408 << 94;
        QTest::newRow("version 1") << Generation::Gen2V1 << 2 + 4 * 5 + 205 + 205 + 17 << 95;
        QTest::newRow("version 2") << Generation::Gen2V2 << 2 + 4 * 5 + 205 + 205 + 17 + 1 << 95;
    }
    void fieldsStandWhereTheLibraryLooks() {
        QFETCH(Generation, generation);
        QFETCH(int, plateAt);
        QFETCH(int, insertionAt);
        const QByteArray overview = overviewBlock(vehicleUnit(generation));
        QCOMPARE(overview.mid(plateAt, 14), QByteArray("\1AB 123 CD    "));
        samples::CardRecord record;
        record.insertionTime = 0x01020304;
        record.odometerAtInsertion = 0x050607;
        record.slot = 1;
        record.withdrawalTime = 0x08090A0B;
        record.odometerAtWithdrawal = 0x0C0D0E;
        QCOMPARE(cardRecord(generation, record).mid(insertionAt, 15).toHex(),
                 QByteArray("010203040506070108090a0b0c0d0e"));
    }

    void powerInterruptionNamesEachSlotAtBothTimes() {
        const QByteArray file = vehicleUnitFile(vehicleUnit(Generation::Gen2V2));
        const QByteArray cards = file.right(87 + 5 + 64).mid(10, 4 * 19);
        const QByteArray driver = "\x01\x0D"
                                  "DF00000000000100\x02";
        QCOMPARE(cards, driver + driver + QByteArray(2 * 19, '\xFF'));
    }

    void cardFilesHaveThePublishedSizes() {
        forEachRow("cardfiles.txt", [](const TableRow& row) {
            samples::Card card;
            card.type = static_cast<unsigned char>(row.number("type"));
            card.generation = row.number("generation");
            const char data = card.generation == 1 ? '0' : '2';
            const QVector<CardFile> files = cardFiles(cardFile(card));
            QStringList sizes;
            for (const CardFile& file : files) {
                if (file.name.endsWith(data) && !file.name.startsWith("000"))
                    sizes << QString::fromLatin1(file.name.left(4)) + QLatin1Char('=') +
                                 QString::number(file.value.size());
            }
            QCOMPARE(sizes.join(QLatin1Char(' ')), row.text("files"));
            QCOMPARE(QString::fromLatin1(
                         valueOf(files, data == '0' ? "0501:0" : "0501:2").toHex().toUpper()),
                     row.text("application"));
        });
    }

    void cardsOfDriversAndWorkshopsAreSigned() {
        samples::Card card;
        card.generation = 2;
        QVector<CardFile> files = cardFiles(cardFile(card));
        QCOMPARE(valueOf(files, "0520:1").size(), 128);
        QCOMPARE(valueOf(files, "0520:3").size(), 64);
        QVERIFY(valueOf(files, "050E:1").isEmpty());
        card.type = 4;
        files = cardFiles(cardFile(card));
        QVERIFY(valueOf(files, "0520:1").isEmpty());
    }

    void chipsAndCountersAreAsPublished() {
        const QVector<CardFile> files = cardFiles(cardFile(samples::Card()));
        QCOMPARE(valueOf(files, "0002:0").size(), 25);
        QCOMPARE(valueOf(files, "0005:0").size(), 8);
        QCOMPARE(numberAt(valueOf(files, "0002:0"), 1 + 4, 2), 0x0320);            // made
        QCOMPARE(numberAt(valueOf(files, "0504:0"), 4 + 27 * 44 + 8, 2), 0x0028);  // 28th day
        QCOMPARE(numberAt(valueOf(files, "0505:0"), 2 + 27 * 31 + 29, 2), 0x0028); // 28th vehicle
        QCOMPARE(numberAt(valueOf(files, "0520:0"), 65 + 72, 4), 0x19800229);      // born
    }
};

QTEST_GUILESS_MAIN(TestSamples)
#include "tst_samples.moc"
