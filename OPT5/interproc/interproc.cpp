#include "OPT5/interproc/interproc.h"

#include "OPT5/rep/bblk.h"

INLINER *inliner = nullptr;
int do_beta_MVP = 0, do_IP_MVP = 0, do_int_MVP = 0;
std::list<SYMTAB *> call_graph_order;

void REVISED_OLD_INLINER::collect_pass_1_info() {}

void init_proc_integration() { call_graph_order.clear(); }

// The order is such that the work list, which pushes at its head, comes out in source order.
void analyze_call_graph() { call_graph_order.assign(functions.rbegin(), functions.rend()); }

void unsuppress_inline_function(FUNINFO *funinfo) {
    if (funinfo && (funinfo->flags & FUN_is_suppressed)) funinfo->flags |= FUN_is_unsuppressed | FUN_cannot_suppress;
}

bool function_is_defined(const FUNINFO *funinfo) {
    return funinfo && funinfo->symbol && (funinfo->symbol->sc == 2 || funinfo->symbol->sc == 3);
}

void integrate_calls_in_function() {}
void check_for_synonym_function_in_pass_1() {}
void check_integrable_definition(FUNINFO *) {}
void preprocess_fundef(FUNINFO *) {}
void dump_psnrefs() {}
void init_ipcp_for_fun() {}
void init_IP_MVP_for_current_function() {}
void beta_parms_using_mvp_ip() {}
void beta_convert_using_mvp_ip() {}
void add_MVP_IP_global_assertions() {}
void initialize_ssa_pointsto_mvp() {}
void do_integer_value_propagation() {}
void clear_pointsto_bindings() {}
