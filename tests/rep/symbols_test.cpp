// Names, records of functions, temporaries, linkage, interning.
#include "OPT5/rep/pragmas.h"
#include "tests/rep/symbol_fixture.h"

#include <gmock/gmock.h>

#include <array>
#include <set>

using ::testing::ElementsAre;

namespace {
std::vector<std::string> record_names() {
    static std::vector<std::string> names;
    names.clear();
    map_over_FUNINFOs([](FUNINFO *funinfo) { names.push_back(funinfo->name); });
    return names;
}

std::vector<SYMTAB *> symbols_of(const SYMLIST *list) {
    std::vector<SYMTAB *> symbols;
    for (; list; list = list->next)
        symbols.push_back(list->sym);
    return symbols;
}
} // namespace

class Symbols : public SymbolTest {};
using FunctionRecords = Symbols;
using Temporaries = Symbols;
using Interning = Symbols;

TEST_F(Symbols, PrefixesAndInternalNames) {
    const struct {
        const char *name, *rest;
        bool has_prefix, internal, temp_ab;
    } cases[] = {
        {"_f", "f", true, false, false},         {".f", "f", true, false, false},
        {"f", "f", false, false, false},         {"__f", "_f", true, false, false},
        {"", "", false, false, false},           {"_", "", true, false, false},
        {"$O$b12", "$O$b12", false, true, true}, {"$O$a", "$O$a", false, true, true},
        {"$O$c1", "$O$c1", false, true, false},  {"$O", "$O", false, true, false},
        {"$O$", "$O$", false, true, false},      {"$", "$", false, false, false},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(name_has_prefix(c.name), c.has_prefix) << c.name;
        EXPECT_STREQ(skip_name_prefix(c.name), c.rest);
        EXPECT_EQ(is_internal_name(c.name), c.internal) << c.name;
        EXPECT_EQ(is_optimizer_temp(c.name, 'a', 'b'), c.temp_ab) << c.name;
    }
}

TEST_F(FunctionRecords, HashFoldsTheTopBits) {
    EXPECT_EQ(FUNINFO_hash(""), 0u);
    EXPECT_EQ(FUNINFO_hash("main"), 0x737feu);
    EXPECT_EQ(FUNINFO_hash("printf"), 0x077905a6u);
    EXPECT_EQ(FUNINFO_hash("exit"), 0x0006cf04u);
    EXPECT_EQ(FUNINFO_hash("syscall"), 0x0b09982bu);
    EXPECT_EQ(FUNINFO_hash("\xff\xff\xff\xff\xff\xff\xff\xff") & 0xf0000000u, 0u);
}

TEST_F(FunctionRecords, FindCreatesOnlySystemRecords) {
    const auto before = record_names();
    EXPECT_EQ(find_FUNINFO("nobody_knows"), nullptr);
    EXPECT_EQ(find_FUNINFO(""), nullptr);
    EXPECT_EQ(find_FUNINFO("printf"), nullptr) << "known, but no support routine";
    EXPECT_EQ(record_names(), before);
    FUNINFO *memcpy_record = find_FUNINFO("memcpy");
    ASSERT_TRUE(memcpy_record);
    EXPECT_TRUE(memcpy_record->flags & FUN_is_SYSTEM);
    EXPECT_EQ(make_FUNINFO("memcpy"), memcpy_record);
    EXPECT_EQ(find_FUNINFO("memcpy"), memcpy_record);
}

// More names than buckets, many with equal beginnings, some that are beginnings of others.
TEST_F(FunctionRecords, EveryNameKeepsItsRecord) {
    std::vector<std::string> names = {"", "a", "ab", "abc", "b", "\xe4"};
    for (int i = 0; i < 1000; ++i)
        names.push_back("ab" + std::to_string(i));
    std::vector<FUNINFO *> records;
    for (const std::string &name : names)
        records.push_back(make_FUNINFO(name.c_str()));
    EXPECT_EQ(std::set<FUNINFO *>(records.begin(), records.end()).size(), names.size());
    for (std::size_t i = 0; i < names.size(); ++i)
        EXPECT_EQ(find_FUNINFO(names[i].c_str()), records[i]) << names[i];
    auto all = record_names();
    ASSERT_EQ(all.size(), names.size() + 1); // the fixture's f came first
    EXPECT_EQ(std::vector<std::string>(all.begin() + 1, all.end()), names);
}

TEST_F(FunctionRecords, FlagsByName) {
    constexpr std::uint32_t effects = FUN_no_global_asg | FUN_no_global_use | FUN_no_byref_asg |
                                      FUN_no_ind_asg | FUN_no_ind_use | FUN_is_pure_fun |
                                      FUN_never_returns;
    const struct {
        const char *name;
        std::uint32_t present, absent;
    } cases[] = {
        {"main", FUN_is_main, effects},
        {"mine", 0, effects | FUN_is_main | FUN_is_SYSTEM},
        {"strlen", FUN_no_ind_asg | FUN_no_global_asg,
         FUN_no_ind_use | FUN_is_pure_fun | FUN_never_returns},
        {"abs", FUN_is_pure_fun | FUN_no_ind_use | FUN_no_global_use, FUN_never_returns},
        {"sqrt", FUN_no_ind_use | FUN_no_ind_asg,
         FUN_no_global_asg | FUN_is_pure_fun | FUN_is_SYSTEM},
        {"memcpy", FUN_no_global_asg,
         FUN_no_ind_asg | FUN_no_ind_use | FUN_no_byref_asg | FUN_is_pure_fun},
        {"memset", FUN_no_ind_use, FUN_no_ind_asg | FUN_no_byref_asg},
        {"longjmp", FUN_never_returns, FUN_no_global_use},
        {"exit", FUN_never_returns, FUN_no_global_use}, // its handlers use what they like
        {"qsort", FUN_calls_anonymous, effects},
        {"printf", FUN_no_global_use, FUN_no_ind_asg | FUN_no_ind_use | FUN_is_pure_fun},
        {"free", 0, FUN_no_ind_asg},
        {"__cxa_begin_catch", FUN_is_SYSTEM, effects},
        {"getenv", FUN_no_ind_asg, FUN_is_pure_fun},
        {"setjmp", FUN_cannot_inline, effects},
    };
    for (const auto &c : cases) {
        const std::uint32_t flags = make_FUNINFO(c.name)->flags;
        EXPECT_EQ(flags & c.present, c.present) << c.name << ": " << FUN_flag_names(flags);
        EXPECT_EQ(flags & c.absent, 0u) << c.name << ": " << FUN_flag_names(flags);
    }
}

TEST_F(FunctionRecords, LibraryPromisesEndWithADefinition) {
    global("_strlen", 5, function_type);
    EXPECT_TRUE(make_FUNINFO("strlen")->flags & FUN_no_global_asg);
    make_FUNINFO("strlen")->flags |= FUN_is_called;
    global("_strlen", 3, function_type);
    EXPECT_EQ(make_FUNINFO("strlen")->flags, FUN_is_called);
}

TEST_F(FunctionRecords, CalleeOfCallsAndOperators) {
    SYMTAB *g = global("_g", 5, function_type),
           *pointer = global("_p", 2, tp->mk_ptr(function_type));
    const auto node = [](int op, TYPE *type, NODE *left) {
        NODE n;
        n.op = static_cast<std::uint8_t>(op);
        n.type = type;
        n.left = left;
        return n;
    };
    const auto name = [&node](SYMTAB *sym) {
        NODE n = node(OP::NAME, sym->type, nullptr);
        n.u.name.sym = sym;
        return n;
    };
    NODE callee = name(g), address = node(OP::UAND, tp->void_ptr_type(), &callee),
         variable = name(pointer);
    NODE direct = node(OP::CALL, tp->int_type(), &address),
         indirect = node(OP::UCALL, tp->int_type(), &variable);
    EXPECT_EQ(find_FUNINFO_for_call(&direct), make_FUNINFO("g"));
    EXPECT_EQ(find_FUNINFO_for_call(&indirect), nullptr);
    const struct {
        int op;
        TYPE *type;
        const char *routine;
    } cases[] = {
        {OP::SQRT, tp->basic_float(TYPE::FLOAT), "_sqrt"},
        {OP::MEMCPY, tp->void_ptr_type(), "memcpy"},
        {OP::ABS, tp->basic_float(TYPE::DOUBLE), "fabs"},
        {OP::ABS, tp->mk_qual(tp->basic_int(TYPE::LONG), TQ_const), "labs"},
        {OP::ABS, tp->basic_int(TYPE::ULONG), "labs"},
        {OP::ABS, tp->int_type(), "abs"},
    };
    for (const auto &c : cases) {
        NODE operand = node(OP::ICON, c.type, nullptr), op = node(c.op, c.type, &operand);
        ASSERT_TRUE(find_FUNINFO_for_call(&op)) << c.routine;
        EXPECT_EQ(find_FUNINFO_for_call(&op)->name, c.routine);
        EXPECT_EQ(find_FUNINFO_for_call(&operand), nullptr);
    }
}

TEST_F(FunctionRecords, FlagNames) {
    EXPECT_EQ(FUN_flag_names(0), "");
    EXPECT_EQ(FUN_flag_names(1u << 20 | 1u << 25), "");
    EXPECT_EQ(FUN_flag_names(0x80000000u | 0x220u | 1u),
              "FUN_calls_anonymous FUN_cannot_inline FUN_is_pragma_EXT FUN_is_cpp");
    const std::string all = FUN_flag_names(~0u);
    EXPECT_EQ(std::count(all.begin(), all.end(), ' '), 29);
}

TEST_F(Symbols, ConstructorChecksSizeExceptOfFunctions) {
    EXPECT_EXIT(new_symbol("x", 16, 0, 2, 0, tp->int_type(), tp->int_type(), 32, nullptr, -1),
                ::testing::ExitedWithCode(1), "");
    EXPECT_STREQ(new_symbol("_g", 7, 0, 2, 0, function_type, function_type, 0, nullptr, -1)->name,
                 "_g");
}

TEST_F(Symbols, AddressMayBeTakenUnlessTheClassForbids) {
    for (int sc = 0; sc < 30; ++sc)
        EXPECT_EQ((make("x", sc, tp->int_type())->attr & SA_aliased) != 0,
                  sc != 4 && sc != 17 && sc != 22)
            << sc;
}

TEST_F(Temporaries, NamesAndPlaces) {
    lex = 1;
    LS::open(nullptr, currfunc, 0);
    LS::open(nullptr, currfunc, 0);
    LS::open(nullptr, currfunc, 0);
    lex = 0;
    LS *outer = currfuninfo->root_scope->level_2_scope(), *inner = nullptr;
    LS::open(nullptr, currfunc, 0);
    inner = currfuninfo->open_scope;
    SYMTAB *a = sym_temp('P', -1, tp->int_type(), nullptr),
           *b = sym_temp('P', -1, tp->int_type(), inner);
    SYMTAB *c = sym_temp('q', 7, tp->int_type(), nullptr),
           *d = sym_temp('q', 7, tp->int_type(), nullptr);
    EXPECT_STREQ(a->name, "$O$P1");
    EXPECT_STREQ(b->name, "$O$P2");
    EXPECT_STREQ(c->name, "$O$q7");
    EXPECT_STREQ(d->name, "$O$q7");
    EXPECT_NE(c, d);
    for (const SYMTAB *sym : {a, b, c, d}) {
        EXPECT_EQ(sym->level, 2);
        EXPECT_EQ(sym->sc, 1);
        EXPECT_EQ(sym->sc2, 1);
        EXPECT_EQ(sym->attr, SA_temp);
        EXPECT_EQ(sym->scope, sym == b ? inner : outer);
    }
    EXPECT_EQ(currfuninfo->symbols, d);
    EXPECT_THAT(symbols_of(outer->others), ElementsAre(d, c, a));
    EXPECT_THAT(symbols_of(inner->others), ElementsAre(b));
}

TEST_F(Temporaries, TypesLoseEnumsAndQualifiers) {
    TYPE *e = tp->type_frozen(tp->mk_enum("e", 32, 32, tp->uint_type(), false, nullptr));
    TYPE *integer = tp->mk_int(TYPE::LLONG, false, 64, 64);
    TYPE *wide = tp->type_frozen(tp->mk_enum("w", 64, 64, integer, true, nullptr));
    TYPE *volatile_int = tp->mk_qual(tp->int_type(), TQ_volatile);
    TYPE *pointer = tp->mk_ptr(volatile_int);
    const struct {
        TYPE *asked, *given;
    } cases[] = {
        {e, tp->int_type()},
        {tp->mk_qual(e, TQ_const), tp->int_type()},
        {tp->mk_qual(wide, TQ_const), integer},
        {volatile_int, tp->int_type()},
        {tp->mk_array(volatile_int, 4), tp->mk_array(tp->int_type(), 4)},
        {tp->mk_qual(pointer, TQ_restrict), pointer}, // what it points at stays volatile
    };
    for (const auto &c : cases) {
        const SYMTAB *sym = sym_temp('t', -1, c.asked, nullptr);
        EXPECT_EQ(sym->otype, c.given) << c.asked->printstr();
        EXPECT_EQ(sym->size, c.given->size());
        EXPECT_EQ(sym->scope, nullptr) << "the function has no scopes";
    }
}

TEST_F(Symbols, DefinitionOfADeclaration) {
    SYMTAB *first = global("_x", 5, tp->int_type()), *again = global("_x", 5, tp->int_type());
    EXPECT_EQ(get_sym_def_for_decl(again), first) << "one object, one symbol";
    SYMTAB *definition = global("_x", 2, tp->int_type()), *late = global("_x", 5, tp->int_type());
    SYMTAB *other = global("_y", 5, tp->int_type());
    for (SYMTAB *sym : {first, again, definition, late})
        EXPECT_EQ(get_sym_def_for_decl(sym), definition);
    EXPECT_EQ(get_sym_def_for_decl(other), other);
    lex = 2;
    SYMTAB *local = make("_x", 1, tp->int_type()), *local_extern = make("_x", 5, tp->int_type());
    EXPECT_EQ(get_sym_def_for_decl(local), local);
    EXPECT_EQ(get_sym_def_for_decl(local_extern), definition);
    EXPECT_EQ(get_sym_def_for_decl(make("_z", 5, tp->int_type()))->name, std::string("_z"));
    lex = 0;
}

TEST_F(Symbols, EnteringKeepsNewestFirst) {
    SYMTAB *g = global("_g", 2, tp->int_type());
    EXPECT_EQ(global_symbols, g);
    EXPECT_EQ(g->next, currfunc);
    lex = 2;
    SYMTAB *a = make("a", 1, tp->int_type()), *b = make("b", 1, tp->int_type());
    sym_def(a);
    sym_def(b);
    EXPECT_EQ(a->level, 2);
    EXPECT_LT(a->serial, b->serial);
    unlink_symbol(g, &currfuninfo->symbols); // not there
    EXPECT_EQ(currfuninfo->symbols, b);
    unlink_symbol(a, &currfuninfo->symbols);
    EXPECT_EQ(currfuninfo->symbols, b);
    EXPECT_EQ(b->next, nullptr);
    lex = 5000; // deeper than a level can tell, but never file level
    EXPECT_EQ(make("deep", 1, tp->int_type())->level, 255);
    lex = 0;
}

TEST_F(Symbols, LinkageFromMarksClassAndVisibility) {
    const struct {
        int sc, flags;
        const char *visibility;
        bool modes; // nobody outside calls or writes
        bool preemptible, accessible, is_protected, indirected;
    } cases[] = {
        {2, 0xe000, nullptr, true, true, true, false, false},
        {2, 0xc000, nullptr, true, false, false, false, false},
        {2, 0, nullptr, true, false, false, false, false},
        {2, 0, nullptr, false, false, true, false, false},
        {3, 0, nullptr, false, false, false, false, false},
        {3, 0x8000, nullptr, true, false, false, false, false},
        {5, 0, nullptr, true, false, true, false, false},
        {2, 0, "default", true, true, true, false, true},
        {2, 0, "extern", true, true, true, false, true},
        {2, 0xe000, "protected", true, false, true, true, false},
        {2, 0, "hidden", true, false, false, false, false},
    };
    for (const auto &c : cases) {
        SYMTAB *sym = make("_v", c.sc, tp->int_type(), c.flags);
        if (c.visibility) {
            const std::string_view word = c.visibility;
            sym->pragmas = mk_pragma(PRG_SYM_VISIBILITY, {&word, 1}, nullptr);
        }
        no_outside_writers = c.modes;
        const auto what = testing::Message() << "sc " << c.sc << " flags " << c.flags << " "
                                             << (c.visibility ? c.visibility : "");
        EXPECT_EQ(symbol_is_preemptible(sym), c.preemptible) << what;
        EXPECT_EQ(symbol_is_outside_accessible(sym), c.accessible) << what;
        EXPECT_EQ(symbol_is_protected(sym), c.is_protected) << what;
        EXPECT_EQ(symbol_will_be_indirected(sym), c.indirected) << what;
    }
}

TEST_F(Symbols, CppTypeThroughPointersAndArrays) {
    TYPE *cls = tp->type_frozen(tp->mk_class("C", 32, 32, true));
    cls->cpp = true;
    TYPE *plain = tp->type_frozen(tp->mk_struct("S", 32, 32, true));
    EXPECT_EQ(guess_cpp_type(make("a", 1, cls)), cls);
    EXPECT_EQ(guess_cpp_type(make("a", 1, tp->mk_ptr(tp->mk_qual(tp->mk_array(cls, 3), TQ_const)))),
              cls);
    EXPECT_EQ(guess_cpp_type(make("a", 1, tp->mk_ptr(plain))), nullptr);
    EXPECT_EQ(guess_cpp_type(make("a", 1, tp->int_type())), nullptr);
}

TEST_F(Interning, FileLevelSymbolsAreTheirOwn) {
    SYMTAB *g = global("_g", 2, tp->int_type());
    EXPECT_EQ(intern_symbol(g, currfuninfo), g);
    EXPECT_EQ(intern_symbol(g, nullptr), g);
    EXPECT_EQ(find_interned_symbol(g, make_FUNINFO("other")), g);
}

TEST_F(Interning, TwoReadingsOfABodyMeet) {
    static std::vector<std::string> visited;
    const auto read_body = [] {
        lex = 2;
        symbol_serial = 0;
        const std::array<SYMTAB *, 3> body = {make("s", 3, tp->int_type()),
                                              make("s", 3, tp->int_type()),
                                              make("t", 3, tp->void_ptr_type())};
        lex = 0;
        return body;
    };
    const auto first = read_body();
    EXPECT_EQ(find_interned_symbol(first[0], currfuninfo), nullptr);
    std::array<SYMTAB *, 3> interned;
    for (int i = 2; i >= 0; --i)
        interned[i] = intern_symbol(first[i], currfuninfo);
    EXPECT_EQ(interned[0]->next, nullptr);
    EXPECT_NE(interned[0], first[0]);
    EXPECT_NE(interned[0], interned[1]) << "two blocks may each have an s";
    const auto second = read_body();
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(intern_symbol(second[i], currfuninfo), interned[i]);
        EXPECT_EQ(find_interned_symbol(second[i], currfuninfo), interned[i]);
    }
    FUNINFO *other = make_FUNINFO("other");
    EXPECT_EQ(find_interned_symbol(second[0], other), nullptr);
    EXPECT_NE(intern_symbol(second[0], other), interned[0]);
    // A copy made for inlining is another variable, however alike.
    EXPECT_EQ(find_interned_symbol(copy_symbol(first[0], 2), currfuninfo), nullptr);
    visited.clear();
    map_over_interned_symbols([](SYMTAB *sym, FUNINFO *funinfo) {
        visited.push_back(std::string(sym->name) + "/" + funinfo->name);
    });
    EXPECT_THAT(visited, ElementsAre("t/f", "s/f", "s/f", "s/other"));
}

TEST_F(Symbols, ACopyHasPragmasOfItsOwn) {
    SYMTAB *sym = make("x", 1, tp->int_type());
    const std::string_view argument = "a";
    sym->pragmas =
        mk_pragma(PRG_RETAIN, {},
                  mk_pragma(PRG_DATA_SECTION, {&argument, 1}, mk_pragma(PRG_RETAIN, {}, nullptr)));
    SYMTAB *copy = copy_symbol(sym, 3);
    EXPECT_EQ(copy->level, 3);
    EXPECT_GT(copy->serial, sym->serial);
    copy->pragmas = remove_pragma(PRG_RETAIN, copy->pragmas);
    ASSERT_TRUE(copy->pragmas);
    EXPECT_EQ(copy->pragmas->next, nullptr);
    EXPECT_STREQ(copy->pragmas->args[0], "a");
    EXPECT_FALSE(symbol_has_pragma(copy, PRG_RETAIN));
    EXPECT_TRUE(symbol_has_pragma(sym, PRG_RETAIN));
    EXPECT_EQ(remove_pragma(PRG_DATA_SECTION, copy->pragmas), nullptr);
}

TEST_F(Symbols, ConsLists) {
    SYMTAB *a = make("a", 1, tp->int_type()), *b = make("b", 1, tp->int_type()),
           *c = make("c", 1, tp->int_type());
    SYMLIST *list = mk_symlist(a, mk_symlist(b, mk_symlist(a, nullptr)));
    EXPECT_EQ(find_sym_in_symlist(b, list), list->next);
    EXPECT_EQ(find_sym_in_symlist(c, list), nullptr);
    list = remove_sym_from_symlist(c, remove_sym_from_symlist(a, list));
    EXPECT_THAT(symbols_of(list), ElementsAre(b, a));
    EXPECT_THAT(symbols_of(revsymlist(list)), ElementsAre(a, b));
    SYMPAIRLIST *pairs = mk_symplist(a, b, 1, mk_symplist(b, c, 2, nullptr));
    EXPECT_EQ(find_sym_in_sympairlist(b, pairs)->second, c);
    EXPECT_EQ(find_sym_in_sympairlist(c, pairs), nullptr);
    SYMALIST *alist = revsymalist(mk_symalist(a, nullptr, 1, mk_symalist(b, nullptr, 2, nullptr)));
    EXPECT_EQ(alist->sym, b);
    EXPECT_EQ(alist->next->value, 1);
    EXPECT_EQ(erase_symplist(pairs), nullptr);
    EXPECT_EQ(erase_symalist(alist), nullptr);
    SYMLIST *erased = mk_symlist(c, mk_symlist(c, nullptr));
    EXPECT_EQ(erase_symlist(erased), nullptr);
    list = mk_symlist(a, mk_symlist(b, mk_symlist(c, nullptr))); // of used cells and a new one
    EXPECT_THAT(symbols_of(list), ElementsAre(a, b, c));
    a->next = b;
    b->next = c;
    EXPECT_EQ(revsymtab(a), c);
    EXPECT_EQ(c->next, b);
    EXPECT_EQ(b->next, a);
    EXPECT_EQ(a->next, nullptr);
}
