// The steps of this folder that leave a function as it is.
#include "OPT5/loops/loops.h"

void do_DVE_unit_testing() {}
void init_dd_aliasing() {}
void do_value_propagation() {}
void construct_SSA_form(bool, bool, bool) {}
void deconstruct_SSA_form() {}
void remove_SSA_decoration_trees() {}
void clone_SSA_NASSERTs() {}
void propagate_SSA_constants(int) {}
void eliminate_dead_SSA_assignments() {}
void promote_vars_to_registers(bool) {}
void hoist_SSA_region_constants() {}
void find_loop_assertions(LOOP *) {}
void find_loop_IVs(LOOP *) {}
void prep_loop_variables(bool) {}
bool shape_dd_loops() { return false; }
bool gcm_scalar_memrefs() { return false; }
void constrain_all_ranges() {}
void coalesce_compound_IF_statements() {}
void simplify_dd_loops() {}
void maybe_clear_restrict_in_inner_loops() {}
void clear_PT_vectors() {}
void undeltafy_dd_loops() {}
void add_downcounters_to_loops() {}
void collapse_dd_loops() {}
void sr_circular_addressing_in_loops() {}
void do_loop_if_interchange() {}
void cd_unroll_loops_by_request() {}
void unroll_loops_completely_for_SP() {}
void unroll_and_jam_loop_nests() {}
void propagate_PT_info() {}
void vectorize_subword_ops() {}
void explode_local_arrays() {}
void unroll_loops_for_SP() {}
void report_ambiguous_aliases() {}
void interleave_reductions_in_loops() {}
void transform_DIVs_by_ICONs() {}
void do_dd_analysis_for_be() {}
void finalize_dd_edges() {}
