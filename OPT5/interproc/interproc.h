// The interprocedural optimizer: call graph, function order, inlining, metavalues.
#pragma once

#include "OPT5/rep/program.h"

#include <list>

// Decides about inlining; collect_pass_1_info sees each function at the end of "pass 1".
class INLINER {
public:
    virtual ~INLINER() = default;
    virtual void collect_pass_1_info() = 0;
};

class REVISED_OLD_INLINER : public INLINER {
public:
    void collect_pass_1_info() override;
};

extern INLINER *inliner; // null when the control disable:newinline is on; owned by fileopt

// Metavalue propagation is on when these are nonzero.
extern int do_beta_MVP, do_IP_MVP, do_int_MVP;

// Functions in call-graph order, callers first; empty until analyze_call_graph has run.
extern std::list<SYMTAB *> call_graph_order;

void init_proc_integration();
// Orders all functions of the file that have a body.
void analyze_call_graph();
void integrate_calls_in_function();
void check_for_synonym_function_in_pass_1();
void check_integrable_definition(FUNINFO *funinfo);
void preprocess_fundef(FUNINFO *funinfo);
void unsuppress_inline_function(FUNINFO *funinfo);
bool function_is_defined(const FUNINFO *funinfo);
void dump_psnrefs();

void init_ipcp_for_fun();
void init_IP_MVP_for_current_function();
void beta_parms_using_mvp_ip();
void beta_convert_using_mvp_ip();
void add_MVP_IP_global_assertions();
void initialize_ssa_pointsto_mvp();
void do_integer_value_propagation();
void clear_pointsto_bindings();
