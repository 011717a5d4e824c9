// Two masks of one lvalue, one after the other, become one: x &= a; x &= b is x &= (a & b), and in
// the same way for | and ^. The masks are constants, and the address has no effect.
#include "OPT5/driver/log.h"
#include "OPT5/scalar/alias.h"
#include "OPT5/scalar/scalar.h"

namespace {
bool is_mask(const NODE *stmt) {
    const bool is_logic =
        stmt->op == OP::ANDBASG || stmt->op == OP::ORBASG || stmt->op == OP::XORBASG;
    if (!is_logic || stmt->right->op != OP::ICON || tree_has_side_effects(stmt->left)) return false;
    const NODE *place = stmt->left;
    while (place->op == OP::STDOT)
        place = place->left;
    return place->op == OP::NAME || !tree_may_modify_value(stmt, place->left);
}

bool fold_into(NODE *first, const NODE *second) {
    if (first->op != second->op || !is_mask(first) || !is_mask(second) ||
        first->type != second->type || first->right->type != second->right->type ||
        !trees_are_congruent(first->left, second->left))
        return false;
    INT65 &mask = first->right->u.lval;
    const INT65 &other = second->right->u.lval;
    mask = first->op == OP::ANDBASG  ? mask & other
           : first->op == OP::ORBASG ? mask | other
                                     : mask ^ other;
    return true;
}
} // namespace

void fold_ANDBASGs() {
    for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink)
        for (LIST *cell = bb->statements; cell; cell = cell->rest)
            while (cell->rest && fold_into(cell->first, cell->rest->first)) {
                LIST *second = cell->rest;
                cell->rest = second->rest;
                second->rest = nullptr;
                dprintf("\n\tFolding a mask: %s\n",
                        print_debug ? infix_text(cell->first, 200).c_str() : "");
                erase_tree_list(second);
            }
}
