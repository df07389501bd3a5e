// Sample downloads against the layouts that the regulation publishes, and whole sample keys, whose
// contents stay the same.
#include "downloadkey/vehicleinfo.h"
#include "samples/memoryfile.h"
#include "samples/samples.h"
#include "tests/support/datatable.h"
#include "tests/support/lines.h"

using samples::Generation;

namespace {

using Block = std::pair<QByteArray, int>; // its tag and size

int numberAt(const QByteArray& bytes, int position, int size) {
    return bytes.mid(position, size).toHex().toInt(nullptr, 16);
}

// Two company locks, one control, and a day with three insertions, four activity changes, five
// places, six GNSS positions, two specific conditions, seven border crossings and eight loads.
QByteArray vehicleFile(Generation generation) {
    samples::VehicleUnit unit;
    unit.generation = generation;
    unit.companyLocks = 2;
    unit.controlActivities = 1;
    unit.days = {{0, 0, std::vector<samples::CardRecord>(3), 4, 5, 6, 2, 7, 8}};
    return vehicleUnitFile(unit);
}

// The blocks of a card file by id and kind, such as "0520:1".
QMap<QString, QByteArray> cardBlocks(const QByteArray& file) {
    QMap<QString, QByteArray> blocks;
    for (int position = 0; position < file.size();) {
        const QString id = file.mid(position, 2).toHex().toUpper();
        const int size = numberAt(file, position + 3, 2);
        blocks[id + ':' + QString::number(file.at(position + 2))] = file.mid(position + 5, size);
        position += 5 + size;
    }
    return blocks;
}

uint checksumOf(const QByteArray& bytes) {
    return qChecksum(bytes.constData(), uint(bytes.size()));
}

// The card insertions of a file; none if it is not a vehicle-unit file, or a cut one.
QString insertionsOf(const samples::KeyFile& keyFile) {
    MemoryFile file(keyFile.bytes);
    downloadkey::VehicleInfo info(file);
    if (!info.read().isEmpty())
        return {};
    const auto time = [](const QDateTime& local) { return local.toUTC().toString("dd.MM. HH:mm"); };
    QString text;
    for (const auto& one : info.getDriverActivities()) {
        text += QString("      %1 to %2, slot %3, %4 to %5 km, %6\n")
                    .arg(time(one.insertionTime), time(one.withdrawalTime))
                    .arg(one.slot)
                    .arg(one.odometerAtInsertion)
                    .arg(int(one.odometerAtWithdrawal))
                    .arg(one.holderName);
    }
    return text;
}

} // namespace

Q_DECLARE_METATYPE(samples::KeyOptions)
Q_DECLARE_METATYPE(Generation)
Q_DECLARE_METATYPE(QList<Block>)

class TestSamples : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QLoggingCategory::defaultCategory()->setEnabled(QtDebugMsg, false); }

    // The blocks of a file, each with the sizes of its parts: the tag, what occurs once, the counts
    // of records, the records, the signature. In the second generation each array has a header of 5
    // bytes.
    void vehicleBlocksHaveThePublishedSizes_data() {
        const auto row = columns<Generation, QList<Block>>("generation", "blocks");
        row("first generation", Generation::Gen1,
            {{"7601", 2 + 194 + 194 + 17 + 15 + 4 + 8 + 1 + 58 + (1 + 2 * 98) + (1 + 31) + 128},
             {"7602", 2 + 4 + 3 + (2 + 3 * 129) + (2 + 4 * 2) + (1 + 5 * 28) + (2 + 2 * 5) + 128},
             {"7603", 2 + (1 + 2 * 82) + (1 + 5 * 83) + 9 + (1 + 3 * 31) + (1 + 98) + 128},
             {"7604", 2 + 2 + 20 * 64 + 128},
             {"7605", 2 + 116 + 20 + (1 + 167) + 128}});
        row("second generation version 1", Generation::Gen2V1,
            {{"7621", 2 + 11 * 5 + 205 + 205 + 17 + 14 + 4 + 8 + 1 + 59 + 2 * 99 + 32 + 64},
             {"7622", 2 + 8 * 5 + 4 + 3 + 3 * 131 + 4 * 2 + 5 * 40 + 6 * 56 + 2 * 5 + 64},
             {"7623", 2 + 6 * 5 + 2 * 90 + 5 * 91 + 9 + 3 * 32 + 99 + 64},
             {"7624", 2 + 2 * 5 + 20 * 64 + 64},
             {"7625", 2 + 8 * 5 + 126 + 28 + 28 + 222 + 45 + 20 + 87 + 64}});
        row("second generation version 2", Generation::Gen2V2,
            {{"7631", 2 + 11 * 5 + 205 + 205 + 17 + 15 + 4 + 8 + 1 + 59 + 2 * 99 + 32 + 64},
             {"7632", 2 + 10 * 5 + 4 + 3 + 3 * 131 + 4 * 2 + 5 * 41 + 6 * 57 + 2 * 5 + 7 * 55 +
                          8 * 58 + 64},
             {"7633", 2 + 6 * 5 + 2 * 90 + 5 * 91 + 9 + 3 * 32 + 99 + 64},
             {"7624", 2 + 2 * 5 + 20 * 64 + 64},
             {"7635", 2 + 8 * 5 + 138 + 28 + 28 + 252 + 45 + 20 + 87 + 64}});
    }
    void vehicleBlocksHaveThePublishedSizes() {
        QFETCH(Generation, generation);
        QFETCH(QList<Block>, blocks);
        const QByteArray file = vehicleFile(generation);
        int position = 0;
        for (const auto& [tag, size] : qAsConst(blocks)) {
            QCOMPARE(file.mid(position, 2).toHex(), tag);
            const int end = position + size;
            int array = generation == Generation::Gen1 ? end : position + 2;
            while (array < end && file.at(array) != '\x76') // the next block's tag
                array += 5 + numberAt(file, array + 1, 2) * numberAt(file, array + 3, 2);
            QVERIFY2(array == end, tag + ": " + QByteArray::number(array - position) +
                                       " bytes, not " + QByteArray::number(size));
            position = end;
        }
        QCOMPARE(position, file.size());
    }

    void cardBlocksHaveThePublishedSizes_data() {
        tableRows<quint16, int, QString, QString>("cardfiles.txt", "type", "generation",
                                                  "application", "files");
    }
    void cardBlocksHaveThePublishedSizes() {
        QFETCH(quint16, type);
        QFETCH(int, generation);
        samples::Card card;
        card.type = static_cast<unsigned char>(type);
        card.generation = generation;
        const QString data = generation == 1 ? ":0" : ":2";
        const QString signature = generation == 1 ? ":1" : ":3";
        const auto blocks = cardBlocks(cardFile(card));
        QStringList sizes;
        for (const QString& name : blocks.keys()) {
            if (name.endsWith(data))
                sizes << QString("%1=%2").arg(name.left(4)).arg(blocks[name].size());
            else if (name.endsWith(signature))
                sizes.last() += QString("+%1").arg(blocks[name].size());
        }
        QTEST(sizes.join(' '), "files");
        QTEST(QString(blocks["0501" + data].toHex().toUpper()), "application");
    }

    // A checksum of each file, its first two bytes and its name, and the insertions of two
    // vehicles. The key has every generation, every shape of a name and every oddity: an older
    // download, a card that stays in over night, a way without a card, a cut file.
    void keyStaysTheSame() {
        QString listing;
        for (const samples::KeyFile& file : samples::sampleKey({3, 2, 8, 3, true})) {
            listing += QString("%1 %2 %3\n")
                           .arg(checksumOf(file.bytes), 5)
                           .arg(QString(file.bytes.left(2).toHex()), file.name);
            if (file.name.contains(QRegularExpression("10[01]CD")))
                listing += insertionsOf(file);
        }
        QCOMPARE(linesOf(listing), linesOf(dataFile("key.txt")));
        QCOMPARE(samples::oddFiles({1, 1, 1, 1, true})[0].name,
                 QString("M_20240314_1200_AB100CD.DDD")); // older, even on the smallest key
    }

    void largeKeysStayTheSame_data() {
        const auto row = columns<samples::KeyOptions, uint>("options", "checksum");
        row("as makekey writes it", {}, 45861);
        row("many teams", {14, 2, 100, 2}, 62109);
        row("as many insertions as a day takes", {2, 65535, 2, 4}, 7851);
    }
    void largeKeysStayTheSame() {
        QFETCH(samples::KeyOptions, options);
        QByteArray bytes;
        for (const samples::KeyFile& file : samples::sampleKey(options))
            bytes += file.bytes;
        QTEST(checksumOf(bytes), "checksum");
    }
};

QTEST_GUILESS_MAIN(TestSamples)
#include "tst_samples.moc"
