// Dominators and post-dominators: known graphs, and random ones against the definition.
#include "tests/rep/cfg_fixture.h"

#include <gmock/gmock.h>

#include <random>
#include <set>
#include <sstream>

using ::testing::HasSubstr;

class Dominators : public CfgTest {
protected:
    using EDGES = std::vector<std::pair<int, int>>;

    // Blocks 1 to n; an edge is a pair of numbers. Block 1 is the entry, `exit` the exit block.
    void make(int n, const EDGES &edges, const std::vector<int> &handlers = {}, int exit = 0) {
        erase_function_body(currfuninfo);
        blocks.assign(static_cast<std::size_t>(n) + 1, nullptr);
        for (int k = n; k > 0; --k) {
            blocks[k] = mkbblock(nullptr, k < n ? blocks[k + 1] : nullptr, currfuninfo);
            blocks[k]->is_exit = k == exit;
        }
        currfuninfo->bb_list = blocks[1];
        std::set<std::pair<int, int>> known;
        for (auto edge = edges.rbegin(); edge != edges.rend(); ++edge) {
            if (!known.insert(*edge).second) continue;
            BBLK *from = blocks[edge->first], *to = blocks[edge->second];
            from->successors = mkedge(to, from->successors, -1.0);
            to->predecessors = mkedge(from, to->predecessors, -1.0);
        }
        if (!handlers.empty()) {
            currfuninfo->eht = new EHT_ENTRY[2];
            currfuninfo->eht_size = 2;
            for (int handler : handlers) {
                I_CATCH_ENTRY clause;
                clause.lbl = blocks[handler]->label = mklabel(0, nullptr, blocks[handler]);
                currfuninfo->eht[1].catches.push_back(clause);
            }
        }
        renumber_bblocks();
        compute_dominators(false);
    }
    static EDGES parse(const char *text) {
        EDGES edges;
        std::istringstream in(text);
        char arrow;
        for (int from, to; in >> from >> arrow >> to;)
            edges.emplace_back(from, to);
        return edges;
    }
    const Dominator &dom() { return *currfuninfo->dominator; }
    std::string parents(BBLK *(Dominator::*parent)(const BBLK *) const) {
        std::string list;
        for (std::size_t k = 1; k < blocks.size(); ++k) {
            const BBLK *above = (dom().*parent)(blocks[k]);
            list += (k == 1 ? "" : " ") + (above ? std::to_string(above->dfn) : "-");
        }
        return list;
    }
    static std::string list_of(const std::vector<BBLK *> &some) {
        std::string list;
        for (const BBLK *bb : some)
            list += (list.empty() ? "" : " ") + std::to_string(bb->dfn);
        return list;
    }

    // What the roots reach without going through `without`.
    std::vector<bool> reach(const std::vector<BBLK *> &roots, EDGE *BBLK::*onward,
                            const BBLK *without) {
        std::vector<bool> reached(blocks.size(), false);
        std::vector<BBLK *> work;
        const auto enter = [&](BBLK *bb) {
            if (bb == without || reached[bb->dfn]) return;
            reached[bb->dfn] = true;
            work.push_back(bb);
        };
        for (BBLK *root : roots)
            enter(root);
        while (!work.empty()) {
            BBLK *bb = work.back();
            work.pop_back();
            for (EDGE *edge = bb->*onward; edge; edge = edge->next)
                enter(edge->bb);
        }
        return reached;
    }
    // By the definition: all ways from the roots to `down` lead through `up`.
    void expect_definition(const std::vector<BBLK *> &roots, EDGE *BBLK::*onward,
                           bool (Dominator::*answer)(const BBLK *, const BBLK *) const,
                           BBLK *(Dominator::*parent)(const BBLK *) const,
                           BBLK *(Dominator::*meet)(const BBLK *, const BBLK *) const) {
        const int n = static_cast<int>(blocks.size()) - 1;
        const std::vector<bool> all = reach(roots, onward, nullptr);
        std::vector<std::vector<bool>> is_above(blocks.size(), std::vector<bool>(blocks.size()));
        for (int up = 1; up <= n; ++up) {
            const std::vector<bool> without = reach(roots, onward, blocks[up]);
            for (int down = 1; down <= n; ++down)
                is_above[up][down] = up == down || (all[up] && all[down] && !without[down]);
        }
        const auto depth = [&](int down) {
            int count = 0;
            for (int up = 1; up <= n; ++up)
                count += is_above[up][down];
            return count;
        };
        for (int up = 1; up <= n; ++up)
            for (int down = 1; down <= n; ++down) {
                ASSERT_EQ((dom().*answer)(blocks[up], blocks[down]), is_above[up][down])
                    << up << " " << down;
                int nearest = 0;
                for (int c = 1; c <= n; ++c)
                    if (all[up] && all[down] && is_above[c][up] && is_above[c][down] &&
                        (!nearest || depth(c) > depth(nearest)))
                        nearest = c;
                ASSERT_EQ((dom().*meet)(blocks[up], blocks[down]), blocks[nearest])
                    << up << " " << down;
            }
        for (int down = 1; down <= n; ++down) {
            int immediate = 0;
            for (int up = 1; up <= n; ++up)
                if (up != down && is_above[up][down] && (!immediate || is_above[immediate][up]))
                    immediate = up;
            ASSERT_EQ((dom().*parent)(blocks[down]), blocks[immediate]) << down;
        }
    }

    std::vector<BBLK *> blocks; // from 1
};

TEST_F(Dominators, KnownGraphs) {
    const struct {
        const char *title;
        int n;
        const char *edges;
        std::vector<int> handlers;
        const char *dominators, *post_dominators;
    } cases[] = {
        {"one block", 1, "", {}, "-", "-"},
        {"a line", 3, "1>2 2>3", {}, "- 1 2", "2 3 -"},
        {"a diamond", 4, "1>2 1>3 2>4 3>4", {}, "- 1 1 1", "4 4 4 -"},
        {"a loop", 4, "1>2 2>3 3>2 2>4", {}, "- 1 2 2", "2 4 2 -"},
        {"a block that leads to itself", 3, "1>2 2>2 2>3", {}, "- 1 2", "2 3 -"},
        {"no way out", 3, "1>2 1>3 2>2", {}, "- 1 1", "3 - -"},
        {"nothing leads out", 2, "1>2 2>1", {}, "- 1", "- -"},
        {"two ends", 4, "1>2 1>3 2>4", {}, "- 1 1 2", "- 4 - -"},
        {"an unreachable block", 4, "1>2 3>2 2>4", {}, "- 1 - 2", "2 4 2 -"},
        {"a handler", 4, "1>2 2>4 3>4", {3}, "- 1 - -", "2 4 4 -"},
        {"a handler that code leads to", 4, "1>2 2>3 3>4", {3}, "- 1 - 3", "2 3 4 -"},
        {"a jump into a loop", 5, "1>2 1>3 2>3 3>2 3>4 2>5 4>5", {}, "- 1 1 3 1", "5 5 5 5 -"},
        {"two irreducible loops",
         6,
         "1>2 1>3 2>4 3>5 3>6 4>5 5>4 5>6 6>5",
         {},
         "- 1 1 1 1 1",
         "- - - - - -"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.title);
        make(c.n, parse(c.edges), c.handlers);
        EXPECT_EQ(parents(&Dominator::immediate_dominator), c.dominators);
        EXPECT_EQ(parents(&Dominator::immediate_post_dominator), c.post_dominators);
    }
}

TEST_F(Dominators, TreesWalksAndNumbers) {
    make(6, parse("1>2 2>3 2>4 3>5 4>5 5>2 5>6"), {}, 6);
    // Children stand in reverse postorder: the last successor first.
    EXPECT_EQ(list_of(dom().depth_first_doms()), "1 2 4 3 5 6");
    EXPECT_EQ(list_of(dom().dominator_children(blocks[2])), "4 3 5");
    EXPECT_EQ(list_of(dom().dominator_children(blocks[6])), "");
    EXPECT_EQ(numbers(blocks[2]->descendants), "4 3 5");
    EXPECT_EQ(dom().depth_first_postdoms().front(), blocks[6]);
    EXPECT_EQ(list_of(dom().post_dominator_children(blocks[6])), "5");
    EXPECT_THAT(dom().post_dominator_children(blocks[5]),
                ::testing::UnorderedElementsAre(blocks[2], blocks[3], blocks[4]));
    EXPECT_EQ(blocks[6]->rdfn, 1);
    EXPECT_EQ(dom().DFSblock(4), blocks[4]);
    log();
    for (int wrong : {0, -1, 7, 1000}) {
        EXPECT_EQ(dom().DFSblock(wrong), nullptr);
        EXPECT_EQ(log(), " Error attempting to find BB with dfn=" + std::to_string(wrong) +
                             " (currfuninfo->bb_count=6)\n");
    }
    dom().print_IDOM();
    EXPECT_THAT(log(), HasSubstr("\tIDOM(BB5) = BB2\n"));
    dom().print_POSTDOM();
    EXPECT_THAT(log(), HasSubstr("\tPOSTDOM(BB5) = BB6\n"));
}

TEST_F(Dominators, AreRebuiltWhenEditedOrForced) {
    make(4, parse("1>2 1>3 2>4 3>4"), {}, 4);
    EXPECT_EQ(log(), " ==== Entering Dominator constructor ====\n"
                     " ==== Exiting Dominator constructor ====\n");
    EXPECT_TRUE(bb_dominates_bb(blocks[1], blocks[4]));
    EXPECT_TRUE(bb_post_dominates_bb(blocks[4], blocks[1]));
    EXPECT_EQ(find_dominator_bb(blocks[2], blocks[3]), blocks[1]);
    EXPECT_EQ(log(), "") << "nothing has changed";
    constexpr const char *rebuilt = " ==== Entering Dominator rebuild ====\n"
                                    " ==== Exiting Dominator rebuild ====\n";
    compute_dominators(true);
    EXPECT_EQ(log(), rebuilt);
    blocks[1]->successors = remove_edge(blocks[3], blocks[1]->successors);
    blocks[3]->predecessors = erase_edge_list(blocks[3]->predecessors);
    EXPECT_TRUE(bb_dominates_bb(blocks[2], blocks[4]));
    EXPECT_EQ(log(), " ==== Entering Dominator rebuild ====\n"
                     "**** >>>> WARNING: BB3 doesn't have a dominator\n"
                     " ==== Exiting Dominator rebuild ====\n");
    BBLK *fresh = insert_new_bb(-1, blocks[4], nullptr);
    EXPECT_FALSE(bb_dominates_bb(blocks[1], fresh)) << "not reached";
    EXPECT_TRUE(bb_dominates_bb(fresh, fresh));
}

TEST_F(Dominators, WarnOfBlocksWithoutOne) {
    make(5, parse("1>2 2>5 3>5 4>4 1>4"), {3}, 5);
    EXPECT_EQ(log(), " ==== Entering Dominator constructor ====\n"
                     "**** >>>> WARNING: BB4 doesn't have a postdominator\n"
                     "**** >>>> WARNING: BB5 doesn't have a dominator\n"
                     " ==== Exiting Dominator constructor ====\n");
}

TEST_F(Dominators, RandomGraphsMeetTheDefinition) {
    std::mt19937 random(20);
    const auto below = [&random](int n) { return static_cast<int>(random() % n); };
    for (int round = 0; round < 600 && !HasFailure(); ++round) {
        SCOPED_TRACE(round);
        const int n = 1 + below(14);
        EDGES edges;
        for (int k = below(2 * n + 1); k > 0; --k)
            edges.emplace_back(1 + below(n), 1 + below(n));
        std::vector<int> handlers;
        if (n > 3 && below(4) == 0) handlers.push_back(2 + below(n - 1));
        make(n, edges, handlers);
        std::vector<BBLK *> roots = {blocks[1]}, ends;
        for (int handler : handlers)
            roots.push_back(blocks[handler]);
        for (std::size_t k = 1; k < blocks.size(); ++k)
            if (!blocks[k]->successors) ends.push_back(blocks[k]);
        expect_definition(roots, &BBLK::successors, &Dominator::dominates,
                          &Dominator::immediate_dominator, &Dominator::intersect);
        expect_definition(ends, &BBLK::predecessors, &Dominator::post_dominates,
                          &Dominator::immediate_post_dominator, &Dominator::post_intersect);
    }
}

// A ladder, nested loops and a fan: shapes on which walking up block by block would take the square
// of the length.
TEST_F(Dominators, LongGraphs) {
    constexpr int n = 30000;
    EDGES ladder, nest;
    for (int k = 1; k < n; ++k) {
        ladder.emplace_back(k, k + 1);
        nest.emplace_back(k, k + 1);
        if (k < n - 1) ladder.emplace_back(k, n);
        if (k > n / 2) nest.emplace_back(k, n - k + 1);
    }
    make(n, ladder, {}, n);
    EXPECT_EQ(dom().immediate_dominator(blocks[n]), blocks[1]);
    EXPECT_EQ(dom().immediate_dominator(blocks[n - 1]), blocks[n - 2]);
    EXPECT_EQ(dom().immediate_post_dominator(blocks[1]), blocks[n]);
    make(n, nest, {}, n);
    EXPECT_TRUE(dom().dominates(blocks[2], blocks[n]));
    EXPECT_EQ(dom().immediate_dominator(blocks[n]), blocks[n - 1]);
    EXPECT_EQ(dom().immediate_post_dominator(blocks[1]), blocks[2]);
    // A line of blocks, each of which is entered from below by the one before.
    constexpr int length = 20000;
    EDGES entered = {{1, 2}, {1, length + 1}};
    for (int k = 2; k <= length + 1; ++k) {
        if (k > 2) entered.emplace_back(k, k - 1);
        entered.emplace_back(k, length + k);
        if (k <= length) entered.emplace_back(length + k, k + 1);
    }
    make(2 * length + 1, entered);
    for (int k : {2, 3, length / 2, length, length + 1})
        EXPECT_EQ(dom().immediate_dominator(blocks[k]), blocks[1]) << k;
    EXPECT_EQ(dom().immediate_dominator(blocks[length + 7]), blocks[7]);
}
