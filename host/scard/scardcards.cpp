#include "scard/scardcards.h"

namespace scard {

SCardDriverG1::SCardDriverG1(const SCardGeneric& card)
    : SCardGeneric(card) {}

SCardDriverG2::SCardDriverG2(const SCardGeneric& card)
    : SCardGeneric(card) {}

SCardWorkshopG1::SCardWorkshopG1(const SCardGeneric& card)
    : SCardGeneric(card) {}

SCardWorkshopG2::SCardWorkshopG2(const SCardGeneric& card)
    : SCardGeneric(card) {}

SCardCompanyG1::SCardCompanyG1(const SCardGeneric& card)
    : SCardGeneric(card) {}

SCardCompanyG2::SCardCompanyG2(const SCardGeneric& card)
    : SCardGeneric(card) {}

} // namespace scard
