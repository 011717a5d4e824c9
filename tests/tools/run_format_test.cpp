// The printf and scanf families: what they write, read and refuse.
#include "tests/tools/run_library_fixture.h"

#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>

class RunFormat : public RunLibrary {
protected:
    // What snprintf writes into enough memory; its result must be the text's length.
    template <typename... ARGUMENTS>
    std::string format(const std::string &text, const ARGUMENTS &...arguments) {
        machine.forget_places();
        const POINTER to = {machine.place(400, false)};
        const int length = run_int("snprintf", to, 400, text.c_str(), arguments...);
        const std::string written = text_at(to);
        EXPECT_EQ(static_cast<std::size_t>(length), written.size()) << text;
        return written;
    }
    template <typename... ARGUMENTS>
    void same_as_host(const std::string &text, const ARGUMENTS &...arguments) {
        char host[400];
        std::snprintf(host, sizeof host, text.c_str(), arguments...);
        EXPECT_EQ(format(text, arguments...), host) << text;
    }
    // All sets of flags, widths and precisions.
    static std::vector<std::string> specifications() {
        std::vector<std::string> all;
        for (unsigned set = 0; set < 32; ++set) {
            std::string flags = "%";
            for (unsigned i = 0; i < 5; ++i)
                if (set >> i & 1) flags.push_back("-+ #0"[i]);
            for (const char *width : {"", "12"})
                for (const char *precision : {"", ".", ".9"})
                    all.push_back(flags + width + precision);
        }
        return all;
    }
};

TEST_F(RunFormat, IntegersAsTheHostWritesThem) {
    for (const std::string &specification : specifications())
        for (int value : {0, 1, -1, 4711, INT_MAX, INT_MIN})
            for (const char *letter : {"d", "i", "u", "o", "x", "X"})
                same_as_host(specification + letter, value);
}

TEST_F(RunFormat, FloatsAsTheHostWritesThem) {
    for (const std::string &specification : specifications())
        for (float value : {0.0f, -0.0f, 1.0f, -2.5f, 0.1f, 123456.78f, 1e-7f, FLT_MAX, FLT_MIN,
                            1e-45f, INFINITY, -INFINITY, NAN})
            for (const char *letter : {"e", "E", "f", "F", "g", "G", "a", "A"})
                same_as_host(specification + letter, double{value});
}

TEST_F(RunFormat, Texts) {
    EXPECT_EQ(format(""), "");
    EXPECT_EQ(format("plain %% text%%"), "plain % text%");
    EXPECT_EQ(format("%s|%5s|%-5s|%.2s|%.0s|%.9s|%s", "abc", "abc", "abc", "abc", "abc", "abc", ""),
              "abc|  abc|abc  |ab||abc|");
    EXPECT_EQ(format("%c%3c%-3c|", 'x', 'y', 'z'), "x  yz  |");
    EXPECT_EQ(format("%*d|%-*d|%*d|%.*d|%.*d", 5, 1, 5, 2, -5, 3, 3, 4, -1, 5),
              "    1|2    |3    |004|5");
    EXPECT_EQ(format("%p|%p|%8p|%-8p|", POINTER{0x12ab}, null, POINTER{1}, POINTER{2}),
              "0x12ab|0x0|     0x1|0x2     |");
    EXPECT_EQ(format("%f %f", -NAN, -std::sqrt(-1.0f)), "nan nan") << "whatever the sign";
}

// char and short have 16 bits, everything else 32.
TEST_F(RunFormat, LengthsOfArguments) {
    EXPECT_EQ(format("%hd %hd %hhd %hhi", 0x18000, 0x17fff, 0x1ff80, 255), "-32768 32767 -128 255");
    EXPECT_EQ(format("%hu %hhu %hx %hho", -1, -1, 0x12345, -1), "65535 65535 2345 177777");
    EXPECT_EQ(format("%ld %lld %jd %zd %td|%d", -1, -2, -3, -4, -5, 6), "-1 -2 -3 -4 -5|6");
    EXPECT_EQ(format("%lu %llu %ju %zu %tx", -1, -1, -1, -1, -1),
              "4294967295 4294967295 4294967295 4294967295 ffffffff");
    EXPECT_EQ(format("%lf %Lf %Lg|%d", 1.5, 2.5, 3.5, 7), "1.500000 2.500000 3.5|7");
}

// Pointers take one unit, the rest two at even addresses.
TEST_F(RunFormat, PlacesOfArguments) {
    EXPECT_EQ(format("%s%d%s%s%f%s%c%p", "a", 1, "b", "c", 2.0, "d", 'e', POINTER{15}),
              "a1bc2.000000de0xf");
    EXPECT_EQ(format("%d%s%d%s", 1, "a", 2, "b"), "1a2b");
}

TEST_F(RunFormat, UnitsBeyondOneByteStayWholeInMemory) {
    const POINTER to = {machine.place(10)};
    EXPECT_EQ(run_int("sprintf", to, "%s%c", u"\u1234a\uffff", 0x54321), 4);
    EXPECT_EQ(units_at(to.address, 5), std::u16string(u"\u1234a\uffff\u4321\0", 5));
}

TEST_F(RunFormat, LimitedRoom) {
    const struct {
        std::uint32_t room;
        std::u16string memory;
    } cases[] = {
        {0, u"~~~~~~~~"},
        {1, std::u16string(u"\0~~~~~~~", 8)},
        {4, std::u16string(u"12a\0~~~~", 8)},
        {6, std::u16string(u"12abc\0~~", 8)},
        {8, std::u16string(u"12abc\0~~", 8)},
        {0xffffffff, std::u16string(u"12abc\0~~", 8)},
    };
    for (const auto &c : cases) {
        machine.forget_places();
        const POINTER to = machine.string(u"~~~~~~~~");
        EXPECT_EQ(run_int("snprintf", to, c.room, "%d%s", 12, "abc"), 5);
        EXPECT_EQ(units_at(to.address, 8), c.memory) << c.room;
    }
    EXPECT_EQ(run_int("snprintf", null, 0, "%65535d", 1), 65535);
}

TEST_F(RunFormat, CountsCharacters) {
    const POINTER to = {machine.place(20)};
    const POINTER word = {machine.place(2)}, dword = {machine.place(2)};
    machine.store32(word.address, 0xffffffff);
    machine.store32(dword.address, 0xffffffff);
    EXPECT_EQ(run_int("sprintf", to, "abc%hn%d%n", word, 12, dword), 5);
    EXPECT_EQ(machine.load32(word.address), 0xffff0003);
    EXPECT_EQ(machine.load32(dword.address), 5u);
}

TEST_F(RunFormat, ListsOfArguments) {
    const POINTER to = {machine.place(40)}, list = {machine.place(4)};
    machine.store16(list.address, 'q');
    machine.store32(list.address + 2, 77);
    EXPECT_EQ(run_int("vsprintf", to, "%p %d", list), 7);
    EXPECT_EQ(text_at(to), "0x71 77");
    EXPECT_EQ(run_int("vsnprintf", to, 5, "%p %d", list), 7);
    EXPECT_EQ(text_at(to), "0x71");
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    EXPECT_EQ(run_int("vprintf", "<%p %d>", list), 9);
    EXPECT_EQ(run_int("vfprintf", error, "[%p %d]", list), 9);
    machine.flush();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "<0x71 77>");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "[0x71 77]");
}

TEST_F(RunFormat, RefusedFormats) {
    for (const char *text : {"%", "%y", "%l", "%5", "%.", "%-", "%1$d", "%.-1d", "%65536d",
                             "%.65536f", "%99999999999999999999d", "%hhhd", "a%\xe4"})
        EXPECT_EQ(fault("printf", text, 1, 2), RF_trap) << text;
    EXPECT_EQ(fault("printf", "%*d", INT_MIN, 1), RF_trap);
    EXPECT_EQ(fault("printf", "%.*d", 65536, 1), RF_trap);
    EXPECT_EQ(fault("printf", "%d"), RF_check) << "no argument";
    EXPECT_EQ(fault("printf", "%s", null), RF_check);
    EXPECT_EQ(fault("printf", null), RF_check);
    EXPECT_EQ(fault("fprintf", POINTER{4}, "x"), RF_trap);
    EXPECT_EQ(fault("fprintf", null, "x"), RF_trap);
    EXPECT_EQ(run_int("fprintf", in, "x"), -1);
    EXPECT_EQ(fault("sprintf", POINTER{machine.place(3)}, "%d", 123), RF_check);
}

// A format that asks for more than one call may write.
TEST_F(RunFormat, EndsLongOutput) {
    std::string text;
    for (int i = 0; i < 17; ++i)
        text += "%65535c";
    LIBRARY_MACHINE loose(false);
    EXPECT_EQ(fault_on(loose, "snprintf", null, 0, text.c_str()), RF_trap);
}

class RunScan : public RunLibrary {
protected:
    static constexpr std::uint32_t untouched = 0xabcdabcd;

    std::uint32_t target() {
        const std::uint32_t address = machine.place(2);
        machine.store32(address, untouched);
        return address;
    }
};

TEST_F(RunScan, Integers) {
    constexpr std::uint32_t high = untouched & 0xffff0000;
    const struct {
        const char *text, *format;
        std::int32_t result;
        std::uint32_t value; // of 32 bits, as they are in memory afterwards
    } cases[] = {
        {"12", "%d", 1, 12},
        {"  -12x", "%d", 1, static_cast<std::uint32_t>(-12)},
        {"+7", "%u", 1, 7},
        {"-1", "%u", 1, 0xffffffff},
        {"2147483647", "%d", 1, 0x7fffffff},
        {"2147483648", "%d", 1, 0x7fffffff},
        {"-2147483648", "%d", 1, 0x80000000},
        {"-99999999999999999999", "%ld", 1, 0x80000000},
        {"4294967295", "%lu", 1, 0xffffffff},
        {"4294967296", "%u", 1, 0xffffffff},
        {"0x1f", "%i", 1, 31},
        {"017", "%i", 1, 15},
        {"017", "%d", 1, 17},
        {"0", "%i", 1, 0},
        {"08", "%i", 1, 0},
        {"17", "%o", 1, 15},
        {"0XFf", "%x", 1, 255},
        {"ff", "%X", 1, 255},
        {"0x", "%x", 0, untouched},
        {"1234567", "%3d", 1, 123},
        {"-123", "%2d", 1, static_cast<std::uint32_t>(-1)},
        {"-", "%d", 0, untouched},
        {"x", "%d", 0, untouched},
        {"", "%d", -1, untouched},
        {"   ", "%d", -1, untouched},
        {"70000", "%hd", 1, high | 4464},
        {"-1", "%hhd", 1, high | 0xffff},
        {"1234", "%p", 1, high | 0x1234},
        {"5", "%lld", 1, 5},
        {"5", "%zu", 1, 5},
        {"5", "%*d", 0, untouched},
        {"", "%*d", -1, untouched},
        {"a5", "a%d", 1, 5},
        {"a 5", "a%d", 1, 5},
        {"a5", "b%d", 0, untouched},
        {"1 2", "%*d%d", 1, 2},
        {"1", "%*d%d", 0, untouched},
        {"5%6", "5%%%d", 1, 6},
        {"5,6", "%*d , %d", 1, 6},
        {"5 ,\n6", "%*d , %d", 1, 6},
        {"abc", "ab%nc", 0, 2},
    };
    for (const auto &c : cases) {
        machine.forget_places();
        const std::uint32_t to = target();
        EXPECT_EQ(run_int("sscanf", c.text, c.format, POINTER{to}), c.result)
            << c.text << " by " << c.format;
        EXPECT_EQ(machine.load32(to), c.value) << c.text << " by " << c.format;
    }
}

TEST_F(RunScan, Floats) {
    const struct {
        const char *text, *format;
        std::int32_t result;
        float value;
        const char *rest;
    } cases[] = {
        {"1.5", "%f%s", 1, 1.5f, ""},
        {" -2.5e3z", "%lf%s", 2, -2500, "z"},
        {".5.5", "%g%s", 2, 0.5f, ".5"},
        {"5.", "%e%s", 1, 5, ""},
        {"0x1.8p1", "%a%s", 1, 3, ""},
        {"1e400", "%f%s", 1, INFINITY, ""},
        {"-inf.", "%f%s", 2, -INFINITY, "."},
        {"Infinity", "%f%s", 1, INFINITY, ""},
        {"1234.5", "%3f%s", 2, 123, "4.5"},
        {"0.1", "%Lf%s", 1, 0.1f, ""},
        {"1e", "%f%s", 0, 0, ""},
        {"1e+", "%f%s", 0, 0, ""},
        {".", "%f%s", 0, 0, ""},
        {"0x", "%f%s", 0, 0, ""},
        {"infi", "%f%s", 0, 0, ""},
        {"na", "%f%s", 0, 0, ""},
        {"", "%f%s", -1, 0, ""},
    };
    for (const auto &c : cases) {
        machine.forget_places();
        const POINTER to = {machine.place(2)}, rest = {machine.place(20)};
        machine.store32(to.address, 0);
        machine.store16(rest.address, 0);
        EXPECT_EQ(run_int("sscanf", c.text, c.format, to, rest), c.result) << c.text;
        EXPECT_EQ(machine.load_float(to.address), c.value) << c.text;
        EXPECT_EQ(text_at(rest), c.rest) << c.text;
    }
    const POINTER to = {machine.place(2)};
    EXPECT_EQ(run_int("sscanf", "nan", "%f", to), 1);
    EXPECT_TRUE(std::isnan(machine.load_float(to.address)));
}

TEST_F(RunScan, Characters) {
    const struct {
        const char *text, *format;
        std::int32_t result;
        std::u16string memory; // what is stored, of memory full of '~'
    } cases[] = {
        {"  ab cd", "%s", 1, std::u16string(u"ab\0", 3)},
        {"abcdef", "%3s", 1, std::u16string(u"abc\0", 4)},
        {" ab", "%c", 1, u" ~"},
        {"abc", "%2c", 1, u"ab~"},
        {"a", "%2c", 0, u"~~"},
        {"abcxyz", "%[a-c]", 1, std::u16string(u"abc\0", 4)},
        {"abcxyz", "%[^x]", 1, std::u16string(u"abc\0", 4)},
        {"a]-b", "%[]a-]", 1, std::u16string(u"a]-\0", 4)},
        {"]x", "%[^]]", 0, u"~"},
        {"x", "%[a-c]", 0, u"~"},
        {" a", "%[a]", 0, u"~"},
        {"", "%s", -1, u"~"},
        {"", "%[a]", -1, u"~"},
        {"", "%c", -1, u"~"},
        {"ab", "%*s%s", 0, u"~"},
    };
    for (const auto &c : cases) {
        machine.forget_places();
        const POINTER to = machine.string(u"~~~~~~~~");
        EXPECT_EQ(run_int("sscanf", c.text, c.format, to), c.result) << c.text;
        EXPECT_EQ(units_at(to.address, static_cast<std::uint32_t>(c.memory.size())), c.memory)
            << c.text << " by " << c.format;
    }
}

TEST_F(RunScan, SeveralConversionsAndRefusedFormats) {
    const POINTER a = {machine.place(2)}, b = {machine.place(2)}, s = {machine.place(10)},
                  n = {machine.place(2)};
    EXPECT_EQ(run_int("sscanf", "12:34 abc!", "%d:%x%s%n", a, b, s, n), 3);
    EXPECT_EQ(machine.load32(a.address), 12u);
    EXPECT_EQ(machine.load32(b.address), 0x34u);
    EXPECT_EQ(text_at(s), "abc!");
    EXPECT_EQ(machine.load32(n.address), 10u);
    for (const char *text : {"%", "%y", "%[abc", "%5", "%[", "%[]"})
        EXPECT_EQ(fault("sscanf", "1", text, a), RF_trap) << text;
    EXPECT_EQ(fault("sscanf", "1", "%d", null), RF_check);
    EXPECT_EQ(fault("sscanf", null, "%d", a), RF_check);
    EXPECT_EQ(run_int("fscanf", out, "%d", a), -1);
}
