// What memory a read() needs beyond the results that it hands to the host: it must be one file at a
// time, however many there are. The program's own malloc() counts, so the figures are exact and the
// same in each run. Fails when the limit is passed.
#include "bench/inputs.h"

#include "auxiliary/configuration.h"
#include "downloadkey/downloadkey.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFile>

#include <malloc.h>

#include <cstdio>
#include <cstdlib>

// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the C library's own names
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void __libc_free(void* memory);
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

namespace {

// This program has one thread.
std::size_t live = 0;
std::size_t peak = 0;

void* taken(void* memory) {
    live += malloc_usable_size(memory);
    if (live > peak)
        peak = live;
    return memory;
}

void givenBack(void* memory) {
    live -= malloc_usable_size(memory);
}

} // namespace

extern "C" {

void* malloc(std::size_t size) {
    return taken(__libc_malloc(size));
}

void* calloc(std::size_t count, std::size_t size) {
    return taken(__libc_calloc(count, size));
}

// While a block moves, both are there.
void* realloc(void* memory, std::size_t size) {
    const std::size_t before = malloc_usable_size(memory);
    void* const result = __libc_realloc(memory, size);
    if (result != nullptr) {
        taken(result);
        live -= before;
    }
    return result;
}

void free(void* memory) {
    givenBack(memory);
    __libc_free(memory);
}
}

namespace {

using downloadkey::DownloadKey;
using downloadkey::VehicleInfo;

// A figure of the kernel's about this process, in KiB.
QByteArray residentMemory(const char* name) {
    QFile status(QStringLiteral("/proc/self/status"));
    status.open(QIODevice::ReadOnly);
    const QByteArray text = status.readAll();
    const int line = text.indexOf(name);
    return text.mid(line, text.indexOf('\n', line) - line).simplified();
}

} // namespace

int main(int argc, char** argv) {
    bench::prepareProcess();
    const QCoreApplication application(argc, argv);
    constexpr int files = 100;
    constexpr int fileSize = 1024 * 1024;
    bench::Contents contents;
    contents.days = 90;
    contents.size = fileSize;
    const bench::Key input(bench::Key::VehicleUnits, files, files, contents);

    aux::Configuration configuration;
    DownloadKey key(configuration);
    QDir mountDir(input.mountPath());
    bench::require(key.open(mountDir).isEmpty(), "a key cannot be opened");
    std::vector<std::shared_ptr<VehicleInfo>> results;
    QObject::connect(
        &key, &DownloadKey::readDone, &key,
        [&](const std::vector<std::shared_ptr<scard::SCardGeneric>>&,
            std::vector<std::shared_ptr<VehicleInfo>> vehicles) { results = std::move(vehicles); });
    const std::size_t before = live;
    peak = live;
    bench::require(key.read().isEmpty() && results.size() == files, "a key cannot be read");

    const std::size_t retained = live - before;
    const std::size_t most = peak - before;
    std::printf("files              %d of %d bytes\n"
                "retained results   %zu bytes\n"
                "peak               %zu bytes\n"
                "beyond the results %zu bytes\n"
                "%s, %s\n",
                files, fileSize, retained, most, most - retained,
                residentMemory("VmHWM").constData(), residentMemory("VmRSS").constData());
    bench::require(most - retained <= fileSize, "more than one file at a time");
    return 0;
}
