// What other passes ask of trees, and the cheaper forms before a function is written.
#include "tests/simp/simp_fixture.h"

#include "OPT5/scalar/scalar.h"

TEST_F(SimpTest, a_constant_for_a_symbol) {
    NODE *tree = simp_subst_icon(parse("i * j + (i = i + 3)"), symbols["i"], 4, nullptr, nullptr);
    EXPECT_STREQ(stmt2infix(tree), "i = 7, j * 4 + 7");
    EXPECT_STREQ(
        stmt2infix(simp_subst_icon(parse("us + 1"), symbols["us"], 65536 + 5, nullptr, nullptr)),
        "6");
    EXPECT_STREQ(stmt2infix(simp_subst_icon(parse("&i"), symbols["i"], 4, nullptr, nullptr)), "&i");
}

TEST_F(SimpTest, a_range_of_one_value) {
    EXPECT_STREQ(stmt2infix(simp_tree_in_range(parse("i * j"), 7, 7, nullptr, nullptr)), "7");
    EXPECT_STREQ(stmt2infix(simp_tree_in_range(parse("f()"), 7, 7, nullptr, nullptr)), "f(), 7");
    EXPECT_STREQ(stmt2infix(simp_tree_in_range(parse("i * j"), 7, 8, nullptr, nullptr)), "i * j");
}

TEST_F(SimpTest, a_term_comes_to_the_top) {
    static constexpr struct {
        const char *sum, *term, *result;
    } rows[] = {{"i + j + k", "i", "j + k + i"},
                {"i - j - k", "j", "i - k - j"},
                {"k - (i - j)", "j", "k - i + j"},
                {"k - (j - i)", "j", "k - -i - j"},
                {"i * 2 + j", "i * 2", "j + i * 2"}};
    for (const auto &row : rows) {
        NODE *before = parse(row.sum), *term = parse(row.term);
        NODE *after = bubble_term_to_top(parse(row.sum), term);
        ASSERT_TRUE(after) << row.sum;
        EXPECT_STREQ(stmt2infix(after), row.result);
        expect_same_meaning(before, after, row.sum);
    }
    EXPECT_EQ(bubble_term_to_top(parse("i + j"), parse("k")), nullptr);
    EXPECT_EQ(bubble_term_to_top(parse("i * j"), parse("i")), nullptr);
    EXPECT_EQ(bubble_term_to_top(parse("i + f()"), parse("i")), nullptr);
}

TEST_F(SimpTest, cheaper_forms_of_products) {
    static constexpr SIMP_ROW rows[] = {{"i * 8", "i << 3"},
                                        {"i * -8", "-(i << 3)"},
                                        {"i * -2147483648", "i << 31"},
                                        {"u * 2147483648u", "u << 31"},
                                        {"i * 5", "(i << 2) + i"},
                                        {"i * 7", "(i << 3) - i"},
                                        {"i * -7", "i - (i << 3)"},
                                        {"i * 6", "i * 6"},
                                        {"i * 11", "i * 11"},
                                        {"*p * 5", "*p * 5"},
                                        {"*p * 4", "*p << 2"},
                                        {"i *= 4", "i <<= 2"},
                                        {"x * 4.0", "x * 0x1p+2"},
                                        {"j + i * 4", "j + (i << 2)"}};
    for (auto &[text, sym] : symbols)
        sym->attr &= static_cast<std::uint8_t>(~SA_aliased);
    for (const SIMP_ROW &row : rows) {
        NODE *before = parse(row.before);
        currfuninfo->bb_list = mkbblock(
            append_node_to_list(fold_constants(parse(row.before)), nullptr), nullptr, currfuninfo);
        unsimplify();
        const NODE *after = currfuninfo->bb_list->statements->first;
        EXPECT_STREQ(stmt2infix(after), row.after);
        expect_same_meaning(before, after, row.before);
    }
}
