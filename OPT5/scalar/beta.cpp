// Parameters whose variable says no more than what was passed.
//
// A parameter as passed (level 1) may stand in the argument prolog alone, which copies it to the
// variable of the body (level 2). So a variable cannot be replaced by the parameter; what can be
// done is to leave copies out that nobody reads, and to say of variables without another assignment
// that they are constant, by which every pass may carry them anywhere.
//
// beta_parms: marks. beta_convert: takes copies out of the prolog whose variable is not named in
// the function any more, and the variable with them.
#include "OPT5/driver/global_flags.h"
#include "OPT5/driver/log.h"
#include "OPT5/rep/type_pkg.h"
#include "OPT5/scalar/alias.h"
#include "OPT5/scalar/name_uses.h"
#include "OPT5/scalar/scalar.h"

#include <boost/unordered_set.hpp>

namespace {
// The cell of the argument prolog, or null.
LIST **find_prolog() {
    if (!currfuninfo->bb_list) return nullptr;
    LIST **link = &currfuninfo->bb_list->statements;
    while (*link && (*link)->first->op == OP::PPRAGMA)
        link = &(*link)->rest;
    return *link && tree_is_arg_prolog((*link)->first) ? link : nullptr;
}

bool is_parameter_copy(const NODE *copy) {
    return copy->op == OP::ASG && copy->left->op == OP::NAME && copy->right->op == OP::NAME &&
           copy->left->u.name.sym->level == 2 && copy->right->u.name.sym->level == 1;
}

template <class Visit> void for_each_copy(NODE *prolog, Visit visit) {
    for (; prolog; prolog = prolog->op == OP::PCOMMA ? prolog->left : nullptr)
        visit(prolog->op == OP::PCOMMA ? prolog->right : prolog);
}

// Takes the copies for which drop holds out of the chain; null when none is left.
template <class Drop> NODE *without_copies(NODE *prolog, Drop drop) {
    if (prolog->op != OP::PCOMMA) return drop(prolog) ? erase_tree(prolog) : prolog;
    prolog->left = without_copies(prolog->left, drop);
    if (drop(prolog->right)) prolog->right = erase_tree(prolog->right);
    if (prolog->left && prolog->right) return prolog;
    NODE *rest = prolog->left ? prolog->left : prolog->right;
    erase_node(prolog);
    return rest;
}
} // namespace

// Called for a function that is only begun, too, when there is nothing to look at.
void beta_parms() {
    if (opt_level() < 1) return;
    LIST **prolog = find_prolog();
    if (!prolog) return;
    init_aliasing_info();
    boost::unordered_set<const SYMTAB *> assigned;
    for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink)
        for (LIST *cell = bb->statements; cell; cell = cell->rest)
            if (cell != *prolog)
                for_each_name(cell->first, [&](NODE *&name, NAME_USE use) {
                    if (use != NAME_USE::value && use != NAME_USE::part_value)
                        assigned.insert(name->u.name.sym);
                });
    for_each_copy((*prolog)->first, [&](NODE *copy) {
        if (!is_parameter_copy(copy)) return;
        SYMTAB *sym = copy->left->u.name.sym;
        if (assigned.count(sym) || !is_register_scalar(sym) || sym->type->is_const()) return;
        dprintf("\n\tArgument variable is not re-assigned: %s\n", sym->name);
        sym->type = tp->mk_qual(sym->type, TQ_const);
        sym->attr |= SA_type_changed;
    });
}

void beta_convert() {
    if (opt_level() < 1) return;
    LIST **prolog = find_prolog();
    if (!prolog) return;
    boost::unordered_set<const SYMTAB *> named;
    for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink)
        for (LIST *cell = bb->statements; cell; cell = cell->rest)
            if (cell != *prolog)
                for_each_name(cell->first,
                              [&](NODE *&name, NAME_USE) { named.insert(name->u.name.sym); });
    LIST *cell = *prolog;
    cell->first = without_copies(cell->first, [&](const NODE *copy) {
        if (!is_parameter_copy(copy)) return false;
        SYMTAB *sym = copy->left->u.name.sym;
        if (named.count(sym) || sym->type->is_volatile() || sym_appears_in_EHT(sym)) return false;
        dprintf("\n\tArgument variable is not used: %s\n", sym->name);
        return true;
    });
    if (cell->first) return;
    *prolog = cell->rest;
    cell->rest = nullptr;
    erase_tree_list(cell);
}
