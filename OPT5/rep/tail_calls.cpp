// Self-calls that the end of the function follows become jumps behind the argument prolog.
//
// All activations then share one set of variables. That cannot be told from separate ones when
// nobody holds the address of a variable, the frame itself is not remembered (setjmp and its like),
// and no exception handler or cleanup waits for the return. Whatever is not seen to be so keeps
// its call.
#include "OPT5/driver/abort.h"
#include "OPT5/driver/log.h"
#include "OPT5/rep/cfg_pools.h"
#include "OPT5/rep/type_pkg.h"

#include <algorithm>
#include <string_view>
#include <unordered_set>

namespace {
constexpr int longest_chain_of_branches = 16;
constexpr std::uint32_t comment_kind = 47, assembly_kind = 36;

struct PARAMETER {
    SYMTAB *passed = nullptr;   // level 1
    SYMTAB *variable = nullptr; // what the body calls it; null: it does not use it
};

class TAIL_CALLS {
public:
    void remove();

private:
    bool is_eligible(const NODE *call) const;
    NODE *call_at_end(const BBLK *bb) const;
    bool find_parameters();
    bool add_variable(const NODE *asg);
    bool frames_can_be_shared() const;
    BBLK *block_after_prolog() const;
    LIST *jump_instead(NODE *call, BBLK *target, PSN *psn) const;
    LIST *assign_parameters(std::vector<NODE *> arguments, LIST *behind, PSN *psn) const;

    std::vector<PARAMETER> parameters;
};

// --- the call

bool leads_to_exit(const BBLK *bb) {
    for (int i = 0; i < longest_chain_of_branches && !bb->is_exit; ++i) {
        NODE *first = bb->statements->first;
        if (first->op != OP::BRANCH) return false;
        bb = label_block(first->left);
    }
    return bb->is_exit;
}

bool is_self_call(const NODE *tree) {
    return (tree->op == OP::CALL || tree->op == OP::UCALL) && get_callee_for_call(tree) == currfunc;
}

// The cell of the statement before the last one.
LIST *cell_before_last(LIST *list) {
    if (!list || !list->rest) return nullptr;
    while (list->rest->rest)
        list = list->rest;
    return list;
}

bool returns_value_of(const NODE *stmt, const NODE *call) {
    TYPE *type = currfuninfo->return_type;
    return stmt->left->u.name.sym == currfunc && type && type->is_scalar() &&
           equiv_mtypes(type, call->type);
}

// The arguments, first to last; `call` loses them.
std::vector<NODE *> take_arguments(NODE *call) {
    std::vector<NODE *> arguments;
    NODE *chain = call->right;
    call->right = nullptr;
    while (chain && chain->op == OP::COMMA) {
        arguments.push_back(chain->right);
        NODE *left = chain->left;
        erase_node(chain);
        chain = left;
    }
    if (chain) arguments.push_back(chain);
    std::reverse(arguments.begin(), arguments.end());
    return arguments;
}

// --- the function

bool is_automatic(const SYMTAB *sym) {
    constexpr int external_definition = 2, file_static = 3, external_declaration = 5;
    return sym->level > 0 && !sym->type->is_func() && sym->sc != external_definition &&
           sym->sc != file_static && sym->sc != external_declaration;
}

// The symbol in whose storage an lvalue lies; null when it is reached through a pointer.
const SYMTAB *storage_of(const NODE *lvalue) {
    while (lvalue->op != OP::NAME) {
        switch (lvalue->op) {
        case OP::STDOT:
        case OP::STFIELD:
        case OP::VFIELD:
        case OP::REAL:
        case OP::IMAG: lvalue = lvalue->left; break;
        default: return nullptr;
        }
    }
    return lvalue->u.name.sym;
}

// Routines for which each activation is one of its own. Names are told without underscores in
// front and without "builtin_".
bool routine_knows_its_frame(std::string_view name) {
    name.remove_prefix(std::min(name.find_first_not_of('_'), name.size()));
    constexpr std::string_view builtin = "builtin_";
    if (name.substr(0, builtin.size()) == builtin) name.remove_prefix(builtin.size());
    constexpr std::string_view names[] = {"setjmp",        "sigsetjmp",      "vfork",   "alloca",
                                          "frame_address", "return_address", "va_start"};
    return std::find(std::begin(names), std::end(names), name) != std::end(names);
}

bool node_needs_own_frame(const NODE *node) {
    switch (node->op) {
    case OP::NAME: return node->u.name.sym->level == 1;
    case OP::ASM: return node->u.asm_.kind == assembly_kind;
    case OP::UAND: {
        const SYMTAB *sym = storage_of(node->left);
        return sym && (is_automatic(sym) || routine_knows_its_frame(sym->name));
    }
    case OP::ICALL:
    case OP::UICALL:
    case OP::MCALL:
    case OP::UMCALL: return routine_knows_its_frame(node->icall_name());
    default: return false;
    }
}

bool tree_needs_own_frame(const NODE *tree) {
    for (; tree; tree = tree->right)
        if (node_needs_own_frame(tree) || tree_needs_own_frame(tree->left)) return true;
    return false;
}

const LIST *prolog_cell() {
    const LIST *first = currfuninfo->bb_list->statements;
    return first->first->op == OP::PCOMMA ? first : nullptr;
}

// A promise about the accesses of one activation would become one about those of all.
bool restrict_is_used() {
    for (const SYMTAB *sym = currfuninfo->symbols; sym; sym = sym->next)
        if (sym->type->qual_kind(true) & TQ_restrict) return true;
    return false;
}

bool type_can_be_reassigned(const TYPE *type) {
    return type->is_scalar() && !(type->qual_kind(true) & (TQ_const | TQ_volatile | TQ_ioport));
}

void collect_symbols(const NODE *tree, std::unordered_set<const SYMTAB *> &symbols) {
    for (; tree; tree = tree->right) {
        if (tree->op == OP::NAME) symbols.insert(tree->u.name.sym);
        collect_symbols(tree->left, symbols);
    }
}

// --- the class

// The self-call that is the last thing the function does when control comes to this block.
NODE *TAIL_CALLS::call_at_end(const BBLK *bb) const {
    const LIST *last = last_cell(bb->statements);
    NODE *stmt = last->first;
    if (stmt->op == OP::RETURN) {
        NODE *value = stmt->right;
        return value && is_self_call(value) && returns_value_of(stmt, value) ? value : nullptr;
    }
    if (stmt->op != OP::BRANCH || !leads_to_exit(label_block(stmt->left))) return nullptr;
    const LIST *before = cell_before_last(bb->statements);
    return before && is_self_call(before->first) ? before->first : nullptr;
}

bool TAIL_CALLS::is_eligible(const NODE *call) const {
    if (call->u.call.eht_id != 0 || call->u.call.num_vargs != 0) return false;
    const NODE *chain = call->op == OP::CALL ? call->right : nullptr;
    std::size_t n = parameters.size();
    while (chain && n > 0) {
        const bool is_chain = chain->op == OP::COMMA;
        const NODE *argument = is_chain ? chain->right : chain;
        if (!equiv_mtypes(argument->type, parameters[--n].passed->type)) return false;
        chain = is_chain ? chain->left : nullptr;
    }
    return !chain && n == 0;
}

// One assignment of the prolog.
bool TAIL_CALLS::add_variable(const NODE *asg) {
    if (asg->op != OP::ASG || asg->left->op != OP::NAME || asg->right->op != OP::NAME) return false;
    SYMTAB *variable = asg->left->u.name.sym;
    if (!is_automatic(variable) || variable->level < 2 || !type_can_be_reassigned(variable->type))
        return false;
    for (PARAMETER &parameter : parameters) {
        if (parameter.variable == variable) return false;
        if (parameter.passed != asg->right->u.name.sym) continue;
        if (parameter.variable || !equiv_mtypes(variable->type, parameter.passed->type))
            return false;
        parameter.variable = variable;
        return true;
    }
    return false;
}

bool TAIL_CALLS::find_parameters() {
    const LIST *prolog = prolog_cell();
    if (!prolog) return false;
    for (SYMTAB *sym = currfuninfo->symbols; sym; sym = sym->next)
        if (sym->level == 1 && !(sym->attr & SA_temp)) parameters.push_back({sym, nullptr});
    std::sort(parameters.begin(), parameters.end(), [](const PARAMETER &a, const PARAMETER &b) {
        return a.passed->serial < b.passed->serial;
    });
    for (const PARAMETER &parameter : parameters)
        if (!parameter.passed->type->is_scalar()) return false;
    const NODE *chain = prolog->first;
    for (; chain->op == OP::PCOMMA; chain = chain->left)
        if (!add_variable(chain->right)) return false;
    return add_variable(chain);
}

bool TAIL_CALLS::frames_can_be_shared() const {
    if (currfuninfo->eht_size > 1 || currfuninfo->is_profiled) return false;
    if (currfuninfo->flags & FUN_is_interrupt) return false;
    if (currfunc->otype->is_vararg() || pragma_says_preemptible(currfunc)) return false;
    if (restrict_is_used()) return false;
    const LIST *prolog = prolog_cell();
    for (const BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink)
        for (const LIST *cell = bb->statements; cell; cell = cell->rest)
            if (cell != prolog && tree_needs_own_frame(cell->first)) return false;
    return true;
}

// Made when other statements share the prolog's block.
BBLK *TAIL_CALLS::block_after_prolog() const {
    BBLK *entry = currfuninfo->bb_list;
    LIST *prolog = entry->statements, *rest = prolog->rest;
    if (rest->first->op == OP::BRANCH) return label_block(rest->first->left);
    BBLK *body = insert_new_bb(-1, entry, rest);
    prolog->rest = mkelist(mk_BRANCH(body, nullptr), nullptr, nullptr);
    find_positions(entry);
    return body;
}

// The statements that give the parameters their new values, and those behind. A parameter that a
// later argument names gets its value when all have been evaluated.
LIST *TAIL_CALLS::assign_parameters(std::vector<NODE *> arguments, LIST *behind, PSN *psn) const {
    const std::size_t n = arguments.size();
    std::vector<SYMTAB *> temps(n, nullptr);
    std::unordered_set<const SYMTAB *> later;
    LIST *list = behind;
    const auto put_in_front = [&list, psn](NODE *stmt) { list = mkelist(stmt, list, psn); };
    for (std::size_t i = n; i-- > 0;) {
        SYMTAB *variable = parameters[i].variable;
        if (!variable) arguments[i] = peel_for_effect(arguments[i]);
        if (variable && later.count(variable)) {
            temps[i] = sym_temp('R', -1, variable->type, nullptr);
            put_in_front(mk_ASG(mk_NAME(variable, nullptr), mk_NAME(temps[i], nullptr)));
        }
        collect_symbols(arguments[i], later);
    }
    for (std::size_t i = n; i-- > 0;) {
        NODE *argument = arguments[i];
        SYMTAB *variable = temps[i] ? temps[i] : parameters[i].variable;
        if (!variable) {
            if (argument) put_in_front(argument);
        } else if (argument->op == OP::NAME && argument->u.name.sym == variable) {
            erase_tree(argument);
        } else {
            put_in_front(mk_ASG(mk_NAME(variable, nullptr), argument));
        }
    }
    return list;
}

LIST *TAIL_CALLS::jump_instead(NODE *call, BBLK *target, PSN *psn) const {
    LIST *jump = mkelist(mk_BRANCH(target, call->scope), nullptr, psn);
    LIST *list = assign_parameters(take_arguments(call), jump, psn);
    NODE *comment = maketree(OP::ASM, nullptr, nullptr, tp->void_type(), nullptr);
    comment->u.asm_ = {"***\t; tail recursive call occurs here", comment_kind};
    return mkelist(comment, list, psn);
}

void TAIL_CALLS::remove() {
    std::vector<NODE *> calls;
    for (const BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink)
        if (NODE *call = call_at_end(bb)) calls.push_back(call);
    if (calls.empty() || !find_parameters() || !frames_can_be_shared()) return;
    const auto eligible = [this](const NODE *call) { return is_eligible(call); };
    if (std::none_of(calls.begin(), calls.end(), eligible)) return;
    BBLK *target = block_after_prolog();
    for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink) {
        NODE *call = call_at_end(bb);
        if (!call || !is_eligible(call)) continue;
        LIST **link = &bb->statements;
        while ((*link)->first != call && (*link)->rest)
            link = &(*link)->rest;
        PSN *psn = (*link)->psn;
        LIST *replacement = jump_instead(call, target, psn);
        erase_tree_list(*link);
        *link = replacement;
        find_positions(bb);
        if (write_opt_info && finfo)
            std::fprintf(finfo, "\n  ===> Tail recursive self-call removed at line %ld: %s\n\n",
                         psn ? long{psn->line} : 0L, currfuninfo->name.c_str());
    }
}
} // namespace

void remove_tail_calls() {
    TAIL_CALLS().remove();
}
