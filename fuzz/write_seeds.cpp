// write_seeds DIR: writes what the fuzz targets start from, a folder for each of them: the files of
// a sample key, their names, the least that reads of each kind, and keys of such small files.
#include "samples/samples.h"

#include <QtCore/QDir>
#include <QtCore/QFile>

namespace {

QString top;

void write(const char* target, const QByteArray& bytes) {
    static int number = 0;
    const QString dir = top + QLatin1Char('/') + QLatin1String(target);
    QFile file(dir + QLatin1Char('/') + QString::number(number++));
    if (!QDir().mkpath(dir) || !file.open(QIODevice::WriteOnly) ||
        file.write(bytes) != bytes.size() || !file.flush())
        qFatal("%s: %s", qPrintable(file.fileName()), qPrintable(file.errorString()));
}

QByteArray keyFile(const QByteArray& name, const QByteArray& contents) {
    return static_cast<char>(name.size()) + name + static_cast<char>(contents.size() >> 8) +
           static_cast<char>(contents.size() & 0xFF) + contents;
}

} // namespace

int main(int argc, char* argv[]) {
    if (argc != 2)
        qFatal("usage: write_seeds DIR");
    top = QFile::decodeName(argv[1]);
    // Eight files of each kind have every shape of name, generation and card type.
    for (const samples::KeyFile& file : samples::sampleKey({2, 3, 8})) {
        write("filenames", file.name.toUtf8());
        write(file.bytes.at(0) == '\x76' && file.bytes.at(1) != '\x06' ? "vehicleinfo" : "cardfile",
              file.bytes);
    }
    QByteArray files;
    const auto writeSmall = [&files](const char* target, const char* name, const QByteArray& file) {
        write(target, file);
        files += keyFile(name, file);
    };
    for (const unsigned char kind : {uchar(0), uchar(2)})
        writeSmall("cardfile", kind == 0 ? "C_20240319_0830_J_SAMPLE.ddd" : "SAMPLE_2403200830.C1B",
                   samples::cardBlock(0x0501, kind, QByteArray(10, 1)) +
                       samples::cardBlock(0x0520, kind, QByteArray(137, 'N')) +
                       samples::cardBlock(0x0504, kind, QByteArray(20, 0)));
    samples::VehicleUnit unit;
    unit.days.resize(2);
    unit.furtherBlocks = false;
    unit.trailer = "....";
    const char* const names[] = {"M_20240315_0830_ABC123.DDD", "V_ABC123_20240316_0830.TGD",
                                 "ABC123_FLEETDEPOT_202403170830.A1B"};
    for (const int generation : {0, 1, 2}) {
        unit.generation = static_cast<samples::Generation>(generation);
        writeSmall("vehicleinfo", names[generation], samples::vehicleUnitFile(unit));
    }
    for (const char* circumstances :
         {"\x01\xFF\x01", "\x04\x05\x01", "\x08\x06\x02", "\x06\x07\x03"})
        write("key", circumstances + files);
    return 0;
}
