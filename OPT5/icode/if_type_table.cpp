// The map from type numbers to types, and the makers that fill it: a type may be built on numbers
// already defined only, and gets its lists, element by element, behind its own record.
#include "OPT5/icode/if_file.h"

#include <algorithm>

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

fkMDATA *I_FILE::find_mdataref(std::uint32_t class_number, std::uint32_t index) {
    const TYPE *type = find_typeref(class_number);
    if (!type || !type->is_csu()) return nullptr;
    const std::vector<fkMDATA *> &members = type->stds()->sub.csu->mdata_by_index;
    return index < members.size() ? members[index] : nullptr;
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
    TYPE *type = find_typeref(underlying);
    enter_type(number, {.type = tp_->mk_fxtpt(binary_point, signed_flag, type, size, align)});
}

void I_FILE::tp_make_complex_type(std::uint32_t number, std::uint32_t size, std::uint32_t align,
                                  std::uint32_t part) {
    enter_type(number, {.type = tp_->mk_complex(find_typeref(part), size, align)});
}

void I_FILE::tp_make_typedef(std::uint32_t number, std::string_view type_name, std::uint32_t base,
                             std::uint32_t size, std::uint32_t align, bool cpp, bool lowered,
                             PSN *psn) {
    TYPE *type = find_typeref(base);
    enter_type(number, {.type = tp_->mk_typedef(type_name, type, size, align, cpp, lowered, psn)});
}

void I_FILE::tp_make_ref_type(std::uint32_t number, std::uint32_t to, std::uint32_t size,
                              std::uint32_t align) {
    enter_type(number, {.type = tp_->mk_ref(find_typeref(to), size, align)});
}

void I_FILE::tp_make_addr_type(std::uint32_t number, std::uint32_t to, std::uint32_t size,
                               std::uint32_t align) {
    enter_type(number, {.type = tp_->mk_ptr(find_typeref(to), size, align)});
}

void I_FILE::tp_make_qual_type(std::uint32_t number, std::uint32_t base, unsigned bits,
                               std::uint32_t size, std::uint32_t align) {
    enter_type(number, {.type = tp_->mk_qual(find_typeref(base), bits, size, align)});
}

void I_FILE::tp_make_array_type(std::uint32_t number, std::uint32_t element, std::uint32_t count,
                                std::uint32_t size, std::uint32_t align, bool cpp, bool complete) {
    TYPE *type = tp_->mk_array(find_typeref(element), count, size, align, cpp, complete);
    enter_type(number, {.type = type});
}

void I_FILE::tp_make_vector_type(std::uint32_t number, std::uint32_t element, std::uint32_t count,
                                 std::uint32_t size, std::uint32_t align, bool cpp, bool complete) {
    TYPE *type = tp_->mk_vector(find_typeref(element), count, size, align, cpp, complete);
    enter_type(number, {.type = type});
}

void I_FILE::tp_make_ptm_type(std::uint32_t number, std::uint32_t member, std::uint32_t csu,
                              std::uint32_t size, std::uint32_t align) {
    TYPE *type = tp_->mk_ptm(find_typeref(member), find_typeref(csu), size, align);
    enter_type(number, {.type = type});
}

void I_FILE::tp_make_func_type(std::uint32_t number, std::uint32_t result, bool flag1, bool flag2,
                               unsigned calling_convention, bool cpp) {
    TYPE *type = tp_->mk_func(find_typeref(result), flag1, flag2, calling_convention, cpp);
    enter_type(number, {.type = type, .open_lists = 1});
}

void I_FILE::tp_make_enum_type(std::uint32_t number, std::string_view type_name, std::uint32_t size,
                               std::uint32_t align, std::uint32_t underlying, bool cpp, PSN *psn) {
    TYPE *type = tp_->mk_enum(type_name, size, align, find_typeref(underlying), cpp, psn);
    enter_type(number, {.type = type, .open_lists = 1});
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
        reopen_class(number, entry->type);
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
    for (std::uint32_t number : open_types_) {
        TYPE_INFO &entry = *find_entry(number);
        if (entry.open_lists == 0) continue;
        if (entry.type->kind_ >= TYPE::CLASS && entry.current_list == -1)
            late_classes_.push_back(number);
        else
            freeze_entry(entry);
    }
    open_types_.clear();
    for (TYPE *csu : unchecked_classes_)
        check_class_nesting(csu);
    unchecked_classes_.clear();
}

void I_FILE::i_settle_late_classes() {
    settle_types();
    for (std::uint32_t number : late_classes_)
        if (TYPE_INFO &entry = *find_entry(number); entry.open_lists != 0) freeze_entry(entry);
    late_classes_.clear();
}

void I_FILE::tp_make_param_list(std::uint32_t number, std::uint32_t type, std::uint32_t mode,
                                std::string_view param_name) {
    TYPE_INFO &owner = list_owner(number, LK_params);
    const bool has_name = mode == 2 || mode == 3;
    tp_->append_param(owner.type, find_typeref(type), mode,
                      has_name ? param_name : std::string_view());
}

void I_FILE::tp_make_etor_list(std::uint32_t number, std::string_view etor_name, const INT65 &value,
                               PSN *psn) {
    tp_->append_etor(list_owner(number, LK_etors).type, etor_name, value, psn);
}

void I_FILE::tp_make_mdata_list(std::uint32_t number, std::uint32_t type, fkMDATA &member) {
    member.type = find_typeref(type);
    tp_->append_mdata(list_owner(number, LK_mdata).type, member);
}

void I_FILE::tp_make_bclass_list(std::uint32_t number, std::uint32_t type, BCLASS_ELEM elem) {
    elem.type = find_typeref(type);
    tp_->append_bclass(list_owner(number, LK_bclasses).type, elem);
}

void I_FILE::tp_make_adecl_list(std::uint32_t number, const ADECL_ELEM &elem) {
    tp_->append_adecl(list_owner(number, LK_adecls).type, elem);
}

void I_FILE::tp_make_ffriend_list(std::uint32_t number, std::uint32_t type, FFRIEND_ELEM elem) {
    elem.type = find_typeref(type);
    tp_->append_ffriend(list_owner(number, LK_ffriends).type, elem);
}

void I_FILE::tp_make_cfriend_list(std::uint32_t number, std::uint32_t type) {
    CFRIEND_ELEM elem;
    elem.type = find_typeref(type);
    tp_->append_cfriend(list_owner(number, LK_cfriends).type, elem);
}

void I_FILE::tp_make_ntype_list(std::uint32_t number, std::uint32_t type) {
    NTYPE_ELEM elem;
    elem.type = find_typeref(type);
    tp_->append_ntype(list_owner(number, LK_ntypes).type, elem);
}

void I_FILE::tp_make_sdata_list(std::uint32_t number, std::uint32_t type, SDATA_ELEM elem) {
    elem.type = find_typeref(type);
    tp_->append_sdata(list_owner(number, LK_sdata).type, elem);
}

void I_FILE::tp_make_func_list(std::uint32_t number, std::uint32_t type, MFUNC_ELEM elem) {
    elem.type = find_typeref(type);
    tp_->append_mfunc(list_owner(number, LK_mfuncs).type, elem);
}

// --- checks

// A class may get a list behind other records than those of types. Another class that holds it by
// value has been checked without that list, and is none that a source can contain.
void I_FILE::reopen_class(std::uint32_t number, TYPE *csu) {
    if (class_depths_.erase(csu) == 0) return; // still in the run of its own record
    if (held_incomplete_.contains(csu)) tp_die("Unexpected type attribute");
    open_types_.push_back(number);
    unchecked_classes_.push_back(csu);
}

// The class that an object of this type holds by value, or null. Answers are kept for each layer of
// derivation, since many members may be of types that are derived alike.
TYPE *I_FILE::class_within(TYPE *type) {
    std::vector<const TYPE *> layers;
    TYPE *held = nullptr;
    for (bool found = false; !found;) {
        TYPE *below = nullptr;
        switch (type->kind_) {
        case TYPE::QUALIFIED: below = type->sub.qualified.base; break;
        case TYPE::TYPEDEF: below = type->sub.typedef_.base; break;
        case TYPE::ARRAY: below = type->sub.array.elem; break;
        default:
            if (type->kind_ >= TYPE::CLASS) held = type;
            found = true;
            continue;
        }
        const auto known = held_classes_.find(type);
        if (known != held_classes_.end()) {
            held = known->second;
            found = true;
        } else {
            layers.push_back(type);
            type = below;
        }
    }
    for (const TYPE *layer : layers)
        held_classes_.emplace(layer, held);
    return held;
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
        if (part) {
            if (!part->frozen) held_incomplete_.insert(part);
            visit(part);
        }
        if (visits.size() > if_max_class_depth ||
            (!visits.empty() && visits.back().depth > if_max_class_depth))
            i_invalid("Classes nested too deeply in I-code");
    }
}
