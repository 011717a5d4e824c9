// The list of loop steps.
#include "OPT5/driver/global_flags.h"
#include "OPT5/loops/loops.h"
#include "OPT5/rep/bblk.h"

namespace {
bool at_O2() { return opt_level() >= 2; }
bool has_loops() { return loop_root() != nullptr; }

void with_ssa(bool keep_vectors, void (*work)()) {
    construct_SSA_form(false, false, keep_vectors);
    work();
    deconstruct_SSA_form();
}

void step_forward_substitution() {
    if (!at_O2()) return;
    if (!has_loops()) simpcfg(false, false);
    build_loop_hierarchy(true, false, true, 1); // stands until the last of these steps
}
void step_SSA_hoist() {
    if (at_O2()) with_ssa(true, hoist_SSA_region_constants);
}
void step_SSA_NASSERTs() {
    if (at_O2()) with_ssa(false, clone_SSA_NASSERTs);
}
void step_SSA_propagate() {
    if (at_O2()) with_ssa(false, [] { propagate_SSA_constants(3); });
}
void step_SSA_deadasg() {
    if (at_O2()) with_ssa(false, eliminate_dead_SSA_assignments);
}
void step_SSA_reg_promote() {
    if (at_O2()) promote_vars_to_registers();
}
void step_value_propagation() {
    if (at_O2() && !has_loops()) do_value_propagation();
}
void step_SSA_propagate_vector() {
    if (at_O2()) with_ssa(true, [] { propagate_SSA_constants(3); });
}
void step_SSA_reg_promote_with_simpcfg() {
    if (!at_O2()) return;
    promote_vars_to_registers();
    if (has_loops()) return unbuild_loop_hierarchy(); // which tidies the graph
    simpcfg(false, false);
    rebuildcfg();
}
void step_loop_assertions() {
    if (at_O2() && has_loops()) find_loop_assertions(loop_root());
}

// A step whose whole work is one routine, run from level 2 on.
template <void (*work)()> void at_O2_only() {
    if (at_O2()) work();
}

struct dd_step {
    const char *name;
    void (*function)();
};

constexpr dd_step dd_steps[] = {
    {"forward_substitution", step_forward_substitution},
    {"SSA_hoist", step_SSA_hoist},
    {"SSA_NASSERTs", step_SSA_NASSERTs},
    {"SSA_propagate", step_SSA_propagate},
    {"SSA_deadasg", step_SSA_deadasg},
    {"SSA_reg_promote", step_SSA_reg_promote},
    {"loop_assertions", step_loop_assertions},
    {"undeltafy", at_O2_only<undeltafy_dd_loops>},
    {"add_downcounters", at_O2_only<add_downcounters_to_loops>},
    {"collapse_loops", at_O2_only<collapse_dd_loops>},
    {"circular_addressing", at_O2_only<sr_circular_addressing_in_loops>},
    {"loop_if_interchange", at_O2_only<do_loop_if_interchange>},
    {"cd_unroll_by_request", at_O2_only<cd_unroll_loops_by_request>},
    {"unroll_completely_for_SP", at_O2_only<unroll_loops_completely_for_SP>},
    {"unroll_and_jam", at_O2_only<unroll_and_jam_loop_nests>},
    {"PT_info", at_O2_only<propagate_PT_info>},
    {"old_SIMD", at_O2_only<vectorize_subword_ops>},
    {"explode_arrays", at_O2_only<explode_local_arrays>},
    {"unroll_for_SP", at_O2_only<unroll_loops_for_SP>},
    {"alias_advice", at_O2_only<report_ambiguous_aliases>},
    {"reduction_interleaving", at_O2_only<interleave_reductions_in_loops>},
    {"value_propagation", step_value_propagation},
    {"DIVs_by_ICONs", transform_DIVs_by_ICONs}, // below level 2 too
    {"SSA_propagate_vector", step_SSA_propagate_vector},
    {"SSA_deadasg", step_SSA_deadasg},
    {"SSA_reg_promote_with_simpcfg", step_SSA_reg_promote_with_simpcfg},
};
} // namespace

void add_dd_normal_order_passes(std::vector<pass *> &steps) {
    for (const dd_step &step : dd_steps) steps.push_back(new pass(step.name, step.function));
}
