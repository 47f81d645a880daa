#pragma once

#include <functional>
#include <string>

namespace Bench {

/// One measured job. Its metric is `name/1t` or `name/2t`, and its value `work` divided by the
/// seconds of the fastest run, in `unit`: on a shared machine the best of some runs moves far less
/// than their mean. Figures compare only within one run of the programs.
struct Job {
    std::string name;                 ///< job.variant/system, as "access.random/skelvar"
    int threads;                      ///< most threads that may run it, 1 or 2
    std::string unit;                 ///< "GB/s", "Mtiles/s"
    std::function<double()> work;     ///< amount done by one run; asked once, after the runs
    std::function<void()> run;        ///< what is timed
    std::function<void()> prepare{};  ///< untimed, before each run; may be empty
    int repetitions = 5;
};

/// For jobs of a few milliseconds, on which the caches' other users tell.
constexpr int kShortJobRepetitions = 25;

/// Enters a job. Jobs run in the order in which they were entered.
void add(Job in_job);
/// Writes one line "metric<TAB>value<TAB>unit" on standard output.
void print(const std::string& in_metric, double in_value, const std::string& in_unit);
/// Runs the jobs that the arguments of Google Benchmark select; the result of `main`.
int runAll(int in_argc, char** in_argv);

/// Keeps the compiler from dropping the computation of a value.
void keep(double in_value);

}  // namespace Bench
