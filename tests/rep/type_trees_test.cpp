// Types of trees: what operators give, what lvalues stand for and whether it can change, casts of
// pointers.
#include "OPT5/rep/dump_tree.h"
#include "tests/rep/tree_fixture.h"

namespace {
class TypesOfTrees : public TreeTest {
protected:
    void SetUp() override {
        TreeTest::SetUp();
        uint_t = tp->uint_type();
        ushort_t = tp->basic_int(TYPE::USHORT);
        float_p = tp->mk_ptr(float_t);
        const_int = tp->mk_qual(int_t, TQ_const);
        volatile_int = tp->mk_qual(int_t, TQ_volatile);
    }
    struct MEMBER {
        const char *name;
        TYPE *type;
        std::int32_t offset;
        std::uint32_t width = 0; // of a bit-field
    };
    static TYPE *structure(std::initializer_list<MEMBER> members, bool complete = true,
                           bool cpp = false) {
        TYPE *type = tp->mk_struct("t", 128, 32, complete);
        type->cpp = cpp;
        for (const MEMBER &m : members) {
            fkMDATA data;
            data.name = m.name;
            data.type = m.type;
            data.offset = m.offset;
            data.width = m.width;
            data.is_bitfield = m.width != 0;
            tp->append_mdata(type, data);
        }
        return tp->type_frozen(type);
    }
    static NODE *field_of(TYPE *csu, const char *name) {
        for (fkMDATA *m = csu->get_csu()->mdata; m; m = m->next)
            if (std::string_view(m->name) == name) {
                NODE *node = tree(OP::FIELD, m->type->normalized());
                node->u.field = {csu->stds(), m};
                return node;
            }
        ADD_FAILURE() << name;
        return nullptr;
    }
    static NODE *dot(NODE *object, const char *name) {
        NODE *field = field_of(object->type, name);
        return tree(OP::STDOT, field->type, object, field);
    }
    static TYPE *constant(TYPE *type) { return tp->mk_qual(type, TQ_const); }
    NODE *deref(NODE *address) {
        return tree(OP::UMULT, address->type->type_pointed_to()->normalized(), address);
    }

    TYPE *uint_t, *ushort_t, *float_p, *const_int, *volatile_int;
};
using TypesOfTreesDeathTest = TypesOfTrees;
} // namespace

TEST_F(TypesOfTrees, OfOperators) {
    TYPE *const void_p = tp->void_ptr_type(), *const char_t = tp->basic_int(TYPE::SCHAR);
    TYPE *const complex = get_complex_type(float_t), *const vshort = tp->mk_vpred(2);
    TYPE *const e = tp->type_frozen(tp->mk_enum("e", 16, 16, ushort_t, false, nullptr));
    TYPE *const llong = tp->basic_int(TYPE::LLONG), *const none = nullptr;
    const struct {
        int op;
        TYPE *left, *right, *type; // null: cannot be told
    } cases[] = {
        {OP::PLUS, short_t, ushort_t, int_t},
        {OP::PLUS, int_t, uint_t, uint_t},
        {OP::PLUS, llong, int_t, int_t}, // long long, normalized
        {OP::PLUS, const_int, float_t, float_t},
        {OP::PLUS, constant(int_p), short_t, int_p},
        {OP::PLUS, int_t, int_p, int_p},
        {OP::PLUS, int_p, int_p, none},
        {OP::PLUS, int_p, float_t, none},
        {OP::PLUS, struct_t, int_t, none},
        {OP::PLUS, vec_t, vec_t, vec_t},
        {OP::PLUS, vec_t, fvec_t, none},
        {OP::PLUS, complex, complex, complex},
        {OP::MINUS, int_p, int_t, int_p},
        {OP::MINUS, int_p, int_p, char_t}, // of 16 bits, signed
        {OP::MINUS, int_t, int_p, none},
        {OP::MULT, e, short_t, int_t},
        {OP::DIV, float_t, int_t, float_t},
        {OP::MOD, uint_t, int_t, uint_t},
        {OP::MOD, float_t, int_t, none},
        {OP::ANDB, int_p, int_t, none},
        {OP::SLL, short_t, uint_t, int_t},
        {OP::SRL, uint_t, short_t, uint_t},
        {OP::SLL, float_t, int_t, none},
        {OP::ULT, int_p, int_p, int_t},
        {OP::EQ, float_t, float_t, int_t},
        {OP::EQ, struct_t, struct_t, none},
        {OP::ANDAND, int_p, float_t, int_t},
        {OP::COMMAOP, float_t, constant(int_p), int_p},
        {OP::QUEST, int_t, float_t, float_t},
        {OP::COLON, short_t, uint_t, uint_t},
        {OP::COLON, short_t, short_t, char_t},
        {OP::COLON, void_p, int_p, void_p},
        {OP::COLON, int_p, void_p, void_p},
        {OP::COLON, int_p, int_t, int_p},
        {OP::COLON, struct_t, struct_t, struct_t},
        {OP::COLON, struct_t, int_t, none},
        {OP::ASG, volatile_int, float_t, int_t},
        {OP::PLUSASG, int_p, int_t, int_p},
        {OP::PLUSPLUS, ushort_t, int_t, tp->basic_int(TYPE::UCHAR)},
        {OP::STASG, constant(struct_t), struct_t, struct_t},
        {OP::COMPLEX, float_t, float_t, complex},
        {OP::CALL, int_p, int_t, none},
        {OP::UMINUS, short_t, none, int_t},
        {OP::UMINUS, int_p, none, none},
        {OP::UMINUS, fvec_t, none, fvec_t},
        {OP::NOTB, ushort_t, none, int_t},
        {OP::NOTB, float_t, none, none},
        {OP::SQRT, int_t, none, none},
        {OP::EXCLAIM, int_p, none, int_t},
        {OP::EXCLAIM, vshort, none, none},
        {OP::UAND, int_t, none, int_p},
        {OP::UMULT, tp->mk_ptr(volatile_int), none, volatile_int},
        {OP::UMULT, int_t, none, none},
        {OP::REAL, complex, none, float_t},
        {OP::IMAG, float_t, none, none},
        {OP::PLUS, none, int_t, none},
    };
    for (const auto &c : cases) {
        const TYPE *type = operator_type_for_operand_types(c.op, c.left, c.right);
        EXPECT_EQ(type, c.type) << c.op << " of " << (c.left ? c.left->printstr() : "") << ", "
                                << (c.right ? c.right->printstr() : "") << " is "
                                << (type ? type->printstr() : "none");
    }
    EXPECT_EQ(type_for_PMCONV(int_p, int_t), char_t);
    EXPECT_EQ(type_for_PMCONV(int_p, uint_t), tp->basic_int(TYPE::UCHAR));
    EXPECT_EQ(type_for_PMCONV(tp->mk_ptr(int_t, 32, 32), short_t), int_t);
}

TEST_F(TypesOfTrees, LvaluesHaveTheTypesOfWhatTheyStandFor) {
    TYPE *const t = structure({{"i", int_t, 0}, {"v", volatile_int, 32}});
    TYPE *const const_t = constant(t), *const far_volatile = tp->mk_qual(t, TQ_volatile | TQ_far);
    SYMTAB *const plain = local("plain", t), *const fixed = local("fixed", const_t);
    SYMTAB *const moving = local("moving", far_volatile);
    SYMTAB *const pointer = local("pointer", tp->mk_ptr(const_t));
    SYMTAB *const to_volatile = local("to_volatile", tp->mk_ptr(volatile_int));
    const auto dot_of = [this](SYMTAB *sym, const char *of) {
        NODE *node = dot(name(sym), of);
        node->type = int_t;
        return node;
    };
    NODE *const reference = tree(OP::STREF, int_t, name(pointer), field_of(t, "v"));
    NODE *const renamed = name(i);
    renamed->u.name.sym = vol;
    NODE *const as_volatile = tree(OP::UMULT, volatile_int, name(p));
    NODE *const as_float = tree(OP::UMULT, float_t, name(p));
    NODE *const no_longer_const = name(i);
    no_longer_const->type = const_int;
    const struct {
        NODE *lvalue;
        TYPE *type;
    } cases[] = {
        {renamed, volatile_int},
        {name(i), int_t},
        {no_longer_const, int_t},
        {tree(OP::UMULT, int_t, name(to_volatile)), volatile_int},
        {as_volatile, volatile_int},
        {as_float, float_t},
        {dot_of(plain, "i"), int_t},
        {dot_of(plain, "v"), volatile_int},
        {dot_of(fixed, "i"), const_int},
        {dot_of(moving, "i"), tp->mk_qual(int_t, TQ_volatile | TQ_far)},
        {reference, tp->mk_qual(int_t, TQ_const | TQ_volatile)},
        {icon(3), int_t},
    };
    for (const auto &c : cases) {
        fix_type_info(c.lvalue);
        EXPECT_EQ(c.lvalue->type, c.type)
            << stmt2infix(c.lvalue) << " is " << c.lvalue->type->printstr();
    }
}

TEST_F(TypesOfTrees, WhatCannotChange) {
    TYPE *const t = structure({{"i", int_t, 0},
                               {"v", volatile_int, 32},
                               {"b", int_t, 64, 3},
                               {"a", tp->mk_array(volatile_int), 96}});
    TYPE *const inner = structure({{"x", int_t, 0}, {"y", int_t, 32}});
    TYPE *const outer = structure({{"i", int_t, 0}, {"in", inner, 32}});
    TYPE *const cpp = structure({{"i", int_t, 0}}, true, true);
    TYPE *const opaque = structure({}, false);
    const struct {
        TYPE *type;
        bool symbol, first_32, next_32;
    } cases[] = {
        {const_int, true, true, false}, // not beyond its end
        {int_t, false, false, false},
        {tp->mk_qual(int_t, TQ_const | TQ_volatile), false, false, false},
        {tp->mk_qual(int_t, TQ_const | TQ_ioport), false, false, false},
        {tp->mk_array(const_int, 4), true, true, true},
        {tp->mk_ptr(const_int), false, false, false},
        {constant(outer), true, true, true},
        {constant(t), false, true, false},
        {constant(cpp), false, false, false},
        {tp->mk_array(constant(cpp), 2), false, false, false},
        {constant(opaque), false, false, false},
        {t, false, false, false},
    };
    for (const auto &c : cases) {
        const SYMTAB *sym = local("c", c.type);
        EXPECT_EQ(symbol_is_immutable(sym), c.symbol) << c.type->printstr();
        EXPECT_EQ(bits_of_var_are_immutable(sym, 0, 32), c.first_32) << c.type->printstr();
        EXPECT_EQ(bits_of_var_are_immutable(sym, 32, 32), c.next_32) << c.type->printstr();
    }
    const SYMTAB *const mixed = local("mixed", constant(t));
    EXPECT_TRUE(bits_of_var_are_immutable(mixed, 64, 32));
    EXPECT_FALSE(bits_of_var_are_immutable(mixed, 24, 16)) << "reaches into the next member";
    EXPECT_FALSE(bits_of_var_are_immutable(mixed, 112, 16)) << "in the array of unknown bound";
    EXPECT_FALSE(bits_of_var_are_immutable(mixed, 0, 129));

    SYMTAB *const c = local("c", const_int), *const array = local("ca", tp->mk_array(const_int, 4));
    SYMTAB *const m = local("m", constant(t)), *const o = local("o", constant(outer));
    NODE *const first = tree(OP::PCONV, int_p, address(name(array)));
    NODE *const read_volatile = name(c);
    read_volatile->type = tp->mk_qual(const_int, TQ_volatile);
    const struct {
        NODE *lvalue;
        bool immutable;
    } lvalues[] = {
        {name(c), true},
        {name(i), false},
        {read_volatile, false},
        {dot(name(m), "i"), true},
        {dot(name(m), "v"), false},
        {dot(name(m), "b"), true},
        {dot(dot(name(o), "in"), "y"), true},
        {dot(name(s), "f"), false},
        {deref(address(name(c))), true},
        {deref(tree(OP::PLUS, int_p, first, name(i))), true},
        {deref(tree(OP::PLUS, int_p, name(i), address(name(i)))), false},
        {deref(name(local("pc", tp->mk_ptr(const_int)))), false},
        {tree(OP::STREF, int_t, address(name(o)), field_of(outer, "i")), true},
        {tree(OP::STREF, int_t, address(name(m)), field_of(t, "i")), false}, // some of it changes
        {tree(OP::STREF, int_t, name(sp), field()), false},
    };
    for (const auto &l : lvalues)
        EXPECT_EQ(lvalue_is_immutable(l.lvalue), l.immutable) << stmt2infix(l.lvalue);
}

TEST_F(TypesOfTrees, MembersThatStayMembers) {
    TYPE *const t = structure({{"i", int_t, 0}, {"v", volatile_int, 32}, {"b", int_t, 64, 3}});
    TYPE *const outer = structure({{"t", t, 0}});
    SYMTAB *const plain = local("plain", t), *const far = local("far", tp->mk_qual(t, TQ_far));
    SYMTAB *const changing = local("changing", tp->mk_qual(t, TQ_volatile));
    SYMTAB *const nested = local("nested", outer), *const port =
                                                       local("port", tp->mk_qual(outer, TQ_ioport));
    const struct {
        NODE *access;
        bool stays;
    } cases[] = {
        {dot(name(plain), "i"), false},
        {dot(name(plain), "v"), true},
        {dot(name(plain), "b"), true},
        {dot(name(far), "i"), true},
        {dot(name(changing), "i"), true},
        {dot(dot(name(nested), "t"), "i"), false},
        {dot(dot(name(nested), "t"), "b"), true},
        {dot(dot(name(port), "t"), "i"), true},
        {dot(deref(name(local("pt", tp->mk_ptr(t)))), "i"), false},
        {tree(OP::STDOT, int_t, name(plain), icon(1)), true},
        {name(vol), false},
    };
    for (const auto &c : cases)
        EXPECT_EQ(must_preserve_STDOT(c.access), c.stays) << stmt2infix(c.access);
}

TEST_F(TypesOfTrees, PointerCastsGoDown) {
    TYPE *const wide = tp->mk_ptr(int_t, 32, 32);
    SYMTAB *const w = local("w", wide);
    const auto pointer_op = [this](int op, NODE *left, NODE *right) {
        return tree(op, int_p, left, right);
    };
    const auto cast = [](TYPE *type, NODE *value) { return tree(OP::PCONV, type, value); };
    const auto choice = [&](NODE *one, NODE *other) {
        return pointer_op(OP::QUEST, name(i), pointer_op(OP::COLON, one, other));
    };
    const struct {
        NODE *tree, *expected;
    } cases[] = {
        {name(p), cast(float_p, name(p))},
        {icon(16, int_p), icon(16, float_p)},
        {cast(int_p, name(local("fp", float_p))), nullptr}, // the operand itself
        {cast(int_p, name(i)), cast(float_p, name(i))},
        {cast(int_p, name(w)), cast(float_p, cast(int_p, name(w)))},
        {pointer_op(OP::PLUS, name(p), name(i)),
         tree(OP::PLUS, float_p, cast(float_p, name(p)), name(i))},
        {pointer_op(OP::PLUS, name(i), name(p)),
         tree(OP::PLUS, float_p, name(i), cast(float_p, name(p)))},
        {pointer_op(OP::MINUS, pointer_op(OP::PLUS, name(p), name(i)), icon(2)),
         tree(OP::MINUS, float_p, tree(OP::PLUS, float_p, cast(float_p, name(p)), name(i)),
              icon(2))},
        {pointer_op(OP::COMMAOP, asg(name(i), icon(1)), name(p)),
         tree(OP::COMMAOP, float_p, asg(name(i), icon(1)), cast(float_p, name(p)))},
        {choice(name(p), name(q)),
         tree(OP::QUEST, float_p, name(i),
              tree(OP::COLON, float_p, cast(float_p, name(p)), cast(float_p, name(q))))},
        {asg(name(p), name(q)), cast(float_p, asg(name(p), name(q)))},
        {name(i), cast(float_p, name(i))},
    };
    for (const auto &c : cases) {
        const std::string before = stmt2infix(c.tree);
        NODE *result = push_down_pointer_cast(float_p, c.tree);
        EXPECT_EQ(result->type, float_p) << before;
        EXPECT_FALSE(dupchk(result)) << before;
        if (!c.expected) {
            EXPECT_EQ(int{result->op}, int{OP::NAME}) << before;
            continue;
        }
        EXPECT_TRUE(trees_are_congruent_se_ok(result, c.expected))
            << before << " is " << stmt2infix(result);
    }
    NODE *same = name(p);
    EXPECT_EQ(push_down_pointer_cast(int_p, same), same);
    NODE *narrow = push_down_pointer_cast(wide, name(p));
    EXPECT_EQ(int{narrow->op}, int{OP::PCONV});
    EXPECT_EQ(narrow->type, wide);
}

TEST_F(TypesOfTreesDeathTest, OnlyPointersAreCastDown) {
    EXPECT_EXIT(push_down_pointer_cast(int_t, name(p)), ::testing::ExitedWithCode(1),
                "Optimizer terminated abnormally");
}
