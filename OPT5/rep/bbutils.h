// Constructors, copies, erasers, comparisons and the validator of trees and statement lists.
#pragma once

#include "OPT5/rep/node.h"
#include "OPT5/rep/types.h"

#include <string>

class BBLK;
struct SYMPAIRLIST;

// --- nodes. All constructors allocate from the node pool; the caller owns the result.
NODE *new_node(int op, TYPE *type); // as the file reader makes one; applies the rewrites of a fresh node
NODE *maketree(int op, NODE *left, NODE *right, TYPE *type, LS *ls);
NODE *mktree(int op, NODE *left, NODE *right, TYPE *type, SYMTAB *sym, INT65 val);
NODE *mk_ASG(NODE *lhs, NODE *rhs);
NODE *mk_COMMAOP(NODE *a, NODE *b);
NODE *mk_EXCLAIM(NODE *x);
NODE *mk_ICALL(const char *name, NODE *args, TYPE *type);
NODE *mk_MCALL(const char *name, NODE *args, TYPE *type);
NODE *mk_ICON(INT65 val, TYPE *type);
NODE *mk_MINUS(NODE *a, NODE *b);
NODE *mk_NAME(SYMTAB *sym, LS *ls);
NODE *mk_LABELDEF(LBL *lbl);
NODE *mk_LABELREF(INT65 index, unsigned profile);
NODE *mk_LABELREF_to_bb(BBLK *bb, LS *ls);
NODE *mk_IF(NODE *cond, INT65 t_index, unsigned t_profile, INT65 f_index, unsigned f_profile, LS *ls);
NODE *mk_BRANCH(BBLK *bb, LS *ls);

NODE_EXT *node_ext(NODE *node);              // makes it on first use; owned by the node
NODE_EXT *find_node_ext(const NODE *node);   // null when there is none

// How the owners of dependence data and of points-to environments free and clone them; null while
// no node has any.
extern void (*free_dd_hook)(void *dd);
extern void *(*copy_dd_hook)(const void *dd);
extern void (*free_ptenv_hook)(void *ptenv);

// --- lists
struct LLIST { LIST *first = nullptr; LLIST *rest = nullptr; };                                   // of lists
struct NODELIST { NODE *first = nullptr; NODELIST *rest = nullptr; };                             // outside blocks
struct NODEPAIRLIST { NODE *first = nullptr, *second = nullptr; NODEPAIRLIST *rest = nullptr; };  // the same
inline NODE *list_left_child(const LIST *cell) { return cell->first; }
inline NODE *nl_left_child(const NODELIST *cell) { return cell->first; }
inline NODE *pair_left_child(const NODEPAIRLIST *cell) { return cell->first; }
LIST *mklist(NODE *node, LIST *rest, unsigned a, unsigned b);
LIST *mkelist(NODE *node, LIST *rest, PSN *psn);
LIST *append_node_to_list(NODE *node, LIST *list);
PSN *mk_psn(const char *file, std::uint32_t line, std::uint32_t column); // from the position pool

// --- copies
NODE *copy_node(const NODE *node, bool keep_scope = false); // operands are those of the source
NODE *copy_tree(const NODE *tree, bool keep_scope = false); // texts and names are shared
// The copy that outlives the function of its source: it shares no text with it, and with a function
// record each symbol becomes the interned one.
NODE *copy_tree_0(const NODE *tree, FUNINFO *funinfo);
NODE *copy_node_if_changed(NODE *node, NODE *left, NODE *right); // the copy keeps the scope
NODE *copy_dd_node(const NODE *node, bool keep_scope = false);   // with a clone of its dependence data
NODE *copy_dd_tree(const NODE *tree, bool keep_scope = false);
LIST *copy_statements(const LIST *list, bool keep_scope = false);
LIST *copy_dd_statements(const LIST *list, bool keep_scope = false); // the trees by copy_dd_tree
LIST *copy_shared_statements(const LIST *list);                      // new cells for the same trees

// --- erasers: all return null, which the caller stores in the erased pointer
NODE *erase_node(NODE *tree);
NODE *erase_tree(NODE *tree);
LIST *erase_tree_list(LIST *list);
LIST *erase_tree_list_only(LIST *list);
// Erases the cells before `entry` and their trees: with n not 0 at most n of them. The rest of the
// list is left alone.
LIST *erase_tree_list_to_entry(LIST *list, LIST *entry, int n);
[[noreturn]] NODE *erase_dag(NODE *dag); // ends the run: shared trees are never erased as such
void erase_all_nodes(); // empties all pools of nodes, list cells and positions

// --- queries
bool trees_are_congruent(const NODE *a, const NODE *b, bool se_ok = false);
bool trees_are_congruent_se_ok(const NODE *a, const NODE *b);
bool bools_are_congruent(const NODE *a, const NODE *b, bool se_ok = false);
bool node_is_volatile_access(const NODE *node);
// True when dropping the node would lose something even if its operands were still evaluated.
bool node_has_own_effect(const NODE *node);
bool tree_has_side_effects(const NODE *tree);
bool tree_is_trivially_invertible(const NODE *tree);
// Both edit the tree in place and return it, unchanged where the other form might mean something
// else.
NODE *ASG_to_opASG(NODE *tree); // x = x op y to x op= y
NODE *opASG_to_ASG(NODE *tree); // the reverse
int arg_list_count(const NODE *args);
NODE *arg_list_lookup(NODE *args, int n); // n from 0; null when there are fewer
SYMTAB *get_callee_for_call(const NODE *call); // null: indirect
NODE *get_arguments_to_call(const NODE *call);
bool expr_is_constant(const NODE *tree); // constants and fixed addresses, joined by operators that cannot trap
bool expr_is_globally_evaluable(const NODE *tree); // the same in any function: no effects, file-level names only
bool sym_appears_in_tree(const SYMTAB *sym, const NODE *tree);
bool tree_references_NAME(const NODE *tree, const NODE *name);
NODE *subst_sym_for_sym_in_tree(SYMTAB *to, SYMTAB *from, NODE *tree);
NODE *subst_sym_pairs_in_tree(const SYMPAIRLIST *pairs, NODE *tree); // `second` for each `first`
// Puts copies of `to` where the tree reads the lvalue; where it is assigned to or its address is
// taken it stays.
NODE *subst_tree_for_lvalue_in_tree(NODE *to, NODE *lvalue, NODE *tree);
bool tree_is_subtree_of_tree(const NODE *sub, const NODE *tree); // the node itself, not one like it
int count_nodes_in_tree(const NODE *tree);
int count_calls_in_tree(const NODE *tree);
bool opcode_is_ASG(int op);
NODE *expunge_IDENTITY_ops_from_tree(NODE *tree);
// Takes a tree whose value nobody uses and gives what must still run of it, fit to be a statement;
// null when nothing must.
NODE *peel_for_effect(NODE *tree);
void insert_stmt_before_stmt_in_bb(NODE *stmt, LIST *before, BBLK *bb); // null: at the end
// Splits each COMMAOP statement into the statements that it consists of; parts without effect are
// erased.
LIST *promote_toplevel_COMMAOPs_in_list(LIST *list);
bool scan_for_sharing(NODE *tree); // true: no node is shared
bool dupchk(NODE *tree);           // true: some node is shared

void init_opcode_tables();
// Checks every statement of the current function; reports to the debug log and goes on.
// Returns the number of complaints.
int validate_stmts();

// Whether the tree may stand under UAND and as the target of an assignment; says so in the debug log
// when it may not.
bool require_lvalue_tree_node(const NODE *tree);

// --- dumps
void dump_tree_debug(const NODE *tree);        // indented tree to the debug log
const char *stmt2infix(const NODE *tree);      // one line; static buffer
// The same, cut off with "..." behind the first `limit` characters, in time in proportion to them.
std::string infix_text(const NODE *tree, std::size_t limit);
// Gives the number of the SSA variable that an SSA_* node holds; null while there is no SSA form.
extern unsigned (*ssa_variable_number_hook)(const void *variable);
