// What every tree from a file goes through before the optimizer sees it.
#include "OPT5/driver/abort.h"
#include "OPT5/icode/opt_client.h"
#include "OPT5/icode/records/if_schema.h"
#include "OPT5/rep/bbutils.h"

#include <string>

namespace {
[[noreturn]] void malformed(const NODE *node, const char *what) {
    const std::string message = "Malformed tree in the intermediate file: " +
                                (node ? if_opcode_name(node->op) + ": " : "") + what;
    abort_optimizer(message.c_str());
}

void require(bool condition, const NODE *node, const char *what) {
    if (!condition) malformed(node, what);
}

bool is_lvalue(const NODE *tree) {
    switch (tree->op) {
    case OP::NAME:
    case OP::UMULT:
    case OP::STDOT:
    case OP::STREF:
    case OP::VFIELD:
    case OP::STFIELD:
    case OP::DDNODE:
    case OP::REAL:
    case OP::IMAG: return true;
    default: return false;
    }
}

bool is_jump(int op) {
    switch (op) {
    case OP::BRANCH:
    case OP::CBRANCH:
    case OP::SWITCH:
    case OP::RETURN:
    case OP::URETURN: return true;
    default: return false;
    }
}

// Opcodes of statements, labels and case lists, whose type nobody reads.
bool type_is_immaterial(int op) {
    switch (op) {
    case OP::LABEL:
    case OP::CASE:
    case OP::DEFAULT:
    case OP::COMMA:
    case OP::PCOMMA:
    case OP::ENDINIT:
    case OP::SKIP:
    case OP::NASSERT:
    case OP::ASSERT:
    case OP::FIELD:
    case OP::COLON:
    case OP::NOP:
    case OP::LOOP:
    case OP::ENDLOOP: return true;
    default: return is_jump(op);
    }
}

bool is_pointer_to_function(const NODE *tree) {
    return tree->type->is_ptr() && tree->type->type_pointed_to() &&
           tree->type->type_pointed_to()->is_func();
}

// What the node itself and the kinds of its children must be; the children are checked on their
// own.
void check_node(const NODE *node) {
    const NODE *left = node->left, *right = node->right;
    switch (node->op) {
    case OP::NAME: require(node->u.name.sym, node, "no symbol"); break;
    case OP::FIELD:
        require(node->u.field.csu && node->u.field.mdata, node, "no such member");
        break;
    case OP::STDOT:
    case OP::STREF:
        require(right->op == OP::FIELD, node, "the right operand is not a member");
        break;
    case OP::UMULT:
        require(left->type && left->type->is_ptr(), node, "the operand is not a pointer");
        break;
    case OP::UAND: require(is_lvalue(left), node, "the operand is not an lvalue"); break;
    case OP::ICON:
    case OP::LCON:
        require(node->type->is_int_or_enum() || node->type->is_ptr(), node,
                "not an integer constant");
        break;
    case OP::FCON: require(node->type->is_floating(), node, "not a floating constant"); break;
    case OP::CALL:
    case OP::UCALL:
        require(left->type && is_pointer_to_function(left), node,
                "the callee is not a pointer to function");
        break;
    case OP::QUEST: require(right->op == OP::COLON, node, "no COLON"); break;
    case OP::BRANCH:
    case OP::DEFAULT: require(left->op == OP::LABEL, node, "no label"); break;
    case OP::CBRANCH: require(right->op == OP::LABEL, node, "no label"); break;
    case OP::CASE:
        require(left->op == OP::ICON && right->op == OP::LABEL, node, "not a constant and a label");
        break;
    case OP::RETURN:
    case OP::URETURN: require(left->op == OP::NAME, node, "no function name"); break;
    default:
        if (opcode_is_ASG(node->op) || node->op == OP::PLUSPLUS || node->op == OP::MINMIN)
            require(is_lvalue(left), node, "the target is not an lvalue");
    }
}

void check_subtree(NODE *node, int parent);

// The case list of a SWITCH: a left-towered COMMA chain of CASEs that may end in a DEFAULT.
void check_cases(const NODE *node, NODE *cases) {
    for (; cases->op == OP::COMMA; cases = cases->left) {
        require(cases->left && cases->right, cases, "too few operands");
        require(cases->right->op == OP::CASE || cases->right->op == OP::DEFAULT, node,
                "a case list holds something else");
        check_subtree(cases->right, OP::SWITCH);
        if (!cases->type) cases->type = tp->int_type();
    }
    require(cases->op == OP::CASE || cases->op == OP::DEFAULT, node,
            "a case list holds something else");
    check_subtree(cases, OP::SWITCH);
}

// Recursion goes down the left operand only as deep as the reader's nesting limit.
void check_subtree(NODE *node, int parent) {
    for (; node; parent = node->op, node = node->right) {
        require(node->op != OP::VREG, node, "the optimizer's trees hold no virtual registers");
        require(node->op < op_file_limit && op_file_arity[node->op] != OP_NONE, node,
                "not an opcode of a file");
        if (!node->type && type_is_immaterial(node->op)) node->type = tp->int_type();
        require(node->type, node, "no type");
        const std::uint8_t operands = op_file_arity[node->op];
        const int found = (node->left != nullptr) + (node->right != nullptr);
        require(op_is_file_leaf(node->op) || found >= operands, node, "too few operands");
        if (parent != OP::ILLOP) {
            require(!is_jump(node->op), node, "a jump below an operator");
            require(node->op != OP::COLON || parent == OP::QUEST, node, "outside a QUEST");
            require(node->op != OP::FIELD || parent == OP::STDOT || parent == OP::STREF ||
                        parent == OP::VFIELD || parent == OP::STFIELD,
                    node, "outside STDOT and STREF");
            require((node->op != OP::CASE && node->op != OP::DEFAULT) || parent == OP::SWITCH, node,
                    "outside a SWITCH");
        }
        check_node(node);
        check_subtree(node->left, node->op);
        if (node->op == OP::SWITCH) {
            check_cases(node, node->right);
            return;
        }
    }
}
} // namespace

void check_incoming_tree(NODE *tree, bool statement) {
    require(tree != nullptr, nullptr, "no tree");
    if (!statement) require(!is_jump(tree->op), tree, "a jump in a value");
    require(tree->op != OP::COLON && tree->op != OP::FIELD && tree->op != OP::CASE &&
                tree->op != OP::DEFAULT,
            tree, "not a statement");
    check_subtree(tree, OP::ILLOP);
}

// A count of the edge profile stands on the node that it wraps.
static NODE *unwrap_EPVAL(NODE *node) {
    while (node && node->op == OP::EPVAL) {
        NODE *wrapped = node->left;
        if (!wrapped) malformed(node, "too few operands");
        const bool has_count = wrapped->op == OP::LABEL || wrapped->op == OP::QUEST ||
                               wrapped->op == OP::COLON || wrapped->op == OP::EPVAL;
        if (!has_count) malformed(node, "a count of something that has none");
        wrapped->set_edge_profile_value(node->get_edge_profile_value());
        if (currfuninfo) currfuninfo->is_profiled = true;
        erase_node(node);
        node = wrapped;
    }
    return node;
}

NODE *unwrap_profile_counts(NODE *tree) {
    NODE *root = unwrap_EPVAL(tree);
    for (NODE *node = root; node; node = node->right) {
        node->left = unwrap_profile_counts(node->left);
        node->right = unwrap_EPVAL(node->right);
    }
    return root;
}

NODE *expr_cleanup(NODE *tree) {
    for (NODE *node = tree; node; node = node->right) {
        expr_cleanup(node->left);
        if (node->type && node->type->is_enum())
            node->type = normalized_underlying_type(node->type);
        if (node->op == OP::NAME) node->u.name.sym = get_sym_def_for_decl(node->u.name.sym);
    }
    return tree;
}

void opt_symbol_init(SYMTAB *sym) {
    for (NODE *&tree : sym->init->trees) {
        check_incoming_tree(tree, false);
        tree = expr_cleanup(tree);
    }
}
