// Calls of the intrinsics that have descriptors.
#include "OPT5/builtins/bif.h"
#include "OPT5/rep/type_pkg.h"
#include "OPT5/scalar/simp_arcs.h"
#include "OPT5/scalar/simp_facts.h"

#include <utility>
#include <vector>

namespace {
struct INTRINSIC_CALL {
    NODE *tree;
    const BIF_DESCRIPTOR *bif;
    LOOP *loop;
    CONTEXT *ctx;

    bool has_two() const { return bif->args.size() == 2 && tree->left->op == OP::COMMA; }
    NODE *&first() const { return tree->left->left; }
    NODE *&second() const { return tree->left->right; }
    bool holds(unsigned flag) const { return (bif->holds.flags & flag) != 0; }
    bool is(const char *name) const { return bif->name == name; }
    // One of the arguments is the value; the rest is erased.
    NODE *becomes(NODE *&argument) const {
        TYPE *wanted = tree->type->type_qualified(), *type = BIF_type(bif->result);
        NODE *value = coerce_to_type(type, take_from_tree(&argument, tree));
        return simp_tree(coerce_to_type(wanted, value), loop, ctx);
    }
};

// All arguments are constants.
NODE *constant_arguments(const INTRINSIC_CALL &call) {
    if (!call.bif->fold || !call.tree->type->is_int_or_enum()) return nullptr;
    std::vector<INT65> values;
    for (std::size_t n = 0; n < call.bif->args.size(); ++n) {
        const NODE *arg = arg_list_lookup(call.tree->left, static_cast<int>(n));
        if (!is_ICON(arg)) return nullptr;
        values.push_back(constant_as(arg, BIF_type(call.bif->args[n])));
    }
    NODE *icon = make_ICON(call.bif->fold(values.data()), call.tree->type);
    icon->scope = call.tree->scope;
    erase_tree(call.tree);
    return icon;
}

// The constant stands on the right.
NODE *constant_to_the_right(const INTRINSIC_CALL &call) {
    if (!call.has_two() || !call.holds(HOLDS_commutes_01) || !is_ICON(call.first()) ||
        is_ICON(call.second()))
        return nullptr;
    std::swap(call.first(), call.second());
    return simp_node(call.tree, call.loop, call.ctx);
}

bool is_limit(const INTRINSIC_CALL &call) {
    return call.has_two() && call.holds(HOLDS_proper_minval | HOLDS_proper_maxval);
}

NODE *limit_of_equals(const INTRINSIC_CALL &call) {
    if (!is_limit(call) || !trees_are_congruent(call.first(), call.second())) return nullptr;
    return call.becomes(call.first());
}

// The least of (the least of x and 3) and 5.
NODE *limit_of_limit(const INTRINSIC_CALL &call) {
    if (!is_limit(call) || !is_ICON(call.second())) return nullptr;
    NODE *inner = call.first();
    if (inner->op != OP::ICALL || find_BIF_descriptor_for_call(inner) != call.bif ||
        !equiv_mtypes(inner->type, BIF_type(call.bif->result)) || inner->left->op != OP::COMMA ||
        !is_ICON(inner->left->right))
        return nullptr;
    TYPE *type = BIF_type(call.bif->result);
    const INT65 constants[] = {constant_as(inner->left->right, type),
                               constant_as(call.second(), type)};
    inner->left->right->type = type;
    inner->left->right->u.lval = call.bif->fold(constants);
    TYPE *wanted = call.tree->type->type_qualified();
    inner = take_from_tree(&call.first(), call.tree);
    inner = simp_node(inner, call.loop, call.ctx);
    return simp_node(coerce_to_type(wanted, inner), call.loop, call.ctx);
}

// A limit beyond all values of x, and one before them.
NODE *limit_out_of_range(const INTRINSIC_CALL &call) {
    if (!is_limit(call)) return nullptr;
    TYPE *type = BIF_type(call.bif->result);
    INT65 lo[2], hi[2];
    for (const int n : {0, 1}) {
        const NODE *arg = n ? call.second() : call.first();
        if (!arg->type->is_int_or_enum() || !value_fits_in_type(arg, type, call.loop, call.ctx))
            return nullptr;
        find_value_range(arg, &lo[n], &hi[n], call.loop, call.ctx);
    }
    const int less = hi[0] <= lo[1] ? 0 : hi[1] <= lo[0] ? 1 : -1;
    if (less < 0) return nullptr;
    const bool takes_second = (less == 1) == call.holds(HOLDS_proper_minval);
    if (tree_has_side_effects(takes_second ? call.first() : call.second())) return nullptr;
    return call.becomes(takes_second ? call.second() : call.first());
}

// x + 0, x - 0, x << 0.
NODE *neutral_argument(const INTRINSIC_CALL &call) {
    if (!call.has_two() || !is_ICON(call.second()) || !icon_value(call.second()).is_zero())
        return nullptr;
    for (const char *name : {"_sadd", "_ssub", "_ssub2", "_sshl"})
        if (call.is(name)) return call.becomes(call.first());
    return nullptr;
}

// A sum or difference that cannot leave the type needs no saturation.
NODE *sum_in_range(const INTRINSIC_CALL &call) {
    if (!call.has_two() || (!call.is("_sadd") && !call.is("_ssub"))) return nullptr;
    TYPE *type = BIF_type(call.bif->result);
    for (const NODE *arg : {call.first(), call.second()})
        if (!equiv_mtypes(arg->type, type)) return nullptr;
    NODE sum; // for the question only
    sum.op = call.is("_sadd") ? OP::PLUS : OP::MINUS;
    sum.type = type;
    sum.left = call.first();
    sum.right = call.second();
    if (expr_sum_may_overflow(&sum, call.loop, call.ctx)) return nullptr;
    NODE *args = call.tree->left;
    TYPE *wanted = call.tree->type->type_qualified();
    NODE *result = maketree(sum.op, args->left, args->right, type, call.tree->scope);
    erase_node(args);
    erase_node(call.tree);
    result = simp_node(result, call.loop, call.ctx);
    return simp_node(coerce_to_type(wanted, result), call.loop, call.ctx);
}

// The same of a shift to the left, which is a product.
NODE *shift_in_range(const INTRINSIC_CALL &call) {
    if (!call.has_two() || !call.is("_sshl") || !is_ICON(call.second())) return nullptr;
    TYPE *type = BIF_type(call.bif->result);
    const INT65 count = icon_value(call.second()) & INT65(type->size() - 1);
    INT65 lo, hi;
    if (!value_fits_in_type(call.first(), type, call.loop, call.ctx)) return nullptr;
    find_value_range(call.first(), &lo, &hi, call.loop, call.ctx);
    if (!value_fits_in_type(lo << count, type) || !value_fits_in_type(hi << count, type))
        return nullptr;
    TYPE *wanted = call.tree->type->type_qualified();
    NODE *args = call.tree->left, *value = args->left;
    erase_tree(args->right);
    erase_node(args);
    erase_node(call.tree);
    value = simp_node(coerce_to_type(type, value), call.loop, call.ctx);
    NODE *shift = maketree(OP::SLL, value, make_ICON(count, tp->int_type()), type, value->scope);
    shift = simp_node(shift, call.loop, call.ctx);
    return simp_node(coerce_to_type(wanted, shift), call.loop, call.ctx);
}

// A saturated value saturates again: the counts are added, and beyond the last bit one is as good
// as another.
NODE *shift_of_shift(const INTRINSIC_CALL &call) {
    if (!call.has_two() || !call.is("_sshl") || !is_ICON(call.second())) return nullptr;
    NODE *inner = call.first();
    if (inner->op != OP::ICALL || find_BIF_descriptor_for_call(inner) != call.bif ||
        !equiv_mtypes(inner->type, BIF_type(call.bif->result)) || inner->left->op != OP::COMMA ||
        !is_ICON(inner->left->right))
        return nullptr;
    const INT65 last(inner->type->size() - 1);
    const INT65 count =
        (icon_value(inner->left->right) & last) + (icon_value(call.second()) & last);
    set_right(call.tree->left, count < last ? count : last, tp->int_type());
    NODE *args = inner->left;
    call.first() = args->left;
    erase_tree(args->right);
    erase_node(args);
    erase_node(inner);
    return simp_node(call.tree, call.loop, call.ctx);
}

constexpr NODE *(*rules[])(const INTRINSIC_CALL &) = {
    constant_arguments, constant_to_the_right, limit_of_equals, limit_of_limit, limit_out_of_range,
    neutral_argument,   sum_in_range,          shift_in_range,  shift_of_shift,
};
} // namespace

NODE *simp_intrinsic(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    const BIF_DESCRIPTOR *bif = find_BIF_descriptor_for_call(tree);
    if (bif && !bif->any_args && (bif->flags & BIF_pure) != 0)
        for (const auto rule : rules)
            if (NODE *result = rule({tree, bif, loop, ctx})) return result;
    return fix_pack_types(simp_call(tree, loop, ctx));
}
