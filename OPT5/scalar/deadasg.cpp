// Dead assignments.
//
// Backward data flow over the blocks finds, for each variable that only its name reaches, where its
// value is still wanted. A read in the source of an assignment wants nothing when the assignment is
// not wanted itself and does nothing else, so that variables that only feed each other, around a
// loop too, go together. Each statement is walked once and leaves a short record; the iteration
// works on the records. Bits are kept per block only for variables that some block reads before it
// has set them.
//
// A loop of one block that is certain to end is taken for empty until something in it is found to
// be wanted; the test of one that stays empty becomes a jump, and the graph is tidied.
//
// Objects whose address is made for nothing but storing into them (arrays that nobody reads) go
// first: their stores become what else the statements do.
#include "OPT5/scalar/deadasg.h"
#include "OPT5/driver/global_flags.h"
#include "OPT5/driver/log.h"
#include "OPT5/icode/if.h"
#include "OPT5/rep/node_pool.h"
#include "OPT5/scalar/alias.h"
#include "OPT5/scalar/fcp_memory.h"
#include "OPT5/scalar/name_uses.h"
#include "OPT5/scalar/scalar.h"

#include <algorithm>

namespace {
using WORDS = std::vector<std::uint64_t>;
constexpr unsigned word_bits = 64;

// What a statement does to the variables.
struct RECORD {
    int target = -1;                  // the variable that its root assigns to
    bool is_whole = false;            // all of it
    bool is_removable = false;        // and nothing else
    bool has_inner = false;           // assignments to variables below the root
    int loop = -1;                    // the loop of which it is the test
    std::uint32_t first = 0, end = 0; // reads
};

struct LOOP_OF_ONE {
    BBLK *bb, *way_out;
    bool is_empty; // as far as is known
};

// The number of a variable, kept in the symbol while the pass runs; -1 for other symbols.
int number_of(const SYMTAB *sym) {
    return sym ? static_cast<int>(reinterpret_cast<std::intptr_t>(sym->pass_words[0])) - 1 : -1;
}
void set_number(SYMTAB *sym, std::size_t number) {
    sym->pass_words[0] = reinterpret_cast<void *>(static_cast<std::intptr_t>(number + 1));
}

// A variable below the parts of it that an lvalue selects; null for other lvalues.
SYMTAB *variable_of(const NODE *lvalue) {
    for (; lvalue->op == OP::STDOT; lvalue = lvalue->left)
        if (node_is_volatile_access(lvalue)) return nullptr;
    return lvalue->op == OP::NAME && !node_is_volatile_access(lvalue) ? lvalue->u.name.sym
                                                                      : nullptr;
}

bool overwrites(int op) {
    return op == OP::ASG || op == OP::STASG || op == OP::ARASG;
}

class DEAD_ASSIGNMENTS {
public:
    bool run(); // whether the graph has changed

private:
    void choose_variables();
    void record_statements();
    void record(NODE *stmt);
    void read(const NODE *tree, RECORD &into);
    void take_for_empty(BBLK *bb);
    void number_across_blocks();
    void solve();
    void solve_blocks(std::vector<bool> &is_due);
    bool is_wanted(const LOOP_OF_ONE &loop);
    void load_live_out(const BBLK *bb);
    bool store_live_in(const BBLK *bb);
    void step(const RECORD &record);
    void sweep(BBLK *bb);
    NODE *without_target(NODE *stmt, const RECORD &record);
    NODE *without_inner(NODE *tree, const RECORD &record);
    bool is_inner_dead(const NODE *definition, const RECORD &record) const;

    bool is_live(int variable) const {
        const auto at = static_cast<unsigned>(variable);
        return live[at / word_bits] >> at % word_bits & 1;
    }
    void set_live(int variable, bool is) {
        const auto at = static_cast<unsigned>(variable);
        const std::uint64_t bit = std::uint64_t{1} << at % word_bits;
        if (is)
            live[at / word_bits] |= bit;
        else
            live[at / word_bits] &= ~bit;
    }
    std::uint64_t *live_in(const BBLK *bb) { return &live_ins[bb->serial * words]; }

    std::vector<SYMTAB *> variables;
    std::vector<RECORD> records;
    std::vector<LOOP_OF_ONE> loops;
    std::vector<int> reads;
    std::vector<std::size_t> first_record, end_record; // by block serial
    std::vector<BBLK *> order;                         // depth-first
    std::size_t words = 0;                             // of the variables that live across blocks
    WORDS live_ins, live;
};

void mark_names_unfit(const NODE *tree) {
    for_each_symbol(tree, [](SYMTAB *sym) { sym->pass_words[0] = nullptr; });
}

// Blocks that control reaches from an exception handler, which any call may lead to.
std::vector<BBLK *> blocks_of_handlers() {
    std::vector<BBLK *> found = handler_blocks(currfuninfo);
    std::vector<bool> seen(currfuninfo->blocks.size());
    for (const BBLK *bb : found)
        seen[bb->serial] = true;
    for (std::size_t i = 0; i < found.size(); ++i)
        for (const EDGE *edge = found[i]->successors; edge; edge = edge->next)
            if (!seen[edge->bb->serial]) {
                seen[edge->bb->serial] = true;
                found.push_back(edge->bb);
            }
    return found;
}

void DEAD_ASSIGNMENTS::choose_variables() {
    for (SYMTAB *sym = currfuninfo->symbols; sym; sym = sym->next) {
        sym->pass_words[0] = nullptr;
        if (fcp_is_plain_local(sym)) set_number(sym, 0);
    }
    for (const BBLK *bb : blocks_of_handlers())
        for (const LIST *cell = bb->statements; cell; cell = cell->rest)
            mark_names_unfit(cell->first);
    for (unsigned i = 0; i < currfuninfo->eht_size; ++i)
        mark_names_unfit(currfuninfo->eht[i].cleanup);
    for (SYMTAB *sym = currfuninfo->symbols; sym; sym = sym->next)
        if (sym->pass_words[0]) {
            set_number(sym, variables.size());
            variables.push_back(sym);
        }
}

// --- records

void DEAD_ASSIGNMENTS::read(const NODE *tree, RECORD &into) {
    for (; tree; tree = tree->right) {
        if (tree->op == OP::NAME) {
            if (const int number = number_of(tree->u.name.sym); number >= 0)
                reads.push_back(number);
            return;
        }
        const SYMTAB *target = fcp_is_definition(tree->op) ? variable_of(tree->left) : nullptr;
        if (number_of(target) >= 0 && overwrites(tree->op)) {
            into.has_inner = true; // not read, nor known to be set for all that follows
            continue;
        }
        if (number_of(target) >= 0) into.has_inner = true;
        read(tree->left, into);
    }
}

void DEAD_ASSIGNMENTS::record(NODE *stmt) {
    RECORD record;
    record.first = static_cast<std::uint32_t>(reads.size());
    SYMTAB *target =
        fcp_is_definition(stmt->op) && stmt->op != OP::SSA_DEF ? variable_of(stmt->left) : nullptr;
    record.target = number_of(target);
    if (record.target < 0) {
        read(stmt, record);
    } else {
        record.is_whole = stmt->left->op == OP::NAME;
        record.is_removable = !tree_has_side_effects(stmt->right);
        if (!overwrites(stmt->op)) reads.push_back(record.target);
        read(stmt->right, record);
    }
    record.end = static_cast<std::uint32_t>(reads.size());
    records.push_back(record);
}

// Once the records of the block are made.
void DEAD_ASSIGNMENTS::take_for_empty(BBLK *bb) {
    BBLK *way_out = bb != currfuninfo->bb_list ? way_out_of_counting_loop(bb) : nullptr;
    for (std::size_t n = first_record[bb->serial]; way_out && n + 1 < records.size(); ++n)
        if (!records[n].is_removable) way_out = nullptr;
    if (!way_out) return;
    records.back().loop = static_cast<int>(loops.size());
    loops.push_back({bb, way_out, true});
}

bool is_prolog(const BBLK *bb, const LIST *cell) {
    return bb == currfuninfo->bb_list && cell == bb->statements && tree_is_arg_prolog(cell->first);
}

void DEAD_ASSIGNMENTS::record_statements() {
    first_record.resize(currfuninfo->blocks.size());
    end_record.resize(currfuninfo->blocks.size());
    for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink) {
        order.push_back(bb);
        first_record[bb->serial] = records.size();
        for (LIST *cell = bb->statements; cell; cell = cell->rest)
            if (is_prolog(bb, cell))
                records.emplace_back(); // it stays as it is
            else
                record(cell->first);
        end_record[bb->serial] = records.size();
        // The records of a loop hierarchy name blocks, which must stay.
        if (!currfuninfo->bb_list->loop) take_for_empty(bb);
    }
}

// Gives the lowest numbers to the variables that some block reads before it has set them. No other
// one lives from block to block.
void DEAD_ASSIGNMENTS::number_across_blocks() {
    std::vector<const BBLK *> set_in(variables.size());
    std::vector<bool> crosses(variables.size());
    for (const BBLK *bb : order) {
        std::size_t n = first_record[bb->serial];
        for (const LIST *cell = bb->statements; cell; cell = cell->rest, ++n) {
            const RECORD &of = records[n];
            for (std::uint32_t i = of.first; i < of.end; ++i) {
                const auto variable = static_cast<std::size_t>(reads[i]);
                if (set_in[variable] != bb) crosses[variable] = true;
            }
            if (of.target < 0) continue;
            if (of.is_whole)
                set_in[static_cast<std::size_t>(of.target)] = bb;
            else if (set_in[static_cast<std::size_t>(of.target)] != bb)
                crosses[static_cast<std::size_t>(of.target)] = true; // a part of it from elsewhere
        }
    }
    std::vector<int> renumbered(variables.size());
    std::vector<SYMTAB *> in_order;
    for (const bool wanted : {true, false}) {
        for (std::size_t i = 0; i < variables.size(); ++i) {
            if (crosses[i] != wanted) continue;
            renumbered[i] = static_cast<int>(in_order.size());
            set_number(variables[i], in_order.size());
            in_order.push_back(variables[i]);
        }
        if (wanted) words = (in_order.size() + word_bits - 1) / word_bits;
    }
    variables = in_order;
    for (int &variable : reads)
        variable = renumbered[static_cast<std::size_t>(variable)];
    for (RECORD &of : records)
        if (of.target >= 0) of.target = renumbered[static_cast<std::size_t>(of.target)];
}

// --- data flow

void DEAD_ASSIGNMENTS::step(const RECORD &of) {
    if (of.loop >= 0 && loops[static_cast<std::size_t>(of.loop)].is_empty) return;
    if (of.target >= 0) {
        if (of.is_removable && !is_live(of.target)) return;
        if (of.is_whole) set_live(of.target, false);
    }
    for (std::uint32_t i = of.first; i < of.end; ++i)
        set_live(reads[i], true);
}

void DEAD_ASSIGNMENTS::load_live_out(const BBLK *bb) {
    // Variables within one block are not wanted at either end of one.
    std::fill_n(live.begin(), words, 0);
    for (const EDGE *edge = bb->successors; edge; edge = edge->next) {
        const std::uint64_t *from = live_in(edge->bb);
        for (std::size_t w = 0; w < words; ++w)
            live[w] |= from[w];
    }
}

bool DEAD_ASSIGNMENTS::store_live_in(const BBLK *bb) {
    return !std::equal(live.begin(), live.begin() + static_cast<std::ptrdiff_t>(words),
                       live_in(bb)) &&
           (std::copy_n(live.begin(), words, live_in(bb)), true);
}

void DEAD_ASSIGNMENTS::solve_blocks(std::vector<bool> &is_due) {
    for (bool changed = true; changed;) {
        changed = false;
        for (auto at = order.rbegin(); at != order.rend(); ++at) {
            BBLK *bb = *at;
            if (!is_due[bb->serial]) continue;
            is_due[bb->serial] = false;
            load_live_out(bb);
            for (std::size_t n = end_record[bb->serial]; n > first_record[bb->serial]; --n)
                step(records[n - 1]);
            if (!store_live_in(bb)) continue;
            for (const EDGE *edge = bb->predecessors; edge; edge = edge->next)
                is_due[edge->bb->serial] = changed = true;
        }
    }
}

bool DEAD_ASSIGNMENTS::is_wanted(const LOOP_OF_ONE &loop) {
    load_live_out(loop.bb);
    for (std::size_t n = end_record[loop.bb->serial]; n > first_record[loop.bb->serial]; --n) {
        const RECORD &of = records[n - 1];
        if (of.target >= 0 && is_live(of.target)) return true;
        step(of);
    }
    return false;
}

// What is wanted only grows, and so does the number of loops that are not empty.
void DEAD_ASSIGNMENTS::solve() {
    constexpr int most_rounds = 8; // then the rest of the loops stay
    live.assign((variables.size() + word_bits - 1) / word_bits, 0);
    live_ins.assign(currfuninfo->blocks.size() * words, 0);
    std::vector<bool> is_due(currfuninfo->blocks.size(), true);
    bool grows = true;
    for (int round = 1; grows; ++round) {
        solve_blocks(is_due);
        grows = false;
        for (LOOP_OF_ONE &loop : loops) {
            if (!loop.is_empty || (round < most_rounds && !is_wanted(loop))) continue;
            loop.is_empty = false;
            is_due[loop.bb->serial] = grows = true;
        }
    }
}

// --- removal; `live` is what is wanted behind the statement

bool DEAD_ASSIGNMENTS::is_inner_dead(const NODE *definition, const RECORD &of) const {
    const int number = number_of(variable_of(definition->left));
    if (number < 0 || definition->left->op != OP::NAME || is_live(number) || number == of.target)
        return false;
    // A step reads its own target once.
    const auto begin = reads.begin() + of.first, end = reads.begin() + of.end;
    return std::count(begin, end, number) == (overwrites(definition->op) ? 0 : 1);
}

// The values of assignments in place of those whose variables nothing wants.
NODE *DEAD_ASSIGNMENTS::without_inner(NODE *tree, const RECORD &of) {
    if (!tree) return nullptr;
    tree->left = without_inner(tree->left, of);
    tree->right = without_inner(tree->right, of);
    if (!fcp_is_definition(tree->op) || tree->op == OP::STARG || tree->op == OP::SSA_DEF ||
        !tree->type->is_scalar() || !is_inner_dead(tree, of))
        return tree;
    NODE *value = nullptr;
    if (tree->op == OP::ASG) {
        value = coerce_to_type(tree->left->type, tree->right);
        erase_tree(tree->left);
    } else if (tree->op == OP::PLUSPLUS || tree->op == OP::MINMIN) {
        value = tree->left;
        erase_tree(tree->right);
    } else {
        return tree;
    }
    value = coerce_to_type(tree->type, value);
    erase_node(tree);
    return value;
}

NODE *DEAD_ASSIGNMENTS::without_target(NODE *stmt, const RECORD &of) {
    if (of.is_removable) return erase_tree(stmt);
    NODE *source = stmt->right;
    erase_tree(stmt->left);
    erase_node(stmt);
    return peel_for_effect(source);
}

void DEAD_ASSIGNMENTS::sweep(BBLK *bb) {
    load_live_out(bb);
    std::vector<LIST *> cells;
    for (LIST *cell = bb->statements; cell; cell = cell->rest)
        cells.push_back(cell);
    const std::size_t first = first_record[bb->serial];
    for (std::size_t n = cells.size(); n > 0; --n) {
        const RECORD &of = records[first + n - 1];
        NODE *&stmt = cells[n - 1]->first;
        if (of.loop >= 0 && loops[static_cast<std::size_t>(of.loop)].is_empty) {
            dprintf("\n\tBlock %d is an empty loop\n", bb->dfn);
            BBLK *way_out = loops[static_cast<std::size_t>(of.loop)].way_out;
            LS *scope = stmt->scope;
            erase_tree(stmt);
            stmt = mk_BRANCH(way_out, scope);
            continue;
        }
        if (of.target >= 0 && !is_live(of.target)) {
            if (print_debug) dprintf("\n\tDead assignment: %s\n", infix_text(stmt, 2000).c_str());
            stmt = without_target(stmt, of);
        }
        if (stmt && of.has_inner) {
            // The root's own assignment is no inner one.
            stmt->left = without_inner(stmt->left, of);
            stmt->right = without_inner(stmt->right, of);
            if (of.target < 0) stmt = peel_for_effect(stmt);
        }
        step(of);
    }
    drop_empty_cells(bb);
}

bool DEAD_ASSIGNMENTS::run() {
    choose_variables();
    if (!variables.empty()) {
        record_statements();
        number_across_blocks();
        solve();
        for (BBLK *bb : order)
            sweep(bb);
    }
    for (SYMTAB *sym = currfuninfo->symbols; sym; sym = sym->next)
        sym->pass_words[0] = nullptr;
    return std::any_of(loops.begin(), loops.end(),
                       [](const LOOP_OF_ONE &loop) { return loop.is_empty; });
}

// A loop around one that is empty is one block when the graph is tidied.
void erase_dead_assignments() {
    while (DEAD_ASSIGNMENTS().run()) {
        rebuildcfg();
        simpcfg(false, false);
    }
}

// --- variables that nothing names any more

void drop_unnamed_variables() {
    for (SYMTAB *sym = currfuninfo->symbols; sym; sym = sym->next)
        sym->refcount = 0;
    for (const BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink)
        for (const LIST *cell = bb->statements; cell; cell = cell->rest)
            count_references(cell->first);
    for (unsigned i = 0; i < currfuninfo->eht_size; ++i)
        count_references(currfuninfo->eht[i].cleanup);
    int number = 0;
    for (SYMTAB **link = &currfuninfo->symbols; *link; ++number) {
        SYMTAB *sym = *link;
        if (sym->refcount != 0 || sym->level < 2 || (sym->sc != 1 && sym->sc != 4)) {
            link = &sym->next;
            continue;
        }
        dprintf("\tNo references in the function for (%d) '%s'\n", number, sym->name);
        *link = sym->next;
        sym->next = nullptr;
    }
}

bool holds_trees() {
    for (const BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink)
        if (bb->lir_head) return false;
    return currfuninfo->bb_list != nullptr;
}
} // namespace

void drop_empty_cells(BBLK *bb) {
    for (LIST **link = &bb->statements; *link;) {
        LIST *cell = *link;
        if (cell->first) {
            link = &cell->rest;
            continue;
        }
        *link = cell->rest;
        release_list_cell(cell);
    }
}

void elim_dead_assigns(bool delay, bool) {
    dprintf("\n\n\t\t\t---------- ENTERING '%s' ----------\n",
            delay ? "delay_assignments" : "elim_dead_assigns");
    if (opt_level() == 0 || !holds_trees()) return;
    const int saved = alias_vars;
    alias_vars = 1;
    init_aliasing_info();
    alias_vars = saved;
    if (!function_calls_setjmp()) {
        if (delay)
            delay_assignments();
        else {
            erase_stores_to_unread_objects();
            erase_dead_assignments();
        }
    }
    drop_unnamed_variables();
}
