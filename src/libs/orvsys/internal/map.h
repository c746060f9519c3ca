// The hash map's two table operations, which stay inside the library.
#pragma once

#include "orvsys/orv_map.h"

namespace orv::internal {

// Gives the map a new, empty bucket array of n | 1 buckets and count 0; the
// old array is the caller's to release. false when memory runs out, and the
// map is then as it was.
bool orv_map_setup_table(orv_map_t *map, int n);

// Doubles the buckets (2 * size + 1) and relinks every entry into them;
// out of memory, the old buckets stay in use, untouched.
void orv_map_rehash(orv_map_t *map);

}  // namespace orv::internal
