// Card files, a class for each kind and generation.
#pragma once

#include "scard/scardgeneric.h"

namespace scard {

template <CardType type, int generation>
class SpecificCard : public SCardGeneric {
public:
    explicit SpecificCard(const SCardGeneric& card)
        : SCardGeneric(card) {}

private:
    QString m_note;
};

using SCardDriverG1 = SpecificCard<CardType::Driver, 1>;
using SCardDriverG2 = SpecificCard<CardType::Driver, 2>;
using SCardWorkshopG1 = SpecificCard<CardType::Workshop, 1>;
using SCardWorkshopG2 = SpecificCard<CardType::Workshop, 2>;
using SCardCompanyG1 = SpecificCard<CardType::Company, 1>;
using SCardCompanyG2 = SpecificCard<CardType::Company, 2>;

} // namespace scard
