// Copies of trees and statement lists.
#include "OPT5/rep/bbutils.h"
#include "OPT5/rep/node_pool.h"
#include "OPT5/rep/pragmas.h"
#include "OPT5/rep/symbol.h"
#include "OPT5/simulfp/simul_fval.h"

#include <algorithm>
#include <iterator>

namespace {
// The rarely used words that a copy keeps; dependence data and attachments of passes are not.
void copy_ext(NODE *copy, const NODE *node) {
    const NODE_EXT *ext = find_node_ext(node);
    if (!ext || (ext->probability < 0 && !ext->earlier_name && ext->pass_word == 0 &&
                 ext->marks[0] == 0 && ext->marks[1] == 0))
        return;
    NODE_EXT *to = node_ext(copy);
    to->probability = ext->probability;
    to->earlier_name = ext->earlier_name;
    to->pass_word = ext->pass_word;
    std::copy(std::begin(ext->marks), std::end(ext->marks), to->marks);
}

NODE *copy_plain_node(const NODE *node, bool keep_scope) {
    NODE *copy = pool_node();
    *copy = *node;
    copy->flags &= NF_kept | NF_likely | NF_unlikely;
    copy->mark = 0;
    if (!keep_scope) copy->scope = nullptr;
    copy_ext(copy, node);
    if (node->op == OP::FCON)
        copy->u.fcon.value = pool_fval(*node->u.fcon.value);
    else if (node->op == OP::PPRAGMA)
        copy->u.ppragma.pragma = copy_pragma(node->u.ppragma.pragma);
    return copy;
}

// Copies a tree node by node; recursion goes down the right operand only. What a CSE_DUPE shares
// stays shared.
template <class Copy> NODE *copy_by(const NODE *tree, Copy copy_one) {
    NODE *root = nullptr;
    NODE **link = &root;
    while (tree) {
        NODE *copy = copy_one(tree);
        *link = copy;
        if (tree->op == OP::CSE_DUPE) break;
        copy->right = copy_by(tree->right, copy_one);
        link = &copy->left;
        tree = tree->left;
    }
    return root;
}

template <class Copy> LIST *copy_cells(const LIST *list, Copy copy_one) {
    LIST *head = nullptr;
    LIST **link = &head;
    for (; list; list = list->rest) {
        *link = pool_list_cell();
        **link = *list;
        (*link)->first = copy_one(list->first);
        link = &(*link)->rest;
    }
    return head;
}

// Makes the texts and the symbol of a copied node its own.
void detach_node(NODE *node, FUNINFO *funinfo) {
    switch (node->op) {
    case OP::SCON: node->mk_scon(node->scon_value()); break;
    case OP::ASM: node->u.asm_.text = node_text(node->u.asm_.text); break;
    case OP::ICALL:
    case OP::UICALL:
    case OP::MCALL:
    case OP::UMCALL: node->mk_icall(node->icall_name()); break;
    case OP::NAME:
        if (funinfo) node->u.name.sym = intern_symbol(node->u.name.sym, funinfo);
        break;
    default: break;
    }
}
} // namespace

NODE *copy_node(const NODE *node, bool keep_scope) {
    return node->op == OP::DDNODE ? copy_dd_node(node, keep_scope)
                                  : copy_plain_node(node, keep_scope);
}

NODE *copy_dd_node(const NODE *node, bool keep_scope) {
    NODE *copy = copy_plain_node(node, keep_scope);
    const NODE_EXT *ext = find_node_ext(node);
    if (ext && (ext->dd || ext->dd_tree)) {
        NODE_EXT *to = node_ext(copy);
        if (ext->dd && copy_dd_hook) to->dd = copy_dd_hook(ext->dd);
        to->dd_tree = copy_tree(ext->dd_tree, true);
    }
    return copy;
}

NODE *copy_tree(const NODE *tree, bool keep_scope) {
    return copy_by(tree, [keep_scope](const NODE *node) { return copy_node(node, keep_scope); });
}

NODE *copy_dd_tree(const NODE *tree, bool keep_scope) {
    return copy_by(tree, [keep_scope](const NODE *node) { return copy_dd_node(node, keep_scope); });
}

NODE *copy_tree_0(const NODE *tree, FUNINFO *funinfo) {
    return copy_by(tree, [funinfo](const NODE *node) {
        NODE *copy = copy_node(node);
        detach_node(copy, funinfo);
        return copy;
    });
}

NODE *copy_node_if_changed(NODE *node, NODE *left, NODE *right) {
    if (node->left == left && node->right == right) return node;
    NODE *copy = copy_node(node, true);
    copy->left = left;
    copy->right = right;
    return copy;
}

LIST *copy_statements(const LIST *list, bool keep_scope) {
    return copy_cells(list, [keep_scope](const NODE *tree) { return copy_tree(tree, keep_scope); });
}

LIST *copy_dd_statements(const LIST *list, bool keep_scope) {
    return copy_cells(list,
                      [keep_scope](const NODE *tree) { return copy_dd_tree(tree, keep_scope); });
}

LIST *copy_shared_statements(const LIST *list) {
    return copy_cells(list, [](NODE *tree) { return tree; });
}
