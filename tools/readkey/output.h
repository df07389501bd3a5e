// What readkey writes to standard output. The session tells an output of everything in the order in
// which it happens; each kind of output takes what it shows. An output belongs to the main thread.
#pragma once

#include "keyfiles.h"
#include "options.h"

#include "auxiliary/error.h"

#include <memory>

namespace readkey {

class StandardOutput;

class Output {
public:
    using DriverCards = std::vector<std::shared_ptr<scard::SCardGeneric>>;
    using VehicleInfos = std::vector<std::shared_ptr<downloadkey::VehicleInfo>>;

    // `out` must outlive the output.
    explicit Output(StandardOutput& out)
        : m_out(out) {}
    virtual ~Output();
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    // The library's calls as they return, and its signals.
    virtual void openReturned(const aux::Error& error);
    virtual void progress(int percent);
    virtual void downloadFile(const QString& filename, const QDateTime& timestamp);
    virtual void readDone(const DriverCards& cards, const VehicleInfos& vehicles,
                          bool parsingError);
    virtual void readReturned(const aux::Error& error);

    // At the end, unless the key could not be opened or the user interrupted: what could be read of
    // it.
    virtual void contents(const KeyContents& contents);

protected:
    StandardOutput& out() { return m_out; }

private:
    StandardOutput& m_out;
};

std::unique_ptr<Output> makeOutput(Format format, StandardOutput& out);

} // namespace readkey
