// The byte buffer: appends, the front drop, the fill level clamp, and failed allocations.
#include "orvsys/orv_buffer.h"

#include <string>

#include "internal/alloc.h"
#include "support/orv_test.h"

namespace {

// "storage length/remain", one character per byte ('.' for 0).
std::string State(orv_buffer_t *b) {
    std::string s;
    for (int i = 0; i < b->capacity; ++i) s += b->data[i] ? static_cast<char>(b->data[i]) : '.';
    return s + " " + std::to_string(orv_buffer_length(b)) + "/" +
           std::to_string(orv_buffer_remain(b));
}

// Each row starts from "abcd" in a buffer of 6 and applies one operation: p putbuf of arg bytes
// of "xyz" (0 and less refused), v putval 'v', m move by arg, l set_length arg, r reset to arg,
// z resize to arg with fill 'q' (below 1 nothing; any other size a new block, contents gone).
TEST(Buffer, OperationsFromAHalfFullBuffer) {
    // clang-format off
    struct Row { char op; int arg; const char *want; };
    const Row rows[] = {{'p', 2, "1abcdxy 6/0"}, {'p', 3, "0abcd.. 4/2"}, {'p', 0, "0abcd.. 4/2"},
        {'p', 1, "1abcdx. 5/1"}, {'v', 0, "1abcdv. 5/1"}, {'m', 1, "0bcdd.. 3/3"},
        {'m', 3, "0dbcd.. 1/5"}, {'m', 4, "0...... 0/6"}, {'m', 9, "0...... 0/6"},
        {'m', 0, "0abcd.. 4/2"}, {'m', -1, "0abcd.. 4/2"}, {'l', -1, "0abcd.. 0/6"},
        {'l', 7, "0abcd.. 6/0"}, {'l', 2, "0abcd.. 2/4"}, {'r', 'z', "0zzzzzz 0/6"},
        {'z', 0, "0abcd.. 4/2"}, {'z', 6, "0qqqqqq 0/6"}, {'z', 3, "0qqq 0/3"}};
    // clang-format on
    for (const Row &row : rows) {
        orv_buffer_t *b = orv_buffer_create(6);
        ASSERT_TRUE(b != nullptr && orv_buffer_putbuf(b, "abcd", 4) == 1);
        int result = 0;
        if (row.op == 'p') result = orv_buffer_putbuf(b, "xyz", row.arg);
        if (row.op == 'v') result = orv_buffer_putval(b, 'v');
        if (row.op == 'm') orv_buffer_move(b, row.arg);
        if (row.op == 'l') orv_buffer_set_length(b, row.arg);
        if (row.op == 'r') orv_buffer_reset(b, static_cast<uint8_t>(row.arg));
        if (row.op == 'z') orv_buffer_resize(b, row.arg, 'q');
        EXPECT_EQ(std::to_string(result) + State(b), row.want) << row.op << row.arg;
        orv_buffer_free(b);
    }
}

TEST(Buffer, FillsToTheByteAndRefusesNullsAndSizesBelowOne) {
    EXPECT_TRUE(orv_buffer_create(0) == nullptr && orv_buffer_create(-1) == nullptr);
    orv_buffer_t *b = orv_buffer_create(3);
    EXPECT_EQ(State(b), "... 0/3");
    EXPECT_EQ(orv_buffer_putval(b, 'a') + orv_buffer_putbuf(b, "bc", 2), 2);
    EXPECT_EQ(orv_buffer_putval(b, 'd') + orv_buffer_putbuf(b, "d", 1), 0);
    orv_buffer_free(nullptr), orv_buffer_reset(nullptr, 0), orv_buffer_resize(nullptr, 4, 0);
    orv_buffer_set_length(nullptr, 1), orv_buffer_move(nullptr, 1);
    EXPECT_EQ((orv_buffer_data(nullptr) != nullptr) + orv_buffer_length(nullptr) +
                  orv_buffer_remain(nullptr) + orv_buffer_putval(nullptr, 1) +
                  orv_buffer_putbuf(nullptr, "a", 1) + orv_buffer_putbuf(b, nullptr, 1),
              0);
    orv_buffer_free(b);
}

// Out of memory: create gives null whichever block failed; a failed resize leaves data null
// and everything but free and resize refusing. No leak (ASan).
TEST(Buffer, AllocationFailures) {
    const auto child = orv_test::run_in_child([] {
        for (int nth : {1, 2}) {
            orv::internal::fail_allocation(nth);
            EXPECT_EQ(orv_buffer_create(4), nullptr) << nth;
        }
        orv_buffer_t *b = orv_buffer_create(4);
        orv_buffer_putbuf(b, "ab", 2);
        orv::internal::fail_allocation(1);
        orv_buffer_resize(b, 8, 'x');
        orv_buffer_set_length(b, 0), orv_buffer_move(b, 1), orv_buffer_reset(b, 0);
        EXPECT_TRUE(b->data == nullptr && b->capacity == 8 && orv_buffer_length(b) == 2);
        EXPECT_EQ(orv_buffer_putval(b, 1) + orv_buffer_putbuf(b, "a", 1), 0);
        orv_buffer_free(b);  // with null data: the record alone
    });
    EXPECT_TRUE(child.ok()) << child;
}

}  // namespace
