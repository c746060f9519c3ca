/* orvsys: a fixed-capacity linear byte buffer.
 *
 * A block of storage with a fill level: appended to at the end, consumed
 * from the front. It never grows by itself; only orv_buffer_resize changes
 * the capacity, and it discards the contents. The bytes beyond `length`
 * hold whatever was last there: there is no terminator.
 *
 * Refusals are silent (0, null or nothing) and leave the buffer as it was.
 * No locks: callers serialise.
 */
#ifndef ORVSYS_ORV_BUFFER_H
#define ORVSYS_ORV_BUFFER_H

#include "orvsys/orv_base.h"

ORV_BEGIN_DECLS

/* A caller may read all three fields; only the operations write them. */
typedef struct orv_buffer_t {
    uint8_t *data; /* the storage, owned by the buffer; null only after a
                      failed orv_buffer_resize */
    int capacity;  /* bytes of storage, at least 1 */
    int length;    /* bytes in use from the start of data, 0..capacity */
} orv_buffer_t;

/* A buffer of size zeroed bytes, length 0; null for a size below 1 or when
 * memory runs out. */
ORV_API orv_buffer_t *orv_buffer_create(int size);
/* Releases the storage and the record; null does nothing. */
ORV_API void orv_buffer_free(orv_buffer_t *buffer);
/* Sets all capacity bytes to fill and length to 0. */
ORV_API void orv_buffer_reset(orv_buffer_t *buffer, uint8_t fill);
/* Replaces the storage (always, also for the same size: pointers from
 * orv_buffer_data die) with size bytes of fill, length 0; the contents are
 * dropped. Nothing for a size below 1. When memory runs out, data is null
 * and capacity the new size, length keeps its value, and every operation
 * but free and resize refuses until a later resize succeeds. */
ORV_API void orv_buffer_resize(orv_buffer_t *buffer, int size, uint8_t fill);
/* data; null for a null buffer. */
ORV_API uint8_t *orv_buffer_data(orv_buffer_t *buffer);
/* length; 0 for a null buffer. */
ORV_API int orv_buffer_length(orv_buffer_t *buffer);
/* Declares what a caller wrote through orv_buffer_data: length becomes the
 * value held to 0..capacity; no byte changes. */
ORV_API void orv_buffer_set_length(orv_buffer_t *buffer, int length);
/* capacity - length, at least 0; 0 for a null buffer. */
ORV_API int orv_buffer_remain(orv_buffer_t *buffer);
/* Appends one byte: 1, or 0 when it does not fit. */
ORV_API int orv_buffer_putval(orv_buffer_t *buffer, uint8_t byte);
/* Appends count bytes, all or none: 1, or 0 when they do not fit, for a
 * null source or a count below 1. */
ORV_API int orv_buffer_putbuf(orv_buffer_t *buffer, const void *source, int count);
/* Drops count bytes from the front, moving the rest to the start (the
 * bytes behind the new length stay as they were). Consuming all of them,
 * count >= length, zeroes the whole storage. A negative count does
 * nothing. */
ORV_API void orv_buffer_move(orv_buffer_t *buffer, int count);

ORV_END_DECLS

#endif /* ORVSYS_ORV_BUFFER_H */
