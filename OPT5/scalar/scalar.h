// The scalar optimizer's steps, in the order in which a function meets them. A pass takes nothing,
// reads the current function and works in place; a routine that takes a tree owns it and returns
// what replaces it. Those with an empty body leave the function as it is.
#pragma once

#include "OPT5/rep/bblk.h"
#include "OPT5/scalar/simp.h"

// --- while a function is read
void make_symbol_groupable(SYMTAB *sym);
void check_fun_for_byref_asgs(SYMTAB *sym);
void make_RSET_root(SYMTAB *sym, LS *ls);
void find_or_make_PTR_entry(SYMTAB *sym);
void init_stack_sharing();
void begin_stack_sharing_scope();
void end_stack_sharing_scope();
void add_stack_sharing_variable(SYMTAB *sym);
void seq_trees();
void identify_fl_statics_safe_for_auto();
void convert_safe_fl_statics_to_auto();

// --- the steps
// Fast copy propagation, at most `rounds` times: again while conditions become constant. With
// `cleanup`, combine_asgs_to_memory() before it and elim_dead_assigns() behind it.
void fast_CP(int rounds, int cleanup);
// Puts constants where the tree, of the statement, reads globals that never change. With `flag` the
// caller simplifies the tree afterwards; else this does where something has changed.
NODE *propagate_global_constants(NODE *tree, NODE *stmt, bool flag);
// The same for a tree that reads a member or an element of a global: the constant, or the tree.
NODE *prop_constant_for_CSU_member(NODE *tree, NODE *stmt);
// `delay` moves assignments towards their uses instead; `last` says that no such run follows.
void elim_dead_assigns(bool delay = false, bool last = true);
void promote_all_embedded_assignments();
void build_stack_sharing_type();
void sym_split();
void beta_parms();
void beta_convert();
void straighten_cond_paths();
void explode_auto_struct_vars();
void expand_bitfields();
void copyprop(bool global);
void annotate_cfg();
void gcse();
void restructure_loops();
void clean_up_gdflow_bitvecs();
void clean_up_alias_analysis_bitvecs_etc();
void clean_up_assert_RELOPs();
void rename_symbols();
void merge_symbols();
void expand_cluster_refs();
void subst_csu_returning_temp_for_local_var();
void optimize_superblocks_in_cfg();
void reset_alias_info();
void lcse_subrange_assignments();
void elim_dead_subrange_assigns();
void convert_sti_to_cinit();
void lcse();
void propagate_increments();
// Drops the automatic locals of the current function that no tree and no exception table names.
void remove_unreferenced_autos();

// --- before a function is written
void combine_asgs_to_memory();
// Puts adjacent assignments of a statement list together; gives the list, which keeps its first cell.
LIST *combine_assignments(LIST *list);
void fold_ANDBASGs();
void rotate_loops();
void straighten_traces_in_cfg();
void unsimplify();
NODE *insert_mandatory_casts(NODE *tree);

// --- profile and instrumentation, without effect unless requested
void initialize_the_profiling_state(const NODE *tree);
void initialize_CFG_profiling_annotation(int, int);
void add_loop_annotation_from_profile();
void add_instrumentation_exit_routine_to_atexit();

bool sym_appears_in_EHT(const SYMTAB *sym);
bool function_calls_setjmp(); // or another routine that returns more than once
