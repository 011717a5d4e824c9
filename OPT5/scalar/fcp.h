// What the parts of fast copy propagation share: fcp.cpp drives, fcp_count.cpp counts definitions
// and uses, fcp_values.cpp says what may be propagated, fcp_copies.cpp looks after copies of
// constant objects, fcp_subst.cpp substitutes, fcp_exprs.cpp finds expressions and memory whose
// value is at hand already. Private to them and to their tests.
#pragma once

#include "OPT5/rep/bblk.h"
#include "OPT5/scalar/snmap.h"

#include <cstdint>

struct FCP_COUNTERS {
    long replacements = 0;   // in the last round
    bool changed = false;    // the statement being substituted in
    unsigned generation = 0; // facts of another one do not hold
};
extern FCP_COUNTERS fcp_counters;

// What the statements so far say of a symbol; `seen` and `modified` are numbers of statements.
struct FCP_KNOWN {
    const NODE *value = nullptr; // that it was given last, in `generation`
    unsigned generation = 0;
    std::uint32_t seen = 0;     // when that was
    std::uint32_t modified = 0; // when the symbol's object may have changed last
};

// The working fields of a symbol during one round.
struct FCP_SYMBOL {
    std::int16_t defs = -1;      // -1: no candidate
    bool is_listed = false;      // among the function's symbols, so that its uses are counted
    bool is_from_prolog = false; // a definition stands in the argument prolog
    bool is_settled = false;  // its only definition runs once, before all uses that mean anything
    bool is_resolved = false; // whether it has one value everywhere is known
    bool has_value = false;   // it has, and the map of values holds it
    bool is_in_EHT = false;   // named by a cleanup of the exception table
    NODE *def = nullptr;      // the single definition
    FCP_KNOWN known;
};
// Made on first use; valid until fcp_forget_symbols().
FCP_SYMBOL *fcp_symbol(SYMTAB *sym);
FCP_SYMBOL *fcp_find_symbol(const SYMTAB *sym); // null: nothing is known of it
void fcp_forget_symbols();

// An automatic variable that nothing but its name reaches.
bool fcp_is_plain_local(const SYMTAB *sym);
// The object that an lvalue is or lies in; null when a pointer leads to it.
NODE *fcp_object_of(NODE *lvalue);
bool fcp_is_definition(int op); // assignments and steps, to the left operand

// --- fcp_count.cpp
void fcp_count_function(); // the definition counts and SYMTAB::refcount of the current function

// --- fcp_values.cpp
bool fcp_is_propagatable(const NODE *value);
// The value that the assignment gives to its target, behind a chain of assignments.
NODE *fcp_assigned_value(NODE *asg);
// A copy of the value as an object of the type holds it; null when that takes more than a constant.
NODE *fcp_value_of_type(TYPE *type, const NODE *value);
bool fcp_is_bitfield(const NODE *lvalue);
bool fcp_is_constant_object(const SYMTAB *sym); // a global that keeps what the file says
// The constant that an lvalue within an immutable global, or a copy of one, has, of the lvalue's
// type; null when it is not known. The caller owns it.
NODE *fcp_global_constant(const NODE *lvalue);
void fcp_forget_initialisers(); // what is kept of them between two questions

// --- fcp_copies.cpp
// Puts constant globals in place of the structures and arrays that are copies of them; returns
// whether there were any. Changes the counts of references.
bool fcp_replace_copies_of_constants();

// --- fcp_subst.cpp
void fcp_begin_substitution(); // in the current function
// Substitutes in the statement, simplifies it if that changed it, and learns from it. Gives the
// statement in its place; null when nothing of it must run.
NODE *fcp_substitute(NODE *stmt, bool is_prolog);
// Learns what the outcome of the test at the end of a block says.
void fcp_learn_from_test(const NODE *condition, bool outcome);

// The constant object that the local variable is a copy of, as far as the lvalue within it goes;
// null: none.
const SYMTAB *fcp_copied_constant(const SYMTAB *sym, const NODE *lvalue);

// How far the facts go that are known at a place. To return there forgets what was learnt since.
struct FCP_MARK {
    std::size_t symbols, expressions, effects;
    unsigned generation;
};
FCP_MARK fcp_mark();
void fcp_return_to(const FCP_MARK &mark);
// Before what is known of a symbol changes.
void fcp_save(FCP_SYMBOL *fields);

// Takes the new tree, which has the same value, in place of the old one, counts and reports it.
void fcp_take_place(NODE *&link, NODE *value, const char *routine);

// --- fcp_exprs.cpp: expressions, and memory, whose value is at hand
class FCP_EXPRS {
public:
    void reset(unsigned statements); // of the function
    // The statement assigns to a variable, or to memory a constant or a variable. Its trees stay
    // where they are until the end of the round.
    void learn(NODE *asg, std::uint32_t now);
    // The tree, an expression or an lvalue, has the value of the variable or constant.
    void enter(const NODE *tree, const NODE *held, std::uint32_t now);
    // Puts what is at hand where the statement computes or loads it.
    void replace(NODE *stmt);
    bool knows(const NODE *tree) const { return entry_for(tree) != nullptr; }
    std::size_t mark() const { return hidden.size(); }
    void return_to(std::size_t mark);

private:
    struct ENTRY {
        const NODE *tree = nullptr; // the expression, or the lvalue
        const NODE *held = nullptr; // the NAME of the variable that holds its value; or a constant
        unsigned generation = 0;
        std::uint32_t seen = 0;
    };
    // Null: nothing is known, or it would not be cheaper.
    const ENTRY *entry_for(const NODE *tree) const;
    bool replace_whole(NODE *&link);
    void replace_below(NODE *&link);
    void replace_in_lvalue(NODE *lvalue);

    std::size_t place_of(std::uint32_t number) const { return number & (table.size() - 1); }

    std::vector<ENTRY> table; // by number; a later expression takes the place of an earlier one
    std::vector<std::pair<std::size_t, ENTRY>> hidden; // by later ones, with their places
};
