// The steps of this folder that leave a function as it is.
#include "OPT5/vector/mdbuilder.h"

int do_MDF_vectorization = 0;

void matcher_init() {}
void parse_md_file(bool) {}
void do_cd_vectorization() {}
void do_cd_ilp() {}
void disguise_vector_operations() {}
void disclose_vector_operations() {}
void coalesce_local_vector_symbols() {}
void lower_vector_statements() {}
