// Sums of integers and pointers.
#include "tests/simp/simp_fixture.h"

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
             {"i - j * -3", "i + j * 3"},
             {"i + j * -2147483648", "i + j * -2147483648"},
             {"~i + 1", "-i"},
             {"-1 - i", "~i"},
             {"~~i", "i"},
             {"~(i + 5)", "-6 - i"},
             {"~(i - 1)", "-i"},
             {"-~i", "i + 1"},
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

TEST_F(SimpTest, pointer_sums) {
    becomes({{"p + 1 + 2", "p + 6"},
             {"p + 1 - 1", "p"},
             {"p + i - 1", "(short)i * 2 + p + -2"},
             {"p + (i + 1)", "(short)i * 2 + p + 2"},
             {"(p + 3) - p", "3"},
             {"p + (s + 1) * 3", "s * 6 + p + 6"},
             {"&a[i] - &a[0]", ""}});
}
