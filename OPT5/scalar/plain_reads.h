// Which variables a tree reads scalars or structures of, by their names or by addresses that are
// made of them on the spot. What is counted by this walk neither stores to the variable nor lets
// its address out.
#pragma once

#include "OPT5/scalar/fcp_memory.h"

template <class Read> void for_each_plain_read(const NODE *tree, bool is_read, const Read &read);

// Goes down to the variable that an lvalue lies in, and into the trees of indices on the way.
template <class Read> void visit_plain_object(const NODE *lvalue, bool is_read, const Read &read) {
    while (lvalue->op == OP::STDOT)
        lvalue = lvalue->left;
    if (lvalue->op == OP::NAME) {
        if (is_read && lvalue->u.name.sym) read(lvalue->u.name.sym);
        return;
    }
    if (lvalue->op != OP::UMULT && lvalue->op != OP::STREF) {
        for_each_plain_read(lvalue, false, read);
        return;
    }
    if (lvalue->op == OP::UMULT) for_each_plain_read(lvalue->right, true, read);
    const NODE *address = lvalue->left;
    while (address->op == OP::PCONV || address->op == OP::PLUS || address->op == OP::MINUS) {
        if (!address->type->is_ptr() || !address->left->type->is_ptr()) break;
        for_each_plain_read(address->right, true, read);
        address = address->left;
    }
    if (address->op == OP::UAND)
        visit_plain_object(address->left, is_read, read);
    else
        for_each_plain_read(address, true, read);
}

// Calls read(symbol) once for each of them. `is_read`: the value of the tree is; else it is stored
// to, or its address is made.
template <class Read> void for_each_plain_read(const NODE *tree, bool is_read, const Read &read) {
    for (; tree; tree = tree->right) {
        switch (tree->op) {
        case OP::NAME:
        case OP::STDOT:
        case OP::STREF:
        case OP::UMULT:
            visit_plain_object(tree, is_read && (tree->type->is_scalar() || tree->type->is_csu()),
                               read);
            return;
        case OP::UAND:
        case OP::ARGREF: for_each_plain_read(tree->left, false, read); return;
        default: break;
        }
        const bool is_definition = fcp_is_definition(tree->op);
        for_each_plain_read(tree->left, is_read && !is_definition, read);
        is_read |= is_definition;
    }
}
