// What is known of values from outside the tree that is simplified: the condition under which it is
// evaluated, or a range that the caller knows. What is known of a tree says something of the parts
// that its value follows from, down to the variables; while it is in force, the facts of
// simp_facts.h take it in, so that every rule uses it.
#include "OPT5/scalar/simp_known.h"

#include <algorithm>
#include <span>

namespace {
using I64 = std::int64_t;

// A tree is looked at once more for the sake of what is known, so that it must not be large.
constexpr int most_nodes = 48;
constexpr int max_depth = 5;

bool is_plain_variable(const NODE *tree) {
    return tree->op == OP::NAME && !node_is_volatile_access(tree);
}

struct RANGE {
    I64 lo, hi;
};

// As the shape reads it, modulo two to the width; false when it comes apart by that.
bool wraps_into(RANGE &range, VALUE_SHAPE shape) {
    const I64 turn = I64{1} << shape.bits;
    if (range.hi < shape.min()) range = {range.lo + turn, range.hi + turn};
    if (range.lo > shape.max()) range = {range.lo - turn, range.hi - turn};
    return range.lo >= shape.min() && range.hi <= shape.max() && range.lo <= range.hi;
}

// From the value of a cast to its operand, which is no wider; false: it says nothing.
bool goes_below_cast(RANGE &range, VALUE_SHAPE cast, VALUE_SHAPE operand) {
    if (operand.bits > cast.bits) return false;
    // What the cast reads is the operand's value extended by its own sign.
    const bool keeps_value =
        operand.is_signed == cast.is_signed || (!operand.is_signed && operand.bits < cast.bits);
    if (!keeps_value && !wraps_into(range, {cast.bits, operand.is_signed})) return false;
    range = {std::max(range.lo, operand.min()), std::min(range.hi, operand.max())};
    return range.lo <= range.hi;
}

// What the operand of a node with a constant on its other side is, modulo two to the width, when
// the node's value lies in the range.
RANGE range_below(const NODE *node, const RANGE &value, I64 constant) {
    switch (node->op) {
    case OP::PLUS: return {value.lo - constant, value.hi - constant};
    case OP::MINUS: // constant - x
        return {constant - value.hi, constant - value.lo};
    case OP::UMINUS: return {-value.hi, -value.lo};
    case OP::NOTB: return {-1 - value.hi, -1 - value.lo};
    default: return {1, 0};
    }
}

// The operand that the value follows from alone; null: there is none.
const NODE *only_operand(const NODE *node, I64 *constant) {
    *constant = 0;
    switch (node->op) {
    case OP::UMINUS:
    case OP::NOTB: return node->left;
    case OP::PLUS:
        if (!is_ICON(node->right)) return nullptr;
        *constant = static_cast<I64>(constant_as(node->right, node->type).low64());
        return node->left;
    case OP::MINUS:
        if (!is_ICON(node->left)) return nullptr;
        *constant = static_cast<I64>(constant_as(node->left, node->type).low64());
        return node->right;
    default: return nullptr;
    }
}
} // namespace

KNOWN_RANGES *KNOWN_RANGES::in_force = nullptr;

KNOWN_RANGES::KNOWN_RANGES() : outer_(in_force) {
    in_force = this;
}

KNOWN_RANGES::~KNOWN_RANGES() {
    in_force = outer_;
}

void KNOWN_RANGES::add(const NODE *tree, I64 lo, I64 hi) {
    RANGE range{lo, hi};
    for (int depth = 0; depth < max_depth; ++depth) {
        const VALUE_SHAPE shape = value_shape(tree->type);
        if (!is_plain_int(tree->type) || !wraps_into(range, shape)) return;
        if (is_plain_variable(tree)) return add_variable(tree, range.lo, range.hi);
        I64 constant = 0;
        const NODE *below = tree->op == OP::SCONV ? tree->left : only_operand(tree, &constant);
        if (!below || !is_plain_int(below->type)) return;
        if (tree->op == OP::SCONV) {
            if (!goes_below_cast(range, shape, value_shape(below->type))) return;
        } else {
            if (below->type->size() != tree->type->size()) return;
            range = range_below(tree, range, constant);
        }
        tree = below;
    }
}

void KNOWN_RANGES::add_variable(const NODE *name, I64 lo, I64 hi) {
    if (count_ < most) entries_[count_++] = {name->u.name.sym, name->type, lo, hi};
}

void KNOWN_RANGES::add_condition(const NODE *condition, bool holds, int depth) {
    if (depth == 0) return;
    // Also without a jump: that 0s and 1s are all 1, or bits all 0.
    const bool all_hold = holds ? condition->op == OP::ANDAND || (condition->op == OP::ANDB &&
                                                                  returns_1_or_0(condition->left) &&
                                                                  returns_1_or_0(condition->right))
                                : condition->op == OP::OROR || condition->op == OP::ORB;
    if (all_hold) {
        add_condition(condition->right, holds, depth - 1);
        return add_condition(condition->left, holds, depth - 1);
    }
    if (condition->op == OP::EXCLAIM) return add_condition(condition->left, !holds, depth - 1);
    if (condition->op >= OP::EQ && condition->op <= OP::UGT)
        return add_comparison(condition, holds ? int{condition->op} : boolean_inv[condition->op]);
    if (!holds && condition->op != OP::ANDAND) add(condition, 0, 0); // it is tested against zero
}

// The operator holds of the operands of the comparison.
void KNOWN_RANGES::add_comparison(const NODE *comparison, int op) {
    const NODE *value = comparison->left;
    const VALUE_SHAPE shape = value_shape(value->type);
    if (shape.bits == 0 || value->type->is_ptr() || !is_ICON(comparison->right)) return;
    const bool by_order = op != OP::EQ && op != OP::NEQ, by_sign = op >= OP::LE && op <= OP::GT;
    // Operands of two widths are compared in the greater one.
    if (by_order && by_sign != shape.is_signed) return;
    if (comparison->right->type->size() > value->type->size()) return;
    const I64 c = static_cast<I64>(constant_as(comparison->right, value->type).low64());
    switch (op) {
    case OP::EQ: return add(value, c, c);
    case OP::NEQ:
        if (c == shape.min()) add(value, c + 1, shape.max());
        if (c == shape.max()) add(value, shape.min(), c - 1);
        return;
    case OP::LT:
    case OP::ULT:
        if (c > shape.min()) add(value, shape.min(), c - 1);
        return;
    case OP::LE:
    case OP::ULE: return add(value, shape.min(), c);
    case OP::GT:
    case OP::UGT:
        if (c < shape.max()) add(value, c + 1, shape.max());
        return;
    default: return add(value, c, shape.max());
    }
}

bool KNOWN_RANGES::find(const NODE *tree, I64 *lo, I64 *hi) {
    if (tree->op != OP::NAME) return false;
    bool found = false;
    for (const KNOWN_RANGES *one = in_force; one; one = one->outer_)
        for (unsigned n = 0; n < one->count_; ++n) {
            const ENTRY &entry = one->entries_[n];
            if (entry.sym != tree->u.name.sym || entry.type != tree->type) continue;
            *lo = found ? std::max(*lo, entry.lo) : entry.lo;
            *hi = found ? std::min(*hi, entry.hi) : entry.hi;
            found = true;
        }
    return found;
}

bool KNOWN_RANGES::says_something_of(const NODE *tree) const {
    return std::any_of(entries_, entries_ + count_,
                       [tree](const ENTRY &entry) { return sym_appears_in_tree(entry.sym, tree); });
}

NODE *KNOWN_RANGES::with_constants(NODE *tree) const {
    for (const ENTRY &entry : std::span(entries_, count_)) {
        NODE *name = mk_NAME(entry.sym, nullptr);
        I64 lo = 0, hi = 0;
        if (find(name, &lo, &hi) && lo == hi) {
            NODE *constant = make_ICON(INT65(lo), name->type);
            tree = subst_tree_for_lvalue_in_tree(constant, name, tree);
            erase_node(constant);
        }
        erase_node(name);
    }
    return tree;
}

NODE *simp_with_known_ranges(NODE *tree, const KNOWN_RANGES &known, bool *changed, LOOP *loop,
                             CONTEXT *ctx) {
    *changed = false;
    if (!known.says_something_of(tree) || tree_has_side_effects(tree) ||
        count_nodes_in_tree(tree) > most_nodes)
        return tree;
    NODE *before = copy_tree(tree, true);
    tree = simp_tree(known.with_constants(tree), loop, ctx);
    *changed = !trees_are_congruent(before, tree);
    erase_tree(before);
    return tree;
}

bool simp_under_condition(NODE *&tree, const NODE *condition, bool holds, LOOP *loop,
                          CONTEXT *ctx) {
    // Within a tree that is looked at again, each condition would look at its arms again.
    if (KNOWN_RANGES::is_anything_in_force() || !is_small_and_pure(condition)) return false;
    KNOWN_RANGES known;
    known.add_condition(condition, holds);
    bool changed = false;
    tree = simp_with_known_ranges(tree, known, &changed, loop, ctx);
    return changed;
}
