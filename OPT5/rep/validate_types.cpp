// Rules of operand types and operand kinds, opcode by opcode.
#include "OPT5/driver/log.h"
#include "OPT5/rep/dump_tree.h"
#include "OPT5/rep/program.h"
#include "OPT5/rep/validate.h"

#include <utility>

namespace {
// Of a vector the type of an element: a vector goes where its elements go. Null for other arrays.
const TYPE *element_type(const NODE *tree) {
    const TYPE *type = tree ? tree->type : nullptr;
    if (!type || !type->is_array()) return type;
    return type->is_vector() ? type->elem_type() : nullptr;
}

bool is_arithmetic(const NODE *tree) {
    const TYPE *type = element_type(tree);
    return type && type->is_arithmetic();
}

bool is_scalar(const NODE *tree) {
    const TYPE *type = element_type(tree);
    return type && type->is_scalar();
}

bool is_integer(const NODE *tree) {
    return tree && tree->type && tree->type->is_int_or_enum();
}

bool is_integer_or_vector(const NODE *tree) {
    const TYPE *type = element_type(tree);
    return type && type->is_int_or_enum();
}

bool is_pointer(const NODE *tree) {
    return tree && tree->type && (tree->type->is_ptr() || tree->type->is_ref());
}

// The function type that a callee leads to, or null.
const TYPE *callee_type(const NODE *callee) {
    if (!is_pointer(callee)) return nullptr;
    const TYPE *type = callee->type->type_pointed_to();
    return type && type->is_func() ? type->stds() : nullptr;
}

int named_parameter_count(const TYPE *function) {
    const PARAM_ELEM *parm = function->sub.func.params;
    if (parm && !parm->next && parm->type && parm->type->is_void()) return 0;
    int count = 0;
    for (; parm; parm = parm->next)
        ++count;
    return count;
}

bool is_lvalue(const NODE *tree) {
    while (tree) {
        switch (tree->op) {
        case OP::NAME:
        case OP::UMULT:
        case OP::STDOT:
        case OP::STREF:
        case OP::FIELD:
        case OP::STFIELD:
        case OP::VFIELD:
        case OP::DDNODE: return true;
        case OP::SSA_USE:
        case OP::SSA_DEF:
        case OP::SSA_MU:
        case OP::SSA_CHI:
        case OP::OUIALIGN:
        case OP::NONALIGN:
        case OP::IDENTITY:
        case OP::SIMDHI:
        case OP::SIMDLO:
        case OP::REAL:
        case OP::IMAG: tree = tree->left; break; // a part of it, or the same in a wrapper
        case OP::CSE_DUPE:
        case OP::CSE_ORIG: tree = tree->right; break;
        default: return false;
        }
    }
    return false;
}
} // namespace

bool require_lvalue_tree_node(const NODE *tree) {
    if (is_lvalue(tree)) return true;
    if (print_debug && fdebug) {
        constexpr std::size_t longest_text = 2000;
        // On the first pass the tree is the front end's.
        const bool is_own = fileinfo && fileinfo->pass_number != 1;
        dprintf("\n%s invalid lvalue tree: %s\n", is_own ? "Optimization Error!" : "Error!",
                infix_text(tree, longest_text).c_str());
    }
    return false;
}

// --- what a tree must be

void STMT_VALIDATOR::check_lvalue(const NODE *tree, const char *message, const NODE *node) {
    if (!require_lvalue_tree_node(tree)) complain(message, node);
}

void STMT_VALIDATOR::check_arithmetic(const NODE *tree) {
    if (!is_arithmetic(tree)) complain("Tree must have arithmetic type", tree);
}

void STMT_VALIDATOR::check_integer(const NODE *tree) {
    if (!is_integer(tree)) complain("Tree must have integer type", tree);
}

void STMT_VALIDATOR::check_integer_or_vector(const NODE *tree) {
    if (!is_integer_or_vector(tree))
        complain("Tree must have integer or vector of integer type", tree);
}

void STMT_VALIDATOR::check_pointer(const NODE *tree) {
    if (!is_pointer(tree)) complain("Tree must have pointer type", tree);
}

void STMT_VALIDATOR::check_scalar(const NODE *tree) {
    if (!is_scalar(tree)) complain("Tree must have scalar type", tree);
}

void STMT_VALIDATOR::check_csu(const NODE *tree) {
    if (!tree || !tree->type || !tree->type->is_csu()) complain("Tree must have CSU type", tree);
}

// --- the opcodes

// PLUS and MINUS, and the assignments and steps that do the same to their target.
void STMT_VALIDATOR::check_additive(const NODE *node) {
    const NODE *left = node->left, *right = node->right;
    const bool subtracts =
        node->op == OP::MINUS || node->op == OP::MINUSASG || node->op == OP::MINMIN;
    if (node->op == OP::PLUS && is_pointer(right)) std::swap(left, right);
    if (!is_pointer(left)) {
        check_arithmetic(left);
        check_arithmetic(right);
        check_arithmetic(node);
    } else if (subtracts && is_pointer(right)) {
        check_integer(node);
    } else if (subtracts) {
        check_integer(right);
        check_pointer(node);
    } else {
        check_arithmetic(right);
        check_pointer(node);
    }
}

void STMT_VALIDATOR::check_additive_assignment(const NODE *node) {
    check_lvalue(node->left, "Non-lvalue appears as LHS of assignment", node);
    if (node->op == OP::PLUSPLUS || node->op == OP::MINMIN)
        require_operator(OP::ICON, node->right, node);
    check_additive(node);
}

void STMT_VALIDATOR::check_call(const NODE *node) {
    const unsigned eht_id = node->u.call.eht_id;
    if (eht_id != 0 && !funinfo->eht)
        complain("EHT ID nonzero when no EHT present", node);
    else if (eht_id != 0 && eht_id >= funinfo->eht_size)
        complain("EHT ID exceeds EHT bounds", node);
    const TYPE *function = callee_type(node->left);
    if (!function) {
        complain("Tree must have function pointer type", node->left);
        return;
    }
    const unsigned extra = node->u.call.num_vargs;
    if (!function->is_vararg()) {
        if (extra != 0) complain("Extra-arg count nonzero for non-vararg function", node);
        return;
    }
    // A call that passes the named parameters alone has no extra arguments to count.
    const int passed = node->op == OP::CALL ? arg_list_count(node->right) : 0;
    if (extra == 0 && passed > named_parameter_count(function))
        complain("Extra-arg count zero for vararg function", node);
}

void STMT_VALIDATOR::check_types(const NODE *node) {
    const NODE *left = node->left, *right = node->right;
    switch (node->op) {
    case OP::NAME:
        if (!node->u.name.sym) complain("NAME node has NULL symbol", node);
        break;
    case OP::PLUS:
    case OP::MINUS: check_additive(node); break;
    case OP::PLUSASG:
    case OP::MINUSASG:
    case OP::PLUSPLUS:
    case OP::MINMIN: check_additive_assignment(node); break;
    case OP::MULTASG:
    case OP::DIVASG:
        check_lvalue(left, "Non-lvalue appears as LHS of assignment", node);
        [[fallthrough]];
    case OP::MULT:
    case OP::DIV:
        check_arithmetic(left);
        check_arithmetic(right);
        break;
    case OP::UMULT:
        while (left && (left->op == OP::OUIALIGN || left->op == OP::NONALIGN))
            left = left->left;
        check_pointer(left);
        if (right) check_integer(right);
        break;
    case OP::UAND: check_lvalue(left, "Non-lvalue appears under UAND", node); break;
    case OP::ANDBASG:
    case OP::ORBASG:
    case OP::XORBASG:
    case OP::MODASG:
    case OP::SLLASG:
    case OP::SRLASG:
        check_lvalue(left, "Non-lvalue appears as LHS of assignment", node);
        [[fallthrough]];
    case OP::ANDB:
    case OP::ORB:
    case OP::XORB:
    case OP::MOD:
    case OP::SLL:
    case OP::SRL:
        check_integer_or_vector(left);
        check_integer_or_vector(right);
        break;
    case OP::QUEST:
        check_scalar(left);
        require_operator(OP::COLON, right, node);
        break;
    case OP::ANDAND:
    case OP::OROR:
        check_scalar(left);
        check_scalar(right);
        break;
    case OP::IF:
        check_scalar(left);
        if (const NODE *arms = require_operator(OP::COMMA, right, node)) {
            require_operator(OP::LABEL, arms->left, node);
            require_operator(OP::LABEL, arms->right, node);
        }
        break;
    case OP::CBRANCH:
        check_scalar(left);
        require_operator(OP::LABEL, right, node);
        break;
    case OP::RETURN:
    case OP::URETURN:
        left = skip_ssa_operators(left);
        if (!left || left->op != OP::NAME || !left->u.name.sym ||
            left->u.name.sym != funinfo->symbol)
            complain("Incorrect LHS for RETURN", node);
        break;
    case OP::SWITCH: check_integer(left); break;
    case OP::CASE:
        require_operator(OP::ICON, left, node);
        require_operator(OP::LABEL, right, node);
        break;
    case OP::DEFAULT:
    case OP::BRANCH: require_operator(OP::LABEL, left, node); break;
    case OP::ASG: check_lvalue(left, "Non-lvalue appears as LHS of assignment", node); break;
    case OP::STASG:
        check_csu(left);
        check_csu(right);
        break;
    case OP::STDOT:
        check_csu(left);
        require_operator(OP::FIELD, right, node);
        break;
    case OP::STREF:
        check_pointer(left);
        require_operator(OP::FIELD, right, node);
        break;
    case OP::CALL:
    case OP::UCALL: check_call(node); break;
    case OP::SCONV: check_arithmetic(left); break;
    case OP::PCONV:
        check_scalar(left);
        // It also leads back from a pointer to an integer.
        if (!is_pointer(left) || !is_integer(node)) check_pointer(node);
        break;
    case OP::ISP2CHAR:
        check_scalar(left);
        check_pointer(node);
        break;
    case OP::PMCONV:
        check_integer(left);
        check_integer(node);
        require_operator(OP::ICON, right, node);
        break;
    case OP::PVCONV:
        check_integer(node);
        // Of two pointers, or of their difference and the size of what they point at.
        if (is_pointer(left)) {
            check_pointer(right);
        } else {
            check_integer(left);
            require_operator(OP::ICON, right, node);
        }
        break;
    case OP::ASSERT:
        if (right) check_pointer(right);
        [[fallthrough]];
    case OP::NASSERT: check_integer(left); break;
    default: break;
    }
}
