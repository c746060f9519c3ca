// The console printers: their exact bytes on standard output, taken from a forked child.
#include "orvsys/orv_trace.h"

#include <regex>
#include <string>
#include <vector>

#include "support/orv_test.h"

namespace {

template <class Body>
std::string Printed(Body body) {
    const auto child = orv_test::run_in_child([&] { body(), std::fflush(stdout); });
    EXPECT_TRUE(child.ok()) << child;
    return child.output;
}

// The hex text of the bytes from..to-1 of the pattern byte i = i * 7.
std::string Hex(int from, int to) {
    std::string text;
    for (int i = from; i < to; ++i)
        text += std::string(i > from ? " " : "") + "0123456789ABCDEF"[(i * 7 >> 4) & 15] +
                "0123456789ABCDEF"[i * 7 & 15];
    return text;
}

// A text of 511 characters prints, one of 512 does not (nor an empty one or a null format).
TEST(Trace, TimeStampedAndHexLines) {
    const std::string a511(511, 'a');
    const std::string out = Printed([&] {
        orv_tprintf("x=%d", 5), orv_tprintf("%s", a511.c_str()), orv_tprintf("%sa", a511.c_str());
        orv_tprintf("%s", ""), orv_tprintf(static_cast<const char *>(nullptr));
    });
    const time_t now = std::time(nullptr);  // local time, to the second
    struct tm tm {};
    char day[16];
    std::strftime(day, sizeof day, "%Y-%m-%d", localtime_r(&now, &tm));
    const std::regex lines("\\[" + std::string(day) +
                           R"( \d\d:\d\d:\d\d\] x=5\n\[[^\]]{19}\] a{511}\n)");
    EXPECT_TRUE(std::regex_match(out, lines)) << out.substr(0, 80);
    std::vector<uint8_t> data(1100);
    for (size_t i = 0; i < data.size(); ++i) data[i] = static_cast<uint8_t>(i * 7);
    const std::string label(70, 'L'), cut = label.substr(0, 60);  // 60 + "[n]" fill 63
    // clang-format off
    struct Row { int32_t length; uint8_t tx; const char *label; std::string want; };
    const Row rows[] = {{2, 0, nullptr, "Rx <<< : 00 07\n"}, {-512, 0, "n", ""},
        {2, 1, "uart", "uart : Tx >>> : 00 07\n"}, {0, 0, nullptr, "Rx <<< : \n"},
        {-511, 1, "n", "n : Tx >>> : \n"},
        {1024, 1, "c", "c[1] : Tx >>> : " + Hex(0, 512) + "\nc[2] : Tx >>> : " + Hex(512, 1024) +
                       "\nc[3] : Tx >>> : \n"},
        {512, 0, nullptr, "[1] : Rx <<< : " + Hex(0, 512) + "\n[2] : Rx <<< : \n"},
        {1000, 0, label.c_str(), cut + "[1] : Rx <<< : " + Hex(0, 512) + "\n" + cut +
                                "[2] : Rx <<< : " + Hex(512, 1000) + "\n"},
        {3, 0, label.c_str(), label + " : Rx <<< : 00 07 0E\n"}};
    // clang-format on
    for (const Row &row : rows)
        EXPECT_EQ(Printed([&] { orv_bprintf(data.data(), row.length, row.tx, row.label); }),
                  row.want)
            << row.length;
}

}  // namespace
