// Assignments. What an assignment would cut off its value is not computed, a step that changes
// nothing is none, signs and constants of steps have one form, and an object that is hard to reach
// is reached once when it is only stepped on.
#include "OPT5/driver/global_flags.h"
#include "OPT5/rep/type_pkg.h"
#include "OPT5/scalar/simp_rules.h"
#include "OPT5/simulfp/simul_fval.h"

namespace {
// An access may be left out, or made one instead of two.
bool is_plain_object(const NODE *lvalue) {
    return !tree_has_side_effects(lvalue);
}

bool is_plain_integer(const TYPE *type) {
    return is_modular_type(type) && !type->is_ptr();
}

// Drops what the target would cut off. Effects that come to stand in front of the value by that are
// hoisted; those that stood there could not be.
NODE *cut(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    const bool had_effects = tree->right->op == OP::COMMAOP;
    tree->right = truncate_RHS_for_assignment(tree->left, tree->right, 0);
    return tree->right->op == OP::COMMAOP && !had_effects ? simp_node(tree, loop, ctx) : nullptr;
}

// --- compound assignments

// The assignment stores what was there: its value is all that is left.
NODE *value_of_target(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    tree->right = erase_tree(tree->right);
    return simp_node(turn_into_cast(tree), loop, ctx);
}

// Storing again what was read may still make a quiet nan of a signaling one.
bool is_float_neutral(int op, const NODE *right, const TYPE *target) {
    if (strict_fp || !target->is_floating() ||
        !equiv_mtypes(right->type, const_cast<TYPE *>(target)))
        return false;
    const simul_fval &value = *right->u.fcon.value;
    const bool is_zero = f_compare(value, {}) == FVAL_ORDER::equal;
    switch (op) {
    case OP::PLUSASG: return is_zero && f_is_negative(value);
    case OP::MINUSASG: return is_zero && !f_is_negative(value);
    case OP::MULTASG:
    case OP::DIVASG: return f_bit_eq(value, f_from_int(1, target, nullptr));
    default: return false;
    }
}

bool is_neutral_step(const NODE *tree) {
    const NODE *right = tree->right;
    const TYPE *target = tree->left->type;
    if (is_FCON(right)) return is_float_neutral(tree->op, right, target->stds());
    if (!is_ICON(right) || !(target->is_int_or_enum() || target->is_ptr())) return false;
    const INT65 value = icon_value(right);
    switch (tree->op) {
    case OP::PLUSASG:
    case OP::MINUSASG:
    case OP::ORBASG:
    case OP::XORBASG: return constant_as(right, target).is_zero();
    case OP::SLLASG:
    case OP::SRLASG: return value.is_zero();
    case OP::MULTASG: return constant_as(right, target) == INT65(1);
    case OP::DIVASG: return value == INT65(1);
    case OP::ANDBASG: return (~constant_as(right, target) & type_mask(target)).is_zero();
    default: return false;
    }
}

NODE *neutral_step(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    return is_plain_object(tree->left) && is_neutral_step(tree) ? value_of_target(tree, loop, ctx)
                                                                : nullptr;
}

// x *= 0, x &= 0, x |= -1, x %= 1: what was there does not count.
NODE *step_to_constant(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *right = tree->right;
    TYPE *target = tree->left->type->type_qualified();
    if (!is_ICON(right) || !is_plain_integer(target) || !is_plain_object(tree->left))
        return nullptr;
    const INT65 value = constant_as(right, target);
    INT65 result = 0;
    switch (tree->op) {
    case OP::MULTASG:
    case OP::ANDBASG:
        if (!value.is_zero()) return nullptr;
        break;
    case OP::ORBASG:
        if (!(~value & type_mask(target)).is_zero()) return nullptr;
        result = -1;
        break;
    case OP::MODASG:
        if (icon_value(right) != INT65(1)) return nullptr;
        break;
    default: return nullptr;
    }
    erase_node(right);
    tree->right = make_ICON(result, target);
    tree->op = OP::ASG;
    return simp_node(tree, loop, ctx);
}

// x -= C is x += -C; the constant of a step that wraps has the width of what it steps on.
NODE *normal_constant(NODE *tree, LOOP *, CONTEXT *) {
    NODE *right = tree->right;
    TYPE *target = tree->left->type->type_qualified();
    const bool adds = tree->op == OP::PLUSASG || tree->op == OP::MINUSASG;
    const bool wraps = adds || tree->op == OP::MULTASG || tree->op == OP::ANDBASG ||
                       tree->op == OP::ORBASG || tree->op == OP::XORBASG;
    if (!is_ICON(right) || !wraps || !is_modular_type(target)) return nullptr;
    if (target->is_ptr() && !adds) return nullptr;
    INT65 value = constant_as(right, target);
    if (tree->op == OP::MINUSASG) value = -value;
    TYPE *type = target->is_ptr() ? wide_enough_int_type(target->size(), true) : target;
    if (tree->op != OP::MINUSASG && equiv_mtypes(right->type, type)) return nullptr;
    if (tree->op == OP::MINUSASG) tree->op = OP::PLUSASG;
    tree->right = make_ICON(value, type);
    tree->right->scope = right->scope;
    erase_node(right);
    return tree;
}

// x += -y, x -= -y
NODE *negated_step(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *right = tree->right;
    const TYPE *target = tree->left->type;
    if ((tree->op != OP::PLUSASG && tree->op != OP::MINUSASG) || right->op != OP::UMINUS)
        return nullptr;
    const bool exact = target->is_floating()
                           ? right->type->is_floating()
                           : is_modular_type(target) && is_plain_integer(right->type) &&
                                 right->type->size() >= target->size();
    if (!exact) return nullptr;
    tree->right = take_operand(right);
    tree->op = tree->op == OP::PLUSASG ? OP::MINUSASG : OP::PLUSASG;
    return simp_node(tree, loop, ctx);
}

// Of the value of these steps, low bits decide over low bits.
NODE *cut_step(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    switch (tree->op) {
    case OP::PLUSASG:
    case OP::MINUSASG:
    case OP::MULTASG:
    case OP::ANDBASG:
    case OP::ORBASG:
    case OP::XORBASG: return cut(tree, loop, ctx);
    default: return nullptr;
    }
}

constexpr SIMP_RULE rules_of_steps[] = {cut_step, neutral_step, step_to_constant, negated_step,
                                        normal_constant};

// --- plain assignments

// x = x
NODE *self_assignment(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    return trees_are_congruent(tree->left, tree->right) ? value_of_target(tree, loop, ctx)
                                                        : nullptr;
}

// x = (x = y)
NODE *assigned_twice(NODE *tree, LOOP *, CONTEXT *) {
    NODE *inner = tree->right;
    if (inner->op != OP::ASG || !trees_are_congruent(tree->left, inner->left)) return nullptr;
    erase_tree(tree->left);
    erase_node(tree);
    return inner;
}

// Operators on the way to the object, a member of a named one being named.
bool is_hard_to_reach(const NODE *lvalue) {
    while (lvalue->op == OP::STDOT)
        lvalue = lvalue->left;
    if (lvalue->op != OP::UMULT && lvalue->op != OP::STREF) return false;
    const NODE *address = lvalue->left;
    return address->left != nullptr && address->op != OP::UAND;
}

// *(p + i * 2) = *(p + i * 2) op y: the address is computed once.
NODE *step_in_place(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    if (!is_hard_to_reach(tree->left) || ASG_to_opASG(tree)->op == OP::ASG) return nullptr;
    return simp_node(tree, loop, ctx);
}

// An integer constant gets the type of what it is assigned to.
NODE *fitting_constant(NODE *tree, LOOP *, CONTEXT *) {
    NODE *right = tree->right;
    TYPE *target = tree->left->type->type_qualified();
    if (!is_ICON(right) || !is_plain_integer(target) || equiv_mtypes(right->type, target))
        return nullptr;
    tree->right = make_ICON(constant_as(right, target), target);
    tree->right->scope = right->scope;
    erase_node(right);
    return nullptr;
}

constexpr SIMP_RULE rules_of_assignments[] = {cut, fitting_constant, self_assignment,
                                              assigned_twice, step_in_place};
} // namespace

NODE *simp_opASG(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *replacement = apply_first(rules_of_steps, tree, loop, ctx);
    return replacement ? replacement : tree;
}

NODE *simp_ASG(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *replacement = apply_first(rules_of_assignments, tree, loop, ctx);
    return replacement ? replacement : tree;
}
