// Values: operators, conversions, conditions.
#include "tools/ic-run/compiler.h"

#include "tools/ic-run/arithmetic.h"

namespace {
RUN_TYPE number_type(std::uint32_t units, bool is_signed) {
    RUN_TYPE t;
    t.kind = TYPE_KIND::integer;
    t.is_signed = is_signed;
    t.units = t.align = units;
    return t;
}
const RUN_TYPE int_type = number_type(2, true);

CODE with_constant(CODE code) {
    return static_cast<CODE>(code + 1);
}

// Codes of the operators that have a form with a constant.
CODE simple_code(int op, const RUN_TYPE &t) {
    const bool wide = t.units == 2, real = t.kind == TYPE_KIND::floating;
    switch (op) {
    case OP::PLUS: return real ? CODE_FADD : wide ? CODE_ADD32 : CODE_ADD16;
    case OP::MINUS: return real ? CODE_FSUB : wide ? CODE_SUB32 : CODE_SUB16;
    case OP::MULT: return real ? CODE_FMUL : wide ? CODE_MUL32 : CODE_MUL16;
    case OP::ANDB: return CODE_AND;
    case OP::ORB: return CODE_OR;
    default: return CODE_XOR;
    }
}

CODE shift_code(int op, const RUN_TYPE &t, bool sign) {
    const bool wide = t.units == 2;
    if (op == OP::SLL) return wide ? CODE_SHL32 : CODE_SHL16;
    if (sign) return wide ? CODE_SHRS32 : CODE_SHRS16;
    return wide ? CODE_SHRU32 : CODE_SHRU16;
}

CODE divide_code(int op, const RUN_TYPE &t, bool sign) {
    const bool wide = t.units == 2;
    if (op == OP::DIV) return !sign ? CODE_DIVU : wide ? CODE_DIVS32 : CODE_DIVS16;
    return !sign ? CODE_MODU : wide ? CODE_MODS32 : CODE_MODS16;
}

CODE compare_code(int op, const RUN_TYPE &t) {
    const bool wide = t.units == 2, real = t.kind == TYPE_KIND::floating;
    switch (op) {
    case OP::EQ: return real ? CODE_FEQ : CODE_EQ;
    case OP::NEQ: return real ? CODE_FNE : CODE_NE;
    case OP::LT: return real ? CODE_FLT : wide ? CODE_LTS32 : CODE_LTS16;
    case OP::LE: return real ? CODE_FLE : wide ? CODE_LES32 : CODE_LES16;
    case OP::GT: return real ? CODE_FGT : wide ? CODE_GTS32 : CODE_GTS16;
    case OP::GE: return real ? CODE_FGE : wide ? CODE_GES32 : CODE_GES16;
    case OP::ULT: return real ? CODE_FLT : CODE_LTU;
    case OP::ULE: return real ? CODE_FLE : CODE_LEU;
    case OP::UGT: return real ? CODE_FGT : CODE_GTU;
    default: return real ? CODE_FGE : CODE_GEU;
    }
}

bool is_comparison(int op) {
    return op >= OP::EQ && op <= OP::UGT;
}

// What two compared operands are taken as.
const RUN_TYPE &compared_type(const RUN_TYPE &a, const RUN_TYPE &b) {
    if (a.kind == TYPE_KIND::floating) return a;
    if (b.kind == TYPE_KIND::floating) return b;
    return b.units > a.units ? b : a;
}

// The jump that is taken when the comparison is `sense`; false when there is none.
bool jump_code(CODE compare, bool sense, CODE &code) {
    static constexpr struct {
        CODE compare, when, unless;
    } table[] = {{CODE_EQ, CODE_JEQ, CODE_JNE},          {CODE_NE, CODE_JNE, CODE_JEQ},
                 {CODE_LTU, CODE_JLTU, CODE_JGEU},       {CODE_LEU, CODE_JLEU, CODE_JGTU},
                 {CODE_GTU, CODE_JGTU, CODE_JLEU},       {CODE_GEU, CODE_JGEU, CODE_JLTU},
                 {CODE_LTS32, CODE_JLTS32, CODE_JGES32}, {CODE_LES32, CODE_JLES32, CODE_JGTS32},
                 {CODE_GTS32, CODE_JGTS32, CODE_JLES32}, {CODE_GES32, CODE_JGES32, CODE_JLTS32}};
    for (const auto &row : table) {
        if (row.compare != compare) continue;
        code = sense ? row.when : row.unless;
        return true;
    }
    return false;
}
} // namespace

COST_CLASS FUNCTION_COMPILER::class_of(int opcode, const RUN_TYPE &t) {
    const bool real = t.kind == TYPE_KIND::floating;
    switch (opcode) {
    case OP::MULT:
    case OP::SQR: return real ? COST_floating : COST_multiply;
    case OP::DIV:
    case OP::MOD:
    case OP::PVCONV: return real ? COST_float_divide : COST_divide;
    case OP::SQRT:
    case OP::RECIP: return COST_float_divide;
    default: return real ? COST_floating : COST_arithmetic;
    }
}

// --- effects

void FUNCTION_COMPILER::effect(std::uint32_t i) {
    const std::uint32_t mark = top_;
    switch (op(i)) {
    case OP::PCOMMA:
    case OP::COMMAOP:
        if (op(i) == OP::COMMAOP) count_node(COST_other);
        effect(left(i));
        effect(right(i));
        break;
    case OP::QUEST: choice(i, no_hint, false); break;
    case OP::ANDAND:
    case OP::OROR: {
        count_node(COST_branch);
        const std::uint32_t end = new_label();
        branch(left(i), op(i) == OP::OROR, end);
        effect(right(i));
        bind(end);
        break;
    }
    case OP::ASG: assignment(i, false); break;
    case OP::CALL:
    case OP::UCALL: call(i, false, no_hint); break;
    case OP::NASSERT:
    case OP::ASSERT: {
        bool pure = !stores_within(i);
        for (std::uint32_t n = i + 1; n < node(i).end; ++n)
            pure = pure && op(n) != OP::CALL && op(n) != OP::UCALL && op(n) != OP::MEMCPY;
        if (!options_.check || !pure) break;
        const std::uint32_t holds = new_label();
        branch(left(i), true, holds);
        emit(CODE_BROKEN);
        bind(holds);
        break;
    }
    default:
        if (side_effects[op(i)] == SE_STORE && op_of_opASG[op(i)] != OP::ILLOP)
            compound(i, false);
        else if (op(i) == OP::PLUSPLUS || op(i) == OP::MINMIN)
            compound(i, false);
        else
            value(i);
        break;
    }
    top_ = mark;
}

// --- values

FUNCTION_COMPILER::REG FUNCTION_COMPILER::value(std::uint32_t i, int hint) {
    switch (op(i)) {
    case OP::ICON:
    case OP::LCON:
    case OP::FCON:
    case OP::SCON: return constant(i, hint);
    case OP::NAME:
    case OP::UMULT:
    case OP::STDOT:
    case OP::STREF: return load_and_count(i, hint);
    case OP::UAND:
    case OP::ARGREF: {
        const std::uint32_t mark = top_;
        count_node(COST_other);
        const LVALUE lv = lvalue(left(i));
        count_node(COST_other);
        top_ = mark;
        return settle(address(lv, hint), mark);
    }
    case OP::PLUS:
    case OP::MINUS:
    case OP::MULT:
    case OP::DIV:
    case OP::MOD:
    case OP::ANDB:
    case OP::ORB:
    case OP::XORB:
    case OP::SLL:
    case OP::SRL: return binary(i, hint);
    case OP::UMINUS:
    case OP::NOTB:
    case OP::ABS:
    case OP::SQR:
    case OP::SQRT:
    case OP::RECIP: return unary(i, hint);
    case OP::EQ:
    case OP::NEQ:
    case OP::LE:
    case OP::LT:
    case OP::GE:
    case OP::GT:
    case OP::ULE:
    case OP::ULT:
    case OP::UGE:
    case OP::UGT: return comparison(i, hint);
    case OP::EXCLAIM:
    case OP::ANDAND:
    case OP::OROR: return truth(i, hint);
    case OP::QUEST: return choice(i, hint, true);
    case OP::SCONV:
    case OP::PCONV:
    case OP::ACONV: return conversion(i, hint);
    case OP::PMCONV:
    case OP::PVCONV: return scaling(i, hint);
    case OP::COMMAOP:
        count_node(COST_other);
        effect(left(i));
        return value(right(i), hint);
    case OP::ASG: return assignment(i, true);
    case OP::STASG:
    case OP::ARASG: return class_assignment(i);
    case OP::PLUSASG:
    case OP::MINUSASG:
    case OP::MULTASG:
    case OP::DIVASG:
    case OP::MODASG:
    case OP::ANDBASG:
    case OP::ORBASG:
    case OP::XORBASG:
    case OP::SLLASG:
    case OP::SRLASG:
    case OP::PLUSPLUS:
    case OP::MINMIN: return compound(i, true);
    case OP::CALL:
    case OP::UCALL: return call(i, true, hint);
    case OP::MEMCPY: return copy_memory(i);
    case OP::DDNODE:
    case OP::EPVAL:
    case OP::STARG:
    case OP::TOIEEE:
    case OP::FRIEEE: return value(left(i), hint);
    case OP::NASSERT:
    case OP::ASSERT: effect(i); return new_register();
    case OP::NOP: return new_register();
    case OP::ICALL:
    case OP::UICALL:
    case OP::MCALL:
    case OP::UMCALL: return intrinsic(i, hint);
    default: return fault("the operator " + if_opcode_name(op(i)) + " cannot be run");
    }
}

FUNCTION_COMPILER::REG FUNCTION_COMPILER::value_as(std::uint32_t i, const RUN_TYPE &to, int hint) {
    const RUN_TYPE &from = type(i);
    const std::uint32_t mark = top_;
    std::uint32_t number = 0;
    if (constant_operand(i, to, number)) {
        count_node(COST_other);
        return emit_constant(number, hint);
    }
    if (!needs_conversion(from, to)) return value(i, hint);
    const REG reg = value(i);
    top_ = mark;
    return convert(reg, from, to, hint);
}

void FUNCTION_COMPILER::value_into(std::uint32_t i, const RUN_TYPE &to, REG reg) {
    const std::uint32_t mark = top_;
    const REG from = value_as(i, to, reg);
    if (from != reg) emit(CODE_MOV, reg, from);
    top_ = mark;
}

bool FUNCTION_COMPILER::needs_conversion(const RUN_TYPE &from, const RUN_TYPE &to) {
    if (!from.is_scalar() || !to.is_scalar()) return false;
    return from.units != to.units ||
           (from.kind == TYPE_KIND::floating) != (to.kind == TYPE_KIND::floating);
}

// Between representations; a bool is what its bits say.
FUNCTION_COMPILER::REG FUNCTION_COMPILER::convert(REG reg, const RUN_TYPE &from, const RUN_TYPE &to,
                                                  int hint) {
    if (!needs_conversion(from, to)) return reg;
    const REG result = destination(hint);
    if (to.kind == TYPE_KIND::floating) {
        if (from.units == 1 && from.is_signed) emit(CODE_EXTEND, result, reg);
        emit(from.is_signed ? CODE_INT_FLOAT : CODE_UNSIGNED_FLOAT, result,
             from.units == 1 && from.is_signed ? result : reg);
    } else if (from.kind == TYPE_KIND::floating) {
        emit(CODE_FLOAT_INT, result, reg);
        if (to.units == 1) emit(CODE_LOW16, result, result);
    } else if (to.units == 1) {
        emit(CODE_LOW16, result, reg);
    } else {
        emit(from.is_signed ? CODE_EXTEND : CODE_MOV, result, reg);
    }
    return result;
}

FUNCTION_COMPILER::REG FUNCTION_COMPILER::conversion(std::uint32_t i, int hint) {
    const RUN_TYPE &from = type(left(i)), &to = type(i);
    const bool changes = needs_conversion(from, to);
    const bool real = from.kind == TYPE_KIND::floating || to.kind == TYPE_KIND::floating;
    const std::uint32_t mark = top_;
    if (to.is_bool && !from.is_bool) {
        count_node(COST_conversion);
        const REG reg = value(left(i));
        top_ = mark;
        const REG result = destination(hint);
        emit(from.kind == TYPE_KIND::floating ? CODE_FNONZERO : CODE_NONZERO, result, reg);
        return result;
    }
    count_node(!changes ? COST_other : real ? COST_float_conversion : COST_conversion);
    if (!from.is_scalar() && to.is_scalar() && from.kind != TYPE_KIND::array &&
        from.kind != TYPE_KIND::function)
        return fault("a conversion from a type that the machine has no values of");
    if (!changes) return value(left(i), hint);
    const REG reg = value(left(i));
    top_ = mark;
    return convert(reg, from, to, hint);
}

bool FUNCTION_COMPILER::constant_operand(std::uint32_t i, const RUN_TYPE &to,
                                         std::uint32_t &number) const {
    const RUN_TYPE &from = type(i);
    if (!from.is_scalar() || !to.is_scalar()) return false;
    switch (op(i)) {
    case OP::ICON: number = static_cast<std::uint32_t>(payload(i)); break;
    case OP::LCON: number = long_constant(model_.text(node(i), IF_NODE::payload)); break;
    case OP::FCON: number = float_constant(model_.text(node(i), IF_NODE::payload)); break;
    default: return false;
    }
    if (from.units == 1) number = low16(number);
    if (needs_conversion(from, to)) {
        RUN_TYPE plain = to;
        plain.is_bool = false;
        number = converted(number, from, plain);
    }
    return true;
}

FUNCTION_COMPILER::REG FUNCTION_COMPILER::constant(std::uint32_t i, int hint) {
    count_node(COST_other);
    std::uint32_t number = 0;
    if (op(i) == OP::SCON)
        number = program_.string_address(model_.text(node(i), IF_NODE::payload));
    else if (!constant_operand(i, type(i), number))
        return fault("a constant of a type that the machine has no values of");
    return emit_constant(number, hint);
}

// --- operators

FUNCTION_COMPILER::REG FUNCTION_COMPILER::apply(int opcode, const RUN_TYPE &t, bool sign, REG x,
                                                REG y, int hint) {
    const REG result = destination(hint);
    CODE code;
    switch (opcode) {
    case OP::SLL:
    case OP::SRL: code = shift_code(opcode, t, sign); break;
    case OP::DIV:
    case OP::MOD:
        code = t.kind == TYPE_KIND::floating ? CODE_FDIV : divide_code(opcode, t, sign);
        break;
    default: code = simple_code(opcode, t); break;
    }
    emit(code, result, x, y);
    return result;
}

FUNCTION_COMPILER::REG FUNCTION_COMPILER::apply_constant(int opcode, const RUN_TYPE &t, bool sign,
                                                         REG x, std::uint32_t y, int hint) {
    switch (opcode) {
    case OP::DIV:
    case OP::MOD: {
        const std::uint32_t mark = top_;
        const REG constant_reg = emit_constant(y, no_hint);
        const REG result = apply(opcode, t, sign, x, constant_reg, hint);
        return settle(result, mark);
    }
    case OP::SLL:
    case OP::SRL: {
        const REG result = destination(hint);
        emit(with_constant(shift_code(opcode, t, sign)), result, x, 0, y);
        return result;
    }
    default: {
        const REG result = destination(hint);
        emit(with_constant(simple_code(opcode, t)), result, x, 0, y);
        return result;
    }
    }
}

FUNCTION_COMPILER::REG FUNCTION_COMPILER::binary(std::uint32_t i, int hint) {
    const std::uint32_t mark = top_, l = left(i), r = right(i);
    const RUN_TYPE &t = type(i);
    const int opcode = op(i);
    const bool is_shift = opcode == OP::SLL || opcode == OP::SRL;
    const bool bits_only = is_shift || opcode == OP::ANDB || opcode == OP::ORB ||
                           opcode == OP::XORB || opcode == OP::MOD;
    if (!t.is_scalar() || !type(l).is_scalar() || !type(r).is_scalar() ||
        (bits_only && t.kind == TYPE_KIND::floating))
        return fault("the operator " + if_opcode_name(opcode) +
                     " on a type that the machine has no values of");
    const bool sign = opcode == OP::SRL ? type(l).is_signed : t.is_signed;
    const RUN_TYPE &right_type = is_shift ? type(r) : t;
    const REG x = kept(value_as(l, t), r);
    std::uint32_t number = 0;
    if (constant_operand(r, right_type, number)) {
        count_node(COST_other);
        count_node(class_of(opcode, t));
        top_ = mark;
        if (opcode == OP::DIV || opcode == OP::MOD)
            top_ = std::max<std::uint32_t>(mark, is_variable(x) ? 0 : x + 1u);
        return settle(apply_constant(opcode, t, sign, x, number, hint), mark);
    }
    const REG y = value_as(r, right_type);
    count_node(class_of(opcode, t));
    top_ = mark;
    return apply(opcode, t, sign, x, y, hint);
}

FUNCTION_COMPILER::REG FUNCTION_COMPILER::unary(std::uint32_t i, int hint) {
    const std::uint32_t mark = top_;
    const RUN_TYPE &t = type(i);
    if (!t.is_scalar() || !type(left(i)).is_scalar() ||
        (op(i) == OP::NOTB && t.kind == TYPE_KIND::floating))
        return fault("the operator " + if_opcode_name(op(i)) +
                     " on a type that the machine has no values of");
    const bool real = t.kind == TYPE_KIND::floating, wide = t.units == 2;
    const REG x = value_as(left(i), t);
    count_node(class_of(op(i), t));
    top_ = mark;
    CODE code;
    switch (op(i)) {
    case OP::UMINUS: code = real ? CODE_FNEG : wide ? CODE_NEG32 : CODE_NEG16; break;
    case OP::NOTB: code = wide ? CODE_NOT32 : CODE_NOT16; break;
    case OP::ABS:
        if (!real && !t.is_signed) return settle(x, mark);
        code = real ? CODE_FABS : wide ? CODE_ABS32 : CODE_ABS16;
        break;
    case OP::SQR:
        if (!real) return apply(OP::MULT, t, false, x, x, hint);
        code = CODE_FSQR;
        break;
    case OP::SQRT: code = CODE_FSQRT; break;
    default: code = CODE_FRECIP; break;
    }
    if (!real && (op(i) == OP::SQRT || op(i) == OP::RECIP))
        return fault("the operator " + if_opcode_name(op(i)) + " on integers");
    const REG result = destination(hint);
    emit(code, result, x);
    return result;
}

FUNCTION_COMPILER::REG FUNCTION_COMPILER::comparison(std::uint32_t i, int hint) {
    const std::uint32_t mark = top_, l = left(i), r = right(i);
    if (!type(l).is_scalar() || !type(r).is_scalar())
        return fault("a comparison of a type that the machine has no values of");
    const RUN_TYPE &t = compared_type(type(l), type(r));
    const CODE code = compare_code(op(i), t);
    const REG x = kept(value_as(l, t), r);
    std::uint32_t number = 0;
    REG result;
    if (constant_operand(r, t, number)) {
        count_node(COST_other);
        top_ = mark;
        result = destination(hint);
        emit(with_constant(code), result, x, 0, number);
    } else {
        const REG y = value_as(r, t);
        top_ = mark;
        result = destination(hint);
        emit(code, result, x, y);
    }
    count_node(t.kind == TYPE_KIND::floating ? COST_floating : COST_compare);
    return result;
}

// ANDAND, OROR and EXCLAIM as values.
FUNCTION_COMPILER::REG FUNCTION_COMPILER::truth(std::uint32_t i, int hint) {
    const std::uint32_t mark = top_;
    if (op(i) == OP::EXCLAIM) {
        const RUN_TYPE &t = type(left(i));
        const REG x = value(left(i));
        count_node(t.kind == TYPE_KIND::floating ? COST_floating : COST_compare);
        top_ = mark;
        const REG result = destination(hint);
        if (t.kind == TYPE_KIND::floating)
            emit(CODE_FEQ_I, result, x, 0, 0);
        else
            emit(CODE_ISZERO, result, x);
        return result;
    }
    const REG result = destination(hint);
    const std::uint32_t when_false = new_label(), end = new_label();
    branch(i, false, when_false);
    emit_constant(1, result);
    jump(CODE_JMP, end);
    bind(when_false);
    emit_constant(0, result);
    bind(end);
    return result;
}

FUNCTION_COMPILER::REG FUNCTION_COMPILER::choice(std::uint32_t i, int hint, bool wanted) {
    count_node(COST_branch);
    std::uint32_t arms = right(i);
    while (op(arms) == OP::EPVAL)
        arms = left(arms);
    if (op(arms) != OP::COLON) return fault("a choice without arms");
    const RUN_TYPE &t = type(i);
    const bool has_value = wanted && t.kind != TYPE_KIND::nothing;
    const REG result = has_value ? destination(hint) : REG{0};
    const std::uint32_t otherwise = new_label(), end = new_label();
    branch(left(i), false, otherwise);
    const auto arm = [&](std::uint32_t n) {
        while (op(n) == OP::EPVAL)
            n = left(n);
        if (has_value)
            value_into(n, t, result);
        else
            effect(n);
    };
    arm(left(arms));
    jump(CODE_JMP, end);
    bind(otherwise);
    arm(right(arms));
    bind(end);
    return result;
}

// PMCONV multiplies by the units that a number of bits takes, PVCONV divides.
FUNCTION_COMPILER::REG FUNCTION_COMPILER::scaling(std::uint32_t i, int hint) {
    const std::uint32_t mark = top_;
    const RUN_TYPE &t = type(i);
    if (!t.is_scalar() || !type(left(i)).is_scalar() || t.kind == TYPE_KIND::floating ||
        op(right(i)) != OP::ICON)
        return fault("scaling by something that is no constant");
    const std::uint32_t units = static_cast<std::uint32_t>(payload(right(i))) / 16;
    const REG x = value_as(left(i), t);
    const bool power = units != 0 && (units & (units - 1)) == 0;
    count_node(COST_other);
    if (op(i) == OP::PVCONV) {
        count_node(power ? COST_arithmetic : COST_divide);
        return settle(apply_constant(OP::DIV, t, t.is_signed, x, units, no_hint), mark);
    }
    count_node(power ? COST_arithmetic : COST_multiply);
    top_ = mark;
    return apply_constant(OP::MULT, t, false, x, units, hint);
}

// --- conditions

// Jumps to the label when the tree's truth is `sense`, else goes on behind.
void FUNCTION_COMPILER::branch(std::uint32_t i, bool sense, std::uint32_t label) {
    const std::uint32_t mark = top_;
    switch (op(i)) {
    case OP::EXCLAIM:
        count_node(COST_compare);
        branch(left(i), !sense, label);
        return;
    case OP::ANDAND:
    case OP::OROR: {
        count_node(COST_branch);
        const bool decides = op(i) == OP::OROR; // the left operand's truth that ends it
        if (decides == sense) {
            branch(left(i), sense, label);
            branch(right(i), sense, label);
        } else {
            const std::uint32_t behind = new_label();
            branch(left(i), decides, behind);
            branch(right(i), sense, label);
            bind(behind);
        }
        return;
    }
    case OP::COMMAOP:
        count_node(COST_other);
        effect(left(i));
        branch(right(i), sense, label);
        return;
    default: break;
    }
    if (is_comparison(op(i)) && comparing_branch(i, sense, label)) return;
    REG reg = value(i);
    if (type(i).kind == TYPE_KIND::floating) {
        top_ = mark;
        const REG truth_reg = new_register();
        emit(CODE_FNONZERO, truth_reg, reg);
        reg = truth_reg;
    }
    top_ = mark;
    jump(sense ? CODE_JNZ : CODE_JZ, label, reg);
}

bool FUNCTION_COMPILER::comparing_branch(std::uint32_t i, bool sense, std::uint32_t label) {
    const std::uint32_t mark = top_, l = left(i), r = right(i);
    if (!type(l).is_scalar() || !type(r).is_scalar()) return false;
    const RUN_TYPE &t = compared_type(type(l), type(r));
    CODE code;
    if (!jump_code(compare_code(op(i), t), sense, code)) return false;
    const REG x = kept(value_as(l, t), r);
    count_node(COST_compare);
    std::uint32_t number = 0;
    if (constant_operand(r, t, number)) {
        count_node(COST_other);
        top_ = mark;
        jump(with_constant(code), label, x, 0, number);
        return true;
    }
    const REG y = value_as(r, t);
    top_ = mark;
    jump(code, label, x, y);
    return true;
}
