#include "recording_client.h"

#include "OPT5/icode/opt_client.h"
#include "OPT5/icode/records/if_exit.h"
#include "OPT5/icode/records/if_schema.h"
#include "OPT5/rep/bbutils.h"

#include <algorithm>
#include <cstdarg>
#include <deque>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

// Under AddressSanitizer: children end in the midst of their work, and what a client was given
// stays until the end.
extern "C" const char *__asan_default_options() {
    return "detect_leaks=0";
}

RECORDING recording;
IF_CLIENT recording_client;

// The optimizer's client is not linked into this program; its globals stand here.
IF_CLIENT opt_client;
std::vector<OPTION_RECORD> icode_optionlist;
std::string curr_file;
int unique_call_index, output_index, arg_offset;

namespace {
std::deque<SYMTAB> symbols;
std::deque<std::string> names;
std::vector<SYMTAB *> initialised; // in the order of their lists

[[gnu::format(printf, 1, 2)]] std::string format(const char *text, ...) {
    char buffer[2000];
    va_list args;
    va_start(args, text);
    std::vsnprintf(buffer, sizeof buffer, text, args);
    va_end(args);
    return buffer;
}

void note(const std::string &line) {
    (recording.log += line) += '\n';
}

const char *sym_text(const SYMTAB *sym) {
    return sym ? sym->name : "-";
}

template <class ELEM, class Text>
std::string list_text(const char *title, const ELEM *list, Text text) {
    std::string all;
    for (; list; list = list->next)
        (all += all.empty() ? "" : ", ") += text(*list);
    return all.empty() ? "" : std::string(" ") + title + "{" + all + "}";
}

std::string params_text(const PARAM_ELEM *params) {
    return list_text("params", params, [](const PARAM_ELEM &p) {
        return type_text(p.type) + format(" mode%u %s", p.mode, p.name);
    });
}

std::string csu_text(TYPE *type) {
    const CSU &c = *type->sub.csu;
    std::string has;
    for (bool will : c.will_have)
        has += will ? '1' : '0';
    return type_text(type) +
           format(" complete%d lowered%d %u/%u extra%x has%s flag%d cpp%d old%d ", c.is_complete,
                  type->lowered, type->size(), type->align(), c.extra_word, has.c_str(), c.flag,
                  type->cpp, c.pre_80_union) +
           psn_text(type->psn) +
           list_text("bases", c.bclasses,
                     [](const BCLASS_ELEM &e) {
                         return type_text(e.type) +
                                format(" @%d access%u virtual%d", e.offset, e.access, e.is_virtual);
                     }) +
           list_text("access", c.adecls,
                     [](const ADECL_ELEM &e) { return format("%u", e.access); }) +
           list_text("ffriends", c.ffriends,
                     [](const FFRIEND_ELEM &e) { return e.name + (" " + type_text(e.type)); }) +
           list_text("cfriends", c.cfriends,
                     [](const CFRIEND_ELEM &e) { return type_text(e.type); }) +
           list_text("nested", c.ntypes, [](const NTYPE_ELEM &e) { return type_text(e.type); }) +
           list_text("members", c.mdata,
                     [](const fkMDATA &m) {
                         return format("%u %s ", m.index, m.name) + type_text(m.type) +
                                format(" flags%x @%d fti%x width%u %d%d%d ", m.flags, m.offset,
                                       m.field_type_id, m.width, m.is_bitfield, m.flag1, m.flag2) +
                                psn_text(m.psn);
                     }) +
           list_text("statics", c.sdata,
                     [](const SDATA_ELEM &e) {
                         return e.name + (" " + type_text(e.type)) + format(" access%u", e.access);
                     }) +
           list_text("mfuncs", c.mfuncs,
                     [](const MFUNC_ELEM &e) {
                         return e.name + (" " + type_text(e.type)) +
                                format(" access%u vt%d %d%d%d%d", e.access, e.vtable_index,
                                       e.flags[0], e.flags[1], e.flags[2], e.flags[3]);
                     }) +
           params_text(c.params);
}

std::string payload_text(const NODE *node) {
    std::int32_t level = 0, index = 0;
    switch (node->op) {
    case OP::LABEL: return format(" L%u", node->label_id());
    case OP::NAME:
        node->name_symbol(level, index);
        return node->u.name.sym ? format(" %s", node->u.name.sym->name) : " none";
    case OP::SCON: {
        std::string text = format(" %u:", node->scon_length());
        for (char c : node->scon_value())
            text += format("%02x", static_cast<unsigned char>(c));
        return text;
    }
    case OP::ICON:
        return node->type && node->type->is_signed() ? format(" %d", node->icon_svalue())
                                                     : format(" %uu", node->icon_uvalue());
    case OP::FCON: return format(" %s", node->fcon_value());
    case OP::FIELD:
        return node->u.field.mdata ? format(" %d #%u ", node->field_kind(), node->field_mval()) +
                                         type_text(node->field_csu())
                                   : " none " + type_text(node->field_csu());
    case OP::SWITCH: return format(" cases%u", node->case_count());
    case OP::CALL: return format(" extra%u eht%u", node->call_num_vargs(), node->eh_entry_id());
    case OP::UCALL: return format(" eht%u", node->eh_entry_id());
    case OP::EPVAL: return format(" #%u", node->get_edge_profile_value());
    case OP::SKIP: return format(" %u", node->skip_count());
    case OP::ICALL:
    case OP::UICALL:
    case OP::MCALL:
    case OP::UMCALL: return format(" %s", node->icall_name());
    default: return "";
    }
}
} // namespace

std::string psn_text(const PSN *psn) {
    return psn ? format("%s:%u:%u", psn->file ? psn->file : "?", psn->line, psn->column)
               : "nowhere";
}

std::string type_text(TYPE *type) {
    if (!type) return "-";
    const TYPE::SUB &sub = type->sub;
    const std::string measures = format("/%u/%u", type->size(), type->align());
    switch (type->kind()) {
    case TYPE::VOID_: return "void";
    case TYPE::INTEGER:
        return format("i%d%s%s%s", sub.integer.ikind, sub.integer.explicit_sign ? "e" : "",
                      sub.integer.is_boolean ? "b" : "", sub.integer.plain ? "p" : "") +
               measures;
    case TYPE::FLOATING: return format("f%d", sub.floating.fkind) + measures;
    case TYPE::FIXEDPT:
        return format("fixed%d,%u ", sub.fixed.binary_point, sub.fixed.signed_flag) +
               type_text(sub.fixed.underlying) + measures;
    case TYPE::COMPLEX: return "complex " + type_text(sub.complex.part) + measures;
    case TYPE::POINTER: return "*" + type_text(sub.pointer.pointee) + measures;
    case TYPE::REFERENCE: return "&" + type_text(sub.pointer.pointee) + measures;
    case TYPE::QUALIFIED:
        return format("q%u ", sub.qualified.bits) + type_text(sub.qualified.base) + measures;
    case TYPE::TYPEDEF:
        return format("%s cpp%d lowered%d=", sub.typedef_.name, type->cpp, type->lowered) +
               type_text(sub.typedef_.base) + measures + psn_text(type->psn);
    case TYPE::ARRAY:
        return format("%s%u%s%s ", sub.array.is_vector ? "vector" : "array", sub.array.count,
                      type->cpp ? "+" : "", sub.array.is_complete ? "" : "?") +
               type_text(sub.array.elem) + measures;
    case TYPE::PTM: return type_text(sub.ptm.csu) + "::*" + type_text(sub.ptm.member) + measures;
    case TYPE::FUNCTION:
        return format("fn %d%d cc%u%s ", sub.func.flag1, sub.func.flag2, sub.func.cc_kind,
                      type->cpp ? "+" : "") +
               type_text(sub.func.result) + params_text(sub.func.params);
    case TYPE::ENUM: return format("enum %s", sub.enum_.name);
    case TYPE::CLASS: return format("class %s", sub.csu->name);
    case TYPE::STRUCT: return format("struct %s", sub.csu->name);
    case TYPE::UNION: return format("union %s", sub.csu->name);
    }
    return "?";
}

std::string all_type_details() {
    std::vector<std::string> lines;
    for (TYPE *type : tp->all_types()) {
        if (type->kind() >= TYPE::CLASS)
            lines.push_back(csu_text(type));
        else if (type->kind() == TYPE::ENUM)
            lines.push_back(type_text(type) +
                            format(" %u/%u cpp%d ", type->size(), type->align(), type->cpp) +
                            type_text(type->sub.enum_.underlying) + " " + psn_text(type->psn) +
                            list_text("etors", type->sub.enum_.etors, [](const ETOR_ELEM &e) {
                                return format("%s=%d ", e.name, e.value.s32()) + psn_text(e.psn);
                            }));
        else if (type->kind() == TYPE::TYPEDEF)
            lines.push_back(type_text(type));
    }
    std::sort(lines.begin(), lines.end());
    std::string all;
    for (const std::string &line : lines)
        (all += line) += '\n';
    return all;
}

std::string tree_text(const NODE *tree) {
    std::string text = "(" + if_opcode_name(tree->op);
    text += ":" + type_text(tree->type) + payload_text(tree);
    for (const NODE *operand : {tree->left, tree->right})
        if (operand) text += " " + tree_text(operand);
    return text + ")";
}

// --- the client

bool IF_CLIENT::cl_magic(int version, int cpu_id) {
    note(format("magic %d %d", version, cpu_id));
    return recording.accept;
}

void IF_CLIENT::cl_source(const char *name) {
    note(format("source %s", name));
}

void IF_CLIENT::cl_option_set(unsigned id, unsigned count, const std::vector<std::string> &args) {
    std::string line = format("options %u %u", id, count);
    for (const std::string &arg : args)
        line += " " + arg;
    note(line);
    if (recording.out) recording.out->if_enter_option_set(id, args);
}

SYMTAB *IF_CLIENT::cl_symbol_create(const char *name, TYPE *type, TYPE *stype, unsigned long size,
                                    unsigned long align, unsigned long offset, int sc, int flags,
                                    PSN *psn, unsigned long fpos, unsigned option_set) {
    note(format("symbol %s size%lu align%lu offset%lu sc%d flags%x set%u ", name, size, align,
                offset, sc, static_cast<unsigned>(flags), option_set) +
         type_text(type) + " " + type_text(stype) + " " + psn_text(psn));
    SYMTAB &sym = symbols.emplace_back();
    sym.name = names.emplace_back(name).c_str();
    sym.size = static_cast<std::uint32_t>(size);
    sym.offset = static_cast<std::uint32_t>(offset);
    sym.sc = static_cast<std::uint8_t>(sc);
    sym.flags = static_cast<std::uint16_t>(flags);
    sym.type = sym.otype = type;
    sym.stype = stype;
    sym.align = static_cast<std::uint32_t>(align);
    sym.psn = psn;
    sym.fpos = static_cast<std::uint32_t>(fpos);
    sym.option_set = option_set;
    return &sym;
}

void IF_CLIENT::cl_pragma(SYMTAB *sym, PRAGMA *pragma) {
    std::string line = format("pragma %s %u", sym_text(sym), pragma->kind);
    for (int i = 0; i < pragma->count; ++i)
        line += format(" [%s]", pragma->args[i]);
    note(line);
    if (sym) {
        pragma->next = sym->pragmas;
        sym->pragmas = pragma;
    } else if (recording.out) {
        recording.out->if_write_pragma(pragma);
    }
}

void IF_CLIENT::cl_symbol_def(SYMTAB *sym) {
    note(format("defined %s level%u index%d", sym->name, sym->level, sym->index));
    if (!recording.out) return;
    if (sym->level == 0) {
        recording.out->if_enter_global(sym);
    } else {
        recording.out->if_enter_local(sym);
        recording.out->if_write_symbol(sym);
    }
}

void IF_CLIENT::cl_symbol_init(SYMTAB *sym, EXPR_LIST *list) {
    std::string line = format("init %s", sym->name);
    for (const NODE *tree : list->trees)
        line += " " + tree_text(tree);
    note(line);
    delete sym->init;
    sym->init = list;
    initialised.push_back(sym);
}

void IF_CLIENT::cl_expr(NODE *tree, PSN *psn) {
    note("expr " + psn_text(psn) + " " + tree_text(tree));
    if (recording.out) recording.out->if_write_expr(tree, psn);
}

void IF_CLIENT::cl_begin_func(SYMTAB *sym, PSN *psn) {
    note(format("begin_func %s ", sym->name) + psn_text(psn));
    if (recording.out) recording.out->if_write_begin_func(sym, psn);
}

// The records that hold nothing but a position.
#define CONTROL(tag, name)                                                                         \
    void IF_CLIENT::cl_##name(PSN *psn) {                                                          \
        note(#name " " + psn_text(psn));                                                           \
        if (recording.out) recording.out->if_write_##name(psn);                                    \
    }
CONTROL(2, end_func)
CONTROL(3, begin_block)
CONTROL(4, end_block)
CONTROL(5, end_args)
CONTROL(6, end_locals)
#undef CONTROL

void IF_CLIENT::cl_label(unsigned number) {
    note(format("label %u", number));
    if (recording.out) recording.out->if_write_label(number);
}

void IF_CLIENT::cl_inline_asm(const char *text, PSN *psn) {
    note(format("asm [%s] ", text) + psn_text(psn));
    if (recording.out) recording.out->if_write_assembly(text, psn);
}

void IF_CLIENT::cl_comment(const char *text) {
    note(format("comment [%s]", text));
    if (recording.out) recording.out->if_write_comment(text);
}

bool IF_CLIENT::cl_func_eht(EHT_ENTRY *entries, unsigned n) {
    note(format("eht %u", n));
    for (unsigned i = 0; i < n; ++i) {
        const EHT_ENTRY &e = entries[i];
        std::string line = format("  entry %u kind%u link%u", e.id, e.kind, e.link);
        if (e.cleanup) line += " " + tree_text(e.cleanup);
        for (const I_CATCH_ENTRY &c : e.catches)
            line += format(" catch %s L%u %d", c.type_name.c_str(), c.label, c.flag);
        note(line);
    }
    if (recording.out) recording.out->if_write_func_eht(entries, n);
    if (recording.keep_eht) delete[] entries;
    return !recording.keep_eht;
}

void IF_CLIENT::cl_merge_type_defs() {
    note("merge_type_defs");
}

void IF_CLIENT::cl_preprocess_statics() {
    note("preprocess_statics");
}

void IF_CLIENT::cl_func_info(int kind) {
    note(format("func_info %d", kind));
    if (recording.out) recording.out->if_write_func_info(kind);
}

void IF_CLIENT::cl_loop_def(unsigned a, unsigned b, unsigned long c, unsigned long d,
                            unsigned long e, unsigned f) {
    note(format("loop_def %u %u %lu %lu %lu %u", a, b, c, d, e, f));
    if (recording.out)
        recording.out->if_write_loop(a, b, static_cast<unsigned>(c), static_cast<unsigned>(d),
                                     static_cast<unsigned>(e), f);
}

void IF_CLIENT::cl_loop_header(unsigned id, SYMTAB *sym, int last) {
    note(format("loop_header %u %s %d", id, sym_text(sym), last));
    if (recording.out) recording.out->if_write_inloop(id, sym, last);
}

void IF_CLIENT::cl_dd_vector(int id, int second, int n, DD_ENTRY *entries) {
    std::string line = format("dd_vector %d %d", id, second);
    for (int i = 0; i < n; ++i)
        line += format(" %u:%d", entries[i].kind, entries[i].distance);
    note(line);
    if (recording.out) recording.out->if_write_dep_vector(id, second, n, entries);
}

void IF_CLIENT::cl_dd_edge(int a, int b, int c) {
    note(format("dd_edge %d %d %d", a, b, c));
    if (recording.out) recording.out->if_write_dep_edge(a, b, c);
}

void IF_CLIENT::cl_mbank(int a, int b, int c, int d, int e) {
    note(format("mbank %d %d %d %d %d", a, b, c, d, e));
    if (recording.out) recording.out->if_write_mbank(a, b, c, d, e);
}

void IF_CLIENT::cl_ldspec_induct(unsigned id, unsigned a, int b, TYPE *type, SYMTAB *sym) {
    note(format("ldspec_induct #%u %u %d ", id, a, b) + type_text(type) + " " + sym_text(sym));
    if (recording.out) recording.out->if_write_ldspec_induct(id, a, b, type, sym);
}

void IF_CLIENT::cl_ldspec_rand(unsigned id, unsigned a, unsigned b, TYPE *type, SYMTAB *sym) {
    note(format("ldspec_rand #%u %u %u ", id, a, b) + type_text(type) + " " + sym_text(sym));
    if (recording.out) recording.out->if_write_ldspec_rand(id, a, b, type, sym);
}

void IF_CLIENT::cl_ldspec_region(unsigned id, unsigned a) {
    note(format("ldspec_region #%u %u", id, a));
    if (recording.out) recording.out->if_write_ldspec_region(id, a);
}

void IF_CLIENT::cl_ir_begin_func(SYMTAB *sym, unsigned long a, int b, int c, PSN *psn) {
    note(format("ir_begin %s %ld %d %d ", sym->name, static_cast<long>(a), b, c) + psn_text(psn));
}

void IF_CLIENT::cl_ir_end_func(PSN *psn) {
    note("ir_end " + psn_text(psn));
}

void IF_CLIENT::cl_ir_ins(INSTR *, PSN *psn) {
    note("ir_ins " + psn_text(psn));
}

// --- records and files

REC::operator std::string() const {
    std::string bytes;
    if_record(record_).flush(tag_, bytes);
    return bytes;
}

std::string operator+(const REC &a, const REC &b) {
    return std::string(a) + std::string(b);
}

std::string operator+(const std::string &a, const REC &b) {
    return a + std::string(b);
}

std::string operator+(const REC &a, const std::string &b) {
    return std::string(a) + b;
}

std::string FILE_BYTES::str() const {
    const auto header = [this](const std::uint32_t(&offsets)[5]) -> std::string {
        REC r(8);
        r.str(if_magic).h(version).h(cpu_id);
        for (std::uint32_t offset : offsets)
            r.h(static_cast<int>(offset & 0xffff)).h(static_cast<int>(offset >> 16));
        r.str(name);
        if (version >= -83) r.h(0).h(0);
        return r;
    };
    // Options, initialisers, types, names and globals, as the header names them.
    const std::string *sections[5] = {&options, &init, &types, &names, &globals};
    constexpr int file_order[5] = {1, 0, 2, 3, 4};
    std::uint32_t offsets[5] = {};
    std::string rest = body + '\xff';
    const std::size_t start = header(offsets).size();
    for (int i : file_order) {
        if (sections[i]->empty()) continue;
        offsets[i] = static_cast<std::uint32_t>(start + rest.size());
        rest += *sections[i] + '\xff';
    }
    return header(offsets) + rest;
}

std::string symbol(std::string_view name, std::uint32_t type, int sc, int pragmas,
                   std::uint32_t size) {
    return REC(35)
        .str(name)
        .u(size)
        .u(0)
        .b(sc)
        .h(0)
        .u(type)
        .u(0)
        .u(size)
        .b(pragmas)
        .u(0)
        .u(0)
        .no_psn();
}

// --- reading

I_FILE *open_bytes(const std::string &bytes, bool mapped) {
    recording.reset();
    initialised.clear();
    static FUNINFO funinfo; // nodes note in it what they say of their function
    currfuninfo = &funinfo;
    tp = new TYPE_PKG; // of the symbols and trees that the tests look at later
    tp->init_type_pkg();
    FILE *stream = mapped ? std::tmpfile() : fmemopen(nullptr, bytes.size() + 1, "w+");
    std::fwrite(bytes.data(), 1, bytes.size(), stream);
    std::fflush(stream);
    std::rewind(stream);
    I_FILE *file = I_FILE::if_open(stream, &recording_client);
    if (file)
        file->if_type_init(tp);
    else
        std::fclose(stream);
    return file;
}

std::string read_log(const std::string &bytes) {
    I_FILE *file = open_bytes(bytes);
    if (!file) return "refused";
    file->if_read_file();
    file->if_close(true, false);
    return recording.log;
}

std::string slurp(FILE *stream) {
    std::string bytes;
    std::rewind(stream);
    for (int c; (c = std::getc(stream)) != EOF;)
        bytes.push_back(static_cast<char>(c));
    std::fclose(stream);
    return bytes;
}

std::string rewritten(const std::string &bytes, bool all_types) {
    I_FILE *file = open_bytes(bytes);
    if (!file) return "refused";
    FILE *stream = std::tmpfile();
    FILE *copy = fdopen(dup(fileno(stream)), "rb"); // if_close closes the other one
    recording.out = I_FILE::if_create(stream, tp, file->name.c_str());
    // The option sets were read before the output was made.
    file->if_read_options();
    file->if_read_file();
    for (SYMTAB *sym : initialised) {
        recording.out->if_write_init(sym);
        for (NODE *tree : sym->init->trees)
            recording.out->if_write_expr_node(tree);
    }
    if (all_types)
        for (TYPE *type : tp->all_types())
            recording.out->if_reference_type(type);
    recording.out->if_close(true, false);
    recording.out = nullptr;
    file->if_close(true, false);
    return slurp(copy);
}

// --- child processes

OUTCOME in_child(const std::function<void()> &work) {
    FILE *output = std::tmpfile();
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        const rlimit seconds = {20, 20};
        setrlimit(RLIMIT_CPU, &seconds);
        dup2(fileno(output), 1);
        dup2(fileno(output), 2);
        work();
        std::fflush(nullptr);
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    const int code = WIFSIGNALED(status) ? 256 + WTERMSIG(status) : WEXITSTATUS(status);
    return {code, slurp(output)};
}

OUTCOME read_in_child(const std::string &bytes) {
    return in_child([&bytes] { read_log(bytes); });
}
