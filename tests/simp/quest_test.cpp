// Choices.
#include "tests/simp/compare_fixture.h"

namespace {
TEST_F(CompareTest, choices) {
    becomes({{"s < t ? s : t", "s < t ? s : t"},
             {"1 ? i : j", "i"},
             {"0 ? i : j", "j"},
             {"i ? 1 : 0", "i != 0"},
             {"i ? 0 : 1", "i == 0"},
             {"i < j ? 1 : 0", "i < j"},
             {"x < y ? 0 : 1", "x < y == 0"},
             {"f() ? i : i", "f(), i"},
             {"vi ? i : i", "vi, i"},
             {"i == 0 ? j : k", "i ? k : j"},
             {"i != 0 ? j : k", "i ? j : k"},
             {"i < 0 ? -i : i", "ABS(i)"},
             {"i > 0 ? i : -i", "ABS(i)"},
             {"i >= 0 ? i : -i", "ABS(i)"},
             {"i <= 0 ? -i : i", "ABS(i)"},
             {"i < 0 ? i : -i", "-ABS(i)"},
             {"i >= 0 ? -i : i", "-ABS(i)"},
             {"s < 0 ? -s : s", "ABS((int)s)"},
             {"x < 0.0 ? -x : x", "x < 0x0p+0 ? -x : x"},
             {"i < j ? i : j", "MIN(i, j)"},
             {"i <= j ? i : j", "MIN(i, j)"},
             {"i > j ? i : j", "MAX(i, j)"},
             {"i >= j ? i : j", "MAX(i, j)"},
             {"i < j ? j : i", "MAX(i, j)"},
             {"u < v ? u : v", "MINU(u, v)"},
             {"u > v ? u : v", "MAXU(u, v)"},
             {"us > ut ? us : ut", "us U> ut ? us : ut"},
             {"i < 5 ? i : 5", "MIN(i, 5)"},
             {"i < 5 ? 5 : i", "MAX(i, 5)"},
             {"i > 4 ? i : 5", "MAX(i, 5)"},
             {"i <= 4 ? i : 5", "MIN(i, 5)"},
             {"u >= 10u ? 10u : u", "MINU(u, 10)"},
             {"x < y ? x : y", "FMIN(x, y)"},
             {"x > y ? x : y", "FMAX(x, y)"},
             {"x < y ? y : x", "FMAX(y, x)"},
             {"i < 3 ? 5 : 4", "(i < 3) + 4"},
             {"i < 3 ? 4 : 5", "5 - (i < 3)"},
             {"i < 3 ? 8 : 0", "-(i < 3) & 8"},
             {"i < 3 ? 0 : 8", "-(i > 2) & 8"},
             {"i < 3 ? -1 : 0", "-(i < 3)"},
             {"i < 3 ? 7 : 0", "-(i < 3) & 7"},
             {"i < 3 ? j + 1 : j", "(i < 3) + j"},
             {"i < 3 ? j : j + 1", "(i > 2) + j"},
             {"i < 3 ? j - 1 : j", "j - (i < 3)"},
             {"i < 3 ? j : 0", "-(i < 3) & j"},
             {"i < 3 ? 0 : j", "-(i > 2) & j"},
             {"i ? j < 3 : 0", "i != 0 & j < 3"},
             {"i ? 1 : j < 3", "i != 0 | j < 3"},
             {"i ? (i ? j : k) : 7", "i ? j : 7"},
             {"i ? 7 : (i ? j : k)", "i ? 7 : k"},
             {"i < 3 ? (j < 3 ? k : 9) : 9", "i < 3 & j < 3 ? k : 9"},
             {"i < 3 ? k : (j < 3 ? k : 9)", "i < 3 | j < 3 ? k : 9"}});
    stays({"x <= y ? x : y", "x >= y ? y : x", "vi < 3 ? vi : 3", "i < 3 ? j + 4 : j", "i ? j : 0",
           "i ? f() : 0", "x ? i : j"});
}

TEST_F(CompareTest, absolute_and_limited_values_of_all_numbers) {
    for (const char *comparison : {" < ", " <= ", " > ", " >= "})
        for (const char *arms : {"? @ : -@", "? -@ : @", "? @ : 5", "? 5 : @", "? @ : 4", "? 4 : @",
                                 "? @ + 1 : @", "? @ : @ - 1", "? 7 : 0", "? 4 : 5", "? 0 : -1"})
            for (const char *constant : {"0", "1", "-1", "4", "5"})
                for (const char *variable : {"s", "us"}) {
                    std::string text = std::string("@") + comparison + constant + " " + arms;
                    same_values(of_variable(text, variable), variable);
                    if (HasFailure()) return;
                }
}

// NaNs, zeros and infinities go where the comparison sends them.
TEST_F(CompareTest, limits_of_floats_are_the_choice) {
    const std::uint32_t bits[] = {0, 0x80000000, 0x3f800000, 0x7f800000, 0xff800000, 0x7fc00000};
    for (const char *text :
         {"x < y ? x : y", "x > y ? x : y", "x < y ? y : x", "x > y ? y : x", "x <= y ? x : y",
          "x >= y ? x : y", "y < x ? x : y", "x < y == 0", "!(x < y)", "-x < -y", "x - y < 0.0",
          "x - y > 0.0", "!(x < y && y < z)", "x < 0.0 ? -x : x"}) {
        const NODE *before = parse(text), *after = simp_tree(parse(text));
        for (std::uint32_t first : bits)
            for (std::uint32_t second : bits) {
                TREE_MACHINE machine;
                machine.set(symbols["x"], first);
                machine.set(symbols["y"], second);
                machine.set(symbols["z"], first);
                EXPECT_EQ(machine.value(before), machine.value(after))
                    << text << " of " << std::hex << first << " and " << second;
            }
    }
}

TEST_F(CompareTest, integers_as_floats_compare_with_constants) {
    for (const char *constant : {"0.0", "3.5", "-3.5", "16777216.0", "16777217.0", "2147483648.0",
                                 "-2147483648.0", "4294967296.0", "1.0e30", "-1.0e30"})
        for (const char *comparison : {" < ", " <= ", " > ", " >= ", " == ", " != "})
            for (const char *variable : {"i", "u"}) {
                const std::string text = std::string("(float)") + variable + comparison + constant;
                const NODE *before = parse(text), *after = simp_tree(parse(text));
                EXPECT_FALSE(after->op != OP::ICON && after->left->type->is_floating()) << text;
                for (std::uint32_t value :
                     {0u, 1u, 3u, 4u, 16777215u, 16777216u, 16777217u, 16777218u, 0x7fffff00u,
                      0x7fffffbfu, 0x7fffffc0u, 0x7fffffffu, 0x80000000u, 0xfffffffcu, 0xfffffffdu,
                      0xffffff7fu, 0xffffff80u, 0xffffffffu}) {
                    TREE_MACHINE machine;
                    machine.set(symbols[variable], value);
                    EXPECT_EQ(machine.value(before), machine.value(after))
                        << text << " of " << value;
                }
            }
}
} // namespace
