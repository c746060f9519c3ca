// The tagged variant value: predicates and the int32 pair of conversions.
#include "orvsys/orv_variant.h"

#include <cstring>
#include <limits>

#include "orvsys/orv_numtext.h"

namespace {

// How a tag holds its value. Several tags share one holding (INT8..INT32
// and UINT8..UINT32 a 32-bit word, the four calendar tags a timestamp,
// STRING and TEXT a text buffer), and every conversion works by holding.
enum class Holding { Bool, Word32, Word64, Float, Double, Calendar, Text, Binary, Unknown };

constexpr Holding holding_of(int8_t type) {
    switch (type) {
    case ORV_VT_BOOL: return Holding::Bool;
    case ORV_VT_INT8:
    case ORV_VT_INT16:
    case ORV_VT_INT32:
    case ORV_VT_UINT8:
    case ORV_VT_UINT16:
    case ORV_VT_UINT32: return Holding::Word32;
    case ORV_VT_INT64:
    case ORV_VT_UINT64: return Holding::Word64;
    case ORV_VT_FLOAT: return Holding::Float;
    case ORV_VT_DOUBLE: return Holding::Double;
    case ORV_VT_DATE:
    case ORV_VT_TIME:
    case ORV_VT_DATETIME:
    case ORV_VT_TIMESTAMP: return Holding::Calendar;
    case ORV_VT_STRING:
    case ORV_VT_TEXT: return Holding::Text;
    case ORV_VT_BINARY: return Holding::Binary;
    default: return Holding::Unknown;
    }
}

// Two floating values are equal when they differ by less than this.
constexpr double kFloatTolerance = 1e-6;

// Room the decimal text of any 32-bit integer needs, terminator included.
// The writer takes no size, so a smaller text buffer is refused outright.
constexpr uint16_t kInt32TextRoom = 12;

// The magnitude test fails for NaN, so a NaN equals nothing.
bool within_tolerance(double difference) {
    const double magnitude = difference < 0 ? -difference : difference;
    return magnitude < kFloatTolerance;
}

bool bytes_equal(const orv_variant_t &a, const orv_variant_t &b) {
    if (a.value.len != b.value.len) return false;
    if (a.value.len == 0) return true;
    if (a.value.data == nullptr || b.value.data == nullptr) return false;
    return std::memcmp(a.value.data, b.value.data, a.value.len) == 0;
}

// Truncates toward zero into a signed integer type, saturating at its
// limits; NaN gives 0.
template <class Int>
Int saturate_truncate(double value) {
    // 2^(bits-1): the first value above the type's maximum, exact in a double.
    constexpr double kAboveMax = static_cast<double>(std::numeric_limits<Int>::max()) + 1.0;
    if (value != value) return 0;
    if (value >= kAboveMax) return std::numeric_limits<Int>::max();
    if (value < -kAboveMax) return std::numeric_limits<Int>::min();
    return static_cast<Int>(value);
}

bool text_writable(const orv_variant_t &v, uint16_t room) {
    return v.value.data != nullptr && v.value.cap >= room;
}

}  // namespace

extern "C" {

ORV_API int orv_variant_is_btype_type(int8_t type) {
    const Holding holding = holding_of(type);
    return holding == Holding::Text || holding == Holding::Binary ? 0 : 1;
}

ORV_API int orv_variant_is_btype(const orv_variant_t *v) {
    return v != nullptr && orv_variant_is_btype_type(v->type);
}

ORV_API int orv_variant_is_valid(const orv_variant_t *v) {
    if (v == nullptr) return 0;
    if (orv_variant_is_btype_type(v->type)) return 1;
    return v->value.data != nullptr && v->value.cap != 0;
}

ORV_API int orv_variant_is_equal(const orv_variant_t *a, const orv_variant_t *b) {
    if (a == nullptr || b == nullptr || a->type != b->type) return 0;
    switch (holding_of(a->type)) {
    case Holding::Bool: return a->value.as_bool == b->value.as_bool;
    case Holding::Word32: return a->value.as_int32 == b->value.as_int32;
    case Holding::Word64: return a->value.as_int64 == b->value.as_int64;
    case Holding::Float: {
        const float difference = a->value.as_float - b->value.as_float;
        return within_tolerance(static_cast<double>(difference));
    }
    case Holding::Double: return within_tolerance(a->value.as_double - b->value.as_double);
    case Holding::Calendar:
        return a->value.as_timestamp.seconds == b->value.as_timestamp.seconds &&
               a->value.as_timestamp.milliseconds == b->value.as_timestamp.milliseconds;
    case Holding::Text:
    case Holding::Binary: return bytes_equal(*a, *b);
    case Holding::Unknown: return 0;
    }
    return 0;
}

ORV_API int orv_variant_to_int32(const orv_variant_t *v, int32_t *out) {
    if (v == nullptr || out == nullptr) return 0;
    switch (holding_of(v->type)) {
    case Holding::Bool: *out = v->value.as_bool; return 1;
    case Holding::Word32: *out = v->value.as_int32; return 1;
    case Holding::Word64: *out = static_cast<int32_t>(v->value.as_int64); return 1;
    case Holding::Float: *out = saturate_truncate<int32_t>(v->value.as_float); return 1;
    case Holding::Double: *out = saturate_truncate<int32_t>(v->value.as_double); return 1;
    case Holding::Text:
        // Read up to the zero byte, not up to len.
        if (v->value.data == nullptr) return 0;
        return orv_ascii_to_int32(static_cast<const char *>(v->value.data), out);
    case Holding::Calendar:
    case Holding::Binary:
    case Holding::Unknown: return 0;
    }
    return 0;
}

ORV_API int orv_variant_from_int32(orv_variant_t *v, int32_t value) {
    if (v == nullptr) return 0;
    switch (holding_of(v->type)) {
    case Holding::Bool: v->value.as_bool = value != 0 ? 1 : 0; return 1;
    case Holding::Word32: v->value.as_int32 = value; return 1;
    case Holding::Word64: v->value.as_int64 = value; return 1;
    case Holding::Float: v->value.as_float = static_cast<float>(value); return 1;
    case Holding::Double: v->value.as_double = value; return 1;
    case Holding::Text:
        // len stays as it was: only the text stores set it.
        if (!text_writable(*v, kInt32TextRoom)) return 0;
        orv_int32_to_ascii(value, static_cast<char *>(v->value.data));
        return 1;
    case Holding::Calendar:
    case Holding::Binary:
    case Holding::Unknown: return 0;
    }
    return 0;
}

}  // extern "C"
