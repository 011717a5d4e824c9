// Sums of integers and pointers.
#include "tests/simp/simp_fixture.h"

#include "OPT5/driver/global_flags.h"

TEST_F(SimpTest, neutral_constants_and_chains) {
    becomes({{"i + 0", "i"},
             {"i - 0", "i"},
             {"0 - i", "-i"},
             {"1 + i", "i + 1"},
             {"i - 1", "i + -1"},
             {"1 + i + 2", "i + 3"},
             {"(i + 1) - (j + 2)", "i - j + -1"},
             {"i + (j + 3)", "i + j + 3"},
             {"(i + 3) + (j - 3)", "i + j"},
             {"5 - (i - 2)", "7 - i"},
             {"u - 1u", "u + 4294967295"},
             {"2147483647 + i + 1", "i + -2147483648"},
             {"(i + j) + (k + 1)", "i + j + k + 1"}});
}

TEST_F(SimpTest, terms_cancel_and_join) {
    becomes({{"i - i", "0"},
             {"i + j - i", "j"},
             {"i - (i + j)", "-j"},
             {"i - (i - j)", "j"},
             {"(i - j) + (j - i)", "0"},
             {"i + i", "i * 2"},
             {"i * 3 + i", "i * 4"},
             {"i * 3 - i * 3", "0"},
             {"i + (i << 2)", "i * 5"},
             {"u * 2u + (unsigned)i - (unsigned)i", "u * 2"},
             {"i * 7 - i * 6", "i"},
             {"i * 2147483647 + i", "i * -2147483648"},
             {"a[i] - a[i] + j", "j"}});
}

TEST_F(SimpTest, signs_move_out) {
    becomes({{"i + -j", "i - j"},
             {"i - -j", "i + j"},
             {"-i + j", "j - i"},
             {"-(i - j)", "j - i"},
             {"-(-i)", "i"},
             {"-(i * 3)", "i * -3"},
             {"i + j * -3", "i - j * 3"},
             {"i - j * -3", "j * 3 + i"},
             {"i + j * -2147483648", "j * -2147483648 + i"},
             {"~i + 1", "-i"},
             {"-1 - i", "~i"},
             {"~~i", "i"},
             {"~(i + 5)", "-6 - i"},
             {"~(i - 1)", "-i"},
             {"-~i", "i + 1"},
             {"~i - j", "~i - j"},
             {"-1 - i - j", "~i - j"},
             {"i + ~i", "-1"}});
    stays({"-i - j", "7 - i", "-i", "~i", "i - j", "i - j + 3"});
}

TEST_F(SimpTest, effects_keep_their_places) {
    becomes({{"f() + 1 + 2", "f() + 3"},
             {"f() - -f()", "f() + f()"},
             {"vi - vi", "vi - vi"},
             {"i + f() - i", "i + f() - i"},
             {"1 + f()", "f() + 1"}});
    stays({"-f() + f()", "i + f()", "f() + f()", "vi + vi", "f() - i"});
}

// char is the name of the integer of 16 bits that comes first.
TEST_F(SimpTest, pointer_sums) {
    becomes({{"p + 1 + 2", "p + 6"},
             {"p + 1 - 1", "p"},
             {"p - 1", "p + -2"},
             {"p + i - 1", "(char)i * 2 + p + -2"},
             {"p + (i + 1)", "(char)i * 2 + p + 2"},
             {"(p + 3) - p", "3"},
             {"p + (q - p)", "(q - p) / 2 * 2 + p"},
             {"(p + i) - (p + j)", "((char)i - (char)j) * 2 >> 1"},
             {"&p[0]", "p"}});
    becomes({{"p - q", "(p - q) / 2"}});
}

TEST_F(SimpTest, common_factors) {
    becomes({{"i * k + j * k", "(i + j) * k"},
             {"k * i - j * k", "(i - j) * k"},
             {"i * 5 + j * 5", "(i + j) * 5"},
             {"i * 5 - j * 5", "(i - j) * 5"},
             {"i * 5 + k + j * 5", "(i + j) * 5 + k"},
             {"k - i * 5 - j * 5", "k - (i + j) * 5"},
             {"(i << k) + (j << k)", "i + j << k"}});
    stays({"i * k + f() * k", "i * 5 + j * 6"});
}

TEST_F(SimpTest, bits_in_sums) {
    becomes({{"(i & 240) + (j & 15)", "i & 240 | j & 15"},
             {"(i & j) + (i | j)", "i + j"},
             {"(i ^ j) + (j & i)", "i | j"},
             {"(i | j) - (i & j)", "i ^ j"},
             {"i - (i & 7)", "i & -8"},
             {"u - 6u - (u & 5u)", "(u & 4294967290) + 4294967290"},
             {"(i - 3) * 4 + j * 4", "(i + j) * 4 + -12"},
             {"(i | 7) - 7", "i & -8"},
             {"i - i / j * j", "i % j"},
             {"~(i ^ 5)", "i ^ -6"},
             {"~(~i & j)", "~j | i"},
             {"~(~i | ~j)", "i & j"},
             {"(b ? 3 : 5) + 2", "b ? 5 : 7"},
             {"-(int)(u >> 31)", "(int)u >> 31"}});
    stays({"(i & 241) + (j & 15)"});
}

TEST_F(SimpTest, one_operand) {
    becomes({{"ABS(-i)", "ABS(i)"},
             {"ABS(-u)", "-u"},
             {"(i > 0 | -262) - -262", "i > 0"},
             {"SQR(-i)", "SQR(i)"},
             {"SQR(ABS(x))", "SQR(x)"}});
    stays({"ABS(i)"});
}

TEST_F(SimpTest, float_sums_that_are_exact) {
    becomes({{"x + -y", "x - y"},
             {"x - -y", "x + y"},
             {"-x + y", "y - x"},
             {"x - 0.0", "x"},
             {"-(-x)", "x"},
             {"-(x * 2.0)", "x * -0x1p+1"},
             {"-(x / 2.0)", "x * -0x1p-1"}});
    stays({"x + 0.0", "x - x", "-(x - y)"});
    strict_fp = 0;
    becomes({{"x + 0.0", "x"}});
}

// Where results may be inexact and additions be regrouped.
TEST_F(SimpTest, float_sums_in_another_order) {
    static constexpr SIMP_ROW rows[] = {
        {"x + 1.5 + 2.5", "x + 0x1p+2"},
        {"(x + 1.5) + y - 2.5", "x + y + -0x1p+0"},
        {"x + (y + 1.5)", "y + x + 0x1.8p+0"},
        {"x + (y + f())", "x + y + (float)f()"},
        {"x - 1.5 + 1.5", "x"},
        {"x * 2.0 * 3.0", "x * 0x1.8p+2"},
        {"2.0 * x * (y * 3.0)", "y * x * 0x1.8p+2"},
        {"x * 1.0e30 * 1.0e30", "x * 0x1.93e594p+99 * 0x1.93e594p+99"},
        {"x * 1.0e-30 * 1.0e-30", "x * 0x1.4484cp-100 * 0x1.4484cp-100"}};
    option_obj off;
    ASSERT_TRUE(off.process_option("-fp_reassoc=off", nullptr));
    for (const bool regroups : {true, false}) {
        file_options = regroups ? nullptr : &off;
        for (const int strict : {0, 1}) {
            strict_fp = strict;
            for (const SIMP_ROW &row : rows)
                if (regroups && !strict)
                    EXPECT_EQ(simplified(row.before), row.after);
                else
                    expect_same_meaning(parse(row.before), simp_tree(parse(row.before)),
                                        row.before);
        }
    }
    file_options = nullptr;
}
