// The opcode table, the file layer's table and the check at start that they agree.
#include "OPT5/driver/log.h"
#include "OPT5/icode/if.h"
#include "OPT5/icode/if_node_table.h"
#include "OPT5/rep/bbutils.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

namespace {
std::vector<std::string> words(const char *text) {
    std::istringstream in(text);
    return {std::istream_iterator<std::string>(in), {}};
}

int code_of(const std::string &name) {
    const int op = op_by_name(name.c_str());
    EXPECT_NE(op, OP::ILLOP) << name;
    return op;
}

struct COLUMN {
    int value;
    const char *names;
};

// The named opcodes have the values of the columns, and all other codes `rest`; codes without a
// name that are in a tree's table all the same are left to the caller.
void expect_columns(const std::uint8_t (&table)[op_count], std::initializer_list<COLUMN> columns,
                    int rest, int limit = OP::ILLOP + 1) {
    std::map<int, int> expected;
    for (const COLUMN &column : columns)
        for (const std::string &name : words(column.names))
            EXPECT_TRUE(expected.emplace(code_of(name), column.value).second) << name;
    const std::vector<int> unnamed = {100, 102, 116, 117, 137};
    for (int op = 0; op < limit; ++op) {
        if (std::find(unnamed.begin(), unnamed.end(), op) != unnamed.end()) continue;
        const auto found = expected.find(op);
        EXPECT_EQ(table[op], found == expected.end() ? rest : found->second) << opname(op) << op;
    }
}

// Each pair "A B": A maps to B; all other codes have no counterpart.
void expect_pairs(const std::uint8_t (&table)[op_count], const char *pairs) {
    const auto names = words(pairs);
    std::map<int, int> expected;
    for (std::size_t i = 0; i + 1 < names.size(); i += 2)
        expected[code_of(names[i])] = code_of(names[i + 1]);
    for (int op = 0; op < op_count; ++op) {
        const auto found = expected.find(op);
        EXPECT_EQ(table[op], found == expected.end() ? OP::ILLOP : found->second) << opname(op);
    }
}
} // namespace

TEST(Opcodes, NumbersAndNamesAreTheFilesOwn) {
    const struct {
        int first;
        const char *names;
    } runs[] = {
        {0, "NOP LABEL NAME SCON ICON FCON PLUS PLUSASG MINUS MINUSASG UMINUS MULT "
            "MULTASG UMULT ANDB ANDBASG UAND ORB ORBASG XORB XORBASG QUEST COLON ANDAND "
            "OROR LCON FIELD ABS"},
        {36, "RETURN"},
        {40, "SWITCH"},
        {46, "DEFAULT CASE"},
        {56, "COMMA PCOMMA ASG COMMAOP DIV DIVASG MOD MODASG SLL SLLASG SRL SRLASG STDOT "
             "STREF CALL"},
        {72, "UCALL"},
        {74, "LOOP ENDLOOP EXCLAIM NOTB PLUSPLUS MINMIN EQ NEQ LE LT GE GT ULE ULT UGE "
             "UGT"},
        {96, "STFIELD ARGREF STASG STARG"},
        {103, "ARASG SCONV PCONV PMCONV PVCONV ACONV CBRANCH EPVAL"},
        {112, "ENDINIT"},
        {114, "BRANCH SKIP"},
        {118, "URETURN DDNODE"},
        {121, "SQRT SQR NASSERT ASSERT MEMCPY"},
        {127, "TOIEEE FRIEEE ICALL UICALL RECIP MCALL UMCALL VPACK VPACKM VPACK1P"},
        {138, "VFIELD VRCONV COMPLEX REAL IMAG"},
        {163, "OUIALIGN NONALIGN SIMDHI SIMDLO PPRAGMA VSCONV EXPT EXPRSTUB CSE_DUPE "
              "CSE_ORIG ASM IF LABELDEF INITLOOP IDENTITY ISP2CHAR MIXVALUE MIX_CONJ "
              "MIX_DISJ MIX_SET BGNBLOCK ENDBLOCK SSA_PHI SSA_USE SSA_DEF SSA_MU SSA_CHI"},
        {200,
         "DFG_DEF DFG_VDEF DFG_PHI DFG_VPHI DFG_RCUSE DFG_VRCUSE DFG_SSV DFG_REDUCE DFG_SQC "
         "DFG_FETCH DFG_STORE DFG_VREF DFG_EXTRACT DFG_PACK DFG_REPACK DFG_TARGET DFG_PARM "
         "DFG_HASHPARM DFG_UNPACK1 DFG_UNPACK2 DFG_S2V DFG_V2S DFG_MVE DFG_HOIST DFG_SINK DFG_MAX "
         "DFG_MIN DFG_DONOTCSE DFG_ILS DFG_BUNDLE DFG_SPLIT"},
    };
    std::map<int, std::string> names;
    for (const auto &run : runs) {
        int op = run.first;
        for (const std::string &name : words(run.names))
            names[op++] = name;
    }
    for (int op = 0; op < op_count; ++op) {
        const auto found = names.find(op);
        if (found == names.end()) {
            EXPECT_EQ(node_operator_name[op], nullptr) << op;
            continue;
        }
        EXPECT_STREQ(node_operator_name[op], found->second.c_str()) << op;
        EXPECT_EQ(op_by_name(found->second.c_str()), op);
    }
    EXPECT_EQ(op_by_name("VREG"), OP::ILLOP) << "the file layer's alone";
}

TEST(Opcodes, OperandCounts) {
    expect_columns(
        number_of_operands,
        {
            {0, "NOP LABEL NAME SCON ICON FCON LCON FIELD ENDINIT UICALL UMCALL PPRAGMA "
                "EXPRSTUB ASM LABELDEF MIXVALUE BGNBLOCK ENDBLOCK SSA_PHI"},
            {2, "PLUS PLUSASG MINUS MINUSASG MULT MULTASG ANDB ANDBASG ORB ORBASG XORB "
                "XORBASG QUEST COLON ANDAND OROR RETURN SWITCH CASE COMMA PCOMMA ASG "
                "COMMAOP DIV DIVASG MOD MODASG SLL SLLASG SRL SRLASG STDOT STREF CALL LOOP "
                "ENDLOOP PLUSPLUS MINMIN EQ NEQ LE LT GE GT ULE ULT UGE UGT STFIELD STASG "
                "ARASG PMCONV PVCONV CBRANCH VPACK1P VFIELD COMPLEX EXPT CSE_DUPE CSE_ORIG "
                "IF INITLOOP MIX_CONJ MIX_DISJ"},
            {1, "UMINUS UMULT UAND ABS DEFAULT UCALL EXCLAIM NOTB ARGREF STARG SCONV PCONV "
                "ACONV BRANCH SKIP URETURN DDNODE SQRT SQR NASSERT ASSERT MEMCPY TOIEEE "
                "FRIEEE ICALL RECIP MCALL VPACK VPACKM VRCONV REAL IMAG OUIALIGN NONALIGN "
                "SIMDHI SIMDLO VSCONV IDENTITY ISP2CHAR MIX_SET SSA_USE SSA_DEF SSA_MU "
                "SSA_CHI"},
            {OP_NONE, "EPVAL"},
            {0, "DFG_RCUSE DFG_VRCUSE DFG_PARM DFG_HASHPARM"},
            {1,
             "DFG_DEF DFG_VDEF DFG_REDUCE DFG_FETCH DFG_EXTRACT DFG_REPACK DFG_TARGET DFG_UNPACK1 "
             "DFG_UNPACK2 DFG_S2V DFG_V2S DFG_MVE DFG_HOIST DFG_SINK DFG_DONOTCSE DFG_ILS "
             "DFG_BUNDLE"},
            {2, "DFG_PHI DFG_VPHI DFG_STORE DFG_VREF DFG_PACK DFG_MAX DFG_MIN DFG_SPLIT"},
            {3, "DFG_SQC"},
        },
        OP_NONE);
}

TEST(Opcodes, Precedence) {
    expect_columns(
        precedence,
        {
            {99, "LABEL NAME SCON ICON FCON LCON FIELD EXPRSTUB MIXVALUE"},
            {12, "PLUS MINUS"},
            {2, "PLUSASG MINUSASG MULTASG ANDBASG ORBASG XORBASG ASG DIVASG MODASG SLLASG "
                "SRLASG STASG ARASG"},
            {14, "UMINUS UMULT UAND EXCLAIM NOTB PLUSPLUS MINMIN STFIELD ARGREF SCONV PCONV "
                 "ACONV VFIELD VRCONV IDENTITY ISP2CHAR"},
            {13, "MULT DIV MOD PMCONV PVCONV RECIP VSCONV"},
            {8, "ANDB"},
            {6, "ORB"},
            {7, "XORB"},
            {3, "QUEST COLON"},
            {5, "ANDAND MIX_CONJ"},
            {4, "OROR MIX_DISJ"},
            {15, "ABS STDOT STREF CALL UCALL SQRT SQR NASSERT ASSERT MEMCPY TOIEEE FRIEEE "
                 "ICALL UICALL MCALL UMCALL VPACK VPACKM VPACK1P SIMDHI SIMDLO MIX_SET "
                 "SSA_PHI SSA_USE SSA_DEF SSA_MU SSA_CHI"},
            {1, "COMMA PCOMMA COMMAOP"},
            {11, "SLL SRL"},
            {9, "EQ NEQ"},
            {10, "LE LT GE GT ULE ULT UGE UGT"},
            {88, "EXPT"},
        },
        0);
}

TEST(Opcodes, SideEffects) {
    expect_columns(
        side_effects,
        {
            {SE_NONE, "LABEL NAME SCON ICON FCON PLUS MINUS UMINUS MULT UMULT ANDB UAND ORB XORB "
                      "QUEST COLON ANDAND OROR LCON FIELD ABS DEFAULT CASE COMMA DIV MOD SLL SRL "
                      "STDOT STREF EXCLAIM NOTB EQ NEQ LE LT GE GT ULE ULT UGE UGT STFIELD ARGREF "
                      "STARG SCONV PCONV PMCONV PVCONV ACONV ENDINIT SKIP SQRT SQR TOIEEE FRIEEE "
                      "ICALL UICALL RECIP VPACK VPACKM VPACK1P VFIELD VRCONV COMPLEX REAL IMAG "
                      "OUIALIGN NONALIGN SIMDHI SIMDLO VSCONV EXPT EXPRSTUB CSE_DUPE CSE_ORIG "
                      "IDENTITY ISP2CHAR MIXVALUE MIX_CONJ MIX_DISJ MIX_SET SSA_USE SSA_MU"},
            {SE_STORE, "PLUSASG MINUSASG MULTASG ANDBASG ORBASG XORBASG ASG DIVASG MODASG SLLASG "
                       "SRLASG PLUSPLUS MINMIN STASG SSA_PHI SSA_DEF SSA_CHI"},
            {SE_CONTROL, "RETURN SWITCH CBRANCH BRANCH URETURN IF LABELDEF"},
        },
        SE_VARIES, 190);
}

TEST(Opcodes, FitForSpeculation) {
    expect_columns(
        op_OK_for_SP,
        {
            {1, "LABEL NAME SCON ICON FCON PLUS PLUSASG MINUS MINUSASG UMINUS MULT MULTASG "
                "UMULT ANDB ANDBASG UAND ORB ORBASG XORB XORBASG QUEST COLON LCON FIELD ABS "
                "COMMA PCOMMA ASG COMMAOP SLL SLLASG SRL SRLASG STDOT STREF LOOP ENDLOOP "
                "EXCLAIM NOTB PLUSPLUS MINMIN EQ NEQ LE LT GE GT ULE ULT UGE UGT STFIELD "
                "ARGREF STASG STARG ARASG SCONV PCONV PMCONV PVCONV ACONV CBRANCH BRANCH "
                "DDNODE SQRT SQR NASSERT MEMCPY TOIEEE FRIEEE ICALL UICALL RECIP MCALL "
                "UMCALL VPACK VPACKM VPACK1P VFIELD VRCONV COMPLEX REAL IMAG OUIALIGN "
                "NONALIGN PPRAGMA VSCONV CSE_DUPE CSE_ORIG IF INITLOOP IDENTITY ISP2CHAR"},
        },
        0);
}

TEST(Opcodes, RowsWithoutAName) {
    const struct {
        int op, operands, speculative;
    } cases[] = {{100, 2, 0}, {102, 1, 0}, {116, 1, 0}, {117, 0, 0}, {137, 2, 1}};
    for (const auto &c : cases) {
        EXPECT_EQ(number_of_operands[c.op], c.operands);
        EXPECT_EQ(precedence[c.op], 15);
        EXPECT_EQ(side_effects[c.op], SE_VARIES);
        EXPECT_EQ(op_OK_for_SP[c.op], c.speculative);
        EXPECT_STREQ(opname(c.op), "?NODE?");
    }
}

TEST(Opcodes, Counterparts) {
    expect_pairs(commute_inv,
                 "PLUS PLUS MULT MULT ANDB ANDB ORB ORB XORB XORB EQ EQ NEQ NEQ MIX_CONJ MIX_CONJ "
                 "MIX_DISJ MIX_DISJ DFG_MAX DFG_MAX DFG_MIN DFG_MIN LE GE GE LE LT GT GT LT "
                 "ULE UGE UGE ULE ULT UGT UGT ULT");
    expect_pairs(boolean_inv,
                 "EQ NEQ NEQ EQ LE GT GT LE LT GE GE LT ULE UGT UGT ULE ULT UGE UGE ULT");
    expect_pairs(op_of_opASG,
                 "PLUSASG PLUS MINUSASG MINUS MULTASG MULT ANDBASG ANDB ORBASG ORB XORBASG XORB "
                 "DIVASG DIV MODASG MOD SLLASG SLL SRLASG SRL");
    expect_columns(
        boolean_result,
        {{1, "ANDAND OROR EXCLAIM EQ NEQ LE LT GE GT ULE ULT UGE UGT MIX_CONJ MIX_DISJ"}}, 0);
}

TEST(Opcodes, DumpSpellings) {
    const struct {
        int op;
        const char *text;
    } cases[] = {
        {OP::PLUS, "+       "},   {OP::PLUSASG, "+=      "},
        {OP::UMINUS, "U-      "}, {OP::UMULT, "U*      "},
        {OP::UAND, "U&      "},   {OP::COMMAOP, ",OP     "},
        {OP::STREF, "->      "},  {OP::SLLASG, "<<=     "},
        {OP::LABEL, "LABELREF"},  {OP::SQR, "SQUARE  "},
        {OP::NAME, "NAME    "},   {OP::DFG_HASHPARM, "DFG_HASHPARM"},
        {OP::ILLOP, " ?ILLOP?"},  {28, "?NODE?"},
        {254, "?NODE?"},          {-1, "?NODE?"},
        {256, "?NODE?"},
    };
    for (const auto &c : cases)
        EXPECT_STREQ(opname(c.op), c.text) << c.op;
}

class NodeTable : public ::testing::Test {
protected:
    void SetUp() override {
        std::copy(std::begin(if_node_info), std::end(if_node_info), std::begin(saved));
        std::fill(std::begin(if_node_info), std::end(if_node_info), IF_NODE_INFO{});
    }
    void TearDown() override {
        std::copy(std::begin(saved), std::end(saved), std::begin(if_node_info));
    }

    // Runs the check with the debug log on standard error.
    static void check_with_log() {
        fdebug = stderr;
        print_debug = 1;
        init_opcode_tables();
    }

    IF_NODE_INFO saved[if_node_limit];
};

TEST_F(NodeTable, HoldsWhatAFileMayHold) {
    if_node_table_init();
    const struct {
        int op;
        const char *name;
        int arity;
    } cases[] = {
        {OP::NOP, "NOP", 0},     {OP::LABEL, "LABEL", 0}, {OP::UMULT, "UMULT", 1},
        {OP::EPVAL, "EPVAL", 1}, {OP::SKIP, "SKIP", 1},   {OP::ENDINIT, "ENDINIT", 0},
        {OP::CALL, "CALL", 2},   {OP::VREG, "VREG", 0},   {OP::VPACK1P, "VPACK1P", 2},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(if_node_info[c.op].number, c.op);
        EXPECT_STREQ(if_node_info[c.op].name, c.name);
        EXPECT_EQ(if_node_info[c.op].arity, c.arity);
    }
    for (const int op : {28, 100, 102, 116, 137, 164, 189, 200})
        EXPECT_EQ(if_node_info[op].name, nullptr) << op;
    const auto rows = std::count_if(std::begin(if_node_info), std::end(if_node_info),
                                    [](const IF_NODE_INFO &row) { return row.name != nullptr; });
    EXPECT_EQ(rows, 33 + 57 + 12);
}

TEST_F(NodeTable, OpcodesBeyondTheTableAreRefused) {
    if_enter_node(200, "LAST", 2);
    EXPECT_STREQ(if_node_info[200].name, "LAST");
    for (const int op : {201, 255, -1})
        EXPECT_EXIT(
            {
                dup2(STDERR_FILENO, STDOUT_FILENO);
                if_enter_node(op, "BEYOND", 0);
            },
            ::testing::ExitedWithCode(1), "\nINTERNAL ERROR: Invalid opcode, aborting\n");
}

TEST_F(NodeTable, OwnOpcodesAreEnteredAndKept) {
    char *text = nullptr;
    std::size_t size = 0;
    if_node_table_init();
    fdebug = open_memstream(&text, &size);
    print_debug = 1;
    init_opcode_tables();
    print_debug = 0;
    std::fclose(fdebug);
    fdebug = nullptr;
    EXPECT_STREQ(text, " *** VALIDATING OPCODE TABLES\n *** OPCODE TABLES ARE OK\n\n");
    std::free(text);
    if_node_table_init(); // as a second file does when it is opened
    EXPECT_STREQ(if_node_info[OP::OUIALIGN].name, "OUIALIGN");
    EXPECT_EQ(if_node_info[OP::OUIALIGN].arity, 1);
    EXPECT_STREQ(if_node_info[OP::SSA_CHI].name, "SSA_CHI");
    EXPECT_EQ(if_node_info[OP::CSE_ORIG].arity, 2);
}

TEST_F(NodeTable, ATableThatWasNeverFilledIsNoticed) {
    EXPECT_EXIT(init_opcode_tables(), ::testing::ExitedWithCode(1),
                "INTERNAL ERROR: if_node_info\\[\\] mismatch\n");
}

TEST_F(NodeTable, DifferencesEndTheRun) {
    const struct {
        IF_NODE_INFO row;
        const char *log;
    } cases[] = {
        {{OP::PLUS, "PLUS", 1},
         "OP#6: 6 .. 6 .. \\(2 != 1\\) <<PLUS>> <<PLUS>>\n\tNo match for PLUS\n"},
        {{OP::PLUS, "ADD", 2},
         "OP#6: 6 .. 6 .. \\(2 != 2\\) <<PLUS>> <<ADD>>\n\tNo match for PLUS\n"},
        {{OP::PLUS, nullptr, 2},
         "OP#6: 6 .. 6 .. \\(2 != 2\\) <<PLUS>> <<>>\n\tNo match for PLUS\n"},
        {{OP::CALL, "CALL", 1}, "INTERNAL ERROR: if_node_info\\[\\] mismatch\n"},
    };
    if_node_table_init();
    for (const auto &c : cases) {
        const IF_NODE_INFO good = if_node_info[c.row.number];
        if_node_info[c.row.number] = c.row;
        EXPECT_EXIT(check_with_log(), ::testing::ExitedWithCode(1), c.log);
        if_node_info[c.row.number] = good;
    }
    if_node_info[OP::PLUS].number = OP::MINUS;
    EXPECT_EXIT(check_with_log(), ::testing::ExitedWithCode(1), "OP#6: 6 .. 8 .. \\(2 != 2\\)");
    if_node_info[OP::PLUS].number = OP::PLUS;
    if_enter_node(OP::EPVAL, "EPVAL", 0); // no opcode of a tree, so nothing to compare with
    EXPECT_EXIT((check_with_log(), std::exit(7)), ::testing::ExitedWithCode(7), "TABLES ARE OK");
}
