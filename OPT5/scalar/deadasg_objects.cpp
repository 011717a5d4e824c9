// Objects that are only ever stored into.
//
// A variable whose address is made, as an array's always is, is not followed by the data flow of
// dead assignments. But when each place that names it is the target of a statement's assignment, it
// is neither read nor does a pointer to it get away, and all these assignments are dead.
#include "OPT5/driver/log.h"
#include "OPT5/icode/if.h"
#include "OPT5/rep/node_pool.h"
#include "OPT5/scalar/deadasg.h"
#include "OPT5/scalar/fcp_memory.h"
#include "OPT5/scalar/name_uses.h"

namespace {
// The variable that an lvalue lies in; null when a pointer's value leads to it, or the access is
// volatile.
SYMTAB *variable_around(const NODE *lvalue) {
    for (;;) {
        if (node_is_volatile_access(lvalue)) return nullptr;
        switch (lvalue->op) {
        case OP::NAME: return lvalue->u.name.sym;
        case OP::STDOT: lvalue = lvalue->left; continue;
        case OP::UMULT:
        case OP::STREF: break;
        default: return nullptr;
        }
        const NODE *address = lvalue->left;
        while (address->op == OP::PCONV || address->op == OP::PLUS || address->op == OP::MINUS) {
            if (!address->type->is_ptr()) return nullptr;
            address = address->left;
        }
        if (address->op != OP::UAND) return nullptr;
        lvalue = address->left;
    }
}

SYMTAB *stored_variable(const NODE *stmt) {
    if (!fcp_is_definition(stmt->op) || stmt->op == OP::SSA_DEF) return nullptr;
    SYMTAB *sym = variable_around(stmt->left);
    const bool is_auto = sym && sym->level >= 2 && (sym->sc == 1 || sym->sc == 4);
    return is_auto && !type_may_contain_volatile(sym->type) ? sym : nullptr;
}

// Calls visit for each statement but the prolog.
template <class Visit> void for_each_cell(Visit visit) {
    for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink)
        for (LIST **link = &bb->statements; *link;) {
            LIST *cell = *link;
            const bool is_prolog = bb == currfuninfo->bb_list && cell == bb->statements &&
                                   tree_is_arg_prolog(cell->first);
            if (!is_prolog) visit(cell);
            if (cell->first) {
                link = &cell->rest;
                continue;
            }
            *link = cell->rest;
            release_list_cell(cell);
        }
}

// What a store does beside storing.
NODE *effects_of_store(NODE *stmt) {
    NODE *address = maketree(OP::UAND, stmt->left, nullptr, stmt->left->type, stmt->scope);
    NODE *source = stmt->right;
    erase_node(stmt);
    address = peel_for_effect(address);
    source = peel_for_effect(source);
    return source ? mk_COMMAOP(address, source) : address;
}
} // namespace

void erase_stores_to_unread_objects() {
    bool found = false;
    for (SYMTAB *sym = currfuninfo->symbols; sym; sym = sym->next) {
        sym->refcount = 0;
        sym->pass_words[0] = nullptr;
    }
    for (unsigned i = 0; i < currfuninfo->eht_size; ++i)
        count_references(currfuninfo->eht[i].cleanup);
    // The names that are targets of stores are counted against all names.
    for_each_cell([&](const LIST *cell) {
        count_references(cell->first);
        if (SYMTAB *sym = stored_variable(cell->first)) {
            --sym->refcount;
            sym->pass_words[0] = sym; // it is stored into
            found = true;
        }
    });
    if (found)
        for_each_cell([](LIST *cell) {
            const SYMTAB *sym = stored_variable(cell->first);
            if (!sym || sym->refcount != 0) return;
            if (print_debug)
                dprintf("\n\tNothing reads what is assigned: %s\n",
                        infix_text(cell->first, 2000).c_str());
            cell->first = effects_of_store(cell->first);
        });
    for (SYMTAB *sym = currfuninfo->symbols; sym; sym = sym->next)
        sym->pass_words[0] = nullptr;
}
