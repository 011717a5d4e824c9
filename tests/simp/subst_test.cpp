// What other passes ask of trees, and the cheaper forms before a function is written.
#include "tests/simp/simp_fixture.h"

#include "OPT5/scalar/scalar.h"
#include "OPT5/scalar/simp_known.h"

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

// What a known value of a tree says of its parts; for values outside the range nothing is promised.
TEST_F(SimpTest, a_range_of_many_values) {
    static constexpr struct {
        const char *before;
        int lo, hi;
        const char *after;
    } rows[] = {{"j ? 100 : i", 0, 9, "i"},
                {"f() ? 100 : i", 0, 9, "f(), i"},
                {"j ? i & 7 : 12", 8, 20, "12"},
                {"j ? k ? 100 : i : 200", 0, 9, "i"},
                {"i", 0, 9, "i"},
                {"j ? 5 : i", 0, 9, "j ? 5 : i"}};
    for (const auto &row : rows) {
        NODE *after = simp_tree_in_range(parse(row.before), row.lo, row.hi, nullptr, nullptr);
        EXPECT_STREQ(stmt2infix(after), row.after) << row.before;
    }
}

// Arms and right operands are evaluated when the condition says so, and simplified with that.
TEST_F(SimpTest, conditions_say_ranges) {
    becomes({{"i >= 0 ? i / 4 : j", "i > -1 ? i >> 2 : j"},
             {"i < 0 ? j : i % 8", "i < 0 ? j : i & 7"},
             {"i >= 0 && i < 9 ? i & 31 : j", "(unsigned)i U< 9 ? i : j"},
             {"i >= 10 && i < 20 ? (int)(short)i : j", "(unsigned)(i + -10) U< 10 ? i : j"},
             {"i > 5 ? i > 3 ? j * k : k : j * j", "i > 5 ? j * k : j * j"},
             {"i == 3 ? i * j : k", "i == 3 ? j * 3 : k"},
             {"!i ? i + 5 : j * k", "i ? j * k : 5"},
             {"(int)s < 100 ? (int)s / 4 : j", "s < 100 ? (int)s / 4 : j"},
             {"us > 7 ? j : us % 8", "us U> 7 ? j : (int)us"},
             {"u - 10u < 5u ? (int)u / 4 : j", "u + 4294967286 U< 5 ? (int)u >> 2 : j"},
             {"i > 0 && j / k > i / 4", "i > 0 && j / k > i >> 2"},
             {"i < 0 || j / k > i / 4", "i < 0 || j / k > i >> 2"},
             {"i > 0 && j > 0 ? i / 4 + j / 8 : k", "i > 0 & j > 0 ? (i >> 2) + (j >> 3) : k"}});
    // What the arm itself changes, and what is not known of it.
    stays({"i > 0 ? (i = j, i / 4) : k", "-i < 5 ? j : i / 2", "i > j ? i / 4 : k",
           "i != 5 ? i / 4 : k", "vi > 0 ? vi / 4 : k"});
}

// A promise must not be dropped for what is known of it elsewhere.
TEST_F(SimpTest, assertions_are_simplified_alone) {
    KNOWN_RANGES known;
    known.add(parse("i"), 0, 9);
    EXPECT_EQ(simplified("i < 10"), "1");
    NODE *promise = maketree(OP::ASSERT, parse("i < 10"), nullptr, tp->void_type(), nullptr);
    EXPECT_EQ(simp_tree(promise), promise);
    EXPECT_STREQ(stmt2infix(promise->left), "i < 10");
    EXPECT_EQ(simplified("i < 10"), "1") << "known again";
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
