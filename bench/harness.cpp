#include "bench/harness.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <map>
#include <utility>
#include <vector>

namespace bench {

namespace {

bool comparisonsAdded = false;

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

void measure(benchmark::State& state, const Comparison& comparison) {
    std::vector<double> jobs;
    std::vector<double> floors;
    std::vector<double> ratios;
    bool jobFirst = false;
    for (auto _ : state) {
        double job = 0;
        if (jobFirst)
            job = comparison.job();
        const double floor = comparison.floor();
        if (!jobFirst)
            job = comparison.job();
        jobFirst = !jobFirst;
        state.SetIterationTime(job + floor);
        jobs.push_back(job);
        floors.push_back(floor);
        ratios.push_back(job / floor);
    }
    state.counters["job_us"] = median(jobs) * 1e6;
    state.counters["floor_us"] = median(floors) * 1e6;
    state.counters["ratio"] = median(ratios);
    state.counters["goal"] = comparison.goal;
}

// One line for each comparison: the medians over the repetitions, and between which the ratio was.
class Table : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context&) override { return true; }

    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.run_type != Run::RT_Iteration)
                continue;
            const std::string& name = run.run_name.function_name;
            auto row = std::find_if(m_rows.begin(), m_rows.end(),
                                    [&](const Row& other) { return other.name == name; });
            if (row == m_rows.end())
                row = m_rows.insert(m_rows.end(), Row{name, {}});
            for (const auto& [counter, value] : run.counters)
                row->values[counter].push_back(value);
        }
    }

    void Finalize() override {
        std::printf("| %-46s | %10s | %10s | %5s | %11s | %4s |      |\n", "job", "job, us",
                    "floor, us", "ratio", "from - to", "goal");
        std::printf("|:-----------------------------------------------|-----------:|-----------:|"
                    "------:|------------:|-----:|:-----|\n");
        for (Row& row : m_rows) {
            std::vector<double>& ratios = row.values["ratio"];
            const auto [least, most] = std::minmax_element(ratios.begin(), ratios.end());
            const double ratio = median(ratios);
            const double goal = row.values["goal"].front();
            std::printf("| %-46s | %10.1f | %10.1f | %5.3f | %.3f-%.3f | ", row.name.c_str(),
                        median(row.values["job_us"]), median(row.values["floor_us"]), ratio, *least,
                        *most);
            if (goal > 0)
                std::printf("%4.2f | %-4s |\n", goal, ratio <= goal ? "met" : "not");
            else
                std::printf("%4s | %-4s |\n", "", "");
        }
    }

private:
    struct Row {
        std::string name;
        std::map<std::string, std::vector<double>> values;
    };
    std::vector<Row> m_rows;
};

} // namespace

double Stopwatch::now() {
    timespec time;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return double(time.tv_sec) + double(time.tv_nsec) * 1e-9;
}

void add(Comparison comparison) {
    comparisonsAdded = true;
    const std::string name = comparison.name;
    benchmark::RegisterBenchmark(name.c_str(), [comparison = std::move(comparison)](
                                                   benchmark::State& state) {
        measure(state, comparison);
    })->UseManualTime();
}

bool isSmokeRun(int argc, char** argv) {
    return argc == 2 && std::strcmp(argv[1], "--smoke") == 0;
}

int run(int argc, char** argv) {
    static char shortTime[] = "--benchmark_min_time=0.0001";
    std::vector<char*> arguments(argv, argv + argc);
    if (isSmokeRun(argc, argv))
        arguments.back() = shortTime;
    benchmark::Initialize(&argc, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(argc, arguments.data()))
        return 2;
    Table table;
    const auto ran = benchmark::RunSpecifiedBenchmarks(comparisonsAdded ? &table : nullptr);
    benchmark::Shutdown();
    return ran > 0 ? 0 : 1;
}

} // namespace bench
