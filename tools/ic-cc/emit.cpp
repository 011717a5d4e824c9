// Writes the unit in the layout of the intermediate file.
#include "tools/ic-cc/model.h"

#include "OPT5/icode/records/if_stream.h"

#include <algorithm>

namespace {

enum tag : int {
    tag_begin_func = 1,
    tag_end_func = 2,
    tag_begin_block = 3,
    tag_end_block = 4,
    tag_end_args = 5,
    tag_end_locals = 6,
    tag_header = 8,
    tag_symbol = 35,
    tag_assembly = 36,
    tag_label = 42,
    tag_expr = 46,
    tag_func_info = 64,
    tag_pragma = 94,
    tag_node = 101,
    tag_init = 105,
    tag_options = 111,
    tag_type = 116,
    tag_file_name = 126,
};

enum file_kind : int {
    fk_first_float = 10,
    fk_typedef = 14,
    fk_pointer = 15,
    fk_qualified = 17,
    fk_array = 18,
    fk_function = 20,
    fk_parameter = 21,
    fk_enum = 22,
    fk_enumerator = 23,
    fk_record = 24,
    fk_member = 28,
    fk_void = 49,
    fk_list_head = 254,
    fk_list_end = 255,
};
enum list_kind : int { lk_params = 0, lk_enumerators = 1, lk_members = 7 };

constexpr int func_info_leaf = 'L'; // the function calls nothing

struct section_offsets {
    std::uint32_t options = 0, inits = 0, types = 0, files = 0, globals = 0;
};

void write_psn(if_record &r, position p) {
    r.write_uint(p.file);
    if (p.file == 0) return;
    r.write_uint(p.line);
    r.write_uint(p.column);
}

void write_end_mark(std::string &out) {
    out.push_back(static_cast<char>(if_end_tag));
}

void write_header(std::string &out, std::string_view name, const section_offsets &at) {
    if_record r;
    r.write_string(if_magic);
    r.write_i16(if_current_version);
    r.write_i16(if_family_cpu_id);
    for (std::uint32_t offset : {at.options, at.inits, at.types, at.files, at.globals})
        r.write_i32(offset);
    r.write_string(name);
    r.write_i32(0);
    r.flush(tag_header, out);
}

void write_control(std::string &out, int t, position p) {
    if_record r;
    write_psn(r, p);
    r.flush(t, out);
}

void write_pragma(std::string &out, const pragma &p) {
    if_record r;
    r.write_uint(p.kind);
    r.write_uint(static_cast<std::uint32_t>(p.args.size()));
    for (const std::string &arg : p.args)
        r.write_string(arg);
    r.flush(tag_pragma, out);
}

void write_symbol(std::string &out, const symbol &s) {
    const type *t = strip(s.stype);
    if_record r;
    r.write_string(s.name);
    r.write_uint(t->kind == tkind::function ? 0 : t->size);
    r.write_uint(0);
    r.write_i8(s.sc);
    r.write_i16(static_cast<int>(s.flags));
    r.write_uint(s.stype->number);
    r.write_uint(0);
    r.write_uint(s.align > t->align ? s.align : t->align);
    r.write_i8(static_cast<int>(s.pragmas.size()));
    r.write_uint(s.fpos);
    r.write_uint(s.option_set);
    write_psn(r, s.pos);
    r.flush(tag_symbol, out);
    for (const pragma &p : s.pragmas)
        write_pragma(out, p);
}

void write_integer(if_record &r, std::int64_t value, bool as_signed) {
    if (as_signed)
        r.write_sint(static_cast<std::int32_t>(value));
    else
        r.write_uint(static_cast<std::uint32_t>(value));
}

void write_payload(if_record &r, const node &n) {
    switch (n.op) {
    case OP::LABEL:
    case OP::SWITCH:
    case OP::SKIP: r.write_uint(static_cast<std::uint32_t>(n.value)); break;
    case OP::NAME:
        r.write_uint(n.sym->level);
        r.write_uint(n.sym->index);
        break;
    case OP::SCON:
        r.write_uint(static_cast<std::uint32_t>(n.text.size()));
        r.write_bytes(n.text);
        break;
    case OP::ICON: write_integer(r, n.value, is_signed(n.ntype)); break;
    case OP::FCON: r.write_string(n.text); break;
    case OP::FIELD:
        r.write_i8(1);
        r.write_uint(n.field->index);
        r.write_uint(n.record->number);
        break;
    case OP::CALL:
        r.write_uint(static_cast<std::uint32_t>(n.value));
        r.write_uint(0); // no exception table entry
        break;
    case OP::UCALL: r.write_uint(0); break;
    default: break;
    }
}

void write_tree(std::string &out, const node *n) {
    for (; n; n = n->right) {
        if_record r;
        r.write_i8(n->op);
        r.write_uint(n->ntype ? n->ntype->number : 0);
        write_payload(r, *n);
        r.flush(tag_node, out);
        if (n->left) write_tree(out, n->left);
    }
}

int file_integer_kind(ikind k) {
    switch (k) {
    case ikind::plain_char: return 1;
    case ikind::llong: return 50;
    case ikind::ullong: return 51;
    default: return static_cast<int>(k);
    }
}

void begin_type(if_record &r, const type &t, int kind) {
    r.write_uint(t.number);
    r.write_i8(kind);
}

void write_size(if_record &r, const type &t) {
    r.write_uint(t.size);
    r.write_uint(t.align);
}

void write_list_mark(std::string &out, const type &t, int mark, int list) {
    if_record r;
    begin_type(r, t, mark);
    r.write_i8(list);
    r.flush(tag_type, out);
}

void write_integer_type(if_record &r, const type &t) {
    bool is_char = t.ik == ikind::schar || t.ik == ikind::uchar;
    begin_type(r, t, file_integer_kind(t.ik));
    r.write_bool(is_char || t.ik == ikind::boolean); // explicit sign: not the plain char
    write_size(r, t);
    r.write_bool(t.ik == ikind::boolean);
    r.write_bool(false);
}

void write_params(std::string &out, const type &t) {
    write_list_mark(out, t, fk_list_head, lk_params);
    for (const type *p : t.params) {
        if_record r;
        begin_type(r, t, fk_parameter);
        r.write_uint(p->number);
        r.write_bool(false);
        r.write_uint(0);
        r.write_string("");
        r.flush(tag_type, out);
    }
    write_list_mark(out, t, fk_list_end, lk_params);
}

void write_enumerators(std::string &out, const type &t) {
    write_list_mark(out, t, fk_list_head, lk_enumerators);
    for (const enumerator &e : t.enumerators) {
        if_record r;
        begin_type(r, t, fk_enumerator);
        r.write_string(e.name);
        write_integer(r, e.value, is_signed(t.base));
        write_psn(r, e.pos);
        r.flush(tag_type, out);
    }
    write_list_mark(out, t, fk_list_end, lk_enumerators);
}

void write_members(std::string &out, const type &t) {
    write_list_mark(out, t, fk_list_head, lk_members);
    for (const member &m : t.members) {
        if_record r;
        begin_type(r, t, fk_member);
        r.write_uint(m.index);
        r.write_string(m.name);
        r.write_uint(m.mtype->number);
        r.write_i8(0);
        r.write_sint(static_cast<std::int32_t>(m.offset));
        r.write_i8(0);
        r.write_uint(m.width);
        r.write_bool(m.is_bitfield);
        r.write_bool(false);
        r.write_bool(false);
        write_psn(r, m.pos);
        r.flush(tag_type, out);
    }
    write_list_mark(out, t, fk_list_end, lk_members);
}

void write_record_head(std::string &out, const type &t) {
    if_record r;
    begin_type(r, t, fk_record);
    r.write_i8(t.is_union ? 1 : 0);
    r.write_string(t.name);
    r.write_bool(t.complete);
    r.write_bool(false); // lowered
    write_size(r, t);
    r.write_bool(!t.members.empty());
    r.write_bool(false); // third record word
    r.write_bool(false); // C++
    write_psn(r, t.pos);
    r.flush(tag_type, out);
}

// Every kind but records.
void write_type(std::string &out, const type &t) {
    if_record r;
    switch (t.kind) {
    case tkind::void_type: begin_type(r, t, fk_void); break;
    case tkind::integer: write_integer_type(r, t); break;
    case tkind::floating:
        begin_type(r, t, fk_first_float + static_cast<int>(t.fk));
        write_size(r, t);
        break;
    case tkind::pointer:
        begin_type(r, t, fk_pointer);
        r.write_uint(t.base->number);
        write_size(r, t);
        break;
    case tkind::qualified:
        begin_type(r, t, fk_qualified);
        r.write_uint(t.base->number);
        r.write_uint(t.qualifiers);
        write_size(r, *strip(&t));
        break;
    case tkind::named:
        begin_type(r, t, fk_typedef);
        r.write_string(t.name);
        r.write_uint(t.base->number);
        write_size(r, *strip(&t));
        r.write_bool(false); // C++
        r.write_bool(false); // lowered
        write_psn(r, t.pos);
        break;
    case tkind::array:
        begin_type(r, t, fk_array);
        r.write_uint(t.base->number);
        r.write_uint(t.count);
        write_size(r, t);
        r.write_bool(false); // C++
        r.write_bool(t.complete);
        r.write_bool(false); // vector
        break;
    case tkind::function:
        begin_type(r, t, fk_function);
        r.write_uint(t.base->number);
        r.write_bool(t.variadic);
        r.write_bool(t.prototyped);
        r.write_i8(0); // calling convention
        r.write_bool(false);
        break;
    case tkind::enumeration:
        begin_type(r, t, fk_enum);
        r.write_string(t.name);
        write_size(r, t);
        r.write_uint(t.base->number);
        r.write_bool(false); // C++
        write_psn(r, t.pos);
        break;
    case tkind::record: return;
    }
    r.flush(tag_type, out);
    if (t.kind == tkind::function) write_params(out, t);
    if (t.kind == tkind::enumeration) write_enumerators(out, t);
}

void write_types(std::string &out, const type_table &types) {
    for (const type &t : types.all())
        if (t.kind == tkind::record) write_record_head(out, t);
    for (const type &t : types.all())
        write_type(out, t);
    for (const type &t : types.all())
        if (t.kind == tkind::record && !t.members.empty()) write_members(out, t);
    write_end_mark(out);
}

void number_locals(function_body &body) {
    unsigned index = 0;
    for (symbol *s : body.params)
        s->index = index++;
    for (symbol *s : body.locals)
        s->index = index++;
    for (item &i : body.items)
        for (symbol *s : i.symbols)
            s->index = index++;
}

void write_item(std::string &out, const item &i) {
    if_record r;
    switch (i.kind) {
    case item::tree:
        write_psn(r, i.pos);
        r.flush(tag_expr, out);
        write_tree(out, i.expr);
        break;
    case item::label:
        r.write_uint(i.number);
        r.flush(tag_label, out);
        break;
    case item::statement_pragma: write_pragma(out, i.prag); break;
    case item::assembly:
        r.write_string(i.text);
        write_psn(r, i.pos);
        r.flush(tag_assembly, out);
        break;
    case item::block_begin:
        write_control(out, tag_begin_block, i.pos);
        for (const symbol *s : i.symbols)
            write_symbol(out, *s);
        break;
    case item::block_end: write_control(out, tag_end_block, i.pos); break;
    }
}

} // namespace

symbol *icode_unit::add_global(std::string name, const type *t, int sc, position pos) {
    symbol *s = add_local(std::move(name), t, sc, 0, pos);
    s->index = static_cast<unsigned>(globals.size());
    globals.push_back(s);
    return s;
}

symbol *icode_unit::add_local(std::string name, const type *t, int sc, unsigned level,
                              position pos) {
    symbol &s = symbols.emplace_back();
    s.name = std::move(name);
    s.stype = t;
    s.sc = sc;
    s.level = level;
    s.pos = pos;
    return &s;
}

unsigned icode_unit::file_number(std::string_view name) {
    auto known = file_numbers_.find(name);
    if (known != file_numbers_.end()) return known->second;
    files_.emplace_back(name);
    file_numbers_.emplace(name, static_cast<unsigned>(files_.size()));
    return static_cast<unsigned>(files_.size());
}

node *icode_unit::make(int op, const type *t, node *left, node *right) {
    node &n = nodes.emplace_back();
    n.op = op;
    n.ntype = t;
    n.left = left;
    n.right = right;
    return &n;
}

void icode_unit::begin(std::string_view header_name) {
    if (out_.empty()) write_header(out_, header_name, {});
}

static bool holds_call(const node *tree) {
    for (; tree; tree = tree->right)
        if (tree->op == OP::CALL || tree->op == OP::UCALL || holds_call(tree->left)) return true;
    return false;
}

static bool is_leaf(const function_body &body) {
    return std::none_of(body.items.begin(), body.items.end(),
                        [](const item &i) { return holds_call(i.expr); });
}

void icode_unit::write_function(function_body &body, std::string_view header_name) {
    begin(header_name);
    number_locals(body);
    body.sym->fpos = static_cast<std::uint32_t>(out_.size());
    if_record r;
    write_psn(r, body.begin);
    r.write_uint(body.sym->index);
    r.flush(tag_begin_func, out_);
    for (const symbol *s : body.params)
        write_symbol(out_, *s);
    write_control(out_, tag_end_args, body.body_begin);
    for (const symbol *s : body.locals)
        write_symbol(out_, *s);
    write_control(out_, tag_end_locals, body.body_begin);
    for (const item &i : body.items)
        write_item(out_, i);
    if (is_leaf(body)) {
        r.write_i8(func_info_leaf);
        r.flush(tag_func_info, out_);
    }
    write_control(out_, tag_end_func, body.end);
}

void icode_unit::write_assembly(std::string_view text, position pos, std::string_view header_name) {
    begin(header_name);
    item i{};
    i.kind = item::assembly;
    i.pos = pos;
    i.text = text;
    write_item(out_, i);
}

std::string icode_unit::finish(std::string_view header_name) {
    begin(header_name);
    section_offsets at;
    auto here = [&] { return static_cast<std::uint32_t>(out_.size()); };
    const type *int_type = types.int_();
    for (symbol *s : globals) {
        if (!s->has_init) continue;
        if (at.inits == 0) {
            write_end_mark(out_);
            at.inits = here();
        }
        s->fpos = here();
        if_record r;
        r.write_uint(s->index);
        r.flush(tag_init, out_);
        for (const node *n : s->init.trees)
            write_tree(out_, n);
        write_tree(out_, make(OP::ENDINIT, int_type));
    }
    write_end_mark(out_);
    at.options = here();
    for (std::size_t id = 0; id < options.size(); ++id) {
        if_record r;
        r.write_uint(static_cast<std::uint32_t>(id));
        r.write_uint(static_cast<std::uint32_t>(options[id].texts.size()));
        for (const std::string &text : options[id].texts)
            r.write_string(text);
        r.flush(tag_options, out_);
    }
    write_end_mark(out_);
    at.types = here();
    write_types(out_, types);
    if (!files_.empty()) {
        at.files = here();
        for (const std::string &name : files_) {
            if_record r;
            r.write_string(name);
            r.flush(tag_file_name, out_);
        }
        write_end_mark(out_);
    }
    at.globals = here();
    for (const symbol *s : globals)
        write_symbol(out_, *s);
    write_end_mark(out_);
    std::string header;
    write_header(header, header_name, at);
    out_.replace(0, header.size(), header);
    return std::move(out_);
}
