// The last look at trees before a function is written: where the table of costs says that another
// form is cheaper to run, the normal form of the simplifier gives way to it.
//
//     x * 2^n               x << n
//     x * -2^n              -(x << n)
//     x * (2^n + 1)         (x << n) + x
//     x * (2^n - 1)         (x << n) - x
//     x * (1 - 2^n)         x - (x << n)
//     x *= 2^n              x <<= n
//     p + (short)x          p + x, an address has no higher bits that x could change
//
// The forms that read x twice are for variables that can stay in a register.
#include "OPT5/rep/bblk.h"
#include "OPT5/rep/symbol.h"
#include "OPT5/rep/type_pkg.h"
#include "OPT5/scalar/scalar.h"
#include "OPT5/scalar/simp_rules.h"

namespace {
enum : int {
#define COST(name, value, comment) cost_##name = value,
#include "OPT5/target/costs.def"
#undef COST
};
constexpr bool one_step_is_cheaper = cost_arithmetic < cost_multiply;
constexpr bool two_steps_are_cheaper = 2 * cost_arithmetic < cost_multiply;

// A variable whose value costs nothing to read once more.
bool is_register(const NODE *tree) {
    if (tree->op != OP::NAME || node_is_volatile_access(tree)) return false;
    const SYMTAB *sym = tree->u.name.sym;
    return sym->level > 1 && sym->type->is_scalar() &&
           (sym->sc == 4 || !(sym->attr & SA_aliased)) && sym->sc != 3;
}

NODE *shifted(NODE *x, int count, TYPE *type, LS *scope) {
    if (count == 0) return x;
    return maketree(OP::SLL, x, mk_ICON(count, tp->int_type()), type, scope);
}

// The product of x and the constant in a cheaper form; null when there is none. The constant is a
// signed value of the type's width.
NODE *cheaper_product(NODE *x, const INT65 &constant, TYPE *type, LS *scope) {
    const int power = power_of_2(constant), negative_power = power_of_2(-constant);
    if (power > 0 && one_step_is_cheaper) return shifted(x, power, type, scope);
    // The most negative value is a power of two in either sign.
    if (constant == int_type_min(type) || truncate_to_type(constant, type) == -constant)
        return one_step_is_cheaper && negative_power > 0 ? shifted(x, negative_power, type, scope)
                                                         : nullptr;
    if (!two_steps_are_cheaper) return nullptr;
    if (negative_power > 0)
        return maketree(OP::UMINUS, shifted(x, negative_power, type, scope), nullptr, type, scope);
    if (!is_register(x)) return nullptr;
    const int below = power_of_2(constant - 1), above = power_of_2(constant + 1),
              mirrored = power_of_2(INT65(1) - constant);
    if (below <= 0 && above <= 0 && mirrored <= 0) return nullptr;
    NODE *again = copy_tree(x, true);
    if (below > 0) return maketree(OP::PLUS, shifted(x, below, type, scope), again, type, scope);
    if (above > 0) return maketree(OP::MINUS, shifted(x, above, type, scope), again, type, scope);
    return maketree(OP::MINUS, x, shifted(again, mirrored, type, scope), type, scope);
}

NODE *cheaper(NODE *tree) {
    const bool multiplies = tree->op == OP::MULT || tree->op == OP::MULTASG;
    if (!multiplies || !is_ICON(tree->right) || !tree->type->is_integer() || tree->type->is_bool())
        return tree;
    TYPE *type = tree->type;
    if (tree->op == OP::MULTASG) {
        const int power = power_of_2(constant_as(tree->right, tree->left->type));
        if (!one_step_is_cheaper || power <= 0 || !tree->left->type->is_integer()) return tree;
        tree->op = OP::SLLASG;
        erase_node(tree->right);
        tree->right = mk_ICON(power, tp->int_type());
        return tree;
    }
    const INT65 constant = sign_extend_by_type_size(constant_as(tree->right, type), type);
    NODE *x = tree->left;
    if (!x->type->is_integer() || x->type->size() != type->size()) return tree;
    NODE *form = cheaper_product(x, constant, type, tree->scope);
    if (!form) return tree;
    erase_node(tree->right);
    erase_node(tree);
    return form;
}

// The index of an address without the cast that cuts it to the address's width.
NODE *uncut_index(NODE *tree) {
    if ((tree->op != OP::PLUS && tree->op != OP::MINUS) || !tree->type->is_ptr()) return tree;
    for (NODE *NODE::*operand : {&NODE::left, &NODE::right}) {
        NODE *cast = tree->*operand;
        if (cast->op != OP::SCONV || !cast->type->is_integer() || cast->type->is_bool()) continue;
        NODE *index = cast->left;
        if (!index->type->is_integer() || cast->type->size() < tree->type->size() ||
            index->type->size() < cast->type->size())
            continue;
        tree->*operand = index;
        erase_node(cast);
    }
    return tree;
}

// Recursion goes down the right operand and, for operators, as deep as the tree.
void make_cheaper(NODE *&tree) {
    if (!tree || tree->op == OP::CSE_DUPE) return;
    make_cheaper(tree->left);
    make_cheaper(tree->right);
    tree = uncut_index(cheaper(tree));
}
} // namespace

void unsimplify() {
    if (!currfuninfo) return;
    for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink)
        for (LIST *cell = bb->statements; cell; cell = cell->rest)
            make_cheaper(cell->first);
}
