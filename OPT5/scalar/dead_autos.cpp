// Removal of automatic locals that nothing refers to.
#include "OPT5/icode/if.h"
#include "OPT5/scalar/scalar.h"

namespace {
bool is_auto_local(const SYMTAB *sym) { return sym->level >= 2 && (sym->sc == 1 || sym->sc == 4); }

bool tree_names_symbol(const NODE *tree, const SYMTAB *sym) {
    for (; tree; tree = tree->right) {
        if (tree->op == OP::NAME && tree->u.name.sym == sym) return true;
        if (tree_names_symbol(tree->left, sym)) return true;
    }
    return false;
}

void count_references(const NODE *tree) {
    for (; tree; tree = tree->right) {
        if (tree->op == OP::NAME && tree->u.name.sym && is_auto_local(tree->u.name.sym))
            ++tree->u.name.sym->refcount;
        count_references(tree->left);
    }
}
} // namespace

bool sym_appears_in_EHT(const SYMTAB *sym) {
    for (unsigned i = 0; i < currfuninfo->eht_size; ++i)
        if (tree_names_symbol(currfuninfo->eht[i].cleanup, sym)) return true;
    return false;
}

void remove_unreferenced_autos() {
    for (SYMTAB *sym = currfuninfo->symbols; sym; sym = sym->next)
        if (is_auto_local(sym)) sym->refcount = 0;
    for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink)
        for (LIST *cell = bb->statements; cell; cell = cell->rest) count_references(cell->first);
    for (SYMTAB **link = &currfuninfo->symbols; *link;) {
        SYMTAB *sym = *link;
        if (is_auto_local(sym) && sym->refcount == 0 && !sym_appears_in_EHT(sym)) {
            *link = sym->next;
            sym->next = nullptr;
        } else {
            link = &sym->next;
        }
    }
}
