// From a function's list of statements to basic blocks.
//
// The list is walked backwards, so that the block that follows is known when a statement closes
// one: jumps close a block behind them, labels in front of them. All ways out of the function lead
// to one exit block, except those of statements that return a value.
#include "OPT5/driver/abort.h"
#include "OPT5/icode/if.h"
#include "OPT5/rep/cfg_pools.h"
#include "OPT5/rep/type_pkg.h"

#include <algorithm>
#include <utility>

namespace {
[[noreturn]] void malformed(const char *what) {
    const std::string message =
        "Function \"" + currfuninfo->name + "\" of the intermediate file: " + what;
    abort_optimizer(message.c_str());
}

BBLK *make_exit_block() {
    LS *scope = currfuninfo->root_scope ? currfuninfo->root_scope->level_2_scope() : nullptr;
    NODE *leave = maketree(OP::URETURN, mk_NAME(currfunc, scope), nullptr, tp->void_type(), scope);
    BBLK *exit = mkbblock(mkelist(leave, nullptr, nullptr), nullptr, currfuninfo);
    exit->is_exit = true;
    currfuninfo->label_counter = 0;
    exit->label = mklabel(0, nullptr, exit);
    currfuninfo->exit_bb = exit;
    return exit;
}

// --- jumps

// A copy of the label that the block jumps to at once, or else a label of the block.
NODE *label_for_default(BBLK *next, LS *scope) {
    const NODE *first = next->statements->first;
    if (first->op == OP::BRANCH) return copy_tree(first->left, true);
    return mk_LABELREF_to_bb(next, scope);
}

// The places of the cases, the first one deepest on the left.
std::vector<NODE **> places_of_cases(NODE *stmt) {
    std::vector<NODE **> places;
    NODE **place = &stmt->right;
    for (; *place && (*place)->op == OP::COMMA; place = &(*place)->left)
        places.push_back(&(*place)->right);
    places.push_back(place);
    std::reverse(places.begin(), places.end());
    for (NODE **it : places)
        if (!*it || ((*it)->op != OP::CASE && (*it)->op != OP::DEFAULT))
            malformed("a case list holds something else");
    return places;
}

// The list of cases ends in its one DEFAULT, which goes to the next block when there was none.
void complete_SWITCH(NODE *stmt, BBLK *next) {
    const std::vector<NODE **> places = places_of_cases(stmt);
    const auto is_default = [](NODE *const *place) { return (*place)->op == OP::DEFAULT; };
    const auto found = std::find_if(places.begin(), places.end(), is_default);
    if (found == places.end()) {
        NODE *label = label_for_default(next, stmt->scope);
        NODE *otherwise = maketree(OP::DEFAULT, label, nullptr, tp->int_type(), stmt->scope);
        stmt->right = maketree(OP::COMMA, stmt->right, otherwise, tp->int_type(), stmt->scope);
        return;
    }
    if (std::find_if(found + 1, places.end(), is_default) != places.end())
        malformed("a SWITCH has several DEFAULTs");
    for (auto it = found; it + 1 != places.end(); ++it)
        std::swap(**it, **(it + 1));
}

// A CBRANCH goes on to the next statement unless its condition is zero.
void CBRANCH_to_IF(NODE *stmt, BBLK *next) {
    NODE *true_label = mk_LABELREF_to_bb(next, stmt->scope);
    stmt->right = maketree(OP::COMMA, true_label, stmt->right, tp->int_type(), stmt->scope);
    stmt->op = OP::IF;
    stmt->type = tp->int_type();
}

NODE *URETURN_to_BRANCH(NODE *stmt) {
    NODE *jump = mk_BRANCH(currfuninfo->exit_bb, stmt->scope);
    erase_tree(stmt);
    return jump;
}

void check_IF(const NODE *stmt) {
    const NODE *arms = stmt->right;
    if (!arms || arms->op != OP::COMMA || !arms->left || arms->left->op != OP::LABEL ||
        !arms->right || arms->right->op != OP::LABEL)
        malformed("an IF has no two labels");
}

// --- blocks

class CUTTER {
public:
    explicit CUTTER(LIST *newest_first) : rest(newest_first), next(make_exit_block()) {}
    BBLK *cut(); // the first block

private:
    void put(LIST *cell);
    void put_in_front(LIST *cell);
    void put_jump(LIST *cell);
    void put_label(LIST *cell);
    void close_block();
    bool cell_precedes_prolog();

    LIST *rest; // statements before those in blocks, newest first
    BBLK *next; // the latest block
    LIST *current = nullptr, *current_last = nullptr;
    bool only_pragmas_left = false;
};

void CUTTER::close_block() {
    if (!current) return;
    if (!op_ends_block(current_last->first->op))
        current_last->rest = mkelist(mk_BRANCH(next, nullptr), nullptr, nullptr);
    next = mkbblock(current, next, currfuninfo);
    current = current_last = nullptr;
}

void CUTTER::put_in_front(LIST *cell) {
    cell->rest = current;
    current = cell;
    if (!current_last) current_last = cell;
}

void CUTTER::put_jump(LIST *cell) {
    close_block();
    NODE *&stmt = cell->first;
    switch (stmt->op) {
    case OP::URETURN: stmt = URETURN_to_BRANCH(stmt); break;
    case OP::CBRANCH: CBRANCH_to_IF(stmt, next); break;
    case OP::SWITCH: complete_SWITCH(stmt, next); break;
    case OP::IF: check_IF(stmt); break;
    default: break;
    }
    put_in_front(cell);
}

void CUTTER::put_label(LIST *cell) {
    close_block();
    LBL *label = cell->first->u.label.lbl;
    OPTASSERT(label);
    if (label->bb) bad_label(label->index, "is defined twice");
    label->bb = next;
    label->next = next->label;
    next->label = label;
    cell->rest = nullptr;
    erase_tree_list(cell);
}

// Whether only pragmas stand before the prolog, which is the first statement of the current block.
bool CUTTER::cell_precedes_prolog() {
    if (!current || !tree_is_arg_prolog(current->first)) return false;
    if (!only_pragmas_left) {
        const LIST *cell = rest;
        while (cell && cell->first->op == OP::PPRAGMA)
            cell = cell->rest;
        only_pragmas_left = !cell;
    }
    return only_pragmas_left;
}

void CUTTER::put(LIST *cell) {
    switch (cell->first->op) {
    case OP::BRANCH:
    case OP::CBRANCH:
    case OP::IF:
    case OP::SWITCH:
    case OP::RETURN:
    case OP::URETURN: put_jump(cell); break;
    case OP::LABELDEF: put_label(cell); break;
    case OP::PPRAGMA:
        if (cell_precedes_prolog()) {
            cell->rest = current->rest;
            current->rest = cell;
            if (current_last == current) current_last = cell;
            break;
        }
        [[fallthrough]];
    default: put_in_front(cell);
    }
}

BBLK *CUTTER::cut() {
    while (rest) {
        LIST *cell = rest;
        rest = rest->rest;
        put(cell);
    }
    close_block();
    if (next->is_exit) { // an empty body
        LIST *jump = mkelist(mk_BRANCH(next, nullptr), nullptr, nullptr);
        next = mkbblock(jump, next, currfuninfo);
    }
    return next;
}

// --- labels

void refuse_labels_in(const NODE *tree) {
    for (; tree; tree = tree->right) {
        if (tree->op == OP::LABEL) bad_label(tree->u.label.index, "stands outside a jump");
        refuse_labels_in(tree->left);
    }
}

// A number of the file is positive; others belong to labels that were made here.
void resolve_label(NODE *label) {
    if (!label->u.label.lbl && label->u.label.index <= 0)
        bad_label(label->u.label.index, "is out of range");
    label_block(label);
}

void resolve_statement(NODE *stmt) {
    switch (stmt->op) {
    case OP::BRANCH: resolve_label(stmt->left); break;
    case OP::IF:
        refuse_labels_in(stmt->left);
        resolve_label(stmt->right->left);
        resolve_label(stmt->right->right);
        break;
    case OP::SWITCH:
        refuse_labels_in(stmt->left);
        for (NODE **place : places_of_cases(stmt))
            resolve_label((*place)->op == OP::DEFAULT ? (*place)->left : (*place)->right);
        break;
    default: refuse_labels_in(stmt);
    }
}

void resolve_labels() {
    for (const BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink)
        for (const LIST *cell = bb->statements; cell; cell = cell->rest)
            resolve_statement(cell->first);
    for (unsigned i = 1; i < currfuninfo->eht_size; ++i)
        for (const I_CATCH_ENTRY &clause : currfuninfo->eht[i].catches)
            if (clause.lbl && !clause.lbl->bb) bad_label(clause.lbl->index, "is not defined");
}
} // namespace

void buildcfg() {
    OPTASSERT(!currfuninfo->bb_list);
    CUTTER cutter(std::exchange(currfuninfo->pending, nullptr));
    currfuninfo->bb_list = cutter.cut();
    resolve_labels();
    remove_tail_calls();
    rebuildcfg();
}
