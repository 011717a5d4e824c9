// The validator of the flow graph, message by message, and the dumps of blocks.
#include "tests/rep/cfg_fixture.h"

#include <functional>

class ValidateCfg : public CfgTest {
protected:
    void make() {
        build({unless(i, 1), set(i, 1), jump(2), def(1), set(j, 1), def(2), set(i, 2)});
        ASSERT_EQ(graph(), clean_graph);
        log();
    }
    static std::string summary(int corrected, int uncorrected) {
        std::string text = " ===== Corrected errors: " + std::to_string(corrected) +
                           ", Uncorrected errors: " + std::to_string(uncorrected) + "\n\n";
        if (corrected)
            text += "\n\n ----- " + std::to_string(corrected) + " Corrected CFG errors!!!";
        if (uncorrected)
            text += "\n\n +++++ " + std::to_string(uncorrected) + " Uncorrected CFG errors!!!";
        return text;
    }
    static EDGE *&successors(int dfn) { return block(dfn)->successors; }
    static EDGE *&predecessors(int dfn) { return block(dfn)->predecessors; }
    static void cut(int from, int to) {
        successors(from) = remove_edge(block(to), successors(from));
        predecessors(to) = remove_edge(block(from), predecessors(to));
    }
    static void connect(int from, int to) {
        successors(from) = mkedge(block(to), successors(from), -1.0);
        predecessors(to) = mkedge(block(from), predecessors(to), -1.0);
    }
    static void drop_last_statement(int dfn) {
        LIST *cell = block(dfn)->statements;
        while (cell->rest->rest)
            cell = cell->rest;
        cell->rest = erase_tree_list(cell->rest);
    }
    BBLK *add_stray(int after, int to) {
        LIST *stmt = mkelist(mk_BRANCH(block(to), nullptr), nullptr, nullptr);
        BBLK *bb = insert_new_bb(-1, block(after), stmt);
        bb->successors = mkedge(block(to), nullptr, -1.0);
        predecessors(to) = mkedge(bb, predecessors(to), -1.0);
        return bb;
    }

    static constexpr const char *clean_graph =
        "1 (): if i 2 else 3\n2 (1): i = 1; goto 4\n3 (1): j = 1; goto 4\n"
        "4 (3 2): i = 2; goto 5\n5 (4): leave\n";
};

TEST_F(ValidateCfg, ReportsWhatCannotBeMended) {
    FUNINFO *const other = make_FUNINFO("other");
    char owners[200];
    std::snprintf(owners, sizeof owners,
                  " +++++ BB2 has improper <owner>, found other (0x%p) expected f (0x%p)\n",
                  static_cast<void *>(other), static_cast<void *>(currfuninfo));
    const struct {
        const char *title;
        std::function<void()> damage;
        int errors;
        std::string complaints;
    } cases[] = {
        {"nothing wrong", [] {}, 0, ""},
        {"no blocks", [] { currfuninfo->bb_list = nullptr; }, 1,
         " +++++ currfuninfo->bb_list == NULL\n"},
        {"a way back to the entry block",
         [] {
             remap_labelrefs(last_statement(block(4)), block(5), block(1));
             cut(4, 5);
             connect(4, 1);
         },
         1, " +++++ Entry block BB1 has predecessors\n"},
        {"owner", [other] { block(2)->owner = other; }, 1, owners},
        {"no statements", [] { block(2)->statements = erase_tree_list(block(2)->statements); }, 1,
         " +++++ BB2 has no statement list\n"},
        {"a successor that is no target", [] { connect(2, 3); }, 1,
         " +++++ BB2 has bogus successor: BB3\n"},
        {"no branch", [] { drop_last_statement(2); }, 1, " +++++ BB2 has no ending branch\n"},
        {"a predecessor that does not lead here",
         [] { predecessors(2) = mkedge(block(3), predecessors(2), -1.0); }, 1,
         " +++++ BB3 precedes BB2 but BB2 doesn't succeed BB3\n"},
        {"a successor that does not know",
         [] { predecessors(4) = remove_edge(block(2), predecessors(4)); }, 1,
         " +++++ BB4 succeeds BB2 but BB2 doesn't precede BB4\n"},
        {"link backwards", [] { block(3)->rdflink = block(1); }, 1,
         " +++++ BB3 has improper <rdflink>\n"},
        {"a list that bites its tail", [] { block(4)->dflink = block(2); }, 2,
         " +++++ BB4 has improper <dflink>\n +++++ BB5 has improper <dflink>\n"},
        {"a block that the list leaves out",
         [] {
             block(2)->dflink = block(4);
             block(4)->rdflink = block(2);
         },
         1, " +++++ BB3 has improper <dflink>\n"},
        {"no statements and no predecessor",
         [] {
             block(2)->statements = erase_tree_list(block(2)->statements);
             predecessors(2) = erase_edge_list(predecessors(2));
         },
         2,
         " +++++ BB2 has no statement list\n"
         " +++++ BB2 succeeds BB1 but BB1 doesn't precede BB2\n"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.title);
        make();
        c.damage();
        EXPECT_EQ(validate_cfg(), c.errors);
        EXPECT_EQ(log(), "\n\n ===== Validating this CFG\n" + c.complaints + summary(0, c.errors));
    }
}

TEST_F(ValidateCfg, MendsWhatItCan) {
    const struct {
        const char *title;
        std::function<void()> damage;
        int errors;
        const char *complaints;
    } cases[] = {
        {"a target that is no successor", [] { cut(1, 3); }, 1,
         " ----- BB1's successors must include BB3\n"},
        {"no successors",
         [] {
             cut(1, 2);
             cut(1, 3);
         },
         2, " ----- BB1's successors must include BB3\n ----- BB1's successors must include BB2\n"},
        {"an unreachable block", [this] { add_stray(2, 5); }, 1,
         " ----- BB<5> cannot be reached from the entry block\n"},
        {"unreachable blocks that lead to each other",
         [this] {
             add_stray(2, 4);
             BBLK *one = add_stray(2, 5), *two = add_stray(3, 5);
             for (auto [from, to] : {std::pair{one, two}, {two, one}}) {
                 remap_labelrefs(last_statement(from), block(5), to);
                 from->successors->bb = to;
                 predecessors(5) = remove_edge(from, predecessors(5));
                 to->predecessors = mkedge(from, to->predecessors, -1.0);
             }
         },
         3,
         " ----- BB<6> cannot be reached from the entry block\n"
         " ----- BB<5> cannot be reached from the entry block\n"
         " ----- BB<7> cannot be reached from the entry block\n"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.title);
        make();
        c.damage();
        EXPECT_EQ(validate_cfg(), 0);
        EXPECT_EQ(log(), "\n\n ===== Validating this CFG\n" + std::string(c.complaints) +
                             summary(c.errors, 0));
        EXPECT_EQ(validate_cfg(), 0);
        EXPECT_EQ(log(), "\n\n ===== Validating this CFG\n" + summary(0, 0)) << "mended";
        rebuildcfg();
        EXPECT_EQ(graph(), clean_graph);
    }
}

TEST_F(ValidateCfg, TheExitBlockAndHandlersNeedNoWayThere) {
    build({def(1), set(i, 1), jump(1)});
    log();
    EXPECT_EQ(validate_cfg(), 0);
    EXPECT_EQ(log(), "\n\n ===== Validating this CFG\n" + summary(0, 0));
    erase_function_body(currfuninfo);
    currfuninfo->eht = new EHT_ENTRY[2];
    currfuninfo->eht_size = 2;
    I_CATCH_ENTRY clause;
    clause.lbl = mklabel(1, nullptr, nullptr);
    currfuninfo->eht[1].catches.push_back(clause);
    put({set(i, 1), leave(), def(1), set(j, 1)});
    buildcfg();
    log();
    EXPECT_EQ(validate_cfg(), 0);
    EXPECT_EQ(log(), "\n\n ===== Validating this CFG\n" + summary(0, 0));
}

TEST_F(ValidateCfg, DumpsBlocks) {
    make();
    BBLK *const bb = block(4);
    bb->dFreqIn = 3;
    bb->dFreqOut = 2.5;
    successors(4)->freq = 0.25;
    compute_dominators(false);
    log();
    dump_bblock(bb);
    EXPECT_EQ(log(), "\nBB4:  UON=4\n"
                     "\tDFLINK=BB5, RDFLINK=BB3, UOLINK=BB5\n"
                     "\tLABEL, INDEX=3, REFCOUNT=2, NAME=<NONE>\n"
                     "\tPREDECESSORS =  ( BB3 BB2 )\n"
                     "\tSUCCESSORS =  ( BB5 [0.250] )\n"
                     "\tDESCENDANTS =  ( BB5 )\n"
                     "\tStarts at: f.c\tline: 7  col 1\n"
                     "\tEnds at:   f.c\tline: 7  col 1\n"
                     "\tProfiling counts: entry=3.000,  exit=2.500\n"
                     "\t\ti = 2\n"
                     "\t\tgoto g4\n");
    EXPECT_EQ(bb_name(bb), "BB4");
    EXPECT_EQ(bb_name(nullptr), "<NONE>");
}

TEST_F(ValidateCfg, DumpsFunctions) {
    make();
    const auto dumped = [this](int first, int last, int with_trees) {
        log();
        prbbinfix(first, last, with_trees);
        std::string text = log(), found;
        for (int dfn = 1; dfn <= 5; ++dfn)
            if (text.find("\nBB" + std::to_string(dfn) + ":") != std::string::npos)
                found += std::to_string(dfn);
        return found + (text.find("ICON") != std::string::npos ? " trees" : "");
    };
    EXPECT_EQ(dumped(0, 0, 0), "12345");
    EXPECT_EQ(dumped(2, 3, 0), "23");
    EXPECT_EQ(dumped(4, 0, 1), "45 trees");
    print_debug = 0;
    EXPECT_EQ(dumped(0, 0, 0), "");
    print_debug = 1;
}
