// The validator and the dump of the loop hierarchy. Loops are numbered in preorder, so that what
// lies in which is found without climbing.
#include "OPT5/rep/fault_counts.h"
#include "OPT5/rep/loop.h"

#include <boost/unordered_map.hpp>

namespace {
constexpr int most_ancestors = 32767;

class LOOP_CHECK : FAULT_COUNTS {
public:
    int run(LOOP *loop, int level);

private:
    // Of a loop: its numbers in preorder, the loop around it and the distance from the outermost.
    struct SPAN {
        int first, last;
        const LOOP *above;
        int depth;
    };
    void number(const LOOP *loop, const LOOP *above, int depth);
    bool holds(const LOOP *loop, const LOOP *inner) const;
    bool check_ancestors(const LOOP *loop);
    void check_level(LOOP *loop);
    void mend_links(LOOP *loop);
    void check_contents(const LOOP *loop);
    void check_missing();
    void check_children(LOOP *loop);
    void check_head(const LOOP *loop);
    void check_entries(const LOOP *loop);
    void check_tail(const LOOP *loop);
    void check_exits(const LOOP *loop);
    void check_variables(const LOOP *loop);
    void check(LOOP *loop);

    boost::unordered_map<const LOOP *, SPAN> spans; // looked up, never walked
    std::vector<const LOOP *> holder; // by serial: the loop whose contents were gone through last
    std::vector<int> holders;         // by serial: how many of the loops around the block list it
};

std::string name_of(const BBLK *bb) {
    return bb_name(bb);
}

void LOOP_CHECK::number(const LOOP *loop, const LOOP *above, int depth) {
    const int first = static_cast<int>(spans.size());
    if (!spans.try_emplace(loop, SPAN{first, first, above, depth}).second) return;
    for (const LOOP *child = loop->first_child; child; child = child->sibling)
        number(child, loop, depth + 1);
    spans[loop].last = static_cast<int>(spans.size()) - 1;
}

// A loop holds itself.
bool LOOP_CHECK::holds(const LOOP *loop, const LOOP *inner) const {
    const auto outer_span = spans.find(loop), inner_span = spans.find(inner);
    return outer_span != spans.end() && inner_span != spans.end() &&
           outer_span->second.first <= inner_span->second.first &&
           inner_span->second.first <= outer_span->second.last;
}

bool LOOP_CHECK::check_ancestors(const LOOP *loop) {
    int ancestors = 0;
    for (const LOOP *above = loop->parent; above; above = above->parent)
        if (++ancestors > most_ancestors) {
            error(" +++++ Loop %d has >%d ancestors\n", loop->id, most_ancestors);
            return false;
        }
    return true;
}

void LOOP_CHECK::check_level(LOOP *loop) {
    const int level = loop->parent ? loop->parent->level + 1 : 0;
    if (loop->level == level) return;
    mended(" ----- Loop %d has incorrect level (%d --> %d)\n", loop->id,
           static_cast<int>(loop->level), level);
    loop->level = static_cast<std::int16_t>(level);
}

// A block without a loop gets the innermost one that lists it.
void LOOP_CHECK::mend_links(LOOP *loop) {
    for (LOOP *child = loop->first_child; child; child = child->sibling)
        if (child->parent == loop) mend_links(child);
    for (const EDGE *edge = loop->contents; edge; edge = edge->next) {
        BBLK *bb = edge->bb;
        if (!is_block(bb) || bb->loop) continue;
        mended(" ----- Loop %d has body member %s with NULL <loop>\n", loop->id,
               name_of(bb).c_str());
        bb->loop = loop;
    }
}

// Each member knows that it is one, and each block that thinks so is a member.
void LOOP_CHECK::check_contents(const LOOP *loop) {
    for (const EDGE *edge = loop->contents; edge; edge = edge->next) {
        const BBLK *bb = edge->bb;
        if (!bb) {
            error(" +++++ Loop %d contents includes a NULL bb\n", loop->id);
            continue;
        }
        if (!is_block(bb)) {
            error(" +++++ Deleted %s thinks it's in Loop %d\n", name_of(bb).c_str(), loop->id);
            continue;
        }
        const bool is_in = holds(loop, bb->loop);
        holders[bb->serial] += is_in && holder[bb->serial] != loop;
        holder[bb->serial] = loop;
        if (!is_in)
            error(" +++++ %s incorrectly thinks it's NOT in Loop %d\n", name_of(bb).c_str(),
                  loop->id);
        else if (!loop->is_root() && is_block(loop->head) && !bb_dominates_bb(loop->head, bb))
            error(" +++++ %s in Loop%d should be in the irreducible loop0\n", name_of(bb).c_str(),
                  loop->id);
    }
    if (!loop->contents || loop->contents->bb != loop->head)
        error("body->first          != loop->head\n");
}

void LOOP_CHECK::check_missing() {
    for (const BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink) {
        const auto own = spans.find(bb->loop);
        if (own == spans.end() || holders[bb->serial] == own->second.depth + 1) continue;
        for (const LOOP *loop = bb->loop; loop; loop = spans[loop].above)
            if (!edge_memberp(bb, loop->contents))
                error(" +++++ %s incorrectly thinks it's in Loop %d\n", name_of(bb).c_str(),
                      loop->id);
    }
}

void LOOP_CHECK::check_children(LOOP *loop) {
    for (LOOP *child = loop->first_child; child; child = child->sibling) {
        if (child->parent != loop)
            error(" +++++ Loop %d inner loop %d has wrong parent: %d\n", loop->id, child->id,
                  child->parent ? child->parent->id : -1);
        if (child->level == loop->level + 1) continue;
        mended(" ----- Loop %d has inner loop %d with wrong level\n", loop->id, child->id);
        child->level = static_cast<std::int16_t>(loop->level + 1);
    }
}

void LOOP_CHECK::check_head(const LOOP *loop) {
    if (!is_block(loop->head))
        return error(" +++++ Loop %d head is missing or invalid\n", loop->id);
    if (loop->is_root()) return;
    if (!is_block(loop->tail))
        return error(" +++++ Loop %d tail is missing or invalid\n", loop->id);
    if (!is_block(loop->preheader) || holds(loop, loop->preheader->loop) ||
        edge_length(loop->preheader->successors) != 1 ||
        loop->preheader->successors->bb != loop->head)
        error(" +++++ Loop %d preheader is missing or invalid\n", loop->id);
    if (edge_length(loop->head->predecessors) != 2 ||
        !edge_memberp(loop->preheader, loop->head->predecessors) ||
        !edge_memberp(loop->tail, loop->head->predecessors))
        error(" +++++ Loop %d header has improper predecessors\n", loop->id);
}

// Control enters at the head alone, and comes back to it from the tail alone.
void LOOP_CHECK::check_entries(const LOOP *loop) {
    for (const EDGE *edge = loop->contents; edge; edge = edge->next)
        for (const EDGE *in = edge->bb->predecessors; in; in = in->next) {
            const bool from_inside = holds(loop, in->bb->loop);
            if (edge->bb == loop->head && from_inside && in->bb != loop->tail)
                error(" +++++ Improper back edge from %s in loop #%d to %s\n",
                      name_of(in->bb).c_str(), in->bb->loop->id, name_of(edge->bb).c_str());
            if (edge->bb != loop->head && !from_inside)
                error(" +++++ %s (loop#%d) branched to from %s (loop#%d)\n",
                      name_of(edge->bb).c_str(), loop->id, name_of(in->bb).c_str(),
                      in->bb->loop ? in->bb->loop->id : -1);
        }
}

// A tail leads to the head, and at most to one exit.
void LOOP_CHECK::check_tail(const LOOP *loop) {
    const std::string tail = name_of(loop->tail);
    const int successors = edge_length(loop->tail->successors);
    if (successors == 0) error(" +++++ Loop %d tail %s has no successor\n", loop->id, tail.c_str());
    if (successors > 2)
        error(" +++++ Loop %d tail %s has too many successors\n", loop->id, tail.c_str());
    for (const EDGE *edge = loop->tail->successors; edge; edge = edge->next)
        if (edge->bb != loop->head && !edge_memberp(edge->bb, loop->exits))
            error(" +++++ Loop %d tail %s has improper successor: %s\n", loop->id, tail.c_str(),
                  name_of(edge->bb).c_str());
}

void LOOP_CHECK::check_exits(const LOOP *loop) {
    for (const EDGE *edge = loop->exits; edge; edge = edge->next) {
        bool proper = is_block(edge->bb) && !holds(loop, edge->bb->loop);
        for (const EDGE *in = proper ? edge->bb->predecessors : nullptr; in; in = in->next)
            proper &= holds(loop, in->bb->loop);
        if (!proper)
            error(" +++++ Loop %d has improper exit %s\n", loop->id, name_of(edge->bb).c_str());
    }
}

void LOOP_CHECK::check_variables(const LOOP *loop) {
    for (const LOOPIV *iv = loop->ivs; iv; iv = iv->next)
        if (sym_is_RC_in_loop(iv->sym, loop))
            error(" +++++ Loop %d has %s as both RC and IV\n", loop->id, iv->sym->name);
}

void LOOP_CHECK::check(LOOP *loop) {
    if (!check_ancestors(loop)) return;
    check_level(loop);
    check_contents(loop);
    check_children(loop);
    check_head(loop);
    if (!loop->is_root() && is_block(loop->head) && is_block(loop->tail)) {
        check_entries(loop);
        check_tail(loop);
        check_exits(loop);
    }
    check_variables(loop);
    for (LOOP *child = loop->first_child; child; child = child->sibling)
        if (child->parent == loop) check(child);
}

int LOOP_CHECK::run(LOOP *loop, int level) {
    dprintf("===== Validating LOOP %d at level %d\n", loop->id, level);
    compute_dominators(false);
    holder.assign(currfuninfo->blocks.size(), nullptr);
    holders.assign(currfuninfo->blocks.size(), 0);
    number(loop, nullptr, 0);
    mend_links(loop);
    check(loop);
    check_missing();
    dprintf(" ===== (%d,%d) Corrected errors: %d, Uncorrected errors: %d\n\n", loop->id, level,
            corrected, uncorrected);
    return sum_up("LOOP");
}

void dump_blocks(const char *title, const EDGE *list) {
    dprintf("  %s:", title);
    for (; list; list = list->next)
        dprintf(" %s", name_of(list->bb).c_str());
    dprintf("\n");
}

std::string place_of(const PSN *psn) {
    return psn ? std::to_string(psn->line) + ":" + std::to_string(psn->column) : "-";
}
} // namespace

int validate_loop(LOOP *loop, int level) {
    return LOOP_CHECK().run(loop, level);
}

void dump_loop_hierarchy(const LOOP *loop) {
    if (!print_debug) return;
    dprintf("Loop %d level %d flags %#x (%s to %s)\n", loop->id, static_cast<int>(loop->level),
            loop->flags, place_of(loop->psn_first).c_str(), place_of(loop->psn_last).c_str());
    if (!loop->is_root())
        dprintf("  preheader %s, head %s, tail %s\n", name_of(loop->preheader).c_str(),
                name_of(loop->head).c_str(), name_of(loop->tail).c_str());
    dump_blocks("contents", loop->contents);
    dump_blocks("exits", loop->exits);
    for (const LOOP *child = loop->first_child; child; child = child->sibling)
        dump_loop_hierarchy(child);
}
