// What is known of a function's symbols from one run of copy propagation to the next.
#pragma once

#include "OPT5/rep/symbol.h"

#include <map>

struct BY_SYMBOL_SERIAL {
    bool operator()(const SYMTAB *a, const SYMTAB *b) const { return a->serial < b->serial; }
};

// Symbols that have one value wherever they are read, with that value: a tree that the map owns.
// The trees are pool nodes; a map that goes away without clear() leaves them to the pool.
class SNMAP {
public:
    // Null: the symbol has no value. With `copy` the caller owns what it gets, else the map does.
    NODE *value(const SYMTAB *sym, bool copy) const;
    // Keeps a copy in place of what was known of the symbol. Nothing is kept of a null tree, nor
    // before there is a file record, which is there while a whole file is read and worked on. A
    // null symbol ends the run.
    void set_value(SYMTAB *sym, const NODE *tree);
    void remove(SYMTAB *sym);
    void clear();
    bool has_content() const { return is_filled; }
    // Lists the map of a function, null standing for none, in the debug log.
    static void print(const SNMAP *map, const char *function);

private:
    std::map<SYMTAB *, NODE *, BY_SYMBOL_SERIAL> values;
    bool is_filled = false;
};

// Pointers of a function that never change, with what they point at: the tree of the address.
class SPMAP {
public:
    const NODE *pointee(const SYMTAB *pointer) const;       // null: unbound
    void set_pointee(SYMTAB *pointer, const NODE *address); // keeps a copy; a bound pointer stays
    void clear();

private:
    std::map<SYMTAB *, NODE *, BY_SYMBOL_SERIAL> pointees;
};

// The maps of a function, owned by its record and made on first use.
SNMAP &value_map_of(FUNINFO *funinfo);
SPMAP &pointee_map_of(FUNINFO *funinfo);
void erase_symbol_maps(FUNINFO *funinfo); // with their trees
