// Products.
#include "tests/simp/simp_fixture.h"

TEST_F(SimpTest, constant_factors) {
    becomes({{"i * 1", "i"},
             {"3 * i", "i * 3"},
             {"i * 0", "0"},
             {"f() * 0", "f(), 0"},
             {"i * -1", "-i"},
             {"u * 4294967295u", "-u"},
             {"i * 3 * 5", "i * 15"},
             {"i * 3 * j * 5", "i * j * 15"},
             {"-i * 3", "i * -3"},
             {"(i << 3) * 5", "i * 40"},
             {"(i + 2) * 3", "i * 3 + 6"},
             {"(2 - i) * 3", "6 - i * 3"},
             {"(unsigned)(i + 2) * 3u", "i * 3 + 6"},
             {"i * 65536 * 65536", "0"}});
}

TEST_F(SimpTest, signs_of_factors) {
    becomes({{"-i * -j", "i * j"},
             {"-i * j", "-(i * j)"},
             {"i * -j", "-(j * i)"},
             {"k - i * -j", "j * i + k"},
             {"i * (1 << j)", "i << j"},
             {"(1 << j) * i", "i << j"},
             {"f() * (1 << j)", "f() << j"},
             {"(i < j) * (u < v)", "i < j & u U< v"}});
    stays({"(1 << j) * f()"});
}

// A pointer is no factor, though a difference with it is.
TEST_F(SimpTest, factors_are_no_pointers) {
    NODE *difference = maketree(OP::MINUS, icon(6), mk_NAME(p, nullptr), short_t, nullptr);
    NODE *product = simp_tree(maketree(OP::MULT, difference, icon(4), short_t, nullptr));
    EXPECT_STREQ(stmt2infix(product), "(6 - p) * 4");
    NODE *sum = maketree(OP::PLUS, mk_NAME(p, nullptr), icon(6), int_p, nullptr);
    product = simp_tree(maketree(OP::MULT, sum, icon(4), short_t, nullptr));
    EXPECT_STREQ(stmt2infix(product), "(p + 6) * 4");
}

TEST_F(SimpTest, float_products) {
    becomes({{"x * 1.0", "x"},
             {"2.0 * x", "x * 0x1p+1"},
             {"x * -1.0", "-x"},
             {"-x * 2.0", "x * -0x1p+1"},
             {"-x * -y", "x * y"}});
    stays({"x * 0.0"});
    strict_fp = 0;
    const NODE *product = simp_tree(parse("x * 0.0"));
    EXPECT_STREQ(stmt2infix(product), "0x0p+0");
}
