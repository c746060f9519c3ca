// Safe strings and bounded formatting. Outputs start as sentinel buffers,
// so every row can tell what an operation wrote from what it left alone.
#include "orvsys/orv_safestr.h"

#include <memory>
#include <vector>

#include "internal/safestr.h"
#include "support/orv_test.h"

namespace {

using namespace std::string_literals;
using Buf = orv_test::Sentinel<32>;

// The va_list forms, free of the printf check so a null format passes; size < 0 means vsprintf.
int32_t vfmt(char *dest, int64_t size, const char *format, ...) {
    va_list args;
    va_start(args, format);
    const int32_t result = size < 0
                               ? orv_vsprintf(dest, format, args)
                               : orv_vsnprintf(dest, static_cast<uint32_t>(size), format, args);
    va_end(args);
    return result;
}

// strncat_safe bounds the whole string, not the part it appends.
TEST(Safestr, BoundedCopyAndAppend) {
    // clang-format off
    struct Row { const char *src; int32_t n; const char *want; };  // want null: untouched
    const Row rows[] = {{"abcdefgh", 5, "abcd"}, {"abcd", 5, "abcd"}, {"ab", 8, "ab"},
        {"abc", 1, ""}, {"abc", 0, ""}, {"\xB0\xA1\xFF", 4, "\xB0\xA1\xFF"}, {"abc", -1, nullptr},
        {"abc", INT32_MIN, nullptr}, {nullptr, 8, nullptr}};
    // clang-format on
    for (const Row &row : rows) {
        Buf buf;
        orv_strncpy_safe(buf, row.src, row.n);
        SCOPED_TRACE(testing::Message() << (row.src ? row.src : "(null)") << " n " << row.n);
        // strncpy zero-fills up to n; n of 0 still ends dest at dest[0].
        const size_t filled = row.want == nullptr ? 0 : row.n == 0 ? 1 : static_cast<size_t>(row.n);
        EXPECT_TRUE(buf.untouched(filled)) << "wrote past n";
        const std::string want = row.want ? row.want : "";
        EXPECT_EQ(std::string(buf.bytes, filled), want + std::string(filled - want.size(), '\0'));
    }
    orv_strncpy_safe(nullptr, "abc", 8);  // must simply return
    // clang-format off
    struct Cat { const char *dest, *src; uint32_t maxlen; int result; const char *want; };
    const Cat cats[] = {{"abc", "x", 3, 0, "abc"}, {"abcd", "x", 3, 0, "abcd"},
        {"", "abc", 0, 0, ""}, {"abc", "defgh", 5, 1, "abcde"}, {"abc", "d", 4, 1, "abcd"},
        {"", "abc", 2, 1, "ab"}, {"abc", "de", 10, 1, "abcde"}};
    // clang-format on
    for (const Cat &row : cats) {
        SCOPED_TRACE(testing::Message() << row.dest << " + " << row.src << " max " << row.maxlen);
        Buf buf;
        std::strcpy(buf, row.dest);
        EXPECT_EQ(orv_strncat_safe(buf, row.src, row.maxlen), row.result);
        EXPECT_STREQ(buf, row.want);
        EXPECT_TRUE(buf.untouched(std::max<size_t>(row.maxlen, std::strlen(row.dest)) + 1));
    }
}

// Delimiters end tokens in place, a run gives no empty token, the cursor stays on the end.
TEST(Safestr, StrtokSafeSplitsInPlaceAndStaysAtTheEnd) {
    // clang-format off
    struct Row { std::string in; const char *delims; std::vector<size_t> starts; std::string out; };
    const Row rows[] = {{",,a,,b,", ",", {2, 5}, ",,a\0,b\0"s}, {"ab cd", " ", {0, 3}, "ab\0cd"s},
        {"", ",", {}, ""}, {" \tx\t \ty ", " \t", {2, 6}, " \tx\0 \ty\0"s},
        {",;,", ",;", {}, ",;,"}, {"abc", ",", {0}, "abc"}};
    // clang-format on
    for (const Row &row : rows) {
        std::string text = row.in;
        char *cursor = text.data();
        for (size_t start : row.starts)
            EXPECT_EQ(orv_strtok_safe(&cursor, row.delims), &text[start]) << row.in;
        for (int call : {1, 2})
            EXPECT_EQ(orv_strtok_safe(&cursor, row.delims), nullptr) << row.in << " end " << call;
        EXPECT_EQ(cursor, text.data() + text.size()) << row.in << ": cursor off the terminator";
        EXPECT_EQ(text, row.out) << row.in;
    }
}

TEST(Safestr, StrlenSafeStopsAtMaxlenAndStrdupCopies) {
    const char unterminated[4] = {'a', 'b', 'c', 'd'};
    // clang-format off
    struct Row { const char *s; uint32_t maxlen, want; };  // maxlen 0 reads not even a null
    const Row rows[] = {{"abc", 10, 3}, {"abc", 3, 3}, {"abc", 2, 2}, {unterminated, 4, 4},
        {nullptr, 0, 0}};
    // clang-format on
    for (Row row : rows) EXPECT_EQ(orv_strlen_safe(row.s, row.maxlen), row.want) << row.maxlen;
    EXPECT_EQ(orv_strdup(nullptr), nullptr);
    using Copy = std::unique_ptr<char, void (*)(void *)>;  // freeing it proves a block of its own
    for (const char *text : {"", "\xD6\xD0\xCE\xC4 text"})
        EXPECT_STREQ(Copy(orv_strdup(text), std::free).get(), text);
}

// n of -1 stands for the unbounded orv_strcasecmp; n of 0 reads neither string.
TEST(Safestr, CaseInsensitiveCompareAndTableFoldOnlyAsciiLetters) {
    // clang-format off
    struct Row { const char *a, *b; int64_t n; int32_t want; };
    const Row rows[] = {{"HeLLo", "hEllO", -1, 0}, {"a", "B", -1, -1}, {"abc", "ab", -1, 99},
        {"ab", "abc", -1, -99}, {"[", "Z", -1, 91 - 122}, {"@", "`", -1, 64 - 96},
        {"\xC4", "\xE4", -1, 0xC4 - 0xE4}, {"\xFF", "", -1, 255}, {"", "\xFF", -1, -255},
        {"abcX", "ABCy", 3, 0}, {"abcX", "ABCy", 4, 'x' - 'y'}, {"abc", "abd", 2, 0},
        {"abc", "ABC", 100, 0}, {"ab", "abc", 3, -99}, {"\xFF", "\x01", 1, 254},
        {nullptr, nullptr, 0, 0}, {"abc", "ABC", UINT32_MAX, 0}};
    // clang-format on
    for (const Row &row : rows) {
        const int32_t got = row.n < 0 ? orv_strcasecmp(row.a, row.b)
                                      : orv_strncasecmp(row.a, row.b, static_cast<uint32_t>(row.n));
        EXPECT_EQ(got, row.want) << "'" << row.a << "' vs '" << row.b << "' n " << row.n;
    }
    for (unsigned i = 0; i < 256; ++i)
        EXPECT_EQ(orv::internal::orv_casefold_table[i], i >= 'A' && i <= 'Z' ? i + 32 : i) << i;
}

// Refusals store nothing, size 0 too; the unbounded form has no practical limit.
TEST(Safestr, FormattingFitsCutsOrRefuses) {
    // clang-format off
    struct Row { uint32_t size; const char *arg; int32_t result; const char *want; };
    const Row rows[] = {{4, "abc", 3, "abc"}, {4, "abcd", -1, "abc"}, {4, "abcdefgh", -1, "abc"},
        {1, "", 0, ""}, {1, "x", -1, ""}, {16, "abc", 3, "abc"}};
    // clang-format on
    for (const Row &row : rows) {
        SCOPED_TRACE(testing::Message() << row.arg << " size " << row.size);
        Buf buf;
        EXPECT_EQ(orv_snprintf(buf, row.size, "%s", row.arg), row.result);
        EXPECT_STREQ(buf, row.want);
        EXPECT_TRUE(buf.untouched(row.size)) << "wrote past size";
    }
    Buf buf;
    EXPECT_EQ(orv_snprintf(buf, 0, "x") + vfmt(buf, 8, nullptr) + vfmt(buf, -1, nullptr), -3);
    EXPECT_TRUE(buf.untouched());
    EXPECT_EQ(orv_snprintf(nullptr, 8, "%s", "abc") + orv_sprintf(nullptr, "%s", "abc"), -2);
    // A wide character above 127 has no form in the C locale: the formatter itself fails.
    const wchar_t wide[] = {L'a', static_cast<wchar_t>(0x100), 0};
    EXPECT_TRUE(vfmt(buf, 8, "xy%ls", wide) == -1 && buf.bytes[7] == '\0' && buf.untouched(8));
    EXPECT_EQ(vfmt(buf, -1, "xy%ls", wide), -1);
    orv_test::Sentinel<512> big;
    const std::string text(300, 'q');
    EXPECT_EQ(orv_sprintf(big, "<%s>%d", text.c_str(), 42), 304);
    EXPECT_EQ(std::string(big.bytes), "<" + text + ">42");
    EXPECT_TRUE(big.untouched(305));
}

}  // namespace
