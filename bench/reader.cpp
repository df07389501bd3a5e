// Opens and reads the key that is its argument. It ends with the results still in memory, so that a
// profiler can distinguish them from what was needed in between.
#include "bench/inputs.h"

#include <unistd.h>

int main(int argc, char* argv[]) {
    bench::prepareProcess();
    bench::require(argc == 2, "usage: reader KEY");
    bench::Host host;
    host.open(QFile::decodeName(argv[1]));
    host.read();
    ::_exit(0);
}
