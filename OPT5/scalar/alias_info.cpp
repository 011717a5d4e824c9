// What the trees of a function say about addresses.
//
// One walk over all statements looks at each place where an address is made (UAND). An address that
// is followed on the spot, as the array's in `a[i]` or the structure's in `s.x`, stays between the
// two; wherever else it goes, some pointer may hold it from then on. Both make the variable
// "aliased"; a variable that only the first happened to is marked SA_no_escape too: no pointer
// leads to it. The same walk over the whole file finds the file's own static variables of which
// that holds; it is made while all functions are in memory. Beside that it collects the parameters
// that are set by the prolog alone: at all times they lead to what the caller passed, never to a
// variable of this call.
#include "OPT5/driver/log.h"
#include "OPT5/icode/if.h"
#include "OPT5/rep/program.h"
#include "OPT5/rep/ptr_groups.h"
#include "OPT5/scalar/alias_state.h"

#include <boost/unordered_map.hpp>

#include <algorithm>

ALIAS_STATE alias_state;

const NODE *whole_object(const NODE *lvalue) {
    while (lvalue->left) {
        switch (lvalue->op) {
        case OP::STDOT:
        case OP::VFIELD:
        case OP::REAL:
        case OP::IMAG:
        case OP::SIMDHI:
        case OP::SIMDLO:
        case OP::SSA_USE:
        case OP::SSA_DEF:
        case OP::IDENTITY: lvalue = lvalue->left; continue;
        default: return lvalue;
        }
    }
    return lvalue;
}

namespace {
class ADDRESS_WALK {
public:
    explicit ADDRESS_WALK(bool whole_file_) : whole_file(whole_file_) {}
    void visit_body(const FUNINFO *funinfo);
    // `is_followed`: the value of the tree is an address that its user follows on the spot.
    void visit(const NODE *tree, bool is_followed);

private:
    void expose(SYMTAB *sym, bool is_followed) const;
    const NODE *visit_address_of(const NODE *lvalue, bool is_followed);
    void visit_target(const NODE *target);
    void visit_array_operand(const NODE *operand);
    void visit_prolog(const NODE *prolog);

    bool whole_file; // only the file's statics are looked at; else only what is local
};

void ADDRESS_WALK::expose(SYMTAB *sym, bool is_followed) const {
    if (sym->type->is_func() || whole_file != is_static_datum(sym)) return;
    if (!whole_file) sym->attr |= SA_aliased;
    if (!is_followed) sym->attr &= static_cast<std::uint8_t>(~SA_no_escape);
}

// Gives the operand that is left to be visited, if any.
const NODE *ADDRESS_WALK::visit_address_of(const NODE *lvalue, bool is_followed) {
    const NODE *base = whole_object(lvalue);
    if (base->op == OP::NAME) {
        expose(base->u.name.sym, is_followed);
        return nullptr;
    }
    if (base->op == OP::UMULT || base->op == OP::STREF) {
        if (base->op == OP::UMULT && base->right) visit(base->right, false);
        return base->left; // the address of what an address leads to is that address
    }
    visit(base, false);
    return nullptr;
}

void ADDRESS_WALK::visit_target(const NODE *target) {
    const NODE *base = whole_object(target);
    if (base->op != OP::NAME) {
        visit(base, false);
        return;
    }
    if (!whole_file) alias_state.fixed_parms.erase(base->u.name.sym);
}

void ADDRESS_WALK::visit_array_operand(const NODE *operand) {
    if (whole_object(operand)->op != OP::NAME) visit(operand, false);
}

void ADDRESS_WALK::visit(const NODE *tree, bool is_followed) {
    while (tree) {
        const NODE *pointer = tree->op == OP::UAND ? nullptr : pointer_below(tree);
        if (pointer) {
            if (tree->right) visit(pointer == tree->left ? tree->right : tree->left, false);
            tree = pointer;
            continue;
        }
        switch (tree->op) {
        case OP::NAME:
            // An array stands for its address where it is a value.
            if (tree->u.name.sym->type->is_array() && !tree->u.name.sym->type->is_vector())
                expose(tree->u.name.sym, false);
            return;
        case OP::UAND: tree = visit_address_of(tree->left, is_followed); continue;
        case OP::ARGREF:
            if (tree->left->op == OP::NAME) {
                expose(tree->left->u.name.sym, false);
                visit_target(tree->left);
                return;
            }
            break;
        case OP::UMULT:
        case OP::STREF:
            is_followed = !tree->right || tree->op == OP::STREF;
            if (!is_followed) visit(tree->right, false);
            tree = tree->left;
            continue;
        case OP::ARASG:
            visit_array_operand(tree->left);
            visit_array_operand(tree->right);
            return;
        case OP::MEMCPY: {
            const bool is_usual = tree->left->op == OP::COMMA && tree->left->left->op == OP::COMMA;
            if (!is_usual) break;
            visit(tree->left->right, false);
            visit(tree->left->left->left, true);
            tree = tree->left->left->right;
            is_followed = true;
            continue;
        }
        case OP::PLUSPLUS:
        case OP::MINMIN: visit_target(tree->left); return;
        default:
            if (!opcode_is_ASG(tree->op)) break;
            visit_target(tree->left);
            tree = tree->right;
            is_followed = false;
            continue;
        }
        is_followed = false;
        if (tree->right && tree->op != OP::STDOT) visit(tree->right, false);
        tree = tree->left;
    }
}

// The parameters' variables, as long as nothing else is found to assign to them.
void ADDRESS_WALK::visit_prolog(const NODE *prolog) {
    for (; prolog; prolog = prolog->op == OP::PCOMMA ? prolog->left : nullptr) {
        const NODE *copy = prolog->op == OP::PCOMMA ? prolog->right : prolog;
        const bool is_plain = copy->op == OP::ASG && copy->left->op == OP::NAME &&
                              copy->right->op == OP::NAME && copy->right->u.name.sym->level == 1;
        if (!is_plain)
            visit(copy, false);
        else if (!whole_file)
            alias_state.fixed_parms.insert(copy->left->u.name.sym);
    }
}

void ADDRESS_WALK::visit_body(const FUNINFO *funinfo) {
    const LIST *first = funinfo->bb_list ? funinfo->bb_list->statements : nullptr;
    if (first && tree_is_arg_prolog(first->first)) {
        visit_prolog(first->first);
        first = first->rest;
    }
    for (const BBLK *bb = funinfo->bb_list; bb; bb = bb->dflink) {
        if (bb != funinfo->bb_list) first = bb->statements;
        for (; first; first = first->rest)
            visit(first->first, false);
    }
    for (const LIST *cell = funinfo->pending; cell; cell = cell->rest)
        visit(cell->first, false);
    for (unsigned i = 0; i < funinfo->eht_size; ++i)
        visit(funinfo->eht[i].cleanup, false);
}

// Every function of the file must be in memory.
void mark_statics() {
    for (SYMTAB *sym = global_symbols; sym; sym = sym->next)
        if (is_static_datum(sym)) sym->attr |= SA_no_escape;
    for (SYMTAB *sym = global_symbols; sym; sym = sym->next)
        for (const NODE *tree : sym->init ? sym->init->trees : std::vector<NODE *>())
            ADDRESS_WALK(true).visit(tree, false);
    map_over_FUNINFOs([](FUNINFO *funinfo) { ADDRESS_WALK(true).visit_body(funinfo); });
    mark_unwritten_statics();
    fileinfo->statics_are_marked = true;
}

// The walk has collected the parameters without another assignment.
void keep_fixed_parameters() {
    auto &parms = alias_state.fixed_parms;
    for (auto it = parms.begin(); it != parms.end();) {
        const SYMTAB *sym = *it;
        const bool keeps_value =
            sym->type->is_ptr() && !sym->type->is_volatile() && !(sym->attr & SA_aliased);
        it = keeps_value ? std::next(it) : parms.erase(it);
    }
}

// How often restrict pointers get a value that is not made of their own.
class ORIGINS {
public:
    bool find_candidates();
    void count(const NODE *tree);
    void keep_single(boost::unordered_set<const SYMTAB *> &roots) const;

private:
    void add_candidate(const SYMTAB *sym);

    boost::unordered_map<const SYMTAB *, int> origins; // looked up; walked into a set
};

void ORIGINS::add_candidate(const SYMTAB *sym) {
    const bool is_restricted = is_automatic_pointer(sym) && !sym->type->is_volatile() &&
                               (sym->type->qual_kind(false) & TQ_restrict);
    if (is_restricted) origins.emplace(sym, 0);
}

bool ORIGINS::find_candidates() {
    const LIST *first = currfuninfo->bb_list ? currfuninfo->bb_list->statements : nullptr;
    for (const NODE *prolog = first && tree_is_arg_prolog(first->first) ? first->first : nullptr;
         prolog; prolog = prolog->op == OP::PCOMMA ? prolog->left : nullptr) {
        const NODE *copy = prolog->op == OP::PCOMMA ? prolog->right : prolog;
        if (copy->op == OP::ASG && copy->left->op == OP::NAME)
            add_candidate(copy->left->u.name.sym);
    }
    constexpr unsigned outermost_depth = 2;
    for (const SYMTAB *sym = currfuninfo->symbols; sym; sym = sym->next)
        if (sym->level >= 2 && sym->scope && sym->scope->callsite == 0 &&
            sym->scope->depth <= outermost_depth)
            add_candidate(sym);
    return !origins.empty();
}

void ORIGINS::count(const NODE *tree) {
    for (; tree; tree = tree->left) {
        if (tree->right) count(tree->right);
        if (tree->op != OP::ASG || tree->left->op != OP::NAME) continue;
        const auto entry = origins.find(tree->left->u.name.sym);
        if (entry == origins.end()) continue;
        const NODE *value = tree->right;
        while (const NODE *below = pointer_below(value))
            value = below;
        if (value->op != OP::NAME || value->u.name.sym != entry->first) ++entry->second;
    }
}

void ORIGINS::keep_single(boost::unordered_set<const SYMTAB *> &roots) const {
    for (const auto &[sym, count] : origins)
        if (count <= 1) roots.insert(sym);
}

bool is_vector_or_complex(const SYMTAB *sym) {
    return sym->type->is_vector() || sym->type->is_complex();
}

// Calls found for each variable of which the tree assigns to a part or takes its address.
template <class Found> void find_parts(const NODE *tree, Found found) {
    for (; tree; tree = tree->left) {
        const bool is_target =
            opcode_is_ASG(tree->op) || tree->op == OP::PLUSPLUS || tree->op == OP::MINMIN;
        if (is_target || tree->op == OP::UAND) {
            const NODE *base = whole_object(tree->left);
            if (base->op == OP::NAME && (tree->op == OP::UAND || base != tree->left))
                found(base->u.name.sym);
        }
        if (tree->right) find_parts(tree->right, found);
    }
}
} // namespace

bool is_static_datum(const SYMTAB *sym) {
    return sym->sc == 3 && sym->level == 0 && !sym->type->is_func();
}

const NODE *pointer_below(const NODE *address) {
    const auto if_pointer = [](const NODE *operand) {
        return operand->type->is_ptr() ? operand : nullptr;
    };
    switch (address->op) {
    case OP::PLUS: {
        const NODE *left = if_pointer(address->left), *right = if_pointer(address->right);
        return left && right ? nullptr : left ? left : right;
    }
    case OP::MINUS: return if_pointer(address->right) ? nullptr : if_pointer(address->left);
    case OP::PCONV:
    case OP::IDENTITY:
    case OP::OUIALIGN:
    case OP::NONALIGN:
    case OP::SSA_USE: return address->type->is_ptr() ? if_pointer(address->left) : nullptr;
    default: return nullptr;
    }
}

void init_aliasing_info() {
    if (fileinfo->pass_number == 1 && !fileinfo->statics_are_marked) mark_statics();
    reset_alias_info();
    const FUNINFO *funinfo = currfuninfo;
    find_restricted_roots();
    // Only they ask for the groups.
    if (!alias_state.restricted_roots.empty())
        LS::build_PTR_equivalence_groups(funinfo->root_scope);
    for (SYMTAB *sym = funinfo->symbols; sym; sym = sym->next) {
        sym->attr &= static_cast<std::uint8_t>(~SA_aliased);
        sym->attr |= SA_no_escape;
        alias_state.last_serial = std::max(alias_state.last_serial, sym->serial);
    }
    // What the file does not say of a variable that others may see, is not known.
    constexpr std::uint16_t escapes_mark = 0x2000;
    for (SYMTAB *sym = global_symbols; sym; sym = sym->next) {
        const bool is_aliased = (sym->flags & escapes_mark) || !(sym->attr & SA_no_escape);
        sym->attr &= static_cast<std::uint8_t>(~SA_aliased);
        if (is_aliased) sym->attr |= SA_aliased;
    }
    ADDRESS_WALK(false).visit_body(funinfo);
    keep_fixed_parameters();
    mark_aliased_vector_and_complex_symbols(nullptr, 1);
}

void reset_alias_info() {
    alias_state.fixed_parms.clear();
    alias_state.restricted_roots.clear();
    if (currfuninfo && currfuninfo->ptr_groups) currfuninfo->ptr_groups->clear();
    alias_state.assertions.clear();
    alias_state.last_serial = 0;
    std::fill(std::begin(alias_state.type_pairs), std::end(alias_state.type_pairs),
              ALIAS_STATE::TYPE_PAIR());
}

void find_restricted_roots() {
    ORIGINS origins;
    if (!origins.find_candidates()) return;
    for (const BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink)
        for (const LIST *cell = bb->statements; cell; cell = cell->rest)
            origins.count(cell->first);
    origins.keep_single(alias_state.restricted_roots);
}

bool is_fixed_parameter(const SYMTAB *sym) {
    return alias_state.fixed_parms.count(sym) != 0;
}

void mark_aliased_vector_and_complex_symbols(SYMTAB *only, int set) {
    bool has_any = only && is_vector_or_complex(only);
    for (const SYMTAB *sym = currfuninfo->symbols; sym && !only && !has_any; sym = sym->next)
        has_any = is_vector_or_complex(sym);
    if (!has_any) return;
    int count = 0;
    for (const BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink)
        for (const LIST *cell = bb->statements; cell; cell = cell->rest)
            find_parts(cell->first, [&](SYMTAB *sym) {
                if (!is_vector_or_complex(sym) || (only && sym != only)) return;
                if (set) sym->attr |= SA_aliased;
                ++count;
            });
    if (count) dprintf("\t%d parts of vector and complex variables\n", count);
}

TYPE *true_type(const NODE *tree, int n) {
    for (int below = 0; n == 0 || below < n; ++below) {
        const bool is_conversion = tree->op == OP::PCONV || tree->op == OP::IDENTITY ||
                                   tree->op == OP::OUIALIGN || tree->op == OP::NONALIGN;
        if (!is_conversion || !tree->left->type->is_ptr()) break;
        tree = tree->left;
    }
    return tree->type;
}
