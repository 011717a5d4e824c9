// What follows the last function: global symbols, initialisers, the trailer.
#include "OPT5/driver/driver.h"
#include "OPT5/driver/log.h"
#include "OPT5/icode/if.h"
#include "OPT5/icode/opt_client.h"
#include "OPT5/interproc/interproc.h"
#include "OPT5/rep/pragmas.h"
#include "OPT5/scalar/scalar.h"

#include <algorithm>
#include <vector>

namespace {
// A function with one of these has callers that the file does not show, or has been written.
constexpr std::uint32_t live_function_flags =
    FUN_is_pragma_EXT | FUN_is_processed | FUN_is_anonymous | FUN_is_interrupt | FUN_is_main;

void mark_names(const NODE *tree) {
    for (; tree; tree = tree->right) {
        if (tree->op == OP::NAME && tree->u.name.sym) tree->u.name.sym->attr |= SA_referenced;
        mark_names(tree->left);
    }
}

// Initialisers are written last, but what they name is not dead.
void mark_names_of_initialisers() {
    for (SYMTAB *sym = global_symbols; sym; sym = sym->next)
        if (sym->init)
            for (const NODE *tree : sym->init->trees)
                mark_names(tree);
}

bool symbol_is_dead(const SYMTAB *sym) {
    if ((sym->sc != 2 && sym->sc != 3) || symbol_has_pragma(sym, PRG_SYM_IS_REFERENCED))
        return false;
    if (sym->attr & SA_referenced) return false;
    if (sym->type->is_func()) {
        const FUNINFO *funinfo = find_FUNINFO(skip_name_prefix(sym->name));
        return function_is_defined(funinfo) && !(funinfo->flags & live_function_flags);
    }
    return !(sym->flags & 0x8000) && sym->sc == 3 && no_outside_writers;
}

void finish_symbol(SYMTAB *sym) {
    if (sym->attr & SA_type_changed) sym->sc = sym->sc == 2 ? 109 : 108;
    revert_symbol_type(sym);
    if (!symbol_is_dead(sym)) return;
    sym->pragmas = mk_pragma(PRG_SYM_IS_DEAD, {}, sym->pragmas);
}

const char *pragma_in_words(int kind) {
    switch (kind) {
    case PRG_SRC_LANGUAGE: return "SOURCE LANGUAGE";
    case PRG_SCOPING_FUNC: return "SYMBOL IS LOCAL STATIC OF";
    case PRG_TRANSLATION_UNIT_ID: return "TRANSLATION UNIT ID";
    case PRG_IS_CLASS_MEMBER: return "SYMBOL IS CLASS MEMBER";
    case PRG_SYM_IS_DEAD: return "SYMBOL IS DEAD";
    case PRG_COMDAT_GROUP: return "COMDAT GROUP";
    case PRG_FUNC_IS_CTOR_DTOR: return "SYMBOL IS CONSTRUCTOR OR DESTRUCTOR";
    case PRG_FUNC_ESPEC: return "EXCEPTION SPEC";
    case PRG_FUNC_SYNONYM: return "SYMBOL IS FUNCTION SYNONYM";
    case PRG_FUNC_RET_BY_CCTOR: return "FUNC_RET_BY_CCTOR";
    case PRG_FUNC_ALWAYS_INLINE: return "FUNCTION ALWAYS INLINE";
    default: return nullptr;
    }
}

void log_symbol(const SYMTAB *sym) {
    dprintf("%c   %-11.32s %2ld\t%4ld   %2d  %#6x  %2ld %-16s", sym->init ? '*' : ' ', sym->name,
            static_cast<long>(sym->size), static_cast<long>(sym->offset), sym->sc,
            static_cast<unsigned>(sym->flags), static_cast<long>(sym->align),
            sym->type->printstr().c_str());
    dprintf("\t; (%d,%d)\n", sym->level, sym->index);
    for (const PRAGMA *pragma = sym->pragmas; pragma; pragma = pragma->next) {
        if (const char *words = pragma_in_words(pragma->kind))
            dprintf("\t  %s", words);
        else
            dprintf("\t  Symbol pragma #%d has %d arguments:", pragma->kind, pragma->count);
        for (int i = 0; i < pragma->count; ++i)
            dprintf(" \"%s\"", pragma->args[i]);
        dprintf("\n");
    }
}
} // namespace

void finish_file() {
    mark_names_of_initialisers();
    std::vector<SYMTAB *> symbols; // in order of declaration
    for (SYMTAB *sym = global_symbols; sym; sym = sym->next)
        symbols.push_back(sym);
    std::reverse(symbols.begin(), symbols.end());
    for (SYMTAB *sym : symbols)
        finish_symbol(sym);
    dprintf("-- variable -- size -- offset/class");
    dprintf("/scqual/aln/stype;\n");
    for (SYMTAB *sym : symbols) {
        if (sym->init) {
            o_file->if_write_init(sym);
            for (NODE *&tree : sym->init->trees) {
                tree = insert_mandatory_casts(tree);
                wrtree(tree);
            }
        }
        if (print_debug) log_symbol(sym);
    }
    interned_stats();
    close_files();
}
