// Model to text: one line a record, trees as S-expressions.
#include "OPT5/icode/records/if_text.h"
#include "OPT5/icode/records/if_text_names.h"
#include "OPT5/icode/records/if_text_rules.h"

#include "OPT5/icode/records/opcodes.h"

#include <algorithm>

namespace {
constexpr std::size_t text_width = 100; // a tree that fits stands on one line
constexpr std::size_t max_indent = 60;  // deeper lines are not moved further to the right

class text_printer {
public:
    text_printer(const IF_MODEL &model, const IF_TEXT_OPTIONS &options)
        : m_(model), options_(options), types_(model), members_(model), symbols_(model) {
        for (IF_SECTION_ID id : {IF_TYPES, IF_BODY})
            for (const IF_RECORD &r : m_.sections[id].records) {
                types_.add(r);
                members_.add(r);
            }
        std::unordered_map<std::string_view, std::uint32_t> seen;
        const auto &files = m_.sections[IF_FILES].records;
        for (std::uint32_t i = 1; i <= files.size(); ++i) {
            auto [place, fresh] = seen.try_emplace(m_.file_name(i), i);
            if (!fresh) file_is_named_[place->second - 1] = false;
            file_is_named_.push_back(fresh && if_is_file_word(m_.file_name(i)));
        }
        std::size_t n = 0;
        for (const IF_RECORD &r : m_.sections[IF_GLOBALS].records)
            n += r.tag == IF_TAG_symbol;
        positions_ = if_body_positions(m_, n);
    }

    std::string print() {
        print_header();
        for (IF_SECTION_ID id : {IF_OPTIONS, IF_FILES, IF_TYPES, IF_GLOBALS, IF_INIT, IF_BODY})
            if (m_.sections[id].present && (id != IF_BODY || !m_.sections[id].records.empty()))
                print_section(id);
        return std::move(out_);
    }

private:
    const IF_MODEL &m_;
    const IF_TEXT_OPTIONS &options_;
    IF_TYPE_NAMER types_;
    IF_MEMBER_NAMES members_;
    IF_SYMBOL_NAMES symbols_;
    std::vector<bool> file_is_named_;
    std::vector<std::uint32_t> positions_; // of the bodies of file-level symbols
    std::unordered_map<std::uint32_t, std::string> type_texts_;
    std::int64_t last_type_ = -1;  // number in the type record before, -1 for none
    std::int64_t last_member_ = 0; // index in the member record before, 0 for none
    std::string out_;
    std::string heads_; // of the nodes of the current tree
    struct node_text {
        std::size_t begin, end, width;
    };
    std::vector<node_text> nodes_;

    // --- names

    const std::string &type_text(std::uint32_t number) {
        auto [place, fresh] = type_texts_.try_emplace(number);
        if (fresh) {
            std::string_view name = types_.name(number);
            if (number == 0)
                place->second = "none";
            else if (types_.count(name) == 1)
                place->second = name;
            else
                place->second = type_label(number);
        }
        return place->second;
    }

    std::string type_label(std::uint32_t number) const {
        return std::string(types_.name(number)) + "#" + std::to_string(number);
    }

    static void append_symbol_number(std::string &out, std::int64_t level, std::int64_t index) {
        out += '@';
        out += std::to_string(static_cast<std::int32_t>(level));
        out += '.';
        out += std::to_string(index);
    }

    void append_symbol(std::string &out, std::int64_t level, std::int64_t index, bool wide_index) {
        if (static_cast<std::int32_t>(level) == -1 && index == (wide_index ? -1 : 0)) {
            out += "none";
            return;
        }
        const IF_SCOPES::SYMBOL *s = symbols_.scopes().find(level, index);
        std::string_view name = s ? m_.text(*s->record, IF_SYM::name) : std::string_view();
        if (if_is_bare_name(name)) {
            out += name;
            const IF_SCOPES::SYMBOL *meant = nullptr;
            if (symbols_.find(name, meant) == IF_SYMBOL_NAMES::RESULT::one &&
                meant->record == s->record && meant->level == level)
                return;
        }
        append_symbol_number(out, level, index);
    }

    void append_global(std::string &out, std::int64_t index) {
        const IF_SCOPES::SYMBOL *s = symbols_.scopes().find(0, index);
        std::string_view name = s ? m_.text(*s->record, IF_SYM::name) : std::string_view();
        if (if_is_bare_name(name)) {
            out += name;
            const IF_SCOPES::SYMBOL *meant = nullptr;
            if (symbols_.find_global(name, meant) == IF_SYMBOL_NAMES::RESULT::one) return;
        }
        append_symbol_number(out, 0, index);
    }

    // --- values

    static void append_quoted(std::string &out, std::string_view s) {
        static constexpr char digits[] = "0123456789abcdef";
        out += '"';
        for (char c : s) {
            auto byte = static_cast<unsigned char>(c);
            if (c == '"' || c == '\\') {
                out += '\\';
                out += c;
            } else if (c == '\n')
                out += "\\n";
            else if (c == '\t')
                out += "\\t";
            else if (byte < 0x20 || byte > 0x7e) {
                out += "\\x";
                out += digits[byte >> 4];
                out += digits[byte & 15];
            } else
                out += c;
        }
        out += '"';
    }

    static void append_hex(std::string &out, const IF_FIELD &field, std::int64_t v) {
        if (field.enc == IF_ENC::s16) v &= 0xffff;
        char digits[20];
        std::snprintf(digits, sizeof digits, "0x%llx", static_cast<unsigned long long>(v));
        out += digits;
    }

    static void append_bits(std::string &out, const IF_FIELD &field, std::int64_t v) {
        bool first = true;
        for (std::size_t i = 0; i < field.bits.size(); ++i) {
            if (!(v >> i & 1)) continue;
            if (!first) out += ',';
            out += field.bits[i];
            first = false;
        }
        v = v >> field.bits.size() << field.bits.size();
        if (v || first) {
            if (!first) out += ',';
            append_hex(out, field, v);
        }
    }

    void append_value(std::string &out, const IF_RECORD &r, std::size_t slot) {
        const IF_FIELD &field = r.layout->fields[slot];
        auto next = [&] { return m_.number(r, static_cast<unsigned>(slot + 1)); };
        const IF_VALUE &v = m_.value(r, static_cast<unsigned>(slot));
        switch (field.role) {
        case IF_ROLE::typeref:
        case IF_ROLE::type_number: out += type_text(static_cast<std::uint32_t>(v.number)); return;
        case IF_ROLE::symbol_level:
            append_symbol(out, v.number, next(), r.layout->fields[slot + 1].enc == IF_ENC::sleb);
            return;
        case IF_ROLE::global: append_global(out, v.number); return;
        case IF_ROLE::member: {
            std::string_view name = members_.name(static_cast<std::uint32_t>(next()),
                                                  static_cast<std::uint32_t>(v.number));
            out += name.empty() ? std::to_string(v.number) : name;
            return;
        }
        case IF_ROLE::pragma_kind:
            if (const char *name = if_pragma_name(v.number))
                out += name;
            else
                out += std::to_string(v.number);
            return;
        case IF_ROLE::float_text:
            if (if_is_float_word(v.str()))
                out += v.str();
            else
                append_quoted(out, v.str());
            return;
        default: append_plain_value(out, field, v); return;
        }
    }

    static void append_plain_value(std::string &out, const IF_FIELD &field, const IF_VALUE &v) {
        if (field.enc == IF_ENC::string || field.enc == IF_ENC::counted ||
            field.enc == IF_ENC::rest) {
            if (field.word && if_is_bare_word(v.str()))
                out += v.str();
            else
                append_quoted(out, v.str());
        } else if (v.number >= 0 && v.number < static_cast<std::int64_t>(field.words.size()) &&
                   field.words[static_cast<std::size_t>(v.number)])
            out += field.words[static_cast<std::size_t>(v.number)];
        else if (!field.bits.empty())
            append_bits(out, field, v.number);
        else if (field.hex)
            append_hex(out, field, v.number);
        else
            out += std::to_string(v.number);
    }

    void append_position(std::string &out, IF_PSN p) const {
        if (p.file == 0 || !options_.positions) return;
        out += " @";
        if (p.file <= file_is_named_.size() && file_is_named_[p.file - 1])
            out += m_.file_name(p.file);
        else
            out += "#" + std::to_string(p.file);
        out += ':';
        out += std::to_string(p.line);
        out += ':';
        out += std::to_string(p.column);
    }

    // --- fields of a record

    // What the assembler takes when the field is left out.
    std::int64_t absent_value(const IF_RECORD &r, std::uint32_t index, const IF_SECTION &section,
                              std::size_t slot) const {
        const IF_FIELD &field = r.layout->fields[slot];
        switch (field.role) {
        case IF_ROLE::size:
        case IF_ROLE::alignment:
            return if_type_measure(m_, static_cast<std::uint32_t>(m_.number(r, IF_SYM::type)),
                                   field.role);
        case IF_ROLE::n_pragmas: return section.records[index].end - index - 1;
        case IF_ROLE::n_entries: return if_count_entries(section, index);
        case IF_ROLE::n_clauses: return if_count_clauses(m_, section, index);
        case IF_ROLE::n_cases: return if_count_cases(section, index);
        case IF_ROLE::fpos: {
            const auto &globals = m_.sections[IF_GLOBALS].records;
            if (&section != &m_.sections[IF_GLOBALS] || globals.empty()) return 0;
            return positions_[symbols_.scopes().globals().size() - 1]; // the symbol just entered
        }
        case IF_ROLE::member_index: return last_member_ + 1;
        case IF_ROLE::type_number: return last_type_;
        default: return field.absent;
        }
    }

    // All fields from `slot` on as they stand behind the keyword, each with a blank before it.
    void append_fields(std::string &out, const IF_RECORD &r, std::uint32_t index,
                       const IF_SECTION &section, std::size_t slot) {
        const auto &fields = r.layout->fields;
        for (std::size_t i = slot; i < fields.size(); ++i)
            if (fields[i].show == IF_SHOW::plain && fields[i].enc != IF_ENC::psn &&
                fields[i].enc != IF_ENC::list && m_.has(r, static_cast<unsigned>(i))) {
                out += ' ';
                append_value(out, r, i);
            }
        if (!fields.empty() && fields.back().enc == IF_ENC::list) append_items(out, r);
        for (std::size_t i = slot; i < fields.size(); ++i)
            if ((fields[i].show == IF_SHOW::keyed || fields[i].show == IF_SHOW::always) &&
                m_.has(r, static_cast<unsigned>(i)))
                append_keyed(out, r, index, section, i);
        for (std::size_t i = slot; i < fields.size(); ++i)
            if (fields[i].enc == IF_ENC::psn)
                append_position(out, m_.psn(r, static_cast<unsigned>(i)));
    }

    void append_keyed(std::string &out, const IF_RECORD &r, std::uint32_t index,
                      const IF_SECTION &section, std::size_t slot) {
        const IF_FIELD &field = r.layout->fields[slot];
        const IF_VALUE &v = m_.value(r, static_cast<unsigned>(slot));
        if (field.show == IF_SHOW::keyed && v.number == absent_value(r, index, section, slot))
            return;
        out += ' ';
        out += field.name;
        if (field.enc == IF_ENC::boolean && v.number == 1) return;
        out += '=';
        append_value(out, r, slot);
    }

    void append_items(std::string &out, const IF_RECORD &r) {
        auto values = m_.items(r);
        const auto &fields = r.layout->fields.back().items;
        for (std::size_t i = 0; i < values.size(); ++i) {
            std::size_t column = i % fields.size();
            out += ' ';
            if (fields.size() > 1 && column == 0) out += '[';
            append_plain_value(out, fields[column], values[i]);
            if (fields.size() > 1 && column == fields.size() - 1) out += ']';
        }
    }

    // --- lines

    void print_header() {
        out_ += "icode version=" + std::to_string(m_.header.version) +
                " cpu=" + std::to_string(m_.header.cpu_id) + " name=";
        append_quoted(out_, m_.header.name);
        if (m_.header.reserved) out_ += " reserved=" + std::to_string(m_.header.reserved);
        out_ += '\n';
    }

    void begin_line(std::size_t indent) { out_.append(std::min(indent, max_indent), ' '); }

    void print_section(IF_SECTION_ID id) {
        const IF_SECTION &section = m_.sections[id];
        out_ += '\n';
        out_ += if_section_name[id];
        out_ += '\n';
        last_type_ = -1;
        last_member_ = 0;
        std::uint32_t i = 0;
        while (i < section.records.size())
            i = print_record(id, section, i, 0);
    }

    // Indentation of a record's line in the main body, from the level before it was stepped over.
    std::size_t indent_of(const IF_RECORD &r, IF_SECTION_ID id, std::int32_t level_before) const {
        if (id != IF_BODY) return 2;
        std::int32_t level = level_before;
        switch (r.tag) {
        case IF_TAG_begin_func:
        case IF_TAG_end_func:
        case IF_TAG_ir_begin:
        case IF_TAG_ir_end: level = 0; break;
        case IF_TAG_end_block: level -= 1; break;
        default: break;
        }
        // Levels 1 and 2 are both the body of a function.
        level = std::clamp(level > 1 ? level - 1 : level, 0, 30);
        return 2 + 2 * static_cast<std::size_t>(level);
    }

    // Prints a record and what belongs to it; gives the index of the next one.
    std::uint32_t print_record(IF_SECTION_ID id, const IF_SECTION &section, std::uint32_t index,
                               std::size_t extra_indent) {
        const IF_RECORD &r = section.records[index];
        std::int32_t level_before = symbols_.scopes().level();
        if (id == IF_GLOBALS || id == IF_BODY) symbols_.step(r);
        std::size_t indent = indent_of(r, id, level_before) + extra_indent;
        if (r.tag == IF_TAG_begin_func && id == IF_BODY && index != 0) out_ += '\n';
        begin_line(indent);
        if (!r.layout) {
            out_ += "raw " + std::to_string(r.tag) + ' ';
            append_quoted(out_, m_.text(r, 0));
            out_ += '\n';
            return index + 1;
        }
        if (r.tag == IF_TAG_expr || r.tag == IF_TAG_node) {
            std::uint32_t root = index + (r.tag == IF_TAG_expr);
            if (r.tag == IF_TAG_node) out_ += "tree ";
            print_tree(section, root, indent);
            if (r.tag == IF_TAG_expr) append_position(out_, m_.psn(r, 0));
            out_ += '\n';
            return r.end;
        }
        print_keyword(r, extra_indent != 0);
        if (r.tag == IF_TAG_symbol) append_symbol_line(r);
        append_fields(out_, r, index, section, first_field(r));
        out_ += '\n';
        note_type_record(r);
        std::uint32_t next = index + 1;
        if (r.tag == IF_TAG_init)
            for (; next < r.end; next = section.records[next].end) {
                begin_line(indent + 2);
                print_tree(section, next, indent + 2);
                out_ += '\n';
            }
        while (next < r.end)
            next = print_record(id, section, next, extra_indent + 2);
        return next;
    }

    void print_keyword(const IF_RECORD &r, bool below) {
        if (r.tag == IF_TAG_type && !if_kind_is_list_element(r.selector)) {
            out_ += "type " +
                    type_label(static_cast<std::uint32_t>(m_.number(r, IF_TYPE::number))) + " = ";
        } else if (r.tag == IF_TAG_type && r.selector != IF_KIND_list &&
                   r.selector != IF_KIND_end_list)
            out_ += "  ";
        if (r.tag == IF_TAG_pragma && !below) out_ += 'p'; // "ppragma": one without a symbol
        out_ += r.layout->name;
    }

    // Fields that the keyword's printer has already shown are behind this one.
    static std::size_t first_field(const IF_RECORD &r) { return r.tag == IF_TAG_symbol ? 1 : 0; }

    // "name@level.index" of the symbol just entered.
    void append_symbol_line(const IF_RECORD &r) {
        const auto &table = symbols_.scopes().level() == 0 ? symbols_.scopes().globals()
                                                           : symbols_.scopes().locals();
        out_ += ' ';
        std::string_view name = m_.text(r, IF_SYM::name);
        if (if_is_bare_name(name))
            out_ += name;
        else
            append_quoted(out_, name);
        append_symbol_number(out_, table.back().level, table.back().index);
    }

    void note_type_record(const IF_RECORD &r) {
        if (r.tag != IF_TAG_type) return;
        static const auto index_slot =
            static_cast<unsigned>(if_layout(IF_TAG_type, IF_KIND_member)->slot("index"));
        last_type_ = m_.number(r, IF_TYPE::number);
        last_member_ = r.selector == IF_KIND_member ? m_.number(r, index_slot) : 0;
    }

    // --- trees

    void append_head(const IF_RECORD &r, std::uint32_t index, const IF_SECTION &section) {
        heads_ += if_opcode_name(r.selector);
        if (auto type = static_cast<std::uint32_t>(m_.number(r, IF_NODE::type))) {
            heads_ += ':';
            heads_ += type_text(type);
        }
        append_fields(heads_, r, index, section, IF_NODE::payload);
    }

    // Prints a tree whose first character stands at column `indent`.
    void print_tree(const IF_SECTION &section, std::uint32_t root, std::size_t indent) {
        const auto &records = section.records;
        std::uint32_t end = records[root].end;
        heads_.clear();
        nodes_.clear();
        for (std::uint32_t i = root; i < end; ++i) {
            std::size_t begin = heads_.size();
            append_head(records[i], i, section);
            nodes_.push_back({begin, heads_.size(), heads_.size() - begin + 2});
        }
        for (std::uint32_t i = end; i-- > root;) // children before their parents
            for (std::uint32_t child = i + 1; child < records[i].end; child = records[child].end)
                nodes_[i - root].width += 1 + nodes_[child - root].width;
        lay_out_tree(records, root, indent);
    }

    void lay_out_tree(const std::vector<IF_RECORD> &records, std::uint32_t root,
                      std::size_t indent) {
        struct open_node {
            std::uint32_t end;
            bool flat;
            std::size_t indent;
        };
        std::vector<open_node> open;
        for (std::uint32_t i = root; i < records[root].end; ++i) {
            const node_text &node = nodes_[i - root];
            std::size_t column = indent;
            if (!open.empty()) {
                if (open.back().flat)
                    out_ += ' ';
                else {
                    column = open.back().indent + 2;
                    out_ += '\n';
                    begin_line(column);
                }
            }
            bool flat = (!open.empty() && open.back().flat) ||
                        std::min(column, max_indent) + node.width <= text_width;
            out_ += '(';
            out_.append(heads_, node.begin, node.end - node.begin);
            open.push_back({records[i].end, flat, column});
            while (!open.empty() && open.back().end == i + 1) {
                out_ += ')';
                open.pop_back();
            }
        }
    }
};
} // namespace

std::string if_text_of_model(const IF_MODEL &model, const IF_TEXT_OPTIONS &options) {
    return text_printer(model, options).print();
}

std::string if_error_lines(const IF_MODEL &model, const std::string &prefix) {
    constexpr std::size_t shown = 10;
    std::string lines;
    for (std::size_t i = 0; i < model.errors.size() && i < shown; ++i)
        lines += prefix + "offset " + std::to_string(model.errors[i].offset) + ": " +
                 model.errors[i].message + "\n";
    if (model.errors.size() > shown)
        lines += prefix + std::to_string(model.errors.size() - shown) + " more errors\n";
    return lines;
}

bool if_text_of(std::string_view bytes, const IF_TEXT_OPTIONS &options, std::string &text,
                std::string &error) {
    IF_MODEL model;
    text.clear();
    error.clear();
    if (if_read_model(std::string(bytes), model, {.keep_unknown = options.keep_unknown})) {
        text = if_text_of_model(model, options);
        return true;
    }
    error = if_error_lines(model, {});
    return false;
}

std::string if_text_of(std::string_view bytes, const IF_TEXT_OPTIONS &options) {
    std::string text, error;
    return if_text_of(bytes, options, text, error) ? text : error;
}
