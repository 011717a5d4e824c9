// Substitutions in trees, and edits of statement lists.
#include "OPT5/driver/abort.h"
#include "OPT5/rep/bblk.h"
#include "OPT5/rep/bbutils.h"
#include "OPT5/rep/node_pool.h"
#include "OPT5/rep/type_pkg.h"

#include <utility>

namespace {
bool is_CSE_mark(const NODE *node) {
    return node->op == OP::CSE_DUPE || node->op == OP::CSE_ORIG;
}

// Calls edit for every node of the tree; what it does to operands is seen.
template <class Edit> void for_each_node(NODE *tree, Edit edit) {
    while (tree) {
        if (is_CSE_mark(tree)) {
            tree = tree->right;
            continue;
        }
        edit(tree);
        for_each_node(tree->right, edit);
        tree = tree->left;
    }
}

void rename(NODE *name, SYMTAB *sym) {
    name->u.name = {sym, sym->type};
}

// Whether the left operand of a node is read, which for the object behind a part or a wrapper
// depends on what happens to the node itself.
bool left_is_read(const NODE *node, bool is_read) {
    switch (node->op) {
    case OP::UAND:
    case OP::ARGREF:
    case OP::PLUSPLUS:
    case OP::MINMIN:
    case OP::SSA_USE: // these stand for a variable of their own, not for a value
    case OP::SSA_DEF:
    case OP::SSA_MU:
    case OP::SSA_CHI: return false;
    case OP::STDOT:
    case OP::STFIELD:
    case OP::VFIELD:
    case OP::REAL:
    case OP::IMAG:
    case OP::SIMDHI:
    case OP::SIMDLO:
    case OP::OUIALIGN:
    case OP::NONALIGN:
    case OP::IDENTITY:
    case OP::DDNODE: return is_read;
    default: return !opcode_is_ASG(node->op);
    }
}

NODE *subst_reads(NODE *to, const NODE *lvalue, NODE *tree, bool is_read) {
    if (!tree) return nullptr;
    if (is_read && trees_are_congruent(tree, lvalue)) {
        erase_tree(tree);
        return copy_tree(to, true);
    }
    if (is_CSE_mark(tree)) {
        tree->right = subst_reads(to, lvalue, tree->right, is_read);
        return tree;
    }
    tree->left = subst_reads(to, lvalue, tree->left, left_is_read(tree, is_read));
    tree->right = subst_reads(to, lvalue, tree->right, true);
    return tree;
}

NODE *skip_IDENTITY(NODE *node) {
    while (node && node->op == OP::IDENTITY) {
        NODE *operand = node->left;
        erase_node(node);
        node = operand;
    }
    return node;
}

// Takes the last effect off a tree that is a COMMAOP, which leaves the first; null for any other.
NODE *detach_second(NODE *&tree) {
    if (tree->op != OP::COMMAOP) return nullptr;
    NODE *first = tree->left, *second = tree->right;
    erase_node(tree);
    tree = first;
    return second;
}

// --- effects of a tree whose value nobody uses

// Both effects, one after the other; either may be null.
NODE *in_sequence(NODE *first, NODE *second, LS *scope) {
    if (!second) return first;
    NODE *both = mk_COMMAOP(first, second);
    if (first) both->scope = scope;
    return both;
}

// Takes the node away from above its operands.
NODE *effects_of_operands(NODE *node) {
    NODE *left = node->left, *right = node->right;
    LS *scope = node->scope;
    erase_node(node);
    left = peel_for_effect(left);
    return in_sequence(left, peel_for_effect(right), scope);
}

// What must run of the address of an object that is not read.
NODE *peel_lvalue(NODE *lvalue) {
    switch (lvalue->op) {
    case OP::NAME: return erase_tree(lvalue);
    case OP::STDOT: {
        NODE *object = lvalue->left;
        erase_tree(lvalue->right);
        erase_node(lvalue);
        return peel_lvalue(object);
    }
    case OP::UMULT:
    case OP::STREF: return effects_of_operands(lvalue);
    default: return peel_for_effect(lvalue);
    }
}

// (a && b) becomes (a ? (b, 0) : 0), and (a || b) becomes (a ? 0 : (b, 0)), b being an effect.
NODE *peel_short_circuit(NODE *tree) {
    NODE *effect = peel_for_effect(tree->right);
    tree->right = nullptr;
    if (!effect) return effects_of_operands(tree);
    TYPE *type = tp->int_type();
    NODE *runs = mk_COMMAOP(effect, mk_ICON(0, type)), *does_not = mk_ICON(0, type);
    if (tree->op == OP::OROR) std::swap(runs, does_not);
    // Of !a the arms are exchanged, as the simplifier does.
    NODE *condition = tree->left;
    if (condition->op == OP::EQ && condition->right->op == OP::ICON &&
        condition->right->u.lval.is_zero()) {
        tree->left = condition->left;
        erase_node(condition->right);
        erase_node(condition);
        std::swap(runs, does_not);
    }
    tree->op = OP::QUEST;
    tree->set_edge_profile_value(~0u);
    tree->type = type;
    tree->right = maketree(OP::COLON, runs, does_not, type, tree->scope);
    return tree;
}

NODE *peel_QUEST(NODE *tree) {
    if (tree_has_side_effects(tree->right)) return tree;
    tree->right = erase_tree(tree->right);
    return effects_of_operands(tree);
}

NODE *peel_COMMAOP(NODE *tree) {
    NODE *left = peel_for_effect(tree->left), *right = peel_for_effect(tree->right);
    if (left && right) {
        tree->left = left;
        tree->right = right;
        tree->type = right->type;
        return tree;
    }
    erase_node(tree);
    return left ? left : right;
}
} // namespace

NODE *peel_for_effect(NODE *tree) {
    if (!tree) return nullptr;
    if (node_has_own_effect(tree)) return tree;
    switch (tree->op) {
    case OP::PCOMMA: return tree; // the argument prolog
    case OP::COMMAOP: return peel_COMMAOP(tree);
    case OP::QUEST: return peel_QUEST(tree);
    case OP::ANDAND:
    case OP::OROR: return peel_short_circuit(tree);
    case OP::UAND: {
        NODE *lvalue = tree->left;
        erase_node(tree);
        return peel_lvalue(lvalue);
    }
    case OP::CSE_ORIG: return tree; // its duplicates share the value
    case OP::CSE_DUPE:
    case OP::SSA_USE:
    case OP::SSA_MU: return tree_has_side_effects(tree) ? tree : erase_tree(tree);
    case OP::ICALL:
        return tree_has_side_effects(tree) ? effects_of_operands(tree) : erase_tree(tree);
    default: return effects_of_operands(tree);
    }
}

// --- substitutions

NODE *subst_sym_for_sym_in_tree(SYMTAB *to, SYMTAB *from, NODE *tree) {
    for_each_node(tree, [to, from](NODE *node) {
        if (node->op == OP::NAME && node->u.name.sym == from) rename(node, to);
    });
    return tree;
}

NODE *subst_sym_pairs_in_tree(const SYMPAIRLIST *pairs, NODE *tree) {
    for_each_node(tree, [pairs](NODE *node) {
        if (node->op != OP::NAME) return;
        for (const SYMPAIRLIST *pair = pairs; pair; pair = pair->next)
            if (pair->first == node->u.name.sym) {
                rename(node, pair->second);
                return;
            }
    });
    return tree;
}

NODE *subst_tree_for_lvalue_in_tree(NODE *to, NODE *lvalue, NODE *tree) {
    return subst_reads(to, lvalue, tree, true);
}

NODE *expunge_IDENTITY_ops_from_tree(NODE *tree) {
    tree = skip_IDENTITY(tree);
    for_each_node(tree, [](NODE *node) {
        node->left = skip_IDENTITY(node->left);
        node->right = skip_IDENTITY(node->right);
    });
    return tree;
}

// --- statement lists

void insert_stmt_before_stmt_in_bb(NODE *stmt, LIST *before, BBLK *bb) {
    LIST **link = &bb->statements;
    while (*link && *link != before)
        link = &(*link)->rest;
    OPTASSERT(*link == before);
    *link = mkelist(stmt, before, before ? before->psn : nullptr);
}

LIST *promote_toplevel_COMMAOPs_in_list(LIST *list) {
    for (LIST **link = &list; *link;) {
        LIST *cell = *link;
        if (cell->first->op != OP::COMMAOP) {
            link = &cell->rest;
            continue;
        }
        cell->first = peel_for_effect(cell->first);
        if (!cell->first) {
            *link = cell->rest;
            release_list_cell(cell);
            continue;
        }
        // All parts are peeled by now, so what stands behind them is where the walk goes on.
        for (const LIST *behind = cell->rest; cell != behind; cell = cell->rest) {
            while (NODE *second = detach_second(cell->first)) {
                LIST *next = mkelist(second, cell->rest, cell->psn);
                next->a = cell->a;
                next->b = cell->b;
                cell->rest = next;
            }
            link = &cell->rest;
        }
    }
    return list;
}
