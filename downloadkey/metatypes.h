// For hosts that receive readDone() in another thread, by a queued connection or with QSignalSpy:
// Qt then copies the signal's arguments, and looks up their types by their names in the signal's
// declaration. The library does not register them itself.
#pragma once

#include "downloadkey/vehicleinfo.h"
#include "scard/scardgeneric.h"

#include <QtCore/QMetaType>

#include <memory>
#include <vector>

namespace downloadkey {

// Registers the types of both lists of readDone(). Call it once, before the first read(); further
// calls do nothing. It may be called from any thread.
inline void registerMetaTypes() {
    qRegisterMetaType<std::vector<std::shared_ptr<scard::SCardGeneric>>>(
        "std::vector<std::shared_ptr<scard::SCardGeneric> >");
    qRegisterMetaType<std::vector<std::shared_ptr<VehicleInfo>>>(
        "std::vector<std::shared_ptr<VehicleInfo> >");
}

} // namespace downloadkey
