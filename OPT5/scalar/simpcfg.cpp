// Tidying of the flow graph: constant conditions, empty blocks, branches to branches, straight
// lines, on request equal tails and SWITCH statements.
//
// A round threads the branches, drops what cannot be reached any more and joins straight lines.
// Without cross-jumping one round reaches the fixed point; a round that shares statements can empty
// blocks, and is followed by another. Each such round lowers the number of statements.
#include "OPT5/scalar/simpcfg.h"
#include "OPT5/driver/abort.h"
#include "OPT5/driver/log.h"

SIMPCFG_COUNTS simpcfg_counts;

namespace {
bool tree_has_QUEST(const NODE *tree) {
    for (; tree; tree = tree->right)
        if (tree->op == OP::QUEST || tree_has_QUEST(tree->left)) return true;
    return false;
}

bool function_has_QUEST() {
    for (const BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink)
        for (const LIST *cell = bb->statements; cell; cell = cell->rest)
            if (tree_has_QUEST(cell->first)) return true;
    return false;
}

bool is_in_tree_form() {
    for (const BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink)
        if (bb->lir_head) return false;
    return true;
}

void tidy_once(bool clean_switches) {
    thread_branches();
    if (clean_switches) optimize_SWITCH_cases();
    rebuildcfg();
    if (merge_blocks()) rebuildcfg();
}
} // namespace

std::vector<bool> root_blocks() {
    std::vector<bool> is_root(currfuninfo->blocks.size(), false);
    is_root[currfuninfo->bb_list->serial] = true;
    for (const BBLK *bb : handler_blocks(currfuninfo))
        is_root[bb->serial] = true;
    return is_root;
}

LIST *branch_cell(const BBLK *bb) {
    LIST *last = last_cell(bb->statements);
    return last && last->first && op_ends_block(last->first->op) ? last : nullptr;
}

NODE *take_branch(LIST *cell, NODE *replacement) {
    NODE *const branch = cell->first;
    NODE *const value = branch->op == OP::BRANCH ? nullptr : branch->left;
    if (value) branch->left = nullptr;
    cell->first = replacement;
    erase_tree(branch);
    return value;
}

bool branch_always(LIST *cell, BBLK *to) {
    NODE *const jump = mk_BRANCH(to, cell->first->scope);
    NODE *const effect = peel_for_effect(take_branch(cell, jump));
    if (!effect) return false;
    cell->first = effect;
    cell->rest = mkelist(jump, nullptr, cell->psn);
    return true;
}

void simpcfg(bool cross_jump, bool clean_switches) {
    dprintf("\n\n\t\t\t---------- ENTERING 'simpcfg' ----------\n");
    if (!currfuninfo || !currfuninfo->bb_list) return;
    const bool has_loops = currfuninfo->bb_list->loop != nullptr;
    const bool quest_is_ok = !has_loops || !function_has_QUEST();
    OPTASSERT(quest_is_ok || currfuninfo->bb_list->loop == NULL);
    // The records of a loop hierarchy name blocks, which must stay; the low-level form has passes
    // of its own.
    if (has_loops || !is_in_tree_form()) return;
    tidy_once(clean_switches);
    while (cross_jump && cross_jump_blocks()) {
        rebuildcfg();
        tidy_once(clean_switches);
    }
}

void do_early_cross_jumping() {
    if (!currfuninfo || !currfuninfo->bb_list) return;
    simpcfg(true, false);
}

void simpcfg_dump_counts() {
    const SIMPCFG_COUNTS &n = simpcfg_counts;
    dprintf(
        "\nsimpcfg: %d conditions folded, %d branches threaded, %d blocks merged, %d statements "
        "shared, %d cases dropped, %d switches replaced\n",
        n.conditions, n.threaded, n.merged, n.crossed, n.cases, n.switches);
}
