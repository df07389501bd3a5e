// The stand-in host, as far as users of readkey see it: its cards over sound and damaged files, and
// its texts.
#include "samples/samples.h"
#include "scard/scardcards.h"
#include "tests/support/datatable.h"
#include "tests/support/faultyfile.h"

#include <QtCore/QDateTime>
#include <QtTest/QtTest>

#include <cstring>

using samples::cardBlock;

namespace {

// An Identification: a card's number and its holder.
QByteArray identification(const QByteArray& number, const QByteArray& surname,
                          const QByteArray& firstNames, unsigned char kind = 0) {
    return cardBlock(0x0520, kind,
                     '\x0D' + number.leftJustified(16, ' ') + QByteArray(48, 'x') +
                         samples::textField(surname, 36) + samples::textField(firstNames, 36));
}

QByteArray type(char value, unsigned char kind = 0) {
    return cardBlock(0x0501, kind, QByteArray(1, value));
}

} // namespace

class TestHost : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // Type, generation, number and holder; or type, generation and what is wrong. No byte from
    // `firstBad` on can be read.
    void readsCardsBlockByBlock_data() {
        const auto row = columns<QByteArray, int, QString>("bytes", "firstBad", "expected");
        const int none = 999999;
        const QByteArray names = identification("N1", "Old", "Ann");
        const QByteArray namesGen2 = identification("N2", "New", "Ann", 2);
        const QByteArray empty = cardBlock(0, 0, "");
        row("one name, padded number",
            type(1) + identification(QByteArray("N\0\0\xFF\xFF", 5), "Solo", ""), none,
            "1 1 N Solo");
        row("workshop card, through a vehicle unit", "\x76\x06" + type(2) + names, none,
            "2 1 N1 Ann Old");
        row("second generation, in another order", namesGen2 + type(1, 2) + names + type(1), none,
            "1 2 N2 Ann New");
        row("second generation without names", names + type(1) + type(1, 2), none,
            "1 2 N1 Ann Old");
        row("signatures, unknown ids and kinds, and an empty last block",
            type(4, 1) + type(4, 3) + cardBlock(0xBEEF, 9, QByteArray(65535, 'x')) + type(1) +
                type(4, 7) + names + empty,
            none, "1 1 N1 Ann Old");

        const QString noType = "0 1: The card file has no Application_Identification";
        const QString noNames = "1 1: The card file has no Identification";
        row("type without a value", cardBlock(0x0501, 0, "") + names, none, noType);
        row("type 9", type(9), none, "0 1: The card file is of no known card type: 9");
        row("cut within a value", (type(1) + names).chopped(1), none,
            "1 1: The card file ends within block 0520 at 6");
        row("cut within a header", type(1) + names.left(4), none,
            "1 1: The card file ends within a block's header at 6");
        row("names too short", type(1) + cardBlock(0x0520, 0, QByteArray(136, 'x')), none, noNames);
        row("endless", type(1) + QByteArray(4096 * 5, '\0'), none,
            "1 1: The card file has more than 4096 blocks");

        const QByteArray pulled = type(1) + type(1, 2) + namesGen2; // 6, 6 and 142 bytes
        const QString unreadable = ": The card file cannot be read: Unknown error";
        row("pulled out before the type", pulled, 5, "0 1" + unreadable);
        row("pulled out within the names", pulled, 153, "1 2" + unreadable);
    }
    void readsCardsBlockByBlock() {
        QFETCH(QByteArray, bytes);
        QFETCH(int, firstBad);
        FaultyFile file(bytes, firstBad, bytes.size());
        scard::SCardGeneric unread(file, QDateTime(), scard::FilenameRegion::Unknown);
        aux::Error error = unread.readCardInfo();
        scard::SCardDriverG2 card(unread);
        if (error.isEmpty())
            error = card.calcDataSize();
        if (error.isEmpty())
            error = card.readData();
        const QString text = error.isEmpty() ? ' ' + card.cardNumber() + ' ' + card.holderName()
                                             : ": " + error.entries().front().text();
        const int generation = card.is2ndGeneneration() ? 2 : 1;
        QTEST(QString("%1 %2").arg(card.getCardType()).arg(generation) + text, "expected");
    }

    // The bytes at the beginning of a field, with NUL behind them.
    void decodesTextFields_data() {
        const auto row = columns<int, QByteArray, QString>("codePage", "bytes", "text");
        row("unknown", 86, "K\xE4the", "Käthe");
        row("8859-2", 2, "\xAEofie", "Žofie");
        row("8859-11, with a control character", 11, "\xA1\xDB\xC1\x85", "ก�ม\u0085");
        row("KOI8-U", 85, "\xA4\xB4", "єЄ");
        row("NUL is no text", 1, QByteArray("A\0B", 3), "AB");
        row("FF is a letter", 80, "\xF0\xFF\xF0", "ПЪП");
        row("FF is not a letter", 2,
            "A\xFF"
            "B",
            "AB");
        row("filled with FF", 80, '\xF0' + QByteArray(34, '\xFF'), "П");
    }
    void decodesTextFields() {
        QFETCH(int, codePage);
        QFETCH(QByteArray, bytes);
        Name name{static_cast<unsigned char>(codePage), {}};
        std::memcpy(name.text, bytes.constData(), std::size_t(bytes.size()));
        QTEST(scard::SCardGeneric::textfieldToString(name), "text");
    }
};

QTEST_GUILESS_MAIN(TestHost)
#include "tst_host.moc"
