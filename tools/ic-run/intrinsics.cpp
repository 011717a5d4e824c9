// Intrinsics: ICALL and MCALL nodes that the machine knows.
#include "tools/ic-run/arithmetic.h"
#include "tools/ic-run/compiler.h"

#include <iterator>

namespace {
enum class ARGUMENT : std::uint8_t { sign, plain, real };

// An intrinsic of one or two arguments. Each takes operands of 32 bits and gives such a result.
struct INTRINSIC {
    std::string_view name;
    std::uint32_t arguments;
    ARGUMENT argument; // signed, unsigned, or a float
    CODE code;
    COST_CLASS cost;
    bool moves; // counts as a move, too
};

constexpr INTRINSIC intrinsics[] = {
    {"MIN", 2, ARGUMENT::sign, CODE_MINS, COST_compare, true},
    {"MAX", 2, ARGUMENT::sign, CODE_MAXS, COST_compare, true},
    {"MINU", 2, ARGUMENT::plain, CODE_MINU, COST_compare, true},
    {"MAXU", 2, ARGUMENT::plain, CODE_MAXU, COST_compare, true},
    {"LMIN", 2, ARGUMENT::sign, CODE_MINS, COST_compare, true},
    {"LMAX", 2, ARGUMENT::sign, CODE_MAXS, COST_compare, true},
    {"LMINU", 2, ARGUMENT::plain, CODE_MINU, COST_compare, true},
    {"LMAXU", 2, ARGUMENT::plain, CODE_MAXU, COST_compare, true},
    {"LLMIN", 2, ARGUMENT::sign, CODE_MINS, COST_compare, true},
    {"LLMAX", 2, ARGUMENT::sign, CODE_MAXS, COST_compare, true},
    {"LLMINU", 2, ARGUMENT::plain, CODE_MINU, COST_compare, true},
    {"LLMAXU", 2, ARGUMENT::plain, CODE_MAXU, COST_compare, true},
    {"FMIN", 2, ARGUMENT::real, CODE_FMIN, COST_floating, true},
    {"FMAX", 2, ARGUMENT::real, CODE_FMAX, COST_floating, true},
    {"DMIN", 2, ARGUMENT::real, CODE_FMIN, COST_floating, true},
    {"DMAX", 2, ARGUMENT::real, CODE_FMAX, COST_floating, true},
    {"LDMIN", 2, ARGUMENT::real, CODE_FMIN, COST_floating, true},
    {"LDMAX", 2, ARGUMENT::real, CODE_FMAX, COST_floating, true},
    {"_sadd", 2, ARGUMENT::sign, CODE_SADD, COST_arithmetic, false},
    {"_ssub", 2, ARGUMENT::sign, CODE_SSUB, COST_arithmetic, false},
    {"_ssub2", 2, ARGUMENT::sign, CODE_SSUB2, COST_arithmetic, false},
    {"_sshl", 2, ARGUMENT::sign, CODE_SSHL, COST_arithmetic, false},
    {"_abs", 1, ARGUMENT::sign, CODE_SABS, COST_arithmetic, false},
};

RUN_TYPE operand_type(ARGUMENT argument) {
    RUN_TYPE type;
    type.kind = argument == ARGUMENT::real ? TYPE_KIND::floating : TYPE_KIND::integer;
    type.is_signed = argument != ARGUMENT::plain;
    type.units = type.align = 2;
    return type;
}
} // namespace

FUNCTION_COMPILER::REG FUNCTION_COMPILER::intrinsic(std::uint32_t i, int hint) {
    const std::string_view name = model_.text(node(i), IF_NODE::payload);
    if (name == "__memory_barrier") return new_register(); // accesses are in order here
    const auto *known = std::find_if(std::begin(intrinsics), std::end(intrinsics),
                                     [name](const INTRINSIC &row) { return row.name == name; });
    if (known == std::end(intrinsics))
        return fault("the intrinsic '" + std::string(name) + "' is not known");

    const bool has_arguments = op(i) == OP::ICALL || op(i) == OP::MCALL;
    const std::uint32_t first = has_arguments ? left(i) : i;
    const std::uint32_t given = !has_arguments                 ? 0
                                : op(first) != OP::COMMA       ? 1
                                : op(left(first)) != OP::COMMA ? 2
                                                               : 3; // or more
    if (given != known->arguments)
        return fault("the intrinsic '" + std::string(name) + "' has " +
                     std::to_string(known->arguments) + " arguments");
    const std::uint32_t a = given == 2 ? left(first) : first;
    if (!type(i).is_scalar() || !type(a).is_scalar() ||
        (given == 2 && !type(right(first)).is_scalar()))
        return fault("the intrinsic '" + std::string(name) + "' works on numbers");

    const std::uint32_t mark = top_;
    const RUN_TYPE operand = operand_type(known->argument);
    REG x = value_as(a, operand), y = 0;
    if (given == 2) {
        x = kept(x, right(first));
        y = value_as(right(first), operand);
    }
    count_node(known->cost);
    if (known->moves) count(COST_move);
    top_ = mark;
    const bool converts = needs_conversion(operand, type(i));
    const REG result = destination(converts ? no_hint : hint);
    emit(known->code, result, x, y);
    if (!converts) return result;
    top_ = mark;
    return convert(result, operand, type(i), hint);
}
