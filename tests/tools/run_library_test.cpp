// The interpreter's C library apart from printf and scanf.
#include "tests/tools/run_library_fixture.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <set>

using RunString = RunLibrary;
using RunMemory = RunLibrary;
using RunNumber = RunLibrary;
using RunMath = RunLibrary;
using RunStream = RunLibrary;
using RunProgram = RunLibrary;

namespace {
int sign(std::int32_t value) {
    return (value > 0) - (value < 0);
}
} // namespace

TEST_F(RunString, LengthAndComparison) {
    EXPECT_EQ(run("strlen", ""), 0u);
    EXPECT_EQ(run("strlen", u"ab\uffffd"), 4u);
    const struct {
        const char16_t *a, *b;
        std::uint32_t limit;
        int all, limited;
    } cases[] = {
        {u"", u"", 5, 0, 0},          {u"a", u"", 5, 1, 1},
        {u"", u"a", 0, -1, 0},        {u"abc", u"abd", 2, -1, 0},
        {u"abc", u"abd", 3, -1, -1},  {u"ab", u"ab", 99, 0, 0},
        {u"\uffff", u"a", 1, 1, 1},   {u"\u0101", u"\u0201", 1, -1, -1},
        {u"ab", u"abc", ~0u, -1, -1},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(sign(run_int("strcmp", c.a, c.b)), c.all);
        EXPECT_EQ(sign(run_int("strcmp", c.b, c.a)), -c.all);
        EXPECT_EQ(sign(run_int("strcoll", c.a, c.b)), c.all);
        EXPECT_EQ(sign(run_int("strncmp", c.a, c.b, c.limit)), c.limited);
    }
}

TEST_F(RunString, Copies) {
    const struct {
        const char *function, *from;
        std::int32_t limit;    // -1: no such argument
        std::u16string memory; // what becomes of "ab", zero, "~~~~~"
    } cases[] = {
        {"strcpy", "xyz", -1, std::u16string(u"xyz\0~~~~", 8)},
        {"strcpy", "", -1, std::u16string(u"\0b\0~~~~~", 8)},
        {"strcat", "xyz", -1, std::u16string(u"abxyz\0~~", 8)},
        {"strcat", "", -1, std::u16string(u"ab\0~~~~~", 8)},
        {"strncpy", "xyz", 2, std::u16string(u"xy\0~~~~~", 8)},
        {"strncpy", "xyz", 3, std::u16string(u"xyz~~~~~", 8)},
        {"strncpy", "xyz", 6, std::u16string(u"xyz\0\0\0~~", 8)},
        {"strncpy", "xyz", 0, std::u16string(u"ab\0~~~~~", 8)},
        {"strncat", "xyz", 2, std::u16string(u"abxy\0~~~", 8)},
        {"strncat", "xyz", 0, std::u16string(u"ab\0~~~~~", 8)},
        {"strncat", "xyz", INT_MAX, std::u16string(u"abxyz\0~~", 8)},
    };
    for (const auto &c : cases) {
        const POINTER to = machine.string(std::u16string(u"ab\0~~~~~", 8));
        EXPECT_EQ(c.limit < 0 ? run_pointer(c.function, to, c.from)
                              : run_pointer(c.function, to, c.from, c.limit),
                  to);
        EXPECT_EQ(units_at(to.address, 8), c.memory) << c.function << " " << c.limit;
    }
    const POINTER to = machine.string(u"~~~~~");
    EXPECT_EQ(run("strxfrm", to, "abc", 0), 3u);
    EXPECT_EQ(units_at(to.address, 5), u"~~~~~");
    EXPECT_EQ(run("strxfrm", to, "abc", 10), 3u);
    EXPECT_EQ(text_at(to), "abc");
}

TEST_F(RunString, Searches) {
    constexpr std::uint32_t none = ~0u;
    const struct {
        const char *function, *text;
        std::u16string what;
        std::uint32_t found; // offset, count
    } cases[] = {
        {"strchr", "abcb", u"b", 1},    {"strchr", "abc", u"x", none},
        {"strrchr", "abcb", u"b", 3},   {"strrchr", "abc", u"x", none},
        {"strchr", "abc", u"", 3},      {"strrchr", "abc", u"", 3},
        {"strchr", "", u"", 0},         {"strrchr", "", u"a", none},
        {"strstr", "ababc", u"abc", 2}, {"strstr", "ab", u"", 0},
        {"strstr", "ab", u"abc", none}, {"strstr", "", u"", 0},
        {"strpbrk", "abc", u"xcb", 1},  {"strpbrk", "abc", u"xyz", none},
        {"strpbrk", "abc", u"", none},  {"strspn", "aabc", u"ba", 3},
        {"strspn", "abc", u"", 0},      {"strspn", "aa", u"a", 2},
        {"strcspn", "abc", u"xc", 2},   {"strcspn", "abc", u"", 3},
        {"strcspn", "abc", u"a", 0},    {"strspn", "abc", u"\uffff", 0},
    };
    for (const auto &c : cases) {
        const POINTER text = machine.string(std::string_view(c.text));
        const std::string_view function = c.function;
        const bool by_unit = function == "strchr" || function == "strrchr";
        const bool counts = function == "strspn" || function == "strcspn";
        const std::uint32_t found =
            by_unit ? run(function, text, static_cast<int>(c.what.empty() ? 0x70000 : c.what[0]))
                    : run(function, text, c.what.c_str());
        if (counts)
            EXPECT_EQ(found, c.found) << c.function << " " << c.text;
        else
            EXPECT_EQ(found & 0xffff, c.found == none ? 0 : text.address + c.found)
                << c.function << " " << c.text;
    }
}

TEST_F(RunString, Tokens) {
    const POINTER text = machine.string("--a-,bc,--");
    EXPECT_EQ(run_pointer("strtok", text, "-,").address, text.address + 2);
    EXPECT_EQ(text_at({text.address + 2}), "a");
    EXPECT_EQ(run_pointer("strtok", null, ",").address, text.address + 5) << "another set";
    EXPECT_EQ(text_at({text.address + 5}), "bc");
    EXPECT_EQ(run_pointer("strtok", null, "-,"), null);
    EXPECT_EQ(run_pointer("strtok", null, "-,"), null);
    EXPECT_EQ(run_pointer("strtok", machine.string(""), "-"), null);
    EXPECT_EQ(run_pointer("strtok", machine.string("---"), "-"), null);
}

TEST_F(RunString, ErrorMessages) {
    std::set<std::string> messages;
    for (int number : {0, 33, 34, 84, INT_MIN})
        messages.insert(text_at(run_pointer("strerror", number)));
    EXPECT_EQ(messages.size(), 5u);
    EXPECT_TRUE(messages.contains("Unknown error -2147483648"));
    EXPECT_FALSE(messages.contains(""));
}

// Against the host's functions, on ASCII; nothing else belongs to a class.
TEST_F(RunString, ClassesOfCharacters) {
    const struct {
        const char *name;
        int (*host)(int);
    } cases[] = {
        {"isalnum", isalnum}, {"isalpha", isalpha}, {"isblank", isblank}, {"iscntrl", iscntrl},
        {"isdigit", isdigit}, {"isgraph", isgraph}, {"islower", islower}, {"isprint", isprint},
        {"ispunct", ispunct}, {"isspace", isspace}, {"isupper", isupper}, {"isxdigit", isxdigit},
    };
    for (const auto &c : cases) {
        for (int unit = 0; unit < 128; ++unit)
            EXPECT_EQ(run(c.name, unit) != 0, c.host(unit) != 0) << c.name << " " << unit;
        for (int unit : {-1, 128, 0xc4, 0x141, 0xffff, INT_MIN, INT_MAX})
            EXPECT_EQ(run(c.name, unit), 0u) << c.name << " " << unit;
    }
    for (int unit = 0; unit < 128; ++unit) {
        EXPECT_EQ(run_int("tolower", unit), tolower(unit));
        EXPECT_EQ(run_int("toupper", unit), toupper(unit));
    }
    for (int unit : {-1, 128, 0x141, INT_MIN}) {
        EXPECT_EQ(run_int("tolower", unit), unit);
        EXPECT_EQ(run_int("toupper", unit), unit);
    }
}

TEST_F(RunMemory, Blocks) {
    const POINTER a = machine.string(u"abcdef");
    EXPECT_EQ(run_pointer("memcpy", a, "xy", 2), a);
    EXPECT_EQ(text_at(a), "xycdef");
    EXPECT_EQ(run_pointer("memmove", POINTER{a.address + 1}, a, 4).address, a.address + 1);
    EXPECT_EQ(text_at(a), "xxycdf");
    EXPECT_EQ(run_pointer("memmove", a, POINTER{a.address + 2}, 4), a);
    EXPECT_EQ(text_at(a), "ycdfdf");
    EXPECT_EQ(run_pointer("memset", a, 0x54321, 2), a);
    EXPECT_EQ(units_at(a.address, 3), u"\u4321\u4321d");
    EXPECT_EQ(run_pointer("memset", null, 1, 0), null) << "no access";
    EXPECT_EQ(run_pointer("memcpy", null, null, 0), null);

    EXPECT_EQ(sign(run_int("memcmp", u"a\uffff", u"a\u0001", 2)), 1);
    EXPECT_EQ(sign(run_int("memcmp", "ab", "ac", 2)), -1);
    EXPECT_EQ(run_int("memcmp", "ab", "ac", 1), 0);
    EXPECT_EQ(run_int("memcmp", null, null, 0), 0);
    EXPECT_EQ(run("memchr", a, 'f', 4) & 0xffff, a.address + 3);
    EXPECT_EQ(run("memchr", a, 'f', 3), 0u);
    EXPECT_EQ(run("memchr", a, 'f', ~0u) & 0xffff, a.address + 3) << "found in time";
    EXPECT_EQ(fault("memset", a, 0, -1), RF_trap);
    EXPECT_EQ(fault("memcpy", a, a, 65537u), RF_trap);
    EXPECT_EQ(fault("memset", a, 0, 8), RF_check) << "one unit too many";
}

TEST_F(RunMemory, Heap) {
    const POINTER a = run_pointer("malloc", 5);
    ASSERT_NE(a, null);
    EXPECT_EQ(machine.allocated_units(a.address), 5u);
    EXPECT_EQ(fault("strlen", a), RF_check) << "not yet written";
    const POINTER zeros = run_pointer("calloc", 3, 4);
    EXPECT_EQ(units_at(zeros.address, 12), std::u16string(12, u'\0'));
    for (std::uint32_t units : {0xfff0u, 65536u, 0x10005u, ~0u}) {
        EXPECT_EQ(run_pointer("malloc", units), null) << units;
        EXPECT_EQ(run_pointer("realloc", zeros, units), null) << units;
    }
    EXPECT_EQ(run_pointer("calloc", 0x10000, 0x10000), null) << "the product has no 32 bits";
    EXPECT_EQ(machine.allocated_units(zeros.address), 12u) << "as it was";

    run("strcpy", a, "abcd");
    const POINTER longer = run_pointer("realloc", a, 100);
    EXPECT_EQ(text_at(longer), "abcd");
    EXPECT_EQ(machine.allocated_units(a.address), 0u);
    const POINTER shorter = run_pointer("realloc", longer, 2);
    EXPECT_EQ(units_at(shorter.address, 2), u"ab");
    EXPECT_EQ(run_pointer("realloc", shorter, 0), null);
    EXPECT_EQ(machine.allocated_units(shorter.address), 0u);
    EXPECT_NE(run_pointer("realloc", null, 3), null);
    EXPECT_NE(run_pointer("malloc", 0), run_pointer("malloc", 0));
    run("free", null);
    run("free", zeros);
    EXPECT_EQ(fault("free", zeros), RF_check);
    EXPECT_EQ(fault("realloc", zeros, 5), RF_check);
}

TEST_F(RunNumber, IntegersFromStrings) {
    const std::uint32_t most = 0x7fffffff, least = 0x80000000, all = 0xffffffff;
    const struct {
        const char *text;
        std::int32_t base;
        std::uint32_t as_signed, as_unsigned, length;
        bool signed_range, unsigned_range;
    } cases[] = {
        {"12", 10, 12, 12, 2, true, true},
        {" \t\n\v\f\r+12x", 10, 12, 12, 9, true, true},
        {"-12", 10, -12u, -12u, 3, true, true},
        {"", 10, 0, 0, 0, true, true},
        {"  x", 10, 0, 0, 0, true, true},
        {" -", 10, 0, 0, 0, true, true},
        {"--1", 10, 0, 0, 0, true, true},
        {"2147483647", 10, most, most, 10, true, true},
        {"2147483648", 10, most, least, 10, false, true},
        {"-2147483648", 10, least, least, 11, true, true},
        {"-2147483649", 10, least, most, 11, false, true},
        {"4294967295", 10, most, all, 10, false, true},
        {"4294967296", 10, most, all, 10, false, false},
        {"-4294967295", 10, least, 1, 11, false, true},
        {"-99999999999999999999999", 10, least, all, 24, false, false},
        {"0x1F", 0, 31, 31, 4, true, true},
        {"0x1F", 16, 31, 31, 4, true, true},
        {"-0XfZ", 16, -15u, -15u, 4, true, true},
        {"0x", 0, 0, 0, 1, true, true},
        {"0xg", 16, 0, 0, 1, true, true},
        {"0x1F", 10, 0, 0, 1, true, true},
        {"017", 0, 15, 15, 3, true, true},
        {"018", 0, 1, 1, 2, true, true},
        {"102", 2, 2, 2, 2, true, true},
        {"zZ", 36, 1295, 1295, 2, true, true},
        {"z", 35, 0, 0, 0, true, true},
        {"1", 1, 0, 0, 0, true, true},
        {"1", 37, 0, 0, 0, true, true},
        {"1", -10, 0, 0, 0, true, true},
    };
    const POINTER end = {machine.place(1)};
    machine.errno_address = machine.place(2);
    for (const auto &c : cases) {
        const POINTER text = machine.string(std::string_view(c.text));
        for (const char *function : {"strtol", "strtoll", "strtoul", "strtoull"}) {
            const bool is_signed = function[5] != 'u';
            machine.store32(machine.errno_address, 0);
            EXPECT_EQ(run(function, text, end, c.base), is_signed ? c.as_signed : c.as_unsigned)
                << function << " " << c.text;
            EXPECT_EQ(machine.load16(end.address), text.address + c.length) << c.text;
            EXPECT_EQ(machine.load32(machine.errno_address),
                      (is_signed ? c.signed_range : c.unsigned_range) ? 0u : 34u)
                << function << " " << c.text;
        }
        if (c.base != 10) continue;
        for (const char *function : {"atoi", "atol", "atoll"})
            EXPECT_EQ(run(function, text), c.as_signed) << c.text;
    }
    EXPECT_EQ(run("strtol", "7", null, 10), 7u);
}

TEST_F(RunNumber, FloatsFromStrings) {
    const struct {
        const char *text;
        float value;
        std::uint32_t length;
        std::uint32_t error;
    } cases[] = {
        {"1.5", 1.5f, 3, 0},
        {" -2e3 4", -2000, 5, 0},
        {"0.1", 0.1f, 3, 0},
        {"16777217.0000001", 16777218.0f, 16, 0}, // rounded once, not by way of double
        {"16777217", 16777216.0f, 8, 0},
        {".5", 0.5f, 2, 0},
        {"5.e", 5, 2, 0},
        {"0x1.8p2", 6, 7, 0},
        {"0x", 0, 1, 0},
        {"1e39", INFINITY, 4, 34},
        {"-1e39", -INFINITY, 5, 34},
        {"1e-60", 0, 5, 34},
        {"-inf", -INFINITY, 4, 0},
        {"infinite", INFINITY, 3, 0},
        {"", 0, 0, 0},
        {"  .", 0, 0, 0},
        {"+e1", 0, 0, 0},
    };
    const POINTER end = {machine.place(1)};
    machine.errno_address = machine.place(2);
    for (const auto &c : cases) {
        const POINTER text = machine.string(std::string_view(c.text));
        for (const char *function : {"strtod", "strtof"}) {
            machine.store32(machine.errno_address, 0);
            EXPECT_EQ(run_float(function, text, end), c.value) << c.text;
            EXPECT_EQ(machine.load16(end.address), text.address + c.length) << c.text;
            EXPECT_EQ(machine.load32(machine.errno_address), c.error) << c.text;
        }
        EXPECT_EQ(run_float("atof", text), c.value) << c.text;
    }
    EXPECT_TRUE(std::isnan(run_float("strtof", "nan(1)x", end)));
    EXPECT_EQ(run_float("atof", u"1\u01322"), 1.0f) << "a unit whose low bits are a digit's";
}

TEST_F(RunNumber, AbsoluteValuesAndDivision) {
    for (const char *function : {"abs", "labs", "llabs"}) {
        EXPECT_EQ(run_int(function, -5), 5);
        EXPECT_EQ(run_int(function, 5), 5);
        EXPECT_EQ(run_int(function, INT_MIN), INT_MIN);
    }
    const struct {
        int a, b, quotient, remainder;
    } cases[] = {{7, 2, 3, 1}, {-7, 2, -3, -1}, {7, -2, -3, 1}, {INT_MIN, -1, INT_MIN, 0}};
    for (const auto &c : cases) {
        for (const char *function : {"div", "ldiv"}) {
            ARGUMENT_LIST list(machine);
            list.add(c.a);
            list.add(c.b);
            machine.lay_out(list.units());
            const std::uint32_t to = machine.place(4);
            LIBRARY_CALL call = {machine, LIBRARY_MACHINE::arguments_at, to};
            find_library_function(function)(call);
            EXPECT_EQ(static_cast<int>(machine.load32(to)), c.quotient);
            EXPECT_EQ(static_cast<int>(machine.load32(to + 2)), c.remainder);
        }
    }
    EXPECT_EQ(fault("div", 1, 0), RF_trap);
}

TEST_F(RunNumber, RandomNumbers) {
    const std::uint32_t first[] = {run("rand"), run("rand"), run("rand")};
    EXPECT_EQ(first[0], 16838u);
    EXPECT_EQ(first[1], 5758u);
    EXPECT_EQ(first[2], 10113u);
    run("srand", 1);
    EXPECT_EQ(run("rand"), first[0]) << "1 is the seed at the start";
    run("srand", 0x80000000);
    for (int i = 0; i < 1000; ++i)
        EXPECT_LE(run("rand"), 32767u);
}

TEST_F(RunMath, FunctionsOfFloats) {
    const float inf = INFINITY;
    const struct {
        const char *name;
        float x, value;
    } cases[] = {
        {"acos", 1, 0},
        {"asin", 0, 0},
        {"atan", inf, 1.57079637f},
        {"ceil", -1.5f, -1},
        {"ceil", 1.25f, 2},
        {"cos", 0, 1},
        {"cosh", 0, 1},
        {"exp", 0, 1},
        {"exp", 200, inf},
        {"exp2", 10, 1024},
        {"fabs", -0.0f, 0},
        {"floor", -1.5f, -2},
        {"floor", 1e30f, 1e30f},
        {"log", 1, 0},
        {"log", 0, -inf},
        {"log10", 1000, 3},
        {"log2", 0.125f, -3},
        {"round", 2.5f, 3},
        {"round", -2.5f, -3},
        {"sin", 1, 0.841470957f},
        {"sinh", 0, 0},
        {"sqrt", 2, 1.41421354f},
        {"sqrt", 16, 4},
        {"tan", 1, 1.55740774f},
        {"tanh", inf, 1},
        {"trunc", -1.9f, -1},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(run_float(c.name, c.x), c.value) << c.name;
        EXPECT_EQ(run_float(c.name + std::string("f"), c.x), c.value) << c.name;
    }
    EXPECT_TRUE(std::isnan(run_float("sqrt", -1.0f)));
    EXPECT_TRUE(std::signbit(run_float("trunc", -0.5f)));

    const struct {
        const char *name;
        float x, y, value;
    } pairs[] = {
        {"atan2", 1, 0, 1.57079637f},
        {"fmod", -7, 3, -1},
        {"fmod", 1e30f, 0.3f, std::fmod(1e30f, 0.3f)},
        {"fmax", 1, NAN, 1},
        {"fmin", 1, 2, 1},
        {"hypot", 3, 4, 5},
        {"pow", 2, 10, 1024},
        {"pow", 2, -1, 0.5f},
        {"pow", 0, 0, 1},
        {"copysign", 1, -0.0f, -1},
        {"hypot", 3e38f, 0, 3e38f},
    };
    for (const auto &c : pairs) {
        EXPECT_EQ(run_float(c.name, c.x, c.y), c.value) << c.name;
        EXPECT_EQ(run_float(c.name + std::string("f"), c.x, c.y), c.value) << c.name;
    }
}

TEST_F(RunMath, PartsOfFloats) {
    const POINTER to = {machine.place(2)};
    for (const char *f : {"", "f"}) {
        const std::string suffix = f;
        EXPECT_EQ(run_float("frexp" + suffix, 12.0f, to), 0.75f);
        EXPECT_EQ(machine.load32(to.address), 4u);
        EXPECT_EQ(run_float("frexp" + suffix, 0.125f, to), 0.5f);
        EXPECT_EQ(machine.load32(to.address), static_cast<std::uint32_t>(-2));
        EXPECT_EQ(run_float("frexp" + suffix, INFINITY, to), INFINITY);
        EXPECT_EQ(run_float("ldexp" + suffix, 0.75f, 4), 12.0f);
        EXPECT_EQ(run_float("ldexp" + suffix, 1.0f, INT_MAX), INFINITY);
        EXPECT_EQ(run_float("ldexp" + suffix, 1.0f, INT_MIN), 0.0f);
        EXPECT_EQ(run_float("modf" + suffix, -2.75f, to), -0.75f);
        EXPECT_EQ(machine.load_float(to.address), -2.0f);
        EXPECT_EQ(run_float("modf" + suffix, INFINITY, to), 0.0f);
        EXPECT_EQ(run_int("lround" + suffix, -2.5f), -3);
        EXPECT_EQ(run("lround" + suffix, 0x1.8p31f), 0xc0000000u);
        EXPECT_EQ(run("lround" + suffix, -0x1.000002p32f), static_cast<std::uint32_t>(-512));
        EXPECT_EQ(run("lround" + suffix, 3e38f), 0u);
        EXPECT_EQ(run("lround" + suffix, NAN), 0u);
    }
}

TEST_F(RunStream, Output) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    EXPECT_EQ(run_int("putchar", 'a'), 'a');
    EXPECT_EQ(run_int("putc", 'b', out), 'b');
    EXPECT_EQ(run_int("fputc", 0x10163, out), 0x163) << "char has 16 bits";
    EXPECT_EQ(run_int("puts", "d"), 0);
    EXPECT_EQ(run_int("fputs", "e", error), 0);
    EXPECT_EQ(run_int("printf", "%s%d", "f", 1), 2);
    EXPECT_EQ(run_int("fprintf", error, "%c", 'g'), 1);
    EXPECT_EQ(run_int("fputs", "x", in), -1);
    EXPECT_EQ(run_int("fputc", 'x', in), -1);
    EXPECT_EQ(run_int("fflush", null), 0);
    run("perror", "h");
    machine.errno_address = machine.place(2);
    machine.store32(machine.errno_address, 34);
    run("perror", "");
    run("perror", null);
    EXPECT_EQ(run_int("fflush", error), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "abcd\nf1");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "egh: No error\nResult out of range\nResult out of range\n");
    EXPECT_EQ(fault("fflush", POINTER{5}), RF_trap);
    EXPECT_EQ(fault("fputs", "x", POINTER{0xffff}), RF_trap);
}

TEST_F(RunStream, Input) {
    const std::string name = testing::TempDir() + "run_library_input.txt";
    std::ofstream(name) << "a\xff\nline\n12 34x\nlast";
    ASSERT_TRUE(std::freopen(name.c_str(), "r", stdin));
    EXPECT_EQ(run_int("getchar"), 'a');
    EXPECT_EQ(run_int("getc", in), 0xff);
    EXPECT_EQ(run_int("fgetc", in), '\n');
    EXPECT_EQ(run_int("fgetc", out), -1);
    const POINTER line = {machine.place(10)};
    EXPECT_EQ(run_pointer("fgets", line, 4, in), line);
    EXPECT_EQ(text_at(line), "lin");
    EXPECT_EQ(run_pointer("fgets", line, 1, in), line);
    EXPECT_EQ(text_at(line), "");
    EXPECT_EQ(run_pointer("fgets", line, 0, in), null);
    EXPECT_EQ(run_pointer("fgets", line, -1, in), null);
    EXPECT_EQ(run_pointer("fgets", line, 10, in), line);
    EXPECT_EQ(text_at(line), "e\n");
    const POINTER a = {machine.place(2)}, b = {machine.place(2)};
    EXPECT_EQ(run_int("scanf", "%d", a), 1);
    EXPECT_EQ(run_int("fscanf", in, "%d", b), 1);
    EXPECT_EQ(machine.load32(a.address), 12u);
    EXPECT_EQ(machine.load32(b.address), 34u);
    EXPECT_EQ(run_int("getchar"), 'x') << "given back";
    EXPECT_EQ(run_int("scanf", "%d", a), 0);
    EXPECT_EQ(run_pointer("fgets", line, 10, in), line);
    EXPECT_EQ(text_at(line), "last");
    EXPECT_EQ(run_pointer("fgets", line, 10, in), null);
    EXPECT_EQ(text_at(line), "last");
    EXPECT_EQ(run_int("scanf", "%d", a), -1);
    EXPECT_EQ(run_int("getchar"), -1);
    std::filesystem::remove(name);
}

TEST_F(RunProgram, Ends) {
    EXPECT_EQ(fault("abort"), RF_abort);
    EXPECT_EQ(fault("__assert_fail", "a < b", "f.c", 12), RF_abort);
    std::string order;
    machine.functions = {
        [&](auto) { return order += 'a', 0; },
        [&](auto) { return order += 'b', run("atexit", POINTER{0}); },
    };
    EXPECT_EQ(run_int("atexit", POINTER{0}), 0);
    EXPECT_EQ(run_int("atexit", POINTER{1}), 0);
    try {
        run("exit", -3);
        ADD_FAILURE();
    } catch (const PROGRAM_EXIT &end) {
        EXPECT_EQ(end.status, -3);
    }
    EXPECT_EQ(order, "baa");
    run_exit_functions(machine);
    EXPECT_EQ(order, "baa") << "each once";
    for (int i = 0; i < 1024; ++i)
        EXPECT_EQ(run_int("atexit", POINTER{0}), 0);
    EXPECT_NE(run_int("atexit", POINTER{0}), 0) << "there is an end";
    machine.exit_functions = {0};
    machine.functions = {[&](auto) { return run("atexit", POINTER{0}); }};
    EXPECT_EQ(fault("exit", 0), RF_trap) << "a function that registers itself";
}

TEST_F(RunProgram, TimeStandsStill) {
    const POINTER to = {machine.place(2)};
    const std::uint32_t now = run("time", null);
    EXPECT_EQ(run("time", to), now);
    EXPECT_EQ(machine.load32(to.address), now);
    EXPECT_EQ(run("clock"), run("clock"));
    EXPECT_EQ(run_float("difftime", INT_MAX, INT_MIN), 4294967296.0f);
}

// Elements of a key and a number, or of one unit.
TEST_F(RunProgram, SortsAndKeepsTheOrderOfEqualElements) {
    std::mt19937 random(7);
    machine.functions = {[&](std::span<const MACHINE::ARGUMENT> pointers) {
        EXPECT_EQ(pointers.size(), 2u);
        EXPECT_EQ(pointers[0].units, 1u);
        return static_cast<std::uint32_t>(machine.load16(pointers[0].value) -
                                          machine.load16(pointers[1].value));
    }};
    const POINTER probe = run_pointer("malloc", 1);
    run("free", probe);
    for (std::uint32_t count : {0u, 1u, 2u, 3u, 7u, 8u, 100u, 257u}) {
        for (std::uint32_t size : {1u, 3u}) {
            for (unsigned keys : {1u, 5u, 1000u}) {
                machine.forget_places();
                const std::uint32_t base = machine.place(count * size + 1, false);
                std::vector<std::array<std::uint16_t, 2>> elements(count);
                for (std::uint32_t i = 0; i < count; ++i) {
                    elements[i] = {static_cast<std::uint16_t>(random() % keys),
                                   static_cast<std::uint16_t>(i)};
                    machine.store16(base + i * size, elements[i][0]);
                    if (size > 1) machine.store16(base + i * size + 1, elements[i][1]);
                }
                std::ranges::stable_sort(elements, {}, [](const auto &e) { return e[0]; });
                run("qsort", POINTER{base}, count, size, POINTER{0});
                for (std::uint32_t i = 0; i < count; ++i) {
                    ASSERT_EQ(machine.load16(base + i * size), elements[i][0]);
                    if (size > 1) {
                        ASSERT_EQ(machine.load16(base + i * size + 1), elements[i][1]);
                    }
                }
            }
        }
    }
    EXPECT_EQ(run_pointer("malloc", 1), probe) << "the heap is as it was";
}

TEST_F(RunProgram, SortsWithComparisonsThatMakeNoSense) {
    std::mt19937 random(3);
    machine.functions = {[&](auto) { return random(); }, [](auto) { return 1u; }};
    for (std::uint32_t function : {0u, 1u}) {
        const std::uint32_t base = machine.place(100);
        for (std::uint32_t i = 0; i < 100; ++i)
            machine.store16(base + i, static_cast<std::uint16_t>(i));
        run("qsort", POINTER{base}, 100, 1, POINTER{function});
        std::u16string left = units_at(base, 100);
        std::ranges::sort(left);
        for (std::uint32_t i = 0; i < 100; ++i)
            EXPECT_EQ(left[i], i) << "nothing lost";
    }
    const POINTER base = {machine.place(10)};
    EXPECT_EQ(fault("qsort", base, ~0u, ~0u, POINTER{0}), RF_trap);
    EXPECT_EQ(fault("qsort", base, 65537, 1, POINTER{0}), RF_trap);
    EXPECT_EQ(fault("qsort", base, ~0u, 0, POINTER{0}), -1) << "elements of no size";
    EXPECT_EQ(fault("bsearch", base, base, 2, 65536, POINTER{0}), RF_trap);
    machine.functions = {[](auto) -> std::uint32_t { throw RUN_ERROR{RF_limit, "enough"}; }};
    EXPECT_EQ(fault("qsort", base, 10, 1, POINTER{0}), RF_limit);
}

TEST_F(RunProgram, SearchesSortedElements) {
    machine.functions = {[&](std::span<const MACHINE::ARGUMENT> pointers) {
        return static_cast<std::uint32_t>(machine.load16(pointers[0].value) -
                                          machine.load16(pointers[1].value));
    }};
    const std::uint32_t base = machine.place(20), key = machine.place(1);
    for (std::uint32_t count : {0u, 1u, 2u, 9u, 10u}) {
        for (std::uint32_t i = 0; i < count; ++i)
            machine.store16(base + 2 * i, static_cast<std::uint16_t>(10 * i + 10));
        for (std::uint32_t wanted = 0; wanted <= 110; wanted += 5) {
            machine.store16(key, static_cast<std::uint16_t>(wanted));
            const bool there = wanted % 10 == 0 && wanted >= 10 && wanted <= 10 * count;
            EXPECT_EQ(run("bsearch", POINTER{key}, POINTER{base}, count, 2, POINTER{0}) & 0xffff,
                      there ? base + 2 * (wanted / 10 - 1) : 0)
                << wanted << " of " << count;
        }
    }
}
