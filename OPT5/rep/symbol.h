// SYMTAB, pragmas, LS (lexical scopes) and FUNINFO (per-function records).
#pragma once

#include "OPT5/rep/node.h"
#include "OPT5/rep/types.h"

#include <list>
#include <string>
#include <string_view>
#include <vector>

class BBLK;
class Dominator;

// Kinds of symbol pragmas, by the number in the file: see pragma_names in pragmas.cpp.
#include "OPT5/rep/pragma_kinds.h"

// One pragma of a symbol, or the payload of a PPRAGMA node (next is null there). Pool-owned.
struct PRAGMA {
    std::uint8_t kind = 0;
    std::int32_t count = 0;
    const char **args = nullptr;
    PRAGMA *next = nullptr;
};

enum SYM_ATTR : std::uint8_t {
    SA_aliased = 1, // the address may be taken
    SA_bit1 = 2,    // cleared on a temporary
    SA_temp = 4,
    SA_type_changed = 8, // `type` no longer follows from `otype`; the file gets the declared type
    SA_referenced = 16,
};

struct EXPR_LIST; // initialiser trees, OPT5/icode/if.h

struct SYMTAB {
    const char *name = "";     // owned by the symbol pool
    std::uint32_t size = 0;    // bits
    std::uint32_t offset = 0;
    std::uint8_t sc = 0;       // storage class
    std::uint8_t sc2 = 0;      // the file's class as read; 1 for a temporary
    std::uint16_t flags = 0;
    TYPE *type = nullptr;      // normalized
    TYPE *otype = nullptr;     // as declared
    TYPE *stype = nullptr;     // the file's second type
    std::uint32_t align = 0;   // bits
    LS *scope = nullptr;
    PRAGMA *pragmas = nullptr; // newest first
    SYMTAB *next = nullptr;    // in the function's list, or in global_symbols
    PSN *psn = nullptr;
    EXPR_LIST *init = nullptr; // initialiser, owned; null: none
    std::uint32_t fpos = 0;
    std::uint32_t option_set = 0;
    std::int32_t index = -1;   // number in the file being read or written
    std::uint32_t serial = 0;  // order of creation, never reused within a run
    std::uint32_t refcount = 0;
    std::uint8_t level = 0;    // 0 file scope, 1 parameters as passed, 2.. locals
    std::uint8_t attr = SA_aliased | SA_bit1;
    void *pass_words[2] = {};

    SYMTAB() = default;
    // The constructor asserts "otype->is_func() || size == otype->size()".
    SYMTAB(const char *name, unsigned long size, unsigned long offset, unsigned char sc,
           unsigned short flags, TYPE *type, TYPE *otype, unsigned long align, PSN *psn, int index);
};

SYMTAB *new_symbol(const char *name, unsigned long size, unsigned long offset, unsigned char sc,
                   unsigned short flags, TYPE *type, TYPE *otype, unsigned long align, PSN *psn,
                   int index); // from the symbol pool

// The lexical scope tree of one function.
struct LS {
    LS *parent = nullptr, *child = nullptr, *sibling = nullptr;
    std::vector<SYMTAB *> pointers, classes, arrays, others; // declared here, source order once closed
    PSN *psnEntry = nullptr, *psnExit = nullptr;
    FUNINFO *funinfo = nullptr;
    unsigned scope_id = 0, depth = 0;
    std::uint32_t callsite = 0; // inline site; 0: the function's own
    bool flag = false;

    static void open(PSN *psn, SYMTAB *func, unsigned callsite);
    static void close(PSN *psn, SYMTAB *func, unsigned callsite);
    static void add_symbol(SYMTAB *sym); // to the open scope, or to sym->scope when that is set
    static void initialize_scopes_and_ptrs_from_tree(NODE *tree); // a fresh tree belongs to the open scope
    static void assign_scope_to_tree(LS *ls, NODE *tree);
    bool encloses(const LS *other) const;
    bool is_strictly_contained_by(const LS *other) const;
    static LS *innermost_common_scope(LS *a, LS *b);
    bool object_may_be_live_in_scope(const SYMTAB *sym) const;
    void integrate_integrable_scopes(LS *integrable, unsigned callsite);
    void offset_scope(unsigned ids, unsigned depths);
    void splice_scope(LS *into);
    static LS *copy_scope_tree(const LS *root, LS *parent);
    LS *level_0_scope(); // these three only on the current root
    LS *level_1_scope();
    LS *level_2_scope(); // null without a level 1 child
    static int validate(LS *root); // returns the number of complaints
    static void print(const LS *root);
};

// FUN_* flags by bit; bits 20 and 25 have no name.
enum FUN_FLAGS : std::uint32_t {
    FUN_calls_anonymous = 1u << 0, FUN_cannot_suppress = 1u << 1, FUN_is_unsuppressed = 1u << 2,
    FUN_never_returns = 1u << 3, FUN_calls_OUTSIDE = 1u << 4, FUN_cannot_inline = 1u << 5,
    FUN_is_suppressed = 1u << 6, FUN_no_global_asg = 1u << 7, FUN_no_global_use = 1u << 8,
    FUN_is_pragma_EXT = 1u << 9, FUN_calls_SYSTEM = 1u << 10, FUN_is_processed = 1u << 11,
    FUN_is_anonymous = 1u << 12, FUN_is_interrupt = 1u << 13, FUN_follows_call = 1u << 14,
    FUN_value_needed = 1u << 15, FUN_no_byref_asg = 1u << 16, FUN_is_pure_fun = 1u << 17,
    FUN_cannot_beta = 1u << 18, FUN_no_RPT_loop = 1u << 19, FUN_is_inlined = 1u << 21,
    FUN_no_ind_asg = 1u << 22, FUN_no_ind_use = 1u << 23, FUN_is_cg_root = 1u << 24,
    FUN_is_called = 1u << 26, FUN_is_extern = 1u << 27, FUN_is_SYSTEM = 1u << 28,
    FUN_has_1_BB = 1u << 29, FUN_is_main = 1u << 30, FUN_is_cpp = 1u << 31,
};

struct EHT_ENTRY; // OPT5/icode/if.h

// The record of one function; lives until the end of the program, with or without a body.
struct FUNINFO {
    std::string name; // without prefix
    SYMTAB *symbol = nullptr;
    TYPE *return_type = nullptr;
    std::uint32_t flags = 0; // FUN_*; "property bits"
    FUNINFO *hash_next = nullptr;

    // Body
    LIST *pending = nullptr;     // statements read so far, newest first, until buildcfg takes them
    BBLK *bb_list = nullptr;     // entry block
    BBLK *exit_bb = nullptr;
    std::vector<BBLK *> blocks;  // by serial number; owned
    int bb_count = 0;
    NODE *prolog_copy = nullptr; // the argument prolog as the last rebuildcfg saw it; owned
    Dominator *dominator = nullptr; // owned; stale ones are rebuilt on demand
    bool dominator_is_stale = true;
    SYMTAB *symbols = nullptr;   // the function's symbols of all levels but 0, newest first
    SYMTAB *parms = nullptr, *temps = nullptr, *statics = nullptr; // writer's categories
    PSN *psn = nullptr, *psn_args = nullptr, *psn_locals = nullptr, *psn_end = nullptr;
    EHT_ENTRY *eht = nullptr;    // eht_size entries, entry 0 unused; owned
    unsigned eht_size = 0;
    bool write_func_info_76 = false; // set by begin function: a tag 64 record is due
    bool first_time = false;
    bool has_flag10_name = false;  // mk_name met a symbol with flag 0x10
    bool is_profiled = false;      // trees carry edge profile counts
    bool is_leaf = true;           // cleared by mk_call, mk_ucall
    bool has_bitfield_refs = false; // mk_field met a bit-field
    NODE *global_assertions = nullptr;
    void *overlaps = nullptr;

    // Scopes
    LS *open_scope = nullptr;
    LS *root_scope = nullptr;
    unsigned scopeCount = 0, scopeDepth = 0;
    unsigned saved_scopeCount = 0, saved_scopeDepth = 0; // taken while lex is below 2

    std::int32_t temp_counter = 0;
    std::int32_t label_counter = 0;
    std::vector<void *> call_sites; // by unique call index
};

struct FUNLIST {
    FUNINFO *first = nullptr;
    FUNLIST *rest = nullptr;
};

// --- names and records
bool name_has_prefix(const char *name); // first character '_' or '.'
const char *skip_name_prefix(const char *name);
bool is_internal_name(const char *name);
bool is_internal_symbol(const SYMTAB *sym);
bool is_optimizer_temp(const char *name, char a, char b);
FUNINFO *find_FUNINFO(const char *name);
FUNINFO *make_FUNINFO(const char *name);
FUNINFO *find_FUNINFO_for_call(const NODE *call);
void init_FUNINFO_flags(FUNINFO *funinfo, int n);
bool is_system_function(const char *name);
void map_over_FUNINFOs(void (*visit)(FUNINFO *)); // in order of creation

// --- symbols
void init_symbols();
void sym_def(SYMTAB *sym); // enters the symbol into global_symbols or the function's list
SYMTAB *get_sym_def_for_decl(SYMTAB *sym); // the definition that follows a declaration, else sym
SYMTAB *sym_temp(int letter, long number, TYPE *type, LS *ls);
SYMTAB *copy_symbol(const SYMTAB *sym, int level);
void unlink_symbol(SYMTAB *sym, SYMTAB **list);
void opt_process_pragma(SYMTAB *sym, PRAGMA *pragma);
PRAGMA *symbol_has_pragma(const SYMTAB *sym, int kind);
PRAGMA *remove_pragma(int kind, PRAGMA *list);
bool pragma_says_preemptible(const SYMTAB *sym);
bool pragma_says_outside_accessible(const SYMTAB *sym);
bool symbol_is_preemptible(const SYMTAB *sym);
bool symbol_is_outside_accessible(const SYMTAB *sym);
bool symbol_is_protected(const SYMTAB *sym);
bool symbol_will_be_indirected(const SYMTAB *sym);
SYMTAB *intern_symbol(SYMTAB *sym, FUNINFO *funinfo);
SYMTAB *find_interned_symbol(SYMTAB *sym, FUNINFO *funinfo);
void interned_stats();

// --- globals of the translation unit; see program.h for the driver's
extern SYMTAB *currfunc;       // function being worked on, or null
extern FUNINFO *currfuninfo;   // its record
extern SYMTAB *global_symbols; // newest first while reading
extern int lex;                // lexical level while reading, 0 at file level
