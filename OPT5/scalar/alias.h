// Alias analysis of the current function: whether two lvalues may name the same memory, and which
// numbered expressions (triples) a store or a call kills. Answers are true when in doubt.
#pragma once

#include "OPT5/rep/bblk.h"
#include "OPT5/rep/bitvec.h"

class LOOP;

// --- what the trees say about addresses. Stale once a tree is changed so that an address gets into
// a variable that there was before; variables made since are known to be unknown.

// Finds the symbols whose address is taken anew: SA_aliased of all locals and parameters, and of
// the globals by their flags; SA_no_escape of the locals, once of the file's statics too;
// parameters that keep their value.
void init_aliasing_info();
void reset_alias_info(); // forgets all of it but the marks of the symbols
// Marks as aliased the vector and complex variables of which a part is assigned to or reached by
// its address. The arguments: a symbol that alone is looked at, or null for all; whether marks are
// set (1) or only counted (0).
void mark_aliased_vector_and_complex_symbols(SYMTAB *only, int set);
// The restrict pointers of the whole call, parameters and variables of the outermost block, that
// get a value of other origin once at most: what is reached through one of them is reached through
// nothing that is not based on it.
void find_restricted_roots();
bool is_fixed_parameter(const SYMTAB *sym); // a pointer that only the argument prolog assigns to

// Where an lvalue lies: in a variable, or at a distance from the pointer `root`.
struct MEMREF {
    const SYMTAB *object = nullptr; // null: unknown, what the pointer leads to
    const NODE *root = nullptr;     // null with no object either: nothing is known of the lvalue
    std::int64_t offset = 0; // of its first bit from the start of the object, or from the root
    std::int64_t bits = -1;  // its extent; -1: anywhere in what the root or object leads to
    bool is_cast = false;    // reached through a pointer to another type than its own
    TYPE *type = nullptr;    // of the access; the outermost union of which it is a part
};
MEMREF resolve_lvalue(const NODE *lvalue);
// The operand through which an address leads to what it points at, or null. What it loses on the
// way is arithmetic and casts.
const NODE *pointer_below(const NODE *address);
// Whether the two may share bits, given that they have one object or one value as their root.
bool ranges_overlap(const MEMREF &a, const MEMREF &b);
// The type of a pointer tree below at most n conversions, 0 standing for all.
TYPE *true_type(const NODE *tree, int n);

// --- two lvalues. Variables in their addresses are not taken to have the same values at both.

// Whether a store to one may touch the other, wherever the two stand: also for moving a load behind
// a store.
bool lvalues_may_be_aliased(const NODE *a, const NODE *b, LOOP *loop);
// The same for accesses that take neighbours along, in one object or behind one pointer.
bool lvalues_may_be_aliased_for_SIMD(const NODE *a, const NODE *b, LOOP *loop);
// Whether a load that the program does after a store may see it. Here the types of both decide even
// where the memory has no declared type, as it may not be read by another type than it was written.
bool store_may_reach_load(const NODE *store, const NODE *load, LOOP *loop);
bool unaliased_by_restriction(const NODE *a, const NODE *b, LOOP *loop);
bool unaliased_by_scope(const NODE *a, const NODE *b);
bool object_symbols_may_alias(const SYMTAB *a, const SYMTAB *b);
// Whether an assertion says that what the two pointers lead to shares no memory.
bool pointers_are_antialiased(const NODE *a, const NODE *b);
// Records such an assertion; false where one of the two is no plain pointer variable.
bool add_alias_assertion(const NODE *a, const NODE *b);
bool UMULT_PT_targets_may_overlap(const NODE *a, const NODE *b);

// --- calls, by what is known of the callee. Unknown callees do anything to what they can reach:
// globals, statics of the file when a function of the file may be reached, and whatever has its
// address taken. Intrinsics and MEMCPY are calls here.
bool node_is_call(const NODE *node);
bool call_may_modify_lvalue(const NODE *call, const NODE *lvalue);
bool call_may_use_lvalue(const NODE *call, const NODE *lvalue);
bool call_assigns_thru_byref_args(const NODE *call);
// What the function's prototype and record say of its argument number n, from 0.
bool byref_arg_is_not_assigned_thru(int n, SYMTAB *function);
// A function whose pointer parameters all lead to constant data makes no assignment through them as
// long as nobody casts that away; gives the record FUN_no_byref_asg where the function says so.
void check_fun_for_byref_asgs(SYMTAB *sym);
// Any effect of the tree, or of a part of it, that may change the value of the lvalue (of the tree
// `value`, which is any tree without effects). That includes the variables in its address.
bool tree_may_modify_lvalue(const NODE *tree, const NODE *lvalue);
bool tree_may_modify_value(const NODE *tree, const NODE *value);

// --- triples: the distinct expressions of a function by number, see gcse

// Which memory triples a store to one of them may change: a square relation, symmetric, with the
// diagonal.
class Triple_Alias_Table {
public:
    // Entries without a triple that names memory may be null.
    Triple_Alias_Table(NODE **triples, int count);
    // Adds the triples that a store to triple n may change; a number that is no memory triple has
    // none.
    void kill_aliases_of_lvalue(int n, BITVEC &set) const;
    const BITVEC &aliases_of(int n) const { return rows[static_cast<std::size_t>(n)]; }
    int size() const { return static_cast<int>(rows.size()); }

private:
    std::vector<BITVEC> rows;
};

// The sets of the current function, by triple number: what each kind of event kills. A triple is in
// one when it reads such memory anywhere in its tree.
extern BITVEC triple_kills_global_vars;      // variables outside the function
extern BITVEC triple_kills_aliased_vars;     // variables that a pointer may lead to
extern BITVEC triple_kills_aliased_scalars;  // those of them that are scalar
extern BITVEC triple_kills_ASSERTs;          // assertions
extern BITVEC triple_kills_indirect_refs;    // what lies behind a pointer
extern BITVEC triple_kills_indirect_refs_NL; // of these, what may not be a local of the function
extern BITVEC triple_kills_indirect_NKV;     // what lies in no known variable
extern BITVEC
    triple_kills_indirect_NS_maybe;         // of which the place may change while it is looked at,
extern BITVEC triple_kills_indirect_NS_yes; // or does, its address having a load of its own
extern BITVEC triple_kills_indirect_ICON;   // at a constant address
extern int errno_triple;                    // of the C library's error variable; -1: none

// Makes the table and the sets of these triples, numbers being indices; entries may be null.
void compute_alias_sets(NODE **triples, int count);
void clean_up_alias_analysis_bitvecs_etc();
// These add the triples that the event may change to a set as large as their number. A lvalue may
// have a triple itself, in depnum.
void kill_aliases_of_lvalue(const NODE *lvalue, BITVEC &set);
// A store by an address of which nothing but the scope (null: unknown) and a pointer tree (null:
// unknown) is known; n is the triple of the stored lvalue, or -1.
void kill_aliases_indirect(const LS *ls, const NODE *tree, BITVEC &set, int n);
void kill_aliases_on_call(const NODE *call, BITVEC &set);
void kill_assertions(BITVEC &set);
