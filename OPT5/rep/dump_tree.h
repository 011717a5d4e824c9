// Texts that the printers of trees share.
#pragma once

#include "OPT5/rep/node.h"

#include <string>
#include <string_view>

// Appends bytes as a C string literal would spell them; `quote` is escaped too, 0 for none. What is
// appended never holds a line end.
void append_escaped(std::string &out, std::string_view bytes, char quote);

// Appends the payload of a node: the value of a constant, the name of a symbol, member or
// intrinsic, a label's number. Nothing for a node whose opcode and operands say all. Of more than
// `limit` bytes of a text only the first are given, with "..." behind them.
void append_payload(std::string &out, const NODE *node, std::size_t limit);

// The same node without the operators that only wrap a value for an analysis: SSA_USE, SSA_DEF,
// SSA_MU and SSA_CHI. Null when nothing is below them.
const NODE *skip_ssa_operators(const NODE *node);
