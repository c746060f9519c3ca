// The fixed-capacity linear byte buffer.
#include "orvsys/orv_buffer.h"

#include <cstdlib>
#include <cstring>

#include "internal/alloc.h"

using orv::internal::zalloc;

extern "C" {

ORV_API orv_buffer_t *orv_buffer_create(int size) {
    if (size < 1) return nullptr;
    auto *buffer = static_cast<orv_buffer_t *>(zalloc(1, sizeof(orv_buffer_t)));
    if (buffer == nullptr) return nullptr;
    buffer->data = static_cast<uint8_t *>(zalloc(static_cast<size_t>(size), 1));
    if (buffer->data == nullptr) {
        std::free(buffer);
        return nullptr;
    }
    buffer->capacity = size;
    return buffer;
}

ORV_API void orv_buffer_free(orv_buffer_t *buffer) {
    if (buffer == nullptr) return;
    std::free(buffer->data);
    std::free(buffer);
}

ORV_API void orv_buffer_reset(orv_buffer_t *buffer, uint8_t fill) {
    if (buffer == nullptr || buffer->data == nullptr) return;
    std::memset(buffer->data, fill, static_cast<size_t>(buffer->capacity));
    buffer->length = 0;
}

ORV_API void orv_buffer_resize(orv_buffer_t *buffer, int size, uint8_t fill) {
    if (buffer == nullptr || size < 1) return;
    // The old contents are dropped first, as they are never carried over;
    // a failed allocation leaves data null and length as it was.
    std::free(buffer->data);
    buffer->data = static_cast<uint8_t *>(zalloc(static_cast<size_t>(size), 1));
    buffer->capacity = size;
    orv_buffer_reset(buffer, fill);
}

ORV_API uint8_t *orv_buffer_data(orv_buffer_t *buffer) {
    return buffer != nullptr ? buffer->data : nullptr;
}

ORV_API int orv_buffer_length(orv_buffer_t *buffer) {
    return buffer != nullptr ? buffer->length : 0;
}

ORV_API void orv_buffer_set_length(orv_buffer_t *buffer, int length) {
    if (buffer == nullptr || buffer->data == nullptr) return;
    buffer->length = length < 0 ? 0 : length > buffer->capacity ? buffer->capacity : length;
}

ORV_API int orv_buffer_remain(orv_buffer_t *buffer) {
    if (buffer == nullptr) return 0;
    const int remain = buffer->capacity - buffer->length;
    return remain > 0 ? remain : 0;
}

ORV_API int orv_buffer_putval(orv_buffer_t *buffer, uint8_t byte) {
    if (buffer == nullptr || buffer->data == nullptr || buffer->length + 1 > buffer->capacity)
        return 0;
    buffer->data[buffer->length++] = byte;
    return 1;
}

ORV_API int orv_buffer_putbuf(orv_buffer_t *buffer, const void *source, int count) {
    if (buffer == nullptr || buffer->data == nullptr || source == nullptr || count < 1) return 0;
    if (count > buffer->capacity - buffer->length) return 0;  // all or nothing
    std::memcpy(buffer->data + buffer->length, source, static_cast<size_t>(count));
    buffer->length += count;
    return 1;
}

ORV_API void orv_buffer_move(orv_buffer_t *buffer, int count) {
    // A negative count has no meaning here and is refused.
    if (buffer == nullptr || buffer->data == nullptr || count < 0) return;
    if (buffer->length > count) {
        buffer->length -= count;
        std::memmove(buffer->data, buffer->data + count, static_cast<size_t>(buffer->length));
    } else {
        orv_buffer_reset(buffer, 0);
    }
}

}  // extern "C"
