// Sequences and statements: COMMAOP, SWITCH, promises, copies of memory; and operators of the few
// types that have one rule or two.
#include "OPT5/driver/global_flags.h"
#include "OPT5/rep/symbol.h"
#include "OPT5/rep/type_pkg.h"
#include "OPT5/scalar/simp_rules.h"

namespace {
// --- COMMAOP

// The named pointer that (p = p + C) or (p += C) steps, and the constant; null for anything else.
const NODE *stepped_pointer(const NODE *effect, INT65 *constant) {
    const NODE *pointer = effect->left, *amount = effect->right;
    if (effect->op == OP::ASG) {
        if (amount->op != OP::PLUS || !trees_are_congruent(amount->left, pointer)) return nullptr;
        amount = amount->right;
    } else if (effect->op != OP::PLUSASG) {
        return nullptr;
    }
    if (pointer->op != OP::NAME || !pointer->type->is_ptr() || !is_ICON(amount)) return nullptr;
    if (node_is_volatile_access(pointer)) return nullptr;
    *constant = sign_extend_by_type_size(constant_as(amount, pointer->type), pointer->type);
    return pointer;
}

// (p = p + C), p - C is p++ by C, or p-- by -C. Gives the step, and no change otherwise.
NODE *step_after_use(NODE *effect, NODE *value) {
    INT65 constant = 0;
    const NODE *pointer = stepped_pointer(effect, &constant);
    if (!pointer || value->op != OP::PLUS || !is_ICON(value->right)) return nullptr;
    NODE *name = value->left;
    if (name->op != OP::NAME || name->u.name.sym != pointer->u.name.sym ||
        !equiv_mtypes(value->type, pointer->type))
        return nullptr;
    const INT65 back = constant_as(value->right, value->type);
    if (!truncate_to_type(constant + back, value->type).is_zero() || constant.is_zero())
        return nullptr;
    NODE *amount = make_ICON(constant.is_negative() ? -constant : constant, tp->int_type());
    const int op = constant.is_negative() ? OP::MINMIN : OP::PLUSPLUS;
    NODE *step = maketree(op, name, amount, value->type, value->scope);
    erase_tree(effect);
    erase_node(value->right);
    erase_node(value);
    return step;
}

// (a, ((b, c), d)) is (((a, b), c), d): what comes first goes to the bottom of the tower.
NODE *put_in_front(NODE *tower, NODE *effects) {
    NODE *bottom = tower;
    while (bottom->left->op == OP::COMMAOP)
        bottom = bottom->left;
    NODE *both = mk_COMMAOP(effects, bottom->left);
    both->scope = bottom->scope;
    bottom->left = both;
    return tower;
}

NODE *leaning_left(NODE *tree) {
    if (tree->op != OP::COMMAOP) return tree;
    tree->left = leaning_left(tree->left);
    tree->right = leaning_left(tree->right);
    if (tree->right->op != OP::COMMAOP) return tree;
    NODE *first = tree->left, *tower = tree->right;
    erase_node(tree);
    return put_in_front(tower, first);
}

// The effects in front, which are in normal form but for the last one, whose value was used.
NODE *effects_in_front(NODE *tree) {
    if (tree->op != OP::COMMAOP) return effects_of(tree);
    NODE *before = tree->left, *last = effects_of(tree->right);
    if (!last || last->op == OP::COMMAOP) {
        erase_node(tree);
        return last ? put_in_front(last, before) : before;
    }
    tree->right = last;
    tree->type = last->type;
    return tree;
}

// --- SWITCH

template <class Visit> bool all_cases(NODE *cases, Visit visit) {
    for (; cases->op == OP::COMMA; cases = cases->left)
        if (cases->right->op == OP::CASE && !visit(cases->right)) return false;
    return cases->op != OP::CASE || visit(cases);
}

void set_cases(NODE *tree, TYPE *type, INT65 (*moved)(const INT65 &value, const INT65 &by),
               const INT65 &by) {
    all_cases(tree->right, [&](NODE *case_node) {
        NODE *label_value = case_node->left;
        const INT65 value = moved(constant_as(label_value, tree->left->type), by);
        case_node->left = make_ICON(value, type);
        case_node->left->scope = label_value->scope;
        erase_node(label_value);
        return true;
    });
}

INT65 same_value(const INT65 &value, const INT65 &) {
    return value;
}
INT65 less(const INT65 &value, const INT65 &by) {
    return value - by;
}
INT65 subtracted_from(const INT65 &value, const INT65 &from) {
    return from - value;
}
INT65 with_bits_changed(const INT65 &value, const INT65 &bits) {
    return value ^ bits;
}

// switch ((T)x): on x itself, when no case is a value that x cannot have.
bool switch_on_operand_of_cast(NODE *tree) {
    NODE *cast = tree->left;
    if (cast->op != OP::SCONV || !is_modular_type(cast->type)) return false;
    TYPE *type = cast->left->type->type_qualified();
    if (!type->is_integer() || type->is_bool() || type->size() > cast->type->size()) return false;
    const bool fit = all_cases(tree->right, [&](const NODE *case_node) {
        const INT65 value = constant_as(case_node->left, cast->type);
        return truncate_to_type(truncate_to_type(value, type), cast->type) == value;
    });
    if (!fit) return false;
    set_cases(tree, type, same_value, 0);
    tree->left = take_operand(cast);
    return true;
}

// switch (x + C), switch (C - x), switch (x ^ C): the cases move instead.
bool switch_on_other_operand(NODE *tree) {
    NODE *value = tree->left;
    TYPE *type = value->type;
    if (!value->right || !is_modular_type(type) || type->is_ptr()) return false;
    const bool reversed = value->op == OP::MINUS && is_ICON(value->left);
    const bool moves = (value->op == OP::PLUS || value->op == OP::XORB) && is_ICON(value->right);
    if (!reversed && !moves) return false;
    NODE *constant = reversed ? value->left : value->right;
    NODE *rest = reversed ? value->right : value->left;
    if (!equiv_mtypes(rest->type->type_qualified(), type)) return false;
    set_cases(tree, type,
              reversed                ? subtracted_from
              : value->op == OP::PLUS ? less
                                      : with_bits_changed,
              constant_as(constant, type));
    erase_node(constant);
    erase_node(value);
    tree->left = rest;
    return true;
}

// --- MEMCPY

NODE *address_of_object(NODE *address) {
    while (address->op == OP::PCONV && address->left->type->is_ptr())
        address = address->left;
    return address->op == OP::UAND ? address->left : nullptr;
}

// A copy of one whole object to another of its type is an assignment.
NODE *copy_as_assignment(NODE *to, NODE *from, const INT65 &units) {
    NODE *target = address_of_object(to), *source = address_of_object(from);
    if (!target || !source) return nullptr;
    TYPE *type = target->type->type_qualified();
    if (!equiv_mtypes(type, source->type->type_qualified())) return nullptr;
    if (!type->is_scalar() && !type->is_csu()) return nullptr;
    if (units != INT65(type->size_in_bytes()) || type->is_bool()) return nullptr;
    if (tree_has_side_effects(target) || tree_has_side_effects(source)) return nullptr;
    return mk_ASG(copy_tree(target, true), copy_tree(source, true));
}

// --- calls

// Whether the cast is one of a function's address and the function itself could be called.
bool function_agrees(const NODE *call, const NODE *cast) {
    const NODE *address = cast->left;
    const TYPE *expected = cast->type->type_pointed_to();
    if (address->op != OP::UAND || address->left->op != OP::NAME || !expected) return false;
    const TYPE *function = address->left->u.name.sym->type->stds();
    expected = expected->stds();
    if (!function->is_func() || !expected->is_func() || function->is_vararg() ||
        expected->is_vararg() || function->sub.func.cc_kind != expected->sub.func.cc_kind ||
        !equiv_mtypes(function->return_type(), call->type))
        return false;
    const int count = call->op == OP::CALL ? arg_list_count(call->right) : 0;
    for (int n = 0; n < count; ++n) {
        TYPE *wanted = type_of_nth_parameter(function, n);
        if (!wanted || !equiv_mtypes(wanted, arg_list_lookup(call->right, n)->type)) return false;
    }
    return !type_of_nth_parameter(function, count);
}

// --- complex numbers

// (re, im) of which one part is asked for.
NODE *part_of_COMPLEX(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *both = tree->left;
    if (both->op != OP::COMPLEX) return tree;
    NODE *real = both->left, *imaginary = both->right;
    const bool wants_real = tree->op == OP::REAL;
    if (wants_real && tree_has_side_effects(imaginary)) return tree;
    erase_node(both);
    erase_node(tree);
    if (!wants_real) return with_effects(real, imaginary, loop, ctx);
    erase_tree(imaginary);
    return real;
}
} // namespace

NODE *effects_of(NODE *tree) {
    NODE *effects = peel_for_effect(tree);
    return effects ? leaning_left(effects) : nullptr;
}

NODE *simp_COMMAOP(NODE *tree, LOOP *, CONTEXT *) {
    NODE *effects = effects_in_front(tree->left), *value = tree->right;
    if (!effects || value->op == OP::COMMAOP) {
        erase_node(tree);
        return effects ? put_in_front(value, effects) : value;
    }
    NODE *before = effects->op == OP::COMMAOP ? effects->left : nullptr;
    if (NODE *step = step_after_use(before ? effects->right : effects, value)) {
        erase_node(tree);
        if (!before) return step;
        effects->right = step;
        effects->type = step->type;
        return effects;
    }
    tree->left = effects;
    tree->type = value->type;
    return tree;
}

NODE *simp_SWITCH(NODE *tree, LOOP *, CONTEXT *) {
    while (switch_on_operand_of_cast(tree) || switch_on_other_operand(tree))
        ;
    return tree;
}

// ((T *)&f)(...) is f(...) where f gives and takes what the call expects.
NODE *simp_call(NODE *tree, LOOP *, CONTEXT *) {
    if (tree->op != OP::CALL && tree->op != OP::UCALL) return tree;
    while (tree->left->op == OP::PCONV && function_agrees(tree, tree->left))
        tree->left = take_operand(tree->left);
    return tree;
}

NODE *fix_pack_types(NODE *tree) {
    return tree;
}

// Casts of addresses: the last one counts.
NODE *simp_ACONV(NODE *tree, LOOP *, CONTEXT *) {
    while (tree->left->op == OP::ACONV && tree->left->type->size() >= tree->type->size())
        tree->left = take_operand(tree->left);
    return equiv_mtypes(tree->type, tree->left->type) ? take_operand(tree) : tree;
}

// A promise that holds anyway promises nothing; one that cannot hold says that control never gets
// here, and stays.
NODE *simp_ASSERT(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    if (tree->right) return tree;
    tree->left = simp_for_control(tree->left, loop, ctx);
    if (!is_ICON(tree->left) || icon_value(tree->left).is_zero()) return tree;
    return take_operand(tree);
}

NODE *simp_MEMCPY(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *to = arg_list_lookup(tree->left, 0), *from = arg_list_lookup(tree->left, 1),
         *units = arg_list_lookup(tree->left, 2);
    if (!units || arg_list_count(tree->left) != 3 || !is_ICON(units)) return tree;
    const bool copies_nothing = icon_value(units).is_zero() && !tree_has_side_effects(from);
    NODE *assignment = copies_nothing || trees_are_congruent(to, from)
                           ? nullptr
                           : copy_as_assignment(to, from, icon_value(units));
    if (!assignment && !copies_nothing && !trees_are_congruent(to, from)) return tree;
    NODE *value = coerce_to_type(tree->type, copy_tree(to, true));
    erase_tree(tree);
    value = simp_tree(value, loop, ctx);
    return assignment ? with_effects(simp_node(assignment, loop, ctx), value, loop, ctx) : value;
}

NODE *simp_complexop(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    if (tree->op != OP::COMPLEX) return part_of_COMPLEX(tree, loop, ctx);
    NODE *real = tree->left, *imaginary = tree->right;
    if (real->op != OP::REAL || imaginary->op != OP::IMAG ||
        !trees_are_congruent(real->left, imaginary->left) ||
        !equiv_mtypes(real->left->type, tree->type))
        return tree;
    erase_tree(imaginary);
    erase_node(tree);
    return take_operand(real);
}

// x to a constant power.
NODE *simp_EXPT(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    if (!is_ICON(tree->right)) return tree;
    const INT65 power = icon_value(tree->right);
    const bool whole = is_modular_type(tree->type);
    if (is_ICON(tree->left) && whole && !power.is_negative()) {
        const INT65 value = ulong_expt(constant_as(tree->left, tree->type), power);
        TYPE *type = tree->type;
        erase_tree(tree);
        return make_ICON(value, type);
    }
    if (power == INT65(0) && whole) {
        NODE *base = tree->left, *one = make_ICON(1, tree->type);
        erase_node(tree->right);
        erase_node(tree);
        return with_effects(base, one, loop, ctx);
    }
    if (power == INT65(1) || power == INT65(2)) {
        tree->right = erase_node(tree->right);
        if (power == INT65(1)) return simp_node(turn_into_cast(tree), loop, ctx);
        tree->op = OP::SQR;
        return simp_node(tree, loop, ctx);
    }
    return tree;
}

// Vectors are lowered elsewhere.
NODE *simp_vector_node(NODE *tree, LOOP *, CONTEXT *) {
    return tree;
}
