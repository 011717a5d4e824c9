// INT65 values as integer types hold them, and their texts.
#include "OPT5/driver/abort.h"
#include "OPT5/rep/int65.h"
#include "OPT5/rep/type_pkg.h"

#include <charconv>
#include <span>
#include <string_view>

namespace {
struct INT_SHAPE {
    std::uint32_t bits;
    bool is_signed;
};

INT_SHAPE int_shape(const TYPE *type) {
    OPTASSERT(type);
    if (type->is_ptr()) type = tp->short_type();
    OPTASSERT(type->is_int_or_enum());
    return {type->size(), type->is_signed()};
}

// 2^bits - 1, as far as 64 bits go.
INT65 low_bits(std::uint32_t bits) {
    return bits < 64 ? (INT65(1) << bits) - 1 : INT65(~0u, ~0u, 0);
}

// A type of more than 64 bits holds every value.
INT65 truncated(const INT65 &a, INT_SHAPE shape) {
    if (shape.bits > 64) return a;
    const INT65 kept = a & low_bits(shape.bits);
    if (!shape.is_signed || shape.bits == 0) return kept;
    const bool negative = (kept.low64() >> (shape.bits - 1)) & 1;
    return negative ? kept | ~low_bits(shape.bits) : kept;
}

INT65 shape_max(INT_SHAPE shape) {
    if (!shape.is_signed || shape.bits > 64) return low_bits(shape.bits);
    return low_bits(shape.bits == 0 ? 0 : shape.bits - 1);
}

INT65 shape_min(INT_SHAPE shape) {
    if (!shape.is_signed || shape.bits == 0) return 0;
    if (shape.bits > 64) return {0, 0, ~0u};
    return ~low_bits(shape.bits - 1);
}

bool leaves_type(const INT65 &value, const TYPE *type) {
    const INT_SHAPE shape = int_shape(type);
    return value < shape_min(shape) || value > shape_max(shape);
}

// The first basic type that holds a; null if none does.
TYPE *first_type_for(const INT65 &a, std::span<const TYPE::IKIND> kinds) {
    for (const TYPE::IKIND kind : kinds) {
        TYPE *type = tp->basic_int(kind);
        if (!leaves_type(a, type)) return type;
    }
    return nullptr;
}

constexpr TYPE::IKIND signed_kinds[] = {TYPE::INT, TYPE::LONG, TYPE::LLONG};
constexpr TYPE::IKIND all_kinds[] = {TYPE::INT,   TYPE::UINT,  TYPE::LONG,
                                     TYPE::ULONG, TYPE::LLONG, TYPE::ULLONG};

std::string_view base_prefix(unsigned base) {
    switch (base) {
    case 2: return "0b";
    case 8: return "0";
    case 16: return "0x";
    default: return "";
    }
}
} // namespace

INT65 truncate_to_type(const INT65 &a, const TYPE *type) {
    return truncated(a, int_shape(type));
}

INT65 sign_extend_by_type_size(const INT65 &a, const TYPE *type) {
    return truncated(a, {int_shape(type).bits, true});
}

INT65 sign_extend_by_type(const INT65 &a, const TYPE *type) {
    const INT_SHAPE shape = int_shape(type);
    return shape.is_signed ? truncated(a, shape) : a;
}

INT65 type_mask(const TYPE *type) {
    return low_bits(int_shape(type).bits);
}

INT65 int_type_max(const TYPE *type) {
    return shape_max(int_shape(type));
}

INT65 int_type_min(const TYPE *type) {
    return shape_min(int_shape(type));
}

bool sum_may_overflow(const INT65 &a, const INT65 &b, const TYPE *type) {
    int overflow = 0;
    const INT65 sum = long_add(a, b, &overflow);
    return leaves_type(sum, type) || overflow != 0;
}

bool prod_may_overflow(const INT65 &a, const INT65 &b, const TYPE *type) {
    int overflow = 0;
    const INT65 product = long_multiply(a, b, &overflow);
    return leaves_type(product, type) || overflow != 0;
}

int compare_SLLONG_values(const INT65 &a, const INT65 &b, const TYPE *type) {
    const INT65 left = truncate_to_type(a, type), right = truncate_to_type(b, type);
    return left < right ? -1 : left == right ? 0 : 1;
}

TYPE *wide_enough_int_type(const INT65 &a) {
    return first_type_for(a, all_kinds);
}

TYPE *default_ICON_type(const INT65 &a, bool allow_unsigned) {
    const std::span<const TYPE::IKIND> kinds =
        allow_unsigned ? std::span<const TYPE::IKIND>(all_kinds) : signed_kinds;
    TYPE *type = first_type_for(a, kinds);
    return type ? type : tp->basic_int(kinds.back());
}

bool offset_is_in_range(const INT65 &a, const TYPE *type, std::uint32_t n) {
    OPTASSERT(type);
    return !a.is_negative() && a <= INT65(type->size()) - n;
}

const char *int2text(const INT65 &a, const TYPE *type, unsigned base, unsigned flags) {
    static char buffers[int2text_buffers][72]; // "-0b", 65 digits
    static unsigned latest = 0;
    OPTASSERT(base >= 2 && base <= 36);
    latest = (latest + 1) % int2text_buffers;

    const INT65 value = type ? truncate_to_type(a, type) : a;
    char *const text = buffers[latest], *const end = text + sizeof buffers[0];
    char *p = text;
    if (value.is_negative()) *p++ = '-';
    if (flags & I2T_prefix)
        for (const char c : base_prefix(base))
            *p++ = c;
    std::uint64_t rest = (value.is_negative() ? -value : value).low64();
    if (value == INT65(0, 0, ~0u)) {
        // The magnitude is 2^64: its last digit goes first.
        const std::uint64_t most = ~std::uint64_t(0);
        const unsigned last = static_cast<unsigned>(most % base) + 1;
        rest = most / base + last / base;
        p = std::to_chars(p, end, rest, static_cast<int>(base)).ptr;
        rest = last % base;
    }
    p = std::to_chars(p, end, rest, static_cast<int>(base)).ptr;
    *p = '\0';
    return text;
}
