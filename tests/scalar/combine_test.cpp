// Adjacent assignments that become one: pairs of statements before and after, run both times.
#include "tests/scalar/function_machine.h"

#include <gmock/gmock.h>

namespace {
using ::testing::HasSubstr;
using ::testing::Not;

class CombineAsgs : public ScalarPassTest {
protected:
    // The n-th 16-bit unit of a global array of int.
    NODE *half(SYMTAB *array, int n) {
        TYPE *short_p = tp->mk_ptr(short_t);
        NODE *start = tree(OP::PCONV, short_p, address(name(array)));
        return tree(OP::UMULT, short_t, n == 0 ? start : tree(OP::PLUS, short_p, start, icon(n)));
    }
    NODE *short_icon(int value) { return icon(value, short_t); }
    NODE *bits(int kept, int set) {
        return op(OP::ORB, op(OP::ANDB, name(G), icon(kept)), icon(set));
    }
    std::string combined(const STATEMENTS &statements) {
        return after(statements, combine_asgs_to_memory);
    }
};

TEST_F(CombineAsgs, HalvesOfAPair) {
    EXPECT_THAT(
        combined({asg(half(T, 2), short_icon(0x1234)), asg(half(T, 3), short_icon(-2)), leave()}),
        HasSubstr(std::to_string(0xfffe1234u)));
    EXPECT_THAT(log(), AllOf(HasSubstr("\n\tCombining the assignments "),
                             HasSubstr("\t......................and "),
                             HasSubstr("\t...................to get ")));
    // In either order, and from a value that lies in a register.
    combined({asg(half(T, 1), tree(OP::SCONV, short_t, op(OP::SRL, name(i), icon(16)))),
              asg(half(T, 0), tree(OP::SCONV, short_t, name(i))), leave()});
    EXPECT_THAT(log(), HasSubstr("to get "));
}

TEST_F(CombineAsgs, OnePlaceTwice) {
    EXPECT_EQ(combined({set(G, 1), set(G, 2), leave()}), "1 (): _G = 2; leave\n");
    EXPECT_THAT(combined({set_to(G, bits(~0xf, 3)), set_to(G, bits(~0xf0, 0x50)), leave()}),
                HasSubstr("_G = _G & -256 | 83; leave"));
    EXPECT_EQ(combined({set(G, 0xff), set_to(G, bits(~0xf0, 0x50)), leave()}),
              "1 (): _G = 95; leave\n");
}

TEST_F(CombineAsgs, WhatStaysTwo) {
    SYMTAB *moving = file_variable("_moving", 2, tp->mk_qual(int_t, TQ_volatile));
    SYMTAB *narrow = file_variable("_narrow", 2, tp->mk_array(short_t, 4));
    SYMTAB *pp = local("pp", tp->mk_ptr(int_p));
    enter(pp);
    const auto through = [&](SYMTAB *sym) {
        return tree(OP::UMULT, int_t, tree(OP::UMULT, int_p, name(sym)));
    };
    const STATEMENTS cases[] = {
        {asg(half(T, 1), short_icon(1)), asg(half(T, 2), short_icon(2)), leave()}, // two pairs
        {asg(half(T, 0), short_icon(1)), asg(half(T, 2), short_icon(2)), leave()},
        {asg(half(narrow, 0), short_icon(1)), asg(half(narrow, 1), short_icon(2)), leave()},
        {asg(half(T, 0), short_icon(1)), print(G), asg(half(T, 1), short_icon(2)), leave()},
        {set(moving, 1), set(moving, 2), leave()},
        {set(G, 1), set_to(G, plus(G, 1)), leave()},
        {set_to(G, bits(~0xf, 3)), set_to(H, bits(~0xf0, 0x50)), leave()},
        {asg(through(pp), icon(1)), asg(through(pp), icon(2)),
         leave()}, // the first may change what the second goes through
    };
    for (const STATEMENTS &statements : cases) {
        build(statements);
        const std::string before = graph();
        combine_asgs_to_memory();
        EXPECT_EQ(graph(), before);
    }
    EXPECT_THAT(log(), Not(HasSubstr("Combining")));
}
} // namespace
