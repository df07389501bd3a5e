// Card download files, a class for each kind and generation. Each is constructed from a generic
// card whose readCardInfo() has succeeded, and copies its state, the file included.
#pragma once

#include "scard/scardgeneric.h"

namespace scard {

class SCardDriverG1 : public SCardGeneric {
public:
    explicit SCardDriverG1(const SCardGeneric& card);
};

class SCardDriverG2 : public SCardGeneric {
public:
    explicit SCardDriverG2(const SCardGeneric& card);
};

class SCardWorkshopG1 : public SCardGeneric {
public:
    explicit SCardWorkshopG1(const SCardGeneric& card);
};

class SCardWorkshopG2 : public SCardGeneric {
public:
    explicit SCardWorkshopG2(const SCardGeneric& card);
};

class SCardCompanyG1 : public SCardGeneric {
public:
    explicit SCardCompanyG1(const SCardGeneric& card);
};

class SCardCompanyG2 : public SCardGeneric {
public:
    explicit SCardCompanyG2(const SCardGeneric& card);
};

} // namespace scard
