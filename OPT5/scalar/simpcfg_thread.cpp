// Branches that go one way, and branches to empty blocks.
//
// An empty block and the block that it leads to are one place: a class of a union-find forest,
// whose root is the block that holds something. A branch all of whose targets are one class has no
// choice left; when nothing else is in its block, that block joins the class in turn. Each class
// knows the blocks that branch to it; of two classes that become one the smaller set is moved, so
// that the whole is O(e log e) in the edges whatever the order. A ring of empty blocks keeps one of
// them, which branches to itself.
#include "OPT5/scalar/simpcfg.h"

#include <map>
#include <set>

namespace {
class THREADER {
public:
    THREADER();
    void run();

private:
    struct STATE {
        BBLK *place = nullptr;    // the block that stands for this one; itself when a root
        LIST *cell = nullptr;     // its branch; null: control does not go on
        std::set<unsigned> users; // of a root: the blocks that branch to its class
        int choices = 0;          // classes that the branch can lead to
        bool is_empty = false;    // nothing but the branch
    };

    STATE &state(const BBLK *bb) { return states[bb->serial]; }
    BBLK *place_of(BBLK *bb);
    void take_up(BBLK *bb);
    void join(BBLK *bb, BBLK *to);
    void settle(BBLK *bb);
    void lead_edges(BBLK *bb);

    std::vector<STATE> states;   // by serial
    std::vector<BBLK *> decided; // blocks whose branch has one class of targets left
};

void drop_empty_statements(BBLK *bb) {
    bool dropped = false;
    for (LIST **link = &bb->statements; *link;) {
        LIST *const cell = *link;
        if (cell->first->op == OP::ICON && cell->rest) {
            *link = cell->rest;
            cell->rest = nullptr;
            erase_tree_list(cell);
            dropped = true;
        } else {
            link = &cell->rest;
        }
    }
    if (dropped) find_positions(bb);
}

THREADER::THREADER() : states(currfuninfo->blocks.size()) {
    for (BBLK *bb : currfuninfo->blocks)
        if (bb) state(bb).place = bb;
}

BBLK *THREADER::place_of(BBLK *bb) {
    BBLK *root = bb;
    while (state(root).place != root)
        root = state(root).place;
    while (bb != root) {
        BBLK *const next = state(bb).place;
        state(bb).place = root;
        bb = next;
    }
    return root;
}

// Enters a block with its branch as it stands.
void THREADER::take_up(BBLK *bb) {
    drop_empty_statements(bb);
    STATE &own = state(bb);
    own.cell = branch_cell(bb);
    if (!own.cell) return;
    if (BBLK *target = target_by_constant(own.cell->first)) {
        branch_always(own.cell, target);
        own.cell = branch_cell(bb);
        ++simpcfg_counts.conditions;
    }
    own.is_empty = bb->statements == own.cell;
    for_each_target(own.cell->first, [&](NODE *label) {
        if (state(place_of(label_block(label))).users.insert(bb->serial).second) ++own.choices;
    });
    if (own.choices == 1) decided.push_back(bb);
}

// A branch with one class of targets becomes a BRANCH, and an empty block one with its target.
void THREADER::settle(BBLK *bb) {
    STATE &own = state(bb);
    BBLK *target = nullptr;
    for_each_target(own.cell->first, [&](NODE *label) { target = label_block(label); });
    if (own.cell->first->op != OP::BRANCH) {
        if (branch_always(own.cell, target)) {
            own.is_empty = false;
            own.cell = own.cell->rest;
        }
        ++simpcfg_counts.conditions;
    }
    BBLK *const to = place_of(target);
    if (own.is_empty && to != bb) join(bb, to);
}

// The class of `bb`, which is a root, becomes part of that of the root `to`.
void THREADER::join(BBLK *bb, BBLK *to) {
    std::set<unsigned> &gone = state(bb).users, &users = state(to).users;
    state(bb).place = to;
    if (gone.size() > users.size()) gone.swap(users);
    for (unsigned serial : gone) {
        if (users.insert(serial).second) continue;
        if (--states[serial].choices == 1) decided.push_back(currfuninfo->blocks[serial]);
    }
    gone.clear();
}

// Edges that come to lead to one block are counted together.
void THREADER::lead_edges(BBLK *bb) {
    std::map<unsigned, EDGE *> known; // by serial of the target
    for (EDGE *edge = bb->successors; edge; edge = edge->next) {
        edge->bb = place_of(edge->bb);
        if (edge->freq < 0) continue;
        const auto [first, is_new] = known.emplace(edge->bb->serial, edge);
        if (!is_new) first->second->freq += edge->freq;
    }
}

void THREADER::run() {
    for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink)
        take_up(bb);
    while (!decided.empty()) {
        BBLK *bb = decided.back();
        decided.pop_back();
        settle(bb);
    }
    for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink) {
        LIST *cell = state(bb).cell;
        if (!cell) continue;
        for_each_target(cell->first, [&](NODE *label) {
            BBLK *const to = label_block(label), *const place = place_of(to);
            if (place == to) return;
            point_label(label, place);
            ++simpcfg_counts.threaded;
        });
        lead_edges(bb);
    }
}
} // namespace

void thread_branches() {
    THREADER().run();
}
