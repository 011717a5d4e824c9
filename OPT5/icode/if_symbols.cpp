// Symbols of a file: their numbers, their records and those of their pragmas and initialisers.
#include "OPT5/icode/if_file.h"

#include "OPT5/icode/records/if_exit.h"
#include "OPT5/rep/bbutils.h"
#include "OPT5/rep/pragmas.h"

#include <algorithm>
#include <memory>
#include <new>

namespace {
void append(std::vector<SYMTAB *> &table, SYMTAB *sym) {
    try {
        table.push_back(sym);
    } catch (const std::bad_alloc &) {
        std::fputs(">> out of memory\n", stdout);
        if_exit(1);
    }
}
} // namespace

// --- numbers

void I_FILE::if_enter_global(SYMTAB *sym) {
    // The table of a file being read is complete; that of a new one must hold the names that the
    // symbols will refer to, since it is written before them.
    if (writing && sym->psn) i_enter_file_name(sym->psn->file ? sym->psn->file : "NO_FILE");
    sym->level = 0;
    sym->index = static_cast<std::int32_t>(globals.size());
    append(globals, sym);
}

void I_FILE::if_enter_local(SYMTAB *sym) {
    sym->level = static_cast<std::uint8_t>(scope_level);
    sym->index = static_cast<std::int32_t>(locals.size());
    append(locals, sym);
}

SYMTAB *I_FILE::i_symbol(std::int32_t level, std::int32_t index) {
    if (level == -1) return nullptr;
    // Locals of the function before are out of reach between functions.
    if (level != 0 && place_ == IF_PLACE::file) i_invalid("Invalid symbol reference in I-code");
    const std::vector<SYMTAB *> &table = level == 0 ? globals : locals;
    if (index < 0 || static_cast<std::size_t>(index) >= table.size())
        i_invalid("Invalid symbol reference in I-code");
    return table[static_cast<std::size_t>(index)];
}

SYMTAB *I_FILE::i_global(std::uint32_t index) {
    if (index >= globals.size()) i_invalid("Invalid symbol reference in I-code");
    return globals[index];
}

// --- reading

SYMTAB *I_FILE::if_read_sym(int &pragma_count) {
    const char *sym_name = i_read_c_string();
    const std::uint32_t size = i_read_uint();
    const std::uint32_t offset = i_read_uint();
    const int sc = i_read_s8();
    const int flags = i_read_s16();
    TYPE *type = find_typeref(i_read_uint());
    TYPE *stype = find_typeref(i_read_uint());
    const std::uint32_t align = i_read_uint();
    pragma_count = i_read_s8();
    const std::uint32_t fpos = i_read_uint();
    const std::uint32_t option_set = i_read_uint();
    PSN *psn = i_read_psn();
    return client->cl_symbol_create(sym_name, type, stype, size, align, offset, sc, flags, psn,
                                    fpos, option_set);
}

void I_FILE::if_read_symbol_def() {
    int pragma_count = 0;
    SYMTAB *sym = if_read_sym(pragma_count);
    if (scope_level != 0)
        if_enter_local(sym);
    else
        if_enter_global(sym);
    for (; pragma_count > 0; --pragma_count) {
        if (i_read_header().tag == if_end_tag && in_.at_end()) break;
        if_read_pragma(sym);
    }
    client->cl_symbol_def(sym);
}

PRAGMA *I_FILE::i_read_pragma_body() {
    const std::uint32_t kind = i_read_uint();
    const std::uint32_t count = i_read_uint();
    i_check_count(count, 1);
    std::vector<std::string_view> args(count);
    for (std::string_view &arg : args)
        arg = i_read_string();
    return mk_pragma(static_cast<int>(kind & 0xff), args, nullptr);
}

void I_FILE::if_read_pragma(SYMTAB *sym) {
    client->cl_pragma(sym, i_read_pragma_body());
}

void I_FILE::if_read_init() {
    SYMTAB *sym = i_global(i_read_uint());
    auto list = std::make_unique<EXPR_LIST>();
    do
        list->trees.push_back(if_read_expr_node(true));
    while (list->trees.back()->op != OP::ENDINIT);
    if (!again_) {
        client->cl_symbol_init(sym, list.release());
        return;
    }
    // A function's body that is read once more initialises nothing.
    for (NODE *tree : list->trees)
        erase_tree(tree);
}

// --- writing

void I_FILE::if_write_symbol(SYMTAB *sym) {
    int count = 0;
    for (const PRAGMA *pragma = sym->pragmas; pragma; pragma = pragma->next)
        ++count;
    if (count > 127) {
        std::printf(">> Too many pragmas of symbol \"%s\"\n", sym->name);
        if_exit(1);
    }
    if_write_symbol(sym->name, sym->size, sym->offset, sym->sc, sym->flags, sym->type, sym->stype,
                    sym->align, sym->fpos, count, sym->option_set, sym->psn);
    for (const PRAGMA *pragma = sym->pragmas; pragma; pragma = pragma->next)
        if_write_pragma(pragma);
}

void I_FILE::if_write_symbol(const char *sym_name, unsigned long size, unsigned long offset,
                             unsigned char sc, unsigned short flags, TYPE *type, TYPE *stype,
                             unsigned long align, unsigned long fpos, int pragma_count,
                             unsigned option_set, PSN *psn) {
    i_write_string(sym_name);
    i_write_uint(static_cast<std::uint32_t>(size));
    i_write_uint(static_cast<std::uint32_t>(offset));
    i_write_i8(sc);
    i_write_i16(flags);
    i_write_typeref(type);
    i_write_typeref(stype);
    i_write_uint(static_cast<std::uint32_t>(align));
    i_write_i8(pragma_count);
    i_write_uint(static_cast<std::uint32_t>(fpos));
    i_write_uint(option_set);
    i_write_psn(psn);
    i_flush(35);
}

void I_FILE::if_write_pragma(const PRAGMA *pragma) {
    i_write_uint(pragma->kind);
    i_write_uint(static_cast<std::uint32_t>(pragma->count));
    for (int i = 0; i < pragma->count; ++i)
        i_write_string(pragma->args[i]);
    i_flush(94);
}

void I_FILE::if_write_init(SYMTAB *sym) {
    if (init_offset == 0) {
        i_write_eof(); // of the main body
        init_offset = static_cast<std::int32_t>(if_tell());
    }
    sym->fpos = if_tell();
    i_write_uint(static_cast<std::uint32_t>(sym->index));
    i_flush(105);
}

void I_FILE::if_write_all_globals() {
    global_offset = static_cast<std::int32_t>(if_tell());
    for (SYMTAB *sym : globals)
        if_write_symbol(sym);
    i_write_eof();
}

void I_FILE::if_mark_global_types() {
    for (const SYMTAB *sym : globals) {
        if_reference_type(sym->type);
        if_reference_type(sym->stype);
    }
}
