// The way out: a function's blocks and symbols become records of o_file.
#include "OPT5/builtins/bif.h"
#include "OPT5/driver/abort.h"
#include "OPT5/driver/driver.h"
#include "OPT5/driver/global_flags.h"
#include "OPT5/driver/log.h"
#include "OPT5/icode/opt_client.h"
#include "OPT5/interproc/interproc.h"
#include "OPT5/rep/bblk.h"
#include "OPT5/rep/program.h"
#include "OPT5/scalar/scalar.h"
#include "OPT5/scalar/simp.h"
#include "OPT5/target/target.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

namespace {
// --- labels

bool same_block(const NODE *label, const BBLK *bb) {
    return label->u.label.lbl && label->u.label.lbl->bb == bb;
}

LBL *label_of(const NODE *label) {
    return label->u.label.lbl->bb->label;
}

// The statement of a block's end as it is written: IF as CBRANCH, with or without a BRANCH behind.
void lower_last_statement(BBLK *bb) {
    LIST *last = last_cell(bb->statements);
    if (!last || last->first->op != OP::IF) return;
    NODE *stmt = last->first;
    NODE *arms = stmt->right;
    NODE *true_label = arms->left, *false_label = arms->right;
    const BBLK *next = bb->dflink;
    if (!same_block(true_label, next) && same_block(false_label, next)) {
        // Jumping on the opposite condition saves the branch behind.
        if (stmt->left->op == OP::EXCLAIM && stmt->left->left->type->is_scalar()) {
            NODE *inner = stmt->left->left;
            erase_node(stmt->left);
            stmt->left = inner;
            std::swap(true_label, false_label);
        } else {
            stmt->left = invert_boolean_tree(stmt->left);
            std::swap(true_label, false_label);
        }
    }
    erase_node(arms);
    stmt->op = OP::CBRANCH;
    stmt->right = false_label;
    if (same_block(true_label, next)) {
        erase_tree(true_label);
    } else {
        NODE *jump = maketree(OP::BRANCH, true_label, nullptr, tp->int_type(), stmt->scope);
        last->rest = mkelist(jump, nullptr, last->psn);
    }
}

void drop_branch_to_next(BBLK *bb) {
    LIST **link = &bb->statements;
    while (*link && (*link)->rest)
        link = &(*link)->rest;
    if (*link && (*link)->first->op == OP::BRANCH && same_block((*link)->first->left, bb->dflink))
        *link = erase_tree_list(*link);
}

void count_label_uses(NODE *tree) {
    for (; tree; tree = tree->right) {
        if (tree->op == OP::LABEL && tree->u.label.lbl) ++label_of(tree)->refcount;
        count_label_uses(tree->left);
    }
}

template <class Visit> void for_each_handler(Visit visit) {
    for (unsigned i = 1; i < currfuninfo->eht_size; ++i)
        for (I_CATCH_ENTRY &clause : currfuninfo->eht[i].catches)
            if (clause.lbl && clause.lbl->bb) visit(clause);
}

// Each block has one label in the file, numbered from 1 in block order; blocks that nothing jumps
// to have none.
void number_written_labels() {
    for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink)
        for (LBL *label = bb->label; label; label = label->next)
            label->refcount = 0;
    for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink)
        for (LIST *cell = bb->statements; cell; cell = cell->rest) {
            const int op = cell->first->op;
            if (op == OP::BRANCH || op == OP::CBRANCH || op == OP::SWITCH)
                count_label_uses(cell->first);
        }
    for_each_handler([](I_CATCH_ENTRY &clause) { ++clause.lbl->bb->label->refcount; });
    int number = 0;
    for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink) {
        if (!bb->label || bb->label->refcount == 0) continue;
        ++number;
        for (LBL *label = bb->label; label; label = label->next)
            label->index = number;
    }
}

// True when control comes to the block that follows `bb` in the file without a jump.
bool falls_through(const BBLK *bb) {
    const NODE *last = last_statement(bb);
    if (!last) return true;
    switch (last->op) {
    case OP::BRANCH:
    case OP::RETURN:
    case OP::URETURN:
    case OP::SWITCH: return false;
    default: return true;
    }
}

// --- exception tables

template <class Visit> void for_each_call(NODE *tree, Visit visit) {
    for (; tree; tree = tree->right) {
        if (tree->op == OP::CALL || tree->op == OP::UCALL) visit(tree);
        for_each_call(tree->left, visit);
    }
}

// A function stays a leaf only when no pass has put a call into it.
void find_calls() {
    for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink)
        for (LIST *cell = bb->statements; cell; cell = cell->rest)
            for_each_call(cell->first, [](NODE *) { currfuninfo->is_leaf = false; });
}

// Drops the entries that no call needs and numbers the rest from 1. Needed are the entries of
// calls, and with an entry its enclosing ones and those of its cleanup. A call that names no entry
// of the table names none afterwards.
void update_eht_labels() {
    const unsigned size = currfuninfo->eht_size;
    if (currfuninfo->is_leaf && size == 0) return;
    EHT_ENTRY *table = currfuninfo->eht;
    std::vector<bool> needed(size, false);
    std::vector<unsigned> work;
    const auto need = [&](std::uint32_t id) {
        if (id != 0 && id < size && !needed[id]) {
            needed[id] = true;
            work.push_back(id);
        }
    };
    const auto need_calls_of = [&](NODE *tree) {
        for_each_call(tree, [&](NODE *call) { need(call->u.call.eht_id); });
    };
    for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink)
        for (LIST *cell = bb->statements; cell; cell = cell->rest)
            need_calls_of(cell->first);
    while (!work.empty()) {
        const EHT_ENTRY &entry = table[work.back()];
        work.pop_back();
        need(entry.link);
        need_calls_of(entry.cleanup);
    }
    std::vector<unsigned> new_id(size, 0);
    unsigned count = 0;
    for (unsigned i = 1; i < size; ++i)
        if (needed[i]) new_id[i] = ++count;
    const auto renumber_calls_of = [&](NODE *tree) {
        for_each_call(tree, [&](NODE *call) {
            call->u.call.eht_id = call->u.call.eht_id < size ? new_id[call->u.call.eht_id] : 0;
        });
    };
    for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink)
        for (LIST *cell = bb->statements; cell; cell = cell->rest)
            renumber_calls_of(cell->first);
    for (unsigned i = 1; i < size; ++i) {
        if (!needed[i]) {
            table[i].cleanup = erase_tree(table[i].cleanup);
            continue;
        }
        renumber_calls_of(table[i].cleanup);
        table[i].id = new_id[i];
        table[i].link = new_id[table[i].link];
        if (new_id[i] != i) table[new_id[i]] = std::move(table[i]);
    }
    if (size != 0) currfuninfo->eht_size = count + 1;
}

// The exception table, to the debug log.
void dump_EHT() {
    for (unsigned i = 1; i < currfuninfo->eht_size; ++i) {
        const EHT_ENTRY &entry = currfuninfo->eht[i];
        dprintf("EHT #%u: kind %u, enclosed by #%u\n", entry.id, entry.kind, entry.link);
        if (entry.cleanup) dump_tree_debug(entry.cleanup);
        for (const I_CATCH_ENTRY &clause : entry.catches)
            dprintf("\tcatch \"%s\" at g%u\n", clause.type_name.c_str(), clause.label);
    }
}

void refresh_handler_labels() {
    for_each_handler([](I_CATCH_ENTRY &clause) {
        clause.label = static_cast<std::uint32_t>(clause.lbl->bb->label->index);
    });
}

// --- symbols

void write_local_symbol(SYMTAB *sym) {
    TYPE *const type = sym->type;
    const std::uint8_t sc = sym->sc;
    const std::uint32_t offset = sym->offset;
    if (sc == 9 && sym->sc2 == 27) sym->sc = 27;
    if (sc != 22 && sc != 4) sym->offset = 0;
    revert_symbol_type(sym);
    o_file->if_enter_local(sym);
    o_file->if_write_symbol(sym);
    sym->offset = offset;
    sym->type = type;
    sym->sc = sc;
}

enum local_list { L_parms, L_temps, L_statics, L_locals, L_count };

local_list list_of_local(const SYMTAB *sym, const std::vector<SYMTAB *> &level_1) {
    const auto same_name = [sym](const SYMTAB *parm) {
        return std::string_view(parm->name) == sym->name;
    };
    if (std::any_of(level_1.begin(), level_1.end(), same_name)) return L_parms;
    if (sym->attr & SA_temp) return L_temps;
    return sym->sc == 3 ? L_statics : L_locals;
}

void write_symbols() {
    std::vector<SYMTAB *> level_1, others;
    for (SYMTAB *sym = currfuninfo->symbols; sym; sym = sym->next) {
        if (sym->level > 1)
            others.push_back(sym);
        else if (!(sym->attr & SA_temp))
            level_1.push_back(sym);
    }
    const auto by_serial = [](const SYMTAB *a, const SYMTAB *b) { return a->serial < b->serial; };
    std::stable_sort(level_1.begin(), level_1.end(), by_serial);
    std::stable_sort(others.begin(), others.end(), by_serial);
    for (SYMTAB *sym : level_1)
        write_local_symbol(sym);
    wrstcr(5, currfuninfo->psn_args);
    std::vector<SYMTAB *> lists[L_count];
    for (SYMTAB *sym : others)
        lists[list_of_local(sym, level_1)].push_back(sym);
    for (const std::vector<SYMTAB *> &list : lists)
        for (SYMTAB *sym : list)
            write_local_symbol(sym);
    wrstcr(6, currfuninfo->psn_locals);
}

// --- trees

[[noreturn]] void cannot_write(const NODE *node) {
    std::fprintf(stderr, "\n\n   !!! Error in 'wrtree', opcode=%d %s !!!", node->op,
                 opname(node->op));
    abort_optimizer();
}

// The 32 bits of an ICON in a file are read back by the signedness of its type.
bool fits_ICON(const NODE *node) {
    const INT65 &value = node->u.lval;
    return value == (node->type->is_signed() ? INT65(value.s32()) : INT65(value.u32()));
}

bool is_struct_vector_conversion(const NODE *node) {
    return node->type->is_struct_vector() && node->left->type->is_struct_vector();
}

// A barrier intrinsic is called by an ordinary call inside the optimizer.
bool barrier_call_to_MCALL(NODE *node) {
    SYMTAB *callee = get_callee_for_call(node);
    if (!callee || !is_barrier_MCALL(skip_name_prefix(callee->name))) return false;
    NODE *args = node->op == OP::CALL ? node->right : nullptr;
    erase_tree(node->left);
    node->op = args ? OP::MCALL : OP::UMCALL;
    node->left = args;
    node->right = nullptr;
    node->mk_icall(skip_name_prefix(callee->name));
    return true;
}

void note_call(NODE *node) {
    if (barrier_call_to_MCALL(node)) return;
    if (FUNINFO *callee = find_FUNINFO_for_call(node)) {
        callee->flags |= FUN_is_called;
        unsuppress_inline_function(callee);
    }
}

// A node with a count becomes an EPVAL of that count over a copy of itself, which is returned.
NODE *wrap_profile_count(NODE *node) {
    if (!currfuninfo || !currfuninfo->is_profiled) return node;
    if (node->op != OP::QUEST && node->op != OP::COLON && node->op != OP::LABEL) return node;
    const std::uint32_t count = node->get_edge_profile_value();
    if (count == ~0u) return node;
    NODE *wrapped = copy_node(node, true);
    wrapped->set_edge_profile_value(~0u);
    node->op = OP::EPVAL;
    node->left = wrapped;
    node->right = nullptr;
    node->set_edge_profile_value(count);
    return wrapped;
}

// Rewrites the forms that a file cannot hold, in place.
void prepare_for_file(NODE *tree) {
    for (NODE *node = tree; node; node = node->right) {
        node = wrap_profile_count(node);
        switch (node->op) {
        case OP::ICON:
            if (node->type->is_ptr()) node->u.lval = node->u.lval & type_mask(node->type);
            if (node->type->size() > 32 && !fits_ICON(node)) node->op = OP::LCON;
            break;
        case OP::LABEL:
            if (node->u.label.lbl) node->u.label.index = node->u.label.lbl->index;
            break;
        case OP::NAME:
            if (node->u.name.sym && node->u.name.sym->level == 0) node->u.name.sym->flags |= 0x8000;
            break;
        case OP::UAND:
            if (node->left->op == OP::NAME && node->left->type->is_func())
                unsuppress_inline_function(
                    find_FUNINFO(skip_name_prefix(node->left->u.name.sym->name)));
            else if (node->left->op == OP::NAME && (node->left->u.name.sym->attr & SA_type_changed))
                node->left = map_global_NAME_to_STDOT(node->left);
            break;
        case OP::VSCONV:
            OPTASSERT(is_struct_vector_conversion(node));
            node->op = OP::SCONV;
            break;
        case OP::MCALL: {
            const BIF_DESCRIPTOR *bif = find_BIF_descriptor(node->icall_name());
            if (bif && (bif->flags & 8)) node->op = OP::ICALL;
            break;
        }
        case OP::VRCONV: node->op = OP::SCONV; break;
        case OP::CALL:
        case OP::UCALL: note_call(node); break;
        default:
            if (node->op >= op_first_internal) cannot_write(node);
        }
        prepare_for_file(node->left);
    }
}

void write_pragma_statement(const NODE *node) {
    if (node->u.ppragma.pragma->kind != PRG_LOOP_FLAGS)
        o_file->if_write_pragma(node->u.ppragma.pragma);
}

std::string label2infix(const NODE *label) {
    return "g" + std::to_string(static_cast<std::int32_t>(label->label_id())) + ":";
}

// The statement as a comment in front of it. A loop shows its test and its label.
void write_source_comment(const NODE *node) {
    if (tree_is_arg_prolog(node)) return;
    if (node->op == OP::PPRAGMA) {
        const int kind = node->u.ppragma.pragma->kind;
        if (kind >= PRG_SRC_LOOP && kind <= PRG_INLINE_ADVICE) return; // speaks for itself
    }
    if (node->op != OP::LOOP) {
        o_file->if_write_comment(stmt2infix(node));
        return;
    }
    if (node->left->op != OP::NAME) o_file->if_write_comment(stmt2infix(node->left));
    if (node->right->op == OP::LABEL) o_file->if_write_comment(label2infix(node->right).c_str());
}

// A call that says that control does not come here.
bool is_never_executed_call(const NODE *stmt) {
    if (stmt->op != OP::CALL && stmt->op != OP::UCALL) return false;
    const SYMTAB *callee = get_callee_for_call(stmt);
    return callee && std::string_view(skip_name_prefix(callee->name)) == "_never_executed";
}

bool ends_in_never_executed_call(const BBLK *bb) {
    const LIST *cell = bb->statements;
    while (cell && cell->rest && !op_ends_block(cell->rest->first->op))
        cell = cell->rest;
    return cell && is_never_executed_call(cell->first);
}
} // namespace

NODE *map_global_NAME_to_STDOT(NODE *name) {
    return name;
}

NODE *revert_CBRANCH_with_builtin_expect(NODE *branch) {
    return branch;
}

void revert_symbol_type(SYMTAB *sym) {
    TYPE *declared = sym->otype->normalized();
    if (declared->is_enum()) declared = normalized_underlying_type(declared);
    if (declared == sym->type || sym->otype == sym->type) {
        sym->type = sym->otype;
    } else if (compatible_types(declared, sym->type)) {
        const unsigned is = sym->otype->qual_kind(false), wanted = sym->type->qual_kind(false);
        TYPE *type = sym->otype;
        if (is & ~wanted) type = tp->remove_known_qual(type, is & ~wanted);
        if (wanted & ~is) type = tp->mk_qual(type, wanted & ~is);
        sym->type = type;
    }
    o_file->if_reference_type(sym->type);
    o_file->if_reference_type(TYPE_PKG::base_type(sym->type));
    o_file->if_reference_type(sym->type->stds());
}

void wrstcr(int tag, PSN *psn) {
    static constexpr const char *names[] = {"I_BF", "I_EF", "I_BB", "I_EB", "I_EA", "I_EL"};
    dprintf("%s\n", tag >= 1 && tag <= 6 ? names[tag - 1] : "<unknown key>");
    if (tag == 1)
        o_file->if_write_begin_func(currfunc, psn);
    else
        o_file->if_write_control(tag, psn);
}

void wrasmr(int kind, const char *text, PSN *psn) {
    if (kind == 47)
        o_file->if_write_comment(text);
    else
        o_file->if_write_assembly(text, psn);
}

void wrsfid(const char *name) {
    o_file->if_write_source(name);
}

void wrbdlr(LBL *labels) {
    if (labels && labels->refcount > 0)
        o_file->if_write_label(static_cast<unsigned>(labels->index));
}

void wrtree(NODE *tree) {
    prepare_for_file(tree);
    if (!currfuninfo || !currfuninfo->is_profiled) tree->set_edge_profile_value(~0u);
    o_file->if_write_expr_node(tree);
    if (print_debug) dump_tree_debug(tree);
}

void wrexpr(LIST *stmt) {
    NODE *node = stmt->first;
    if (source_interlist) write_source_comment(node);
    if (node->op == OP::ASM) {
        wrasmr(static_cast<int>(node->u.asm_.kind), node->u.asm_.text, stmt->psn);
    } else if (node->op == OP::PPRAGMA) {
        write_pragma_statement(node);
    } else {
        if (node->op == OP::CBRANCH) node = revert_CBRANCH_with_builtin_expect(node);
        stmt->first = node = insert_mandatory_casts(node);
        o_file->if_write_expr(nullptr, stmt->psn);
        wrtree(node);
    }
}

void wrbblocks() {
    initialize_CFG_profiling_annotation(1, 1);
    const BBLK *before = nullptr;
    for (BBLK *bb = currfuninfo->bb_list; bb; before = bb, bb = bb->dflink) {
        const bool is_reached =
            !before || falls_through(before) || (bb->label && bb->label->refcount > 0);
        if (!is_reached) continue; // the exit block of a function that returns elsewhere
        if (ends_in_never_executed_call(bb)) bb->never_executed = true;
        wrbdlr(bb->label);
        for (LIST *cell = bb->statements; cell; cell = cell->rest) {
            // A zero constant is the empty statement of a block.
            if (cell->first->op != OP::ICON) wrexpr(cell);
        }
    }
}

void write_func_header() {
    wrstcr(1, currfuninfo->psn);
}

void write_func_body() {
    write_symbols();
    find_calls();
    if (currfuninfo->is_leaf) o_file->if_write_func_info('L');
    if (register_assignments) list_register_assignments();
    finalize_ldspec_advice();
    update_eht_labels();
    for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink)
        lower_last_statement(bb);
    for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink)
        drop_branch_to_next(bb);
    number_written_labels();
    refresh_handler_labels();
    wrbblocks();
    if (currfuninfo->eht_size > 1) {
        for (unsigned i = 1; i < currfuninfo->eht_size; ++i)
            if (currfuninfo->eht[i].cleanup) prepare_for_file(currfuninfo->eht[i].cleanup);
        if (print_debug) dump_EHT();
        o_file->if_write_func_eht(currfuninfo->eht + 1, currfuninfo->eht_size - 1);
    }
    wrstcr(2, currfuninfo->psn_end);
    if (print_debug) o_file->if_flush();
    currfuninfo->flags |= FUN_is_processed;
    unsuppress_inline_function(currfuninfo);
}
