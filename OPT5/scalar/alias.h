// Alias analysis of the current function: whether two lvalues may name the same memory, and which
// numbered expressions (triples) a store or a call kills. Answers are true when in doubt.
#pragma once

#include "OPT5/rep/bblk.h"

class LOOP;

// Finds the symbols whose address is taken anew: SA_aliased of all locals and parameters, and of the
// globals by their flags.
void init_aliasing_info();
// Marks as aliased the vector and complex variables of which a part is reached by its address. The
// arguments: a symbol that alone is looked at, or null for all; whether marks are set (1) or only
// counted (0).
void mark_aliased_vector_and_complex_symbols(SYMTAB *only, int set);
void find_restricted_roots();

bool lvalues_may_be_aliased(const NODE *a, const NODE *b, LOOP *loop);
bool lvalues_may_be_aliased_for_SIMD(const NODE *a, const NODE *b, LOOP *loop);
bool unaliased_by_restriction(const NODE *a, const NODE *b, LOOP *loop);
bool unaliased_by_scope(const NODE *a, const NODE *b);
bool object_symbols_may_alias(const SYMTAB *a, const SYMTAB *b);
bool pointers_are_antialiased(const NODE *a, const NODE *b);
bool UMULT_PT_targets_may_overlap(const NODE *a, const NODE *b);

// --- calls, by what is known of the callee. Unknown callees do anything to what they can reach:
// globals, statics of the file when a function of the file may be reached, and whatever has its
// address taken.
bool call_may_modify_lvalue(const NODE *call, const NODE *lvalue);
bool call_may_use_lvalue(const NODE *call, const NODE *lvalue);
bool call_assigns_thru_byref_args(const NODE *call);
bool byref_arg_is_not_assigned_thru(int n, SYMTAB *function);
// Any effect of the tree, or of a part of it, that may change the value of the lvalue (of the tree
// `value`, which is any tree without effects).
bool tree_may_modify_lvalue(const NODE *tree, const NODE *lvalue);
bool tree_may_modify_value(const NODE *tree, const NODE *value);
