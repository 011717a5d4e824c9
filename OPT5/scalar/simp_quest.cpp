// c ? a : b.
//
// Besides what a known condition and equal arms make of it, a choice is replaced where an operator
// says the same without a jump: absolute values, least and greatest values, truth values, and arms
// that differ by a constant, or are 0, where the condition's 0 or 1 can be computed with.
#include "OPT5/builtins/bif.h"
#include "OPT5/rep/type_pkg.h"
#include "OPT5/scalar/simp_arcs.h"
#include "OPT5/scalar/simp_bool.h"
#include "OPT5/scalar/simp_known.h"
#include "OPT5/target/costs.h"

#include <utility>

namespace {
struct CHOICE {
    NODE *tree;
    LOOP *loop;
    CONTEXT *ctx;
    NODE *&condition() const { return tree->left; }
    NODE *&first() const { return tree->right->left; }
    NODE *&second() const { return tree->right->right; }
    NODE *simplify(NODE *node) const { return simp_node(node, loop, ctx); }
    // Takes part of the tree over and erases the rest.
    NODE *take(NODE *&part) const { return take_from_tree(&part, tree); }
    NODE *icon(const INT65 &value) const { return make_ICON(value, type()); }
    TYPE *type() const { return tree->type->type_qualified(); }
};

bool compares_integers(const NODE *condition) {
    return boolean_inv[condition->op] != OP::ILLOP && arc_width(condition->left->type) != 0;
}

NODE *as_type_of(const CHOICE &q, NODE *value) {
    return equiv_mtypes(value->type, q.tree->type)
               ? value
               : q.simplify(coerce_to_type(q.tree->type, value));
}

// A known condition.
NODE *known_condition(const CHOICE &q) {
    if (!is_ICON(q.condition())) return nullptr;
    TYPE *type = q.type();
    NODE *arm = q.take(icon_value(q.condition()).is_zero() ? q.second() : q.first());
    return simp_tree(coerce_to_type(type, arm), q.loop, q.ctx);
}

// c ? 1 : 0 and c ? 0 : 1.
NODE *truth_arms(const CHOICE &q) {
    if (!is_ICON(q.first()) || !is_ICON(q.second()) || !q.tree->type->is_int_or_enum())
        return nullptr;
    const INT65 a = icon_value(q.first()), b = icon_value(q.second());
    const bool straight = a == INT65(1) && b.is_zero(), inverted = a.is_zero() && b == INT65(1);
    if (!straight && !inverted) return nullptr;
    TYPE *type = q.type();
    NODE *condition = q.take(q.condition());
    NODE *value = straight ? make_boolean(condition) : mk_EXCLAIM(condition);
    return simp_tree(coerce_to_type(type, value), q.loop, q.ctx);
}

NODE *congruent_arms(const CHOICE &q) {
    if (!trees_are_congruent(q.first(), q.second())) return nullptr;
    TYPE *type = q.type();
    NODE *arm = q.second(), *condition = q.condition();
    erase_tree(q.first());
    erase_node(q.tree->right);
    erase_node(q.tree);
    return with_effects(condition, q.simplify(coerce_to_type(type, arm)), q.loop, q.ctx);
}

// x == 0 ? a : b is x ? b : a.
NODE *zero_condition(const CHOICE &q) {
    NODE *condition = q.condition();
    if (condition->op != OP::EQ || !is_ICON(condition->right) ||
        !icon_value(condition->right).is_zero())
        return nullptr;
    q.condition() = simp_for_control(take_from_tree(&condition->left, condition), q.loop, q.ctx);
    std::swap(q.first(), q.second());
    return q.simplify(q.tree);
}

// c ? (c ? a : b) : d, and the same below the second arm.
NODE *nested_condition(const CHOICE &q) {
    for (NODE **arm : {&q.first(), &q.second()}) {
        NODE *inner = *arm;
        if (inner->op != OP::QUEST || !bools_are_congruent(inner->left, q.condition())) continue;
        NODE *&chosen = arm == &q.first() ? inner->right->left : inner->right->right;
        *arm = as_type_of(q, take_from_tree(&chosen, inner));
        return q.simplify(q.tree);
    }
    return nullptr;
}

// c1 ? (c2 ? a : b) : b is (c1 && c2) ? a : b, and likewise with ||, where c2 costs no jump.
NODE *nested_choice(const CHOICE &q) {
    for (const bool in_first : {true, false}) {
        NODE *&arm = in_first ? q.first() : q.second(), *&other = in_first ? q.second() : q.first();
        if (arm->op != OP::QUEST) continue;
        NODE *&same = in_first ? arm->right->right : arm->right->left,
             *&kept = in_first ? arm->right->left : arm->right->right;
        if (!trees_are_congruent(same, other) || !can_be_evaluated_anyway(arm->left) ||
            cost_of_tree(arm->left) > cost_of_branch)
            continue;
        NODE *condition = arm->left;
        arm->left = make_ICON(INT65(0), tp->int_type());
        q.condition() = q.simplify(maketree(in_first ? OP::ANDAND : OP::OROR, q.condition(),
                                            condition, tp->int_type(), q.tree->scope));
        NODE *value = take_from_tree(&kept, arm);
        arm = as_type_of(q, value);
        return q.simplify(q.tree);
    }
    return nullptr;
}

// --- absolute values

bool is_negation_of(const NODE *negation, const NODE *x) {
    if (negation->op == OP::UMINUS && same_integer_value(negation->left, x)) return true;
    return negation->op == OP::MINUS && is_ICON(negation->left) &&
           icon_value(negation->left).is_zero() && same_integer_value(negation->right, x);
}

// x < 0 ? -x : x, and x < 1, x > 0, x > -1, with either order of the arms. At 0 both arms are
// equal.
NODE *absolute_value(const CHOICE &q) {
    NODE *c = q.condition();
    TYPE *type = q.tree->type;
    if (!type->is_int_or_enum() || !type->is_signed() || !is_ICON(c->right) ||
        !compares_integers(c) || !c->left->type->is_int_or_enum() || !c->left->type->is_signed())
        return nullptr;
    const INT65 limit = icon_value(c->right);
    const bool negative = c->op == OP::LT && (limit.is_zero() || limit == INT65(1));
    const bool positive = c->op == OP::GT && (limit.is_zero() || limit == INT65(-1));
    if (!negative && !positive) return nullptr;
    NODE *&of_negative = negative ? q.first() : q.second(),
         *&of_positive = negative ? q.second() : q.first();
    const bool plain =
        same_integer_value(of_positive, c->left) && is_negation_of(of_negative, c->left);
    const bool negated =
        same_integer_value(of_negative, c->left) && is_negation_of(of_positive, c->left);
    if (!plain && !negated) return nullptr;
    NODE *x = plain ? q.take(of_positive) : q.take(of_negative);
    if (!equiv_mtypes(x->type, type)) x = q.simplify(coerce_to_type(type, x));
    NODE *result = q.simplify(maketree(OP::ABS, x, nullptr, type->type_qualified(), x->scope));
    if (plain) return result;
    return q.simplify(maketree(OP::UMINUS, result, nullptr, type->type_qualified(), result->scope));
}

// --- least and greatest values

struct LIMIT_NAMES {
    std::uint32_t size; // bits; of the types up to this
    const char *names[4];
};

// By the first of the signed types that is as wide: minimum and maximum, signed and unsigned.
const char *limit_name(const TYPE *type, bool maximum, bool by_sign) {
    const LIMIT_NAMES rows[] = {
        {tp->int_type()->size(), {"MINU", "MAXU", "MIN", "MAX"}},
        {tp->basic_int(TYPE::LONG)->size(), {"LMINU", "LMAXU", "LMIN", "LMAX"}},
        {~0u, {"LLMINU", "LLMAXU", "LLMIN", "LLMAX"}},
    };
    for (const LIMIT_NAMES &row : rows)
        if (type->size() <= row.size) return row.names[by_sign * 2 + maximum];
    return nullptr;
}

const char *float_limit_name(const TYPE *type, bool maximum) {
    if (type->is_float()) return maximum ? "FMAX" : "FMIN";
    if (type->is_double()) return maximum ? "DMAX" : "DMIN";
    return maximum ? "LDMAX" : "LDMIN";
}

NODE *limit_call(const CHOICE &q, const char *intrinsic, TYPE *type, NODE *a, NODE *b) {
    LS *scope = q.tree->scope;
    TYPE *wanted = q.type();
    a = q.simplify(coerce_to_type(type, a));
    b = q.simplify(coerce_to_type(type, b));
    NODE *call = mk_ICALL(intrinsic, maketree(OP::COMMA, a, b, tp->int_type(), scope), type);
    call->scope = scope;
    erase_tree(q.tree);
    return q.simplify(coerce_to_type(wanted, q.simplify(call)));
}

// Takes the operands out of the condition.
NODE *limit_of_operands(const CHOICE &q, const char *intrinsic, TYPE *type, bool exchange) {
    NODE *c = q.condition();
    NODE *a = c->left, *b = c->right;
    c->left = make_ICON(INT65(0), tp->int_type());
    c->right = make_ICON(INT65(0), tp->int_type());
    return exchange ? limit_call(q, intrinsic, type, b, a) : limit_call(q, intrinsic, type, a, b);
}

bool is_less(int op) {
    return op == OP::LT || op == OP::LE || op == OP::ULT || op == OP::ULE;
}

// u < v ? u : v and its like. The comparison has strict forms of constants only, so that one of
// v - 1 or v + 1 may stand there: x > 4 ? x : 5 is the greater of x and 5, or of x and 4.
NODE *least_or_greatest(const CHOICE &q) {
    NODE *c = q.condition();
    if (!compares_integers(c) || c->op == OP::EQ || c->op == OP::NEQ ||
        !c->left->type->is_int_or_enum() || !c->right->type->is_int_or_enum() ||
        !q.tree->type->is_int_or_enum())
        return nullptr;
    const bool by_sign = c->op < OP::ULE;
    TYPE *type = combined_type(c->left, c->right);
    for (const NODE *side : {c->left, c->right})
        if (side->type->is_signed() != by_sign || side->type->is_bool()) return nullptr;
    if (type->is_signed() != by_sign && c->left->type->size() >= type->size()) return nullptr;
    if (q.tree->type->is_bool() || q.tree->type->size() < type->size()) return nullptr;

    const auto is_limit = [&](const NODE *arm) {
        if (same_integer_value(arm, c->right)) return true;
        if (!is_ICON(arm) || !is_ICON(c->right)) return false;
        const INT65 next = icon_value(c->right) + INT65(is_less(c->op) ? -1 : 1);
        return icon_value(arm) == next;
    };
    const bool straight = same_integer_value(q.first(), c->left) && is_limit(q.second());
    const bool inverted = same_integer_value(q.second(), c->left) && is_limit(q.first());
    if (!straight && !inverted) return nullptr;
    const bool maximum = is_less(c->op) != straight;
    if (is_ICON(c->right)) {
        NODE *limit = straight ? q.second() : q.first();
        c->right->u.lval = truncate_to_type(icon_value(limit), c->right->type);
    }
    return limit_of_operands(q, limit_name(type, maximum, type->is_signed()), type, false);
}

// Floats: only a < b ? a : b and a > b ? a : b, and what is the same with the operands exchanged.
NODE *least_or_greatest_float(const CHOICE &q) {
    NODE *c = q.condition();
    if ((c->op != OP::LT && c->op != OP::GT) || !c->left->type->is_floating() ||
        !equiv_mtypes(c->left->type, c->right->type) || !equiv_mtypes(c->left->type, q.tree->type))
        return nullptr;
    const bool straight =
        trees_are_congruent(q.first(), c->left) && trees_are_congruent(q.second(), c->right);
    const bool exchanged =
        trees_are_congruent(q.first(), c->right) && trees_are_congruent(q.second(), c->left);
    if (!straight && !exchanged) return nullptr;
    const bool maximum = (c->op == OP::GT) == straight;
    TYPE *type = combined_type(c->left, c->right);
    return limit_of_operands(q, float_limit_name(type, maximum), type, exchanged);
}

// --- arms that the condition's 0 or 1 can make

// The condition as 0 or 1 of the choice's type.
NODE *truth_of_condition(const CHOICE &q, NODE *condition) {
    return simp_tree(coerce_to_type(q.type(), make_boolean(condition)), q.loop, q.ctx);
}

bool has_word_type(const CHOICE &q) {
    return q.tree->type->is_int_or_enum() && !q.tree->type->is_bool() && arc_width(q.tree->type);
}

int cost_of_truth(const CHOICE &q) {
    const int test = returns_1_or_0(q.condition())        ? 0
                     : q.condition()->type->is_floating() ? cost_of_floating
                                                          : cost_of_compare;
    return test + (q.tree->type->size() != tp->int_type()->size() ? cost_of_conversion : 0);
}

// base + (c ? step : 0), for a step of 1 or -1. Without a base it is 0.
NODE *stepped(const CHOICE &q, NODE *base, const INT65 &step) {
    TYPE *type = q.type();
    LS *scope = q.tree->scope;
    NODE *truth = truth_of_condition(q, q.condition());
    q.condition() = make_ICON(INT65(0), tp->int_type());
    erase_tree(q.tree);
    const bool down = step.is_negative();
    if (base) return q.simplify(maketree(down ? OP::MINUS : OP::PLUS, base, truth, type, scope));
    return down ? q.simplify(maketree(OP::UMINUS, truth, nullptr, type, scope)) : truth;
}

bool is_step(const CHOICE &q, const INT65 &step) {
    return (step == INT65(1) || step == INT65(-1)) &&
           cost_of_truth(q) + cost_of_arithmetic < cost_of_branch;
}

// c ? 5 : 4 is c + 4.
NODE *constant_arms(const CHOICE &q) {
    if (!has_word_type(q) || !is_ICON(q.first()) || !is_ICON(q.second())) return nullptr;
    const INT65 a = icon_value(q.first()), b = icon_value(q.second());
    const INT65 step = truncate_to_type(a - b, q.tree->type);
    if (step.is_zero()) return nullptr;
    if (is_step(q, step)) return stepped(q, b.is_zero() ? nullptr : q.icon(b), step);
    // The other way round with the opposite condition.
    if (!is_step(q, -step) || !has_cheap_inverse(q.condition())) return nullptr;
    q.condition() = cheap_inverse(q.condition());
    return stepped(q, a.is_zero() ? nullptr : q.icon(a), truncate_to_type(-step, q.tree->type));
}

// c ? x + 1 : x is x + c.
NODE *arms_with_a_step(const CHOICE &q) {
    if (!has_word_type(q)) return nullptr;
    for (const bool in_first : {true, false}) {
        NODE *&sum = in_first ? q.first() : q.second(), *&x = in_first ? q.second() : q.first();
        if (sum->op != OP::PLUS || !is_ICON(sum->right) || !equiv_mtypes(sum->type, q.tree->type) ||
            !trees_are_congruent(sum->left, x) || !can_be_evaluated_anyway(x))
            continue;
        if (!in_first && !has_cheap_inverse(q.condition())) continue;
        const INT65 step = constant_as(sum->right, q.tree->type);
        if (!is_step(q, step)) continue;
        // The condition must not be what changes x.
        if (tree_has_side_effects(q.condition())) continue;
        if (!in_first) q.condition() = cheap_inverse(q.condition());
        NODE *base = x;
        x = make_ICON(INT65(0), tp->int_type());
        return stepped(q, base, step);
    }
    return nullptr;
}

// c ? x : 0 is x & -c.
NODE *arm_of_zero(const CHOICE &q) {
    if (!has_word_type(q)) return nullptr;
    for (const bool in_first : {true, false}) {
        NODE *&x = in_first ? q.first() : q.second(), *&zero = in_first ? q.second() : q.first();
        if (!is_ICON(zero) || !icon_value(zero).is_zero() || !equiv_mtypes(x->type, q.tree->type) ||
            !can_be_evaluated_anyway(x) || tree_has_side_effects(q.condition()))
            continue;
        if (!in_first && !has_cheap_inverse(q.condition())) continue;
        if (cost_of_tree(x) + cost_of_truth(q) + 2 * cost_of_arithmetic >= cost_of_branch) continue;
        if (!in_first) q.condition() = cheap_inverse(q.condition());
        NODE *value = x, *condition = q.condition();
        x = make_ICON(INT65(0), tp->int_type());
        q.condition() = make_ICON(INT65(0), tp->int_type());
        TYPE *type = q.type();
        LS *scope = q.tree->scope;
        NODE *mask = truth_of_condition(q, condition);
        erase_tree(q.tree);
        mask = q.simplify(maketree(OP::UMINUS, mask, nullptr, type, scope));
        return q.simplify(maketree(OP::ANDB, mask, value, type, scope));
    }
    return nullptr;
}

// c ? b : 0 and c ? 1 : b of truth values.
NODE *truth_value_arm(const CHOICE &q) {
    if (!q.tree->type->is_int()) return nullptr;
    NODE *first = q.first(), *second = q.second();
    const auto is = [](const NODE *arm, int value) {
        return is_ICON(arm) && icon_value(arm) == INT65(value);
    };
    const bool conjunction = is(second, 0) && returns_1_or_0(first),
               disjunction = is(first, 1) && returns_1_or_0(second);
    if (!conjunction && !disjunction) return nullptr;
    NODE *condition = q.condition();
    NODE *&arm = conjunction ? q.first() : q.second();
    NODE *truth = arm;
    arm = make_ICON(INT65(0), tp->int_type());
    q.condition() = make_ICON(INT65(0), tp->int_type());
    LS *scope = q.tree->scope;
    erase_tree(q.tree);
    return q.simplify(
        maketree(conjunction ? OP::ANDAND : OP::OROR, condition, truth, tp->int_type(), scope));
}

// Each arm with what the condition says of variables.
NODE *arms_under_condition(const CHOICE &q) {
    const bool first = simp_under_condition(q.first(), q.condition(), true, q.loop, q.ctx),
               second = simp_under_condition(q.second(), q.condition(), false, q.loop, q.ctx);
    return first || second ? q.simplify(q.tree) : nullptr;
}

constexpr NODE *(*rules[])(const CHOICE &) = {
    known_condition,  truth_arms,           congruent_arms,    zero_condition,
    nested_condition, absolute_value,       least_or_greatest, least_or_greatest_float,
    nested_choice,    truth_value_arm,      constant_arms,     arms_with_a_step,
    arm_of_zero,      arms_under_condition,
};
} // namespace

NODE *simp_QUEST(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    if (!tree->right || tree->right->op != OP::COLON) return tree;
    const CHOICE q{tree, loop, ctx};
    q.condition() = simp_for_control(q.condition(), loop, ctx);
    if (q.condition()->op == OP::COMMAOP) return simp_node(tree, loop, ctx); // which hoists it
    for (const auto rule : rules)
        if (NODE *result = rule(q)) return result;
    return tree;
}
