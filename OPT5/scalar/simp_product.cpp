// Products. A constant factor goes to the right and takes in what it can: signs, shifts and other
// factors; a constant that is added to the other factor moves out. The signs of other factors move
// above the product.
#include "OPT5/driver/global_flags.h"
#include "OPT5/rep/type_pkg.h"
#include "OPT5/scalar/simp_rules.h"
#include "OPT5/simulfp/simul_fval.h"

#include <utility>

namespace {
// Low bits of the operand's value follow from low bits of its own operands, as many as count here.
bool wraps_like(const NODE *tree, const NODE *operand) {
    return is_modular_type(operand->type) && !operand->type->is_ptr() &&
           operand->type->size() >= tree->type->size();
}

bool is_negation_in(const NODE *tree, const NODE *operand) {
    return operand->op == OP::UMINUS && wraps_like(tree, operand);
}

// Makes the operand fit a node of this integer type.
NODE *fitted(TYPE *type, NODE *operand, LOOP *loop, CONTEXT *ctx) {
    if (operand->type->size() == type->size()) return operand;
    return simp_node(coerce_to_type(type, operand), loop, ctx);
}

// --- with a constant on the right

// x * 0
NODE *product_with_zero(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    if (!constant_as(tree->right, tree->type).is_zero()) return nullptr;
    NODE *zero = make_ICON(0, tree->type), *factor = tree->left;
    zero->scope = tree->scope;
    erase_node(tree->right);
    erase_node(tree);
    return with_effects(factor, zero, loop, ctx);
}

// x * -1
NODE *product_with_minus_one(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    if (sign_extend_by_type_size(constant_as(tree->right, tree->type), tree->type) != INT65(-1))
        return nullptr;
    tree->right = erase_node(tree->right);
    tree->op = OP::UMINUS;
    return simp_node(tree, loop, ctx);
}

NODE *with_constant(NODE *tree, NODE *factor, const INT65 &constant, LOOP *loop, CONTEXT *ctx) {
    erase_node(tree->right);
    tree->left = factor;
    tree->right = make_ICON(constant, tree->type);
    return simp_node(tree, loop, ctx);
}

// -x * C
NODE *constant_takes_sign(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    if (!is_negation_in(tree, tree->left)) return nullptr;
    const INT65 constant = constant_as(tree->right, tree->type);
    return with_constant(tree, take_operand(tree->left), -constant, loop, ctx);
}

// (x << n) * C
NODE *constant_takes_shift(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *shift = tree->left;
    if (shift->op != OP::SLL || !is_ICON(shift->right) || !wraps_like(tree, shift)) return nullptr;
    if (shift->left->type->size() < shift->type->size()) return nullptr;
    const INT65 count = icon_value(shift->right);
    if (count.is_negative() || count >= INT65(tree->type->size())) return nullptr;
    const INT65 constant = constant_as(tree->right, tree->type);
    erase_node(shift->right);
    return with_constant(tree, fitted(tree->type, take_operand(shift), loop, ctx),
                         constant << count, loop, ctx);
}

// (x + K) * C becomes x * C + K * C, (K - x) * C becomes K * C - x * C; also below casts that only
// cut the sum off.
NODE *constant_distributes(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *sum = tree->left;
    int casts = 0;
    for (; sum->op == OP::SCONV && wraps_like(tree, sum) && wraps_like(tree, sum->left); ++casts)
        sum = sum->left;
    if (!wraps_like(tree, sum)) return nullptr;
    const bool plus = sum->op == OP::PLUS && is_ICON(sum->right);
    const bool minus = sum->op == OP::MINUS && is_ICON(sum->left);
    if (!plus && !minus) return nullptr;
    if ((plus ? sum->left : sum->right)->type->is_ptr()) return nullptr; // no factor
    for (NODE *cast = tree->left; casts > 0; --casts)
        cast = take_operand(cast);
    NODE *NODE::*const of_constant = plus ? &NODE::right : &NODE::left;
    NODE *NODE::*const of_rest = plus ? &NODE::left : &NODE::right;
    TYPE *type = tree->type;
    const INT65 factor = constant_as(tree->right, type);
    const INT65 addend = constant_as(sum->*of_constant, type);
    erase_node(sum->*of_constant);
    sum->*of_constant = make_ICON(addend * factor, type);
    tree->left = fitted(type, sum->*of_rest, loop, ctx);
    sum->*of_rest = simp_node(tree, loop, ctx);
    sum->type = type;
    return simp_node(sum, loop, ctx);
}

constexpr SIMP_RULE rules_with_constant[] = {product_with_zero, product_with_minus_one,
                                             constant_takes_sign, constant_takes_shift,
                                             constant_distributes};

// --- of two other factors

// -x * -y
NODE *signs_cancel(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    if (!is_negation_in(tree, tree->left) || !is_negation_in(tree, tree->right)) return nullptr;
    tree->left = take_operand(tree->left);
    tree->right = take_operand(tree->right);
    return simp_node(tree, loop, ctx);
}

// -x * y, x * -y
NODE *sign_moves_out(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    for (NODE *NODE::*operand : {&NODE::left, &NODE::right}) {
        if (!is_negation_in(tree, tree->*operand)) continue;
        NODE *minus = tree->*operand;
        tree->*operand = fitted(tree->type, minus->left, loop, ctx);
        minus->type = tree->type;
        minus->left = simp_node(tree, loop, ctx);
        return simp_node(minus, loop, ctx);
    }
    return nullptr;
}

// x * (1 << n), (1 << n) * x: a count at or beyond the width gives 0 in both forms.
NODE *power_of_two_shifts(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    for (NODE *NODE::*operand : {&NODE::right, &NODE::left}) {
        NODE *power = tree->*operand;
        const bool is_power = power->op == OP::SLL && is_ICON(power->left) &&
                              icon_value(power->left) == INT65(1) &&
                              power->type->size() == tree->type->size();
        if (!is_power || !is_modular_type(tree->type)) continue;
        NODE *other = operand == &NODE::right ? tree->left : tree->right;
        if (operand == &NODE::left &&
            (tree_has_side_effects(other) || tree_has_side_effects(power->right)))
            continue;
        if (other->type->size() != tree->type->size()) continue;
        TYPE *type = tree->type;
        erase_node(power->left);
        erase_node(tree);
        power->left = coerce_to_type(type, other);
        power->type = type;
        return simp_node(power, loop, ctx);
    }
    return nullptr;
}

// Of two values that are 0 or 1 both must be 1.
NODE *truth_values(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    if (!returns_1_or_0(tree->left) || !returns_1_or_0(tree->right)) return nullptr;
    tree->op = OP::ANDB;
    return simp_node(tree, loop, ctx);
}

constexpr SIMP_RULE rules_of_two[] = {signs_cancel, sign_moves_out, power_of_two_shifts,
                                      truth_values};

// --- floats

bool is_float(const NODE *node, int value) {
    return is_FCON(node) &&
           f_bit_eq(*node->u.fcon.value, f_from_int(INT65(value), node->type, nullptr));
}

NODE *float_product(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *&left = tree->left, *&right = tree->right;
    if (is_FCON(right)) {
        const FVAL_CLASS kind = f_classify(*right->u.fcon.value, right->type);
        // x * nan, and x * 0 when nobody asks about infinities and signs: the constant.
        if (kind == FVAL_CLASS::nan || (kind == FVAL_CLASS::zero && !strict_fp)) {
            NODE *factor = left, *constant = right;
            erase_node(tree);
            return with_effects(factor, constant, loop, ctx);
        }
        if (NODE *folded = fold_node(tree, loop, ctx)) return folded;
        if (is_float(right, -1)) {
            right = erase_node(right);
            tree->op = OP::UMINUS;
            return simp_node(tree, loop, ctx);
        }
        if (left->op == OP::UMINUS) {
            const simul_fval negated = f_neg(*right->u.fcon.value);
            left = take_operand(left);
            erase_node(right);
            right = make_FCON(negated, tree->type);
            return simp_node(tree, loop, ctx);
        }
        return tree;
    }
    if (left->op == OP::UMINUS && right->op == OP::UMINUS) {
        left = take_operand(left);
        right = take_operand(right);
        return simp_node(tree, loop, ctx);
    }
    return tree;
}

} // namespace

NODE *simp_MULT(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    tree = simp_assoc(tree, loop, ctx);
    if (tree->op != OP::MULT) return tree;
    if (tree->type->is_floating()) return float_product(tree, loop, ctx);
    if (!is_modular_type(tree->type)) return tree;
    if (NODE *folded = fold_node(tree, loop, ctx)) return folded;
    NODE *replacement = is_ICON(tree->right) ? apply_first(rules_with_constant, tree, loop, ctx)
                                             : apply_first(rules_of_two, tree, loop, ctx);
    return replacement ? replacement : tree;
}
