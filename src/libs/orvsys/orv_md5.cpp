// MD5 as RFC 1321 gives it. The block transform is written out round by round
// with the constants in place; it is the one place where the library's speed
// is pure computation.
#include "orvsys/orv_md5.h"

#include <cstring>

#include "orvsys/orv_numtext.h"

namespace {

// The padding block: 0x80 and 63 zero bytes, never written.
constexpr uint8_t kPadding[64] = {0x80};

inline uint32_t rotate_left(uint32_t x, int n) { return (x << n) | (x >> (32 - n)); }

inline uint32_t load_le(const uint8_t *p) {
    return static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8 |
           static_cast<uint32_t>(p[2]) << 16 | static_cast<uint32_t>(p[3]) << 24;
}

inline void store_le(uint8_t *p, uint32_t x) {
    p[0] = static_cast<uint8_t>(x), p[1] = static_cast<uint8_t>(x >> 8);
    p[2] = static_cast<uint8_t>(x >> 16), p[3] = static_cast<uint8_t>(x >> 24);
}

// The four round functions, in forms with a shorter dependency chain: F and I
// as RFC 1321 defines them, rewritten; G's two terms share no bit, so they are
// added to a separately, each as soon as its inputs are there.
inline uint32_t f(uint32_t x, uint32_t y, uint32_t z) { return z ^ (x & (y ^ z)); }
inline uint32_t h(uint32_t x, uint32_t y, uint32_t z) { return x ^ y ^ z; }
inline uint32_t i(uint32_t x, uint32_t y, uint32_t z) { return y ^ (x | ~z); }

// The sums are grouped so that what does not wait for b, the newest word,
// is added first, off the chain from one step to the next.
template <uint32_t (*Fn)(uint32_t, uint32_t, uint32_t), int S>
inline void step(uint32_t &a, uint32_t b, uint32_t c, uint32_t d, uint32_t xk, uint32_t t) {
    a = b + rotate_left((a + xk + t) + Fn(b, c, d), S);
}

template <int S>
inline void step_g(uint32_t &a, uint32_t b, uint32_t c, uint32_t d, uint32_t xk, uint32_t t) {
    a = b + rotate_left(((a + xk + t) + (~d & c)) + (d & b), S);
}

void transform(uint32_t state[4], const uint8_t block[64]) {
    uint32_t x[16];
    for (int k = 0; k < 16; ++k) x[k] = load_le(block + 4 * k);
    uint32_t a = state[0], b = state[1], c = state[2], d = state[3];
    // Round 1.
    step<f, 7>(a, b, c, d, x[0], 0xd76aa478), step<f, 12>(d, a, b, c, x[1], 0xe8c7b756);
    step<f, 17>(c, d, a, b, x[2], 0x242070db), step<f, 22>(b, c, d, a, x[3], 0xc1bdceee);
    step<f, 7>(a, b, c, d, x[4], 0xf57c0faf), step<f, 12>(d, a, b, c, x[5], 0x4787c62a);
    step<f, 17>(c, d, a, b, x[6], 0xa8304613), step<f, 22>(b, c, d, a, x[7], 0xfd469501);
    step<f, 7>(a, b, c, d, x[8], 0x698098d8), step<f, 12>(d, a, b, c, x[9], 0x8b44f7af);
    step<f, 17>(c, d, a, b, x[10], 0xffff5bb1), step<f, 22>(b, c, d, a, x[11], 0x895cd7be);
    step<f, 7>(a, b, c, d, x[12], 0x6b901122), step<f, 12>(d, a, b, c, x[13], 0xfd987193);
    step<f, 17>(c, d, a, b, x[14], 0xa679438e), step<f, 22>(b, c, d, a, x[15], 0x49b40821);
    // Round 2.
    step_g<5>(a, b, c, d, x[1], 0xf61e2562), step_g<9>(d, a, b, c, x[6], 0xc040b340);
    step_g<14>(c, d, a, b, x[11], 0x265e5a51), step_g<20>(b, c, d, a, x[0], 0xe9b6c7aa);
    step_g<5>(a, b, c, d, x[5], 0xd62f105d), step_g<9>(d, a, b, c, x[10], 0x02441453);
    step_g<14>(c, d, a, b, x[15], 0xd8a1e681), step_g<20>(b, c, d, a, x[4], 0xe7d3fbc8);
    step_g<5>(a, b, c, d, x[9], 0x21e1cde6), step_g<9>(d, a, b, c, x[14], 0xc33707d6);
    step_g<14>(c, d, a, b, x[3], 0xf4d50d87), step_g<20>(b, c, d, a, x[8], 0x455a14ed);
    step_g<5>(a, b, c, d, x[13], 0xa9e3e905), step_g<9>(d, a, b, c, x[2], 0xfcefa3f8);
    step_g<14>(c, d, a, b, x[7], 0x676f02d9), step_g<20>(b, c, d, a, x[12], 0x8d2a4c8a);
    // Round 3.
    step<h, 4>(a, b, c, d, x[5], 0xfffa3942), step<h, 11>(d, a, b, c, x[8], 0x8771f681);
    step<h, 16>(c, d, a, b, x[11], 0x6d9d6122), step<h, 23>(b, c, d, a, x[14], 0xfde5380c);
    step<h, 4>(a, b, c, d, x[1], 0xa4beea44), step<h, 11>(d, a, b, c, x[4], 0x4bdecfa9);
    step<h, 16>(c, d, a, b, x[7], 0xf6bb4b60), step<h, 23>(b, c, d, a, x[10], 0xbebfbc70);
    step<h, 4>(a, b, c, d, x[13], 0x289b7ec6), step<h, 11>(d, a, b, c, x[0], 0xeaa127fa);
    step<h, 16>(c, d, a, b, x[3], 0xd4ef3085), step<h, 23>(b, c, d, a, x[6], 0x04881d05);
    step<h, 4>(a, b, c, d, x[9], 0xd9d4d039), step<h, 11>(d, a, b, c, x[12], 0xe6db99e5);
    step<h, 16>(c, d, a, b, x[15], 0x1fa27cf8), step<h, 23>(b, c, d, a, x[2], 0xc4ac5665);
    // Round 4.
    step<i, 6>(a, b, c, d, x[0], 0xf4292244), step<i, 10>(d, a, b, c, x[7], 0x432aff97);
    step<i, 15>(c, d, a, b, x[14], 0xab9423a7), step<i, 21>(b, c, d, a, x[5], 0xfc93a039);
    step<i, 6>(a, b, c, d, x[12], 0x655b59c3), step<i, 10>(d, a, b, c, x[3], 0x8f0ccc92);
    step<i, 15>(c, d, a, b, x[10], 0xffeff47d), step<i, 21>(b, c, d, a, x[1], 0x85845dd1);
    step<i, 6>(a, b, c, d, x[8], 0x6fa87e4f), step<i, 10>(d, a, b, c, x[15], 0xfe2ce6e0);
    step<i, 15>(c, d, a, b, x[6], 0xa3014314), step<i, 21>(b, c, d, a, x[13], 0x4e0811a1);
    step<i, 6>(a, b, c, d, x[4], 0xf7537e82), step<i, 10>(d, a, b, c, x[11], 0xbd3af235);
    step<i, 15>(c, d, a, b, x[2], 0x2ad7d2bb), step<i, 21>(b, c, d, a, x[9], 0xeb86d391);
    state[0] += a, state[1] += b, state[2] += c, state[3] += d;
    // The decoded copy of the block is wiped: two vector stores, which the empty
    // statement that claims to read the memory keeps the compiler from dropping.
    std::memset(x, 0, sizeof x);
    asm volatile("" : : "r"(x) : "memory");
}

// A digest of one input into upper-case hex: all 16 bytes, or the 8 folded pairs.
template <bool Folded>
int to_text(const uint8_t *input, uint32_t length, char *text) {
    orv_md5_ctx_t ctx;
    uint8_t digest[16];
    MD5Init(&ctx);
    MD5Update(&ctx, input, length);
    MD5Final(digest, &ctx);
    constexpr int kBytes = Folded ? 8 : 16;
    if constexpr (Folded)  // in place: byte k is read before it is written
        for (int k = 0; k < kBytes; ++k) digest[k] = digest[2 * k] ^ digest[2 * k + 1];
    orv_hex_to_ascii_str(text, 2 * kBytes, digest, kBytes, 1);
    return 2 * kBytes;
}

template <bool Folded>
int string_to_text(const char *str, char *text) {
    if (str == nullptr || *str == '\0') return 0;
    return to_text<Folded>(reinterpret_cast<const uint8_t *>(str),
                           static_cast<uint32_t>(std::strlen(str)), text);
}

template <bool Folded>
int bytes_to_text(const uint8_t *data, int length, char *text) {
    if (data == nullptr || length < 1) return 0;
    return to_text<Folded>(data, static_cast<uint32_t>(length), text);
}

}  // namespace

extern "C" {

ORV_API void MD5Init(orv_md5_ctx_t *ctx) {
    ctx->count[0] = ctx->count[1] = 0;
    ctx->state[0] = 0x67452301, ctx->state[1] = 0xefcdab89;
    ctx->state[2] = 0x98badcfe, ctx->state[3] = 0x10325476;
}

ORV_API void MD5Update(orv_md5_ctx_t *ctx, const uint8_t *input, uint32_t length) {
    uint32_t index = (ctx->count[0] >> 3) & 0x3F;
    // The bit count first, the carry from the low word into the high one.
    if ((ctx->count[0] += length << 3) < (length << 3)) ++ctx->count[1];
    ctx->count[1] += length >> 29;
    const uint32_t part = 64 - index;
    uint32_t done = 0;
    if (length >= part) {
        std::memcpy(ctx->buffer + index, input, part);
        transform(ctx->state, ctx->buffer);
        // Every further full block goes through the buffer, so input may have
        // any alignment.
        for (done = part; done + 63 < length; done += 64) {
            std::memcpy(ctx->buffer, input + done, 64);
            transform(ctx->state, ctx->buffer);
        }
        index = 0;
    }
    if (length > done) std::memcpy(ctx->buffer + index, input + done, length - done);
}

ORV_API void MD5Final(uint8_t digest[16], orv_md5_ctx_t *ctx) {
    uint8_t bits[8];
    store_le(bits, ctx->count[0]);
    store_le(bits + 4, ctx->count[1]);
    const uint32_t index = (ctx->count[0] >> 3) & 0x3F;
    MD5Update(ctx, kPadding, index < 56 ? 56 - index : 120 - index);
    MD5Update(ctx, bits, 8);
    for (int k = 0; k < 4; ++k) store_le(digest + 4 * k, ctx->state[k]);
    explicit_bzero(ctx, sizeof *ctx);
}

ORV_API int MD5FromStr(const char *str, char *text) { return string_to_text<false>(str, text); }
ORV_API int MD5FromStr16(const char *str, char *text) { return string_to_text<true>(str, text); }
ORV_API int MD5FromBuf(const uint8_t *data, int length, char *text) {
    return bytes_to_text<false>(data, length, text);
}
ORV_API int MD5FromBuf16(const uint8_t *data, int length, char *text) {
    return bytes_to_text<true>(data, length, text);
}

}  // extern "C"
