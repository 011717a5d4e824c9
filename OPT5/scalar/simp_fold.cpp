// Constants alone: what an operator gives when all its operands are constants, and operands that
// are neutral. Integers fold in the type of the node, modulo two to its width, as the machine
// computes; floats in the format of their type. A division by zero does not fold, nor does what the
// strictness of floating arithmetic asks to see happen when the program runs.
#include "OPT5/driver/global_flags.h"
#include "OPT5/rep/node_pool.h"
#include "OPT5/rep/type_pkg.h"
#include "OPT5/scalar/simp_rules.h"
#include "OPT5/simulfp/simul_fval.h"

#include <optional>
#include <utility>

namespace {
bool is_word(const TYPE *type) {
    return type->is_int_or_enum() || type->is_ptr();
}

// The constant takes the place of the tree.
NODE *replaced_by(NODE *tree, NODE *constant) {
    constant->scope = tree->scope;
    erase_tree(tree);
    return constant;
}

// --- integers

// A count outside the width of the type shifts all bits out. A negative one is left to the machine.
std::optional<INT65> shifted(int op, const NODE *tree, const INT65 &count) {
    const TYPE *type = tree->type, *of_left = tree->left->type;
    if (count.is_negative()) return std::nullopt;
    const INT65 value = constant_as(tree->left, type);
    const bool all_out = count >= INT65(type->size());
    if (op == OP::SLL) return all_out ? INT65(0) : value << count;
    if (of_left->is_signed())
        return sign_extend_by_type_size(value, type) >> (all_out ? INT65(63) : count);
    return all_out ? INT65(0) : (value & type_mask(type)) >> count;
}

std::optional<INT65> of_two(const NODE *tree) {
    const INT65 a = constant_as(tree->left, tree->type);
    if (tree->op == OP::SLL || tree->op == OP::SRL)
        return shifted(tree->op, tree, icon_value(tree->right));
    const INT65 b = constant_as(tree->right, tree->type);
    switch (tree->op) {
    case OP::PLUS: return a + b;
    case OP::MINUS: return a - b;
    case OP::MULT: return a * b;
    case OP::DIV:
    case OP::MOD:
        if (b.is_zero()) return std::nullopt;
        return tree->op == OP::DIV ? a / b : a % b;
    case OP::ANDB: return a & b;
    case OP::ORB: return a | b;
    case OP::XORB: return a ^ b;
    default: return std::nullopt;
    }
}

std::optional<INT65> of_one(const NODE *tree) {
    const INT65 a = constant_as(tree->left, tree->type);
    switch (tree->op) {
    case OP::UMINUS: return -a;
    case OP::NOTB: return ~a;
    case OP::ABS: return a.is_negative() ? -a : a;
    case OP::SQR: return a * a;
    case OP::PCONV:
    case OP::SCONV: {
        const bool tests = tree->type->is_bool() && !tree->left->type->is_bool();
        return tests ? INT65(!icon_value(tree->left).is_zero()) : a;
    }
    default: return std::nullopt;
    }
}

// Whether the ordering makes the comparison true; the names of opcodes speak of both signs alike.
bool holds(int op, FVAL_ORDER order) {
    const bool less = order == FVAL_ORDER::less, equal = order == FVAL_ORDER::equal,
               greater = order == FVAL_ORDER::greater;
    switch (op) {
    case OP::EQ: return equal;
    case OP::NEQ: return !equal;
    case OP::LE:
    case OP::ULE: return less || equal;
    case OP::LT:
    case OP::ULT: return less;
    case OP::GE:
    case OP::UGE: return greater || equal;
    default: return greater;
    }
}

// Operands of two widths are compared in the wider one, by the sign that the operator says.
FVAL_ORDER order_of_words(const NODE *tree) {
    const NODE *left = tree->left, *right = tree->right;
    TYPE *wider = right->type->size() > left->type->size() ? right->type : left->type;
    const bool is_unsigned = tree->op >= OP::ULE && tree->op <= OP::UGT;
    INT65 a = constant_as(left, wider), b = constant_as(right, wider);
    const INT65 mask = type_mask(wider);
    a = is_unsigned ? a & mask : sign_extend_by_type_size(a, wider);
    b = is_unsigned ? b & mask : sign_extend_by_type_size(b, wider);
    return a < b ? FVAL_ORDER::less : a == b ? FVAL_ORDER::equal : FVAL_ORDER::greater;
}

bool is_comparison(int op) {
    return op >= OP::EQ && op <= OP::UGT;
}

NODE *fold_words(NODE *tree) {
    std::optional<INT65> value;
    if (tree->op == OP::EXCLAIM)
        value = INT65(icon_value(tree->left).is_zero());
    else if (is_comparison(tree->op) && is_ICON(tree->right))
        value = INT65(holds(tree->op, order_of_words(tree)));
    else if (!is_word(tree->type))
        return nullptr;
    else if (is_ICON(tree->right))
        value = of_two(tree);
    else if (!tree->right)
        value = of_one(tree);
    return value ? replaced_by(tree, make_ICON(*value, tree->type)) : nullptr;
}

// --- floats

// What may happen before the program runs. An inexact result is what the machine would give too.
bool may_fold(unsigned errors) {
    return (errors & FVE_invalid) == 0 && (!strict_fp || (errors & FVE_serious) == 0);
}

std::optional<simul_fval> float_of_two(const NODE *tree, unsigned *errors) {
    const simul_fval &a = *tree->left->u.fcon.value, &b = *tree->right->u.fcon.value;
    switch (tree->op) {
    case OP::PLUS: return f_add(a, b, tree->type, errors);
    case OP::MINUS: return f_sub(a, b, tree->type, errors);
    case OP::MULT: return f_mul(a, b, tree->type, errors);
    case OP::DIV: return f_div(a, b, tree->type, errors);
    default: return std::nullopt;
    }
}

std::optional<simul_fval> float_of_one(const NODE *tree, unsigned *errors) {
    const simul_fval &a = *tree->left->u.fcon.value;
    switch (tree->op) {
    case OP::UMINUS: return f_neg(a);
    case OP::ABS: return f_abs(a);
    case OP::SQR: return f_mul(a, a, tree->type, errors);
    case OP::SQRT: return f_sqrt(a, tree->type, errors);
    case OP::RECIP: return f_div(f_from_int(1, tree->type, nullptr), a, tree->type, errors);
    case OP::SCONV:
        if (f_classify(a, tree->left->type) == FVAL_CLASS::nan) return std::nullopt;
        return f_mul(a, f_from_int(1, tree->type, nullptr), tree->type, errors);
    default: return std::nullopt;
    }
}

bool is_zero(const simul_fval &value) {
    return f_compare(value, {}) == FVAL_ORDER::equal;
}

// The node has an FCON on its left.
NODE *fold_floats(NODE *tree) {
    NODE *left = tree->left, *right = tree->right;
    if (tree->op == OP::EXCLAIM)
        return replaced_by(tree, make_ICON(is_zero(*left->u.fcon.value), tree->type));
    if (is_comparison(tree->op) && is_FCON(right)) {
        const FVAL_ORDER order = f_compare(*left->u.fcon.value, *right->u.fcon.value);
        if (order == FVAL_ORDER::unordered && strict_fp) return nullptr;
        return replaced_by(tree, make_ICON(holds(tree->op, order), tree->type));
    }
    unsigned errors = 0;
    if (tree->op == OP::SCONV && tree->type->is_int_or_enum()) {
        const simul_fval &value = *left->u.fcon.value;
        const bool tests = tree->type->is_bool();
        const INT65 whole = tests ? INT65(!is_zero(value)) : f_to_int(value, tree->type, &errors);
        return may_fold(errors) ? replaced_by(tree, make_ICON(whole, tree->type)) : nullptr;
    }
    if (!tree->type->is_floating()) return nullptr;
    std::optional<simul_fval> value;
    if (is_FCON(right))
        value = float_of_two(tree, &errors);
    else if (!right)
        value = float_of_one(tree, &errors);
    if (!value || !may_fold(errors)) return nullptr;
    return replaced_by(tree, make_FCON(*value, tree->type));
}

// An integer constant that becomes a float.
NODE *fold_to_float(NODE *tree) {
    NODE *icon = tree->left;
    INT65 value = icon_value(icon);
    if (icon->type->is_ptr()) return nullptr;
    return replaced_by(tree, make_FCON(f_from_int(value, tree->type, nullptr), tree->type));
}

// 1 / C * D, C and D being floats: the reciprocal is a constant too.
NODE *fold_product_with_RECIP(NODE *tree) {
    NODE *recip = tree->left;
    if (!is_FCON(recip->left)) return nullptr;
    NODE *folded = fold_floats(recip);
    if (!folded) return nullptr;
    tree->left = folded;
    return fold_floats(tree);
}

// --- neutral operands

bool is_FCON_one(const NODE *node) {
    return is_FCON(node) && f_bit_eq(*node->u.fcon.value, f_from_int(1, node->type, nullptr));
}

// Whether the operator with this operand on its right leaves its left operand as it is.
bool right_is_neutral(const NODE *tree) {
    const NODE *right = tree->right;
    switch (tree->op) {
    case OP::PLUS:
    case OP::MINUS:
    case OP::ORB:
    case OP::XORB:
    case OP::SLL:
    case OP::SRL: return is_ICON(right) && is_word(tree->type) && icon_value(right).is_zero();
    case OP::MULT:
    case OP::DIV:
        if (tree->type->is_floating()) return is_FCON_one(right);
        return is_ICON(right) && is_word(tree->type) && icon_value(right) == INT65(1);
    default: return false;
    }
}
} // namespace

INT65 constant_as(const NODE *icon, const TYPE *type) {
    const INT65 value = icon_value(icon);
    return truncate_to_type(icon->type->is_ptr() ? value & type_mask(icon->type) : value, type);
}

NODE *make_FCON(const simul_fval &value, TYPE *type) {
    NODE *fcon =
        maketree(OP::FCON, nullptr, nullptr, type->type_qualified()->normalized(), nullptr);
    fcon->u.fcon.value = pool_fval(value);
    return fcon;
}

NODE *fold_node(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *left = tree->left;
    if (!left || !tree->type) return nullptr;
    if (tree->op == OP::MULT && left->op == OP::RECIP && is_FCON(tree->right))
        return fold_product_with_RECIP(tree);
    if (is_ICON(left) && tree->op == OP::SCONV && tree->type->is_floating())
        return fold_to_float(tree);
    NODE *folded = nullptr;
    if (is_ICON(left))
        folded = fold_words(tree);
    else if (is_FCON(left))
        folded = fold_floats(tree);
    if (folded) return folded;
    if (!tree->right || !right_is_neutral(tree)) return nullptr;
    tree->right = erase_tree(tree->right);
    return simp_node(turn_into_cast(tree), loop, ctx);
}

// Recursion is as deep as the tree, which the reader has bounded.
NODE *fold_constants(NODE *tree) {
    if (!tree || tree->op == OP::CSE_DUPE || tree->op == OP::CSE_ORIG) return tree;
    if (tree->left && (tree->left->left || tree->left->right))
        tree->left = fold_constants(tree->left);
    if (tree->right && (tree->right->left || tree->right->right))
        tree->right = fold_constants(tree->right);
    const bool commutes = commute_inv[tree->op] == tree->op && tree->right;
    if (commutes && (is_ICON(tree->left) || is_FCON(tree->left)) && !is_ICON(tree->right) &&
        !is_FCON(tree->right))
        std::swap(tree->left, tree->right);
    NODE *folded = fold_node(tree, nullptr, nullptr);
    return folded ? folded : tree;
}
