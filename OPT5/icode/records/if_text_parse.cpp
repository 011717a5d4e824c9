// Text to draft: lines and trees by the schema.
#include "OPT5/icode/records/if_text.h"
#include "OPT5/icode/records/if_text_draft.h"
#include "OPT5/icode/records/if_text_names.h"
#include "OPT5/icode/records/if_text_rules.h"
#include "OPT5/icode/records/opcodes.h"

#include <bitset>
#include <charconv>
#include <cstdlib>

bool if_parse_number(std::string_view text, std::int64_t &number) {
    bool negative = text.starts_with('-');
    if (negative) text.remove_prefix(1);
    int base = 10;
    if (text.starts_with("0x")) {
        base = 16;
        text.remove_prefix(2);
    }
    std::uint64_t magnitude = 0;
    auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), magnitude, base);
    if (failure != std::errc() || end != text.data() + text.size() || magnitude > 0xffffffff)
        return false;
    number =
        negative ? -static_cast<std::int64_t>(magnitude) : static_cast<std::int64_t>(magnitude);
    return true;
}

IF_RECORD if_new_record(IF_MODEL &model, const IF_LAYOUT &layout, int selector) {
    IF_RECORD r;
    r.layout = &layout;
    r.tag = static_cast<std::uint8_t>(layout.tag);
    r.selector = static_cast<std::uint8_t>(selector);
    r.first_value = static_cast<std::uint32_t>(model.values.size());
    r.value_count = static_cast<std::uint32_t>(layout.fields.size());
    model.values.resize(model.values.size() + layout.fields.size());
    if (layout.selector_field >= 0)
        model.value(r, static_cast<unsigned>(layout.selector_field)) =
            IF_VALUE::of_number(selector);
    return r;
}

std::uint32_t IF_DRAFT::add_record(IF_SECTION_ID section, const IF_LAYOUT &layout, int selector,
                                   IF_PLACE place) {
    auto &records = model.sections[section].records;
    auto index = static_cast<std::uint32_t>(records.size());
    IF_RECORD r = if_new_record(model, layout, selector);
    r.end = index + 1;
    records.push_back(r);
    places[section].push_back(place);
    return index;
}

namespace {
using KIND = IF_TOKEN::KIND;

class text_parser {
public:
    text_parser(std::string_view text, IF_DRAFT &draft)
        : lexer_(text), d_(draft), m_(draft.model) {}

    void parse() {
        skip_line_ends();
        if (at_word("icode")) parse_header();
        bool in_section = false;
        std::bitset<IF_SECTION_COUNT> seen;
        m_.sections[IF_BODY].present = true;
        for (skip_line_ends(); lexer_.peek().kind != KIND::end; skip_line_ends()) {
            int heading = heading_of(lexer_.peek());
            if (heading < 0) {
                if (!in_section)
                    fail("a section heading (options, files, types, globals, initialisers, code)");
                parse_group();
                continue;
            }
            section_ = static_cast<IF_SECTION_ID>(heading);
            if (seen[section_])
                throw IF_TEXT_ERROR{lexer_.peek().place, std::string("section ") +
                                                             if_section_name[section_] +
                                                             " stands here a second time"};
            if (section_ == IF_FILES && m_.sections[IF_FILES].present)
                throw IF_TEXT_ERROR{lexer_.peek().place,
                                    "expected section files before the first position with a name"};
            seen.set(section_);
            in_section = true;
            m_.sections[section_].present = true;
            lexer_.next();
            expect_line_end();
        }
    }

private:
    IF_LEXER lexer_;
    IF_DRAFT &d_;
    IF_MODEL &m_;
    IF_SECTION_ID section_ = IF_BODY;
    std::unordered_map<std::string_view, std::uint32_t> files_; // first number of each name

    // --- tokens

    [[noreturn]] void fail(const std::string &expected) {
        const IF_TOKEN &t = lexer_.peek();
        throw IF_TEXT_ERROR{t.place, "expected " + expected + ", found " + if_token_text(t)};
    }
    bool at(KIND kind) const { return lexer_.peek().kind == kind; }
    bool at_word(std::string_view text) const {
        return at(KIND::word) && lexer_.peek().text == text;
    }
    void skip_line_ends() {
        while (at(KIND::line_end))
            lexer_.next();
    }
    void expect_line_end() {
        if (at(KIND::end)) return;
        if (!at(KIND::line_end)) fail("the end of the line");
        lexer_.next();
    }
    IF_TOKEN expect_word(const char *what) {
        if (!at(KIND::word)) fail(what);
        return lexer_.next();
    }
    static int heading_of(const IF_TOKEN &t) {
        if (t.kind != KIND::word) return -1;
        for (unsigned i = 0; i < IF_SECTION_COUNT; ++i)
            if (t.text == if_section_name[i]) return static_cast<int>(i);
        return -1;
    }
    std::string_view string_of(const IF_TOKEN &t) {
        return t.escaped ? m_.keep(if_unescape(t)) : t.text;
    }

    static std::int64_t number_of(const IF_TOKEN &t, std::string_view text, const char *what,
                                  IF_RANGE range) {
        std::int64_t n = 0;
        if (!if_parse_number(text, n))
            throw IF_TEXT_ERROR{t.place, std::string("expected a number for ") + what +
                                             ", found \"" + std::string(text) + "\""};
        if (n < range.low || n > range.high)
            throw IF_TEXT_ERROR{
                t.place, std::string("expected ") + what + " from " + std::to_string(range.low) +
                             " to " + std::to_string(range.high) + ", found " + std::string(text)};
        return n;
    }

    // --- header

    void parse_header() {
        lexer_.next();
        while (!at(KIND::line_end) && !at(KIND::end)) {
            IF_TOKEN t = expect_word("version=, cpu=, name= or reserved=");
            std::size_t equals = t.text.find('=');
            std::string_view key = t.text.substr(0, equals);
            std::string_view value =
                equals == std::string_view::npos ? std::string_view() : t.text.substr(equals + 1);
            if (key == "version")
                m_.header.version = static_cast<std::int32_t>(
                    number_of(t, value, "version", {if_oldest_version, if_current_version}));
            else if (key == "cpu")
                m_.header.cpu_id = static_cast<std::int32_t>(
                    number_of(t, value, "cpu", {if_family_cpu_id, if_family_cpu_id}));
            else if (key == "reserved")
                m_.header.reserved = static_cast<std::uint32_t>(
                    number_of(t, value, "reserved", if_range(IF_ENC::u32)));
            else if (key == "name")
                m_.header.name = string_behind(value);
            else
                throw IF_TEXT_ERROR{t.place, "expected version=, cpu=, name= or reserved=, found " +
                                                 if_token_text(t)};
        }
        if (m_.header.reserved && m_.header.version < -83)
            fail("no reserved word in a file of version " + std::to_string(m_.header.version));
    }

    // The value of "key=word" or of "key=" with a string right behind it.
    std::string_view string_behind(std::string_view value) {
        if (!value.empty()) return value;
        if (!at(KIND::string) || !lexer_.peek().adjacent) fail("a string behind \"=\"");
        return string_of(lexer_.next());
    }

    // --- records with what belongs to them

    void parse_group() {
        if (at(KIND::open)) {
            if (section_ != IF_BODY)
                fail("a record of section " + std::string(if_section_name[section_]));
            parse_statement();
            return;
        }
        if (!at(KIND::word)) fail("a record");
        std::string_view keyword = lexer_.peek().text;
        if (keyword == "type")
            parse_type();
        else if (keyword == "tree")
            parse_stray_tree();
        else if (keyword == "raw")
            parse_raw();
        else if (keyword == "ppragma") {
            check_section(*if_record_named("pragma"));
            parse_record(*if_record_named("pragma"));
        } else {
            const IF_LAYOUT *layout = if_record_named(keyword);
            if (!layout || layout->tag == IF_TAG_expr) fail("a record or a section heading");
            if (layout->tag == IF_TAG_pragma)
                fail("a symbol before the pragma (one that stands alone is a ppragma)");
            check_section(*layout);
            parse_followers(parse_record(*layout));
        }
    }

    void check_section(const IF_LAYOUT &layout) {
        if (!(layout.sections & 1u << section_))
            throw IF_TEXT_ERROR{lexer_.peek().place, std::string("\"") + layout.name +
                                                         "\" cannot stand here in section " +
                                                         if_section_name[section_]};
    }

    // Takes the line of a record: its keyword, its fields.
    std::uint32_t parse_record(const IF_LAYOUT &layout) {
        IF_TOKEN keyword = lexer_.next();
        std::uint32_t index =
            d_.add_record(section_, layout, std::max(layout.selector, 0), keyword.place);
        parse_fields(index, 0);
        expect_line_end();
        return index;
    }

    void parse_followers(std::uint32_t index) {
        const IF_RECORD r = d_.record(section_, index);
        switch (r.layout->follow) {
        case IF_FOLLOW::pragmas: {
            std::int64_t n = 0;
            for (skip_line_ends(); at_word("pragma"); skip_line_ends(), ++n)
                parse_record(*if_record_named("pragma"));
            settle_count(index, IF_SYM::pragmas, n);
            break;
        }
        case IF_FOLLOW::entries: {
            std::int64_t n = 0;
            for (skip_line_ends(); at_word("entry"); skip_line_ends(), ++n)
                parse_entry();
            settle_count(index, 0, n);
            break;
        }
        case IF_FOLLOW::initialiser:
            for (bool more = true; more;) {
                skip_line_ends();
                if (!at(KIND::open)) fail("a tree of the initialiser, the last one (ENDINIT)");
                std::uint32_t root = parse_tree();
                expect_line_end();
                more = d_.record(section_, root).selector != OP::ENDINIT;
            }
            break;
        default: break;
        }
        close_group(index);
    }

    void close_group(std::uint32_t index) {
        d_.record(section_, index).end =
            static_cast<std::uint32_t>(m_.sections[section_].records.size());
    }

    // A count that stands in one record and is told by those behind it: given, it must be right.
    void settle_count(std::uint32_t index, unsigned slot, std::int64_t n) {
        const IF_RECORD r = d_.record(section_, index);
        std::int64_t given = m_.number(r, slot);
        const IF_FIELD &field = r.layout->fields[slot];
        if (given == count_left_out) {
            if (n > if_range(field.enc).high)
                throw IF_TEXT_ERROR{d_.places[section_][index],
                                    "expected at most " + std::to_string(if_range(field.enc).high) +
                                        " records behind this one, found " + std::to_string(n)};
            d_.set(section_, index, slot, n);
        } else if (given != n && (given > 0 || n > 0)) // a negative count stands for none
            throw IF_TEXT_ERROR{d_.places[section_][index],
                                std::string("expected ") + field.name + "=" + std::to_string(n) +
                                    ", as many as there are, found " + std::to_string(given)};
    }

    void parse_entry() {
        std::uint32_t index = parse_record(*if_record_named("entry"));
        std::int64_t kind = m_.number(d_.record(section_, index), 1);
        std::int64_t clauses = 0;
        skip_line_ends();
        if (kind == 1) {
            if (!at(KIND::open)) fail("the cleanup's statement");
            parse_statement();
        } else if (kind == 2) {
            if (!at_word("catch")) fail("a catch line");
            std::uint32_t list = parse_record(*if_record_named("catch"));
            clauses = m_.number(d_.record(section_, list), 0);
        }
        if (kind == 2 || m_.number(d_.record(section_, index), 3) == count_left_out)
            settle_count(index, 3, clauses);
        close_group(index);
    }

    void parse_raw() {
        IF_TOKEN keyword = lexer_.next();
        IF_TOKEN t = expect_word("a tag");
        std::int64_t tag = number_of(t, t.text, "tag", {0, if_end_tag - 1});
        if (if_prefix_layout(static_cast<int>(tag)))
            throw IF_TEXT_ERROR{t.place,
                                "expected a tag that no record has, found " + std::string(t.text)};
        if (!at(KIND::string)) fail("the record's bytes as a string");
        IF_RECORD r;
        r.tag = static_cast<std::uint8_t>(tag);
        r.first_value = static_cast<std::uint32_t>(m_.values.size());
        r.value_count = 1;
        m_.values.push_back(IF_VALUE::of_text(string_of(lexer_.next())));
        auto &records = m_.sections[section_].records;
        r.end = static_cast<std::uint32_t>(records.size() + 1);
        records.push_back(r);
        d_.places[section_].push_back(keyword.place);
        expect_line_end();
    }

    // "type label = kind fields"; the label is a name, a name and "#number", or "#number".
    void parse_type() {
        if (section_ != IF_TYPES && section_ != IF_BODY) fail("types in section types or code");
        lexer_.next();
        IF_TOKEN label = expect_word("a type's name or #number");
        if (!at_word("=")) fail("\"=\"");
        lexer_.next();
        const IF_LAYOUT *layout = at(KIND::word) ? if_type_kind_named(lexer_.peek().text) : nullptr;
        if (!layout) fail("a kind of type");
        std::size_t hash = label.text.rfind('#');
        std::string_view name = label.text.substr(0, hash);
        std::int64_t number = -1;
        if (hash != std::string_view::npos)
            number = number_of(label, label.text.substr(hash + 1), "type number",
                               if_range(IF_ENC::uleb));
        std::uint32_t index = parse_record(*layout);
        d_.labels.push_back({section_, index, name, number, label.place});
    }

    // --- fields

    // Stands for a count that the text leaves out, until it is known.
    static constexpr std::int64_t count_left_out = INT64_MIN;

    const IF_FIELD &field_of(std::uint32_t index, std::size_t slot) {
        return d_.record(section_, index).layout->fields[slot];
    }
    bool in_file(const IF_FIELD &field) const { return field.in_version(m_.header.version); }

    void parse_fields(std::uint32_t index, std::size_t first) {
        const IF_LAYOUT &layout = *d_.record(section_, index).layout;
        const auto &fields = layout.fields;
        std::bitset<32> given;
        for (std::size_t i = first; i < fields.size(); ++i)
            if (fields[i].show == IF_SHOW::plain && fields[i].enc != IF_ENC::psn &&
                fields[i].enc != IF_ENC::list && in_file(fields[i])) {
                IF_TOKEN t = lexer_.next();
                bool symbol_name = layout.tag == IF_TAG_symbol && i == IF_SYM::name;
                parse_value(index, i, t, symbol_name ? t.text.substr(0, t.text.find('@')) : t.text);
                if (symbol_name) parse_symbol_number(index, t);
            }
        if (!fields.empty() && fields.back().enc == IF_ENC::list) parse_items(index);
        while (at(KIND::word))
            parse_keyed(index, first, given);
        for (std::size_t i = first; i < fields.size(); ++i)
            if (!given[i] &&
                (fields[i].show == IF_SHOW::keyed || fields[i].show == IF_SHOW::always))
                leave_out(index, i);
    }

    // "key=value", a flag or a position.
    void parse_keyed(std::uint32_t index, std::size_t first, std::bitset<32> &given) {
        const IF_LAYOUT &layout = *d_.record(section_, index).layout;
        IF_TOKEN t = lexer_.next();
        if (t.text.starts_with('@')) {
            for (std::size_t i = first; i < layout.fields.size(); ++i)
                if (layout.fields[i].enc == IF_ENC::psn) {
                    if (given[i]) throw IF_TEXT_ERROR{t.place, "expected one position only"};
                    given.set(i);
                    set(index, i, IF_VALUE::of_psn(position_of(t)));
                    return;
                }
            throw IF_TEXT_ERROR{t.place, std::string("\"") + layout.name + "\" has no position"};
        }
        std::size_t equals = t.text.find('=');
        std::string_view key = t.text.substr(0, equals);
        for (std::size_t i = first; i < layout.fields.size(); ++i) {
            const IF_FIELD &field = layout.fields[i];
            if ((field.show != IF_SHOW::keyed && field.show != IF_SHOW::always) ||
                key != field.name)
                continue;
            if (!in_file(field))
                throw IF_TEXT_ERROR{t.place,
                                    "a file of version " + std::to_string(m_.header.version) +
                                        " does not hold \"" + std::string(key) + "\" here"};
            if (given[i])
                throw IF_TEXT_ERROR{t.place, "\"" + std::string(key) + "\" is given twice"};
            given.set(i);
            if (equals != std::string_view::npos)
                parse_keyed_value(index, i, t, t.text.substr(equals + 1));
            else if (field.enc == IF_ENC::boolean)
                set(index, i, IF_VALUE::of_number(1));
            else
                throw IF_TEXT_ERROR{t.place, "expected \"" + std::string(key) + "=\" with a value"};
            return;
        }
        throw IF_TEXT_ERROR{t.place,
                            "expected " + keys_of(layout, first) + ", found " + if_token_text(t)};
    }

    void parse_keyed_value(std::uint32_t index, std::size_t slot, const IF_TOKEN &t,
                           std::string_view value) {
        const IF_FIELD &field = field_of(index, slot);
        if (field.role == IF_ROLE::fpos && value == "auto")
            leave_out(index, slot);
        else if (field.enc == IF_ENC::string)
            set(index, slot, IF_VALUE::of_text(string_behind(value)));
        else
            parse_value(index, slot, t, value);
    }

    std::string keys_of(const IF_LAYOUT &layout, std::size_t first) const {
        std::string keys;
        for (std::size_t i = first; i < layout.fields.size(); ++i) {
            const IF_FIELD &field = layout.fields[i];
            if (field.show != IF_SHOW::keyed && field.show != IF_SHOW::always) continue;
            if (!in_file(field)) continue;
            keys += (keys.empty() ? "" : ", ") + std::string(field.name) +
                    (field.enc == IF_ENC::boolean ? "" : "=");
        }
        return (keys.empty() ? "" : keys + " or ") + std::string("the end of \"") +
               (layout.tag == IF_TAG_node ? "node" : layout.name) + "\"";
    }

    void set(std::uint32_t index, std::size_t slot, IF_VALUE v) {
        d_.set(section_, index, static_cast<unsigned>(slot), v);
    }

    void wait(std::uint32_t index, std::size_t slot, IF_DRAFT::PENDING pending, IF_PLACE place,
              std::string_view text) {
        d_.fixups[section_].push_back(
            {index, static_cast<std::uint16_t>(slot), pending, place, text});
    }

    // A keyed field that the text does not give.
    void leave_out(std::uint32_t index, std::size_t slot) {
        const IF_FIELD &field = field_of(index, slot);
        IF_PLACE place = d_.places[section_][index];
        switch (field.role) {
        case IF_ROLE::size:
        case IF_ROLE::alignment: wait(index, slot, IF_DRAFT::measure, place, {}); break;
        case IF_ROLE::type_number: wait(index, slot, IF_DRAFT::type_owner, place, {}); break;
        case IF_ROLE::member_index: wait(index, slot, IF_DRAFT::member_index, place, {}); break;
        case IF_ROLE::member_offset:
            d_.auto_offset.resize(m_.values.size());
            d_.auto_offset[d_.record(section_, index).first_value + slot] = true;
            break;
        case IF_ROLE::n_pragmas:
        case IF_ROLE::n_entries:
        case IF_ROLE::n_clauses:
        case IF_ROLE::n_cases: set(index, slot, IF_VALUE::of_number(count_left_out)); break;
        case IF_ROLE::fpos:
            if (section_ == IF_GLOBALS) {
                d_.auto_fpos.resize(index + 1);
                d_.auto_fpos[index] = true;
            }
            break;
        default: set(index, slot, IF_VALUE::of_number(field.absent)); break;
        }
    }

    // One value from a token or from the part of it behind "=".
    void parse_value(std::uint32_t index, std::size_t slot, const IF_TOKEN &t,
                     std::string_view text) {
        const IF_FIELD &field = field_of(index, slot);
        bool is_text = field.enc == IF_ENC::string || field.enc == IF_ENC::counted ||
                       field.enc == IF_ENC::rest;
        if (t.kind != KIND::word && !(is_text && t.kind == KIND::string))
            throw IF_TEXT_ERROR{t.place, std::string("expected ") + field.name + ", found " +
                                             if_token_text(t)};
        switch (field.role) {
        case IF_ROLE::typeref:
        case IF_ROLE::type_number: wait(index, slot, IF_DRAFT::type_name, t.place, text); return;
        case IF_ROLE::symbol_level: wait(index, slot, IF_DRAFT::symbol_name, t.place, text); return;
        case IF_ROLE::global: wait(index, slot, IF_DRAFT::global_name, t.place, text); return;
        case IF_ROLE::member: {
            std::int64_t n = 0;
            if (if_parse_number(text, n)) break;
            wait(index, slot, IF_DRAFT::member_name, t.place, text);
            return;
        }
        case IF_ROLE::pragma_kind:
            if (int kind = if_pragma_of_name(text); kind >= 0) {
                set(index, slot, IF_VALUE::of_number(kind));
                return;
            }
            break;
        case IF_ROLE::float_text:
            set(index, slot,
                IF_VALUE::of_text(t.kind == KIND::string ? string_of(t) : float_of(t)));
            return;
        case IF_ROLE::selector: {
            std::int64_t n = number_of(t, text, field.name, if_range(field.enc));
            if (if_layout(d_.record(section_, index).tag, static_cast<int>(n)) !=
                d_.record(section_, index).layout)
                throw IF_TEXT_ERROR{t.place, std::string("expected a ") + field.name +
                                                 " that has no keyword of its own, found " +
                                                 std::string(text)};
            d_.record(section_, index).selector = static_cast<std::uint8_t>(n);
            break;
        }
        default: break;
        }
        IF_VALUE v = plain_value(field, t, text);
        set(index, slot, v);
        if (field.enc == IF_ENC::by_type) wait(index, slot, IF_DRAFT::by_type, t.place, text);
    }

    IF_VALUE plain_value(const IF_FIELD &field, const IF_TOKEN &t, std::string_view text) {
        if (field.enc == IF_ENC::string || field.enc == IF_ENC::counted ||
            field.enc == IF_ENC::rest) {
            if (t.kind == KIND::string) return IF_VALUE::of_text(string_of(t));
            if (t.kind != KIND::word || !field.word)
                throw IF_TEXT_ERROR{t.place, std::string("expected a string for ") + field.name +
                                                 ", found " + if_token_text(t)};
            return IF_VALUE::of_text(text);
        }
        for (std::size_t i = 0; i < field.words.size(); ++i)
            if (field.words[i] && text == field.words[i])
                return IF_VALUE::of_number(static_cast<std::int64_t>(i));
        if (!field.bits.empty()) return IF_VALUE::of_number(bits_of(field, t, text));
        IF_RANGE range =
            field.enc == IF_ENC::by_type ? IF_RANGE{INT32_MIN, UINT32_MAX} : if_range(field.enc);
        if (field.enc == IF_ENC::s16) range.high = 0xffff;
        if (field.enc == IF_ENC::uleb) range.low = INT32_MIN;
        std::int64_t n = number_of(t, text, field.name, range);
        if (field.enc == IF_ENC::s16) n = static_cast<std::int16_t>(n);
        if (field.enc == IF_ENC::uleb) n = static_cast<std::uint32_t>(n);
        return IF_VALUE::of_number(n);
    }

    static std::int64_t bits_of(const IF_FIELD &field, const IF_TOKEN &t, std::string_view text) {
        std::int64_t bits = 0;
        while (!text.empty()) {
            std::size_t comma = text.find(',');
            std::string_view word = text.substr(0, comma);
            text.remove_prefix(comma == std::string_view::npos ? text.size() : comma + 1);
            std::size_t i = 0;
            while (i < field.bits.size() && word != field.bits[i])
                ++i;
            bits |= i < field.bits.size() ? std::int64_t{1} << i
                                          : number_of(t, word, field.name, if_range(field.enc));
        }
        return bits;
    }

    // A bare floating constant: a hexadecimal one as it is, a decimal one as the float it denotes.
    std::string_view float_of(const IF_TOKEN &t) {
        if (if_is_float_word(t.text)) return t.text;
        std::string text(t.text);
        char *end = nullptr;
        float value = std::strtof(text.c_str(), &end);
        if (text.empty() || *end)
            throw IF_TEXT_ERROR{t.place, "expected a floating constant, found " + if_token_text(t)};
        char hex[64];
        std::snprintf(hex, sizeof hex, "%a", static_cast<double>(value));
        return m_.keep(hex);
    }

    IF_PSN position_of(const IF_TOKEN &t) {
        std::string_view text = t.text.substr(1);
        std::size_t second = text.rfind(':');
        std::size_t first = second == std::string_view::npos || second == 0
                                ? std::string_view::npos
                                : text.rfind(':', second - 1);
        if (first == std::string_view::npos || first == 0)
            throw IF_TEXT_ERROR{t.place,
                                "expected a position @file:line:column, found " + if_token_text(t)};
        IF_RANGE range = if_range(IF_ENC::uleb);
        IF_PSN p;
        p.line = static_cast<std::uint32_t>(
            number_of(t, text.substr(first + 1, second - first - 1), "line", range));
        p.column =
            static_cast<std::uint32_t>(number_of(t, text.substr(second + 1), "column", range));
        std::string_view file = text.substr(0, first);
        p.file = file[0] == '#' ? static_cast<std::uint32_t>(
                                      number_of(t, file.substr(1), "file number", {1, 0xffffffff}))
                                : file_number(file, t.place);
        return p;
    }

    // Number of a file name; one that is not yet in the table is added.
    std::uint32_t file_number(std::string_view name, IF_PLACE place) {
        auto &records = m_.sections[IF_FILES].records;
        while (known_files_ < records.size()) {
            ++known_files_;
            files_.try_emplace(m_.file_name(known_files_), known_files_);
        }
        if (auto found = files_.find(name); found != files_.end()) return found->second;
        m_.sections[IF_FILES].present = true;
        std::uint32_t index = d_.add_record(IF_FILES, *if_record_named("source"), 0, place);
        d_.set(IF_FILES, index, 0, IF_VALUE::of_text(name));
        return index + 1;
    }
    std::uint32_t known_files_ = 0; // names of the table that files_ has

    // "@level.index" right behind the name of a symbol record.
    void parse_symbol_number(std::uint32_t index, const IF_TOKEN &name) {
        std::size_t at_sign =
            name.kind == KIND::word ? name.text.find('@') : std::string_view::npos;
        if (at_sign != std::string_view::npos)
            wait(index, 0, IF_DRAFT::symbol_check, name.place, name.text.substr(at_sign));
        else if (name.kind == KIND::string && at(KIND::word) && lexer_.peek().adjacent &&
                 lexer_.peek().text.starts_with('@')) {
            IF_TOKEN number = lexer_.next();
            wait(index, 0, IF_DRAFT::symbol_check, number.place, number.text);
        }
    }

    void parse_items(std::uint32_t index) {
        const IF_LAYOUT &layout = *d_.record(section_, index).layout;
        const auto &fields = layout.fields.back().items;
        std::int64_t count = 0;
        if (fields.size() == 1)
            for (; at(KIND::string); ++count)
                add_item(index, fields[0]);
        else
            for (; at(KIND::open_list); ++count) {
                lexer_.next();
                for (const IF_FIELD &field : fields)
                    add_item(index, field);
                if (!at(KIND::close_list)) fail("\"]\"");
                lexer_.next();
            }
        set(index, layout.fields.size() - 1, IF_VALUE::of_number(count));
        if (count > if_range(layout.fields.back().count).high)
            throw IF_TEXT_ERROR{d_.places[section_][index],
                                std::string("expected fewer ") + layout.fields.back().name};
    }

    void add_item(std::uint32_t index, const IF_FIELD &field) {
        IF_TOKEN t = lexer_.next();
        m_.values.push_back(plain_value(field, t, t.text));
        ++d_.record(section_, index).value_count;
    }

    // --- trees

    void parse_statement() {
        std::uint32_t index =
            d_.add_record(section_, *if_record_named("stmt"), 0, lexer_.peek().place);
        parse_tree();
        std::bitset<32> given;
        if (at(KIND::word)) parse_keyed(index, 0, given);
        close_group(index);
        expect_line_end();
    }

    void parse_stray_tree() {
        lexer_.next();
        if (section_ != IF_BODY || !at(KIND::open)) fail("a tree in section code");
        parse_tree();
        expect_line_end();
    }

    struct open_node {
        std::uint32_t index;
        int arity, operands;
    };
    std::vector<open_node> open_;
    std::vector<std::uint32_t> open_switches_; // of this tree, their cases not yet counted

    // Takes a tree; gives the index of its root.
    std::uint32_t parse_tree() {
        auto root = static_cast<std::uint32_t>(m_.sections[section_].records.size());
        open_.clear();
        open_switches_.clear();
        lexer_.set_in_tree(true);
        do {
            if (at(KIND::open))
                parse_node();
            else if (at(KIND::close))
                close_node();
            else
                fail("\"(\" or \")\"");
        } while (!open_.empty());
        for (std::uint32_t index : open_switches_)
            d_.set(section_, index, IF_NODE::payload, if_count_cases(m_.sections[section_], index));
        return root;
    }

    void parse_node() {
        IF_TOKEN bracket = lexer_.next();
        if (!open_.empty() && open_.back().operands == open_.back().arity) {
            const IF_RECORD &parent = d_.record(section_, open_.back().index);
            throw IF_TEXT_ERROR{bracket.place,
                                "expected \")\": " + if_opcode_name(parent.selector) + " has " +
                                    operands_text(open_.back().arity)};
        }
        if (open_.size() == if_max_tree_depth)
            throw IF_TEXT_ERROR{bracket.place, "expected a tree of at most " +
                                                   std::to_string(if_max_tree_depth) + " levels"};
        if (!open_.empty()) ++open_.back().operands;
        IF_TOKEN head = expect_word("an opcode");
        std::size_t colon = head.text.find(':');
        int op = if_opcode_of_name(head.text.substr(0, colon));
        if (op < 0)
            throw IF_TEXT_ERROR{head.place, "expected an opcode, found " + if_token_text(head)};
        const IF_LAYOUT &layout = *if_layout(IF_TAG_node, op);
        std::uint32_t index = d_.add_record(section_, layout, op, bracket.place);
        if (colon != std::string_view::npos)
            wait(index, IF_NODE::type, IF_DRAFT::type_name, head.place,
                 head.text.substr(colon + 1));
        open_.push_back({index, if_file_arity(op), 0});
        parse_fields(index, IF_NODE::payload);
        if (op == OP::SWITCH &&
            m_.number(d_.record(section_, index), IF_NODE::payload) == count_left_out)
            open_switches_.push_back(index);
    }

    void close_node() {
        const open_node node = open_.back();
        if (node.operands < node.arity)
            fail(std::string("another operand, ") +
                 if_opcode_name(d_.record(section_, node.index).selector) + " has " +
                 operands_text(node.arity));
        open_.pop_back();
        close_group(node.index);
        if (open_.empty()) lexer_.set_in_tree(false);
        lexer_.next();
    }

    static std::string operands_text(int n) {
        return n == 0 ? "no operands" : n == 1 ? "1 operand" : std::to_string(n) + " operands";
    }
};
} // namespace

void if_parse_text(std::string_view text, IF_DRAFT &draft) {
    text_parser(text, draft).parse();
}

bool if_bytes_of(std::string_view text, std::string &bytes, std::string &error) {
    bytes.clear();
    error.clear();
    IF_DRAFT draft;
    auto complain = [&](IF_PLACE place, const std::string &message) {
        error =
            std::to_string(place.line) + ":" + std::to_string(place.column) + ": " + message + "\n";
        bytes.clear();
        return false;
    };
    try {
        if_parse_text(text, draft);
        std::vector<bool> fill_fpos;
        if_resolve_draft(draft, fill_fpos);
        IF_WRITE_ERROR failure;
        if (if_write_model(draft.model, fill_fpos, bytes, failure)) return true;
        const auto &places = draft.places[failure.section];
        return complain(failure.record < places.size() ? places[failure.record] : IF_PLACE{1, 1},
                        failure.message);
    } catch (const IF_TEXT_ERROR &e) {
        return complain(e.place, e.message);
    }
}
