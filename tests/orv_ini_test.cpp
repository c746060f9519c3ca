// INI reads and rewrites through the public calls. Reads land in sentinel buffers, to show what
// a cut value wrote past its bound; rewrites are checked byte for byte and leave no "~" file.
#include "orvsys/orv_ini.h"

#include <fcntl.h>
#include <sys/resource.h>

#include <atomic>
#include <thread>

#include "support/orv_test.h"

namespace {

using namespace orv_test;
using ::testing::PrintToString;

constexpr const char *D = "<default>";

class Ini : public ::testing::Test {
  protected:
    ScratchDir dir;
    const std::string file = dir / "t.ini", temp = dir / "t.in~";

    // The text read; its length must be the result, and nothing written past the size.
    std::string read(const char *section, const char *key, const char *def, int32_t size,
                     const char *filename) {
        Sentinel<520> buf;
        const int32_t n = orv_ini_get_string(section, key, def, buf, size, filename);
        EXPECT_TRUE(n == static_cast<int32_t>(std::strlen(buf.bytes)) &&
                    buf.untouched(static_cast<size_t>(size)))
            << "result " << n << " size " << size;
        return buf.bytes;
    }
    std::string get(const char *s, const char *k) { return read(s, k, D, 512, file.c_str()); }
    int32_t put(const char *section, const char *key, const char *value) {
        const int32_t result = orv_ini_put_string(section, key, value, file.c_str());
        EXPECT_FALSE(exists(temp)) << "temporary file left behind";
        return result;
    }
};

TEST_F(Ini, ValuesKeysAndSections) {
    // The search ends at the first "[" line; blanks inside the brackets count. The last rows: 511
    // bytes of 'a=...', then 89 looked at as a line of their own.
    const std::string x509(509, 'x'), y86(86, 'y'),
        piece = "[s]\na=" + x509 + "b=" + y86 + "\nc=1\n";
    const char *seven =
        "top=1\n[ Net ]\n; key=9\nKey = \"a;b\" ; note\nport: 0x1F\n[NET]\nport=7\n";
    // clang-format off
    struct Row { const char *text, *section, *key, *expected; } const rows[] = {
        {seven, nullptr, "top", "1"}, {seven, "", "top", "1"}, {seven, nullptr, "port", D},
        {seven, " net ", "KEY", "a;b"}, {seven, " NET ", "port", "0x1F"},
        {seven, "net", "PORT", "7"}, {seven, "Net", "key", D}, {seven, " Net", "port", D},
        {seven, "NET", "top", D}, {"[s]\nv=#ff0000\n", "s", "v", ""},
        {"[s]\nv=\"#ff0000\"\n", "s", "v", "#ff0000"}, {"[s]\nv=a b  ; c\n", "s", "v", "a b"},
        {"[s]\nv=\"\"\n", "s", "v", ""}, {"[s]\nv=\n", "s", "v", ""},
        {"[s]\nv=\"a\\\";b\"\n", "s", "v", "a\";b"}, {"[s]\nv=\"a\"\";b\"\n", "s", "v", "a\";b"},
        {"[s]\nv=\"abc;d #e\n", "s", "v", "\"abc;d #e"},
        {"[s]\nv=\"a\" \"b\"\n", "s", "v", "a\" \"b"},
        {"[s]\nv=a\"b;c\"d\n", "s", "v", "a\"b;c\"d"}, {"[s]\nv=\"\n", "s", "v", "\""},
        {"[s]\nv=\"a\\b\"\n", "s", "v", "a\\b"}, {"[s]\nv=x\\\"y;z\n", "s", "v", "x\\\"y"},
        {"[s]\nv=\x01x\x01\n", "s", "v", "x"}, {"[s]\nv=\xA1x\xA1\n", "s", "v", "\xA1x\xA1"},
        {"[s]\nv=end", "s", "v", "end"}, {"[s]\na:b=c\n", "s", "a:b", "c"},
        {"[s]\na:b=c\n", "s", "a", D}, {"[s]\nk : v : w\n", "s", "k", "v : w"},
        {"[s]\n  k \t=\t v \t\r\n", "s", "k", "v"}, {"[s]\nkk=1\n", "s", "k", D},
        {"[s]\nk=1\n", "s", "kk", D}, {"[s]\nnovalue\n", "s", "novalue", D},
        {"[s]\n  ;v=1\n", "s", "v", D}, {"[s]\n#v=1\n", "s", "v", D}, {"[s]\n;v=1\n", "s", ";v", D},
        {"[s]\n\xC1=1\n", "s", "\xE1", D}, {"[s]\nv=1\nv=2\n", "s", "v", "1"},
        {"[s]\na=1\n[s]\nb=2\n", "s", "b", D}, {"[s]\na=1\n[broken\nb=2\n", "s", "b", D},
        {"[broken\n[t]\nc=3\n", "t", "c", "3"}, {"[broken\nb=2\n", "broken", "b", D},
        {"a=1\n[broken\nb=2\n", nullptr, "b", D}, {"  [s] ; c\r\nv=1\n", "s", "v", "1"},
        {"[a]b]\nv=1\n", "a", "v", "1"}, {"[]\nv=1\n", "", "v", D},
        {piece.c_str(), "s", "a", x509.c_str()}, {piece.c_str(), "s", "b", y86.c_str()},
        {piece.c_str(), "s", "c", "1"}};
    // clang-format on
    for (const Row &row : rows) {
        ASSERT_TRUE(write_file(file, row.text));
        EXPECT_EQ(get(row.section, row.key), row.expected) << PrintToString(row.text);
    }
}

// get_string refuses bad arguments and cuts at size; the typed reads convert the text.
TEST_F(Ini, GetStringCutsAtSizeAndTypedReadsConvert) {
    ASSERT_TRUE(write_file(file, "[s]\nv=abcdef\ne=\n"));
    Sentinel<16> buf;
    EXPECT_EQ(orv_ini_get_string("s", "v", "d", nullptr, 16, file.c_str()), 0);
    EXPECT_EQ(orv_ini_get_string("s", nullptr, "d", buf, 16, file.c_str()), 0);
    for (int32_t size : {0, -1, INT32_MIN})
        EXPECT_EQ(orv_ini_get_string("s", "v", "d", buf, size, file.c_str()), 0);
    EXPECT_TRUE(buf.untouched());
    const std::string missing = dir / "missing.ini";
    // clang-format off
    struct Row { const char *key, *def; int32_t size; const char *filename, *expected; };
    const Row rows[] = {
        {"v", "dflt", 16, nullptr, "dflt"}, {"v", "dflt", 16, missing.c_str(), "dflt"},
        {"v", "dflt", 16, dir.path().c_str(), "dflt"}, {"x", nullptr, 16, file.c_str(), ""},
        {"e", "dflt", 16, file.c_str(), ""}, {"v", "dflt", 1, file.c_str(), ""},
        {"x", "dflt", 1, file.c_str(), ""}, {"v", "dflt", 4, file.c_str(), "abc"},
        {"x", "dflt", 3, file.c_str(), "df"}};
    // clang-format on
    for (const Row &row : rows)
        EXPECT_EQ(read("s", row.key, row.def, row.size, row.filename), row.expected) << &row - rows;
    // clang-format off
    struct Typed { const char *value; int32_t as_long; uint8_t as_bool; float as_float; };
    const Typed typed[] = {
        {"0x10", 16, 0, 16.0f}, {"0X1f", 31, 0, 31.0f}, {"1x", 1, 1, 1.0f}, {"10", 10, 1, 10.0f},
        {"-5", -5, 7, -5.0f}, {"abc", 0, 7, 0.0f}, {"-0x10", 0, 7, -16.0f}, {"1.5", 1, 1, 1.5f},
        {"\"42\"", 42, 7, 42.0f}, {"0xFFFFFFFF", INT32_MAX, 0, 4294967295.0f},
        {"99999999999", INT32_MAX, 7, 1e11f}, {"-99999999999", INT32_MIN, 7, -1e11f},
        {"-2147483648", INT32_MIN, 7, -2147483648.0f}, {"yes", 0, 1, 0.0f}, {"Tuesday", 0, 1, 0.0f},
        {"no", 0, 0, 0.0f}, {"false", 0, 0, 0.0f}, {"", -77, 7, -3.5f}, {nullptr, -77, 7, -3.5f}};
    // clang-format on
    for (const Typed &row : typed) {
        SCOPED_TRACE(PrintToString(row.value));
        ASSERT_TRUE(
            write_file(file, row.value ? std::string("[s]\nv=") + row.value + "\n" : "[s]\n"));
        EXPECT_EQ(orv_ini_get_long("s", "v", -77, file.c_str()), row.as_long);
        EXPECT_EQ(orv_ini_get_bool("s", "v", 7, file.c_str()), row.as_bool);
        EXPECT_FLOAT_EQ(orv_ini_get_float("s", "v", -3.5f, file.c_str()), row.as_float);
    }
}

TEST_F(Ini, RewritesChangeOnlyWhatTheyMust) {
    using namespace std::string_literals;
    const std::string none = "<no file>", s600(600, 's'), k600(600, 'k'), v600(600, 'v'),
                      q600 = "a;" + v600;
    const std::string full = "[S]\nb=1\na=" + std::string(505, 'x') + "\n";  // 4 + 508 bytes
    std::string big = "; settings\r\n[S]\n";
    for (int i = 0; i < 100; ++i)
        big += "key" + std::to_string(i) + " = value " + std::to_string(i) + " ; c\n";
    big += "[L]\nc=" + std::string(1300, 'x') + "\na=1\n[T]\nd=" + std::string(700, 'y') + "\n";
    std::string big2 = big;  // far more than one 511-byte block of kept lines on each side
    big2.replace(big2.find("key99 = value 99 ; c\n"), 21, "key99=new\n");
    // A replaced line ends in a lone line feed; keys are added before the next header, behind
    // blanks and comments; values are quoted to read back (back); lines are cut to 510 bytes; a
    // zero byte, which fgets cannot carry, makes the rewrite refuse the file or carry every byte
    // over.
    // clang-format off
    struct Row { std::string before; const char *section, *key, *value; std::string after;
        const char *back = nullptr; };
    const Row rows[] = {
        {"; h\n[S]\na=1\nKey : old ; note\nb = 2\n[T]\nKey=x\n", "S", "KEY", "new",
         "; h\n[S]\na=1\nKEY=new\nb = 2\n[T]\nKey=x\n"},
        {"[S]\na=1\n[S]\na=2\n", "S", "a", "9", "[S]\na=9\n[S]\na=2\n"},
        {"[S] ; c\na=1\n", "S", "a", "2", "[S] ; c\na=2\n"},
        {"[S]\r\na=1\r\nb=2\r\n", "S", "a", "9", "[S]\r\na=9\nb=2\r\n"},
        {"[S]\na=1\n\n; end\n[T]\nb=2\n", "S", "c", "3", "[S]\na=1\n\n; end\nc=3\n[T]\nb=2\n"},
        {"[S]\na=1\n", "S", "c", "3", "[S]\na=1\nc=3\n"},
        {"[S]\na=1", "S", "c", "3", "[S]\na=1\nc=3\n"}, {"[S]\n", "S", "k", "v", "[S]\n\nk=v\n"},
        {"[S]", "S", "k", "v", "[S]\nk=v\n"}, {"[S]\nab=1\n", "S", "a", "2", "[S]\nab=1\na=2\n"},
        {"[S]\na=1\n[broken\nb=2\n", "S", "b", "3", "[S]\na=1\nb=3\n[broken\nb=2\n"},
        {"[S]\na=1\n", "T", "k", "v", "[S]\na=1\n[T]\nk=v\n"},
        {"[S]\na=1", "T", "k", "v", "[S]\na=1\n[T]\nk=v\n"}, {"", "T", "k", "v", "\n[T]\nk=v\n"},
        {"[S\na=1\n", "S", "a", "2", "[S\na=1\n[S]\na=2\n"},
        {"[S]\na=1\nb=2\nc=3\n[T]\nb=4\n", "S", "b", nullptr, "[S]\na=1\nc=3\n[T]\nb=4\n"},
        {"[S]\na=1\n", "S", "z", nullptr, "[S]\na=1\n"}, {"a=1", nullptr, "b", "2", "a=1\nb=2\n"},
        {"[S]\na=1\n", "T", "a", nullptr, "[S]\na=1\n"}, {full, "S", "z", "1", full + "z=1\n"},
        {"x=0\n[S]\na=1\n; c\n\n[T]\nb=2\n", "s", nullptr, "ignored", "x=0\n[T]\nb=2\n"},
        {"[T]\nb=2\n[S]\na=1\n# c\n\n", "S", nullptr, nullptr, "[T]\nb=2\n"},
        {"[S]\n[T]\nb=2\n", "S", nullptr, nullptr, "[T]\nb=2\n"},
        {"a=1\n[S]\nb=2\n", nullptr, "c", "3", "a=1\nc=3\n[S]\nb=2\n"},
        {"a=1\n[S]\na=2\n", "", "a", "9", "a=9\n[S]\na=2\n"},
        {"[S]\nb=2\n", nullptr, "c", "3", "c=3\n[S]\nb=2\n"},
        {"a=1\nc=2\n[S]\na=5\n", nullptr, "a", nullptr, "c=2\n[S]\na=5\n"},
        {"; c\na=1\n\n[S]\nb=2\n", nullptr, nullptr, nullptr, "[S]\nb=2\n"},
        {"[S]\nb=2\n", nullptr, nullptr, nullptr, "[S]\nb=2\n"},
        {"[S]\n;k=1\n#k=2\n", "S", "k", "3", "[S]\n;k=1\n#k=2\nk=3\n"},
        {"[S]\n;k=1\n", "S", ";k", "5", "[S]\n;k=5\n"}, {none, nullptr, "k", "v", "k=v\n"},
        {none, "S", "k", nullptr, "<no file>"}, {none, "S", "k", "a;b", "[S]\nk=\"a;b\"\n", "a;b"},
        {none, "S", "k", "say \"hi\"", "[S]\nk=\"say \\\"hi\\\"\"\n", "say \"hi\""},
        {none, "S", "k", "x\t", "[S]\nk=x\t\n", "x"}, {none, "S", "k", "", "[S]\nk=\n", ""},
        {none, "S", "k", "a\\b", "[S]\nk=a\\b\n", "a\\b"},
        {none, "S", "k", " v", "[S]\nk= v\n", "v"}, {none, "S", "k", "x ", "[S]\nk=\"x \"\n", "x "},
        {none, s600.c_str(), "k", "v", "[" + std::string(507, 's') + "]\nk=v\n"},
        {none, nullptr, k600.c_str(), "v", std::string(508, 'k') + "=\n"},
        {none, nullptr, "k", v600.c_str(), "k=" + std::string(507, 'v') + "\n"},
        {none, nullptr, "k", q600.c_str(), "k=\"a;" + std::string(503, 'v') + "\"\n"},
        {big, "S", "key99", "new", big2}, {big2, "T", "e", "5", big2 + "e=5\n"},
        {"[S]\nk=a\0b\nz=1\n[T]\nt=1\n"s, "T", "k", "2", "[S]\nk=a\0b\nz=1\n[T]\nt=1\nk=2\n"s},
        {"[S]\nk=1\n[T]\nt=a\0b"s, "S", "k", "2", "[S]\nk=2\n[T]\nt=a\0b"s}};
    // clang-format on
    for (const Row &row : rows) {
        SCOPED_TRACE(PrintToString(std::tuple(row.before, row.section, row.key, row.value)));
        std::remove(file.c_str());
        ASSERT_TRUE(row.before == none || write_file(file, row.before));
        const int32_t result = put(row.section, row.key, row.value);
        const bool refused = result == 0 && row.before.find('\0') != std::string::npos;
        EXPECT_TRUE(result == 1 || refused);
        EXPECT_EQ(read_file(file), refused ? row.before : row.after);
        if (row.back == nullptr) continue;
        EXPECT_EQ(get(row.section, row.key), row.back);
    }
}

// Setting the same value leaves the file alone; the number writers' text.
TEST_F(Ini, SameValueLeavesTheFileAloneAndNumbersAsText) {
    ASSERT_TRUE(write_file(file, "[S]\nk=v\nq=\"a;b\"\nn=5\n"));
    const struct timespec past[2] = {{1000000000, 0}, {1000000000, 0}};
    auto mtime = [&] {
        struct stat st;
        return stat(file.c_str(), &st) == 0 ? st.st_mtim.tv_sec : -1;
    };
    ASSERT_EQ(utimensat(AT_FDCWD, file.c_str(), past, 0), 0);
    EXPECT_TRUE(put("s", "K", "v") == 1 && put("S", "q", "a;b") == 1 &&
                orv_ini_put_long("S", "n", 5, file.c_str()) == 1);
    EXPECT_EQ(mtime(), past[1].tv_sec);
    // Case counts in the value, and a leading blank never reads back: both rewrite each time.
    for (const char *value : {"V", " V", " V"}) {
        ASSERT_EQ(utimensat(AT_FDCWD, file.c_str(), past, 0), 0);
        EXPECT_EQ(put("S", "k", value), 1) << PrintToString(value);
        EXPECT_NE(mtime(), past[1].tv_sec) << PrintToString(value);
        EXPECT_EQ(read_file(file), "[S]\nk=" + std::string(value) + "\nq=\"a;b\"\nn=5\n");
    }
    std::remove(file.c_str());
    const char *f = file.c_str();
    ASSERT_EQ(4, orv_ini_put_long("S", "m", INT32_MIN, f) + orv_ini_put_long("S", "z", 0, f) +
                     orv_ini_put_float("S", "t", 2.0f, f) + orv_ini_put_float("S", "h", -1.5f, f));
    EXPECT_EQ(read_file(file), "[S]\nm=-2147483648\nz=0\nt=2.000000\nh=-1.500000\n");
}

TEST_F(Ini, RefusedOrFailedRewritesKeepTheOldFile) {
    const std::string deep = std::string(150, 'd') + "/" + std::string(150, 'd'),
                      head = dir / deep + "/";
    ASSERT_TRUE(dir.mkdirs(deep));
    auto path_of = [&](size_t length) { return head + std::string(length - head.size(), 'f'); };
    // No name, a missing directory, a name ending in "~", a 512-byte path, and a directory in the
    // temporary file's place.
    EXPECT_EQ(orv_ini_put_string("S", "k", "v", nullptr) + orv_ini_put_string("S", "k", "v", "") +
                  orv_ini_put_string("S", "k", "v", (dir / "none/x.ini").c_str()),
              0);
    ASSERT_TRUE(dir.mkdirs("d.in~"));
    for (const std::string &name : {dir / "a.ini~", path_of(512), dir / "d.ini"}) {
        ASSERT_TRUE(write_file(name, "[S]\nk=old\n"));
        EXPECT_EQ(orv_ini_put_string("S", "k", "v", name.c_str()), 0) << name.size();
        EXPECT_EQ(read_file(name), "[S]\nk=old\n") << name.size();
    }
    const std::string longest = path_of(511);
    EXPECT_TRUE(orv_ini_put_string("S", "k", "v", longest.c_str()) == 1 &&
                orv_ini_put_string("S", "k", "w", longest.c_str()) == 1);
    EXPECT_EQ(read_file(longest), "[S]\nk=w\n");
    EXPECT_FALSE(exists(longest.substr(0, 510) + "~"));
    // The file size limit makes a write fail: a small file at the close of the temporary
    // file, a large one while lines are copied before or behind the change, a new file at its
    // close.
    // clang-format off
    struct Row { size_t old_size; rlim_t limit; const char *key; } const rows[] = {
        {3000, 1024, "added"}, {20000, 8192, "added"}, {20000, 8192, "line4"}, {0, 1, "k"}};
    // clang-format on
    for (const Row &row : rows) {
        SCOPED_TRACE("old size " + std::to_string(row.old_size) + " key " + row.key);
        std::string old = row.old_size > 0 ? "[S]\n" : "<no file>";
        while (old.size() < row.old_size)
            old += "line" + std::to_string(old.size()) + " = some text to copy\n";
        std::remove(file.c_str());
        ASSERT_TRUE(row.old_size == 0 || write_file(file, old));
        const auto child = orv_test::run_in_child([&] {
            signal(SIGXFSZ, SIG_IGN);
            const struct rlimit limit = {row.limit, row.limit};
            ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
            EXPECT_EQ(orv_ini_put_string("S", row.key, "value", file.c_str()), 0);
        });
        EXPECT_TRUE(child.ok()) << child;
        EXPECT_EQ(read_file(file), old);
        EXPECT_FALSE(exists(temp));
    }
}

TEST_F(Ini, ReadRacingRewriteSeesOldNewOrDefault) {
    std::string filler = "[A]\n";  // a file long enough for reads to meet the rewrite
    for (int i = 0; i < 40; ++i) filler += "pad" + std::to_string(i) + "=some padding text\n";
    ASSERT_TRUE(write_file(file, filler + "[S]\nk=two\n[Z]\nz=1\n"));
    std::atomic<int> reads{0}, bad{0}, done{0};
    std::thread reader([&] {
        do {
            char buf[64];
            orv_ini_get_string("S", "k", "dflt", buf, sizeof buf, file.c_str());
            bad += std::string(buf) != "one" && std::string(buf) != "two" &&
                   std::string(buf) != "dflt";
            ++reads;
        } while (!done);
    });
    EXPECT_TRUE(orv_test::wait_for([&] { return reads > 0; }, 5000));
    int failed = 0;
    for (int i = 0; i < 300; ++i) failed += put("S", "k", i % 2 == 0 ? "one" : "two") != 1;
    done = 1;
    reader.join();
    EXPECT_EQ(std::pair(failed, bad.load()), std::pair(0, 0)) << "failed rewrites, bad reads";
    EXPECT_EQ(read_file(file), filler + "[S]\nk=two\n[Z]\nz=1\n");
}

}  // namespace
