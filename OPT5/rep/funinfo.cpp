// The table of function records.
#include "OPT5/rep/symbol_pool.h"

#include "OPT5/driver/log.h"
#include "OPT5/icode/if.h"
#include "OPT5/rep/bblk.h"

#include <deque>

namespace {
constexpr unsigned bucket_count = 73;
FUNINFO *buckets[bucket_count];
std::deque<FUNINFO> records; // in order of creation; buckets chain through it

FUNINFO *&bucket_of(const char *name) {
    return buckets[(FUNINFO_hash(name) & 0x7fff) % bucket_count];
}

// The first two characters decide most comparisons; a name's final zero counts as one of them.
FUNINFO *lookup(const char *name) {
    for (FUNINFO *funinfo = bucket_of(name); funinfo; funinfo = funinfo->hash_next) {
        const char *key = funinfo->name.c_str();
        if (key[0] == name[0] && (key[0] == '\0' || key[1] == name[1]) && funinfo->name == name)
            return funinfo;
    }
    return nullptr;
}

FUNINFO *create(const char *name, int n) {
    FUNINFO *funinfo = &records.emplace_back();
    funinfo->name = name;
    FUNINFO *&bucket = bucket_of(name);
    funinfo->hash_next = std::exchange(bucket, funinfo);
    init_FUNINFO_flags(funinfo, n);
    return funinfo;
}

// The library function that an operator stands for; null when it stands for none.
const char *routine_of_operator(const NODE *node) {
    switch (node->op) {
    case OP::SQRT: return "_sqrt";
    case OP::MEMCPY: return "memcpy";
    case OP::ABS: break;
    default: return nullptr;
    }
    const TYPE *type = node->left ? node->left->type->stds() : node->type->stds();
    if (type->is_floating()) return "fabs";
    const bool is_long = type->is_integer() && (type->sub.integer.ikind == TYPE::LONG ||
                                                type->sub.integer.ikind == TYPE::ULONG);
    return is_long ? "labs" : "abs";
}

struct FLAG_NAME {
    std::uint32_t flag;
    const char *name;
};
#define FLAG(name)                                                                                 \
    { name, #name }
constexpr FLAG_NAME flags_by_bit[] = {
    FLAG(FUN_calls_anonymous), FLAG(FUN_cannot_suppress), FLAG(FUN_is_unsuppressed),
    FLAG(FUN_never_returns),   FLAG(FUN_calls_OUTSIDE),   FLAG(FUN_cannot_inline),
    FLAG(FUN_is_suppressed),   FLAG(FUN_no_global_asg),   FLAG(FUN_no_global_use),
    FLAG(FUN_is_pragma_EXT),   FLAG(FUN_calls_SYSTEM),    FLAG(FUN_is_processed),
    FLAG(FUN_is_anonymous),    FLAG(FUN_is_interrupt),    FLAG(FUN_follows_call),
    FLAG(FUN_value_needed),    FLAG(FUN_no_byref_asg),    FLAG(FUN_is_pure_fun),
    FLAG(FUN_cannot_beta),     FLAG(FUN_no_RPT_loop),     FLAG(FUN_is_inlined),
    FLAG(FUN_no_ind_asg),      FLAG(FUN_no_ind_use),      FLAG(FUN_is_cg_root),
    FLAG(FUN_is_called),       FLAG(FUN_is_extern),       FLAG(FUN_is_SYSTEM),
    FLAG(FUN_has_1_BB),        FLAG(FUN_is_main),         FLAG(FUN_is_cpp),
};
// The order of the information file: what the function is, then what it calls, may and does not do.
constexpr FLAG_NAME flags_by_theme[] = {
    FLAG(FUN_is_called),     FLAG(FUN_is_cg_root),      FLAG(FUN_is_cpp),
    FLAG(FUN_is_extern),     FLAG(FUN_is_inlined),      FLAG(FUN_is_interrupt),
    FLAG(FUN_is_main),       FLAG(FUN_is_pragma_EXT),   FLAG(FUN_is_processed),
    FLAG(FUN_is_pure_fun),   FLAG(FUN_is_suppressed),   FLAG(FUN_is_unsuppressed),
    FLAG(FUN_is_SYSTEM),     FLAG(FUN_is_anonymous),    FLAG(FUN_calls_OUTSIDE),
    FLAG(FUN_calls_SYSTEM),  FLAG(FUN_calls_anonymous), FLAG(FUN_cannot_beta),
    FLAG(FUN_cannot_inline), FLAG(FUN_cannot_suppress), FLAG(FUN_follows_call),
    FLAG(FUN_has_1_BB),      FLAG(FUN_never_returns),   FLAG(FUN_no_RPT_loop),
    FLAG(FUN_no_byref_asg),  FLAG(FUN_no_global_asg),   FLAG(FUN_no_global_use),
    FLAG(FUN_no_ind_asg),    FLAG(FUN_no_ind_use),      FLAG(FUN_value_needed),
};
#undef FLAG
static_assert(std::size(flags_by_bit) == std::size(flags_by_theme));
} // namespace

// P. J. Weinberger's hash (A. Aho, R. Sethi, J. Ullman, "Compilers", 1986, section 7.6), with the
// top four bits folded into the lowest four.
unsigned FUNINFO_hash(const char *name) {
    std::uint32_t h = 0;
    for (; *name; ++name) {
        h = (h << 4) + static_cast<unsigned char>(*name);
        const std::uint32_t top = h & 0xf0000000u;
        if (top) h = (h ^ (top >> 28)) & ~top;
    }
    return h;
}

FUNINFO *find_FUNINFO(const char *name) {
    if (FUNINFO *funinfo = lookup(name)) return funinfo;
    return is_system_function(name) ? create(name, 1) : nullptr;
}

FUNINFO *make_FUNINFO(const char *name) {
    FUNINFO *funinfo = find_FUNINFO(name);
    return funinfo ? funinfo : create(name, 0);
}

FUNINFO *find_FUNINFO_for_call(const NODE *call) {
    if (call->op == OP::CALL || call->op == OP::UCALL) {
        const NODE *callee = call->left;
        if (!callee || callee->op != OP::UAND || callee->left->op != OP::NAME) return nullptr;
        return make_FUNINFO(skip_name_prefix(callee->left->u.name.sym->name));
    }
    const char *routine = routine_of_operator(call);
    return routine ? make_FUNINFO(routine) : nullptr;
}

void map_over_FUNINFOs(void (*visit)(FUNINFO *)) {
    for (std::size_t i = 0; i < records.size(); ++i)
        visit(&records[i]); // the visit may add records
}

FUNLIST *mkFUNLIST(FUNINFO *first, FUNLIST *rest) {
    return pool_new<FUNLIST>(FUNLIST{first, rest});
}

std::string FUN_flag_names(std::uint32_t flags) {
    std::string names;
    for (const FLAG_NAME &row : flags_by_bit)
        if (flags & row.flag) names.append(names.empty() ? "" : " ").append(row.name);
    return names;
}

void dump_FUNINFO(const FUNINFO *funinfo, const FUNLIST *callees) {
    if (!finfo) return;
    std::fprintf(finfo, "\nFunction %s(): %d blocks, scopeCount: %u, (max) scopeDepth: %u\n",
                 funinfo->name.c_str(), funinfo->bb_count, funinfo->scopeCount,
                 funinfo->scopeDepth);
    for (const FLAG_NAME &row : flags_by_theme)
        if (funinfo->flags & row.flag) std::fprintf(finfo, "\t%s\n", row.name);
    if (callees) std::fputs("\tcalls:", finfo);
    for (const FUNLIST *cell = callees; cell; cell = cell->rest)
        std::fprintf(finfo, " %s()%s", cell->first->name.c_str(), cell->rest ? "," : "\n");
}

void dump_function_header() {
    if (!print_debug || !currfuninfo) return;
    const PSN *psn = currfuninfo->psn;
    dprintf("\n\n======== FUNCTION %s()", currfuninfo->name.c_str());
    if (psn && psn->file)
        dprintf(" in file \"%s\", line %lu", psn->file, static_cast<unsigned long>(psn->line));
    dprintf(" ========\n\tscopeCount: %u, (max) scopeDepth: %u\n\t%s\n", currfuninfo->scopeCount,
            currfuninfo->scopeDepth, FUN_flag_names(currfuninfo->flags).c_str());
}

void reset_FUNINFOs() {
    for (FUNINFO &funinfo : records) {
        delete funinfo.dominator;
        delete[] funinfo.eht;
    }
    std::fill(std::begin(buckets), std::end(buckets), nullptr);
    records.clear();
}
