// Basic blocks: making, linking, numbering and erasing them.
#include "OPT5/rep/bblk.h"

#include "OPT5/driver/abort.h"
#include "OPT5/icode/if.h"
#include "OPT5/rep/cfg_pools.h"
#include "OPT5/rep/loop.h"

#include <utility>

void (*clear_points_to_hook)();
void (*refresh_profile_hook)();

SLAB_POOL<BBLK> block_pool;
SLAB_POOL<EDGE> edge_pool;
SLAB_POOL<LBL> label_pool;

namespace {
void clear_points_to() {
    if (clear_points_to_hook) clear_points_to_hook();
}

// One of the two doubly linked orders of blocks.
struct ORDER {
    BBLK *BBLK::*next, *BBLK::*previous;

    void link(BBLK *before, BBLK *bb, BBLK *behind) const {
        bb->*previous = before;
        bb->*next = behind;
        if (before) before->*next = bb;
        if (behind) behind->*previous = bb;
    }
    void unlink(BBLK *bb) const {
        if (BBLK *before = bb->*previous) before->*next = bb->*next;
        if (BBLK *behind = bb->*next) behind->*previous = bb->*previous;
        bb->*next = bb->*previous = nullptr;
    }
};
constexpr ORDER depth_first{&BBLK::dflink, &BBLK::rdflink};
constexpr ORDER creation{&BBLK::uolink, &BBLK::ruolink};

// Whether control leaves the function at this block. The exit block stays when nothing leads to it.
bool block_ends_function(const BBLK *bb) {
    return !bb->successors && (!bb->is_exit || bb->predecessors || bb == bb->owner->bb_list);
}
} // namespace

BBLK *mkbblock(LIST *statements, BBLK *next, FUNINFO *funinfo) {
    BBLK *bb = block_pool.make();
    bb->serial = static_cast<unsigned>(funinfo->blocks.size());
    bb->uon = static_cast<std::int32_t>(bb->serial);
    bb->owner = funinfo;
    funinfo->blocks.push_back(bb);
    bb->statements = statements;
    find_positions(bb);
    if (next) {
        depth_first.link(next->rdflink, bb, next);
        creation.link(next->ruolink, bb, next);
    }
    dominators_are_stale();
    return bb;
}

BBLK *insert_new_bb(int uon, BBLK *after, LIST *statements) {
    BBLK *bb = mkbblock(statements, nullptr, after->owner);
    depth_first.link(after, bb, after->dflink);
    creation.link(after, bb, after->uolink);
    bb->uon = uon;
    bb->label = mklabel(0, nullptr, bb);
    clear_points_to();
    return bb;
}

BBLK *first_created() {
    BBLK *bb = currfuninfo->bb_list;
    while (bb->ruolink)
        bb = bb->ruolink;
    return bb;
}

void renumber_bblocks() {
    int dfn = 0, uon = 0;
    bool ends = false;
    BBLK *before = nullptr;
    for (BBLK *bb = currfuninfo->bb_list; bb; before = bb, bb = bb->dflink) {
        bb->dfn = ++dfn;
        bb->rdflink = before;
        ends |= block_ends_function(bb);
    }
    for (BBLK *bb = first_created(); bb; bb = bb->uolink)
        bb->uon = ++uon;
    currfuninfo->bb_count = dfn;
    number_labels();
    if (!ends) {
        currfuninfo->flags |= FUN_never_returns;
        currfuninfo->flags &= ~FUN_is_pure_fun;
    }
    dominators_are_stale();
    clear_points_to();
}

void delink_old_bb(BBLK *bb) {
    depth_first.unlink(bb);
    creation.unlink(bb);
    dominators_are_stale();
}

BBLK *erase_bblock(BBLK *bb) {
    delink_old_bb(bb);
    bb->statements = erase_tree_list(bb->statements);
    bb->predecessors = erase_edge_list(bb->predecessors);
    bb->successors = erase_edge_list(bb->successors);
    bb->descendants = erase_edge_list(bb->descendants);
    for (LBL *label = bb->label; label; label = label->next)
        if (label->bb == bb) label->bb = nullptr;
    FUNINFO *owner = bb->owner;
    owner->blocks[bb->serial] = nullptr;
    if (owner->exit_bb == bb) owner->exit_bb = nullptr;
    if (owner->bb_list == bb) owner->bb_list = nullptr;
    block_pool.release(bb);
    return nullptr;
}

void erase_function_body(FUNINFO *funinfo) {
    delete std::exchange(funinfo->dominator, nullptr);
    funinfo->dominator_is_stale = true;
    if (funinfo->bb_list && funinfo->bb_list->loop) erase_loop_and_subloops(funinfo->bb_list->loop);
    for (BBLK *bb : std::exchange(funinfo->blocks, {})) {
        if (!bb) continue;
        erase_tree_list(bb->statements);
        for (EDGE *edges : {bb->predecessors, bb->successors, bb->descendants})
            erase_edge_list(edges);
        block_pool.release(bb);
    }
    funinfo->bb_list = funinfo->exit_bb = nullptr;
    funinfo->bb_count = 0;
    funinfo->pending = erase_tree_list(funinfo->pending);
    if (funinfo->prolog_copy) funinfo->prolog_copy = erase_tree(funinfo->prolog_copy);
    for (unsigned i = 1; i < funinfo->eht_size; ++i)
        if (funinfo->eht[i].cleanup) erase_tree(funinfo->eht[i].cleanup);
    delete[] std::exchange(funinfo->eht, nullptr);
    funinfo->eht_size = 0;
    erase_labels(funinfo);
}

void erase_all_bblocks() {
    reset_labels();
    block_pool.clear();
    edge_pool.clear();
    label_pool.clear();
}

std::vector<BBLK *> handler_blocks(const FUNINFO *funinfo) {
    std::vector<BBLK *> blocks;
    std::vector<bool> listed(funinfo->eht_size > 1 ? funinfo->blocks.size() : 0, false);
    for (unsigned i = 1; i < funinfo->eht_size; ++i)
        for (const I_CATCH_ENTRY &clause : funinfo->eht[i].catches) {
            BBLK *bb = clause.lbl ? clause.lbl->bb : nullptr;
            if (!bb || listed[bb->serial]) continue;
            listed[bb->serial] = true;
            blocks.push_back(bb);
        }
    return blocks;
}

// --- statements

void find_positions(BBLK *bb) {
    bb->psn_first = bb->psn_last = nullptr;
    for (const LIST *cell = bb->statements; cell; cell = cell->rest) {
        if (!cell->psn) continue;
        if (!bb->psn_first) bb->psn_first = cell->psn;
        bb->psn_last = cell->psn;
    }
}

bool tree_is_arg_prolog(const NODE *stmt) {
    if (stmt->op == OP::PCOMMA) return true;
    if (stmt->op != OP::ASG || stmt->left->op != OP::NAME || stmt->right->op != OP::NAME)
        return false;
    const SYMTAB *from = stmt->right->u.name.sym;
    return from && from->level == 1;
}

bool op_ends_block(int op) {
    switch (op) {
    case OP::BRANCH:
    case OP::IF:
    case OP::SWITCH:
    case OP::RETURN:
    case OP::URETURN: return true;
    default: return false;
    }
}

LIST *last_cell(LIST *list) {
    while (list && list->rest)
        list = list->rest;
    return list;
}

NODE *last_statement(const BBLK *bb) {
    const LIST *last = last_cell(bb->statements);
    return last ? last->first : nullptr;
}
