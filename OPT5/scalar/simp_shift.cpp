// SLL and SRL by constant counts.
//
// Counts merge, counts beyond the width become a constant or the sign, a shift to the left that
// cannot overflow becomes a product, and a shift back and forth becomes a mask. Rules that look
// below the node want the operand to fill it; a count that is no constant, or negative, leaves the
// tree as it is.
#include "OPT5/driver/global_flags.h"
#include "OPT5/rep/type_pkg.h"
#include "OPT5/scalar/simp_facts.h"

#include <utility>

namespace {
using U32 = std::uint32_t;

// A constant count of 0 or more.
bool has_count(const NODE *shift) {
    return is_ICON(shift->right) && !icon_value(shift->right).is_negative();
}

INT65 count_of(const NODE *shift) {
    return icon_value(shift->right);
}

NODE *set_count(NODE *shift, const INT65 &count) {
    return set_right(shift, count, tp->int_type());
}

bool have_one_size(const NODE *a, const NODE *b) {
    return is_plain_int(a->type) && is_plain_int(b->type) && a->type->size() == b->type->size();
}

INT65 all_ones_from(int bit, const TYPE *type) {
    return INT65(-1) << INT65(bit) & type_mask(type);
}

// The operand with the sign that the type has.
NODE *with_sign_of(TYPE *type, NODE *operand, LOOP *loop, CONTEXT *ctx) {
    if (is_same_sign(operand->type, type)) return operand;
    return simp_node(maketree(OP::SCONV, operand, nullptr, type, operand->scope), loop, ctx);
}

// --- the rules, in the order in which they are tried

NODE *by_nothing(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    return count_of(tree).is_zero() ? becomes_left(tree, loop, ctx) : nullptr;
}

// The inner shift of two of one kind, whose counts can be added.
bool is_shift_of_shift(const NODE *tree) {
    const NODE *inner = tree->left;
    return inner->op == tree->op && has_count(inner) && have_one_size(inner, tree) &&
           inner->type->size() == promoted_type(inner->left->type)->size() &&
           is_same_sign(inner->type, promoted_type(inner->left->type)) &&
           count_of(inner) < INT65(inner->type->size());
}

NODE *right_and_right_again(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    if (tree->op != OP::SRL || !is_shift_of_shift(tree)) return nullptr;
    // A count beyond the width stays one, in few bits.
    const INT65 width(tree->type->size()), n = count_of(tree);
    set_count(tree->left, count_of(tree->left) + (n < width ? n : width));
    tree->left = simp_shift(tree->left, loop, ctx);
    return becomes_left(tree, loop, ctx);
}

NODE *left_and_left_again(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    if (tree->op != OP::SLL || !is_shift_of_shift(tree) ||
        count_of(tree) >= INT65(tree->type->size()))
        return nullptr;
    set_count(tree, count_of(tree) + count_of(tree->left));
    tree->left = becomes_left(tree->left, loop, ctx);
    return simp_node(tree, loop, ctx);
}

NODE *all_bits_out(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    const TYPE *of_left = tree->left->type;
    const bool all_out = tree->op == OP::SLL
                             ? count_of(tree) >= INT65(tree->type->size())
                             : !of_left->is_signed() && count_of(tree) >= INT65(of_left->size());
    return all_out ? becomes_constant(tree, 0, loop, ctx) : nullptr;
}

// A signed value has nothing but its sign left; not a result, since the other rules go on.
void clamp_count(NODE *tree) {
    const TYPE *of_left = tree->left->type;
    if (tree->op != OP::SRL || !of_left->is_signed() || !of_left->is_int_or_enum()) return;
    if (count_of(tree) >= INT65(of_left->size())) set_count(tree, INT65(of_left->size()) - 1);
}

bool is_SRL_below_cast(const NODE *tree) {
    if (tree->op == OP::SCONV) tree = tree->left;
    return tree->op == OP::SRL;
}

NODE *as_product(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    if (tree->op != OP::SLL || mini_mult || !is_plain_int(tree->left->type)) return nullptr;
    const VALUE_SHAPE shape = value_shape(tree->type);
    const INT65 n = count_of(tree);
    if (n.is_zero() || n >= INT65(shape.bits - shape.is_signed)) return nullptr;
    NODE *count = std::exchange(tree->right, make_ICON(INT65(1) << n, tree->type));
    tree->op = OP::MULT;
    if (is_SRL_below_cast(tree->left) || !expr_product_may_overflow(tree, loop, ctx)) {
        erase_tree(count);
        return simp_node(tree, loop, ctx);
    }
    tree->op = OP::SLL;
    erase_tree(std::exchange(tree->right, count));
    return nullptr;
}

// op(x, C) >> n is op(x >> n, C >> n).
NODE *right_of_bitwise(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *inner = tree->left;
    if (tree->op != OP::SRL ||
        (inner->op != OP::ANDB && inner->op != OP::ORB && inner->op != OP::XORB) ||
        !is_ICON(inner->right) || !have_one_size(inner, tree) || !have_one_size(inner->left, tree))
        return nullptr;
    TYPE *type = inner->type;
    const INT65 n = count_of(tree), c = constant_as(inner->right, type);
    inner->left = with_sign_of(type, inner->left, loop, ctx);
    NODE *shifted = maketree(OP::SRL, inner->left, tree->right, type, tree->scope);
    inner->left = simp_node(shifted, loop, ctx);
    tree->right = nullptr;
    set_right(inner, c >> n, type);
    tree->left = simp_node(inner, loop, ctx);
    return becomes_left(tree, loop, ctx);
}

// (x * C) >> n, where the product is the true one: what C and 2^n have in common cancels.
NODE *right_of_product(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *inner = tree->left;
    if (tree->op != OP::SRL || inner->op != OP::MULT || !is_ICON(inner->right) ||
        !have_one_size(inner, tree) || !have_one_size(inner->left, tree) ||
        !tree->type->is_signed() || !inner->type->is_signed())
        return nullptr;
    const INT65 c = constant_as(inner->right, inner->type), n = count_of(tree);
    if (c < INT65(2)) return nullptr;
    const INT65 k = extract_power_of_2_factor(c);
    if (k.is_zero() || n.is_zero() || expr_product_may_overflow(inner, loop, ctx)) return nullptr;
    const INT65 both = n <= k ? n : k;
    inner->left = with_sign_of(inner->type, inner->left, loop, ctx);
    tree->left = simp_node(set_right(inner, c >> both, inner->type), loop, ctx);
    return simp_node(set_count(tree, n - both), loop, ctx);
}

// How far the node shifts its left operand to the left; -1 if it is not that.
int left_shift(const NODE *tree) {
    if (tree->op == OP::SLL && has_count(tree) && count_of(tree) < INT65(tree->type->size()))
        return static_cast<int>(count_of(tree).u32());
    return tree->op == OP::MULT && is_ICON(tree->right)
               ? power_of_2(constant_as(tree->right, tree->type) & type_mask(tree->type))
               : -1;
}

// The node becomes `inner`, made a shift of its left operand, under a mask.
NODE *masked(NODE *tree, const INT65 &mask, LOOP *loop, CONTEXT *ctx) {
    tree->left = simp_node(tree->left, loop, ctx);
    tree->op = OP::ANDB;
    return simp_node(set_right(tree, mask, tree->type), loop, ctx);
}

// (x << m) >> n, unsigned: a shift by the difference and a mask.
NODE *left_then_right(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *inner = tree->left;
    if (tree->op != OP::SRL || !tree->type->is_unsigned() || !inner->left || !inner->right ||
        !have_one_size(inner, tree) || !inner->type->is_unsigned() ||
        !have_one_size(inner->left, tree))
        return nullptr;
    const int m = left_shift(inner), n = static_cast<int>(count_of(tree).u32());
    if (m < 0) return nullptr;
    const INT65 mask = all_ones_from(m, tree->type) >> INT65(n);
    inner->left = with_sign_of(inner->type, inner->left, loop, ctx);
    inner->op = n >= m ? OP::SRL : OP::SLL;
    set_count(inner, n >= m ? n - m : m - n);
    return masked(tree, mask, loop, ctx);
}

// (x >> a) << n, whatever comes in from the left: the same with a mask.
NODE *right_then_left(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *inner = tree->left;
    if (tree->op != OP::SLL || inner->op != OP::SRL || !has_count(inner) ||
        !have_one_size(inner, tree) || !have_one_size(inner->left, tree))
        return nullptr;
    const INT65 a = count_of(inner), n = count_of(tree);
    if (a >= INT65(tree->type->size()) || n >= INT65(tree->type->size())) return nullptr;
    if (n < a) {
        set_count(inner, a - n);
        return masked(tree, all_ones_from(static_cast<int>(n.u32()), tree->type), loop, ctx);
    }
    inner->op = OP::ANDB;
    set_right(inner, all_ones_from(static_cast<int>(a.u32()), tree->type), inner->type);
    tree->left = simp_node(inner, loop, ctx);
    return simp_node(set_count(tree, n - a), loop, ctx);
}

// --- beyond: what the value of the left operand says, and bits of it that are not looked at

NODE *nothing_left(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    const FACTS f = facts_of(tree, loop, ctx);
    return f.is_constant() ? becomes_constant(tree, INT65(f.lo), loop, ctx) : nullptr;
}

NODE *bits_shifted_out(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    if (!have_one_size(tree->left, tree) || count_of(tree) >= INT65(tree->type->size()))
        return nullptr;
    const U32 mask = value_shape(tree->type).mask(), n = count_of(tree).u32();
    bool changed = false;
    tree->left =
        drop_undemanded(tree->left, tree->op == OP::SLL ? mask >> n : mask << n & mask, &changed);
    return changed ? simp_node(tree, loop, ctx) : nullptr;
}

constexpr SIMP_RULE rules_before_clamp[] = {
    by_nothing,
    right_and_right_again,
    left_and_left_again,
    all_bits_out,
};

// A shift back and forth is tried before the product, which would hide it.
constexpr SIMP_RULE rules_after_clamp[] = {
    nothing_left,     right_then_left, as_product,       right_of_bitwise,
    right_of_product, left_then_right, bits_shifted_out,
};
} // namespace

NODE *simp_shift(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    if (!has_count(tree) || !is_plain_int(tree->type)) return tree;
    if (NODE *result = apply_first(rules_before_clamp, tree, loop, ctx)) return result;
    clamp_count(tree);
    NODE *result = apply_first(rules_after_clamp, tree, loop, ctx);
    return result ? result : tree;
}
