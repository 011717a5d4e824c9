// What the files of the simplifier share: one routine for each row of its dispatch table, and the
// helpers that several of them use. Private to the simplifier.
//
// A routine gets a node whose operands are in normal form and whose root steps (types, hoisting of
// COMMAOP, folding) are done. It returns what replaces the node. When it has changed the root to
// something that other rules may apply to, it returns simp_node() of that.
#pragma once

#include "OPT5/scalar/simp.h"

// simp_node.cpp, simp_assoc.cpp, simp_sum.cpp, simp_product.cpp, simp_asg.cpp, simp_lvalue.cpp ...
// Exchanges and regroups the operands of the node; only of an integer one regroups them. Gives the
// node, or the constant that it has become.
NODE *simp_assoc(NODE *tree, LOOP *loop, CONTEXT *ctx);
void swap_to_normal_order(NODE *tree); // the operands alone, of a commutative operator
NODE *simp_PLUS(NODE *tree, LOOP *loop, CONTEXT *ctx);
NODE *simp_MINUS(NODE *tree, LOOP *loop, CONTEXT *ctx);
NODE *simp_MULT(NODE *tree, LOOP *loop, CONTEXT *ctx);
NODE *simp_unary(NODE *tree, LOOP *loop, CONTEXT *ctx);
NODE *simp_opASG(NODE *tree, LOOP *loop, CONTEXT *ctx);
NODE *simp_ASG(NODE *tree, LOOP *loop, CONTEXT *ctx);
NODE *simp_COMMAOP(NODE *tree, LOOP *loop, CONTEXT *ctx);
NODE *simp_UMULT(NODE *tree, LOOP *loop, CONTEXT *ctx);
NODE *simp_UAND(NODE *tree, LOOP *loop, CONTEXT *ctx);
NODE *simp_STDOT(NODE *tree, LOOP *loop, CONTEXT *ctx);
NODE *simp_STREF(NODE *tree, LOOP *loop, CONTEXT *ctx);
NODE *simp_SWITCH(NODE *tree, LOOP *loop, CONTEXT *ctx);
NODE *simp_call(NODE *tree, LOOP *loop, CONTEXT *ctx);
NODE *fix_pack_types(NODE *tree);
NODE *simp_ACONV(NODE *tree, LOOP *loop, CONTEXT *ctx);
NODE *simp_ASSERT(NODE *tree, LOOP *loop, CONTEXT *ctx);
NODE *simp_MEMCPY(NODE *tree, LOOP *loop, CONTEXT *ctx);
NODE *simp_complexop(NODE *tree, LOOP *loop, CONTEXT *ctx);
NODE *simp_EXPT(NODE *tree, LOOP *loop, CONTEXT *ctx);
NODE *simp_vector_node(NODE *tree, LOOP *loop, CONTEXT *ctx);

// simp_bits.cpp, simp_shift.cpp, simp_div.cpp, simp_conv.cpp, simp_facts.cpp ...
NODE *simp_ANDB(NODE *tree, LOOP *loop, CONTEXT *ctx);
NODE *simp_ORB(NODE *tree, LOOP *loop, CONTEXT *ctx);
NODE *simp_XORB(NODE *tree, LOOP *loop, CONTEXT *ctx);
NODE *simp_shift(NODE *tree, LOOP *loop, CONTEXT *ctx);
// `exact`: the division is known to leave no remainder.
NODE *simp_DIV(NODE *tree, bool exact, LOOP *loop, CONTEXT *ctx);
NODE *simp_DIV_by_ICON(NODE *tree, bool exact, LOOP *loop, CONTEXT *ctx);
NODE *simp_MOD(NODE *tree, LOOP *loop, CONTEXT *ctx);
NODE *simp_SCONV(NODE *tree, LOOP *loop, CONTEXT *ctx);
NODE *simp_PCONV(NODE *tree, LOOP *loop, CONTEXT *ctx);

// simp_relop.cpp, simp_bool.cpp, simp_quest.cpp, simp_control.cpp ...
NODE *simp_relop(NODE *tree, LOOP *loop, CONTEXT *ctx);
NODE *simp_EXCLAIM(NODE *tree, LOOP *loop, CONTEXT *ctx);
NODE *simp_QUEST(NODE *tree, LOOP *loop, CONTEXT *ctx);
NODE *simp_ANDAND(NODE *tree, LOOP *loop, CONTEXT *ctx);
NODE *simp_OROR(NODE *tree, LOOP *loop, CONTEXT *ctx);
// Both operands have the other of the two operators.
NODE *simp_ANDOR_ANDOR(NODE *tree, LOOP *loop, CONTEXT *ctx);
NODE *simp_CBRANCH(NODE *tree, LOOP *loop, CONTEXT *ctx);
NODE *simp_IF(NODE *tree, LOOP *loop, CONTEXT *ctx);

// --- shared small steps
// A rewrite rule: gives what takes the node's place, or null when it does not apply, and then
// nothing is changed.
using SIMP_RULE = NODE *(*)(NODE *tree, LOOP *loop, CONTEXT *ctx);
// The first of the rules that applies; null when none does.
template <std::size_t N>
NODE *apply_first(const SIMP_RULE (&rules)[N], NODE *tree, LOOP *loop, CONTEXT *ctx) {
    for (const SIMP_RULE rule : rules)
        if (NODE *result = rule(tree, loop, ctx)) return result;
    return nullptr;
}
// The node becomes its left operand as a value of its type; the right one, which must have no
// effect, is gone.
NODE *becomes_left(NODE *tree, LOOP *loop, CONTEXT *ctx);
// The node becomes a constant of its type behind the effects of its operands.
NODE *becomes_constant(NODE *tree, const INT65 &value, LOOP *loop, CONTEXT *ctx);
// Folds the node alone: constants, and a neutral constant on the right. Gives what replaces it;
// null when there is nothing to fold.
