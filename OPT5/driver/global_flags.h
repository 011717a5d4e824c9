// The option sets of the run, the flags that the file's set turns on, and the questions that each
// function's own set answers.
#pragma once

#include "OPT5/driver/optobj.h"

#include <vector>

extern option_obj *cmdline_options;               // the command line's; owned by the run
extern std::vector<option_obj *> all_option_sets; // by number; owned by the run
extern option_obj *file_options;                  // set 0

// The set that governs the current function; the file's outside a function and for a function whose
// set does not exist. Null before the sets are built.
const option_obj *current_option_set();

// Flags of the whole file. All are set by reset_global_flags(), then changed by set_global_flags().
extern int alias_vars;        // variables may be aliased invisibly
extern int inline_single;     // inline what has one call site
extern int cache_sys_funinfo; // 0 to 2: what is kept of system functions
extern int code_is_reentrant;
extern int dump_ocg_in_GDL;
extern int dwim_aliases, dwim_loops; // the program does what it seems to mean
extern int far_externs;
extern int kr_flag; // promotion preserves unsignedness
extern int memory_is_big_endian;
extern int memory_model;
extern int mini_mult; // no multiplier to speak of
extern int apply_symbolic_methods;
extern int pass_args_in_regs;
extern int program_mode;     // -1: not given
extern int source_interlist; // statements as comments in the output
extern int unsigned_index_wraps;
extern int unsigned_ok_for_RPTB;
extern int volit_vars;             // all but automatic variables are volatile
extern int max_unrolled_loop_size; // nodes
extern int old_const_pointer_behavior;
extern int chars_alias_other_types;
extern int pointer_args_are_disjoint;
extern int loop_increments_are_not_zero;
extern int strict_fp;
extern int use_g2;
extern int aux_cmd_flag[10]; // by digit
extern int remove_hooks_when_inlining;
extern int inhibit_clustering;   // some set has a level at which variables may be aliased
extern int decode_mangle_scheme; // 1: names are encoded as the embedded interface does

extern const int default_o3_auto_inline; // auto_inline() from the third level up

void reset_global_flags();
// Applies one set, and its debug controls. A level or goal out of range ends the run.
void set_global_flags(option_obj *options);

// Answered anew at each call from current_option_set().
int opt_level();       // 0 to 4
int size_speed_goal(); // 0 (small code) to 5 (fast code)
int auto_inline();     // largest size that is inlined unasked; 0: none
bool fp_add_is_associative();
bool saturating_add_is_associative();
int interrupt_threshold(); // cycles; 0: not limited
bool use_llvm();
