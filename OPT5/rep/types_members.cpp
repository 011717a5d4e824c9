// What types hold, and whether objects of two types may share storage.
#include "OPT5/driver/global_flags.h"
#include "OPT5/rep/type_pkg.h"

#include <boost/unordered_set.hpp>

namespace {
// Asks `answer` about each type whose values lie within a value of `whole`, as written: members,
// bases, elements and parts, but not `whole` itself. Stops at the first yes. Each class is entered
// once.
template <typename ANSWER> bool any_contained(const TYPE *whole, ANSWER answer) {
    std::vector<TYPE *> work{const_cast<TYPE *>(whole)};
    boost::unordered_set<const TYPE *> entered;
    const auto found = [&](TYPE *part) {
        if (part) work.push_back(part);
        return part && answer(part);
    };
    while (!work.empty()) {
        const TYPE *type = work.back()->stds();
        work.pop_back();
        if (type->kind_ == TYPE::ARRAY) {
            if (found(type->sub.array.elem)) return true;
        } else if (type->kind_ == TYPE::COMPLEX) {
            if (found(type->sub.complex.part)) return true;
        } else if (type->is_csu() && entered.insert(type).second) {
            const CSU &csu = *type->sub.csu;
            for (const BCLASS_ELEM *base = csu.bclasses; base; base = base->next)
                if (found(base->type)) return true;
            for (const fkMDATA *member = csu.mdata; member; member = member->next)
                if (found(member->type)) return true;
        }
    }
    return false;
}

// Storage of one may be read as the other: of either sign, and pointers to anything.
bool read_alike(TYPE *a, TYPE *b) {
    return compatible_types(a, b, true);
}

// On this target the chars are the integers of one memory unit.
bool is_char(const TYPE *type) {
    const std::uint32_t char_bits = tp->basic_int(TYPE::SCHAR)->size();
    return type->is_int_or_enum() && type->size() == char_bits;
}
} // namespace

// --- members

TYPE *type_of_nth_parameter(const TYPE *function, int n) {
    if (!function->is_func() || n < 0) return nullptr;
    const PARAM_ELEM *param = function->stds()->sub.func.params;
    for (; param && n > 0; --n)
        param = param->next;
    return param ? param->type : nullptr;
}

bool is_field_member_of_type(const fkMDATA *member, const TYPE *csu) {
    if (!csu->is_csu()) return false;
    for (const fkMDATA *own = csu->get_csu()->mdata; own; own = own->next)
        if (own == member) return true;
    return false;
}

bool csu_type_has_only_simple_scalar_members(const TYPE *csu) {
    if (!csu->is_csu() || csu->is_union() || csu->get_csu()->bclasses) return false;
    for (const fkMDATA *member = csu->get_csu()->mdata; member; member = member->next)
        if (member->is_bitfield || !member->type || !member->type->is_scalar() ||
            member->type->is_volatile())
            return false;
    return true;
}

bool is_type_component_of_type(TYPE *part, TYPE *whole) {
    const auto is_part = [part](TYPE *type) { return type && compatible_types(type, part); };
    const TYPE *type = whole->stds();
    if (type->kind_ == TYPE::ARRAY) return is_part(type->sub.array.elem);
    if (type->kind_ == TYPE::COMPLEX) return is_part(type->sub.complex.part);
    if (!type->is_csu()) return false;
    for (const BCLASS_ELEM *base = type->sub.csu->bclasses; base; base = base->next)
        if (is_part(base->type)) return true;
    for (const fkMDATA *member = type->sub.csu->mdata; member; member = member->next)
        if (is_part(member->type)) return true;
    return false;
}

bool type_is_contained_in_type(TYPE *part, TYPE *whole) {
    const auto is_part = [part](TYPE *type) { return compatible_types(type, part); };
    return is_part(whole) || any_contained(whole, is_part);
}

bool types_contained_in_union(TYPE *a, TYPE *b, TYPE *whole) {
    const auto joins = [a, b](TYPE *type) {
        return type->is_union() && type_is_contained_in_type(a, type) &&
               type_is_contained_in_type(b, type);
    };
    return joins(whole) || any_contained(whole, joins);
}

// --- storage

bool type_may_alias_type(TYPE *a, TYPE *b) {
    // Of what is defined elsewhere, nothing is known.
    const auto has_no_form = [](const TYPE *type) {
        return type->is_void() || type->is_func() || (type->is_csu() && !type->is_complete());
    };
    if (has_no_form(a) || has_no_form(b) || read_alike(a, b)) return true;
    // One class may be defined several times, and begin as another does.
    if (a->is_csu() && b->is_csu()) return true;
    if (chars_alias_other_types && (is_char(a) || is_char(b))) return true;
    return any_contained(a, [b](TYPE *part) { return read_alike(part, b); }) ||
           any_contained(b, [a](TYPE *part) { return read_alike(part, a); });
}

bool type_may_contain_volatile(const TYPE *type) {
    return type->is_volatile() ||
           any_contained(type, [](const TYPE *part) { return part->is_volatile(); });
}

// --- values

bool value_fits_in_type(const INT65 &value, const TYPE *type) {
    if (!type->is_int_or_enum() && !type->is_ptr()) return false;
    return value >= int_type_min(type) && value <= int_type_max(type);
}
