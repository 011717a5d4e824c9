// What the parts of the flow graph's tidying share.
#pragma once

#include "OPT5/rep/bblk.h"

#include <vector>

// What simpcfg has done since the start of the run.
struct SIMPCFG_COUNTS {
    int conditions = 0; // branches that always go one way
    int threaded = 0;   // branches led past empty blocks
    int merged = 0;     // blocks joined to their only predecessor
    int crossed = 0;    // statements that several blocks have come to share
    int cases = 0;      // cases dropped from SWITCH statements
    int switches = 0;   // SWITCH statements that became another branch
};
extern SIMPCFG_COUNTS simpcfg_counts;

// A block that control can enter other than by an edge: the entry block and the exception handlers.
// By serial number.
std::vector<bool> root_blocks();
// The cell of the block's final branch; null for a block without one.
LIST *branch_cell(const BBLK *bb);
// Puts another statement into a branch's cell. What remains of the branch is the value that it
// decided on, which the caller owns; null for a BRANCH.
NODE *take_branch(LIST *cell, NODE *replacement);
// Replaces the branch in the cell by a BRANCH to the block. What must still run of the condition
// goes before it. Returns whether anything did.
bool branch_always(LIST *cell, BBLK *to);
// The block that an IF or SWITCH on a constant leads to; null when the choice is open.
BBLK *target_by_constant(const NODE *branch);
// The LABELs of a final branch; those of a SWITCH from the last to the first.
template <class Visit> void for_each_target(NODE *branch, Visit visit) {
    NODE *chain = branch->op == OP::BRANCH                           ? branch->left
                  : branch->op == OP::IF || branch->op == OP::SWITCH ? branch->right
                                                                     : nullptr;
    while (chain) {
        NODE *target = chain->op == OP::COMMA ? chain->right : chain;
        chain = chain->op == OP::COMMA ? chain->left : nullptr;
        if (target->op == OP::CASE) target = target->right;
        if (target->op == OP::DEFAULT) target = target->left;
        visit(target);
    }
}

// The passes below leave the edges to rebuildcfg, which has to follow each of them.

// Folds branches that go one way and leads the others past empty blocks.
void thread_branches();
// Joins blocks to their only predecessor. Needs exact predecessors. Returns whether there were any,
// whose edges then want to be made anew.
bool merge_blocks();
// Lets blocks share equal statements before a common successor or a common return. Returns whether
// anything changed. Needs exact predecessors.
bool cross_jump_blocks();
