// Adjacent assignments to neighbouring memory become one.
//
// A statement and the one behind it are put together when both assign constants, or the halves of
// one value, to two 16-bit units that make an aligned pair of one variable, or when both assign to
// one place: the second constant then wins, and bits that each of them sets in the old value are
// set at once. What comes of it is tried with the next statement again. The wide store goes to the
// variable by name, so that alias analysis sees where it lies whatever its type is; a variable that
// only its name reaches is left alone, as such a store would take its address.
#include "OPT5/driver/global_flags.h"
#include "OPT5/driver/log.h"
#include "OPT5/rep/node_pool.h"
#include "OPT5/rep/type_pkg.h"
#include "OPT5/scalar/alias.h"
#include "OPT5/scalar/scalar.h"

#include <utility>

namespace {
constexpr std::int64_t unit = 16, pair = 32; // bits

// A place in a variable, at a known distance from its beginning.
struct PLACE {
    const SYMTAB *sym = nullptr;
    std::int64_t offset = 0; // bits
};

bool find_place(const NODE *lvalue, PLACE &place) {
    for (;;) {
        if (node_is_volatile_access(lvalue)) return false;
        switch (lvalue->op) {
        case OP::NAME: place.sym = lvalue->u.name.sym; return place.sym != nullptr;
        case OP::STDOT: {
            const fkMDATA *member = lvalue->right->u.field.mdata;
            if (!member || member->is_bitfield) return false;
            place.offset += member->offset;
            lvalue = lvalue->left;
            continue;
        }
        case OP::UMULT: break;
        default: return false;
        }
        const NODE *address = lvalue->left;
        for (; address->op == OP::PCONV || address->op == OP::PLUS; address = address->left) {
            if (!address->type->is_ptr()) return false;
            if (address->op == OP::PCONV) continue;
            const NODE *distance = address->right;
            const bool is_scaled = distance->op == OP::PMCONV;
            const NODE *steps = is_scaled ? distance->left : distance;
            if (steps->op != OP::ICON) return false;
            const std::int64_t step = is_scaled ? distance->right->u.lval.s32() : unit;
            place.offset += truncate_to_type(steps->u.lval, steps->type).s32() * step;
        }
        if (address->op != OP::UAND) return false;
        lvalue = address->left;
    }
}

// Whether a store to the variable may make its address.
bool is_in_memory(const SYMTAB *sym) {
    const bool is_auto = sym->level > 0 && (sym->sc == 1 || sym->sc == 4);
    return !sym->type->is_func() && sym->level != 1 && (!is_auto || (sym->attr & SA_aliased)) &&
           !type_may_contain_volatile(sym->type) &&
           !(sym->type->qual_kind(true) & (TQ_far | TQ_ioport | TQ_onchip));
}

bool is_plain_store(const NODE *stmt) {
    return stmt->op == OP::ASG && stmt->type->is_scalar() && !node_is_volatile_access(stmt->left);
}

bool is_unit_integer(const TYPE *type) {
    return type->is_int_or_enum() && type->size() == unit;
}

// The two halves of a value, as the units of a pair hold them; null when the trees are not that.
// The result is a new tree of type unsigned int.
NODE *join_constants(const NODE *low, const NODE *high) {
    if (low->op != OP::ICON || high->op != OP::ICON) return nullptr;
    const std::uint32_t value = (high->u.lval.u32() << unit) | (low->u.lval.u32() & 0xffffu);
    return mk_ICON(INT65(value), tp->uint_type());
}

// A variable that a store to memory leaves alone.
bool is_register_like(const NODE *tree) {
    return tree->op == OP::NAME && tree->u.name.sym->level >= 2 &&
           !(tree->u.name.sym->attr & SA_aliased) && !node_is_volatile_access(tree) &&
           tree->type->is_int_or_enum() && tree->type->size() == pair;
}

const NODE *below_casts(const NODE *tree) {
    while (tree->op == OP::SCONV && tree->left->type->is_int_or_enum() &&
           tree->type->is_int_or_enum() && !tree->type->is_bool())
        tree = tree->left;
    return tree;
}

NODE *join_halves(const NODE *low, const NODE *high) {
    low = below_casts(low);
    high = below_casts(high);
    const bool is_upper_half = high->op == OP::SRL && high->type->size() == pair &&
                               high->right->op == OP::ICON && high->right->u.lval == INT65(unit);
    if (!is_upper_half) return nullptr;
    const NODE *value = below_casts(high->left);
    if (!is_register_like(low) || !is_register_like(value) || low->u.name.sym != value->u.name.sym)
        return nullptr;
    return coerce_to_type(tp->uint_type(), copy_tree(low));
}

// One store for two of 16 bits each, or null. Takes nothing.
NODE *join_neighbours(const NODE *first, const NODE *second) {
    if (!is_unit_integer(first->left->type) || !is_unit_integer(second->left->type)) return nullptr;
    PLACE a, b;
    if (!find_place(first->left, a) || !find_place(second->left, b) || a.sym != b.sym ||
        !is_in_memory(a.sym))
        return nullptr;
    const NODE *low = first, *high = second;
    if (b.offset < a.offset) {
        std::swap(a, b);
        std::swap(low, high);
    }
    const bool is_pair = a.offset >= 0 && a.offset % pair == 0 && b.offset == a.offset + unit &&
                         b.offset + unit <= static_cast<std::int64_t>(a.sym->type->size());
    if (!is_pair || a.sym->align < pair || a.sym->align % pair != 0) return nullptr;
    NODE *value = join_constants(low->right, high->right);
    if (!value) value = join_halves(low->right, high->right);
    if (!value) return nullptr;
    TYPE *type = tp->uint_type();
    NODE *target = copy_tree(low->left, true);
    NODE *address = target->op == OP::UMULT ? target->left
                                            : maketree(OP::UAND, target, nullptr,
                                                       tp->mk_ptr(target->type), target->scope);
    if (target->op == OP::UMULT) erase_node(target);
    address = coerce_to_type(tp->mk_ptr(type), address);
    NODE *wide = maketree(OP::UMULT, address, nullptr, type, first->scope);
    return maketree(OP::ASG, wide, value, type, first->scope);
}

// A value that keeps some bits of what was there and sets others: (old & kept) | set.
struct BITS {
    bool reads_old = false;
    INT65 kept = 0, set = 0;
};

bool find_bits(const NODE *lvalue, const NODE *value, BITS &bits) {
    if (value->op == OP::ICON) {
        bits = {false, 0, value->u.lval};
        return true;
    }
    INT65 set = 0;
    if (value->op == OP::ORB && value->right->op == OP::ICON) {
        set = value->right->u.lval;
        value = value->left;
    }
    INT65 kept = ~INT65(0);
    if (value->op == OP::ANDB && value->right->op == OP::ICON) {
        kept = value->right->u.lval;
        value = value->left;
    }
    if (!trees_are_congruent(value, lvalue)) return false;
    bits = {true, kept, set};
    return true;
}

// One store for two to the same place, or null.
NODE *join_same_place(const NODE *first, const NODE *second) {
    TYPE *type = first->left->type;
    if (!type->is_integer() || type->is_bool() || tree_has_side_effects(first->left) ||
        !trees_are_congruent(first->left, second->left) ||
        !equiv_mtypes(first->right->type, type) || !equiv_mtypes(second->right->type, type))
        return nullptr;
    BITS a, b;
    if (!find_bits(first->left, first->right, a) || !find_bits(second->left, second->right, b))
        return nullptr;
    const INT65 kept = b.reads_old ? a.kept & b.kept : INT65(0);
    const INT65 set = b.reads_old ? (a.set & b.kept) | b.set : b.set;
    const bool reads_old = b.reads_old && a.reads_old;
    NODE *value = mk_ICON(set, type);
    if (reads_old) {
        NODE *old = maketree(OP::ANDB, copy_tree(first->left, true), mk_ICON(kept, type), type,
                             first->scope);
        value = maketree(OP::ORB, old, value, type, first->scope);
    }
    return maketree(OP::ASG, copy_tree(first->left, true), value, type, first->scope);
}

// An address that the first store may change is another place in the second statement.
bool address_is_fixed(const NODE *lvalue) {
    PLACE place;
    if (find_place(lvalue, place)) return true;
    if (lvalue->op != OP::UMULT && lvalue->op != OP::STREF) return false;
    const NODE *address = lvalue->left;
    while (address->op == OP::PCONV || address->op == OP::PLUS) {
        if (address->op == OP::PLUS && address->right->op != OP::ICON) return false;
        address = address->left;
    }
    return address->op == OP::NAME && address->u.name.sym->level >= 2 &&
           !(address->u.name.sym->attr & SA_aliased) && !node_is_volatile_access(address);
}

NODE *join(const NODE *first, const NODE *second) {
    if (!is_plain_store(first) || !is_plain_store(second)) return nullptr;
    if (NODE *both = join_neighbours(first, second)) return both;
    return address_is_fixed(first->left) ? join_same_place(first, second) : nullptr;
}
} // namespace

LIST *combine_assignments(LIST *list) {
    for (LIST *cell = list; cell && cell->rest;) {
        LIST *next = cell->rest;
        NODE *both = join(cell->first, next->first);
        if (!both) {
            cell = next;
            continue;
        }
        if (print_debug) {
            constexpr std::size_t longest = 2000;
            dprintf("\n\tCombining the assignments %s\n", infix_text(cell->first, longest).c_str());
            dprintf("\t......................and %s\n", infix_text(next->first, longest).c_str());
            dprintf("\t...................to get %s\n", infix_text(both, longest).c_str());
        }
        erase_tree(cell->first);
        erase_tree(next->first);
        cell->first = simp_tree(both);
        cell->rest = next->rest;
        release_list_cell(next);
    }
    return list;
}

void combine_asgs_to_memory() {
    dprintf("\n\n\t\t\t---------- ENTERING 'combine_asgs_to_memory' -------\n");
    if (opt_level() == 0) return;
    init_aliasing_info();
    for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink)
        if (!bb->lir_head) bb->statements = combine_assignments(bb->statements);
}
