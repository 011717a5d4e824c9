// Opcode numbers and their properties, all from opcodes.def.
#pragma once

#include <cstdint>

namespace OP {
enum code : int {
#define OP(code, name, ...) name = code,
#define OP_UNNAMED(...)
#define DFG_OP(code, name, ...) name = code,
#include "OPT5/icode/records/opcodes.def"
#undef OP
#undef OP_UNNAMED
#undef DFG_OP
    VREG = 163, // in a file only: the number is OUIALIGN inside this program
    ILLOP = 255, // an erased node, or one still being built
};
} // namespace OP

inline constexpr int op_count = 256;
inline constexpr int op_first_internal = 163; // from here on opcodes have no file form
inline constexpr int op_file_limit = 164;     // a file opcode is below this
inline constexpr std::uint8_t OP_NONE = 255;  // in operand counts: illegal in a tree
enum : std::uint8_t { SE_NONE = 0, SE_STORE = 1, SE_CONTROL = 2, SE_VARIES = 255 };

// All tables hold op_count entries, indexed by opcode; 255 (ILLOP) stands for "no such operator".
extern const char *const (&node_operator_name)[op_count]; // null where a code has no name
extern const std::uint8_t (&number_of_operands)[op_count];
extern const std::uint8_t (&precedence)[op_count];
extern const std::uint8_t (&side_effects)[op_count];
extern const std::uint8_t (&op_OK_for_SP)[op_count];
extern const std::uint8_t (&op_file_arity)[op_count]; // children in a file; OP_NONE: no row
extern const std::uint8_t (&commute_inv)[op_count];
extern const std::uint8_t (&boolean_inv)[op_count];
extern const std::uint8_t (&boolean_result)[op_count];
extern const std::uint8_t (&op_of_opASG)[op_count];

// The dump spelling, padded with blanks to eight columns; "?NODE?" for a code without a name.
const char *opname(int op);
// The code of a name as in opcodes.def, or OP::ILLOP.
int op_by_name(const char *name);
// True for the opcodes whose children a file never holds, whatever op_file_arity says: LABEL, NAME,
// SCON, ICON, FCON, LCON, FIELD, SKIP, VREG.
bool op_is_file_leaf(int op);
