// Truth values: negation, conjunctions and disjunctions.
//
// A conjunction whose right operand is cheap and harmless is an ANDB of truth values, which costs a
// cycle instead of a jump; a disjunction is an ORB. Before that, the operands of the whole chain
// are compared with the new one: tests of one value with constants join as arcs (see simp_arcs.h),
// tests of several values with the same constant join as one test of their bits, and what a chain
// says already, or says the opposite of, decides. De Morgan's rules make one catalogue of both
// operators: `decides` is the value of an operand that ends the evaluation, false for ANDAND.
#include "OPT5/scalar/simp_bool.h"
#include "OPT5/scalar/simp_known.h"

#include "OPT5/builtins/bif.h"
#include "OPT5/rep/symbol.h"
#include "OPT5/rep/type_pkg.h"
#include "OPT5/scalar/simp_arcs.h"
#include "OPT5/target/costs.h"

#include <utility>
#include <vector>

bool returns_1_or_0(const NODE *tree) {
    for (;;) {
        if (boolean_result[tree->op]) return true;
        switch (tree->op) {
        case OP::ICON: return tree->u.lval.is_zero() || tree->u.lval == INT65(1);
        case OP::ANDB:
            if (returns_1_or_0(tree->right)) return true;
            break;
        case OP::ORB:
        case OP::XORB:
            if (!returns_1_or_0(tree->right)) return false;
            break;
        case OP::QUEST:
            if (!returns_1_or_0(tree->right->left)) return false;
            tree = tree->right->right;
            continue;
        case OP::COMMAOP: tree = tree->right; continue;
        case OP::SCONV:
            if (tree->type->is_bool() && !tree->left->type->is_bool()) return true;
            if (!tree->type->is_int_or_enum() || !tree->left->type->is_int_or_enum()) return false;
            break;
        case OP::ICALL: {
            const BIF_DESCRIPTOR *bif = find_BIF_descriptor_for_call(tree);
            return bif && (bif->holds.flags & HOLDS_returns_1_or_0) != 0;
        }
        default: return false;
        }
        tree = tree->left;
    }
}

NODE *make_boolean(NODE *tree) {
    if (returns_1_or_0(tree)) return coerce_to_type(tp->int_type(), tree);
    TYPE *type = tree->type->type_qualified();
    NODE *zero = coerce_to_type(type, make_ICON(INT65(0), tp->int_type()));
    return maketree(OP::NEQ, tree, zero, tp->int_type(), tree->scope);
}

NODE *invert_boolean_tree(NODE *tree) {
    const bool compares_zero =
        tree->op == OP::EQ && is_ICON(tree->right) && icon_value(tree->right).is_zero();
    if (compares_zero && returns_1_or_0(tree->left)) {
        NODE *value = tree->left;
        erase_tree(tree->right);
        erase_node(tree);
        return coerce_to_type(tp->int_type(), value);
    }
    if (tree_is_trivially_invertible(tree)) {
        tree->op = boolean_inv[tree->op];
        return tree;
    }
    TYPE *type = tree->type->type_qualified();
    NODE *zero = coerce_to_type(type, make_ICON(INT65(0), tp->int_type()));
    return maketree(OP::EQ, tree, zero, tp->int_type(), tree->scope);
}

NODE *simp_EXCLAIM(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *operand = tree->left;
    erase_node(tree);
    return simp_tree(invert_boolean_tree(operand), loop, ctx);
}

// --- opposites

namespace {
// The operator on truth values that says the same and evaluates both.
bool joins_truths(const NODE *tree, int bitwise) {
    return tree->op == bitwise && tree->type->is_int() && returns_1_or_0(tree->left) &&
           returns_1_or_0(tree->right);
}

int bitwise_of(int op) {
    return op == OP::ANDAND ? OP::ANDB : OP::ORB;
}

int dual_of(int op) {
    return op == OP::ANDAND ? OP::OROR : OP::ANDAND;
}

// Conjunctions and disjunctions in either form; op is ANDAND or OROR.
bool is_junction(const NODE *tree, int op) {
    return tree->op == op || joins_truths(tree, bitwise_of(op));
}

bool compares_with_zero(const NODE *tree, int op) {
    return tree->op == op && is_ICON(tree->right) && icon_value(tree->right).is_zero();
}
} // namespace

bool has_cheap_inverse(const NODE *tree) {
    if (tree_is_trivially_invertible(tree)) return true;
    if (compares_with_zero(tree, OP::EQ) && returns_1_or_0(tree->left)) return true;
    if (is_junction(tree, OP::ANDAND) || is_junction(tree, OP::OROR))
        return has_cheap_inverse(tree->left) && has_cheap_inverse(tree->right);
    return false;
}

NODE *cheap_inverse(NODE *tree) {
    if (!has_cheap_inverse(tree)) return nullptr;
    if (boolean_inv[tree->op] != OP::ILLOP) return invert_boolean_tree(tree); // a comparison
    tree->left = cheap_inverse(tree->left);
    tree->right = cheap_inverse(tree->right);
    switch (tree->op) {
    case OP::ANDAND: tree->op = OP::OROR; break;
    case OP::OROR: tree->op = OP::ANDAND; break;
    case OP::ANDB: tree->op = OP::ORB; break;
    default: tree->op = OP::ANDB; break;
    }
    return tree;
}

bool can_be_evaluated_anyway(const NODE *tree) {
    for (; tree; tree = tree->left) {
        if (node_has_own_effect(tree) || !op_OK_for_SP[tree->op]) {
            const bool divides = (tree->op == OP::DIV || tree->op == OP::MOD) &&
                                 is_ICON(tree->right) && !icon_value(tree->right).is_zero();
            const bool decides = tree->op == OP::ANDAND || tree->op == OP::OROR;
            if (!divides && !decides) return false;
        }
        switch (tree->op) {
        case OP::UMULT:
        case OP::STREF:
        case OP::CSE_DUPE:
        case OP::CSE_ORIG: return false;
        case OP::ICALL:
        case OP::UICALL:
            if (!is_pure_BIF_call(tree)) return false;
            break;
        case OP::UAND: { // computes an address and reads nothing
            const NODE *lvalue = tree->left;
            while (lvalue->op == OP::STDOT)
                lvalue = lvalue->left;
            if (lvalue->op == OP::NAME) return true;
            if (lvalue->right && lvalue->op != OP::STREF) return false;
            tree = lvalue;
            continue;
        }
        default: break;
        }
        if (tree->right && !can_be_evaluated_anyway(tree->right)) return false;
    }
    return true;
}

bool same_integer_value(const NODE *a, const NODE *b) {
    const auto strip = [](const NODE *tree) {
        while (tree->op == OP::SCONV && tree->type->is_int_or_enum() &&
               tree->left->type->is_int_or_enum() && !tree->type->is_bool() &&
               (tree->type->size() > tree->left->type->size()
                    ? tree->type->is_signed() || !tree->left->type->is_signed()
                    : tree->type->size() == tree->left->type->size() &&
                          tree->type->is_signed() == tree->left->type->is_signed()))
            tree = tree->left;
        return tree;
    };
    if (is_ICON(a) && is_ICON(b)) return icon_value(a) == icon_value(b);
    return trees_are_congruent(strip(a), strip(b));
}

// --- two operands of one chain

namespace {
constexpr int dearest_operand = 3; // cycles; less may be spent where the program might not

struct JUNCTION {
    int op; // ANDAND or OROR
    LOOP *loop;
    CONTEXT *ctx;
    bool is_and() const { return op == OP::ANDAND; }
};

NODE *constant_truth(bool value) {
    return make_ICON(INT65(value), tp->int_type());
}

NODE *compare(int op, NODE *x, const INT65 &c, const JUNCTION &j) {
    NODE *icon = make_ICON(c, x->type->type_qualified());
    return simp_node(maketree(op, x, icon, tp->int_type(), x->scope), j.loop, j.ctx);
}

bool are_opposite(const NODE *a, const NODE *b) {
    NODE negation; // for the comparison only
    negation.op = OP::EXCLAIM;
    negation.type = tp->int_type();
    negation.left = const_cast<NODE *>(b);
    return bools_are_congruent(a, &negation);
}

// a && a, a && !a.
NODE *join_like(NODE *a, NODE *b, const JUNCTION &j) {
    if (bools_are_congruent(a, b)) {
        erase_tree(b);
        return simp_tree(make_boolean(a), j.loop, j.ctx);
    }
    if (!are_opposite(a, b)) return nullptr;
    erase_tree(a);
    erase_tree(b);
    return constant_truth(!j.is_and());
}

// a && (a || b), from either side.
NODE *join_absorbing(NODE *a, NODE *b, const JUNCTION &j) {
    for (const bool exchange : {false, true}) {
        NODE *whole = exchange ? a : b, *part = exchange ? b : a;
        if (!is_junction(whole, dual_of(j.op))) continue;
        if (!bools_are_congruent(whole->left, part) && !bools_are_congruent(whole->right, part))
            continue;
        if (tree_has_side_effects(whole)) continue;
        erase_tree(whole);
        return simp_tree(make_boolean(part), j.loop, j.ctx);
    }
    return nullptr;
}

// A condition as tests of ever smaller parts of its value.
constexpr int most_tests = 4;
struct TESTS {
    ARC_TEST of[most_tests];
    int count = 0;
};
TESTS tests_of(NODE **condition, const JUNCTION &j) {
    TESTS tests;
    std::optional<ARC_TEST> test = test_of_comparison(*condition);
    if (!test) {
        const unsigned width = arc_width((*condition)->type);
        if (!width) return tests;
        test = ARC_TEST{condition, arc_of_comparison(OP::NEQ, 0, width)};
    }
    do
        tests.of[tests.count++] = *test;
    while (tests.count < most_tests && peel_test(&*test, j.loop, j.ctx));
    return tests;
}

// The bit in which each value of one arc differs from one of the other, all else being equal; 0 if
// there is none.
std::uint64_t bit_between(const ARC &a, const ARC &b) {
    const std::uint64_t bit = a.lo ^ b.lo;
    if (a.count != b.count || a.is_empty() || bit == 0 || (bit & (bit - 1)) != 0) return 0;
    return (a.lo & (bit - 1)) + a.count <= bit ? bit : 0;
}

NODE *masked(NODE *x, std::uint64_t mask, const JUNCTION &j) {
    TYPE *type = x->type->type_qualified();
    NODE *icon = make_ICON(INT65(mask), type);
    return simp_node(maketree(OP::ANDB, x, icon, type, x->scope), j.loop, j.ctx);
}

// Tests of one value with constants.
NODE *join_arcs(NODE *a, NODE *b, const JUNCTION &j) {
    const TESTS of_a = tests_of(&a, j), of_b = tests_of(&b, j);
    const int cost = cost_of_tree(a) + cost_of_tree(b) + cost_of_arithmetic;
    for (int m = of_a.count - 1; m >= 0; --m)
        for (int n = of_b.count - 1; n >= 0; --n) {
            const ARC_TEST &test_a = of_a.of[m], &test_b = of_b.of[n];
            if (test_a.arc.width != test_b.arc.width) continue;
            NODE *x = *test_a.x;
            if (!trees_are_congruent(x, *test_b.x)) continue;
            const int rest = cost_of_tree(x) + cost_of_compare;
            const std::optional<ARC> arc =
                j.is_and() ? intersection(test_a.arc, test_b.arc) : united(test_a.arc, test_b.arc);
            if (arc) {
                const auto form = form_of_test(x->type, *arc, arc_of_values(x, nullptr, nullptr));
                if (!form || rest + form->extra_cost() > cost) continue;
                x = take_from_tree(test_a.x, a);
                erase_tree(b);
                return simp_tree(write_test(x, *form, x->scope, j.loop, j.ctx), j.loop, j.ctx);
            }
            // Without the bit in which they differ they are one arc.
            ARC one = test_a.arc, other = test_b.arc;
            if (j.is_and()) {
                one = one.complement();
                other = other.complement();
            }
            const std::uint64_t bit = bit_between(one, other);
            if (!bit || x->type->is_ptr()) continue;
            one.lo &= ~bit;
            if (j.is_and()) one = one.complement();
            const auto form = form_of_test(x->type, one, arc_of_type(x->type));
            if (!form || rest + cost_of_arithmetic + form->extra_cost() > cost) continue;
            x = take_from_tree(test_a.x, a);
            erase_tree(b);
            x = masked(x, one.cut(~bit), j);
            return simp_tree(write_test(x, *form, x->scope, j.loop, j.ctx), j.loop, j.ctx);
        }
    return nullptr;
}

// How two values can lie to each other, as a set: what a comparison holds for.
constexpr unsigned lies_below = 1, lies_at = 2, lies_above = 4, lies_nowhere = 8;

unsigned set_of_comparison(int op, bool of_floats) {
    switch (op) {
    case OP::LT:
    case OP::ULT: return lies_below;
    case OP::LE:
    case OP::ULE: return lies_below | lies_at;
    case OP::GT:
    case OP::UGT: return lies_above;
    case OP::GE:
    case OP::UGE: return lies_above | lies_at;
    case OP::EQ: return lies_at;
    default: return lies_below | lies_above | (of_floats ? lies_nowhere : 0u);
    }
}

bool is_equality(int op) {
    return op == OP::EQ || op == OP::NEQ;
}

// Two comparisons of the same operands, whose bits may stand under conversions of the sign.
struct ORDERS {
    NODE *compares = nullptr; // the one whose operands the result has; null: there are not two
    unsigned of_a = 0, of_b = 0, all = 0;

    // The comparison that holds for the set; ILLOP for none.
    int comparison(unsigned set) const {
        const bool of_floats = (all & lies_nowhere) != 0;
        const bool by_sign = compares->op < OP::ULE; // whatever the operands' type says
        static constexpr int signed_ones[] = {OP::EQ, OP::NEQ, OP::LT, OP::LE, OP::GT, OP::GE},
                             unsigned_ones[] = {OP::EQ,  OP::NEQ, OP::ULT,
                                                OP::ULE, OP::UGT, OP::UGE};
        const bool has_order = !is_equality(compares->op);
        for (int n = 0; n < (has_order ? 6 : 2); ++n) {
            const int op = has_order && !by_sign ? unsigned_ones[n] : signed_ones[n];
            if (set_of_comparison(op, of_floats) == set) return op;
        }
        return OP::ILLOP;
    }
};

bool is_comparison(const NODE *tree) {
    return tree->op >= OP::EQ && tree->op <= OP::UGT;
}

bool have_same_bits(const NODE *a, const NODE *b) {
    const auto strip = [](const NODE *tree) {
        while (tree->op == OP::SCONV && tree->type->is_int_or_enum() && !tree->type->is_bool() &&
               tree->left->type->is_int_or_enum() && tree->type->size() == tree->left->type->size())
            tree = tree->left;
        return tree;
    };
    return trees_are_congruent(strip(a), strip(b));
}

ORDERS orders_of(NODE *a, NODE *b) {
    if (!is_comparison(a) || !is_comparison(b)) return {};
    const bool of_floats = a->left->type->is_floating();
    if (b->left->type->is_floating() != of_floats) return {};
    const auto by_sign = [](const NODE *n) { return n->op < OP::ULE; };
    if (!is_equality(a->op) && !is_equality(b->op) && by_sign(a) != by_sign(b)) return {};
    const bool straight = have_same_bits(a->left, b->left) && have_same_bits(a->right, b->right);
    if (!straight && !(have_same_bits(a->left, b->right) && have_same_bits(a->right, b->left)))
        return {};
    ORDERS orders{is_equality(a->op) ? b : a};
    const bool turns_a = !straight && orders.compares == b, turns_b = !straight && !turns_a;
    orders.of_a = set_of_comparison(turns_a ? commute_inv[a->op] : a->op, of_floats);
    orders.of_b = set_of_comparison(turns_b ? commute_inv[b->op] : b->op, of_floats);
    orders.all = lies_below | lies_at | lies_above | (of_floats ? lies_nowhere : 0u);
    return orders;
}

// The comparison of the operands that holds for the set, in the place of both. Null: there is none.
NODE *compared_by_set(const ORDERS &orders, unsigned set, NODE *a, NODE *b, LOOP *loop,
                      CONTEXT *ctx) {
    if (set == 0 || set == orders.all) {
        erase_tree(a);
        erase_tree(b);
        return constant_truth(set != 0);
    }
    const int op = orders.comparison(set);
    if (op == OP::ILLOP) return nullptr;
    NODE *kept = orders.compares;
    erase_tree(kept == a ? b : a);
    kept->op = static_cast<std::uint8_t>(op);
    return simp_node(kept, loop, ctx);
}

// x < y && x != y, x < y || x == y, and so on.
NODE *join_orders(NODE *a, NODE *b, const JUNCTION &j) {
    const ORDERS orders = orders_of(a, b);
    if (!orders.compares || tree_has_side_effects(b)) return nullptr;
    const unsigned set = j.is_and() ? orders.of_a & orders.of_b : orders.of_a | orders.of_b;
    return compared_by_set(orders, set, a, b, j.loop, j.ctx);
}

// "(x & mask) == value", or its opposite.
struct MASK_TEST {
    NODE **x;
    std::uint64_t mask, value;
};
std::optional<MASK_TEST> mask_test_of(NODE **condition, bool opposite) {
    NODE *tree = *condition;
    const bool compares = tree->op == OP::EQ || tree->op == OP::NEQ;
    NODE **masked = compares ? &tree->left : condition;
    if ((*masked)->op != OP::ANDB || !is_ICON((*masked)->right)) return std::nullopt;
    const unsigned width = arc_width((*masked)->type);
    if (!width || arc_width((*masked)->left->type) != width) return std::nullopt;
    if (compares && (!is_ICON(tree->right) || tree->right->type->size() != width))
        return std::nullopt;
    const std::uint64_t mask = arc_point((*masked)->right, width);
    std::uint64_t value = compares ? arc_point(tree->right, width) : 0;
    if ((tree->op == OP::EQ) == opposite) {
        // The other value of a single bit.
        if ((mask & (mask - 1)) != 0 || (value != 0 && value != mask)) return std::nullopt;
        value ^= mask;
    }
    return MASK_TEST{&(*masked)->left, mask, value};
}

// (x & 1) == 0 && (x & 4) == 4, and the opposites joined by ||.
NODE *join_masks(NODE *a, NODE *b, const JUNCTION &j) {
    const auto of_a = mask_test_of(&a, !j.is_and()), of_b = mask_test_of(&b, !j.is_and());
    if (!of_a || !of_b || (*of_a->x)->type->size() != (*of_b->x)->type->size() ||
        !trees_are_congruent(*of_a->x, *of_b->x))
        return nullptr;
    if (((of_a->value ^ of_b->value) & of_a->mask & of_b->mask) != 0) {
        erase_tree(a);
        erase_tree(b);
        return constant_truth(!j.is_and());
    }
    const std::uint64_t mask = of_a->mask | of_b->mask, value = of_a->value | of_b->value;
    NODE *x = take_from_tree(of_a->x, a);
    erase_tree(b);
    return compare(j.is_and() ? OP::EQ : OP::NEQ, masked(x, mask, j), INT65(value), j);
}

// Tests of two values that their bits, joined by an operator, pass together.
constexpr struct {
    int junction, op, c, bits;
} common_tests[] = {
    {OP::ANDAND, OP::EQ, 0, OP::ORB},  {OP::ANDAND, OP::EQ, -1, OP::ANDB},
    {OP::ANDAND, OP::LT, 0, OP::ANDB}, {OP::ANDAND, OP::GT, -1, OP::ORB},
    {OP::OROR, OP::NEQ, 0, OP::ORB},   {OP::OROR, OP::NEQ, -1, OP::ANDB},
    {OP::OROR, OP::LT, 0, OP::ORB},    {OP::OROR, OP::GT, -1, OP::ANDB},
};

// A condition as the comparison of a value with a constant; a value alone is one with 0.
struct COMPARED {
    NODE **x;
    int op = OP::ILLOP;
    INT65 c;
};
COMPARED compared(NODE **condition) {
    NODE *tree = *condition;
    if (boolean_inv[tree->op] == OP::ILLOP)
        return {condition, returns_1_or_0(tree) ? OP::ILLOP : OP::NEQ, 0};
    if (!is_ICON(tree->right)) return {condition, OP::ILLOP, 0};
    return {&tree->left, tree->op,
            sign_extend_by_type_size(icon_value(tree->right), tree->right->type)};
}

// x == 0 && y == 0 is (x | y) == 0.
NODE *join_values(NODE *a, NODE *b, const JUNCTION &j) {
    const COMPARED of_a = compared(&a), of_b = compared(&b);
    if (of_a.op == OP::ILLOP || of_a.op != of_b.op || of_a.c != of_b.c) return nullptr;
    NODE *x = *of_a.x, *y = *of_b.x;
    const unsigned width = arc_width(x->type);
    if (!width || width != arc_width(y->type) || x->type->is_ptr() || y->type->is_ptr() ||
        x->type->is_bool() || y->type->is_bool() || !can_be_evaluated_anyway(y) ||
        cost_of_tree(y) >= dearest_operand)
        return nullptr;
    for (const auto &row : common_tests) {
        if (row.junction != j.op || row.op != of_a.op || of_a.c != INT65(row.c)) continue;
        TYPE *type = x->type->type_qualified();
        x = take_from_tree(of_a.x, a);
        y = take_from_tree(of_b.x, b);
        y = simp_node(coerce_to_type(type, y), j.loop, j.ctx);
        NODE *bits = simp_node(maketree(row.bits, x, y, type, x->scope), j.loop, j.ctx);
        return compare(row.op, bits, INT65(row.c), j);
    }
    return nullptr;
}

constexpr NODE *(*joins[])(NODE *a, NODE *b, const JUNCTION &j) = {
    join_like, join_absorbing, join_orders, join_arcs, join_masks, join_values,
};

// One truth value that says what both say; it takes their place. Null: there is none. b runs after
// a, and has no effect.
NODE *join(NODE *a, NODE *b, const JUNCTION &j) {
    if (!is_small_and_pure(a)) return nullptr;
    for (const auto rule : joins)
        if (NODE *joined = rule(a, b, j)) return joined;
    return nullptr;
}

// The junction again after one of its operands has changed.
NODE *remade(NODE *tree, const JUNCTION &j) {
    for (NODE *NODE::*operand : {&NODE::left, &NODE::right}) {
        NODE *constant = tree->*operand;
        NODE *&other = operand == &NODE::left ? tree->right : tree->left;
        if (!is_ICON(constant)) continue;
        const bool decides = icon_value(constant).is_zero() == j.is_and();
        if (decides && operand == &NODE::right) {
            NODE *effects = tree->left;
            erase_node(tree);
            erase_node(constant); // of any type
            return with_effects(effects, constant_truth(!j.is_and()), j.loop, j.ctx);
        }
        NODE *rest = decides ? constant_truth(!j.is_and()) : make_boolean(other);
        if (!decides) other = maketree(OP::NOP, nullptr, nullptr, tp->int_type(), nullptr);
        erase_tree(tree);
        return decides ? rest : simp_tree(rest, j.loop, j.ctx);
    }
    return simp_node(tree, j.loop, j.ctx);
}

// Puts b, which has no effect, to the operand of the chain that it joins with. Null: to none.
NODE *join_with_chain(NODE *chain, NODE *b, const JUNCTION &j, int depth) {
    if (depth == 0 || !is_junction(chain, j.op)) return join(chain, b, j);
    if (NODE *joined = join(chain->right, b, j)) {
        chain->right = joined;
        return remade(chain, j);
    }
    if (tree_has_side_effects(chain->right)) return nullptr;
    NODE *joined = join_with_chain(chain->left, b, j, depth - 1);
    if (!joined) return nullptr;
    chain->left = joined;
    return remade(chain, j);
}

// --- the rules of ANDAND and OROR

// (e, x) && y: the effect comes first in any case.
NODE *hoist_effects(NODE *tree, const JUNCTION &j) {
    NODE *effects = tree->left;
    if (effects->op != OP::COMMAOP) return nullptr;
    tree->left = effects->right;
    effects->right = simp_node(tree, j.loop, j.ctx);
    effects->type = effects->right->type;
    return simp_node(effects, j.loop, j.ctx);
}

// a && (b && c), as an operand may have become: the chain leans left.
NODE *turned_over(NODE *tree, const JUNCTION &j) {
    NODE *inner = tree->right;
    if (inner->op != j.op) return nullptr;
    tree->right = inner->right;
    inner->right = inner->left;
    inner->left = tree->left;
    tree->left = simp_node(inner, j.loop, j.ctx);
    return simp_node(tree, j.loop, j.ctx);
}

NODE *constant_operand(NODE *tree, const JUNCTION &j) {
    return is_ICON(tree->left) || is_ICON(tree->right) ? remade(tree, j) : nullptr;
}

NODE *join_operands(NODE *tree, const JUNCTION &j) {
    constexpr int longest_look_back = 8;
    if (tree_has_side_effects(tree->right)) return nullptr;
    NODE *joined = join_with_chain(tree->left, tree->right, j, longest_look_back);
    if (joined) erase_node(tree);
    return joined;
}

// (a && b) || (a && c) is a && (b || c), the guard standing on the left or on the right of both.
// Null: there is none. (The result may lie where the tree was.)
NODE *with_common_guard(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    if (tree_has_side_effects(tree->left) || !can_be_evaluated_anyway(tree->right)) return nullptr;
    const int op = tree->op, dual = dual_of(op);
    NODE *a = tree->left, *b = tree->right;
    for (NODE *NODE::*of_a : {&NODE::left, &NODE::right})
        for (NODE *NODE::*of_b : {&NODE::left, &NODE::right}) {
            if (!bools_are_congruent(a->*of_a, b->*of_b)) continue;
            NODE *guard = a->*of_a;
            NODE *rest_a = of_a == &NODE::left ? a->right : a->left;
            NODE *rest_b = of_b == &NODE::left ? b->right : b->left;
            erase_tree(b->*of_b);
            erase_node(a);
            erase_node(b);
            tree->left = rest_a;
            tree->right = rest_b;
            tree->op = static_cast<std::uint8_t>(op);
            NODE *rest = simp_node(tree, loop, ctx);
            return simp_node(maketree(dual, guard, rest, tp->int_type(), rest->scope), loop, ctx);
        }
    return nullptr;
}

NODE *common_guard(NODE *tree, const JUNCTION &j) {
    const int dual = dual_of(j.op);
    if (!is_junction(tree->left, dual) || !is_junction(tree->right, dual)) return nullptr;
    return with_common_guard(tree, j.loop, j.ctx);
}

// 1 or 0 for a simplified operand, which is not gone through again.
NODE *truth_of(NODE *operand, const JUNCTION &j) {
    NODE *truth = make_boolean(operand);
    if (truth == operand) return truth;
    if (truth->right) truth->right = simp_tree(truth->right, j.loop, j.ctx);
    return simp_node(truth, j.loop, j.ctx);
}

// Both operands are evaluated where that is cheaper than a jump.
NODE *without_jump(NODE *tree, const JUNCTION &j) {
    NODE *right = tree->right;
    if (!can_be_evaluated_anyway(right)) return nullptr;
    if (tree->left->type->is_floating() || right->type->is_floating()) return nullptr;
    // Half of the time the right operand would not be evaluated.
    const int tests = !returns_1_or_0(tree->left) + !returns_1_or_0(right);
    const int cost = cost_of_arithmetic + tests * cost_of_compare + cost_of_tree(right);
    if (2 * cost >= 2 * cost_of_branch + cost_of_tree(right)) return nullptr;
    tree->left = truth_of(tree->left, j);
    tree->right = truth_of(right, j);
    tree->op = static_cast<std::uint8_t>(bitwise_of(j.op));
    tree->type = tp->int_type();
    return simp_node(tree, j.loop, j.ctx);
}

// The right operand is evaluated when the left one holds, or does not.
NODE *right_under_left(NODE *tree, const JUNCTION &j) {
    if (!simp_under_condition(tree->right, tree->left, j.op == OP::ANDAND, j.loop, j.ctx))
        return nullptr;
    return simp_node(tree, j.loop, j.ctx);
}

constexpr NODE *(*rules[])(NODE *tree, const JUNCTION &j) = {
    hoist_effects, turned_over,      constant_operand, join_operands,
    common_guard,  right_under_left, without_jump,
};

NODE *simp_junction(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    const JUNCTION j{tree->op, loop, ctx};
    tree->left = simp_for_control(tree->left, loop, ctx);
    tree->right = simp_for_control(tree->right, loop, ctx);
    for (const auto rule : rules)
        if (NODE *result = rule(tree, j)) return result;
    return tree;
}
} // namespace

NODE *simp_ANDAND(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    return simp_junction(tree, loop, ctx);
}

NODE *simp_OROR(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    return simp_junction(tree, loop, ctx);
}

NODE *simp_joined_truths(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    const JUNCTION j{tree->op == OP::ANDB ? OP::ANDAND : OP::OROR, loop, ctx};
    if (!boolean_result[tree->right->op] || !joins_truths(tree, tree->op)) return nullptr;
    return join_operands(tree, j);
}

// --- two truth values that differ, or do not

namespace {
struct DIFFERENCE {
    bool equal; // asks for the opposite
    LOOP *loop;
    CONTEXT *ctx;
};

// (x < y) ^ (x <= y) is x == y.
NODE *differing_orders(NODE *a, NODE *b, const DIFFERENCE &d) {
    const ORDERS orders = orders_of(a, b);
    if (!orders.compares) return nullptr;
    const unsigned set = orders.of_a ^ orders.of_b;
    return compared_by_set(orders, d.equal ? orders.all & ~set : set, a, b, d.loop, d.ctx);
}

// (x < 3) ^ (x < 8): tests of one value whose arcs overlap at one end, or meet.
NODE *differing_arcs(NODE *a, NODE *b, const DIFFERENCE &d) {
    const auto of_a = test_of_comparison(a), of_b = test_of_comparison(b);
    if (!of_a || !of_b || of_a->arc.width != of_b->arc.width ||
        !trees_are_congruent(*of_a->x, *of_b->x))
        return nullptr;
    const auto both = intersection(of_a->arc, of_b->arc), either = united(of_a->arc, of_b->arc);
    if (!both || !either) return nullptr;
    auto arc = intersection(*either, both->complement());
    if (!arc) return nullptr;
    if (d.equal) arc = arc->complement();
    NODE *x = *of_a->x;
    const auto form = form_of_test(x->type, *arc, arc_of_values(x, nullptr, nullptr));
    if (!form) return nullptr;
    x = take_from_tree(of_a->x, a);
    erase_tree(b);
    return simp_tree(write_test(x, *form, x->scope, d.loop, d.ctx), d.loop, d.ctx);
}

// (x < 0) ^ (y < 0) is (x ^ y) < 0.
NODE *differing_signs(NODE *a, NODE *b, const DIFFERENCE &d) {
    const auto sign = [](const NODE *n) { // 1: negative, 0: not, -1: no such test
        if (!is_ICON(n->right)) return -1;
        if (n->op == OP::LT && icon_value(n->right).is_zero()) return 1;
        return n->op == OP::GT && icon_value(n->right) == INT65(-1) ? 0 : -1;
    };
    if (!is_comparison(a) || !is_comparison(b) || sign(a) < 0 || sign(b) < 0) return nullptr;
    const unsigned width = arc_width(a->left->type);
    if (!width || width != arc_width(b->left->type) || a->left->type->is_ptr() ||
        a->left->type->is_bool() || b->left->type->is_bool())
        return nullptr;
    const bool equal = (sign(a) == sign(b)) == d.equal;
    NODE *x = take_from_tree(&a->left, a), *y = take_from_tree(&b->left, b);
    TYPE *type = x->type->type_qualified();
    y = simp_node(coerce_to_type(type, y), d.loop, d.ctx);
    NODE *bits = simp_node(maketree(OP::XORB, x, y, type, x->scope), d.loop, d.ctx);
    const JUNCTION j{OP::ANDAND, d.loop, d.ctx};
    return compare(equal ? OP::GT : OP::LT, bits, INT65(equal ? -1 : 0), j);
}

constexpr NODE *(*differences[])(NODE *a, NODE *b, const DIFFERENCE &d) = {
    differing_orders,
    differing_arcs,
    differing_signs,
};
} // namespace

NODE *simp_different_truths(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    if (!is_comparison(tree->left) || !is_comparison(tree->right) || tree_has_side_effects(tree))
        return nullptr;
    const DIFFERENCE d{tree->op == OP::EQ, loop, ctx};
    TYPE *type = tree->type->type_qualified();
    for (const auto rule : differences)
        if (NODE *result = rule(tree->left, tree->right, d)) {
            erase_node(tree);
            return simp_node(coerce_to_type(type, result), loop, ctx);
        }
    return nullptr;
}

NODE *simp_ANDOR_ANDOR(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *result = with_common_guard(tree, loop, ctx);
    return result ? result : tree;
}
