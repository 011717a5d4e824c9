#include "OPT5/scalar/name_uses.h"

#include "OPT5/scalar/simp.h"

bool simplify_statement(LIST **link) {
    LIST *cell = *link;
    cell->first = peel_for_effect(simp_tree(cell->first));
    if (cell->first) return true;
    *link = cell->rest;
    cell->rest = nullptr;
    erase_tree_list(cell);
    return false;
}
