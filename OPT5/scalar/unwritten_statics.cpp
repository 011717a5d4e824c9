// The file's variables that keep what they are initialised with.
//
// Only the file can name its static variables. One of which every name in the file stands below an
// access that reads a scalar or a structure is never stored to, and no pointer leads to it: it is a
// constant, whatever it was declared to be. One walk counts the names of each against those reads.
#include "OPT5/icode/if.h"
#include "OPT5/rep/program.h"
#include "OPT5/scalar/alias_state.h"
#include "OPT5/scalar/name_uses.h"
#include "OPT5/scalar/plain_reads.h"

#include <boost/unordered_map.hpp>

namespace {
// Names of each variable that are no plain reads; looked up, never walked.
using COUNTS = boost::unordered_map<const SYMTAB *, long>;
COUNTS counts;

void count_names(const NODE *tree) {
    for_each_symbol(tree, [](SYMTAB *sym) {
        if (is_static_datum(sym)) ++counts[get_sym_def_for_decl(sym)];
    });
}

void count(const NODE *stmt) {
    count_names(stmt);
    for_each_plain_read(stmt, true, [](SYMTAB *sym) {
        if (is_static_datum(sym)) --counts[get_sym_def_for_decl(sym)];
    });
}

void count_in_body(FUNINFO *funinfo) {
    for (const BBLK *bb = funinfo->bb_list; bb; bb = bb->dflink)
        for (const LIST *cell = bb->statements; cell; cell = cell->rest)
            count(cell->first);
    for (const LIST *cell = funinfo->pending; cell; cell = cell->rest)
        count_names(cell->first);
    for (unsigned i = 0; i < funinfo->eht_size; ++i)
        count_names(funinfo->eht[i].cleanup);
}
} // namespace

void mark_unwritten_statics() {
    counts.clear();
    for (const SYMTAB *sym = global_symbols; sym; sym = sym->next)
        for (const NODE *tree : sym->init ? sym->init->trees : std::vector<NODE *>())
            count_names(tree);
    map_over_FUNINFOs(count_in_body);
    for (SYMTAB *sym = global_symbols; sym; sym = sym->next) {
        sym->attr &= static_cast<std::uint8_t>(~SA_unwritten);
        constexpr unsigned elsewhere = TQ_volatile | TQ_ioport | TQ_far;
        const bool is_plain = is_static_datum(sym) && sym->type->is_complete() &&
                              !(sym->type->qual_kind(true) & elsewhere) &&
                              !type_may_contain_volatile(sym->type);
        if (is_plain && sym == get_sym_def_for_decl(sym) && counts[sym] == 0)
            sym->attr |= SA_unwritten;
    }
    counts.clear();
}
