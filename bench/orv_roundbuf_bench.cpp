// The byte ring against memcpy: one 4 KiB block put and got back per operation, through a
// ring of 64 KiB + 1000 bytes so that the blocks fall across its end in every position; the
// reference copies the same bytes in and out of a buffer of that size with two memcpy calls,
// the two taking turns.
//   put+get  orv_roundbuf_putbuf + orv_roundbuf_getbuf / two memcpy: at most 1.1

#include "orv_bench.h"

#include <chrono>
#include <cstring>
#include <vector>

#include "orvsys/orv_roundbuf.h"

namespace {

constexpr int kBlock = 4096, kRing = 65536 + 1000, kRounds = 256;

// The same bytes at the same moving offsets, each block copied in and out whole.
[[gnu::noinline]] void copy_in_out(char *store, int at, const char *in, char *out) {
    std::memcpy(store + at, in, kBlock);
    std::memcpy(out, store + at, kBlock);
}

// Counters "orv" and "memcpy": nanoseconds per block, the two sides taking turns of kRounds
// blocks so that a busy machine slows both alike.
void ring_bench(benchmark::State &state) {
    std::vector<char> in(kBlock), out(kBlock), store(kRing + kBlock);
    for (int i = 0; i < kBlock; ++i) in[i] = static_cast<char>(i * 7);
    orv_roundbuf_t *ring = orv_roundbuf_create(kRing);
    int cursor = 0, at = 0;
    for (int round = 0; round < kRounds; ++round)
        if (orv_roundbuf_putbuf(ring, in.data(), kBlock) != kBlock ||
            orv_roundbuf_getbuf(ring, &cursor, out.data(), kBlock) != kBlock || in != out) {
            state.SkipWithError("the block did not come back");
            break;
        }
    using Clock = std::chrono::steady_clock;
    Clock::duration spent[2] = {};
    for (auto _ : state) {
        Clock::time_point start = Clock::now();
        for (int round = 0; round < kRounds; ++round) {
            orv_roundbuf_putbuf(ring, in.data(), kBlock);
            benchmark::DoNotOptimize(orv_roundbuf_getbuf(ring, &cursor, out.data(), kBlock));
        }
        benchmark::ClobberMemory();
        spent[0] += Clock::now() - start;
        start = Clock::now();
        for (int round = 0; round < kRounds; ++round, at = (at + kBlock) % kRing)
            copy_in_out(store.data(), at, in.data(), out.data());
        benchmark::ClobberMemory();
        spent[1] += Clock::now() - start;
    }
    orv_roundbuf_free(ring);
    const double blocks = static_cast<double>(state.iterations()) * kRounds;
    state.counters["orv"] = std::chrono::duration<double, std::nano>(spent[0]).count() / blocks;
    state.counters["memcpy"] = std::chrono::duration<double, std::nano>(spent[1]).count() / blocks;
}

BENCHMARK(ring_bench)->Name("roundbuf/4KiB-put+get");

const bool kCompared =
    orv_bench::compare({"time roundbuf 4 KiB put+get orv / two memcpy", "roundbuf/4KiB-put+get@orv",
                        "roundbuf/4KiB-put+get@memcpy", 1.10, orv_bench::Better::Lower});

}  // namespace
