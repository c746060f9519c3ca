// Path text operations, orv_mkpath, the executable's own path, and the installation root.
// Outputs are sentinel-filled: a refusal leaves the whole buffer alone, a success writes
// nothing past the size it was given. The root is fixed once per process: forked children.
#include "orvsys/orv_path.h"

#include <filesystem>

#include "orvsys/orv_safestr.h"
#include "support/orv_test.h"

namespace {

using orv_test::Sentinel;
using TextOp = char *(*)(const char *path, char *buf, int32_t size);

std::string self_path() { return std::filesystem::read_symlink("/proc/self/exe"); }

TEST(PathText, SplitTable) {
    const TextOp dir = orv_path2, name = orv_filename2, ext = orv_extname2;
    // expected null: refused.
    // clang-format off
    struct Row { TextOp op; const char *path; int32_t size; const char *expected; } const rows[] = {
        {dir, "/usr/lib/x.so", 64, "/usr/lib"}, {dir, "/usr/lib///", 64, "/usr/lib"},
        {dir, "/usr//lib", 64, "/usr"}, {dir, "abc", 64, ""}, {dir, "/", 64, ""},
        {dir, "/x/a\\b", 64, "/x"}, {dir, "/usr", 0, nullptr}, {dir, nullptr, 64, nullptr},
        // Cut to the size first; the cut text then loses its last element.
        {dir, "/usr/local/bin", 8, "/usr"}, {dir, "/usr/lib/", 10, "/usr/lib"},
        {name, "/a/b.tar.gz", 64, "b.tar"}, {name, "/a.d/b", 64, "b"}, {name, "b.c", 64, nullptr},
        {name, "/a/ab.cd.txt", 5, "ab"}, {name, "/a/abcdef", 4, "abc"}, {name, "/a", -1, nullptr},
        {ext, "/a/b.tar.gz", 64, ".gz"}, {ext, "/a.d/b", 64, ".d/b"}, {ext, ".gz", 2, "."},
        {ext, "/a/b", 64, nullptr}, {ext, "/b.gz", INT32_MIN, nullptr}, {ext, nullptr, 64, nullptr},
    };
    // clang-format on
    for (const Row &row : rows) {
        SCOPED_TRACE(testing::Message() << "row " << &row - rows << ": size " << row.size);
        Sentinel<64> buf;
        EXPECT_EQ(row.op(row.path, buf, row.size), row.expected ? buf.bytes : nullptr);
        EXPECT_STREQ(row.expected ? buf.bytes : nullptr, row.expected);
        EXPECT_TRUE(buf.untouched(row.expected ? static_cast<size_t>(row.size) : 0));
    }
    EXPECT_EQ(orv_path2("/a/b", nullptr, 64), nullptr);
}

// Each read of the executable's path needs room for all of it and its terminator, even when
// the result is shorter.
TEST(PathSelf, ReadsOfOwnPath) {
    const std::string self = self_path();
    const int32_t len = static_cast<int32_t>(self.size());
    Sentinel<PATH_MAX> buf;
    EXPECT_TRUE(!orv_filename(buf, 0) && !orv_extname(nullptr, 64) && buf.untouched());
    EXPECT_TRUE(!orv_fullpath(buf, len) && !orv_path(buf, len)) << "no room for the terminator";
    EXPECT_TRUE(orv_fullpath(buf, len + 1) == buf.bytes && buf.bytes == self) << buf.bytes;
    EXPECT_TRUE(buf.untouched(static_cast<size_t>(len) + 1));
    EXPECT_TRUE(orv_path(buf, len + 1) == buf.bytes && buf.bytes == self.substr(0, self.rfind('/')))
        << buf.bytes;
    // Of orv_path_test, which has no extension.
    EXPECT_TRUE(orv_filename(buf, 4) == buf.bytes && std::string(buf.bytes) == "orv") << buf.bytes;
    EXPECT_EQ(orv_extname(buf, 64), nullptr);
}

TEST(PathMake, NestedExistingAndBlocked) {
    orv_test::ScratchDir dir;
    const mode_t mask = umask(022);
    ASSERT_TRUE(dir.ok() && orv_test::write_file(dir / "plain", ""));
    // made: a directory that must exist afterwards. /proc refuses every mkdir, even as root.
    // clang-format off
    struct Row { std::string path; int expected; const char *made; } const rows[] = {
        {dir / "a//b/", 0, "a/b"}, {dir / "/p/q///r", 0, "p/q/r"}, {dir / "a/b", 0, "a/b"},
        {dir.path() + "/", 0, "a"}, {"/", 0, nullptr}, {"///", 0, nullptr}, {"", -1, nullptr},
        {dir / "plain", -1, nullptr}, {dir / "plain/", -1, nullptr}, {"/proc/orv-x", -1, nullptr},
        // Directories made before the failure stay.
        {dir / "kept/one/../../plain/x", -1, "kept/one"}};
    // clang-format on
    for (const Row &row : rows) {
        EXPECT_EQ(orv_mkpath(row.path.c_str(), 0750), row.expected) << row.path;
        EXPECT_TRUE(row.made == nullptr || orv_test::exists(dir / row.made)) << row.path;
    }
    EXPECT_EQ(orv_mkpath(nullptr, 0755), -1);
    struct stat st;
    EXPECT_TRUE(stat((dir / "p/q").c_str(), &st) == 0 && (st.st_mode & 0777) == 0750) << "mode";
    umask(mask);
}

// The root is the executable's directory less its last element, cut at a
// "/" or a backslash; an unreadable path leaves it empty.
TEST(PathRoot, DerivedFromExecutableDirectory) {
    orv_test::Tree tree;
    ASSERT_TRUE(tree.ready());
    const std::string real = self_path();
    const std::string limit = "/" + std::string(250, 'd') + "/bin";  // 255: the field's limit
    // exe_dir "": no seam, the real executable; "-": unreadable.
    // clang-format off
    struct Row { std::string exe_dir, root; const char *preset_dll; } const rows[] = {
        {tree / "bin", tree.path(), nullptr}, {tree / "top\\bin", tree / "top", nullptr},
        {limit, limit.substr(0, 251), nullptr}, {limit + "x", "", nullptr}, {"-", "", nullptr},
        {tree / "bin", tree.path(), "/opt/plugins"},
        {"", real.substr(0, real.rfind('/', real.rfind('/') - 1)), nullptr}};
    // clang-format on
    for (const Row &row : rows) {
        const auto child = orv_test::run_in_child([&] {
            if (row.preset_dll != nullptr) orv_strncpy_safe(g_orv_dll_dir, row.preset_dll, 512);
            const char *exe = row.exe_dir == "-" ? nullptr : row.exe_dir.c_str();
            if (!row.exe_dir.empty()) orv::internal::orv_rootdir_seam(exe);
            const char *dll = orv_dll_dir();  // fixes the root on its own
            EXPECT_TRUE(dll == g_orv_dll_dir && orv_rootdir() == g_orv_rootdir);
            EXPECT_EQ(std::string(g_orv_rootdir), row.root);
            EXPECT_EQ(std::string(dll), row.preset_dll ? row.preset_dll : row.root + "/dll");
            // The library's own paths under the root: cut to 127 bytes, and said so.
            char settings[orv::internal::kPathSize];
            const std::string whole = row.root + "/ini/orv.ini";
            EXPECT_EQ(orv::internal::settings_path(settings), whole.size() < sizeof settings);
            EXPECT_EQ(std::string(settings), whole.substr(0, sizeof settings - 1));
        });
        EXPECT_TRUE(child.ok()) << "executable in " << row.exe_dir << ": " << child;
    }
}

}  // namespace
