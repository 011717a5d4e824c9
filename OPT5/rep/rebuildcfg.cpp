// The depth-first pass: edges, order and numbers of the blocks of the current function anew.
//
// 1. A walk from the roots, which are the entry block and the blocks where exception handlers
//    begin, takes the successors of each block from its last statement. Reverse postorder becomes
//    the order of the blocks. Successors stand in the list from the last target to the first, so
//    that the first target comes next in that order: where an IF's true arm leads.
// 2. Predecessors are the reverse of the successors.
// 3. Blocks that the walk has not met are erased. The exit block stays, as the last one.
#include "OPT5/driver/abort.h"
#include "OPT5/driver/log.h"
#include "OPT5/rep/cfg_pools.h"

#include <algorithm>

namespace {
void forget_order() {
    for (BBLK *bb = first_created(); bb; bb = bb->uolink) {
        bb->predecessors = erase_edge_list(bb->predecessors);
        bb->dfn = 0;
        bb->reached = bb->visited = false;
    }
}

void visit_from(BBLK *root, std::vector<BBLK *> &postorder) {
    struct STEP {
        BBLK *bb;
        const EDGE *next;
    };
    std::vector<STEP> path;
    const auto enter = [&path](BBLK *bb) {
        OPTASSERT(!bb->visited);
        bb->visited = bb->reached = true;
        refresh_successors(bb);
        path.push_back({bb, bb->successors});
    };
    if (!root->visited) enter(root);
    while (!path.empty()) {
        const EDGE *edge = path.back().next;
        if (!edge) {
            postorder.push_back(path.back().bb);
            path.pop_back();
            continue;
        }
        path.back().next = edge->next;
        if (!edge->bb->visited) enter(edge->bb);
    }
}

// The blocks that control can reach, in reverse postorder. The entry block comes first.
std::vector<BBLK *> depth_first_order() {
    std::vector<BBLK *> roots = handler_blocks(currfuninfo);
    std::reverse(roots.begin(), roots.end());
    roots.push_back(currfuninfo->bb_list);
    std::vector<BBLK *> order;
    for (BBLK *root : roots)
        visit_from(root, order);
    std::reverse(order.begin(), order.end());
    return order;
}

void link_in_order(const std::vector<BBLK *> &order) {
    BBLK *before = nullptr;
    for (BBLK *bb : order) {
        bb->rdflink = before;
        bb->dflink = nullptr;
        if (before) before->dflink = bb;
        before = bb;
    }
    currfuninfo->bb_list = order.front();
}

// An edge has one cell, though a block in low-level form may name its target twice.
void add_predecessors(const std::vector<BBLK *> &order) {
    for (BBLK *bb : order)
        for (const EDGE *edge = bb->successors; edge; edge = edge->next) {
            EDGE *&list = edge->bb->predecessors;
            if (!list || list->bb != bb) list = mkedge(bb, list, edge->freq);
        }
}

void erase_unreachable() {
    for (BBLK *bb = first_created(), *next; bb; bb = next) {
        next = bb->uolink;
        if (bb->reached || bb->is_exit) continue;
        if (print_debug) dprintf("\nUNREACHABLE BASIC BLOCK: UON==%d\n", bb->uon);
        bb->dflink = bb->rdflink = nullptr; // of an order that is gone
        erase_bblock(bb);
    }
}

// Nothing leads to the entry block, so that what runs once has its place there.
void keep_entry_apart() {
    BBLK *first = currfuninfo->bb_list;
    const std::vector<BBLK *> handlers = handler_blocks(currfuninfo);
    const bool is_handler = std::find(handlers.begin(), handlers.end(), first) != handlers.end();
    if ((!first->predecessors && !is_handler) || first->lir_head) return;
    LIST *jump = mkelist(mk_BRANCH(first, nullptr), nullptr, nullptr);
    BBLK *entry = mkbblock(jump, first, currfuninfo);
    entry->loop = first->loop;
    entry->reached = true;
    entry->successors = mkedge(first, nullptr, -1.0);
    EDGE **end = &first->predecessors; // where the next pass will have it
    while (*end)
        end = &(*end)->next;
    *end = mkedge(entry, nullptr, -1.0);
    currfuninfo->bb_list = entry;
}

void number_blocks() {
    std::vector<BBLK *> &blocks = currfuninfo->blocks;
    blocks.erase(std::remove(blocks.begin(), blocks.end(), nullptr), blocks.end());
    for (unsigned serial = 0; serial < blocks.size(); ++serial)
        blocks[serial]->serial = serial;
    int dfn = 0, uon = 0;
    for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink)
        bb->dfn = ++dfn;
    for (BBLK *bb = first_created(); bb; bb = bb->uolink)
        bb->uon = ++uon;
    currfuninfo->bb_count = dfn;
}

// Without a prolog, as in low-level form, the copy of the last one stays.
void copy_prolog() {
    const LIST *first = currfuninfo->bb_list->statements;
    if (!first || !tree_is_arg_prolog(first->first)) return;
    NODE *&copy = currfuninfo->prolog_copy;
    if (copy) erase_tree(copy);
    copy = copy_tree(first->first, true);
}
} // namespace

void rebuildcfg() {
    if (!currfuninfo->bb_list) return;
    forget_order();
    std::vector<BBLK *> order = depth_first_order();
    BBLK *exit = currfuninfo->exit_bb;
    if (exit && !exit->reached) order.push_back(exit);
    erase_unreachable();
    link_in_order(order);
    add_predecessors(order);
    keep_entry_apart();
    number_blocks();
    number_labels();
    copy_prolog();
    if (refresh_profile_hook) refresh_profile_hook();
    dominators_are_stale();
}
