// ic-run: what programs of C and trees written by hand do when they run, and how runs end.
#include "tests/run/tool.h"

#include <cstdint>
#include <cstdlib>

namespace {
class IcRun : public testing::Test {
protected:
    std::string path(const char *name) { return (scratch / name).string(); }
    // Compiles C, or assembles the text form; gives the name of the file.
    std::string make(std::string_view text, const char *name = "t") {
        const bool is_c = text.find("endfunction") == std::string_view::npos;
        const std::string from = path(name) + (is_c ? ".c" : ".ict"), to = path(name) + ".ic";
        write_file(from, text);
        expect_success(run_tool({is_c ? "ic-cc" : "ic-as", "-o", to, from}, scratch), from);
        return to;
    }
    TOOL_RESULT run(std::vector<std::string> words) {
        words.insert(words.begin(), "ic-run");
        return run_tool(words, scratch);
    }
    // Plain, with checks and with counts, which must make no difference to the program.
    void expect_run(std::string_view text, std::string_view out, int status = 0) {
        const std::string file = make(text);
        for (const char *option : {"", "--check", "--count"}) {
            std::vector<std::string> words{file};
            if (*option) words.insert(words.begin(), option);
            const TOOL_RESULT result = run(words);
            EXPECT_EQ(result.exit_code, status) << option << "\n" << text << result.err;
            EXPECT_EQ(result.out, out) << option << "\n" << text << result.err;
        }
    }
    SCRATCH scratch;
};

// A file whose main prints the values of trees, by the format that stands before each.
std::string tree_program(const std::vector<std::pair<std::string, std::string>> &trees,
                         const std::string &globals = "", const std::string &locals = "") {
    std::string text = "globals\n"
                       "  sym _main int(void) sc=2 align=16\n"
                       "  sym _printf int(char.const*,...) sc=5 align=16\n" +
                       globals + "code\n  function _main\n    args\n" + locals + "    locals\n";
    for (const auto &[format, tree] : trees)
        text += "    (CALL:int extra=1 (UAND:int(char.const*,...)* (NAME:int(char.const*,...) "
                "_printf)) (COMMA:int (PCONV:char.const* (SCON:char* \"" +
                format + "\")) " + tree + "))\n";
    return text + "    (RETURN:int (NAME:int(void) _main) (ICON:int 0))\n"
                  "    info 76\n  endfunction\n";
}

// --- arithmetic

struct INTEGER_TYPE {
    const char *name;
    unsigned width;
    bool is_signed;
    // A value of the type's width as the type reads it.
    std::int64_t read(std::int64_t v) const {
        const std::int64_t low = v & ((std::int64_t{1} << width) - 1);
        return is_signed && (low >> (width - 1)) ? low - (std::int64_t{1} << width) : low;
    }
};
constexpr INTEGER_TYPE integer_types[] = {
    {"short", 16, true}, {"unsigned_short", 16, false}, {"int", 32, true}, {"unsigned", 32, false}};
constexpr std::int64_t interesting[] = {
    0, 1, 2, -1, 7, -7, 15, 16, 31, 32, 33, 255, 32767, -32768, 0x7fff, 0x7fffffff, -2147483648};

std::int64_t shifted(const INTEGER_TYPE &t, bool left, std::int64_t a, std::int64_t count) {
    const bool outside = count < 0 || count >= t.width;
    if (left) return outside ? 0 : t.read(a << count);
    if (outside) return t.is_signed && a < 0 ? t.read(-1) : 0;
    return a >> count;
}

// What the operator gives, computed in 64 bits; false where it gives nothing.
bool reference(const std::string &op, const INTEGER_TYPE &t, std::int64_t a, std::int64_t b,
               std::int64_t &value) {
    if (op == "PLUS") value = a + b;
    if (op == "MINUS") value = a - b;
    if (op == "MULT") value = a * b;
    if (op == "ANDB") value = a & b;
    if (op == "ORB") value = a | b;
    if (op == "XORB") value = a ^ b;
    if (op == "DIV" || op == "MOD") {
        if (b == 0) return false;
        value = op == "DIV" ? a / b : a % b;
    }
    if (op == "SLL" || op == "SRL") value = shifted(t, op == "SLL", a, b);
    value = t.read(value);
    return true;
}

// Operands as constants and as variables take different roads through the interpreter.
TEST_F(IcRun, IntegerArithmeticWrapsInTheNodesType) {
    for (const INTEGER_TYPE &t : integer_types) {
        const std::string type = t.name;
        const auto icon = [&](std::int64_t v) {
            return "(ICON:" + type + " " + std::to_string(v) + ")";
        };
        std::vector<std::pair<std::string, std::string>> trees;
        std::string expected, assigned;
        const std::string wide = t.width == 32 ? "" : "(SCONV:int ";
        const auto print = [&](const std::string &tree, std::int64_t value) {
            trees.emplace_back(t.is_signed ? "%d " : "%u ",
                               wide + tree + (wide.empty() ? "" : ")"));
            expected += std::to_string(value) + " ";
        };
        for (std::int64_t left : interesting)
            for (std::int64_t right : {left, std::int64_t{3}, std::int64_t{-5}, std::int64_t{40}})
                for (const char *op :
                     {"PLUS", "MINUS", "MULT", "DIV", "MOD", "ANDB", "ORB", "XORB", "SLL", "SRL"}) {
                    const std::int64_t a = t.read(left), b = t.read(right);
                    std::int64_t value = 0;
                    if (!reference(op, t, a, b, value)) continue;
                    const std::string head = "(" + std::string(op) + ":" + type + " ";
                    const std::string a_variable = "(COMMAOP:" + type + " (ASG:" + type +
                                                   " (NAME:" + type + " x) " + icon(a) +
                                                   ") (NAME:" + type + " x))";
                    print(head + icon(a) + icon(b) + ")", value);
                    print(head + a_variable + "(COMMAOP:" + type + " (ASG:" + type +
                              " (NAME:" + type + " _g) " + icon(b) + ") (NAME:" + type + " _g)))",
                          value);
                    print("(COMMAOP:" + type + " (ASG:" + type + " (NAME:" + type + " x) " +
                              icon(a) + ") (COMMAOP:" + type + " (" + op + "ASG:" + type +
                              " (NAME:" + type + " x) " + icon(b) + ") (NAME:" + type + " x)))",
                          t.width == 32 || (std::string(op) != "SLL" && std::string(op) != "SRL")
                              ? value
                              : t.read(shifted({"int", 32, true}, std::string(op) == "SLL", a, b)));
                }
        expect_run(
            tree_program(trees, "  sym _g " + type + " sc=2\n", "    sym x " + type + " sc=1\n"),
            expected);
    }
}

TEST_F(IcRun, ComparisonsGoByOperatorAndWidth) {
    for (const INTEGER_TYPE &t : integer_types) {
        const std::string type = t.name;
        std::vector<std::pair<std::string, std::string>> trees;
        std::string expected;
        for (std::int64_t left : interesting)
            for (std::int64_t right : {left, std::int64_t{0}, std::int64_t{-1}}) {
                const std::int64_t a = t.read(left), b = t.read(right);
                const INTEGER_TYPE as_signed{"", t.width, true}, as_unsigned{"", t.width, false};
                const std::int64_t sa = as_signed.read(a), sb = as_signed.read(b);
                const std::int64_t ua = as_unsigned.read(a), ub = as_unsigned.read(b);
                const std::pair<const char *, bool> results[] = {
                    {"EQ", a == b},   {"NEQ", a != b},  {"LT", sa < sb},  {"LE", sa <= sb},
                    {"GT", sa > sb},  {"GE", sa >= sb}, {"ULT", ua < ub}, {"ULE", ua <= ub},
                    {"UGT", ua > ub}, {"UGE", ua >= ub}};
                for (const auto &[op, holds] : results) {
                    const std::string compare =
                        "(" + std::string(op) + ":int (COMMAOP:" + type + " (ASG:" + type +
                        " (NAME:" + type + " x) (ICON:" + type + " " + std::to_string(a) +
                        ")) (NAME:" + type + " x)) (ICON:" + type + " " + std::to_string(b) + "))";
                    trees.emplace_back("%d", compare); // as a value and as a condition
                    trees.emplace_back("%d", "(QUEST:int " + compare +
                                                 " (COLON:int (ICON:int 1) (ICON:int 0)))");
                    trees.emplace_back("%d", "(QUEST:int (EXCLAIM:int " + compare +
                                                 ") (COLON:int (ICON:int 0) (ICON:int 1)))");
                    expected += holds ? "111" : "000";
                }
            }
        expect_run(tree_program(trees, "", "    sym x " + type + " sc=1\n"), expected);
    }
}

TEST_F(IcRun, UnaryOperatorsFloatsAndConversions) {
    const struct {
        const char *format, *tree, *expected;
    } cases[] = {
        {"%d", "(UMINUS:int (ICON:int -2147483648))", "-2147483648"},
        {"%d", "(SCONV:int (UMINUS:short (ICON:short -32768)))", "-32768"},
        {"%d", "(ABS:int (ICON:int -5))", "5"},
        {"%d", "(SCONV:int (ABS:short (ICON:short -5)))", "5"},
        {"%d", "(SCONV:int (NOTB:unsigned_short (ICON:unsigned_short 1)))", "65534"},
        {"%d", "(NOTB:int (ICON:int 0))", "-1"},
        {"%d", "(SQR:int (ICON:int -300))", "90000"},
        {"%d", "(EXCLAIM:int (FCON:float -0x0p+0))", "1"},
        {"%d", "(EXCLAIM:int (FCON:float nan))", "0"},
        {"%g", "(SQR:float (FCON:float 1.5))", "2.25"},
        {"%g", "(SQRT:float (FCON:float 6.25))", "2.5"},
        {"%g", "(RECIP:float (FCON:float 8))", "0.125"},
        {"%g", "(ABS:float (FCON:float -0.5))", "0.5"},
        {"%g", "(UMINUS:float (FCON:float 0))", "-0"},
        {"%g", "(DIV:float (FCON:float 1) (FCON:float 0))", "inf"},
        {"%.0f", "(PLUS:float (FCON:float 16777216) (FCON:float 1))", "16777216"}, // ties to even
        {"%.0f", "(SCONV:float (ICON:int 16777217))", "16777216"},
        {"%.0f", "(SCONV:float (ICON:unsigned 4294967295))", "4294967296"},
        {"%.0f", "(SCONV:float (ICON:short -3))", "-3"},
        {"%.0f", "(SCONV:float (ICON:unsigned_short 65535))", "65535"},
        {"%d", "(SCONV:int (FCON:float -1.75))", "-1"},
        {"%d", "(SCONV:int (FCON:float 4294967296))", "0"}, // the low bits of the truncated value
        {"%d", "(SCONV:int (FCON:float 6442450944))", "-2147483648"},
        {"%u", "(SCONV:unsigned (FCON:float -2))", "4294967294"},
        {"%d", "(SCONV:int (SCONV:short (FCON:float 65537)))", "1"},
        {"%d", "(SCONV:int (FCON:float inf))", "0"},
        {"%d", "(SCONV:int (SCONV:short (ICON:int 98304)))", "-32768"},
        {"%d", "(SCONV:int (SCONV:unsigned_short (ICON:int -1)))", "65535"},
        {"%d", "(SCONV:bool (ICON:int 256))", "1"},
        {"%d", "(LT:int (FCON:float nan) (FCON:float 1))", "0"},
        {"%d", "(NEQ:int (FCON:float nan) (FCON:float nan))", "1"},
        {"%d",
         "(QUEST:int (LT:int (FCON:float nan) (FCON:float 1)) (COLON:int (ICON:int 1) "
         "(ICON:int 2)))",
         "2"},
        {"%d",
         "(QUEST:int (GE:int (FCON:float nan) (FCON:float 1)) (COLON:int (ICON:int 1) "
         "(ICON:int 2)))",
         "2"},
        {"%d", "(PMCONV:int (ICON:int -7) (ICON:int 96))", "-42"},
        {"%d", "(PVCONV:int (ICON:int -42) (ICON:int 96))", "-7"},
        {"%d", "(LCON:int 4294967297)", "1"},
        {"%d",
         "(COMMAOP:int (ASG:int (NAME:int _g) (ICON:int 9)) (MINUS:int (NAME:int _g) "
         "(ASG:int (NAME:int _g) (ICON:int 4))))",
         "5"},
        {"%d",
         "(COMMAOP:int (ASG:int (NAME:int x) (ICON:int 9)) (MINUS:int (NAME:int x) "
         "(ASG:int (NAME:int x) (ICON:int 4))))",
         "5"},
        {"%d",
         "(COMMAOP:int (ASG:int (NAME:int x) (ICON:int 9)) (MINUS:int (PLUSPLUS:int "
         "(NAME:int x) (ICON:int 3)) (NAME:int x)))",
         "-3"},
        {"%d", "(ANDAND:int (ICON:int 7) (FCON:float 0.5))", "1"},
        {"%d", "(OROR:int (ICON:short 0) (PCONV:char* (ICON:short 0)))", "0"},
    };
    std::vector<std::pair<std::string, std::string>> trees;
    std::string expected;
    for (const auto &c : cases) {
        trees.emplace_back(std::string(c.format) + "\\n", c.tree);
        expected += std::string(c.expected) + "\n";
    }
    expect_run(tree_program(trees, "  sym _g int sc=2\n", "    sym x int sc=1\n"), expected);
}

// --- programs

TEST_F(IcRun, Programs) {
    const struct {
        const char *text, *out;
        int status = 0;
    } cases[] = {
        {"int main(void) { return 300; }", "", 44},
        {"#include <stdlib.h>\n#include <stdio.h>\nvoid a(void) { printf(\"a\"); }\n"
         "void b(void) { printf(\"b\"); }\n"
         "int main(void) { atexit(a); atexit(b); printf(\"m\"); exit(-1); }",
         "mba", 255},
        {"#include <stdio.h>\n#include <stdlib.h>\nvoid a(void) { printf(\"a\"); }\n"
         "int main(void) { atexit(a); printf(\"m\"); }",
         "ma", 0},
        // The address of a compound assignment's target is computed once, before the source.
        {"#include <stdio.h>\nint a[4], i; int next(void) { return i++; }\n"
         "int main(void) { a[next()] += 2 + i; a[next()] = i; a[next()]++;\n"
         "  printf(\"%d %d %d %d %d\\n\", a[0], a[1], a[2], a[3], i); }",
         "3 2 1 0 3\n"},
        // Classes: arguments, results, nested calls, choices, overlap.
        {"#include <stdio.h>\nstruct s { int a; short b; int c[3]; };\n"
         "struct s make(int n) { struct s r = {n, (short)(n + 1), {n, n, n + 2}}; return r; }\n"
         "struct s sum(struct s x, short k, struct s y) {\n"
         "  x.a += y.a * k; x.c[2] += y.c[2]; return x; }\n"
         "int main(void) { struct s one = make(1), two;\n"
         "  two = sum(sum(one, 2, make(10)), 3, sum(make(5), 1, one));\n"
         "  printf(\"%d %d %d %d\\n\", two.a, two.b, two.c[2], one.a);\n"
         "  printf(\"%d\\n\", (one.a ? two : one).c[2]); two = two.a < 0 ? one : make(7);\n"
         "  printf(\"%d %d\\n\", two.a, make(3).c[2]); }",
         "39 2 25 1\n25\n7 5\n"},
        {"#include <stdio.h>\nunion u { struct { int a[4]; } x; struct { int z; struct { int a[4]; "
         "} x; } y; };\nint main(void) { union u v = {{{1, 2, 3, 4}}}; struct t { int a[4]; };\n"
         "  *(struct t *)&v.y.x = *(struct t *)&v.x;\n"
         "  printf(\"%d %d %d %d\\n\", v.y.x.a[0], v.y.x.a[1], v.y.x.a[2], v.y.x.a[3]); }",
         "1 2 3 4\n"},
        {"#include <stdio.h>\nstruct f { unsigned a : 3; int b : 5; short c : 4; unsigned d : 32; }"
         " g = {7, -3, -8, 0xffffffff};\n"
         "int main(void) { struct f *p = &g; printf(\"%d %d %d %u\\n\", g.a, g.b, g.c, g.d);\n"
         "  p->a += 3; p->b -= 14; p->c = 9; int v = (p->b = 17); g.d >>= 31;\n"
         "  printf(\"%d %d %d %d %u %d\\n\", p->a, p->b, p->c, v, g.d, p->a++);\n"
         "  printf(\"%d\\n\", p->a); }",
         "7 -3 -8 4294967295\n2 -15 -7 -15 1 2\n3\n"},
        {"#include <stdio.h>\n#include <stdarg.h>\nstruct p { int x; short y; };\n"
         "int sum(short n, ...) { va_list v; va_start(v, n); int s = 0;\n"
         "  s += va_arg(v, int); s += (int)(va_arg(v, double) * 4); struct p q = va_arg(v, struct "
         "p);\n  s += q.x * q.y + *va_arg(v, char *); s += va_arg(v, int); va_end(v); return s * "
         "n; "
         "}\nint main(void) { struct p q = {10, 20}; short k = 5;\n"
         "  printf(\"%d\\n\", sum(2, 1, 0.75, q, \"A\", k)); }",
         "548\n"},
        {"#include <stdio.h>\nint f(int v) { switch (v) { case -1: return 1; case 0: case 7: v++;\n"
         "  case 100000: return v; case 0x7fffffff: return 3; default: return 4; } }\n"
         "int g(unsigned short v) { switch (v) { case 65535: return 1; } return 2; }\n"
         "int main(void) { printf(\"%d%d%d%d%d%d \", f(-1), f(0), f(7), f(100000), f(0x7fffffff), "
         "f(5));\n  printf(\"%d%d\\n\", g(-1), g(1)); }",
         "118100000"
         "34 12\n"},
        {"#include <stdio.h>\nint add(int a, int b) { return a + b; }\n"
         "int sub(int a, int b) { return a - b; }\nint (*ops[])(int, int) = {add, sub};\n"
         "static int n; int count(int r) { n++; return r; }\n"
         "int main(void) { int (*p)(int, int) = sub; for (int i = 0; i < 2; i++)\n"
         "  printf(\"%d %d \", ops[i](7, 3), ops[i] == p);\n"
         "  if (count(1) && !count(0) || count(1)) printf(\"%d \", n);\n"
         "  printf(\"%d %d\\n\", (count(0), 5), n); }",
         "10 0 4 1 2 5 3\n"},
        {"#include <stdio.h>\nchar *name = \"ab\" ; short m[2][3] = {{1, 2, 3}, {4, 5, 6}};\n"
         "short *at = &m[1][1]; struct { char t[4]; float f; char *s; } r = {\"xy\", 1.5f, "
         "\"z\"};\n"
         "int main(void) { short *p = m[0]; printf(\"%s %d %d %d \", name + 1, *at, (int)(at - "
         "p),\n"
         "  at > p); printf(\"%s %g %s %d\\n\", r.t, r.f, r.s, r.t[3]);\n"
         "  char *q = name; q++; printf(\"%d %d\\n\", (int)(q - name), *--q); }",
         "b 5 4 1 xy 1.5 z 0\n1 97\n"},
        {"#include <stdio.h>\n#include <stdlib.h>\nint down(const void *a, const void *b) {\n"
         "  int v[3] = {*(const int *)a, *(const int *)b, 0}; return v[1] - v[0]; }\n"
         "int main(void) { int a[] = {3, 1, 4, 1, 5}; qsort(a, 5, sizeof *a, down);\n"
         "  div_t d = div(-7, 2);\n"
         "  printf(\"%d%d%d%d%d %d %d\\n\", a[0], a[1], a[2], a[3], a[4], d.quot, d.rem); }",
         "54311 -3 -1\n"},
        {"int f(int n) { return n ? f(n - 1) + 1 : 0; } int main(void) { return f(200); }", "",
         200},
        {"#include <stdio.h>\nfloat f(float x, double y) { return x * y + 0.5f; }\n"
         "int main(void) { float s = 0; for (int i = 0; i < 10; i++) s += 0.1f;\n"
         "  printf(\"%.9g %g %d %u\\n\", s, f(2, 3), (int)-2.9f, (unsigned)3e9f); }",
         "1.00000012 6.5 -2 3000000000\n"},
    };
    for (const auto &c : cases)
        expect_run(c.text, c.out, c.status);
}

// The examples are written so that sizes make no difference to what they print.
TEST_F(IcRun, ExamplesPrintWhatTheHostsCompilerMakesThemPrint) {
    if (std::system("cc --version > /dev/null 2>&1") != 0) GTEST_SKIP() << "no compiler";
    const std::vector<std::string> programs = c_programs("examples");
    EXPECT_GE(programs.size(), 10u);
    for (const std::string &program : programs) {
        const std::string native = path("native"), icode = path("example.ic");
        const std::string build = "cc -w -O1 -fwrapv -ffp-contract=off -o " + native + " " +
                                  program + " -lm && " + native + " > " + native + ".out";
        ASSERT_EQ(std::system(build.c_str()), 0) << program;
        expect_success(run_tool({"ic-cc", "-o", icode, program}, scratch), program);
        const TOOL_RESULT result = run({"--count", icode});
        EXPECT_EQ(result.exit_code, 0) << program << result.err;
        EXPECT_EQ(result.out, read_file(native + ".out")) << program;
    }
}

TEST_F(IcRun, ArgumentsReachMain) {
    const std::string file =
        make("#include <stdio.h>\nint main(int n, char **v) { for (int i = 1; i < n; i++)\n"
             "  printf(\"%d<%s>\", i, v[i]); return v[n] == 0 ? n : 99; }");
    for (const char *option : {"--count", "--check"}) {
        const TOOL_RESULT result = run({option, file, "--", "one", "", "--check"});
        EXPECT_EQ(result.exit_code, 4) << result.err;
        EXPECT_EQ(result.out, "1<one>2<>3<--check>");
    }
    EXPECT_EQ(run({make("int main(n, v) int n; char **v; { return n * 10 + (v[1][0] == 'x'); }"),
                   "--", "x"})
                  .exit_code,
              21);
}

TEST_F(IcRun, FilesAreLinkedByName) {
    const std::string a = make(
        "#include <stdio.h>\nextern int shared[]; int twice(int); static int own = 1;\n"
        "static int f(void) { return own; } int strlen(const char *s) { return 77; }\n"
        "int main(void) { printf(\"%d %d %d %d\\n\", shared[1], twice(4), f(), strlen(\"a\")); }",
        "a");
    const std::string b = make("int shared[2] = {1, 2}; static int own = 5;\n"
                               "static int f(void) { return own; }\n"
                               "int twice(int n) { return 2 * n + f(); }",
                               "b");
    for (const auto &files : {std::vector{a, b}, std::vector{b, a}}) {
        const TOOL_RESULT result = run(files);
        EXPECT_EQ(result.exit_code, 0) << result.err;
        EXPECT_EQ(result.out, "2 13 1 77\n");
    }
    const TOOL_RESULT twice = run({a, b, b});
    EXPECT_EQ(twice.exit_code, 122);
    EXPECT_EQ(twice.err, "ic-run: " + b + ": 'shared' is defined twice\n");
    const TOOL_RESULT missing = run({a});
    EXPECT_EQ(missing.exit_code, 122);
    EXPECT_EQ(missing.err, "ic-run: " + a + ": 'shared' is nowhere defined\n");
    const TOOL_RESULT without_main = run({b});
    EXPECT_EQ(without_main.exit_code, 122);
    EXPECT_EQ(without_main.err, "ic-run: no file defines the function 'main'\n");
    const std::string c =
        make("int shared(void) { return 1; } int twice(int n) { return n; }", "c");
    EXPECT_EQ(run({a, c}).err,
              "ic-run: " + a + ": 'shared' is a function in one file and an object in another\n");
}

// ic-cc refuses setjmp; other front ends may not.
TEST_F(IcRun, FarJumps) {
    const std::string call_set = "(CALL:int (UAND:int(short*)* (NAME:int(short*) _setjmp)) (PCONV:"
                                 "short* (UAND:int[4]* (NAME:int[4] _buffer))))";
    const std::string text = R"(globals
  sym _main int(void) sc=2 align=16
  sym _setjmp int(short*) sc=5 align=16
  sym _longjmp void(short*,int) sc=5 align=16
  sym _buffer int[4] sc=2
  sym _deep int(int) sc=2 align=16
code
  function _deep
    sym n int sc=9
    args
    sym n int sc=1
    locals
    (ASG:int (NAME:int n@2.1) (NAME:int n@1.0))
    (CBRANCH:int (NAME:int n@2.1) (LABEL:int 1))
    (RETURN:int (NAME:int(int) _deep) (CALL:int (UAND:int(int)* (NAME:int(int) _deep)) (MINUS:int (NAME:int n@2.1) (ICON:int 1))))
    label 1
    (CALL:void (UAND:void(short*,int)* (NAME:void(short*,int) _longjmp)) (COMMA:int (PCONV:short* (UAND:int[4]* (NAME:int[4] _buffer))) (ICON:int VALUE)))
    (RETURN:int (NAME:int(int) _deep) (ICON:int 99))
    info 76
  endfunction
  function _main
    args
    sym i int sc=1
    sym r int sc=1
    locals
    (ASG:int (NAME:int i) (ICON:int 0))
    (ASG:int (NAME:int r) )" +
                             call_set + R"()
    (PLUSASG:int (NAME:int i) (PLUS:int (NAME:int r) (ICON:int 1)))
    (CBRANCH:int (EQ:int (NAME:int r) (ICON:int 0)) (LABEL:int 1))
    (CALL:int (UAND:int(int)* (NAME:int(int) _deep)) (ICON:int 5))
    label 1
    (RETURN:int (NAME:int(void) _main) (NAME:int i))
    info 76
  endfunction
)";
    const auto with_value = [&](const char *value) {
        std::string changed = text;
        return changed.replace(changed.find("VALUE"), 5, value);
    };
    expect_run(with_value("40"), "", 42); // 1, then 41 more
    expect_run(with_value("0"), "", 3);   // 0 comes back as 1
    std::string nowhere = with_value("1");
    const std::size_t set = nowhere.find(call_set);
    nowhere.replace(set, call_set.size(), "(ICON:int 0)");
    const TOOL_RESULT result = run({make(nowhere)});
    EXPECT_EQ(result.exit_code, 125);
    EXPECT_NE(result.err.find("longjmp to a buffer that setjmp has not filled, in deep"),
              std::string::npos)
        << result.err;
}

// --- how runs end

TEST_F(IcRun, FaultsHaveAPlaceAndACode) {
    const struct {
        const char *text;
        int code;
        const char *message; // behind "ic-run: "
        const char *option = "--count";
    } cases[] = {
        {"int z; int main(void) {\n return 5 / z; }", 125, "division by zero, in main, t.c:2"},
        {"int z; int main(void) { return 5 % z; }", 125, "division by zero, in main, t.c:1"},
        {"unsigned z; int main(void) { return 5u / z; }", 125, "division by zero, in main, t.c:1"},
        {"unsigned z; int main(void) { return 5u % z; }", 125, "division by zero, in main, t.c:1"},
        {"short z; int main(void) { z /= z; return 0; }", 125, "division by zero, in main, t.c:1"},
        {"void (*f)(void); int main(void) { f(); }", 125,
         "call through a null pointer, in main, t.c:1"},
        {"int x; int main(void) { ((void (*)(void))&x)(); }", 125,
         "call of something that is no function, address 16, in main, t.c:1"},
        {"int f(int n) {\n  return f(n + 1) + 1; }\nint main(void) { return f(0); }", 123,
         "the stack has met the heap, in f, t.c:2"},
        {"void f(void) { f(); } int main(void) { f(); }", 123,
         "the stack has met the heap, in f, t.c:1"},
        {"int main(void) { int a[20000]; a[0] = 1; int b[20000]; b[0] = 1; return a[0]; }", 123,
         "the stack has met the heap"},
        {"#include <stdlib.h>\nint a[2]; int f(const void *x, const void *y) {\n"
         "  qsort(a, 2, 2, f); return 0; }\nint main(void) { qsort(a, 2, 2, f); }",
         123, "functions that the library calls are nested too deep, in f, t.c:3"},
        {"#include <stdlib.h>\nint main(void) { abort(); }", 127,
         "the program has aborted, in main"},
        {"#include <assert.h>\nint main(void) { assert(1 > 2); }", 127,
         "assertion '1 > 2' has failed"},
        {"int main(void) { int *p = 0; return *p; }", 126,
         "access through a null pointer, address 0, in main, t.c:1", "--check"},
        {"int a[3]; int main(void) { int i = 3; a[i] = 1; return 0; }", 126,
         "access outside any object, address 22, in main", "--check"},
        {"int main(void) { int a[3], b = 1; int i = 3;\n a[0] = b; return a[i]; }", 126,
         "access outside any object", "--check"},
        {"int a[2]; int main(void) { return *(int *)((short *)a + 1); }", 126,
         "misaligned access, address 17, in main", "--check"},
        {"int main(void) { int x; return x; }", 126, "read of a value that was never written",
         "--check"},
        {"int main(void) { int a[2]; a[1] = 1; return a[0]; }", 126,
         "read of a value that was never written", "--check"},
        {"#include <stdlib.h>\nint main(void) { int *p = malloc(4); return p[1]; }", 126,
         "read of a value that was never written", "--check"},
        {"#include <stdlib.h>\nint main(void) { int *p = malloc(4); p[2] = 1; return 0; }", 126,
         "access outside any object", "--check"},
        {"#include <stdlib.h>\nint main(void) { int *p = calloc(2, 2); free(p); return *p; }", 126,
         "access outside any object", "--check"},
        {"#include <stdlib.h>\nint main(void) { int *p = calloc(2, 2); free(p); free(p); }", 126,
         "release of what was not allocated", "--check"},
        {"int *f(void) { int x = 1; int *p = &x; return p; } int main(void) { return *f(); }", 126,
         "access outside any object", "--check"},
        {"#include <string.h>\nchar a[4]; int main(void) { strcpy(a, \"12345\"); return 0; }", 126,
         "access beyond the end of an object, address 20", "--check"},
        {"void _nassert(int); int main(void) { int x = 3;\n _nassert(x % 2 == 0); return 0; }", 126,
         "a promise does not hold, in main, t.c:2", "--check"},
        {"int f(int n) { if (n) return 1; } int main(void) { return f(0); }", 126,
         "return without a value, which the caller uses, in f, t.c:1", "--check"},
        {"int f(int a) { return a; } int main(void) { return ((int (*)(float))f)(1); }", 126,
         "call of 'f' gives a float as argument 1, the function takes a number of 32 bits",
         "--check"},
        {"int f(int a) { return a; } int main(void) { return (int)((float (*)(int))f)(1); }", 126,
         "call of 'f' takes a float as result, the function gives a number of 32 bits", "--check"},
    };
    for (const auto &c : cases) {
        const std::string file = make(c.text);
        const TOOL_RESULT result = run({c.option, file});
        EXPECT_EQ(result.exit_code, c.code) << c.text << "\n" << result.err;
        std::string line = result.err.substr(0, result.err.find('\n'));
        for (std::size_t at; (at = line.find(scratch / "")) != std::string::npos;)
            line.erase(at, (scratch / "").string().size());
        EXPECT_EQ(line.find("ic-run: "), 0u) << line;
        EXPECT_NE(line.find(c.message), std::string::npos) << c.text << "\n" << line;
    }
}

TEST_F(IcRun, ChecksCallsOverFiles) {
    const struct {
        const char *declared, *call, *defined, *message;
    } cases[] = {
        {"int f(int)", "f(1)", "int f(int a, int b) { return a; }",
         "call of 'f' with 1 arguments, the function has 2, in main"},
        {"int f(int, int)", "f(1, 2)", "int f(int a) { return a; }",
         "call of 'f' with 2 arguments, the function has 1, in main"},
        {"int f(short)", "f(1)", "int f(int a) { return a; }",
         "call of 'f' gives a number of 16 bits as argument 1, the function takes a number of 32"},
        {"int f(int, ...)", "f(1, 2)", "int f(int a, ...) { return a; }", nullptr},
        {"int f()", "f(1)", "int f(a) int a; { return a; }", nullptr},
    };
    for (const auto &c : cases) {
        const std::string a =
            make(std::string(c.declared) + "; int main(void) { return " + c.call + " - 1; }", "a");
        const std::string b = make(c.defined, "b");
        const TOOL_RESULT result = run({"--check", a, b});
        EXPECT_EQ(result.exit_code, c.message ? 126 : 0) << c.declared << "\n" << result.err;
        EXPECT_EQ(result.err.find(c.message ? c.message : ""), c.message ? 8u : 0u) << result.err;
    }
}

// Programs that do unusual but right things pass the checks.
TEST_F(IcRun, ChecksLetCorrectProgramsRun) {
    const char *const texts[] = {
        "struct s { int a, b; } g; struct s f(struct s x) { return x; }\n"
        "int main(void) { struct s x; x.a = 1; g = f(x); return g.a - 1; }",
        "struct b { unsigned a : 3, b : 4; }; int main(void) { struct b x; x.a = 5; x.b = 1;\n"
        "  return x.a - 5; }",
        "int main(void) { int a[3], *end = a + 3, s = 0; for (int *p = a; p < end; p++) *p = 1;\n"
        "  for (int *p = a; p < end; p++) s += *p; return s - 3; }",
        "void _nassert(int); int main(void) { _nassert(1); return 0; }",
        "#include <string.h>\nint main(void) { char a[8], b[8]; memset(a, 'x', 7); a[7] = 0;\n"
        "  memmove(a + 1, a, 6); strcpy(b, a); return strlen(b) - 7; }",
        "int f(int n) { if (n) return 1; } int main(void) { f(0); return 0; }",
    };
    for (const char *text : texts)
        expect_success(run({"--check", make(text)}), text);
}

TEST_F(IcRun, BadFilesAndCommands) {
    write_file(path("text"), "int main");
    write_file(path("empty"), "");
    const std::string unclean = make("globals\n  sym _main int(void) sc=2 align=16\ncode\n"
                                     "  function _main\n    args\n    locals\n    (BRANCH:int "
                                     "(LABEL:int 5))\n    info 76\n  endfunction\n");
    const struct {
        std::vector<std::string> words;
        int code;
        std::string message;
    } cases[] = {
        {{}, 120, "no file is given"},
        {{"--fast", "x.ic"}, 120, "unknown option --fast"},
        {{"--limit"}, 120, "--limit needs a number of steps"},
        {{"--limit", "0", "x.ic"}, 120, "--limit needs a number of steps"},
        {{"--limit", "12x", "x.ic"}, 120, "--limit needs a number of steps"},
        {{path("missing.ic")}, 121, path("missing.ic") + ": cannot be read"},
        {{path("text")}, 121, path("text") + ": offset 0x"},
        {{path("empty")}, 121, path("empty") + ": "},
        {{unclean}, 121, "jumps to label 5, which is not defined"},
    };
    for (const auto &c : cases) {
        const TOOL_RESULT result = run(c.words);
        EXPECT_EQ(result.exit_code, c.code) << c.message << "\n" << result.err;
        EXPECT_NE(result.err.find(c.message), std::string::npos) << result.err;
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    }
    const TOOL_RESULT help = run({"--help"});
    EXPECT_EQ(help.exit_code, 0);
    for (const char *code : {"120", "121", "122", "123", "124", "125", "126", "127"})
        EXPECT_NE(help.out.find(std::string("  ") + code + "  "), std::string::npos) << code;
}

TEST_F(IcRun, WhatCannotRunIsNamedWhenItIsReached) {
    const struct {
        const char *tree, *message;
    } cases[] = {
        {"(ICALL:int \"_mpy\" (ICON:int 1))", "the intrinsic '_mpy' is not known"},
        {"(UMCALL:int \"_nop\")", "the intrinsic '_nop' is not known"},
        {"(VPACK:int (ICON:int 1))", "the operator VPACK cannot be run"},
        {"(SQRT:int (ICON:int 4))", "the operator SQRT on integers"},
    };
    for (const auto &c : cases) {
        const TOOL_RESULT result =
            run({make(tree_program({{"%d", "(ICON:int 1)"}, {"%d", c.tree}}))});
        EXPECT_EQ(result.exit_code, 125) << c.tree;
        EXPECT_EQ(result.out, "1") << "output before the fault";
        EXPECT_NE(result.err.find(c.message), std::string::npos) << result.err;
    }
}

// --- counts, limits, traces

constexpr char counted[] = R"(globals
  sym _main int(void) sc=2 align=16
  sym _g int sc=2
code
  function _main
    args
    sym x int sc=1
    locals
    (ASG:int (NAME:int x) (ICON:int 10))
    label 1
    (ASG:int (NAME:int _g) (PLUS:int (NAME:int _g) (MULT:int (NAME:int x) (NAME:int x))))
    (MINUSASG:int (NAME:int x) (ICON:int 1))
    (CBRANCH:int (EQ:int (NAME:int x) (ICON:int 0)) (LABEL:int 1))
    (RETURN:int (NAME:int(void) _main) (DIV:int (NAME:int _g) (ICON:int 5)))
    info 76
  endfunction
)";

// Three nodes, ten times fourteen, four.
TEST_F(IcRun, CountsAreExact) {
    const std::string file = make(counted);
    const std::string expected =
        "nodes 147\nload 11\nstore 10\nmove 1\narithmetic 20\nmultiply 10\n"
        "divide 1\nfloating 0\nfloat_divide 0\ncompare 10\nbranch 11\n"
        "call 0\nlibrary 0\nconversion 0\nfloat_conversion 0\ncopied 0\n"
        "other 73\ncost 160\n";
    const TOOL_RESULT plain = run({"--count", file});
    EXPECT_EQ(plain.exit_code, 77);
    EXPECT_EQ(plain.err, expected);
    EXPECT_EQ(run({"--count", "--check", file}).err, expected) << "checks count nothing";
}

// Calls through pointers count by what they reach, and what exit() leaves out is not counted.
TEST_F(IcRun, CountsCallsAndCopies) {
    const std::string file =
        make("#include <stdlib.h>\nstruct s { int a[5]; } x, y; int f(int n) { return n; }\n"
             "int (*p)(int) = f, (*q)(int) = abs;\n"
             "int main(void) { x = y; f(1); p(2); q(-3); abs(-4); exit(0); x = y; f(5); }");
    const TOOL_RESULT result = run({"--count", file});
    EXPECT_EQ(result.exit_code, 0) << result.err;
    EXPECT_NE(result.err.find("\ncall 2\nlibrary 3\n"), std::string::npos) << result.err;
    EXPECT_NE(result.err.find("\ncopied 10\n"), std::string::npos) << result.err;
}

TEST_F(IcRun, LimitEndsARunByNodes) {
    const std::string file = make(counted);
    EXPECT_EQ(run({"--limit", "147", file}).exit_code, 77);
    const TOOL_RESULT result = run({"--limit", "146", file});
    EXPECT_EQ(result.exit_code, 124);
    EXPECT_EQ(result.err.find("ic-run: more steps than --limit allows, in main"), 0u) << result.err;
    EXPECT_EQ(run({"--limit", "100000", make("int main(void) { for (;;); }")}).exit_code, 124);
}

TEST_F(IcRun, TraceNamesEachStatement) {
    const std::string file = make("int f(int n) {\n  return n;\n}\nint main(void) {\n"
                                  "  int x = f(3);\n  return x;\n}\n");
    const TOOL_RESULT result = run({"--trace", file});
    EXPECT_EQ(result.exit_code, 3);
    const std::string source = path("t.c");
    EXPECT_EQ(result.err, "main, " + source + ":5\nf, " + source + ":1\nf, " + source +
                              ":2\nmain, " + source + ":6\n");
}

TEST_F(IcRun, OutputKeepsItsOrder) {
    const std::string file = make("#include <stdio.h>\nint z; int main(void) { printf(\"a\");\n"
                                  "  fprintf(stderr, \"b\"); printf(\"c\"); return 1 / z; }");
    const TOOL_RESULT result = run({file});
    EXPECT_EQ(result.out, "ac");
    EXPECT_EQ(result.err.find("bic-run: division by zero"), 0u) << result.err;
}

// Trees as deep as a file may have them.
TEST_F(IcRun, DeepTrees) {
    const auto repeated = [](const std::string &text, int times) {
        std::string all;
        for (int i = 0; i < times; ++i)
            all += text;
        return all;
    };
    const int levels = 9990;
    const std::string leaf = "(NAME:int x)";
    const std::string trees[] = {
        repeated("(PLUS:int (NAME:int x) ", levels) + leaf + repeated(")", levels),
        repeated("(PLUS:int ", levels) + leaf + repeated(" (NAME:int x))", levels),
        repeated("(MINUS:int (ICON:int 0) (UMINUS:int ", levels / 2) + leaf +
            repeated("))", levels / 2),
        repeated("(ANDAND:int (NAME:int x) ", levels) + leaf + repeated(")", levels),
    };
    const char *const expected[] = {"9991", "9991", "1", "1"};
    for (std::size_t i = 0; i < std::size(trees); ++i) {
        std::string text = tree_program({{"%d", trees[i]}}, "", "    sym x int sc=1\n");
        text.insert(text.find("    (CALL"), "    (ASG:int (NAME:int x) (ICON:int 1))\n");
        const TOOL_RESULT result = run({make(text)});
        EXPECT_EQ(result.exit_code, 0) << result.err;
        EXPECT_EQ(result.out, expected[i]);
    }
}
} // namespace
