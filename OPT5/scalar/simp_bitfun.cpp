// Bitwise functions of one or two values.
//
// A tree of ANDB, ORB, XORB and NOTB over constants and at most two different operands x and y is
// evaluated for the four cases in which each of them is all zeros or all ones. Together the four
// results say for each bit which of the sixteen functions of two bits it is. When all bits are the
// same function, or all but some constant ones, or when one operand alone matters, the tree is
// written in its least number of operators; it is left alone when it has no more than that.
// Conversions that change the sign alone are looked through.
#include "OPT5/rep/type_pkg.h"
#include "OPT5/scalar/simp_facts.h"

#include <array>
#include <utility>

namespace {
using U32 = std::uint32_t;

constexpr int cases = 4; // of (x, y): 00, 01, 10, 11
constexpr int most_operators = 12;

bool is_bitwise(int op) {
    return op == OP::ANDB || op == OP::ORB || op == OP::XORB || op == OP::NOTB;
}

NODE *without_sign_change(NODE *tree) {
    while (tree->op == OP::SCONV && is_plain_int(tree->type) && is_plain_int(tree->left->type) &&
           tree->type->size() == tree->left->type->size())
        tree = tree->left;
    return tree;
}

using WORDS = std::array<U32, cases>;

struct BIT_FUNCTION {
    unsigned bits; // of the type
    NODE *leaves[2] = {};
    int operators = 0;

    U32 all() const { return static_cast<U32>(~std::uint64_t{0} >> (64 - bits)); }
    bool evaluate(NODE *tree, WORDS *words);

private:
    bool evaluate_operator(NODE *tree, WORDS *words);
    bool evaluate_leaf(NODE *tree, WORDS *words);
};

bool BIT_FUNCTION::evaluate_leaf(NODE *tree, WORDS *words) {
    for (int n = 0; n < 2; ++n) {
        if (!leaves[n]) leaves[n] = tree;
        if (leaves[n] != tree && !trees_are_congruent(leaves[n], tree)) continue;
        *words = n == 0 ? WORDS{0, 0, all(), all()} : WORDS{0, all(), 0, all()};
        return true;
    }
    return false;
}

bool BIT_FUNCTION::evaluate_operator(NODE *tree, WORDS *words) {
    if (++operators > most_operators || !evaluate(tree->left, words)) return false;
    WORDS right{};
    if (tree->right && !evaluate(tree->right, &right)) return false;
    for (int n = 0; n < cases; ++n) {
        U32 &word = (*words)[n];
        switch (tree->op) {
        case OP::ANDB: word &= right[n]; break;
        case OP::ORB: word |= right[n]; break;
        case OP::XORB: word ^= right[n]; break;
        default: word = ~word & all(); break;
        }
    }
    return true;
}

// False when there is a third operand, or too much of it.
bool BIT_FUNCTION::evaluate(NODE *tree, WORDS *words) {
    const auto fills = [this](const NODE *n) {
        return is_plain_int(n->type) && n->type->size() == bits;
    };
    tree = without_sign_change(tree);
    if (!fills(tree)) return false;
    if (is_ICON(tree)) {
        words->fill(icon_value(tree).u32() & all());
        return true;
    }
    const bool goes_on =
        is_bitwise(tree->op) && fills(tree->left) && (!tree->right || fills(tree->right));
    return goes_on ? evaluate_operator(tree, words) : evaluate_leaf(tree, words);
}

// The functions of two bits by their values for 00, 01, 10, 11 from the highest bit of the index
// down: an operator on x or ~x and y or ~y, and whether that is inverted.
struct ROW {
    int op; // ILLOP: x or y alone, or a constant
    bool not_x, not_y, inverted;
    int operators() const { return (op != OP::ILLOP) + not_x + not_y + inverted; }
};
constexpr ROW rows[16] = {
    {OP::ILLOP, false, false, false}, // 0
    {OP::ANDB, false, false, false},  // x & y
    {OP::ANDB, false, true, false},   // x & ~y
    {OP::ILLOP, false, false, false}, // x
    {OP::ANDB, true, false, false},   // ~x & y
    {OP::ILLOP, false, false, false}, // y
    {OP::XORB, false, false, false},  // x ^ y
    {OP::ORB, false, false, false},   // x | y
    {OP::ORB, false, false, true},    // ~(x | y)
    {OP::XORB, false, false, true},   // ~(x ^ y)
    {OP::ILLOP, false, false, true},  // ~y
    {OP::ORB, false, true, false},    // x | ~y
    {OP::ILLOP, false, false, true},  // ~x
    {OP::ORB, true, false, false},    // ~x | y
    {OP::ANDB, false, false, true},   // ~(x & y)
    {OP::ILLOP, false, false, false}, // 1
};

unsigned function_of_bit(const WORDS &words, unsigned bit) {
    unsigned index = 0;
    for (const U32 word : words)
        index = 2 * index + (word >> bit & 1);
    return index;
}

// One function, then an operator with a constant if that is not null.
struct PLAN {
    unsigned function = 0;
    int with = OP::ILLOP; // ANDB, ORB, XORB
    U32 constant = 0;
    int with_2 = OP::ILLOP; // and once more
    U32 constant_2 = 0;
    int operators() const {
        return rows[function].operators() + (with != OP::ILLOP) + (with_2 != OP::ILLOP);
    }
};

constexpr unsigned only_x = 3, only_y = 5, all_ones = 15;

// f(x) = (x & (f(0) ^ f(-1))) ^ f(0).
PLAN plan_of_one(unsigned function, U32 of_zeros, U32 of_ones, U32 all) {
    const U32 mask = of_zeros ^ of_ones;
    if (of_zeros == 0) return {function, mask == all ? OP::ILLOP : OP::ANDB, mask};
    if (of_ones == all) return {function, OP::ORB, of_zeros};
    if (mask == all) {
        if (of_zeros == all) return {all_ones - function};
        return {function, OP::XORB, of_zeros};
    }
    return {function, OP::ANDB, mask, (of_zeros & mask) == 0 ? OP::ORB : OP::XORB, of_zeros};
}

// The same function in all bits, or in all that are not constant. False: there is no such plan.
bool plan_of_two(const WORDS &words, unsigned bits, U32 all, PLAN *plan) {
    U32 zeros = 0, ones = 0;
    unsigned function = 0;
    for (unsigned bit = 0; bit < bits; ++bit) {
        const unsigned of_bit = function_of_bit(words, bit);
        if (of_bit == 0) zeros |= U32{1} << bit;
        if (of_bit == all_ones) ones |= U32{1} << bit;
        if (of_bit == 0 || of_bit == all_ones) continue;
        if (function != 0 && function != of_bit) return false;
        function = of_bit;
    }
    *plan = PLAN{function};
    if (zeros != 0) {
        plan->with = OP::ANDB;
        plan->constant = all & ~zeros;
    }
    if (ones != 0) {
        (zeros != 0 ? plan->with_2 : plan->with) = OP::ORB;
        (zeros != 0 ? plan->constant_2 : plan->constant) = ones;
    }
    return true;
}

bool is_constant_function(const WORDS &words) {
    return words[0] == words[1] && words[0] == words[2] && words[0] == words[3];
}

bool find_plan(const WORDS &words, unsigned bits, U32 all, PLAN *plan) {
    if (words[0] == words[1] && words[2] == words[3])
        *plan = plan_of_one(only_x, words[0], words[2], all);
    else if (words[0] == words[2] && words[1] == words[3])
        *plan = plan_of_one(only_y, words[0], words[1], all);
    else
        return plan_of_two(words, bits, all, plan);
    return true;
}

struct WRITER {
    TYPE *type;
    LS *scope;
    LOOP *loop;
    CONTEXT *ctx;

    NODE *join(int op, NODE *left, NODE *right) const {
        return simp_node(maketree(op, left, right, type, scope), loop, ctx);
    }
    NODE *inverted(NODE *tree, bool is) const { return is ? join(OP::NOTB, tree, nullptr) : tree; }
    NODE *with_constant(NODE *tree, int op, U32 constant) const {
        return op == OP::ILLOP ? tree : join(op, tree, make_ICON(INT65(constant), type));
    }
    NODE *operand(const NODE *leaf) const {
        return simp_node(coerce_to_type(type, copy_tree(leaf, true)), loop, ctx);
    }
};
} // namespace

NODE *simp_bit_function(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    const NODE *left = without_sign_change(tree->left);
    const NODE *right = tree->right ? without_sign_change(tree->right) : nullptr;
    if (!is_bitwise(left->op) && !(right && is_bitwise(right->op))) return nullptr;
    if (!is_plain_int(tree->type)) return nullptr;
    BIT_FUNCTION function{tree->type->size()};
    WORDS words{};
    PLAN plan;
    if (!function.evaluate(tree, &words) || tree_has_side_effects(tree)) return nullptr;
    if (is_constant_function(words)) return becomes_constant(tree, INT65(words[0]), loop, ctx);
    if (!find_plan(words, function.bits, function.all(), &plan) ||
        plan.operators() >= function.operators)
        return nullptr;
    const WRITER writer{tree->type->type_qualified()->normalized(), tree->scope, loop, ctx};
    const ROW &row = rows[plan.function];
    NODE *result;
    if (row.op == OP::ILLOP) {
        const bool of_x = plan.function == only_x || plan.function == all_ones - only_x;
        result = writer.operand(function.leaves[of_x ? 0 : 1]);
    } else {
        NODE *x = writer.inverted(writer.operand(function.leaves[0]), row.not_x);
        NODE *y = writer.inverted(writer.operand(function.leaves[1]), row.not_y);
        result = writer.join(row.op, x, y);
    }
    result = writer.inverted(result, row.inverted);
    result = writer.with_constant(result, plan.with, plan.constant);
    result = writer.with_constant(result, plan.with_2, plan.constant_2);
    erase_tree(tree);
    return result;
}
