// Dumps of basic blocks to the debug log.
#include "OPT5/driver/log.h"
#include "OPT5/rep/bblk.h"

std::string bb_name(const BBLK *bb) {
    if (!bb) return "<NONE>";
    if (bb->dfn > 0) return "BB" + std::to_string(bb->dfn);
    return "BB<" + std::to_string(bb->serial) + ">"; // not numbered yet
}

namespace {
const char *file_of(const PSN *psn) {
    return psn->file ? psn->file : "<NONE>";
}

void dump_edges(const char *title, const EDGE *edges) {
    dprintf("\t%s =  ( ", title);
    for (const EDGE *edge = edges; edge; edge = edge->next) {
        dprintf("%s ", bb_name(edge->bb).c_str());
        if (edge->freq >= 0) dprintf("[%.3f] ", edge->freq);
    }
    dprintf(")\n");
}
} // namespace

void dump_bblock(const BBLK *bb) {
    if (!print_debug) return;
    if (!bb) {
        dprintf("<NULL basic block>\n");
        return;
    }
    dprintf("\n%s:  UON=%d%s%s\n\tDFLINK=%s, RDFLINK=%s, UOLINK=%s\n", bb_name(bb).c_str(), bb->uon,
            bb->is_exit ? ", exit" : "", bb->never_executed ? ", never executed" : "",
            bb_name(bb->dflink).c_str(), bb_name(bb->rdflink).c_str(), bb_name(bb->uolink).c_str());
    for (const LBL *label = bb->label; label; label = label->next)
        dprintf("\tLABEL, INDEX=%d, REFCOUNT=%d, NAME=<NONE>\n", label->index, label->refcount);
    dump_edges("PREDECESSORS", bb->predecessors);
    dump_edges("SUCCESSORS", bb->successors);
    // Later edits may have erased blocks of the dominator tree.
    if (bb->descendants && !bb->owner->dominator_is_stale)
        dump_edges("DESCENDANTS", bb->descendants);
    if (const PSN *psn = bb->psn_first)
        dprintf("\tStarts at: %s\tline: %ld  col %ld\n", file_of(psn), long{psn->line},
                long{psn->column});
    if (const PSN *psn = bb->psn_last)
        dprintf("\tEnds at:   %s\tline: %ld  col %ld\n", file_of(psn), long{psn->line},
                long{psn->column});
    if (bb->dFreqIn >= 0 || bb->dFreqOut >= 0)
        dprintf("\tProfiling counts: entry=%.3f,  exit=%.3f\n", bb->dFreqIn, bb->dFreqOut);
    for (const LIST *cell = bb->statements; cell; cell = cell->rest)
        dprintf("\t\t%s\n", cell->first ? stmt2infix(cell->first) : "<NULL statement>");
}

void prbbinfix(int first, int last, int with_trees) {
    if (!print_debug || !currfuninfo) return;
    dprintf("\n\n%s(): %d basic blocks\n", currfuninfo->name.c_str(), currfuninfo->bb_count);
    for (const BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink) {
        if ((first && bb->dfn < first) || (last && bb->dfn > last)) continue;
        dump_bblock(bb);
        if (!with_trees) continue;
        for (const LIST *cell = bb->statements; cell; cell = cell->rest)
            if (cell->first) dump_tree_debug(cell->first);
    }
}
