// Erasers of trees and statement lists.
#include "OPT5/driver/abort.h"
#include "OPT5/driver/log.h"
#include "OPT5/rep/bbutils.h"
#include "OPT5/rep/node_pool.h"

namespace {
[[noreturn]] void erased_twice(const NODE *node) {
    constexpr const char *format = "\n\n!!! COMPILER (OPTIMIZER) ERROR IN 'erase_node' %p !!!\n\n";
    std::fprintf(stderr, format, static_cast<const void *>(node));
    if (print_debug) dprintf(format, static_cast<const void *>(node));
    abort_optimizer();
}
} // namespace

NODE *erase_node(NODE *tree) {
    if (tree->op == OP::ILLOP) erased_twice(tree);
    if (NODE_EXT *ext = find_node_ext(tree)) ext->dd_tree = erase_tree(ext->dd_tree);
    release_node(tree);
    return nullptr;
}

NODE *erase_tree(NODE *tree) {
    while (tree) {
        if (tree->op == OP::ILLOP) erased_twice(tree);
        const bool owns_operands = tree->op != OP::CSE_DUPE;
        NODE *left = owns_operands ? tree->left : nullptr;
        NODE *right = owns_operands ? tree->right : nullptr;
        erase_node(tree);
        if (left && right) erase_tree(right);
        tree = left ? left : right;
    }
    return nullptr;
}

LIST *erase_tree_list(LIST *list) {
    return erase_tree_list_to_entry(list, nullptr, 0);
}

LIST *erase_tree_list_only(LIST *list) {
    while (list) {
        LIST *rest = list->rest;
        release_list_cell(list);
        list = rest;
    }
    return nullptr;
}

LIST *erase_tree_list_to_entry(LIST *list, LIST *entry, int n) {
    const bool bounded = n != 0;
    while (list && list != entry && (!bounded || n-- > 0)) {
        LIST *rest = list->rest;
        erase_tree(list->first);
        release_list_cell(list);
        list = rest;
    }
    return nullptr;
}

NODE *erase_dag(NODE *) {
    optassert("DAGs are not erased", __FILE__, __LINE__);
}
