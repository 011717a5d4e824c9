// The parts of dead assignment elimination. Private to it.
#pragma once

#include "OPT5/rep/bblk.h"

// In the current function; variables whose address is taken are marked.
void erase_stores_to_unread_objects();
void delay_assignments();
// The block that follows on a block that is a loop of its own and certain to end; null for others.
BBLK *way_out_of_counting_loop(const BBLK *bb);
// Takes the cells without statement out of the block.
void drop_empty_cells(BBLK *bb);
