// MD5: the test suite of RFC 1321, split updates across block boundaries, the padding at 55
// and 56 bytes against md5sum, the wiped context and the text forms.
#include "orvsys/orv_md5.h"

#include <string>

#include "support/orv_test.h"

namespace {

std::string Digest(const std::string &input, size_t split = 0) {
    orv_md5_ctx_t ctx;
    uint8_t digest[16];
    MD5Init(&ctx);
    const auto *bytes = reinterpret_cast<const uint8_t *>(input.data());
    MD5Update(&ctx, bytes, static_cast<uint32_t>(split));
    MD5Update(&ctx, bytes + split, static_cast<uint32_t>(input.size() - split));
    MD5Final(digest, &ctx);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(&ctx), sizeof ctx),
              std::string(sizeof ctx, '\0'));
    char text[33];
    for (int k = 0; k < 16; ++k) std::snprintf(text + 2 * k, 3, "%02X", digest[k]);
    return text;
}

TEST(Md5, DigestsOfRfc1321AndAnySplit) {
    // clang-format off
    const std::pair<std::string, const char *> suite[] = {{"", "D41D8CD98F00B204E9800998ECF8427E"},
        {"a", "0CC175B9C0F1B6A831C399E269772661"}, {"abc", "900150983CD24FB0D6963F7D28E17F72"},
        {"message digest", "F96B697D7CB7938D525A2F31AAF161D0"},
        {"abcdefghijklmnopqrstuvwxyz", "C3FCD3D76192E4007DFB496CCA67E13B"},
        {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789",
         "D174AB98D277D9F5A5611C2C9F419D9F"},
        {"1234567890123456789012345678901234567890123456789012345678901234567890"
         "1234567890", "57EDF4A22BE3C955AC49DA2E2107B67A"}};
    // clang-format on
    for (const auto &[input, want] : suite) EXPECT_EQ(Digest(input), want) << input;
    // Splits at and across block boundaries; 55 bytes pad within one block, 56 take two.
    std::string long_input;
    for (int i = 0; i < 200; ++i) long_input += static_cast<char>(i * 13);
    orv_test::ScratchDir dir;
    const auto md5sum = [&dir](const std::string &input) {
        return orv_test::write_file(dir / "in", input), orv_test::md5sum(dir / "in");
    };
    const std::string whole = Digest(long_input);
    for (size_t split : {1, 55, 56, 63, 64, 65, 127, 128, 199})
        EXPECT_EQ(Digest(long_input, split), whole) << split;
    for (size_t size : {55, 56, 63, 64, 119, 120, 200}) {
        const std::string input = long_input.substr(0, size);
        EXPECT_EQ(Digest(input), md5sum(input)) << size;
    }
}

TEST(Md5, TextForms) {
    char text[40];
    EXPECT_TRUE(MD5FromStr("abc", text) == 32 &&
                std::string(text) == "900150983CD24FB0D6963F7D28E17F72");
    EXPECT_TRUE(MD5FromStr16("abc", text) == 16 && std::string(text) == "91C8EEFF4042C90D");
    const auto *abc = reinterpret_cast<const uint8_t *>("a\0bc");
    EXPECT_TRUE(MD5FromBuf16(abc, 1, text) == 16 && std::string(text) == "CDCC311EF27B1E47");
    EXPECT_TRUE(MD5FromBuf(abc, 1, text) == 32 &&
                std::string(text) == "0CC175B9C0F1B6A831C399E269772661");
    char str_text[40];  // the string stops at its zero; the block hashes it
    EXPECT_TRUE(MD5FromStr("a\0bc", str_text) == 32 && std::string(str_text) == text);
    EXPECT_TRUE(MD5FromBuf(abc, 4, text) == 32 && std::string(text) != str_text);
    std::memset(text, 'z', sizeof text);
    EXPECT_EQ(MD5FromStr(nullptr, text) + MD5FromStr("", text) + MD5FromStr16("", text) +
                  MD5FromBuf(nullptr, 1, text) + MD5FromBuf(abc, 0, text) +
                  MD5FromBuf16(abc, -1, text),
              0);
    EXPECT_EQ(std::string(text, sizeof text), std::string(sizeof text, 'z'));
}

}  // namespace
