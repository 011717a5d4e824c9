// What the files of the simplifier share: one routine for each row of its dispatch table, and the
// helpers that several of them use. Private to the simplifier.
//
// A routine gets a node whose operands are in normal form and whose root steps (types, hoisting of
// COMMAOP, folding) are done. It returns what replaces the node. When it has changed the root to
// something that other rules may apply to, it returns simp_node() of that.
#pragma once

#include "OPT5/scalar/simp.h"

// simp_node.cpp, simp_assoc.cpp, simp_sum.cpp, simp_product.cpp, simp_asg.cpp, simp_lvalue.cpp ...
// Exchanges the operands of the node and regroups them, those of floats only where the options let
// results be inexact and additions be regrouped. Gives the node, or the constant that it has become.
NODE *simp_assoc(NODE *tree, LOOP *loop, CONTEXT *ctx);
// Turns a chain of one operator, or of sums and differences, that leans right over before its
// operands are simplified: one by one, each would go to the bottom of what is there already.
void lean_left_in_advance(NODE *node);
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
// Of ANDB, ORB, XORB and NOTB: fewer operators for the same function of one or two operands. Null:
// there are none.
NODE *simp_bit_function(NODE *tree, LOOP *loop, CONTEXT *ctx);
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
// ANDB, ORB of two truth values that one test of their operands says; XORB, EQ, NEQ likewise. Null:
// there is none.
NODE *simp_joined_truths(NODE *tree, LOOP *loop, CONTEXT *ctx);
NODE *simp_different_truths(NODE *tree, LOOP *loop, CONTEXT *ctx);
NODE *simp_intrinsic(NODE *tree, LOOP *loop, CONTEXT *ctx); // ICALL
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
// Erases the node alone and gives its left operand.
inline NODE *take_operand(NODE *unary) {
    NODE *operand = unary->left;
    erase_node(unary);
    return operand;
}
// Folds the node alone: constants, and a neutral constant on the right. Gives what replaces it;
// null when there is nothing to fold.
NODE *fold_node(NODE *tree, LOOP *loop, CONTEXT *ctx);
// Integers, enums and pointers, whose operations wrap: low bits of results follow from low bits of
// operands. A bool is none, since conversions to it look at all bits.
bool is_modular_type(const TYPE *type);
inline bool is_ICON(const NODE *tree) {
    return tree && tree->op == OP::ICON;
}
inline bool is_FCON(const NODE *tree) {
    return tree && tree->op == OP::FCON;
}
// The constant as the value that its type holds.
inline INT65 icon_value(const NODE *icon) {
    return truncate_to_type(icon->u.lval, icon->type);
}
// The same when it is an operand of a node of this integer or pointer type.
INT65 constant_as(const NODE *icon, const TYPE *type);
// The constant in the node's own type, which must be integer, enum or pointer.
NODE *make_ICON(const INT65 &value, TYPE *type);
NODE *make_FCON(const simul_fval &value, TYPE *type); // a value of the type
// The node becomes a cast of its left operand to its type: SCONV, or PCONV where one of both types
// is a pointer. The right operand, if any, must be gone. Not simplified.
NODE *turn_into_cast(NODE *tree);
// What peel_for_effect leaves, as a tower of COMMAOPs that leans left; null when that is nothing.
NODE *effects_of(NODE *tree);
// Whether the tree has no effect, and so few nodes that a rule may ask this at each level of a tower.
bool is_small_and_pure(const NODE *tree);
// The effects of `effects` and then the value of `value`, as a simplified COMMAOP; `value` alone
// when there is no effect. Both are taken over.
NODE *with_effects(NODE *effects, NODE *value, LOOP *loop, CONTEXT *ctx);
