// DIV and MOD.
//
// Signs go outside a signed quotient, factors that both sides have cancel, and a quotient by a
// constant gives way to a shift, a mask, or what the range of the dividend says. Truncation toward
// zero and the one quotient that wraps are kept: what cannot be proved of a value that may be the
// least of its type is not done. A division by the constant zero stays and traps.
#include "OPT5/driver/global_flags.h"
#include "OPT5/rep/type_pkg.h"
#include "OPT5/scalar/simp_facts.h"
#include "OPT5/simulfp/simul_fval.h"

#include <utility>

namespace {
using I64 = std::int64_t;

// The operand is a value of the node's type as it is.
bool is_of_type(const NODE *operand, const NODE *node) {
    return is_plain_int(operand->type) && is_plain_int(node->type) &&
           operand->type->size() == node->type->size() && is_same_sign(operand->type, node->type);
}

NODE *negated(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    return simp_node(maketree(OP::UMINUS, tree, nullptr, tree->type, tree->scope), loop, ctx);
}

// Negating the value does not wrap.
bool has_negative(const NODE *tree, const NODE *node, LOOP *loop, CONTEXT *ctx) {
    const FACTS f = facts_as(tree, node->type, loop, ctx);
    return f.shape.bits != 0 && f.shape.is_signed && f.lo > f.shape.min();
}

INT65 constant_divisor(const NODE *tree) {
    return constant_as(tree->right, tree->type);
}

// --- quotients of any kind

NODE *of_constants(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    const bool both = (is_ICON(tree->left) && is_ICON(tree->right)) ||
                      (is_FCON(tree->left) && is_FCON(tree->right));
    return both ? fold_node(tree, loop, ctx) : nullptr;
}

NODE *by_itself(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    if (tree->type->is_floating() || is_ICON(tree->right) ||
        !trees_are_congruent(tree->left, tree->right))
        return nullptr;
    erase_tree(tree->left);
    tree->left = make_ICON(1, tp->int_type());
    return becomes_left(tree, loop, ctx);
}

bool is_one(const simul_fval &value, const TYPE *type) {
    return f_bit_eq(value, f_from_int(1, type, nullptr));
}

// x / C becomes x * (1 / C). Unless floating arithmetic may be inexact, C must be a power of two.
NODE *by_FCON(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    if (!tree->type->is_floating() || !is_FCON(tree->right)) return nullptr;
    unsigned errors = 0, inexact = 0;
    const TYPE *type = tree->type;
    const simul_fval one = f_from_int(1, type, nullptr), c = *tree->right->u.fcon.value;
    const simul_fval reciprocal = truncate_fval_to_target(f_div(one, c, type, &errors), type);
    const simul_fval product = f_mul(c, reciprocal, type, &inexact);
    if ((errors & ~FVE_inexact) != 0 || f_classify(reciprocal, type) != FVAL_CLASS::normal)
        return nullptr;
    if (strict_fp && ((errors | inexact) != 0 || !is_one(product, type))) return nullptr;
    erase_tree(tree->right);
    tree->right = make_FCON(reciprocal, tree->type);
    tree->op = OP::MULT;
    return simp_node(tree, loop, ctx);
}

// Zero, behind the effects of the divisor.
NODE *of_zero(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    const bool zero = is_ICON(tree->left) && icon_value(tree->left).is_zero();
    if (!zero || !is_plain_int(tree->type) || is_ICON(tree->right)) return nullptr;
    return becomes_constant(tree, 0, loop, ctx);
}

// By the constant 1 or -1: what a product does, which folds away or negates.
NODE *by_one(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    const INT65 c = constant_divisor(tree);
    if (c != INT65(1) && (c != INT65(-1) || !tree->type->is_signed())) return nullptr;
    tree->op = OP::MULT;
    return simp_node(tree, loop, ctx);
}

// --- signs

// A negative constant operand is the negated positive one.
bool promote_sign(NODE **operand, const NODE *tree) {
    if (!is_ICON(*operand) || !is_of_type(*operand, tree)) return false;
    const INT65 value = icon_value(*operand);
    if (!value.is_negative() || value == int_type_min(tree->type)) return false;
    (*operand)->u.lval = -value;
    *operand = maketree(OP::UMINUS, *operand, nullptr, (*operand)->type, (*operand)->scope);
    return true;
}

bool is_UMINUS(const NODE *operand, const NODE *tree) {
    return operand->op == OP::UMINUS && is_of_type(operand, tree) &&
           is_of_type(operand->left, tree);
}

// PLUS, MINUS and UMINUS have signs that are as well left where they are.
bool has_sign_of_its_own(const NODE *operand) {
    constexpr int unary_bit = OP::MINUS ^ OP::UMINUS;
    return operand->op == OP::PLUS || (operand->op & ~unary_bit) == OP::MINUS;
}

// -x / y and x / -y become -(x / y).
NODE *with_one_sign(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *left = tree->left, *right = tree->right;
    const bool of_left = is_UMINUS(left, tree) && !has_sign_of_its_own(right) &&
                         has_negative(left->left, tree, loop, ctx);
    const bool of_right = !of_left && is_UMINUS(right, tree) && !has_sign_of_its_own(left) &&
                          has_negative(right->left, tree, loop, ctx);
    if (!of_left && !of_right) return nullptr;
    if (of_left)
        tree->left = skip_node(left);
    else
        tree->right = skip_node(right);
    return negated(simp_node(tree, loop, ctx), loop, ctx);
}

// -x / -y becomes x / y.
NODE *with_two_signs(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *left = tree->left, *right = tree->right;
    if (!is_UMINUS(left, tree) || !is_UMINUS(right, tree) ||
        !has_negative(left->left, tree, loop, ctx))
        return nullptr;
    tree->left = skip_node(left);
    tree->right = skip_node(right);
    return simp_node(tree, loop, ctx);
}

// Constants of signed quotients are positive while the rules on signs look at them.
NODE *on_signs(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    if (is_ICON(tree->right))
        if (NODE *result = by_one(tree, loop, ctx)) return result;
    const bool left = promote_sign(&tree->left, tree), right = promote_sign(&tree->right, tree);
    NODE *result = with_one_sign(tree, loop, ctx);
    if (!result) result = with_two_signs(tree, loop, ctx);
    if (result) return result;
    for (NODE **operand : {left ? &tree->left : nullptr, right ? &tree->right : nullptr})
        if (operand) *operand = fold_constants(*operand);
    return nullptr;
}

NODE *by_common_factors(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    if (!is_of_type(tree->left, tree) || !is_of_type(tree->right, tree) ||
        !cancel_common_simple_factors(&tree->left, &tree->right))
        return nullptr;
    tree->left = simp_node(tree->left, loop, ctx);
    tree->right = simp_node(tree->right, loop, ctx);
    return simp_node(tree, loop, ctx);
}

constexpr SIMP_RULE DIV_rules[] = {of_constants, by_itself, by_FCON};
constexpr SIMP_RULE signed_DIV_rules[] = {on_signs, by_common_factors};

// --- quotients by a constant; the node has an ICON other than 0 on its right

INT65 magnitude(const INT65 &value) {
    return value.is_negative() ? -value : value;
}

// The value of the left operand is smaller than the divisor.
bool is_below_divisor(const NODE *tree, LOOP *loop, CONTEXT *ctx) {
    const FACTS f = facts_as(tree->left, tree->type, loop, ctx);
    const INT65 d = magnitude(constant_divisor(tree));
    return INT65(f.lo) > -d && INT65(f.hi) < d;
}

NODE *of_smaller(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    return is_below_divisor(tree, loop, ctx) ? becomes_constant(tree, 0, loop, ctx) : nullptr;
}

// (x / A) / B is x / (A * B).
NODE *of_quotient(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *inner = tree->left;
    if (inner->op != OP::DIV || !is_ICON(inner->right) || !is_of_type(inner, tree)) return nullptr;
    const INT65 a = constant_divisor(inner), b = constant_divisor(tree);
    if (a.is_zero() || prod_may_overflow(a, b, tree->type)) return nullptr;
    NODE *x = inner->left;
    if (!is_of_type(x, tree)) return nullptr;
    erase_tree(inner->right);
    erase_node(inner);
    tree->left = x;
    return simp_node(set_right(tree, a * b, tree->type), loop, ctx);
}

// Whether the constant divides each term of the tree, and nothing wraps on the way to its value.
bool divides_terms(const INT65 &c, const NODE *tree, LOOP *loop, CONTEXT *ctx, int depth) {
    if (is_ICON(tree)) return (icon_value(tree) % c).is_zero();
    if (depth == 0 || !tree->right || !is_of_type(tree->left, tree) ||
        !is_of_type(tree->right, tree))
        return false;
    switch (tree->op) {
    case OP::PLUS:
    case OP::MINUS:
        return !expr_sum_may_overflow(tree, loop, ctx) &&
               divides_terms(c, tree->left, loop, ctx, depth - 1) &&
               divides_terms(c, tree->right, loop, ctx, depth - 1);
    case OP::MULT:
        return is_ICON(tree->right) && (icon_value(tree->right) % c).is_zero() &&
               !expr_product_may_overflow(tree, loop, ctx);
    default: return false;
    }
}

// The tree with the constant, which divides its terms, divided out.
NODE *div_ICON_coef(NODE *tree, const INT65 &c, LOOP *loop, CONTEXT *ctx) {
    if (is_ICON(tree)) {
        tree->u.lval = icon_value(tree) / c;
        return tree;
    }
    if (tree->op != OP::MULT) tree->left = div_ICON_coef(tree->left, c, loop, ctx);
    tree->right = div_ICON_coef(tree->right, c, loop, ctx);
    return simp_node(tree, loop, ctx);
}

// (6 * x + 9) / 3 is 2 * x + 3.
NODE *of_multiples(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    constexpr int max_depth = 5;
    const INT65 c = constant_divisor(tree);
    if (c < INT65(2) || is_ICON(tree->left) || !is_of_type(tree->left, tree) ||
        !divides_terms(c, tree->left, loop, ctx, max_depth))
        return nullptr;
    tree->left = div_ICON_coef(tree->left, c, loop, ctx);
    return becomes_left(tree, loop, ctx);
}

constexpr SIMP_RULE DIV_by_ICON_rules[] = {
    by_one, of_smaller, of_quotient, by_common_factors, of_multiples,
};

// A shift rounds down, which is toward zero for what is not negative and for what leaves no rest.
NODE *by_power_of_2(NODE *tree, bool exact, LOOP *loop, CONTEXT *ctx) {
    const int n = power_of_2(constant_divisor(tree));
    if (n < 0) return nullptr;
    const bool is_signed = tree->type->is_signed();
    if (is_signed && !exact && facts_as(tree->left, tree->type, loop, ctx).lo < 0 &&
        !integer_DIV_is_exact(tree, loop, ctx))
        return nullptr;
    if (!is_of_type(tree->left, tree))
        tree->left = simp_node(coerce_to_type(tree->type, tree->left), loop, ctx);
    if (!is_of_type(tree->left, tree)) return nullptr;
    tree->op = OP::SRL;
    return simp_node(set_right(tree, n, tp->int_type()), loop, ctx);
}

// What the rules make of a division by a constant other than 0; null, and no change: nothing.
NODE *divided(NODE *tree, bool exact, LOOP *loop, CONTEXT *ctx) {
    if (NODE *result = apply_first(DIV_by_ICON_rules, tree, loop, ctx)) return result;
    return by_power_of_2(tree, exact, loop, ctx);
}

// (long)x / C, where the rules know the division in the type of x.
NODE *in_narrow_type(NODE *tree, bool exact, LOOP *loop, CONTEXT *ctx) {
    NODE *cast = tree->left;
    if (cast->op != OP::SCONV || !is_of_type(cast, tree)) return nullptr;
    NODE *x = cast->left;
    TYPE *narrow = x->type->type_qualified();
    const INT65 c = constant_divisor(tree);
    if (!is_plain_int(narrow) || narrow->size() >= tree->type->size() ||
        !value_fits_in_type(x, tree->type, loop, ctx) || !value_fits_in_type(c, narrow))
        return nullptr;
    NODE *division = maketree(OP::DIV, x, make_ICON(c, narrow), narrow, tree->scope);
    NODE *quotient = divided(division, exact, loop, ctx);
    if (!quotient) {
        erase_node(division->right);
        erase_node(division);
        return nullptr;
    }
    cast->left = quotient;
    return becomes_left(tree, loop, ctx);
}

// --- remainders

NODE *MOD_by_one(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    const bool one = is_ICON(tree->right) && magnitude(constant_divisor(tree)) == INT65(1);
    return one ? becomes_constant(tree, 0, loop, ctx) : nullptr;
}

// x % -y is x % y.
NODE *MOD_by_negative(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    if (!tree->type->is_signed()) return nullptr;
    if (is_UMINUS(tree->right, tree)) {
        tree->right = skip_node(tree->right);
        return simp_node(tree, loop, ctx);
    }
    if (!is_ICON(tree->right)) return nullptr;
    const INT65 c = constant_divisor(tree);
    if (!c.is_negative() || c == int_type_min(tree->type)) return nullptr;
    return simp_node(set_right(tree, -c, tree->type), loop, ctx);
}

// -x % y is -(x % y).
NODE *MOD_of_negative(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    if (!is_UMINUS(tree->left, tree) || has_sign_of_its_own(tree->right) ||
        !has_negative(tree->left->left, tree, loop, ctx))
        return nullptr;
    tree->left = skip_node(tree->left);
    return negated(simp_node(tree, loop, ctx), loop, ctx);
}

bool has_constant_divisor(const NODE *tree) {
    return is_ICON(tree->right) && !constant_divisor(tree).is_zero();
}

NODE *MOD_of_smaller(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    return has_constant_divisor(tree) && is_below_divisor(tree, loop, ctx)
               ? becomes_left(tree, loop, ctx)
               : nullptr;
}

NODE *MOD_of_multiple(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    const bool multiple = has_constant_divisor(tree) && is_of_type(tree->left, tree) &&
                          constant_divides_expr(constant_divisor(tree), tree->left, loop, ctx);
    return multiple ? becomes_constant(tree, 0, loop, ctx) : nullptr;
}

// (x % A) % B is x % B if B divides A.
NODE *MOD_of_MOD(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *inner = tree->left;
    if (inner->op != OP::MOD || !has_constant_divisor(tree) || !has_constant_divisor(inner) ||
        !is_of_type(inner, tree) || !is_of_type(inner->left, inner) ||
        !(constant_divisor(inner) % constant_divisor(tree)).is_zero())
        return nullptr;
    erase_tree(inner->right);
    tree->left = skip_node(inner);
    return simp_node(tree, loop, ctx);
}

NODE *MOD_by_power_of_2(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    if (!has_constant_divisor(tree)) return nullptr;
    const INT65 c = constant_divisor(tree);
    if (power_of_2(c) < 0 || facts_as(tree->left, tree->type, loop, ctx).lo < 0) return nullptr;
    tree->op = OP::ANDB;
    return simp_node(set_right(tree, c - 1, tree->type), loop, ctx);
}

constexpr SIMP_RULE MOD_rules[] = {
    of_constants,   of_zero,         MOD_by_one, MOD_by_negative,   MOD_of_negative,
    MOD_of_smaller, MOD_of_multiple, MOD_of_MOD, MOD_by_power_of_2,
};

// --- common factors

// The constant that the tree is, or is multiplied by without wrapping; 0 for none.
INT65 constant_factor(const NODE *tree) {
    if (is_ICON(tree)) return icon_value(tree);
    const bool product = tree->op == OP::MULT && is_ICON(tree->right) &&
                         is_of_type(tree->left, tree) && is_of_type(tree->right, tree) &&
                         !expr_product_may_overflow(tree, nullptr, nullptr);
    return product ? icon_value(tree->right) : INT65(0);
}

void divide_constant_factor(NODE *tree, const INT65 &g) {
    NODE *icon = is_ICON(tree) ? tree : tree->right;
    icon->u.lval = icon_value(icon) / g;
}

bool cancel_constants(NODE *a, NODE *b) {
    const INT65 fa = constant_factor(a), fb = constant_factor(b);
    if (fa.is_zero() || fb.is_zero()) return false;
    const INT65 g = long_gcd(fa, fb);
    if (g <= INT65(1)) return false;
    divide_constant_factor(a, g);
    divide_constant_factor(b, g);
    return true;
}

bool is_never_zero(const NODE *tree) {
    const FACTS f = facts_of(tree);
    return f.shape.bits != 0 && (f.ones != 0 || f.lo > 0 || f.hi < 0);
}

// The factor of a product that is not congruent to the tree.
NODE *NODE::*cofactor(const NODE *product, const NODE *factor) {
    if (product->op != OP::MULT || !is_of_type(product->left, product) ||
        !is_of_type(product->right, product) ||
        expr_product_may_overflow(product, nullptr, nullptr))
        return nullptr;
    if (trees_are_congruent(product->right, factor)) return &NODE::left;
    return trees_are_congruent(product->left, factor) ? &NODE::right : nullptr;
}

// Leaves the other factor of the product.
void keep_factor(NODE **product, NODE *NODE::*kept) {
    NODE *node = *product;
    *product = node->*kept;
    erase_tree(node->*(kept == &NODE::left ? &NODE::right : &NODE::left));
    erase_node(node);
}

bool cancel_factor(NODE **a, NODE **b, const NODE *factor) {
    if (is_ICON(factor) || !is_never_zero(factor)) return false;
    NODE *NODE::*of_a = cofactor(*a, factor);
    if (!of_a) return false;
    NODE *NODE::*of_b = cofactor(*b, factor);
    if (of_b) {
        keep_factor(a, of_a);
        keep_factor(b, of_b);
        return true;
    }
    if (factor != *b) return false;
    keep_factor(a, of_a);
    NODE *one = make_ICON(1, (*b)->type->type_qualified());
    erase_tree(*b);
    *b = one;
    return true;
}
} // namespace

bool cancel_common_simple_factors(NODE **a, NODE **b) {
    if (!is_plain_int((*a)->type) || !is_of_type(*a, *b)) return false;
    if (cancel_constants(*a, *b) || cancel_factor(a, b, *b)) return true;
    return (*b)->op == OP::MULT &&
           (cancel_factor(a, b, (*b)->left) || cancel_factor(a, b, (*b)->right));
}

NODE *simp_DIV_by_ICON(NODE *tree, bool exact, LOOP *loop, CONTEXT *ctx) {
    if (tree->op != OP::DIV || !is_ICON(tree->right) || !is_plain_int(tree->type) ||
        constant_divisor(tree).is_zero())
        return tree;
    NODE *result = divided(tree, exact, loop, ctx);
    if (!result) result = in_narrow_type(tree, exact, loop, ctx);
    return result ? result : tree;
}

NODE *simp_DIV(NODE *tree, bool exact, LOOP *loop, CONTEXT *ctx) {
    if (NODE *result = apply_first(DIV_rules, tree, loop, ctx)) return result;
    if (!is_plain_int(tree->type)) return tree;
    if (NODE *result = of_zero(tree, loop, ctx)) return result;
    if (tree->type->is_signed() && is_of_type(tree->left, tree) && is_of_type(tree->right, tree))
        if (NODE *result = apply_first(signed_DIV_rules, tree, loop, ctx)) return result;
    return simp_DIV_by_ICON(tree, exact, loop, ctx);
}

NODE *simp_MOD(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    if (!is_plain_int(tree->type)) return tree;
    NODE *result = apply_first(MOD_rules, tree, loop, ctx);
    return result ? result : tree;
}
