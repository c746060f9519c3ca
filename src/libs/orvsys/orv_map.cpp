// The chained hash map. Entries and copied keys are blocks of their own;
// each chain is walked from its head with the cheap tests first (length,
// then first byte) before memcmp, and a key is hashed in one pass.
#include "orvsys/orv_map.h"

#include <climits>
#include <cstdlib>
#include <cstring>

#include "internal/alloc.h"
#include "internal/map.h"

using orv::internal::zalloc;

namespace {

constexpr int kMinBuckets = 13;

// PJW over counted bytes, unsigned 32-bit arithmetic throughout.
inline uint32_t pjw_hash(const uint8_t *bytes, uint32_t klen) {
    uint32_t h = 0;
    for (const uint8_t *end = bytes + klen; bytes != end; ++bytes) {
        h = (h << 4) + *bytes;
        const uint32_t g = h & 0xF0000000u;
        if (g != 0) h ^= (g >> 24) ^ g;
    }
    return h;
}

// The map's own hash inline, any other through the record's pointer.
inline uint32_t bucket_of(const orv_map_t *map, const void *key, uint32_t klen) {
    const uint32_t h = map->hash == orv_map_hash ? pjw_hash(static_cast<const uint8_t *>(key), klen)
                                                 : map->hash(key, klen);
    return h % static_cast<uint32_t>(map->size);
}

// Equal length, then equal first byte, then memcmp. Empty keys have no
// first byte to read: two of them are equal.
inline bool same_key(const orv_map_entry_t *entry, const uint8_t *key, uint32_t klen) {
    if (entry->klen != klen) return false;
    if (klen == 0) return true;
    const auto *held = static_cast<const uint8_t *>(entry->key);
    return held[0] == key[0] && std::memcmp(held, key, klen) == 0;
}

inline orv_map_entry_t *find_in(orv_map_entry_t *chain, const void *key, uint32_t klen) {
    const auto *bytes = static_cast<const uint8_t *>(key);
    while (chain != nullptr && !same_key(chain, bytes, klen)) chain = chain->next;
    return chain;
}

inline void link_head(orv_map_entry_t **head, orv_map_entry_t *entry) {
    entry->prev = nullptr;
    entry->next = *head;
    if (*head != nullptr) (*head)->prev = entry;
    *head = entry;
}

inline bool keys_by_ref(const orv_map_t *map) { return (map->flags & ORV_MAP_KEY_BY_REF) != 0; }

// The head of the first non-empty bucket from `from` on, going by step;
// null past either end.
orv_map_entry_t *head_from(const orv_map_t *map, int from, int step) {
    for (int i = from; i >= 0 && i < map->size; i += step)
        if (map->buckets[i] != nullptr) return map->buckets[i];
    return nullptr;
}

void release_entry(orv_map_t *map, orv_map_entry_t *entry, orv_map_value_fn release) {
    if (release != nullptr) release(entry->value);
    if (!keys_by_ref(map)) std::free(const_cast<void *>(entry->key));
    std::free(entry);
}

}  // namespace

namespace orv::internal {

bool orv_map_setup_table(orv_map_t *map, int n) {
    n |= 1;
    auto *buckets =
        static_cast<orv_map_entry_t **>(zalloc(static_cast<size_t>(n), sizeof(orv_map_entry_t *)));
    if (buckets == nullptr) return false;
    map->buckets = buckets;
    map->size = n;
    map->count = 0;
    return true;
}

void orv_map_rehash(orv_map_t *map) {
    const int old_size = map->size;
    orv_map_entry_t **old = map->buckets;
    if (old_size > INT_MAX / 2 || !orv_map_setup_table(map, old_size * 2)) return;
    // Entries are relinked in visiting order (old buckets first to last, each chain head to
    // tail), a batch at a time: first every key of the batch is hashed, then every entry is
    // linked. The order, and so every new chain, is that of relinking one by one; the batch
    // only lets the memory reads of a batch overlap (each key is read again to hash it, as
    // no hash is kept in the entry).
    constexpr int kBatch = 16;
    orv_map_entry_t *batch[kBatch];
    uint32_t slot[kBatch];
    orv_map_entry_t *next = nullptr;
    for (int bucket = 0;;) {
        int n = 0;
        while (n < kBatch && (next != nullptr || bucket < old_size)) {
            if (next == nullptr) {
                if (bucket + kBatch < old_size) __builtin_prefetch(old[bucket + kBatch]);
                next = old[bucket++];
                continue;
            }
            __builtin_prefetch(next->key);
            batch[n++] = next;
            next = next->next;
        }
        if (n == 0) break;
        for (int i = 0; i < n; ++i) {
            slot[i] = bucket_of(map, batch[i]->key, batch[i]->klen);
            __builtin_prefetch(&map->buckets[slot[i]], 1);
        }
        for (int i = 0; i < n; ++i) link_head(&map->buckets[slot[i]], batch[i]);
        map->count += n;
    }
    std::free(old);
}

}  // namespace orv::internal

extern "C" {

ORV_API uint32_t orv_map_hash(const void *key, uint32_t klen) {
    return pjw_hash(static_cast<const uint8_t *>(key), klen);
}

ORV_API orv_map_t *orv_map_create(int buckets, uint32_t flags) {
    auto *map = static_cast<orv_map_t *>(zalloc(1, sizeof(orv_map_t)));
    if (map == nullptr) return nullptr;
    if (!orv::internal::orv_map_setup_table(map, buckets < kMinBuckets ? kMinBuckets : buckets)) {
        std::free(map);
        return nullptr;
    }
    map->flags = flags;
    map->hash = orv_map_hash;
    return map;
}

ORV_API void orv_map_free(orv_map_t *map, orv_map_value_fn release) {
    for (int i = 0; i < map->size; ++i) {
        for (orv_map_entry_t *entry = map->buckets[i], *next; entry != nullptr; entry = next) {
            next = entry->next;
            release_entry(map, entry, release);
        }
    }
    std::free(map->buckets);
    std::free(map);
}

ORV_API orv_map_entry_t *orv_map_insert(orv_map_t *map, const void *key, uint32_t klen,
                                        uintptr_t value) {
    // Growth comes first, also for a key that turns out to be there.
    if (map->count >= map->size) orv::internal::orv_map_rehash(map);
    orv_map_entry_t **head = &map->buckets[bucket_of(map, key, klen)];
    if (orv_map_entry_t *found = find_in(*head, key, klen)) {
        map->status = ORV_MAP_EXISTS;
        return found;
    }
    // The key's copy is taken first, so that it lies just before its entry in memory and a
    // lookup that reads the entry often finds the key's bytes in the same cache line.
    void *copy = nullptr;
    if (!keys_by_ref(map)) {
        // An empty key still gets a block of its own (one byte, never read), so that every
        // copied key is a block to release.
        copy = zalloc(klen != 0 ? klen : 1, 1);
        if (copy == nullptr) return nullptr;
        if (klen != 0) std::memcpy(copy, key, klen);
    }
    auto *entry = static_cast<orv_map_entry_t *>(zalloc(1, sizeof(orv_map_entry_t)));
    if (entry == nullptr) {
        std::free(copy);
        return nullptr;
    }
    entry->key = copy != nullptr ? copy : key;
    entry->klen = klen;
    entry->value = value;
    link_head(head, entry);
    ++map->count;
    map->status = ORV_MAP_OK;
    return entry;
}

ORV_API int orv_map_remove(orv_map_t *map, const void *key, uint32_t klen,
                           orv_map_value_fn release) {
    orv_map_entry_t **head = &map->buckets[bucket_of(map, key, klen)];
    orv_map_entry_t *entry = find_in(*head, key, klen);
    if (entry == nullptr) {
        map->status = ORV_MAP_NOT_FOUND;
        return -1;
    }
    if (entry->next != nullptr) entry->next->prev = entry->prev;
    (entry->prev != nullptr ? entry->prev->next : *head) = entry->next;
    release_entry(map, entry, release);
    --map->count;
    map->status = ORV_MAP_OK;
    return 0;
}

ORV_API orv_map_entry_t *orv_map_find(orv_map_t *map, const void *key, uint32_t klen) {
    orv_map_entry_t *entry = find_in(map->buckets[bucket_of(map, key, klen)], key, klen);
    map->status = entry != nullptr ? ORV_MAP_OK : ORV_MAP_NOT_FOUND;
    return entry;
}

ORV_API uintptr_t orv_map_find_v(orv_map_t *map, const void *key, uint32_t klen) {
    const orv_map_entry_t *entry = orv_map_find(map, key, klen);
    return entry != nullptr ? entry->value : 0;
}

ORV_API int orv_map_count(orv_map_t *map) { return map->count; }

ORV_API orv_map_entry_t *orv_map_begin(orv_map_t *map) { return head_from(map, 0, 1); }

ORV_API orv_map_entry_t *orv_map_end(orv_map_t *map) { return head_from(map, map->size - 1, -1); }

ORV_API orv_map_entry_t *orv_map_next(orv_map_t *map, orv_map_entry_t *entry) {
    if (entry->next != nullptr) return entry->next;
    return head_from(map, static_cast<int>(bucket_of(map, entry->key, entry->klen)) + 1, 1);
}

// Follows next, not prev: inside a chain both walks go from head to tail.
ORV_API orv_map_entry_t *orv_map_prev(orv_map_t *map, orv_map_entry_t *entry) {
    if (entry->next != nullptr) return entry->next;
    return head_from(map, static_cast<int>(bucket_of(map, entry->key, entry->klen)) - 1, -1);
}

}  // extern "C"
