#include "scard/scardgeneric.h"

#include <QtCore/QFile>
#include <QtCore/QTextCodec>

#include <array>
#include <cstddef>
#include <cstring>
#include <optional>
#include <utility>

namespace scard {

namespace {

constexpr quint16 applicationIdentification = 0x0501;
constexpr quint16 identification = 0x0520;

enum BlockKind : quint8 { FirstGenerationData = 0, SecondGenerationData = 2 };

// Identification: the offsets and sizes of what the stand-in reads.
constexpr int cardNumberAt = 1;
constexpr int cardNumberSize = 16;
constexpr int surnameAt = 65;
constexpr int firstNamesAt = surnameAt + static_cast<int>(sizeof(Name));
constexpr int identificationSize = firstNamesAt + static_cast<int>(sizeof(Name));

aux::Error makeError(QString text) {
    return aux::Error(aux::ErrorData(QStringLiteral("libscard"), std::move(text), 0));
}

struct Block {
    quint16 id = 0;
    quint8 kind = 0;
    int size = 0;
};

// Walks the blocks of a card file. It reads five bytes per block, and a value only on request: the
// files come from outside, and a sparse one may pretend to be of any size.
class BlockReader {
public:
    enum class Step { Block, End, Failed };

    explicit BlockReader(QFile* file)
        : m_file(file) {
        if (!m_file || !m_file->isOpen() || !m_file->isReadable()) {
            m_error = QStringLiteral("The card file is not open");
            return;
        }
        m_fileSize = m_file->size();
        unsigned char start[2];
        if (m_fileSize >= 2 && readAt(0, start, 2) && start[0] == 0x76 && start[1] == 0x06)
            m_next = 2;
    }

    // Moves to the next block. Fails if it runs past the end of the file.
    Step next() {
        if (!m_error.isEmpty())
            return Step::Failed;
        if (m_next == m_fileSize)
            return Step::End;
        if (++m_count > maxBlocks)
            return fail(QStringLiteral("The card file has more than %1 blocks").arg(maxBlocks));
        unsigned char header[headerSize];
        if (m_fileSize - m_next < headerSize)
            return fail(
                QStringLiteral("The card file ends within a block's header at %1").arg(m_next));
        if (!readAt(m_next, header, headerSize))
            return Step::Failed;
        m_block.id = static_cast<quint16>(header[0] << 8 | header[1]);
        m_block.kind = header[2];
        m_block.size = header[3] << 8 | header[4];
        if (m_fileSize - m_next - headerSize < m_block.size)
            return fail(QStringLiteral("The card file ends within block %1 at %2")
                            .arg(m_block.id, 4, 16, QLatin1Char('0'))
                            .arg(m_next));
        m_value = m_next + headerSize;
        m_next = m_value + m_block.size;
        return Step::Block;
    }

    const Block& block() const { return m_block; }

    // The first `size` bytes of the current block's value, which must have at least that many.
    bool readValue(unsigned char* bytes, int size) { return readAt(m_value, bytes, size); }

    aux::Error error() const { return makeError(m_error); }

    // Whether the walk failed because the file could not be read, and not because of its bytes.
    bool cannotRead() const { return m_cannotRead; }

private:
    static constexpr int headerSize = 5;
    // A card has a few dozen. A file of zeros would be a block every five bytes.
    static constexpr int maxBlocks = 4096;

    bool readAt(qint64 position, unsigned char* bytes, int size) {
        if (m_file->seek(position) && m_file->read(reinterpret_cast<char*>(bytes), size) == size)
            return true;
        m_error = QStringLiteral("The card file cannot be read: %1").arg(m_file->errorString());
        m_cannotRead = true;
        return false;
    }

    Step fail(const QString& text) {
        m_error = text;
        return Step::Failed;
    }

    QFile* m_file;
    QString m_error;
    bool m_cannotRead = false;
    qint64 m_fileSize = 0;
    qint64 m_next = 0;
    qint64 m_value = 0;
    int m_count = 0;
    Block m_block;
};

// The characters of a single-byte code page.
using CodePage = std::array<char16_t, 256>;

// Bytes below `firstOwn` are the numbers of their characters: the codec is not asked for them. Nor
// are private characters kept. Qt's codec for ISO 8859-11 is Windows-874, which differs in both.
std::optional<CodePage> loadCodePage(const QByteArray& name, std::size_t firstOwn) {
    QTextCodec* codec = QTextCodec::codecForName(name);
    if (!codec)
        return std::nullopt;
    CodePage page{};
    for (std::size_t byte = 0; byte < firstOwn; ++byte)
        page[byte] = static_cast<char16_t>(byte);
    for (std::size_t byte = firstOwn; byte < page.size(); ++byte) {
        const char encoded = static_cast<char>(byte);
        const QString text = codec->toUnicode(&encoded, 1);
        const bool isKnown = text.size() == 1 && text.at(0).category() != QChar::Other_PrivateUse;
        page[byte] = isKnown ? text.at(0).unicode() : u'\uFFFD';
    }
    return page;
}

// The data dictionary's code pages by number. Number 1, and all that are not known here, are read
// as ISO 8859-1, in which each byte is the number of its character.
using CodePages = std::array<std::optional<CodePage>, 86>;

CodePages loadCodePages() {
    CodePages pages;
    for (std::size_t number = 2; number <= 16; ++number)
        pages[number] =
            loadCodePage("ISO 8859-" + QByteArray::number(static_cast<int>(number)), 0xA0);
    pages[80] = loadCodePage("KOI8-R", 0x80);
    pages[85] = loadCodePage("KOI8-U", 0x80);
    return pages;
}

const CodePage* codePage(unsigned char number) {
    if (number < 2)
        return nullptr;
    // A file has two names in every card record, so each codec is asked once for each of its
    // characters, not once for each text.
    static const CodePages pages = loadCodePages();
    return number < pages.size() && pages[number] ? &*pages[number] : nullptr;
}

template <typename Field>
QString decode(const Field& field) {
    constexpr unsigned char padding = 0xFF; // but a letter in some code pages
    const CodePage* page = codePage(field.codePage);
    int end = sizeof(field.text);
    while (end > 0 && field.text[end - 1] == padding)
        --end;
    QChar text[sizeof(field.text)];
    int size = 0;
    for (int i = 0; i < end; ++i) {
        const unsigned char byte = field.text[i];
        const QChar character = page ? (*page)[byte] : char16_t{byte};
        if (byte != 0x00 && (byte != padding || character.isLetter()))
            text[size++] = character;
    }
    return QString(text, size);
}

Name nameAt(const unsigned char* bytes) {
    Name name;
    std::memcpy(&name, bytes, sizeof name);
    return name;
}

} // namespace

SCardGeneric::SCardGeneric(QFile& file, QDateTime downloadTime, FilenameRegion region)
    : m_file(&file)
    , m_downloadTime(std::move(downloadTime))
    , m_region(region) {}

SCardGeneric::SCardGeneric(const SCardGeneric& other) = default;
SCardGeneric::~SCardGeneric() = default;

aux::Error SCardGeneric::readCardInfo() {
    m_cardType = 0;
    m_secondGeneration = false;
    BlockReader reader(m_file);
    auto step = reader.next();
    for (; step == BlockReader::Step::Block; step = reader.next()) {
        const Block& block = reader.block();
        const bool second = block.kind == SecondGenerationData;
        if (block.id != applicationIdentification || block.size == 0 ||
            (!second && (block.kind != FirstGenerationData || m_cardType != 0)))
            continue;
        unsigned char type = 0;
        if (!reader.readValue(&type, 1))
            break;
        if (type < 1 || type > 4)
            return makeError(
                QStringLiteral("The card file is of no known card type: %1").arg(type));
        m_cardType = type;
        m_secondGeneration = second;
        if (second)
            break;
    }
    if (reader.cannotRead() || (step == BlockReader::Step::Failed && m_cardType == 0))
        return reader.error();
    if (m_cardType == 0)
        return makeError(QStringLiteral("The card file has no Application_Identification"));
    return {};
}

int SCardGeneric::getCardType() const {
    return m_cardType;
}

bool SCardGeneric::is2ndGeneneration() const {
    return m_secondGeneration;
}

aux::Error SCardGeneric::calcDataSize() {
    BlockReader reader(m_file);
    auto step = reader.next();
    while (step == BlockReader::Step::Block)
        step = reader.next();
    return step == BlockReader::Step::End ? aux::Error() : reader.error();
}

aux::Error SCardGeneric::readData() {
    BlockReader reader(std::exchange(m_file, nullptr));
    const BlockKind wanted = m_secondGeneration ? SecondGenerationData : FirstGenerationData;
    unsigned char bytes[identificationSize];
    bool found = false;
    auto step = reader.next();
    for (; step == BlockReader::Step::Block; step = reader.next()) {
        const Block& block = reader.block();
        if (block.id != identification || block.size < identificationSize ||
            (block.kind != wanted && (found || block.kind != FirstGenerationData)))
            continue;
        if (!reader.readValue(bytes, identificationSize))
            return reader.error();
        found = true;
        if (block.kind == wanted)
            break;
    }
    if (step == BlockReader::Step::Failed)
        return reader.error();
    if (!found)
        return makeError(QStringLiteral("The card file has no Identification"));

    m_cardNumber.clear();
    for (int i = cardNumberAt; i < cardNumberAt + cardNumberSize; ++i) {
        if (bytes[i] != 0x00 && bytes[i] != 0xFF)
            m_cardNumber.append(QLatin1Char(static_cast<char>(bytes[i])));
    }
    m_cardNumber = m_cardNumber.trimmed();
    m_holderName = textfieldToString(nameAt(bytes + firstNamesAt)).trimmed() + QLatin1Char(' ') +
                   textfieldToString(nameAt(bytes + surnameAt)).trimmed();
    m_holderName = m_holderName.trimmed();
    return {};
}

QDateTime SCardGeneric::downloadTime() const {
    return m_downloadTime;
}

FilenameRegion SCardGeneric::region() const {
    return m_region;
}

QString SCardGeneric::cardNumber() const {
    return m_cardNumber;
}

QString SCardGeneric::holderName() const {
    return m_holderName;
}

QString SCardGeneric::textfieldToString(Name field) {
    return decode(field);
}

QString SCardGeneric::textfieldToString(VehicleRegistrationNumber field) {
    return decode(field);
}

} // namespace scard
