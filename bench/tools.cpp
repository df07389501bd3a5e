// Compares readkey's views with the library's own open() and read() on one key: the processor time
// and the most memory of whole processes, each the median of several runs. With a key as its only
// argument, this program opens and reads it and does nothing else.
#include "bench/inputs.h"

#include <algorithm>
#include <cstdio>
#include <string>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int runs = 9;

struct Cost {
    double milliseconds;
    double megabytes;
};

double millisecondsOf(const timeval& time) {
    return static_cast<double>(time.tv_sec) * 1000 + static_cast<double>(time.tv_usec) / 1000;
}

Cost runOnce(std::vector<std::string> command) {
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (std::string& word : command)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    const pid_t child = ::fork();
    if (child == 0) {
        ::dup2(::open("/dev/null", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
        ::execv(arguments[0], arguments.data());
        ::_exit(127);
    }
    int status = 0;
    rusage usage{};
    bench::require(::wait4(child, &status, 0, &usage) == child && status == 0, "a run failed");
    return {millisecondsOf(usage.ru_utime) + millisecondsOf(usage.ru_stime),
            static_cast<double>(usage.ru_maxrss) / 1024};
}

Cost medianOf(const std::vector<std::string>& command) {
    std::vector<double> times;
    double memory = 0;
    for (int i = 0; i < runs; ++i) {
        const Cost cost = runOnce(command);
        times.push_back(cost.milliseconds);
        memory = std::max(memory, cost.megabytes);
    }
    std::sort(times.begin(), times.end());
    return {times[times.size() / 2], memory};
}

} // namespace

int main(int argc, char* argv[]) {
    bench::prepareProcess();
    bench::require(argc == 2 || argc == 3, "usage: tools [READKEY] KEY");
    const std::string key = argv[argc - 1];
    if (argc == 2) {
        bench::Host host;
        host.open(QString::fromStdString(key));
        host.read();
        return 0;
    }
    const Cost library = medianOf({argv[0], key});
    std::printf("| view | ms | beside the library | MB |\n|:---|---:|---:|---:|\n"
                "| open() and read() alone | %.0f | | %.0f |\n",
                library.milliseconds, library.megabytes);
    for (const char* view : {"--utc", "--summary", "--json", "--csv", "--html=-", "--events"}) {
        const Cost cost = medianOf({argv[1], view, key});
        std::printf("| %s | %.0f | %.2f | %.0f |\n", view[2] == 'u' ? "tables" : view,
                    cost.milliseconds, cost.milliseconds / library.milliseconds, cost.megabytes);
    }
    return 0;
}
