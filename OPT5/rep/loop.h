// LOOP: the tree of natural loops that is laid over the flow graph of the current function, rooted
// in a pseudo-loop that stands for the whole function. Building it normalizes the graph: each loop
// has one head, one tail with the only back edge, a preheader, and exit blocks that lie outside.
// Regions that are entered at several places are no loops; their blocks belong to the loop around
// them.
#pragma once

#include "OPT5/rep/bblk.h"

#include <set>

class LOOP;

struct SERIAL_ORDER {
    bool operator()(const SYMTAB *a, const SYMTAB *b) const { return a->serial < b->serial; }
};
using SYMSET = std::set<SYMTAB *, SERIAL_ORDER>;

enum LOOPIV_FLAGS : std::uint32_t {
    LIV_affine = 0x400,    // proved
    LIV_candidate = 0x800, // set on allocation
    LIV_linear = 0x1000,   // the increment is a region constant
    LIV_fixed = 0x10000,   // by a pragma; the trip tree must stay
};

// An induction variable of a loop. Owns its trees.
struct LOOPIV {
    LOOPIV *next = nullptr;
    LOOP *loop = nullptr;
    SYMTAB *sym = nullptr;
    NODE *init = nullptr, *last = nullptr, *incr = nullptr, *norm = nullptr;
    std::uint32_t flags = LIV_candidate;
};

// A variable that lives only within one iteration.
struct LOOPLV {
    LOOPLV *next = nullptr;
    LOOP *loop = nullptr;
    SYMTAB *sym = nullptr;
    std::int32_t definitions = 0, uses = 0;
};

enum LOOP_FLAGS : std::uint32_t {
    LF_first_of_pair = 0x10, // of two loops made for one construct of the source
    LF_second_of_pair = 0x20,
    LF_early_exit = 0x100, // an exit leaves from a block other than the tail
};

class LOOP {
public:
    LOOP *parent = nullptr, *sibling = nullptr, *first_child = nullptr; // parent: null at the root
    EDGE *contents =
        nullptr;           // all blocks, those of subloops too; the head first once sorted; owned
    EDGE *exits = nullptr; // blocks outside to which control leaves, in dfn order; owned
    BBLK *preheader = nullptr, *head = nullptr, *tail = nullptr;
    SYMSET region_constants;    // variables that keep their values while the loop runs
    SYMSET region_variables;    // those that it may change
    NODE *trips = nullptr;      // exact count, null while unknown; owned
    NODE *tripFactor = nullptr; // an ICON that divides it; owned
    LIST *pragmas = nullptr;    // PPRAGMA statements taken out of the preheader; owned
    LOOPIV *LCV = nullptr;      // of the list below
    LOOPIV *ivs = nullptr;      // owned
    LOOPLV *lvs = nullptr;      // owned
    PSN *psn_first = nullptr, *psn_last = nullptr;
    int id = 0;             // 0: the root
    std::int16_t level = 0; // 0: the root
    std::uint32_t flags = 0;
    std::uint16_t pass_word = 1;
    std::int32_t unroll_word = -1;

    bool is_root() const { return !parent; }
};

// --- building. Both forms leave a function alone whose graph they cannot handle: control leads
// back to the entry, or a block other than it, such as an exception handler, has no predecessors.
// The exit block may lie there unreached; it belongs to no loop then. Without analyses; nothing but
// dominators in a function without back edges.
void build_minimal_loop_hierarchy();
// Normalizes the graph. With `need_loop` a function without back edges is a failure too. False: no
// hierarchy can be built.
bool normalize_loop_graph(bool need_loop);
// On a normalized graph with dominators. False: the function is left without a hierarchy, as the
// lists of a nest so deep would not fit into memory. A nest of more than 32,767 levels ends the
// run.
bool construct_loops();
LOOP *loop_root(); // of the current function; null without a hierarchy
void erase_loop_hierarchy();
LOOP *erase_loop_and_subloops(LOOP *loop); // null
// Copies `original`, if there is one, with edge lists and sets of its own; head, tail and id
// override when given (not null, not negative). Links to other loops are null.
LOOP *make_LOOP(BBLK *head, BBLK *tail, int id, const LOOP *original);

void add_exit_blocks(LOOP *loop); // of subloops first
void assign_loop_levels(LOOP *loop, int level);
void ensure_proper_preheader_for_loop(LOOP *loop);
void sort_loop_contents_into_DFO(LOOP *loop);
// Takes the pragmas of each loop out of its preheader; reinsert_loop_pragmas puts them back.
void lift_loop_pragmas(LOOP *loop);
void reinsert_loop_pragmas(LOOP *loop);

// --- questions
LOOP *innermost_common_loop(LOOP *a, LOOP *b);
bool loop_is_subloop_of_loop(const LOOP *inner, const LOOP *outer); // a loop is one of itself
bool loop_has_subloops(const LOOP *loop);
bool loop_is_innermost(const LOOP *loop);
EDGE *build_list_of_innermost_loop_headers(const LOOP *loop, EDGE *list); // put in front of `list`
// The nearest block that dominates all uses and definitions of the symbol within the loop; null
// when there are none.
BBLK *find_dominator_bb_for_sym(const SYMTAB *sym, const LOOP *loop);

// --- variables of loops
LOOPIV *alloc_LOOPIV(LOOP *loop, SYMTAB *sym); // not linked
LOOPLV *alloc_LOOPLV(LOOP *loop, SYMTAB *sym);
LOOPIV *copy_LOOPIV_list(const LOOPIV *list, LOOP *loop);
LOOPLV *copy_LOOPLV_list(const LOOPLV *list, LOOP *loop);
LOOPIV *erase_LOOPIV_list(LOOPIV *list); // null
LOOPLV *erase_LOOPLV_list(LOOPLV *list);
LOOPLV *remove_sym_from_LOOPLV_list(const SYMTAB *sym, LOOPLV *list); // gives the rest
LOOPIV *find_LOOPIV_for_IV(const SYMTAB *sym, const LOOP *loop);      // null: none
LOOPLV *find_LOOPLV_for_LV(const SYMTAB *sym, const LOOP *loop);
SYMTAB *find_LCV_for_loop(const LOOP *loop);
LOOP *find_loop_for_LCV(const SYMTAB *sym, LOOP *loop); // this loop or one around it; null: none
// Fills the region sets of the loop and of its subloops.
void find_region_constants(LOOP *loop);
void make_sym_RC_in_loop(SYMTAB *sym, LOOP *loop); // and in its subloops
bool sym_is_RC_in_loop(const SYMTAB *sym, const LOOP *loop);
// True when the tree has no effect and names only region constants; with `memory_ok` it may read
// memory that cannot change, too.
bool tree_is_RC_in_loop(const NODE *tree, const LOOP *loop, bool memory_ok);
// A sum of region constants and of multiples of induction variables by constants.
bool expr_is_affine_in_loop(const NODE *tree, const LOOP *loop);

// Checks a loop and its subloops, mends levels and missing links from blocks to loops, reports to
// the debug log and goes on. Gives the number of uncorrected errors. `level` is how much the caller
// wants checked and only printed today.
int validate_loop(LOOP *loop, int level);
void dump_loop_hierarchy(const LOOP *loop); // to the debug log
