// Queries, relations, conversions and spellings of types.
#include "OPT5/driver/global_flags.h"
#include "OPT5/rep/bbutils.h"
#include "OPT5/rep/type_pkg.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

namespace {
constexpr unsigned with_loose = 1, with_compatible = 2, with_machine = 4;

// Types by short names, so that the tables below can be read.
class Types : public ::testing::Test {
protected:
    void SetUp() override {
        tp = new TYPE_PKG;
        tp->init_type_pkg();
        kr_flag = 0;
        chars_alias_other_types = 1;
        static constexpr const char *ints[] = {"bool", "char", "uchar", "wchar", "short", "ushort",
                                               "int",  "uint", "long",  "ulong", "llong", "ullong"};
        for (std::size_t i = 0; i < std::size(ints); ++i)
            types[ints[i]] = tp->basic_int(static_cast<TYPE::IKIND>(i));
        types["float"] = tp->basic_float(TYPE::FLOAT);
        types["double"] = tp->basic_float(TYPE::DOUBLE);
        types["ldouble"] = tp->basic_float(TYPE::LDOUBLE);
        types["void"] = tp->void_type();
        types["void*"] = tp->void_ptr_type();
        types["schar"] = tp->mk_int(TYPE::SCHAR, true);
        types["flagint"] = tp->mk_int(TYPE::INT, false, 32, 32, true, false);
        types["plainint"] = tp->mk_int(TYPE::INT, false, 32, 32, false, true);
        types["long40"] = tp->mk_int(TYPE::LONG, false, 40, 16);
        types["fixed"] = tp->mk_fxtpt(15, 1, T("short"), 16, 16);
        types["fixed7"] = tp->mk_fxtpt(7, 1, T("short"), 16, 16);
        types["cfloat"] = tp->mk_complex(T("float"), 64, 32);
        types["cint"] = tp->mk_complex(T("int"), 64, 32);
        types["const int"] = tp->mk_qual(T("int"), TQ_const);
        types["vint"] = tp->mk_qual(T("int"), TQ_volatile);
        types["INT"] = tp->mk_typedef("INT", T("int"), 32, 32, false, false, nullptr);
        types["CINT"] = tp->mk_typedef("CINT", T("const int"), 32, 32, false, false, nullptr);
        types["LONG"] = tp->mk_typedef("LONG", T("long"), 32, 32, false, false, nullptr);
        for (const char *to :
             {"int", "uint", "long", "short", "char", "float", "INT", "const int", "void*", "LONG"})
            types[std::string(to) + "*"] = tp->mk_ptr(T(to));
        types["wide*"] = tp->mk_ptr(T("int"), 32, 32);
        types["int&"] = tp->mk_ref(T("int"), 16, 16);
        types["int*r"] = tp->mk_qual(T("int*"), TQ_restrict);
        types["int[3]"] = tp->mk_array(T("int"), 3);
        types["int[4]"] = tp->mk_array(T("int"), 4);
        types["uint[3]"] = tp->mk_array(T("uint"), 3);
        types["int[]"] = tp->mk_array(T("int"));
        types["CINT[3]"] = tp->mk_array(T("CINT"), 3);
        types["int v4"] = tp->mk_vector(T("int"), 4, 128, 32);
        types["uint v4"] = tp->mk_vector(T("uint"), 4, 128, 32);
        types["float v4"] = tp->mk_vector(T("float"), 4, 128, 32);
        types["short v8"] = tp->mk_vector(T("short"), 8, 128, 32);
        types["vpred"] = tp->mk_vpred(4);
        types["E"] = enumeration("E", T("int"));
        types["UE"] = enumeration("UE", T("ushort"));
        types["S"] = record(TYPE::STRUCT, "S", {T("int"), T("char")});
        types["S2"] = record(TYPE::STRUCT, "S", {T("int"), T("char")});
        types["U"] = record(TYPE::UNION, "U", {T("float"), T("int*"), T("S")});
        types["C"] = record(TYPE::CLASS, "C", {T("U"), T("vint")});
        types["open"] = record(TYPE::STRUCT, "open", {}, false);
        types["S*"] = tp->mk_ptr(T("S"));
        types["S2*"] = tp->mk_ptr(T("S2"));
        types["E*"] = tp->mk_ptr(T("E"));
        types["S v2"] = tp->mk_vector(T("S"), 2, 128, 32);
        types["int S::*"] = tp->mk_ptm(T("int"), T("S"), 32, 32);
        types["int()"] = function(T("int"), {}, false, false);
        types["int(void)"] = function(T("int"), {});
        types["int(int)"] = function(T("int"), {T("int")});
        types["int(LONG)"] = function(T("int"), {T("LONG")});
        types["int(uint)"] = function(T("int"), {T("uint")});
        types["int(int,...)"] = function(T("int"), {T("int")}, true);
        types["int(*)(int)"] = tp->mk_ptr(T("int(int)"));
        types["int(*)(LONG)"] = tp->mk_ptr(T("int(LONG)"));
    }
    void TearDown() override {
        erase_all_nodes();
        delete tp;
        tp = nullptr;
    }

    TYPE *T(const std::string &name) const {
        const auto found = types.find(name);
        EXPECT_NE(found, types.end()) << name;
        return found == types.end() ? tp->int_type() : found->second;
    }
    static TYPE *function(TYPE *result, std::vector<TYPE *> params, bool variadic = false,
                          bool prototyped = true) {
        TYPE *type = tp->mk_func(result, variadic, prototyped, 0, false);
        for (TYPE *param : params)
            tp->append_param(type, param, 0, {});
        return tp->type_frozen(type);
    }
    static TYPE *enumeration(const char *name, TYPE *underlying) {
        return tp->type_frozen(
            tp->mk_enum(name, underlying->size(), underlying->align(), underlying, false, nullptr));
    }
    static TYPE *record(TYPE::KIND kind, const char *name, std::vector<TYPE *> members,
                        bool complete = true) {
        TYPE *type = kind == TYPE::STRUCT  ? tp->mk_struct(name, 64, 32, complete)
                     : kind == TYPE::UNION ? tp->mk_union(name, 64, 32, complete)
                                           : tp->mk_class(name, 64, 32, complete);
        fkMDATA member;
        for (TYPE *member_type : members) {
            ++member.index;
            member.name = "m";
            member.type = member_type;
            tp->append_mdata(type, member);
            if (kind != TYPE::UNION)
                member.offset += static_cast<std::int32_t>(member_type->size());
        }
        return tp->type_frozen(type);
    }

    std::map<std::string, TYPE *> types;
};
using TypesDeathTest = Types;

enum QUERIES : unsigned {
    arithmetic = 1,
    scalar = 2,
    udt = 4,
    is_s = 8,
    is_u = 16,
    vector = 32,
    struct_vector = 64,
    vararg = 128,
    predicate = 256,
    complete = 512,
};
} // namespace

TEST_F(Types, WhatATypeIs) {
    const struct {
        const char *name;
        unsigned answers;
        int ekind;
        unsigned storage;
    } cases[] = {
        {"void", 0, 26, 0},
        {"bool", arithmetic | scalar | complete, 0, 32},
        {"char", arithmetic | scalar | is_s | complete, 1, 16},
        {"uchar", arithmetic | scalar | is_u | complete, 2, 16},
        {"wchar", arithmetic | scalar | complete, 3, 16},
        {"short", arithmetic | scalar | is_s | complete, 4, 16},
        {"ushort", arithmetic | scalar | is_u | complete, 5, 16},
        {"INT", arithmetic | scalar | is_s | complete, 6, 32},
        {"CINT", arithmetic | scalar | is_s | complete, 6, 32},
        {"ullong", arithmetic | scalar | is_u | complete, 11, 32},
        {"long40", arithmetic | scalar | is_s | complete, 8, 64},
        {"float", arithmetic | scalar | is_s | complete, 12, 32},
        {"ldouble", arithmetic | scalar | is_s | complete, 14, 32},
        {"fixed", arithmetic | scalar | complete, 15, 16},
        {"cfloat", arithmetic | scalar | complete, 16, 64},
        {"int*r", scalar | complete, 17, 16},
        {"int&", scalar | complete, 18, 16},
        {"int[3]", complete, 19, 96},
        {"int[]", 0, 19, 0},
        {"int v4", vector | is_s | complete, 19, 128},
        {"uint v4", vector | is_u | complete, 19, 128},
        {"S v2", vector | struct_vector | complete, 19, 128},
        {"vpred", vector | predicate | is_s | complete, 19, 64},
        {"int S::*", arithmetic | scalar | complete, 20, 32},
        {"int(int)", complete, 21, 0},
        {"int(int,...)", vararg | complete, 21, 0},
        {"E", arithmetic | scalar | udt | is_s | complete, 22, 32},
        {"UE", arithmetic | scalar | udt | is_u | complete, 22, 16},
        {"C", udt | complete, 23, 64},
        {"S", udt | complete, 24, 64},
        {"open", udt, 24, 64},
        {"U", udt | complete, 25, 64},
    };
    for (const auto &c : cases) {
        const TYPE *t = T(c.name);
        const unsigned answers = arithmetic * t->is_arithmetic() | scalar * t->is_scalar() |
                                 udt * t->is_udt() | is_s * t->is_signed() |
                                 is_u * t->is_unsigned() | vector * t->is_vector() |
                                 struct_vector * t->is_struct_vector() | vararg * t->is_vararg() |
                                 predicate * t->is_vpred() | complete * t->is_complete();
        EXPECT_EQ(answers, c.answers) << c.name;
        EXPECT_EQ(t->ekind(), c.ekind) << c.name;
        EXPECT_EQ(t->storage_size(), c.storage) << c.name;
    }
    EXPECT_EQ(T("int")->size_in_bytes(), 2u);
    EXPECT_EQ(T("char")->size_in_bytes(), 1u);
    EXPECT_EQ(tp->mk_int(TYPE::INT, false, 24, 16)->storage_size(), 32u);
    EXPECT_EQ(tp->mk_int(TYPE::INT, false, 1, 16)->storage_size(), 1u);
    EXPECT_EQ(tp->mk_int(TYPE::INT, false, 0, 16)->storage_size(), 1u);
}

TEST_F(Types, KindsAndRanksOfIntegers) {
    const int ranks[] = {0, 1, 1, 1, 2, 2, 3, 3, 4, 4, 5, 5};
    for (int kind = TYPE::BOOL; kind <= TYPE::ULLONG; ++kind) {
        const TYPE *t = tp->basic_int(static_cast<TYPE::IKIND>(kind));
        const bool answers[] = {t->is_bool(),  t->is_schar(),  t->is_uchar(), t->is_wchar_t(),
                                t->is_short(), t->is_ushort(), t->is_int(),   t->is_uint(),
                                t->is_long(),  t->is_ulong(),  t->is_llong(), t->is_ullong()};
        for (int other = TYPE::BOOL; other <= TYPE::ULLONG; ++other)
            EXPECT_EQ(answers[other], other == kind) << kind << ' ' << other;
        EXPECT_EQ(t->rank(), ranks[kind]);
    }
    EXPECT_TRUE(T("char")->is_plain_char());
    EXPECT_FALSE(T("schar")->is_plain_char());
    EXPECT_FALSE(T("short")->is_plain_char());
    EXPECT_TRUE(T("cint")->is_cint());
    EXPECT_FALSE(T("cint")->is_cfloat());
    EXPECT_TRUE(T("cfloat")->is_cfloat());
    EXPECT_FALSE(T("int")->is_cint());
}

TEST_F(Types, Components) {
    EXPECT_EQ(T("int*r")->type_pointed_to(), T("int"));
    EXPECT_EQ(T("int&")->type_pointed_to(), T("int"));
    EXPECT_EQ(T("int(int)")->return_type(), T("int"));
    EXPECT_EQ(T("UE")->underlying_type(), T("ushort"));
    EXPECT_EQ(T("fixed")->underlying_type(), T("short"));
    EXPECT_EQ(T("cfloat")->part_type(), T("float"));
    EXPECT_EQ(T("INT")->getd(TYPE::INTEGER), T("int"));
    EXPECT_EQ(T("CINT")->getd(TYPE::QUALIFIED), T("const int"));
    EXPECT_EQ(T("CINT")->getr(TYPE::INTEGER), T("int"));
    EXPECT_EQ(T("CINT")->stqs(), T("const int"));
    EXPECT_EQ(T("const int")->stqs(), T("const int"));
    EXPECT_STREQ(T("S")->name(), "S");
    EXPECT_STREQ(T("CINT")->name(), "CINT");
    EXPECT_STREQ(T("int")->name(), "");
    // The elements of a qualified array are qualified.
    EXPECT_EQ(T("int[3]")->elem_type(), T("int"));
    TYPE *array = tp->mk_qual(T("int[3]"), TQ_volatile | TQ_packed);
    EXPECT_EQ(array->elem_type()->qual_kind(false), unsigned{TQ_volatile | TQ_packed});
    EXPECT_EQ(array->elem_type()->align(), 16u);
    EXPECT_EQ(array->elem_type()->stds(), T("int"));
    TYPE *flexible = record(TYPE::STRUCT, "F", {T("int"), T("int[]")});
    EXPECT_TRUE(flexible->has_flex_array_member());
    EXPECT_FALSE(T("S")->has_flex_array_member());
    EXPECT_FALSE(T("int[]")->has_flex_array_member());
}

TEST_F(Types, Qualifiers) {
    TYPE *nested = tp->mk_qual(tp->mk_array(T("CINT[3]"), 2), TQ_volatile);
    EXPECT_EQ(nested->qual_kind(false), unsigned{TQ_volatile});
    EXPECT_EQ(nested->qual_kind(true), unsigned{TQ_volatile | TQ_const});
    EXPECT_EQ(nested->type_qualified(), tp->mk_array(T("int[3]"), 2));
    EXPECT_EQ(T("CINT")->type_qualified(), T("int"));
    EXPECT_EQ(T("int[3]")->type_qualified(), T("int[3]"));
    EXPECT_EQ(T("const int*")->type_qualified(), T("const int*")) << "not below pointers";

    TYPE *both = tp->mk_qual(T("int*"), TQ_restrict | TQ_const);
    EXPECT_EQ(tp->remove_known_qual(both, TQ_const), T("int*r"));
    EXPECT_EQ(tp->remove_known_qual(both, TQ_const | TQ_restrict), T("int*"));
    EXPECT_EQ(tp->remove_known_qual(both, TQ_volatile), both);
    EXPECT_EQ(tp->remove_known_qual(T("CINT"), TQ_const), T("int"));
    EXPECT_EQ(tp->remove_known_qual(tp->mk_qual(T("INT"), TQ_const), TQ_const), T("INT"));
    EXPECT_EQ(tp->remove_known_qual(T("CINT[3]"), TQ_const), T("int[3]"));
    EXPECT_EQ(tp->remove_known_qual(nested, TQ_const)->qual_kind(true), unsigned{TQ_volatile});

    EXPECT_EQ(tp->replace_array_elem(T("int[3]"), T("int"), T("uint")), T("uint[3]"));
    EXPECT_EQ(tp->replace_array_elem(T("int[3]"), T("float"), T("uint")), T("int[3]"));
    EXPECT_EQ(tp->replace_array_elem(T("int v4"), T("int"), T("float")), T("float v4"));
    EXPECT_EQ(tp->replace_array_elem(T("int[3]"), T("int"), T("char")), tp->mk_array(T("char"), 3));
    TYPE *bounded = tp->mk_array(T("int"), 5, 3u);
    EXPECT_EQ(tp->replace_array_elem(bounded, T("int"), T("uint"))->sub.array.low_bound, 5);
}

TEST_F(Types, NormalForms) {
    const struct {
        const char *name, *normal;
    } cases[] = {
        {"long", "int"},
        {"llong", "int"},
        {"ulong", "uint"},
        {"ullong", "uint"},
        {"int", "int"},
        {"short", "char"},
        {"ushort", "uchar"},
        {"wchar", "char"},
        {"schar", "char"},
        {"flagint", "int"},
        {"plainint", "int"},
        {"bool", "bool"},
        {"double", "float"},
        {"ldouble", "float"},
        {"INT", "int"},
        {"CINT", "const int"},
        {"LONG*", "int*"},
        {"long*", "int*"},
        {"short*", "char*"},
        {"INT*", "int*"},
        {"E", "E"},
        {"S", "S"},
        {"void", "void"},
        {"vpred", "vpred"},
        {"int(LONG)", "int(int)"},
        {"int(*)(LONG)", "int(*)(int)"},
        {"int*r", "int*r"},
        {"int[3]", "int[3]"},
        {"cfloat", "cfloat"},
        {"int[]", "int[]"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(T(c.name)->normalized(), T(c.normal)) << c.name;
    EXPECT_EQ(T("CINT[3]")->normalized(), tp->mk_array(T("const int"), 3));
    EXPECT_EQ(T("fixed7")->normalized(), tp->mk_fxtpt(7, 1, T("char"), 16, 16));
    EXPECT_EQ(T("long40")->normalized()->size(), 40u);
    for (const auto &[name, type] : types) {
        TYPE *normal = type->normalized();
        EXPECT_EQ(normal->normalized(), normal) << name;
        EXPECT_EQ(normal->size(), type->size()) << name;
        EXPECT_EQ(normal->is_unsigned(), type->is_unsigned()) << name;
        EXPECT_EQ(normal->qual_kind(true), type->qual_kind(true)) << name;
    }
}

// A type that refers to itself through a class, and one whose spelling would be endless.
TEST_F(Types, TypesThatLeadFar) {
    TYPE *list = tp->mk_struct("list", 16, 16, true);
    fkMDATA next;
    next.index = 1;
    next.name = "next";
    next.type = tp->mk_ptr(list);
    tp->append_mdata(list, next);
    list = tp->type_frozen(list);
    EXPECT_EQ(next.type->normalized(), next.type);
    EXPECT_EQ(next.type->printstr(), "struct list *");
    EXPECT_FALSE(type_is_contained_in_type(list, next.type));
    EXPECT_FALSE(type_may_contain_volatile(list));
    EXPECT_TRUE(type_may_alias_type(list, next.type));

    TYPE *a = T("int(int)"), *b = T("int(LONG)");
    for (int i = 0; i < 200; ++i) {
        TYPE *to_a = tp->mk_ptr(a), *to_b = tp->mk_ptr(b);
        a = function(T("int"), {to_a, to_a, to_a});
        b = function(T("int"), {to_b, to_b, to_b});
    }
    EXPECT_TRUE(compatible_types(a, b));
    EXPECT_EQ(b->normalized(), a->normalized());
    EXPECT_LT(a->printstr().size(), 20000u);
    TYPE *chain = T("int");
    for (int i = 0; i < 900; ++i)
        chain = tp->mk_ptr(chain);
    EXPECT_FALSE(compatible_types(chain, chain->type_pointed_to()));
    EXPECT_EQ(chain->normalized(), chain);
}

TEST_F(Types, ExactTypesAreEqualInEveryField) {
    for (const auto &[name, type] : types)
        for (const auto &[other_name, other] : types)
            EXPECT_EQ(exact_types(type, other), type == other) << name << ", " << other_name;
    // Interning has made equal types one, so that equal ones are made by hand.
    TYPE made;
    const auto equal_but = [&made](const TYPE *type, auto change) {
        made.kind_ = type->kind_;
        made.size_ = type->size_;
        made.align_ = type->align_;
        made.cpp = type->cpp;
        made.lowered = type->lowered;
        made.sub = type->sub;
        change(made);
        return exact_types(type, &made) && exact_types(&made, type);
    };
    const auto nothing = [](TYPE &) {};
    for (const char *name : {"void", "int", "float", "fixed", "cint", "int*", "int&", "const int",
                             "INT", "int[3]", "int v4", "int S::*", "int(int)"}) {
        EXPECT_TRUE(equal_but(T(name), nothing)) << name;
        EXPECT_FALSE(equal_but(T(name), [](TYPE &t) { t.align_ += 16; })) << name;
        EXPECT_FALSE(equal_but(T(name), [](TYPE &t) { t.size_ += 16; })) << name;
        EXPECT_FALSE(equal_but(T(name), [](TYPE &t) { t.cpp = true; })) << name;
    }
    EXPECT_FALSE(equal_but(T("S"), nothing)) << "each class is a type of its own";
    EXPECT_FALSE(equal_but(T("E"), nothing));
    EXPECT_FALSE(equal_but(T("INT"), [](TYPE &t) { t.sub.typedef_.name = "INT2"; }));
    EXPECT_FALSE(equal_but(T("INT"), [](TYPE &t) { t.lowered = true; }));
    EXPECT_FALSE(equal_but(T("int[3]"), [](TYPE &t) { t.sub.array.is_complete = false; }));
    EXPECT_FALSE(equal_but(T("int[3]"), [](TYPE &t) { t.sub.array.low_bound = 1; }));
    EXPECT_FALSE(equal_but(T("int(int)"), [](TYPE &t) { t.sub.func.cc_kind = 1; }));
    EXPECT_FALSE(equal_but(T("int(int)"), [](TYPE &t) { t.sub.func.params = nullptr; }));
    EXPECT_FALSE(exact_types(nullptr, T("int")));
    EXPECT_TRUE(exact_types(nullptr, nullptr));
}

TEST_F(Types, Relations) {
    constexpr unsigned all = with_loose | with_compatible | with_machine;
    constexpr unsigned language = with_loose | with_compatible;
    const struct {
        const char *a, *b;
        unsigned holds;
    } cases[] = {
        {"int", "int", all},
        {"int", "CINT", all},
        {"int", "long", all},
        {"int", "flagint", all},
        {"int", "uint", with_loose},
        {"int", "short", 0},
        {"short", "wchar", all},
        {"bool", "int", 0},
        {"int", "float", 0},
        {"float", "ldouble", all},
        {"int", "E", all},
        {"ushort", "UE", all},
        {"E", "UE", 0},
        {"fixed", "fixed7", 0},
        {"fixed", "short", 0},
        {"cfloat", "cint", 0},
        {"int*", "const int*", all},
        {"int*", "int*r", all},
        {"int*", "long*", all},
        {"int*", "E*", all},
        {"int*", "uint*", with_loose},
        {"int*", "float*", with_loose},
        {"int*", "void*", with_loose},
        {"int*", "int&", 0},
        {"int*", "short", 0},
        {"S*", "S2*", with_loose},
        {"S", "S2", 0},
        {"S", "U", 0},
        {"int[3]", "CINT[3]", all},
        {"int[3]", "int[4]", 0},
        {"int[3]", "int[]", language},
        {"int[3]", "uint[3]", with_loose},
        {"int[4]", "int v4", 0},
        {"int v4", "uint v4", with_loose},
        {"int v4", "short v8", 0},
        {"int(int)", "int(LONG)", all},
        {"int(int)", "int(uint)", with_loose},
        {"int(int)", "int(void)", 0},
        {"int(int)", "int()", language},
        {"int(int)", "int(int,...)", 0},
        {"int(*)(int)", "int(*)(LONG)", all},
        {"int(*)(int)", "int*", with_loose},
        {"int S::*", "int S::*", all},
        {"int S::*", "int", 0},
        {"void", "int", 0},
    };
    for (const auto &c : cases)
        for (const auto &[x, y] : {std::pair(c.a, c.b), std::pair(c.b, c.a)}) {
            const unsigned holds = with_loose * compatible_types(T(x), T(y), true) |
                                   with_compatible * compatible_types(T(x), T(y)) |
                                   with_machine * equiv_mtypes(T(x), T(y));
            EXPECT_EQ(holds, c.holds) << x << ", " << y;
        }
    T("S2")->set_equiv(T("S"));
    EXPECT_TRUE(compatible_types(T("S*"), T("S2*")));
    EXPECT_TRUE(mdata_equal(T("S")->get_csu()->mdata, T("S2")->get_csu()->mdata));
    EXPECT_FALSE(mdata_equal(T("S")->get_csu()->mdata, T("U")->get_csu()->mdata));
    EXPECT_FALSE(mdata_equal(T("S")->get_csu()->mdata, T("S2")->get_csu()->mdata->next));
    EXPECT_FALSE(mdata_equal(T("S")->get_csu()->mdata, nullptr));
}

TEST_F(Types, Promotions) {
    const struct {
        const char *name, *promoted, *kr_promoted, *c_promoted;
    } cases[] = {
        {"bool", "int", "int", "bool"},       {"char", "int", "int", "int"},
        {"uchar", "int", "uint", "int"},      {"wchar", "int", "uint", "int"},
        {"short", "int", "int", "int"},       {"ushort", "int", "uint", "int"},
        {"int", "int", "int", "int"},         {"CINT", "int", "int", "int"},
        {"uint", "uint", "uint", "uint"},     {"long", "long", "long", "long"},
        {"ulong", "ulong", "ulong", "ulong"}, {"E", "int", "int", "int"},
        {"UE", "int", "uint", "int"},         {"float", "float", "float", "float"},
        {"int*", "int*", "int*", "int*"},     {"S", "S", "S", "S"},
    };
    for (const auto &c : cases) {
        kr_flag = 0;
        EXPECT_EQ(promoted_type(T(c.name)), T(c.promoted)) << c.name;
        kr_flag = 1;
        EXPECT_EQ(promoted_type(T(c.name)), T(c.kr_promoted)) << c.name;
        EXPECT_EQ(TYPE_PKG::c_integral_promotions(T(c.name)), T(c.c_promoted)) << c.name;
    }
    TYPE *wide = tp->mk_int(TYPE::INT, false, 48, 16);
    EXPECT_EQ(promoted_type(wide), wide) << "no bits may get lost";
    EXPECT_EQ(combined_type_for_types(wide, T("uint")), wide);
}

TEST_F(Types, CombinedTypes) {
    const struct {
        const char *a, *b, *combined, *c_conv; // c_conv null: ends the run
    } cases[] = {
        {"char", "uchar", "int", "int"},
        {"int", "uint", "uint", "uint"},
        {"int", "ldouble", "ldouble", "ldouble"},
        {"double", "float", "double", "double"},
        {"float", "ullong", "float", "float"},
        {"llong", "ullong", "ullong", "ullong"},
        {"llong", "ulong", "llong", "ullong"},
        {"ulong", "long", "ulong", "ulong"},
        {"long", "uint", "ulong", "ulong"},
        {"long", "int", "long", "long"},
        {"E", "UE", "int", "int"},
        {"CINT", "vint", "int", "int"},
    };
    for (const auto &c : cases)
        for (const auto &[x, y] : {std::pair(c.a, c.b), std::pair(c.b, c.a)}) {
            EXPECT_EQ(combined_type_for_types(T(x), T(y)), T(c.combined)) << x << ", " << y;
            EXPECT_EQ(tp->c_usual_arith_conv(T(x), T(y)), T(c.c_conv)) << x << ", " << y;
        }
    // What is no number takes the second type, and pointers win in the package's form.
    EXPECT_EQ(combined_type_for_types(T("int*"), T("short")), T("int"));
    EXPECT_EQ(combined_type_for_types(T("short"), T("int*")), T("int*"));
    EXPECT_EQ(tp->c_usual_arith_conv(T("int*"), T("char*")), T("int*"));
    EXPECT_EQ(tp->c_usual_arith_conv(T("int"), T("char*")), T("char*"));
    // A long that differs in size from unsigned keeps its sign.
    EXPECT_EQ(combined_type_for_types(T("long40"), T("uint")), T("long40"));
    TYPE *long24 = tp->mk_int(TYPE::LONG, false, 24, 16);
    EXPECT_EQ(combined_type_for_types(long24, T("uint")), T("long"));
    kr_flag = 1;
    EXPECT_EQ(combined_type_for_types(long24, T("uint")), T("ulong"));
}

TEST_F(Types, Signs) {
    for (const auto &[s, u] :
         {std::pair("char", "uchar"), std::pair("short", "ushort"), std::pair("int", "uint"),
          std::pair("long", "ulong"), std::pair("llong", "ullong")}) {
        EXPECT_EQ(tp->mk_unsigned(T(s)), T(u));
        EXPECT_EQ(tp->mk_unsigned(T(u)), T(u));
        EXPECT_EQ(tp->mk_signed(T(u)), T(s));
        EXPECT_EQ(tp->mk_signed(T(s)), T(s));
    }
    for (const char *name : {"bool", "wchar"}) {
        EXPECT_EQ(tp->mk_unsigned(T(name)), T(name));
        EXPECT_EQ(tp->mk_signed(T(name)), T(name));
    }
    EXPECT_EQ(tp->mk_unsigned(T("E")), T("uint"));
    EXPECT_EQ(tp->mk_unsigned(T("UE")), T("ushort"));
    EXPECT_EQ(tp->mk_signed(T("INT")), T("INT")) << "a type of the right sign stays as written";
    EXPECT_EQ(tp->mk_unsigned(T("CINT")), tp->mk_qual(T("uint"), TQ_const));
    EXPECT_EQ(tp->mk_unsigned(tp->mk_qual(T("int"), TQ_packed))->align(), 16u);
    EXPECT_EQ(tp->mk_unsigned(T("long40"))->size(), 40u);
    EXPECT_TRUE(tp->mk_unsigned(T("long40"))->is_unsigned());
}

TEST_F(Types, SizesOfIntegers) {
    EXPECT_EQ(next_wider_type(T("short")), T("int"));
    EXPECT_EQ(next_wider_type(T("ushort")), T("uint"));
    EXPECT_EQ(next_wider_type(T("UE")), T("uint"));
    EXPECT_EQ(next_wider_type(T("int")), nullptr);
    EXPECT_EQ(next_wider_type(T("float")), nullptr);
    EXPECT_EQ(next_wider_type(T("S")), nullptr);
    EXPECT_EQ(wide_enough_int_type(16, true), T("char"));
    EXPECT_EQ(wide_enough_int_type(17, false), T("uint"));
    EXPECT_EQ(wide_enough_int_type(33, false), nullptr);
    EXPECT_EQ(normalized_underlying_type(tp->mk_qual(T("UE"), TQ_volatile)),
              tp->mk_qual(T("uchar"), TQ_volatile));
    EXPECT_EQ(normalized_underlying_type(T("LONG")), T("int"));
    EXPECT_EQ(essential_type(tp->mk_qual(T("LONG"), TQ_const)), T("int"));
    const struct {
        long long value;
        const char *type;
        bool fits;
    } cases[] = {
        {32767, "short", true}, {32768, "short", false},    {32768, "ushort", true},
        {-1, "ushort", false},  {-32768, "char", true},     {-32769, "char", false},
        {65536, "UE", false},   {4294967295, "uint", true}, {4294967295, "int", false},
        {0, "float", false},
    };
    for (const auto &c : cases)
        EXPECT_EQ(value_fits_in_type(c.value, T(c.type)), c.fits) << c.value << ' ' << c.type;
}

TEST_F(Types, Spellings) {
    const struct {
        const char *name, *text;
    } cases[] = {
        {"void", "void"},
        {"char", "char"},
        {"schar", "signed char"},
        {"uchar", "unsigned char"},
        {"wchar", "wchar_t"},
        {"uint", "unsigned"},
        {"ullong", "unsigned long long"},
        {"ldouble", "long double"},
        {"fixed", "fixed<15>"},
        {"cfloat", "complex float"},
        {"const int", "const int"},
        {"CINT", "CINT"},
        {"const int*", "const int *"},
        {"int*r", "int *restrict"},
        {"int&", "int &"},
        {"int[3]", "int [3]"},
        {"int[]", "int []"},
        {"int v4", "vector<int, 4>"},
        {"int(int)", "int (int)"},
        {"int(void)", "int (void)"},
        {"int()", "int ()"},
        {"int(int,...)", "int (int, ...)"},
        {"int(*)(int)", "int (*)(int)"},
        {"int S::*", "int struct S::*"},
        {"E", "enum E"},
        {"S*", "struct S *"},
        {"U", "union U"},
        {"C", "class C"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(T(c.name)->printstr(), c.text);
    EXPECT_EQ(tp->mk_qual(T("int"), 255)->printstr(),
              "const volatile packed near far restrict ioport onchip int");
    EXPECT_EQ(tp->mk_ptr(T("int[3]"))->printstr(), "int (*)[3]");
    EXPECT_EQ(tp->mk_array(T("int(*)(int)"), 2)->printstr(), "int (*[2])(int)");
    EXPECT_EQ(tp->mk_ptr(tp->mk_qual(T("int*"), TQ_const))->printstr(), "int *const *");
    EXPECT_EQ(tp->mk_qual(T("int(*)(int)"), TQ_const)->printstr(), "int (*const)(int)");
    EXPECT_EQ(tp->mk_array(tp->mk_array(T("int"), 3), 2)->printstr(), "int [2][3]");

    char *text = nullptr;
    std::size_t size = 0;
    std::FILE *stream = open_memstream(&text, &size);
    T("S")->dump(stream);
    T("int*")->println(stream);
    std::fclose(stream);
    EXPECT_NE(std::string(text).find(": struct S   size=64 align=32   merg=0 refd=0 writ=0 cpp=0 "
                                     "complete=1 equiv=0 base="),
              std::string::npos)
        << text;
    EXPECT_NE(std::string(text).find("\t2: off: 32 m: char\nint *\n"), std::string::npos) << text;
    std::free(text);
}

TEST_F(Types, WhatTypesHold) {
    EXPECT_EQ(type_of_nth_parameter(T("int(uint)"), 0), T("uint"));
    EXPECT_EQ(type_of_nth_parameter(T("int(uint)"), 1), nullptr);
    EXPECT_EQ(type_of_nth_parameter(T("int"), 0), nullptr);
    EXPECT_TRUE(is_field_member_of_type(T("S")->get_csu()->mdata->next, T("S")));
    EXPECT_FALSE(is_field_member_of_type(T("S")->get_csu()->mdata, T("S2")));
    EXPECT_TRUE(csu_type_has_only_simple_scalar_members(T("S")));
    EXPECT_FALSE(csu_type_has_only_simple_scalar_members(T("U")));
    EXPECT_FALSE(csu_type_has_only_simple_scalar_members(T("C")));
    EXPECT_TRUE(is_type_component_of_type(T("S"), T("U")));
    EXPECT_TRUE(is_type_component_of_type(T("int"), T("CINT[3]")));
    EXPECT_FALSE(is_type_component_of_type(T("char"), T("U"))) << "one level only";
    EXPECT_TRUE(type_is_contained_in_type(T("char"), T("U")));
    EXPECT_TRUE(type_is_contained_in_type(T("S"), T("S")));
    EXPECT_FALSE(type_is_contained_in_type(T("U"), T("S")));
    EXPECT_TRUE(types_contained_in_union(T("float"), T("char"), T("C")));
    EXPECT_FALSE(types_contained_in_union(T("int"), T("char"), T("S")));
    EXPECT_TRUE(type_may_contain_volatile(T("C")));
    EXPECT_FALSE(type_may_contain_volatile(T("U")));
    EXPECT_TRUE(type_may_contain_volatile(T("vint")));
}

TEST_F(Types, Aliases) {
    const struct {
        const char *a, *b;
        bool chars_alias, chars_do_not;
    } cases[] = {
        {"int", "uint", true, true},     {"int", "E", true, true},
        {"int", "float", false, false},  {"int", "int*", false, false},
        {"int*", "S*", true, true},      {"int", "S", true, true},
        {"float", "S", false, false},    {"float", "C", true, true},
        {"short", "float", true, false}, {"char", "S*", true, false},
        {"S", "S2", true, true},         {"S", "C", true, true},
        {"void", "float", true, true},   {"open", "float", true, true},
        {"int", "int[3]", true, true},   {"int[3]", "float v4", false, false},
    };
    for (const auto &c : cases)
        for (const auto &[x, y] : {std::pair(c.a, c.b), std::pair(c.b, c.a)}) {
            chars_alias_other_types = 1;
            EXPECT_EQ(type_may_alias_type(T(x), T(y)), c.chars_alias) << x << ", " << y;
            chars_alias_other_types = 0;
            EXPECT_EQ(type_may_alias_type(T(x), T(y)), c.chars_do_not) << x << ", " << y;
        }
}

// The conversions on the way from a value of one type to another, outermost first.
TEST_F(Types, Coercions) {
    const struct {
        const char *from, *to;
        std::vector<int> ops;
        const char *type;
    } cases[] = {
        {"int", "int", {}, "int"},
        {"int", "LONG", {}, "int"},
        {"int", "E", {}, "int"},
        {"const int", "int", {}, "const int"},
        {"int", "short", {OP::SCONV}, "char"},
        {"int", "uint", {OP::SCONV}, "uint"},
        {"int", "CINT", {}, "int"},
        {"int", "UE", {OP::SCONV}, "uchar"},
        {"UE", "int", {OP::SCONV}, "int"},
        {"int", "bool", {OP::SCONV}, "bool"},
        {"float", "int", {OP::SCONV}, "int"},
        {"float", "double", {}, "float"},
        {"int*", "const int*", {}, "int*"},
        {"int*", "float*", {OP::PCONV}, "float*"},
        {"void*", "int*r", {OP::PCONV}, "int*"},
        {"int", "int*", {OP::PCONV}, "int*"},
        {"float", "int*", {OP::PCONV, OP::SCONV}, "int*"},
        {"int*", "int", {OP::SCONV, OP::PCONV}, "int"},
        {"int*", "ushort", {OP::PCONV}, "uchar"},
        {"int*", "float", {OP::SCONV, OP::PCONV}, "float"},
        {"wide*", "int", {OP::SCONV, OP::PCONV}, "int"},
        {"wide*", "uint", {OP::PCONV}, "uint"},
        {"int[3]", "int*", {OP::PCONV, OP::UAND}, "int*"},
        {"int(int)", "int(*)(int)", {OP::UAND}, "int(*)(int)"},
        {"int v4", "float v4", {OP::VSCONV}, "float v4"},
        {"int", "void", {}, "int"},
        {"S", "S2", {}, "S"},
    };
    for (const auto &c : cases) {
        LS *scope = reinterpret_cast<LS *>(&types); // is handed on, never looked at
        NODE *value = maketree(OP::NAME, nullptr, nullptr, T(c.from), scope);
        NODE *tree = coerce_to_type(T(c.to), value);
        EXPECT_EQ(tree->type, T(c.type)) << c.from << " to " << c.to;
        for (int op : c.ops) {
            EXPECT_EQ(int{tree->op}, op) << c.from << " to " << c.to;
            EXPECT_EQ(tree->scope, scope);
            if (tree->left) tree = tree->left;
        }
        EXPECT_EQ(tree, value) << c.from << " to " << c.to;
    }
}

TEST_F(Types, ConstantsAreCoercedInPlace) {
    const struct {
        long long from;
        const char *type, *to;
        long long value;
    } cases[] = {
        {-1, "int", "uint", 4294967295}, {-1, "int", "ushort", 65535},
        {65535, "uint", "short", -1},    {40000, "int", "UE", 40000},
        {-2, "short", "int", -2},        {4294967295, "uint", "int", -1},
        {-2, "int*", "int", 65534},      {65534, "int*", "uint", 65534},
        {-2, "int*", "short", -2},       {-2, "int&", "ulong", 65534},
        {2, "int", "bool", 1},           {0, "uint", "bool", 0},
        {-4, "int*", "bool", 1},         {65536, "uint", "bool", 1},
    };
    for (const auto &c : cases) {
        LS *scope = reinterpret_cast<LS *>(&types);     // is handed on, never looked at
        NODE *constant = new_node(OP::ICON, T(c.type)); // a constant address keeps its type
        constant->u.lval = c.from;
        constant->scope = scope;
        NODE *tree = coerce_to_type(T(c.to), constant);
        EXPECT_EQ(tree->scope, scope);
        ASSERT_EQ(int{tree->op}, int{OP::ICON});
        EXPECT_EQ(tree->u.lval, INT65(c.value)) << c.from << " to " << c.to;
        EXPECT_TRUE(equiv_mtypes(tree->type, T(c.to)));
    }
    EXPECT_EQ(int{coerce_to_type(T("float"), mk_ICON(1, T("int")))->op}, int{OP::SCONV});
    EXPECT_EQ(int{coerce_to_type(T("int*"), mk_ICON(0, T("int")))->op}, int{OP::PCONV});
}

TEST_F(TypesDeathTest, BadKindsSayWhere) {
    const auto dies = [](auto act, const char *message) {
        EXPECT_EXIT(act(), ::testing::ExitedWithCode(1), message);
    };
    dies([this] { T("int*")->rank(); }, "Bad type: TYPE::rank\\(\\)");
    dies([this] { T("E")->rank(); }, "Bad type: TYPE::rank\\(\\)");
    dies([this] { T("int")->getr(TYPE::POINTER); }, "Bad kind:  TYPE::getr\\(\\)");
    dies([this] { T("INT")->getd(TYPE::POINTER); }, "Bad kind:  TYPE::getd\\(\\)");
    dies([this] { T("int")->elem_type(); }, "Bad kind:  TYPE::getr\\(\\)");
    dies([this] { T("int")->get_csu(); }, "Bad kind:  TYPE::get_csu\\(\\)");
    dies([this] { tp->mk_unsigned(T("float")); }, "Bad kind: TYPE_PKG::mk_unsigned\\(\\)");
    dies([this] { tp->c_usual_arith_conv(T("S"), T("int")); },
         "Bad type:  c_usual_arith_conv\\(\\)");
    dies([this] { tp->mk_complex(T("S"), 64, 32)->printstr(); }, "Bad parttype: TYPE::print\\(\\)");
    dies(
        [] {
            TYPE bad;
            bad.kind_ = static_cast<TYPE::KIND>(16);
            bad.ekind();
        },
        "unhandled type kind: TYPE::ekind\\(\\)");
    dies(
        [] {
            TYPE bad;
            bad.kind_ = TYPE::FLOATING;
            bad.sub.floating.fkind = static_cast<TYPE::FKIND>(3);
            bad.ekind();
        },
        "Bad fkind: TYPE::ekind\\(\\)");
    dies(
        [this] {
            TYPE array, orphan;
            array.kind_ = TYPE::ARRAY;
            array.sub.array = {T("int"), 3, false, false, true, 0};
            orphan.kind_ = TYPE::QUALIFIED;
            orphan.sub.qualified = {&array, TQ_const};
            orphan.stds_ = &array;
            orphan.elem_type();
        },
        "orphan type:  TYPE::elem_type\\(\\)");
}
