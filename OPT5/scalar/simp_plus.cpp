// PLUS, MINUS and the operators with one operand, beyond what the normal form of sums does.
#include "OPT5/driver/global_flags.h"
#include "OPT5/rep/type_pkg.h"
#include "OPT5/scalar/simp_rules.h"
#include "OPT5/scalar/simp_sum.h"
#include "OPT5/simulfp/simul_fval.h"

#include <utility>

namespace {
bool is_op(const NODE *node, int op, const NODE *like) {
    return node->op == op && is_modular_type(node->type) && !node->type->is_ptr() &&
           node->type->size() == like->type->size();
}

// The operands of the two are the same pair, in either order.
bool same_pair(const NODE *a, const NODE *b) {
    return (trees_are_congruent(a->left, b->left) && trees_are_congruent(a->right, b->right)) ||
           (trees_are_congruent(a->left, b->right) && trees_are_congruent(a->right, b->left));
}

// --- bits that do not meet

// (x & C) + (y & D) where C and D have no bit in common: no carry.
NODE *disjoint_bits(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *left = tree->left, *right = tree->right;
    if (tree->op != OP::PLUS || !is_op(left, OP::ANDB, tree) || !is_op(right, OP::ANDB, tree))
        return nullptr;
    if (!is_ICON(left->right) || !is_ICON(right->right)) return nullptr;
    const INT65 common = icon_value(left->right) & icon_value(right->right);
    if (!(common & type_mask(tree->type)).is_zero()) return nullptr;
    tree->op = OP::ORB;
    return simp_node(tree, loop, ctx);
}

struct PAIR_ROW {
    int sum, first, second, result;
};
// What a bit that is in both operands, and one that is in one of them, adds to the sum.
constexpr PAIR_ROW pair_rows[] = {
    {OP::PLUS, OP::ORB, OP::ANDB, OP::PLUS}, // (x | y) + (x & y)
    {OP::PLUS, OP::ANDB, OP::ORB, OP::PLUS},
    {OP::PLUS, OP::XORB, OP::ANDB, OP::ORB}, // (x ^ y) + (x & y)
    {OP::PLUS, OP::ANDB, OP::XORB, OP::ORB},
    {OP::MINUS, OP::ORB, OP::ANDB, OP::XORB}, // (x | y) - (x & y)
    {OP::MINUS, OP::ORB, OP::XORB, OP::ANDB}, // (x | y) - (x ^ y)
};

NODE *bits_of_one_pair(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *left = tree->left, *right = tree->right;
    for (const PAIR_ROW &row : pair_rows) {
        if (tree->op != row.sum || !is_op(left, row.first, tree) ||
            !is_op(right, row.second, tree) || !same_pair(left, right))
            continue;
        left->op = static_cast<std::uint8_t>(row.result);
        left->type = tree->type;
        erase_tree(right);
        erase_node(tree);
        return simp_node(left, loop, ctx);
    }
    return nullptr;
}

// x - (x & C) is x & ~C.
NODE *cleared_bits(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *mask = tree->right;
    if (tree->op != OP::MINUS || !is_op(mask, OP::ANDB, tree) || !is_ICON(mask->right) ||
        !trees_are_congruent(tree->left, mask->left))
        return nullptr;
    const INT65 kept = ~icon_value(mask->right);
    erase_tree(tree->left);
    erase_node(tree);
    erase_node(mask->right);
    mask->right = make_ICON(kept, mask->type);
    return simp_node(mask, loop, ctx);
}

// (x | C) + -C is x & ~C.
NODE *set_bits_taken_off(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *bits = tree->left;
    if (tree->op != OP::PLUS || !is_ICON(tree->right) || !is_op(bits, OP::ORB, tree) ||
        !is_ICON(bits->right))
        return nullptr;
    const INT65 set = constant_as(bits->right, tree->type);
    if (truncate_to_type(-set, tree->type) != constant_as(tree->right, tree->type)) return nullptr;
    erase_node(bits->right);
    bits->right = make_ICON(~set, bits->type);
    bits->op = OP::ANDB;
    tree->right = erase_node(tree->right);
    tree->left = simp_node(bits, loop, ctx);
    return simp_node(turn_into_cast(tree), loop, ctx);
}

// x - x / y * y is x % y.
NODE *remainder(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *product = tree->right;
    if (tree->op != OP::MINUS || !is_op(product, OP::MULT, tree)) return nullptr;
    NODE *quotient = product->left, *divisor = product->right;
    if (!is_op(quotient, OP::DIV, tree)) std::swap(quotient, divisor);
    if (!is_op(quotient, OP::DIV, tree)) return nullptr;
    if (!equiv_mtypes(quotient->type, tree->type)) return nullptr;
    if (!trees_are_congruent(quotient->right, divisor) ||
        !trees_are_congruent(tree->left, quotient->left))
        return nullptr;
    erase_tree(tree->left);
    erase_tree(divisor);
    erase_node(product);
    erase_node(tree);
    quotient->op = OP::MOD;
    return simp_node(quotient, loop, ctx);
}

// --- common factors

bool is_product(const NODE *node, const NODE *like) {
    return is_op(node, OP::MULT, like) || is_op(node, OP::SLL, like);
}

bool same_factor(const NODE *a, const NODE *b) {
    if (is_ICON(a) && is_ICON(b)) return icon_value(a) == icon_value(b);
    return trees_are_congruent(a, b);
}

// A multiplication that the target does in one step is left alone; a shift is none.
bool is_one_step(const NODE *product, LOOP *loop, CONTEXT *ctx) {
    if (is_ICON(product->right) && power_of_2(icon_value(product->right)) >= 0) return false;
    return tree_is_16x16_mpy(product, loop, ctx);
}

// Where two products have the same factor.
struct COMMON_FACTOR {
    NODE *NODE::*in_first, *NODE::*in_second; // null: they have none
};

COMMON_FACTOR find_common_factor(const NODE *a, const NODE *b) {
    if (a->op != b->op || !equiv_mtypes(a->type, b->type)) return {nullptr, nullptr};
    if (same_factor(a->right, b->right)) return {&NODE::right, &NODE::right};
    if (a->op == OP::MULT && !is_ICON(a->right) && !is_ICON(b->right))
        for (NODE *NODE::*of_a : {&NODE::right, &NODE::left})
            for (NODE *NODE::*of_b : {&NODE::right, &NODE::left})
                if (trees_are_congruent(a->*of_a, b->*of_b)) return {of_a, of_b};
    return {nullptr, nullptr};
}

void put_on_the_right(NODE *product, NODE *NODE::*factor) {
    if (factor == &NODE::left) std::swap(product->left, product->right);
}

// Terms of a sum that are looked at for a common factor.
constexpr int most_terms = 24;

// a * c + b * c becomes (a + b) * c, also where the first product is a term further down.
NODE *common_factor(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *last = tree->right;
    if (!is_product(last, tree) || is_one_step(last, loop, ctx)) return nullptr;
    if (tree_has_side_effects(last)) return nullptr;
    NODE *sum = tree->left, *passed[most_terms];
    for (int n = 0; n < most_terms; ++n) {
        const bool goes_on = (sum->op == OP::PLUS || sum->op == OP::MINUS) &&
                             is_modular_type(sum->type) && sum->type->size() == tree->type->size();
        NODE *term = goes_on ? sum->right : sum;
        const bool fits = is_product(term, tree) && !is_one_step(term, loop, ctx);
        const COMMON_FACTOR common =
            fits ? find_common_factor(term, last) : COMMON_FACTOR{nullptr, nullptr};
        if (common.in_first && tree_has_side_effects(term)) return nullptr;
        if (common.in_first) {
            const bool subtracted = goes_on && sum->op == OP::MINUS;
            const int op = subtracted == (tree->op == OP::MINUS) ? OP::PLUS : OP::MINUS;
            put_on_the_right(term, common.in_first);
            put_on_the_right(last, common.in_second);
            NODE *both = maketree(op, term->left, last->left, term->type, tree->scope);
            erase_tree(last->right);
            erase_node(last);
            term->left = simp_node(both, loop, ctx);
            term = simp_node(term, loop, ctx);
            if (goes_on) sum->right = term;
            NODE *rest = goes_on ? simp_node(sum, loop, ctx) : term;
            for (; n-- > 0; rest = simp_node(passed[n], loop, ctx))
                passed[n]->left = rest;
            TYPE *type = tree->type;
            erase_node(tree);
            return equiv_mtypes(type, rest->type)
                       ? rest
                       : simp_node(coerce_to_type(type, rest), loop, ctx);
        }
        // What stands between the two comes behind the second one.
        if (!goes_on || tree_has_side_effects(term)) return nullptr;
        passed[n] = sum;
        sum = sum->left;
    }
    return nullptr;
}

// --- choices between constants

// (c ? C : D) + K becomes c ? C + K : D + K.
NODE *constant_goes_into_arms(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *choice = tree->left;
    if (choice->op != OP::QUEST || !is_ICON(tree->right) || tree->type->is_ptr()) return nullptr;
    NODE *arms = choice->right;
    if (arms->op != OP::COLON || !is_ICON(arms->left) || !is_ICON(arms->right)) return nullptr;
    if (!equiv_mtypes(arms->left->type, choice->type) ||
        !equiv_mtypes(arms->right->type, choice->type))
        return nullptr;
    for (NODE *NODE::*arm : {&NODE::left, &NODE::right}) {
        NODE *sum = maketree(tree->op, arms->*arm, copy_tree(tree->right), tree->type, tree->scope);
        arms->*arm = fold_constants(sum);
    }
    choice->type = arms->type = tree->type;
    erase_tree(tree->right);
    erase_node(tree);
    return simp_node(choice, loop, ctx);
}

constexpr SIMP_RULE rules_of_sums[] = {
    disjoint_bits, bits_of_one_pair,        cleared_bits, set_bits_taken_off,
    remainder,     constant_goes_into_arms, common_factor};

// --- floats

bool is_zero(const NODE *node) {
    return is_FCON(node) && f_compare(*node->u.fcon.value, {}) == FVAL_ORDER::equal;
}
bool is_minus_zero(const NODE *node) {
    return is_zero(node) && f_is_negative(*node->u.fcon.value);
}

NODE *again_as(int op, NODE *tree, NODE *left, NODE *right, LOOP *loop, CONTEXT *ctx) {
    tree->op = static_cast<std::uint8_t>(op);
    tree->left = left;
    tree->right = right;
    return simp_node(tree, loop, ctx);
}

void negate(NODE *&fcon) {
    NODE *negated = make_FCON(f_neg(*fcon->u.fcon.value), fcon->type);
    negated->scope = fcon->scope;
    erase_node(fcon);
    fcon = negated;
}

// What is exact: 0 - x and x + 0 are not, by the sign of the zero that comes out.
NODE *float_sum(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *&left = tree->left, *&right = tree->right;
    const bool adds = tree->op == OP::PLUS;
    if (right->op == OP::UMINUS) // x + -y, x - -y
        return again_as(adds ? OP::MINUS : OP::PLUS, tree, left, take_operand(right), loop, ctx);
    if (!adds && is_FCON(right) &&
        f_classify(*right->u.fcon.value, right->type) != FVAL_CLASS::nan) { // x - C
        negate(right);
        return again_as(OP::PLUS, tree, left, right, loop, ctx);
    }
    if (adds && left->op == OP::UMINUS && !is_FCON(right) && !tree_has_side_effects(tree)) // -x + y
        return again_as(OP::MINUS, tree, right, take_operand(left), loop, ctx);
    if (adds && (is_minus_zero(right) || (is_zero(right) && !strict_fp))) { // x + -0.0
        right = erase_node(right);
        return simp_node(turn_into_cast(tree), loop, ctx);
    }
    if (!adds && (is_minus_zero(left) || (is_zero(left) && !strict_fp))) { // -0.0 - x
        NODE *operand = right;
        erase_node(left);
        return again_as(OP::UMINUS, tree, operand, nullptr, loop, ctx);
    }
    return tree;
}

NODE *float_negation(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *operand = tree->left;
    const bool product = operand->op == OP::MULT || operand->op == OP::DIV;
    if (operand->op == OP::UMINUS) { // -(-x)
        tree->left = take_operand(operand);
        return simp_node(turn_into_cast(tree), loop, ctx);
    }
    if (product && equiv_mtypes(operand->type, tree->type))
        for (NODE *NODE::*side : {&NODE::right, &NODE::left}) // -(x * C), -(x / C), -(C / x)
            if (is_FCON(operand->*side)) {
                negate(operand->*side);
                erase_node(tree);
                return simp_node(operand, loop, ctx);
            }
    if (operand->op == OP::MINUS && !strict_fp && !tree_has_side_effects(operand)) { // -(x - y)
        std::swap(operand->left, operand->right);
        erase_node(tree);
        return simp_node(operand, loop, ctx);
    }
    return tree;
}

// --- one operand

// -(x >> w - 1) of an unsigned shift, which gives 0 or 1, is the shift of x as a signed value.
NODE *negated_sign_bit(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *shift = tree->left;
    if (tree->op != OP::UMINUS) return nullptr;
    const bool has_cast = is_op(shift, OP::SCONV, tree);
    if (has_cast) shift = shift->left;
    if (!is_op(shift, OP::SRL, tree) || !is_ICON(shift->right)) return nullptr;
    NODE *value = shift->left;
    if (!value->type->is_integer() || value->type->is_signed() || value->type->is_bool() ||
        value->type->size() != tree->type->size() ||
        icon_value(shift->right) != INT65(tree->type->size() - 1))
        return nullptr;
    TYPE *type = tp->mk_signed(value->type->type_qualified())->normalized();
    if (has_cast) tree->left = take_operand(tree->left);
    shift->left = simp_node(coerce_to_type(type, value), loop, ctx);
    shift->type = type;
    return simp_node(turn_into_cast(tree), loop, ctx);
}

// ~(x ^ C) is x ^ ~C.
NODE *constant_takes_NOTB(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *bits = tree->left;
    if (!is_op(bits, OP::XORB, tree) || !is_ICON(bits->right)) return nullptr;
    const INT65 value = ~constant_as(bits->right, bits->type);
    erase_node(bits->right);
    bits->right = make_ICON(value, bits->type);
    tree->left = simp_node(bits, loop, ctx);
    return simp_node(turn_into_cast(tree), loop, ctx);
}

// ~(~x & y) is x | ~y, ~(~x | y) is x & ~y.
NODE *NOTB_goes_in(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *bits = tree->left;
    if (!is_op(bits, OP::ANDB, tree) && !is_op(bits, OP::ORB, tree)) return nullptr;
    if (!is_op(bits->left, OP::NOTB, bits) && !is_op(bits->right, OP::NOTB, bits)) return nullptr;
    for (NODE *NODE::*side : {&NODE::left, &NODE::right}) {
        NODE *inverted = maketree(OP::NOTB, bits->*side, nullptr, bits->type, bits->scope);
        bits->*side = simp_node(inverted, loop, ctx);
    }
    bits->op = bits->op == OP::ANDB ? OP::ORB : OP::ANDB;
    tree->left = simp_node(bits, loop, ctx);
    return simp_node(turn_into_cast(tree), loop, ctx);
}

constexpr SIMP_RULE rules_of_NOTB[] = {constant_takes_NOTB, NOTB_goes_in};

NODE *simp_negation(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    if (tree->type->is_floating())
        return tree->op == OP::UMINUS ? float_negation(tree, loop, ctx) : tree;
    if (NODE *sum = rebuilt_sum(tree, loop, ctx)) return simp_node(sum, loop, ctx);
    if (!is_modular_type(tree->type)) return tree;
    NODE *replacement = tree->op == OP::NOTB ? apply_first(rules_of_NOTB, tree, loop, ctx)
                                             : negated_sign_bit(tree, loop, ctx);
    return replacement ? replacement : tree;
}

// What the operand's sign does not matter to.
bool only_changes_sign(const NODE *operand, const NODE *tree) {
    return (operand->op == OP::UMINUS || operand->op == OP::ABS) &&
           equiv_mtypes(operand->type, tree->type) && !tree->type->is_bool();
}

NODE *simp_ABS(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *&operand = tree->left;
    // What has no sign is its own absolute value, the negation too.
    if (is_modular_type(tree->type) && tree->type->is_unsigned())
        return simp_node(turn_into_cast(tree), loop, ctx);
    if (operand->op == OP::UMINUS && only_changes_sign(operand, tree)) {
        operand = take_operand(operand);
        return simp_node(tree, loop, ctx);
    }
    bool not_negative = operand->op == OP::ABS && tree->type->is_floating();
    if (!not_negative && tree->type->is_int_or_enum() && operand->type->is_int_or_enum() &&
        operand->type->size() <= tree->type->size()) {
        INT65 lo, hi;
        find_value_range(operand, &lo, &hi, loop, ctx);
        not_negative = !lo.is_negative() && hi <= int_type_max(tree->type);
        if (!not_negative && hi <= INT65(0)) {
            tree->op = OP::UMINUS;
            return simp_node(tree, loop, ctx);
        }
    }
    return not_negative ? simp_node(turn_into_cast(tree), loop, ctx) : tree;
}
} // namespace

NODE *simp_PLUS(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    if (tree->type->is_floating()) {
        tree = simp_assoc(tree, loop, ctx);
        return tree->op == OP::PLUS ? float_sum(tree, loop, ctx) : tree;
    }
    swap_to_normal_order(tree);
    if (NODE *sum = rebuilt_sum(tree, loop, ctx)) return simp_node(sum, loop, ctx);
    if (!is_modular_type(tree->type)) return tree;
    NODE *replacement = apply_first(rules_of_sums, tree, loop, ctx);
    return replacement ? replacement : tree;
}

NODE *simp_MINUS(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    if (tree->type->is_floating()) return float_sum(tree, loop, ctx);
    if (NODE *sum = rebuilt_sum(tree, loop, ctx)) return simp_node(sum, loop, ctx);
    if (!is_modular_type(tree->type)) return tree;
    NODE *replacement = apply_first(rules_of_sums, tree, loop, ctx);
    return replacement ? replacement : tree;
}

NODE *simp_unary(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    switch (tree->op) {
    case OP::UMINUS:
    case OP::NOTB: return simp_negation(tree, loop, ctx);
    case OP::ABS: return simp_ABS(tree, loop, ctx);
    case OP::SQR:
        if (only_changes_sign(tree->left, tree)) {
            tree->left = take_operand(tree->left);
            return simp_node(tree, loop, ctx);
        }
        return tree;
    default: return tree;
    }
}
