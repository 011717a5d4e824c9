// One walk over the trees of a function. The walk of a tree gives the place that its value comes
// from, where it is a pointer's; an assignment joins the places of its two sides (a union-find
// forest, see R. Tarjan, "Efficiency of a Good But Not Linear Set Union Algorithm", 1975). A tree
// that assigns in a way that is not understood makes all unknown.
#include "OPT5/rep/ptr_groups.h"

#include "OPT5/driver/abort.h"
#include "OPT5/icode/if.h"
#include "OPT5/icode/records/opcodes.h"
#include "OPT5/rep/bblk.h"

#include <algorithm>

class PTR_FLOW {
public:
    explicit PTR_FLOW(PTR_GROUPS &groups_) : groups(groups_) {}
    int value_of(const NODE *tree); // the place, or nowhere
    bool is_lost() const { return lost; }

private:
    static constexpr int nowhere = -1; // a number, a text, a constant address

    int place_in(PTR_GROUPS::PLACES &places, const SYMTAB *sym);
    int joined(int a, int b);
    int value_of_name(const SYMTAB *sym);
    int value_of_address(const NODE *lvalue);
    int value_of_conversion(const NODE *tree);
    int value_of_assignment(const NODE *tree);
    int value_of_others(const NODE *tree);
    void store(const NODE *lvalue, int place);
    void pass(const NODE *arguments);

    PTR_GROUPS &groups;
    bool lost = false;
};

int PTR_FLOW::place_in(PTR_GROUPS::PLACES &places, const SYMTAB *sym) {
    const auto [entry, is_new] = places.try_emplace(sym, static_cast<int>(groups.parents.size()));
    if (is_new) groups.parents.push_back(entry->second);
    return entry->second;
}

int PTR_FLOW::joined(int a, int b) {
    if (a == nowhere || b == nowhere) return a == nowhere ? b : a;
    a = groups.find(a), b = groups.find(b);
    groups.parents[static_cast<std::size_t>(std::max(a, b))] = std::min(a, b);
    return std::min(a, b);
}

int PTR_FLOW::value_of_name(const SYMTAB *sym) {
    if (sym->type->is_func()) return nowhere;
    if (sym->type->is_array() && !sym->type->is_vector()) return place_in(groups.objects, sym);
    return is_automatic_pointer(sym) ? place_in(groups.variables, sym) : groups.memory;
}

// Of an address: the variable's, or that of the pointer that it starts from. A variable that has
// an address is memory.
int PTR_FLOW::value_of_address(const NODE *lvalue) {
    while (lvalue->left && lvalue->op != OP::UMULT && lvalue->op != OP::STREF)
        lvalue = lvalue->left;
    if (lvalue->op == OP::UMULT && lvalue->right) value_of(lvalue->right);
    if (lvalue->left) return value_of(lvalue->left);
    if (lvalue->op != OP::NAME) return groups.memory;
    const SYMTAB *sym = lvalue->u.name.sym;
    if (is_automatic_pointer(sym)) joined(place_in(groups.variables, sym), groups.memory);
    return sym->type->is_func() ? nowhere : place_in(groups.objects, sym);
}

int PTR_FLOW::value_of_conversion(const NODE *tree) {
    const int place = value_of(tree->left);
    if (tree->type->is_ptr() == tree->left->type->is_ptr()) return place;
    return tree->left->op == OP::ICON ? nowhere : joined(place, groups.memory);
}

void PTR_FLOW::store(const NODE *lvalue, int place) {
    while (lvalue->left && lvalue->op != OP::UMULT && lvalue->op != OP::STREF &&
           lvalue->op != OP::STDOT)
        lvalue = lvalue->left;
    if (lvalue->op == OP::NAME && is_automatic_pointer(lvalue->u.name.sym)) {
        joined(place_in(groups.variables, lvalue->u.name.sym), place);
        return;
    }
    lost |= !lvalue->left && lvalue->op != OP::NAME;
    if (lvalue->left) value_of(lvalue);
    joined(groups.memory, place);
}

int PTR_FLOW::value_of_assignment(const NODE *tree) {
    const NODE *source = tree->right;
    int place = tree->op == OP::ARASG && source->op == OP::NAME ? groups.memory : value_of(source);
    // A number in a pointer may be one that was made of a pointer.
    if (tree->op == OP::ASG && tree->left->type->is_ptr() && !source->type->is_ptr() &&
        source->op != OP::ICON)
        place = joined(place, groups.memory);
    store(tree->left, place);
    return tree->left->op == OP::NAME ? value_of(tree->left) : groups.memory;
}

void PTR_FLOW::pass(const NODE *arguments) {
    for (; arguments && arguments->op == OP::COMMA; arguments = arguments->left)
        pass(arguments->right);
    if (arguments) joined(value_of(arguments), groups.memory);
}

// Arithmetic of pointers keeps to them; a number that is made of them counts as stored.
int PTR_FLOW::value_of_others(const NODE *tree) {
    int place = tree->left ? value_of(tree->left) : nowhere;
    if (tree->right) place = joined(place, value_of(tree->right));
    if (tree->type->is_ptr()) return tree->left ? place : groups.memory;
    if (!boolean_result[tree->op]) joined(place, groups.memory);
    return nowhere;
}

int PTR_FLOW::value_of(const NODE *tree) {
    if (opcode_is_ASG(tree->op)) return value_of_assignment(tree);
    switch (tree->op) {
    case OP::NAME: return value_of_name(tree->u.name.sym);
    case OP::UAND: return value_of_address(tree->left);
    case OP::ARGREF: return joined(value_of_address(tree->left), groups.memory);
    case OP::PCONV:
    case OP::IDENTITY: return value_of_conversion(tree);
    case OP::PLUSPLUS:
    case OP::MINMIN: return value_of(tree->left);
    case OP::UMULT:
    case OP::STREF:
    case OP::STDOT:
        value_of(tree->left);
        if (tree->right) value_of(tree->right);
        return groups.memory;
    case OP::COMMA:
        value_of(tree->left);
        value_of(tree->right);
        return nowhere;
    case OP::PCOMMA:
    case OP::COMMAOP:
    case OP::QUEST: value_of(tree->left); return value_of(tree->right);
    case OP::COLON: return joined(value_of(tree->left), value_of(tree->right));
    case OP::CALL:
    case OP::UCALL:
    case OP::ICALL:
    case OP::MCALL:
        pass(tree->left);
        pass(tree->right);
        return groups.memory;
    case OP::MEMCPY: // from memory to memory
    case OP::NASSERT:
    case OP::IF:
    case OP::SWITCH: value_of(tree->left); return nowhere;
    case OP::RETURN: value_of(tree->right); return nowhere;
    case OP::URETURN:
    case OP::BRANCH:
    case OP::SCON:
    case OP::FIELD: return nowhere;
    case OP::ASM: lost |= tree->u.asm_.kind != 47; return nowhere; // 47: a comment
    case OP::SSA_DEF:
    case OP::SSA_PHI:
    case OP::SSA_CHI: lost = true; return nowhere;
    default: return value_of_others(tree);
    }
}

int PTR_GROUPS::find(int place) const {
    const auto above = [this](int of) -> int & { return parents[static_cast<std::size_t>(of)]; };
    while (above(place) != place)
        place = above(place) = above(above(place));
    return place;
}

int PTR_GROUPS::find(const PLACES &places, const SYMTAB *sym) const {
    const auto entry = places.find(sym);
    return entry == places.end() ? unknown : find(entry->second);
}

int PTR_GROUPS::group_of(const NODE *pointer) const {
    if (!are_known()) return unknown;
    switch (pointer->op) {
    case OP::PLUSPLUS:
    case OP::MINMIN: return group_of(pointer->left);
    case OP::NAME: {
        const SYMTAB *sym = pointer->u.name.sym;
        if (!sym->type->is_ptr()) return unknown;
        return is_automatic_pointer(sym) ? find(variables, sym) : find(memory);
    }
    case OP::UMULT:
    case OP::STREF:
    case OP::STDOT:
    case OP::CALL:
    case OP::UCALL: return find(memory);
    default: return unknown;
    }
}

int PTR_GROUPS::group_of_address(const SYMTAB *object) const {
    return find(objects, object);
}

void PTR_GROUPS::clear() {
    parents.clear();
    variables.clear();
    objects.clear();
}

void PTR_GROUPS::build(const FUNINFO *funinfo) {
    clear();
    parents.push_back(memory);
    PTR_FLOW flow(*this);
    for (const BBLK *bb = funinfo->bb_list; bb; bb = bb->dflink)
        for (const LIST *cell = bb->statements; cell; cell = cell->rest)
            flow.value_of(cell->first);
    for (unsigned i = 0; i < funinfo->eht_size; ++i)
        if (funinfo->eht[i].cleanup) flow.value_of(funinfo->eht[i].cleanup);
    if (flow.is_lost() || funinfo->pending) clear();
}

void make_PTR_GROUPS(FUNINFO *funinfo) {
    funinfo->ptr_groups = {new PTR_GROUPS, [](PTR_GROUPS *old) { delete old; }};
}

bool is_automatic_pointer(const SYMTAB *sym) {
    return sym->type->is_ptr() && sym->level != 0 && sym->sc != 2 && sym->sc != 3 && sym->sc != 5;
}

void LS::build_PTR_equivalence_groups(const LS *root) {
    if (root != currfuninfo->root_scope) abort_optimizer();
    if (!currfuninfo->ptr_groups) make_PTR_GROUPS(currfuninfo);
    currfuninfo->ptr_groups->build(currfuninfo);
}
