// The library's one decimal writer, owned by the number-text family and
// used wherever another family writes a decimal (the log's time text, the
// INI integer values).
#pragma once

#include <cstdint>

namespace orv::internal {

// Writes value as decimal text at dest and returns the position of the
// terminator. Only the sign of radix counts: negative reads value as
// signed 32-bit (so 0x80000000 writes "-2147483648"), positive as unsigned;
// the base is always ten. dest needs 12 bytes for any value.
char *write_decimal(uint32_t value, char *dest, int radix);

// Writes value as at least width digits, zeros in front, as "%0*u" would,
// and returns the position behind the last digit; no terminator. width is
// at most 10.
char *write_decimal_padded(uint32_t value, char *dest, int width);

}  // namespace orv::internal
