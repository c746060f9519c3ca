// A small deterministic generator of our own for benchmark inputs, so the
// texts are the same on every machine and every run.
#pragma once

#include <cstdint>

class SplitMix64 {
public:
    explicit SplitMix64(std::uint64_t start) : state_(start) {}
    std::uint64_t next()
    {
        std::uint64_t z = (state_ += 0x9E3779B97F4A7C15ull);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        return z ^ (z >> 31);
    }
    // A value in [0, bound).
    template <class Int>
    Int below(Int bound) { return static_cast<Int>(next() % static_cast<std::uint64_t>(bound)); }

private:
    std::uint64_t state_;
};
