// The library's own signals as JSON Lines: one event a line, written as it happens, keys in a fixed
// order.
#pragma once

#include "downloadkey/downloadkey.h"

#include "auxiliary/error.h"

#include <QtCore/QIODevice>

namespace readkey {

class EventWriter {
public:
    // `out` must outlive the writer.
    explicit EventWriter(QIODevice& out)
        : m_out(out) {}

    void openReturned(const aux::Error& error);
    void progress(int percent);
    void downloadFile(const QString& filename, const QDateTime& timestamp);
    void readDone(const std::vector<std::shared_ptr<scard::SCardGeneric>>& cards,
                  const std::vector<std::shared_ptr<downloadkey::VehicleInfo>>& vehicles,
                  bool parsingError);
    void readReturned(const aux::Error& error);

private:
    QIODevice& m_out;
};

} // namespace readkey
