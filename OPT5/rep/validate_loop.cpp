// The validator and the dump of the loop hierarchy.
#include "OPT5/driver/log.h"
#include "OPT5/rep/loop.h"

namespace {
constexpr int most_ancestors = 32767;

class LOOP_CHECK {
public:
    int run(LOOP *loop, int level);

private:
    template <class... Args> void error(const char *format, const Args &...args) {
        dprintf(format, args...);
        ++uncorrected;
    }
    template <class... Args> void mended(const char *format, const Args &...args) {
        dprintf(format, args...);
        ++corrected;
    }
    static bool is_block(const BBLK *bb);
    bool check_ancestors(const LOOP *loop);
    void check_level(LOOP *loop);
    void check_contents(const LOOP *loop);
    void check_missing(const LOOP *loop);
    void check_children(LOOP *loop);
    void check_head(const LOOP *loop);
    void check_entries(const LOOP *loop);
    void check_tail(const LOOP *loop);
    void check_exits(const LOOP *loop);
    void check_variables(const LOOP *loop);
    void check(LOOP *loop);

    std::vector<const LOOP *> holder; // by serial: the loop whose contents were gone through last
    int corrected = 0, uncorrected = 0;
};

std::string name_of(const BBLK *bb) {
    return bb_name(bb);
}

bool LOOP_CHECK::is_block(const BBLK *bb) {
    return bb && bb->serial < currfuninfo->blocks.size() && currfuninfo->blocks[bb->serial] == bb;
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
        holder[bb->serial] = loop;
        if (!bb->loop)
            error(" ----- Loop %d has body member %s with NULL <loop>\n", loop->id,
                  name_of(bb).c_str());
        else if (!loop_is_subloop_of_loop(bb->loop, loop))
            error(" +++++ %s incorrectly thinks it's NOT in Loop %d\n", name_of(bb).c_str(),
                  loop->id);
        else if (!loop->is_root() && is_block(loop->head) && !bb_dominates_bb(loop->head, bb))
            error(" +++++ %s in Loop%d should be in the irreducible loop0\n", name_of(bb).c_str(),
                  loop->id);
    }
    if (!loop->contents || loop->contents->bb != loop->head)
        error("body->first          != loop->head\n");
}

void LOOP_CHECK::check_missing(const LOOP *loop) {
    for (const BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink)
        if (bb->loop && holder[bb->serial] != loop && loop_is_subloop_of_loop(bb->loop, loop))
            error(" +++++ %s incorrectly thinks it's in Loop %d\n", name_of(bb).c_str(), loop->id);
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
    if (!is_block(loop->preheader) || loop_is_subloop_of_loop(loop->preheader->loop, loop) ||
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
            const bool from_inside = in->bb->loop && loop_is_subloop_of_loop(in->bb->loop, loop);
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
        if (edge->bb != loop->head && loop_is_subloop_of_loop(edge->bb->loop, loop))
            error(" +++++ Loop %d tail %s has improper successor: %s\n", loop->id, tail.c_str(),
                  name_of(edge->bb).c_str());
}

void LOOP_CHECK::check_exits(const LOOP *loop) {
    for (const EDGE *edge = loop->exits; edge; edge = edge->next) {
        bool proper = is_block(edge->bb) && !loop_is_subloop_of_loop(edge->bb->loop, loop);
        for (const EDGE *in = proper ? edge->bb->predecessors : nullptr; in; in = in->next)
            proper &= loop_is_subloop_of_loop(in->bb->loop, loop);
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
    check_missing(loop);
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
    check(loop);
    dprintf(" ===== (%d,%d) Corrected errors: %d, Uncorrected errors: %d\n\n", loop->id, level,
            corrected, uncorrected);
    if (corrected) dprintf("\n\n ----- %d Corrected LOOP errors!!!", corrected);
    if (uncorrected) dprintf("\n\n +++++ %d Uncorrected LOOP errors!!!", uncorrected);
    return uncorrected;
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
