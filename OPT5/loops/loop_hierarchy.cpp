// The loop hierarchy together with what the analyses find out about loops. A fixed point: an
// analysis that changes loops asks for another round.
#include "OPT5/driver/log.h"
#include "OPT5/loops/loops.h"
#include "OPT5/scalar/scalar.h"

namespace {
constexpr int most_rounds = 10; // each round that asks for another has taken something away

void analyse_loops(LOOP *root, bool full, bool no_points_to) {
    add_loop_annotation_from_profile();
    compute_dominators(false);
    if (!no_points_to) propagate_PT_info();
    find_region_constants(root);
    find_loop_assertions(root);
    find_loop_IVs(root);
    find_loop_assertions(root);
    if (!no_points_to) prep_loop_variables(full);
}

void finish_loops(LOOP *root, bool full, bool simplify) {
    if (full) constrain_all_ranges();
    coalesce_compound_IF_statements();
    if (simplify) simplify_dd_loops();
    compute_dominators(false);
    propagate_PT_info();
    if (!full) return;
    do_value_propagation();
    find_loop_assertions(root);
}

void collect_loops(LOOP *loop, std::vector<LOOP *> &loops) {
    loops.push_back(loop);
    for (LOOP *child = loop->first_child; child; child = child->sibling)
        collect_loops(child, loops);
}

// Two loops made for one construct keep their marks only while both are there, the second around
// the positions of the first.
void match_pairs(LOOP *root) {
    std::vector<LOOP *> loops;
    collect_loops(root, loops);
    const auto has_partner = [&](const LOOP *loop, std::uint32_t partner_flag) {
        for (const LOOP *other : loops)
            if (other != loop && (other->flags & partner_flag) &&
                psn_is_within_psn_range(loop->psn_first, other->psn_first, other->psn_last) &&
                psn_is_within_psn_range(loop->psn_last, other->psn_first, other->psn_last))
                return true;
        return false;
    };
    for (const auto &[own, partner] : {std::pair{LF_first_of_pair, LF_second_of_pair},
                                       std::pair{LF_second_of_pair, LF_first_of_pair}})
        for (LOOP *loop : loops)
            if ((loop->flags & own) && !has_partner(loop, partner)) loop->flags &= ~own;
}
} // namespace

void build_loop_hierarchy(bool full, bool no_points_to, bool simplify, int force) {
    dprintf("\n\n\t\t\t---------- ENTERING 'build_loop_hierarchy' -------\n");
    unbuild_loop_hierarchy();
    const bool shape = force < 0 ? full : force != 0;
    if (!normalize_loop_graph(false)) return;
    add_loop_annotation_from_profile();
    compute_dominators(false);
    if (!construct_loops()) return;
    lift_loop_pragmas(loop_root());
    if (print_debug) validate_loop(loop_root(), 1);
    for (int round = 0; round < most_rounds; ++round) {
        analyse_loops(loop_root(), full, no_points_to);
        if (shape && shape_dd_loops()) continue;
        if (!gcm_scalar_memrefs()) break;
    }
    finish_loops(loop_root(), full, simplify);
    maybe_clear_restrict_in_inner_loops();
    clear_PT_vectors();
    match_pairs(loop_root());
    dump_loop_hierarchy(loop_root());
}

void unbuild_loop_hierarchy() {
    if (!loop_root()) return;
    reinsert_loop_pragmas(loop_root());
    erase_loop_hierarchy();
    rebuildcfg();
    simpcfg(false, false);
}
