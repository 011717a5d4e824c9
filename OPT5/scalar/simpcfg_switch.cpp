// Constant branches, and SWITCH statements with cases that decide nothing.
#include "OPT5/rep/type_pkg.h"
#include "OPT5/scalar/simpcfg.h"

#include <algorithm>
#include <map>

namespace {
// The constant that a value always is, effects aside; null when it is none.
const NODE *constant_value(const NODE *value) {
    while (value && value->op == OP::COMMAOP)
        value = value->right;
    return value && value->op == OP::ICON ? value : nullptr;
}

// The low bits that a comparison in the type looks at.
std::uint64_t bits_of(const INT65 &value, const TYPE *type) {
    const std::uint32_t width = type->size();
    return width >= 64 ? value.low64() : value.low64() & ((std::uint64_t{1} << width) - 1);
}

struct CASES {
    std::vector<NODE *> cases; // CASE nodes in order
    NODE *fallback = nullptr;  // the DEFAULT
};

// False for a chain that is not of the one proper form.
bool list_cases(NODE *chain, CASES &found) {
    if (!chain) return false;
    NODE *last = chain;
    if (chain->op == OP::COMMA) {
        last = chain->right;
        for (chain = chain->left; chain; chain = chain->op == OP::COMMA ? chain->left : nullptr) {
            NODE *one = chain->op == OP::COMMA ? chain->right : chain;
            if (!one || one->op != OP::CASE || one->left->op != OP::ICON) return false;
            found.cases.push_back(one);
        }
        std::reverse(found.cases.begin(), found.cases.end());
    }
    found.fallback = last;
    return last->op == OP::DEFAULT;
}

// Null when two constants agree in the bits of the value's type and differ above: then it is open
// which of them the program means.
BBLK *target_of_SWITCH(const NODE *branch, const NODE *value) {
    CASES found;
    if (!list_cases(branch->right, found)) return nullptr;
    const TYPE *type = branch->left->type;
    const NODE *target = found.fallback->left;
    bool is_found = false;
    for (const NODE *one : found.cases) {
        if (bits_of(one->left->u.lval, type) != bits_of(value->u.lval, type)) continue;
        if (is_found || one->left->u.lval != value->u.lval) return nullptr;
        target = one->right;
        is_found = true;
    }
    return label_block(const_cast<NODE *>(target));
}

NODE *chain_of(const CASES &kept, const NODE *old) {
    NODE *chain = nullptr;
    const auto append = [&](NODE *one) {
        chain = chain ? maketree(OP::COMMA, chain, one, tp->int_type(), old->scope) : one;
    };
    for (NODE *one : kept.cases)
        append(one);
    append(kept.fallback);
    return chain;
}

// Frees the COMMAs of a chain, not what hangs on them.
void erase_spine(NODE *chain) {
    while (chain->op == OP::COMMA) {
        NODE *next = chain->left;
        erase_node(chain);
        chain = next;
    }
}

// The cases without those that lead where the value goes anyway. Of a value that stands more than
// once, no case goes.
std::vector<NODE *> useful_cases(const CASES &found, const TYPE *type) {
    std::map<std::uint64_t, int> uses;
    for (const NODE *one : found.cases)
        ++uses[bits_of(one->left->u.lval, type)];
    const BBLK *anyway = label_block(found.fallback->left);
    std::vector<NODE *> useful;
    for (NODE *one : found.cases)
        if (label_block(one->right) != anyway || uses[bits_of(one->left->u.lval, type)] > 1)
            useful.push_back(one);
    return useful;
}

// A SWITCH with a single case is a comparison.
bool replace_by_IF(LIST *cell, const CASES &found) {
    NODE *const old = cell->first, *const one = found.cases[0];
    if (!old->left->type->is_integer() || !exact_types(old->left->type, one->left->type))
        return false;
    NODE *const yes = one->right, *const no = found.fallback->left;
    NODE *const constant = one->left;
    erase_spine(old->right);
    erase_node(one);
    erase_node(found.fallback);
    old->right = nullptr;
    NODE *const test = maketree(OP::EQ, old->left, constant, tp->int_type(), old->scope);
    NODE *const arms = maketree(OP::COMMA, yes, no, tp->int_type(), old->scope);
    erase_node(old);
    cell->first = maketree(OP::IF, test, arms, tp->int_type(), test->scope);
    return true;
}

// Leaves the set of successors as it is.
void clean_SWITCH(LIST *cell) {
    NODE *const branch = cell->first;
    CASES found;
    if (!list_cases(branch->right, found)) return;
    const std::vector<NODE *> useful = useful_cases(found, branch->left->type);
    if (useful.size() < found.cases.size()) {
        simpcfg_counts.cases += static_cast<int>(found.cases.size() - useful.size());
        erase_spine(branch->right);
        auto kept = useful.begin();
        for (NODE *one : found.cases) {
            if (kept != useful.end() && *kept == one)
                ++kept;
            else
                erase_tree(one);
        }
        found.cases = useful;
        branch->right = chain_of(found, branch);
        branch->u.lval = INT65(static_cast<unsigned>(useful.size()));
    }
    if (found.cases.empty()) {
        branch_always(cell, label_block(found.fallback->left));
        ++simpcfg_counts.switches;
    } else if (found.cases.size() == 1 && replace_by_IF(cell, found)) {
        ++simpcfg_counts.switches;
    }
}
} // namespace

BBLK *target_by_constant(const NODE *branch) {
    if (branch->op != OP::IF && branch->op != OP::SWITCH) return nullptr;
    const NODE *value = constant_value(branch->left);
    if (!value) return nullptr;
    if (branch->op == OP::SWITCH) return target_of_SWITCH(branch, value);
    const bool holds = bits_of(value->u.lval, branch->left->type) != 0;
    return label_block(holds ? branch->right->left : branch->right->right);
}

void optimize_SWITCH_cases() {
    for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink) {
        LIST *cell = branch_cell(bb);
        if (cell && cell->first->op == OP::SWITCH) clean_SWITCH(cell);
    }
}
