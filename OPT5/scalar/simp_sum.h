// Sums of integers and pointers as terms with factors. Private to the simplifier.
#pragma once

#include "OPT5/scalar/simp_rules.h"

// The sum whose root this PLUS, MINUS, UMINUS or NOTB is, in its normal form, of the root's type; not
// simplified as a whole. Null, and no change, when it stands in that form already.
NODE *rebuilt_sum(NODE *tree, LOOP *loop, CONTEXT *ctx);
