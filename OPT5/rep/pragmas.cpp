// The table of symbol pragma kinds, pragma records, and what a pragma tells of its symbol.
#include "OPT5/rep/pragmas.h"

#include "OPT5/driver/abort.h"
#include "OPT5/driver/global_flags.h"
#include "OPT5/driver/log.h"
#include "OPT5/icode/if.h"
#include "OPT5/rep/bbutils.h"
#include "OPT5/rep/program.h"
#include "OPT5/rep/symbol_pool.h"

#include <boost/unordered_set.hpp>

#include <algorithm>

constexpr std::array<PRAGMA_ROW, maxpragma + 1> pragma_table = {{
    {PRG_INVALID, "INVALID", 0},
    {PRG_DATA_ALIGN, "DATA_ALIGN", 0},
    {PRG_DATA_SECTION, "DATA_SECTION", PF_data},
    {PRG_FUNC_NEVER_RETURNS, "FUNC_NEVER_RETURNS", PF_function},
    {PRG_FUNC_CANNOT_INLINE, "FUNC_CANNOT_INLINE", PF_function},
    {PRG_FUNC_NO_GLOBAL_ASG, "FUNC_NO_GLOBAL_ASG", PF_function},
    {PRG_FUNC_NO_IND_ASG, "FUNC_NO_IND_ASG", PF_function},
    {PRG_FUNC_IS_PURE, "FUNC_IS_PURE", PF_function},
    {PRG_FUNC_IS_SYSTEM, "FUNC_IS_SYSTEM", PF_function},
    {PRG_NO_INTERRUPT, "NO_INTERRUPT", 0},
    {PRG_NEAR, "NEAR", 0},
    {PRG_FAR, "FAR", 0},
    {PRG_INTERRUPT, "INTERRUPT", 0},
    {PRG_PORT, "PORT", 0},
    {PRG_INLINE, "INLINE", 0},
    {PRG_OVLY_INDIRECT, "OVLY_INDIRECT", 0},
    {PRG_NO_OVLY, "NO_OVLY", 0},
    {PRG_FUNC_NOT_IND_CALLED, "FUNC_NOT_IND_CALLED", PF_function},
    {PRG_SHARED, "SHARED", 0},
    {PRG_SHAREDPP, "SHAREDPP", 0},
    {PRG_DUAL_STATE, "DUAL_STATE", 0},
    {PRG_TASK, "TASK", 0},
    {PRG_OVLY_IND_CALLS, "OVLY_IND_CALLS", 0},
    {PRG_FUNC_EXT_CALLED, "FUNC_EXT_CALLED", PF_function},
    {PRG_REENTRANT, "REENTRANT", 0},
    {PRG_CALLS, "CALLS", 0},
    {PRG_SWI_ALIAS, "SWI_ALIAS", 0},
    {PRG_CODE_SECTION, "CODE_SECTION", 0},
    {PRG_TRAP, "TRAP", 0},
    {PRG_FUNC_INTERRUPT_THRESHOLD, "FUNC_INTERRUPT_THRESHOLD", PF_function},
    {PRG_FUNC_NO_MDEP, "FUNC_NO_MDEP", PF_function},
    {PRG_NMI_INTERRUPT, "NMI_INTERRUPT", 0},
    {PRG_PROTECT_VOLATILE, "PROTECT_VOLATILE", 0},
    {PRG_STRUCT_ALIGN, "STRUCT_ALIGN", PF_data},
    {PRG_DATA_MEM_BANK, "DATA_MEM_BANK", 0},
    {PRG_IDENT, "IDENT", 0},
    {PRG_OPT_OVERRIDE, "OPT_OVERRIDE", 0},
    {PRG_UNROLL, "UNROLL", PF_statement},
    {PRG_UNROLL_AMOUNT, "UNROLL_AMOUNT", PF_statement},
    {PRG_MUST_ITERATE, "MUST_ITERATE", PF_statement},
    {PRG_PROB_ITERATE, "PROB_ITERATE", PF_statement},
    {PRG_SRC_LOOP, "SRC_LOOP", PF_statement},
    {PRG_ALIAS_ADVICE, "ALIAS_ADVICE", PF_statement},
    {PRG_ALIGN_ADVICE, "ALIGN_ADVICE", PF_statement},
    {PRG_INLINE_ADVICE, "INLINE_ADVICE", PF_statement},
    {PRG_WRAP_ADVICE, "WRAP_ADVICE", PF_function},
    {PRG_FAST_FUNC_CALL, "FAST_FUNC_CALL", PF_function},
    {PRG_Q4X_CALL, "Q4X_CALL", 0},
    {PRG_Q4X_FAR_CALL, "Q4X_FAR_CALL", 0},
    {PRG_SRC_LANGUAGE, "SRC_LANGUAGE", PF_function},
    {PRG_TEMPLATE_ENTITY, "TEMPLATE_ENTITY", 0},
    {PRG_SCOPING_FUNC, "SCOPING_FUNC", PF_data | PF_function},
    {PRG_SYM_IS_REFERENCED, "SYM_IS_REFERENCED", PF_data},
    {PRG_STANDARD_LIBRARY_FUNCTION, "STANDARD_LIBRARY_FUNCTION", 0},
    {PRG_FUNC_IS_NONCONFORMING, "FUNC_IS_NONCONFORMING", PF_function},
    {PRG_TRANSLATION_UNIT_ID, "TRANSLATION_UNIT_ID", PF_data | PF_function},
    {PRG_TRIP_CNTR_MUNGED, "TRIP_CNTR_MUNGED", PF_statement},
    {PRG_LOOP_FLAGS, "LOOP_FLAGS", PF_statement},
    {PRG_IS_CLASS_MEMBER, "IS_CLASS_MEMBER", PF_data | PF_function},
    {PRG_SYM_IS_DEAD, "SYM_IS_DEAD", 0},
    {PRG_NO_ALIAS, "NO_ALIAS", PF_statement},
    {PRG_REG_FLAGS, "REG_FLAGS", 0},
    {PRG_REG_MAP, "REG_MAP", 0},
    {PRG_SP_CONSTRAINT, "SP_CONSTRAINT", PF_statement},
    {PRG_II_ESTIMATE, "II_ESTIMATE", PF_statement},
    {PRG_UNIT_RESOURCES, "UNIT_RESOURCES", PF_statement},
    {PRG_SP_HINDRANCES, "SP_HINDRANCES", PF_statement},
    {PRG_READ_WRITE, "READ_WRITE", PF_statement},
    {PRG_NO_ALIAS_CLONE, "NO_ALIAS_CLONE", PF_statement},
    {PRG_COMDAT_GROUP, "COMDAT GROUP", 0},
    {PRG_DEFAULT_NEVER_EXECUTED, "DEFAULT_NEVER_EXECUTED", 0},
    {PRG_FUNC_IS_CTOR_DTOR, "FUNC_IS_CTOR_DTOR", 0},
    {PRG_SYM_VISIBILITY, "SYM_VISIBILITY", PF_data | PF_function},
    {PRG_DLLEXPORT_OBSOLETE, "DLLEXPORT_OBSOLETE", 0},
    {PRG_FS_DYNAMIC_INIT, "FS_DYNAMIC_INIT", PF_data | PF_function},
    {PRG_FUNC_ESPEC, "FUNC_ESPEC", 0},
    {PRG_FUNC_EXCEPTIONS_NOUNWIND, "FUNC_EXCEPTIONS_NOUNWIND", 0},
    {PRG_Q5X_CALL, "Q5X_CALL", 0},
    {PRG_FUNC_SYNONYM, "FUNC_SYNONYM", 0},
    {PRG_BIS_IE1_INTERRUPT, "BIS_IE1_INTERRUPT", 0},
    {PRG_LOOP_NO_ALIAS, "LOOP_NO_ALIAS", PF_statement},
    {PRG_FUNC_RET_BY_CCTOR, "FUNC_RET_BY_CCTOR", 0},
    {PRG_CODE_ALIGN, "CODE_ALIGN", 0},
    {PRG_QV_WEAK, "QV_WEAK", 0},
    {PRG_WORD_MODE_FUNC, "WORD_MODE_FUNC", 0},
    {PRG_NO_HOOKS, "NO_HOOKS", 0},
    {PRG_HOOK_FUNCTION, "HOOK_FUNCTION", 0},
    {PRG_FUNC_NUM_CALLED, "FUNC_NUM_CALLED", 0},
    {PRG_FUNC_ALWAYS_INLINE, "FUNC_ALWAYS_INLINE", 0},
    {PRG_FUNC_PPROF_INFO, "FUNC_PPROF_INFO", 0},
    {PRG_INTR_FUNC, "INTR_FUNC", 0},
    {PRG_TRAP_FUNC, "TRAP_FUNC", 0},
    {PRG_VECTOR_EQUALS, "VECTOR_EQUALS", 0},
    {PRG_CODE_STATE, "CODE_STATE", 0},
    {PRG_FUNC_RET_UNIQUE_POINTER, "FUNC_RET_UNIQUE_POINTER", 0},
    {PRG_RETAIN, "RETAIN", PF_data | PF_function},
    {PRG_CLINK, "CLINK", PF_data | PF_function},
    {PRG_FUNC_IN_INIT_ARRAY, "FUNC_IN_INIT_ARRAY", 0},
    {PRG_VCC_VREG, "VCC_VREG", 0},
    {PRG_QEV_REG, "QEV_REG", 0},
    {PRG_LOCATION, "LOCATION", 0},
    {PRG_NOINIT, "NOINIT", 0},
    {PRG_PERSISTENT, "PERSISTENT", 0},
    {PRG_LPM_INFO, "LPM_INFO", 0},
    {PRG_PORTS_INIT_INFO, "PORTS_INIT_INFO", 0},
    {PRG_FUNC_HAS_FP_INTERFACE, "FUNC_HAS_FP_INTERFACE", 0},
    {PRG_THREAD_LOCAL, "THREAD_LOCAL", 0},
    {PRG_CREGISTER, "CREGISTER", 0},
    {PRG_INS_PROPS, "INS_PROPS", 0},
    {PRG_FRAM_LOCKIO, "FRAM_LOCKIO", 0},
    {PRG_FRAM_WAITSTATE, "FRAM_WAITSTATE", 0},
    {PRG_HW_MPY32, "HW_MPY32", 0},
    {PRG_PARALLEL_LOOP, "PARALLEL_LOOP", PF_statement},
    {PRG_HW_MPY_INTR_SAFE, "HW_MPY_INTR_SAFE", 0},
    {PRG_QV_PATCHABLE, "QV_PATCHABLE", 0},
    {PRG_TRAMPOLINE, "TRAMPOLINE", 0},
    {PRG_RAMFUNC, "RAMFUNC", 0},
    {PRG_FUNC_IS_NAKED, "FUNC_IS_NAKED", 0},
    {PRG_QLA_STATUS, "QLA_STATUS", 0},
    {PRG_BLOCKED, "BLOCKED", 0},
    {PRG_NOBLOCKED, "NOBLOCKED", 0},
}};

static_assert(std::ranges::all_of(pragma_table,
                                  [](const PRAGMA_ROW &row) {
                                      return &row - pragma_table.data() == row.kind;
                                  }),
              "a pragma's row is found by its kind");

namespace {
// Functions whose flags a FUNC_IS_NONCONFORMING pragma has settled: no later pragma changes them.
boost::unordered_set<const SYMTAB *> processed_system_functions;

// Function flags that a pragma sets as it is.
struct FLAG_PRAGMA {
    int kind;
    std::uint32_t flag;
};
constexpr FLAG_PRAGMA flag_pragmas[] = {
    {PRG_FUNC_NEVER_RETURNS, FUN_never_returns}, {PRG_FUNC_NO_GLOBAL_ASG, FUN_no_global_asg},
    {PRG_FUNC_NO_IND_ASG, FUN_no_ind_asg},       {PRG_FUNC_IS_PURE, FUN_is_pure_fun},
    {PRG_FUNC_IS_SYSTEM, FUN_is_SYSTEM},
};
constexpr std::uint32_t replaceable_flags = FUN_cannot_inline | FUN_is_pragma_EXT; // 0x220
constexpr std::uint32_t visible_flags =
    FUN_cannot_suppress | FUN_is_pragma_EXT | FUN_cannot_beta | FUN_is_cg_root; // 0x1040202
constexpr std::uint16_t referenced_marks = 0xe000;

std::string_view argument(const PRAGMA *pragma, int n) {
    return n < pragma->count ? std::string_view(pragma->args[n]) : std::string_view();
}

void process_statement_pragma(PRAGMA *pragma) {
    if (lex == 0) {
        dprintf("%c[Pragma] %d %d", '^', pragma->kind, pragma->count);
        o_file->if_write_pragma(pragma);
        return;
    }
    NODE *node = maketree(OP::PPRAGMA, nullptr, nullptr, tp->void_type(), nullptr);
    node->u.ppragma.pragma = pragma;
    LS::initialize_scopes_and_ptrs_from_tree(node);
    currfuninfo->pending = mkelist(node, currfuninfo->pending, nullptr);
}

void process_visibility(FUNINFO *funinfo, std::string_view word) {
    const bool replaceable = word == "default" || word == "extern";
    if (replaceable) funinfo->flags |= replaceable_flags;
    if (replaceable || word == "protected") {
        no_outside_callers = 0;
        funinfo->flags |= visible_flags;
    }
}

void process_function_pragma(const SYMTAB *sym, const PRAGMA *pragma) {
    FUNINFO *funinfo = make_FUNINFO(skip_name_prefix(sym->name));
    if (!(pragma_flags(pragma->kind) & PF_function)) return;
    if (pragma->kind == PRG_SRC_LANGUAGE && argument(pragma, 0) == "C++") {
        funinfo->flags |= FUN_is_cpp;
        if (function_prepass)
            init_FUNINFO_flags(funinfo, is_system_function(funinfo->name.c_str()));
    }
    if (cache_sys_funinfo && !processed_system_functions.count(sym))
        for (const FLAG_PRAGMA &row : flag_pragmas)
            if (row.kind == pragma->kind) funinfo->flags |= row.flag;
    if (pragma->kind == PRG_SYM_VISIBILITY && pragma->count == 1)
        process_visibility(funinfo, argument(pragma, 0));
    if (pragma->kind == PRG_FUNC_IS_NONCONFORMING) {
        processed_system_functions.insert(sym);
        funinfo->flags = 0;
    }
}
} // namespace

const char *pragma_name(unsigned kind) {
    return kind <= maxpragma ? pragma_table[kind].name : "<unknown>";
}

std::uint32_t pragma_flags(unsigned kind) {
    return kind <= maxpragma ? pragma_table[kind].flags : 0;
}

PRAGMA *mk_pragma(int kind, std::span<const std::string_view> args, PRAGMA *next) {
    PRAGMA *pragma = pool_new<PRAGMA>();
    pragma->kind = static_cast<std::uint8_t>(kind);
    pragma->count = static_cast<std::int32_t>(args.size());
    pragma->next = next;
    if (!args.empty()) {
        pragma->args = static_cast<const char **>(
            symbol_pool.allocate(args.size() * sizeof(const char *), alignof(const char *)));
        std::transform(args.begin(), args.end(), pragma->args, pool_string);
    }
    return pragma;
}

PRAGMA *copy_pragma(const PRAGMA *pragma) {
    const std::vector<std::string_view> args(pragma->args, pragma->args + pragma->count);
    return mk_pragma(pragma->kind, args, nullptr);
}

PRAGMA *symbol_has_pragma(const SYMTAB *sym, int kind) {
    PRAGMA *pragma = sym->pragmas;
    while (pragma && pragma->kind != kind)
        pragma = pragma->next;
    return pragma;
}

PRAGMA *remove_pragma(int kind, PRAGMA *list) {
    for (PRAGMA **link = &list; *link;)
        if ((*link)->kind == kind)
            *link = (*link)->next;
        else
            link = &(*link)->next;
    return list;
}

void opt_process_pragma(SYMTAB *sym, PRAGMA *pragma) {
    const int pragID = pragma->kind;
    OPTASSERT(pragID != PRG_OPT_OVERRIDE);
    if (!sym) {
        process_statement_pragma(pragma);
        return;
    }
    if (sym->type->is_func()) process_function_pragma(sym, pragma);
    if (pragID == PRG_SYM_IS_REFERENCED) sym->flags |= referenced_marks;
}

void reset_pragmas() {
    processed_system_functions.clear();
}
