// Writers of all records but symbols, types and expressions.
#include "OPT5/icode/if_file.h"

void I_FILE::if_write_begin_func(SYMTAB *sym, PSN *psn) {
    sym->fpos = if_tell();
    i_write_psn(psn);
    i_write_uint(static_cast<std::uint32_t>(sym->index));
    i_flush(1);
    scope_level = 1;
    locals.clear();
}

void I_FILE::if_write_control(int tag, PSN *psn) {
    i_write_psn(psn);
    i_flush(tag);
    switch (tag) {
    case 2: scope_level = 0; break;
    case 3: ++scope_level; break;
    case 4: --scope_level; break;
    case 5: scope_level = 2; break;
    default: break;
    }
}

void I_FILE::if_write_func_info(int kind) {
    i_write_i8(kind);
    i_flush(64);
}

void I_FILE::if_write_label(unsigned number) {
    i_write_uint(number);
    i_flush(42);
}

void I_FILE::if_write_assembly(const char *text, PSN *psn) {
    i_write_string(text);
    i_write_psn(psn);
    i_flush(36);
}

void I_FILE::if_write_source(const char *file_name) {
    i_write_string(file_name);
    i_flush(126);
}

void I_FILE::if_write_comment(const char *text) {
    i_write_string(text);
    i_flush(47);
}

void I_FILE::if_write_option_set(unsigned id, const std::vector<std::string> &args) {
    i_write_uint(id);
    i_write_uint(static_cast<std::uint32_t>(args.size()));
    for (const std::string &arg : args)
        i_write_string(arg);
    i_flush(111);
}

// --- exception tables

void I_FILE::if_write_func_eht(EHT_ENTRY *entries, unsigned n) {
    if_write_eht_hdr(n);
    for (unsigned i = 0; i < n; ++i)
        if_write_eht_entry(&entries[i]);
}

void I_FILE::if_write_eht_hdr(unsigned n) {
    i_write_uint(n);
    i_flush(93);
}

void I_FILE::if_write_eht_entry(const EHT_ENTRY *entry) {
    i_write_uint(entry->id);
    i_write_uint(entry->kind);
    i_write_uint(entry->link);
    i_write_uint(entry->kind == EHT_catch ? static_cast<std::uint32_t>(entry->catches.size())
                                          : entry->count);
    i_flush(91);
    if (entry->kind == EHT_cleanup) if_write_expr(entry->cleanup, nullptr);
    if (entry->kind == EHT_catch) if_write_eht_catch_entry(entry);
}

void I_FILE::if_write_eht_catch_entry(const EHT_ENTRY *entry) {
    for (const I_CATCH_ENTRY &clause : entry->catches) {
        i_write_string(clause.type_name);
        i_write_uint(clause.label);
        i_write_bool(clause.flag);
    }
    i_flush(63);
}

// --- records for the code generator

void I_FILE::i_write_symbol_number(const SYMTAB *sym, bool signed_index) {
    const std::int32_t index = sym ? sym->index : signed_index ? -1 : 0;
    i_write_sint(sym ? sym->level : -1);
    if (signed_index)
        i_write_sint(index);
    else
        i_write_uint(static_cast<std::uint32_t>(index));
}

void I_FILE::if_write_loop(unsigned a, unsigned b, unsigned c, unsigned d, unsigned e, unsigned f) {
    for (unsigned word : {a, b, c, d, e})
        i_write_uint(word);
    i_write_i16(static_cast<int>(f));
    i_flush(38);
}

void I_FILE::if_write_inloop(unsigned id, SYMTAB *sym, int last) {
    i_write_uint(id);
    i_write_symbol_number(sym, true);
    i_write_i8(last);
    i_flush(124);
}

void I_FILE::if_write_dep_vector(int id, int second, int n, const DD_ENTRY *entries) {
    i_write_uint(static_cast<std::uint32_t>(id));
    i_write_i8(second);
    i_write_i8(n);
    for (int i = 0; i < n; ++i) {
        i_write_i8(entries[i].kind);
        i_write_i8(entries[i].distance);
    }
    i_flush(59);
}

void I_FILE::if_write_dep_edge(int a, int b, int c) {
    for (int word : {a, b, c})
        i_write_uint(static_cast<std::uint32_t>(word));
    i_flush(58);
}

void I_FILE::if_write_mbank(int a, int b, int c, int d, int e) {
    for (int word : {a, b, c, d, e})
        i_write_uint(static_cast<std::uint32_t>(word));
    i_flush(45);
}

void I_FILE::if_write_ldspec_induct(unsigned id, unsigned a, int b, TYPE *type, SYMTAB *sym) {
    i_write_uint(id);
    i_write_i8(0);
    i_write_uint(a);
    i_write_sint(b);
    i_write_typeref(type);
    i_write_symbol_number(sym, false);
    i_flush(108);
}

void I_FILE::if_write_ldspec_rand(unsigned id, unsigned a, unsigned b, TYPE *type, SYMTAB *sym) {
    i_write_uint(id);
    i_write_i8(1);
    i_write_uint(a);
    i_write_uint(b);
    i_write_typeref(type);
    i_write_symbol_number(sym, false);
    i_flush(108);
}

void I_FILE::if_write_ldspec_region(unsigned id, unsigned a) {
    i_write_uint(id);
    i_write_i8(2);
    i_write_uint(a);
    i_flush(108);
}
