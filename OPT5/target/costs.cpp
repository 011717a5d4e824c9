#include "OPT5/target/costs.h"

#include "OPT5/builtins/bif.h"
#include "OPT5/rep/symbol.h"

namespace {
// A local scalar whose address nobody takes.
bool is_register_like(const NODE *name) {
    const SYMTAB *sym = name->u.name.sym;
    return sym->level != 0 && sym->sc != 3 && (sym->attr & SA_aliased) == 0 &&
           name->type->is_scalar();
}

int conversion_cost(const NODE *node) {
    const TYPE *to = node->type, *from = node->left->type;
    if (to->is_floating() != from->is_floating()) return cost_of_float_conversion;
    return to->size() == from->size() ? 0 : cost_of_conversion;
}

} // namespace

int cost_of_operator(const NODE *node) {
    const bool real = node->type && node->type->is_floating();
    switch (node->op) {
    case OP::NAME: return is_register_like(node) ? 0 : cost_of_load;
    case OP::UMULT:
    case OP::STDOT:
    case OP::STREF: return cost_of_load;
    case OP::MULT:
    case OP::SQR: return real ? cost_of_floating : cost_of_multiply;
    case OP::DIV:
    case OP::MOD: return real ? cost_of_float_divide : cost_of_divide;
    case OP::SQRT:
    case OP::RECIP: return cost_of_float_divide;
    case OP::PLUS:
    case OP::MINUS:
    case OP::UMINUS:
    case OP::ABS: return real ? cost_of_floating : cost_of_arithmetic;
    case OP::ANDB:
    case OP::ORB:
    case OP::XORB:
    case OP::NOTB:
    case OP::SLL:
    case OP::SRL:
    case OP::PMCONV: return cost_of_arithmetic;
    case OP::PVCONV: return cost_of_divide;
    case OP::SCONV: return conversion_cost(node);
    case OP::QUEST:
    case OP::ANDAND:
    case OP::OROR: return cost_of_branch;
    case OP::CALL:
    case OP::UCALL:
    case OP::MCALL:
    case OP::UMCALL: return cost_of_call;
    case OP::ICALL:
    case OP::UICALL: {
        const BIF_DESCRIPTOR *bif = find_BIF_descriptor_for_call(node);
        return bif ? bif->cost : static_cast<int>(cost_of_call);
    }
    default: break;
    }
    if (boolean_result[node->op])
        return node->left->type->is_floating() ? cost_of_floating : cost_of_compare;
    return side_effects[node->op] == SE_STORE ? cost_of_store : 0;
}

int cost_of_tree(const NODE *tree) {
    int cost = 0;
    for (; tree; tree = tree->left) {
        if (tree->op == OP::UAND) return cost; // nothing is read
        cost += cost_of_operator(tree);
        if (tree->right) cost += cost_of_tree(tree->right);
    }
    return cost;
}
