// Internal helpers of the number-text family shared with other families.
#pragma once

#include <cstdint>

// Writes value as decimal text at dest and returns the position of the
// terminator. Only the sign of radix counts: negative reads value as
// signed 32-bit (so 0x80000000 writes "-2147483648"), positive as unsigned;
// the base is always ten. dest needs 12 bytes for any value.
char *orv_write_decimal(uint32_t value, char *dest, int radix);
