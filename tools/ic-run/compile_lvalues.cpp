// Lvalues and assignments.
#include "tools/ic-run/compiler.h"

namespace {
const RUN_TYPE int_type = [] {
    RUN_TYPE t;
    t.kind = TYPE_KIND::integer;
    t.is_signed = true;
    t.units = t.align = 2;
    return t;
}();

// Whether the low bits of the result come from the low bits of the operands alone.
bool is_modular(int op) {
    return op == OP::PLUS || op == OP::MINUS || op == OP::MULT || op == OP::ANDB || op == OP::ORB ||
           op == OP::XORB;
}

std::uint32_t bit_field(unsigned first, unsigned width) {
    return first | width << 8;
}
} // namespace

FUNCTION_COMPILER::LVALUE FUNCTION_COMPILER::lvalue(std::uint32_t i) {
    LVALUE lv;
    switch (op(i)) {
    case OP::NAME: {
        if (const LOCAL *local = local_of(i)) {
            lv.where = local->in_register  ? LVALUE::in_register
                       : local->level == 1 ? LVALUE::argument
                                           : LVALUE::frame;
            lv.reg = local->reg;
            lv.offset = local->offset;
            lv.cheap = local->scalar_only;
        } else {
            const RUN_FILE::SYMBOL &symbol = file_.symbols[static_cast<std::size_t>(payload(i, 1))];
            const bool is_function = symbol.kind == RUN_FILE::SYMBOL::function;
            lv.offset = is_function ? PROGRAM::function_number(symbol.value) : symbol.value;
        }
        break;
    }
    case OP::UMULT: lv = pointed(left(i)); break;
    case OP::STREF:
        lv = pointed(left(i));
        select_member(lv, right(i));
        break;
    case OP::STDOT:
        count_node(COST_other);
        lv = lvalue(left(i));
        select_member(lv, right(i));
        break;
    case OP::DDNODE: return lvalue(left(i));
    case OP::COMMAOP:
        count_node(COST_other);
        effect(left(i));
        return lvalue(right(i));
    default: // the address of a class object that is no lvalue
        lv.where = LVALUE::indirect;
        lv.reg = value(i);
        if (type(i).is_scalar()) fault("an address of something that is no lvalue");
        break;
    }
    lv.type = &type(i);
    return lv;
}

FUNCTION_COMPILER::LVALUE FUNCTION_COMPILER::pointed(std::uint32_t i) {
    switch (op(i)) {
    case OP::UAND: {
        count_node(COST_other);
        const LVALUE lv = lvalue(left(i));
        if (lv.where != LVALUE::in_register && lv.width == 0) return lv;
        fault("the address of a register or a bit-field");
        return LVALUE();
    }
    case OP::PCONV:
        if (type(left(i)).kind != TYPE_KIND::pointer) break;
        count_node(COST_other);
        return pointed(left(i));
    case OP::PLUS: {
        std::uint32_t offset = 0;
        if (type(left(i)).kind != TYPE_KIND::pointer ||
            !constant_operand(right(i), int_type, offset))
            break;
        count_node(COST_arithmetic);
        count_node(COST_other);
        LVALUE lv = pointed(left(i));
        lv.offset += offset;
        return lv;
    }
    default: break;
    }
    LVALUE lv;
    lv.where = LVALUE::indirect;
    lv.reg = value(i);
    return lv;
}

void FUNCTION_COMPILER::select_member(LVALUE &lv, std::uint32_t field) {
    const RUN_TYPE &of = file_.type(payload(field, 2));
    const auto index = static_cast<std::uint64_t>(payload(field, 1));
    if (index == 0 || index > of.members.size()) {
        fault("a member that its class does not have");
        return;
    }
    const RUN_TYPE::MEMBER &member = of.members[index - 1];
    lv.cheap = false;
    if (member.width == 0) {
        lv.offset += member.offset / 16;
        return;
    }
    const unsigned unit_bits = file_.type(member.type).units * 16;
    lv.first = unit_bits ? member.offset % unit_bits : 0;
    lv.width = member.width;
    lv.offset += (member.offset - lv.first) / 16;
    if (unit_bits == 0 || lv.first + lv.width > unit_bits) {
        fault("a bit-field that its type cannot hold");
        lv.width = 0;
    }
}

FUNCTION_COMPILER::LVALUE FUNCTION_COMPILER::safe(LVALUE lv, std::uint32_t next) {
    if (lv.where != LVALUE::indirect || !is_variable(lv.reg) || !stores_within(next)) return lv;
    const REG copy = new_register();
    emit(CODE_MOV, copy, lv.reg);
    lv.reg = copy;
    return lv;
}

FUNCTION_COMPILER::REG FUNCTION_COMPILER::address(const LVALUE &lv, int hint) {
    if (lv.where == LVALUE::indirect && lv.offset == 0) return lv.reg;
    const REG reg = destination(hint);
    switch (lv.where) {
    case LVALUE::frame: emit(CODE_LEAF, reg, 0, 0, lv.offset); break;
    case LVALUE::argument: emit(CODE_LEAA, reg, 0, 0, lv.offset); break;
    case LVALUE::fixed: emit(CODE_LDI, reg, 0, 0, lv.offset & 0xffff); break;
    case LVALUE::indirect: emit(CODE_ADD16_I, reg, lv.reg, 0, lv.offset); break;
    case LVALUE::in_register: return fault("the address of a register");
    }
    return reg;
}

FUNCTION_COMPILER::REG FUNCTION_COMPILER::load(const LVALUE &lv, int hint) {
    if (lv.type->kind == TYPE_KIND::function) return address(lv, hint);
    if (lv.type->kind == TYPE_KIND::record || lv.type->kind == TYPE_KIND::array)
        return address(lv, hint);
    if (!lv.type->is_scalar()) return fault("a value of a type that the machine does not have");
    if (lv.width) return load_bits(lv, hint);
    if (lv.where == LVALUE::in_register) return lv.reg;
    const bool wide = lv.type->units == 2;
    const REG reg = destination(hint);
    switch (lv.where) {
    case LVALUE::frame: emit(wide ? CODE_LDF32 : CODE_LDF16, reg, 0, 0, lv.offset); break;
    case LVALUE::argument: emit(wide ? CODE_LDA32 : CODE_LDA16, reg, 0, 0, lv.offset); break;
    case LVALUE::fixed: emit(wide ? CODE_LDS32 : CODE_LDS16, reg, 0, 0, lv.offset & 0xffff); break;
    default: emit(wide ? CODE_LD32 : CODE_LD16, reg, lv.reg, 0, lv.offset); break;
    }
    return reg;
}

FUNCTION_COMPILER::REG FUNCTION_COMPILER::load_bits(const LVALUE &lv, int hint) {
    LVALUE unit = lv;
    unit.width = 0;
    const REG reg = load(unit, hint);
    const REG bits = is_variable(reg) ? destination(hint) : reg;
    emit(lv.type->is_signed ? CODE_GETS : CODE_GETU, bits, reg,
         static_cast<REG>(bit_field(lv.first, lv.width)));
    if (lv.type->is_signed && lv.type->units == 1) emit(CODE_LOW16, bits, bits);
    return bits;
}

FUNCTION_COMPILER::REG FUNCTION_COMPILER::store(LVALUE lv, REG stored, bool wanted) {
    if (lv.where == LVALUE::in_register) {
        if (lv.reg != stored) emit(CODE_MOV, lv.reg, stored);
        return lv.reg;
    }
    const bool wide = lv.type->units == 2;
    if (lv.width) {
        const REG at = address(lv, no_hint), unit = new_register();
        emit(wide ? CODE_LDU32 : CODE_LDU16, unit, at);
        emit(CODE_SETB, unit, unit, stored, bit_field(lv.first, lv.width));
        emit(wide ? CODE_ST32 : CODE_ST16, unit, at);
        if (!wanted) return stored;
        emit(lv.type->is_signed ? CODE_GETS : CODE_GETU, unit, unit,
             static_cast<REG>(bit_field(lv.first, lv.width)));
        if (lv.type->is_signed && !wide) emit(CODE_LOW16, unit, unit);
        return unit;
    }
    switch (lv.where) {
    case LVALUE::frame: emit(wide ? CODE_STF32 : CODE_STF16, stored, 0, 0, lv.offset); break;
    case LVALUE::argument: emit(wide ? CODE_STA32 : CODE_STA16, stored, 0, 0, lv.offset); break;
    case LVALUE::fixed:
        emit(wide ? CODE_STS32 : CODE_STS16, stored, 0, 0, lv.offset & 0xffff);
        break;
    default: emit(wide ? CODE_ST32 : CODE_ST16, stored, lv.reg, 0, lv.offset); break;
    }
    return stored;
}

FUNCTION_COMPILER::REG FUNCTION_COMPILER::load_and_count(std::uint32_t i, int hint) {
    const std::uint32_t mark = top_;
    const LVALUE lv = lvalue(i);
    count_node(lv.cheap || !lv.type->is_scalar() ? COST_other : COST_load);
    if (lv.width) count(COST_arithmetic);
    top_ = mark;
    return settle(load(lv, hint), mark);
}

FUNCTION_COMPILER::REG FUNCTION_COMPILER::assignment(std::uint32_t i, bool wanted) {
    const std::uint32_t mark = top_, source = right(i);
    const RUN_TYPE &of = type(left(i));
    const LVALUE lv = safe(lvalue(left(i)), source);
    count_node(COST_other); // the target
    if (!lv.type->is_scalar()) return fault("an assignment of a type that the machine lacks");
    if (lv.cheap) {
        const bool copies =
            op(source) == OP::NAME || op(source) == OP::ICON || op(source) == OP::FCON;
        count_node(copies ? COST_move : COST_other);
    } else {
        count_node(COST_store);
        if (lv.width) count(COST_arithmetic);
    }
    if (lv.where == LVALUE::in_register) {
        value_into(source, of, lv.reg);
        top_ = mark;
        return lv.reg;
    }
    return settle(store(lv, value_as(source, of), wanted), mark);
}

// x op= y, and x++ with its old value.
FUNCTION_COMPILER::REG FUNCTION_COMPILER::compound(std::uint32_t i, bool wanted) {
    const std::uint32_t mark = top_, source = right(i);
    const bool postfix = op(i) == OP::PLUSPLUS || op(i) == OP::MINMIN;
    int operation = op_of_opASG[op(i)];
    if (postfix) operation = op(i) == OP::PLUSPLUS ? OP::PLUS : OP::MINUS;
    const LVALUE lv = safe(lvalue(left(i)), source);
    const RUN_TYPE &of = *lv.type;
    count_node(lv.cheap ? COST_other : COST_load);
    if (!of.is_scalar()) return fault("an assignment of a type that the machine lacks");
    if (!lv.cheap) count(COST_store);
    if (lv.width) count(COST_arithmetic, 2);
    const bool is_shift = operation == OP::SLL || operation == OP::SRL;
    const bool narrow = of.kind == TYPE_KIND::integer && of.units == 1;
    const bool in_place =
        !narrow || (is_modular(operation) && type(source).kind != TYPE_KIND::floating);
    const RUN_TYPE &own = in_place ? of : int_type;
    count_node(class_of(operation, own));

    std::uint32_t number = 0;
    const bool is_constant = constant_operand(source, is_shift ? type(source) : own, number);
    REG y = 0;
    if (is_constant)
        count_node(COST_other);
    else
        y = value_as(source, is_shift ? type(source) : own);
    REG x = load(lv, no_hint);
    REG old = x;
    if (postfix && wanted && is_variable(x)) {
        old = new_register();
        emit(CODE_MOV, old, x);
    }
    const bool direct = lv.where == LVALUE::in_register && in_place;
    if (!in_place) x = convert(x, of, own, no_hint);
    REG result =
        is_constant
            ? apply_constant(operation, own, own.is_signed, x, number, direct ? lv.reg : no_hint)
            : apply(operation, own, own.is_signed, x, y, direct ? lv.reg : no_hint);
    if (!in_place) result = convert(result, own, of, no_hint);
    result = store(lv, result, wanted && !postfix);
    return settle(postfix && wanted ? old : result, mark);
}

// Of a class or an array; the value is the target's address.
FUNCTION_COMPILER::REG FUNCTION_COMPILER::class_assignment(std::uint32_t i) {
    const std::uint32_t mark = top_, source = right(i);
    const LVALUE lv = safe(lvalue(left(i)), source);
    const std::uint32_t units = lv.type->units;
    count_node(COST_other); // the target
    count_node(COST_other);
    count(COST_copied, units);
    REG from;
    if (units > MACHINE::memory_units)
        return fault("an assignment of more units than the memory has");
    if (op(source) == OP::SCON && type(source).kind == TYPE_KIND::array) {
        count_node(COST_other);
        std::string text(model_.text(node(source), IF_NODE::payload));
        text.resize(units);
        from = emit_constant(program_.string_address(text), no_hint);
    } else {
        from = value(source);
    }
    const REG to = address(lv, no_hint);
    emit(CODE_COPY, to, from, 0, units);
    return settle(to, mark);
}

FUNCTION_COMPILER::REG FUNCTION_COMPILER::copy_memory(std::uint32_t i) {
    const std::uint32_t mark = top_;
    std::uint32_t parts[3] = {};
    std::uint32_t n = left(i);
    for (int k = 2; k > 0; --k, n = left(n)) {
        if (op(n) != OP::COMMA) return fault("a MEMCPY without three arguments");
        parts[k] = right(n);
    }
    parts[0] = n;
    REG regs[3];
    count_node(COST_other);
    for (int k = 0; k < 3; ++k) {
        regs[k] = value(parts[k]);
        const bool changes =
            (k < 2 && stores_within(parts[2])) || (k < 1 && stores_within(parts[1]));
        if (!is_variable(regs[k]) || !changes) continue;
        const REG copy = new_register();
        emit(CODE_MOV, copy, regs[k]);
        regs[k] = copy;
    }
    std::uint32_t units = 0;
    if (constant_operand(parts[2], int_type, units)) count(COST_copied, units);
    emit(CODE_COPYR, regs[0], regs[1], regs[2]);
    return settle(regs[0], mark);
}
