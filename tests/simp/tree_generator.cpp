#include "tests/simp/tree_generator.h"

#include <algorithm>

namespace {
constexpr int integer_operators[] = {OP::PLUS, OP::PLUS, OP::MINUS, OP::MULT, OP::DIV,
                                     OP::MOD,  OP::ANDB, OP::ANDB,  OP::ORB,  OP::XORB};
constexpr int real_operators[] = {OP::PLUS, OP::MINUS, OP::MULT, OP::DIV};
constexpr int comparisons[] = {OP::EQ, OP::NEQ, OP::LE, OP::LT, OP::GE, OP::GT};
constexpr int assignments[] = {OP::PLUSASG, OP::MINUSASG, OP::MULTASG, OP::DIVASG, OP::MODASG,
                               OP::ANDBASG, OP::ORBASG,   OP::XORBASG, OP::SLLASG, OP::SRLASG};
constexpr int real_assignments[] = {OP::PLUSASG, OP::MINUSASG, OP::MULTASG, OP::DIVASG};
// Hexadecimal where only that says the value exactly.
constexpr const char *real_constants[] = {"0",
                                          "-0",
                                          "1",
                                          "-1",
                                          "0.5",
                                          "2",
                                          "3",
                                          "0.1",
                                          "10",
                                          "inf",
                                          "nan",
                                          "-inf",
                                          "1e30",
                                          "0x1p-149",
                                          "2147483648",
                                          "256",
                                          "-2",
                                          "1e-38",
                                          "0x1.fffffep+127"};

constexpr const char *signed_intrinsics[] = {"MIN", "MAX", "_sadd", "_ssub", "_ssub2", "_sshl"};
constexpr const char *unsigned_intrinsics[] = {"MINU", "MAXU"};
constexpr const char *real_intrinsics[] = {"FMIN", "FMAX"};

bool is_unsigned_comparison(const TYPE *type) {
    return type->is_ptr() || !type->is_signed();
}

// The comparison of two values of the type.
int comparison_for(int op, const TYPE *type) {
    if (type->is_floating() || !is_unsigned_comparison(type)) return op;
    return op >= OP::LE && op <= OP::GT ? op - OP::LE + OP::ULE : op;
}

// A bit-field has no address, and that of other variables is never taken.
bool has_address(const NODE *lvalue) {
    switch (lvalue->op) {
    case OP::NAME:
        return (lvalue->u.name.sym->attr & SA_aliased) != 0 && !lvalue->type->is_volatile();
    case OP::STDOT:
    case OP::STREF: return lvalue->right->u.field.mdata->width == 0;
    default: return true;
    }
}

const TYPE *plain(const TYPE *type) {
    const TYPE *stripped = type->stds();
    return stripped->is_enum() ? stripped->underlying_type()->stds() : stripped;
}
} // namespace

// --- leaves

NODE *TREE_GENERATOR::variable(TYPE *type) {
    std::vector<SYMTAB *> fit, volatile_ones;
    for (SYMTAB *sym : w_.variables) {
        if (sym->otype->stds() != type->stds()) continue;
        (sym->otype->is_volatile() ? volatile_ones : fit).push_back(sym);
    }
    if (!volatile_ones.empty() && chance_.percent(4)) return w_.name(chance_.one_of(volatile_ones));
    if (fit.empty()) return nullptr;
    // The first few most of the time, so that operands are often the same.
    SYMTAB *sym = fit[chance_.percent(60) ? chance_.below(std::min<std::size_t>(fit.size(), 2))
                                          : chance_.below(fit.size())];
    NODE *name = w_.name(sym);
    if (chance_.percent(50)) name->type = sym->otype; // as a front end has it
    return name;
}

NODE *TREE_GENERATOR::constant(TYPE *type) {
    if (type->is_floating()) return w_.fcon(chance_.one_of(real_constants), type);
    if (type->is_ptr()) return w_.node({OP::PCONV, type, w_.icon(INT65(0), w_.short_t)});
    const unsigned bits = type->size();
    if (type->is_bool()) return w_.icon(INT65(chance_.below(2)), type);
    INT65 value = INT65(chance_.word());
    const unsigned kind = chance_.below(10);
    if (kind < 4) {
        value = INT65(static_cast<int>(chance_.below(12)) - 3);
    } else if (kind < 7) {
        value = (INT65(1) << INT65(chance_.below(bits + 1))) - INT65(chance_.below(3));
        if (chance_.percent(30)) value = -value;
    } else if (kind < 8) {
        value = INT65(static_cast<int>(chance_.below(1000)) - 300);
    }
    return w_.icon(value, type);
}

NODE *TREE_GENERATOR::leaf(TYPE *type) {
    if (!chance_.percent(25))
        if (NODE *name = variable(type)) return name;
    return constant(type);
}

// --- values

TYPE *TREE_GENERATOR::scalar_type() {
    const unsigned kind = chance_.below(20);
    if (kind < 8) return chance_.percent(60) ? w_.int_t : w_.uint_t;
    if (kind < 14) return chance_.one_of(w_.integers);
    if (kind < 16) return chance_.one_of(w_.floats);
    if (kind < 19) return chance_.one_of(w_.pointers);
    return w_.bool_t;
}

NODE *TREE_GENERATOR::value(TYPE *type, int depth) {
    if (depth <= 0 || chance_.percent(12)) return leaf(type);
    if (chance_.percent(22))
        if (NODE *tree = common(type, depth - 1)) return tree;
    if (type->is_floating()) return real(type, depth - 1);
    if (type->is_ptr()) return pointer(type, depth - 1);
    return integer(type, depth - 1);
}

NODE *TREE_GENERATOR::common(TYPE *type, int depth) {
    switch (chance_.below(7)) {
    case 0: {
        NODE *arms = w_.node({OP::COLON, type, value(type, depth), value(type, depth)});
        return w_.node({OP::QUEST, type, condition(depth), arms});
    }
    case 1: return w_.node({OP::COMMAOP, type, effect(depth), value(type, depth)});
    case 2: return assignment(type, depth);
    case 3: return call(type, depth);
    default:
        if (type->is_bool()) return nullptr;
        return lvalue(type, depth);
    }
}

// Mostly of this type; now and then of another one that is as wide, or a constant of type int.
NODE *TREE_GENERATOR::operand(TYPE *type, int depth) {
    if (chance_.percent(4)) {
        TYPE *other = chance_.one_of(w_.integers);
        if (other->size() == type->size()) return value(other, depth);
    }
    return value(type, depth);
}

NODE *TREE_GENERATOR::count(TYPE *type, int depth) {
    if (chance_.percent(80))
        return w_.icon(INT65(chance_.percent(92) ? static_cast<int>(chance_.below(type->size()))
                                                 : static_cast<int>(chance_.below(40)) - 4),
                       w_.int_t);
    NODE *n = value(w_.int_t, depth);
    return chance_.percent(70)
               ? w_.node({OP::ANDB, w_.int_t, n, w_.icon(INT65(type->size() - 1), w_.int_t)})
               : n;
}

NODE *TREE_GENERATOR::shift(int op, TYPE *type, int depth) {
    return w_.node({op, type, operand(type, depth), count(type, depth)});
}

NODE *TREE_GENERATOR::integer(TYPE *type, int depth) {
    if (type->is_bool()) {
        NODE *of = value(chance_.percent(70) ? w_.int_t : scalar_type(), depth);
        return of->type->is_ptr()
                   ? w_.node({OP::SCONV, type, arithmetic(OP::NEQ, of, constant(of->type))})
                   : w_.node({OP::SCONV, type, of});
    }
    // The front end computes what is narrow as an int.
    const bool is_int = plain(type) == w_.int_t, is_narrow = type->size() < w_.int_t->size();
    if (is_narrow && chance_.percent(55)) return w_.node({OP::SCONV, type, value(w_.int_t, depth)});
    if (is_int && chance_.percent(30)) return int_value(depth);
    if (is_int && chance_.percent(6))
        return intrinsic(chance_.one_of(signed_intrinsics), type, depth);
    if (plain(type) == w_.uint_t && chance_.percent(6))
        return intrinsic(chance_.one_of(unsigned_intrinsics), type, depth);
    return computed_integer(type, depth);
}

NODE *TREE_GENERATOR::intrinsic(const char *name, TYPE *type, int depth) {
    NODE *first = value(type, depth);
    NODE *list = w_.node({OP::COMMA, w_.int_t, first, value(type, depth)});
    return mk_ICALL(name, list, type);
}

NODE *TREE_GENERATOR::computed_integer(TYPE *type, int depth) {
    if (type->is_enum()) return converted(value(w_.int_t, depth), type);
    switch (chance_.below(10)) {
    case 0:
    case 1:
    case 2:
    case 3: {
        NODE *left = operand(type, depth);
        return w_.node({chance_.one_of(integer_operators), type, left, operand(type, depth)});
    }
    case 4: return shift(OP::SLL, type, depth);
    case 5: return shift(OP::SRL, type, depth);
    case 6: {
        const int ops[] = {OP::UMINUS, OP::NOTB, OP::UMINUS, OP::NOTB, OP::ABS, OP::SQR};
        return w_.node({chance_.one_of(ops), type, operand(type, depth)});
    }
    case 7:
    case 8: {
        TYPE *from = chance_.percent(85) ? chance_.one_of(w_.integers) : scalar_type();
        return converted(value(from, depth), type);
    }
    default: {
        const int op = chance_.percent(50) ? OP::PMCONV : OP::PVCONV;
        const int bits = 16 << chance_.below(5);
        return w_.node({op, type, value(type, depth),
                        w_.icon(INT65(chance_.percent(80) ? bits : 48), w_.int_t)});
    }
    }
}

NODE *TREE_GENERATOR::int_value(int depth) {
    if (!chance_.percent(25)) return truth_value(depth);
    TYPE *p = chance_.one_of(w_.pointers);
    return w_.node({OP::MINUS, w_.int_t, value(p, depth), value(p, depth)});
}

NODE *TREE_GENERATOR::condition(int depth) {
    if (depth <= 0 || chance_.percent(10))
        return value(chance_.percent(60) ? w_.int_t : scalar_type(), depth - 1);
    return truth_value(depth);
}

NODE *TREE_GENERATOR::truth_value(int depth) {
    switch (chance_.below(9)) {
    case 0:
    case 1: return w_.node({OP::EXCLAIM, w_.int_t, condition(depth - 1)});
    case 2:
    case 3: {
        const int op = chance_.percent(50) ? OP::ANDAND : OP::OROR;
        return w_.node({op, w_.int_t, condition(depth - 1), condition(depth - 1)});
    }
    default: {
        TYPE *type = scalar_type();
        if (type->is_bool()) type = w_.int_t;
        NODE *left = value(type, depth - 1);
        return w_.node({comparison_for(chance_.one_of(comparisons), type), w_.int_t, left,
                        chance_.percent(40) ? constant(type) : operand(type, depth - 1)});
    }
    }
}

NODE *TREE_GENERATOR::real(TYPE *type, int depth) {
    if (type == w_.float_t && chance_.percent(4))
        return intrinsic(chance_.one_of(real_intrinsics), type, depth);
    switch (chance_.below(10)) {
    case 0:
    case 1: return converted(value(chance_.one_of(w_.integers), depth), type);
    case 2: return converted(value(chance_.one_of(w_.floats), depth), type);
    case 3: {
        const int ops[] = {OP::UMINUS, OP::UMINUS, OP::ABS, OP::SQR, OP::SQRT, OP::RECIP};
        return w_.node({chance_.one_of(ops), type, value(type, depth)});
    }
    default: {
        NODE *left = value(type, depth);
        return w_.node({chance_.one_of(real_operators), type, left, value(type, depth)});
    }
    }
}

NODE *TREE_GENERATOR::pointer(TYPE *type, int depth) {
    switch (chance_.below(8)) {
    case 0: {
        NODE *object = lvalue(type->type_pointed_to(), depth);
        return has_address(object) ? w_.node({OP::UAND, type, object}) : leaf(type);
    }
    case 1:
        if (type == w_.int_p)
            return w_.node(
                {OP::PCONV, type, w_.node({OP::UAND, tp->mk_ptr(w_.array_t), w_.name(w_.array)})});
        [[fallthrough]];
    case 2: return w_.node({OP::PCONV, type, value(chance_.one_of(w_.pointers), depth)});
    case 3: return w_.node({OP::PCONV, type, value(w_.short_t, depth)});
    default: {
        TYPE *index = chance_.percent(70) ? w_.int_t : w_.short_t;
        NODE *by = value(index, depth);
        if (chance_.percent(60))
            by = w_.node(
                {OP::PMCONV, index, by, w_.icon(INT65(type->type_pointed_to()->size()), w_.int_t)});
        return w_.node({chance_.percent(75) ? OP::PLUS : OP::MINUS, type, value(type, depth), by});
    }
    }
}

// --- lvalues

NODE *TREE_GENERATOR::struct_lvalue(bool pointer_to_it, int depth) {
    if (pointer_to_it) return value(w_.struct_p, depth);
    return chance_.percent(70) ? w_.name(w_.structs[chance_.below(2)])
                               : w_.node({OP::UMULT, w_.struct_t, value(w_.struct_p, depth)});
}

NODE *TREE_GENERATOR::lvalue(TYPE *type, int depth) {
    if (type->is_csu()) return struct_lvalue(false, depth);
    std::vector<fkMDATA *> fit;
    for (fkMDATA *member : w_.members)
        if (member->type->stds() == type->stds()) fit.push_back(member);
    const unsigned kind = chance_.below(10);
    if (kind < 4)
        if (NODE *name = variable(type)) return name;
    if (kind < 8 && !fit.empty()) {
        const bool through = chance_.percent(50);
        NODE *whole = struct_lvalue(through, depth - 1);
        return w_.node({through ? OP::STREF : OP::STDOT, type, whole,
                        w_.field(chance_.one_of(fit), w_.struct_t)});
    }
    TYPE *to = tp->mk_ptr(type);
    if (chance_.percent(60) && depth > 0 && std::count(w_.pointers.begin(), w_.pointers.end(), to))
        return w_.node({OP::UMULT, type, value(to, depth - 1)});
    // Memory seen as something else.
    if (chance_.percent(40))
        return w_.node({OP::UMULT, type, w_.node({OP::PCONV, to, leaf(w_.int_p)})});
    NODE *name = variable(type);
    return name ? name : w_.node({OP::UMULT, type, w_.node({OP::PCONV, to, leaf(w_.int_p)})});
}

// --- effects

NODE *TREE_GENERATOR::assignment(TYPE *type, int depth) {
    if (type->is_bool()) {
        NODE *target = variable(type);
        return w_.node({OP::ASG, type, target, value(type, depth)});
    }
    NODE *target = lvalue(type, depth);
    const unsigned kind = chance_.below(10);
    if (kind < 4 || (type->is_enum() && kind < 8))
        return w_.node({OP::ASG, type, target, value(type, depth)});
    if (type->is_floating())
        return w_.node({chance_.one_of(real_assignments), type, target, value(type, depth)});
    if (kind < 7) {
        const int op = chance_.percent(50) ? OP::PLUSPLUS : OP::MINMIN;
        TYPE *of_step = type->is_ptr() ? w_.int_t : type;
        return w_.node({op, type, target,
                        chance_.percent(70) ? w_.icon(INT65(1), of_step) : constant(of_step)});
    }
    if (type->is_ptr())
        return w_.node({chance_.percent(50) ? OP::PLUSASG : OP::MINUSASG, type, target,
                        value(w_.int_t, depth)});
    const int op = chance_.one_of(assignments);
    if (op == OP::SLLASG || op == OP::SRLASG)
        return w_.node({op, type, target, count(type, depth)});
    TYPE *source = type->size() < w_.int_t->size() ? w_.int_t : type;
    return w_.node({op, type, target, value(source, depth)});
}

NODE *TREE_GENERATOR::call(TYPE *type, int depth) {
    std::vector<const WORLD::FUNCTION *> fit;
    for (const WORLD::FUNCTION &function : w_.functions)
        if (function.result->stds() == type->stds()) fit.push_back(&function);
    if (fit.empty()) return nullptr;
    const WORLD::FUNCTION &function = *chance_.one_of(fit);
    NODE *list = nullptr;
    for (TYPE *parameter : function.parameters) {
        NODE *argument = value(parameter, depth - 1);
        list = list ? w_.node({OP::COMMA, w_.int_t, list, argument}) : argument;
    }
    NODE *callee = w_.node({OP::UAND, tp->mk_ptr(function.symbol->type), w_.name(function.symbol)});
    NODE *tree = w_.node({list ? OP::CALL : OP::UCALL, type, callee, list});
    tree->mk_call(0, 0);
    return tree;
}

NODE *TREE_GENERATOR::class_effect() {
    NODE *left = struct_lvalue(false, 1), *right = struct_lvalue(false, 1);
    if (chance_.percent(60)) return mk_ASG(left, right);
    const auto address = [this](NODE *lvalue) { return w_.node({OP::UAND, w_.struct_p, lvalue}); };
    NODE *list = w_.node({OP::COMMA, w_.struct_p, address(left), address(right)});
    list = w_.node({OP::COMMA, w_.int_t, list, w_.icon(INT65(chance_.below(15)), w_.int_t)});
    return w_.node({OP::MEMCPY, w_.struct_p, list});
}

NODE *TREE_GENERATOR::effect(int depth) {
    const unsigned kind = chance_.below(20);
    if (kind == 0) return class_effect();
    if (kind == 1) return value(scalar_type(), depth); // without effect, perhaps
    if (kind == 2)
        return w_.node({OP::COMMAOP, w_.int_t, effect(depth - 1), value(w_.int_t, depth - 1)});
    TYPE *type = scalar_type();
    if (kind < 6)
        if (NODE *tree = call(type, depth)) return tree;
    return assignment(type, depth);
}

// --- conversions

NODE *TREE_GENERATOR::converted(NODE *tree, TYPE *type) {
    if (tree->type->stds() == type->stds()) return tree;
    const bool is_address = tree->type->is_ptr() || type->is_ptr();
    if (tree->type->is_ptr() && (type->is_floating() || type->is_bool()))
        tree = w_.node({OP::PCONV, w_.ushort_t, tree});
    else if (type->is_ptr() && tree->type->is_floating())
        tree = w_.node({OP::SCONV, w_.int_t, tree});
    else if (is_address)
        return w_.node({OP::PCONV, type, tree});
    return w_.node({type->is_ptr() ? OP::PCONV : OP::SCONV, type, tree});
}

NODE *TREE_GENERATOR::arithmetic(int op, NODE *left, NODE *right) {
    if (op == OP::ANDAND || op == OP::OROR) return w_.node({op, w_.int_t, left, right});
    const bool is_comparison = op >= OP::EQ && op <= OP::UGT;
    if (left->type->is_ptr() && !is_comparison) {
        if (right->type->is_ptr()) return w_.node({OP::MINUS, w_.int_t, left, right});
        const bool adds = op == OP::PLUS || op == OP::MINUS;
        if (right->type->is_floating()) right = converted(right, w_.int_t);
        return w_.node({adds ? op : OP::PLUS, left->type, left, right});
    }
    if (op == OP::SLL || op == OP::SRL) {
        TYPE *type = promoted(left->type);
        if (type->is_floating()) left = w_.node({OP::SCONV, type = w_.int_t, left});
        return w_.node({op, type, converted(left, type), converted(right, w_.int_t)});
    }
    const bool is_own =
        left->type->is_ptr() || (!promotes && !left->type->is_bool() && !left->type->is_enum());
    TYPE *type = is_own ? left->type->stds() : combined_type(left, right);
    const bool only_integers = op == OP::ANDB || op == OP::ORB || op == OP::XORB || op == OP::MOD;
    if (type->is_floating() && only_integers) type = w_.int_t;
    left = converted(left, type);
    right = converted(right, type);
    return is_comparison ? w_.node({comparison_for(op, type), w_.int_t, left, right})
                         : w_.node({op, type, left, right});
}

// --- roots

NODE *TREE_GENERATOR::control(int depth) {
    NODE *label = mk_LABELREF(INT65(7), ~0u);
    switch (chance_.below(8)) {
    case 0: {
        NODE *cases = nullptr;
        for (int i = 0; i < 3; ++i) {
            NODE *one = w_.node({OP::CASE, w_.int_t, w_.icon(INT65(i * 3 - 2), w_.int_t),
                                 mk_LABELREF(INT65(i + 1), ~0u)});
            cases = cases ? w_.node({OP::COMMA, w_.int_t, cases, one}) : one;
        }
        cases = w_.node({OP::COMMA, w_.int_t, cases, w_.node({OP::DEFAULT, w_.int_t, label})});
        NODE *tree = w_.node({OP::SWITCH, w_.int_t, value(w_.int_t, depth), cases});
        tree->u.lval = INT65(3);
        return tree;
    }
    case 1: return w_.node({OP::RETURN, w_.int_t, w_.name(currfunc), value(w_.int_t, depth)});
    case 2:
    case 3: return w_.node({OP::CBRANCH, w_.int_t, condition(depth), label});
    default: return mk_IF(condition(depth), INT65(7), ~0u, INT65(8), ~0u, nullptr);
    }
}

RANDOM_TREE TREE_GENERATOR::any() {
    const int depth = 1 + static_cast<int>(chance_.below(4));
    const unsigned kind = chance_.below(100);
    if (kind < 45) {
        TYPE *base = chance_.percent(45)   ? w_.int_t
                     : chance_.percent(40) ? w_.uint_t
                     : chance_.percent(80) ? chance_.one_of(w_.integers)
                                           : w_.float_t;
        promotes = !chance_.percent(25);
        NODE *tree = tree_of_pattern(*this, chance_.one_of(tree_patterns()), base, depth - 1);
        const bool is_condition = tree->type->stds() == w_.int_t && chance_.percent(20);
        return {tree, is_condition ? ROOT_KIND::condition : ROOT_KIND::value};
    }
    if (kind < 75) return {value(scalar_type(), depth), ROOT_KIND::value};
    if (kind < 80) return {condition(depth), ROOT_KIND::condition};
    if (kind < 92) return {effect(depth), ROOT_KIND::statement};
    return {control(depth), ROOT_KIND::control};
}
