// Bit operations, and masks in what they mask.
#include "tests/simp/simp_fixture.h"

TEST_F(SimpTest, bitwise_constants) {
    becomes({{"i & 0", "0"},
             {"i & -1", "i"},
             {"f() & 0", "f(), 0"},
             {"7 & i", "i & 7"},
             {"i & 12 & 10", "i & 8"},
             {"i | -1", "-1"},
             {"i ^ -1", "~i"},
             {"~i ^ 5", "i ^ -6"},
             {"(i < j) & 1", "i < j"},
             {"(i < j) & 2", "0"},
             {"(i & 240) ^ 15", "i & 240 | 15"},
             {"(i | 15) ^ 15", "i & -16"},
             {"(i & 1) | (j & 1) | 1", "1"}});
}

TEST_F(SimpTest, masks_go_down) {
    becomes({{"(i | 3) & 3", "3"},
             {"(i | 3) & 12", "i & 12"},
             {"(i & -16) | 15", "i | 15"},
             {"(i + 256) & 255", "i & 255"},
             {"(i * 8 + j) & 7", "j & 7"},
             {"(i << 8 | j) & 255", "j & 255"},
             {"(i ^ 240) & 15", "i & 15"},
             {"(i & 255) & 255", "i & 255"},
             {"us & 65535", "(int)us"},
             {"s & 65535", "(int)(unsigned char)s"},
             {"(us >> 8) & 255", "(int)us >> 8"},
             {"(i & 15) & (j & 240)", "0"},
             {"((i ? j | 8 : k) + 16) & 7", "(i ? j : k) & 7"},
             {"-(i | 64) & 7", "-i & 7"},
             {"(f() + 256) & 255", "f() & 255"}});
    stays({"(int)s & 255", "i >> 4 & 15", "(i + j) & 255", "i & 240 | 15"});
}

TEST_F(SimpTest, bitwise_operands_meet) {
    becomes({{"i & (i | j)", "i"},
             {"i | (i & j)", "i"},
             {"i & ~i", "0"},
             {"i | ~i", "-1"},
             {"i ^ ~i", "-1"},
             {"~i & ~j", "~(i | j)"},
             {"~i | ~j", "~(i & j)"},
             {"~i ^ ~j", "i ^ j"},
             {"~i ^ j", "~(i ^ j)"},
             {"i ^ i", "0"},
             {"i ^ j ^ i", "j"},
             {"i | j | i", "i | j"},
             {"i & (~i | j)", "j & i"},
             {"i | (~i & j)", "j | i"},
             {"(i & j) | (i & k)", "(j | k) & i"},
             {"(i & 3) | (i & 12)", "i & 15"},
             {"(i & 3) | (j & 3)", "(i | j) & 3"},
             {"(i | j) & (i | k)", "j & k | i"},
             {"(i & j) ^ (i & k)", "(j ^ k) & i"},
             {"(i | j) ^ (i & j)", "i ^ j"},
             {"(i ^ j) | (i & j)", "i | j"},
             {"(i ^ j) | j", "i | j"}});
    stays({"vi & vi", "f() ^ f()", "f() | ~f()", "i & (f() | i)"});
}

TEST_F(SimpTest, casts_and_shifts_of_both_operands_move_out) {
    becomes({{"s & t", "(int)(s & t)"},
             {"us | ut", "(int)(us | ut)"},
             {"(unsigned)i & (unsigned)j", "(unsigned)(i & j)"},
             {"(unsigned)i & 7u", "(unsigned)(i & 7)"},
             {"(i >> 3) & (j >> 3)", "(i & j) >> 3"},
             {"(i * 4) | (j * 4)", "(i | j) * 4"}});
    stays({"(int)s & (int)us", "i >> 3 & j >> 4"});
}

// Whatever of two values and constants is written takes its least number of operators.
TEST_F(SimpTest, bit_functions_of_two_values) {
    becomes({{"i & ~(i & j)", "~j & i"},
             {"i & ~(i ^ j)", "i & j"},
             {"(i | j) & ~(i & j)", "i ^ j"},
             {"(i & ~j) | (~i & j)", "j ^ i"},
             {"(i & j) | (~i & ~j)", "~(i ^ j)"},
             {"~(~i & j)", "~j | i"},
             {"((i ^ 3) | 12) & 5", "i & 1 ^ 5"},
             {"(int)(unsigned)(i | j) ^ (i & j)", "i ^ j"},
             {"(i >> 31) & 1", "(int)((unsigned)i >> 31)"}});
    stays({"~j & i", "i & j & k", "i ^ j | k", "(f() | i) & ~(f() & i)"});
}
