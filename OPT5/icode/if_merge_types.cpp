// Types of a file that are equal although they were defined separately, as the translation units of
// a merged file define them: the later one becomes an equivalent of the earlier one, and the writer
// writes one record for both.
#include "OPT5/icode/if_file.h"

#include <cstring>

namespace {
std::uint32_t number_of(TYPE *type) {
    return type ? type->canonical()->uid : 0;
}

// Says all of a type but the members of a class and the enumerators of an enum; "" when the type
// is equal to none, as a class without a name is. Components have found their equivalents before.
std::string key_of(TYPE *type) {
    std::string key;
    const auto add = [&key](std::uint64_t word) { (key += ' ') += std::to_string(word); };
    for (std::uint64_t word : {std::uint64_t{type->kind_}, std::uint64_t{type->size_},
                               std::uint64_t{type->align_}, std::uint64_t{type->cpp}})
        add(word);
    const TYPE::SUB &sub = type->sub;
    switch (type->kind_) {
    case TYPE::POINTER:
    case TYPE::REFERENCE: add(number_of(sub.pointer.pointee)); break;
    case TYPE::QUALIFIED:
        add(number_of(sub.qualified.base));
        add(sub.qualified.bits);
        break;
    case TYPE::TYPEDEF:
        add(number_of(sub.typedef_.base));
        (key += ' ') += sub.typedef_.name;
        break;
    case TYPE::ARRAY:
        add(number_of(sub.array.elem));
        add(sub.array.count);
        add(sub.array.is_vector);
        add(sub.array.is_complete);
        break;
    case TYPE::PTM:
        add(number_of(sub.ptm.member));
        add(number_of(sub.ptm.csu));
        break;
    case TYPE::FUNCTION:
        add(number_of(sub.func.result));
        add(sub.func.cc_kind);
        add(sub.func.flag1);
        add(sub.func.flag2);
        for (const PARAM_ELEM *p = sub.func.params; p; p = p->next) {
            add(number_of(p->type));
            add(p->mode);
        }
        break;
    case TYPE::ENUM:
        if (*sub.enum_.name == 0) return {};
        add(number_of(sub.enum_.underlying));
        (key += ' ') += sub.enum_.name;
        break;
    case TYPE::CLASS:
    case TYPE::STRUCT:
    case TYPE::UNION:
        if (*sub.csu->name == 0 || std::strncmp(sub.csu->name, "$$fake", 6) == 0) return {};
        add(sub.csu->is_complete);
        (key += ' ') += sub.csu->name;
        break;
    default: return {}; // the package keeps one of each
    }
    return key;
}

bool same_type(TYPE *a, TYPE *b) {
    if (number_of(a) == number_of(b)) return true;
    // Members may be of classes that are defined later and merge later.
    while (a->kind_ == b->kind_ && a->kind_ == TYPE::POINTER && a->sub.pointer.pointee &&
           b->sub.pointer.pointee) {
        a = a->sub.pointer.pointee;
        b = b->sub.pointer.pointee;
    }
    return number_of(a) == number_of(b) || (a->kind_ == b->kind_ && a->kind_ >= TYPE::ENUM &&
                                            !key_of(a).empty() && key_of(a) == key_of(b));
}

bool same_members(const CSU &a, const CSU &b) {
    const fkMDATA *m = a.mdata, *n = b.mdata;
    for (; m && n; m = m->next, n = n->next)
        if (std::strcmp(m->name, n->name) != 0 || m->offset != n->offset || m->width != n->width ||
            m->is_bitfield != n->is_bitfield || m->index != n->index ||
            !same_type(m->type, n->type))
            return false;
    if (m || n) return false;
    const BCLASS_ELEM *p = a.bclasses, *q = b.bclasses;
    for (; p && q; p = p->next, q = q->next)
        if (p->offset != q->offset || p->is_virtual != q->is_virtual ||
            !same_type(p->type, q->type))
            return false;
    return !p && !q;
}

bool same_enumerators(const ETOR_ELEM *a, const ETOR_ELEM *b) {
    for (; a && b; a = a->next, b = b->next)
        if (std::strcmp(a->name, b->name) != 0 || a->value != b->value) return false;
    return !a && !b;
}

bool same_lists(const TYPE *a, const TYPE *b) {
    if (a->kind_ >= TYPE::CLASS) return same_members(*a->sub.csu, *b->sub.csu);
    return a->kind_ != TYPE::ENUM || same_enumerators(a->sub.enum_.etors, b->sub.enum_.etors);
}
} // namespace

void I_FILE::if_merge_type_defs() {
    std::unordered_map<std::string, std::vector<TYPE *>> earlier;
    const auto find_equivalent_type = [&earlier](TYPE *type) {
        if (!type || type->equiv) return;
        const std::string key = key_of(type);
        if (key.empty()) return;
        std::vector<TYPE *> &candidates = earlier[key];
        for (TYPE *candidate : candidates) {
            if (candidate == type) return;
            if (!same_lists(candidate, type)) continue;
            type->equiv = candidate;
            type->merg = true;
            return;
        }
        candidates.push_back(type);
    };
    for (const TYPE_INFO &entry : near_types_)
        find_equivalent_type(entry.type);
    for (const auto &[number, entry] : far_types_)
        find_equivalent_type(entry.type);
}
