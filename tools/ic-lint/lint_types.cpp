// Rules of type records, and the type queries that the other rules need.
#include "tools/ic-lint/lint.h"

#include <array>

namespace {
constexpr int list_kinds = 10;
enum {
    LIST_params,
    LIST_enumerators,
    LIST_bases,
    LIST_access,
    LIST_ffriends,
    LIST_cfriends,
    LIST_nested,
    LIST_members,
    LIST_statics,
    LIST_mfuncs
};

// List kind that an element kind belongs to; -1 for other kinds.
int list_of_element(int kind) {
    switch (kind) {
    case IF_KIND_param: return LIST_params;
    case IF_KIND_enumerator: return LIST_enumerators;
    case IF_KIND_base_class: return LIST_bases;
    case IF_KIND_access_decl: return LIST_access;
    case IF_KIND_friend_func: return LIST_ffriends;
    case IF_KIND_friend_class: return LIST_cfriends;
    case IF_KIND_nested_type: return LIST_nested;
    case IF_KIND_member: return LIST_members;
    case IF_KIND_static_member: return LIST_statics;
    case IF_KIND_member_func: return LIST_mfuncs;
    default: return -1;
    }
}

struct announcement {
    const char *field;
    int list;
};
constexpr std::array announcements = {
    announcement{"bases", LIST_bases},           announcement{"access", LIST_access},
    announcement{"friend_funcs", LIST_ffriends}, announcement{"friend_classes", LIST_cfriends},
    announcement{"nested", LIST_nested},         announcement{"members", LIST_members},
    announcement{"statics", LIST_statics},       announcement{"member_funcs", LIST_mfuncs},
    announcement{"params", LIST_params},
};

std::string numbered(const char *text, std::int64_t n) {
    return std::string(text) + " " + std::to_string(n);
}
} // namespace

const LINT_TYPE *LINT_TYPES::find(std::uint32_t number) const {
    auto it = by_number.find(number);
    return it == by_number.end() ? nullptr : &it->second;
}

const LINT_TYPE *LINT_TYPES::stripped(std::uint32_t number) const {
    const LINT_TYPE *type = find(number);
    // A base was defined before the type that names it, so the walk ends.
    while (type && (type->kind == IF_KIND_typedef || type->kind == IF_KIND_qualified))
        type = find(type->base);
    return type;
}

bool LINT_TYPES::kind_in(std::uint32_t t, int first, int last) const {
    const LINT_TYPE *type = stripped(t);
    return type && type->kind >= first && type->kind <= last;
}

bool LINT_TYPES::is_integer(std::uint32_t t) const {
    const LINT_TYPE *type = stripped(t);
    return type && (if_kind_is_integer(type->kind) || type->kind == IF_KIND_enum);
}

bool LINT_TYPES::is_pointer(std::uint32_t t) const {
    return kind_in(t, IF_KIND_pointer, IF_KIND_reference);
}

bool LINT_TYPES::is_vector(std::uint32_t t) const {
    const LINT_TYPE *type = stripped(t);
    return type && type->kind == IF_KIND_array && type->vector;
}

bool LINT_TYPES::is_arithmetic(std::uint32_t t) const {
    const LINT_TYPE *type = stripped(t);
    return is_integer(t) || is_floating(t) || is_vector(t) ||
           (type && (type->kind == IF_KIND_fixed || type->kind == IF_KIND_complex ||
                     type->kind == IF_KIND_ptm));
}

bool LINT_TYPES::is_integer_or_vector_of_integer(std::uint32_t t) const {
    return is_integer(t) || (is_vector(t) && is_integer(stripped(t)->base));
}

bool LINT_TYPES::is_volatile(std::uint32_t t) const {
    for (const LINT_TYPE *type = find(t); type; type = find(type->base)) {
        if (type->kind == IF_KIND_qualified && (type->count & 2)) return true;
        if (type->kind != IF_KIND_typedef && type->kind != IF_KIND_qualified &&
            type->kind != IF_KIND_array)
            break;
    }
    return false;
}

std::uint32_t LINT_TYPES::pointee(std::uint32_t t) const {
    return is_pointer(t) ? stripped(t)->base : 0;
}

bool LINT_TYPES::is_pointer_to_function(std::uint32_t t) const {
    return is_function(pointee(t));
}

std::int64_t LINT_TYPES::size(std::uint32_t t) const {
    const LINT_TYPE *type = find(t);
    return type ? type->size : 0;
}

void LINTER::check_typeref(const IF_RECORD &r, std::uint32_t number) {
    if (number == 0 || types.find(number)) return;
    report(r, numbered("names type", number) + ", which is not defined before it");
}

void LINTER::check_types() {
    for (IF_SECTION_ID section : {IF_TYPES, IF_BODY})
        for (const IF_RECORD &r : m.sections[section].records)
            if (r.tag == IF_TAG_type && r.layout && !r.damaged) check_type_record(r);
    check_finished_types();
}

void LINTER::check_type_record(const IF_RECORD &r) {
    for (unsigned slot = 0; slot < r.layout->fields.size(); ++slot)
        if (r.layout->fields[slot].role == IF_ROLE::typeref && m.has(r, slot))
            check_typeref(r, static_cast<std::uint32_t>(m.number(r, slot)));
    if (if_kind_is_list_element(r.selector))
        check_list_record(r);
    else
        define_type(r);
}

void LINTER::define_type(const IF_RECORD &r) {
    const std::uint32_t number = static_cast<std::uint32_t>(m.number(r, IF_TYPE::number));
    if (number == 0) report(r, "defines type number 0, which stands for no type");
    if (types.find(number)) {
        report(r, numbered("defines type", number) + " again");
        return;
    }
    LINT_TYPE type;
    type.kind = r.selector;
    type.offset = r.offset;
    type.size = field(r, "size");
    type.align = field(r, "align");
    for (const char *name : {"to", "base", "element", "result", "underlying", "part", "member"})
        if (r.layout->slot(name) >= 0) type.base = static_cast<std::uint32_t>(field(r, name));
    if (!types.find(type.base)) type.base = 0; // reported already; chains of bases stay finite
    switch (r.selector) {
    case IF_KIND_typedef:
    case IF_KIND_qualified:
        if (type.base == 0) report(r, "has no base type");
        if (const LINT_TYPE *base = types.find(type.base);
            base && base->kind != IF_KIND_function && base->size != type.size && base->complete)
            report(r, "has another size than its base");
        type.count = r.selector == IF_KIND_qualified ? field(r, "qualifiers") : 0;
        if (r.selector == IF_KIND_qualified && (type.count <= 0 || type.count > 255))
            report(r, "has qualifier bits that do not exist");
        if (const LINT_TYPE *base = types.find(type.base);
            r.selector == IF_KIND_qualified && base && base->kind == IF_KIND_qualified)
            report(r, "qualifies a qualified type");
        break;
    case IF_KIND_array: {
        type.count = field(r, "count");
        type.complete = field(r, "complete") != 0;
        type.vector = field(r, "vector") != 0;
        const LINT_TYPE *element = types.find(type.base);
        if (!element)
            report(r, "has no element type");
        else if (type.complete && element->size * type.count != type.size)
            report(r, "has another size than its elements together");
        break;
    }
    case IF_KIND_function:
        type.variadic = field(r, "variadic") != 0;
        type.prototyped = field(r, "prototyped") != 0;
        type.announced = 1u << LIST_params;
        if (type.base == 0) report(r, "has no result type");
        break;
    case IF_KIND_ptm: type.base2 = static_cast<std::uint32_t>(field(r, "class")); break;
    case IF_KIND_enum:
        type.announced = 1u << LIST_enumerators;
        if (!types.is_integer(type.base)) report(r, "has no integer as underlying type");
        break;
    case IF_KIND_csu:
    case IF_KIND_csu_long:
        type.complete = field(r, "complete") != 0;
        if (field(r, "csu kind") > 2) report(r, "is neither struct, union nor class");
        for (const announcement &a : announcements)
            if (r.layout->slot(a.field) >= 0 && field(r, a.field)) type.announced |= 1u << a.list;
        break;
    case IF_KIND_pointer:
    case IF_KIND_reference:
        if (type.size != 16) report(r, "is a pointer of other than 16 bits");
        break;
    default: break;
    }
    types.by_number.emplace(number, std::move(type));
}

void LINTER::check_list_record(const IF_RECORD &r) {
    const std::uint32_t owner = static_cast<std::uint32_t>(m.number(r, IF_TYPE::number));
    LINT_TYPE *type = types.find(owner);
    if (!type) {
        report(r, numbered("belongs to type", owner) + ", which is not defined before it");
        return;
    }
    if (r.selector == IF_KIND_list || r.selector == IF_KIND_end_list) {
        const std::int64_t list = field(r, "list kind");
        if (list < 0 || list >= list_kinds) {
            report(r, numbered("has unknown list kind", list));
        } else if (r.selector == IF_KIND_list) {
            if (!(type->announced & (1u << list)))
                report(r, "begins a list that its type has not announced");
            if (type->begun & (1u << list)) report(r, "begins a list that its type has already");
            if (type->open_list >= 0) report(r, "begins a list before the last one has ended");
            type->begun |= 1u << list;
            type->open_list = static_cast<int>(list);
        } else {
            if (type->open_list != list) report(r, "ends a list that is not open");
            type->ended |= 1u << list;
            type->open_list = -1;
        }
        return;
    }
    if (type->open_list != list_of_element(r.selector)) report(r, "is an element outside its list");
    if (r.selector == IF_KIND_param) {
        type->params.push_back(static_cast<std::uint32_t>(field(r, "type")));
    } else if (r.selector == IF_KIND_member) {
        const std::int64_t index = field(r, "index");
        if (index != static_cast<std::int64_t>(type->members.size()) + 1)
            report(r, numbered("is a member out of order, index", index));
        LINT_MEMBER member;
        member.type = static_cast<std::uint32_t>(field(r, "type"));
        member.offset = field(r, "offset");
        member.width = field(r, "width");
        if (member.type == 0) report(r, "is a member without a type");
        type->members.emplace(index, member);
    }
}

void LINTER::check_finished_types() {
    for (const IF_RECORD &r : m.sections[IF_TYPES].records) {
        if (r.tag != IF_TAG_type || !r.layout || r.damaged || if_kind_is_list_element(r.selector))
            continue;
        const LINT_TYPE *type =
            types.find(static_cast<std::uint32_t>(m.number(r, IF_TYPE::number)));
        if (!type || type->offset != r.offset) continue;
        if (type->announced != type->ended)
            report(r, "announces a list that never comes or never ends");
        if (!types.is_csu(static_cast<std::uint32_t>(m.number(r, IF_TYPE::number))) ||
            !type->complete)
            continue;
        for (const auto &[index, member] : type->members) {
            const LINT_TYPE *of = types.find(member.type);
            if (!of) continue;
            const std::int64_t bits = member.width ? member.width : of->size;
            if (member.offset < 0 || member.offset + bits > type->size)
                report(r, numbered("has no room for member", index));
            if (member.width > of->size)
                report(r, numbered("has a bit-field wider than its type, member", index));
        }
    }
}
