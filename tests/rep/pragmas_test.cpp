// The pragma table, and what pragmas do to symbols, records and the statement list.
#include "OPT5/rep/pragmas.h"
#include "tests/rep/symbol_fixture.h"

#include <map>

class Pragmas : public SymbolTest {
protected:
    static PRAGMA *pragma(int kind, std::vector<std::string_view> args = {}) {
        return mk_pragma(kind, args, nullptr);
    }
};

TEST_F(Pragmas, TableRows) {
    const struct {
        unsigned kind;
        const char *name;
        std::uint32_t flags;
    } cases[] = {
        {0, "INVALID", 0},
        {2, "DATA_SECTION", 1},
        {3, "FUNC_NEVER_RETURNS", 2},
        {8, "FUNC_IS_SYSTEM", 2},
        {30, "FUNC_NO_MDEP", 2},
        {33, "STRUCT_ALIGN", 1},
        {36, "OPT_OVERRIDE", 0},
        {37, "UNROLL", 4},
        {44, "INLINE_ADVICE", 4},
        {45, "WRAP_ADVICE", 2},
        {46, "FAST_FUNC_CALL", 2},
        {47, "Q4X_CALL", 0},
        {51, "SCOPING_FUNC", 3},
        {52, "SYM_IS_REFERENCED", 1},
        {54, "FUNC_IS_NONCONFORMING", 2},
        {57, "LOOP_FLAGS", 4},
        {69, "COMDAT GROUP", 0},
        {71, "FUNC_IS_CTOR_DTOR", 0},
        {72, "SYM_VISIBILITY", 3},
        {96, "CLINK", 3},
        {112, "PARALLEL_LOOP", 4},
        {120, "NOBLOCKED", 0},
        {121, "<unknown>", 0},
        {255, "<unknown>", 0},
    };
    for (const auto &c : cases) {
        EXPECT_STREQ(pragma_name(c.kind), c.name);
        EXPECT_EQ(pragma_flags(c.kind), c.flags) << c.name;
    }
    std::map<std::uint32_t, int> rows;
    for (const PRAGMA_ROW &row : pragma_table)
        ++rows[row.flags];
    EXPECT_EQ(rows, (std::map<std::uint32_t, int>{{0, 78}, {1, 3}, {2, 14}, {3, 7}, {4, 19}}));
}

TEST_F(Pragmas, FlagsOfAFunction) {
    const struct {
        int kind;
        std::vector<std::string_view> args;
        std::uint32_t flags;
        bool outside_callers;
    } cases[] = {
        {PRG_FUNC_NEVER_RETURNS, {}, FUN_never_returns, false},
        {PRG_FUNC_NO_GLOBAL_ASG, {}, FUN_no_global_asg, false},
        {PRG_FUNC_NO_IND_ASG, {}, FUN_no_ind_asg, false},
        {PRG_FUNC_IS_PURE, {}, FUN_is_pure_fun, false},
        {PRG_FUNC_IS_SYSTEM, {}, FUN_is_SYSTEM, false},
        {PRG_FUNC_CANNOT_INLINE, {}, 0, false},
        {PRG_SRC_LANGUAGE, {"C++"}, FUN_is_cpp, false},
        {PRG_SRC_LANGUAGE, {"C"}, 0, false},
        {PRG_SRC_LANGUAGE, {}, 0, false},
        {PRG_SYM_VISIBILITY, {"default"}, 0x1040222, true},
        {PRG_SYM_VISIBILITY, {"extern"}, 0x1040222, true},
        {PRG_SYM_VISIBILITY, {"protected"}, 0x1040202, true},
        {PRG_SYM_VISIBILITY, {"hidden"}, 0, false},
        {PRG_SYM_VISIBILITY, {}, 0, false},
        {PRG_SYM_VISIBILITY, {"default", "default"}, 0, false},
        {200, {"x"}, 0, false},
    };
    for (const auto &c : cases) {
        currfuninfo->flags = 0;
        no_outside_callers = 1;
        opt_process_pragma(currfunc, pragma(c.kind, c.args));
        EXPECT_EQ(currfuninfo->flags, c.flags) << pragma_name(static_cast<unsigned>(c.kind));
        EXPECT_EQ(no_outside_callers, c.outside_callers ? 0 : 1)
            << pragma_name(static_cast<unsigned>(c.kind));
        EXPECT_EQ(currfunc->flags, 0);
    }
}

TEST_F(Pragmas, SystemPragmasNeedTheirRecordsCached) {
    cache_sys_funinfo = 0;
    opt_process_pragma(currfunc, pragma(PRG_FUNC_IS_PURE));
    EXPECT_EQ(currfuninfo->flags, 0u);
}

TEST_F(Pragmas, NonconformingSettlesTheFlags) {
    SYMTAB *strlen_symbol = global("_strlen", 5, function_type);
    FUNINFO *record = make_FUNINFO("strlen");
    opt_process_pragma(strlen_symbol, pragma(PRG_FUNC_IS_NONCONFORMING));
    EXPECT_EQ(record->flags, 0u);
    opt_process_pragma(strlen_symbol, pragma(PRG_FUNC_IS_PURE));
    EXPECT_EQ(record->flags, 0u);
    opt_process_pragma(currfunc, pragma(PRG_FUNC_IS_PURE));
    EXPECT_EQ(currfuninfo->flags, FUN_is_pure_fun) << "other functions go on";
    opt_process_pragma(strlen_symbol, pragma(PRG_SYM_VISIBILITY, {"protected"}));
    EXPECT_EQ(record->flags, 0x1040202u) << "and so do other pragmas";
}

TEST_F(Pragmas, CppFunctionsAreNotTheLibrarys) {
    SYMTAB *abs_symbol = global("_abs", 5, function_type),
           *labs_symbol = global("_labs", 5, function_type);
    FUNINFO *abs_record = make_FUNINFO("abs"), *labs_record = make_FUNINFO("labs");
    abs_record->flags |= FUN_is_called;
    opt_process_pragma(abs_symbol, pragma(PRG_SRC_LANGUAGE, {"C++"}));
    EXPECT_EQ(abs_record->flags, FUN_is_cpp | FUN_is_called);
    function_prepass = 0;
    const std::uint32_t before = labs_record->flags;
    opt_process_pragma(labs_symbol, pragma(PRG_SRC_LANGUAGE, {"C++"}));
    EXPECT_EQ(labs_record->flags, before | FUN_is_cpp) << "only while reading";
}

TEST_F(Pragmas, ReferencedMarksAnySymbol) {
    static int records;
    const auto count = [](FUNINFO *) { ++records; };
    SYMTAB *data = global("_d", 3, tp->int_type(), 0x10),
           *function = global("_g", 3, function_type);
    records = 0;
    map_over_FUNINFOs(count);
    const int before = records;
    opt_process_pragma(data, pragma(PRG_SYM_IS_REFERENCED));
    records = 0;
    map_over_FUNINFOs(count);
    EXPECT_EQ(records, before) << "data has no record";
    opt_process_pragma(function, pragma(PRG_SYM_IS_REFERENCED));
    EXPECT_EQ(data->flags, 0xe010);
    EXPECT_EQ(function->flags, 0xe000);
    opt_process_pragma(data, pragma(PRG_SYM_VISIBILITY, {"default"}));
    EXPECT_EQ(no_outside_callers, 1) << "a variable has no callers";
}

TEST_F(Pragmas, OverrideMustNotArrive) {
    EXPECT_EXIT(opt_process_pragma(currfunc, pragma(PRG_OPT_OVERRIDE)),
                ::testing::ExitedWithCode(1), "");
    EXPECT_EXIT(opt_process_pragma(nullptr, pragma(PRG_OPT_OVERRIDE)), ::testing::ExitedWithCode(1),
                "");
}

TEST_F(Pragmas, StatementPragmasJoinTheStatements) {
    lex = 1;
    for (int i = 0; i < 3; ++i)
        LS::open(nullptr, currfunc, 0);
    lex = 2;
    PRAGMA *iterate = pragma(PRG_MUST_ITERATE, {"1", "", "4"}), *unknown = pragma(200);
    opt_process_pragma(nullptr, iterate);
    opt_process_pragma(nullptr, unknown);
    lex = 0;
    const LIST *newest = currfuninfo->pending;
    ASSERT_TRUE(newest && newest->rest);
    EXPECT_EQ(newest->rest->rest, nullptr);
    for (const LIST *cell : {newest, static_cast<const LIST *>(newest->rest)}) {
        EXPECT_EQ(cell->first->op, OP::PPRAGMA);
        EXPECT_EQ(cell->first->type, tp->void_type());
        EXPECT_EQ(cell->first->scope, currfuninfo->open_scope);
    }
    EXPECT_EQ(newest->first->u.ppragma.pragma, unknown);
    EXPECT_EQ(newest->rest->first->u.ppragma.pragma, iterate);
}

TEST_F(Pragmas, FileLevelPragmasGoStraightOut) {
    FILE *stream = std::tmpfile();
    ASSERT_TRUE(stream);
    o_file = I_FILE::if_create(stream, tp, "p.c");
    const std::uint32_t start = o_file->if_tell();
    opt_process_pragma(nullptr, pragma(PRG_IDENT, {"abc"}));
    EXPECT_GT(o_file->if_tell(), start);
    EXPECT_EQ(log(), "^[Pragma] 35 1");
    EXPECT_EQ(currfuninfo->pending, nullptr);
    o_file->if_close(false, true);
    o_file = nullptr;
}

TEST_F(Pragmas, CopyIsItsOwnBlock) {
    std::string text = "first";
    const std::vector<std::string_view> args = {text, ""};
    PRAGMA *original = mk_pragma(PRG_NO_ALIAS, args, pragma(PRG_RETAIN));
    text = "gone!";
    const PRAGMA *copy = copy_pragma(original);
    original->args[0] = "other";
    EXPECT_EQ(copy->kind, PRG_NO_ALIAS);
    EXPECT_EQ(copy->next, nullptr);
    ASSERT_EQ(copy->count, 2);
    EXPECT_STREQ(copy->args[0], "first");
    EXPECT_STREQ(copy->args[1], "");
}
