#include "tests/simp/normal_form.h"

#include "OPT5/rep/bbutils.h"
#include "OPT5/rep/dump_tree.h"
#include "OPT5/rep/symbol.h"
#include "OPT5/simulfp/simul_fval.h"

#include <cstring>

namespace {
bool is_constant(const NODE *tree) {
    return tree->op == OP::ICON || tree->op == OP::FCON;
}

bool is_commutative(int op) {
    return commute_inv[op] == op;
}

bool is_associative(const NODE *tree) {
    switch (tree->op) {
    case OP::PLUS:
    case OP::MULT:
    case OP::ANDB:
    case OP::ORB:
    case OP::XORB: return tree->type->is_int_or_enum();
    default: return false;
    }
}

// Operators whose operands may begin with effects: those that have no value of their own, and those
// that do not evaluate all their operands.
bool may_hold_COMMAOP(int op) {
    switch (op) {
    case OP::COLON:
    case OP::ANDAND:
    case OP::OROR:
    case OP::RETURN:
    case OP::SWITCH:
    case OP::COMMA:
    case OP::PCOMMA:
    case OP::COMMAOP:
    case OP::CALL:
    case OP::ICALL:
    case OP::MEMCPY:
    case OP::NASSERT:
    case OP::IF:
    case OP::CBRANCH: return true;
    default: return false;
    }
}

// A left operand that effects in the right one cannot change, so that these can go before both.
bool is_fixed(const NODE *left, int parent) {
    if (is_constant(left) || left->op == OP::SCON) return true;
    if (left->op == OP::UAND) return left->left->op == OP::NAME;
    return opcode_is_ASG(parent) && left->op == OP::NAME;
}

const char *broken_promise_of(const NODE *tree) {
    const NODE *left = tree->left, *right = tree->right;
    if (tree->type != tree->type->normalized()) return "a type is not normalized";
    switch (tree->op) {
    case OP::PMCONV:
    case OP::PVCONV: return "a scaling is left";
    case OP::EXCLAIM: return "an EXCLAIM is left";
    case OP::EQ:
        if (is_constant(right) && right->op == OP::ICON && right->u.lval.is_zero() &&
            tree_is_trivially_invertible(left))
            return "a negated comparison is not inverted";
        break;
    default: break;
    }
    if (left && left->op == OP::COMMAOP && !may_hold_COMMAOP(tree->op))
        return "a COMMAOP is a left operand";
    if (right && right->op == OP::COMMAOP && !may_hold_COMMAOP(tree->op) &&
        is_fixed(left, tree->op))
        return "a COMMAOP is a right operand, beside something fixed";
    if (left && right && is_commutative(tree->op) && is_constant(left) && !is_constant(right))
        return "a constant stands on the left";
    if (!is_associative(tree)) return nullptr;
    if (right->op == tree->op && equiv_mtypes(right->type, tree->type))
        return "a chain leans right";
    if (left->op == tree->op && equiv_mtypes(left->type, tree->type) && is_constant(left->right))
        return "the constant of a chain is not outermost";
    return nullptr;
}

bool same_payload(const NODE *a, const NODE *b) {
    switch (a->op) {
    case OP::NAME: return a->u.name.sym == b->u.name.sym;
    case OP::ICON:
    case OP::SWITCH: return a->u.lval == b->u.lval;
    case OP::FCON: return f_bit_eq(*a->u.fcon.value, *b->u.fcon.value);
    case OP::FIELD: return a->u.field.mdata == b->u.field.mdata;
    case OP::LABEL: return a->label_id() == b->label_id();
    case OP::ICALL: return std::strcmp(a->icall_name(), b->icall_name()) == 0;
    default: return true;
    }
}

void append_typed(std::string &text, const NODE *tree) {
    text += std::string("(") + node_operator_name[tree->op] + ":";
    append_type(text, tree->type);
    std::string payload;
    append_payload(payload, tree);
    if (!payload.empty()) text += " " + payload;
    for (const NODE *operand : {tree->left, tree->right})
        if (operand) append_typed(text += " ", operand);
    text += ")";
}
} // namespace

std::string find_broken_promise(const NODE *tree) {
    if (const char *promise = broken_promise_of(tree))
        return std::string(promise) + " in " + stmt2infix(tree);
    for (const NODE *operand : {tree->left, tree->right}) {
        if (!operand) continue;
        std::string found = find_broken_promise(operand);
        if (!found.empty()) return found;
    }
    return {};
}

bool same_trees(const NODE *a, const NODE *b) {
    if (!a || !b) return a == b;
    return a->op == b->op && a->type == b->type && same_payload(a, b) &&
           same_trees(a->left, b->left) && same_trees(a->right, b->right);
}

std::string typed_text(const NODE *tree) {
    std::string text;
    append_typed(text, tree);
    return text;
}
