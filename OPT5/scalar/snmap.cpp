#include "OPT5/scalar/snmap.h"

#include "OPT5/driver/abort.h"
#include "OPT5/driver/log.h"
#include "OPT5/rep/bbutils.h"
#include "OPT5/rep/program.h"

namespace {
// Replaces the tree of a symbol by a copy of another one.
template <class Map> void keep_copy(Map &map, SYMTAB *sym, const NODE *tree) {
    NODE *&kept = map[sym];
    if (kept) erase_tree(kept);
    kept = copy_tree(tree);
}

template <class Map> void erase_trees(Map &map) {
    for (auto &[sym, tree] : map)
        erase_tree(tree);
    map.clear();
}

template <class Map> Map &made_on_demand(OWNED<Map> &map) {
    if (!map) map = {new Map, [](Map *old) { delete old; }};
    return *map;
}
} // namespace

NODE *SNMAP::value(const SYMTAB *sym, bool copy) const {
    const auto entry = values.find(const_cast<SYMTAB *>(sym));
    if (entry == values.end()) return nullptr;
    return copy ? copy_tree(entry->second) : entry->second;
}

void SNMAP::set_value(SYMTAB *sym, const NODE *tree) {
    if (!sym) abort_optimizer("SNMAP::set_value: null symbol");
    if (!tree || !fileinfo || !fileinfo->funinfo) return;
    keep_copy(values, sym, tree);
    is_filled = true;
}

void SNMAP::remove(SYMTAB *sym) {
    const auto entry = values.find(sym);
    if (entry == values.end()) return;
    erase_tree(entry->second);
    values.erase(entry);
    is_filled = !values.empty();
}

void SNMAP::clear() {
    erase_trees(values);
    is_filled = false;
}

void SNMAP::print(const SNMAP *map, const char *function) {
    if (!print_debug) return;
    dprintf("SYMBOL/NODE MAP INFORMATION FOR %s()\n", function);
    if (!map)
        dprintf("\t<<NULL SNMAP>>\n");
    else if (!map->is_filled)
        dprintf("\t<<EMPTY SNMAP>>\n");
    else
        for (const auto &[sym, tree] : map->values)
            dprintf("\t%s --> %s\n", sym->name, stmt2infix(tree));
}

const NODE *SPMAP::pointee(const SYMTAB *pointer) const {
    const auto entry = pointees.find(const_cast<SYMTAB *>(pointer));
    return entry == pointees.end() ? nullptr : entry->second;
}

void SPMAP::set_pointee(SYMTAB *pointer, const NODE *address) {
    if (!pointee(pointer)) keep_copy(pointees, pointer, address);
}

void SPMAP::clear() {
    erase_trees(pointees);
}

SNMAP &value_map_of(FUNINFO *funinfo) {
    return made_on_demand(funinfo->snmap);
}

SPMAP &pointee_map_of(FUNINFO *funinfo) {
    return made_on_demand(funinfo->spmap);
}

void erase_symbol_maps(FUNINFO *funinfo) {
    if (funinfo->snmap) funinfo->snmap->clear();
    if (funinfo->spmap) funinfo->spmap->clear();
    funinfo->snmap.reset();
    funinfo->spmap.reset();
}
