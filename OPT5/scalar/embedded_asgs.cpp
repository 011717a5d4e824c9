// Assignments within expressions become statements of their own.
//
// A statement is walked in the order in which it is evaluated, along the parts that always are. An
// assignment that is met can go in front of the statement when everything evaluated before it has
// no effect and reads nothing that it changes. Where it was, its value is read from its target, or
// stands again when it is a constant or another variable. A step x++ of which the statement uses
// the old value, and x nowhere else, is made behind it. The left operand of a COMMAOP, which is
// there for its effect alone, goes the same way. What has been taken out is a statement that is
// looked at in turn, from inside out.
#include "OPT5/driver/global_flags.h"
#include "OPT5/driver/log.h"
#include "OPT5/scalar/alias.h"
#include "OPT5/scalar/name_uses.h"
#include "OPT5/scalar/scalar.h"

namespace {
class PROMOTER {
public:
    // The statement of the cell at the link; the link moves along with the cell.
    void statement(LIST **&link);

private:
    void visit(NODE *&slot);
    void visit_operands(NODE *node);
    void visit_target(NODE *lvalue);
    void visit_in_turn(NODE *&left, NODE *&right);
    void try_assignment(NODE *&slot);
    void try_comma(NODE *&slot);
    bool may_go_first(const NODE *effect) const;
    void put_first(NODE *effect);
    void visit_steps(NODE *&slot);

    LIST **link = nullptr;
    NODE *stmt = nullptr;
    std::vector<const NODE *> before; // what is evaluated ahead of the place of the walk
};

bool is_plain_assignment(const NODE *node) {
    return node->op == OP::ASG || node->op == OP::STASG;
}

bool have_one_type(TYPE *a, TYPE *b) {
    return essential_type(a) == essential_type(b);
}

bool is_number(const NODE *node) {
    return node->op == OP::ICON || node->op == OP::FCON;
}

// What stands for the value of the assignment once it has been done: a tree that is copied, or
// null.
const NODE *value_after(const NODE *asg) {
    const NODE *target = asg->left, *source = asg->right;
    if (!have_one_type(asg->type, target->type) || node_is_volatile_access(target)) return nullptr;
    if (target->op == OP::NAME) return target;
    const bool is_bitfield = (target->op == OP::STDOT || target->op == OP::STREF) &&
                             target->right->op == OP::FIELD && target->right->u.field.mdata &&
                             target->right->u.field.mdata->is_bitfield;
    if (asg->op != OP::ASG || is_bitfield || !have_one_type(source->type, target->type))
        return nullptr;
    if (is_number(source)) return source;
    const bool is_variable = source->op == OP::NAME && is_register_scalar(source->u.name.sym);
    return is_variable && have_one_type(source->type, source->u.name.sym->type) ? source : nullptr;
}

bool PROMOTER::may_go_first(const NODE *effect) const {
    for (const NODE *tree : before)
        if (tree_has_side_effects(tree) || tree_may_modify_value(effect, tree)) return false;
    return true;
}

void PROMOTER::put_first(NODE *effect) {
    dprintf("\n\tAn embedded assignment becomes a statement: %s\n",
            print_debug ? infix_text(effect, 200).c_str() : "");
    *link = mkelist(effect, *link, (*link)->psn);
    link = &(*link)->rest;
}

void PROMOTER::try_assignment(NODE *&slot) {
    NODE *asg = slot;
    const NODE *value = value_after(asg);
    if (!value || !may_go_first(asg)) return;
    slot = copy_tree(value, true);
    put_first(asg);
}

void PROMOTER::try_comma(NODE *&slot) {
    NODE *comma = slot;
    if (!may_go_first(comma->left)) return;
    slot = comma->right;
    NODE *effect = peel_for_effect(comma->left);
    erase_node(comma);
    if (effect) put_first(effect);
}

// Once one of the operands has been visited it is ahead of the other.
void PROMOTER::visit_in_turn(NODE *&first, NODE *&second) {
    visit(first);
    before.push_back(first);
    visit(second);
    before.pop_back();
}

void PROMOTER::visit_target(NODE *lvalue) {
    for (; lvalue->op == OP::STDOT; lvalue = lvalue->left) {
    }
    if (lvalue->op == OP::UMULT || lvalue->op == OP::STREF) visit(lvalue->left);
}

void PROMOTER::visit_operands(NODE *node) {
    switch (node->op) {
    case OP::QUEST:
    case OP::ANDAND:
    case OP::OROR: visit(node->left); return; // the rest may not be evaluated
    case OP::UAND: visit_target(node->left); return;
    case OP::NASSERT:
    case OP::ASSERT: return;
    case OP::STDOT:
    case OP::STREF: visit(node->left); return;
    case OP::COMMAOP:
        visit(node->left);
        if (node->left && node->right) {
            before.push_back(node->left);
            visit(node->right);
            before.pop_back();
        }
        return;
    default: break;
    }
    if (opcode_is_ASG(node->op) || node->op == OP::PLUSPLUS || node->op == OP::MINMIN) {
        // The address of the target is computed first; what an update reads there comes last.
        const bool has_address = node->left->op != OP::NAME;
        visit_target(node->left);
        const NODE *lvalue = node->left;
        for (; lvalue->op == OP::STDOT; lvalue = lvalue->left) {
        }
        if (has_address && lvalue->left) before.push_back(lvalue->left);
        visit(node->right);
        if (has_address && lvalue->left) before.pop_back();
        return;
    }
    if (node->left && node->right)
        visit_in_turn(node->left, node->right);
    else if (node->left)
        visit(node->left);
}

void PROMOTER::visit(NODE *&slot) {
    visit_operands(slot);
    if (is_plain_assignment(slot) || op_of_opASG[slot->op] != OP::ILLOP)
        try_assignment(slot);
    else if (slot->op == OP::COMMAOP)
        try_comma(slot);
}

// A step whose variable stands nowhere else in the statement can be made behind it.
void PROMOTER::visit_steps(NODE *&slot) {
    NODE *node = slot;
    if (!node || node->op == OP::QUEST || node->op == OP::ANDAND || node->op == OP::OROR) return;
    const bool is_step = node->op == OP::PLUSPLUS || node->op == OP::MINMIN;
    if (!is_step || node == stmt || node->left->op != OP::NAME) {
        visit_steps(node->left);
        visit_steps(node->right);
        return;
    }
    const SYMTAB *sym = node->left->u.name.sym;
    if (!is_register_scalar(sym) || sym->type->is_bool() || !have_one_type(node->type, sym->type))
        return;
    int occurrences = 0;
    for_each_name((*link)->first,
                  [&](NODE *&name, NAME_USE) { occurrences += name->u.name.sym == sym; });
    if (occurrences != 1) return;
    slot = copy_tree(node->left, true);
    node->op = node->op == OP::PLUSPLUS ? OP::PLUSASG : OP::MINUSASG;
    LIST *cell = *link;
    cell->rest = mkelist(node, cell->rest, cell->psn);
}

void PROMOTER::statement(LIST **&link_) {
    link = link_;
    stmt = (*link)->first;
    switch (stmt->op) {
    case OP::IF:
    case OP::CBRANCH:
    case OP::SWITCH: visit(stmt->left); break;
    case OP::RETURN: visit(stmt->right); break;
    case OP::URETURN:
    case OP::BRANCH:
    case OP::LABELDEF: break;
    default: visit_operands(stmt); visit_steps(stmt);
    }
    link_ = link;
}

bool has_embedded_effect(const NODE *tree, bool is_root) {
    for (; tree; tree = tree->left, is_root = false) {
        const bool is_effect = opcode_is_ASG(tree->op) || tree->op == OP::COMMAOP ||
                               tree->op == OP::PLUSPLUS || tree->op == OP::MINMIN;
        if (!is_root && is_effect) return true;
        if (tree->right && has_embedded_effect(tree->right, false)) return true;
    }
    return false;
}
} // namespace

void promote_all_embedded_assignments() {
    if (opt_level() < 1) return;
    init_aliasing_info();
    for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink) {
        bb->statements = promote_toplevel_COMMAOPs_in_list(bb->statements);
        for (LIST **link = &bb->statements; *link; link = &(*link)->rest)
            if (!tree_is_arg_prolog((*link)->first) && has_embedded_effect((*link)->first, true))
                PROMOTER().statement(link);
    }
}
