#include "OPT5/icode/records/if_model.h"

#include <cstring>

std::span<const IF_VALUE> IF_MODEL::items(const IF_RECORD &r) const {
    std::size_t fixed = r.layout ? r.layout->fields.size() : r.value_count;
    return std::span(values).subspan(r.first_value + fixed, r.value_count - fixed);
}

const IF_TYPE_DEF *IF_MODEL::find_type(std::uint32_t number) const {
    auto found = types_.find(number);
    return found == types_.end() ? nullptr : &found->second;
}

bool IF_MODEL::type_is_signed(std::uint32_t number) const {
    const IF_TYPE_DEF *def = find_type(number);
    return def && def->is_signed;
}

void IF_MODEL::note_type(IF_SECTION_ID section, std::size_t index) {
    const IF_RECORD &r = sections[section].records[index];
    if (r.tag != IF_TAG_type || r.damaged || if_kind_is_list_element(r.selector)) return;
    bool is_signed = false;
    auto signed_as = [&](unsigned slot) {
        is_signed = type_is_signed(static_cast<std::uint32_t>(number(r, slot)));
    };
    switch (r.selector) {
    case IF_KIND_signed_char:
    case IF_KIND_wchar_t: // as short, which it is normalized to
    case IF_KIND_short:
    case IF_KIND_int:
    case IF_KIND_long:
    case IF_KIND_long_long:
    case IF_KIND_float:
    case IF_KIND_double:
    case IF_KIND_long_double: is_signed = true; break;
    case IF_KIND_typedef:
    case IF_KIND_enum:
    case IF_KIND_qualified: {
        static const unsigned typedef_base =
            static_cast<unsigned>(if_layout(IF_TAG_type, IF_KIND_typedef)->slot("base"));
        static const unsigned enum_base =
            static_cast<unsigned>(if_layout(IF_TAG_type, IF_KIND_enum)->slot("underlying"));
        signed_as(r.selector == IF_KIND_typedef ? typedef_base
                  : r.selector == IF_KIND_enum  ? enum_base
                                                : static_cast<unsigned>(IF_TYPE::fields));
        break;
    }
    case IF_KIND_array: {
        static const unsigned vector = static_cast<unsigned>(r.layout->slot("vector"));
        if (number(r, vector)) signed_as(IF_TYPE::fields);
        break;
    }
    default: break;
    }
    types_.try_emplace(static_cast<std::uint32_t>(number(r, IF_TYPE::number)),
                       IF_TYPE_DEF{section, static_cast<std::uint32_t>(index), is_signed});
}

std::string_view IF_MODEL::file_name(std::uint32_t number) const {
    const auto &names = sections[IF_FILES].records;
    if (number == 0 || number > names.size()) return {};
    const IF_RECORD &r = names[number - 1];
    return r.tag == IF_TAG_source ? text(r, 0) : std::string_view();
}

std::string_view IF_MODEL::keep(std::string_view text) {
    if (text.empty()) return {};
    char *copy = static_cast<char *>(arena_.allocate(text.size(), 1));
    std::memcpy(copy, text.data(), text.size());
    return {copy, text.size()};
}

bool IF_SCOPES::step(const IF_RECORD &r) {
    switch (r.tag) {
    case IF_TAG_begin_func:
    case IF_TAG_ir_begin:
        level_ = 1;
        locals_.clear();
        break;
    case IF_TAG_end_func:
    case IF_TAG_ir_end: level_ = 0; break;
    case IF_TAG_end_args: level_ = 2; break;
    case IF_TAG_begin_block: ++level_; break;
    case IF_TAG_end_block: --level_; break;
    case IF_TAG_symbol: {
        auto &table = level_ == 0 ? globals_ : locals_;
        table.push_back({&r, level_, static_cast<std::uint32_t>(table.size())});
        return true;
    }
    default: break;
    }
    return false;
}

const IF_SCOPES::SYMBOL *IF_SCOPES::find(std::int64_t level, std::int64_t index) const {
    if (static_cast<std::int32_t>(level) == -1) return nullptr;
    const auto &table = level == 0 ? globals_ : locals_;
    return index >= 0 && index < static_cast<std::int64_t>(table.size())
               ? &table[static_cast<std::size_t>(index)]
               : nullptr;
}

std::vector<std::uint32_t> if_body_positions(const IF_MODEL &model, std::size_t globals) {
    std::vector<std::uint32_t> positions(globals, 0);
    for (IF_SECTION_ID id : {IF_BODY, IF_INIT})
        for (const IF_RECORD &r : model.sections[id].records) {
            if (r.damaged || (r.tag != IF_TAG_begin_func && r.tag != IF_TAG_init)) continue;
            auto index = static_cast<std::uint64_t>(model.number(r, r.tag == IF_TAG_init ? 0 : 1));
            if (index < globals) positions[index] = r.offset;
        }
    return positions;
}

std::string if_layout_note(const IF_MODEL &model) {
    std::uint32_t position = model.sections[IF_BODY].end;
    for (IF_SECTION_ID id : {IF_INIT, IF_OPTIONS, IF_TYPES, IF_FILES, IF_GLOBALS}) {
        const IF_SECTION &s = model.sections[id];
        if (!s.present) continue;
        if (s.offset != position)
            return "section " + std::string(if_section_name[id]) + " begins at offset " +
                   std::to_string(s.offset) + " instead of " + std::to_string(position);
        position = s.end;
    }
    if (position != model.bytes.size())
        return std::to_string(model.bytes.size() - position) +
               " bytes behind the last section, at offset " + std::to_string(position);
    return {};
}
