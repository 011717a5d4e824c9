// The validator of statements: for each complaint a tree that earns it alone and one that is right.
#include "OPT5/rep/pragmas.h"
#include "tests/rep/tree_fixture.h"

#include <gmock/gmock.h>

#include <array>

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

using Statements = std::vector<NODE *>;
using Messages = std::vector<std::string>;

class ValidateStmts : public TreeTest {
protected:
    void TearDown() override {
        currfuninfo->bb_list = nullptr;
        currfuninfo->eht = nullptr;
        TreeTest::TearDown();
    }

    // What is said of a function of one block.
    Messages said_of_block(const Statements &statements) {
        block = BBLK();
        return said_of_blocks(block, statements);
    }
    // What is said of a statement before the end of a block.
    Messages said_of(NODE *stmt) { return said_of_block({stmt, ending()}); }
    // The same of the blocks that begin with this one, which gets the statements.
    Messages said_of_blocks(BBLK &bb, const Statements &statements) {
        for (auto stmt = statements.rbegin(); stmt != statements.rend(); ++stmt)
            bb.statements = mklist(*stmt, bb.statements, 0, 0);
        currfuninfo->bb_list = &bb;
        return validate();
    }
    // Runs the validator, which must count as many complaints as it reports.
    Messages validate() {
        log();
        const int complaints = validate_stmts();
        report = log();
        Messages messages;
        const std::string header = "\n +++++ INVALID NODE FOUND BY validate_stmts()\n\t";
        for (std::size_t at = report.find(header); at != std::string::npos;
             at = report.find(header, at + 1)) {
            const std::size_t text = at + header.size();
            messages.push_back(report.substr(text, report.find('\n', text) - text));
        }
        EXPECT_EQ(complaints, static_cast<int>(messages.size()));
        return messages;
    }

    // Each row's bad trees earn just its message, its good ones nothing.
    struct ROW {
        const char *message;
        Statements bad, good;
    };
    void check(const std::vector<ROW> &rows) {
        for (const ROW &row : rows) {
            for (NODE *stmt : row.bad)
                EXPECT_THAT(said_of(stmt), ElementsAre(row.message)) << stmt2infix(stmt);
            for (NODE *stmt : row.good)
                EXPECT_THAT(said_of(stmt), IsEmpty()) << stmt2infix(stmt) << report;
        }
    }
    // The same for values, which are assigned to nothing that restricts them.
    void check_values(const std::vector<ROW> &rows) {
        std::vector<ROW> wrapped;
        const auto value = [this](NODE *node) { return call(unprototyped, {node}); };
        for (const ROW &row : rows) {
            ROW &to = wrapped.emplace_back(ROW{row.message, {}, {}});
            for (NODE *node : row.bad)
                to.bad.push_back(value(node));
            for (NODE *node : row.good)
                to.good.push_back(value(node));
        }
        check(wrapped);
    }

    NODE *ending() { return tree(OP::URETURN, void_t, name(currfunc)); }
    NODE *I() { return name(i); }
    NODE *P() { return name(p); }
    NODE *X() { return name(x); }
    NODE *S() { return name(s); }
    NODE *V() { return name(v); }
    NODE *op(int code, TYPE *type, NODE *left, NODE *right = nullptr) {
        return tree(code, type, left, right);
    }
    NODE *prolog_element() { return asg(name(body_parm), name(parm)); }
    NODE *nassert(NODE *condition) { return op(OP::NASSERT, void_t, condition); }
    NODE *if_(NODE *condition, NODE *arms) { return op(OP::IF, int_t, condition, arms); }
    NODE *case_() { return op(OP::CASE, int_t, icon(1), label(1)); }
    NODE *default_() { return op(OP::DEFAULT, int_t, label(2)); }
    NODE *switch_(NODE *cases) { return op(OP::SWITCH, int_t, I(), cases); }
    NODE *volatile_name() { return name(vol); }

    SYMTAB *unprototyped = nullptr;
    void SetUp() override {
        TreeTest::SetUp();
        unprototyped = global("_u", 5, tp->type_frozen(tp->mk_func(int_t, false, false, 0, false)));
    }
    BBLK block;
    std::string report;
};
using ValidateTrees = ValidateStmts;
using ValidateTypes = ValidateStmts;

TEST_F(ValidateStmts, Blocks) {
    EXPECT_THAT(said_of_block(Statements{}), ElementsAre("The basic block has no statement list"));
    EXPECT_THAT(said_of_block({nullptr, ending()}), ElementsAre("NULL statement"));
    EXPECT_THAT(said_of_block({asg(I(), icon(1)), ending()}), IsEmpty());
    BBLK converted;
    int instruction = 0;
    converted.lir_head = &instruction;
    EXPECT_THAT(said_of_blocks(converted, {}), IsEmpty());
    BBLK first, second;
    first.dflink = &second;
    EXPECT_THAT(said_of_blocks(first, {op(OP::BRANCH, int_t, label(1))}),
                ElementsAre("The basic block has no statement list"));
    currfuninfo->bb_list = nullptr;
    EXPECT_THAT(validate(), IsEmpty());
    FUNINFO *const saved = currfuninfo;
    currfuninfo = nullptr;
    EXPECT_EQ(validate_stmts(), 0);
    currfuninfo = saved;
}

TEST_F(ValidateStmts, ReportNamesNodeAndStatement) {
    said_of(asg(I(), op(OP::UMULT, int_t, name(j))));
    EXPECT_EQ(report, "\n +++++ INVALID NODE FOUND BY validate_stmts()\n"
                      "\tTree must have pointer type\n"
                      "\tINVALID NODE: j\n"
                      "\tWITHIN STMT:  i = *j\n");
    said_of_block({op(OP::BRANCH, int_t, I())});
    EXPECT_EQ(report, "\n +++++ INVALID NODE FOUND BY validate_stmts()\n"
                      "\tUnexpected operator in tree node\n"
                      "\tExpected operator: LABEL\n"
                      "\tin goto i\n"
                      "\tin statement: goto i\n");
    print_debug = 0;
    EXPECT_EQ(validate_stmts(), 1);
    EXPECT_EQ(log(), "");
    print_debug = 1;
}

TEST_F(ValidateStmts, LvalueTextFollowsThePass) {
    FILEINFO info, *const saved = fileinfo;
    fileinfo = &info;
    for (const auto &[pass, text] :
         {std::pair{1, "\nError! invalid lvalue tree: i + 1\n"},
          std::pair{2, "\nOptimization Error! invalid lvalue tree: i + 1\n"}}) {
        info.pass_number = static_cast<unsigned char>(pass);
        EXPECT_THAT(said_of(asg(op(OP::PLUS, int_t, I(), icon(1)), I())),
                    ElementsAre("Non-lvalue appears as LHS of assignment"));
        EXPECT_THAT(report, HasSubstr(text));
    }
    fileinfo = saved;
}

TEST_F(ValidateStmts, TopLevelSideEffects) {
    const auto plus = [this] { return op(OP::PLUS, int_t, I(), icon(1)); };
    NODE *volatile_field = op(OP::STDOT, volatile_name()->type, S(), field());
    NODE *volatile_access = op(OP::UMULT, volatile_name()->type, P());
    check({{"Top-level operator has no side effects",
            {plus(), I(), icon(1), address(I()), op(OP::UMULT, int_t, P()),
             op(OP::STDOT, int_t, S(), field()), op(OP::SSA_USE, int_t, I()),
             op(OP::SSA_DEF, int_t, plus()),
             op(OP::ANDAND, int_t, I(), op(OP::ASG, int_t, I(), icon(1)))},
            {asg(I(), plus()),
             icon(0),
             icon(0, short_t),
             op(OP::COMMAOP, int_t, I(), I()),
             op(OP::QUEST, int_t, I(), op(OP::COLON, int_t, icon(0), icon(0))),
             volatile_name(),
             volatile_access,
             volatile_field,
             op(OP::STREF, volatile_name()->type, name(sp), field()),
             op(OP::SSA_USE, int_t, volatile_name()),
             op(OP::SSA_DEF, int_t, asg(I(), icon(1))),
             op(OP::SSA_MU, int_t, op(OP::SSA_CHI, int_t, asg(I(), icon(1)))),
             tree(OP::SSA_MU, int_t),
             tree(OP::SSA_PHI, int_t),
             op(OP::DFG_HOIST, int_t, I()),
             op(OP::DFG_SINK, int_t, I()),
             call(g, {}),
             nassert(I()),
             tree(OP::ASM, void_t),
             tree(OP::PPRAGMA, void_t),
             op(OP::ICALL, int_t, I()),
             op(OP::PLUSPLUS, int_t, I(), icon(1))}}});
}

TEST_F(ValidateStmts, BranchesEndBlocks) {
    const auto label_pair = [this] { return comma(label(1), label(2)); };
    const std::vector<NODE *> ends = {
        ending(),
        op(OP::RETURN, int_t, name(currfunc), I()),
        op(OP::BRANCH, int_t, label(1)),
        if_(I(), label_pair()),
        switch_(default_()),
    };
    for (NODE *end : ends) {
        EXPECT_THAT(said_of_block({asg(I(), icon(1)), end}), IsEmpty())
            << stmt2infix(end) << report;
        EXPECT_THAT(said_of_block({op(OP::SSA_MU, int_t, end)}), IsEmpty())
            << stmt2infix(end) << report;
        EXPECT_THAT(said_of_block({end, ending()}),
                    ElementsAre("This branch is not the last statement of its block"))
            << stmt2infix(end);
        EXPECT_THAT(said_of(op(OP::COMMAOP, int_t, I(), end)),
                    ElementsAre("This branch is not the last statement of its block"))
            << stmt2infix(end);
    }
    for (NODE *stmt : {asg(I(), icon(1)), call(g, {}), icon(0)})
        EXPECT_THAT(said_of_block(Statements{stmt}),
                    ElementsAre("The last statement of a block must be a branch"));
}

TEST_F(ValidateTrees, OperandCounts) {
    check({
        {"Node has too few subtrees",
         {op(OP::ASG, int_t, I()), tree(OP::NASSERT, void_t), tree(OP::ASSERT, void_t),
          asg(I(), tree(OP::UMULT, int_t)), asg(I(), tree(OP::SSA_USE, int_t))},
         {op(OP::ASSERT, void_t, I()), op(OP::ASSERT, void_t, I(), P())}},
        {"Node has too many subtrees",
         {op(OP::NASSERT, void_t, I(), P()), asg(I(), op(OP::UMINUS, int_t, I(), I())),
          asg(I(), op(OP::NAME, int_t, I())), asg(I(), op(OP::ICON, int_t, I()))},
         {asg(I(), op(OP::UMULT, int_t, P(), I()))}},
        {"node->left == NULL, node->right != NULL",
         {op(OP::ASG, int_t, nullptr, I()), asg(I(), op(OP::UMULT, int_t, nullptr, I())),
          op(OP::SSA_MU, int_t, nullptr, I())},
         {op(OP::SSA_MU, int_t, asg(I(), icon(1)), I())}},
        {"Invalid node operator",
         {asg(I(), tree(OP::EPVAL, int_t, I())), asg(I(), tree(OP::ILLOP, nullptr, I())),
          asg(I(), tree(30, int_t))},
         {}},
    });
}

TEST_F(ValidateTrees, ArgumentLists) {
    const auto three = [this](bool right) {
        return right ? comma(I(), comma(I(), I())) : comma(comma(I(), I()), I());
    };
    const auto call_with = [this](NODE *args) {
        return op(OP::CALL, int_t, address(name(g)), args);
    };
    check({{"Right-towered COMMA tree",
            {call_with(three(true)), op(OP::MCALL, int_t, three(true)),
             asg(I(), op(OP::ICALL, int_t, comma(three(true), I())))},
            {call_with(three(false)), op(OP::MEMCPY, int_t, three(false)), call_with(I())}}});
    EXPECT_THAT(said_of_block({switch_(comma(case_(), comma(case_(), default_())))}),
                ElementsAre("Right-towered COMMA tree"));
}

TEST_F(ValidateTrees, ArgumentProlog) {
    const auto element = [this] { return prolog_element(); };
    const auto plain = [this] { return asg(I(), name(j)); };
    const auto pcomma = [this](NODE *left, NODE *right) { return comma(left, right, OP::PCOMMA); };
    const char *const outside = "PCOMMA appears outside valid arg prolog";
    const char *const level_1 = "Level 1 scalar parameter appears outside valid arg prolog";
    const struct {
        Statements statements;
        Messages messages;
    } rows[] = {
        {{element()}, {}},
        {{pcomma(element(), element())}, {}},
        {{pcomma(pcomma(element(), element()), element())}, {}},
        {{op(OP::SSA_DEF, int_t, element())}, {}},
        {{pcomma(element(), op(OP::SSA_DEF, int_t, element()))}, {}},
        {{pcomma(asg(name(body_parm), op(OP::SCONV, int_t, name(parm))), element())}, {}},
        {{pcomma(element(), pcomma(element(), element()))}, {"Right-towered PCOMMA tree"}},
        {{pcomma(element(), nassert(I()))}, {"Improper PCOMMA tree"}},
        {{pcomma(icon(0), element())}, {"Improper PCOMMA tree"}},
        {{plain(), pcomma(plain(), plain())}, {outside}},
        {{plain(), pcomma(pcomma(plain(), plain()), plain())}, {outside}},
        {{pcomma(element(), asg(I(), pcomma(plain(), plain())))}, {outside}},
        {{plain(), element()}, {level_1}},
        {{element(), element()}, {level_1}},
        {{asg(I(), op(OP::PLUS, int_p, name(level("p1", int_p, 1)), I()))}, {level_1}},
        {{plain(), asg(name(s), name(level("s1", struct_t, 1)))}, {}},
    };
    for (const auto &row : rows) {
        Statements statements = row.statements;
        const std::string first = stmt2infix(statements.front());
        statements.push_back(ending());
        EXPECT_EQ(said_of_block(statements), row.messages) << first << report;
    }
    BBLK entry, other;
    entry.dflink = &other;
    other.statements = mklist(element(), mklist(ending(), nullptr, 0, 0), 0, 0);
    EXPECT_THAT(said_of_blocks(entry, {element(), op(OP::BRANCH, int_t, label(1))}),
                ElementsAre(level_1));
}

TEST_F(ValidateTrees, ParametersAsPassedElsewhere) {
    NODE *const misplaced = asg(P(), address(name(parm)));
    NODE *const promise = nassert(op(OP::NEQ, int_t, name(parm), icon(0)));
    EXPECT_THAT(said_of(misplaced), testing::SizeIs(1));
    EXPECT_THAT(said_of_block({asg(I(), icon(1)), promise, ending()}), testing::SizeIs(1));
    PRAGMA by_cctor;
    by_cctor.kind = PRG_FUNC_RET_BY_CCTOR;
    currfunc->pragmas = &by_cctor;
    EXPECT_THAT(said_of_block({asg(I(), icon(1)), promise, ending()}), IsEmpty());
    EXPECT_THAT(said_of_block({asg(I(), icon(1)), misplaced, ending()}), testing::SizeIs(1));
    currfunc->pragmas = nullptr;
    currfuninfo->symbol = va;
    EXPECT_THAT(said_of_block({asg(I(), icon(1)), misplaced, tree(OP::URETURN, void_t, name(va))}),
                IsEmpty());
    currfuninfo->symbol = currfunc;
}

TEST_F(ValidateTrees, Switches) {
    const auto chain = [this](std::initializer_list<NODE *> elements) {
        NODE *cases = nullptr;
        for (NODE *element : elements)
            cases = cases ? comma(cases, element) : element;
        return switch_(cases);
    };
    const char *const unexpected = "Unexpected operator in tree node";
    const struct {
        NODE *stmt;
        Messages messages;
    } rows[] = {
        {chain({default_()}), {}},
        {chain({case_(), default_()}), {}},
        {chain({case_(), case_(), case_(), default_()}), {}},
        {op(OP::SWITCH, int_t, name(vol), default_()), {}},
        {op(OP::SWITCH, int_t, I()), {"Missing SWITCH case"}},
        {switch_(comma(case_(), nullptr)), {"Missing SWITCH case"}},
        {switch_(comma(nullptr, default_())), {"Missing SWITCH case"}},
        {chain({default_(), case_(), default_()}), {"Multiple DEFAULTs for SWITCH"}},
        {chain({case_(), case_()}), {unexpected}},
        {chain({default_(), case_()}), {unexpected}},
        {chain({icon(1), default_()}), {unexpected}},
        {chain({op(OP::CASE, int_t, I(), label(1)), default_()}), {unexpected}},
        {chain({op(OP::CASE, int_t, icon(1), I()), default_()}), {unexpected}},
        {chain({op(OP::DEFAULT, int_t, I())}), {unexpected}},
        {chain({tree(OP::CASE, int_t, icon(1)), default_()}), {"Node has too few subtrees"}},
        {op(OP::SWITCH, int_t, X(), default_()), {"Tree must have integer type"}},
    };
    for (const auto &row : rows)
        EXPECT_EQ(said_of_block({row.stmt}), row.messages) << stmt2infix(row.stmt) << report;
    check_values({{"Invalid operator in tree node", {case_(), default_()}, {}}});
}

TEST_F(ValidateTypes, Additions) {
    const auto sum = [this](int code, TYPE *type, SYMTAB *left, SYMTAB *right) {
        return op(code, type, name(left), name(right));
    };
    check_values({
        {"Tree must have arithmetic type",
         {sum(OP::PLUS, int_t, s, i), sum(OP::PLUS, int_p, p, s), sum(OP::PLUS, int_p, p, q),
          sum(OP::PLUS, int_p, i, j), sum(OP::PLUS, int_t, a, i), sum(OP::MINUS, int_t, i, s),
          sum(OP::MINUS, int_t, i, p), sum(OP::MINUS, int_p, i, j), sum(OP::PLUSASG, int_t, i, p),
          sum(OP::MINUSASG, int_t, i, s)},
         {sum(OP::PLUS, int_t, i, j), sum(OP::PLUS, float_t, x, i), sum(OP::PLUS, int_p, p, i),
          sum(OP::PLUS, int_p, i, p), sum(OP::PLUS, vec_t, v, v), sum(OP::PLUS, fvec_t, fv, fv),
          sum(OP::MINUS, float_t, x, x), sum(OP::PLUSASG, float_t, x, i)}},
        {"Tree must have pointer type",
         {sum(OP::PLUS, int_t, p, i), sum(OP::PLUS, int_t, i, p), sum(OP::MINUS, int_t, p, i),
          sum(OP::PLUSASG, int_t, p, i), op(OP::PLUSPLUS, int_t, P(), icon(2))},
         {sum(OP::MINUS, int_p, p, i), sum(OP::PLUSASG, int_p, p, i),
          sum(OP::MINUSASG, int_p, p, i), op(OP::PLUSPLUS, int_p, P(), icon(2)),
          op(OP::MINMIN, float_t, X(), icon(1))}},
        {"Tree must have integer type",
         {sum(OP::MINUS, int_p, p, q), sum(OP::MINUS, int_p, p, x), sum(OP::MINUS, vec_t, p, q)},
         {sum(OP::MINUS, int_t, p, q), sum(OP::MINUS, short_t, p, q)}},
        {"Unexpected operator in tree node",
         {op(OP::PLUSPLUS, int_t, I(), name(j)), op(OP::MINMIN, int_p, P(), I())},
         {}},
        {"Non-lvalue appears as LHS of assignment",
         {op(OP::PLUSASG, int_t, icon(1), I()), op(OP::MINUSASG, int_t, call(g, {}), I()),
          op(OP::PLUSPLUS, int_t, icon(1), icon(1))},
         {}},
    });
}

TEST_F(ValidateTypes, Arithmetic) {
    std::vector<ROW> rows;
    for (const int code : {OP::MULT, OP::DIV, OP::MULTASG, OP::DIVASG})
        rows.push_back({"Tree must have arithmetic type",
                        {op(code, int_t, I(), P()), op(code, int_t, S(), I())},
                        {op(code, int_t, I(), X()), op(code, vec_t, V(), V())}});
    for (const int code : {OP::ANDB, OP::ORB, OP::XORB, OP::MOD, OP::SLL, OP::SRL, OP::ANDBASG,
                           OP::ORBASG, OP::XORBASG, OP::MODASG, OP::SLLASG, OP::SRLASG})
        rows.push_back({"Tree must have integer or vector of integer type",
                        {op(code, int_t, I(), X()), op(code, int_t, P(), I()),
                         op(code, fvec_t, name(fv), V()), op(code, int_t, name(a), I())},
                        {op(code, int_t, I(), I()), op(code, vec_t, V(), I())}});
    for (const int code : {OP::ASG, OP::MULTASG, OP::DIVASG, OP::ANDBASG, OP::ORBASG, OP::XORBASG,
                           OP::MODASG, OP::SLLASG, OP::SRLASG})
        rows.push_back(
            {"Non-lvalue appears as LHS of assignment",
             {op(code, int_t, icon(1), I()), op(code, int_t, op(OP::SCONV, int_t, I()), I()),
              op(code, int_t, op(OP::COMMAOP, int_t, I(), I()), I())},
             {}});
    rows.push_back({"Tree must have arithmetic type",
                    {op(OP::SCONV, int_t, P()), op(OP::SCONV, int_t, S())},
                    {op(OP::SCONV, int_t, X()), op(OP::SCONV, vec_t, name(fv))}});
    check_values(rows);
}

TEST_F(ValidateTypes, Lvalues) {
    const auto access = [this] { return op(OP::UMULT, int_t, P()); };
    Statements lvalues = {
        I(),
        access(),
        op(OP::UMULT, int_t, P(), I()),
        op(OP::STDOT, int_t, S(), field()),
        op(OP::STREF, int_t, name(sp), field()),
        op(OP::STFIELD, int_t, S(), field()),
        op(OP::VFIELD, int_t, V(), icon(0)),
        op(OP::SSA_USE, int_t, I()),
        op(OP::NONALIGN, int_t, access()),
        op(OP::OUIALIGN, int_t, access()),
        op(OP::IDENTITY, int_t, I()),
        op(OP::CSE_ORIG, int_t, I(), access()),
    };
    Statements others = {
        op(OP::PLUS, int_t, I(), icon(1)),
        op(OP::CSE_ORIG, int_t, I(), op(OP::PLUS, int_t, I(), icon(1))),
        op(OP::NONALIGN, int_t, icon(1)),
        call(g, {}),
    };
    std::vector<ROW> rows = {{"Non-lvalue appears under UAND", {}, {}}};
    for (NODE *node : lvalues) {
        rows[0].good.push_back(op(OP::UAND, int_p, node));
        EXPECT_TRUE(require_lvalue_tree_node(node)) << stmt2infix(node);
    }
    EXPECT_EQ(log(), "");
    for (NODE *node : others)
        rows[0].bad.push_back(op(OP::UAND, int_p, node));
    check_values(rows);
    EXPECT_FALSE(require_lvalue_tree_node(nullptr));
}

TEST_F(ValidateTypes, PointersAndMembers) {
    const auto wrapped = [this](NODE *node) {
        return op(OP::OUIALIGN, int_t, op(OP::NONALIGN, node->type, node));
    };
    check_values({
        {"Tree must have pointer type",
         {op(OP::UMULT, int_t, I()), op(OP::UMULT, int_t, wrapped(I())),
          op(OP::STREF, int_t, S(), field()), op(OP::PCONV, float_t, I()),
          op(OP::PCONV, int_t, I()), op(OP::PCONV, float_t, P()), op(OP::ISP2CHAR, int_t, P()),
          op(OP::PVCONV, int_t, P(), icon(32))},
         {op(OP::UMULT, int_t, P()), op(OP::UMULT, int_t, wrapped(P())),
          op(OP::STREF, int_t, name(sp), field()), op(OP::PCONV, int_p, I()),
          op(OP::PCONV, int_p, name(sp)), op(OP::PCONV, short_t, P()), op(OP::ISP2CHAR, int_p, I()),
          op(OP::PVCONV, int_t, P(), name(q)),
          op(OP::PVCONV, int_t, op(OP::MINUS, int_t, P(), name(q)), icon(32))}},
        {"Tree must have scalar type",
         {op(OP::PCONV, int_p, S()), op(OP::ISP2CHAR, int_p, S()), op(OP::ANDAND, int_t, S(), I()),
          op(OP::OROR, int_t, P(), S()), op(OP::ANDAND, int_t, I(), name(a)),
          op(OP::QUEST, int_t, S(), op(OP::COLON, int_t, I(), I()))},
         {op(OP::ANDAND, int_t, P(), X()), op(OP::OROR, int_t, I(), V()),
          op(OP::QUEST, int_t, P(), op(OP::COLON, int_t, I(), I()))}},
        {"Tree must have CSU type",
         {op(OP::STDOT, int_t, I(), field()), op(OP::STDOT, int_t, name(sp), field()),
          op(OP::STASG, struct_t, S(), I()), op(OP::STASG, struct_t, I(), S())},
         {op(OP::STDOT, int_t, S(), field()), op(OP::STASG, struct_t, S(), S())}},
        {"Tree must have integer type",
         {op(OP::UMULT, int_t, P(), X()), op(OP::PMCONV, int_t, X(), icon(32)),
          op(OP::PMCONV, int_p, I(), icon(32)), op(OP::PVCONV, int_p, P(), name(q)),
          op(OP::PVCONV, int_t, X(), icon(32))},
         {op(OP::PMCONV, int_t, I(), icon(32))}},
        {"Unexpected operator in tree node",
         {op(OP::STDOT, int_t, S(), I()), op(OP::STREF, int_t, name(sp), I()),
          op(OP::PMCONV, int_t, I(), name(j)), op(OP::PVCONV, int_t, I(), name(j)),
          op(OP::QUEST, int_t, I(), I())},
         {}},
        {"COLON appears outside a QUEST", {op(OP::COLON, int_t, I(), I())}, {}},
        {"NAME node has NULL symbol", {tree(OP::NAME, int_t)}, {I()}},
    });
}

TEST_F(ValidateTypes, StatementOperators) {
    check({
        {"Tree must have integer type",
         {nassert(X()), nassert(P()), op(OP::ASSERT, void_t, P(), P())},
         {nassert(I()), op(OP::ASSERT, void_t, I(), P())}},
        {"Tree must have pointer type", {op(OP::ASSERT, void_t, I(), I())}, {}},
    });
    const auto pair = [this](NODE *left, NODE *right) { return comma(left, right); };
    const struct {
        NODE *stmt;
        Messages messages;
    } ends[] = {
        {if_(P(), pair(label(1), label(2))), {}},
        {if_(S(), pair(label(1), label(2))), {"Tree must have scalar type"}},
        {if_(I(), label(1)), {"Unexpected operator in tree node"}},
        {if_(I(), pair(I(), label(2))), {"Unexpected operator in tree node"}},
        {if_(I(), pair(label(1), I())), {"Unexpected operator in tree node"}},
        {op(OP::BRANCH, int_t, op(OP::SSA_MU, int_t, label(1))), {}},
        {op(OP::BRANCH, int_t, I()), {"Unexpected operator in tree node"}},
        {op(OP::BRANCH, int_t, tree(OP::SSA_MU, int_t)), {"Unexpected NULL tree node"}},
        {tree(OP::URETURN, void_t, name(g)), {"Incorrect LHS for RETURN"}},
        {tree(OP::URETURN, void_t, icon(0)), {"Incorrect LHS for RETURN"}},
        {op(OP::RETURN, int_t, I(), I()), {"Incorrect LHS for RETURN"}},
        {op(OP::RETURN, int_t, name(currfunc), I()), {}},
    };
    for (const auto &row : ends)
        EXPECT_EQ(said_of_block({row.stmt}), row.messages) << stmt2infix(row.stmt) << report;
}

TEST_F(ValidateTypes, Calls) {
    const auto indirect = [this](SYMTAB *sym) { return op(OP::UCALL, int_t, name(sym)); };
    SYMTAB *const pointer = local("fp", tp->mk_ptr(function_type));
    check({
        {"Tree must have function pointer type",
         {indirect(i), indirect(p), op(OP::CALL, int_t, name(g), I())},
         {indirect(pointer), call(g, {}), call(g, {I()})}},
        {"Extra-arg count nonzero for non-vararg function",
         {call(g, {I()}, 1), call(g, {}, 2), call(unprototyped, {I()}, 1)},
         {}},
        {"Extra-arg count zero for vararg function",
         {call(va, {I(), I()}), call(va, {I(), I(), I()})},
         {call(va, {I()}), call(va, {I(), I()}, 1), call(va, {}),
          call(va, {op(OP::COMMAOP, int_t, I(), I())})}},
        {"EHT ID nonzero when no EHT present", {call(g, {}, 0, 1)}, {}},
    });
    std::array<EHT_ENTRY, 3> table;
    currfuninfo->eht = table.data();
    currfuninfo->eht_size = 3;
    check({{"EHT ID exceeds EHT bounds",
            {call(g, {}, 0, 3), call(g, {I()}, 0, 99)},
            {call(g, {}, 0, 2), call(g, {}, 0, 1), call(g, {})}}});
    currfuninfo->eht_size = 0;
}

// As the front end writes them and buildcfg leaves them.
TEST_F(ValidateStmts, OrdinaryFunctionsPass) {
    NODE *const scaled = op(OP::PLUS, int_p, P(), op(OP::PMCONV, int_t, I(), icon(32)));
    NODE *const decayed = op(OP::PCONV, int_p, address(name(a)));
    NODE *const old = op(OP::PLUSPLUS, int_p, P(), icon(2));
    EXPECT_THAT(said_of_block(
                    {prolog_element(), tree(OP::PPRAGMA, void_t), tree(OP::ASM, void_t),
                     op(OP::STASG, struct_t, S(), op(OP::UMULT, struct_t, name(sp))),
                     op(OP::ARASG, array_t, name(a), name(a)), asg(op(OP::UMULT, int_t, old), I()),
                     asg(P(), decayed), asg(I(), op(OP::UMULT, int_t, scaled)),
                     op(OP::QUEST, void_t, I(), op(OP::COLON, void_t, call(g, {}), icon(0))),
                     op(OP::MEMCPY, void_t, comma(comma(P(), name(q)), icon(4))),
                     if_(op(OP::NEQ, int_t, I(), icon(0)), comma(label(1), label(2)))}),
                IsEmpty())
        << report;
}

TEST_F(ValidateStmts, DeepTrees) {
    NODE *sum = I(), *wrapped = asg(I(), I());
    for (int n = 0; n < 9900; ++n) {
        sum = op(OP::PLUS, int_t, sum, I());
        wrapped = op(OP::SSA_MU, int_t, wrapped);
    }
    EXPECT_THAT(said_of_block({asg(I(), sum), wrapped, ending()}), IsEmpty());
    sum->type = int_p;
    said_of(asg(I(), sum));
    EXPECT_LT(report.size(), 10000u);
}
