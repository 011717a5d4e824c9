// Conditions: trees that are only tested against zero, and the statements that test them.
#include "OPT5/rep/bblk.h"
#include "OPT5/rep/type_pkg.h"
#include "OPT5/scalar/simp_arcs.h"
#include "OPT5/scalar/simp_bool.h"

#include <utility>

namespace {
bool is_zero_constant(const NODE *tree) {
    return is_ICON(tree) && icon_value(tree).is_zero();
}

// Whether the conversion gives zero for zero alone.
bool keeps_zero(const TYPE *from, const TYPE *to) {
    if (from->is_floating()) return to->is_floating() && to->size() >= from->size();
    if (!arc_width(from)) return false;
    return to->is_floating() || to->is_bool() || (arc_width(to) && to->size() >= from->size());
}

// The part of the tree that is zero exactly when the tree is; null when it is none of its operands.
NODE **same_zero(NODE *tree) {
    switch (tree->op) {
    case OP::SCONV:
    case OP::PCONV: return keeps_zero(tree->left->type, tree->type) ? &tree->left : nullptr;
    case OP::UMINUS: return &tree->left;
    case OP::ABS: return &tree->left;
    case OP::NEQ: return is_zero_constant(tree->right) ? &tree->left : nullptr;
    case OP::EXCLAIM: // !!x
        return tree->left->op == OP::EXCLAIM ? &tree->left->left : nullptr;
    case OP::MULT: // by an odd number
        return is_ICON(tree->right) && arc_width(tree->type) &&
                       arc_width(tree->left->type) == arc_width(tree->type) &&
                       (tree->right->u.lval.lo & 1) != 0
                   ? &tree->left
                   : nullptr;
    default: return nullptr;
    }
}

bool is_word_difference(const NODE *tree) {
    const unsigned width = arc_width(tree->left->type);
    return width != 0 && arc_width(tree->right->type) == width && arc_width(tree->type) == width;
}

// A condition on its way to its simplest form.
struct CONDITION {
    LOOP *loop;
    CONTEXT *ctx;
    bool changed = false; // the tree, or one below it

    NODE *reduced(NODE *tree);
    bool reduce_operand(NODE *&operand);
    bool reduce_arm(NODE *&arm, TYPE *type);
    NODE *difference(NODE *tree);
    NODE *choice(NODE *tree);
};

// Whether the operand has become another tree.
bool CONDITION::reduce_operand(NODE *&operand) {
    const bool before = std::exchange(changed, false);
    operand = reduced(operand);
    return std::exchange(changed, changed || before);
}

// x - y and x ^ y are zero when x is y.
NODE *CONDITION::difference(NODE *tree) {
    if (!is_word_difference(tree)) return tree;
    NODE *compared = simp_node(
        maketree(OP::NEQ, tree->left, tree->right, tp->int_type(), tree->scope), loop, ctx);
    erase_node(tree);
    changed = true;
    return reduced(compared);
}

// The same for an arm of a choice of this type. Conversions in front stay as long as nothing else
// changes; they would be made again.
bool CONDITION::reduce_arm(NODE *&arm, TYPE *type) {
    NODE **part = &arm;
    while (((*part)->op == OP::SCONV || (*part)->op == OP::PCONV) &&
           keeps_zero((*part)->left->type, (*part)->type))
        part = &(*part)->left;
    if (!reduce_operand(*part)) return false;
    if (part != &arm) arm = take_from_tree(part, arm);
    if (equiv_mtypes(arm->type, type)) return true;
    const bool keeps = keeps_zero(arm->type, type);
    if (!keeps) arm = make_boolean(arm); // it has more bits than the choice
    arm = simp_tree(coerce_to_type(type, arm), loop, ctx);
    return keeps;
}

NODE *CONDITION::choice(NODE *tree) {
    const bool first = reduce_arm(tree->right->left, tree->type),
               second = reduce_arm(tree->right->right, tree->type), again = first || second;
    return again ? reduced(simp_node(tree, loop, ctx)) : tree;
}

NODE *CONDITION::reduced(NODE *tree) {
    while (NODE **part = same_zero(tree)) {
        tree = take_from_tree(part, tree);
        changed = true;
    }
    switch (tree->op) {
    case OP::MINUS:
    case OP::XORB: return difference(tree);
    case OP::ANDAND:
    case OP::OROR: {
        const bool left = reduce_operand(tree->left), right = reduce_operand(tree->right);
        return left || right ? reduced(simp_node(tree, loop, ctx)) : tree;
    }
    case OP::QUEST: return choice(tree);
    default: return tree;
    }
}
} // namespace

NODE *simp_for_control(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    return CONDITION{loop, ctx}.reduced(tree);
}

// A condition that is known makes a jump of it, or nothing.
NODE *simp_CBRANCH(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *condition = tree->left = simp_for_control(tree->left, loop, ctx);
    if (!is_ICON(condition)) return tree;
    if (icon_value(condition).is_zero()) {
        erase_tree(condition);
        tree->op = OP::BRANCH;
        tree->left = tree->right;
        tree->right = nullptr;
        return simp_node(tree, loop, ctx);
    }
    tree->left = nullptr;
    erase_tree(tree->right);
    erase_node(tree);
    return condition;
}

// The jump stays an IF, with both labels, which the flow graph's edges are about: a condition that
// has become a constant is left to simpcfg.
NODE *simp_IF(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *arms = tree->right;
    tree->left = simp_for_control(tree->left, loop, ctx);
    while (tree->left->op == OP::EQ && is_zero_constant(tree->left->right)) {
        NODE *condition = tree->left;
        tree->left = nullptr;
        tree->left = simp_for_control(take_from_tree(&condition->left, condition), loop, ctx);
        std::swap(arms->left, arms->right);
    }
    return tree;
}
