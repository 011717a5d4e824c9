// Questions that the facts about values answer: ranges, overflow, divisibility.
#include "OPT5/scalar/simp_facts.h"

#include "OPT5/rep/type_pkg.h"

namespace {
constexpr int max_depth = 7;

INT65 magnitude(const INT65 &value) {
    return value.is_negative() ? -value : value;
}

bool has_size_of(const NODE *operand, const NODE *node) {
    return operand->type->size() == node->type->size();
}

bool divides(const INT65 &constant, const NODE *tree, LOOP *loop, CONTEXT *ctx, int depth);

// A power of two divides what is left after wrapping as well as the true value.
bool survives_wrapping(const INT65 &constant) {
    return power_of_2(constant) >= 0;
}

// The operand as the node takes it.
bool divides_operand(const INT65 &constant, const NODE *operand, const NODE *node, LOOP *loop,
                     CONTEXT *ctx, int depth) {
    return (survives_wrapping(constant) || value_fits_in_type(operand, node->type, loop, ctx)) &&
           divides(constant, operand, loop, ctx, depth - 1);
}

bool divides(const INT65 &constant, const NODE *tree, LOOP *loop, CONTEXT *ctx, int depth) {
    if (is_ICON(tree)) return (icon_value(tree) % constant).is_zero();
    if (depth == 0 || !tree->type->is_int_or_enum()) return false;
    const bool wraps = survives_wrapping(constant);
    const auto operand = [&](const NODE *side) {
        return divides_operand(constant, side, tree, loop, ctx, depth);
    };
    const NODE *left = tree->left, *right = tree->right;
    switch (tree->op) {
    case OP::MULT:
        return (wraps || !expr_product_may_overflow(tree, loop, ctx)) &&
               (operand(left) || operand(right));
    case OP::PLUS:
    case OP::MINUS:
        return (wraps || !expr_sum_may_overflow(tree, loop, ctx)) && operand(left) &&
               operand(right);
    case OP::ANDB: return wraps && (operand(left) || operand(right));
    case OP::ORB:
    case OP::XORB: return wraps && operand(left) && operand(right);
    case OP::UMINUS:
        return (wraps || (tree->type->is_signed() && facts_as(left, tree->type, loop, ctx).lo >
                                                         value_shape(tree->type).min())) &&
               operand(left);
    case OP::SCONV: return !tree->type->is_bool() && operand(left);
    case OP::SLL:
        return wraps && is_ICON(right) && icon_value(right) >= INT65(power_of_2(constant));
    case OP::QUEST: return right->op == OP::COLON && operand(right->left) && operand(right->right);
    case OP::COMMAOP: return operand(right);
    default: return false;
    }
}

bool leaves_shape(VALUE_SHAPE shape, const INT65 &lo, const INT65 &hi) {
    return lo < INT65(shape.min()) || hi > INT65(shape.max());
}
} // namespace

void find_value_range(const NODE *tree, INT65 *lo, INT65 *hi, LOOP *loop, CONTEXT *ctx) {
    const FACTS f = facts_of(tree, loop, ctx);
    if (f.shape.bits != 0 && !tree->type->is_ptr()) {
        *lo = INT65(f.lo);
        *hi = INT65(f.hi);
        return;
    }
    // Constants of pointer types are kept as signed ones.
    const bool known = f.shape.bits != 0 && f.is_constant();
    *lo = known ? truncate_to_type(INT65(f.lo), tree->type) : int_type_min(tree->type);
    *hi = known ? *lo : int_type_max(tree->type);
}

bool value_fits_in_type(const NODE *tree, const TYPE *type, LOOP *loop, CONTEXT *ctx) {
    const FACTS f = facts_of(tree, loop, ctx);
    const VALUE_SHAPE shape = value_shape(type);
    if (f.shape.bits == 0 || shape.bits == 0) return false;
    if (type->is_bool()) return f.lo >= 0 && f.hi <= 1;
    return f.lo >= shape.min() && f.hi <= shape.max();
}

bool expr_product_may_overflow(const NODE *tree, LOOP *loop, CONTEXT *ctx) {
    const VALUE_SHAPE shape = value_shape(tree->type);
    if (shape.bits == 0) return true;
    const FACTS a = facts_as(tree->left, tree->type, loop, ctx),
                b = facts_as(tree->right, tree->type, loop, ctx);
    for (const std::int64_t x : {a.lo, a.hi})
        for (const std::int64_t y : {b.lo, b.hi}) {
            std::int64_t product = 0;
            if (__builtin_mul_overflow(x, y, &product)) return true;
            if (product < shape.min() || product > shape.max()) return true;
        }
    return false;
}

bool expr_sum_may_overflow(const NODE *tree, LOOP *loop, CONTEXT *ctx) {
    const VALUE_SHAPE shape = value_shape(tree->type);
    if (shape.bits == 0) return true;
    const FACTS a = facts_as(tree->left, tree->type, loop, ctx),
                b = facts_as(tree->right, tree->type, loop, ctx);
    const bool adds = tree->op == OP::PLUS;
    return leaves_shape(shape, INT65(adds ? a.lo + b.lo : a.lo - b.hi),
                        INT65(adds ? a.hi + b.hi : a.hi - b.lo));
}

bool tree_is_16x16_mpy(const NODE *tree, LOOP *loop, CONTEXT *ctx) {
    if (tree->op != OP::MULT || !tree->type->is_int_or_enum()) return false;
    for (const TYPE *half : {tp->basic_int(TYPE::SHORT), tp->basic_int(TYPE::USHORT)})
        if (value_fits_in_type(tree->left, half, loop, ctx) &&
            value_fits_in_type(tree->right, half, loop, ctx))
            return true;
    return false;
}

bool constant_divides_expr(const INT65 &constant, const NODE *tree, LOOP *loop, CONTEXT *ctx) {
    if (constant.is_zero()) return false;
    return divides(magnitude(constant), tree, loop, ctx, max_depth);
}

bool integer_DIV_is_exact(const NODE *tree, LOOP *loop, CONTEXT *ctx) {
    return tree->op == OP::DIV && tree->type->is_int_or_enum() && is_ICON(tree->right) &&
           has_size_of(tree->left, tree) && is_same_sign(tree->left->type, tree->type) &&
           constant_divides_expr(constant_as(tree->right, tree->type), tree->left, loop, ctx);
}
