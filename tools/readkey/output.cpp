#include "output.h"

#include "csvoutput.h"
#include "jsonoutput.h"
#include "tableoutput.h"

namespace readkey {

Output::~Output() = default;
void Output::openReturned(const aux::Error& /*error*/) {}
void Output::progress(int /*percent*/) {}
void Output::downloadFile(const QString& /*filename*/, const QDateTime& /*timestamp*/) {}
void Output::readDone(const DriverCards& /*cards*/, const VehicleInfos& /*vehicles*/,
                      bool /*parsingError*/) {}
void Output::readReturned(const aux::Error& /*error*/) {}
void Output::contents(const KeyContents& /*contents*/) {}

std::unique_ptr<Output> makeOutput(Format format, StandardOutput& out) {
    switch (format) {
    case Format::JsonLines:
        return std::make_unique<JsonOutput>(out);
    case Format::Csv:
        return std::make_unique<CsvOutput>(out);
    case Format::Table:
        break;
    }
    return std::make_unique<TableOutput>(out);
}

} // namespace readkey
