// The validator of the flow graph. Edges are compared as sorted pairs of serial numbers, so that
// blocks with many edges cost no more than their number.
#include "OPT5/rep/fault_counts.h"

#include <algorithm>

namespace {
class CFG_CHECK : FAULT_COUNTS {
public:
    int run();

private:
    using PAIRS = std::vector<std::uint64_t>; // edges, source in the high half; sorted

    static std::uint64_t pair(const BBLK *from, const BBLK *to);
    static bool has(const PAIRS &pairs, const BBLK *from, const BBLK *to);
    void check_order();
    void check_owner(const BBLK *bb);
    void check_ending(BBLK *bb);
    void check_targets(BBLK *bb, NODE *branch);
    void check_edges();
    void check_reachability();
    void find_reachable();
    void drop_unreachable_predecessors(BBLK *bb);
    int finish() const;

    std::vector<BBLK *> blocks; // in depth-first order
    std::vector<bool> linked;   // by serial: in that order
    std::vector<bool> reachable;
    bool uncorrected_order = false; // among the links of the list
};

std::uint64_t CFG_CHECK::pair(const BBLK *from, const BBLK *to) {
    return std::uint64_t{from->serial} << 32 | to->serial;
}

bool CFG_CHECK::has(const PAIRS &pairs, const BBLK *from, const BBLK *to) {
    return std::binary_search(pairs.begin(), pairs.end(), pair(from, to));
}

// The links of the block list. A list that leaves the function or bites its tail is cut short here.
void CFG_CHECK::check_order() {
    const BBLK *before = nullptr;
    for (BBLK *bb = currfuninfo->bb_list; bb; before = bb, bb = bb->dflink) {
        if (!is_block(bb) || linked[bb->serial]) {
            error(" +++++ %s has improper <dflink>\n", bb_name(before).c_str());
            uncorrected_order = true;
            return;
        }
        if (bb->rdflink != before) error(" +++++ %s has improper <rdflink>\n", bb_name(bb).c_str());
        linked[bb->serial] = true;
        blocks.push_back(bb);
    }
}

void CFG_CHECK::check_owner(const BBLK *bb) {
    if (bb->owner == currfuninfo) return;
    error(" +++++ %s has improper <owner>, found %s (0x%p) expected %s (0x%p)\n",
          bb_name(bb).c_str(), bb->owner ? bb->owner->name.c_str() : "<NONE>",
          static_cast<const void *>(bb->owner), currfuninfo->name.c_str(),
          static_cast<const void *>(currfuninfo));
}

void CFG_CHECK::check_ending(BBLK *bb) {
    if (bb->lir_head) return;
    if (!bb->statements) {
        error(" +++++ %s has no statement list\n", bb_name(bb).c_str());
        return;
    }
    NODE *last = last_statement(bb);
    if (!last || !op_ends_block(last->op)) {
        error(" +++++ %s has no ending branch\n", bb_name(bb).c_str());
        return;
    }
    check_targets(bb, last);
}

// Successors are the targets of the branch, no more and no less.
void CFG_CHECK::check_targets(BBLK *bb, NODE *branch) {
    EDGE *targets = list_branch_targets(branch, nullptr);
    PAIRS wanted, found;
    for (const EDGE *edge = targets; edge; edge = edge->next)
        wanted.push_back(pair(bb, edge->bb));
    for (const EDGE *edge = bb->successors; edge; edge = edge->next)
        if (is_block(edge->bb)) found.push_back(pair(bb, edge->bb));
    std::sort(wanted.begin(), wanted.end());
    std::sort(found.begin(), found.end());
    for (const EDGE *edge = bb->successors; edge; edge = edge->next)
        if (!is_block(edge->bb) || !has(wanted, bb, edge->bb))
            error(" +++++ %s has bogus successor: %s\n", bb_name(bb).c_str(),
                  is_block(edge->bb) ? bb_name(edge->bb).c_str() : "<NONE>");
    for (const EDGE *edge = targets; edge; edge = edge->next) {
        if (has(found, bb, edge->bb)) continue;
        mended(" ----- %s's successors must include %s\n", bb_name(bb).c_str(),
               bb_name(edge->bb).c_str());
        bb->successors = add_edge(edge->bb, bb->successors, -1.0);
        edge->bb->predecessors = add_edge(bb, edge->bb->predecessors, -1.0);
    }
    erase_edge_list(targets);
}

// Each edge has its cell at both ends.
void CFG_CHECK::check_edges() {
    PAIRS leaving, arriving;
    for (const BBLK *bb : currfuninfo->blocks) {
        if (!bb) continue;
        for (const EDGE *edge = bb->successors; edge; edge = edge->next)
            if (is_block(edge->bb)) leaving.push_back(pair(bb, edge->bb));
        for (const EDGE *edge = bb->predecessors; edge; edge = edge->next)
            if (is_block(edge->bb)) arriving.push_back(pair(edge->bb, bb));
    }
    std::sort(leaving.begin(), leaving.end());
    std::sort(arriving.begin(), arriving.end());
    for (const BBLK *bb : blocks) {
        const std::string name = bb_name(bb);
        for (const EDGE *edge = bb->predecessors; edge; edge = edge->next) {
            if (is_block(edge->bb) && has(leaving, edge->bb, bb)) continue;
            const std::string other = is_block(edge->bb) ? bb_name(edge->bb) : "<NONE>";
            error(" +++++ %s precedes %s but %s doesn't succeed %s\n", other.c_str(), name.c_str(),
                  name.c_str(), other.c_str());
        }
        for (const EDGE *edge = bb->successors; edge; edge = edge->next) {
            if (!is_block(edge->bb) || has(arriving, bb, edge->bb)) continue;
            const std::string other = bb_name(edge->bb);
            error(" +++++ %s succeeds %s but %s doesn't precede %s\n", other.c_str(), name.c_str(),
                  name.c_str(), other.c_str());
        }
    }
}

void CFG_CHECK::find_reachable() {
    reachable.assign(linked.size(), false);
    std::vector<const BBLK *> work;
    const auto reach = [&](const BBLK *bb) {
        if (!is_block(bb) || reachable[bb->serial]) return;
        reachable[bb->serial] = true;
        work.push_back(bb);
    };
    reach(currfuninfo->bb_list);
    for (const BBLK *bb : handler_blocks(currfuninfo))
        reach(bb);
    while (!work.empty()) {
        const BBLK *bb = work.back();
        work.pop_back();
        for (const EDGE *edge = bb->successors; edge; edge = edge->next)
            reach(edge->bb);
    }
}

// Unreachable blocks are taken out, but for the exit block of a function that returns elsewhere or
// never. What control reaches must be in the list of blocks.
void CFG_CHECK::check_reachability() {
    find_reachable();
    for (const BBLK *bb : currfuninfo->blocks)
        if (bb && reachable[bb->serial] && !linked[bb->serial]) {
            error(" +++++ %s has improper <dflink>\n", bb_name(bb).c_str());
            uncorrected_order = true;
        }
    if (uncorrected_order) return; // a damaged list cannot be relinked
    std::vector<BBLK *> strays;
    for (BBLK *bb : blocks)
        if (!reachable[bb->serial] && !bb->is_exit) strays.push_back(bb);
    if (strays.empty()) return;
    for (BBLK *bb : strays) {
        mended(" ----- %s cannot be reached from the entry block\n", bb_name(bb).c_str());
        bb->successors = erase_edge_list(bb->successors);
    }
    for (BBLK *bb : blocks)
        drop_unreachable_predecessors(bb);
    for (BBLK *bb : strays) {
        delink_old_bb(bb);
        erase_bblock(bb);
    }
}

void CFG_CHECK::drop_unreachable_predecessors(BBLK *bb) {
    EDGE *kept = nullptr;
    for (const EDGE *edge = bb->predecessors; edge; edge = edge->next)
        if (!is_block(edge->bb) || reachable[edge->bb->serial] || edge->bb->is_exit)
            kept = mkedge(edge->bb, kept, edge->freq);
    erase_edge_list(bb->predecessors);
    bb->predecessors = rev_edge_list(kept);
}

int CFG_CHECK::finish() const {
    dprintf(" ===== Corrected errors: %d, Uncorrected errors: %d\n\n", corrected, uncorrected);
    return sum_up("CFG");
}

int CFG_CHECK::run() {
    dprintf("\n\n ===== Validating this CFG\n");
    if (!currfuninfo->bb_list) {
        dprintf(" +++++ currfuninfo->bb_list == NULL\n");
        ++uncorrected;
        return finish();
    }
    linked.assign(currfuninfo->blocks.size(), false);
    check_order();
    if (currfuninfo->bb_list->predecessors)
        error(" +++++ Entry block %s has predecessors\n", bb_name(currfuninfo->bb_list).c_str());
    for (BBLK *bb : blocks) {
        check_owner(bb);
        check_ending(bb);
    }
    check_edges();
    check_reachability();
    return finish();
}
} // namespace

int validate_cfg() {
    return CFG_CHECK().run();
}
