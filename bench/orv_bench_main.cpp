// The one main of the benchmarks: lays out the scratch root, runs what the
// command line selects (Google Benchmark's flags), prints the table and then
// the report, one line per figure with its target and whether it was met.
//
// Run: orv_bench [--benchmark_filter=...] [--benchmark_repetitions=N]; with
// repetitions the report uses the medians.

#include "orv_bench.h"

#include <ftw.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <map>
#include <vector>

#include "internal/path.h"
#include "orvsys/orv_path.h"

namespace orv_bench {
namespace {

std::vector<Comparison> &comparisons() {
    static std::vector<Comparison> all;
    return all;
}

std::string g_root;

// Keeps per benchmark its real and CPU seconds per iteration and its
// counters: the median when repetitions give one, else the mean of the runs.
class Reporter : public benchmark::ConsoleReporter {
  public:
    using benchmark::ConsoleReporter::ConsoleReporter;

    void ReportRuns(const std::vector<Run> &runs) override {
        for (const Run &run : runs) {
            std::string name = run.run_name.function_name;
            if (!run.run_name.args.empty()) name += "/" + run.run_name.args;
            errored = errored || run.error_occurred;
            const bool median = run.run_type == Run::RT_Aggregate;
            if (run.error_occurred || (median && run.aggregate_name != "median")) continue;
            const double unit = benchmark::GetTimeUnitMultiplier(run.time_unit);
            add(name, run.GetAdjustedRealTime() / unit, median);
            add(name + "#cpu", run.GetAdjustedCPUTime() / unit, median);
            for (const auto &[key, counter] : run.counters)
                add(name + "@" + key, counter.value, median);
        }
        benchmark::ConsoleReporter::ReportRuns(runs);
    }

    // Negative when the benchmark did not run (filtered out or errored).
    double value(const std::string &key) const {
        const auto it = values_.find(key);
        return it == values_.end() ? -1.0 : it->second.first / it->second.second;
    }

    // Real time well above CPU time: the thread was kept off the CPU by other
    // work on the machine, and a ratio of real times is then noise.
    bool disturbed(const std::string &key) const {
        const double cpu = value(key + "#cpu");
        return key.find('@') == std::string::npos && cpu > 0.0 && value(key) > cpu * 1.05;
    }

    bool errored = false;

  private:
    // A median replaces the runs it was taken from; they come before it.
    void add(const std::string &key, double v, bool median) {
        auto &[sum, runs] = values_[key];
        sum = median ? v : sum + v;
        runs = median ? 1 : runs + 1;
    }

    std::map<std::string, std::pair<double, int>> values_;
};

void print(const Reporter &r, const Comparison &c) {
    const bool rate = *c.theirs == '\0';
    const double ours = r.value(c.ours);
    const double theirs = rate ? 1.0 : r.value(c.theirs);
    std::printf("%s: ", c.label);
    if (ours <= 0.0 || theirs <= 0.0) {
        std::printf("n/a (not run)\n");
        return;
    }
    const bool counter = std::string(c.ours).find('@') != std::string::npos;
    double value = rate && !counter ? 1.0 / ours : ours / theirs;
    if (c.better == Better::Higher && !rate) value = 1.0 / value;
    std::printf(rate ? "%.0f" : "%.2f", value);
    if (c.target > 0.0) {
        const bool met = c.better == Better::Lower ? value <= c.target : value >= c.target;
        std::printf(rate ? " (target %s %.0f) %s" : " (target %s %.2f) %s",
                    c.better == Better::Lower ? "<=" : ">=", c.target, met ? "met" : "MISSED");
    }
    if (r.disturbed(c.ours) || (!rate && r.disturbed(c.theirs)))
        std::printf(" [disturbed: real time above CPU time, rerun on a quiet machine]");
    std::printf("\n");
}

// <tmp>/orv_bench.XXXXXX with bin/, ini/ and run/log/, taken as the root.
bool make_root() {
    const char *tmp = std::getenv("TMPDIR");
    std::string pattern =
        std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/orv_bench.XXXXXX";
    char resolved[PATH_MAX];
    if (mkdtemp(pattern.data()) == nullptr || realpath(pattern.c_str(), resolved) == nullptr) {
        std::perror(pattern.c_str());
        return false;
    }
    g_root = resolved;
    for (const char *dir : {"/bin", "/ini", "/run", "/run/log"})
        if (mkdir((g_root + dir).c_str(), 0755) != 0) {
            std::perror((g_root + dir).c_str());
            return false;
        }
    orv::internal::orv_rootdir_seam((g_root + "/bin").c_str());
    if (g_root != orv_rootdir()) {
        std::fprintf(stderr, "the library's root is \"%s\", not %s: set TMPDIR shorter\n",
                     orv_rootdir(), g_root.c_str());
        return false;
    }
    return true;
}

void remove_root() {
    if (!g_root.empty())
        nftw(
            g_root.c_str(),
            [](const char *path, const struct stat *, int, struct FTW *) { return remove(path); },
            16, FTW_DEPTH | FTW_PHYS);
}

}  // namespace

bool compare(const Comparison &c) {
    comparisons().push_back(c);
    return true;
}

const std::string &root() { return g_root; }

}  // namespace orv_bench

int main(int argc, char **argv) {
    using namespace orv_bench;
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    if (!make_root()) {
        remove_root();
        return 1;
    }
    Reporter reporter(isatty(STDOUT_FILENO) ? Reporter::OO_Defaults : Reporter::OO_Tabular);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    std::fflush(stdout);
    std::printf("\n");
    for (const Comparison &c : comparisons()) print(reporter, c);
    remove_root();
    return reporter.errored ? 1 : 0;
}
