#include "OPT5/icode/records/if_text_rules.h"

#include "OPT5/icode/records/if_text_names.h"
#include "OPT5/icode/records/opcodes.h"

int if_measure_slot(const IF_LAYOUT &layout, IF_ROLE role) {
    for (std::size_t i = 0; i < layout.fields.size(); ++i)
        if (layout.fields[i].role == role) return static_cast<int>(i);
    return -1;
}

std::int64_t if_type_measure(const IF_MODEL &model, std::uint32_t type, IF_ROLE role) {
    const IF_TYPE_DEF *def = model.find_type(type);
    if (!def) return 0;
    const IF_RECORD &r = model.record_of(*def);
    int slot = if_measure_slot(*r.layout, role);
    return slot < 0 ? 0 : model.number(r, static_cast<unsigned>(slot));
}

std::int64_t if_count_entries(const IF_SECTION &section, std::uint32_t index) {
    std::int64_t n = 0;
    for (std::uint32_t i = index + 1; i < section.records[index].end; i = section.records[i].end)
        ++n;
    return n;
}

std::int64_t if_count_clauses(const IF_MODEL &model, const IF_SECTION &section,
                              std::uint32_t index) {
    if (section.records[index].end == index + 1) return 0;
    const IF_RECORD &r = section.records[index + 1];
    return r.tag == IF_TAG_catch ? model.number(r, 0) : 0;
}

std::int64_t if_count_cases(const IF_SECTION &section, std::uint32_t index) {
    const auto &records = section.records;
    std::uint32_t end = records[index].end;
    std::uint32_t value = index + 1;
    if (value >= end) return 0;
    std::uint32_t chain = records[value].end; // the second operand
    std::int64_t n = 0;
    while (chain < end && records[chain].selector == OP::COMMA) {
        std::uint32_t left = chain + 1;
        if (left >= records[chain].end) break;
        std::uint32_t right = records[left].end;
        n += right < records[chain].end && records[right].selector == OP::CASE;
        chain = left;
    }
    return n + (chain < end && records[chain].selector == OP::CASE);
}

bool if_is_file_word(std::string_view s) {
    for (char c : s)
        if (!if_is_bare_word({&c, 1}) && c != '/') return false;
    return !s.empty();
}

bool if_is_float_word(std::string_view s) {
    std::string_view magnitude = s.starts_with('-') ? s.substr(1) : s;
    if (magnitude == "inf" || magnitude == "nan") return true;
    return magnitude.starts_with("0x") && if_is_bare_word(magnitude);
}
