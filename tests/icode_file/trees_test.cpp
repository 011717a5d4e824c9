// Expression trees, whole files through reader and writer, and damaged files.
#include "recording_client.h"

#include "OPT5/icode/records/if_schema.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>

#include <sys/wait.h>
#include <unistd.h>

using testing::HasSubstr;
using testing::Not;

namespace {
using BYTES = std::string;

REC node(int op, std::uint32_t type = 1) {
    REC r(101);
    r.b(op).u(type);
    return r;
}
BYTES leaf(int value) {
    return node(OP::ICON).s(value);
}

// Types: 1 int, 2 unsigned, 3 float, 4 a class with the member 1, 5 function, 6 pointer to char.
// Symbols: _f, _x, _s.
FILE_BYTES unit(const BYTES &statements) {
    FILE_BYTES f;
    f.names = REC(126).str("unit.c") + REC(126).str("unit.h");
    f.types =
        REC(116).u(1).b(6).b(0).u(32).u(32).b(0).b(0) +
        REC(116).u(2).b(7).b(0).u(32).u(32).b(0).b(0) + REC(116).u(3).b(10).u(32).u(32) +
        REC(116).u(4).b(24).b(0).str("s").b(1).b(0).u(32).u(32).b(1).b(0).b(0).no_psn() +
        REC(116).u(4).b(254).b(7) +
        REC(116).u(4).b(28).u(1).str("m").u(1).b(0).s(0).b(0).u(0).b(0).b(0).b(0).no_psn() +
        REC(116).u(4).b(28).u(2).str("n").u(2).b(0x81).s(-16).b(7).u(3).b(1).b(1).b(1).psn(2) +
        REC(116).u(4).b(255).b(7) + REC(116).u(5).b(20).u(1).b(0).b(1).b(0).b(0) +
        REC(116).u(5).b(254).b(0) + REC(116).u(5).b(255).b(0) +
        REC(116).u(7).b(1).b(0).u(16).u(16).b(0).b(1) + REC(116).u(6).b(15).u(7).u(16).u(16);
    f.globals = symbol("_f", 5, 2, 0, 0) + symbol("_x", 1, 2) + symbol("_s", 4, 3);
    f.body = REC(1).psn(1).u(0) + symbol("p", 1, 9) + REC(5).psn(2) + symbol("a", 1, 1) +
             REC(6).psn(3) + statements + REC(2).psn(9);
    return f;
}

std::string tree_log(const BYTES &tree) {
    const std::string log = read_log(unit(REC(46).psn(4) + tree).str());
    const std::string before = "expr unit.c:4:1 ";
    const std::size_t at = log.find(before) + before.size();
    return log.substr(at, log.find('\n', at) - at);
}

TEST(Trees, Payloads) {
    struct {
        BYTES records;
        const char *expected;
    } const cases[] = {
        {node(OP::LABEL).u(300), "(LABEL:i6/32/32 L300)"},
        {node(OP::NAME).u(0).u(1), "(NAME:i6/32/32 _x)"},
        {node(OP::NAME).u(1).u(0), "(NAME:i6/32/32 p)"},
        {node(OP::NAME).u(2).u(1), "(NAME:i6/32/32 a)"},
        {node(OP::NAME).u(~0u).u(0), "(NAME:i6/32/32 none)"},
        {node(OP::SCON, 6).u(4).raw(std::string_view("a\0\0b", 4)),
         "(SCON:*i1p/16/16/16/16 4:61000062)"},
        {node(OP::SCON, 6).u(0), "(SCON:*i1p/16/16/16/16 0:)"},
        {node(OP::ICON).s(-1), "(ICON:i6/32/32 -1)"},
        {node(OP::ICON).s(-0x7fffffff - 1), "(ICON:i6/32/32 -2147483648)"},
        {node(OP::ICON, 2).u(0x80000000), "(ICON:i7/32/32 2147483648u)"},
        {node(OP::FCON, 3).str("0x1.8p+1"), "(FCON:f0/32/32 0x1.8p+1)"},
        {node(OP::STDOT) + node(OP::NAME, 4).u(0).u(2) + node(OP::FIELD).b(1).u(1).u(4),
         "(STDOT:i6/32/32 (NAME:struct s _s) (FIELD:i6/32/32 1 #1 struct s))"},
        {node(OP::SWITCH).u(1) + leaf(2) + node(OP::COMMA) + node(OP::CASE) + leaf(3) +
             node(OP::LABEL).u(1) + node(OP::DEFAULT) + node(OP::LABEL).u(2),
         "(SWITCH:i6/32/32 cases1 (ICON:i6/32/32 2) (COMMA:i6/32/32 (CASE:i6/32/32 (ICON:i6/32/32 "
         "3) (LABEL:i6/32/32 L1)) (DEFAULT:i6/32/32 (LABEL:i6/32/32 L2))))"},
        {node(OP::CALL).u(2).u(5) + leaf(1) + leaf(2),
         "(CALL:i6/32/32 extra2 eht5 (ICON:i6/32/32 1) (ICON:i6/32/32 2))"},
        {node(OP::UCALL).u(5) + leaf(1), "(UCALL:i6/32/32 eht5 (ICON:i6/32/32 1))"},
        {node(OP::EPVAL).u(77) + leaf(1), "(EPVAL:i6/32/32 #77 (ICON:i6/32/32 1))"},
        {node(OP::SKIP).u(12), "(SKIP:i6/32/32 12)"},
        {node(OP::ICALL).str("min") + leaf(1), "(ICALL:i6/32/32 min (ICON:i6/32/32 1))"},
        {node(OP::UICALL).str("nop"), "(UICALL:i6/32/32 nop)"},
        {node(OP::MCALL).str("st") + leaf(1), "(MCALL:i6/32/32 st (ICON:i6/32/32 1))"},
        {node(OP::UMCALL).str("ld"), "(UMCALL:i6/32/32 ld)"},
        {node(OP::VREG).s(-70), "(VREG:i6/32/32)"},
        {node(OP::STDOT) + node(OP::NAME, 4).u(0).u(2) + node(OP::FIELD).b(1).u(9).u(4),
         "(STDOT:i6/32/32 (NAME:struct s _s) (FIELD:i6/32/32 none struct s))"},
        {node(OP::STDOT) + node(OP::NAME, 4).u(0).u(2) + node(OP::FIELD).b(1).u(1).u(0),
         "(STDOT:i6/32/32 (NAME:struct s _s) (FIELD:i6/32/32 none -))"},
        {node(OP::NOP, 0), "(NOP:-)"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(tree_log(c.records), c.expected);
}

// Every opcode of the format has as many operands in a file as its table row says.
TEST(Trees, Operands) {
    for (int op = 0; op < 256; ++op) {
        if (op_is_file_leaf(op) || op == OP::FIELD) continue;
        REC r = node(op);
        if (op == OP::SWITCH || op == OP::UCALL || op == OP::EPVAL) r.u(0);
        if (op == OP::CALL) r.u(0).u(0);
        if (op == OP::DDNODE) r.u(0).u(0).b(0);
        if (op >= OP::ICALL && op <= OP::UMCALL && op != OP::RECIP) r.str("");
        const int arity = if_file_arity(op); // 0 of a number without a name
        BYTES tree = r;
        for (int i = 0; i < arity; ++i)
            tree += leaf(i);
        const std::string bytes = unit(REC(46).psn(4) + tree + REC(42).u(1)).str();
        const OUTCOME child = in_child([&bytes] {
            read_log(bytes);
            std::printf("%s", recording.log.c_str());
        });
        if (op >= op_file_limit) {
            EXPECT_EQ(child.status, 1) << op;
            EXPECT_THAT(child.out,
                        HasSubstr("\nINTERNAL ERROR: Invalid I-code record, aborting\n"));
        } else {
            EXPECT_EQ(child.status, 0) << op;
            EXPECT_THAT(child.out, HasSubstr("label 1\n")) << op;
        }
    }
}

// The table of opcodes is open: a program may add rows of its own.
TEST(Trees, OperandsOfAddedRows) {
    const std::string bytes = unit(REC(46).psn(4) + node(150) + leaf(1) + leaf(2)).str();
    const OUTCOME child = in_child([&bytes] {
        if_node_table_init();
        if_enter_node(150, "ADDED", 2);
        read_log(bytes);
        std::printf("%s", recording.log.c_str());
    });
    EXPECT_EQ(child.status, 0);
    EXPECT_THAT(child.out, HasSubstr("(OP150:i6/32/32 (ICON:i6/32/32 1) (ICON:i6/32/32 2))\n"));
    const OUTCOME refused = in_child([] { if_enter_node(201, "BEYOND", 0); });
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.out, "\nINTERNAL ERROR: Invalid opcode, aborting\n");
}

TEST(Trees, Faults) {
    const BYTES cases[] = {
        "",
        REC(42).u(1),
        node(OP::PLUS) + leaf(1),
        node(OP::PLUS) + leaf(1) + REC(46).psn(1),
    };
    for (const BYTES &tree : cases) {
        const OUTCOME child = read_in_child(unit(REC(46).psn(4) + tree).str());
        EXPECT_EQ(child.status, 1);
        EXPECT_THAT(child.out,
                    testing::MatchesRegex("\nINTERNAL ERROR: Invalid I-code record, aborting\n"
                                          ">> at offset 0x[0-9a-f]+ of \"unit.c\"\n"));
    }
}

TEST(Trees, DepthOnEitherSide) {
    const auto tower = [](unsigned n, bool left) {
        BYTES tree;
        for (unsigned i = 0; i < n; ++i)
            tree += node(OP::COMMA) + (left ? "" : leaf(1));
        tree += leaf(1);
        for (unsigned i = 0; left && i < n; ++i)
            tree += leaf(1);
        return unit(REC(46).psn(4) + tree).str();
    };
    const auto read = [](const BYTES &bytes) { // the log of a deep tree would be made by recursion
        return in_child([&bytes] {
            I_FILE *file = open_bytes(bytes);
            file->if_read_file_names();
            file->if_read_type_defs();
            file->if_read_globals();
            while (file->if_read_record() != 6) {
            }
            file->i_read_header();
            file->i_read_psn();
            const NODE *tree = file->if_read_expr_node(true);
            I_FILE *out = I_FILE::if_create(std::tmpfile(), tp, "");
            out->if_write_expr_node(const_cast<NODE *>(tree));
            if (out->if_tell() < bytes.size() / 2) std::exit(7);
        });
    };
    for (bool left : {true, false}) {
        EXPECT_EQ(read(tower(if_max_tree_levels, left)).status, 0);
        const OUTCOME child = read(tower(if_max_tree_levels + 1, left));
        EXPECT_EQ(child.status, 1);
        EXPECT_THAT(child.out,
                    HasSubstr("\nINTERNAL ERROR: Tree nested too deeply in I-code, aborting\n"));
    }
}

// A file with every kind of record that the writer writes.
std::string rich_file() {
    const BYTES statements =
        REC(94).u(39).u(2).str("4").str("8") + REC(42).u(3) + REC(46).psn(5) + node(OP::ASG) +
        node(OP::NAME).u(2).u(1) + node(OP::PLUS) + node(OP::NAME).u(0).u(1) + leaf(-70000) +
        REC(3).psn(6) + symbol("b", 2, 1) + REC(46).u(2).u(70).u(2) + node(OP::ASG, 2) +
        node(OP::NAME, 2).u(3).u(2) + node(OP::ICON, 2).u(0xfffffffe) + REC(4).psn(8) +
        REC(36).str(" nop").psn(8) + REC(47).str("remark") + REC(46).no_psn() + node(OP::UMULT) +
        node(OP::SCON, 6).u(3).raw(std::string_view("x\0y", 3)) +
        REC(38).u(1).u(2).u(3).u(4).u(5).h(6) + REC(45).u(1).u(2).u(3).u(4).u(5) +
        REC(58).u(1).u(2).u(3) + REC(59).u(1).b(2).b(1).b(3).b(-4) +
        REC(108).u(0).b(0).u(6).s(-8).u(1).s(2).u(1) +
        REC(108).u(0).b(1).u(6).u(8).u(0).s(-1).u(0) + REC(108).u(0).b(2).u(6) +
        REC(124).u(3).s(0).s(2).b(9) + REC(93).u(2) + REC(91).u(1).u(1).u(2).u(0) +
        REC(46).no_psn() + node(OP::UCALL).u(0) + leaf(0) + REC(91).u(2).u(2).u(0).u(1) +
        REC(63).str("int").u(3).b(1) + REC(64).b(76);
    FILE_BYTES f = unit(statements);
    f.options = REC(111).u(0).u(2).str("-o2").str("") + REC(111).u(4).u(0);
    f.init = REC(105).u(1) + leaf(5) + node(OP::ENDINIT) + REC(105).u(2) + node(OP::SKIP).u(2) +
             node(OP::ENDINIT, 0);
    f.globals =
        symbol("_f", 5, 2, 2, 0) + REC(94).u(49).u(1).str("C") + REC(94).u(4).u(0) +
        REC(35).str("_x").u(32).u(0).b(2).h(0x8010).u(1).u(3).u(32).b(1).u(0).u(4).u(2).u(5).u(6) +
        REC(94).u(3).u(0) + symbol("_s", 4, 3);
    f.types += REC(116).u(20).b(22).str("e").u(32).u(32).u(2).b(1).psn(3) +
               REC(116).u(20).b(254).b(1) + REC(116).u(20).b(23).str("k").u(0xffffffff).psn(3) +
               REC(116).u(20).b(255).b(1) +
               REC(116)
                   .u(21)
                   .b(25)
                   .b(2)
                   .str("all")
                   .b(0)
                   .b(1)
                   .u(64)
                   .u(32)
                   .u(7)
                   .b(1)
                   .b(1)
                   .b(1)
                   .b(1)
                   .b(1)
                   .b(1)
                   .b(1)
                   .b(1)
                   .b(1)
                   .b(1)
                   .b(1)
                   .psn(4);
    // A long record only for the sake of its extra word.
    f.types += REC(116)
                   .u(22)
                   .b(25)
                   .b(1)
                   .str("extra")
                   .b(1)
                   .b(0)
                   .u(0)
                   .u(16)
                   .u(5)
                   .b(0)
                   .b(0)
                   .b(0)
                   .b(0)
                   .b(0)
                   .b(0)
                   .b(0)
                   .b(0)
                   .b(0)
                   .b(0)
                   .b(0)
                   .no_psn();
    const BYTES elements[] = {
        REC(116).u(21).b(29).u(4).s(-32).b(2).b(1),
        REC(116).u(21).b(30).u(0).b(3),
        REC(116).u(21).b(31).str("g").u(5),
        REC(116).u(21).b(32).u(4),
        REC(116).u(21).b(33).u(20),
        "", // announced, but empty
        REC(116).u(21).b(34).str("st").u(6).b(1),
        REC(116).u(21).b(35).str("h").u(5).b(1).s(-1).b(1).b(0).b(1).b(1),
        REC(116).u(21).b(21).u(1).b(0).u(2).str("T"),
    };
    const int lists[] = {2, 3, 4, 5, 6, 7, 8, 9, 0};
    for (std::size_t i = 0; i < std::size(lists); ++i)
        f.types +=
            REC(116).u(21).b(254).b(lists[i]) + elements[i] + REC(116).u(21).b(255).b(lists[i]);
    // Named types, which stay although nothing refers to them, over all other kinds.
    const BYTES others[] = {
        REC(116).u(30).b(49),
        REC(116).u(31).b(13).b(-3).b(1).u(1).u(16).u(16),
        REC(116).u(32).b(36).u(64).u(32).u(3),
        REC(116).u(33).b(16).u(4).u(16).u(16),
        REC(116).u(34).b(17).u(1).u(3).u(32).u(32),
        REC(116).u(35).b(18).u(1).u(0).u(0).u(32).b(1).b(0).b(0),
        REC(116).u(36).b(18).u(1).u(4).u(128).u(64).b(1).b(1).b(1),
        REC(116).u(37).b(19).u(1).u(4).u(32).u(16),
        REC(116).u(38).b(0).b(1).u(32).u(32).b(1).b(1),
        REC(116).u(39).b(51).b(1).u(64).u(32).b(0).b(0),
        REC(116).u(40).b(12).u(80).u(16),
    };
    std::uint32_t number = 30;
    for (const BYTES &other : others) {
        f.types += other + REC(116)
                               .u(number + 30)
                               .b(14)
                               .str("t" + std::to_string(number))
                               .u(number)
                               .u(32)
                               .u(32)
                               .b(0)
                               .b(1)
                               .psn(number);
        ++number;
    }
    return f.str();
}

TEST(WholeFile, ThroughReaderAndWriter) {
    const std::string first = rich_file();
    const std::string log = read_log(first), types = all_type_details();
    EXPECT_THAT(types,
                HasSubstr("class all complete0 lowered1 64/32 extra7 has1011111111 flag1 cpp1"));
    const std::string second = rewritten(first), third = rewritten(second);
    // One trip turns the pragmas of a symbol round, a second one turns them back.
    const std::string turned = "pragma _f 4\npragma _f 49 [C]\n",
                      straight = "pragma _f 49 [C]\npragma _f 4\n";
    std::string expected = log;
    expected.replace(expected.find(straight), straight.size(), turned);
    EXPECT_EQ(read_log(second), expected);
    EXPECT_EQ(all_type_details(), types);
    EXPECT_EQ(read_log(third), log);
    EXPECT_EQ(all_type_details(), types);
    // From then on type numbers do not change either.
    EXPECT_EQ(rewritten(rewritten(third)), third);
}

// Children that read damaged copies of a file, many in one process each until one of them ends it.
void expect_no_fault(const std::vector<std::string> &files) {
    for (std::size_t next = 0; next < files.size();) {
        int done[2];
        ASSERT_EQ(pipe(done), 0);
        std::size_t read_count = 0;
        const OUTCOME child = in_child([&] {
            for (std::size_t i = next; i < files.size(); ++i) {
                const char mark = 0;
                if (write(done[1], &mark, 1) != 1) std::exit(9);
                read_log(files[i]);
            }
        });
        close(done[1]);
        char marks[4096];
        for (ssize_t n; (n = ::read(done[0], marks, sizeof marks)) > 0;)
            read_count += static_cast<std::size_t>(n);
        close(done[0]);
        ASSERT_TRUE(child.status == 0 || child.status == 1)
            << "file " << next + read_count - 1 << " status " << child.status << "\n"
            << child.out.substr(0, 2000);
        if (child.status == 1) {
            EXPECT_THAT(child.out, HasSubstr(">> at offset 0x"));
        }
        next += read_count;
    }
}

// A record that the file's end cuts off is not there.
TEST(WholeFile, CutRecords) {
    FILE_BYTES f = unit(REC(42).u(1));
    f.body += REC(47).str("remark");
    f.globals += symbol("_t", 1, 2, 100) + REC(94).u(3).u(0) + REC(94).u(4).u(1).str("cut");
    const std::string bytes = f.str(), whole = read_log(bytes.substr(0, bytes.size() - 1));
    EXPECT_THAT(whole, HasSubstr("pragma _t 3\npragma _t 4 [cut]\ndefined _t"));
    for (std::size_t left = 2; left < 8; ++left)
        EXPECT_THAT(read_log(bytes.substr(0, bytes.size() - left)),
                    HasSubstr("pragma _t 3\ndefined _t"));
    FILE_BYTES body_only;
    body_only.body = REC(47).str("remark");
    const std::string comment = body_only.str();
    EXPECT_THAT(read_log(comment.substr(0, comment.size() - 1)), HasSubstr("comment [remark]"));
    EXPECT_THAT(read_log(comment.substr(0, comment.size() - 2)), Not(HasSubstr("comment")));
}

TEST(WholeFile, CutAnywhere) {
    const std::string bytes = rich_file();
    std::vector<std::string> files;
    for (std::size_t n = 0; n < bytes.size(); ++n)
        files.push_back(bytes.substr(0, n));
    expect_no_fault(files);
}

TEST(WholeFile, DamagedAnywhere) {
    const std::string bytes = rich_file();
    std::vector<std::string> files;
    std::mt19937 random(20);
    for (std::size_t at = 0; at < bytes.size(); ++at)
        for (int value : {0, 255, static_cast<int>(random() & 255)}) {
            files.push_back(bytes);
            files.back()[at] = static_cast<char>(value);
        }
    for (int i = 0; i < 1000; ++i) {
        std::string file = bytes;
        for (unsigned k = 1 + random() % 8; k > 0; --k)
            switch (std::size_t at = random() % file.size(); random() % 3) {
            case 0: file[at] = static_cast<char>(random()); break;
            case 1: file.erase(at, random() % 20); break;
            default: file.insert(at, file, random() % file.size(), random() % 40);
            }
        files.push_back(file);
    }
    expect_no_fault(files);
}
} // namespace
