// What the rules of truth values share. Private to the simplifier.
#pragma once

#include "OPT5/scalar/simp_rules.h"

// Whether evaluating the tree where the program did not ask for it is harmless: no effect, no trap,
// no access through a pointer.
bool can_be_evaluated_anyway(const NODE *tree);
// The opposite of a truth value where it costs no more than the value itself; the tree is edited
// and given back. Null, and no change, where there is none.
NODE *cheap_inverse(NODE *tree);
bool has_cheap_inverse(const NODE *tree);
// The same value but for conversions that keep it, as of short to int; null types never match.
bool same_integer_value(const NODE *a, const NODE *b);
