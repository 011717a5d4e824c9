// Trees as text: the one line form and the dump.
#include "tests/rep/tree_fixture.h"

#include <cstring>

class DumpTree : public TreeTest {
protected:
    // The dump of a tree; what went to the log before is dropped.
    std::string dump(const NODE *node) {
        log();
        dump_tree_debug(node);
        return log();
    }
    NODE *scon(std::string_view bytes) {
        NODE *node = tree(OP::SCON, tp->mk_ptr(tp->basic_int(TYPE::SCHAR)));
        node->mk_scon(bytes);
        return node;
    }
    NODE *intrinsic(int op, const char *text, NODE *args) {
        NODE *node = tree(op, int_t, args);
        node->mk_icall(text);
        return node;
    }
    NODE *binary(int op, NODE *left, NODE *right) { return tree(op, int_t, left, right); }
    NODE *unary(int op, NODE *left) { return tree(op, int_t, left); }
    NODE *I() { return name(i); }
    NODE *J() { return name(j); }
};
using Infix = DumpTree;

TEST_F(Infix, Operators) {
    const auto op2 = [this](int op) { return binary(op, I(), J()); };
    const struct {
        NODE *node;
        const char *text;
    } cases[] = {
        {op2(OP::PLUS), "i + j"},
        {op2(OP::ULT), "i U< j"},
        {op2(OP::UGE), "i U>= j"},
        {op2(OP::NEQ), "i != j"},
        {op2(OP::SLL), "i << j"},
        {op2(OP::SRLASG), "i >>= j"},
        {op2(OP::ANDAND), "i && j"},
        {op2(OP::ASG), "i = j"},
        {tree(OP::STASG, struct_t, name(s), name(s)), "s = s"},
        {tree(OP::ARASG, array_t, name(a), name(a)), "a = a"},
        {op2(OP::PMCONV), "PMCONV(i, j)"},
        {op2(OP::EXPT), "EXPT(i, j)"},
        {op2(OP::DFG_MAX), "DFG_MAX(i, j)"},
        {unary(OP::ABS, I()), "ABS(i)"},
        {unary(OP::SSA_USE, I()), "SSA_USE(i)"},
        {unary(OP::UMINUS, I()), "-i"},
        {unary(OP::EXCLAIM, I()), "!i"},
        {unary(OP::NOTB, I()), "~i"},
        {tree(OP::UMULT, int_t, name(p)), "*p"},
        {tree(OP::UMULT, int_t, name(p), I()), "U*2(p, i)"},
        {address(I()), "&i"},
        {tree(OP::SCONV, float_t, I()), "(float)i"},
        {tree(OP::STDOT, int_t, name(s), field()), "s.f"},
        {tree(OP::STREF, int_t, name(sp), field()), "sp->f"},
        {binary(OP::PLUSPLUS, I(), icon(1)), "i++"},
        {binary(OP::MINMIN, name(p), icon(2)), "p-- 2"},
        {tree(OP::NOP, void_t), "NOP"},
        {tree(OP::SSA_PHI, int_t), "SSA_PHI"},
        {binary(OP::CSE_DUPE, I(), op2(OP::MULT)), "i * j"},
        {unary(OP::ABS, binary(OP::CSE_ORIG, I(), op2(OP::MULT))), "ABS(i * j)"},
        {nullptr, "<NULL>"},
        {unary(OP::UMINUS, nullptr), "-<NULL>"},
        {binary(OP::PLUS, I(), nullptr), "i + <NULL>"},
        {tree(OP::NAME, int_t), "<NULL>"},
        {tree(100, int_t, I(), J()), "?NODE?(i, j)"},
        {tree(OP::ILLOP, int_t, I()), "?ILLOP?"},
    };
    for (const auto &c : cases)
        EXPECT_STREQ(stmt2infix(c.node), c.text);
}

TEST_F(Infix, ParenthesesOnlyWhereNeeded) {
    const auto plus = [this] { return binary(OP::PLUS, I(), J()); };
    const auto quest = [this] { return binary(OP::QUEST, I(), binary(OP::COLON, J(), I())); };
    const struct {
        NODE *node;
        const char *text;
    } cases[] = {
        {binary(OP::MULT, plus(), J()), "(i + j) * j"},
        {binary(OP::PLUS, binary(OP::MULT, I(), J()), J()), "i * j + j"},
        {binary(OP::MINUS, plus(), J()), "i + j - j"},
        {binary(OP::MINUS, I(), plus()), "i - (i + j)"},
        {binary(OP::ASG, I(), binary(OP::ASG, J(), I())), "i = j = i"},
        {binary(OP::PLUS, asg(I(), J()), J()), "(i = j) + j"},
        {unary(OP::UMINUS, unary(OP::UMINUS, I())), "-(-i)"},
        {unary(OP::UMINUS, icon(-3)), "-(-3)"},
        {unary(OP::UMINUS, icon(3)), "-3"},
        {binary(OP::MINUS, I(), icon(-3)), "i - -3"},
        {unary(OP::UMINUS, plus()), "-(i + j)"},
        {tree(OP::SCONV, short_t, plus()), "(short)(i + j)"},
        {tree(OP::STREF, int_t, tree(OP::PLUS, struct_p, name(sp), I()), field()), "(sp + i)->f"},
        {tree(OP::STDOT, int_t, tree(OP::UMULT, struct_t, name(sp)), field()), "(*sp).f"},
        {quest(), "i ? j : i"},
        {binary(OP::QUEST, quest(), binary(OP::COLON, J(), quest())),
         "(i ? j : i) ? j : i ? j : i"},
        {binary(OP::QUEST, I(), binary(OP::COLON, asg(I(), J()), J())), "i ? (i = j) : j"},
        {binary(OP::COMMAOP, binary(OP::COMMAOP, I(), J()), I()), "i, j, i"},
        {binary(OP::PLUS, binary(OP::COMMAOP, I(), J()), I()), "(i, j) + i"},
        {call(g, {binary(OP::COMMAOP, I(), J()), plus()}), "_g((i, j), i + j)"},
        {call(g, {asg(I(), J()), I()}), "_g(i = j, i)"},
        {call(g, {binary(OP::COMMAOP, I(), J())}), "_g((i, j))"},
        {unary(OP::ABS, binary(OP::COMMAOP, I(), J())), "ABS(i, j)"},
    };
    for (const auto &c : cases)
        EXPECT_STREQ(stmt2infix(c.node), c.text);
}

TEST_F(Infix, CallsAndStatements) {
    NODE *indirect = tree(OP::CALL, int_t, name(local("fp", tp->mk_ptr(function_type))), I());
    indirect->mk_call(0, 0);
    const auto branch = [this](int op, NODE *left) {
        return tree(op, int_t, left, comma(label(1), label(-2)));
    };
    const auto case_ = [this](int value, int target) {
        return tree(OP::CASE, int_t, icon(value), label(target));
    };
    NODE *text = tree(OP::ASM, void_t);
    text->u.asm_ = {"\tnop ; \"x\"\n", 36};
    NODE *pragma = tree(OP::PPRAGMA, void_t);
    const char *args[] = {"4", "8"};
    PRAGMA record;
    record.kind = PRG_MUST_ITERATE;
    record.count = 2;
    record.args = args;
    pragma->u.ppragma.pragma = &record;
    NODE *definition = tree(OP::LABELDEF, int_t);
    definition->mk_label(7);
    NODE *skip = tree(OP::SKIP, void_t);
    skip->mk_skip(3);
    const struct {
        NODE *node;
        const char *text;
    } cases[] = {
        {call(g, {}), "_g()"},
        {call(va, {I(), J(), icon(3)}, 2), "_va(i, j, 3)"},
        {indirect, "(*fp)(i)"},
        {intrinsic(OP::ICALL, "_abs", I()), "_abs(i)"},
        {intrinsic(OP::MCALL, "_two", comma(I(), J())), "_two(i, j)"},
        {intrinsic(OP::UICALL, "_none", nullptr), "_none()"},
        {tree(OP::RETURN, int_t, name(currfunc), I()), "return i"},
        {tree(OP::URETURN, void_t, name(currfunc)), "return"},
        {tree(OP::BRANCH, int_t, label(5)), "goto g5"},
        {tree(OP::CBRANCH, int_t, I(), label(5)), "if (!(i)) goto g5"},
        {branch(OP::IF, binary(OP::LT, I(), J())), "if (i < j) goto g1 else goto g-2"},
        {tree(OP::SWITCH, int_t, I(),
              comma(comma(case_(1, 4), case_(-2, 5)), tree(OP::DEFAULT, int_t, label(6)))),
         "switch (i) {case 1: g4, case -2: g5, default: g6}"},
        {tree(OP::SWITCH, int_t, I(), tree(OP::DEFAULT, int_t, label(6))),
         "switch (i) {default: g6}"},
        {comma(asg(I(), J()), asg(J(), I()), OP::PCOMMA), "i = j, j = i"},
        {unary(OP::NASSERT, binary(OP::EQ, I(), J())), "NASSERT(i == j)"},
        {text, "asm(\"\\tnop ; \\\"x\\\"\\n\")"},
        {pragma, "#pragma MUST_ITERATE(4, 8)"},
        {definition, "g7:"},
        {skip, "SKIP(3)"},
    };
    for (const auto &c : cases)
        EXPECT_STREQ(stmt2infix(c.node), c.text);
}

// Whatever the file holds, a statement stays on one line and its texts can be told apart.
TEST_F(Infix, TextsAreEscaped) {
    EXPECT_STREQ(stmt2infix(scon("a\"b\\c\n\t\r")), R"("a\"b\\c\n\t\r")");
    EXPECT_STREQ(stmt2infix(scon(std::string_view("\0001\377", 3))), R"("\0001\377")");
    EXPECT_STREQ(stmt2infix(scon("")), R"("")");
    EXPECT_STREQ(stmt2infix(name(local("a\nb\\", int_t))), R"(a\nb\)");
}

// A tree that names one long name many times must not multiply it.
TEST_F(Infix, LongTextsAreCutOff) {
    const std::string text(100000, 'x'), kept(500, 'x');
    EXPECT_EQ(stmt2infix(scon(text)), "\"" + kept + "\"...");
    EXPECT_EQ(stmt2infix(name(local(text.c_str(), int_t))), kept + "...");
    EXPECT_EQ(stmt2infix(intrinsic(OP::UICALL, text.c_str(), nullptr)), kept + "...()");
    TYPE *const structure = tp->type_frozen(tp->mk_struct(text, 32, 32, true));
    EXPECT_LT(std::strlen(stmt2infix(tree(OP::PCONV, tp->mk_ptr(structure), I()))), 600u);
}

TEST_F(Infix, LabelRecordIsTheTruth) {
    LBL record;
    record.index = -7;
    NODE *node = label(3);
    EXPECT_STREQ(stmt2infix(node), "g3");
    node->u.label.lbl = &record;
    EXPECT_STREQ(stmt2infix(node), "g-7");
}

TEST_F(Infix, DeepAndWideTrees) {
    constexpr int depth = 10000;
    NODE *left = I(), *right = I(), *chain = I(), *args = I();
    for (int n = 1; n < depth; ++n) {
        left = binary(OP::PLUS, left, J());
        right = binary(OP::MINUS, J(), right);
        chain = unary(OP::NOTB, chain);
        args = comma(args, J());
    }
    const std::string sum = stmt2infix(left), difference = stmt2infix(right);
    EXPECT_EQ(sum.size(), 1u + 4u * (depth - 1));
    EXPECT_EQ(sum.substr(0, 9), "i + j + j");
    EXPECT_EQ(difference.size(), 1u + 4u * (depth - 1) + 2u * (depth - 2));
    EXPECT_EQ(std::strlen(stmt2infix(chain)), std::size_t(depth));
    EXPECT_EQ(std::strlen(stmt2infix(unary(OP::ICALL, args))),
              std::strlen("<NULL>()") + 1 + 3 * (depth - 1));
    EXPECT_EQ(infix_text(right, 12), "j - (j - (j ...");
    EXPECT_EQ(infix_text(I(), 1), "i");
    EXPECT_LE(infix_text(left, 100).size(), 103u);
    EXPECT_EQ(infix_text(scon("abcdef"), 5), "\"abcd...");
}

TEST_F(DumpTree, OneLineANode) {
    LS scope;
    scope.scope_id = 12;
    scope.depth = 3;
    NODE *sum = binary(OP::PLUS, I(), icon(-5));
    sum->left->depnum = 4;
    NODE *assign = asg(I(), sum);
    assign->scope = sum->scope = &scope;
    assign->depnum = -1;
    EXPECT_EQ(dump(assign), "(#12|3) =        <int>\n"
                            "(    )   NAME     i <int> depnum:0\n"
                            "(#12|3)   +        <int> depnum:0\n"
                            "(    )     NAME     i <int> depnum:4\n"
                            "(    )     ICON     -5 <int> depnum:0\n");
    EXPECT_EQ(dump(nullptr), "(    ) <NULL>\n");
    print_debug = 0;
    EXPECT_EQ(dump(assign), "");
}

TEST_F(DumpTree, OperatorsByOperands) {
    EXPECT_EQ(dump(tree(OP::UMULT, int_t, name(p))).substr(0, 24), "(    ) U*       <int> de");
    EXPECT_EQ(dump(tree(OP::UMULT, int_t, name(p), I())), "(    ) U*2      <int> depnum:0\n"
                                                          "(    )   NAME     p <int *> depnum:0\n"
                                                          "(    )   NAME     i <int> depnum:0\n");
    EXPECT_EQ(dump(binary(OP::PLUS, nullptr, I())), "(    ) +        <int> depnum:0\n"
                                                    "(    )   <NULL>\n"
                                                    "(    )   NAME     i <int> depnum:0\n");
    EXPECT_EQ(dump(tree(OP::ILLOP, nullptr, I())), "(    )  ?ILLOP? \n");
    EXPECT_EQ(dump(tree(OP::PLUS, nullptr)), "(    ) +        <?> depnum:0\n");
}

// Of each payload the text between the operator and the type.
TEST_F(DumpTree, Payloads) {
    NODE *cast_name = name(i), *renamed = name(j), *many = call(va, {I(), J()}, 1, 3);
    cast_name->type = short_t;
    node_ext(renamed)->earlier_name = "old";
    NODE *cases = tree(OP::SWITCH, int_t);
    cases->mk_switch(9);
    const struct {
        NODE *node;
        const char *text;
    } rows[] = {
        {cast_name, "NAME     i (int) <short>"},
        {renamed, "NAME     old ==> j <int>"},
        {many, "CALL     vargs:1 EHT:3 <int>"},
        {call(g, {}), "UCALL    <int>"},
        {field(), "FIELD    f of struct s <int>"},
        {cases, "SWITCH   cases:9 <int>"},
        {scon("a\nb"), "SCON     \"a\\nb\" <"},
        {intrinsic(OP::ICALL, "_abs", I()), "ICALL    _abs <int>"},
        {tree(OP::SSA_USE, int_t, I()), "SSA_USE   SSA#0 <int>"},
    };
    for (const auto &row : rows) {
        const std::string expected = std::string("(    ) ") + row.text;
        EXPECT_EQ(dump(row.node).substr(0, expected.size()), expected);
    }
    EXPECT_LT(dump(scon(std::string(100000, 'x'))).size(), 1000u);
}

TEST_F(DumpTree, SsaVariables) {
    static unsigned numbers[] = {17};
    ssa_variable_number_hook = [](const void *variable) {
        return *static_cast<const unsigned *>(variable);
    };
    NODE *use = unary(OP::SSA_USE, I());
    use->u.ssa = {numbers, nullptr};
    NODE *none = tree(OP::SSA_PHI, int_t);
    none->u.ssa = {};
    EXPECT_EQ(dump(use).substr(7, 17), "SSA_USE   SSA#17 ");
    EXPECT_EQ(dump(none).substr(7, 16), "SSA_PHI   SSA#0 ");
    ssa_variable_number_hook = nullptr;
}

TEST_F(DumpTree, BranchesProfilesAndHints) {
    const struct {
        unsigned profile;
        double probability;
        int hint;
        const char *text;
    } rows[] = {
        {~0u, -1.0, 0, "g4 <int> depnum:0\n"},
        {0, -1.0, 0, "g4 #0 <int> depnum:0\n"},
        {7, -1.0, 0, "g4 #7 <int> depnum:0\n"},
        {~0u, 0.0, 0, "g4 #0.000 <int> depnum:0\n"},
        {7, 0.25, 0, "g4 #7#0.250 <int> depnum:0\n"},
        {~0u, -1.0, 1, "g4 <int> depnum:0  (Branch Likely)\n"},
        {~0u, 0.125, -3, "g4 #0.125 <int> depnum:0  (Branch Unlikely)\n"},
    };
    for (const auto &row : rows) {
        NODE *node = label(4);
        node->set_edge_profile_value(row.profile);
        node->set_branch_hint(row.hint);
        if (row.probability >= 0) node_ext(node)->probability = row.probability;
        EXPECT_EQ(dump(node), std::string("(    ) LABELREF ") + row.text);
    }
}

TEST_F(DumpTree, DeepTreesStayLinear) {
    constexpr int depth = 10000;
    NODE *node = I();
    for (int n = 1; n < depth; ++n)
        node = unary(OP::NOTB, node);
    const std::string text = dump(node);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), depth);
    EXPECT_LT(text.size(), std::size_t(depth) * 100);
}
