// Trees in the debug log, one line a node.
#include "OPT5/rep/dump_tree.h"
#include "OPT5/driver/log.h"
#include "OPT5/rep/bbutils.h"
#include "OPT5/rep/symbol.h"

#include <algorithm>

namespace {
constexpr int deepest_indent = 30; // in levels; keeps the log of a deep tree linear

std::string type_text(const TYPE *type) {
    std::string text;
    append_type(text, type);
    return text;
}

void dump_scope(const LS *scope) {
    if (scope)
        dprintf("(#%u|%u) ", scope->scope_id, scope->depth);
    else
        dprintf("(    ) ");
}

void dump_payload(const NODE *node) {
    const NODE_EXT *ext = find_node_ext(node);
    if (node->op == OP::NAME && ext && ext->earlier_name) {
        std::string earlier;
        append_escaped(earlier, ext->earlier_name, 0);
        dprintf("%s ==> ", earlier.c_str());
    }
    std::string payload;
    append_payload(payload, node);
    if (!payload.empty()) dprintf("%s ", payload.c_str());
    switch (node->op) {
    case OP::NAME:
        if (const TYPE *declared = node->u.name.decl_type; declared && declared != node->type)
            dprintf("(%s) ", type_text(declared).c_str());
        break;
    case OP::FIELD: dprintf("of %s ", type_text(node->u.field.csu).c_str()); break;
    case OP::CALL:
    case OP::UCALL:
        if (node->u.call.num_vargs != 0) dprintf("vargs:%u ", node->u.call.num_vargs);
        if (node->u.call.eht_id != 0) dprintf("EHT:%u ", node->u.call.eht_id);
        break;
    case OP::SWITCH: dprintf("cases:%u ", node->case_count()); break;
    case OP::DDNODE: dprintf("DD#%u ", node->ddnode_id()); break;
    default: break;
    }
    const std::uint32_t profile = node->get_edge_profile_value();
    const bool has_profile = profile != ~0u, has_weight = ext && ext->probability >= 0;
    if (has_profile) dprintf("#%u", profile);
    if (has_weight) dprintf("#%.3f", ext->probability);
    if (has_profile || has_weight) dprintf(" ");
}

void dump_node(const NODE *node, int depth) {
    if (!node) {
        dprintf("(    ) %*s<NULL>\n", 2 * std::min(depth, deepest_indent), "");
        return;
    }
    const bool is_offset_access = node->op == OP::UMULT && node->right;
    dump_scope(node->scope);
    dprintf("%*s%s ", 2 * std::min(depth, deepest_indent), "",
            is_offset_access ? "U*2     " : opname(node->op));
    if (node->op == OP::ILLOP) { // nothing else of it can be trusted
        dprintf("\n");
        return;
    }
    dump_payload(node);
    dprintf("<%s>", type_text(node->type).c_str());
    if (node->depnum >= 0) dprintf(" depnum:%ld", static_cast<long>(node->depnum));
    const int hint = node->branch_hint();
    if (hint == 0)
        dprintf("\n");
    else
        dprintf("  (Branch %s", hint > 0 ? "Likely)\n" : "Unlikely)\n");
    if (!node->left && !node->right) return;
    dump_node(node->left, depth + 1);
    if (node->right) dump_node(node->right, depth + 1);
}
} // namespace

void dump_tree_debug(const NODE *tree) {
    if (print_debug && fdebug) dump_node(tree, 0);
}
