// Builds the loop hierarchy. The graph is normalized first, so that each head has one back edge and
// each block is the tail of one loop. Then heads are visited from the last to the first, inner
// loops before those around them: a loop is what reaches its tail without passing its head (the
// natural loop of a back edge, see A. Aho, R. Sethi and J. Ullman, "Compilers", 1986, 10.4), and a
// walk jumps over loops that are known already. A head that does not dominate its tail belongs to a
// region with several entries, which is no loop.
#include "OPT5/driver/abort.h"
#include "OPT5/driver/log.h"
#include "OPT5/rep/loop.h"

#include <boost/unordered_map.hpp>
#include <boost/unordered_set.hpp>

#include <algorithm>
#include <cstdio>
#include <limits>
#include <tuple>
#include <utility>

namespace {
// Lists of blocks that are no edges of the graph leave the dominators as they are.
class KEEP_DOMINATORS {
public:
    KEEP_DOMINATORS() : was_stale(currfuninfo && currfuninfo->dominator_is_stale) {}
    ~KEEP_DOMINATORS() {
        if (currfuninfo) currfuninfo->dominator_is_stale = was_stale;
    }
    KEEP_DOMINATORS(const KEEP_DOMINATORS &) = delete;
    KEEP_DOMINATORS &operator=(const KEEP_DOMINATORS &) = delete;

private:
    bool was_stale;
};

bool is_back_edge(const BBLK *from, const BBLK *to) {
    return from->dfn >= to->dfn;
}

// The edges from these blocks to `to` lead to `middle` from now on, to which none of them led. The
// list of edges into `to`, which may be long, is gone through once.
void redirect_edges(const std::vector<BBLK *> &sources, BBLK *to, BBLK *middle) {
    std::vector<void *> words; // lent by the blocks to mark them
    for (BBLK *from : sources) {
        words.push_back(std::exchange(from->pass_word, middle));
        for (EDGE *edge = from->successors; edge; edge = edge->next)
            if (edge->bb == to) edge->bb = middle;
        subst_bb_for_bb_in_stmts(middle, to, from->statements);
    }
    for (EDGE **link = &to->predecessors; *link;) {
        EDGE *edge = *link;
        if (edge->bb->pass_word != middle) {
            link = &edge->next;
            continue;
        }
        *link = std::exchange(edge->next, middle->predecessors);
        middle->predecessors = edge;
    }
    for (std::size_t i = 0; i < sources.size(); ++i)
        sources[i]->pass_word = words[i];
}

void redirect_edge(BBLK *from, BBLK *to, BBLK *middle) {
    redirect_edges({from}, to, middle);
}

void number_new_block(BBLK *bb) {
    bb->dfn = ++currfuninfo->bb_count; // until the blocks are numbered anew
}

// A new block behind `after` that jumps to `to`, with that edge alone.
BBLK *make_way_to(BBLK *to, BBLK *after) {
    BBLK *middle = insert_new_bb(to->uon, after, mkelist(mk_BRANCH(to, nullptr), nullptr, nullptr));
    number_new_block(middle);
    middle->label->index = middle->dfn;
    middle->successors = mkedge(to, nullptr, -1.0);
    to->predecessors = mkedge(middle, to->predecessors, -1.0);
    return middle;
}

std::vector<BBLK *> back_predecessors(const BBLK *head) {
    std::vector<BBLK *> found;
    for (const EDGE *edge = head->predecessors; edge; edge = edge->next)
        if (is_back_edge(edge->bb, head)) found.push_back(edge->bb);
    return found;
}

// All back edges of a head meet in a new tail, behind the last block that jumps back.
bool join_back_edges(BBLK *head) {
    const std::vector<BBLK *> back = back_predecessors(head);
    if (back.size() < 2) return false;
    BBLK *const last = *std::max_element(
        back.begin(), back.end(), [](const BBLK *a, const BBLK *b) { return a->dfn < b->dfn; });
    BBLK *tail = make_way_to(head, last);
    redirect_edges(back, head, tail);
    return true;
}

// A block that jumps back to several heads would be the tail of several loops: all but the
// innermost, which has the highest number, get a tail of their own.
bool part_tails(BBLK *bb) {
    std::vector<BBLK *> heads;
    for (const EDGE *edge = bb->successors; edge; edge = edge->next)
        if (is_back_edge(bb, edge->bb)) heads.push_back(edge->bb);
    if (heads.size() < 2) return false;
    std::sort(heads.begin(), heads.end(),
              [](const BBLK *a, const BBLK *b) { return a->dfn < b->dfn; });
    heads.pop_back();
    for (BBLK *head : heads)
        redirect_edge(bb, head, make_way_to(head, bb));
    return true;
}

bool is_earlier(const PSN *a, const PSN *b) {
    const std::string_view file_a = a->file ? a->file : "", file_b = b->file ? b->file : "";
    return std::tie(file_a, a->line, a->column) < std::tie(file_b, b->line, b->column);
}

void widen_positions(LOOP *loop, PSN *first, PSN *last) {
    if (first && (!loop->psn_first || is_earlier(first, loop->psn_first))) loop->psn_first = first;
    if (last && (!loop->psn_last || is_earlier(loop->psn_last, last))) loop->psn_last = last;
}

class LOOP_BUILDER {
public:
    bool run(); // false: there is no hierarchy, its lists would be too long

private:
    void try_head(BBLK *head);
    BBLK *own_tail(BBLK *tail, BBLK *head);
    void collect_body(LOOP *loop);
    void free_tail(LOOP *loop);
    void take_block(LOOP *loop, BBLK *bb, std::vector<BBLK *> &work);
    LOOP *outermost_ancestor(const LOOP *loop);
    LOOP *make_root() const;
    bool lists_are_bearable();
    void complete_contents(LOOP *root);
    void give_up();
    static void add_child(LOOP *parent, LOOP *child);

    // A block costs one cell for each loop around it: no list of a function that people write comes
    // near to this many, and those of a nest as deep as it may be do not fit into memory.
    static constexpr std::size_t most_cells = 8'000'000;

    int last_id = 0;
    bool changed = false;
    std::vector<LOOP *> loops; // by id - 1: inner ones first
    std::vector<LOOP *> above; // by id - 1: an ancestor, itself for an outermost loop
};

LOOP *LOOP_BUILDER::outermost_ancestor(const LOOP *loop) {
    const auto up = [this](const LOOP *from) -> LOOP *& {
        return above[static_cast<std::size_t>(from->id) - 1];
    };
    while (up(loop) != loop)
        loop = up(loop) = up(up(loop));
    return up(loop);
}

void LOOP_BUILDER::add_child(LOOP *parent, LOOP *child) {
    child->parent = parent;
    child->sibling = parent->first_child;
    parent->first_child = child;
}

// A tail that lies in an inner loop, which it leaves by its jump back, gets a block of its own on
// the edge.
BBLK *LOOP_BUILDER::own_tail(BBLK *tail, BBLK *head) {
    if (!tail->loop) return tail;
    changed = true;
    BBLK *middle = split_cfg_edge(tail, head);
    number_new_block(middle);
    return middle;
}

void LOOP_BUILDER::try_head(BBLK *head) {
    head->predecessors = fast_sort_edge_list(head->predecessors);
    const std::vector<BBLK *> back = back_predecessors(head);
    if (back.size() != 1 || head->loop) return;
    if (!currfuninfo->dominator->dominates(head, back.front())) return;
    LOOP *loop = make_LOOP(head, own_tail(back.front(), head), ++last_id, nullptr);
    loops.push_back(loop);
    above.push_back(loop);
    collect_body(loop);
    free_tail(loop);
}

// A tail that can go on within the loop, in a region of several entries, or that has several exits,
// gets a block of its own on the edge back.
void LOOP_BUILDER::free_tail(LOOP *loop) {
    const EDGE *out = loop->tail->successors;
    bool goes_on = edge_length(out) > 2;
    for (; out; out = out->next)
        goes_on |=
            out->bb != loop->head && out->bb->loop && loop_is_subloop_of_loop(out->bb->loop, loop);
    if (!goes_on) return;
    changed = true;
    loop->tail = split_cfg_edge(loop->tail, loop->head);
    number_new_block(loop->tail);
    loop->tail->loop = loop;
    const KEEP_DOMINATORS keep;
    loop->contents = mkedge(loop->tail, loop->contents, -1.0);
}

void LOOP_BUILDER::take_block(LOOP *loop, BBLK *bb, std::vector<BBLK *> &work) {
    if (bb == loop->head) return;
    if (!bb->loop) {
        bb->loop = loop;
        loop->contents = mkedge(bb, loop->contents, -1.0);
        widen_positions(loop, bb->psn_first, bb->psn_last);
        work.push_back(bb);
        return;
    }
    LOOP *inner = outermost_ancestor(bb->loop);
    if (inner == loop) return;
    add_child(loop, inner);
    above[static_cast<std::size_t>(inner->id) - 1] = loop;
    work.push_back(inner->head);
}

// Blocks of inner loops follow later, see complete_contents.
void LOOP_BUILDER::collect_body(LOOP *loop) {
    const KEEP_DOMINATORS keep;
    BBLK *const head = loop->head;
    head->loop = loop;
    loop->contents = mkedge(head, nullptr, -1.0);
    widen_positions(loop, head->psn_first, head->psn_last);
    std::vector<BBLK *> work;
    take_block(loop, loop->tail, work);
    while (!work.empty()) {
        BBLK *bb = work.back();
        work.pop_back();
        for (const EDGE *edge = bb->predecessors; edge; edge = edge->next)
            take_block(loop, edge->bb, work);
    }
}

LOOP *LOOP_BUILDER::make_root() const {
    const KEEP_DOMINATORS keep;
    LOOP *root = make_LOOP(currfuninfo->bb_list, nullptr, 0, nullptr);
    for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink) {
        if (bb->loop) continue;
        bb->loop = root;
        root->contents = mkedge(bb, root->contents, -1.0);
        widen_positions(root, bb->psn_first, bb->psn_last);
    }
    for (LOOP *loop : loops)
        if (!loop->parent) add_child(root, loop);
    return root;
}

void check_level(int level) {
    if (level <= std::numeric_limits<std::int16_t>::max()) return;
    std::fprintf(stderr, "\n>>>> Loops are nested too deep: level %d in %s()\n", level,
                 currfuninfo->name.c_str());
    abort_optimizer();
}

bool LOOP_BUILDER::lists_are_bearable() {
    std::vector<int> levels(loops.size() + 1); // by id
    std::size_t cells = 0;
    for (auto loop = loops.rbegin(); loop != loops.rend(); ++loop) {
        const LOOP *own = *loop;
        const int level = levels[static_cast<std::size_t>(own->parent->id)] + 1;
        check_level(level);
        levels[static_cast<std::size_t>(own->id)] = level;
        cells +=
            static_cast<std::size_t>(level) * static_cast<std::size_t>(edge_length(own->contents));
    }
    return cells <= most_cells;
}

void LOOP_BUILDER::complete_contents(LOOP *root) {
    const KEEP_DOMINATORS keep;
    const auto add_to_parent = [](const LOOP *loop) {
        for (const EDGE *edge = loop->contents; edge; edge = edge->next)
            loop->parent->contents = mkedge(edge->bb, loop->parent->contents, -1.0);
    };
    for (const LOOP *loop : loops)
        add_to_parent(loop);
    root->contents = fast_sort_edge_list(root->contents);
}

// The loops, which may be nested too deep to be erased from the root down, one by one.
void LOOP_BUILDER::give_up() {
    loops.push_back(loop_root());
    for (LOOP *loop : loops)
        loop->first_child = nullptr;
    for (BBLK *bb : currfuninfo->blocks)
        if (bb) bb->loop = nullptr;
    for (LOOP *loop : loops)
        erase_loop_and_subloops(loop);
}

bool LOOP_BUILDER::run() {
    std::vector<BBLK *> order;
    for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink)
        order.push_back(bb);
    for (auto bb = order.rbegin(); bb != order.rend(); ++bb)
        try_head(*bb);
    LOOP *root = make_root();
    if (changed) renumber_bblocks();
    if (!lists_are_bearable()) {
        dprintf(" ===== Loops are nested too deep for a hierarchy\n");
        give_up();
        return false;
    }
    complete_contents(root);
    assign_loop_levels(root, 0);
    return true;
}

// --- exits and preheaders

bool loop_holds(const LOOP *loop, const BBLK *bb) {
    return bb->loop && loop_is_subloop_of_loop(bb->loop, loop);
}

// The new block lies in the loop and in those around it. It stands behind their heads until the
// lists are sorted.
void add_to_contents(BBLK *bb, LOOP *loop) {
    const KEEP_DOMINATORS keep;
    bb->loop = loop;
    for (; loop; loop = loop->parent)
        loop->contents->next = mkedge(bb, loop->contents->next, -1.0);
}

// Where a block on the way from inside the loop to `to` lies: where `to` lies, but outside the
// loops that are entered there.
LOOP *loop_before(const BBLK *to, const BBLK *from) {
    LOOP *place = to->loop;
    while (place->parent && place->head == to && !loop_holds(place, from))
        place = place->parent;
    return place;
}

bool all_predecessors_are_in(const LOOP *loop, const BBLK *bb) {
    for (const EDGE *edge = bb->predecessors; edge; edge = edge->next)
        if (!loop_holds(loop, edge->bb)) return false;
    return true;
}

// The exit blocks of one loop.
class LOOP_EXITS {
public:
    explicit LOOP_EXITS(LOOP *loop_);
    void lead_out(BBLK *to, const std::vector<BBLK *> &sources);
    void list(BBLK *bb);

private:
    void note(BBLK *exit);

    LOOP *const loop;
    boost::unordered_set<const BBLK *> listed;         // looked up
    boost::unordered_map<const BBLK *, BBLK *> way_to; // by target: the exit that only jumps there
};

LOOP_EXITS::LOOP_EXITS(LOOP *loop_) : loop(loop_) {
    for (const EDGE *edge = loop->exits; edge; edge = edge->next)
        note(edge->bb);
}

void LOOP_EXITS::note(BBLK *exit) {
    listed.insert(exit);
    // What does more on its way belongs to the edges that it has.
    const LIST *only = exit->statements;
    if (only && !only->rest && only->first->op == OP::BRANCH) way_to.emplace(exit->successors->bb, exit);
}

void LOOP_EXITS::list(BBLK *bb) {
    if (listed.count(bb)) return;
    note(bb);
    const KEEP_DOMINATORS keep;
    loop->exits = mkedge(bb, loop->exits, -1.0);
}

// Gives the edges from these blocks of the loop to a block outside an exit block.
void LOOP_EXITS::lead_out(BBLK *to, const std::vector<BBLK *> &sources) {
    for (const BBLK *from : sources)
        if (from != loop->tail) loop->flags |= LF_early_exit;
    if (listed.count(to)) return;
    if (all_predecessors_are_in(loop, to)) return list(to);
    const auto known = way_to.find(to);
    BBLK *exit = known == way_to.end() ? nullptr : known->second;
    if (!exit) {
        exit = make_way_to(to, to->rdflink);
        add_to_contents(exit, loop_before(to, sources.front()));
        list(exit);
    }
    redirect_edges(sources, to, exit);
}

void take_preheader_into_parent(LOOP *loop) {
    add_to_contents(loop->preheader, loop->parent);
}

void make_preheaders(LOOP *loop) {
    for (LOOP *child = loop->first_child; child; child = child->sibling) {
        ensure_proper_preheader_for_loop(child);
        make_preheaders(child);
    }
}

bool is_loop_pragma(const NODE *stmt) {
    if (stmt->op != OP::PPRAGMA) return false;
    const int kind = stmt->u.ppragma.pragma->kind;
    return kind == PRG_UNROLL || kind == PRG_UNROLL_AMOUNT || kind == PRG_MUST_ITERATE;
}
} // namespace

bool normalize_loop_graph(bool need_loop) {
    if (currfuninfo->bb_list->predecessors) return false;
    renumber_bblocks();
    std::size_t backward_edges = 0;
    for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink) {
        bb->loop = nullptr;
        bb->pass_word = nullptr;
        // The exit block stays in the graph of a function that returns elsewhere, or never.
        if (!bb->predecessors && bb != currfuninfo->bb_list && !bb->is_exit) return false;
        backward_edges += back_predecessors(bb).size();
    }
    if (need_loop && backward_edges == 0) return false;
    bool changed = false;
    for (BBLK *bb = currfuninfo->bb_list->dflink; bb; bb = bb->dflink)
        changed |= join_back_edges(bb);
    if (changed) renumber_bblocks();
    changed = false;
    for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink)
        changed |= part_tails(bb);
    if (changed) renumber_bblocks();
    return true;
}

bool construct_loops() {
    const bool possible = LOOP_BUILDER().run();
    if (possible) {
        add_exit_blocks(loop_root());
        make_preheaders(loop_root());
        renumber_bblocks();
        assign_loop_levels(loop_root(), 0);
    }
    compute_dominators(false);
    return possible;
}

void build_minimal_loop_hierarchy() {
    const bool possible = !loop_root() && normalize_loop_graph(true);
    compute_dominators(true);
    if (possible) construct_loops();
}

LOOP *loop_root() {
    return currfuninfo && currfuninfo->bb_list ? currfuninfo->bb_list->loop : nullptr;
}

void add_exit_blocks(LOOP *loop) {
    for (LOOP *child = loop->first_child; child; child = child->sibling)
        add_exit_blocks(child);
    if (loop->is_root()) return;
    LOOP_EXITS exits(loop);
    std::vector<std::pair<BBLK *, std::vector<BBLK *>>> ways_out; // in the order of their finding
    boost::unordered_map<const BBLK *, std::size_t> places;
    for (const EDGE *edge = loop->contents; edge; edge = edge->next) {
        if (edge->bb->loop != loop) continue;
        for (const EDGE *out = edge->bb->successors; out; out = out->next) {
            if (loop_holds(loop, out->bb)) continue;
            const auto [place, is_new] = places.try_emplace(out->bb, ways_out.size());
            if (is_new) ways_out.push_back({out->bb, {}});
            ways_out[place->second].second.push_back(edge->bb);
        }
    }
    for (const auto &[to, sources] : ways_out)
        exits.lead_out(to, sources);
    // What leaves a subloop may leave this one as well.
    for (const LOOP *child = loop->first_child; child; child = child->sibling)
        for (const EDGE *edge = child->exits; edge; edge = edge->next)
            if (!loop_holds(loop, edge->bb)) {
                exits.list(edge->bb);
                loop->flags |= LF_early_exit;
            }
    loop->exits = fast_sort_edge_list(loop->exits);
}

void sort_loop_contents_into_DFO(LOOP *loop) {
    loop->contents = fast_sort_edge_list(loop->contents);
    OPTASSERT(loop->contents->bb == loop->head);
}

void assign_loop_levels(LOOP *loop, int level) {
    check_level(level);
    loop->level = static_cast<std::int16_t>(level);
    sort_loop_contents_into_DFO(loop);
    loop->exits = fast_sort_edge_list(loop->exits);
    for (LOOP *child = loop->first_child; child; child = child->sibling) {
        assign_loop_levels(child, level + 1);
        widen_positions(loop, child->psn_first, child->psn_last);
    }
}

void ensure_proper_preheader_for_loop(LOOP *loop) {
    if (loop->is_root()) return;
    BBLK *const head = loop->head;
    if (BBLK *known = loop->preheader) {
        if (known->successors && !known->successors->next) {
            OPTASSERT(known->successors->bb == head);
            return;
        }
        loop->preheader = split_cfg_edge(known, head);
        number_new_block(loop->preheader);
        return take_preheader_into_parent(loop);
    }
    std::vector<BBLK *> entries;
    for (const EDGE *edge = head->predecessors; edge; edge = edge->next)
        if (edge->bb != loop->tail) entries.push_back(edge->bb);
    if (entries.size() == 1) {
        BBLK *const only = entries.front();
        if (!only->successors->next) {
            loop->preheader = only;
            return;
        }
        loop->preheader = split_cfg_edge(only, head);
        number_new_block(loop->preheader);
    } else {
        loop->preheader = make_way_to(head, head->rdflink);
        redirect_edges(entries, head, loop->preheader);
    }
    take_preheader_into_parent(loop);
}

void lift_loop_pragmas(LOOP *loop) {
    for (LOOP *child = loop->first_child; child; child = child->sibling)
        lift_loop_pragmas(child);
    if (loop->is_root() || !loop->preheader) return;
    LIST **end = &loop->pragmas;
    while (*end)
        end = &(*end)->rest;
    for (LIST **link = &loop->preheader->statements; *link;) {
        LIST *cell = *link;
        if (!is_loop_pragma(cell->first)) {
            link = &cell->rest;
            continue;
        }
        *link = cell->rest;
        cell->rest = nullptr;
        *end = cell;
        end = &cell->rest;
    }
}

void reinsert_loop_pragmas(LOOP *loop) {
    for (LOOP *child = loop->first_child; child; child = child->sibling)
        reinsert_loop_pragmas(child);
    if (!loop->pragmas) return;
    LIST **link = &loop->preheader->statements;
    while (*link && !op_ends_block((*link)->first->op))
        link = &(*link)->rest;
    last_cell(loop->pragmas)->rest = *link;
    *link = loop->pragmas;
    loop->pragmas = nullptr;
}

LOOP *make_LOOP(BBLK *head, BBLK *tail, int id, const LOOP *original) {
    LOOP *loop = original ? new LOOP(*original) : new LOOP;
    if (original) {
        const KEEP_DOMINATORS keep;
        loop->parent = loop->sibling = loop->first_child = nullptr;
        loop->contents = copy_edge_list(original->contents);
        loop->exits = copy_edge_list(original->exits);
        loop->trips = original->trips ? copy_tree(original->trips) : nullptr;
        loop->tripFactor = original->tripFactor ? copy_tree(original->tripFactor) : nullptr;
        loop->pragmas = copy_statements(original->pragmas);
        loop->ivs = copy_LOOPIV_list(original->ivs, loop);
        loop->lvs = copy_LOOPLV_list(original->lvs, loop);
        loop->LCV = original->LCV ? find_LOOPIV_for_IV(original->LCV->sym, loop) : nullptr;
    }
    if (head) loop->head = head;
    if (tail) loop->tail = tail;
    if (id >= 0) loop->id = id;
    return loop;
}

LOOP *erase_loop_and_subloops(LOOP *loop) {
    for (LOOP *child = loop->first_child, *next; child; child = next) {
        next = child->sibling;
        erase_loop_and_subloops(child);
    }
    const KEEP_DOMINATORS keep;
    erase_edge_list(loop->contents);
    erase_edge_list(loop->exits);
    if (loop->trips) erase_tree(loop->trips);
    if (loop->tripFactor) erase_tree(loop->tripFactor);
    erase_tree_list(loop->pragmas);
    erase_LOOPIV_list(loop->ivs);
    erase_LOOPLV_list(loop->lvs);
    delete loop;
    return nullptr;
}

void erase_loop_hierarchy() {
    LOOP *root = loop_root();
    if (!root) return;
    erase_loop_and_subloops(root);
    for (BBLK *bb : currfuninfo->blocks)
        if (bb) bb->loop = nullptr;
}
