// The byte ring: one writer inside the ring, reader cursors outside it.
// Every copy is at most two memcpy calls: up to the end of the storage,
// then from its start.
#include "orvsys/orv_roundbuf.h"

#include <cstdlib>
#include <cstring>

#include "internal/alloc.h"

namespace {

bool valid_cursor(const orv_roundbuf_t *ring, const int *cursor) {
    return ring != nullptr && cursor != nullptr && *cursor >= 0 && *cursor < ring->size;
}

}  // namespace

extern "C" {

ORV_API orv_roundbuf_t *orv_roundbuf_create(int size) {
    if (size < 1) return nullptr;
    // The record and its storage in one block, the storage behind the record.
    void *block = orv::internal::zalloc(1, sizeof(orv_roundbuf_t) + static_cast<size_t>(size));
    if (block == nullptr) return nullptr;
    auto *ring = static_cast<orv_roundbuf_t *>(block);
    ring->data = reinterpret_cast<uint8_t *>(ring + 1);
    ring->size = size;
    return ring;
}

ORV_API void orv_roundbuf_free(orv_roundbuf_t *ring) { std::free(ring); }

ORV_API void orv_roundbuf_reset(orv_roundbuf_t *ring, uint8_t fill) {
    if (ring == nullptr) return;
    std::memset(ring->data, fill, static_cast<size_t>(ring->size));
    ring->write_pos = 0;
}

ORV_API int orv_roundbuf_putval(orv_roundbuf_t *ring, uint8_t byte) {
    if (ring == nullptr) return 0;
    ring->data[ring->write_pos] = byte;
    ring->write_pos = (ring->write_pos + 1) % ring->size;
    return 1;
}

ORV_API int orv_roundbuf_putbuf(orv_roundbuf_t *ring, const void *source, int length) {
    if (ring == nullptr || source == nullptr || length < 1) return 0;
    const auto *bytes = static_cast<const uint8_t *>(source);
    const int size = ring->size, pos = ring->write_pos;
    if (pos + length <= size) {
        std::memcpy(ring->data + pos, bytes, static_cast<size_t>(length));
        ring->write_pos = (pos + length) % size;
        return length;
    }
    // Up to the end, then at most one lap from the start: a longer source
    // is cut, never written a third time round.
    const int first = size - pos, rest = length - first;
    const int second = rest < size ? rest : size;
    std::memcpy(ring->data + pos, bytes, static_cast<size_t>(first));
    std::memcpy(ring->data, bytes + first, static_cast<size_t>(second));
    ring->write_pos = second % size;
    return first + second;
}

ORV_API int orv_roundbuf_getval(orv_roundbuf_t *ring, int *cursor, uint8_t *byte) {
    if (!valid_cursor(ring, cursor)) return 0;
    *byte = ring->data[*cursor];
    *cursor = (*cursor + 1) % ring->size;
    return 1;
}

ORV_API int orv_roundbuf_getbuf(orv_roundbuf_t *ring, int *cursor, void *destination, int length) {
    if (!valid_cursor(ring, cursor) || destination == nullptr || length < 1) return 0;
    auto *out = static_cast<uint8_t *>(destination);
    const int from = *cursor, unread = orv_roundbuf_unread(ring, from);
    const int n = length < unread ? length : unread;
    if (n == 0) return 0;
    if (from <= ring->write_pos || from + n < ring->size) {
        std::memcpy(out, ring->data + from, static_cast<size_t>(n));
    } else {
        const int first = ring->size - from;
        std::memcpy(out, ring->data + from, static_cast<size_t>(first));
        std::memcpy(out + first, ring->data, static_cast<size_t>(n - first));
    }
    *cursor = (from + n) % ring->size;
    return n;
}

ORV_API int orv_roundbuf_unread(orv_roundbuf_t *ring, int cursor) {
    if (ring == nullptr) return 0;
    return ring->write_pos >= cursor ? ring->write_pos - cursor
                                     : ring->write_pos + ring->size - cursor;
}

ORV_API int orv_roundbuf_remain(orv_roundbuf_t *ring, int cursor) {
    if (ring == nullptr) return 0;
    // One byte is held back, so a full ring is never mistaken for an empty one.
    if (ring->write_pos > cursor) return ring->size - (ring->write_pos - cursor) - 1;
    if (ring->write_pos < cursor) return cursor - ring->write_pos - 1;
    return ring->size - 1;
}

ORV_API int orv_roundbuf_back(orv_roundbuf_t *ring, int *cursor, int count) {
    if (ring == nullptr || cursor == nullptr || count < 1) return 0;
    // A signed remainder: a count beyond size + cursor leaves a negative cursor.
    *cursor = (ring->size + *cursor - count) % ring->size;
    return 1;
}

}  // extern "C"
