/* orvsys: a byte ring with one writer and any number of reader cursors.
 *
 * The writer never waits and never looks at a reader: it overwrites the
 * oldest bytes. A reader's cursor is a plain int (0..size-1) kept by the
 * reader and handed to the read operations, so reading changes nothing in
 * the ring and one ring feeds any number of readers. A cursor equal to
 * write_pos has nothing unread, so a reader sees at most size-1 unread
 * bytes; nothing detects a writer lapping a reader (ask
 * orv_roundbuf_remain before writing to spare one).
 *
 * The record and its storage are one block: the record cannot be copied
 * or moved. No locks and nothing atomic: callers serialise, a writer and a
 * reader on two threads too.
 */
#ifndef ORVSYS_ORV_ROUNDBUF_H
#define ORVSYS_ORV_ROUNDBUF_H

#include "orvsys/orv_base.h"

ORV_BEGIN_DECLS

/* A caller may read the fields; only the operations write them. */
typedef struct orv_roundbuf_t {
    uint8_t *data; /* the storage, directly behind the record */
    int size;      /* bytes of storage, at least 1 */
    int write_pos; /* where the next byte goes, 0..size-1 */
} orv_roundbuf_t;

/* A ring of size zeroed bytes, write_pos 0; null for a size below 1 or
 * when memory runs out. */
ORV_API orv_roundbuf_t *orv_roundbuf_create(int size);
/* Releases the ring; null does nothing. */
ORV_API void orv_roundbuf_free(orv_roundbuf_t *ring);
/* All bytes to fill and write_pos 0; the readers' cursors are theirs. */
ORV_API void orv_roundbuf_reset(orv_roundbuf_t *ring, uint8_t fill);
/* Stores one byte and moves write_pos on: 1; 0 for a null ring. */
ORV_API int orv_roundbuf_putval(orv_roundbuf_t *ring, uint8_t byte);
/* Writes in at most two pieces (to the end of the storage, then from its
 * start) and returns the bytes copied in: the smaller of length and
 * 2 * size - write_pos, so the end of a longer source is not taken. A
 * write of more than size bytes overwrites its own start. 0 for a null
 * ring or source or a length below 1. */
ORV_API int orv_roundbuf_putbuf(orv_roundbuf_t *ring, const void *source, int length);
/* The byte at *cursor into *byte (which must be valid), and the cursor on
 * by one: 1. Does not look at write_pos: at a cursor with nothing unread
 * it yields the old byte. 0 for a null ring or cursor, or a cursor
 * outside 0..size-1. */
ORV_API int orv_roundbuf_getval(orv_roundbuf_t *ring, int *cursor, uint8_t *byte);
/* Copies up to length unread bytes, in written order, to destination and
 * moves the cursor past them; returns the count, 0 when nothing is unread
 * or on a refusal (as getval, and for a null destination or a length
 * below 1), which leaves the cursor. */
ORV_API int orv_roundbuf_getbuf(orv_roundbuf_t *ring, int *cursor, void *destination, int length);
/* Bytes between cursor and write_pos; with orv_roundbuf_remain it adds up
 * to size-1 for any cursor in range. 0 for a null ring. */
ORV_API int orv_roundbuf_unread(orv_roundbuf_t *ring, int cursor);
/* Bytes that can be written without reaching cursor. 0 for a null ring. */
ORV_API int orv_roundbuf_remain(orv_roundbuf_t *ring, int cursor);
/* Moves the cursor back by count, modulo size, to read again; write_pos
 * plays no part. A count above size + cursor leaves a negative cursor,
 * which the reads refuse. 1; 0 for a null ring or cursor, or a count
 * below 1. */
ORV_API int orv_roundbuf_back(orv_roundbuf_t *ring, int *cursor, int count);

ORV_END_DECLS

#endif /* ORVSYS_ORV_ROUNDBUF_H */
