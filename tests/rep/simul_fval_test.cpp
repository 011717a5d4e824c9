// Floating constants: what texts mean, rounding to a type, and texts that give the value back.
#include "OPT5/simulfp/simul_fval.h"

#include "OPT5/rep/types.h"

#include <gmock/gmock.h>

#include <bit>
#include <cmath>
#include <cstdio>
#include <limits>
#include <random>
#include <string>
#include <unistd.h>

namespace {
TYPE floating_type(std::uint32_t bits) {
    TYPE type;
    type.kind_ = TYPE::FLOATING;
    type.size_ = bits;
    return type;
}
const TYPE single_type = floating_type(32), double_type = floating_type(64);

std::string retold(std::string_view text, const TYPE &type) {
    return f_hex_text(truncate_fval_to_target(f_atof(text), &type));
}

std::string percent_a(double value) {
    char text[64];
    std::snprintf(text, sizeof text, "%a", value);
    return text;
}
} // namespace

TEST(SimulFval, TextsOfEitherFormat) {
    const struct {
        const char *text, *as_single, *as_double;
    } cases[] = {
        {"0x1.8p+1", "0x1.8p+1", "0x1.8p+1"},
        {"0x3p0", "0x1.8p+1", "0x1.8p+1"},
        {"+3", "0x1.8p+1", "0x1.8p+1"},
        {"-.5e1", "-0x1.4p+2", "-0x1.4p+2"},
        {"0", "0x0p+0", "0x0p+0"},
        {"-0.0", "-0x0p+0", "-0x0p+0"},
        {"0.1", "0x1.99999ap-4", "0x1.999999999999ap-4"},
        {"inf", "inf", "inf"},
        {"-infinity", "-inf", "-inf"},
        {"nan", "nan", "nan"},
        {"-nan", "-nan", "-nan"},
        {"1e400", "inf", "inf"},
        {"-1e40", "-inf", "-0x1.d6329f1c35ca5p+132"},
        {"1e-400", "0x0p+0", "0x0p+0"},
        {"-1e-400", "-0x0p+0", "-0x0p+0"},
        {"0x1p-149", "0x1p-149", "0x1p-149"},
        {"0x1p-150", "0x0p+0", "0x1p-150"},
        {"0x1.000002p-150", "0x1p-149", "0x1.000002p-150"},
        {"0x0.8p-1074", "0x0p+0", "0x0p+0"},
        {"0x1p-1074", "0x0p+0", "0x0.0000000000001p-1022"},
        {"0x1.fffffep+127", "0x1.fffffep+127", "0x1.fffffep+127"},
        {"0x1.ffffffp+127", "inf", "0x1.ffffffp+127"},
        {"0x1.fffffefp+127", "0x1.fffffep+127", "0x1.fffffefp+127"},
        // Ties go to even; a bit far below, which the wider format cannot hold, breaks them.
        {"0x1.000001p+0", "0x1p+0", "0x1.000001p+0"},
        {"0x1.000003p+0", "0x1.000004p+0", "0x1.000003p+0"},
        {"0x1.000001000000000000001p+0", "0x1.000002p+0", "0x1.000001p+0"},
        {"0x1.000002ffffffffffffffffp+0", "0x1.000002p+0", "0x1.000003p+0"},
        {"1.00000005960464477539062500000000000000001", "0x1.000002p+0", "0x1.000001p+0"},
        {"0x1.00000000000008p+0", "0x1p+0", "0x1p+0"},
        {"0x1.000000000000080000001p+0", "0x1p+0", "0x1.0000000000001p+0"},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(retold(c.text, single_type), c.as_single) << c.text;
        EXPECT_EQ(retold(c.text, double_type), c.as_double) << c.text;
    }
    EXPECT_EQ(retold("1" + std::string(5000, '0') + "e-5000", single_type), "0x1p+0");
}

// What a writer put into a file by "%a" comes out with the same bytes.
TEST(SimulFval, FilesTextsComeBack) {
    std::mt19937_64 random(41);
    for (int i = 0; i < 5000; ++i) {
        const auto single = std::bit_cast<float>(static_cast<std::uint32_t>(random()));
        const auto wide = std::bit_cast<double>(random());
        if (!std::isnan(single)) {
            const std::string text = percent_a(static_cast<double>(single));
            ASSERT_EQ(retold(text, single_type), text);
            ASSERT_EQ(retold(text, double_type), text);
        }
        if (!std::isnan(wide)) {
            ASSERT_EQ(retold(percent_a(wide), double_type), percent_a(wide));
            ASSERT_EQ(retold(percent_a(wide), single_type), percent_a(static_cast<float>(wide)));
        }
    }
    for (const double value : {0.0, -0.0, 1.0 / 3, 5e-324, 2.2250738585072009e-308,
                               std::numeric_limits<double>::infinity()})
        EXPECT_EQ(retold(percent_a(value), double_type), percent_a(value));
}

TEST(SimulFval, NansKeepTheirBits) {
    const struct {
        const char *text, *as_single, *as_double;
    } cases[] = {
        {"nan(0x8000000000000)", "nan", "nan"},
        {"nan(0x8000020000000)", "nan(0x8000020000000)", "nan(0x8000020000000)"},
        {"-nan(0x20000000)", "-nan(0x20000000)", "-nan(0x20000000)"},
        {"nan(0x1)", "nan", "nan(0x1)"},
        {"nan(0xfffffffffffff)", "nan(0xfffffe0000000)", "nan(0xfffffffffffff)"},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(retold(c.text, single_type), c.as_single) << c.text;
        EXPECT_EQ(retold(c.text, double_type), c.as_double) << c.text;
        EXPECT_EQ(retold(c.as_single, single_type), c.as_single);
    }
}

TEST(SimulFval, EqualityIsOfBits) {
    const auto value = [](const char *text) {
        return truncate_fval_to_target(f_atof(text), &single_type);
    };
    EXPECT_TRUE(f_bit_eq(value("0.1"), value("0x1.99999ap-4")));
    EXPECT_TRUE(f_bit_eq(value("nan"), value("nan")));
    EXPECT_FALSE(f_bit_eq(value("nan"), value("-nan")));
    EXPECT_FALSE(f_bit_eq(value("0"), value("-0")));
    EXPECT_FALSE(f_bit_eq(value("1"), value("0x1.000002p+0")));
    const simul_fval copy = value("0.1");
    EXPECT_TRUE(f_bit_eq(copy, truncate_fval_to_target(copy, &single_type)));
    EXPECT_TRUE(f_bit_eq(copy, truncate_fval_to_target(copy, &double_type)))
        << "exact when widened";
    EXPECT_FALSE(f_bit_eq(copy, truncate_fval_to_target(f_atof("0.1"), &double_type)));
}

TEST(SimulFval, ClassesByType) {
    const struct {
        const char *text;
        FVAL_CLASS as_single, as_double;
        bool negative;
    } cases[] = {
        {"0", FVAL_CLASS::zero, FVAL_CLASS::zero, false},
        {"-0", FVAL_CLASS::zero, FVAL_CLASS::zero, true},
        {"1", FVAL_CLASS::normal, FVAL_CLASS::normal, false},
        {"-0x1p-126", FVAL_CLASS::normal, FVAL_CLASS::normal, true},
        {"0x1p-127", FVAL_CLASS::subnormal, FVAL_CLASS::normal, false},
        {"0x1p-1022", FVAL_CLASS::zero, FVAL_CLASS::normal, false},
        {"-0x1p-1023", FVAL_CLASS::zero, FVAL_CLASS::subnormal, true},
        {"1e39", FVAL_CLASS::infinite, FVAL_CLASS::normal, false},
        {"-inf", FVAL_CLASS::infinite, FVAL_CLASS::infinite, true},
        {"-nan", FVAL_CLASS::nan, FVAL_CLASS::nan, true},
    };
    for (const auto &c : cases) {
        for (const TYPE *type : {&single_type, &double_type}) {
            const simul_fval value = truncate_fval_to_target(f_atof(c.text), type);
            EXPECT_EQ(f_classify(value, type), type == &single_type ? c.as_single : c.as_double)
                << c.text;
            EXPECT_EQ(f_is_negative(value), c.negative) << c.text;
        }
    }
}

TEST(SimulFval, OtherTextsEndTheRun) {
    using namespace std::string_view_literals;
    for (const std::string_view text :
         {""sv,       " 1"sv,     "1 "sv,       "\t1"sv,       "+"sv,
          "--1"sv,    "-+1"sv,    "."sv,        "e5"sv,        "1e"sv,
          "1f"sv,     "0x"sv,     "0x1p"sv,     "abc"sv,       "infinite"sv,
          "nans"sv,   "nan()"sv,  "nan(0x0)"sv, "nan(0x-1)"sv, "nan(0x10000000000000)"sv,
          "nan(0x"sv, "nan(1)"sv, "1\0002"sv,   "0x1.8q"sv,    "1,5"sv})
        EXPECT_EXIT((dup2(STDERR_FILENO, STDOUT_FILENO), f_atof(text)),
                    ::testing::ExitedWithCode(1),
                    "\nINTERNAL ERROR: Invalid floating constant in I-code, aborting\n")
            << '"' << text << '"';
}
