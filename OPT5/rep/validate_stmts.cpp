// Rules of blocks, statements and the shape of trees.
#include "OPT5/driver/log.h"
#include "OPT5/rep/dump_tree.h"
#include "OPT5/rep/validate.h"

namespace {
constexpr std::size_t longest_text = 2000; // of a tree in a report

bool is_volatile_access(const NODE *node) {
    switch (node->op) {
    case OP::NAME:
    case OP::UMULT:
    case OP::STDOT:
    case OP::STREF: return node->type && node->type->is_volatile();
    default: return false;
    }
}

// Whether the operator at the top of a statement can be there for an effect. What an intrinsic does
// is not known here.
bool top_operator_has_effect(const NODE *top) {
    switch (top->op) {
    case OP::COMMAOP:
    case OP::QUEST:
    case OP::PCOMMA:
    case OP::SSA_MU:
    case OP::ICALL:
    case OP::UICALL:
    case OP::DFG_HOIST:
    case OP::DFG_SINK: return true;
    case OP::ICON: return top->u.lval.is_zero(); // the empty statement
    default: return side_effects[top->op] != SE_NONE || is_volatile_access(top);
    }
}

// The operator that a statement is there for.
const NODE *top_of_statement(const NODE *tree) {
    const NODE *top = skip_ssa_operators(tree);
    return top ? top : tree; // a use or definition on its own
}

const NODE *skip_CSE_operators(const NODE *node) {
    while (node && (node->op == OP::CSE_DUPE || node->op == OP::CSE_ORIG))
        node = node->right;
    return node;
}
} // namespace

// --- reports

void STMT_VALIDATOR::complain(const char *message, const NODE *node) {
    ++complaints;
    if (!print_debug || !fdebug) return;
    dprintf("\n +++++ INVALID NODE FOUND BY validate_stmts()\n\t%s\n", message);
    dprintf("\tINVALID NODE: %s\n", infix_text(node, longest_text).c_str());
    dprintf("\tWITHIN STMT:  %s\n", infix_text(stmt, longest_text).c_str());
}

void STMT_VALIDATOR::complain_of_block(const char *message, const BBLK *bb) {
    ++complaints;
    dprintf("\n +++++ INVALID NODE FOUND BY validate_stmts()\n\t%s\n\tIN BLOCK:     %s\n", message,
            bb_name(bb).c_str());
}

void STMT_VALIDATOR::complain_of_operator(const char *message, int expected, const NODE *node) {
    ++complaints;
    if (!print_debug || !fdebug) return;
    dprintf("\n +++++ INVALID NODE FOUND BY validate_stmts()\n\t%s\n", message);
    if (expected != OP::ILLOP) dprintf("\tExpected operator: %s\n", node_operator_name[expected]);
    dprintf("\tin %s\n", infix_text(node, longest_text).c_str());
    dprintf("\tin statement: %s\n", infix_text(stmt, longest_text).c_str());
}

const NODE *STMT_VALIDATOR::require_operator(int op, const NODE *tree, const NODE *node) {
    tree = skip_CSE_operators(skip_ssa_operators(tree));
    if (tree && tree->op == op) return tree;
    complain_of_operator(tree ? "Unexpected operator in tree node" : "Unexpected NULL tree node",
                         op, node);
    return nullptr;
}

// --- blocks and statements

STMT_VALIDATOR::STMT_VALIDATOR(const FUNINFO *funinfo_)
    : funinfo(funinfo_), is_variadic(funinfo_->symbol && funinfo_->symbol->type &&
                                     funinfo_->symbol->type->is_vararg()),
      returns_by_cctor(funinfo_->symbol &&
                       symbol_has_pragma(funinfo_->symbol, PRG_FUNC_RET_BY_CCTOR)) {}

int STMT_VALIDATOR::run() {
    for (const BBLK *bb = funinfo->bb_list; bb; bb = bb->dflink)
        if (!bb->lir_head) check_block(bb);
    return complaints;
}

void STMT_VALIDATOR::check_block(const BBLK *bb) {
    if (!bb->statements) {
        complain_of_block("The basic block has no statement list", bb);
        return;
    }
    for (const LIST *cell = bb->statements; cell; cell = cell->rest) {
        if (!cell->first) {
            complain_of_block("NULL statement", bb);
            continue;
        }
        const NODE *top = top_of_statement(cell->first);
        const bool is_first = bb == funinfo->bb_list && cell == bb->statements;
        const bool is_binary = top->left && top->right;
        check_statement(cell, is_first && is_binary && tree_is_arg_prolog(top));
    }
}

void STMT_VALIDATOR::check_statement(const LIST *cell, bool is_prolog) {
    stmt = cell->first;
    const NODE *top = top_of_statement(stmt);
    if (!top_operator_has_effect(top)) complain("Top-level operator has no side effects", top);
    if (cell->rest && op_ends_block(top->op))
        complain("This branch is not the last statement of its block", top);
    if (!cell->rest && !op_ends_block(top->op))
        complain("The last statement of a block must be a branch", top);
    check_tree(stmt, OP::ILLOP, is_prolog ? PLACE::SPINE : PLACE::OUTSIDE);
}

// --- trees

// `parent` is the operator that holds the tree, ILLOP above a statement. Recursion is as deep as
// the tree, which the reader has bounded.
void STMT_VALIDATOR::check_tree(const NODE *tree, int parent, PLACE place) {
    if (!check_operand_count(tree)) {
        if (tree->op == OP::ILLOP) return; // its operands are gone
        for (const NODE *operand : {tree->left, tree->right})
            if (operand) check_tree(operand, tree->op, PLACE::OUTSIDE);
        return;
    }
    check_place(tree, parent, place);
    check_types(tree);
    if (tree->op == OP::SWITCH) {
        check_tree(tree->left, tree->op, PLACE::OUTSIDE);
        check_cases(tree);
        return;
    }
    const bool is_wrapper = is_ssa_wrapper(tree); // parent and place show through it
    PLACE left = PLACE::OUTSIDE, right = PLACE::OUTSIDE;
    if (is_wrapper)
        left = place;
    else if (place == PLACE::SPINE || place == PLACE::PROLOG)
        left = right = PLACE::PROLOG;
    if (tree->op == OP::PCOMMA) {
        check_PCOMMA(tree, place);
        const bool in_prolog = place == PLACE::SPINE;
        left = in_prolog ? PLACE::SPINE : PLACE::STRAY_SPINE;
        const NODE *last = skip_ssa_operators(tree->right);
        if (last && last->op == OP::PCOMMA) right = left;
    }
    const bool was_in_NASSERT = in_NASSERT;
    in_NASSERT = in_NASSERT || tree->op == OP::NASSERT;
    const bool is_shared = tree->op == OP::CSE_DUPE || tree->op == OP::CSE_ORIG;
    if (tree->left && !is_shared) check_tree(tree->left, is_wrapper ? parent : tree->op, left);
    if (tree->right) check_tree(tree->right, tree->op, right);
    in_NASSERT = was_in_NASSERT;
}

bool STMT_VALIDATOR::check_operand_count(const NODE *node) {
    const int stated = number_of_operands[node->op];
    const int found = (node->left != nullptr) + (node->right != nullptr);
    const int allowed = stated + (node->op == OP::UMULT || node->op == OP::ASSERT);
    const char *message = nullptr;
    if (stated == OP_NONE)
        message = "Invalid node operator";
    else if (!node->left && node->right)
        message = "node->left == NULL, node->right != NULL";
    else if (node->op == OP::SSA_MU)
        return true;
    else if (node->op == OP::SWITCH && node->left && !node->right)
        message = "Missing SWITCH case";
    else if (found < stated)
        message = "Node has too few subtrees";
    else if (found > allowed)
        message = "Node has too many subtrees";
    if (message) complain(message, node);
    return !message;
}

void STMT_VALIDATOR::check_place(const NODE *node, int parent, PLACE place) {
    switch (node->op) {
    case OP::NAME: check_level_1_name(node, place); break;
    case OP::COLON:
        if (parent != OP::QUEST) complain("COLON appears outside a QUEST", node);
        break;
    case OP::COMMA:
        if (node->right->op == OP::COMMA) complain("Right-towered COMMA tree", node);
        break;
    case OP::CASE:
    case OP::DEFAULT:
        if (parent != OP::SWITCH)
            complain_of_operator("Invalid operator in tree node", OP::ILLOP, node);
        break;
    default:
        if (parent != OP::ILLOP && op_ends_block(node->op))
            complain("This branch is not the last statement of its block", node);
        break;
    }
}

void STMT_VALIDATOR::check_PCOMMA(const NODE *node, PLACE place) {
    const NODE *left = skip_ssa_operators(node->left), *right = skip_ssa_operators(node->right);
    if (right && right->op == OP::PCOMMA) complain("Right-towered PCOMMA tree", node);
    if (place == PLACE::OUTSIDE || place == PLACE::PROLOG)
        complain("PCOMMA appears outside valid arg prolog", node);
    if (place != PLACE::SPINE) return;
    for (const NODE *element : {left, right})
        if (!element || element->op != OP::PCOMMA) check_PCOMMA_element(element);
}

// An element of the prolog gives the variable of the body its value.
void STMT_VALIDATOR::check_PCOMMA_element(const NODE *element) {
    const bool assigns =
        element && (element->op == OP::ASG || element->op == OP::STASG || element->op == OP::ARASG);
    if (!assigns) complain("Improper PCOMMA tree", element);
}

// A parameter as passed exists until the prolog has copied it; in a variadic function it marks
// where the other arguments begin. The promise that a hidden result argument is a valid address is
// about the parameter as passed, and is never evaluated.
void STMT_VALIDATOR::check_level_1_name(const NODE *name, PLACE place) {
    const SYMTAB *sym = name->u.name.sym;
    if (!sym || sym->level != 1 || !sym->type || !sym->type->is_scalar()) return;
    if (place == PLACE::SPINE || place == PLACE::PROLOG || is_variadic) return;
    if (in_NASSERT && returns_by_cctor) return;
    complain("Level 1 scalar parameter appears outside valid arg prolog", name);
}

// The cases of a SWITCH: a left-towered COMMA chain that ends, on the right, in the DEFAULT.
void STMT_VALIDATOR::check_cases(const NODE *node) {
    int defaults = 0;
    const auto check_element = [&](const NODE *element, int expected) {
        if (!element) {
            complain("Missing SWITCH case", node);
            return;
        }
        defaults += element->op == OP::DEFAULT;
        // A single DEFAULT elsewhere has been found missing at the end.
        if (element->op == OP::DEFAULT && expected == OP::CASE) {
            if (defaults > 1) complain("Multiple DEFAULTs for SWITCH", node);
        } else if (!require_operator(expected, element, node)) {
            return;
        }
        check_tree(element, OP::SWITCH, PLACE::OUTSIDE);
    };
    int expected = OP::DEFAULT;
    const NODE *cases = node->right;
    for (; cases && cases->op == OP::COMMA; cases = cases->left) {
        if (cases->right && cases->right->op == OP::COMMA) {
            complain("Right-towered COMMA tree", cases);
            return;
        }
        check_element(cases->right, expected);
        expected = OP::CASE;
    }
    check_element(cases, expected);
}

int validate_stmts() {
    return currfuninfo ? STMT_VALIDATOR(currfuninfo).run() : 0;
}
