#include "tests/simp/tree_evaluator.h"

#include "OPT5/simulfp/simul_fval.h"
#include "tools/ic-run/arithmetic.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace {
constexpr bool is_comparison(int op) {
    return op >= OP::EQ && op <= OP::UGT;
}

const VALUE_TYPE int_type{VALUE_TYPE::integer, true, 2};

std::uint32_t cut(std::uint32_t value, const VALUE_TYPE &type) {
    return type.units == 1 ? low16(value) : value;
}

bool is_zero(std::uint32_t value, const VALUE_TYPE &type) {
    return type.kind == VALUE_TYPE::floating ? as_float(value) == 0 : value == 0;
}

// What two compared operands are taken as.
const VALUE_TYPE &compared_type(const VALUE_TYPE &a, const VALUE_TYPE &b) {
    if (a.kind == VALUE_TYPE::floating) return a;
    if (b.kind == VALUE_TYPE::floating) return b;
    return b.units > a.units ? b : a;
}

// Which of the floats that are no numbers it is makes no difference.
std::uint32_t canonical(std::uint32_t value, const VALUE_TYPE &type) {
    const bool is_nan = type.kind == VALUE_TYPE::floating && as_float(value) != as_float(value);
    return is_nan ? float_bits(std::numeric_limits<float>::quiet_NaN()) : value;
}

template <class T> bool compare(int op, T x, T y) {
    switch (op) {
    case OP::EQ: return x == y;
    case OP::NEQ: return x != y;
    case OP::LE:
    case OP::ULE: return x <= y;
    case OP::LT:
    case OP::ULT: return x < y;
    case OP::GE:
    case OP::UGE: return x >= y;
    default: return x > y;
    }
}

bool compare_values(int op, std::uint32_t x, std::uint32_t y, const VALUE_TYPE &type) {
    if (type.kind == VALUE_TYPE::floating) return compare(op, as_float(x), as_float(y));
    const bool sign = op >= OP::LE && op <= OP::GT;
    if (!sign) return compare(op, x, y);
    if (type.units == 1) x = extended16(x), y = extended16(y);
    return compare(op, as_signed(x), as_signed(y));
}
} // namespace

VALUE_TYPE::VALUE_TYPE(const TYPE *type) {
    const TYPE *plain = type->stds();
    while (plain->is_enum())
        plain = plain->underlying_type()->stds();
    if (plain->is_floating())
        kind = floating;
    else if (plain->is_integer() || plain->is_ptr())
        kind = integer;
    else if (plain->is_csu() || plain->is_array())
        kind = record;
    is_signed = plain->is_signed() || plain->is_wchar_t(); // which is normalized to a signed type
    is_bool = plain->is_bool();
    units = plain->is_func() || kind == nothing ? 0 : plain->size() / 16;
}

std::uint32_t converted_value(std::uint32_t value, const VALUE_TYPE &from, const VALUE_TYPE &to) {
    if (to.is_bool && !from.is_bool) return !is_zero(value, from);
    if (from.kind == VALUE_TYPE::floating)
        return to.kind == VALUE_TYPE::floating ? value : cut(float_to_integer(as_float(value)), to);
    if (from.units == 1 && from.is_signed) value = extended16(value);
    if (to.kind == VALUE_TYPE::floating)
        return float_bits(from.is_signed ? static_cast<float>(as_signed(value))
                                         : static_cast<float>(value));
    return cut(value, to);
}

bool same_value(std::uint32_t a, std::uint32_t b, const VALUE_TYPE &type) {
    return canonical(a, type) == canonical(b, type);
}

// --- making ready

TREE_CODE::TREE_CODE(const NODE *tree, WORLD &world) : world_(world) {
    cells.reserve(32);
    add(tree);
}

void TREE_CODE::complain(const NODE *tree, const char *what) {
    if (problem.empty()) problem = std::string(what) + ": " + node_operator_name[tree->op];
}

std::int32_t TREE_CODE::add(const NODE *tree) {
    const auto at = cells.size();
    CELL cell;
    cell.op = tree->op;
    cell.node = tree;
    cell.type = VALUE_TYPE(tree->type);
    fill(cell, tree);
    cells.push_back(cell);
    if (tree->left) {
        const std::int32_t left = add(tree->left);
        cells[at].left = left;
    }
    if (tree->right) {
        const std::int32_t right = add(tree->right);
        cells[at].right = right;
    }
    return static_cast<std::int32_t>(at);
}

void TREE_CODE::fill(CELL &cell, const NODE *tree) {
    cell.is_volatile = tree->type->is_volatile();
    switch (tree->op) {
    case OP::ICON:
        cell.number = cut(tree->u.lval.u32(), cell.type);
        constants.push_back(cell.number);
        break;
    case OP::FCON:
        cell.number =
            float_bits(static_cast<float>(std::bit_cast<double>(tree->u.fcon.value->bits)));
        constants.push_back(cell.number);
        break;
    case OP::NAME:
        cell.number = world_.address_of(tree->u.name.sym);
        cell.is_volatile = cell.is_volatile || tree->u.name.sym->type->is_volatile();
        break;
    case OP::FIELD: {
        const fkMDATA &member = *tree->u.field.mdata;
        const auto offset = static_cast<unsigned>(member.offset);
        const unsigned unit = member.type->size();
        if (member.width) cell.first = static_cast<std::uint8_t>(offset % unit);
        cell.width = static_cast<std::uint8_t>(member.width);
        cell.number = (offset - cell.first) / 16;
        cell.type = VALUE_TYPE(member.type);
        cell.is_volatile = cell.is_volatile || member.type->is_volatile();
        break;
    }
    case OP::LABEL: cell.number = tree->label_id(); break;
    case OP::PMCONV:
    case OP::PVCONV:
        if (tree->right->op != OP::ICON) complain(tree, "scaled by something that varies");
        break;
    case OP::CALL:
    case OP::UCALL: {
        const SYMTAB *callee = get_callee_for_call(tree);
        for (const WORLD::FUNCTION &function : world_.functions)
            if (function.symbol == callee) cell.function = &function;
        if (!cell.function) complain(tree, "unknown callee");
        break;
    }
    case OP::CSE_DUPE:
    case OP::CSE_ORIG:
    case OP::ILLOP: complain(tree, "no operator of a tree"); break;
    default: break;
    }
}

// --- the environment

void ENVIRONMENT::begin(std::uint64_t seed, const std::vector<std::uint32_t> &constants) {
    seed_ = seed;
    constants_ = constants;
    CHANCE chance(seed);
    const std::uint64_t common = CHANCE::mixed(seed + 1);
    for (const WORLD::SLOT &slot : world_.slots) {
        CHANCE own(seed < special_environments ? common : chance.next());
        const VALUE_TYPE type(slot.type);
        std::uint32_t value = 0;
        if (slot.type->is_ptr() && own.percent(90)) { // an object of the world
            const TYPE *to = slot.type->type_pointed_to();
            std::vector<std::uint32_t> targets = {0};
            for (const SYMTAB *sym : world_.structs)
                if (to->is_csu()) targets.push_back(const_cast<WORLD &>(world_).address_of(sym));
            for (const WORLD::SLOT &target : world_.slots)
                if (target.reachable && !target.width && target.type->stds() == to->stds())
                    targets.push_back(target.address);
            value = own.one_of(targets);
        } else {
            value = sample(type, slot.width ? slot.width : type.units * 16, own);
        }
        if (slot.width) {
            const std::uint32_t unit =
                memory_[slot.address] | (type.units == 2 ? memory_[slot.address + 1u] << 16 : 0u);
            value = with_field(unit, value, slot.first, slot.width);
        }
        memory_[slot.address] = static_cast<std::uint16_t>(value);
        if (type.units == 2) memory_[slot.address + 1u] = static_cast<std::uint16_t>(value >> 16);
    }
    restart();
}

void ENVIRONMENT::restart() {
    ++now_;
    outside_count_ = 0;
    effects.clear();
    trapped = false;
}

void ENVIRONMENT::set(std::uint32_t address, std::uint32_t value, unsigned units) {
    memory_[address] = static_cast<std::uint16_t>(value);
    if (units == 2) memory_[address + 1u] = static_cast<std::uint16_t>(value >> 16);
}

std::uint32_t ENVIRONMENT::sample(const VALUE_TYPE &type, unsigned bits, CHANCE &chance) const {
    static constexpr float reals[] = {0.0f,   -0.0f,    1.0f,     -1.0f,        0.5f,
                                      2.0f,   3.0f,     0.1f,     1e30f,        -1e30f,
                                      1e-40f, 32768.0f, 65535.5f, 2147483648.0f};
    if (type.is_bool) return chance.below(2);
    if (type.kind == VALUE_TYPE::floating) {
        const unsigned kind = chance.below(20);
        if (kind == 0) return float_bits(std::numeric_limits<float>::infinity());
        if (kind == 1) return float_bits(std::numeric_limits<float>::quiet_NaN());
        if (kind < 4 && !constants_.empty()) return chance.one_of(constants_);
        if (kind < 10) return float_bits(chance.one_of(reals));
        if (kind < 15) return float_bits(static_cast<float>(as_signed(chance.word()) >> 24) / 4);
        return chance.word();
    }
    const unsigned kind = chance.below(10);
    std::uint32_t value = chance.word();
    if (kind < 4 && !constants_.empty()) {
        value = chance.one_of(constants_);
        switch (chance.below(8)) {
        case 0: ++value; break;
        case 1: --value; break;
        case 2: value = ~value; break;
        case 3: value = 0 - value; break;
        case 4: value *= chance.below(9); break;
        case 5: value <<= chance.below(16); break;
        default: break;
        }
    } else if (kind < 7) {
        value = 1u << chance.below(bits ? bits : 1);
        value -= chance.below(3);
        if (chance.percent(40)) value = 0 - value;
    } else if (kind < 8) {
        value = chance.below(7) - 3;
    }
    return cut(value, type);
}

std::uint16_t ENVIRONMENT::unit(std::uint32_t address) const {
    address = WORLD::place(address);
    if (changes_[address].when == now_) return changes_[address].value;
    if (world_.is_variable(address)) return memory_[address];
    return static_cast<std::uint16_t>(CHANCE::mixed(seed_ * WORLD::end_of_places + address));
}

std::uint32_t ENVIRONMENT::load(std::uint32_t address, unsigned units) const {
    return units == 1 ? unit(address)
                      : unit(address) | static_cast<std::uint32_t>(unit(address + 1)) << 16;
}

void ENVIRONMENT::store(std::uint32_t address, std::uint32_t value, unsigned units) {
    for (unsigned i = 0; i < units; ++i, ++address, value >>= 16)
        changes_[WORLD::place(address)] = {static_cast<std::uint16_t>(value), now_};
}

std::uint32_t ENVIRONMENT::outside_value(const VALUE_TYPE &type) {
    CHANCE chance(CHANCE::mixed(seed_ ^ 0xabcdef) + ++outside_count_);
    return sample(type, type.units * 16, chance);
}

void ENVIRONMENT::change_memory() {
    CHANCE chance(CHANCE::mixed(seed_ ^ 0x123456) + ++outside_count_);
    for (const WORLD::SLOT &slot : world_.slots)
        if (slot.reachable && !slot.width && chance.percent(25)) {
            const VALUE_TYPE type(slot.type);
            store(slot.address, sample(type, type.units * 16, chance), type.units);
        }
}

std::string ENVIRONMENT::describe(const NODE *tree) const {
    std::string text;
    for (const SYMTAB *sym : world_.variables) {
        if (!sym_appears_in_tree(sym, tree)) continue;
        const VALUE_TYPE type(sym->type);
        const std::uint32_t v = load(const_cast<WORLD &>(world_).address_of(sym), type.units);
        const std::int32_t is = as_signed(type.units == 1 && type.is_signed ? extended16(v) : v);
        text += std::string(text.empty() ? "" : ", ") + sym->name + " = ";
        text += type.kind == VALUE_TYPE::floating ? std::to_string(as_float(v))
                : type.is_signed                  ? std::to_string(is)
                                                  : std::to_string(v);
    }
    return text;
}

// --- evaluation

std::uint32_t EVALUATOR::run(const TREE_CODE &code, std::vector<REACHED> *values) {
    code_ = &code;
    values_ = values;
    if (values) values->assign(code.cells.size(), REACHED());
    env_.restart();
    return value(0);
}

void EVALUATOR::record(EFFECT::KIND kind, std::uint32_t where, std::uint32_t v) {
    if (!env_.trapped) env_.effects.push_back({kind, where, v});
}

std::uint32_t EVALUATOR::trap() {
    record(EFFECT::trap, 0, 0);
    env_.trapped = true;
    return 0;
}

std::uint32_t EVALUATOR::value(std::int32_t i) {
    const std::uint32_t v = value_of(cell(i));
    if (values_) (*values_)[static_cast<std::size_t>(i)] = {!env_.trapped, v};
    return v;
}

std::uint32_t EVALUATOR::value_of(const CELL &c) {
    switch (c.op) {
    case OP::ICON:
    case OP::FCON:
    case OP::LABEL: return c.number;
    case OP::NAME:
    case OP::UMULT:
    case OP::STDOT:
    case OP::STREF: return load(lvalue(static_cast<std::int32_t>(&c - code_->cells.data())));
    case OP::UAND: return low16(lvalue(c.left).address);
    case OP::PLUS:
    case OP::MINUS:
    case OP::MULT:
    case OP::DIV:
    case OP::MOD:
    case OP::ANDB:
    case OP::ORB:
    case OP::XORB:
    case OP::SLL:
    case OP::SRL: return binary(c);
    case OP::UMINUS:
    case OP::NOTB:
    case OP::ABS:
    case OP::SQR:
    case OP::SQRT:
    case OP::RECIP: return unary(c);
    case OP::EXCLAIM: return !truth(c.left);
    case OP::ANDAND: return truth(c.left) && truth(c.right);
    case OP::OROR: return truth(c.left) || truth(c.right);
    case OP::QUEST: {
        const CELL &arms = cell(c.right);
        const std::int32_t arm = truth(c.left) ? arms.left : arms.right;
        return c.type.is_scalar() ? value_as(arm, c.type) : value(arm);
    }
    case OP::SCONV:
    case OP::PCONV: return converted_value(value(c.left), cell(c.left).type, c.type);
    case OP::PMCONV:
    case OP::PVCONV: {
        const std::uint32_t x = value_as(c.left, c.type), units = cell(c.right).number / 16;
        return arithmetic(c.op == OP::PMCONV ? OP::MULT : OP::DIV, c.type, c.type.is_signed, x,
                          units);
    }
    case OP::PCOMMA:
    case OP::COMMAOP: value(c.left); return value(c.right);
    case OP::ASG: return assignment(c);
    case OP::STASG:
    case OP::ARASG: return copy_class(c);
    case OP::MEMCPY: return copy_memory(c);
    case OP::CALL:
    case OP::UCALL: return call(c);
    case OP::ICALL: return intrinsic(c);
    case OP::NASSERT:
    case OP::NOP: return 0;
    case OP::RETURN: return value_as(c.right, c.type);
    case OP::CBRANCH: return truth(c.left) ? 0 : value(c.right);
    case OP::BRANCH: return value(c.left);
    case OP::IF: return value(truth(c.left) ? cell(c.right).left : cell(c.right).right);
    case OP::SWITCH: return switch_target(c);
    default:
        if (is_comparison(c.op)) return comparison(c);
        return compound(c);
    }
}

std::uint32_t EVALUATOR::value_as(std::int32_t i, const VALUE_TYPE &type) {
    const VALUE_TYPE &from = cell(i).type;
    const std::uint32_t v = value(i);
    if (from.units == type.units && from.kind == type.kind) return v; // a bool is what its bits say
    VALUE_TYPE plain = type;
    plain.is_bool = false;
    return converted_value(v, from, plain);
}

// Values of one unit stand zero-extended; `sign` is the left operand's for SRL, else the type's.
std::uint32_t EVALUATOR::arithmetic(int op, const VALUE_TYPE &type, bool sign, std::uint32_t x,
                                    std::uint32_t y) {
    const bool narrow = type.units == 1;
    const unsigned width = type.units * 16;
    if (type.kind == VALUE_TYPE::floating) {
        const float a = as_float(x), b = as_float(y);
        return float_bits(op == OP::PLUS    ? a + b
                          : op == OP::MINUS ? a - b
                          : op == OP::MULT  ? a * b
                                            : a / b);
    }
    if (narrow && sign && (op == OP::DIV || op == OP::MOD)) x = extended16(x), y = extended16(y);
    if (narrow && sign && op == OP::SRL) x = extended16(x);
    switch (op) {
    case OP::PLUS: return cut(x + y, type);
    case OP::MINUS: return cut(x - y, type);
    case OP::MULT: return cut(x * y, type);
    case OP::ANDB: return x & y;
    case OP::ORB: return x | y;
    case OP::XORB: return x ^ y;
    case OP::SLL: return cut(shift_left(x, y, width), type);
    case OP::SRL:
        return cut(sign ? shift_right_signed(x, y, width) : shift_right(x, y, width), type);
    default: break;
    }
    if (y == 0) return trap();
    if (op == OP::DIV) return cut(sign ? divide_signed(x, y) : x / y, type);
    return cut(sign ? modulo_signed(x, y) : x % y, type);
}

std::uint32_t EVALUATOR::binary(const CELL &c) {
    const bool is_shift = c.op == OP::SLL || c.op == OP::SRL;
    const std::uint32_t x = value_as(c.left, c.type);
    const std::uint32_t y = is_shift ? value(c.right) : value_as(c.right, c.type);
    return arithmetic(c.op, c.type,
                      c.op == OP::SRL ? cell(c.left).type.is_signed : c.type.is_signed, x, y);
}

std::uint32_t EVALUATOR::unary(const CELL &c) {
    const std::uint32_t x = value_as(c.left, c.type);
    const bool real = c.type.kind == VALUE_TYPE::floating;
    switch (c.op) {
    case OP::UMINUS: return real ? x ^ 0x80000000 : cut(0 - x, c.type);
    case OP::NOTB: return cut(~x, c.type);
    case OP::ABS:
        if (real) return x & 0x7fffffff;
        return c.type.is_signed && x & (c.type.units == 1 ? 0x8000u : 0x80000000u)
                   ? cut(0 - x, c.type)
                   : x;
    case OP::SQR: return arithmetic(OP::MULT, c.type, false, x, x);
    case OP::SQRT: return float_bits(std::sqrt(as_float(x)));
    default: return float_bits(1 / as_float(x));
    }
}

std::uint32_t EVALUATOR::comparison(const CELL &c) {
    const VALUE_TYPE &type = compared_type(cell(c.left).type, cell(c.right).type);
    const std::uint32_t x = value_as(c.left, type), y = value_as(c.right, type);
    return compare_values(c.op, x, y, type);
}

bool EVALUATOR::truth(std::int32_t i) {
    const std::uint32_t v = value(i);
    return !is_zero(v, cell(i).type);
}

// --- lvalues

EVALUATOR::LVALUE EVALUATOR::lvalue(std::int32_t i) {
    const CELL &c = cell(i);
    switch (c.op) {
    case OP::NAME: return {c.number, 0, 0, c.is_volatile, c.type};
    case OP::UMULT: return {value(c.left), 0, 0, c.is_volatile, c.type};
    case OP::COMMAOP: value(c.left); return lvalue(c.right);
    case OP::STDOT:
    case OP::STREF: {
        const CELL &member = cell(c.right);
        std::uint32_t address = 0;
        bool is_volatile = c.is_volatile || member.is_volatile;
        if (c.op == OP::STREF) {
            address = value(c.left);
        } else {
            const LVALUE whole = lvalue(c.left);
            address = whole.address;
            is_volatile = is_volatile || whole.is_volatile;
        }
        return {address + member.number, member.first, member.width, is_volatile, member.type};
    }
    default: return {value(i), 0, 0, false, c.type}; // a class value
    }
}

std::uint32_t EVALUATOR::load(const LVALUE &lv) {
    if (!lv.type.is_scalar()) return low16(lv.address);
    if (lv.is_volatile) {
        const std::uint32_t v = env_.outside_value(lv.type);
        record(EFFECT::volatile_read, WORLD::place(lv.address), lv.type.units);
        return v;
    }
    const std::uint32_t v = env_.load(lv.address, lv.type.units);
    return lv.width ? cut(field_of(v, lv.first, lv.width, lv.type.is_signed), lv.type) : v;
}

// Gives what the lvalue then holds.
std::uint32_t EVALUATOR::store(const LVALUE &lv, std::uint32_t v) {
    v = canonical(v, lv.type);
    const unsigned units = lv.type.units;
    const std::uint32_t old = env_.load(lv.address, units);
    if (v == canonical(old, lv.type)) v = old;
    const std::uint32_t memory = lv.width ? with_field(old, v, lv.first, lv.width) : v;
    if (lv.is_volatile) record(EFFECT::volatile_store, WORLD::place(lv.address), memory);
    for (unsigned i = 0; i < units; ++i) {
        const std::uint32_t address = WORLD::place(lv.address + i), is = low16(memory >> 16 * i);
        if (!lv.is_volatile && is != low16(old >> 16 * i) && !WORLD::is_temporary(address))
            record(EFFECT::store, address, is);
    }
    if (!env_.trapped) env_.store(lv.address, memory, units);
    return lv.width ? cut(field_of(memory, lv.first, lv.width, lv.type.is_signed), lv.type) : v;
}

// --- assignments

std::uint32_t EVALUATOR::assignment(const CELL &c) {
    const LVALUE lv = lvalue(c.left);
    return store(lv, value_as(c.right, lv.type));
}

// x op= y, and x++ with its old value. What is narrower than int is computed as an int where that
// makes a difference.
std::uint32_t EVALUATOR::compound(const CELL &c) {
    const bool postfix = c.op == OP::PLUSPLUS || c.op == OP::MINMIN;
    const int op = c.op == OP::PLUSPLUS ? int{OP::PLUS}
                   : c.op == OP::MINMIN ? int{OP::MINUS}
                                        : op_of_opASG[c.op];
    const LVALUE lv = lvalue(c.left);
    const bool is_shift = op == OP::SLL || op == OP::SRL;
    const bool is_modular = op == OP::PLUS || op == OP::MINUS || op == OP::MULT || op == OP::ANDB ||
                            op == OP::ORB || op == OP::XORB;
    const bool in_place = lv.type.units != 1 || lv.type.kind != VALUE_TYPE::integer ||
                          (is_modular && cell(c.right).type.kind != VALUE_TYPE::floating);
    const VALUE_TYPE own = in_place ? lv.type : int_type;
    const std::uint32_t y = is_shift ? value(c.right) : value_as(c.right, own);
    const std::uint32_t old = load(lv);
    const std::uint32_t x = in_place ? old : converted_value(old, lv.type, own);
    const std::uint32_t result =
        converted_value(arithmetic(op, own, own.is_signed, x, y), own, lv.type);
    const std::uint32_t now = store(lv, result);
    return postfix ? old : now;
}

std::uint32_t EVALUATOR::copy_class(const CELL &c) {
    const LVALUE to = lvalue(c.left);
    const std::uint32_t from = lvalue(c.right).address;
    std::vector<std::uint32_t> units;
    for (unsigned i = 0; i < to.type.units; ++i)
        units.push_back(env_.load(from + i, 1));
    const VALUE_TYPE unit{VALUE_TYPE::integer, false, 1};
    for (unsigned i = 0; i < to.type.units; ++i)
        store({to.address + i, 0, 0, to.is_volatile, unit}, units[i]);
    return low16(to.address);
}

std::uint32_t EVALUATOR::copy_memory(const CELL &c) {
    const CELL &list = cell(c.left), &addresses = cell(list.left);
    const std::uint32_t to = value(addresses.left), from = value(addresses.right),
                        n = std::min(value(list.right), 64u);
    std::vector<std::uint32_t> units;
    for (unsigned i = 0; i < n; ++i)
        units.push_back(env_.load(from + i, 1));
    const VALUE_TYPE unit{VALUE_TYPE::integer, false, 1};
    for (unsigned i = 0; i < n; ++i)
        store({to + i, 0, 0, false, unit}, units[i]);
    return to;
}

// --- calls and jumps

std::uint32_t EVALUATOR::call(const CELL &c) {
    std::vector<std::int32_t> arguments;
    std::int32_t i = c.right;
    for (; i >= 0 && cell(i).op == OP::COMMA; i = cell(i).left)
        arguments.push_back(cell(i).right);
    if (i >= 0) arguments.push_back(i);
    std::reverse(arguments.begin(), arguments.end());
    std::vector<std::uint32_t> passed;
    const auto &parameters = c.function->parameters;
    for (std::size_t n = 0; n < arguments.size(); ++n)
        passed.push_back(canonical(value_as(arguments[n], VALUE_TYPE(parameters[n])),
                                   VALUE_TYPE(parameters[n])));
    record(EFFECT::call, cell(cell(c.left).left).number, static_cast<std::uint32_t>(passed.size()));
    for (std::size_t n = 0; n < passed.size(); ++n)
        record(EFFECT::argument, static_cast<std::uint32_t>(n), passed[n]);
    if (env_.trapped) return 0;
    env_.change_memory();
    return env_.outside_value(c.type);
}

namespace {
const VALUE_TYPE uint_type{VALUE_TYPE::integer, false, 2}, real_type{VALUE_TYPE::floating, true, 2};

template <int op, VALUE_TYPE::KIND kind> std::uint32_t choose(std::uint32_t x, std::uint32_t y) {
    return compare_values(op, x, y, kind == VALUE_TYPE::floating ? real_type : int_type) ? x : y;
}

// As ic-run has them.
const MACHINE_INTRINSIC intrinsics[] = {
    {"MIN", int_type, choose<OP::LT, VALUE_TYPE::integer>},
    {"MAX", int_type, choose<OP::GT, VALUE_TYPE::integer>},
    {"MINU", uint_type, choose<OP::ULT, VALUE_TYPE::integer>},
    {"MAXU", uint_type, choose<OP::UGT, VALUE_TYPE::integer>},
    {"FMIN", real_type, choose<OP::LT, VALUE_TYPE::floating>},
    {"FMAX", real_type, choose<OP::GT, VALUE_TYPE::floating>},
    {"_sadd", int_type,
     [](std::uint32_t x, std::uint32_t y) {
         return saturated(std::int64_t{as_signed(x)} + as_signed(y));
     }},
    {"_ssub", int_type,
     [](std::uint32_t x, std::uint32_t y) {
         return saturated(std::int64_t{as_signed(x)} - as_signed(y));
     }},
    {"_ssub2", int_type, subtract_halves},
    {"_sshl", int_type,
     [](std::uint32_t x, std::uint32_t y) {
         return saturated(std::int64_t{as_signed(x)} * (std::int64_t{1} << (y & 31)));
     }},
};

// The names of long, long long, double and long double say the same.
std::string_view common_name(std::string_view name) {
    while (name.size() > 3 && name.starts_with('L'))
        name.remove_prefix(1);
    if (name == "DMIN") return "FMIN";
    if (name == "DMAX") return "FMAX";
    return name;
}
} // namespace

const MACHINE_INTRINSIC *find_machine_intrinsic(const NODE *call) {
    const std::string_view name = common_name(call->icall_name());
    for (const MACHINE_INTRINSIC &row : intrinsics)
        if (row.name == name) return &row;
    return nullptr;
}

std::uint32_t EVALUATOR::intrinsic(const CELL &c) {
    const CELL &list = cell(c.left);
    const MACHINE_INTRINSIC *row = find_machine_intrinsic(c.node);
    if (!row || list.op != OP::COMMA) return trap();
    const std::uint32_t x = value_as(list.left, row->type), y = value_as(list.right, row->type);
    return converted_value(row->apply(x, y), row->type, c.type);
}

std::uint32_t EVALUATOR::switch_target(const CELL &c) {
    const std::uint32_t v = value_as(c.left, int_type);
    std::uint32_t other = 0;
    const auto matches = [&](const CELL &one) {
        if (one.op == OP::DEFAULT) other = cell(one.left).number;
        return one.op == OP::CASE && value_as(one.left, int_type) == v;
    };
    std::int32_t i = c.right;
    for (; cell(i).op == OP::COMMA; i = cell(i).left) {
        const CELL &one = cell(cell(i).right);
        if (matches(one)) return cell(one.right).number;
    }
    return matches(cell(i)) ? cell(cell(i).right).number : other;
}
