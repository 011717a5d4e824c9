// Conversions. A short prints as char: the two are one type on this machine.
#include "tests/simp/simp_fixture.h"

TEST_F(SimpTest, casts_of_casts) {
    becomes({{"(int)(unsigned)i", "i"},
             {"(short)(int)s", "s"},
             {"(short)(ushort)s", "s"},
             {"(int)(ushort)i", "i & 65535"},
             {"(unsigned)(ushort)i", "(unsigned)(i & 65535)"},
             {"(int)(ushort)(s & 255)", "(int)(s & 255)"},
             {"(unsigned)(int)us", "(unsigned)us"},
             {"(unsigned)(int)b", "(unsigned)b"},
             {"(int)(float)s", "(int)s"},
             {"(float)(int)s", "(float)s"},
             {"(float)(int)(short)i", "(float)(char)i"},
             {"(int)(ushort)s", "(int)(unsigned char)s"},
             {"(float)(float)x", "x"},
             {"(short)(int)x", "(char)x"},
             {"(float)(bool)(i < j)", "(float)(i < j)"},
             {"(int)(short)40000", "-25536"}});
    stays({"(int)(char)i", "(unsigned)(char)us", "(int)(float)i", "(int)(char)x", "(char)i",
           "(unsigned)i"});
}

TEST_F(SimpTest, casts_to_bool) {
    becomes({{"(int)(bool)i", "i != 0"},
             {"(int)(bool)(i < j)", "i < j"},
             {"(int)(bool)(i & 1)", "i & 1"},
             {"(bool)(int)s", "(bool)s"},
             {"(bool)(unsigned)i", "(bool)i"},
             {"(bool)b", "b"},
             {"i || (short)1", "1"},
             {"(bool)3", "1"},
             {"(bool)(f() | 1)", "f(), 1"}});
    stays({"(bool)(char)i", "(bool)x", "(bool)i", "(int)(bool)x", "(int)b"});
}

TEST_F(SimpTest, narrowing_goes_down_where_that_saves_a_cast) {
    becomes({{"(short)(s + t)", "s + t"},
             {"(short)(s + i)", "(char)i + s"},
             {"(short)(s * t + 3)", "s * t + 3"},
             {"(short)(s << j)", "s << j"},
             {"(short)~us", "~(char)us"},
             {"(short)(s / 3)", "s / 3"},
             {"(short)(s % 3)", "s % 3"},
             {"(short)(s >> 2)", "s >> 2"},
             {"(ushort)(us >> 2)", "us >> 2"},
             {"(short)(i ? s : 3)", "i ? s : 3"},
             {"(short)(i ? s : t + 1)", "i ? s : t + 1"},
             {"(short)(i & 65535)", "(char)i"},
             {"(short)(i | 65536)", "(char)i"},
             {"(short)(us >> 2 | i)", "(char)(us >> 2) | (char)i"},
             {"(short)(f() + 65536)", "(char)f()"}});
    stays({"(char)(i + j)", "(char)(i + 1)", "(char)(i ? (int)s : j)", "(char)((int)s / (int)t)"});
}

TEST_F(SimpTest, casts_of_pointers) {
    becomes({{"(intp)(shortp)p", "p"},
             {"(intp)(int)p", "p"},
             {"(intp)(short)i", "(int *)i"},
             {"(intp)(i + 65536)", "(int *)i"},
             {"(int)(intp)i", "i & 65535"},
             {"(short)(int)p", "(char)p"}});
    stays({"(unsigned)p", "(int)p", "(charp)p", "(intp)us"});
}

TEST_F(SimpTest, assignments_drop_what_is_cut_off) {
    const auto kept = [&](const char *lvalue, const char *value, int bits = 0) {
        NODE *target = parse(lvalue);
        return std::string(
            stmt2infix(truncate_RHS_for_assignment(target, simp_tree(parse(value)), bits)));
    };
    EXPECT_EQ(kept("o.lo", "i & 31"), "i");
    EXPECT_EQ(kept("o.lo", "i & 15"), "i & 15");
    EXPECT_EQ(kept("o.lo", "i + 64"), "i");
    EXPECT_EQ(kept("o.hi", "u | 128u"), "u");
    EXPECT_EQ(kept("i", "j & 255", 8), "j");
    EXPECT_EQ(kept("i", "f() & 255", 4), "f()");
    EXPECT_EQ(kept("b", "(bool)(i < j)"), "i < j");
    EXPECT_EQ(kept("b", "(bool)(i & 2)"), "(bool)(i & 2)");
    EXPECT_EQ(kept("x", "y"), "y");
}
