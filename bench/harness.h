// A job beside its floor: both run in turn, many times, in one benchmark, so that whatever disturbs
// this machine disturbs both. What counts is the median of the pairs' ratios.
#pragma once

#include <functional>
#include <string>

namespace bench {

// The processor time of this thread, in the system's calls too. Waiting is not measured: the inputs
// are in memory, so that only other programs could cause it.
class Stopwatch {
public:
    double seconds() const { return now() - m_start; }

private:
    static double now();

    double m_start = now();
};

// Each side runs once and returns the seconds of what it measures, without its preparations. A goal
// of 0 is none: the ratio is for information.
struct Comparison {
    std::string name;
    double goal;
    std::function<double()> job;
    std::function<double()> floor;
};

void add(Comparison comparison);

// Whether the program was called with --smoke: one short turn, to see that all runs.
bool isSmokeRun(int argc, char** argv);

// Runs the benchmarks with Google Benchmark's own options. Where comparisons were added it prints
// their table. --benchmark_out=FILE writes every repetition and the medians as JSON.
int run(int argc, char** argv);

} // namespace bench
