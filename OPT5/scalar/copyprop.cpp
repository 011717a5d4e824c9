// Global copy propagation.
//
// A copy is a statement x = y or x = constant, with x and y local scalars of one type that only
// their names stand for. It is available at a place when on every way there some statement has made
// it and none after that has assigned to x or y. The sets of available copies follow from the usual
// equations,
//     in(b) = the intersection of out(p) over the predecessors p
//     out(b) = gen(b) + (in(b) - kill(b)),
// solved from above over the blocks in depth-first order (A. Aho, R. Sethi, J. Ullman, "Compilers",
// 1986, section 10.7). One more walk over each block puts y or the constant for each use of x that
// the copy reaches. The copy itself is left to the elimination of dead assignments.
#include "OPT5/driver/log.h"
#include "OPT5/scalar/alias.h"
#include "OPT5/scalar/name_uses.h"
#include "OPT5/scalar/scalar.h"

#include <boost/unordered_map.hpp>

#include <algorithm>

namespace {
// A constant that costs nothing to use in place of a variable: a number or a fixed address.
bool is_free_constant(const NODE *tree) {
    while (tree->op == OP::PCONV)
        tree = tree->left;
    switch (tree->op) {
    case OP::ICON:
    case OP::FCON:
    case OP::SCON: return true;
    case OP::UAND: break;
    default: return false;
    }
    const NODE *object = tree->left;
    while (object->op == OP::STDOT)
        object = object->left;
    return object->op == OP::NAME;
}

bool have_one_type(TYPE *a, TYPE *b) {
    return essential_type(a) == essential_type(b);
}

class COPYPROP {
public:
    explicit COPYPROP(bool global_) : global(global_) {}
    ~COPYPROP();
    void run();

private:
    struct COPY {
        unsigned target;
        int source;  // number of the variable; -1: a constant
        NODE *value; // owned
    };
    struct VARIABLE {
        std::vector<unsigned> copies; // with it as target or source
        int current = -1;             // the copy of which it is the target, where the walk stands
    };
    struct SETS {
        BITVEC in, out, gen, kill;
    };

    int number_of(const SYMTAB *sym) const;
    int copy_of(const NODE *stmt) const; // -1: the statement is none
    void enter_copy(const NODE *stmt);
    void number_variables();
    void find_local_sets(const BBLK *bb, SETS &sets);
    void solve();
    void rewrite(BBLK *bb, const BITVEC &in);
    bool rewrite_statement(NODE *&stmt);
    void forget(unsigned variable);
    NODE *replacement_for(const NODE *name) const;
    template <class Found> void for_each_definition(NODE *&stmt, bool with_root, Found found);

    bool global;
    boost::unordered_map<const SYMTAB *, unsigned> numbers; // looked up, never walked
    std::vector<VARIABLE> variables;
    std::vector<COPY> copies;
    BV_ZONE zone;
    std::vector<SETS> sets;          // by block serial
    std::vector<unsigned> forgotten; // by the statement in work
    long replaced = 0;
};

COPYPROP::~COPYPROP() {
    for (COPY &copy : copies)
        erase_tree(copy.value);
}

int COPYPROP::number_of(const SYMTAB *sym) const {
    const auto found = numbers.find(sym);
    return found == numbers.end() ? -1 : static_cast<int>(found->second);
}

void COPYPROP::number_variables() {
    for (SYMTAB *sym = currfuninfo->symbols; sym; sym = sym->next)
        if (is_register_scalar(sym) && (currfuninfo->eht_size <= 1 || !sym_appears_in_EHT(sym)))
            numbers.emplace(sym, static_cast<unsigned>(numbers.size()));
    variables.resize(numbers.size());
}

int COPYPROP::copy_of(const NODE *stmt) const {
    if (stmt->op != OP::ASG || stmt->left->op != OP::NAME) return -1;
    const int target = number_of(stmt->left->u.name.sym);
    if (target < 0) return -1;
    for (const unsigned n : variables[static_cast<std::size_t>(target)].copies)
        if (copies[n].target == static_cast<unsigned>(target) &&
            trees_are_congruent(copies[n].value, stmt->right))
            return static_cast<int>(n);
    return -1;
}

void COPYPROP::enter_copy(const NODE *stmt) {
    if (stmt->op != OP::ASG || stmt->left->op != OP::NAME) return;
    const SYMTAB *x = stmt->left->u.name.sym;
    const NODE *value = stmt->right;
    const int target = number_of(x);
    if (target < 0 || !have_one_type(x->type, value->type) ||
        (x->type->qual_kind(false) & TQ_restrict))
        return;
    constexpr int no_copy = -2;
    int source = no_copy;
    if (value->op == OP::NAME) {
        const int y = number_of(value->u.name.sym);
        if (y >= 0 && y != target && have_one_type(value->type, value->u.name.sym->type))
            source = y;
    } else if (is_free_constant(value)) {
        source = -1;
    }
    if (source == no_copy || copy_of(stmt) >= 0) return;
    const auto n = static_cast<unsigned>(copies.size());
    copies.push_back({static_cast<unsigned>(target), source, copy_tree(value)});
    variables[static_cast<std::size_t>(target)].copies.push_back(n);
    if (source >= 0) variables[static_cast<std::size_t>(source)].copies.push_back(n);
}

// Calls found with the number of each variable that the statement assigns to; the target of the
// statement itself only on demand.
template <class Found>
void COPYPROP::for_each_definition(NODE *&stmt, bool with_root, Found found) {
    const NODE *root_target = opcode_is_ASG(stmt->op) ? stmt->left : nullptr;
    for_each_name(stmt, [&](NODE *&slot, NAME_USE use) {
        if (use == NAME_USE::value || use == NAME_USE::part_value) return;
        if (slot == root_target && !with_root) return;
        const int n = number_of(slot->u.name.sym);
        if (n >= 0) found(static_cast<unsigned>(n));
    });
}

void COPYPROP::find_local_sets(const BBLK *bb, SETS &block) {
    for (LIST *cell = bb->statements; cell; cell = cell->rest) {
        for_each_definition(cell->first, true, [&](unsigned variable) {
            for (const unsigned n : variables[variable].copies) {
                block.gen.remove(n);
                block.kill.add(n);
            }
        });
        const int n = copy_of(cell->first);
        if (n >= 0) block.gen.add(static_cast<unsigned>(n));
    }
}

void COPYPROP::solve() {
    const auto count = static_cast<unsigned>(copies.size());
    sets.resize(currfuninfo->blocks.size());
    for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink) {
        SETS &block = sets[bb->serial];
        block = {BITVEC(count, &zone), BITVEC(count, &zone), BITVEC(count, &zone),
                 BITVEC(count, &zone)};
        find_local_sets(bb, block);
        block.out.set_all();
    }
    std::vector<BBLK *> roots = handler_blocks(currfuninfo);
    roots.push_back(currfuninfo->bb_list);
    for (bool changed = true; changed;) {
        changed = false;
        for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink) {
            SETS &block = sets[bb->serial];
            const bool is_root = std::find(roots.begin(), roots.end(), bb) != roots.end();
            if (is_root || !bb->predecessors)
                block.in.clear();
            else
                block.in.set_all();
            for (const EDGE *edge = bb->predecessors; edge; edge = edge->next)
                block.in.intersect(sets[edge->bb->serial].out);
            changed |= block.out.transfer(block.gen, block.in, block.kill);
        }
    }
}

void COPYPROP::forget(unsigned variable) {
    for (const unsigned n : variables[variable].copies) {
        VARIABLE &target = variables[copies[n].target];
        if (target.current == static_cast<int>(n)) target.current = -1;
    }
}

// What stands for the value of the variable, through copies of copies; null: nothing else.
NODE *COPYPROP::replacement_for(const NODE *name) const {
    int n = number_of(name->u.name.sym);
    if (n < 0 || !have_one_type(name->type, name->u.name.sym->type)) return nullptr;
    NODE *value = nullptr;
    for (std::size_t steps = 0; n >= 0 && steps < copies.size(); ++steps) {
        const int current = variables[static_cast<std::size_t>(n)].current;
        if (current < 0) break;
        value = copies[static_cast<std::size_t>(current)].value;
        n = copies[static_cast<std::size_t>(current)].source;
    }
    return value;
}

bool COPYPROP::rewrite_statement(NODE *&stmt) {
    bool changed = false;
    for_each_name(stmt, [&](NODE *&slot, NAME_USE use) {
        if (use != NAME_USE::value) return;
        NODE *value = replacement_for(slot);
        if (!value) return;
        dprintf("\n\t(%ld) copyprop() is replacing %s with %s\n", ++replaced,
                slot->u.name.sym->name, print_debug ? infix_text(value, 100).c_str() : "");
        LS *scope = slot->scope;
        erase_tree(slot);
        slot = copy_tree(value);
        slot->scope = scope;
        changed = true;
    });
    return changed;
}

void COPYPROP::rewrite(BBLK *bb, const BITVEC &in) {
    in.for_each([&](unsigned n) { variables[copies[n].target].current = static_cast<int>(n); });
    std::vector<unsigned> made;
    for (LIST **link = &bb->statements; LIST *cell = *link;) {
        // What a part of the statement assigns to has no known value in all of it.
        for_each_definition(cell->first, false, [&](unsigned variable) { forget(variable); });
        for_each_definition(cell->first, true,
                            [&](unsigned variable) { forgotten.push_back(variable); });
        const bool is_prolog = tree_is_arg_prolog(cell->first);
        const bool changed = !is_prolog && rewrite_statement(cell->first);
        for (const unsigned variable : forgotten)
            forget(variable);
        forgotten.clear();
        const int n = copy_of(cell->first);
        if (n >= 0) {
            made.push_back(static_cast<unsigned>(n));
            variables[copies[made.back()].target].current = n;
        }
        if (changed && !simplify_statement(link)) continue;
        link = &cell->rest;
    }
    for (const unsigned n : made)
        variables[copies[n].target].current = -1;
    in.for_each([&](unsigned n) { variables[copies[n].target].current = -1; });
}

void COPYPROP::run() {
    number_variables();
    if (variables.empty()) return;
    for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink)
        for (LIST *cell = bb->statements; cell; cell = cell->rest)
            enter_copy(cell->first);
    if (copies.empty()) return;
    if (global) solve();
    const BITVEC nothing(static_cast<unsigned>(copies.size()));
    for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink)
        rewrite(bb, global ? sets[bb->serial].in : nothing);
}
} // namespace

void copyprop(bool global) {
    if (!currfuninfo->bb_list) return;
    dprintf("\n\n\t\t\t---------- ENTERING 'copyprop' ----------\n");
    init_aliasing_info();
    COPYPROP(global).run();
}
