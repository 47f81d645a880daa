#include <bench/support/Harness.h>

#include <benchmark/benchmark.h>
#include <tbb/global_control.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <map>
#include <memory>
#include <utility>
#include <vector>

namespace Bench {

namespace {

std::map<std::string, Job>& jobs()
{
    static std::map<std::string, Job> s_jobs;
    return s_jobs;
}

double secondsOf(const std::function<void()>& in_run)
{
    const auto begin = std::chrono::steady_clock::now();
    in_run();
    const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - begin;
    return std::max(passed.count(), 1e-12);
}

void measure(benchmark::State& io_state, const Job& in_job)
{
    for ([[maybe_unused]] auto _ : io_state) {
        if (in_job.prepare) {
            in_job.prepare();
        }
        const tbb::global_control limit(tbb::global_control::max_allowed_parallelism,
                                        in_job.threads);
        io_state.SetIterationTime(secondsOf(in_job.run));
    }
}

/// Prints the best repetition of each job.
class BestReporter : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>& in_runs) override
    {
        std::string metric;
        double best = 0.0;
        for (const Run& run : in_runs) {
            if (run.run_type == Run::RT_Aggregate || run.error_occurred) {
                continue;
            }
            const double seconds = run.real_accumulated_time / static_cast<double>(run.iterations);
            best = metric.empty() ? seconds : std::min(best, seconds);
            metric = run.run_name.function_name;
        }
        if (!metric.empty()) {
            const Job& job = jobs().at(metric);
            print(metric, job.work() / best, job.unit);
        }
    }
};

}  // namespace

void add(Job in_job)
{
    const std::string metric = in_job.name + "/" + std::to_string(in_job.threads) + "t";
    const Job& job = jobs().insert_or_assign(metric, std::move(in_job)).first->second;
    benchmark::RegisterBenchmark(metric.c_str(),
                                 [&job](benchmark::State& io_state) { measure(io_state, job); })
        ->Iterations(1)
        ->Repetitions(job.repetitions)
        ->UseManualTime();
}

void print(const std::string& in_metric, double in_value, const std::string& in_unit)
{
    std::printf("%s\t%.6g\t%s\n", in_metric.c_str(), in_value, in_unit.c_str());
    std::fflush(stdout);
}

int runAll(int in_argc, char** in_argv)
{
    benchmark::Initialize(&in_argc, in_argv);
    BestReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}

void keep(double in_value)
{
    benchmark::DoNotOptimize(in_value);
}

}  // namespace Bench
