// Types made from types: the conversions of the language and of the optimizer, and changes of sign,
// of qualifiers and of the elements of arrays.
#include "OPT5/driver/global_flags.h"
#include "OPT5/rep/node.h"
#include "OPT5/rep/type_pkg.h"

namespace {
// The integer that an enum stands for; other types are themselves. Qualifiers and names stripped.
TYPE *without_enum(TYPE *type) {
    type = type->stds();
    while (type->kind_ == TYPE::ENUM && type->sub.enum_.underlying)
        type = type->sub.enum_.underlying->stds();
    return type;
}

bool is_number(const TYPE *type) {
    return type->kind_ == TYPE::INTEGER || type->kind_ == TYPE::FLOATING;
}

constexpr unsigned bit(TYPE::IKIND kind) {
    return 1u << kind;
}

std::uint32_t align_under(unsigned bits, const TYPE *type) {
    return (bits & TQ_packed) != 0 ? 16 : type->align_;
}

// The type with exactly these qualifiers; `type` has none.
TYPE *with_quals(TYPE_PKG &pkg, TYPE *type, unsigned bits) {
    return bits == 0 ? type : pkg.mk_qual(type, bits, type->size_, align_under(bits, type));
}

// The integer of the other sign. A type that does not have the size of its basic type gets a
// counterpart of its own size.
TYPE *counterpart(TYPE_PKG &pkg, TYPE *type, TYPE::IKIND kind) {
    TYPE *basic = pkg.basic_int(kind);
    return basic->size_ == type->size_ && basic->align_ == type->align_
               ? basic
               : pkg.mk_int(kind, false, type->size_, type->align_);
}

TYPE *change_sign(TYPE_PKG &pkg, TYPE *type, bool to_unsigned, const char *bad_kind) {
    static constexpr TYPE::IKIND others[] = {TYPE::BOOL,   TYPE::UCHAR, TYPE::SCHAR,  TYPE::WCHAR_T,
                                             TYPE::USHORT, TYPE::SHORT, TYPE::UINT,   TYPE::INT,
                                             TYPE::ULONG,  TYPE::LONG,  TYPE::ULLONG, TYPE::LLONG};
    TYPE *integer = without_enum(type);
    if (integer->kind_ != TYPE::INTEGER || integer->sub.integer.ikind > TYPE::ULLONG)
        tp_die(bad_kind);
    const TYPE::IKIND kind = integer->sub.integer.ikind;
    const bool is_right = others[kind] == kind || integer->is_unsigned() == to_unsigned;
    if (is_right && !type->is_enum()) return type;
    if (!is_right) integer = counterpart(pkg, integer, others[kind]);
    return with_quals(pkg, integer, type->qual_kind(false));
}

// The basic type that the two numbers, both promoted, become.
TYPE *combined_basic_type(const TYPE *a, const TYPE *b) {
    for (TYPE::FKIND kind : {TYPE::LDOUBLE, TYPE::DOUBLE, TYPE::FLOAT})
        if (a->is_fkind(kind) || b->is_fkind(kind)) return tp->basic_float(kind);
    for (TYPE::IKIND kind : {TYPE::ULLONG, TYPE::LLONG, TYPE::ULONG})
        if (a->is_ikind(kind) || b->is_ikind(kind)) return tp->basic_int(kind);
    if (a->is_long() || b->is_long()) {
        const bool with_unsigned = a->is_uint() || b->is_uint();
        const bool keeps_sign = !with_unsigned || (a->size_ != b->size_ && !kr_flag);
        return tp->basic_int(keeps_sign ? TYPE::LONG : TYPE::ULONG);
    }
    return a->is_uint() || b->is_uint() ? tp->uint_type() : tp->int_type();
}

// `array`, a layer that holds `elem`, with another element. Its size and alignment stay as far as
// the element's size does.
TYPE *with_elem(TYPE_PKG &pkg, TYPE *array, TYPE *elem) {
    const auto &old = array->sub.array;
    std::uint64_t size = array->size_;
    std::uint32_t align = array->align_;
    if (!old.elem || old.elem->size_ != elem->size_) {
        size = std::uint64_t{elem->size_} * old.count;
        align = elem->align_;
    }
    if (size > UINT32_MAX) tp_die("Array too large:  TYPE_PKG::replace_array_elem()");
    const auto bits = static_cast<std::uint32_t>(size);
    if (old.is_vector)
        return pkg.mk_vector(elem, old.count, bits, align, array->cpp, old.is_complete);
    if (old.low_bound != 0) return pkg.mk_array(elem, old.low_bound, old.count);
    return pkg.mk_array(elem, old.count, bits, align, array->cpp, old.is_complete);
}
} // namespace

// --- the optimizer's conversions

TYPE *promoted_type(TYPE *type) {
    constexpr unsigned to_unsigned = bit(TYPE::UCHAR) | bit(TYPE::WCHAR_T) | bit(TYPE::USHORT);
    type = type->is_enum() ? normalized_underlying_type(type)->stds() : type->stds();
    const TYPE *int_type = tp->int_type();
    // An int wider than the target's keeps its bits.
    if (type->kind_ != TYPE::INTEGER || type->size_ > int_type->size_) return type;
    const TYPE::IKIND kind = type->sub.integer.ikind;
    if (kind > TYPE::INT) return type;
    if ((to_unsigned & bit(kind)) == 0) return tp->int_type();
    // wchar_t has no signed counterpart.
    const TYPE::IKIND slot = kind == TYPE::UCHAR    ? TYPE::SCHAR
                             : kind == TYPE::USHORT ? TYPE::SHORT
                                                    : TYPE::WCHAR_T;
    return kr_flag || tp->basic_int(slot)->size_ == int_type->size_ ? tp->uint_type()
                                                                    : tp->int_type();
}

TYPE *combined_type_for_types(TYPE *a, TYPE *b) {
    a = promoted_type(a);
    b = promoted_type(b);
    if (!is_number(a) || !is_number(b)) return b;
    TYPE *type = combined_basic_type(a, b), *wider = a->size_ >= b->size_ ? a : b;
    // Integers wider than this target's keep their bits.
    return wider->kind_ == type->kind_ && wider->size_ > type->size_ ? wider : type;
}

TYPE *combined_type(NODE *a, NODE *b) {
    return combined_type_for_types(a->type, b->type);
}

TYPE *normalized_underlying_type(TYPE *type) {
    const unsigned bits = type->qual_kind(false);
    if (!type->is_enum()) return type->normalized();
    TYPE *integer = without_enum(type)->normalized();
    if (bits == 0) return integer;
    if (!type->pkg) tp_die("orphan type:  normalized_underlying_type()");
    return with_quals(*type->pkg, integer, bits);
}

TYPE *essential_type(TYPE *type) {
    return type->type_qualified()->normalized();
}

TYPE *next_wider_type(TYPE *type) {
    type = without_enum(type);
    const auto find_wider = [type](auto &types) -> TYPE * {
        for (TYPE *candidate : types)
            if (candidate->size_ > type->size_ && !candidate->is_bool() &&
                is_same_sign(candidate, type))
                return candidate->normalized();
        return nullptr;
    };
    return type->kind_ == TYPE::INTEGER    ? find_wider(tp->basic_ints)
           : type->kind_ == TYPE::FLOATING ? find_wider(tp->basic_floats)
                                           : nullptr;
}

TYPE *wide_enough_int_type(std::uint32_t bits, bool is_signed) {
    for (TYPE *type : tp->basic_ints)
        if (type->size_ >= bits && (is_signed ? type->is_signed() : type->is_unsigned()))
            return type->normalized();
    return nullptr;
}

// --- the package's own form

TYPE *TYPE_PKG::c_integral_promotions(TYPE *type) {
    constexpr unsigned to_int =
        bit(TYPE::SCHAR) | bit(TYPE::WCHAR_T) | bit(TYPE::SHORT) | bit(TYPE::INT);
    constexpr unsigned to_unsigned = bit(TYPE::UCHAR) | bit(TYPE::USHORT) | bit(TYPE::UINT);
    TYPE *integer = without_enum(type);
    if (integer->kind_ != TYPE::INTEGER) return type;
    TYPE_PKG &pkg = integer->pkg ? *integer->pkg : *tp;
    const unsigned kind = bit(integer->sub.integer.ikind);
    if ((kind & to_int) != 0) return pkg.int_type();
    if ((kind & to_unsigned) == 0) return integer;
    return integer->size_ == pkg.int_type()->size_ ? pkg.uint_type() : pkg.int_type();
}

TYPE *TYPE_PKG::c_usual_arith_conv(TYPE *a, TYPE *b) {
    a = c_integral_promotions(a);
    b = c_integral_promotions(b);
    if (a->is_ptr()) return a;
    if (b->is_ptr()) return b;
    if (!is_number(a->stds()) || !is_number(b->stds())) tp_die("Bad type:  c_usual_arith_conv()");
    for (TYPE::FKIND kind : {TYPE::LDOUBLE, TYPE::DOUBLE, TYPE::FLOAT})
        if (a->is_fkind(kind) || b->is_fkind(kind)) return basic_float(kind);
    TYPE *type = a->rank() >= b->rank() ? a : b;
    return a->size_ == b->size_ && !is_same_sign(a, b) ? mk_unsigned(type) : type;
}

TYPE *TYPE_PKG::mk_unsigned(TYPE *type) {
    return change_sign(*this, type, true, "Bad kind: TYPE_PKG::mk_unsigned()");
}

TYPE *TYPE_PKG::mk_signed(TYPE *type) {
    return change_sign(*this, type, false, "Bad kind: TYPE_PKG::mk_signed()");
}

// --- qualifiers and elements

TYPE *TYPE_PKG::remove_known_qual(TYPE *type, unsigned bits) {
    const unsigned own = type->qual_kind(false);
    if ((own & bits) != 0) {
        // A qualified name of something without qualifiers keeps the name.
        TYPE *base = type->kind_ == TYPE::QUALIFIED ? type->sub.qualified.base : nullptr;
        if (!base || base->qual_kind(false) != 0) base = type->stds();
        type = with_quals(*this, base, own & ~bits);
    }
    if (!type->is_array() || (type->qual_kind(true) & bits) == 0) return type;
    TYPE *elem = type->stds()->sub.array.elem;
    return replace_array_elem(type, elem, remove_known_qual(elem, bits));
}

TYPE *TYPE_PKG::replace_array_elem(TYPE *array, TYPE *from, TYPE *to) {
    // From the outside in down to the element, rebuilt from the inside out.
    std::vector<TYPE *> layers;
    for (TYPE *type = array; type != from; type = type->stds()->sub.array.elem) {
        if (!type || !type->is_array()) return array;
        layers.push_back(type);
    }
    for (; !layers.empty(); layers.pop_back())
        to = with_quals(*this, with_elem(*this, layers.back()->stds(), to),
                        layers.back()->qual_kind(false));
    return to;
}
