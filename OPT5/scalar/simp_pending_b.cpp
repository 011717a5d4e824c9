// Rows of the dispatch table without rules yet.
#include "OPT5/scalar/simp_rules.h"

NODE *simp_ANDB(NODE *tree, LOOP *, CONTEXT *) { return tree; }
NODE *simp_ORB(NODE *tree, LOOP *, CONTEXT *) { return tree; }
NODE *simp_XORB(NODE *tree, LOOP *, CONTEXT *) { return tree; }
NODE *simp_shift(NODE *tree, LOOP *, CONTEXT *) { return tree; }
NODE *simp_DIV(NODE *tree, bool, LOOP *, CONTEXT *) { return tree; }
NODE *simp_DIV_by_ICON(NODE *tree, bool, LOOP *, CONTEXT *) { return tree; }
NODE *simp_MOD(NODE *tree, LOOP *, CONTEXT *) { return tree; }
NODE *simp_SCONV(NODE *tree, LOOP *, CONTEXT *) { return tree; }
NODE *simp_PCONV(NODE *tree, LOOP *, CONTEXT *) { return tree; }
