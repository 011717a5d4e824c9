// Symbols: creation, entering, temporaries, and what is known of their linkage.
#include "OPT5/rep/symbol_pool.h"

#include "OPT5/driver/abort.h"
#include "OPT5/driver/log.h"
#include "OPT5/icode/if.h"
#include "OPT5/rep/pragmas.h"
#include "OPT5/rep/program.h"

#include <boost/unordered_map.hpp>

#include <algorithm>
#include <cstring>

std::pmr::monotonic_buffer_resource symbol_pool;

namespace {
constexpr std::string_view internal_prefix = "$O";
constexpr std::uint16_t outside_marks = 0xe000; // preemptible, or accessible from outside
constexpr std::uint16_t escapes_mark = 0x2000;  // the one of them that tells of outside accesses

std::uint32_t last_serial = 0;

// The symbol that stands for each name at file level.
boost::unordered_map<std::string_view, SYMTAB *> file_level_names;

// How much a file-level symbol knows of what it names: a declaration, a definition, a definition
// with a body or an initialiser.
int definition_rank(const SYMTAB *sym) {
    if (sym->sc != 2 && sym->sc != 3) return 0;
    return sym->fpos != 0 ? 2 : 1;
}

bool is_function(const SYMTAB *sym) {
    return sym->type && sym->type->is_func();
}

bool visibility_is(const SYMTAB *sym, std::initializer_list<std::string_view> words) {
    const PRAGMA *pragma = symbol_has_pragma(sym, PRG_SYM_VISIBILITY);
    return pragma && pragma->count == 1 &&
           std::find(words.begin(), words.end(), pragma->args[0]) != words.end();
}
} // namespace

const char *pool_string(std::string_view text) {
    char *copy = static_cast<char *>(symbol_pool.allocate(text.size() + 1, 1));
    std::copy(text.begin(), text.end(), copy);
    copy[text.size()] = '\0';
    return copy;
}

// --- names

bool name_has_prefix(const char *name) {
    return name[0] == '_' || name[0] == '.';
}

const char *skip_name_prefix(const char *name) {
    return name_has_prefix(name) ? name + 1 : name;
}

bool is_internal_name(const char *name) {
    return std::string_view(name).starts_with(internal_prefix);
}

bool is_internal_symbol(const SYMTAB *sym) {
    return is_internal_name(sym->name);
}

bool is_optimizer_temp(const char *name, char a, char b) {
    return is_internal_name(name) && name[2] == '$' && name[3] != '\0' &&
           (name[3] == a || name[3] == b);
}

// --- creation

namespace {
// Symbols of a body count from its beginning, so that a second reading numbers them alike; all
// others are told apart from these and from one another.
std::uint32_t next_fun_serial(std::uint32_t serial) {
    return lex > 0 ? symbol_serial++ : serial | 0x80000000u;
}
} // namespace

SYMTAB::SYMTAB(const char *name_, unsigned long size_, unsigned long offset_, unsigned char sc_,
               unsigned short flags_, TYPE *type_, TYPE *otype_, unsigned long align_, PSN *psn_,
               int index_)
    : name(pool_string(name_)), size(static_cast<std::uint32_t>(size_)),
      offset(static_cast<std::uint32_t>(offset_)), sc(sc_), flags(flags_), type(type_),
      otype(otype_), align(static_cast<std::uint32_t>(align_)), psn(psn_), index(index_),
      serial(++last_serial), fun_serial(next_fun_serial(serial)),
      level(static_cast<std::uint8_t>(std::clamp(lex, 0, 255))) {
    OPTASSERT(otype->is_func() || size == otype->size());
    if (sc == 4 || sc == 17 || sc == 22) attr &= static_cast<std::uint8_t>(~SA_aliased);
}

SYMTAB *new_symbol(const char *name, unsigned long size, unsigned long offset, unsigned char sc,
                   unsigned short flags, TYPE *type, TYPE *otype, unsigned long align, PSN *psn,
                   int index) {
    return pool_new<SYMTAB>(name, size, offset, sc, flags, type, otype, align, psn, index);
}

SYMTAB *copy_symbol(const SYMTAB *sym, int level) {
    SYMTAB *copy = pool_new<SYMTAB>(*sym);
    copy->serial = ++last_serial;
    copy->fun_serial = next_fun_serial(copy->serial);
    copy->level = static_cast<std::uint8_t>(std::clamp(level, 0, 255));
    copy->index = -1;
    copy->scope = nullptr;
    copy->next = nullptr;
    copy->init = nullptr;
    std::fill(std::begin(copy->pass_words), std::end(copy->pass_words), nullptr);
    PRAGMA **end = &copy->pragmas;
    for (const PRAGMA *pragma = sym->pragmas; pragma; pragma = pragma->next) {
        *end = pool_new<PRAGMA>(*pragma);
        end = &(*end)->next;
    }
    return copy;
}

namespace {
// An int holds the values of an enum, unless the enum was declared with a wider type.
TYPE *type_of_temp(TYPE *type) {
    if (type->qual_kind(true) != 0) type = type->type_qualified();
    if (!type->is_enum()) return type;
    return type->size() > tp->int_type()->size() ? normalized_underlying_type(type)
                                                 : tp->int_type();
}
} // namespace

SYMTAB *sym_temp(int letter, long number, TYPE *type, LS *ls) {
    if (number < 0) number = ++currfuninfo->temp_counter;
    char name[48];
    std::snprintf(name, sizeof name, "%s$%c%ld", internal_prefix.data(), letter, number);
    type = type_of_temp(type);
    SYMTAB *sym = new_symbol(name, type->size(), 0, 1, 0, type->normalized(), type, type->align(),
                             nullptr, -1);
    if (i_file) i_file->if_enter_local(sym);
    sym->sc2 = 1;
    sym->level = 2;
    sym->attr = static_cast<std::uint8_t>((sym->attr & ~(SA_aliased | SA_bit1)) | SA_temp);
    sym->next = currfuninfo->symbols;
    currfuninfo->symbols = sym;
    if (!ls && currfuninfo->root_scope) ls = currfuninfo->root_scope->level_2_scope();
    sym->scope = ls;
    if (ls) LS::add_symbol(sym);
    return sym;
}

// --- entering and looking up

void sym_def(SYMTAB *sym) {
    SYMTAB *&list = sym->level == 0 ? global_symbols : currfuninfo->symbols;
    sym->next = list;
    list = sym;
    if (sym->level != 0) return;
    const auto [entry, is_new] = file_level_names.try_emplace(sym->name, sym);
    if (!is_new && definition_rank(sym) > definition_rank(entry->second)) entry->second = sym;
    if (is_function(sym) && definition_rank(sym) > 0)
        if (FUNINFO *funinfo = find_FUNINFO(skip_name_prefix(sym->name)))
            drop_library_flags(funinfo);
}

SYMTAB *get_sym_def_for_decl(SYMTAB *sym) {
    const bool only_declares = sym->level == 0 || sym->sc == 5;
    if (!only_declares) return sym;
    const auto entry = file_level_names.find(sym->name);
    if (entry == file_level_names.end()) return sym;
    const int rank = definition_rank(sym), known = definition_rank(entry->second);
    return known > rank || rank == 0 ? entry->second : sym;
}

TYPE *guess_cpp_type(const SYMTAB *sym) {
    TYPE *type = sym->otype ? sym->otype->stds() : nullptr;
    while (type && (type->is_ptr() || type->is_ref() || type->is_array())) {
        type = type->is_array() ? type->elem_type() : type->type_pointed_to();
        if (type) type = type->stds();
    }
    return type && type->is_csu() && type->cpp ? type : nullptr;
}

// --- linkage

bool pragma_says_preemptible(const SYMTAB *sym) {
    return visibility_is(sym, {"default", "extern"});
}

bool pragma_says_outside_accessible(const SYMTAB *sym) {
    return visibility_is(sym, {"default", "extern", "protected"});
}

bool symbol_is_protected(const SYMTAB *sym) {
    return visibility_is(sym, {"protected"});
}

bool symbol_is_preemptible(const SYMTAB *sym) {
    if (sym->level != 0 || symbol_is_protected(sym)) return false;
    return pragma_says_preemptible(sym) || (sym->flags & outside_marks) == outside_marks;
}

// What another file declares is out there already; what this file defines for others may be used
// there unless the program mode says that nobody does.
bool symbol_is_outside_accessible(const SYMTAB *sym) {
    if (sym->level != 0) return false;
    if (pragma_says_outside_accessible(sym) || (sym->flags & escapes_mark)) return true;
    if (sym->sc == 5) return true;
    return sym->sc == 2 && !(is_function(sym) ? no_outside_callers : no_outside_writers);
}

// The code generator reaches a symbol that another module may replace through its address table.
bool symbol_will_be_indirected(const SYMTAB *sym) {
    return sym->level == 0 && pragma_says_preemptible(sym);
}

// --- the whole

void erase_all_symbols() {
    for (SYMTAB *sym = global_symbols; sym; sym = sym->next)
        delete sym->init;
    reset_FUNINFOs();
    reset_interned_symbols();
    reset_pragmas();
    reset_scopes();
    reset_symbol_lists();
    file_level_names.clear();
    functions.clear();
    fileinfo->funinfo = nullptr;
    currfunc = nullptr;
    currfuninfo = nullptr;
    global_symbols = nullptr;
    lex = 0;
    symbol_serial = 0;
    symbol_pool.release();
}

void init_symbols() {
    erase_all_symbols();
}

void dump_symbol(const SYMTAB *sym) {
    dprintf("%s level:%d sc:%d size:%lu%s%s", sym->name, sym->level, sym->sc,
            static_cast<unsigned long>(sym->size), sym->attr & SA_aliased ? " (aliased)" : "",
            sym->attr & SA_temp ? " (temp)" : "");
}
