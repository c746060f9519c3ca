// The hash map against std::unordered_map<std::string, uintptr_t> with 1,000,000 short keys
// (5 to 12 bytes of letters and digits, a distinct base-36 stem each); misses are keys of the
// same shape that were never inserted, looked up in a shuffled order like the hits. Both
// tables start empty and grow by themselves. The two sides take turns within each run (a
// whole table each for inserts, whole passes over the keys for finds), so that a busy machine
// slows both alike. Time per operation, ours / theirs:
//   insert      1M keys into an empty table: at most 1.2
//   find hit    orv_map_find of a present key: at most 1.0
//   find miss   orv_map_find of an absent key: at most 1.0

#include "orv_bench.h"

#include <algorithm>
#include <chrono>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "orvsys/orv_map.h"

namespace {

constexpr std::size_t kKeys = 1000000;

struct KeySet {
    std::vector<std::string> present, absent;  // absent: the same shape, never inserted
    std::vector<std::size_t> order;            // a shuffled visiting order of the lookups
};

// A fixed-width base-36 stem of five characters keeps every key distinct; a random tail of
// up to seven more makes the lengths vary from 5 to 12 bytes.
std::string make_key(std::size_t stem, orv_bench::SplitMix64 &rng) {
    static const char kDigits[] = "abcdefghijklmnopqrstuvwxyz0123456789";
    std::string key;
    for (int digit = 0; digit < 5; ++digit, stem /= 36) key += kDigits[stem % 36];
    for (unsigned tail = rng.below(8u); tail > 0; --tail) key += kDigits[rng.below(36u)];
    return key;
}

const KeySet &keys() {
    static const KeySet set = [] {
        KeySet s;
        orv_bench::SplitMix64 rng(0x6F72766D61706B79ull);
        // Stems 0..kKeys-1 go in, kKeys..2*kKeys-1 stay out.
        for (std::size_t i = 0; i < 2 * kKeys; ++i)
            (i < kKeys ? s.present : s.absent).push_back(make_key(i, rng));
        s.order.resize(kKeys);
        for (std::size_t i = 0; i < kKeys; ++i) s.order[i] = i;
        for (std::size_t i = kKeys - 1; i > 0; --i)
            std::swap(s.order[i], s.order[rng.below(i + 1)]);
        return s;
    }();
    return set;
}

orv_map_t *orv_filled() {
    orv_map_t *map = orv_map_create(0, 0);
    const KeySet &s = keys();
    for (std::size_t i = 0; i < kKeys; ++i)
        orv_map_insert(map, s.present[i].data(), static_cast<uint32_t>(s.present[i].size()), i);
    return map;
}

using StdMap = std::unordered_map<std::string, uintptr_t>;

void std_fill(StdMap &map) {
    const KeySet &s = keys();
    for (std::size_t i = 0; i < kKeys; ++i) map.emplace(s.present[i], i);
}

using Clock = std::chrono::steady_clock;

// Counters "orv" and "std", nanoseconds per key, from runs that take turns.
void report(benchmark::State &state, const Clock::duration (&spent)[2], int passes = 1) {
    const double ops = static_cast<double>(state.iterations() * kKeys * passes);
    state.counters["orv"] = std::chrono::duration<double, std::nano>(spent[0]).count() / ops;
    state.counters["std"] = std::chrono::duration<double, std::nano>(spent[1]).count() / ops;
}

// Both tables filled from empty, in turns; releasing them is not timed.
void insert_bench(benchmark::State &state) {
    keys();  // made before the clock runs
    Clock::duration spent[2] = {};
    for (auto _ : state) {
        Clock::time_point start = Clock::now();
        orv_map_t *ours = orv_filled();
        spent[0] += Clock::now() - start;
        start = Clock::now();
        auto *theirs = new StdMap;
        std_fill(*theirs);
        spent[1] += Clock::now() - start;
        if (orv_map_count(ours) != static_cast<int>(kKeys) || theirs->size() != kKeys)
            state.SkipWithError("lost keys");
        orv_map_free(ours, nullptr);
        delete theirs;
    }
    report(state, spent);
}

// Lookups of the present keys (hit) or the absent ones, in the shuffled order, in turns.
template <bool Hit>
void find_bench(benchmark::State &state) {
    const KeySet &s = keys();
    const std::vector<std::string> &look = Hit ? s.present : s.absent;
    orv_map_t *ours = orv_filled();
    StdMap theirs;
    std_fill(theirs);
    for (std::size_t i : s.order) {
        const orv_map_entry_t *e =
            orv_map_find(ours, look[i].data(), static_cast<uint32_t>(look[i].size()));
        const auto it = theirs.find(look[i]);
        if ((e != nullptr) != Hit || (it != theirs.end()) != Hit ||
            (Hit && e->value != it->second)) {
            state.SkipWithError("wrong answer");
            break;
        }
    }
    // Whole passes in the order ours, theirs, theirs, ours, so that a drift in the machine's
    // load falls on both alike, while each pass finds its own table as warm as in use.
    Clock::duration spent[2] = {};
    const auto pass = [&](int side) {
        const Clock::time_point start = Clock::now();
        for (std::size_t i : s.order) {
            const std::string &key = look[i];
            if (side == 0)
                benchmark::DoNotOptimize(
                    orv_map_find(ours, key.data(), static_cast<uint32_t>(key.size())));
            else
                benchmark::DoNotOptimize(theirs.find(key));
        }
        spent[side] += Clock::now() - start;
    };
    for (auto _ : state)
        for (int side : {0, 1, 1, 0}) pass(side);
    orv_map_free(ours, nullptr);
    report(state, spent, 2);
}

BENCHMARK(insert_bench)->Name("map/insert")->Unit(benchmark::kMillisecond);
BENCHMARK(find_bench<true>)->Name("map/find-hit")->Unit(benchmark::kMillisecond);
BENCHMARK(find_bench<false>)->Name("map/find-miss")->Unit(benchmark::kMillisecond);

using orv_bench::Better;
const bool kCompared =
    orv_bench::compare({"time map insert orv / std::unordered_map", "map/insert@orv",
                        "map/insert@std", 1.20, Better::Lower}) &&
    orv_bench::compare({"time map find hit orv / std::unordered_map", "map/find-hit@orv",
                        "map/find-hit@std", 1.00, Better::Lower}) &&
    orv_bench::compare({"time map find miss orv / std::unordered_map", "map/find-miss@orv",
                        "map/find-miss@std", 1.00, Better::Lower});

}  // namespace
