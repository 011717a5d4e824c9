// What the sources of alias analysis share about the current function.
#pragma once

#include "OPT5/scalar/alias.h"

#include <boost/unordered_set.hpp>

#include <tuple>
#include <utility>

struct ALIAS_STATE {
    // Looked up, never walked for an answer.
    // Pointer parameters that nothing but the argument prolog assigns to: what they point at is
    // found by what they say of themselves.
    boost::unordered_set<const SYMTAB *> fixed_parms;
    boost::unordered_set<const SYMTAB *> restricted_roots; // see find_restricted_roots
    boost::unordered_set<std::pair<std::uint32_t, std::uint32_t>>
        assertions;                // serials, the lower first
    std::uint32_t last_serial = 0; // symbols with a greater one were made since the walk
    // Answers of type_may_alias_type by their place: few types meet in a function, and often.
    struct TYPE_PAIR {
        TYPE *a = nullptr, *b = nullptr;
        int chars_alias = -1;
        bool answer = false;
    };
    TYPE_PAIR type_pairs[64];
};
extern ALIAS_STATE alias_state;

bool is_static_datum(const SYMTAB *sym); // a variable of the file that other files cannot name
// SA_unwritten of all of the file's symbols. Every function must be in memory.
void mark_unwritten_statics();

// A variable that dies with the call of its function.
inline bool is_automatic(const SYMTAB *sym) {
    return sym->level != 0 && sym->sc != 2 && sym->sc != 3 && sym->sc != 5;
}

// An lvalue by its operator: a variable, a member or what a pointer leads to.
inline bool names_memory(const NODE *tree) {
    switch (tree->op) {
    case OP::NAME: return !tree->u.name.sym->type->is_func();
    case OP::UMULT:
    case OP::STDOT:
    case OP::STREF: return true;
    default: return false;
    }
}

// Whether some pointer of the function, or of one that it calls, may lead to the variable.
bool some_pointer_leads_to(const SYMTAB *sym);
// An lvalue without the selections of its parts.
const NODE *whole_object(const NODE *lvalue);
// As lvalues_may_be_aliased_for_SIMD, whatever the types.
bool places_may_be_shared(const NODE *a, const NODE *b);
// The question of alias.h for lvalues that are resolved already.
bool store_may_reach_load(const NODE *store, const MEMREF &to, const NODE *load,
                          const MEMREF &from);

// What store_may_reach_load looks at in one of its lvalues. Those with equal words answer alike to
// any other, as long as ranges do not matter: within one domain they alone do.
struct ALIAS_KIND {
    using WORDS = std::tuple<const SYMTAB *, const SYMTAB *, int, TYPE *, const LS *, unsigned>;
    WORDS words;
    const SYMTAB *domain = nullptr; // the variable, or the parameter that leads there; null: none
    bool is_variable = false;       // apart from all variables but the domain
    bool answers_by_itself = false; // volatile, where that has rules of its own
};
ALIAS_KIND alias_kind_of(const NODE *lvalue, const MEMREF &ref);

// How a call may come to a variable that it assigns to.
struct CALL_REACH {
    bool by_name, by_pointer;
};
CALL_REACH assignments_of_call(const NODE *call);
