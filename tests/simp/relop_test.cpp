// Comparisons: each rule of simp_relop by the trees that it is about.
#include "tests/simp/compare_fixture.h"

namespace {
TEST_F(CompareTest, constants_stand_on_the_right_and_orders_are_strict) {
    becomes({{"3 < i", "i > 3"},
             {"5u > u", "u U< 5"},
             {"i <= 3", "i < 4"},
             {"i >= 3", "i > 2"},
             {"u <= 3u", "u U< 4"},
             {"u >= 1u", "u != 0"},
             {"u < 1u", "u == 0"},
             {"u > 0u", "u != 0"},
             {"u > 4294967294u", "u == 4294967295"},
             {"u >= 0u", "1"},
             {"i < -2147483648", "0"},
             {"i <= 2147483647", "1"},
             {"i > 2147483646", "i == 2147483647"},
             {"i == i", "1"},
             {"i < i", "0"},
             {"u <= u", "1"},
             {"x < x", "0"}});
    stays({"i > -1", "x == x", "x <= x", "vi == vi", "f() == f()"});
}

TEST_F(CompareTest, operators_with_constants_are_undone) {
    becomes({{"i + 5 == 8", "i == 3"},
             {"i - 5 == 8", "i == 13"},
             {"5 - i == 8", "i == -3"},
             {"-i == 3", "i == -3"},
             {"~i == 3", "i == -4"},
             {"~i < 3", "i > -4"},
             {"~u < 3u", "u U> 4294967292"},
             {"(i ^ 12) == 5", "i == 9"},
             {"i * 3 == 21", "i == 7"},
             {"i * 3 == 22", "i == -1431655758"},
             {"i * 12 == 24", "(i & 1073741823) == 2"},
             {"i * 12 == 25", "0"},
             {"(i << 4) == 48", "(i & 268435455) == 3"},
             {"(i << 4) == 40", "0"},
             {"(u >> 4) == 0u", "u U< 16"},
             {"(u >> 4) < 3u", "u U< 48"},
             {"(u >> 4) > 3u", "u U> 63"},
             {"(u >> 4) == 5u", "u >> 4 == 5"},
             {"(i >> 31) == 0", "i > -1"},
             {"(i >> 31) != 0", "i < 0"},
             {"(i >> 4) < 3", "i < 48"},
             {"(u >> 31) != 0u", "u U> 2147483647"},
             {"u / 10u == 0u", "u U< 10"},
             {"u / 10u == 3u", "u + 4294967266 U< 10"},
             {"u / 10u < 3u", "u U< 30"},
             {"u / 10u > 429496729u", "0"},
             {"i / 10 == 0", "(unsigned)(i + 9) U< 19"},
             {"i / 10 == 3", "(unsigned)(i + -30) U< 10"},
             {"i / 10 == -3", "(unsigned)(i + 39) U< 10"},
             {"i / 10 > 2", "i > 29"},
             {"i / 10 < -2", "i < -29"},
             {"i % 8 == 0", "(i & 7) == 0"},
             {"i % 8 == 3", "(i & -2147483641) == 3"},
             {"i % 8 == -3", "(i & -2147483641) == -2147483643"},
             {"i % 8 == 9", "0"},
             {"(i & 4) == 4", "(i & 4) != 0"},
             {"(i & 4) != 4", "(i & 4) == 0"},
             {"(i & 4) == 2", "0"},
             {"(i & -8) == 0", "(unsigned)i U< 8"},
             {"(i & -2147483648) != 0", "i < 0"},
             {"(i & -2147483648) == 0", "i > -1"},
             {"ABS(i) == 0", "i == 0"},
             {"(i & 7) < 8", "1"},
             {"(i & 7) > 6", "(i & 7) == 7"},
             {"(i & 7) == 9", "0"}});
    stays({"i + 5 < 8", "-i < 3", "(i ^ 12) < 5", "(i & 6) == 2", "(i & -8) == 16", "ABS(i) < 5",
           "ABS(i) == 7", "ABS(i) > 4"});
}

TEST_F(CompareTest, conversions_and_truth_values) {
    becomes({{"s == 5", "s == 5"},
             {"s < t", "s < t"},
             {"us == ut", "us == ut"},
             {"s < 40000", "1"},
             {"s > -40000", "1"},
             {"us < 5", "us U< 5"},
             {"us == 70000", "0"},
             {"us > -1", "1"},
             {"(unsigned)i == 5u", "i == 5"},
             {"(unsigned)i < 2147483648u", "i > -1"},
             {"(int)u < 0", "u U> 2147483647"},
             {"(short)i == 5", "(char)i == 5"},
             {"(short)(i & 255) == 5", "(i & 255) == 5"},
             {"(short)(i & 255) < 16", "(i & 255) < 16"},
             {"us < ut", "us U< ut"},
             {"s == us", "(int)s == (int)us"},
             {"(bool)i == 0", "i == 0"},
             {"(bool)i != 0", "i != 0"},
             {"(unsigned)s < 5u", "(unsigned char)s U< 5"},
             {"(unsigned)s < 4294967290u", "(unsigned char)s U< 65530"},
             {"s + 5 < 10", "s < 5"},
             {"s + 5 == 10", "s == 5"},
             {"s * 2 == 10", "((int)s & 2147483647) == 5"},
             {"(i < 3) == 0", "i > 2"},
             {"(i < 3) != 0", "i < 3"},
             {"(i < 3) == 1", "i < 3"},
             {"(i < 3) == 2", "0"},
             {"(i < 3) > 0", "i < 3"},
             {"(x < y) == 0", "x < y == 0"},
             {"(x < y) == 1", "x < y"},
             {"(i ? 3 : 5) == 3", "i != 0"},
             {"(i ? 3 : 5) == 5", "i == 0"},
             {"(i ? 3 : 5) > 2", "1"},
             {"(i ? 3 : 5) + 2 == 7", "i == 0"}});
}

TEST_F(CompareTest, two_values_lose_what_they_share) {
    becomes({{"i - j == 0", "i == j"},
             {"(i ^ j) == 0", "i == j"},
             {"(i ^ j) != 0", "i != j"},
             {"i + j == i", "j == 0"},
             {"i == i - j", "j == 0"},
             {"i + j == i + k", "j == k"},
             {"j + i == i + k", "j == k"},
             {"i - j == i - k", "j == k"},
             {"i + 3 == j + 5", "i + -2 == j"},
             {"i * 3 == j * 3", "i == j"},
             {"-i == -j", "i == j"},
             {"~i < ~j", "i > j"},
             {"us - ut < 0", "us U< ut"},
             {"us - ut >= 0", "us U>= ut"}});
    stays({"i * 2 == j * 2", "i - j < 0", "(i & 3) < (j | 16)", "(i & 3) == (j | 16)"});
}

TEST_F(CompareTest, addresses) {
    becomes({{"&o == 0", "0"},
             {"&i != (intp)0", "1"},
             {"&i == &j", "0"},
             {"&i == &i", "1"},
             {"&o.n != (shortp)0", "1"},
             {"&o.n == &o2.n", "0"},
             {"a + 2 == (intp)0", "0"},
             {"a + 2 == a + 1", "0"},
             {"(intp)&i == a + 1", "0"},
             {"p + 1 == p", "0"},
             {"p + i == p + j", "(char)i * 2 == (char)j * 2"}});
    stays({"p == q"});
}

TEST_F(CompareTest, floats_only_where_infinities_and_nans_agree) {
    becomes({{"-x < -y", "x > y"},
             {"-x < 1.5", "x > -0x1.8p+0"},
             {"x - y < 0.0", "x < y"},
             {"x - y == 0.0", "x - y == 0x0p+0"},
             {"x - y > 0.0", "x > y"},
             {"(float)i < 3.5", "i < 4"},
             {"(float)i == 3.0", "i == 3"},
             {"(float)i == 3.5", "0"},
             {"(float)i >= 16777217.0", "i > 16777215"},
             {"(float)us <= 0.0", "us == 0"}});
}

// Constants at which arcs begin, end and wrap, under each operator and each comparison.
TEST_F(CompareTest, values_of_a_variable_compare_as_before) {
    static constexpr const char *constants[] = {"0",     "1",      "-1",    "5",     "-6",
                                                "32767", "-32768", "32768", "65535", "65536"};
    static constexpr const char *operations[] = {
        "@",        "(@ + 5)",          "(7 - @)",        "-@",
        "~@",       "(@ ^ 32767)",      "(@ ^ -1)",       "(@ * 3)",
        "(@ * 12)", "(@ << 3)",         "(@ >> 3)",       "(@ / 10)",
        "(@ % 8)",  "(@ & 12)",         "(@ & -16)",      "ABS(@)",
        "(@ < 5)",  "(short)(@ & 255)", "(ushort)@",      "(short)-@",
        "(bool)@",  "(@ & 1 ? 5 : -6)", "(short)(@ + 5)", "(ushort)(@ ^ 32768)"};
    static constexpr const char *comparisons[] = {" == ", " != ", " < ", " <= ", " > ", " >= "};
    for (const char *operation : operations)
        for (const char *comparison : comparisons)
            for (const char *constant : constants)
                for (const char *variable : {"s", "us"}) {
                    const std::string text = std::string(operation) + comparison + constant;
                    same_values(of_variable(text, variable), variable);
                    if (HasFailure()) return;
                }
}

TEST_F(CompareTest, every_value_of_a_variable_compares_as_before) {
    for (const char *text :
         {"s / 10 == -3", "us / 10 == 6553", "s % 8 == -3", "(s & -16) < 40", "s * 12 == 48",
          "(s >> 3) > -7", "ABS(s) > 32766", "(ushort)(s + 5) < 9"})
        same_values(text, text[0] == 'u' ? "us" : "s", true);
}

// The same with unsigned comparisons, whose arcs begin elsewhere.
TEST_F(CompareTest, values_compare_as_before_without_a_sign) {
    for (const char *operation : {"(unsigned)@", "(unsigned)(@ + 5)", "(unsigned)@ / 10u",
                                  "((unsigned)@ >> 3)", "((unsigned)@ & 65520u)", "-(unsigned)@"})
        for (const char *comparison : {" == ", " != ", " < ", " <= ", " > ", " >= "})
            for (const char *constant : {"0u", "1u", "5u", "32768u", "65535u", "2147483648u",
                                         "4294934527u", "4294967290u", "4294967295u"})
                for (const char *variable : {"s", "us"}) {
                    const std::string text = std::string(operation) + comparison + constant;
                    same_values(of_variable(text, variable), variable);
                    if (HasFailure()) return;
                }
}

// Rules that would answer each other.
TEST_F(CompareTest, two_values_are_told_apart_by_zero) {
    becomes({{"(i & 1) * (j & 1) == 1", "j & i & 1"},
             {"(i & 4) == 4", "(i & 4) != 0"},
             {"(short)(i & 1) == 1", "i & 1"},
             {"(i >> 31) + 1 == 1", "i > -1"}});
}

// Saturated differences have the sign of the true ones, which plain ones have not.
TEST_F(CompareTest, saturated_intrinsics_and_zero) {
    const auto of = [&](const char *intrinsic, int op, int c, const char *first = "i") {
        NODE *args = tree(OP::COMMA, int_t, parse(first), parse("j"));
        return tree(op, int_t, mk_ICALL(intrinsic, args, int_t), icon(c));
    };
    const struct {
        const char *intrinsic;
        int op, c;
        const char *after;
    } cases[] = {
        {"_ssub", OP::LT, 0, "i < j"},
        {"_ssub", OP::LE, 0, "i <= j"},
        {"_ssub", OP::GT, 0, "i > j"},
        {"_ssub", OP::GE, 0, "i >= j"},
        {"_ssub", OP::EQ, 0, "i == j"},
        {"_ssub", OP::NEQ, 0, "i != j"},
        {"_ssub", OP::LT, 5, "_ssub(i, j) < 5"},
        {"_ssub2", OP::EQ, 0, "i == j"},
        {"_ssub2", OP::LT, 0, "_ssub2(i, j) < 0"},
        {"_sshl", OP::GE, 0, "i > -1"},
        {"_sshl", OP::NEQ, 0, "i != 0"},
        {"_sadd", OP::LT, 0, "_sadd(i, j) < 0"},
    };
    for (const auto &c : cases) {
        const NODE *before = of(c.intrinsic, c.op, c.c);
        const NODE *after = simp_tree(of(c.intrinsic, c.op, c.c));
        EXPECT_STREQ(stmt2infix(after), c.after) << c.intrinsic;
        expect_same_meaning(before, after, c.after);
    }
}

TEST_F(CompareTest, intrinsics) {
    const auto of = [&](const char *intrinsic, const char *first, const char *second) {
        NODE *args = tree(OP::COMMA, int_t, parse(first), parse(second));
        return mk_ICALL(intrinsic, args,
                        find_BIF_descriptor(intrinsic)->result == BT_uint ? uint_t : int_t);
    };
    const struct {
        const char *intrinsic, *first, *second, *after;
    } cases[] = {
        {"MIN", "5", "-3", "-3"},
        {"MAXU", "5u", "4294967293u", "4294967293"},
        {"_ssub", "-2147483647", "5", "-2147483648"},
        {"_sshl", "3", "30", "2147483647"},
        {"MIN", "3", "i", "MIN(i, 3)"},
        {"MIN", "i", "i", "i"},
        {"MIN", "i & 7", "9", "i & 7"},
        {"MAX", "i & 7", "9", "9"},
        {"MIN", "(int)s", "32767", "(int)s"},
        {"MINU", "u", "0u", "0"},
        {"MIN", "vi", "vi", "MIN(vi, vi)"},
        {"_ssub", "i", "0", "i"},
        {"_ssub", "0", "i", "_ssub(0, i)"},
        {"_sadd", "i & 7", "j & 7", "(i & 7) + (j & 7)"},
        {"_sadd", "1", "i", "_sadd(i, 1)"},
        {"_sadd", "i", "j", "_sadd(i, j)"},
        {"_sshl", "(int)s", "16", "(int)s * 65536"},
        {"_sshl", "i & 7", "33", "(i & 7) * 2"},
        {"_sshl", "(int)s", "17", "_sshl((int)s, 17)"},
        {"_sshl", "i", "1", "_sshl(i, 1)"},
    };
    for (const auto &c : cases) {
        const NODE *before = of(c.intrinsic, c.first, c.second);
        const NODE *after = simp_tree(of(c.intrinsic, c.first, c.second));
        EXPECT_STREQ(stmt2infix(after), c.after) << c.intrinsic;
        expect_same_meaning(before, after, c.after);
    }
    const auto shifted_twice = [&](const char *first, const char *second) {
        NODE *inner = of("_sshl", "i", first);
        return mk_ICALL("_sshl", tree(OP::COMMA, int_t, inner, parse(second)), int_t);
    };
    for (const auto &[first, second, sum] :
         {std::array{"3", "4", "7"}, {"30", "9", "31"}, {"35", "1", "4"}}) {
        const NODE *after = simp_tree(shifted_twice(first, second));
        EXPECT_EQ(stmt2infix(after), "_sshl(i, " + std::string(sum) + ")");
        expect_same_meaning(shifted_twice(first, second), after, sum);
    }
    becomes({{"(i < 5 ? i : 5) < 9 ? (i < 5 ? i : 5) : 9", "MIN(i, 5)"},
             {"(i > 3 ? i : 3) < 9", "i < 9"},
             {"(i > 3 ? i : 3) < 2", "0"},
             {"(i > 3 ? i : 3) == 3", "i < 4"}});
}
} // namespace
