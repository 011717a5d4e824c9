// Rules of the header, positions, symbols, pragmas, initialisers and the order of function records.
#include "tools/ic-lint/lint.h"

#include <algorithm>

namespace {
std::string quoted(std::string_view name) {
    return "\"" + std::string(name) + "\"";
}
std::string numbered(const char *text, std::int64_t n) {
    return std::string(text) + " " + std::to_string(n);
}

constexpr int max_pragma_kind = 120;
constexpr int opt_override_pragma = 36;

bool is_function_class(std::int64_t sc) {
    return sc == 2 || sc == 3 || sc == 5;
}
} // namespace

void LINTER::report(const IF_RECORD &r, const std::string &text) {
    std::string what = r.layout ? r.layout->name : "record";
    if (r.tag == IF_TAG_node) what = if_opcode_name(r.selector);
    violations.push_back({r.offset, what + " " + text});
}

std::int64_t LINTER::field(const IF_RECORD &r, std::string_view name) const {
    const int slot = r.layout->slot(name);
    return slot < 0 || !m.has(r, static_cast<unsigned>(slot))
               ? 0
               : m.number(r, static_cast<unsigned>(slot));
}

std::vector<LINT_VIOLATION> LINTER::run() {
    for (const IF_ERROR &error : m.errors)
        violations.push_back({error.offset, error.message});
    check_header();
    if (m.errors.empty()) {
        if (std::string note = if_layout_note(m); !note.empty()) violations.push_back({0, note});
        check_positions();
        check_types();
        check_globals();
        check_initialisers();
        check_body();
    }
    std::stable_sort(
        violations.begin(), violations.end(),
        [](const LINT_VIOLATION &a, const LINT_VIOLATION &b) { return a.offset < b.offset; });
    return std::move(violations);
}

void LINTER::check_header() {
    if (m.header.version > if_current_version || m.header.version < if_oldest_version)
        violations.push_back({0, numbered("header has version", m.header.version)});
    if (m.header.cpu_id != if_family_cpu_id)
        violations.push_back({0, numbered("header has cpu id", m.header.cpu_id)});
}

void LINTER::check_positions() {
    const auto files = static_cast<std::uint32_t>(m.sections[IF_FILES].records.size());
    std::set<std::string_view> names;
    for (const IF_RECORD &r : m.sections[IF_FILES].records)
        if (r.layout && !names.insert(m.text(r, 0)).second)
            report(r, "names a file again: " + quoted(m.text(r, 0)));
    for (const IF_SECTION &section : m.sections)
        for (const IF_RECORD &r : section.records) {
            if (!r.layout || r.damaged) continue;
            for (unsigned slot = 0; slot < r.layout->fields.size(); ++slot)
                if (r.layout->fields[slot].enc == IF_ENC::psn && m.has(r, slot) &&
                    m.psn(r, slot).file > files)
                    report(r, numbered("has a position in file", m.psn(r, slot).file) +
                                  ", which has no name");
        }
}

void LINTER::check_pragma(const IF_RECORD &r, bool of_symbol) {
    const std::int64_t kind = m.number(r, 0);
    if (kind <= 0 || kind > max_pragma_kind) report(r, numbered("has unknown kind", kind));
    if (of_symbol && kind == opt_override_pragma) report(r, "must not stand at a symbol");
}

void LINTER::check_symbol(const IF_RECORD &r, std::int64_t level) {
    const std::string_view name = m.text(r, IF_SYM::name);
    const auto type_number = static_cast<std::uint32_t>(m.number(r, IF_SYM::type));
    const LINT_TYPE *type = types.find(type_number);
    check_typeref(r, type_number);
    check_typeref(r, static_cast<std::uint32_t>(m.number(r, IF_SYM::type2)));
    if (name.empty()) report(r, "has no name");
    if (!type) {
        report(r, quoted(name) + " has no type");
        return;
    }
    const bool is_function = types.is_function(type_number);
    if (!is_function && m.number(r, IF_SYM::size) != type->size)
        report(r, quoted(name) + " has not the size of its type");
    const std::int64_t sc = m.number(r, IF_SYM::sc);
    if (is_function && level == 0 && !is_function_class(sc))
        report(r, quoted(name) + " is a function of another storage class than 2, 3, 5");
    if (level == 1 && sc != 9 && sc != 27)
        report(r, quoted(name) + " is a parameter as passed but has not storage class 9");
    const std::int64_t set = m.number(r, IF_SYM::options);
    const auto &sets = m.sections[IF_OPTIONS].records;
    if (set != 0 && std::none_of(sets.begin(), sets.end(),
                                 [&](const IF_RECORD &s) { return m.number(s, 0) == set; }))
        report(r, quoted(name) + numbered(" names option set", set) + ", which does not exist");
}

void LINTER::check_globals() {
    const auto &records = m.sections[IF_GLOBALS].records;
    std::map<std::string_view, const IF_RECORD *> defined;
    for (const IF_RECORD &r : records) {
        if (!r.layout || r.damaged) continue;
        if (r.tag == IF_TAG_pragma) {
            check_pragma(r, true);
            continue;
        }
        if (r.tag != IF_TAG_symbol) {
            report(r, "stands among the global symbols");
            continue;
        }
        scopes.step(r);
        check_symbol(r, 0);
        const std::int64_t sc = m.number(r, IF_SYM::sc);
        if ((sc == 2 || sc == 3) && !defined.emplace(m.text(r, IF_SYM::name), &r).second)
            report(r, "defines " + quoted(m.text(r, IF_SYM::name)) + " again");
    }
    const std::vector<std::uint32_t> positions = if_body_positions(m, scopes.globals().size());
    for (std::size_t i = 0; i < scopes.globals().size(); ++i) {
        const IF_RECORD &r = *scopes.globals()[i].record;
        if (positions[i] != 0 && m.number(r, IF_SYM::fpos) != positions[i])
            report(r, quoted(m.text(r, IF_SYM::name)) + " has another file position than its body");
    }
}

void LINTER::check_initialisers() {
    std::set<std::int64_t> seen;
    const auto &records = m.sections[IF_INIT].records;
    for (std::uint32_t i = 0; i < records.size(); i = std::max(records[i].end, i + 1)) {
        const IF_RECORD &r = records[i];
        if (!r.layout || r.damaged) continue;
        if (r.tag != IF_TAG_init) {
            report(r, "stands among the initialisers");
            continue;
        }
        const std::int64_t index = m.number(r, 0);
        const IF_SCOPES::SYMBOL *symbol = scopes.find(0, index);
        if (!symbol) {
            report(r, numbered("initialises global", index) + ", which does not exist");
            continue;
        }
        if (!seen.insert(index).second) report(r, numbered("initialises global", index) + " again");
        const auto type = static_cast<std::uint32_t>(m.number(*symbol->record, IF_SYM::type));
        const std::int64_t sc = m.number(*symbol->record, IF_SYM::sc);
        if (sc != 2 && sc != 3) report(r, "initialises a symbol that is not defined here");
        if (types.is_function(type)) report(r, "initialises a function");
        std::int64_t bits = 0;
        for (std::uint32_t n = i + 1; n < r.end; n = records[n].end)
            check_initialiser_tree(IF_INIT, n, bits);
        if (bits > types.size(type)) report(r, "gives more than its symbol has room for");
    }
}

// Adds the bits that the tree fills to `bits`.
void LINTER::check_initialiser_tree(IF_SECTION_ID section, std::uint32_t i, std::int64_t &bits) {
    const TREE t{section, i};
    const IF_RECORD &r = node(t, i);
    switch (r.selector) {
    case OP::ENDINIT: return;
    case OP::SKIP: bits += m.number(r, IF_NODE::payload) * 16; return;
    case OP::ICON:
    case OP::FCON:
    case OP::LCON:
    case OP::SCON:
    case OP::UAND:
    case OP::PLUS:
    case OP::MINUS:
    case OP::PCONV:
    case OP::SCONV:
    case OP::NAME:
        bits += types.size(type_of(r));
        check_tree(t, i, OP::ILLOP, VALUE);
        return;
    default: report(r, "is no constant of an initialiser");
    }
}

void LINTER::check_body() {
    const auto &records = m.sections[IF_BODY].records;
    for (std::uint32_t i = 0; i < records.size();) {
        const IF_RECORD &r = records[i];
        if (r.layout && !r.damaged) check_function_record(r, i);
        // Trees are walked from their statement; pragmas of a symbol stand on their own here.
        const bool has_tree = r.tag == IF_TAG_expr || r.tag == IF_TAG_node || r.tag == IF_TAG_eht ||
                              r.tag == IF_TAG_init;
        i = has_tree ? std::max(r.end, i + 1) : i + 1;
    }
    if (in_function)
        violations.push_back({m.sections[IF_BODY].end, "the last function has no end"});
}

void LINTER::check_function_record(const IF_RECORD &r, std::uint32_t index) {
    static constexpr int outside[] = {
        IF_TAG_begin_func, IF_TAG_assembly, IF_TAG_comment, IF_TAG_pragma,      IF_TAG_type,
        IF_TAG_source,     IF_TAG_ir_begin, IF_TAG_ir_end,  IF_TAG_instruction, IF_TAG_init};
    const bool may_stand_outside =
        std::find(std::begin(outside), std::end(outside), r.tag) != std::end(outside);
    if (!in_function && !may_stand_outside) {
        report(r, "stands outside any function");
        return;
    }
    const bool is_symbol = scopes.step(r);
    switch (r.tag) {
    case IF_TAG_begin_func: {
        if (in_function) report(r, "stands inside a function");
        function = FUNCTION();
        function.begin = &r;
        in_function = true;
        function.symbol_index = static_cast<std::uint32_t>(m.number(r, 1));
        const IF_SCOPES::SYMBOL *symbol = scopes.find(0, m.number(r, 1));
        if (!symbol) {
            report(r, "begins a function without a symbol");
            break;
        }
        function.symbol_type = static_cast<std::uint32_t>(m.number(*symbol->record, IF_SYM::type));
        if (!types.is_function(function.symbol_type))
            report(r, "begins a function whose symbol is no function");
        const std::int64_t sc = m.number(*symbol->record, IF_SYM::sc);
        if (sc != 2 && sc != 3) report(r, "begins a function whose symbol only declares it");
        break;
    }
    case IF_TAG_end_func: finish_function(r); break;
    case IF_TAG_end_args:
        if (function.saw_args) report(r, "comes twice");
        function.saw_args = true;
        break;
    case IF_TAG_end_locals:
        if (!function.saw_args || function.saw_locals) report(r, "is out of order");
        function.saw_locals = true;
        break;
    case IF_TAG_begin_block:
        if (!function.saw_locals) report(r, "comes before the locals end");
        ++function.depth;
        break;
    case IF_TAG_end_block:
        if (--function.depth < 0) report(r, "ends a block that never began");
        break;
    case IF_TAG_symbol:
        if (is_symbol) check_symbol(r, scopes.level());
        if (function.saw_locals && function.depth == 0)
            report(r, "comes after the locals have ended");
        break;
    case IF_TAG_label:
        if (!function.labels_defined.emplace(m.number(r, 0), r.offset).second)
            report(r, numbered("defines label", m.number(r, 0)) + " again");
        if (m.number(r, 0) == 0) report(r, "has number 0");
        break;
    case IF_TAG_expr:
        if (!function.saw_locals) report(r, "comes before the locals end");
        check_statement(index);
        break;
    case IF_TAG_node: report(r, "stands outside any statement"); break;
    case IF_TAG_pragma: check_pragma(r, false); break;
    case IF_TAG_eht: check_eht(index); break;
    default: break;
    }
}

void LINTER::check_eht(std::uint32_t index) {
    const auto &records = m.sections[IF_BODY].records;
    const IF_RECORD &table = records[index];
    if (!function.eht_ids.empty()) report(table, "is the second one of its function");
    for (std::uint32_t i = index + 1; i < table.end; i = std::max(records[i].end, i + 1)) {
        const IF_RECORD &r = records[i];
        if (!r.layout || r.damaged || r.tag != IF_TAG_eht_entry) continue;
        if (m.number(r, 0) == 0) report(r, "has id 0");
        if (!function.eht_ids.insert(m.number(r, 0)).second)
            report(r, numbered("has id", m.number(r, 0)) + " again");
        if (const std::int64_t link = field(r, "link"); link != 0)
            function.eht_references.emplace(link, r.offset);
        if (r.end <= i + 1) continue;
        const IF_RECORD &payload = records[i + 1];
        if (payload.tag == IF_TAG_catch) {
            const auto clauses = m.items(payload); // type name, label, flag
            for (std::size_t c = 0; c + 2 < clauses.size(); c += 3)
                function.labels_referenced.emplace(clauses[c + 1].number, payload.offset);
        } else if (payload.tag == IF_TAG_expr && payload.end > i + 2) {
            check_tree({IF_BODY, i + 2}, i + 2, OP::ILLOP, VALUE);
        }
    }
}

void LINTER::finish_function(const IF_RECORD &end) {
    if (!function.saw_args || !function.saw_locals)
        report(end, "ends a function that lacks its args or locals record");
    if (function.depth != 0) report(end, "ends a function with open blocks");
    for (const auto &[label, offset] : function.labels_referenced)
        if (!function.labels_defined.count(label))
            violations.push_back({offset, numbered("jumps to label", label) +
                                              ", which is not defined in its function"});
    for (const auto &[id, offset] : function.eht_references)
        if (!function.eht_ids.count(id))
            violations.push_back(
                {offset, numbered("names exception table entry", id) + ", which does not exist"});
    in_function = false;
}
