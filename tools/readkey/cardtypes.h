// The kinds of cards, as the card library numbers them.
#pragma once

#include <QtCore/QString>

namespace readkey {

bool isDriverCard(int type);

// "driver", "workshop", "control", "company" or the number.
QString cardTypeName(int type);

} // namespace readkey
