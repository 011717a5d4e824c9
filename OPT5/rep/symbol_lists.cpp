// Cons lists of symbols.
#include "OPT5/rep/symbol_pool.h"

namespace {
template <class CELL> CELL *reverse(CELL *list) {
    CELL *reversed = nullptr;
    while (list) {
        CELL *next = std::exchange(list->next, reversed);
        reversed = std::exchange(list, next);
    }
    return reversed;
}

// Erased cells, to be used again.
template <class CELL> CELL *free_cells = nullptr;

template <class CELL> CELL *make(const CELL &value) {
    CELL *cell = free_cells<CELL>;
    if (!cell) return pool_new<CELL>(value);
    free_cells<CELL> = cell->next;
    *cell = value;
    return cell;
}

template <class CELL> CELL *erase(CELL *list) {
    while (list) {
        CELL *next = std::exchange(list->next, free_cells<CELL>);
        free_cells<CELL> = std::exchange(list, next);
    }
    return nullptr;
}
} // namespace

SYMLIST *mk_symlist(SYMTAB *sym, SYMLIST *next) {
    return make(SYMLIST{sym, next});
}

SYMALIST *mk_symalist(SYMTAB *sym, NODE *tree, int value, SYMALIST *next) {
    return make(SYMALIST{sym, tree, value, next});
}

SYMPAIRLIST *mk_symplist(SYMTAB *first, SYMTAB *second, int value, SYMPAIRLIST *next) {
    return make(SYMPAIRLIST{first, second, value, next});
}

SYMLIST *erase_symlist(SYMLIST *list) {
    return erase(list);
}
SYMALIST *erase_symalist(SYMALIST *list) {
    return erase(list);
}
SYMPAIRLIST *erase_symplist(SYMPAIRLIST *list) {
    return erase(list);
}

void reset_symbol_lists() {
    free_cells<SYMLIST> = nullptr;
    free_cells<SYMALIST> = nullptr;
    free_cells<SYMPAIRLIST> = nullptr;
}

SYMLIST *remove_sym_from_symlist(const SYMTAB *sym, SYMLIST *list) {
    for (SYMLIST **link = &list; *link; link = &(*link)->next)
        if ((*link)->sym == sym) {
            *link = (*link)->next;
            break;
        }
    return list;
}

SYMLIST *find_sym_in_symlist(const SYMTAB *sym, SYMLIST *list) {
    while (list && list->sym != sym)
        list = list->next;
    return list;
}

SYMPAIRLIST *find_sym_in_sympairlist(const SYMTAB *first, SYMPAIRLIST *list) {
    while (list && list->first != first)
        list = list->next;
    return list;
}

SYMTAB *revsymtab(SYMTAB *list) {
    return reverse(list);
}
SYMLIST *revsymlist(SYMLIST *list) {
    return reverse(list);
}
SYMALIST *revsymalist(SYMALIST *list) {
    return reverse(list);
}

void unlink_symbol(SYMTAB *sym, SYMTAB **list) {
    for (SYMTAB **link = list; *link; link = &(*link)->next)
        if (*link == sym) {
            *link = std::exchange(sym->next, nullptr);
            return;
        }
}
