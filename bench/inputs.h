// What the benchmark programs share: vehicle-unit downloads and whole keys from samples/, and a
// host that reads them. If a step fails, the program ends, because there is nothing to measure.
#pragma once

#include "auxiliary/configuration.h"
#include "downloadkey/downloadkey.h"
#include "samples/samples.h"

#include <QtCore/QFile>
#include <QtCore/QStringList>

namespace bench {

// Ends the program with a message unless `condition` holds.
void require(bool condition, const char* what);

// Sets a time zone with summer time, and switches debug lines off.
void prepareProcess();

// A path in a folder that is removed when the process ends.
QString newPath();

struct NamedGeneration {
    samples::Generation generation;
    const char* name;
};
constexpr NamedGeneration generations[] = {{samples::Generation::Gen1, "gen1"},
                                           {samples::Generation::Gen2V1, "gen2v1"},
                                           {samples::Generation::Gen2V2, "gen2v2"}};

// A vehicle-unit download of `days` days with the same number of card records each.
struct VehicleFile {
    // Without further blocks, the size is proportional to the days. A file smaller than `leastSize`
    // is padded after its last block.
    VehicleFile(const QString& path, samples::Generation generation, int days,
                int recordsPerDay = 10, bool furtherBlocks = true, int leastSize = 0);

    QString path;
    std::vector<int> records; // the positions of the card records
    int insertionOffset;      // from a record's first byte to its insertion time
};

// The file, open for reading as a host hands it over.
std::unique_ptr<QFile> openFile(const QString& path);

// A key: a folder with the same number of files of each kind. The newest `whole` of them are
// downloads of all generations in turn; the others are a few bytes.
struct Key {
    Key(const QString& path, int files, int whole, int days = 30, int recordsPerDay = 10,
        bool hasCards = true);

    QString path;
    QStringList drivers; // paths, newest first
    QStringList vehicles;
    std::vector<VehicleFile> wholeVehicles;
};

// A host that keeps the results.
struct Host {
    Host();
    void open(const QString& path);
    void read();

    aux::Configuration configuration;
    downloadkey::DownloadKey library{configuration};
    std::vector<std::shared_ptr<scard::SCardGeneric>> cards;
    std::vector<std::shared_ptr<downloadkey::VehicleInfo>> vehicles;
};

} // namespace bench
