// Fast copy propagation: substitution in one statement after the other.
//
// What a statement changes is noted before its own reads are looked at, but for what its root does
// last, which is noted behind them. So a fact that stands up to the notes holds throughout the
// statement, whichever of its parts runs first. Facts are not forgotten one by one: each bears the
// number of the statement that it comes from, each object the number of the one that may have
// changed it last.
#include "OPT5/driver/log.h"
#include "OPT5/rep/type_pkg.h"
#include "OPT5/scalar/fcp.h"
#include "OPT5/scalar/fcp_memory.h"
#include "OPT5/scalar/name_uses.h"
#include "OPT5/scalar/scalar.h"

FCP_COUNTERS fcp_counters;
FCP_MEMORY fcp_memory;

namespace {
FCP_EXPRS expressions;
bool has_setjmp;
std::vector<std::pair<FCP_SYMBOL *, FCP_KNOWN>> saved;
std::vector<NODE *> outcomes;              // of tests, as facts need them; owned
constexpr std::size_t longest_text = 2000; // of a tree in the log

// --- what is known of a variable

// The value that the last assignment on the way here gave it, if it still holds.
const NODE *local_value(const FCP_KNOWN &known) {
    if (!known.value || known.generation != fcp_counters.generation || known.modified > known.seen)
        return nullptr;
    if (known.value->op != OP::NAME) return known.value;
    const FCP_SYMBOL *of = fcp_find_symbol(known.value->u.name.sym);
    return of && of->known.modified <= known.seen ? known.value : nullptr;
}

void set_local_value(FCP_SYMBOL *fields, const NODE *value) {
    fcp_save(fields);
    fields->known.value = value;
    fields->known.generation = fcp_counters.generation;
    fields->known.seen = fcp_memory.now;
}

const NODE *known_value(const SYMTAB *sym) {
    const FCP_SYMBOL *fields = fcp_find_symbol(sym);
    if (!fields || !fields->is_listed || !fcp_is_plain_local(sym)) return nullptr;
    if (sym->type->is_ptr() && (sym->type->qual_kind(false) & TQ_restrict)) return nullptr;
    if (fields->has_value) return value_map_of(currfuninfo).value(sym, false);
    return local_value(fields->known);
}

void fcpNAME(NODE *&link) {
    NODE *name = link;
    SYMTAB *sym = name->u.name.sym;
    if (!sym || !sym->type->is_scalar() || node_is_volatile_access(name)) return;
    if (sym->type->is_const()) fix_type_info(name);
    NODE *value = nullptr;
    if (sym->level == 0)
        value = fcp_global_constant(name);
    else if (const NODE *known = known_value(sym))
        value = fcp_value_of_type(sym->type, known);
    if (!value) return;
    fcp_take_place(link, value, "fcpNAME");
    if (sym->level == 0 && print_debug) dprintf("\t\t(%s is a GLOBAL variable)\n", sym->name);
}

// --- walks

void substitute_in_lvalue(NODE *lvalue);

// A pointer to a known function as what is called.
void substitute_in_callee(NODE *&link) {
    const NODE *known = link->op == OP::NAME ? known_value(link->u.name.sym) : nullptr;
    if (!known || known->op != OP::UAND || !known->left->type->is_func() ||
        !equiv_mtypes(known->type, link->type))
        return;
    fcpNAME(link);
}

void substitute(NODE *&link) {
    NODE *tree = link;
    if (!tree) return;
    switch (tree->op) {
    case OP::NAME: fcpNAME(link); return;
    case OP::UAND:
    case OP::ARGREF: substitute_in_lvalue(tree->left); return;
    case OP::STDOT:
    case OP::UMULT:
    case OP::STREF:
        link = prop_constant_for_CSU_member(tree, nullptr);
        if (link == tree) substitute_in_lvalue(tree);
        return;
    case OP::STFIELD:
    case OP::VFIELD:
    case OP::REAL:
    case OP::IMAG:
    case OP::SIMDHI:
    case OP::SIMDLO:
    case OP::DDNODE: substitute_in_lvalue(tree); return;
    case OP::IF:
    case OP::SWITCH: substitute(tree->left); return;
    case OP::RETURN: substitute(tree->right); return;
    case OP::URETURN:
    case OP::BRANCH:
    case OP::SSA_PHI:
    case OP::SSA_USE:
    case OP::SSA_DEF:
    case OP::SSA_MU:
    case OP::SSA_CHI:
    case OP::CSE_DUPE:
    case OP::CSE_ORIG: return;
    case OP::CALL:
    case OP::UCALL:
        if (!get_callee_for_call(tree)) {
            substitute_in_callee(tree->left);
            if (tree->left->op != OP::NAME) substitute(tree->left);
        }
        break;
    default:
        if (fcp_is_definition(tree->op))
            substitute_in_lvalue(tree->left);
        else
            substitute(tree->left);
    }
    substitute(tree->right);
}

// The object itself stays; what its address is computed from is read.
void substitute_in_lvalue(NODE *lvalue) {
    while (lvalue->op != OP::NAME && fcp_is_part(lvalue->op))
        lvalue = lvalue->left;
    switch (lvalue->op) {
    case OP::NAME: return;
    case OP::COMMAOP:
        substitute(lvalue->left);
        substitute_in_lvalue(lvalue->right);
        return;
    case OP::UMULT:
    case OP::STREF:
        substitute(lvalue->left);
        if (lvalue->right && lvalue->right->op != OP::FIELD) substitute(lvalue->right);
        return;
    case OP::QUEST: return; // of two objects
    default: substitute(lvalue->left); substitute(lvalue->right);
    }
}

// --- statements

bool assigns_unread_variable(const NODE *stmt) {
    if (!fcp_is_definition(stmt->op) || stmt->op == OP::SSA_DEF || stmt->left->op != OP::NAME ||
        node_is_volatile_access(stmt->left))
        return false;
    const SYMTAB *sym = stmt->left->u.name.sym;
    const FCP_SYMBOL *fields = fcp_find_symbol(sym);
    return fields && fields->is_listed && sym->refcount == 0 && !fields->is_in_EHT &&
           fcp_is_plain_local(sym);
}

NODE *effects_of_source(NODE *stmt) {
    NODE *source = stmt->right;
    erase_tree(stmt->left);
    erase_node(stmt);
    return peel_for_effect(source);
}

// Whether the target of a compound assignment is a variable of known value, or memory whose value
// is at hand.
bool target_is_known(const NODE *target) {
    if (target->op == OP::NAME && fcp_is_plain_local(target->u.name.sym)) {
        const NODE *known = known_value(target->u.name.sym);
        return known && (known->op == OP::ICON || known->op == OP::FCON);
    }
    return !fcp_is_bitfield(target) && expressions.knows(target);
}

// x op= y of a known x as x = x op y, whose value may be known then.
NODE *open_compound(NODE *stmt) {
    if (stmt->op == OP::ASG || !target_is_known(stmt->left)) return stmt;
    if (stmt->op == OP::PLUSPLUS) stmt->op = OP::PLUSASG; // the value is not used
    if (stmt->op == OP::MINMIN) stmt->op = OP::MINUSASG;
    if (op_of_opASG[stmt->op] == OP::ILLOP) return stmt;
    stmt = opASG_to_ASG(stmt);
    if (stmt->op != OP::ASG) return stmt;
    stmt->right = coerce_to_type(stmt->left->type, stmt->right);
    count_references(stmt->left, 1); // it is read now
    return stmt;
}

bool may_remember(const NODE *value, const SYMTAB *target) {
    if (fcp_is_propagatable(value)) return true;
    if (value->op != OP::NAME || value->u.name.sym == target) return false;
    const SYMTAB *sym = value->u.name.sym;
    const FCP_SYMBOL *fields = fcp_find_symbol(sym);
    return fields && fields->is_listed && fcp_is_plain_local(sym) &&
           !node_is_volatile_access(value) && sym->type->is_scalar() &&
           equiv_mtypes(sym->type, target->type) && equiv_mtypes(value->type, target->type);
}

// A structure or an array that is set to a constant one.
void learn_copy_of_constant(const NODE *stmt) {
    const NODE *to = stmt->left, *from = stmt->right;
    if (to->op != OP::NAME || from->op != OP::NAME) return;
    SYMTAB *sym = to->u.name.sym, *constant = from->u.name.sym;
    const bool is_local = sym->level >= 2 && sym->sc == 1 && !sym->type->is_scalar() &&
                          !type_may_contain_volatile(sym->type);
    if (is_local && fcp_is_constant_object(constant) && equiv_mtypes(sym->type, constant->type))
        set_local_value(fcp_symbol(sym), from);
}

void learn_from(NODE *stmt) {
    if (stmt->op == OP::STASG || stmt->op == OP::ARASG) learn_copy_of_constant(stmt);
    if (stmt->op != OP::ASG || node_is_volatile_access(stmt->left)) return;
    SYMTAB *sym = stmt->left->op == OP::NAME ? stmt->left->u.name.sym : nullptr;
    if (sym && fcp_is_plain_local(sym)) {
        FCP_SYMBOL *fields = fcp_symbol(sym);
        if (!fields->is_listed || !sym->type->is_scalar()) return;
        const NODE *value = fcp_assigned_value(stmt);
        if (may_remember(value, sym)) {
            set_local_value(fields, value);
            return;
        }
    }
    expressions.learn(stmt, fcp_memory.now);
}

void learn_equality(const NODE *tree, const NODE *constant) {
    if (!tree->type->is_int_or_enum()) return;
    if (tree->op != OP::NAME || !fcp_is_plain_local(tree->u.name.sym)) {
        expressions.enter(tree, constant, fcp_memory.now);
        return;
    }
    FCP_SYMBOL *fields = fcp_find_symbol(tree->u.name.sym);
    if (fields && fields->is_listed && equiv_mtypes(tree->type, tree->u.name.sym->type) &&
        !node_is_volatile_access(tree))
        set_local_value(fields, constant);
}

// The condition's value when it is not zero is unknown, unless it is a truth value.
void learn_from_outcome(const NODE *condition, bool outcome) {
    while (condition->op == OP::EXCLAIM) {
        condition = condition->left;
        outcome = !outcome;
    }
    if (condition->op == (outcome ? OP::ANDAND : OP::OROR)) {
        learn_from_outcome(condition->left, outcome);
        learn_from_outcome(condition->right, outcome);
        return;
    }
    if (condition->op == (outcome ? OP::EQ : OP::NEQ) && condition->right->op == OP::ICON)
        learn_equality(condition->left, condition->right);
    const bool is_truth_value = boolean_inv[condition->op] != OP::ILLOP;
    if ((outcome && !is_truth_value) || !condition->type->is_int_or_enum()) return;
    outcomes.push_back(mk_ICON(outcome, tp->int_type()));
    learn_equality(condition, outcomes.back());
}

// What the root does when all its operands have been evaluated.
struct LAST_EFFECTS {
    NODE *store = nullptr, *call = nullptr;
};

bool is_call(int op) {
    return op == OP::CALL || op == OP::UCALL;
}

LAST_EFFECTS last_effects(NODE *stmt) {
    LAST_EFFECTS last;
    if (is_call(stmt->op)) last.call = stmt;
    if (stmt->op == OP::RETURN && is_call(stmt->right->op)) last.call = stmt->right;
    if (!fcp_is_definition(stmt->op)) return last;
    last.store = stmt;
    // A target that is computed or read before the call would run before it, too.
    if (is_call(stmt->right->op) && stmt->op == OP::ASG) last.call = stmt->right;
    return last;
}
} // namespace

void fcp_take_place(NODE *&link, NODE *value, const char *routine) {
    ++fcp_counters.replacements;
    fcp_counters.changed = true;
    if (print_debug) {
        const std::string was = infix_text(link, longest_text),
                          is = infix_text(value, longest_text);
        dprintf("\n\t(%ld) %s() is replacing %s with %s\n", fcp_counters.replacements, routine,
                was.c_str(), is.c_str());
    }
    count_references(link, -1);
    count_references(value, 1);
    value = coerce_to_type(link->type, value);
    value->scope = link->scope;
    erase_tree(link);
    link = value;
}

const SYMTAB *fcp_copied_constant(const SYMTAB *sym, const NODE *lvalue) {
    if (sym->level < 2 || sym->type->is_scalar()) return nullptr;
    const FCP_SYMBOL *fields = fcp_find_symbol(sym);
    const FCP_KNOWN *known = fields ? &fields->known : nullptr;
    return known && known->value && known->generation == fcp_counters.generation &&
                   fcp_memory.is_unchanged(lvalue, known->seen)
               ? known->value->u.name.sym
               : nullptr;
}

FCP_MARK fcp_mark() {
    return {saved.size(), expressions.mark(), fcp_memory.recent.size(), fcp_counters.generation};
}

void fcp_return_to(const FCP_MARK &mark) {
    for (; saved.size() > mark.symbols; saved.pop_back())
        saved.back().first->known = saved.back().second;
    expressions.return_to(mark.expressions);
    fcp_memory.recent.resize(mark.effects);
    fcp_counters.generation = mark.generation;
    if (mark.symbols != 0 || mark.expressions != 0) return;
    for (NODE *outcome : outcomes)
        erase_tree(outcome);
    outcomes.clear();
}

void fcp_save(FCP_SYMBOL *fields) {
    saved.emplace_back(fields, fields->known);
}

void fcp_begin_substitution() {
    fcp_counters.replacements = 0;
    ++fcp_counters.generation;
    fcp_memory = FCP_MEMORY();
    saved.clear();
    has_setjmp = function_calls_setjmp();
    unsigned statements = 0;
    for (const BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink)
        for (const LIST *cell = bb->statements; cell; cell = cell->rest)
            ++statements;
    expressions.reset(statements);
}

NODE *fcp_substitute(NODE *stmt, bool is_prolog) {
    fcp_counters.changed = false;
    ++fcp_memory.now;
    if (is_prolog) {
        fcp_memory.note_effects(stmt, nullptr, nullptr);
        return stmt;
    }
    if (assigns_unread_variable(stmt)) {
        fcp_counters.changed = true;
        stmt = effects_of_source(stmt);
        if (!stmt) return nullptr;
    }
    const bool has_call = has_setjmp && count_calls_in_tree(stmt) > 0;
    if (has_call) ++fcp_counters.generation;
    const std::size_t recent = fcp_memory.recent.size();
    const LAST_EFFECTS last = last_effects(stmt);
    fcp_memory.note_effects(stmt, last.store, last.call);
    if (last.store) stmt = open_compound(stmt);
    substitute(stmt);
    expressions.replace(stmt);
    ++fcp_memory.now;
    if (last.call) fcp_memory.note_call(last.call);
    if (last.store) fcp_memory.note_store(stmt->left);
    if (fcp_counters.changed) {
        stmt = peel_for_effect(simp_tree(stmt));
        fcp_memory.note_again(stmt, recent);
    }
    if (has_call)
        ++fcp_counters.generation;
    else if (stmt)
        learn_from(stmt);
    return stmt;
}

void fcp_learn_from_test(const NODE *condition, bool outcome) {
    if (tree_has_side_effects(condition)) return;
    ++fcp_memory.now;
    learn_from_outcome(condition, outcome);
}

// --- for other passes

NODE *prop_constant_for_CSU_member(NODE *tree, NODE *) {
    if (tree->op != OP::STDOT && tree->op != OP::STREF && tree->op != OP::UMULT) return tree;
    NODE *value = fcp_global_constant(tree);
    if (!value) return tree;
    fcp_take_place(tree, value, "propagate_global_constants");
    return tree;
}

namespace {
// Reads of globals in the tree; what an address is made of stays, but for its indices.
void propagate_globals(NODE *&link) {
    NODE *tree = link;
    if (!tree) return;
    switch (tree->op) {
    case OP::NAME:
        if (tree->u.name.sym && tree->u.name.sym->level == 0)
            if (NODE *value = fcp_global_constant(tree))
                fcp_take_place(link, value, "propagate_global_constants");
        return;
    case OP::STDOT:
    case OP::STREF:
    case OP::UMULT:
        link = prop_constant_for_CSU_member(tree, nullptr);
        if (link == tree && tree->op != OP::STDOT) propagate_globals(tree->left);
        return;
    case OP::UAND:
    case OP::ARGREF: {
        NODE *lvalue = tree->left;
        while (fcp_is_part(lvalue->op))
            lvalue = lvalue->left;
        if (lvalue->op == OP::UMULT || lvalue->op == OP::STREF) propagate_globals(lvalue->left);
        return;
    }
    default: break;
    }
    if (fcp_is_definition(tree->op)) {
        if (tree->left->op == OP::UMULT || tree->left->op == OP::STREF)
            propagate_globals(tree->left->left);
    } else {
        propagate_globals(tree->left);
    }
    propagate_globals(tree->right);
}
} // namespace

NODE *propagate_global_constants(NODE *tree, NODE *, bool flag) {
    fcp_forget_initialisers();
    fcp_counters.changed = false;
    propagate_globals(tree);
    if (fcp_counters.changed && !flag) tree = simp_tree(tree);
    return tree;
}
