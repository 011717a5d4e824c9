// Straightening of paths through conditions.
//
// A block that does nothing but test a condition, and that is entered from a test of the same
// condition or its opposite, goes one way from there: nothing lies between the two tests. The edge
// leads on to where the second test would go. Edges from one test to the next are followed as far
// as they go; each is looked at once for each test on its way, and the graph is tidied at the end.
#include "OPT5/driver/global_flags.h"
#include "OPT5/driver/log.h"
#include "OPT5/scalar/name_uses.h"
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
} // namespace

void straighten_cond_paths() {
    if (opt_level() < 1 || !currfuninfo->bb_list) return;
    bool changed = false;
    for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink) {
        NODE *test = last_statement(bb);
        if (!test || test->op != OP::IF || tree_has_side_effects(test->left)) continue;
        changed |= straighten_arm(test, true);
        changed |= straighten_arm(test, false);
    }
    if (!changed) return;
    rebuildcfg();
    simpcfg(false, false);
}
