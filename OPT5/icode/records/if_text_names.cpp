#include "OPT5/icode/records/if_text_names.h"

namespace {
constexpr IF_BASIC_TYPE basic_types[] = {
    {"bool", IF_KIND_bool, true, 32},
    {"char", IF_KIND_signed_char, false, 16},
    {"signed_char", IF_KIND_signed_char, true, 16},
    {"unsigned_char", IF_KIND_unsigned_char, true, 16},
    {"wchar_t", IF_KIND_wchar_t, false, 16},
    {"short", IF_KIND_short, false, 16},
    {"unsigned_short", IF_KIND_unsigned_short, false, 16},
    {"int", IF_KIND_int, false, 32},
    {"unsigned", IF_KIND_unsigned, false, 32},
    {"long", IF_KIND_long, false, 32},
    {"unsigned_long", IF_KIND_unsigned_long, false, 32},
    {"long_long", IF_KIND_long_long, false, 32},
    {"unsigned_long_long", IF_KIND_unsigned_long_long, false, 32},
    {"float", IF_KIND_float, false, 32},
    {"double", IF_KIND_double, false, 32},
    {"long_double", IF_KIND_long_double, false, 32},
    {"void", IF_KIND_void, false, 0},
};

unsigned slot_of(int kind, const char *field) {
    return static_cast<unsigned>(if_layout(IF_TAG_type, kind)->slot(field));
}

bool is_word_char(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
           c == '.' || c == '$';
}

std::uint64_t member_key(std::uint32_t csu, std::uint32_t index) {
    return static_cast<std::uint64_t>(csu) << 32 | index;
}
} // namespace

std::span<const IF_BASIC_TYPE> if_basic_types() {
    return basic_types;
}

bool if_is_bare_word(std::string_view s) {
    for (char c : s)
        if (!is_word_char(c) && c != '+' && c != '-') return false;
    return !s.empty();
}

bool if_is_bare_name(std::string_view s) {
    for (char c : s)
        if (!is_word_char(c)) return false;
    return !s.empty() && !(s[0] >= '0' && s[0] <= '9') && s != "none";
}

bool IF_TYPE_NAMER::give(std::uint32_t number, std::string name) {
    if (name.empty() || name.size() > if_max_type_name) return false;
    auto [place, fresh] = names_.try_emplace(number, name);
    if (fresh) ++counts_[std::move(name)];
    return fresh;
}

std::string IF_TYPE_NAMER::derive(const IF_RECORD &r) const {
    auto base = [&](unsigned slot) {
        return std::string(name(static_cast<std::uint32_t>(model_.number(r, slot))));
    };
    // A derived name needs the name of what it is derived from.
    auto behind = [&](unsigned slot, const std::string &suffix) {
        std::string b = base(slot);
        return b.empty() ? b : b + suffix;
    };
    auto tagged = [&](const char *prefix, unsigned slot) {
        std::string_view tag = model_.text(r, slot);
        return if_is_bare_name(tag) && tag.find('.') == std::string_view::npos
                   ? prefix + std::string(tag)
                   : std::string();
    };
    for (const IF_BASIC_TYPE &b : basic_types) {
        if (r.selector != b.kind) continue;
        bool sign_matters = r.selector == IF_KIND_signed_char;
        if (!sign_matters || (model_.number(r, IF_TYPE::fields) != 0) == b.explicit_sign)
            return b.name;
    }
    switch (r.selector) {
    case IF_KIND_typedef: return tagged("", slot_of(IF_KIND_typedef, "name"));
    case IF_KIND_enum: return tagged("enum.", slot_of(IF_KIND_enum, "name"));
    case IF_KIND_csu:
    case IF_KIND_csu_long: {
        static constexpr const char *prefixes[] = {"struct.", "union.", "class."};
        std::int64_t csu = model_.number(r, slot_of(IF_KIND_csu, "csu kind"));
        return csu >= 0 && csu < 3 ? tagged(prefixes[csu], slot_of(IF_KIND_csu, "name"))
                                   : std::string();
    }
    case IF_KIND_pointer: return behind(slot_of(IF_KIND_pointer, "to"), "*");
    case IF_KIND_reference: return behind(slot_of(IF_KIND_pointer, "to"), "&");
    case IF_KIND_complex: return behind(slot_of(IF_KIND_complex, "part"), ".complex");
    case IF_KIND_qualified: {
        const IF_FIELD &field = r.layout->fields[slot_of(IF_KIND_qualified, "qualifiers")];
        std::int64_t bits = model_.number(r, slot_of(IF_KIND_qualified, "qualifiers"));
        std::string suffix;
        for (std::size_t i = 0; i < field.bits.size(); ++i)
            if (bits >> i & 1) suffix += std::string(".") + field.bits[i];
        return suffix.empty() || bits >> field.bits.size() ? std::string()
                                                           : behind(IF_TYPE::fields, suffix);
    }
    case IF_KIND_array: {
        bool vector = model_.number(r, slot_of(IF_KIND_array, "vector")) != 0;
        bool complete = model_.number(r, slot_of(IF_KIND_array, "complete")) != 0;
        std::int64_t n = model_.number(r, slot_of(IF_KIND_array, "count"));
        std::string count = complete || n ? std::to_string(n) : std::string();
        return behind(IF_TYPE::fields, vector ? "<" + count + ">" : "[" + count + "]");
    }
    default: return {};
    }
}

std::uint32_t IF_TYPE_NAMER::add(const IF_RECORD &r) {
    if (r.tag != IF_TAG_type || r.damaged) return 0;
    auto number = static_cast<std::uint32_t>(model_.number(r, IF_TYPE::number));
    switch (r.selector) {
    case IF_KIND_function: {
        // A function's name is complete with the end of its parameter list.
        std::string result(name(static_cast<std::uint32_t>(model_.number(r, IF_TYPE::fields))));
        if (!result.empty() && !names_.contains(number)) open_functions_[number] = result + "(";
        return 0;
    }
    case IF_KIND_param: {
        auto open = open_functions_.find(number);
        if (open == open_functions_.end()) return 0;
        std::string_view type =
            name(static_cast<std::uint32_t>(model_.number(r, slot_of(IF_KIND_param, "type"))));
        std::string &text = open->second;
        if (type.empty() || text.size() > if_max_type_name) {
            open_functions_.erase(open);
            return 0;
        }
        if (text.back() != '(') text += ',';
        text += type;
        return 0;
    }
    case IF_KIND_end_list: {
        auto open = open_functions_.find(number);
        if (open == open_functions_.end()) return 0;
        std::string text = std::move(open->second);
        open_functions_.erase(open);
        const IF_TYPE_DEF *def = model_.find_type(number);
        if (!def || model_.record_of(*def).selector != IF_KIND_function) return 0;
        const IF_RECORD &function = model_.record_of(*def);
        bool variadic = model_.number(function, slot_of(IF_KIND_function, "variadic")) != 0;
        bool prototyped = model_.number(function, slot_of(IF_KIND_function, "prototyped")) != 0;
        bool empty = text.back() == '(';
        if (prototyped ? empty && variadic : !empty || variadic) return 0;
        if (variadic) text += ",...";
        if (prototyped && empty) text += "void";
        return give(number, text + ")") ? number : 0;
    }
    default: return give(number, derive(r)) ? number : 0;
    }
}

std::string_view IF_TYPE_NAMER::name(std::uint32_t number) const {
    auto found = names_.find(number);
    return found == names_.end() ? std::string_view() : std::string_view(found->second);
}

std::size_t IF_TYPE_NAMER::count(std::string_view name) const {
    auto found = counts_.find(std::string(name));
    return found == counts_.end() ? 0 : found->second;
}

void IF_MEMBER_NAMES::add(const IF_RECORD &r) {
    if (r.tag != IF_TAG_type || r.selector != IF_KIND_member || r.damaged) return;
    static const unsigned index_slot = slot_of(IF_KIND_member, "index");
    static const unsigned name_slot = slot_of(IF_KIND_member, "name");
    auto csu = static_cast<std::uint32_t>(model_.number(r, IF_TYPE::number));
    auto index = static_cast<std::uint32_t>(model_.number(r, index_slot));
    std::string_view name = model_.text(r, name_slot);
    by_index_.try_emplace(member_key(csu, index), name);
    auto [place, fresh] = by_name_[csu].try_emplace(name, index);
    if (!fresh) place->second = -2;
}

std::int64_t IF_MEMBER_NAMES::index(std::uint32_t csu, std::string_view name) const {
    auto members = by_name_.find(csu);
    if (members == by_name_.end()) return -1;
    auto found = members->second.find(name);
    return found == members->second.end() ? -1 : found->second;
}

std::string_view IF_MEMBER_NAMES::name(std::uint32_t csu, std::uint32_t number) const {
    auto found = by_index_.find(member_key(csu, number));
    if (found == by_index_.end() || !if_is_bare_name(found->second)) return {};
    return index(csu, found->second) == number ? found->second : std::string_view();
}

bool IF_SYMBOL_NAMES::step(const IF_RECORD &r) {
    bool is_symbol = scopes_.step(r);
    if (!is_symbol) {
        bool function_edge = r.tag == IF_TAG_begin_func || r.tag == IF_TAG_ir_begin ||
                             r.tag == IF_TAG_end_func || r.tag == IF_TAG_ir_end;
        if (function_edge) {
            visible_.clear();
            order_.clear();
        }
        if (r.tag == IF_TAG_end_block)
            while (!order_.empty() && scopes_.locals()[order_.back()].level > scopes_.level()) {
                auto entry = visible_.find(name_of(scopes_.locals()[order_.back()]));
                entry->second.pop_back();
                if (entry->second.empty()) visible_.erase(entry);
                order_.pop_back();
            }
        return false;
    }
    if (scopes_.level() == 0) {
        const IF_SCOPES::SYMBOL &s = scopes_.globals().back();
        auto [place, fresh] = globals_.try_emplace(name_of(s), global_name{s.index, false});
        if (!fresh) place->second.several = true;
    } else {
        const IF_SCOPES::SYMBOL &s = scopes_.locals().back();
        visible_[name_of(s)].push_back(s.index);
        order_.push_back(s.index);
    }
    return true;
}

IF_SYMBOL_NAMES::RESULT IF_SYMBOL_NAMES::find_global(std::string_view name,
                                                     const IF_SCOPES::SYMBOL *&found) const {
    auto entry = globals_.find(name);
    if (entry == globals_.end()) return RESULT::none;
    if (entry->second.several) return RESULT::several;
    found = &scopes_.globals()[entry->second.index];
    return RESULT::one;
}

IF_SYMBOL_NAMES::RESULT IF_SYMBOL_NAMES::find(std::string_view name,
                                              const IF_SCOPES::SYMBOL *&found) const {
    auto entry = visible_.find(name);
    if (entry == visible_.end()) return find_global(name, found);
    const auto &indices = entry->second;
    const IF_SCOPES::SYMBOL &inner = scopes_.locals()[indices.back()];
    if (indices.size() > 1 && scopes_.locals()[indices[indices.size() - 2]].level == inner.level)
        return RESULT::several;
    found = &inner;
    return RESULT::one;
}
