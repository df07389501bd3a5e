// The sizes of the host's types that pass between it and the library. This file is compiled and
// never linked: the build makes downloadkey/hostcheck.h from the texts that it finds in the
// compiled file.
#include "auxiliary/configuration.h"
#include "auxiliary/error.h"
#include "logging/logger.h"
#include "scard/scardcards.h"

#include <cstddef>

namespace {

// "sizeof DIGITS TYPE", with leading zeros.
struct Size {
    constexpr Size(const char* type, std::size_t size) {
        for (int i = digitCount; i-- > 0; size /= 10)
            text[prefixSize + i] = static_cast<char>('0' + size % 10);
        for (int i = 0; type[i] != '\0'; ++i)
            text[prefixSize + digitCount + 1 + i] = type[i];
    }

    static constexpr int prefixSize = 7;
    static constexpr int digitCount = 10;
    char text[64] = "sizeof 0123456789 ";
};

#define DOWNLOADKEY_SIZE(type) Size(#type, sizeof(type))

// What the library makes, keeps or passes by value.
[[gnu::used]] constexpr Size sizes[] = {
    DOWNLOADKEY_SIZE(aux::Error),
    DOWNLOADKEY_SIZE(aux::ErrorData),
    DOWNLOADKEY_SIZE(aux::SettingsCode),
    DOWNLOADKEY_SIZE(logging::Level),
    DOWNLOADKEY_SIZE(Name),
    DOWNLOADKEY_SIZE(VehicleRegistrationNumber),
    DOWNLOADKEY_SIZE(scard::FilenameRegion),
    DOWNLOADKEY_SIZE(scard::SCardGeneric),
    DOWNLOADKEY_SIZE(scard::SCardDriverG1),
    DOWNLOADKEY_SIZE(scard::SCardDriverG2),
    DOWNLOADKEY_SIZE(scard::SCardWorkshopG1),
    DOWNLOADKEY_SIZE(scard::SCardWorkshopG2),
    DOWNLOADKEY_SIZE(scard::SCardCompanyG1),
    DOWNLOADKEY_SIZE(scard::SCardCompanyG2),
};

} // namespace
