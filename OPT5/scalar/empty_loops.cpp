// Loops that end whatever they do.
//
// A block that is a loop of its own, and counts a variable by a constant up to a constant limit,
// ends: arithmetic wraps, so that an odd step takes the variable through all its values, and an
// even one cannot step over a range of values that is no shorter than it. Where the variable begins
// does not matter.
#include "OPT5/icode/if.h"
#include "OPT5/rep/types.h"
#include "OPT5/scalar/deadasg.h"
#include "OPT5/scalar/fcp_memory.h"

#include <cstdlib>

namespace {
bool is_variable(const NODE *tree, const SYMTAB *sym) {
    return tree->op == OP::NAME && tree->u.name.sym == sym;
}

// By how much the statement moves the variable; 0: it does something else.
std::int64_t step_of(const NODE *stmt, const SYMTAB *sym) {
    if (!fcp_is_definition(stmt->op) || !is_variable(stmt->left, sym)) return 0;
    int op = stmt->op;
    const NODE *by = stmt->right;
    if (op == OP::ASG) {
        op = by->op;
        if ((op != OP::PLUS && op != OP::MINUS) || !is_variable(by->left, sym)) return 0;
        by = by->right;
    }
    if (by->op != OP::ICON) return 0;
    switch (op) {
    case OP::PLUS:
    case OP::PLUSASG:
    case OP::PLUSPLUS: return by->u.lval.s32();
    case OP::MINUS:
    case OP::MINUSASG:
    case OP::MINMIN: return -std::int64_t{by->u.lval.s32()};
    default: return 0;
    }
}

int definitions_in(const NODE *tree, const SYMTAB *sym) {
    int count = 0;
    for (; tree; tree = tree->right) {
        if (fcp_is_definition(tree->op) || tree->op == OP::ARGREF) {
            const NODE *object = fcp_object_of(tree->left);
            count += object && object->u.name.sym == sym;
        }
        count += definitions_in(tree->left, sym);
    }
    return count;
}

// How many values of so many bits are in this relation to the constant.
std::int64_t values_in_relation(int op, const NODE *constant, unsigned bits) {
    const bool is_signed = op == OP::LT || op == OP::LE || op == OP::GT || op == OP::GE;
    const std::int64_t all = std::int64_t{1} << bits, least = is_signed ? -(all / 2) : 0;
    std::int64_t value = constant->u.lval.s32() & (all - 1);
    if (is_signed && value >= all / 2) value -= all;
    const std::int64_t below = value - least;
    switch (op) {
    case OP::LT:
    case OP::ULT: return below;
    case OP::LE:
    case OP::ULE: return below + 1;
    case OP::GT:
    case OP::UGT: return all - below - 1;
    case OP::GE:
    case OP::UGE: return all - below;
    case OP::EQ: return 1;
    case OP::NEQ: return all - 1;
    default: return 0;
    }
}

// Whether a path to the block brings a pragma, which may be about the loop.
bool has_pragma(const BBLK *bb) {
    for (const EDGE *edge = bb->predecessors; edge; edge = edge->next)
        for (const LIST *cell = edge->bb->statements; cell; cell = cell->rest)
            if (cell->first->op == OP::PPRAGMA) return true;
    return false;
}
} // namespace

BBLK *way_out_of_counting_loop(const BBLK *bb) {
    const NODE *test = last_statement(bb);
    if (!test || test->op != OP::IF) return nullptr;
    BBLK *const when_true = label_block(test->right->left);
    BBLK *const when_false = label_block(test->right->right);
    if ((when_true == bb) == (when_false == bb)) return nullptr;
    const NODE *condition = test->left;
    if (boolean_inv[condition->op] == OP::ILLOP || condition->left->op != OP::NAME ||
        condition->right->op != OP::ICON)
        return nullptr;
    const SYMTAB *sym = condition->left->u.name.sym;
    if (!fcp_is_plain_local(sym) || !sym->type->is_int_or_enum() || sym->type->size() > 32 ||
        !equiv_mtypes(condition->left->type, sym->type) ||
        condition->right->type->size() != sym->type->size() ||
        node_is_volatile_access(condition->left) || has_pragma(bb))
        return nullptr;
    int definitions = 0;
    std::int64_t step = 0;
    for (const LIST *cell = bb->statements; cell; cell = cell->rest) {
        definitions += definitions_in(cell->first, sym);
        if (const std::int64_t by = step_of(cell->first, sym)) step = by;
    }
    if (definitions != 1 || step == 0) return nullptr;
    const int leaves = when_true == bb ? boolean_inv[condition->op] : condition->op;
    const std::int64_t ends =
        values_in_relation(leaves, condition->right, static_cast<unsigned>(sym->type->size()));
    const bool stops = step % 2 != 0 ? ends > 0 : ends >= std::abs(step);
    return stops ? (when_true == bb ? when_false : when_true) : nullptr;
}
