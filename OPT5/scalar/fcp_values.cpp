// Fast copy propagation: which values may stand in several places, and the values of globals that
// never change.
#include "OPT5/icode/if.h"
#include "OPT5/rep/type_pkg.h"
#include "OPT5/scalar/fcp.h"

#include <algorithm>

namespace {
// The address of a part of a named object that lies in the memory that plain pointers reach.
bool is_fixed_address(const NODE *tree) {
    if (tree->op != OP::UAND) return false;
    const NODE *object = tree->left;
    while (object->op == OP::STDOT)
        object = object->left;
    return object->op == OP::NAME && object->u.name.sym &&
           !((object->u.name.sym->type->qual_kind(true) | object->type->qual_kind(true)) &
             (TQ_far | TQ_ioport));
}

// An array's address as that of its first element, too.
bool is_object_address(const NODE *tree) {
    if (tree->op == OP::PCONV && tree->type->is_ptr()) tree = tree->left;
    return is_fixed_address(tree);
}

bool is_constant_leaf(const NODE *tree) {
    return tree->op == OP::SCON || tree->op == OP::ICON || tree->op == OP::FCON;
}

bool never_changes(const NODE *name) {
    const SYMTAB *sym = name->u.name.sym;
    const FCP_SYMBOL *fields = fcp_find_symbol(sym);
    return fields && fields->is_settled && fcp_is_plain_local(sym) && sym->sc == 1 &&
           !node_is_volatile_access(name);
}
} // namespace

bool fcp_is_bitfield(const NODE *lvalue) {
    return (lvalue->op == OP::STDOT || lvalue->op == OP::STREF) && lvalue->right->op == OP::FIELD &&
           lvalue->right->u.field.mdata->is_bitfield;
}

bool fcp_is_propagatable(const NODE *value) {
    switch (value->op) {
    case OP::NAME: return never_changes(value);
    case OP::SCON:
    case OP::ICON:
    case OP::FCON: return true;
    case OP::UAND: return is_fixed_address(value);
    case OP::PLUS: return is_object_address(value->left) && value->right->op == OP::ICON;
    case OP::SCONV: return is_constant_leaf(value->left);
    case OP::IDENTITY: return fcp_is_propagatable(value->left);
    case OP::PCONV: return is_constant_leaf(value->left) || is_object_address(value);
    default: return false;
    }
}

NODE *fcp_assigned_value(NODE *asg) {
    NODE *value = asg->right;
    while (value->op == OP::ASG && equiv_mtypes(value->left->type, asg->left->type) &&
           !fcp_is_bitfield(value->left) && !node_is_volatile_access(value->left))
        value = value->right;
    return value;
}

NODE *fcp_value_of_type(TYPE *type, const NODE *value) {
    if (equiv_mtypes(type, value->type)) return copy_tree(value);
    if (!is_constant_leaf(value) || !type->is_scalar() || !value->type->is_scalar()) return nullptr;
    return coerce_to_type(type, copy_tree(value));
}

// --- initialisers

namespace {
// A place within a global or a string: what the lvalue names, when it is at a fixed distance from
// its beginning.
struct PLACE {
    const SYMTAB *sym = nullptr;
    const NODE *text = nullptr; // instead of it
    std::int64_t bits = 0;      // from the beginning
};

bool address_place(const NODE *address, PLACE &place);

bool lvalue_place(const NODE *lvalue, PLACE &place) {
    switch (lvalue->op) {
    case OP::NAME: place.sym = lvalue->u.name.sym; return place.sym != nullptr;
    case OP::STDOT:
    case OP::STREF: {
        const NODE *field = lvalue->right;
        if (field->op != OP::FIELD || !field->u.field.mdata) return false;
        place.bits += field->u.field.mdata->offset;
        return lvalue->op == OP::STDOT ? lvalue_place(lvalue->left, place)
                                       : address_place(lvalue->left, place);
    }
    case OP::UMULT: return !lvalue->right && address_place(lvalue->left, place);
    default: return false;
    }
}

constexpr std::int64_t unit = 16; // bits

// The number of units by which a constant tree moves a pointer.
bool constant_distance(const NODE *tree, std::int64_t &units) {
    if (tree->op == OP::ICON) {
        units = truncate_to_type(tree->u.lval, tree->type).s32();
        return true;
    }
    if (tree->op != OP::PMCONV || tree->left->op != OP::ICON || tree->right->op != OP::ICON)
        return false;
    const std::int64_t index = truncate_to_type(tree->left->u.lval, tree->left->type).s32();
    units = index * (tree->right->u.lval.s32() / unit);
    return true;
}

bool address_place(const NODE *address, PLACE &place) {
    std::int64_t units = 0;
    switch (address->op) {
    case OP::UAND: return lvalue_place(address->left, place);
    case OP::SCON: place.text = address; return address->type->is_ptr();
    case OP::PCONV: return address->type->is_ptr() && address_place(address->left, place);
    case OP::PLUS:
    case OP::MINUS:
        if (!address->type->is_ptr() || !constant_distance(address->right, units)) return false;
        place.bits += (address->op == OP::PLUS ? units : -units) * unit;
        return address_place(address->left, place);
    default: return false;
    }
}

// Whether what the file says of the object's contents is what a program finds there.
bool contents_are_known(const SYMTAB *sym) {
    return sym->level == 0 && (sym->sc == 2 || sym->sc == 3) && !sym->type->is_func() &&
           !symbol_is_preemptible(sym) && sym->type->is_complete();
}

std::int64_t units_of(const NODE *tree) {
    if (tree->op == OP::SKIP) return tree->u.lval.u32();
    return static_cast<std::int64_t>(tree->type->size()) / unit;
}

// Where the trees of one initialiser begin, in units. The last one looked at is kept: accesses to
// one table mostly come together.
struct INIT_INDEX {
    const EXPR_LIST *init = nullptr;
    std::size_t trees = 0;
    std::vector<std::int64_t> starts; // by tree, and the end
};
INIT_INDEX last_index;

const INIT_INDEX &index_of(const EXPR_LIST *init) {
    if (last_index.init == init && last_index.trees == init->trees.size()) return last_index;
    last_index = {init, init->trees.size(), {0}};
    for (const NODE *tree : init->trees) {
        if (tree->op == OP::ENDINIT) break;
        last_index.starts.push_back(last_index.starts.back() + units_of(tree));
    }
    return last_index;
}

NODE *zero_of_type(TYPE *type) {
    if (type->is_floating()) return nullptr;
    return coerce_to_type(type, mk_ICON(0, type->is_ptr() ? tp->short_type() : tp->int_type()));
}

// A character of a string that fills an array; zeros follow it.
NODE *character_at(const NODE *text, std::int64_t at, TYPE *type) {
    if (type->size() != unit || !type->is_int_or_enum()) return nullptr;
    const std::string_view bytes = text->scon_value();
    const auto index = static_cast<std::size_t>(at);
    const int value = index < bytes.size() ? static_cast<unsigned char>(bytes[index]) : 0;
    return coerce_to_type(type, mk_ICON(value, tp->int_type()));
}

// The `width` bits from bit `first` of a storage unit's constant, as a member of the type reads
// them.
NODE *bits_of_constant(const NODE *constant, unsigned first, unsigned width, TYPE *type) {
    if (constant->op != OP::ICON || width == 0 || first + width > constant->type->size() ||
        !type->is_int_or_enum() || width > type->size())
        return nullptr;
    std::uint32_t value = constant->u.lval.u32() >> first;
    if (width < 32) value &= (1u << width) - 1;
    if (type->is_signed() && width < 32 && (value >> (width - 1)) != 0) value |= ~0u << width;
    const INT65 number = type->is_signed() ? INT65(static_cast<std::int32_t>(value)) : INT65(value);
    return coerce_to_type(type,
                          mk_ICON(number, type->is_signed() ? tp->int_type() : tp->uint_type()));
}

NODE *scalar_at(const SYMTAB *sym, std::int64_t at, TYPE *type) {
    if (!sym->init) return zero_of_type(type);
    const INIT_INDEX &index = index_of(sym->init);
    const auto next = std::upper_bound(index.starts.begin(), index.starts.end(), at);
    const std::int64_t units = type->size() / unit;
    if (next == index.starts.end()) return zero_of_type(type); // behind the end
    const auto n = static_cast<std::size_t>(next - index.starts.begin() - 1);
    const NODE *tree = sym->init->trees[n];
    if (at + units > *next) return nullptr;
    if (tree->op == OP::SKIP) return zero_of_type(type);
    if (tree->op == OP::SCON && tree->type->is_array())
        return character_at(tree, at - index.starts[n], type);
    if (index.starts[n] != at || !equiv_mtypes(tree->type, type) || !expr_is_constant(tree))
        return nullptr;
    return copy_tree(tree);
}

NODE *character_of_text(const NODE *lvalue, const PLACE &place) {
    const auto length = static_cast<std::int64_t>(place.text->scon_value().size());
    if (lvalue->op != OP::UMULT || node_is_volatile_access(lvalue) || place.bits % unit != 0 ||
        place.bits / unit > length)
        return nullptr;
    return character_at(place.text, place.bits / unit, lvalue->type->type_qualified());
}

const fkMDATA *bitfield_of(const NODE *lvalue) {
    return fcp_is_bitfield(lvalue) ? lvalue->right->u.field.mdata : nullptr;
}
} // namespace

void fcp_forget_initialisers() {
    last_index = INIT_INDEX();
}

// An object without initialiser may be a constant that code computes before main begins.
bool fcp_is_constant_object(const SYMTAB *sym) {
    return (sym->init || (sym->attr & SA_unwritten)) && symbol_is_immutable(sym) &&
           contents_are_known(sym);
}

NODE *fcp_global_constant(const NODE *lvalue) {
    if (!lvalue->type->is_scalar() || !lvalue->type->normalized()) return nullptr;
    PLACE place;
    if (!lvalue_place(lvalue, place) || place.bits < 0) return nullptr;
    if (place.text) return character_of_text(lvalue, place);
    if (const SYMTAB *original = fcp_copied_constant(place.sym, lvalue))
        place.sym = original;
    else if (!lvalue_is_immutable(lvalue) || !fcp_is_constant_object(place.sym))
        return nullptr;
    TYPE *type = lvalue->type->type_qualified();
    const fkMDATA *member = bitfield_of(lvalue);
    const std::int64_t bits = member ? member->width : type->size();
    if (place.bits + bits > static_cast<std::int64_t>(place.sym->type->size())) return nullptr;
    if (!member) {
        if (place.bits % unit != 0) return nullptr;
        return scalar_at(place.sym, place.bits / unit, type);
    }
    // The storage unit of a bit-field begins at a multiple of its declared type's size.
    const auto storage = static_cast<std::int64_t>(member->type->size());
    NODE *whole = scalar_at(place.sym, place.bits / storage * (storage / unit),
                            member->type->type_qualified());
    if (!whole) return nullptr;
    NODE *part =
        bits_of_constant(whole, static_cast<unsigned>(place.bits % storage), member->width, type);
    erase_tree(whole);
    return part;
}
