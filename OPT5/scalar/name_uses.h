// How the variables of a tree are used by it: one walk for the passes over local variables.
#pragma once

#include "OPT5/rep/bbutils.h"
#include "OPT5/rep/symbol.h"

// Calls visit(symbol) for each NAME of the tree, labels and all.
template <class Visit> void for_each_symbol(const NODE *tree, const Visit &visit) {
    for (; tree; tree = tree->right) {
        if (tree->op == OP::NAME && tree->u.name.sym) visit(tree->u.name.sym);
        for_each_symbol(tree->left, visit);
    }
}

// Adds the names in the tree to SYMTAB::refcount of what is local, or takes them away (-1).
inline void count_references(const NODE *tree, int step = 1) {
    for_each_symbol(tree, [step](SYMTAB *sym) {
        if (sym->level > 0) sym->refcount += static_cast<std::uint32_t>(step);
    });
}

enum class NAME_USE {
    value,       // read
    target,      // assigned to as a whole, without being read
    update,      // read and assigned to: compound assignments, steps
    address,     // its address is made
    part_value,  // a part is read,
    part_target, // assigned to or updated,
    other,       // or something else happens to it
};

// The variables in operands of this use of a whole.
inline NAME_USE use_of_whole(NAME_USE part) {
    switch (part) {
    case NAME_USE::value:
    case NAME_USE::part_value: return NAME_USE::part_value;
    case NAME_USE::target:
    case NAME_USE::update:
    case NAME_USE::part_target: return NAME_USE::part_target;
    default: return part;
    }
}

// Calls visit(NODE *&slot, NAME_USE) for each NAME of the tree but functions, in the order of
// evaluation; `slot` is where the tree holds it. Labels and what is never evaluated are left out.
template <class Visit>
void for_each_name(NODE *&slot, Visit &&visit, NAME_USE use = NAME_USE::value) {
    NODE *node = slot;
    if (!node) return;
    switch (node->op) {
    case OP::NAME:
        if (!node->u.name.sym->type->is_func()) visit(slot, use);
        return;
    case OP::UAND:
    case OP::ARGREF: for_each_name(node->left, visit, NAME_USE::address); return;
    case OP::STDOT:
    case OP::VFIELD:
    case OP::REAL:
    case OP::IMAG:
    case OP::SIMDHI:
    case OP::SIMDLO: for_each_name(node->left, visit, use_of_whole(use)); return;
    case OP::STREF: for_each_name(node->left, visit); return;
    case OP::SSA_USE:
    case OP::SSA_DEF:
    case OP::DDNODE:
    case OP::IDENTITY:
    case OP::OUIALIGN:
    case OP::NONALIGN: for_each_name(node->left, visit, use); return;
    case OP::SSA_MU:
    case OP::SSA_CHI: for_each_name(node->left, visit, NAME_USE::other); return;
    case OP::PLUSPLUS:
    case OP::MINMIN: for_each_name(node->left, visit, NAME_USE::update); return;
    case OP::RETURN: for_each_name(node->right, visit); return;
    case OP::URETURN:
    case OP::BRANCH: return;
    case OP::IF:
    case OP::CBRANCH:
    case OP::SWITCH: for_each_name(node->left, visit); return;
    default: break;
    }
    const bool is_assignment = opcode_is_ASG(node->op);
    const bool is_plain = node->op == OP::ASG || node->op == OP::STASG || node->op == OP::ARASG;
    for_each_name(node->left, visit,
                  !is_assignment ? NAME_USE::value
                  : is_plain     ? NAME_USE::target
                                 : NAME_USE::update);
    for_each_name(node->right, visit);
}

// Simplifies the statement of the cell at the link, and takes it out where nothing of it must run;
// false then.
bool simplify_statement(LIST **link);

// A local scalar that lives in a register as far as the trees are concerned: only its name stands
// for it. SA_aliased must be up to date.
inline bool is_register_scalar(const SYMTAB *sym) {
    const TYPE *type = sym->type;
    return sym->level >= 2 && (sym->sc == 1 || sym->sc == 4) && !(sym->attr & SA_aliased) &&
           !type->is_volatile() &&
           (type->is_int_or_enum() || type->is_floating() || type->is_ptr());
}
