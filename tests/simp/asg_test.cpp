// Assignments, objects, sequences.
#include "tests/simp/simp_fixture.h"

TEST_F(SimpTest, steps_that_change_nothing) {
    becomes({{"i += 0", "i"},
             {"i -= 0", "i"},
             {"i *= 1", "i"},
             {"i |= 0", "i"},
             {"i &= -1", "i"},
             {"i <<= 0", "i"},
             {"i /= 1", "i"},
             {"us &= 65535", "us"},
             {"i *= 0", "i = 0"},
             {"i |= -1", "i = -1"},
             {"i %= 1", "i = 0"},
             {"i = i", "i"},
             {"o.lo = o.lo", "o.lo"},
             {"a[i] += 0", "*((int *)&a + (char)i * 2)"}});
    stays({"vi += 0", "vi *= 0", "vi = vi", "i += 1"});
}

TEST_F(SimpTest, steps_have_one_form) {
    becomes(
        {{"i -= 3", "i += -3"},
         {"u -= 1u", "u += 4294967295"},
         {"p -= 1", "p += -2"},
         {"s += 70000", "s += 4464"},
         {"i += -j", "i -= j"},
         {"i -= -j", "i += j"},
         {"x -= -y", "x += y"},
         {"a[i] = a[i] + j", "*((int *)&a + (char)i * 2) += j"},
         {"a[i] = f() + a[i]", "*((int *)&a + (char)i * 2) = f() + *((int *)&a + (char)i * 2)"}});
    stays({"i = i + 1", "*p = *p + 1", "x += 0.0"});
}

TEST_F(SimpTest, effects_are_hoisted) {
    becomes({{"(i = 3) + j", "i = 3, j + 3"},
             {"-(f(), i)", "f(), -i"},
             {"j + (f(), i)", "j + (f(), i)"},
             {"7 - (f(), i)", "f(), 7 - i"},
             {"i = (f(), j)", "f(), i = j"},
             {"*(f(), p) = 3", "f(), *p = 3"},
             {"a[(f(), i)]", "f(), *((int *)&a + (char)i * 2)"},
             {"(f(), g, i)", "f(), i"},
             {"o.lo = (i * 32 | 1) * (f(), 1)", "f(), o.lo = 1"},
             {"i, j", "j"},
             {"f(), (h(), j)", "f(), h(), j"},
             {"0 * f() + i", "f(), i"},
             {"(o.lo = 9) + 1", "(o.lo = 9) + 1"}});
}

TEST_F(SimpTest, a_step_before_its_value_becomes_a_step_behind_it) {
    becomes({{"p = p + 1, p - 1", "p++ 2"},
             {"p += 1, p - 1", "p++ 2"},
             {"p -= 2, p + 2", "p-- 4"},
             {"p += 1, p - 2", "p += 2, p + -4"},
             {"i += 1, i - 1", "i += 1, i + -1"}});
}

TEST_F(SimpTest, objects_by_their_names) {
    becomes({{"*&i", "i"},
             {"&*p", "p"},
             {"(*op).m", "op->m"},
             {"(&o)->n", "o.n"},
             {"*(intp)&o", "o.m"},
             {"*((shortp)&o + 2)", "o.n"},
             {"*((intp)&o + 1)", "*((int *)&o + 2)"},
             {"*(shortp)&i", "*(char *)&i"}});
    stays({"o.lo", "op->hi", "*p", "vi"});
}

TEST_F(SimpTest, scalings) {
    becomes({{"PMCONV(i, 32)", "i * 2"}, {"PMCONV(i, 16)", "i"}, {"PVCONV(i, 16)", "i"}});
}

// f is int f(), its parameters being unknown.
TEST_F(SimpTest, calls_through_casts) {
    const auto call = [&](TYPE *result, bool prototyped, NODE *args) {
        TYPE *type = tp->type_frozen(tp->mk_func(result, false, prototyped, 0, false));
        NODE *name = mk_NAME(symbols["f"], nullptr);
        NODE *address = tree(OP::UAND, tp->mk_ptr(name->type), name);
        NODE *node = tree(args ? OP::CALL : OP::UCALL, result,
                          tree(OP::PCONV, tp->mk_ptr(type), address), args);
        node->mk_call(0, 0);
        return simp_tree(node)->left->op;
    };
    EXPECT_EQ(call(int_t, true, nullptr), OP::UAND);
    EXPECT_EQ(call(float_t, true, nullptr), OP::PCONV);
    EXPECT_EQ(call(short_t, true, nullptr), OP::PCONV);
    EXPECT_EQ(call(int_t, true, parse("i")), OP::PCONV);
}
