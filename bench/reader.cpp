// Opens and reads the key that is its argument, and does nothing else.
#include "bench/inputs.h"

int main(int argc, char* argv[]) {
    bench::prepareProcess();
    bench::require(argc == 2, "usage: reader KEY");
    bench::Host host;
    host.open(QFile::decodeName(argv[1]));
    host.read();
    return 0;
}
