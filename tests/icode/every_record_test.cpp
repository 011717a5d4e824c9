// A file with every kind of record through quillopt: what comes out, record by record. Optimization
// is off, so that what changes is what reading and writing change.
#include "OPT5/icode/records/if_text.h"
#include "tests/run/tool.h"

#include <regex>
#include <set>

#include <gmock/gmock.h>

namespace {
using LINES = std::vector<std::string>;
using testing::HasSubstr;
using testing::IsEmpty;

LINES lines_of(const std::string &text) {
    LINES lines;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = text.find('\n', at);
        lines.push_back(text.substr(at, end - at));
        at = end == std::string::npos ? text.size() : end + 1;
    }
    return lines;
}

// The lines below a section's name, functions in one piece with the empty lines between them.
std::string section(const std::string &text, const std::string &name) {
    const std::size_t at = text.find("\n" + name + "\n");
    if (at == std::string::npos) return {};
    const std::size_t begin = at + name.size() + 2;
    std::size_t end = begin;
    while ((end = text.find("\n\n", end)) != std::string::npos &&
           text.compare(end + 2, 2, "  ") == 0)
        end += 2;
    return text.substr(begin, end == std::string::npos ? end : end + 1 - begin);
}

// What the file leaves to be told apart by numbers is told apart by names in these texts.
std::string without(const std::string &text, const char *pattern) {
    return std::regex_replace(text, std::regex(pattern), "");
}

// A piece of the input that is another one in the output, and why it may be.
struct CHANGE {
    const char *why, *in, *out;
};
std::string changed(std::string text, std::initializer_list<CHANGE> changes) {
    for (const CHANGE &c : changes) {
        const std::size_t at = text.find(c.in);
        EXPECT_NE(at, std::string::npos) << c.why << ": " << c.in;
        if (at != std::string::npos) text.replace(at, std::string_view(c.in).size(), c.out);
    }
    return text;
}

class EveryRecord : public testing::Test {
protected:
    std::string assembled(const char *name) {
        const std::string text = std::string(QUILL_SOURCE_DIR) + "/tests/icode/" + name;
        const std::string file = (scratch_ / "in.ic").string();
        expect_success(run_tool({"ic-as", "-o", file, text}, scratch_), text);
        return file;
    }
    // Through the whole program, but for the steps that change trees: what is kept is told apart
    // from what is made better.
    TOOL_RESULT optimized(const std::string &file, const std::string &level) {
        return run_tool({"quillopt", "--opt_level=" + level, "--debug=last_step=-4", file, output_},
                        scratch_);
    }
    static std::string text_of(const std::string &file) {
        std::string text, error;
        EXPECT_TRUE(if_text_of(read_file(file), {}, text, error)) << error;
        return text;
    }
    void SetUp() override {
        const std::string file = assembled("every_record.ict");
        expect_success(optimized(file, "off"), "quillopt");
        in_ = text_of(file);
        out_ = text_of(output_);
    }
    SCRATCH scratch_;
    std::string output_ = (scratch_ / "out.ic").string(), in_, out_;
};

TEST_F(EveryRecord, GoesThroughAtEveryLevel) {
    const std::string file = assembled("every_record.ict");
    for (const char *level : {"off", "0", "1", "2", "3"}) {
        const TOOL_RESULT result = optimized(file, level);
        expect_success(result, level);
        EXPECT_EQ(result.out + result.err, "") << level;
        const TOOL_RESULT lint = run_tool({"ic-lint", output_}, scratch_);
        expect_success(lint, level);
        EXPECT_EQ(lint.out + lint.err, "") << level;
    }
}

TEST_F(EveryRecord, OfWhatTreesDoNotHoldIsRefused) {
    fs::remove(output_);
    const std::string start = "icode version=-73 cpu=1000 name=\"t\"\n"
                              "types\n"
                              "  type int#1 = int\n"
                              "  type struct.s#2 = csu struct s complete size=32 align=32 members\n"
                              "  list members of=struct.s\n"
                              "    member m int\n"
                              "  endlist members\n"
                              "globals\n"
                              "  sym _f int(void) sc=2 align=16\n"
                              "  sym _s struct.s sc=2\n"
                              "code\n"
                              "  function _f\n"
                              "    args\n"
                              "    locals\n    ";
    const struct {
        const char *statement, *message;
    } cases[] = {
        {"(ABS:int (VREG:int 3))", "VREG: the optimizer's trees hold no virtual registers"},
        {"(ABS:int (OP28:int))", "OP28: not an opcode of a file"},
        {"(STDOT:int (NAME:struct.s _s) (FIELD:int 9 struct.s))", "FIELD: no such member"},
        {"(STDOT:int (NAME:struct.s _s) (FIELD:int 1 none))", "FIELD: no such member"},
        {"(STDOT:int (NAME:struct.s _s) (FIELD:int m struct.s kind=2))",
         "A member reference of the intermediate file is of no known kind"},
    };
    const fs::path text = scratch_ / "t.ict", file = scratch_ / "t.ic";
    for (const auto &c : cases) {
        write_file(text, start + c.statement + "\n  endfunction\n");
        expect_success(run_tool({"ic-as", "-o", file, text}, scratch_), c.statement);
        const TOOL_RESULT result = optimized(file, "off");
        EXPECT_EQ(result.exit_code, 1) << c.statement;
        EXPECT_THAT(result.err, HasSubstr(c.message));
        EXPECT_FALSE(fs::exists(output_));
    }
    EXPECT_EQ(optimized(assembled("vreg.ict"), "3").exit_code, 1);
}

TEST_F(EveryRecord, KeepsOptionsAndNames) {
    EXPECT_EQ(lines_of(in_)[0], lines_of(out_)[0]); // version, processor and header name
    for (const char *name : {"options", "files"})
        EXPECT_EQ(section(in_, name), section(out_, name));
}

// Definitions of types, and lists, in pieces. Their numbers and with them their order are new.
std::multiset<std::string> definitions(const std::string &text) {
    std::multiset<std::string> all;
    std::string piece;
    for (const std::string &line : lines_of(section(text, "types") + section(text, "code"))) {
        const bool is_list = line.starts_with("  list ");
        if (!piece.empty() || is_list) (piece += line) += '\n';
        if (line.starts_with("  endlist ")) all.insert(std::exchange(piece, {}));
        if (!is_list && piece.empty() && line.starts_with("  type "))
            all.insert(without(line, "#[0-9]+(?= =)"));
    }
    return all;
}

TEST_F(EveryRecord, KeepsTypes) {
    const auto in = definitions(in_), out = definitions(out_);
    LINES gone, made;
    std::set_difference(in.begin(), in.end(), out.begin(), out.end(), std::back_inserter(gone));
    std::set_difference(out.begin(), out.end(), in.begin(), in.end(), std::back_inserter(made));
    EXPECT_THAT(made, IsEmpty());
    // Nothing that is written uses these, and they are no classes, enums or typedefs.
    const LINES unused = {
        "  list params of=void(int,class.base)\n"
        "    param int mode=2 name=count\n"
        "    param class.base flag mode=3 name=\"with blank\"\n"
        "  endlist params\n",
        "  type  = fixed int point=-15 signed=1 size=32 align=32",
        "  type  = kind 26 \"opaque \\x00\\xff\"",
        "  type  = ptm int class.base size=16 align=16",
        "  type bool = bool explicit size=32 align=32 boolean",
        "  type double = double size=32 align=32",
        "  type float.complex = complex float size=64 align=32",
        "  type int& = reference int size=16 align=16",
        "  type int.const.volatile = qualified int const,volatile size=32 align=32",
        "  type int<4> = array int 4 size=128 align=32 complete vector",
        "  type int[] = array int 0 size=0 align=32",
        "  type long = long size=32 align=32",
        "  type long_double = long_double size=32 align=32",
        "  type long_long = long_long size=32 align=32",
        "  type signed_char = signed_char explicit size=16 align=16",
        "  type unsigned_char = unsigned_char explicit size=16 align=16",
        "  type unsigned_long = unsigned_long size=32 align=32",
        "  type unsigned_long_long = unsigned_long_long size=32 align=32",
        "  type unsigned_short = unsigned_short size=16 align=16",
        "  type void = void",
        "  type void(int,class.base) = function void prototyped convention=2 cpp",
        "  type wchar_t = wchar_t size=16 align=16",
    };
    EXPECT_EQ(gone, unused);
}

TEST_F(EveryRecord, KeepsGlobalsAndTheirPragmas) {
    const char *new_words = " flags=0x[0-9a-f]+|@[0-9]+\\.[0-9]+";
    const std::string expected =
        changed(without(section(in_, "globals"), new_words),
                {{"a reader holds pragmas in the reverse of their order",
                  "    pragma FUNC_CANNOT_INLINE\n    pragma CODE_SECTION \".text:main\" \"\"\n",
                  "    pragma CODE_SECTION \".text:main\" \"\"\n    pragma FUNC_CANNOT_INLINE\n"}});
    EXPECT_THAT(expected, HasSubstr("pragma SYM_IS_DEAD"));
    EXPECT_EQ(without(section(out_, "globals"), new_words), expected);
    // Below level 3 whatever is not constant is marked as accessible from outside.
    for (const std::string &line : lines_of(section(out_, "globals"))) {
        if (!line.starts_with("  sym ")) continue;
        EXPECT_THAT(
            line, HasSubstr(line.starts_with("  sym _text@") ? " flags=0xe001" : " flags=0xe000"));
    }
}

// Each record of initialisers with its trees.
std::set<std::string> initialisers(const std::string &text) {
    std::set<std::string> all;
    std::string piece;
    for (const std::string &line :
         lines_of(section(text, "initialisers") + section(text, "code"))) {
        if (!piece.empty() || line.starts_with("  init ")) (piece += line) += '\n';
        if (line.find("(ENDINIT:") != std::string::npos) all.insert(std::exchange(piece, {}));
    }
    return all;
}

TEST_F(EveryRecord, KeepsInitialisers) {
    // Those of the main body move to the section, and all stand in the order of their symbols.
    const std::set<std::string> expected = initialisers(changed(
        in_, {{"LCON is for values that an ICON cannot hold", "(LCON:int -2)", "(ICON:int -2)"}}));
    EXPECT_EQ(expected.size(), 4u);
    EXPECT_EQ(initialisers(out_), expected);
    EXPECT_EQ(section(out_, "code").find("  init "), std::string::npos);
}

TEST_F(EveryRecord, KeepsCode) {
    constexpr const char *carried =
        "no pass of the optimizer looks at these, and none keeps them up";
    const std::string expected = changed(
        section(in_, "code"),
        {
            // --- file level
            {"names stand in their section", "  source \"third.h\"\n", ""},
            {"types do, too", "  type late#50 = typedef late int size=32 align=32\n", ""},
            {"and initialisers", "  init _late\n    (ICON:late 3)\n    (ENDINIT:int)\n", ""},
            // --- symbols: nested blocks end with the parse
            {"symbols of blocks move to the outer one", "    locals @every_record.c:20:10\n",
             "    sym i@2.6 int sc=1\n    locals @every_record.c:20:10\n"},
            {"and their blocks end",
             "    begin @every_record.c:31:5\n"
             "      sym i@3.6 int sc=1\n"
             "      (ASG:int (NAME:int i) (NAME:int i@2.0)) @every_record.c:31:9\n"
             "      begin\n"
             "        ppragma MUST_ITERATE \"1\" \"8\" \"1\"\n"
             "        (PLUSASG:int (NAME:int i) (ICON:int 1))\n"
             "      end\n"
             "    end @every_record.c:33:5\n",
             "    (ASG:int (NAME:int i@2.6) (NAME:int i@2.0)) @every_record.c:31:9\n"
             "    ppragma MUST_ITERATE \"1\" \"8\" \"1\"\n"
             "    (PLUSASG:int (NAME:int i@2.6) (ICON:int 1))\n"},
            {"the pragma says so", "sym d@2.2 class.derived sc=1\n",
             "sym d@2.2 class.derived sc=1 flags=0xe000\n"},
            // --- trees
            {"floats are written in one form", "(FCON:float \"1.5\")", "(FCON:float 0x1.8p+0)"},
            {"LCON is for values that an ICON cannot hold", "(LCON:int 2147483647)",
             "(ICON:int 2147483647)"},
            {"trees do not hold what a DDNODE says", "(DDNODE:int 7 1 2 ", "(DDNODE:int 0 0 0 "},
            // --- labels: numbered anew, in their order in the function
            {"label 2 is the third", "(LABEL:int 2)", "(LABEL:int #3)"},
            {"label 3 is the second", "(LABEL:int 3)", "(LABEL:int #2)"},
            {"label 2 is the third", "(LABEL:int 2)", "(LABEL:int #3)"},
            {"label 3 is the second", "    label 3\n", "    label #2\n"},
            {"label 2 is the third", "    label 2\n", "    label #3\n"},
            {"in exception tables, too", "[\"other type\" 2 1]", "[\"other type\" 3 1]"},
            // --- what is not passed on
            {"such comments are another program's own",
             "    comment \"*dropped by the optimizer\"\n", ""},
            {carried, "    loop 1 2 3 4 5 6\n", ""},
            {carried, "    mbank 1 2 3 4 5\n", ""},
            {carried, "    depedge 1 2 300\n", ""},
            {carried, "    depvector 1 2 [1 -1] [2 127]\n    depvector 3 0\n", ""},
            {carried, "    ldspec_induct 1 2 -4 int i\n", ""},
            {carried, "    ldspec_rand 2 3 4 int* none\n", ""},
            {carried, "    ldspec_region 3 5\n    ldspec 4 9\n", ""},
            {carried, "    loopheader 1 i 2\n    loopheader 2 none 0\n", ""},
            {carried,
             "  irfunction _unprototyped -1 2 3 @every_record.c:50:1\n"
             "    instruction \"\\x01\\x02 raw bytes\" @every_record.c:51:1\n"
             "    instruction \"\"\n"
             "  irend @every_record.c:52:1\n",
             ""},
            {"clean-ups are kept without a position", " @every_record.c:40:1", ""},
            {"no call needs the entry", "      entry 3 0\n", ""},
            // --- function information: for leaves only
            {"the function calls", "    info 76\n", ""},
            {"the function is a leaf", "    sym n@2.2 int sc=1\n    locals\n",
             "    sym n@2.2 int sc=1\n    locals\n    info 76\n"},
            {"as above", "    info 0\n", ""},
        });
    // The first line tells how the optimizer was called. The nested i makes the outer one
    // ambiguous.
    std::string found = without(section(out_, "code"), "^  comment \";[^\\n]*\\n");
    found = std::regex_replace(found, std::regex("int i@2\\.0\\)"), "int i)");
    EXPECT_EQ(found, std::regex_replace(without(expected, "#(?=[23][)\\n])"),
                                        std::regex("int i@2\\.0\\)"), "int i)"));
}
} // namespace
