// The tree simplifier: the canonicalizer of all passes. A routine owns the tree that it is given,
// works bottom up and in place, and returns what replaces it; the old root may be gone.
//
// `loop` is the innermost loop around the tree, null when unknown. `ctx` is the context of symbolic
// evaluation, null outside it. With both null only unconditional rewrites happen.
//
// Normal form of what comes back: constants on the right of commutative operators; chains of one
// associative operator lean left and have one constant, outermost; a negated comparison is the
// inverted one; no COMMAOP stands below an operator; no PMCONV and PVCONV; types are normalized.
#pragma once

#include "OPT5/rep/bbutils.h"

class LOOP;
class CONTEXT; // made by symbolic evaluation, of which this program has none: always null

NODE *simp_tree(NODE *tree, LOOP *loop = nullptr, CONTEXT *ctx = nullptr);
// The node alone, its operands being in normal form.
NODE *simp_node(NODE *tree, LOOP *loop = nullptr, CONTEXT *ctx = nullptr);
// A tree that is only tested against zero: the result is zero when, and only when, the tree is.
NODE *simp_for_control(NODE *tree, LOOP *loop = nullptr, CONTEXT *ctx = nullptr);
// The front of symbolic evaluation.
NODE *simp_MIX_tree(NODE *tree, LOOP *loop, CONTEXT *ctx);
// Puts the constant where the tree reads the symbol, and simplifies.
NODE *simp_subst_icon(NODE *tree, SYMTAB *sym, const INT65 &value, LOOP *loop, CONTEXT *ctx);
// Simplifies a tree of integer type whose value is known to lie from lo to hi (values of the type).
NODE *simp_tree_in_range(NODE *tree, const INT65 &lo, const INT65 &hi, LOOP *loop, CONTEXT *ctx);
// Every statement of the current function; one that has become a constant is dropped.
void simp_all_trees();

// Constants alone: what both operands say, and the neutral elements.
NODE *fold_constants(NODE *tree);

// --- facts. Masks have no bit above the type's width.
// Bits of the tree's value, converted to `type`, that are always 0 (1).
INT65 find_known_zeros(const NODE *tree, const TYPE *type);
INT65 find_known_ones(const NODE *tree, const TYPE *type);
INT65 find_known_zeros_in_ANDB(const NODE *tree, LOOP *loop, CONTEXT *ctx);
bool returns_1_or_0(const NODE *tree);
// The values of a tree of integer or pointer type, as values of that type, lie from *lo to *hi.
// What is not known better is the range of the type.
void find_value_range(const NODE *tree, INT65 *lo, INT65 *hi, LOOP *loop, CONTEXT *ctx);
// True when every value of the tree is a value of the type.
bool value_fits_in_type(const NODE *tree, const TYPE *type, LOOP *loop, CONTEXT *ctx);
bool expr_product_may_overflow(const NODE *tree, LOOP *loop, CONTEXT *ctx); // of a MULT
bool expr_sum_may_overflow(const NODE *tree, LOOP *loop, CONTEXT *ctx);     // of a PLUS or MINUS
// A multiplication of two values of 16 bits, which the target does in one step.
bool tree_is_16x16_mpy(const NODE *tree, LOOP *loop, CONTEXT *ctx);
bool integer_DIV_is_exact(const NODE *tree, LOOP *loop, CONTEXT *ctx);
bool constant_divides_expr(const INT65 &constant, const NODE *tree, LOOP *loop, CONTEXT *ctx);

// --- rewrites for other passes
NODE *invert_boolean_tree(NODE *tree); // what EXCLAIM would give; not simplified
NODE *make_boolean(NODE *tree);        // 0 or 1 as int, by whether the tree is zero
// Drops operations of the tree that cannot change the bits in `mask` (of the tree's type).
NODE *prop_mask_into_subtree(NODE *tree, const INT65 &mask);
// Rearranges a sum so that the term is its last operand; null, and no change, when it is no term.
NODE *bubble_term_to_top(NODE *tree, NODE *term);
// Drops from a value what an assignment to the lvalue cuts off anyway; n bits of it are kept, 0
// standing for all that the lvalue holds.
NODE *truncate_RHS_for_assignment(const NODE *lhs, NODE *rhs, int n);
// Divides both sides of a quotient by a factor that both have; true if something was cancelled.
bool cancel_common_simple_factors(NODE **a, NODE **b);
