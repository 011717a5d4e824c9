// Fast copy propagation: expressions that need not be computed anew.
//
// Each tree without effects has a number that congruent trees share, whatever the order of their
// operands: a sum over its nodes. An assignment enters its source in a table under that number;
// where a later tree with an entry of its number is congruent to it and nothing has changed since,
// the variable takes its place, largest trees first.
#include "OPT5/driver/log.h"
#include "OPT5/rep/types.h"
#include "OPT5/scalar/fcp_memory.h"

#include <algorithm>
#include <bit>

namespace {
constexpr int deepest = 4; // levels; comparing larger trees is not worth the time

std::uint32_t mixed(std::uint32_t x) {
    x = (x ^ x >> 16) * 0x7feb352du;
    x = (x ^ x >> 15) * 0x846ca68bu;
    return x ^ x >> 16;
}

// Operators that give the same for the same operands and that are worth a variable.
bool is_computation(const NODE *tree) {
    switch (tree->op) {
    case OP::PLUS:
    case OP::MINUS:
    case OP::MULT:
    case OP::DIV:
    case OP::MOD:
    case OP::ANDB:
    case OP::ORB:
    case OP::XORB:
    case OP::NOTB:
    case OP::UMINUS:
    case OP::SLL:
    case OP::SRL:
    case OP::ABS:
    case OP::SQRT:
    case OP::SQR:
    case OP::RECIP:
    case OP::EXCLAIM:
    case OP::SCONV:
    case OP::PCONV:
    case OP::PMCONV:
    case OP::PVCONV: return true;
    case OP::STDOT:
    case OP::STREF:
    case OP::UMULT: return tree->type->is_scalar() && !node_is_volatile_access(tree);
    default: return boolean_inv[tree->op] != OP::ILLOP;
    }
}

bool is_leaf_of_one(const NODE *tree) {
    switch (tree->op) {
    case OP::NAME: return tree->u.name.sym && !node_is_volatile_access(tree);
    case OP::ICON:
    case OP::FCON:
    case OP::SCON:
    case OP::FIELD: return true;
    default: return false;
    }
}

struct NUMBER {
    std::uint32_t sum = 0;
    int depth = 0;
    bool is_pure = true;
};

NUMBER number_of_leaf(const NODE *tree) {
    std::uint32_t x = 0;
    switch (tree->op) {
    case OP::NAME: x = tree->u.name.sym->serial; break;
    case OP::ICON: x = tree->u.lval.u32(); break;
    case OP::FIELD: x = tree->u.field.mdata ? tree->u.field.mdata->index : 0; break;
    default: break;
    }
    return {mixed(x * 256 + tree->op), 0, true};
}

NUMBER number_of_node(const NODE *tree, const NUMBER &left, const NUMBER &right) {
    NUMBER number{left.sum + right.sum, std::max(left.depth, right.depth) + 1,
                  left.is_pure && right.is_pure};
    const bool is_address = tree->op == OP::UAND;
    if (!is_address && !is_computation(tree)) number.is_pure = false;
    const std::uint32_t op = std::min<std::uint32_t>(
        tree->op, commute_inv[tree->op] == OP::ILLOP ? tree->op : commute_inv[tree->op]);
    number.sum += mixed(op + 1000);
    return number;
}

// Number of a tree on its own.
NUMBER number_of_tree(const NODE *tree) {
    if (!tree) return {};
    if (is_leaf_of_one(tree)) return number_of_leaf(tree);
    if (!tree->left) return {0, 0, false};
    return number_of_node(tree, number_of_tree(tree->left), number_of_tree(tree->right));
}

// Leaves in the mark of each tree that may be replaced the low bits of its number, not 0.
NUMBER mark_computations(NODE *tree) {
    if (!tree) return {};
    tree->mark = 0;
    if (is_leaf_of_one(tree)) return number_of_leaf(tree);
    if (!tree->left) return {0, 0, false};
    const NUMBER left = mark_computations(tree->left), right = mark_computations(tree->right);
    const NUMBER number = number_of_node(tree, left, right);
    if (number.is_pure && number.depth <= deepest && tree->op != OP::UAND)
        tree->mark = static_cast<std::uint16_t>(number.sum | 1);
    return number;
}

// Takes the marks off a tree, the objects of its stores and addresses first, which stay.
void unmark_object(NODE *lvalue) {
    while (fcp_is_part(lvalue->op)) {
        lvalue->mark = 0;
        lvalue = lvalue->left;
    }
    lvalue->mark = 0;
}
} // namespace

void FCP_EXPRS::reset(unsigned statements) {
    constexpr unsigned most = 1u << 14;
    table.assign(std::bit_ceil(std::clamp(statements, 16u, most)), ENTRY());
    generation = 0;
}

void FCP_EXPRS::learn(SYMTAB *sym, NODE *value, std::uint32_t now) {
    if (!is_computation(value) || !equiv_mtypes(value->type, sym->type)) return;
    const NUMBER number = number_of_tree(value);
    if (!number.is_pure || number.depth > deepest || sym_appears_in_tree(sym, value)) return;
    const auto key = static_cast<std::uint16_t>(number.sum | 1);
    table[(key >> 1) & (table.size() - 1)] = {sym, value, fcp_counters.generation, now};
    generation = fcp_counters.generation;
}

NODE *FCP_EXPRS::variable_for(const NODE *tree) const {
    const ENTRY &entry = table[static_cast<std::size_t>(tree->mark >> 1) & (table.size() - 1)];
    if (!entry.sym || entry.generation != fcp_counters.generation || entry.value->op != tree->op ||
        !equiv_mtypes(entry.value->type, tree->type))
        return nullptr;
    const FCP_SYMBOL *fields = fcp_find_symbol(entry.sym);
    if (fields->modified > entry.seen || !trees_are_congruent(entry.value, tree, false) ||
        !fcp_memory.is_unchanged(entry.value, entry.seen))
        return nullptr;
    return mk_NAME(entry.sym, tree->scope);
}

void FCP_EXPRS::replace_below(NODE *&link) {
    NODE *tree = link;
    if (!tree) return;
    if (tree->mark != 0) {
        tree->mark = 0;
        if (NODE *name = variable_for(tree)) {
            fcp_take_place(link, name, "fcpNAME");
            return;
        }
    }
    if (fcp_is_definition(tree->op) || tree->op == OP::UAND || tree->op == OP::ARGREF)
        unmark_object(tree->left);
    else if (fcp_is_part(tree->op) && tree->op != OP::IDENTITY)
        unmark_object(tree); // a part of an object, read
    replace_below(tree->left);
    replace_below(tree->right);
}

void FCP_EXPRS::replace(NODE *stmt) {
    if (generation != fcp_counters.generation) return; // nothing is known here
    mark_computations(stmt);
    replace_below(stmt);
}
