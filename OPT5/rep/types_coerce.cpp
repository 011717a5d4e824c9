// The conversion of a tree's value to a type.
#include "OPT5/driver/abort.h"
#include "OPT5/rep/bbutils.h"
#include "OPT5/rep/type_pkg.h"

namespace {
bool is_address(const TYPE *type) {
    return type->is_ptr() || type->is_ref();
}

NODE *convert(int op, NODE *tree, TYPE *type) {
    return maketree(op, tree, nullptr, type->normalized(), tree->scope);
}

// The integer that holds an address of this type.
TYPE *address_int(const TYPE *address) {
    TYPE *type = wide_enough_int_type(address->size(), false);
    OPTASSERT(type);
    return type;
}

NODE *coerce_vector(TYPE *to, NODE *tree) {
    const TYPE *from = tree->type->stds();
    OPTASSERT(to->is_vector() && from->is_vector());
    const bool same_lanes = to->sub.array.count == from->sub.array.count;
    OPTASSERT(same_lanes || to->size() == from->size());
    return convert(same_lanes ? OP::VSCONV : OP::VRCONV, tree, to);
}

NODE *coerce_to_address(TYPE *to, NODE *tree) {
    TYPE *from = tree->type;
    if (from->is_array() || from->is_func()) { // what stands for its address
        tree = maketree(OP::UAND, tree, nullptr, tp->mk_ptr(from), tree->scope);
        if (equiv_mtypes(to, tree->type)) return tree;
    } else if (!is_address(from) && !from->is_int_or_enum()) {
        tree = coerce_to_type(address_int(to), tree);
    }
    return convert(OP::PCONV, tree, to);
}
} // namespace

NODE *coerce_to_type(TYPE *type, NODE *tree) {
    TYPE *to = type->is_enum() ? normalized_underlying_type(type)->stds() : type->stds();
    TYPE *from = tree->type;
    if (equiv_mtypes(to, from)) return tree;
    if (to->is_vector() || from->is_vector()) return coerce_vector(to, tree);
    if (is_address(to)) return coerce_to_address(to, tree);
    if (!to->is_arithmetic()) return tree; // nothing converts to void, classes and the like
    if (tree->op == OP::ICON && to->is_integer()) {
        INT65 value = tree->u.lval;
        if (is_address(from)) value = truncate_to_type(value, address_int(from));
        if (to->is_bool() && !from->is_bool()) value = !value.is_zero();
        NODE *constant = mk_ICON(value, to->normalized());
        constant->scope = tree->scope;
        erase_tree(tree);
        return constant;
    }
    if (is_address(from)) return coerce_to_type(to, convert(OP::PCONV, tree, address_int(from)));
    OPTASSERT(from->is_arithmetic());
    return convert(OP::SCONV, tree, to);
}
