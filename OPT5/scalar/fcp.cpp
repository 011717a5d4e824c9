// Fast copy propagation.
//
// A round counts the definitions and uses of each local. A local that is assigned once, and there a
// constant, an address or a variable that never changes itself, has that value wherever it is read:
// reads before the assignment mean nothing. Then one walk over the blocks puts such values in place
// of the variables. Blocks that control comes to from one block only are walked behind that one
// (such a tree is an extended block), and there it also uses what the assignments on the way have
// left in variables that are assigned several times and in memory, variables for expressions that
// they hold, and what the outcomes of tests say. A statement that changes is simplified at once;
// when a branch comes to hang on a constant, the graph is made anew and another round follows.
#include "OPT5/scalar/fcp.h"

#include "OPT5/driver/global_flags.h"
#include "OPT5/driver/log.h"
#include "OPT5/driver/register_option.h"
#include "OPT5/rep/node_pool.h"
#include "OPT5/rep/type_pkg.h"
#include "OPT5/scalar/alias.h"
#include "OPT5/scalar/scalar.h"
#include "OPT5/scalar/simpcfg.h"

namespace {
const register_option keep_reversed("disable:fcprevsymtab");

SNMAP &value_map() {
    return value_map_of(currfuninfo);
}

SPMAP &pointee_map() {
    return pointee_map_of(currfuninfo);
}

void find_aliased_variables() {
    const int saved = alias_vars;
    alias_vars = 1;
    init_aliasing_info();
    alias_vars = saved;
    sym_split();
}

// --- the variables

bool is_unused(const SYMTAB *sym, const FCP_SYMBOL &fields) {
    return fields.defs == 0 && sym->refcount == 0 && !fields.is_in_EHT;
}

// Takes the variables that nothing names out of the function's list.
void prune_symbols() {
    SYMTAB *kept = nullptr;
    for (SYMTAB *sym = currfuninfo->symbols, *next; sym; sym = next) {
        next = sym->next;
        const FCP_SYMBOL &fields = *fcp_find_symbol(sym);
        if (is_unused(sym, fields)) {
            dprintf("\tNo references in the function for '%s'\n", sym->name);
            sym->next = nullptr;
            continue;
        }
        if (fields.defs == 0 && !is_internal_symbol(sym))
            dprintf("\n\tVariable is used but never assigned: %s\n", sym->name);
        sym->next = kept;
        kept = sym;
    }
    currfuninfo->symbols = keep_reversed ? kept : revsymtab(kept);
}

// Other passes have come to assign the parameter, or take its address: it stays const only when it
// is declared so.
void drop_found_const(SYMTAB *sym) {
    if (sym->type->is_const() && sym->otype && !sym->otype->is_const())
        sym->type = tp->remove_known_qual(sym->type, TQ_const);
}

// The parameters that keep the value that is passed, and the variables that are assigned once,
// before anything comes round again.
void find_settled_variables() {
    for (SYMTAB *sym = currfuninfo->symbols; sym; sym = sym->next) {
        FCP_SYMBOL &fields = *fcp_find_symbol(sym);
        if (fields.defs != 1 || !fcp_is_plain_local(sym) || fields.def->op != OP::ASG) {
            fields.is_settled = false;
            if (fields.is_from_prolog) drop_found_const(sym);
            continue;
        }
        if (!fields.is_from_prolog) continue;
        dprintf("\n\tArgument variable is not re-assigned: %s\n", sym->name);
        fields.defs = -1;
        fields.def = nullptr;
        sym->type = tp->mk_qual(sym->type, TQ_const);
    }
}

bool has_single_definition(const SYMTAB *sym, const FCP_SYMBOL *fields) {
    return fields && fields->defs == 1 && fields->def->op == OP::ASG && fcp_is_plain_local(sym) &&
           sym->type->is_scalar() &&
           !(sym->type->is_ptr() && (sym->type->qual_kind(false) & TQ_restrict));
}

// The variable that the single definition copies; null when it takes something else.
SYMTAB *copied_variable(const FCP_SYMBOL &fields) {
    const NODE *source = fcp_assigned_value(fields.def);
    const bool is_copy = source->op == OP::NAME && !node_is_volatile_access(source);
    return is_copy ? source->u.name.sym : nullptr;
}

// Once the variable that it copies is resolved.
void settle_value(SYMTAB *sym, FCP_SYMBOL *fields) {
    NODE *value = nullptr;
    if (const SYMTAB *from = copied_variable(*fields)) {
        const FCP_SYMBOL *of = fcp_find_symbol(from);
        if (of && of->has_value)
            value = fcp_value_of_type(sym->type, value_map().value(from, false));
    }
    const NODE *source = fcp_assigned_value(fields->def);
    if (!value && fcp_is_propagatable(source)) value = fcp_value_of_type(sym->type, source);
    if (!value) return;
    value_map().set_value(sym, value);
    fields->has_value = value_map().value(sym, false) != nullptr;
    if (print_debug) {
        const std::string text = infix_text(value, 2000);
        dprintf("\n\tGlobally constant assignment: %s = %s\n", sym->name, text.c_str());
    }
    erase_tree(value);
}

// Finds out whether a variable has one value everywhere, along the chain of those that it copies.
void resolve_value(SYMTAB *sym) {
    std::vector<SYMTAB *> chain;
    while (sym) {
        FCP_SYMBOL *fields = fcp_find_symbol(sym);
        if (!has_single_definition(sym, fields) || fields->is_resolved) break;
        fields->is_resolved = true;
        chain.push_back(sym);
        sym = copied_variable(*fields);
    }
    for (; !chain.empty(); chain.pop_back())
        settle_value(chain.back(), fcp_find_symbol(chain.back()));
}

void find_values() {
    for (SYMTAB *sym = currfuninfo->symbols; sym; sym = sym->next) {
        FCP_SYMBOL *fields = fcp_find_symbol(sym);
        if (has_single_definition(sym, fields)) {
            if (sym->type->is_ptr() && !tree_has_side_effects(fields->def->right))
                pointee_map().set_pointee(sym, fields->def->right);
            resolve_value(sym);
        }
        if (fields->has_value) continue;
        value_map().remove(sym);
        if (fields->defs == 1) {
            fields->def = nullptr;
            fields->defs = 2;
        }
    }
}

// --- the walk

// Such a block ends the function or goes on elsewhere, and leaves what is known as it is.
bool can_be_skipped(const BBLK *bb) {
    for (const LIST *cell = bb->statements; cell; cell = cell->rest) {
        const NODE *stmt = cell->first;
        constexpr unsigned comment = 47;
        if (stmt->op == OP::ASM && stmt->u.asm_.kind == comment) continue;
        const bool is_plain_exit = stmt->op == OP::BRANCH || stmt->op == OP::URETURN ||
                                   (stmt->op == OP::RETURN && stmt->right->op == OP::ICON);
        if (!is_plain_exit) return false;
    }
    return true;
}

bool branches_on_constant(const BBLK *bb) {
    const NODE *branch = last_statement(bb);
    if (!branch || (branch->op != OP::IF && branch->op != OP::SWITCH)) return false;
    const NODE *condition = branch->left;
    if (condition->op == OP::COMMAOP) condition = condition->right;
    return condition->op == OP::ICON;
}

void substitute_in_block(BBLK *bb) {
    for (LIST **link = &bb->statements; *link;) {
        LIST *cell = *link;
        const bool is_prolog =
            bb == currfuninfo->bb_list && cell == bb->statements && tree_is_arg_prolog(cell->first);
        cell->first = fcp_substitute(cell->first, is_prolog);
        if (cell->first) {
            link = &cell->rest;
            continue;
        }
        *link = cell->rest;
        release_list_cell(cell);
    }
    bb->statements = promote_toplevel_COMMAOPs_in_list(bb->statements);
}

// The block from which alone control comes to this one; null: there are others.
const BBLK *only_way_to(const BBLK *bb, const std::vector<bool> &is_root) {
    const EDGE *edge = bb->predecessors;
    return is_root[bb->serial] || !edge || edge->next || edge->bb == bb ? nullptr : edge->bb;
}

void learn_from_way(const BBLK *from, const BBLK *to) {
    const NODE *branch = last_statement(from);
    if (!branch || branch->op != OP::IF) return;
    const bool when_true = label_block(branch->right->left) == to;
    if (when_true != (label_block(branch->right->right) == to))
        fcp_learn_from_test(branch->left, when_true);
}

class EXTENDED_BLOCKS {
public:
    EXTENDED_BLOCKS() : is_root(root_blocks()) {}
    bool substitute(); // in all; returns whether a branch hangs on a constant now

private:
    struct STEP {
        BBLK *bb;
        const EDGE *way_on;
        FCP_MARK mark; // before the block
    };
    void walk(BBLK *root);
    void enter(BBLK *bb, const BBLK *from);

    std::vector<bool> is_root;
    std::vector<STEP> path;
    bool found = false;
};

void EXTENDED_BLOCKS::enter(BBLK *bb, const BBLK *from) {
    path.push_back({bb, bb->successors, fcp_mark()});
    if (bb->lir_head) return;
    if (from) learn_from_way(from, bb);
    if (can_be_skipped(bb)) return;
    substitute_in_block(bb);
    found |= branches_on_constant(bb);
}

void EXTENDED_BLOCKS::walk(BBLK *root) {
    ++fcp_counters.generation;
    enter(root, nullptr);
    while (!path.empty()) {
        STEP &last = path.back();
        if (!last.way_on) {
            fcp_return_to(last.mark);
            path.pop_back();
            continue;
        }
        BBLK *from = last.bb, *next = last.way_on->bb;
        last.way_on = last.way_on->next;
        if (only_way_to(next, is_root) == from) enter(next, from);
    }
}

bool EXTENDED_BLOCKS::substitute() {
    fcp_begin_substitution();
    for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink)
        if (!only_way_to(bb, is_root)) walk(bb);
    ++fcp_counters.generation;
    return found;
}

bool run_round() {
    dprintf("\n\n\t\t\t---------- ENTERING 'fast_CP' -----------------\n");
    const bool has_new_constants = fcp_replace_copies_of_constants();
    fcp_count_function();
    prune_symbols();
    find_settled_variables();
    find_values();
    const bool go_on = EXTENDED_BLOCKS().substitute();
    if (has_new_constants) ++fcp_counters.replacements; // their copies are dead
    fcp_forget_symbols();
    fcp_forget_initialisers();
    return go_on;
}
} // namespace

void fast_CP(int rounds, int cleanup) {
    if (opt_level() == 0) return;
    if (cleanup) combine_asgs_to_memory();
    find_aliased_variables();
    if (rounds > 0) simp_all_trees(); // what other passes have left
    for (int round = 0; round < rounds; ++round) {
        if (!run_round()) break;
        rebuildcfg();
        simpcfg(false, false);
    }
    if (cleanup || fcp_counters.replacements != 0) elim_dead_assigns(false, true);
    SNMAP::print(currfuninfo->snmap.get(), currfuninfo->name.c_str());
}
