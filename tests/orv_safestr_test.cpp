// Safe strings and bounded formatting.
//
// Outputs are pre-filled with a sentinel byte so that every test can tell
// what an operation wrote from what it left alone.
#include "orvsys/orv_safestr.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <string>

#include "internal/safestr.h"

namespace {

constexpr char kSentinel = '#';
constexpr size_t kBufSize = 32;

struct Buffer {
    char bytes[kBufSize];
    Buffer() { std::memset(bytes, kSentinel, sizeof bytes); }
    // True when every byte from `from` to the end still holds the sentinel.
    bool untouched_from(size_t from) const {
        for (size_t i = from; i < kBufSize; ++i) {
            if (bytes[i] != kSentinel) return false;
        }
        return true;
    }
};

// Plain variadic forwarders: they reach the library's va_list forms without
// the printf attribute of orv_snprintf / orv_sprintf, so that a null format
// can be passed on purpose.
int32_t call_vsnprintf(char *dest, uint32_t size, const char *format, ...) {
    va_list args;
    va_start(args, format);
    int32_t result = orv_vsnprintf(dest, size, format, args);
    va_end(args);
    return result;
}

int32_t call_vsprintf(char *dest, const char *format, ...) {
    va_list args;
    va_start(args, format);
    int32_t result = orv_vsprintf(dest, format, args);
    va_end(args);
    return result;
}

TEST(Safestr, CasefoldTableFoldsOnlyUpperCaseAscii) {
    ASSERT_EQ(sizeof(orv_casefold_table), 256u);
    for (unsigned i = 0; i < 256; ++i) {
        unsigned expected = (i >= 65 && i <= 90) ? i + 32 : i;
        EXPECT_EQ(static_cast<unsigned>(orv_casefold_table[i]), expected) << "entry " << i;
    }
}

TEST(Safestr, StrncpySafeCopiesZeroFillsAndTerminates) {
    struct Row {
        const char *src;
        int32_t n;
        const char *expected;
    };
    const Row rows[] = {
        {"abcdefgh", 5, "abcd"}, {"abcd", 5, "abcd"}, {"abcde", 5, "abcd"},
        {"ab", 8, "ab"},         {"", 4, ""},         {"abc", 1, ""},
        {"abc", 0, ""},          {"\xB0\xA1\xFF", 4, "\xB0\xA1\xFF"},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(std::string("src '") + row.src + "' n " + std::to_string(row.n));
        Buffer buf;
        orv_strncpy_safe(buf.bytes, row.src, row.n);
        EXPECT_STREQ(buf.bytes, row.expected);
        // strncpy zero-fills up to n; n == 0 still ends dest at dest[0].
        size_t filled = row.n == 0 ? 1 : static_cast<size_t>(row.n);
        for (size_t i = std::strlen(row.expected); i < filled; ++i) {
            EXPECT_EQ(buf.bytes[i], '\0') << "byte " << i;
        }
        EXPECT_TRUE(buf.untouched_from(filled)) << "wrote past n";
    }
}

TEST(Safestr, StrncpySafeRefusesNullAndNegativeSize) {
    Buffer buf;
    orv_strncpy_safe(buf.bytes, "abc", -1);
    orv_strncpy_safe(buf.bytes, "abc", INT32_MIN);
    orv_strncpy_safe(buf.bytes, nullptr, 8);
    orv_strncpy_safe(nullptr, "abc", 8);  // must simply return
    orv_strncpy_safe(nullptr, nullptr, -1);
    EXPECT_TRUE(buf.untouched_from(0));
}

TEST(Safestr, StrtokSafeSkipsRunsOfDelimiters) {
    char text[] = ",,a,,b,";
    char *cursor = text;
    char *token = orv_strtok_safe(&cursor, ",");
    ASSERT_EQ(token, text + 2);
    EXPECT_STREQ(token, "a");
    EXPECT_EQ(cursor, text + 4);  // the ending delimiter was overwritten
    token = orv_strtok_safe(&cursor, ",");
    ASSERT_EQ(token, text + 5);
    EXPECT_STREQ(token, "b");
    EXPECT_EQ(cursor, text + 7);
    for (int again = 0; again < 3; ++again) {
        EXPECT_EQ(orv_strtok_safe(&cursor, ","), nullptr);
        EXPECT_EQ(cursor, text + 7);  // stays on the terminator
    }
    EXPECT_EQ(std::memcmp(text, ",,a\0,b\0", sizeof text), 0);
}

TEST(Safestr, StrtokSafeLastTokenLeavesCursorOnTerminator) {
    char text[] = "ab cd";
    char *cursor = text;
    EXPECT_STREQ(orv_strtok_safe(&cursor, " "), "ab");
    EXPECT_STREQ(orv_strtok_safe(&cursor, " "), "cd");
    EXPECT_EQ(cursor, text + 5);
    EXPECT_EQ(orv_strtok_safe(&cursor, " "), nullptr);
    EXPECT_EQ(cursor, text + 5);
}

TEST(Safestr, StrtokSafeEmptyOrDelimitersOnlyGiveNullAtOnce) {
    char empty[] = "";
    char *cursor = empty;
    EXPECT_EQ(orv_strtok_safe(&cursor, ","), nullptr);
    EXPECT_EQ(cursor, empty);

    char delims_only[] = ",;,";
    cursor = delims_only;
    EXPECT_EQ(orv_strtok_safe(&cursor, ",;"), nullptr);
    EXPECT_EQ(cursor, delims_only + 3);
}

TEST(Safestr, StrtokSafeTakesNewDelimitersOnEachCall) {
    char text[] = "a b;c d\te";
    char *cursor = text;
    EXPECT_STREQ(orv_strtok_safe(&cursor, " "), "a");
    EXPECT_STREQ(orv_strtok_safe(&cursor, ";"), "b");
    EXPECT_STREQ(orv_strtok_safe(&cursor, ";"), "c d\te");
    EXPECT_EQ(orv_strtok_safe(&cursor, " \t"), nullptr);

    char multi[] = " \tx\t \ty ";
    cursor = multi;
    EXPECT_STREQ(orv_strtok_safe(&cursor, " \t"), "x");
    EXPECT_STREQ(orv_strtok_safe(&cursor, " \t"), "y");
    EXPECT_EQ(orv_strtok_safe(&cursor, " \t"), nullptr);
}

TEST(Safestr, StrlenSafeStopsAtMaxlen) {
    EXPECT_EQ(orv_strlen_safe("abc", 10), 3u);
    EXPECT_EQ(orv_strlen_safe("abc", 4), 3u);
    EXPECT_EQ(orv_strlen_safe("abc", 3), 3u);
    EXPECT_EQ(orv_strlen_safe("abc", 2), 2u);
    EXPECT_EQ(orv_strlen_safe("", 5), 0u);
    EXPECT_EQ(orv_strlen_safe("abc", 0), 0u);
    EXPECT_EQ(orv_strlen_safe(nullptr, 0), 0u);  // maxlen 0 reads nothing
    // No terminator within maxlen: the count is maxlen and nothing beyond is read.
    const char unterminated[4] = {'a', 'b', 'c', 'd'};
    EXPECT_EQ(orv_strlen_safe(unterminated, 4), 4u);
}

TEST(Safestr, StrdupMakesAnIndependentCopy) {
    EXPECT_EQ(orv_strdup(nullptr), nullptr);

    const char *texts[] = {"", "abc", "\xD6\xD0\xCE\xC4 text"};
    for (const char *text : texts) {
        char *copy = orv_strdup(text);
        ASSERT_NE(copy, nullptr) << text;
        EXPECT_NE(copy, text);
        EXPECT_STREQ(copy, text);
        std::free(copy);
    }
}

TEST(Safestr, StrncatSafeBoundsTheWholeString) {
    struct Row {
        const char *dest;
        const char *src;
        uint32_t maxlen;
        int result;
        const char *expected;
    };
    const Row rows[] = {
        {"abc", "x", 3, 0, "abc"},       // already full
        {"abcd", "x", 3, 0, "abcd"},     // over full: left alone, not cut
        {"", "abc", 0, 0, ""},
        {"abc", "defgh", 5, 1, "abcde"},  // src cut, still 1
        {"abc", "de", 10, 1, "abcde"},
        {"", "abc", 2, 1, "ab"},
        {"abc", "", 5, 1, "abc"},
        {"abc", "d", 4, 1, "abcd"},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(std::string("dest '") + row.dest + "' src '" + row.src + "' maxlen " +
                     std::to_string(row.maxlen));
        Buffer buf;
        std::strcpy(buf.bytes, row.dest);
        EXPECT_EQ(orv_strncat_safe(buf.bytes, row.src, row.maxlen), row.result);
        EXPECT_STREQ(buf.bytes, row.expected);
        size_t limit = std::max<size_t>(row.maxlen, std::strlen(row.dest)) + 1;
        EXPECT_TRUE(buf.untouched_from(limit)) << "wrote past maxlen+1 bytes";
    }
}

struct CompareRow {
    const char *a;
    const char *b;
    int32_t expected;
};

TEST(Safestr, StrcasecmpFoldsOnlyAsciiLetters) {
    const CompareRow rows[] = {
        {"ABC", "abc", 0},
        {"HeLLo World", "hEllO wORLD", 0},
        {"", "", 0},
        {"a", "B", -1},
        {"abc", "ab", 99},
        {"ab", "abc", -99},
        {"[", "Z", 91 - 122},  // letters compare as lower case
        {"Z", "[", 122 - 91},
        {"@", "`", 64 - 96},  // neighbours of the letters do not fold
        {"\xC4", "\xE4", 0xC4 - 0xE4},  // Latin-1 pair: no folding above 127
        {"\xFF", "", 255},
        {"", "\xFF", -255},
        {"\xFF", "a", 255 - 97},
        {"a\x80", "A\x81", 0x80 - 0x81},
    };
    for (const CompareRow &row : rows) {
        EXPECT_EQ(orv_strcasecmp(row.a, row.b), row.expected)
            << "a '" << row.a << "' b '" << row.b << "'";
    }
}

TEST(Safestr, StrncasecmpStopsAfterNBytes) {
    struct Row {
        CompareRow compare;
        uint32_t n;
    };
    const Row rows[] = {
        {{"abcX", "ABCy", 0}, 3},
        {{"abcX", "ABCy", 'x' - 'y'}, 4},
        {{"abc", "abd", 0}, 2},
        {{"abc", "abd", -1}, 3},
        {{"abc", "ABC", 0}, 100},  // equal strings end at the terminator
        {{"ab", "abc", -99}, 3},
        {{"ab", "ABC", 0}, 2},
        {{"x", "y", 0}, 0},
        {{"abc", "ABC", 0}, UINT32_MAX},
        {{"\xFF", "\x01", 254}, 1},
    };
    for (const Row &row : rows) {
        EXPECT_EQ(orv_strncasecmp(row.compare.a, row.compare.b, row.n), row.compare.expected)
            << "a '" << row.compare.a << "' b '" << row.compare.b << "' n " << row.n;
    }
    // n of 0 reads neither string.
    EXPECT_EQ(orv_strncasecmp(nullptr, nullptr, 0), 0);
}

TEST(Safestr, SnprintfFitsOrCuts) {
    struct Row {
        uint32_t size;
        const char *arg;
        int32_t result;
        const char *expected;
    };
    const Row rows[] = {
        {4, "abc", 3, "abc"},   {4, "abcd", -1, "abc"},  // exactly size characters fail
        {4, "abcdefgh", -1, "abc"}, {4, "", 0, ""},
        {1, "", 0, ""},         {1, "x", -1, ""},
        {16, "abc", 3, "abc"},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(std::string("arg '") + row.arg + "' size " + std::to_string(row.size));
        Buffer buf;
        EXPECT_EQ(orv_snprintf(buf.bytes, row.size, "%s", row.arg), row.result);
        EXPECT_STREQ(buf.bytes, row.expected);
        EXPECT_TRUE(buf.untouched_from(row.size)) << "wrote past size";
    }
}

TEST(Safestr, VsnprintfFormatsItsArguments) {
    Buffer buf;
    EXPECT_EQ(call_vsnprintf(buf.bytes, kBufSize, "%d|%u|%s|%c|%%", -5, 7u, "ok", 'z'), 11);
    EXPECT_STREQ(buf.bytes, "-5|7|ok|z|%");
    EXPECT_TRUE(buf.untouched_from(12));
}

TEST(Safestr, VsnprintfRefusalsStoreNothing) {
    Buffer buf;
    EXPECT_EQ(call_vsnprintf(buf.bytes, 0, "%s", "abc"), -1);  // no room for a terminator
    EXPECT_EQ(orv_snprintf(buf.bytes, 0, "%s", "abc"), -1);
    EXPECT_EQ(call_vsnprintf(buf.bytes, 8, nullptr), -1);
    EXPECT_EQ(call_vsnprintf(buf.bytes, 8, nullptr, "abc"), -1);
    EXPECT_TRUE(buf.untouched_from(0));
    EXPECT_EQ(call_vsnprintf(nullptr, 8, "%s", "abc"), -1);
    EXPECT_EQ(orv_snprintf(nullptr, 8, "%s", "abc"), -1);
}

TEST(Safestr, VsnprintfFormatterFailureEndsDestAtLastByte) {
    // In the C locale a wide character above 127 has no multibyte form, so
    // the standard formatter itself fails with a negative result.
    const wchar_t wide[] = {L'a', static_cast<wchar_t>(0x100), 0};
    Buffer buf;
    EXPECT_EQ(call_vsnprintf(buf.bytes, 8, "xy%ls", wide), -1);
    EXPECT_EQ(buf.bytes[7], '\0');
    EXPECT_TRUE(buf.untouched_from(8));
    EXPECT_EQ(call_vsprintf(buf.bytes, "xy%ls", wide), -1);
}

TEST(Safestr, SprintfHasNoPracticalBound) {
    char big[512];
    std::memset(big, kSentinel, sizeof big);
    const std::string long_text(300, 'q');
    EXPECT_EQ(orv_sprintf(big, "<%s>%d", long_text.c_str(), 42), 304);
    EXPECT_EQ(std::string(big), "<" + long_text + ">42");
    for (size_t i = 305; i < sizeof big; ++i) ASSERT_EQ(big[i], kSentinel) << "byte " << i;

    Buffer buf;
    EXPECT_EQ(call_vsprintf(buf.bytes, "%s=%d", "k", -12), 5);
    EXPECT_STREQ(buf.bytes, "k=-12");
    EXPECT_EQ(orv_sprintf(buf.bytes, "%s", ""), 0);
    EXPECT_STREQ(buf.bytes, "");
}

TEST(Safestr, SprintfRefusesNullPointers) {
    Buffer buf;
    EXPECT_EQ(call_vsprintf(buf.bytes, nullptr), -1);
    EXPECT_TRUE(buf.untouched_from(0));
    EXPECT_EQ(call_vsprintf(nullptr, "%s", "abc"), -1);
    EXPECT_EQ(orv_sprintf(nullptr, "%s", "abc"), -1);
}

}  // namespace
