#include "OPT5/icode/records/opcodes.h"

#include <array>
#include <cstring>
#include <string>

namespace {
struct op_row {
    int code;
    const char *name; // null for OP_UNNAMED
    std::uint8_t operands, prec, effects, ok_for_sp, arity;
    std::uint8_t commute, inverse, truth, plain_op;
    const char *spelling;
};

using namespace OP;

constexpr op_row op_rows[] = {
#define OP(code, name, operands, prec, effects, ok_for_sp, arity, commute, inverse, truth, plain, text) \
    {code, #name, operands, prec, effects, ok_for_sp, arity, commute, inverse, truth, plain, text},
#define OP_UNNAMED(code, operands, prec, effects, ok_for_sp)                                       \
    {code, nullptr, operands, prec, effects, ok_for_sp, OP_NONE, ILLOP, ILLOP, 0, ILLOP, nullptr},
#define DFG_OP(code, name, operands, commute)                                                      \
    {code, #name, operands, 0, SE_NONE, 0, OP_NONE, commute, ILLOP, 0, ILLOP, #name},
#include "OPT5/icode/records/opcodes.def"
#undef OP
#undef OP_UNNAMED
#undef DFG_OP
};

// Codes without a row get `absent`.
template <class T> struct op_column {
    T values[op_count];
    constexpr op_column(T op_row::*field, T absent) : values{} {
        for (T &v : values) v = absent;
        for (const op_row &row : op_rows) values[row.code] = row.*field;
    }
};
} // namespace

#define OP_TABLE(name, field, absent)                                                              \
    static constexpr op_column<std::uint8_t> name##_column(&op_row::field, absent);                \
    const std::uint8_t(&name)[op_count] = name##_column.values;

OP_TABLE(number_of_operands, operands, OP_NONE)
OP_TABLE(precedence, prec, 0)
OP_TABLE(side_effects, effects, SE_VARIES)
OP_TABLE(op_OK_for_SP, ok_for_sp, 0)
OP_TABLE(op_file_arity, arity, OP_NONE)
OP_TABLE(commute_inv, commute, ILLOP)
OP_TABLE(boolean_inv, inverse, ILLOP)
OP_TABLE(boolean_result, truth, 0)
OP_TABLE(op_of_opASG, plain_op, ILLOP)
#undef OP_TABLE

static constexpr op_column<const char *> name_column(&op_row::name, nullptr);
const char *const (&node_operator_name)[op_count] = name_column.values;

const char *opname(int op) {
    static const auto padded = [] {
        std::array<std::string, op_count> texts;
        for (const op_row &row : op_rows) {
            if (!row.spelling) continue;
            std::string text = row.spelling;
            texts[static_cast<std::size_t>(row.code)] = text + std::string(text.size() < 8 ? 8 - text.size() : 0, ' ');
        }
        return texts;
    }();
    if (op == ILLOP) return " ?ILLOP?";
    if (op < 0 || op >= op_count || padded[static_cast<std::size_t>(op)].empty()) return "?NODE?";
    return padded[static_cast<std::size_t>(op)].c_str();
}

int op_by_name(const char *name) {
    for (const op_row &row : op_rows)
        if (row.name && std::strcmp(row.name, name) == 0) return row.code;
    return ILLOP;
}

bool op_is_file_leaf(int op) {
    switch (op) {
    case LABEL: case NAME: case SCON: case ICON: case FCON: case LCON: case FIELD: case SKIP: case VREG:
        return true;
    default: return false;
    }
}
