// Assignments with and without an operator.
#include "OPT5/rep/bbutils.h"
#include "OPT5/rep/type_pkg.h"

#include <array>
#include <utility>

namespace {
// The compound assignment of each plain operator; ILLOP where there is none.
const std::array<std::uint8_t, op_count> opASG_of_op = [] {
    std::array<std::uint8_t, op_count> table;
    table.fill(OP::ILLOP);
    for (std::size_t op = 0; op < op_count; ++op)
        if (op_of_opASG[op] != OP::ILLOP) table[op_of_opASG[op]] = static_cast<std::uint8_t>(op);
    return table;
}();

bool is_shift(int op) {
    return op == OP::SLL || op == OP::SRL;
}

// The low bits of the result follow from the low bits of the operands.
bool is_modular(int op) {
    return op != OP::DIV && op != OP::MOD;
}

// The type of `target op value` with the meaning of `target op= value`, which computes in the
// promoted type of the target; null when the two would not compute the same.
TYPE *type_of_operation(int op, NODE *target, NODE *value) {
    if (target->type->is_bool()) return nullptr; // a store tests all bits of the value
    TYPE *promoted = promoted_type(target->type->type_qualified());
    if (is_shift(op) || target->type->is_ptr()) return promoted;
    TYPE *combined = combined_type(target, value);
    if (equiv_mtypes(combined, promoted)) return combined;
    const bool same_low_bits = is_modular(op) && combined->is_integer() && promoted->is_integer() &&
                               combined->size() >= promoted->size();
    return same_low_bits ? combined : nullptr;
}

// Evaluating the lvalue a second time, for the read and the store, changes nothing else.
bool is_repeatable_lvalue(const NODE *lvalue) {
    while (lvalue->op == OP::STDOT)
        lvalue = lvalue->left;
    return lvalue->op != OP::DDNODE && !tree_has_side_effects(lvalue->left) &&
           !tree_has_side_effects(lvalue->right) &&
           (!node_has_own_effect(lvalue) || node_is_volatile_access(lvalue));
}
} // namespace

NODE *ASG_to_opASG(NODE *tree) {
    if (tree->op != OP::ASG) return tree;
    NODE *target = tree->left, *operation = tree->right;
    const int op = operation->op, op_asg = opASG_of_op[op];
    if (op_asg == OP::ILLOP) return tree;
    NODE *old = operation->left, *value = operation->right;
    if (!trees_are_congruent(old, target)) {
        if (commute_inv[op] != op || !trees_are_congruent(value, target)) return tree;
        std::swap(old, value);
    }
    // A value that stores something might do so between the read and the operation.
    if (tree_has_side_effects(value)) return tree;
    if (target->type->is_ptr() && value->type->is_ptr()) return tree;
    TYPE *type = type_of_operation(op, target, value);
    if (!type || !equiv_mtypes(type, operation->type->type_qualified())) return tree;
    erase_tree(old);
    erase_node(operation);
    tree->op = static_cast<std::uint8_t>(op_asg);
    tree->right = value;
    return tree;
}

NODE *opASG_to_ASG(NODE *tree) {
    const int op = op_of_opASG[tree->op];
    if (op == OP::ILLOP) return tree;
    NODE *target = tree->left;
    if (!is_repeatable_lvalue(target)) return tree;
    // A compound assignment reads its target behind the effects of the value, a sum before them.
    if (tree_has_side_effects(tree->right)) return tree;
    TYPE *promoted = promoted_type(target->type->type_qualified());
    NODE *value = tree->right;
    const bool bits = op == OP::ANDB || op == OP::ORB || op == OP::XORB || op == OP::MOD;
    if (is_shift(op) && value->type->is_arithmetic())
        value = coerce_to_type(tp->int_type(), value);
    else if (bits && value->type->is_floating() && !promoted->is_vector())
        value = coerce_to_type(promoted, value);
    tree->right = value;
    TYPE *type = type_of_operation(op, target, value);
    if (!type) return tree;
    tree->right = maketree(op, copy_tree(target, true), value, type, tree->scope);
    tree->op = OP::ASG;
    return tree;
}
