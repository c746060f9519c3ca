// The reporter shared by the benchmarks: prints the run as the console
// reporter does, keeps the time of each benchmark, and after the run prints
// one ratio line per comparison with its target, if any, and whether it was
// met. Meeting a target or not never changes the exit code; an errored
// benchmark (wrong output, failed setup) does, through errored().
#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <unistd.h>
#include <vector>

namespace orv_bench {

// Keeps, per benchmark, the real time of one iteration in seconds: the
// median when repetitions produce one, else the mean of the runs.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    using benchmark::ConsoleReporter::ConsoleReporter;

    void ReportRuns(const std::vector<Run> &reports) override
    {
        for (const Run &run : reports) {
            const std::string name = run.run_name.str();
            if (run.error_occurred) {
                errored_ = true;
                continue;
            }
            const double unit = benchmark::GetTimeUnitMultiplier(run.time_unit);
            const double real = run.GetAdjustedRealTime() / unit;
            const double cpu = run.GetAdjustedCPUTime() / unit;
            Timing &t = timings_[name];
            if (run.run_type == Run::RT_Aggregate) {
                if (run.aggregate_name == "median" && run.aggregate_unit == benchmark::kTime) {
                    t.median = real;
                    t.median_cpu = cpu;
                }
            } else {
                t.sum += real;
                t.cpu_sum += cpu;
                ++t.runs;
            }
        }
        benchmark::ConsoleReporter::ReportRuns(reports);
    }

    bool errored() const { return errored_; }

    // Real seconds per iteration, or a negative value when the benchmark did
    // not run (filtered out or errored).
    double seconds(const std::string &name) const { return pick(name, false); }

    // Real time well above CPU time means the thread was kept off the CPU
    // (another job on the machine), and a ratio of real times is then noise.
    bool disturbed(const std::string &name) const
    {
        const double real = pick(name, false);
        const double cpu = pick(name, true);
        return real > 0.0 && cpu > 0.0 && real > cpu * kDisturbedFactor;
    }

private:
    static constexpr double kDisturbedFactor = 1.05;

    struct Timing {
        double sum = 0.0;
        double cpu_sum = 0.0;
        long runs = 0;
        double median = -1.0;
        double median_cpu = -1.0;
    };

    double pick(const std::string &name, bool cpu) const
    {
        const auto it = timings_.find(name);
        if (it == timings_.end())
            return -1.0;
        const Timing &t = it->second;
        if (t.median >= 0.0)
            return cpu ? t.median_cpu : t.median;
        if (t.runs == 0)
            return -1.0;
        return (cpu ? t.cpu_sum : t.sum) / static_cast<double>(t.runs);
    }

    std::map<std::string, Timing> timings_;
    bool errored_ = false;
};

// Colours and a dense layout on a terminal; plain tabular text when the
// output goes to a file or a CI log.
inline benchmark::ConsoleReporter::OutputOptions console_options()
{
    return isatty(STDOUT_FILENO) ? benchmark::ConsoleReporter::OO_Defaults
                                 : benchmark::ConsoleReporter::OO_Tabular;
}

// A benchmark name without its group prefix ("read/strtol" gives "strtol").
// Runs the registered benchmarks into the reporter and leaves a blank line
// before the ratios that follow.
inline void run_benchmarks(RatioReporter &reporter)
{
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    std::fflush(stdout);
    std::printf("\n");
}

inline const char *short_name(const char *name)
{
    const char *slash = std::strchr(name, '/');
    return slash ? slash + 1 : name;
}

// Which way a ratio has to go. Both compare the same work per iteration.
enum class Better {
    Lower,  // time ratio, ours / theirs: 0.50 is twice as fast
    Higher, // calls-per-second ratio, ours / theirs: 2.00 is twice as fast
};

// Prints "label: value (target ...) met|MISSED" and ends the line; a target
// of 0 or below marks the ratio as for information only.
inline void print_ratio(const RatioReporter &r, const std::string &label, const char *ours,
                        const char *theirs, double target, Better better)
{
    const double a = r.seconds(ours);
    const double b = r.seconds(theirs);
    const bool ran = a > 0.0 && b > 0.0;
    const double value = ran ? (better == Better::Lower ? a / b : b / a) : 0.0;
    std::printf("%s: ", label.c_str());
    if (ran)
        std::printf("%.2f", value);
    else
        std::printf("n/a (not run)");
    if (target > 0.0) {
        const bool met = better == Better::Lower ? value <= target : value >= target;
        std::printf(" (target %s %.2f)", better == Better::Lower ? "<=" : ">=", target);
        if (ran)
            std::printf(" %s", met ? "met" : "MISSED");
    } else {
        std::printf(" (for information)");
    }
    if (r.disturbed(ours) || r.disturbed(theirs))
        std::printf(" [disturbed: real time above CPU time, rerun on a quiet machine]");
    std::printf("\n");
}

} // namespace orv_bench
