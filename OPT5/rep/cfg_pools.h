// The pools behind blocks, edges and labels; for the sources of the flow graph only.
#pragma once

#include "OPT5/rep/bblk.h"
#include "OPT5/rep/node_pool.h"

extern SLAB_POOL<BBLK> block_pool;
extern SLAB_POOL<EDGE> edge_pool;
extern SLAB_POOL<LBL> label_pool;

// Every edit of blocks and edges calls this.
inline void dominators_are_stale() {
    if (currfuninfo) currfuninfo->dominator_is_stale = true;
}

// The first block of the current function in the order of creation.
BBLK *first_created();

// Ends the run with what is wrong with a label of the current function.
[[noreturn]] void bad_label(long number, const char *what);

// The labels of the function go back to their pool, and their numbers are forgotten.
void erase_labels(FUNINFO *funinfo);

// Makes the successors of a block the targets of its last statement, in their order; known
// frequencies are kept. A block in low-level form, or without an ending branch, keeps its own.
void refresh_successors(BBLK *bb);

// Turns self-calls that the function's end follows into jumps, where nothing can tell the
// difference. Blocks have no edges yet.
void remove_tail_calls();
