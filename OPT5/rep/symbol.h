// SYMTAB, pragmas, LS (lexical scopes) and FUNINFO (per-function records).
#pragma once

#include "OPT5/rep/node.h"
#include "OPT5/rep/types.h"

#include <list>
#include <memory>
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
    SA_no_escape = 32, // its address, where taken at all, is only followed: no pointer holds it
    SA_unwritten = 64, // a variable of the file that keeps what it is initialised with
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
    std::uint32_t fun_serial = 0; // in a body being read, its number there: the same in each reading
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

// Lists of symbols. Cells come from the symbol pool; the lists do not own the symbols.
struct SYMLIST {
    SYMTAB *sym = nullptr;
    SYMLIST *next = nullptr;
};
struct SYMALIST {
    SYMTAB *sym = nullptr;
    NODE *tree = nullptr;
    int value = 0;
    SYMALIST *next = nullptr;
};
struct SYMPAIRLIST {
    SYMTAB *first = nullptr, *second = nullptr;
    int value = 0;
    SYMPAIRLIST *next = nullptr;
};
SYMLIST *mk_symlist(SYMTAB *sym, SYMLIST *next);
SYMALIST *mk_symalist(SYMTAB *sym, NODE *tree, int value, SYMALIST *next);
SYMPAIRLIST *mk_symplist(SYMTAB *first, SYMTAB *second, int value, SYMPAIRLIST *next);
SYMLIST *erase_symlist(SYMLIST *list); // these three free all cells and return null
SYMALIST *erase_symalist(SYMALIST *list);
SYMPAIRLIST *erase_symplist(SYMPAIRLIST *list);
SYMLIST *remove_sym_from_symlist(const SYMTAB *sym, SYMLIST *list); // the list without its first cell of sym
SYMLIST *find_sym_in_symlist(const SYMTAB *sym, SYMLIST *list);     // its cell, or null
SYMPAIRLIST *find_sym_in_sympairlist(const SYMTAB *first, SYMPAIRLIST *list);
SYMTAB *revsymtab(SYMTAB *list); // these three reverse in place, by the next link
SYMLIST *revsymlist(SYMLIST *list);
SYMALIST *revsymalist(SYMALIST *list);

// The lexical scope tree of one function. Scopes come from the symbol pool.
struct LS {
    LS *parent = nullptr, *child = nullptr, *sibling = nullptr;
    // Declared here, by the kind of the type: newest first while the scope is open, in source order
    // once it is closed. The root lists the global variables that the function refers to.
    SYMLIST *pointers = nullptr, *classes = nullptr, *arrays = nullptr, *others = nullptr;
    PSN *psnEntry = nullptr, *psnExit = nullptr;
    FUNINFO *funinfo = nullptr;
    unsigned scope_id = 0, depth = 0;
    std::uint32_t callsite = 0; // inline site; 0: the function's own
    bool flag = false;
    LS *copied_to = nullptr; // the latest copy that copy_scope_tree made of this scope

    // All of these work on the tree of currfuninfo. The first scope of a function becomes the root;
    // the function's root_scope must be null then. A mismatch of scope, function or call site ends
    // the run.
    static void open(PSN *psn, SYMTAB *func, unsigned callsite);
    static void close(PSN *psn, SYMTAB *func, unsigned callsite);
    // To sym->scope, or when that is null to the open scope, which sym->scope becomes; without
    // either the symbol stays outside all scopes. Constant time.
    static void add_symbol(SYMTAB *sym);
    static void remove_symbol(SYMTAB *sym); // from the lists of sym->scope, which becomes null
    // A fresh tree belongs to the open scope, or when all are closed to the outermost block; the
    // global variables that it names are listed in the root.
    static void initialize_scopes_and_ptrs_from_tree(NODE *tree);
    static void assign_scope_to_tree(LS *ls, NODE *tree);
    bool encloses(const LS *other) const; // a scope encloses itself; false for null
    bool is_strictly_contained_by(const LS *other) const;
    static LS *innermost_common_scope(LS *a, LS *b); // null stands for unknown: answers the other
    // False only when no part of this scope lies in the life of the object.
    bool object_may_be_live_in_scope(const SYMTAB *sym) const;
    // Copies the scopes of an integrable body, given by its root, below this scope of the current
    // function. The copies have numbers of their own and the given call site; copied_to of each
    // original leads to its copy (the root's to its husk, whose globals the current root has taken
    // over). The copies hold no local symbols.
    void integrate_integrable_scopes(LS *integrable, unsigned callsite);
    void offset_scope(unsigned ids, unsigned depths); // adds to the numbers and depths of the whole tree
    // This root gives its children to `into`, before its other children, and its globals to the
    // current function's root.
    void splice_scope(LS *into);
    // Copies the tree; parent takes the copy as its first child, null makes it a root. Numbers,
    // depths, positions and the globals of a root are kept, local symbols are not.
    static LS *copy_scope_tree(LS *root, LS *parent);
    LS *next_in_preorder(const LS *top) const; // walks the tree of top; null at the end
    // Finds anew which pointers of the current function, whose root is given (null: it has no
    // scopes), may be based on one another; see ptr_groups.h.
    static void build_PTR_equivalence_groups(const LS *root);
    SYMLIST *&list_for(const TYPE *type);      // the one of the four lists that such a symbol goes to
    LS *level_0_scope(); // these three only on the current root
    LS *level_1_scope();
    LS *level_2_scope(); // null without a level 1 child
    // Checks tree, positions and symbols of currfuninfo, whose root is given (null: nothing to
    // check); reports to the debug log and goes on. Returns the number of complaints.
    static int validate(LS *root);
    static void print(const LS *root); // to the debug log
};

// True when p lies between first and last, by line and then column, inclusive at both ends; false
// with a null argument.
bool psn_is_within_psn_range(const PSN *p, const PSN *first, const PSN *last);

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
class SNMAP;      // OPT5/scalar/snmap.h, as the next
class SPMAP;
class PTR_GROUPS; // OPT5/rep/ptr_groups.h

// A member whose type only the code that fills it knows: that brings the deleter along.
template <class T> using OWNED = std::unique_ptr<T, void (*)(T *)>;

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
    std::vector<BBLK *> blocks;  // by serial number, null for an erased one; owned
    std::vector<LBL *> labels;   // all that were made for the body, of erased blocks too; owned
    int bb_count = 0;
    NODE *prolog_copy = nullptr; // the argument prolog as a rebuildcfg saw it last; owned
    Dominator *dominator = nullptr; // owned; stale ones are rebuilt on demand
    bool dominator_is_stale = true;
    SYMTAB *symbols = nullptr;   // the function's symbols of all levels but 0, newest first
    SYMTAB *parms = nullptr, *temps = nullptr, *statics = nullptr; // writer's categories
    PSN *psn = nullptr, *psn_args = nullptr, *psn_locals = nullptr, *psn_end = nullptr;
    EHT_ENTRY *eht = nullptr;    // eht_size entries, entry 0 unused; owned
    unsigned eht_size = 0;
    bool has_flag10_name = false;  // mk_name met a symbol with flag 0x10
    bool is_profiled = false;      // trees carry edge profile counts
    bool is_leaf = true;           // cleared by mk_call, mk_ucall
    bool has_bitfield_refs = false; // mk_field met a bit-field
    NODE *global_assertions = nullptr;
    void *overlaps = nullptr;

    // What copy propagation knows of the symbols. Null until it asks, dropped when the body has been
    // written and when the function's first scope opens. Their trees belong to the node pool: a map
    // that goes with the record leaves them there.
    OWNED<SNMAP> snmap{nullptr, nullptr};
    OWNED<SPMAP> spmap{nullptr, nullptr};

    // Scopes
    LS *open_scope = nullptr;
    LS *root_scope = nullptr;
    unsigned scopeCount = 0, scopeDepth = 0;
    unsigned saved_scopeCount = 0, saved_scopeDepth = 0; // taken while lex is below 2
    OWNED<PTR_GROUPS> ptr_groups{nullptr, nullptr}; // fresh when the first scope opens

    std::int32_t temp_counter = 0;
    std::int32_t label_counter = 0;
    std::vector<void *> call_sites; // by unique call index
};

struct FUNLIST {
    FUNINFO *first = nullptr;
    FUNLIST *rest = nullptr;
};
FUNLIST *mkFUNLIST(FUNINFO *first, FUNLIST *rest);

// --- names and records
bool name_has_prefix(const char *name); // first character '_' or '.'
const char *skip_name_prefix(const char *name);
bool is_internal_name(const char *name);
bool is_internal_symbol(const SYMTAB *sym);
bool is_optimizer_temp(const char *name, char a, char b);
unsigned FUNINFO_hash(const char *name); // below 2^28; its bucket is (hash & 0x7fff) % 73
// The record of a name without prefix. A system function gets its record on demand; for any other
// name without a record find_ answers null, and make_ creates it.
FUNINFO *find_FUNINFO(const char *name);
FUNINFO *make_FUNINFO(const char *name);
// The record of the function that a direct call, or an operator that is really a call, reaches;
// null for an indirect call and for all other operators.
FUNINFO *find_FUNINFO_for_call(const NODE *call);
// Adds what is known of a function by its name; n is 1 for a system record, else 0. Known library
// functions get what they are documented not to do, unless the record is of a C++ function: then
// what was added for the library's name is taken back.
void init_FUNINFO_flags(FUNINFO *funinfo, int n);
// The file defines a function of this name itself: the library's promises do not hold for it.
void drop_library_flags(FUNINFO *funinfo);
bool is_system_function(const char *name);
void map_over_FUNINFOs(void (*visit)(FUNINFO *)); // in order of creation
std::string FUN_flag_names(std::uint32_t flags);  // by bit, separated by blanks
// Writes a record, and the names of `callees`, to the information file.
void dump_FUNINFO(const FUNINFO *funinfo, const FUNLIST *callees);
void dump_function_header(); // of the current function, to the debug log

// --- symbols
void init_symbols(); // the state of a fresh run
// Empties the symbol pool: forgets all symbols, pragmas, scopes and function records, and all that
// refers to them here and in program.h. Blocks and trees of the functions must be gone, or go with
// their own pools.
void erase_all_symbols();
void sym_def(SYMTAB *sym); // enters the symbol into global_symbols or the function's list
// The one symbol that stands for the object or function of a declaration: the file-level definition
// of that name, or without one its first declaration. A definition and a local stand for themselves.
SYMTAB *get_sym_def_for_decl(SYMTAB *sym);
// The C++ class by which an object is reached, through pointers, references and arrays; null when
// its type says nothing about C++.
TYPE *guess_cpp_type(const SYMTAB *sym);
// A new local temporary of the current function, named "$O$<letter><number>"; a negative number
// takes the function's next. It is listed in ls, null standing for the outermost block.
SYMTAB *sym_temp(int letter, long number, TYPE *type, LS *ls);
// A copy from the pool with a new serial and pragma cells of its own, in no list and no scope, with
// neither number nor initialiser.
SYMTAB *copy_symbol(const SYMTAB *sym, int level);
void unlink_symbol(SYMTAB *sym, SYMTAB **list); // by the next link; a symbol not there is ignored
void dump_symbol(const SYMTAB *sym);            // one line's worth of it, to the debug log
// The pragma is the symbol's already; with a null symbol it is taken.
void opt_process_pragma(SYMTAB *sym, PRAGMA *pragma);
PRAGMA *symbol_has_pragma(const SYMTAB *sym, int kind);
PRAGMA *remove_pragma(int kind, PRAGMA *list);
bool pragma_says_preemptible(const SYMTAB *sym);
bool pragma_says_outside_accessible(const SYMTAB *sym);
bool symbol_is_preemptible(const SYMTAB *sym);
bool symbol_is_outside_accessible(const SYMTAB *sym);
bool symbol_is_protected(const SYMTAB *sym);
bool symbol_will_be_indirected(const SYMTAB *sym);
// The form of a function's symbol that outlives the function's body, which two readings of the same
// body share. A symbol of level 0 is its own.
SYMTAB *intern_symbol(SYMTAB *sym, FUNINFO *funinfo);
SYMTAB *find_interned_symbol(SYMTAB *sym, FUNINFO *funinfo); // null: not interned
void map_over_interned_symbols(void (*visit)(SYMTAB *sym, FUNINFO *funinfo)); // in order of interning
void interned_stats(); // to the debug log

// --- globals of the translation unit; see program.h for the driver's
extern SYMTAB *currfunc;       // function being worked on, or null
extern FUNINFO *currfuninfo;   // its record
extern SYMTAB *global_symbols; // newest first while reading
extern int lex;                // lexical level while reading, 0 at file level
extern std::uint32_t symbol_serial; // symbols created since the last begin of a function, which zeroes it
