// Measures the memory that a read() needs beyond the results that it hands to the host. It may be
// that of one file, however many there are. The program's own malloc() counts, so the figures are
// exact and the same in each run. The program fails when read() needs more.
#include "bench/inputs.h"

#include <QtCore/QCoreApplication>

#include <malloc.h>

#include <cstdio>

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
    live -= malloc_usable_size(memory);
    __libc_free(memory);
}
}

int main(int argc, char** argv) {
    bench::prepareProcess();
    const QCoreApplication application(argc, argv);
    constexpr int files = downloadkey::parsedFilesOfEachKind;
    constexpr int fileSize = 1024 * 1024;
    bench::Key input(bench::newPath(), files, 0, 0, 0, false);
    for (const QString& path : input.vehicles)
        bench::VehicleFile(path, samples::Generation::Gen2V2, 90, 10, true, fileSize);

    bench::Host host;
    host.open(input.path);
    const std::size_t before = live;
    peak = live;
    host.read();
    const std::size_t retained = live - before;
    const std::size_t most = peak - before;
    bench::require(host.vehicles.size() == files, "not all files were parsed");
    std::printf("files              %d of %d bytes\n"
                "retained results   %zu bytes\n"
                "peak               %zu bytes\n"
                "beyond the results %zu bytes\n",
                files, fileSize, retained, most, most - retained);
    bench::require(most - retained <= fileSize, "more than one file at a time");
    return 0;
}
