// GB2312 and UTF-8: results against the bytes of the iconv command, the guards and the limits.
#include "orvsys/orv_charset.h"

#include <string>

#include "support/orv_test.h"

namespace {

// What the iconv command makes of text (empty when it fails part-way).
std::string Command(const char *from, const char *to, const std::string &text) {
    orv_test::ScratchDir dir;
    orv_test::write_file(dir / "in", text);
    const std::string command = std::string("iconv -f ") + from + " -t " + to + " " + (dir / "in");
    FILE *pipe = popen(command.c_str(), "r");
    std::string out;
    for (int c; pipe != nullptr && (c = std::fgetc(pipe)) != EOF;) out += static_cast<char>(c);
    return pipe != nullptr && pclose(pipe) == 0 ? out : "";
}

using Convert = int (*)(char *, int, const char *);

TEST(Charset, AgainstTheIconvCommand) {
    // clang-format off
    struct Row { Convert convert; const char *from, *to; std::string text; };
    const Row rows[] = {{orv_ansi_to_utf8, "GB2312", "UTF-8", "plain ascii \xA1\xA1"},
        {orv_ansi_to_unicode, "GB2312", "UTF-8", "\xC4\xE3\xBA\xC3!"},
        {orv_utf8_to_ansi, "UTF-8", "GB2312", "\xE3\x80\x80\xE4\xBD\xA0\xE5\xA5\xBD"},
        {orv_utf8_to_unicode, "UTF-8", "UTF-8", "caf\xC3\xA9"}};
    // clang-format on
    for (const Row &row : rows) {
        char dest[64];
        const int n = row.convert(dest, sizeof dest, row.text.c_str());
        EXPECT_TRUE(n == int(std::strlen(dest)) && dest == Command(row.from, row.to, row.text));
    }
    char dest[8];
    // Output taken as far as it got: before a character GB2312 lacks, before a bad byte.
    EXPECT_TRUE(orv_utf8_to_ansi(dest, 8, "ab\xF0\x9F\x98\x80z") == 2 && std::string(dest) == "ab");
    EXPECT_TRUE(orv_utf8_to_unicode(dest, 8, "ab\xFFz") == 2 && std::string(dest) == "ab");
    // Wide text in the platform's encoding.
    EXPECT_TRUE(orv_unicode_to_utf8(dest, 8, L"\u4F60a") == 4 && std::string(dest) ==
                                                                     "\xE4\xBD\xA0"
                                                                     "a");
    EXPECT_TRUE(orv_unicode_to_ansi(dest, 8, L"\u4F60a") == 3 && std::string(dest) ==
                                                                     "\xC4\xE3"
                                                                     "a");
}

TEST(Charset, GuardsAndLimits) {
    orv_test::Sentinel<8> dest;
    const Convert all[] = {orv_ansi_to_unicode, orv_ansi_to_utf8, orv_utf8_to_ansi,
                           orv_utf8_to_unicode};
    for (Convert convert : all)
        EXPECT_EQ(convert(nullptr, 8, "a") + convert(dest, 8, nullptr) + convert(dest, 0, "a") +
                      convert(dest, 4, "abcd") + convert(dest, 8, ""),
                  0);
    EXPECT_EQ(orv_unicode_to_ansi(dest, 4, L"abcd") + orv_unicode_to_utf8(nullptr, 8, L"a") +
                  use_iconv("NO-SUCH-SET", "UTF-8", dest, 8, "a", 1) +
                  orv_utf8_to_ansi(dest, 3, "\xE3\x80\x80"),
              0);
    // \xA1\xA1 becomes 3 bytes, refused at size 3 (3-byte UTF-8 above, though it makes 2).
    EXPECT_EQ(orv_ansi_to_utf8(dest, 3, "\xA1\xA1"), 0);
    EXPECT_TRUE(dest.untouched());
    EXPECT_EQ(orv_ansi_to_utf8(dest, 5, "abcd"), 4);
    // One conversion's output stops at the 1024-byte scratch area.
    const std::string long_text(2000, 'x');
    std::vector<char> big(4096);
    EXPECT_EQ(orv_ansi_to_utf8(big.data(), static_cast<int>(big.size()), long_text.c_str()), 1024);
    EXPECT_EQ(std::string(big.data()), long_text.substr(0, 1024));
}

}  // namespace
