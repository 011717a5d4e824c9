// Splitting of local variables into independent ones.
//
// A web is a set of definitions of one variable together with the uses that they reach, closed
// under sharing a use. Two webs of a variable never hold the same value, so each can be a variable
// of its own, which more passes find to be set only once. Webs are found without reaching
// definitions: each statement x = ... begins a web; what updates x, or assigns to it within a tree,
// goes on with the one there is; where a block is left, the web of each variable that is live into
// a successor is joined with the web with which that begins. Work is in proportion to the
// statements and to the variables live at block boundaries, only those with several definitions
// being looked at.
//
// The first web of a variable in the order of blocks keeps the symbol; the one that the argument
// prolog begins, or one that reads the variable before anything is assigned, is the first.
#include "OPT5/driver/log.h"
#include "OPT5/icode/if.h"
#include "OPT5/rep/program.h"
#include "OPT5/scalar/alias.h"
#include "OPT5/scalar/name_uses.h"
#include "OPT5/scalar/scalar.h"

#include <boost/unordered_map.hpp>

#include <numeric>

namespace {
class WEBS {
public:
    bool find_candidates();
    void number_across_blocks();
    void solve_liveness();
    void collect();
    void rename();

private:
    struct OCCURRENCE {
        NODE *name;
        unsigned variable, web;
    };
    struct SETS {
        BITVEC used, defined, live_in;
        unsigned first_web = 0; // the webs with which it begins, in the order of live_in
    };

    int number_of(const NODE *name) const;
    const NODE *defined_by(const NODE *stmt) const; // its NAME, when the statement begins a web
    void visit_statement(NODE *&stmt);
    void note(NODE *name, unsigned variable);
    void leave(const BBLK *bb);
    void forget(const BITVEC &set);
    unsigned new_web();
    unsigned find(unsigned web);
    void join(unsigned a, unsigned b) { parents[find(a)] = find(b); }
    SYMTAB *symbol_of_web(const OCCURRENCE &occurrence);

    std::vector<SYMTAB *> variables;
    unsigned across_blocks = 0; // so many of them, the first, may be live where a block begins
    boost::unordered_map<const SYMTAB *, unsigned> numbers; // looked up, never walked
    BV_ZONE zone;
    std::vector<SETS> sets;                           // by block serial
    std::vector<unsigned> parents;                    // of webs, a union-find forest
    std::vector<int> current;                         // web by variable, where the walk stands
    std::vector<OCCURRENCE> occurrences;              // in the order of blocks
    std::vector<bool> has_kept;                       // by variable: some web has its symbol
    boost::unordered_map<unsigned, SYMTAB *> symbols; // by root web; looked up
};

int WEBS::number_of(const NODE *name) const {
    const auto found = numbers.find(name->u.name.sym);
    return found == numbers.end() ? -1 : static_cast<int>(found->second);
}

const NODE *WEBS::defined_by(const NODE *stmt) const {
    const bool begins = stmt->op == OP::ASG && stmt->left->op == OP::NAME;
    return begins && number_of(stmt->left) >= 0 ? stmt->left : nullptr;
}

bool WEBS::find_candidates() {
    boost::unordered_map<const SYMTAB *, int> definitions;
    for (const BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink)
        for (const LIST *cell = bb->statements; cell; cell = cell->rest) {
            const NODE *stmt = cell->first;
            if (stmt->op == OP::ASG && stmt->left->op == OP::NAME)
                ++definitions[stmt->left->u.name.sym];
            if (!tree_is_arg_prolog(stmt)) continue;
            for (; stmt; stmt = stmt->op == OP::PCOMMA ? stmt->left : nullptr) {
                const NODE *copy = stmt->op == OP::PCOMMA ? stmt->right : stmt;
                if (copy->op == OP::ASG && copy->left->op == OP::NAME && copy != cell->first)
                    ++definitions[copy->left->u.name.sym];
            }
        }
    for (SYMTAB *sym = currfuninfo->symbols; sym; sym = sym->next) {
        const auto found = definitions.find(sym);
        if (found == definitions.end() || found->second < 2 || !is_register_scalar(sym)) continue;
        // What is reached through a restrict pointer is told apart by the one variable.
        if (sym->type->qual_kind(false) & TQ_restrict) continue;
        numbers.emplace(sym, static_cast<unsigned>(variables.size()));
        variables.push_back(sym);
    }
    current.assign(variables.size(), -1);
    has_kept.assign(variables.size(), false);
    return !variables.empty();
}

// Gives the lowest numbers to the variables that some block reads before it has set them. No other
// one is live where a block begins, so that only these need a place in its sets.
void WEBS::number_across_blocks() {
    std::vector<const BBLK *> set_in(variables.size());
    std::vector<bool> crosses(variables.size());
    for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink)
        for (LIST *cell = bb->statements; cell; cell = cell->rest) {
            const NODE *defined = defined_by(cell->first);
            for_each_name(cell->first, [&](NODE *&slot, NAME_USE) {
                const int n = number_of(slot);
                if (n < 0 || slot == defined) return;
                const auto variable = static_cast<std::size_t>(n);
                if (set_in[variable] != bb) crosses[variable] = true;
            });
            if (defined) set_in[static_cast<std::size_t>(number_of(defined))] = bb;
        }
    std::vector<SYMTAB *> ordered;
    for (const bool wanted : {true, false}) {
        for (std::size_t n = 0; n < variables.size(); ++n)
            if (crosses[n] == wanted) ordered.push_back(variables[n]);
        if (wanted) across_blocks = static_cast<unsigned>(ordered.size());
    }
    variables = ordered;
    for (std::size_t n = 0; n < variables.size(); ++n)
        numbers[variables[n]] = static_cast<unsigned>(n);
}

void WEBS::solve_liveness() {
    const unsigned count = across_blocks;
    sets.resize(currfuninfo->blocks.size());
    std::vector<BBLK *> order;
    for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink) {
        order.push_back(bb);
        SETS &block = sets[bb->serial];
        block = {BITVEC(count, &zone), BITVEC(count, &zone), BITVEC(count, &zone), 0};
        for (LIST *cell = bb->statements; cell; cell = cell->rest) {
            const NODE *defined = defined_by(cell->first);
            for_each_name(cell->first, [&](NODE *&slot, NAME_USE) {
                const int n = number_of(slot);
                if (n < 0 || static_cast<unsigned>(n) >= count || slot == defined) return;
                if (!block.defined.contains(static_cast<unsigned>(n)))
                    block.used.add(static_cast<unsigned>(n));
            });
            if (!defined) continue;
            const auto n = static_cast<unsigned>(number_of(defined));
            if (n < count) block.defined.add(n);
        }
    }
    BITVEC out(count);
    for (bool changed = true; changed;) {
        changed = false;
        for (std::size_t n = order.size(); n-- > 0;) {
            out.clear();
            for (const EDGE *edge = order[n]->successors; edge; edge = edge->next)
                out.merge(sets[edge->bb->serial].live_in);
            SETS &block = sets[order[n]->serial];
            changed |= block.live_in.transfer(block.used, out, block.defined);
        }
    }
}

unsigned WEBS::new_web() {
    parents.push_back(static_cast<unsigned>(parents.size()));
    return parents.back();
}

unsigned WEBS::find(unsigned web) {
    while (parents[web] != web)
        web = parents[web] = parents[parents[web]];
    return web;
}

void WEBS::note(NODE *name, unsigned variable) {
    int &web = current[variable];
    if (web < 0) web = static_cast<int>(new_web()); // read before it is assigned to
    occurrences.push_back({name, variable, static_cast<unsigned>(web)});
}

void WEBS::visit_statement(NODE *&stmt) {
    const NODE *defined = defined_by(stmt);
    for_each_name(stmt, [&](NODE *&slot, NAME_USE) {
        const int n = number_of(slot);
        if (n >= 0 && slot != defined) note(slot, static_cast<unsigned>(n));
    });
    if (!defined) return;
    const auto n = static_cast<unsigned>(number_of(defined));
    current[n] = static_cast<int>(new_web());
    note(stmt->left, n);
}

void WEBS::leave(const BBLK *bb) {
    for (const EDGE *edge = bb->successors; edge; edge = edge->next) {
        const SETS &next = sets[edge->bb->serial];
        unsigned web = next.first_web;
        next.live_in.for_each([&](unsigned n) {
            if (current[n] < 0) current[n] = static_cast<int>(new_web());
            join(static_cast<unsigned>(current[n]), web++);
        });
    }
}

void WEBS::forget(const BITVEC &set) {
    set.for_each([this](unsigned n) { current[n] = -1; });
}

void WEBS::collect() {
    unsigned webs = 0;
    for (const BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink) {
        sets[bb->serial].first_web = webs;
        webs += sets[bb->serial].live_in.count();
    }
    parents.resize(webs);
    std::iota(parents.begin(), parents.end(), 0u);
    for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink) {
        const std::size_t first = occurrences.size();
        int web = static_cast<int>(sets[bb->serial].first_web);
        sets[bb->serial].live_in.for_each([&](unsigned n) { current[n] = web++; });
        for (LIST *cell = bb->statements; cell; cell = cell->rest)
            visit_statement(cell->first);
        leave(bb);
        forget(sets[bb->serial].live_in);
        for (const EDGE *edge = bb->successors; edge; edge = edge->next)
            forget(sets[edge->bb->serial].live_in);
        for (std::size_t n = first; n < occurrences.size(); ++n)
            current[occurrences[n].variable] = -1;
    }
}

// A variable of the same name and type beside the given one.
SYMTAB *twin_of(const SYMTAB *sym) {
    SYMTAB *twin = copy_symbol(sym, sym->level);
    if (i_file) i_file->if_enter_local(twin);
    twin->level = sym->level;
    twin->next = currfuninfo->symbols;
    currfuninfo->symbols = twin;
    twin->scope = sym->scope;
    if (twin->scope) LS::add_symbol(twin);
    return twin;
}

SYMTAB *WEBS::symbol_of_web(const OCCURRENCE &occurrence) {
    SYMTAB *&sym = symbols[find(occurrence.web)];
    if (sym) return sym;
    sym = variables[occurrence.variable];
    if (has_kept[occurrence.variable]) {
        sym = twin_of(sym);
        dprintf("\tSplitting a variable: %s\n", sym->name);
    }
    has_kept[occurrence.variable] = true;
    return sym;
}

void WEBS::rename() {
    for (const OCCURRENCE &occurrence : occurrences)
        occurrence.name->u.name.sym = symbol_of_web(occurrence);
}
} // namespace

void sym_split() {
    // A handler may begin behind any call.
    if (!currfuninfo->bb_list || currfuninfo->eht_size > 1) return;
    WEBS webs;
    if (!webs.find_candidates()) return;
    webs.number_across_blocks();
    webs.solve_liveness();
    webs.collect();
    webs.rename();
}
