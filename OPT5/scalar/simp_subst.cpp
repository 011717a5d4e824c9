// What other passes ask of trees: a constant for a symbol, what a known range says, a term of a sum
// brought to its top.
#include "OPT5/rep/symbol.h"
#include "OPT5/rep/type_pkg.h"
#include "OPT5/scalar/simp_arcs.h"
#include "OPT5/scalar/simp_known.h"

namespace {
// Takes the term out of the sum; null when it is not in it. `subtracted` says how it counted there.
// The term may be the last one, so that nothing is left: then `sum` is null.
NODE *take_term(NODE *&sum, const NODE *term, std::uint32_t bits, bool *subtracted) {
    if (trees_are_congruent(sum, term)) {
        NODE *taken = sum;
        sum = nullptr;
        *subtracted = false;
        return taken;
    }
    NODE *const node = sum;
    if ((node->op != OP::PLUS && node->op != OP::MINUS) || !is_modular_type(node->type) ||
        node->type->size() != bits)
        return nullptr;
    if (NODE *taken = take_term(node->right, term, bits, subtracted)) {
        *subtracted = *subtracted != (node->op == OP::MINUS);
        if (!node->right) sum = take_operand(node);
        return taken;
    }
    NODE *taken = take_term(node->left, term, bits, subtracted);
    if (!taken || node->left) return taken;
    if (node->op == OP::PLUS) {
        sum = node->right;
        erase_node(node);
    } else {
        node->op = OP::UMINUS;
        node->left = node->right;
        node->right = nullptr;
    }
    return taken;
}
} // namespace

NODE *bubble_term_to_top(NODE *tree, NODE *term) {
    if (!is_modular_type(tree->type) || tree_has_side_effects(tree) ||
        trees_are_congruent(tree, term))
        return nullptr;
    // A pointer that is taken out would leave an integer behind.
    if (term->type->is_ptr()) return nullptr;
    TYPE *type = tree->type;
    bool subtracted = false;
    NODE *rest = tree, *taken = take_term(rest, term, type->size(), &subtracted);
    if (!taken) return nullptr;
    return maketree(subtracted ? OP::MINUS : OP::PLUS, rest, taken, type, rest->scope);
}

NODE *simp_subst_icon(NODE *tree, SYMTAB *sym, const INT65 &value, LOOP *loop, CONTEXT *ctx) {
    if (!sym_appears_in_tree(sym, tree)) return tree;
    TYPE *type = sym->type->type_qualified();
    if (!type->is_int_or_enum() && !type->is_ptr()) return tree;
    NODE *constant = make_ICON(value, type), *name = mk_NAME(sym, nullptr);
    tree = subst_tree_for_lvalue_in_tree(constant, name, tree);
    erase_node(constant);
    erase_node(name);
    return simp_tree(tree, loop, ctx);
}

namespace {
// An arm of a choice that has no value in the range is not chosen.
NODE *choice_in_range(NODE *tree, const INT65 &lo, const INT65 &hi, LOOP *loop, CONTEXT *ctx) {
    while (tree->op == OP::QUEST && tree->right->op == OP::COLON) {
        NODE **chosen = nullptr, *arms = tree->right;
        for (NODE *NODE::*arm : {&NODE::left, &NODE::right}) {
            INT65 least, greatest;
            if (!(arms->*arm)->type->is_int_or_enum()) return tree;
            find_value_range(arms->*arm, &least, &greatest, loop, ctx);
            if (greatest < lo || least > hi)
                chosen = arm == &NODE::left ? &arms->right : &arms->left;
        }
        if (!chosen || !equiv_mtypes((*chosen)->type, tree->type)) return tree;
        NODE *condition = tree->left, *value = take_from_tree(chosen, arms);
        erase_node(tree);
        if (NODE *effects = effects_of(condition))
            return simp_node(mk_COMMAOP(effects, value), loop, ctx);
        tree = value;
    }
    return tree;
}
} // namespace

NODE *simp_tree_in_range(NODE *tree, const INT65 &lo, const INT65 &hi, LOOP *loop, CONTEXT *ctx) {
    tree = simp_tree(tree, loop, ctx);
    if (is_ICON(tree) || !(tree->type->is_int_or_enum() || tree->type->is_ptr())) return tree;
    if (lo == hi) {
        NODE *constant = make_ICON(lo, tree->type);
        constant->scope = tree->scope;
        return with_effects(tree, constant, loop, ctx);
    }
    if (tree->type->is_ptr()) return tree;
    tree = choice_in_range(tree, lo, hi, loop, ctx);
    KNOWN_RANGES known;
    known.add(tree, static_cast<std::int64_t>(lo.low64()), static_cast<std::int64_t>(hi.low64()));
    bool changed = false;
    return simp_with_known_ranges(tree, known, &changed, loop, ctx);
}
