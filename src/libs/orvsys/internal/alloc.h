// The allocator of the containers (byte buffer, ring, hash map): calloc,
// with a seam through which a test makes one allocation fail, so that each
// allocating call's failure path can be taken on purpose.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdlib>

namespace orv::internal {

// Counts down to the allocation that fails: 0 fails none.
inline std::atomic<int> g_alloc_failure_countdown{0};

// Test seam: the nth container allocation from now (1: the next) returns
// null; 0 turns the seam off.
inline void fail_allocation(int nth) { g_alloc_failure_countdown.store(nth); }

// calloc, unless the seam says this one fails.
inline void *zalloc(std::size_t count, std::size_t size) {
    if (g_alloc_failure_countdown.load(std::memory_order_relaxed) > 0 &&
        g_alloc_failure_countdown.fetch_sub(1) == 1)
        return nullptr;
    return std::calloc(count, size);
}

}  // namespace orv::internal
