// write_seeds DIR: writes what the fuzz targets start from, a folder for each of them.
#include "samples/samples.h"

#include <QtCore/QDir>
#include <QtCore/QFile>

#include <cstdio>
#include <cstdlib>
#include <initializer_list>

namespace {

void write(const QString& dir, const QString& name, const QByteArray& bytes) {
    QFile file(dir + QLatin1Char('/') + name);
    if (QDir().mkpath(dir) && file.open(QIODevice::WriteOnly) &&
        file.write(bytes) == bytes.size() && file.flush())
        return;
    std::fprintf(stderr, "write_seeds: %s: %s\n", qPrintable(file.fileName()),
                 qPrintable(file.errorString()));
    std::exit(1);
}

QByteArray vehicleUnit(samples::Generation generation, int insertions, bool furtherBlocks) {
    samples::VehicleUnit unit;
    unit.generation = generation;
    unit.furtherBlocks = furtherBlocks;
    unit.companyLocks = unit.controlActivities = insertions;
    for (unsigned int day = 0; day < 2; ++day) {
        samples::Day block;
        block.activityChanges = block.places = block.gnssPositions = block.specificConditions = 1;
        block.borderCrossings = block.loadOperations = insertions;
        for (int i = 0; i < insertions; ++i) {
            samples::CardRecord record;
            record.insertionTime = 1710460800 + (day * 2 + static_cast<unsigned int>(i) / 2) * 3600;
            record.codePage = static_cast<unsigned char>(i * 5);
            block.cardRecords.push_back(record);
        }
        unit.days.push_back(block);
    }
    return samples::vehicleUnitFile(unit) + (furtherBlocks ? "" : "....");
}

// A card file of the least size that reads.
QByteArray smallCard(unsigned char kind) {
    return samples::cardBlock(0x0501, kind, QByteArray(10, 1)) +
           samples::cardBlock(0x0520, kind,
                              QByteArray(65, 'N') + samples::textField("Sample", 36) +
                                  samples::textField("Jo", 36, 80)) +
           samples::cardBlock(0x0504, kind, QByteArray(20, 0));
}

QByteArray keyFile(const QByteArray& name, const QByteArray& contents) {
    return static_cast<char>(name.size()) + name + static_cast<char>(contents.size() >> 8) +
           static_cast<char>(contents.size() & 0xFF) + contents;
}

} // namespace

int main(int argc, char* argv[]) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: write_seeds DIR\n");
        return 2;
    }
    const QString top = QFile::decodeName(argv[1]);
    static const char* const names[] = {
        "M_20240315_0830_ABC123.DDD",
        "V_ABC123_20240316_0830.TGD",
        "ABC123_FLEETDEPOT_202403170830.A1B",
        "ABC123_FLEET_DEPOT_2403180830.A1C",
        "C_20240319_0830_J_SAMPLE.ddd",
        "SAMPLE_2403200830.C1B",
        "S_20240231_2460_.DDD",
        "V__19700101_0000.tgd",
    };
    int number = 0;
    for (const char* name : names)
        write(top + QStringLiteral("/filenames"), QString::number(number++), name);

    QByteArray files;
    for (const auto generation :
         {samples::Generation::Gen1, samples::Generation::Gen2V1, samples::Generation::Gen2V2}) {
        for (const int insertions : {0, 3}) {
            const QByteArray unit = vehicleUnit(generation, insertions, insertions > 0);
            write(top + QStringLiteral("/vehicleinfo"), QString::number(number++), unit);
            if (insertions == 0)
                files += keyFile(names[static_cast<int>(generation)], unit);
        }
    }
    for (const auto type : std::initializer_list<unsigned char>{1, 2, 4}) {
        samples::Card card;
        card.type = type;
        card.generation = type == 1 ? 1 : 2;
        card.throughVehicleUnit = type == 1;
        write(top + QStringLiteral("/cardfile"), QString::number(number++),
              samples::cardFile(card));
    }
    for (const auto kind : std::initializer_list<unsigned char>{0, 2}) {
        write(top + QStringLiteral("/cardfile"), QString::number(number++), smallCard(kind));
        files += keyFile(names[4 + kind / 2], smallCard(kind));
    }
    for (const char* circumstances :
         {"\x01\xFF\x01", "\x04\x05\x01", "\x08\x06\x02", "\x06\x07\x03"})
        write(top + QStringLiteral("/key"), QString::number(number++), circumstances + files);
    return 0;
}
