// Rows of the dispatch table without rules yet.
#include "OPT5/scalar/simp_rules.h"

NODE *simp_opASG(NODE *tree, LOOP *, CONTEXT *) { return tree; }
NODE *simp_ASG(NODE *tree, LOOP *, CONTEXT *) { return tree; }
NODE *simp_COMMAOP(NODE *tree, LOOP *, CONTEXT *) { return tree; }
NODE *simp_UMULT(NODE *tree, LOOP *, CONTEXT *) { return tree; }
NODE *simp_UAND(NODE *tree, LOOP *, CONTEXT *) { return tree; }
NODE *simp_STDOT(NODE *tree, LOOP *, CONTEXT *) { return tree; }
NODE *simp_STREF(NODE *tree, LOOP *, CONTEXT *) { return tree; }
NODE *simp_SWITCH(NODE *tree, LOOP *, CONTEXT *) { return tree; }
NODE *simp_call(NODE *tree, LOOP *, CONTEXT *) { return tree; }
NODE *fix_pack_types(NODE *tree) { return tree; }
NODE *simp_ACONV(NODE *tree, LOOP *, CONTEXT *) { return tree; }
NODE *simp_ASSERT(NODE *tree, LOOP *, CONTEXT *) { return tree; }
NODE *simp_MEMCPY(NODE *tree, LOOP *, CONTEXT *) { return tree; }
NODE *simp_complexop(NODE *tree, LOOP *, CONTEXT *) { return tree; }
NODE *simp_EXPT(NODE *tree, LOOP *, CONTEXT *) { return tree; }
NODE *simp_vector_node(NODE *tree, LOOP *, CONTEXT *) { return tree; }

