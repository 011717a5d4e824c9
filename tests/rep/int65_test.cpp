// The 65-bit integer: operators against wider host arithmetic, and its named operations.
#include "OPT5/rep/int65.h"
#include "OPT5/rep/type_pkg.h"

#include <gmock/gmock.h>

#include <numeric>
#include <ostream>
#include <random>
#include <string>
#include <vector>

static void PrintTo(const INT65 &a, std::ostream *out) {
    *out << int2text(a, nullptr, 10) << " (" << int2text(a, nullptr, 16, I2T_prefix) << ")";
}

namespace {
using i128 = __int128;
using u128 = unsigned __int128;
using u64 = std::uint64_t;

constexpr INT65 most_negative(0, 0, ~0u);
constexpr INT65 most_positive(~0u, ~0u, 0);
constexpr i128 two_64 = i128(1) << 64;

i128 wide(const INT65 &a) {
    return i128(a.low64()) - (a.is_negative() ? two_64 : 0);
}

// The 65-bit value with the same low 65 bits.
INT65 narrow(i128 v) {
    const bool negative = (v >> 64) & 1;
    return {static_cast<std::uint32_t>(v), static_cast<std::uint32_t>(v >> 32),
            negative ? ~0u : 0u};
}

bool fits(i128 v) {
    return v >= -two_64 && v < two_64;
}

INT65 power(unsigned n) {
    return narrow(i128(1) << n);
}

// Values around all powers of two, and seeded ones of every width; both signs.
const std::vector<INT65> &samples() {
    static const std::vector<INT65> values = [] {
        std::vector<INT65> list = {most_negative, most_negative + 1, most_positive};
        for (const unsigned n :
             {0u, 1u, 2u, 3u, 7u, 8u, 15u, 16u, 30u, 31u, 32u, 33u, 47u, 62u, 63u})
            for (int delta = -1; delta <= 1; ++delta)
                for (const INT65 &value : {power(n) + delta, -power(n) - delta})
                    list.push_back(value);
        std::mt19937_64 random(20240611);
        for (unsigned n = 0; n < 40; ++n) {
            const INT65 value(random() >> random() % 64);
            list.push_back(random() % 2 ? value : -value);
        }
        return list;
    }();
    return values;
}

u64 size_of_magnitude(const INT65 &a) {
    return static_cast<u64>(wide(a) < 0 ? -wide(a) : wide(a));
}

class TypedValues : public ::testing::Test {
protected:
    void SetUp() override {
        tp = new TYPE_PKG;
        tp->init_type_pkg();
    }
    void TearDown() override {
        delete tp;
        tp = nullptr;
    }
    static TYPE *basic(TYPE::IKIND kind) { return tp->basic_int(kind); }
    static TYPE *int_of(std::uint32_t bits, bool is_signed) {
        return tp->mk_int(is_signed ? TYPE::LLONG : TYPE::ULLONG, false, bits, 16);
    }
};
} // namespace

TEST(Int65, ConversionsExtendBySign) {
    const struct {
        INT65 value;
        std::uint32_t lo, hi, sign;
    } cases[] = {
        {-1, ~0u, ~0u, ~0u},
        {-1L, ~0u, ~0u, ~0u},
        {~0u, ~0u, 0, 0},
        {~0ull, ~0u, ~0u, 0},
        {INT64_MIN, 0, 0x80000000, ~0u},
        {INT32_MIN, 0x80000000, ~0u, ~0u},
        {0x80000000u, 0x80000000, 0, 0},
        {u64(1) << 63, 0, 0x80000000, 0},
    };
    for (const auto &c : cases)
        EXPECT_EQ(c.value, INT65(c.lo, c.hi, c.sign));
    EXPECT_NE(INT65(-1), INT65(~0ull)) << "equal in 64 bits only";
    EXPECT_EQ(INT65(0) - 1, INT65(-1));
    EXPECT_EQ(INT65(~0ull) + 1, most_negative) << "wraps at 65 bits";
}

TEST(Int65, NegationKeepsTheMostNegativeValue) {
    EXPECT_EQ(-INT65(0), INT65(0));
    EXPECT_EQ(-most_negative, most_negative);
    EXPECT_EQ(-most_positive, most_negative + 1);
    EXPECT_EQ(-(most_negative + 1), most_positive);
}

// Exact where 65 bits can tell: the magnitudes of *, / have 64 bits.
TEST(Int65, AgreesWithWiderArithmetic) {
    unsigned exact_products = 0;
    for (const INT65 &a : samples()) {
        EXPECT_EQ(-a, narrow(-wide(a)));
        EXPECT_EQ(~a, narrow(~wide(a)));
        for (const INT65 &b : samples()) {
            SCOPED_TRACE(::testing::PrintToString(a) + " and " + ::testing::PrintToString(b));
            const i128 x = wide(a), y = wide(b);
            ASSERT_EQ(a + b, narrow(x + y));
            ASSERT_EQ(a - b, narrow(x - y));
            ASSERT_EQ(a & b, narrow(x & y));
            ASSERT_EQ(a | b, narrow(x | y));
            ASSERT_EQ(a ^ b, narrow(x ^ y));
            ASSERT_EQ(a < b, x < y);
            ASSERT_EQ(a <= b, x <= y);
            ASSERT_EQ(a > b, x > y);
            ASSERT_EQ(a >= b, x >= y);
            ASSERT_EQ(a == b, x == y);

            int overflow = 0;
            ASSERT_EQ(long_add(a, b, &overflow), a + b);
            ASSERT_EQ(overflow, !fits(x + y));

            const u128 magnitude = u128(size_of_magnitude(a)) * size_of_magnitude(b);
            const INT65 product =
                narrow((x < 0) != (y < 0) ? -i128(u64(magnitude)) : u64(magnitude));
            ASSERT_EQ(a * b, product);
            overflow = 0;
            ASSERT_EQ(long_multiply(a, b, &overflow), product);
            const bool loses = a == most_negative   ? !b.is_zero()
                               : b == most_negative ? !a.is_zero()
                                                    : magnitude >> 64 != 0;
            ASSERT_EQ(overflow, loses);
            exact_products += !loses;

            if (a != most_negative && b != most_negative && !b.is_zero()) {
                ASSERT_EQ(a / b, narrow(x / y));
                ASSERT_EQ(a % b, narrow(x % y));
            }
        }
    }
    EXPECT_GT(exact_products, samples().size() * 10) << "most products are of no use here";
}

TEST(Int65, DivisionTruncates) {
    const struct {
        INT65 a, b, quotient, rest;
    } cases[] = {
        {7, 2, 3, 1},
        {-7, 2, -3, -1},
        {7, -2, -3, 1},
        {-7, -2, 3, -1},
        {most_positive, -1, most_negative + 1, 0},
        {most_positive, most_negative, 0, most_positive},
        {INT64_MIN, -1, u64(1) << 63, 0},
        {most_negative, most_negative, 1, most_negative},
        {most_negative, 2, 0, most_negative},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(c.a / c.b, c.quotient);
        EXPECT_EQ(c.a % c.b, c.rest);
    }
}

TEST(Int65, Shifts) {
    const struct {
        INT65 value, count, left, right;
    } cases[] = {
        {1, 0, 1, 1},
        {1, 63, u64(1) << 63, 0},
        {1, 64, {1, 0, ~0u}, 0},
        {2, 64, 2, 0},
        {1, 65, 0, 0},
        {-1, 64, -1, -1},
        {-1, 63, narrow(-(i128(1) << 63)), -1},
        {-1, 200, 0, -1},
        {5, 200, 0, 0},
        {5, power(32) + 1, 0, 0},
        {INT64_MIN, 1, most_negative, narrow(-(i128(1) << 62))},
        {u64(3) << 62, 1, {0, 0x80000000, ~0u}, u64(3) << 61},
        {~0ull, 63, narrow((two_64 - 1) << 63), 1},
        {most_negative, 63, 0, -2},
        {most_negative, 1, 0, narrow(-(i128(1) << 63))},
        {-100, 3, -800, -13},
        {40, -3, 5, 320},
        {-40, -3, -5, -320},
        {1, -64, 0, {1, 0, ~0u}},
        {-7, most_negative, -1, 0},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(::testing::PrintToString(c.value) + " by " +
                     ::testing::PrintToString(c.count));
        EXPECT_EQ(c.value << c.count, c.left);
        EXPECT_EQ(c.value >> c.count, c.right);
    }
    for (const INT65 &a : samples())
        for (unsigned n = 1; n < 64; ++n) {
            ASSERT_EQ(a << n, narrow(i128(u128(wide(a)) << n)));
            ASSERT_EQ(a >> n, narrow(wide(a) >> n));
            ASSERT_EQ(a << n, a >> -INT65(n));
        }
}

TEST(Int65, OverflowIsCollected) {
    int overflow = 1;
    EXPECT_EQ(long_add(1, 2, &overflow), 3);
    EXPECT_EQ(long_multiply(3, 4, &overflow), 12);
    EXPECT_EQ(long_expt(3, 4, &overflow), 81);
    EXPECT_EQ(overflow, 1);
    overflow = 0;
    EXPECT_EQ(long_add(most_negative, most_positive, &overflow), -1);
    EXPECT_EQ(long_multiply(most_negative, 0, &overflow), 0);
    EXPECT_EQ(long_multiply(0, most_negative, &overflow), 0);
    EXPECT_EQ(overflow, 0);
}

TEST(Int65, Powers) {
    const struct {
        INT65 base, exp, value;
        int overflow;
        INT65 plain; // without the special cases
    } cases[] = {
        {0, 0, 0, 0, 1},
        {1, 0, 1, 0, 1},
        {-1, 0, 1, 0, 1},
        {7, 0, 1, 0, 1},
        {7, 1, 7, 0, 7},
        {-1, 5, -1, 0, -1},
        {-1, most_positive, -1, 0, -1},
        {-1, most_positive - 1, 1, 0, 1},
        {1, most_positive, 1, 0, 1},
        {2, 63, u64(1) << 63, 0, u64(1) << 63},
        {2, 64, 0, 0, 0},
        {-2, 63, INT64_MIN, 0, INT64_MIN},
        {-3, 5, -243, 0, -243},
        {-3, 4, 81, 0, 81},
        {3, 40, 12157665459056928801ull, 0, 12157665459056928801ull},
        {3, 41, 18026252303461234787ull, 0, 18026252303461234787ull}, // the high bits are lost
        {7, -1, 0, 1, ulong_expt(7, ~0ull)},
        {0, -1, 0, 1, 0},
        {1, -2, 0, 1, 1},
        {2, most_negative, 0, 1, 1},
    };
    for (const auto &c : cases) {
        int overflow = 0;
        EXPECT_EQ(long_expt(c.base, c.exp, &overflow), c.value);
        EXPECT_EQ(overflow, c.overflow);
        EXPECT_EQ(ulong_expt(c.base, c.exp), c.plain);
    }
}

TEST(Int65, CommonFactors) {
    const struct {
        INT65 a, b, gcd, lcm;
    } cases[] = {
        {12, 18, 6, 36},
        {-12, 18, 6, -36},
        {12, -18, 6, -36},
        {0, 5, 5, 0},
        {5, 0, 5, 0},
        {0, 0, 0, 0},
        {most_negative, 12, 1, 0},
        {12, most_negative, 1, 0},
        {most_positive, most_positive, most_positive, most_positive},
        {u64(1) << 62, 48, 16, u64(3) << 62},
        {INT64_MIN, INT64_MIN, u64(1) << 63, u64(1) << 63},
        {1000000007, 998244353, 1, 998244359987710471},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(long_gcd(c.a, c.b), c.gcd);
        EXPECT_EQ(long_lcm(c.a, c.b), c.lcm);
    }
    for (const INT65 &a : samples())
        for (const INT65 &b : samples()) {
            if (a == most_negative || b == most_negative) continue;
            INT65 x = 99, y = 99;
            const INT65 gcd = extended_gcd(a, b, &x, &y);
            const u64 m = size_of_magnitude(a), n = size_of_magnitude(b);
            ASSERT_EQ(gcd, INT65(std::gcd(m, n)));
            ASSERT_EQ(gcd, long_gcd(a, b));
            ASSERT_EQ(i128(u128(m) * u128(wide(x)) + u128(n) * u128(wide(y))), wide(gcd));
        }
    EXPECT_EQ(uint_gcd(0, 0), 0u);
    EXPECT_EQ(uint_gcd(~0u, 15), 15u);
    EXPECT_EQ(uint_lcm(0, 7), 0u);
    EXPECT_EQ(uint_lcm(4, 6), 12u);
    EXPECT_EQ(uint_lcm(~0u, ~0u - 1), u64(~0u) * (~0u - 1));
}

TEST(Int65, SquareRoots) {
    for (const INT65 &a : samples()) {
        const u128 root = long_sqrt(a).low64();
        if (a.is_negative()) {
            EXPECT_EQ(root, 0u);
            continue;
        }
        EXPECT_LE(root * root, u128(a.low64()));
        EXPECT_GT((root + 1) * (root + 1), u128(a.low64()));
    }
    EXPECT_EQ(long_sqrt(most_positive), 0xffffffffu);
}

TEST(Int65, PowersOfTwo) {
    for (unsigned n = 0; n < 64; ++n) {
        EXPECT_EQ(power_of_2(power(n)), static_cast<int>(n));
        EXPECT_EQ(power_of_2(-power(n)), -1);
        EXPECT_EQ(power_of_2(power(n) + 1), n == 0 ? 1 : -1);
        EXPECT_EQ(extract_power_of_2_factor(power(n)), static_cast<int>(n));
        EXPECT_EQ(extract_power_of_2_factor(-power(n)), static_cast<int>(n));
        EXPECT_EQ(extract_power_of_2_factor(most_positive << n), n == 0 ? 0 : static_cast<int>(n));
    }
    EXPECT_EQ(power_of_2(0), -1);
    EXPECT_EQ(power_of_2(most_negative), -1);
    EXPECT_EQ(extract_power_of_2_factor(0), 0);
    EXPECT_EQ(extract_power_of_2_factor(most_negative), 64);
    EXPECT_EQ(extract_power_of_2_factor(-12), 2);
    const struct {
        std::uint32_t x;
        u64 power;
    } ceilings[] = {
        {0, 1}, {1, 1}, {2, 2}, {3, 4}, {1000, 1024}, {1u << 31, 1u << 31}, {~0u, u64(1) << 32}};
    for (const auto &c : ceilings)
        EXPECT_EQ(clp2(c.x), c.power) << c.x;
}

// Against the values themselves: the claim is about all of them, and no more may be claimed.
TEST(Int65, KnownBitsOfRanges) {
    for (int lo = -9; lo < 10; ++lo)
        for (int hi = lo; hi < 18; ++hi) {
            INT65 ones = -1, zeros = -1;
            for (int v = lo; v <= hi; ++v) {
                ones = ones & v;
                zeros = zeros & ~INT65(v);
            }
            const INT65 known_ones = find_known_ones_in_range(lo, hi);
            const INT65 known_zeros = find_known_zeros_in_range(lo, hi);
            ASSERT_EQ(known_ones & ~ones, 0) << lo << ".." << hi;
            ASSERT_EQ(known_zeros & ~zeros, 0) << lo << ".." << hi;
            if (lo == hi) {
                ASSERT_EQ(known_ones | known_zeros, -1);
            }
        }
    EXPECT_EQ(find_known_ones_in_range(0x1240, 0x127f), 0x1240);
    EXPECT_EQ(find_known_zeros_in_range(0x1240, 0x127f), ~INT65(0x127f));
    EXPECT_EQ(find_known_ones_in_range(-16, -1), -16);
    EXPECT_EQ(find_known_zeros_in_range(0, ~0ull), most_negative);
    EXPECT_EQ(find_known_ones_in_range(most_negative, -1), most_negative);
    for (const auto find : {find_known_ones_in_range, find_known_zeros_in_range}) {
        EXPECT_EQ(find(-1, 0), 0);
        EXPECT_EQ(find(5, 4), 0) << "an empty range";
        EXPECT_EQ(find(most_negative, most_positive), 0);
    }
}

TEST_F(TypedValues, AreCutAndExtended) {
    TYPE *const pointer = tp->mk_ptr(tp->int_type());
    const struct {
        TYPE *type;
        INT65 value, truncated, extended, by_size;
    } cases[] = {
        {basic(TYPE::SHORT), 0x18000, -0x8000, -0x8000, -0x8000},
        {basic(TYPE::SHORT), 0x17fff, 0x7fff, 0x7fff, 0x7fff},
        {basic(TYPE::USHORT), -1, 0xffff, -1, -1},
        {basic(TYPE::USHORT), 0x18000, 0x8000, 0x18000, -0x8000},
        {basic(TYPE::INT), 0xffffffffu, -1, -1, -1},
        {basic(TYPE::UINT), -1, 0xffffffffu, -1, -1},
        {basic(TYPE::UINT), 0x80000000u, 0x80000000u, 0x80000000u, INT32_MIN},
        {pointer, 0xffff, -1, -1, -1},
        {pointer, 0x12345, 0x2345, 0x2345, 0x2345},
        {int_of(64, true), ~0ull, -1, -1, -1},
        {int_of(64, false), -1, ~0ull, -1, -1},
        {int_of(64, false), most_negative, 0, most_negative, 0},
        {int_of(65, true), most_negative, most_negative, most_negative, most_negative},
        {int_of(1, true), 3, -1, -1, -1},
        {int_of(1, false), 3, 1, 3, -1},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.type->printstr() + " " + ::testing::PrintToString(c.value));
        EXPECT_EQ(truncate_to_type(c.value, c.type), c.truncated);
        EXPECT_EQ(sign_extend_by_type(c.value, c.type), c.extended);
        EXPECT_EQ(sign_extend_by_type_size(c.value, c.type), c.by_size);
    }
}

TEST_F(TypedValues, LimitsFollowSizeAndSign) {
    TYPE *const number =
        tp->type_frozen(tp->mk_enum("number", 16, 16, basic(TYPE::SHORT), false, nullptr));
    const struct {
        TYPE *type;
        INT65 mask, min, max;
    } cases[] = {
        {basic(TYPE::SHORT), 0xffff, -0x8000, 0x7fff},
        {number, 0xffff, -0x8000, 0x7fff},
        {tp->mk_ptr(tp->int_type()), 0xffff, -0x8000, 0x7fff},
        {tp->mk_qual(basic(TYPE::USHORT), TQ_const), 0xffff, 0, 0xffff},
        {basic(TYPE::INT), 0xffffffffu, INT32_MIN, INT32_MAX},
        {basic(TYPE::ULONG), 0xffffffffu, 0, 0xffffffffu},
        {int_of(64, true), ~0ull, INT64_MIN, INT64_MAX},
        {int_of(64, false), ~0ull, 0, ~0ull},
        {int_of(100, true), ~0ull, most_negative, ~0ull},
        {int_of(1, true), 1, -1, 0},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.type->printstr());
        EXPECT_EQ(type_mask(c.type), c.mask);
        EXPECT_EQ(int_type_min(c.type), c.min);
        EXPECT_EQ(int_type_max(c.type), c.max);
        EXPECT_EQ(truncate_to_type(c.min, c.type), c.min);
        EXPECT_EQ(truncate_to_type(c.max, c.type), c.max);
        EXPECT_FALSE(sum_may_overflow(c.max, 0, c.type));
        EXPECT_TRUE(sum_may_overflow(c.max, 1, c.type));
        EXPECT_FALSE(sum_may_overflow(c.min, 0, c.type));
        EXPECT_TRUE(sum_may_overflow(c.min, -1, c.type));
    }
}

TEST_F(TypedValues, ResultsBeyondTheType) {
    const TYPE *const int_type = basic(TYPE::INT), *const uint_type = basic(TYPE::UINT);
    const struct {
        INT65 a, b;
        const TYPE *type;
        bool sum, product;
    } cases[] = {
        {INT32_MAX, 1, int_type, true, false},
        {INT32_MIN, -1, int_type, true, true},
        {65536, 32768, int_type, false, true},
        {65536, -32768, int_type, false, false},
        {65536, 65536, uint_type, false, true},
        {65536, 65535, uint_type, false, false},
        {1, -2, uint_type, true, true},
        {-1, -1, uint_type, true, false},
        {power(32), power(32), uint_type, true, true},
        {most_positive, most_positive, uint_type, true, true},
        {most_negative, most_negative, int_type, true, true},
        {most_negative, 1, int_type, true, true},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(::testing::PrintToString(c.a) + ", " + ::testing::PrintToString(c.b));
        EXPECT_EQ(sum_may_overflow(c.a, c.b, c.type), c.sum);
        EXPECT_EQ(prod_may_overflow(c.a, c.b, c.type), c.product);
    }
}

TEST_F(TypedValues, CompareAsTheTypeHoldsThem) {
    const struct {
        TYPE::IKIND kind;
        INT65 a, b;
        int order;
    } cases[] = {
        {TYPE::INT, -1, 5, -1},
        {TYPE::UINT, -1, 5, 1},
        {TYPE::UINT, -1, 0xffffffffu, 0},
        {TYPE::INT, -1, 0xffffffffu, 0},
        {TYPE::SHORT, 0x8000, 0x7fff, -1},
        {TYPE::USHORT, 0x8000, 0x7fff, 1},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(compare_SLLONG_values(c.a, c.b, basic(c.kind)), c.order);
        EXPECT_EQ(compare_SLLONG_values(c.b, c.a, basic(c.kind)), -c.order);
    }
}

TEST_F(TypedValues, TypesOfConstants) {
    TYPE *const int_type = basic(TYPE::INT), *const uint_type = basic(TYPE::UINT);
    TYPE *const llong = basic(TYPE::LLONG), *const ullong = basic(TYPE::ULLONG);
    const struct {
        INT65 value;
        TYPE *wide_enough, *default_signed, *default_any;
    } cases[] = {
        {0, int_type, int_type, int_type},
        {INT32_MAX, int_type, int_type, int_type},
        {INT32_MIN, int_type, int_type, int_type},
        {0x80000000u, uint_type, llong, uint_type},
        {0xffffffffu, uint_type, llong, uint_type},
        {power(32), nullptr, llong, ullong},
        {INT65(INT32_MIN) - 1, nullptr, llong, ullong},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(::testing::PrintToString(c.value));
        EXPECT_EQ(wide_enough_int_type(c.value), c.wide_enough);
        EXPECT_EQ(default_ICON_type(c.value, false), c.default_signed);
        EXPECT_EQ(default_ICON_type(c.value, true), c.default_any);
    }
}

TEST_F(TypedValues, OffsetsWithinAnObject) {
    TYPE *const array = tp->mk_array(tp->int_type(), 4);
    const struct {
        INT65 offset;
        std::uint32_t bits;
        bool within;
    } cases[] = {
        {0, 128, true},
        {0, 129, false},
        {96, 32, true},
        {97, 32, false},
        {128, 0, true},
        {-1, 1, false},
        {129, 0, false},
        {0, ~0u, false},
        {most_positive, 1, false},
        {most_negative, 1, false},
    };
    for (const auto &c : cases)
        EXPECT_EQ(offset_is_in_range(c.offset, array, c.bits), c.within)
            << ::testing::PrintToString(c.offset) << ", " << c.bits;
}

TEST_F(TypedValues, OtherTypesAbort) {
    const auto aborts = ::testing::ExitedWithCode(1);
    TYPE *const real = tp->basic_float(TYPE::FLOAT);
    EXPECT_EXIT(truncate_to_type(1, real), aborts, "Optimizer terminated abnormally");
    EXPECT_EXIT(int_type_max(tp->void_type()), aborts, "Optimizer terminated abnormally");
    EXPECT_EXIT(sum_may_overflow(1, 1, nullptr), aborts, "Optimizer terminated abnormally");
    EXPECT_EXIT(int2text(1, real), aborts, "Optimizer terminated abnormally");
}

TEST_F(TypedValues, Texts) {
    const TYPE *const int_type = basic(TYPE::INT), *const uint_type = basic(TYPE::UINT);
    const struct {
        INT65 value;
        const TYPE *type;
        unsigned base, flags;
        const char *text;
    } cases[] = {
        {0, nullptr, 10, 0, "0"},
        {-1, nullptr, 10, 0, "-1"},
        {-1, int_type, 10, 0, "-1"},
        {-1, uint_type, 10, 0, "4294967295"},
        {0xffffffffu, int_type, 10, 0, "-1"},
        {0xffffffffu, int_type, 16, I2T_prefix, "-0x1"},
        {0xdeadbeefu, uint_type, 16, I2T_prefix, "0xdeadbeef"},
        {0xdeadbeefu, uint_type, 16, 0, "deadbeef"},
        {8, int_type, 8, I2T_prefix, "010"},
        {5, int_type, 2, I2T_prefix, "0b101"},
        {35, int_type, 36, I2T_prefix, "z"},
        {most_positive, nullptr, 10, 0, "18446744073709551615"},
        {most_negative, nullptr, 10, 0, "-18446744073709551616"},
        {most_negative, nullptr, 16, I2T_prefix, "-0x10000000000000000"},
        {most_negative, nullptr, 3, 0, "-11112220022122120101211020120210210211221"},
    };
    for (const auto &c : cases)
        EXPECT_STREQ(int2text(c.value, c.type, c.base, c.flags), c.text);
    EXPECT_EQ(int2text(most_negative, nullptr, 2, I2T_prefix), "-0b1" + std::string(64, '0'));

    std::vector<const char *> kept;
    for (int i = 0; i < int2text_buffers; ++i)
        kept.push_back(int2text(i, nullptr));
    for (int i = 0; i < int2text_buffers; ++i)
        EXPECT_EQ(kept[static_cast<std::size_t>(i)], std::to_string(i));
}
