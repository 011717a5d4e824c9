// Type records: every kind, the lists, what older versions leave out, and faults.
#include "recording_client.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::HasSubstr;

namespace {
using BYTES = std::string;

REC def(std::uint32_t number, int kind) {
    REC r(116);
    r.u(number).b(kind);
    return r;
}
BYTES list(std::uint32_t number, int kind, const BYTES &elements = "") {
    return def(number, 254).b(kind) + elements + def(number, 255).b(kind);
}
BYTES int_type(std::uint32_t number) {
    return def(number, 6).b(0).u(32).u(32).b(0).b(0);
}
BYTES unsigned_type(std::uint32_t number) {
    return def(number, 7).b(0).u(32).u(32).b(0).b(0);
}
BYTES pointer(std::uint32_t number, std::uint32_t to) {
    return def(number, 15).u(to).u(16).u(16);
}
BYTES function(std::uint32_t number, std::uint32_t result) {
    return def(number, 20).u(result).b(0).b(1).b(0).b(0);
}
// A class record in the short form of the current version, or in the long one with list flags in
// file order: bases, access, friend functions and classes, nested, members, statics, functions,
// parameters.
BYTES csu(std::uint32_t number, std::string_view name, const char *lists) {
    if (std::string_view(lists).size() == 1)
        return def(number, 24)
            .b(0)
            .str(name)
            .b(1)
            .b(0)
            .u(64)
            .u(32)
            .b(*lists - '0')
            .b(0)
            .b(0)
            .no_psn();
    REC r = def(number, 25);
    r.b(0).str(name).b(1).b(0).u(64).u(32).u(0);
    for (const char *c = lists; *c; ++c)
        r.b(*c - '0');
    return r.b(0).b(0).no_psn();
}
BYTES member(std::uint32_t number, std::uint32_t index, std::string_view name, std::uint32_t t) {
    return def(number, 28).u(index).str(name).u(t).b(0).s(0).b(0).u(0).b(0).b(0).b(0).no_psn();
}

FILE_BYTES file_of(const BYTES &types) {
    FILE_BYTES f;
    f.names = REC(126).str("unit.c");
    f.types = types;
    return f;
}

// The types as the client sees them: a symbol of type `number` is declared.
std::string type_of(const BYTES &types, std::uint32_t number) {
    FILE_BYTES f = file_of(types);
    f.globals = symbol("_s", number, 2);
    const std::string log = read_log(f.str());
    const std::string before = " set0 ", behind = " - nowhere\ndefined _s";
    const std::size_t at = log.find(before) + before.size();
    return log.substr(at, log.find(behind) - at);
}

TEST(Types, EveryKind) {
    const BYTES basics = int_type(1) + unsigned_type(2) + csu(3, "s", "0");
    struct {
        BYTES record; // of number 9
        const char *expected;
    } const cases[] = {
        {def(9, 0).b(1).u(32).u(32).b(1).b(0), "i0eb/32/32"},
        {def(9, 1).b(0).u(16).u(16).b(0).b(1), "i1p/16/16"},
        {def(9, 2).b(1).u(16).u(16).b(0).b(0), "i2e/16/16"},
        {def(9, 3).b(0).u(16).u(16).b(0).b(0), "i3/16/16"},
        {def(9, 4).b(0).u(16).u(16).b(0).b(0), "i4/16/16"},
        {def(9, 5).b(0).u(16).u(16).b(0).b(0), "i5/16/16"},
        {def(9, 8).b(0).u(32).u(32).b(0).b(0), "i8/32/32"},
        {def(9, 9).b(0).u(32).u(32).b(0).b(0), "i9/32/32"},
        {def(9, 50).b(0).u(64).u(32).b(0).b(0), "i10/64/32"},
        {def(9, 51).b(0).u(64).u(32).b(0).b(0), "i11/64/32"},
        {def(9, 10).u(32).u(16), "f0/32/16"},
        {def(9, 11).u(64).u(32), "f1/64/32"},
        {def(9, 12).u(80).u(32), "f2/80/32"},
        {def(9, 13).b(-3).b(1).u(1).u(16).u(16), "fixed-3,1 i6/32/32/16/16"},
        {def(9, 13).b(0).b(0).u(0).u(16).u(16), "fixed0,0 -/16/16"},
        {def(9, 14).str("t").u(1).u(32).u(32).b(0).b(1).psn(7, 8),
         "t cpp0 lowered1=i6/32/32/32/32unit.c:7:8"},
        {def(9, 15).u(1).u(16).u(16), "*i6/32/32/16/16"},
        {def(9, 16).u(3).u(16).u(16), "&struct s/16/16"},
        {def(9, 17).u(1).u(66).u(32).u(32), "q66 i6/32/32/32/32"},
        {def(9, 18).u(1).u(300).u(9600).u(32).b(1).b(1).b(0), "array300+ i6/32/32/9600/32"},
        {def(9, 18).u(1).u(0).u(0).u(32).b(0).b(0).b(0), "array0? i6/32/32/0/32"},
        {def(9, 18).u(1).u(4).u(128).u(64).b(1).b(0).b(1), "vector4+? i6/32/32/128/64"},
        {def(9, 19).u(1).u(3).u(32).u(16), "struct s::*i6/32/32/32/16"},
        {def(9, 20).u(1).b(1).b(0).b(3).b(1) + list(9, 0), "fn 10 cc3+ i6/32/32"},
        {def(9, 22).str("e").u(32).u(32).u(1).b(1).psn(2) + list(9, 1), "enum e"},
        {def(9, 36).u(64).u(32).u(1), "complex i6/32/32/64/32"},
        {def(9, 49), "void"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(type_of(basics + c.record, 9), c.expected);
    // Two that differ in flags only are two.
    const BYTES vectors = int_type(1) + def(8, 18).u(1).u(4).u(128).u(64).b(0).b(1).b(1);
    const BYTES other = def(9, 18).u(1).u(4).u(128).u(64).b(1).b(0).b(1);
    EXPECT_EQ(type_of(vectors + other, 8), "vector4 i6/32/32/128/64");
    EXPECT_EQ(type_of(vectors + other, 9), "vector4+? i6/32/32/128/64");
    EXPECT_EQ(type_of(basics, 0), "-");
    EXPECT_EQ(type_of(basics + def(0x87654321, 49), 0x87654321), "void"); // any number will do
}

TEST(Types, ListsAndTheirElements) {
    const BYTES types =
        int_type(1) + unsigned_type(2) + csu(3, "base", "0") + csu(4, "all", "111111111") +
        list(4, 2, def(4, 29).u(3).s(-64).b(2).b(1)) + list(4, 3, def(4, 30).u(0).b(1)) +
        list(4, 4, def(4, 31).str("f").u(1)) + list(4, 5, def(4, 32).u(3)) +
        list(4, 6, def(4, 33).u(3)) +
        list(4, 7,
             def(4, 28).u(1).str("m").u(1).b(0x85).s(-32).b(0xab).u(5).b(1).b(0).b(1).psn(3) +
                 member(4, 2, "", 2)) +
        list(4, 8, def(4, 34).str("st").u(2).b(1)) +
        list(4, 9, def(4, 35).str("g").u(1).b(2).s(-1).b(1).b(0).b(1).b(0)) +
        list(4, 0, def(4, 21).u(1).b(1).u(2).str("T")) +
        def(5, 22).str("e").u(32).u(32).u(1).b(0).no_psn() +
        list(5, 1, def(5, 23).str("a").s(-5).psn(4) + def(5, 23).str("b").s(64).no_psn()) +
        def(6, 22).str("u").u(32).u(32).u(2).b(1).no_psn() +
        list(6, 1, def(6, 23).str("c").u(~0u).no_psn()) + function(7, 1) +
        list(7, 0,
             def(7, 21).u(1).b(0).u(2).str("kept") + def(7, 21).u(2).b(0).u(3).str("too") +
                 def(7, 21).u(1).b(0).u(1).str("dropped"));
    EXPECT_EQ(type_of(types, 7),
              "fn 01 cc0 i6/32/32 params{i6/32/32 mode2 kept, i7/32/32 mode3 too, "
              "i6/32/32 mode1 }");
    EXPECT_EQ(
        all_type_details(),
        "enum e 32/32 cpp0 i6/32/32 nowhere etors{a=-5 unit.c:4:1, b=64 nowhere}\n"
        "enum u 32/32 cpp1 i7/32/32 nowhere etors{c=-1 nowhere}\n"
        "struct all complete1 lowered0 64/32 extra0 has1011111111 flag0 cpp0 old0 nowhere "
        "bases{struct base @-64 access2 virtual1} access{1} ffriends{f i6/32/32} "
        "cfriends{struct base} nested{struct base} "
        "members{1 m i6/32/32 flags85 @-32 ftiab width5 101 unit.c:3:1, "
        "2  i7/32/32 flags0 @0 fti0 width0 000 nowhere} "
        "statics{st i7/32/32 access1} mfuncs{g i6/32/32 access2 vt-1 1010} "
        "params{i6/32/32 mode2 T}\n"
        "struct base complete1 lowered0 64/32 extra0 has0000000000 flag0 cpp0 old0 nowhere\n");
}

// A class may be used before its members are known; a list may come later.
TEST(Types, ClassesBeforeTheirMembers) {
    const BYTES types = int_type(1) + csu(2, "node", "1") + pointer(3, 2) + csu(4, "other", "1") +
                        list(4, 7, member(4, 1, "n", 2)) +
                        list(2, 7, member(2, 1, "next", 3) + member(2, 2, "value", 1));
    EXPECT_EQ(type_of(types, 3), "*struct node/16/16");
    EXPECT_THAT(all_type_details(), HasSubstr("members{1 next *struct node/16/16 "));
    FILE_BYTES f = file_of(types);
    I_FILE *file = open_bytes(f.str());
    file->if_read_type_defs();
    EXPECT_EQ(file->find_mdataref(2, 2)->type, file->find_typeref(1));
    for (auto [number, index] : {std::pair(2u, 0u), {2u, 3u}, {2u, ~0u}, {1u, 1u}, {0u, 1u}})
        EXPECT_EQ(file->find_mdataref(number, index), nullptr) << number << " " << index;
    for (std::uint32_t number : {2u, 4u})
        EXPECT_TRUE(file->find_typeref(number)->frozen) << number;
    file->if_close(true, false);
}

// A list that never comes is an empty one.
TEST(Types, ListsThatAreMissing) {
    const BYTES types = int_type(1) + function(2, 1) + csu(3, "s", "1") +
                        def(4, 22).str("e").u(32).u(32).u(1).b(1).no_psn();
    EXPECT_EQ(type_of(types, 2), "fn 01 cc0 i6/32/32");
    FILE_BYTES f = file_of("");
    f.body = types + REC(47).str("x") + list(2, 0); // a function's come at once
    const OUTCOME child = read_in_child(f.str());
    EXPECT_EQ(child.status, 1);
    EXPECT_THAT(child.out, HasSubstr("Unexpected type attribute"));
}

// The lists of a class may come when it has been used, unless another class holds it by value.
TEST(Types, ListsThatComeLater) {
    const BYTES comment = REC(47).str("x"), m = member(2, 1, "m", 1);
    FILE_BYTES f = file_of(int_type(1) + csu(2, "late", "1") + pointer(3, 2) +
                           csu(4, "never", "1") + csu(5, "two", "100001000"));
    f.globals = symbol("_s", 3, 2, 0, 16);
    f.body = comment + list(5, 7, member(5, 1, "n", 3)) + comment + list(2, 7, m) + comment +
             list(5, 2, def(5, 29).u(2).s(0).b(0).b(0)) + comment;
    read_log(f.str());
    EXPECT_THAT(all_type_details(), testing::AllOf(HasSubstr("members{1 m i6/32/32 "),
                                                   HasSubstr("bases{struct late @0 "),
                                                   HasSubstr("members{1 n *struct late/16/16 ")));
    for (const TYPE *type : tp->all_types())
        EXPECT_TRUE(type->frozen);
    struct {
        BYTES types, body;
        const char *message;
    } const cases[] = {
        {list(5, 7, member(5, 1, "n", 2)), comment + list(2, 7, m), "Unexpected type attribute"},
        {"", comment + list(5, 7, member(5, 1, "n", 2)) + comment + list(2, 7, m),
         "Unexpected type attribute"},
        {"", comment + list(2, 7, member(2, 1, "m", 2)), "Class that holds itself"},
        {"",
         comment + list(5, 7, member(5, 1, "n", 2)) + list(2, 7, member(2, 1, "m", 5)) + comment,
         "Class that holds itself"},
        {"", comment + list(2, 7, m) + comment + list(2, 7, m), "Unexpected type attribute"},
        {"", def(2, 254).b(7) + comment + m, "Unexpected type attribute"}, // a list is in one piece
    };
    for (const auto &c : cases) {
        FILE_BYTES bad = f;
        bad.types += c.types;
        bad.body = c.body;
        const OUTCOME child = read_in_child(bad.str());
        EXPECT_EQ(child.status, 1);
        EXPECT_THAT(child.out, HasSubstr(c.message));
    }
}

// What each version stores, field by field.
TEST(Types, Versions) {
    for (int version = if_oldest_version; version <= if_current_version; ++version) {
        FILE_BYTES f;
        f.version = version;
        f.names = REC(126).str("unit.c");
        REC array = def(2, 18), enumeration = def(3, 22), shorter = def(4, 24), longer = def(5, 25),
            first = def(4, 28);
        array.u(1).u(2).u(64).u(32).b(0).b(1);
        if (version >= -76) array.b(1);
        if (version == -75 || version == -74) array.b(1);
        enumeration.str("e").u(32).u(32).u(1);
        shorter.b(1).str("su").b(1).b(0).u(32).u(32).b(1);
        longer.b(2).str(version < -81 ? "_3foo" : "su2").b(1).b(1).u(32).u(32).u(9);
        for (int i = 0; i < 9; ++i)
            longer.b(0);
        for (REC *r : {&shorter, &longer})
            if (version >= -84) r->b(1);
        for (REC *r : {&enumeration, &shorter, &longer}) {
            if (version >= -81) r->b(1);
            r->psn(4);
        }
        first.u(1).str("m").u(1).b(2).s(0);
        if (version >= -74) first.b(3);
        if (version >= -85)
            first.u(6).b(1).b(0).b(1);
        else
            first.b(1).u(6).b(0);
        first.psn(5);
        f.types = int_type(1) + BYTES(array) + BYTES(enumeration) + list(3, 1) + BYTES(shorter) +
                  BYTES(longer) + list(4, 7, first);
        f.globals = symbol("_s", 2, 2);
        const auto flag = [](bool b) { return b ? "1" : "0"; };
        const std::string cpp = flag(version >= -81);
        EXPECT_THAT(read_log(f.str()), HasSubstr(version >= -76 ? " vector2 " : " array2 "));
        const std::string old_flag = flag(version >= -84);
        EXPECT_EQ(all_type_details(),
                  "class " + std::string(version < -81 ? "_3foo" : "su2") +
                      " complete1 lowered1 32/32 extra9 has0000000000 flag" + old_flag +
                      " cpp1 old0 unit.c:4:1\nenum e 32/32 cpp" + cpp +
                      " i6/32/32 unit.c:4:1\nunion su complete1 lowered0 32/32 extra0 "
                      "has0000000100 flag" +
                      old_flag + " cpp" + cpp + " old" + flag(version < -80) +
                      " unit.c:4:1 members{1 m i6/32/32 flags2 @0 fti" +
                      (version >= -74 ? "3" : "0") + " width6 10" + flag(version >= -85) +
                      " unit.c:5:1}\n")
            << version;
    }
}

TEST(Types, Faults) {
    const BYTES i = int_type(1), f = function(2, 1), s = csu(3, "s", "1"),
                e = def(4, 22).str("e").u(32).u(32).u(1).b(1).no_psn(),
                param = def(2, 21).u(1).b(0).u(0).str(""), etor = def(4, 23).str("a").s(1).no_psn();
    struct {
        BYTES types;
        const char *message;
    } const cases[] = {
        {pointer(2, 7), "invalid forward reference"},
        {list(7, 0), "invalid forward reference"},
        {i + i, "read type twice"},
        {i + list(1, 0), "Unexpected type attribute"},
        {i + f + list(2, 0) + list(2, 0), "Unexpected type attribute"},
        {i + f + list(2, 1), "Unexpected type attribute"},
        {i + s + list(3, 1), "Unexpected type attribute"},
        {i + s + list(3, 10), "Unexpected type attribute"},
        {i + s + list(3, -1), "Unexpected type attribute"},
        {i + f + param, "Unexpected type attribute"},
        {i + f + list(2, 0) + param, "Unexpected type attribute"},
        {i + f + def(2, 255).b(0), "Unexpected type attribute"},
        {i + s + def(3, 254).b(7) + list(3, 7), "Unexpected type attribute"},
        {i + s + list(3, 7, def(3, 29).u(3).s(0).b(0).b(0)), "Unexpected type attribute"},
        {i + csu(3, "s", "100001000") + list(3, 7, member(3, 1, "m", 1)) + list(3, 7),
         "Duplicate CSU attributes"},
        {i + e + def(4, 254).b(1) + etor + def(4, 254).b(1), "Duplicate enumerator attributes"},
        {i + f + def(2, 254).b(0) + param + def(2, 254).b(0), "Duplicate function parameters"},
        {i + f + def(2, 254).b(0) + list(2, 0), "Unexpected type attribute"},
        {i + s + list(3, 7, member(3, 1, "m", 1) + member(3, 32, "n", 1)), "Invalid member number"},
        {pointer(2, 0), "Type without a base:  TYPE_PKG::mk_ptr()"},
        {i + f + csu(5, "s", "1") + list(5, 7, member(5, 1, "m", 2)),
         "Unfinished type:  TYPE_PKG::append_mdata()"},
        {int_type(0), "INTERNAL ERROR: Type number 0 in I-code"},
        {i + s + list(3, 7, member(3, 1, "m", 0)),
         "Element without a type:  TYPE_PKG::append_mdata()"},
        {i + s + list(3, 7, member(3, 0x7fffffff, "m", 1)),
         "Invalid member number:  TYPE_PKG::append_mdata()"},
        {i + s + list(3, 7, member(3, 1, "m", 3)),
         "INTERNAL ERROR: Class that holds itself in I-code"},
        {i + csu(5, "a", "1") + csu(6, "b", "100000000") +
             def(7, 18).u(6).u(2).u(64).u(32).b(0).b(1).b(0) + list(5, 7, member(5, 1, "m", 7)) +
             list(6, 2, def(6, 29).u(5).s(0).b(0).b(0)),
         "INTERNAL ERROR: Class that holds itself in I-code"},
        {i + f + pointer(3, 2) + pointer(4, 3) + list(2, 0, def(2, 21).u(4).b(0).u(0).str("")),
         "Type built on itself:  TYPE_PKG::type_frozen()"},
        {i + f + function(3, 1) + list(3, 0, def(3, 21).u(2).b(0).u(0).str("")) + list(2, 0),
         "Unfinished type:  TYPE_PKG::append_param()"},
    };
    for (const auto &c : cases) {
        const OUTCOME child = read_in_child(file_of(c.types).str());
        EXPECT_EQ(child.status, 1) << c.message;
        EXPECT_THAT(child.out, HasSubstr(c.message));
        EXPECT_THAT(child.out, HasSubstr(">> at offset 0x"));
    }
}

TEST(Types, NestedDeeply) {
    // Pointers to pointers, and classes in classes whose members come from the last to the first.
    const auto pointers = [](std::uint32_t n) {
        BYTES types = int_type(1);
        for (std::uint32_t t = 2; t < n + 2; ++t)
            types += pointer(t, t - 1);
        return file_of(types).str();
    };
    const auto classes = [](std::uint32_t n) {
        BYTES types = int_type(1);
        for (std::uint32_t t = 2; t < n + 2; ++t)
            types += csu(t, "c", "1");
        for (std::uint32_t t = n + 1; t >= 2; --t)
            types += list(t, 7, member(t, 1, "m", t - 1));
        return file_of(types).str();
    };
    struct {
        std::function<BYTES(std::uint32_t)> nested;
        const char *message;
    } const cases[] = {{pointers, "Type nested too deeply"},
                       {classes, "INTERNAL ERROR: Classes nested too deeply in I-code"}};
    for (const auto &c : cases) {
        EXPECT_EQ(read_in_child(c.nested(if_max_class_depth)).status, 0);
        const OUTCOME child = read_in_child(c.nested(if_max_class_depth + 1));
        EXPECT_EQ(child.status, 1);
        EXPECT_THAT(child.out, HasSubstr(c.message));
    }
}

// Without the named types, a file holds what it refers to, and all that this refers to.
TEST(Types, OnlyWhatIsReferenced) {
    const FILE_BYTES f =
        file_of(int_type(1) + csu(2, "unused", "0") + csu(3, "inner", "0") + csu(4, "outer", "1") +
                pointer(5, 4) + pointer(6, 3) + list(4, 7, member(4, 1, "m", 6)));
    for (bool all : {false, true}) {
        I_FILE *file = open_bytes(f.str());
        file->if_read_type_defs();
        FILE *stream = std::tmpfile();
        FILE *copy = fdopen(dup(fileno(stream)), "rb");
        I_FILE *out = I_FILE::if_create(stream, tp, "unit.c");
        out->if_reference_type(file->find_typeref(5));
        out->if_close(all, false);
        file->if_close(true, false);
        read_log(slurp(copy));
        EXPECT_THAT(all_type_details(),
                    testing::AllOf(HasSubstr("struct inner"), HasSubstr("struct outer")));
        EXPECT_EQ(all_type_details().find("struct unused") != std::string::npos, all);
    }
}

// Equal types of several translation units become one in the output.
TEST(Types, MergedOnRequest) {
    const auto pair = [](std::uint32_t n) {
        return csu(n, "pair", "1") + pointer(n + 1, n) + list(n, 7, member(n, 1, "first", n + 1));
    };
    FILE_BYTES f = file_of(int_type(1) + pair(2) + pair(4) + csu(6, "pair", "1") +
                           list(6, 7, member(6, 1, "second", 1)) + csu(7, "$$fake1", "0") +
                           csu(8, "$$fake1", "0"));
    f.globals = symbol("_a", 3, 2, 0, 16) + symbol("_b", 5, 2, 0, 16);
    I_FILE *file = open_bytes(f.str());
    file->if_read_type_defs();
    file->if_merge_type_defs();
    const auto same = [file](std::uint32_t a, std::uint32_t b) {
        return file->find_typeref(a)->canonical() == file->find_typeref(b)->canonical();
    };
    EXPECT_TRUE(same(2, 4) && same(3, 5));
    EXPECT_FALSE(same(2, 6) || same(7, 8));
    FILE *stream = std::tmpfile();
    FILE *copy = fdopen(dup(fileno(stream)), "rb");
    I_FILE *out = I_FILE::if_create(stream, tp, "unit.c");
    for (std::uint32_t number : {2u, 4u, 3u, 5u})
        out->if_reference_type(file->find_typeref(number));
    out->if_close(false, false);
    file->if_close(true, false);
    read_log(slurp(copy));
    const std::string details = all_type_details();
    EXPECT_EQ(std::count(details.begin(), details.end(), '\n'), 1) << details;
}
} // namespace
