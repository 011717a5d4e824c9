// Shifts by constants.
#include "tests/simp/simp_fixture.h"

#include "OPT5/driver/global_flags.h"

TEST_F(SimpTest, shift_counts_merge) {
    becomes({{"i >> 0", "i"},
             {"f() >> 0", "f()"},
             {"i >> 3 >> 4", "i >> 7"},
             {"i >> 20 >> 20", "i >> 31"},
             {"i >> 9 >> 34", "i >> 31"},
             {"u >> 20 >> 20", "0"},
             {"i << 3 << 4", "i << 7"},
             {"i << 20 << 20", "0"},
             {"i << 32", "0"},
             {"f() << 40", "f(), 0"},
             {"u >> 32", "0"},
             {"us >> 16", "0"},
             {"i >> 40", "i >> 31"},
             {"(us & 15) >> 4", "0"}});
    stays({"i >> j", "i << j", "i >> -1", "i << 3", "(unsigned)i >> 3"});
}

TEST_F(SimpTest, shifts_that_cannot_overflow_are_products) {
    becomes({{"s << 3", "(int)s * 8"},
             {"(i & 255) << 4", "(i & 255) * 16"},
             {"(s * 12) >> 1", "(int)s * 6"},
             {"(s * 12) >> 3", "(int)s * 3 >> 1"}});
    stays({"(int)us << 31", "i * 12 >> 1"});
    mini_mult = 1;
    stays({"(int)s << 3"});
}

TEST_F(SimpTest, shifts_and_masks) {
    becomes({{"(i & 255) >> 4", "i >> 4 & 15"},
             {"(i ^ 240) >> 4", "i >> 4 ^ 15"},
             {"(u | 15u) >> 2", "u >> 2 | 3"},
             {"(u << 8) >> 8", "u & 16777215"},
             {"(u << 8) >> 3", "u << 5 & 536870880"},
             {"(u << 3) >> 8", "u >> 5 & 16777215"},
             {"(i >> 3) << 3", "i & -8"},
             {"(i >> 3) << 5", "(i & -8) << 2"},
             {"(i >> 5) << 3", "i >> 2 & -8"},
             {"(u >> 3) << 3", "u & 4294967288"},
             {"((unsigned)i >> 3) << 3", "(unsigned)(i & -8)"},
             {"(i << 16) >> 16 & 255", "i & 255"}});
    stays({"i << 8 >> 8"});
}
