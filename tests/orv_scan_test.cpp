// The in-place scanners, each a table: what comes out of a text, call by call.
#include "orvsys/orv_scan.h"

#include <string>

#include "support/orv_test.h"

namespace {

// Every result until null, joined by '|', and '#' where the cursor became null.
template <class Next>
std::string Scan(const std::string &text, Next next) {
    std::string buffer = text;
    char *cursor = buffer.data();
    std::string out;
    for (int calls = 0; calls < 10; ++calls) {
        const char *result = next(&cursor);
        out.append(result != nullptr ? result : "<null>").append(cursor != nullptr ? "|" : "#|");
        if (result == nullptr) break;
    }
    return out;
}

TEST(Scan, Lines) {
    // clang-format off
    const std::pair<const char *, const char *> rows[] = {{"a\nb\n", "a|b|#|<null>#|"},
        {"", "#|<null>#|"}, {"a\r\nb\r\r\nc\rd", "a|b|c\rd#|<null>#|"},
        {"ab\\\ncd\ne", "abcd|e#|<null>#|"}, {"ab\\\r\ncd", "abcd#|<null>#|"},
        {"ab\\\\\ncd\n", "ab\\cd|#|<null>#|"}, {"ab\\\n", "ab#|<null>#|"},
        {"ab\\\n\ncd", "ab|cd#|<null>#|"}, {"x\r\r", "x\r\r#|<null>#|"}};
    // clang-format on
    for (const auto &[text, want] : rows) EXPECT_EQ(Scan(text, orv_getline), want) << text;
}

TEST(Scan, BlanksAndStrip) {
    // clang-format off
    struct Trim { const char *text, *all, *ends; };
    const Trim trims[] = {{"  a b\t", "ab", "a b"}, {"x\xA1\xA1y", "xy", "x\xA1\xA1y"},
        {"\xA1x\xA1", "\xA1x\xA1", "\xA1x\xA1"}, {"\xA1\xA1 x \t\xA1\xA1", "x", "x"},
        {" \t ", "", ""}, {"", "", ""}, {"\xA1\xA1\xA1", "\xA1", "\xA1"}};
    struct Strip { const char *source, *pattern; uint32_t size; uint8_t result; const char *held; };
    const Strip strips[] = {{"a--b--c", "--", 10, 3, "abc"}, {"a--b--c", "--", 3, 2, "ab"},
        {"a--b--c", "--", 1, 0, "zzzz"}, {"----", "--", 5, 0, ""}, {"abc", "--", 4, 3, "abc"},
        {"abc", "", 5, 255, "zzzz"}, {"abc", "b", 0, 255, "zzzz"}, {nullptr, "b", 5, 255, "zzzz"}};
    // clang-format on
    for (const Trim &row : trims) {
        std::string all = row.text, ends = row.text;
        EXPECT_EQ(std::string(orv_trim(all.data())), row.all) << row.text;
        EXPECT_EQ(std::string(orv_trim2(ends.data())), row.ends) << row.text;
    }
    for (const Strip &row : strips) {
        char held[16] = "zzzz";  // room for the size the row gives
        EXPECT_EQ(orv_strip(row.source, row.pattern, held, row.size), row.result) << row.size;
        EXPECT_STREQ(held, row.held);
    }
    EXPECT_EQ(orv_strip("abc", "b", nullptr, 5), 255);
}

TEST(Scan, Tokens) {
    // clang-format off
    const std::pair<const char *, const char *> commas[] = {{"a,,b", "a||b#|<null>#|"},
        {"\"x,y\",z", "x,y|z#|<null>#|"}, {"\"x,y\"", "<null>#|"}, {"\"x,y", "x,y#|<null>#|"},
        {"a;b,c", "a|b|c#|<null>#|"}, {"", "<null>#|"}};
    const std::pair<const char *, const char *> dashes[] = {{"a--b", "a|b|<null>#|"},
        {"--a", "|a|<null>#|"}, {"a-b-", "a-b-|<null>#|"}, {"a-", "a-|<null>#|"}};
    // clang-format on
    for (const auto &[text, want] : commas)
        EXPECT_EQ(Scan(text, [](char **c) { return orv_next_string(c, ",;"); }), want) << text;
    for (const auto &[text, want] : dashes)
        EXPECT_EQ(Scan(text, [](char **c) { return orv_next_string_2(c, "--", 2); }), want) << text;
    char text[] = "a", *cursor = text, *none = nullptr;
    EXPECT_TRUE(orv_next_string_2(&cursor, nullptr, 2) == nullptr && cursor == text);
    EXPECT_TRUE(orv_next_string_2(&cursor, "-", 0) == nullptr && cursor == text);
    EXPECT_TRUE(orv_getline(&none) == nullptr && orv_next_string(&none, ",") == nullptr);
}

}  // namespace
