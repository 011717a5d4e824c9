// Runs a tree as docs/icode.md says that trees run: variables lie in a small memory, calls and
// volatile reads leave a trace. Uses none of the optimizer's arithmetic.
#pragma once

#include "OPT5/rep/bbutils.h"
#include "OPT5/rep/symbol.h"
#include "OPT5/simulfp/simul_fval.h"
#include "tools/ic-run/arithmetic.h"

#include <array>
#include <map>
#include <string>
#include <vector>

class TREE_MACHINE {
public:
    using WORD = std::uint32_t; // a value of 16 bits stands zero-extended, a float as its bits

    bool trapped = false; // a division by zero, or an operator that is not known: nothing counts
    std::string trace;
    std::array<std::uint16_t, 1024> memory{};

    // Objects lie in the order in which they are first asked for; both machines must ask alike.
    WORD address_of(const SYMTAB *sym) {
        const auto [at, is_new] = addresses.try_emplace(sym, next);
        if (is_new) next += 2 * ((sym->type->size() + 31) / 32);
        return at->second;
    }
    void set(const SYMTAB *sym, WORD value) { store({address_of(sym), sym->type, 0, 0}, value); }

    WORD value(const NODE *n) {
        switch (n->op) {
        case OP::ICON: return cut(n->u.lval.lo, n->type);
        case OP::FCON:
            return float_bits(static_cast<float>(std::bit_cast<double>(n->u.fcon.value->bits)));
        case OP::NAME:
        case OP::UMULT:
        case OP::STDOT:
        case OP::STREF:
            if (node_is_volatile_access(n)) trace += "read ";
            return load(place_of(n));
        case OP::UAND: return place_of(n->left).address;
        case OP::COMMAOP: value(n->left); return value(n->right);
        case OP::QUEST: return as(is_true(n->left) ? n->right->left : n->right->right, n->type);
        case OP::ANDAND: return is_true(n->left) && is_true(n->right);
        case OP::OROR: return is_true(n->left) || is_true(n->right);
        case OP::EXCLAIM: return !is_true(n->left);
        case OP::ASG: {
            const PLACE to = place_of(n->left);
            store(to, as(n->right, n->left->type));
            return load(to);
        }
        case OP::PLUSPLUS:
        case OP::MINMIN: {
            const PLACE to = place_of(n->left);
            const WORD step = as(n->right, to.type), old = load(to);
            store(to, binary(n->op == OP::PLUSPLUS ? OP::PLUS : OP::MINUS, to.type, to.type, old,
                             step));
            return old;
        }
        case OP::CALL:
        case OP::UCALL: return call(n);
        case OP::ICALL: return intrinsic(n);
        case OP::SCONV:
        case OP::PCONV:
            if (n->type->is_bool() && !n->left->type->is_bool()) return is_true(n->left);
            return as(n->left, n->type);
        case OP::UMINUS: return unary(n->op, n->type, as(n->left, n->type));
        case OP::NOTB:
        case OP::ABS:
        case OP::SQR:
        case OP::SQRT: return unary(n->op, n->type, as(n->left, n->type));
        case OP::PMCONV:
        case OP::PVCONV: {
            const WORD x = as(n->left, n->type), units = n->right->u.lval.lo / 16;
            return binary(n->op == OP::PMCONV ? OP::MULT : OP::DIV, n->type, n->type, x, units);
        }
        default: break;
        }
        if (n->op >= OP::EQ && n->op <= OP::UGT) return compare(n);
        if (op_of_opASG[n->op] != OP::ILLOP) return compound(n);
        if (!n->left || !n->right) {
            trapped = true;
            return 0;
        }
        const bool shift = n->op == OP::SLL || n->op == OP::SRL;
        const WORD x = as(n->left, n->type);
        const WORD y = as(n->right, shift ? n->right->type : n->type);
        return binary(n->op, n->type, n->op == OP::SRL ? n->left->type : n->type, x, y);
    }

private:
    struct PLACE {
        WORD address;
        const TYPE *type;
        unsigned first, width; // of a bit-field
    };
    std::map<const SYMTAB *, WORD> addresses; // looked up, never walked
    WORD next = 16, calls = 0;

    static bool is_wide(const TYPE *type) { return type->size() == 32; }
    static bool is_real(const TYPE *type) { return type->is_floating(); }
    static WORD cut(WORD v, const TYPE *type) { return is_wide(type) ? v : low16(v); }
    // As 32 bits by the sign of the type.
    static WORD extended(WORD v, const TYPE *type) {
        return !is_wide(type) && type->is_int_or_enum() && type->is_signed() ? extended16(v) : v;
    }

    bool is_true(const NODE *n) {
        const WORD v = value(n);
        return is_real(n->type) ? as_float(v) != 0 : v != 0;
    }
    WORD as(const NODE *n, const TYPE *to) { return convert(value(n), n->type, to); }
    static WORD convert(WORD v, const TYPE *from, const TYPE *to) {
        if (is_real(from) && is_real(to)) return v;
        if (is_real(from)) return cut(float_to_integer(as_float(v)), to);
        const WORD wide = extended(v, from);
        if (!is_real(to)) return cut(wide, to);
        return float_bits(from->is_signed() ? static_cast<float>(as_signed(wide))
                                            : static_cast<float>(wide));
    }

    PLACE place_of(const NODE *n) {
        switch (n->op) {
        case OP::NAME: return {address_of(n->u.name.sym), n->type, 0, 0};
        case OP::UMULT: return {value(n->left), n->type, 0, 0};
        case OP::STDOT:
        case OP::STREF: {
            const WORD object = n->op == OP::STDOT ? place_of(n->left).address : value(n->left);
            const fkMDATA *m = n->right->u.field.mdata;
            const WORD at = static_cast<WORD>(m->offset);
            const WORD unit =
                m->is_bitfield ? at / m->type->size() * (m->type->size() / 16) : at / 16;
            return {low16(object + unit), n->type, m->is_bitfield ? at % m->type->size() : 0,
                    m->is_bitfield ? m->width : 0};
        }
        case OP::COMMAOP: value(n->left); return place_of(n->right);
        default: trapped = true; return {0, n->type, 0, 0};
        }
    }
    std::uint16_t &unit(WORD address) { return memory[address % memory.size()]; }
    WORD load(const PLACE &from) {
        WORD v = unit(from.address);
        if (is_wide(from.type)) v |= WORD{unit(from.address + 1)} << 16;
        if (from.width)
            v = cut(field_of(v, from.first, from.width, from.type->is_signed()), from.type);
        return v;
    }
    void store(PLACE to, WORD v) {
        if (to.width) {
            const unsigned first = to.first, width = to.width;
            to.width = 0;
            v = with_field(load(to), v, first, width);
        }
        unit(to.address) = static_cast<std::uint16_t>(v);
        if (is_wide(to.type)) unit(to.address + 1) = static_cast<std::uint16_t>(v >> 16);
    }

    WORD call(const NODE *n) {
        const SYMTAB *callee = get_callee_for_call(n);
        std::string text = callee ? callee->name : "?";
        NODE *args = get_arguments_to_call(n);
        for (int k = 0; k < arg_list_count(args); ++k)
            text += " " + std::to_string(value(arg_list_lookup(args, k)));
        trace += text + "; ";
        return cut((++calls * 2654435761u) >> 3, n->type);
    }

    // The least and greatest values, and saturated arithmetic.
    WORD intrinsic(const NODE *n) {
        const std::string text = n->icall_name();
        if (n->left->op != OP::COMMA) {
            trapped = true;
            return 0;
        }
        const NODE *a = n->left->left, *b = n->left->right;
        if (is_real(n->type)) {
            const WORD x = as(a, n->type), y = as(b, n->type);
            const bool first = text.find("MIN") != std::string::npos ? as_float(x) < as_float(y)
                                                                     : as_float(x) > as_float(y);
            return first ? x : y;
        }
        const WORD x = extended(value(a), a->type), y = extended(value(b), b->type);
        const std::int64_t left = as_signed(x), right = as_signed(y);
        const bool less = text.back() == 'U' ? x < y : left < right;
        if (text.find("MIN") != std::string::npos) return cut(less ? x : y, n->type);
        if (text.find("MAX") != std::string::npos) return cut(less ? y : x, n->type);
        if (text == "_ssub") return saturated(left - right);
        if (text == "_ssub2") return subtract_halves(x, y);
        if (text == "_sshl") return saturated(left * (std::int64_t{1} << (y & 31)));
        trapped = true;
        return 0;
    }

    WORD unary(int op, const TYPE *t, WORD x) {
        if (is_real(t)) {
            const float f = as_float(x);
            return op == OP::UMINUS ? x ^ 0x80000000
                   : op == OP::ABS  ? x & 0x7fffffff
                   : op == OP::SQR  ? float_bits(f * f)
                                    : float_bits(std::sqrt(f));
        }
        const WORD wide = extended(x, t);
        const bool negative = t->is_signed() && as_signed(wide) < 0;
        switch (op) {
        case OP::UMINUS: return cut(0 - x, t);
        case OP::NOTB: return cut(~x, t);
        case OP::ABS: return cut(negative ? 0 - wide : wide, t);
        default: return cut(x * x, t);
        }
    }

    WORD binary(int op, const TYPE *t, const TYPE *sign, WORD x, WORD y) {
        if (is_real(t)) {
            const float a = as_float(x), b = as_float(y);
            return float_bits(op == OP::PLUS    ? a + b
                              : op == OP::MINUS ? a - b
                              : op == OP::MULT  ? a * b
                                                : a / b);
        }
        const unsigned width = t->size();
        switch (op) {
        case OP::PLUS: return cut(x + y, t);
        case OP::MINUS: return cut(x - y, t);
        case OP::MULT: return cut(x * y, t);
        case OP::ANDB: return x & y;
        case OP::ORB: return x | y;
        case OP::XORB: return x ^ y;
        case OP::SLL: return cut(shift_left(x, y, width), t);
        case OP::SRL:
            if (!sign->is_signed()) return shift_right(x, y, width);
            return cut(shift_right_signed(is_wide(t) ? x : extended16(x), y, width), t);
        default: break;
        }
        if (y == 0) {
            trapped = true;
            return 0;
        }
        const WORD a = extended(x, t), b = extended(y, t);
        if (op == OP::DIV) return cut(t->is_signed() ? divide_signed(a, b) : a / b, t);
        return cut(t->is_signed() ? modulo_signed(a, b) : a % b, t);
    }

    // Works in the promoted type of the target.
    WORD compound(const NODE *n) {
        const PLACE to = place_of(n->left);
        const int op = op_of_opASG[n->op];
        const bool shift = op == OP::SLL || op == OP::SRL;
        const TYPE *own =
            to.type->is_ptr() ? to.type : promoted_type(const_cast<TYPE *>(to.type->stds()));
        const WORD y = as(n->right, shift ? n->right->type : own);
        const WORD x = convert(load(to), to.type, own);
        store(to, convert(binary(op, own, own, x, y), own, to.type));
        return load(to);
    }

    WORD compare(const NODE *n) {
        const TYPE *a = n->left->type, *b = n->right->type;
        const TYPE *t = is_real(a) ? a : is_real(b) ? b : b->size() > a->size() ? b : a;
        const WORD x = as(n->left, t), y = as(n->right, t);
        if (is_real(t)) return ordered(n->op, as_float(x), as_float(y));
        if (n->op <= OP::NEQ || n->op >= OP::ULE) return ordered(n->op, x, y);
        return is_wide(t) ? ordered(n->op, as_signed(x), as_signed(y))
                          : ordered(n->op, as_signed(extended16(x)), as_signed(extended16(y)));
    }
    template <class T> static bool ordered(int op, T a, T b) {
        switch (op) {
        case OP::EQ: return a == b;
        case OP::NEQ: return a != b;
        case OP::LE:
        case OP::ULE: return a <= b;
        case OP::LT:
        case OP::ULT: return a < b;
        case OP::GE:
        case OP::UGE: return a >= b;
        default: return a > b;
        }
    }
};
