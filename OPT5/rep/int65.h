// INT65: the 65-bit signed value in which all integer constants of the target are kept.
#pragma once

#include <cstdint>

class TYPE;

// lo and hi are the low 64 bits of the two's-complement value; sign is 0 or all ones.
// Range: -2^64 .. 2^64-1. Arithmetic wraps silently at 65 bits.
struct INT65 {
    std::uint32_t lo = 0;
    std::uint32_t hi = 0;
    std::uint32_t sign = 0;

    constexpr INT65() = default;
    constexpr INT65(std::uint32_t l, std::uint32_t h, std::uint32_t s) : lo(l), hi(h), sign(s) {}
    constexpr INT65(int v) : INT65(static_cast<long long>(v)) {}
    constexpr INT65(unsigned v) : lo(v) {}
    constexpr INT65(long v) : INT65(static_cast<long long>(v)) {}
    constexpr INT65(unsigned long v) : INT65(static_cast<unsigned long long>(v)) {}
    constexpr INT65(long long v)
        : lo(static_cast<std::uint32_t>(v)),
          hi(static_cast<std::uint32_t>(static_cast<unsigned long long>(v) >> 32)),
          sign(v < 0 ? ~0u : 0u) {}
    constexpr INT65(unsigned long long v)
        : lo(static_cast<std::uint32_t>(v)), hi(static_cast<std::uint32_t>(v >> 32)) {}

    // The low 64 bits, and the low 32 bits in either reading.
    constexpr std::uint64_t low64() const { return (static_cast<std::uint64_t>(hi) << 32) | lo; }
    constexpr std::int32_t s32() const { return static_cast<std::int32_t>(lo); }
    constexpr std::uint32_t u32() const { return lo; }
    constexpr bool is_negative() const { return sign != 0; }
    constexpr bool is_zero() const { return (lo | hi | sign) == 0; }

    friend constexpr bool operator==(const INT65 &, const INT65 &) = default;
};

INT65 operator+(const INT65 &a, const INT65 &b);
INT65 operator-(const INT65 &a, const INT65 &b);
INT65 operator-(const INT65 &a);
INT65 operator*(const INT65 &a, const INT65 &b);
INT65 operator/(const INT65 &a, const INT65 &b); // toward zero; b must not be 0
INT65 operator%(const INT65 &a, const INT65 &b); // sign of a; b must not be 0
INT65 operator<<(const INT65 &a, const INT65 &count);
INT65 operator>>(const INT65 &a, const INT65 &count);
INT65 operator&(const INT65 &a, const INT65 &b);
INT65 operator|(const INT65 &a, const INT65 &b);
INT65 operator^(const INT65 &a, const INT65 &b);
INT65 operator~(const INT65 &a);
bool operator<(const INT65 &a, const INT65 &b);
inline bool operator>(const INT65 &a, const INT65 &b) {
    return b < a;
}
inline bool operator<=(const INT65 &a, const INT65 &b) {
    return !(b < a);
}
inline bool operator>=(const INT65 &a, const INT65 &b) {
    return !(a < b);
}

// --- arithmetic. None of it reports a failure but by `*overflow`, which is set to 1 and never
// cleared, so that one flag can watch over a chain of operations.
INT65 long_add(const INT65 &a, const INT65 &b, int *overflow);
// The product as of operator *; the flag says that it is not the true one.
INT65 long_multiply(const INT65 &a, const INT65 &b, int *overflow);
// base to the power exp. A negative exp gives 0 and sets the flag; 0 to the power 0 is 0. Products
// beyond 64 bits lose their high bits and leave the flag alone.
INT65 long_expt(const INT65 &base, const INT65 &exp, int *overflow);
// The same by squaring and multiplying alone; exp counts by its low 64 bits, and any base to the
// power 0 is 1.
INT65 ulong_expt(const INT65 &base, const INT65 &exp);
// Of the magnitudes; 1 if one of them is 2^64.
INT65 long_gcd(const INT65 &a, const INT65 &b);
// a / gcd * b, 0 if both are 0.
INT65 long_lcm(const INT65 &a, const INT65 &b);
// The gcd of the magnitudes, and x, y with |a| * x + |b| * y == gcd. Neither operand may be -2^64.
INT65 extended_gcd(const INT65 &a, const INT65 &b, INT65 *x, INT65 *y);
INT65 long_sqrt(const INT65 &a); // rounded down; 0 for a negative value
std::uint32_t uint_gcd(std::uint32_t a, std::uint32_t b);
std::uint64_t uint_lcm(std::uint32_t a, std::uint32_t b);
std::uint64_t clp2(std::uint32_t x); // the smallest power of two not below x

int power_of_2(const INT65 &a); // the exponent of a positive power of two, else -1
// The exponent of the largest power of two that divides a; 0 for 0, which all of them divide.
int extract_power_of_2_factor(const INT65 &a);

// Bits that are 0 (1) in every value from lo to hi; none if lo is above hi.
INT65 find_known_zeros_in_range(const INT65 &lo, const INT65 &hi);
INT65 find_known_ones_in_range(const INT65 &lo, const INT65 &hi);

// --- values and types. A pointer type stands for `short`; any other type must be integer or enum,
// else the optimizer is aborted.
INT65 truncate_to_type(const INT65 &a, const TYPE *type); // cut to the type, extended by its sign
INT65 sign_extend_by_type(const INT65 &a, const TYPE *type); // unchanged if the type is unsigned
INT65 sign_extend_by_type_size(const INT65 &a, const TYPE *type); // as if the type were signed
INT65 type_mask(const TYPE *type);                                // 2^size - 1
INT65 int_type_max(const TYPE *type);
INT65 int_type_min(const TYPE *type);
// True if the sum or product, taken without wrapping, is no value of the type.
bool sum_may_overflow(const INT65 &a, const INT65 &b, const TYPE *type);
bool prod_may_overflow(const INT65 &a, const INT65 &b, const TYPE *type);
// Below, equal to or above 0 as the type's value of a's bits is to that of b's bits.
int compare_SLLONG_values(const INT65 &a, const INT65 &b, const TYPE *type);
// The first of int, unsigned, long, unsigned long, long long and unsigned long long that holds a;
// null if none does.
TYPE *wide_enough_int_type(const INT65 &a);
// The type of a constant as C finds it: the first of int, long and long long that holds a, and of
// their unsigned forms too if allow_unsigned is set; the last one tried if none does.
TYPE *default_ICON_type(const INT65 &a, bool allow_unsigned);
// True if the n bits from bit a on lie within an object of the type, which may be any type.
bool offset_is_in_range(const INT65 &a, const TYPE *type, std::uint32_t n);

enum INT2TEXT_FLAGS : unsigned {
    I2T_prefix = 1, // "0x" before base 16, "0" before base 8, "0b" before base 2
};
// The value as the type holds it, or as it is if type is null, in base 2 to 36. The text stays good
// for the next int2text_buffers - 1 calls.
inline constexpr int int2text_buffers = 16;
const char *int2text(const INT65 &a, const TYPE *type, unsigned base = 10, unsigned flags = 0);
