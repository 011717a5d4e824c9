// Assignments that move to where their variable is read.
//
// A variable that is assigned once and read once, later in the same block, needs no place of its
// own when what it is computed from does not change in between: its source goes to where it is
// read. The statement numbers of fast copy propagation tell what has changed. What may trap stays
// behind all that stores, calls or is volatile before it.
#include "OPT5/driver/log.h"
#include "OPT5/rep/node_pool.h"
#include "OPT5/scalar/deadasg.h"
#include "OPT5/scalar/fcp_memory.h"
#include "OPT5/scalar/name_uses.h"
#include "OPT5/scalar/scalar.h"

namespace {
constexpr int largest_source = 64; // nodes

struct WAITING {
    SYMTAB *sym = nullptr;
    LIST *cell = nullptr; // of the assignment
    std::uint32_t at = 0; // its statement
    int nodes = 0;        // of its source
    bool may_trap = false;
};

bool may_trap(const NODE *tree) {
    for (; tree; tree = tree->right) {
        const bool divides = tree->op == OP::DIV || tree->op == OP::MOD;
        if (divides && !(tree->right->op == OP::ICON && !tree->right->u.lval.is_zero()))
            return true;
        if (tree->op == OP::UMULT || tree->op == OP::STREF) return true;
        if (may_trap(tree->left)) return true;
    }
    return false;
}

class DELAY {
public:
    void run_block(BBLK *bb);

private:
    void wait_for_use(LIST *cell);
    void place_in(NODE *&link);
    void place_in_lvalue(NODE *lvalue);
    bool can_go_here(const WAITING &assignment) const;

    std::vector<WAITING> waiting; // by the number in the variable's pass word
    std::uint32_t last_effect = 0;
    bool placed = false;
};

WAITING *waiting_of(std::vector<WAITING> &all, const SYMTAB *sym) {
    if (!sym || sym->level == 0) return nullptr;
    const auto n = reinterpret_cast<std::uintptr_t>(sym->pass_words[1]);
    return n == 0 ? nullptr : &all[n - 1];
}

void DELAY::wait_for_use(LIST *cell) {
    const NODE *stmt = cell->first;
    if (stmt->op != OP::ASG || stmt->left->op != OP::NAME) return;
    SYMTAB *sym = stmt->left->u.name.sym;
    constexpr unsigned once_set_once_read = 2;
    if (!fcp_is_plain_local(sym) || !sym->type->is_scalar() ||
        sym->refcount != once_set_once_read || node_is_volatile_access(stmt->left) ||
        !equiv_mtypes(stmt->right->type, sym->type) || tree_has_side_effects(stmt->right) ||
        sym_appears_in_tree(sym, stmt->right))
        return;
    const int nodes = count_nodes_in_tree(stmt->right);
    if (nodes > largest_source) return;
    waiting.push_back({sym, cell, fcp_memory.now, nodes, may_trap(stmt->right)});
    sym->pass_words[1] = reinterpret_cast<void *>(waiting.size());
}

bool DELAY::can_go_here(const WAITING &assignment) const {
    return fcp_memory.is_unchanged(assignment.cell->first->right, assignment.at) &&
           (!assignment.may_trap || last_effect <= assignment.at);
}

void DELAY::place_in(NODE *&link) {
    NODE *tree = link;
    if (!tree) return;
    if (tree->op == OP::NAME) {
        WAITING *assignment = waiting_of(waiting, tree->u.name.sym);
        if (!assignment || !assignment->cell || node_is_volatile_access(tree) ||
            !can_go_here(*assignment))
            return;
        NODE *stmt = assignment->cell->first;
        if (print_debug)
            dprintf("\n\tDelaying the assignment %s\n", infix_text(stmt, 2000).c_str());
        NODE *source = coerce_to_type(tree->type, stmt->right);
        erase_tree(stmt->left);
        erase_node(stmt);
        erase_node(tree);
        assignment->cell->first = nullptr;
        assignment->cell = nullptr;
        link = source;
        placed = true;
        return;
    }
    switch (tree->op) {
    case OP::UAND:
    case OP::ARGREF:
    case OP::SSA_USE:
    case OP::SSA_DEF:
    case OP::SSA_MU:
    case OP::SSA_CHI:
    case OP::CSE_DUPE:
    case OP::CSE_ORIG: return;
    case OP::URETURN:
    case OP::BRANCH: return;
    case OP::IF:
    case OP::SWITCH: place_in(tree->left); return;
    case OP::RETURN: place_in(tree->right); return;
    default: break;
    }
    if (fcp_is_definition(tree->op) || fcp_is_part(tree->op))
        place_in_lvalue(tree->left);
    else
        place_in(tree->left);
    place_in(tree->right);
}

void DELAY::place_in_lvalue(NODE *lvalue) {
    while (fcp_is_part(lvalue->op))
        lvalue = lvalue->left;
    if (lvalue->op == OP::UMULT || lvalue->op == OP::STREF) place_in(lvalue->left);
}

void DELAY::run_block(BBLK *bb) {
    for (LIST *cell = bb->statements; cell; cell = cell->rest) {
        NODE *stmt = cell->first;
        ++fcp_memory.now;
        if (bb == currfuninfo->bb_list && cell == bb->statements && tree_is_arg_prolog(stmt)) {
            fcp_memory.note_effects(stmt, nullptr, nullptr);
            continue;
        }
        const bool stores = fcp_is_definition(stmt->op);
        const std::size_t recent = fcp_memory.recent.size();
        const bool has_inner_effects =
            tree_has_side_effects(stmt->left) || tree_has_side_effects(stmt->right);
        fcp_memory.note_effects(stmt, stores ? stmt : nullptr, nullptr);
        if (has_inner_effects) last_effect = fcp_memory.now;
        placed = false;
        place_in(cell->first);
        ++fcp_memory.now;
        if (stores) fcp_memory.note_store(stmt->left);
        if (stores && !(stmt->left->op == OP::NAME && fcp_is_plain_local(stmt->left->u.name.sym)))
            last_effect = fcp_memory.now;
        if (!stores && node_has_own_effect(stmt)) last_effect = fcp_memory.now;
        if (placed) {
            cell->first = simp_tree(cell->first);
            fcp_memory.note_again(cell->first, recent);
        }
        wait_for_use(cell);
    }
    for (const WAITING &assignment : waiting)
        assignment.sym->pass_words[1] = nullptr;
    waiting.clear();
    drop_empty_cells(bb);
}
} // namespace

void delay_assignments() {
    fcp_forget_symbols();
    fcp_memory = FCP_MEMORY();
    fcp_memory.loads_move = true;
    for (SYMTAB *sym = currfuninfo->symbols; sym; sym = sym->next) {
        sym->refcount = 0;
        sym->pass_words[1] = nullptr;
    }
    for (const BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink)
        for (const LIST *cell = bb->statements; cell; cell = cell->rest)
            count_references(cell->first);
    for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink)
        DELAY().run_block(bb);
    for (SYMTAB *sym = currfuninfo->symbols; sym; sym = sym->next)
        sym->pass_words[1] = nullptr;
    fcp_forget_symbols();
}
