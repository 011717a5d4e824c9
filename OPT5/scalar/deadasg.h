// The parts of dead assignment elimination. Private to it.
#pragma once

// In the current function; variables whose address is taken are marked.
void erase_stores_to_unread_objects();
void delay_assignments();
