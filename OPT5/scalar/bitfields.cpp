// Expansion of bit-fields where that pays.
//
// The machine's cost of a bit-field is that of its storage unit and one operation more, which no
// sequence of shifts and masks around the same access beats: a field that is read is as dear when
// it is written out, one that is stored dearer, since the rest of the unit must be read. What pays
// is to handle several fields of one unit at once. So constants that statements in a row store to
// fields of one unit become one store: of the whole unit when they make up all of it, else of a
// mask of what was there and the new bits. A volatile field is left alone, and so is one whose
// object's address might change by the stores. To read a unit that nothing has been stored to would
// be an access that the program does not make, so masks are for static objects.
#include "OPT5/driver/global_flags.h"
#include "OPT5/driver/log.h"
#include "OPT5/rep/type_pkg.h"
#include "OPT5/scalar/alias.h"
#include "OPT5/scalar/scalar.h"
#include "OPT5/target/costs.h"

namespace {
// The storage units of constants that are stored one after the other.
struct RUN {
    const NODE *field = nullptr; // the first of the lvalues
    std::uint32_t unit_bits = 0;
    std::int64_t unit_offset = 0; // in the object, bits
    std::uint64_t mask = 0, value = 0;
    int stores = 0;
};

const fkMDATA *constant_store_to_field(const NODE *stmt) {
    if (stmt->op != OP::ASG || stmt->right->op != OP::ICON) return nullptr;
    const NODE *lvalue = stmt->left;
    if (lvalue->op != OP::STDOT && lvalue->op != OP::STREF) return nullptr;
    if (lvalue->right->op != OP::FIELD) return nullptr;
    const fkMDATA *member = lvalue->right->u.field.mdata;
    if (!member || !member->is_bitfield || member->width == 0 || member->offset < 0) return nullptr;
    // A field of truth values holds 1 for every other value.
    if (!member->type->is_int_or_enum() || member->type->is_bool()) return nullptr;
    return member;
}

// An object that is not volatile, the address of which the store leaves as it is.
bool has_steady_place(const NODE *stmt) {
    if (tree_has_side_effects(stmt->left)) return false;
    const NODE *place = stmt->left;
    while (place->op == OP::STDOT)
        place = place->left;
    return place->op == OP::NAME || !tree_may_modify_value(stmt, place->left);
}

bool extend(RUN &run, const NODE *stmt) {
    const fkMDATA *member = constant_store_to_field(stmt);
    if (!member || !has_steady_place(stmt)) return false;
    const auto unit_bits = member->type->size();
    if (unit_bits != 16 && unit_bits != 32) return false;
    const std::int64_t unit_offset = member->offset - member->offset % unit_bits;
    const unsigned first = static_cast<unsigned>(member->offset - unit_offset);
    const TYPE *csu = stmt->left->right->u.field.csu;
    if (first + member->width > unit_bits || unit_offset + unit_bits > csu->size() ||
        type_may_contain_volatile(csu))
        return false;
    if (run.field && (run.unit_bits != unit_bits || run.unit_offset != unit_offset ||
                      run.field->op != stmt->left->op ||
                      !trees_are_congruent(run.field->left, stmt->left->left)))
        return false;
    if (!run.field) run = {stmt->left, unit_bits, unit_offset};
    const std::uint64_t ones = (std::uint64_t{1} << member->width) - 1;
    run.mask |= ones << first;
    run.value &= ~(ones << first);
    run.value |= (stmt->right->u.lval.low64() & ones) << first;
    ++run.stores;
    return true;
}

NODE *unit_of(const RUN &run) {
    TYPE *unit = wide_enough_int_type(run.unit_bits, false);
    NODE *object = copy_tree(run.field->left, true), *address = object;
    LS *scope = object->scope;
    if (run.field->op == OP::STDOT && object->op == OP::UMULT && !object->right) {
        address = object->left;
        erase_node(object);
    } else if (run.field->op == OP::STDOT) {
        address = maketree(OP::UAND, object, nullptr, tp->mk_ptr(object->type), scope);
    }
    address = maketree(OP::PCONV, address, nullptr, tp->mk_ptr(unit), scope);
    if (run.unit_offset != 0)
        address = maketree(OP::PLUS, address, mk_ICON(run.unit_offset / 16, tp->short_type()),
                           address->type, scope);
    return maketree(OP::UMULT, address, nullptr, unit, scope);
}

NODE *store_of(const RUN &run) {
    const std::uint64_t all = (std::uint64_t{1} << run.unit_bits) - 1;
    NODE *unit = unit_of(run);
    TYPE *type = unit->type;
    const auto constant = [type](std::uint64_t bits) { return mk_ICON(bits, type); };
    const auto update = [&](int op, std::uint64_t bits) {
        return maketree(op, unit, constant(bits), type, unit->scope);
    };
    if (run.mask == all) return mk_ASG(unit, constant(run.value));
    if (run.value == 0) return update(OP::ANDBASG, all & ~run.mask);
    if (run.value == run.mask) return update(OP::ORBASG, run.mask);
    NODE *kept =
        maketree(OP::ANDB, copy_tree(unit, true), constant(all & ~run.mask), type, unit->scope);
    return mk_ASG(unit, maketree(OP::ORB, kept, constant(run.value), type, unit->scope));
}

// Whether all of the unit has a value before: an object that is there from the start of the
// program.
bool is_initialized(const RUN &run) {
    const MEMREF ref = resolve_lvalue(run.field);
    return ref.object && (ref.object->level == 0 || ref.object->sc == 3);
}

bool pays(const RUN &run) {
    const std::uint64_t all = (std::uint64_t{1} << run.unit_bits) - 1;
    if (run.mask != all && !is_initialized(run)) return false;
    const bool is_update = run.value == 0 || run.value == run.mask;
    const int address = run.unit_offset != 0 ? cost_of_arithmetic : 0;
    int joined = cost_of_store + address;
    if (run.mask != all)
        joined += is_update ? cost_of_load + cost_of_arithmetic
                            : cost_of_load + address + 2 * cost_of_arithmetic;
    return joined < run.stores * (cost_of_store + cost_of_arithmetic);
}

// Joins the stores that begin at the cell.
void join_stores(LIST *cell) {
    RUN run;
    LIST *end = cell;
    while (end && extend(run, end->first))
        end = end->rest;
    if (run.stores < 1 || !pays(run)) return;
    NODE *store = store_of(run);
    dprintf("\n\tJoining %d stores to bit-fields: %s\n", run.stores,
            print_debug ? infix_text(store, 200).c_str() : "");
    erase_tree(cell->first);
    cell->first = store;
    erase_tree_list_to_entry(cell->rest, end, 0);
    cell->rest = end;
}
} // namespace

void expand_bitfields() {
    if (opt_level() < 1 || !currfuninfo->bb_list) return;
    init_aliasing_info();
    for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink)
        for (LIST *cell = bb->statements; cell; cell = cell->rest)
            join_stores(cell);
}
