// The loop optimizer: steps on loops, SSA form and its optimizations, dependences.
#pragma once

#include "OPT5/driver/pass.h"
#include "OPT5/rep/loop.h"

#include <vector>

// --- the loop hierarchy with its analyses
// Builds it anew, together with what is known of each loop. `full` brings loops into shape as well,
// which may ask for further rounds; `simplify` simplifies them; `force` below 0 stands for `full`.
// Leaves no hierarchy where the graph allows none.
void build_loop_hierarchy(bool full, bool no_points_to, bool simplify, int force);
// Puts what was taken out of the trees back and drops the hierarchy; nothing without one.
void unbuild_loop_hierarchy();
void find_loop_IVs(LOOP *loop);
void prep_loop_variables(bool full);
bool shape_dd_loops();       // true: the loops have to be found anew
bool gcm_scalar_memrefs();   // the same
void constrain_all_ranges();
void coalesce_compound_IF_statements();
void simplify_dd_loops();
void maybe_clear_restrict_in_inner_loops();
void clear_PT_vectors();

void do_DVE_unit_testing();
void init_dd_aliasing();
void do_value_propagation();

// SSA form
void construct_SSA_form(bool, bool, bool);
void deconstruct_SSA_form();
void remove_SSA_decoration_trees();
void clone_SSA_NASSERTs();
void propagate_SSA_constants(int mode);
void eliminate_dead_SSA_assignments();
void promote_vars_to_registers(bool benign_loads = false);
void hoist_SSA_region_constants();

// Appends the 26 loop steps, "forward_substitution" to "SSA_reg_promote_with_simpcfg", in order.
void add_dd_normal_order_passes(std::vector<pass *> &steps);

// The work of the loop steps
void find_loop_assertions(LOOP *loop); // and of its subloops
void undeltafy_dd_loops();
void add_downcounters_to_loops();
void collapse_dd_loops();
void sr_circular_addressing_in_loops();
void do_loop_if_interchange();
void cd_unroll_loops_by_request();
void unroll_loops_completely_for_SP();
void unroll_and_jam_loop_nests();
void propagate_PT_info();
void vectorize_subword_ops();
void explode_local_arrays();
void unroll_loops_for_SP();
void report_ambiguous_aliases();
void interleave_reductions_in_loops();
void transform_DIVs_by_ICONs();

// Dependence information for the code generator
void do_dd_analysis_for_be();
void finalize_dd_edges();
