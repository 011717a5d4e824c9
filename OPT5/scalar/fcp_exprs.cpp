// Fast copy propagation: expressions that need not be computed anew, memory that need not be read.
//
// Each tree without effects has a number that congruent trees share, whatever the order of their
// operands: a sum over its nodes. An assignment to a variable enters its source in a table under
// that number; one of a variable or a constant to memory enters its target. Where a later tree with
// an entry of its number is congruent to it and nothing has changed since, the variable or the
// constant takes its place, largest trees first.
#include "OPT5/driver/log.h"
#include "OPT5/rep/types.h"
#include "OPT5/scalar/fcp_memory.h"
#include "OPT5/target/costs.h"

#include <algorithm>
#include <bit>

namespace {
constexpr int deepest = 4; // levels; comparing larger trees is not worth the time

std::uint32_t mixed(std::uint32_t x) {
    x = (x ^ x >> 16) * 0x7feb352du;
    x = (x ^ x >> 15) * 0x846ca68bu;
    return x ^ x >> 16;
}

// Operators that give the same for the same operands and that are worth a variable.
bool is_computation(const NODE *tree) {
    switch (tree->op) {
    case OP::PLUS:
    case OP::MINUS:
    case OP::MULT:
    case OP::DIV:
    case OP::MOD:
    case OP::ANDB:
    case OP::ORB:
    case OP::XORB:
    case OP::NOTB:
    case OP::UMINUS:
    case OP::SLL:
    case OP::SRL:
    case OP::ABS:
    case OP::SQRT:
    case OP::SQR:
    case OP::RECIP:
    case OP::EXCLAIM:
    case OP::SCONV:
    case OP::PCONV:
    case OP::PMCONV:
    case OP::PVCONV: return true;
    case OP::STDOT:
    case OP::STREF:
    case OP::UMULT: return tree->type->is_scalar() && !node_is_volatile_access(tree);
    default: return boolean_inv[tree->op] != OP::ILLOP;
    }
}

bool is_leaf_of_one(const NODE *tree) {
    switch (tree->op) {
    case OP::NAME: return tree->u.name.sym && !node_is_volatile_access(tree);
    case OP::ICON:
    case OP::FCON:
    case OP::SCON:
    case OP::FIELD: return true;
    default: return false;
    }
}

struct NUMBER {
    std::uint32_t sum = 0;
    bool is_pure = true;
};

NUMBER number_of_leaf(const NODE *tree) {
    std::uint32_t x = 0;
    switch (tree->op) {
    case OP::NAME: x = tree->u.name.sym->serial; break;
    case OP::ICON: x = tree->u.lval.u32(); break;
    case OP::FIELD: x = tree->u.field.mdata ? tree->u.field.mdata->index : 0; break;
    default: break;
    }
    return {mixed(x * 256 + tree->op), true};
}

NUMBER number_of_node(const NODE *tree, const NUMBER &left, const NUMBER &right) {
    NUMBER number{left.sum + right.sum, left.is_pure && right.is_pure};
    const bool is_address = tree->op == OP::UAND;
    if (!is_address && !is_computation(tree)) number.is_pure = false;
    const std::uint32_t op = std::min<std::uint32_t>(
        tree->op, commute_inv[tree->op] == OP::ILLOP ? tree->op : commute_inv[tree->op]);
    number.sum += mixed(op + 1000);
    return number;
}

// Number of a tree; not pure when it has more levels than this.
NUMBER number_of_tree(const NODE *tree, int levels) {
    if (!tree) return {};
    if (is_leaf_of_one(tree)) return number_of_leaf(tree);
    if (!tree->left || levels == 0) return {0, false};
    const NUMBER left = number_of_tree(tree->left, levels - 1);
    if (!left.is_pure) return left;
    return number_of_node(tree, left, number_of_tree(tree->right, levels - 1));
}

bool is_load_of_name(const NODE *tree) {
    return tree->op == OP::NAME && tree->u.name.sym && tree->type->is_scalar() &&
           !node_is_volatile_access(tree) && !fcp_is_plain_local(tree->u.name.sym);
}

// Not where reading a variable is no cheaper.
bool is_worth_a_variable(const NODE *tree) {
    return (is_load_of_name(tree) || is_computation(tree)) && cost_of_tree(tree) > 0;
}

bool is_restrict(const TYPE *type) {
    return type->is_ptr() && (type->qual_kind(false) & TQ_restrict);
}

bool is_access(const NODE *tree) {
    return tree->op == OP::NAME || tree->op == OP::UMULT || tree->op == OP::STREF ||
           tree->op == OP::STDOT;
}

// Whether the store may change where its target lies, by an access within its address.
bool store_moves_itself(const NODE *target, const NODE *address) {
    for (; address; address = address->left) {
        if (address->op == OP::UAND && fcp_object_of(address->left)) return false;
        if (is_access(address) && store_may_reach_load(target, address, nullptr)) return true;
        if (address->right && store_moves_itself(target, address->right)) return true;
    }
    return false;
}

// A local scalar as what memory holds.
bool is_plain_value(const NODE *value) {
    return value->op == OP::NAME && fcp_is_plain_local(value->u.name.sym) &&
           fcp_find_symbol(value->u.name.sym) && value->u.name.sym->type->is_scalar() &&
           !node_is_volatile_access(value) && !is_restrict(value->u.name.sym->type) &&
           equiv_mtypes(value->type, value->u.name.sym->type);
}

// The value that the assignment leaves in memory, if it is a constant or a variable of the target's
// type; else null.
const NODE *value_left_in_memory(const NODE *asg) {
    const NODE *target = asg->left, *value = asg->right;
    if (!target->type->is_scalar() || fcp_is_bitfield(target)) return nullptr;
    if (value->op == OP::NAME)
        return is_plain_value(value) && equiv_mtypes(value->type, target->type) ? value : nullptr;
    if (!fcp_is_propagatable(value)) return nullptr;
    NODE *held = fcp_value_of_type(target->type, value);
    if (!held) return nullptr;
    erase_tree(held);
    return value;
}

// Statements that say something and compute nothing.
bool is_remark(const NODE *stmt) {
    switch (stmt->op) {
    case OP::NASSERT:
    case OP::INITLOOP:
    case OP::LOOP:
    case OP::ENDLOOP: return true;
    default: return false;
    }
}
} // namespace

void FCP_EXPRS::reset(unsigned statements) {
    constexpr unsigned least = 64, most = 1u << 14; // few share a place
    table.assign(std::bit_ceil(std::clamp(2 * statements, least, most)), ENTRY());
    hidden.clear();
}

void FCP_EXPRS::return_to(std::size_t mark) {
    for (; hidden.size() > mark; hidden.pop_back())
        table[hidden.back().first] = hidden.back().second;
}

void FCP_EXPRS::enter(const NODE *tree, const NODE *held, std::uint32_t now) {
    const NUMBER number = number_of_tree(tree, deepest);
    if (!number.is_pure || !is_worth_a_variable(tree)) return;
    ENTRY &entry = table[place_of(number.sum)];
    hidden.emplace_back(place_of(number.sum), entry);
    entry = {tree, held, fcp_counters.generation, now};
}

void FCP_EXPRS::learn(NODE *asg, std::uint32_t now) {
    NODE *target = asg->left, *value = asg->right;
    if (target->op == OP::NAME && fcp_is_plain_local(target->u.name.sym)) {
        SYMTAB *sym = target->u.name.sym;
        // An access through a restrict pointer is told apart from those through what it was made
        // of.
        if (equiv_mtypes(value->type, sym->type) && !is_restrict(sym->type) &&
            !sym_appears_in_tree(sym, value))
            enter(value, target, now);
        return;
    }
    if (!is_access(target)) return;
    const NODE *held = value_left_in_memory(asg);
    const NODE *object = fcp_object_of(target);
    if (held && (object || !store_moves_itself(target, target->left))) enter(target, held, now);
}

const FCP_EXPRS::ENTRY *FCP_EXPRS::entry_for(const NODE *tree) const {
    if (hidden.empty() || !is_worth_a_variable(tree)) return nullptr; // nothing is known here
    const NUMBER number = number_of_tree(tree, deepest);
    const ENTRY &entry = table[place_of(number.sum)];
    if (!number.is_pure || !entry.tree || entry.generation != fcp_counters.generation ||
        !equiv_mtypes(entry.tree->type, tree->type) ||
        (entry.held->op == OP::NAME &&
         fcp_find_symbol(entry.held->u.name.sym)->known.modified > entry.seen) ||
        !trees_are_congruent(entry.tree, tree, false) ||
        !fcp_memory.is_unchanged(entry.tree, entry.seen))
        return nullptr;
    return &entry;
}

bool FCP_EXPRS::replace_whole(NODE *&link) {
    const ENTRY *entry = entry_for(link);
    if (!entry) return false;
    NODE *value = entry->held->op == OP::NAME ? mk_NAME(entry->held->u.name.sym, link->scope)
                                              : fcp_value_of_type(entry->tree->type, entry->held);
    fcp_take_place(link, value, "fcpNAME");
    return true;
}

// The largest trees first; what has come to hold variables is looked up once more, as the sources
// of assignments hold them, too.
void FCP_EXPRS::replace_below(NODE *&link) {
    NODE *tree = link;
    if (!tree || replace_whole(link)) return;
    const long before = fcp_counters.replacements;
    if (fcp_is_definition(tree->op) || tree->op == OP::UAND || tree->op == OP::ARGREF ||
        tree->op == OP::CALL || tree->op == OP::UCALL)
        replace_in_lvalue(tree->left);
    else if (fcp_is_part(tree->op) && tree->op != OP::IDENTITY)
        replace_in_lvalue(tree); // a part of an object, read
    else
        replace_below(tree->left);
    replace_below(tree->right);
    if (fcp_counters.replacements != before) replace_whole(link);
}

// The object, or the callee, itself stays; what its address is computed from is read.
void FCP_EXPRS::replace_in_lvalue(NODE *lvalue) {
    while (fcp_is_part(lvalue->op))
        lvalue = lvalue->left;
    switch (lvalue->op) {
    case OP::COMMAOP:
        replace_below(lvalue->left);
        replace_in_lvalue(lvalue->right);
        return;
    case OP::UMULT:
    case OP::STREF:
        replace_below(lvalue->left);
        replace_below(lvalue->right);
        return;
    default: return;
    }
}

void FCP_EXPRS::replace(NODE *stmt) {
    if (!hidden.empty() && !is_remark(stmt)) replace_below(stmt);
}
