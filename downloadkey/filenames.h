// What the name of a tachograph download file says: whether it is one, its kind, and the time of
// the download. The file itself is never looked at.
//
// All four functions take the bare file name, without a directory part, and work on its UTF-8
// bytes: lengths and positions count bytes, and a character outside ASCII counts as several. They
// keep no state and may be called from any thread.
//
// The names, by extension (in any letter case). The letters of a time are digits, "*" any bytes:
//
//   .DDD                    [mMcCsS]_YYYYMMDD_hhmm_*.DDD          at least 20 bytes
//   .TGD                    [vVcCsS]_*_YYYYMMDD_hhmm.TGD          at least 20 bytes
//   .V1B .C1B .V1C .C1C     *YYMMDDhhmm.V1B                       at least 14 bytes
//   .A1B .A1C               *YYYYMMDDhhmm.A1B                     at least 34 bytes
//   .A1B .A1C               *YYMMDDhhmm.A1B                       32 or 33 bytes
#pragma once

#include "downloadkey/global.h"

class QDateTime;
class QString;

// Whether the name has one of the shapes above. The date and time must be digits; only
// getModificationTimeFromFileName() checks whether they are a date and a time.
DOWNLOADKEY_EXPORT bool isValidFileName(QString const& name);

// Whether the name is that of a driver-card download: ".C1B", ".C1C", and ".DDD" or ".TGD" with a
// leading "C_" or "c_". Only isValidFileName() checks the rest of the name; every name that it
// accepts is of exactly one of the two kinds.
DOWNLOADKEY_EXPORT bool isDriverFileName(QString const& name);

// Whether the name is that of a vehicle-unit download: ".V1B", ".A1B", ".V1C", ".A1C", ".DDD" with
// a leading "M_" or "S_", and ".TGD" with a leading "V_" or "S_". Letter case does not matter.
DOWNLOADKEY_EXPORT bool isVehicleFileName(QString const& name);

// Reads the download time out of a name. Its digits are UTC; `time` presents that instant in the
// host's local time. (In the hour that a zone's clocks repeat, Qt may return a different instant
// from the one it was given.) A two-digit year is 1970 to 2069. A day, hour or minute that its
// month, day or hour does not have carries over: 31 February 2024 is 2 March 2024, and 24:60 is
// 01:00 of the next day.
//
// Returns false, and leaves `time` as it was, for an unknown extension, for a month outside 1
// to 12, for a day outside 1 to 31, for a time before 1970, and if a number is missing. The name
// need not be valid: numbers are read as by scanf(), which also accepts " 8", "+8" and "8x".
DOWNLOADKEY_EXPORT bool getModificationTimeFromFileName(QString const& name, QDateTime& time);
