// Path text operations, orv_mkpath, and the reads of the running
// executable's own path.
//
// Outputs are pre-filled with a sentinel byte: a refusal must leave the
// whole buffer alone, and a success must not write past the size it was
// given. The installation root and the plug-in directory are process-wide
// and fixed at their first use; they are tested through the tree probe in
// orv_log_test.cpp, never here.
#include "orvsys/orv_path.h"

#include <gtest/gtest.h>

#include <ftw.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

constexpr char kSentinel = '\x5A';
constexpr int32_t kBufSize = 64;

struct Buf {
    char bytes[kBufSize];
    Buf() { std::memset(bytes, kSentinel, sizeof bytes); }
    bool Untouched(int32_t from = 0) const {
        for (int32_t i = from; i < kBufSize; ++i) {
            if (bytes[i] != kSentinel) return false;
        }
        return true;
    }
};

using TextOp = char *(*)(const char *path, char *buf, int32_t size);

// One row of a text operation: null expected means the operation refuses.
struct TextRow {
    const char *path;
    int32_t size;
    const char *expected;
};

void CheckTextRows(const char *op_name, TextOp op, const TextRow *rows, size_t count) {
    for (size_t i = 0; i < count; ++i) {
        const TextRow &row = rows[i];
        SCOPED_TRACE(std::string(op_name) + "(\"" + row.path + "\", size " +
                     std::to_string(row.size) + ")");
        Buf buf;
        char *result = op(row.path, buf.bytes, row.size);
        if (row.expected == nullptr) {
            EXPECT_EQ(result, nullptr);
            EXPECT_TRUE(buf.Untouched()) << "a refusal wrote into the buffer";
            continue;
        }
        ASSERT_EQ(result, buf.bytes);
        EXPECT_STREQ(buf.bytes, row.expected);
        EXPECT_TRUE(buf.Untouched(row.size)) << "wrote past the given size";
    }
}

std::string SelfPath() {
    char path[PATH_MAX];
    const ssize_t n = readlink("/proc/self/exe", path, sizeof path - 1);
    if (n < 0) return std::string();
    return std::string(path, static_cast<size_t>(n));
}

// A scratch directory, removed with everything in it.
class ScratchDir {
  public:
    ScratchDir() {
        const char *base = std::getenv("TMPDIR");
        path_ = std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/orvpath-XXXXXX";
        if (mkdtemp(path_.data()) == nullptr) path_.clear();
    }
    ~ScratchDir() {
        if (!path_.empty()) {
            nftw(
                path_.c_str(),
                [](const char *p, const struct stat *, int, struct FTW *) { return ::remove(p); },
                16, FTW_DEPTH | FTW_PHYS);
        }
    }
    const std::string &path() const { return path_; }

  private:
    std::string path_;
};

bool IsDir(const std::string &path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool Exists(const std::string &path) {
    struct stat st;
    return lstat(path.c_str(), &st) == 0;
}

// ---- Text operations -----------------------------------------------------------

TEST(PathText, DirectoryPart) {
    const TextRow rows[] = {
        {"/usr/lib/x.so", kBufSize, "/usr/lib"},
        {"/usr/lib/", kBufSize, "/usr/lib"},
        {"/usr/lib///", kBufSize, "/usr/lib"},
        {"/usr//lib", kBufSize, "/usr"},
        {"usr/lib", kBufSize, "usr"},
        {"abc", kBufSize, ""},
        {"/abc", kBufSize, ""},
        {"/", kBufSize, ""},
        {"//", kBufSize, ""},
        {"", kBufSize, ""},
        {"a\\b\\c", kBufSize, ""},
        {"/x/a\\b", kBufSize, "/x"},
        // The copy is cut to the size first; the cut text loses its last
        // element like any other.
        {"/usr/local/bin", 8, "/usr"},
        {"/usr/lib/", 9, "/usr"},
        {"/usr/lib/", 10, "/usr/lib"},
        {"/usr", 1, ""},
        {"/usr/lib", 0, nullptr},
        {"/usr/lib", -1, nullptr},
        {"/usr/lib", INT32_MIN, nullptr},
    };
    CheckTextRows("orv_path2", orv_path2, rows, sizeof rows / sizeof rows[0]);
}

TEST(PathText, FileName) {
    const TextRow rows[] = {
        {"/a/b.tar.gz", kBufSize, "b.tar"},
        {"/a/b", kBufSize, "b"},
        {"/a.d/b", kBufSize, "b"},
        {"rel/b.c", kBufSize, "b"},
        {"/a/", kBufSize, ""},
        {"/a/.profile", kBufSize, ""},
        {"/a/b.", kBufSize, "b"},
        {"/", kBufSize, ""},
        // Cut to "ab.c" first, then the last extension of what is left goes.
        {"/a/ab.cd.txt", 5, "ab"},
        {"/a/abcdef", 4, "abc"},
        {"/a/b.txt", 1, ""},
        {"b.txt", kBufSize, nullptr},
        {"", kBufSize, nullptr},
        {"/a/b.txt", 0, nullptr},
        {"/a/b.txt", -5, nullptr},
    };
    CheckTextRows("orv_filename2", orv_filename2, rows, sizeof rows / sizeof rows[0]);
}

TEST(PathText, ExtensionName) {
    const TextRow rows[] = {
        {"/a/b.tar.gz", kBufSize, ".gz"},
        {"/a.d/b", kBufSize, ".d/b"},
        {"a.", kBufSize, "."},
        {"b.txt", kBufSize, ".txt"},
        {"/a/.profile", kBufSize, ".profile"},
        {".gz", 2, "."},
        {".gz", 1, ""},
        {"/a/b", kBufSize, nullptr},
        {"", kBufSize, nullptr},
        {"/a/b.gz", 0, nullptr},
        {"/a/b.gz", -1, nullptr},
    };
    CheckTextRows("orv_extname2", orv_extname2, rows, sizeof rows / sizeof rows[0]);
}

TEST(PathText, NullPointersRefused) {
    const TextOp ops[] = {orv_path2, orv_filename2, orv_extname2};
    for (TextOp op : ops) {
        Buf buf;
        EXPECT_EQ(op(nullptr, buf.bytes, kBufSize), nullptr);
        EXPECT_TRUE(buf.Untouched());
        EXPECT_EQ(op("/a/b.c", nullptr, kBufSize), nullptr);
    }
}

// ---- The executable's own path -------------------------------------------------

using SelfOp = char *(*)(char *buf, int32_t size);

TEST(PathSelf, RefusalsLeaveBufferAlone) {
    struct Row {
        const char *name;
        SelfOp op;
    };
    const Row rows[] = {
        {"orv_fullpath", orv_fullpath},
        {"orv_path", orv_path},
        {"orv_filename", orv_filename},
        {"orv_extname", orv_extname},
    };
    for (const Row &row : rows) {
        for (int32_t size : {0, -1, INT32_MIN}) {
            SCOPED_TRACE(std::string(row.name) + " size " + std::to_string(size));
            Buf buf;
            EXPECT_EQ(row.op(buf.bytes, size), nullptr);
            EXPECT_TRUE(buf.Untouched());
        }
        EXPECT_EQ(row.op(nullptr, kBufSize), nullptr) << row.name;
    }
}

TEST(PathSelf, FullPathNeedsRoomForTerminator) {
    const std::string self = SelfPath();
    ASSERT_FALSE(self.empty());
    const int32_t length = static_cast<int32_t>(self.size());
    std::string buf(self.size() + 8, kSentinel);

    EXPECT_EQ(orv_fullpath(buf.data(), length), nullptr);
    EXPECT_EQ(orv_fullpath(buf.data(), length - 1), nullptr);

    std::fill(buf.begin(), buf.end(), kSentinel);
    ASSERT_EQ(orv_fullpath(buf.data(), length + 1), buf.data());
    EXPECT_STREQ(buf.c_str(), self.c_str());
    EXPECT_EQ(buf[self.size() + 1], kSentinel);
}

TEST(PathSelf, DirectoryNeedsRoomForWholePath) {
    const std::string self = SelfPath();
    ASSERT_FALSE(self.empty());
    const int32_t length = static_cast<int32_t>(self.size());
    const std::string dir = self.substr(0, self.rfind('/'));
    std::string buf(self.size() + 8, kSentinel);

    // The whole path has to fit, although the result is shorter.
    EXPECT_EQ(orv_path(buf.data(), length), nullptr);

    std::fill(buf.begin(), buf.end(), kSentinel);
    ASSERT_EQ(orv_path(buf.data(), length + 1), buf.data());
    EXPECT_STREQ(buf.c_str(), dir.c_str());
}

TEST(PathSelf, FileNameOfExecutableCutToSize) {
    // The test binary carries no extension: its file name is its target name.
    Buf whole;
    ASSERT_EQ(orv_filename(whole.bytes, kBufSize), whole.bytes);
    EXPECT_STREQ(whole.bytes, "orv_path_test");

    Buf cut;
    ASSERT_EQ(orv_filename(cut.bytes, 4), cut.bytes);
    EXPECT_STREQ(cut.bytes, "orv");
    EXPECT_TRUE(cut.Untouched(4));
}

TEST(PathSelf, GetcwdIsTheSystemCall) {
    char expected[PATH_MAX];
    ASSERT_NE(getcwd(expected, sizeof expected), nullptr);
    const size_t length = std::strlen(expected);

    std::string buf(length + 8, kSentinel);
    EXPECT_EQ(orv_getcwd(buf.data(), length + 1), buf.data());
    EXPECT_STREQ(buf.c_str(), expected);

    errno = 0;
    EXPECT_EQ(orv_getcwd(buf.data(), length), nullptr);
    EXPECT_EQ(errno, ERANGE);

    // A null buffer with size 0 is allocated by the C library.
    char *allocated = orv_getcwd(nullptr, 0);
    ASSERT_NE(allocated, nullptr);
    EXPECT_STREQ(allocated, expected);
    std::free(allocated);
}

// ---- orv_mkpath ----------------------------------------------------------------

TEST(PathMake, NestedWithDoubledAndTrailingSlashes) {
    ScratchDir scratch;
    ASSERT_FALSE(scratch.path().empty());
    const std::string base = scratch.path();

    EXPECT_EQ(orv_mkpath((base + "/a//b/").c_str(), 0755), 0);
    EXPECT_TRUE(IsDir(base + "/a"));
    EXPECT_TRUE(IsDir(base + "/a/b"));

    EXPECT_EQ(orv_mkpath((base + "//p/q///r").c_str(), 0755), 0);
    EXPECT_TRUE(IsDir(base + "/p/q/r"));

    // Already there, with or without a trailing slash.
    EXPECT_EQ(orv_mkpath((base + "/a/b").c_str(), 0755), 0);
    EXPECT_EQ(orv_mkpath(base.c_str(), 0755), 0);
    EXPECT_EQ(orv_mkpath((base + "/").c_str(), 0755), 0);
}

TEST(PathMake, RootAndEmptyAndNull) {
    EXPECT_EQ(orv_mkpath("/", 0755), 0);
    EXPECT_EQ(orv_mkpath("///", 0755), 0);
    EXPECT_EQ(orv_mkpath("", 0755), -1);
    EXPECT_EQ(orv_mkpath(nullptr, 0755), -1);
}

TEST(PathMake, ThroughOrdinaryFileFails) {
    ScratchDir scratch;
    ASSERT_FALSE(scratch.path().empty());
    const std::string file = scratch.path() + "/plain";
    FILE *fp = std::fopen(file.c_str(), "w");
    ASSERT_NE(fp, nullptr);
    std::fclose(fp);

    EXPECT_EQ(orv_mkpath(file.c_str(), 0755), -1);
    EXPECT_EQ(orv_mkpath((file + "/").c_str(), 0755), -1);
    EXPECT_EQ(orv_mkpath((file + "/sub/deeper").c_str(), 0755), -1);
    EXPECT_FALSE(Exists(file + "/sub"));

    // The directories made before the failure stay.
    EXPECT_EQ(orv_mkpath((scratch.path() + "/kept/one/../../plain/x").c_str(), 0755), -1);
    EXPECT_TRUE(IsDir(scratch.path() + "/kept/one"));
}

TEST(PathMake, ModeGoesToMkdir) {
    ScratchDir scratch;
    ASSERT_FALSE(scratch.path().empty());
    const mode_t mask = umask(022);
    EXPECT_EQ(orv_mkpath((scratch.path() + "/m1/m2").c_str(), 0750), 0);
    umask(mask);
    struct stat st;
    ASSERT_EQ(stat((scratch.path() + "/m1").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0750u);
    ASSERT_EQ(stat((scratch.path() + "/m1/m2").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0750u);
}

TEST(PathMake, RelativeBelowWorkingDirectory) {
    ScratchDir scratch;
    ASSERT_FALSE(scratch.path().empty());
    std::fflush(nullptr);
    // The working directory is the process's: change it in a child only.
    const pid_t pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
        if (chdir(scratch.path().c_str()) != 0) _exit(10);
        if (orv_mkpath("rel//deep/", 0755) != 0) _exit(11);
        if (orv_mkpath("rel/deep", 0755) != 0) _exit(12);
        _exit(0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_TRUE(IsDir(scratch.path() + "/rel/deep"));
}

}  // namespace
