// Draft to model: names become numbers, types that are only mentioned get records, and what the
// text leaves out is computed.
//
// The sections are walked in the order in which a reader takes them, so that a name means at each
// place what the printer would mean by it there.
#include "OPT5/icode/records/if_text_draft.h"
#include "OPT5/icode/records/if_text_measure.h"
#include "OPT5/icode/records/if_text_names.h"
#include "OPT5/icode/records/if_text_rules.h"

#include <algorithm>

namespace {
constexpr std::size_t longest_type_name = 200;

unsigned slot_of(int kind, const char *field) {
    return static_cast<unsigned>(if_layout(IF_TAG_type, kind)->slot(field));
}

class resolver {
public:
    resolver(IF_DRAFT &draft, std::vector<bool> &fill_fpos)
        : d_(draft), m_(draft.model), fill_fpos_(fill_fpos), types_(m_), members_(m_), symbols_(m_),
          measurer_(draft) {}

    void resolve() {
        number_types();
        resolve_type_section();
        resolve_body_types();
        measurer_.settle();
        all_types_seen_ = true;
        for (IF_SECTION_ID id : {IF_GLOBALS, IF_INIT, IF_BODY})
            resolve_section(id);
    }

private:
    IF_DRAFT &d_;
    IF_MODEL &m_;
    std::vector<bool> &fill_fpos_;
    IF_TYPE_NAMER types_;
    IF_MEMBER_NAMES members_;
    IF_SYMBOL_NAMES symbols_;
    IF_MEASURER measurer_;
    struct name_target {
        std::uint32_t number;
        bool several;
    };
    std::unordered_map<std::string, name_target> labels_;       // given in the text
    std::unordered_map<std::string, std::uint32_t> derived_;    // by IF_TYPE_NAMER, first of each
    std::unordered_map<std::string_view, std::uint32_t> known_; // answers given so far
    std::int64_t next_number_ = 1;
    std::int64_t last_type_ = -1; // number in the type record before, -1 for none
    std::int64_t last_member_ = 0;
    bool all_types_seen_ = false;      // types made from here on are measured at once
    std::vector<IF_RECORD> open_list_; // records of a type's list, from its head on
    std::vector<IF_PLACE> open_list_places_;

    // --- type numbers

    void number_types() {
        for (const IF_DRAFT::TYPE_LABEL &l : d_.labels)
            next_number_ = std::max(next_number_, l.number + 1);
        for (const IF_DRAFT::TYPE_LABEL &l : d_.labels) {
            std::uint32_t number =
                l.number < 0 ? new_type_number(l.place) : static_cast<std::uint32_t>(l.number);
            d_.set(l.section, l.record, IF_TYPE::number, number);
            if (l.name.empty()) continue;
            auto [entry, fresh] =
                labels_.try_emplace(std::string(l.name), name_target{number, false});
            if (!fresh && entry->second.number != number) entry->second.several = true;
        }
    }

    std::uint32_t new_type_number(IF_PLACE place) {
        if (next_number_ > UINT32_MAX) throw IF_TEXT_ERROR{place, "no type number is left"};
        return static_cast<std::uint32_t>(next_number_++);
    }

    // The record of a section that was just resolved.
    void enter_type_record(IF_SECTION_ID section, std::size_t index) {
        m_.note_type(section, index);
        const IF_RECORD &r = m_.sections[section].records[index];
        if (std::uint32_t number = types_.add(r))
            derived_.try_emplace(std::string(types_.name(number)), number);
        members_.add(r);
        measurer_.note(r, d_.places[section][index]);
    }

    void add_type_record(const IF_RECORD &r, IF_PLACE place) {
        IF_SECTION &section = m_.sections[IF_TYPES];
        section.present = true;
        section.records.push_back(r);
        d_.places[IF_TYPES].push_back(place);
        enter_type_record(IF_TYPES, section.records.size() - 1);
    }

    // Records are moved over one by one, so that a type which is only mentioned can be defined
    // before the record that mentions it. A list is held back until its end, since the types that
    // its elements mention must not stand between them.
    void resolve_type_section() {
        std::vector<IF_RECORD> records = std::move(m_.sections[IF_TYPES].records);
        std::vector<IF_PLACE> places = std::move(d_.places[IF_TYPES]);
        m_.sections[IF_TYPES].records.clear();
        d_.places[IF_TYPES].clear();
        FIXUPS fixup = d_.fixups[IF_TYPES].begin();
        for (std::size_t i = 0; i < records.size(); ++i) {
            IF_RECORD &r = records[i];
            bool in_list = r.tag == IF_TAG_type && if_kind_is_list_element(r.selector);
            if (!in_list || r.selector == IF_KIND_list) close_list();
            answer_record(IF_TYPES, i, r, fixup);
            remember(r);
            if (in_list) {
                open_list_.push_back(r);
                open_list_places_.push_back(places[i]);
            } else
                add_type_record(r, places[i]);
            if (in_list && r.selector == IF_KIND_end_list) close_list();
        }
        close_list();
        last_type_ = -1;
        last_member_ = 0;
    }

    void close_list() {
        for (std::size_t i = 0; i < open_list_.size(); ++i)
            add_type_record(open_list_[i], open_list_places_[i]);
        open_list_.clear();
        open_list_places_.clear();
    }

    // What a list element that leaves out its type or its index goes by.
    void remember(const IF_RECORD &r) {
        if (r.tag != IF_TAG_type) return;
        static const unsigned index_slot = slot_of(IF_KIND_member, "index");
        last_type_ = m_.number(r, IF_TYPE::number);
        last_member_ = r.selector == IF_KIND_member ? m_.number(r, index_slot) : 0;
    }

    // Type records in the main body, before all symbols and trees: a name stands for the same type
    // everywhere in the file.
    void resolve_body_types() {
        FIXUPS fixup = d_.fixups[IF_BODY].begin();
        auto &records = m_.sections[IF_BODY].records;
        for (std::size_t i = 0; i < records.size(); ++i) {
            if (records[i].tag != IF_TAG_type) continue;
            while (fixup != d_.fixups[IF_BODY].end() && fixup->record < i)
                ++fixup;
            answer_record(IF_BODY, i, records[i], fixup);
            remember(records[i]);
            enter_type_record(IF_BODY, i);
        }
    }

    void resolve_section(IF_SECTION_ID id) {
        FIXUPS fixup = d_.fixups[id].begin();
        auto &records = m_.sections[id].records;
        for (std::size_t i = 0; i < records.size(); ++i) {
            IF_RECORD &r = records[i];
            bool is_symbol = id != IF_INIT && symbols_.step(r);
            if (r.tag != IF_TAG_type)
                answer_record(id, i, r, fixup);
            else
                while (fixup != d_.fixups[id].end() && fixup->record == i)
                    ++fixup;
            if (is_symbol && id == IF_GLOBALS)
                fill_fpos_.push_back(i < d_.auto_fpos.size() && d_.auto_fpos[i]);
        }
    }

    // --- answers

    using FIXUPS = std::vector<IF_DRAFT::FIXUP>::const_iterator;

    // Answers all of one record; `fixup` is its first and becomes the first of a later one. What
    // depends on a type in the same record comes last.
    void answer_record(IF_SECTION_ID section, std::size_t index, IF_RECORD &r, FIXUPS &fixup) {
        auto needs_type = [](const IF_DRAFT::FIXUP &f) {
            return f.pending == IF_DRAFT::by_type || f.pending == IF_DRAFT::member_name;
        };
        FIXUPS first = fixup, end = d_.fixups[section].end();
        for (; fixup != end && fixup->record == index; ++fixup)
            if (!needs_type(*fixup)) answer(r, *fixup);
        for (; first != fixup; ++first)
            if (needs_type(*first)) answer(r, *first);
    }

    void answer(IF_RECORD &r, const IF_DRAFT::FIXUP &f) {
        auto number = [&](std::int64_t n) { m_.value(r, f.slot) = IF_VALUE::of_number(n); };
        switch (f.pending) {
        case IF_DRAFT::type_name: number(type_number(f.text, f.place)); break;
        case IF_DRAFT::type_owner:
            if (last_type_ < 0)
                throw IF_TEXT_ERROR{f.place, "expected of= with the type it belongs to"};
            number(last_type_);
            break;
        case IF_DRAFT::symbol_name: answer_symbol(r, f); break;
        case IF_DRAFT::symbol_check: check_symbol(f); break;
        case IF_DRAFT::global_name: answer_global(r, f); break;
        case IF_DRAFT::member_name: answer_member(r, f); break;
        case IF_DRAFT::by_type: check_range(r, f); break;
        case IF_DRAFT::measure: answer_measure(r, f); break;
        case IF_DRAFT::member_index: number(last_member_ + 1); break;
        }
    }

    void answer_member(IF_RECORD &r, const IF_DRAFT::FIXUP &f) {
        auto csu = static_cast<std::uint32_t>(m_.number(r, f.slot + 1u));
        std::int64_t index = members_.index(csu, f.text);
        if (index < 0)
            throw IF_TEXT_ERROR{
                f.place, index == -2 ? "expected a member's index: several members are named \"" +
                                           std::string(f.text) + "\""
                                     : "expected a member of the class, found \"" +
                                           std::string(f.text) + "\""};
        m_.value(r, f.slot) = IF_VALUE::of_number(index);
    }

    // A number that was in the range of sint or of uint must be in the one that the type chooses.
    void check_range(IF_RECORD &r, const IF_DRAFT::FIXUP &f) {
        std::uint32_t type = 0;
        for (unsigned slot = 0; slot < f.slot; ++slot) {
            IF_ROLE role = r.layout->fields[slot].role;
            if (role == IF_ROLE::typeref || role == IF_ROLE::type_number)
                type = static_cast<std::uint32_t>(m_.number(r, slot));
        }
        std::int64_t n = m_.number(r, f.slot);
        if (m_.type_is_signed(type) && n > INT32_MAX)
            throw IF_TEXT_ERROR{f.place,
                                "expected a value below 2147483648 for a signed type, found " +
                                    std::string(f.text)};
        if (!m_.type_is_signed(type) && n < 0)
            m_.value(r, f.slot) = IF_VALUE::of_number(static_cast<std::uint32_t>(n));
    }

    // --- symbols

    // Takes "@level.index" apart.
    static void parse_pair(std::string_view text, IF_PLACE place, std::int64_t &level,
                           std::int64_t &index) {
        std::size_t dot = text.find('.');
        if (dot == std::string_view::npos || !if_parse_number(text.substr(1, dot - 1), level) ||
            !if_parse_number(text.substr(dot + 1), index))
            throw IF_TEXT_ERROR{place,
                                "expected @level.index, found \"" + std::string(text) + "\""};
    }

    void answer_symbol(IF_RECORD &r, const IF_DRAFT::FIXUP &f) {
        std::int64_t level = 0, index = 0;
        std::size_t at_sign = f.text.find('@');
        bool wide = r.layout->fields[f.slot + 1u].enc == IF_ENC::sleb;
        if (f.text == "none") {
            level = -1;
            index = wide ? -1 : 0;
        } else if (at_sign != std::string_view::npos)
            parse_pair(f.text.substr(at_sign), f.place, level, index);
        else {
            const IF_SCOPES::SYMBOL *s = nullptr;
            demand_one(symbols_.find(f.text, s), f);
            level = s->level;
            index = s->index;
        }
        auto store = [&](unsigned slot, std::int64_t n) {
            if (r.layout->fields[slot].enc == IF_ENC::uleb) n = static_cast<std::uint32_t>(n);
            m_.value(r, slot) = IF_VALUE::of_number(n);
        };
        store(f.slot, level);
        store(f.slot + 1u, index);
    }

    static void demand_one(IF_SYMBOL_NAMES::RESULT result, const IF_DRAFT::FIXUP &f) {
        if (result == IF_SYMBOL_NAMES::RESULT::none)
            throw IF_TEXT_ERROR{f.place, "expected a symbol, found \"" + std::string(f.text) +
                                             "\", which is not defined here"};
        if (result == IF_SYMBOL_NAMES::RESULT::several)
            throw IF_TEXT_ERROR{f.place, "expected " + std::string(f.text) +
                                             "@level.index: several symbols have that name here"};
    }

    void answer_global(IF_RECORD &r, const IF_DRAFT::FIXUP &f) {
        std::int64_t level = 0, index = 0;
        std::size_t at_sign = f.text.find('@');
        if (at_sign != std::string_view::npos) {
            parse_pair(f.text.substr(at_sign), f.place, level, index);
            if (level != 0)
                throw IF_TEXT_ERROR{f.place, "expected a file-level symbol, found \"" +
                                                 std::string(f.text) + "\""};
        } else {
            const IF_SCOPES::SYMBOL *s = nullptr;
            demand_one(symbols_.find_global(f.text, s), f);
            index = s->index;
        }
        m_.value(r, f.slot) = IF_VALUE::of_number(static_cast<std::uint32_t>(index));
    }

    // The symbol record just stepped over must have the number that stands behind its name.
    void check_symbol(const IF_DRAFT::FIXUP &f) {
        std::int64_t level = 0, index = 0;
        parse_pair(f.text, f.place, level, index);
        const auto &table = symbols_.scopes().level() == 0 ? symbols_.scopes().globals()
                                                           : symbols_.scopes().locals();
        const IF_SCOPES::SYMBOL &s = table.back();
        if (s.level != level || s.index != index)
            throw IF_TEXT_ERROR{f.place, "expected @" + std::to_string(s.level) + "." +
                                             std::to_string(s.index) +
                                             ", the symbol's place in order, found \"" +
                                             std::string(f.text) + "\""};
    }

    // --- types by name

    std::uint32_t type_number(std::string_view text, IF_PLACE place) {
        auto known = known_.find(text);
        if (known != known_.end()) return known->second;
        std::uint32_t number = find_type(text, place);
        known_.emplace(text, number);
        return number;
    }

    std::uint32_t find_type(std::string_view text, IF_PLACE place) {
        if (text == "none" || text == "0") return 0;
        if (std::size_t hash = text.rfind('#'); hash != std::string_view::npos) {
            std::int64_t n = 0;
            if (!if_parse_number(text.substr(hash + 1), n) || n < 0)
                throw IF_TEXT_ERROR{place, "expected #number of a type, found \"" +
                                               std::string(text) + "\""};
            return static_cast<std::uint32_t>(n);
        }
        std::string name(text);
        if (auto label = labels_.find(name); label != labels_.end()) {
            if (label->second.several)
                throw IF_TEXT_ERROR{place,
                                    "expected " + name + "#number: several types have that name"};
            return label->second.number;
        }
        if (auto found = derived_.find(name); found != derived_.end()) return found->second;
        if (text.size() > longest_type_name)
            throw IF_TEXT_ERROR{place, "expected a type name of at most " +
                                           std::to_string(longest_type_name) + " characters"};
        return make_type(text, place);
    }

    // A type that the text mentions and nowhere defines, made from its name.
    std::uint32_t make_type(std::string_view text, IF_PLACE place) {
        for (const IF_BASIC_TYPE &b : if_basic_types())
            if (text == b.name) return make_basic(b, place);
        std::size_t dot = text.rfind('.');
        char last = text.empty() ? ' ' : text.back();
        if (last == '*' || last == '&') {
            std::uint32_t to = find_type(text.substr(0, text.size() - 1), place);
            IF_RECORD r = new_type(last == '*' ? IF_KIND_pointer : IF_KIND_reference, place);
            set(r, "to", to);
            return add_made(r, text, place);
        }
        if (last == ']' || last == '>') return make_array(text, place);
        if (last == ')') return make_function(text, place);
        if (dot != std::string_view::npos) {
            if (text.substr(dot) == ".complex") {
                std::uint32_t part = find_type(text.substr(0, dot), place);
                IF_RECORD r = new_type(IF_KIND_complex, place);
                set(r, "part", part);
                return add_made(r, text, place);
            }
            if (std::uint32_t number = make_qualified(text, place)) return number;
        }
        throw IF_TEXT_ERROR{place, "expected a type, found \"" + std::string(text) + "\""};
    }

    void set(const IF_RECORD &r, const char *field, std::int64_t n) {
        m_.value(r, static_cast<unsigned>(r.layout->slot(field))) = IF_VALUE::of_number(n);
    }

    IF_RECORD new_type(int kind, IF_PLACE place) {
        IF_RECORD r = if_new_record(m_, *if_layout(IF_TAG_type, kind), kind);
        m_.value(r, IF_TYPE::number) = IF_VALUE::of_number(new_type_number(place));
        return r;
    }

    std::uint32_t add_made(const IF_RECORD &r, std::string_view name, IF_PLACE place) {
        auto number = static_cast<std::uint32_t>(m_.number(r, IF_TYPE::number));
        for (IF_ROLE role : {IF_ROLE::size, IF_ROLE::alignment})
            if (int slot = if_measure_slot(*r.layout, role); slot >= 0)
                measurer_.wait(r, static_cast<unsigned>(slot), place);
        add_type_record(r, place);
        derived_.try_emplace(std::string(name), number);
        if (all_types_seen_) measurer_.settle();
        return number;
    }

    std::uint32_t make_basic(const IF_BASIC_TYPE &b, IF_PLACE place) {
        IF_RECORD r = new_type(b.kind, place);
        if (if_kind_is_integer(b.kind)) set(r, "explicit", b.explicit_sign);
        return add_made(r, b.name, place);
    }

    std::uint32_t make_array(std::string_view text, IF_PLACE place) {
        bool vector = text.back() == '>';
        std::size_t open = text.rfind(vector ? '<' : '[');
        std::string_view count =
            open == std::string_view::npos ? "?" : text.substr(open + 1, text.size() - open - 2);
        std::int64_t n = 0;
        if (!count.empty() && (!if_parse_number(count, n) || n < 0))
            throw IF_TEXT_ERROR{place,
                                "expected a count of elements in \"" + std::string(text) + "\""};
        std::uint32_t element = find_type(text.substr(0, open), place);
        IF_RECORD r = new_type(IF_KIND_array, place);
        set(r, "element", element);
        set(r, "count", n);
        set(r, "complete", !count.empty());
        if (vector && m_.header.version < -76)
            throw IF_TEXT_ERROR{place, "a file of version " + std::to_string(m_.header.version) +
                                           " has no vectors"};
        set(r, "vector", vector);
        return add_made(r, text, place);
    }

    // Zero when the last part is no qualifier. "int.const.volatile" is one qualified type.
    std::uint32_t make_qualified(std::string_view text, IF_PLACE place) {
        const IF_FIELD &field = if_layout(IF_TAG_type, IF_KIND_qualified)
                                    ->fields[slot_of(IF_KIND_qualified, "qualifiers")];
        std::string_view base = text;
        std::int64_t bits = 0;
        for (std::size_t dot = base.rfind('.'); dot != std::string_view::npos;
             dot = base.rfind('.')) {
            std::size_t i = 0;
            while (i < field.bits.size() && base.substr(dot + 1) != field.bits[i])
                ++i;
            if (i == field.bits.size()) break;
            bits |= std::int64_t{1} << i;
            base = base.substr(0, dot);
        }
        if (bits == 0) return 0;
        std::string canonical(base);
        for (std::size_t i = 0; i < field.bits.size(); ++i)
            if (bits >> i & 1) canonical += std::string(".") + field.bits[i];
        if (auto found = derived_.find(canonical); found != derived_.end()) return found->second;
        std::uint32_t base_number = find_type(base, place);
        IF_RECORD r = new_type(IF_KIND_qualified, place);
        set(r, "base", base_number);
        set(r, "qualifiers", bits);
        return add_made(r, canonical, place);
    }

    // "result(parameter,...)", "result(void)" or, without a prototype, "result()".
    std::uint32_t make_function(std::string_view text, IF_PLACE place) {
        std::size_t open = text.size() - 1;
        for (int depth = 0; open-- > 0;) {
            if (text[open] == ')' || text[open] == ']') ++depth;
            if ((text[open] == '(' || text[open] == '[') && depth-- == 0) break;
        }
        if (open >= text.size())
            throw IF_TEXT_ERROR{place, "expected \"(\" in \"" + std::string(text) + "\""};
        std::string_view list = text.substr(open + 1, text.size() - open - 2);
        std::uint32_t result = find_type(text.substr(0, open), place);
        bool prototyped = !list.empty(), variadic = false;
        std::vector<std::uint32_t> parameters;
        if (list == "void") list = {};
        while (!list.empty()) {
            std::size_t end = 0;
            for (int depth = 0; end < list.size() && (depth > 0 || list[end] != ','); ++end) {
                if (list[end] == '(' || list[end] == '[') ++depth;
                if (list[end] == ')' || list[end] == ']') --depth;
            }
            std::string_view parameter = list.substr(0, end);
            list.remove_prefix(std::min(end + 1, list.size()));
            if (parameter == "..." && list.empty())
                variadic = true;
            else
                parameters.push_back(find_type(parameter, place));
        }
        IF_RECORD r = new_type(IF_KIND_function, place);
        set(r, "result", result);
        set(r, "prototyped", prototyped);
        set(r, "variadic", variadic);
        std::uint32_t number = add_made(r, text, place);
        add_list_record(IF_KIND_list, number, place);
        for (std::uint32_t type : parameters) {
            IF_RECORD p = if_new_record(m_, *if_layout(IF_TAG_type, IF_KIND_param), IF_KIND_param);
            set(p, "of", number);
            set(p, "type", type);
            add_type_record(p, place);
        }
        add_list_record(IF_KIND_end_list, number, place);
        return number;
    }

    void add_list_record(int kind, std::uint32_t number, IF_PLACE place) {
        IF_RECORD r = if_new_record(m_, *if_layout(IF_TAG_type, kind), kind);
        set(r, "of", number);
        add_type_record(r, place);
    }

    void answer_measure(IF_RECORD &r, const IF_DRAFT::FIXUP &f) {
        if (r.tag == IF_TAG_type)
            measurer_.wait(r, f.slot, f.place);
        else
            m_.value(r, f.slot) = IF_VALUE::of_number(
                if_type_measure(m_, static_cast<std::uint32_t>(m_.number(r, IF_SYM::type)),
                                r.layout->fields[f.slot].role));
    }
};
} // namespace

void if_resolve_draft(IF_DRAFT &draft, std::vector<bool> &fill_fpos) {
    resolver(draft, fill_fpos).resolve();
}
