// A name through the four functions.
#include "downloadkey/filenames.h"
#include "fuzz/fuzzing.h"

#include <QtCore/QDateTime>

#include <cstring>

using fuzzing::require;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // A name as a host gets it from a directory. After a first byte FF the input is UTF-16, which
    // can hold what UTF-8 cannot.
    const QByteArray bytes = fuzzing::bytesOf(data, size);
    QString name = QString::fromUtf8(bytes);
    if (size > 0 && data[0] == 0xFF) {
        name = QString(static_cast<int>((size - 1) / sizeof(QChar)), QChar());
        std::memcpy(name.data(), data + 1, (size - 1) / sizeof(QChar) * sizeof(QChar));
    }

    const bool isValid = isValidFileName(name);
    const bool isDriver = isDriverFileName(name);
    const bool isVehicle = isVehicleFileName(name);
    require(isDriver != isVehicle || !(isValid || isDriver), "a valid name is of exactly one kind");

    const QDateTime untouched(QDate(1234, 5, 6), QTime(7, 8), Qt::UTC);
    QDateTime time = untouched;
    if (getModificationTimeFromFileName(name, time)) {
        require(time.isValid() && time.timeSpec() == Qt::LocalTime, "a local time");
        const qint64 seconds = time.toSecsSinceEpoch();
        require(seconds >= 0 && seconds % 60 == 0, "whole minutes from 1970 on");
    } else {
        require(time == untouched && time.timeSpec() == Qt::UTC, "untouched");
    }
    require(isValidFileName(name + QChar(0) + name) == isValid || name.isEmpty(),
            "the name ends at a NUL");
    return 0;
}
