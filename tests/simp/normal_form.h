// What the simplifier promises of the trees that it gives back, see OPT5/scalar/simp.h.
#pragma once

#include "OPT5/rep/node.h"

#include <string>

// The first promise that the tree breaks, with the node that breaks it; empty: none.
std::string find_broken_promise(const NODE *tree);
// Whether the two trees are the same in opcodes, types and payload.
bool same_trees(const NODE *a, const NODE *b);
// On one line, as the text form of icode has it.
std::string typed_text(const NODE *tree);
