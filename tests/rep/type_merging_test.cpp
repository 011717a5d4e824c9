// Types that were defined apart and say the same, and the marks of what is referred to.
#include "OPT5/rep/type_pkg.h"

#include <gtest/gtest.h>

#include <functional>

namespace {
class TypeMerging : public ::testing::Test {
protected:
    void SetUp() override {
        tp = new TYPE_PKG;
        tp->init_type_pkg();
        int_ = tp->int_type();
    }
    void TearDown() override {
        delete tp;
        tp = nullptr;
    }
    static fkMDATA member(const char *name, TYPE *type, std::int32_t offset = 0) {
        fkMDATA m;
        m.name = name;
        m.type = type;
        m.offset = offset;
        return m;
    }
    static TYPE *structure(const char *name, std::initializer_list<fkMDATA> members) {
        TYPE *type = tp->mk_struct(name, 64, 32, true);
        for (const fkMDATA &m : members)
            tp->append_mdata(type, m);
        return tp->type_frozen(type);
    }
    // struct list { struct list *next; };
    static TYPE *list_of(const char *name) {
        TYPE *type = tp->mk_struct(name, 64, 32, true);
        tp->append_mdata(type, member("next", tp->mk_ptr(type)));
        return tp->type_frozen(type);
    }
    static TYPE *enumeration(const char *name,
                             std::initializer_list<std::pair<const char *, int>> etors) {
        TYPE *type = tp->mk_enum(name, 32, 32, tp->int_type(), false, nullptr);
        for (const auto &[etor, value] : etors)
            tp->append_etor(type, etor, value, nullptr);
        return tp->type_frozen(type);
    }
    static TYPE *function(TYPE *result, std::initializer_list<TYPE *> params) {
        TYPE *type = tp->mk_func(result, false, true, 0, false);
        for (TYPE *param : params)
            tp->append_param(type, param, 0, {});
        return tp->type_frozen(type);
    }

    TYPE *int_ = nullptr;
};
using TypeMarks = TypeMerging;
} // namespace

TEST_F(TypeMerging, ClassesAndEnumsThatSayTheSame) {
    fkMDATA bits = member("b", int_);
    bits.is_bitfield = true;
    bits.width = 3;
    fkMDATA flagged = member("a", int_);
    flagged.flags = 1;
    // Equal in each pair made by one of these; no two of different ones are equal.
    const std::function<TYPE *()> makers[] = {
        [&] { return structure("s", {member("a", int_)}); },
        [&] { return structure("t", {member("a", int_)}); },
        [&] { return structure("s", {member("c", int_)}); },
        [&] { return structure("s", {member("a", tp->short_type())}); },
        [&] { return structure("s", {member("a", int_, 16)}); },
        [&] { return structure("s", {flagged}); },
        [&] { return structure("s", {bits}); },
        [&] {
            return structure("s", {member("a", int_), member("c", int_, 32)});
        },
        [&] { return structure("s", {}); },
        [&] { return list_of("s"); },
        [&] {
            TYPE *type = tp->mk_struct("s", 64, 32, true);
            tp->append_bclass(type, {structure("base", {}), 0, 0, false, nullptr});
            return tp->type_frozen(type);
        },
        [&] {
            TYPE *type = tp->mk_struct("s", 64, 32, true);
            MFUNC_ELEM method;
            method.name = "f";
            tp->append_mfunc(type, method);
            return tp->type_frozen(type);
        },
        [&] {
            return enumeration("s", {{"e", 1}, {"f", 2}});
        },
        [&] {
            return enumeration("s", {{"e", 1}, {"g", 2}});
        },
        [&] {
            return enumeration("s", {{"e", 1}, {"f", 3}});
        },
        [&] {
            return enumeration("s", {{"e", 1}});
        },
    };
    std::vector<TYPE *> first, second;
    for (const auto &make : makers)
        first.push_back(make());
    for (const auto &make : makers)
        second.push_back(make());
    for (std::size_t i = 0; i < first.size(); ++i)
        for (std::size_t j = 0; j < i; ++j)
            EXPECT_FALSE(merge_types(first[j], first[i])) << j << ' ' << i;
    for (std::size_t i = 0; i < first.size(); ++i) {
        EXPECT_FALSE(equiv_mtypes(first[i], second[i]) && first[i]->is_csu()) << i;
        EXPECT_TRUE(merge_types(first[i], second[i])) << i;
        EXPECT_EQ(second[i]->canonical(), first[i]) << i;
        EXPECT_TRUE(second[i]->merg && !first[i]->merg) << i;
        EXPECT_TRUE(equiv_mtypes(first[i], second[i])) << i;
        EXPECT_TRUE(merge_types(second[i], first[i])) << "they are equivalent already";
        EXPECT_EQ(first[i]->canonical(), first[i]) << i;
    }
    TYPE *unnamed = structure("", {}), *fake = structure("$$fake7", {});
    EXPECT_FALSE(merge_types(unnamed, structure("", {})));
    EXPECT_FALSE(merge_types(fake, structure("$$fake7", {})));
    EXPECT_FALSE(merge_types(int_, tp->uint_type()));
}

// What is built on types that merged merges with them, in the order of definition.
TEST_F(TypeMerging, EquivalentsOfEarlierTypes) {
    EARLIER_TYPES earlier;
    std::vector<std::vector<TYPE *>> units;
    for (int unit = 0; unit < 3; ++unit) {
        TYPE *s = list_of("s");
        TYPE *p = tp->mk_ptr(s);
        TYPE *name = tp->mk_typedef("P", p, 16, 16, false, false, nullptr);
        units.push_back({s, p, name, tp->mk_qual(name, TQ_const), tp->mk_ref(name, 16, 16),
                         tp->mk_array(p, 3), tp->mk_ptm(int_, s, 16, 16), function(p, {name}),
                         enumeration("e", {{"x", 1}})});
        units.back().push_back(tp->mk_complex(units.back().back(), 64, 32));
        units.back().push_back(tp->mk_fxtpt(1, 1, units.back()[8], 32, 32));
    }
    for (std::size_t unit = 0; unit < units.size(); ++unit)
        for (std::size_t i = 0; i < units[unit].size(); ++i) {
            TYPE *found = earlier.find_equivalent_type(units[unit][i]);
            EXPECT_EQ(found, unit == 0 ? nullptr : units[0][i]) << unit << ' ' << i;
            EXPECT_EQ(units[unit][i]->canonical(), units[0][i]) << unit << ' ' << i;
        }
    EXPECT_EQ(earlier.find_equivalent_type(units[2][0]), units[0][0]);
    EXPECT_EQ(earlier.find_equivalent_type(units[0][0]), nullptr) << "not of itself";
    TYPE *five = tp->mk_array(int_, 5), *from_one = tp->mk_array(int_, 1, 5u);
    EXPECT_EQ(earlier.find_equivalent_type(five), nullptr);
    EXPECT_EQ(earlier.find_equivalent_type(from_one), nullptr);
}

TEST_F(TypeMarks, WhatReferencedTypesReferTo) {
    TYPE *inner = structure("inner", {});
    TYPE *outer = structure("outer", {member("m", tp->mk_ptr(inner))});
    TYPE *again = structure("outer", {member("m", tp->mk_ptr(inner))});
    TYPE *unused = structure("unused", {member("m", inner)});
    TYPE *f = function(tp->mk_ptr(again), {tp->basic_int(TYPE::UCHAR)});
    TYPE *name = tp->mk_typedef("T", int_, 32, 32, false, false, nullptr);
    ASSERT_TRUE(merge_types(outer, again));
    TYPE::mark_named_types(root_type, false);
    TYPE::mark_refed_types(root_type);
    for (const TYPE *type : tp->all_types())
        EXPECT_FALSE(type->refd) << type->printstr();
    f->refd = true;
    TYPE::mark_refed_types(root_type);
    for (const TYPE *type : {f, outer, inner, tp->mk_ptr(inner), tp->basic_int(TYPE::UCHAR)})
        EXPECT_TRUE(type->refd) << type->printstr();
    for (const TYPE *type : {again, unused, name, int_})
        EXPECT_FALSE(type->refd) << type->printstr();
    TYPE::mark_named_types(root_type, true);
    EXPECT_TRUE(unused->refd && name->refd);
    EXPECT_FALSE(again->refd) << "its equivalent stands for it";
    EXPECT_FALSE(int_->refd) << "no name of the source's";
    TYPE::mark_refed_types(root_type);
    EXPECT_TRUE(int_->refd);
}
