// The pipeline's table of contents: the 53 steps and their bodies. All test opt_level() anew, since
// it can differ between functions.
#include "OPT5/driver/driver.h"
#include "OPT5/driver/global_flags.h"
#include "OPT5/driver/log.h"
#include "OPT5/driver/pass.h"
#include "OPT5/driver/register_option.h"
#include "OPT5/icode/if.h"
#include "OPT5/icode/opt_client.h"
#include "OPT5/interproc/interproc.h"
#include "OPT5/lir/lir_pass_manager.h"
#include "OPT5/loops/loops.h"
#include "OPT5/scalar/scalar.h"
#include "OPT5/target/target.h"
#include "OPT5/vector/mdbuilder.h"

#include <algorithm>
#include <memory>

namespace {
bool at_O2() {
    return opt_level() >= 2;
}

// Functions whose calls have all been integrated are suppressed; without that step none is.
bool may_suppress() {
    return step_has_effect(inlining_step);
}

void leave_function() {
    currfuninfo = nullptr;
    erase_all();
    currfunc = nullptr;
    restore_global_flags();
}

void with_ssa(void (*work)()) {
    construct_SSA_form(false, false, true);
    work();
    deconstruct_SSA_form();
}

void step_pass_1() {
    if (!step_has_effect(0)) {
        leave_function();
        return;
    }
    if (opt_level() > 1) {
        fast_CP(4, 0);
        elim_dead_assigns();
    }
    fast_CP(4, 0);
    if (opt_level() > 1) {
        init_dd_aliasing();
        do_value_propagation();
    }
    if (!pass_disable("newinline") && inliner) inliner->collect_pass_1_info();
    leave_function();
}

void step_pass_2_header() {
    fileinfo->pass_number = 2;
    if (write_opt_info) std::fflush(finfo);
    if (print_debug) {
        std::fflush(fdebug);
        std::printf("%s Pass 2\n", banner);
    }
}

void step_set_call_graph_order() {
    std::vector<SYMTAB *> order(call_graph_order.begin(), call_graph_order.end());
    if (opt_level() < 2)
        std::stable_sort(order.begin(), order.end(), [](const SYMTAB *a, const SYMTAB *b) {
            return a->serial < b->serial; // source order
        });
    else
        std::reverse(order.begin(), order.end()); // callees before callers
    functions.clear();
    for (SYMTAB *func : order) {
        const unsigned flags = make_FUNINFO(skip_name_prefix(func->name))->flags;
        const bool dropped =
            may_suppress() && (flags & FUN_is_suppressed) && !(flags & FUN_cannot_suppress);
        if (!(flags & FUN_is_processed) && !dropped) functions.push_back(func);
    }
}

void step_pass_2_inits() {
    if (print_debug) LS::print(currfuninfo->root_scope);
    add_instrumentation_exit_routine_to_atexit();
    if (print_debug) LS::validate(currfuninfo->root_scope);
    integrate_calls_in_function();
    promote_all_embedded_assignments();
    build_stack_sharing_type();
    disguise_vector_operations();
    disclose_vector_operations();
    coalesce_local_vector_symbols();
    lower_vector_statements();
    disguise_vector_operations();
    sym_split();
    if (do_beta_MVP) {
        beta_parms_using_mvp_ip();
        beta_convert_using_mvp_ip();
    } else {
        beta_parms();
        beta_convert();
    }
    simpcfg(false, false);
}

void step_early_LIR() {
    if (!use_llvm() && !pass_enable("lir_early") && !pass_enable("lir")) return;
    LIR::pass_manager manager("early");
    if (use_llvm() || pass_enable("lirssa")) manager.add(std::make_unique<LIR_ssa_pass>());
    manager.run();
}

void step_late_LIR() {
    if (!pass_enable("lir_late") && !pass_enable("lir")) return;
    LIR::pass_manager("late").run();
}

void step_MVP_global_assertions() {
    if (do_IP_MVP) add_MVP_IP_global_assertions();
}

void step_intraprocedural_MVP() {
    if (!at_O2()) return;
    dprintf("~~~#MAIN#1 do_int_MVP=%d %s()\n", do_int_MVP, currfuninfo->name.c_str());
    if (do_int_MVP) initialize_ssa_pointsto_mvp();
    if (do_int_MVP) do_integer_value_propagation();
    if (do_int_MVP) {
        clear_pointsto_bindings();
        deconstruct_SSA_form();
        remove_SSA_decoration_trees();
    }
}

void step_value_propagation_for_SIMD() {
    if (!at_O2() || !do_MDF_vectorization) return;
    init_dd_aliasing();
    do_value_propagation();
    simpcfg(false, false);
    rebuildcfg();
    simpcfg(false, false);
}

void step_explode_auto_structs() {
    if (at_O2()) explode_auto_struct_vars();
}
void step_clone_SSA_NASSERTs() {
    if (at_O2()) with_ssa(clone_SSA_NASSERTs);
}
void step_SSA_CP() {
    if (at_O2()) with_ssa([] { propagate_SSA_constants(1); });
}
void step_SSA_EDA() {
    if (at_O2()) with_ssa(eliminate_dead_SSA_assignments);
}
void step_SSA_RP() {
    if (at_O2()) promote_vars_to_registers(true);
}

void step_global_opts() {
    if (!at_O2() || currfuninfo->bb_count < 2) return;
    copyprop(true);
    annotate_cfg();
    gcse();
    restructure_loops();
    clean_up_gdflow_bitvecs();
    clean_up_alias_analysis_bitvecs_etc();
    clean_up_assert_RELOPs();
    rename_symbols();
    merge_symbols();
}

void step_local_opts() {
    subst_csu_returning_temp_for_local_var();
    if (opt_level() < 1) return;
    optimize_superblocks_in_cfg();
    reset_alias_info();
    lcse_subrange_assignments();
    elim_dead_subrange_assigns();
    remove_unreferenced_autos();
    copyprop(true);
    if (at_O2()) convert_sti_to_cinit();
    lcse();
    propagate_increments();
}

// Once for each function; the same, and the writing stands on it; once for the file (a barrier).
enum step_kind { F, W, B };

struct step_row {
    const char *name;
    step_kind kind;
    void (*function)();
};

constexpr step_row before_loop_steps[] = {
    {"pass 1", W, step_pass_1},                                            // 0
    {"intermission", B, step_intermission},                                // 1
    {"pass 2 header", B, step_pass_2_header},                              // 2
    {"set call-graph order", B, step_set_call_graph_order},                // 3
    {"pass 2 inits", F, step_pass_2_inits},                                // 4
    {"CPS", F, straighten_cond_paths},                                     // 5
    {"early LIR", F, step_early_LIR},                                      // 6
    {"early fast_CP(4,1)", F, [] { fast_CP(4, 1); }},                      // 7
    {"MVP global assertions", F, step_MVP_global_assertions},              // 8
    {"intraprocedural MVP", F, step_intraprocedural_MVP},                  // 9
    {"value propagation for SIMD", F, step_value_propagation_for_SIMD},    // 10
    {"explode auto structs", F, step_explode_auto_structs},                // 11
    {"non-DD clone SSA NASSERTs", F, step_clone_SSA_NASSERTs},             // 12
    {"non-DD SSA CP", F, step_SSA_CP},                                     // 13
    {"non-DD SSA EDA", F, step_SSA_EDA},                                   // 14
    {"SSA RP with benign loads", F, step_SSA_RP},                          // 15
    {"expand bitfields", F, expand_bitfields},                             // 16
    {"fast_CP(0,1)", F, [] { fast_CP(0, 1); }},                            // 17
    {"add profile loop annotations", F, add_loop_annotation_from_profile}, // 18
    {"CD vectorizations", F, do_cd_vectorization},                         // 19
};
// 20 to 45: the loop steps
constexpr step_row after_loop_steps[] = {
    {"CD ILP", F, do_cd_ilp},                        // 46
    {"late fast_CP(4,1)", F, [] { fast_CP(4, 1); }}, // 47
    {"global opts", F, step_global_opts},            // 48
    {"expand cluster refs", F, expand_cluster_refs}, // 49
    {"local opts", F, step_local_opts},              // 50
    {"late LIR", F, step_late_LIR},                  // 51
};
// 52: "pass 2 trailer", made by the main program once the file has been read

void add_steps(std::vector<pass *> &steps, const step_row *begin, const step_row *end) {
    for (const step_row *row = begin; row != end; ++row)
        steps.push_back(row->kind == B ? new barrier_pass(row->name, row->function)
                                       : new pass(row->name, row->function));
}
} // namespace

void step_intermission() {
    function_prepass = 0;
    analyze_call_graph();
    erase_all();
    currfunc = nullptr;
    restore_global_flags();
    // The chain holds the newest first; the output's numbers follow the order of declaration.
    std::vector<SYMTAB *> chain;
    for (SYMTAB *sym = global_symbols; sym; sym = sym->next)
        chain.push_back(sym);
    std::for_each(chain.rbegin(), chain.rend(), [](SYMTAB *sym) { o_file->if_enter_global(sym); });
}

void step_pass_2_trailer() {
    const bool has_effect = step_has_effect(trailer_step);
    if (has_effect) {
        combine_asgs_to_memory();
        optimize_SWITCH_cases();
    }
    init_reg_defs();
    allocate_regs();
    if (has_effect) elim_dead_assigns(false, false);
    if (!may_suppress() || !(currfuninfo->flags & FUN_is_suppressed)) {
        write_func_header();
        if (has_effect) {
            fold_ANDBASGs();
            do_dd_analysis_for_be();
            simpcfg(true, false);
            rotate_loops();
            if (fileinfo->pass_number == 2) straighten_traces_in_cfg();
        }
        disclose_vector_operations();
        if (has_effect) unsimplify();
        disguise_vector_operations();
        finalize_dd_edges();
        disclose_vector_operations();
        write_func_body();
    }
    clear_symbol_maps(currfuninfo);
    leave_function();
    restore_debug_log();
}

std::vector<pass *> build_steps_table() {
    global_pass_manager.members.clear();
    std::vector<pass *> steps;
    add_steps(steps, std::begin(before_loop_steps), std::end(before_loop_steps));
    add_dd_normal_order_passes(steps);
    add_steps(steps, std::begin(after_loop_steps), std::end(after_loop_steps));
    return steps;
}
