// Basic blocks from statement lists, edges, labels, numbering.
#include "tests/rep/cfg_fixture.h"

#include <gmock/gmock.h>

#include <functional>

using ::testing::ExitedWithCode;
using ::testing::HasSubstr;

class Buildcfg : public CfgTest {
protected:
    struct SHAPE {
        const char *title;
        STATEMENTS statements;
        const char *graph;
    };
    void expect_graph(const char *title, const STATEMENTS &statements, const char *expected) {
        SCOPED_TRACE(title);
        build(statements);
        EXPECT_EQ(graph(), expected);
        expect_sound();
        rebuildcfg();
        EXPECT_EQ(graph(), expected) << "built again";
        expect_sound();
    }
};
using Rebuildcfg = Buildcfg;
using Blocks = Buildcfg;
using Edges = Buildcfg;
using Splitting = Buildcfg;
using Labels = Buildcfg;
using BuildcfgDeath = Buildcfg;

TEST_F(Buildcfg, StraightLines) {
    expect_graph("empty", {}, "1 (): goto 2\n2 (1): leave\n");
    expect_graph("only labels", {def(1), def(2)}, "1 (): goto 2\n2 (1): leave\n");
    expect_graph("falls off the end", {set(i, 1), set(j, 2)},
                 "1 (): i = 1; j = 2; goto 2\n"
                 "2 (1): leave\n");
    expect_graph("leaves", {set(i, 1), leave()}, "1 (): i = 1; goto 2\n2 (1): leave\n");
    expect_graph("returns a value", {ret(icon(7))}, "1 (): return 7\n2 (): leave\n");
    expect_graph("dead code", {leave(), set(i, 1)}, "1 (): goto 2\n2 (1): leave\n");
}

TEST_F(Buildcfg, Branches) {
    expect_graph("if", {unless(i, 1), set(j, 1), def(1), set(j, 2)},
                 "1 (): if i 2 else 3\n"
                 "2 (1): j = 1; goto 3\n"
                 "3 (2 1): j = 2; goto 4\n"
                 "4 (3): leave\n");
    expect_graph("if else",
                 {unless(i, 1), set(j, 1), jump(2), def(1), set(j, 2), def(2), ret(name(j))},
                 "1 (): if i 2 else 3\n"
                 "2 (1): j = 1; goto 4\n"
                 "3 (1): j = 2; goto 4\n"
                 "4 (3 2): return j\n"
                 "5 (): leave\n");
    expect_graph("both arms to one block", {unless(i, 1), def(1), set(j, 1)},
                 "1 (): if i 2 else 2\n"
                 "2 (1): j = 1; goto 3\n"
                 "3 (2): leave\n");
    expect_graph("two labels on a block", {unless(i, 1), unless(j, 2), leave(), def(1), def(2)},
                 "1 (): if i 2 else 4\n"
                 "2 (1): if j 3 else 4\n"
                 "3 (2): goto 4\n"
                 "4 (3 2 1): leave\n");
}

TEST_F(Buildcfg, Loops) {
    expect_graph("while",
                 {set(i, 1), def(1), unless(i, 2), set(j, 1), jump(1), def(2), ret(name(j))},
                 "1 (): i = 1; goto 2\n"
                 "2 (3 1): if i 3 else 4\n"
                 "3 (2): j = 1; goto 2\n"
                 "4 (2): return j\n"
                 "5 (): leave\n");
    expect_graph("at the start of the function", {def(1), set(i, 1), unless(i, 2), jump(1), def(2)},
                 "1 (): goto 2\n"
                 "2 (3 1): i = 1; if i 3 else 4\n"
                 "3 (2): goto 2\n"
                 "4 (2): leave\n");
    expect_graph("the last statement", {set(j, 1), def(1), unless(i, 1)},
                 "1 (): j = 1; goto 2\n"
                 "2 (2 1): if i 3 else 2\n"
                 "3 (2): leave\n");
    expect_graph("without an end", {def(1), jump(1)},
                 "1 (): goto 2\n"
                 "2 (2 1): goto 2\n"
                 "3 (): leave\n");
}

TEST_F(Buildcfg, SwitchesEndInTheirOneDefault) {
    expect_graph("none: the next block", {switch_(i, {case_(1, 1)}), set(j, 1), def(1), set(j, 2)},
                 "1 (): switch i 1:3 *:2\n"
                 "2 (1): j = 1; goto 3\n"
                 "3 (2 1): j = 2; goto 4\n"
                 "4 (3): leave\n");
    expect_graph(
        "none: where the next block jumps",
        {switch_(i, {case_(1, 1), case_(2, 2)}), jump(2), def(1), set(j, 1), def(2), ret(name(j))},
        "1 (): switch i 1:2 2:3 *:3\n"
        "2 (1): j = 1; goto 3\n"
        "3 (2 1): return j\n"
        "4 (): leave\n");
    expect_graph("none: the end", {switch_(i, {case_(1, 1)}), def(1)},
                 "1 (): switch i 1:2 *:2\n"
                 "2 (1): leave\n");
    expect_graph("not the last",
                 {set(j, 0), switch_(i, {default_(1), case_(1, 2), case_(2, 1)}), def(1), set(j, 1),
                  def(2), ret(name(j))},
                 "1 (): j = 0; switch i 1:3 2:2 *:2\n"
                 "2 (1): j = 1; goto 3\n"
                 "3 (2 1): return j\n"
                 "4 (): leave\n");
    expect_graph("alone", {switch_(i, {default_(1)}), def(1), ret(name(j))},
                 "1 (): switch i *:2\n"
                 "2 (1): return j\n"
                 "3 (): leave\n");
}

TEST_F(Buildcfg, PrologStaysFirst) {
    const auto prolog = [this] { return asg(name(body_parm), name(parm)); };
    build({pragma(), pragma(), prolog(), set(i, 1)});
    EXPECT_EQ(graph(), "1 (): n = n; pragma; pragma; i = 1; goto 2\n2 (1): leave\n");
    ASSERT_TRUE(currfuninfo->prolog_copy);
    const NODE *first = currfuninfo->bb_list->statements->first;
    EXPECT_NE(currfuninfo->prolog_copy, first);
    EXPECT_TRUE(trees_are_congruent_se_ok(currfuninfo->prolog_copy, first));
    build({set(i, 1), pragma(), prolog()});
    EXPECT_EQ(graph(), "1 (): i = 1; pragma; n = n; goto 2\n2 (1): leave\n");
    EXPECT_FALSE(currfuninfo->prolog_copy);
}

TEST_F(Buildcfg, HandlersAreRoots) {
    const auto build_with_handler = [](const STATEMENTS &statements, int label) {
        erase_function_body(currfuninfo);
        put(statements);
        currfuninfo->eht = new EHT_ENTRY[2];
        currfuninfo->eht_size = 2;
        currfuninfo->eht[1].catches.resize(2);
        for (I_CATCH_ENTRY &clause : currfuninfo->eht[1].catches)
            clause.lbl = find_label(label);
        buildcfg();
    };
    build_with_handler(
        {set(i, 1), leave(), def(5), set(j, 1), jump(6), def(7), set(j, 2), def(6), set(i, 2)}, 5);
    const char *expected = "1 (): i = 1; goto 4\n"
                           "2 (): j = 1; goto 3\n"
                           "3 (2): i = 2; goto 4\n"
                           "4 (3 1): leave\n";
    EXPECT_EQ(graph(), expected);
    EXPECT_EQ(handler_blocks(currfuninfo), std::vector<BBLK *>{block(2)});
    EXPECT_EQ(block(2)->label->refcount, 2);
    expect_sound();
    rebuildcfg();
    EXPECT_EQ(graph(), expected);
    // A handler is not the entry block.
    build_with_handler({def(5), set(i, 1)}, 5);
    EXPECT_EQ(graph(), "1 (): goto 2\n2 (1): i = 1; goto 3\n3 (2): leave\n");
    EXPECT_EQ(handler_blocks(currfuninfo), std::vector<BBLK *>{block(2)});
}

TEST_F(Buildcfg, LargeFunctions) {
    constexpr int count = 100000;
    STATEMENTS statements;
    for (int n = 0; n < count; ++n)
        statements.push_back(unless(i, 1));
    statements.push_back(def(1));
    build(statements);
    EXPECT_EQ(currfuninfo->bb_count, count + 1);
    EXPECT_EQ(edge_length(currfuninfo->exit_bb->predecessors), count);
    split_critical_edges(true);
    EXPECT_EQ(currfuninfo->bb_count, 2 * count); // the last IF has one target
    EXPECT_EQ(edge_length(currfuninfo->exit_bb->predecessors), count);
    // One block with as many targets.
    constexpr int cases = 9000;
    statements.assign(1, nullptr);
    STATEMENTS list;
    for (int n = 1; n <= cases; ++n) {
        list.push_back(case_(n, n));
        statements.push_back(def(n));
        statements.push_back(set(j, n));
    }
    statements[0] = switch_(i, list);
    build(statements);
    EXPECT_EQ(currfuninfo->bb_count, cases + 2);
    EXPECT_EQ(edge_length(currfuninfo->bb_list->successors), cases);
}

TEST_F(Rebuildcfg, FollowsTheStatements) {
    build({unless(i, 1), set(j, 1), jump(2), def(1), set(j, 2), def(2), ret(name(j))});
    LIST *last = last_cell(block(1)->statements);
    erase_tree(last->first);
    last->first = mk_BRANCH(block(3), nullptr);
    log();
    rebuildcfg();
    EXPECT_THAT(log(), HasSubstr("\nUNREACHABLE BASIC BLOCK: UON==2\n"));
    EXPECT_EQ(graph(), "1 (): goto 2\n"
                       "2 (1): j = 2; goto 3\n"
                       "3 (2): return j\n"
                       "4 (): leave\n");
    expect_sound();
}

TEST_F(Rebuildcfg, KeepsFrequencies) {
    build({unless(i, 1), set(j, 1), def(1)});
    for (EDGE *edge = block(1)->successors; edge; edge = edge->next)
        edge->freq = edge->bb->is_exit ? 0.25 : 0.75;
    rebuildcfg();
    for (const EDGE *edge = block(1)->successors; edge; edge = edge->next)
        EXPECT_EQ(edge->freq, edge->bb->is_exit ? 0.25 : 0.75);
    EXPECT_EQ(block(2)->predecessors->freq, 0.75);
    EXPECT_EQ(block(2)->successors->freq, -1.0);
}

TEST_F(Rebuildcfg, KeepsTheCopyOfThePrologUntilThereIsAnother) {
    build({asg(name(body_parm), name(parm)), set(i, 1)});
    const std::string prolog = infix(currfuninfo->prolog_copy);
    LIST *&first = currfuninfo->bb_list->statements, *taken = first;
    first = first->rest;
    rebuildcfg();
    ASSERT_TRUE(currfuninfo->prolog_copy);
    EXPECT_EQ(infix(currfuninfo->prolog_copy), prolog);
    taken->first->left->u.name.sym = i;
    taken->rest = first;
    first = taken;
    rebuildcfg();
    EXPECT_EQ(infix(currfuninfo->prolog_copy), "i = n");
}

TEST_F(Rebuildcfg, RefreshesTheProfileOfTheNewGraph) {
    static int predecessors, dfn;
    predecessors = dfn = 0;
    refresh_profile_hook = [] {
        predecessors = edge_length(currfuninfo->exit_bb->predecessors);
        dfn = currfuninfo->exit_bb->dfn;
    };
    build({unless(i, 1), set(i, 1), def(1)});
    EXPECT_EQ(predecessors, 2);
    EXPECT_EQ(dfn, 3);
}

TEST_F(Blocks, PositionsOfStatements) {
    LIST *list = mkelist(set(i, 1), nullptr, nullptr);
    list = mkelist(set(i, 2), list, mk_psn("f.c", 4, 1));
    list = mkelist(set(i, 3), list, mk_psn("f.c", 3, 1));
    list = mkelist(set(i, 4), list, nullptr);
    currfuninfo->dominator_is_stale = false;
    BBLK *bb = mkbblock(list, nullptr, currfuninfo);
    EXPECT_EQ(bb->psn_first->line, 3u);
    EXPECT_EQ(bb->psn_last->line, 4u);
    EXPECT_TRUE(currfuninfo->dominator_is_stale);
    erase_tree_list(std::exchange(bb->statements->rest->rest, nullptr));
    find_positions(bb);
    EXPECT_EQ(bb->psn_first->line, 3u);
    EXPECT_EQ(bb->psn_last->line, 3u);
    bb->statements = erase_tree_list(bb->statements);
    find_positions(bb);
    EXPECT_FALSE(bb->psn_first || bb->psn_last);
}

TEST_F(Blocks, InsertedEverywhereInAllOrders) {
    for (int after : {1, 2, 3}) {
        build({set(i, 1), def(1), unless(i, 1)});
        BBLK *before = block(after), *behind = before->dflink;
        static int cleared;
        cleared = 0;
        clear_points_to_hook = [] { ++cleared; };
        BBLK *bb =
            insert_new_bb(-1, before, mkelist(mk_BRANCH(block(3), nullptr), nullptr, nullptr));
        EXPECT_EQ(cleared, 1);
        EXPECT_EQ(before->dflink, bb);
        EXPECT_EQ(before->uolink, bb);
        EXPECT_EQ(bb->rdflink, before);
        EXPECT_EQ(bb->dflink, behind);
        EXPECT_EQ(bb->uolink, behind);
        EXPECT_TRUE(!behind || behind->rdflink == bb);
        EXPECT_EQ(bb->uon, -1);
        ASSERT_TRUE(bb->label);
        EXPECT_EQ(bb->label->bb, bb);
        EXPECT_EQ(currfuninfo->bb_list, block(1));
        delink_old_bb(bb);
        EXPECT_EQ(before->dflink, behind);
        EXPECT_EQ(before->uolink, behind);
        EXPECT_FALSE(bb->dflink || bb->rdflink || bb->uolink || bb->ruolink);
        LBL *label = bb->label;
        erase_bblock(bb);
        EXPECT_FALSE(label->bb);
        renumber_bblocks();
        rebuildcfg();
        expect_sound();
    }
}

TEST_F(Blocks, RenumberingCountsFromTheFirstOneMade) {
    build({set(i, 1)});
    BBLK *entry = block(1);
    BBLK *bb = mkbblock(mkelist(mk_BRANCH(entry, nullptr), nullptr, nullptr), entry, currfuninfo);
    renumber_bblocks();
    EXPECT_EQ(bb->uon, 1);
    EXPECT_EQ(entry->uon, 2);
    EXPECT_EQ(currfuninfo->exit_bb->uon, 3);
}

TEST_F(Blocks, RenumberingFindsFunctionsThatNeverReturn) {
    const struct {
        STATEMENTS statements;
        bool never;
    } cases[] = {
        {{def(1), jump(1)}, true}, // its exit block stays, unreached
        {{set(i, 1)}, false},
        {{def(1), unless(i, 1)}, false},
        {{unless(i, 2), def(1), jump(1), def(2), ret(name(i))}, false},
    };
    for (const auto &c : cases) {
        build(c.statements);
        currfuninfo->flags = FUN_is_pure_fun;
        renumber_bblocks();
        EXPECT_EQ(currfuninfo->flags, c.never ? FUN_never_returns : FUN_is_pure_fun) << graph();
        expect_sound();
    }
}

TEST_F(Edges, NoneTwice) {
    build({unless(i, 1), set(j, 1), def(1)});
    EDGE *list = add_edge(block(1), nullptr, 0.5);
    list = add_edge(block(2), list, -1.0);
    EXPECT_EQ(numbers(list), "2 1");
    EXPECT_EQ(add_edge(block(1), list, 0.75), list);
    EXPECT_EQ(numbers(list), "2 1");
    EXPECT_EQ(list->next->freq, 0.5);
    EDGE *copy = copy_edge_list(list);
    list = remove_edge(block(3), list);
    list = remove_edge(block(2), list);
    EXPECT_EQ(numbers(list), "1");
    list = remove_edge(block(1), list);
    EXPECT_FALSE(list);
    EXPECT_EQ(numbers(copy), "2 1");
    EXPECT_EQ(copy->next->freq, 0.5);
    EXPECT_EQ(edge_length(copy), 2);
    copy = rev_edge_list(copy);
    EXPECT_EQ(numbers(copy), "1 2");
    EXPECT_EQ(copy->freq, 0.5);
    EXPECT_FALSE(erase_edge_list(copy));
}

TEST_F(Edges, SortedByNumberWithTheirFrequencies) {
    STATEMENTS statements;
    for (int n = 1; n <= 60; ++n)
        statements.push_back(def(n)), statements.push_back(unless(i, n));
    build(statements);
    std::string ascending;
    for (int n = 1; n <= 61; ++n)
        ascending += (n > 1 ? " " : "") + std::to_string(n);
    for (const auto sort : {sort_edge_list, fast_sort_edge_list}) {
        EDGE *list = nullptr;
        for (int n = 0; n < 61; ++n) {
            const int dfn = n * 25 % 61 + 1; // all, in disorder
            list = mkedge(block(dfn), list, dfn);
        }
        list = sort(list);
        EXPECT_EQ(numbers(list), ascending);
        for (const EDGE *edge = list; edge; edge = edge->next)
            EXPECT_EQ(edge->freq, edge->bb->dfn);
        erase_edge_list(list);
        // Equal numbers keep their order.
        list = mkedge(block(2), mkedge(block(1), mkedge(block(2), nullptr, 0.5), 0.25), 0.75);
        list = sort(list);
        EXPECT_EQ(numbers(list), "1 2 2");
        EXPECT_EQ(list->next->freq, 0.75);
        erase_edge_list(list);
        EXPECT_FALSE(sort(nullptr));
    }
}

TEST_F(Edges, FixedUpForAnotherBranch) {
    build({unless(i, 1), set(j, 1), def(1), set(j, 2), leave()});
    BBLK *first = block(1);
    for (EDGE *edge = first->successors; edge; edge = edge->next)
        if (edge->bb == block(3)) edge->freq = 0.5;
    LIST *last = last_cell(first->statements);
    erase_tree(last->first);
    last->first = mk_BRANCH(block(3), nullptr);
    fixup_edge_lists(first, last->first);
    EXPECT_EQ(numbers(first->successors), "3");
    EXPECT_EQ(first->successors->freq, 0.5);
    EXPECT_EQ(numbers(block(2)->predecessors), "");
    EXPECT_EQ(numbers(block(3)->predecessors), "2 1");
    erase_tree(last->first);
    last->first = mk_BRANCH(block(4), nullptr);
    fixup_edge_lists(first, last->first);
    EXPECT_EQ(numbers(first->successors), "4");
    EXPECT_EQ(numbers(block(3)->predecessors), "2");
    EXPECT_EQ(numbers(block(4)->predecessors), "1 3");
}

TEST_F(Edges, LabelsPutFromBlockToBlock) {
    build({switch_(i, {case_(1, 1), case_(2, 2), case_(3, 1), default_(1)}), def(1), set(j, 1),
           def(2), ret(name(j))});
    NODE *stmt = last_statement(block(1));
    remap_labelrefs(stmt, block(2), block(4));
    EXPECT_EQ(text(stmt), "switch i 1:4 2:3 3:4 *:4");
    subst_bb_for_bb_in_stmts(block(2), block(4), block(1)->statements);
    EXPECT_EQ(text(stmt), "switch i 1:2 2:3 3:2 *:2");
}

TEST_F(Splitting, OneEdge) {
    build({unless(i, 1), set(j, 1), def(1), ret(name(j))});
    BBLK *from = block(1), *to = block(3);
    from->successors->freq = to->predecessors->next->freq = 0.5;
    ASSERT_EQ(from->successors->bb, to);
    BBLK *middle = split_cfg_edge(from, to);
    EXPECT_EQ(edge_length(from->successors), 2);
    EXPECT_EQ(edge_length(to->predecessors), 2);
    EXPECT_EQ(middle->successors->freq, 0.5);
    EXPECT_EQ(middle->uon, -1);
    renumber_bblocks();
    expect_sound();
    EXPECT_EQ(graph(), "1 (): if i 3 else 2\n"
                       "2 (1): goto 4\n"
                       "3 (1): j = 1; goto 4\n"
                       "4 (3 2): return j\n"
                       "5 (): leave\n");
}

TEST_F(Splitting, LowLevelFormTakesPart) {
    build({unless(i, 1), set(j, 1), def(1), ret(name(j))});
    static std::vector<BBLK *> seen;
    seen.clear();
    split_lir_edge_hook = [](BBLK *from, BBLK *middle, BBLK *to) { seen = {from, middle, to}; };
    BBLK *from = block(1), *to = block(3);
    int instruction = 0;
    from->lir_head = &instruction;
    BBLK *middle = split_cfg_edge(from, to);
    EXPECT_EQ(seen, (std::vector<BBLK *>{from, middle, to}));
    EXPECT_FALSE(middle->statements);
    EXPECT_EQ(text(last_statement(from)), "if i 2 else 3"); // trees are the hook's affair
    split_lir_edge_hook = nullptr;
}

TEST_F(Splitting, CriticalEdges) {
    build({def(1), set(j, 1), unless(i, 1), unless(j, 2), set(i, 1), def(2), ret(name(j))});
    EXPECT_EQ(graph(), "1 (): goto 2\n"
                       "2 (2 1): j = 1; if i 3 else 2\n"
                       "3 (2): if j 4 else 5\n"
                       "4 (3): i = 1; goto 5\n"
                       "5 (4 3): return j\n"
                       "6 (): leave\n");
    split_critical_edges(false);
    for (BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink)
        EXPECT_EQ(bb->uon == -1, bb->dfn == 0);
    split_critical_edges(true); // nothing left
    renumber_bblocks();
    expect_sound();
    EXPECT_EQ(graph(), "1 (): goto 2\n"
                       "2 (3 1): j = 1; if i 4 else 3\n"
                       "3 (2): goto 2\n"
                       "4 (2): if j 6 else 5\n"
                       "5 (4): goto 7\n"
                       "6 (4): i = 1; goto 7\n"
                       "7 (6 5): return j\n"
                       "8 (): leave\n");
}

TEST_F(Splitting, CriticalEdgesOfOneSwitch) {
    const auto middles = [this](int n) {
        STATEMENTS cases, list;
        for (int k = 1; k <= n; ++k) {
            cases.push_back(case_(k, k));
            cases.push_back(case_(n + k, k));
        }
        cases.push_back(default_(n));
        list.push_back(switch_(i, cases));
        for (int k = 1; k <= n; ++k) {
            list.push_back(def(k));
            list.push_back(set(j, k));
        }
        build(list);
        for (EDGE *edge = block(1)->successors; edge; edge = edge->next)
            edge->freq = edge->bb->dfn;
        split_critical_edges(false);
    };
    middles(3);
    for (const EDGE *edge = block(1)->successors; edge; edge = edge->next) {
        const BBLK *to = edge->bb->uon == -1 ? edge->bb->successors->bb : edge->bb;
        EXPECT_EQ(edge->bb->uon == -1, to->dfn > 2) << "the first case has one way there";
        EXPECT_EQ(edge->freq, to->dfn);
        if (edge->bb == to) continue;
        EXPECT_EQ(edge->bb->successors->freq, to->dfn);
        EXPECT_EQ(edge->bb->predecessors->freq, to->dfn);
        EXPECT_EQ(edge->bb->predecessors->bb, block(1));
        EXPECT_TRUE(edge_memberp(edge->bb, to->predecessors));
        EXPECT_FALSE(edge_memberp(block(1), to->predecessors));
    }
    renumber_bblocks();
    expect_sound();
    EXPECT_EQ(graph(), "1 (): switch i 1:4 4:4 2:3 5:3 3:2 6:2 *:2\n"
                       "2 (1): goto 6\n"
                       "3 (1): goto 5\n"
                       "4 (1): j = 1; goto 5\n"
                       "5 (4 3): j = 2; goto 6\n"
                       "6 (5 2): j = 3; goto 7\n"
                       "7 (6): leave\n");
    constexpr int many = 30000;
    middles(many);
    renumber_bblocks();
    EXPECT_EQ(currfuninfo->bb_count, 2 * many + 1);
}

TEST_F(Labels, NumberedInTheOrderOfBlocks) {
    build({unless(i, 70), set(j, 1), def(90), unless(j, 90), def(70), set(j, 3)});
    std::vector<std::pair<int, int>> labels; // block, number
    for (const BBLK *bb = currfuninfo->bb_list; bb; bb = bb->dflink)
        if (bb->label) labels.emplace_back(bb->dfn, bb->label->index);
    EXPECT_EQ(graph(), "1 (): if i 2 else 4\n"
                       "2 (1): j = 1; goto 3\n"
                       "3 (3 2): if j 4 else 3\n"
                       "4 (3 1): j = 3; goto 5\n"
                       "5 (4): leave\n");
    EXPECT_EQ(labels, (std::vector<std::pair<int, int>>{{2, 1}, {3, 2}, {4, 3}, {5, 4}}));
    EXPECT_EQ(block(3)->label->refcount, 2);
    EXPECT_EQ(find_label(3), block(4)->label);
}

TEST_F(Labels, NewNumbersAreNegativeAndRepeat) {
    build({});
    LBL *exit = currfuninfo->exit_bb->label;
    build({ret(icon(1))});
    EXPECT_EQ(currfuninfo->exit_bb->label->index, -1);
    for (int number = -2; number >= -30000; --number)
        ASSERT_EQ(mklabel(0, nullptr, nullptr)->index, number);
    LBL *label = mklabel(0, nullptr, nullptr);
    EXPECT_EQ(label->index, -1);
    EXPECT_NE(label, exit);
    EXPECT_NE(label, currfuninfo->exit_bb->label);
    EXPECT_EQ(mklabel(12, nullptr, nullptr), mklabel(12, nullptr, nullptr));
    EXPECT_EQ(find_label(12)->index, 12);
    // Another function counts from the start, and knows nothing of these.
    FUNINFO *own = currfuninfo;
    currfuninfo = make_FUNINFO("h");
    EXPECT_EQ(mklabel(0, nullptr, nullptr)->index, -1);
    LBL *other = mklabel(12, nullptr, nullptr);
    currfuninfo = own;
    EXPECT_NE(mklabel(12, nullptr, nullptr), other);
}

TEST_F(Labels, LeadToBlocksByNumberUntilResolved) {
    build({unless(i, 1), set(j, 1), def(1)});
    NODE *reference = label(block(2)->label->index);
    EXPECT_EQ(label_block(reference), block(2));
    EXPECT_EQ(reference->u.label.lbl, block(2)->label);
    erase_tree(reference);
}

TEST_F(BuildcfgDeath, BadLabels) {
    const struct {
        std::function<void()> failure;
        const char *message;
    } cases[] = {
        {[this] { build({jump(1)}); }, "Label 1 of function \"f\" is not defined"},
        {[this] { build({unless(i, 7)}); }, "Label 7 of function \"f\" is not defined"},
        {[this] {
             build({leave(), jump(3)});
         },
         "Label 3 of function \"f\" is not defined"},
        {[this] {
             build({switch_(i, {case_(1, 4), default_(5)}), def(4)});
         },
         "Label 5 of function \"f\" is not defined"},
        {[this] {
             build({def(1), set(i, 1), def(1)});
         },
         "Label 1 of function \"f\" is defined twice"},
        {[this] { build({jump(0)}); }, "Label 0 of function \"f\" is out of range"},
        {[this] { build({jump(-1)}); }, "Label -1 of function \"f\" is out of range"},
        {[this] { build({def(-2147483647)}); }, "Label -2147483647 .* is out of range"},
        {[this] {
             build({asg(name(i), label(1)), def(1)});
         },
         "Label 1 of function \"f\" stands outside a jump"},
        {[this] {
             build({ret(label(1)), def(1)});
         },
         "stands outside a jump"},
        {[this] {
             build({def(1), switch_(i, {default_(1), case_(1, 1), default_(1)})});
         },
         "Function \"f\" of the intermediate file: a SWITCH has several DEFAULTs"},
        {[this] {
             put({set(i, 1)});
             currfuninfo->eht = new EHT_ENTRY[2];
             currfuninfo->eht_size = 2;
             currfuninfo->eht[1].catches.resize(1);
             currfuninfo->eht[1].catches[0].lbl = mklabel(9, nullptr, nullptr);
             buildcfg();
         },
         "Label 9 of function \"f\" is not defined"},
        {[] { find_label(77); },
         "!!! COMPILER \\(OPTIMIZER\\) ERROR IN 'find_label', INDEX=77 !!!"},
    };
    for (const auto &c : cases)
        EXPECT_EXIT(c.failure(), ExitedWithCode(1), c.message);
}

TEST_F(BuildcfgDeath, LabelOfAnErasedBlock) {
    build({unless(i, 1), set(j, 1), def(1)});
    BBLK *second = block(2);
    const auto failure = [second] {
        erase_bblock(second);
        rebuildcfg();
    };
    EXPECT_EXIT(failure(), ExitedWithCode(1), "Label 1 of function \"f\" is not defined");
}
