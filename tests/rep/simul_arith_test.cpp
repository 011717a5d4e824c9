// Arithmetic on floating constants: each row in the format of its type, with what it reports.
#include "OPT5/simulfp/simul_fval.h"

#include "OPT5/rep/types.h"

#include <gmock/gmock.h>

#include <string>

namespace {
TYPE type_of(TYPE::KIND kind, std::uint32_t bits) {
    TYPE type;
    type.kind_ = kind;
    type.size_ = bits;
    return type;
}
const TYPE single_type = type_of(TYPE::FLOATING, 32), double_type = type_of(TYPE::FLOATING, 64);

simul_fval value(const char *text, const TYPE &type) {
    return truncate_fval_to_target(f_atof(text), &type);
}

using BINARY = simul_fval (*)(const simul_fval &, const simul_fval &, const TYPE *, unsigned *);
constexpr unsigned exact = 0, inexact = FVE_inexact, beyond = FVE_overflow | FVE_inexact;

struct ROW {
    BINARY op;
    const char *a, *b, *result;
    unsigned errors;
};
void check(const TYPE &type, std::initializer_list<ROW> rows) {
    for (const ROW &row : rows) {
        unsigned errors = 0;
        const simul_fval result = row.op(value(row.a, type), value(row.b, type), &type, &errors);
        SCOPED_TRACE(std::string(row.a) + " and " + row.b + " give " + f_hex_text(result));
        // One nan is as good as another.
        const simul_fval wanted = value(row.result, type);
        if (f_classify(wanted, &type) == FVAL_CLASS::nan)
            EXPECT_EQ(f_classify(result, &type), FVAL_CLASS::nan);
        else
            EXPECT_TRUE(f_bit_eq(result, wanted)) << "and not " << row.result;
        EXPECT_EQ(errors, row.errors);
    }
}
} // namespace

TEST(SimulArith, Singles) {
    check(single_type, {
                           // halfway: the even neighbour; a bit above it: up
                           {f_add, "0x1p+24", "1", "0x1p+24", inexact},
                           {f_add, "0x1.000002p+24", "1", "0x1.000004p+24", inexact},
                           {f_add, "0x1p+24", "0x1.000002p+0", "0x1.000002p+24", inexact},
                           {f_sub, "0x1p+24", "0x1p-1", "0x1p+24", inexact},
                           {f_sub, "0x1p+24", "1", "0x1.fffffep+23", exact},
                           {f_mul, "0x1.000002p+0", "0x1.000002p+0", "0x1.000004p+0", inexact},
                           {f_mul, "0x1.8p+0", "0x1.000002p+0", "0x1.800004p+0", inexact},
                           {f_div, "1", "3", "0x1.555556p-2", inexact},
                           {f_div, "3", "2", "0x1.8p+0", exact},
                           // rounded once: through binary64 these would be rounded twice
                           {f_add, "0x1p+0", "0x1.000002p-24", "0x1.000002p+0", inexact},
                           // the largest number, and beyond it from half a step on
                           {f_add, "0x1.fffffep+127", "0x1p+102", "0x1.fffffep+127", inexact},
                           {f_add, "0x1.fffffep+127", "0x1p+103", "inf", beyond},
                           {f_sub, "-0x1.fffffep+127", "0x1p+103", "-inf", beyond},
                           {f_mul, "0x1p+64", "0x1p+64", "inf", beyond},
                           {f_mul, "0x1p+64", "-0x1p+63", "-0x1p+127", exact},
                           {f_div, "0x1p+127", "0x1p-1", "inf", beyond},
                           // subnormals; what is exact there may count as inexact
                           {f_mul, "0x1p-100", "0x1p-50", "0", inexact},
                           {f_mul, "-0x1p-100", "0x1p-50", "-0", inexact},
                           {f_mul, "0x1.8p-100", "0x1p-50", "0x1p-149", inexact},
                           {f_mul, "0x1p-100", "0x1p-49", "0x1p-149", inexact},
                           {f_div, "0x1.8p-148", "2", "0x1p-148", inexact},
                           {f_div, "0x1.4p-147", "2", "0x1p-148", inexact},
                           {f_add, "0x1p-149", "0x1p-149", "0x1p-148", exact},
                           {f_sub, "0x1p-126", "0x1p-149", "0x1.fffffcp-127", exact},
                           // signs of zero
                           {f_add, "-0", "-0", "-0", exact},
                           {f_add, "-0", "0", "0", exact},
                           {f_sub, "0", "0", "0", exact},
                           {f_sub, "-0", "0", "-0", exact},
                           {f_sub, "1", "1", "0", exact},
                           {f_mul, "-0", "5", "-0", exact},
                           {f_div, "0", "-5", "-0", exact},
                           // infinities and what is no number
                           {f_add, "inf", "1", "inf", exact},
                           {f_div, "1", "inf", "0", exact},
                           {f_div, "1", "0", "inf", FVE_divide_by_zero},
                           {f_div, "-1", "0", "-inf", FVE_divide_by_zero},
                           {f_div, "inf", "0", "inf", exact},
                           {f_sub, "inf", "inf", "nan", FVE_invalid},
                           {f_mul, "0", "inf", "nan", FVE_invalid},
                           {f_div, "0", "0", "nan", FVE_invalid},
                           {f_div, "inf", "inf", "nan", FVE_invalid},
                           {f_add, "nan", "1", "nan", FVE_invalid},
                           {f_mul, "1", "nan", "nan", FVE_invalid},
                       });
}

TEST(SimulArith, Doubles) {
    check(double_type, {{f_add, "0x1p+53", "1", "0x1p+53", inexact},
                        {f_add, "0x1.0000000000001p+53", "1", "0x1.0000000000002p+53", inexact},
                        {f_add, "0x1p+24", "1", "0x1.000001p+24", exact},
                        {f_mul, "0x1p+64", "0x1p+64", "0x1p+128", exact},
                        {f_mul, "0x1p+1000", "0x1p+24", "inf", beyond},
                        {f_mul, "0x1p-1000", "0x1p-74", "0x1p-1074", inexact},
                        {f_mul, "0x1p-1000", "0x1p-75", "0", inexact},
                        {f_div, "1", "3", "0x1.5555555555555p-2", inexact}});
}

TEST(SimulArith, OneOperand) {
    const struct {
        const char *a, *root;
        unsigned errors;
    } roots[] = {{"4", "2", exact},
                 {"2", "0x1.6a09e6p+0", inexact},
                 {"-0", "-0", exact},
                 {"inf", "inf", exact},
                 {"0x1p-148", "0x1p-74", inexact}};
    for (const auto &row : roots) {
        unsigned errors = 0;
        const simul_fval root = f_sqrt(value(row.a, single_type), &single_type, &errors);
        EXPECT_TRUE(f_bit_eq(root, value(row.root, single_type))) << row.a << f_hex_text(root);
        EXPECT_EQ(errors, row.errors) << row.a;
    }
    unsigned errors = 0;
    (void)f_sqrt(value("-1", single_type), &single_type, &errors);
    EXPECT_EQ(errors, unsigned(FVE_invalid));
    for (const char *text : {"0", "-0", "1.5", "-inf", "nan", "-nan", "0x1p-149"}) {
        const simul_fval a = value(text, single_type);
        EXPECT_TRUE(f_bit_eq(f_neg(f_neg(a)), a)) << text;
        EXPECT_NE(f_is_negative(f_neg(a)), f_is_negative(a)) << text;
        EXPECT_FALSE(f_is_negative(f_abs(f_neg(a)))) << text;
    }
}

TEST(SimulArith, Order) {
    const struct {
        const char *a, *b;
        FVAL_ORDER order;
    } rows[] = {
        {"-0", "0", FVAL_ORDER::equal},         {"1", "2", FVAL_ORDER::less},
        {"-1", "-2", FVAL_ORDER::greater},      {"-inf", "-0x1.fffffep+127", FVAL_ORDER::less},
        {"0x1p-149", "0", FVAL_ORDER::greater}, {"inf", "inf", FVAL_ORDER::equal},
        {"nan", "nan", FVAL_ORDER::unordered},  {"nan", "1", FVAL_ORDER::unordered}};
    for (const auto &row : rows)
        EXPECT_EQ(f_compare(value(row.a, single_type), value(row.b, single_type)), row.order)
            << row.a << " " << row.b;
}

TEST(SimulArith, FromIntegers) {
    const INT65 two_to_63 = INT65(1) << INT65(63);
    const struct {
        INT65 whole;
        const char *as_single, *as_double;
        unsigned of_single, of_double;
    } rows[] = {
        {0, "0", "0", exact, exact},
        {-1, "-1", "-1", exact, exact},
        {16777216, "0x1p+24", "0x1p+24", exact, exact},
        {16777217, "0x1p+24", "0x1.000001p+24", inexact, exact},
        {16777219, "0x1.000004p+24", "0x1.000003p+24", inexact, exact},
        {-16777217, "-0x1p+24", "-0x1.000001p+24", inexact, exact},
        {INT65(0xffffffffu), "0x1p+32", "0x1.fffffffep+31", inexact, exact},
        {two_to_63 - 1, "0x1p+63", "0x1p+63", inexact, inexact},
        {-two_to_63, "-0x1p+63", "-0x1p+63", exact, exact},
        {two_to_63 + (two_to_63 - 1), "0x1p+64", "0x1p+64", inexact, inexact},
    };
    for (const auto &row : rows) {
        unsigned errors = 0;
        simul_fval made = f_from_int(row.whole, &single_type, &errors);
        EXPECT_TRUE(f_bit_eq(made, value(row.as_single, single_type))) << f_hex_text(made);
        EXPECT_EQ(errors, row.of_single) << row.as_single;
        errors = 0;
        made = f_from_int(row.whole, &double_type, &errors);
        EXPECT_TRUE(f_bit_eq(made, value(row.as_double, double_type))) << f_hex_text(made);
        EXPECT_EQ(errors, row.of_double) << row.as_double;
    }
}

TEST(SimulArith, ToIntegers) {
    const auto integer = [](TYPE::IKIND kind, std::uint32_t bits) {
        TYPE type = type_of(TYPE::INTEGER, bits);
        type.sub.integer.ikind = kind;
        return type;
    };
    const TYPE short_type = integer(TYPE::SHORT, 16), int_type = integer(TYPE::INT, 32),
               uint_type = integer(TYPE::UINT, 32);
    const struct {
        const char *text;
        const TYPE &type;
        INT65 whole;
        unsigned errors;
    } rows[] = {
        {"2.75", int_type, 2, inexact},
        {"-2.75", int_type, -2, inexact},
        {"-0.5", uint_type, 0, inexact},
        {"-0", int_type, 0, exact},
        {"0x1p-149", int_type, 0, inexact},
        {"-0x1p+31", int_type, -(INT65(1) << INT65(31)), exact},
        {"0x1p+31", int_type, -(INT65(1) << INT65(31)), FVE_invalid},
        {"0x1p+31", uint_type, INT65(1) << INT65(31), exact},
        {"0x1.fffffep+31", uint_type, INT65(0xffffff00u), exact},
        {"0x1p+32", uint_type, 0, FVE_invalid},
        {"-1", uint_type, INT65(0xffffffffu), FVE_invalid},
        {"32767.5", short_type, 32767, inexact},
        {"32768", short_type, -32768, FVE_invalid},
        {"70000", short_type, 4464, FVE_invalid},
        {"0x1p+100", int_type, 0, FVE_invalid},
        {"inf", int_type, 0, FVE_invalid},
        {"-inf", uint_type, 0, FVE_invalid},
        {"nan", int_type, 0, FVE_invalid},
    };
    for (const auto &row : rows) {
        unsigned errors = 0;
        EXPECT_EQ(f_to_int(value(row.text, single_type), &row.type, &errors), row.whole)
            << row.text;
        EXPECT_EQ(errors, row.errors) << row.text;
    }
}
