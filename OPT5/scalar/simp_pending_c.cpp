// Rows of the dispatch table without rules yet.
#include "OPT5/scalar/simp_rules.h"

NODE *simp_relop(NODE *tree, LOOP *, CONTEXT *) { return tree; }
NODE *simp_EXCLAIM(NODE *tree, LOOP *, CONTEXT *) { return tree; }
NODE *simp_QUEST(NODE *tree, LOOP *, CONTEXT *) { return tree; }
NODE *simp_ANDAND(NODE *tree, LOOP *, CONTEXT *) { return tree; }
NODE *simp_OROR(NODE *tree, LOOP *, CONTEXT *) { return tree; }
NODE *simp_ANDOR_ANDOR(NODE *tree, LOOP *, CONTEXT *) { return tree; }
NODE *simp_CBRANCH(NODE *tree, LOOP *, CONTEXT *) { return tree; }
NODE *simp_IF(NODE *tree, LOOP *, CONTEXT *) { return tree; }
