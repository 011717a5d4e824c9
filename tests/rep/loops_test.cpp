// The loop hierarchy: known graphs as text, random ones against the definition of natural loops.
#include "OPT5/loops/loops.h"
#include "tests/rep/cfg_fixture.h"

#include <algorithm>
#include <functional>
#include <random>
#include <set>

class Loops : public CfgTest {
protected:
    // "id (preheader head tail | contents | exits) ..." with subloops in brackets.
    static std::string text_of(const LOOP *loop) {
        std::string text = std::to_string(loop->id) + "(";
        if (!loop->is_root())
            text += std::to_string(loop->preheader->dfn) + " " + std::to_string(loop->head->dfn) +
                    " " + std::to_string(loop->tail->dfn) + " | ";
        text += numbers(loop->contents);
        if (!loop->is_root()) text += " | " + numbers(loop->exits);
        text += ")";
        std::vector<std::string> inner;
        for (const LOOP *child = loop->first_child; child; child = child->sibling)
            inner.push_back(text_of(child));
        std::sort(inner.begin(), inner.end());
        for (const std::string &one : inner)
            text += " [" + one + "]";
        return text;
    }
    static std::string hierarchy() { return loop_root() ? text_of(loop_root()) : "none"; }

    // A graph of blocks 1 to n, each of which ends in a jump to one or two random others; the last
    // one leaves.
    void make_random(std::mt19937 &random, int n) {
        STATEMENTS statements;
        const auto pick = [&](int from) {
            return from + static_cast<int>(random() % (n - from + 1));
        };
        for (int k = 1; k < n; ++k) {
            statements.push_back(def(k));
            statements.push_back(set(i, k));
            // Mostly forwards, so that most blocks are reached and loops stay small.
            const int near = std::max(1, k - static_cast<int>(random() % 5));
            if (random() % 3 == 0) statements.push_back(unless(j, random() % 3 ? near : pick(1)));
            if (random() % 5 == 0) statements.push_back(jump(random() % 2 ? pick(k) : near));
        }
        statements.push_back(def(n));
        statements.push_back(leave());
        build(statements);
    }

    // What reaches the tail without passing the head, by definition.
    static std::set<const BBLK *> natural_loop(BBLK *head, BBLK *tail) {
        std::set<const BBLK *> body{head};
        std::function<void(const BBLK *)> add = [&](const BBLK *bb) {
            if (!body.insert(bb).second) return;
            for (const EDGE *edge = bb->predecessors; edge; edge = edge->next)
                add(edge->bb);
        };
        add(tail);
        return body;
    }
    static std::set<const BBLK *> blocks_of(const EDGE *list) {
        std::set<const BBLK *> blocks;
        for (; list; list = list->next)
            blocks.insert(list->bb);
        return blocks;
    }
    static void collect(LOOP *loop, std::vector<LOOP *> &loops) {
        loops.push_back(loop);
        for (LOOP *child = loop->first_child; child; child = child->sibling)
            collect(child, loops);
    }
    // All back edges to dominators belong to a loop; contents, innermost loops and exits are what
    // the definition says.
    void expect_true_hierarchy() {
        std::vector<LOOP *> loops;
        collect(loop_root(), loops);
        std::set<std::pair<const BBLK *, const BBLK *>> back;
        for (LOOP *loop : loops)
            if (!loop->is_root()) back.insert({loop->tail, loop->head});
        for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink) {
            ASSERT_TRUE(bb->loop);
            for (const EDGE *edge = bb->successors; edge; edge = edge->next)
                EXPECT_EQ(bb_dominates_bb(edge->bb, bb), back.count({bb, edge->bb}) == 1)
                    << bb->dfn << " to " << edge->bb->dfn;
            const LOOP *innermost = loop_root();
            for (const LOOP *loop : loops)
                if (!loop->is_root() && blocks_of(loop->contents).count(bb) &&
                    loop->level > innermost->level)
                    innermost = loop;
            EXPECT_EQ(bb->loop, innermost) << bb->dfn;
        }
        for (LOOP *loop : loops) {
            if (loop->is_root()) continue;
            const std::set<const BBLK *> body = natural_loop(loop->head, loop->tail);
            EXPECT_EQ(blocks_of(loop->contents), body) << loop->id;
            std::set<const BBLK *> exits;
            for (const BBLK *bb : body)
                for (const EDGE *edge = bb->successors; edge; edge = edge->next)
                    if (!body.count(edge->bb)) exits.insert(edge->bb);
            EXPECT_EQ(blocks_of(loop->exits), exits) << loop->id;
        }
        log();
        EXPECT_EQ(validate_loop(loop_root(), 1), 0) << log();
    }
};

TEST_F(Loops, KnownGraphs) {
    const struct {
        const char *title;
        std::function<STATEMENTS()> statements;
        const char *hierarchy;
    } cases[] = {
        {"no loop",
         [&] {
             return STATEMENTS{set(i, 1), leave()};
         },
         "none"},
        {"a block that jumps to itself",
         [&] {
             return STATEMENTS{set(i, 1), def(1), set(j, 1), unless(i, 1), leave()};
         },
         "0(1 2 3 4) [1(1 2 2 | 2 | 3)]"},
        {"test at the top",
         [&] {
             return STATEMENTS{set(i, 1), def(1), unless(i, 2), set(j, 1),
                               jump(1),   def(2), leave()};
         },
         "0(1 2 3 4 5) [1(1 2 3 | 2 3 | 4)]"},
        {"two ways back meet in one new tail",
         [&] {
             return STATEMENTS{set(i, 1), def(1), unless(i, 1), unless(j, 1), leave()};
         },
         "0(1 2 3 4 5 6) [1(1 2 4 | 2 3 4 | 5)]"},
        {"two heads, one block that jumps back to both",
         [&] {
             return STATEMENTS{set(i, 1), def(1),
                               set(i, 2), def(2),
                               set(j, 1), switch_(i, {case_(0, 1), case_(1, 2), default_(3)}),
                               def(3),    leave()};
         },
         "0(1 2 3 4 5 6 7) [2(1 2 5 | 2 3 4 5 | 6) [1(2 3 4 | 3 4 | 5 6)]]"},
        // The other way out must not go through what the first one does.
        {"two ways to one place, of which one does something",
         [&] {
             return STATEMENTS{set(i, 1), unless(j, 3), def(1),    unless(i, 2), set(j, 7),
                               jump(3),   def(2),       set(j, 5), unless(j, 1), def(3),
                               leave()};
         },
         "0(1 2 3 4 5 6 7 8) [1(2 3 5 | 3 5 | 4 6)]"},
        {"entered at two places",
         [&] { return STATEMENTS{unless(i, 2), def(1), set(i, 1), def(2), unless(j, 1), leave()}; },
         "0(1 2 3 4 5)"},
        {"an end that is never reached",
         [&] {
             return STATEMENTS{set(i, 1), def(1), set(j, 1), jump(1)};
         },
         "0(1 2 3) [1(1 2 2 | 2 | )]"},
    };
    for (const auto &one : cases) {
        SCOPED_TRACE(one.title);
        build(one.statements());
        build_minimal_loop_hierarchy();
        EXPECT_EQ(hierarchy(), one.hierarchy) << graph();
        expect_sound();
        if (loop_root()) expect_true_hierarchy();
        erase_loop_hierarchy();
    }
}

TEST_F(Loops, RandomGraphs) {
    std::mt19937 random(7);
    int built = 0, loops_seen = 0, deepest = 0;
    for (int round = 0; round < 1500; ++round) {
        SCOPED_TRACE(round);
        make_random(random, 3 + static_cast<int>(random() % 20));
        simpcfg(false, false);
        build_minimal_loop_hierarchy();
        expect_sound();
        if (!loop_root()) continue;
        ++built;
        expect_true_hierarchy();
        std::vector<LOOP *> loops;
        collect(loop_root(), loops);
        loops_seen += static_cast<int>(loops.size()) - 1;
        for (const LOOP *loop : loops)
            deepest = std::max(deepest, int{loop->level});
        if (HasFailure()) break;
        unbuild_loop_hierarchy();
        EXPECT_FALSE(loop_root());
        log();
        EXPECT_EQ(validate_cfg(), 0) << log();
    }
    EXPECT_GT(built, 300);
    EXPECT_GT(loops_seen, 500);
    EXPECT_GT(deepest, 2);
}

TEST_F(Loops, FullBuildKeepsPragmasAndFindsConstants) {
    build({set(i, 1), pragma(), def(1), asg(name(j), name(i)), unless(j, 1), asg(name(i), name(j)),
           leave()});
    build_loop_hierarchy(false, false, false, -1);
    ASSERT_TRUE(loop_root() && loop_root()->first_child);
    LOOP *loop = loop_root()->first_child;
    EXPECT_TRUE(loop->pragmas);
    EXPECT_EQ(graph().find("pragma"), std::string::npos);
    i->attr &= static_cast<std::uint8_t>(~SA_aliased);
    j->attr &= static_cast<std::uint8_t>(~SA_aliased);
    find_region_constants(loop_root());
    EXPECT_TRUE(sym_is_RC_in_loop(i, loop));
    EXPECT_FALSE(sym_is_RC_in_loop(j, loop));
    EXPECT_FALSE(sym_is_RC_in_loop(i, loop_root()));
    NODE *sum = tree(OP::PLUS, int_t, name(i), icon(3));
    EXPECT_TRUE(tree_is_RC_in_loop(sum, loop, false));
    EXPECT_FALSE(tree_is_RC_in_loop(sum, loop_root(), false));
    loop->ivs = alloc_LOOPIV(loop, j);
    NODE *affine = tree(OP::MINUS, int_t, sum, tree(OP::MULT, int_t, name(j), icon(4)));
    EXPECT_TRUE(expr_is_affine_in_loop(affine, loop));
    NODE *square = tree(OP::MULT, int_t, name(j), name(j));
    EXPECT_FALSE(expr_is_affine_in_loop(square, loop));
    LOOP *copy = make_LOOP(nullptr, nullptr, 9, loop);
    EXPECT_EQ(numbers(copy->contents), numbers(loop->contents));
    EXPECT_NE(copy->ivs, loop->ivs);
    EXPECT_FALSE(copy->parent);
    erase_loop_and_subloops(copy);
    unbuild_loop_hierarchy();
    EXPECT_EQ(graph(), "1 (): i = 1; pragma; goto 2\n2 (2 1): j = i; if j 3 else 2\n3 (2): i = j; "
                       "goto 4\n4 (3): leave\n");
}

TEST_F(Loops, ValidatorSeesWhatIsWrong) {
    const struct {
        std::function<void(LOOP *)> damage;
        const char *complaint;
    } cases[] = {
        {[](LOOP *loop) { loop->level = 7; }, " ----- Loop 0 has inner loop 1 with wrong level\n"},
        {[](LOOP *loop) { loop->head = nullptr; }, " +++++ Loop 1 head is missing or invalid\n"},
        {[](LOOP *loop) { loop->tail = nullptr; }, " +++++ Loop 1 tail is missing or invalid\n"},
        {[](LOOP *loop) { loop->preheader = loop->tail; },
         " +++++ Loop 1 preheader is missing or invalid\n"},
        {[](LOOP *loop) { loop->exits->bb = loop->head; }, " +++++ Loop 1 has improper exit BB2\n"},
        {[](LOOP *loop) { loop->tail->loop = nullptr; },
         " ----- Loop 1 has body member BB3 with NULL <loop>\n"},
        {[](LOOP *loop) { loop->tail->loop = loop->parent; },
         " +++++ BB3 incorrectly thinks it's NOT in Loop 1\n"},
        {[](LOOP *loop) { loop->exits->bb->loop = loop; },
         " +++++ BB4 incorrectly thinks it's in Loop 1\n"},
        {[](LOOP *loop) { loop->tail = loop->head; },
         " +++++ Improper back edge from BB3 in loop #1 to BB2\n"},
    };
    for (const auto &one : cases) {
        build({set(i, 1), def(1), unless(i, 2), set(j, 1), jump(1), def(2), set(i, 2), leave()});
        build_minimal_loop_hierarchy();
        LOOP *loop = loop_root()->first_child;
        LOOP *const root = loop_root();
        log();
        one.damage(loop);
        validate_loop(root, 1);
        EXPECT_NE(log().find(one.complaint), std::string::npos) << one.complaint;
        erase_loop_and_subloops(root);
        for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink)
            bb->loop = nullptr;
    }
}
