// Lists of edges, and the routines that keep them true to the jumps.
#include "OPT5/driver/abort.h"
#include "OPT5/rep/cfg_pools.h"

#include <algorithm>
#include <unordered_map>

void (*split_lir_edge_hook)(BBLK *from, BBLK *middle, BBLK *to);

namespace {
std::uint64_t last_stamp; // never used twice, so that old marks say nothing

// Calls visit(label) for the labels of a jump from left to right. Case lists are chains to the left
// of any length.
template <class Visit> void for_each_target(NODE *stmt, Visit visit) {
    switch (stmt->op) {
    case OP::BRANCH: visit(stmt->left); break;
    case OP::CBRANCH: visit(stmt->right); break;
    case OP::IF:
        visit(stmt->right->left);
        visit(stmt->right->right);
        break;
    case OP::SWITCH: {
        std::vector<NODE *> cases; // last first
        NODE *list = stmt->right;
        for (; list->op == OP::COMMA; list = list->left)
            cases.push_back(list->right);
        cases.push_back(list);
        for (auto it = cases.rbegin(); it != cases.rend(); ++it)
            visit((*it)->op == OP::DEFAULT ? (*it)->left : (*it)->right);
        break;
    }
    default: break;
    }
}

EDGE *find_edge(const BBLK *bb, EDGE *list) {
    while (list && list->bb != bb)
        list = list->next;
    return list;
}

EDGE *merge_by_dfn(EDGE *a, EDGE *b) {
    EDGE *head = nullptr, **end = &head;
    while (a && b) {
        EDGE *&lower = b->bb->dfn < a->bb->dfn ? b : a;
        *end = lower;
        end = &lower->next;
        lower = lower->next;
    }
    *end = a ? a : b;
    return head;
}

// The edges of `targets` take over the frequencies that `known` has for the same blocks.
void keep_frequencies(EDGE *targets, const EDGE *known) {
    std::unordered_map<const BBLK *, double> frequency;
    for (; known; known = known->next)
        if (known->freq >= 0) frequency.emplace(known->bb, known->freq);
    if (frequency.empty()) return;
    for (EDGE *edge = targets; edge; edge = edge->next) {
        const auto it = frequency.find(edge->bb);
        if (it != frequency.end()) edge->freq = it->second;
    }
}

bool has_several(const EDGE *list) {
    return list && list->next;
}
} // namespace

// --- lists

EDGE *mkedge(BBLK *bb, EDGE *next, double freq) {
    EDGE *edge = edge_pool.make();
    *edge = {bb, freq, next};
    dominators_are_stale();
    return edge;
}

EDGE *add_edge(BBLK *bb, EDGE *list, double freq) {
    return edge_memberp(bb, list) ? list : mkedge(bb, list, freq);
}

EDGE *remove_edge(BBLK *bb, EDGE *list) {
    for (EDGE **link = &list; *link; link = &(*link)->next) {
        if ((*link)->bb != bb) continue;
        EDGE *edge = *link;
        *link = edge->next;
        erase_edge(edge);
        break;
    }
    return list;
}

EDGE *erase_edge(EDGE *edge) {
    edge_pool.release(edge);
    dominators_are_stale();
    return nullptr;
}

EDGE *erase_edge_list(EDGE *list) {
    while (list) {
        EDGE *next = list->next;
        erase_edge(list);
        list = next;
    }
    return nullptr;
}

EDGE *rev_edge_list(EDGE *list) {
    EDGE *reversed = nullptr;
    while (list) {
        EDGE *next = list->next;
        list->next = reversed;
        reversed = list;
        list = next;
    }
    return reversed;
}

EDGE *sort_edge_list(EDGE *list) {
    EDGE *sorted = nullptr;
    while (list) {
        EDGE *edge = list;
        list = list->next;
        EDGE **link = &sorted;
        while (*link && (*link)->bb->dfn <= edge->bb->dfn)
            link = &(*link)->next;
        edge->next = *link;
        *link = edge;
    }
    return sorted;
}

// Merges runs of doubling length; equal numbers keep their order, as in sort_edge_list.
EDGE *fast_sort_edge_list(EDGE *list) {
    std::vector<EDGE *> runs; // runs[i] has 2^i edges, or is null; higher ones stood earlier
    while (list) {
        EDGE *run = list;
        list = list->next;
        run->next = nullptr;
        std::size_t i = 0;
        for (; i < runs.size() && runs[i]; ++i) {
            run = merge_by_dfn(runs[i], run);
            runs[i] = nullptr;
        }
        if (i == runs.size()) runs.push_back(nullptr);
        runs[i] = run;
    }
    EDGE *sorted = nullptr;
    for (EDGE *run : runs)
        sorted = merge_by_dfn(run, sorted);
    return sorted;
}

EDGE *copy_edge_list(const EDGE *list) {
    EDGE *head = nullptr, **end = &head;
    for (; list; list = list->next) {
        *end = mkedge(list->bb, nullptr, list->freq);
        end = &(*end)->next;
    }
    return head;
}

bool edge_memberp(const BBLK *bb, const EDGE *list) {
    while (list && list->bb != bb)
        list = list->next;
    return list != nullptr;
}

int edge_length(const EDGE *list) {
    int length = 0;
    for (; list; list = list->next)
        ++length;
    return length;
}

// --- jumps

EDGE *list_branch_targets(NODE *tree, EDGE *list) {
    const std::uint64_t listed = ++last_stamp;
    for (const EDGE *edge = list; edge; edge = edge->next)
        edge->bb->edge_stamp = listed;
    for_each_target(tree, [&](NODE *label) {
        BBLK *bb = label_block(label);
        if (bb->edge_stamp == listed) return;
        bb->edge_stamp = listed;
        list = mkedge(bb, list, -1.0);
    });
    return list;
}

void refresh_successors(BBLK *bb) {
    if (bb->lir_head) return;
    NODE *last = last_statement(bb);
    if (!last || !op_ends_block(last->op)) return;
    EDGE *targets = list_branch_targets(last, nullptr);
    keep_frequencies(targets, bb->successors);
    erase_edge_list(bb->successors);
    bb->successors = targets;
}

void fixup_edge_lists(BBLK *bb, NODE *tree) {
    EDGE *targets = list_branch_targets(tree, nullptr);
    keep_frequencies(targets, bb->successors);
    std::uint64_t stamp = ++last_stamp;
    for (const EDGE *edge = targets; edge; edge = edge->next)
        edge->bb->edge_stamp = stamp;
    for (const EDGE *edge = bb->successors; edge; edge = edge->next)
        if (edge->bb->edge_stamp != stamp)
            edge->bb->predecessors = remove_edge(bb, edge->bb->predecessors);
    stamp = ++last_stamp;
    for (const EDGE *edge = bb->successors; edge; edge = edge->next)
        edge->bb->edge_stamp = stamp;
    for (const EDGE *edge = targets; edge; edge = edge->next)
        if (edge->bb->edge_stamp != stamp)
            edge->bb->predecessors = add_edge(bb, edge->bb->predecessors, -1.0);
    erase_edge_list(bb->successors);
    bb->successors = targets;
}

void point_label(NODE *label, BBLK *to) {
    if (!to->label) to->label = mklabel(0, nullptr, to);
    label->u.label.lbl = to->label;
    label->u.label.index = to->label->index;
}

void remap_labelrefs(NODE *tree, BBLK *from, BBLK *to) {
    for_each_target(tree, [&](NODE *label) {
        if (label_block(label) == from) point_label(label, to);
    });
}

void subst_bb_for_bb_in_stmts(BBLK *to, BBLK *from, LIST *stmts) {
    for (; stmts; stmts = stmts->rest)
        remap_labelrefs(stmts->first, from, to);
}

// --- splitting

namespace {
// Edges of one function that are being split. The work is done by the target first and then by the
// source, so that a block with many edges is gone through once, however many of them are split.
class SPLITTER {
public:
    BBLK *enter(EDGE *in, BBLK *to);
    void finish();
    bool any() const { return !splits.empty(); }

private:
    struct SPLIT {
        BBLK *from, *to, *middle;
    };
    BBLK *middle_to(const BBLK *to) const;
    void lead_through(BBLK *from);

    std::vector<SPLIT> splits;
    std::unordered_map<const BBLK *, BBLK *> middles; // of one source: new blocks by target
};

BBLK *SPLITTER::middle_to(const BBLK *to) const {
    const auto it = middles.find(to);
    return it == middles.end() ? nullptr : it->second;
}

// The new block on the edge to `to` that `in` stands for, which it now leads from.
BBLK *SPLITTER::enter(EDGE *in, BBLK *to) {
    BBLK *from = in->bb, *middle = insert_new_bb(-1, from, nullptr);
    if (from->lir_head) {
        OPTASSERT(split_lir_edge_hook);
        split_lir_edge_hook(from, middle, to);
    } else {
        middle->statements = mkelist(mk_BRANCH(to, nullptr), nullptr, nullptr);
    }
    middle->predecessors = mkedge(from, nullptr, in->freq);
    middle->successors = mkedge(to, nullptr, in->freq);
    in->bb = middle;
    splits.push_back({from, to, middle});
    return middle;
}

// Edges and labels of the source.
void SPLITTER::lead_through(BBLK *from) {
    if (!from->lir_head)
        for_each_target(last_statement(from), [this](NODE *label) {
            if (BBLK *middle = middle_to(label_block(label))) point_label(label, middle);
        });
    for (EDGE *out = from->successors; out; out = out->next) {
        BBLK *middle = middle_to(out->bb);
        if (!middle) continue;
        middle->predecessors->freq = middle->successors->freq = out->freq;
        out->bb = middle;
    }
}

void SPLITTER::finish() {
    std::stable_sort(splits.begin(), splits.end(), [](const SPLIT &a, const SPLIT &b) {
        return a.from->serial < b.from->serial;
    });
    for (std::size_t i = 0; i < splits.size();) {
        BBLK *from = splits[i].from;
        middles.clear();
        for (; i < splits.size() && splits[i].from == from; ++i)
            middles.emplace(splits[i].to, splits[i].middle);
        lead_through(from);
    }
}
} // namespace

BBLK *split_cfg_edge(BBLK *from, BBLK *to) {
    EDGE *in = find_edge(from, to->predecessors);
    OPTASSERT(in && edge_memberp(to, from->successors));
    SPLITTER splitter;
    BBLK *middle = splitter.enter(in, to);
    splitter.finish();
    return middle;
}

// An exception that comes to a handler counts as a predecessor.
void split_critical_edges(bool flag) {
    std::vector<bool> is_handler(currfuninfo->blocks.size(), false);
    for (const BBLK *bb : handler_blocks(currfuninfo))
        is_handler[bb->serial] = true;
    SPLITTER splitter;
    for (BBLK *to = currfuninfo->bb_list; to; to = to->dflink) {
        const bool is_root = to->serial < is_handler.size() && is_handler[to->serial];
        if (!has_several(to->predecessors) && !is_root) continue;
        for (EDGE *in = to->predecessors; in; in = in->next)
            if (has_several(in->bb->successors)) splitter.enter(in, to);
    }
    splitter.finish();
    if (splitter.any() && flag) renumber_bblocks();
}
