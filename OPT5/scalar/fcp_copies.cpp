// Copies of constant objects.
//
// A structure or an array that is assigned once, as a whole, a global that never changes, and that
// is otherwise only read, has the global's value wherever its value means anything: a single
// definition is a single value for it as for a scalar. The global takes its place, and the copy has
// no use any more. That no pointer leads to the variable is what alias analysis says; the walk
// counts its names against those below an access that reads.
#include "OPT5/driver/log.h"
#include "OPT5/icode/if.h"
#include "OPT5/scalar/fcp.h"
#include "OPT5/scalar/fcp_memory.h"
#include "OPT5/scalar/name_uses.h"
#include "OPT5/scalar/plain_reads.h"

namespace {
// While the pass runs the symbols of the function's list hold themselves in the second word, and
// what takes their place in the first.
SYMTAB *original_of(const SYMTAB *sym) {
    return static_cast<SYMTAB *>(sym->pass_words[0]);
}

bool is_candidate(const SYMTAB *sym) {
    return sym->pass_words[1] == sym && sym->level >= 2 && sym->sc == 1 &&
           (sym->type->is_csu() || sym->type->is_array()) &&
           (sym->attr & (SA_aliased | SA_no_escape)) != SA_aliased &&
           !type_may_contain_volatile(sym->type);
}

// The global whose contents the statement gives to the variable on its left; null: it does
// something else.
SYMTAB *copied_constant(const NODE *stmt) {
    if (stmt->op != OP::ASG && stmt->op != OP::STASG && stmt->op != OP::ARASG) return nullptr;
    const NODE *to = stmt->left, *from = stmt->right;
    if (to->op != OP::NAME || from->op != OP::NAME || !is_candidate(to->u.name.sym)) return nullptr;
    SYMTAB *constant = from->u.name.sym;
    const bool is_whole = fcp_is_constant_object(constant) &&
                          constant->type->size() == to->u.name.sym->type->size() &&
                          equiv_mtypes(constant->type, to->u.name.sym->type);
    return is_whole ? constant : nullptr;
}

// Calls visit(statement) for each but the argument prolog.
template <class Visit> void for_each_statement(Visit visit) {
    for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink)
        for (LIST *cell = bb->statements; cell; cell = cell->rest)
            if (bb != currfuninfo->bb_list || cell != bb->statements ||
                !tree_is_arg_prolog(cell->first))
                visit(cell->first);
}

bool put_originals(NODE *tree) {
    bool found = false;
    for (; tree; tree = tree->right) {
        if (tree->op == OP::NAME && tree->u.name.sym && tree->u.name.sym->level > 0)
            if (SYMTAB *original = original_of(tree->u.name.sym)) {
                dprintf("\n\tThe constant %s takes the place of %s\n", original->name,
                        tree->u.name.sym->name);
                tree->u.name.sym = original;
                found = true;
            }
        found |= put_originals(tree->left);
    }
    return found;
}
} // namespace

bool fcp_replace_copies_of_constants() {
    if (currfuninfo->eht_size > 1) return false;
    for (SYMTAB *sym = currfuninfo->symbols; sym; sym = sym->next) {
        sym->pass_words[0] = nullptr;
        sym->pass_words[1] = sym;
        sym->refcount = 0;
    }
    bool found = false;
    for_each_statement([&](const NODE *stmt) {
        if (SYMTAB *constant = copied_constant(stmt)) {
            stmt->left->u.name.sym->pass_words[0] = constant;
            found = true;
        }
    });
    bool replaced = false;
    if (found) {
        for_each_statement([](const NODE *stmt) { count_references(stmt); });
        const auto take_away = [](SYMTAB *sym) {
            if (sym->level > 0 && original_of(sym)) --sym->refcount;
        };
        for_each_statement([&](const NODE *stmt) { for_each_plain_read(stmt, true, take_away); });
        // What is left is one name, that of the copy's target, or the variable stays.
        for (SYMTAB *sym = currfuninfo->symbols; sym; sym = sym->next)
            if (sym->refcount != 1) sym->pass_words[0] = nullptr;
        for_each_statement([&](NODE *stmt) {
            if (!copied_constant(stmt)) replaced |= put_originals(stmt);
        });
    }
    for (SYMTAB *sym = currfuninfo->symbols; sym; sym = sym->next)
        sym->pass_words[0] = sym->pass_words[1] = nullptr;
    return replaced;
}
