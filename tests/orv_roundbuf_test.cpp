// The byte ring (8 bytes): the writer's two pieces, the readers' arithmetic, copies over the end.
#include "orvsys/orv_roundbuf.h"

#include <string>

#include "internal/alloc.h"
#include "support/orv_test.h"

namespace {

// A ring of size whose writer stands at pos, every byte '.'.
orv_roundbuf_t *RingAt(int pos, int size = 8) {
    orv_roundbuf_t *ring = orv_roundbuf_create(size);
    orv_roundbuf_reset(ring, '.');
    ring->write_pos = pos;
    return ring;
}

// "result/write_pos bytes".
std::string State(const orv_roundbuf_t *ring, int result) {
    return std::to_string(result) + "/" + std::to_string(ring->write_pos) + " " +
           std::string(reinterpret_cast<const char *>(ring->data), ring->size);
}

TEST(Ring, PutbufWritesAtMostTwoPieces) {
    // clang-format off
    struct Row { int pos, length; const char *want; };
    const Row rows[] = {{0, 3, "3/3 ABC....."}, {5, 3, "3/0 .....ABC"}, {7, 1, "1/0 .......A"},
        {7, 2, "2/1 B......A"}, {6, 4, "4/2 CD....AB"}, {0, 8, "8/0 ABCDEFGH"},
        {0, 9, "9/1 IBCDEFGH"}, {6, 10, "10/0 CDEFGHIJ"}, {6, 11, "10/0 CDEFGHIJ"},
        {6, 20, "10/0 CDEFGHIJ"}, {0, 20, "16/0 IJKLMNOP"}, {3, 0, "0/3 ........"}};
    // clang-format on
    for (const Row &row : rows) {
        orv_roundbuf_t *ring = RingAt(row.pos);
        const int result = orv_roundbuf_putbuf(ring, "ABCDEFGHIJKLMNOPQRST", row.length);
        EXPECT_EQ(State(ring, result), row.want) << row.pos << "+" << row.length;
        orv_roundbuf_free(ring);
    }
}

// Unread and remain as one number (unread * 10 + remain); back as result * 10 + cursor after.
TEST(Ring, UnreadRemainAndBack) {
    // clang-format off
    struct Row { int pos, cursor, both; };
    const Row rows[] = {{0, 0, 7}, {3, 3, 7}, {5, 2, 34}, {7, 0, 70}, {2, 6, 43}, {0, 1, 70}};
    struct Back { int cursor, count, both; };
    const Back backs[] = {{3, 1, 12}, {1, 3, 16}, {0, 8, 10}, {1, 9, 10}, {0, 9, 9}, {4, 0, 4}};
    // clang-format on
    orv_roundbuf_t *r = RingAt(0);
    for (const Row &row : rows) {
        r->write_pos = row.pos;
        EXPECT_EQ(orv_roundbuf_unread(r, row.cursor) * 10 + orv_roundbuf_remain(r, row.cursor),
                  row.both);
    }
    r->write_pos = 5;  // plays no part in going back
    for (const Back &row : backs) {
        int cursor = row.cursor;
        EXPECT_EQ(orv_roundbuf_back(r, &cursor, row.count) * 10 + cursor, row.both) << row.count;
    }
    orv_roundbuf_free(r);
}

// A reader follows the writer: pieces over the end come back in written order.
TEST(Ring, ReadersFollowTheWriter) {
    orv_roundbuf_t *ring = RingAt(6);
    int cursor = 6;
    char out[16] = {};
    EXPECT_EQ(orv_roundbuf_putbuf(ring, "ABCDE", 5), 5);
    EXPECT_EQ(orv_roundbuf_getbuf(ring, &cursor, out, 3), 3);       // over the end: two pieces
    EXPECT_EQ(orv_roundbuf_getbuf(ring, &cursor, out + 3, 16), 2);  // only the unread ones
    EXPECT_EQ(std::string(out) + std::to_string(cursor), "ABCDE3");
    EXPECT_EQ(orv_roundbuf_getbuf(ring, &cursor, out, 16) + cursor, 0 + 3);  // nothing unread
    cursor = 7;
    ASSERT_EQ(orv_roundbuf_putbuf(ring, "xy", 2), 2);                            // write_pos 5
    EXPECT_EQ(orv_roundbuf_getbuf(ring, &cursor, out, 1) + cursor * 10, 1 + 0);  // ends at the end
    uint8_t byte = 0;
    cursor = 5;  // at the writer: the old byte, and past it
    EXPECT_TRUE(orv_roundbuf_getval(ring, &cursor, &byte) == 1 && byte == '.' && cursor == 6);
    EXPECT_EQ(State(ring, orv_roundbuf_putval(ring, 'z')), "1/6 CDExyzAB");
    orv_roundbuf_free(ring);
}

TEST(Ring, RefusalsAndAllocation) {
    EXPECT_TRUE(orv_roundbuf_create(0) == nullptr && orv_roundbuf_create(-1) == nullptr);
    orv_roundbuf_free(nullptr), orv_roundbuf_reset(nullptr, 0);
    int cursor = 0, low = -1, high = 8;
    uint8_t byte = 0;
    EXPECT_EQ(orv_roundbuf_putval(nullptr, 1) + orv_roundbuf_putbuf(nullptr, "a", 1) +
                  orv_roundbuf_getval(nullptr, &cursor, &byte) + orv_roundbuf_unread(nullptr, 0) +
                  orv_roundbuf_getbuf(nullptr, &cursor, &byte, 1) +
                  orv_roundbuf_remain(nullptr, 0) + orv_roundbuf_back(nullptr, &cursor, 1),
              0);
    orv_roundbuf_t *ring = RingAt(2);
    EXPECT_EQ(
        orv_roundbuf_putbuf(ring, nullptr, 1) + orv_roundbuf_getval(ring, nullptr, &byte) +
            orv_roundbuf_getbuf(ring, &cursor, nullptr, 1) +
            orv_roundbuf_getbuf(ring, &cursor, &byte, 0) + orv_roundbuf_getval(ring, &low, &byte) +
            orv_roundbuf_getbuf(ring, &low, &byte, 1) + orv_roundbuf_getval(ring, &high, &byte) +
            orv_roundbuf_getbuf(ring, &high, &byte, 1) + orv_roundbuf_back(ring, nullptr, 1) +
            ring->write_pos + cursor + low + high,
        2 + 0 - 1 + 8);
    EXPECT_EQ(ring->data, reinterpret_cast<uint8_t *>(ring + 1));  // one block, storage behind
    orv_roundbuf_free(ring);
    const auto child = orv_test::run_in_child([] {
        orv::internal::fail_allocation(1);
        EXPECT_EQ(orv_roundbuf_create(8), nullptr);
    });
    EXPECT_TRUE(child.ok()) << child;
}

}  // namespace
