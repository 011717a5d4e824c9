// Types that say the same although they were defined apart. The package makes one of equal types by
// itself as long as they are built on the same ones; classes and enums, and what is built on them,
// stay apart until they are merged here.
#include "OPT5/rep/type_pkg.h"

#include <cstring>

namespace {
bool same_text(const char *a, const char *b) {
    return std::strcmp(a, b) == 0;
}

std::uint32_t number_of(TYPE *type) {
    return type ? type->canonical()->uid : 0;
}

// Says all of a type but what its lists hold; "" when the type is equal to none, as a class without
// a name is. Components count by their canonical types.
std::string key_of(TYPE *type) {
    std::string key;
    const auto add = [&key](std::int64_t word) { (key += ' ') += std::to_string(word); };
    const auto add_type = [&add](TYPE *part) { add(number_of(part)); };
    const auto add_name = [&key](const char *name) { (key += ' ') += name; };
    add(type->kind_);
    add(type->size_);
    add(type->align_);
    add(type->cpp);
    const TYPE::SUB &sub = type->sub;
    switch (type->kind_) {
    case TYPE::FIXEDPT:
        add_type(sub.fixed.underlying);
        add(sub.fixed.binary_point);
        add(sub.fixed.signed_flag);
        break;
    case TYPE::COMPLEX: add_type(sub.complex.part); break;
    case TYPE::POINTER:
    case TYPE::REFERENCE: add_type(sub.pointer.pointee); break;
    case TYPE::QUALIFIED:
        add_type(sub.qualified.base);
        add(sub.qualified.bits);
        break;
    case TYPE::TYPEDEF:
        add_type(sub.typedef_.base);
        add(type->lowered);
        add_name(sub.typedef_.name);
        break;
    case TYPE::ARRAY:
        add_type(sub.array.elem);
        add(sub.array.count);
        add(sub.array.low_bound);
        add(sub.array.is_vector);
        add(sub.array.is_complete);
        break;
    case TYPE::PTM:
        add_type(sub.ptm.member);
        add_type(sub.ptm.csu);
        break;
    case TYPE::FUNCTION:
        add_type(sub.func.result);
        add(sub.func.cc_kind);
        add(sub.func.flag1);
        add(sub.func.flag2);
        for (const PARAM_ELEM *param = sub.func.params; param; param = param->next) {
            add_type(param->type);
            add(param->mode);
        }
        break;
    case TYPE::ENUM:
        if (*sub.enum_.name == '\0') return {};
        add_type(sub.enum_.underlying);
        add_name(sub.enum_.name);
        break;
    case TYPE::CLASS:
    case TYPE::STRUCT:
    case TYPE::UNION:
        if (*sub.csu->name == '\0' || TYPE_PKG::is_fake_name(sub.csu->name)) return {};
        add(sub.csu->is_complete);
        add(type->lowered);
        add_name(sub.csu->name);
        break;
    default: return {}; // the package keeps one of each
    }
    return key;
}

bool canonically_same(TYPE *a, TYPE *b) {
    return a && b && a->canonical() == b->canonical();
}

// Of elements of classes, which may be, or point at, classes that are defined later and merge
// later.
bool same_element_type(TYPE *a, TYPE *b) {
    if (!a || !b) return a == b;
    while (a->kind_ == b->kind_ && a->kind_ == TYPE::POINTER && a->sub.pointer.pointee &&
           b->sub.pointer.pointee) {
        a = a->sub.pointer.pointee;
        b = b->sub.pointer.pointee;
    }
    if (canonically_same(a, b)) return true;
    if (a->kind_ != b->kind_ || a->kind_ < TYPE::ENUM) return false;
    const std::string key = key_of(a);
    return !key.empty() && key == key_of(b);
}

// Two lists of one length whose elements agree pair by pair.
template <class ELEM, class Agree> bool same_lists(const ELEM *a, const ELEM *b, Agree agree) {
    for (; a && b; a = a->next, b = b->next)
        if (!agree(*a, *b)) return false;
    return !a && !b;
}

template <class SameType>
bool same_members(const fkMDATA *list, const fkMDATA *other, SameType same_type) {
    return same_lists(list, other, [same_type](const fkMDATA &a, const fkMDATA &b) {
        return a.index == b.index && a.offset == b.offset && a.width == b.width &&
               a.is_bitfield == b.is_bitfield && a.flag1 == b.flag1 && a.flag2 == b.flag2 &&
               a.flag3 == b.flag3 && a.flags == b.flags && a.field_type_id == b.field_type_id &&
               same_text(a.name, b.name) && same_type(a.type, b.type);
    });
}

bool same_elements(const CSU &a, const CSU &b) {
    const auto same_typed = [](const auto &x, const auto &y) {
        return same_element_type(x.type, y.type);
    };
    const auto same_data = [](const SDATA_ELEM &x, const SDATA_ELEM &y) {
        return x.access == y.access && same_text(x.name, y.name) &&
               same_element_type(x.type, y.type);
    };
    const auto same_function = [](const MFUNC_ELEM &x, const MFUNC_ELEM &y) {
        return x.access == y.access && x.vtable_index == y.vtable_index &&
               same_text(x.name, y.name);
    };
    const auto same_base = [](const BCLASS_ELEM &x, const BCLASS_ELEM &y) {
        return x.offset == y.offset && x.access == y.access && x.is_virtual == y.is_virtual &&
               same_element_type(x.type, y.type);
    };
    return same_members(a.mdata, b.mdata, same_element_type) &&
           same_lists(a.bclasses, b.bclasses, same_base) &&
           same_lists(a.sdata, b.sdata, same_data) &&
           same_lists(a.mfuncs, b.mfuncs, same_function) &&
           same_lists(a.ntypes, b.ntypes, same_typed) && same_lists(a.params, b.params, same_typed);
}

bool hold_the_same(const TYPE *a, const TYPE *b) {
    if (a->kind_ >= TYPE::CLASS) return same_elements(*a->sub.csu, *b->sub.csu);
    return a->kind_ != TYPE::ENUM ||
           same_lists(a->sub.enum_.etors, b->sub.enum_.etors,
                      [](const ETOR_ELEM &x, const ETOR_ELEM &y) {
                          return x.value == y.value && same_text(x.name, y.name);
                      });
}
} // namespace

bool mdata_equal(const fkMDATA *a, const fkMDATA *b) {
    return same_members(a, b, canonically_same);
}

bool merge_types(TYPE *earlier, TYPE *type) {
    if (canonically_same(earlier, type)) return true;
    if (earlier->kind_ != type->kind_) return false;
    const std::string key = key_of(earlier);
    if (key.empty() || key != key_of(type) || !hold_the_same(earlier, type)) return false;
    type->set_equiv(earlier);
    return true;
}

TYPE *EARLIER_TYPES::find_equivalent_type(TYPE *type) {
    if (type->equiv) return type->canonical();
    const std::string key = key_of(type);
    if (key.empty()) return nullptr;
    std::vector<TYPE *> &candidates = types[key];
    for (TYPE *candidate : candidates) {
        if (candidate == type) return nullptr;
        if (!hold_the_same(candidate, type)) continue;
        type->set_equiv(candidate);
        return candidate;
    }
    candidates.push_back(type);
    return nullptr;
}
