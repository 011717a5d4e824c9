// Cross-jumping: blocks that come together, or that return alike, share the statements before.
//
// Statement by statement: of the blocks that branch to a block, those whose statement before the
// branch is the same give it up. It goes to the head of the common successor when all ways lead
// through it, else into a new block between. The new block is looked at again, so that a common
// tail of any length moves; each move lowers the number of statements. A block between that not all
// ways lead through costs a jump, and so does a shared return: these are for small code only.
#include "OPT5/scalar/simpcfg.h"

#include "OPT5/driver/global_flags.h"

#include <algorithm>
#include <cstring>
#include <deque>
#include <map>
#include <string_view>

namespace {
// --- equal trees

std::uint64_t mix(std::uint64_t hash, std::uint64_t word) {
    hash = (hash ^ word) * 0x9e3779b97f4a7c15u;
    return hash ^ (hash >> 29);
}

std::uint64_t hash_of_text(std::string_view text) {
    std::uint64_t hash = text.size();
    for (const char c : text)
        hash = mix(hash, static_cast<unsigned char>(c));
    return hash;
}

// What tells nodes of one opcode apart, as far as a number can.
std::uint64_t payload_hash(const NODE *node) {
    switch (node->op) {
    case OP::NAME: return node->u.name.sym ? node->u.name.sym->serial : 0;
    case OP::ICON: return mix(node->u.lval.low64(), node->u.lval.sign);
    case OP::SCON: return hash_of_text(node->scon_value());
    case OP::FCON: return hash_of_text(node->fcon_value());
    case OP::FIELD: return node->field_mval();
    case OP::LABEL: return label_block(const_cast<NODE *>(node))->serial;
    case OP::ICALL:
    case OP::UICALL:
    case OP::MCALL:
    case OP::UMCALL: return hash_of_text(node->icall_name());
    default: return 0;
    }
}

std::uint64_t hash_of(const NODE *tree) {
    std::uint64_t hash = 1;
    for (; tree; tree = tree->right) {
        hash = mix(mix(hash, tree->op), payload_hash(tree));
        if (tree->left) hash = mix(hash, hash_of(tree->left));
    }
    return hash;
}

// Whether two operators of one code agree in what they hold beside their operands.
bool hold_the_same(const NODE *a, const NODE *b) {
    switch (a->op) {
    case OP::CALL:
    case OP::UCALL:
        return a->u.call.num_vargs == b->u.call.num_vargs && a->u.call.eht_id == b->u.call.eht_id;
    case OP::ICALL:
    case OP::MCALL: return std::strcmp(a->icall_name(), b->icall_name()) == 0;
    case OP::STASG: return a->u.stasg.csu == b->u.stasg.csu;
    default: return a->op < op_first_internal;
    }
}

// Whether one tree can stand for the other: the same operators in the same order. Operands that
// trade places are not the same here, since their effects would.
bool are_same(const NODE *a, const NODE *b) {
    for (; a && b; a = a->right, b = b->right) {
        if (a->op != b->op || a->type != b->type) return false;
        if ((a->flags & NF_kept) != (b->flags & NF_kept)) return false;
        if (!a->left && !a->right) return !b->left && !b->right && trees_are_congruent(a, b, true);
        if (!hold_the_same(a, b) || !are_same(a->left, b->left)) return false;
    }
    return a == b;
}

// Statements that mark a place, or that belong to the place where they stand.
bool may_move(const NODE *stmt) {
    switch (stmt->op) {
    case OP::PPRAGMA:
    case OP::ASM:
    case OP::LABELDEF: return false;
    default: return !op_ends_block(stmt->op) && !tree_is_arg_prolog(stmt);
    }
}

// --- moving statements

using GROUP = std::vector<BBLK *>;
using CELLS = std::deque<LIST *>;

bool favours_speed() {
    return size_speed_goal() >= 3;
}

class CROSS_JUMPER {
public:
    CROSS_JUMPER() : is_root(root_blocks()), cells(currfuninfo->blocks.size()) {}
    bool run();

private:
    CELLS &cells_of(BBLK *bb);
    void mark_edited(const BBLK *bb);
    const NODE *tail_of(BBLK *bb);
    template <class Key> std::vector<GROUP> equal_groups(const GROUP &blocks, Key key);
    std::vector<GROUP> groups_by_tail(const GROUP &blocks);
    LIST *detach_tail(BBLK *bb);
    LIST *detach_common_tail(const GROUP &group);
    void share_before(BBLK *successor, const GROUP &group, bool all_ways);
    void list_work();
    void share_returns();
    void share_bare_return(const GROUP &alike);
    void share_tails_of_returns(const GROUP &alike);
    void make_tail_block(const GROUP &group, NODE *ending);
    void lead_to(BBLK *bb, BBLK *to);

    std::vector<bool> is_root; // by serial
    std::deque<CELLS> cells;   // by serial: the cells of a block, once asked for
    struct TASK {
        BBLK *successor;
        GROUP group;   // blocks that end in a BRANCH to it
        bool all_ways; // and no other way leads there
    };
    std::vector<TASK> work;
    std::vector<bool> edited; // by serial: blocks that gave statements away or took some
    bool changed = false;
};

// The cells, the branch last. A block's own list has no way back from its end.
CELLS &CROSS_JUMPER::cells_of(BBLK *bb) {
    if (bb->serial >= cells.size()) cells.resize(bb->serial + 1);
    CELLS &list = cells[bb->serial];
    if (list.empty())
        for (LIST *cell = bb->statements; cell; cell = cell->rest)
            list.push_back(cell);
    return list;
}

// The statement before the branch, if it may move; else null.
const NODE *CROSS_JUMPER::tail_of(BBLK *bb) {
    const CELLS &list = cells_of(bb);
    if (list.size() < 2) return nullptr;
    const NODE *stmt = list[list.size() - 2]->first;
    return may_move(stmt) ? stmt : nullptr;
}

// The groups of two and more blocks for which key(bb) gives the same tree; null is like no other.
template <class Key> std::vector<GROUP> CROSS_JUMPER::equal_groups(const GROUP &blocks, Key key) {
    // Trees of one hash that are not the same are rare; past a few they stay apart.
    constexpr std::size_t bucket_limit = 8;
    std::map<std::uint64_t, std::vector<std::size_t>> buckets;
    std::vector<GROUP> groups;
    for (BBLK *bb : blocks) {
        const NODE *tree = key(bb);
        if (!tree) continue;
        std::vector<std::size_t> &bucket = buckets[hash_of(tree)];
        const auto same = std::find_if(bucket.begin(), bucket.end(), [&](std::size_t i) {
            return are_same(key(groups[i].front()), tree);
        });
        if (same != bucket.end()) {
            groups[*same].push_back(bb);
        } else if (bucket.size() < bucket_limit) {
            bucket.push_back(groups.size());
            groups.push_back({bb});
        }
    }
    std::erase_if(groups, [](const GROUP &group) { return group.size() < 2; });
    return groups;
}

std::vector<GROUP> CROSS_JUMPER::groups_by_tail(const GROUP &blocks) {
    return equal_groups(blocks, [this](BBLK *bb) { return tail_of(bb); });
}

void CROSS_JUMPER::mark_edited(const BBLK *bb) {
    if (bb->serial >= edited.size()) edited.resize(bb->serial + 1);
    edited[bb->serial] = true;
}

// Takes the statement before the branch out of a block.
LIST *CROSS_JUMPER::detach_tail(BBLK *bb) {
    mark_edited(bb);
    CELLS &list = cells_of(bb);
    LIST *const branch = list.back(), *const tail = list[list.size() - 2];
    list.pop_back();
    list.back() = branch;
    if (list.size() > 1)
        list[list.size() - 2]->rest = branch;
    else
        bb->statements = branch;
    tail->rest = nullptr;
    return tail;
}

// Takes their equal last statements out of all blocks of the group; one is returned.
LIST *CROSS_JUMPER::detach_common_tail(const GROUP &group) {
    LIST *kept = nullptr;
    for (BBLK *bb : group) {
        LIST *tail = detach_tail(bb);
        if (kept) {
            erase_tree_list(tail);
            ++simpcfg_counts.crossed;
        } else {
            kept = tail;
        }
    }
    changed = true;
    return kept;
}

void CROSS_JUMPER::lead_to(BBLK *bb, BBLK *to) {
    LIST *const branch = cells_of(bb).back();
    branch_always(branch, to);
}

// A new block of the common last statement, and behind it `ending`, which all blocks of the group
// end in; a label or value of their own is dropped.
void CROSS_JUMPER::make_tail_block(const GROUP &group, NODE *ending) {
    LIST *tail = detach_common_tail(group);
    tail->rest = mkelist(ending, nullptr, tail->psn);
    BBLK *bb = insert_new_bb(-1, group.back(), tail);
    for (BBLK *before : group)
        lead_to(before, bb);
    work.push_back({bb, group, true});
}

void CROSS_JUMPER::share_before(BBLK *successor, const GROUP &group, bool all_ways) {
    std::vector<GROUP> groups = groups_by_tail(group);
    while (all_ways && groups.size() == 1 && groups[0].size() == group.size()) {
        LIST *tail = detach_common_tail(group);
        CELLS &list = cells_of(successor); // before the new head is part of it
        tail->rest = successor->statements;
        successor->statements = tail;
        list.push_front(tail);
        mark_edited(successor);
        groups = groups_by_tail(group);
    }
    const auto ways = static_cast<std::size_t>(edge_length(successor->predecessors));
    for (const GROUP &alike : groups)
        if (!favours_speed() || alike.size() == ways)
            make_tail_block(alike, mk_BRANCH(successor, tail_of(alike.front())->scope));
}

// Of blocks with nothing but the same return one stays.
void CROSS_JUMPER::share_bare_return(const GROUP &alike) {
    BBLK *kept = nullptr;
    for (BBLK *bb : alike)
        if (!is_root[bb->serial] && (!kept || bb->is_exit)) kept = bb;
    if (!kept) return;
    for (BBLK *bb : alike) {
        if (bb == kept) continue;
        lead_to(bb, kept);
        changed = true;
    }
}

void CROSS_JUMPER::share_tails_of_returns(const GROUP &alike) {
    for (const GROUP &group : groups_by_tail(alike))
        make_tail_block(group, copy_tree(cells_of(group.front()).back()->first, true));
}

void CROSS_JUMPER::share_returns() {
    GROUP returns;
    for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink)
        if (branch_cell(bb) && !bb->successors) returns.push_back(bb);
    const auto ending = [this](BBLK *bb) { return cells_of(bb).back()->first; };
    for (const GROUP &alike : equal_groups(returns, ending)) {
        GROUP bare, with_tail;
        for (BBLK *bb : alike)
            (cells_of(bb).size() == 1 ? bare : with_tail).push_back(bb);
        share_bare_return(bare);
        share_tails_of_returns(with_tail);
    }
}

void CROSS_JUMPER::list_work() {
    for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink) {
        TASK task = {bb, {}, !is_root[bb->serial] && !bb->is_exit};
        for (EDGE *edge = bb->predecessors; edge; edge = edge->next) {
            if (cells_of(edge->bb).back()->first->op == OP::BRANCH)
                task.group.push_back(edge->bb);
            else
                task.all_ways = false;
        }
        if (task.group.size() > 1) work.push_back(std::move(task));
    }
}

// Shared returns give blocks new predecessors; the others are looked at when those are known.
bool CROSS_JUMPER::run() {
    if (!favours_speed()) share_returns();
    if (!changed) list_work();
    while (!work.empty()) {
        const TASK task = std::move(work.back());
        work.pop_back();
        share_before(task.successor, task.group, task.all_ways);
    }
    for (std::size_t serial = 0; serial < edited.size(); ++serial)
        if (edited[serial]) find_positions(currfuninfo->blocks[serial]);
    return changed;
}
} // namespace

bool cross_jump_blocks() {
    return CROSS_JUMPER().run();
}
