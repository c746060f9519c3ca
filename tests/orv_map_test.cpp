// The hash map. In a table of 13 buckets "a" (0x61), "n" (0x6E) and the two bytes 1B 10
// (0x1C0) share bucket 6; "a" and 1B 10 still share one (16) at 27 buckets. Each entry's
// value is a letter, so a walk or a release spells what it met.
#include "orvsys/orv_map.h"

#include <string>

#include "internal/alloc.h"
#include "internal/map.h"
#include "support/orv_test.h"

namespace {

std::string g_released;
int Release(uintptr_t value) { return g_released += static_cast<char>(value), 0; }

orv_map_entry_t *Put(orv_map_t *map, const std::string &key, char value) {
    return orv_map_insert(map, key.data(), static_cast<uint32_t>(key.size()), value);
}

// The values met by a walk from first, each step by step.
std::string Walk(orv_map_t *map, orv_map_entry_t *first,
                 orv_map_entry_t *(*step)(orv_map_t *, orv_map_entry_t *)) {
    std::string s;
    for (orv_map_entry_t *e = first; e != nullptr; e = step(map, e))
        s += static_cast<char>(e->value);
    return s;
}
std::string Forward(orv_map_t *map) { return Walk(map, orv_map_begin(map), orv_map_next); }
// "size count status forward|backward".
std::string Dump(orv_map_t *map) {
    return std::to_string(map->size) + " " + std::to_string(orv_map_count(map)) + " " +
           std::to_string(map->status) + " " + Forward(map) + "|" +
           Walk(map, orv_map_end(map), orv_map_prev);
}

TEST(Map, HashAndBucketCounts) {
    // clang-format off
    struct Hash { std::string key; uint32_t hash; };
    const Hash hashes[] = {{"", 0}, {"a", 0x61}, {"ab", 0x672}, {"abc", 0x6783},
        {"abcdefgh", 0x89ABAA8}, {std::string(8, '\xFF'), 0x10EF}, {"\x1B\x10", 0x1C0}};
    const std::pair<int, const char *> sizes[] = {{0, "13 0 0 |"}, {-5, "13 0 0 |"},
        {13, "13 0 0 |"}, {14, "15 0 0 |"}, {20, "21 0 0 |"}, {100, "101 0 0 |"}};
    // clang-format on
    for (const Hash &row : hashes)
        EXPECT_EQ(orv_map_hash(row.key.data(), static_cast<uint32_t>(row.key.size())), row.hash)
            << row.key;
    for (const auto &[asked, want] : sizes) {
        orv_map_t *map = orv_map_create(asked, 0);
        EXPECT_EQ(Dump(map), want) << asked;
        orv_map_free(map, nullptr);
    }
    // An insert that finds count == size doubles first, a key already there too.
    orv_map_t *map = orv_map_create(0, 0);
    for (int i = 1; i <= 112; ++i) {
        Put(map, std::to_string(i), 'v');
        const int want = i <= 13 ? 13 : i <= 27 ? 27 : i <= 55 ? 55 : i <= 111 ? 111 : 223;
        const std::string earlier = std::to_string(i / 2 + 1);  // still found after a growth
        ASSERT_EQ(orv_map_find_v(map, earlier.data(), static_cast<uint32_t>(earlier.size())), 'v');
        ASSERT_TRUE(map->size == want && map->count == i) << i << ": " << map->size;
        if (i == 13) Put(map, "1", 'w');  // already there: grows all the same
        ASSERT_TRUE(i != 13 || (map->size == 27 && map->count == 13 && map->status == 2));
    }
    orv_map_free(map, nullptr);
}

TEST(Map, KeysStatusAndOwnership) {
    orv_map_t *map = orv_map_create(0, 0);  // empty: each miss sets status to 3
    EXPECT_TRUE(orv_map_find(map, "a", 1) == nullptr && Dump(map) == "13 0 3 |");
    map->status = ORV_MAP_OK;
    EXPECT_TRUE(orv_map_find_v(map, "a", 1) == 0 && map->status == ORV_MAP_NOT_FOUND);
    map->status = ORV_MAP_OK;
    EXPECT_TRUE(orv_map_remove(map, "a", 1, Release) == -1 && map->status == ORV_MAP_NOT_FOUND);
    // Prefixes, one bucket and first byte (ab, ao), zero bytes, the empty key: keys of their own.
    const std::string keys[] = {"ab", "ao", "a", std::string("a\0b", 3), ""};
    for (const std::string &key : keys)
        EXPECT_NE(Put(map, key, static_cast<char>('0' + key.size()))->key, key.data());
    orv_map_entry_t *first = orv_map_find(map, "a\0b", 3);
    EXPECT_EQ(orv_map_insert(map, "a\0b", 3, 'x'), first);
    EXPECT_TRUE(map->status == ORV_MAP_EXISTS && first->value == '3' && orv_map_count(map) == 5);
    EXPECT_TRUE(orv_map_find_v(map, "", 0) == '0' && map->status == ORV_MAP_OK);
    EXPECT_TRUE(orv_map_insert(map, "", 0, 'y')->value == '0' && map->status == ORV_MAP_EXISTS);
    EXPECT_TRUE(Put(map, "0", 0) && orv_map_find_v(map, "0", 1) == 0 && map->status == ORV_MAP_OK);
    orv_map_free(map, nullptr);
    // By reference: the caller's pointer, the first one of a key.
    map = orv_map_create(0, ORV_MAP_KEY_BY_REF);
    const std::string one = "key", two = "key";
    EXPECT_TRUE(Put(map, one, '1')->key == one.data() && Put(map, two, '2')->key == one.data());
    EXPECT_EQ(Dump(map), "13 1 2 1|1");
    orv_map_free(map, nullptr);
}

TEST(Map, WalksChainsAndRemoval) {
    orv_map_t *map = orv_map_create(0, 0);
    Put(map, "a", 'a'), Put(map, "\x1B\x10", 'x'), Put(map, "b", 'b'), Put(map, "", 'e');
    // The later key is the chain head; the backward walk also runs a chain head to tail.
    EXPECT_EQ(Dump(map), "13 4 0 exab|bxae");
    orv::internal::orv_map_rehash(map);  // 27: the pair stays together, swapped
    EXPECT_EQ(Dump(map), "27 4 0 eaxb|baxe");
    orv_map_free(map, nullptr);
    // A chain of three in bucket 6 (x n a): remove its head, middle or tail.
    // clang-format off
    struct Cut { const char *key; char value; const char *left; };
    for (const Cut &row : {Cut{"\x1B\x10", 'x', "na"}, {"n", 'n', "xa"}, {"a", 'a', "xn"}}) {
        // clang-format on
        const auto klen = static_cast<uint32_t>(std::strlen(row.key));
        map = orv_map_create(0, 0);
        Put(map, "a", 'a'), Put(map, "n", 'n'), Put(map, "\x1B\x10", 'x'), g_released.clear();
        EXPECT_EQ(orv_map_remove(map, row.key, klen, Release), 0);
        EXPECT_EQ(Dump(map), std::string("13 2 0 ").append(row.left).append("|").append(row.left));
        EXPECT_EQ(orv_map_remove(map, row.key, klen, nullptr), -1);
        orv_map_free(map, Release);  // once each: the removed one, then by bucket, head to tail
        EXPECT_EQ(g_released, row.value + std::string(row.left));
    }
}

// Out of memory, each allocation in turn: a create gives null; an insert gives null with
// the table as it was; a failed growth keeps the old buckets in use. No leak (ASan).
TEST(Map, AllocationFailures) {
    const auto child = orv_test::run_in_child([] {
        orv::internal::fail_allocation(1);  // the record, then the buckets
        orv_map_t *no_record = orv_map_create(0, 0);
        orv::internal::fail_allocation(2);
        EXPECT_TRUE(no_record == nullptr && orv_map_create(0, 0) == nullptr);
        for (int nth : {1, 2, 3}) {  // the new buckets, the entry, the key's copy
            orv_map_t *map = orv_map_create(0, 0);
            for (char key = 'a'; key < 'a' + 13; ++key) Put(map, std::string(1, key), key);
            map->status = 7;
            orv::internal::fail_allocation(nth);
            const bool stored = Put(map, "new", 'n') != nullptr;
            EXPECT_TRUE(stored == (nth == 1) && map->size == (nth == 1 ? 13 : 27) &&
                        map->count == 13 + stored && map->status == (stored ? ORV_MAP_OK : 7) &&
                        Forward(map).size() == 13u + stored)  // every entry still linked
                << nth;
            orv_map_free(map, nullptr);
        }
    });
    EXPECT_TRUE(child.ok()) << child;
}

}  // namespace
