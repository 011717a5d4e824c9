// Objects that keep the value they are initialized with, and members that must stay members.
#include "OPT5/rep/bbutils.h"
#include "OPT5/rep/symbol.h"

namespace {
// In incomplete classes anything may turn up; constructors write to const objects of C++ classes,
// some of whose members may be changed even later.
bool is_defined_const(const SYMTAB *sym) {
    if (sym->attr & SA_unwritten) return true;
    const unsigned bits = sym->type->qual_kind(true);
    if ((bits & TQ_const) == 0 || (bits & (TQ_volatile | TQ_ioport)) != 0) return false;
    const TYPE *elem = sym->type->stds();
    while (elem->kind_ == TYPE::ARRAY && elem->sub.array.elem)
        elem = elem->sub.array.elem->stds();
    return !elem->is_csu() || (elem->is_complete() && !elem->cpp && !elem->get_csu()->bclasses);
}

std::uint64_t bits_of(const fkMDATA *member) {
    return member->is_bitfield ? member->width : member->type->size();
}

// Whether any of the bits from `first` up to `end` belongs to a member that may be volatile.
bool has_volatile_member(const CSU &csu, std::uint64_t first, std::uint64_t end) {
    for (const fkMDATA *member = csu.mdata; member; member = member->next) {
        const auto offset = static_cast<std::uint64_t>(member->offset);
        // An array of unknown bound goes on to the end.
        const bool begins_before_end = member->offset < 0 || offset < end;
        const bool ends_behind_first =
            member->offset < 0 || !member->type->is_complete() || offset + bits_of(member) > first;
        if (begins_before_end && ends_behind_first && type_may_contain_volatile(member->type))
            return true;
    }
    return false;
}

// The object that an address leads into, or null; pointer arithmetic stays within an object.
const NODE *object_of_address(const NODE *address) {
    while (address) {
        switch (address->op) {
        case OP::UAND: return address->left;
        case OP::PCONV:
        case OP::OUIALIGN:
        case OP::NONALIGN:
        case OP::MINUS: address = address->left; break;
        case OP::PLUS:
            address = address->left->type->is_ptr() ? address->left : address->right;
            break;
        default: return nullptr;
        }
    }
    return nullptr;
}

// The variable that an lvalue lies in, or null when that is not known.
const SYMTAB *variable_of(const NODE *lvalue) {
    while (lvalue) {
        switch (lvalue->op) {
        case OP::NAME: return lvalue->u.name.sym;
        case OP::STDOT: lvalue = lvalue->left; break;
        case OP::UMULT:
        case OP::STREF: lvalue = object_of_address(lvalue->left); break;
        default: return nullptr;
        }
    }
    return nullptr;
}

const fkMDATA *member_of(const NODE *access) {
    return access->right && access->right->op == OP::FIELD ? access->right->u.field.mdata : nullptr;
}
} // namespace

bool symbol_is_immutable(const SYMTAB *sym) {
    return is_defined_const(sym) && !type_may_contain_volatile(sym->type);
}

bool bits_of_var_are_immutable(const SYMTAB *sym, std::uint32_t offset, std::uint32_t bits) {
    if (!is_defined_const(sym) || !offset_is_in_range(offset, sym->type, bits)) return false;
    if (!sym->type->is_csu()) return !type_may_contain_volatile(sym->type);
    return !has_volatile_member(*sym->type->get_csu(), offset, std::uint64_t{offset} + bits);
}

bool lvalue_is_immutable(const NODE *lvalue) {
    std::int64_t offset = 0, bits = -1; // of a member in its variable
    const NODE *object = lvalue;
    for (; object->op == OP::STDOT; object = object->left) {
        const fkMDATA *member = member_of(object);
        if (!member || !member->type || node_is_volatile_access(object)) return false;
        if (bits < 0) bits = static_cast<std::int64_t>(bits_of(member));
        offset += member->offset;
    }
    if (node_is_volatile_access(object)) return false;
    const SYMTAB *sym = variable_of(object);
    if (!sym) return false;
    if (object->op != OP::NAME || bits < 0) return symbol_is_immutable(sym);
    return offset >= 0 && offset <= UINT32_MAX &&
           bits_of_var_are_immutable(sym, static_cast<std::uint32_t>(offset),
                                     static_cast<std::uint32_t>(bits));
}

bool must_preserve_STDOT(const NODE *tree) {
    constexpr unsigned elsewhere = TQ_near | TQ_far | TQ_ioport | TQ_onchip;
    if (tree->op != OP::STDOT) return false;
    for (; tree->op == OP::STDOT; tree = tree->left) {
        const fkMDATA *member = member_of(tree);
        if (!member || member->is_bitfield || node_is_volatile_access(tree)) return true;
    }
    return node_is_volatile_access(tree) || (tree->type->qual_kind(true) & elsewhere) != 0;
}
