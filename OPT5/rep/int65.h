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
inline bool operator>(const INT65 &a, const INT65 &b) { return b < a; }
inline bool operator<=(const INT65 &a, const INT65 &b) { return !(b < a); }
inline bool operator>=(const INT65 &a, const INT65 &b) { return !(a < b); }
