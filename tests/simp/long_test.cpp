// Trees as deep as they may come from a file, and deeper towers.
#include "tests/simp/simp_fixture.h"

#include <functional>

class LongTest : public SimpTest {
protected:
    NODE *tower(int op, TYPE *type, int height, const std::function<NODE *(int)> &operand) {
        NODE *result = operand(0);
        for (int n = 1; n < height; ++n)
            result = maketree(op, result, operand(n), type, nullptr);
        return result;
    }
    NODE *named(const char *text) { return mk_NAME(symbols[text], nullptr); }
};

TEST_F(LongTest, towers_that_lean_left) {
    constexpr int height = 100000;
    NODE *sum = simp_tree(tower(OP::PLUS, int_t, height, [this](int n) {
        return n % 2 ? icon(n % 7) : named(n % 4 ? "i" : "j");
    }));
    // All terms of one name meet.
    EXPECT_LT(count_nodes_in_tree(sum), 12);
    EXPECT_EQ(sum->op, OP::PLUS);
    EXPECT_EQ(sum->right->op, OP::ICON);
    erase_tree(sum);
    NODE *effects = simp_tree(tower(OP::COMMAOP, int_t, height, [this](int n) {
        return n % 2 ? asg(named("i"), icon(n)) : named("j");
    }));
    EXPECT_EQ(count_nodes_in_tree(effects), 3 * height / 2 + height / 2 - 1);
    erase_tree(effects);
    NODE *args = tower(OP::COMMA, int_t, height, [this](int) { return named("i"); });
    EXPECT_EQ(simp_tree(args), args);
    erase_tree(args);
}

// What leans right is turned over; the reader lets 10000 levels in.
TEST_F(LongTest, towers_that_lean_right) {
    constexpr int height = 10000;
    for (const int op : {OP::PLUS, OP::MULT, OP::COMMAOP, OP::MINUS}) {
        NODE *result = named("k");
        for (int n = 1; n < height; ++n) {
            NODE *operand = op == OP::COMMAOP ? asg(named("i"), icon(n)) : named("j");
            result = maketree(op, operand, result, int_t, nullptr);
        }
        result = simp_tree(result);
        int depth = 0;
        for (const NODE *node = result; node->right; node = node->right)
            ++depth;
        EXPECT_LT(depth, 10) << opname(op);
        erase_tree(result);
    }
}

TEST_F(LongTest, constants_below_one_operator) {
    constexpr int height = 10000;
    NODE *result = named("i");
    for (int n = 1; n < height; ++n)
        result = maketree(OP::UMINUS, maketree(OP::MULT, result, icon(3), int_t, nullptr), nullptr,
                          int_t, nullptr);
    result = simp_tree(result);
    EXPECT_EQ(count_nodes_in_tree(result), 3);
    erase_tree(result);
}

// A rule that looks along the whole tower at each of its levels makes this test endless.
TEST_F(LongTest, towers_of_every_associative_operator) {
    constexpr int height = 10000;
    const std::function<NODE *(int)> operands[] = {
        [this](int n) { return named(n % 3 ? n % 2 ? "i" : "j" : "k"); },
        [this](int n) {
            return maketree(n % 2 ? OP::LT : OP::EQ, named(n % 3 ? "i" : "j"), icon(n), int_t,
                            nullptr);
        },
        [this](int n) {
            NODE *address = maketree(OP::PLUS, named("p"), icon(n), symbols["p"]->type, nullptr);
            NODE *element = maketree(OP::UMULT, address, nullptr, int_t, nullptr);
            return maketree(OP::ANDB, element, named("i"), int_t, nullptr);
        },
    };
    for (const auto &operand : operands)
        for (const int op :
             {OP::PLUS, OP::MULT, OP::ANDB, OP::ORB, OP::XORB, OP::ANDAND, OP::OROR, OP::COMMAOP})
            for (const bool leans_right : {false, true}) {
                NODE *result = operand(0);
                for (int n = 1; n < height; ++n)
                    result = leans_right ? maketree(op, operand(n), result, int_t, nullptr)
                                         : maketree(op, result, operand(n), int_t, nullptr);
                result = simp_tree(result);
                for (const NODE *node = result; node->op == op; node = node->left)
                    ASSERT_NE(node->right->op, op);
                const auto nodes = count_nodes_in_tree(result);
                result = simp_tree(result);
                EXPECT_EQ(count_nodes_in_tree(result), nodes) << opname(op);
                erase_tree(result);
            }
}
