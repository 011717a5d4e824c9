// Negation, conjunctions and disjunctions, conditions of jumps.
#include "tests/simp/compare_fixture.h"

namespace {
TEST_F(CompareTest, truth_values) {
    becomes(
        {{"!(i < j)", "i >= j"},
         {"!(x < y)", "x < y == 0"},
         {"!(x == y)", "x != y"},
         {"!i", "i == 0"},
         {"!!i", "i != 0"},
         {"!(i && j)", "(i && j) == 0"},
         {"!(i < 3 && j > 5)", "i > 2 | j < 6"},
         {"!(x < y && i)", "(x < y & i != 0) == 0"},
         {"!(float)i", "i == 0"},
         {"i && 0", "0"},
         {"i && 1", "i != 0"},
         {"0 && i", "0"},
         {"1 && i", "i != 0"},
         {"i || 1", "1"},
         {"f() && 0", "f(), 0"},
         {"f() || 1", "f(), 1"},
         {"i < 3 && i < 5", "i < 3"},
         {"i == 3 && i < 5", "i == 3"},
         {"i == 7 && i < 5", "0"},
         {"i < 3 || i >= 3", "1"},
         {"i < 3 && i >= 3", "0"},
         {"i >= 3 && i <= 9", "(unsigned)(i + -3) U< 7"},
         {"u >= 3u && u <= 9u", "u + 4294967293 U< 7"},
         {"i < 3 || i > 9", "(unsigned)(i + -10) U< 4294967289"},
         {"i == 3 || i == 4", "(unsigned)(i + -3) U< 2"},
         {"i == 3 || i == 7", "(i & -5) == 3"},
         {"i != 3 && i != 7", "(i & -5) != 3"},
         {"i == 3 || i == 12", "i == 3 | i == 12"},
         {"i != 0 && i != 1 && i != 2", "(unsigned)i U> 2"},
         {"i == 1 || j == 2 || i == 2", "(unsigned)(i + -1) U< 2 | j == 2"},
         {"i == 0 && j == 0", "(i | j) == 0"},
         {"i != 0 || j != 0", "(i | j) != 0"},
         {"i < 0 && j < 0", "(i & j) < 0"},
         {"i < 0 || j < 0", "(i | j) < 0"},
         {"i && i", "i != 0"},
         {"i && !i", "0"},
         {"i || !i", "1"},
         {"(i & 1) && (i & 4)", "(i & 5) == 5"},
         {"(i & 1) || (i & 4)", "(i & 5) != 0"},
         {"(i & 1) == 0 && (i & 4) == 0", "(i & 5) == 0"},
         {"(i & 3) == 1 && (i & 3) == 2", "0"},
         {"(i & 3) == 1 && (i & 12) == 8", "(i & 15) == 9"},
         {"i && (i || j)", "i && i | j"},
         {"i || (i && j)", "i != 0"},
         {"i < j && i != j", "i < j"},
         {"i < j || j == i", "i <= j"},
         {"(i < j) & (j < i)", "0"},
         {"(i < j) ^ (i <= j)", "i == j"},
         {"(i < 3) ^ (i < 8)", "(unsigned)(i + -3) U< 5"},
         {"(i < 0) ^ (j < 0)", "(i ^ j) < 0"},
         {"(i >= 0) == (j < 0)", "(i ^ j) < 0"},
         {"i && (0 || f() && f())", "i && f() && f()"}, // turned over once the constant has gone
         {"(i && j) || (i && k)", "i && j | k"},
         {"(i || j) && (i || k)", "i | j && i | k"},
         {"(i < j && f()) || (i < j && f())", "i < j && f() || i < j && f()"},
         {"p != (intp)0 && *p == 3", "p && *p == 3"},
         {"(f(), i) && j", "f(), i && j"},
         {"s >= 97 && s <= 122", "(unsigned char)(s + -97) U< 26"},
         {"(us >= 65 && us <= 90) || (us >= 97 && us <= 122)", "(us & 65503) + 65471 U< 26"}});
    stays(
        {"i && j", "p && *p", "i && vi", "vi && i", "i < 3 && g", "i && j / i", "x < y && y < z"});
}

TEST_F(CompareTest, joined_tests_hold_for_the_same_values) {
    static constexpr const char *tests[] = {"@ < 3",
                                            "@ >= 3",
                                            "@ == 4",
                                            "@ != 4",
                                            "@ > 65",
                                            "@ <= 90",
                                            "@",
                                            "!@",
                                            "@ & 4",
                                            "(@ & 4) == 0",
                                            "(@ & 6) == 2",
                                            "(ushort)@ > 100",
                                            "@ / 10 == 0",
                                            "@ == 68",
                                            "@ >= 97 && @ <= 122"};
    for (const char *first : tests)
        for (const char *second : tests)
            for (const char *op : {" && ", " || "})
                for (const char *variable : {"s", "us"}) {
                    std::string text = "(" + std::string(first) + ")" + op + "(" + second + ")";
                    same_values(of_variable(text, variable), variable);
                    if (HasFailure()) return;
                }
}

// What a jump tests is zero when, and only when, the tree is.
TEST_F(CompareTest, conditions) {
    const SIMP_ROW rows[] = {
        {"i != 0", "i"},
        {"s != 0", "s"},
        {"(float)i", "i"},
        {"(short)i", "(char)i"},
        {"-i", "i"},
        {"ABS(s)", "s"},
        {"i * 3", "i"},
        {"i * 2", "i * 2"},
        {"i - j", "i != j"},
        {"p != (intp)0", "p"},
        {"(bool)i", "i"},
        {"x != 0.0", "x != 0x0p+0"},
        {"i == 0", "i == 0"},
        {"i < 3", "i < 3"},
        {"(int)x", "(int)x"},
        {"(i ^ i >> 31) - (i >> 31)", "i"},
        {"~i - j", "~i != j"},
        {"i ? (int)us : -(int)us", "us"},
        {"(i ? x : -x) && i", "x && i"},
        {"i ? 0 : (int)~(s * 2)", "i == 0"},
        {"~(vi << 1) ? 8 : 0", "vi, 8"},
    };
    for (const SIMP_ROW &row : rows) {
        NODE *result = simp_for_control(simp_tree(parse(row.before)));
        EXPECT_STREQ(stmt2infix(result), row.after) << row.before;
        const NODE *before = tree(OP::EXCLAIM, int_t, parse(row.before));
        expect_same_meaning(before, tree(OP::EXCLAIM, int_t, result), row.before);
    }
}

TEST_F(CompareTest, jumps) {
    const auto cbranch = [&](const char *text) {
        return simp_tree(tree(OP::CBRANCH, int_t, parse(text), label(7)));
    };
    EXPECT_STREQ(stmt2infix(cbranch("i != 0")), "if (!(i)) goto g7");
    EXPECT_EQ(cbranch("0")->op, OP::BRANCH);
    EXPECT_EQ(cbranch("5")->op, OP::ICON);
    const auto arms = [&](const char *text) {
        NODE *jump = simp_tree(mk_IF(parse(text), 1, 10, 2, 20, nullptr));
        EXPECT_EQ(jump->op, OP::IF);
        return std::string(stmt2infix(jump->left)) + ":" +
               std::to_string(jump->right->left->u.label.index) + ":" +
               std::to_string(jump->right->left->get_edge_profile_value());
    };
    EXPECT_EQ(arms("i != 0"), "i:1:10");
    EXPECT_EQ(arms("i == 0"), "i:2:20");
    EXPECT_EQ(arms("x < y"), "x < y:1:10");
    EXPECT_EQ(arms("!(x < y)"), "x < y:2:20");
    EXPECT_EQ(arms("(i < j) == 0"), "i >= j:1:10");
    EXPECT_EQ(arms("3 < 5"), "1:1:10");
}

TEST_F(CompareTest, inversion) {
    const SIMP_ROW rows[] = {
        {"i < j", "i >= j"},        {"u <= v", "u U> v"}, {"x < y", "x < y == 0"},
        {"x == y", "x != y"},       {"i", "i == 0"},      {"(i < j) == 0", "i < j"},
        {"i && j", "(i && j) == 0"}};
    for (const SIMP_ROW &row : rows) {
        NODE *inverse = invert_boolean_tree(parse(row.before));
        EXPECT_STREQ(stmt2infix(inverse), row.after) << row.before;
        expect_same_meaning(tree(OP::EXCLAIM, int_t, parse(row.before)), inverse, row.before);
    }
    for (const auto &[text, expected] : std::map<const char *, bool>{{"i < j", true},
                                                                     {"i & 1", true},
                                                                     {"i & 2", false},
                                                                     {"i", false},
                                                                     {"b", false},
                                                                     {"(bool)i", true},
                                                                     {"(i < j) | (x < y)", true},
                                                                     {"(i < j) | k", false},
                                                                     {"i ? 1 : j < 3", true},
                                                                     {"1", true},
                                                                     {"2", false}})
        EXPECT_EQ(returns_1_or_0(parse(text)), expected) << text;
}
} // namespace

// What a comparison is of follows from its operator, not from the type of its operands.
TEST_F(CompareTest, unsigned_tests_of_signed_operands_stay_unsigned) {
    const auto test = [this](int op) {
        return maketree(op, mk_NAME(symbols["i"], nullptr), mk_NAME(symbols["j"], nullptr), int_t,
                        nullptr);
    };
    for (const auto &[first, second, joined] : {std::array<int, 3>{OP::ULT, OP::NEQ, OP::ULT},
                                                {OP::ULE, OP::NEQ, OP::ULT},
                                                {OP::EQ, OP::UGE, OP::EQ},
                                                {OP::UGE, OP::ULE, OP::EQ},
                                                {OP::GE, OP::NEQ, OP::GT}}) {
        NODE *result = simp_tree(maketree(OP::ANDB, test(first), test(second), int_t, nullptr));
        EXPECT_EQ(result->op, joined) << opname(first) << " & " << opname(second);
        erase_tree(result);
    }
}
