// Basic blocks, edges, labels, dominators, and the routines that build and tidy the flow graph.
#pragma once

#include "OPT5/rep/bbutils.h"
#include "OPT5/rep/symbol.h"

#include <cstdint>
#include <string>
#include <vector>

class LOOP;
class BBLK;

// One cell of a successor or predecessor list; the same edge has a cell in each. Pool-owned.
struct EDGE {
    BBLK *bb = nullptr;
    double freq = -1.0; // negative: unknown
    EDGE *next = nullptr;
};

// A label. Its identity is the record, not the number. Pool-owned.
struct LBL {
    LBL *next = nullptr; // in the block's chain
    BBLK *bb = nullptr;
    std::int32_t index = 0;
    std::int32_t refcount = 0;
};

class BBLK {
public:
    unsigned serial = 0;        // index in owner->blocks
    FUNINFO *owner = nullptr;
    void *lir_head = nullptr;   // low-level form; null while the block holds trees
    BBLK *dflink = nullptr;     // next in depth-first order
    BBLK *rdflink = nullptr;    // previous
    BBLK *uolink = nullptr;     // next in order of creation
    BBLK *ruolink = nullptr;    // previous
    LIST *statements = nullptr;
    EDGE *predecessors = nullptr;
    EDGE *successors = nullptr;
    EDGE *descendants = nullptr; // dominator tree
    LBL *label = nullptr;        // chain
    LOOP *loop = nullptr;
    PSN *psn_first = nullptr, *psn_last = nullptr;
    double dFreqIn = -1.0, dFreqOut = -1.0;
    void *trace = nullptr;
    void *pass_word = nullptr;
    std::int32_t uon = 0;        // -1 until renumbered
    std::int32_t dfn = 0;        // from 1; 0: unreached
    std::int32_t rdfn = 0;       // order in the reversed graph, for post-dominators; 0: no way out
    std::uint64_t edge_stamp = 0; // mark of the routines that walk edge lists
    bool visited = false, reached = false, is_exit = false, never_executed = false;
};

// --- construction
// Forms the blocks of the current function from funinfo->pending, which it takes. A label that is
// undefined, defined twice, out of range or out of place ends the run.
void buildcfg();
// Edges, order and numbers of the current function anew: successors are the targets of the last
// statement (of a block in low-level form they stay), known frequencies are kept. Drops unreachable
// blocks, but not the exit block, and closes up the serial numbers of the others.
void rebuildcfg();
// A new block that owns the statements, linked in front of `next` in all orders (null: nowhere).
// One before the entry block does not become the entry by itself.
BBLK *mkbblock(LIST *statements, BBLK *next, FUNINFO *funinfo);
// A new block with a label of its own, linked behind `after` in all orders. It has no edges yet.
BBLK *insert_new_bb(int uon, BBLK *after, LIST *statements);
// Numbers blocks and labels anew along dflink and mends rdflink.
void renumber_bblocks();
// Takes the block out of all orders; its links are null afterwards. Edges are the caller's.
void delink_old_bb(BBLK *bb);
// Takes the block out of all orders and erases it with its statements and lists; edges of other
// blocks that lead here are the caller's. Its labels belong to no block any more. Returns null.
BBLK *erase_bblock(BBLK *bb);
void erase_function_body(FUNINFO *funinfo); // all blocks, edges, labels, trees
void erase_all_bblocks(); // empties the pools of blocks, edges and labels, whoever owned them
// The blocks where the exception handlers of a function begin, each once, in the order of its
// table. No edge leads to them: they are further roots of the graph beside the entry block.
std::vector<BBLK *> handler_blocks(const FUNINFO *funinfo);
// The target that splitting an edge or renumbering the blocks invalidates; may be null.
extern void (*clear_points_to_hook)();
// Brings the profile annotation up to date with edges and blocks that rebuildcfg has just made anew;
// may be null.
extern void (*refresh_profile_hook)();
// How the low-level form takes part in splitting the edge from `from` to `to` with `middle`: puts a
// branch to `to` into `middle`, retargets the last instruction of `from` and the phi inputs of `to`.
// Null while no function is ever in that form.
extern void (*split_lir_edge_hook)(BBLK *from, BBLK *middle, BBLK *to);

// --- labels
LBL *mklabel(int number, LBL *next, BBLK *bb); // number 0: the next negative one; else found or made
LBL *find_label(int index);
void reset_labels(); // a new current function
BBLK *label_block(NODE *label); // of a LABEL; ends the run for a label that is nowhere defined
void number_labels(); // counts the references of all labels and gives them their numbers anew

// --- edges
EDGE *mkedge(BBLK *bb, EDGE *next, double freq);
EDGE *add_edge(BBLK *bb, EDGE *list, double freq); // no duplicates
EDGE *remove_edge(BBLK *bb, EDGE *list);
EDGE *erase_edge(EDGE *edge);
EDGE *erase_edge_list(EDGE *list);
EDGE *rev_edge_list(EDGE *list);
EDGE *sort_edge_list(EDGE *list);      // ascending dfn
EDGE *fast_sort_edge_list(EDGE *list);
EDGE *copy_edge_list(const EDGE *list);
bool edge_memberp(const BBLK *bb, const EDGE *list);
int edge_length(const EDGE *list);
void fixup_edge_lists(BBLK *bb, NODE *tree);
EDGE *list_branch_targets(NODE *tree, EDGE *list);
void point_label(NODE *label, BBLK *to); // makes a LABEL one of the block
void remap_labelrefs(NODE *tree, BBLK *from, BBLK *to);
void subst_bb_for_bb_in_stmts(BBLK *to, BBLK *from, LIST *stmts);
// Puts a new block on the edge, which must exist, and returns it.
BBLK *split_cfg_edge(BBLK *from, BBLK *to);
// Splits each edge that leads from a block with several successors to one with several
// predecessors; with `flag` the blocks are numbered anew when there was one.
void split_critical_edges(bool flag);

// --- tidying
// Constant conditions, empty blocks, branches to branches, straight lines; on demand equal tails and
// SWITCH statements; ends with rebuildcfg. While a loop hierarchy stands, whose records name blocks,
// or a block is in low-level form, it checks that no QUEST is left and changes nothing.
void simpcfg(bool cross_jump, bool clean_switches);
void do_early_cross_jumping();
void optimize_SWITCH_cases();
void simpcfg_dump_counts();

// --- statements
bool tree_is_arg_prolog(const NODE *stmt); // PCOMMA, or the ASG of a single parameter
bool op_ends_block(int op);
void find_positions(BBLK *bb); // psn_first and psn_last anew from the statements
LIST *last_cell(LIST *list);
NODE *last_statement(const BBLK *bb); // null for an empty list

// Dominators and post-dominators; iterative algorithm of K. Cooper, T. Harvey and K. Kennedy,
// "A Simple, Fast Dominance Algorithm", 2001.
class Dominator {
public:
    explicit Dominator(FUNINFO *funinfo);
    void rebuild();
    // Null for the entry block, for a block that control cannot reach, and where only several roots
    // together dominate (the entry and exception handlers).
    BBLK *immediate_dominator(const BBLK *bb) const;
    // Null for a block that ends the function, for one without a way out, and where several ends
    // follow.
    BBLK *immediate_post_dominator(const BBLK *bb) const;
    bool dominates(const BBLK *a, const BBLK *b) const; // reflexive
    bool post_dominates(const BBLK *a, const BBLK *b) const;
    // The nearest block that dominates, or post-dominates, both; null when there is none.
    BBLK *intersect(const BBLK *a, const BBLK *b) const;
    BBLK *post_intersect(const BBLK *a, const BBLK *b) const;
    const std::vector<BBLK *> &dominator_children(const BBLK *bb) const;
    const std::vector<BBLK *> &post_dominator_children(const BBLK *bb) const;
    const std::vector<BBLK *> &depth_first_doms() const { return dom.walk; }
    const std::vector<BBLK *> &depth_first_postdoms() const { return postdom.walk; }
    BBLK *DFSblock(int dfn) const;
    void print_IDOM() const;
    void print_POSTDOM() const;

private:
    using EDGE_LIST = EDGE *BBLK::*; // the successors or the predecessors
    // One of the two trees. A node is the number of its block in reverse postorder from the roots,
    // from 1, so that a parent's number is below those of its children; node 0 stands above all
    // roots.
    struct TREE {
        std::vector<BBLK *> blocks;                // by node
        std::vector<int> node;                     // by block serial; 0: not reached
        std::vector<bool> is_root;                 // by block serial
        std::vector<int> preorder, preorder_parent; // nodes as the walk met them, and from where
        std::vector<int> parent;                   // by node
        std::vector<int> depth, jump;              // by node: its level, and an ancestor far above
        std::vector<int> first, last;              // by node: its interval in preorder
        std::vector<std::vector<BBLK *>> children; // by block serial
        std::vector<BBLK *> walk;                  // blocks in preorder

        int node_of(const BBLK *bb) const; // 0 for a block that the tree does not hold
        bool holds(int node, int below) const; // whether `below` stands under `node`, or is it
        bool is_stray(const BBLK *bb) const;
        void traverse(const std::vector<BBLK *> &roots, EDGE_LIST onward, std::size_t block_count);
        void grow(EDGE_LIST sources);
        bool improve(EDGE_LIST sources);
        int join(int node, EDGE_LIST sources) const;
        void hang_by_semidominators(EDGE_LIST sources);
        int climb(int node, int limit) const;
        int meet(int a, int b) const;
        void hang(int node, int above);
        void collect_walk();
        void print(const char *title) const;
    };

    void builder();
    void descend(const std::vector<BBLK *> &roots);
    void ascend(const std::vector<BBLK *> &roots);
    void df_traverse();
    void rdf_traverse();
    void generate_tree_walk();
    void warn_of_strays() const;

    FUNINFO *funinfo;
    TREE dom, postdom;
    std::vector<BBLK *> by_dfn;
};
// Brings the Dominator of the current function up to date, making it on first use. Without `force`
// one that no edit has touched since is kept.
void compute_dominators(bool force);
bool bb_dominates_bb(const BBLK *a, const BBLK *b);
bool bb_post_dominates_bb(const BBLK *a, const BBLK *b);
BBLK *find_dominator_bb(BBLK *a, BBLK *b);

// Checks the graph of the current function, mends what can be mended, reports to the debug log.
// Returns the number of uncorrected errors.
int validate_cfg();

// --- dumps, to the debug log
std::string bb_name(const BBLK *bb);
void dump_bblock(const BBLK *bb);
// The blocks of the current function from number `first` to number `last`, 0 standing for no bound;
// on demand with each statement's tree.
void prbbinfix(int first, int last, int with_trees);
