// Tidying of the flow graph: small functions before and after; random ones run before and after.
#include "OPT5/driver/global_flags.h"
#include "tests/rep/cfg_fixture.h"

#include <gmock/gmock.h>

#include <map>
#include <memory>
#include <random>
#include <set>

using ::testing::ExitedWithCode;
using ::testing::HasSubstr;

class Simpcfg : public CfgTest {
protected:
    void SetUp() override {
        CfgTest::SetUp();
        set_goal("-size_speed_goal=0"); // where all statements that can be are shared
    }
    void TearDown() override {
        all_option_sets.clear();
        file_options = nullptr;
        CfgTest::TearDown();
    }
    void set_goal(const char *option) {
        options = std::make_unique<option_obj>();
        ASSERT_TRUE(options->process_option(option, nullptr));
        file_options = options.get();
        all_option_sets = {file_options};
    }
    std::unique_ptr<option_obj> options;
    void expect_tidy(const char *title, const STATEMENTS &statements, const char *expected,
                     bool cross_jump = false, bool clean_switches = false) {
        SCOPED_TRACE(title);
        build(statements);
        expect_graph_after(expected, cross_jump, clean_switches);
    }
    void expect_graph_after(const char *expected, bool cross_jump, bool clean_switches) {
        simpcfg(cross_jump, clean_switches);
        EXPECT_EQ(graph(), expected);
        expect_valid();
        expect_nothing_left();
        simpcfg(cross_jump, clean_switches);
        EXPECT_EQ(graph(), expected) << "tidied again";
    }
    void expect_valid() {
        expect_sound();
        log();
        EXPECT_EQ(validate_cfg(), 0);
        EXPECT_EQ(log(), "\n\n ===== Validating this CFG\n"
                         " ===== Corrected errors: 0, Uncorrected errors: 0\n\n");
        EXPECT_EQ(validate_stmts(), 0) << log();
    }
    // No clean-up of one block or of two applies.
    void expect_nothing_left() {
        std::set<const BBLK *> roots = {currfuninfo->bb_list};
        for (const BBLK *handler : handler_blocks(currfuninfo))
            roots.insert(handler);
        for (const BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink) {
            SCOPED_TRACE(bb_name(bb));
            const NODE *branch = last_statement(bb);
            const bool has_choice = branch->op == OP::IF || branch->op == OP::SWITCH;
            EXPECT_EQ(has_choice, edge_length(bb->successors) > 1);
            for (const LIST *cell = bb->statements; cell; cell = cell->rest)
                EXPECT_NE(cell->first->op, OP::ICON);
            EXPECT_FALSE(has_choice && branch->left->op == OP::ICON);
            if (branch->op != OP::BRANCH) continue;
            const BBLK *next = bb->successors->bb;
            EXPECT_TRUE(bb->statements->rest || next == bb || roots.count(bb)) << "an empty block";
            EXPECT_TRUE(next->is_exit || next == bb || roots.count(next) ||
                        edge_length(next->predecessors) > 1)
                << "a straight line";
        }
    }
    // Label n is where the only handler of the function begins.
    void handle_at(int number) {
        currfuninfo->eht = new EHT_ENTRY[2];
        currfuninfo->eht_size = 2;
        I_CATCH_ENTRY clause;
        clause.lbl = mklabel(number, nullptr, nullptr);
        currfuninfo->eht[1].catches.push_back(clause);
    }
    NODE *unless_tree(NODE *condition, int number) {
        return tree(OP::CBRANCH, int_t, condition, label(number));
    }
    NODE *switch_tree(NODE *value, const STATEMENTS &cases) {
        NODE *stmt = switch_(i, cases);
        erase_tree(stmt->left);
        stmt->left = value;
        stmt->u.lval = INT65(static_cast<int>(cases.size()) - 1);
        return stmt;
    }
    NODE *plus(NODE *left, NODE *right) { return tree(OP::PLUS, int_t, left, right); }
    NODE *first(NODE *effect, NODE *value) { return comma(effect, value, OP::COMMAOP); }
};
using SimpcfgDeath = Simpcfg;

TEST_F(Simpcfg, EmptyBlocksAndStraightLines) {
    expect_tidy("an empty body", {}, "1 (): goto 2\n2 (1): leave\n");
    expect_tidy("labels nobody jumps to", {set(i, 1), def(1), set(j, 2), def(2), set(i, 3)},
                "1 (): i = 1; j = 2; i = 3; goto 2\n2 (1): leave\n");
    expect_tidy("jumps in a line",
                {jump(2), def(1), set(j, 2), leave(), def(2), set(i, 1), jump(1)},
                "1 (): i = 1; j = 2; goto 2\n2 (1): leave\n");
    expect_tidy(
        "a branch to a branch",
        {unless(i, 1), set(j, 1), jump(3), def(1), jump(2), def(2), jump(3), def(3), set(i, 2)},
        "1 (): if i 2 else 3\n2 (1): j = 1; goto 3\n3 (2 1): i = 2; goto 4\n4 (3): leave\n");
    expect_tidy("empty statements are nothing",
                {unless(i, 1), icon(0), icon(0), def(1), icon(0), set(j, 1), icon(0)},
                "1 (): j = 1; goto 2\n2 (1): leave\n");
    expect_tidy(
        "a pragma is something", {unless(i, 1), pragma(), def(1), set(j, 1)},
        "1 (): if i 2 else 3\n2 (1): pragma; goto 3\n3 (2 1): j = 1; goto 4\n4 (3): leave\n");
    expect_tidy("nested empty arms",
                {unless(i, 1), unless(j, 2), unless(i, 3), jump(4), def(3), jump(4), def(2),
                 jump(4), def(1), def(4), set(i, 7)},
                "1 (): i = 7; goto 2\n2 (1): leave\n");
}

TEST_F(Simpcfg, LoopsWithoutAWayOut) {
    expect_tidy("a block that jumps to itself", {def(1), jump(1)},
                "1 (): goto 2\n2 (2 1): goto 2\n3 (): leave\n");
    expect_tidy("a ring of empty blocks",
                {set(i, 1), jump(2), def(1), jump(2), def(2), jump(3), def(3), jump(1)},
                "1 (): i = 1; goto 2\n2 (2 1): goto 2\n3 (): leave\n");
    expect_tidy("two ways into a ring", {unless(i, 2), def(1), jump(2), def(2), jump(1)},
                "1 (): goto 2\n2 (2 1): goto 2\n3 (): leave\n");
    expect_tidy("a choice between a ring and the end",
                {unless(i, 2), set(j, 1), leave(), def(1), jump(2), def(2), jump(1)},
                "1 (): if i 2 else 4\n2 (1): j = 1; goto 3\n3 (2): leave\n4 (4 1): goto 4\n");
    expect_tidy("a ring that always stays", {def(1), unless(i, 1), jump(1)},
                "1 (): goto 2\n2 (2 1): goto 2\n3 (): leave\n");
    expect_tidy("a ring that does something", {def(1), set(i, 1), jump(2), def(2), jump(1)},
                "1 (): goto 2\n2 (2 1): i = 1; goto 2\n3 (): leave\n");
}

TEST_F(Simpcfg, ConditionsWithoutAChoice) {
    expect_tidy("false", {unless_tree(icon(0), 1), set(i, 1), def(1), set(j, 1)},
                "1 (): j = 1; goto 2\n2 (1): leave\n");
    expect_tidy("true", {unless_tree(icon(-1), 1), set(i, 1), def(1), set(j, 1)},
                "1 (): i = 1; j = 1; goto 2\n2 (1): leave\n");
    expect_tidy("false after an effect",
                {unless_tree(first(set(i, 1), icon(0)), 1), set(i, 2), def(1), set(j, 1)},
                "1 (): i = 1; j = 1; goto 2\n2 (1): leave\n");
    expect_tidy("one target", {unless(i, 1), def(1)}, "1 (): goto 2\n2 (1): leave\n");
    expect_tidy("one target, an effect", {unless_tree(plus(set(i, 1), name(j)), 1), def(1)},
                "1 (): i = 1; goto 2\n2 (1): leave\n");
    expect_tidy("one target, a volatile read", {unless(vol, 1), def(1), set(j, 1)},
                "1 (): vol; j = 1; goto 2\n2 (1): leave\n");
    expect_tidy("a constant of many cases",
                {switch_tree(icon(2), {case_(1, 1), case_(2, 2), default_(3)}), def(1), set(i, 1),
                 leave(), def(2), set(i, 2), leave(), def(3), set(i, 3)},
                "1 (): i = 2; goto 2\n2 (1): leave\n");
    expect_tidy("a constant of no case",
                {switch_tree(icon(5), {case_(1, 1), case_(2, 2), default_(3)}), def(1), set(i, 1),
                 leave(), def(2), set(i, 2), leave(), def(3), set(i, 3)},
                "1 (): i = 3; goto 2\n2 (1): leave\n");
    expect_tidy("cases that all go one way",
                {switch_tree(name(vol), {case_(1, 1), case_(2, 2), default_(3)}), def(1), def(2),
                 jump(3), def(3), set(i, 3)},
                "1 (): vol; i = 3; goto 2\n2 (1): leave\n");
}

// -1 and 65535 are one value of a 16-bit type; which case is meant is open.
TEST_F(Simpcfg, ConstantsThatDifferAboveTheirTypeAreLeftAlone) {
    build({switch_tree(icon(-1, tp->short_type()), {case_(65535, 1), default_(2)}), def(1),
           set(i, 1), leave(), def(2), set(i, 2)});
    simpcfg(false, false);
    EXPECT_EQ(last_statement(block(1))->op, OP::SWITCH);
}

TEST_F(Simpcfg, HandlersAreRoots) {
    const struct {
        const char *title;
        STATEMENTS statements;
        const char *graph;
    } cases[] = {
        {"no edge leads there",
         {set(i, 1), leave(), def(1), jump(2), def(2), set(j, 1)},
         "1 (): i = 1; goto 3\n2 (): j = 1; goto 3\n3 (2 1): leave\n"},
        {"one edge leads there",
         {set(i, 1), jump(1), def(1), set(j, 1)},
         "1 (): i = 1; goto 2\n2 (1): j = 1; goto 3\n3 (2): leave\n"},
        {"an empty one",
         {set(i, 1), unless(i, 1), set(j, 1), def(1), jump(2), def(2), set(i, 2)},
         "1 (): i = 1; if i 2 else 4\n2 (1): j = 1; goto 4\n3 (): goto 4\n"
         "4 (3 2 1): i = 2; goto 5\n5 (4): leave\n"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.title);
        erase_function_body(currfuninfo);
        handle_at(1);
        put(c.statements);
        buildcfg();
        expect_graph_after(c.graph, true, true);
    }
}

TEST_F(Simpcfg, EqualTails) {
    expect_tidy("one tail before a common successor",
                {unless(i, 1), set(i, 1), set(j, 5), jump(2), def(1), set(i, 2), set(j, 5), def(2),
                 set(i, 3)},
                "1 (): if i 2 else 3\n2 (1): i = 1; goto 4\n3 (1): i = 2; goto 4\n"
                "4 (3 2): j = 5; i = 3; goto 5\n5 (4): leave\n",
                true);
    expect_tidy("equal arms",
                {unless(vol, 1), set(i, 1), set(j, 5), jump(2), def(1), set(i, 1), set(j, 5),
                 def(2), set(i, 3)},
                "1 (): vol; i = 1; j = 5; i = 3; goto 2\n2 (1): leave\n", true);
    expect_tidy("two of three",
                {unless(i, 1), set(i, 1), set(j, 5), jump(3), def(1), unless(j, 2), set(i, 2),
                 set(j, 5), jump(3), def(2), set(i, 4), def(3), set(j, 7)},
                "1 (): if i 2 else 3\n2 (1): i = 1; goto 5\n3 (1): if j 4 else 6\n"
                "4 (3): i = 2; goto 5\n5 (4 2): j = 5; goto 7\n6 (3): i = 4; goto 7\n"
                "7 (6 5): j = 7; goto 8\n8 (7): leave\n",
                true);
    expect_tidy("returns",
                {unless(i, 1), set(i, 1), set(j, 2), ret(name(j)), def(1), set(i, 2), set(j, 2),
                 ret(name(j))},
                "1 (): if i 2 else 3\n2 (1): i = 1; goto 4\n3 (1): i = 2; goto 4\n"
                "4 (3 2): j = 2; return j\n5 (): leave\n",
                true);
    expect_tidy("bare returns", {unless(i, 1), ret(icon(3)), def(1), ret(icon(3))},
                "1 (): return 3\n2 (): leave\n", true);
    expect_tidy("a bare return behind a shared tail, and another",
                {unless(vol, 1), unless(vol, 2), set(i, 1), set(j, 5), jump(3), def(2), set(i, 2),
                 set(j, 5), jump(3), def(1), set(i, 4), unless(i, 4), set(i, 3), ret(icon(4)),
                 def(4), ret(icon(3)), def(3), ret(icon(3))},
                "1 (): if vol 2 else 6\n2 (1): if vol 3 else 4\n3 (2): i = 1; goto 5\n"
                "4 (2): i = 2; goto 5\n5 (4 3): j = 5; goto 8\n6 (1): i = 4; if i 7 else 8\n"
                "7 (6): i = 3; return 4\n8 (6 5): return 3\n9 (): leave\n",
                true);
    expect_tidy("other returns", {unless(i, 1), ret(icon(3)), def(1), ret(icon(4))},
                "1 (): if i 2 else 3\n2 (1): return 3\n3 (1): return 4\n4 (): leave\n", true);
    expect_tidy("a loop that begins as what leads to it",
                {set(i, 1), set(i, 1), def(1), set(i, 1), jump(1)},
                "1 (): goto 2\n2 (2 1): i = 1; goto 2\n3 (): leave\n", true);
}

// A jump more is no way to save code when speed counts.
TEST_F(Simpcfg, EqualTailsWhenSpeedCounts) {
    set_goal("-size_speed_goal=4");
    expect_tidy("one tail before a common successor",
                {unless(i, 1), set(i, 1), set(j, 5), jump(2), def(1), set(i, 2), set(j, 5), def(2),
                 set(i, 3)},
                "1 (): if i 2 else 3\n2 (1): i = 1; goto 4\n3 (1): i = 2; goto 4\n"
                "4 (3 2): j = 5; i = 3; goto 5\n5 (4): leave\n",
                true);
    expect_tidy("two of three",
                {unless(i, 1), set(i, 1), set(j, 5), jump(3), def(1), unless(j, 2), set(i, 2),
                 set(j, 5), jump(3), def(2), set(i, 4), def(3), set(j, 7)},
                "1 (): if i 2 else 3\n2 (1): i = 1; j = 5; goto 6\n3 (1): if j 4 else 5\n"
                "4 (3): i = 2; j = 5; goto 6\n5 (3): i = 4; goto 6\n"
                "6 (5 4 2): j = 7; goto 7\n7 (6): leave\n",
                true);
    expect_tidy("returns", {unless(i, 1), set(j, 2), ret(name(j)), def(1), set(j, 2), ret(name(j))},
                "1 (): if i 2 else 3\n2 (1): j = 2; return j\n3 (1): j = 2; return j\n"
                "4 (): leave\n",
                true);
    expect_tidy("equal arms before the end",
                {unless(i, 1), set(j, 5), jump(2), def(1), set(j, 5), def(2)},
                "1 (): j = 5; goto 2\n2 (1): leave\n", true);
}

// The n-th statement stands in line n.
TEST_F(Simpcfg, PositionsFollowTheStatements) {
    const auto lines = [](int dfn) {
        const BBLK *bb = block(dfn);
        EXPECT_TRUE(bb->psn_first && bb->psn_last) << dfn;
        return std::pair<unsigned, unsigned>(bb->psn_first->line, bb->psn_last->line);
    };
    using LINES = std::pair<unsigned, unsigned>;
    expect_tidy("shared tails and a straight line",
                {unless(i, 1), set(i, 1), set(j, 5), set(j, 6), jump(2), def(1), set(i, 2),
                 set(j, 5), set(j, 6), def(2), set(i, 3)},
                "1 (): if i 2 else 3\n2 (1): i = 1; goto 4\n3 (1): i = 2; goto 4\n"
                "4 (3 2): j = 5; j = 6; i = 3; goto 5\n5 (4): leave\n",
                true);
    EXPECT_EQ(lines(2), LINES(2, 5)); // its branch is that of line 5
    EXPECT_EQ(lines(3), LINES(7, 7));
    const LIST *head = block(4)->statements;
    EXPECT_EQ(lines(4), LINES(head->psn->line, 11));
    EXPECT_NE(head->psn->line, 11u);
    expect_tidy("an empty statement and a straight line",
                {icon(0), set(i, 1), jump(1), def(1), set(i, 2)},
                "1 (): i = 1; i = 2; goto 2\n2 (1): leave\n");
    EXPECT_EQ(lines(1), LINES(2, 5));
    expect_tidy("nothing but the branch is left",
                {unless(i, 1), set(j, 5), set(i, 7), jump(2), def(1), set(j, 6), set(i, 7),
                 ret(icon(0)), def(2), ret(icon(0))},
                "1 (): if i 2 else 3\n2 (1): j = 5; goto 4\n3 (1): j = 6; goto 4\n"
                "4 (3 2): i = 7; return 0\n5 (): leave\n",
                true);
    EXPECT_EQ(lines(3), LINES(6, 8));
}

TEST_F(Simpcfg, TailsThatDiffer) {
    const struct {
        const char *title;
        NODE *one, *other;
    } cases[] = {
        {"value", set(i, 1), set(i, 2)},
        {"variable", set(i, 1), set(j, 1)},
        {"order of effects", asg(name(i), plus(name(vol), call(g, {}))),
         asg(name(i), plus(call(g, {}), name(vol)))},
        {"extra arguments", call(va, {icon(1)}, 1), call(va, {icon(1)}, 0)},
        {"exception entry", call(va, {icon(1)}, 0, 1), call(va, {icon(1)}, 0, 2)},
        {"callee", call(g, {}), call(va, {icon(1)})},
        {"operator", asg(name(i), plus(name(i), name(j))),
         asg(name(i), tree(OP::MINUS, int_t, name(i), name(j)))},
        {"pragma", pragma(), pragma()},
        {"type", asg(name(i), tree(OP::SCONV, int_t, tree(OP::SCONV, short_t, name(j)))),
         asg(name(i),
             tree(OP::SCONV, int_t, tree(OP::SCONV, tp->mk_qual(short_t, TQ_volatile), name(j))))},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.title);
        build({unless(i, 1), c.one, jump(2), def(1), c.other, def(2), set(i, 9)});
        const std::string before = graph();
        simpcfg(true, false);
        EXPECT_EQ(graph(), before);
    }
}

TEST_F(Simpcfg, EarlyCrossJumping) {
    build({unless(i, 1), set(j, 5), jump(2), def(1), set(j, 5), def(2)});
    do_early_cross_jumping();
    EXPECT_EQ(graph(), "1 (): j = 5; goto 2\n2 (1): leave\n");
}

TEST_F(Simpcfg, SwitchCases) {
    const auto body = [this](NODE *stmt) -> STATEMENTS {
        return {stmt, def(1), set(i, 1), leave(), def(2), set(i, 2), leave(), def(3), set(i, 3)};
    };
    const char *two_ways = "2 (1): i = 1; goto 4\n3 (1): i = 3; goto 4\n4 (3 2): leave\n";
    const auto with = [](std::string head, const char *rest) { return head + "\n" + rest; };
    expect_tidy("cases that do what the default does",
                body(switch_tree(
                    name(j), {case_(1, 1), case_(2, 3), case_(4, 1), case_(3, 3), default_(3)})),
                with("1 (): switch j 1:2 4:2 *:3", two_ways).c_str(), false, true);
    EXPECT_EQ(last_statement(block(1))->case_count(), 2u);
    expect_tidy("ways that turn out to be one",
                {switch_tree(name(j), {case_(1, 1), case_(2, 2), case_(4, 1), default_(4)}), def(1),
                 set(i, 1), leave(), def(2), jump(3), def(4), unless(i, 3), def(3), set(i, 3)},
                with("1 (): switch j 1:2 4:2 *:3", two_ways).c_str(), false, true);
    expect_tidy("one case is a comparison",
                body(switch_tree(name(j), {case_(5, 1), case_(2, 3), default_(3)})),
                with("1 (): if j == 5 2 else 3", two_ways).c_str(), false, true);
    expect_tidy("no case", body(switch_tree(name(vol), {case_(5, 3), default_(3)})),
                "1 (): vol; i = 3; goto 2\n2 (1): leave\n", false, true);
    expect_tidy("a value that stands twice",
                body(switch_tree(name(j), {case_(5, 3), case_(5, 1), case_(6, 1), default_(3)})),
                "1 (): switch j 5:2 5:3 6:3 *:2\n2 (1): i = 3; goto 4\n3 (1): i = 1; goto 4\n"
                "4 (3 2): leave\n",
                false, true);
    expect_tidy("not asked for", body(switch_tree(name(j), {case_(5, 1), default_(3)})),
                with("1 (): switch j 5:2 *:3", two_ways).c_str());
}

TEST_F(Simpcfg, LoopHierarchiesKeepTheirBlocks) {
    build({unless(i, 1), jump(2), def(1), jump(2), def(2), set(i, 1)});
    const std::string before = graph();
    int hierarchy = 0;
    currfuninfo->bb_list->loop = reinterpret_cast<LOOP *>(&hierarchy);
    simpcfg(true, true);
    EXPECT_EQ(graph(), before);
    currfuninfo->bb_list->loop = nullptr;
}

TEST_F(SimpcfgDeath, NoQuestionOnceLoopsExist) {
    NODE *arms = tree(OP::COLON, int_t, icon(1), icon(2));
    build({asg(name(i), tree(OP::QUEST, int_t, name(j), arms))});
    simpcfg(false, false);
    EXPECT_THAT(graph(), HasSubstr("?")) << "fine without loops";
    int hierarchy = 0;
    currfuninfo->bb_list->loop = reinterpret_cast<LOOP *>(&hierarchy);
    EXPECT_EXIT(simpcfg(false, false), ExitedWithCode(1), "");
    currfuninfo->bb_list->loop = nullptr;
}

TEST_F(Simpcfg, ProfilesAndLog) {
    build({unless(i, 1), jump(3), def(1), jump(2), def(2), set(j, 1), def(3)});
    log();
    simpcfg(false, false);
    EXPECT_THAT(log(), HasSubstr("\n\n\t\t\t---------- ENTERING 'simpcfg' ----------\n"));
    simpcfg_dump_counts();
    EXPECT_THAT(log(), HasSubstr(" branches threaded"));
}

// --- random functions

class SimpcfgRandom : public Simpcfg {
protected:
    struct RUN {
        std::vector<int> trace; // what was stored and read from outside, in order
        bool ended = false;
    };

    int below(int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); }
    NODE *random_condition() {
        switch (below(8)) {
        case 0: return icon(below(2));
        case 1: return first(set(j, below(2)), icon(below(2)));
        case 2: return asg(name(i), name(vol));
        case 3:
        case 4: return name(vol);
        case 5: return tree(OP::EQ, int_t, name(i), icon(1));
        default: return name(below(2) ? i : j);
        }
    }
    NODE *random_statement() {
        switch (below(6)) {
        case 0: return icon(0);
        case 1: return name(vol);
        case 2: return asg(name(i), plus(name(i), icon(1)));
        default: return set(below(2) ? i : j, below(2));
        }
    }
    void add_ending(STATEMENTS &list, int n) {
        const auto anywhere = [&] { return 1 + below(n); };
        switch (below(9)) {
        case 0: list.push_back(ret(icon(below(2)))); break;
        case 1: list.push_back(leave()); break;
        case 2: {
            STATEMENTS cases;
            for (int value = below(4); value >= 0; --value)
                cases.push_back(case_(value, anywhere()));
            cases.push_back(default_(anywhere()));
            NODE *values[] = {name(vol), name(i), icon(below(4))};
            list.push_back(switch_tree(values[below(3)], cases));
            break;
        }
        case 3: break; // falls through
        case 4:
        case 5: list.push_back(jump(anywhere())); break;
        default: list.push_back(unless_tree(random_condition(), anywhere()));
        }
    }
    STATEMENTS random_function() {
        const int n = 1 + below(12);
        STATEMENTS list;
        for (int number = 1; number <= n; ++number) {
            list.push_back(def(number));
            for (int count = below(5) - 1; count > 0; --count)
                list.push_back(random_statement());
            add_ending(list, n);
        }
        return list;
    }

    // Runs the graph on inputs that follow from the seed, for at most so many branches.
    class MACHINE {
    public:
        MACHINE(const SimpcfgRandom &t, unsigned seed) : test(t), inputs(seed) {
            values[t.i] = static_cast<int>(inputs() % 2);
            values[t.j] = static_cast<int>(inputs() % 2);
        }
        RUN run(BBLK *bb, int branches) {
            while (bb && branches-- > 0)
                bb = run_block(bb);
            result.ended = !bb;
            return result;
        }

    private:
        BBLK *run_block(BBLK *bb) {
            for (LIST *cell = bb->statements;; cell = cell->rest) {
                NODE *stmt = cell->first;
                switch (stmt->op) {
                case OP::BRANCH: return label_block(stmt->left);
                case OP::IF: {
                    NODE *arms = stmt->right;
                    return label_block(value(stmt->left) ? arms->left : arms->right);
                }
                case OP::SWITCH: return label_block(chosen(stmt->right, value(stmt->left)));
                case OP::RETURN: result.trace.push_back(1000 + value(stmt->right)); return nullptr;
                case OP::URETURN: result.trace.push_back(2000); return nullptr;
                default: value(stmt);
                }
            }
        }
        static NODE *chosen(NODE *cases, int wanted) {
            NODE *target = cases->op == OP::COMMA ? cases->right->left : cases->left;
            while (cases->op == OP::COMMA) {
                cases = cases->left;
                const NODE *one = cases->op == OP::COMMA ? cases->right : cases;
                if (one->left->u.lval == INT65(wanted)) target = one->right;
            }
            return target;
        }
        int value(const NODE *tree) {
            switch (tree->op) {
            case OP::ICON: return tree->u.lval.s32();
            case OP::NAME:
                return tree->u.name.sym == test.vol ? outside() : values[tree->u.name.sym];
            case OP::ASG: {
                SYMTAB *target = tree->left->u.name.sym;
                values[target] = value(tree->right);
                result.trace.push_back((target == test.i ? 10000 : 20000) + values[target]);
                return values[target];
            }
            case OP::PLUS: {
                const int left = value(tree->left);
                return left + value(tree->right);
            }
            case OP::EQ: {
                const int left = value(tree->left);
                return left == value(tree->right);
            }
            case OP::COMMAOP: value(tree->left); return value(tree->right);
            default: ADD_FAILURE() << infix(tree); return 0;
            }
        }
        int outside() {
            result.trace.push_back(-1);
            return static_cast<int>(inputs() % 3);
        }

        const SimpcfgRandom &test;
        std::mt19937 inputs;
        std::map<const SYMTAB *, int> values;
        RUN result;
    };
    // Of a run that was cut short only the beginning is known.
    static void expect_same(const RUN &before, const RUN &after) {
        if (before.ended && after.ended) {
            EXPECT_EQ(before.trace, after.trace);
            return;
        }
        const std::size_t known = std::min(before.trace.size(), after.trace.size());
        EXPECT_TRUE(
            std::equal(before.trace.begin(), before.trace.begin() + known, after.trace.begin()));
        EXPECT_FALSE(before.ended && before.trace.size() < after.trace.size());
        EXPECT_FALSE(after.ended && after.trace.size() < before.trace.size());
        // A tidied graph needs no more branches, so it ends where the other did.
        EXPECT_FALSE(before.ended) << "does not end any more";
    }

    std::mt19937 random{7};
};

TEST_F(SimpcfgRandom, TheSameEffectsAndAFixedPoint) {
    constexpr int limit = 300, inputs = 4;
    int ended = 0;
    for (int round = 0; round < 1200 && !HasFailure(); ++round) {
        SCOPED_TRACE(round);
        build(random_function());
        const std::string original = graph();
        const bool cross_jump = round & 1, clean = round & 2;
        RUN before[inputs];
        for (int seed = 0; seed < inputs; ++seed)
            before[seed] = MACHINE(*this, seed).run(currfuninfo->bb_list, limit);
        simpcfg(cross_jump, clean);
        SCOPED_TRACE(original + " tidied:\n" + graph());
        expect_valid();
        expect_nothing_left();
        for (int seed = 0; seed < inputs; ++seed) {
            // Shared tails cost a branch now and then.
            expect_same(before[seed], MACHINE(*this, seed).run(currfuninfo->bb_list, 4 * limit));
            ended += before[seed].ended;
        }
        const std::string once = graph();
        simpcfg(cross_jump, clean);
        EXPECT_EQ(graph(), once);
    }
    EXPECT_GT(ended, 1000) << "too few runs end to tell";
}

// Long functions: lines, ladders of empty arms, nests, one wide SWITCH.
TEST_F(Simpcfg, LongFunctions) {
    constexpr int n = 20000;
    STATEMENTS list;
    for (int k = 1; k <= n; ++k) {
        list.push_back(unless(i, n + 1 - k));
        list.push_back(jump(n));
    }
    for (int k = 1; k <= n; ++k)
        list.push_back(def(k));
    build(list);
    simpcfg(true, true);
    EXPECT_EQ(graph(), "1 (): goto 2\n2 (1): leave\n");
    list.clear();
    STATEMENTS cases;
    for (int k = 1; k <= n; ++k)
        cases.push_back(case_(k, k));
    cases.push_back(default_(n));
    list.push_back(switch_tree(name(vol), cases));
    for (int k = 1; k <= n; ++k) {
        list.push_back(def(k));
        list.push_back(set(j, 1));
        list.push_back(jump(n + 1));
    }
    list.push_back(def(n + 1));
    build(list);
    simpcfg(true, true);
    EXPECT_EQ(graph(), "1 (): vol; j = 1; goto 2\n2 (1): leave\n");
}
