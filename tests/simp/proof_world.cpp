#include "tests/simp/proof_world.h"

#include "OPT5/builtins/bif.h"
#include "OPT5/driver/global_flags.h"
#include "OPT5/driver/log.h"
#include "OPT5/icode/if.h"
#include "OPT5/rep/program.h"

#include <cstdlib>

WORLD::WORLD() {
    erase_all_symbols();
    erase_all_nodes();
    reset_global_flags();
    tp = new TYPE_PKG;
    tp->init_type_pkg();
    function_prepass = 1;
    cache_sys_funinfo = 2;
    no_outside_callers = no_outside_writers = 1;
    i_file = o_file = nullptr;
    init_BIF_descriptors();
    make_types();
    make_struct();
    TYPE *type = tp->type_frozen(tp->mk_func(int_t, false, true, 0, false));
    currfunc = new_symbol("_f", 0, 0, 2, 0, type, type, 16, nullptr, -1);
    sym_def(currfunc);
    currfuninfo = make_FUNINFO("f");
    currfuninfo->symbol = currfunc;
    currfuninfo->return_type = int_t;
    currfuninfo->bb_list = &block_;
    make_variables();
    make_functions();
    fdebug = open_memstream(&log_text_, &log_size_);
    first_free_serial_ = static_cast<std::uint32_t>(addresses_.size());
}

WORLD::~WORLD() {
    currfuninfo->bb_list = nullptr;
    std::fclose(fdebug);
    fdebug = nullptr;
    std::free(log_text_);
    erase_all_nodes();
    erase_all_symbols();
    delete tp;
    tp = nullptr;
}

void WORLD::make_types() {
    const auto basic = [](TYPE::IKIND kind) { return tp->basic_int(kind); };
    bool_t = basic(TYPE::BOOL);
    schar_t = basic(TYPE::SCHAR);
    uchar_t = basic(TYPE::UCHAR);
    short_t = basic(TYPE::SHORT);
    ushort_t = basic(TYPE::USHORT);
    wchar = basic(TYPE::WCHAR_T);
    int_t = basic(TYPE::INT);
    uint_t = basic(TYPE::UINT);
    long_t = basic(TYPE::LONG);
    ulong_t = basic(TYPE::ULONG);
    llong_t = basic(TYPE::LLONG);
    ullong_t = basic(TYPE::ULLONG);
    float_t = tp->basic_float(TYPE::FLOAT);
    double_t = tp->basic_float(TYPE::DOUBLE);
    void_t = tp->void_type();
    enum_t = tp->mk_enum("colour", 32, 32, int_t, false, nullptr);
    for (int i = 0; i < 3; ++i)
        tp->append_etor(enum_t, std::string(1, "rgb"[i]), INT65(i - 1), nullptr);
    enum_t = tp->type_frozen(enum_t);
    int_p = tp->mk_ptr(int_t);
    short_p = tp->mk_ptr(short_t);
    float_p = tp->mk_ptr(float_t);
    array_t = tp->mk_array(int_t, 8);
    short_array_t = tp->mk_array(short_t, 8);
    wide_integers = {int_t, uint_t, long_t, ulong_t, llong_t, ullong_t, enum_t};
    narrow_integers = {schar_t, uchar_t, short_t, ushort_t, wchar};
    integers = wide_integers;
    integers.insert(integers.end(), narrow_integers.begin(), narrow_integers.end());
    floats = {float_t, double_t};
}

void WORLD::make_struct() {
    struct_t = tp->mk_struct("s", 224, 32, true);
    const struct {
        const char *name;
        TYPE *type;
        int offset;
        unsigned width;
    } rows[] = {{"i", int_t, 0, 0},         {"s", short_t, 32, 0},  {"us", ushort_t, 48, 0},
                {"u", uint_t, 64, 0},       {"b5", int_t, 96, 5},   {"b7", uint_t, 101, 7},
                {"b12", int_t, 108, 12},    {"b8", uint_t, 120, 8}, {"s3", short_t, 128, 3},
                {"s13", ushort_t, 131, 13}, {"f", float_t, 160, 0}, {"p", int_p, 192, 0},
                {"c", schar_t, 208, 0}};
    std::uint32_t index = 0;
    for (const auto &row : rows) {
        fkMDATA member;
        member.index = ++index;
        member.name = row.name;
        member.type = row.type;
        member.offset = row.offset;
        member.width = row.width;
        member.is_bitfield = row.width != 0;
        members.push_back(tp->append_mdata(struct_t, member));
    }
    struct_t = tp->type_frozen(struct_t);
    struct_p = tp->mk_ptr(struct_t);
    pointers = {int_p, short_p, struct_p, float_p};
}

SYMTAB *WORLD::make_symbol(const char *name, TYPE *type, bool reachable, bool is_global) {
    SYMTAB *sym = new_symbol(name, type->is_func() ? 0 : type->size(), 0, is_global ? 2 : 1, 0,
                             type->normalized(), type, type->align(), nullptr, -1);
    sym->level = is_global ? 0 : 2;
    if (!reachable) sym->attr &= static_cast<std::uint8_t>(~SA_aliased);
    const std::uint32_t units = type->is_func() ? 1 : (type->size() / 16 + 1) & ~1u;
    std::uint32_t &next = type->is_func() ? next_function_
                          : reachable     ? next_address_
                                          : next_private_;
    if (addresses_.size() <= sym->serial) addresses_.resize(sym->serial + 1);
    addresses_[sym->serial] = next;
    next += units;
    return sym;
}

void WORLD::make_variables() {
    const struct {
        char letter;
        TYPE *type;
        int count;
    } rows[] = {{'b', bool_t, 2},   {'c', schar_t, 2},  {'d', uchar_t, 2}, {'s', short_t, 3},
                {'t', ushort_t, 3}, {'w', wchar, 1},    {'i', int_t, 4},   {'u', uint_t, 4},
                {'l', long_t, 2},   {'m', ulong_t, 2},  {'k', llong_t, 1}, {'n', ullong_t, 1},
                {'f', float_t, 3},  {'g', double_t, 2}, {'e', enum_t, 2},  {'p', int_p, 3},
                {'q', short_p, 2},  {'r', struct_p, 2}, {'h', float_p, 1}};
    const auto make = [this](const std::string &text, TYPE *type, bool reachable, bool is_global) {
        SYMTAB *sym = make_symbol(text.c_str(), type, reachable, is_global);
        slots.push_back({addresses_[sym->serial], sym->type, 0, 0, reachable});
        variables.push_back(sym);
    };
    for (const auto &row : rows)
        for (int i = 1; i <= row.count; ++i)
            make(row.letter + std::to_string(i), row.type, i == 2 && row.type != bool_t, false);
    for (TYPE *type : {int_t, uint_t, short_t, ushort_t})
        make("v" + std::to_string(variables.size()), tp->mk_qual(type, TQ_volatile), false, false);
    for (TYPE *type : {int_t, short_t, float_t})
        make("_x" + std::to_string(variables.size()), type, true, true);

    structs[0] = make_symbol("st1", struct_t, true);
    structs[1] = make_symbol("st2", struct_t, true);
    for (const SYMTAB *sym : structs)
        for (const fkMDATA *member : members) {
            const auto offset = static_cast<unsigned>(member->offset);
            const unsigned unit = member->type->size(), first = member->width ? offset % unit : 0;
            slots.push_back({address_of(sym) + (offset - first) / 16, member->type, first,
                             member->width, true});
        }
    array = make_symbol("a", array_t, true);
    short_array = make_symbol("as", short_array_t, true);
    for (unsigned i = 0; i < 8; ++i) {
        slots.push_back({address_of(array) + 2 * i, int_t, 0, 0, true});
        slots.push_back({address_of(short_array) + i, short_t, 0, 0, true});
    }
}

void WORLD::make_functions() {
    const std::vector<TYPE *> results = {int_t,   uint_t, short_t, ushort_t, bool_t,
                                         float_t, int_p,  short_p, struct_p, enum_t};
    for (TYPE *result : results)
        for (const std::vector<TYPE *> &parameters :
             {std::vector<TYPE *>{}, std::vector<TYPE *>{int_t},
              std::vector<TYPE *>{short_t, float_t, int_p}}) {
            TYPE *type = tp->mk_func(result, false, true, 0, false);
            for (TYPE *parameter : parameters)
                tp->append_param(type, parameter, 0, "");
            type = tp->type_frozen(type);
            const std::string text = "_g" + std::to_string(functions.size());
            functions.push_back({make_symbol(text.c_str(), type, true, true), result, parameters});
        }
}

std::uint32_t WORLD::address_of(const SYMTAB *sym) {
    if (addresses_.size() <= sym->serial) addresses_.resize(sym->serial + 1);
    std::uint32_t &address = addresses_[sym->serial];
    if (address == 0) {
        address = next_temporary_;
        if (next_temporary_ + 64 < end_of_places) next_temporary_ += (sym->size / 16 + 1) & ~1u;
    }
    return address;
}

void WORLD::forget_trees() {
    erase_all_nodes();
    addresses_.resize(std::min<std::size_t>(addresses_.size(), first_free_serial_));
    next_temporary_ = first_temporary;
}

NODE *WORLD::icon(const INT65 &value, TYPE *type) {
    NODE *constant = node({OP::ICON, type});
    constant->u.lval = truncate_to_type(value, type);
    return constant;
}

NODE *WORLD::fcon(std::string_view text, TYPE *type) {
    NODE *constant = node({OP::FCON, type});
    constant->mk_fcon(text);
    return constant;
}

NODE *WORLD::field(fkMDATA *member, TYPE *csu) {
    NODE *select = node({OP::FIELD, member->type});
    select->u.field = {csu, member};
    return select;
}

// A tree of control ends the block; anything else is the left operand of a COMMAOP, where it may be
// any value.
std::string WORLD::complaints(NODE *tree) {
    NODE *leave = node({OP::URETURN, void_t, name(currfunc)}), *stmt = tree;
    const bool ends_block = op_ends_block(tree->op);
    if (!ends_block) stmt = node({OP::COMMAOP, int_t, tree, icon(0, int_t)});
    LIST last{leave, nullptr, nullptr}, cell{stmt, ends_block ? nullptr : &last, nullptr};
    block_.statements = &cell;
    std::string text;
    if (validate_stmts() != 0 || dupchk(tree)) {
        print_debug = 1;
        const std::size_t before = (std::fflush(fdebug), log_size_);
        validate_stmts();
        dupchk(tree);
        std::fflush(fdebug);
        text.assign(log_text_ + before, log_size_ - before);
        print_debug = 0;
    }
    block_.statements = nullptr;
    return text;
}
