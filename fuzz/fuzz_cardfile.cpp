// A card file through the host's card library, in the steps of DownloadKey::read().
#include "fuzz/fuzzing.h"
#include "samples/memoryfile.h"
#include "scard/scardcards.h"

using fuzzing::require;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    MemoryFile file(fuzzing::bytesOf(data, size));
    scard::SCardGeneric generic(file, QDateTime(), scard::FilenameRegion{});
    const aux::Error info = generic.readCardInfo();
    require(!info.isEmpty() || (generic.getCardType() >= 1 && generic.getCardType() <= 4),
            "a known type");

    scard::SCardDriverG2 card(generic);
    card.calcDataSize();
    const bool isRead = card.readData().isEmpty();
    require(card.getCardType() == generic.getCardType(), "the kind is taken over");
    require(isRead || card.cardNumber().isEmpty(), "a failure leaves nothing");
    require(card.cardNumber().size() <= 16 && card.holderName().size() <= 71,
            "fields have their sizes");
    require(!card.readData().isEmpty(), "the file was let go");
    return 0;
}
