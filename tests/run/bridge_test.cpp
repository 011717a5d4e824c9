// What the reader's client and the writer keep, drop and change: text in, quillopt, text out.
#include "tests/run/tool.h"

#include <gmock/gmock.h>

namespace {
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

constexpr char head[] = R"(icode version=-73 cpu=1000 name="bridge.c"
)";

constexpr char types[] = R"(
types
  type void#1 = void
  type int#9 = int
  type long_long#10 = long_long size=64 align=32
  type int(void)#20 = function int prototyped
  list params of=int(void)
    param void
  endlist params
  type int(int,int)#21 = function int prototyped
  list params of=int(int,int)
    param int
    param int
  endlist params
globals
  sym _f int(int,int) sc=2 align=16
  sym _outside int(void) sc=5 align=16
  sym _data int sc=3
)";

class Bridge : public testing::Test {
protected:
    void assemble(const std::string &text) {
        write_file(scratch / "in.ict", text);
        expect_success(run_tool({"ic-as", "-o", path("in.ic"), path("in.ict")}, scratch), "ic-as");
    }
    TOOL_RESULT optimize(std::vector<std::string> options = {"--opt_level=off"}) {
        options.insert(options.begin(), "quillopt");
        options.insert(options.end(), {path("in.ic"), path("out.ic")});
        fs::remove(scratch / "out.ic");
        return run_tool(options, scratch);
    }
    // The text of what quillopt makes of a text.
    std::string round_trip(const std::string &text,
                           const std::vector<std::string> &options = {"--opt_level=off"}) {
        assemble(text);
        expect_success(optimize(options), "quillopt");
        expect_success(run_tool({"ic-lint", path("out.ic")}, scratch), "ic-lint");
        return run_tool({"ic-dis", path("out.ic")}, scratch).out;
    }
    // The same of a file whose function _f has these parameters, locals and statements.
    std::string round_trip_body(const std::string &parameters, const std::string &body,
                                const std::vector<std::string> &options = {"--opt_level=off"}) {
        return round_trip(std::string(head) + types + "code\n  function _f\n" + parameters +
                              "    args\n" + body + "  endfunction\n",
                          options);
    }
    std::string path(const char *name) { return (scratch / name).string(); }
    SCRATCH scratch;
};

constexpr char parameters[] = R"(    sym a@1.0 int sc=9
    sym b@1.1 int sc=27
)";
constexpr char locals[] = R"(    sym a@2.2 int sc=1 offset=64
    sym b@2.3 int sc=4 offset=32
    locals
    (PCOMMA:int (ASG:int (NAME:int a@2.2) (NAME:int a@1.0)) (ASG:int (NAME:int b@2.3) (NAME:int b@1.1)))
)";
constexpr char return_a[] = "    (RETURN:int (NAME:int(int,int) _f) (NAME:int a@2.2))\n";
constexpr char return_call[] = "    (RETURN:int (NAME:int(int,int) _f) (UCALL:int eh=7 "
                               "(UAND:int(void)* (NAME:int(void) _outside))))\n";

TEST_F(Bridge, SymbolsKeepTheirClassAndOnlySomeTheirOffset) {
    const std::string text = round_trip_body(parameters, std::string(locals) + return_a);
    EXPECT_THAT(text, HasSubstr("    sym a@1.0 int sc=9\n    sym b@1.1 int sc=27\n    args\n"
                                "    sym a@2.2 int sc=1\n    sym b@2.3 int offset=32 sc=4\n"
                                "    locals\n"));
}

TEST_F(Bridge, OnlyALeafIsMarkedAsOne) {
    EXPECT_THAT(round_trip_body(parameters, std::string(locals) + return_a),
                HasSubstr("    locals\n    info 76\n"));
    EXPECT_THAT(round_trip_body(parameters, std::string(locals) + return_call + "    info 76\n"),
                Not(HasSubstr("info")));
}

TEST_F(Bridge, CommentsAndPragmasStayInPlaceOrGo) {
    const std::string body = std::string(locals) + R"(    comment "stays"
    comment "*goes"
    ppragma TRIP_CNTR_MUNGED "1"
    ppragma LOOP_FLAGS "2"
    ppragma UNROLL "3"
    asm "\tnop"
)" + return_a;
    EXPECT_THAT(round_trip_body(parameters, body),
                HasSubstr("    comment \"stays\"\n    ppragma TRIP_CNTR_MUNGED \"1\"\n"
                          "    ppragma UNROLL \"3\"\n    asm \"\\tnop\"\n    (RETURN"));
    const std::string text = round_trip(std::string(head) + types + R"(code
  comment "first"
  comment "*goes"
  asm "\t.text"
  function _f
    sym a@1.0 int sc=9
    sym b@1.1 int sc=9
    args
    locals
    (RETURN:int (NAME:int(int,int) _f) (ICON:int 0))
  endfunction
  comment "last"
)");
    // What stands between functions goes out as it is read.
    EXPECT_THAT(text, HasSubstr("  comment \"first\"\n  asm \"\\t.text\"\n  comment \"last\"\n\n"
                                "  function _f\n"));
    EXPECT_THAT(text, Not(HasSubstr("goes")));
}

TEST_F(Bridge, AJumpToWhatFollowsVanishes) {
    const std::string body =
        std::string(locals) + "    (BRANCH:int (LABEL:int 7))\n    label 7\n" + return_a;
    EXPECT_THAT(round_trip_body(parameters, body),
                AllOf(Not(HasSubstr("BRANCH")), Not(HasSubstr("label"))));
}

TEST_F(Bridge, SourceComments) {
    const std::string body = std::string(locals) +
                             "    ppragma SRC_LOOP \"1\"\n    ppragma UNROLL \"2\"\n"
                             "    (PLUSASG:int (NAME:int a@2.2) (NAME:int b@2.3))\n" +
                             return_a;
    const std::string text =
        round_trip_body(parameters, body, {"--opt_level=off", "--source_interlist"});
    EXPECT_THAT(text, HasSubstr("    info 76\n    (PCOMMA"));
    EXPECT_THAT(text, HasSubstr("\n    ppragma SRC_LOOP \"1\"\n    comment \"#pragma UNROLL(2)\"\n"
                                "    ppragma UNROLL \"2\"\n    comment \"a += b\"\n    (PLUSASG"));
    EXPECT_THAT(text, HasSubstr("    comment \"return a\"\n    (RETURN"));
}

TEST_F(Bridge, ExceptionTables) {
    const std::string body = std::string(locals) + return_call;
    // An entry that a call needs stays with what encloses it; the rest goes.
    const std::string text = round_trip_body(parameters, body + R"(    eht
      entry 3 0
      entry 7 cleanup link=9
        (ASG:int (NAME:int _data) (ICON:int 0))
      entry 9 0
)",
                                             {"--opt_level=off", "--debug_log=1"});
    EXPECT_THAT(text, HasSubstr("(UCALL:int eh=1 "));
    EXPECT_THAT(text, HasSubstr("    eht\n      entry 1 cleanup link=2\n        (ASG:int "
                                "(NAME:int _data) (ICON:int 0))\n      entry 2 0\n"));
    EXPECT_THAT(read_file(scratch / "in.odb"), HasSubstr("EHT #1: kind 1, enclosed by #2\n"));
    // Without calls no entry is needed.
    EXPECT_THAT(
        round_trip_body(parameters, std::string(locals) + return_a + "    eht\n      entry 1 0\n"),
        Not(HasSubstr("eht")));
    // Without a table a call names no entry.
    EXPECT_THAT(round_trip_body(parameters, body),
                AllOf(HasSubstr("(UCALL:int (UAND"), Not(HasSubstr("eh="))));
}

TEST_F(Bridge, WideConstantsTravelByTheSignednessOfTheirType) {
    for (const char *value : {"-2147483648", "2147483647", "2147483648", "4294967295", "4294967296",
                              "-2147483649", "9223372036854775807"}) {
        const std::string body =
            std::string("    sym w@2.2 long_long sc=1\n    locals\n"
                        "    (ASG:long_long (NAME:long_long w@2.2) (LCON:long_long ") +
            value + "))\n    (RETURN:int (NAME:int(int,int) _f) (ICON:int 0))\n";
        const std::string text =
            round_trip_body("    sym a@1.0 int sc=9\n    sym b@1.1 int sc=9\n", body);
        const bool fits = std::abs(std::stoll(value) + 0.5) < 2147483648.0;
        EXPECT_THAT(text,
                    HasSubstr(std::string(fits ? "(ICON:long_long " : "(LCON:long_long ") + value))
            << text;
    }
}

// --- option sets

TEST_F(Bridge, OptionSetsGoOutAsTheyCameIn) {
    struct CASE {
        const char *in, *out;
    };
    const CASE cases[] = {
        {"", "bridge.c\"\n\ntypes"},
        {"options\n", "bridge.c\"\n\ntypes"},
        {"options\n  set 0\n", "options\n  set 0\n\ntypes"},
        {"options\n  set 1 \"--opt_level=off\"\n  set 0 \"--debug_log=0\"\n",
         "options\n  set 1 \"--opt_level=off\"\n  set 0 \"--debug_log=0\"\n\ntypes"},
    };
    for (const CASE &c : cases) {
        assemble(std::string(head) + c.in + types + "code\n");
        expect_success(optimize(), c.in);
        EXPECT_THAT(run_tool({"ic-dis", path("out.ic")}, scratch).out, HasSubstr(c.out)) << c.in;
    }
}

TEST_F(Bridge, OptionSetsAreFoundByNumber) {
    assemble(std::string(head) +
             "options\n  set 1 \"--opt_level=off\"\n  set 0 \"--opt_level=3\"\n" + types);
    EXPECT_THAT(optimize({"--dump_options"}).out, HasSubstr("opt_level=3"));
    // The command line comes last, and may put the stored arguments aside.
    EXPECT_THAT(optimize({"--dump_options", "--opt_level=1"}).out, HasSubstr("opt_level=1"));
    EXPECT_THAT(optimize({"--dump_options", "--ignore_file_options"}).out,
                Not(HasSubstr("opt_level")));
    expect_success(optimize({"--debug_log=1"}), "quillopt");
    EXPECT_THAT(read_file(scratch / "in.odb"),
                HasSubstr("Option set 0 (file-level options):\n\t--opt_level=3\n\t--debug_log=1\n"
                          "\t--info_level=1\nOption set 1:\n\t--opt_level=off\n\t--debug_log=1\n"));
}

TEST_F(Bridge, OptionSetsThatCannotBeUsed) {
    struct CASE {
        const char *sets, *message;
    };
    const CASE cases[] = {
        {"  set 1\n", "\n>> Option set 1 of the input icode File has too high a number, Aborting"},
        {"  set 0\n  set 2\n", "Option set 2 of the input icode File has too high a number"},
        {"  set 0\n  set 0\n", "\n>> Option set 0 of the input icode File is there twice"},
        {"  set 0 \"--no_such_option\"\n", "--no_such_option"},
        {"  set 0 \"--opt_level=17\"\n", "Option set 0 of the input icode File has a bad option"},
    };
    for (const CASE &c : cases) {
        assemble(std::string(head) + "options\n" + c.sets + types);
        const TOOL_RESULT result = optimize();
        EXPECT_EQ(result.exit_code, 1) << c.sets;
        EXPECT_THAT(result.err, HasSubstr(c.message));
        EXPECT_FALSE(fs::exists(scratch / "out.ic"));
    }
}
} // namespace
