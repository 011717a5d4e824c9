// What the ZRA decides. A hook without content stays a named empty function.
#pragma once

#include "OPT5/rep/symbol.h"

class LOOP;

extern int cpu_version; // target variant
extern int register_assignments; // nonzero: list them as comments

void init_target();
void init_reg_defs();
void allocate_regs();
void list_register_assignments(); // as comments of the output
void finalize_ldspec_advice();
void write_loop_icode(LOOP *loop);
void write_dd_mbank_info();
void write_dd_edges();
