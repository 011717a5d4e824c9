#include "OPT5/driver/register_option.h"

#include <gtest/gtest.h>

namespace {
register_option pass_debug_test_limit("debug:test_limit");

class DebugControlsTest : public testing::Test {
protected:
    DebugControlsTest() { reset_debug_options(); }
    ~DebugControlsTest() override { reset_debug_options(); }
};
using DebugControlsDeathTest = DebugControlsTest;

int value_of(const std::string &key) {
    return register_option(key.c_str());
}

TEST_F(DebugControlsTest, Values) {
    struct {
        const char *list;
        const char *name;
        int expected;
    } cases[] = {
        {"x", "x", 1},
        {"x=0", "x", 0},
        {"x=0x10", "x", 16},
        {"x=010", "x", 8},
        {"x=-3", "x", -3},
        {"x=", "x", 0},
        {"x=5,x=7", "x", 7},
        {"x=5,x", "x", 1},
        {"a,b=3,c", "b", 3},
        {"a,b=3,c", "c", 1},
        {"a,,c", "", 1},
        {"", "", 1},
        {"a", "", 0},
        {"x=1=2", "x", 1},
        {"x=99999999999999999999", "x", 2147483647},
        {"x=-99999999999999999999", "x", -2147483647 - 1},
    };
    for (const auto &c : cases) {
        reset_debug_options();
        process_debug_option("debug", c.list);
        EXPECT_EQ(value_of(std::string("debug:") + c.name), c.expected) << c.list;
        EXPECT_EQ(pass_debug(c.name), c.expected != 0) << c.list;
        EXPECT_FALSE(pass_disable(c.name));
        EXPECT_FALSE(pass_enable(c.name));
    }
}

TEST_F(DebugControlsTest, PrefixesAreApart) {
    process_debug_option("disable", "newinline");
    process_debug_option("enable", "lir,lirssa=0");
    EXPECT_TRUE(pass_disable("newinline"));
    EXPECT_FALSE(pass_debug("newinline"));
    EXPECT_TRUE(pass_enable("lir"));
    EXPECT_FALSE(pass_enable("lirssa"));
}

TEST_F(DebugControlsTest, ManyKeysInAnyOrderAreFound) {
    std::string list;
    for (int i = 0; i < 250; ++i)
        list += (i ? ",k" : "k") + std::to_string(i * 97 % 250) + "=" + std::to_string(i + 1);
    process_debug_option("debug", list.c_str());
    for (int i = 0; i < 250; ++i)
        EXPECT_EQ(value_of("debug:k" + std::to_string(i * 97 % 250)), i + 1);
    EXPECT_FALSE(pass_debug("k"));
    EXPECT_FALSE(pass_debug("k250"));
}

// Sorting on each insert would take minutes.
TEST_F(DebugControlsTest, HostileListsAreTakenInOneGo) {
    constexpr int names = 40'000;
    std::string list;
    for (int round : {1, 2})
        for (int i = 0; i < names; ++i)
            list += "k" + std::to_string(i * 7919L % names) + "=" + std::to_string(i * round) + ",";
    process_debug_option("debug", list.c_str());
    for (int i : {0, 1, 5000, names - 1})
        EXPECT_EQ(value_of("debug:k" + std::to_string(i * 7919L % names)), i * 2);
    for (int i = 0; i < names; ++i)
        process_debug_option("debug", ("m" + std::to_string(i)).c_str());
    EXPECT_TRUE(pass_debug("m39999"));
    EXPECT_TRUE(pass_debug("")) << "the element behind the last comma";
}

TEST_F(DebugControlsTest, ObjectsOfOneKeyShareIt) {
    EXPECT_TRUE(register_option::is_registered("debug:test_limit"));
    EXPECT_FALSE(register_option::is_registered("test_limit"));
    const unsigned before = register_option::num();
    register_option again("debug:test_limit"), fresh("debug:test_fresh");
    EXPECT_EQ(register_option::num(), before + 1);
    EXPECT_EQ(again.text(), pass_debug_test_limit.text());
    EXPECT_FALSE(pass_debug_test_limit);
    again = 40;
    EXPECT_TRUE(pass_debug_test_limit);
    EXPECT_GT(pass_debug_test_limit, 39);
    EXPECT_TRUE(pass_debug("test_limit"));
    pass_debug_test_limit = 0;
    EXPECT_EQ(again, 0);
    EXPECT_EQ(fresh, 0);
}

TEST_F(DebugControlsDeathTest, KeysAreShorterThan512) {
    const std::string longest(511 - 6, 'k'); // behind "debug:"
    process_debug_option("debug", longest.c_str());
    EXPECT_TRUE(pass_debug(longest.c_str()));
    EXPECT_FALSE(pass_debug((longest + "k").c_str()));
    EXPECT_EXIT(process_debug_option("debug", (longest + "k").c_str()), testing::ExitedWithCode(1),
                "The name of a debug control is too long");
}
} // namespace
