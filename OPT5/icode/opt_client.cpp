// The optimizer's client of the file reader: records become symbols, trees, scopes and functions.
#include "OPT5/icode/opt_client.h"

#include "OPT5/builtins/bif.h"
#include "OPT5/driver/abort.h"
#include "OPT5/driver/driver.h"
#include "OPT5/driver/global_flags.h"
#include "OPT5/driver/pass.h"
#include "OPT5/interproc/interproc.h"
#include "OPT5/rep/bblk.h"
#include "OPT5/rep/program.h"
#include "OPT5/scalar/scalar.h"

#include <algorithm>
#include <cstring>
#include <deque>

IF_CLIENT opt_client;
std::vector<OPTION_RECORD> icode_optionlist;
std::string curr_file = "NO_FILE";
int unique_call_index = 0, output_index = 0, arg_offset = 0;

namespace {
// An open block of the function being read.
struct BLOCK_ENTRY {
    PSN *start;
    int level;             // of its own symbols; the outermost entry has those of level 1 too
    const SYMTAB *outside; // newest symbol when the block began
};
std::vector<BLOCK_ENTRY> open_blocks;

// Texts of assembly and comment statements, for the whole run.
std::deque<std::string> asm_texts;

[[noreturn]] void bad_symbol(const SYMTAB *sym, const char *what) {
    const std::string message =
        std::string("Symbol \"") + sym->name + "\" of the intermediate file " + what;
    abort_optimizer(message.c_str());
}

// Symbols of the innermost open block go into the alias roots, and the block is dropped.
void leave_block() {
    const BLOCK_ENTRY block = open_blocks.back();
    open_blocks.pop_back();
    for (SYMTAB *sym = currfuninfo->symbols; sym && sym != block.outside; sym = sym->next) {
        if (sym->level > block.level) continue; // of an inner block, which is closed
        make_RSET_root(sym, sym->scope);
        find_or_make_PTR_entry(sym);
    }
}

// Marks by which a symbol counts as preemptible or reachable from outside.
unsigned preemptible_marks(int flags) {
    return (flags & 0x90) ? 0xc000 : 0xe000;
}

void put_statement(NODE *node, PSN *psn) {
    LS::initialize_scopes_and_ptrs_from_tree(node);
    currfuninfo->pending = mkelist(node, currfuninfo->pending, psn);
}

void put_text(int tag, const char *text, PSN *psn) {
    if (lex == 0) {
        wrasmr(tag, text, psn);
        return;
    }
    NODE *node = maketree(OP::ASM, nullptr, nullptr, tp->void_type(), nullptr);
    node->u.asm_.text = asm_texts.emplace_back(text).c_str();
    node->u.asm_.kind = static_cast<std::uint32_t>(tag);
    put_statement(node, psn);
}

template <class Visit> void for_each_call(NODE *tree, Visit visit) {
    for (; tree; tree = tree->right) {
        if (tree->op == OP::CALL || tree->op == OP::UCALL) visit(tree);
        for_each_call(tree->left, visit);
    }
}

// Intrinsics whose descriptor says so are MCALLs inside the optimizer.
void intrinsics_to_MCALL(NODE *tree) {
    for (; tree; tree = tree->right) {
        if (tree->op == OP::ICALL) {
            const BIF_DESCRIPTOR *bif = find_BIF_descriptor(tree->icall_name());
            if (bif && (bif->flags & 8)) tree->op = OP::MCALL;
        }
        intrinsics_to_MCALL(tree->left);
    }
}

NODE *fix_types_bottom_up(NODE *tree) {
    if (tree->left) tree->left = fix_types_bottom_up(tree->left);
    if (tree->right) tree->right = fix_types_bottom_up(tree->right);
    return fix_BIF_types(tree);
}

// A function that returns by copy constructor into a hidden argument: when its last statement
// copies a parameter of the same name into the hidden argument, neither changes any more, and the
// parameter is a valid address.
void mark_return_by_cctor() {
    if (!symbol_has_pragma(currfunc, PRG_FUNC_RET_BY_CCTOR) || !currfuninfo->return_type->is_void())
        return;
    const LIST *last = currfuninfo->pending;
    if (!last || last->first->op != OP::ASG || last->first->left->op != OP::NAME ||
        last->first->right->op != OP::NAME)
        return;
    SYMTAB *hidden = last->first->left->u.name.sym, *parm = last->first->right->u.name.sym;
    if (parm->level != 1 || std::strcmp(hidden->name, parm->name) != 0 || !parm->type->is_ptr())
        return;
    for (SYMTAB *sym : {hidden, parm})
        sym->type = tp->mk_qual(sym->type, TQ_const);
    NODE *not_null =
        maketree(OP::NEQ, mk_NAME(parm, nullptr), mk_ICON(0, parm->type), tp->int_type(), nullptr);
    put_statement(maketree(OP::NASSERT, not_null, nullptr, tp->void_type(), nullptr), last->psn);
}
} // namespace

bool IF_CLIENT::cl_magic(int, int) {
    return true;
}

void IF_CLIENT::cl_option_set(unsigned id, unsigned, const std::vector<std::string> &args) {
    // Each set becomes a whole option_obj: some bytes of a file must not become gigabytes.
    constexpr std::size_t max_option_sets = 10'000;
    if (icode_optionlist.size() >= max_option_sets)
        abort_optimizer("The intermediate file has too many option sets");
    icode_optionlist.push_back({id, args});
}

SYMTAB *IF_CLIENT::cl_symbol_create(const char *name, TYPE *type, TYPE *stype, unsigned long size,
                                    unsigned long align, unsigned long offset, int sc, int flags,
                                    PSN *psn, unsigned long fpos, unsigned option_set) {
    if (!type) {
        const std::string message =
            std::string("Symbol \"") + name + "\" of the intermediate file has no type";
        abort_optimizer(message.c_str());
    }
    TYPE *normalized = type->normalized();
    if (normalized->is_enum()) normalized = normalized_underlying_type(normalized);
    unsigned marks = static_cast<unsigned>(flags) & 0x19ff;
    if (lex == 0 && !normalized->is_const() && opt_level() < 3) marks |= preemptible_marks(flags);
    if (!type->is_func() && size != type->size()) {
        const std::string message = std::string("Symbol \"") + name +
                                    "\" of the intermediate file has not the size of its type";
        abort_optimizer(message.c_str());
    }
    SYMTAB *sym = new_symbol(name, size, offset, static_cast<unsigned char>(sc),
                             static_cast<unsigned short>(marks), normalized, type, align, psn, -1);
    sym->stype = stype;
    sym->fpos = static_cast<std::uint32_t>(fpos);
    sym->option_set = option_set;
    sym->sc2 = static_cast<std::uint8_t>(sc);
    sym->level = static_cast<std::uint8_t>(std::min(lex, 255));
    if (sc == 4 || sc == 17 || sc == 22)
        sym->attr &= static_cast<std::uint8_t>(~SA_aliased);
    else
        sym->attr |= SA_aliased;
    if (sym->sc == 27) {
        sym->sc = 9;
        if (currfuninfo)
            currfuninfo->flags |= FUN_cannot_suppress | FUN_cannot_inline | FUN_cannot_beta;
    }
    if (normalized->is_func()) make_FUNINFO(skip_name_prefix(name))->symbol = sym;
    if (lex > 2 && !normalized->is_scalar() && !normalized->is_void() &&
        !(normalized->is_csu() && normalized->get_csu()->flag))
        add_stack_sharing_variable(sym);
    sym_def(sym);
    if (lex != 0) LS::add_symbol(sym);
    return sym;
}

void IF_CLIENT::cl_pragma(SYMTAB *sym, PRAGMA *pragma) {
    if (sym) {
        pragma->next = sym->pragmas;
        sym->pragmas = pragma;
    }
    opt_process_pragma(sym, pragma);
}

void IF_CLIENT::cl_symbol_init(SYMTAB *sym, EXPR_LIST *list) {
    if (sym->init) bad_symbol(sym, "is initialised twice");
    sym->init = list;
    opt_symbol_init(sym);
}

void IF_CLIENT::cl_symbol_def(SYMTAB *sym) {
    make_symbol_groupable(sym);
    if (sym->type->is_func()) check_fun_for_byref_asgs(sym);
}

void IF_CLIENT::cl_expr(NODE *tree, PSN *psn) {
    tree = unwrap_profile_counts(tree);
    check_incoming_tree(tree, true);
    put_statement(expr_cleanup(tree), psn);
}

void IF_CLIENT::cl_begin_func(SYMTAB *sym, PSN *psn) {
    if (!sym->type->is_func()) bad_symbol(sym, "has a body but is no function");
    FUNINFO *funinfo = make_FUNINFO(skip_name_prefix(sym->name));
    if (function_prepass && (funinfo->bb_list || funinfo->pending))
        bad_symbol(sym, "has two bodies");
    currfunc = sym;
    currfuninfo = funinfo;
    erase_function_body(funinfo);
    funinfo->symbol = sym;
    funinfo->return_type = sym->otype->return_type();
    if (!funinfo->return_type) bad_symbol(sym, "has no return type");
    funinfo->psn = psn;
    curr_file = !psn ? "NO_PSN_FILE" : psn->file ? psn->file : "NO_FILE";
    funinfo->pending = nullptr;
    funinfo->symbols = funinfo->parms = funinfo->temps = funinfo->statics = nullptr;
    open_blocks.assign(1, {psn, 2, nullptr});
    lex = 1;
    symbol_serial = 0;
    arg_offset = unique_call_index = 0;
    init_stack_sharing();
    funinfo->is_leaf = true;
    funinfo->is_profiled = funinfo->has_flag10_name = funinfo->has_bitfield_refs = false;
    if (sym->flags & 32) funinfo->flags |= FUN_is_interrupt;
    make_RSET_root(nullptr, nullptr);
    funinfo->root_scope = funinfo->open_scope = nullptr;
    LS::open(psn, sym, 0); // the function's root scope
    LS::open(psn, sym, 0); // parameters
    if (sym->sc == 3 && (funinfo->flags & FUN_is_suppressed) &&
        (funinfo->flags & FUN_cannot_suppress))
        unsuppress_inline_function(funinfo);
    dump_function_header();
    initialize_the_profiling_state(nullptr);
}

void IF_CLIENT::cl_end_args(PSN *psn) {
    currfuninfo->psn_args = currfuninfo->psn_locals = psn;
    if (do_beta_MVP)
        beta_parms_using_mvp_ip();
    else
        beta_parms();
    for (SYMTAB *sym = currfuninfo->symbols; sym; sym = sym->next)
        find_or_make_PTR_entry(sym);
    ++lex;
    LS::open(psn, currfunc, 0);
}

void IF_CLIENT::cl_end_locals(PSN *psn) {
    currfuninfo->psn_locals = psn;
}

void IF_CLIENT::cl_begin_block(PSN *psn) {
    ++lex;
    open_blocks.push_back({psn, lex, currfuninfo->symbols});
    begin_stack_sharing_scope();
    LS::open(psn, currfunc, 0);
}

void IF_CLIENT::cl_end_block(PSN *psn) {
    --lex;
    leave_block();
    end_stack_sharing_scope();
    LS::close(psn, currfunc, 0);
}

void IF_CLIENT::cl_label(unsigned number) {
    LIST *&pending = currfuninfo->pending;
    if (pending && pending->first->op == OP::BRANCH && pending->first->left->label_id() == number) {
        initialize_the_profiling_state(pending->first);
        LIST *jump = pending;
        pending = pending->rest;
        jump->rest = nullptr;
        erase_tree_list(jump);
    }
    put_statement(mk_LABELDEF(mklabel(static_cast<int>(number), nullptr, nullptr)), nullptr);
}

void IF_CLIENT::cl_inline_asm(const char *text, PSN *psn) {
    put_text(36, text, psn);
}

void IF_CLIENT::cl_comment(const char *text) {
    if (text[0] != '*') put_text(47, text, nullptr);
}

// Ids of the file are replaced by positions in the sorted table; entry 0 stands for "none".
bool IF_CLIENT::cl_func_eht(EHT_ENTRY *entries, unsigned n) {
    if (currfuninfo->eht)
        abort_optimizer("A function of the intermediate file has two exception tables");
    EHT_ENTRY *table = new EHT_ENTRY[n + 1];
    std::move(entries, entries + n, table + 1);
    std::stable_sort(table + 1, table + n + 1,
                     [](const EHT_ENTRY &a, const EHT_ENTRY &b) { return a.id < b.id; });
    currfuninfo->eht = table;
    currfuninfo->eht_size = n + 1;
    const auto position_of = [table, n](std::uint32_t id) -> std::uint32_t {
        if (id == 0) return 0;
        EHT_ENTRY *end = table + n + 1;
        EHT_ENTRY *found =
            std::lower_bound(table + 1, end, id, [](const EHT_ENTRY &entry, std::uint32_t key) {
                return entry.id < key;
            });
        if (found == end || found->id != id)
            abort_optimizer("An exception table entry of the intermediate file is unknown");
        return static_cast<std::uint32_t>(found - table);
    };
    for (unsigned i = 1; i <= n; ++i)
        if (i > 1 && table[i].id == table[i - 1].id)
            abort_optimizer("Two exception table entries have one id");
    for (unsigned i = 1; i <= n; ++i)
        table[i].link = position_of(table[i].link);
    const auto renumber_calls = [&position_of](NODE *tree) {
        for_each_call(tree, [&position_of](NODE *call) {
            call->u.call.eht_id = position_of(call->u.call.eht_id);
        });
    };
    for (LIST *cell = currfuninfo->pending; cell; cell = cell->rest)
        renumber_calls(cell->first);
    for (unsigned i = 1; i <= n; ++i) {
        if (NODE *cleanup = unwrap_profile_counts(table[i].cleanup)) {
            check_incoming_tree(cleanup, false);
            table[i].cleanup = expr_cleanup(cleanup);
            renumber_calls(table[i].cleanup);
            LS::initialize_scopes_and_ptrs_from_tree(table[i].cleanup);
        }
        for (I_CATCH_ENTRY &clause : table[i].catches)
            clause.lbl = find_label(static_cast<int>(clause.label));
    }
    for (unsigned i = 1; i <= n; ++i)
        table[i].id = i; // last: position_of reads the old ids
    return true;
}

void IF_CLIENT::cl_end_func(PSN *psn) {
    functions.push_back(currfunc);
    while (!open_blocks.empty())
        leave_block();
    for (int i = 0; i < 3; ++i)
        LS::close(psn, currfunc, 0);
    lex = 0;
    currfuninfo->psn_end = psn;
    for (LIST *cell = currfuninfo->pending; cell; cell = cell->rest) {
        if (!currfuninfo->is_leaf) for_each_call(cell->first, [](NODE *) { ++unique_call_index; });
        intrinsics_to_MCALL(cell->first);
        cell->first = fix_types_bottom_up(cell->first);
        if (!step_has_effect(simplify_while_reading)) continue;
        NODE *stmt = peel_for_effect(simp_tree(cell->first));
        cell->first = stmt ? stmt : mk_ICON(0, tp->int_type()); // the empty statement
    }
    check_for_synonym_function_in_pass_1();
    check_integrable_definition(currfuninfo);
    mark_return_by_cctor();
    seq_trees();
    buildcfg();
    if (step_has_effect(tidy_while_reading)) simpcfg(false, false);
    if (step_has_effect(propagate_while_reading)) fast_CP(4, 1);
    preprocess_fundef(currfuninfo);
    currfuninfo->call_sites.resize(static_cast<std::size_t>(unique_call_index) + 1);
    init_ipcp_for_fun();
    if (do_IP_MVP) init_IP_MVP_for_current_function();
    if (step_has_effect(propagate_while_reading)) {
        identify_fl_statics_safe_for_auto();
        convert_safe_fl_statics_to_auto();
    }
    currfunc = nullptr;
    currfuninfo = fileinfo->funinfo;
}

// Records that this program has no use for.
void IF_CLIENT::cl_source(const char *) {}
void IF_CLIENT::cl_merge_type_defs() {}
void IF_CLIENT::cl_preprocess_statics() {}
void IF_CLIENT::cl_func_info(int) {}
void IF_CLIENT::cl_loop_def(unsigned, unsigned, unsigned long, unsigned long, unsigned long,
                            unsigned) {}
void IF_CLIENT::cl_loop_header(unsigned, SYMTAB *, int) {}
void IF_CLIENT::cl_dd_vector(int, int, int, DD_ENTRY *) {}
void IF_CLIENT::cl_dd_edge(int, int, int) {}
void IF_CLIENT::cl_mbank(int, int, int, int, int) {}
void IF_CLIENT::cl_ldspec_induct(unsigned, unsigned, int, TYPE *, SYMTAB *) {}
void IF_CLIENT::cl_ldspec_rand(unsigned, unsigned, unsigned, TYPE *, SYMTAB *) {}
void IF_CLIENT::cl_ldspec_region(unsigned, unsigned) {}
void IF_CLIENT::cl_ir_begin_func(SYMTAB *, unsigned long, int, int, PSN *) {}
void IF_CLIENT::cl_ir_end_func(PSN *) {}
void IF_CLIENT::cl_ir_ins(INSTR *, PSN *) {}
