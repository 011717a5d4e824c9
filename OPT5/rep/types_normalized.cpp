// The normalized form of a type: typedefs are gone, qualifiers stand where they stood, integers and
// floats are those basic types that TYPE_PKG::normalize_basic_types has chosen for their size, and
// all components are normalized. Enums and classes are their own normalized forms.
#include "OPT5/rep/type_pkg.h"

namespace {
// Types are built of components that came before them; only classes refer to later ones.
constexpr unsigned max_nesting = 5000;

class NESTING {
public:
    NESTING() {
        if (++level > max_nesting) tp_die("Type nested too deeply");
    }
    ~NESTING() { --level; }
    NESTING(const NESTING &) = delete;
    NESTING &operator=(const NESTING &) = delete;

private:
    static unsigned level;
};
unsigned NESTING::level = 0;

TYPE *normalized_or_null(TYPE *type) {
    return type ? type->normalized() : nullptr;
}

// A basic type of the same shape; a type of a shape of its own keeps it, but for its signs.
TYPE *normalized_integer(TYPE *type, TYPE_PKG &pkg) {
    TYPE *basic = pkg.basic_int(type->sub.integer.ikind);
    if (basic == type) return type;
    TYPE *chosen = basic->normalized_ ? basic->normalized_ : basic;
    if (chosen->size_ == type->size_ && chosen->align_ == type->align_) return chosen;
    const TYPE::IKIND kind =
        chosen->size_ == type->size_ ? chosen->sub.integer.ikind : type->sub.integer.ikind;
    return pkg.mk_int(kind, false, type->size_, type->align_);
}

TYPE *normalized_float(TYPE *type, TYPE_PKG &pkg) {
    TYPE *basic = pkg.basic_float(type->sub.floating.fkind);
    if (basic == type) return type;
    TYPE *chosen = basic->normalized_ ? basic->normalized_ : basic;
    if (chosen->size_ != type->size_) return type;
    return chosen->align_ == type->align_
               ? chosen
               : pkg.mk_fltpt(chosen->sub.floating.fkind, type->size_, type->align_);
}

// Parameters lose their names with their typedefs, since neither means anything to a call.
TYPE *normalized_function(TYPE *type, TYPE_PKG &pkg) {
    const auto &func = type->sub.func;
    TYPE *result = normalized_or_null(func.result);
    bool changed = result != func.result;
    for (const PARAM_ELEM *p = func.params; p; p = p->next)
        changed |= normalized_or_null(p->type) != p->type;
    if (!changed) return type;
    TYPE *copy = pkg.mk_func(result, func.flag1, func.flag2, func.cc_kind, type->cpp);
    for (const PARAM_ELEM *p = func.params; p; p = p->next)
        pkg.append_param(copy, normalized_or_null(p->type), p->mode, {});
    return pkg.type_frozen(copy);
}
} // namespace

TYPE *TYPE::normalized() {
    if (normalized_) return normalized_;
    TYPE *result = normalized_type_uncached();
    // A function whose parameters are still to come has yet to find its form.
    if (kind_ != FUNCTION || frozen) normalized_ = result;
    return result;
}

TYPE *TYPE::normalized_type_uncached() {
    if (kind_ == VOID_ || kind_ >= ENUM || (kind_ == FUNCTION && !frozen)) return this;
    if (kind_ == ARRAY && is_vpred()) return this; // its elements would no longer be truth values
    const NESTING nesting;
    if (!pkg) tp_die("orphan type:  TYPE::normalized()");
    switch (kind_) {
    case INTEGER: return normalized_integer(this, *pkg);
    case FLOATING: return normalized_float(this, *pkg);
    case FIXEDPT: {
        TYPE *underlying = normalized_or_null(sub.fixed.underlying);
        return underlying == sub.fixed.underlying
                   ? this
                   : pkg->mk_fxtpt(sub.fixed.binary_point, sub.fixed.signed_flag, underlying, size_,
                                   align_);
    }
    case COMPLEX: {
        TYPE *part = normalized_or_null(sub.complex.part);
        return part == sub.complex.part ? this : pkg->mk_complex(part, size_, align_);
    }
    case POINTER:
    case REFERENCE: {
        TYPE *to = normalized_or_null(sub.pointer.pointee);
        if (to == sub.pointer.pointee) return this;
        return kind_ == POINTER ? pkg->mk_ptr(to, size_, align_) : pkg->mk_ref(to, size_, align_);
    }
    case QUALIFIED: {
        TYPE *base = normalized_or_null(sub.qualified.base);
        return base == sub.qualified.base ? this
                                          : pkg->mk_qual(base, sub.qualified.bits, size_, align_);
    }
    case TYPEDEF: return sub.typedef_.base ? sub.typedef_.base->normalized() : this;
    case ARRAY: {
        TYPE *elem = normalized_or_null(sub.array.elem);
        return elem == sub.array.elem ? this : pkg->replace_array_elem(this, sub.array.elem, elem);
    }
    case PTM: {
        TYPE *member = normalized_or_null(sub.ptm.member), *csu = normalized_or_null(sub.ptm.csu);
        return member == sub.ptm.member && csu == sub.ptm.csu
                   ? this
                   : pkg->mk_ptm(member, csu, size_, align_);
    }
    case FUNCTION: return normalized_function(this, *pkg);
    default: return this;
    }
}
