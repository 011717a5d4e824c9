// One change to a clean file, one violation: every rule of the checker, by its words.
#include "tests/run/tool.h"

namespace {
constexpr char clean[] = R"(icode version=-73 cpu=1000 name="s.c"
options
  set 0
files
  source "s.c"
types
  type struct.p#19 = csu struct p complete size=64 align=32 members
  type void#1 = void
  type short#6 = short size=16 align=16
  type unsigned_short#7 = unsigned_short size=16 align=16
  type int#8 = int size=32 align=32
  type char#14 = signed_char size=16 align=16
  type float#15 = float size=32 align=32
  type int[3]#18 = array int 3 size=96 align=32 complete
  type struct.p*#20 = pointer struct.p size=16 align=16
  type int(int,struct.p*)#21 = function int prototyped
  list params of=int(int,struct.p*)
    param int
    param struct.p*
  endlist params
  type int*#22 = pointer int size=16 align=16
  type int[3]*#23 = pointer int[3] size=16 align=16
  type char.const#24 = qualified char const size=16 align=16
  type char.const*#25 = pointer char.const size=16 align=16
  type int(char.const*,...)#26 = function int variadic prototyped
  list params of=int(char.const*,...)
    param char.const*
  endlist params
  type int(char.const*,...)*#27 = pointer int(char.const*,...) size=16 align=16
  type char*#28 = pointer char size=16 align=16
  list members of=struct.p
    member x int offset=0
    member y short offset=32 width=3 flag1
  endlist members
globals
  sym _g@0.0 int[3] sc=2
  sym _gp@0.1 struct.p sc=2
  sym _f@0.2 int(int,struct.p*) sc=2 align=16
  sym _printf@0.3 int(char.const*,...) sc=5 align=16
initialisers
  init _g
    (ICON:int 1)
    (ICON:int 2)
    (ENDINIT:int)
  init _gp
    (ICON:int 5)
    (ICON:unsigned_short 1)
    (ENDINIT:int)
code
  function _f
    sym a@1.0 int sc=9
    sym q@1.1 struct.p* sc=9
    args
    sym a@2.2 int sc=1
    sym q@2.3 struct.p* sc=1
    sym i@2.4 int sc=1
    sym s@2.5 int sc=1
    locals
    (PCOMMA:int
      (ASG:int (NAME:int a) (NAME:int a@1.0))
      (ASG:struct.p* (NAME:struct.p* q) (NAME:struct.p* q@1.1)))
    (ASG:int (NAME:int s) (ICON:int 0))
    (SWITCH:int
      (NAME:int a)
      (COMMA:int (CASE:int (ICON:int 1) (LABEL:int 2)) (DEFAULT:int (LABEL:int 3))))
    label 2
    (ASG:int (NAME:int s) (SCONV:int (STREF:short (NAME:struct.p* q) (FIELD:short y struct.p))))
    (BRANCH:int (LABEL:int 1))
    label 3
    (ASG:int (NAME:int s) (UMINUS:int (NAME:int i)))
    label 1
    (ASG:int (NAME:int i) (ORB:int (NAME:int a) (NAME:int s)))
    (CBRANCH:int (LT:int (NAME:int i) (NAME:int a)) (LABEL:int 6))
    label 4
    (PLUSASG:int
      (NAME:int s)
      (UMULT:int
        (PLUS:int*
          (PCONV:int* (UAND:int[3]* (NAME:int[3] _g)))
          (PMCONV:int (NAME:int i) (ICON:int 32)))))
    (CBRANCH:int (GE:int (NAME:int i) (NAME:int a)) (LABEL:int 4))
    label 6
    (CALL:int extra=1
      (UAND:int(char.const*,...)* (NAME:int(char.const*,...) _printf))
      (COMMA:int (PCONV:char.const* (SCON:char* "x %d\n")) (NAME:int s)))
    (RETURN:int
      (NAME:int(int,struct.p*) _f)
      (QUEST:int (NAME:int s) (COLON:int (NAME:int s) (ANDAND:int (NAME:int a) (NAME:int s)))))
    info 76
  endfunction
)";

class IcLint : public testing::Test {
protected:
    TOOL_RESULT lint(const std::string &text) {
        const std::string source = (scratch / "t.ict").string(), file = (scratch / "t.ic").string();
        write_file(source, text);
        const TOOL_RESULT assembled = run_tool({"ic-as", "-o", file, source}, scratch);
        EXPECT_EQ(assembled.exit_code, 0) << assembled.err;
        return run_tool({"ic-lint", file}, scratch);
    }
    SCRATCH scratch;
};

TEST_F(IcLint, CleanFile) {
    const TOOL_RESULT result = lint(clean);
    EXPECT_EQ(result.exit_code, 0) << result.out;
    EXPECT_EQ(result.out, "");
}

struct CHANGE {
    const char *from;
    const char *to;
    const char *violation;
};

constexpr CHANGE file_changes[] = {
    {"  source \"s.c\"", "  source \"s.c\"\n  source \"s.c\"", "names a file again: \"s.c\""},
    {"sym _gp@0.1 struct.p sc=2", "sym _gp@0.1 struct.p sc=2\n  pragma 130",
     "has unknown kind 130"},
    {"sym _gp@0.1 struct.p sc=2", "sym _gp@0.1 struct.p sc=2\n  pragma 36",
     "must not stand at a symbol"},
    {"sym _gp@0.1 struct.p sc=2", "sym _gp@0.1 struct.p sc=2 size=99",
     "\"_gp\" has not the size of its type"},
    {"_f@0.2 int(int,struct.p*) sc=2", "_f@0.2 int(int,struct.p*) sc=1",
     "\"_f\" is a function of another storage class than 2, 3, 5"},
    {"_f@0.2 int(int,struct.p*) sc=2", "_f@0.2 int(int,struct.p*) sc=5",
     "begins a function whose symbol only declares it"},
    {"sym a@1.0 int sc=9", "sym a@1.0 int sc=1",
     "\"a\" is a parameter as passed but has not storage class 9"},
    {"(ICON:int 2)\n    (ENDINIT", "(ICON:int 2)\n    (ICON:int 2)\n    (ICON:int 2)\n    (ENDINIT",
     "gives more than its symbol has room for"},
    {"init _gp", "init _printf", "initialises a symbol that is not defined here"},
    {"init _gp", "init _g", "initialises global 0 again"},
    {"(ICON:int 5)", "(UMINUS:int (ICON:int 5))", "is no constant of an initialiser"},
    {"    args\n", "    args\n    args\n", "comes twice"},
    {"    label 6\n", "    label 6\n    label 6\n", "defines label 6 again"},
    {"    label 3\n", "", "jumps to label 3, which is not defined in its function"},
    {"    info 76\n", "    begin\n    info 76\n", "ends a function with open blocks"},
    {"    info 76\n", "    end\n    info 76\n", "ends a block that never began"},
    {"extra=1", "extra=1 eh=2", "names exception table entry 2, which does not exist"},
    {"    locals\n", "", "locals"},
};

constexpr CHANGE type_changes[] = {
    {"type char#14 = signed_char", "type char#8 = signed_char", "defines type 8 again"},
    {"qualified char const size=16", "qualified char const size=32",
     "has another size than its base"},
    {"array int 3 size=96", "array int 3 size=64", "has another size than its elements together"},
    {"pointer int size=16", "pointer int size=32", "is a pointer of other than 16 bits"},
    {"    param char.const*\n  endlist params", "    param char.const*",
     "announces a list that never comes or never ends"},
    {"    member y short offset=32 width=3 flag1", "    member y short offset=62 width=3 flag1",
     "has no room for member 2"},
    {"    member y short offset=32 width=3", "    member y short offset=32 width=17",
     "has a bit-field wider than its type, member 2"},
    {"    member x int offset=0", "    member x int offset=0 index=4", "is a member out of order"},
    {"align=32 members", "align=32", "begins a list that its type has not announced"},
};

constexpr CHANGE tree_changes[] = {
    {"(ASG:int (NAME:int s) (ICON:int 0))", "(NAME:int s)", "is a statement without a side effect"},
    {"(ASG:int (NAME:int s) (ICON:int 0))",
     "(PCOMMA:int (ASG:int (NAME:int s) (ICON:int 0)) (ASG:int (NAME:int s) (ICON:int 0)))",
     "appears outside the argument prolog"},
    {"(ASG:int (NAME:int s) (ICON:int 0))", "(ASG:int (ICON:int 1) (ICON:int 0))",
     "assigns to something that is no lvalue"},
    {"(ASG:int (NAME:int s) (ICON:int 0))", "(ASG:int (NAME:int s) (ICON:short 0))",
     "assigns a value of another size"},
    {"(ASG:int (NAME:int s) (ICON:int 0))", "(ASG:int (NAME:int s) (ICON:struct.p 0))",
     "has a type that is no integer"},
    {"(ASG:int (NAME:int s) (ICON:int 0))", "(ASG:int (NAME:int s) (FCON:int 0x1p+0))",
     "has a type that is not floating"},
    {"(ASG:int (NAME:int s) (ICON:int 0))", "(ASG:int (NAME:short s) (ICON:short 0))",
     "has not the size of its symbol"},
    {"(ASG:int (NAME:int s) (ICON:int 0))", "(ASG:int (NAME:int s) (NAME:int a@1.0))",
     "names a parameter as passed outside the argument prolog"},
    {"(ASG:int (NAME:int s) (ICON:int 0))", "(STASG:int (NAME:int s) (ICON:int 0))",
     "has an operand that is no class"},
    {"(ASG:int (NAME:int s) (ICON:int 0))",
     "(ASG:int (NAME:int s) (COLON:int (ICON:int 0) (ICON:int 0)))", "appears outside a QUEST"},
    {"(ASG:int (NAME:int s) (ICON:int 0))", "(ASG:int (NAME:int s) (LABEL:int 3))",
     "stands outside a jump"},
    {"(ASG:int (NAME:int s) (ICON:int 0))", "(ASG:int (NAME:int s) (BRANCH:int (LABEL:int 3)))",
     "stands below an operator"},
    {"(ASG:int (NAME:int s) (ICON:int 0))",
     "(ASG:int (NAME:int s) (COMMA:int (ICON:int 0) (ICON:int 0)))",
     "stands outside an argument list"},
    {"(ASG:int (NAME:int s) (ICON:int 0))", "(PLUSPLUS:int (NAME:int s) (NAME:int a))",
     "steps by something that is no constant"},
    {"(ASG:int (NAME:int s) (ICON:int 0))", "(ASG:int (NAME:int s) (ABS:int (NAME:struct.p* q)))",
     "has an operand that is not arithmetic"},
    {"(LT:int (NAME:int i) (NAME:int a))", "(LT:int (NAME:int i) (NAME:struct.p* q))",
     "compares values of different sizes"},
    {"(LT:int (NAME:int i) (NAME:int a))", "(NAME:struct.p _gp)",
     "has a condition that is no scalar"},
    {"(NAME:int a)\n      (COMMA", "(NAME:struct.p* q)\n      (COMMA",
     "switches on something that is no integer"},
    {"(DEFAULT:int (LABEL:int 3))", "(CASE:int (ICON:int 1) (LABEL:int 3))", "has value 1 again"},
    {"(CASE:int (ICON:int 1) (LABEL:int 2))", "(DEFAULT:int (LABEL:int 2))",
     "has several DEFAULTs"},
    {"(CASE:int (ICON:int 1) ", "(CASE:int (NAME:int s) ", "has no constant"},
    {"(SWITCH:int\n", "(SWITCH:int cases=4\n", "counts 4 cases but has 1"},
    {"(STREF:short (NAME:struct.p* q) ", "(STREF:short (NAME:int s) ",
     "selects through something that is no pointer to a class"},
    {"(FIELD:short y struct.p)", "(ICON:short 1)", "has no member"},
    {"(STREF:short (NAME:struct.p* q) (FIELD:short y struct.p))", "(FIELD:short y struct.p)",
     "stands outside STDOT and STREF"},
    {"(STREF:short (NAME:struct.p* q)", "(STDOT:short (NAME:struct.p* q)",
     "selects from something that is no class"},
    {"(UMINUS:int (NAME:int i))", "(UMULT:int (NAME:int i))",
     "follows something that is no pointer"},
    {"(UMINUS:int (NAME:int i))", "(SCONV:int (NAME:struct.p* q))",
     "converts something that is not arithmetic"},
    {"(UMINUS:int (NAME:int i))", "(EXCLAIM:int (NAME:struct.p _gp))",
     "has an operand that is no scalar"},
    {"(ORB:int (NAME:int a) (NAME:int s))", "(ORB:int (NAME:int a) (NAME:struct.p* q))",
     "has an operand that is no integer"},
    {"(PMCONV:int (NAME:int i) (ICON:int 32))", "(PMCONV:int (NAME:int i) (NAME:int s))",
     "does not scale an integer by a constant"},
    {"(PMCONV:int (NAME:int i) (ICON:int 32))", "(NAME:struct.p* q)",
     "adds something that is not arithmetic to a pointer"},
    {"(UAND:int[3]* (NAME:int[3] _g))", "(UAND:int[3]* (ICON:int 3))",
     "takes the address of something that is no lvalue"},
    {"extra=1", "extra=0",
     "passes 2 arguments where the function takes 1 and the extra ones are 0"},
    {"(UAND:int(char.const*,...)* (NAME:int(char.const*,...) _printf))", "(NAME:int s)",
     "calls something that is no pointer to function"},
    {"(NAME:int(int,struct.p*) _f)", "(NAME:int[3] _g)", "does not name its function"},
    {"(COLON:int (NAME:int s) (ANDAND", "(COMMA:int (NAME:int s) (ANDAND", "has no COLON"},
    {"(BRANCH:int (LABEL:int 1))", "(BRANCH:int (NAME:int s))", "has no label"},
};

class IcLintRules : public IcLint,
                    public testing::WithParamInterface<std::pair<const CHANGE *, std::size_t>> {};

TEST_P(IcLintRules, EachChangeIsFound) {
    const auto [changes, count] = GetParam();
    for (const CHANGE *c = changes; c != changes + count; ++c) {
        std::string text = clean;
        const std::size_t at = text.find(c->from);
        ASSERT_NE(at, std::string::npos) << c->from;
        text.replace(at, std::string(c->from).size(), c->to);
        const TOOL_RESULT result = lint(text);
        EXPECT_EQ(result.exit_code, 1) << c->from << " -> " << c->to;
        EXPECT_NE(result.out.find(c->violation), std::string::npos)
            << c->from << " -> " << c->to << "\nwanted: " << c->violation
            << "\ngot: " << result.out;
        EXPECT_NE(result.out.find(": offset 0x"), std::string::npos) << result.out;
    }
}

INSTANTIATE_TEST_SUITE_P(All, IcLintRules,
                         testing::Values(std::pair{file_changes, std::size(file_changes)},
                                         std::pair{type_changes, std::size(type_changes)},
                                         std::pair{tree_changes, std::size(tree_changes)}));

TEST_F(IcLint, UnreadableFiles) {
    write_file(scratch / "empty.ic", "");
    write_file(scratch / "text.ic", "hello, this is no icode at all, but text");
    for (const char *name : {"empty.ic", "text.ic", "missing.ic"}) {
        const TOOL_RESULT result = run_tool({"ic-lint", (scratch / name).string()}, scratch);
        EXPECT_EQ(result.exit_code, 1) << name;
        EXPECT_FALSE(result.out.empty()) << name;
    }
    EXPECT_EQ(run_tool({"ic-lint", "--frob"}, scratch).exit_code, 1);
}
} // namespace
