// Sample cards against the layout that the regulation publishes, and whole sample keys, whose
// contents stay the same.
#include "samples/samples.h"
#include "tests/support/datatable.h"
#include "tests/support/lines.h"

namespace {

uint checksumOf(const QByteArray& bytes) {
    return qChecksum(bytes.constData(), uint(bytes.size()));
}

} // namespace

Q_DECLARE_METATYPE(samples::KeyOptions)

class TestSamples : public QObject {
    Q_OBJECT

private Q_SLOTS:
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
        const QByteArray file = cardFile(card);
        QString blocks;
        QString application;
        int size = 0;
        for (int position = 0; position < file.size(); position += 5 + size) {
            const QByteArray id = file.mid(position, 2).toHex().toUpper();
            const auto kind = static_cast<unsigned char>(
                file.at(position + 2)); // data or signature of a generation
            size = file.mid(position + 3, 2).toHex().toInt(nullptr, 16);
            if (kind / 2 + 1 != generation)
                continue;
            blocks += kind % 2 == 0 ? ' ' + id + '=' : "+";
            blocks += QString::number(size);
            if (id == "0501" && kind % 2 == 0)
                application = file.mid(position + 5, size).toHex().toUpper();
        }
        QTEST(blocks.trimmed(), "files");
        QTEST(application, "application");
    }

    // A checksum of each file, its first two bytes and its name. The key has every generation,
    // every shape of a name and every oddity: an older download, a card that stays in overnight, a
    // stretch without a card, a cut file.
    void smallKeyStaysTheSame() {
        QString listing;
        for (const samples::KeyFile& file : samples::sampleKey({3, 2, 8, 3, true})) {
            listing += QString("%1 %2 %3\n")
                           .arg(checksumOf(file.bytes), 5)
                           .arg(QString(file.bytes.left(2).toHex()), file.name);
        }
        compareLines(listing, dataFile("key.txt"));
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
