// INT65: operators and the arithmetic that needs no type.
#include "OPT5/rep/int65.h"

#include "OPT5/driver/abort.h"

#include <bit>
#include <numeric>
#include <utility>

namespace {
using u64 = std::uint64_t;

constexpr std::uint32_t all_ones = ~0u;
constexpr INT65 most_negative(0, 0, all_ones);

constexpr INT65 make(u64 low, std::uint32_t sign) {
    return {static_cast<std::uint32_t>(low), static_cast<std::uint32_t>(low >> 32), sign};
}

// The low 64 bits of the magnitude: those of -2^64 are 0.
constexpr u64 magnitude(const INT65 &a) {
    return a.is_negative() ? 0 - a.low64() : a.low64();
}

// A magnitude with a sign; zero has none.
constexpr INT65 with_sign(u64 mag, bool negative) {
    return negative && mag != 0 ? make(0 - mag, all_ones) : INT65(mag);
}

// Shift counts beyond 64 are all alike.
constexpr unsigned shift_count(const INT65 &count) {
    const u64 mag = magnitude(count);
    return count == most_negative || mag > 64 ? 65 : static_cast<unsigned>(mag);
}

constexpr INT65 shift_left(const INT65 &a, unsigned count) {
    if (count == 0) return a;
    if (count > 64) return 0;
    const bool last_out = (a.low64() >> (64 - count)) & 1;
    // The shift unit takes its count modulo 64.
    return make(a.low64() << (count % 64), last_out ? all_ones : 0);
}

constexpr INT65 shift_right(const INT65 &a, unsigned count) {
    if (count == 0) return a;
    const u64 fill = a.is_negative() ? ~u64(0) : 0;
    if (count > 63) return make(fill, a.sign);
    return make((a.low64() >> count) | (fill << (64 - count)), a.sign);
}

// Bits above the highest one in which the ends of a range differ are the same in all its values.
constexpr INT65 common_bits(const INT65 &lo, const INT65 &hi) {
    if (lo.sign != hi.sign) return 0;
    const u64 differing = lo.low64() ^ hi.low64();
    const int known = std::countl_zero(differing);
    return make(known == 0 ? 0 : ~u64(0) << (64 - known), all_ones);
}
} // namespace

INT65 operator+(const INT65 &a, const INT65 &b) {
    const u64 sum = a.low64() + b.low64();
    const bool carry = sum < a.low64();
    return make(sum, a.sign ^ b.sign ^ (carry ? all_ones : 0));
}

INT65 operator-(const INT65 &a, const INT65 &b) {
    const bool borrow = a.low64() < b.low64();
    return make(a.low64() - b.low64(), a.sign ^ b.sign ^ (borrow ? all_ones : 0));
}

INT65 operator-(const INT65 &a) {
    const bool carry = a.low64() == 0;
    return make(0 - a.low64(), ~a.sign ^ (carry ? all_ones : 0));
}

INT65 operator*(const INT65 &a, const INT65 &b) {
    return with_sign(magnitude(a) * magnitude(b), a.sign != b.sign);
}

INT65 operator/(const INT65 &a, const INT65 &b) {
    // The magnitude of -2^64 has no 64 bits: it goes into itself alone.
    if (b == most_negative) return a == b;
    return with_sign(magnitude(a) / magnitude(b), a.sign != b.sign);
}

INT65 operator%(const INT65 &a, const INT65 &b) {
    return a - (a / b) * b;
}

INT65 operator<<(const INT65 &a, const INT65 &count) {
    const unsigned n = shift_count(count);
    return count.is_negative() ? shift_right(a, n) : shift_left(a, n);
}

INT65 operator>>(const INT65 &a, const INT65 &count) {
    const unsigned n = shift_count(count);
    return count.is_negative() ? shift_left(a, n) : shift_right(a, n);
}

INT65 operator&(const INT65 &a, const INT65 &b) {
    return {a.lo & b.lo, a.hi & b.hi, a.sign & b.sign};
}

INT65 operator|(const INT65 &a, const INT65 &b) {
    return {a.lo | b.lo, a.hi | b.hi, a.sign | b.sign};
}

INT65 operator^(const INT65 &a, const INT65 &b) {
    return {a.lo ^ b.lo, a.hi ^ b.hi, a.sign ^ b.sign};
}

INT65 operator~(const INT65 &a) {
    return {~a.lo, ~a.hi, ~a.sign};
}

bool operator<(const INT65 &a, const INT65 &b) {
    if (a.sign != b.sign) return a.is_negative();
    return a.low64() < b.low64();
}

INT65 long_add(const INT65 &a, const INT65 &b, int *overflow) {
    const INT65 sum = a + b;
    if (b.is_negative() ? sum >= a : sum < a) *overflow = 1;
    return sum;
}

INT65 long_multiply(const INT65 &a, const INT65 &b, int *overflow) {
    const INT65 product = a * b;
    // The product with -2^64 is always 0; dividing it by -2^64 gives 0 back as it should.
    if (!a.is_zero() && product / a != b) *overflow = 1;
    return product;
}

INT65 ulong_expt(const INT65 &base, const INT65 &exp) {
    INT65 result = 1, square = base;
    for (u64 bits = exp.low64(); bits != 0; bits >>= 1) {
        if (bits & 1) result = result * square;
        square = square * square;
    }
    return result;
}

INT65 long_expt(const INT65 &base, const INT65 &exp, int *overflow) {
    if (exp.is_negative()) {
        *overflow = 1;
        return 0;
    }
    if (base == 0 || base == 1) return base;
    return ulong_expt(base, base == -1 ? exp & 1 : exp);
}

INT65 long_gcd(const INT65 &a, const INT65 &b) {
    if (a == most_negative || b == most_negative) return 1;
    return std::gcd(magnitude(a), magnitude(b));
}

INT65 long_lcm(const INT65 &a, const INT65 &b) {
    const INT65 gcd = long_gcd(a, b);
    return gcd.is_zero() ? gcd : a / gcd * b;
}

INT65 extended_gcd(const INT65 &a, const INT65 &b, INT65 *x, INT65 *y) {
    OPTASSERT(a != most_negative && b != most_negative);
    INT65 r = magnitude(a), next_r = magnitude(b);
    INT65 next_x = 0, next_y = 1;
    *x = 1;
    *y = 0;
    while (!next_r.is_zero()) {
        const INT65 quotient = r / next_r;
        r = std::exchange(next_r, r - quotient * next_r);
        *x = std::exchange(next_x, *x - quotient * next_x);
        *y = std::exchange(next_y, *y - quotient * next_y);
    }
    return r;
}

// Digit by digit in base 2, from the highest.
INT65 long_sqrt(const INT65 &a) {
    if (a.is_negative()) return 0;
    u64 rest = a.low64(), root = 0;
    for (u64 bit = u64(1) << 62; bit != 0; bit >>= 2) {
        if (rest >= root + bit) {
            rest -= root + bit;
            root = (root >> 1) + bit;
        } else {
            root >>= 1;
        }
    }
    return root;
}

std::uint32_t uint_gcd(std::uint32_t a, std::uint32_t b) {
    return std::gcd(a, b);
}

std::uint64_t uint_lcm(std::uint32_t a, std::uint32_t b) {
    return std::lcm<u64, u64>(a, b);
}

std::uint64_t clp2(std::uint32_t x) {
    return std::bit_ceil<u64>(x);
}

int power_of_2(const INT65 &a) {
    return !a.is_negative() && std::has_single_bit(a.low64()) ? std::countr_zero(a.low64()) : -1;
}

int extract_power_of_2_factor(const INT65 &a) {
    return a.is_zero() ? 0 : std::countr_zero(a.low64());
}

INT65 find_known_zeros_in_range(const INT65 &lo, const INT65 &hi) {
    return lo > hi ? INT65(0) : common_bits(lo, hi) & ~lo;
}

INT65 find_known_ones_in_range(const INT65 &lo, const INT65 &hi) {
    return lo > hi ? INT65(0) : common_bits(lo, hi) & lo;
}
