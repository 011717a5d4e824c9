#include "OPT5/builtins/bif.h"

#include "OPT5/rep/bbutils.h"
#include "OPT5/rep/type_pkg.h"
#include "OPT5/target/costs.h"

#include <algorithm>
#include <functional>
#include <map>

namespace {
std::map<std::string, BIF_DESCRIPTOR, std::less<>> descriptors; // looked up, never walked

// --- values for constant arguments

INT65 saturated(const INT65 &value, int bits) {
    const INT65 least = -(INT65(1) << INT65(bits - 1)), greatest = ~least;
    return value < least ? least : greatest < value ? greatest : value;
}

// The high and the low half of an int, extended by its sign.
INT65 half_of(const INT65 &value, int half) {
    const INT65 bits = (value >> INT65(16 * half)) & INT65(0xffff);
    return bits < INT65(0x8000) ? bits : bits - INT65(0x10000);
}

INT65 min_of(const INT65 *args) {
    return std::min(args[0], args[1]);
}
INT65 max_of(const INT65 *args) {
    return std::max(args[0], args[1]);
}
INT65 sadd(const INT65 *args) {
    return saturated(args[0] + args[1], 32);
}
INT65 ssub(const INT65 *args) {
    return saturated(args[0] - args[1], 32);
}
INT65 ssub2(const INT65 *args) {
    const INT65 low = saturated(half_of(args[0], 0) - half_of(args[1], 0), 16);
    const INT65 high = saturated(half_of(args[0], 1) - half_of(args[1], 1), 16);
    return (high << INT65(16)) | (low & INT65(0xffff));
}
INT65 sshl(const INT65 *args) {
    return saturated(args[0] << (args[1] & INT65(31)), 32);
}
INT65 sabs(const INT65 *args) {
    return saturated(args[0].is_negative() ? -args[0] : args[0], 32);
}

// --- the table

constexpr unsigned minimum = HOLDS_commutes_01 | HOLDS_self_associative | HOLDS_proper_minval;
constexpr unsigned maximum = HOLDS_commutes_01 | HOLDS_self_associative | HOLDS_proper_maxval;
constexpr unsigned absolute = HOLDS_minval;

constexpr int nothing = cost_of_other, arithmetic = cost_of_arithmetic,
              compare_and_move = cost_of_compare + cost_of_move,
              floating_and_move = cost_of_floating + cost_of_move;

// The arguments of an intrinsic, whose list is in `list`, one after the other.
template <class Change> void change_arguments(NODE **list, Change change) {
    for (int n = arg_list_count(*list) - 1; n > 0; --n) {
        (*list)->right = change((*list)->right, n);
        list = &(*list)->left;
    }
    if (*list) *list = change(*list, 0);
}
} // namespace

void init_BIF_descriptors() {
    descriptors.clear();
#define BIF(name, flags, holds, cost, fold, result, ...)                                           \
    make_BIF_descriptor({name, flags, {holds, {}, {}}, cost, fold, result, {__VA_ARGS__}, false});
#include "OPT5/builtins/bif.def"
#undef BIF
}

const BIF_DESCRIPTOR *find_BIF_descriptor(const char *name) {
    const auto found = descriptors.find(std::string_view(name));
    return found == descriptors.end() ? nullptr : &found->second;
}

const BIF_DESCRIPTOR *make_BIF_descriptor(BIF_DESCRIPTOR descriptor) {
    std::string name = descriptor.name;
    return &descriptors.insert_or_assign(std::move(name), std::move(descriptor)).first->second;
}

void add_new_icalls_to_BIF(std::span<const BIF_DECLARATION> declarations) {
    for (const BIF_DECLARATION &declaration : declarations) {
        if (descriptors.contains(declaration.name)) continue;
        BIF_DESCRIPTOR bif;
        bif.name = declaration.name;
        bif.flags = declaration.is_MCALL ? BIF_none : BIF_pure;
        bif.holds = declaration.holds;
        bif.cost = declaration.cost;
        bif.any_args = true;
        make_BIF_descriptor(std::move(bif));
    }
}

const BIF_DESCRIPTOR *find_BIF_descriptor_for_call(const NODE *call) {
    switch (call->op) {
    case OP::ICALL:
    case OP::UICALL:
    case OP::MCALL:
    case OP::UMCALL: break;
    default: return nullptr;
    }
    const BIF_DESCRIPTOR *bif = find_BIF_descriptor(call->icall_name());
    if (!bif || bif->any_args) return bif;
    const auto count = static_cast<std::size_t>(arg_list_count(call->left));
    return count == bif->args.size() ? bif : nullptr;
}

bool is_pure_BIF_call(const NODE *tree) {
    const BIF_DESCRIPTOR *bif = find_BIF_descriptor_for_call(tree);
    return bif && (bif->flags & BIF_pure) != 0;
}

TYPE *BIF_type(BIF_TYPE type) {
    switch (type) {
    case BT_any: return nullptr;
    case BT_void: return tp->void_type();
    case BT_float: return tp->basic_float(TYPE::FLOAT);
    case BT_double: return tp->basic_float(TYPE::DOUBLE);
    case BT_ldouble: return tp->basic_float(TYPE::LDOUBLE);
    default: return tp->basic_int(static_cast<TYPE::IKIND>(TYPE::INT + (type - BT_int)));
    }
}

NODE *fix_BIF_types(NODE *tree) {
    const BIF_DESCRIPTOR *bif = find_BIF_descriptor_for_call(tree);
    if (!bif || bif->any_args) return tree;
    bool numbers = tree->type->is_arithmetic() || tree->type->is_void();
    for (int n = 0; n < static_cast<int>(bif->args.size()); ++n)
        numbers = numbers && arg_list_lookup(tree->left, n)->type->is_arithmetic();
    if (!numbers) return tree;
    change_arguments(&tree->left, [bif](NODE *argument, int n) {
        TYPE *type = BIF_type(bif->args[static_cast<std::size_t>(n)]);
        return type ? coerce_to_type(type, argument) : argument;
    });
    TYPE *result = BIF_type(bif->result), *wanted = tree->type;
    if (!result || wanted->is_void() || result->is_void() || equiv_mtypes(wanted, result))
        return tree;
    tree->type = result->normalized();
    return coerce_to_type(wanted, tree);
}

bool is_barrier_MCALL(const char *name) {
    const BIF_DESCRIPTOR *bif = find_BIF_descriptor(name);
    return bif && (bif->holds.flags & HOLDS_barrier) != 0;
}
