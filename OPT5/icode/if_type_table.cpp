// The map from type numbers to types, and the makers that fill it: a type may be built on numbers
// already defined only, and gets its lists, element by element, behind its own record.
#include "OPT5/icode/if_file.h"

#include <algorithm>
#include <cctype>

// --- the map

TYPE_INFO *I_FILE::find_entry(std::uint32_t number) {
    if (number < near_types_.size())
        return near_types_[number].type ? &near_types_[number] : nullptr;
    auto found = far_types_.find(number);
    return found == far_types_.end() ? nullptr : &found->second;
}

TYPE_INFO &I_FILE::enter_type(std::uint32_t number, const TYPE_INFO &info) {
    if (number == 0) i_invalid("Type number 0 in I-code");
    if (find_entry(number)) tp_die("read type twice");
    if (info.open_lists) open_types_.push_back(number);
    if (number >= near_type_limit_) return far_types_[number] = info;
    if (number >= near_types_.size()) near_types_.resize(number + 1);
    return near_types_[number] = info;
}

TYPE *I_FILE::find_typeref(std::uint32_t number) {
    if (number == 0) return nullptr;
    if (number < near_types_.size() && near_types_[number].type) return near_types_[number].type;
    TYPE_INFO *entry = find_entry(number);
    if (!entry) tp_die("invalid forward reference");
    return entry->type;
}

TYPE *I_FILE::base_typeref(std::uint32_t number) {
    TYPE *type = find_typeref(number);
    if (!type) i_invalid("Type without its base type in I-code");
    if (type->kind_ == TYPE::FUNCTION && find_entry(number)->open_lists != 0)
        functions_used_open_.insert(type);
    return type;
}

// A function type may give way to an equal one when its list ends, so that only types built on it,
// which keep it alive, may refer to it before.
TYPE *I_FILE::settled_typeref(std::uint32_t number) {
    TYPE *type = find_typeref(number);
    if (type && type->kind_ == TYPE::FUNCTION && find_entry(number)->open_lists != 0)
        tp_die("invalid forward reference");
    return type;
}

TYPE *I_FILE::value_typeref(std::uint32_t number) {
    TYPE *type = settled_typeref(number);
    if (!type) i_invalid("List element without a type in I-code");
    return type;
}

fkMDATA *I_FILE::find_mdataref(std::uint32_t class_number, std::uint32_t index) {
    const TYPE *type = find_typeref(class_number);
    if (!type || !type->is_csu()) return nullptr;
    const std::vector<fkMDATA *> &members = type->stds()->sub.csu->mdata_by_index;
    return index < members.size() ? members[index] : nullptr;
}

unsigned I_FILE::derived_depth(std::initializer_list<std::uint32_t> components) {
    unsigned depth = 0;
    for (std::uint32_t number : components)
        if (const TYPE_INFO *entry = find_entry(number))
            depth = std::max<unsigned>(depth, entry->depth + 1u);
    if (depth > if_max_type_depth) i_invalid("Type nested too deeply in I-code");
    return depth;
}

// --- types

void I_FILE::tp_make_void_type(std::uint32_t number) {
    enter_type(number, {.type = tp_->mk_void()});
}

// The producer for another processor family of this format wrote its 32-bit longs where ints were
// meant.
static TYPE::IKIND read_type_long_as_int(TYPE::IKIND kind, std::uint32_t size) {
    if (icode_cpu_id != 500 || size != 32) return kind;
    return kind == TYPE::LONG ? TYPE::INT : kind == TYPE::ULONG ? TYPE::UINT : kind;
}

void I_FILE::tp_make_integral_type(std::uint32_t number, int kind, bool explicit_sign,
                                   std::uint32_t size, std::uint32_t align, bool is_boolean,
                                   bool plain) {
    const TYPE::IKIND ikind = kind <= TYPE::ULONG ? static_cast<TYPE::IKIND>(kind)
                              : kind == 50        ? TYPE::LLONG
                              : kind == 51        ? TYPE::ULLONG
                                                  : TYPE::INT;
    enter_type(number, {.type = tp_->mk_int(read_type_long_as_int(ikind, size), explicit_sign, size,
                                            align, is_boolean, plain)});
}

void I_FILE::tp_make_float_type(std::uint32_t number, int kind, std::uint32_t size,
                                std::uint32_t align) {
    enter_type(number, {.type = tp_->mk_fltpt(static_cast<TYPE::FKIND>(kind - 10), size, align)});
}

void I_FILE::tp_make_fixpt_type(std::uint32_t number, int binary_point, unsigned signed_flag,
                                std::uint32_t underlying, std::uint32_t size, std::uint32_t align) {
    const auto depth = static_cast<std::uint16_t>(derived_depth({underlying}));
    TYPE *type = tp_->mk_fxtpt(binary_point, signed_flag, settled_typeref(underlying), size, align);
    enter_type(number, {.type = type, .depth = depth});
}

void I_FILE::tp_make_complex_type(std::uint32_t number, std::uint32_t size, std::uint32_t align,
                                  std::uint32_t part) {
    const auto depth = static_cast<std::uint16_t>(derived_depth({part}));
    enter_type(number, {.type = tp_->mk_complex(value_typeref(part), size, align), .depth = depth});
}

void I_FILE::tp_make_typedef(std::uint32_t number, std::string_view type_name, std::uint32_t base,
                             std::uint32_t size, std::uint32_t align, bool cpp, bool lowered,
                             PSN *psn) {
    const auto depth = static_cast<std::uint16_t>(derived_depth({base}));
    TYPE *type = tp_->mk_typedef(type_name, base_typeref(base), size, align, cpp, lowered, psn);
    enter_type(number, {.type = type, .depth = depth});
}

void I_FILE::tp_make_ref_type(std::uint32_t number, std::uint32_t to, std::uint32_t size,
                              std::uint32_t align) {
    const auto depth = static_cast<std::uint16_t>(derived_depth({to}));
    enter_type(number, {.type = tp_->mk_ref(base_typeref(to), size, align), .depth = depth});
}

void I_FILE::tp_make_addr_type(std::uint32_t number, std::uint32_t to, std::uint32_t size,
                               std::uint32_t align) {
    const auto depth = static_cast<std::uint16_t>(derived_depth({to}));
    enter_type(number, {.type = tp_->mk_ptr(base_typeref(to), size, align), .depth = depth});
}

void I_FILE::tp_make_qual_type(std::uint32_t number, std::uint32_t base, unsigned bits,
                               std::uint32_t size, std::uint32_t align) {
    const auto depth = static_cast<std::uint16_t>(derived_depth({base}));
    enter_type(number,
               {.type = tp_->mk_qual(base_typeref(base), bits, size, align), .depth = depth});
}

void I_FILE::tp_make_array_type(std::uint32_t number, std::uint32_t element, std::uint32_t count,
                                std::uint32_t size, std::uint32_t align, bool cpp, bool complete) {
    const auto depth = static_cast<std::uint16_t>(derived_depth({element}));
    TYPE *type = tp_->mk_array(base_typeref(element), count, size, align, cpp, complete);
    enter_type(number, {.type = type, .depth = depth});
}

void I_FILE::tp_make_vector_type(std::uint32_t number, std::uint32_t element, std::uint32_t count,
                                 std::uint32_t size, std::uint32_t align, bool cpp, bool complete) {
    const auto depth = static_cast<std::uint16_t>(derived_depth({element}));
    TYPE *type = tp_->mk_vector(base_typeref(element), count, size, align);
    type->cpp = cpp;
    type->sub.array.is_complete = complete;
    enter_type(number, {.type = type, .depth = depth});
}

void I_FILE::tp_make_ptm_type(std::uint32_t number, std::uint32_t member, std::uint32_t csu,
                              std::uint32_t size, std::uint32_t align) {
    const auto depth = static_cast<std::uint16_t>(derived_depth({member, csu}));
    TYPE *type = tp_->mk_ptm(base_typeref(member), base_typeref(csu), size, align);
    enter_type(number, {.type = type, .depth = depth});
}

void I_FILE::tp_make_func_type(std::uint32_t number, std::uint32_t result, bool flag1, bool flag2,
                               unsigned calling_convention, bool cpp) {
    const auto depth = static_cast<std::uint16_t>(derived_depth({result}));
    TYPE *type = tp_->mk_func(base_typeref(result), flag1, flag2, calling_convention, cpp);
    enter_type(number, {.type = type, .depth = depth, .open_lists = 1});
}

void I_FILE::tp_make_enum_type(std::uint32_t number, std::string_view type_name, std::uint32_t size,
                               std::uint32_t align, std::uint32_t underlying, bool cpp, PSN *psn) {
    const auto depth = static_cast<std::uint16_t>(derived_depth({underlying}));
    TYPE *type = tp_->mk_enum(type_name, size, align, value_typeref(underlying), cpp, psn);
    enter_type(number, {.type = type, .depth = depth, .open_lists = 1});
}

void I_FILE::tp_make_csu(std::uint32_t number, const CSU_RECORD &r) {
    TYPE *type = r.csu_kind == 0   ? tp_->mk_struct(r.name, r.size, r.align, r.complete)
                 : r.csu_kind == 1 ? tp_->mk_union(r.name, r.size, r.align, r.complete)
                                   : tp_->mk_class(r.name, r.size, r.align, r.complete);
    type->lowered = r.lowered;
    type->cpp = r.cpp;
    type->psn = r.psn;
    CSU &csu = *type->sub.csu;
    csu.extra_word = r.extra_word;
    csu.flag = r.flag;
    csu.pre_80_union = r.csu_kind == 1 && version < -80;
    std::copy(std::begin(r.has), std::end(r.has), csu.will_have);
    const auto lists = static_cast<std::uint8_t>(std::count(r.has, r.has + LK_count, true));
    TYPE_INFO &entry = enter_type(number, {.type = type, .open_lists = lists});
    unchecked_classes_.push_back(type);
    if (lists == 0) freeze_entry(entry);
}

// --- lists

void I_FILE::freeze_entry(TYPE_INFO &entry) {
    entry.open_lists = 0;
    entry.current_list = -1;
    entry.type = tp_->type_frozen(entry.type);
}

// Null in the place of a list that a type of this kind cannot have.
static const void *list_of_class(const CSU &csu, int list_kind) {
    switch (list_kind) {
    case LK_params: return csu.params;
    case LK_bclasses: return csu.bclasses;
    case LK_adecls: return csu.adecls;
    case LK_ffriends: return csu.ffriends;
    case LK_cfriends: return csu.cfriends;
    case LK_ntypes: return csu.ntypes;
    case LK_mdata: return csu.mdata;
    case LK_sdata: return csu.sdata;
    case LK_mfuncs: return csu.mfuncs;
    default: tp_die("Unexpected type attribute");
    }
}

void I_FILE::tp_make_list(std::uint32_t number, int list_kind) {
    find_typeref(number);
    TYPE_INFO *entry = find_entry(number);
    if (!entry || entry->open_lists == 0) tp_die("Unexpected type attribute");
    const TYPE &type = *entry->type;
    if (type.kind_ == TYPE::FUNCTION && list_kind == LK_params) {
        if (type.sub.func.params) tp_die("Duplicate function parameters");
    } else if (type.kind_ == TYPE::ENUM && list_kind == LK_etors) {
        if (type.sub.enum_.etors) tp_die("Duplicate enumerator attributes");
    } else if (type.kind_ >= TYPE::CLASS) {
        if (list_of_class(*type.sub.csu, list_kind)) tp_die("Duplicate CSU attributes");
        type.sub.csu->will_have[list_kind] = true;
    } else {
        tp_die("Unexpected type attribute");
    }
    if (entry->current_list != -1) tp_die("Unexpected type attribute");
    entry->current_list = static_cast<std::int8_t>(list_kind);
}

TYPE_INFO &I_FILE::list_owner(std::uint32_t number, int list_kind) {
    find_typeref(number);
    TYPE_INFO *entry = find_entry(number);
    if (!entry || entry->current_list != list_kind) tp_die("Unexpected type attribute");
    return *entry;
}

void I_FILE::tp_end_list(std::uint32_t number, int list_kind) {
    TYPE_INFO &entry = list_owner(number, list_kind);
    entry.current_list = -1;
    if (--entry.open_lists == 0) freeze_entry(entry);
}

void I_FILE::i_settle_types() {
    for (std::uint32_t number : open_types_)
        if (TYPE_INFO &entry = *find_entry(number); entry.open_lists != 0) freeze_entry(entry);
    open_types_.clear();
    functions_used_open_.clear();
    walked_.clear();
    walked_for_ = nullptr;
    for (TYPE *csu : unchecked_classes_)
        check_class_nesting(csu);
    unchecked_classes_.clear();
}

// Only a class can refer to itself, and then by pointers. A function type among whose parameters
// is a type built on that very function type would never end.
bool I_FILE::is_built_on(const TYPE *type, const TYPE *function) {
    if (walked_for_ != function) walked_.clear();
    walked_for_ = function;
    std::vector<const TYPE *> work{type};
    while (!work.empty()) {
        const TYPE *t = work.back();
        work.pop_back();
        if (t == function) return true;
        if (!t || !walked_.insert(t).second) continue;
        switch (t->kind_) {
        case TYPE::POINTER:
        case TYPE::REFERENCE: work.push_back(t->sub.pointer.pointee); break;
        case TYPE::QUALIFIED: work.push_back(t->sub.qualified.base); break;
        case TYPE::TYPEDEF: work.push_back(t->sub.typedef_.base); break;
        case TYPE::ARRAY: work.push_back(t->sub.array.elem); break;
        case TYPE::PTM: work.push_back(t->sub.ptm.member); break;
        case TYPE::FUNCTION:
            work.push_back(t->sub.func.result);
            for (const PARAM_ELEM *p = t->sub.func.params; p; p = p->next)
                work.push_back(p->type);
            break;
        default: break;
        }
    }
    return false;
}

void I_FILE::tp_make_param_list(std::uint32_t number, std::uint32_t type, std::uint32_t mode,
                                std::string_view param_name) {
    TYPE_INFO &owner = list_owner(number, LK_params);
    TYPE *param = value_typeref(type);
    if (owner.type->kind_ == TYPE::FUNCTION) {
        if (functions_used_open_.contains(owner.type) && is_built_on(param, owner.type))
            i_invalid("Function type built on itself in I-code");
        owner.depth =
            static_cast<std::uint16_t>(std::max<unsigned>(owner.depth, derived_depth({type})));
    }
    const bool has_name = mode == 2 || mode == 3;
    tp_->append_param(owner.type, param, mode, has_name ? param_name : std::string_view());
}

void I_FILE::tp_make_etor_list(std::uint32_t number, std::string_view etor_name, const INT65 &value,
                               PSN *psn) {
    tp_->append_etor(list_owner(number, LK_etors).type, etor_name, value, psn);
}

void I_FILE::tp_make_mdata_list(std::uint32_t number, std::uint32_t type, fkMDATA &member) {
    TYPE_INFO &owner = list_owner(number, LK_mdata);
    member.type = value_typeref(type);
    // Members are found through a table by their numbers, which follow each other more or less.
    if (member.index / 16 > owner.members++) i_invalid("Invalid member number in I-code");
    tp_->append_mdata(owner.type, member);
}

void I_FILE::tp_make_bclass_list(std::uint32_t number, std::uint32_t type, BCLASS_ELEM elem) {
    elem.type = value_typeref(type);
    tp_->append_bclass(list_owner(number, LK_bclasses).type, elem);
}

void I_FILE::tp_make_adecl_list(std::uint32_t number, const ADECL_ELEM &elem) {
    tp_->append_adecl(list_owner(number, LK_adecls).type, elem);
}

void I_FILE::tp_make_ffriend_list(std::uint32_t number, std::uint32_t type, FFRIEND_ELEM elem) {
    elem.type = settled_typeref(type);
    tp_->append_ffriend(list_owner(number, LK_ffriends).type, elem);
}

void I_FILE::tp_make_cfriend_list(std::uint32_t number, std::uint32_t type) {
    CFRIEND_ELEM elem;
    elem.type = settled_typeref(type);
    tp_->append_cfriend(list_owner(number, LK_cfriends).type, elem);
}

void I_FILE::tp_make_ntype_list(std::uint32_t number, std::uint32_t type) {
    NTYPE_ELEM elem;
    elem.type = settled_typeref(type);
    tp_->append_ntype(list_owner(number, LK_ntypes).type, elem);
}

void I_FILE::tp_make_sdata_list(std::uint32_t number, std::uint32_t type, SDATA_ELEM elem) {
    elem.type = settled_typeref(type);
    tp_->append_sdata(list_owner(number, LK_sdata).type, elem);
}

void I_FILE::tp_make_func_list(std::uint32_t number, std::uint32_t type, MFUNC_ELEM elem) {
    elem.type = settled_typeref(type);
    tp_->append_mfunc(list_owner(number, LK_mfuncs).type, elem);
}

// --- checks

// The class that an object of this type holds by value, or null.
static TYPE *class_within(TYPE *type) {
    for (;;)
        switch (type->kind_) {
        case TYPE::QUALIFIED: type = type->sub.qualified.base; break;
        case TYPE::TYPEDEF: type = type->sub.typedef_.base; break;
        case TYPE::ARRAY: type = type->sub.array.elem; break;
        case TYPE::CLASS:
        case TYPE::STRUCT:
        case TYPE::UNION: return type;
        default: return nullptr;
        }
}

// Exit 1 when a class holds itself, or classes hold classes too deeply.
void I_FILE::check_class_nesting(TYPE *csu) {
    struct VISIT {
        TYPE *csu;
        const fkMDATA *member;
        const BCLASS_ELEM *base;
        unsigned depth;
    };
    std::vector<VISIT> visits;
    const auto visit = [&](TYPE *type) {
        // A class that is being visited has depth 0.
        const auto [place, is_new] = class_depths_.try_emplace(type, 0);
        if (is_new)
            visits.push_back({type, type->sub.csu->mdata, type->sub.csu->bclasses, 1});
        else if (place->second == 0)
            i_invalid("Class that holds itself in I-code");
        else if (!visits.empty())
            visits.back().depth = std::max(visits.back().depth, place->second + 1);
    };
    if (class_depths_.count(csu)) return;
    visit(csu);
    while (!visits.empty()) {
        VISIT &v = visits.back();
        TYPE *part = nullptr;
        if (v.member) {
            part = class_within(v.member->type);
            v.member = v.member->next;
        } else if (v.base) {
            part = class_within(v.base->type);
            v.base = v.base->next;
        } else {
            const unsigned depth = class_depths_[v.csu] = v.depth;
            visits.pop_back();
            if (!visits.empty()) visits.back().depth = std::max(visits.back().depth, depth + 1);
        }
        if (part) visit(part);
        if (visits.size() > if_max_type_depth ||
            (!visits.empty() && visits.back().depth > if_max_type_depth))
            i_invalid("Type nested too deeply in I-code");
    }
}

// Encoded are a length and a name of that length, or "Q", a count, "_" and that many of these;
// "__" and what describes template arguments may follow. One character stands before.
bool demangle_type_name(std::string_view name) {
    if (name.empty()) return false;
    name.remove_prefix(1);
    const auto number = [&name]() -> std::size_t {
        std::size_t n = 0;
        while (!name.empty() && std::isdigit(static_cast<unsigned char>(name[0])) && n < 1000) {
            n = n * 10 + static_cast<std::size_t>(name[0] - '0');
            name.remove_prefix(1);
        }
        return n;
    };
    std::size_t parts = 1;
    if (name.starts_with('Q')) {
        name.remove_prefix(1);
        parts = number();
        if (!name.starts_with('_')) return false;
        name.remove_prefix(1);
    }
    if (parts == 0) return false;
    for (; parts > 0; --parts) {
        const std::size_t length = number();
        if (length == 0 || length > name.size()) return false;
        name.remove_prefix(length);
    }
    return name.empty() || name.starts_with("__");
}
