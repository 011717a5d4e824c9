// Questions about trees.
#include "OPT5/builtins/bif.h"
#include "OPT5/driver/log.h"
#include "OPT5/rep/bbutils.h"
#include "OPT5/rep/symbol.h"

#include <cstring>
#include <unordered_set>

namespace {
// The part of a node that walkers go to beside its left operand; CSE marks lead to the shared value
// only.
bool is_CSE_mark(const NODE *node) {
    return node->op == OP::CSE_DUPE || node->op == OP::CSE_ORIG;
}

// True if the predicate holds for some node of the tree. Recursion goes down the right operand.
template <class Predicate> bool any_node(const NODE *tree, Predicate holds) {
    while (tree) {
        if (is_CSE_mark(tree)) {
            tree = tree->right;
            continue;
        }
        if (holds(tree) || any_node(tree->right, holds)) return true;
        tree = tree->left;
    }
    return false;
}

template <class Predicate> int count_nodes(const NODE *tree, Predicate counts) {
    int count = 0;
    any_node(tree, [&](const NODE *node) {
        count += counts(node);
        return false;
    });
    return count;
}

bool is_def_assert(const NODE *node) {
    return node->op == OP::ICALL && std::strcmp(node->icall_name(), "def$assert") == 0;
}

bool computes_in_floats(const NODE *node) {
    const TYPE *type = node->type;
    return type->is_floating() || (type->is_vector() && type->elem_type()->is_floating());
}

// Operators whose result is constant when their operands are. Division is not among them: it may
// trap.
bool is_plain_operator(int op) {
    switch (op) {
    case OP::PLUS:
    case OP::MINUS:
    case OP::UMINUS:
    case OP::MULT:
    case OP::ANDB:
    case OP::ORB:
    case OP::XORB:
    case OP::NOTB:
    case OP::SLL:
    case OP::SRL:
    case OP::QUEST:
    case OP::COLON:
    case OP::ANDAND:
    case OP::OROR:
    case OP::EXCLAIM:
    case OP::ABS:
    case OP::SCONV:
    case OP::PCONV:
    case OP::ACONV:
    case OP::PMCONV:
    case OP::PVCONV:
    case OP::ISP2CHAR:
    case OP::IDENTITY:
    case OP::OUIALIGN:
    case OP::NONALIGN: return true;
    default: return boolean_inv[op] != OP::ILLOP;
    }
}

bool is_constant_leaf(const NODE *node) {
    switch (node->op) {
    case OP::ICON:
    case OP::LCON:
    case OP::FCON:
    case OP::SCON: return true;
    default: return false;
    }
}

// An object or function whose address is the same in every function and every call.
bool has_fixed_address(const SYMTAB *sym) {
    return sym->level == 0 || sym->sc == 3;
}

bool is_fixed_object(const NODE *lvalue) {
    while (lvalue->op == OP::STDOT)
        lvalue = lvalue->left;
    return lvalue->op == OP::NAME && has_fixed_address(lvalue->u.name.sym);
}
} // namespace

// --- effects

bool node_is_volatile_access(const NODE *node) {
    switch (node->op) {
    case OP::NAME: return node->type->is_volatile() || node->u.name.sym->type->is_volatile();
    case OP::FIELD: return node->type->is_volatile() || node->u.field.mdata->type->is_volatile();
    case OP::STDOT:
    case OP::STREF:
        return node->type->is_volatile() ||
               (node->right->op == OP::FIELD && node_is_volatile_access(node->right));
    case OP::UMULT: return node->type->is_volatile();
    default: return false;
    }
}

bool node_has_own_effect(const NODE *node) {
    switch (side_effects[node->op]) {
    case SE_NONE: return node_is_volatile_access(node);
    case SE_STORE:
    case SE_CONTROL: return true;
    default: break;
    }
    switch (node->op) {
    case OP::NOP:
    case OP::COMMAOP:
    case OP::PCOMMA:
    case OP::DDNODE:
    case OP::EPVAL: return false;
    case OP::MCALL:
    case OP::UMCALL: return !is_pure_BIF_call(node);
    default: return true;
    }
}

bool tree_has_side_effects(const NODE *tree) {
    while (tree) {
        if (is_CSE_mark(tree)) {
            tree = tree->right;
            continue;
        }
        if (node_has_own_effect(tree)) return true;
        if (is_def_assert(tree)) {
            tree = arg_list_lookup(tree->left, 0);
            continue;
        }
        if (tree_has_side_effects(tree->right)) return true;
        tree = tree->left;
    }
    return false;
}

// --- operators

bool tree_is_trivially_invertible(const NODE *tree) {
    if (boolean_inv[tree->op] == OP::ILLOP) return false;
    if (tree->op == OP::EQ || tree->op == OP::NEQ) return true;
    return !computes_in_floats(tree->left) && !computes_in_floats(tree->right);
}

bool opcode_is_ASG(int op) {
    return op == OP::ASG || op == OP::STASG || op == OP::ARASG || op_of_opASG[op] != OP::ILLOP;
}

// --- calls

int arg_list_count(const NODE *args) {
    if (!args) return 0;
    int count = 1;
    for (; args->op == OP::COMMA; args = args->left)
        ++count;
    return count;
}

NODE *arg_list_lookup(NODE *args, int n) {
    int last = arg_list_count(args) - 1;
    if (n < 0 || n > last) return nullptr;
    for (; last > n; --last)
        args = args->left;
    return n > 0 ? args->right : args;
}

SYMTAB *get_callee_for_call(const NODE *call) {
    if (call->op != OP::CALL && call->op != OP::UCALL) return nullptr;
    const NODE *callee = call->left;
    if (callee->op != OP::UAND || callee->left->op != OP::NAME) return nullptr;
    return callee->left->u.name.sym;
}

NODE *get_arguments_to_call(const NODE *call) {
    switch (call->op) {
    case OP::CALL: return call->right;
    case OP::ICALL:
    case OP::MCALL:
    case OP::MEMCPY: return call->left;
    default: return nullptr;
    }
}

// --- contents

bool expr_is_constant(const NODE *tree) {
    for (; tree; tree = tree->left) {
        if (is_constant_leaf(tree)) return true;
        if (tree->op == OP::UAND) return is_fixed_object(tree->left);
        if (!is_plain_operator(tree->op)) return false;
        if (tree->right && !expr_is_constant(tree->right)) return false;
    }
    return false;
}

bool expr_is_globally_evaluable(const NODE *tree) {
    return !any_node(tree, [](const NODE *node) {
        if (node->op == OP::NAME) return node->u.name.sym->level != 0;
        return node->op == OP::LABEL || node->op == OP::MIXVALUE || node->op == OP::EXPRSTUB ||
               (node->op >= OP::SSA_PHI && node->op <= OP::SSA_CHI);
    }) && !tree_has_side_effects(tree);
}

bool sym_appears_in_tree(const SYMTAB *sym, const NODE *tree) {
    return any_node(
        tree, [sym](const NODE *node) { return node->op == OP::NAME && node->u.name.sym == sym; });
}

bool tree_references_NAME(const NODE *tree, const NODE *name) {
    return sym_appears_in_tree(name->u.name.sym, tree);
}

bool tree_is_subtree_of_tree(const NODE *sub, const NODE *tree) {
    return any_node(tree, [sub](const NODE *node) { return node == sub; });
}

int count_nodes_in_tree(const NODE *tree) {
    return count_nodes(tree, [](const NODE *) { return true; });
}

int count_calls_in_tree(const NODE *tree) {
    return count_nodes(
        tree, [](const NODE *node) { return node->op == OP::CALL || node->op == OP::UCALL; });
}

// --- sharing

// Calls report for each node that is met twice, and does not go below it again. What a CSE_DUPE
// stands for belongs to its CSE_ORIG.
template <class Report>
static void find_shared_nodes(const NODE *tree, std::unordered_set<const NODE *> &seen,
                              Report report) {
    for (; tree; tree = tree->left) {
        if (!seen.insert(tree).second) {
            report(tree);
            return;
        }
        if (tree->op == OP::CSE_DUPE) return;
        find_shared_nodes(tree->right, seen, report);
    }
}

bool scan_for_sharing(NODE *tree) {
    std::unordered_set<const NODE *> seen;
    bool clean = true;
    find_shared_nodes(tree, seen, [&clean](const NODE *node) {
        clean = false;
        dprintf("Warning:  node %p (%s) is shared\n", static_cast<const void *>(node),
                opname(node->op));
    });
    return clean;
}

bool dupchk(NODE *tree) {
    std::unordered_set<const NODE *> seen;
    bool found = false;
    find_shared_nodes(tree, seen, [&found](const NODE *) { found = true; });
    constexpr std::size_t longest_text = 2000; // a shared tree may unfold without measure
    if (found && print_debug)
        dprintf("\n\n!*!*!*!*!*!  Duplicate found in tree: %s\n",
                infix_text(tree, longest_text).c_str());
    return found;
}
