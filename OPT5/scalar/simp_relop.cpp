// Comparisons.
//
// The normal form: a constant on the right; of the ordered comparisons with a constant only the
// strict ones (x <= 3 is x < 4); == and != where the order says no more than that; the distance
// from the first value, unsigned, where a range has two ends.
//
// A comparison of an integer with a constant is a set of values, an arc (see simp_arcs.h). Each
// operator with a constant on the way down to the value is undone on the arc as long as the test
// gets cheaper by it; what is known of the value may then decide the test or give it a simpler
// form. Comparisons of two values lose what both have in common. The rows below are tried in order;
// one that applies gives a tree that costs less, or costs the same and has fewer nodes, so that the
// way back through simp_node ends.
#include "OPT5/builtins/bif.h"
#include "OPT5/rep/symbol.h"
#include "OPT5/rep/type_pkg.h"
#include "OPT5/scalar/simp_arcs.h"
#include "OPT5/scalar/simp_bool.h"
#include "OPT5/simulfp/simul_fval.h"
#include "OPT5/target/costs.h"

#include <bit>
#include <cstring>
#include <utility>

namespace {
using RULE = NODE *(*)(NODE *tree, LOOP *loop, CONTEXT *ctx); // null: does not apply

bool is_equality(const NODE *tree) {
    return tree->op == OP::EQ || tree->op == OP::NEQ;
}

NODE *truth(bool value, NODE *tree) {
    NODE *icon = make_ICON(INT65(value), tree->type);
    icon->scope = tree->scope;
    return icon;
}

// The tree's value is known; what it does must still be done.
NODE *known_truth(bool value, NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *icon = truth(value, tree);
    return with_effects(tree, icon, loop, ctx);
}

bool both_are_words_of_one_width(const NODE *tree) {
    const unsigned width = arc_width(tree->left->type);
    return width != 0 && width == arc_width(tree->right->type);
}

// The comparison of two parts of its operands, which take their places; both may be of one of them.
NODE *compare_parts(NODE *tree, int op, NODE **left, NODE **right, LOOP *loop, CONTEXT *ctx) {
    NODE *a = *left, *b = *right;
    for (NODE **part : {left, right})
        *part = maketree(OP::NOP, nullptr, nullptr, (*part)->type, nullptr);
    erase_tree(tree->left);
    erase_tree(tree->right);
    tree->op = static_cast<std::uint8_t>(op);
    tree->left = a;
    tree->right = b;
    return simp_node(tree, loop, ctx);
}

// --- operands

NODE *constant_to_the_right(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    const auto is_constant = [](const NODE *n) { return is_ICON(n) || is_FCON(n); };
    if (!is_constant(tree->left) || is_constant(tree->right)) return nullptr;
    std::swap(tree->left, tree->right);
    tree->op = commute_inv[tree->op];
    return simp_node(tree, loop, ctx);
}

// Integers of two widths are compared in the wider one, to which each is extended by its own sign.
NODE *one_width(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *left = tree->left, *right = tree->right;
    if (!left->type->is_int_or_enum() || !right->type->is_int_or_enum() ||
        left->type->size() == right->type->size())
        return nullptr;
    const bool left_is_wider = left->type->size() > right->type->size();
    NODE *&narrow = left_is_wider ? tree->right : tree->left;
    TYPE *type = (left_is_wider ? left : right)->type->type_qualified();
    narrow = simp_node(coerce_to_type(type, narrow), loop, ctx);
    return simp_node(tree, loop, ctx);
}

// x == x and its like; of floats only what holds for what is no number, too.
NODE *congruent_operands(NODE *tree, LOOP *, CONTEXT *) {
    bool value;
    switch (tree->op) {
    case OP::EQ:
    case OP::LE:
    case OP::GE:
    case OP::ULE:
    case OP::UGE:
        if (tree->left->type->is_floating()) return nullptr;
        value = true;
        break;
    case OP::NEQ:
        if (tree->left->type->is_floating()) return nullptr;
        value = false;
        break;
    default: value = false;
    }
    if (!trees_are_congruent(tree->left, tree->right)) return nullptr;
    NODE *icon = truth(value, tree);
    erase_tree(tree);
    return icon;
}

// --- integers and constants

// The test where it is cheapest: at the value as it stands, or below some of its operators.
struct BEST_TEST {
    NODE **x;
    ARC_FORM form;
    int cost, nodes;
};

bool is_better(const BEST_TEST &a, const BEST_TEST &b) {
    return a.cost != b.cost ? a.cost < b.cost : a.nodes < b.nodes;
}

bool has_constant_arms(const NODE *x) {
    return x->op == OP::QUEST && is_ICON(x->right->left) && is_ICON(x->right->right);
}

// (c ? 3 : 5) > 4: each arm alone tells what its value gives.
NODE *test_of_choice(NODE *tree, const ARC_TEST &test, LOOP *loop, CONTEXT *ctx) {
    NODE *choice = *test.x;
    const unsigned width = test.arc.width;
    const auto holds = [&](const NODE *arm) {
        return test.arc.contains(constant_as(arm, choice->type).low64() &
                                 ((std::uint64_t{1} << width) - 1));
    };
    const bool first = holds(choice->right->left), second = holds(choice->right->right);
    if (first == second) return known_truth(first, tree, loop, ctx);
    NODE *condition = take_from_tree(&choice->left, tree);
    if (!first) return simp_node(mk_EXCLAIM(condition), loop, ctx);
    return simp_tree(make_boolean(condition), loop, ctx);
}

NODE *test_on_arc(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    std::optional<ARC_TEST> test = test_of_comparison(tree);
    if (!test) return nullptr;
    constexpr int deepest = 8; // each step looks at the whole value
    std::optional<BEST_TEST> best;
    int cost = 0, nodes = 0; // against the tree as it is
    for (int depth = 0; depth < deepest; ++depth) {
        NODE *x = *test->x;
        if (has_constant_arms(x)) return test_of_choice(tree, *test, loop, ctx);
        if (loop || ctx) {
            const ARC values = arc_of_values(x, loop, ctx);
            const std::optional<ARC> hit = intersection(test->arc, values),
                                     missed = intersection(test->arc.complement(), values);
            if (hit && hit->is_empty()) return known_truth(false, tree, loop, ctx);
            if (missed && missed->is_empty()) return known_truth(true, tree, loop, ctx);
        }
        // The form does not depend on the loop, which would hide what its condition compares.
        const ARC known = arc_of_values(x, nullptr, nullptr);
        if (const std::optional<ARC_FORM> form = form_of_test(x->type, test->arc, known)) {
            if (form->op == OP::ILLOP) return known_truth(form->c != 0, tree, loop, ctx);
            const BEST_TEST here{test->x, *form, cost + form->extra_cost(),
                                 nodes + form->extra_nodes()};
            if (!best || is_better(here, *best)) best = here;
        }
        const int saved = cost_of_operator(x);
        if (!peel_test(&*test, loop, ctx)) break;
        cost -= saved;
        --nodes;
    }
    // As the tree stands it costs nothing more than it does.
    const BEST_TEST as_it_is{nullptr, {}, 0, 0};
    if (!best) return nullptr;
    const bool is_here = best->x == &tree->left;
    if (!is_here && !is_better(*best, as_it_is)) return nullptr;
    if (is_here && best->cost > 0) return nullptr;
    const unsigned width = arc_width(tree->left->type);
    if (is_here && best->form.op == tree->op && !best->form.subtracts && !best->form.casts &&
        best->form.c == arc_point(tree->right, width))
        return nullptr;
    LS *scope = tree->scope;
    NODE *x = take_from_tree(best->x, tree);
    NODE *result = write_test(x, best->form, scope, loop, ctx);
    return boolean_inv[result->op] != OP::ILLOP ? simp_node(result, loop, ctx) : result;
}

// What is known of single bits: those that C would need otherwise.
NODE *bits_decide(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    if (!is_equality(tree) || !test_of_comparison(tree)) return nullptr;
    TYPE *type = tree->left->type;
    const unsigned width = arc_width(type);
    const std::uint64_t mask = (std::uint64_t{1} << width) - 1, c = arc_point(tree->right, width);
    const std::uint64_t zeros = find_known_zeros(tree->left, type).low64() & mask,
                        ones = find_known_ones(tree->left, type).low64() & mask;
    if ((c & zeros) != 0 || (~c & ones) != 0)
        return known_truth(tree->op == OP::NEQ, tree, loop, ctx);
    // One bit is left, and it is set: the other value is 0.
    if (c != (~zeros & mask) || !std::has_single_bit(c)) return nullptr;
    tree->op = boolean_inv[tree->op];
    tree->right->u.lval = INT65(0);
    return simp_node(tree, loop, ctx);
}

// b != 0 and b == 1 are b, b == 0 and b != 1 are !b.
NODE *truth_value_and_constant(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    if (!is_equality(tree) || !is_ICON(tree->right) || !tree->left->type->is_int_or_enum())
        return nullptr;
    const INT65 c = icon_value(tree->right);
    if ((!c.is_zero() && c != INT65(1)) || !returns_1_or_0(tree->left)) return nullptr;
    NODE *x = tree->left;
    if ((tree->op == OP::EQ) != c.is_zero()) {
        take_from_tree(&tree->left, tree);
        return simp_node(coerce_to_type(tp->int_type(), x), loop, ctx);
    }
    if (NODE *inverse = cheap_inverse(x)) {
        take_from_tree(&tree->left, tree);
        return simp_tree(inverse, loop, ctx);
    }
    if (tree->op == OP::EQ) return nullptr; // the normal form of !b
    tree->op = OP::EQ;
    tree->right->u.lval = INT65(0);
    return simp_node(tree, loop, ctx);
}

// (x & mask) == c in the place of the comparison.
NODE *masked_equality(NODE *tree, NODE **x, std::uint64_t mask, std::uint64_t c, LOOP *loop,
                      CONTEXT *ctx) {
    const int op = tree->op;
    LS *scope = tree->scope;
    TYPE *type = tree->left->type->type_qualified();
    NODE *value = coerce_to_type(type, take_from_tree(x, tree));
    value = simp_node(value, loop, ctx);
    value =
        simp_node(maketree(OP::ANDB, value, make_ICON(INT65(mask), type), type, scope), loop, ctx);
    NODE *result = maketree(op, value, make_ICON(INT65(c), type), tp->int_type(), scope);
    return simp_node(result, loop, ctx);
}

// x * (odd << n) == c, and shifts to the left: high bits of x do not matter.
NODE *equal_multiple(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *product = tree->left;
    if (!is_equality(tree) || !test_of_comparison(tree) || !is_ICON(product->right)) return nullptr;
    const unsigned width = arc_width(product->type);
    std::uint64_t factor;
    if (product->op == OP::MULT) {
        factor = constant_as(product->right, product->type).low64();
    } else if (product->op == OP::SLL) {
        const INT65 count = icon_value(product->right);
        if (count < INT65(1) || count >= INT65(static_cast<int>(width))) return nullptr;
        factor = std::uint64_t{1} << count.low64();
    } else {
        return nullptr;
    }
    const std::uint64_t ring = std::uint64_t{1} << width;
    factor &= ring - 1;
    if (factor == 0 || factor % 2 != 0 || arc_width(product->left->type) != width) return nullptr;
    const int n = std::countr_zero(factor);
    const std::uint64_t c = arc_point(tree->right, width), mask = (ring >> n) - 1;
    if ((c & ((std::uint64_t{1} << n) - 1)) != 0)
        return known_truth(tree->op == OP::NEQ, tree, loop, ctx);
    return masked_equality(tree, &product->left, mask, (c >> n) * odd_inverse(factor >> n) & mask,
                           loop, ctx);
}

// x % 2^n == c, signed: the low bits and, but for 0, the sign of x.
NODE *equal_remainder(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *remainder = tree->left;
    if (!is_equality(tree) || !test_of_comparison(tree) || remainder->op != OP::MOD ||
        !is_ICON(remainder->right) || !remainder->type->is_signed())
        return nullptr;
    const unsigned width = arc_width(remainder->type);
    const INT65 divisor = constant_as(remainder->right, remainder->type);
    if (arc_width(remainder->left->type) != width || power_of_2(divisor) < 1) return nullptr;
    const std::uint64_t low = divisor.low64() - 1, sign = std::uint64_t{1} << (width - 1);
    const std::uint64_t c = arc_point(tree->right, width);
    if (c == 0) return masked_equality(tree, &remainder->left, low, 0, loop, ctx);
    const bool negative = (c & sign) != 0;
    const std::uint64_t size = negative ? (sign << 1) - c : c;
    if (size > low) return known_truth(tree->op == OP::NEQ, tree, loop, ctx);
    return masked_equality(tree, &remainder->left, low | sign, negative ? sign | (c & low) : c,
                           loop, ctx);
}

// x - y == 0 and x ^ y == 0.
NODE *no_difference(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *difference = tree->left;
    if (!is_equality(tree) || !is_ICON(tree->right) || !icon_value(tree->right).is_zero() ||
        (difference->op != OP::MINUS && difference->op != OP::XORB) ||
        !both_are_words_of_one_width(difference) ||
        arc_width(difference->type) != arc_width(difference->left->type))
        return nullptr;
    return compare_parts(tree, tree->op, &difference->left, &difference->right, loop, ctx);
}

// How x and y compare when their true difference compares with c that way; ILLOP for none.
int comparison_of_difference(const NODE *tree) {
    const INT65 c = icon_value(tree->right);
    if (tree->op == OP::LT) return c.is_zero() ? OP::LT : c == INT65(1) ? OP::LE : OP::ILLOP;
    if (tree->op == OP::GT) return c.is_zero() ? OP::GT : c == INT65(-1) ? OP::GE : OP::ILLOP;
    return is_equality(tree) && c.is_zero() ? tree->op : static_cast<int>(OP::ILLOP);
}

// x - y < 0 where the difference does not wrap.
NODE *sign_of_difference(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *difference = tree->left;
    if (!is_ICON(tree->right) || difference->op != OP::MINUS ||
        !difference->type->is_int_or_enum() || !difference->type->is_signed() ||
        !both_are_words_of_one_width(difference) || !difference->left->type->is_signed() ||
        !difference->right->type->is_signed())
        return nullptr;
    const int op = comparison_of_difference(tree);
    if (op == OP::ILLOP || expr_sum_may_overflow(difference, loop, ctx)) return nullptr;
    return compare_parts(tree, op, &difference->left, &difference->right, loop, ctx);
}

bool is_intrinsic(const NODE *tree, const char *name) {
    const BIF_DESCRIPTOR *bif = find_BIF_descriptor_for_call(tree);
    return bif && bif->name == name && tree->op == OP::ICALL;
}

// A saturated difference has the sign of the true one, and so has a saturated multiple of x.
NODE *saturated_and_zero(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *call = tree->left;
    if (!is_ICON(tree->right) || call->op != OP::ICALL || !call->type->is_int()) return nullptr;
    const int op = comparison_of_difference(tree);
    if (op == OP::ILLOP) return nullptr;
    const bool halves = is_intrinsic(call, "_ssub2");
    const bool is_shift = is_intrinsic(call, "_sshl");
    if (!is_intrinsic(call, "_ssub") && !is_shift && !(halves && is_equality(tree))) return nullptr;
    NODE *args = call->left;
    for (NODE *arg : {args->left, args->right})
        if (!arg->type->is_int_or_enum() || arc_width(arg->type) > 32) return nullptr;
    TYPE *int_type = tp->int_type();
    if (is_shift) {
        if (tree_has_side_effects(args->right)) return nullptr;
        NODE *x = take_from_tree(&args->left, tree);
        x = simp_node(coerce_to_type(int_type, x), loop, ctx);
        return simp_node(maketree(op, x, make_ICON(INT65(0), int_type), int_type, nullptr), loop,
                         ctx);
    }
    args->left = simp_node(coerce_to_type(int_type, args->left), loop, ctx);
    args->right = simp_node(coerce_to_type(int_type, args->right), loop, ctx);
    return compare_parts(tree, op, &args->left, &args->right, loop, ctx);
}

// --- two integers

// The same conversion of both sides to more bits; the order of what sign extension gives is, for
// unsigned comparisons, that of the unsigned narrow values.
NODE *extended_operands(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *a = tree->left, *b = tree->right;
    if (a->op != OP::SCONV || b->op != OP::SCONV || !both_are_words_of_one_width(tree))
        return nullptr;
    TYPE *narrow = a->left->type;
    const unsigned width = arc_width(narrow);
    if (!width || !narrow->is_int_or_enum() || !b->left->type->is_int_or_enum() ||
        a->type->is_bool() || b->type->is_bool() || arc_width(b->left->type) != width ||
        width > arc_width(a->type) || narrow->is_signed() != b->left->type->is_signed())
        return nullptr;
    static constexpr struct {
        int by_sign, plain;
    } orders[] = {{OP::LT, OP::ULT}, {OP::LE, OP::ULE}, {OP::GT, OP::UGT}, {OP::GE, OP::UGE}};
    int op = tree->op;
    const bool same_width = width == arc_width(a->type);
    for (const auto &row : orders) {
        const bool is_plain = op == row.plain;
        if (op != row.by_sign && !is_plain) continue;
        // Zeros above make the narrow order the unsigned one.
        if (!same_width && !narrow->is_signed()) op = row.plain;
        // An unsigned order on operands of signed type would need the casts that go away.
        if (op == row.plain && narrow->is_signed()) return nullptr;
        if (op == row.by_sign && !narrow->is_signed()) return nullptr;
        break;
    }
    return compare_parts(tree, op, &a->left, &b->left, loop, ctx);
}

// Both sides negated, or complemented, which turns the order around.
NODE *mirrored_operands(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *a = tree->left, *b = tree->right;
    if (a->op != b->op || !both_are_words_of_one_width(tree)) return nullptr;
    const bool turns = a->op == OP::NOTB;
    if (!turns && !(a->op == OP::UMINUS && is_equality(tree))) return nullptr;
    const unsigned width = arc_width(a->type);
    if (arc_width(a->left->type) != width || arc_width(b->left->type) != width) return nullptr;
    return compare_parts(tree, turns ? commute_inv[tree->op] : tree->op, &a->left, &b->left, loop,
                         ctx);
}

// The sum's operand that is like x; null for none.
NODE **operand_like(NODE *sum, const NODE *x) {
    if (trees_are_congruent(sum->left, x)) return &sum->left;
    if (sum->op != OP::MINUS && trees_are_congruent(sum->right, x)) return &sum->right;
    return nullptr;
}

bool is_sum(const NODE *tree) {
    return (tree->op == OP::PLUS || tree->op == OP::MINUS || tree->op == OP::XORB) &&
           both_are_words_of_one_width(tree) &&
           arc_width(tree->type) == arc_width(tree->left->type);
}

// x + y == x, the sum being on the left; x - y and x ^ y likewise.
NODE *sum_and_operand(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    if (!is_equality(tree) || !both_are_words_of_one_width(tree)) return nullptr;
    if (tree_has_side_effects(tree)) return nullptr; // what stands twice may not have one value
    for (const bool exchange : {false, true}) {
        NODE *&sum = exchange ? tree->right : tree->left, *&x = exchange ? tree->left : tree->right;
        if (!is_sum(sum)) continue;
        NODE **like = operand_like(sum, x);
        if (!like) continue;
        NODE **other = like == &sum->left ? &sum->right : &sum->left;
        NODE *rest = *other;
        *other = maketree(OP::NOP, nullptr, nullptr, rest->type, nullptr);
        TYPE *type = rest->type->type_qualified();
        erase_tree(tree->left);
        erase_tree(tree->right);
        tree->left = rest;
        tree->right = make_ICON(INT65(0), type);
        return simp_node(tree, loop, ctx);
    }
    return nullptr;
}

// x + y == x + z, and the same of - and ^.
NODE *sums_with_common_operand(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *a = tree->left, *b = tree->right;
    if (!is_equality(tree) || a->op != b->op || !both_are_words_of_one_width(tree) || !is_sum(a) ||
        !is_sum(b) || tree_has_side_effects(tree))
        return nullptr;
    for (NODE **of_b : {&b->left, &b->right}) {
        NODE **of_a = nullptr;
        if (a->op == OP::MINUS)
            of_a = of_b == &b->left ? &a->left : &a->right;
        else
            of_a = operand_like(a, *of_b);
        if (!of_a || !trees_are_congruent(*of_a, *of_b)) continue;
        NODE **rest_a = of_a == &a->left ? &a->right : &a->left,
             **rest_b = of_b == &b->left ? &b->right : &b->left;
        if ((*rest_a)->type->is_ptr() != (*rest_b)->type->is_ptr()) continue;
        return compare_parts(tree, tree->op, rest_a, rest_b, loop, ctx);
    }
    return nullptr;
}

// x + 3 == y + 5: one constant is enough.
NODE *sums_with_constants(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *a = tree->left, *b = tree->right;
    const auto adds_constant = [](const NODE *n) {
        return n->op == OP::PLUS && is_ICON(n->right) && is_sum(n);
    };
    if (!is_equality(tree) || !both_are_words_of_one_width(tree) || !adds_constant(a) ||
        !adds_constant(b))
        return nullptr;
    const INT65 sum = constant_as(a->right, a->type) - constant_as(b->right, b->type);
    tree->right = take_from_tree(&b->left, b);
    a->right->u.lval = truncate_to_type(sum, a->right->type);
    tree->left = simp_node(a, loop, ctx);
    return simp_node(tree, loop, ctx);
}

// x * 3 == y * 3 with an odd factor, which loses nothing.
NODE *odd_multiples(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *a = tree->left, *b = tree->right;
    if (!is_equality(tree) || a->op != OP::MULT || b->op != OP::MULT || !is_ICON(a->right) ||
        !is_ICON(b->right) || !both_are_words_of_one_width(tree) ||
        !both_are_words_of_one_width(a) || !both_are_words_of_one_width(b) ||
        arc_width(a->left->type) != arc_width(a->type))
        return nullptr;
    const INT65 factor = constant_as(a->right, a->type);
    if (factor != constant_as(b->right, a->type) || (factor.lo & 1) == 0) return nullptr;
    return compare_parts(tree, tree->op, &a->left, &b->left, loop, ctx);
}

// What is known of both sides lies apart, or on one side in the order.
NODE *ranges_decide(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    if (!both_are_words_of_one_width(tree)) return nullptr;
    const ARC a = arc_of_values(tree->left, loop, ctx), b = arc_of_values(tree->right, loop, ctx);
    if (a.is_full() || b.is_full()) return nullptr;
    if (is_equality(tree)) {
        const std::optional<ARC> both = intersection(a, b);
        if (!both || !both->is_empty()) return nullptr;
        return known_truth(tree->op == OP::NEQ, tree, loop, ctx);
    }
    const bool by_sign = tree->op < OP::ULE;
    const std::uint64_t least = by_sign ? a.ring() / 2 : 0;
    const std::uint64_t a_first = a.cut(a.lo - least), a_last = a_first + a.count - 1;
    const std::uint64_t b_first = b.cut(b.lo - least), b_last = b_first + b.count - 1;
    if (a_last >= a.ring() || b_last >= a.ring()) return nullptr;
    const bool or_equal =
        tree->op == OP::LE || tree->op == OP::GE || tree->op == OP::ULE || tree->op == OP::UGE;
    const bool asks_less =
        tree->op == OP::LE || tree->op == OP::LT || tree->op == OP::ULE || tree->op == OP::ULT;
    if (or_equal ? a_last <= b_first : a_last < b_first) {
        if (asks_less) return known_truth(true, tree, loop, ctx);
        if (!or_equal || a_last < b_first) return known_truth(false, tree, loop, ctx);
    }
    if (or_equal ? b_last <= a_first : b_last < a_first) {
        if (!asks_less) return known_truth(true, tree, loop, ctx);
        if (!or_equal || b_last < a_first) return known_truth(false, tree, loop, ctx);
    }
    if (!or_equal && (asks_less ? b_last <= a_first : a_last <= b_first))
        return known_truth(false, tree, loop, ctx);
    return nullptr;
}

// --- addresses

// The object or function that the tree's address lies in, and the bits from its beginning; null for
// others, and for what lies at its end or beyond.
const SYMTAB *object_at(const NODE *tree, std::int64_t *offset) {
    constexpr int unit = 16;
    *offset = 0;
    for (;; tree = tree->left) {
        const bool adds = tree->op == OP::PLUS && is_ICON(tree->right);
        if (adds) *offset += unit * std::int64_t{icon_value(tree->right).s32()};
        if (!adds && tree->op != OP::PCONV) break;
        if (!tree->left->type->is_ptr()) return nullptr;
    }
    if (tree->op != OP::UAND) return nullptr;
    const NODE *lvalue = tree->left;
    for (; lvalue->op == OP::STDOT; lvalue = lvalue->left)
        *offset += lvalue->right->u.field.mdata->offset;
    if (lvalue->op != OP::NAME) return nullptr;
    const SYMTAB *sym = lvalue->u.name.sym;
    const auto size = static_cast<std::int64_t>(sym->type->is_func() ? unit : sym->type->size());
    return *offset >= 0 && *offset < size ? sym : nullptr;
}

bool is_text_address(const NODE *tree) {
    while (tree->op == OP::PCONV && tree->left->type->is_ptr())
        tree = tree->left;
    return tree->op == OP::SCON && tree->type->is_ptr();
}

// No object and no function lies at the null pointer.
NODE *address_and_null(NODE *tree, LOOP *, CONTEXT *) {
    std::int64_t offset;
    if (!is_equality(tree) || !is_ICON(tree->right) || !icon_value(tree->right).is_zero() ||
        (!object_at(tree->left, &offset) && !is_text_address(tree->left)))
        return nullptr;
    NODE *icon = truth(tree->op == OP::NEQ, tree);
    erase_tree(tree);
    return icon;
}

// Two symbols may be declarations of one object.
bool are_apart(const SYMTAB *a, const SYMTAB *b) {
    if (a->level != b->level) return a->level == 0 || b->level == 0;
    return a->level != 0 || std::strcmp(a->name, b->name) != 0;
}

NODE *two_addresses(NODE *tree, LOOP *, CONTEXT *) {
    std::int64_t at_a, at_b;
    if (!is_equality(tree)) return nullptr;
    const SYMTAB *a = object_at(tree->left, &at_a), *b = object_at(tree->right, &at_b);
    if (!a || !b || (a != b && !are_apart(a, b))) return nullptr;
    const bool equal = a == b && at_a / 16 == at_b / 16;
    NODE *icon = truth(equal == (tree->op == OP::EQ), tree);
    erase_tree(tree);
    return icon;
}

// --- floats: only what holds for infinities, both zeros and what is no number

bool are_floats(const NODE *tree) {
    return tree->left->type->is_floating() && tree->right->type->is_floating();
}

NODE *float_negations(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *a = tree->left, *b = tree->right;
    if (!are_floats(tree) || a->op != OP::UMINUS || !a->left->type->is_floating()) return nullptr;
    const int op = commute_inv[tree->op];
    if (b->op == OP::UMINUS && b->left->type->is_floating())
        return compare_parts(tree, op, &a->left, &b->left, loop, ctx);
    if (!is_FCON(b)) return nullptr;
    tree->right = simp_node(maketree(OP::UMINUS, b, nullptr, b->type, nullptr), loop, ctx);
    tree->left = take_from_tree(&a->left, a);
    tree->op = static_cast<std::uint8_t>(op);
    return simp_node(tree, loop, ctx);
}

double value_of(const NODE *fcon) {
    return std::bit_cast<double>(fcon->u.fcon.value->bits);
}

// x - y < 0 and x - y > 0. The other comparisons differ for two equal infinities.
NODE *float_difference(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *difference = tree->left;
    if (!are_floats(tree) || (tree->op != OP::LT && tree->op != OP::GT) ||
        difference->op != OP::MINUS || !are_floats(difference) || !is_FCON(tree->right) ||
        value_of(tree->right) != 0)
        return nullptr;
    return compare_parts(tree, tree->op, &difference->left, &difference->right, loop, ctx);
}

// An integer that has become a float, against a constant: the conversion keeps the order, so that
// the integers less than the constant, and those equal to it, are found by halving.
NODE *converted_integer(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    NODE *conversion = tree->left;
    if (!are_floats(tree) || conversion->op != OP::SCONV || !is_FCON(tree->right) ||
        tree->op > OP::GT || conversion->type->size() != 32)
        return nullptr;
    TYPE *type = conversion->left->type;
    const unsigned width = arc_width(type);
    const double c = value_of(tree->right);
    if (!width || !type->is_int_or_enum() || c != c) return nullptr;
    const std::int64_t ring = std::int64_t{1} << width, least = type->is_signed() ? -ring / 2 : 0;
    const auto count = [&](auto is_below) {
        std::int64_t low = 0, high = ring;
        while (low < high) {
            const std::int64_t middle = (low + high) / 2;
            if (is_below(static_cast<double>(static_cast<float>(least + middle))))
                low = middle + 1;
            else
                high = middle;
        }
        return static_cast<std::uint64_t>(low);
    };
    const std::uint64_t below = count([c](double v) { return v < c; }),
                        up_to = count([c](double v) { return v <= c; });
    const auto first = static_cast<std::uint64_t>(least);
    ARC arc{0, 0, width};
    switch (tree->op) {
    case OP::EQ:
    case OP::NEQ: arc = {first + below, up_to - below, width}; break;
    case OP::LT:
    case OP::GE: arc = {first, below, width}; break;
    default: arc = {first, up_to, width}; break;
    }
    arc.lo = arc.cut(arc.lo);
    if (tree->op == OP::NEQ || tree->op == OP::GE || tree->op == OP::GT) arc = arc.complement();
    const std::optional<ARC_FORM> form = form_of_test(type, arc, arc_of_type(type));
    LS *scope = tree->scope;
    NODE *x = take_from_tree(&conversion->left, tree);
    NODE *result = write_test(x, *form, scope, loop, ctx);
    return boolean_inv[result->op] != OP::ILLOP ? simp_node(result, loop, ctx) : result;
}

// (x < y) == (y <= x), (x < 0) != (y < 0).
NODE *two_truths(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    return is_equality(tree) ? simp_different_truths(tree, loop, ctx) : nullptr;
}

// --- the catalogue, in order

constexpr RULE rules[] = {
    constant_to_the_right,    one_width,           congruent_operands, truth_value_and_constant,
    address_and_null,         two_addresses,       test_on_arc,        bits_decide,
    equal_multiple,           equal_remainder,     no_difference,      sign_of_difference,
    saturated_and_zero,       extended_operands,   mirrored_operands,  sum_and_operand,
    sums_with_common_operand, sums_with_constants, odd_multiples,      ranges_decide,
    float_negations,          float_difference,    converted_integer,  two_truths,
};
} // namespace

NODE *simp_relop(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    for (const RULE rule : rules)
        if (NODE *result = rule(tree, loop, ctx)) return result;
    return tree;
}
