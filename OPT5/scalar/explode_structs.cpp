// Scalar replacement of structures.
//
// An automatic structure of which no address is made, and which is used by its scalar members and
// in assignments of the whole or of an inner structure, becomes one variable for each scalar
// member. An assignment between two of them, or between one and a structure in memory, becomes
// assignments of the members, as long as these are few. What may go wrong by it: the address of the
// other side is computed for each member, so it must have no effect and not depend on what is
// assigned.
//
// Structures with unions, arrays or bit-fields within, volatile ones, parameters as passed, and
// those that cleanup code names stay as they are.
#include "OPT5/driver/log.h"
#include "OPT5/rep/type_pkg.h"
#include "OPT5/scalar/alias.h"
#include "OPT5/scalar/name_uses.h"
#include "OPT5/scalar/scalar.h"

#include <boost/unordered_map.hpp>

namespace {
constexpr std::size_t most_members = 16;    // of a structure that is exploded
constexpr std::size_t most_assignments = 8; // for one copy to or from memory

struct MEMBER_STEP {
    fkMDATA *mdata;
    TYPE *csu;
};
struct LEAF {
    std::vector<MEMBER_STEP> path; // outermost first
    std::int64_t offset;
    TYPE *type;
    SYMTAB *sym = nullptr; // made at its first use
};
using LEAVES = std::vector<LEAF>;

// The scalar members of the structure, in order; false when it holds anything else.
bool collect_leaves(TYPE *csu, std::vector<MEMBER_STEP> &path, std::int64_t offset,
                    LEAVES &leaves) {
    const TYPE *type = csu->stds();
    if (!type->is_complete() || type->is_union() || csu->is_volatile() ||
        type->get_csu()->bclasses || leaves.size() > most_members)
        return false;
    for (fkMDATA *member = type->get_csu()->mdata; member; member = member->next) {
        if (!member->type || member->is_bitfield || member->type->is_volatile()) return false;
        path.push_back({member, csu->stds()});
        const std::int64_t place = offset + member->offset;
        const TYPE *kind = member->type;
        if (kind->is_csu()) {
            if (!collect_leaves(member->type, path, place, leaves)) return false;
        } else if (kind->is_int_or_enum() || kind->is_floating() || kind->is_ptr()) {
            leaves.push_back({path, place, member->type});
        } else {
            return false;
        }
        path.pop_back();
    }
    return leaves.size() <= most_members;
}

struct CANDIDATE {
    SYMTAB *sym;
    LEAVES leaves;
    bool is_fit = true;
};

// A structure or part of one: the variable, and where in it.
struct REGION {
    CANDIDATE *candidate = nullptr;
    std::int64_t offset = 0;
    TYPE *type = nullptr;
};

class EXPLODER {
public:
    void run();

private:
    void find_candidates();
    void check_statement(NODE *&stmt);
    void check_uses(NODE *&tree, NAME_USE use);
    bool is_fit_copy(NODE *stmt);
    bool is_fit_memory(const NODE *lvalue, const NODE *stmt) const;
    REGION region_of(const NODE *lvalue);
    CANDIDATE *candidate_of(const NODE *name);
    LEAF *leaf_of(const NODE *lvalue); // null: no scalar member of a candidate
    SYMTAB *variable_of(LEAF &leaf, const CANDIDATE &of);
    void rewrite_members(NODE *&tree);
    bool rewrite_copy(LIST **link);
    NODE *member_of(const NODE *lvalue, const REGION &region, std::int64_t offset,
                    const LEAF &like);
    void drop_unfit();

    std::vector<CANDIDATE> candidates;
    boost::unordered_map<const SYMTAB *, std::size_t> numbers; // looked up, never walked
    bool is_unfit_found = false;
};

CANDIDATE *EXPLODER::candidate_of(const NODE *name) {
    const auto found = numbers.find(name->u.name.sym);
    return found == numbers.end() ? nullptr : &candidates[found->second];
}

void EXPLODER::find_candidates() {
    for (SYMTAB *sym = currfuninfo->symbols; sym; sym = sym->next) {
        const bool is_auto = sym->level >= 2 && (sym->sc == 1 || sym->sc == 4);
        if (!is_auto || !sym->type->is_csu() || (sym->attr & SA_aliased) || sym_appears_in_EHT(sym))
            continue;
        CANDIDATE candidate{sym, {}};
        std::vector<MEMBER_STEP> path;
        if (!collect_leaves(sym->type, path, 0, candidate.leaves)) continue;
        numbers.emplace(sym, candidates.size());
        candidates.push_back(std::move(candidate));
    }
}

REGION EXPLODER::region_of(const NODE *lvalue) {
    REGION region;
    region.type = lvalue->type;
    for (; lvalue->op == OP::STDOT; lvalue = lvalue->left) {
        if (lvalue->right->op != OP::FIELD || !lvalue->right->u.field.mdata) return {};
        region.offset += lvalue->right->u.field.mdata->offset;
    }
    if (lvalue->op == OP::NAME) region.candidate = candidate_of(lvalue);
    return region;
}

LEAF *EXPLODER::leaf_of(const NODE *lvalue) {
    const REGION region = region_of(lvalue);
    if (!region.candidate) return nullptr;
    for (LEAF &leaf : region.candidate->leaves)
        if (leaf.offset == region.offset)
            return essential_type(leaf.type) == essential_type(lvalue->type) ? &leaf : nullptr;
    return nullptr;
}

// Whether copying member by member to or from the lvalue is the same as copying it as a whole.
bool EXPLODER::is_fit_memory(const NODE *lvalue, const NODE *stmt) const {
    const NODE *base = lvalue;
    while (base->op == OP::STDOT)
        base = base->left;
    const bool is_place = base->op == OP::NAME || base->op == OP::UMULT || base->op == OP::STREF;
    if (!is_place || tree_has_side_effects(lvalue)) return false;
    return base->op == OP::NAME || !tree_may_modify_value(stmt, base->left);
}

bool EXPLODER::is_fit_copy(NODE *stmt) {
    if (stmt->op != OP::STASG) return false;
    const REGION to = region_of(stmt->left), from = region_of(stmt->right);
    if (!to.candidate && !from.candidate) return false;
    if (stmt->left->type->stds() != stmt->right->type->stds()) return false;
    LEAVES leaves;
    std::vector<MEMBER_STEP> path;
    if (!collect_leaves(stmt->left->type, path, 0, leaves)) return false;
    if (to.candidate && from.candidate) return true;
    return leaves.size() <= most_assignments &&
           is_fit_memory(to.candidate ? stmt->right : stmt->left, stmt);
}

// Every use of a candidate but by a scalar member disqualifies it.
void EXPLODER::check_uses(NODE *&tree, NAME_USE use) {
    if (!tree) return;
    if (tree->op == OP::STDOT) {
        if (use != NAME_USE::address && leaf_of(tree)) return;
    }
    if (tree->op == OP::NAME) {
        CANDIDATE *candidate = candidate_of(tree);
        if (candidate) candidate->is_fit = false;
        return;
    }
    const bool passes_use = tree->op == OP::STDOT || tree->op == OP::UAND;
    check_uses(tree->left, tree->op == OP::UAND ? NAME_USE::address
                           : passes_use         ? use
                                                : NAME_USE::value);
    if (tree->op != OP::STDOT && tree->op != OP::STREF) check_uses(tree->right, NAME_USE::value);
}

void EXPLODER::check_statement(NODE *&stmt) {
    if (!is_fit_copy(stmt)) {
        check_uses(stmt, NAME_USE::value);
        return;
    }
    // The addresses of the other side hold uses of their own.
    for (NODE *side : {stmt->left, stmt->right}) {
        if (region_of(side).candidate) continue;
        while (side->op == OP::STDOT)
            side = side->left;
        if (side->left) check_uses(side->left, NAME_USE::value);
    }
}

// Copies between a fit candidate and an unfit one are copies to and from memory, which need not be
// fit themselves.
void EXPLODER::drop_unfit() {
    is_unfit_found = false;
    numbers.clear();
    std::vector<CANDIDATE> fit;
    for (CANDIDATE &candidate : candidates) {
        is_unfit_found |= !candidate.is_fit;
        if (!candidate.is_fit) continue;
        numbers.emplace(candidate.sym, fit.size());
        fit.push_back(std::move(candidate));
    }
    candidates = std::move(fit);
}

SYMTAB *EXPLODER::variable_of(LEAF &leaf, const CANDIDATE &of) {
    if (!leaf.sym) {
        leaf.sym = sym_temp('M', -1, leaf.type, of.sym->scope);
        dprintf("\tA variable for a member: %s is %s.%s\n", leaf.sym->name, of.sym->name,
                leaf.path.back().mdata->name);
    }
    return leaf.sym;
}

void EXPLODER::rewrite_members(NODE *&tree) {
    if (!tree) return;
    if (LEAF *leaf = tree->op == OP::STDOT ? leaf_of(tree) : nullptr) {
        NODE *name = mk_NAME(variable_of(*leaf, *region_of(tree).candidate), tree->scope);
        name->type = tree->type->type_qualified();
        erase_tree(tree);
        tree = name;
        return;
    }
    rewrite_members(tree->left);
    if (tree->op != OP::STDOT && tree->op != OP::STREF) rewrite_members(tree->right);
}

// The member like the leaf, at this distance from the start, of the structure that the lvalue is.
NODE *EXPLODER::member_of(const NODE *lvalue, const REGION &region, std::int64_t offset,
                          const LEAF &like) {
    if (region.candidate)
        for (LEAF &leaf : region.candidate->leaves)
            if (leaf.offset == region.offset + offset)
                return mk_NAME(variable_of(leaf, *region.candidate), lvalue->scope);
    NODE *member = copy_tree(lvalue, true);
    for (const MEMBER_STEP &step : like.path) {
        NODE *field = maketree(OP::FIELD, nullptr, nullptr, step.mdata->type, lvalue->scope);
        field->u.field = {step.csu, step.mdata};
        member = maketree(OP::STDOT, member, field, step.mdata->type, lvalue->scope);
        fix_type_info(member);
    }
    return member;
}

// The copy becomes a statement for each member, in place of its own; false: the statement is none.
bool EXPLODER::rewrite_copy(LIST **link) {
    LIST *cell = *link;
    NODE *stmt = cell->first;
    if (stmt->op != OP::STASG) return false;
    const REGION to = region_of(stmt->left), from = region_of(stmt->right);
    if (!to.candidate && !from.candidate) return false;
    LEAVES members;
    std::vector<MEMBER_STEP> path;
    collect_leaves(stmt->left->type, path, 0, members);
    for (const LEAF &like : members) {
        NODE *target = member_of(stmt->left, to, like.offset, like);
        NODE *source = member_of(stmt->right, from, like.offset, like);
        *link = mkelist(mk_ASG(target, source), cell, cell->psn);
        rewrite_members((*link)->first);
        link = &(*link)->rest;
    }
    *link = cell->rest;
    cell->rest = nullptr;
    erase_tree_list(cell);
    return true;
}

void EXPLODER::run() {
    find_candidates();
    // A candidate that drops out may take copies with it that were fit between two.
    do {
        if (candidates.empty()) return;
        for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink)
            for (LIST *cell = bb->statements; cell; cell = cell->rest)
                check_statement(cell->first);
        drop_unfit();
    } while (is_unfit_found);
    for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink)
        for (LIST **link = &bb->statements; *link;) {
            if (rewrite_copy(link)) continue; // what it has become needs no second look
            rewrite_members((*link)->first);
            link = &(*link)->rest;
        }
}
} // namespace

void explode_auto_struct_vars() {
    if (!currfuninfo->bb_list) return;
    init_aliasing_info();
    EXPLODER().run();
}
