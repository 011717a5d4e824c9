// What a type is: the queries of TYPE.
#include "OPT5/rep/type_pkg.h"

#include <bit>

namespace {
// Below enums their underlying integer, below vectors their element; other types are themselves.
// Null when a layer is missing.
const TYPE *sign_bearer(const TYPE *type) {
    while (type) {
        type = type->stds();
        if (type->kind_ == TYPE::ENUM)
            type = type->sub.enum_.underlying;
        else if (type->kind_ == TYPE::ARRAY && type->sub.array.is_vector)
            type = type->sub.array.elem;
        else
            return type;
    }
    return nullptr;
}

constexpr unsigned kinds(std::initializer_list<TYPE::KIND> list) {
    unsigned set = 0;
    for (TYPE::KIND kind : list)
        set |= 1u << kind;
    return set;
}
constexpr unsigned arithmetic_kinds =
    kinds({TYPE::INTEGER, TYPE::FLOATING, TYPE::FIXEDPT, TYPE::COMPLEX, TYPE::PTM, TYPE::ENUM});
constexpr unsigned scalar_kinds = arithmetic_kinds | kinds({TYPE::POINTER, TYPE::REFERENCE});
constexpr unsigned signed_ikinds =
    1u << TYPE::SCHAR | 1u << TYPE::SHORT | 1u << TYPE::INT | 1u << TYPE::LONG | 1u << TYPE::LLONG;
constexpr unsigned unsigned_ikinds = 1u << TYPE::UCHAR | 1u << TYPE::USHORT | 1u << TYPE::UINT |
                                     1u << TYPE::ULONG | 1u << TYPE::ULLONG;

bool is_integer_of(const TYPE *type, unsigned ikinds) {
    return type && type->kind_ == TYPE::INTEGER && (ikinds >> type->sub.integer.ikind & 1) != 0;
}
} // namespace

// --- families

bool TYPE::is_vector() const {
    const TYPE *type = stds();
    return type->kind_ == ARRAY && type->sub.array.is_vector;
}

bool TYPE::is_struct_vector() const {
    const TYPE *type = stds();
    return type->kind_ == ARRAY && type->sub.array.is_struct_vector;
}

bool TYPE::is_vpred() const {
    if (!is_vector()) return false;
    const TYPE *elem = stds()->sub.array.elem;
    return elem && elem->is_integer() && (elem->is_bool() || elem->stds()->sub.integer.is_boolean);
}

bool TYPE::is_arithmetic() const {
    return (arithmetic_kinds >> skind() & 1) != 0;
}

bool TYPE::is_scalar() const {
    return (scalar_kinds >> skind() & 1) != 0;
}

bool TYPE::is_udt() const {
    return skind() >= ENUM;
}

bool TYPE::is_signed() const {
    const TYPE *type = sign_bearer(this);
    return type && (type->kind_ == FLOATING || is_integer_of(type, signed_ikinds));
}

bool TYPE::is_unsigned() const {
    return is_integer_of(sign_bearer(this), unsigned_ikinds);
}

bool TYPE::is_vararg() const {
    const TYPE *type = stds();
    return type->kind_ == FUNCTION && type->sub.func.flag1;
}

bool TYPE::is_plain_char() const {
    return (is_schar() || is_uchar()) && !stds()->sub.integer.explicit_sign;
}

bool TYPE::part_is(bool (TYPE::*query)() const) const {
    const TYPE *type = stds();
    if (type->kind_ != COMPLEX) return false;
    const TYPE *part = type->sub.complex.part;
    return part && (part->*query)();
}

// --- numbers

int TYPE::ekind() const {
    const TYPE *type = stds();
    switch (type->kind_) {
    case VOID_: return 26;
    case INTEGER: return type->sub.integer.ikind;
    case FLOATING:
        if (type->sub.floating.fkind > LDOUBLE) tp_die("Bad fkind: TYPE::ekind()");
        return 12 + type->sub.floating.fkind;
    case FIXEDPT: return 15;
    case COMPLEX: return 16;
    case POINTER: return 17;
    case REFERENCE: return 18;
    case ARRAY: return 19;
    case PTM: return 20;
    case FUNCTION: return 21;
    case ENUM: return 22;
    case CLASS: return 23;
    case STRUCT: return 24;
    case UNION: return 25;
    default: tp_die("unhandled type kind: TYPE::ekind()");
    }
}

int TYPE::rank() const {
    static constexpr signed char ranks[] = {0, 1, 1, 1, 2, 2, 3, 3, 4, 4, 5, 5};
    const TYPE *type = stds();
    if (type->kind_ != INTEGER || type->sub.integer.ikind > ULLONG)
        tp_die("Bad type: TYPE::rank()");
    return ranks[type->sub.integer.ikind];
}

std::uint64_t TYPE::storage_size() const {
    return is_scalar() ? std::bit_ceil(std::uint64_t{size_}) : size_;
}

// --- components

TYPE *TYPE::getd(KIND kind) const {
    const TYPE *type = this;
    while (type && type->kind_ != kind && type->kind_ == TYPEDEF)
        type = type->sub.typedef_.base;
    if (!type || type->kind_ != kind) tp_die("Bad kind:  TYPE::getd()");
    return const_cast<TYPE *>(type);
}

TYPE *TYPE::getr(KIND kind) const {
    if (skind() != kind) tp_die("Bad kind:  TYPE::getr()");
    return stds();
}

TYPE *TYPE::type_pointed_to() const {
    const TYPE *type = stds();
    if (type->kind_ != POINTER && type->kind_ != REFERENCE)
        tp_die("Bad kind:  TYPE::type_pointed_to()");
    return type->sub.pointer.pointee;
}

TYPE *TYPE::part_type() const {
    return getr(COMPLEX)->sub.complex.part;
}

TYPE *TYPE::elem_type() const {
    TYPE *elem = getr(ARRAY)->sub.array.elem;
    const unsigned bits = qual_kind(false);
    if (bits == 0 || !elem) return elem;
    if (!pkg) tp_die("orphan type:  TYPE::elem_type()");
    return pkg->mk_qual(elem, bits, elem->size_, (bits & TQ_packed) != 0 ? 16 : elem->align_);
}

TYPE *TYPE::return_type() const {
    return getr(FUNCTION)->sub.func.result;
}

TYPE *TYPE::underlying_type() const {
    const TYPE *type = stds();
    if (type->kind_ == ENUM) return type->sub.enum_.underlying;
    if (type->kind_ != FIXEDPT) tp_die("Bad kind:  TYPE::underlying_type()");
    return type->sub.fixed.underlying;
}

CSU *TYPE::get_csu() const {
    if (!is_csu()) tp_die("Bad kind:  TYPE::get_csu()");
    return stds()->sub.csu;
}

// --- qualifiers

unsigned TYPE::qual_kind(bool through_arrays) const {
    unsigned bits = 0;
    for (const TYPE *type = this; type;) {
        if (type->kind_ == QUALIFIED) {
            bits |= type->sub.qualified.bits;
            type = type->sub.qualified.base;
        } else if (type->kind_ == TYPEDEF) {
            type = type->sub.typedef_.base;
        } else if (type->kind_ == ARRAY && through_arrays) {
            type = type->sub.array.elem;
        } else {
            break;
        }
    }
    return bits;
}

TYPE *TYPE::type_qualified() const {
    // From the outside in; rebuilt from the inside out.
    std::vector<TYPE *> arrays;
    TYPE *type = stds();
    while (type->kind_ == ARRAY && type->sub.array.elem) {
        arrays.push_back(type);
        type = type->sub.array.elem->stds();
    }
    for (; !arrays.empty(); arrays.pop_back()) {
        TYPE *array = arrays.back(), *elem = array->sub.array.elem;
        if (elem == type) {
            type = array;
            continue;
        }
        if (!array->pkg) tp_die("orphan type:  TYPE::type_qualified()");
        type = array->pkg->replace_array_elem(array, elem, type);
    }
    return type;
}

TYPE *TYPE::stqs() const {
    // Qualifiers between typedefs move to the outside.
    unsigned bits = 0;
    bool saw_typedef = false;
    const TYPE *type = this;
    while (type->kind_ == QUALIFIED || type->kind_ == TYPEDEF) {
        TYPE *below = nullptr;
        if (type->kind_ == TYPEDEF) {
            saw_typedef = true;
            below = type->sub.typedef_.base;
        } else {
            bits |= type->sub.qualified.bits;
            below = type->sub.qualified.base;
        }
        if (!below) break;
        type = below;
    }
    if (!saw_typedef) return const_cast<TYPE *>(this);
    if (bits == 0) return const_cast<TYPE *>(type);
    if (!pkg) tp_die("orphan type:  TYPE::stqs()");
    return pkg->mk_qual(const_cast<TYPE *>(type), bits, type->size_,
                        (bits & TQ_packed) != 0 ? 16 : type->align_);
}

// --- names and completeness

const char *TYPE::name() const {
    const TYPE *type = this;
    while (type->kind_ == QUALIFIED && type->sub.qualified.base)
        type = type->sub.qualified.base;
    switch (type->kind_) {
    case TYPEDEF: return type->sub.typedef_.name;
    case ENUM: return type->sub.enum_.name;
    case CLASS:
    case STRUCT:
    case UNION: return type->sub.csu->name;
    default: return "";
    }
}

bool TYPE::is_complete() const {
    // An array is as complete as its innermost element.
    const TYPE *type = stds();
    while (type->kind_ == ARRAY) {
        if (!type->sub.array.is_complete || !type->sub.array.elem) return false;
        type = type->sub.array.elem->stds();
    }
    if (type->kind_ >= CLASS) return type->sub.csu->is_complete;
    return type->kind_ != VOID_;
}

void TYPE::set_is_complete(bool complete) {
    TYPE *type = stds();
    if (type->kind_ == ARRAY)
        type->sub.array.is_complete = complete;
    else if (type->kind_ >= CLASS)
        type->sub.csu->is_complete = complete;
    else
        tp_die("Bad kind:  TYPE::set_is_complete()");
}

CSU *TYPE::getr_csu() const {
    return get_csu();
}

bool TYPE::has_flex_array_member() const {
    if (!is_csu()) return false;
    const fkMDATA *last = get_csu()->mdata;
    while (last && last->next)
        last = last->next;
    if (!last || !last->type->is_array()) return false;
    const TYPE *array = last->type->stds();
    return !array->sub.array.is_complete && !array->sub.array.is_vector;
}
