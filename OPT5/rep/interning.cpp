// Interned symbols: forms of a function's symbols that outlive the body they were read in.
#include "OPT5/driver/log.h"
#include "OPT5/rep/symbol_pool.h"

#include <boost/unordered_set.hpp>

#include <deque>

namespace {
struct INTERNED_SYM {
    SYMTAB *sym;
    FUNINFO *funinfo;
    std::size_t hash;
};

// One step of boost's classic combination, the same in all of its releases.
void combine(std::size_t &hash, std::size_t value) {
    hash ^= value + 0x9e3779b9u + (hash << 6) + (hash >> 2);
}

INTERNED_SYM key_of(SYMTAB *sym, FUNINFO *funinfo) {
    std::size_t hash = 0;
    combine(hash, sym->fun_serial);
    combine(hash, boost::hash<std::string_view>()(sym->name));
    combine(hash, boost::hash<std::string>()(sym->type->printstr()));
    combine(hash, reinterpret_cast<std::uintptr_t>(funinfo));
    return {sym, funinfo, hash};
}

struct HASH {
    std::size_t operator()(const INTERNED_SYM *entry) const { return entry->hash; }
};
struct EQUAL {
    bool operator()(const INTERNED_SYM *a, const INTERNED_SYM *b) const {
        return a->funinfo == b->funinfo && a->sym->fun_serial == b->sym->fun_serial &&
               std::string_view(a->sym->name) == b->sym->name &&
               compatible_types(a->sym->type, b->sym->type);
    }
};

std::deque<INTERNED_SYM> in_order; // of interning; the set refers to its elements
boost::unordered_set<const INTERNED_SYM *, HASH, EQUAL> interned;
} // namespace

SYMTAB *find_interned_symbol(SYMTAB *sym, FUNINFO *funinfo) {
    if (sym->level == 0) return sym;
    const INTERNED_SYM key = key_of(sym, funinfo);
    const auto found = interned.find(&key);
    return found == interned.end() ? nullptr : (*found)->sym;
}

SYMTAB *intern_symbol(SYMTAB *sym, FUNINFO *funinfo) {
    if (sym->level == 0) return sym;
    INTERNED_SYM key = key_of(sym, funinfo);
    const auto found = interned.find(&key);
    if (found != interned.end()) return (*found)->sym;
    key.sym = copy_symbol(sym, 0);
    key.sym->fun_serial = sym->fun_serial;
    interned.insert(&in_order.emplace_back(key));
    return key.sym;
}

void map_over_interned_symbols(void (*visit)(SYMTAB *sym, FUNINFO *funinfo)) {
    for (const INTERNED_SYM &entry : in_order)
        visit(entry.sym, entry.funinfo);
}

void interned_stats() {
    dprintf("\nInterned symbols: %zu\n", in_order.size());
}

void reset_interned_symbols() {
    interned.clear();
    in_order.clear();
}
