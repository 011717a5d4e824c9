// Relations between two types. exact_types is what interning asks: equal in every field, components
// by identity, since these are interned themselves. The other two compare what types mean. They
// walk both types side by side in a loop over a list of open pairs. As everything must agree, a
// pair that was met before need not be looked at again. Classes are compared by identity, so that
// no type leads back to itself.
#include "OPT5/rep/type_pkg.h"

#include <boost/unordered_set.hpp>

#include <cstring>

namespace {
enum class SENSE {
    loose,      // also pointers of one size to anything, and integers of one size of either sign
    compatible, // as the language says, whatever the qualifiers
    machine,    // the same values and operations: bounds must agree
};

class SIDE_BY_SIDE {
public:
    explicit SIDE_BY_SIDE(SENSE how) : sense(how) {}
    bool agree(TYPE *a, TYPE *b);

private:
    // Does what the two types say themselves agree? Their components become open pairs.
    bool layer_agrees(TYPE *a, TYPE *b);
    bool arrays_agree(const TYPE *a, const TYPE *b);
    bool functions_agree(const TYPE *a, const TYPE *b);
    bool was_met(TYPE *a, TYPE *b);
    void open(TYPE *a, TYPE *b) { pairs.emplace_back(a, b); }

    // More pairs than two honest types of this size can have.
    static constexpr std::size_t limit = 100000;
    SENSE sense;
    std::vector<std::pair<TYPE *, TYPE *>> pairs;
    boost::unordered_set<std::pair<TYPE *, TYPE *>> functions; // that were met
};

// Enums mean their integers.
TYPE *meaning(TYPE *type) {
    while (type) {
        type = type->stds();
        if (type->kind_ != TYPE::ENUM || !type->sub.enum_.underlying) break;
        type = type->sub.enum_.underlying;
    }
    return type;
}

bool SIDE_BY_SIDE::agree(TYPE *a, TYPE *b) {
    for (;;) {
        TYPE *left = meaning(a), *right = meaning(b);
        if (left != right) {
            if (!left || !right || left->kind_ != right->kind_ || !layer_agrees(left, right))
                return false;
        }
        if (pairs.empty()) return true;
        a = pairs.back().first;
        b = pairs.back().second;
        pairs.pop_back();
    }
}

bool SIDE_BY_SIDE::was_met(TYPE *a, TYPE *b) {
    return !functions.emplace(a, b).second;
}

bool SIDE_BY_SIDE::layer_agrees(TYPE *a, TYPE *b) {
    if (functions.size() > limit) return false;
    if (a->kind_ != TYPE::ARRAY && a->size_ != b->size_) return false;
    const TYPE::SUB &x = a->sub, &y = b->sub;
    switch (a->kind_) {
    case TYPE::VOID_:
    case TYPE::FLOATING: return true;
    case TYPE::INTEGER:
        return a->is_bool() == b->is_bool() && (sense == SENSE::loose || is_same_sign(a, b));
    case TYPE::FIXEDPT:
        return x.fixed.binary_point == y.fixed.binary_point &&
               x.fixed.signed_flag == y.fixed.signed_flag;
    case TYPE::COMPLEX: open(x.complex.part, y.complex.part); return true;
    case TYPE::POINTER:
    case TYPE::REFERENCE:
        if (sense != SENSE::loose) open(x.pointer.pointee, y.pointer.pointee);
        return true;
    case TYPE::ARRAY: return arrays_agree(a, b);
    case TYPE::PTM:
        open(x.ptm.member, y.ptm.member);
        open(x.ptm.csu, y.ptm.csu);
        return true;
    case TYPE::FUNCTION: return was_met(a, b) || functions_agree(a, b);
    case TYPE::ENUM: // without an underlying type
    case TYPE::CLASS:
    case TYPE::STRUCT:
    case TYPE::UNION: return a->canonical() == b->canonical();
    default: return false; // a qualifier or name of nothing
    }
}

bool SIDE_BY_SIDE::arrays_agree(const TYPE *a, const TYPE *b) {
    const auto &x = a->sub.array, &y = b->sub.array;
    if (x.is_vector != y.is_vector || x.is_struct_vector != y.is_struct_vector) return false;
    const bool bounds_count =
        sense == SENSE::machine || x.is_vector || (x.is_complete && y.is_complete);
    if (bounds_count && (x.count != y.count || x.is_complete != y.is_complete)) return false;
    open(x.elem, y.elem);
    return true;
}

bool SIDE_BY_SIDE::functions_agree(const TYPE *a, const TYPE *b) {
    const auto &x = a->sub.func, &y = b->sub.func;
    if (x.flag1 != y.flag1 || x.cc_kind != y.cc_kind) return false;
    open(x.result, y.result);
    if (!x.flag2 || !y.flag2) return sense != SENSE::machine || x.flag2 == y.flag2;
    const PARAM_ELEM *p = x.params, *q = y.params;
    for (; p && q; p = p->next, q = q->next)
        open(p->type, q->type);
    return !p && !q;
}

bool same_text(const char *a, const char *b) {
    return std::strcmp(a, b) == 0;
}

bool exact_parameters(const PARAM_ELEM *a, const PARAM_ELEM *b) {
    for (; a && b; a = a->next, b = b->next)
        if (a->type != b->type || a->mode != b->mode || !same_text(a->name, b->name)) return false;
    return !a && !b;
}
} // namespace

bool exact_types(const TYPE *a, const TYPE *b) {
    if (a == b) return true;
    if (!a || !b || a->kind_ != b->kind_ || a->size_ != b->size_ || a->align_ != b->align_ ||
        a->cpp != b->cpp)
        return false;
    const TYPE::SUB &x = a->sub, &y = b->sub;
    switch (a->kind_) {
    case TYPE::VOID_: return true;
    case TYPE::INTEGER:
        return x.integer.ikind == y.integer.ikind &&
               x.integer.explicit_sign == y.integer.explicit_sign &&
               x.integer.is_boolean == y.integer.is_boolean && x.integer.plain == y.integer.plain;
    case TYPE::FLOATING: return x.floating.fkind == y.floating.fkind;
    case TYPE::FIXEDPT:
        return x.fixed.underlying == y.fixed.underlying &&
               x.fixed.binary_point == y.fixed.binary_point &&
               x.fixed.signed_flag == y.fixed.signed_flag;
    case TYPE::COMPLEX: return x.complex.part == y.complex.part;
    case TYPE::POINTER:
    case TYPE::REFERENCE: return x.pointer.pointee == y.pointer.pointee;
    case TYPE::QUALIFIED:
        return x.qualified.base == y.qualified.base && x.qualified.bits == y.qualified.bits;
    case TYPE::TYPEDEF:
        return x.typedef_.base == y.typedef_.base && a->lowered == b->lowered &&
               same_text(x.typedef_.name, y.typedef_.name);
    case TYPE::ARRAY:
        return x.array.elem == y.array.elem && x.array.count == y.array.count &&
               x.array.is_vector == y.array.is_vector &&
               x.array.is_struct_vector == y.array.is_struct_vector &&
               x.array.is_complete == y.array.is_complete && x.array.low_bound == y.array.low_bound;
    case TYPE::PTM: return x.ptm.member == y.ptm.member && x.ptm.csu == y.ptm.csu;
    case TYPE::FUNCTION:
        return x.func.result == y.func.result && x.func.cc_kind == y.func.cc_kind &&
               x.func.flag1 == y.func.flag1 && x.func.flag2 == y.func.flag2 &&
               exact_parameters(x.func.params, y.func.params);
    default: return false; // each definition of an enum or a class is a type of its own
    }
}

bool compatible_types(TYPE *a, TYPE *b, bool loose) {
    return SIDE_BY_SIDE(loose ? SENSE::loose : SENSE::compatible).agree(a, b);
}

bool equiv_mtypes(TYPE *a, TYPE *b) {
    return SIDE_BY_SIDE(SENSE::machine).agree(a, b);
}

bool is_same_sign(const TYPE *a, const TYPE *b) {
    return a->is_unsigned() == b->is_unsigned();
}
