#include "tests/simp/batch_evaluator.h"

#include "tools/ic-run/arithmetic.h"

#include <algorithm>

// The loops over the lanes are for the compiler to turn into vectors.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) && defined(__OPTIMIZE__) &&    \
    !defined(__SANITIZE_ADDRESS__)
#define FOR_WIDE_VECTORS __attribute__((target_clones("avx2", "default")))
#else
#define FOR_WIDE_VECTORS
#endif

BATCH_CODE::BATCH_CODE(const TREE_CODE &code, std::span<const VARIABLE> variables)
    : code_(code), variables_(variables) {
    for (const VARIABLE &one : variables) {
        at_.push_back(one.values);
        own_.push_back(nullptr);
    }
    trap_ = constant(0);
    root_ = value(0, constant(1));
}

void BATCH_CODE::run(std::span<const VARIABLE> variables) {
    for (std::size_t i = 0; i < variables.size(); ++i)
        at_[i] = variables[i].values;
    for (const STEP &one : steps_)
        run_step(one, own_[one.to], at_[one.a], at_[one.b], at_[one.c]);
}

// --- the lanes of one step

namespace {
std::uint32_t mask_if(bool condition) {
    return 0 - std::uint32_t{condition};
}

// A double divides integers of 32 bits exactly enough, and in vectors. The one quotient that does
// not fit wraps; that by zero is never looked at.
std::uint32_t quotient(std::uint32_t a, std::uint32_t b) {
    const std::uint32_t wraps = mask_if(b == 0xffffffff), by = b == 0 || wraps ? 1 : b;
    const double real = static_cast<double>(as_signed(a)) / static_cast<double>(as_signed(by));
    return (static_cast<std::uint32_t>(static_cast<std::int32_t>(real)) ^ wraps) - wraps;
}
} // namespace

FOR_WIDE_VECTORS void BATCH_CODE::run_step(const STEP &step, std::uint32_t *__restrict to,
                                           const std::uint32_t *__restrict a,
                                           const std::uint32_t *__restrict b,
                                           const std::uint32_t *__restrict c) {
#define EACH_LANE(expr)                                                                            \
    for (unsigned i = 0; i < lanes; ++i)                                                           \
        to[i] = (expr);                                                                            \
    break
    switch (step.kind) {
    case extend: EACH_LANE(extended16(a[i]));
    case cut: EACH_LANE(low16(a[i]));
    case negate: EACH_LANE(0 - a[i]);
    case invert: EACH_LANE(~a[i]);
    case absolute: EACH_LANE(as_signed(a[i]) < 0 ? 0 - a[i] : a[i]);
    case is_zero: EACH_LANE(a[i] == 0);
    case is_not_zero: EACH_LANE(a[i] != 0);
    case add: EACH_LANE(a[i] + b[i]);
    case subtract: EACH_LANE(a[i] - b[i]);
    case multiply: EACH_LANE(a[i] * b[i]);
    case bit_and: EACH_LANE(a[i] & b[i]);
    case bit_or: EACH_LANE(a[i] | b[i]);
    case bit_xor: EACH_LANE(a[i] ^ b[i]);
    case left32: EACH_LANE(a[i] << (b[i] & 31) & mask_if(b[i] < 32));
    case left16: EACH_LANE(a[i] << (b[i] & 31) & mask_if(b[i] < 16));
    case right32: EACH_LANE(a[i] >> (b[i] & 31) & mask_if(b[i] < 32));
    case right16: EACH_LANE(a[i] >> (b[i] & 31) & mask_if(b[i] < 16));
    case signed_right32:
        EACH_LANE(static_cast<std::uint32_t>(as_signed(a[i]) >> (b[i] < 32 ? b[i] : 31)));
    case signed_right16:
        EACH_LANE(static_cast<std::uint32_t>(as_signed(a[i]) >> (b[i] < 16 ? b[i] : 31)));
    case divide: EACH_LANE(a[i] / (b[i] ? b[i] : 1));
    case modulo: EACH_LANE(a[i] % (b[i] ? b[i] : 1));
    case divide_sign: EACH_LANE(quotient(a[i], b[i]));
    case modulo_sign: EACH_LANE(a[i] - quotient(a[i], b[i]) * b[i]);
    case equal: EACH_LANE(a[i] == b[i]);
    case not_equal: EACH_LANE(a[i] != b[i]);
    case less: EACH_LANE(a[i] < b[i]);
    case less_or_equal: EACH_LANE(a[i] <= b[i]);
    case less_sign: EACH_LANE(as_signed(a[i]) < as_signed(b[i]));
    case less_or_equal_sign: EACH_LANE(as_signed(a[i]) <= as_signed(b[i]));
    case choose: EACH_LANE(c[i] ? a[i] : b[i]);
    case trap_if_zero: EACH_LANE(a[i] | ((b[i] == 0) & (c[i] != 0)));
    case intrinsic: EACH_LANE(step.apply(a[i], b[i]));
    }
#undef EACH_LANE
}

// --- making the steps; by the same rules as EVALUATOR

BATCH_CODE::REGISTER BATCH_CODE::new_register() {
    memory_.push_back(std::make_unique_for_overwrite<std::uint32_t[]>(lanes));
    own_.push_back(memory_.back().get());
    at_.push_back(memory_.back().get());
    return static_cast<REGISTER>(at_.size() - 1);
}

BATCH_CODE::REGISTER BATCH_CODE::constant(std::uint32_t value) {
    const REGISTER to = new_register();
    std::fill_n(own_[to], lanes, value);
    return to;
}

BATCH_CODE::REGISTER BATCH_CODE::step(KIND kind, REGISTER a, REGISTER b, REGISTER c) {
    const REGISTER to = new_register();
    steps_.push_back({kind, to, a, b, c, nullptr});
    return to;
}

BATCH_CODE::REGISTER BATCH_CODE::unknown() {
    known_ = false;
    return trap_;
}

BATCH_CODE::REGISTER BATCH_CODE::value(std::int32_t i, REGISTER active) {
    const CELL &c = cell(i);
    if (!known_ || (c.type.kind != VALUE_TYPE::integer && c.op != OP::COLON)) return unknown();
    switch (c.op) {
    case OP::ICON: return constant(c.number);
    case OP::NAME:
        for (std::size_t n = 0; n < variables_.size() && !c.is_volatile; ++n)
            if (variables_[n].address == c.number) return static_cast<REGISTER>(n);
        return unknown();
    case OP::PLUS:
    case OP::MINUS:
    case OP::MULT:
    case OP::DIV:
    case OP::MOD:
    case OP::ANDB:
    case OP::ORB:
    case OP::XORB:
    case OP::SLL:
    case OP::SRL: return binary(c, active);
    case OP::UMINUS:
    case OP::NOTB:
    case OP::ABS:
    case OP::SQR: return unary(c, active);
    case OP::EXCLAIM: return step(is_zero, value(c.left, active));
    case OP::ANDAND: {
        const REGISTER first = truth(c.left, active);
        const REGISTER second = truth(c.right, step(bit_and, first, active));
        return step(bit_and, first, second);
    }
    case OP::OROR: {
        const REGISTER first = truth(c.left, active);
        const REGISTER second = truth(c.right, step(bit_and, step(is_zero, first), active));
        return step(bit_or, first, second);
    }
    case OP::QUEST: {
        const CELL &arms = cell(c.right);
        const REGISTER which = truth(c.left, active);
        const REGISTER first = value_as(arms.left, c.type, step(bit_and, which, active));
        const REGISTER second =
            value_as(arms.right, c.type, step(bit_and, step(is_zero, which), active));
        return step(choose, first, second, which);
    }
    case OP::SCONV:
    case OP::PCONV: return converted(value(c.left, active), cell(c.left).type, c.type);
    case OP::COMMAOP: value(c.left, active); return value(c.right, active);
    case OP::ICALL: return call(c, active);
    default: return c.op >= OP::EQ && c.op <= OP::UGT ? comparison(c, active) : unknown();
    }
}

BATCH_CODE::REGISTER BATCH_CODE::converted(REGISTER v, const VALUE_TYPE &from,
                                           const VALUE_TYPE &to) {
    if (to.is_bool && !from.is_bool) return step(is_not_zero, v);
    if (from.units == to.units) return v;
    if (to.units == 1) return step(cut, v);
    return from.is_signed ? step(extend, v) : v;
}

BATCH_CODE::REGISTER BATCH_CODE::value_as(std::int32_t i, const VALUE_TYPE &type, REGISTER active) {
    VALUE_TYPE plain = type;
    plain.is_bool = false;
    return converted(value(i, active), cell(i).type, plain);
}

BATCH_CODE::REGISTER BATCH_CODE::truth(std::int32_t i, REGISTER active) {
    return step(is_not_zero, value(i, active));
}

BATCH_CODE::REGISTER BATCH_CODE::arithmetic(int op, const VALUE_TYPE &type, bool sign, REGISTER x,
                                            REGISTER y, REGISTER active) {
    const bool narrow = type.units == 1, divides = op == OP::DIV || op == OP::MOD;
    if (narrow && sign && (divides || op == OP::SRL)) x = step(extend, x);
    if (narrow && sign && divides) y = step(extend, y);
    if (divides) trap_ = step(trap_if_zero, trap_, y, active);
    const auto cut_to_type = [&](REGISTER v) { return narrow ? step(cut, v) : v; };
    switch (op) {
    case OP::PLUS: return cut_to_type(step(add, x, y));
    case OP::MINUS: return cut_to_type(step(subtract, x, y));
    case OP::MULT: return cut_to_type(step(multiply, x, y));
    case OP::ANDB: return step(bit_and, x, y);
    case OP::ORB: return step(bit_or, x, y);
    case OP::XORB: return step(bit_xor, x, y);
    case OP::SLL: return cut_to_type(step(narrow ? left16 : left32, x, y));
    case OP::SRL:
        return cut_to_type(sign ? step(narrow ? signed_right16 : signed_right32, x, y)
                                : step(narrow ? right16 : right32, x, y));
    case OP::DIV: return cut_to_type(step(sign || narrow ? divide_sign : divide, x, y));
    default: return cut_to_type(step(sign || narrow ? modulo_sign : modulo, x, y));
    }
}

BATCH_CODE::REGISTER BATCH_CODE::binary(const CELL &c, REGISTER active) {
    const bool is_shift = c.op == OP::SLL || c.op == OP::SRL;
    const REGISTER x = value_as(c.left, c.type, active);
    const REGISTER y = is_shift ? value(c.right, active) : value_as(c.right, c.type, active);
    const bool sign = c.op == OP::SRL ? cell(c.left).type.is_signed : c.type.is_signed;
    return arithmetic(c.op, c.type, sign, x, y, active);
}

BATCH_CODE::REGISTER BATCH_CODE::unary(const CELL &c, REGISTER active) {
    const REGISTER x = value_as(c.left, c.type, active);
    const bool narrow = c.type.units == 1;
    if (c.op == OP::SQR) return arithmetic(OP::MULT, c.type, false, x, x, active);
    if (c.op == OP::ABS && !c.type.is_signed) return x;
    const REGISTER wide = c.op == OP::ABS && narrow ? step(extend, x) : x;
    const REGISTER v = step(c.op == OP::UMINUS ? negate
                            : c.op == OP::NOTB ? invert
                                               : absolute,
                            wide);
    return narrow ? step(cut, v) : v;
}

BATCH_CODE::REGISTER BATCH_CODE::comparison(const CELL &c, REGISTER active) {
    const VALUE_TYPE &a = cell(c.left).type, &b = cell(c.right).type;
    const VALUE_TYPE type = b.units > a.units ? b : a;
    REGISTER x = value_as(c.left, type, active), y = value_as(c.right, type, active);
    const bool sign = c.op >= OP::LE && c.op <= OP::GT;
    if (sign && type.units == 1) {
        x = step(extend, x);
        y = step(extend, y);
    }
    switch (c.op) {
    case OP::EQ: return step(equal, x, y);
    case OP::NEQ: return step(not_equal, x, y);
    case OP::LE:
    case OP::ULE: return step(sign ? less_or_equal_sign : less_or_equal, x, y);
    case OP::LT:
    case OP::ULT: return step(sign ? less_sign : less, x, y);
    case OP::GE:
    case OP::UGE: return step(sign ? less_or_equal_sign : less_or_equal, y, x);
    default: return step(sign ? less_sign : less, y, x);
    }
}

BATCH_CODE::REGISTER BATCH_CODE::call(const CELL &c, REGISTER active) {
    const CELL &list = cell(c.left);
    const MACHINE_INTRINSIC *row = find_machine_intrinsic(c.node);
    if (!row || list.op != OP::COMMA || row->type.kind != VALUE_TYPE::integer) return unknown();
    const REGISTER x = value_as(list.left, row->type, active),
                   y = value_as(list.right, row->type, active);
    const REGISTER to = step(intrinsic, x, y);
    steps_.back().apply = row->apply;
    return converted(to, row->type, c.type);
}
