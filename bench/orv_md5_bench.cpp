// MD5 over 1 MiB against OpenSSL's MD5 (linked by the benchmark only) in the same run, the two
// taking turns, and against the md5sum command on the same bytes in a file (a whole process,
// so its figure includes starting one).
//   1 MiB  MD5Init + MD5Update + MD5Final / OpenSSL's MD5: at most 1.0

#include "orv_bench.h"

#include <openssl/md5.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "orvsys/orv_md5.h"

// OpenSSL 3 marks its MD5 functions deprecated; they are the reference here.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace {

constexpr std::size_t kBytes = 1 << 20;

const std::vector<uint8_t> &input() {
    static const std::vector<uint8_t> bytes = [] {
        std::vector<uint8_t> b(kBytes);
        orv_bench::SplitMix64 rng(0x6F72766D6435ull);
        for (uint8_t &byte : b) byte = static_cast<uint8_t>(rng.next());
        return b;
    }();
    return bytes;
}

[[gnu::noinline]] void orv_digest(const std::vector<uint8_t> &in, uint8_t out[16]) {
    orv_md5_ctx_t ctx;
    MD5Init(&ctx);
    MD5Update(&ctx, in.data(), static_cast<uint32_t>(in.size()));
    MD5Final(out, &ctx);
}

[[gnu::noinline]] void openssl_digest(const std::vector<uint8_t> &in, uint8_t out[16]) {
    MD5(in.data(), in.size(), out);
}

// Counters "orv", "openssl" and "md5sum": nanoseconds per MiB.
void md5_bench(benchmark::State &state) {
    const std::vector<uint8_t> &in = input();
    uint8_t ours[16], theirs[16];
    orv_digest(in, ours), openssl_digest(in, theirs);
    if (std::memcmp(ours, theirs, 16) != 0) return state.SkipWithError("the digests differ");
    using Clock = std::chrono::steady_clock;
    Clock::duration spent[2] = {};
    for (auto _ : state) {
        for (int side : {0, 1, 1, 0}) {
            const Clock::time_point start = Clock::now();
            (side == 0 ? orv_digest : openssl_digest)(in, side == 0 ? ours : theirs);
            spent[side] += Clock::now() - start;
        }
    }
    const double runs = static_cast<double>(state.iterations()) * 2;
    state.counters["orv"] = std::chrono::duration<double, std::nano>(spent[0]).count() / runs;
    state.counters["openssl"] = std::chrono::duration<double, std::nano>(spent[1]).count() / runs;
    // md5sum, once, on the same bytes in a file of the scratch root.
    const std::string file = orv_bench::root() + "/md5.bin";
    FILE *out = std::fopen(file.c_str(), "wb");
    if (out == nullptr || std::fwrite(in.data(), 1, in.size(), out) != in.size()) return;
    std::fclose(out);
    const Clock::time_point start = Clock::now();
    FILE *pipe = popen(("md5sum " + file).c_str(), "r");
    char text[33] = {};
    if (pipe != nullptr) std::fread(text, 1, 32, pipe), pclose(pipe);
    state.counters["md5sum"] =
        std::chrono::duration<double, std::nano>(Clock::now() - start).count();
}

BENCHMARK(md5_bench)->Name("md5/1MiB")->Unit(benchmark::kMillisecond);

const bool kCompared = orv_bench::compare({"time md5 1 MiB orv / openssl", "md5/1MiB@orv",
                                           "md5/1MiB@openssl", 1.00, orv_bench::Better::Lower}) &&
                       orv_bench::compare({"time md5 1 MiB orv / md5sum process", "md5/1MiB@orv",
                                           "md5/1MiB@md5sum", 0.0, orv_bench::Better::Lower});

}  // namespace
