// What a hand-written text may leave out, what names mean, and where mistakes are reported.
#include "tests/records/text_helpers.h"

#include <gmock/gmock.h>

using ::testing::HasSubstr;

namespace {
// The lines of a text's type section, printed from the bytes it assembles to.
std::string printed_types(const std::string &types) {
    const std::string text = if_text_of(assembled("types\n" + types));
    const std::size_t begin = text.find("types\n");
    return begin == std::string::npos ? std::string() : text.substr(begin + 6);
}
} // namespace

TEST(TextRules, SizesAndOffsetsAreTheMachines) {
    const struct {
        const char *written, *printed;
    } cases[] = {
        {"type char#1 = signed_char\n", "  type char#1 = signed_char size=16 align=16\n"},
        {"type bool#1 = bool\n", "  type bool#1 = bool size=32 align=32\n"},
        {"type double#1 = double\n", "  type double#1 = double size=32 align=32\n"},
        {"type void#1 = void\ntype void*#2 = pointer void\n",
         "  type void#1 = void\n  type void*#2 = pointer void size=16 align=16\n"},
        {"type int#1 = int\ntype int[3]#2 = array int 3\n",
         "  type int#1 = int size=32 align=32\n"
         "  type int[3]#2 = array int 3 size=96 align=32\n"},
        {"type int#1 = int align=16\ntype #2 = qualified int const\n",
         "  type int#1 = int size=32 align=16\n"
         "  type int.const#2 = qualified int const size=32 align=16\n"},
        // A struct: padding before y, at the end, and between bit-fields that would cross a unit.
        {"type int#1 = int\ntype char#2 = signed_char\n"
         "type struct.s#3 = csu struct s complete members\n"
         "list members of=struct.s\n"
         "member a char\nmember y int\nmember p int width=20\nmember q int width=12\n"
         "member r int width=1\nmember z char\n"
         "endlist members\n",
         "  type int#1 = int size=32 align=32\n"
         "  type char#2 = signed_char size=16 align=16\n"
         "  type struct.s#3 = csu struct s complete size=128 align=32 members\n"
         "  list members of=struct.s\n"
         "    member a char offset=0\n"
         "    member y int offset=32\n"
         "    member p int offset=64 width=20\n"
         "    member q int offset=84 width=12\n"
         "    member r int offset=96 width=1\n"
         "    member z char offset=112\n"
         "  endlist members\n"},
        // An array of a struct that is laid out later, in a union.
        {"type int#1 = int\n"
         "type struct.s#2 = csu struct s complete members\n"
         "type struct.s[2]#3 = array struct.s 2 complete\n"
         "type union.u#4 = csu union u complete members\n"
         "list members of=union.u\nmember all struct.s[2]\nmember one int\nendlist members\n"
         "list members of=struct.s\nmember a int\nmember b int offset=64\nendlist members\n",
         "  type int#1 = int size=32 align=32\n"
         "  type struct.s#2 = csu struct s complete size=96 align=32 members\n"
         "  type struct.s[2]#3 = array struct.s 2 size=192 align=32 complete\n"
         "  type union.u#4 = csu union u complete size=192 align=32 members\n"
         "  list members of=union.u\n    member all struct.s[2] offset=0\n"
         "    member one int offset=0\n  endlist members\n"
         "  list members of=struct.s\n    member a int offset=0\n    member b int offset=64\n"
         "  endlist members\n"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(printed_types(c.written), c.printed) << c.written;
}

TEST(TextRules, TypesThatAreOnlyMentionedAreMade) {
    const struct {
        const char *mentioned, *made;
    } cases[] = {
        {"int", "  type int#1 = int size=32 align=32\n"},
        {"char", "  type char#1 = signed_char size=16 align=16\n"},
        {"signed_char", "  type signed_char#1 = signed_char explicit size=16 align=16\n"},
        {"unsigned_char", "  type unsigned_char#1 = unsigned_char explicit size=16 align=16\n"},
        {"bool", "  type bool#1 = bool explicit size=32 align=32\n"},
        {"char.const*", "  type char#1 = signed_char size=16 align=16\n"
                        "  type char.const#2 = qualified char const size=16 align=16\n"
                        "  type char.const*#3 = pointer char.const size=16 align=16\n"},
        // Qualifiers in another order are the same type.
        {"int.volatile.const",
         "  type int#1 = int size=32 align=32\n"
         "  type int.const.volatile#2 = qualified int const,volatile size=32 align=32\n"},
        {"int[2][3]", "  type int#1 = int size=32 align=32\n"
                      "  type int[2]#2 = array int 2 size=64 align=32 complete\n"
                      "  type int[2][3]#3 = array int[2] 3 size=192 align=32 complete\n"},
        {"short[]", "  type short#1 = short size=16 align=16\n"
                    "  type short[]#2 = array short 0 size=0 align=16\n"},
        {"float<2>", "  type float#1 = float size=32 align=32\n"
                     "  type float<2>#2 = array float 2 size=64 align=32 complete vector\n"},
        {"float.complex", "  type float#1 = float size=32 align=32\n"
                          "  type float.complex#2 = complex float size=64 align=32\n"},
        {"void()", "  type void#1 = void\n  type void()#2 = function void\n"
                   "  list params of=void()\n  endlist params\n"},
        {"void(void)", "  type void#1 = void\n  type void(void)#2 = function void prototyped\n"
                       "  list params of=void(void)\n  endlist params\n"},
        {"int(int(int)*,...)",
         "  type int#1 = int size=32 align=32\n"
         "  type int(int)#2 = function int prototyped\n"
         "  list params of=int(int)\n    param int\n  endlist params\n"
         "  type int(int)*#3 = pointer int(int) size=16 align=16\n"
         "  type int(int(int)*,...)#4 = function int variadic prototyped\n"
         "  list params of=int(int(int)*,...)\n    param int(int)*\n  endlist params\n"},
    };
    for (const auto &c : cases) {
        const std::string text =
            if_text_of(assembled("globals\n  sym x " + std::string(c.mentioned) +
                                 " sc=2\n"
                                 "  sym y " +
                                 c.mentioned + " sc=2\n"));
        EXPECT_THAT(text, HasSubstr(std::string("\ntypes\n") + c.made + "\nglobals\n")) << text;
    }
}

TEST(TextRules, EqualNamesAreToldApart) {
    // Two types and two symbols of one name, a symbol that hides another, a name that no word can
    // be.
    const std::string text = "types\n"
                             "  type int#1 = int\n"
                             "  type int#7 = int align=16\n"
                             "globals\n"
                             "  sym x int#7 sc=2\n"
                             "  sym twice int#1 sc=3\n"
                             "  sym twice int#1 sc=3\n"
                             "code\n"
                             "  function x\n"
                             "    sym x@1.0 int#1 sc=9\n"
                             "    args\n"
                             "    sym x int#1 sc=1\n"
                             "    sym same int#1 sc=1\n"
                             "    sym same int#1 sc=1\n"
                             "    locals\n"
                             "    (ASG:int#1 (NAME:int#1 x) (NAME:int#1 x@1.0))\n"
                             "    (ASG:int#1 (NAME:int#1 x@0.0) (NAME:int#1 twice@0.2))\n"
                             "    (ASG:int#1 (NAME:int#1 same@2.2) (NAME:int#1 same@2.3))\n"
                             "    begin\n"
                             "      sym x int#1 sc=1\n"
                             "      (ASG:int#1 (NAME:int#1 x) (NAME:int#1 x@2.1))\n"
                             "    end\n"
                             "    (ASG:int#1 (NAME:int#1 x) (NAME:int#1 x@3.4))\n"
                             "  endfunction\n";
    const std::string bytes = assembled(text);
    const std::string printed = if_text_of(bytes);
    EXPECT_EQ(hex_of_bytes(assembled(printed)), hex_of_bytes(bytes));
    for (const char *line : {"(ASG:int#1 (NAME:int#1 x) (NAME:int#1 x@1.0))",
                             "(ASG:int#1 (NAME:int#1 x@0.0) (NAME:int#1 twice@0.2))",
                             "(ASG:int#1 (NAME:int#1 same@2.2) (NAME:int#1 same@2.3))",
                             "      (ASG:int#1 (NAME:int#1 x) (NAME:int#1 x@2.1))",
                             "    (ASG:int#1 (NAME:int#1 x) (NAME:int#1 x@3.4))", "  function x\n",
                             "  type int#7 = int size=32 align=16\n"})
        EXPECT_THAT(printed, HasSubstr(line));
    // Types of one name are only known by their number.
    EXPECT_THAT(
        mistake_of("types\n type int#1 = int\n type int#7 = int\nglobals\n sym y int sc=2\n"),
        HasSubstr("5:8: expected int#number"));
}

TEST(TextRules, PositionsCanBeLeftOut) {
    const std::string bytes = assembled(source_file("tests/icode/every_record.ict"));
    const std::string without = if_text_of(bytes, {.positions = false});
    EXPECT_EQ(if_text_of(assembled(without)), without);
    EXPECT_EQ(without.find("every_record.c:"), std::string::npos);
    std::string with = if_text_of(bytes), stripped;
    for (std::size_t at = 0; at < with.size();) { // positions end their lines
        const std::size_t end = with.find('\n', at);
        std::string line = with.substr(at, end - at);
        const std::size_t last = line.rfind(' ');
        if (last != std::string::npos && line[last + 1] == '@') line.resize(last);
        stripped += line + '\n';
        at = end + 1;
    }
    EXPECT_EQ(stripped, without);
}

TEST(TextRules, FilePositionsOfBodies) {
    const std::string text = "globals\n"
                             "  sym f void() sc=2\n"
                             "  sym v int sc=2\n"
                             "  sym w int sc=5\n"
                             "  sym g void() sc=2 fpos=auto\n"
                             "  sym h void() sc=2 fpos=7\n"
                             "initialisers\n  init v\n    (ENDINIT)\n"
                             "code\n"
                             "  function f\n  endfunction\n  function g\n  endfunction\n"
                             "  function h\n  endfunction\n";
    const std::string bytes = assembled(text);
    IF_MODEL model;
    ASSERT_TRUE(if_read_model(bytes, model)) << if_error_lines(model, "");
    std::vector<std::int64_t> positions;
    for (const IF_RECORD &r : model.sections[IF_GLOBALS].records)
        positions.push_back(model.number(r, IF_SYM::fpos));
    const auto &body = model.sections[IF_BODY].records;
    EXPECT_THAT(positions,
                ::testing::ElementsAre(body[0].offset, model.sections[IF_INIT].records[0].offset, 0,
                                       body[2].offset, 7));
    EXPECT_EQ(static_cast<unsigned char>(bytes[body[0].offset]), IF_TAG_begin_func);
    EXPECT_THAT(if_text_of(bytes), HasSubstr("sym h@0.4 void() sc=2 fpos=7\n"));
    EXPECT_EQ(assembled(if_text_of(bytes)), bytes);
}

TEST(TextRules, LayoutOfTheTextDoesNotMatter) {
    const char *plain = "code\n  (ASG:int (NAME:int none) (ICON:int 1))\n  label 1\n";
    const char *spread =
        "\n\n; a comment\r\ncode ; another\r\n(ASG:int\n\n\t(NAME:int none) ; in a tree\n"
        "(ICON:int\n1)\n)\r\n\n\nlabel\t0x1";
    EXPECT_EQ(assembled(plain), assembled(spread));
}

TEST(TextRules, SectionsKeepWhatTheyHold) {
    // Only sections that the text names are written; an empty one is its end mark alone.
    IF_MODEL model;
    const std::string none = assembled("");
    ASSERT_TRUE(if_read_model(none, model));
    EXPECT_EQ(hex_of_bytes(none.substr(none.size() - 5)), "00 00 00 00 ff"); // reserved, end mark
    for (unsigned id = IF_INIT; id < IF_SECTION_COUNT; ++id)
        EXPECT_FALSE(model.sections[id].present) << if_section_name[id];

    IF_MODEL all;
    const std::string text = "icode version=-83 cpu=1000 name=\"n\\\"\" reserved=4294967295\n"
                             "\noptions\n\nfiles\n\ntypes\n\nglobals\n\ninitialisers\n";
    const std::string bytes = assembled(text);
    ASSERT_TRUE(if_read_model(bytes, all));
    for (unsigned id = IF_INIT; id < IF_SECTION_COUNT; ++id) {
        EXPECT_TRUE(all.sections[id].present) << if_section_name[id];
        EXPECT_EQ(all.sections[id].end, all.sections[id].offset + 1);
    }
    EXPECT_EQ(if_layout_note(all), "");
    EXPECT_EQ(if_text_of(bytes), text);
}

TEST(TextRules, MistakesHaveAPlace) {
    const struct {
        const char *text, *mistake;
    } cases[] = {
        {"label 1\n",
         "1:1: expected a section heading (options, files, types, globals, initialisers, "
         "code), found \"label\""},
        {"code\ncode\n", "2:1: section code stands here a second time"},
        {"icode version=-72\n", "1:7: expected version from -86 to -73, found -72"},
        {"icode cpu=500\n", "1:7: expected cpu from 1000 to 1000, found 500"},
        {"icode size=1\n", "1:7: expected version=, cpu=, name= or reserved=, found \"size=1\""},
        {"icode name= \"x\"\n", "1:13: expected a string behind \"=\", found a string"},
        {"icode version=-84 reserved=1\n",
         "1:29: expected no reserved word in a file of version -84, found the end of the line"},
        {"code\n lable 1\n", "2:2: expected a record or a section heading, found \"lable\""},
        {"code\n label\n", "2:7: expected number, found the end of the line"},
        {"code\n label x\n", "2:8: expected a number for number, found \"x\""},
        {"code\n label 4294967296\n", "2:8: expected a number for number, found \"4294967296\""},
        {"code\n info 128\n", "2:7: expected kind from -128 to 127, found 128"},
        {"code\n label 1 2\n", "2:10: expected the end of \"label\", found \"2\""},
        {"code\n comment word\n", "2:10: expected a string for text, found \"word\""},
        {"code\n comment \"open\n", "2:10: expected a closing quote on the line of the string"},
        {"code\n comment \"a\\q\"\n", "2:12: expected one of \\n, \\t, \\\", \\\\ and \\xHH"},
        {"code\n comment \"a\\x00b\"\n", "2:2: expected text without NUL bytes"},
        {"code\n set 0\n", "2:2: \"set\" cannot stand here in section code"},
        {"globals\n label 1\n", "2:2: \"label\" cannot stand here in section globals"},
        {"globals\n (NOP)\n", "2:2: expected a record of section globals, found \"(\""},
        {"code\n args @a.c:1\n", "2:7: expected a position @file:line:column, found \"@a.c:1\""},
        {"code\n args @a.c:1:1 @a.c:1:1\n", "2:16: expected one position only"},
        {"code\n label 1 @a.c:1:1\n", "2:10: \"label\" has no position"},
        {"code\n (PLUSS:int)\n", "2:3: expected an opcode, found \"PLUSS:int\""},
        {"code\n (NOTB:int)\n", "2:11: expected another operand, NOTB has 1 operand, found \")\""},
        {"code\n (NOTB (NOP) (NOP))\n", "2:14: expected \")\": NOTB has 1 operand"},
        {"code\n (NOTB\n  (NOP)\n", "4:1: expected \"(\" or \")\", found the end of the text"},
        {"code\n (ICON:integer 1)\n", "2:3: expected a type, found \"integer\""},
        {"code\n (ICON:int 4294967295)\n",
         "2:12: expected a value below 2147483648 for a signed type, found 4294967295"},
        {"code\n (NAME:int x)\n",
         "2:12: expected a symbol, found \"x\", which is not defined here"},
        {"code\n (NAME:int x@1)\n", "2:12: expected @level.index, found \"@1\""},
        {"code\n function f\n", "2:11: expected a symbol, found \"f\", which is not defined here"},
        {"code\n function f@1.0\n", "2:11: expected a file-level symbol, found \"f@1.0\""},
        {"code\n (FIELD:int m int)\n", "2:13: expected a member of the class, found \"m\""},
        {"code\n (FCON:float pi)\n", "2:14: expected a floating constant, found \"pi\""},
        {"globals\n sym x@0.1 int sc=2\n",
         "2:6: expected @0.0, the symbol's place in order, found \"@0.1\""},
        {"globals\n sym x int sc=2 sc=3\n", "2:17: \"sc\" is given twice"},
        {"globals\n sym x int size\n", "2:12: expected \"size=\" with a value"},
        {"globals\n sym x int pragmas=2\n pragma NEAR\n",
         "2:2: expected pragmas=1, as many as there are, found 2"},
        {"code\n pragma NEAR\n",
         "2:2: expected a symbol before the pragma (one that stands alone is a "
         "ppragma), found \"pragma\""},
        {"code\n ppragma NEER\n", "2:10: expected a number for kind, found \"NEER\""},
        {"code\n eht\n entry 1 cleanup\n label 1\n",
         "4:2: expected the cleanup's statement, found \"label\""},
        {"code\n eht count=2\n", "2:2: expected count=0, as many as there are, found 2"},
        {"code\n entry 1 0\n", "2:2: \"entry\" cannot stand here in section code"},
        {"code\n ldspec 1 2\n", "2:11: expected a subkind that has no keyword of its own, found 2"},
        {"code\n raw 42 \"\"\n", "2:6: expected a tag that no record has, found 42"},
        {"types\n type x int\n", "2:9: expected \"=\", found \"int\""},
        {"types\n type #-1 = int\n", "2:7: expected type number from 0 to 4294967295, found -1"},
        {"types\n type #4294967295 = void\n type #y = void\n",
         "3:7: expected a number for type number, found \"y\""},
        {"types\n type #4294967295 = void\n type y = void\n", "3:7: no type number is left"},
        {"types\n type x = integer\n", "2:11: expected a kind of type, found \"integer\""},
        {"types\n type #1 = kind 6 \"\"\n",
         "2:17: expected a kind that has no keyword of its own, found 6"},
        {"types\n member m int\n", "2:2: expected of= with the type it belongs to"},
        {"types\n type #1 = function int wide\n",
         "2:25: expected variadic, prototyped, convention=, cpp or the end of \"function\", found "
         "\"wide\""},
        {"icode version=-82\ntypes\n type enum.e#1 = csu 0 e flag\n",
         ""}, // -84 to -73 have the flag
        {"icode version=-85\ntypes\n type #1 = csu 0 e flag\n",
         "3:20: a file of version -85 does not hold \"flag\" here"},
        {"icode version=-80\nglobals\n sym x int<2> sc=2\n",
         "3:8: a file of version -80 has no vectors"},
        {"types\n type struct.s#1 = csu struct s complete members\n list members of=struct.s\n"
         " member m struct.s\n endlist members\n",
         "2:20: expected a size= of a class that contains itself"},
        {"files\n source \"a.c\"\nglobals\n sym x int @b.c:1:1 sc=2\nfiles\n",
         "5:1: section files stands here a second time"},
        {"globals\n sym x int @b.c:1:1 sc=2\nfiles\n",
         "3:1: expected section files before the first position with a name"},
        {"initialisers\n init x\n",
         "3:1: expected a tree of the initialiser, the last one (ENDINIT), "
         "found the end of the text"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(mistake_of(c.text), c.mistake) << c.text;
}

TEST(TextRules, TreesAreBounded) {
    const auto nested = [](int depth) {
        std::string text = "code\n  ";
        for (int i = 1; i < depth; ++i)
            text += "(NOTB:int ";
        text += "(NOP)" + std::string(static_cast<std::size_t>(depth - 1), ')');
        return text + "\n";
    };
    const std::string deepest = assembled(nested(10000));
    EXPECT_EQ(assembled(if_text_of(deepest)), deepest);
    EXPECT_THAT(mistake_of(nested(10001)), HasSubstr("expected a tree of at most 10000 levels"));
    // Types nested without end, and names that ask for many types.
    EXPECT_THAT(mistake_of("globals\n sym x int" + std::string(5000, '*') + " sc=2\n"),
                HasSubstr("2:8: expected a type name of at most"));
}
