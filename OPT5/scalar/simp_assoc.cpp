// Operators whose operands may be exchanged and regrouped: the constant goes to the right, a chain
// of one operator leans left, and its constants become one.
#include "OPT5/driver/global_flags.h"
#include "OPT5/rep/type_pkg.h"
#include "OPT5/scalar/simp_facts.h"
#include "OPT5/simulfp/simul_fval.h"

#include <utility>

namespace {
bool is_leaf(const NODE *node) {
    return !node->left && !node->right;
}

bool is_address_of_NAME(const NODE *node) {
    return node->op == OP::UAND && node->left->op == OP::NAME;
}

bool is_constant(const NODE *node) {
    return is_ICON(node) || is_FCON(node);
}

// Sums and products of floats are not the same in another order; whoever does not ask for the
// results of the operations as they are written may get them so.
bool may_regroup_floats() {
    return !strict_fp && fp_add_is_associative();
}

// A chain goes on below a node when the low bits of both are what the operands' low bits give.
bool goes_on(const NODE *node, const NODE *operand) {
    if (operand->op != node->op) return false;
    if (node->type->is_floating()) return equiv_mtypes(operand->type, node->type);
    return is_modular_type(operand->type) && !operand->type->is_ptr() &&
           operand->type->size() >= node->type->size();
}

// Swapping changes the order of evaluation.
bool may_swap(const NODE *a, const NODE *b) {
    return expr_is_constant(a) || expr_is_constant(b) ||
           (!tree_has_side_effects(a) && !tree_has_side_effects(b));
}

bool ends_in_constant(const NODE *tree, const NODE *operand) {
    return goes_on(tree, operand) && is_constant(operand->right);
}

// The operator once more, on operands that are new to each other.
NODE *pair(const NODE *like, NODE *a, NODE *b, LOOP *loop, CONTEXT *ctx) {
    return simp_node(maketree(like->op, a, b, like->type, like->scope), loop, ctx);
}

// A constant that stands for two others: of floats, one that neither overflows nor loses bits.
bool stands_for_two(const NODE *tree, int op) {
    if (!is_FCON(tree)) return is_ICON(tree);
    const FVAL_CLASS kind = f_classify(*tree->u.fcon.value, tree->type);
    return kind == FVAL_CLASS::normal || (kind == FVAL_CLASS::zero && op == OP::PLUS);
}

// (a op C) op D becomes a op (C op D). False, and no change, when that is no constant.
bool merge_constants(NODE *tree) {
    NODE *inner = tree->left, *first = copy_tree(inner->right, true),
         *second = copy_tree(tree->right, true);
    NODE *both = fold_constants(maketree(tree->op, first, second, tree->type, tree->scope));
    if (!stands_for_two(both, tree->op)) {
        erase_tree(both);
        return false;
    }
    erase_tree(inner->right);
    erase_tree(tree->right);
    tree->right = both;
    tree->left = skip_node(inner);
    return true;
}

// (a op C) op b becomes (a op b) op C.
void move_constant_out(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *inner = tree->left, *constant = inner->right;
    tree->left = pair(tree, inner->left, tree->right, loop, ctx);
    tree->right = constant->type->size() >= tree->type->size()
                      ? constant
                      : make_ICON(constant_as(constant, inner->type), tree->type);
    if (tree->right != constant) erase_node(constant);
    erase_node(inner);
}

// a op (b op c) becomes (a op b) op c.
void lean_left(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *inner = tree->right;
    tree->right = inner->right;
    tree->left = pair(tree, tree->left, inner->left, loop, ctx);
    erase_node(inner);
}
bool is_sum(const NODE *node) {
    return node->op == OP::PLUS || node->op == OP::MINUS;
}

// Whether op(a, op(b, c)) may be op(op(a, b), c), sums and differences mixed.
bool leans_right(const NODE *node) {
    const NODE *right = node->right;
    if (!right || !right->right || (node->op != right->op && !(is_sum(node) && is_sum(right))))
        return false;
    switch (node->op) {
    case OP::COMMAOP:
    case OP::ANDAND:
    case OP::OROR: return true;
    case OP::PLUS:
    case OP::MINUS:
    case OP::MULT:
    case OP::ANDB:
    case OP::ORB:
    case OP::XORB: break;
    default: return false;
    }
    const auto is_number = [](const NODE *one) {
        return is_modular_type(one->type) && !one->type->is_ptr();
    };
    if (node->type->size() != right->type->size()) return false;
    for (const NODE *one :
         {node, static_cast<const NODE *>(node->left), right,
          static_cast<const NODE *>(right->left), static_cast<const NODE *>(right->right)})
        if (!is_number(one)) return false;
    return true;
}
} // namespace

void lean_left_in_advance(NODE *node) {
    while (leans_right(node)) {
        NODE *inner = node->right;
        if (is_sum(node)) {
            const int outer = node->op == inner->op ? OP::PLUS : OP::MINUS;
            inner->op = node->op;
            node->op = static_cast<std::uint8_t>(outer);
        }
        node->right = inner->right;
        inner->right = inner->left;
        inner->left = node->left;
        if (node->op == OP::COMMAOP) inner->type = inner->right->type;
        node->left = inner;
    }
}

bool is_modular_type(const TYPE *type) {
    return (type->is_int_or_enum() && !type->is_bool()) || type->is_ptr();
}

void swap_to_normal_order(NODE *tree) {
    if (commute_inv[tree->op] != tree->op) return;
    NODE *left = tree->left, *right = tree->right;
    const bool to_right = is_constant(left) ? !is_constant(right)
                                            : !is_constant(right) && !is_leaf(right) &&
                                                  !is_address_of_NAME(right) &&
                                                  (is_leaf(left) || is_address_of_NAME(left));
    if (to_right && may_swap(left, right)) std::swap(tree->left, tree->right);
}

NODE *simp_assoc(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    for (;;) {
        swap_to_normal_order(tree);
        const bool regroups = tree->type->is_floating()
                                  ? may_regroup_floats()
                                  : is_modular_type(tree->type) && !tree->type->is_ptr();
        if (!regroups) return tree;
        if (is_ICON(tree->left) && is_ICON(tree->right)) return fold_constants(tree);
        if (ends_in_constant(tree, tree->left)) {
            if (!is_constant(tree->right))
                move_constant_out(tree, loop, ctx);
            else if (!merge_constants(tree))
                return tree;
        } else if (goes_on(tree, tree->right)) {
            lean_left(tree, loop, ctx);
        } else {
            return tree;
        }
    }
}
