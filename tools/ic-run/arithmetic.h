// The machine's arithmetic on values in registers: a value of 16 bits stands zero-extended, a float
// as its bits.
#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdlib>

inline std::int32_t as_signed(std::uint32_t v) {
    return static_cast<std::int32_t>(v);
}
inline float as_float(std::uint32_t v) {
    return std::bit_cast<float>(v);
}
inline std::uint32_t float_bits(float f) {
    return std::bit_cast<std::uint32_t>(f);
}
inline std::uint32_t low16(std::uint32_t v) {
    return v & 0xffff;
}
inline std::uint32_t extended16(std::uint32_t v) {
    return static_cast<std::uint32_t>(static_cast<std::int16_t>(v));
}

// The low 32 bits of the truncated value; 0 for infinities and what is no number.
inline std::uint32_t float_to_integer(float f) {
    if (!std::isfinite(f)) return 0;
    const double rest = std::fmod(std::trunc(static_cast<double>(f)), 4294967296.0);
    return static_cast<std::uint32_t>(static_cast<std::int64_t>(rest));
}

// Division truncates; the one quotient that does not fit wraps. The divisor is not zero.
inline std::uint32_t divide_signed(std::uint32_t a, std::uint32_t b) {
    return b == 0xffffffff ? 0 - a : static_cast<std::uint32_t>(as_signed(a) / as_signed(b));
}
inline std::uint32_t modulo_signed(std::uint32_t a, std::uint32_t b) {
    return b == 0xffffffff ? 0 : static_cast<std::uint32_t>(as_signed(a) % as_signed(b));
}

// Shifts by any count: outside the width all bits leave.
inline std::uint32_t shift_left(std::uint32_t a, std::uint32_t count, unsigned width) {
    return count < width ? a << count : 0;
}
inline std::uint32_t shift_right(std::uint32_t a, std::uint32_t count, unsigned width) {
    return count < width ? a >> count : 0;
}
// `a` is a value of 32 bits, or one of 16 bits extended to them.
inline std::uint32_t shift_right_signed(std::uint32_t a, std::uint32_t count, unsigned width) {
    return static_cast<std::uint32_t>(as_signed(a) >> (count < width ? count : 31));
}

// Saturating arithmetic: the value of the type that is nearest to the true one.
inline std::uint32_t saturated(std::int64_t value) {
    return static_cast<std::uint32_t>(std::clamp<std::int64_t>(value, INT32_MIN, INT32_MAX));
}
inline std::uint32_t saturated16(std::int32_t value) {
    return low16(static_cast<std::uint32_t>(std::clamp<std::int32_t>(value, INT16_MIN, INT16_MAX)));
}
inline std::uint32_t subtract_halves(std::uint32_t a, std::uint32_t b) {
    const std::uint32_t low = saturated16(as_signed(extended16(a)) - as_signed(extended16(b)));
    return low | saturated16((as_signed(a) >> 16) - (as_signed(b) >> 16)) << 16;
}

// `width` bits of a storage unit from bit `first`; as a value of 32 bits.
inline std::uint32_t field_of(std::uint32_t unit, unsigned first, unsigned width, bool sign) {
    const unsigned above = 32 - width;
    const std::uint32_t bits = unit >> first << above;
    return sign ? static_cast<std::uint32_t>(as_signed(bits) >> above) : bits >> above;
}
inline std::uint32_t with_field(std::uint32_t unit, std::uint32_t value, unsigned first,
                                unsigned width) {
    const std::uint32_t mask = (width == 32 ? ~0u : (1u << width) - 1) << first;
    return (unit & ~mask) | (value << first & mask);
}
