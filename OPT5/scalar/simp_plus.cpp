// PLUS, MINUS and the operators with one operand, beyond what the normal form of sums does.
#include "OPT5/rep/type_pkg.h"
#include "OPT5/scalar/simp_rules.h"
#include "OPT5/scalar/simp_sum.h"

NODE *simp_PLUS(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    swap_to_normal_order(tree);
    if (NODE *sum = rebuilt_sum(tree, loop, ctx)) return simp_node(sum, loop, ctx);
    return tree;
}

NODE *simp_MINUS(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    if (NODE *sum = rebuilt_sum(tree, loop, ctx)) return simp_node(sum, loop, ctx);
    return tree;
}

NODE *simp_unary(NODE *tree, LOOP *loop, CONTEXT *ctx) {
    if (tree->op == OP::UMINUS || tree->op == OP::NOTB)
        if (NODE *sum = rebuilt_sum(tree, loop, ctx)) return simp_node(sum, loop, ctx);
    return tree;
}
