// Quotients and remainders.
#include "tests/simp/simp_fixture.h"

#include "OPT5/driver/global_flags.h"

TEST_F(SimpTest, quotients) {
    becomes({{"i / i", "1"},
             {"0 / f()", "f(), 0"},
             {"0 / i", "0"},
             {"i / 1", "i"},
             {"i / -1", "-i"},
             {"i / -3", "-(i / 3)"},
             {"-7 / i", "-(7 / i)"},
             {"-7 / -2", "3"},
             {"-s / t", "-((int)s / (int)t)"},
             {"s / -t", "-((int)s / (int)t)"},
             {"-s / -t", "(int)s / (int)t"},
             {"s / 40000", "0"},
             {"f() / 3 / 5", "f() / 15"},
             {"i / 65536 / 65536", "0"},
             {"u / 3u / 5u", "u / 15"},
             {"i / -2147483648", "i / -2147483648"}});
    // The least value has no negative.
    stays({"f() / f()", "-i / 3", "i / 0", "0 / 0", "u / 5u", "i / 8"});
}

TEST_F(SimpTest, quotients_by_powers_of_two) {
    becomes({{"u / 4u", "u >> 2"},
             {"us / 4", "(int)us >> 2"},
             {"(i & 255) / 8", "i >> 3 & 31"},
             {"(i & -8) / 8", "i >> 3"},
             {"(i & -8) % 8", "0"}});
    stays({"(int)s / 4"});
}

TEST_F(SimpTest, factors_cancel) {
    becomes({{"(s * 6) / 3", "(int)s * 2"},
             {"(s * 6) / 4", "(int)s * 3 / 2"},
             {"(s * 6 + 9) / 3", "(int)s * 2 + 3"},
             {"(s * 6) / (t * 9)", "(int)s * 2 / ((int)t * 3)"},
             {"(s * (us & 7 | 8)) / (us & 7 | 8)", "(int)s"},
             {"(int)(short)(s / 3) / 5", "(int)(s / 15)"},
             {"(int)(short)((us & 7) * 6) / 3", "(int)((char)(us & 7) * 2)"},
             {"(int)(short)(s / 300) / 500", "0"},
             {"(s * 6) % 3", "0"}});
    stays({"((int)s * 6 + 8) / 3", "(int)s * (int)us / (int)us", "i * 6 / 3"});
}

TEST_F(SimpTest, remainders) {
    becomes({{"i % 1", "0"},
             {"i % -1", "0"},
             {"f() % 1", "f(), 0"},
             {"i % -5", "i % 5"},
             {"i % -j", "i % j"},
             {"-s % 3", "-((int)s % 3)"},
             {"u % 8u", "u & 7"},
             {"us % 8", "(int)us & 7"},
             {"us % 70000", "(int)us"},
             {"(i & 255) % 256", "i & 255"},
             {"i % 12 % 4", "i % 4"},
             {"0 % i", "0"}});
    stays({"i % 8", "i % 0", "0 % 0", "u % 12u % 5u", "(int)s % 100", "-i % 3", "i % i"});
}

TEST_F(SimpTest, quotients_of_floats) {
    strict_fp = 1;
    becomes({{"x / 2.0", "x * 0x1p-1"}, {"y / 0.25", "y * 0x1p+2"}});
    stays({"x / 3.0", "x / 0.0", "x / y"});
    strict_fp = 0;
    EXPECT_EQ(simplified("x / 3.0"), "x * 0x1.555556p-2");
}

// Every value of 16 bits against constants of all kinds.
TEST_F(SimpTest, all_short_quotients) {
    for (const char *text : {"s / 3", "s / 8", "s / -8", "s % 8", "s % -6", "us / 7", "us % 16",
                             "(short)(s / -1)", "(ushort)(us / 4)", "(s * 6) / 4", "-s / 2"}) {
        NODE *original = parse(text), *result = simp_tree(parse(text));
        for (std::uint32_t bits = 0; bits < 0x10000; ++bits) {
            TREE_MACHINE before, after;
            for (TREE_MACHINE *machine : {&before, &after})
                for (const char *variable : {"s", "us"})
                    machine->set(symbols[variable], bits);
            const std::uint32_t expected = before.value(original), found = after.value(result);
            if (expected != found) {
                ADD_FAILURE() << text << " of " << bits << " is " << expected << ", not " << found;
                break;
            }
        }
    }
}
