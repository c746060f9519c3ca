// What the benchmarks share: one program (orv_bench_main.cpp) runs them all
// in one scratch installation root and prints one report. A benchmark checks
// its answer before it times anything and calls SkipWithError when it is
// wrong, which makes the program exit 1; a target met or missed never does.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>

namespace orv_bench {

// Which way a comparison has to go to be good.
enum class Better { Lower, Higher };

// A figure of the report. A value is named "benchmark" for its real seconds
// per iteration, or "benchmark@counter" for one of its counters. With theirs
// empty the figure is ours alone (a rate: 1 / seconds); else ours / theirs.
struct Comparison {
    const char *label;
    const char *ours;
    const char *theirs;
    double target;
    Better better;
};

// Adds a figure to the report; returns true so that a file can register at
// namespace scope: `const bool kCompared = orv_bench::compare({...});`.
bool compare(const Comparison &c);

// The scratch installation root every benchmark shares, removed at the end;
// the library takes it as its root (<root>/ini/orv.ini, <root>/run/log).
const std::string &root();

// A small deterministic generator, so that inputs are the same on every run.
class SplitMix64 {
  public:
    explicit SplitMix64(std::uint64_t start) : state_(start) {}
    std::uint64_t next() {
        std::uint64_t z = (state_ += 0x9E3779B97F4A7C15ull);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        return z ^ (z >> 31);
    }
    // A value in [0, bound).
    template <class Int>
    Int below(Int bound) {
        return static_cast<Int>(next() % static_cast<std::uint64_t>(bound));
    }

  private:
    std::uint64_t state_;
};

}  // namespace orv_bench
