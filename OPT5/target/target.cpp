// The steps of the ZRA: hooks without content.
#include "OPT5/target/target.h"

int cpu_version = 0;
int register_assignments = 0;

void init_target() {}
void init_reg_defs() {}
void allocate_regs() {}
void list_register_assignments() {}
void finalize_ldspec_advice() {}
void write_loop_icode(LOOP *) {}
void write_dd_mbank_info() {}
void write_dd_edges() {}
