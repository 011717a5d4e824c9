// The pointer-equivalence groups of a function: which of its pointers may be based on one another.
//
// Two pointers are in one group when a value may have come from one to the other, or to both from
// the same place, by the assignments of the function. What memory holds is one place, and so is
// what calls give; whatever is stored or passed joins it. Integers made of pointers count as
// stored. The groups say nothing of what two arguments of one call have in common, nor of constant
// addresses.
#pragma once

#include "OPT5/rep/symbol.h"

#include <boost/unordered_map.hpp>

class PTR_GROUPS {
public:
    static constexpr int unknown = -1;
    // The group of the value of a pointer: a variable, a load or a call. Unknown for a variable
    // that the function did not name when the groups were made, and for other trees.
    int group_of(const NODE *pointer) const;
    // The group of the pointers that may lead into the variable; unknown: it has no address.
    int group_of_address(const SYMTAB *object) const;
    bool are_known() const { return !parents.empty(); } // else nothing is
    void build(const FUNINFO *funinfo);                 // anew from its trees
    void clear();

private:
    friend class PTR_FLOW;
    using PLACES = boost::unordered_map<const SYMTAB *, int>; // looked up, never walked
    static constexpr int memory = 0; // the place of what memory and calls give
    int find(int place) const;
    int find(const PLACES &places, const SYMTAB *sym) const;

    mutable std::vector<int> parents; // a forest of places; empty: unknown
    PLACES variables, objects;
};

void make_PTR_GROUPS(FUNINFO *funinfo); // unknown ones in the place of what there was
// A scalar of pointer type that dies with the call of its function.
bool is_automatic_pointer(const SYMTAB *sym);
