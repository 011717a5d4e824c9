// Conversions: SCONV between numbers, PCONV to and from pointers.
//
// Normal form: of a chain of conversions only those are left that change the value; a change of
// sign at one width stands outside the operators that do not look at the sign; what is narrowed
// below an operator is narrowed there only if that takes a conversion away; a zero-extension of low
// bits is ANDB with their mask.
#include "OPT5/rep/type_pkg.h"
#include "OPT5/scalar/simp_facts.h"

#include <algorithm>

namespace {
constexpr int max_depth = 7;

bool is_int(const TYPE *type) {
    return value_shape(type).bits != 0 && !type->is_ptr();
}

// Conversions between these two never do anything.
bool are_one_type(TYPE *a, TYPE *b) {
    a = essential_type(a);
    b = essential_type(b);
    if (a == b) return true;
    return is_plain_int(a) && is_plain_int(b) && a->size() == b->size() &&
           a->is_signed() == b->is_signed();
}

NODE *cast(TYPE *type, NODE *tree, LOOP *loop, CONTEXT *ctx) {
    const int op = type->is_ptr() || tree->type->is_ptr() ? OP::PCONV : OP::SCONV;
    return simp_node(maketree(op, tree, nullptr, type, tree->scope), loop, ctx);
}

// --- rules of both

NODE *to_same_type(NODE *tree, LOOP *, CONTEXT *) {
    return are_one_type(tree->type, tree->left->type) ? skip_node(tree) : nullptr;
}

NODE *of_constant(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    return is_ICON(tree->left) || is_FCON(tree->left) ? fold_node(tree, loop, ctx) : nullptr;
}

// The operator follows from the types, which a rule may have changed.
NODE *of_other_kind(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    const bool pointer = tree->type->is_ptr() || tree->left->type->is_ptr();
    if (pointer == (tree->op == OP::PCONV)) return nullptr;
    tree->op = pointer ? OP::PCONV : OP::SCONV;
    return simp_node(tree, loop, ctx);
}

// --- chains of SCONV

// A float holds all integers up to this magnitude.
constexpr std::int64_t float_holds = std::int64_t{1} << 24;

bool float_holds_value(const NODE *tree, LOOP *loop, CONTEXT *ctx) {
    const FACTS f = facts_of(tree, loop, ctx);
    return f.shape.bits != 0 && f.lo >= -float_holds && f.hi <= float_holds;
}

// Whether to(via(x)) is to(x). None of the three is the one before it.
bool goes_straight(const TYPE *to, const TYPE *via, const NODE *x, LOOP *loop, CONTEXT *ctx) {
    const TYPE *from = x->type;
    if (to->is_bool()) // whether it is zero
        return is_int(from) &&
               (is_plain_int(via) ? via->size() >= from->size() : via->is_floating());
    if (via->is_bool()) return value_fits_in_type(x, via, loop, ctx);
    if (via->is_floating()) return is_int(from) && float_holds_value(x, loop, ctx);
    if (!is_plain_int(via)) return false;
    if (is_plain_int(to) && to->size() <= via->size()) return is_int(from) || from->is_floating();
    return is_int(from) && value_fits_in_type(x, via, loop, ctx);
}

NODE *of_cast_without_effect(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *inner = tree->left;
    if (inner->op != OP::SCONV || !goes_straight(tree->type, inner->type, inner->left, loop, ctx))
        return nullptr;
    tree->left = skip_node(inner);
    return simp_node(tree, loop, ctx);
}

// T((bool)x), x an integer: T(x != 0), which other rules know more of.
NODE *of_bool(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *inner = tree->left;
    if (inner->op != OP::SCONV || !inner->type->is_bool() || !is_plain_int(inner->left->type))
        return nullptr;
    inner->op = OP::NEQ;
    inner->type = tp->int_type();
    inner->right = make_ICON(0, inner->left->type->type_qualified());
    tree->left = simp_node(inner, loop, ctx);
    return simp_node(tree, loop, ctx);
}

// int((ushort)x) becomes x & 0xffff.
NODE *of_unsigned_narrowing(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *inner = tree->left;
    if (inner->op != OP::SCONV || !is_plain_int(tree->type) || !is_plain_int(inner->type) ||
        !is_plain_int(inner->left->type))
        return nullptr;
    const VALUE_SHAPE via = value_shape(inner->type);
    if (via.is_signed || via.bits >= tree->type->size() || via.bits >= inner->left->type->size())
        return nullptr;
    tree->left = cast(tree->type, skip_node(inner), loop, ctx);
    tree->op = OP::ANDB;
    tree->right = make_ICON(INT65(via.mask()), tree->type);
    return simp_node(tree, loop, ctx);
}

// T((int)p) is a conversion of the pointer alone.
NODE *of_pointer_as_int(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *inner = tree->left;
    if (inner->op != OP::PCONV || !inner->left->type->is_ptr() || !is_plain_int(tree->type) ||
        !is_plain_int(inner->type))
        return nullptr;
    if (tree->type->size() > inner->type->size() &&
        inner->type->size() <= inner->left->type->size())
        return nullptr;
    tree->left = skip_node(inner);
    return simp_node(tree, loop, ctx);
}

NODE *to_bool_of_known(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    if (!tree->type->is_bool()) return nullptr;
    const FACTS f = facts_of(tree, loop, ctx);
    return f.is_constant() ? becomes_constant(tree, INT65(f.lo), loop, ctx) : nullptr;
}

// --- operators below a narrowing cast

bool narrows(const TYPE *to, const TYPE *from) {
    return is_plain_int(to) && is_plain_int(from) && to->size() < from->size();
}

// Low bits of the result follow from low bits of the operands.
bool keeps_low_bits_alone(const NODE *tree) {
    switch (tree->op) {
    case OP::PLUS:
    case OP::MINUS:
    case OP::UMINUS:
    case OP::MULT:
    case OP::ANDB:
    case OP::ORB:
    case OP::XORB:
    case OP::NOTB:
    case OP::SLL: return true;
    default: return false;
    }
}

// T(op((int)y, C)) with an operator that looks at all bits, where the cast below leaves y's value
// alone and y has T's size: the operator in y's type gives the same.
bool can_be_done_below(const NODE *tree, const TYPE *to) {
    if (tree->op != OP::SRL && tree->op != OP::DIV && tree->op != OP::MOD) return false;
    const NODE *left = tree->left, *right = tree->right;
    if (left->op != OP::SCONV || !is_plain_int(left->left->type) || !is_ICON(right)) return false;
    const TYPE *of_y = left->left->type;
    if (of_y->size() != to->size() || !is_plain_int(left->type) ||
        left->type->size() != tree->type->size() ||
        !value_fits_in_type(left->left, left->type, nullptr, nullptr))
        return false;
    const INT65 c = icon_value(right);
    if (tree->op == OP::SRL) return !c.is_negative();
    // The one quotient that wraps differently, and the sign of the division.
    return left->type->is_signed() == tree->type->is_signed() && value_fits_in_type(c, of_y) &&
           c != INT65(-1) && (tree->type->is_signed() || !of_y->is_signed());
}

// How many conversions the tree has more when its value is wanted in the narrower type, at best.
int cost_in_type(const NODE *tree, const TYPE *to, int depth) {
    constexpr int cast_of_result = 1;
    if (is_ICON(tree)) return 0;
    if (depth == 0 || !is_plain_int(tree->type)) return cast_of_result;
    if (tree->op == OP::SCONV) {
        const TYPE *from = tree->left->type;
        if (!is_int(from) && !from->is_floating()) return cast_of_result;
        return is_plain_int(from) && from->size() == to->size() ? -1 : 0;
    }
    if (tree->op == OP::QUEST && tree->right->op == OP::COLON) {
        const int a = cost_in_type(tree->right->left, to, depth - 1),
                  b = cost_in_type(tree->right->right, to, depth - 1);
        return std::max(a, b) <= 0 ? std::min(a, b) : cast_of_result;
    }
    if (can_be_done_below(tree, to)) return -1;
    if (!keeps_low_bits_alone(tree)) return cast_of_result;
    int cost = cost_in_type(tree->left, to, depth - 1);
    if (tree->right && tree->op != OP::SLL) cost += cost_in_type(tree->right, to, depth - 1);
    return std::min(cost, cast_of_result);
}

NODE *in_type(NODE *tree, TYPE *to, int depth, LOOP *loop, CONTEXT *ctx);

NODE *operands_in_type(NODE *tree, TYPE *to, int depth, LOOP *loop, CONTEXT *ctx) {
    const bool is_QUEST = tree->op == OP::QUEST;
    NODE *of = is_QUEST ? tree->right : tree;
    of->left = in_type(of->left, to, depth - 1, loop, ctx);
    if (of->right && tree->op != OP::SLL) of->right = in_type(of->right, to, depth - 1, loop, ctx);
    of->type = tree->type = to;
    return simp_node(tree, loop, ctx);
}

// The tree as cost_in_type has counted it.
NODE *in_type(NODE *tree, TYPE *to, int depth, LOOP *loop, CONTEXT *ctx) {
    const bool below = cost_in_type(tree, to, depth) <= 0;
    if (is_ICON(tree) || tree->op == OP::SCONV || !below) return cast(to, tree, loop, ctx);
    if (can_be_done_below(tree, to)) {
        TYPE *of_y = tree->left->left->type->type_qualified()->normalized();
        tree->left = skip_node(tree->left);
        if (tree->op != OP::SRL) {
            NODE *icon = tree->right;
            tree->right = make_ICON(icon_value(icon), of_y);
            erase_node(icon);
        }
        tree->type = of_y;
        return cast(to, simp_node(tree, loop, ctx), loop, ctx);
    }
    return operands_in_type(tree, to, depth, loop, ctx);
}

NODE *into_operands(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *below = tree->left;
    if (!narrows(tree->type, below->type) || !below->left || below->op == OP::SCONV ||
        cost_in_type(below, tree->type, max_depth) > 0)
        return nullptr;
    TYPE *to = tree->type;
    erase_node(tree);
    return in_type(below, to, max_depth, loop, ctx);
}

// Bits that the cast cuts off need not be computed.
NODE *narrowing_as_mask(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    const bool to_address = tree->type->is_ptr() && is_plain_int(tree->left->type);
    if (!to_address && !narrows(tree->type, tree->left->type)) return nullptr;
    bool changed = false;
    tree->left = drop_undemanded(tree->left, value_shape(tree->type).mask(), &changed);
    return changed ? simp_node(tree, loop, ctx) : nullptr;
}

// A choice whose arms take the cast in for nothing.
bool takes_cast_in(const NODE *arm, TYPE *to, LOOP *loop, CONTEXT *ctx) {
    if (is_ICON(arm)) return true;
    return arm->op == OP::SCONV && goes_straight(to, arm->type, arm->left, loop, ctx);
}

NODE *of_QUEST(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *choice = tree->left, *arms = choice->right;
    if (choice->op != OP::QUEST || arms->op != OP::COLON || !is_int(tree->type) ||
        !are_one_type(choice->type, arms->left->type) ||
        !are_one_type(choice->type, arms->right->type) ||
        !takes_cast_in(arms->left, tree->type, loop, ctx) ||
        !takes_cast_in(arms->right, tree->type, loop, ctx))
        return nullptr;
    TYPE *to = tree->type;
    erase_node(tree);
    arms->left = cast(to, arms->left, loop, ctx);
    arms->right = cast(to, arms->right, loop, ctx);
    choice->type = arms->type = to;
    return simp_node(choice, loop, ctx);
}

// --- PCONV

NODE *of_pointer_cast(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *inner = tree->left;
    if (inner->op != OP::PCONV || !tree->type->is_ptr()) return nullptr;
    // From any pointer or integer, as long as no bit of the address got lost.
    if (inner->type->size() < tree->type->size()) return nullptr;
    tree->left = skip_node(inner);
    return simp_node(tree, loop, ctx);
}

NODE *of_int_cast(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *inner = tree->left;
    if (inner->op != OP::SCONV || !tree->type->is_ptr() || !is_plain_int(inner->type) ||
        !is_int(inner->left->type) || inner->type->size() < tree->type->size())
        return nullptr;
    tree->left = skip_node(inner);
    return simp_node(tree, loop, ctx);
}

// T((pointer)x) keeps the bits of the address.
NODE *of_int_as_pointer(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *inner = tree->left;
    if (inner->op != OP::PCONV || !is_plain_int(tree->type) || !is_plain_int(inner->left->type))
        return nullptr;
    TYPE *address = wide_enough_int_type(inner->type->size(), false);
    if (!address || address->size() != inner->type->size()) return nullptr;
    tree->op = OP::SCONV;
    tree->left = cast(address, skip_node(inner), loop, ctx);
    return simp_node(tree, loop, ctx);
}

constexpr SIMP_RULE SCONV_rules[] = {
    of_other_kind,          to_same_type,     of_constant,
    of_cast_without_effect, of_bool,          of_pointer_as_int,
    of_unsigned_narrowing,  to_bool_of_known, into_operands,
    narrowing_as_mask,      of_QUEST,
};

constexpr SIMP_RULE PCONV_rules[] = {
    of_other_kind, to_same_type,      of_constant,       of_pointer_cast,
    of_int_cast,   of_int_as_pointer, narrowing_as_mask,
};
} // namespace

NODE *simp_SCONV(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *result = apply_first(SCONV_rules, tree, loop, ctx);
    return result ? result : tree;
}

NODE *simp_PCONV(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *result = apply_first(PCONV_rules, tree, loop, ctx);
    return result ? result : tree;
}

NODE *becomes_left(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    if (tree->right) tree->right = erase_tree(tree->right);
    return simp_node(turn_into_cast(tree), loop, ctx);
}

NODE *becomes_constant(NODE *tree, const INT65 &value, LOOP *loop, CONTEXT *ctx) {
    NODE *result = make_ICON(value, tree->type), *left = tree->left, *right = tree->right;
    result->scope = tree->scope;
    erase_node(tree);
    if (right) result = with_effects(right, result, loop, ctx);
    return left ? with_effects(left, result, loop, ctx) : result;
}
