#include "cardtypes.h"

#include "downloadkey/downloadkey.h"

namespace readkey {

bool isDriverCard(int type) {
    return type == static_cast<int>(downloadkey::DownloadKey::CardType::DriverCard);
}

QString cardTypeName(int type) {
    static const char* const names[] = {"driver", "workshop", "control", "company"};
    return type >= 1 && type <= 4 ? QString::fromLatin1(names[type - 1]) : QString::number(type);
}

} // namespace readkey
