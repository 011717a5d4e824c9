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
#include <unordered_set>
#include <vector>

// Trees of an initialiser, the closing ENDINIT among them. Owns the trees.
struct EXPR_LIST {
    std::vector<NODE *> trees;
};

struct I_CATCH_ENTRY {
    std::string type_name;
    std::uint32_t label = 0; // handler label, as in the file
    bool flag = false;
    LBL *lbl =
        nullptr; // the handler's label record once the function is read; its block stays alive
};

enum EHT_ENTRY_KIND : std::uint32_t { EHT_cleanup = 1, EHT_catch = 2 };

struct EHT_ENTRY {
    std::uint32_t id = 0; // 1-based
    std::uint32_t kind = 0;
    std::uint32_t link = 0;             // id of the enclosing entry
    std::uint32_t count = 0;            // catch clauses
    NODE *cleanup = nullptr;            // kind 1; owned
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
    void cl_pragma(SYMTAB *sym,
                   PRAGMA *pragma); // null symbol: a statement pragma; takes the pragma
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
    void cl_ldspec_induct(unsigned id, unsigned, int, TYPE *, SYMTAB *);
    void cl_ldspec_rand(unsigned id, unsigned, unsigned, TYPE *, SYMTAB *);
    void cl_ldspec_region(unsigned id, unsigned);
    void cl_ir_begin_func(SYMTAB *, unsigned long, int, int, PSN *);
    void cl_ir_end_func(PSN *);
    void cl_ir_ins(INSTR *, PSN *);
};

struct TYPE_INFO {
    TYPE *type = nullptr;
    std::uint8_t open_lists = 0;   // still to come; the type is frozen when this reaches 0
    std::int8_t current_list = -1; // LIST_KIND between a list's head and its end, else -1
};

inline constexpr unsigned if_max_tree_levels = 10000; // of nodes, down either operand
inline constexpr unsigned if_max_class_depth = 1000;  // of classes that hold classes
inline constexpr int if_max_scope_level = 255;

// Where in the main body a reader is.
enum class IF_PLACE : std::uint8_t {
    file,         // between functions
    args,         // behind a begin of function: parameters
    locals,       // behind the end of arguments: symbols of the outer block
    body,         // behind the end of locals: statements and blocks
    instructions, // in an instruction function
};

class I_FILE {
public:
    // --- opening and closing. The constructors are the same as if_open_basic and if_create; the
    // object lives on the heap and if_close frees it.
    I_FILE(FILE *input, IF_CLIENT *receiver, bool &valid);
    I_FILE(FILE *output, TYPE_PKG *pkg, const char *header_name);
    // Takes the stream; null when the stream is not an intermediate file (the stream stays open
    // then).
    static I_FILE *if_open(FILE *stream, IF_CLIENT *client);
    static I_FILE *if_open_basic(FILE *stream, IF_CLIENT *client);
    static I_FILE *if_create(FILE *stream, TYPE_PKG *pkg, const char *name);
    // Writes the trailer of a writer unless no_trailer; frees the object; true on a stream error.
    bool if_close(bool all_types, bool no_trailer);

    // --- reading
    void if_read_file();
    int if_read_record();                      // one record of the main body; its tag
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
    void if_write_symbol(const char *name, unsigned long size, unsigned long offset,
                         unsigned char sc, unsigned short flags, TYPE *type, TYPE *stype,
                         unsigned long align, unsigned long fpos, int pragma_count,
                         unsigned option_set, PSN *psn);
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
    void if_write_ldspec_induct(unsigned id, unsigned, int, TYPE *, SYMTAB *);
    void if_write_ldspec_rand(unsigned id, unsigned, unsigned, TYPE *, SYMTAB *);
    void if_write_ldspec_region(unsigned id, unsigned);
    void if_write_expr(NODE *tree, PSN *psn); // a null tree writes the frame only
    void if_write_expr_node(NODE *tree);
    void if_write_type(TYPE *type);
    void if_write_all_options();
    void if_write_all_types(bool all);
    void if_write_all_files();
    void if_write_all_globals();
    void if_write_magic();

    // --- state
    std::string name;       // header name
    FILE *stream = nullptr; // owned until if_close
    bool writing = false;
    IF_CLIENT *client = nullptr;
    int version = if_current_version;
    std::int32_t option_offset = 0, init_offset = 0, type_offset = 0, file_name_offset = 0,
                 global_offset = 0;
    std::uint32_t reserved = 0;
    int scope_level = 0;
    std::vector<SYMTAB *> locals;  // of the current function, by index
    std::vector<SYMTAB *> globals; // by index

    // --- primitives of reading. A string ends with a zero in memory and lives as long as the file
    // is open; fields behind the end of the file read as zero or empty.
    std::uint8_t i_read_u8() { return in_.read_u8(); }
    std::int8_t i_read_s8() { return in_.read_s8(); }
    bool i_read_bool() { return in_.read_bool(); }
    std::uint16_t i_read_u16() { return in_.read_u16(); }
    std::int16_t i_read_s16() { return in_.read_s16(); }
    std::uint32_t i_read_u32() { return in_.read_u32(); }
    std::int32_t i_read_s32() { return in_.read_s32(); }
    std::uint32_t i_read_uint() { return in_.read_uint(); }
    std::int32_t i_read_sint() { return in_.read_sint(); }
    std::string_view
    i_read_string(std::uint32_t n = 0); // 0: up to a zero byte; else exactly n bytes
    const char *i_read_c_string() { return i_read_string().data(); }
    PSN *i_read_psn();                // null for file number 0
    if_source::frame i_read_header(); // a known record that the file's end cuts off reads as an end
    std::string_view i_read_raw(std::uint32_t size);

    // --- primitives of writing: all but the last two append to the record being built
    void i_write_i8(int v) { record_.write_i8(v); }
    void i_write_bool(bool v) { record_.write_bool(v); }
    void i_write_i16(int v); // -32768 to 65535; anything else ends the run
    void i_write_i32(std::int64_t v) { record_.write_i32(v); }
    void i_write_uint(std::uint32_t v) { record_.write_uint(v); }
    void i_write_sint(std::int32_t v) { record_.write_sint(v); }
    void i_write_string(std::string_view s, std::uint32_t n = 0); // 0: with a zero behind it
    void i_write_psn(const PSN *psn);
    void i_write_typeref(TYPE *type); // marks the type as referenced
    void i_flush(int tag);            // frames the record and writes it
    void i_write_eof();
    void i_write_raw(std::string_view bytes);

    // --- readers of one record's body each; the frame has been read
    bool if_read_magic(); // at offset 0; false: not an intermediate file
    void if_read_begin_func();
    void if_read_end_func();
    void if_read_begin_block();
    void if_read_end_block();
    void if_read_end_args();
    void if_read_end_locals();
    void if_read_ir(std::uint32_t size);
    SYMTAB *if_read_sym(int &pragma_count);
    void if_read_symbol_def();
    void if_read_assembly();
    void if_read_loop();
    void if_read_label();
    void if_read_mbank();
    void if_read_expr_header();
    void if_read_comment();
    void if_read_dep_edge();
    void if_read_dep_vector();
    void if_read_func_info();
    void if_read_eht_entry(EHT_ENTRY *entry); // with its frame and what follows it
    void if_read_eht();
    void if_read_pragma(SYMTAB *sym);
    void if_read_init();
    void if_read_ldspec();
    void if_read_option_set();
    void if_read_type(std::uint32_t size);
    void if_read_ir_begin();
    void if_read_inloop();
    void if_read_ir_end();
    void if_read_source();

    // --- payloads of nodes
    void if_read_expr_name(NODE *node);
    void if_read_expr_field(NODE *node);
    void if_read_expr_icon(NODE *node);
    void if_read_expr_lcon(NODE *node);
    void if_read_expr_fcon(NODE *node);
    void if_read_expr_scon(NODE *node);
    void if_read_expr_label(NODE *node);
    void if_read_expr_pval(NODE *node);
    void if_read_expr_vreg(NODE *node);
    void if_read_expr_skip(NODE *node);
    void if_read_expr_switch(NODE *node);
    void if_read_expr_ddnode(NODE *node);
    void if_read_expr_call(NODE *node);
    void if_read_expr_ucall(NODE *node);
    void if_read_expr_icall(NODE *node);
    void if_write_expr_name(const NODE *node);
    void if_write_expr_field(const NODE *node);
    void if_write_expr_icon(const NODE *node);
    void if_write_expr_lcon(const NODE *node);
    void if_write_expr_fcon(const NODE *node);
    void if_write_expr_scon(const NODE *node);
    void if_write_expr_label(const NODE *node);
    void if_write_expr_pval(const NODE *node);
    void if_write_expr_vreg(const NODE *node);
    void if_write_expr_skip(const NODE *node);
    void if_write_expr_switch(const NODE *node);
    void if_write_expr_ddnode(const NODE *node);
    void if_write_expr_call(const NODE *node);
    void if_write_expr_ucall(const NODE *node);
    void if_write_expr_icall(const NODE *node);

    // --- readers of types, by file kind; number and kind have been read
    void if_read_void_type(std::uint32_t number, int kind);
    void if_read_integral_type(std::uint32_t number, int kind);
    void if_read_float_type(std::uint32_t number, int kind);
    void if_read_fixedpoint_type(std::uint32_t number, int kind);
    void if_read_complex_type(std::uint32_t number, int kind);
    void if_read_typedef(std::uint32_t number, int kind);
    void if_read_ref_type(std::uint32_t number, int kind);
    void if_read_addr_type(std::uint32_t number, int kind);
    void if_read_qual_type(std::uint32_t number, int kind);
    void if_read_array_type(std::uint32_t number, int kind);
    void if_read_ptm_type(std::uint32_t number, int kind);
    void if_read_func_type(std::uint32_t number, int kind);
    void if_read_enum_type(std::uint32_t number, int kind);
    void if_read_csu_type(std::uint32_t number, int kind);
    void if_read_list_header(std::uint32_t number, int kind);
    void if_read_list_trailer(std::uint32_t number, int kind);
    void if_read_param_elem(std::uint32_t number, int kind);
    void if_read_etor_elem(std::uint32_t number, int kind);
    void if_read_mdata_elem(std::uint32_t number, int kind);
    void if_read_bclass_elem(std::uint32_t number, int kind);
    void if_read_adecl_elem(std::uint32_t number, int kind);
    void if_read_ffriend_elem(std::uint32_t number, int kind);
    void if_read_cfriend_elem(std::uint32_t number, int kind);
    void if_read_ntype_elem(std::uint32_t number, int kind);
    void if_read_sdata_elem(std::uint32_t number, int kind);
    void if_read_mfunc_elem(std::uint32_t number, int kind);

    // --- makers of types and list elements
    // What the record of a class, struct or union says.
    struct CSU_RECORD {
        int csu_kind = 0; // 0 struct, 1 union, 2 class
        std::string_view name;
        bool complete = false, lowered = false;
        std::uint32_t size = 0, align = 0, extra_word = 0;
        bool has[LK_count] = {}; // lists to come
        bool flag = false, cpp = false;
        PSN *psn = nullptr;
    };
    void tp_make_void_type(std::uint32_t number);
    void tp_make_integral_type(std::uint32_t number, int kind, bool explicit_sign,
                               std::uint32_t size, std::uint32_t align, bool is_boolean,
                               bool plain);
    void tp_make_float_type(std::uint32_t number, int kind, std::uint32_t size,
                            std::uint32_t align);
    void tp_make_fixpt_type(std::uint32_t number, int binary_point, unsigned signed_flag,
                            std::uint32_t underlying, std::uint32_t size, std::uint32_t align);
    void tp_make_complex_type(std::uint32_t number, std::uint32_t size, std::uint32_t align,
                              std::uint32_t part);
    void tp_make_typedef(std::uint32_t number, std::string_view type_name, std::uint32_t base,
                         std::uint32_t size, std::uint32_t align, bool cpp, bool lowered, PSN *psn);
    void tp_make_ref_type(std::uint32_t number, std::uint32_t to, std::uint32_t size,
                          std::uint32_t align);
    void tp_make_addr_type(std::uint32_t number, std::uint32_t to, std::uint32_t size,
                           std::uint32_t align);
    void tp_make_qual_type(std::uint32_t number, std::uint32_t base, unsigned bits,
                           std::uint32_t size, std::uint32_t align);
    void tp_make_array_type(std::uint32_t number, std::uint32_t element, std::uint32_t count,
                            std::uint32_t size, std::uint32_t align, bool cpp, bool complete);
    void tp_make_vector_type(std::uint32_t number, std::uint32_t element, std::uint32_t count,
                             std::uint32_t size, std::uint32_t align, bool cpp, bool complete);
    void tp_make_ptm_type(std::uint32_t number, std::uint32_t member, std::uint32_t csu,
                          std::uint32_t size, std::uint32_t align);
    void tp_make_func_type(std::uint32_t number, std::uint32_t result, bool flag1, bool flag2,
                           unsigned calling_convention, bool cpp);
    void tp_make_enum_type(std::uint32_t number, std::string_view type_name, std::uint32_t size,
                           std::uint32_t align, std::uint32_t underlying, bool cpp, PSN *psn);
    void tp_make_csu(std::uint32_t number, const CSU_RECORD &r);
    void tp_make_list(std::uint32_t number, int list_kind);
    void tp_end_list(std::uint32_t number, int list_kind);
    void tp_make_param_list(std::uint32_t number, std::uint32_t type, std::uint32_t mode,
                            std::string_view param_name);
    void tp_make_etor_list(std::uint32_t number, std::string_view etor_name, const INT65 &value,
                           PSN *psn);
    void tp_make_mdata_list(std::uint32_t number, std::uint32_t type, fkMDATA &member);
    void tp_make_bclass_list(std::uint32_t number, std::uint32_t type, BCLASS_ELEM elem);
    void tp_make_adecl_list(std::uint32_t number, const ADECL_ELEM &elem);
    void tp_make_ffriend_list(std::uint32_t number, std::uint32_t type, FFRIEND_ELEM elem);
    void tp_make_cfriend_list(std::uint32_t number, std::uint32_t type);
    void tp_make_ntype_list(std::uint32_t number, std::uint32_t type);
    void tp_make_sdata_list(std::uint32_t number, std::uint32_t type, SDATA_ELEM elem);
    void tp_make_func_list(std::uint32_t number, std::uint32_t type, MFUNC_ELEM elem);

    // --- writers of types, by kind
    void write_void_type(TYPE *type);
    void write_integral_type(TYPE *type);
    void write_float_type(TYPE *type);
    void write_fixedpoint_type(TYPE *type);
    void write_complex_type(TYPE *type);
    void write_addr_type(TYPE *type);
    void write_ref_type(TYPE *type);
    void write_qual_type(TYPE *type);
    void write_typedef(TYPE *type);
    void write_array_type(TYPE *type);
    void write_ptm_type(TYPE *type);
    void write_func_type(TYPE *type);
    void write_enum_type(TYPE *type);
    void write_csu_type(TYPE *type);
    void write_csu_short(TYPE *type);
    void write_csu_long(TYPE *type);
    void write_csu_type_lists(TYPE *type);
    void write_all_csu_types();
    void write_type_tree();
    void write_list_header(TYPE *owner, int list_kind);
    void write_list_trailer(TYPE *owner, int list_kind);
    void write_listof_etors(TYPE *owner);
    void write_listof_params(TYPE *owner, const PARAM_ELEM *params);
    void write_listof_mdata(TYPE *owner);
    void write_listof_bclasses(TYPE *owner);
    void write_listof_adecls(TYPE *owner);
    void write_listof_ffriends(TYPE *owner);
    void write_listof_cfriends(TYPE *owner);
    void write_listof_ntypes(TYPE *owner);
    void write_listof_sdata(TYPE *owner);
    void write_listof_mfuncs(TYPE *owner);

private:
    ~I_FILE();
    I_FILE(const I_FILE &) = delete;
    I_FILE &operator=(const I_FILE &) = delete;

    friend void if_print_reader_context();
    struct ACTIVE_READER; // while one exists, its file is the one that error messages point into

    // --- reading
    void i_load();                                 // the whole stream from the base on
    [[noreturn]] void i_invalid(const char *what); // message and exit 1
    void i_check_count(std::uint32_t count, std::size_t bytes_each); // exit 1 when it cannot fit
    template <class Read> void i_read_section(std::int32_t offset, Read read_record);
    void i_dispatch(if_source::frame frame);
    void i_end_of_body(); // exit 1 inside a function
    PRAGMA *i_read_pragma_body();
    SYMTAB *i_symbol(std::int32_t level, std::int32_t index); // null for level -1
    SYMTAB *i_global(std::uint32_t index);
    void i_enter_scope(int level);

    // --- types being read
    TYPE_INFO *find_entry(std::uint32_t number); // null: not defined
    TYPE_INFO &enter_type(std::uint32_t number, const TYPE_INFO &info);
    TYPE_INFO &list_owner(std::uint32_t number, int list_kind);
    void freeze_entry(TYPE_INFO &entry);
    // Behind a run of type records: functions and enums that are still open are frozen, and class
    // nesting is checked. Classes may get their lists later.
    void settle_types() {
        if (!open_types_.empty() || !unchecked_classes_.empty()) i_settle_types();
    }
    void i_settle_types();
    void i_settle_late_classes(); // no type record follows
    void reopen_class(std::uint32_t number, TYPE *csu);
    void check_class_nesting(TYPE *csu);
    TYPE *class_within(TYPE *type);

    // --- writing
    void i_drain(); // the output buffer into the stream
    void i_begin_type(TYPE *type, int kind);
    void i_begin_csu(TYPE *type, int kind);
    void i_end_csu(TYPE *type);
    void i_write_symbol_number(const SYMTAB *sym, bool signed_index);

    std::uint64_t base_ = 0; // of the stream when it was taken over

    // Reading
    if_source in_;
    std::string loaded_; // holds the bytes unless they are mapped
    // Gives memory of the input between two offsets back; a later read brings it in again.
    void i_forget_pages(std::size_t from, std::size_t to);
    void *map_ = nullptr;
    std::size_t map_size_ = 0;
    std::size_t record_at_ = 0; // start of the latest frame
    std::size_t body_at_ = 0;   // behind the header
    std::size_t read_to_ = 0;   // how far the main body has been read at some time
    bool again_ = false;        // the current record of the main body was read before
    IF_PLACE place_ = IF_PLACE::file;
    struct OPEN_NODE {
        NODE *node;
        bool wants_right;
    };
    std::vector<OPEN_NODE> open_nodes_;
    PSN *last_psn_ = nullptr;
    std::uint32_t last_psn_file_ = 0;

    // Types
    TYPE_PKG *tp_ = nullptr;
    std::vector<TYPE_INFO> near_types_;            // numbers below near_type_limit_
    std::map<std::uint32_t, TYPE_INFO> far_types_; // all others
    std::uint32_t near_type_limit_ = 0;
    std::vector<std::uint32_t> open_types_;   // of this run of type records, lists still to come
    std::vector<std::uint32_t> late_classes_; // of the runs before, lists still to come then
    std::vector<TYPE *> unchecked_classes_;
    std::unordered_map<const TYPE *, unsigned> class_depths_; // 0 while being visited
    std::unordered_set<const TYPE *> held_incomplete_; // parts of checked classes, lists to come
    std::unordered_map<const TYPE *, TYPE *> held_classes_; // of arrays, typedefs, qualified types

    // Name table: texts live until the end of the program, since positions refer to them.
    std::vector<const char *> file_names_; // number - 1
    std::unordered_map<std::string_view, unsigned> file_ids_;
    const char *last_name_ = nullptr; // as i_enter_file_name got it
    unsigned last_name_id_ = 0;

    // Writing
    struct OPTION_SET {
        unsigned id;
        std::vector<std::string> args;
    };
    std::vector<OPTION_SET> options_;
    if_record record_;
    std::string out_;
    std::uint64_t drained_ = 0; // position of out_'s first byte
    bool failed_ = false;
};

// Where the reader is that is reading now, to standard output; nothing when none is.
void if_print_reader_context();

void if_node_table_init();
void if_enter_node(int op, const char *name, int arity);

extern IF_CLIENT opt_client;
