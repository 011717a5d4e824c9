// Dead assignments and delayed ones: small functions before and after, run both times.
#include "tests/scalar/function_machine.h"

#include <gmock/gmock.h>

namespace {
using ::testing::HasSubstr;

class DeadAssigns : public ScalarPassTest {
protected:
    NODE *step(SYMTAB *sym) { return tree(OP::PLUSPLUS, int_t, name(sym), icon(1)); }
};

TEST_F(DeadAssigns, Table) {
    const struct {
        const char *title;
        STATEMENTS statements;
        const char *expected;
    } cases[] = {
        {"never read", {set(i, 1), leave()}, "1 (): leave\n"},
        {"overwritten", {set(i, 1), set(i, 2), print(i), leave()}, "1 (): i = 2; _g(i); leave\n"},
        {"overwritten by what reads it",
         {set(i, 1), asg(name(i), plus(i, 1)), print(i), leave()},
         "1 (): i = 1; i = i + 1; _g(i); leave\n"},
        {"a chain that leads nowhere",
         {copy(i, G), asg(name(j), plus(i, 1)), asg(name(k), plus(j, 1)), leave()},
         "1 (): leave\n"},
        {"a counter that nobody reads, around a loop",
         {set(i, 0), def(1), asg(name(i), plus(i, 1)), unless(G, 1), leave()},
         "1 (): goto 2\n2 (2 1): if _G 3 else 2\n3 (2): leave\n"},
        {"read in the next round",
         {set(i, 0), def(1), print(i), set(i, 5), unless(G, 1), leave()},
         "1 (): i = 0; goto 2\n2 (2 1): _g(i); i = 5; if _G 3 else 2\n3 (2): leave\n"},
        {"wanted on one way",
         {set(i, 1), unless(G, 1), set(i, 2), leave(), def(1), print(i), leave()},
         "1 (): i = 1; if _G 2 else 3\n2 (1): goto 4\n3 (1): _g(i); goto 4\n4 (3 2): leave\n"},
        {"effects stay",
         {set_to(i, print(G)), set_to(j, plus(print(H), icon(1))), leave()},
         "1 (): _g(_G); _g(_H); leave\n"},
        {"steps and compounds",
         {set(i, 1), step(i), tree(OP::PLUSASG, int_t, name(i), icon(3)), leave()},
         "1 (): leave\n"},
        {"below the root",
         {set(i, 1), print(step(i)), print(asg(name(j), icon(4))), leave()},
         "1 (): i = 1; _g(i); _g(4); leave\n"},
        {"read in the same statement",
         {set(i, 1), print(plus(asg(name(i), icon(2)), name(i))), leave()},
         "1 (): i = 1; _g((i = 2) + i); leave\n"},
        {"volatile, and known to others",
         {set(vol, 1), set(G, 2), set_to(p, address(name(i))), print(name(p)), set(i, 3), leave()},
         nullptr},
        {"parts of a structure that nobody reads",
         {asg(dot(s), icon(1)), leave()},
         "1 (): leave\n"},
        {"and of one that somebody reads",
         {asg(dot(s), icon(1)), print(dot(s)), asg(dot(s), icon(2)), leave()},
         "1 (): s.f = 1; _g(s.f); leave\n"},
        {"an array that is only stored into",
         {asg(element(a, icon(1)), icon(7)), asg(element(a, print(G)), print(H)), leave()},
         "1 (): _g(_G), _g(_H); leave\n"},
        {"the prolog stays", {prolog(), leave()}, "1 (): n = n; leave\n"},
    };
    for (const auto &one : cases) {
        SCOPED_TRACE(one.title);
        const std::string text = after(one.statements, [] { elim_dead_assigns(false, true); });
        if (one.expected) {
            EXPECT_EQ(text, one.expected);
        } else {
            for (const char *kept : {"vol = 1", "_G = 2", "_g(p)"})
                EXPECT_THAT(text, HasSubstr(kept));
        }
    }
    EXPECT_THAT(log(), HasSubstr("---------- ENTERING 'elim_dead_assigns' ----------\n"));
}

TEST_F(DeadAssigns, ArraysThatAreReadStay) {
    for (NODE *reader : {print(element(a, icon(1))), print(address(element(a, icon(2)))),
                         asg(element(a, element(a, icon(1))), icon(3))}) {
        const std::string text = after({asg(element(a, icon(1)), icon(7)), reader, leave()},
                                       [] { elim_dead_assigns(false, true); });
        EXPECT_THAT(text, HasSubstr("= 7"));
    }
}

// Loops that count and do nothing else, which the limit lets end or not.
TEST_F(DeadAssigns, EmptyLoops) {
    const auto empty_loop = [this](int begin, int step, int relation, int limit) -> STATEMENTS {
        return {set(i, begin),
                def(1),
                tree(OP::PLUSASG, int_t, name(i), icon(step)),
                unless_tree(op(relation, name(i), icon(limit)), 1),
                print(G),
                leave()};
    };
    const struct {
        int begin, step, relation, limit; // to leave the loop
        bool ends;
    } cases[] = {
        {0, 1, OP::GT, 9, true},
        {9, -1, OP::LT, 1, true},
        {0, 3, OP::EQ, 9, true},
        {0, 2, OP::EQ, 9, false},
        {0, 2, OP::NEQ, 2, true},
        {5, 1, OP::GT, 0x7ffffffe, true},
        {5, 4, OP::GT, 0x7ffffffd, false},
        {5, 4, OP::GT, 100, true},
        {1, -4, OP::LT, -0x7ffffffe, false},
    };
    for (const auto &one : cases) {
        SCOPED_TRACE(std::to_string(one.step) + " " + std::to_string(one.limit));
        if (!is_listed(i)) enter(i);
        build(empty_loop(one.begin, one.step, one.relation, one.limit));
        simpcfg(false, false);
        elim_dead_assigns(false, true);
        EXPECT_EQ(code() == "1 (): _g(_G); leave\n", one.ends) << code();
    }
    const STATEMENTS wanted[] = {
        {set(i, 0), set(j, 1), def(1), asg(name(j), plus(name(j), name(i))),
         tree(OP::PLUSASG, int_t, name(i), icon(1)), unless_tree(op(OP::GT, name(i), icon(4)), 1),
         ret(name(j))},
        {set(i, 0), def(1), tree(OP::PLUSASG, int_t, name(i), icon(1)),
         unless_tree(op(OP::GT, name(i), icon(4)), 1), ret(name(i))},
        {set(i, 0), def(1), copy(k, vol), tree(OP::PLUSASG, int_t, name(i), icon(1)),
         unless_tree(op(OP::GT, name(i), icon(4)), 1), leave()}};
    for (const STATEMENTS &statements : wanted)
        EXPECT_THAT(after(statements, [] { elim_dead_assigns(false, true); }),
                    HasSubstr("if i > 4"));
    // One in another one, with a sum that only they want.
    EXPECT_EQ(after({set(i, 0), set(k, 0), def(1), set(j, 0), def(2),
                     asg(name(k), plus(name(k), name(j))), asg(name(j), plus(j, 1)),
                     unless_tree(op(OP::GT, name(j), icon(2)), 2), asg(name(i), plus(i, 1)),
                     unless_tree(op(OP::GT, name(i), icon(4)), 1), print(G), leave()},
                    [] { elim_dead_assigns(false, true); }),
              "1 (): _g(_G); leave\n");
}

TEST_F(DeadAssigns, ListAndHandlers) {
    build({set(i, 1), print(G), leave()});
    simpcfg(false, false);
    currfuninfo->eht = new EHT_ENTRY[2];
    currfuninfo->eht_size = 2;
    currfuninfo->eht[1].cleanup = print(i);
    elim_dead_assigns(false, true);
    EXPECT_EQ(code(), "1 (): i = 1; _g(_G); leave\n");
    EXPECT_TRUE(is_listed(i));
    EXPECT_FALSE(is_listed(j));
    EXPECT_THAT(log(), HasSubstr("'j'\n"));
}

// Moves the source of an assignment to the one place where its variable is read.
TEST_F(DeadAssigns, Delay) {
    SYMTAB *narrow = local("narrow", tp->mk_ptr(short_t));
    const struct {
        const char *title;
        STATEMENTS statements;
        const char *expected;
    } cases[] = {
        {"to its use",
         {set_to(i, plus(G, 1)), set_to(j, plus(H, 2)), ret(plus(name(i), name(j)))},
         "1 (): return _G + _H + 3\n"},
        {"through another one",
         {set_to(i, plus(G, 1)), set_to(j, plus(i, 2)), set(H, 3), ret(name(j))},
         "1 (): _H = 3; return _G + 3\n"},
        {"not behind a change",
         {set_to(i, plus(G, 1)), set(G, 3), ret(name(i))},
         "1 (): i = _G + 1; _G = 3; return i\n"},
        {"nor a call",
         {set_to(i, plus(G, 1)), print(H), ret(name(i))},
         "1 (): i = _G + 1; _g(_H); return i\n"},
        {"unless it cannot tell",
         {set_to(i, plus(j, 1)), print(H), ret(name(i))},
         "1 (): _g(_H); return j + 1\n"},
        {"nor a store that gives the memory another type",
         {set_to(i, at(p)), asg(tree(OP::UMULT, short_t, name(narrow)), icon(1, short_t)),
          ret(name(i))},
         "1 (): i = *p; *narrow = 1; return i\n"},
        {"nor a change in the same statement",
         {set_to(i, plus(j, 1)), print(plus(asg(name(j), icon(2)), name(i))), leave()},
         "1 (): i = j + 1; _g((j = 2) + i); leave\n"},
        {"not twice",
         {set_to(i, plus(G, 1)), ret(plus(name(i), name(i)))},
         "1 (): i = _G + 1; return i + i\n"},
        {"not into a loop",
         {set_to(i, plus(G, 1)), def(1), print(i), unless(H, 1), leave()},
         "1 (): i = _G + 1; goto 2\n2 (2 1): _g(i); if _H 3 else 2\n3 (2): leave\n"},
        {"what may trap stays behind effects",
         {set_to(i, op(OP::DIV, name(j), name(k))), set(H, 1), ret(name(i))},
         "1 (): i = j / k; _H = 1; return i\n"},
        {"and goes where there are none",
         {set_to(i, op(OP::DIV, name(j), name(k))), ret(plus(i, 1))},
         "1 (): return j / k + 1\n"},
        {"effects do not move",
         {set_to(i, print(G)), set(H, 1), ret(name(i))},
         "1 (): i = _g(_G); _H = 1; return i\n"},
    };
    for (const auto &one : cases) {
        SCOPED_TRACE(one.title);
        EXPECT_EQ(after(one.statements, [] { elim_dead_assigns(true, true); }), one.expected);
    }
    EXPECT_THAT(log(), HasSubstr("---------- ENTERING 'delay_assignments' ----------\n"));
}
} // namespace
