// Internal helpers of the safe-string family shared with other families.
#pragma once

#include <array>
#include <cstdint>

namespace orv_detail {

constexpr std::array<unsigned char, 256> make_casefold_table() {
    std::array<unsigned char, 256> table{};
    for (unsigned i = 0; i < table.size(); ++i) {
        table[i] = static_cast<unsigned char>(i >= 'A' && i <= 'Z' ? i - 'A' + 'a' : i);
    }
    return table;
}

}  // namespace orv_detail

// Folds "A".."Z" to "a".."z" and maps every other byte to itself, so that
// case-insensitive comparison does not depend on the process locale. Built
// at compile time; nothing writes it.
inline constexpr std::array<unsigned char, 256> orv_casefold_table =
    orv_detail::make_casefold_table();
