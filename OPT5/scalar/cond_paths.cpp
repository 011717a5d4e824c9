// Straightening of paths through conditions.
//
// Two cases, both of a test whose outcome an earlier test of the same condition, or its opposite,
// has decided. A block that does nothing but test, entered from such a test: the edge leads on to
// where the second test would go, whatever other edges enter the block; edges from one test to the
// next are followed as far as they go. And a test in a block with one way in, along blocks with one
// way in each, when nothing on the way changes the condition: it becomes a jump. The graph is
// tidied at the end.
#include "OPT5/driver/global_flags.h"
#include "OPT5/driver/log.h"
#include "OPT5/scalar/alias.h"
#include "OPT5/scalar/scalar.h"

namespace {
// The IF that is all of the block, or null.
NODE *lone_test(const BBLK *bb) {
    const LIST *cell = bb->statements;
    while (cell && cell->first->op == OP::ASM && cell->first->u.asm_.kind == 47)
        cell = cell->rest;
    NODE *stmt = cell && !cell->rest ? cell->first : nullptr;
    return stmt && stmt->op == OP::IF && !tree_has_side_effects(stmt->left) ? stmt : nullptr;
}

// 1 when the second condition holds whenever the first is `value`, 0 when it does not, -1: unknown.
int decided(const NODE *first, bool value, const NODE *second) {
    while (first->op == OP::EXCLAIM) {
        first = first->left;
        value = !value;
    }
    bool sense = true;
    while (second->op == OP::EXCLAIM) {
        second = second->left;
        sense = !sense;
    }
    if (trees_are_congruent(first, second)) return value == sense;
    const bool is_opposite = boolean_inv[first->op] == second->op &&
                             tree_is_trivially_invertible(first) &&
                             trees_are_congruent(first->left, second->left) &&
                             trees_are_congruent(first->right, second->right);
    return is_opposite ? value != sense : -1;
}

NODE *&arm_of(NODE *test, bool value) {
    return value ? test->right->left : test->right->right;
}

bool straighten_arm(NODE *test, bool value) {
    bool changed = false;
    // A ring of tests has no more of them than the function has blocks.
    for (int steps = currfuninfo->bb_count; steps > 0; --steps) {
        NODE *&arm = arm_of(test, value);
        BBLK *to = label_block(arm);
        NODE *next = lone_test(to);
        if (!next || next == test) break;
        const int goes = decided(test->left, value, next->left);
        if (goes < 0) break;
        BBLK *beyond = label_block(arm_of(next, goes));
        if (beyond == to) break;
        dprintf("\n\tStraightening the path through block %d\n", to->dfn);
        point_label(arm, beyond);
        changed = true;
    }
    return changed;
}
// Control comes to the entry block from outside too.
const BBLK *only_predecessor(const BBLK *bb) {
    if (bb == currfuninfo->bb_list) return nullptr;
    return bb->predecessors && !bb->predecessors->next ? bb->predecessors->bb : nullptr;
}

bool statements_may_modify(const BBLK *bb, const NODE *value) {
    for (const LIST *cell = bb->statements; cell; cell = cell->rest)
        if (!op_ends_block(cell->first->op) && tree_may_modify_value(cell->first, value))
            return true;
    return false;
}

// What the tests on the only way to the block say about its own: 1 or 0, or -1.
int decided_on_the_way(BBLK *bb, const NODE *test) {
    constexpr int most_steps = 16; // keeps the whole in proportion to the function
    const BBLK *below = bb;
    for (int steps = 0; steps < most_steps; ++steps) {
        if (statements_may_modify(below, test->left)) return -1;
        const BBLK *above = only_predecessor(below);
        if (!above || above == bb) return -1;
        NODE *earlier = last_statement(above);
        if (earlier && earlier->op == OP::IF && !tree_has_side_effects(earlier->left)) {
            const bool when_true = label_block(arm_of(earlier, true)) == below;
            const bool when_false = label_block(arm_of(earlier, false)) == below;
            const int value =
                when_true != when_false ? decided(earlier->left, when_true, test->left) : -1;
            if (value >= 0) return value;
        } else if (earlier && tree_may_modify_value(earlier, test->left)) {
            return -1;
        }
        below = above;
    }
    return -1;
}

bool decide_test(BBLK *bb, NODE *test) {
    const int value = decided_on_the_way(bb, test);
    if (value < 0) return false;
    dprintf("\n\tThe test that ends block %d is decided: %d\n", bb->dfn, value);
    point_label(arm_of(test, value == 0), label_block(arm_of(test, value != 0)));
    return true;
}
} // namespace

void straighten_cond_paths() {
    if (opt_level() < 1 || !currfuninfo->bb_list) return;
    init_aliasing_info();
    std::vector<std::pair<BBLK *, NODE *>> tests;
    for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink) {
        NODE *test = last_statement(bb);
        if (test && test->op == OP::IF && !tree_has_side_effects(test->left))
            tests.emplace_back(bb, test);
    }
    bool changed = false;
    // Deciding a test takes edges away; the lists of predecessors then hold too many, which does no
    // harm. What follows adds edges. An exception handler has a way in that no edge stands for.
    if (currfuninfo->eht_size <= 1)
        for (const auto &[bb, test] : tests)
            changed |= decide_test(bb, test);
    for (const auto &[bb, test] : tests) {
        changed |= straighten_arm(test, true);
        changed |= straighten_arm(test, false);
    }
    if (!changed) return;
    rebuildcfg();
    simpcfg(false, false);
}
