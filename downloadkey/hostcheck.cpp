// What must agree about the host's types between the host and the library. This file is compiled
// but never linked: the build creates downloadkey/hostcheck.h from the texts that it finds in the
// compiled file.
#include "auxiliary/configuration.h"
#include "auxiliary/error.h"
#include "logging/logger.h"
#include "scard/scardcards.h"

#include <QtCore/QMetaType>

#include <cstddef>
#include <utility>

static_assert(QMetaTypeId2<aux::Error>::Defined,
              "auxiliary/error.h needs Q_DECLARE_METATYPE(aux::Error)");

namespace {

// "hostcheck DIGITS EXPRESSION", with leading zeros.
struct Check {
    constexpr Check(const char* expression, std::size_t value) {
        for (int i = digitCount; i-- > 0; value /= 10)
            text[prefixSize + i] = static_cast<char>('0' + value % 10);
        for (int i = 0; expression[i] != '\0'; ++i)
            text[prefixSize + digitCount + 1 + i] = expression[i];
    }

    static constexpr int prefixSize = 10;
    static constexpr int digitCount = 10;
    char text[128] = "hostcheck 0123456789 ";
};

#define DOWNLOADKEY_CHECK(expression) Check(#expression, expression)
#define DOWNLOADKEY_TYPE(type) DOWNLOADKEY_CHECK(sizeof(type)), DOWNLOADKEY_CHECK(alignof(type))

// What the library constructs, stores or passes by value.
[[gnu::used]] constexpr Check checks[] = {
    DOWNLOADKEY_TYPE(aux::Error),
    DOWNLOADKEY_TYPE(aux::ErrorData),
    DOWNLOADKEY_TYPE(aux::SettingsCode),
    DOWNLOADKEY_TYPE(logging::Level),
    DOWNLOADKEY_TYPE(Name),
    DOWNLOADKEY_TYPE(VehicleRegistrationNumber),
    DOWNLOADKEY_TYPE(scard::FilenameRegion),
    DOWNLOADKEY_CHECK(sizeof(std::declval<const scard::SCardGeneric&>().getCardType())),
    DOWNLOADKEY_TYPE(scard::SCardGeneric),
    DOWNLOADKEY_TYPE(scard::SCardDriverG1),
    DOWNLOADKEY_TYPE(scard::SCardDriverG2),
    DOWNLOADKEY_TYPE(scard::SCardWorkshopG1),
    DOWNLOADKEY_TYPE(scard::SCardWorkshopG2),
    DOWNLOADKEY_TYPE(scard::SCardCompanyG1),
    DOWNLOADKEY_TYPE(scard::SCardCompanyG2),
};

} // namespace
