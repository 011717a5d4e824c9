// Symbols, functions, statements, exception tables and the records that are passed on.
#include "recording_client.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>

using testing::HasSubstr;

namespace {
using BYTES = std::string;

// A file with an int (1), a function type (2), the function _f (0) and the objects _x (1), _y (2).
FILE_BYTES unit(const BYTES &body) {
    FILE_BYTES f;
    f.types = REC(116).u(1).b(6).b(0).u(32).u(32).b(0).b(0) +
              REC(116).u(2).b(20).u(1).b(0).b(1).b(0).b(0) + REC(116).u(2).b(254).b(0) +
              REC(116).u(2).b(255).b(0);
    f.names = REC(126).str("unit.c");
    f.globals = symbol("_f", 2, 2, 0, 0) + symbol("_x", 1, 2) + symbol("_y", 1, 2);
    f.body = body;
    return f;
}

const BYTES begin = REC(1).no_psn().u(0), args = REC(5).no_psn(), locals = REC(6).no_psn(),
            end = REC(2).no_psn(), begin_block = REC(3).no_psn(), end_block = REC(4).no_psn();

BYTES in_function(const BYTES &records) {
    return begin + args + locals + records + end;
}

// What the client is told of the main body.
std::string body_log(const BYTES &body) {
    const std::string log = read_log(unit(body).str());
    const std::string mark = "preprocess_statics\n";
    return log.substr(log.find(mark) + mark.size());
}

BYTES icon(std::int32_t value) {
    return REC(101).b(OP::ICON).u(1).s(value);
}

BYTES name(std::uint32_t level, std::uint32_t index) {
    return REC(101).b(OP::NAME).u(1).u(level).u(index);
}

TEST(Records, EachToItsCall) {
    struct {
        BYTES record;
        std::string call;
    } const cases[] = {
        {REC(36).str("nop").psn(4, 5), "asm [nop] unit.c:4:5"},
        {REC(47).str("remark"), "comment [remark]"},
        {REC(126).str("other.c"), "source other.c"},
        {REC(94).u(256 + 41).u(2).str("a").str(""), "pragma - 41 [a] []"},
        {REC(34).no_psn().raw("opaque"), "ir_ins nowhere"},
        {REC(38).u(1).u(2).u(3).u(4).u(500).h(65535), "loop_def 1 2 3 4 500 65535"},
        {REC(45).u(1).u(2).u(3).u(4).u(~0u), "mbank 1 2 3 4 -1"},
        {REC(58).u(1).u(2).u(300), "dd_edge 1 2 300"},
        {REC(59).u(9).b(7).b(2).b(1).b(-1).b(200).b(5), "dd_vector 9 7 1:-1 200:5"},
        {REC(59).u(9).b(7).b(0), "dd_vector 9 7"},
        {REC(108).u(300).b(0).u(6).s(-8).u(1).s(0).u(1), "ldspec_induct #300 6 -8 i6/32/32 _x"},
        {REC(108).u(1).b(1).u(6).u(8).u(1).s(-1).u(0), "ldspec_rand #1 6 8 i6/32/32 -"},
        {REC(108).u(2).b(2).u(6), "ldspec_region #2 6"},
        {REC(108).u(0).b(3), ""},
        {REC(124).u(3).s(0).s(2).b(9), "loop_header 3 _y 9"},
        {REC(124).u(3).s(-1).s(-1).b(9), "loop_header 3 - 9"},
        {REC(105).u(1) + icon(1) + REC(101).b(OP::ENDINIT).u(1),
         "init _x (ICON:i6/32/32 1) (ENDINIT:i6/32/32)"},
        {icon(3), ""},                             // a stray tree is dropped
        {REC(116).u(9).b(60).raw("anything"), ""}, // so are kinds of types that define nothing
    };
    for (const auto &c : cases) {
        const std::string line = c.call.empty() ? "" : c.call + "\n";
        EXPECT_EQ(body_log(c.record), line);
        EXPECT_EQ(body_log(in_function(c.record)),
                  "begin_func _f nowhere\nend_args nowhere\nend_locals nowhere\n" + line +
                      "end_func nowhere\n");
    }
}

TEST(Records, InstructionFunction) {
    EXPECT_EQ(body_log(REC(123).u(0).s(-3).b(-2).u(7).psn(1) + REC(34).psn(2).raw("xyz") +
                       symbol("s", 1, 1) + REC(125).psn(3) + begin + args + locals + end),
              "ir_begin _f -3 -2 7 unit.c:1:1\n"
              "ir_ins unit.c:2:1\n"
              "symbol s size32 align32 offset0 sc1 flags0 set0 i6/32/32 - nowhere\n"
              "defined s level1 index0\n"
              "ir_end unit.c:3:1\n"
              "begin_func _f nowhere\nend_args nowhere\nend_locals nowhere\nend_func nowhere\n");
}

TEST(Symbols, AllFields) {
    FILE_BYTES f = unit("");
    f.globals =
        REC(35).str("_s").u(48).u(300).b(-1).h(0x8012).u(1).u(2).u(32).b(1).u(77).u(4).psn(5) +
        REC(94).u(3).u(0) + symbol("_t", 1, 27);
    EXPECT_THAT(read_log(f.str()),
                HasSubstr("symbol _s size48 align32 offset300 sc-1 flagsffff8012 set4 i6/32/32 "
                          "fn 01 cc0 i6/32/32 unit.c:5:1\n"
                          "pragma _s 3\n"
                          "defined _s level0 index0\n"
                          "symbol _t size32 align32 offset0 sc27 "));
}

TEST(Symbols, NumbersAndLevels) {
    const BYTES body = begin + symbol("p", 1, 9) + args + symbol("a", 1, 1) + symbol("b", 1, 1) +
                       locals + begin_block + symbol("c", 1, 1) + begin_block + symbol("d", 1, 1) +
                       end_block + symbol("e", 1, 1) + end_block + REC(46).no_psn() +
                       REC(101).b(OP::COMMA).u(0) + name(0, 2) + REC(101).b(OP::COMMA).u(0) +
                       name(2, 2) + REC(101).b(OP::COMMA).u(0) + name(5, 5) + name(~0u, 9) + end +
                       begin + symbol("q", 1, 9) + args + locals + end;
    const std::string log = body_log(body);
    for (const char *line :
         {"defined p level1 index0", "defined a level2 index1", "defined b level2 index2",
          "defined c level3 index3", "defined d level4 index4", "defined e level3 index5",
          "defined q level1 index0", "NAME:i6/32/32 _y", "NAME:i6/32/32 b", "NAME:i6/32/32 e",
          "NAME:i6/32/32 none"})
        EXPECT_THAT(log, HasSubstr(line));
}

// A pragma's frame is taken without a look at its tag.
TEST(Symbols, PragmasBehindThem) {
    FILE_BYTES f = unit("");
    f.globals = symbol("_s", 1, 2, 3) + REC(94).u(1).u(1).str("16") + REC(7).u(2).u(1).str("sect") +
                REC(94).u(3).u(0) + symbol("_t", 1, 2, -5);
    EXPECT_THAT(read_log(f.str()),
                HasSubstr("pragma _s 1 [16]\npragma _s 2 [sect]\npragma _s 3\ndefined _s"));
    EXPECT_THAT(recording.log, HasSubstr("defined _t"));
}

TEST(Symbols, TooManyPragmasToWrite) {
    const OUTCOME child = in_child([] {
        SYMTAB sym;
        sym.name = "_s";
        PRAGMA pragmas[128];
        for (PRAGMA &p : pragmas) {
            p.next = sym.pragmas;
            sym.pragmas = &p;
        }
        I_FILE *out = I_FILE::if_create(std::tmpfile(), nullptr, "");
        sym.pragmas = pragmas[126].next ? &pragmas[126] : nullptr;
        out->if_write_symbol(&sym);
        sym.pragmas = &pragmas[127];
        out->if_write_symbol(&sym);
    });
    EXPECT_EQ(child.status, 1);
    EXPECT_EQ(child.out, ">> Too many pragmas of symbol \"_s\"\n");
}

const BYTES eht = REC(93).u(4) + REC(91).u(1).u(1).u(0).u(0) + REC(46).no_psn() + icon(1) +
                  REC(91).u(2).u(2).u(1).u(2) + REC(63).str("int").u(7).b(1).str("").u(8).b(0) +
                  REC(91).u(3).u(5).u(0).u(9) + REC(91).u(4).u(2).u(0).u(0) + REC(63);

TEST(ExceptionTable, Entries) {
    const std::string expected = "eht 4\n"
                                 "  entry 1 kind1 link0 (ICON:i6/32/32 1)\n"
                                 "  entry 2 kind2 link1 catch int L7 1 catch  L8 0\n"
                                 "  entry 3 kind5 link0\n"
                                 "  entry 4 kind2 link0\n";
    EXPECT_THAT(body_log(in_function(eht)), HasSubstr(expected + "end_func"));
    EXPECT_THAT(body_log(in_function(REC(93).u(0))), HasSubstr("eht 0\nend_func"));
    I_FILE *file = open_bytes(unit(in_function(eht)).str());
    recording.keep_eht = true; // the client frees the array then
    file->if_read_file();
    EXPECT_THAT(recording.log, HasSubstr(expected));
    file->if_close(true, false);
}

TEST(ExceptionTable, Faults) {
    const BYTES cases[] = {
        REC(93).u(1),
        REC(93).u(0xfffffff0),
        REC(93).u(1) + REC(42).u(1),
        REC(93).u(1) + REC(91).u(1).u(1).u(0).u(0) + icon(1),
        REC(93).u(1) + REC(91).u(1).u(2).u(0).u(1) + REC(46).no_psn(),
        REC(93).u(1) + REC(91).u(1).u(2).u(0).u(0x7fffffff) + REC(63),
    };
    for (const BYTES &bytes : cases) {
        const OUTCOME child = read_in_child(unit(in_function(bytes)).str());
        EXPECT_EQ(child.status, 1);
        EXPECT_THAT(child.out, testing::MatchesRegex(
                                   "\nINTERNAL ERROR: Invalid EHT record in I-code, aborting\n"
                                   ">> at offset 0x[0-9a-f]+ of \"unit.c\"\n"));
    }
}

TEST(Faults, NumbersThatNameNothing) {
    const char *symbol_reference = "Invalid symbol reference in I-code";
    struct {
        BYTES body;
        const char *message;
    } const cases[] = {
        {REC(1).no_psn().u(3), symbol_reference},
        {REC(105).u(3), symbol_reference},
        {REC(123).u(3).s(0).b(0).u(0).no_psn(), symbol_reference},
        {REC(124).u(0).s(0).s(-2).b(0), symbol_reference},
        {name(0, 3), symbol_reference},
        {name(0, ~0u), symbol_reference},
        {name(1, 0), symbol_reference}, // no locals between functions
        {begin + name(1, 0), symbol_reference},
        {begin + symbol("p", 1, 9) + args + locals + end + begin + name(1, 0), symbol_reference},
        {REC(94).u(1).u(1000).str("a"), "Invalid count in I-code"},
        {REC(101).b(OP::SCON).u(1).u(0x10000).raw("abc"), "Invalid count in I-code"},
        {REC(101).b(OP::FIELD).u(1).b(2).u(1).u(1), "of no known kind"},
        {REC(101).b(OP::FIELD).u(1).b(1).u(1).u(77), "invalid forward reference"},
        {symbol("q", 3, 1), "invalid forward reference"},
    };
    for (const auto &c : cases) {
        const FILE_BYTES f = unit(c.body);
        const OUTCOME child = read_in_child(f.str());
        EXPECT_EQ(child.status, 1) << c.message;
        EXPECT_THAT(child.out, HasSubstr(c.message));
        EXPECT_THAT(child.out, HasSubstr(">> at offset 0x"));
    }
    FILE_BYTES f = unit("");
    f.options = REC(111).u(0).u(0xffffffff);
    EXPECT_THAT(read_in_child(f.str()).out, HasSubstr("Invalid count in I-code"));
}

// The client is never told something that does not fit what it was told before.
TEST(Faults, RecordsOutOfPlace) {
    const BYTES statement = REC(46).no_psn() + icon(1), ir = REC(123).u(0).s(0).b(0).u(0).no_psn();
    const BYTES misplaced[] = {
        end,
        begin_block,
        end_block,
        args,
        locals,
        statement,
        REC(42).u(1),
        REC(64).b(1),
        REC(93).u(0),
        REC(125).no_psn(),
        begin + begin,
        begin + locals,
        begin + statement,
        begin + args + args,
        begin + args + end,
        begin + args + begin_block,
        begin + args + REC(42).u(1),
        begin + args + locals + locals,
        begin + args + locals + end_block,
        begin + args + locals + begin,
        begin + args + locals + begin_block + end_block + end_block,
        begin + args + locals + ir,
        ir + end,
        ir + statement,
        ir + ir,
    };
    for (const BYTES &body : misplaced) {
        const OUTCOME child = read_in_child(unit(body).str());
        EXPECT_EQ(child.status, 1);
        EXPECT_THAT(child.out,
                    HasSubstr("\nINTERNAL ERROR: Misplaced record in I-code, aborting\n"));
    }
    for (const BYTES &body :
         {begin, begin + args + locals, begin + args + locals + begin_block, ir}) {
        const OUTCOME child = read_in_child(unit(body).str());
        EXPECT_EQ(child.status, 1);
        EXPECT_THAT(child.out,
                    HasSubstr("\nINTERNAL ERROR: Unfinished function in I-code, aborting\n"));
    }
    EXPECT_THAT(read_in_child(unit(in_function(begin_block)).str()).out,
                HasSubstr("\nINTERNAL ERROR: Unfinished block in I-code, aborting\n"));
}

TEST(Faults, BlocksNestedDeeply) {
    const auto nested = [](int n) {
        BYTES body;
        for (int i = 0; i < n; ++i)
            body += begin_block;
        for (int i = 0; i < n; ++i)
            body += end_block;
        return unit(in_function(body)).str();
    };
    EXPECT_EQ(read_in_child(nested(if_max_scope_level - 2)).status, 0);
    const OUTCOME child = read_in_child(nested(if_max_scope_level - 1));
    EXPECT_EQ(child.status, 1);
    EXPECT_THAT(child.out,
                HasSubstr("\nINTERNAL ERROR: Blocks nested too deeply in I-code, aborting\n"));
}

// A writer keeps the level of the symbols that are entered now, as a reader does.
TEST(Writer, ScopeLevels) {
    SYMTAB function, sym;
    I_FILE *out = I_FILE::if_create(std::tmpfile(), nullptr, "");
    out->if_enter_global(&function);
    const auto expect = [&](int level, int index) {
        out->if_enter_local(&sym);
        EXPECT_EQ(sym.level, level);
        EXPECT_EQ(sym.index, index);
    };
    for (int i = 0; i < 2; ++i) {
        out->if_write_begin_func(&function, nullptr);
        expect(1, 0);
        out->if_write_end_args(nullptr);
        expect(2, 1);
        out->if_write_end_locals(nullptr);
        out->if_write_begin_block(nullptr);
        expect(3, 2);
        out->if_write_begin_block(nullptr);
        expect(4, 3);
        out->if_write_end_block(nullptr);
        expect(3, 4);
        out->if_write_end_block(nullptr);
        out->if_write_end_func(nullptr);
        EXPECT_EQ(out->scope_level, 0);
    }
    out->if_close(false, true);
}

// Where a symbol's record is found again: the writer's positions of functions and initialisers.
TEST(Writer, PositionsOfFunctionsAndInitialisers) {
    FILE_BYTES f = unit(REC(47).str("first") + in_function(REC(42).u(1)) + REC(47).str("last"));
    f.init = REC(105).u(2) + REC(101).b(OP::ENDINIT).u(1);
    const std::string bytes = rewritten(f.str());
    I_FILE *file = open_bytes(bytes);
    file->if_read_file();
    ASSERT_EQ(file->globals.size(), 3u);
    recording.log.clear();
    file->if_read_func(file->globals[0]->fpos);
    EXPECT_THAT(recording.log, testing::StartsWith("begin_func _f"));
    EXPECT_EQ(file->globals[1]->fpos, 0u);
    EXPECT_EQ(static_cast<unsigned char>(bytes[file->globals[2]->fpos]), 105);
    // The end mark of the main body stands before the first initialiser, and one behind the last.
    EXPECT_EQ(static_cast<std::uint32_t>(file->init_offset), file->globals[2]->fpos);
    EXPECT_EQ(bytes[static_cast<std::size_t>(file->init_offset) - 1], '\xff');
    file->if_close(true, false);
}
} // namespace
