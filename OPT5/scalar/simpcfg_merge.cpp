// Straight lines: a block that ends in a branch takes over the block that only it leads to. What is
// left of the other is an unreachable husk, which rebuildcfg removes.
#include "OPT5/scalar/simpcfg.h"

namespace {
class MERGER {
public:
    MERGER() : is_root(root_blocks()), is_gone(is_root.size(), false) {}
    bool run(); // whether there was a line to join

private:
    BBLK *next_in_line(const BBLK *bb, const LIST *branch) const;
    static LIST *append(BBLK *bb, LIST *branch, BBLK *next);

    std::vector<bool> is_root, is_gone; // by serial
};

// The block that can be appended to `bb`, or null. The exit block stays by itself.
BBLK *MERGER::next_in_line(const BBLK *bb, const LIST *branch) const {
    if (!branch || branch->first->op != OP::BRANCH) return nullptr;
    BBLK *const next = label_block(branch->first->left);
    const bool has_one_predecessor = next->predecessors && !next->predecessors->next;
    if (next == bb || !has_one_predecessor || is_root[next->serial] || next->is_exit)
        return nullptr;
    return next->statements ? next : nullptr;
}

// Puts the statements of `next` in the place of the branch. Returns the cell of the new last one.
LIST *MERGER::append(BBLK *bb, LIST *branch, BBLK *next) {
    LIST *const first = next->statements;
    erase_tree(branch->first);
    branch->first = first->first;
    branch->psn = first->psn;
    branch->rest = first->rest;
    first->rest = nullptr;
    erase_tree_list_only(first);
    next->statements = nullptr;
    erase_edge_list(bb->successors);
    bb->successors = next->successors;
    next->successors = nullptr;
    bb->dFreqOut = next->dFreqOut;
    return last_cell(branch);
}

bool MERGER::run() {
    bool any = false;
    for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink) {
        if (is_gone[bb->serial]) continue;
        LIST *branch = branch_cell(bb);
        bool grown = false;
        while (BBLK *next = next_in_line(bb, branch)) {
            is_gone[next->serial] = true;
            branch = append(bb, branch, next);
            ++simpcfg_counts.merged;
            grown = true;
        }
        if (grown) find_positions(bb);
        any |= grown;
    }
    return any;
}
} // namespace

bool merge_blocks() {
    return MERGER().run();
}
