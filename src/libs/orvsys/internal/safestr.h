// The case-folding table of the safe-string family's comparisons: internal
// to the library, and reachable by the unit tests through the static build.
#pragma once

#include <array>
#include <cstdint>

namespace orv::internal {

constexpr std::array<unsigned char, 256> make_casefold_table() {
    std::array<unsigned char, 256> table{};
    for (unsigned i = 0; i < table.size(); ++i) {
        table[i] = static_cast<unsigned char>(i >= 'A' && i <= 'Z' ? i - 'A' + 'a' : i);
    }
    return table;
}

// Folds "A".."Z" to "a".."z" and maps every other byte to itself, so that
// case-insensitive comparison does not depend on the process locale. Built
// at compile time; nothing writes it.
inline constexpr std::array<unsigned char, 256> orv_casefold_table = make_casefold_table();

}  // namespace orv::internal
