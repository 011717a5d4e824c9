// The constructors of types. Each makes a type and registers it; the registry answers with the
// equal type that was there, if there was one.
#include "OPT5/rep/type_pkg_pools.h"

namespace {
constexpr std::uint32_t pointer_bits = 16;
constexpr std::uint32_t packed_align = 16;

[[noreturn]] void die(const char *what, const char *where) {
    tp_die((std::string(what) + ":  " + where).c_str());
}

// A type to build on. A function whose parameters are still to come may give way to an equal one;
// only types that are registered on it keep it alive.
TYPE *checked_base(TYPE *type, const char *where) {
    if (!type) die("Type without a base", where);
    return type;
}
TYPE *checked_part(TYPE *type, const char *where) {
    checked_base(type, where);
    if (type->kind_ == TYPE::FUNCTION && !type->frozen) die("Unfinished type", where);
    return type;
}

TYPE *new_type(TYPE_PKG &pkg, TYPE::KIND kind, std::uint32_t size, std::uint32_t align) {
    TYPE *type = pkg.pools->tp_alloc();
    type->kind_ = kind;
    type->size_ = size;
    type->align_ = align;
    type->pkg = &pkg;
    type->stds_ = type;
    return type;
}

// The type is complete as it stands.
TYPE *finish(TYPE *type) {
    type->valid = type->frozen = true;
    return type->pkg->register_type(type, TYPE_PKG::base_type(type));
}
} // namespace

// --- below the root

TYPE *TYPE_PKG::mk_void() {
    return basic_void;
}

TYPE *TYPE_PKG::mk_int(TYPE::IKIND kind, bool explicit_sign, std::uint32_t size,
                       std::uint32_t align, bool is_boolean, bool plain) {
    if (kind > TYPE::ULLONG) tp_die("Bad kind: TYPE_PKG::mk_int()");
    TYPE *type = new_type(*this, TYPE::INTEGER, size, align);
    type->sub.integer = {kind, explicit_sign, is_boolean, plain};
    return finish(type);
}

TYPE *TYPE_PKG::mk_int(TYPE::IKIND kind, bool explicit_sign) {
    if (kind > TYPE::ULLONG) tp_die("Bad kind: TYPE_PKG::mk_int()");
    TYPE *basic = basic_ints[kind];
    if (!explicit_sign || basic->sub.integer.explicit_sign) return basic;
    return mk_int(kind, explicit_sign, basic->size_, basic->align_);
}

TYPE *TYPE_PKG::mk_boolean_int(TYPE::IKIND kind) {
    if (kind > TYPE::ULLONG) tp_die("Bad kind: TYPE_PKG::mk_boolean_int()");
    const TYPE *basic = basic_ints[kind];
    return mk_int(kind, basic->sub.integer.explicit_sign, basic->size_, basic->align_, true);
}

TYPE *TYPE_PKG::mk_ptm_int() {
    return mk_int(TYPE::INT, false);
}

TYPE *TYPE_PKG::mk_fltpt(TYPE::FKIND kind, std::uint32_t size, std::uint32_t align) {
    if (kind > TYPE::LDOUBLE) tp_die("Bad fkind: TYPE_PKG::mk_fltpt()");
    TYPE *type = new_type(*this, TYPE::FLOATING, size, align);
    type->sub.floating = {kind};
    return finish(type);
}

TYPE *TYPE_PKG::mk_fxtpt(int binary_point, unsigned signed_flag, TYPE *underlying,
                         std::uint32_t size, std::uint32_t align) {
    if (underlying) checked_part(underlying, "TYPE_PKG::mk_fxtpt()");
    TYPE *type = new_type(*this, TYPE::FIXEDPT, size, align);
    type->sub.fixed = {underlying, static_cast<std::int8_t>(binary_point),
                       static_cast<std::uint8_t>(signed_flag)};
    return finish(type);
}

TYPE *TYPE_PKG::mk_complex(TYPE *part, std::uint32_t size, std::uint32_t align) {
    checked_part(part, "TYPE_PKG::mk_complex()");
    TYPE *type = new_type(*this, TYPE::COMPLEX, size, align);
    type->sub.complex = {part};
    return finish(type);
}

// --- built on another type

TYPE *TYPE_PKG::mk_typedef(std::string_view name, TYPE *base, std::uint32_t size,
                           std::uint32_t align, bool cpp, bool lowered, PSN *psn) {
    checked_base(base, "TYPE_PKG::mk_typedef()");
    TYPE *type = new_type(*this, TYPE::TYPEDEF, size, align);
    type->sub.typedef_ = {base, pools->name(name)};
    type->stds_ = base->stds();
    type->cpp = cpp;
    type->lowered = lowered;
    type->psn = psn;
    return finish(type);
}

TYPE *TYPE_PKG::mk_ptr(TYPE *to, std::uint32_t size, std::uint32_t align) {
    checked_base(to, "TYPE_PKG::mk_ptr()");
    TYPE *type = new_type(*this, TYPE::POINTER, size, align);
    type->sub.pointer = {to};
    return finish(type);
}

TYPE *TYPE_PKG::mk_ptr(TYPE *to) {
    return mk_ptr(to, pointer_bits, pointer_bits);
}

TYPE *TYPE_PKG::mk_ref(TYPE *to, std::uint32_t size, std::uint32_t align) {
    checked_base(to, "TYPE_PKG::mk_ref()");
    TYPE *type = new_type(*this, TYPE::REFERENCE, size, align);
    type->sub.pointer = {to};
    return finish(type);
}

TYPE *TYPE_PKG::mk_qual(TYPE *base, unsigned bits, std::uint32_t size, std::uint32_t align) {
    checked_base(base, "TYPE_PKG::mk_qual()");
    if ((bits & ~base->qual_kind(true)) == 0) return checked_part(base, "TYPE_PKG::mk_qual()");
    if (base->kind_ == TYPE::QUALIFIED) { // no two layers of qualifiers follow each other
        bits |= base->sub.qualified.bits;
        base = base->sub.qualified.base;
    }
    TYPE *type = new_type(*this, TYPE::QUALIFIED, size, align);
    type->sub.qualified = {base, bits};
    type->stds_ = base->stds();
    return finish(type);
}

TYPE *TYPE_PKG::mk_qual(TYPE *base, unsigned bits) {
    checked_base(base, "TYPE_PKG::mk_qual()");
    return mk_qual(base, bits, base->size_, (bits & TQ_packed) != 0 ? packed_align : base->align_);
}

TYPE *TYPE_PKG::mk_ptm(TYPE *member, TYPE *csu, std::uint32_t size, std::uint32_t align) {
    checked_base(member, "TYPE_PKG::mk_ptm()");
    checked_base(csu, "TYPE_PKG::mk_ptm()");
    if (!csu->is_csu()) tp_die("Bad kind:  TYPE_PKG::mk_ptm()");
    TYPE *type = new_type(*this, TYPE::PTM, size, align);
    type->sub.ptm = {member, csu};
    return finish(type);
}

// --- arrays

namespace {
TYPE *new_array(TYPE_PKG &pkg, TYPE *elem, std::uint32_t count, std::uint32_t size,
                std::uint32_t align, bool complete) {
    TYPE *type = new_type(pkg, TYPE::ARRAY, size, align);
    type->sub.array.elem = elem;
    type->sub.array.count = count;
    type->sub.array.is_complete = complete;
    return type;
}

std::uint32_t array_size(const TYPE *elem, std::uint32_t count, const char *where) {
    const std::uint64_t bits = std::uint64_t{elem->size_} * count;
    if (bits > UINT32_MAX) die("Type too large", where);
    return static_cast<std::uint32_t>(bits);
}
} // namespace

TYPE *TYPE_PKG::mk_array(TYPE *elem, std::uint32_t count, std::uint32_t size, std::uint32_t align,
                         bool cpp, bool complete) {
    checked_base(elem, "TYPE_PKG::mk_array()");
    TYPE *type = new_array(*this, elem, count, size, align, complete);
    type->cpp = cpp;
    return finish(type);
}

TYPE *TYPE_PKG::mk_array(TYPE *elem, std::uint32_t count) {
    return mk_array(elem, 0, count);
}

TYPE *TYPE_PKG::mk_array(TYPE *elem) {
    checked_base(elem, "TYPE_PKG::mk_array()");
    return mk_array(elem, 0, 0, elem->align_, false, false);
}

TYPE *TYPE_PKG::mk_array(TYPE *elem, std::int32_t low_bound, std::uint32_t count) {
    checked_base(elem, "TYPE_PKG::mk_array()");
    const std::uint32_t size = array_size(elem, count, "TYPE_PKG::mk_array()");
    TYPE *type = new_array(*this, elem, count, size, elem->align_, true);
    type->sub.array.low_bound = low_bound;
    return finish(type);
}

TYPE *TYPE_PKG::mk_array(TYPE *elem, std::span<const std::uint32_t> counts) {
    for (std::size_t i = counts.size(); i > 0; --i)
        elem = mk_array(elem, counts[i - 1]);
    return elem;
}

TYPE *TYPE_PKG::mk_vector(TYPE *elem, std::uint32_t count, std::uint32_t size, std::uint32_t align,
                          bool cpp, bool complete) {
    checked_base(elem, "TYPE_PKG::mk_vector()");
    TYPE *type = new_array(*this, elem, count, size, align, complete);
    type->sub.array.is_vector = true;
    type->sub.array.is_struct_vector = elem->is_csu();
    type->cpp = cpp;
    return finish(type);
}

TYPE *TYPE_PKG::mk_vpred(std::uint32_t lanes) {
    TYPE *lane = mk_boolean_int(TYPE::SHORT);
    const std::uint32_t size = array_size(lane, lanes, "TYPE_PKG::mk_vpred()");
    return mk_vector(lane, lanes, size, lane->align_);
}

// --- open until their lists have come

TYPE *TYPE_PKG::mk_func(TYPE *result, bool flag1, bool flag2, unsigned calling_convention,
                        bool cpp) {
    checked_part(result, "TYPE_PKG::mk_func()");
    TYPE *type = new_type(*this, TYPE::FUNCTION, 0, 0);
    type->sub.func = {result, nullptr, static_cast<std::uint8_t>(calling_convention), flag1, flag2};
    type->cpp = cpp;
    pools->open[type];
    return type;
}

TYPE *TYPE_PKG::mk_enum(std::string_view name, std::uint32_t size, std::uint32_t align,
                        TYPE *underlying, bool cpp, PSN *psn) {
    checked_part(underlying, "TYPE_PKG::mk_enum()");
    TYPE *type = new_type(*this, TYPE::ENUM, size, align);
    type->sub.enum_ = {underlying, nullptr, pools->name(name)};
    type->cpp = cpp;
    type->psn = psn;
    type->valid = true;
    return register_type(type, root_type);
}

namespace {
// Registered at once, so that whatever refers to the class finds its unique id.
TYPE *mk_csu(TYPE_PKG &pkg, TYPE::KIND kind, std::string_view name, std::uint32_t size,
             std::uint32_t align, bool complete) {
    TYPE *type = new_type(pkg, kind, size, align);
    CSU *csu = type->sub.csu = new (pkg.pools->classes.take()) CSU;
    csu->name = pkg.pools->name(name.empty() ? TYPE_PKG::fake_name_prefix +
                                                   std::to_string(pkg.next_fake_name++)
                                             : std::string(name));
    csu->is_complete = complete;
    type->valid = true;
    return pkg.register_type(type, root_type);
}
} // namespace

TYPE *TYPE_PKG::mk_class(std::string_view name, std::uint32_t size, std::uint32_t align,
                         bool complete) {
    return mk_csu(*this, TYPE::CLASS, name, size, align, complete);
}

TYPE *TYPE_PKG::mk_struct(std::string_view name, std::uint32_t size, std::uint32_t align,
                          bool complete) {
    return mk_csu(*this, TYPE::STRUCT, name, size, align, complete);
}

TYPE *TYPE_PKG::mk_union(std::string_view name, std::uint32_t size, std::uint32_t align,
                         bool complete) {
    return mk_csu(*this, TYPE::UNION, name, size, align, complete);
}
