// INI files: the text helpers, the reads and the rewrite.
//
// Every file test works in a fresh temporary directory. Rewrites are checked
// on the whole resulting file, byte for byte, and after each one the
// directory must hold no "~" file. Outputs are pre-filled with a sentinel so
// that a refusal can be seen to leave the caller's buffer alone.
#include "orvsys/orv_ini.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "internal/ini.h"
#include "support/orv_test_time.h"

namespace {

constexpr char kSentinel = '@';
constexpr const char *kDefault = "<default>";

// Printable form of a text for failure messages; null shows as null.
std::string Show(const char *text, size_t length = std::string::npos) {
    if (text == nullptr) return "null";
    if (length == std::string::npos) length = std::strlen(text);
    std::string out = "'";
    for (size_t i = 0; i < length; ++i) {
        unsigned char c = static_cast<unsigned char>(text[i]);
        if (c == '\n') out += "\\n";
        else if (c == '\r') out += "\\r";
        else if (c == '\t') out += "\\t";
        else if (c < 32 || c >= 127) {
            char hex[8];
            std::snprintf(hex, sizeof hex, "\\x%02X", c);
            out += hex;
        } else out += static_cast<char>(c);
    }
    return out + "'";
}
std::string Show(const std::string &text) { return Show(text.data(), text.size()); }

// Everything written to a memory stream, read after the stream is closed.
struct MemStream {
    char *text = nullptr;
    size_t size = 0;
    FILE *fp = open_memstream(&text, &size);
    ~MemStream() { std::free(text); }
    std::string close() {
        std::fclose(fp);
        fp = nullptr;
        return std::string(text, size);
    }
};

class Ini : public ::testing::Test {
protected:
    void SetUp() override {
        const char *base = std::getenv("TMPDIR");
        std::string pattern = std::string(base != nullptr && *base != '\0' ? base : "/tmp") +
                              "/orv_ini_XXXXXX";
        std::vector<char> name(pattern.begin(), pattern.end());
        name.push_back('\0');
        ASSERT_NE(mkdtemp(name.data()), nullptr) << pattern;
        dir_ = name.data();
        file_ = dir_ + "/test.ini";
    }
    void TearDown() override {
        std::error_code ignored;
        std::filesystem::remove_all(dir_, ignored);
    }

    static void WriteFile(const std::string &path, const std::string &bytes) {
        FILE *fp = std::fopen(path.c_str(), "wb");
        ASSERT_NE(fp, nullptr) << path;
        ASSERT_EQ(std::fwrite(bytes.data(), 1, bytes.size(), fp), bytes.size());
        ASSERT_EQ(std::fclose(fp), 0);
    }
    static std::string ReadFile(const std::string &path) {
        std::string bytes;
        FILE *fp = std::fopen(path.c_str(), "rb");
        if (fp == nullptr) return "<no file>";
        char block[4096];
        size_t n;
        while ((n = std::fread(block, 1, sizeof block, fp)) > 0) bytes.append(block, n);
        std::fclose(fp);
        return bytes;
    }
    static bool Exists(const std::string &path) {
        struct stat st;
        return stat(path.c_str(), &st) == 0;
    }
    // Names below the test directory that end in "~".
    std::string TildeFiles() const {
        std::string found;
        for (const auto &entry : std::filesystem::recursive_directory_iterator(dir_)) {
            std::string name = entry.path().filename().string();
            if (!name.empty() && name.back() == '~') found += name.substr(0, 40) + " ";
        }
        return found;
    }
    // A path of exactly `length` bytes inside the test directory, with the
    // directories before its last component made (components stay short of
    // the file system's name limit).
    std::string LongPath(size_t length) const {
        std::string path = dir_;
        while (length > path.size() + 1 + 200) {
            path += "/" + std::string(150, 'd');
            mkdir(path.c_str(), 0700);
        }
        return path + "/" + std::string(length - path.size() - 1, 'f');
    }

    int32_t Put(const char *section, const char *key, const char *value) {
        int32_t result = orv_ini_put_string(section, key, value, file_.c_str());
        EXPECT_EQ(TildeFiles(), "") << "temporary file left behind";
        return result;
    }
    std::string Get(const char *section, const char *key, const char *def = kDefault) {
        char buffer[kIniLineSize + 64];
        std::memset(buffer, kSentinel, sizeof buffer);
        int32_t length = orv_ini_get_string(section, key, def, buffer, kIniLineSize + 64,
                                            file_.c_str());
        EXPECT_EQ(length, static_cast<int32_t>(std::strlen(buffer)));
        return buffer;
    }

    std::string dir_;
    std::string file_;
};

// ---------------------------------------------------------------------------
// Text helpers

TEST_F(Ini, BlankScannersTreatBytes1To32AsBlanks) {
    EXPECT_STREQ(skipleading(" \t\r\n\x01\x1Fx y"), "x y");
    EXPECT_STREQ(skipleading("\xA1\xA1x"), "\xA1\xA1x");  // 128 and up are never blanks
    const char all_blank[] = "  \t";
    EXPECT_EQ(skipleading(all_blank), all_blank + 3);

    const char text[] = "ab \t\r";
    EXPECT_EQ(skiptrailing(text + 5, text), text + 2);
    const char blanks[] = "   ";
    EXPECT_EQ(skiptrailing(blanks + 3, blanks), blanks);  // never before base
    EXPECT_EQ(skiptrailing(blanks + 3, blanks + 1), blanks + 1);

    struct Row {
        const char *input;
        const char *expected;
    };
    const Row rows[] = {{"ab \t\r\n", "ab"}, {"a b", "a b"}, {"  ", ""}, {"", ""},
                        {"x\x01", "x"},      {"\xA1\xA1 ", "\xA1\xA1"}};
    for (const Row &row : rows) {
        char buffer[16];
        std::strcpy(buffer, row.input);
        EXPECT_EQ(striptrailing(buffer), buffer);
        EXPECT_STREQ(buffer, row.expected) << "input " << Show(row.input);
    }
}

TEST_F(Ini, SaveStrncpyCopiesInThreeModes) {
    struct Row {
        const char *source;
        size_t maxlen;
        int mode;
        const char *expected;
    };
    const Row rows[] = {
        {"abcdef", 4, kQuoteNone, "abc"},
        {"abc", 4, kQuoteNone, "abc"},
        {"abc", 1, kQuoteNone, ""},
        {"a\"b", 8, kQuoteNone, "a\"b"},
        // Quote mode: no room for two marks at maxlen 1 and 2, so a plain copy.
        {"abc", 1, kQuoteEnquote, ""},
        {"abc", 2, kQuoteEnquote, "a"},
        {"abc", 3, kQuoteEnquote, "\"\""},
        {"abc", 10, kQuoteEnquote, "\"abc\""},
        {"abcdefgh", 6, kQuoteEnquote, "\"abc\""},
        {"say \"hi\"", 32, kQuoteEnquote, "\"say \\\"hi\\\"\""},
        {"a\\b", 10, kQuoteEnquote, "\"a\\b\""},  // a backslash is not doubled
        // At the cut a double quote is dropped rather than split from its backslash.
        {"ab\"c", 6, kQuoteEnquote, "\"ab\""},
        {"ab\"c", 7, kQuoteEnquote, "\"ab\\\"\""},
        {"\"x", 4, kQuoteEnquote, "\"\""},
        {"", 8, kQuoteEnquote, "\"\""},
        // Dequote: \" and "" become one double quote.
        {"a\\\"b", 16, kQuoteDequote, "a\"b"},
        {"a\"\"b", 16, kQuoteDequote, "a\"b"},
        {"\"\"\"\"", 16, kQuoteDequote, "\"\""},
        {"a\\b\\", 16, kQuoteDequote, "a\\b\\"},
        {"a\" \"b", 16, kQuoteDequote, "a\" \"b"},
        {"a\"\"b", 3, kQuoteDequote, "a\""},
        {"abc", 1, kQuoteDequote, ""},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE("source " + Show(row.source) + " maxlen " + std::to_string(row.maxlen) +
                     " mode " + std::to_string(row.mode));
        char dest[32];
        std::memset(dest, kSentinel, sizeof dest);
        EXPECT_EQ(save_strncpy(dest, row.source, row.maxlen, row.mode), dest);
        EXPECT_STREQ(dest, row.expected);
        for (size_t i = row.maxlen; i < sizeof dest; ++i) {
            ASSERT_EQ(dest[i], kSentinel) << "byte " << i << " written beyond maxlen";
        }
    }
}

TEST_F(Ini, CleanstringCutsCommentsBlanksAndOuterQuotes) {
    struct Row {
        const char *input;
        const char *expected;
        int quotes;
    };
    const Row rows[] = {
        {"abc", "abc", 0},
        {"abc ; c", "abc", 0},
        {"a;b", "a", 0},
        {"a#b", "a", 0},
        {"#ff0000", "", 0},
        {"\"a;b\"", "a;b", 2},
        {"\"a;b\" ; note", "a;b", 2},
        {"\"abc\" \t\r\n", "abc", 2},
        {"\"\"", "", 2},
        {"\"", "\"", 0},  // a lone mark is not a pair
        {"\"x", "\"x", 0},
        {"\"x;y #z", "\"x;y #z", 0},
        {"a\"b;c\"d", "a\"b;c\"d", 0},
        {"\"a\\\"b\"", "a\\\"b", 2},
        {"\"a\"\"b\"", "a\"\"b", 2},
        {"\"a\\\";b\"", "a\\\";b", 2},
        {"\"a\"\";b\"", "a\"\";b", 2},
        {"x\\\"y;z", "x\\\"y", 0},  // \" outside quotes does not open them
        {"\"a\" \"b\"", "a\" \"b", 2},
        {"", "", 0},
    };
    for (const Row &row : rows) {
        char buffer[64];
        std::strcpy(buffer, row.input);
        int quotes = -1;
        const char *result = cleanstring(buffer, &quotes);
        EXPECT_STREQ(result, row.expected) << "input " << Show(row.input);
        EXPECT_EQ(quotes, row.quotes) << "input " << Show(row.input);
    }
}

TEST_F(Ini, TempnameAndEnquoteRules) {
    char dest[16];
    ini_tempname(dest, "a.ini", sizeof dest);
    EXPECT_STREQ(dest, "a.in~");
    ini_tempname(dest, "abcdef", 4);
    EXPECT_STREQ(dest, "ab~");
    ini_tempname(dest, "x", sizeof dest);
    EXPECT_STREQ(dest, "~");

    struct Row {
        const char *value;
        int expected;
    };
    const Row rows[] = {{"abc", 0},    {"", 0},         {"a;b", 1},   {"#", 1},
                        {"say \"hi\"", 1}, {"x ", 1},   {"x\t", 0},   {" x", 0},
                        {"a\\b", 0},   {"a b", 0},      {"a b ;", 1}, {" ", 1}};
    for (const Row &row : rows) {
        EXPECT_EQ(check_enquote(row.value), row.expected) << "value " << Show(row.value);
    }
}

TEST_F(Ini, LongToTextCoversTheWholeRange) {
    struct Row {
        int32_t value;
        const char *expected;
    };
    const Row rows[] = {{0, "0"},          {7, "7"},
                        {-7, "-7"},        {-10, "-10"},
                        {123456, "123456"}, {INT32_MAX, "2147483647"},
                        {INT32_MIN, "-2147483648"}};
    for (const Row &row : rows) {
        char buffer[32];
        std::memset(buffer, kSentinel, sizeof buffer);
        ini_long_to_text(row.value, buffer);
        EXPECT_STREQ(buffer, row.expected) << "value " << row.value;
    }
    const char *texts[][2] = {{"", ""}, {"a", "a"}, {"ab", "ba"}, {"abc", "cba"}, {"abcd", "dcba"}};
    for (const auto &text : texts) {
        char buffer[8];
        std::strcpy(buffer, text[0]);
        ini_reverse_text(buffer);
        EXPECT_STREQ(buffer, text[1]) << "text " << Show(text[0]);
    }
}

TEST_F(Ini, WrittenLinesNeverExceed510Bytes) {
    char buffer[kIniLineSize];
    const std::string long_name(600, 's');
    struct SectionRow {
        const char *section;
        std::string expected;
    };
    const SectionRow sections[] = {{"S", "[S]\n"},
                                   {nullptr, ""},
                                   {"", ""},
                                   {long_name.c_str(), "[" + std::string(507, 's') + "]\n"}};
    for (const SectionRow &row : sections) {
        MemStream out;
        writesection(buffer, row.section, out.fp);
        EXPECT_EQ(out.close(), row.expected) << "section " << Show(row.section).substr(0, 20);
    }

    const std::string long_key(600, 'k');
    const std::string long_value(600, 'v');
    const std::string long_quoted = "a;" + long_value;
    struct KeyRow {
        const char *key;
        const char *value;
        std::string expected;
    };
    const KeyRow keys[] = {
        {"k", "v", "k=v\n"},
        {"k", "", "k=\n"},
        {"k", "a;b", "k=\"a;b\"\n"},
        {"k", "say \"hi\"", "k=\"say \\\"hi\\\"\"\n"},
        {long_key.c_str(), "v", std::string(508, 'k') + "=\n"},
        {"k", long_value.c_str(), "k=" + std::string(507, 'v') + "\n"},
        {"k", long_quoted.c_str(), "k=\"a;" + std::string(503, 'v') + "\"\n"},
    };
    for (const KeyRow &row : keys) {
        MemStream out;
        writekey(buffer, row.key, row.value, out.fp);
        EXPECT_EQ(out.close(), row.expected)
            << "key " << Show(row.key).substr(0, 20) << " value " << Show(row.value).substr(0, 20);
    }
}

TEST_F(Ini, CacheAddStaysBelow512) {
    struct Row {
        int32_t pending;
        const char *text;
        int expected;
        int32_t after;
    };
    const Row rows[] = {{0, "abc", 1, 3}, {509, "ab", 1, 511}, {510, "ab", 0, 510},
                        {511, "a", 0, 511}, {0, "", 1, 0}};
    for (const Row &row : rows) {
        int32_t pending = row.pending;
        EXPECT_EQ(cache_add(row.text, &pending, kIniLineSize), row.expected)
            << "pending " << row.pending << " text " << Show(row.text);
        EXPECT_EQ(pending, row.after) << "pending " << row.pending << " text " << Show(row.text);
    }
}

// ---------------------------------------------------------------------------
// Rewrite pieces that work on files

TEST_F(Ini, CacheFlushRereadsPendingBytesFromTheMark) {
    WriteFile(file_, "one\ntwo\nthree");
    FILE *in = std::fopen(file_.c_str(), "rb");
    ASSERT_NE(in, nullptr);
    fpos_t mark;
    ASSERT_EQ(fgetpos(in, &mark), 0);
    char line[kIniLineSize];
    for (int i = 0; i < 3; ++i) ASSERT_NE(std::fgets(line, sizeof line, in), nullptr);

    // Two lines counted, the third read but not counted.
    MemStream out;
    char buffer[kIniLineSize];
    int32_t pending = 8;
    EXPECT_EQ(cache_flush(buffer, &pending, in, out.fp, &mark), 1);
    EXPECT_EQ(pending, 0);
    ASSERT_NE(std::fgets(line, sizeof line, in), nullptr);
    EXPECT_STREQ(line, "three");

    pending = 5;  // a text without a final line feed
    EXPECT_EQ(cache_flush(buffer, &pending, in, out.fp, &mark), 0);
    pending = 0;  // nothing pending writes nothing
    EXPECT_EQ(cache_flush(buffer, &pending, in, out.fp, &mark), 0);
    std::fclose(in);
    EXPECT_EQ(out.close(), "one\ntwo\nthree");
}

TEST_F(Ini, CacheFlushOnShrunkInputFailsWithoutBlocking) {
    std::string text;
    for (int i = 0; i < 10; ++i) text += "line" + std::to_string(i) + "=0123456789abc\n";
    for (off_t shrunk : {off_t(30), off_t(0)}) {
        SCOPED_TRACE("shrunk to " + std::to_string(shrunk));
        WriteFile(file_, text);
        // In a child, so that a flush that waits for bytes is caught by the alarm.
        pid_t pid = fork();
        ASSERT_NE(pid, -1);
        if (pid == 0) {
            alarm(static_cast<unsigned>(10 * orv_test::time_scale()));
            FILE *in = std::fopen(file_.c_str(), "rb");
            FILE *out = std::fopen("/dev/null", "wb");
            fpos_t mark;
            if (in == nullptr || out == nullptr || fgetpos(in, &mark) != 0) _exit(100);
            if (truncate(file_.c_str(), shrunk) != 0) _exit(101);
            char buffer[kIniLineSize];
            int32_t pending = static_cast<int32_t>(text.size());
            _exit(cache_flush(buffer, &pending, in, out, &mark) == -1 ? 0 : 1);
        }
        int status = 0;
        ASSERT_EQ(waitpid(pid, &status, 0), pid);
        ASSERT_FALSE(WIFSIGNALED(status)) << "flush blocked or crashed, signal " << WTERMSIG(status);
        EXPECT_EQ(WEXITSTATUS(status), 0) << "1: the flush did not give -1";
    }
}

TEST_F(Ini, GetkeystringFindsNamesByPosition) {
    WriteFile(file_, "top=1\n[a]\nx=1\n; c=2\nnosep\ny \t: 2\n[broken\nw=0\n[b]\nz=3\n");
    struct Row {
        const char *section;
        const char *key;
        int idx_section;
        int idx_key;
        int expected;
        const char *name;
    };
    const Row rows[] = {
        {nullptr, "", 0, -1, 1, "a"},     {nullptr, "", 1, -1, 1, "b"},
        {nullptr, "", 2, -1, 0, nullptr}, {"a", nullptr, -1, 0, 1, "x"},
        {"a", nullptr, -1, 1, 1, "y"},    {"a", nullptr, -1, 2, 0, nullptr},
        {nullptr, nullptr, -1, 0, 1, "top"}, {nullptr, nullptr, -1, 1, 0, nullptr},
        {"b", nullptr, -1, 0, 1, "z"},    {"a", "y", -1, -1, 1, "2"},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE("section " + Show(row.section) + " key " + Show(row.key) + " idxSection " +
                     std::to_string(row.idx_section) + " idxKey " + std::to_string(row.idx_key));
        FILE *fp = std::fopen(file_.c_str(), "rb");
        ASSERT_NE(fp, nullptr);
        char buffer[32];
        std::memset(buffer, kSentinel, sizeof buffer);
        EXPECT_EQ(getkeystring(fp, row.section, row.key, row.idx_section, row.idx_key, buffer,
                               sizeof buffer),
                  row.expected);
        if (row.name != nullptr) {
            EXPECT_STREQ(buffer, row.name);
        }
        std::fclose(fp);
    }
}

// ---------------------------------------------------------------------------
// Reads

TEST_F(Ini, ReadsTheSevenLineExample) {
    WriteFile(file_, "top=1\n[ Net ]\n; key=9\nKey = \"a;b\" ; note\nport: 0x1F\n[NET]\nport=7\n");
    struct Row {
        const char *section;
        const char *key;
        const char *expected;
    };
    const Row rows[] = {
        {nullptr, "top", "1"},        {"", "top", "1"},          {nullptr, "port", kDefault},
        {nullptr, "Key", kDefault},   {" net ", "KEY", "a;b"},  {" NET ", "port", "0x1F"},
        {"Net", "port", "7"},         {"net", "PORT", "7"},      {"Net", "key", kDefault},
        {" Net", "port", kDefault},   {"Ne", "port", kDefault},  {"NET", "top", kDefault},
    };
    for (const Row &row : rows) {
        EXPECT_EQ(Get(row.section, row.key), row.expected)
            << "section " << Show(row.section) << " key " << Show(row.key);
    }
    EXPECT_EQ(orv_ini_get_long(" net ", "port", -1, file_.c_str()), 31);
    EXPECT_EQ(orv_ini_get_long("Net", "port", -1, file_.c_str()), 7);
}

TEST_F(Ini, ReadsSingleValueLines) {
    struct Row {
        const char *line;
        const char *key;
        const char *expected;
    };
    const Row rows[] = {
        {"v=#ff0000", "v", ""},
        {"v=\"#ff0000\"", "v", "#ff0000"},
        {"v=a b  ; c", "v", "a b"},
        {"v=a;b", "v", "a"},
        {"v=a#b", "v", "a"},
        {"v=\"\"", "v", ""},
        {"v=", "v", ""},
        {"v=\"a\\\"b\"", "v", "a\"b"},
        {"v=\"a\"\"b\"", "v", "a\"b"},
        {"v=\"abc;d #e", "v", "\"abc;d #e"},
        {"v=\"a\" \"b\"", "v", "a\" \"b"},
        {"v=a\"b;c\"d", "v", "a\"b;c\"d"},
        {"v=\"", "v", "\""},
        {"v=\"a\\b\"", "v", "a\\b"},
        {"v=   x", "v", "x"},
        {"a:b=c", "a:b", "c"},
        {"a:b=c", "a", kDefault},
        {"k: v", "k", "v"},
        {"k : v : w", "k", "v : w"},
        {"  k \t=\t v \t", "k", "v"},
        {"a b = 1", "a b", "1"},
        {"kk=1", "k", kDefault},
        {"k=1", "kk", kDefault},
        {"K=1", "k", "1"},
        {"novalue", "novalue", kDefault},
        {";v=1", "v", kDefault},
        {"#v=1", "v", kDefault},
        {"  ;v=1", "v", kDefault},
        {";v=1", ";v", kDefault},  // comment lines are passed over before comparing
        {"v=\x01x\x01", "v", "x"},
        {"v=\xA1\xA1x\xA1\xA1", "v", "\xA1\xA1x\xA1\xA1"},
        {"\xC1=1", "\xE1", kDefault},  // only A..Z fold
        {"v=1\r", "v", "1"},
    };
    for (const Row &row : rows) {
        WriteFile(file_, std::string("[s]\n") + row.line + "\n");
        EXPECT_EQ(Get("s", row.key), row.expected)
            << "line " << Show(row.line) << " key " << Show(row.key);
    }
}

TEST_F(Ini, SectionsEndWhereTheSyntaxSays) {
    struct Row {
        const char *file;
        const char *section;
        const char *key;
        const char *expected;
    };
    const Row rows[] = {
        {"[s]\nv=1\nv=2\n", "s", "v", "1"},
        {"[s]\na=1\n[s]\nb=2\n", "s", "b", kDefault},
        {"[s]\na=1\n[broken\nb=2\n", "s", "b", kDefault},
        {"[s]\na=1\n[broken\nb=2\n", "s", "a", "1"},
        {"[broken\n[t]\nc=3\n", "t", "c", "3"},
        {"[broken\nb=2\n", "broken", "b", kDefault},
        {"a=1\n[broken\nb=2\n", nullptr, "b", kDefault},
        {"[s] ; c\nv=1\n", "s", "v", "1"},
        {"  [s]\nv=1\n", "s", "v", "1"},
        {"[a]b]\nv=1\n", "a", "v", "1"},
        {"[]\nv=1\n", "", "v", kDefault},
        {"[s]\nv=1\n", nullptr, "v", kDefault},
        {"[s]\r\nv = x \r\nw=\"q\"\r\n", "s", "w", "q"},
        {"[s]\r\nv = x \r\nw=\"q\"\r\n", "s", "v", "x"},
        {"[s]\nv=end", "s", "v", "end"},
        {"", nullptr, "v", kDefault},
    };
    for (const Row &row : rows) {
        WriteFile(file_, row.file);
        EXPECT_EQ(Get(row.section, row.key), row.expected)
            << "file " << Show(row.file) << " section " << Show(row.section) << " key "
            << Show(row.key);
    }
}

TEST_F(Ini, LongLineIsReadInPiecesOf511Bytes) {
    // 600 bytes: 511 of 'a=...', then 89 looked at as a line of their own.
    const std::string head = "a=" + std::string(509, 'x');
    const std::string tail = "b=" + std::string(86, 'y') + "\n";
    ASSERT_EQ(head.size() + tail.size(), 600u);
    WriteFile(file_, "[s]\n" + head + tail + "c=1\n");
    EXPECT_EQ(Get("s", "a"), std::string(509, 'x'));
    EXPECT_EQ(Get("s", "b"), std::string(86, 'y'));
    EXPECT_EQ(Get("s", "c"), "1");
}

TEST_F(Ini, GetStringRefusesBadArgumentsAndFallsBack) {
    WriteFile(file_, "[s]\nv=abcdef\ne=\n");
    char buffer[16];
    auto fill = [&] { std::memset(buffer, kSentinel, sizeof buffer); };
    auto untouched = [&] {
        for (char c : buffer) {
            if (c != kSentinel) return false;
        }
        return true;
    };
    const char *name = file_.c_str();

    EXPECT_EQ(orv_ini_get_string("s", "v", "d", nullptr, 16, name), 0);
    for (int32_t size : {0, -1, INT32_MIN}) {
        fill();
        EXPECT_EQ(orv_ini_get_string("s", "v", "d", buffer, size, name), 0) << "size " << size;
        EXPECT_TRUE(untouched()) << "size " << size;
    }
    fill();
    EXPECT_EQ(orv_ini_get_string("s", nullptr, "d", buffer, 16, name), 0);
    EXPECT_TRUE(untouched());

    struct Row {
        const char *key;
        const char *def;
        int32_t size;
        const char *filename;
        const char *expected;
    };
    const std::string missing = dir_ + "/missing.ini";
    const std::string empty = dir_ + "/empty.ini";
    WriteFile(empty, "");
    const Row rows[] = {
        {"v", "dflt", 16, nullptr, "dflt"},
        {"v", "dflt", 16, missing.c_str(), "dflt"},
        {"v", "dflt", 16, empty.c_str(), "dflt"},
        {"v", "dflt", 16, dir_.c_str(), "dflt"},  // a directory is no file
        {"x", nullptr, 16, name, ""},              // a null default acts as ""
        {"v", nullptr, 16, name, "abcdef"},
        {"e", "dflt", 16, name, ""},               // found empty: no default
        {"v", "dflt", 1, name, ""},
        {"x", "dflt", 1, name, ""},
        {"v", "dflt", 4, name, "abc"},
        {"x", "dflt", 3, name, "df"},
    };
    for (const Row &row : rows) {
        fill();
        int32_t length = orv_ini_get_string("s", row.key, row.def, buffer, row.size, row.filename);
        EXPECT_STREQ(buffer, row.expected) << "key " << row.key << " default " << Show(row.def)
                                           << " size " << row.size << " file " << Show(row.filename);
        EXPECT_EQ(length, static_cast<int32_t>(std::strlen(row.expected)));
        for (size_t i = static_cast<size_t>(row.size); i < sizeof buffer; ++i) {
            ASSERT_EQ(buffer[i], kSentinel) << "byte " << i << " beyond size, key " << row.key;
        }
    }
}

TEST_F(Ini, GetLongConvertsHexDecimalAndClampsTo32Bits) {
    struct Row {
        const char *value;
        int32_t expected;
    };
    const Row rows[] = {
        {"0x10", 16},          {"0X10", 16},          {"0x1F", 31},
        {"1x", 1},             {"10", 10},            {"-5", -5},
        {"+7", 7},             {"abc", 0},            {"-0x10", 0},
        {"0x", 0},             {"1e3", 1},            {"\"42\"", 42},
        {"0x7fffffff", INT32_MAX}, {"0xFFFFFFFF", INT32_MAX}, {"99999999999", INT32_MAX},
        {"2147483648", INT32_MAX}, {"-2147483648", INT32_MIN}, {"-99999999999", INT32_MIN},
        {"", -77},
    };
    for (const Row &row : rows) {
        WriteFile(file_, std::string("[s]\nv=") + row.value + "\n");
        EXPECT_EQ(orv_ini_get_long("s", "v", -77, file_.c_str()), row.expected)
            << "value " << Show(row.value);
    }
    EXPECT_EQ(orv_ini_get_long("s", "absent", -77, file_.c_str()), -77);
    EXPECT_EQ(orv_ini_get_long("s", "v", 5, nullptr), 5);
}

TEST_F(Ini, GetBoolTakesTheFirstLetter) {
    struct Row {
        const char *value;
        uint8_t expected;
    };
    const Row rows[] = {{"yes", 1},  {"Y", 1},       {"true", 1},  {"t", 1},     {"10", 1},
                        {"Tuesday", 1}, {"\"yes\"", 1}, {"no", 0}, {"N", 0},     {"false", 0},
                        {"f", 0},    {"0", 0},       {"maybe", 7}, {"2", 7},     {"", 7},
                        {" ", 7}};
    for (const Row &row : rows) {
        WriteFile(file_, std::string("[s]\nv=") + row.value + "\n");
        EXPECT_EQ(orv_ini_get_bool("s", "v", 7, file_.c_str()), row.expected)
            << "value " << Show(row.value);
    }
    EXPECT_EQ(orv_ini_get_bool("s", "absent", 200, file_.c_str()), 200);
    EXPECT_EQ(orv_ini_get_bool("s", "absent", 0, file_.c_str()), 0);
    EXPECT_EQ(orv_ini_get_bool("s", "absent", 1, file_.c_str()), 1);
}

TEST_F(Ini, GetFloatReadsDecimalText) {
    struct Row {
        const char *value;
        float expected;
    };
    const Row rows[] = {{"1.5", 1.5f},   {"2", 2.0f},       {"-0.25", -0.25f}, {"1e3", 1000.0f},
                        {"abc", 0.0f},   {"2.000000", 2.0f}, {"", -3.5f}};
    for (const Row &row : rows) {
        WriteFile(file_, std::string("[s]\nv=") + row.value + "\n");
        EXPECT_FLOAT_EQ(orv_ini_get_float("s", "v", -3.5f, file_.c_str()), row.expected)
            << "value " << Show(row.value);
    }
    EXPECT_FLOAT_EQ(orv_ini_get_float("s", "absent", -3.5f, file_.c_str()), -3.5f);
}

TEST_F(Ini, BinaryJunkNeitherCrashesReadsNorDamagesFile) {
    // Bytes weighted towards the syntax's own characters, zero bytes included.
    const char alphabet[] = "[]=:;#\"\\\n\r \t\0abcK\xA1\xFF";
    uint32_t state = 12345;
    for (int round = 0; round < 8; ++round) {
        std::string junk;
        for (int i = 0; i < 3000; ++i) {
            state = state * 1103515245u + 12345u;
            uint32_t pick = (state >> 16) % 64;
            junk += pick < sizeof alphabet - 1 ? alphabet[pick] : static_cast<char>(state >> 8);
        }
        WriteFile(file_, junk);
        for (const char *section : {static_cast<const char *>(nullptr), "a", "K", ""}) {
            char small[3];
            std::memset(small, kSentinel, sizeof small);
            int32_t length = orv_ini_get_string(section, "a", "d", small, sizeof small, file_.c_str());
            EXPECT_EQ(length, static_cast<int32_t>(std::strlen(small)));
            EXPECT_LE(length, 2);
            Get(section, "b");
            orv_ini_get_long(section, "c", 0, file_.c_str());
        }
        int32_t result = Put("a", "k", "v");
        EXPECT_TRUE(result == 0 || result == 1) << "round " << round;
        if (result == 0) {
            EXPECT_EQ(ReadFile(file_), junk) << "round " << round;
        }
    }
}

// ---------------------------------------------------------------------------
// Rewrites

TEST_F(Ini, RewritesChangeOnlyWhatTheyMust) {
    struct Row {
        const char *before;
        const char *section;
        const char *key;
        const char *value;
        const char *after;
    };
    const char *seven = "top=1\n[ Net ]\n; key=9\nKey = \"a;b\" ; note\nport: 0x1F\n[NET]\nport=7\n";
    const Row rows[] = {
        // Replacing keys.
        {"; head\n[S]\na=1\nKey : old ; note\nb = 2\n[T]\nKey=x\n", "S", "KEY", "new",
         "; head\n[S]\na=1\nKEY=new\nb = 2\n[T]\nKey=x\n"},
        {seven, "Net", "port", "8",
         "top=1\n[ Net ]\n; key=9\nKey = \"a;b\" ; note\nport: 0x1F\n[NET]\nport=8\n"},
        {"[S]\na=1\n[S]\na=2\n", "S", "a", "9", "[S]\na=9\n[S]\na=2\n"},
        {"[S] ; note\na=1\n", "S", "a", "2", "[S] ; note\na=2\n"},
        {"[S]\na=1\n", "S", "a", "", "[S]\na=\n"},
        {"[S]\r\na=1\r\nb=2\r\n", "S", "a", "9", "[S]\r\na=9\nb=2\r\n"},
        // Adding keys: before the next header, behind blanks and comments.
        {"[S]\na=1\n\n; end of S\n[T]\nb=2\n", "S", "c", "3",
         "[S]\na=1\n\n; end of S\nc=3\n[T]\nb=2\n"},
        {"[S]\na=1\n", "S", "c", "3", "[S]\na=1\nc=3\n"},
        {"[S]\na=1", "S", "c", "3", "[S]\na=1\nc=3\n"},
        {"[S]\r\na=1\r\n", "S", "b", "2", "[S]\r\na=1\r\nb=2\n"},
        {"[S]\n", "S", "k", "v", "[S]\n\nk=v\n"},
        {"[S]", "S", "k", "v", "[S]\nk=v\n"},
        {"[S]\nab=1\n", "S", "a", "2", "[S]\nab=1\na=2\n"},
        {"[S]\na=1\n[broken\nb=2\n", "S", "b", "3", "[S]\na=1\nb=3\n[broken\nb=2\n"},
        // Adding sections.
        {"[S]\na=1\n", "T", "k", "v", "[S]\na=1\n[T]\nk=v\n"},
        {"[S]\na=1", "T", "k", "v", "[S]\na=1\n[T]\nk=v\n"},
        {"", "T", "k", "v", "\n[T]\nk=v\n"},
        {"[S\na=1\n", "S", "a", "2", "[S\na=1\n[S]\na=2\n"},
        // Deleting keys.
        {"[S]\na=1\nb=2\nc=3\n[T]\nb=4\n", "S", "b", nullptr, "[S]\na=1\nc=3\n[T]\nb=4\n"},
        {"[S]\na=1\n", "S", "z", nullptr, "[S]\na=1\n"},
        {"[S]\na=1\n", "T", "a", nullptr, "[S]\na=1\n"},
        // Deleting sections, comments and blank lines included.
        {"x=0\n[S]\na=1\n; note\n\n[T]\nb=2\n", "S", nullptr, nullptr, "x=0\n[T]\nb=2\n"},
        {"x=0\n[S]\na=1\n; note\n\n[T]\nb=2\n", "s", nullptr, "ignored", "x=0\n[T]\nb=2\n"},
        {"[T]\nb=2\n[S]\na=1\n# c\n\n", "S", nullptr, nullptr, "[T]\nb=2\n"},
        {"[T]\nb=2\n", "S", nullptr, nullptr, "[T]\nb=2\n"},
        // The area before the first header.
        {"a=1\n[S]\nb=2\n", nullptr, "c", "3", "a=1\nc=3\n[S]\nb=2\n"},
        {"a=1\n[S]\na=2\n", nullptr, "a", "9", "a=9\n[S]\na=2\n"},
        {"a=1\n[S]\na=2\n", "", "a", "9", "a=9\n[S]\na=2\n"},
        {"a=1\nc=2\n[S]\na=5\n", nullptr, "a", nullptr, "c=2\n[S]\na=5\n"},
        {"; c\na=1\n\n[S]\nb=2\n", nullptr, nullptr, nullptr, "[S]\nb=2\n"},
        {"[S]\nb=2\n", nullptr, nullptr, nullptr, "[S]\nb=2\n"},
        {"[S]\nb=2\n", nullptr, "c", "3", "c=3\n[S]\nb=2\n"},
        {"a=1", nullptr, "b", "2", "a=1\nb=2\n"},
        // A comment line is never a key, unless the key carries the mark itself.
        {"[S]\n;k=1\n#k=2\n", "S", "k", "3", "[S]\n;k=1\n#k=2\nk=3\n"},
        {"[S]\n;k=1\n", "S", ";k", "5", "[S]\n;k=5\n"},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE("before " + Show(row.before) + " section " + Show(row.section) + " key " +
                     Show(row.key) + " value " + Show(row.value));
        WriteFile(file_, row.before);
        EXPECT_EQ(Put(row.section, row.key, row.value), 1);
        EXPECT_EQ(ReadFile(file_), row.after);
    }
}

TEST_F(Ini, RewriteCopiesLongFilesAndLongLinesUnchanged) {
    // Far more than one 511-byte block of kept lines on each side of the change.
    std::string before = "; settings\r\n[S]\n";
    for (int i = 0; i < 100; ++i) {
        before += "key" + std::to_string(i) + " = value " + std::to_string(i) + " ; c\n";
    }
    before += "[L]\nc=" + std::string(1300, 'x') + "\na=1\n[T]\nd=" + std::string(700, 'y') + "\n";
    WriteFile(file_, before);

    std::string expected = before;
    const std::string old_line = "key99 = value 99 ; c\n";
    expected.replace(expected.find(old_line), old_line.size(), "key99=new\n");
    ASSERT_EQ(Put("S", "key99", "new"), 1);
    EXPECT_EQ(ReadFile(file_), expected);

    const std::string a_line = "\na=1\n";
    expected.replace(expected.find(a_line), a_line.size(), "\na=2\n");
    ASSERT_EQ(Put("L", "a", "2"), 1);
    EXPECT_EQ(ReadFile(file_), expected);

    expected += "e=5\n";
    ASSERT_EQ(Put("T", "e", "5"), 1);
    EXPECT_EQ(ReadFile(file_), expected);
    EXPECT_EQ(Get("S", "key50"), "value 50");
}

TEST_F(Ini, ValuesAreQuotedSoThatTheyReadBack) {
    struct Row {
        const char *value;
        const char *line;
        const char *read_back;
    };
    const Row rows[] = {
        {"a;b", "k=\"a;b\"", "a;b"},
        {"say \"hi\"", "k=\"say \\\"hi\\\"\"", "say \"hi\""},
        {"x ", "k=\"x \"", "x "},
        {"x\t", "k=x\t", "x"},  // a tab is not quoted, and reading drops it
        {"", "k=", ""},
        {"#1", "k=\"#1\"", "#1"},
        {"a\\b", "k=a\\b", "a\\b"},
        {" v", "k= v", "v"},
    };
    for (const Row &row : rows) {
        std::remove(file_.c_str());
        EXPECT_EQ(Put("S", "k", row.value), 1) << "value " << Show(row.value);
        EXPECT_EQ(ReadFile(file_), std::string("[S]\n") + row.line + "\n")
            << "value " << Show(row.value);
        EXPECT_EQ(Get("S", "k"), row.read_back) << "value " << Show(row.value);
    }
}

TEST_F(Ini, WritesANewFileOnlyWhenThereIsSomethingToSet) {
    struct Row {
        const char *section;
        const char *key;
        const char *value;
        const char *content;  // null: no file made
    };
    const Row rows[] = {
        {"S", "k", "v", "[S]\nk=v\n"},  {nullptr, "k", "v", "k=v\n"},
        {"", "k", "v", "k=v\n"},        {"S", "k", nullptr, nullptr},
        {"S", nullptr, nullptr, nullptr}, {nullptr, nullptr, "v", nullptr},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE("section " + Show(row.section) + " key " + Show(row.key) + " value " +
                     Show(row.value));
        std::remove(file_.c_str());
        EXPECT_EQ(Put(row.section, row.key, row.value), 1);
        EXPECT_EQ(ReadFile(file_), row.content != nullptr ? row.content : "<no file>");
    }
}

TEST_F(Ini, PutLongAndPutFloatWriteTextThatReadsBack) {
    ASSERT_EQ(orv_ini_put_long("S", "min", INT32_MIN, file_.c_str()), 1);
    ASSERT_EQ(orv_ini_put_long("S", "zero", 0, file_.c_str()), 1);
    ASSERT_EQ(orv_ini_put_float("S", "two", 2.0f, file_.c_str()), 1);
    ASSERT_EQ(orv_ini_put_float("S", "half", -1.5f, file_.c_str()), 1);
    EXPECT_EQ(ReadFile(file_), "[S]\nmin=-2147483648\nzero=0\ntwo=2.000000\nhalf=-1.500000\n");
    EXPECT_EQ(orv_ini_get_long("S", "min", 0, file_.c_str()), INT32_MIN);
    EXPECT_FLOAT_EQ(orv_ini_get_float("S", "two", 0.0f, file_.c_str()), 2.0f);
    EXPECT_EQ(TildeFiles(), "");
}

TEST_F(Ini, SettingTheSameValueLeavesTheFileAlone) {
    const std::string content = "[S]\nk=v\nq=\"a;b\"\nn=5\n";
    WriteFile(file_, content);
    const struct timespec past[2] = {{1000000000, 0}, {1000000000, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, file_.c_str(), past, 0), 0);
    struct stat before;
    ASSERT_EQ(stat(file_.c_str(), &before), 0);

    EXPECT_EQ(Put("S", "k", "v"), 1);
    EXPECT_EQ(Put("s", "K", "v"), 1);
    EXPECT_EQ(Put("S", "q", "a;b"), 1);
    EXPECT_EQ(orv_ini_put_long("S", "n", 5, file_.c_str()), 1);
    struct stat after;
    ASSERT_EQ(stat(file_.c_str(), &after), 0);
    EXPECT_EQ(after.st_ino, before.st_ino);
    EXPECT_EQ(after.st_mtim.tv_sec, before.st_mtim.tv_sec);
    EXPECT_EQ(after.st_mtim.tv_nsec, before.st_mtim.tv_nsec);
    EXPECT_EQ(ReadFile(file_), content);

    // Case counts in the value, and a value with a leading blank never
    // compares equal to what reads back: both rewrite every time.
    for (const char *value : {"V", " V", " V"}) {
        ASSERT_EQ(utimensat(AT_FDCWD, file_.c_str(), past, 0), 0);
        EXPECT_EQ(Put("S", "k", value), 1) << "value " << Show(value);
        ASSERT_EQ(stat(file_.c_str(), &after), 0);
        EXPECT_NE(after.st_mtim.tv_sec, past[1].tv_sec) << "value " << Show(value);
        EXPECT_EQ(ReadFile(file_), "[S]\nk=" + std::string(value) + "\nq=\"a;b\"\nn=5\n");
    }
}

TEST_F(Ini, RefusesFilenamesItCannotRewrite) {
    EXPECT_EQ(orv_ini_put_string("S", "k", "v", nullptr), 0);
    EXPECT_EQ(orv_ini_put_string("S", "k", "v", ""), 0);

    const std::string tilde = dir_ + "/a.ini~";
    EXPECT_EQ(orv_ini_put_string("S", "k", "v", tilde.c_str()), 0);
    EXPECT_FALSE(Exists(tilde));
    WriteFile(tilde, "[S]\nk=old\n");
    EXPECT_EQ(orv_ini_put_string("S", "k", "v", tilde.c_str()), 0);
    EXPECT_EQ(ReadFile(tilde), "[S]\nk=old\n");
    std::remove(tilde.c_str());

    const std::string too_long = LongPath(512);
    ASSERT_EQ(too_long.size(), 512u);
    EXPECT_EQ(orv_ini_put_string("S", "k", "v", too_long.c_str()), 0);
    EXPECT_FALSE(Exists(too_long));
    WriteFile(too_long, "[S]\nk=old\n");
    EXPECT_EQ(orv_ini_put_string("S", "k", "v", too_long.c_str()), 0);
    EXPECT_EQ(ReadFile(too_long), "[S]\nk=old\n");

    const std::string longest = LongPath(511);
    ASSERT_EQ(longest.size(), 511u);
    EXPECT_EQ(orv_ini_put_string("S", "k", "v", longest.c_str()), 1);
    EXPECT_EQ(orv_ini_put_string("S", "k", "w", longest.c_str()), 1);
    EXPECT_EQ(ReadFile(longest), "[S]\nk=w\n");
    EXPECT_EQ(TildeFiles(), "");
}

TEST_F(Ini, TempFileThatCannotBeMadeLeavesTheOldFile) {
    WriteFile(file_, "[S]\nk=old\n");
    const std::string temp = dir_ + "/test.in~";
    ASSERT_EQ(mkdir(temp.c_str(), 0700), 0);  // takes the temporary file's name
    EXPECT_EQ(orv_ini_put_string("S", "k", "new", file_.c_str()), 0);
    EXPECT_EQ(ReadFile(file_), "[S]\nk=old\n");
    struct stat st;
    ASSERT_EQ(stat(temp.c_str(), &st), 0);
    EXPECT_TRUE(S_ISDIR(st.st_mode));
}

// Lines go through fgets, which cannot carry a zero byte: a rewrite either
// fails and leaves the file, or carries every byte over.
TEST_F(Ini, ZeroByteInALineIsNeverLost) {
    using namespace std::string_literals;
    const std::string inside = "[S]\nk=a\0b\nz=1\n[T]\nt=1\n"s;
    const std::string at_end = "[S]\nk=1\n[T]\nt=a\0b"s;  // no final line feed
    struct Row {
        const std::string &content;
        const char *section;
        const char *key;
        const char *value;
        std::string after;  // the file if the call succeeds
    };
    const Row rows[] = {
        {inside, "S", "z", "2", "[S]\nk=a\0b\nz=2\n[T]\nt=1\n"s},
        {inside, "T", "k", "x", "[S]\nk=a\0b\nz=1\n[T]\nt=1\nk=x\n"s},
        {inside, "T", nullptr, nullptr, "[S]\nk=a\0b\nz=1\n"s},
        {at_end, "S", "k", "2", "[S]\nk=2\n[T]\nt=a\0b"s},
        {at_end, "T", "k", "2", "[S]\nk=1\n[T]\nt=a\0b\nk=2\n"s},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE("file " + Show(row.content) + " section " + Show(row.section) + " key " +
                     Show(row.key));
        WriteFile(file_, row.content);
        const int32_t result = Put(row.section, row.key, row.value);
        EXPECT_EQ(ReadFile(file_), result == 1 ? row.after : row.content) << "result " << result;
    }
}

TEST_F(Ini, FailedWriteLeavesOldFileIntactAndNoTempFile) {
    struct Row {
        size_t old_size;
        rlim_t limit;  // below the new file's size
        const char *key;
    };
    // A small file fails when the temporary file is closed, a large one
    // while lines are still being copied, before or behind the change.
    const Row rows[] = {{3000, 1024, "added"}, {20000, 8192, "added"}, {20000, 8192, "line4"}};
    for (const Row &row : rows) {
        SCOPED_TRACE("old size " + std::to_string(row.old_size) + " limit " +
                     std::to_string(row.limit) + " key " + row.key);
        std::string old = "[S]\n";
        while (old.size() < row.old_size) {
            old += "line" + std::to_string(old.size()) + " = some text to copy\n";
        }
        WriteFile(file_, old);
        pid_t pid = fork();
        ASSERT_NE(pid, -1);
        if (pid == 0) {
            signal(SIGXFSZ, SIG_IGN);
            const struct rlimit limit = {row.limit, row.limit};
            if (setrlimit(RLIMIT_FSIZE, &limit) != 0) _exit(100);
            _exit(orv_ini_put_string("S", row.key, "value", file_.c_str()));
        }
        int status = 0;
        ASSERT_EQ(waitpid(pid, &status, 0), pid);
        ASSERT_TRUE(WIFEXITED(status)) << "child ended by signal " << WTERMSIG(status);
        EXPECT_EQ(WEXITSTATUS(status), 0) << "result of the failed rewrite";
        EXPECT_EQ(ReadFile(file_), old);
        EXPECT_EQ(TildeFiles(), "");

        // Without the limit the same call goes through.
        std::string expected = old + "added=value\n";
        const std::string first_line = "line4 = some text to copy\n";
        if (std::strcmp(row.key, "line4") == 0) {
            expected = old;
            expected.replace(expected.find(first_line), first_line.size(), "line4=value\n");
        }
        EXPECT_EQ(Put("S", row.key, "value"), 1);
        EXPECT_EQ(ReadFile(file_), expected);
    }
}

TEST_F(Ini, ReadRacingRewriteSeesOldNewOrDefault) {
    std::string filler = "[A]\n";
    for (int i = 0; i < 40; ++i) filler += "pad" + std::to_string(i) + "=some padding text\n";
    WriteFile(file_, filler + "[S]\nk=two\n[Z]\nz=1\n");

    std::atomic<bool> done{false};
    std::atomic<int> reads{0};
    std::atomic<int> bad{0};
    std::string first_bad;
    std::thread reader([&] {
        char buffer[64];
        do {
            orv_ini_get_string("S", "k", "dflt", buffer, sizeof buffer, file_.c_str());
            if (std::strcmp(buffer, "one") != 0 && std::strcmp(buffer, "two") != 0 &&
                std::strcmp(buffer, "dflt") != 0 && bad++ == 0) {
                first_bad = buffer;
            }
            ++reads;
        } while (!done.load());
    });
    for (long spin = 0; reads.load() == 0 && spin < 100000000L; ++spin) std::this_thread::yield();

    int failed_writes = 0;
    for (int i = 0; i < 300; ++i) {
        if (orv_ini_put_string("S", "k", i % 2 == 0 ? "one" : "two", file_.c_str()) != 1) {
            ++failed_writes;
        }
    }
    done = true;
    reader.join();
    EXPECT_EQ(failed_writes, 0);
    EXPECT_GT(reads.load(), 0);
    EXPECT_EQ(bad.load(), 0) << "first unexpected read " << Show(first_bad);
    EXPECT_EQ(ReadFile(file_), filler + "[S]\nk=two\n[Z]\nz=1\n");
    EXPECT_EQ(TildeFiles(), "");
}

}  // namespace
