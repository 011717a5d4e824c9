// I_FILE: reader and writer of the intermediate file; IF_CLIENT: who receives what is read.
#pragma once

#include "OPT5/icode/records/if_stream.h"
#include "OPT5/rep/node.h"
#include "OPT5/rep/symbol.h"
#include "OPT5/rep/type_pkg.h"

#include <cstdio>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

// Trees of an initialiser, the closing ENDINIT among them. Owns the trees.
struct EXPR_LIST {
    std::vector<NODE *> trees;
};

struct I_CATCH_ENTRY {
    std::string type_name;
    std::uint32_t label = 0; // handler label, as in the file
    bool flag = false;
    LBL *lbl = nullptr; // the handler's label record once the function is read; its block stays alive
};

enum EHT_ENTRY_KIND : std::uint32_t { EHT_cleanup = 1, EHT_catch = 2 };

struct EHT_ENTRY {
    std::uint32_t id = 0; // 1-based
    std::uint32_t kind = 0;
    std::uint32_t link = 0; // id of the enclosing entry
    std::uint32_t count = 0; // catch clauses
    NODE *cleanup = nullptr; // kind 1; owned
    std::vector<I_CATCH_ENTRY> catches; // kind 2
};

struct DD_ENTRY {
    std::uint8_t kind;
    std::int8_t distance;
};

struct INSTR; // opaque instruction record

// The seam between the file and the program that reads it. Ordinary member functions, bound at
// link time; the optimizer's definitions stand in opt_client.cpp.
class IF_CLIENT {
public:
    bool cl_magic(int version, int cpu_id); // false refuses the file
    void cl_source(const char *name);
    void cl_option_set(unsigned id, unsigned count, const std::vector<std::string> &args);
    SYMTAB *cl_symbol_create(const char *name, TYPE *type, TYPE *stype, unsigned long size,
                             unsigned long align, unsigned long offset, int sc, int flags, PSN *psn,
                             unsigned long fpos, unsigned option_set);
    void cl_pragma(SYMTAB *sym, PRAGMA *pragma); // null symbol: a statement pragma; takes the pragma
    void cl_symbol_init(SYMTAB *sym, EXPR_LIST *list); // takes the list
    void cl_symbol_def(SYMTAB *sym);
    void cl_expr(NODE *tree, PSN *psn); // takes the tree
    void cl_begin_func(SYMTAB *sym, PSN *psn);
    void cl_end_func(PSN *psn);
    void cl_begin_block(PSN *psn);
    void cl_end_block(PSN *psn);
    void cl_end_args(PSN *psn);
    void cl_end_locals(PSN *psn);
    void cl_label(unsigned number);
    void cl_inline_asm(const char *text, PSN *psn);
    void cl_comment(const char *text);
    bool cl_func_eht(EHT_ENTRY *entries, unsigned n); // true: the reader destroys the array
    void cl_merge_type_defs();
    void cl_preprocess_statics();
    void cl_func_info(int kind);
    void cl_loop_def(unsigned, unsigned, unsigned long, unsigned long, unsigned long, unsigned);
    void cl_loop_header(unsigned, SYMTAB *, int);
    void cl_dd_vector(int, int, int, DD_ENTRY *);
    void cl_dd_edge(int, int, int);
    void cl_mbank(int, int, int, int, int);
    void cl_ldspec_induct(unsigned, int, TYPE *, SYMTAB *);
    void cl_ldspec_rand(unsigned, unsigned, TYPE *, SYMTAB *);
    void cl_ldspec_region(unsigned);
    void cl_ir_begin_func(SYMTAB *, unsigned long, int, int, PSN *);
    void cl_ir_end_func(PSN *);
    void cl_ir_ins(INSTR *, PSN *);
};

struct TYPE_INFO {
    TYPE *type = nullptr;
    std::uint8_t open_lists = 0;
};

class I_FILE {
public:
    // --- opening and closing
    // Takes the stream; null when the stream is not an intermediate file (the stream stays open then).
    static I_FILE *if_open(FILE *stream, IF_CLIENT *client);
    static I_FILE *if_open_basic(FILE *stream, IF_CLIENT *client);
    static I_FILE *if_create(FILE *stream, TYPE_PKG *pkg, const char *name);
    // Writes the trailer of a writer unless no_trailer; frees the object; true on a stream error.
    bool if_close(bool all_types, bool no_trailer);

    // --- reading
    void if_read_file();
    int if_read_record();                  // one record of the main body; its tag
    void if_read_func(std::uint32_t position); // 0: from here; through the next tag 2
    void if_skip_func();
    void if_read_options();
    void if_read_file_names();
    void if_read_globals();
    void if_read_all_init();
    void if_read_type_defs();
    void if_type_init(TYPE_PKG *pkg) { tp_ = pkg; }
    std::uint32_t if_tell() const;
    void if_seek(std::uint32_t position);
    bool if_flush();
    void if_copy_raw(std::uint32_t from, std::uint32_t size, I_FILE *out);
    void if_copy_symbols(I_FILE *out);
    bool if_extract_file(const char *name);
    bool if_check_lengths();
    void if_merge_type_defs();
    TYPE *find_typeref(std::uint32_t number);
    fkMDATA *find_mdataref(std::uint32_t class_number, std::uint32_t index);
    NODE *if_read_expr_node(bool read_frame);
    const char *i_get_file_name(unsigned number) const; // null for 0 and above the count
    unsigned i_get_file_id(const char *name) const;     // 0: not there

    // --- writing
    unsigned i_enter_file_name(const char *name);
    void if_enter_option_set(unsigned id, const std::vector<std::string> &args);
    void if_enter_global(SYMTAB *sym);
    void if_enter_local(SYMTAB *sym);
    void if_reference_type(TYPE *type);
    void if_mark_global_types();
    void if_write_symbol(SYMTAB *sym);
    void if_write_symbol(const char *name, unsigned long size, unsigned long offset, unsigned char sc,
                         unsigned short flags, TYPE *type, TYPE *stype, unsigned long align,
                         unsigned long fpos, int pragma_count, unsigned option_set, PSN *psn);
    void if_write_pragma(const PRAGMA *pragma);
    void if_write_option_set(unsigned id, const std::vector<std::string> &args);
    void if_write_label(unsigned number);
    void if_write_assembly(const char *text, PSN *psn);
    void if_write_source(const char *name);
    void if_write_comment(const char *text);
    void if_write_func_info(int kind);
    void if_write_init(SYMTAB *sym);
    void if_write_control(int tag, PSN *psn);
    void if_write_begin_func(SYMTAB *sym, PSN *psn);
    void if_write_end_func(PSN *psn) { if_write_control(2, psn); }
    void if_write_begin_block(PSN *psn) { if_write_control(3, psn); }
    void if_write_end_block(PSN *psn) { if_write_control(4, psn); }
    void if_write_end_args(PSN *psn) { if_write_control(5, psn); }
    void if_write_end_locals(PSN *psn) { if_write_control(6, psn); }
    void if_write_func_eht(EHT_ENTRY *entries, unsigned n); // n entries from entries[0] on
    void if_write_eht_hdr(unsigned n);
    void if_write_eht_entry(const EHT_ENTRY *entry);
    void if_write_eht_catch_entry(const EHT_ENTRY *entry);
    void if_write_loop(unsigned, unsigned, unsigned, unsigned, unsigned, unsigned);
    void if_write_inloop(unsigned, SYMTAB *, int);
    void if_write_dep_vector(int, int, int n, const DD_ENTRY *);
    void if_write_dep_edge(int, int, int);
    void if_write_mbank(int, int, int, int, int);
    void if_write_ldspec_induct(unsigned, int, TYPE *, SYMTAB *);
    void if_write_ldspec_rand(unsigned, unsigned, TYPE *, SYMTAB *);
    void if_write_ldspec_region(unsigned);
    void if_write_expr(NODE *tree, PSN *psn); // a null tree writes the frame only
    void if_write_expr_node(NODE *tree);
    void if_write_type(TYPE *type);
    void if_write_all_options();
    void if_write_all_types(bool all);
    void if_write_all_files();
    void if_write_all_globals();
    void if_write_magic();

    // --- state
    std::string name;          // header name
    FILE *stream = nullptr;    // owned until if_close
    bool writing = false;
    IF_CLIENT *client = nullptr;
    int version = if_current_version;
    std::int32_t option_offset = 0, init_offset = 0, type_offset = 0, file_name_offset = 0, global_offset = 0;
    std::uint32_t reserved = 0;
    int scope_level = 0;
    std::vector<SYMTAB *> locals;  // of the current function, by index
    std::vector<SYMTAB *> globals; // by index
    // Further members (source, record buffer, tables, per-record readers and writers) follow in the
    // class as its sources need them.
#include "OPT5/icode/if_private.inc"
};

void if_node_table_init();
void if_enter_node(int op, const char *name, int arity);

extern IF_CLIENT opt_client;
