// One line of the hex printer, which the chunking of orv_bprintf calls.
#pragma once

#include <cstdint>

namespace orv::internal {

// Prints one line of at most 512 bytes (more are not printed) with its
// direction and label.
void orv_bprintf_line(const uint8_t *data, int32_t length, uint8_t tx, const char *label);

}  // namespace orv::internal
