// Case mapping, comparison from the ends and the single-pass searches.
#include "orvsys/orv_search.h"

#include <string>

#include "support/orv_test.h"

namespace {

TEST(Search, CaseMapping) {
    char word[] = "MiXed";
    std::string seen = orv_strtolower(word);
    seen.append("|").append(orv_strtoupper_n(word, 2));
    seen.append("|").append(orv_strtoupper_n(word, 0));
    seen.append("|").append(orv_strtoupper(word)).append("|").append(orv_strtolower_n(word, -1));
    EXPECT_EQ(seen, "mixed|MIxed|MIxed|MIXED|mixed");
    EXPECT_TRUE(orv_strtolower(nullptr) == nullptr && orv_strtoupper_n(nullptr, 3) == nullptr);
    // clang-format off
    struct Copy { const char *source; uint32_t size; const char *want; };
    const Copy copies[] = {{"ABCDEF", 4, "abc"}, {"ABCDEF", 1, ""}, {"AB", 8, "ab"},
        {"", 8, nullptr}, {nullptr, 8, nullptr}};
    // clang-format on
    for (const Copy &row : copies) {
        orv_test::Sentinel<8> dest;
        EXPECT_EQ(orv_strtolower_copy(row.source, dest, row.size), row.want ? dest.bytes : nullptr);
        EXPECT_EQ(row.want ? std::string(dest.bytes) : "", row.want ? row.want : "");
        EXPECT_TRUE(dest.untouched(row.want ? std::strlen(row.want) + 1 : 0)) << row.size;
    }
    char upper[4];
    EXPECT_STREQ(orv_strtoupper_copy("abc", upper, 4), "ABC");
    EXPECT_EQ(orv_strtoupper_copy("abc", nullptr, 4), nullptr);
}

TEST(Search, CompareFromTheEnds) {
    // clang-format off
    struct Row { const char *a, *b; int count; int32_t exact, folded; };
    const Row rows[] = {{"x", "y", 0, 0, 0}, {"", "", 5, 0, 0}, {"", "abc", 5, -'a', -'a'},
        {"abc", "", 5, 'a', 'a'}, {"abc", "bc", 2, 0, 0}, {"abc", "bc", 3, 'a', 'a'},
        {"bc", "abc", 2, 0, 0}, {"bc", "abc", 3, -'a', -'a'}, {"xyzabc", "pqrabc", 3, 0, 0},
        {"xyzabc", "pqrabc", 4, 'z' - 'r', 'z' - 'r'}, {"ABC", "abc", 3, 'C' - 'c', 0},
        {"aBc", "abc", -1, 'B' - 'b', 0}, {"Zabc", "abc", -1, 'Z', 'z'}, {"abc", "abc", 9, 0, 0}};
    // clang-format on
    for (const Row &row : rows) {
        EXPECT_EQ(orv_strrncmp(row.a, row.b, row.count), row.exact) << row.a << "/" << row.b;
        EXPECT_EQ(orv_strrncasecmp(row.a, row.b, row.count), row.folded) << row.a << "/" << row.b;
    }
}

TEST(Search, SinglePassSearches) {
    // Offsets in text, -1 for null: orv_strcasestr, orv_strrstr, orv_strrcasestr.
    // clang-format off
    struct Row { const char *text, *pattern; int first_folded, last, last_folded; };
    const Row rows[] = {{"abcABC", "abc", 0, 0, 3}, {"abcABC", "ABC", 0, 3, 3},
        {"abcab", "b", 1, 4, 4}, {"ab", "abc", -1, -1, -1}, {"aaab", "aab", -1, 1, 1},
        {"baaa", "baa", 0, -1, -1}, {"xabcx", "abc", 1, 1, 1}, {"", "a", -1, -1, -1},
        {"a", "", -1, -1, -1}, {"aXbAxB", "axb", 0, -1, 3}};
    // clang-format on
    const auto at = [](const char *text, const char *found) {
        return found == nullptr ? -1 : static_cast<int>(found - text);
    };
    for (const Row &row : rows) {
        EXPECT_EQ(at(row.text, orv_strcasestr(row.text, row.pattern)), row.first_folded);
        EXPECT_EQ(at(row.text, orv_strrstr(row.text, row.pattern)), row.last) << row.text;
        EXPECT_EQ(at(row.text, orv_strrcasestr(row.text, row.pattern)), row.last_folded);
    }
    EXPECT_TRUE(orv_strcasestr(nullptr, "a") == nullptr && orv_strrstr("a", nullptr) == nullptr);
}

}  // namespace
