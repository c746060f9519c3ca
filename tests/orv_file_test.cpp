// File operations in a scratch directory: lock numbers, the paced copy, backup of awkward
// names, the MD5 of a file against md5sum.
#include "orvsys/orv_file.h"

#include <sys/file.h>

#include <string>

#include "support/orv_test.h"

namespace {

// Whether another open file description can take an exclusive lock at once.
bool Lockable(const std::string &path) {
    const int fd = open(path.c_str(), O_RDONLY);
    const bool free = flock(fd, LOCK_EX | LOCK_NB) == 0;
    close(fd);
    return free;
}

TEST(File, LockNumbers) {
    orv_test::ScratchDir dir;
    const std::string path = dir / "lock";
    orv_test::write_file(path, "x");
    const auto child = orv_test::run_in_child([&] {
        const int fd = open(path.c_str(), O_RDONLY);
        EXPECT_TRUE(orv_file_lock(fd, 2) == 0 && !Lockable(path));
        EXPECT_TRUE(orv_file_lock(fd, 0) == 0 && Lockable(path));
        EXPECT_TRUE(orv_file_lock(fd, 5) == 0 && !Lockable(path) && orv_file_lock(fd, 0) == 0);
        orv_file_lock(fd, 3), orv_file_lock(fd, 4), orv_file_lock(fd, 7);  // the system answers
        EXPECT_EQ(orv_file_lock(fd, 2) + orv_file_lock(fd, 8) + orv_file_lock(fd, -1), -2);
        EXPECT_FALSE(Lockable(path));  // the refused numbers changed no lock
    });
    EXPECT_TRUE(child.ok()) << child;
    const std::string &out = child.output;
    EXPECT_TRUE(std::count(out.begin(), out.end(), '\n') == 2 &&
                out.find("] orv_file_lock: improper operation type: 0x8\n") != std::string::npos &&
                out.find("] orv_file_lock: improper operation type: 0xffffffff\n") !=
                    std::string::npos)
        << out;
}

TEST(File, CopyInPacedBlocks) {
    orv_test::ScratchDir dir;
    const std::string source = dir / "source", copy = dir / "copy", again = dir / "./source";
    std::string bytes(16385, '\0');
    for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i * 31);
    ASSERT_TRUE(orv_test::write_file(source, bytes));
    const double start = orv_test::now_ms();
    EXPECT_EQ(orv_file_copy(source.c_str(), copy.c_str(), 0), 1);
    EXPECT_GE(orv_test::now_ms() - start, 19);  // two blocks, two pauses of 10 ms
    EXPECT_TRUE(orv_test::read_file(copy) == bytes &&
                !orv_file_copy(source.c_str(), "/dev/full", 0));
    orv_test::write_file(copy, "old");
    EXPECT_TRUE(orv_file_copy(source.c_str(), copy.c_str(), 1) == 0 &&
                orv_test::read_file(copy) == "old");
    // Onto itself, by the same path or another: refused before the destination is emptied.
    EXPECT_EQ(orv_file_copy(source.c_str(), source.c_str(), 0) +
                  orv_file_copy(source.c_str(), again.c_str(), 0),
              0);
    EXPECT_EQ(orv_test::read_file(source), bytes);
    orv_test::write_file(source, "");
    EXPECT_TRUE(orv_file_copy(source.c_str(), copy.c_str(), 0) == 1 &&
                orv_test::read_file(copy).empty());
    EXPECT_EQ(orv_file_copy(nullptr, copy.c_str(), 0) +
                  orv_file_copy((dir / "none").c_str(), copy.c_str(), 0) +
                  orv_file_copy(source.c_str(), (dir / "no/dir").c_str(), 0),
              0);
}

TEST(File, BackupAndMd5) {
    orv_test::ScratchDir dir;
    for (const char *name : {"plain.txt", "with blank", "quote'd", "$(touch pwned)", "a;b"}) {
        const std::string path = dir / name;
        orv_test::write_file(path, name);
        EXPECT_TRUE(orv_file_backup(path.c_str()) == 1 && !orv_test::exists(path)) << name;
        EXPECT_EQ(orv_test::read_file(path + ".bak"), name);
    }
    EXPECT_FALSE(orv_test::exists(dir / "pwned"));
    const std::string longest = dir / std::string(251 - (dir / "").size(), 'p');
    orv_test::write_file(longest, "x"), orv_test::write_file(longest + "q", "x");
    EXPECT_EQ(orv_file_backup(longest.c_str()) * 10 + orv_file_backup((longest + "q").c_str()), 10);
    // MD5 of a file, as md5sum has it; an empty or missing file fails with length 0.
    const std::string file = dir / "abc", empty = dir / "empty";
    orv_test::write_file(file, "abc"), orv_test::write_file(empty, "");
    char text[40];
    int32_t length = -1;
    EXPECT_TRUE(orv_file_get_md5(file.c_str(), text, sizeof text, &length) == 1 && length == 3);
    EXPECT_EQ(text, orv_test::md5sum(file));
    EXPECT_TRUE(orv_file_get_md5(file.c_str(), text, 9, nullptr) == 1 &&
                std::string(text) == "90015098");
    EXPECT_TRUE(orv_file_get_md5(empty.c_str(), text, 40, &length) == 0 && length == 0);
    EXPECT_EQ(orv_file_get_md5((dir / "none").c_str(), text, 40, nullptr) +
                  orv_file_get_md5(nullptr, text, 40, &length) +
                  orv_file_get_md5(file.c_str(), nullptr, 40, &length),
              0);
    orv_file_set_sync_flag(nullptr);
    EXPECT_EQ(orv_file_backup(nullptr), 0);
}

}  // namespace
