// The main body: which record may stand where, and the readers of all records but symbols, types
// and expressions.
#include "OPT5/icode/if_file.h"

#include "OPT5/rep/bbutils.h"

#include <array>
#include <memory>

namespace {
constexpr unsigned at(IF_PLACE place) {
    return 1u << static_cast<unsigned>(place);
}
constexpr unsigned in_file = at(IF_PLACE::file), in_args = at(IF_PLACE::args),
                   in_locals = at(IF_PLACE::locals), in_body = at(IF_PLACE::body),
                   in_instructions = at(IF_PLACE::instructions);
constexpr unsigned in_function = in_args | in_locals | in_body;
constexpr unsigned anywhere = in_file | in_function | in_instructions;

struct RECORD_ROW {
    unsigned places = 0; // none: no record of the main body
    void (*read)(I_FILE &file, std::uint32_t size) = nullptr;
};

constexpr std::array<RECORD_ROW, 256> make_dispatch() {
    struct {
        int tag;
        RECORD_ROW row;
    } const rows[] = {
        {1, {in_file, [](I_FILE &f, std::uint32_t) { f.if_read_begin_func(); }}},
        {2, {in_body, [](I_FILE &f, std::uint32_t) { f.if_read_end_func(); }}},
        {3, {in_body, [](I_FILE &f, std::uint32_t) { f.if_read_begin_block(); }}},
        {4, {in_body, [](I_FILE &f, std::uint32_t) { f.if_read_end_block(); }}},
        {5, {in_args, [](I_FILE &f, std::uint32_t) { f.if_read_end_args(); }}},
        {6, {in_locals, [](I_FILE &f, std::uint32_t) { f.if_read_end_locals(); }}},
        {34, {anywhere, [](I_FILE &f, std::uint32_t size) { f.if_read_ir(size); }}},
        {35, {anywhere, [](I_FILE &f, std::uint32_t) { f.if_read_symbol_def(); }}},
        {36, {anywhere, [](I_FILE &f, std::uint32_t) { f.if_read_assembly(); }}},
        {38, {anywhere, [](I_FILE &f, std::uint32_t) { f.if_read_loop(); }}},
        {42, {in_body, [](I_FILE &f, std::uint32_t) { f.if_read_label(); }}},
        {45, {anywhere, [](I_FILE &f, std::uint32_t) { f.if_read_mbank(); }}},
        {46, {in_body, [](I_FILE &f, std::uint32_t) { f.if_read_expr_header(); }}},
        {47, {anywhere, [](I_FILE &f, std::uint32_t) { f.if_read_comment(); }}},
        {58, {anywhere, [](I_FILE &f, std::uint32_t) { f.if_read_dep_edge(); }}},
        {59, {anywhere, [](I_FILE &f, std::uint32_t) { f.if_read_dep_vector(); }}},
        {64,
         {in_function | in_instructions, [](I_FILE &f, std::uint32_t) { f.if_read_func_info(); }}},
        {93, {in_body, [](I_FILE &f, std::uint32_t) { f.if_read_eht(); }}},
        {94, {anywhere, [](I_FILE &f, std::uint32_t) { f.if_read_pragma(nullptr); }}},
        {101, {anywhere, [](I_FILE &f, std::uint32_t) { erase_tree(f.if_read_expr_node(false)); }}},
        {105, {in_file | in_function, [](I_FILE &f, std::uint32_t) { f.if_read_init(); }}},
        {108, {anywhere, [](I_FILE &f, std::uint32_t) { f.if_read_ldspec(); }}},
        {116, {anywhere, [](I_FILE &f, std::uint32_t size) { f.if_read_type(size); }}},
        {123, {in_file, [](I_FILE &f, std::uint32_t) { f.if_read_ir_begin(); }}},
        {124, {anywhere, [](I_FILE &f, std::uint32_t) { f.if_read_inloop(); }}},
        {125, {in_instructions, [](I_FILE &f, std::uint32_t) { f.if_read_ir_end(); }}},
        {126, {anywhere, [](I_FILE &f, std::uint32_t) { f.if_read_source(); }}},
    };
    std::array<RECORD_ROW, 256> table{};
    for (const auto &entry : rows)
        table[static_cast<std::size_t>(entry.tag)] = entry.row;
    return table;
}
constexpr std::array<RECORD_ROW, 256> dispatch = make_dispatch();
} // namespace

// One record of the main body whose frame has been read.
void I_FILE::i_dispatch(if_source::frame frame) {
    const RECORD_ROW &row = dispatch[static_cast<std::size_t>(frame.tag)];
    if (!row.read) {
        std::printf("\n///ERROR @0x%lx\n\n", static_cast<unsigned long>(if_tell()));
        return;
    }
    if (!(row.places & at(place_))) i_invalid("Misplaced record in I-code");
    if (frame.tag != 116) settle_types();
    again_ = record_at_ < read_to_;
    row.read(*this, frame.size);
    again_ = false;
    read_to_ = std::max(read_to_, in_.tell());
}

void I_FILE::i_end_of_body() {
    if (place_ != IF_PLACE::file) i_invalid("Unfinished function in I-code");
    i_settle_late_classes();
}

void I_FILE::if_read_file() {
    ACTIVE_READER active(this);
    if_read_file_names();
    if_read_type_defs();
    client->cl_merge_type_defs();
    if_read_globals();
    if_read_all_init();
    client->cl_preprocess_statics();
    in_.seek(body_at_);
    constexpr std::size_t window = 1 << 20;
    std::size_t done = body_at_;
    while (if_read_record() != if_end_tag)
        if (in_.tell() - done >= window) {
            i_forget_pages(done, in_.tell());
            done = in_.tell();
        }
}

int I_FILE::if_read_record() {
    ACTIVE_READER active(this);
    const if_source::frame frame = i_read_header();
    if (frame.tag == if_end_tag)
        i_end_of_body();
    else
        i_dispatch(frame);
    return frame.tag;
}

void I_FILE::if_read_func(std::uint32_t position) {
    ACTIVE_READER active(this);
    if (position != 0) if_seek(position);
    for (int tag = 0; tag != 2;) {
        const if_source::frame frame = i_read_header();
        tag = frame.tag;
        if (tag != if_end_tag) {
            i_dispatch(frame);
        } else if (in_.at_end()) {
            i_end_of_body();
            return;
        }
    }
}

void I_FILE::if_skip_func() {
    while (!in_.at_end()) {
        const if_source::frame frame = i_read_header();
        in_.skip(frame.size);
        if (frame.tag == 2) return;
    }
}

// --- functions and blocks

void I_FILE::i_enter_scope(int level) {
    if (level > if_max_scope_level) i_invalid("Blocks nested too deeply in I-code");
    scope_level = level;
}

void I_FILE::if_read_begin_func() {
    PSN *psn = i_read_psn();
    SYMTAB *sym = i_global(i_read_uint());
    i_enter_scope(1);
    locals.clear();
    place_ = IF_PLACE::args;
    client->cl_begin_func(sym, psn);
}

void I_FILE::if_read_end_func() {
    if (scope_level != 2) i_invalid("Unfinished block in I-code");
    client->cl_end_func(i_read_psn());
    scope_level = 0;
    place_ = IF_PLACE::file;
}

void I_FILE::if_read_begin_block() {
    i_enter_scope(scope_level + 1);
    client->cl_begin_block(i_read_psn());
}

void I_FILE::if_read_end_block() {
    if (scope_level <= 2) i_invalid("Misplaced record in I-code");
    --scope_level;
    client->cl_end_block(i_read_psn());
}

void I_FILE::if_read_end_args() {
    i_enter_scope(2);
    place_ = IF_PLACE::locals;
    client->cl_end_args(i_read_psn());
}

void I_FILE::if_read_end_locals() {
    place_ = IF_PLACE::body;
    client->cl_end_locals(i_read_psn());
}

void I_FILE::if_read_func_info() {
    client->cl_func_info(i_read_s8());
}

// --- statements

void I_FILE::if_read_assembly() {
    const char *text = i_read_c_string();
    client->cl_inline_asm(text, i_read_psn());
}

void I_FILE::if_read_label() {
    client->cl_label(i_read_uint());
}

void I_FILE::if_read_comment() {
    client->cl_comment(i_read_c_string());
}

void I_FILE::if_read_source() {
    client->cl_source(i_read_c_string());
}

void I_FILE::if_read_option_set() {
    const std::uint32_t id = i_read_uint();
    const std::uint32_t count = i_read_uint();
    i_check_count(count, 1);
    std::vector<std::string> args(count);
    for (std::string &arg : args)
        arg = i_read_string();
    client->cl_option_set(id, count, args);
}

// --- exception tables

static constexpr const char *bad_eht = "Invalid EHT record in I-code";

void I_FILE::if_read_eht_entry(EHT_ENTRY *entry) {
    if (i_read_header().tag != 91) i_invalid(bad_eht);
    entry->id = i_read_uint();
    entry->kind = i_read_uint();
    entry->link = i_read_uint();
    entry->count = i_read_uint();
    if (entry->kind == EHT_cleanup) {
        if (i_read_header().tag != 46) i_invalid(bad_eht);
        i_read_psn();
        entry->cleanup = if_read_expr_node(true);
    } else if (entry->kind == EHT_catch) {
        if (i_read_header().tag != 63) i_invalid(bad_eht);
        if (entry->count > in_.left() / 3) i_invalid(bad_eht);
        entry->catches.resize(entry->count);
        for (I_CATCH_ENTRY &clause : entry->catches) {
            clause.type_name = i_read_string();
            clause.label = i_read_uint();
            clause.flag = i_read_bool();
        }
    }
}

void I_FILE::if_read_eht() {
    constexpr std::size_t smallest_entry = 6; // frame and four fields
    const std::uint32_t n = i_read_uint();
    if (n > in_.left() / smallest_entry) i_invalid(bad_eht);
    auto entries = std::make_unique<EHT_ENTRY[]>(n);
    for (std::uint32_t i = 0; i < n; ++i)
        if_read_eht_entry(&entries[i]);
    EHT_ENTRY *table = entries.release();
    if (client->cl_func_eht(table, n)) delete[] table;
}

// --- records that are only passed on

void I_FILE::if_read_ir(std::uint32_t size) {
    const std::size_t position = in_.tell();
    PSN *psn = i_read_psn();
    in_.seek(position);
    in_.skip(size);
    client->cl_ir_ins(nullptr, psn);
}

void I_FILE::if_read_loop() {
    std::uint32_t words[5];
    for (std::uint32_t &word : words)
        word = i_read_uint();
    const unsigned last = i_read_u16();
    client->cl_loop_def(words[0], words[1], words[2], words[3], words[4], last);
}

void I_FILE::if_read_mbank() {
    int words[5];
    for (int &word : words)
        word = static_cast<int>(i_read_uint());
    client->cl_mbank(words[0], words[1], words[2], words[3], words[4]);
}

void I_FILE::if_read_dep_edge() {
    int words[3];
    for (int &word : words)
        word = static_cast<int>(i_read_uint());
    client->cl_dd_edge(words[0], words[1], words[2]);
}

void I_FILE::if_read_dep_vector() {
    const int id = static_cast<int>(i_read_uint());
    const int second = i_read_u8();
    const int n = i_read_u8();
    DD_ENTRY entries[256];
    for (int i = 0; i < n; ++i)
        entries[i] = {i_read_u8(), i_read_s8()};
    client->cl_dd_vector(id, second, n, entries);
}

void I_FILE::if_read_ldspec() {
    const std::uint32_t id = i_read_uint();
    const int subkind = i_read_u8();
    if (subkind > 2) return;
    const std::uint32_t first = i_read_uint();
    if (subkind == 2) {
        client->cl_ldspec_region(id, first);
        return;
    }
    const std::uint32_t second =
        subkind == 0 ? static_cast<std::uint32_t>(i_read_sint()) : i_read_uint();
    TYPE *type = find_typeref(i_read_uint());
    const std::int32_t level = i_read_sint();
    SYMTAB *sym = i_symbol(level, static_cast<std::int32_t>(i_read_uint()));
    if (subkind == 0)
        client->cl_ldspec_induct(id, first, static_cast<int>(second), type, sym);
    else
        client->cl_ldspec_rand(id, first, second, type, sym);
}

void I_FILE::if_read_ir_begin() {
    SYMTAB *sym = i_global(i_read_uint());
    const std::int32_t first = i_read_sint();
    const int second = i_read_s8();
    const int third = static_cast<int>(i_read_uint());
    PSN *psn = i_read_psn();
    i_enter_scope(1);
    locals.clear();
    place_ = IF_PLACE::instructions;
    client->cl_ir_begin_func(sym, static_cast<unsigned long>(first), second, third, psn);
}

void I_FILE::if_read_inloop() {
    const std::uint32_t id = i_read_uint();
    const std::int32_t level = i_read_sint();
    SYMTAB *sym = i_symbol(level, i_read_sint());
    client->cl_loop_header(id, sym, i_read_u8());
}

void I_FILE::if_read_ir_end() {
    client->cl_ir_end_func(i_read_psn());
    scope_level = 0;
    place_ = IF_PLACE::file;
}
