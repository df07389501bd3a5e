// What the benchmarks read: vehicle-unit downloads and whole keys from samples/, written to a
// folder of their own that goes with the object. A step that fails ends the program: there is
// nothing to measure then.
#pragma once

#include "samples/samples.h"

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QTemporaryDir>

#include <memory>
#include <string>
#include <vector>

namespace bench {

// Ends the program with a message unless `condition` holds.
void require(bool condition, const char* what);

// Sets up what every program here wants: a time zone of its own choice (without TZ each conversion
// to local time would look at a file of the system), and no debug lines.
void prepareProcess();

void setDebugLines(bool on);

// What a vehicle-unit download is made of.
struct Contents {
    int days = 30;
    int recordsPerDay = 10;
    // Events, speeds and technical data behind the activities. Without them the size is
    // proportional to the days.
    bool furtherBlocks = true;
    // A shorter file is filled up behind its last block, as a download with more of the detailed
    // speeds would be.
    int size = 0;
};

struct VehicleFile {
    QString path;
    qint64 size = 0;
    std::vector<int> records; // where the card records stand
    int insertionOffset = 0;  // from a record's first byte to its insertion time
};

// Such as "gen1/30_days".
std::string labelOf(samples::Generation generation, const Contents& contents);

// FOLDER/GENERATION-DAYS-RECORDS
QString pathOf(const QString& folder, samples::Generation generation, const Contents& contents);

// Writes the file of that path.
VehicleFile writeVehicleFile(const QString& folder, samples::Generation generation,
                             const Contents& contents);

// A key: a mount directory with its download files.
class Key {
public:
    enum Kinds { VehicleUnits, VehicleUnitsAndCards };

    // `files` of each kind, of all generations in turn. The newest `whole` of each are downloads,
    // the others have a few bytes. The key is written into `folder`, or else into one of its own
    // that goes with the object.
    Key(Kinds kinds, int files, int whole, const Contents& contents = {},
        const QString& folder = QString());

    QString mountPath() const { return m_mountPath; }
    QString downloadPath() const { return m_mountPath + QLatin1String("/download"); }
    qint64 bytes() const { return m_bytes; }

    // Paths in the order of their names' times, newest first.
    const QStringList& drivers() const { return m_drivers; }
    const QStringList& vehicles() const { return m_vehicles; }

    // Those of the vehicle-unit files that are whole.
    const std::vector<VehicleFile>& vehicleFiles() const { return m_vehicleFiles; }

private:
    std::unique_ptr<QTemporaryDir> m_ownFolder;
    QString m_mountPath;
    QStringList m_drivers;
    QStringList m_vehicles;
    std::vector<VehicleFile> m_vehicleFiles;
    qint64 m_bytes = 0;
};

} // namespace bench
