// JSON Lines for programs: one event a line, written as it happens, keys in a fixed order.
#pragma once

#include "output.h"

namespace readkey {

class JsonOutput : public Output {
public:
    using Output::Output;

    void openReturned(const aux::Error& error) override;
    void progress(int percent) override;
    void downloadFile(const QString& filename, const QDateTime& timestamp) override;
    void readDone(const DriverCards& cards, const VehicleInfos& vehicles,
                  bool parsingError) override;
    void readReturned(const aux::Error& error) override;
};

} // namespace readkey
