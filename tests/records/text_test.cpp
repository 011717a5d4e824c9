// The text form: texts to bytes and back, record by record; what may be left out; mistakes.
#include "tests/records/text_helpers.h"

#include "OPT5/icode/records/opcodes.h"

namespace {
constexpr char frame_of_texts[] =
    "icode version=-73 cpu=1000 name=\"t\"\n"
    "\n"
    "files\n"
    "  source \"a.c\"\n"
    "\n"
    "types\n"
    "  type int#1 = int size=32 align=32\n"
    "  type unsigned#2 = unsigned size=32 align=32\n"
    "  type struct.s#3 = csu struct s complete size=32 align=32 members\n"
    "  list members of=struct.s\n"
    "    member m int offset=0\n"
    "  endlist members\n"
    "\n"
    "globals\n"
    "  sym _g@0.0 int sc=2\n"
    "\n"
    "code\n";

struct CASE {
    const char *text;  // of one record in the main body, as it is printed
    const char *bytes; // of the record, frame and body; of a statement, with its tree
};

void expect_record(const CASE &c) {
    const std::string text = std::string(frame_of_texts) + "  " + c.text + "\n";
    const std::string bytes = assembled(text);
    IF_MODEL model;
    ASSERT_TRUE(if_read_model(bytes, model)) << if_error_lines(model, c.text);
    std::string found;
    for (const IF_RECORD &r : model.sections[IF_BODY].records)
        found += record_bytes(model, r);
    EXPECT_EQ(hex_of_bytes(found), c.bytes) << c.text;
    EXPECT_EQ(if_text_of_model(model), text);
}
} // namespace

TEST(Text, ControlAndStatementRecords) {
    const CASE cases[] = {
        {"function _g", "01 02 00 00"},
        {"function _g @a.c:3:300", "01 05 01 03 ac 02 00"},
        {"function @0.7", "01 02 00 07"},
        {"args @#9:1:2", "05 03 09 01 02"},
        {"locals", "06 01 00"},
        {"begin", "03 01 00"},
        {"end", "04 01 00"},
        {"endfunction", "02 01 00"},
        {"asm \"nop\" @a.c:1:1", "24 07 6e 6f 70 00 01 01 01"},
        {"label 300", "2a 02 ac 02"},
        {"comment \"\"", "2f 01 00"},
        {"info -1", "40 01 ff"},
        {"source \"b.c\"", "7e 04 62 2e 63 00"},
        {"ppragma UNROLL \"4\"", "5e 04 25 01 34 00"},
        {"ppragma 250", "5e 03 fa 01 00"},
        {"eht", "5d 01 00"},
        {"init _g\n    (ENDINIT:int)", "69 01 00 65 02 70 01"},
        {"tree (ICON:int 1)", "65 03 04 01 01"},
    };
    for (const CASE &c : cases)
        expect_record(c);
}

TEST(Text, RecordsThatAreOnlyCarried) {
    const CASE cases[] = {
        {"instruction \"\\xff\" @a.c:1:2", "22 04 01 01 02 ff"},
        {"loop 1 2 3 4 300 65535", "26 08 01 02 03 04 ac 02 ff ff"},
        {"mbank 1 2 3 4 5", "2d 05 01 02 03 04 05"},
        {"depedge 1 2 3", "3a 03 01 02 03"},
        {"depvector 1 255 [1 -1] [2 3]", "3b 07 01 ff 02 01 ff 02 03"},
        {"ldspec_induct 1 2 -1 int _g", "6c 07 01 00 02 7f 01 00 00"},
        {"ldspec_rand 1 2 3 none none", "6c 07 01 01 02 03 00 7f 00"},
        {"ldspec_region 1 2", "6c 03 01 02 02"},
        {"ldspec 1 3", "6c 02 01 03"},
        {"irfunction _g -1 -2 3", "7b 05 00 7f fe 03 00"},
        {"loopheader 1 none 2", "7c 04 01 7f 7f 02"},
        {"loopheader 1 @-1.0 2", "7c 04 01 7f 00 02"},
        {"loopheader 1 _g 2", "7c 04 01 00 00 02"},
        {"irend", "7d 01 00"},
    };
    for (const CASE &c : cases)
        expect_record(c);
}

TEST(Text, NodesWithEveryPayload) {
    const CASE cases[] = {
        {"(NOP)", "2e 01 00 65 02 00 00"},
        {"(LABEL:int 300)", "2e 01 00 65 04 01 01 ac 02"},
        {"(NAME:int _g)", "2e 01 00 65 04 02 01 00 00"},
        {"(NAME:int none)", "2e 01 00 65 08 02 01 ff ff ff ff 0f 00"},
        {"(NAME:int @2.9)", "2e 01 00 65 04 02 01 02 09"},
        {"(SCON \"a\\x00\\\"\")", "2e 01 00 65 06 03 00 03 61 00 22"},
        {"(ICON:int -1)", "2e 01 00 65 03 04 01 7f"},
        {"(ICON:unsigned 4294967295)", "2e 01 00 65 07 04 02 ff ff ff ff 0f"},
        {"(ICON:struct.s 64)", "2e 01 00 65 03 04 03 40"}, // a uint would take one byte too
        {"(ICON:int 64)", "2e 01 00 65 04 04 01 c0 00"},
        {"(FCON:int 0x1p+3)", "2e 01 00 65 09 05 01 30 78 31 70 2b 33 00"},
        {"(FCON:int -inf)", "2e 01 00 65 07 05 01 2d 69 6e 66 00"},
        {"(FCON:int \"\")", "2e 01 00 65 03 05 01 00"},
        {"(LCON:int -12)", "2e 01 00 65 06 19 01 2d 31 32 00"},
        {"(FIELD:int m struct.s)", "2e 01 00 65 05 1a 01 01 01 03"},
        {"(FIELD:int 2 struct.s kind=-1)", "2e 01 00 65 05 1a 01 ff 02 03"},
        {"(SWITCH:int (NOP) (NOP))", "2e 01 00 65 03 28 01 00 65 02 00 00 65 02 00 00"},
        {"(SWITCH:int cases=9 (NOP) (NOP))", "2e 01 00 65 03 28 01 09 65 02 00 00 65 02 00 00"},
        {"(CALL:int extra=1 eh=2 (NOP) (NOP))",
         "2e 01 00 65 04 46 01 01 02 65 02 00 00 65 02 00 00"},
        {"(UCALL:int eh=3 (NOP))", "2e 01 00 65 03 48 01 03 65 02 00 00"},
        {"(EPVAL:int 5 (NOP))", "2e 01 00 65 03 6e 01 05 65 02 00 00"},
        {"(SKIP:int 5)", "2e 01 00 65 03 73 01 05"},
        {"(DDNODE:int 1 2 3 (NOP))", "2e 01 00 65 05 77 01 01 02 03 65 02 00 00"},
        {"(ICALL:int a (NOP))", "2e 01 00 65 04 81 01 61 00 65 02 00 00"},
        {"(UICALL:int \"\")", "2e 01 00 65 03 82 01 00"},
        {"(MCALL:int a (NOP))", "2e 01 00 65 04 84 01 61 00 65 02 00 00"},
        {"(UMCALL:int a)", "2e 01 00 65 04 85 01 61 00"},
        {"(VREG:int -3)", "2e 01 00 65 03 a3 01 7d"},
        {"(EXCLAIM:int (NOP)) @a.c:1:2", "2e 03 01 01 02 65 02 4c 01 65 02 00 00"},
    };
    for (const CASE &c : cases)
        expect_record(c);
}

TEST(Text, EveryOpcodeHasItsOperands) {
    for (int op = 0; op < op_file_limit; ++op) {
        const IF_LAYOUT *layout = if_layout(IF_TAG_node, op);
        ASSERT_NE(layout, nullptr) << op;
        if (layout->fields.size() > IF_NODE::payload) continue; // those above
        std::string text = "(" + if_opcode_name(op);
        std::string bytes =
            "2e 01 00 65 02 " + hex_of_bytes(std::string(1, static_cast<char>(op))) + " 00";
        for (int i = 0; i < if_file_arity(op); ++i) {
            text += " (ENDINIT)";
            bytes += " 65 02 70 00";
        }
        text += ")";
        expect_record({text.c_str(), bytes.c_str()});
    }
    EXPECT_EQ(if_layout(IF_TAG_node, op_file_limit), nullptr);
}

TEST(Text, SymbolsWithTheirPragmas) {
    const CASE cases[] = {
        {"sym x@0.1 int sc=1", "23 0e 78 00 20 00 01 00 00 01 00 20 00 00 00 00"},
        {"sym \"\"@0.1 int size=16 offset=1 sc=-1 flags=0x8002 type2=unsigned align=300 fpos=5 "
         "options=7 "
         "@a.c:1:2",
         "23 10 00 10 01 ff 02 80 01 02 ac 02 00 05 07 01 01 02"},
        {"sym x@0.1 int sc=1\n    pragma NEAR\n    pragma FAR \"a\" \"\"",
         "23 0e 78 00 20 00 01 00 00 01 00 20 02 00 00 00 5e 02 0a 00 5e 05 0b 02 61 00 00"},
    };
    for (const CASE &c : cases)
        expect_record(c);
}

TEST(Text, ExceptionTables) {
    const CASE cases[] = {
        {"eht\n      entry 1 cleanup\n        (NOP)",
         "5d 01 01 5b 04 01 01 00 00 2e 01 00 65 02 00 00"},
        {"eht\n      entry 2 catch link=1\n        catch [\"T\" 3 1] [\"\" 4 0]",
         "5d 01 01 5b 04 02 02 01 02 3f 07 54 00 03 01 00 04 00"},
        {"eht\n      entry 1 catch\n        catch\n      entry 2 9 count=4",
         "5d 01 02 5b 04 01 02 00 00 3f 00 5b 04 02 09 00 04"},
    };
    for (CASE c : cases) {
        // Belonging records are printed two columns further in.
        std::string text = c.text;
        for (std::size_t at = 0; (at = text.find("\n  ", at)) != std::string::npos; ++at)
            text.erase(at + 1, 2);
        c.text = text.c_str();
        expect_record(c);
    }
}

namespace {
struct TYPE_CASE {
    const char *text;
    const char *bytes; // of the record
};

// The bytes of the type record in the last line of a text's type section.
void expect_type(const TYPE_CASE &c, int version = if_current_version) {
    const std::string text = "icode version=" + std::to_string(version) +
                             " cpu=1000 name=\"t\"\n"
                             "\n"
                             "files\n"
                             "  source \"a.c\"\n"
                             "\n"
                             "types\n"
                             "  type int#1 = int size=32 align=32\n"
                             "  type unsigned#2 = unsigned size=32 align=32\n"
                             "  type struct.s#3 = csu struct s size=0 align=0\n"
                             "  type enum.e#4 = enum e int size=32 align=32\n"
                             "  " +
                             std::string(c.text) + "\n";
    const std::string bytes = assembled(text);
    IF_MODEL model;
    ASSERT_TRUE(if_read_model(bytes, model)) << if_error_lines(model, c.text);
    EXPECT_EQ(hex_of_bytes(record_bytes(model, model.sections[IF_TYPES].records.back())), c.bytes)
        << c.text << " version " << version;
    EXPECT_EQ(if_text_of_model(model), text);
}
} // namespace

TEST(Text, TypesOfEveryKind) {
    const TYPE_CASE cases[] = {
        {"type bool#5 = bool explicit size=32 align=32 boolean plain",
         "74 07 05 00 01 20 20 01 01"},
        {"type unsigned_long_long#5 = unsigned_long_long size=64 align=32",
         "74 07 05 33 00 40 20 00 00"},
        {"type long_double#500 = long_double size=32 align=16", "74 05 f4 03 0c 20 10"},
        {"type #5 = fixed unsigned point=-1 signed=2 size=32 align=32",
         "74 07 05 0d ff 02 02 20 20"},
        {"type word#5 = typedef word int size=32 align=32 cpp lowered @a.c:1:2",
         "74 0f 05 0e 77 6f 72 64 00 01 20 20 01 01 01 01 02"},
        {"type #5 = pointer none size=16 align=16", "74 05 05 0f 00 10 10"},
        {"type int*#5 = pointer int size=16 align=16", "74 05 05 0f 01 10 10"},
        {"type int&#5 = reference int size=16 align=16", "74 05 05 10 01 10 10"},
        {"type int.const.onchip#5 = qualified int const,onchip size=32 align=32",
         "74 07 05 11 01 81 01 20 20"},
        {"type #5 = qualified int volatile,0x100 size=32 align=32", "74 07 05 11 01 82 02 20 20"},
        {"type int[3]#5 = array int 3 size=96 align=32 cpp complete",
         "74 09 05 12 01 03 60 20 01 01 00"},
        {"type int<2>#5 = array int 2 size=64 align=32 complete vector",
         "74 09 05 12 01 02 40 20 00 01 01"},
        {"type #5 = ptm int struct.s size=16 align=16", "74 06 05 13 01 03 10 10"},
        {"type #5 = function int variadic prototyped convention=2 cpp",
         "74 07 05 14 01 01 01 02 01"},
        {"type #5 = enum \"\" unsigned size=32 align=32", "74 08 05 16 00 20 20 02 00 00"},
        {"type union.u#5 = csu union u complete lowered size=1 align=2 members flag cpp @a.c:1:2",
         "74 0f 05 18 01 75 00 01 01 01 02 01 01 01 01 01 02"},
        {"type class.c#5 = csu_long class c complete lowered size=1 align=2 extra=0x80 bases "
         "access "
         "friend_funcs friend_classes nested members statics member_funcs params flag cpp",
         "74 17 05 19 02 63 00 01 01 01 02 80 01 01 01 01 01 01 01 01 01 01 01 01 00"},
        {"type #5 = csu 3 odd size=0 align=0",
         "74 0f 05 18 03 6f 64 64 00 00 00 00 00 00 00 00 00"},
        {"type int.complex#5 = complex int size=64 align=32", "74 05 05 24 40 20 01"},
        {"type void#5 = void", "74 02 05 31"},
        {"type #5 = kind 200 \"\\x01\"", "74 03 05 c8 01"},
        {"list params of=struct.s", "74 03 03 fe 00"},
        {"endlist member_funcs", "74 03 04 ff 09"}, // of the type before
        {"list -1 of=#9", "74 03 09 fe ff"},
        {"  param int", "74 06 04 15 01 00 00 00"},
        {"  param int of=struct.s flag mode=3 name=x", "74 07 03 15 01 01 03 78 00"},
        {"  enumerator low -1", "74 08 04 17 6c 6f 77 00 7f 00"},
        {"  member \"\" int of=struct.s index=4 flags=0x3 offset=-1 fti=0xff width=3 flag1 flag2 "
         "flag3 @a.c:1:2",
         "74 0f 03 1c 04 00 01 03 7f ff 03 01 01 01 01 01 02"},
        {"  base struct.s offset=-64 access=2 virtual", "74 06 04 1d 03 40 02 01"},
        {"  access word=300 access=1", "74 05 04 1e ac 02 01"},
        {"  friend_func f int", "74 05 04 1f 66 00 01"},
        {"  friend_class struct.s", "74 03 04 20 03"},
        {"  nested struct.s", "74 03 04 21 03"},
        {"  static s int access=1", "74 06 04 22 73 00 01 01"},
        {"  member_func m int access=1 vtable=-1 flag1 flag2 flag3 flag4",
         "74 0b 04 23 6d 00 01 01 7f 01 01 01 01"},
    };
    for (TYPE_CASE c : cases) {
        expect_type(c);
    }
}

TEST(Text, VersionsDifferFieldByField) {
    const struct {
        const char *text, *bytes;
        int first, last; // versions that have this form
    } cases[] = {
        {"type int[1]#5 = array int 1 size=32 align=32 complete", "74 08 05 12 01 01 20 20 00 01",
         -86, -77},
        {"type int[1]#5 = array int 1 size=32 align=32 complete",
         "74 09 05 12 01 01 20 20 00 01 00", -76, -76},
        {"type int[1]#5 = array int 1 size=32 align=32 complete extra",
         "74 0a 05 12 01 01 20 20 00 01 00 01", -75, -74},
        {"type int<1>#5 = array int 1 size=32 align=32 complete vector",
         "74 09 05 12 01 01 20 20 00 01 01", -73, -73},
        {"type enum.f#5 = enum f int size=32 align=32", "74 08 05 16 66 00 20 20 01 00", -86, -82},
        {"type enum.f#5 = enum f int size=32 align=32 cpp", "74 09 05 16 66 00 20 20 01 01 00", -81,
         -73},
        {"type struct.t#5 = csu struct t size=0 align=0 members",
         "74 0b 05 18 00 74 00 00 00 00 00 01 00", -86, -85},
        {"type struct.t#5 = csu struct t size=0 align=0 members flag",
         "74 0c 05 18 00 74 00 00 00 00 00 01 01 00", -84, -82},
        {"type struct.t#5 = csu struct t size=0 align=0 members flag cpp",
         "74 0d 05 18 00 74 00 00 00 00 00 01 01 01 00", -81, -73},
        {"type struct.t#5 = csu_long struct t size=0 align=0 params",
         "74 14 05 19 00 74 00 00 00 00 00 00 00 00 00 00 00 00 00 00 01 00", -86, -85},
        {"  member m int of=struct.s offset=0 early_flag width=2 flag1",
         "74 0c 03 1c 01 6d 00 01 00 00 01 02 01 00", -86, -86},
        {"  member m int of=struct.s offset=0 width=2 flag1 flag2 flag3",
         "74 0d 03 1c 01 6d 00 01 00 00 02 01 01 01 00", -85, -75},
        {"  member m int of=struct.s offset=0 fti=0x7 width=2 flag1 flag2 flag3",
         "74 0e 03 1c 01 6d 00 01 00 00 07 02 01 01 01 00", -74, -73},
    };
    for (const auto &c : cases)
        for (int version = c.first; version <= c.last; ++version)
            expect_type({c.text, c.bytes}, version);
}
