// What the C front end refuses, measures, stores and says. That what it writes is right is shown by
// the checker of files over all programs.
#include "tests/run/tool.h"

namespace {
class IcCc : public testing::Test {
protected:
    TOOL_RESULT compile(std::string_view text, std::vector<std::string> options = {},
                        const char *file = "t.c") {
        write_file(scratch / file, text);
        std::vector<std::string> words{"ic-cc", "-o", (scratch / "t.ic").string(),
                                       (scratch / file).string()};
        words.insert(words.end(), options.begin(), options.end());
        return run_tool(words, scratch);
    }
    bool has_output() { return fs::exists(scratch / "t.ic"); }
    SCRATCH scratch;
};

TEST_F(IcCc, RefusesWithPlaceAndReason) {
    struct CASE {
        const char *text;
        const char *place;
        const char *reason;
    };
    const CASE cases[] = {
        {"_Complex double z;", "1:10",
         "the type '_Complex double' cannot be compiled for this machine"},
        {"int x;\n_Atomic int a;", "2:9", "the type '_Atomic(int)'"},
        {"typedef int v4 __attribute__((vector_size(16)));\nv4 x;", "1:9",
         "the type '__attribute__"},
        {"_Thread_local int t;", "1:19", "a thread-local variable"},
        {"int f(int n) { int v[n]; return v[0]; }", "1:20", "an array of variable length"},
        {"int f(int n) { asm(\"add %0\" : \"+r\"(n)); return n; }", "1:16",
         "inline assembly with operands"},
        {"int f(int n) { return *(int *)__builtin_alloca(n); }", "1:31", "'alloca'"},
        {"int f(void) { return __builtin_frame_address(0) != 0; }", "1:22",
         "the built-in function '__builtin_frame_address'"},
        {"int vfork(void) __attribute__((returns_twice)); int f(void) { return vfork(); }", "1:70",
         "a function that returns twice"},
        {"void f(void *p) { goto *p; }", "1:19",
         "indirect goto in function with no address-of-label"},
        {"int big[100000];", "1:8", "an array larger than the machine's memory"},
        {"struct s { char c; int i; } __attribute__((packed)) x;", "1:8",
         "a packed record with gaps"},
        {"int x __attribute__((aligned(8192)));", "1:5", "this alignment"},
        {"struct s { int a[20000]; int b[20000]; } s;",
         "1:", "a record larger than the machine's memory"},
        {"_Static_assert(sizeof(int) == 4, \"\");", "1:1", "int"},
        {"int f(void) { return y; }", "1:22", "use of undeclared identifier 'y'"},
        {"int f(void);\nint g = f();", "2:9", "not a compile-time constant"},
    };
    for (const CASE &c : cases) {
        const TOOL_RESULT result = compile(c.text);
        EXPECT_EQ(result.exit_code, 1) << c.text;
        EXPECT_NE(result.err.find(std::string("t.c:") + c.place), std::string::npos)
            << c.text << "\n"
            << result.err;
        EXPECT_NE(result.err.find(c.reason), std::string::npos) << c.text << "\n" << result.err;
        EXPECT_FALSE(has_output()) << c.text;
    }
}

TEST_F(IcCc, RefusesWhatCppHasByName) {
    struct CASE {
        const char *text;
        const char *place;
        const char *reason;
    };
    const CASE cases[] = {
        {"void f() { throw 1; }", "1:12", "'throw' cannot be compiled for this machine"},
        {"int f() {\n  try { return 1; } catch (...) { return 2; } }", "2:3", "'try'"},
        {"struct a { virtual int f(); }; struct b : virtual a {}; int g(b *p) { return p->f(); }",
         "1:43", "a virtual base class"},
        {"struct a { virtual int f(); }; struct b : a {};\nb *f(a *p) { return dynamic_cast<b "
         "*>(p); }",
         "2:21", "'dynamic_cast'"},
        {"struct a { int x; };\nint a::*p = &a::x;", "2:1", "the type 'int struct a::*'"},
        {"struct s { ~s(); };\nvoid f(int n) { s a; if (n) goto l; l: n++; }", "2:37",
         "a label where objects wait for their destructors"},
        {"int g();\nvoid f() { while (int n = g()) n--; }", "2:12",
         "a declaration in the condition of a loop"},
        {"struct a { int x; }; struct b : a { int y; };\nb f() { return b{{1}, 2}; }", "2:17",
         "a list that initialises base classes"},
    };
    for (const CASE &c : cases) {
        const TOOL_RESULT result = compile(c.text, {}, "t.cpp");
        EXPECT_EQ(result.exit_code, 1) << c.text;
        EXPECT_NE(result.err.find(std::string("t.cpp:") + c.place), std::string::npos)
            << c.text << "\n"
            << result.err;
        EXPECT_NE(result.err.find(c.reason), std::string::npos) << c.text << "\n" << result.err;
        EXPECT_FALSE(has_output()) << c.text;
    }
}

TEST_F(IcCc, NamesAndMarksOfCpp) {
    expect_success(
        compile("namespace n { struct s { s(int); ~s(); int f(float) const; }; }\n"
                "int n::s::f(float) const { return 1; }\nn::s::s(int) {}\nn::s::~s() {}\n"
                "extern \"C\" int plain(int v) { return v; }\nint over(short) { return 2; }\n"
                "n::s global(1);\n",
                {}, "t.cpp"),
        "ic-cc");
    const std::string text = run_tool({"ic-dis", (scratch / "t.ic").string()}, scratch).out;
    for (const char *words : {"__ZNK1n1s1fEf ", "__ZN1n1sC1Ei ", "__ZN1n1sD1Ev ", "_plain ",
                              "__Z4overs ", "FUNC_IN_INIT_ARRAY", "SRC_LANGUAGE \"C++\""})
        EXPECT_NE(text.find(words), std::string::npos) << words << "\n" << text;
}

TEST_F(IcCc, TakesUnusualC) {
    const char *const texts[] = {
        "int a[] = {[3] = 1, [1] = 2}; char s[] = \"ab\" \"cd\"; char *t[] = {\"x\", 0};",
        "int f(int n) { switch (n) { case 1 ... 5: return 1; default: return 0; } }",
        "int f(int x) { goto in; { int y = 3; in: y = x; return y; } }",
        "int f(int n) { return _Generic(n, int: 1, default: 2); }",
        "union u { int i; struct { short a, b; }; }; short f(union u *p) { return p->b; }",
        "#include <stddef.h>\nwchar_t w = L'x'; const wchar_t *s = L\"wide\"; size_t n = "
        "sizeof(w);",
        "int main(void) { int (*p)[3] = (int[2][3]){{1, 2, 3}, {4, 5, 6}}; return p[1][2]; }",
        "int f(double d, float g) { return d < g || (d == 1.5 && g); }",
        "asm(\"at file level\"); void f(void) { asm(\"nop\"); }",
        "int f(int n) { do { if (n) continue; break; } while (--n); for (;;); }",
        "int f(void) { return 1; } int (*table[])(void) = {f, &f, 0};",
    };
    for (const char *text : texts) {
        expect_success(compile(text), text);
        expect_success(run_tool({"ic-lint", (scratch / "t.ic").string()}, scratch), text);
    }
}

TEST_F(IcCc, SizesAreTheMachines) {
    const TOOL_RESULT result =
        compile("struct bits { unsigned a : 3, b : 30; int : 0; signed c : 7; };\n"
                "struct node { char tag; struct node *next; double d; short s[3]; } n;",
                {"--show-sizes"});
    expect_success(result, "--show-sizes");
    EXPECT_FALSE(has_output());
    const char *const lines[] = {
        "char                     size 1 align 1\n",
        "short                    size 1 align 1\n",
        "int                      size 2 align 2\n",
        "double                   size 2 align 2\n",
        "void *                   size 1 align 1\n",
        "struct node              size 8 align 2\n",
        "  next                   offset 1\n",
        "  d                      offset 2\n",
        "  s                      offset 4\n",
        "  b                      offset 2 bit 0 width 30\n",
        "  c                      offset 4 bit 0 width 7\n",
    };
    for (const char *line : lines)
        EXPECT_NE(result.out.find(line), std::string::npos) << line << result.out;
}

TEST_F(IcCc, OptionsAndPragmasReachTheFile) {
    expect_success(
        compile("__attribute__((always_inline)) static inline int one(int a) { return a + 1; }\n"
                "int f(int *p, int n) { int s = 0;\n#pragma MUST_ITERATE(4, 100, 4)\n"
                "#pragma UNROLL(2)\nfor (int i = 0; i < n; i++) s += one(p[i]); return s; }",
                {"-Xopt", "--opt_level=3", "--option=--alias_vars", "-DUNUSED=1"}),
        "ic-cc");
    const std::string text = run_tool({"ic-dis", (scratch / "t.ic").string()}, scratch).out;
    for (const char *words : {"--opt_level=3", "--alias_vars", "MUST_ITERATE", "\"100\"", "UNROLL",
                              "FUNC_ALWAYS_INLINE"})
        EXPECT_NE(text.find(words), std::string::npos) << words << "\n" << text;
}

TEST_F(IcCc, MistakesOnTheCommandLine) {
    struct CASE {
        std::vector<std::string> words;
        const char *message;
    };
    const CASE cases[] = {
        {{}, "no input file"},
        {{"a.c", "b.c"}, "more than one input file"},
        {{"-Q", "a.c"}, "unknown option '-Q'"},
        {{"a.c", "-o"}, "option '-o' needs a value"},
        {{(scratch / "none.c").string()}, "cannot read '"},
    };
    for (const CASE &c : cases) {
        std::vector<std::string> words{"ic-cc"};
        words.insert(words.end(), c.words.begin(), c.words.end());
        const TOOL_RESULT result = run_tool(words, scratch);
        EXPECT_EQ(result.exit_code, 1) << c.message;
        EXPECT_NE(result.err.find(c.message), std::string::npos) << result.err;
    }
    write_file(scratch / "ok.c", "int x;");
    EXPECT_EQ(
        run_tool({"ic-cc", "-o", "/dev/full", (scratch / "ok.c").string()}, scratch).exit_code, 1);
}
} // namespace
