// Which triples a store or a call kills.
//
// The memory triples, those that are an lvalue themselves, are related pairwise by the table: row m
// has the memory triples that a store to triple m may change. Each other triple reads memory
// through the lvalues in its tree and belongs to the sets of all of them; a store kills it when it
// kills one of the lvalues that it is made of, whose numbers stand in depnum.
#include "OPT5/scalar/alias_state.h"
#include "OPT5/scalar/scalar.h"

#include <memory>

BITVEC triple_kills_global_vars, triple_kills_aliased_vars, triple_kills_aliased_scalars,
    triple_kills_ASSERTs, triple_kills_indirect_refs, triple_kills_indirect_refs_NL,
    triple_kills_indirect_NKV, triple_kills_indirect_NS_maybe, triple_kills_indirect_NS_yes,
    triple_kills_indirect_ICON;
int errno_triple = -1;

namespace {
BITVEC *const all_sets[] = {
    &triple_kills_global_vars,   &triple_kills_aliased_vars,      &triple_kills_aliased_scalars,
    &triple_kills_ASSERTs,       &triple_kills_indirect_refs,     &triple_kills_indirect_refs_NL,
    &triple_kills_indirect_NKV,  &triple_kills_indirect_NS_maybe, &triple_kills_indirect_NS_yes,
    &triple_kills_indirect_ICON,
};

std::vector<NODE *> the_triples;                 // by number, null for what names no memory
std::unique_ptr<Triple_Alias_Table> alias_table; // of them
std::vector<BITVEC> readers; // by memory triple: the triples with it in their tree

bool is_assertion(const NODE *tree) {
    return tree->op == OP::ASSERT || tree->op == OP::NASSERT;
}

// Calls visit for each lvalue that the tree reads, the tree itself included.
template <class Visit> void for_each_read(const NODE *tree, bool is_address, Visit visit) {
    for (; tree; tree = tree->left) {
        const bool is_member = tree->op == OP::STDOT || tree->op == OP::STREF;
        if (!is_address && names_memory(tree)) visit(tree);
        if (tree->right && !is_member) for_each_read(tree->right, false, visit);
        is_address = tree->op == OP::UAND || tree->op == OP::STDOT;
    }
}

// Whether the address of the lvalue is itself loaded, and from where: a variable that no pointer
// leads to, or memory that a store may change.
enum class STEADINESS { steady, maybe, no };
STEADINESS steadiness_of_address(const NODE *lvalue) {
    STEADINESS worst = STEADINESS::steady;
    const auto lower = [&](const NODE *read) {
        const MEMREF ref = resolve_lvalue(read);
        const bool is_safe =
            ref.object && is_automatic(ref.object) && !(ref.object->attr & SA_aliased);
        if (!is_safe)
            worst = ref.object && worst != STEADINESS::no ? STEADINESS::maybe : STEADINESS::no;
    };
    if (lvalue->left) for_each_read(lvalue->left, lvalue->op == OP::STDOT, lower);
    return worst;
}

void add_to_sets(const NODE *read, unsigned number) {
    if (lvalue_is_immutable(read)) return;
    const MEMREF ref = resolve_lvalue(read);
    if (ref.object) {
        if (!is_automatic(ref.object)) triple_kills_global_vars.add(number);
        if (some_pointer_leads_to(ref.object)) {
            triple_kills_aliased_vars.add(number);
            if (read->type->is_scalar()) triple_kills_aliased_scalars.add(number);
        }
    }
    if (read->op != OP::UMULT && read->op != OP::STREF && ref.object) return;
    triple_kills_indirect_refs.add(number);
    if (!ref.object || !is_automatic(ref.object)) triple_kills_indirect_refs_NL.add(number);
    if (!ref.object) triple_kills_indirect_NKV.add(number);
    switch (steadiness_of_address(read)) {
    case STEADINESS::steady: break;
    case STEADINESS::maybe: triple_kills_indirect_NS_maybe.add(number); break;
    case STEADINESS::no: triple_kills_indirect_NS_yes.add(number); break;
    }
    const NODE *root = ref.root;
    while (root && root->op == OP::PCONV)
        root = root->left;
    if (root && root->op == OP::ICON) triple_kills_indirect_ICON.add(number);
}

int memory_triple_of(const NODE *lvalue) {
    const int n = lvalue->depnum;
    const bool has_one = n >= 0 && static_cast<std::size_t>(n) < the_triples.size() &&
                         the_triples[static_cast<std::size_t>(n)];
    return has_one ? n : -1;
}

// The triples in whose trees one of the memory triples stands.
void add_readers(const BITVEC &memory, BITVEC &set) {
    memory.for_each([&](unsigned n) { set.merge(readers[n]); });
}

// A store through a pointer may kill no more than what store_may_reach_load says of each triple.
void add_stored_over(const NODE *store, BITVEC &set) {
    for (std::size_t n = 0; n < the_triples.size(); ++n)
        if (the_triples[n] && store_may_reach_load(store, the_triples[n], nullptr))
            set.merge(readers[n]);
}
} // namespace

void compute_alias_sets(NODE **triples, int count) {
    clean_up_alias_analysis_bitvecs_etc();
    const auto size = static_cast<unsigned>(count);
    for (BITVEC *set : all_sets)
        bv_resize(*set, size);
    the_triples.assign(size, nullptr);
    readers.resize(size);
    for (unsigned n = 0; n < size; ++n) {
        if (!triples[n] || !names_memory(triples[n])) continue;
        the_triples[n] = triples[n];
        readers[n] = BITVEC(size);
        readers[n].add(n);
        const bool is_errno = triples[n]->op == OP::NAME && triples[n]->u.name.sym->level == 0 &&
                              std::string_view(triples[n]->u.name.sym->name) == "_errno";
        if (is_errno) errno_triple = static_cast<int>(n);
    }
    for (unsigned n = 0; n < size; ++n) {
        if (!triples[n]) continue;
        if (is_assertion(triples[n])) triple_kills_ASSERTs.add(n);
        for_each_read(triples[n], false, [n](const NODE *read) {
            add_to_sets(read, n);
            const int m = memory_triple_of(read);
            if (m >= 0) readers[static_cast<std::size_t>(m)].add(n);
        });
    }
    alias_table = std::make_unique<Triple_Alias_Table>(triples, count);
}

void clean_up_alias_analysis_bitvecs_etc() {
    for (BITVEC *set : all_sets)
        bv_free(*set);
    alias_table.reset();
    the_triples.clear();
    readers.clear();
    errno_triple = -1;
}

void kill_aliases_of_lvalue(const NODE *lvalue, BITVEC &set) {
    const int n = memory_triple_of(lvalue);
    if (n < 0) {
        add_stored_over(lvalue, set);
        return;
    }
    add_readers(alias_table->aliases_of(n), set);
}

void kill_aliases_indirect(const LS *ls, const NODE *tree, BITVEC &set, int n) {
    if (n >= 0 && static_cast<std::size_t>(n) < the_triples.size() &&
        the_triples[static_cast<std::size_t>(n)]) {
        add_readers(alias_table->aliases_of(n), set);
        return;
    }
    if (!tree || !tree->type->is_ptr()) {
        set.merge(triple_kills_aliased_vars);
        set.merge(triple_kills_indirect_refs);
        return;
    }
    NODE place;
    place.op = OP::UMULT;
    place.left = const_cast<NODE *>(tree);
    place.type = tree->type->type_pointed_to();
    place.scope = const_cast<LS *>(ls);
    add_stored_over(&place, set);
}

// A pointer may lead to whatever can be named, so that triples without a known variable are killed
// either way.
void kill_aliases_on_call(const NODE *call, BITVEC &set) {
    if (call->op == OP::MEMCPY) {
        for (std::size_t n = 0; n < the_triples.size(); ++n)
            if (the_triples[n] && call_may_modify_lvalue(call, the_triples[n]))
                set.merge(readers[n]);
        return;
    }
    const CALL_REACH reach = assignments_of_call(call);
    if (reach.by_name) set.merge(triple_kills_global_vars);
    if (reach.by_pointer) set.merge(triple_kills_aliased_vars);
    if (reach.by_name || reach.by_pointer) set.merge(triple_kills_indirect_NKV);
}

void kill_assertions(BITVEC &set) {
    set.merge(triple_kills_ASSERTs);
}
