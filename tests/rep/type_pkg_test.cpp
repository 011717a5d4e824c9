// The factory and registry of types.
#include "OPT5/rep/type_pkg.h"

#include <gmock/gmock.h>

#include <array>
#include <functional>
#include <memory>
#include <set>

using ::testing::ElementsAre;
using ::testing::ExitedWithCode;

namespace {
class TypePackage : public ::testing::Test {
protected:
    void SetUp() override {
        tp = new TYPE_PKG;
        tp->init_type_pkg();
        pkg = tp;
        int_ = tp->int_type();
        short_ = tp->short_type();
    }
    void TearDown() override {
        delete tp;
        tp = nullptr;
    }

    // A frozen function of int with these parameters.
    TYPE *function(std::initializer_list<TYPE *> params, std::uint32_t mode = 0,
                   std::string_view name = {}) {
        TYPE *type = pkg->mk_func(int_, false, true, 0, false);
        for (TYPE *param : params)
            pkg->append_param(type, param, mode, name);
        return pkg->type_frozen(type);
    }
    // A pointer to a pointer ... to `type`.
    TYPE *pointers(TYPE *type, int levels) {
        while (levels-- > 0)
            type = pkg->mk_ptr(type);
        return type;
    }

    TYPE_PKG *pkg = nullptr;
    TYPE *int_ = nullptr, *short_ = nullptr;
};
using TypeInterning = TypePackage;
using TypeLists = TypePackage;
using HostileTypes = TypePackage;
using TypeRegistry = TypePackage;

template <class ELEM> std::vector<const ELEM *> elements(const ELEM *list) {
    std::vector<const ELEM *> all;
    for (; list; list = list->next)
        all.push_back(list);
    return all;
}
} // namespace

// --- basic types

TEST_F(TypePackage, BasicTypesHaveTheSizesOfTheTarget) {
    const std::array<std::uint32_t, 12> bits = {32, 16, 16, 16, 16, 16, 32, 32, 32, 32, 32, 32};
    for (std::size_t i = 0; i < bits.size(); ++i) {
        const TYPE *type = pkg->basic_ints[i];
        EXPECT_EQ(type->size(), bits[i]) << i;
        EXPECT_EQ(type->align(), bits[i]) << i;
        EXPECT_EQ(type->sub.integer.ikind, i);
        EXPECT_EQ(type->sub.integer.explicit_sign, i == TYPE::BOOL) << i;
        EXPECT_EQ(type->pkg, pkg);
    }
    for (const TYPE *type : pkg->basic_floats) {
        EXPECT_EQ(type->size(), 32u);
        EXPECT_EQ(type->align(), 32u);
    }
    EXPECT_EQ(pkg->void_ptr_type()->size(), 16u);
    EXPECT_EQ(pkg->void_ptr_type()->align(), 16u);
    EXPECT_EQ(pkg->void_type()->size(), 0u);
    EXPECT_EQ(int_->size_in_bytes(), 2u);
    EXPECT_EQ(pkg->basic_int(TYPE::SCHAR)->size_in_bytes(), 1u);
    EXPECT_EQ(pkg->void_ptr_type()->align_in_bytes(), 1u);
}

TEST_F(TypePackage, BasicTypesAreRegisteredInOrder) {
    ASSERT_EQ(pkg->all_types().size(), 17u);
    EXPECT_EQ(pkg->all_types()[0], pkg->void_type());
    EXPECT_EQ(pkg->all_types()[1], pkg->void_ptr_type());
    EXPECT_EQ(pkg->all_types()[2], pkg->basic_int(TYPE::BOOL));
    EXPECT_EQ(pkg->all_types()[16], pkg->basic_float(TYPE::LDOUBLE));
    for (std::size_t i = 0; i < pkg->all_types().size(); ++i)
        EXPECT_EQ(pkg->all_types()[i]->uid, i + 1);
    pkg->init_type_pkg();
    EXPECT_EQ(pkg->all_types().size(), 17u) << "once is enough";
}

TEST_F(TypePackage, BasicTypesNormalizeByWidth) {
    using T = TYPE;
    const std::array<T::IKIND, 12> to = {T::BOOL, T::SCHAR, T::UCHAR, T::SCHAR, T::SCHAR, T::UCHAR,
                                         T::INT,  T::UINT,  T::INT,   T::UINT,  T::INT,   T::UINT};
    for (std::size_t i = 0; i < to.size(); ++i)
        EXPECT_EQ(pkg->basic_ints[i]->normalized_, pkg->basic_int(to[i])) << i;
    for (const TYPE *type : pkg->basic_floats)
        EXPECT_EQ(type->normalized_, pkg->basic_float(TYPE::FLOAT));
    EXPECT_EQ(pkg->void_ptr_type()->normalized_, pkg->void_ptr_type());
}

// Where short has a width of its own, it normalizes to itself, and wchar_t may follow it.
TEST_F(TypePackage, NormalizingFollowsTheSizes) {
    const auto set = [this](TYPE::IKIND kind, std::uint32_t bits) {
        pkg->basic_ints[kind]->size_ = bits;
    };
    set(TYPE::SCHAR, 8);
    set(TYPE::LLONG, 64);
    pkg->basic_floats[TYPE::LDOUBLE]->size_ = pkg->basic_floats[TYPE::DOUBLE]->size_ = 64;
    pkg->normalize_basic_types();
    EXPECT_EQ(short_->normalized_, short_);
    EXPECT_EQ(pkg->basic_int(TYPE::WCHAR_T)->normalized_, short_);
    EXPECT_EQ(pkg->basic_int(TYPE::USHORT)->normalized_, pkg->basic_int(TYPE::UCHAR));
    EXPECT_EQ(pkg->basic_int(TYPE::LLONG)->normalized_, pkg->basic_int(TYPE::LLONG));
    EXPECT_EQ(pkg->basic_float(TYPE::LDOUBLE)->normalized_, pkg->basic_float(TYPE::DOUBLE));
    EXPECT_EQ(pkg->basic_float(TYPE::DOUBLE)->normalized_, pkg->basic_float(TYPE::DOUBLE));
    set(TYPE::SCHAR, 32);
    set(TYPE::SHORT, 32);
    pkg->normalize_basic_types();
    EXPECT_EQ(pkg->basic_int(TYPE::SCHAR)->normalized_, int_);
    EXPECT_EQ(short_->normalized_, int_);
}

TEST_F(TypePackage, InitTypesMakesComplexFormsAndMeasures) {
    max_scalar_alignment = pointer_type_stride = 0;
    init_types();
    EXPECT_EQ(max_scalar_alignment, 32u);
    EXPECT_EQ(pointer_type_stride, 16u);
    EXPECT_EQ(pkg->all_types().size(), 17u + 15u);
    const std::size_t before = pkg->all_types().size();
    const TYPE *complex_float = get_complex_type(pkg->basic_float(TYPE::FLOAT));
    EXPECT_EQ(pkg->all_types().size(), before) << "made already";
    EXPECT_EQ(complex_float->kind(), TYPE::COMPLEX);
    EXPECT_EQ(complex_float->size(), 64u);
    EXPECT_EQ(complex_float->align(), 32u);
}

TEST_F(TypePackage, StridesAreRoundedUpToTheAlignment) {
    const struct {
        std::uint32_t size, align;
        std::uint64_t stride;
    } cases[] = {{0, 16, 0},   {16, 16, 16}, {48, 32, 64},
                 {24, 16, 32}, {24, 0, 24},  {0xfffffff0u, 32, 0x100000000u}};
    for (const auto &c : cases)
        EXPECT_EQ(type_stride(pkg->mk_struct("s", c.size, c.align, true)), c.stride) << c.size;
}

// --- interning

TEST_F(TypeInterning, EqualRequestsGiveOneObject) {
    TYPE *s = pkg->mk_struct("s", 32, 16, true);
    TYPE *t = pkg->mk_struct("s", 32, 16, true);
    TYPE *p = pkg->mk_ptr(int_);
    PSN *none = nullptr;
    // No two of these are equal.
    const std::function<TYPE *()> makers[] = {
        [&] { return pkg->mk_void(); },
        [&] { return pkg->mk_int(TYPE::INT); },
        [&] { return pkg->mk_int(TYPE::INT, true); },
        [&] { return pkg->mk_boolean_int(TYPE::INT); },
        [&] { return pkg->mk_int(TYPE::INT, false, 32, 32, false, true); },
        [&] { return pkg->mk_int(TYPE::INT, false, 24, 16); },
        [&] { return pkg->mk_int(TYPE::INT, false, 32, 16); },
        [&] { return pkg->mk_int(TYPE::SHORT); },
        [&] { return pkg->mk_int(TYPE::BOOL); },
        [&] { return pkg->mk_fltpt(TYPE::FLOAT, 32, 32); },
        [&] { return pkg->mk_fltpt(TYPE::DOUBLE, 32, 32); },
        [&] { return pkg->mk_fltpt(TYPE::DOUBLE, 64, 32); },
        [&] { return pkg->mk_fxtpt(-3, 1, int_, 32, 32); },
        [&] { return pkg->mk_fxtpt(-4, 1, int_, 32, 32); },
        [&] { return pkg->mk_fxtpt(-3, 0, int_, 32, 32); },
        [&] { return pkg->mk_fxtpt(-3, 1, short_, 32, 32); },
        [&] { return pkg->mk_complex(int_, 64, 32); },
        [&] { return pkg->mk_complex(short_, 64, 32); },
        [&] { return pkg->mk_typedef("t", int_, 32, 32, false, false, none); },
        [&] { return pkg->mk_typedef("u", int_, 32, 32, false, false, none); },
        [&] { return pkg->mk_typedef("t", short_, 32, 32, false, false, none); },
        [&] { return pkg->mk_typedef("t", int_, 32, 32, true, false, none); },
        [&] { return pkg->mk_typedef("t", int_, 32, 32, false, true, none); },
        [&] { return pkg->mk_ptr(int_); },
        [&] { return pkg->mk_ptr(int_, 32, 32); },
        [&] { return pkg->mk_ptr(p); },
        [&] { return pkg->mk_ptr(s); },
        [&] { return pkg->mk_ptr(t); },
        [&] { return pkg->mk_ref(int_, 16, 16); },
        [&] { return pkg->mk_qual(int_, TQ_const); },
        [&] { return pkg->mk_qual(int_, TQ_const | TQ_volatile); },
        [&] { return pkg->mk_array(int_, 4); },
        [&] { return pkg->mk_array(int_, 5); },
        [&] { return pkg->mk_array(int_); },
        [&] { return pkg->mk_array(int_, 0); },
        [&] { return pkg->mk_array(int_, 1, 4); },
        [&] { return pkg->mk_array(int_, 4, 128, 32, true, true); },
        [&] { return pkg->mk_vector(int_, 4, 128, 32); },
        [&] { return pkg->mk_vector(int_, 4, 128, 32, false, false); },
        [&] { return pkg->mk_vpred(4); },
        [&] { return pkg->mk_ptm(int_, s, 16, 16); },
        [&] { return pkg->mk_ptm(int_, t, 16, 16); },
        [&] { return pkg->mk_ptm(short_, s, 16, 16); },
        [&] { return function({}); },
        [&] { return function({int_}); },
        [&] {
            return function({int_, int_});
        },
        [&] { return function({short_}); },
        [&] { return function({int_}, 1); },
        [&] { return function({int_}, 2, "x"); },
        [&] { return function({int_}, 2, "y"); },
        [&] { return pkg->type_frozen(pkg->mk_func(int_, true, true, 0, false)); },
        [&] { return pkg->type_frozen(pkg->mk_func(int_, false, false, 0, false)); },
        [&] { return pkg->type_frozen(pkg->mk_func(int_, false, true, 1, false)); },
        [&] { return pkg->type_frozen(pkg->mk_func(int_, false, true, 0, true)); },
        [&] { return pkg->type_frozen(pkg->mk_func(p, false, true, 0, false)); },
    };
    std::vector<TYPE *> made;
    for (const auto &make : makers)
        made.push_back(make());
    EXPECT_EQ(std::set<TYPE *>(made.begin(), made.end()).size(), made.size());
    const std::size_t count = pkg->all_types().size();
    for (std::size_t i = 0; i < made.size(); ++i)
        EXPECT_EQ(makers[i](), made[i]) << i;
    EXPECT_EQ(pkg->all_types().size(), count);
    for (TYPE *type : made) {
        EXPECT_TRUE(type->valid && type->frozen && type->uid != 0);
        EXPECT_EQ(type->pkg, pkg);
    }
}

TEST_F(TypeInterning, NamesThatLookLikeOtherWordsStayApart) {
    TYPE *f = pkg->mk_func(int_, false, true, 0, false);
    pkg->append_param(f, int_, 2, "a 20 2 1:b");
    TYPE *g = pkg->mk_func(int_, false, true, 0, false);
    pkg->append_param(g, int_, 2, "a");
    pkg->append_param(g, int_, 2, "b");
    f = pkg->type_frozen(f);
    g = pkg->type_frozen(g);
    EXPECT_NE(f, g);
    EXPECT_NE(f->map_name(), g->map_name());
}

TEST_F(TypeInterning, ClassesAndEnumsAreNeverMerged) {
    EXPECT_NE(pkg->mk_struct("s", 32, 16, true), pkg->mk_struct("s", 32, 16, true));
    EXPECT_NE(pkg->mk_union("u", 32, 16, true), pkg->mk_union("u", 32, 16, true));
    EXPECT_NE(pkg->mk_class("c", 32, 16, true), pkg->mk_class("c", 32, 16, true));
    TYPE *e = pkg->mk_enum("e", 32, 32, int_, false, nullptr);
    TYPE *f = pkg->mk_enum("e", 32, 32, int_, false, nullptr);
    EXPECT_NE(e, f);
    EXPECT_EQ(pkg->type_frozen(e), e);
    EXPECT_EQ(pkg->type_frozen(f), f);
    EXPECT_NE(e->uid, f->uid);
}

// A class can be referred to before its members have come, and stays the same type then.
TEST_F(TypeInterning, OpenClassesHaveTheirIdentity) {
    TYPE *s = pkg->mk_struct("s", 32, 16, true);
    TYPE *t = pkg->mk_struct("t", 32, 16, true);
    TYPE *f = function({s}), *m = pkg->mk_ptm(int_, t, 16, 16);
    EXPECT_NE(f, function({t}));
    EXPECT_NE(m, pkg->mk_ptm(int_, s, 16, 16));
    EXPECT_EQ(pkg->type_frozen(s), s);
    EXPECT_EQ(pkg->type_frozen(t), t);
    EXPECT_EQ(function({s}), f);
    EXPECT_EQ(pkg->mk_ptm(int_, t, 16, 16), m);
}

TEST_F(TypeInterning, QualifiersAreOneLayer) {
    TYPE *c = pkg->mk_qual(int_, TQ_const);
    EXPECT_EQ(pkg->mk_qual(c, TQ_const), c);
    EXPECT_EQ(pkg->mk_qual(int_, 0), int_);
    TYPE *cv = pkg->mk_qual(c, TQ_volatile);
    EXPECT_EQ(cv->sub.qualified.base, int_);
    EXPECT_EQ(cv->sub.qualified.bits, unsigned{TQ_const | TQ_volatile});
    EXPECT_EQ(cv, pkg->mk_qual(pkg->mk_qual(int_, TQ_volatile), TQ_const));
    EXPECT_EQ(cv->stds(), int_);
    // The qualifiers of an array's elements are the array's.
    TYPE *array = pkg->mk_array(c, 3);
    EXPECT_EQ(pkg->mk_qual(array, TQ_const), array);
    TYPE *va = pkg->mk_qual(array, TQ_volatile);
    EXPECT_EQ(va->sub.qualified.base, array);
    EXPECT_EQ(va->stds(), array);
    // Below a name they stand apart.
    TYPE *name = pkg->mk_typedef("t", c, 32, 32, false, false, nullptr);
    EXPECT_EQ(pkg->mk_qual(name, TQ_const), name);
    EXPECT_EQ(pkg->mk_qual(name, TQ_volatile)->sub.qualified.base, name);
    EXPECT_EQ(name->stds(), int_);
    EXPECT_EQ(pkg->mk_qual(int_, TQ_packed)->align(), 16u);
    EXPECT_EQ(c->align(), 32u);
}

TEST_F(TypePackage, ArraysTakeTheSizeOfTheirElements) {
    const std::uint32_t counts[] = {2, 3};
    TYPE *matrix = pkg->mk_array(short_, counts);
    EXPECT_EQ(matrix->size(), 96u);
    EXPECT_EQ(matrix->sub.array.count, 2u);
    EXPECT_EQ(matrix->sub.array.elem, pkg->mk_array(short_, 3));
    TYPE *open = pkg->mk_array(int_);
    EXPECT_EQ(open->size(), 0u);
    EXPECT_FALSE(open->sub.array.is_complete);
    EXPECT_EQ(pkg->mk_array(int_, -1, 4)->sub.array.low_bound, -1);
    EXPECT_EQ(pkg->mk_array(int_, 0, 4), pkg->mk_array(int_, 4));
    TYPE *s = pkg->mk_struct("s", 32, 16, true);
    EXPECT_TRUE(pkg->mk_vector(s, 2, 64, 16)->sub.array.is_struct_vector);
    EXPECT_FALSE(pkg->mk_vector(int_, 2, 64, 32)->sub.array.is_struct_vector);
    EXPECT_EQ(pkg->mk_vpred(8)->sub.array.count, 8u);
    EXPECT_TRUE(pkg->mk_vpred(8)->sub.array.elem->sub.integer.is_boolean);
}

// --- functions come and go

TEST_F(TypeInterning, FunctionsMergeWhenTheirParametersHaveCome) {
    TYPE *first = function({int_, short_});
    const std::size_t count = pkg->all_types().size();
    TYPE *second = pkg->mk_func(int_, false, true, 0, false);
    EXPECT_EQ(second->uid, 0u);
    EXPECT_NE(second, first);
    pkg->append_param(second, int_, 0, {});
    pkg->append_param(second, short_, 0, {});
    EXPECT_EQ(pkg->type_frozen(second), first);
    EXPECT_EQ(pkg->all_types().size(), count);
    EXPECT_EQ(pkg->type_frozen(first), first);
    EXPECT_EQ(pkg->db_stats().duplicates[TYPE::FUNCTION], 1u);
    EXPECT_EQ(pkg->db_stats().registered[TYPE::FUNCTION], 1u);
}

TEST_F(TypeInterning, AFunctionThatIsReferredToStays) {
    TYPE *first = function({int_});
    TYPE *second = pkg->mk_func(int_, false, true, 0, false);
    TYPE *pointer = pkg->mk_ptr(second);
    pkg->append_param(second, int_, 0, {});
    EXPECT_EQ(pkg->type_frozen(second), second);
    EXPECT_NE(second, first);
    EXPECT_NE(second->uid, 0u);
    EXPECT_EQ(pkg->mk_ptr(second), pointer);
    EXPECT_EQ(function({int_}), first) << "the oldest is the answer";
    EXPECT_EQ(second->depth, 1u);
    EXPECT_EQ(pointer->depth, 2u);
}

// --- lists

TEST_F(TypeLists, KeepTheirOrderAndOwnTheirNames) {
    std::string name = "member";
    TYPE *s = pkg->mk_struct("s", 64, 16, true);
    TYPE_PKG::seen_bitfield = false;
    fkMDATA member;
    member.name = name.c_str();
    member.type = short_;
    EXPECT_EQ(pkg->append_mdata(s, member)->index, 1u);
    EXPECT_FALSE(TYPE_PKG::seen_bitfield);
    member.index = 5;
    member.offset = 16;
    member.is_bitfield = true;
    member.width = 3;
    pkg->append_mdata(s, member);
    EXPECT_TRUE(TYPE_PKG::seen_bitfield);
    member.index = 0;
    member.next = &member;
    EXPECT_EQ(pkg->append_mdata(s, member)->index, 3u);
    member.index = 5;
    pkg->append_mdata(s, member);
    name = "xxxxxx";
    const auto members = elements(s->sub.csu->mdata);
    ASSERT_EQ(members.size(), 4u);
    for (const fkMDATA *m : members)
        EXPECT_STREQ(m->name, "member");
    EXPECT_EQ(members[1]->offset, 16);
    EXPECT_EQ(members[1]->width, 3u);
    const std::vector<fkMDATA *> &by_index = s->sub.csu->mdata_by_index;
    EXPECT_THAT(by_index,
                ElementsAre(nullptr, members[0], nullptr, members[2], nullptr, members[1]))
        << "the first member of a number keeps it";

    TYPE *e = pkg->mk_enum("e", 32, 32, int_, false, nullptr);
    for (int i = 0; i < 3; ++i)
        pkg->append_etor(e, "e" + std::to_string(i), INT65(-i), nullptr);
    const auto etors = elements(e->sub.enum_.etors);
    ASSERT_EQ(etors.size(), 3u);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(etors[static_cast<std::size_t>(i)]->name, "e" + std::to_string(i));
        EXPECT_EQ(etors[static_cast<std::size_t>(i)]->value, INT65(-i));
    }
}

TEST_F(TypeLists, OfClassesAreApart) {
    TYPE *s = pkg->mk_class("s", 64, 16, true);
    std::string name = "f";
    for (int i = 0; i < 2; ++i) {
        BCLASS_ELEM base;
        base.type = s;
        base.offset = i;
        pkg->append_bclass(s, base);
        ADECL_ELEM access;
        access.access = static_cast<std::uint8_t>(i);
        pkg->append_adecl(s, access);
        FFRIEND_ELEM friend_function;
        friend_function.name = name.c_str();
        pkg->append_ffriend(s, friend_function);
        pkg->append_cfriend(s, {s, nullptr});
        pkg->append_ntype(s, {i ? s : nullptr, nullptr});
        SDATA_ELEM data;
        data.name = name.c_str();
        data.access = static_cast<std::uint8_t>(i);
        pkg->append_sdata(s, data);
        MFUNC_ELEM method;
        method.name = name.c_str();
        method.vtable_index = i;
        pkg->append_mfunc(s, method);
        pkg->append_param(s, i ? int_ : short_, 2, name);
    }
    name = "g";
    const CSU &csu = *s->sub.csu;
    EXPECT_EQ(elements(csu.bclasses).size(), 2u);
    EXPECT_EQ(csu.bclasses->next->offset, 1);
    EXPECT_EQ(elements(csu.adecls).size(), 2u);
    EXPECT_EQ(csu.adecls->next->access, 1);
    EXPECT_EQ(elements(csu.cfriends).size(), 2u);
    EXPECT_EQ(csu.ntypes->type, nullptr);
    EXPECT_EQ(csu.ntypes->next->type, s);
    EXPECT_EQ(csu.sdata->next->access, 1);
    EXPECT_EQ(csu.mfuncs->next->vtable_index, 1);
    EXPECT_EQ(csu.params->next->type, int_);
    EXPECT_EQ(elements(csu.ffriends).size(), 2u);
    for (const char *kept :
         {csu.ffriends->next->name, csu.sdata->name, csu.mfuncs->next->name, csu.params->name})
        EXPECT_STREQ(kept, "f");
}

TEST_F(TypePackage, ClassesWithoutANameGetOne) {
    TYPE *a = pkg->mk_struct("", 16, 16, true), *b = pkg->mk_union("", 16, 16, true);
    EXPECT_STREQ(a->sub.csu->name, "$$fake1");
    EXPECT_STREQ(b->sub.csu->name, "$$fake2");
    const struct {
        const char *name, *printed;
    } cases[] = {{"$$fake1", "<unnamed>"}, {"$$fake", "<unnamed>"}, {"fake", "fake"}, {"", ""}};
    for (const auto &c : cases)
        EXPECT_STREQ(TYPE_PKG::fix_fake_name(c.name), c.printed);
}

TEST(TypeNames, AreDecoded) {
    const struct {
        const char *name, *own; // null: not encoded
    } cases[] = {
        {"_3foo", "foo"},
        {"_Q2_3foo4barr", "barr"},
        {"_Q1_3foo", "foo"},
        {"_3foo__tm__2_i", "foo"},
        {"_Q3_1a1b1c__x", "c"},
        {"_12abcdefghijkl", "abcdefghijkl"},
        {"_3:ab", "ab"},
        {"", nullptr},
        {"_", nullptr},
        {"foo", nullptr},
        {"_foo", nullptr},
        {"3foo", nullptr}, // the first character does not count
        {"_4foo", nullptr},
        {"_3fooo", nullptr},
        {"_0", nullptr},
        {"_Q0_", nullptr},
        {"_Q2_3foo", nullptr},
        {"_Q3foo", nullptr},
        {"_99999999999999999999a", nullptr},
    };
    for (const auto &c : cases) {
        std::string own = "kept";
        EXPECT_EQ(TYPE_PKG::demangle_type_name(c.name, &own), c.own != nullptr) << c.name;
        EXPECT_EQ(own, c.own ? c.own : "kept") << c.name;
        EXPECT_EQ(TYPE_PKG::demangle_type_name(c.name), c.own != nullptr) << c.name;
    }
}

// --- registry

TEST_F(TypeRegistry, EveryTypeHasABase) {
    TYPE *s = pkg->mk_struct("s", 32, 16, true);
    TYPE *name = pkg->mk_typedef("t", int_, 32, 32, false, false, nullptr);
    const struct {
        TYPE *type, *base;
    } cases[] = {
        {int_, root_type},
        {pkg->void_type(), root_type},
        {pkg->basic_float(TYPE::FLOAT), root_type},
        {pkg->mk_fxtpt(1, 0, int_, 32, 32), root_type},
        {get_complex_type(int_), root_type},
        {pkg->mk_enum("e", 32, 32, int_, false, nullptr), root_type},
        {s, root_type},
        {pkg->mk_ptr(name), name},
        {pkg->mk_ref(s, 16, 16), s},
        {name, int_},
        {pkg->mk_qual(name, TQ_const), name},
        {pkg->mk_array(s, 2), s},
        {pkg->mk_ptm(short_, s, 16, 16), short_},
        {function({name}), int_},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(TYPE_PKG::base_type(c.type), c.base) << c.type->uid;
        ASSERT_TRUE(c.base->based);
        const auto listed = c.base->based->find(c.type->map_name());
        ASSERT_NE(listed, c.base->based->end()) << c.type->uid;
        EXPECT_THAT(listed->second, ::testing::Contains(c.type));
    }
}

TEST_F(TypeRegistry, RegisteringLeavesOthersAlone) {
    EXPECT_EQ(pkg->register_type(int_, root_type), int_);
    TYPE unfinished;
    EXPECT_EQ(pkg->register_type(&unfinished, root_type), &unfinished);
    EXPECT_EQ(unfinished.uid, 0u);
    EXPECT_EQ(pkg->assign_uid(int_), int_->uid);
    EXPECT_EQ(pkg->all_types().size(), 17u);
}

TEST_F(TypeRegistry, DeletingTakesAllThatIsBuiltOnAType) {
    TYPE *s = pkg->mk_struct("s", 32, 16, true);
    TYPE *p = pkg->mk_ptr(s);
    pkg->mk_array(p, 3);
    TYPE *t = pkg->mk_struct("t", 32, 16, true);
    const std::size_t count = pkg->all_types().size();
    pkg->delete_type_tree(s, true, false);
    EXPECT_EQ(pkg->all_types().size(), count) << "others are built on it";
    pkg->delete_type_tree(s, false, false);
    ASSERT_EQ(pkg->all_types().size(), count - 3);
    EXPECT_EQ(pkg->all_types().back(), t);
    pkg->delete_type_tree(t, true, false);
    EXPECT_EQ(pkg->all_types().size(), 17u);
    pkg->delete_type_tree(pkg->mk_ptr(int_), false, false);
    TYPE *again = pkg->mk_ptr(int_);
    EXPECT_EQ(again, pkg->mk_ptr(int_));
    EXPECT_EQ(pkg->all_types().back(), again);
    TYPE *open = pkg->mk_func(int_, false, true, 0, false);
    pkg->mk_ptr(open);
    pkg->delete_type_tree(open, false, true);
    EXPECT_EQ(pkg->all_types().back(), again);
}

TEST_F(TypeRegistry, PackagesShareOnlyTheRoot) {
    EXPECT_EQ(TYPE_PKG::tp_count, 1);
    auto other = std::make_unique<TYPE_PKG>();
    other->init_type_pkg();
    EXPECT_EQ(TYPE_PKG::tp_count, 2);
    EXPECT_NE(other->int_type(), int_);
    EXPECT_EQ(other->mk_int(TYPE::INT, false, 32, 32), other->int_type());
    EXPECT_EQ(pkg->mk_int(TYPE::INT, false, 32, 32), int_);
    other->mk_struct("only there", 16, 16, true);
    other.reset();
    EXPECT_EQ(TYPE_PKG::tp_count, 1);
    for (const auto &[key, types] : *root_type->based) {
        EXPECT_FALSE(types.empty()) << key;
        for (const TYPE *type : types)
            EXPECT_EQ(type->pkg, pkg);
    }
    EXPECT_EQ(pkg->mk_int(TYPE::INT, false, 32, 32), int_);
    TYPE_PKG never_initialized;
    EXPECT_TRUE(never_initialized.all_types().empty());
}

// The same requests give the same numbers and keys, wherever the types lie in memory.
TEST_F(TypeRegistry, NumbersAndKeysAreReproducible) {
    const auto keys = [](TYPE_PKG &p) {
        TYPE *s = p.mk_struct("", 32, 16, true);
        TYPE *f = p.mk_func(p.mk_ptr(s), false, true, 0, false);
        p.append_param(f, p.mk_qual(p.int_type(), TQ_const), 0, {});
        f = p.type_frozen(f);
        p.mk_ptm(p.mk_array(f, 2), s, 32, 16);
        std::vector<std::string> all;
        for (const TYPE *type : p.all_types())
            all.push_back(std::to_string(type->uid) + " " + type->map_name());
        return all;
    };
    TYPE_PKG other;
    other.init_type_pkg();
    const std::string in_between(12345, 'x');
    EXPECT_EQ(keys(*pkg), keys(other));
}

TEST_F(TypeRegistry, CanonicalTypesEndTheChain) {
    std::vector<TYPE *> s;
    for (int i = 0; i < 6; ++i)
        s.push_back(pkg->mk_struct("s", 16, 16, true));
    EXPECT_EQ(s[0]->canonical(), s[0]);
    s[1]->set_equiv(s[0]);
    s[3]->set_equiv(s[2]);
    s[4]->set_equiv(s[3]);
    EXPECT_EQ(s[4]->canonical(), s[2]);
    s[4]->set_equiv(s[1]);
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(s[static_cast<std::size_t>(i)]->canonical(), s[0]) << i;
    EXPECT_TRUE(s[1]->merg);
    EXPECT_FALSE(s[0]->merg);
    s[0]->set_equiv(s[4]);
    EXPECT_EQ(s[0]->equiv, nullptr) << "equivalent already";
    EXPECT_EQ(s[5]->canonical(), s[5]);
}

TEST_F(TypeRegistry, DumpsComeInTheOrderOfNumbers) {
    for (std::uint32_t i = 1; i < 40; ++i)
        pkg->mk_array(short_, i);
    char *text = nullptr;
    std::size_t size = 0;
    std::FILE *stream = open_memstream(&text, &size);
    short_->dump_based_list(stream);
    const long end_of_list = std::ftell(stream);
    pkg->print_stats(stream);
    std::fclose(stream);
    const std::string list(text, static_cast<std::size_t>(end_of_list));
    const std::string stats(text + end_of_list);
    std::free(text);
    std::size_t at = 0;
    for (std::uint32_t uid = 18; uid < 18 + 39; ++uid) {
        const std::size_t found = list.find("   " + std::to_string(uid) + ": ", at);
        ASSERT_NE(found, std::string::npos) << list;
        at = found;
    }
    EXPECT_THAT(stats, ::testing::ContainsRegex("array +39 +0\n"));
    EXPECT_THAT(stats, ::testing::Not(::testing::HasSubstr("struct")));
}

// --- what cannot be

TEST_F(HostileTypes, EndTheRunWithTheirMessage) {
    TYPE *s = pkg->mk_struct("s", 16, 16, true);
    TYPE *open = pkg->mk_func(int_, false, true, 0, false);
    fkMDATA member;
    member.type = int_;
    TYPE *deep = pointers(int_, 1000);
    EXPECT_EQ(deep->depth, 1000u);
    const struct {
        const char *message;
        std::function<void()> act;
    } cases[] = {
        {"Type without a base:  TYPE_PKG::mk_ptr", [&] { pkg->mk_ptr(nullptr); }},
        {"Type without a base:  TYPE_PKG::mk_array", [&] { pkg->mk_array(nullptr, 2); }},
        {"Type without a base:  TYPE_PKG::mk_qual", [&] { pkg->mk_qual(nullptr, TQ_const); }},
        {"Type without a base:  TYPE_PKG::mk_complex", [&] { pkg->mk_complex(nullptr, 16, 16); }},
        {"Unfinished type:  TYPE_PKG::mk_fxtpt", [&] { pkg->mk_fxtpt(1, 0, open, 16, 16); }},
        {"Type without a base:  TYPE_PKG::mk_enum",
         [&] { pkg->mk_enum("e", 16, 16, nullptr, false, nullptr); }},
        {"Type without a base:  TYPE_PKG::mk_func",
         [&] { pkg->mk_func(nullptr, false, false, 0, false); }},
        {"Bad kind:  TYPE_PKG::mk_ptm", [&] { pkg->mk_ptm(int_, int_, 16, 16); }},
        {"Bad kind: TYPE_PKG::mk_int",
         [&] { pkg->mk_int(static_cast<TYPE::IKIND>(12), false, 16, 16); }},
        {"Bad fkind: TYPE_PKG::mk_fltpt",
         [&] { pkg->mk_fltpt(static_cast<TYPE::FKIND>(3), 16, 16); }},
        {"Type too large:  TYPE_PKG::mk_array", [&] { pkg->mk_array(int_, 0x8000000); }},
        {"Type too large:  get_complex_type",
         [&] { get_complex_type(pkg->mk_int(TYPE::INT, false, 0x80000000u, 32)); }},
        {"Type nested too deeply", [&] { pkg->mk_ptr(deep); }},
        {"Type nested too deeply", [&] { function({deep}); }},
        {"Type nested too deeply", [&] { pkg->mk_ptm(deep, s, 16, 16); }},
        {"Unfinished type:  TYPE_PKG::append_param", [&] { function({open}); }},
        {"Unfinished type:  TYPE_PKG::mk_func",
         [&] { pkg->mk_func(open, false, false, 0, false); }},
        {"Unfinished type:  TYPE_PKG::mk_qual", [&] { pkg->mk_qual(open, 0); }},
        {"Element without a type:  TYPE_PKG::append_param", [&] { function({nullptr}); }},
        {"Bad kind:  TYPE_PKG::append_param", [&] { pkg->append_param(int_, int_, 0, {}); }},
        {"Bad kind:  TYPE_PKG::append_etor", [&] { pkg->append_etor(s, "e", INT65(1), nullptr); }},
        {"Bad kind:  TYPE_PKG::append_mdata", [&] { pkg->append_mdata(open, member); }},
        {"frozen type:  TYPE_PKG::append_mdata",
         [&] { pkg->append_mdata(pkg->type_frozen(s), member); }},
        {"frozen type:  TYPE_PKG::append_param",
         [&] { pkg->append_param(function({}), int_, 0, {}); }},
        {"Invalid member number:  TYPE_PKG::append_mdata",
         [&] {
             member.index = 16;
             pkg->append_mdata(s, member);
         }},
        {"Type built on itself:  TYPE_PKG::register_type",
         [&] {
             TYPE type;
             type.kind_ = TYPE::POINTER;
             type.sub.pointer.pointee = &type;
             type.valid = true;
             pkg->register_type(&type, TYPE_PKG::base_type(&type));
         }},
        {"bad kind:  TYPE_PKG::base_type",
         [&] {
             TYPE type;
             type.kind_ = static_cast<TYPE::KIND>(16);
             TYPE_PKG::base_type(&type);
         }},
        {"Type equivalent to itself:  TYPE::canonical",
         [&] {
             int_->equiv = short_;
             short_->equiv = pkg->uint_type();
             pkg->uint_type()->equiv = short_;
             int_->canonical();
         }},
    };
    for (const auto &c : cases)
        EXPECT_EXIT(c.act(), ExitedWithCode(1), c.message) << c.message;
    EXPECT_EXIT(tp_die("a message"), ExitedWithCode(1), "^a message\n$");
}

// Function types that wait for their parameters can be made to lead to each other.
TEST_F(HostileTypes, OpenFunctionsInARing) {
    const auto ring = [this](int n, bool closed) {
        std::vector<TYPE *> functions, pointer;
        for (int i = 0; i < n; ++i) {
            functions.push_back(pkg->mk_func(int_, false, true, 0, false));
            pointer.push_back(pkg->mk_ptr(functions.back()));
        }
        for (std::size_t i = 0; i + 1 < functions.size(); ++i)
            pkg->append_param(functions[i], pointer[i + 1], 0, {});
        if (closed) pkg->append_param(functions.back(), pointer[0], 0, {});
        for (TYPE *function : functions)
            pkg->type_frozen(function);
        return pointer[0]->depth;
    };
    EXPECT_EQ(ring(10, false), 20u) << "a function and a pointer each";
    EXPECT_EQ(ring(500, false), 1000u);
    EXPECT_EXIT(ring(501, false), ExitedWithCode(1), "Type nested too deeply");
    EXPECT_EXIT(ring(1, true), ExitedWithCode(1), "Type built on itself");
    EXPECT_EXIT(ring(3, true), ExitedWithCode(1), "Type built on itself");
}

// A class ends the derivation: its functions may take pointers to it.
TEST_F(HostileTypes, ClassesMayComeBackToThemselves) {
    TYPE *s = pkg->mk_struct("s", 16, 16, true);
    TYPE *f = pkg->mk_func(int_, false, true, 0, false);
    TYPE *pf = pkg->mk_ptr(f);
    pkg->append_param(f, pkg->mk_ptr(s), 0, {});
    fkMDATA member;
    member.type = pf;
    pkg->append_mdata(s, member);
    EXPECT_EQ(pkg->type_frozen(f), f);
    EXPECT_EQ(pkg->type_frozen(s), s);
    EXPECT_EQ(pf->depth, 3u);
    EXPECT_EQ(s->depth, 0u);
}

// Many types of many kinds: each is found again, and no list is searched from end to end.
TEST_F(TypeInterning, ManyTypes) {
    constexpr std::uint32_t count = 20000;
    std::vector<TYPE *> structs, functions;
    for (std::uint32_t i = 0; i < count; ++i) {
        structs.push_back(pkg->mk_struct("same", 16, 16, true));
        TYPE *p = pkg->mk_ptr(structs.back());
        functions.push_back(function({p, pkg->mk_array(int_, i)}));
    }
    const std::size_t kept = pkg->all_types().size();
    for (std::uint32_t i = 0; i < count; i += 97)
        ASSERT_EQ(function({pkg->mk_ptr(structs[i]), pkg->mk_array(int_, i)}), functions[i]);
    EXPECT_EQ(pkg->all_types().size(), kept);
    EXPECT_EQ(kept, 17u + 4u * count);
}
