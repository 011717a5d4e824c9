// Texts that the printers of trees share.
#pragma once

#include "OPT5/rep/node.h"

#include <string>
#include <string_view>

// Appends bytes as a C string literal would spell them; `quote` is escaped too, 0 for none. What is
// appended never holds a line end.
void append_escaped(std::string &out, std::string_view bytes, char quote);

// No name or other text of a node is printed longer than this: a tree may hold it many times.
inline constexpr std::size_t longest_printed_text = 500;

// Appends a type's spelling; "?" for null.
void append_type(std::string &out, const TYPE *type);

// Appends the payload of a node: the value of a constant, the name of a symbol, member or
// intrinsic, a label's number. Nothing for a node whose opcode and operands say all. A text is cut
// off with "...".
void append_payload(std::string &out, const NODE *node);

// The operators that only wrap a tree for an analysis.
inline bool is_ssa_wrapper(const NODE *node) {
    return node->op == OP::SSA_USE || node->op == OP::SSA_DEF || node->op == OP::SSA_MU ||
           node->op == OP::SSA_CHI;
}
const NODE *skip_ssa_operators(const NODE *node); // null when nothing is below them
