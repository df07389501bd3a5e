// Runs a fuzz target over inputs that are kept, without a fuzzer: each file in the folder that is
// its argument. The last name that it prints is that of the input at which it ended.
#include <QtCore/QDir>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv) {
    LLVMFuzzerInitialize(&argc, &argv);
    const QDir folder(QString::fromLocal8Bit(argv[argc - 1]));
    const QStringList names = folder.entryList(QDir::Files);
    for (const QString& name : names) {
        std::fprintf(stderr, "%s\n", qPrintable(name));
        QFile file(folder.filePath(name));
        if (!file.open(QIODevice::ReadOnly))
            return EXIT_FAILURE;
        const QByteArray bytes = file.readAll();
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.constData()),
                               static_cast<std::size_t>(bytes.size()));
    }
    return names.isEmpty() ? EXIT_FAILURE : EXIT_SUCCESS;
}
