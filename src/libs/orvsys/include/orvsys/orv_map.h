/* orvsys: a chained hash map from counted byte keys to a pointer-sized
 * value.
 *
 * Keys are bytes with a length: no terminator, any byte, the empty key
 * too (it equals only itself). By default the table keeps its own copy of
 * each key; with ORV_MAP_KEY_BY_REF it keeps the caller's pointer, whose
 * bytes must then stay readable and unchanged while the entry lives.
 * Values are the caller's: the table releases them only through the
 * callback given to orv_map_remove or orv_map_free.
 *
 * The table doubles (size 2n+1) before an insert that finds as many
 * entries as buckets; it never shrinks. Entries are separate blocks, so an
 * entry pointer stays valid across growth until that entry is removed.
 * A walk may remove entries, the current one too, once it has fetched the
 * next; an insert during a walk may reorder everything.
 *
 * The table, key and entry arguments must not be null. No locks: callers
 * serialise, lookups too, since they write `status`.
 */
#ifndef ORVSYS_ORV_MAP_H
#define ORVSYS_ORV_MAP_H

#include "orvsys/orv_base.h"

ORV_BEGIN_DECLS

/* Flag of orv_map_create: keep the caller's key pointers, not copies. */
#define ORV_MAP_KEY_BY_REF 1u

/* Values of orv_map_t.status. */
enum { ORV_MAP_OK = 0, ORV_MAP_EXISTS = 2, ORV_MAP_NOT_FOUND = 3 };

/* One key and its value. A caller may read every field and write `value`;
 * the links belong to the table. */
typedef struct orv_map_entry_t {
    const void *key;              /* the key's bytes, klen of them */
    uint32_t klen;                /* key length in bytes */
    uintptr_t value;              /* the caller's value */
    struct orv_map_entry_t *next; /* next in the bucket's chain, or null */
    struct orv_map_entry_t *prev; /* previous in the chain, or null */
} orv_map_entry_t;

/* The table. A caller may read size, count, flags and status (the outcome
 * of the last insert, remove or lookup); the rest belongs to the table. */
typedef struct orv_map_t {
    int size;                  /* buckets, odd, at least 13 */
    int count;                 /* entries */
    orv_map_entry_t **buckets; /* size chain heads */
    uint32_t flags;            /* as given to orv_map_create */
    int status;                /* ORV_MAP_OK, ORV_MAP_EXISTS or ORV_MAP_NOT_FOUND */
    uint32_t (*hash)(const void *key, uint32_t klen); /* orv_map_hash */
} orv_map_t;

/* Receives an entry's value when the table lets go of it; its result is
 * ignored. */
typedef int (*orv_map_value_fn)(uintptr_t value);

/* A table of the requested buckets forced odd (13 for fewer than 13: 14
 * gives 15, 20 gives 21). Null when memory runs out. */
ORV_API orv_map_t *orv_map_create(int buckets, uint32_t flags);
/* Calls release (if not null) once for every value, releases the keys the
 * table copied, the entries and the table. */
ORV_API void orv_map_free(orv_map_t *map, orv_map_value_fn release);
/* The entry for key: a new one (status ORV_MAP_OK), or the one already
 * there (status ORV_MAP_EXISTS, its value kept, value dropped). Null when
 * memory for the new entry runs out: the table, status included, is then
 * as it was, apart from a growth already done. A growth that runs out of
 * memory leaves the old buckets in use. */
ORV_API orv_map_entry_t *orv_map_insert(orv_map_t *map, const void *key, uint32_t klen,
                                        uintptr_t value);
/* Unlinks the entry for key, calls release (if not null) with its value
 * and frees it: 0. -1 and status ORV_MAP_NOT_FOUND when key is absent. */
ORV_API int orv_map_remove(orv_map_t *map, const void *key, uint32_t klen,
                           orv_map_value_fn release);
/* The entry for key, or null; status ORV_MAP_OK or ORV_MAP_NOT_FOUND. */
ORV_API orv_map_entry_t *orv_map_find(orv_map_t *map, const void *key, uint32_t klen);
/* The value for key, or 0 when absent: only status tells a stored 0 from
 * a miss. */
ORV_API uintptr_t orv_map_find_v(orv_map_t *map, const void *key, uint32_t klen);
/* count. */
ORV_API int orv_map_count(orv_map_t *map);
/* Walks: forward from the lowest bucket up, backward from the highest
 * down, each chain head to tail in both directions (so the backward walk
 * is not the forward one reversed when a bucket holds two). Each visits
 * every entry once; null at the end or for an empty table. */
ORV_API orv_map_entry_t *orv_map_begin(orv_map_t *map);
ORV_API orv_map_entry_t *orv_map_next(orv_map_t *map, orv_map_entry_t *entry);
ORV_API orv_map_entry_t *orv_map_end(orv_map_t *map);
ORV_API orv_map_entry_t *orv_map_prev(orv_map_t *map, orv_map_entry_t *entry);
/* The PJW hash of the ELF symbol table over klen bytes: 0 for the empty
 * key, "ab" 0x672, top four bits always 0. */
ORV_API uint32_t orv_map_hash(const void *key, uint32_t klen);

ORV_END_DECLS

#endif /* ORVSYS_ORV_MAP_H */
